#include "views/jobswidget.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "jobs/jobscollection.h"
#include "jobs/jobsqueue.h"
#include "jobs/queueid.h"
#include "jobtypes/jobtype.h"
#include "platform/collection.h"
#include "platform/computerdata.h"
#include "platform/error.h"
#include "platform/helpdialog.h"
#include "platform/process.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "store/steadylocalzone.h"
#include "views/jobviewers.h"
#include "views/listing.h"
#include "window/appwindow.h"

#include "store/database.h"
#include "store/database_manager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFrame>
#include <QHostAddress>
#include <QHostInfo>
#include <QInputDialog>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QWidget>

#include <algorithm>

namespace {

Tavrol_FinishedJobsWidget* FinishedJobsView()
{
    return TavrolAppWindow ? TavrolAppWindow->FinishedJobsView() : nullptr;
}

Tavrol_RunningJobsWidget* RunningJobsView()
{
    return TavrolAppWindow ? TavrolAppWindow->RunningJobsView() : nullptr;
}

const int MaximumNamesListed = 10;

} // namespace

Tavrol_JobsWidget::Tavrol_JobsWidget(const Tavrol_JobsWidgetFamily& family, QWidget* parent)
    : QObject(nullptr), m_family(family)
{
    if (IsGUIRunMode())
        m_frame = new QFrame(parent);
}

Tavrol_JobsWidget::~Tavrol_JobsWidget()
{
    if (m_frame) {
        m_frame->setVisible(false);
        delete m_frame;
        m_frame = nullptr;
    }
}

void Tavrol_JobsWidget::FinishConstruction()
{
    BuildTable();
    RebuildTable();
}

void Tavrol_JobsWidget::DeleteRemainingJobs()
{
    std::vector<Tavrol_Job*> jobs;
    Collection().Jobs(jobs);
    for (Tavrol_Job* job : jobs)
        delete job;
}

std::vector<Tavrol_Job*> Tavrol_JobsWidget::CurrentJobs() const
{
    std::vector<Tavrol_Job*> jobs;
    Collection().Jobs(jobs);
    return jobs;
}

void Tavrol_JobsWidget::ReleaseJobsThatLeft(const std::vector<Tavrol_Job*>& before)
{
    const std::vector<Tavrol_Job*> after = CurrentJobs();
    for (Tavrol_Job* job : before) {
        if (std::find(after.begin(), after.end(), job) == after.end())
            ReleaseJob(job);
    }
}

void Tavrol_JobsWidget::ReleaseJob(Tavrol_Job* job)
{
    // A job that still runs is deleted once its end has been delivered; the
    // end goes on using the job after its finished signal, hence the deferral.
    // Until then the view holds it as a child, so that a job whose end never
    // comes (killed at exit) goes with the view.
    if (job->Status == JobStatusRunning && job->Process) {
        job->setParent(this);
        QObject::connect(job, &Tavrol_Job::JobFinishedSignal, job, &QObject::deleteLater,
                         Qt::UniqueConnection);
    } else
        job->deleteLater();
}

void Tavrol_JobsWidget::AddJobFromFile(const QString& filePath, int jobTypeId)
{
    if (filePath.isEmpty() || !QFile::exists(filePath))
        return;
    const QString trimmed = filePath.trimmed();
    if (trimmed.isEmpty())
        return;
    const QString path = QDir::toNativeSeparators(QDir::cleanPath(trimmed));
    // Every new job stamps several local times; the zone is read once.
    const Tavrol_SteadyLocalZone steadyZone;

    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    if (jobTypes.empty())
        return;

    Tavrol_JobType chosen;
    const int found = Tavrol_JobType::IndexForFile(jobTypes, path, jobTypeId);
    if (found >= 0)
        chosen = jobTypes[static_cast<size_t>(found)];
    if (!chosen.IsValid()) {
        if (IsGUIRunMode())
            Quolix_Error::ReportError(QStringLiteral("Invalid Job Type"),
                                      QStringLiteral("Job Type ") + chosen.Name +
                                          QStringLiteral(" is invalid."));
        return;
    }

    const int jobId = JobIDManager.NewID();
    QString name = QFileInfo(path).fileName();
    if (name.isEmpty())
        name = QString::number(jobId);
    const bool console = IsConsoleRunMode();
    auto* job = new Tavrol_Job(name, chosen, QHostInfo::localHostName(), ClientName(),
                               QHostAddress(QHostAddress::LocalHost).toString(),
                               console ? Quolix_ComputerData::TavrolConsolePortNumber()
                                       : Quolix_ComputerData::TavrolGUIPortNumber(),
                               Quolix_ComputerData::UID(), Quolix_ComputerData::GID(),
                               m_family.QueueID, Tavrol_QueueID::JobQueueName(m_family.QueueID),
                               path, QString(), jobId, QString());
    if (!job->IsValid()) {
        delete job;
        return;
    }
    AddJob(job);
}

void Tavrol_JobsWidget::AddJob(Tavrol_Job* job)
{
    // The job may be running before its row exists in the store.
    Collection().AddJob(job);
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        AddStoreRow(*database, *job);
        database->SetGeneralData(QStringLiteral("LastJobID"), QString::number(job->JobID));
    }
    RebuildTable();
}

void Tavrol_JobsWidget::ClearJobs()
{
    ChangeCollection([this] { Collection().RemoveAllJobs(); });
    RebuildTable();
}

void Tavrol_JobsWidget::SweepFinishedJobs()
{
    if (m_removing)
        return;
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    // Ended jobs leave in the order of the list, each found through the
    // collection's record of endings; the removal's own update signal runs a
    // nested pass that takes the ones behind it first.
    for (int i = Collection().FirstEndedIndex(); i >= 0; i = Collection().FirstEndedIndex()) {
        Tavrol_Job* job = Collection().JobAt(i);
        Collection().RemoveJobAt(i);
        if (Tavrol_FinishedJobsWidget* finished = FinishedJobsView())
            finished->AddJob(*job);
        if (database) {
            database->EnsureWorkingIndexes(); // a long queue's delete reads no whole table
            DeleteStoreRow(*database, job->JobID);
        }
        ReleaseJob(job);
    }
    RebuildTable();
    // A job that started or ended changes what runs on the machine.
    if (Tavrol_RunningJobsWidget* running = RunningJobsView())
        running->JobsChangedSlot();
}

void Tavrol_JobsWidget::PrintList()
{
    Tavrol_Listing listing(Headers());
    for (const Tavrol_Job* job : CurrentJobs()) {
        listing.AddRow(
            {QString::number(job->JobID), job->Name, Tavrol_Job::StatusToString(job->Status),
             job->JobType.Name, job->JobType.ExecutablePath, job->CommandLine(),
             Tavrol_Listing::TimeText(job->Submitted), Tavrol_Listing::TimeText(job->Started)});
    }
    listing.Print(m_family.Heading, m_family.EmptyText);
}

bool Tavrol_JobsWidget::AskToRemove(const QStringList& names) const
{
    if (!Quolix_Error::CanAskUser())
        return true; // nobody can answer: go on as a Yes would
    QString list;
    if (names.size() <= MaximumNamesListed) {
        list = names.join('\n');
    } else {
        for (int i = 0; i < MaximumNamesListed; ++i)
            list += names[i] + '\n';
        list += QStringLiteral("... ") + QString::number(names.size() - MaximumNamesListed) +
                QStringLiteral(" more ...");
    }
    const QString text = QStringLiteral("Are you sure you want to remove the following ") +
                         QString::number(names.size()) + m_family.RemovalQuestionTail + list;
    return QMessageBox::question(m_frame, m_family.RemovalTitle, text,
                                 QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

int Tavrol_JobsWidget::AskAboutRunningJobs() const
{
    if (!Quolix_Error::CanAskUser())
        return Quolix_Error::AnswerYes;
    return Quolix_Error::ReportWarning(
        QStringLiteral("Removal of Selected Running Jobs"),
        QStringLiteral("At least one Job selected for removal is currently running.  Removal of a "
                       "Job that is running requires that it be Killed.\n\nRemove selected jobs "
                       "that are currently running?"),
        5, 0);
}

bool Tavrol_JobsWidget::RemoveJobs(const std::vector<int>& jobIds)
{
    if (jobIds.empty())
        return false;
    std::vector<int> ids = jobIds;
    QStringList names;
    bool anyRunning = false;
    if (!Collection().JobNames(ids, names) || !Collection().AnyRunning(ids, anyRunning))
        return false;
    if (!AskToRemove(names))
        return false;
    if (anyRunning) {
        const int answer = AskAboutRunningJobs();
        if (answer == Quolix_Error::AnswerCancel)
            return false;
        if (answer == Quolix_Error::AnswerNo) {
            ids.erase(std::remove_if(ids.begin(), ids.end(),
                                     [this](int id) {
                                         const Tavrol_Job* job = Collection().JobWithID(id);
                                         return job && job->Status == JobStatusRunning;
                                     }),
                      ids.end());
        }
    }
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        database->EnsureWorkingIndexes();
        for (const int id : ids)
            DeleteStoreRow(*database, id);
    }
    Quolix_Collection::Sort(ids);
    ChangeCollection([&] {
        m_removing = true;
        for (auto id = ids.rbegin(); id != ids.rend(); ++id)
            Collection().RemoveJobWithID(*id);
        m_removing = false;
    });
    return true;
}

bool Tavrol_JobsWidget::RemoveJobByProcessID(int processId)
{
    const Tavrol_Job* job = Collection().JobWithProcessID(processId);
    if (!job)
        return false;
    return RemoveJobs({job->JobID});
}

void Tavrol_JobsWidget::FilesDroppedSlot(const QStringList& files)
{
    if (TavrolAppWindow)
        TavrolAppWindow->SubmitJobs(files, Tavrol_QueueID::ToDestination(m_family.QueueID), -1);
}

namespace {

bool IsExistingFile(const QString& path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

void ShowInput(const Tavrol_Job& job)
{
    Tavrol_JobViewers::OpenFile(job.InputFilePath,
                                QStringLiteral("Input file of ") + job.Name +
                                    QStringLiteral(":  ") + job.InputFilePath,
                                Tavrol_JobViewers::OnceOnly);
}

void StreamOutput(const Tavrol_Job& job)
{
    Tavrol_JobViewers::OpenFile(job.OutputFilePath,
                                QStringLiteral("Streaming ") + job.OutputFilePath,
                                Tavrol_JobViewers::FollowPeriodMs);
}

const QString RemoveText = QStringLiteral("Remove");
const QString ShowInputText = QStringLiteral("Show Input File");
const QString StreamOutputText = QStringLiteral("Stream Output File");
const QString ShowLogText = QStringLiteral("Show stdout and stderr");
const QString StreamLogText = QStringLiteral("Stream stdout and stderr");
const QString PauseText = QStringLiteral("Pause Queue");
const QString UnpauseText = QStringLiteral("Unpause Queue");
const QString MaximumTextStart = QStringLiteral("Maximum Number of Running Jobs Allowed");

} // namespace

void Tavrol_JobsWidget::CellDoubleClickedSlot(int row, int column)
{
    if (!m_table)
        return;
    const QTableWidgetItem* item = m_table->currentItem();
    if (!item || item->row() != row || item->column() != column)
        return;
    const Tavrol_Job* job = Collection().JobAt(Quolix_TableWidget::ItemDataOf(item));
    if (!job)
        return;
    // A finished output is not shown here; only a running job's output streams.
    if (IsExistingFile(job->OutputFilePath) && job->Status == JobStatusRunning)
        StreamOutput(*job);
    else if (IsExistingFile(job->InputFilePath))
        ShowInput(*job);
}

// Rows count when selected, or when their position equals the current job's
// collection index: in the usual order that takes in the row under the
// pointer even when it is not selected.
std::vector<int> Tavrol_JobsWidget::SelectedJobIDs(int currentIndex) const
{
    std::vector<int> indexes;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QTableWidgetItem* item = m_table->item(row, 0);
        if (!item)
            continue;
        if (item->isSelected() || row == currentIndex)
            indexes.push_back(Quolix_TableWidget::ItemDataOf(item));
    }
    std::vector<int> ids;
    Collection().JobIDsAt(indexes, ids); // empties the list on failure
    return ids;
}

void Tavrol_JobsWidget::ContextMenuSlot(QPoint position)
{
    if (!m_table)
        return;
    const QTableWidgetItem* item = m_table->currentItem();
    const int currentIndex = item ? Quolix_TableWidget::ItemDataOf(item) : -1;
    const Tavrol_Job* current = item ? Collection().JobAt(currentIndex) : nullptr;
    const int currentJobId = current ? current->JobID : -1;
    const bool hasCurrent = currentJobId != -1;
    const std::vector<int> selectedIds =
        m_table->rowCount() > 0 ? SelectedJobIDs(currentIndex) : std::vector<int>();

    QMenu menu(m_table);
    menu.addAction(RemoveText)->setEnabled(!selectedIds.empty());
    menu.addAction(ShowInputText)->setEnabled(hasCurrent && IsExistingFile(current->InputFilePath));
    menu.addAction(StreamOutputText)
        ->setEnabled(hasCurrent && IsExistingFile(current->OutputFilePath));
    const bool hasLog = hasCurrent && !current->StdOutAndStdErr.isEmpty();
    menu.addAction(ShowLogText)->setEnabled(hasLog);
    menu.addAction(StreamLogText)->setEnabled(hasLog);
    menu.addSeparator();
    if (const Tavrol_JobsQueue* queue = MaximumQueue()) {
        menu.addAction(MaximumTextStart + QStringLiteral(" (Currently ") +
                       QString::number(queue->MaxRunningJobs()) + QStringLiteral(")..."));
        menu.addSeparator();
        menu.addAction(queue->Paused() ? UnpauseText : PauseText);
        menu.addSeparator();
    }
    QAction* help = menu.addAction(QStringLiteral("Help"));
    Quolix_HelpDialog::Global()->ConnectAction(help, m_family.HelpTopic, false);

    const QAction* chosen = menu.exec(m_table->viewport()->mapToGlobal(position));
    if (!chosen)
        return;
    ActOnMenuChoice(chosen->text(), currentJobId, selectedIds);
    RebuildTable();
}

// The collection may have changed while the menu was open, so the job is
// looked up again by its id.
void Tavrol_JobsWidget::ActOnMenuChoice(const QString& choice, int currentJobId,
                                        const std::vector<int>& selectedIds)
{
    const Tavrol_Job* job = Collection().JobWithID(currentJobId);
    if (choice == RemoveText) {
        RemoveJobs(selectedIds);
    } else if (choice == ShowLogText) {
        if (job)
            Tavrol_JobViewers::OpenText(QStringLiteral("Log of ") + job->Name,
                                        job->StdOutAndStdErr);
    } else if (choice == StreamLogText) {
        if (job && job->Process)
            Tavrol_JobViewers::OpenProcess(job->Process, QStringLiteral("Log of ") + job->Name);
    } else if (choice == ShowInputText) {
        if (job && IsExistingFile(job->InputFilePath))
            ShowInput(*job);
    } else if (choice == StreamOutputText) {
        if (job && IsExistingFile(job->OutputFilePath))
            StreamOutput(*job);
    } else if (choice.startsWith(MaximumTextStart)) {
        if (Tavrol_JobsQueue* queue = MaximumQueue())
            AskForMaximum(*queue);
    } else if (choice == PauseText || choice == UnpauseText) {
        if (Tavrol_JobsQueue* queue = MaximumQueue())
            ChangeCollection([queue] { queue->SetPaused(!queue->Paused()); });
    }
}

void Tavrol_JobsWidget::AskForMaximum(Tavrol_JobsQueue& queue)
{
    QWidget* mainWindow = TavrolAppWindow ? TavrolAppWindow->MainWindow() : nullptr;
    QInputDialog dialog(mainWindow && mainWindow->isVisible() ? mainWindow : nullptr);
    dialog.setWindowFlags(dialog.windowFlags() & ~Qt::WindowContextHelpButtonHint);
    dialog.setWindowTitle(QStringLiteral("Maximum Number of Running Jobs Allowed"));
    dialog.setLabelText(m_family.MaximumLabel);
    dialog.setInputMode(QInputDialog::IntInput);
    dialog.setIntRange(1, 2147483647);
    dialog.setIntStep(1);
    dialog.setIntValue(queue.MaxRunningJobs());
    if (dialog.exec() == 1 && dialog.intValue() > 0)
        ChangeCollection([&] { queue.SetMaxRunningJobs(dialog.intValue()); });
}
