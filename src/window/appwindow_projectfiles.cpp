#include "window/appwindow.h"

#include "app/globals.h"
#include "app/settings.h"
#include "console/console.h"
#include "console/console_worker.h"
#include "jobtypes/jobtype.h"
#include "jobtypes/jobtypeswidget.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"
#include "store/safesave.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>

#include <cstdio>
#include <limits>
#include <utility>

namespace {

const QString ProjectFileFilter = QStringLiteral("Tavrol Project Files (*.tvrl)");
const QString ProjectFileExtension = QStringLiteral(".tvrl");
constexpr int ProjectVersion = 2;
constexpr int RecentProjectsKept = 10;
// Job ids are ints: a project needs at least one id above its "LastJobID".
constexpr qulonglong HighestUsableLastJobID = std::numeric_limits<int>::max() - 1;

enum SaveAnswer
{
    SaveYes,
    SaveNo,
    SaveCancel
};

// A fresh memory database made current, with the project's file path.
Tavrol_Database* OpenFreshDatabase(const QString& filePath)
{
    Tavrol_Database* database =
        Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
    if (!database)
        return nullptr;
    database->FilePath = filePath;
    return database->Open() ? database : nullptr;
}

SaveAnswer AskOnConsole(const char* prompt)
{
    if (prompt) {
        std::fputs(prompt, stdout);
        std::fflush(stdout);
    }
    QString answer;
    Tavrol_Console_Worker::ReadConsoleLine(answer);
    answer = answer.toLower();
    if (answer == QLatin1String("yes"))
        return SaveYes;
    if (answer == QLatin1String("no"))
        return SaveNo;
    return SaveCancel;
}

SaveAnswer AskInWindow(QWidget* window, const QString& title, const QString& text,
                       QMessageBox::StandardButtons buttons)
{
    switch (QMessageBox::question(window, title, text, buttons, QMessageBox::Yes)) {
    case QMessageBox::Yes:
        return SaveYes;
    case QMessageBox::No:
        return SaveNo;
    default:
        return SaveCancel;
    }
}

// A stored "LastJobID" that is a whole number too large to leave a new id.
// Texts that are no such number (negatives, words) are no id at all and
// leave the id sequence as it is.
bool LeavesNoJobIDs(const QString& lastJobIDText)
{
    static const QRegularExpression wholeNumber(QStringLiteral("^\\s*\\+?[0-9]+\\s*$"));
    if (!wholeNumber.match(lastJobIDText).hasMatch())
        return false;
    bool isNumber = false;
    const qulonglong lastJobID = lastJobIDText.toULongLong(&isNumber, 10);
    return !isNumber || lastJobID > HighestUsableLastJobID; // not read: beyond 64 bits
}

bool StoreHoldsAnyRecord(Tavrol_Database& database)
{
    return !database.LoadJobTypes().empty() || !database.LoadFinishedJobs().empty() ||
           !database.LoadLongJobs().empty() || !database.LoadShortJobs().empty() ||
           !database.LoadQueuelessJobs().empty();
}

// The question and its words depend on the kind of database and whether the
// project has a file; the console asks by a printed prompt, with no window.
SaveAnswer AskToSave(QWidget* mainWindow, const Tavrol_Database& database)
{
    const bool unnamed = database.FilePath.isEmpty();
    if (!mainWindow) {
        if (database.DatabaseType == SQLiteFile ||
            (database.DatabaseType == SQLiteMemory && !unnamed))
            return AskOnConsole(
                "\n<Tavrol> Save Changes Made to Current Project Before Closing it?  ");
        if (database.DatabaseType == SQLiteMemory)
            return AskOnConsole("\n<Tavrol> Save Current Project to a File Before Closing it?  ");
        return AskOnConsole(nullptr); // no question for a server database, but a line is read
    }
    if (database.DatabaseType == SQLiteFile)
        return AskInWindow(mainWindow, QStringLiteral("Save Changes to Current Project?"),
                           QStringLiteral("Would you like to save changes to the current Tavrol "
                                          "project before closing it?\n\nIf you choose No, the "
                                          "changes to the database will be lost."),
                           QMessageBox::Yes | QMessageBox::No);
    if (database.DatabaseType != SQLiteMemory)
        return SaveCancel; // a modified server database cannot be closed this way
    if (unnamed)
        return AskInWindow(mainWindow, QStringLiteral("Save Current Project?"),
                           QStringLiteral("Would you like to save the current Tavrol project to "
                                          "a file before closing it?\n\nIf you choose No, the "
                                          "project will be lost."),
                           QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    return AskInWindow(mainWindow, QStringLiteral("Save Current Project?"),
                       QStringLiteral("Would you like to save changes made to the current Tavrol "
                                      "project before closing it?\n\nIf you choose No, the "
                                      "changes made to the project since the last save will be "
                                      "lost."),
                       QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
}

} // namespace

int Tavrol_AppWindow::SaveIfModified()
{
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database || !database->Modified)
        return ProjectNotSaved;
    const SaveAnswer answer = AskToSave(m_mainWindow, *database);
    if (answer == SaveYes && SaveProject())
        return ProjectSaved;
    if (answer == SaveNo)
        return ProjectNotSaved;
    m_cancelClose = true;
    return ProjectSaveCancelled;
}

bool Tavrol_AppWindow::OpenProject(const QString& path)
{
    if (path.isEmpty())
        return false;
    if (m_mainWindow && !ProjectFileUsable(path))
        return false;
    if (SaveIfModified() == ProjectSaveCancelled)
        return false;
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    SetLastDirectory(QFileInfo(path).absolutePath());
    Tavrol_Database* database = OpenFreshDatabase(path);
    if (!database) {
        manager->CloseAll();
        return false;
    }
    manager->LoadFromFile(path, database);
    database->Modified = false;
    if (!TakeLoadedProject())
        return false;
    AddToRecentProjects(path);
    return true;
}

// The version check, the job id sequence and the views, for a project just
// loaded into the current database. A project this program cannot use is
// closed, with no message.
bool Tavrol_AppWindow::TakeLoadedProject()
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    Tavrol_Database* database = manager->CurrentDatabase;
    if (!database)
        return false;
    QString versionText;
    bool isNumber = false;
    const bool versionRead = database->GetGeneralData(QStringLiteral("Version"), versionText);
    const int version = versionText.toInt(&isNumber, 10);
    if (!versionRead || !isNumber || version != ProjectVersion) {
        manager->CloseAll();
        return false;
    }
    QString lastJobIDText;
    if (database->GetGeneralData(QStringLiteral("LastJobID"), lastJobIDText)) {
        // Every new job would be dropped for want of an id: refused like
        // another version.
        if (LeavesNoJobIDs(lastJobIDText)) {
            manager->CloseAll();
            return false;
        }
        const int lastJobID = lastJobIDText.toInt(&isNumber, 10);
        if (isNumber && lastJobID >= 0)
            JobIDManager = Quolix_IDManager(lastJobID, 1);
    }
    ReloadLongQueue();
    ReloadShortQueue();
    ReloadFinishedJobs();
    ReloadJobTypes();
    return true;
}

// The window checks the file before it lets go of the current project; the
// console does not, since the command line has tested it already.
bool Tavrol_AppWindow::ProjectFileUsable(const QString& path) const
{
    const QFileInfo file(path);
    QString problem;
    if (!file.exists())
        problem = QStringLiteral("The specified file does not exist:\n\n%1");
    else if (!file.isReadable())
        problem = QStringLiteral("The specified file is not readable:\n\n%1");
    else if (!file.isWritable())
        problem = QStringLiteral("The specified file is not writable:\n\n%1");
    if (problem.isEmpty())
        return true;
    QMessageBox::warning(m_mainWindow, QStringLiteral("Opening a Tavrol Project File"),
                         problem.arg(path), QMessageBox::Ok);
    return false;
}

void Tavrol_AppWindow::NewProject(const QString& path)
{
    if (SaveIfModified() == ProjectSaveCancelled)
        return;
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables())
        return;
    database->SetGeneralData(QStringLiteral("Version"), QString::number(ProjectVersion));
    database->FilePath = path;
    database->AddQueue(QStringLiteral("Long"), 1, nullptr);
    database->AddQueue(QStringLiteral("Short"), 1, nullptr);
    Tavrol_JobType::AddDefaults();
    if (Tavrol_Database* current = Tavrol_Database_Manager::Current())
        current->Modified = false;
    ReloadLongQueue();
    ReloadShortQueue();
    ReloadFinishedJobs();
    ReloadJobTypes();
    if (!path.isEmpty() && QFile::exists(path))
        Tavrol_Settings().setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath),
                                   QFileInfo(path).absolutePath());
}

bool Tavrol_AppWindow::SaveProject()
{
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database)
        return false;
    QString path = database->FilePath;
    if (!QFile::exists(path))
        path.clear(); // a project whose file has vanished is saved as a new one
    if (path.isEmpty())
        path = AskProjectFilePath();
    if (path.isEmpty())
        return false;
    return WriteProject(path);
}

bool Tavrol_AppWindow::SaveProjectAs()
{
    if (!Tavrol_Database_Manager::Current())
        return false;
    const QString path = AskProjectFilePath();
    if (path.isEmpty())
        return false;
    return WriteProject(path);
}

// Only the window can ask; the console has no way to name a new file.
QString Tavrol_AppWindow::AskProjectFilePath() const
{
    if (!m_mainWindow)
        return QString();
    return WithProjectExtension(
        QFileDialog::getSaveFileName(m_mainWindow, QStringLiteral("Specify a Tavrol Project File"),
                                     QDir::currentPath(), ProjectFileFilter));
}

QString Tavrol_AppWindow::WithProjectExtension(const QString& typed)
{
    QString path = typed.trimmed();
    if (path.isEmpty())
        return QString();
    if (!path.endsWith(ProjectFileExtension, Qt::CaseInsensitive))
        path += ProjectFileExtension;
    return path;
}

// Every save ends by loading the file just written into a new memory
// database, so what is worked on afterwards is what the file holds.
//
// The file is replaced only by a complete copy, and a file that is no project
// is kept under a backup name first. A save that fails keeps the project in
// memory as it is and says why.
bool Tavrol_AppWindow::WriteProject(const QString& path)
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    const Tavrol_SafeSaveResult saved =
        Tavrol_SafeSave::SaveDatabase(Tavrol_Database_Manager::Current(), path);
    if (!saved.Saved) {
        ReportSaveFailure(path, saved.Problem);
        return false;
    }
    if (!saved.BackupPath.isEmpty())
        ReportBackup(saved.BackupPath);
    manager->CloseAll();
    SetLastDirectory(QFileInfo(path).absolutePath());
    Tavrol_Database* database = OpenFreshDatabase(path);
    if (!database)
        return false;
    manager->LoadFromFile(path, database);
    database->Modified = false;
    AddToRecentProjects(path);
    UpdateCaption();
    // The file now holds everything: the copy goes, also under a new name.
    if (m_recovery)
        m_recovery->WriteNow();
    return true;
}

void Tavrol_AppWindow::ReportSaveFailure(const QString& path, const QString& problem) const
{
    if (m_mainWindow) {
        QMessageBox::warning(m_mainWindow, QStringLiteral("Saving a Tavrol Project File"),
                             QStringLiteral("The project could not be saved to:\n\n%1\n\n(%2)\n\n"
                                            "The project stays open: nothing was lost.")
                                 .arg(path, problem),
                             QMessageBox::Ok);
        return;
    }
    std::printf("<Tavrol> The project could not be saved to %s (%s); it stays open, nothing "
                "was lost.\n",
                path.toLocal8Bit().constData(), problem.toLocal8Bit().constData());
    std::fflush(stdout);
}

void Tavrol_AppWindow::ReportBackup(const QString& backupPath) const
{
    if (m_mainWindow) {
        QMessageBox::information(m_mainWindow, QStringLiteral("Saving a Tavrol Project File"),
                                 QStringLiteral("The file was not a Tavrol project. It is kept "
                                                "as:\n\n%1")
                                     .arg(backupPath),
                                 QMessageBox::Ok);
        return;
    }
    std::printf("<Tavrol> The file was not a Tavrol project; it is kept as %s\n",
                backupPath.toLocal8Bit().constData());
    std::fflush(stdout);
}

void Tavrol_AppWindow::UpdateCaption()
{
    QString caption = TitleText();
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        if (database->DatabaseType != SQLiteMemory)
            caption += QStringLiteral(", ") + database->DatabaseName;
        else if (!database->FilePath.isEmpty())
            caption += QStringLiteral(", ") + database->FilePath;
        else if (StoreHoldsAnyRecord(*database))
            caption += QStringLiteral(", Unsaved Project");
        else
            caption += QStringLiteral(", New Project");
    }
    if (m_mainWindow)
        m_mainWindow->setWindowTitle(caption);
    else if (m_console)
        m_console->SetTitle(caption);
}

void Tavrol_AppWindow::AddToRecentProjects(const QString& path)
{
    Tavrol_Settings settings;
    const QString key = Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentProjects);
    const QStringList old = settings.value(key).toStringList();
    QStringList recent{path};
    for (const QString& entry : old) {
        if (recent.size() >= RecentProjectsKept)
            break;
        if (entry != path)
            recent.append(entry);
    }
    settings.setValue(key, recent);
}

void Tavrol_AppWindow::SetLastDirectory(const QString& path)
{
    Tavrol_Settings().setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath), path);
    QDir::setCurrent(path);
}

namespace {

using JobsLoader = std::vector<Tavrol_Job> (Tavrol_Database::*)();

// A project that brings jobs brings its queue paused; one without jobs leaves
// the queue as it was.
void ReloadQueue(Tavrol_JobsQueueWidget* view, const QString& queueName, JobsLoader loadJobs)
{
    if (!view)
        return;
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database) {
        view->ClearJobs();
        return;
    }
    const int maximum = database->GetQueueMaxRunningJobs(queueName);
    if (maximum >= 0)
        view->SetMaxRunningJobs(maximum);
    const std::vector<Tavrol_Job> jobs = (database->*loadJobs)();
    if (jobs.empty())
        view->ClearJobs();
    else
        view->LoadJobs(jobs);
}

} // namespace

void Tavrol_AppWindow::ReloadLongQueue()
{
    ReloadQueue(m_longView, QStringLiteral("Long"), &Tavrol_Database::LoadLongJobs);
}

void Tavrol_AppWindow::ReloadShortQueue()
{
    ReloadQueue(m_shortView, QStringLiteral("Short"), &Tavrol_Database::LoadShortJobs);
}

void Tavrol_AppWindow::ReloadFinishedJobs()
{
    if (!m_finishedView)
        return;
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    Tavrol_FinishedJobsList jobs;
    if (database)
        database->LoadFinishedJobs(jobs);
    if (jobs.empty())
        m_finishedView->Clear();
    else
        m_finishedView->TakeJobs(std::move(jobs));
}

void Tavrol_AppWindow::ReloadJobTypes()
{
    Tavrol_JobType::ReloadFromStore();
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    if (m_submitButton)
        m_submitButton->setEnabled(!jobTypes.empty());
    if (m_jobTypesView)
        m_jobTypesView->Refresh();
}

// Kept for completeness: nothing calls it, so a project's stored queueless
// rows are never brought back into the list.
void Tavrol_AppWindow::ReloadQueuelessList()
{
    if (!m_queuelessView)
        return;
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    const std::vector<Tavrol_Job> jobs =
        database ? database->LoadQueuelessJobs() : std::vector<Tavrol_Job>();
    if (jobs.empty())
        m_queuelessView->ClearJobs();
    else
        m_queuelessView->LoadJobs(jobs);
}
