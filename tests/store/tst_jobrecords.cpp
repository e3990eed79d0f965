#include "store/database.h"
#include "store/database_manager.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QtTest>

using namespace StoreTest;

namespace {

enum Family
{
    LongFamily,
    ShortFamily,
    QueuelessFamily,
    FinishedFamily
};

struct FamilyNames
{
    QString Table;
    QString Key;
    QString QueueName;
};

FamilyNames NamesOf(int family)
{
    switch (family) {
    case LongFamily:
        return {"LongJobsQueue", "LongJobID", "Long"};
    case ShortFamily:
        return {"ShortJobsQueue", "ShortJobID", "Short"};
    case QueuelessFamily:
        return {"QueuelessJobs", "QueuelessJobID", "Queueless"};
    default:
        return {"FinishedJobs", "FinishedJobID", QString()};
    }
}

bool Add(Tavrol_Database* database, int family, const Tavrol_Job& job, bool forceNew, int* id)
{
    switch (family) {
    case LongFamily:
        return database->AddLongJob(job, forceNew, id);
    case ShortFamily:
        return database->AddShortJob(job, forceNew, id);
    case QueuelessFamily:
        return database->AddQueuelessJob(job, forceNew, id);
    default:
        return database->AddFinishedJob(job, forceNew, id);
    }
}

bool Delete(Tavrol_Database* database, int family, int jobId)
{
    switch (family) {
    case LongFamily:
        return database->DeleteLongJob(jobId);
    case ShortFamily:
        return database->DeleteShortJob(jobId);
    case QueuelessFamily:
        return database->DeleteQueuelessJob(jobId);
    default:
        return database->DeleteFinishedJob(jobId);
    }
}

std::vector<Tavrol_Job> Load(Tavrol_Database* database, int family)
{
    switch (family) {
    case LongFamily:
        return database->LoadLongJobs();
    case ShortFamily:
        return database->LoadShortJobs();
    case QueuelessFamily:
        return database->LoadQueuelessJobs();
    default:
        return database->LoadFinishedJobs();
    }
}

void AddFamilies()
{
    QTest::addColumn<int>("family");
    QTest::newRow("long") << int(LongFamily);
    QTest::newRow("short") << int(ShortFamily);
    QTest::newRow("queueless") << int(QueuelessFamily);
    QTest::newRow("finished") << int(FinishedFamily);
}

Tavrol_JobType FormchkType()
{
    return Tavrol_JobType(0, QStringLiteral("Formchk"), QStringLiteral("formchk"),
                          QStringLiteral("/opt/g16/formchk"), QStringLiteral("Short"),
                          QStringLiteral("@EXEFILE -3 @INFILE @OUTFILE"),
                          QStringLiteral("Gaussian Checkpoint Files (*.chk)"),
                          QStringLiteral("Gaussian Formatted Checkpoint Files (*.fchk *.fch)"),
                          QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}

Tavrol_Job MakeJob(const QString& name, int jobID, const Tavrol_JobType& jobType, int queueID)
{
    Tavrol_Job job(name, jobType, QStringLiteral("TavrolGUI"), QStringLiteral("Viewer"),
                   QStringLiteral("127.0.0.1"), 5123, 501, 20, queueID,
                   Tavrol_JobType::QueueNameFromID(queueID), QStringLiteral("/work/") + name,
                   QStringLiteral("/work/second.chk"), jobID, QStringLiteral("batch"));
    job.Submitted = QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9));
    job.Started = QDateTime(QDate(2024, 5, 17), QTime(14, 4, 0));
    job.Finished = QDateTime(QDate(2024, 5, 17), QTime(16, 30, 59));
    job.SetStatus(JobStatusCompleted, false);
    job.StdOutAndStdErr = QStringLiteral("formchk output\nline 2\n");
    job.ClientNotification = 5;
    return job;
}

int Count(Tavrol_Database* database, const QString& table, const QString& where = QString())
{
    return ValueOf(database->Database, QStringLiteral("SELECT COUNT(*) FROM ") + table +
                                           (where.isEmpty() ? QString() : " WHERE " + where))
        .toInt();
}

} // namespace

class TestJobRecords : public QObject
{
    Q_OBJECT

private:
    Tavrol_Database* m_database = nullptr;
    Tavrol_JobType m_jobType;

private slots:
    void init()
    {
        m_database = NewProjectDatabase();
        QVERIFY(m_database);
        m_jobType = FormchkType();
        int id = -1;
        QVERIFY(m_database->AddJobType(FormchkType(), true, &id));
        m_jobType.JobTypeID = id;
    }

    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void aRowHoldsTheJobAsItWasWritten_data() { AddFamilies(); }
    void aRowHoldsTheJobAsItWasWritten()
    {
        QFETCH(int, family);
        const FamilyNames names = NamesOf(family);
        const bool finished = family == FinishedFamily;
        const Tavrol_Job job = MakeJob("water.chk", 41, m_jobType, 1);
        int id = -1;
        QVERIFY(Add(m_database, family, job, true, &id));
        QCOMPARE(id, 0);
        QSqlQuery query(m_database->Database);
        QVERIFY(query.exec("SELECT * FROM " + names.Table));
        QVERIFY(query.next());
        QStringList expectedColumns = {names.Key, "Name", "JobTypeID"};
        if (finished)
            expectedColumns << "QueueID";
        expectedColumns << "ApplicationName"
                        << "ExecutablePath"
                        << "InputFilePath"
                        << "CommandLine"
                        << "Status"
                        << "Submitted"
                        << "Started";
        if (finished)
            expectedColumns << "Finished";
        expectedColumns << "Created"
                        << "LastModified"
                        << "JobID"
                        << "ClientName"
                        << "ClientAppName"
                        << "ClientAddress"
                        << "ClientPort"
                        << "ClientUID"
                        << "ClientGID";
        if (finished)
            expectedColumns << "StdOutAndStdErr";
        expectedColumns << "InputFilePath2"
                        << "JobClass"
                        << "ClientNotification";
        QCOMPARE(ColumnsOf(m_database->Database, names.Table), expectedColumns);

        QCOMPARE(query.value(names.Key).toInt(), 0);
        QCOMPARE(query.value("Name").toString(), QStringLiteral("water.chk"));
        QCOMPARE(query.value("JobTypeID").toInt(), 0);
        QCOMPARE(query.value("ApplicationName").toString(), QStringLiteral("formchk"));
        QCOMPARE(query.value("ExecutablePath").toString(), QStringLiteral("/opt/g16/formchk"));
        QCOMPARE(query.value("InputFilePath").toString(), QStringLiteral("/work/water.chk"));
        QCOMPARE(query.value("CommandLine").toString(), job.CommandLine());
        QVERIFY(query.value("CommandLine").toString().startsWith("/opt/g16/formchk -3 "));
        QCOMPARE(query.value("Status").toString(), QStringLiteral("Completed"));
        QCOMPARE(query.value("Submitted").toString(), QStringLiteral("2024-05-17T14:03:09"));
        QCOMPARE(query.value("Started").toString(), QStringLiteral("2024-05-17T14:04:00"));
        QCOMPARE(query.value("JobID").toInt(), 41);
        QCOMPARE(query.value("ClientName").toString(), QStringLiteral("TavrolGUI"));
        QCOMPARE(query.value("ClientAppName").toString(), QStringLiteral("Viewer"));
        QCOMPARE(query.value("ClientAddress").toString(), QStringLiteral("127.0.0.1"));
        QCOMPARE(query.value("ClientPort").toInt(), 5123);
        QCOMPARE(query.value("ClientUID").toInt(), 501);
        QCOMPARE(query.value("ClientGID").toInt(), 20);
        QCOMPARE(query.value("InputFilePath2").toString(), QStringLiteral("/work/second.chk"));
        QCOMPARE(query.value("JobClass").toString(), QStringLiteral("batch"));
        // Only whether the client is told is kept.
        QCOMPARE(query.value("ClientNotification").toInt(), 1);
        QVERIFY(QDateTime::fromString(query.value("Created").toString(), Qt::ISODate).isValid());
        QVERIFY(
            QDateTime::fromString(query.value("LastModified").toString(), Qt::ISODate).isValid());
        if (finished) {
            QCOMPARE(query.value("QueueID").toInt(), 1);
            QCOMPARE(query.value("Finished").toString(), QStringLiteral("2024-05-17T16:30:59"));
            QCOMPARE(query.value("StdOutAndStdErr").toString(),
                     QStringLiteral("formchk output\nline 2\n"));
        }
        QVERIFY(!query.next());
    }

    void keysStartAtZeroAndAreNotJobIds_data() { AddFamilies(); }
    void keysStartAtZeroAndAreNotJobIds()
    {
        QFETCH(int, family);
        int first = -1;
        int second = -1;
        QVERIFY(Add(m_database, family, MakeJob("a.chk", 900, m_jobType, 0), true, &first));
        QVERIFY(Add(m_database, family, MakeJob("b.chk", 17, m_jobType, 0), true, &second));
        QCOMPARE(first, 0);
        QCOMPARE(second, 1);
        QVERIFY(Add(m_database, family, MakeJob("c.chk", 17, m_jobType, 0), true, nullptr));
        QCOMPARE(Count(m_database, NamesOf(family).Table), 3);
    }

    void theStatementsOfAnAdd_data() { AddFamilies(); }
    void theStatementsOfAnAdd()
    {
        QFETCH(int, family);
        const FamilyNames names = NamesOf(family);
        QVERIFY(Add(m_database, family, MakeJob("a.chk", 1, m_jobType, 0), true, nullptr));
        {
            StatementTrace trace(m_database->Database);
            QVERIFY(Add(m_database, family, MakeJob("a.chk", 2, m_jobType, 0), false, nullptr));
            QCOMPARE(trace.Statements, QStringList({"SELECT " + names.Key + " FROM " + names.Table +
                                                    " WHERE Name = 'a.chk' LIMIT 1"}));
        }
        StatementTrace trace(m_database->Database);
        QVERIFY(Add(m_database, family, MakeJob("b.chk", 3, m_jobType, 0), false, nullptr));
        QCOMPARE(trace.Statements.size(), 5);
        QCOMPARE(trace.Statements[0],
                 "SELECT " + names.Key + " FROM " + names.Table + " WHERE Name = 'b.chk' LIMIT 1");
        QCOMPARE(trace.Statements[1], QStringLiteral("BEGIN"));
        QCOMPARE(trace.Statements[2], "SELECT MAX(" + names.Key + ") FROM " + names.Table);
        QVERIFY(trace.Statements[3].startsWith("INSERT INTO " + names.Table + " ("));
        QVERIFY(!trace.Statements[3].contains("b.chk"));
        QCOMPARE(trace.Statements[4], QStringLiteral("COMMIT"));
        // All but the lookup by name are kept prepared from the earlier adds.
        QCOMPARE(trace.EarlierRuns[0], 0);
        for (int statement = 1; statement < 5; ++statement)
            QVERIFY2(trace.EarlierRuns[statement] >= 1, qPrintable(trace.Statements[statement]));
        QCOMPARE(Count(m_database, names.Table), 2);
    }

    void aForcedAddNeedsNoLookupByName()
    {
        QVERIFY(m_database->AddFinishedJob(MakeJob("a.chk", 1, m_jobType, 0), true, nullptr));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->AddFinishedJob(MakeJob("a.chk", 2, m_jobType, 0), true, nullptr));
        QCOMPARE(trace.Statements.filter("WHERE Name").size(), 0);
        QCOMPARE(trace.Statements[0], QStringLiteral("BEGIN"));
        QCOMPARE(trace.Statements[1],
                 QStringLiteral("SELECT MAX(FinishedJobID) FROM FinishedJobs"));
        QCOMPARE(Count(m_database, "FinishedJobs", "Name = 'a.chk'"), 2);
    }

    void anUnforcedAddOfAStoredNameKeepsTheRow_data() { AddFamilies(); }
    void anUnforcedAddOfAStoredNameKeepsTheRow()
    {
        QFETCH(int, family);
        QVERIFY(Add(m_database, family, MakeJob("x.chk", 1, m_jobType, 0), true, nullptr));
        QVERIFY(Add(m_database, family, MakeJob("same.chk", 2, m_jobType, 0), true, nullptr));
        int id = -1;
        QVERIFY(Add(m_database, family, MakeJob("same.chk", 3, m_jobType, 0), false, &id));
        QCOMPARE(id, 1);
        QCOMPARE(Count(m_database, NamesOf(family).Table), 2);
        QCOMPARE(Count(m_database, NamesOf(family).Table, "JobID = 3"), 0);
    }

    void nullTimesAreEmptyStrings_data() { AddFamilies(); }
    void nullTimesAreEmptyStrings()
    {
        QFETCH(int, family);
        Tavrol_Job job(QStringLiteral("new.chk"), m_jobType, QString(), QString(), QString(), -1,
                       -1, -1, 0, QStringLiteral("Long"), QStringLiteral("/work/new.chk"),
                       QString(), 3, QString());
        QVERIFY(Add(m_database, family, job, true, nullptr));
        const QString table = NamesOf(family).Table;
        QCOMPARE(Count(m_database, table, "Submitted = '' AND Started = ''"), 1);
        if (family == FinishedFamily)
            QCOMPARE(Count(m_database, table, "Finished = ''"), 1);
        QCOMPARE(ValueOf(m_database->Database, "SELECT Status FROM " + table).toString(),
                 QStringLiteral("Unknown"));
        QCOMPARE(ValueOf(m_database->Database, "SELECT ClientNotification FROM " + table).toInt(),
                 0);
        const std::vector<Tavrol_Job> loaded = Load(m_database, family);
        QCOMPARE(loaded.size(), size_t(1));
        QVERIFY(loaded[0].Submitted.isNull());
        QVERIFY(loaded[0].Started.isNull());
        QVERIFY(loaded[0].Finished.isNull());
        QCOMPARE(loaded[0].ClientPort, -1);
    }

    void aLoadedJobIsRebuiltFromItsRow_data() { AddFamilies(); }
    void aLoadedJobIsRebuiltFromItsRow()
    {
        QFETCH(int, family);
        const Tavrol_Job stored = MakeJob("water.chk", 41, m_jobType, 1);
        QVERIFY(Add(m_database, family, stored, true, nullptr));
        const std::vector<Tavrol_Job> loaded = Load(m_database, family);
        QCOMPARE(loaded.size(), size_t(1));
        const Tavrol_Job& job = loaded[0];
        QCOMPARE(job.Name, stored.Name);
        QCOMPARE(job.JobType, m_jobType);
        QCOMPARE(job.ClientName, stored.ClientName);
        QCOMPARE(job.ClientAppName, stored.ClientAppName);
        QCOMPARE(job.ClientAddress, stored.ClientAddress);
        QCOMPARE(job.ClientPort, 5123);
        QCOMPARE(job.ClientUID, 501);
        QCOMPARE(job.ClientGID, 20);
        QCOMPARE(job.InputFilePath, stored.InputFilePath);
        QCOMPARE(job.InputFilePath2, stored.InputFilePath2);
        QCOMPARE(job.JobID, 41);
        QCOMPARE(job.JobClass, QStringLiteral("batch"));
        QCOMPARE(job.Submitted, stored.Submitted);
        QCOMPARE(job.Started, stored.Started);
        QCOMPARE(job.Status, JobStatusCompleted);
        QCOMPARE(job.ClientNotification, 1);
        QVERIFY(job.Process == nullptr);
        // The output file comes from the job type's filter, as for a new job.
        QCOMPARE(job.OutputFilePath, stored.OutputFilePath);
        if (family == FinishedFamily) {
            QCOMPARE(job.QueueID, 1);
            QCOMPARE(job.QueueName, QStringLiteral("Short"));
            QCOMPARE(job.Finished, stored.Finished);
            QCOMPARE(job.StdOutAndStdErr, stored.StdOutAndStdErr);
        } else {
            // Every queue table gives QueueID 0, with its own name.
            QCOMPARE(job.QueueID, 0);
            QCOMPARE(job.QueueName, NamesOf(family).QueueName);
            QVERIFY(job.Finished.isNull());
            QVERIFY(job.StdOutAndStdErr.isEmpty());
        }
    }

    void finishedJobsGetTheirQueueNameByNumber_data()
    {
        QTest::addColumn<int>("queueID");
        QTest::addColumn<QString>("queueName");
        QTest::newRow("0") << 0 << "Long";
        QTest::newRow("1") << 1 << "Short";
        QTest::newRow("2") << 2 << "Queueless";
        QTest::newRow("7") << 7 << "";
        QTest::newRow("-1") << -1 << "";
    }
    void finishedJobsGetTheirQueueNameByNumber()
    {
        QFETCH(int, queueID);
        QFETCH(QString, queueName);
        Tavrol_Job job = MakeJob("q.chk", 1, m_jobType, 0);
        job.QueueID = queueID;
        job.QueueName = QStringLiteral("None");
        QVERIFY(m_database->AddFinishedJob(job, true, nullptr));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(loaded.size(), size_t(1));
        QCOMPARE(loaded[0].QueueID, queueID);
        QCOMPARE(loaded[0].QueueName, queueName);
    }

    void statusWordsAreReadWithoutRegardToCase_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("status");
        QTest::newRow("Pending") << "Pending" << int(JobStatusPending);
        QTest::newRow("completed") << "completed" << int(JobStatusCompleted);
        QTest::newRow("KILLED") << "KILLED" << int(JobStatusKilled);
        QTest::newRow("unknown word") << "Exploded" << int(JobStatusUnknown);
        QTest::newRow("empty") << "" << int(JobStatusUnknown);
    }
    void statusWordsAreReadWithoutRegardToCase()
    {
        QFETCH(QString, word);
        QFETCH(int, status);
        QVERIFY(m_database->AddFinishedJob(MakeJob("s.chk", 1, m_jobType, 0), true, nullptr));
        QVERIFY(Run(m_database->Database, {"UPDATE FinishedJobs SET Status = '" + word + "'"}));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(int(loaded[0].Status), status);
        // Rebuilding stamps no time.
        QCOMPARE(loaded[0].Submitted, QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9)));
        QCOMPARE(loaded[0].Started, QDateTime(QDate(2024, 5, 17), QTime(14, 4, 0)));
        QCOMPARE(loaded[0].Finished, QDateTime(QDate(2024, 5, 17), QTime(16, 30, 59)));
    }

    void aJobWhoseTypeIsGoneGetsTheDefaultType_data() { AddFamilies(); }
    void aJobWhoseTypeIsGoneGetsTheDefaultType()
    {
        QFETCH(int, family);
        QVERIFY(Add(m_database, family, MakeJob("w.chk", 4, m_jobType, 0), true, nullptr));
        QVERIFY(m_database->DeleteJobType(m_jobType.JobTypeID));
        const std::vector<Tavrol_Job> loaded = Load(m_database, family);
        QCOMPARE(loaded.size(), size_t(1));
        QCOMPARE(loaded[0].JobType, Tavrol_JobType());
        QCOMPARE(loaded[0].JobType.JobTypeID, 0);
        QVERIFY(loaded[0].JobType.Name.isEmpty());
        QCOMPARE(loaded[0].JobID, 4);
        QVERIFY(!loaded[0].IsValid());
    }

    void anEditedJobTypeReachesTheJobAtTheNextLoad()
    {
        QVERIFY(m_database->AddLongJob(MakeJob("w.chk", 4, m_jobType, 0), true, nullptr));
        Tavrol_JobType edited = m_jobType;
        edited.ExecutablePath = QStringLiteral("/opt/g09/formchk");
        edited.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE");
        QVERIFY(m_database->UpdateJobType(edited.JobTypeID, edited));
        const std::vector<Tavrol_Job> loaded = m_database->LoadLongJobs();
        QCOMPARE(loaded[0].JobType, edited);
        QVERIFY(loaded[0].CommandLine().startsWith("/opt/g09/formchk "));
        // The row keeps what it had when it was written.
        QCOMPARE(
            ValueOf(m_database->Database, "SELECT ExecutablePath FROM LongJobsQueue").toString(),
            QStringLiteral("/opt/g16/formchk"));
    }

    void jobTypesAreFetchedByIdForEveryRow()
    {
        Tavrol_JobType second = FormchkType();
        second.Name = QStringLiteral("Second");
        int secondID = -1;
        QVERIFY(m_database->AddJobType(second, true, &secondID));
        second.JobTypeID = secondID;
        QVERIFY(m_database->AddFinishedJob(MakeJob("1.chk", 1, m_jobType, 0), true, nullptr));
        QVERIFY(m_database->AddFinishedJob(MakeJob("2.chk", 2, second, 0), true, nullptr));
        QVERIFY(m_database->AddFinishedJob(MakeJob("3.chk", 3, m_jobType, 0), true, nullptr));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(loaded.size(), size_t(3));
        QCOMPARE(loaded[0].JobType, m_jobType);
        QCOMPARE(loaded[1].JobType, second);
        QCOMPARE(loaded[2].JobType, m_jobType);
    }

    void rowsLoadInTheTableModelsOrder()
    {
        for (const int key : {5, 1, 3}) {
            QVERIFY(Run(m_database->Database,
                        {QStringLiteral("INSERT INTO ShortJobsQueue (ShortJobID, Name, JobTypeID, "
                                        "ApplicationName, ExecutablePath, CommandLine, Created, "
                                        "LastModified, JobID) VALUES (%1, 'k%1', 0, 'a', '/a', "
                                        "'c', 'c', 'm', %1)")
                             .arg(key)}));
        }
        const std::vector<Tavrol_Job> loaded = m_database->LoadShortJobs();
        QCOMPARE(loaded.size(), size_t(3));
        QCOMPARE(loaded[0].JobID, 1);
        QCOMPARE(loaded[1].JobID, 3);
        QCOMPARE(loaded[2].JobID, 5);
        int id = -1;
        QVERIFY(m_database->AddShortJob(MakeJob("n.chk", 9, m_jobType, 1), true, &id));
        QCOMPARE(id, 6);
    }

    void valuesOfAnotherStorageClassReadAsQtReadsThem()
    {
        QVERIFY(Run(m_database->Database,
                    {"INSERT INTO FinishedJobs (FinishedJobID, Name, JobTypeID, QueueID, "
                     "ApplicationName, ExecutablePath, CommandLine, Created, LastModified, JobID, "
                     "ClientPort, ClientUID, ClientGID, ClientAddress, JobClass, Status) VALUES "
                     "(0, x'4f6c64', '0', '2', 'a', '/a', 'c', 'c', 'm', 41.0, '77', 3.7, "
                     "'12abc', 127, 2.5, x'436f6d706c65746564')"}));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(loaded.size(), size_t(1));
        const Tavrol_Job& job = loaded[0];
        QCOMPARE(job.Name, QVariant(QByteArray("Old")).toString());
        QCOMPARE(job.JobType, m_jobType);
        QCOMPARE(job.QueueID, 2);
        QCOMPARE(job.JobID, QVariant(41.0).toInt());
        QCOMPARE(job.ClientPort, 77);
        QCOMPARE(job.ClientUID, QVariant(3.7).toInt());
        QCOMPARE(job.ClientGID, QVariant(QStringLiteral("12abc")).toInt());
        QCOMPARE(job.ClientAddress, QVariant(qlonglong(127)).toString());
        QCOMPARE(job.JobClass, QVariant(2.5).toString());
        QCOMPARE(job.Status, JobStatusCompleted);
    }

    void everyRowIsLoadedPastTheFirstBatch()
    {
        for (int job = 0; job < 700; ++job)
            QVERIFY(m_database->AddFinishedJob(
                MakeJob(QString::number(job) + ".chk", job, m_jobType, 0), true, nullptr));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(loaded.size(), size_t(700));
        QCOMPARE(loaded.back().JobID, 699);
    }

    void deleteTakesEveryRowOfTheJobId_data() { AddFamilies(); }
    void deleteTakesEveryRowOfTheJobId()
    {
        QFETCH(int, family);
        const FamilyNames names = NamesOf(family);
        QVERIFY(Add(m_database, family, MakeJob("a.chk", 7, m_jobType, 0), true, nullptr));
        QVERIFY(Add(m_database, family, MakeJob("b.chk", 8, m_jobType, 0), true, nullptr));
        QVERIFY(Add(m_database, family, MakeJob("c.chk", 7, m_jobType, 0), true, nullptr));
        StatementTrace trace(m_database->Database);
        QVERIFY(Delete(m_database, family, 7));
        QCOMPARE(
            trace.Statements,
            QStringList({"BEGIN", "DELETE FROM " + names.Table + " WHERE JobID = 7", "COMMIT"}));
        QCOMPARE(Count(m_database, names.Table), 1);
        QCOMPARE(Count(m_database, names.Table, "JobID = 8"), 1);
        // The key is not the job id.
        QVERIFY(Delete(m_database, family, 1));
        QCOMPARE(Count(m_database, names.Table), 1);
        QVERIFY(Delete(m_database, family, 8));
        QVERIFY(Load(m_database, family).empty());
    }

    void anEmptyRequiredTextFailsTheAddAndLeavesTheTransactionOpen_data()
    {
        QTest::addColumn<int>("family");
        QTest::addColumn<QString>("field");
        for (const char* field : {"Name", "ApplicationName", "ExecutablePath", "CommandLine"}) {
            QTest::addRow("long %s", field) << int(LongFamily) << field;
            QTest::addRow("finished %s", field) << int(FinishedFamily) << field;
        }
    }
    void anEmptyRequiredTextFailsTheAddAndLeavesTheTransactionOpen()
    {
        QFETCH(int, family);
        QFETCH(QString, field);
        Tavrol_Job job = MakeJob("e.chk", 3, m_jobType, 0);
        if (field == "Name")
            job.Name = QString(QLatin1String(""));
        else if (field == "ApplicationName")
            job.JobType.ApplicationName = QString();
        else if (field == "ExecutablePath")
            job.JobType.ExecutablePath = QString();
        else
            job.JobType.GenericCommandLine = QString();
        QCOMPARE(job.CommandLine().isEmpty(), field == "CommandLine");
        int id = -1;
        QVERIFY(!Add(m_database, family, job, true, &id));
        QCOMPARE(id, 0);
        QCOMPARE(Count(m_database, NamesOf(family).Table), 0);
        // The job lives on in memory only; the store answers false from now on.
        QVERIFY(!Add(m_database, family, MakeJob("ok.chk", 4, m_jobType, 0), true, nullptr));
        QVERIFY(!Delete(m_database, family, 3));
        QVERIFY(!m_database->SetGeneralData("LastJobID", "4"));
    }

    void aQuoteInAJobNameIsStoredSafely_data() { AddFamilies(); }
    void aQuoteInAJobNameIsStoredSafely()
    {
        QFETCH(int, family);
        const Tavrol_Job job = MakeJob("O'Neil's water.chk", 12, m_jobType, 0);
        QVERIFY(Add(m_database, family, job, true, nullptr));
        // Unforced, the lookup breaks on the quote and the insert goes ahead.
        int id = -1;
        QVERIFY(Add(m_database, family, job, false, &id));
        QCOMPARE(id, 1);
        const std::vector<Tavrol_Job> loaded = Load(m_database, family);
        QCOMPARE(loaded.size(), size_t(2));
        QCOMPARE(loaded[0].Name, QStringLiteral("O'Neil's water.chk"));
        QCOMPARE(loaded[0].InputFilePath, QStringLiteral("/work/O'Neil's water.chk"));
    }

    void theOutputIsStoredWhole()
    {
        Tavrol_Job job = MakeJob("big.chk", 1, m_jobType, 0);
        job.StdOutAndStdErr = QString(QStringLiteral("0123456789abcdef\n")).repeated(200000);
        QVERIFY(m_database->AddFinishedJob(job, true, nullptr));
        const std::vector<Tavrol_Job> loaded = m_database->LoadFinishedJobs();
        QCOMPARE(loaded[0].StdOutAndStdErr.size(), job.StdOutAndStdErr.size());
        QCOMPARE(loaded[0].StdOutAndStdErr, job.StdOutAndStdErr);
    }

    void loadsOfAMissingTableAreEmpty_data() { AddFamilies(); }
    void loadsOfAMissingTableAreEmpty()
    {
        QFETCH(int, family);
        QVERIFY(Add(m_database, family, MakeJob("a.chk", 1, m_jobType, 0), true, nullptr));
        QVERIFY(Run(m_database->Database, {"DROP TABLE " + NamesOf(family).Table}));
        QVERIFY(Load(m_database, family).empty());
        QVERIFY(!Add(m_database, family, MakeJob("a.chk", 1, m_jobType, 0), true, nullptr));
    }
};

QTEST_MAIN(TestJobRecords)
#include "tst_jobrecords.moc"
