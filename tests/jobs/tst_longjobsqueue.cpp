#include "queuetests.h"

#include "jobs/longjobsqueue.h"

#include <QCoreApplication>
#include <QTest>

using Queue = Tavrol_LongJobsQueue;

class TstLongJobsQueue : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void nameAndDefaults()
    {
        Queue queue;
        QCOMPARE(queue.Name(), QStringLiteral("Long"));
        QCOMPARE(queue.MaxRunningJobs(), 1);
        QVERIFY(!queue.Paused());
        QCOMPARE(queue.Count(), 0);
    }

    void pausedQueueEmitsAtEachAddAndStartsNothing()
    {
        QueueTests::PausedQueueEmitsAtEachAddAndStartsNothing<Queue>();
    }
    void maxTwoJobsAddedOneAtATimeBothStart()
    {
        QueueTests::MaxTwoJobsAddedOneAtATimeBothStart<Queue>();
    }
    void addJobsOfTwoStartsOne() { QueueTests::AddJobsOfTwoStartsOne<Queue>(); }
    void maxZeroStartsNothing() { QueueTests::MaxZeroStartsNothing<Queue>(); }
    void unpauseStartsOneJobPerCall() { QueueTests::UnpauseStartsOneJobPerCall<Queue>(); }
    void badIndexAndUnknownIdEmitNothing() { QueueTests::BadIndexAndUnknownIdEmitNothing<Queue>(); }
    void removeJobOfAnAbsentJobStillEmits()
    {
        QueueTests::RemoveJobOfAnAbsentJobStillEmits<Queue>();
    }
    void removeJobRemovesEveryEqualEntry() { QueueTests::RemoveJobRemovesEveryEqualEntry<Queue>(); }
    void killRunningJobsLeavesTheSecondOfTwoAdjacentRunning()
    {
        QueueTests::KillRunningJobsLeavesTheSecondOfTwoAdjacentRunning<Queue>();
    }
    void killRunningJobsOfAPausedQueueStaysPaused()
    {
        QueueTests::KillRunningJobsOfAPausedQueueStaysPaused<Queue>();
    }
    void lookupsOfNamesAndRunningJobs() { QueueTests::LookupsOfNamesAndRunningJobs<Queue>(); }
    void endOfAJobStartsTheNext() { QueueTests::EndOfAJobStartsTheNext<Queue>(); }
    void endedJobsCountNeitherAsRunningNorAsWaiting()
    {
        QueueTests::EndedJobsCountNeitherAsRunningNorAsWaiting<Queue>();
    }
    void removedRunningJobStillFinishesSafely()
    {
        QueueTests::RemovedRunningJobStillFinishesSafely<Queue>();
    }
    void removeAllJobsKillsAndEmitsOnce() { QueueTests::RemoveAllJobsKillsAndEmitsOnce<Queue>(); }
    void setMaxRunningJobsWritesOnlyWhenTheValueDiffers()
    {
        QueueTests::SetMaxRunningJobsWritesOnlyWhenTheValueDiffers<Queue>();
    }
    void setMaxRunningJobsWithoutAProjectKeepsTheValue()
    {
        QueueTests::SetMaxRunningJobsWithoutAProjectKeepsTheValue<Queue>();
    }
    void loweringTheMaximumKillsNothing() { QueueTests::LoweringTheMaximumKillsNothing<Queue>(); }
    void jobThatFailsToStartHoldsARunningPlace()
    {
        QueueTests::JobThatFailsToStartHoldsARunningPlace<Queue>();
    }
    void copyAndComparison() { QueueTests::CopyAndComparison<Queue>(); }
};

QTEST_GUILESS_MAIN(TstLongJobsQueue)
#include "tst_longjobsqueue.moc"
