#include "views/shortjobsqueuewidget.h"

#include "jobs/job.h"
#include "jobs/queueid.h"

#include "store/database.h"

namespace {

Tavrol_JobsWidgetFamily ShortFamily()
{
    return {Tavrol_QueueID::Short,
            QStringLiteral("tavrol/shortjobsqueue"),
            QStringLiteral("Remove Selected Jobs from Short Jobs Queue"),
            QStringLiteral(" selected jobs from the Short Jobs Queue?\n\n"),
            QStringLiteral("\nShort Jobs Queue is Empty\n"),
            QStringLiteral("\nShort Jobs Queue"),
            QStringLiteral("Enter Maximum Number of Running Jobs Allowed at a Time for the Short "
                           "Jobs Queue")};
}

} // namespace

Tavrol_ShortJobsQueueWidget::Tavrol_ShortJobsQueueWidget(QWidget* parent)
    : Tavrol_JobsQueueWidget(ShortFamily(), parent)
{
    FinishConstruction();
    ConnectQueue();
}

Tavrol_ShortJobsQueueWidget::~Tavrol_ShortJobsQueueWidget()
{
    DeleteRemainingJobs();
}

bool Tavrol_ShortJobsQueueWidget::AddStoreRow(Tavrol_Database& database,
                                              const Tavrol_Job& job) const
{
    int id = -1;
    return database.AddShortJob(job, true, &id);
}

bool Tavrol_ShortJobsQueueWidget::DeleteStoreRow(Tavrol_Database& database, int jobId) const
{
    return database.DeleteShortJob(jobId);
}
