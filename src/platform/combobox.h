#pragma once

#include <QComboBox>

// A combo box whose entries can be disabled one by one; a disabled entry
// stays listed but cannot be chosen.
class Quolix_ComboBox : public QComboBox
{
    Q_OBJECT

public:
    explicit Quolix_ComboBox(QWidget* parent = nullptr, int contextMenuMode = 0);

    void setItemEnabled(int index, bool enabled);
    bool isItemEnabled(int index) const;
    void setCurrentIndex(int index);

    int ContextMenuMode() const { return m_contextMenuMode; }

private:
    int m_contextMenuMode;
};

// The options a file open carries along; only the first field is used.
struct Quolix_FileOpenData
{
    int m_fileOpenOptions = 0;
};
