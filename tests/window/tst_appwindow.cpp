// The main object: what it builds in each run mode, its start-up, the
// window's close filter and placement, the about box, the exit question, and
// the order in which it lets go of what it owns.

#include "app/globals.h"
#include "app/settings.h"
#include "console/console.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/computerdata.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

#include <unistd.h>

namespace {

bool Listening(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), quint16(port));
    return socket.waitForConnected(2000);
}

void ClearSettings()
{
    Tavrol_Settings settings;
    settings.clear();
}

} // namespace

class TestAppWindow : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        ClearSettings();
        StartupFilePath.clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void cleanup()
    {
        TavrolAppWindow = nullptr;
        RunMode = RunModeConsole;
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    // Without a window: a console and six views with no parent, nothing else.
    void consoleModeBuildsConsoleAndViews()
    {
        RunMode = RunModeNewConsole;
        Tavrol_AppWindow window;
        QVERIFY(window.Console());
        QVERIFY(!window.MainWindow());
        QVERIFY(!window.LongJobsView());
        window.BuildWidgets();
        const QList<QObject*> views = {window.LongJobsView(),      window.ShortJobsView(),
                                       window.QueuelessJobsView(), window.RunningJobsView(),
                                       window.FinishedJobsView(),  window.JobTypesView()};
        for (QObject* view : views) {
            QVERIFY(view);
            QVERIFY(!view->parent());
        }
        QVERIFY(!window.LongJobsView()->Frame());
        QVERIFY(!window.FinishedJobsView()->Frame());
        QVERIFY(!window.JobTypesView()->Frame());
        QCOMPARE(QApplication::topLevelWidgets().size(), 0);
    }

    void guiModeMakesTheWindowWithItsFlags()
    {
        RunMode = RunModeGUI;
        const Qt::WindowFlags flags = Qt::Window | Qt::WindowStaysOnTopHint;
        Tavrol_AppWindow window(nullptr, flags);
        QVERIFY(window.MainWindow());
        QVERIFY(!window.Console());
        QCOMPARE(window.MainWindow()->windowFlags() & Qt::WindowStaysOnTopHint,
                 Qt::WindowStaysOnTopHint);
    }

    // The close button only hides the window.
    void closeOnlyHidesTheWindow()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        window.MainWindow()->show();
        QCloseEvent event;
        QApplication::sendEvent(window.MainWindow(), &event);
        QVERIFY(!event.isAccepted());
        QVERIFY(!window.MainWindow()->isVisible());
        QVERIFY(!window.MainWindow()->close());
        window.SystemTrayShowWindowSlot();
        QVERIFY(window.MainWindow()->isVisible());
    }

    void hideAndShowSlots()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        window.MainWindow()->showMinimized();
        window.SystemTrayShowWindowSlot();
        QVERIFY(window.MainWindow()->isVisible());
        QVERIFY(!(window.MainWindow()->windowState() & Qt::WindowMinimized));
        window.OkaySlot();
        QVERIFY(!window.MainWindow()->isVisible());
        window.SystemTrayShowWindowSlot();
        window.SystemTrayHideWindowSlot();
        QVERIFY(!window.MainWindow()->isVisible());
        window.UpdateMenusSlot();
    }

    // Half the available desktop, centred, never closer than 10 to the corner.
    void showPlacesTheWindow()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        window.Show();
        QMainWindow* mainWindow = window.MainWindow();
        QVERIFY(mainWindow->isVisible());
        const QRect available = mainWindow->screen()->availableGeometry();
        QCOMPARE(mainWindow->size(), QSize(available.width() / 2, available.height() / 2));
        QCOMPARE(mainWindow->x(),
                 std::max(10, available.x() + (available.width() - mainWindow->width()) / 2));
        QCOMPARE(mainWindow->y(),
                 std::max(10, available.y() + (available.height() - mainWindow->height()) / 2));
    }

    void aboutText()
    {
        RunMode = RunModeConsole;
        QCOMPARE(Tavrol_AppWindow::AboutText(),
                 QStringLiteral("TavrolConsole 1.1.15     (64-bit Mac OS X)\n\n") + MakersNotice());
        RunMode = RunModeGUI;
        QCOMPARE(Tavrol_AppWindow::AboutText(),
                 QStringLiteral("TavrolGUI 1.1.15     (64-bit Mac OS X)\n\n") + MakersNotice());
    }

    void aboutBox()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        QString title;
        QString text;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        bool okIsDefault = false;
        QTimer::singleShot(100, this, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            title = box->windowTitle();
            text = box->text();
            icon = box->icon();
            okIsDefault = static_cast<QAbstractButton*>(box->defaultButton()) ==
                              box->button(QMessageBox::Ok) &&
                          box->buttons().size() == 1;
            box->accept();
        });
        window.AboutSlot();
        QCOMPARE(title, QStringLiteral("About TavrolGUI"));
        QCOMPARE(text, Tavrol_AppWindow::AboutText());
        QCOMPARE(icon, QMessageBox::Information);
        QVERIFY(okIsDefault);
    }

    // Nobody can answer the exit question on this display: its default, No,
    // changes nothing.
    void exitAnsweredNoChangesNothing()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        window.MainWindow()->hide();
        window.SystemTrayQuitSlot();
        QVERIFY(window.MainWindow()->isVisible()); // shown for the question
        QVERIFY(Tavrol_Database_Manager::Instance()->CurrentDatabase);
        window.ExitSlot(); // without a confirmed exit it does nothing
        QVERIFY(Tavrol_Database_Manager::Instance()->CurrentDatabase);
    }

    void consoleStart()
    {
        RunMode = RunModeConsole;
        qputenv("GAUSS_EXEDIR", "/no/such/gaussian");
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        QCOMPARE(window.Console()->Title(), QStringLiteral("TavrolConsole 1.1.15, New Project"));
        QVERIFY(Listening(Quolix_ComputerData::TavrolConsolePortNumber()));
        Tavrol_Database* database = Tavrol_Database_Manager::Instance()->CurrentDatabase;
        QVERIFY(database);
        QVERIFY(!database->Modified);
        QVERIFY(database->FilePath.isEmpty());
    }

    void guiStart()
    {
        RunMode = RunModeGUI;
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        QCOMPARE(window.MainWindow()->windowTitle(),
                 QStringLiteral("TavrolGUI 1.1.15, Unsaved Project"));
        QVERIFY(!window.MainWindow()->windowIcon().isNull());
        QVERIFY(Listening(Quolix_ComputerData::TavrolGUIPortNumber()));
        qputenv("GAUSS_EXEDIR", "/no/such/gaussian");
    }

    // A client's "show" restores a minimized window and raises it; "hide"
    // hides it.
    void showAndHideRequestsInTheGui()
    {
        RunMode = RunModeGUI;
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        const auto send = [](const QByteArray& message) {
            QVERIFY(
                TestSupport::SendAndHold(quint16(Quolix_ComputerData::TavrolGUIPortNumber()),
                                         message + "\nclientuid=" + QByteArray::number(getuid())));
        };
        window.MainWindow()->showMinimized();
        send("clientname=a\naction=show");
        QTRY_VERIFY_WITH_TIMEOUT(!(window.MainWindow()->windowState() & Qt::WindowMinimized),
                                 10000);
        QVERIFY(window.MainWindow()->isVisible());
        send("clientname=a\naction=hide");
        QTRY_VERIFY_WITH_TIMEOUT(!window.MainWindow()->isVisible(), 10000);
        QCOMPARE(window.ClientNameList(), QStringList{QStringLiteral("a")});
    }

    // The last directory comes back when it still exists.
    void startRestoresTheLastDirectory()
    {
        RunMode = RunModeConsole;
        QTemporaryDir directory;
        const QString before = QDir::currentPath();
        Tavrol_Settings().setValue(
            Tavrol_Settings::Key(QStringLiteral("/Files/Last_Directory_Path")), directory.path());
        {
            Tavrol_AppWindow window;
            TavrolAppWindow = &window;
            QVERIFY(window.Start());
            QCOMPARE(QDir::currentPath(), QDir(directory.path()).absolutePath());
        }
        QDir::setCurrent(before);
        Tavrol_Settings().setValue(
            Tavrol_Settings::Key(QStringLiteral("/Files/Last_Directory_Path")),
            QStringLiteral("/no/such/directory"));
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        QCOMPARE(QDir::currentPath(), before);
    }

    // The project to open: the named one, unless its directory is gone; else
    // the first recent project that still exists.
    void startPicksTheProject()
    {
        RunMode = RunModeConsole;
        QTemporaryDir directory;
        const QString project = directory.filePath(QStringLiteral("p.tvrl"));
        QFile(project).open(QIODevice::WriteOnly);
        {
            Tavrol_AppWindow maker;
            TavrolAppWindow = &maker;
            maker.BuildWidgets();
            maker.NewProject(project);
            Tavrol_Database_Manager::Instance()->CurrentDatabase->Modified = true;
            QVERIFY(maker.SaveProject());
        }
        ClearSettings();
        const QString vanished = directory.filePath(QStringLiteral("gone.tvrl"));
        Tavrol_Settings().setValue(Tavrol_Settings::Key(QStringLiteral("/Files/Recent_Projects")),
                                   QStringList{vanished, project});
        StartupFilePath = QStringLiteral("/no/such/directory/x.tvrl");
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        QCOMPARE(window.Console()->Title(), QStringLiteral("TavrolConsole 1.1.15, ") + project);
        // The vanished entry is dropped from the stored list only when the
        // list is next written, which opening the project does.
        QCOMPARE(Tavrol_Settings()
                     .value(Tavrol_Settings::Key(QStringLiteral("/Files/Recent_Projects")))
                     .toStringList(),
                 (QStringList{project, vanished}));
    }

    // A named file that does not exist yet in an existing directory is the
    // path of a new project.
    void startWithANewFileName()
    {
        RunMode = RunModeConsole;
        QTemporaryDir directory;
        StartupFilePath = directory.filePath(QStringLiteral("future.tvrl"));
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        QVERIFY(window.Start());
        QCOMPARE(window.Console()->Title(),
                 QStringLiteral("TavrolConsole 1.1.15, ") + StartupFilePath);
        QVERIFY(!QFile::exists(StartupFilePath));
    }

    // The views, with their queues, go before the window, the console and
    // the server.
    void destructionOrder_data()
    {
        QTest::addColumn<int>("runMode");
        QTest::newRow("console") << int(RunModeConsole);
        QTest::newRow("gui") << int(RunModeGUI);
    }

    void destructionOrder()
    {
        QFETCH(int, runMode);
        RunMode = runMode;
        auto window = std::make_unique<Tavrol_AppWindow>();
        TavrolAppWindow = window.get();
        QVERIFY(window->Start());
        QStringList order;
        const auto watch = [&order](QObject* object, const QString& name) {
            QObject::connect(object, &QObject::destroyed, [&order, name] { order.append(name); });
        };
        watch(window->LongJobsView(), QStringLiteral("long"));
        watch(window->ShortJobsView(), QStringLiteral("short"));
        watch(window->QueuelessJobsView(), QStringLiteral("queueless"));
        watch(window->RunningJobsView(), QStringLiteral("running"));
        watch(window->FinishedJobsView(), QStringLiteral("finished"));
        watch(window->JobTypesView(), QStringLiteral("job types"));
        if (window->MainWindow())
            watch(window->MainWindow(), QStringLiteral("window"));
        if (window->Console())
            watch(window->Console(), QStringLiteral("console"));
        const QList<QTcpServer*> servers = window->findChildren<QTcpServer*>();
        QCOMPARE(servers.size(), 1);
        watch(servers.first(), QStringLiteral("server"));
        window.reset();
        QStringList expected{QStringLiteral("long"),      QStringLiteral("short"),
                             QStringLiteral("queueless"), QStringLiteral("running"),
                             QStringLiteral("finished"),  QStringLiteral("job types")};
        expected << (runMode == RunModeGUI ? QStringLiteral("window") : QStringLiteral("console"))
                 << QStringLiteral("server");
        QCOMPARE(order, expected);
    }
};

QTEST_MAIN(TestAppWindow)
#include "tst_appwindow.moc"
