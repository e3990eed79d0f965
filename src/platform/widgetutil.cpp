#include "platform/widgetutil.h"

#include "platform/registry.h"

#include <QByteArray>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QList>
#include <QPushButton>
#include <QSizeGrip>
#include <QUrl>
#include <QWidget>

#include <algorithm>

namespace {

QString GeometryKey(const QString& keyPrefix)
{
    return keyPrefix + QStringLiteral("Geometry");
}

} // namespace

void Quolix_WidgetUtil::MatchMinimumWidths(bool useSizeHint, const QList<QWidget*>& widgets)
{
    int width = 0;
    for (const QWidget* widget : widgets) {
        if (widget)
            width = std::max(width, useSizeHint ? widget->sizeHint().width()
                                                : widget->minimumSizeHint().width());
    }
    for (QWidget* widget : widgets) {
        if (widget)
            widget->setMinimumWidth(width);
    }
}

void Quolix_WidgetUtil::AddButtonRow(QBoxLayout& layout, QWidget& dialog,
                                     const QList<QPushButton*>& buttons)
{
    auto* separator = new QFrame(&dialog);
    separator->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    layout.addWidget(separator);

    auto* row = new QHBoxLayout();
    row->addStretch(1);
    for (QPushButton* button : buttons)
        row->addWidget(button);
    row->addStretch(1);
    auto* grip = new QSizeGrip(&dialog);
    grip->hide();
    row->addWidget(grip, 0, Qt::AlignBottom);
    layout.addLayout(row);
}

void Quolix_WidgetUtil::PrepQFileDialog(QFileDialog& dialog, const QString& scratchDirectory,
                                        const QStringList& recentDirs)
{
    QList<QUrl> places = dialog.sidebarUrls();
    const auto offer = [&places](const QString& path) {
        if (path.isEmpty() || !QFileInfo(path).isDir())
            return;
        const QUrl url = QUrl::fromLocalFile(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
        if (!places.contains(url))
            places.append(url);
    };
    offer(scratchDirectory);
    for (const QString& dir : recentDirs)
        offer(dir);
    dialog.setSidebarUrls(places);
}

bool Quolix_WidgetUtil::LoadWindowSettings(QWidget& window, const QString& section,
                                           const QString& keyPrefix)
{
    QString stored;
    if (!Quolix_Registry::GetAppUserData(section, GeometryKey(keyPrefix), stored))
        return false;
    const QByteArray geometry = QByteArray::fromBase64(stored.toLatin1());
    return !geometry.isEmpty() && window.restoreGeometry(geometry);
}

bool Quolix_WidgetUtil::SaveWindowSettings(const QWidget& window, const QString& section,
                                           const QString& keyPrefix)
{
    const QString geometry = QString::fromLatin1(window.saveGeometry().toBase64());
    return Quolix_Registry::PutAppUserData(section, GeometryKey(keyPrefix), geometry);
}
