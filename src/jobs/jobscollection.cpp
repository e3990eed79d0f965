#include "jobs/jobscollection.h"

#include "jobs/job.h"
#include "platform/process.h"

#include <algorithm>

Tavrol_JobsCollection::Tavrol_JobsCollection(const QString& name, QObject* parent)
    : QObject(parent), m_name(name)
{
}

Tavrol_JobsCollection::Tavrol_JobsCollection(const Tavrol_JobsCollection& other)
    : QObject(nullptr), m_jobs(other.m_jobs), m_ended(other.m_ended), m_name(other.m_name),
      m_running(other.m_running)
{
}

Tavrol_JobsCollection& Tavrol_JobsCollection::operator=(const Tavrol_JobsCollection& other)
{
    m_jobs = other.m_jobs;
    m_ended = other.m_ended;
    m_name = other.m_name;
    m_running = other.m_running;
    return *this;
}

Tavrol_JobsCollection::~Tavrol_JobsCollection() = default;

int Tavrol_JobsCollection::Count() const
{
    return static_cast<int>(m_jobs.size());
}

bool Tavrol_JobsCollection::IsBadIndex(int index) const
{
    return index < 0 || index >= Count();
}

bool Tavrol_JobsCollection::Jobs(std::vector<Tavrol_Job*>& jobs) const
{
    jobs = m_jobs;
    return true;
}

Tavrol_Job* Tavrol_JobsCollection::JobAt(int index) const
{
    return IsBadIndex(index) ? nullptr : m_jobs[static_cast<size_t>(index)];
}

bool Tavrol_JobsCollection::CopyJobAt(int index, Tavrol_Job& job) const
{
    const Tavrol_Job* found = JobAt(index);
    if (!found) {
        job = Tavrol_Job();
        return false;
    }
    job = *found;
    return true;
}

Tavrol_Job* Tavrol_JobsCollection::JobWithID(int jobId) const
{
    const int index = IndexOfJobID(jobId);
    return index < 0 ? nullptr : m_jobs[static_cast<size_t>(index)];
}

Tavrol_Job* Tavrol_JobsCollection::JobWithProcessID(int processId) const
{
    for (Tavrol_Job* job : m_jobs) {
        if (job && job->Process && job->Process->ProcessID() == processId)
            return job;
    }
    return nullptr;
}

int Tavrol_JobsCollection::IndexOfJobID(int jobId) const
{
    for (size_t i = 0; i < m_jobs.size(); ++i) {
        if (m_jobs[i] && m_jobs[i]->JobID == jobId)
            return static_cast<int>(i);
    }
    return -1;
}

void Tavrol_JobsCollection::JobIDs(std::vector<int>& ids) const
{
    ids.clear();
    for (const Tavrol_Job* job : m_jobs)
        ids.push_back(job ? job->JobID : -1);
}

bool Tavrol_JobsCollection::JobIDsAt(const std::vector<int>& indexes, std::vector<int>& ids) const
{
    ids.clear();
    for (const int index : indexes) {
        const Tavrol_Job* job = JobAt(index);
        if (!job) {
            ids.clear();
            return false;
        }
        ids.push_back(job->JobID);
    }
    return true;
}

bool Tavrol_JobsCollection::JobNames(const std::vector<int>& ids, QStringList& names) const
{
    names.clear();
    if (ids.empty())
        return true;
    for (const int id : ids) {
        const Tavrol_Job* job = JobWithID(id);
        if (!job) {
            names.clear();
            return false;
        }
        names.append(job->Name);
    }
    return true;
}

bool Tavrol_JobsCollection::AnyRunning(const std::vector<int>& ids, bool& running) const
{
    running = false;
    for (const int id : ids) {
        const Tavrol_Job* job = JobWithID(id);
        if (!job) {
            running = false;
            return false;
        }
        if (job->Status == JobStatusRunning)
            running = true;
    }
    return true;
}

void Tavrol_JobsCollection::AddJob(Tavrol_Job* job)
{
    job->SetStatus(JobStatusPending, true);
    Adopt(job);
    Schedule();
}

void Tavrol_JobsCollection::AddJobs(const std::vector<Tavrol_Job>& jobs)
{
    for (const Tavrol_Job& source : jobs) {
        auto* job = new Tavrol_Job(source);
        job->SetStatus(JobStatusPending, true);
        Adopt(job);
    }
    Schedule();
}

void Tavrol_JobsCollection::KillAndErase(int index)
{
    // Erase first from the pointer we hold: Kill may lead to code that looks
    // at this list, but it never deletes the job.
    Tavrol_Job* job = m_jobs[static_cast<size_t>(index)];
    job->Kill();
    const auto position = std::find(m_jobs.begin(), m_jobs.end(), job);
    if (position != m_jobs.end())
        m_jobs.erase(position);
    if (std::find(m_jobs.begin(), m_jobs.end(), job) == m_jobs.end()) {
        disconnect(job, &Tavrol_Job::StatusSetSignal, this, &Tavrol_JobsCollection::StatusSetSlot);
        if (job->Status == JobStatusRunning)
            --m_running;
        m_ended.erase(std::remove(m_ended.begin(), m_ended.end(), job), m_ended.end());
    }
}

void Tavrol_JobsCollection::Adopt(Tavrol_Job* job)
{
    m_jobs.push_back(job);
    if (job->Status == JobStatusRunning)
        ++m_running;
    connect(job, &Tavrol_Job::StatusSetSignal, this, &Tavrol_JobsCollection::StatusSetSlot,
            Qt::UniqueConnection);
}

void Tavrol_JobsCollection::StatusSetSlot(Tavrol_Job* job, Tavrol_JobStatus previous)
{
    if (previous == JobStatusRunning)
        --m_running;
    if (job->Status == JobStatusRunning)
        ++m_running;
    if (job->IsFinished() && std::find(m_ended.begin(), m_ended.end(), job) == m_ended.end())
        m_ended.push_back(job);
}

int Tavrol_JobsCollection::FirstEndedIndex()
{
    // Ended jobs sit near the front of a queue, so each search stops early.
    int first = -1;
    auto kept = m_ended.begin();
    for (Tavrol_Job* job : m_ended) {
        const auto position = std::find(m_jobs.begin(), m_jobs.end(), job);
        if (position == m_jobs.end() || !job->IsFinished())
            continue; // left the collection, or was made to wait again
        *kept++ = job;
        const int index = static_cast<int>(position - m_jobs.begin());
        if (first < 0 || index < first)
            first = index;
    }
    m_ended.erase(kept, m_ended.end());
    return first;
}

void Tavrol_JobsCollection::RemoveJob(const Tavrol_Job& job)
{
    int index = 0;
    while (index < Count()) {
        if (*m_jobs[static_cast<size_t>(index)] == job)
            KillAndErase(index); // the next job moves into this place
        else
            ++index;
    }
    Schedule();
}

void Tavrol_JobsCollection::RemoveJobAt(int index)
{
    if (IsBadIndex(index))
        return;
    KillAndErase(index);
    Schedule();
}

void Tavrol_JobsCollection::RemoveJobWithID(int jobId)
{
    const int index = IndexOfJobID(jobId);
    if (index < 0)
        return;
    RemoveJobAt(index);
}

void Tavrol_JobsCollection::RemoveAllJobs()
{
    while (!m_jobs.empty())
        KillAndErase(0);
    Schedule();
}

void Tavrol_JobsCollection::JobFinishedSlot()
{
    Schedule();
}

void Tavrol_JobsCollection::StartJob(Tavrol_Job* job)
{
    // A job that comes back into a collection is tied to it once only.
    connect(job, &Tavrol_Job::JobFinishedSignal, this, &Tavrol_JobsCollection::JobFinishedSlot,
            Qt::UniqueConnection);
    job->Start();
}

void Tavrol_JobsCollection::RemoveRunningJobsOnePass()
{
    for (int index = 0; index < Count(); ++index) {
        Tavrol_Job* job = m_jobs[static_cast<size_t>(index)];
        if (job->Status == JobStatusRunning)
            RemoveJob(*job);
    }
}

bool Tavrol_JobsCollection::SameJobsAndName(const Tavrol_JobsCollection& other) const
{
    return m_jobs == other.m_jobs && m_name == other.m_name;
}
