#include "../views/queuetesthelpers.h"

#include "jobs/job.h"
#include "jobs/queuelessjobslist.h"
#include "platform/process.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace QueueTest;

class TstQueuelessJobsList : public QObject
{
    Q_OBJECT

private:
    static Tavrol_Job* Job(JobsOwner& owner, const QTemporaryDir& dir, const QString& name, int id,
                           int sleepSeconds = 30)
    {
        return owner.Keep(
            MakeJob(WriteInput(dir.path(), name, sleepSeconds), id, 2, QStringLiteral("None")));
    }

private slots:
    void nameAndEmptyList()
    {
        Tavrol_QueuelessJobsList list;
        QCOMPARE(list.Name(), QStringLiteral("Queueless"));
        QCOMPARE(list.Count(), 0);
    }

    void threeJobsAddedOneAtATimeAllRun()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        for (int id = 1; id <= 3; ++id)
            list.AddJob(Job(owner, dir, QStringLiteral("j%1.gjf").arg(id), id));
        QCOMPARE(spy.count(), 3);
        for (int index = 0; index < 3; ++index) {
            QCOMPARE(list.JobAt(index)->Status, JobStatusRunning);
            QVERIFY(list.JobAt(index)->Process);
        }
    }

    void addJobsOfThreeRunsAllThree()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        std::vector<Tavrol_Job> values;
        for (int id = 1; id <= 3; ++id) {
            std::unique_ptr<Tavrol_Job> job(
                MakeJob(WriteInput(dir.path(), QStringLiteral("j%1.gjf").arg(id), 30), id, 2,
                        QStringLiteral("None")));
            values.push_back(*job);
        }
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        list.AddJobs(values);
        std::vector<Tavrol_Job*> jobs;
        list.Jobs(jobs);
        for (Tavrol_Job* job : jobs)
            owner.Keep(job);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(list.Count(), 3);
        for (const Tavrol_Job* job : jobs)
            QCOMPARE(job->Status, JobStatusRunning);
    }

    void removeJobOnAnEmptyListOnlyEmits()
    {
        Tavrol_QueuelessJobsList list;
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        Tavrol_Job absent;
        list.RemoveJob(absent);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(list.Count(), 0);
    }

    void badIndexAndUnknownIdDoNothing()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        list.AddJob(Job(owner, dir, QStringLiteral("a.gjf"), 1));
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        list.RemoveJobAt(-1);
        list.RemoveJobAt(1);
        list.RemoveJobWithID(7);
        QCOMPARE(spy.count(), 0);
        QCOMPARE(list.Count(), 1);
    }

    void removeJobAtKillsAndStartsPendingJobs()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_Job* a = Job(owner, dir, QStringLiteral("a.gjf"), 1);
        list.AddJob(a);
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        list.RemoveJobWithID(1);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(list.Count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
        // The end of the removed job still runs a pass of the list.
        QCOMPARE(spy.count(), 2);
    }

    void removeAllJobsEmitsOnce()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_Job* a = Job(owner, dir, QStringLiteral("a.gjf"), 1);
        Tavrol_Job* b = Job(owner, dir, QStringLiteral("b.gjf"), 2);
        list.AddJob(a);
        list.AddJob(b);
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        list.RemoveAllJobs();
        QCOMPARE(spy.count(), 1);
        QCOMPARE(list.Count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(b->Status, JobStatusKilled, WaitMs);
    }

    void killRunningJobsSkipsTheJobAfterARemovedOne()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_Job* a = Job(owner, dir, QStringLiteral("a.gjf"), 1);
        Tavrol_Job* b = Job(owner, dir, QStringLiteral("b.gjf"), 2);
        Tavrol_Job* c = Job(owner, dir, QStringLiteral("c.gjf"), 3);
        list.AddJob(a);
        list.AddJob(b);
        list.AddJob(c);
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        list.KillRunningJobs();
        // a is removed, b moves into its place and is passed over, c is removed.
        QCOMPARE(list.Count(), 1);
        QCOMPARE(list.JobAt(0), b);
        QCOMPARE(b->Status, JobStatusRunning);
        QCOMPARE(spy.count(), 2); // one pass per removal, no signal of its own
        QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusKilled, WaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(c->Status, JobStatusKilled, WaitMs);
        QCOMPARE(b->Status, JobStatusRunning);
    }

    void jobThatFailsToStartStaysRunningAndIsLeftAlone()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_JobType answering = StandinJobType();
        answering.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE\nanswer\n");
        Tavrol_Job* a = owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), 1, 2,
                                           QStringLiteral("None"), answering));
        a->OutputFilePath = dir.filePath(QStringLiteral("missing/a.log"));
        list.AddJob(a);
        QCOMPARE(a->Status, JobStatusRunning);
        QVERIFY(!a->Process);
        const QDateTime started = a->Started;
        list.StartPendingJobs();
        list.JobFinishedSlot();
        QCOMPARE(a->Status, JobStatusRunning);
        QCOMPARE(a->Started, started);
        QCOMPARE(list.Count(), 1);
    }

    void endOfAJobRunsAPass()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_Job* a = Job(owner, dir, QStringLiteral("a.gjf"), 1, 0);
        list.AddJob(a);
        QSignalSpy spy(&list, &Tavrol_QueuelessJobsList::ListUpdatedSignal);
        QTRY_COMPARE_WITH_TIMEOUT(a->Status, JobStatusCompleted, WaitMs);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(list.Count(), 1); // the view takes ended jobs out, not the list
    }

    void lookupsAreThoseOfTheQueues()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        Tavrol_Job* a = Job(owner, dir, QStringLiteral("a.gjf"), 4);
        list.AddJob(a);
        QCOMPARE(list.JobWithID(4), a);
        QCOMPARE(list.IndexOfJobID(4), 0);
        QVERIFY(a->Process);
        QCOMPARE(list.JobWithProcessID(a->Process->ProcessID()), a);
        QStringList names;
        QVERIFY(list.JobNames({4}, names));
        QCOMPARE(names, QStringList{QStringLiteral("a.gjf")});
        bool running = false;
        QVERIFY(list.AnyRunning({4}, running));
        QVERIFY(running);
        std::vector<int> ids;
        QVERIFY(!list.JobIDsAt({1}, ids));
    }

    void copyAndComparison()
    {
        QTemporaryDir dir;
        JobsOwner owner;
        Tavrol_QueuelessJobsList list;
        list.AddJob(Job(owner, dir, QStringLiteral("a.gjf"), 1));
        Tavrol_QueuelessJobsList copy(list);
        QVERIFY(copy == list);
        QCOMPARE(copy.Name(), QStringLiteral("Queueless"));
        Tavrol_QueuelessJobsList other;
        QVERIFY(other != list);
        other = list;
        QVERIFY(other == list);
    }
};

QTEST_GUILESS_MAIN(TstQueuelessJobsList)
#include "tst_queuelessjobslist.moc"
