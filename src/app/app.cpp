#include "app/app.h"

#include "app/globals.h"
#include "app/printftext.h"
#include "app/settings.h"
#include "platform/filesys.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "server/messagesender.h"
#include "window/appwindow.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QProcess>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

namespace {

const char* const DebugFileName = "tavrol_debug.txt";
const char* const DebugFileOption = "-debugfile";
const char* const DebugFilePrefix = "-debugfile=";
const char* const DebugOption = "-debug";
const char* const PrefsEnvironmentVariable = "TAVROLPREFS_DIR";
const char* const PrefsDirName = ".tavrolprefs";
const char* const BundleExecutable = "/Tavrol.app/Contents/MacOS/tavrol";
const int RecentInputFilesLimit = 10;
const int NotificationsAtExitMs = 2000;

enum DebugBits
{
    DebugBit = 1,
    WarningBit = 2,
    FatalBit = 4,
    AllDebugBits = 7
};

// Set while the application object is being made: a fatal message then
// means that the toolkit could not start its platform.
bool ConstructingApplication = false;

QString EnvironmentText(const char* name)
{
    return qEnvironmentVariableIsSet(name)
               ? QLatin1Char('"') + qEnvironmentVariable(name) + QLatin1Char('"')
               : QStringLiteral("not set");
}

// The platform the toolkit tries when QT_QPA_PLATFORM does not name one.
bool UsesDefaultPlatform()
{
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    return platform.isEmpty() || platform == QLatin1String("xcb");
}

// One line of our own that says why the start failed and what to do.
QByteArray StartupFailureText()
{
    QString text;
    if (IsGUIRunMode() && UsesDefaultPlatform()) {
        text = QStringLiteral("tavrol: no usable display (DISPLAY is %1): the window cannot be "
                              "shown. Start with \"-console\" to run without a window.")
                   .arg(EnvironmentText("DISPLAY"));
    } else {
        const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM", QStringLiteral("xcb"));
        text = QStringLiteral("tavrol: the platform plugin \"%1\" cannot be loaded "
                              "(QT_QPA_PLATFORM is %2, DISPLAY is %3).")
                   .arg(platform, EnvironmentText("QT_QPA_PLATFORM"), EnvironmentText("DISPLAY"));
    }
    return text.toLocal8Bit();
}

// The teardown forgets AppBaseDir without deleting it, since code may still
// hold a copy of the pointer; the directories are freed when the process ends.
void RetainBaseDir(QDir* dir)
{
    static std::vector<std::unique_ptr<QDir>> retained;
    if (dir)
        retained.emplace_back(dir);
}

void InstallDebugHandler()
{
    qInstallMessageHandler(DebugMessageHandler);
}

// An unopenable file is dropped silently and the handler stays out, so the
// toolkit's own output stays in force; DebugLevel is 7 in both cases.
bool OpenDebugFile(const QString& name)
{
    DebugLevel = AllDebugBits;
    if (DebugFile) {
        DebugFile->close();
        delete std::exchange(DebugFile, nullptr);
    }
    auto file = std::make_unique<QFile>(name);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Text)) {
        qInstallMessageHandler(nullptr);
        return false;
    }
    DebugFile = file.release();
    InstallDebugHandler();
    return true;
}

} // namespace

Tavrol_App::Tavrol_App(int& argc, char** argv) : QApplication(argc, argv)
{
    Q_INIT_RESOURCE(tavrol);
    Quolix_Registry::SetAppData(ClientName(), QLatin1String(TavrolMajorVersion),
                                QLatin1String(TavrolMinorVersion), QLatin1String(TavrolVersion),
                                QLatin1String(PrefsEnvironmentVariable),
                                QLatin1String(PrefsDirName));
    Quolix_Registry::m_appDebugLevel = DebugLevel;
    Quolix_Registry::m_amsolEnabled = true;
    Quolix_Registry::m_RunningNTor2000 = true;
    // Only the complete exit ends the process: closing a dialog, the start-up
    // window or the main window never does.
    setQuitOnLastWindowClosed(false);
}

Tavrol_App::~Tavrol_App() = default;

void Tavrol_App::NewSlot()
{
    const QStringList command = QProcess::splitCommand(NewInstanceCommand());
    if (!command.isEmpty())
        QProcess::startDetached(command.first(), command.mid(1));
}

void Tavrol_App::QuitSlot()
{
    if (!NoEventLoop) {
        QCoreApplication::quit();
        return;
    }
    // The console loop runs on this thread in place of the event loop, so
    // nothing returns to main: clean up here and end the process.
    ApplicationCleanup();
    std::exit(0);
}

void Tavrol_App::AboutToQuitSlot() {}

void ChooseHeadlessPlatform()
{
    if (!IsConsoleRunMode() || qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

QStringList LibraryPaths(const QString& appBaseDirPath, const QStringList& installedPaths)
{
    QStringList paths{appBaseDirPath,
                      appBaseDirPath + QDir::separator() + QLatin1String("plugins")};
    // The installation's plugin directories stay behind ours: the SQLite
    // driver and the platform plugins live there.
    for (const QString& path : installedPaths) {
        if (!paths.contains(path))
            paths.append(path);
    }
    return paths;
}

QString HelpDirPath(const QString& appBaseDirPath)
{
    const QString manualPath = appBaseDirPath + QLatin1String("/tavrolmanual");
    if (QFileInfo::exists(manualPath))
        return manualPath;
    return appBaseDirPath + QLatin1String("/help");
}

bool ApplicationInit(int argc, char** argv, const QString& /*banner*/,
                     const QString& /*programDirectory*/)
{
    if (TavrolApplication)
        return false;

    ApplicationArgc = argc;
    if (UsageText.isEmpty())
        UsageText = DefaultUsageText();
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    ApplicationTeardown();

    ChooseHeadlessPlatform();
    // In place before the toolkit starts, so that its notices at start-up stay
    // off the terminal as well unless debugging is asked for.
    InstallDebugHandler();
    ConstructingApplication = true;
    TavrolApplication = new Tavrol_App(ApplicationArgc, argv);
    ConstructingApplication = false;
    // Numbers in command lines and database text keep a decimal point.
    std::setlocale(LC_NUMERIC, "C");
    QObject::connect(TavrolApplication, &QCoreApplication::aboutToQuit, TavrolApplication,
                     &Tavrol_App::AboutToQuitSlot);

    if (IsGUIRunMode()) {
        StartupProgress = new Quolix_Process(nullptr, QLatin1String(TavrolOrganization),
                                             ClientName(), Quolix_Process::ShowWindow, false);
        StartupProgress->SetTitle(TitleText(), false);
        StartupProgress->SetIcon(QIcon(QStringLiteral(":/tavrolgui")));
    }

    AppDirPath = new QDir(QCoreApplication::applicationDirPath());
    AppBaseDir = new QDir(*AppDirPath);
    for (int level = 0; level < 3; ++level)
        AppBaseDir->cdUp();

    const QString baseDirPath = AppBaseDir->absolutePath();
    QCoreApplication::setLibraryPaths(LibraryPaths(baseDirPath, QCoreApplication::libraryPaths()));
    Quolix_FileSys::m_appHelpDirPath = HelpDirPath(baseDirPath);

    if (AppDirPath->exists()) {
        ProcessDebugArguments();
        return true;
    }
    ApplicationTeardown();
    return false;
}

void ApplicationTeardown()
{
    // Each pointer is cleared before its object goes, so that destructors
    // never see a dangling one; the main object goes before the application.
    delete std::exchange(StartupProgress, nullptr);
    delete std::exchange(TavrolAppWindow, nullptr);
    // Job notifications still on their way get a last moment to leave.
    if (TavrolApplication)
        Tavrol_MessageSender::FinishAll(NotificationsAtExitMs);
    delete std::exchange(TavrolApplication, nullptr);
    delete std::exchange(AppDirPath, nullptr);
    RetainBaseDir(std::exchange(AppBaseDir, nullptr));
    ExitStatusHint = 0;
}

void StopDebugOutput()
{
    if (DebugFile) {
        DebugFile->close();
        delete std::exchange(DebugFile, nullptr);
    }
    DebugLevel = 0;
    qInstallMessageHandler(nullptr);
}

void ApplicationCleanup()
{
    const int exitStatusHint = ExitStatusHint;
    StopDebugOutput();
    ApplicationTeardown();
    ExitStatusHint = exitStatusHint;
}

void ReportText(const QString& text, bool show)
{
    if (IsConsoleRunMode()) {
        PrintfWithoutArguments(stdout, text.toLatin1());
        return;
    }
    if (!StartupProgress)
        return;
    StartupProgress->AppendText(text);
    if (show)
        StartupProgress->Show();
}

bool ProcessDebugArguments()
{
    return ProcessDebugArguments(QCoreApplication::arguments());
}

bool ProcessDebugArguments(const QStringList& arguments)
{
    // The handler is in place even without a debug option: with DebugLevel 0
    // it keeps the toolkit's warnings off the terminal.
    for (int index = 1; index < arguments.size(); ++index) {
        const QString argument = arguments.at(index).toLower();
        if (argument == QLatin1String(DebugFileOption))
            return OpenDebugFile(QLatin1String(DebugFileName));
        if (argument.startsWith(QLatin1String(DebugFilePrefix)))
            return OpenDebugFile(argument.mid(argument.indexOf(QLatin1Char('=')) + 1));
        if (argument == QLatin1String(DebugOption)) {
            DebugLevel = AllDebugBits;
            break;
        }
    }
    InstallDebugHandler();
    return true;
}

void DebugMessageHandler(QtMsgType type, const QMessageLogContext& /*context*/,
                         const QString& message)
{
    const char* prefix = nullptr;
    int bit = 0;
    switch (type) {
    case QtDebugMsg:
    case QtInfoMsg:
        prefix = "Info:  ";
        bit = DebugBit;
        break;
    case QtWarningMsg:
        prefix = "Warning:  ";
        bit = WarningBit;
        break;
    case QtFatalMsg:
        prefix = "Fatal:  ";
        bit = FatalBit;
        break;
    case QtCriticalMsg:
        return; // the one class with no bit of its own
    }

    const QByteArray text = message.toLocal8Bit();
    if (DebugLevel & bit) {
        if (DebugFile) {
            DebugFile->write(prefix);
            DebugFile->write(text);
            DebugFile->write("\n");
            DebugFile->flush();
        } else {
            std::fprintf(stderr, "%s %s\n", prefix, text.constData());
        }
    }
    if (type != QtFatalMsg)
        return;
    // The process is about to end: whatever the debug options, its reason
    // reaches the terminal.
    if (!(DebugLevel & bit) || DebugFile)
        std::fprintf(stderr, "%s %s\n", prefix, text.constData());
    StopDebugOutput();
    if (ConstructingApplication) {
        // The toolkit found no platform to run on; that is a start-up failure
        // with a reason, not a crash.
        std::fprintf(stderr, "%s\n", StartupFailureText().constData());
        std::fflush(nullptr);
        std::_Exit(1);
    }
}

void AddToRecentInputFiles(const QString& path)
{
    const QFileInfo file(path);
    if (!file.isFile())
        return;
    Tavrol_Settings settings;
    settings.setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath),
                      file.absolutePath());
    const QString key = Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles);
    QStringList recent = settings.value(key).toStringList();
    recent.removeAll(path);
    while (recent.size() >= RecentInputFilesLimit)
        recent.removeLast();
    recent.prepend(path);
    settings.setValue(key, recent);
}

QString NewInstanceCommand()
{
    const QString baseDirPath = AppBaseDir ? AppBaseDir->absolutePath() : QString();
    const QString base = QDir::toNativeSeparators(baseDirPath).trimmed();
    QString path = QDir::toNativeSeparators(base + QLatin1String(BundleExecutable));
    if (path.contains(QLatin1Char(' ')))
        path = QLatin1Char('"') + path + QLatin1Char('"');
    return path;
}
