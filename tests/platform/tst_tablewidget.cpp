#include "platform/tablewidget.h"
#include "tablehelpers.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>
#include <QVBoxLayout>

using namespace TableTest;

namespace {

// A drop of these URLs on the table's viewport, as a file manager sends it.
bool Drop(Quolix_TableWidget& table, const QList<QUrl>& urls)
{
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                          Qt::NoModifier);
    QCoreApplication::sendEvent(table.viewport(), &enter);
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                    Qt::NoModifier);
    QCoreApplication::sendEvent(table.viewport(), &drop);
    return enter.isAccepted();
}

void AddRow(QTableWidget& table, int row, const QVariant& first, const QVariant& second)
{
    Quolix_TableWidgetItem::AddItemToTable(&table, row, 0, first, first, row, Qt::AlignCenter,
                                           false);
    Quolix_TableWidgetItem::AddItemToTable(&table, row, 1, second, second, row, Qt::AlignCenter,
                                           false);
}

} // namespace

class TstTableWidget : public QObject
{
    Q_OBJECT

private slots:
    void addItemToTableGivesValueSortValueItemDataAndAlignment()
    {
        Quolix_TableWidget table(false, 1, 2);
        Quolix_TableWidgetItem* item = Quolix_TableWidgetItem::AddItemToTable(
            &table, 0, 1, 42, 42, 7, Qt::AlignHCenter | Qt::AlignVCenter, false);
        QCOMPARE(table.item(0, 1), item);
        QCOMPARE(item->text(), QStringLiteral("42"));
        QCOMPARE(item->data(Qt::DisplayRole).typeId(), int(QMetaType::Int));
        QCOMPARE(item->SortValue(), QVariant(42));
        QCOMPARE(item->data(Qt::UserRole + 2).toInt(), 7);
        QCOMPARE(table.ItemDataAt(0, 1), 7);
        QCOMPARE(table.ItemDataAt(0, 0), -1);
        QCOMPARE(item->textAlignment(), int(Qt::AlignHCenter | Qt::AlignVCenter));
        QVERIFY(!(item->flags() & Qt::ItemIsEditable));
        QCOMPARE(table.editTriggers(), QAbstractItemView::NoEditTriggers);
    }

    void idsSortAsNumbersAndTextAsText()
    {
        Quolix_TableWidget table(false, 3, 2);
        AddRow(table, 0, 10, QStringLiteral("b"));
        AddRow(table, 1, 9, QStringLiteral("a"));
        AddRow(table, 2, 100, QStringLiteral("B"));
        table.sortItems(0, Qt::AscendingOrder);
        QCOMPARE(Column(table, 0), QStringList({"9", "10", "100"}));
        table.sortItems(1, Qt::AscendingOrder);
        QCOMPARE(Column(table, 1), QStringList({"B", "a", "b"}));
        QCOMPARE(ItemData(table), std::vector<int>({2, 1, 0}));
    }

    void sortAsRebuiltOrdersEqualValuesByTheirEntriesInBothDirections_data()
    {
        QTest::addColumn<int>("order");
        QTest::newRow("ascending") << int(Qt::AscendingOrder);
        QTest::newRow("descending") << int(Qt::DescendingOrder);
    }

    void sortAsRebuiltOrdersEqualValuesByTheirEntriesInBothDirections()
    {
        QFETCH(int, order);
        Quolix_TableWidget table(false, 0, 2);
        table.horizontalHeader()->setSortIndicator(1, Qt::SortOrder(order));
        table.AppendRows(5, [&](int row) {
            AddRow(table, row, row, row % 2 ? QStringLiteral("x") : QStringLiteral("y"));
        });
        table.SortAsRebuilt();
        QVERIFY(table.isSortingEnabled());
        const std::vector<int> expected = order == Qt::AscendingOrder
                                              ? std::vector<int>({1, 3, 0, 2, 4})
                                              : std::vector<int>({0, 2, 4, 1, 3});
        QCOMPARE(ItemData(table), expected);

        // A user's sort keeps the earlier order among equal values...
        table.sortByColumn(0, Qt::DescendingOrder);
        table.sortByColumn(1, Qt::SortOrder(order));
        QVERIFY(ItemData(table) != expected);
        // ...and the sort of a rebuild brings the entries' order back.
        table.setSortingEnabled(false);
        table.SortAsRebuilt();
        QCOMPARE(ItemData(table), expected);
    }

    void clearRowsLeavesNoRowsAndSortingOff()
    {
        Quolix_TableWidget table(false, 2, 2);
        AddRow(table, 0, 1, QStringLiteral("a"));
        table.setSortingEnabled(true);
        table.ClearRows();
        QCOMPARE(table.rowCount(), 0);
        QVERIFY(!table.isSortingEnabled());
    }

    void inactiveHighlightIsTheActiveOne()
    {
        Quolix_TableWidget table(false, 1, 1);
        table.UseActiveHighlightWhenInactive();
        const QPalette colours = table.palette();
        QCOMPARE(colours.brush(QPalette::Inactive, QPalette::Highlight),
                 colours.brush(QPalette::Active, QPalette::Highlight));
        QCOMPARE(colours.brush(QPalette::Inactive, QPalette::HighlightedText),
                 colours.brush(QPalette::Active, QPalette::HighlightedText));
    }

    void dropRaisesDropSignalWithLocalPathsOnly()
    {
        Quolix_TableWidget table(false, 1, 1);
        table.setDragDropMode(QAbstractItemView::InternalMove);
        table.setAcceptDrops(true);
        QSignalSpy spy(&table, &Quolix_TableWidget::DropSignal);
        QVERIFY(Drop(table, {QUrl::fromLocalFile(QStringLiteral("/data/a.gjf")),
                             QUrl(QStringLiteral("https://example.invalid/b.gjf")),
                             QUrl::fromLocalFile(QStringLiteral("/data/c d.com"))}));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toStringList(), QStringList({"/data/a.gjf", "/data/c d.com"}));
        QCOMPARE(table.rowCount(), 1); // nothing dropped becomes a cell
    }

    void aDropWithoutLocalFilesIsRefused()
    {
        Quolix_TableWidget table(false, 1, 1);
        table.setAcceptDrops(true);
        QSignalSpy spy(&table, &Quolix_TableWidget::DropSignal);
        QVERIFY(!Drop(table, {QUrl(QStringLiteral("https://example.invalid/b.gjf"))}));
        QCOMPARE(spy.count(), 0);
    }

    void aHiddenTableRebuildsWhenShown()
    {
        QWidget window;
        auto* table = new Quolix_TableWidget(false, 0, 1, &window);
        (new QVBoxLayout(&window))->addWidget(table);
        int rebuilds = 0;
        table->SetRebuild([&] { ++rebuilds; });
        table->setRowCount(1);
        Quolix_TableWidgetItem::AddItemToTable(table, 0, 0, 1, 1, 0, Qt::AlignCenter, false);
        table->setCurrentCell(0, 0);
        QVERIFY(table->DeferWhileHidden());
        QVERIFY(table->RebuildPending());
        QVERIFY(NoSelection(*table));
        QCOMPARE(rebuilds, 0);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(rebuilds, 1);
        QVERIFY(!table->RebuildPending());
        QVERIFY(!table->DeferWhileHidden()); // on screen: rebuilt at once
        window.hide();
        QVERIFY(table->DeferWhileHidden());
    }

    void aTableHiddenOnPurposeIsNotDeferred()
    {
        QWidget window;
        auto* table = new Quolix_TableWidget(false, 0, 1, &window);
        table->SetRebuild([] {});
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        table->setVisible(false);
        QVERIFY(!table->DeferWhileHidden());
    }
};

QTEST_MAIN(TstTableWidget)
#include "tst_tablewidget.moc"
