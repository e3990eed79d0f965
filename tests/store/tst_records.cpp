#include "store/database.h"
#include "store/database_manager.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QtTest>

using namespace StoreTest;

namespace {

Tavrol_JobType SampleType(const QString& name)
{
    return Tavrol_JobType(0, name, QStringLiteral("formchk"), QStringLiteral("/opt/g16/formchk"),
                          QStringLiteral("Short"), QStringLiteral("@EXEFILE -3 @INFILE @OUTFILE"),
                          QStringLiteral("Gaussian Checkpoint Files (*.chk)"),
                          QStringLiteral("Gaussian Formatted Checkpoint Files (*.fchk *.fch)"),
                          QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}

int Count(Tavrol_Database* database, const QString& table, const QString& where = QString())
{
    return ValueOf(database->Database, QStringLiteral("SELECT COUNT(*) FROM ") + table +
                                           (where.isEmpty() ? QString() : " WHERE " + where))
        .toInt();
}

// A stored timestamp: local time as ISO text, to the second, without a zone,
// taken between before and after.
void VerifyTimestamp(const QVariant& stored, const QDateTime& before, const QDateTime& after)
{
    const QString text = stored.toString();
    QVERIFY2(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"))
                 .match(text)
                 .hasMatch(),
             qPrintable(text));
    const QDateTime time = stored.toDateTime();
    QVERIFY(time.isValid());
    QCOMPARE(time.timeSpec(), Qt::LocalTime);
    QVERIFY(time >= before.addMSecs(-before.time().msec()));
    QVERIFY(time <= after);
}

} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private:
    Tavrol_Database* m_database = nullptr;

private slots:
    void init()
    {
        m_database = NewProjectDatabase();
        QVERIFY(m_database && m_database->TablesCreated);
    }

    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    // ---- General data ----

    void generalDataKeysStartAtZero()
    {
        int first = -1;
        int second = -1;
        QVERIFY(m_database->AddGeneralData("Version", "2", false, &first));
        QVERIFY(m_database->AddGeneralData("LastJobID", "7", false, &second));
        QCOMPARE(first, 0);
        QCOMPARE(second, 1);
        QVERIFY(m_database->AddGeneralData("Third", "x", false, nullptr));
        QCOMPARE(ValueOf(m_database->Database,
                         "SELECT GeneralDataID FROM GeneralData WHERE Name = 'Third'")
                     .toInt(),
                 2);
    }

    void anAddStoresItsColumnsWithTwoTimestamps()
    {
        const QDateTime before = QDateTime::currentDateTime();
        QVERIFY(m_database->AddGeneralData("Version", "2", false, nullptr));
        const QDateTime after = QDateTime::currentDateTime();
        QSqlQuery query(m_database->Database);
        QVERIFY(query.exec("SELECT * FROM GeneralData"));
        QVERIFY(query.next());
        QCOMPARE(query.value("GeneralDataID").toInt(), 0);
        QCOMPARE(query.value("Name").toString(), QStringLiteral("Version"));
        QCOMPARE(query.value("DataStr").toString(), QStringLiteral("2"));
        VerifyTimestamp(query.value("Created"), before, after);
        VerifyTimestamp(query.value("LastModified"), before, after);
        QVERIFY(m_database->Modified);
    }

    void anExistingNameStandsUnlessForced()
    {
        int id = -1;
        QVERIFY(m_database->AddGeneralData("Other", "o", false, nullptr));
        QVERIFY(m_database->AddGeneralData("Version", "2", false, &id));
        QCOMPARE(id, 1);
        id = -1;
        QVERIFY(m_database->AddGeneralData("Version", "3", false, &id));
        QCOMPARE(id, 1);
        QCOMPARE(Count(m_database, "GeneralData", "Name = 'Version'"), 1);
        QString value;
        QVERIFY(m_database->GetGeneralData("Version", value));
        QCOMPARE(value, QStringLiteral("2"));
        // Forced: a second row of the name.
        QVERIFY(m_database->AddGeneralData("Version", "4", true, &id));
        QCOMPARE(id, 2);
        QCOMPARE(Count(m_database, "GeneralData", "Name = 'Version'"), 2);
        // Get acts on the first match; the update acts on all.
        QVERIFY(m_database->GetGeneralData("Version", value));
        QCOMPARE(value, QStringLiteral("2"));
        QVERIFY(m_database->SetGeneralData("Version", "5"));
        QCOMPARE(Count(m_database, "GeneralData", "DataStr = '5'"), 2);
        QCOMPARE(Count(m_database, "GeneralData"), 3);
    }

    void setGeneralDataInsertsThenUpdates()
    {
        QVERIFY(m_database->SetGeneralData("LastJobID", "1"));
        QCOMPARE(Count(m_database, "GeneralData"), 1);
        QVERIFY(Run(m_database->Database,
                    {"UPDATE GeneralData SET Created = 'c', LastModified = 'm'"}));
        const QDateTime before = QDateTime::currentDateTime();
        QVERIFY(m_database->SetGeneralData("LastJobID", "2"));
        QCOMPARE(Count(m_database, "GeneralData"), 1);
        QString value;
        QVERIFY(m_database->GetGeneralData("LastJobID", value));
        QCOMPARE(value, QStringLiteral("2"));
        QCOMPARE(ValueOf(m_database->Database, "SELECT Created FROM GeneralData").toString(),
                 QStringLiteral("c"));
        VerifyTimestamp(ValueOf(m_database->Database, "SELECT LastModified FROM GeneralData"),
                        before, QDateTime::currentDateTime());
    }

    void setGeneralDataRunsTheStatementsAsDesigned()
    {
        QVERIFY(m_database->SetGeneralData("LastJobID", "1"));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->SetGeneralData("LastJobID", "2"));
        QCOMPARE(trace.Statements.size(), 4);
        QCOMPARE(trace.Statements[0],
                 QStringLiteral("SELECT * FROM GeneralData WHERE Name = 'LastJobID' LIMIT 1"));
        QCOMPARE(trace.Statements[1], QStringLiteral("BEGIN"));
        QVERIFY(trace.Statements[2].startsWith(
            "UPDATE GeneralData SET DataStr = '2', LastModified = '"));
        QVERIFY(trace.Statements[2].endsWith("' WHERE Name = 'LastJobID'"));
        QCOMPARE(trace.Statements[3], QStringLiteral("COMMIT"));
    }

    void setGeneralDataKeepsItsLookupAndTheTransactionPrepared()
    {
        QVERIFY(m_database->SetGeneralData("LastJobID", "1"));
        QVERIFY(m_database->SetGeneralData("LastJobID", "2"));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->SetGeneralData("LastJobID", "3"));
        QCOMPARE(trace.Statements.size(), 4);
        // The lookup, BEGIN and COMMIT have run before; the UPDATE, whose
        // text holds its values, is prepared anew.
        QVERIFY(trace.EarlierRuns[0] >= 1);
        QVERIFY(trace.EarlierRuns[1] >= 1);
        QCOMPARE(trace.EarlierRuns[2], 0);
        QVERIFY(trace.EarlierRuns[3] >= 1);
        QCOMPARE(ValueOf(m_database->Database,
                         "SELECT DataStr FROM GeneralData WHERE Name = 'LastJobID'")
                     .toString(),
                 QStringLiteral("3"));
    }

    void setGeneralDataOfANameWithAQuoteAddsARowEveryTime()
    {
        // The lookup cannot be prepared, so the name reads as not found.
        QVERIFY(m_database->SetGeneralData("it's", "1"));
        QVERIFY(m_database->SetGeneralData("it's", "2"));
        QCOMPARE(
            ValueOf(m_database->Database, "SELECT COUNT(*) FROM GeneralData WHERE Name = 'it''s'")
                .toInt(),
            2);
    }

    void addRunsTheLookupAndTheMaximum()
    {
        QVERIFY(m_database->AddGeneralData("Version", "2", false, nullptr));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->AddGeneralData("LastJobID", "3", false, nullptr));
        QCOMPARE(trace.Statements.mid(0, 3),
                 QStringList({"SELECT GeneralDataID FROM GeneralData WHERE Name = 'LastJobID' "
                              "LIMIT 1",
                              "BEGIN", "SELECT MAX(GeneralDataID) FROM GeneralData"}));
        QVERIFY(trace.Statements[3].startsWith("INSERT INTO GeneralData (GeneralDataID,Name,"
                                               "DataStr,Created,LastModified) VALUES"));
        // The values are bound, never part of the text.
        QVERIFY(!trace.Statements[3].contains("LastJobID"));
        QCOMPARE(trace.Statements[4], QStringLiteral("COMMIT"));
    }

    void getGeneralDataOfAnAbsentNameGivesFalseAndEmpty()
    {
        QString value = QStringLiteral("old content");
        QVERIFY(!m_database->GetGeneralData("Version", value));
        QVERIFY(value.isEmpty());
        QVERIFY(m_database->AddGeneralData("Version", "2", false, nullptr));
        value = QStringLiteral("old content");
        QVERIFY(!m_database->GetGeneralData("Missing", value));
        QVERIFY(value.isEmpty());
    }

    void deleteGeneralDataRemovesByName()
    {
        QVERIFY(m_database->AddGeneralData("A", "1", false, nullptr));
        QVERIFY(m_database->AddGeneralData("B", "2", false, nullptr));
        QVERIFY(m_database->AddGeneralData("A", "3", true, nullptr));
        QVERIFY(m_database->DeleteGeneralData("A"));
        QCOMPARE(Count(m_database, "GeneralData"), 1);
        QString value;
        QVERIFY(m_database->GetGeneralData("B", value));
        // A delete that finds nothing still commits.
        QVERIFY(m_database->DeleteGeneralData("Nothing"));
    }

    void aQuoteInAGeneralDataNameMakesANewRowEachTime()
    {
        QVERIFY(m_database->SetGeneralData("Bob's", "1"));
        QVERIFY(m_database->SetGeneralData("Bob's", "2"));
        QVERIFY(m_database->AddGeneralData("Bob's", "3", false, nullptr));
        QCOMPARE(Count(m_database, "GeneralData", "Name = 'Bob''s'"), 3);
        QString value = QStringLiteral("x");
        QVERIFY(!m_database->GetGeneralData("Bob's", value));
        QVERIFY(value.isEmpty());
        // The delete breaks too, and still answers true.
        QVERIFY(m_database->DeleteGeneralData("Bob's"));
        QCOMPARE(Count(m_database, "GeneralData"), 3);
    }

    void aQuoteInAGeneralDataValueFailsTheUpdateSilently()
    {
        QVERIFY(m_database->SetGeneralData("Version", "2"));
        QVERIFY(m_database->SetGeneralData("Version", "it's"));
        QString value;
        QVERIFY(m_database->GetGeneralData("Version", value));
        QCOMPARE(value, QStringLiteral("2"));
        // An insert stores the quote safely.
        QVERIFY(m_database->SetGeneralData("Note", "it's"));
        QVERIFY(m_database->GetGeneralData("Note", value));
        QCOMPARE(value, QStringLiteral("it's"));
    }

    void setGeneralDataNeedsTheTablesButDoesNotMakeThem()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_Database* database = OpenMemoryDatabase();
        // The select fails, so it adds, and the add makes the tables.
        QVERIFY(database->SetGeneralData("Version", "2"));
        QVERIFY(database->TablesCreated);
        QString value;
        QVERIFY(database->GetGeneralData("Version", value));
        QCOMPARE(value, QStringLiteral("2"));
    }

    void anAddOpensAndMakesTheTables()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_Database* database =
            Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
        QVERIFY(!database->Database.isOpen());
        int id = -1;
        QVERIFY(database->AddGeneralData("Version", "2", false, &id));
        QCOMPARE(id, 0);
        QVERIFY(database->Database.isOpen());
        QVERIFY(database->TablesCreated);
        QCOMPARE(database->Database.tables(QSql::Tables).size(), 9);
    }

    void aFailedInsertLeavesItsTransactionOpenAndLaterWritesFail()
    {
        QVERIFY(m_database->AddGeneralData("Version", "2", false, nullptr));
        int id = -1;
        {
            // Ends here: the CloseAll below frees the handle it is hooked to.
            StatementTrace trace(m_database->Database);
            QVERIFY(!m_database->AddGeneralData(QString(QLatin1String("")), "x", false, &id));
            // The key was already handed out when the insert failed.
            QCOMPARE(id, 1);
            QVERIFY(!trace.Statements.contains("COMMIT"));
            QVERIFY(!trace.Statements.contains("ROLLBACK"));
        }
        QVERIFY(!m_database->SetGeneralData("LastJobID", "3"));
        QVERIFY(!m_database->SetGeneralData("Version", "3"));
        QVERIFY(!m_database->DeleteGeneralData("Version"));
        QVERIFY(!m_database->AddJobType(SampleType("T"), true, nullptr));
        QVERIFY(!m_database->UpdateJobType(0, SampleType("T")));
        QVERIFY(!m_database->DeleteJobType(0));
        QVERIFY(!m_database->AddQueue("Long", 1, nullptr));
        // Reads still work, and see the open transaction's state.
        QString value;
        QVERIFY(m_database->GetGeneralData("Version", value));
        QCOMPARE(value, QStringLiteral("2"));
        // Only a new connection ends it.
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_Database* fresh = NewProjectDatabase();
        QVERIFY(fresh->SetGeneralData("Version", "2"));
    }

    // ---- Job types ----

    void aJobTypeIsStoredWithEveryColumn()
    {
        const QDateTime before = QDateTime::currentDateTime();
        int id = -1;
        QVERIFY(m_database->AddJobType(SampleType("Formchk"), true, &id));
        const QDateTime after = QDateTime::currentDateTime();
        QCOMPARE(id, 0);
        QSqlQuery query(m_database->Database);
        QVERIFY(query.exec("SELECT * FROM JobTypes"));
        QVERIFY(query.next());
        QCOMPARE(query.value("JobTypeID").toInt(), 0);
        QCOMPARE(query.value("Name").toString(), QStringLiteral("Formchk"));
        QCOMPARE(query.value("ApplicationName").toString(), QStringLiteral("formchk"));
        QCOMPARE(query.value("ExecutablePath").toString(), QStringLiteral("/opt/g16/formchk"));
        QVERIFY(query.value("Icon").isNull());
        QCOMPARE(query.value("DefaultQueueID").toInt(), 1);
        QCOMPARE(query.value("InputFileFilter").toString(),
                 QStringLiteral("Gaussian Checkpoint Files (*.chk)"));
        QCOMPARE(query.value("OutputFileFilter").toString(),
                 QStringLiteral("Gaussian Formatted Checkpoint Files (*.fchk *.fch)"));
        QCOMPARE(query.value("EnvironmentVariables").toString(),
                 QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
        QCOMPARE(query.value("GenericCommandLine").toString(),
                 QStringLiteral("@EXEFILE -3 @INFILE @OUTFILE"));
        VerifyTimestamp(query.value("Created"), before, after);
        VerifyTimestamp(query.value("LastModified"), before, after);
        QVERIFY(!query.next());
    }

    void jobTypesLoadInTableOrderWithTheirQueueNames()
    {
        Tavrol_JobType longType = SampleType("A");
        longType.DefaultQueue = QStringLiteral("Long Jobs");
        Tavrol_JobType noneType = SampleType("B");
        noneType.DefaultQueue = QStringLiteral("None");
        Tavrol_JobType unknownType = SampleType("C");
        unknownType.DefaultQueue = QStringLiteral("Queue");
        QVERIFY(m_database->AddJobType(longType, true, nullptr));
        QVERIFY(m_database->AddJobType(noneType, true, nullptr));
        QVERIFY(m_database->AddJobType(unknownType, true, nullptr));
        QVERIFY(m_database->AddJobType(SampleType("D"), true, nullptr));
        QCOMPARE(
            ValueOf(m_database->Database, "SELECT DefaultQueueID FROM JobTypes WHERE Name = 'C'")
                .toInt(),
            -1);
        const std::vector<Tavrol_JobType> loaded = m_database->LoadJobTypes();
        QCOMPARE(loaded.size(), size_t(4));
        QCOMPARE(loaded[0].JobTypeID, 0);
        QCOMPARE(loaded[0].DefaultQueue, QStringLiteral("Long"));
        QCOMPARE(loaded[1].DefaultQueue, QStringLiteral("Queueless"));
        QCOMPARE(loaded[2].DefaultQueue, QString());
        QCOMPARE(loaded[2].DefaultQueueID(), -1);
        QCOMPARE(loaded[3].DefaultQueue, QStringLiteral("Short"));
        Tavrol_JobType expected = SampleType("D");
        expected.JobTypeID = 3;
        QCOMPARE(loaded[3], expected);
    }

    void aDefaultQueueNumberOfThreeReadsBackEmpty()
    {
        QVERIFY(Run(m_database->Database,
                    {"INSERT INTO JobTypes VALUES (5, 'Odd', 'a', '/a', NULL, 3, '', '', '', "
                     "'@EXEFILE', 'c', 'm')"}));
        const Tavrol_JobType loaded = m_database->GetJobType(5);
        QCOMPARE(loaded.Name, QStringLiteral("Odd"));
        QCOMPARE(loaded.DefaultQueue, QString());
        QCOMPARE(loaded.DefaultQueueID(), -1);
        // Going back to the table gives -1.
        QVERIFY(m_database->UpdateJobType(5, loaded));
        QCOMPARE(ValueOf(m_database->Database, "SELECT DefaultQueueID FROM JobTypes").toInt(), -1);
    }

    void loadJobTypesOfAnEmptyOrMissingTableIsEmpty()
    {
        QVERIFY(m_database->LoadJobTypes().empty());
        QVERIFY(Run(m_database->Database, {"DROP TABLE JobTypes"}));
        QVERIFY(m_database->LoadJobTypes().empty());
    }

    void loadJobTypesGivesAllRowsPastTheFirstBatch()
    {
        QVERIFY(m_database->Database.transaction());
        for (int row = 0; row < 600; ++row)
            QVERIFY(Run(m_database->Database,
                        {QStringLiteral("INSERT INTO JobTypes VALUES (%1, 'T%1', 'a', '/a', NULL, "
                                        "0, '', '', '', '@EXEFILE', 'c', 'm')")
                             .arg(row)}));
        QVERIFY(m_database->Database.commit());
        const std::vector<Tavrol_JobType> loaded = m_database->LoadJobTypes();
        QCOMPARE(loaded.size(), size_t(600));
        QCOMPARE(loaded.back().Name, QStringLiteral("T599"));
    }

    void getJobTypeOfAMissingIdGivesTheDefaultType()
    {
        QVERIFY(m_database->AddJobType(SampleType("A"), true, nullptr));
        const Tavrol_JobType missing = m_database->GetJobType(42);
        QCOMPARE(missing, Tavrol_JobType());
        QCOMPARE(missing.JobTypeID, 0);
        QVERIFY(missing.Name.isEmpty());
        QVERIFY(!missing.IsValid());
        Tavrol_JobType expected = SampleType("A");
        QCOMPARE(m_database->GetJobType(0), expected);
    }

    void updateJobTypeRewritesAllButIconKeyAndCreated()
    {
        QVERIFY(m_database->AddJobType(SampleType("A"), true, nullptr));
        QVERIFY(Run(m_database->Database,
                    {"UPDATE JobTypes SET Icon = x'01', Created = 'c', LastModified = 'm'"}));
        Tavrol_JobType changed(9, "B", "b", "/b", "Long", "@EXEFILE b", "in", "out", "E=1");
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->UpdateJobType(0, changed));
        QCOMPARE(trace.Statements.size(), 3);
        QVERIFY(trace.Statements[1].startsWith(
            "UPDATE JobTypes SET Name = 'B', ApplicationName = 'b', ExecutablePath = '/b', "
            "DefaultQueueID = 0, InputFileFilter = 'in', OutputFileFilter = 'out', "
            "EnvironmentVariables = 'E=1', GenericCommandLine = '@EXEFILE b', LastModified = '"));
        QVERIFY(trace.Statements[1].endsWith("' WHERE JobTypeID = 0"));
        changed.JobTypeID = 0;
        QCOMPARE(m_database->GetJobType(0), changed);
        QCOMPARE(ValueOf(m_database->Database, "SELECT hex(Icon) FROM JobTypes").toString(),
                 QStringLiteral("01"));
        QCOMPARE(ValueOf(m_database->Database, "SELECT Created FROM JobTypes").toString(),
                 QStringLiteral("c"));
        QVERIFY(ValueOf(m_database->Database, "SELECT LastModified FROM JobTypes").toString() !=
                QStringLiteral("m"));
    }

    void aQuoteInAnUpdatedJobTypeFailsSilently()
    {
        QVERIFY(m_database->AddJobType(SampleType("A"), true, nullptr));
        const QStringList fields = {"name",   "application", "path",   "input",
                                    "output", "environment", "command"};
        for (const QString& field : fields) {
            Tavrol_JobType changed = SampleType("Changed");
            const QString quoted = QStringLiteral("it's");
            if (field == "name")
                changed.Name = quoted;
            else if (field == "application")
                changed.ApplicationName = quoted;
            else if (field == "path")
                changed.ExecutablePath = quoted;
            else if (field == "input")
                changed.InputFileFilter = quoted;
            else if (field == "output")
                changed.OutputFileFilter = quoted;
            else if (field == "environment")
                changed.EnvironmentVariables = "A=it's";
            else
                changed.GenericCommandLine = "@EXEFILE 'quoted'";
            QVERIFY2(m_database->UpdateJobType(0, changed), qPrintable(field));
            QCOMPARE(m_database->GetJobType(0).Name, QStringLiteral("A"));
        }
    }

    void aJobTypeNameWithAQuoteIsStoredAndAddedAgain()
    {
        int first = -1;
        int second = -1;
        QVERIFY(m_database->AddJobType(SampleType("O'Brien's type"), true, &first));
        // Without forceNew the lookup breaks on the quote and reads as not found.
        QVERIFY(m_database->AddJobType(SampleType("O'Brien's type"), false, &second));
        QCOMPARE(first, 0);
        QCOMPARE(second, 1);
        const std::vector<Tavrol_JobType> loaded = m_database->LoadJobTypes();
        QCOMPARE(loaded.size(), size_t(2));
        QCOMPARE(loaded[0].Name, QStringLiteral("O'Brien's type"));
        QCOMPARE(loaded[1].Name, QStringLiteral("O'Brien's type"));
        // A name without a quote is found.
        int again = -1;
        QVERIFY(m_database->AddJobType(SampleType("Plain"), true, nullptr));
        QVERIFY(m_database->AddJobType(SampleType("Plain"), false, &again));
        QCOMPARE(again, 2);
        QCOMPARE(Count(m_database, "JobTypes"), 3);
    }

    void deleteJobTypeRemovesByKey()
    {
        QVERIFY(m_database->AddJobType(SampleType("A"), true, nullptr));
        QVERIFY(m_database->AddJobType(SampleType("B"), true, nullptr));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->DeleteJobType(0));
        QCOMPARE(trace.Statements,
                 QStringList({"BEGIN", "DELETE FROM JobTypes WHERE JobTypeID = 0", "COMMIT"}));
        QCOMPARE(m_database->LoadJobTypes().size(), size_t(1));
        QCOMPARE(m_database->LoadJobTypes().front().Name, QStringLiteral("B"));
        QVERIFY(m_database->DeleteJobType(17));
    }

    void anEmptyJobTypeNameCannotBeInserted()
    {
        QVERIFY(!m_database->AddJobType(SampleType(QString(QLatin1String(""))), true, nullptr));
        QCOMPARE(Count(m_database, "JobTypes"), 0);
        QVERIFY(!m_database->AddJobType(SampleType("Good"), true, nullptr));
    }

    // ---- Queues ----

    void queueKeysAreZeroOneTwo()
    {
        int longID = -1;
        int shortID = -1;
        int thirdID = -1;
        QVERIFY(m_database->AddQueue("Long", 1, &longID));
        QVERIFY(m_database->AddQueue("Short", 1, &shortID));
        QVERIFY(m_database->AddQueue("Third", 4, &thirdID));
        QCOMPARE(longID, 0);
        QCOMPARE(shortID, 1);
        QCOMPARE(thirdID, 2);
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Third"), 4);
    }

    void anExistingQueueKeepsItsKeyAndLimit()
    {
        QVERIFY(m_database->AddQueue("Long", 1, nullptr));
        QVERIFY(m_database->AddQueue("Short", 3, nullptr));
        int id = -1;
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->AddQueue("Short", 9, &id));
        QCOMPARE(id, 1);
        QCOMPARE(trace.Statements,
                 QStringList({"SELECT QueueID FROM Queues WHERE Name = 'Short' LIMIT 1"}));
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Short"), 3);
        QCOMPARE(Count(m_database, "Queues"), 2);
    }

    void setQueueMaxRunningJobsUpdatesTheLimitAndTheTime()
    {
        QVERIFY(m_database->AddQueue("Long", 1, nullptr));
        QVERIFY(m_database->AddQueue("Short", 1, nullptr));
        QVERIFY(Run(m_database->Database, {"UPDATE Queues SET LastModified = 'm'"}));
        StatementTrace trace(m_database->Database);
        QVERIFY(m_database->SetQueueMaxRunningJobs("Short", 5));
        QCOMPARE(trace.Statements.size(), 5);
        QCOMPARE(trace.Statements[0], QStringLiteral("SELECT * FROM Queues WHERE Name = 'Short'"));
        QCOMPARE(trace.Statements[1], QStringLiteral("BEGIN"));
        QCOMPARE(trace.Statements[2],
                 QStringLiteral("UPDATE Queues SET MaxRunningJobs = 5 WHERE QueueID = 1"));
        QVERIFY(trace.Statements[3].startsWith("UPDATE Queues SET LastModified = '"));
        QVERIFY(trace.Statements[3].endsWith("' WHERE QueueID = 1"));
        QCOMPARE(trace.Statements[4], QStringLiteral("COMMIT"));
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Short"), 5);
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Long"), 1);
        QCOMPARE(ValueOf(m_database->Database, "SELECT LastModified FROM Queues WHERE QueueID = 0")
                     .toString(),
                 QStringLiteral("m"));
        QVERIFY(!m_database->SetQueueMaxRunningJobs("Missing", 2));
    }

    void queueLookupsEscapeTheName()
    {
        int id = -1;
        QVERIFY(m_database->AddQueue("Long", 1, nullptr));
        QVERIFY(m_database->AddQueue("Bob's", 7, &id));
        QCOMPARE(id, 1);
        QCOMPARE(m_database->GetQueueID("Bob's"), 1);
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Bob's"), 7);
        QVERIFY(m_database->SetQueueMaxRunningJobs("Bob's", 8));
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Bob's"), 8);
        // The add's own lookup does not escape: a second add makes a second row.
        QVERIFY(m_database->AddQueue("Bob's", 2, &id));
        QCOMPARE(id, 2);
        QCOMPARE(m_database->GetQueueID("Bob's"), 1);
    }

    void queueLookupsOfAnAbsentNameGiveMinusOne()
    {
        QCOMPARE(m_database->GetQueueID("Long"), -1);
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Long"), -1);
        QVERIFY(Run(m_database->Database,
                    {"INSERT INTO Queues VALUES (0, 'Unlimited', 'c', 'm', NULL)"}));
        QCOMPARE(m_database->GetQueueID("Unlimited"), 0);
        QCOMPARE(m_database->GetQueueMaxRunningJobs("Unlimited"), -1);
    }

    void timestampsAreTheIsoTextOfQt_data()
    {
        QTest::addColumn<QDateTime>("time");
        QTest::newRow("afternoon") << QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9));
        QTest::newRow("midnight") << QDateTime(QDate(2000, 1, 1), QTime(0, 0, 0));
        QTest::newRow("milliseconds") << QDateTime(QDate(2023, 12, 31), QTime(23, 59, 59, 999));
        QTest::newRow("early year") << QDateTime(QDate(999, 3, 4), QTime(5, 6, 7));
        QTest::newRow("late year") << QDateTime(QDate(12345, 3, 4), QTime(5, 6, 7));
        QTest::newRow("utc") << QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9), Qt::UTC);
        QTest::newRow("offset") << QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9), Qt::OffsetFromUTC,
                                             3600);
        QTest::newRow("now") << QDateTime::currentDateTime();
    }
    void timestampsAreTheIsoTextOfQt()
    {
        QFETCH(QDateTime, time);
        QCOMPARE(Tavrol_Database::TimestampText(time), time.toString(Qt::ISODate));
    }

    void storedTimesReadBackAsQtReadsThem_data()
    {
        QTest::addColumn<QString>("text");
        for (const char* text :
             {"2024-05-17T14:03:09", "1999-12-31T23:59:59", "", "garbage", "2024-02-30T10:00:00",
              "2024-05-17T24:00:00", "2024-05-17T14:03:09Z", "2024-05-17T14:03:09.123",
              "2024-05-17T14:03:09+02:00", "2024-05-17 14:03:09", "2024-05-17", "2024-05-17T14:03",
              "2024-05-1xT14:03:09", "0999-01-02T03:04:05"})
            QTest::newRow(text) << QString::fromLatin1(text);
    }
    void storedTimesReadBackAsQtReadsThem()
    {
        QFETCH(QString, text);
        const QDateTime expected = QVariant(text).toDateTime();
        const QDateTime actual = Tavrol_Database::TimestampFromText(text);
        QCOMPARE(actual.isNull(), expected.isNull());
        QCOMPARE(actual.isValid(), expected.isValid());
        QCOMPARE(actual, expected);
        if (expected.isValid()) {
            QCOMPARE(actual.timeSpec(), expected.timeSpec());
            QCOMPARE(actual.offsetFromUtc(), expected.offsetFromUtc());
        }
    }

    void escapeDoublesSingleQuotes()
    {
        QCOMPARE(Quolix_SQLEscape("Bob's 'x'"), QStringLiteral("Bob''s ''x''"));
        QCOMPARE(Quolix_SQLEscape(QString()), QString());
        QCOMPARE(Quolix_SQLEscape("plain"), QStringLiteral("plain"));
    }
};

QTEST_MAIN(TestRecords)
#include "tst_records.moc"
