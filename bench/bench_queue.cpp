// Throughput and memory of the long queue against task-spooler.
//
// 2,000 jobs of the stand-in program, which exits at once, go through the
// long queue with a maximum of 4: from AddJobFromFile to the finished jobs,
// with a memory project open. The same 2,000 commands then go through
// task-spooler ("tsp") with 4 slots on a private socket. The figures: jobs per
// second of each, the peak resident size of this process, and how much the
// resident size grew per finished job.

#include "app/globals.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "views/longjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <sys/resource.h>

namespace {

constexpr int JobCount = 2000;
constexpr int MaxRunning = 4;

QString StandinPath()
{
    return QStringLiteral(TAVROL_FIXTURES_DIR "/gaussian/g16/g16");
}

// CPU seconds this process itself has used, user and system, children apart.
double OwnCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// A field of /proc/self/status in KiB, such as "VmHWM" or "VmRSS".
long StatusKiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

QStringList WriteInputs(const QDir& directory, int count = JobCount)
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        const QString path = directory.absoluteFilePath(QStringLiteral("job%1.gjf").arg(i));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write("#standin exit=0\n");
        paths.append(path);
    }
    return paths;
}

bool OpenMemoryProject()
{
    Tavrol_Database* database =
        Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables())
        return false;
    int id = -1;
    database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    return database->AddQueue(QStringLiteral("Long"), 1, &id) &&
           database->AddQueue(QStringLiteral("Short"), 1, &id);
}

// Runs the event loop until the condition holds, looking every 20 ms.
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

struct QueueFigures
{
    double SubmitSeconds = 0; // the AddJobFromFile of every input
    double Seconds = 0;
    double CpuSeconds = 0;
    double AverageRunning = 0; // sampled every 20 ms
    long RssBeforeKiB = 0;
    long RssAfterKiB = 0;
    long HwmBeforeKiB = 0;
    long HwmAfterKiB = 0;
    int Finished = 0;
    int Completed = 0;
};

QueueFigures RunQueue(const QStringList& inputs)
{
    QueueFigures figures;
    Tavrol_AppWindow window;
    TavrolAppWindow = &window;
    window.BuildWidgets();
    Tavrol_LongJobsQueueWidget& queue = *window.LongJobsView();
    const Tavrol_FinishedJobsWidget& finished = *window.FinishedJobsView();
    queue.SetMaxRunningJobs(MaxRunning);

    figures.RssBeforeKiB = StatusKiB("VmRSS");
    figures.HwmBeforeKiB = StatusKiB("VmHWM");
    const double cpuBefore = OwnCpuSeconds();
    QElapsedTimer clock;
    clock.start();
    for (const QString& input : inputs)
        queue.AddJobFromFile(input, 0);
    figures.SubmitSeconds = clock.nsecsElapsed() / 1e9;
    const size_t jobCount = size_t(inputs.size());
    long samples = 0;
    long runningSum = 0;
    RunUntil([&] {
        std::vector<Tavrol_Job*> jobs;
        queue.Queue().Jobs(jobs);
        for (const Tavrol_Job* job : jobs)
            runningSum += job->Status == JobStatusRunning ? 1 : 0;
        ++samples;
        return finished.FinishedJobs().size() >= jobCount;
    });
    figures.AverageRunning = samples ? double(runningSum) / samples : 0;
    figures.Seconds = clock.nsecsElapsed() / 1e9;
    figures.CpuSeconds = OwnCpuSeconds() - cpuBefore;
    // Let the released jobs and their runners go before measuring.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    RunUntil([] { return true; });
    figures.RssAfterKiB = StatusKiB("VmRSS");
    figures.HwmAfterKiB = StatusKiB("VmHWM");
    figures.Finished = int(finished.FinishedJobs().size());
    for (const Tavrol_Job& job : finished.FinishedJobs())
        figures.Completed += job.Status == JobStatusCompleted ? 1 : 0;
    TavrolAppWindow = nullptr;
    return figures;
}

struct SpoolerFigures
{
    double Seconds = -1;
    int Finished = 0;
};

int RunTsp(const QProcessEnvironment& environment, const QStringList& arguments,
           QByteArray* output = nullptr)
{
    QProcess tsp;
    tsp.setProcessEnvironment(environment);
    tsp.start(QStringLiteral("tsp"), arguments);
    if (!tsp.waitForFinished(60000))
        return -1;
    if (output)
        *output = tsp.readAllStandardOutput();
    return tsp.exitCode();
}

int FinishedInList(const QProcessEnvironment& environment)
{
    QByteArray list;
    RunTsp(environment, {QStringLiteral("-l")}, &list);
    int finished = 0;
    for (const QByteArray& line : list.split('\n'))
        finished += line.contains(" finished ") ? 1 : 0;
    return finished;
}

SpoolerFigures RunSpooler(const QStringList& inputs, const QDir& work)
{
    SpoolerFigures figures;
    if (QStandardPaths::findExecutable(QStringLiteral("tsp")).isEmpty())
        return figures;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TS_SOCKET"),
                       work.absoluteFilePath(QStringLiteral("tsp.socket")));
    // task-spooler keeps each job's output in a file of its own, apart.
    work.mkpath(QStringLiteral("tsp"));
    environment.insert(QStringLiteral("TMPDIR"), work.absoluteFilePath(QStringLiteral("tsp")));
    environment.insert(QStringLiteral("TS_MAXFINISHED"), QString::number(JobCount * 2));
    environment.insert(QStringLiteral("TS_SLOTS"), QString::number(MaxRunning));
    RunTsp(environment, {QStringLiteral("-S"), QString::number(MaxRunning)});

    QElapsedTimer clock;
    clock.start();
    for (const QString& input : inputs) {
        QString output = input;
        output.replace(QStringLiteral(".gjf"), QStringLiteral(".tsp.log"));
        RunTsp(environment, {StandinPath(), input, output});
    }
    RunTsp(environment, {QStringLiteral("-w")}); // the last one added
    while (FinishedInList(environment) < JobCount && clock.elapsed() < 600000)
        QThread::msleep(5);
    figures.Seconds = clock.nsecsElapsed() / 1e9;
    figures.Finished = FinishedInList(environment);
    RunTsp(environment, {QStringLiteral("-K")});
    return figures;
}

Tavrol_JobType BenchJobType(const QString& program)
{
    return Tavrol_JobType(0, QStringLiteral("Standin"), QStringLiteral("Standin"), program,
                          QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                          QStringLiteral("Input Files (*.gjf)"),
                          QStringLiteral("Output Files (*.log)"), QString());
}

// bench_queue scale [true|standin] [counts...]: the same queue with 2,000,
// 8,000 and 32,000 jobs of /bin/true and of the stand-in (or of one of them),
// for this process's own CPU per job, which should not grow with the number of
// jobs waiting. Every run has a directory of its own, so that no run finds the
// output files of an earlier one beside its inputs.
int RunScale(const QStringList& programs, const std::vector<int>& counts)
{
    std::printf("%-10s %7s %9s %9s %9s %12s %9s\n", "program", "jobs", "submit s", "total s",
                "jobs/s", "CPU ms/job", "finished");
    for (const QString& program : programs) {
        Tavrol_JobType::SetAll({BenchJobType(program)});
        for (const int count : counts) {
            const QTemporaryDir work;
            const QStringList inputs = WriteInputs(QDir(work.path()), count);
            if (inputs.size() != count || !OpenMemoryProject())
                return 1;
            const QueueFigures queue = RunQueue(inputs);
            Tavrol_Database_Manager::Instance()->CloseAll();
            std::printf("%-10s %7d %9.3f %9.2f %9.1f %12.3f %9d\n",
                        program == StandinPath() ? "stand-in" : "/bin/true", count,
                        queue.SubmitSeconds, queue.Seconds, count / queue.Seconds,
                        queue.CpuSeconds * 1000 / count, queue.Finished);
            std::fflush(stdout);
        }
    }
    return 0;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// bench_queue submit [count] [rounds] [standin]: only the AddJobFromFile of every
// input, into a queue that starts none of them, for the submission's own cost;
// the job type runs /bin/true, or the stand-in.
int RunSubmit(int count, int rounds, const QString& program, const QDir& work)
{
    Tavrol_JobType::SetAll({BenchJobType(program)});
    const QStringList inputs = WriteInputs(work, count);
    if (inputs.size() != count)
        return 1;
    std::vector<double> seconds;
    for (int round = 0; round < rounds; ++round) {
        if (!OpenMemoryProject())
            return 1;
        {
            Tavrol_AppWindow window;
            TavrolAppWindow = &window;
            window.BuildWidgets();
            Tavrol_LongJobsQueueWidget& queue = *window.LongJobsView();
            queue.SetMaxRunningJobs(0);
            QElapsedTimer clock;
            clock.start();
            for (const QString& input : inputs)
                queue.AddJobFromFile(input, 0);
            seconds.push_back(clock.nsecsElapsed() / 1e9);
            std::printf("round %d: %d jobs submitted in %.3f s (%.1f us per job)\n", round + 1,
                        count, seconds.back(), seconds.back() * 1e6 / count);
            std::fflush(stdout);
            queue.ClearJobs();
            TavrolAppWindow = nullptr;
        }
        Tavrol_Database_Manager::Instance()->CloseAll();
    }
    std::printf("median: %.3f s\n", Median(seconds));
    return 0;
}

} // namespace

// Usage: bench_queue [rounds], bench_queue scale [true|standin] [counts...] (see
// RunScale), or bench_queue submit [count] [rounds] [standin] (see RunSubmit).
//
// By default, each round runs both sides on the same 2,000 commands, in alternating order, so that
// neither always runs on a machine the other has just warmed or loaded; the medians are compared.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RunMode = RunModeConsole;
    if (argc > 1 && QByteArray(argv[1]) == "scale") {
        QStringList programs = {QStringLiteral("/bin/true"), StandinPath()};
        int first = 2;
        if (argc > 2 && QByteArray(argv[2]) == "true")
            programs = QStringList{QStringLiteral("/bin/true")};
        else if (argc > 2 && QByteArray(argv[2]) == "standin")
            programs = QStringList{StandinPath()};
        if (programs.size() == 1)
            ++first;
        std::vector<int> counts;
        for (int i = first; i < argc; ++i)
            counts.push_back(std::max(1, std::atoi(argv[i])));
        if (counts.empty())
            counts = {2000, 8000, 32000};
        return RunScale(programs, counts);
    }
    if (argc > 1 && QByteArray(argv[1]) == "submit") {
        const int count = argc > 2 ? std::max(1, std::atoi(argv[2])) : 32000;
        const int submitRounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 3;
        QTemporaryDir submitWork;
        const bool standin = argc > 4 && QByteArray(argv[4]) == "standin";
        return RunSubmit(count, submitRounds, standin ? StandinPath() : QStringLiteral("/bin/true"),
                         QDir(submitWork.path()));
    }
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    QTemporaryDir work;
    const QStringList inputs = WriteInputs(QDir(work.path()));
    if (inputs.size() != JobCount) {
        std::fprintf(stderr, "bench_queue: set-up failed\n");
        return 1;
    }
    Tavrol_JobType::SetAll({Tavrol_JobType(
        0, QStringLiteral("Standin"), QStringLiteral("Standin"), StandinPath(),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Input Files (*.gjf)"), QStringLiteral("Output Files (*.log)"), QString())});

    std::printf("jobs: %d of the stand-in, maximum %d running (4 slots for task-spooler), "
                "%d rounds\n",
                JobCount, MaxRunning, rounds);
    std::vector<QueueFigures> queueRuns;
    std::vector<double> queueRates;
    std::vector<double> spoolerRates;
    for (int round = 0; round < rounds; ++round) {
        const bool queueFirst = round % 2 == 0;
        for (int side = 0; side < 2; ++side) {
            if ((side == 0) == queueFirst) {
                if (!OpenMemoryProject()) {
                    std::fprintf(stderr, "bench_queue: no memory project\n");
                    return 1;
                }
                const QueueFigures queue = RunQueue(inputs);
                Tavrol_Database_Manager::Instance()->CloseAll();
                queueRuns.push_back(queue);
                queueRates.push_back(JobCount / queue.Seconds);
                std::printf("round %d long queue:    %6.2f s, %6.1f jobs/s, %d finished (%d "
                            "completed), %.2f ms own CPU per job, %.2f running on average\n",
                            round + 1, queue.Seconds, queueRates.back(), queue.Finished,
                            queue.Completed, queue.CpuSeconds * 1000 / JobCount,
                            queue.AverageRunning);
            } else {
                const SpoolerFigures spooler = RunSpooler(inputs, QDir(work.path()));
                if (spooler.Seconds <= 0) {
                    std::printf("round %d task-spooler:  not found\n", round + 1);
                    continue;
                }
                spoolerRates.push_back(JobCount / spooler.Seconds);
                std::printf("round %d task-spooler:  %6.2f s, %6.1f jobs/s, %d finished\n",
                            round + 1, spooler.Seconds, spoolerRates.back(), spooler.Finished);
            }
            std::fflush(stdout);
        }
    }

    const double queueRate = Median(queueRates);
    std::printf("median:        long queue %.1f jobs/s", queueRate);
    if (!spoolerRates.empty()) {
        const double spoolerRate = Median(spoolerRates);
        std::printf(", task-spooler %.1f jobs/s, ratio %.2f", spoolerRate, queueRate / spoolerRate);
    }
    std::printf("\n");
    // Memory of the first run, which started from a fresh process.
    const QueueFigures& first = queueRuns.front();
    std::printf("memory:        VmHWM %ld KiB before the first run, %ld KiB after it, %ld KiB at "
                "the end (peak)\n",
                first.HwmBeforeKiB, first.HwmAfterKiB, StatusKiB("VmHWM"));
    std::printf("               VmRSS %ld KiB before, %ld KiB after: %.2f KiB per finished job "
                "(peak growth %.2f KiB per job)\n",
                first.RssBeforeKiB, first.RssAfterKiB,
                double(first.RssAfterKiB - first.RssBeforeKiB) / JobCount,
                double(first.HwmAfterKiB - first.HwmBeforeKiB) / JobCount);
    return 0;
}
