#include "store/database.h"

#include "store/sharedtexts.h"
#include "store/steadylocalzone.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <cstddef>
#include <iterator>
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

// Created and LastModified: the time of the insert.
QVariant CurrentTime(const Tavrol_Job&)
{
    return QVariant(Tavrol_Database::Now());
}

template <QString Tavrol_JobRecord::*Field> QVariant TextOf(const Tavrol_Job& job)
{
    return QVariant(job.*Field);
}

template <int Tavrol_JobRecord::*Field> QVariant IntegerOf(const Tavrol_Job& job)
{
    return QVariant(job.*Field);
}

template <QDateTime Tavrol_JobRecord::*Field> QVariant TimestampOf(const Tavrol_Job& job)
{
    return TimestampValue(job.*Field);
}

template <QString Tavrol_JobRecord::*Field>
void ReadText(Tavrol_Job& job, const Quolix_ResultRow& row, int column)
{
    job.*Field = row.Text(column);
}

template <int Tavrol_JobRecord::*Field>
void ReadInteger(Tavrol_Job& job, const Quolix_ResultRow& row, int column)
{
    job.*Field = row.Integer(column);
}

template <QDateTime Tavrol_JobRecord::*Field>
void ReadTimestamp(Tavrol_Job& job, const Quolix_ResultRow& row, int column)
{
    job.*Field = Tavrol_Database::TimestampFromText(row.Text(column));
}

// One column of the job tables: the value an insert binds, and where a load
// puts what it reads (nothing: read and dropped).
struct JobColumn
{
    const char* Name;
    bool FinishedOnly; // only the history has the column
    QVariant (*Value)(const Tavrol_Job& job);
    void (*Load)(Tavrol_Job& job, const Quolix_ResultRow& row, int column);
};

// The columns after the key, in the tables' order; inserts name them in this
// order. The integer columns bind integers, all others texts.
const JobColumn JobColumns[] = {
    {"Name", false, TextOf<&Tavrol_JobRecord::Name>, ReadText<&Tavrol_JobRecord::Name>},
    // Only the id is kept here; the load then fetches the whole type by it.
    {"JobTypeID", false, [](const Tavrol_Job& job) { return QVariant(job.JobType.JobTypeID); },
     [](Tavrol_Job& job, const Quolix_ResultRow& row, int column) {
         job.JobType.JobTypeID = row.Integer(column);
     }},
    {"QueueID", true, IntegerOf<&Tavrol_JobRecord::QueueID>,
     ReadInteger<&Tavrol_JobRecord::QueueID>},
    {"ApplicationName", false,
     [](const Tavrol_Job& job) { return QVariant(job.JobType.ApplicationName); }, nullptr},
    {"ExecutablePath", false,
     [](const Tavrol_Job& job) { return QVariant(job.JobType.ExecutablePath); }, nullptr},
    {"InputFilePath", false, TextOf<&Tavrol_JobRecord::InputFilePath>,
     ReadText<&Tavrol_JobRecord::InputFilePath>},
    // A loaded job builds its command line anew.
    {"CommandLine", false, [](const Tavrol_Job& job) { return QVariant(job.CommandLine()); },
     nullptr},
    {"Status", false,
     [](const Tavrol_Job& job) { return QVariant(Tavrol_Job::StatusToString(job.Status)); },
     // No time stamping, so that the stored times stay.
     [](Tavrol_Job& job, const Quolix_ResultRow& row, int column) {
         job.SetStatus(Tavrol_Job::StatusFromString(row.Text(column)), false);
     }},
    {"Submitted", false, TimestampOf<&Tavrol_JobRecord::Submitted>,
     ReadTimestamp<&Tavrol_JobRecord::Submitted>},
    {"Started", false, TimestampOf<&Tavrol_JobRecord::Started>,
     ReadTimestamp<&Tavrol_JobRecord::Started>},
    {"Finished", true, TimestampOf<&Tavrol_JobRecord::Finished>,
     ReadTimestamp<&Tavrol_JobRecord::Finished>},
    {"Created", false, CurrentTime, nullptr},
    {"LastModified", false, CurrentTime, nullptr},
    {"JobID", false, IntegerOf<&Tavrol_JobRecord::JobID>, ReadInteger<&Tavrol_JobRecord::JobID>},
    {"ClientName", false, TextOf<&Tavrol_JobRecord::ClientName>,
     ReadText<&Tavrol_JobRecord::ClientName>},
    {"ClientAppName", false, TextOf<&Tavrol_JobRecord::ClientAppName>,
     ReadText<&Tavrol_JobRecord::ClientAppName>},
    {"ClientAddress", false, TextOf<&Tavrol_JobRecord::ClientAddress>,
     ReadText<&Tavrol_JobRecord::ClientAddress>},
    {"ClientPort", false, IntegerOf<&Tavrol_JobRecord::ClientPort>,
     ReadInteger<&Tavrol_JobRecord::ClientPort>},
    {"ClientUID", false, IntegerOf<&Tavrol_JobRecord::ClientUID>,
     ReadInteger<&Tavrol_JobRecord::ClientUID>},
    {"ClientGID", false, IntegerOf<&Tavrol_JobRecord::ClientGID>,
     ReadInteger<&Tavrol_JobRecord::ClientGID>},
    {"StdOutAndStdErr", true, TextOf<&Tavrol_JobRecord::StdOutAndStdErr>,
     ReadText<&Tavrol_JobRecord::StdOutAndStdErr>},
    {"InputFilePath2", false, TextOf<&Tavrol_JobRecord::InputFilePath2>,
     ReadText<&Tavrol_JobRecord::InputFilePath2>},
    {"JobClass", false, TextOf<&Tavrol_JobRecord::JobClass>, ReadText<&Tavrol_JobRecord::JobClass>},
    // Stored as 0 or 1; read back whole.
    {"ClientNotification", false,
     [](const Tavrol_Job& job) { return QVariant(job.ClientNotification != 0 ? 1 : 0); },
     ReadInteger<&Tavrol_JobRecord::ClientNotification>},
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
    columns.reserve(std::size(JobColumns) + 1);
    columns.push_back({table.KeyColumn, QVariant(0)});
    for (const JobColumn& column : JobColumns) {
        if (table.Finished || !column.FinishedOnly)
            columns.push_back({QLatin1String(column.Name), column.Value(job)});
    }
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
    // Jobs cannot be moved, only copied: room for all of them comes first.
    const bool read = ReadJobs(
        table, [&jobs](size_t rows) { jobs.reserve(rows); },
        [&jobs]() -> Tavrol_Job& { return jobs.emplace_back(); });
    if (!read)
        jobs.clear();
    return jobs;
}

// Each row is read into one job and kept in the list's compact form.
void Tavrol_Database::LoadFinishedJobs(Tavrol_FinishedJobsList& jobs)
{
    jobs.clear();
    Tavrol_Job job;
    bool filled = false;
    const auto next = [&]() -> Tavrol_Job& {
        if (filled)
            jobs.push_back(job);
        static_cast<Tavrol_JobRecord&>(job) = Tavrol_JobRecord();
        filled = true;
        return job;
    };
    if (!ReadJobs(
            FinishedJobsTable, [](size_t) {}, next)) {
        jobs.clear();
        return;
    }
    if (filled)
        jobs.push_back(job);
}

bool Tavrol_Database::ReadJobs(const JobTable& table, const std::function<void(size_t)>& expected,
                               const std::function<Tavrol_Job&()>& next)
{
    QSqlDriver* driver = Driver();
    if (!driver || !Database.isOpen())
        return true;
    const QSqlRecord fields = Database.record(table.Table);
    if (fields.isEmpty())
        return true;
    // Three local times a row: the zone is read once for all of them.
    const Tavrol_SteadyLocalZone steadyZone;
    int rows = 0;
    if (SelectPreparedInt(QStringLiteral("SELECT COUNT(*) FROM ") + table.Table, &rows))
        expected(size_t(rows));
    // Positions of the columns by name, looked up once per load.
    std::vector<int> positions;
    std::map<int, Tavrol_JobType> jobTypes;
    Tavrol_SharedTexts sharedTexts;
    const auto rebuild = [&](const Quolix_ResultRow& row) {
        if (positions.empty()) {
            for (const JobColumn& column : JobColumns)
                positions.push_back(row.ColumnIndex(QLatin1String(column.Name)));
        }
        Tavrol_Job& job = next();
        for (std::size_t index = 0; index < std::size(JobColumns); ++index) {
            const JobColumn& column = JobColumns[index];
            if (column.Load && (table.Finished || !column.FinishedOnly))
                column.Load(job, row, positions[index]);
        }
        auto jobType = jobTypes.find(job.JobType.JobTypeID);
        if (jobType == jobTypes.end())
            jobType =
                jobTypes.emplace(job.JobType.JobTypeID, GetJobType(job.JobType.JobTypeID)).first;
        job.JobType = jobType->second;
        if (table.Finished) {
            job.QueueName = Tavrol_JobType::QueueNameFromID(job.QueueID);
        } else {
            job.QueueID = 0;
            job.QueueName = table.QueueName;
        }
        sharedTexts.Share(job);
        // What the full constructor does last, now that the input file and
        // the job type are in place.
        job.SetDefaultOutputFilePath();
    };
    return SelectEach(driver->sqlStatement(QSqlDriver::SelectStatement, table.Table, fields, false),
                      rebuild);
}
