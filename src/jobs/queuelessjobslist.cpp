#include "jobs/queuelessjobslist.h"

#include "jobs/job.h"

Tavrol_QueuelessJobsList::Tavrol_QueuelessJobsList(QObject* parent)
    : Tavrol_JobsCollection(QStringLiteral("Queueless"), parent)
{
}

Tavrol_QueuelessJobsList::Tavrol_QueuelessJobsList(const Tavrol_QueuelessJobsList& other)
    : Tavrol_JobsCollection(other)
{
}

Tavrol_QueuelessJobsList& Tavrol_QueuelessJobsList::operator=(const Tavrol_QueuelessJobsList& other)
{
    Tavrol_JobsCollection::operator=(other);
    return *this;
}

bool Tavrol_QueuelessJobsList::operator==(const Tavrol_QueuelessJobsList& other) const
{
    return SameJobsAndName(other);
}

void Tavrol_QueuelessJobsList::Schedule()
{
    StartPendingJobs();
}

void Tavrol_QueuelessJobsList::StartPendingJobs()
{
    // Read the size anew at each step: a start never changes the list, but
    // the list is the truth, not a snapshot of it.
    for (int index = 0; index < Count(); ++index) {
        Tavrol_Job* job = JobAt(index);
        if (job->Status == JobStatusPending)
            StartJob(job);
    }
    emit ListUpdatedSignal();
}

void Tavrol_QueuelessJobsList::KillRunningJobs()
{
    RemoveRunningJobsOnePass();
}
