#include "jobs/job.h"

#include "app/globals.h"
#include "platform/process.h"
#include "processes/finishedjobswidget.h"
#include "processes/process.h"
#include "server/message.h"
#include "store/steadylocalzone.h"
#include "testsupport.h"
#include "window/appwindow.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using TestSupport::IsAlive;
using TestSupport::ReceiveAll;
using TestSupport::WriteFile;

namespace {

const char* const CubmanTemplate =
    "@EXEFILE\n@KIND\n@INFILE1\ny\n@INFILE2\ny\n@OUTFILE\ny\n@SCALE\n";

QString Standin(const QString& program)
{
    return TestSupport::FixturePath(QStringLiteral("gaussian/g16/") + program);
}

Tavrol_JobType MakeType(const QString& executable, const QString& commandLine,
                        const QString& environment = QString())
{
    return Tavrol_JobType(1, QStringLiteral("Gaussian"), QStringLiteral("g16"), executable,
                          QStringLiteral("Long"), commandLine,
                          QStringLiteral("Gaussian Input Files (*.gjf *.com)"),
                          QStringLiteral("Gaussian Output Files (*.log *.out)"), environment);
}

std::unique_ptr<Tavrol_Job> MakeJob(const Tavrol_JobType& type, const QString& input)
{
    auto job = std::make_unique<Tavrol_Job>(QStringLiteral("job one"), type, QString(), QString(),
                                            QString(), -1, -1, -1, 0, QStringLiteral("Long"), input,
                                            QString(), 1, QStringLiteral("Opt"));
    job->SetStatus(JobStatusPending, true);
    return job;
}

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray("<missing>");
    return file.readAll();
}

std::vector<int> ChildrenOf(int pid)
{
    std::vector<Tavrol_Process> rows;
    Tavrol_Process::ReadProcessTable(rows);
    return Tavrol_Process::ChildProcessIDs(rows, pid);
}

// Runs the job and waits for its end; the status it ended with.
Tavrol_JobStatus RunToEnd(Tavrol_Job& job)
{
    QSignalSpy finished(&job, &Tavrol_Job::JobFinishedSignal);
    if (!job.Start() || !finished.wait(30000))
        return JobStatusUnknown;
    return job.Status;
}

void SetClient(Tavrol_Job& job, quint16 port)
{
    job.ClientName = QStringLiteral("Visualizer");
    job.ClientAppName = QStringLiteral("VisualizerApp");
    job.ClientAddress = QStringLiteral("127.0.0.1");
    job.ClientPort = port;
    job.ClientNotification = 1;
}

} // namespace

class TestJobExecution : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void completedJobCapturesMergedOutput();
    void failedJobHasNonZeroExitCode();
    void crashBySignalIsCrashed();
    void killedJobIsKilledAndItsChildrenDie();
    void deletedRunningJobEndsItsWholeProgram();
    void killedJobWithExitCodeThreeIsKilled();
    void finishedWhenThereIsNoProcess();
    void missingProgramEndsWithoutHanging();
    void notExecutableProgramEndsFailed();
    void missingStandardInputFileEndsFailed();
    void outputIsCutAtZeroByte();
    void standardInputTextReachesCubman();
    void standardInputFileTakesNewName();
    void submittersStandardInputFileWins();
    void lineFeedWithNothingBehindGivesNoFile();
    void standardOutputFileIsTruncated();
    void workingDirectoryIsInputDirectory();
    void startFailsWhenStandardInputFileCannotBeWritten();
    void killDoesNothingUnlessRunning();
    void killHandsCopyToFinishedJobsAtOnce();
    void environmentLineRules();
    void gaussMemdefNeedsPositiveInteger();
    void jobsStartedWhileTheZoneIsSteadyGetNoTZ();
    void gaussMemdefTakesSizesBeyond32Bits();
    void gaussMemdefUnexpandedReachesProgramUnchanged();
    void notificationReachesListenerAsExactBytes();
    void notificationComesAfterJobFinishedSignal();
    void notificationRefusals();
    void notificationToUnreachableClientIsDropped();
    void rootRunsJobAsClientUser();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString Path(const QString& name) const { return m_dir->filePath(name); }
};

void TestJobExecution::initTestCase()
{
    qunsetenv("GAUSS_MEMDEF");
    qunsetenv("STANDIN_EXIT");
    qunsetenv("STANDIN_SLEEP");
    qunsetenv("STANDIN_CRASH");
}

void TestJobExecution::init()
{
    RunMode = RunModeGUI;
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestJobExecution::completedJobCapturesMergedOutput()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "#p hf/sto-3g\n"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE @OUTFILE")),
        input);
    const QString output = Path(QStringLiteral("water.log"));
    QCOMPARE(job->OutputFilePath, output);

    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    QVERIFY(job->Start());
    QCOMPARE(job->Status, JobStatusRunning);
    QVERIFY(job->Started.isValid());
    QVERIFY(job->Process != nullptr);
    QVERIFY(job->StdOutAndStdErr.isEmpty());
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 1);
    QCOMPARE(job->Status, JobStatusCompleted);
    QVERIFY(job->Finished.isValid());
    QVERIFY(job->Process == nullptr);
    QCOMPARE(job->StdOutAndStdErr, QStringLiteral("g16 started: [%1] [%2]\n"
                                                  "g16 diagnostics\n"
                                                  "input: %1\n"
                                                  "output: %2\n")
                                       .arg(input, output));
    QCOMPARE(ReadFile(output), QStringLiteral("g16 output\ninput: %1\n").arg(input).toLatin1());
}

void TestJobExecution::failedJobHasNonZeroExitCode()
{
    const QString input = Path(QStringLiteral("fail.gjf"));
    QVERIFY(WriteFile(input, "#standin exit=3\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    QCOMPARE(RunToEnd(*job), JobStatusFailed);
    QVERIFY(job->StdOutAndStdErr.startsWith(QStringLiteral("g16 started: [%1]\n").arg(input)));
}

void TestJobExecution::crashBySignalIsCrashed()
{
    const QString input = Path(QStringLiteral("crash.gjf"));
    QVERIFY(WriteFile(input, "#standin crash=SEGV\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    QCOMPARE(RunToEnd(*job), JobStatusCrashed);
    QVERIFY(job->StdOutAndStdErr.contains(QLatin1String("g16 diagnostics\n")));
}

void TestJobExecution::killedJobIsKilledAndItsChildrenDie()
{
    const QString input = Path(QStringLiteral("long.gjf"));
    QVERIFY(WriteFile(input, "#standin sleep=300\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    QVERIFY(job->Start());
    QVERIFY(job->Process->waitForStarted(30000));
    const int pid = job->Process->ProcessID();
    QTRY_VERIFY_WITH_TIMEOUT(!ChildrenOf(pid).empty(), 30000);
    const std::vector<int> children = ChildrenOf(pid);

    job->Kill();
    // The end is not delivered from inside Kill.
    QCOMPARE(job->Status, JobStatusRunning);
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(job->Status, JobStatusKilled);
    QVERIFY(job->Process == nullptr);
    for (const int child : children)
        QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(child), 30000);
}

// A job deleted while its program runs (at exit, one the kill loop passed
// over) ends the program and its children, not the top process alone.
void TestJobExecution::deletedRunningJobEndsItsWholeProgram()
{
    const QString input = Path(QStringLiteral("left.gjf"));
    QVERIFY(WriteFile(input, "#standin sleep=300\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    QVERIFY(job->Start());
    QVERIFY(job->Process->waitForStarted(30000));
    const int pid = job->Process->ProcessID();
    QTRY_VERIFY_WITH_TIMEOUT(!ChildrenOf(pid).empty(), 30000);
    const std::vector<int> children = ChildrenOf(pid);

    job.reset();
    QVERIFY(!IsAlive(pid));
    for (const int child : children)
        QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(child), 30000);
}

void TestJobExecution::killedJobWithExitCodeThreeIsKilled()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress(QHostAddress::LocalHost), 0));
    const QString input = Path(QStringLiteral("three.gjf"));
    QVERIFY(WriteFile(input, "#standin exit=3\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    SetClient(*job, listener.serverPort());
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    QVERIFY(job->Start());
    // The program has exited with 3, but its end is not yet handled when the
    // kill comes.
    QVERIFY(job->Process->waitForFinished(30000));
    QCOMPARE(job->Process->exitCode(), 3);
    job->Kill();
    QVERIFY(finished.wait(30000));
    QCOMPARE(job->Status, JobStatusKilled);
    const QByteArray received = ReceiveAll(listener);
    QVERIFY(received.contains("\njobstatus=killed\njobexitcode=3\n"));
}

void TestJobExecution::finishedWhenThereIsNoProcess()
{
    auto job =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE")), QString());
    job->SetStatus(JobStatusRunning, true);
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    job->ProcessFinishedSlot(true);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(job->Status, JobStatusFinished);
    QVERIFY(job->Finished.isValid());
    QVERIFY(job->StdOutAndStdErr.isEmpty());
}

void TestJobExecution::missingProgramEndsWithoutHanging()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(
        MakeType(Path(QStringLiteral("no/such/g16")), QStringLiteral("@EXEFILE @INFILE")), input);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(RunToEnd(*job), JobStatusFailed);
    QVERIFY(timer.elapsed() < 30000);
    QVERIFY(job->Process == nullptr);
}

void TestJobExecution::notExecutableProgramEndsFailed()
{
    const QString program = Path(QStringLiteral("g16"));
    QVERIFY(WriteFile(program, "#!/bin/sh\necho never\n"));
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(MakeType(program, QStringLiteral("@EXEFILE @INFILE")), input);
    QCOMPARE(RunToEnd(*job), JobStatusFailed);
    QVERIFY(!job->StdOutAndStdErr.contains(QLatin1String("never")));
}

void TestJobExecution::missingStandardInputFileEndsFailed()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job =
        MakeJob(MakeType(Standin(QStringLiteral("freqchk")), QStringLiteral("@EXEFILE")), input);
    job->SetStandardInputFile(Path(QStringLiteral("no-such-answers.txt")));
    QCOMPARE(RunToEnd(*job), JobStatusFailed);
}

void TestJobExecution::outputIsCutAtZeroByte()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(
        MakeType(QStringLiteral("/usr/bin/printf"), QStringLiteral("@EXEFILE before\\000after")),
        input);
    job->StdOutAndStdErr = QStringLiteral("kept|");
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(job->StdOutAndStdErr, QStringLiteral("kept|before"));
}

void TestJobExecution::standardInputTextReachesCubman()
{
    const QString input = Path(QStringLiteral("density.cube"));
    QVERIFY(WriteFile(input, "cube\n"));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("out")));
    const QString output = Path(QStringLiteral("out/sum.cube"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("cubman")), QString::fromLatin1(CubmanTemplate)), input);
    job->OutputFilePath = output;
    job->Replacements = {{QStringLiteral("@KIND"), QStringLiteral("add")},
                         {QStringLiteral("@SCALE"), QStringLiteral("1.0")}};

    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    const QString answers = QStringLiteral("add\n%1\ny\n%2\ny\n1.0\n").arg(input, output);
    // Written beside the output file, and left there.
    QCOMPARE(ReadFile(Path(QStringLiteral("out/freqchk.inp"))), answers.toLatin1());
    QCOMPARE(job->StdOutAndStdErr, QStringLiteral("cubman started: []\n"
                                                  "cubman diagnostics\n"
                                                  "answer: add\n"
                                                  "answer: %1\n"
                                                  "answer: y\n"
                                                  "answer: %2\n"
                                                  "answer: y\n"
                                                  "answer: 1.0\n"
                                                  "input: %1\n"
                                                  "output: %2\n")
                                       .arg(input, output));
    QCOMPARE(ReadFile(output), QStringLiteral("cubman output\ninput: %1\n").arg(input).toLatin1());
    QVERIFY(!QFile::exists(Path(QStringLiteral("freqchk.inp"))));
}

void TestJobExecution::standardInputFileTakesNewName()
{
    const QString input = Path(QStringLiteral("water.fchk"));
    QVERIFY(WriteFile(input, "fchk\n"));
    const QString taken = Path(QStringLiteral("freqchk.inp"));
    QVERIFY(WriteFile(taken, "someone else's\n"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("freqchk")), QStringLiteral("@EXEFILE\n@INFILE\nN\n")),
        input);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(ReadFile(taken), QByteArray("someone else's\n"));
    QCOMPARE(ReadFile(Path(QStringLiteral("freqchk_1.inp"))),
             QStringLiteral("%1\nN\n").arg(input).toLatin1());
    QVERIFY(job->StdOutAndStdErr.contains(QStringLiteral("answer: %1\nanswer: N\n").arg(input)));
}

void TestJobExecution::submittersStandardInputFileWins()
{
    const QString input = Path(QStringLiteral("water.fchk"));
    QVERIFY(WriteFile(input, "fchk\n"));
    const QString answers = Path(QStringLiteral("answers.txt"));
    QVERIFY(WriteFile(answers, "mine\nY\n"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("freqchk")), QStringLiteral("@EXEFILE\n@INFILE\nN\n")),
        input);
    job->SetStandardInputFile(answers);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    // The template's text is still written, then left unused.
    QCOMPARE(ReadFile(Path(QStringLiteral("freqchk.inp"))),
             QStringLiteral("%1\nN\n").arg(input).toLatin1());
    QVERIFY(job->StdOutAndStdErr.contains(QLatin1String("answer: mine\nanswer: Y\n")));
    QVERIFY(!job->StdOutAndStdErr.contains(QLatin1String("answer: N")));
}

void TestJobExecution::lineFeedWithNothingBehindGivesNoFile()
{
    const QString input = Path(QStringLiteral("water.fchk"));
    QVERIFY(WriteFile(input, "fchk\n"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("freqchk")), QStringLiteral("@EXEFILE @INFILE\n")), input);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QVERIFY(QDir(m_dir->path()).entryList({QStringLiteral("freqchk*.inp")}, QDir::Files).isEmpty());
    QVERIFY(job->StdOutAndStdErr.startsWith(QStringLiteral("freqchk started: [%1]\n").arg(input)));
    QVERIFY(!job->StdOutAndStdErr.contains(QLatin1String("answer:")));
}

void TestJobExecution::standardOutputFileIsTruncated()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    const QString stdoutFile = Path(QStringLiteral("stdout.txt"));
    QVERIFY(WriteFile(stdoutFile, QByteArray(4096, 'O')));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    job->SetStandardOutputFile(stdoutFile);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(ReadFile(stdoutFile), QStringLiteral("g16 started: [%1]\n"
                                                  "g16 diagnostics\n"
                                                  "input: %1\n")
                                       .arg(input)
                                       .toLatin1());
    QVERIFY(job->StdOutAndStdErr.isEmpty());
}

void TestJobExecution::workingDirectoryIsInputDirectory()
{
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("inputs")));
    const QString input = Path(QStringLiteral("inputs/water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(MakeType(QStringLiteral("/bin/pwd"), QStringLiteral("@EXEFILE")), input);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(job->StdOutAndStdErr,
             QFileInfo(Path(QStringLiteral("inputs"))).canonicalFilePath() + QLatin1Char('\n'));
}

void TestJobExecution::startFailsWhenStandardInputFileCannotBeWritten()
{
    const QString input = Path(QStringLiteral("water.fchk"));
    QVERIFY(WriteFile(input, "fchk\n"));
    auto job = MakeJob(
        MakeType(Standin(QStringLiteral("freqchk")), QStringLiteral("@EXEFILE\n@INFILE\n")), input);
    job->OutputFilePath = Path(QStringLiteral("missing/dir/out.txt"));
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    QVERIFY(!job->Start());
    QCOMPARE(job->Status, JobStatusRunning);
    QVERIFY(job->Started.isValid());
    QVERIFY(job->Process == nullptr);
    QTest::qWait(100);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(job->Status, JobStatusRunning);
}

void TestJobExecution::killDoesNothingUnlessRunning()
{
    auto job =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE")), QString());
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    job->Kill();
    QCOMPARE(job->Status, JobStatusPending);
    job->SetStatus(JobStatusRunning, true);
    job->Kill(); // running, but no process
    QCOMPARE(job->Status, JobStatusRunning);
    QTest::qWait(100);
    QCOMPARE(finished.count(), 0);
}

void TestJobExecution::killHandsCopyToFinishedJobsAtOnce()
{
    RunMode = RunModeConsole;
    Tavrol_AppWindow window;
    window.BuildWidgets();
    TavrolAppWindow = &window;
    const auto forgetWindow = qScopeGuard([] { TavrolAppWindow = nullptr; });
    const QString input = Path(QStringLiteral("long.gjf"));
    QVERIFY(WriteFile(input, "#standin sleep=300\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    QSignalSpy finished(job.get(), &Tavrol_Job::JobFinishedSignal);
    QVERIFY(job->Start());
    QVERIFY(job->Process->waitForStarted(30000));
    job->Kill();
    // The copy is taken with the status the job has at that moment, and
    // carries no process.
    const auto& records = window.FinishedJobsView()->FinishedJobs();
    QCOMPARE(records.size(), std::size_t(1));
    QCOMPARE(records.front().Status, JobStatusRunning);
    QVERIFY(records.front().Process == nullptr);
    QCOMPARE(records.front().Name, job->Name);
    QVERIFY(finished.wait(30000));
    QCOMPARE(job->Status, JobStatusKilled);
    QCOMPARE(window.FinishedJobsView()->FinishedJobs().size(), std::size_t(1));
}

void TestJobExecution::environmentLineRules()
{
    qputenv("TAVROL_TEST_REPLACED", "old");
    qputenv("TAVROL_TEST_KEPT", "kept");
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE"),
                                QStringLiteral("TAVROL_TEST_REPLACED=new\n"
                                               "\n"
                                               "TAVROL_TEST_KEPT=a=b\n"
                                               "TAVROL_TEST_EMPTY=\n"
                                               "=novalue\n"
                                               "TAVROL_TEST_@suffix=@Value\n"
                                               "TAVROL_TEST_PLAIN=plain text")),
                       QString());
    job->Replacements = {{QString(), QStringLiteral("!")},
                         {QStringLiteral("@SUFFIX"), QStringLiteral("ONE")},
                         {QStringLiteral("@VALUE"), QStringLiteral("v1")}};
    const QProcessEnvironment environment = job->Environment();
    QCOMPARE(environment.value(QStringLiteral("TAVROL_TEST_REPLACED")), QStringLiteral("new"));
    QCOMPARE(environment.value(QStringLiteral("TAVROL_TEST_KEPT")), QStringLiteral("kept"));
    QVERIFY(!environment.contains(QStringLiteral("TAVROL_TEST_EMPTY")));
    QVERIFY(!environment.contains(QStringLiteral("novalue")));
    QCOMPARE(environment.value(QStringLiteral("TAVROL_TEST_ONE")), QStringLiteral("v1"));
    QCOMPARE(environment.value(QStringLiteral("TAVROL_TEST_PLAIN")), QStringLiteral("plain text"));
    QCOMPARE(environment.value(QStringLiteral("HOME")), qEnvironmentVariable("HOME"));
    qunsetenv("TAVROL_TEST_REPLACED");
    qunsetenv("TAVROL_TEST_KEPT");
}

// A submission reads the local zone once through a TZ of its own; a job it
// starts gets Tavrol's environment, without that TZ, and a TZ the user set
// is passed on as always.
void TestJobExecution::jobsStartedWhileTheZoneIsSteadyGetNoTZ()
{
    const QByteArray userZone = qgetenv("TZ");
    const bool userHadZone = qEnvironmentVariableIsSet("TZ");
    const auto restore = qScopeGuard([&] {
        if (userHadZone)
            qputenv("TZ", userZone);
        else
            qunsetenv("TZ");
    });
    auto job =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE")), QString());
    qunsetenv("TZ");
    {
        const Tavrol_SteadyLocalZone steady;
        QVERIFY(Tavrol_SteadyLocalZone::Pinned());
        QCOMPARE(qgetenv("TZ"), QByteArray(":/etc/localtime"));
        QVERIFY(!job->Environment().contains(QStringLiteral("TZ")));
    }
    QVERIFY(!Tavrol_SteadyLocalZone::Pinned());
    QVERIFY(!qEnvironmentVariableIsSet("TZ"));

    qputenv("TZ", "Europe/Berlin");
    {
        const Tavrol_SteadyLocalZone steady;
        QVERIFY(!Tavrol_SteadyLocalZone::Pinned());
        QCOMPARE(job->Environment().value(QStringLiteral("TZ")), QStringLiteral("Europe/Berlin"));
    }
    QCOMPARE(qgetenv("TZ"), QByteArray("Europe/Berlin"));
}

void TestJobExecution::gaussMemdefNeedsPositiveInteger()
{
    qputenv("GAUSS_MEMDEF", "111");
    const auto valueFor = [](const QString& line, const Tavrol_Replacements& replacements) {
        auto job = MakeJob(
            MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE"), line), QString());
        job->Replacements = replacements;
        return job->Environment().value(QStringLiteral("GAUSS_MEMDEF"));
    };
    const Tavrol_Replacements none;
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=@MEMORY"), none), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=0"), none), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=-5"), none), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=2GB"), none), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=1"), none), QStringLiteral("1"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=@MEMORY"),
                      {{QStringLiteral("@MEMORY"), QStringLiteral("2000000")}}),
             QStringLiteral("2000000"));
    QCOMPARE(valueFor(QStringLiteral("GAUSS_MEMDEF=@memory"),
                      {{QStringLiteral("@MEMORY"), QStringLiteral("0")}}),
             QStringLiteral("111"));
    // The name is tested without regard to case; the variable set keeps it.
    auto lower = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE"),
                                  QStringLiteral("my_gauss_memdef=lots\nMY_GAUSS_MEMDEF_B=7")),
                         QString());
    QVERIFY(!lower->Environment().contains(QStringLiteral("my_gauss_memdef")));
    QCOMPARE(lower->Environment().value(QStringLiteral("MY_GAUSS_MEMDEF_B")), QStringLiteral("7"));

    qunsetenv("GAUSS_MEMDEF");
    QVERIFY(!MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE"),
                              QStringLiteral("GAUSS_MEMDEF=@MEMORY")),
                     QString())
                 ->Environment()
                 .contains(QStringLiteral("GAUSS_MEMDEF")));
}

// Memory sizes of 2 GiB and more are ordinary: the value is read as a 64-bit
// integer, so only 0, negatives and non-numbers keep the environment's own.
void TestJobExecution::gaussMemdefTakesSizesBeyond32Bits()
{
    qputenv("GAUSS_MEMDEF", "111");
    const auto valueFor = [](const QString& memory) {
        auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE"),
                                    QStringLiteral("GAUSS_MEMDEF=@MEMORY")),
                           QString());
        job->Replacements = {{QStringLiteral("@MEMORY"), memory}};
        return job->Environment().value(QStringLiteral("GAUSS_MEMDEF"));
    };
    QCOMPARE(valueFor(QStringLiteral("2147483647")), QStringLiteral("2147483647"));
    QCOMPARE(valueFor(QStringLiteral("2147483648")), QStringLiteral("2147483648"));
    QCOMPARE(valueFor(QStringLiteral("3000000000")), QStringLiteral("3000000000"));
    QCOMPARE(valueFor(QStringLiteral("9223372036854775807")),
             QStringLiteral("9223372036854775807"));
    QCOMPARE(valueFor(QStringLiteral("9223372036854775808")), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("-3000000000")), QStringLiteral("111"));
    QCOMPARE(valueFor(QStringLiteral("3000000000GB")), QStringLiteral("111"));
    qunsetenv("GAUSS_MEMDEF");
}

void TestJobExecution::gaussMemdefUnexpandedReachesProgramUnchanged()
{
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    qputenv("GAUSS_MEMDEF", "4096");
    auto unexpanded =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE"),
                         QStringLiteral("GAUSS_MEMDEF=@MEMORY")),
                input);
    QCOMPARE(RunToEnd(*unexpanded), JobStatusCompleted);
    QVERIFY(unexpanded->StdOutAndStdErr.contains(QLatin1String("\nGAUSS_MEMDEF=4096\n")));

    auto expanded =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE"),
                         QStringLiteral("GAUSS_MEMDEF=@MEMORY")),
                input);
    expanded->Replacements = {{QStringLiteral("@MEMORY"), QStringLiteral("800000")}};
    QCOMPARE(RunToEnd(*expanded), JobStatusCompleted);
    QVERIFY(expanded->StdOutAndStdErr.contains(QLatin1String("\nGAUSS_MEMDEF=800000\n")));
    qunsetenv("GAUSS_MEMDEF");
}

void TestJobExecution::notificationReachesListenerAsExactBytes()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress(QHostAddress::LocalHost), 0));
    const QString input = Path(QStringLiteral("Water.gjf"));
    QVERIFY(WriteFile(input, "#standin exit=2\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    SetClient(*job, listener.serverPort());
    job->JobClass = QStringLiteral("OptFreq");
    job->QueueName = QStringLiteral("Short");
    job->ChkFile = Path(QStringLiteral("Water.chk"));
    job->SetStandardOutputFile(Path(QStringLiteral("Water.stdout")));
    job->Name = QStringLiteral("not sent");

    QCOMPARE(RunToEnd(*job), JobStatusFailed);
    const QByteArray expected =
        QStringLiteral("servername=TavrolGUI\n"
                       "clientname=Visualizer\n"
                       "clientappname=VisualizerApp\n"
                       "clientaddress=127.0.0.1\n"
                       "clientport=%1\n"
                       "clientuid=-1\n"
                       "clientgid=-1\n"
                       "action=jobfinished\n"
                       "jobstatus=failed\n"
                       "jobexitcode=2\n"
                       "jobclass=optfreq\n"
                       "jobtypename=gaussian\n"
                       "jobqueue=short\n"
                       "jobinputfile=%2\n"
                       "jobinputfile2=\n"
                       "jobstandardinputfile=\n"
                       "joboutputfile=%3\n"
                       "jobstandardoutputfile=%4\n"
                       "jobchkfile=%5")
            .arg(listener.serverPort())
            .arg(input, Path(QStringLiteral("Water.log")), Path(QStringLiteral("Water.stdout")),
                 Path(QStringLiteral("Water.chk")))
            .toLocal8Bit();
    QCOMPARE(ReceiveAll(listener), expected);
}

void TestJobExecution::notificationComesAfterJobFinishedSignal()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress(QHostAddress::LocalHost), 0));
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    SetClient(*job, listener.serverPort());
    bool sawProcess = false;
    bool sawConnection = true;
    Tavrol_JobStatus statusInSignal = JobStatusUnknown;
    connect(job.get(), &Tavrol_Job::JobFinishedSignal, this, [&] {
        statusInSignal = job->Status;
        sawProcess = job->Process != nullptr;
        sawConnection = listener.waitForNewConnection(0);
    });
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(statusInSignal, JobStatusCompleted);
    QVERIFY(sawProcess);
    QVERIFY(!sawConnection);
    QVERIFY(job->Process == nullptr);
    QVERIFY(ReceiveAll(listener).contains("\njobstatus=completed\njobexitcode=0\n"));
}

void TestJobExecution::notificationRefusals()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress(QHostAddress::LocalHost), 0));
    auto job =
        MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE")), QString());
    job->Status = JobStatusCompleted;

    SetClient(*job, listener.serverPort());
    job->ClientAddress.clear();
    QVERIFY(!job->SendNotification());
    SetClient(*job, listener.serverPort());
    job->ClientName.clear();
    QVERIFY(!job->SendNotification());
    SetClient(*job, listener.serverPort());
    job->ClientAppName.clear();
    QVERIFY(!job->SendNotification());

    SetClient(*job, listener.serverPort());
    job->ClientAppName = QStringLiteral("TavrolGUI");
    QVERIFY(!job->SendNotification());
    RunMode = RunModeConsole;
    job->ClientAppName = QStringLiteral("TavrolConsole");
    QVERIFY(!job->SendNotification());
    RunMode = RunModeGUI;

    SetClient(*job, listener.serverPort());
    for (const int notification : {0, 2, 4, -2}) {
        job->ClientNotification = notification;
        QVERIFY(!job->SendNotification());
    }
    QVERIFY(!listener.waitForNewConnection(200));

    // Another mode's name is not this program's: that client is told.
    RunMode = RunModeConsole;
    job->ClientAppName = QStringLiteral("TavrolGUI");
    job->ClientNotification = 3;
    QVERIFY(job->SendNotification());
    const QByteArray received = ReceiveAll(listener);
    QVERIFY(received.startsWith("servername=TavrolConsole\nclientname=Visualizer\n"
                                "clientappname=TavrolGUI\n"));
    QVERIFY(received.contains("\njobstatus=completed\njobexitcode=0\n"));
}

void TestJobExecution::notificationToUnreachableClientIsDropped()
{
    quint16 port = 0;
    {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress(QHostAddress::LocalHost), 0));
        port = closed.serverPort();
    }
    const QString input = Path(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job = MakeJob(MakeType(Standin(QStringLiteral("g16")), QStringLiteral("@EXEFILE @INFILE")),
                       input);
    SetClient(*job, port);
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QVERIFY(job->Process == nullptr);
    // The notification sets out without waiting, finds nobody and is gone.
    QVERIFY(job->SendNotification());
    QVERIFY(Tavrol_Message::SocketsInFlight() > 0);
    QTRY_COMPARE_WITH_TIMEOUT(Tavrol_Message::SocketsInFlight(), 0, 30000);
}

void TestJobExecution::rootRunsJobAsClientUser()
{
    if (geteuid() != 0)
        QSKIP("Running a job as its client's user needs root");
    // The job's working directory is its input's: one the user may enter.
    QTemporaryDir open;
    QVERIFY(open.isValid());
    QCOMPARE(::chmod(QFile::encodeName(open.path()).constData(), 0755), 0);
    const QString input = open.filePath(QStringLiteral("water.gjf"));
    QVERIFY(WriteFile(input, "\n"));
    auto job =
        MakeJob(MakeType(QStringLiteral("/usr/bin/id"), QStringLiteral("@EXEFILE -u")), input);
    job->ClientUID = 4321;
    job->ClientGID = 4322;
    QCOMPARE(RunToEnd(*job), JobStatusCompleted);
    QCOMPARE(job->StdOutAndStdErr, QStringLiteral("4321\n"));

    // Root's own directory is closed to the user: the job fails as a
    // program that cannot start, and says why.
    const QString closed = Path(QStringLiteral("closed.gjf"));
    QVERIFY(WriteFile(closed, "\n"));
    auto shut =
        MakeJob(MakeType(QStringLiteral("/usr/bin/id"), QStringLiteral("@EXEFILE -u")), closed);
    shut->ClientUID = 4321;
    QCOMPARE(RunToEnd(*shut), JobStatusFailed);
    QCOMPARE(shut->StdOutAndStdErr,
             QStringLiteral("tavrol: cannot enter the working directory %1: Permission denied\n")
                 .arg(QFileInfo(closed).absolutePath()));

    auto own =
        MakeJob(MakeType(QStringLiteral("/usr/bin/id"), QStringLiteral("@EXEFILE -u")), input);
    QCOMPARE(RunToEnd(*own), JobStatusCompleted);
    QCOMPARE(own->StdOutAndStdErr, QStringLiteral("0\n"));
}

QTEST_GUILESS_MAIN(TestJobExecution)
#include "tst_jobexecution.moc"
