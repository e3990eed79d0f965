#include "modaldriver.h"
#include "queuetesthelpers.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "jobs/jobsqueue.h"
#include "platform/error.h"
#include "platform/filestreamviewer.h"
#include "platform/process.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QApplication>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

using namespace QueueTest;
using namespace TableTest;
using ModalDriver::BoxAnswerer;
using ModalDriver::InputAnswerer;
using ModalDriver::MenuChooser;

namespace {

class GuiWindow
{
public:
    GuiWindow()
    {
        TavrolAppWindow = &m_window;
        m_window.BuildWidgets();
    }
    ~GuiWindow()
    {
        for (Tavrol_JobsQueueWidget* view : {static_cast<Tavrol_JobsQueueWidget*>(&Long()),
                                             static_cast<Tavrol_JobsQueueWidget*>(&Short())})
            view->PauseAndKillRunningJobs();
        Queueless().KillRunningJobs();
        TavrolAppWindow = nullptr;
    }
    GuiWindow(const GuiWindow&) = delete;
    GuiWindow& operator=(const GuiWindow&) = delete;

    Tavrol_LongJobsQueueWidget& Long() { return *m_window.LongJobsView(); }
    Tavrol_ShortJobsQueueWidget& Short() { return *m_window.ShortJobsView(); }
    Tavrol_QueuelessJobsWidget& Queueless() { return *m_window.QueuelessJobsView(); }
    Tavrol_FinishedJobsWidget& Finished() { return *m_window.FinishedJobsView(); }

private:
    Tavrol_AppWindow m_window;
};

Tavrol_Job WaitingJob(int id, const QString& name, const QString& input = QString())
{
    return Tavrol_Job(name, StandinJobType(), QString(), QString(), QString(), -1, -1, -1, 0,
                      QStringLiteral("Long"),
                      input.isEmpty() ? QStringLiteral("/data/") + name : input, QString(), id,
                      QString());
}

std::vector<Tavrol_Job> WaitingJobs(int count)
{
    std::vector<Tavrol_Job> jobs;
    for (int i = 1; i <= count; ++i)
        jobs.push_back(WaitingJob(i, QStringLiteral("job%1.gjf").arg(i, 2, 10, QLatin1Char('0'))));
    return jobs;
}

// Opens the context menu at the middle of the table's viewport and lets the
// chooser act on it.
void OpenMenu(Tavrol_JobsWidget& view, MenuChooser& chooser, const QString& choice)
{
    chooser.Choose(choice);
    view.ContextMenuSlot(view.Table()->viewport()->rect().center());
}

QList<Quolix_FileStreamViewer*> Viewers()
{
    QList<Quolix_FileStreamViewer*> viewers;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* viewer = qobject_cast<Quolix_FileStreamViewer*>(widget))
            viewers.append(viewer);
    }
    return viewers;
}

void CloseViewers()
{
    for (Quolix_FileStreamViewer* viewer : Viewers())
        delete viewer;
}

// Adds each row to the selection, as a control-click would.
void SelectRows(QTableWidget& table, const QList<int>& rows)
{
    table.clearSelection();
    for (const int row : rows)
        table.selectionModel()->select(table.model()->index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

bool AppendToFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Append) && file.write(bytes) == bytes.size();
}

const QStringList QueueMenu = {"Remove",
                               "Show Input File",
                               "Stream Output File",
                               "Show stdout and stderr",
                               "Stream stdout and stderr",
                               "-",
                               "Maximum Number of Running Jobs Allowed (Currently 1)...",
                               "-",
                               "Pause Queue",
                               "-",
                               "Help"};

} // namespace

class TstQueueActions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
    }

    void init()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::SetAll({StandinJobType(0)});
        JobIDManager = Quolix_IDManager(0, 1);
    }

    void cleanup()
    {
        CloseViewers();
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::Clear();
    }

    void emptyTableOffersOnlyTheQueueEntries()
    {
        GuiWindow window;
        QVERIFY(ShowAlone(window.Long().Frame()));
        MenuChooser chooser;
        OpenMenu(window.Long(), chooser, QString());
        QVERIFY(chooser.Seen());
        QCOMPARE(chooser.Texts(), QueueMenu);
        QCOMPARE(chooser.Enabled(), QList<bool>({false, false, false, false, false, true, true,
                                                 true, true, true, true}));
    }

    void queuelessMenuHasNoMaximumOrPause()
    {
        GuiWindow window;
        QVERIFY(ShowAlone(window.Queueless().Frame()));
        MenuChooser chooser;
        OpenMenu(window.Queueless(), chooser, QString());
        QCOMPARE(chooser.Texts(),
                 QStringList({"Remove", "Show Input File", "Stream Output File",
                              "Show stdout and stderr", "Stream stdout and stderr", "-", "Help"}));
    }

    void afterLoadingWaitingJobsTheMenuReadsUnpause()
    {
        GuiWindow window;
        QVERIFY(ShowAlone(window.Long().Frame()));
        window.Long().LoadJobs(WaitingJobs(2));
        MenuChooser chooser;
        OpenMenu(window.Long(), chooser, QStringLiteral("Unpause Queue"));
        QCOMPARE(chooser.Texts()[8], QStringLiteral("Unpause Queue"));
        QVERIFY(!window.Long().Queue().Paused());
        OpenMenu(window.Long(), chooser, QStringLiteral("Pause Queue"));
        QVERIFY(window.Long().Queue().Paused());
    }

    void tenSelectedJobsAreAllListed()
    {
        GuiWindow window;
        QVERIFY(ShowAlone(window.Short().Frame()));
        window.Short().LoadJobs(WaitingJobs(10));
        QTableWidget& table = *window.Short().Table();
        SelectRows(table, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenu(window.Short(), chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title,
                 QStringLiteral("Remove Selected Jobs from Short Jobs Queue"));
        QStringList names;
        for (int i = 1; i <= 10; ++i)
            names << QStringLiteral("job%1.gjf").arg(i, 2, 10, QLatin1Char('0'));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following 10 selected jobs "
                                "from the Short Jobs Queue?\n\n") +
                     names.join('\n'));
        QCOMPARE(answerer.Seen()[0].buttons, QMessageBox::Yes | QMessageBox::No);
        QCOMPARE(window.Short().Queue().Count(), 0);
        QCOMPARE(table.rowCount(), 0);
    }

    void elevenSelectedJobsListTenAndCountTheRest()
    {
        GuiWindow window;
        QVERIFY(ShowAlone(window.Long().Frame()));
        window.Long().LoadJobs(WaitingJobs(11));
        SelectRows(*window.Long().Table(), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        MenuChooser chooser;
        OpenMenu(window.Long(), chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 1);
        QVERIFY(answerer.Seen()[0].text.startsWith(
            "Are you sure you want to remove the following 11 selected jobs from the Long Jobs "
            "Queue?\n\njob01.gjf\n"));
        QVERIFY(answerer.Seen()[0].text.endsWith("job10.gjf\n... 1 more ..."));
        QCOMPARE(window.Long().Queue().Count(), 11); // answered No
    }

    void noToTheRunningWarningRemovesOnlyWaitingJobs()
    {
        QTemporaryDir dir;
        MemoryProject project;
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), -1);
        QCOMPARE(view.Queue().JobAt(0)->Status, JobStatusRunning);
        SelectRows(*view.Table(), {0, 1});
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::No);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 2);
        QCOMPARE(answerer.Seen()[1].title, QStringLiteral("Removal of Selected Running Jobs"));
        QCOMPARE(answerer.Seen()[1].text,
                 QStringLiteral("At least one Job selected for removal is currently running.  "
                                "Removal of a Job that is running requires that it be "
                                "Killed.\n\nRemove selected jobs that are currently running?"));
        QCOMPARE(view.Queue().Count(), 1);
        QCOMPARE(view.Queue().JobAt(0)->JobID, 1);
        QCOMPARE(view.Queue().JobAt(0)->Status, JobStatusRunning);
        QCOMPARE(project.Column(QStringLiteral("LongJobsQueue"), QStringLiteral("JobID")),
                 QStringList{"1"});
        QCOMPARE(view.Table()->rowCount(), 1);

        // Only the running job selected: nothing goes, and the removal still counts as done.
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::No);
        QVERIFY(view.RemoveJobs({1}));
        QCOMPARE(view.Queue().Count(), 1);
        QVERIFY(window.Finished().FinishedJobs().empty());

        // Cancel at the warning: nothing goes, and the removal did not happen.
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Cancel);
        QVERIFY(!view.RemoveJobs({1}));
        QCOMPARE(view.Queue().Count(), 1);

        // Yes at both: the running job is killed into the finished jobs.
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Yes);
        QVERIFY(view.RemoveJobs({1}));
        QCOMPARE(view.Queue().Count(), 0);
        QCOMPARE(window.Finished().FinishedJobs().size(), size_t(1));
    }

    void sortedDescendingTheRowAtTheJobsIndexCounts()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.LoadJobs(WaitingJobs(4)); // collection order = ids 1..4
        QTableWidget& table = *view.Table();
        table.sortItems(0, Qt::DescendingOrder); // rows: 4 3 2 1
        QCOMPARE(table.item(0, 0)->text(), QStringLiteral("4"));
        table.clearSelection();
        // The current job is id 4, collection index 3: the row at position 3
        // (job 1) counts too, beside the selected row 0 itself.
        table.setCurrentItem(table.item(0, 1), QItemSelectionModel::NoUpdate);
        table.clearSelection();
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following 1 selected jobs "
                                "from the Long Jobs Queue?\n\njob01.gjf"));
    }

    void maximumDialogHasItsLabelAndCannotGoBelowOne()
    {
        MemoryProject project;
        GuiWindow window;
        for (Tavrol_JobsQueueWidget* view :
             {static_cast<Tavrol_JobsQueueWidget*>(&window.Long()),
              static_cast<Tavrol_JobsQueueWidget*>(&window.Short())}) {
            QVERIFY(ShowAlone(view->Frame()));
            const QString queue = view == &window.Long() ? "Long" : "Short";
            InputAnswerer input;
            int belowOne = -1;
            input.Answer(
                [&belowOne](QInputDialog& dialog) {
                    auto* spin = dialog.findChild<QSpinBox*>();
                    if (spin) {
                        spin->setValue(0);
                        belowOne = spin->value();
                    }
                },
                true);
            MenuChooser chooser;
            OpenMenu(*view, chooser,
                     QStringLiteral("Maximum Number of Running Jobs Allowed (Currently 1)..."));
            QVERIFY(input.Seen());
            QCOMPARE(input.Title(), QStringLiteral("Maximum Number of Running Jobs Allowed"));
            QCOMPARE(input.Label(), "Enter Maximum Number of Running Jobs Allowed at a Time for "
                                    "the " +
                                        queue + " Jobs Queue");
            QCOMPARE(input.Minimum(), 1);
            QCOMPARE(input.Maximum(), 2147483647);
            QCOMPARE(input.Value(), 1);
            QCOMPARE(belowOne, 1);

            input.Answer([](QInputDialog& dialog) { dialog.setIntValue(3); }, true);
            OpenMenu(*view, chooser,
                     QStringLiteral("Maximum Number of Running Jobs Allowed (Currently 1)..."));
            QCOMPARE(view->Queue().MaxRunningJobs(), 3);
            QCOMPARE(project.Database()->GetQueueMaxRunningJobs(queue), 3);

            // A rejected dialog changes nothing.
            input.Answer([](QInputDialog& dialog) { dialog.setIntValue(7); }, false);
            OpenMenu(*view, chooser,
                     QStringLiteral("Maximum Number of Running Jobs Allowed (Currently 3)..."));
            QVERIFY(chooser.Seen());
            QCOMPARE(view->Queue().MaxRunningJobs(), 3);
        }
    }

    void doubleClickOnAWaitingJobShowsItsInputEvenWithAnOutput()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        const QString input = WriteInput(dir.path(), QStringLiteral("w.gjf"), 0);
        view.LoadJobs({WaitingJob(1, QStringLiteral("w.gjf"), input)});
        const Tavrol_Job* job = view.Queue().JobAt(0);
        QVERIFY(!job->OutputFilePath.isEmpty());
        QVERIFY(AppendToFile(job->OutputFilePath, "old output\n"));
        QTableWidget& table = *view.Table();
        table.setCurrentCell(0, 1);
        view.CellDoubleClickedSlot(0, 1);
        QCOMPARE(Viewers().size(), 1);
        Quolix_FileStreamViewer* viewer = Viewers().first();
        QCOMPARE(viewer->windowTitle(), "Input file of w.gjf:  " + input);
        QCOMPARE(viewer->Period(), -1);
        QTRY_VERIFY(viewer->Text().contains("#standin sleep=0"));

        // A cell other than the current one does nothing.
        view.CellDoubleClickedSlot(0, 2);
        QCOMPARE(Viewers().size(), 1);
    }

    void doubleClickOnARunningJobStreamsItsOutput()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_QueuelessJobsWidget& view = window.Queueless();
        QVERIFY(ShowAlone(view.Frame()));
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("r.gjf"), 30), -1);
        const Tavrol_Job* job = view.List().JobAt(0);
        QCOMPARE(job->Status, JobStatusRunning);
        const QString output = job->OutputFilePath;
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(output).size() > 0, WaitMs);
        view.RebuildTable();
        view.Table()->setCurrentCell(0, 0);
        view.CellDoubleClickedSlot(0, 0);
        QCOMPARE(Viewers().size(), 1);
        Quolix_FileStreamViewer* viewer = Viewers().first();
        QCOMPARE(viewer->windowTitle(), "Streaming " + output);
        QCOMPARE(viewer->Period(), 2000);
        QTRY_VERIFY(viewer->Text().contains("g16 output"));
        QVERIFY(AppendToFile(output, "SCF Done later\n"));
        QTRY_VERIFY_WITH_TIMEOUT(viewer->Text().endsWith("SCF Done later\n"), WaitMs);
    }

    void menuOpensTheViewersOfTheCurrentJob()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_QueuelessJobsWidget& view = window.Queueless();
        QVERIFY(ShowAlone(view.Frame()));
        const QString input = WriteInput(dir.path(), QStringLiteral("m.gjf"), 30);
        view.AddJobFromFile(input, -1);
        Tavrol_Job* job = view.List().JobAt(0);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(job->OutputFilePath).size() > 0, WaitMs);
        view.RebuildTable();
        view.Table()->setCurrentCell(0, 0);

        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Show Input File"));
        QCOMPARE(chooser.Enabled(), QList<bool>({true, true, true, false, false, true, true}));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), "Input file of m.gjf:  " + input);
        CloseViewers();

        view.Table()->setCurrentCell(0, 0);
        OpenMenu(view, chooser, QStringLiteral("Stream Output File"));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), "Streaming " + job->OutputFilePath);
        QCOMPARE(Viewers()[0]->Period(), 2000);
        CloseViewers();

        // Collected text enables both log entries.
        job->StdOutAndStdErr = QStringLiteral("collected text\n");
        view.Table()->setCurrentCell(0, 0);
        OpenMenu(view, chooser, QStringLiteral("Show stdout and stderr"));
        QCOMPARE(chooser.Enabled()[3], true);
        QCOMPARE(chooser.Enabled()[4], true);
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), QStringLiteral("Log of m.gjf"));
        QCOMPARE(Viewers()[0]->Text(), QStringLiteral("collected text\n"));
        CloseViewers();

        // The running process's output, which the stand-in printed at its start.
        view.Table()->setCurrentCell(0, 0);
        OpenMenu(view, chooser, QStringLiteral("Stream stdout and stderr"));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), QStringLiteral("Log of m.gjf"));
        QCOMPARE(Viewers()[0]->Process(), static_cast<QProcess*>(job->Process));
        QTRY_VERIFY_WITH_TIMEOUT(Viewers()[0]->Text().contains("g16 started:"), WaitMs);
    }

    void aClosedMenuDoesNothing()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.LoadJobs(WaitingJobs(2));
        SelectRows(*view.Table(), {0});
        MenuChooser chooser;
        OpenMenu(view, chooser, QString());
        QVERIFY(chooser.Seen());
        QVERIFY(chooser.IsEnabled("Remove"));
        QCOMPARE(view.Queue().Count(), 2);
        QVERIFY(view.Queue().Paused());
        QVERIFY(Viewers().isEmpty());
    }
};

QTEST_MAIN(TstQueueActions)
#include "tst_queueactions.moc"
