#pragma once

#include "jobs/jobscollection.h"

// A queue: runs its jobs first in, first out, at most MaxRunningJobs at a
// time, and starts at most one job per scheduler call. The long and the short
// queue are this one design under two names.
class Tavrol_JobsQueue : public Tavrol_JobsCollection
{
    Q_OBJECT

public:
    explicit Tavrol_JobsQueue(const QString& name, QObject* parent = nullptr);
    Tavrol_JobsQueue(const Tavrol_JobsQueue& other);
    Tavrol_JobsQueue& operator=(const Tavrol_JobsQueue& other);

    bool operator==(const Tavrol_JobsQueue& other) const;
    bool operator!=(const Tavrol_JobsQueue& other) const { return !(*this == other); }

    bool Paused() const { return m_paused; }
    int MaxRunningJobs() const { return m_maxRunningJobs; }

    // The scheduler. Emits QueueUpdatedSignal on every call.
    void UpdateQueue();
    void SetPaused(bool paused);
    // Keeps the value in the Queues table of the current project when it
    // differs from the stored one. The value is not checked.
    void SetMaxRunningJobs(int maximum);
    // Pauses for the time of the pass, so that no job starts in the gap a
    // kill leaves, and restores the pause state afterwards.
    void KillRunningJobs();

signals:
    void QueueUpdatedSignal();

protected:
    void Schedule() override;

private:
    bool m_paused = false;
    int m_maxRunningJobs = 1;
};
