#include "server/submitrequest.h"

#include "jobs/job.h"
#include "jobs/queueid.h"
#include "server/jobtypeselection.h"

#include <QFile>
#include <QFileInfo>

namespace {

int NumberOr0(const QString& text)
{
    bool isNumber = false;
    const int value = text.toInt(&isNumber, 10);
    return isNumber ? value : 0;
}

} // namespace

Tavrol_SubmitRequest::Tavrol_SubmitRequest(const Tavrol_Request& request,
                                           const std::vector<Tavrol_JobType>& jobTypes,
                                           const QStringList& jobTypeNames)
    : m_request(request), m_jobTypes(jobTypes), m_jobTypeNames(jobTypeNames),
      m_confirm(request.ConfirmAction)
{
}

bool Tavrol_SubmitRequest::Prepare()
{
    if (!ChooseJobType())
        return false;
    if (m_jobTypeIndex >= 0 && m_jobTypes[m_jobTypeIndex].UsesInputFile()) {
        const QString& inputFile = m_request.JobInputFile;
        if (inputFile.isEmpty() || !QFile::exists(inputFile))
            return false;
    }
    ChooseQueue();
    return true;
}

int Tavrol_SubmitRequest::JobTypeID() const
{
    return m_jobTypeIndex >= 0 ? m_jobTypes[m_jobTypeIndex].JobTypeID : -1;
}

// An unknown name is no refusal: the type is then told from the file's
// extension, or asked for, and either way the user is to confirm it.
bool Tavrol_SubmitRequest::ChooseJobType()
{
    const QString& name = m_request.JobTypeName;
    if (name.isEmpty())
        return true;
    m_jobTypeIndex = FindJobTypeByName(name);
    if (m_jobTypeIndex >= 0)
        return true;
    m_jobTypeIndex = FindJobTypeForFile(m_request.JobInputFile);
    if (m_jobTypeIndex >= 0) {
        m_confirm = true;
        return true;
    }
    const QString answer = Tavrol_JobTypeSelection::Ask(
        Tavrol_JobTypeSelection::AttemptedText(m_request.JobInputFile), m_jobTypeNames);
    m_jobTypeIndex = answer.isEmpty() ? -1 : static_cast<int>(m_jobTypeNames.indexOf(answer));
    if (m_jobTypeIndex < 0)
        return false;
    m_confirm = true;
    return true;
}

int Tavrol_SubmitRequest::FindJobTypeByName(const QString& name) const
{
    for (size_t index = 0; index < m_jobTypes.size(); ++index) {
        if (m_jobTypes[index].Name.compare(name, Qt::CaseInsensitive) == 0)
            return static_cast<int>(index);
    }
    return -1;
}

int Tavrol_SubmitRequest::FindJobTypeForFile(const QString& file) const
{
    return Tavrol_JobType::IndexForFile(m_jobTypes, file, -1);
}

int Tavrol_SubmitRequest::QueueSelectorOf(const QString& queueWord)
{
    return Tavrol_QueueID::ToDestination(Tavrol_QueueID::FromWord(queueWord));
}

QString Tavrol_SubmitRequest::QueueNameOf(int queueSelector)
{
    return Tavrol_QueueID::JobQueueName(Tavrol_QueueID::FromDestination(queueSelector));
}

// A queue word names the queue; "Auto" or anything else leaves it to the job
// type's default queue, when there is a job type.
void Tavrol_SubmitRequest::ChooseQueue()
{
    const QString& word = m_request.JobQueue;
    m_queueSelector = QueueSelectorOf(word);
    if (m_queueSelector > 0) {
        m_queueName = QueueNameOf(m_queueSelector);
        return;
    }
    m_queueName = word.compare(QLatin1String("Auto"), Qt::CaseInsensitive) == 0
                      ? QStringLiteral("Auto")
                      : QString();
    if (m_jobTypeIndex < 0)
        return;
    const int defaultQueue = m_jobTypes[m_jobTypeIndex].DefaultQueueID();
    if (Tavrol_QueueID::IsValid(defaultQueue)) {
        m_queueSelector = Tavrol_QueueID::ToDestination(defaultQueue);
        m_queueName = QueueNameOf(m_queueSelector);
    }
}

std::unique_ptr<Tavrol_Job> Tavrol_SubmitRequest::MakeDirectJob(int jobID) const
{
    if (m_jobTypeIndex < 0)
        return nullptr;
    const Tavrol_Request& request = m_request;
    QString name = request.JobName;
    if (name.isEmpty() && !request.JobInputFile.isEmpty())
        name = QFileInfo(request.JobInputFile).fileName();
    if (name.isEmpty())
        name = QString::number(jobID);
    auto job = std::make_unique<Tavrol_Job>(
        name, m_jobTypes[m_jobTypeIndex], request.ClientName, request.ClientAppName,
        request.ClientAddress, NumberOr0(request.ClientPort), NumberOr0(request.ClientUID),
        NumberOr0(request.ClientGID), Tavrol_QueueID::FromDestination(m_queueSelector), m_queueName,
        request.JobInputFile, request.JobInputFile2, jobID, request.JobClass);
    CopyRequestFiles(*job);
    CopyClientExtras(*job);
    if (!job->IsValid())
        return nullptr;
    return job;
}

// The files a request names for its input file, each where it is given.
void Tavrol_SubmitRequest::CopyRequestFiles(Tavrol_Job& job) const
{
    const Tavrol_Request& request = m_request;
    if (!request.JobStandardInputFile.isEmpty())
        job.SetStandardInputFile(request.JobStandardInputFile);
    if (!request.JobOutputFile.isEmpty())
        job.OutputFilePath = request.JobOutputFile;
    if (!request.JobStandardOutputFile.isEmpty())
        job.SetStandardOutputFile(request.JobStandardOutputFile);
    if (!request.JobChkFile.isEmpty())
        job.ChkFile = request.JobChkFile;
    if (!request.JobChkFile1.isEmpty())
        job.ChkFile1 = request.JobChkFile1;
}

// Job variables and the notification flag go to every job of a request.
void Tavrol_SubmitRequest::CopyClientExtras(Tavrol_Job& job) const
{
    if (!m_request.JobVariables.empty())
        job.Replacements = m_request.JobVariables;
    bool isNumber = false;
    const int notification = m_request.ClientNotification.toInt(&isNumber, 10);
    if (!m_request.ClientNotification.isEmpty() && isNumber)
        job.ClientNotification = notification;
}

void Tavrol_SubmitRequest::SubmitCheckedFiles(const QStringList& files,
                                              const ChoiceFunction& choiceOf,
                                              const IDFunction& newID, const AddFunction& add) const
{
    const Tavrol_Request& request = m_request;
    int selected = m_jobTypeIndex;
    for (const QString& file : files) {
        if (!QFile::exists(file))
            continue;
        const Tavrol_FileChoice choice = choiceOf(file);
        selected = ChooseJobTypeForCheckedFile(file, choice.JobTypeID, selected);
        if (selected < 0)
            continue;
        const int queueSelector = ChooseQueueForCheckedFile(file, choice.QueueSelector, selected);
        if (queueSelector <= 0)
            continue;
        const int jobID = newID();
        QString name = QFileInfo(file).fileName(); // a name given in the request is not used here
        if (name.isEmpty())
            name = QString::number(jobID);
        auto job = std::make_unique<Tavrol_Job>(
            name, m_jobTypes[selected], request.ClientName, request.ClientAppName,
            request.ClientAddress, NumberOr0(request.ClientPort), NumberOr0(request.ClientUID),
            NumberOr0(request.ClientGID), Tavrol_QueueID::FromDestination(queueSelector),
            QueueNameOf(queueSelector), file, QString(), jobID, request.JobClass);
        // A file the user added in the dialog does not inherit the request's files.
        if (file == request.JobInputFile)
            CopyRequestFiles(*job);
        CopyClientExtras(*job);
        if (!job->IsValid())
            return;
        add(std::move(job));
    }
}

// A type id picks that type (an unknown id keeps the earlier choice); auto
// takes the first type whose filter takes the file, else asks. -1 skips.
int Tavrol_SubmitRequest::ChooseJobTypeForCheckedFile(const QString& file, int jobTypeID,
                                                      int selected) const
{
    if (jobTypeID != -1) {
        const int byID = Tavrol_JobType::IndexOfID(m_jobTypes, jobTypeID);
        return byID >= 0 ? byID : selected;
    }
    const int match = FindJobTypeForFile(file);
    if (match >= 0 && m_jobTypes[match].JobTypeID != -1)
        return match;
    const QString answer =
        Tavrol_JobTypeSelection::Ask(Tavrol_JobTypeSelection::RequestedText(file), m_jobTypeNames);
    return answer.isEmpty() ? -1 : static_cast<int>(m_jobTypeNames.indexOf(answer));
}

// Auto takes the default queue of the chosen type, else that of the first type
// whose filter takes the file; 0 when there is none.
int Tavrol_SubmitRequest::ChooseQueueForCheckedFile(const QString& file, int queueSelector,
                                                    int selected) const
{
    if (queueSelector != 0)
        return queueSelector;
    const int defaultQueue = m_jobTypes[selected].DefaultQueueID();
    if (Tavrol_QueueID::IsValid(defaultQueue))
        return Tavrol_QueueID::ToDestination(defaultQueue);
    const int match = FindJobTypeForFile(file);
    if (match < 0)
        return Tavrol_QueueID::AutoDestination;
    return Tavrol_QueueID::ToDestination(m_jobTypes[match].DefaultQueueID());
}
