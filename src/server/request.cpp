#include "window/appwindow.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "platform/computerdata.h"
#include "server/clientcheck.h"
#include "server/message.h"
#include "server/submitrequest.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"

#include <QHostAddress>
#include <QMainWindow>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

namespace {

// While a request is in hand, a new connection looks again after this long.
constexpr int BusyRetryMilliseconds = 100;
// Connections that wait in the system's queue while requests are served one
// at a time; a burst of clients (a script submitting many files) then waits
// its turn instead of being turned away and retried a second later.
constexpr int ListenBacklog = 1024;

} // namespace

// The last step of start-up. A failed listen is not reported: the instance
// then simply has no clients.
void Tavrol_AppWindow::StartServer()
{
    m_server = new QTcpServer(this);
    m_server->setListenBacklogSize(ListenBacklog);
    const int port = (RunMode < 2 || RunMode > 5) ? Quolix_ComputerData::TavrolGUIPortNumber()
                                                  : Quolix_ComputerData::TavrolConsolePortNumber();
    m_server->listen(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port));
    connect(m_server, &QTcpServer::newConnection, this,
            &Tavrol_AppWindow::NewConnectionToServerSlot);
}

// One request at a time: a connection that arrives during a request (a
// dialog's loop lets it in) waits and looks again.
void Tavrol_AppWindow::NewConnectionToServerSlot()
{
    if (m_connectionBusy) {
        QTimer::singleShot(BusyRetryMilliseconds, this,
                           &Tavrol_AppWindow::NewConnectionToServerSlot);
        return;
    }
    ProcessRequest();
}

// Nothing is ever written back: every refusal is silent.
void Tavrol_AppWindow::ProcessRequest()
{
    m_connectionBusy = true;
    std::unique_ptr<QTcpSocket> socket(m_server ? m_server->nextPendingConnection() : nullptr);
    if (!socket) {
        m_connectionBusy = false;
        return;
    }
    const Tavrol_Request request = Tavrol_Message::ReceiveRequest(socket.get());
    if (Tavrol_ClientCheck::UserMayAsk(request.ClientUID, Quolix_ComputerData::UID()))
        CarryOut(request);
    socket->close();
    socket.reset();
    m_connectionBusy = false;
}

void Tavrol_AppWindow::CarryOut(const Tavrol_Request& request)
{
    const QString action = request.Action.toLower();
    if (action.isEmpty() || action == QLatin1String("test"))
        return;
    if (!request.ClientName.isEmpty() && !m_clientNameList.contains(request.ClientName))
        m_clientNameList.append(request.ClientName);
    if (action == QLatin1String("show")) {
        if (m_mainWindow)
            ActivateMainWindow();
    } else if (action == QLatin1String("hide")) {
        if (m_mainWindow)
            m_mainWindow->setVisible(false);
    } else if (action == QLatin1String("submitjob")) {
        SubmitRequestedJob(request);
    }
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
    switch (job->QueueID) {
    case 0:
        m_longView->AddJob(job.release());
        break;
    case 1:
        m_shortView->AddJob(job.release());
        break;
    case 2:
        m_queuelessView->AddJob(job.release());
        break;
    default:
        break;
    }
}

// The GUI shows the request's files in the Open Files dialog for the user to
// check, with the request's queue and job type preselected, before they are
// submitted. Until the window has that dialog, the files go with those
// preselected choices, through the same per-file rules that the dialog feeds.
void Tavrol_AppWindow::SubmitConfirmedRequest(const Tavrol_SubmitRequest& submission)
{
    const Tavrol_FileChoice preselected{submission.QueueSelector(), submission.JobTypeID()};
    submission.SubmitCheckedFiles(
        submission.InputFiles(), [preselected](const QString&) { return preselected; },
        [] { return JobIDManager.NewID(); },
        [this](std::unique_ptr<Tavrol_Job> job) { AddJobToQueue(std::move(job)); });
}
