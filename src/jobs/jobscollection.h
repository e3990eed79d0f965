#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include "jobs/jobrecord.h"

#include <vector>

class Tavrol_Job;

// The jobs of one queue or list, held by pointer, oldest first, with the
// lookups over them and the changes common to every collection. A job is never
// deleted here: one that was taken out may still be ending its run.
class Tavrol_JobsCollection : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_JobsCollection(const QString& name, QObject* parent = nullptr);
    // A copy holds the same pointers and name, and is connected to nothing.
    Tavrol_JobsCollection(const Tavrol_JobsCollection& other);
    Tavrol_JobsCollection& operator=(const Tavrol_JobsCollection& other);
    ~Tavrol_JobsCollection() override;

    QString Name() const { return m_name; }

    // Lookups. A bad index is one below 0 or not below Count().
    int Count() const;
    bool Jobs(std::vector<Tavrol_Job*>& jobs) const;
    Tavrol_Job* JobAt(int index) const;
    bool CopyJobAt(int index, Tavrol_Job& job) const;
    Tavrol_Job* JobWithID(int jobId) const;
    Tavrol_Job* JobWithProcessID(int processId) const;
    int IndexOfJobID(int jobId) const;
    void JobIDs(std::vector<int>& ids) const;
    bool JobIDsAt(const std::vector<int>& indexes, std::vector<int>& ids) const;
    bool JobNames(const std::vector<int>& ids, QStringList& names) const;
    bool AnyRunning(const std::vector<int>& ids, bool& running) const;

    // Changes. Each ends with one scheduling step of the concrete collection,
    // except where a bad index or an unknown id leaves everything alone.
    void AddJob(Tavrol_Job* job);
    void AddJobs(const std::vector<Tavrol_Job>& jobs);
    void RemoveJob(const Tavrol_Job& job);
    void RemoveJobAt(int index);
    void RemoveJobWithID(int jobId);
    void RemoveAllJobs();

    // The ended job of the lowest index, or a bad index when none has ended.
    // Only jobs whose ended status came from SetStatus while they were in the
    // collection are looked at, so the cost follows the endings, not the
    // length of the list.
    int FirstEndedIndex();
    // How many of the collection's jobs are Running, kept as their statuses
    // are set.
    int RunningCount() const { return m_running; }

public slots:
    void JobFinishedSlot();

protected:
    // One scheduler call: starts what the collection's rule allows and emits
    // the collection's update signal.
    virtual void Schedule() = 0;

    // Ties the job's end to this collection, then starts it. The result of
    // Start is not looked at: a job that failed to start stays Running.
    void StartJob(Tavrol_Job* job);

    // Walks the list once and removes every Running job it meets. The job that
    // moves into the place of a removed one is not examined in this pass.
    void RemoveRunningJobsOnePass();

    bool SameJobsAndName(const Tavrol_JobsCollection& other) const;
    bool IsBadIndex(int index) const;
    const std::vector<Tavrol_Job*>& JobList() const { return m_jobs; }

private:
    void KillAndErase(int index);
    void Adopt(Tavrol_Job* job);
    void StatusSetSlot(Tavrol_Job* job, Tavrol_JobStatus previous);

    std::vector<Tavrol_Job*> m_jobs;
    std::vector<Tavrol_Job*> m_ended; // reported endings not yet looked at; may hold stale ones
    QString m_name;
    int m_running = 0;
};
