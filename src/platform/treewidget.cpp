#include "platform/treewidget.h"

#include "platform/tablewidget.h"

#include <QDateTime>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>

const QString Quolix_TreeWidgetItem::DateFormat = QStringLiteral("ddd MMM d yyyy, h:mm:ss ap");

Quolix_TreeWidgetItem::Quolix_TreeWidgetItem(QTreeWidget* parent) : QTreeWidgetItem(parent) {}

Quolix_TreeWidgetItem::~Quolix_TreeWidgetItem() = default;

namespace {

template <typename T, typename Convert>
bool CompareConverted(const QString& a, const QString& b, Convert convert, bool& less)
{
    bool okA = false;
    bool okB = false;
    const T valueA = convert(a, &okA);
    const T valueB = convert(b, &okB);
    if (!okA || !okB)
        return false;
    less = valueA < valueB;
    return true;
}

bool CompareDates(const QString& a, const QString& b, bool& less)
{
    const QDateTime dateA = QDateTime::fromString(a, Quolix_TreeWidgetItem::DateFormat);
    if (!dateA.isValid())
        return false;
    const QDateTime dateB = QDateTime::fromString(b, Quolix_TreeWidgetItem::DateFormat);
    if (!dateB.isValid())
        return false;
    less = dateA < dateB;
    return true;
}

} // namespace

bool Quolix_TreeWidgetItem::operator<(const QTreeWidgetItem& other) const
{
    const QTreeWidget* tree = treeWidget();
    const int column = tree ? tree->sortColumn() : 0;
    bool less = false;
    bool okA = false;
    bool okB = false;
    const int keyA = data(column, Qt::UserRole + 1).toInt(&okA);
    const int keyB = other.data(column, Qt::UserRole + 1).toInt(&okB);
    if (okA && okB)
        return keyA < keyB;
    const QString a = text(column);
    const QString b = other.text(column);
    if (CompareDates(a, b, less))
        return less;
    const auto toInt = [](const QString& s, bool* ok) { return s.toInt(ok, 10); };
    if (CompareConverted<int>(a, b, toInt, less))
        return less;
    const auto toDouble = [](const QString& s, bool* ok) { return s.toDouble(ok); };
    if (CompareConverted<double>(a, b, toDouble, less))
        return less;
    return a < b;
}

Quolix_TreeWidget::Quolix_TreeWidget(QWidget* parent) : QTreeWidget(parent) {}

void Quolix_TreeWidget::dragEnterEvent(QDragEnterEvent* event)
{
    // The internal-move mode refuses drags from elsewhere; files from a file
    // manager are let in here and handed on at the drop.
    if (!Quolix_TableWidget::LocalFilePaths(event->mimeData()).isEmpty()) {
        event->acceptProposedAction();
        return;
    }
    QTreeWidget::dragEnterEvent(event);
}

void Quolix_TreeWidget::dragMoveEvent(QDragMoveEvent* event)
{
    if (!Quolix_TableWidget::LocalFilePaths(event->mimeData()).isEmpty()) {
        event->acceptProposedAction();
        return;
    }
    QTreeWidget::dragMoveEvent(event);
}

void Quolix_TreeWidget::dropEvent(QDropEvent* event)
{
    const QStringList files = Quolix_TableWidget::LocalFilePaths(event->mimeData());
    if (!files.isEmpty()) {
        event->acceptProposedAction();
        emit DropSignal(files);
        return;
    }
    // Anything else is one of this tree's own rows: the internal-move mode
    // lets no other drag reach the drop.
    QTreeWidget::dropEvent(event);
    emit ItemsMovedSignal();
}

void Quolix_TreeWidget::closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint)
{
    QTreeWidget::closeEditor(editor, hint);
    emit ItemEditorClosedSignal();
}
