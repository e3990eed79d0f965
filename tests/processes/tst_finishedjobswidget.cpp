#include "../views/queuetesthelpers.h"

#include "app/globals.h"
#include "processes/finishedjobswidget.h"
#include "window/appwindow.h"

#include <QTemporaryDir>
#include <QTest>

using namespace QueueTest;

namespace {

Tavrol_JobType GaussianLikeType()
{
    return Tavrol_JobType(
        4, QStringLiteral("Gaussian 16"), QStringLiteral("G16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"), QString());
}

Tavrol_Job EndedJob(const QString& name, int id, int queueId, const QString& queueName)
{
    Tavrol_Job job(name, GaussianLikeType(), QString(), QString(), QString(), -1, -1, -1, queueId,
                   queueName, QStringLiteral("/data/") + name, QString(), id, QString());
    return job;
}

} // namespace

class TstFinishedJobsWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeConsole; }
    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void withoutAWindowThereIsNoFrame()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(!view.Frame());
        QVERIFY(view.FinishedJobs().empty());
    }

    void addJobKeepsACopyAndStoresIt()
    {
        QTemporaryDir dir;
        MemoryProject project;
        Tavrol_FinishedJobsWidget view;
        JobsOwner owner;
        Tavrol_Job* running =
            owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), 8));
        QVERIFY(running->Start());
        QVERIFY(running->Process);
        view.AddJob(*running);
        QCOMPARE(view.FinishedJobs().size(), size_t(1));
        const Tavrol_Job& copy = view.FinishedJobs().front();
        QVERIFY(!copy.Process);
        QVERIFY(copy == *running);
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList{"8"});
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("Status")),
                 QStringList{"Running"});
        // A second add of the same job makes a second row, with the next key.
        view.AddJob(*running);
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("FinishedJobID")),
                 QStringList({"0", "1"}));
    }

    void addJobWithoutAProjectKeepsItInMemory()
    {
        Tavrol_FinishedJobsWidget view;
        view.AddJob(EndedJob(QStringLiteral("a.gjf"), 1, 0, QStringLiteral("Long")));
        QCOMPARE(view.FinishedJobs().size(), size_t(1));
    }

    void setJobsReplacesAndClearLeavesTheStore()
    {
        MemoryProject project;
        Tavrol_FinishedJobsWidget view;
        view.AddJob(EndedJob(QStringLiteral("a.gjf"), 1, 0, QStringLiteral("Long")));
        view.SetJobs({EndedJob(QStringLiteral("b.gjf"), 2, 1, QStringLiteral("Short")),
                      EndedJob(QStringLiteral("c.gjf"), 3, 1, QStringLiteral("Short"))});
        QCOMPARE(view.FinishedJobs().size(), size_t(2));
        QCOMPARE(view.FinishedJobs()[0].JobID, 2);
        QCOMPARE(view.FinishedJobs()[1].JobID, 3);
        view.Clear();
        QVERIFY(view.FinishedJobs().empty());
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList{"1"});
    }

    void aJobKilledByItsKillKeepsTheStatusRunning()
    {
        QTemporaryDir dir;
        MemoryProject project;
        RunMode = RunModeConsole;
        Tavrol_AppWindow window;
        TavrolAppWindow = &window;
        window.BuildWidgets();
        {
            JobsOwner owner;
            Tavrol_Job* job =
                owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("k.gjf"), 30), 5));
            QVERIFY(job->Start());
            job->Kill();
            Tavrol_FinishedJobsWidget& view = *window.FinishedJobsView();
            QCOMPARE(view.FinishedJobs().size(), size_t(1));
            QCOMPARE(view.FinishedJobs().front().Status, JobStatusRunning);
            QVERIFY(!view.FinishedJobs().front().Finished.isValid());
            QTRY_COMPARE_WITH_TIMEOUT(job->Status, JobStatusKilled, WaitMs);
            // The record is not corrected later.
            QCOMPARE(view.FinishedJobs().size(), size_t(1));
            QCOMPARE(view.FinishedJobs().front().Status, JobStatusRunning);
            QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("Status")),
                     QStringList{"Running"});
        }
        TavrolAppWindow = nullptr;
    }

    void printListOfAnEmptyList()
    {
        Tavrol_FinishedJobsWidget view;
        StdoutCapture capture;
        view.PrintList();
        QCOMPARE(capture.Bytes(), QByteArray("\nFinished Jobs List is Empty\n\n"));
    }

    void printListIsByteForByte()
    {
        Tavrol_Job water = EndedJob(QStringLiteral("water.gjf"), 5, 0, QStringLiteral("Long"));
        water.SetStatus(JobStatusCompleted, false);
        water.Submitted = QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9));
        water.Started = QDateTime(QDate(2024, 5, 17), QTime(14, 3, 10));
        water.Finished = QDateTime(QDate(2024, 5, 17), QTime(14, 5, 0));
        Tavrol_Job killed = EndedJob(QStringLiteral("b.gjf"), 9, 2, QStringLiteral("Queueless"));
        killed.SetStatus(JobStatusRunning, false);
        killed.Submitted = QDateTime(QDate(2023, 12, 1), QTime(9, 0, 0));
        killed.Started = QDateTime(QDate(2023, 12, 1), QTime(9, 0, 1));
        Tavrol_FinishedJobsWidget view;
        view.SetJobs({water, killed});
        StdoutCapture capture;
        view.PrintList();
        const QByteArray expected =
            "\nFinished Jobs\n"
            "Job ID  Name       Status     Job Type     Queue      Executable Path  Command Line   "
            "                               Submitted            Started              Finished    "
            "       \n"
            "--------------------------------------------------------------------------------------"
            "--"
            "--------------------------------------------------------------------------------------"
            "----"
            "\n"
            "5       water.gjf  Completed  Gaussian 16  Long       /opt/g16/g16     /opt/g16/g16 "
            "/data/water.gjf /data/water.log  05-17-2024 14:03:09  05-17-2024 14:03:10  05-17-2024 "
            "14:05:00\n"
            "9       b.gjf      Running    Gaussian 16  Queueless  /opt/g16/g16     /opt/g16/g16 "
            "/data/b.gjf /data/b.log          12-01-2023 09:00:00  12-01-2023 09:00:01             "
            "        \n"
            "\n";
        QCOMPARE(capture.Bytes(), expected);
    }
};

QTEST_GUILESS_MAIN(TstFinishedJobsWidget)
#include "tst_finishedjobswidget.moc"
