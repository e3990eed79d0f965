// Runs many jobs of a program that exits at once through the job path (Start,
// the runner, ProcessFinishedSlot) and as many plain QProcess start-and-wait
// cycles of the same program, and compares their rates. Also times one read
// of the process table.
//
// Usage: bench_jobs [count] [program]   (defaults: 1000, /bin/true)

#include "jobs/job.h"
#include "processes/process.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>

#include <cstdio>
#include <vector>

namespace {

constexpr int BlockSize = 100; // the two paths take turns in blocks of this size

Tavrol_JobType MakeType(const QString& program)
{
    return Tavrol_JobType(1, QStringLiteral("Quick"), QStringLiteral("quick"), program,
                          QStringLiteral("Short"), QStringLiteral("@EXEFILE"), QString(), QString(),
                          QString());
}

// One job through Start and ProcessFinishedSlot; false if it did not complete.
bool RunOneJob(const Tavrol_JobType& type, int id)
{
    Tavrol_Job job(QStringLiteral("quick %1").arg(id), type, QString(), QString(), QString(), -1,
                   -1, -1, 1, QStringLiteral("Short"), QString(), QString(), id, QString());
    job.SetStatus(JobStatusPending, true);
    QEventLoop loop;
    QObject::connect(&job, &Tavrol_Job::JobFinishedSignal, &loop, &QEventLoop::quit);
    if (!job.Start())
        return false;
    loop.exec();
    return job.Status == JobStatusCompleted && job.Process == nullptr;
}

bool RunOneProcess(const QString& program)
{
    QProcess process;
    process.start(program, {});
    return process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

double Rate(int count, qint64 nanoseconds)
{
    return nanoseconds > 0 ? count * 1e9 / double(nanoseconds) : 0.0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const int count = arguments.size() > 1 ? arguments.at(1).toInt() : 1000;
    const QString program = arguments.size() > 2 ? arguments.at(2) : QStringLiteral("/bin/true");
    if (count <= 0) {
        std::fprintf(stderr, "usage: bench_jobs [count] [program]\n");
        return 2;
    }
    const Tavrol_JobType type = MakeType(program);

    // Warm both paths up so that neither pays for first use.
    for (int i = 0; i < 10; ++i) {
        RunOneJob(type, i);
        RunOneProcess(program);
    }

    qint64 jobNanoseconds = 0;
    qint64 processNanoseconds = 0;
    int jobFailures = 0;
    int processFailures = 0;
    QElapsedTimer timer;
    for (int done = 0; done < count; done += BlockSize) {
        const int block = qMin(BlockSize, count - done);
        timer.start();
        for (int i = 0; i < block; ++i)
            jobFailures += RunOneJob(type, done + i) ? 0 : 1;
        jobNanoseconds += timer.nsecsElapsed();
        timer.start();
        for (int i = 0; i < block; ++i)
            processFailures += RunOneProcess(program) ? 0 : 1;
        processNanoseconds += timer.nsecsElapsed();
    }

    std::vector<Tavrol_Process> rows;
    timer.start();
    Tavrol_Process::ReadProcessTable(rows);
    const qint64 tableNanoseconds = timer.nsecsElapsed();

    const double jobRate = Rate(count, jobNanoseconds);
    const double processRate = Rate(count, processNanoseconds);
    std::printf("program:             %s\n", qPrintable(program));
    std::printf("jobs:                %d in %.3f s, %.1f per second (%d not completed)\n", count,
                jobNanoseconds / 1e9, jobRate, jobFailures);
    std::printf("plain processes:     %d in %.3f s, %.1f per second (%d failed)\n", count,
                processNanoseconds / 1e9, processRate, processFailures);
    std::printf("ratio job/plain:     %.3f (time per job over time per plain process; "
                "target <= 1.3)\n",
                processNanoseconds > 0 ? double(jobNanoseconds) / double(processNanoseconds) : 0.0);
    std::printf("ReadProcessTable:    %.2f ms for %zu rows\n", tableNanoseconds / 1e6, rows.size());
    return jobFailures == 0 && processFailures == 0 ? 0 : 1;
}
