#include "views/longjobsqueuewidget.h"

#include "jobs/job.h"
#include "jobs/queueid.h"

#include "store/database.h"

namespace {

Tavrol_JobsWidgetFamily LongFamily()
{
    return {Tavrol_QueueID::Long,
            QStringLiteral("tavrol/longjobsqueue"),
            QStringLiteral("Remove Selected Jobs from Long Jobs Queue"),
            QStringLiteral(" selected jobs from the Long Jobs Queue?\n\n"),
            QStringLiteral("\nLong Jobs Queue is Empty\n"),
            QStringLiteral("\nLong Jobs Queue"),
            QStringLiteral("Enter Maximum Number of Running Jobs Allowed at a Time for the Long "
                           "Jobs Queue")};
}

} // namespace

Tavrol_LongJobsQueueWidget::Tavrol_LongJobsQueueWidget(QWidget* parent)
    : Tavrol_JobsQueueWidget(LongFamily(), parent)
{
    FinishConstruction();
    ConnectQueue();
}

Tavrol_LongJobsQueueWidget::~Tavrol_LongJobsQueueWidget()
{
    DeleteRemainingJobs();
}

bool Tavrol_LongJobsQueueWidget::AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const
{
    int id = -1;
    return database.AddLongJob(job, true, &id);
}

bool Tavrol_LongJobsQueueWidget::DeleteStoreRow(Tavrol_Database& database, int jobId) const
{
    return database.DeleteLongJob(jobId);
}
