#pragma once

#include <QStringList>
#include <QTableWidget>
#include <QTableWidgetItem>
#include <QVariant>

#include <functional>

class QMimeData;

// A cell of the views' tables: it shows one value, sorts by a second value of
// the same type (so numbers sort as numbers) and carries the index of its
// row's entry in the view's collection, which is how a sorted row finds its
// entry again.
class Quolix_TableWidgetItem : public QTableWidgetItem
{
public:
    // The role under which a cell carries its entry's index.
    static constexpr int ItemDataRole = Qt::UserRole + 2;
    static constexpr int ItemType = QTableWidgetItem::UserType + 2;

    Quolix_TableWidgetItem(const QVariant& value, const QVariant& sortValue, int itemData,
                           int alignment, bool editable);

    // Makes the cell and places it at row and column of the table.
    static Quolix_TableWidgetItem* AddItemToTable(QTableWidget* table, int row, int column,
                                                  const QVariant& value, const QVariant& sortValue,
                                                  int itemData, int alignment, bool editable);

    QVariant data(int role) const override;
    void setData(int role, const QVariant& value) override;
    bool operator<(const QTableWidgetItem& other) const override;
    QTableWidgetItem* clone() const override;

    const QVariant& SortValue() const { return m_sortValue; }
    int ItemData() const { return m_itemData; }

    // Negative, zero or positive as a sorts before, with or after b.
    static int CompareSortValues(const QVariant& a, const QVariant& b);

private:
    // Kept as members rather than in the base's list of roles: a table of a
    // long history holds a million cells.
    QVariant m_value;
    QVariant m_sortValue;
    int m_itemData;
    int m_alignment;
};

// The table of every view. Files dropped on it are handed on by DropSignal,
// never inserted as cells. It also carries what the views need to rebuild
// large tables quickly: a fill with one change notice instead of one per
// cell, a sort that orders equal values as a whole rebuild would, and the
// deferral of rebuilds while the table is not on screen.
class Quolix_TableWidget : public QTableWidget
{
    Q_OBJECT

public:
    Quolix_TableWidget(bool editable, int rows, int columns, QWidget* parent = nullptr);

    // A selection looks the same whether or not the table has focus.
    void UseActiveHighlightWhenInactive();

    // The column headers, a sort indicator on sortColumn (ascending), the
    // last column stretched, and whole rows selected in the given mode: the
    // set-up that every view's table shares.
    void SetUpColumnsAndRows(const QStringList& headers, int sortColumn,
                             QAbstractItemView::SelectionMode selectionMode);

    // The index an entry's cell carries, or -1 when the cell is missing.
    int ItemDataAt(int row, int column) const;
    static int ItemDataOf(const QTableWidgetItem* item);

    // The first step of every rebuild: no contents, no rows, sorting off.
    void ClearRows();
    // Adds count rows after the present ones, sorting being off; fillRow is
    // called with each new row's number.
    void AppendRows(int count, const std::function<void(int row)>& fillRow);
    // Switches sorting on. Rows with equal values in the sort column keep the
    // order of their entries, as after a rebuild that filled them in entry
    // order, whatever order an earlier sort left them in.
    void SortAsRebuilt();
    // True while sorting is on and the rows stand in the order SortAsRebuilt
    // gives; a sort of anyone else's (the user's header click) ends it.
    bool InRebuildOrder() const { return isSortingEnabled() && m_inRebuildOrder; }
    // With InRebuildOrder: adds one row where SortAsRebuilt would place it,
    // without sorting the others again. fillRow writes the row's cells into
    // the table and row it is given.
    void InsertRowInOrder(const std::function<void(QTableWidget* table, int row)>& fillRow);
    // No selected rows and no current cell, as after a rebuild.
    void ClearSelectionAndCurrent();

    // The view's rebuild, run when the table comes on screen after a change
    // was deferred while it was hidden.
    void SetRebuild(std::function<void()> rebuild);
    // True while the table is not on screen: the rebuild waits until it is
    // shown, and meanwhile the table keeps no selection.
    bool DeferWhileHidden();
    bool RebuildPending() const { return m_rebuildPending; }

    // The local paths among the URLs of a drag; remote URLs are left out.
    static QStringList LocalFilePaths(const QMimeData* mimeData);

signals:
    void DropSignal(const QStringList& files);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void LayoutChangedSlot();

    std::function<void()> m_rebuild;
    bool m_rebuildPending = false;
    bool m_inRebuildOrder = false;
    bool m_ordering = false;           // a sort or insertion of this class's own runs
    QTableWidget* m_scratch = nullptr; // one row, where InsertRowInOrder fills
};
