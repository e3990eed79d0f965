// tavrol-slurm's parts that need no cluster: its arguments, the batch script,
// reading scontrol's job line, the table of final states, and how it ends
// without Slurm; and the cluster job type that Tavrol makes for it.

#include "jobtypes/clusterjobtype.h"
#include "slurm/slurmrunner.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace TavrolSlurm;

namespace {

// What the link of a descriptor says, as "pipe:[inode]".
QString LinkText(const QString& path)
{
    char target[256] = {};
    const ssize_t length = ::readlink(QFile::encodeName(path).constData(), target, sizeof target);
    return length > 0 ? QString::fromLatin1(target, static_cast<int>(length)) : QString();
}

QString PipeName(int fd)
{
    return LinkText(QStringLiteral("/proc/self/fd/%1").arg(fd));
}

// The processes of ours, other than this one, with the pipe open.
QStringList HoldersOf(const QString& pipe)
{
    QStringList holders;
    const QString self = QString::number(::getpid());
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& pid : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (pid == self || pid.toInt() <= 0)
            continue;
        const QDir fds(proc.filePath(pid + QStringLiteral("/fd")));
        for (const QString& fd : fds.entryList(QDir::System | QDir::NoDotAndDotDot)) {
            if (LinkText(fds.filePath(fd)) == pipe)
                holders << pid;
        }
    }
    return holders;
}

// A runner of /bin/true in the directory, with a PATH that has no Slurm.
void StartWithoutSlurm(QProcess& runner, const QString& directory)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), directory);
    runner.setProcessEnvironment(environment);
    runner.setWorkingDirectory(directory);
    runner.start(QStringLiteral(TAVROL_SLURM_BINARY),
                 {QStringLiteral("--"), QStringLiteral("/bin/true")});
}

} // namespace

class TestSlurmRunner : public QObject
{
    Q_OBJECT

private slots:
    void arguments()
    {
        Invocation invocation;
        QVERIFY(ParseArguments({"--partition=chem", "--mem=16G", "--", "/opt/p", "a.inp", "--"},
                               invocation));
        QCOMPARE(invocation.SbatchOptions,
                 (std::vector<std::string>{"--partition=chem", "--mem=16G"}));
        QCOMPARE(invocation.Program, (std::vector<std::string>{"/opt/p", "a.inp", "--"}));
        QVERIFY(!ParseArguments({"--partition=chem", "/opt/p"}, invocation));
        QVERIFY(!ParseArguments({"--partition=chem", "--"}, invocation));
        QVERIFY(!ParseArguments({}, invocation));
    }

    void batchScript()
    {
        QCOMPARE(ShellQuoted("it's"), std::string("'it'\\''s'"));
        QCOMPARE(BatchScript({"/opt/g 16/g16", "a b.gjf", "$HOME"}),
                 std::string("#!/bin/sh\nexec '/opt/g 16/g16' 'a b.gjf' '$HOME'\n"));
    }

    void jobLine()
    {
        JobState state;
        QVERIFY(
            ParseJobLine("JobId=12 JobName=x UserId=root(0) JobState=FAILED "
                         "Reason=NonZeroExitCode Dependency=(null) ExitCode=3:0 Command=(null)\n",
                         state));
        QCOMPARE(state.State, std::string("FAILED"));
        QCOMPARE(state.ExitCode, 3);
        QCOMPARE(state.Signal, 0);
        QVERIFY(ParseJobLine("JobState=FAILED ExitCode=0:11", state));
        QCOMPARE(state.Signal, 11);
        QVERIFY(!ParseJobLine("slurm_load_jobs error: Invalid job id specified", state));
    }

    void finalStates()
    {
        for (const char* state : {"COMPLETED", "FAILED", "CANCELLED", "TIMEOUT", "NODE_FAIL",
                                  "PREEMPTED", "OUT_OF_MEMORY", "BOOT_FAIL", "DEADLINE"})
            QVERIFY2(IsFinalState(state), state);
        for (const char* state :
             {"PENDING", "RUNNING", "COMPLETING", "SUSPENDED", "CONFIGURING", "REQUEUED", ""})
            QVERIFY2(!IsFinalState(state), state);
    }

    void outcomes_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<int>("signal");
        QTest::addColumn<int>("expectedExit");
        QTest::addColumn<int>("expectedSignal");
        QTest::addColumn<QString>("reason");
        QTest::newRow("completed") << "COMPLETED" << 0 << 0 << 0 << 0 << "";
        QTest::newRow("failed") << "FAILED" << 3 << 0 << 3 << 0 << "";
        QTest::newRow("signal") << "FAILED" << 0 << 11 << 0 << 11 << "";
        QTest::newRow("failed without a code")
            << "FAILED" << 0 << 0 << 206 << 0 << "Slurm job 7 ended in state FAILED";
        QTest::newRow("cancelled")
            << "CANCELLED" << 0 << 15 << 201 << 0 << "Slurm job 7 was cancelled";
        QTest::newRow("timeout") << "TIMEOUT" << 0 << 0 << 202 << 0
                                 << "Slurm job 7 reached its time limit";
        QTest::newRow("node fail")
            << "NODE_FAIL" << 0 << 0 << 203 << 0 << "Slurm job 7 ended because its node failed";
        QTest::newRow("memory") << "OUT_OF_MEMORY" << 0 << 9 << 204 << 0
                                << "Slurm job 7 ran out of memory";
        QTest::newRow("preempted")
            << "PREEMPTED" << 0 << 0 << 205 << 0 << "Slurm job 7 was preempted";
        QTest::newRow("boot fail")
            << "BOOT_FAIL" << 0 << 0 << 206 << 0 << "Slurm job 7 ended in state BOOT_FAIL";
    }

    void outcomes()
    {
        QFETCH(QString, state);
        QFETCH(int, exitCode);
        QFETCH(int, signal);
        QFETCH(int, expectedExit);
        QFETCH(int, expectedSignal);
        QFETCH(QString, reason);
        JobState job;
        job.State = state.toStdString();
        job.ExitCode = exitCode;
        job.Signal = signal;
        const Outcome outcome = OutcomeOf(job, "7");
        QCOMPARE(outcome.ExitCode, expectedExit);
        QCOMPARE(outcome.Signal, expectedSignal);
        QCOMPARE(QString::fromStdString(outcome.Reason), reason);
    }

    void usage()
    {
        QProcess runner;
        runner.start(QStringLiteral(TAVROL_SLURM_BINARY), {QStringLiteral("/bin/true")});
        runner.closeWriteChannel();
        QVERIFY(runner.waitForFinished(10000));
        QCOMPARE(runner.exitCode(), 2);
        QCOMPARE(runner.readAllStandardError(),
                 QByteArray("usage: tavrol-slurm [sbatch options] -- program [arguments]\n"));
    }

    // Without sbatch there is no job, and the runner says so at once.
    void noSbatch()
    {
        QTemporaryDir directory;
        QProcess runner;
        StartWithoutSlurm(runner, directory.path());
        // A pipe on standard input is read to its end for the job.
        runner.closeWriteChannel();
        QVERIFY(runner.waitForFinished(20000));
        QCOMPARE(runner.exitStatus(), QProcess::NormalExit);
        QCOMPARE(runner.exitCode(), 207);
        QCOMPARE(runner.readAllStandardError(),
                 QByteArray("tavrol-slurm: sbatch could not submit the job\n"));
        QCOMPARE(QDir(directory.path())
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    // A descriptor the runner was given by its parent stays open neither in
    // it nor in its guard, which outlives it here: without squeue the guard
    // keeps trying to cancel for half a minute.
    void inheritedDescriptorsAreClosed()
    {
        int ends[2];
        QCOMPARE(::pipe(ends), 0);
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        const QString inherited = PipeName(ends[1]);
        QVERIFY(inherited.startsWith(QLatin1String("pipe:[")));
        QTemporaryDir directory;
        QProcess runner;
        StartWithoutSlurm(runner, directory.path());
        ::close(ends[1]);
        runner.closeWriteChannel();
        QVERIFY(runner.waitForFinished(20000));
        QCOMPARE(runner.exitCode(), 207);
        QCOMPARE(HoldersOf(inherited), QStringList());
        char byte = 0;
        QCOMPARE(::read(ends[0], &byte, 1), ssize_t(0));
        ::close(ends[0]);
    }

    void clusterJobType()
    {
        const Tavrol_JobType type = Tavrol_ClusterJobType::Make(
            QStringLiteral(" G16 on chem "), QStringLiteral("/opt/g16/g16"), QStringLiteral("chem"),
            QStringLiteral(" --cpus-per-task=8   --mem=16G "),
            QStringLiteral("/usr/bin/tavrol-slurm"));
        QCOMPARE(type.Name, QStringLiteral("G16 on chem"));
        QCOMPARE(type.ApplicationName, QStringLiteral("g16"));
        QCOMPARE(type.ExecutablePath, QStringLiteral("/usr/bin/tavrol-slurm"));
        QCOMPARE(type.DefaultQueue, QStringLiteral("Long"));
        QCOMPARE(type.GenericCommandLine,
                 QStringLiteral("@EXEFILE --partition=chem --cpus-per-task=8 --mem=16G -- "
                                "/opt/g16/g16 @INFILE @OUTFILE"));
        QCOMPARE(type.InputFileFilter, QStringLiteral("All Files (*)"));
        QCOMPARE(type.OutputFileFilter, QStringLiteral("Output Files (*.out)"));
        QCOMPARE(Tavrol_ClusterJobType::Make(QStringLiteral("x"), QStringLiteral("/p"), QString(),
                                             QString(), QStringLiteral("/r"))
                     .GenericCommandLine,
                 QStringLiteral("@EXEFILE -- /p @INFILE @OUTFILE"));
    }
};

QTEST_GUILESS_MAIN(TestSlurmRunner)
#include "tst_slurmrunner.moc"
