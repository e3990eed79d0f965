#include "views/jobviewers.h"

#include "app/globals.h"
#include "platform/filestreamviewer.h"
#include "window/appwindow.h"

#include <QMainWindow>

#include <memory>

namespace {

const QString ViewerName = QStringLiteral("File Stream Viewer");

QWidget* ViewerParent()
{
    return TavrolAppWindow ? TavrolAppWindow->MainWindow() : nullptr;
}

Quolix_FileStreamViewer* StartViewer(std::unique_ptr<Quolix_FileStreamViewer> viewer)
{
    if (QWidget* parent = ViewerParent())
        viewer->setWindowIcon(parent->windowIcon());
    if (!viewer->Start())
        return nullptr;      // deleted on the way out
    return viewer.release(); // owned by its parent, and deletes itself on close
}

} // namespace

namespace Tavrol_JobViewers {

Quolix_FileStreamViewer* OpenFile(const QString& filePath, const QString& title, int periodMs)
{
    return StartViewer(std::make_unique<Quolix_FileStreamViewer>(
        true, ViewerParent(), filePath, title, true, periodMs, true, true, ViewerName));
}

Quolix_FileStreamViewer* OpenProcess(QProcess* process, const QString& title)
{
    return StartViewer(std::make_unique<Quolix_FileStreamViewer>(
        true, ViewerParent(), process, title, true, FollowPeriodMs, true, true, ViewerName));
}

Quolix_FileStreamViewer* OpenText(const QString& title, const QString& text)
{
    Quolix_FileStreamViewer* viewer = OpenFile(QString(), title, OnceOnly);
    if (viewer)
        viewer->AppendLine(text, false);
    return viewer;
}

} // namespace Tavrol_JobViewers
