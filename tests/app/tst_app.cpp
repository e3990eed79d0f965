#include "app/app.h"

#include "app/globals.h"
#include "app/settings.h"
#include "platform/filesys.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "window/appwindow.h"

#include "capture.h"
#include "testsupport.h"

#include <QtTest>

#include <QLibraryInfo>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QWidget>

#include <clocale>
#include <cstdio>
#include <unistd.h>

using TestSupport::StandardOutputOf;

namespace {

// The arguments the application object is built with; they outlive it.
int InitArgc = 1;
char InitProgram[] = "tst_app";
char* InitArgv[] = {InitProgram, nullptr};

QString WriteScript(const QString& path, const QString& marker)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write(QString("#!/bin/sh\necho started > '%1.part' && mv '%1.part' '%1'\n")
                   .arg(marker)
                   .toLocal8Bit());
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

QStringList RecentInputFiles()
{
    Tavrol_Settings settings;
    return settings.value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles))
        .toStringList();
}

} // namespace

// Runs with the application object that ApplicationInit builds in main().
class TestApp : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString CreateFile(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        return TestSupport::WrittenFile(path, "input");
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(TavrolApplication);
    }

    void applicationObjectIsTheApplication()
    {
        QCOMPARE(static_cast<QCoreApplication*>(TavrolApplication), QCoreApplication::instance());
        QVERIFY(qobject_cast<QApplication*>(TavrolApplication));
        QCOMPARE(ApplicationArgc, 1);
    }

    void secondInitFails()
    {
        Tavrol_App* const application = TavrolApplication;
        QVERIFY(!ApplicationInit(InitArgc, InitArgv));
        QCOMPARE(TavrolApplication, application);
    }

    void versionStrings()
    {
        QCOMPARE(QString(TavrolMajorVersion), QString("1"));
        QCOMPARE(QString(TavrolMinorVersion), QString("1.1"));
        QCOMPARE(QString(TavrolVersion), QString("1.1.15"));
        QCOMPARE(QString(TavrolBuildVersion), QString("1.1.15.1"));
    }

    void clientNameAndTitleFollowTheRunMode()
    {
        QCOMPARE(ClientName(), QString("TavrolGUI"));
        QCOMPARE(TitleText(), QString("TavrolGUI 1.1.15"));
        for (int mode : {2, 3, 4, 5}) {
            RunMode = mode;
            QCOMPARE(ClientName(), QString("TavrolConsole"));
            QCOMPARE(TitleText(), QString("TavrolConsole 1.1.15"));
        }
        RunMode = 1;
        QCOMPARE(ClientName(), QString("TavrolGUI"));
        RunMode = RunModeGUI;
        QCOMPARE(PlainTitleText(), QString("Tavrol 1.1.15"));
        QCOMPARE(PlatformText(), QString("64-bit Mac OS X"));
    }

    void usageTextHasItsMissingBracket()
    {
        QCOMPARE(UsageText, QString("Usage:    tavrol [options]\n\noptions:  [-help]\n"
                                    "          [-list\n          [-console]\n"
                                    "          [-newconsole]\n          [-run]\n"
                                    "          [-nogui]\n"));
    }

    void registryKnowsTheApplication()
    {
        QCOMPARE(Quolix_Registry::AppName(), QString("TavrolGUI"));
        QCOMPARE(Quolix_Registry::MajorVersion(), QString("1"));
        QCOMPARE(Quolix_Registry::MinorVersion(), QString("1.1"));
        QCOMPARE(Quolix_Registry::Version(), QString("1.1.15"));
        QCOMPARE(Quolix_Registry::m_appDebugLevel, 0);
        QVERIFY(Quolix_Registry::m_amsolEnabled);
        QVERIFY(Quolix_Registry::m_RunningNTor2000);
    }

    void preferencesDirectoryComesFromTheEnvironment()
    {
        const QByteArray saved = qgetenv("TAVROLPREFS_DIR");
        qputenv("TAVROLPREFS_DIR", m_dir.filePath("prefs").toLocal8Bit());
        QCOMPARE(Quolix_Registry::PrefsDirPath(), m_dir.filePath("prefs"));
        qunsetenv("TAVROLPREFS_DIR");
        QCOMPARE(Quolix_Registry::PrefsDirPath(), QDir::home().filePath(".tavrolprefs"));
        qputenv("TAVROLPREFS_DIR", saved);
    }

    void numbersKeepADecimalPoint()
    {
        QCOMPARE(QByteArray(std::setlocale(LC_NUMERIC, nullptr)), QByteArray("C"));
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%.2f", 1.25);
        QCOMPARE(QByteArray(buffer), QByteArray("1.25"));
    }

    void aboutToQuitIsConnected()
    {
        QVERIFY(QObject::disconnect(TavrolApplication, &QCoreApplication::aboutToQuit,
                                    TavrolApplication, &Tavrol_App::AboutToQuitSlot));
        QObject::connect(TavrolApplication, &QCoreApplication::aboutToQuit, TavrolApplication,
                         &Tavrol_App::AboutToQuitSlot);
    }

    void startupProgressIsATextWindowWithTitleAndIcon()
    {
        QVERIFY(StartupProgress);
        QCOMPARE(StartupProgress->Title(), QString("TavrolGUI 1.1.15"));
        QWidget* window = StartupProgress->Window();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), QString("TavrolGUI 1.1.15"));
        QVERIFY(!window->windowIcon().isNull());
        QVERIFY(!window->isVisible());
    }

    void applicationIconIsInTheResources() { QVERIFY(!QPixmap(":/tavrolgui").isNull()); }

    void directoriesOfTheApplication()
    {
        QVERIFY(AppDirPath);
        QVERIFY(AppBaseDir);
        QCOMPARE(AppDirPath->absolutePath(), QCoreApplication::applicationDirPath());
        QDir expected(QCoreApplication::applicationDirPath());
        expected.cdUp();
        expected.cdUp();
        expected.cdUp();
        QCOMPARE(AppBaseDir->absolutePath(), expected.absolutePath());
    }

    void libraryPathsBeginWithTheBaseDirectory()
    {
        const QString base = AppBaseDir->absolutePath();
        const QStringList paths = QCoreApplication::libraryPaths();
        QVERIFY(paths.size() >= 2);
        QCOMPARE(paths.at(0), base);
        QCOMPARE(paths.at(1), base + QDir::separator() + "plugins");
    }

    void installedPluginsStayReachable()
    {
        QVERIFY(QCoreApplication::libraryPaths().contains(
            QLibraryInfo::path(QLibraryInfo::PluginsPath)));
        QVERIFY(QSqlDatabase::drivers().contains("QSQLITE"));
    }

    void libraryPathsKeepOrderWithoutDuplicates()
    {
        QCOMPARE(LibraryPaths("/a", {"/x", "/a", "/a/plugins", "/y"}),
                 (QStringList{"/a", "/a/plugins", "/x", "/y"}));
    }

    void helpPathPrefersTheManual()
    {
        const QString base = m_dir.filePath("base");
        QDir().mkpath(base);
        QCOMPARE(HelpDirPath(base), base + "/help");
        QDir().mkpath(base + "/tavrolmanual");
        QCOMPARE(HelpDirPath(base), base + "/tavrolmanual");
        QCOMPARE(Quolix_FileSys::m_appHelpDirPath, HelpDirPath(AppBaseDir->absolutePath()));
    }

    void reportTextInTheGUIGoesToTheStartupWindow()
    {
        const QString before = StartupProgress->Text();
        ReportText("first line\n", false);
        QCOMPARE(StartupProgress->Text(), before + "first line\n");
        QVERIFY(!StartupProgress->Window()->isVisible());
        ReportText("100%s done", true);
        QCOMPARE(StartupProgress->Text(), before + "first line\n100%s done");
        QVERIFY(StartupProgress->Window()->isVisible());
        StartupProgress->Window()->hide();
    }

    void reportTextInTheConsoleIsAPrintfFormat()
    {
        RunMode = RunModeConsole;
        const QString before = StartupProgress->Text();
        const QByteArray printed = StandardOutputOf(
            [] { ReportText(QString::fromUtf8("caf\u00e9 100%% %s|%d|%n\n"), true); });
        RunMode = RunModeGUI;
        QCOMPARE(printed, QByteArray("caf\xe9 100% |0|\n"));
        QCOMPARE(StartupProgress->Text(), before); // nothing went to the window
    }

    void reportTextWithoutAStartupWindowDoesNothing()
    {
        Quolix_Process* const progress = std::exchange(StartupProgress, nullptr);
        const QByteArray printed = StandardOutputOf([] { ReportText("nowhere", true); });
        StartupProgress = progress;
        QVERIFY(printed.isEmpty());
    }

    void recentInputFilesHoldTheNewestFirst()
    {
        Tavrol_Settings settings;
        QVERIFY(settings.fileName().endsWith("/Zendara, Inc./Tavrol.conf"));
        const QString a = CreateFile("inputs/a.com");
        const QString b = CreateFile("inputs/b.com");
        AddToRecentInputFiles(a);
        AddToRecentInputFiles(b);
        QCOMPARE(RecentInputFiles().mid(0, 2), (QStringList{b, a}));
        Tavrol_Settings reread;
        QCOMPARE(reread.value("1/Files/Last_Directory_Path").toString(),
                 QFileInfo(b).absolutePath());
    }

    void recentInputFileMovesToTheFront()
    {
        const QString a = CreateFile("move/a.com");
        const QString b = CreateFile("move/b.com");
        const QString c = CreateFile("move/c.com");
        AddToRecentInputFiles(a);
        AddToRecentInputFiles(b);
        AddToRecentInputFiles(c);
        const int size = RecentInputFiles().size();
        AddToRecentInputFiles(a);
        QCOMPARE(RecentInputFiles().size(), size);
        QCOMPARE(RecentInputFiles().mid(0, 3), (QStringList{a, c, b}));
        QCOMPARE(RecentInputFiles().count(a), 1);
    }

    void recentInputFilesKeepAtMostTen()
    {
        QStringList added;
        for (int index = 0; index < 12; ++index) {
            added.prepend(CreateFile(QString("many/%1.com").arg(index)));
            AddToRecentInputFiles(added.first());
        }
        QCOMPARE(RecentInputFiles(), added.mid(0, 10));
    }

    void missingInputFileIsNotRecorded()
    {
        const QStringList before = RecentInputFiles();
        Tavrol_Settings settings;
        const QString lastDirectory = settings.value("1/Files/Last_Directory_Path").toString();
        AddToRecentInputFiles(m_dir.filePath("missing/none.com"));
        AddToRecentInputFiles(m_dir.path()); // a directory is no input file
        QCOMPARE(RecentInputFiles(), before);
        Tavrol_Settings reread;
        QCOMPARE(reread.value("1/Files/Last_Directory_Path").toString(), lastDirectory);
    }

    void newInstanceCommandIsQuotedWithABlank()
    {
        QDir* const saved = AppBaseDir;
        QDir plain("/opt/apps");
        AppBaseDir = &plain;
        QCOMPARE(NewInstanceCommand(), QString("/opt/apps/Tavrol.app/Contents/MacOS/tavrol"));
        QDir blank("/opt/my apps");
        AppBaseDir = &blank;
        QCOMPARE(NewInstanceCommand(),
                 QString("\"/opt/my apps/Tavrol.app/Contents/MacOS/tavrol\""));
        AppBaseDir = saved;
    }

    void newSlotStartsTheBundleProgram()
    {
        const QString base = m_dir.filePath("with blank");
        const QString marker = m_dir.filePath("new-instance.txt");
        QVERIFY(!WriteScript(base + "/Tavrol.app/Contents/MacOS/tavrol", marker).isEmpty());
        QDir* const saved = AppBaseDir;
        QDir baseDir(base);
        AppBaseDir = &baseDir;
        TavrolApplication->NewSlot();
        AppBaseDir = saved;
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(marker), 20000);
    }

    // Only the complete exit ends the process: the last window closing does not.
    void closingTheLastWindowDoesNotQuit()
    {
        QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
        QWidget window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        bool closed = false;
        QTimer::singleShot(0, &window, [&window, &closed] { closed = window.close(); });
        // Runs only if the loop outlived the close of the last window.
        QTimer::singleShot(200, &window, [] { QCoreApplication::exit(7); });
        QCOMPARE(QApplication::exec(), 7);
        QVERIFY(closed);
        QVERIFY(!window.isVisible());
    }

    void quitSlotEndsTheEventLoop()
    {
        QVERIFY(!NoEventLoop);
        QTimer::singleShot(0, TavrolApplication, &Tavrol_App::QuitSlot);
        QCOMPARE(QApplication::exec(), 0);
        QVERIFY(TavrolApplication); // only the loop ended
    }

    void headlessConsoleUsesTheOffscreenPlatform()
    {
        const QByteArray display = qgetenv("DISPLAY");
        const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
        const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
        const bool hadPlatform = qEnvironmentVariableIsSet("QT_QPA_PLATFORM");

        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
        qunsetenv("QT_QPA_PLATFORM");
        RunMode = RunModeGUI;
        ChooseHeadlessPlatform();
        QVERIFY(!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"));
        RunMode = RunModeNewConsole;
        ChooseHeadlessPlatform();
        QCOMPARE(qgetenv("QT_QPA_PLATFORM"), QByteArray("offscreen"));

        qputenv("QT_QPA_PLATFORM", "minimal");
        ChooseHeadlessPlatform();
        QCOMPARE(qgetenv("QT_QPA_PLATFORM"), QByteArray("minimal"));

        qunsetenv("QT_QPA_PLATFORM");
        qputenv("DISPLAY", ":5");
        ChooseHeadlessPlatform();
        QVERIFY(!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"));
        qunsetenv("DISPLAY");
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        ChooseHeadlessPlatform();
        QVERIFY(!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"));

        RunMode = RunModeGUI;
        display.isNull() ? qunsetenv("DISPLAY") : qputenv("DISPLAY", display);
        wayland.isNull() ? qunsetenv("WAYLAND_DISPLAY") : qputenv("WAYLAND_DISPLAY", wayland);
        hadPlatform ? qputenv("QT_QPA_PLATFORM", platform) : qunsetenv("QT_QPA_PLATFORM");
    }

    // Runs last but one: it takes the application down and builds it again.
    void teardownDeletesInOrderAndKeepsTheHint()
    {
        QStringList deleted;
        QObject::connect(StartupProgress, &QObject::destroyed,
                         [&deleted] { deleted << "startup window"; });
        TavrolAppWindow = new Tavrol_AppWindow(nullptr, {});
        QObject::connect(TavrolAppWindow, &QObject::destroyed,
                         [&deleted] { deleted << "main object"; });
        QObject::connect(TavrolApplication, &QObject::destroyed,
                         [&deleted] { deleted << "application"; });
        QDir* const baseDir = AppBaseDir;
        DebugLevel = 7;

        ExitStatusHint = 3;
        ApplicationCleanup();
        QCOMPARE(deleted, (QStringList{"startup window", "main object", "application"}));
        QCOMPARE(ExitStatusHint, 3);
        QCOMPARE(TavrolApplication, nullptr);
        QCOMPARE(TavrolAppWindow, nullptr);
        QCOMPARE(StartupProgress, nullptr);
        QCOMPARE(AppDirPath, nullptr);
        QCOMPARE(AppBaseDir, nullptr);
        QCOMPARE(DebugLevel, 0);
        QCOMPARE(DebugFile, nullptr);
        QCOMPARE(QCoreApplication::instance(), nullptr);
        // The base directory was forgotten, not deleted.
        QVERIFY(!baseDir->absolutePath().isEmpty());

        ApplicationTeardown();
        QCOMPARE(ExitStatusHint, 0);

        QVERIFY(ApplicationInit(InitArgc, InitArgv));
        QVERIFY(TavrolApplication);
        QVERIFY(StartupProgress);
    }

    void consoleInitHasNoStartupWindow()
    {
        ApplicationCleanup();
        RunMode = RunModeConsole;
        QVERIFY(ApplicationInit(InitArgc, InitArgv));
        QCOMPARE(StartupProgress, nullptr);
        QCOMPARE(Quolix_Registry::AppName(), QString("TavrolConsole"));
        RunMode = RunModeGUI;
    }
};

int main(int argc, char** argv)
{
    if (!ApplicationInit(InitArgc, InitArgv))
        return 1;
    TestApp test;
    const int status = QTest::qExec(&test, argc, argv);
    ApplicationCleanup();
    return status;
}

#include "tst_app.moc"
