// The desktop window as the user meets it: its tabs, its button row, the
// tray menu, the close button that only hides, the exit and save questions
// answered from here, the project file checks and the save dialog, the
// placement on a small desktop, and the help viewer.

#include "realuser.h"
#include "windowboxes.h"

#include "app/globals.h"
#include "app/settings.h"
#include "jobs/job.h"
#include "jobs/longjobsqueue.h"
#include "jobtypes/jobtype.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/computerdata.h"
#include "platform/error.h"
#include "platform/helpdialog.h"
#include "platform/registry.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "server/message.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"
#include "window/openfilesdialog.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHostAddress>
#include <QInputDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QSizeGrip>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>
#include <QUrl>

#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>

namespace {

constexpr int WaitMs = 30000;

bool Listening(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), quint16(port));
    return socket.waitForConnected(2000);
}

QStringList ButtonRowTexts(QMainWindow* window)
{
    QStringList texts;
    const QList<QPushButton*> buttons =
        window->centralWidget()->findChildren<QPushButton*>(QString(), Qt::FindDirectChildrenOnly);
    for (const QPushButton* button : buttons)
        texts.append(button->text());
    return texts;
}

QPushButton* ButtonNamed(QMainWindow* window, const QString& text)
{
    for (QPushButton* button : window->centralWidget()->findChildren<QPushButton*>(
             QString(), Qt::FindDirectChildrenOnly)) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
        // The default job types find the stand-in, so a new project has some.
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
    }

    void init()
    {
        Tavrol_Settings().clear();
        // Stored choices of the Submit Jobs dialog override what a test asks.
        QDir prefs(Quolix_Registry::PrefsDirPath());
        for (const QString& name : prefs.entryList({QStringLiteral("Open_Files_*")}, QDir::Files))
            QVERIFY(prefs.remove(name));
        StartupFilePath.clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
        m_window = std::make_unique<Tavrol_AppWindow>();
        TavrolAppWindow = m_window.get();
        QVERIFY(m_window->Start());
        m_window->Show();
    }

    void cleanup()
    {
        m_window.reset();
        TavrolAppWindow = nullptr;
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    // The six tabs in their order, each holding its view's frame.
    void tabsInOrder()
    {
        QTabWidget* tabs = m_window->TabWidget();
        QVERIFY(tabs);
        const QStringList expected{"Long Jobs Queue", "Short Jobs Queue", "Queueless Jobs",
                                   "Running Jobs",    "Finished Jobs",    "Job Types"};
        QCOMPARE(tabs->count(), expected.size());
        for (int i = 0; i < tabs->count(); ++i)
            QCOMPARE(tabs->tabText(i), expected[i]);
        const QList<QFrame*> frames{
            m_window->LongJobsView()->Frame(),      m_window->ShortJobsView()->Frame(),
            m_window->QueuelessJobsView()->Frame(), m_window->RunningJobsView()->Frame(),
            m_window->FinishedJobsView()->Frame(),  m_window->JobTypesView()->Frame()};
        for (int i = 0; i < frames.size(); ++i) {
            QVERIFY(frames[i]);
            QCOMPARE(frames[i]->parentWidget(), tabs->widget(i));
            QVERIFY(tabs->widget(i)->layout()->indexOf(frames[i]) >= 0);
        }
        QCOMPARE(tabs->currentIndex(), 0);
    }

    // Left to right, the five buttons and then the size grip; Help and About
    // are never the default.
    void buttonRow()
    {
        QMainWindow* window = m_window->MainWindow();
        QCOMPARE(ButtonRowTexts(window),
                 (QStringList{"Submit Jobs...", "Hide", "Exit", "Help", "About"}));
        QList<int> lefts;
        for (const QString& text : ButtonRowTexts(window))
            lefts.append(ButtonNamed(window, text)->geometry().left());
        for (int i = 1; i < lefts.size(); ++i)
            QVERIFY(lefts[i - 1] < lefts[i]);
        auto* grip = window->centralWidget()->findChild<QSizeGrip*>();
        QVERIFY(grip);
        QVERIFY(grip->geometry().left() > lefts.last());
        for (const QString& text : {QStringLiteral("Help"), QStringLiteral("About")}) {
            QVERIFY(!ButtonNamed(window, text)->autoDefault());
            QVERIFY(!ButtonNamed(window, text)->isDefault());
        }
        auto* line =
            window->centralWidget()->findChild<QFrame*>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(line);
    }

    // The close button hides the window; the process, its server and a
    // running job go on; "&Show GUI" in the tray menu brings the window back.
    void closeHidesAndShowGUIBringsItBack()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString input = directory.filePath(QStringLiteral("long.gjf"));
        QFile file(input);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#standin sleep=30\n");
        file.close();
        Tavrol_JobType::RemoveAll();
        Tavrol_JobType standin(0, QStringLiteral("Standin"), QStringLiteral("Standin App"),
                               TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                               QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                               QStringLiteral("Input Files (*.gjf)"),
                               QStringLiteral("Output Files (*.log)"), QString());
        Tavrol_JobType::Add(standin);
        m_window->ReloadJobTypes();
        // The file is submitted as the Submit Jobs dialog shows it.
        QTimer::singleShot(0, Tavrol_OpenFilesDialog::Global(),
                           [] { Tavrol_OpenFilesDialog::Global()->SubmitButton()->click(); });
        m_window->SubmitJobs({input}, 1, -1);
        const Tavrol_LongJobsQueue& queue = m_window->LongJobsView()->Queue();
        QCOMPARE(queue.Count(), 1);
        Tavrol_Job* job = queue.JobAt(0);
        QTRY_COMPARE_WITH_TIMEOUT(job->Status, JobStatusRunning, WaitMs);

        QMainWindow* window = m_window->MainWindow();
        QVERIFY(window->isVisible());
        QVERIFY(!window->close());
        QVERIFY(!window->isVisible());
        QCOMPARE(job->Status, JobStatusRunning);
        QVERIFY(Tavrol_Database_Manager::Current());
        QVERIFY(Listening(Quolix_ComputerData::TavrolGUIPortNumber()));

        QMenu* menu = m_window->TrayMenu();
        QVERIFY(menu);
        const QList<QAction*> actions = menu->actions();
        QCOMPARE(actions.size(), 3);
        QCOMPARE(actions[0]->text(), QStringLiteral("&Show GUI"));
        QCOMPARE(actions[1]->text(), QStringLiteral("&Hide GUI"));
        QCOMPARE(actions[2]->text(), QStringLiteral("&Exit"));
        actions[0]->trigger();
        QVERIFY(window->isVisible());
        actions[1]->trigger();
        QVERIFY(!window->isVisible());
        actions[0]->trigger();
        QVERIFY(window->isVisible());
        QCOMPARE(job->Status, JobStatusRunning);
        job->Kill();
        QTRY_COMPARE_WITH_TIMEOUT(queue.Count(), 0, WaitMs);
    }

    // Files dropped from a file manager on the queueless view open the
    // Submit Jobs dialog with them and that view's target; a stored target
    // of retained settings wins. Cancelling makes no job.
    void droppedFilesOpenTheDialogWithTheViewsTarget()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString input = TestSupport::WrittenFile(
            directory.filePath(QStringLiteral("dropped.gjf")), "#standin sleep=30\n");
        Quolix_TableWidget* table = m_window->QueuelessJobsView()->Table();
        QVERIFY(table);
        const auto drop = [table, input] {
            QMimeData mime;
            mime.setUrls({QUrl::fromLocalFile(input)});
            QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton,
                                  Qt::NoModifier);
            QApplication::sendEvent(table->viewport(), &enter);
            QDropEvent dropEvent(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton,
                                 Qt::NoModifier);
            QApplication::sendEvent(table->viewport(), &dropEvent);
        };
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        QStringList seenFiles;
        int seenTarget = -1;
        const auto seeAndCancel = [&] {
            QTimer::singleShot(0, dialog, [&] {
                seenFiles = dialog->AllFilePaths();
                seenTarget = dialog->DestQueue();
                dialog->CancelSlot();
            });
        };
        seeAndCancel();
        drop();
        QCOMPARE(seenFiles, QStringList({input}));
        QCOMPARE(seenTarget, 3);
        Quolix_Registry::PutAppUserData(QStringLiteral("Open Files"),
                                        QStringLiteral("Destination Queue"), QStringLiteral("1"));
        seeAndCancel();
        drop();
        QCOMPARE(seenTarget, 1);
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 0);
        QCOMPARE(m_window->LongJobsView()->Queue().Count(), 0);
        QVERIFY(!dialog->isVisible());
        // The stored choices of the dialog would override later tests' callers.
        QDir prefs(Quolix_Registry::PrefsDirPath());
        for (const QString& name : prefs.entryList({QStringLiteral("Open_Files_*")}, QDir::Files))
            QVERIFY(prefs.remove(name));
    }

    // With Auto chosen, each file that no filter takes brings up the
    // question in turn; "None" skips that file only.
    void noneSkipsOneFileOnly()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString first = TestSupport::WrittenFile(directory.filePath(QStringLiteral("x1.xyz")),
                                                       "#standin sleep=30\n");
        const QString second = TestSupport::WrittenFile(
            directory.filePath(QStringLiteral("x2.xyz")), "#standin sleep=30\n");
        Tavrol_JobType::RemoveAll();
        Tavrol_JobType standin(0, QStringLiteral("Standin"), QStringLiteral("Standin App"),
                               TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                               QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                               QStringLiteral("Input Files (*.gjf)"),
                               QStringLiteral("Output Files (*.log)"), QString());
        Tavrol_JobType::Add(standin);
        m_window->ReloadJobTypes();
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        QTimer::singleShot(0, dialog, [dialog] { dialog->SubmitButton()->click(); });
        QStringList labels;
        const QStringList answers{QStringLiteral("None"), QStringLiteral("Standin")};
        QTimer answerer;
        answerer.setInterval(20);
        connect(&answerer, &QTimer::timeout, this, [&] {
            auto* question = qobject_cast<QInputDialog*>(QApplication::activeModalWidget());
            if (!question || labels.size() >= answers.size())
                return;
            QCOMPARE(question->windowTitle(), QStringLiteral("Submit Job, Select Job Type"));
            QCOMPARE(question->comboBoxItems(), QStringList({"None", "Standin"}));
            labels.append(question->labelText());
            question->setTextValue(answers.at(labels.size() - 1));
            question->accept();
        });
        answerer.start();
        m_window->SubmitJobs({first, second}, 0, -1);
        answerer.stop();
        QCOMPARE(labels.size(), 2);
        QCOMPARE(labels.at(0),
                 QStringLiteral("Auto determination of Job Type was requested but an appropriate "
                                "Job Type for the\nfollowing input file cannot be determined from "
                                "its extension:\n\n") +
                     first +
                     QStringLiteral("\n\nPlease select a Job Type for this input file or select "
                                    "None to skip this input file.\n"));
        const Tavrol_LongJobsQueue& queue = m_window->LongJobsView()->Queue();
        QCOMPARE(queue.Count(), 1);
        Tavrol_Job* job = queue.JobAt(0);
        QCOMPARE(job->InputFilePath, second);
        QTRY_COMPARE_WITH_TIMEOUT(job->Status, JobStatusRunning, WaitMs);
        job->Kill();
        QTRY_COMPARE_WITH_TIMEOUT(queue.Count(), 0, WaitMs);
    }

    // With the target Auto, a file whose job type names no queue we know
    // gets no job; the other file of the same submission does.
    void aTypesUnusableDefaultQueueGivesNoJob()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString odd = TestSupport::WrittenFile(directory.filePath(QStringLiteral("a.odd")),
                                                     "#standin sleep=30\n");
        const QString good = TestSupport::WrittenFile(directory.filePath(QStringLiteral("b.gjf")),
                                                      "#standin sleep=30\n");
        const QString program = TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16"));
        Tavrol_JobType::RemoveAll();
        Tavrol_JobType nowhere(
            0, QStringLiteral("Nowhere"), QStringLiteral("Nowhere App"), program,
            QStringLiteral("Elsewhere"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
            QStringLiteral("Odd Files (*.odd)"), QStringLiteral("Output Files (*.log)"), QString());
        Tavrol_JobType standin(1, QStringLiteral("Standin"), QStringLiteral("Standin App"), program,
                               QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                               QStringLiteral("Input Files (*.gjf)"),
                               QStringLiteral("Output Files (*.log)"), QString());
        Tavrol_JobType::Add(nowhere);
        Tavrol_JobType::Add(standin);
        m_window->ReloadJobTypes();
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        QTimer::singleShot(0, dialog, [dialog] { dialog->SubmitButton()->click(); });
        m_window->SubmitJobs({odd, good}, 0, -1);
        const Tavrol_LongJobsQueue& queue = m_window->LongJobsView()->Queue();
        QCOMPARE(queue.Count(), 1);
        QCOMPARE(queue.JobAt(0)->InputFilePath, good);
        QCOMPARE(m_window->ShortJobsView()->Queue().Count(), 0);
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 0);
        Tavrol_Job* job = queue.JobAt(0);
        QTRY_COMPARE_WITH_TIMEOUT(job->Status, JobStatusRunning, WaitMs);
        job->Kill();
        QTRY_COMPARE_WITH_TIMEOUT(queue.Count(), 0, WaitMs);
    }

    // A client request that asks for confirmation opens the Submit Jobs
    // dialog with its file and queue; one arriving while the dialog is open
    // waits and is served after it, in order.
    void confirmedRequestsWaitForTheDialogInOrder()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString first = TestSupport::WrittenFile(
            directory.filePath(QStringLiteral("first.gjf")), "#standin sleep=30\n");
        const QString second = TestSupport::WrittenFile(
            directory.filePath(QStringLiteral("second.gjf")), "#standin sleep=30\n");
        Tavrol_JobType::RemoveAll();
        Tavrol_JobType standin(0, QStringLiteral("Standin"), QStringLiteral("Standin App"),
                               TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                               QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                               QStringLiteral("Input Files (*.gjf)"),
                               QStringLiteral("Output Files (*.log)"), QString());
        Tavrol_JobType::Add(standin);
        m_window->ReloadJobTypes();
        const auto request = [](const QString& file) {
            return TestSupport::RequestOf("action=submitjob\nconfirmaction=yes\njobqueue=Long\n"
                                          "jobinputfile=" +
                                          file.toLocal8Bit() + "\n");
        };
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        QList<QStringList> shown;
        QList<int> targets;
        bool secondWaited = false;
        std::function<void()> answer;
        answer = [&] {
            shown.append(dialog->AllFilePaths());
            targets.append(dialog->DestQueue());
            if (shown.size() == 1) {
                m_window->SubmitRequestedJob(request(second));
                secondWaited = m_window->LongJobsView()->Queue().Count() == 0;
                QTimer::singleShot(0, dialog, answer);
            }
            dialog->SubmitButton()->click();
        };
        QTimer::singleShot(0, dialog, answer);
        m_window->SubmitRequestedJob(request(first));
        QVERIFY(secondWaited);
        QCOMPARE(shown, QList<QStringList>({{first}, {second}}));
        QCOMPARE(targets, QList<int>({1, 1}));
        const Tavrol_LongJobsQueue& queue = m_window->LongJobsView()->Queue();
        QCOMPARE(queue.Count(), 2);
        QCOMPARE(queue.JobAt(0)->InputFilePath, first);
        QCOMPARE(queue.JobAt(1)->InputFilePath, second);
        while (queue.Count() > 0) {
            const int before = queue.Count();
            Tavrol_Job* job = queue.JobAt(0);
            QTRY_COMPARE_WITH_TIMEOUT(job->Status, JobStatusRunning, WaitMs);
            job->Kill();
            QTRY_COMPARE_WITH_TIMEOUT(queue.Count(), before - 1, WaitMs);
        }
    }

    void trayIconTakesIconTitleAndMenu()
    {
        QSystemTrayIcon* tray = m_window->TrayIcon();
        QVERIFY(tray);
        QCOMPARE(tray->toolTip(), QStringLiteral("TavrolGUI 1.1.15, Unsaved Project"));
        QCOMPARE(tray->contextMenu(), m_window->TrayMenu());
        QVERIFY(!tray->icon().isNull());
        QVERIFY(tray->isVisible());
    }

    void hideButtonHides()
    {
        ButtonNamed(m_window->MainWindow(), QStringLiteral("Hide"))->click();
        QVERIFY(!m_window->MainWindow()->isVisible());
    }

    // "Exit" answered No changes nothing.
    void exitAnsweredNo()
    {
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        m_window->MainWindow()->hide();
        ButtonNamed(m_window->MainWindow(), QStringLiteral("Exit"))->click();
        QCOMPARE(answerer.Seen().size(), 1);
        const SeenBox& box = answerer.Seen().first();
        QCOMPARE(box.title, QStringLiteral("Exit Tavrol"));
        QCOMPARE(box.text, QStringLiteral("Are you sure you want to completely exit Tavrol?"));
        QCOMPARE(box.icon, QMessageBox::Warning);
        QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        QCOMPARE(box.defaultButton, QMessageBox::No);
        QVERIFY(m_window->MainWindow()->isVisible()); // shown for the question
        QVERIFY(Tavrol_Database_Manager::Current());
    }

    // "Exit", Yes, then Cancel at the save question: still running.
    void exitYesThenCancelAtTheSaveQuestion()
    {
        Tavrol_Database_Manager::Current()->Modified = true;
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Cancel);
        m_window->SystemTrayQuitSlot();
        QCOMPARE(answerer.Seen().size(), 2);
        const SeenBox& save = answerer.Seen()[1];
        QCOMPARE(save.title, QStringLiteral("Save Current Project?"));
        QCOMPARE(save.text, QStringLiteral("Would you like to save the current Tavrol project to "
                                           "a file before closing it?\n\nIf you choose No, the "
                                           "project will be lost."));
        QCOMPARE(save.icon, QMessageBox::Question);
        QCOMPARE(save.buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        QCOMPARE(save.defaultButton, QMessageBox::Yes);
        QVERIFY(m_window->MainWindow()->isVisible());
        QVERIFY(Tavrol_Database_Manager::Current());
        QVERIFY(Tavrol_Database_Manager::Current()->Modified);
        QVERIFY(Listening(Quolix_ComputerData::TavrolGUIPortNumber()));
    }

    // The question for a project that has a file, and the one of a file
    // database.
    void saveQuestionsOfNamedProjects()
    {
        Tavrol_Database* database = Tavrol_Database_Manager::Current();
        database->FilePath = QStringLiteral("/no/such/file.tvrl");
        database->Modified = true;
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        QCOMPARE(m_window->SaveIfModified(), 1);
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("Save Current Project?"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Would you like to save changes made to the current Tavrol "
                                "project before closing it?\n\nIf you choose No, the changes made "
                                "to the project since the last save will be lost."));
        QCOMPARE(answerer.Seen()[0].defaultButton, QMessageBox::Yes);

        database->DatabaseType = SQLiteFile;
        answerer.Queue(QMessageBox::No);
        QCOMPARE(m_window->SaveIfModified(), 1);
        QCOMPARE(answerer.Seen().size(), 2);
        QCOMPARE(answerer.Seen()[1].title, QStringLiteral("Save Changes to Current Project?"));
        QCOMPARE(answerer.Seen()[1].text,
                 QStringLiteral("Would you like to save changes to the current Tavrol project "
                                "before closing it?\n\nIf you choose No, the changes to the "
                                "database will be lost."));
        QCOMPARE(answerer.Seen()[1].buttons, QMessageBox::Yes | QMessageBox::No);
        QCOMPARE(answerer.Seen()[1].defaultButton, QMessageBox::Yes);
        database->DatabaseType = SQLiteMemory;
        database->Modified = false;
    }

    // Yes at the save question of an unnamed project opens the save dialog;
    // a name typed without the extension gets ".tvrl".
    void saveDialog()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&before] { QDir::setCurrent(before); });
        QDir::setCurrent(directory.path());
        Tavrol_Database_Manager::Current()->Modified = true;
        QString caption;
        QStringList filters;
        QString startDirectory;
        // Looks for the save dialog on every pass of the event loop; it goes
        // with the test's stack frame.
        QTimer poll;
        poll.setInterval(0);
        poll.callOnTimeout([&] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            poll.stop();
            caption = dialog->windowTitle();
            filters = dialog->nameFilters();
            startDirectory = dialog->directory().absolutePath();
            dialog->selectFile(QDir(directory.path()).filePath(QStringLiteral("mine")));
            QMetaObject::invokeMethod(dialog, "accept");
        });
        poll.start();
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        QCOMPARE(m_window->SaveIfModified(), 0);
        QCOMPARE(caption, QStringLiteral("Specify a Tavrol Project File"));
        QCOMPARE(filters, QStringList{QStringLiteral("Tavrol Project Files (*.tvrl)")});
        QCOMPARE(startDirectory, QDir(directory.path()).absolutePath());
        const QString saved = QDir(directory.path()).filePath(QStringLiteral("mine.tvrl"));
        QVERIFY(QFile::exists(saved));
        QCOMPARE(m_window->MainWindow()->windowTitle(),
                 QStringLiteral("TavrolGUI 1.1.15, ") + saved);
    }

    // The three checks of a project file, each with its warning. The checks
    // ask the system for the real user's rights, so root, for whom every file
    // is readable and writable, takes the real user id of "nobody" for the
    // last two, with the files made that user's own.
    void openProjectWarnings()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString missing = directory.filePath(QStringLiteral("missing.tvrl"));
        const QString readOnly = directory.filePath(QStringLiteral("readonly.tvrl"));
        QVERIFY(TestSupport::WriteFile(readOnly, QByteArray()));
        QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner));

        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Ok);
        QVERIFY(!m_window->OpenProject(missing));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("Opening a Tavrol Project File"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("The specified file does not exist:\n\n") + missing);
        QCOMPARE(answerer.Seen()[0].icon, QMessageBox::Warning);
        QCOMPARE(answerer.Seen()[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));

        std::optional<RealUser> nobody;
        if (geteuid() == 0) {
            QCOMPARE(::chmod(QFile::encodeName(directory.path()).constData(), 0755), 0);
            QCOMPARE(::chown(QFile::encodeName(readOnly).constData(), NobodyUid, NobodyUid), 0);
            nobody.emplace(NobodyUid);
            QVERIFY(nobody->Taken());
        }
        answerer.Queue(QMessageBox::Ok);
        QVERIFY(!m_window->OpenProject(readOnly));
        QCOMPARE(answerer.Seen().size(), 2);
        QCOMPARE(answerer.Seen()[1].text,
                 QStringLiteral("The specified file is not writable:\n\n") + readOnly);
        QVERIFY(QFile::setPermissions(readOnly, QFile::WriteOwner));
        answerer.Queue(QMessageBox::Ok);
        QVERIFY(!m_window->OpenProject(readOnly));
        QCOMPARE(answerer.Seen().size(), 3);
        QCOMPARE(answerer.Seen()[2].text,
                 QStringLiteral("The specified file is not readable:\n\n") + readOnly);
    }

    // A desktop smaller than twice the window's least size: never above or
    // left of 10.
    void tinyScreenKeepsTheCorner()
    {
        const QRect tiny(0, 0, 40, 30);
        QCOMPARE(Tavrol_AppWindow::WindowPosition(tiny, QSize(300, 200)), QPoint(10, 10));
        QCOMPARE(Tavrol_AppWindow::WindowPosition(QRect(0, 0, 1000, 800), QSize(500, 400)),
                 QPoint(250, 200));
        QCOMPARE(Tavrol_AppWindow::WindowPosition(QRect(5, 3, 40, 300), QSize(60, 100)),
                 QPoint(10, 103));
        QMainWindow* window = m_window->MainWindow();
        window->setMinimumSize(4000, 3000); // larger than any screen here
        m_window->Show();
        QVERIFY(window->x() >= 10);
        QVERIFY(window->y() >= 10);
    }

    // No job types: "Submit Jobs..." is disabled, and comes back with them.
    void noJobTypesDisablesSubmit()
    {
        QPushButton* submit = m_window->SubmitButton();
        QCOMPARE(submit->text(), QStringLiteral("Submit Jobs..."));
        QVERIFY(submit->isEnabled()); // the default job types of a new project
        Tavrol_JobType::RemoveAll();
        m_window->ReloadJobTypes();
        QVERIFY(!submit->isEnabled());
        Tavrol_JobType::AddDefaults();
        m_window->ReloadJobTypes();
        QVERIFY(submit->isEnabled());
    }

    void aboutButton()
    {
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Ok);
        ButtonNamed(m_window->MainWindow(), QStringLiteral("About"))->click();
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("About TavrolGUI"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("TavrolGUI 1.1.15     (64-bit Mac OS X)\n\n") + MakersNotice());
        QCOMPARE(answerer.Seen()[0].icon, QMessageBox::Information);
        QCOMPARE(answerer.Seen()[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(answerer.Seen()[0].defaultButton, QMessageBox::Ok);
    }

    // A tab that comes into sight shows the state of now: job types added
    // behind the view's back show once their tab is chosen.
    void tabChangeRefreshes()
    {
        QTabWidget* tabs = m_window->TabWidget();
        Tavrol_JobType::RemoveAll();
        m_window->ReloadJobTypes();
        QVERIFY(m_window->JobTypesView()->JobTypes().empty());
        // Changed behind the window's back, so that nothing refreshes the view.
        TavrolAppWindow = nullptr;
        Tavrol_JobType::AddDefaults();
        TavrolAppWindow = m_window.get();
        QVERIFY(m_window->JobTypesView()->JobTypes().empty());
        tabs->setCurrentIndex(5);
        QVERIFY(!m_window->JobTypesView()->JobTypes().empty());
    }

    // "Help" opens the viewer on the introduction; its links lead to the
    // other pages and Back returns.
    void helpViewer()
    {
        ButtonNamed(m_window->MainWindow(), QStringLiteral("Help"))->click();
        Quolix_HelpViewer* viewer = Quolix_HelpDialog::Global()->Viewer();
        QVERIFY(viewer);
        QVERIFY(viewer->isVisible());
        QTextBrowser* browser = viewer->Browser();
        QCOMPARE(browser->source(), QUrl(QStringLiteral("qrc:/help/tavrol/introduction.html")));
        QCOMPARE(browser->documentTitle(), QStringLiteral("Tavrol"));
        QVERIFY(browser->toPlainText().contains(QStringLiteral("Long Jobs Queue")));
        // The first link, reached and followed from the keyboard.
        browser->setFocus();
        QTest::keyClick(browser, Qt::Key_Tab);
        QTest::keyClick(browser, Qt::Key_Return);
        QCOMPARE(browser->source().toString(),
                 QStringLiteral("qrc:/help/tavrol/longjobsqueue.html"));
        QCOMPARE(browser->documentTitle(), QStringLiteral("Long Jobs Queue"));
        QVERIFY(browser->isBackwardAvailable());
        browser->backward();
        QCOMPARE(browser->documentTitle(), QStringLiteral("Tavrol"));
        viewer->close();
    }

    // Warnings, questions and errors are message boxes in the GUI; the
    // answer comes back by its number.
    void errorsAndWarningsAreMessageBoxes()
    {
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Ok);
        QCOMPARE(Quolix_Error::ReportWarning(QStringLiteral("T1"), QStringLiteral("one"), 1, 0),
                 int(Quolix_Error::AnswerYes));
        answerer.Queue(QMessageBox::No);
        QCOMPARE(Quolix_Error::ReportWarning(QStringLiteral("T2"), QStringLiteral("two"), 2, 1),
                 int(Quolix_Error::AnswerNo));
        answerer.Queue(QMessageBox::Cancel);
        QCOMPARE(Quolix_Error::ReportWarning(QStringLiteral("T5"), QStringLiteral("five"), 5, 4),
                 int(Quolix_Error::AnswerCancel));
        answerer.Queue(QMessageBox::Ok);
        Quolix_Error::ReportError(QStringLiteral("Bad"), QStringLiteral("it broke"));
        const QList<SeenBox>& seen = answerer.Seen();
        QCOMPARE(seen.size(), 4);
        QCOMPARE(seen[0].title, QStringLiteral("T1"));
        QCOMPARE(seen[0].icon, QMessageBox::Warning);
        QCOMPARE(seen[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(seen[1].text, QStringLiteral("two"));
        QCOMPARE(seen[1].buttons, QMessageBox::Yes | QMessageBox::No);
        QCOMPARE(seen[1].defaultButton, QMessageBox::Yes);
        QCOMPARE(seen[2].buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        QCOMPARE(seen[2].defaultButton, QMessageBox::Cancel);
        QCOMPARE(seen[3].title, QStringLiteral("Bad"));
        QCOMPARE(seen[3].text, QStringLiteral("it broke"));
        QCOMPARE(seen[3].icon, QMessageBox::Critical);
    }

    // In the console nobody sees a box: the default answer, at once.
    void consoleWarningsTakeTheDefault()
    {
        RunMode = RunModeConsole;
        const auto back = qScopeGuard([] { RunMode = RunModeGUI; });
        QCOMPARE(Quolix_Error::ReportWarning(QStringLiteral("T"), QStringLiteral("t"), 5, 2), 2);
        QVERIFY(!QApplication::activeModalWidget());
    }

    // Every topic a screen names has a page with a title.
    void everyHelpTopicHasAPage()
    {
        const QStringList topics{"introduction",     "jobtypes",
                                 "newjobtype",       "longjobsqueue",
                                 "shortjobsqueue",   "queuelessjobs",
                                 "runningjobs",      "finishedjobs",
                                 "newjobs",          "openfiles_adv_filelist",
                                 "openfiles_adv_ui", "openfiles_adv_options"};
        for (const QString& topic : topics) {
            const QUrl url = Quolix_HelpDialog::TopicUrl(QStringLiteral("tavrol/") + topic);
            QFile page(QLatin1Char(':') + url.path());
            QVERIFY2(page.open(QIODevice::ReadOnly), qPrintable(topic));
            QVERIFY2(page.readAll().contains("<title>"), qPrintable(topic));
        }
    }

private:
    std::unique_ptr<Tavrol_AppWindow> m_window;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
