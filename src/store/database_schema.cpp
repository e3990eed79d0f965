#include "store/database.h"

#include "platform/error.h"
#include "platform/string.h"

#include <QSqlQuery>
#include <QSqlQueryModel>

#include <utility>

namespace {

const char* const GeneralDataColumns =
    " (GeneralDataID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),DataStr TEXT,Created timestamp NOT NULL,LastModified timestamp NOT NULL);";
const char* const JobTypesColumns =
    " (JobTypeID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > 0),ExecutablePath TEXT NOT "
    "NULL CHECK (length(ExecutablePath) > 0),Icon BLOB,DefaultQueueID INTEGER NOT NULL REFERENCES "
    "Queues (QueueID),InputFileFilter TEXT,OutputFileFilter TEXT,EnvironmentVariables "
    "TEXT,GenericCommandLine TEXT NOT NULL CHECK (length(GenericCommandLine) > 0),Created "
    "timestamp NOT NULL,LastModified timestamp NOT NULL);";
const char* const QueuesColumns =
    " (QueueID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),Created timestamp NOT NULL,LastModified timestamp NOT NULL,MaxRunningJobs INTEGER);";
const char* const LongJobsQueueColumns =
    " (LongJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),ApplicationName TEXT NOT NULL "
    "CHECK (length(ApplicationName) > 0),ExecutablePath TEXT NOT NULL CHECK "
    "(length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL CHECK "
    "(length(CommandLine) > 0),Status TEXT,Submitted timestamp,Started timestamp,Created timestamp "
    "NOT NULL,LastModified timestamp NOT NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName "
    "TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 "
    "TEXT,JobClass TEXT,ClientNotification INTEGER);";
const char* const ShortJobsQueueColumns =
    " (ShortJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),ApplicationName TEXT NOT NULL "
    "CHECK (length(ApplicationName) > 0),ExecutablePath TEXT NOT NULL CHECK "
    "(length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL CHECK "
    "(length(CommandLine) > 0),Status TEXT,Submitted timestamp,Started timestamp,Created timestamp "
    "NOT NULL,LastModified timestamp NOT NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName "
    "TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 "
    "TEXT,JobClass TEXT,ClientNotification INTEGER);";
const char* const QueuelessJobsColumns =
    " (QueuelessJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),ApplicationName TEXT NOT NULL "
    "CHECK (length(ApplicationName) > 0),ExecutablePath TEXT NOT NULL CHECK "
    "(length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL CHECK "
    "(length(CommandLine) > 0),Status TEXT,Submitted timestamp,Started timestamp,Created timestamp "
    "NOT NULL,LastModified timestamp NOT NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName "
    "TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 "
    "TEXT,JobClass TEXT,ClientNotification INTEGER);";
const char* const RunningJobsColumns =
    " (RunningJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),QueueID INTEGER NOT NULL "
    "REFERENCES Queues (QueueID),ProcessID INTEGER NOT NULL,ParentProcessID INTEGER NOT "
    "NULL,ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > 0),ExecutablePath TEXT "
    "NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL "
    "CHECK (length(CommandLine) > 0),Caption TEXT,Status TEXT,Created timestamp NOT "
    "NULL,LastModified timestamp NOT NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName "
    "TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,InputFilePath2 "
    "TEXT,JobClass TEXT,ClientNotification INTEGER);";
const char* const FinishedJobsColumns =
    " (FinishedJobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),QueueID INTEGER NOT NULL "
    "REFERENCES Queues (QueueID),ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > "
    "0),ExecutablePath TEXT NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath "
    "TEXT,CommandLine TEXT NOT NULL CHECK (length(CommandLine) > 0),Status TEXT,Submitted "
    "timestamp,Started timestamp,Finished timestamp,Created timestamp NOT NULL,LastModified "
    "timestamp NOT NULL,JobID INTEGER NOT NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress "
    "TEXT,ClientPort INTEGER,ClientUID INTEGER,ClientGID INTEGER,StdOutAndStdErr "
    "TEXT,InputFilePath2 TEXT,JobClass TEXT,ClientNotification INTEGER);";
const char* const JobsColumns =
    " (JobID INTEGER NOT NULL UNIQUE PRIMARY KEY,Name TEXT NOT NULL CHECK (length(Name) > "
    "0),JobTypeID INTEGER NOT NULL REFERENCES JobTypes (JobTypeID),QueueID INTEGER NOT NULL "
    "REFERENCES Queues (QueueID),ProcessID INTEGER NOT NULL,ParentProcessID INTEGER NOT "
    "NULL,ApplicationName TEXT NOT NULL CHECK (length(ApplicationName) > 0),ExecutablePath TEXT "
    "NOT NULL CHECK (length(ExecutablePath) > 0),InputFilePath TEXT,CommandLine TEXT NOT NULL "
    "CHECK (length(CommandLine) > 0),Caption TEXT,Status TEXT,Submitted timestamp,Started "
    "timestamp,Finished timestamp,Created timestamp NOT NULL,LastModified timestamp NOT "
    "NULL,ClientName TEXT,ClientAppName TEXT,ClientAddress TEXT,ClientPort INTEGER,ClientUID "
    "INTEGER,ClientGID INTEGER,InputFilePath2 TEXT,JobClass TEXT,ClientNotification INTEGER);";

const char* const DefaultQueueIndexSuffix = "_DefaultQueueID_Index ON ";
const char* const DefaultQueueIndexTail = " (DefaultQueueID);";
const char* const JobTypeIndexSuffix = "_JobTypeID_Index ON ";
const char* const JobTypeIndexTail = " (JobTypeID);";

// Every column that came after a table's first form. They are added on every
// load, and the statements fail quietly where the column already stands.
struct UpgradeGroup
{
    const char* Table;
    std::vector<const char*> Statements;
};

const std::vector<UpgradeGroup>& UpgradeGroups()
{
    static const std::vector<UpgradeGroup> groups = {
        {"FinishedJobs", {"ALTER TABLE FinishedJobs ADD COLUMN StdOutAndStdErr TEXT"}},
        {"LongJobsQueue",
         {"ALTER TABLE LongJobsQueue ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE LongJobsQueue ADD COLUMN JobClass TEXT",
          "ALTER TABLE LongJobsQueue ADD COLUMN ClientNotification INTEGER"}},
        {"ShortJobsQueue",
         {"ALTER TABLE ShortJobsQueue ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE ShortJobsQueue ADD COLUMN JobClass TEXT",
          "ALTER TABLE ShortJobsQueue ADD COLUMN ClientNotification INTEGER"}},
        {"QueuelessJobs",
         {"ALTER TABLE QueuelessJobs ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE QueuelessJobs ADD COLUMN JobClass TEXT",
          "ALTER TABLE QueuelessJobs ADD COLUMN ClientNotification INTEGER"}},
        {"RunningJobs",
         {"ALTER TABLE RunningJobs ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE RunningJobs ADD COLUMN JobClass TEXT",
          "ALTER TABLE RunningJobs ADD COLUMN ClientNotification INTEGER"}},
        {"FinishedJobs",
         {"ALTER TABLE FinishedJobs ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE FinishedJobs ADD COLUMN JobClass TEXT",
          "ALTER TABLE FinishedJobs ADD COLUMN ClientNotification INTEGER"}},
        {"Jobs",
         {"ALTER TABLE Jobs ADD COLUMN InputFilePath2 TEXT",
          "ALTER TABLE Jobs ADD COLUMN JobClass TEXT",
          "ALTER TABLE Jobs ADD COLUMN ClientNotification INTEGER"}},
    };
    return groups;
}

} // namespace

Tavrol_Database::Tavrol_Database(DatabaseTypeEnum kind, QString path, const QString& user,
                                 const QString& password, const QString& host,
                                 const QString& driverName, const QString& connectionName,
                                 QObject* parent, const QString& objectName)
    : Quolix_Database_Foundation(kind, std::move(path), user, password, host, driverName,
                                 connectionName, parent, objectName)
{
}

Tavrol_Database::~Tavrol_Database() = default;

bool Tavrol_Database::Initialize()
{
    if (!CreateTables())
        return false;
    {
        QSqlQuery query(Database);
    }
    return true;
}

bool Tavrol_Database::CreateTables()
{
    if (TablesCreated)
        return true;
    if (!Database.isOpen())
        return false;
    if (!BeginTransaction())
        return false;
    // JobTypes comes before Queues although it refers to it: the references
    // are documentation only.
    using Step = QString (Tavrol_Database::*)();
    static const Step steps[] = {&Tavrol_Database::CreateGeneralDataTable,
                                 &Tavrol_Database::CreateJobTypesTable,
                                 &Tavrol_Database::CreateQueuesTable,
                                 &Tavrol_Database::CreateLongJobsQueueTable,
                                 &Tavrol_Database::CreateShortJobsQueueTable,
                                 &Tavrol_Database::CreateQueuelessJobsTable,
                                 &Tavrol_Database::CreateRunningJobsTable,
                                 &Tavrol_Database::CreateFinishedJobsTable,
                                 &Tavrol_Database::CreateJobsTable};
    for (const Step step : steps) {
        // A failed step leaves its transaction open: the store never rolls back.
        if ((this->*step)().isEmpty())
            return false;
    }
    if (!Commit())
        return false;
    TablesCreated = true;
    return true;
}

namespace {

struct WorkingIndex
{
    const char* Name;
    const char* Table;
};

const WorkingIndex WorkingIndexes[] = {
    {"TavrolWorkingLongJobsQueueJobID", "LongJobsQueue"},
    {"TavrolWorkingShortJobsQueueJobID", "ShortJobsQueue"},
    {"TavrolWorkingQueuelessJobsJobID", "QueuelessJobs"},
};

} // namespace

void Tavrol_Database::EnsureWorkingIndexes()
{
    if (DatabaseType != SQLiteMemory || !Database.isOpen())
        return;
    for (const WorkingIndex& index : WorkingIndexes) {
        QSqlQuery query(Database);
        query.exec(QStringLiteral("CREATE INDEX IF NOT EXISTS %1 ON %2 (JobID)")
                       .arg(QLatin1String(index.Name), QLatin1String(index.Table)));
    }
}

void Tavrol_Database::DropWorkingIndexes()
{
    if (!Database.isOpen())
        return;
    // A statement still open on the database would hold the drop off.
    ForgetPreparedQueries();
    for (const WorkingIndex& index : WorkingIndexes) {
        QSqlQuery query(Database);
        query.exec(QStringLiteral("DROP INDEX IF EXISTS %1").arg(QLatin1String(index.Name)));
    }
}

bool Tavrol_Database::UpgradeTables()
{
    if (!Database.isOpen() || !TablesCreated)
        return false;
    if (!BeginTransaction())
        return false;
    const QStringList tables = Database.tables(QSql::Tables);
    for (const UpgradeGroup& group : UpgradeGroups()) {
        if (Quolix_String::FindIndex(QString::fromLatin1(group.Table), tables, false) < 0)
            continue;
        QSqlQueryModel model;
        for (const char* statement : group.Statements) {
            QSqlQuery query(Database);
            query.exec(QString::fromLatin1(statement));
            model.setQuery(std::move(query));
        }
    }
    return Commit();
}

QString Tavrol_Database::CreateGeneralDataTable()
{
    return CreateTable(QStringLiteral("GeneralData"), QString::fromLatin1(GeneralDataColumns),
                       QString(), QString());
}

QString Tavrol_Database::CreateJobTypesTable()
{
    return CreateTable(QStringLiteral("JobTypes"), QString::fromLatin1(JobTypesColumns),
                       QString::fromLatin1(DefaultQueueIndexSuffix),
                       QString::fromLatin1(DefaultQueueIndexTail));
}

QString Tavrol_Database::CreateQueuesTable()
{
    return CreateTable(QStringLiteral("Queues"), QString::fromLatin1(QueuesColumns), QString(),
                       QString());
}

QString Tavrol_Database::CreateLongJobsQueueTable()
{
    return CreateTable(QStringLiteral("LongJobsQueue"), QString::fromLatin1(LongJobsQueueColumns),
                       QString::fromLatin1(JobTypeIndexSuffix),
                       QString::fromLatin1(JobTypeIndexTail));
}

QString Tavrol_Database::CreateShortJobsQueueTable()
{
    return CreateTable(QStringLiteral("ShortJobsQueue"), QString::fromLatin1(ShortJobsQueueColumns),
                       QString::fromLatin1(JobTypeIndexSuffix),
                       QString::fromLatin1(JobTypeIndexTail));
}

QString Tavrol_Database::CreateQueuelessJobsTable()
{
    return CreateTable(QStringLiteral("QueuelessJobs"), QString::fromLatin1(QueuelessJobsColumns),
                       QString::fromLatin1(JobTypeIndexSuffix),
                       QString::fromLatin1(JobTypeIndexTail));
}

QString Tavrol_Database::CreateRunningJobsTable()
{
    return CreateTable(QStringLiteral("RunningJobs"), QString::fromLatin1(RunningJobsColumns),
                       QString(), QString());
}

QString Tavrol_Database::CreateFinishedJobsTable()
{
    return CreateTable(QStringLiteral("FinishedJobs"), QString::fromLatin1(FinishedJobsColumns),
                       QString::fromLatin1(JobTypeIndexSuffix),
                       QString::fromLatin1(JobTypeIndexTail));
}

QString Tavrol_Database::CreateJobsTable()
{
    return CreateTable(QStringLiteral("Jobs"), QString::fromLatin1(JobsColumns), QString(),
                       QString());
}

// The table's name when it exists at the end, else an empty string. An
// existing table is left alone, index and all.
QString Tavrol_Database::CreateTable(const QString& table, const QString& columns,
                                     const QString& indexSuffix, const QString& indexTail)
{
    if (!Database.isOpen())
        return QString();
    if (TableExists(table))
        return table;
    QSqlQuery query(Database);
    if (!query.exec(QStringLiteral("CREATE TABLE ") + table + columns)) {
        RememberError(query.lastError());
        ReportCreationFailure(table);
        return QString();
    }
    if (!indexSuffix.isEmpty() &&
        !query.exec(QStringLiteral("CREATE INDEX ") + table + indexSuffix + table + indexTail)) {
        RememberError(query.lastError());
        ReportCreationFailure(table);
        return QString();
    }
    return table;
}

bool Tavrol_Database::TableExists(const QString& table) const
{
    return Quolix_String::FindIndex(table, Database.tables(QSql::Tables), false) != -1;
}

void Tavrol_Database::ReportCreationFailure(const QString& table)
{
    const QString title = QStringLiteral("Creating \"") + table + QStringLiteral("\" Table");
    Quolix_Error::ReportWarning(title, LastErrorMessage(), 1, 0);
}
