#include "app/entry.h"

#include "app/app.h"
#include "app/globals.h"
#include "platform/computerdata.h"
#include "platform/process.h"

#include "capture.h"
#include "testsupport.h"

#include <QtTest>

#include <QApplication>
#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <new>
#include <unistd.h>
#include <vector>

using TestSupport::ReceiveAll;
using TestSupport::StandardOutputOf;

namespace {

// An argv built from words, alive as long as the object.
class ArgumentVector
{
public:
    ArgumentVector(std::initializer_list<const char*> words)
    {
        for (const char* word : words)
            m_storage.emplace_back(word);
        for (QByteArray& word : m_storage)
            m_pointers.push_back(word.data());
        m_pointers.push_back(nullptr);
    }
    int Count() const { return static_cast<int>(m_storage.size()); }
    char** Vector() { return m_pointers.data(); }

private:
    std::vector<QByteArray> m_storage;
    std::vector<char*> m_pointers;
};

Tavrol_RawArguments Scan(std::initializer_list<const char*> words)
{
    ArgumentVector arguments(words);
    return ScanRawArguments(arguments.Count(), arguments.Vector());
}

// The cleanup removes every message handler, Qt Test's own included; it is put back.
int RunResult(int result)
{
    const QtMessageHandler testHandler = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(testHandler);
    const int status = RunCommandLineResult(result);
    qInstallMessageHandler(testHandler);
    return status;
}

const char* const ExactUsage = "Usage:    tavrol [options]\n\noptions:  [-help]\n          [-list\n"
                               "          [-console]\n          [-newconsole]\n          [-run]\n"
                               "          [-nogui]\n";

} // namespace

class TestEntry : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_savedCurrent;

    QString CreateFile(const QString& name)
    {
        return TestSupport::WrittenFile(m_dir.filePath(name), "project");
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_savedCurrent = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_dir.path()));
        UsageText = DefaultUsageText();
    }

    void cleanupTestCase() { QDir::setCurrent(m_savedCurrent); }

    void init()
    {
        RunMode = RunModeGUI;
        ExitStatusHint = 0;
        StartupFilePath.clear();
    }

    void cleanup()
    {
        delete std::exchange(StartupProgress, nullptr);
        RunMode = RunModeGUI;
    }

    // Run modes from the raw arguments.

    void defaultRunModeIsGUI()
    {
        const Tavrol_RawArguments scan = Scan({"tavrol"});
        QCOMPARE(scan.runMode, 0);
        QCOMPARE(scan.noEventLoop, false);
        QCOMPARE(scan.showProgress, 1);
        QCOMPARE(scan.launcherArgument, -1);
    }

    void consoleAndNoGuiGiveMode2()
    {
        QCOMPARE(Scan({"tavrol", "-console"}).runMode, 2);
        QCOMPARE(Scan({"tavrol", "-nogui"}).runMode, 2);
        QCOMPARE(Scan({"tavrol", "-nogui", "-console"}).runMode, 2);
        // Whole arguments, compared with case.
        QCOMPARE(Scan({"tavrol", "-Console"}).runMode, 0);
        QCOMPARE(Scan({"tavrol", "-console2"}).runMode, 0);
    }

    void newConsoleWinsOverConsole()
    {
        QCOMPARE(Scan({"tavrol", "-newconsole"}).runMode, 4);
        QCOMPARE(Scan({"tavrol", "-console", "-newconsole"}).runMode, 4);
        QCOMPARE(Scan({"tavrol", "-newconsole", "-console"}).runMode, 4);
        QCOMPARE(Scan({"tavrol", "-nogui", "-newconsole"}).runMode, 4);
    }

    void noEventLoopIsScanned()
    {
        QCOMPARE(Scan({"tavrol", "-console", "-noeventloop"}).noEventLoop, true);
        QCOMPARE(Scan({"tavrol", "-NOEVENTLOOP"}).noEventLoop, false);
    }

    void showProgressScansRunInAFixedOrder_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("expected");
        QTest::newRow("gui default") << QStringList{} << 1;
        QTest::newRow("console default") << QStringList{"-console"} << 2;
        QTest::newRow("new console default") << QStringList{"-newconsole"} << 2;
        QTest::newRow("true") << QStringList{"-console", "-showprogress=true"} << 1;
        QTest::newRow("false") << QStringList{"-showprogress=false"} << 0;
        QTest::newRow("some") << QStringList{"-showprogress=some"} << 2;
        QTest::newRow("true then some")
            << QStringList{"-showprogress=true", "-showprogress=some"} << 2;
        QTest::newRow("some then true")
            << QStringList{"-showprogress=some", "-showprogress=true"} << 2;
        QTest::newRow("false then true")
            << QStringList{"-showprogress=false", "-showprogress=true"} << 0;
        QTest::newRow("upper case is unknown") << QStringList{"-showprogress=TRUE"} << 1;
    }

    void showProgressScansRunInAFixedOrder()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, expected);
        std::vector<QByteArray> words{"tavrol"};
        for (const QString& argument : arguments)
            words.push_back(argument.toLatin1());
        std::vector<const char*> argv;
        for (const QByteArray& word : words)
            argv.push_back(word.constData());
        QCOMPARE(ScanRawArguments(static_cast<int>(argv.size()), argv.data()).showProgress,
                 expected);
    }

    void showProgressIsNotScannedWithoutArguments()
    {
        const char* const* noArguments = nullptr;
        QCOMPARE(ScanRawArguments(0, noArguments).showProgress, 1);
    }

    void negativeArgumentCountRaisesBadAlloc()
    {
        const char* argv[] = {"tavrol", nullptr};
        QVERIFY_THROWS_EXCEPTION(std::bad_alloc, ScanRawArguments(-1, argv));
    }

    // The launcher's argument.

    void launcherArgumentIsFoundAnywhereInAnArgument()
    {
        QCOMPARE(Scan({"tavrol", "-console", "x-psn_y"}).launcherArgument, 2);
        QCOMPARE(Scan({"tavrol", "-psn_0_12345", "-psn_1"}).launcherArgument, 1);
    }

    void launcherArgumentIsDroppedFromTheList()
    {
        ArgumentVector arguments({"tavrol", "x-psn_y", "file.tvrl", "-psn_2", "", "-debug"});
        QCOMPARE(CommandLineArguments(arguments.Count(), arguments.Vector()),
                 (QStringList{"tavrol", "file.tvrl", "-psn_2", "-debug"}));
    }

    void launcherArgumentAloneLeavesNoPlainArgument()
    {
        // "x-psn_y" would be a missing file if it were not dropped.
        RunMode = RunModeConsole;
        ArgumentVector arguments({"tavrol", "-console", "x-psn_y"});
        QCOMPARE(ProcessCommandLine(CommandLineArguments(arguments.Count(), arguments.Vector())),
                 0);
        QCOMPARE(ExitStatusHint, 0);
    }

    // The command line.

    void programAloneGoesOn()
    {
        QCOMPARE(ProcessCommandLine({"tavrol"}), 0);
        RunMode = RunModeConsole;
        QCOMPARE(ProcessCommandLine({"tavrol"}), 0);
        QCOMPARE(ExitStatusHint, 0);
    }

    void helpInTheGUIShowsTheStartupWindow()
    {
        StartupProgress = new Quolix_Process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        QCOMPARE(ProcessCommandLine({"tavrol", "-help"}), 1);
        QCOMPARE(ExitStatusHint, 3);
        QCOMPARE(StartupProgress->Text(), QString::fromLatin1(ExactUsage));
        QVERIFY(StartupProgress->Window());
        QVERIFY(StartupProgress->Window()->isVisible());
    }

    void helpInTheConsolePrintsTheUsage()
    {
        RunMode = RunModeConsole;
        int result = -1;
        const QByteArray printed = StandardOutputOf([&result] {
            result = ProcessCommandLine({"tavrol", "-console", "-HeLp"});
        });
        QCOMPARE(result, 2);
        QCOMPARE(ExitStatusHint, 3);
        QCOMPARE(printed, QByteArray(ExactUsage));
    }

    void helpWinsOverAFile()
    {
        RunMode = RunModeConsole;
        const QString project = CreateFile("help.tvrl");
        int result = -1;
        StandardOutputOf([&] { result = ProcessCommandLine({"tavrol", project, "-help"}); });
        QCOMPARE(result, 2);
        QCOMPARE(ExitStatusHint, 3);
        QVERIFY(StartupFilePath.isEmpty());
    }

    void existingFileIsTheStartupFile()
    {
        const QString project = CreateFile("start.tvrl");
        QCOMPARE(ProcessCommandLine({"tavrol", "-debug", "start.tvrl"}), 0);
        QCOMPARE(StartupFilePath, project);
        QCOMPARE(ExitStatusHint, 0);
    }

    void missingFileInTheGUIGivesOne()
    {
        QTest::ignoreMessage(QtWarningMsg,
                             "The file named on the command line does not exist: missing.tvrl");
        QCOMPARE(ProcessCommandLine({"tavrol", "missing.tvrl"}), 1);
        QCOMPARE(ExitStatusHint, 2);
        QVERIFY(StartupFilePath.isEmpty());
    }

    void missingFileInTheConsoleGivesTwo()
    {
        RunMode = RunModeNewConsole;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("does not exist"));
        QCOMPARE(ProcessCommandLine({"tavrol", "-newconsole", "missing.tvrl"}), 2);
        QCOMPARE(ExitStatusHint, 2);
    }

    void noGuiOrRunKeepTheHintForAMissingFile_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("-nogui") << "-nogui";
        QTest::newRow("-NOGUI") << "-NOGUI";
        QTest::newRow("-run") << "-run";
        QTest::newRow("-Run after the file") << "-Run";
    }

    void noGuiOrRunKeepTheHintForAMissingFile()
    {
        QFETCH(QString, option);
        RunMode = RunModeConsole;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("does not exist"));
        QCOMPARE(ProcessCommandLine({"tavrol", "missing.tvrl", option}), 2);
        QCOMPARE(ExitStatusHint, 0);
        // And the process still ends with status 1.
        QCOMPARE(RunResult(2), 1);
    }

    void onlyTheFirstPlainArgumentIsExamined()
    {
        const QString second = CreateFile("second.tvrl");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("missing.tvrl"));
        QCOMPARE(ProcessCommandLine({"tavrol", "missing.tvrl", second}), 1);
        QVERIFY(StartupFilePath.isEmpty());

        const QString first = CreateFile("first.tvrl");
        QCOMPARE(ProcessCommandLine({"tavrol", first, "missing.tvrl"}), 0);
        QCOMPARE(StartupFilePath, first);
    }

    void projectPathWithALeadingDashIsAnOption()
    {
        CreateFile("-dashed.tvrl");
        QVERIFY(QFileInfo::exists("-dashed.tvrl"));
        QCOMPARE(ProcessCommandLine({"tavrol", "-dashed.tvrl"}), 1);
        QVERIFY(StartupFilePath.isEmpty());
        RunMode = RunModeConsole;
        QCOMPARE(ProcessCommandLine({"tavrol", "-console", "-dashed.tvrl"}), 0);
        QVERIFY(StartupFilePath.isEmpty());
    }

    void dashArgumentsAloneEndAGUIStart_data()
    {
        QTest::addColumn<QString>("option");
        for (const char* option : {"-debug", "-notreadonly", "-debugfile=x.txt",
                                   "-showprogress=some", "-list", "-run", "-unknown"})
            QTest::newRow(option) << QString::fromLatin1(option);
    }

    void dashArgumentsAloneEndAGUIStart()
    {
        QFETCH(QString, option);
        QCOMPARE(ProcessCommandLine({"tavrol", option}), 1);
        QCOMPARE(ExitStatusHint, 0);
        RunMode = RunModeConsole;
        QCOMPARE(ProcessCommandLine({"tavrol", option}), 0);
    }

    // Acting on the result.

    void consoleResultTwoExitsByTheHint()
    {
        ExitStatusHint = 3;
        QCOMPARE(RunResult(2), 0);
        QCOMPARE(ExitStatusHint, 3); // the cleanup keeps it
        ExitStatusHint = 2;
        QCOMPARE(RunResult(2), 1);
        ExitStatusHint = 0;
        QCOMPARE(RunResult(2), 1);
    }

    void guiResultOneWithoutHelpDeletesTheStartupWindow()
    {
        StartupProgress = new Quolix_Process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        QPointer<Quolix_Process> progress(StartupProgress);
        ExitStatusHint = 2;
        QCOMPARE(RunResult(1), 0);
        QVERIFY(progress.isNull());
        QCOMPARE(StartupProgress, nullptr);
    }

    // The application does not quit on its last window's close, so the help
    // window ends the loop itself.
    void guiHelpKeepsTheStartupWindowUntilItIsClosed()
    {
        const bool quitOnLastWindowClosed = QGuiApplication::quitOnLastWindowClosed();
        QGuiApplication::setQuitOnLastWindowClosed(false);
        const auto restore = qScopeGuard([quitOnLastWindowClosed] {
            QGuiApplication::setQuitOnLastWindowClosed(quitOnLastWindowClosed);
        });
        StartupProgress = new Quolix_Process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        QPointer<Quolix_Process> progress(StartupProgress);
        QCOMPARE(ProcessCommandLine({"tavrol", "-help"}), 1);
        QWidget* window = StartupProgress->Window();
        QVERIFY(window);
        QCOMPARE(QApplication::activeWindow(), window);

        // The event loop runs until the user closes the window.
        bool loopRan = false;
        QTimer::singleShot(0, window, [window, &loopRan] {
            loopRan = true;
            QVERIFY(window->isVisible());
            window->close();
        });
        // A loop that went on past the close would end with 7 here, and only
        // after the deadline.
        QObject deadline;
        QTimer::singleShot(20000, &deadline, [] { QCoreApplication::exit(7); });
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(RunResult(1), 0);
        QVERIFY(timer.elapsed() < 20000);
        QVERIFY(loopRan);
        QVERIFY(progress.isNull()); // the cleanup deleted it
    }

    // The instance test.

    void testMessagesAreExact()
    {
        QCOMPARE(TestMessage(true), QString("clientname=TavrolGUI\naction=test"));
        QCOMPARE(TestMessage(false), QString("clientname=TavrolConsole\naction=test"));
    }

    void runningConsoleInstanceReceivesTheTest()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost,
                              quint16(Quolix_ComputerData::TavrolConsolePortNumber())));
        QVERIFY(TestRunningInstance(false, false));
        QCOMPARE(ReceiveAll(server), QByteArray("clientname=TavrolConsole\naction=test"));
    }

    void runningGUIInstanceReceivesTheTest()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost,
                              quint16(Quolix_ComputerData::TavrolGUIPortNumber())));
        QVERIFY(TestRunningInstance(true, true));
        QCOMPARE(ReceiveAll(server), QByteArray("clientname=TavrolGUI\naction=test"));
    }

    void nameAndPortAreChosenApart()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost,
                              quint16(Quolix_ComputerData::TavrolConsolePortNumber())));
        QVERIFY(!TestRunningInstance(false, true)); // nothing on the GUI port
        QVERIFY(TestRunningInstance(true, false));
        QCOMPARE(ReceiveAll(server), QByteArray("clientname=TavrolGUI\naction=test"));
    }

    void noInstanceMeansNoConnection()
    {
        QVERIFY(!TestRunningInstance(false, false));
        QVERIFY(!TestRunningInstance(true, true));
    }

    // The background server.

    void backgroundServerFromAMissingProgramFails()
    {
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!StartBackgroundServer(m_dir.filePath("no-such-program").toLocal8Bit()));
        QVERIFY(timer.elapsed() >= 500);
    }

    void backgroundServerIsStartedWithItsOptions()
    {
        const QString marker = m_dir.filePath("server-arguments.txt");
        const QString script = m_dir.filePath("server.sh");
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QString("#!/bin/sh\necho \"$@\" > '%1.part' && mv '%1.part' '%1'\n")
                       .arg(marker)
                       .toLocal8Bit());
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

        QElapsedTimer timer;
        timer.start();
        QVERIFY(StartBackgroundServer(script.toLocal8Bit()));
        QVERIFY(timer.elapsed() >= 500);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(marker), 20000);
        QFile written(marker);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll(), QByteArray("-nogui -notreadonly\n"));
    }
};

QTEST_MAIN(TestEntry)
#include "tst_entry.moc"
