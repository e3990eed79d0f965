#include "app/entry.h"

#include "app/app.h"
#include "app/globals.h"
#include "platform/computerdata.h"
#include "platform/process.h"
#include "server/message.h"
#include "window/appwindow.h"

#include <QApplication>
#include <QEvent>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QTcpSocket>
#include <QTextStream>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

namespace {

const char* const LauncherMark = "-psn_";
const int ConnectTimeout = 1000;
const int WriteTimeout = 30000;
const long BackgroundServerWait = 500000000L; // nanoseconds

enum CommandLineResult
{
    GoOn = 0,
    EndGUI = 1,
    EndConsole = 2
};

bool HasArgument(int argc, const char* const* argv, const char* option)
{
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], option) == 0)
            return true;
    }
    return false;
}

// Marks, in an array of argc ints, the first argument that holds "-psn_".
std::unique_ptr<int[]> MarkLauncherArgument(int argc, const char* const* argv, int* marked)
{
    std::unique_ptr<int[]> marks(new int[argc]());
    *marked = -1;
    for (int index = 1; index < argc; ++index) {
        if (std::strstr(argv[index], LauncherMark)) {
            marks[index] = 1;
            *marked = index;
            break;
        }
    }
    return marks;
}

int ScanRunMode(int argc, const char* const* argv)
{
    int runMode = RunModeGUI;
    if (HasArgument(argc, argv, "-console") || HasArgument(argc, argv, "-nogui"))
        runMode = RunModeConsole;
    if (HasArgument(argc, argv, "-newconsole"))
        runMode = RunModeNewConsole;
    return runMode;
}

int ScanShowProgress(int argc, const char* const* argv, int runMode)
{
    int showProgress = runMode >= 2 && runMode <= 5 ? 2 : 1;
    if (argc < 1)
        return showProgress;
    if (HasArgument(argc, argv, "-showprogress=true"))
        showProgress = 1;
    if (HasArgument(argc, argv, "-showprogress=false"))
        showProgress = 0;
    if (HasArgument(argc, argv, "-showprogress=some"))
        showProgress = 2;
    return showProgress;
}

bool IsServerRunMode(int runMode)
{
    return runMode == RunModeGUIServer || runMode == RunModeConsoleServer ||
           runMode == RunModeNewConsoleServer;
}

int EndResult()
{
    return IsGUIRunMode() ? EndGUI : EndConsole;
}

QString ProgramDirectory(const char* argv0)
{
    return argv0 ? QFileInfo(QString::fromLocal8Bit(argv0)).absolutePath() : QString();
}

// The application does not end when its last window closes, so the start-up
// window that shows the usage ends the event loop itself when it is closed.
class Tavrol_QuitWhenClosed : public QObject
{
public:
    explicit Tavrol_QuitWhenClosed(QObject* watched) : QObject(watched)
    {
        watched->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Close)
            QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        return QObject::eventFilter(watched, event);
    }
};

void QuitWhenStartupWindowCloses()
{
    QWidget* window = StartupProgress ? StartupProgress->Window() : nullptr;
    if (window)
        new Tavrol_QuitWhenClosed(window); // goes with the window
}

int RunEventLoopAndCleanUp()
{
    const int status = QApplication::exec();
    ApplicationCleanup();
    return status;
}

} // namespace

Tavrol_RawArguments ScanRawArguments(int argc, const char* const* argv)
{
    Tavrol_RawArguments scan;
    MarkLauncherArgument(argc, argv, &scan.launcherArgument);
    scan.runMode = ScanRunMode(argc, argv);
    scan.noEventLoop = HasArgument(argc, argv, "-noeventloop");
    scan.noRecovery = HasArgument(argc, argv, "-norecovery");
    scan.showProgress = ScanShowProgress(argc, argv, scan.runMode);
    return scan;
}

QStringList CommandLineArguments(int argc, const char* const* argv)
{
    int marked = -1;
    const std::unique_ptr<int[]> marks = MarkLauncherArgument(argc, argv, &marked);
    QStringList arguments;
    for (int index = 0; index < argc; ++index) {
        if (!marks[index] && argv[index] && argv[index][0] != '\0')
            arguments.append(QString::fromLocal8Bit(argv[index]));
    }
    return arguments;
}

QString TestMessage(bool guiClientName)
{
    return Tavrol_Message::TestMessage(ClientName(guiClientName));
}

bool TestRunningInstance(bool guiClientName, bool guiPort)
{
    QTcpSocket socket;
    const int port = guiPort ? Quolix_ComputerData::TavrolGUIPortNumber()
                             : Quolix_ComputerData::TavrolConsolePortNumber();
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port),
                         QIODevice::ReadWrite);
    if (!socket.waitForConnected(ConnectTimeout)) {
        socket.close();
        return false;
    }
    // There is no event loop yet, so the message is written out here and now:
    // a running instance reads the whole test message from this connection.
    QTextStream stream(&socket);
    stream << TestMessage(guiClientName);
    stream.flush();
    socket.waitForBytesWritten(WriteTimeout);
    socket.close();
    return true;
}

bool StartBackgroundServer(const char* argv0)
{
    bool started = false;
    const QString program = argv0 ? QString::fromLocal8Bit(argv0) : QString();
    if (!program.isEmpty() && QFileInfo::exists(program)) {
        started = QProcess::startDetached(
            program, {QStringLiteral("-nogui"), QStringLiteral("-notreadonly")});
    }
    // Give the server time to listen before anybody connects.
    timespec wait{0, BackgroundServerWait};
    while (nanosleep(&wait, &wait) != 0) {
    }
    return started;
}

int ProcessCommandLine(const QStringList& arguments)
{
    if (arguments.size() <= 1)
        return GoOn;

    const QStringList options = arguments.mid(1);
    if (options.contains(QLatin1String("-help"), Qt::CaseInsensitive)) {
        ReportText(UsageText, true);
        ExitStatusHint = 3;
        return EndResult();
    }

    const bool noGui = options.contains(QLatin1String("-nogui"), Qt::CaseInsensitive);
    const bool run = options.contains(QLatin1String("-run"), Qt::CaseInsensitive);
    for (const QString& argument : options) {
        if (argument.startsWith(QLatin1Char('-')))
            continue;
        // The first plain argument decides; later ones are not looked at.
        const QFileInfo file(argument);
        if (file.isFile()) {
            StartupFilePath = file.absoluteFilePath();
            return GoOn;
        }
        qWarning("The file named on the command line does not exist: %s", qUtf8Printable(argument));
        if (!noGui && !run)
            ExitStatusHint = 2;
        return EndResult();
    }
    return IsGUIRunMode() ? EndGUI : GoOn;
}

bool CreateAppWindow()
{
    TavrolAppWindow = new Tavrol_AppWindow(nullptr, {});
    if (!TavrolAppWindow->Start())
        return false;
    TavrolAppWindow->Show(10);
    return true;
}

int RunCommandLineResult(int result)
{
    switch (result) {
    case GoOn:
        if (!CreateAppWindow()) {
            ApplicationCleanup();
            return 1;
        }
        return RunEventLoopAndCleanUp();
    case EndGUI:
        // With help shown the start-up window stays up as the active window,
        // and the event loop runs until the user closes it.
        if (ExitStatusHint != 3)
            delete std::exchange(StartupProgress, nullptr);
        if (QApplication::activeWindow()) {
            QuitWhenStartupWindowCloses();
            return RunEventLoopAndCleanUp();
        }
        ApplicationCleanup();
        return 0;
    default: {
        const bool helpShown = ExitStatusHint == 3;
        ApplicationCleanup();
        return helpShown ? 0 : 1;
    }
    }
}

int TavrolMain(int argc, char** argv)
{
    const Tavrol_RawArguments scan = ScanRawArguments(argc, argv);
    RunMode = scan.runMode;
    NoEventLoop = scan.noEventLoop;
    NoRecovery = scan.noRecovery;

    // An instance of the same kind already listens: leave it alone.
    if (TestRunningInstance(IsGUIRunMode(), IsGUIRunMode()))
        return 0;
    if (IsServerRunMode(RunMode) && !TestRunningInstance(IsGUIRunMode(), false) &&
        !StartBackgroundServer(argv[0])) {
        return 1;
    }

    ShowProgress = scan.showProgress;
    std::setbuf(stdout, nullptr); // the console's prompts appear at once

    const QString banner = TitleText() + QLatin1Char('\n') + MakersNotice() + QLatin1Char('\n');
    if (!ApplicationInit(argc, argv, banner, ProgramDirectory(argc > 0 ? argv[0] : nullptr))) {
        ApplicationCleanup();
        return 1;
    }

    // The toolkit has taken out the arguments it consumed.
    const QStringList arguments = CommandLineArguments(ApplicationArgc, argv);
    qDebug("%s starts in run mode %d with the arguments: %s", qUtf8Printable(TitleText()), RunMode,
           qUtf8Printable(arguments.join(QLatin1Char(' '))));
    const int result = ProcessCommandLine(arguments);
    qDebug("The command line gives %d, the exit status hint is %d", result, ExitStatusHint);
    return RunCommandLineResult(result);
}
