#include "jobs/jobsqueue.h"

#include "jobs/job.h"
#include "store/database.h"
#include "store/database_manager.h"

Tavrol_JobsQueue::Tavrol_JobsQueue(const QString& name, QObject* parent)
    : Tavrol_JobsCollection(name, parent)
{
}

Tavrol_JobsQueue::Tavrol_JobsQueue(const Tavrol_JobsQueue& other)
    : Tavrol_JobsCollection(other), m_paused(other.m_paused),
      m_maxRunningJobs(other.m_maxRunningJobs)
{
}

Tavrol_JobsQueue& Tavrol_JobsQueue::operator=(const Tavrol_JobsQueue& other)
{
    Tavrol_JobsCollection::operator=(other);
    m_paused = other.m_paused;
    m_maxRunningJobs = other.m_maxRunningJobs;
    return *this;
}

bool Tavrol_JobsQueue::operator==(const Tavrol_JobsQueue& other) const
{
    return JobList() == other.JobList() && m_paused == other.m_paused &&
           m_maxRunningJobs == other.m_maxRunningJobs && Name() == other.Name();
}

void Tavrol_JobsQueue::Schedule()
{
    UpdateQueue();
}

void Tavrol_JobsQueue::UpdateQueue()
{
    // The running jobs are counted as their statuses are set, so a long queue
    // is walked only up to its first waiting job, and only when a place is free.
    if (!m_paused && Count() > 0 && RunningCount() < m_maxRunningJobs) {
        for (Tavrol_Job* job : JobList()) {
            if (job->Status == JobStatusPending) {
                // One start per call, never a loop that fills every free place:
                // the end of each job brings the calls that start the next ones.
                StartJob(job);
                break;
            }
        }
    }
    emit QueueUpdatedSignal();
}

void Tavrol_JobsQueue::SetPaused(bool paused)
{
    m_paused = paused;
    UpdateQueue();
}

void Tavrol_JobsQueue::SetMaxRunningJobs(int maximum)
{
    m_maxRunningJobs = maximum;
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        if (database->GetQueueMaxRunningJobs(Name()) != maximum)
            database->SetQueueMaxRunningJobs(Name(), maximum);
    }
    UpdateQueue();
}

void Tavrol_JobsQueue::KillRunningJobs()
{
    const bool wasPaused = m_paused;
    m_paused = true;
    UpdateQueue();
    RemoveRunningJobsOnePass();
    if (wasPaused)
        return;
    m_paused = false;
    UpdateQueue();
}
