#pragma once

#include "jobtypes/jobtype.h"
#include "server/message.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class Tavrol_Job;

// What the user picked for one checked file: 0 auto, 1 long, 2 short,
// 3 queueless, and a job type id, -1 for auto.
struct Tavrol_FileChoice
{
    int QueueSelector = 0;
    int JobTypeID = -1;
};

// What a "submitjob" request asks for: its job type, its queue, and whether
// the user is to confirm it. Turns the request into a job on the direct path.
class Tavrol_SubmitRequest
{
public:
    // Takes the request and a copy of the job type list.
    Tavrol_SubmitRequest(const Tavrol_Request& request, const std::vector<Tavrol_JobType>& jobTypes,
                         const QStringList& jobTypeNames);

    // The job type by name, else by the input file's extension, else by the
    // selection dialog; the input file the type needs; the queue. False when
    // the request is to be dropped.
    bool Prepare();

    // True when the user is to see the files before they are submitted.
    bool ConfirmRequested() const { return m_confirm; }

    // The job for the direct path, or null when the request is to be dropped.
    // The caller adds it to the view of its QueueID.
    std::unique_ptr<Tavrol_Job> MakeDirectJob(int jobID) const;

    using ChoiceFunction = std::function<Tavrol_FileChoice(const QString& file)>;
    using IDFunction = std::function<int()>;
    using AddFunction = std::function<void(std::unique_ptr<Tavrol_Job>)>;
    // The confirmed path after the user checked the files: one job per file,
    // each handed to add as soon as it is made. Files that are gone or get no
    // type or queue are skipped; an invalid job ends the loop.
    void SubmitCheckedFiles(const QStringList& files, const ChoiceFunction& choiceOf,
                            const IDFunction& newID, const AddFunction& add) const;

    // The input files: one entry, the request's input file, even when empty.
    QStringList InputFiles() const { return QStringList{m_request.JobInputFile}; }
    // 0 auto, 1 long, 2 short, 3 queueless.
    int QueueSelector() const { return m_queueSelector; }
    QString QueueName() const { return m_queueName; }
    // -1 when no job type was chosen.
    int JobTypeIndex() const { return m_jobTypeIndex; }
    int JobTypeID() const;
    const Tavrol_Request& Request() const { return m_request; }

    // "Long" 1, "Short" 2, "None"/"Queueless" 3 as prefixes, without regard
    // to case; 0 for anything else, "Auto" included.
    static int QueueSelectorOf(const QString& queueWord);
    static QString QueueNameOf(int queueSelector); // "Long", "Short", "None"; else empty

private:
    bool ChooseJobType();
    int FindJobTypeByName(const QString& name) const;
    int FindJobTypeForFile(const QString& file) const;
    void ChooseQueue();
    int ChooseJobTypeForCheckedFile(const QString& file, int jobTypeID, int selected) const;
    int ChooseQueueForCheckedFile(const QString& file, int queueSelector, int selected) const;
    void CopyRequestFiles(Tavrol_Job& job) const;
    void CopyClientExtras(Tavrol_Job& job) const;

    Tavrol_Request m_request;
    std::vector<Tavrol_JobType> m_jobTypes;
    QStringList m_jobTypeNames;
    bool m_confirm = false;
    int m_jobTypeIndex = -1;
    int m_queueSelector = 0;
    QString m_queueName;
};
