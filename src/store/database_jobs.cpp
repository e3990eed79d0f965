#include "store/database.h"

#include <QDateTime>
#include <QSqlRecord>
#include <QSqlTableModel>

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
QVariant TimestampText(const QDateTime& time)
{
    if (time.isNull())
        return QVariant(QString(QLatin1String("")));
    return QVariant(time.toString(Qt::ISODate));
}

// Positions of the columns of a job table, looked up by name once per load.
// A column that the table lacks reads as a null value.
struct JobColumns
{
    explicit JobColumns(const QSqlRecord& record) : m_record(record) {}
    QVariant Value(const QSqlRecord& row, const char* name)
    {
        auto found = m_indexes.find(name);
        if (found == m_indexes.end())
            found = m_indexes.emplace(name, m_record.indexOf(QLatin1String(name))).first;
        return found->second < 0 ? QVariant() : row.value(found->second);
    }

private:
    QSqlRecord m_record;
    std::map<const char*, int> m_indexes;
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
    columns.push_back({QStringLiteral("Submitted"), TimestampText(job.Submitted)});
    columns.push_back({QStringLiteral("Started"), TimestampText(job.Started)});
    if (table.Finished)
        columns.push_back({QStringLiteral("Finished"), TimestampText(job.Finished)});
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

// Rows come back in the table model's order. The job type is the one the
// table holds now, fetched by id once per load; the row's own application
// name, executable path and command line are not used.
std::vector<Tavrol_Job> Tavrol_Database::LoadJobs(const JobTable& table)
{
    std::vector<Tavrol_Job> jobs;
    QSqlTableModel model(nullptr, Database);
    model.setTable(table.Table);
    if (!SelectAll(model))
        return jobs;
    const int rows = model.rowCount();
    jobs.reserve(size_t(rows));
    JobColumns columns(model.record());
    std::map<int, Tavrol_JobType> jobTypes;
    for (int row = 0; row < rows; ++row) {
        const QSqlRecord record = model.record(row);
        const int jobTypeID = columns.Value(record, "JobTypeID").toInt();
        auto jobType = jobTypes.find(jobTypeID);
        if (jobType == jobTypes.end())
            jobType = jobTypes.emplace(jobTypeID, GetJobType(jobTypeID)).first;
        int queueID = 0;
        QString queueName = table.QueueName;
        if (table.Finished) {
            queueID = columns.Value(record, "QueueID").toInt();
            queueName = Tavrol_JobType::QueueNameFromID(queueID);
        }
        jobs.emplace_back(
            columns.Value(record, "Name").toString(), jobType->second,
            columns.Value(record, "ClientName").toString(),
            columns.Value(record, "ClientAppName").toString(),
            columns.Value(record, "ClientAddress").toString(),
            columns.Value(record, "ClientPort").toInt(), columns.Value(record, "ClientUID").toInt(),
            columns.Value(record, "ClientGID").toInt(), queueID, queueName,
            columns.Value(record, "InputFilePath").toString(),
            columns.Value(record, "InputFilePath2").toString(),
            columns.Value(record, "JobID").toInt(), columns.Value(record, "JobClass").toString());
        Tavrol_Job& job = jobs.back();
        job.Submitted = columns.Value(record, "Submitted").toDateTime();
        job.Started = columns.Value(record, "Started").toDateTime();
        if (table.Finished)
            job.Finished = columns.Value(record, "Finished").toDateTime();
        // No time stamping, so that the stored times stay.
        job.SetStatus(Tavrol_Job::StatusFromString(columns.Value(record, "Status").toString()),
                      false);
        if (table.Finished)
            job.StdOutAndStdErr = columns.Value(record, "StdOutAndStdErr").toString();
        job.ClientNotification = columns.Value(record, "ClientNotification").toInt();
    }
    return jobs;
}
