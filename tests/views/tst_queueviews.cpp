#include "queuetesthelpers.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "platform/computerdata.h"
#include "platform/process.h"
#include "processes/finishedjobswidget.h"
#include "views/listing.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QDir>
#include <QHostInfo>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace QueueTest;

namespace {

// The main object of a run mode without a window, with its six views.
class ConsoleWindow
{
public:
    ConsoleWindow()
    {
        TavrolAppWindow = &m_window;
        m_window.BuildWidgets();
    }
    ~ConsoleWindow() { TavrolAppWindow = nullptr; }
    ConsoleWindow(const ConsoleWindow&) = delete;
    ConsoleWindow& operator=(const ConsoleWindow&) = delete;

    Tavrol_AppWindow& Window() { return m_window; }
    Tavrol_LongJobsQueueWidget& Long() { return *m_window.LongJobsView(); }
    Tavrol_ShortJobsQueueWidget& Short() { return *m_window.ShortJobsView(); }
    Tavrol_QueuelessJobsWidget& Queueless() { return *m_window.QueuelessJobsView(); }
    Tavrol_FinishedJobsWidget& Finished() { return *m_window.FinishedJobsView(); }

private:
    Tavrol_AppWindow m_window;
};

// Opens the removal step of the views to the test.
template <typename View> class RemovingView : public View
{
public:
    using View::RemoveJobs;
};

Tavrol_JobType GaussianLikeType()
{
    return Tavrol_JobType(
        4, QStringLiteral("Gaussian 16"), QStringLiteral("G16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"), QString());
}

std::vector<Tavrol_Job*> JobsOf(const Tavrol_JobsCollection& collection)
{
    std::vector<Tavrol_Job*> jobs;
    collection.Jobs(jobs);
    return jobs;
}

} // namespace

class TstQueueViews : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeConsole; }

    void init()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::SetAll({StandinJobType(0)});
        JobIDManager = Quolix_IDManager(0, 1);
    }

    void cleanup()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_JobType::Clear();
    }

    void withoutAWindowTheViewsHaveNoFrame()
    {
        ConsoleWindow console;
        QVERIFY(!console.Long().Frame());
        QVERIFY(!console.Short().Frame());
        QVERIFY(!console.Queueless().Frame());
        QVERIFY(!console.Finished().Frame());
        QCOMPARE(console.Long().Queue().Name(), QStringLiteral("Long"));
        QCOMPARE(console.Short().Queue().Name(), QStringLiteral("Short"));
        QCOMPARE(console.Queueless().List().Name(), QStringLiteral("Queueless"));
    }

    void addJobFromFileGivesTheClientFieldsOfThisProcess_data()
    {
        QTest::addColumn<int>("queue");
        QTest::newRow("long") << 0;
        QTest::newRow("short") << 1;
        QTest::newRow("queueless") << 2;
    }

    void addJobFromFileGivesTheClientFieldsOfThisProcess()
    {
        QFETCH(int, queue);
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        Tavrol_JobsWidget* views[] = {&console.Long(), &console.Short(), &console.Queueless()};
        const Tavrol_JobsCollection* collections[] = {
            &console.Long().Queue(), &console.Short().Queue(), &console.Queueless().List()};
        const QString tables[] = {QStringLiteral("LongJobsQueue"), QStringLiteral("ShortJobsQueue"),
                                  QStringLiteral("QueuelessJobs")};
        const QString names[] = {QStringLiteral("Long"), QStringLiteral("Short"),
                                 QStringLiteral("None")};
        JobIDManager = Quolix_IDManager(41, 1);

        const QString input = WriteInput(dir.path(), QStringLiteral("water.gjf"), 30);
        views[queue]->AddJobFromFile(input, -1);

        QCOMPARE(collections[queue]->Count(), 1);
        const Tavrol_Job* job = collections[queue]->JobAt(0);
        QCOMPARE(job->JobID, 42);
        QCOMPARE(job->Name, QStringLiteral("water.gjf"));
        QCOMPARE(job->JobType, StandinJobType(0));
        QCOMPARE(job->ClientName, QHostInfo::localHostName());
        QCOMPARE(job->ClientAppName, QStringLiteral("TavrolConsole"));
        QCOMPARE(job->ClientAddress, QStringLiteral("127.0.0.1"));
        QCOMPARE(job->ClientPort, Quolix_ComputerData::TavrolConsolePortNumber());
        QCOMPARE(job->ClientUID, int(getuid()));
        QCOMPARE(job->ClientGID, int(getgid()));
        QCOMPARE(job->QueueID, queue);
        QCOMPARE(job->QueueName, names[queue]);
        QCOMPARE(job->InputFilePath, input);
        QCOMPARE(job->InputFilePath2, QString());
        QCOMPARE(job->JobClass, QString());
        QCOMPARE(job->OutputFilePath, dir.filePath(QStringLiteral("water.log")));
        QCOMPARE(job->Status, JobStatusRunning); // started before its row was written

        QCOMPARE(project.Column(tables[queue], QStringLiteral("JobID")), QStringList{"42"});
        QCOMPARE(project.Column(tables[queue], QStringLiteral("Status")), QStringList{"Running"});
        QString lastJobId;
        QVERIFY(project.Database()->GetGeneralData(QStringLiteral("LastJobID"), lastJobId));
        QCOMPARE(lastJobId, QStringLiteral("42"));
    }

    void addJobFromFileCleansThePath()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        console.Long().Queue().SetPaused(true);
        QDir(dir.path()).mkdir(QStringLiteral("sub"));
        const QString input = WriteInput(dir.path(), QStringLiteral("water.gjf"), 0);
        console.Long().AddJobFromFile(dir.path() + QStringLiteral("/sub/..//./water.gjf"), -1);
        QCOMPARE(console.Long().Queue().Count(), 1);
        QCOMPARE(console.Long().Queue().JobAt(0)->InputFilePath, input);
    }

    void addJobFromFileChoosesTheJobType()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        console.Long().Queue().SetPaused(true);
        Tavrol_JobType comOnly = StandinJobType(3, QStringLiteral("Com"));
        comOnly.InputFileFilter = QStringLiteral("Com Files (*.com)");
        Tavrol_JobType first = StandinJobType(5, QStringLiteral("First"));
        Tavrol_JobType second = StandinJobType(7, QStringLiteral("Second"));
        Tavrol_JobType::SetAll({comOnly, first, second});
        const QString input = WriteInput(dir.path(), QStringLiteral("water.gjf"), 0);

        console.Long().AddJobFromFile(input, -1); // the first that takes the file
        console.Long().AddJobFromFile(input, 7);  // by id
        console.Long().AddJobFromFile(input, 3);  // by id, whatever files it takes
        const std::vector<Tavrol_Job*> jobs = JobsOf(console.Long().Queue());
        QCOMPARE(jobs.size(), size_t(3));
        QCOMPARE(jobs[0]->JobType.Name, QStringLiteral("First"));
        QCOMPARE(jobs[1]->JobType.Name, QStringLiteral("Second"));
        QCOMPARE(jobs[2]->JobType.Name, QStringLiteral("Com"));
    }

    void addJobFromFileDropsWhatItCannotUseSilently()
    {
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        const QString input = WriteInput(dir.path(), QStringLiteral("water.gjf"), 0);
        StdoutCapture capture;
        console.Long().AddJobFromFile(QString(), -1);
        console.Long().AddJobFromFile(dir.filePath(QStringLiteral("missing.gjf")), -1);
        console.Long().AddJobFromFile(QStringLiteral(" ") + input + QStringLiteral(" "), -1);
        console.Long().AddJobFromFile(dir.filePath(QStringLiteral("water.gjf")),
                                      99); // no such type
        console.Long().AddJobFromFile(WriteInput(dir.path(), QStringLiteral("x.inp"), 0), -1);
        Tavrol_JobType broken = StandinJobType(0);
        broken.ExecutablePath = dir.filePath(QStringLiteral("nothing"));
        Tavrol_JobType::SetAll({broken});
        console.Long().AddJobFromFile(input, 0); // an invalid job type
        Tavrol_JobType::SetAll({});
        console.Long().AddJobFromFile(input, -1); // no job types at all
        Tavrol_JobType::SetAll({StandinJobType(0)});
        JobIDManager = Quolix_IDManager(-10, 1); // a job without a valid id
        console.Long().AddJobFromFile(input, -1);
        QCOMPARE(capture.Bytes(), QByteArray());
        QCOMPARE(console.Long().Queue().Count(), 0);
        QCOMPARE(project.Column(QStringLiteral("LongJobsQueue"), QStringLiteral("JobID")),
                 QStringList());
        QString lastJobId;
        QVERIFY(!project.Database()->GetGeneralData(QStringLiteral("LastJobID"), lastJobId));
    }

    void addJobWithoutAProjectKeepsTheJobInMemory()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        console.Short().Queue().SetPaused(true);
        Tavrol_Job* job = MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), 3, 1,
                                  QStringLiteral("Short"));
        console.Short().AddJob(job);
        QCOMPARE(console.Short().Queue().JobAt(0), job);
        QCOMPARE(job->Status, JobStatusPending);
    }

    void anEndedJobIsSweptIntoTheFinishedJobs_data()
    {
        QTest::addColumn<int>("queue");
        QTest::newRow("long") << 0;
        QTest::newRow("short") << 1;
        QTest::newRow("queueless") << 2;
    }

    void anEndedJobIsSweptIntoTheFinishedJobs()
    {
        QFETCH(int, queue);
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        Tavrol_JobsWidget* views[] = {&console.Long(), &console.Short(), &console.Queueless()};
        const Tavrol_JobsCollection* collections[] = {
            &console.Long().Queue(), &console.Short().Queue(), &console.Queueless().List()};
        const QString tables[] = {QStringLiteral("LongJobsQueue"), QStringLiteral("ShortJobsQueue"),
                                  QStringLiteral("QueuelessJobs")};

        views[queue]->AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0, 3), -1);
        QCOMPARE(project.Column(tables[queue], QStringLiteral("JobID")), QStringList{"1"});
        QPointer<Tavrol_Job> job = collections[queue]->JobAt(0);
        QVERIFY(job);

        QTRY_COMPARE_WITH_TIMEOUT(console.Finished().FinishedJobs().size(), size_t(1), WaitMs);
        QCOMPARE(collections[queue]->Count(), 0);
        const Tavrol_Job& finished = console.Finished().FinishedJobs().front();
        QCOMPARE(finished.JobID, 1);
        QCOMPARE(finished.Status, JobStatusFailed);
        QCOMPARE(finished.QueueID, queue);
        QVERIFY(finished.Finished.isValid());
        QVERIFY(!finished.Process);
        QCOMPARE(project.Column(tables[queue], QStringLiteral("JobID")), QStringList());
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList{"1"});
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("Status")),
                 QStringList{"Failed"});
        // The view lets go of the job once its end is over.
        QTRY_VERIFY_WITH_TIMEOUT(job.isNull(), WaitMs);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
    }

    void endedJobsFillTheFreePlacesOneAfterAnother()
    {
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        console.Long().SetMaxRunningJobs(2);
        for (const char* name : {"a.gjf", "b.gjf", "c.gjf", "d.gjf", "e.gjf"})
            console.Long().AddJobFromFile(WriteInput(dir.path(), QLatin1String(name), 0), -1);
        QCOMPARE(console.Long().Queue().JobAt(1)->Status, JobStatusRunning);
        QCOMPARE(console.Long().Queue().JobAt(2)->Status, JobStatusPending);
        QTRY_COMPARE_WITH_TIMEOUT(console.Finished().FinishedJobs().size(), size_t(5), WaitMs);
        QCOMPARE(console.Long().Queue().Count(), 0);
        QStringList ids;
        for (const Tavrol_Job& job : console.Finished().FinishedJobs()) {
            ids.append(QString::number(job.JobID));
            QCOMPARE(job.Status, JobStatusCompleted);
        }
        ids.sort();
        QCOMPARE(ids, QStringList({"1", "2", "3", "4", "5"}));
        QCOMPARE(project.Column(QStringLiteral("LongJobsQueue"), QStringLiteral("JobID")),
                 QStringList());
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")).size(), 5);
    }

    void aKilledRunningJobIsInTheFinishedJobsAsRunning_data()
    {
        QTest::addColumn<int>("queue");
        QTest::newRow("long") << 0;
        QTest::newRow("short") << 1;
        QTest::newRow("queueless") << 2;
    }

    void aKilledRunningJobIsInTheFinishedJobsAsRunning()
    {
        QFETCH(int, queue);
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        Tavrol_JobsWidget* views[] = {&console.Long(), &console.Short(), &console.Queueless()};
        const Tavrol_JobsCollection* collections[] = {
            &console.Long().Queue(), &console.Short().Queue(), &console.Queueless().List()};
        const QString tables[] = {QStringLiteral("LongJobsQueue"), QStringLiteral("ShortJobsQueue"),
                                  QStringLiteral("QueuelessJobs")};

        views[queue]->AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
        QPointer<Tavrol_Job> job = collections[queue]->JobAt(0);
        QVERIFY(job && job->Process);
        const int pid = job->Process->ProcessID();
        QVERIFY(pid > 0);

        QVERIFY(!views[queue]->RemoveJobByProcessID(pid + 100000));
        QVERIFY(views[queue]->RemoveJobByProcessID(pid));
        QCOMPARE(collections[queue]->Count(), 0);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
        const Tavrol_Job& record = console.Finished().FinishedJobs().front();
        QCOMPARE(record.Status, JobStatusRunning);
        QVERIFY(!record.Finished.isValid());
        QCOMPARE(project.Column(tables[queue], QStringLiteral("JobID")), QStringList());
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("Status")),
                 QStringList{"Running"});

        // The end of the killed run comes later and adds no second record.
        QTRY_VERIFY_WITH_TIMEOUT(job.isNull(), WaitMs);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
        QCOMPARE(console.Finished().FinishedJobs().front().Status, JobStatusRunning);
    }

    // At exit the kills come after the last event has been served: a killed
    // job whose end never arrives goes with its view.
    void aKilledJobWhoseEndNeverComesGoesWithItsView()
    {
        QTemporaryDir dir;
        MemoryProject project;
        QPointer<Tavrol_Job> job;
        {
            ConsoleWindow console;
            console.Long().AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
            job = console.Long().Queue().JobAt(0);
            QVERIFY(job && job->Process);
            console.Long().PauseAndKillRunningJobs();
            QCOMPARE(console.Long().Queue().Count(), 0);
            QVERIFY(!job.isNull());
        }
        QVERIFY(job.isNull());
    }

    void removeJobsTakesWaitingJobsWithoutATrace()
    {
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        RemovingView<Tavrol_LongJobsQueueWidget> view;
        QVERIFY(!view.RemoveJobs({}));
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), -1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("c.gjf"), 30), -1);
        QCOMPARE(view.Queue().JobAt(0)->Status, JobStatusRunning);
        QVERIFY(!view.RemoveJobs({2, 99})); // an id no longer there
        QCOMPARE(view.Queue().Count(), 3);

        QVERIFY(view.RemoveJobs({3, 1}));
        QCOMPARE(view.Queue().Count(), 1);
        QCOMPARE(view.Queue().JobAt(0)->JobID, 2);
        // The second job started in the place the kill left.
        QCOMPARE(view.Queue().JobAt(0)->Status, JobStatusRunning);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
        QCOMPARE(console.Finished().FinishedJobs().front().JobID, 1);
        QCOMPARE(project.Column(QStringLiteral("LongJobsQueue"), QStringLiteral("JobID")),
                 QStringList{"2"});
    }

    void theSweepWaitsWhileJobsAreRemoved()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        RemovingView<Tavrol_ShortJobsQueueWidget> view;
        view.Queue().SetPaused(true);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 0), -1);
        view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("b.gjf"), 0), -1);
        // An ended job that no update has swept yet.
        view.Queue().JobAt(0)->SetStatus(JobStatusCompleted, true);
        QVERIFY(view.RemoveJobs({2}));
        QCOMPARE(view.Queue().Count(), 1);
        QCOMPARE(view.Queue().JobAt(0)->JobID, 1);
        QVERIFY(console.Finished().FinishedJobs().empty());
        // The next update sweeps it.
        view.Queue().UpdateQueue();
        QCOMPARE(view.Queue().Count(), 0);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
        QCOMPARE(console.Finished().FinishedJobs().front().JobID, 1);
    }

    void aLongQueueSweepsOnlyItsEndedJobsInListOrder()
    {
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        RemovingView<Tavrol_ShortJobsQueueWidget> view;
        view.Queue().SetPaused(true);
        const int count = 400;
        for (int i = 0; i < count; ++i)
            view.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("j%1.gjf").arg(i), 0), -1);
        QCOMPARE(view.Queue().Count(), count);
        // Adds sweep nothing: every job waits.
        QVERIFY(console.Finished().FinishedJobs().empty());
        // Ended jobs far apart in the list, set behind the scheduler's back.
        for (const int index : {250, 5, 100})
            view.Queue().JobAt(index)->SetStatus(JobStatusCompleted, true);
        // One set back to wait is no longer ended and stays.
        view.Queue().JobAt(300)->SetStatus(JobStatusFailed, true);
        view.Queue().JobAt(300)->SetStatus(JobStatusPending, true);
        view.Queue().UpdateQueue();
        QCOMPARE(view.Queue().Count(), count - 3);
        // Each removal's nested pass takes the jobs behind it first.
        QStringList finishedIds;
        for (const Tavrol_Job& job : console.Finished().FinishedJobs()) {
            finishedIds.append(QString::number(job.JobID));
            QCOMPARE(job.Status, JobStatusCompleted);
        }
        QCOMPARE(finishedIds, QStringList({"251", "101", "6"}));
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList({"6", "101", "251"}));
        QStringList waiting;
        for (int id = 1; id <= count; ++id) {
            if (id != 6 && id != 101 && id != 251)
                waiting.append(QString::number(id));
        }
        QStringList inQueue;
        for (const Tavrol_Job* job : JobsOf(view.Queue())) {
            inQueue.append(QString::number(job->JobID));
            QCOMPARE(job->Status, JobStatusPending);
        }
        QCOMPARE(inQueue, waiting);
        QCOMPARE(project.Column(QStringLiteral("ShortJobsQueue"), QStringLiteral("JobID")),
                 waiting);
        // A removal is no ending: nothing more goes to the finished jobs.
        QVERIFY(view.RemoveJobs({7}));
        view.Queue().UpdateQueue();
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(3));
        QCOMPARE(view.Queue().Count(), count - 4);
    }

    void aLongQueueStartsItsJobsInOrderAndSweepsThemAll()
    {
        QTemporaryDir dir;
        MemoryProject project;
        ConsoleWindow console;
        console.Long().SetMaxRunningJobs(3);
        const int count = 150;
        for (int i = 0; i < count; ++i) {
            console.Long().AddJobFromFile(
                WriteInput(dir.path(), QStringLiteral("j%1.gjf").arg(i), 0), -1);
        }
        // The first three run at once, the rest wait in order.
        for (int index = 0; index < 3; ++index)
            QCOMPARE(console.Long().Queue().JobAt(index)->Status, JobStatusRunning);
        QCOMPARE(console.Long().Queue().JobAt(3)->Status, JobStatusPending);
        QCOMPARE(console.Long().Queue().JobAt(count - 1)->Status, JobStatusPending);
        QTRY_COMPARE_WITH_TIMEOUT(console.Finished().FinishedJobs().size(), size_t(count),
                                  WaitMs * 4);
        QCOMPARE(console.Long().Queue().Count(), 0);
        std::vector<const Tavrol_Job*> byId(count + 1, nullptr);
        for (const Tavrol_Job& job : console.Finished().FinishedJobs()) {
            QCOMPARE(job.Status, JobStatusCompleted);
            QVERIFY(job.JobID >= 1 && job.JobID <= count);
            QVERIFY(!byId[static_cast<size_t>(job.JobID)]);
            byId[static_cast<size_t>(job.JobID)] = &job;
        }
        // Jobs started in the order they were queued.
        for (int id = 2; id <= count; ++id)
            QVERIFY(byId[static_cast<size_t>(id - 1)]->Started <=
                    byId[static_cast<size_t>(id)]->Started);
        QCOMPARE(project.Column(QStringLiteral("LongJobsQueue"), QStringLiteral("JobID")),
                 QStringList());
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")).size(),
                 count);
    }

    void loadJobsBringsTheQueuesUpPaused()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        std::unique_ptr<Tavrol_Job> a(
            MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
        std::unique_ptr<Tavrol_Job> b(
            MakeJob(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2));
        a->SetStatus(JobStatusRunning, false); // stored while it ran
        a->Submitted = QDateTime(QDate(2020, 1, 2), QTime(3, 4, 5));
        console.Long().AddJobFromFile(WriteInput(dir.path(), QStringLiteral("old.gjf"), 0), -1);
        console.Long().LoadJobs({*a, *b});
        QVERIFY(console.Long().Queue().Paused());
        QCOMPARE(console.Long().Queue().Count(), 2);
        for (const Tavrol_Job* job : JobsOf(console.Long().Queue())) {
            QCOMPARE(job->Status, JobStatusPending);
            QVERIFY(job->Submitted > a->Submitted);
            QVERIFY(!job->Process);
        }
        console.Short().LoadJobs({*b});
        QVERIFY(console.Short().Queue().Paused());
        QCOMPARE(console.Short().Queue().JobAt(0)->Status, JobStatusPending);

        console.Queueless().LoadJobs({*a, *b});
        for (const Tavrol_Job* job : JobsOf(console.Queueless().List()))
            QCOMPARE(job->Status, JobStatusRunning);
        console.Queueless().KillRunningJobs();
    }

    void clearJobsLeavesThePauseAsItWas()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        console.Long().Queue().SetPaused(true);
        console.Long().AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
        console.Long().ClearJobs();
        QCOMPARE(console.Long().Queue().Count(), 0);
        QVERIFY(console.Long().Queue().Paused());
        console.Short().AddJobFromFile(WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), -1);
        QPointer<Tavrol_Job> running = console.Short().Queue().JobAt(0);
        QCOMPARE(running->Status, JobStatusRunning);
        console.Short().ClearJobs();
        QCOMPARE(console.Short().Queue().Count(), 0);
        QVERIFY(!console.Short().Queue().Paused());
        QTRY_VERIFY_WITH_TIMEOUT(running.isNull(), WaitMs);
    }

    void setMaxRunningJobsKeepsTheValueInTheProject()
    {
        MemoryProject project;
        ConsoleWindow console;
        console.Long().SetMaxRunningJobs(3);
        console.Short().SetMaxRunningJobs(5);
        QCOMPARE(console.Long().Queue().MaxRunningJobs(), 3);
        QCOMPARE(project.Database()->GetQueueMaxRunningJobs(QStringLiteral("Long")), 3);
        QCOMPARE(project.Database()->GetQueueMaxRunningJobs(QStringLiteral("Short")), 5);
    }

    void pauseAndKillRunningJobsLeavesTheQueuePaused()
    {
        QTemporaryDir dir;
        ConsoleWindow console;
        console.Long().SetMaxRunningJobs(2);
        for (const char* name : {"a.gjf", "b.gjf", "c.gjf"})
            console.Long().AddJobFromFile(WriteInput(dir.path(), QLatin1String(name), 30), -1);
        console.Long().PauseAndKillRunningJobs();
        QVERIFY(console.Long().Queue().Paused());
        // The first is killed, the second moved into its place and is passed over.
        QCOMPARE(console.Long().Queue().Count(), 2);
        QCOMPARE(console.Long().Queue().JobAt(0)->JobID, 2);
        QCOMPARE(console.Long().Queue().JobAt(0)->Status, JobStatusRunning);
        QCOMPARE(console.Long().Queue().JobAt(1)->Status, JobStatusPending);
        QCOMPARE(console.Finished().FinishedJobs().size(), size_t(1));
        QCOMPARE(console.Finished().FinishedJobs().front().JobID, 1);
        console.Long().PauseAndKillRunningJobs();
        QCOMPARE(console.Long().Queue().Count(), 1);
        QCOMPARE(console.Long().Queue().JobAt(0)->Status, JobStatusPending);
    }

    void printListOfEmptyViews()
    {
        ConsoleWindow console;
        StdoutCapture capture;
        console.Long().PrintList();
        console.Short().PrintList();
        console.Queueless().PrintList();
        QCOMPARE(capture.Bytes(), QByteArray("\nLong Jobs Queue is Empty\n\n"
                                             "\nShort Jobs Queue is Empty\n\n"
                                             "\nQueueless Jobs List is Empty\n\n"));
    }

    void printListOfWaitingJobs()
    {
        ConsoleWindow console;
        console.Short().Queue().SetPaused(true);
        Tavrol_Job* water =
            new Tavrol_Job(QStringLiteral("water.gjf"), GaussianLikeType(), QString(), QString(),
                           QString(), -1, -1, -1, 1, QStringLiteral("Short"),
                           QStringLiteral("/data/water.gjf"), QString(), 7, QString());
        Tavrol_Job* benzene =
            new Tavrol_Job(QStringLiteral("benzene-opt.gjf"), GaussianLikeType(), QString(),
                           QString(), QString(), -1, -1, -1, 1, QStringLiteral("Short"),
                           QStringLiteral("/data/benzene-opt.gjf"), QString(), 12, QString());
        console.Short().AddJob(water);
        console.Short().AddJob(benzene);
        const QString first = Tavrol_Listing::TimeText(water->Submitted);
        const QString second = Tavrol_Listing::TimeText(benzene->Submitted);
        QCOMPARE(first.size(), 19);

        StdoutCapture capture;
        console.Short().PrintList();
        const QString expected =
            QStringLiteral(
                "\nShort Jobs Queue\n"
                "Job ID  Name             Status   Job Type     Executable Path  Command Line  "
                "                                            Submitted            Started\n"
                "-----------------------------------------------------------------------------"
                "-------------------------------------------------------------------------\n"
                "7       water.gjf        Pending  Gaussian 16  /opt/g16/g16     /opt/g16/g16 "
                "/data/water.gjf /data/water.log              %1         \n"
                "12      benzene-opt.gjf  Pending  Gaussian 16  /opt/g16/g16     /opt/g16/g16 "
                "/data/benzene-opt.gjf /data/benzene-opt.log  %2         \n"
                "\n")
                .arg(first, second);
        QCOMPARE(QString::fromLocal8Bit(capture.Bytes()), expected);
    }

    void printListOfARunningQueuelessJob()
    {
        QTemporaryDir dir;
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        QVERIFY(QFile::link(StandinPath(), dir.filePath(QStringLiteral("g16"))));
        WriteInput(dir.path(), QStringLiteral("ethane.gjf"), 30);
        Tavrol_JobType local = StandinJobType(0);
        local.ExecutablePath = QStringLiteral("./g16");
        {
            ConsoleWindow console;
            Tavrol_Job* ethane = new Tavrol_Job(
                QStringLiteral("ethane.gjf"), local, QString(), QString(), QString(), -1, -1, -1, 2,
                QStringLiteral("None"), QStringLiteral("ethane.gjf"), QString(), 3, QString());
            console.Queueless().AddJob(ethane);
            QCOMPARE(ethane->Status, JobStatusRunning);
            QVERIFY(ethane->Process);
            StdoutCapture capture;
            console.Queueless().PrintList();
            const QString expected =
                QStringLiteral("\nQueueless Jobs List\n"
                               "Job ID  Name        Status   Job Type  Executable Path  Command "
                               "Line                 Submitted            Started            \n"
                               "---------------------------------------------------------------"
                               "--------------------------------------------------------------\n"
                               "3       ethane.gjf  Running  Standin   ./g16            ./g16 "
                               "ethane.gjf ethane.log  %1  %2\n"
                               "\n")
                    .arg(Tavrol_Listing::TimeText(ethane->Submitted),
                         Tavrol_Listing::TimeText(ethane->Started));
            QCOMPARE(QString::fromLocal8Bit(capture.Bytes()), expected);
            console.Queueless().KillRunningJobs();
            QCOMPARE(console.Queueless().List().Count(), 0);
        }
        QDir::setCurrent(previous);
    }

    void openingAProjectBringsBackTheQueuesButNotTheQueuelessList()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("project.tvrl"));
        {
            MemoryProject project;
            Tavrol_Database* database = project.Database();
            QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2")));
            int id = -1;
            QVERIFY(database->AddJobType(StandinJobType(0), true, &id));
            std::unique_ptr<Tavrol_Job> longJob(
                MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 1));
            std::unique_ptr<Tavrol_Job> queuelessJob(MakeJob(
                WriteInput(dir.path(), QStringLiteral("b.gjf"), 30), 2, 2, QStringLiteral("None")));
            QVERIFY(database->AddLongJob(*longJob, true, &id));
            QVERIFY(database->AddQueuelessJob(*queuelessJob, true, &id));
            QVERIFY(Tavrol_Database_Manager::Instance()->SaveToFile(database, path));
        }
        ConsoleWindow console;
        QVERIFY(console.Window().OpenProject(path));
        QCOMPARE(console.Long().Queue().Count(), 1);
        QVERIFY(console.Long().Queue().Paused());
        QCOMPARE(console.Long().Queue().JobAt(0)->Status, JobStatusPending);
        QCOMPARE(console.Queueless().List().Count(), 0);
        Tavrol_Database* database = Tavrol_Database_Manager::Instance()->CurrentDatabase;
        QVERIFY(database);
        QCOMPARE(database->LoadQueuelessJobs().size(), size_t(1)); // still in the file
    }
};

QTEST_GUILESS_MAIN(TstQueueViews)
#include "tst_queueviews.moc"
