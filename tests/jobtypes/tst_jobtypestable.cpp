#include "tablehelpers.h"
#include "testsupport.h"

#include "app/globals.h"
#include "jobtypes/jobtype.h"
#include "jobtypes/jobtypeswidget.h"

#include <QHeaderView>
#include <QTest>

using namespace TableTest;

namespace {

Tavrol_JobType Type(int id, const QString& name, const QString& path)
{
    return Tavrol_JobType(id, name, QStringLiteral("App ") + name, path, QStringLiteral("Short"),
                          QStringLiteral("@EXEFILE @INFILE\n@OUTFILE"),
                          QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"),
                          QStringLiteral("A=1\nB=2"));
}

std::vector<Tavrol_JobType> ThreeTypes()
{
    return {Type(10, QStringLiteral("beta"), TestSupport::FixturePath(QStringLiteral("standin"))),
            Type(2, QStringLiteral("gamma"), QStringLiteral("/nowhere/missing")),
            Type(9, QStringLiteral("alpha"), TestSupport::FixturePath(QStringLiteral("standin")))};
}

} // namespace

class TstJobTypesTable : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeGUI; }
    void cleanup() { Tavrol_JobType::Clear(); }

    void withoutAWindowThereIsNoTable()
    {
        RunMode = RunModeConsole;
        Tavrol_JobTypesWidget view;
        RunMode = RunModeGUI;
        Tavrol_JobType::SetAll(ThreeTypes());
        view.Refresh();
        QVERIFY(!view.Frame() && !view.Table());
        QCOMPARE(view.JobTypes().size(), size_t(3));
        QCOMPARE(view.SelectedJobType(), Tavrol_JobType());
    }

    void theTableHasItsColumnsAndSettings()
    {
        Tavrol_JobTypesWidget view;
        const QTableWidget& table = *view.Table();
        QCOMPARE(table.columnCount(), 9);
        QCOMPARE(HeaderTexts(table),
                 QStringList({"DBID", "Name", "Application Name", "Executable Path",
                              "Default Queue", "Input File Filter", "Output File Filter",
                              "Environment Variables", "Generic Command Line"}));
        QCOMPARE(table.horizontalHeader()->sortIndicatorSection(), 0);
        QVERIFY(table.horizontalHeader()->stretchLastSection());
        QCOMPARE(table.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(table.selectionMode(), QAbstractItemView::SingleSelection);
        QCOMPARE(table.contextMenuPolicy(), Qt::CustomContextMenu);
        const QPalette colours = table.palette();
        QCOMPARE(colours.brush(QPalette::Inactive, QPalette::Highlight),
                 colours.brush(QPalette::Active, QPalette::Highlight));
    }

    void rowsShowTheTypesWithIdsSortedAsNumbers()
    {
        Tavrol_JobType::SetAll(ThreeTypes());
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        const QTableWidget& table = *view.Table();
        QVERIFY(table.isSortingEnabled());
        QCOMPARE(Column(table, 0), QStringList({"2", "9", "10"}));
        QCOMPARE(Column(table, 1), QStringList({"gamma", "alpha", "beta"}));
        QCOMPARE(table.item(0, 2)->text(), QStringLiteral("App gamma"));
        QCOMPARE(table.item(0, 4)->text(), QStringLiteral("Short"));
        QCOMPARE(table.item(0, 7)->text(), QStringLiteral("A=1 ; B=2"));
        QCOMPARE(table.item(0, 8)->text(), QStringLiteral("@EXEFILE @INFILE\n@OUTFILE"));
        QCOMPARE(table.item(0, 1)->textAlignment(), int(Qt::AlignCenter));
        QCOMPARE(ItemData(table), std::vector<int>({1, 2, 0}));
    }

    void aMissingExecutableIsShownInRed()
    {
        Tavrol_JobType::SetAll(ThreeTypes());
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        const QTableWidget& table = *view.Table();
        QCOMPARE(table.item(0, 3)->text(), QStringLiteral("/nowhere/missing"));
        QCOMPARE(table.item(0, 3)->foreground().color(), QColor(Qt::red));
        QCOMPARE(table.item(0, 1)->foreground().style(), Qt::NoBrush);
        QCOMPARE(table.item(1, 3)->foreground().style(), Qt::NoBrush);
    }

    void withSortingByAnotherColumnTheSelectedTypeIsFoundByItsId()
    {
        Tavrol_JobType::SetAll(ThreeTypes());
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        QTableWidget& table = *view.Table();
        table.sortByColumn(1, Qt::DescendingOrder);
        QCOMPARE(Column(table, 1), QStringList({"gamma", "beta", "alpha"}));
        for (int row = 0; row < 3; ++row) {
            table.selectRow(row);
            QCOMPARE(view.SelectedJobType().Name, table.item(row, 1)->text());
        }
    }

    void aRefreshClearsTheSelection()
    {
        Tavrol_JobType::SetAll(ThreeTypes());
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.Table()->selectRow(1);
        view.Refresh();
        QVERIFY(NoSelection(*view.Table()));
        QCOMPARE(view.SelectedJobType(), Tavrol_JobType());
    }

    void removingTheLastTypeLeavesTheTableEmptyWithSortingOff()
    {
        Tavrol_JobType::SetAll(ThreeTypes());
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        Tavrol_JobType::SetAll({});
        view.Refresh();
        QCOMPARE(view.Table()->rowCount(), 0);
        QVERIFY(!view.Table()->isSortingEnabled());
        Tavrol_JobType::SetAll(ThreeTypes());
        view.Refresh();
        QVERIFY(view.Table()->isSortingEnabled());
        QCOMPARE(view.Table()->rowCount(), 3);
    }

    void aTableOffScreenIsFilledWhenShown()
    {
        Tavrol_JobTypesWidget view;
        Tavrol_JobType::SetAll(ThreeTypes());
        view.Refresh();
        QCOMPARE(view.JobTypes().size(), size_t(3));
        QVERIFY(view.Table()->RebuildPending());
        QVERIFY(ShowAlone(view.Frame()));
        QCOMPARE(Column(*view.Table(), 0), QStringList({"2", "9", "10"}));
    }
};

QTEST_MAIN(TstJobTypesTable)
#include "tst_jobtypestable.moc"
