#pragma once

#include "jobs/jobrecord.h"

#include <QObject>
#include <QProcessEnvironment>
#include <QString>

class Quolix_Process;

// Files: jobrecord.h (the data fields), job.cpp (the record, its copies and
// command line), job_execution.cpp (start, environment, end, kill and the
// client's notification).
//
// One job: what is to run, for whom, in which queue, with which files, how far
// it got and how it ended. The data fields are those of Tavrol_JobRecord;
// copies never carry the running process.
class Tavrol_Job : public QObject, public Tavrol_JobRecord
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

    Quolix_Process* Process = nullptr; // owned; set only between Start and the end of the run

public slots:
    void ProcessFinishedSlot(bool normalExit);

signals:
    void JobFinishedSignal();
    // Given by SetStatus, so that a collection keeps its count of running jobs
    // and learns which of its jobs ended without looking at all of them.
    void StatusSetSignal(Tavrol_Job* job, Tavrol_JobStatus previous);
};
