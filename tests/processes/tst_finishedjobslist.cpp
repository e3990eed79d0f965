#include "../views/queuetesthelpers.h"

#include "app/globals.h"
#include "processes/finishedjobslist.h"
#include "processes/finishedjobswidget.h"
#include "views/listing.h"

#include <QTest>

using namespace QueueTest;

namespace {

Tavrol_JobType ListType(int id, const QString& name)
{
    return Tavrol_JobType(id, name, QStringLiteral("G16"), QStringLiteral("/opt/g16/g16"),
                          QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                          QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"),
                          QString());
}

// Every field set, and texts of every kind: null, empty, Latin-1 and beyond.
Tavrol_Job FullJob()
{
    Tavrol_Job job(QStringLiteral("Molécule_Ω.gjf"), ListType(3, QStringLiteral("Type A")),
                   QStringLiteral("Client"), QStringLiteral("Viewer"), QStringLiteral("127.0.0.1"),
                   5001, 501, 20, 1, QStringLiteral("Short"),
                   QStringLiteral("/data/Molécule_Ω.gjf"), QString(QLatin1String("")), 42,
                   QStringLiteral("Class"));
    job.StandardInputFile = QStringLiteral("/data/in.txt");
    job.StandardOutputFile = QString();
    job.ChkFile = QStringLiteral("/data/a.chk");
    job.ChkFile1 = QString(QLatin1String(""));
    job.StdOutAndStdErr = QStringLiteral("line one\nline two ✓\n");
    job.Submitted = QDateTime(QDate(2024, 3, 1), QTime(8, 0, 1));
    job.Started = QDateTime(QDate(2024, 3, 1), QTime(8, 0, 2), Qt::UTC);
    job.Finished = QDateTime();
    job.Status = JobStatusCrashed;
    job.ClientNotification = 1;
    job.Replacements = {{QStringLiteral("@A"), QStringLiteral("1")}};
    return job;
}

Tavrol_Job PlainJob(int id, const QString& client)
{
    Tavrol_Job job(QStringLiteral("mol_%1.gjf").arg(id), ListType(4, QStringLiteral("Type B")),
                   client, QStringLiteral("Viewer"), QStringLiteral("127.0.0.1"), 5000 + id, 501,
                   20, id % 3, Tavrol_JobType::QueueNameFromID(id % 3),
                   QStringLiteral("/data/mol_%1.gjf").arg(id), QString(), id, QString());
    const QDateTime start(QDate(2024, 1, 1), QTime(8, 0, 0));
    job.Submitted = start.addSecs(id);
    job.Started = start.addSecs(id + 5);
    job.Finished = start.addSecs(id + 65);
    job.Status = id % 7 == 0 ? JobStatusFailed : JobStatusCompleted;
    job.StdOutAndStdErr = QStringLiteral("log of %1\n").arg(id);
    return job;
}

// Each text field's null flag, in the record's order.
QList<bool> NullFlags(const Tavrol_JobRecord& job)
{
    return {job.JobClass.isNull(),          job.Name.isNull(),
            job.ClientName.isNull(),        job.ClientAppName.isNull(),
            job.ClientAddress.isNull(),     job.QueueName.isNull(),
            job.InputFilePath.isNull(),     job.InputFilePath2.isNull(),
            job.StandardInputFile.isNull(), job.StandardOutputFile.isNull(),
            job.OutputFilePath.isNull(),    job.ChkFile.isNull(),
            job.ChkFile1.isNull(),          job.StdOutAndStdErr.isNull(),
            job.JobType.Name.isNull(),      job.JobType.EnvironmentVariables.isNull()};
}

// The cells that the listing of kept rows was given for a finished job.
QStringList ListedCells(const Tavrol_Job& job)
{
    return {QString::number(job.JobID),
            job.Name,
            Tavrol_Job::StatusToString(job.Status),
            job.JobType.Name,
            job.QueueName,
            job.JobType.ExecutablePath,
            job.CommandLine(),
            Tavrol_Listing::TimeText(job.Submitted),
            Tavrol_Listing::TimeText(job.Started),
            Tavrol_Listing::TimeText(job.Finished)};
}

} // namespace

class TstFinishedJobsList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeConsole; }
    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void aJobComesBackEqualFieldByField()
    {
        const Tavrol_Job job = FullJob();
        Tavrol_FinishedJobsList list;
        list.push_back(job);
        QCOMPARE(list.size(), size_t(1));
        const Tavrol_Job back = list[0];
        QVERIFY(back == job);
        QCOMPARE(NullFlags(back), NullFlags(job));
        QCOMPARE(back.Name, QStringLiteral("Molécule_Ω.gjf"));
        QCOMPARE(back.StdOutAndStdErr, QStringLiteral("line one\nline two ✓\n"));
        QCOMPARE(back.Started.timeSpec(), Qt::UTC);
        QCOMPARE(back.Submitted.timeSpec(), Qt::LocalTime);
        QVERIFY(back.Finished.isNull());
        QCOMPARE(back.Status, JobStatusCrashed);
        QVERIFY(!back.Process);
        QCOMPARE(list.JobIDAt(0), 42);
    }

    void latinOneAndWiderTextsBothComeBack()
    {
        Tavrol_Job latin = PlainJob(1, QStringLiteral("Client"));
        latin.Name = QStringLiteral("é\u00ff.gjf");
        Tavrol_Job wide = PlainJob(2, QStringLiteral("Client"));
        wide.StdOutAndStdErr = QStringLiteral("\u4e2d\u6587 \U0001F600 ") + QChar(0xd800);
        Tavrol_FinishedJobsList list;
        list.push_back(latin);
        list.push_back(wide);
        QCOMPARE(list[0].Name, latin.Name);
        QCOMPARE(list[1].StdOutAndStdErr, wide.StdOutAndStdErr);
        QVERIFY(list[0] == latin);
        QVERIFY(list[1] == wide);
    }

    void jobsThatShareTheirClientStayApart()
    {
        Tavrol_FinishedJobsList list;
        for (int id = 0; id < 6; ++id)
            list.push_back(PlainJob(id, id % 2 ? QStringLiteral("Odd") : QStringLiteral("Even")));
        // A changed copy changes nothing kept.
        Tavrol_Job changed = list[2];
        changed.ClientName = QStringLiteral("Changed");
        changed.JobType.Name = QStringLiteral("Changed");
        QCOMPARE(list[2].ClientName, QStringLiteral("Even"));
        QCOMPARE(list[4].JobType.Name, QStringLiteral("Type B"));
        // An edited job added again is kept with its own values.
        list.push_back(changed);
        QCOMPARE(list[6].ClientName, QStringLiteral("Changed"));
        QCOMPARE(list[6].JobType.Name, QStringLiteral("Changed"));
        QCOMPARE(list[0].ClientName, QStringLiteral("Even"));
        QCOMPARE(list[0].JobType.Name, QStringLiteral("Type B"));
        // Removing jobs leaves the others as they were.
        list.erase(0);
        list.erase(1);
        QCOMPARE(list.size(), size_t(5));
        const QList<int> ids{list.JobIDAt(0), list.JobIDAt(1), list.JobIDAt(2), list.JobIDAt(3),
                             list.JobIDAt(4)};
        QCOMPARE(ids, QList<int>({1, 3, 4, 5, 2}));
        for (size_t index = 0; index < 4; ++index)
            QVERIFY(list[index] ==
                    PlainJob(ids[int(index)],
                             ids[int(index)] % 2 ? QStringLiteral("Odd") : QStringLiteral("Even")));
        QVERIFY(list[4] == changed);
        list.clear();
        QVERIFY(list.empty());
    }

    void iterationGivesEveryJobInOrder()
    {
        Tavrol_FinishedJobsList list;
        for (int id = 10; id < 13; ++id)
            list.push_back(PlainJob(id, QStringLiteral("Client")));
        QList<int> ids;
        for (const Tavrol_Job& job : list)
            ids.append(job.JobID);
        QCOMPARE(ids, QList<int>({10, 11, 12}));
        QCOMPARE(list.front().JobID, 10);
        QCOMPARE(list.back().JobID, 12);
    }

    // A loaded project of a few thousand jobs: the list holds what the
    // store's rows give, and the listing is byte for byte the one of the
    // kept rows.
    void aLoadedHistoryIsListedByteForByte()
    {
        MemoryProject project;
        Tavrol_Database* database = project.Database();
        QVERIFY(database);
        Tavrol_JobType jobType = ListType(0, QStringLiteral("Type B"));
        int jobTypeID = -1;
        QVERIFY(database->AddJobType(jobType, true, &jobTypeID));
        const int count = 3000;
        for (int id = 0; id < count; ++id) {
            Tavrol_Job job = PlainJob(id, id % 5 ? QStringLiteral("Client") : QStringLiteral("Ü"));
            job.JobType.JobTypeID = jobTypeID;
            if (id % 11 == 0)
                job.Started = QDateTime();
            if (id % 13 == 0)
                job.Name = QStringLiteral("Molécule_%1 \u4e2d.gjf").arg(id);
            QVERIFY(database->AddFinishedJob(job, true, nullptr));
        }
        const std::vector<Tavrol_Job> rows = database->LoadFinishedJobs();
        QCOMPARE(rows.size(), size_t(count));
        Tavrol_FinishedJobsList loaded;
        database->LoadFinishedJobs(loaded);
        QCOMPARE(loaded.size(), rows.size());
        for (size_t index = 0; index < rows.size(); ++index) {
            const Tavrol_Job job = loaded[index];
            QVERIFY2(job == rows[index], qPrintable(QString::number(index)));
            QCOMPARE(NullFlags(job), NullFlags(rows[index]));
        }

        Tavrol_Listing kept(Tavrol_FinishedJobsWidget::Headers());
        for (const Tavrol_Job& job : rows)
            kept.AddRow(ListedCells(job));
        const QByteArray expected =
            kept.Text(QStringLiteral("\nFinished Jobs"), QString()).toLocal8Bit();

        Tavrol_FinishedJobsWidget view;
        view.TakeJobs(std::move(loaded));
        QCOMPARE(view.FinishedJobs().size(), size_t(count));
        StdoutCapture capture;
        view.PrintList();
        const QByteArray printed = capture.Bytes();
        QCOMPARE(printed.size(), expected.size());
        QVERIFY(printed == expected);
        QVERIFY(printed.contains("Molécule_13 \xe4\xb8\xad.gjf"));
    }

    void anEmptyHistoryPrintsItsEmptyText()
    {
        Tavrol_FinishedJobsWidget view;
        StdoutCapture capture;
        view.PrintList();
        QCOMPARE(capture.Bytes(), QByteArray("\nFinished Jobs List is Empty\n\n"));
    }
};

QTEST_GUILESS_MAIN(TstFinishedJobsList)
#include "tst_finishedjobslist.moc"
