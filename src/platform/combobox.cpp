#include "platform/combobox.h"

#include <QStandardItemModel>

Quolix_ComboBox::Quolix_ComboBox(QWidget* parent, int contextMenuMode)
    : QComboBox(parent), m_contextMenuMode(contextMenuMode)
{
}

void Quolix_ComboBox::setItemEnabled(int index, bool enabled)
{
    auto* model = qobject_cast<QStandardItemModel*>(this->model());
    QStandardItem* item = model ? model->item(index) : nullptr;
    if (item)
        item->setEnabled(enabled);
}

bool Quolix_ComboBox::isItemEnabled(int index) const
{
    const auto* model = qobject_cast<const QStandardItemModel*>(this->model());
    const QStandardItem* item = model ? model->item(index) : nullptr;
    return item && item->isEnabled();
}

void Quolix_ComboBox::setCurrentIndex(int index)
{
    QComboBox::setCurrentIndex(index);
}
