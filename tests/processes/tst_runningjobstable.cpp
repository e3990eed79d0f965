#include "../views/queuetesthelpers.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "processes/runningjobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace QueueTest;
using namespace TableTest;

namespace {

Tavrol_Process Row(const QString& pid, const QString& ppid, const QString& path,
                   const QString& user = QStringLiteral("chemist"))
{
    Tavrol_Process row;
    row.User = user;
    row.ProcessID = pid;
    row.ParentProcessID = ppid;
    row.AppName = QFileInfo(path).fileName();
    row.State = QStringLiteral("S");
    row.AppPath = path;
    row.CommandLine = path + QStringLiteral(" input.gjf");
    return row;
}

// The heading row of `ps`, then three processes, one of a known job type.
std::vector<Tavrol_Process> ProcessRows()
{
    return {Row(QStringLiteral("PID"), QStringLiteral("PPID"), QStringLiteral("COMMAND"),
                QStringLiteral("USER")),
            Row(QStringLiteral("100"), QStringLiteral("1"), QStringLiteral("/usr/bin/other")),
            Row(QStringLiteral("9"), QStringLiteral("1"), StandinPath()),
            Row(QStringLiteral("20"), QStringLiteral("9"), QStringLiteral("/bin/sleep"))};
}

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
    Tavrol_AppWindow& Window() { return m_window; }

private:
    Tavrol_AppWindow m_window;
};

bool ShowsCommandWith(const QTableWidget& table, const QString& text)
{
    const QStringList lines = Column(table, 6);
    return std::any_of(lines.begin(), lines.end(),
                       [&](const QString& line) { return line.contains(text); });
}

} // namespace

class TstRunningJobsTable : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeGUI; }
    void init() { Tavrol_JobType::SetAll({StandinJobType(0)}); }
    void cleanup() { Tavrol_JobType::Clear(); }

    void withoutAWindowThereIsNoTable()
    {
        RunMode = RunModeConsole;
        Tavrol_RunningJobsWidget view;
        RunMode = RunModeGUI;
        QVERIFY(!view.Frame() && !view.Table() && !view.RefreshButton());
        view.ShowProcessTable(ProcessRows());
        QCOMPARE(view.Processes().size(), size_t(1));
    }

    void theFrameHasItsTableButtonAndBox()
    {
        Tavrol_RunningJobsWidget view;
        const QTableWidget& table = *view.Table();
        QCOMPARE(table.columnCount(), 7);
        QCOMPARE(HeaderTexts(table),
                 QStringList({"User", "Process ID", "Parent Process ID", "App Name", "Status",
                              "App Path", "Command Line"}));
        QCOMPARE(table.horizontalHeader()->sortIndicatorSection(), 1);
        QCOMPARE(table.horizontalHeader()->sortIndicatorOrder(), Qt::AscendingOrder);
        QCOMPARE(table.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(table.selectionMode(), QAbstractItemView::SingleSelection);
        QCOMPARE(table.contextMenuPolicy(), Qt::CustomContextMenu);
        QCOMPARE(table.editTriggers(), QAbstractItemView::NoEditTriggers);
        QCOMPARE(view.RefreshButton()->text(), QStringLiteral("Refresh"));
        QCOMPARE(view.OnlyKnownJobTypesBox()->text(), QStringLiteral("Only Show Known Job Types"));
        QVERIFY(view.OnlyKnownJobTypesBox()->isChecked());
    }

    void withTheBoxCheckedOnlyKnownProgramsAreShown()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.ShowProcessTable(ProcessRows());
        QCOMPARE(Column(*view.Table(), 1), QStringList({"9"}));
        QCOMPARE(Column(*view.Table(), 5), QStringList({StandinPath()}));
        QVERIFY(!(view.Table()->item(0, 0)->flags() & Qt::ItemIsEditable));
    }

    void clearingTheBoxShowsEveryRowWithIdsSortedAsNumbers()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.OnlyKnownJobTypesBox()->setChecked(false);
        view.OnlyShowJobsOfKnownJobTypesSlot();
        QVERIFY(!view.OnlyKnownJobTypes());
        view.ShowProcessTable(ProcessRows());
        const QTableWidget& table = *view.Table();
        QVERIFY(table.isSortingEnabled());
        QCOMPARE(Column(table, 1), QStringList({"-1", "9", "20", "100"}));
        QCOMPARE(Column(table, 0), QStringList({"USER", "chemist", "chemist", "chemist"}));
        QCOMPARE(Column(table, 2), QStringList({"-1", "1", "9", "1"}));
    }

    void withNoJobTypeTheTableStaysEmpty()
    {
        Tavrol_JobType::Clear();
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.ShowProcessTable(ProcessRows());
        QCOMPARE(view.Table()->rowCount(), 0);
        QVERIFY(!view.Table()->isSortingEnabled());
        QCOMPARE(view.Processes().size(), size_t(4));
    }

    void aSortedTableStillFindsTheCurrentProcess()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetOnlyKnownJobTypes(false);
        view.ShowProcessTable(ProcessRows());
        QTableWidget& table = *view.Table();
        QCOMPARE(view.CurrentProcess().ProcessID, QString());
        table.sortByColumn(5, Qt::DescendingOrder);
        for (int row = 0; row < table.rowCount(); ++row) {
            table.setCurrentCell(row, 4);
            QCOMPARE(view.CurrentProcess().AppPath, table.item(row, 5)->text());
        }
    }

    void aJobsRowAppearsWhenItStartsAndGoesWhenItEnds()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_RunningJobsWidget& view = *window.Window().RunningJobsView();
        QVERIFY(ShowAlone(view.Frame()));
        view.SetOnlyKnownJobTypes(false);
        const QString input = WriteInput(dir.path(), QStringLiteral("watched.gjf"), 3);
        window.Window().LongJobsView()->AddJobFromFile(input, -1);
        QTRY_VERIFY_WITH_TIMEOUT(ShowsCommandWith(*view.Table(), input), WaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(window.Window().LongJobsView()->Queue().Count() == 0, WaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(!ShowsCommandWith(*view.Table(), input), WaitMs);
    }
};

QTEST_MAIN(TstRunningJobsTable)
#include "tst_runningjobstable.moc"
