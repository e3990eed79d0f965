#include "window/appwindow.h"

#include "app/globals.h"
#include "app/settings.h"
#include "console/console_worker.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"

#include <QFile>
#include <QFileInfo>
#include <QMainWindow>
#include <QMessageBox>

#include <cstdio>

namespace {

const char* const RecoveryConsoleQuestion =
    "\n<Tavrol> Recover the Changes Kept When Tavrol Last Ended Unexpectedly?  ";

bool AskToRecover(QWidget* mainWindow)
{
    if (mainWindow)
        return QMessageBox::question(
                   mainWindow, QStringLiteral("Recover Project?"),
                   QStringLiteral("Tavrol did not end normally the last time it worked on this "
                                  "project, and a recovery copy of the project was kept.\n\n"
                                  "Would you like to recover it?\n\nIf you choose No, the "
                                  "recovery copy will be deleted."),
                   QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) == QMessageBox::Yes;
    std::fputs(RecoveryConsoleQuestion, stdout);
    std::fflush(stdout);
    QString answer;
    Tavrol_Console_Worker::ReadConsoleLine(answer);
    return answer.trimmed().toLower() == QLatin1String("yes");
}

} // namespace

bool Tavrol_AppWindow::RecoveryWanted()
{
    if (NoRecovery)
        return false;
    return Tavrol_Settings()
        .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecoveryCopies), true)
        .toBool();
}

// At start, before the project is opened: a copy left by a process that
// ended abnormally is offered. True when it became the current project.
bool Tavrol_AppWindow::OfferRecovery(const QString& projectPath)
{
    if (!RecoveryWanted())
        return false;
    if (!m_recovery)
        m_recovery = new Tavrol_RecoveryCopy(this);
    // Another running instance on the same project keeps its copy to itself.
    if (!m_recovery->Claim(projectPath) || !m_recovery->HasCopy())
        return false;
    if (AskToRecover(m_mainWindow) && RecoverProject(projectPath, m_recovery->CopyPath()))
        return true;
    m_recovery->Discard();
    return false;
}

// The copy becomes the current project under the project's own file path,
// modified, so that the save question follows at exit. Jobs of the queues
// come back Pending in paused queues; queueless jobs, which no queue could
// hold back, become finished records with the status "Unknown".
bool Tavrol_AppWindow::RecoverProject(const QString& projectPath, const QString& copyPath)
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    if (!projectPath.isEmpty() && QFile::exists(projectPath))
        SetLastDirectory(QFileInfo(projectPath).absolutePath());
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database)
        return false;
    database->FilePath = projectPath;
    if (!database->Open() || !manager->LoadFromFile(copyPath, database)) {
        manager->CloseAll();
        return false;
    }
    if (!TakeLoadedProject())
        return false;
    EndQueuelessJobsOfCrash();
    if (!projectPath.isEmpty() && QFile::exists(projectPath))
        AddToRecentProjects(projectPath);
    if (Tavrol_Database* current = Tavrol_Database_Manager::Current())
        current->Modified = true;
    return true;
}

void Tavrol_AppWindow::EndQueuelessJobsOfCrash()
{
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database || !m_finishedView)
        return;
    for (Tavrol_Job& job : database->LoadQueuelessJobs()) {
        job.Status = JobStatusUnknown;
        m_finishedView->AddJob(job);
        database->DeleteQueuelessJob(job.JobID);
    }
}
