#pragma once

#include "jobtypes/jobtype.h"

#include <QDateTime>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>

#include <utility>
#include <vector>

class Quolix_Process;

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

// Files: job.cpp (the record, its copies and command line), job_execution.cpp
// (start, environment, end, kill and the client's notification).
//
// One job: what is to run, for whom, in which queue, with which files, how far
// it got and how it ended. Copies never carry the running process.
class Tavrol_Job : public QObject
{
    Q_OBJECT

public:
    Tavrol_Job();
    Tavrol_Job(const QString& name, const Tavrol_JobType& jobType, const QString& clientName,
               const QString& clientAppName, const QString& clientAddress, int clientPort,
               int clientUID, int clientGID, int queueID, const QString& queueName,
               const QString& inputFilePath, const QString& inputFilePath2, int jobID,
               const QString& jobClass);
    Tavrol_Job(const Tavrol_Job& other);
    Tavrol_Job& operator=(const Tavrol_Job& other);
    ~Tavrol_Job() override;

    bool operator==(const Tavrol_Job& other) const;
    bool operator!=(const Tavrol_Job& other) const { return !(*this == other); }

    static QString StatusToString(int status);
    static Tavrol_JobStatus StatusFromString(const QString& word);

    void SetStatus(Tavrol_JobStatus status, bool stamp);
    bool IsFinished() const;
    bool IsValid() const;

    void SetInputFilePath(const QString& path);
    void SetInputFilePath2(const QString& path);
    void SetStandardInputFile(const QString& path);
    void SetStandardOutputFile(const QString& path);
    void SetDefaultOutputFilePath();

    // The expanded command line. When arguments is given it receives the same
    // expansion without the executable, the form a run needs.
    QString CommandLine(QString* arguments = nullptr) const;

    // The run. Start returns true when the process was handed to the runner.
    bool Start();
    QProcessEnvironment Environment() const;
    void Kill();
    // True when a notification is on its way; it is sent without waiting.
    bool SendNotification();

    // Splits expanded arguments at the first line feed: what follows is text
    // for standard input, what stands before it (trimmed) the arguments.
    static void SplitArguments(const QString& expanded, QString& arguments, QString& standardInput);

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
    Quolix_Process* Process = nullptr; // owned; set only between Start and the end of the run
    QString StdOutAndStdErr;
    QDateTime Submitted;
    QDateTime Started;
    QDateTime Finished;
    int JobID = -1;
    Tavrol_Replacements Replacements;

public slots:
    void ProcessFinishedSlot(bool normalExit);

signals:
    void JobFinishedSignal();

private:
    void CopyFieldsFrom(const Tavrol_Job& other);
};
