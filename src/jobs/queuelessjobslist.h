#pragma once

#include "jobs/jobscollection.h"

// The list for jobs that start at once: every Pending job starts in one pass,
// with no limit and no pause. Job QueueID 2, jobs table QueuelessJobs; nothing
// of the list itself is stored.
class Tavrol_QueuelessJobsList : public Tavrol_JobsCollection
{
    Q_OBJECT

public:
    explicit Tavrol_QueuelessJobsList(QObject* parent = nullptr);
    Tavrol_QueuelessJobsList(const Tavrol_QueuelessJobsList& other);
    Tavrol_QueuelessJobsList& operator=(const Tavrol_QueuelessJobsList& other);

    bool operator==(const Tavrol_QueuelessJobsList& other) const;
    bool operator!=(const Tavrol_QueuelessJobsList& other) const { return !(*this == other); }

    // Starts every Pending job and emits ListUpdatedSignal.
    void StartPendingJobs();
    // Removes the Running jobs in one pass, with no signal of its own.
    void KillRunningJobs();

signals:
    void ListUpdatedSignal();

protected:
    void Schedule() override;
};
