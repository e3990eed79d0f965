#include "store/database.h"
#include "store/database_manager.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QtTest>

using namespace StoreTest;

namespace {

const QStringList ExpectedTableStatements = {
    QStringLiteral("CREATE TABLE GeneralData (GeneralDataID INTEGER NOT NULL UNIQUE PRIMARY "
                   "KEY,Name TEXT NOT NULL CHECK (length(Name) > 0),DataStr TEXT,Created timestamp "
                   "NOT NULL,LastModified timestamp NOT NULL);"),
    QStringLiteral(
        "CREATE TABLE JobTypes (JobTypeID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL "
        "CHECK (length(Name) > 0),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
        "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),Icon "
        "BLOB,DefaultQueueID INTEGER NOT NULL REFERENCES Queues (QueueID),InputFileFilter "
        "TEXT,OutputFileFilter TEXT,EnvironmentVariables TEXT,GenericCommandLine TEXT NOT NULL "
        "CHECK (length(GenericCommandLine) > 0),Created timestamp NOT NULL,LastModified timestamp "
        "NOT NULL);"),
    QStringLiteral("CREATE TABLE Queues (QueueID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT "
                   "NULL CHECK (length(Name) > 0),Created timestamp NOT NULL,LastModified "
                   "timestamp NOT NULL,MaxRunningJobs INTEGER);"),
    QStringLiteral(
        "CREATE TABLE LongJobsQueue (LongJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT "
        "NULL CHECK (length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes "
        "(JobTypeID),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
        "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath "
        "TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Status TEXT,Submitted "
        "timestamp,Started timestamp,Created timestamp NOT NULL,LastModified timestamp NOT "
        "NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress "
        "TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
    QStringLiteral(
        "CREATE TABLE ShortJobsQueue (ShortJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT "
        "NULL CHECK (length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes "
        "(JobTypeID),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
        "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath "
        "TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Status TEXT,Submitted "
        "timestamp,Started timestamp,Created timestamp NOT NULL,LastModified timestamp NOT "
        "NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress "
        "TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
    QStringLiteral(
        "CREATE TABLE QueuelessJobs (QueuelessJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT "
        "NOT NULL CHECK (length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes "
        "(JobTypeID),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
        "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath "
        "TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Status TEXT,Submitted "
        "timestamp,Started timestamp,Created timestamp NOT NULL,LastModified timestamp NOT "
        "NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress "
        "TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
    QStringLiteral(
        "CREATE TABLE RunningJobs (RunningJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT "
        "NULL CHECK (length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes "
        "(JobTypeID),QueueID INTEGER NOT NULL REFERENCES Queues (QueueID),ProcessID INTEGER NOT "
        "NULL,ParentProcessID INTEGER NOT NULL,ApplicationName TEXT NOT NULL CHECK "
        "(length(ApplicationName) > 0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) "
        "> 0),InputFilePath TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Caption "
        "TEXT,Status TEXT,Created timestamp NOT NULL,LastModified timestamp NOT NULL,JobID INTEGER "
        "NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress TEXT,ClientPort "
        "INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
    QStringLiteral(
        "CREATE TABLE FinishedJobs (FinishedJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT "
        "NOT NULL CHECK (length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes "
        "(JobTypeID),QueueID INTEGER NOT NULL REFERENCES Queues (QueueID),ApplicationName TEXT NOT "
        "NULL CHECK (length(ApplicationName) > 0),ExecutablePath TEXT NOT NULL CHECK "
        "(length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL CHECK "
        "(length(CommandLine) > 0),Status TEXT,Submitted timestamp,Started timestamp,Finished "
        "timestamp,Created timestamp NOT NULL,LastModified timestamp NOT NULL,JobID INTEGER NOT "
        "NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID "
        "INTEGER,ClientGID INTEGER,StdOutAndStdErr TEXT,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
    QStringLiteral(
        "CREATE TABLE Jobs (JobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK "
        "(length(Name) > 0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),QueueID "
        "INTEGER NOT NULL REFERENCES Queues (QueueID),ProcessID INTEGER NOT NULL,ParentProcessID "
        "INTEGER NOT NULL,ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
        "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath "
        "TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Caption TEXT,Status "
        "TEXT,Submitted timestamp,Started timestamp,Finished timestamp,Created timestamp NOT "
        "NULL,LastModified timestamp NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress "
        "TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass "
        "TEXT,ClientNotification INTEGER);"),
};

const QStringList ExpectedIndexStatements = {
    QStringLiteral("CREATE INDEX JobTypes_DefaultQueueID_Index ON JobTypes (DefaultQueueID);"),
    QStringLiteral("CREATE INDEX LongJobsQueue_JobTypeID_Index ON LongJobsQueue (JobTypeID);"),
    QStringLiteral("CREATE INDEX ShortJobsQueue_JobTypeID_Index ON ShortJobsQueue (JobTypeID);"),
    QStringLiteral("CREATE INDEX QueuelessJobs_JobTypeID_Index ON QueuelessJobs (JobTypeID);"),
    QStringLiteral("CREATE INDEX FinishedJobs_JobTypeID_Index ON FinishedJobs (JobTypeID);"),
};

const QStringList TableNames = {
    QStringLiteral("GeneralData"),    QStringLiteral("JobTypes"),
    QStringLiteral("Queues"),         QStringLiteral("LongJobsQueue"),
    QStringLiteral("ShortJobsQueue"), QStringLiteral("QueuelessJobs"),
    QStringLiteral("RunningJobs"),    QStringLiteral("FinishedJobs"),
    QStringLiteral("Jobs"),
};

const QStringList UpgradeStatements = {
    QStringLiteral("ALTER TABLE FinishedJobs ADD COLUMN StdOutAndStdErr TEXT"),
    QStringLiteral("ALTER TABLE LongJobsQueue ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE LongJobsQueue ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE LongJobsQueue ADD COLUMN ClientNotification INTEGER"),
    QStringLiteral("ALTER TABLE ShortJobsQueue ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE ShortJobsQueue ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE ShortJobsQueue ADD COLUMN ClientNotification INTEGER"),
    QStringLiteral("ALTER TABLE QueuelessJobs ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE QueuelessJobs ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE QueuelessJobs ADD COLUMN ClientNotification INTEGER"),
    QStringLiteral("ALTER TABLE RunningJobs ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE RunningJobs ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE RunningJobs ADD COLUMN ClientNotification INTEGER"),
    QStringLiteral("ALTER TABLE FinishedJobs ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE FinishedJobs ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE FinishedJobs ADD COLUMN ClientNotification INTEGER"),
    QStringLiteral("ALTER TABLE Jobs ADD COLUMN InputFilePath2 TEXT"),
    QStringLiteral("ALTER TABLE Jobs ADD COLUMN JobClass TEXT"),
    QStringLiteral("ALTER TABLE Jobs ADD COLUMN ClientNotification INTEGER"),
};

// SQLite keeps a statement's text from its name on, without the semicolon.
QString Stored(QString statement)
{
    statement.chop(1);
    return statement;
}

// The schema's own objects in the order they were made; SQLite's automatic
// indexes of the UNIQUE keys have no text and are left out.
QStringList SchemaStatements(const QSqlDatabase& database)
{
    QStringList statements;
    QSqlQuery query(database);
    query.exec(
        QStringLiteral("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"));
    while (query.next())
        statements.append(query.value(0).toString());
    return statements;
}

// Every table of the schema, made with plain statements.
QStringList AllTableStatements()
{
    return ExpectedTableStatements;
}

} // namespace

class TestSchema : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(ErrorLog::Install()); }

    void cleanup()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        ErrorLog::Messages().clear();
    }

    void createTablesMakesTheNineTablesAndFiveIndexesInOrder()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(database);
        QVERIFY(!database->TablesCreated);
        StderrCapture stderrCapture;
        QVERIFY(database->CreateTables());
        QVERIFY(stderrCapture.Text().isEmpty());
        QVERIFY(database->TablesCreated);

        const QStringList expected = {
            Stored(ExpectedTableStatements[0]), Stored(ExpectedTableStatements[1]),
            Stored(ExpectedIndexStatements[0]), Stored(ExpectedTableStatements[2]),
            Stored(ExpectedTableStatements[3]), Stored(ExpectedIndexStatements[1]),
            Stored(ExpectedTableStatements[4]), Stored(ExpectedIndexStatements[2]),
            Stored(ExpectedTableStatements[5]), Stored(ExpectedIndexStatements[3]),
            Stored(ExpectedTableStatements[6]), Stored(ExpectedTableStatements[7]),
            Stored(ExpectedIndexStatements[4]), Stored(ExpectedTableStatements[8]),
        };
        QCOMPARE(SchemaStatements(database->Database), expected);
    }

    void createTablesRunsTheStatementsInOneTransaction()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        StatementTrace trace(database->Database);
        QVERIFY(database->CreateTables());
        QStringList expected = {QStringLiteral("BEGIN")};
        for (int table = 0; table < ExpectedTableStatements.size(); ++table) {
            expected.append(ExpectedTableStatements[table]);
            for (const QString& index : ExpectedIndexStatements) {
                if (index.contains(QStringLiteral(" ON ") + TableNames[table] +
                                   QStringLiteral(" (")))
                    expected.append(index);
            }
        }
        expected.append(QStringLiteral("COMMIT"));
        QCOMPARE(trace.Writes(), expected);
        QVERIFY(database->Modified);
    }

    void secondCallDoesNotEvenStartATransaction()
    {
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->TablesCreated);
        StatementTrace trace(database->Database);
        QVERIFY(database->CreateTables());
        QVERIFY(trace.Statements.isEmpty());
    }

    void existingTablesGetOnlyTheTransactionAndTheCommit()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Run(database->Database, AllTableStatements()));
        StatementTrace trace(database->Database);
        StderrCapture stderrCapture;
        QVERIFY(database->CreateTables());
        QCOMPARE(stderrCapture.Text(), QString());
        QCOMPARE(trace.Writes(), QStringList({QStringLiteral("BEGIN"), QStringLiteral("COMMIT")}));
        QVERIFY(database->TablesCreated);
        // No index was added to the tables that were there.
        QCOMPARE(ValueOf(database->Database,
                         QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'index' "
                                        "AND sql IS NOT NULL"))
                     .toInt(),
                 0);
    }

    void anExistingTableWithoutItsIndexGetsNoIndex()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Run(database->Database, {ExpectedTableStatements[1]}));
        QVERIFY(database->CreateTables());
        const QStringList indexes = SchemaStatements(database->Database).filter("CREATE INDEX");
        QCOMPARE(
            indexes,
            QStringList({Stored(ExpectedIndexStatements[1]), Stored(ExpectedIndexStatements[2]),
                         Stored(ExpectedIndexStatements[3]), Stored(ExpectedIndexStatements[4])}));
    }

    void theTableTestIgnoresCase()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Run(database->Database, {QStringLiteral("CREATE TABLE generaldata (x INTEGER)")}));
        StderrCapture stderrCapture;
        QVERIFY(database->CreateTables());
        QVERIFY(stderrCapture.Text().isEmpty());
        QCOMPARE(ColumnsOf(database->Database, QStringLiteral("GeneralData")),
                 QStringList({QStringLiteral("x")}));
    }

    void createTablesOnAClosedConnectionFails()
    {
        Tavrol_Database* database =
            Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
        QVERIFY(!database->Database.isOpen());
        QVERIFY(!database->CreateTables());
        QVERIFY(!database->TablesCreated);
    }

    void aFailedCreationIsReportedAndLeavesTheTransactionOpen()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        // A view of the name is no table, so the creation step tries and fails.
        QVERIFY(
            Run(database->Database, {QStringLiteral("CREATE VIEW Queues AS SELECT 1 AS QueueID")}));
        StderrCapture stderrCapture;
        QVERIFY(!database->CreateTables());
        const QString printed = stderrCapture.Text();
        QVERIFY(!database->TablesCreated);
        QVERIFY2(printed.startsWith(QStringLiteral("Creating \"Queues\" Table: ")),
                 qPrintable(printed));
        QVERIFY2(printed.contains(QStringLiteral("already exists")), qPrintable(printed));
        // The tables made before the failure stay, in the open transaction.
        const QStringList tables = database->Database.tables(QSql::Tables);
        QVERIFY(tables.contains(QStringLiteral("GeneralData")));
        QVERIFY(tables.contains(QStringLiteral("JobTypes")));
        QVERIFY(!tables.contains(QStringLiteral("LongJobsQueue")));
        QVERIFY(!database->Database.transaction());
        QVERIFY(!database->AddGeneralData(QStringLiteral("Version"), QStringLiteral("2"), true,
                                          nullptr));
    }

    void aFailedIndexIsReportedWithTheTableTitle()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Run(
            database->Database,
            {QStringLiteral("CREATE TABLE Other (JobTypeID INTEGER)"),
             QStringLiteral("CREATE INDEX LongJobsQueue_JobTypeID_Index ON Other (JobTypeID)")}));
        StderrCapture stderrCapture;
        QVERIFY(!database->CreateTables());
        const QString printed = stderrCapture.Text();
        QVERIFY2(printed.startsWith(QStringLiteral("Creating \"LongJobsQueue\" Table: ")),
                 qPrintable(printed));
        QVERIFY2(printed.contains(QStringLiteral("LongJobsQueue_JobTypeID_Index already exists")),
                 qPrintable(printed));
        QVERIFY(!database->TablesCreated);
        // The table itself was made before its index failed.
        QVERIFY(database->Database.tables().contains(QStringLiteral("LongJobsQueue")));
        QVERIFY(!database->Database.tables().contains(QStringLiteral("ShortJobsQueue")));
    }

    void initializeCreatesTheTables()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(database->Initialize());
        QVERIFY(database->TablesCreated);
        QCOMPARE(database->Database.tables(QSql::Tables).size(), 9);
    }

    void initializeFailsWhenTheTablesFail()
    {
        Tavrol_Database* database =
            Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
        QVERIFY(!database->Initialize());
    }

    void upgradeNeedsAnOpenConnectionAndTheTablesFlag()
    {
        Tavrol_Database* database =
            Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
        database->TablesCreated = true;
        QVERIFY(!database->UpgradeTables());
        database->TablesCreated = false;
        QVERIFY(database->Open());
        QVERIFY(!database->UpgradeTables());
        QVERIFY(database->CreateTables());
        QVERIFY(database->UpgradeTables());
    }

    void upgradeRunsAllNineteenStatementsEveryTimeAndIgnoresTheirFailure()
    {
        Tavrol_Database* database = NewProjectDatabase();
        ErrorLog::Messages().clear();
        StatementTrace trace(database->Database);
        database->Modified = false;
        QVERIFY(database->UpgradeTables());
        // All columns stand already: every statement fails when it is prepared.
        QStringList failed;
        for (const QString& message : ErrorLog::Messages()) {
            if (message.startsWith(QStringLiteral("duplicate column name")))
                failed.append(message.mid(message.indexOf(QLatin1Char('"')) + 1).chopped(1));
        }
        QCOMPARE(failed, UpgradeStatements);
        QCOMPARE(trace.Writes(), QStringList({QStringLiteral("BEGIN"), QStringLiteral("COMMIT")}));
        QVERIFY(database->Modified);
        // A second run is the same.
        ErrorLog::Messages().clear();
        QVERIFY(database->UpgradeTables());
        QCOMPARE(ErrorLog::Containing(QStringLiteral("duplicate column name")).size(), 19);
    }

    void upgradeAddsTheLaterColumnsToOldTablesAndVisitsFinishedJobsTwice()
    {
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Run(database->Database,
                    {QStringLiteral("CREATE TABLE FinishedJobs (FinishedJobID INTEGER NOT NULL "
                                    "UNIQUE PRIMARY KEY,Name TEXT)"),
                     QStringLiteral("CREATE TABLE Jobs (JobID INTEGER NOT NULL UNIQUE PRIMARY "
                                    "KEY,Name TEXT)"),
                     QStringLiteral("INSERT INTO FinishedJobs VALUES (0, 'old')")}));
        database->TablesCreated = true;
        StatementTrace trace(database->Database);
        QVERIFY(database->UpgradeTables());
        QCOMPARE(
            trace.Writes(),
            QStringList({QStringLiteral("BEGIN"), UpgradeStatements[0], UpgradeStatements[13],
                         UpgradeStatements[14], UpgradeStatements[15], UpgradeStatements[16],
                         UpgradeStatements[17], UpgradeStatements[18], QStringLiteral("COMMIT")}));
        QCOMPARE(ColumnsOf(database->Database, QStringLiteral("FinishedJobs")),
                 QStringList({"FinishedJobID", "Name", "StdOutAndStdErr", "InputFilePath2",
                              "JobClass", "ClientNotification"}));
        QCOMPARE(TableRows(database->Database, QStringLiteral("FinishedJobs")),
                 QStringList({"FinishedJobID=0|Name=old|StdOutAndStdErr=<null>|"
                              "InputFilePath2=<null>|JobClass=<null>|ClientNotification=<null>"}));
        // The missing tables stay missing.
        QCOMPARE(database->Database.tables(QSql::Tables).size(), 2);
    }

    void upgradeFailsOnlyWhenItsCommitFails()
    {
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->Database.transaction());
        // A transaction is open already, so the upgrade cannot begin its own.
        QVERIFY(!database->UpgradeTables());
    }

    void aNewProjectStartsWithVersionAndTwoQueues()
    {
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QString::number(2)));
        int longID = -1;
        int shortID = -1;
        QVERIFY(database->AddQueue(QStringLiteral("Long"), 1, &longID));
        QVERIFY(database->AddQueue(QStringLiteral("Short"), 1, &shortID));
        QCOMPARE(longID, 0);
        QCOMPARE(shortID, 1);
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("2"));
        QCOMPARE(database->GetQueueID(QStringLiteral("Long")), 0);
        QCOMPARE(database->GetQueueID(QStringLiteral("Short")), 1);
        QCOMPARE(database->GetQueueMaxRunningJobs(QStringLiteral("Long")), 1);
        QCOMPARE(database->GetQueueMaxRunningJobs(QStringLiteral("Short")), 1);
    }

    void emptyNamesBreakTheCheck()
    {
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(!Run(database->Database,
                     {QStringLiteral("INSERT INTO GeneralData VALUES (0, '', 'x', 'a', 'b')")}));
        QVERIFY(!database->AddGeneralData(QString(QLatin1String("")), QStringLiteral("x"), true,
                                          nullptr));
        QCOMPARE(
            ValueOf(database->Database, QStringLiteral("SELECT COUNT(*) FROM GeneralData")).toInt(),
            0);
    }
};

QTEST_MAIN(TestSchema)
#include "tst_schema.moc"
