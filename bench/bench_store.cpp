// How the job store keeps up with years of history: adding finished jobs one
// at a time, loading them all, saving the project, and opening it again the
// way the window does (the file into memory, the history into its list).
// Prints wall-clock and CPU figures; exits 1 when a wall-clock target is
// missed. On a busy machine the CPU figure shows what the store itself costs.
//
//   bench_store            the full history of 101,000 jobs
//   bench_store 20000      a smaller history, for profiling

#include "jobs/job.h"
#include "store/database.h"
#include "store/database_manager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

const int EarlyCount = 1000;
const int DefaultLateStart = 100000;
const int LateCount = 1000;
const double TargetAddsPerSecond = 10000.0;
const double TargetSeconds = 2.0;

// Wall-clock and process CPU time since it was made.
class Stopwatch
{
public:
    Stopwatch() { m_wall.start(), m_cpu = CpuSeconds(); }
    double Wall() const { return m_wall.nsecsElapsed() / 1e9; }
    double Cpu() const { return CpuSeconds() - m_cpu; }

private:
    static double CpuSeconds()
    {
        timespec now{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
        return double(now.tv_sec) + now.tv_nsec / 1e9;
    }
    QElapsedTimer m_wall;
    double m_cpu = 0;
};

// Adds per second over a whole window, by wall clock and by CPU time, and
// from the median time of one add, which a preempted moment cannot distort.
struct Rate
{
    double Wall = 0;
    double Cpu = 0;
    double Median = 0;
};

Tavrol_JobType BenchJobType()
{
    return Tavrol_JobType(
        0, QStringLiteral("Gaussian"), QStringLiteral("g16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Gaussian Input Files (*.gjf)"),
        QStringLiteral("Gaussian Log Files (*.log)"), QStringLiteral("GAUSS_EXEDIR=/opt/g16"));
}

// A finished job as the history holds it, with a quote in its name now and
// then and a few lines of output.
Tavrol_Job FinishedJob(int number, const Tavrol_JobType& jobType)
{
    const QString name = (number % 10 == 0 ? QStringLiteral("O'Neil_") : QStringLiteral("mol_")) +
                         QString::number(number) + QStringLiteral(".gjf");
    Tavrol_Job job(name, jobType, QStringLiteral("TavrolGUI"), QStringLiteral("Viewer"),
                   QStringLiteral("127.0.0.1"), 5000 + number % 100, 501, 20, number % 3,
                   Tavrol_JobType::QueueNameFromID(number % 3),
                   QStringLiteral("/home/chem/jobs/") + name, QString(), number, QString());
    const QDateTime start(QDate(2024, 1, 1), QTime(8, 0, 0));
    job.Submitted = start.addSecs(number);
    job.Started = start.addSecs(number + 5);
    job.Finished = start.addSecs(number + 65);
    job.SetStatus(number % 7 == 0 ? JobStatusFailed : JobStatusCompleted, false);
    job.StdOutAndStdErr = QStringLiteral("Entering Gaussian System\nNormal termination.\n");
    job.ClientNotification = number % 2;
    return job;
}

// Adds count jobs from first on, each in its own transaction; answers the
// rates in adds per second.
Rate AddJobs(Tavrol_Database* database, const Tavrol_JobType& jobType, int first, int count,
             bool* allAdded)
{
    std::vector<Tavrol_Job> jobs;
    jobs.reserve(size_t(count));
    for (int number = first; number < first + count; ++number)
        jobs.push_back(FinishedJob(number, jobType));
    std::vector<qint64> nanoseconds;
    nanoseconds.reserve(size_t(count));
    const Stopwatch stopwatch;
    QElapsedTimer one;
    for (const Tavrol_Job& job : jobs) {
        int id = -1;
        one.start();
        if (!database->AddFinishedJob(job, true, &id) || id != job.JobID + 1)
            *allAdded = false;
        nanoseconds.push_back(one.nsecsElapsed());
    }
    const double wall = stopwatch.Wall();
    const double cpu = stopwatch.Cpu();
    std::nth_element(nanoseconds.begin(), nanoseconds.begin() + count / 2, nanoseconds.end());
    return {count / wall, count / cpu, 1e9 / double(nanoseconds[size_t(count / 2)])};
}

bool Report(const QString& what, double wall, double cpu, const char* unit, bool met)
{
    std::printf("%-44s %12.3f %-7s (CPU %10.3f)  %s\n", qPrintable(what), wall, unit, cpu,
                met ? "ok" : "MISSED");
    return met;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const int lateStart = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : DefaultLateStart;
    const int rows = lateStart + LateCount;
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("history.tvrl"));
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();

    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables()) {
        std::fprintf(stderr, "no database\n");
        return 2;
    }
    // The type's key is 0 and each job's number is one below its row's key.
    Tavrol_JobType jobType = BenchJobType();
    int jobTypeID = -1;
    database->AddJobType(jobType, true, &jobTypeID);
    jobType.JobTypeID = jobTypeID;
    database->AddFinishedJob(FinishedJob(-1, jobType), true, nullptr);

    bool allAdded = true;
    const Rate early = AddJobs(database, jobType, 0, EarlyCount, &allAdded);
    AddJobs(database, jobType, EarlyCount, lateStart - EarlyCount, &allAdded);
    const Rate late = AddJobs(database, jobType, lateStart, LateCount, &allAdded);

    const Stopwatch loadWatch;
    const size_t loaded = database->LoadFinishedJobs().size();
    const double loadWall = loadWatch.Wall();
    const double loadCpu = loadWatch.Cpu();

    const Stopwatch saveWatch;
    const bool saved = manager->SaveToFile(database, path);
    const double saveWall = saveWatch.Wall();
    const double saveCpu = saveWatch.Cpu();
    manager->CloseAll();
    // The store's part of opening a project, as the window does it: the file
    // into a memory database, then the history into the list that keeps it.
    // bench_history times the whole open through the tavrol binary.
    const Stopwatch reloadWatch;
    database = manager->GetDatabase(SQLiteMemory, QString(), false);
    database->FilePath = path;
    const bool reloaded = database->Open() && manager->LoadFromFile(path, database);
    const double reloadWall = reloadWatch.Wall();
    const double reloadCpu = reloadWatch.Cpu();
    Tavrol_FinishedJobsList history;
    database->LoadFinishedJobs(history);
    const double openWall = reloadWatch.Wall();
    const double openCpu = reloadWatch.Cpu();
    const size_t loadedAgain = history.size();

    const QString thousand = QStringLiteral("%L1").arg(EarlyCount);
    const QString from = QStringLiteral("%L1").arg(lateStart + 1);
    const QString to = QStringLiteral("%L1").arg(lateStart + LateCount);
    const QString all = QStringLiteral("%L1").arg(rows + 1);
    bool met = allAdded;
    met &= Report(QStringLiteral("AddFinishedJob, jobs 1 to ") + thousand, early.Wall, early.Cpu,
                  "adds/s", early.Wall >= TargetAddsPerSecond);
    met &= Report(QStringLiteral("AddFinishedJob, jobs ") + from + QStringLiteral(" to ") + to,
                  late.Wall, late.Cpu, "adds/s", late.Wall >= TargetAddsPerSecond);
    met &= Report(QStringLiteral("later rate / early rate"), late.Wall / early.Wall,
                  late.Cpu / early.Cpu, "", late.Wall >= early.Wall * 2 / 3);
    std::printf("%-44s %12.0f / %.0f adds/s, ratio %.3f\n", "median add, early / later",
                early.Median, late.Median, late.Median / early.Median);
    met &= Report(QStringLiteral("LoadFinishedJobs of ") + all + QStringLiteral(" rows"), loadWall,
                  loadCpu, "s", loaded == size_t(rows + 1) && loadWall < TargetSeconds);
    Report(QStringLiteral("SaveToFile"), saveWall, saveCpu, "s", saved);
    Report(QStringLiteral("LoadFromFile"), reloadWall, reloadCpu, "s", reloaded);
    met &= Report(QStringLiteral("open: LoadFromFile + the history list"), openWall, openCpu, "s",
                  reloaded && loadedAgain == size_t(rows + 1) && openWall < TargetSeconds);
    std::printf("project file: %.1f MiB; every add %s; %zu rows loaded, %zu after the reload\n",
                QFileInfo(path).size() / 1048576.0, allAdded ? "succeeded" : "FAILED", loaded,
                loadedAgain);
    manager->CloseAll();
    return met ? 0 : 1;
}
