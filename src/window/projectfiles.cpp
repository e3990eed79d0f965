#include "window/appwindow.h"

#include "app/globals.h"
#include "console/console.h"
#include "jobtypes/jobtype.h"

#include <QMainWindow>

// Early version: the store comes in the following commits.

int Tavrol_AppWindow::SaveIfModified()
{
    return 1;
}

bool Tavrol_AppWindow::OpenProject(const QString&)
{
    return false;
}

void Tavrol_AppWindow::NewProject(const QString&) {}

bool Tavrol_AppWindow::SaveProject()
{
    return false;
}

bool Tavrol_AppWindow::SaveProjectAs()
{
    return false;
}

void Tavrol_AppWindow::UpdateCaption()
{
    const QString caption = TitleText() + QStringLiteral(", New Project");
    if (m_console)
        m_console->SetTitle(caption);
    else if (m_mainWindow)
        m_mainWindow->setWindowTitle(caption);
}

void Tavrol_AppWindow::AddToRecentProjects(const QString&) {}

void Tavrol_AppWindow::SetLastDirectory(const QString&) {}

void Tavrol_AppWindow::ReloadLongQueue() {}

void Tavrol_AppWindow::ReloadShortQueue() {}

void Tavrol_AppWindow::ReloadFinishedJobs() {}

void Tavrol_AppWindow::ReloadJobTypes()
{
    Tavrol_JobType::ReloadFromStore();
}

void Tavrol_AppWindow::ReloadQueuelessList() {}
