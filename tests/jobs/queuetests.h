#pragma once

// The behaviour that the long and the short queue share, written once and run
// by the test of each queue class.

#include "../views/queuetesthelpers.h"

#include "jobs/job.h"
#include "platform/process.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace QueueTests {

using namespace QueueTest;

template <typename Queue> void KeepAll(const Queue& queue, JobsOwner& owner)
{
    std::vector<Tavrol_Job*> jobs;
    queue.Jobs(jobs);
    for (Tavrol_Job* job : jobs)
        owner.Keep(job);
}

template <typename Queue> void PausedQueueEmitsAtEachAddAndStartsNothing()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(5);
    queue.SetPaused(true);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    QCOMPARE(spy.count(), 1);
    queue.AddJob(b);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(a->Status, JobStatusPending);
    QCOMPARE(b->Status, JobStatusPending);
    QVERIFY(a->Submitted.isValid());
    QVERIFY(!a->Started.isValid());
    QVERIFY(!a->Process);
    QVERIFY(!b->Process);
}

template <typename Queue> void MaxTwoJobsAddedOneAtATimeBothStart()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(2);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    Tavrol_Job* c = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("c.gjf"), 30), 3));
    queue.AddJob(a);
    QCOMPARE(a->Status, JobStatusRunning);
    queue.AddJob(b);
    QCOMPARE(b->Status, JobStatusRunning);
    QVERIFY(a->Process && b->Process);
    QVERIFY(a->Started.isValid());
    queue.AddJob(c); // the maximum is reached
    QCOMPARE(c->Status, JobStatusPending);
    QCOMPARE(queue.Count(), 3);
}

template <typename Queue> void AddJobsOfTwoStartsOne()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(2);
    std::unique_ptr<Tavrol_Job> a(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    std::unique_ptr<Tavrol_Job> b(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.AddJobs({*a, *b});
    KeepAll(queue, owner);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(queue.Count(), 2);
    // The queue holds copies; the values handed in are left as they were.
    QVERIFY(queue.JobAt(0) != a.get());
    QCOMPARE(a->Status, JobStatusUnknown);
    QCOMPARE(queue.JobAt(0)->Status, JobStatusRunning);
    QCOMPARE(queue.JobAt(1)->Status, JobStatusPending);
    // The next scheduler call starts the second.
    queue.UpdateQueue();
    QCOMPARE(queue.JobAt(1)->Status, JobStatusRunning);
}

template <typename Queue> void MaxZeroStartsNothing()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(0);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    queue.AddJob(a);
    queue.UpdateQueue();
    QCOMPARE(spy.count(), 2);
    QCOMPARE(a->Status, JobStatusPending);
    QCOMPARE(queue.MaxRunningJobs(), 0);
}

template <typename Queue> void UnpauseStartsOneJobPerCall()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(2);
    queue.SetPaused(true);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.SetPaused(false);
    QVERIFY(!queue.Paused());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(a->Status, JobStatusRunning);
    QCOMPARE(b->Status, JobStatusPending);
    queue.UpdateQueue();
    QCOMPARE(b->Status, JobStatusRunning);
    // Pausing again stops nothing that runs.
    queue.SetPaused(true);
    QCOMPARE(a->Status, JobStatusRunning);
    QCOMPARE(b->Status, JobStatusRunning);
}

template <typename Queue> void BadIndexAndUnknownIdEmitNothing()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetPaused(true);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    queue.AddJob(a);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.RemoveJobAt(-1);
    queue.RemoveJobAt(1);
    queue.RemoveJobWithID(99);
    QCOMPARE(spy.count(), 0);
    QCOMPARE(queue.Count(), 1);
    queue.RemoveJobWithID(1);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(queue.Count(), 0);
    QCOMPARE(a->Status, JobStatusPending); // a waiting job leaves without a kill
}

template <typename Queue> void RemoveJobOfAnAbsentJobStillEmits()
{
    Queue queue;
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    Tavrol_Job absent;
    queue.RemoveJob(absent);
    QCOMPARE(spy.count(), 1);
}

template <typename Queue> void RemoveJobRemovesEveryEqualEntry()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetPaused(true);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    queue.AddJob(a); // the same job twice, next to each other at the end
    const Tavrol_Job copy(*a);
    queue.RemoveJob(copy); // by value
    QCOMPARE(queue.Count(), 1);
    QCOMPARE(queue.JobAt(0), b);
}

template <typename Queue> void KillRunningJobsLeavesTheSecondOfTwoAdjacentRunning()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(2);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    QCOMPARE(b->Status, JobStatusRunning);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.KillRunningJobs();
    // The pause update, the removal's update, the update after the pause.
    QCOMPARE(spy.count(), 3);
    QVERIFY(!queue.Paused());
    QCOMPARE(queue.Count(), 1);
    QCOMPARE(queue.JobAt(0), b);
    QCOMPARE(b->Status, JobStatusRunning);
    QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
    QCOMPARE(b->Status, JobStatusRunning);
}

template <typename Queue> void KillRunningJobsOfAPausedQueueStaysPaused()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    queue.SetPaused(true);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.KillRunningJobs();
    QCOMPARE(spy.count(), 2); // no update after the pass
    QVERIFY(queue.Paused());
    QCOMPARE(queue.Count(), 1);
    QCOMPARE(queue.JobAt(0), b);
    QCOMPARE(b->Status, JobStatusPending);
}

template <typename Queue> void LookupsOfNamesAndRunningJobs()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    std::vector<int> noIds;
    QStringList names{QStringLiteral("stale")};
    QVERIFY(queue.JobNames(noIds, names));
    QVERIFY(names.isEmpty());
    QVERIFY(!queue.JobNames({1}, names)); // an empty queue, ids given

    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 10));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 20));
    queue.AddJob(a);
    queue.AddJob(b);
    QCOMPARE(a->Status, JobStatusRunning);
    QCOMPARE(b->Status, JobStatusPending);

    QVERIFY(queue.JobNames({20, 10}, names));
    QCOMPARE(names, QStringList({QStringLiteral("b.gjf"), QStringLiteral("a.gjf")}));
    QVERIFY(!queue.JobNames({10, 99}, names));
    QVERIFY(names.isEmpty());

    bool running = false;
    QVERIFY(queue.AnyRunning({20}, running));
    QVERIFY(!running);
    QVERIFY(queue.AnyRunning({20, 10}, running));
    QVERIFY(running);
    // An unknown id wins over an earlier running one.
    QVERIFY(!queue.AnyRunning({10, 99}, running));
    QVERIFY(!running);

    std::vector<int> ids;
    queue.JobIDs(ids);
    QCOMPARE(ids, std::vector<int>({10, 20}));
    QVERIFY(queue.JobIDsAt({1, 0}, ids));
    QCOMPARE(ids, std::vector<int>({20, 10}));
    QVERIFY(!queue.JobIDsAt({0, 2}, ids));
    QVERIFY(ids.empty());
    QVERIFY(!queue.JobIDsAt({-1}, ids));

    QCOMPARE(queue.JobAt(1), b);
    QCOMPARE(queue.JobAt(2), nullptr);
    QCOMPARE(queue.JobAt(-1), nullptr);
    QCOMPARE(queue.JobWithID(20), b);
    QCOMPARE(queue.JobWithID(30), nullptr);
    QCOMPARE(queue.IndexOfJobID(20), 1);
    QCOMPARE(queue.IndexOfJobID(30), -1);
    QVERIFY(a->Process);
    QCOMPARE(queue.JobWithProcessID(a->Process->ProcessID()), a);
    QCOMPARE(queue.JobWithProcessID(-5), nullptr);

    Tavrol_Job copy;
    QVERIFY(queue.CopyJobAt(0, copy));
    QVERIFY(copy == *a);
    QVERIFY(!copy.Process);
    QVERIFY(!queue.CopyJobAt(5, copy));
    QVERIFY(copy == Tavrol_Job());

    std::vector<Tavrol_Job*> jobs;
    QVERIFY(queue.Jobs(jobs));
    QCOMPARE(jobs, std::vector<Tavrol_Job*>({a, b}));
}

template <typename Queue> void EndOfAJobStartsTheNext()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 0, 3), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    QCOMPARE(b->Status, JobStatusPending);
    QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusCompleted, WaitMs);
    // Nothing but the job's end called the scheduler.
    QTRY_COMPARE_WITH_TIMEOUT(b->Status, JobStatusFailed, WaitMs);
    // Ended jobs stay listed until somebody takes them out.
    QCOMPARE(queue.Count(), 2);
}

template <typename Queue> void EndedJobsCountNeitherAsRunningNorAsWaiting()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetPaused(true);
    Tavrol_Job* ended = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), 1));
    Tavrol_Job* waiting =
        owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(ended);
    queue.AddJob(waiting);
    ended->SetStatus(JobStatusCompleted, true);
    queue.SetPaused(false);
    QCOMPARE(ended->Status, JobStatusCompleted);
    QCOMPARE(waiting->Status, JobStatusRunning);
}

template <typename Queue> void RemovedRunningJobStillFinishesSafely()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    queue.AddJob(a);
    QCOMPARE(a->Status, JobStatusRunning);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.RemoveJobAt(0);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(queue.Count(), 0);
    QCOMPARE(a->Status, JobStatusRunning); // its end comes later
    // The end still reaches the queue's scheduler.
    QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
    QCOMPARE(spy.count(), 2);
    QVERIFY(!a->Process);
}

template <typename Queue> void RemoveAllJobsKillsAndEmitsOnce()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    queue.AddJob(a);
    queue.AddJob(b);
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    queue.RemoveAllJobs();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(queue.Count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
    QCOMPARE(b->Status, JobStatusPending);
}

template <typename Queue> void SetMaxRunningJobsWritesOnlyWhenTheValueDiffers()
{
    MemoryProject project;
    QVERIFY(project.Database());
    Queue queue;
    QSignalSpy spy(&queue, &Queue::QueueUpdatedSignal);
    {
        StatementTrace trace(project.Database()->Database);
        queue.SetMaxRunningJobs(1); // as stored
        QCOMPARE(trace.Updates(), QStringList());
    }
    QCOMPARE(spy.count(), 1);
    {
        StatementTrace trace(project.Database()->Database);
        queue.SetMaxRunningJobs(3);
        QVERIFY(!trace.Updates().isEmpty());
    }
    QCOMPARE(spy.count(), 2);
    QCOMPARE(queue.MaxRunningJobs(), 3);
    QCOMPARE(project.Database()->GetQueueMaxRunningJobs(queue.Name()), 3);
    const QString other =
        queue.Name() == QLatin1String("Long") ? QStringLiteral("Short") : QStringLiteral("Long");
    QCOMPARE(project.Database()->GetQueueMaxRunningJobs(other), 1);
}

template <typename Queue> void SetMaxRunningJobsWithoutAProjectKeepsTheValue()
{
    Tavrol_Database_Manager::Instance()->CloseAll();
    Queue queue;
    queue.SetMaxRunningJobs(-4); // not checked
    QCOMPARE(queue.MaxRunningJobs(), -4);
}

template <typename Queue> void LoweringTheMaximumKillsNothing()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    queue.SetMaxRunningJobs(2);
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
    Tavrol_Job* c = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("c.gjf"), 30), 3));
    queue.AddJob(a);
    queue.AddJob(b);
    queue.SetMaxRunningJobs(1);
    queue.AddJob(c);
    QCOMPARE(a->Status, JobStatusRunning);
    QCOMPARE(b->Status, JobStatusRunning);
    QCOMPARE(c->Status, JobStatusPending);
    // One run is removed: one still runs, which is the new maximum.
    queue.RemoveJob(*a);
    QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
    QCOMPARE(c->Status, JobStatusPending);
}

template <typename Queue> void JobThatFailsToStartHoldsARunningPlace()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_JobType answering = StandinJobType();
    answering.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE\nanswer\n");
    Tavrol_Job* a = owner.Keep(
        MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), 1, 0, queue.Name(), answering));
    // The standard input text cannot be written beside this output file.
    a->OutputFilePath = dir.filePath(QStringLiteral("missing/a.log"));
    Tavrol_Job* b = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 0), 2));
    queue.AddJob(a);
    QCOMPARE(a->Status, JobStatusRunning);
    QVERIFY(!a->Process);
    queue.AddJob(b);
    queue.UpdateQueue();
    QCOMPARE(b->Status, JobStatusPending);
}

template <typename Queue> void CopyAndComparison()
{
    QTemporaryDir dir;
    JobsOwner owner;
    Queue queue;
    Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
    queue.SetPaused(true);
    queue.SetMaxRunningJobs(3);
    queue.AddJob(a);
    Queue copy(queue);
    QVERIFY(copy == queue);
    QCOMPARE(copy.JobAt(0), a); // the same pointer
    QVERIFY(copy.Paused());
    QCOMPARE(copy.MaxRunningJobs(), 3);
    QCOMPARE(copy.Name(), queue.Name());
    copy.SetMaxRunningJobs(4);
    QVERIFY(copy != queue);
    Queue assigned;
    QVERIFY(assigned != queue);
    assigned = queue;
    QVERIFY(assigned == queue);
    assigned.RemoveJobAt(0);
    QVERIFY(assigned != queue);
}

} // namespace QueueTests
