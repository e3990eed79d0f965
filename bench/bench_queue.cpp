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

#include <cstdio>

namespace {

constexpr int JobCount = 2000;
constexpr int MaxRunning = 4;

QString StandinPath()
{
    return QStringLiteral(TAVROL_FIXTURES_DIR "/gaussian/g16/g16");
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

// Runs the event loop until the condition holds, looking every 5 ms.
template <typename Condition> void RunUntil(Condition condition)
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    poll.start(5);
    loop.exec();
}

struct QueueFigures
{
    double Seconds = 0;
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
    QElapsedTimer clock;
    clock.start();
    for (const QString& input : inputs)
        queue.AddJobFromFile(input, 0);
    RunUntil([&] { return finished.FinishedJobs().size() >= size_t(JobCount); });
    figures.Seconds = clock.nsecsElapsed() / 1e9;
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
    environment.insert(QStringLiteral("TMPDIR"), work.absolutePath());
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

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RunMode = RunModeConsole;
    QTemporaryDir work;
    const QStringList inputs = WriteInputs(QDir(work.path()));
    if (inputs.size() != JobCount || !OpenMemoryProject()) {
        std::fprintf(stderr, "bench_queue: set-up failed\n");
        return 1;
    }
    Tavrol_JobType::SetAll({Tavrol_JobType(
        0, QStringLiteral("Standin"), QStringLiteral("Standin"), StandinPath(),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Input Files (*.gjf)"), QStringLiteral("Output Files (*.log)"), QString())});

    const QueueFigures queue = RunQueue(inputs);
    const SpoolerFigures spooler = RunSpooler(inputs, QDir(work.path()));

    const double queueRate = JobCount / queue.Seconds;
    std::printf("jobs: %d through the long queue, maximum %d running\n", JobCount, MaxRunning);
    std::printf("long queue:    %.2f s, %.1f jobs/s, %d finished (%d completed)\n", queue.Seconds,
                queueRate, queue.Finished, queue.Completed);
    if (spooler.Seconds > 0) {
        const double spoolerRate = JobCount / spooler.Seconds;
        std::printf("task-spooler:  %.2f s, %.1f jobs/s, %d finished, 4 slots\n", spooler.Seconds,
                    spoolerRate, spooler.Finished);
        std::printf("ratio:         %.2f of task-spooler's rate\n", queueRate / spoolerRate);
    } else {
        std::printf("task-spooler:  not found\n");
    }
    std::printf("memory:        VmHWM %ld KiB before the jobs, %ld KiB at the end (peak)\n",
                queue.HwmBeforeKiB, queue.HwmAfterKiB);
    std::printf("               VmRSS %ld KiB before, %ld KiB after: %.2f KiB per finished job\n",
                queue.RssBeforeKiB, queue.RssAfterKiB,
                double(queue.RssAfterKiB - queue.RssBeforeKiB) / JobCount);
    std::printf("               peak growth %.2f KiB per finished job\n",
                double(queue.HwmAfterKiB - queue.HwmBeforeKiB) / JobCount);
    return 0;
}
