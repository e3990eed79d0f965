#include "store/database.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <map>

// The four job tables differ only in these names, and the history table in
// three further columns.
struct Tavrol_Database::JobTable
{
    QString Table;
    QString KeyColumn;
    QString QueueName; // given to loaded jobs of a queue table, with QueueID 0
    bool Finished;     // the history: QueueID, Finished and StdOutAndStdErr
};

const Tavrol_Database::JobTable Tavrol_Database::LongJobsTable{
    QStringLiteral("LongJobsQueue"), QStringLiteral("LongJobID"), QStringLiteral("Long"), false};
const Tavrol_Database::JobTable Tavrol_Database::ShortJobsTable{
    QStringLiteral("ShortJobsQueue"), QStringLiteral("ShortJobID"), QStringLiteral("Short"), false};
const Tavrol_Database::JobTable Tavrol_Database::QueuelessJobsTable{
    QStringLiteral("QueuelessJobs"), QStringLiteral("QueuelessJobID"), QStringLiteral("Queueless"),
    false};
const Tavrol_Database::JobTable Tavrol_Database::FinishedJobsTable{
    QStringLiteral("FinishedJobs"), QStringLiteral("FinishedJobID"), QString(), true};

namespace {

// A timestamp column's text: a null time is an empty string, never an SQL null.
QVariant TimestampValue(const QDateTime& time)
{
    if (time.isNull())
        return QVariant(QString(QLatin1String("")));
    return QVariant(Tavrol_Database::TimestampText(time));
}

// Positions of the columns of a job table, looked up by name once per load.
// A column that the table lacks reads as a null value.
class JobColumns
{
public:
    explicit JobColumns(const QSqlRecord& record) : m_record(record) {}
    int operator()(const char* name) const { return m_record.indexOf(QLatin1String(name)); }

private:
    QSqlRecord m_record;
};

QVariant ValueAt(const QSqlQuery& query, int column)
{
    return column < 0 ? QVariant() : query.value(column);
}

} // namespace

// ---- The four families ----------------------------------------------------

bool Tavrol_Database::AddLongJob(const Tavrol_Job& job, bool forceNew, int* id)
{
    return AddJob(LongJobsTable, job, forceNew, id);
}

bool Tavrol_Database::DeleteLongJob(int jobId)
{
    return DeleteJob(LongJobsTable, jobId);
}

std::vector<Tavrol_Job> Tavrol_Database::LoadLongJobs()
{
    return LoadJobs(LongJobsTable);
}

bool Tavrol_Database::AddShortJob(const Tavrol_Job& job, bool forceNew, int* id)
{
    return AddJob(ShortJobsTable, job, forceNew, id);
}

bool Tavrol_Database::DeleteShortJob(int jobId)
{
    return DeleteJob(ShortJobsTable, jobId);
}

std::vector<Tavrol_Job> Tavrol_Database::LoadShortJobs()
{
    return LoadJobs(ShortJobsTable);
}

bool Tavrol_Database::AddQueuelessJob(const Tavrol_Job& job, bool forceNew, int* id)
{
    return AddJob(QueuelessJobsTable, job, forceNew, id);
}

bool Tavrol_Database::DeleteQueuelessJob(int jobId)
{
    return DeleteJob(QueuelessJobsTable, jobId);
}

std::vector<Tavrol_Job> Tavrol_Database::LoadQueuelessJobs()
{
    return LoadJobs(QueuelessJobsTable);
}

bool Tavrol_Database::AddFinishedJob(const Tavrol_Job& job, bool forceNew, int* id)
{
    return AddJob(FinishedJobsTable, job, forceNew, id);
}

bool Tavrol_Database::DeleteFinishedJob(int jobId)
{
    return DeleteJob(FinishedJobsTable, jobId);
}

std::vector<Tavrol_Job> Tavrol_Database::LoadFinishedJobs()
{
    return LoadJobs(FinishedJobsTable);
}

// ---- Shared steps ---------------------------------------------------------

bool Tavrol_Database::AddJob(const JobTable& table, const Tavrol_Job& job, bool forceNew, int* id)
{
    std::vector<Column> columns;
    columns.reserve(26);
    columns.push_back({table.KeyColumn, QVariant(0)});
    columns.push_back({QStringLiteral("Name"), QVariant(job.Name)});
    columns.push_back({QStringLiteral("JobTypeID"), QVariant(job.JobType.JobTypeID)});
    if (table.Finished)
        columns.push_back({QStringLiteral("QueueID"), QVariant(job.QueueID)});
    columns.push_back({QStringLiteral("ApplicationName"), QVariant(job.JobType.ApplicationName)});
    columns.push_back({QStringLiteral("ExecutablePath"), QVariant(job.JobType.ExecutablePath)});
    columns.push_back({QStringLiteral("InputFilePath"), QVariant(job.InputFilePath)});
    columns.push_back({QStringLiteral("CommandLine"), QVariant(job.CommandLine())});
    columns.push_back({QStringLiteral("Status"), QVariant(Tavrol_Job::StatusToString(job.Status))});
    columns.push_back({QStringLiteral("Submitted"), TimestampValue(job.Submitted)});
    columns.push_back({QStringLiteral("Started"), TimestampValue(job.Started)});
    if (table.Finished)
        columns.push_back({QStringLiteral("Finished"), TimestampValue(job.Finished)});
    columns.push_back({QStringLiteral("Created"), QVariant(Now())});
    columns.push_back({QStringLiteral("LastModified"), QVariant(Now())});
    columns.push_back({QStringLiteral("JobID"), QVariant(job.JobID)});
    columns.push_back({QStringLiteral("ClientName"), QVariant(job.ClientName)});
    columns.push_back({QStringLiteral("ClientAppName"), QVariant(job.ClientAppName)});
    columns.push_back({QStringLiteral("ClientAddress"), QVariant(job.ClientAddress)});
    columns.push_back({QStringLiteral("ClientPort"), QVariant(job.ClientPort)});
    columns.push_back({QStringLiteral("ClientUID"), QVariant(job.ClientUID)});
    columns.push_back({QStringLiteral("ClientGID"), QVariant(job.ClientGID)});
    if (table.Finished)
        columns.push_back({QStringLiteral("StdOutAndStdErr"), QVariant(job.StdOutAndStdErr)});
    columns.push_back({QStringLiteral("InputFilePath2"), QVariant(job.InputFilePath2)});
    columns.push_back({QStringLiteral("JobClass"), QVariant(job.JobClass)});
    columns.push_back(
        {QStringLiteral("ClientNotification"), QVariant(job.ClientNotification != 0 ? 1 : 0)});
    return InsertRow({table.Table, table.KeyColumn, job.Name}, forceNew, id, columns);
}

// Jobs are found by JobID, which is not unique: every row with it goes.
bool Tavrol_Database::DeleteJob(const JobTable& table, int jobId)
{
    return RunInTransaction({QStringLiteral("DELETE FROM ") + table.Table +
                             QStringLiteral(" WHERE JobID = ") + QString::number(jobId)});
}

// Rows come back in the table model's order: the table model's own select,
// read forward only, so that a history of years needs no row cache. The job
// type is the one the table holds now, fetched by id once per load; the
// row's own application name, executable path and command line are not used.
std::vector<Tavrol_Job> Tavrol_Database::LoadJobs(const JobTable& table)
{
    std::vector<Tavrol_Job> jobs;
    QSqlDriver* driver = Driver();
    if (!driver || !Database.isOpen())
        return jobs;
    const QSqlRecord columns = Database.record(table.Table);
    if (columns.isEmpty())
        return jobs;
    QSqlQuery query(Database);
    query.setForwardOnly(true);
    // Jobs cannot be moved, only copied: room for all of them comes first.
    if (query.exec(QStringLiteral("SELECT COUNT(*) FROM ") + table.Table) && query.next())
        jobs.reserve(size_t(query.value(0).toLongLong()));
    if (!query.exec(
            driver->sqlStatement(QSqlDriver::SelectStatement, table.Table, columns, false))) {
        RememberError(query.lastError());
        return jobs;
    }
    const JobColumns column(query.record());
    const int name = column("Name"), jobTypeID = column("JobTypeID"), queueID = column("QueueID");
    const int inputFilePath = column("InputFilePath"), status = column("Status");
    const int submitted = column("Submitted"), started = column("Started");
    const int finished = column("Finished"), jobID = column("JobID");
    const int clientName = column("ClientName"), clientAppName = column("ClientAppName");
    const int clientAddress = column("ClientAddress"), clientPort = column("ClientPort");
    const int clientUID = column("ClientUID"), clientGID = column("ClientGID");
    const int stdOutAndStdErr = column("StdOutAndStdErr");
    const int inputFilePath2 = column("InputFilePath2"), jobClass = column("JobClass");
    const int clientNotification = column("ClientNotification");
    std::map<int, Tavrol_JobType> jobTypes;
    while (query.next()) {
        const int typeID = ValueAt(query, jobTypeID).toInt();
        auto jobType = jobTypes.find(typeID);
        if (jobType == jobTypes.end())
            jobType = jobTypes.emplace(typeID, GetJobType(typeID)).first;
        int queueNumber = 0;
        QString queueName = table.QueueName;
        if (table.Finished) {
            queueNumber = ValueAt(query, queueID).toInt();
            queueName = Tavrol_JobType::QueueNameFromID(queueNumber);
        }
        jobs.emplace_back(
            ValueAt(query, name).toString(), jobType->second, ValueAt(query, clientName).toString(),
            ValueAt(query, clientAppName).toString(), ValueAt(query, clientAddress).toString(),
            ValueAt(query, clientPort).toInt(), ValueAt(query, clientUID).toInt(),
            ValueAt(query, clientGID).toInt(), queueNumber, queueName,
            ValueAt(query, inputFilePath).toString(), ValueAt(query, inputFilePath2).toString(),
            ValueAt(query, jobID).toInt(), ValueAt(query, jobClass).toString());
        Tavrol_Job& job = jobs.back();
        job.Submitted = ValueAt(query, submitted).toDateTime();
        job.Started = ValueAt(query, started).toDateTime();
        if (table.Finished)
            job.Finished = ValueAt(query, finished).toDateTime();
        // No time stamping, so that the stored times stay.
        job.SetStatus(Tavrol_Job::StatusFromString(ValueAt(query, status).toString()), false);
        if (table.Finished)
            job.StdOutAndStdErr = ValueAt(query, stdOutAndStdErr).toString();
        job.ClientNotification = ValueAt(query, clientNotification).toInt();
    }
    return jobs;
}
