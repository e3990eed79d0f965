// Cluster job types: N jobs of a program that exits at once, run through
// Tavrol's queueless list with a cluster job type (tavrol-slurm), against the
// same N submitted by a plain shell loop of `sbatch --wait` (all at once, as
// the queueless list starts them), on the tests' private single-node
// cluster. Needs root, which the cluster's daemons need.
//
//   bench_slurm [N] [both|shell|tavrol]      (default 200 both)
//
// Beside each time it prints the processor time slurmctld used meanwhile:
// what the submitting side costs the controller.

#include "slurmcluster.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>

#include <cstdio>

namespace {

QString BesideTavrol(const QString& name)
{
    return QFileInfo(QStringLiteral(TAVROL_BINARY)).dir().filePath(name);
}

bool WaitForOutput(QProcess& process, const QByteArray& text, int timeoutMs)
{
    QByteArray output;
    QElapsedTimer timer;
    timer.start();
    while (!output.contains(text) && timer.elapsed() < timeoutMs) {
        process.waitForReadyRead(100);
        output += process.readAllStandardOutput();
    }
    if (output.contains(text))
        return true;
    std::fprintf(stderr, "bench_slurm: Tavrol did not say \"%s\"; it said:\n%s%s\n",
                 text.constData(), output.right(2000).constData(),
                 process.readAllStandardError().right(2000).constData());
    return false;
}

// A port nobody listens on now, for Tavrol's two servers.
QString FreePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return QString::number(server.serverPort());
}

double ShellLoopSeconds(const E2E::SlurmCluster& cluster, int jobs, const QString& directory)
{
    QProcess shell;
    shell.setProcessEnvironment(cluster.Environment(QProcessEnvironment::systemEnvironment()));
    shell.setWorkingDirectory(directory);
    const QString script =
        QStringLiteral("for i in $(seq %1); do sbatch --wait -Q -o /dev/null --wrap true & done; "
                       "wait")
            .arg(jobs);
    QElapsedTimer timer;
    timer.start();
    shell.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), script});
    shell.waitForFinished(-1);
    return timer.nsecsElapsed() / 1e9;
}

double TavrolSeconds(const E2E::SlurmCluster& cluster, int jobs, int& completed)
{
    QTemporaryDir home;
    QDir(home.path()).mkpath(QStringLiteral("prefs"));
    QProcessEnvironment environment = cluster.Environment(QProcessEnvironment::systemEnvironment());
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral(".config")));
    environment.insert(QStringLiteral("TAVROLPREFS_DIR"), home.filePath(QStringLiteral("prefs")));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("TAVROL_GUI_PORT"), FreePort());
    environment.insert(QStringLiteral("TAVROL_CONSOLE_PORT"), FreePort());
    QStringList files;
    for (int index = 0; index < jobs; ++index) {
        const QString path = home.filePath(QStringLiteral("job%1.inp").arg(index));
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        files << path;
    }
    QProcess tavrol;
    tavrol.setProcessEnvironment(environment);
    tavrol.setWorkingDirectory(home.path());
    tavrol.start(QStringLiteral(TAVROL_BINARY), {QStringLiteral("-console")});
    if (!WaitForOutput(tavrol, "<Tavrol> ", 30000))
        return -1;
    tavrol.write("add cluster job type\nQuick\n/bin/true\n\n\n");
    if (!WaitForOutput(tavrol, "Job type Quick added", 30000))
        return -1;

    QProcess submit;
    submit.setProcessEnvironment(environment);
    submit.setWorkingDirectory(home.path());
    QElapsedTimer timer;
    timer.start();
    submit.start(BesideTavrol(QStringLiteral("tavrol-submit")),
                 QStringList{QStringLiteral("--type"), QStringLiteral("Quick"),
                             QStringLiteral("--queue"), QStringLiteral("queueless"),
                             QStringLiteral("--timeout"), QStringLiteral("3600"),
                             QStringLiteral("--wait")} +
                     files);
    submit.waitForFinished(-1);
    const double seconds = timer.nsecsElapsed() / 1e9;
    const QByteArray lines = submit.readAllStandardOutput();
    completed = static_cast<int>(lines.count(": completed, exit code 0\n"));
    if (completed != jobs)
        std::fprintf(stderr, "tavrol-submit ended %d:\n%s%s\n", submit.exitCode(),
                     lines.right(2000).constData(),
                     submit.readAllStandardError().right(2000).constData());
    tavrol.write("quit\nyes\nno\n");
    if (!tavrol.waitForFinished(30000))
        tavrol.kill();
    tavrol.waitForFinished(10000);
    return seconds;
}

struct Half
{
    double Seconds = 0;
    double ControllerSeconds = 0;
};

template <typename Run> Half Measure(const E2E::SlurmCluster& cluster, Run run)
{
    const qint64 before = cluster.DaemonCpuMs(QStringLiteral("slurmctld"));
    Half half;
    half.Seconds = run();
    half.ControllerSeconds = (cluster.DaemonCpuMs(QStringLiteral("slurmctld")) - before) / 1000.0;
    return half;
}

void Print(const char* label, const Half& half)
{
    std::printf("  %-30s %8.1f s   (slurmctld CPU %6.1f s)\n", label, half.Seconds,
                half.ControllerSeconds);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    const int jobs = argc > 1 ? std::atoi(argv[1]) : 200;
    const QByteArray mode = argc > 2 ? QByteArray(argv[2]) : QByteArray("both");
    const bool shellHalf = mode == "both" || mode == "shell";
    const bool tavrolHalf = mode == "both" || mode == "tavrol";
    if (jobs <= 0 || (!shellHalf && !tavrolHalf)) {
        std::fprintf(stderr, "usage: bench_slurm [N] [both|shell|tavrol]\n");
        return 2;
    }
    if (!E2E::SlurmCluster::IsRoot()) {
        std::fprintf(stderr, "bench_slurm: needs root for the cluster's daemons\n");
        return 1;
    }
    E2E::SlurmCluster cluster;
    if (!cluster.Start()) {
        std::fprintf(stderr, "bench_slurm: %s\n", qPrintable(cluster.Problem()));
        return 1;
    }
    QTemporaryDir work;
    Half shell;
    if (shellHalf)
        shell = Measure(cluster, [&] { return ShellLoopSeconds(cluster, jobs, work.path()); });
    int completed = 0;
    Half tavrol;
    if (tavrolHalf)
        tavrol = Measure(cluster, [&] { return TavrolSeconds(cluster, jobs, completed); });
    std::printf("%d jobs of /bin/true on a single-node cluster", jobs);
    if (tavrolHalf)
        std::printf(" (%d completed through Tavrol)", completed);
    std::printf("\n");
    if (shellHalf)
        Print("shell loop of sbatch --wait", shell);
    if (tavrolHalf)
        Print("Tavrol queueless list", tavrol);
    if (shellHalf && tavrolHalf)
        std::printf("  Tavrol over the shell loop     %+7.1f %%\n",
                    (tavrol.Seconds / shell.Seconds - 1) * 100);
    return 0;
}
