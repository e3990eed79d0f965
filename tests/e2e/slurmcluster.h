#pragma once

// A private single-node Slurm cluster for one test program: munged with its
// own key and socket, slurmctld and slurmd in the foreground on free ports,
// every file in a temporary directory. The node is this host with its real
// processors and memory. Daemons run as root, so the cluster needs root.

#include "processcpu.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <utility>
#include <vector>

#include <unistd.h>

namespace E2E {

class SlurmCluster
{
public:
    SlurmCluster() = default;
    SlurmCluster(const SlurmCluster&) = delete;
    SlurmCluster& operator=(const SlurmCluster&) = delete;
    ~SlurmCluster() { Stop(); }

    static bool IsRoot() { return ::geteuid() == 0; }

    // Starts the daemons and waits until the node is idle; on failure
    // Problem() says why.
    bool Start()
    {
        if (!m_dir.isValid())
            return Fail(QStringLiteral("no temporary directory"));
        // munged wants every directory above its socket searchable by all.
        QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                                                QFileDevice::ExeGroup | QFileDevice::ReadOther |
                                                QFileDevice::ExeOther);
        for (const char* sub : {"munge", "socket", "state", "spool", "log"})
            QDir(m_dir.path()).mkpath(QString::fromLatin1(sub));
        QFile::setPermissions(Path(QStringLiteral("munge")), QFileDevice::ReadOwner |
                                                                 QFileDevice::WriteOwner |
                                                                 QFileDevice::ExeOwner);
        const QString key = Path(QStringLiteral("munge/munge.key"));
        if (!RunQuietly(QStringLiteral("mungekey"),
                        {QStringLiteral("--create"), QStringLiteral("--keyfile=") + key}))
            return Fail(QStringLiteral("mungekey failed"));
        if (!StartDaemon(
                QStringLiteral("munged"),
                {QStringLiteral("-F"), QStringLiteral("--socket=") + MungeSocket(),
                 QStringLiteral("--key-file=") + key,
                 QStringLiteral("--log-file=") + Path(QStringLiteral("munge/munged.log")),
                 QStringLiteral("--pid-file=") + Path(QStringLiteral("munge/munged.pid")),
                 QStringLiteral("--seed-file=") + Path(QStringLiteral("munge/munged.seed"))}))
            return false;
        if (!WaitFor([this] { return QFile::exists(MungeSocket()); }, 20000))
            return Fail(QStringLiteral("munged made no socket"));
        if (!WriteConfiguration())
            return false;
        if (!StartDaemon(QStringLiteral("slurmctld"),
                         {QStringLiteral("-D"), QStringLiteral("-i")}) ||
            !StartDaemon(QStringLiteral("slurmd"), {QStringLiteral("-D")}))
            return false;
        if (!WaitFor([this] { return NodeState() == QLatin1String("idle"); }, 60000))
            return Fail(QStringLiteral("the node did not become idle: ") + NodeState() +
                        QStringLiteral("\n") + Logs());
        return true;
    }

    // The environment of the Slurm clients (and of Tavrol, which starts them).
    QProcessEnvironment Environment(QProcessEnvironment base) const
    {
        base.insert(QStringLiteral("SLURM_CONF"), ConfigurationFile());
        return base;
    }

    QString ConfigurationFile() const { return Path(QStringLiteral("slurm.conf")); }
    QString Problem() const { return m_problem; }

    // The ids of the jobs Slurm has not ended; null when squeue failed.
    QStringList Jobs(const QString& format = QStringLiteral("%i")) const
    {
        QString output;
        if (!RunClient(QStringLiteral("squeue"),
                       {QStringLiteral("-h"), QStringLiteral("-o"), format}, &output))
            return QStringList{QStringLiteral("(squeue failed)")};
        return output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    bool RunClient(const QString& program, const QStringList& arguments, QString* output = nullptr,
                   const QByteArray& input = QByteArray()) const
    {
        QProcess process;
        process.setProcessEnvironment(Environment(QProcessEnvironment::systemEnvironment()));
        process.start(program, arguments);
        if (!process.waitForStarted(10000))
            return false;
        if (!input.isEmpty())
            process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(30000)) {
            process.kill();
            process.waitForFinished(5000);
            return false;
        }
        if (output)
            *output = QString::fromLocal8Bit(process.readAllStandardOutput());
        return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    }

    // Processor time the daemon of this name has used so far, in ms; -1 when
    // it is not running.
    qint64 DaemonCpuMs(const QString& name) const
    {
        for (const auto& daemon : m_daemons) {
            if (QFileInfo(daemon->program()).fileName() != name)
                continue;
            const long long ticks = TestSupport::ProcessCpuTicks(daemon->processId());
            if (ticks < 0)
                return -1;
            return ticks * 1000 / ::sysconf(_SC_CLK_TCK);
        }
        return -1;
    }

    // What the daemons wrote, for a failure's message.
    QString Logs() const
    {
        QString text;
        for (const char* name : {"log/slurmctld.log", "log/slurmd.log", "munge/munged.log"}) {
            QFile log(Path(QString::fromLatin1(name)));
            if (log.open(QIODevice::ReadOnly))
                text += QStringLiteral("--- ") + log.fileName() + QStringLiteral(":\n") +
                        QString::fromLocal8Bit(log.readAll()).right(3000);
        }
        for (const auto& daemon : m_daemons) {
            QFile output(DaemonOutputPath(QFileInfo(daemon->program()).fileName()));
            if (output.open(QIODevice::ReadOnly))
                text += QStringLiteral("--- ") + daemon->program() + QStringLiteral(":\n") +
                        QString::fromLocal8Bit(output.readAll()).right(3000);
        }
        return text;
    }

    void Stop()
    {
        if (m_daemons.empty())
            return;
        // Jobs left running would outlive slurmd in their step daemons.
        RunClient(QStringLiteral("scancel"),
                  {QStringLiteral("--user=") + QString::number(::geteuid())});
        WaitFor([this] { return Jobs().isEmpty(); }, 20000);
        for (auto daemon = m_daemons.rbegin(); daemon != m_daemons.rend(); ++daemon) {
            (*daemon)->terminate();
            if (!(*daemon)->waitForFinished(15000)) {
                (*daemon)->kill();
                (*daemon)->waitForFinished(5000);
            }
        }
        m_daemons.clear();
    }

    template <typename Condition> static bool WaitFor(Condition condition, int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!condition()) {
            if (deadline.hasExpired())
                return false;
            QTest::qWait(100);
        }
        return true;
    }

private:
    QString Path(const QString& name) const { return m_dir.filePath(name); }
    QString DaemonOutputPath(const QString& name) const
    {
        return Path(QStringLiteral("log/") + name + QStringLiteral(".output"));
    }
    QString MungeSocket() const { return Path(QStringLiteral("socket/munge.sock")); }

    bool Fail(const QString& problem)
    {
        m_problem = problem;
        return false;
    }

    static QString Program(const QString& name)
    {
        const QString found = QStandardPaths::findExecutable(name);
        if (!found.isEmpty())
            return found;
        return QStandardPaths::findExecutable(
            name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    }

    bool RunQuietly(const QString& name, const QStringList& arguments, QString* output = nullptr)
    {
        QProcess process;
        process.start(Program(name), arguments);
        if (!process.waitForFinished(30000))
            return false;
        if (output)
            *output = QString::fromLocal8Bit(process.readAllStandardOutput());
        return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    }

    bool StartDaemon(const QString& name, const QStringList& arguments)
    {
        const QString program = Program(name);
        if (program.isEmpty())
            return Fail(name + QStringLiteral(" is not installed (bash scripts/install-deps.sh)"));
        auto daemon = std::make_unique<QProcess>();
        daemon->setProcessEnvironment(Environment(QProcessEnvironment::systemEnvironment()));
        // Into a file, not a pipe: a daemon in the foreground also logs to
        // its standard error, and a pipe nobody drains while a test waits
        // would fill and make each of its log lines wait.
        daemon->setProcessChannelMode(QProcess::MergedChannels);
        daemon->setStandardOutputFile(DaemonOutputPath(name));
        daemon->start(program, arguments);
        if (!daemon->waitForStarted(10000))
            return Fail(name + QStringLiteral(" did not start"));
        m_daemons.push_back(std::move(daemon));
        return true;
    }

    // Two ports nobody listens on, taken while both are held.
    static std::pair<quint16, quint16> FreePorts()
    {
        QTcpServer first;
        QTcpServer second;
        first.listen(QHostAddress::LocalHost, 0);
        second.listen(QHostAddress::LocalHost, 0);
        return {first.serverPort(), second.serverPort()};
    }

    // This host as `slurmd -C` sees it: its name, processors and memory.
    bool WriteConfiguration()
    {
        QString hardware;
        if (!RunQuietly(QStringLiteral("slurmd"), {QStringLiteral("-C")}, &hardware))
            return Fail(QStringLiteral("slurmd -C failed"));
        const QString node = hardware.section(QLatin1Char('\n'), 0, 0).trimmed();
        const QString nodeName = node.section(QLatin1Char(' '), 0, 0).section(QLatin1Char('='), 1);
        if (!node.startsWith(QLatin1String("NodeName=")) || nodeName.isEmpty())
            return Fail(QStringLiteral("slurmd -C said: ") + hardware);
        const auto ports = FreePorts();
        const QString text =
            QStringLiteral("ClusterName=tavroltest\n"
                           "SlurmctldHost=%1(127.0.0.1)\n"
                           "SlurmctldPort=%2\n"
                           "SlurmdPort=%3\n"
                           "SlurmUser=root\n"
                           "SlurmdUser=root\n"
                           "AuthType=auth/munge\n"
                           "CredType=cred/munge\n"
                           "AuthInfo=socket=%4\n"
                           "StateSaveLocation=%5/state\n"
                           "SlurmdSpoolDir=%5/spool\n"
                           "SlurmctldPidFile=%5/slurmctld.pid\n"
                           "SlurmdPidFile=%5/slurmd.pid\n"
                           "SlurmctldLogFile=%5/log/slurmctld.log\n"
                           "SlurmdLogFile=%5/log/slurmd.log\n"
                           "ProctrackType=proctrack/linuxproc\n"
                           "TaskPlugin=task/none\n"
                           "JobAcctGatherType=jobacct_gather/none\n"
                           "AccountingStorageType=accounting_storage/none\n"
                           "JobCompType=jobcomp/none\n"
                           "SchedulerType=sched/backfill\n"
                           "SelectType=select/cons_tres\n"
                           "SelectTypeParameters=CR_CPU\n"
                           "MpiDefault=none\n"
                           "ReturnToService=2\n"
                           "InactiveLimit=0\n"
                           "KillWait=5\n"
                           "MinJobAge=300\n"
                           "%6 NodeAddr=127.0.0.1 State=UNKNOWN\n"
                           "PartitionName=tavrol Nodes=ALL Default=YES MaxTime=INFINITE "
                           "State=UP\n")
                .arg(nodeName)
                .arg(ports.first)
                .arg(ports.second)
                .arg(MungeSocket(), m_dir.path(), node);
        QFile file(ConfigurationFile());
        if (!file.open(QIODevice::WriteOnly) || file.write(text.toLocal8Bit()) != text.size())
            return Fail(QStringLiteral("cannot write slurm.conf"));
        return true;
    }

    QString NodeState() const
    {
        QString output;
        if (!RunClient(QStringLiteral("sinfo"),
                       {QStringLiteral("-h"), QStringLiteral("-o"), QStringLiteral("%t")}, &output))
            return QStringLiteral("(sinfo failed)");
        return output.trimmed();
    }

    QTemporaryDir m_dir;
    std::vector<std::unique_ptr<QProcess>> m_daemons;
    QString m_problem;
};

} // namespace E2E
