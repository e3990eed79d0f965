#pragma once

#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "platform/database_foundation.h"
#include "processes/finishedjobslist.h"

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <functional>
#include <vector>

class QSqlRecord;

// Files: database_schema.cpp (tables and upgrades), database_records.cpp
// (general data, job types, queues), database_jobs.cpp (job rows).
//
// The job store of one project: the schema of its nine tables and the record
// operations on them. Every operation begins and commits its own transaction,
// answers with its result alone and never rolls back.
class Tavrol_Database : public Quolix_Database_Foundation
{
    Q_OBJECT

public:
    Tavrol_Database(DatabaseTypeEnum kind, QString path, const QString& user,
                    const QString& password, const QString& host, const QString& driverName,
                    const QString& connectionName, QObject* parent = nullptr,
                    const QString& objectName = QString());
    ~Tavrol_Database() override;

    bool Initialize() override;
    bool CreateTables() override;
    bool UpgradeTables() override;

    // General data: named text values of the project.
    bool AddGeneralData(const QString& name, const QString& dataStr, bool forceNew, int* id);
    bool SetGeneralData(const QString& name, const QString& dataStr);
    bool DeleteGeneralData(const QString& name);
    bool GetGeneralData(const QString& name, QString& dataStr);

    // Job types.
    bool AddJobType(const Tavrol_JobType& jobType, bool forceNew, int* id);
    bool UpdateJobType(int jobTypeID, const Tavrol_JobType& jobType);
    bool DeleteJobType(int jobTypeID);
    std::vector<Tavrol_JobType> LoadJobTypes();
    Tavrol_JobType GetJobType(int jobTypeID);

    // Queues.
    bool AddQueue(const QString& name, int maxRunningJobs, int* id);
    bool SetQueueMaxRunningJobs(const QString& name, int maxRunningJobs);
    int GetQueueID(const QString& name);
    int GetQueueMaxRunningJobs(const QString& name);

    // Jobs of the long queue, the short queue, the queueless list, and the
    // history of ended jobs. Deletion is by JobID, not by the table's key.
    bool AddLongJob(const Tavrol_Job& job, bool forceNew, int* id);
    bool DeleteLongJob(int jobId);
    std::vector<Tavrol_Job> LoadLongJobs();
    bool AddShortJob(const Tavrol_Job& job, bool forceNew, int* id);
    bool DeleteShortJob(int jobId);
    std::vector<Tavrol_Job> LoadShortJobs();
    bool AddQueuelessJob(const Tavrol_Job& job, bool forceNew, int* id);
    bool DeleteQueuelessJob(int jobId);
    std::vector<Tavrol_Job> LoadQueuelessJobs();
    bool AddFinishedJob(const Tavrol_Job& job, bool forceNew, int* id);
    bool DeleteFinishedJob(int jobId);
    std::vector<Tavrol_Job> LoadFinishedJobs();
    // The history straight into the list that keeps it, so that years of
    // jobs are never held twice while a project opens. The list is replaced.
    void LoadFinishedJobs(Tavrol_FinishedJobsList& jobs);

    // An index on JobID for each queue's table, so that the delete at a job's
    // end does not read the whole queue. Only a memory database holds them,
    // made by the queue views before their deletes (where none exists yet),
    // and dropped before a save, so that a project file carries exactly the
    // stored schema.
    void EnsureWorkingIndexes();
    void DropWorkingIndexes();

    // The current time as the store writes it into timestamp columns.
    static QString Now();
    // A time as the store writes it: its Qt::ISODate text.
    static QString TimestampText(const QDateTime& time);
    // A stored time as QVariant::toDateTime reads the text back.
    static QDateTime TimestampFromText(const QString& text);

private:
    // One column of an insert and its value; the value's type is the field's.
    struct Column
    {
        QString Name;
        QVariant Value;
    };
    // Where a new row goes and how its name and key are looked up.
    struct InsertTarget
    {
        QString Table;
        QString KeyColumn;
        QString Name;
    };
    // Which job table, and how its rows come back as jobs.
    struct JobTable;
    static const JobTable LongJobsTable;
    static const JobTable ShortJobsTable;
    static const JobTable QueuelessJobsTable;
    static const JobTable FinishedJobsTable;

    QString CreateGeneralDataTable();
    QString CreateJobTypesTable();
    QString CreateQueuesTable();
    QString CreateLongJobsQueueTable();
    QString CreateShortJobsQueueTable();
    QString CreateQueuelessJobsTable();
    QString CreateRunningJobsTable();
    QString CreateFinishedJobsTable();
    QString CreateJobsTable();
    QString CreateTable(const QString& table, const QString& columns, const QString& indexSuffix,
                        const QString& indexTail);
    bool TableExists(const QString& table) const;
    void ReportCreationFailure(const QString& table);

    // The add pattern: open, tables, name lookup, transaction, MAX plus one,
    // insert with bound values, commit.
    bool InsertRow(const InsertTarget& target, bool forceNew, int* id,
                   std::vector<Column>& columns);
    bool FindKeyByName(const InsertTarget& target, int* key);
    int NextKey(const InsertTarget& target);
    bool ExecuteInsert(const QString& table, const std::vector<Column>& columns);
    // Begins a transaction, runs the statements without looking at them, and
    // answers with the commit.
    bool RunInTransaction(const QStringList& statements);
    // Reads one row by a statement through a query model; false without a row.
    bool ReadFirstRow(const QString& sql, QSqlRecord& record);

    bool AddJob(const JobTable& table, const Tavrol_Job& job, bool forceNew, int* id);
    bool DeleteJob(const JobTable& table, int jobId);
    std::vector<Tavrol_Job> LoadJobs(const JobTable& table);
    // Reads the rows of a table in order, each into the job that next gives;
    // false when the select failed. expected learns the row count first.
    bool ReadJobs(const JobTable& table, const std::function<void(size_t)>& expected,
                  const std::function<Tavrol_Job&()>& next);
};
