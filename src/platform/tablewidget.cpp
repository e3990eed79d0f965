#include "platform/tablewidget.h"

#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMimeData>
#include <QPalette>
#include <QSignalBlocker>
#include <QUrl>

namespace {

// Set while SortAsRebuilt sorts: equal values then fall back on the entries'
// order, in the direction that keeps it ascending whatever the sort order.
// The sort runs on the main thread only, within one call.
struct RebuildSort
{
    bool active = false;
    Qt::SortOrder order = Qt::AscendingOrder;
};
RebuildSort rebuildSort;

class RebuildSortScope
{
public:
    explicit RebuildSortScope(Qt::SortOrder order) : m_previous(rebuildSort)
    {
        rebuildSort = {true, order};
    }
    ~RebuildSortScope() { rebuildSort = m_previous; }
    RebuildSortScope(const RebuildSortScope&) = delete;
    RebuildSortScope& operator=(const RebuildSortScope&) = delete;

private:
    RebuildSort m_previous;
};

bool IsNumber(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

} // namespace

Quolix_TableWidgetItem::Quolix_TableWidgetItem(const QVariant& value, const QVariant& sortValue,
                                               int itemData, int alignment, bool editable)
    : QTableWidgetItem(ItemType), m_value(value), m_sortValue(sortValue), m_itemData(itemData),
      m_alignment(alignment)
{
    if (!editable)
        setFlags(flags() & ~Qt::ItemIsEditable);
}

Quolix_TableWidgetItem* Quolix_TableWidgetItem::AddItemToTable(QTableWidget* table, int row,
                                                               int column, const QVariant& value,
                                                               const QVariant& sortValue,
                                                               int itemData, int alignment,
                                                               bool editable)
{
    auto* item = new Quolix_TableWidgetItem(value, sortValue, itemData, alignment, editable);
    table->setItem(row, column, item);
    return item;
}

QVariant Quolix_TableWidgetItem::data(int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return m_value;
    case ItemDataRole:
        return m_itemData;
    case Qt::TextAlignmentRole:
        return m_alignment;
    default:
        return QTableWidgetItem::data(role);
    }
}

void Quolix_TableWidgetItem::setData(int role, const QVariant& value)
{
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        m_value = value;
        m_sortValue = value;
        break;
    case ItemDataRole:
        m_itemData = value.toInt();
        break;
    case Qt::TextAlignmentRole:
        m_alignment = value.toInt();
        break;
    default:
        break;
    }
    // The base keeps its own copy and tells the table of the change.
    QTableWidgetItem::setData(role, value);
}

int Quolix_TableWidgetItem::CompareSortValues(const QVariant& a, const QVariant& b)
{
    if (IsNumber(a) && IsNumber(b)) {
        const qlonglong x = a.toLongLong();
        const qlonglong y = b.toLongLong();
        return x < y ? -1 : (y < x ? 1 : 0);
    }
    return QString::compare(a.toString(), b.toString(), Qt::CaseSensitive);
}

bool Quolix_TableWidgetItem::operator<(const QTableWidgetItem& other) const
{
    if (other.type() != ItemType)
        return QTableWidgetItem::operator<(other);
    const auto& cell = static_cast<const Quolix_TableWidgetItem&>(other);
    const int order = CompareSortValues(m_sortValue, cell.m_sortValue);
    if (order != 0 || !rebuildSort.active)
        return order < 0;
    // A descending sort asks "other < this", so the entries' order is turned
    // round for it to come out ascending.
    return rebuildSort.order == Qt::AscendingOrder ? m_itemData < cell.m_itemData
                                                   : m_itemData > cell.m_itemData;
}

QTableWidgetItem* Quolix_TableWidgetItem::clone() const
{
    auto* copy = new Quolix_TableWidgetItem(m_value, m_sortValue, m_itemData, m_alignment,
                                            flags().testFlag(Qt::ItemIsEditable));
    copy->setFlags(flags());
    return copy;
}

Quolix_TableWidget::Quolix_TableWidget(bool editable, int rows, int columns, QWidget* parent)
    : QTableWidget(rows, columns, parent)
{
    if (!editable)
        setEditTriggers(QAbstractItemView::NoEditTriggers);
    connect(model(), &QAbstractItemModel::layoutChanged, this,
            &Quolix_TableWidget::LayoutChangedSlot);
}

void Quolix_TableWidget::LayoutChangedSlot()
{
    if (!m_ordering)
        m_inRebuildOrder = false;
}

void Quolix_TableWidget::UseActiveHighlightWhenInactive()
{
    QPalette colours = palette();
    colours.setBrush(QPalette::Inactive, QPalette::Highlight,
                     colours.brush(QPalette::Active, QPalette::Highlight));
    colours.setBrush(QPalette::Inactive, QPalette::HighlightedText,
                     colours.brush(QPalette::Active, QPalette::HighlightedText));
    setPalette(colours);
}

void Quolix_TableWidget::SetUpColumnsAndRows(const QStringList& headers, int sortColumn,
                                             QAbstractItemView::SelectionMode selectionMode)
{
    setHorizontalHeaderLabels(headers);
    QHeaderView* header = horizontalHeader();
    header->setSortIndicatorShown(true);
    header->setSortIndicator(sortColumn, Qt::AscendingOrder);
    header->setStretchLastSection(true);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(selectionMode);
}

int Quolix_TableWidget::ItemDataOf(const QTableWidgetItem* item)
{
    if (!item)
        return -1;
    bool ok = false;
    const int index = item->data(Quolix_TableWidgetItem::ItemDataRole).toInt(&ok);
    return ok ? index : -1;
}

int Quolix_TableWidget::ItemDataAt(int row, int column) const
{
    return ItemDataOf(item(row, column));
}

void Quolix_TableWidget::ClearRows()
{
    clearContents();
    setRowCount(0);
    setSortingEnabled(false);
}

void Quolix_TableWidget::AppendRows(int count, const std::function<void(int row)>& fillRow)
{
    if (count <= 0)
        return;
    const int first = rowCount();
    const bool updates = updatesEnabled();
    setUpdatesEnabled(false);
    setRowCount(first + count);
    {
        // One notice for the whole fill below instead of one per cell: with
        // sorting off nothing but the repaint depends on them.
        const QSignalBlocker blocker(model());
        for (int row = first; row < first + count; ++row)
            fillRow(row);
    }
    emit model()->dataChanged(model()->index(first, 0),
                              model()->index(first + count - 1, columnCount() - 1));
    setUpdatesEnabled(updates);
}

void Quolix_TableWidget::SortAsRebuilt()
{
    const RebuildSortScope scope(horizontalHeader()->sortIndicatorOrder());
    m_ordering = true;
    setSortingEnabled(true);
    m_ordering = false;
    m_inRebuildOrder = true;
}

// The cells are made in a one-row table aside, then moved here with the sort
// column's cell last: with sorting on, only that cell moves the row, once, to
// the place the order of a rebuild gives it.
void Quolix_TableWidget::InsertRowInOrder(
    const std::function<void(QTableWidget* table, int row)>& fillRow)
{
    if (!m_scratch)
        m_scratch = new QTableWidget(1, columnCount(), this);
    m_scratch->setVisible(false);
    m_scratch->setColumnCount(columnCount());
    fillRow(m_scratch, 0);
    const int sortColumn = horizontalHeader()->sortIndicatorSection();
    const RebuildSortScope scope(horizontalHeader()->sortIndicatorOrder());
    m_ordering = true;
    const int row = rowCount();
    insertRow(row);
    for (int column = 0; column < columnCount(); ++column) {
        if (column != sortColumn)
            setItem(row, column, m_scratch->takeItem(0, column));
    }
    setItem(row, sortColumn, m_scratch->takeItem(0, sortColumn));
    m_ordering = false;
}

void Quolix_TableWidget::ClearSelectionAndCurrent()
{
    if (QItemSelectionModel* selection = selectionModel())
        selection->clear();
}

void Quolix_TableWidget::SetRebuild(std::function<void()> rebuild)
{
    m_rebuild = std::move(rebuild);
}

bool Quolix_TableWidget::DeferWhileHidden()
{
    // A table hidden on purpose (not only by a hidden tab or window) is
    // rebuilt at once: the rebuild is what shows it again.
    const bool hiddenOnPurpose = isHidden() && testAttribute(Qt::WA_WState_ExplicitShowHide);
    if (isVisible() || hiddenOnPurpose || !m_rebuild) {
        m_rebuildPending = false; // the caller rebuilds now
        return false;
    }
    m_rebuildPending = true;
    ClearSelectionAndCurrent();
    return true;
}

// The rebuild waits until the show is over: rows made while the table is
// being shown are not painted. A tab switch rebuilds sooner, from the
// window's tab slot, and then nothing is left pending here.
void Quolix_TableWidget::showEvent(QShowEvent* event)
{
    QTableWidget::showEvent(event);
    if (!m_rebuildPending)
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (!m_rebuildPending || !isVisible())
                return;
            m_rebuildPending = false;
            m_rebuild();
        },
        Qt::QueuedConnection);
}

QStringList Quolix_TableWidget::LocalFilePaths(const QMimeData* mimeData)
{
    QStringList paths;
    if (!mimeData || !mimeData->hasUrls())
        return paths;
    const QList<QUrl> urls = mimeData->urls();
    for (const QUrl& url : urls) {
        if (url.isLocalFile() && !url.toLocalFile().isEmpty())
            paths.append(url.toLocalFile());
    }
    return paths;
}

// Only files are taken: a drag of rows inside the table moves nothing, since
// every change rebuilds the rows in the collection's order anyway.
void Quolix_TableWidget::dragEnterEvent(QDragEnterEvent* event)
{
    if (LocalFilePaths(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void Quolix_TableWidget::dragMoveEvent(QDragMoveEvent* event)
{
    if (LocalFilePaths(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void Quolix_TableWidget::dropEvent(QDropEvent* event)
{
    const QStringList files = LocalFilePaths(event->mimeData());
    if (files.isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    emit DropSignal(files);
}
