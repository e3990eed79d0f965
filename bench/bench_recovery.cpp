// What the recovery copy costs.
//
// 1. The queue figure: 2,000 jobs of the stand-in program, which exits at
//    once, go through the long queue with a maximum of 4, from AddJobFromFile
//    to the finished jobs, in a memory project, once with a recovery copy
//    following every change and once without; rounds alternate the order.
//    The rate with the copy should be at least 90% of the rate without.
// 2. One write of the copy for a project of 100,000 finished jobs: its time,
//    the copy's size, and the interval the copy then keeps between writes
//    (ten times the write time, at least two seconds), that is how often it
//    runs while such a project keeps changing.

#include "app/globals.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"
#include "views/longjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr int JobCount = 2000;
constexpr int MaxRunning = 4;
constexpr int LargeProjectJobs = 100000;
constexpr int LargeProjectWrites = 5;

QStringList WriteInputs(const QDir& directory)
{
    QStringList paths;
    for (int i = 0; i < JobCount; ++i) {
        const QString path = directory.absoluteFilePath(QStringLiteral("job%1.gjf").arg(i));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write("#standin exit=0\n");
        paths.append(path);
    }
    return paths;
}

Tavrol_Database* OpenMemoryProject()
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables())
        return nullptr;
    int id = -1;
    database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    if (!database->AddQueue(QStringLiteral("Long"), 1, &id) ||
        !database->AddQueue(QStringLiteral("Short"), 1, &id))
        return nullptr;
    database->Modified = false;
    return database;
}

template <typename Condition> void RunUntil(Condition condition)
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    poll.start(20);
    loop.exec();
}

struct QueueRun
{
    double Seconds = 0;
    int Finished = 0;
    int Writes = 0;
    qint64 LongestWriteMicroseconds = 0;
};

QueueRun RunQueue(const QStringList& inputs, bool withCopy)
{
    QueueRun run;
    if (!OpenMemoryProject())
        return run;
    Tavrol_AppWindow window;
    TavrolAppWindow = &window;
    window.BuildWidgets();
    Tavrol_LongJobsQueueWidget& queue = *window.LongJobsView();
    const Tavrol_FinishedJobsWidget& finished = *window.FinishedJobsView();
    queue.SetMaxRunningJobs(MaxRunning);
    std::unique_ptr<Tavrol_RecoveryCopy> copy;
    if (withCopy) {
        copy = std::make_unique<Tavrol_RecoveryCopy>();
        copy->Claim(QString());
        copy->Watch();
    }
    QElapsedTimer clock;
    clock.start();
    for (const QString& input : inputs)
        queue.AddJobFromFile(input, 0);
    RunUntil([&] { return finished.FinishedJobs().size() >= size_t(JobCount); });
    run.Seconds = clock.nsecsElapsed() / 1e9;
    run.Finished = int(finished.FinishedJobs().size());
    if (copy) {
        run.Writes = copy->WriteCount();
        run.LongestWriteMicroseconds = copy->LongestWriteMicroseconds();
        copy->Finish();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    TavrolAppWindow = nullptr;
    return run;
}

Tavrol_Job FinishedJob(int number, const Tavrol_JobType& jobType)
{
    const QString name = QStringLiteral("mol_") + QString::number(number) + QStringLiteral(".gjf");
    Tavrol_Job job(name, jobType, QStringLiteral("TavrolGUI"), QStringLiteral("Viewer"),
                   QStringLiteral("127.0.0.1"), 5000 + number % 100, 501, 20, number % 3,
                   Tavrol_JobType::QueueNameFromID(number % 3),
                   QStringLiteral("/home/chem/jobs/") + name, QString(), number, QString());
    const QDateTime start(QDate(2024, 1, 1), QTime(8, 0, 0));
    job.Submitted = start.addSecs(number);
    job.Started = start.addSecs(number + 5);
    job.Finished = start.addSecs(number + 65);
    job.SetStatus(JobStatusCompleted, false);
    job.StdOutAndStdErr = QStringLiteral("Entering Gaussian System\nNormal termination.\n");
    return job;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

int RunQueueFigures(int rounds, const QStringList& inputs)
{
    std::vector<double> with;
    std::vector<double> without;
    for (int round = 0; round < rounds; ++round) {
        for (int side = 0; side < 2; ++side) {
            const bool withCopy = (round + side) % 2 == 0;
            const QueueRun run = RunQueue(inputs, withCopy);
            if (run.Finished != JobCount) {
                std::printf("round %d: only %d of %d jobs finished\n", round + 1, run.Finished,
                            JobCount);
                return 1;
            }
            const double rate = JobCount / run.Seconds;
            (withCopy ? with : without).push_back(rate);
            std::printf("round %d, recovery copy %-3s: %6.2f s, %7.1f jobs/s", round + 1,
                        withCopy ? "on" : "off", run.Seconds, rate);
            if (withCopy)
                std::printf(", %d writes, longest %.1f ms", run.Writes,
                            run.LongestWriteMicroseconds / 1000.0);
            std::printf("\n");
        }
    }
    const double ratio = Median(with) / Median(without);
    std::printf("median rate: %.1f jobs/s with the copy, %.1f without: %.1f%% (goal: at least "
                "90%%)\n",
                Median(with), Median(without), ratio * 100);
    return 0;
}

int RunLargeProjectFigures()
{
    Tavrol_Database* database = OpenMemoryProject();
    if (!database)
        return 1;
    Tavrol_JobType jobType(
        0, QStringLiteral("Gaussian"), QStringLiteral("g16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Gaussian Input Files (*.gjf)"),
        QStringLiteral("Gaussian Log Files (*.log)"), QStringLiteral("GAUSS_EXEDIR=/opt/g16"));
    for (int number = 0; number < LargeProjectJobs; ++number) {
        int id = -1;
        if (!database->AddFinishedJob(FinishedJob(number, jobType), true, &id))
            return 1;
    }
    Tavrol_RecoveryCopy copy;
    copy.Claim(QString());
    std::vector<double> milliseconds;
    for (int write = 0; write < LargeProjectWrites; ++write) {
        copy.WriteNow();
        milliseconds.push_back(copy.LastWriteMicroseconds() / 1000.0);
    }
    const double median = Median(milliseconds);
    std::printf("one recovery write at %d finished jobs: median %.1f ms (of %d), longest %.1f "
                "ms, copy %.1f MB; interval between writes under load: %.1f s, so at most "
                "%.1f%% of the main thread\n",
                LargeProjectJobs, median, LargeProjectWrites,
                copy.LongestWriteMicroseconds() / 1000.0, QFileInfo(copy.CopyPath()).size() / 1e6,
                copy.IntervalMilliseconds() / 1000.0, 100.0 * median / copy.IntervalMilliseconds());
    copy.Finish();
    Tavrol_Database_Manager::Instance()->CloseAll();
    return 0;
}

} // namespace

// Usage: bench_recovery [rounds]
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RunMode = RunModeConsole;
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    QTemporaryDir work;
    qputenv("XDG_STATE_HOME", QFile::encodeName(work.filePath(QStringLiteral("state"))));
    const QStringList inputs = WriteInputs(QDir(work.path()));
    if (inputs.size() != JobCount)
        return 1;
    Tavrol_JobType::SetAll({Tavrol_JobType(
        0, QStringLiteral("Standin"), QStringLiteral("Standin"),
        QStringLiteral(TAVROL_FIXTURES_DIR "/gaussian/g16/g16"), QStringLiteral("Long"),
        QStringLiteral("@EXEFILE @INFILE @OUTFILE"), QStringLiteral("Input Files (*.gjf)"),
        QStringLiteral("Output Files (*.log)"), QString())});
    std::printf("%d jobs through the long queue (at most %d running), %d rounds\n", JobCount,
                MaxRunning, rounds);
    if (RunQueueFigures(rounds, inputs) != 0)
        return 1;
    return RunLargeProjectFigures();
}
