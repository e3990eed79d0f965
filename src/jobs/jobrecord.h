#pragma once

#include "jobtypes/jobtype.h"

#include <QDateTime>
#include <QString>

#include <tuple>
#include <utility>
#include <vector>

enum Tavrol_JobStatus
{
    JobStatusUnknown = 0,
    JobStatusPending = 1,
    JobStatusRunning = 2,
    JobStatusFinished = 3,
    JobStatusCompleted = 4,
    JobStatusCrashed = 5,
    JobStatusFailed = 6,
    JobStatusKilled = 7
};

using Tavrol_Replacements = std::vector<std::pair<QString, QString>>;

// What a job is, as a plain value: every data field of a job but its running
// process. Copying a job copies this part and nothing else, and comparing two
// jobs compares Tie(), so a field added here is copied and compared without
// further code. Tie() must name every field, in declared order; job.cpp
// checks the count at compile time.
struct Tavrol_JobRecord
{
    QString JobClass;
    QString Name;
    QString ClientName;
    QString ClientAppName;
    QString ClientAddress;
    int ClientPort = -1;
    int ClientUID = -1;
    int ClientGID = -1;
    int ClientNotification = 0;
    Tavrol_JobType JobType;
    int QueueID = -1;
    QString QueueName;
    QString InputFilePath;
    QString InputFilePath2;
    QString StandardInputFile;
    QString StandardOutputFile;
    QString OutputFilePath;
    QString ChkFile;
    QString ChkFile1;
    Tavrol_JobStatus Status = JobStatusUnknown;
    QString StdOutAndStdErr;
    QDateTime Submitted;
    QDateTime Started;
    QDateTime Finished;
    int JobID = -1;
    Tavrol_Replacements Replacements;

private:
    template <typename Record> static auto TieOf(Record& record)
    {
        return std::tie(record.JobClass, record.Name, record.ClientName, record.ClientAppName,
                        record.ClientAddress, record.ClientPort, record.ClientUID, record.ClientGID,
                        record.ClientNotification, record.JobType, record.QueueID, record.QueueName,
                        record.InputFilePath, record.InputFilePath2, record.StandardInputFile,
                        record.StandardOutputFile, record.OutputFilePath, record.ChkFile,
                        record.ChkFile1, record.Status, record.StdOutAndStdErr, record.Submitted,
                        record.Started, record.Finished, record.JobID, record.Replacements);
    }

public:
    auto Tie() { return TieOf(*this); }
    auto Tie() const { return TieOf(*this); }
};
