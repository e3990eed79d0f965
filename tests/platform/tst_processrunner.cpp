#include "platform/process.h"

#include "testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using TestSupport::IsAlive;

namespace {

std::unique_ptr<Quolix_Process> MakeRunner(const QString& program, const QStringList& arguments)
{
    auto runner = std::make_unique<Quolix_Process>(
        nullptr, QStringLiteral("Test"), QStringLiteral("runner"), Quolix_Process::NoWindow, true);
    runner->m_ProgramPath = program;
    runner->m_Arguments = arguments;
    runner->m_ShowOutput = false;
    return runner;
}

std::unique_ptr<Quolix_Process> MakeShell(const QString& script)
{
    return MakeRunner(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script});
}

// Runs the events that are due now and a little after, to show that nothing
// further arrives.
void SettleEvents()
{
    QTest::qWait(150);
}

} // namespace

class TestProcessRunner : public QObject
{
    Q_OBJECT

private slots:
    void mergesStandardOutputAndError();
    void normalExitWithCode();
    void finishedComesOnceFromEventLoop();
    void crashBySignal();
    void missingProgramStillFinishes();
    void notExecutableStillFinishes();
    void emptyProgramStillFinishes();
    void missingStandardInputFileStillFinishes();
    void standardInputIsClosed();
    void killSlotNeverSignalsFromInside();
    void killAfterExitStillMarksKilled();
    void processIdWhileRunning();
    void blockingStartStillSignalsLater();
    void secondRunResetsState();
    void deletedWhileRunningStopsChild();
    void deletedBeforeQueuedSignalIsQuiet();
    void runsAsOwnUserByDefault();
    void rootRunsChildAsClientUser();
    void rootTakesPrimaryGroupWhenNoneGiven();
    void rootGivesOnlyTheUsersOwnGroups();
    void rootOpensStandardFilesAsTheUser();
    void rootRefusesFilesTheUserMayNotOpen();
    void ownStandardFilesAreOpenedAsQProcessWould();
};

void TestProcessRunner::mergesStandardOutputAndError()
{
    auto runner = MakeShell(QStringLiteral("echo out; echo err >&2; echo out2"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(runner->Start(Quolix_Process::NonBlocking));
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(), QByteArray("out\nerr\nout2\n"));
}

void TestProcessRunner::normalExitWithCode()
{
    auto runner = MakeShell(QStringLiteral("exit 3"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.at(0).at(0).toBool(), true);
    QCOMPARE(runner->exitStatus(), QProcess::NormalExit);
    QCOMPARE(runner->exitCode(), 3);
    QVERIFY(!runner->WasKilled);
}

void TestProcessRunner::finishedComesOnceFromEventLoop()
{
    auto runner = MakeRunner(QStringLiteral("/bin/true"), {});
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForFinished(30000));
    // The process has ended, but the signal is only queued.
    QCOMPARE(finished.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
    SettleEvents();
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::crashBySignal()
{
    auto runner = MakeShell(QStringLiteral("kill -SEGV $$"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QCOMPARE(runner->exitStatus(), QProcess::CrashExit);
    SettleEvents();
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::missingProgramStillFinishes()
{
    auto runner = MakeRunner(QStringLiteral("/nonexistent/dir/program"), {});
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QCOMPARE(runner->error(), QProcess::FailedToStart);
    SettleEvents();
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::notExecutableStillFinishes()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("plain.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("echo never\n");
    file.close();
    auto runner = MakeRunner(path, {});
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->error(), QProcess::FailedToStart);
    SettleEvents();
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::emptyProgramStillFinishes()
{
    auto runner = MakeRunner(QString(), {});
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(!runner->Start(Quolix_Process::NonBlocking));
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::missingStandardInputFileStillFinishes()
{
    auto runner = MakeRunner(QStringLiteral("/bin/cat"), {});
    runner->SetInputFile(QStringLiteral("/nonexistent/input.txt"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(!runner->Start(Quolix_Process::NonBlocking));
    // Failed inside Start, yet the signal is not emitted from there.
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->error(), QProcess::FailedToStart);
}

void TestProcessRunner::standardInputIsClosed()
{
    auto runner = MakeShell(QStringLiteral("read -r line; echo \"status $?\""));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(), QByteArray("status 1\n"));
}

void TestProcessRunner::killSlotNeverSignalsFromInside()
{
    auto runner = MakeRunner(QStringLiteral("sleep"), {QStringLiteral("300")});
    bool insideKill = false;
    int signalledInside = 0;
    connect(runner.get(), &Quolix_Process::FinishedSignal, this, [&] {
        if (insideKill)
            ++signalledInside;
    });
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForStarted(30000));
    QVERIFY(!runner->WasKilled);
    insideKill = true;
    runner->KillSlot();
    insideKill = false;
    QVERIFY(runner->WasKilled);
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(signalledInside, 0);
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QCOMPARE(runner->exitStatus(), QProcess::CrashExit);
    QCOMPARE(runner->exitCode(), SIGKILL);
    SettleEvents();
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::killAfterExitStillMarksKilled()
{
    auto runner = MakeShell(QStringLiteral("exit 3"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForFinished(30000));
    runner->KillSlot();
    QVERIFY(runner->WasKilled);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->exitCode(), 3);
    QCOMPARE(finished.count(), 1);
}

void TestProcessRunner::processIdWhileRunning()
{
    auto runner = MakeRunner(QStringLiteral("sleep"), {QStringLiteral("300")});
    QCOMPARE(runner->ProcessID(), 0);
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForStarted(30000));
    const int pid = runner->ProcessID();
    QVERIFY(pid > 0);
    QVERIFY(IsAlive(pid));
    runner->KillSlot();
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->ProcessID(), 0);
}

void TestProcessRunner::blockingStartStillSignalsLater()
{
    auto runner = MakeShell(QStringLiteral("echo done"));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(runner->Start(Quolix_Process::Blocking));
    QCOMPARE(runner->state(), QProcess::NotRunning);
    QCOMPARE(finished.count(), 0);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(), QByteArray("done\n"));
}

void TestProcessRunner::secondRunResetsState()
{
    auto runner = MakeRunner(QStringLiteral("sleep"), {QStringLiteral("300")});
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForStarted(30000));
    QVERIFY(!runner->Start(Quolix_Process::NonBlocking)); // already running
    runner->KillSlot();
    QVERIFY(finished.wait(30000));
    QVERIFY(runner->WasKilled);

    runner->m_ProgramPath = QStringLiteral("/bin/true");
    runner->m_Arguments.clear();
    QVERIFY(runner->Start(Quolix_Process::NonBlocking));
    QVERIFY(!runner->WasKilled);
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 2);
    QCOMPARE(runner->exitCode(), 0);
}

void TestProcessRunner::deletedWhileRunningStopsChild()
{
    auto runner = MakeRunner(QStringLiteral("sleep"), {QStringLiteral("300")});
    int signalled = 0;
    connect(runner.get(), &Quolix_Process::FinishedSignal, this, [&] { ++signalled; });
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForStarted(30000));
    const int pid = runner->ProcessID();
    QElapsedTimer timer;
    timer.start();
    runner.reset();
    QVERIFY(timer.elapsed() < 20000);
    QVERIFY(!IsAlive(pid));
    SettleEvents();
    QCOMPARE(signalled, 0);
}

void TestProcessRunner::deletedBeforeQueuedSignalIsQuiet()
{
    auto runner = MakeRunner(QStringLiteral("/bin/true"), {});
    int signalled = 0;
    connect(runner.get(), &Quolix_Process::FinishedSignal, this, [&] { ++signalled; });
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(runner->waitForFinished(30000));
    runner.reset();
    SettleEvents();
    QCOMPARE(signalled, 0);
}

void TestProcessRunner::runsAsOwnUserByDefault()
{
    auto runner = MakeShell(QStringLiteral("id -u; id -g"));
    runner->m_UserID = -1;
    runner->m_GroupID = -1;
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(),
             QStringLiteral("%1\n%2\n").arg(geteuid()).arg(getegid()).toLatin1());

    // A user id of 0 is no reason to change either.
    auto zero = MakeShell(QStringLiteral("id -u"));
    zero->m_UserID = 0;
    zero->m_GroupID = 0;
    QSignalSpy zeroFinished(zero.get(), &Quolix_Process::FinishedSignal);
    zero->Start(Quolix_Process::NonBlocking);
    QVERIFY(zeroFinished.wait(30000));
    QCOMPARE(zero->readAll(), QStringLiteral("%1\n").arg(geteuid()).toLatin1());

    if (geteuid() != 0) {
        // Without root the ids are not ours to change: the child runs as us.
        auto other = MakeShell(QStringLiteral("id -u"));
        other->m_UserID = int(geteuid()) + 1;
        other->m_GroupID = int(getegid()) + 1;
        QSignalSpy otherFinished(other.get(), &Quolix_Process::FinishedSignal);
        other->Start(Quolix_Process::NonBlocking);
        QVERIFY(otherFinished.wait(30000));
        QCOMPARE(other->readAll(), QStringLiteral("%1\n").arg(geteuid()).toLatin1());
    }
}

void TestProcessRunner::rootRunsChildAsClientUser()
{
    if (geteuid() != 0)
        QSKIP("Changing the user of a child needs root");
    auto runner = MakeShell(QStringLiteral("id -u; id -g; id -G"));
    runner->m_UserID = 4321;
    runner->m_GroupID = 4322;
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    // A user unknown to the system has no groups: the group asked for is not
    // one of them, so the child gets the overflow group alone.
    QCOMPARE(runner->readAll(), QByteArray("4321\n65534\n65534\n"));
    QCOMPARE(runner->exitCode(), 0);
}

void TestProcessRunner::rootTakesPrimaryGroupWhenNoneGiven()
{
    if (geteuid() != 0)
        QSKIP("Changing the user of a child needs root");
    const passwd* nobody = getpwnam("nobody");
    if (!nobody || nobody->pw_uid == 0)
        QSKIP("No unprivileged user 'nobody' on this machine");
    const uid_t uid = nobody->pw_uid;
    const gid_t gid = nobody->pw_gid;
    for (const int given : {-1, 0}) {
        auto runner = MakeShell(QStringLiteral("id -u; id -g"));
        runner->m_UserID = int(uid);
        runner->m_GroupID = given;
        QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
        runner->Start(Quolix_Process::NonBlocking);
        QVERIFY(finished.wait(30000));
        QCOMPARE(runner->readAll(), QStringLiteral("%1\n%2\n").arg(uid).arg(gid).toLatin1());
    }
}

namespace {

const passwd* UnprivilegedUser()
{
    const passwd* nobody = getpwnam("nobody");
    return nobody && nobody->pw_uid != 0 ? nobody : nullptr;
}

// A directory tree the other user can enter: the temporary directory itself
// is open to all, "secret" only to root, "shared" writable by all.
struct SharedTree
{
    QTemporaryDir dir;
    QString Path(const QString& name) const { return dir.filePath(name); }
    bool Make()
    {
        return dir.isValid() &&
               QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                     QFileDevice::ExeOwner |
                                                     QFileDevice::ReadOther |
                                                     QFileDevice::ExeOther) &&
               QDir(dir.path()).mkdir(QStringLiteral("secret")) &&
               QFile::setPermissions(Path(QStringLiteral("secret")), QFileDevice::ReadOwner |
                                                                         QFileDevice::WriteOwner |
                                                                         QFileDevice::ExeOwner) &&
               QDir(dir.path()).mkdir(QStringLiteral("shared")) &&
               ::chmod(QFile::encodeName(Path(QStringLiteral("shared"))).constData(), 0777) == 0;
    }
};

} // namespace

void TestProcessRunner::rootGivesOnlyTheUsersOwnGroups()
{
    if (geteuid() != 0)
        QSKIP("Changing the user of a child needs root");
    const passwd* user = UnprivilegedUser();
    if (!user)
        QSKIP("No unprivileged user 'nobody' on this machine");
    // Root's group is not the user's: the user's primary group stands.
    auto runner = MakeShell(QStringLiteral("id -u; id -g"));
    runner->m_UserID = int(user->pw_uid);
    runner->m_GroupID = 0;
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    runner->Start(Quolix_Process::NonBlocking);
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(),
             QStringLiteral("%1\n%2\n").arg(user->pw_uid).arg(user->pw_gid).toLatin1());
}

void TestProcessRunner::rootOpensStandardFilesAsTheUser()
{
    if (geteuid() != 0)
        QSKIP("Changing the user of a child needs root");
    const passwd* user = UnprivilegedUser();
    if (!user)
        QSKIP("No unprivileged user 'nobody' on this machine");
    SharedTree tree;
    QVERIFY(tree.Make());
    const QString input = tree.Path(QStringLiteral("shared/in.txt"));
    QVERIFY(TestSupport::WriteFile(input, "from the input file\n"));
    const QString output = tree.Path(QStringLiteral("shared/out.txt"));
    auto runner = MakeShell(QStringLiteral("cat; id -u; echo err >&2"));
    runner->m_UserID = int(user->pw_uid);
    runner->SetInputFile(input);
    runner->SetOutputFile(output);
    runner->setWorkingDirectory(tree.Path(QStringLiteral("shared")));
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(runner->Start(Quolix_Process::NonBlocking));
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->exitCode(), 0);
    QCOMPARE(runner->readAll(), QByteArray());
    QFile written(output);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(),
             QStringLiteral("from the input file\n%1\nerr\n").arg(user->pw_uid).toLatin1());
    QCOMPARE(QFileInfo(output).ownerId(), user->pw_uid);
}

void TestProcessRunner::rootRefusesFilesTheUserMayNotOpen()
{
    if (geteuid() != 0)
        QSKIP("Changing the user of a child needs root");
    const passwd* user = UnprivilegedUser();
    if (!user)
        QSKIP("No unprivileged user 'nobody' on this machine");
    SharedTree tree;
    QVERIFY(tree.Make());
    const QString secret = tree.Path(QStringLiteral("secret/key.txt"));
    QVERIFY(TestSupport::WriteFile(secret, "root's secret\n"));
    const QString shared = tree.Path(QStringLiteral("shared"));

    // Reading a file only root may read.
    auto reader = MakeRunner(QStringLiteral("/bin/cat"), {});
    reader->m_UserID = int(user->pw_uid);
    reader->SetInputFile(secret);
    reader->setWorkingDirectory(shared);
    QSignalSpy readerFinished(reader.get(), &Quolix_Process::FinishedSignal);
    reader->Start(Quolix_Process::NonBlocking);
    QVERIFY(readerFinished.wait(30000));
    QCOMPARE(reader->exitCode(), 255);
    QCOMPARE(reader->readAll(), "tavrol: cannot open the standard input file " +
                                    QFile::encodeName(secret) + ": Permission denied\n");

    // Writing where only root may write: nothing is made or truncated.
    const QString target = tree.Path(QStringLiteral("secret/made.txt"));
    auto writer = MakeShell(QStringLiteral("echo written"));
    writer->m_UserID = int(user->pw_uid);
    writer->SetOutputFile(target);
    writer->setWorkingDirectory(shared);
    QSignalSpy writerFinished(writer.get(), &Quolix_Process::FinishedSignal);
    writer->Start(Quolix_Process::NonBlocking);
    QVERIFY(writerFinished.wait(30000));
    QCOMPARE(writer->exitCode(), 255);
    QCOMPARE(writer->readAll(), "tavrol: cannot open the standard output file " +
                                    QFile::encodeName(target) + ": Permission denied\n");
    QVERIFY(!QFile::exists(target));
    auto truncater = MakeShell(QStringLiteral("true"));
    truncater->m_UserID = int(user->pw_uid);
    truncater->SetOutputFile(secret);
    QSignalSpy truncaterFinished(truncater.get(), &Quolix_Process::FinishedSignal);
    truncater->Start(Quolix_Process::NonBlocking);
    QVERIFY(truncaterFinished.wait(30000));
    QCOMPARE(truncater->exitCode(), 255);
    QFile kept(secret);
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), QByteArray("root's secret\n"));

    // A working directory the user may not enter.
    auto stranger = MakeShell(QStringLiteral("pwd"));
    stranger->m_UserID = int(user->pw_uid);
    stranger->setWorkingDirectory(tree.Path(QStringLiteral("secret")));
    QSignalSpy strangerFinished(stranger.get(), &Quolix_Process::FinishedSignal);
    stranger->Start(Quolix_Process::NonBlocking);
    QVERIFY(strangerFinished.wait(30000));
    QCOMPARE(stranger->exitCode(), 255);
    QCOMPARE(stranger->readAll(), "tavrol: cannot enter the working directory " +
                                      QFile::encodeName(tree.Path(QStringLiteral("secret"))) +
                                      ": Permission denied\n");
}

// Without a change of user the files are QProcess's own: the output file is
// truncated and takes standard error too, the input file is read.
void TestProcessRunner::ownStandardFilesAreOpenedAsQProcessWould()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString input = dir.filePath(QStringLiteral("in.txt"));
    const QString output = dir.filePath(QStringLiteral("out.txt"));
    QVERIFY(TestSupport::WriteFile(input, "line\n"));
    QVERIFY(TestSupport::WriteFile(output, "old contents that are longer\n"));
    auto runner = MakeShell(QStringLiteral("cat; echo err >&2"));
    runner->SetInputFile(input);
    runner->SetOutputFile(output);
    QSignalSpy finished(runner.get(), &Quolix_Process::FinishedSignal);
    QVERIFY(runner->Start(Quolix_Process::NonBlocking));
    QVERIFY(finished.wait(30000));
    QCOMPARE(runner->readAll(), QByteArray());
    QFile written(output);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), QByteArray("line\nerr\n"));
}

QTEST_GUILESS_MAIN(TestProcessRunner)
#include "tst_processrunner.moc"
