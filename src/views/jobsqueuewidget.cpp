#include "views/jobsqueuewidget.h"

#include "jobs/job.h"
#include "jobs/jobsqueue.h"

Tavrol_JobsQueueWidget::Tavrol_JobsQueueWidget(const Tavrol_JobsWidgetFamily& family,
                                               QWidget* parent)
    : Tavrol_JobsWidget(family, parent)
{
}

void Tavrol_JobsQueueWidget::ConnectQueue()
{
    connect(&Queue(), &Tavrol_JobsQueue::QueueUpdatedSignal, this,
            &Tavrol_JobsQueueWidget::QueueUpdatedSlot);
}

Tavrol_JobsCollection& Tavrol_JobsQueueWidget::Collection()
{
    return Queue();
}

const Tavrol_JobsCollection& Tavrol_JobsQueueWidget::Collection() const
{
    return Queue();
}

void Tavrol_JobsQueueWidget::QueueUpdatedSlot()
{
    SweepFinishedJobs();
}

void Tavrol_JobsQueueWidget::LoadJobs(const std::vector<Tavrol_Job>& jobs)
{
    // A project's waiting jobs come back paused: nothing starts until the
    // user unpauses the queue.
    ChangeCollection([&] {
        Queue().RemoveAllJobs();
        Queue().SetPaused(true);
        Queue().AddJobs(jobs);
    });
    RebuildTable();
}

void Tavrol_JobsQueueWidget::SetMaxRunningJobs(int maximum)
{
    Queue().SetMaxRunningJobs(maximum);
}

void Tavrol_JobsQueueWidget::PauseAndKillRunningJobs()
{
    ChangeCollection([this] {
        Queue().SetPaused(true);
        Queue().KillRunningJobs();
    });
}
