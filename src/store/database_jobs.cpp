#include "store/database.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <map>
#include <memory>

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

// Positions of the columns of a job table's rows, looked up by name once per
// load. A column that the table lacks reads as a null value.
struct JobColumns
{
    explicit JobColumns(const Quolix_ResultRow& row)
        : Name(row.ColumnIndex(QStringLiteral("Name"))),
          JobTypeID(row.ColumnIndex(QStringLiteral("JobTypeID"))),
          QueueID(row.ColumnIndex(QStringLiteral("QueueID"))),
          InputFilePath(row.ColumnIndex(QStringLiteral("InputFilePath"))),
          Status(row.ColumnIndex(QStringLiteral("Status"))),
          Submitted(row.ColumnIndex(QStringLiteral("Submitted"))),
          Started(row.ColumnIndex(QStringLiteral("Started"))),
          Finished(row.ColumnIndex(QStringLiteral("Finished"))),
          JobID(row.ColumnIndex(QStringLiteral("JobID"))),
          ClientName(row.ColumnIndex(QStringLiteral("ClientName"))),
          ClientAppName(row.ColumnIndex(QStringLiteral("ClientAppName"))),
          ClientAddress(row.ColumnIndex(QStringLiteral("ClientAddress"))),
          ClientPort(row.ColumnIndex(QStringLiteral("ClientPort"))),
          ClientUID(row.ColumnIndex(QStringLiteral("ClientUID"))),
          ClientGID(row.ColumnIndex(QStringLiteral("ClientGID"))),
          StdOutAndStdErr(row.ColumnIndex(QStringLiteral("StdOutAndStdErr"))),
          InputFilePath2(row.ColumnIndex(QStringLiteral("InputFilePath2"))),
          JobClass(row.ColumnIndex(QStringLiteral("JobClass"))),
          ClientNotification(row.ColumnIndex(QStringLiteral("ClientNotification")))
    {
    }
    const int Name, JobTypeID, QueueID, InputFilePath, Status, Submitted, Started, Finished;
    const int JobID, ClientName, ClientAppName, ClientAddress, ClientPort, ClientUID, ClientGID;
    const int StdOutAndStdErr, InputFilePath2, JobClass, ClientNotification;
};

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

// Rows come back in the table model's order: its own select, read forward
// only, so that a history of years needs no row cache. The job type is the
// one the table holds now, fetched by id once per load; the row's own
// application name, executable path and command line are not used.
std::vector<Tavrol_Job> Tavrol_Database::LoadJobs(const JobTable& table)
{
    std::vector<Tavrol_Job> jobs;
    QSqlDriver* driver = Driver();
    if (!driver || !Database.isOpen())
        return jobs;
    const QSqlRecord fields = Database.record(table.Table);
    if (fields.isEmpty())
        return jobs;
    // Jobs cannot be moved, only copied: room for all of them comes first.
    int rows = 0;
    if (SelectPreparedInt(QStringLiteral("SELECT COUNT(*) FROM ") + table.Table, &rows))
        jobs.reserve(size_t(rows));
    std::unique_ptr<JobColumns> columns;
    std::map<int, Tavrol_JobType> jobTypes;
    const auto rebuild = [&](const Quolix_ResultRow& row) {
        if (!columns)
            columns = std::make_unique<JobColumns>(row);
        const JobColumns& column = *columns;
        const int jobTypeID = row.Integer(column.JobTypeID);
        auto jobType = jobTypes.find(jobTypeID);
        if (jobType == jobTypes.end())
            jobType = jobTypes.emplace(jobTypeID, GetJobType(jobTypeID)).first;
        int queueID = 0;
        QString queueName = table.QueueName;
        if (table.Finished) {
            queueID = row.Integer(column.QueueID);
            queueName = Tavrol_JobType::QueueNameFromID(queueID);
        }
        jobs.emplace_back(row.Text(column.Name), jobType->second, row.Text(column.ClientName),
                          row.Text(column.ClientAppName), row.Text(column.ClientAddress),
                          row.Integer(column.ClientPort), row.Integer(column.ClientUID),
                          row.Integer(column.ClientGID), queueID, queueName,
                          row.Text(column.InputFilePath), row.Text(column.InputFilePath2),
                          row.Integer(column.JobID), row.Text(column.JobClass));
        Tavrol_Job& job = jobs.back();
        job.Submitted = TimestampFromText(row.Text(column.Submitted));
        job.Started = TimestampFromText(row.Text(column.Started));
        if (table.Finished)
            job.Finished = TimestampFromText(row.Text(column.Finished));
        // No time stamping, so that the stored times stay.
        job.SetStatus(Tavrol_Job::StatusFromString(row.Text(column.Status)), false);
        if (table.Finished)
            job.StdOutAndStdErr = row.Text(column.StdOutAndStdErr);
        job.ClientNotification = row.Integer(column.ClientNotification);
    };
    if (!SelectEach(driver->sqlStatement(QSqlDriver::SelectStatement, table.Table, fields, false),
                    rebuild))
        jobs.clear();
    return jobs;
}
