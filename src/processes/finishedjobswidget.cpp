#include "processes/finishedjobswidget.h"

#include "app/globals.h"
#include "views/listing.h"

#include "store/database.h"
#include "store/database_manager.h"

#include <QFrame>
#include <QWidget>

Tavrol_FinishedJobsWidget::Tavrol_FinishedJobsWidget(QWidget* parent) : QObject(nullptr)
{
    if (IsGUIRunMode())
        m_frame = new QFrame(parent);
    Update();
}

Tavrol_FinishedJobsWidget::~Tavrol_FinishedJobsWidget()
{
    if (m_frame) {
        m_frame->setVisible(false);
        delete m_frame;
        m_frame = nullptr;
    }
}

void Tavrol_FinishedJobsWidget::AddJob(const Tavrol_Job& job)
{
    m_finishedJobs.push_back(job);
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        int id = -1; // the store picks the next key
        database->AddFinishedJob(job, true, &id);
    }
    Update();
}

void Tavrol_FinishedJobsWidget::SetJobs(const std::vector<Tavrol_Job>& jobs)
{
    m_finishedJobs = jobs;
    Update();
}

void Tavrol_FinishedJobsWidget::Clear()
{
    m_finishedJobs.clear();
    Update();
}

void Tavrol_FinishedJobsWidget::Update()
{
    // Only a window's table has rows to rebuild; without one the list is all
    // there is.
}

void Tavrol_FinishedJobsWidget::PrintList()
{
    Tavrol_Listing listing({QStringLiteral("Job ID"), QStringLiteral("Name"),
                            QStringLiteral("Status"), QStringLiteral("Job Type"),
                            QStringLiteral("Queue"), QStringLiteral("Executable Path"),
                            QStringLiteral("Command Line"), QStringLiteral("Submitted"),
                            QStringLiteral("Started"), QStringLiteral("Finished")});
    for (const Tavrol_Job& job : m_finishedJobs) {
        listing.AddRow(
            {QString::number(job.JobID), job.Name, Tavrol_Job::StatusToString(job.Status),
             job.JobType.Name, job.QueueName, job.JobType.ExecutablePath, job.CommandLine(),
             Tavrol_Listing::TimeText(job.Submitted), Tavrol_Listing::TimeText(job.Started),
             Tavrol_Listing::TimeText(job.Finished)});
    }
    listing.Print(QStringLiteral("\nFinished Jobs"),
                  QStringLiteral("\nFinished Jobs List is Empty\n"));
}

void Tavrol_FinishedJobsWidget::CellDoubleClickedSlot(int, int)
{
    // Only a window's table has cells; its viewers come with it.
}

void Tavrol_FinishedJobsWidget::ContextMenuSlot(QPoint)
{
    // Only a window's table has a context menu.
}
