// Local clients of a running console instance: submissions over the socket,
// silent refusals, the job finished notification to the client's listener,
// and requests carried out one at a time, none held up by a silent client.

#include "consolesession.h"
#include "platform/computerdata.h"
#include "socketclient.h"
#include "testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using E2E::ClientRequest;
using E2E::ConsolePort;
using E2E::ConsoleSession;
using E2E::CopyExecutable;
using E2E::Home;
using E2E::Line;
using E2E::Listener;
using E2E::SendRequest;
using E2E::StartConsole;
using E2E::Submission;

namespace {

constexpr int NobodyID = 65534;

QByteArray ExpectedNotification(quint16 listenerPort, const QString& status, int exitCode,
                                const QString& jobClass, const QString& jobType,
                                const QString& queue, const QString& inputFile,
                                const QString& outputFile, const QByteArray& tail = QByteArray())
{
    return QByteArray("servername=TavrolConsole\nclientname=tester\nclientappname=tstsocket\n"
                      "clientaddress=127.0.0.1\n") +
           Line("clientport=", QString::number(listenerPort)) + "\n" +
           Line("clientuid=", QString::number(getuid())) + "\n" +
           Line("clientgid=", QString::number(getgid())) + "\naction=jobfinished\n" +
           Line("jobstatus=", status) + "\n" + Line("jobexitcode=", QString::number(exitCode)) +
           "\n" + Line("jobclass=", jobClass) + "\n" + Line("jobtypename=", jobType) + "\n" +
           Line("jobqueue=", queue) + "\n" + Line("jobinputfile=", inputFile) +
           "\njobinputfile2=\njobstandardinputfile=\n" + Line("joboutputfile=", outputFile) +
           "\njobstandardoutputfile=" + tail;
}

} // namespace

class TestSocket : public QObject
{
    Q_OBJECT

private:
    static QString FinishedJobs(ConsoleSession& session)
    {
        return session.Send(QStringLiteral("list finished jobs"));
    }

private slots:
    // A direct submission runs the stand-in to its end and the listener gets
    // the notification, byte for byte.
    void directSubmissionNotifiesTheClient()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "w\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        QVERIFY(SendRequest(Submission(listener.Port(), QStringLiteral("GAUSSIAN"),
                                       QStringLiteral("Short"), input, QStringLiteral("MyJob")) +
                            "\njobclass=Opt Freq"));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QCOMPARE(listener.Messages().first(),
                 ExpectedNotification(listener.Port(), QStringLiteral("completed"), 0,
                                      QStringLiteral("opt freq"), QStringLiteral("gaussian"),
                                      QStringLiteral("short"), input,
                                      home.File(QStringLiteral("water.log"))));
        const QString finished = FinishedJobs(*session);
        QVERIFY2(finished.contains(QRegularExpression(
                     QStringLiteral("\n1 +MyJob +Completed +Gaussian +Short +"))),
                 qPrintable(finished));
        QCOMPARE(QFile(home.File(QStringLiteral("water.log"))).exists(), true);
    }

    // The output and checkpoint files of the request travel with the job;
    // a failing program is reported with its exit code.
    void failedJobNotifiesWithItsFiles()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("bad.gjf")), "#standin exit=3\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        const QString output = home.File(QStringLiteral("named.out"));
        QVERIFY(SendRequest(Submission(listener.Port(), QStringLiteral("Gaussian"),
                                       QStringLiteral("queueless"), input, QString()) +
                            "\n" + Line("joboutputfile=", output) +
                            "\njobchkfile=bad.chk\njobchkfile1=bad1.chk"));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QCOMPARE(listener.Messages().first(),
                 ExpectedNotification(listener.Port(), QStringLiteral("failed"), 3, QString(),
                                      QStringLiteral("gaussian"), QStringLiteral("none"), input,
                                      output, "\njobchkfile=bad.chk\njobchkfile1=bad1.chk"));
        // Without a job name the job is named after its input file.
        QVERIFY(FinishedJobs(*session).contains(
            QRegularExpression(QStringLiteral("\n1 +bad\\.gjf +Failed +Gaussian +"))));
    }

    // Every refusal is silent: no job, no notification, nothing printed.
    // A last good request shows that all before it were read.
    void refusalsAreSilent()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        const QString xyz = E2E::WriteFile(home.File(QStringLiteral("a.xyz")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        const quint16 port = listener.Port();
        const QByteArray client = ClientRequest(port);
        const QByteArray job = "\njobqueue=none\n" + Line("jobinputfile=", input);
        const QList<QByteArray> refused = {
            client + "jobtypename=Gaussian" + job,                               // no action
            client + "action=\njobtypename=Gaussian" + job,                      // empty action
            client + "action=frobnicate\njobtypename=Gaussian" + job,            // unknown
            client + "action=submitjobs\njobtypename=Gaussian" + job,            // unknown
            client + "action=test\njobtypename=Gaussian" + job,                  // test
            client + "action=submitjob" + job,                                   // no job type
            client + "action=submitjob\nconfirmaction=yes" + job,                // no job type
            client + "action=submitjob\njobtypename=Gaussian\njobqueue=none\n" + // missing input
                Line("jobinputfile=", home.File(QStringLiteral("missing.gjf"))),
            client + "action=submitjob\njobtypename=Gaussian\njobqueue=none", // no input
            // An unknown job type whose file no type takes: the selection
            // dialog cannot be answered where there is no display.
            client + "action=submitjob\njobtypename=NoSuchType\njobqueue=none\n" +
                Line("jobinputfile=", xyz),
            QByteArray(),
            QByteArray("\n\n\n"),
            QByteArray("\x00\x01\x02 binary", 10),
        };
        for (const QByteArray& request : refused)
            QVERIFY(SendRequest(request));
        QVERIFY(SendRequest(Submission(port, QStringLiteral("Gaussian"), QStringLiteral("None"),
                                       input, QStringLiteral("sentinel"))));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 30000);
        QTest::qWait(300);
        QCOMPARE(listener.Messages().size(), 1);
        QVERIFY(listener.Messages().first().contains("\njobqueue=none\n"));
        const QString finished = FinishedJobs(*session);
        QVERIFY2(
            finished.contains(QRegularExpression(QStringLiteral("\n\\d+ +sentinel +Completed"))),
            qPrintable(finished));
        QCOMPARE(finished.count(QStringLiteral("Completed")), 1);
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
        QCOMPARE(session->Send(QStringLiteral("list short jobs")),
                 QStringLiteral("\nShort Jobs Queue is Empty\n\n"));
    }

    // An unknown type name with a file that a type takes is the automatic
    // choice; the console has no confirmation, so it goes straight in.
    void unknownJobTypeIsFoundFromTheFile()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("auto.gjf")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        QVERIFY(SendRequest(Submission(listener.Port(), QStringLiteral("g16"),
                                       QStringLiteral("auto"), input, QString())));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        // "auto" takes the type's default queue, "Long" for Gaussian.
        QVERIFY(listener.Messages().first().contains("\njobtypename=gaussian\njobqueue=long\n"));
    }

    // Actions that change nothing in the console: no output, no job.
    void testShowAndHideDoNothingInTheConsole()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        for (const char* action : {"action=test", "ACTION=Show", "action=hide", "action=TEST"})
            QVERIFY(SendRequest(ClientRequest(listener.Port()) + action));
        QVERIFY(SendRequest("clientname=TavrolConsole\naction=test"));
        QVERIFY(SendRequest(Submission(listener.Port(), QStringLiteral("Gaussian"),
                                       QStringLiteral("None"), input, QStringLiteral("last"))));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QCOMPARE(session->Unread(), QString());
        QVERIFY(session->IsRunning());
    }

    // A non-root instance serves only its own user. Run as root, the test
    // starts the instance as another user to see the check at work.
    void otherUsersAreRefused()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        int instanceUID = int(getuid());
        QProcessEnvironment environment = home.Environment(true);
        std::unique_ptr<ConsoleSession> session;
        if (getuid() == 0) {
            if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
                QSKIP("running as root without setpriv: no other user to run the instance as");
            instanceUID = NobodyID;
            for (const QString& path : {home.Path(), home.File(QStringLiteral("prefs")), input})
                QCOMPARE(::chown(QFile::encodeName(path).constData(), NobodyID, NobodyID), 0);
            // The other user may not reach the build tree or the sources (a
            // checkout under /root): the instance and its program run from
            // copies in the home directory.
            const QString binary = home.File(QStringLiteral("tavrol"));
            const QString gaussian = home.File(QStringLiteral("g16"));
            QVERIFY(QDir().mkpath(gaussian));
            QVERIFY(CopyExecutable(TestSupport::TavrolBinary(), binary));
            QVERIFY(CopyExecutable(TestSupport::FixturePath(QStringLiteral("standin")),
                                   gaussian + QStringLiteral("/g16")));
            environment.insert(QStringLiteral("GAUSS_EXEDIR"), gaussian);
            session = std::make_unique<ConsoleSession>(environment);
            QVERIFY(session->StartProgram(QStringLiteral("setpriv"),
                                          {QStringLiteral("--reuid=%1").arg(NobodyID),
                                           QStringLiteral("--regid=%1").arg(NobodyID),
                                           QStringLiteral("--clear-groups"), binary,
                                           QStringLiteral("-console")},
                                          home.Path()));
        } else {
            session = std::make_unique<ConsoleSession>(environment);
            QVERIFY(session->Start({QStringLiteral("-console")}, home.Path()));
        }
        QVERIFY(!session->WaitForFirstPrompt().isEmpty());
        Listener listener;
        const QByteArray job = "action=submitjob\njobtypename=Gaussian\njobqueue=none\n" +
                               Line("jobinputfile=", input);
        const auto withUID = [&listener, &job](const QString& uid) {
            return ClientRequest(listener.Port(), uid) + job;
        };
        const QString otherUID = QString::number(instanceUID == 0 ? 1 : instanceUID - 1);
        for (const QString& uid : {otherUID, QString(), QStringLiteral("abc"),
                                   QString::number(instanceUID) + QStringLiteral("x")})
            QVERIFY(SendRequest(withUID(uid)));
        // Without any "clientuid=" line at all.
        QVERIFY(SendRequest(
            QByteArray("clientname=tester\nclientappname=tstsocket\nclientaddress=127.0.0.1\n") +
            Line("clientport=", QString::number(listener.Port())) + "\nclientnotification=1\n" +
            job));
        QVERIFY(SendRequest(withUID(QString::number(instanceUID))));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QTest::qWait(300);
        QCOMPARE(listener.Messages().size(), 1);
        QVERIFY(listener.Messages().first().contains(
            Line("\nclientuid=", QString::number(instanceUID)) + "\n"));
        QCOMPARE(FinishedJobs(*session).count(QStringLiteral("Completed")), 1);
    }

    // Who asks is who owns the client's socket: another user's client that
    // claims root to a root instance is refused and nothing runs; root's own
    // client is served.
    void anotherUsersClaimOfRootIsRefused()
    {
        if (getuid() != 0)
            QSKIP("only root can make a socket as another user");
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        const QByteArray job = "action=submitjob\njobtypename=Gaussian\njobqueue=none\n" +
                               Line("jobinputfile=", input) + "\njobname=";
        const int fd = TestSupport::ConnectAs(NobodyID, ConsolePort());
        QVERIFY(fd >= 0);
        QTcpSocket impostor;
        QVERIFY(impostor.setSocketDescriptor(fd));
        impostor.write(ClientRequest(listener.Port(), QStringLiteral("0")) + job + "impostor");
        QVERIFY(impostor.waitForBytesWritten(5000));
        // The instance closes the connection once it has taken the message.
        QVERIFY(impostor.state() == QAbstractSocket::UnconnectedState ||
                impostor.waitForDisconnected(10000));
        QCOMPARE(impostor.readAll(), QByteArray());
        QVERIFY(SendRequest(ClientRequest(listener.Port()) + job + "root"));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QTest::qWait(300);
        QCOMPARE(listener.Messages().size(), 1);
        const QString finished = FinishedJobs(*session);
        QVERIFY2(finished.contains(QRegularExpression(QStringLiteral("\n1 +root +Completed"))),
                 qPrintable(finished));
        QVERIFY(!finished.contains(QStringLiteral("impostor")));
    }

    // Two clients at once: the one whose message is complete is served at
    // once, although the other connected first and is still silent; the
    // other is served when its message comes.
    void completeRequestIsServedBeforeAnEarlierSilentOne()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        QTcpSocket first;
        first.connectToHost(QHostAddress(QHostAddress::LocalHost), ConsolePort());
        QVERIFY(first.waitForConnected(5000));
        QTcpSocket second;
        second.connectToHost(QHostAddress(QHostAddress::LocalHost), ConsolePort());
        QVERIFY(second.waitForConnected(5000));
        second.write(Submission(listener.Port(), QStringLiteral("Gaussian"), QStringLiteral("None"),
                                input, QStringLiteral("second")));
        QVERIFY(second.waitForBytesWritten(5000));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QCOMPARE(first.state(), QAbstractSocket::ConnectedState);
        first.write(Submission(listener.Port(), QStringLiteral("Gaussian"), QStringLiteral("None"),
                               input, QStringLiteral("first")));
        QVERIFY(first.waitForBytesWritten(5000));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 2, 20000);
        const QString finished = FinishedJobs(*session);
        QVERIFY2(finished.contains(QRegularExpression(QStringLiteral("\n1 +second +Completed"))),
                 qPrintable(finished));
        QVERIFY(finished.contains(QRegularExpression(QStringLiteral("\n2 +first +Completed"))));
    }

    // A client that connects and stays silent holds up nobody: the request
    // after it is taken at once, while the silent one is still held.
    void silentClientHoldsUpNobody()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        Listener listener;
        QTcpSocket silent;
        silent.connectToHost(QHostAddress(QHostAddress::LocalHost), ConsolePort());
        QVERIFY(silent.waitForConnected(5000));
        QElapsedTimer timer;
        timer.start();
        // Returns once the instance has taken the message and closed.
        QVERIFY(SendRequest(Submission(listener.Port(), QStringLiteral("Gaussian"),
                                       QStringLiteral("None"), input, QStringLiteral("later"))));
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QCOMPARE(silent.state(), QAbstractSocket::ConnectedState);
        QCOMPARE(FinishedJobs(*session).count(QStringLiteral("Completed")), 1);
    }
};

QTEST_GUILESS_MAIN(TestSocket)
#include "tst_socket.moc"
