#pragma once

// Helpers of the table tests: a view's frame shown on its own, and a table's
// column read in the shown order.

#include "platform/tablewidget.h"

#include <QFrame>
#include <QHeaderView>
#include <QStringList>
#include <QTableWidget>
#include <QTest>

#include <vector>

namespace TableTest {

// Shows a view's frame as a window of its own, wherever it was placed, and
// waits until it is on screen.
inline bool ShowAlone(QFrame* frame)
{
    frame->setParent(nullptr);
    frame->resize(900, 500);
    frame->show();
    return QTest::qWaitForWindowExposed(frame);
}

inline QStringList HeaderTexts(const QTableWidget& table)
{
    QStringList texts;
    for (int column = 0; column < table.columnCount(); ++column) {
        const QTableWidgetItem* item = table.horizontalHeaderItem(column);
        texts.append(item ? item->text() : QString());
    }
    return texts;
}

inline QStringList Column(const QTableWidget& table, int column)
{
    QStringList texts;
    for (int row = 0; row < table.rowCount(); ++row) {
        const QTableWidgetItem* item = table.item(row, column);
        texts.append(item ? item->text() : QStringLiteral("<none>"));
    }
    return texts;
}

// The item data of a column's cells, in the shown order.
inline std::vector<int> ItemData(const QTableWidget& table, int column = 0)
{
    std::vector<int> indexes;
    for (int row = 0; row < table.rowCount(); ++row)
        indexes.push_back(Quolix_TableWidget::ItemDataOf(table.item(row, column)));
    return indexes;
}

inline bool NoSelection(const QTableWidget& table)
{
    return table.selectedItems().isEmpty() && table.currentRow() < 0;
}

} // namespace TableTest
