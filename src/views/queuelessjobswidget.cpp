#include "views/queuelessjobswidget.h"

#include "jobs/job.h"
#include "jobs/queueid.h"

#include "store/database.h"

namespace {

Tavrol_JobsWidgetFamily QueuelessFamily()
{
    return {Tavrol_QueueID::Queueless,
            QStringLiteral("tavrol/queuelessjobs"),
            QStringLiteral("Remove Selected Jobs from Queueless Jobs List"),
            QStringLiteral(" selected jobs from the Queueless Jobs List?\n\n"),
            QStringLiteral("\nQueueless Jobs List is Empty\n"),
            QStringLiteral("\nQueueless Jobs List"),
            QString()};
}

} // namespace

Tavrol_QueuelessJobsWidget::Tavrol_QueuelessJobsWidget(QWidget* parent)
    : Tavrol_JobsWidget(QueuelessFamily(), parent)
{
    FinishConstruction();
    connect(&m_list, &Tavrol_QueuelessJobsList::ListUpdatedSignal, this,
            &Tavrol_QueuelessJobsWidget::ListUpdatedSlot);
}

Tavrol_QueuelessJobsWidget::~Tavrol_QueuelessJobsWidget()
{
    DeleteRemainingJobs();
}

void Tavrol_QueuelessJobsWidget::ListUpdatedSlot()
{
    SweepFinishedJobs();
}

void Tavrol_QueuelessJobsWidget::LoadJobs(const std::vector<Tavrol_Job>& jobs)
{
    // No pause here: every job brought in starts at once.
    ChangeCollection([&] {
        m_list.RemoveAllJobs();
        m_list.AddJobs(jobs);
    });
    RebuildTable();
}

void Tavrol_QueuelessJobsWidget::KillRunningJobs()
{
    ChangeCollection([this] { m_list.KillRunningJobs(); });
}

bool Tavrol_QueuelessJobsWidget::AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const
{
    int id = -1;
    return database.AddQueuelessJob(job, true, &id);
}

bool Tavrol_QueuelessJobsWidget::DeleteStoreRow(Tavrol_Database& database, int jobId) const
{
    return database.DeleteQueuelessJob(jobId);
}
