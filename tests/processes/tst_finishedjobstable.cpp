#include "../views/queuetesthelpers.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "processes/finishedjobswidget.h"

#include <QHeaderView>
#include <QTest>

using namespace QueueTest;
using namespace TableTest;

namespace {

Tavrol_Job EndedJob(int id, const QString& name, Tavrol_JobStatus status)
{
    Tavrol_Job job(name, StandinJobType(), QString(), QString(), QString(), -1, -1, -1, 1,
                   QStringLiteral("Short"), QStringLiteral("/data/") + name, QString(), id,
                   QString());
    job.Status = status;
    job.Submitted = QDateTime(QDate(2024, 3, 1), QTime(9, 0, 0));
    job.Started = QDateTime(QDate(2024, 3, 1), QTime(9, 0, 5));
    job.Finished = QDateTime(QDate(2024, 12, 31), QTime(23, 59, 59));
    return job;
}

std::vector<Tavrol_Job> History()
{
    return {EndedJob(10, QStringLiteral("b.gjf"), JobStatusCompleted),
            EndedJob(9, QStringLiteral("a.gjf"), JobStatusFailed),
            EndedJob(100, QStringLiteral("d.gjf"), JobStatusCompleted),
            EndedJob(2, QStringLiteral("c.gjf"), JobStatusRunning)};
}

// The table's rows, every cell, in the shown order.
QStringList Rows(const QTableWidget& table)
{
    QStringList rows;
    for (int row = 0; row < table.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < table.columnCount(); ++column)
            cells.append(table.item(row, column)->text() + QLatin1Char('#') +
                         QString::number(Quolix_TableWidget::ItemDataOf(table.item(row, column))));
        rows.append(cells.join(QLatin1Char('|')));
    }
    return rows;
}

} // namespace

class TstFinishedJobsTable : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeGUI; }

    void withoutAWindowThereIsNoTable()
    {
        RunMode = RunModeConsole;
        Tavrol_FinishedJobsWidget view;
        RunMode = RunModeGUI;
        QVERIFY(!view.Frame() && !view.Table());
        view.SetJobs(History());
        QCOMPARE(view.CurrentJobIndex(), -1);
    }

    void theTableHasItsColumnsAndSettings()
    {
        Tavrol_FinishedJobsWidget view;
        const QTableWidget& table = *view.Table();
        QCOMPARE(table.columnCount(), 10);
        QCOMPARE(HeaderTexts(table),
                 QStringList({"Job ID", "Name", "Status", "Job Type", "Queue", "Executable Path",
                              "Command Line", "Submitted", "Started", "Finished"}));
        QCOMPARE(table.horizontalHeader()->sortIndicatorSection(), 0);
        QCOMPARE(table.horizontalHeader()->sortIndicatorOrder(), Qt::AscendingOrder);
        QVERIFY(table.horizontalHeader()->stretchLastSection());
        QCOMPARE(table.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(table.selectionMode(), QAbstractItemView::ExtendedSelection);
        QCOMPARE(table.contextMenuPolicy(), Qt::CustomContextMenu);
    }

    void rowsShowTheHistoryAndIdsSortAsNumbers()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(History());
        const QTableWidget& table = *view.Table();
        QVERIFY(table.isSortingEnabled());
        QCOMPARE(Column(table, 0), QStringList({"2", "9", "10", "100"}));
        QCOMPARE(Column(table, 2), QStringList({"Running", "Failed", "Completed", "Completed"}));
        QCOMPARE(Column(table, 4), QStringList(4, QStringLiteral("Short")));
        QCOMPARE(table.item(0, 7)->text(), QStringLiteral("03-01-2024 09:00:00"));
        QCOMPARE(table.item(0, 8)->text(), QStringLiteral("03-01-2024 09:00:05"));
        QCOMPARE(table.item(0, 9)->text(), QStringLiteral("12-31-2024 23:59:59"));
        QCOMPARE(table.item(0, 6)->text(), view.FinishedJobs()[3].CommandLine());
        QCOMPARE(table.item(1, 1)->textAlignment(), int(Qt::AlignCenter));
        QCOMPARE(ItemData(table, 5), std::vector<int>({3, 1, 0, 2}));
    }

    void aKilledJobsRecordShowsRunning()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.AddJob(EndedJob(5, QStringLiteral("killed.gjf"), JobStatusRunning));
        QCOMPARE(Column(*view.Table(), 2), QStringList({"Running"}));
        QCOMPARE(view.Table()->item(0, 9)->text(), QStringLiteral("12-31-2024 23:59:59"));
    }

    void afterSortingByAnotherColumnTheCurrentRowFindsItsJob()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(History());
        QTableWidget& table = *view.Table();
        table.sortByColumn(1, Qt::DescendingOrder);
        QCOMPARE(Column(table, 1), QStringList({"d.gjf", "c.gjf", "b.gjf", "a.gjf"}));
        for (int row = 0; row < table.rowCount(); ++row) {
            table.setCurrentCell(row, 3);
            const int index = view.CurrentJobIndex();
            QVERIFY(index >= 0);
            QCOMPARE(view.FinishedJobs()[size_t(index)].Name, table.item(row, 1)->text());
        }
    }

    void anUpdateClearsTheSelection()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(History());
        QTableWidget& table = *view.Table();
        table.selectRow(2);
        view.Update();
        QVERIFY(NoSelection(table));
        table.selectRow(1);
        view.AddJob(EndedJob(3, QStringLiteral("e.gjf"), JobStatusCompleted));
        QVERIFY(NoSelection(table));
        QCOMPARE(view.CurrentJobIndex(), -1);
    }

    void anAppendedJobGivesTheRowsOfAWholeRebuild_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("order");
        QTest::newRow("id ascending") << 0 << int(Qt::AscendingOrder);
        QTest::newRow("status ascending") << 2 << int(Qt::AscendingOrder);
        QTest::newRow("status descending") << 2 << int(Qt::DescendingOrder);
        QTest::newRow("queue descending") << 4 << int(Qt::DescendingOrder);
    }

    void anAppendedJobGivesTheRowsOfAWholeRebuild()
    {
        QFETCH(int, column);
        QFETCH(int, order);
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(History());
        QTableWidget& table = *view.Table();
        // A sort of the user's own leaves equal values in another order...
        table.sortByColumn(1, Qt::DescendingOrder);
        table.sortByColumn(column, Qt::SortOrder(order));
        view.AddJob(EndedJob(50, QStringLiteral("e.gjf"), JobStatusCompleted));
        view.AddJob(EndedJob(1, QStringLiteral("f.gjf"), JobStatusFailed));
        const QStringList appended = Rows(table);
        QCOMPARE(appended.size(), 6);
        // ...which the rows of the appended jobs do not keep either.
        view.SetJobs(
            std::vector<Tavrol_Job>(view.FinishedJobs().begin(), view.FinishedJobs().end()));
        QCOMPARE(appended, Rows(table));
    }

    void anEmptyHistoryLeavesAnEmptyTable()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(History());
        view.Clear();
        QCOMPARE(view.Table()->rowCount(), 0);
    }

    void aTableOffScreenShowsTheHistoryWhenShown()
    {
        Tavrol_FinishedJobsWidget view;
        view.SetJobs(History());
        view.AddJob(EndedJob(3, QStringLiteral("e.gjf"), JobStatusCompleted));
        QVERIFY(view.Table()->RebuildPending());
        QVERIFY(ShowAlone(view.Frame()));
        QCOMPARE(Column(*view.Table(), 0), QStringList({"2", "3", "9", "10", "100"}));
        // Ended while off screen again: only the new row is added on show.
        view.Frame()->hide();
        view.AddJob(EndedJob(4, QStringLiteral("g.gjf"), JobStatusCompleted));
        QCOMPARE(view.Table()->rowCount(), 5);
        view.Frame()->show();
        // The rows come from the event loop, once the show is over.
        QCOMPARE(view.Table()->rowCount(), 5);
        QTRY_COMPARE_WITH_TIMEOUT(Column(*view.Table(), 0),
                                  QStringList({"2", "3", "4", "9", "10", "100"}), 5000);
    }
};

QTEST_MAIN(TstFinishedJobsTable)
#include "tst_finishedjobstable.moc"
