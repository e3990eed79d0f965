#include "binaryrun.h"
#include "testsupport.h"

#include "platform/computerdata.h"

#include <QtTest>

#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

using E2E::Run;
using E2E::RunTavrol;

namespace {

const QByteArray ExactUsage = "Usage:    tavrol [options]\n\noptions:  [-help]\n          [-list\n"
                              "          [-console]\n          [-newconsole]\n          [-run]\n"
                              "          [-nogui]\n";

// Everything one connection to the server carried.
QByteArray NextMessage(QTcpServer& server)
{
    if (!server.hasPendingConnections() && !server.waitForNewConnection(10000))
        return "<no connection>";
    QTcpSocket* socket = server.nextPendingConnection();
    QByteArray received = socket->readAll();
    while (socket->state() == QAbstractSocket::ConnectedState && socket->waitForReadyRead(10000))
        received += socket->readAll();
    received += socket->readAll();
    delete socket;
    return received;
}

} // namespace

class TestEntryEndToEnd : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString CreateFile(const QString& name, const QByteArray& contents = "project")
    {
        return TestSupport::WrittenFile(m_dir.filePath(name), contents);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(QFileInfo(TestSupport::TavrolBinary()).isExecutable());
    }

    void consoleHelpPrintsTheUsageExactly()
    {
        const Run run = RunTavrol({"-console", "-help"}, m_dir.path());
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, ExactUsage);
        QCOMPARE(run.standardError, QByteArray());
    }

    void newConsoleHelpIgnoresCase()
    {
        const Run run = RunTavrol({"-newconsole", "-HELP"}, m_dir.path());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, ExactUsage);
    }

    void consoleWithAMissingProjectExitsOneSilently()
    {
        const Run run = RunTavrol({"-console", m_dir.filePath("missing.tvrl")}, m_dir.path());
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.standardError, QByteArray());
    }

    void onlyTheFirstPlainArgumentIsExamined()
    {
        const QString existing = CreateFile("existing.tvrl");
        const Run run = RunTavrol({"-console", "missing.tvrl", existing}, m_dir.path());
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.standardOutput, QByteArray());
    }

    void consoleBesideARunningConsoleEndsAtOnce()
    {
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost,
                                quint16(Quolix_ComputerData::TavrolConsolePortNumber())));
        QElapsedTimer timer;
        timer.start();
        const Run run = RunTavrol({"-console"}, m_dir.path(), "quit\nyes\n");
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.standardError, QByteArray());
        QCOMPARE(NextMessage(listener), QByteArray("clientname=TavrolConsole\naction=test"));
        QVERIFY(!listener.waitForNewConnection(200));
        QVERIFY2(timer.elapsed() < 30000, "a second instance must not wait for anything");
    }

    void newConsoleBesideARunningConsoleEndsToo()
    {
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost,
                                quint16(Quolix_ComputerData::TavrolConsolePortNumber())));
        const Run run = RunTavrol({"-newconsole", "-help"}, m_dir.path());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, QByteArray()); // not even the help
        QCOMPARE(NextMessage(listener), QByteArray("clientname=TavrolConsole\naction=test"));
    }

    void guiBesideARunningGUIEndsAndSendsOnlyTheTest()
    {
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost,
                                quint16(Quolix_ComputerData::TavrolGUIPortNumber())));
        const QString project = CreateFile("gui.tvrl");
        const Run run = RunTavrol({project}, m_dir.path());
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.standardError, QByteArray());
        // The first instance gets the test and nothing else: no request to show itself.
        QCOMPARE(NextMessage(listener), QByteArray("clientname=TavrolGUI\naction=test"));
        QVERIFY(!listener.waitForNewConnection(200));
    }

    void consoleBesideARunningGUIGoesOn()
    {
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost,
                                quint16(Quolix_ComputerData::TavrolGUIPortNumber())));
        const Run help = RunTavrol({"-console", "-help"}, m_dir.path());
        QCOMPARE(help.exitCode, 0);
        QCOMPARE(help.standardOutput, ExactUsage);
        const Run missing = RunTavrol({"-console", "missing.tvrl"}, m_dir.path());
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(!listener.hasPendingConnections());
        QVERIFY(!listener.waitForNewConnection(200));
    }

    void runningConsoleInstanceRefusesASecondOne()
    {
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.insert("XDG_CONFIG_HOME", home.filePath(".config"));
        QProcess first;
        first.setProcessEnvironment(environment);
        first.setWorkingDirectory(m_dir.path());
        first.start(TestSupport::TavrolBinary(), {"-console"});
        QVERIFY(first.waitForStarted(30000));
        // The server listens before the first prompt appears.
        QByteArray firstOutput;
        QTRY_VERIFY_WITH_TIMEOUT(
            (firstOutput += first.readAllStandardOutput()).contains("<Tavrol> "), 60000);

        const Run second = RunTavrol({"-newconsole"}, m_dir.path(), QByteArray(), environment);
        QVERIFY(second.finished);
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(second.standardOutput, QByteArray());
        QCOMPARE(second.standardError, QByteArray());

        QCOMPARE(first.state(), QProcess::Running);
        first.write("quit\nyes\nno\n");
        QVERIFY(first.waitForFinished(60000));
        QCOMPARE(first.exitCode(), 0);
    }

    void runningGUIInstanceRefusesASecondOne()
    {
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.insert("XDG_CONFIG_HOME", home.filePath(".config"));
        QProcess first;
        first.setProcessEnvironment(environment);
        first.setWorkingDirectory(m_dir.path());
        first.start(TestSupport::TavrolBinary(), QStringList{});
        QVERIFY(first.waitForStarted(30000));
        const quint16 guiPort = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        QTRY_VERIFY_WITH_TIMEOUT(
            [guiPort] {
                QTcpSocket probe;
                probe.connectToHost(QHostAddress::LocalHost, guiPort);
                const bool listening = probe.waitForConnected(1000);
                probe.abort();
                return listening;
            }(),
            60000);

        const Run second = RunTavrol({}, m_dir.path(), QByteArray(), environment);
        QVERIFY(second.finished);
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(second.standardOutput, QByteArray());
        QCOMPARE(second.standardError, QByteArray());
        QCOMPARE(first.state(), QProcess::Running);

        // The GUI's own exit asks questions on screen; the test ends it from outside.
        first.terminate();
        QVERIFY(first.waitForFinished(60000));
    }

    void consoleSessionEndsWithQuit()
    {
        const Run run = RunTavrol({"-console"}, m_dir.path(), "quit\nyes\n");
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.standardOutput.contains("<Tavrol> "));
    }

    void consoleWithoutEventLoopEndsWithQuit()
    {
        const Run run = RunTavrol({"-console", "-noeventloop"}, m_dir.path(), "quit\nyes\n");
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.standardOutput.contains("<Tavrol> "));
    }

    void consoleStartsWithoutADisplay()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DISPLAY");
        environment.remove("WAYLAND_DISPLAY");
        environment.remove("QT_QPA_PLATFORM");
        const Run run = RunTavrol({"-console", "-help"}, m_dir.path(), QByteArray(), environment);
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, ExactUsage);
        QCOMPARE(run.standardError, QByteArray());
    }

    void guiWithOnlyOptionsEndsWithoutAWindow()
    {
        const Run run = RunTavrol({"-debugfile=gui.txt"}, m_dir.path());
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, QByteArray());
        QFile log(m_dir.filePath("gui.txt"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("Info:  The command line gives 1, the exit status hint "
                                       "is 0\n"));
    }

    void guiWithAMissingProjectExitsZeroSilently()
    {
        const Run run = RunTavrol({m_dir.filePath("missing.tvrl")}, m_dir.path());
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.standardError, QByteArray());
    }

    void debugFileNameIsLowerCasedInTheCurrentDirectory()
    {
        QTemporaryDir workingDirectory;
        const Run run =
            RunTavrol({"-console", "-DEBUGFILE=Out.TXT", "-help"}, workingDirectory.path());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardOutput, ExactUsage);
        QCOMPARE(run.standardError, QByteArray());
        QCOMPARE(QDir(workingDirectory.path()).entryList(QDir::Files), QStringList{"out.txt"});
        QFile log(workingDirectory.filePath("out.txt"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray logged = log.readAll();
        QVERIFY2(logged.startsWith("Info:  TavrolConsole 1.1.15 starts in run mode 2"), logged);
        QVERIFY(logged.contains("Info:  The command line gives 2, the exit status hint is 3\n"));
    }

    void debugWritesInfoAndWarningLinesToStandardError()
    {
        const Run run = RunTavrol({"-console", "-debug", "missing.tvrl"}, m_dir.path());
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.standardOutput, QByteArray());
        const QList<QByteArray> lines = run.standardError.split('\n');
        QVERIFY(lines.contains("Warning:   The file named on the command line does not exist: "
                               "missing.tvrl"));
        QVERIFY(lines.contains("Info:   The command line gives 2, the exit status hint is 2"));
        QVERIFY2(lines.first().startsWith("Info:   TavrolConsole 1.1.15 starts in run mode 2"),
                 run.standardError);
        for (const QByteArray& line : lines) {
            if (!line.isEmpty())
                QVERIFY2(line.startsWith("Info:   ") || line.startsWith("Warning:   "), line);
        }
    }
};

QTEST_GUILESS_MAIN(TestEntryEndToEnd)
#include "tst_entry.moc"
