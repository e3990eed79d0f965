#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class QBoxLayout;
class QFileDialog;
class QPushButton;
class QWidget;

// Small helpers the dialogs share: lined-up labels, the file browser's
// places, and a window's geometry kept between runs.
class Quolix_WidgetUtil
{
public:
    // Gives every widget the minimum width of the widest. With
    // useSizeHint the widths compared are the widgets' size hints, which for
    // a label include its trailing blanks; otherwise their minimum size hints.
    static void MatchMinimumWidths(bool useSizeHint, const QList<QWidget*>& widgets);

    // The foot of a plain dialog: a sunken line, then the buttons centred
    // between two stretches and a hidden size grip at the bottom right.
    static void AddButtonRow(QBoxLayout& layout, QWidget& dialog,
                             const QList<QPushButton*>& buttons);

    // Adds the scratch directory and the recent directories, those that
    // exist and are not offered already, to the file dialog's sidebar.
    static void PrepQFileDialog(QFileDialog& dialog, const QString& scratchDirectory,
                                const QStringList& recentDirs);

    // Keeps a window's geometry under section and keyPrefix + "Geometry" of
    // the retained user data. Loading a value that is missing or does not
    // parse leaves the window as it is.
    static bool LoadWindowSettings(QWidget& window, const QString& section,
                                   const QString& keyPrefix);
    static bool SaveWindowSettings(const QWidget& window, const QString& section,
                                   const QString& keyPrefix);
};
