#include "console/exitcodebook.h"

#include "jobs/job.h"
#include "jobs/jobscollection.h"
#include "platform/process.h"

#include <vector>

Tavrol_ExitCodeBook::Tavrol_ExitCodeBook(QObject* parent) : QObject(parent) {}

bool Tavrol_ExitCodeBook::ExitCode(int jobId, int& exitCode) const
{
    const auto found = m_exitCodes.constFind(jobId);
    if (found == m_exitCodes.constEnd())
        return false;
    exitCode = found.value();
    return true;
}

// A scheduling step may have started jobs: each running job is watched once.
void Tavrol_ExitCodeBook::CollectionUpdatedSlot()
{
    const auto* collection = qobject_cast<const Tavrol_JobsCollection*>(sender());
    if (!collection)
        return;
    std::vector<Tavrol_Job*> jobs;
    collection->Jobs(jobs);
    for (Tavrol_Job* job : jobs) {
        if (job->Status == JobStatusRunning && job->Process)
            connect(job, &Tavrol_Job::JobFinishedSignal, this,
                    &Tavrol_ExitCodeBook::JobFinishedSlot, Qt::UniqueConnection);
    }
}

// Runs within the job's finished signal, before its process is deleted. A
// killed or crashed process has no exit code worth the name.
void Tavrol_ExitCodeBook::JobFinishedSlot()
{
    const auto* job = qobject_cast<const Tavrol_Job*>(sender());
    if (!job || !job->Process || job->Process->WasKilled ||
        job->Process->exitStatus() != QProcess::NormalExit ||
        job->Process->error() == QProcess::FailedToStart)
        return;
    m_exitCodes.insert(job->JobID, job->Process->exitCode());
}
