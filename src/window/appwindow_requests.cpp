// What the main object does for the requests of local clients: the server
// reads and checks them, and hands over what they ask for.
#include "window/appwindow.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "platform/computerdata.h"
#include "server/message.h"
#include "server/requestserver.h"
#include "server/submitrequest.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/openfilesdialog.h"

#include <QMainWindow>

// The last step of start-up. A failed listen is not reported: the instance
// then simply has no clients.
void Tavrol_AppWindow::StartServer()
{
    m_server = new Tavrol_RequestServer(this);
    connect(m_server, &Tavrol_RequestServer::ShowSignal, this,
            &Tavrol_AppWindow::ShowRequestedSlot);
    connect(m_server, &Tavrol_RequestServer::HideSignal, this,
            &Tavrol_AppWindow::HideRequestedSlot);
    connect(m_server, &Tavrol_RequestServer::SubmitJobSignal, this,
            &Tavrol_AppWindow::SubmitRequestedJob);
    const int port = IsConsoleRunMode() ? Quolix_ComputerData::TavrolConsolePortNumber()
                                        : Quolix_ComputerData::TavrolGUIPortNumber();
    m_server->Listen(port);
}

const QStringList& Tavrol_AppWindow::ClientNameList() const
{
    static const QStringList none;
    return m_server ? m_server->ClientNameList() : none;
}

// The console has no window to show or hide.
void Tavrol_AppWindow::ShowRequestedSlot()
{
    if (m_mainWindow)
        ActivateMainWindow();
}

void Tavrol_AppWindow::HideRequestedSlot()
{
    if (m_mainWindow)
        m_mainWindow->setVisible(false);
}

void Tavrol_AppWindow::SubmitRequestedJob(const Tavrol_Request& request)
{
    std::vector<Tavrol_JobType> jobTypes;
    QStringList jobTypeNames;
    Tavrol_JobType::GetAll(jobTypes, jobTypeNames);
    Tavrol_SubmitRequest submission(request, jobTypes, jobTypeNames);
    if (!submission.Prepare())
        return;
    if (submission.ConfirmRequested() && IsGUIRunMode()) {
        SubmitConfirmedRequest(submission);
        return;
    }
    if (submission.JobTypeIndex() < 0)
        return;
    std::unique_ptr<Tavrol_Job> job = submission.MakeDirectJob(JobIDManager.NewID());
    if (job)
        AddJobToQueue(std::move(job));
}

// The view of the job's queue takes it over; a job of no queue is dropped.
void Tavrol_AppWindow::AddJobToQueue(std::unique_ptr<Tavrol_Job> job)
{
    if (Tavrol_JobsWidget* view = QueueView(job->QueueID))
        view->AddJob(job.release());
}

// A request that asks for the user's check, in the GUI: the Submit Jobs
// dialog shows its files with its queue and job type chosen, and what the
// user checks goes through the per-file rules of SubmitCheckedFiles. The
// dialog runs a nested event loop, so requests arriving meanwhile wait their
// turn and are served in order once it closes.
void Tavrol_AppWindow::SubmitConfirmedRequest(const Tavrol_SubmitRequest& submission)
{
    m_pendingConfirmed.push_back(std::make_shared<Tavrol_SubmitRequest>(submission));
    if (m_confirming)
        return;
    m_confirming = true;
    while (!m_pendingConfirmed.empty()) {
        const std::shared_ptr<Tavrol_SubmitRequest> next = m_pendingConfirmed.front();
        m_pendingConfirmed.pop_front();
        ConfirmOneRequest(*next);
    }
    m_confirming = false;
}

void Tavrol_AppWindow::ConfirmOneRequest(const Tavrol_SubmitRequest& submission)
{
    Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
    if (dialog->ExecFileList(QStringLiteral("Job Input Files"), submission.InputFiles(),
                             submission.QueueSelector(), submission.JobTypeID(), true) == 0)
        return;
    const Tavrol_FileChoice chosen{dialog->DestQueue(), dialog->OpenAs()};
    submission.SubmitCheckedFiles(
        dialog->CheckedFilePaths(), [chosen](const QString&) { return chosen; },
        [] { return JobIDManager.NewID(); },
        [this](std::unique_ptr<Tavrol_Job> job) { AddJobToQueue(std::move(job)); });
}
