#include "queuetesthelpers.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "processes/finishedjobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"
#include "window/openfilesdialog.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

using namespace QueueTest;
using namespace TableTest;

namespace {

// The main object of a window run, with its views; their frames are shown
// on their own by the tests that look at rows.
class GuiWindow
{
public:
    GuiWindow()
    {
        TavrolAppWindow = &m_window;
        m_window.BuildWidgets();
    }
    ~GuiWindow() { TavrolAppWindow = nullptr; }
    GuiWindow(const GuiWindow&) = delete;
    GuiWindow& operator=(const GuiWindow&) = delete;

    Tavrol_LongJobsQueueWidget& Long() { return *m_window.LongJobsView(); }
    Tavrol_ShortJobsQueueWidget& Short() { return *m_window.ShortJobsView(); }
    Tavrol_QueuelessJobsWidget& Queueless() { return *m_window.QueuelessJobsView(); }
    Tavrol_FinishedJobsWidget& Finished() { return *m_window.FinishedJobsView(); }

private:
    Tavrol_AppWindow m_window;
};

Tavrol_Job WaitingJob(int id, const QString& name)
{
    return Tavrol_Job(name, StandinJobType(), QString(), QString(), QString(), -1, -1, -1, 0,
                      QStringLiteral("Long"), QStringLiteral("/data/") + name, QString(), id,
                      QString());
}

// Waiting jobs with ids 9, 10, 2, 100 in that collection order.
std::vector<Tavrol_Job> FourWaitingJobs()
{
    return {WaitingJob(9, QStringLiteral("b.gjf")), WaitingJob(10, QStringLiteral("d.gjf")),
            WaitingJob(2, QStringLiteral("a.gjf")), WaitingJob(100, QStringLiteral("c.gjf"))};
}

} // namespace

class TstQueueTables : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeGUI; }

    void init()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::SetAll({StandinJobType(0)});
        JobIDManager = Quolix_IDManager(0, 1);
    }

    void cleanup()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::Clear();
    }

    void withoutAWindowThereIsNoTable()
    {
        RunMode = RunModeConsole;
        {
            GuiWindow console;
            QVERIFY(!console.Long().Frame() && !console.Long().Table());
            QVERIFY(!console.Short().Table() && !console.Queueless().Table());
            console.Long().LoadJobs(FourWaitingJobs());
            console.Long().RebuildTable();
            QCOMPARE(console.Long().Queue().Count(), 4);
        }
        RunMode = RunModeGUI;
    }

    void theTableHasItsColumnsAndSettings()
    {
        GuiWindow window;
        for (Tavrol_JobsWidget* view : {static_cast<Tavrol_JobsWidget*>(&window.Long()),
                                        static_cast<Tavrol_JobsWidget*>(&window.Short()),
                                        static_cast<Tavrol_JobsWidget*>(&window.Queueless())}) {
            Quolix_TableWidget* table = view->Table();
            QVERIFY(table);
            QCOMPARE(table->parentWidget(), view->Frame());
            QCOMPARE(table->columnCount(), 8);
            QCOMPARE(HeaderTexts(*table),
                     QStringList({"Job ID", "Name", "Status", "Job Type", "Executable Path",
                                  "Command Line", "Submitted", "Started"}));
            QCOMPARE(table->horizontalHeader()->sortIndicatorSection(), 0);
            QCOMPARE(table->horizontalHeader()->sortIndicatorOrder(), Qt::AscendingOrder);
            QVERIFY(table->horizontalHeader()->stretchLastSection());
            QCOMPARE(table->selectionBehavior(), QAbstractItemView::SelectRows);
            QCOMPARE(table->selectionMode(), QAbstractItemView::ExtendedSelection);
            QCOMPARE(table->contextMenuPolicy(), Qt::CustomContextMenu);
            QCOMPARE(table->dragDropMode(), QAbstractItemView::InternalMove);
            QVERIFY(table->acceptDrops());
            const QPalette colours = table->palette();
            QCOMPARE(colours.brush(QPalette::Inactive, QPalette::Highlight),
                     colours.brush(QPalette::Active, QPalette::Highlight));
            QCOMPARE(colours.brush(QPalette::Inactive, QPalette::HighlightedText),
                     colours.brush(QPalette::Active, QPalette::HighlightedText));
        }
    }

    void rowsShowTheJobsAndIdsSortAsNumbers()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.LoadJobs(FourWaitingJobs());
        const QTableWidget& table = *view.Table();
        QCOMPARE(table.rowCount(), 4);
        QVERIFY(table.isSortingEnabled());
        QCOMPARE(Column(table, 0), QStringList({"2", "9", "10", "100"}));
        QCOMPARE(Column(table, 1), QStringList({"a.gjf", "b.gjf", "d.gjf", "c.gjf"}));
        QCOMPARE(Column(table, 2), QStringList(4, QStringLiteral("Pending")));
        QCOMPARE(Column(table, 3), QStringList(4, QStringLiteral("Standin")));
        QCOMPARE(Column(table, 4), QStringList(4, StandinPath()));
        const Tavrol_Job* first = view.Queue().JobAt(2);
        QCOMPARE(table.item(0, 5)->text(), first->CommandLine());
        QCOMPARE(table.item(0, 6)->text(), first->Submitted.toString("MM-dd-yyyy hh:mm:ss"));
        QCOMPARE(table.item(0, 7)->text(), QString()); // not started
        QCOMPARE(table.item(0, 0)->textAlignment(), int(Qt::AlignHCenter | Qt::AlignVCenter));
        QVERIFY(!(table.item(0, 1)->flags() & Qt::ItemIsEditable));
        // Each cell carries its job's index in the collection.
        for (int row = 0; row < table.rowCount(); ++row) {
            for (int column = 0; column < 8; ++column) {
                const int index = Quolix_TableWidget::ItemDataOf(table.item(row, column));
                QCOMPARE(view.Queue().JobAt(index)->JobID, table.item(row, 0)->text().toInt());
            }
        }
    }

    void aSortedTableStillFindsTheRightJob()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.LoadJobs(FourWaitingJobs());
        QTableWidget& table = *view.Table();
        table.sortByColumn(1, Qt::DescendingOrder);
        QCOMPARE(Column(table, 1), QStringList({"d.gjf", "c.gjf", "b.gjf", "a.gjf"}));
        for (int row = 0; row < table.rowCount(); ++row) {
            const int index = Quolix_TableWidget::ItemDataOf(table.item(row, 3));
            QCOMPARE(view.Queue().JobAt(index)->Name, table.item(row, 1)->text());
        }
    }

    void anyChangeClearsTheSelection()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        view.LoadJobs(FourWaitingJobs());
        QTableWidget& table = *view.Table();
        table.selectRow(1);
        QVERIFY(!NoSelection(table));
        view.RebuildTable();
        QVERIFY(NoSelection(table));
        table.selectRow(2);
        view.AddJob(new Tavrol_Job(WaitingJob(7, QStringLiteral("e.gjf"))));
        QCOMPARE(table.rowCount(), 5);
        QVERIFY(NoSelection(table));
        table.selectRow(0);
        view.ClearJobs();
        QVERIFY(NoSelection(table));
    }

    void anEmptiedTableHasSortingOffAndTheFirstJobBringsTheSortBack()
    {
        GuiWindow window;
        Tavrol_ShortJobsQueueWidget& view = window.Short();
        QVERIFY(ShowAlone(view.Frame()));
        QTableWidget& table = *view.Table();
        QCOMPARE(table.rowCount(), 0);
        QVERIFY(!table.isSortingEnabled());
        view.LoadJobs(FourWaitingJobs());
        QVERIFY(table.isSortingEnabled());
        table.sortByColumn(1, Qt::DescendingOrder);
        view.ClearJobs();
        QCOMPARE(table.rowCount(), 0);
        QVERIFY(!table.isSortingEnabled());
        view.LoadJobs(FourWaitingJobs());
        QVERIFY(table.isSortingEnabled());
        QCOMPARE(table.horizontalHeader()->sortIndicatorSection(), 1);
        QCOMPARE(table.horizontalHeader()->sortIndicatorOrder(), Qt::DescendingOrder);
        QCOMPARE(Column(table, 1), QStringList({"d.gjf", "c.gjf", "b.gjf", "a.gjf"}));
    }

    void aTableOffScreenIsRebuiltWhenShown()
    {
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        view.LoadJobs(FourWaitingJobs());
        QTableWidget& table = *view.Table();
        QVERIFY(!table.isVisible());
        QVERIFY(view.Table()->RebuildPending());
        QVERIFY(ShowAlone(view.Frame()));
        QCOMPARE(Column(table, 0), QStringList({"2", "9", "10", "100"}));
        QVERIFY(table.isSortingEnabled());
    }

    void aJobsRowChangesWhenItStartsAndEnds()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& view = window.Long();
        QVERIFY(ShowAlone(view.Frame()));
        QVERIFY(ShowAlone(window.Finished().Frame()));
        const QTableWidget& table = *view.Table();
        const QTableWidget& finished = *window.Finished().Table();
        view.SetMaxRunningJobs(1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("first.gjf"), 2), -1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("second.gjf"), 0), -1);
        QCOMPARE(Column(table, 1), QStringList({"first.gjf", "second.gjf"}));
        QCOMPARE(Column(table, 2), QStringList({"Running", "Pending"}));
        QVERIFY(!table.item(0, 7)->text().isEmpty());
        QVERIFY(table.item(1, 7)->text().isEmpty());
        QCOMPARE(finished.rowCount(), 0);

        // The first ends: its row moves to the finished jobs, the second runs.
        QTRY_VERIFY_WITH_TIMEOUT(finished.rowCount() >= 1, WaitMs);
        QCOMPARE(finished.item(0, 1)->text(), QStringLiteral("first.gjf"));
        const Tavrol_Job& ended = window.Finished().FinishedJobs().front();
        QVERIFY(ended.IsFinished());
        QCOMPARE(finished.item(0, 2)->text(), Tavrol_Job::StatusToString(ended.Status));
        QTRY_VERIFY_WITH_TIMEOUT(table.rowCount() == 0, WaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(finished.rowCount(), 2, WaitMs);
        QCOMPARE(Column(finished, 1), QStringList({"first.gjf", "second.gjf"}));
        QVERIFY(!table.isSortingEnabled());
    }

    void filesDroppedOnTheShortViewGoToTheShortQueueWithAnAutoJobType()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_ShortJobsQueueWidget& view = window.Short();
        QVERIFY(ShowAlone(view.Frame()));
        view.Queue().SetPaused(true);
        const QString input = WriteInput(dir.path(), QStringLiteral("dropped.gjf"), 0);
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(input)});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.Table()->viewport(), &enter);
        QVERIFY(enter.isAccepted());
        // The drop opens the Open Files dialog; submit what it offers.
        QTimer::singleShot(0, Tavrol_OpenFilesDialog::Global(),
                           [] { Tavrol_OpenFilesDialog::Global()->SubmitButton()->click(); });
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.Table()->viewport(), &drop);
        QCOMPARE(view.Queue().Count(), 1);
        QCOMPARE(view.Queue().JobAt(0)->JobType.Name, QStringLiteral("Standin"));
        QCOMPARE(window.Long().Queue().Count(), 0);
        QCOMPARE(Column(*view.Table(), 1), QStringList({"dropped.gjf"}));
    }
};

QTEST_MAIN(TstQueueTables)
#include "tst_queuetables.moc"
