#pragma once

#include <QStringList>
#include <QTreeWidget>
#include <QTreeWidgetItem>

// A row of a Quolix_TreeWidget. It orders rows by the sort column's values
// as what they read as: an explicit integer key, then a date, an integer, a
// double, and only then plain text, so sizes and dates held as text still
// sort by value.
class Quolix_TreeWidgetItem : public QTreeWidgetItem
{
public:
    // The format of the date columns, which operator< reads back.
    static const QString DateFormat;

    explicit Quolix_TreeWidgetItem(QTreeWidget* parent);
    ~Quolix_TreeWidgetItem() override;

    bool operator<(const QTreeWidgetItem& other) const override;

    // A free tag for the owner of the tree; nothing here reads it.
    int m_tag = -1;
};

// A tree that tells three things its owner needs apart: files dropped from
// outside (DropSignal with their local paths, never inserted as rows), rows
// moved by an internal drag (ItemsMovedSignal) and a closed item editor.
class Quolix_TreeWidget : public QTreeWidget
{
    Q_OBJECT

public:
    explicit Quolix_TreeWidget(QWidget* parent = nullptr);

signals:
    void DropSignal(const QStringList& files);
    void ItemsMovedSignal();
    void ItemEditorClosedSignal();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint) override;
};
