// The run of a job: start, environment, end, kill and the client's
// notification.
#include "jobs/job.h"

#include "app/globals.h"
#include "platform/filesys.h"
#include "platform/process.h"
#include "platform/string.h"
#include "platform/useridentity.h"
#include "processes/finishedjobswidget.h"
#include "processes/process.h"
#include "server/message.h"
#include "store/steadylocalzone.h"
#include "window/appwindow.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QMainWindow>

namespace {

// Writes the text behind the template's first line feed to a new file beside
// the output file. Empty when the file cannot be written.
QString WriteStandardInputFile(const QString& text, const QString& outputFilePath,
                               const Quolix_UserIdentity& identity)
{
    const QString directory = QFileInfo(outputFilePath).absolutePath();
    const QString name = Quolix_FileSys::ConvertFilename(
        Quolix_FileSys::NewFileName(QStringLiteral("freqchk"), QStringLiteral("inp"), directory,
                                    false),
        false, false);
    return identity.WriteFile(name, text.toLatin1()) ? name : QString();
}

QWidget* RunnerParentWidget()
{
    return TavrolAppWindow ? TavrolAppWindow->MainWindow() : nullptr;
}

// Memory sizes of 2 GiB and more are ordinary, so the value is read as a
// 64-bit number.
bool ReadsAsPositiveInteger(const QString& value)
{
    bool ok = false;
    const qlonglong number = value.toLongLong(&ok, 10);
    return ok && number >= 1;
}

} // namespace

bool Tavrol_Job::Start()
{
    SetStatus(JobStatusRunning, true);

    QString expanded;
    CommandLine(&expanded);
    QString arguments;
    QString standardInputText;
    SplitArguments(expanded, arguments, standardInputText);

    QString writtenInputFile;
    if (!standardInputText.isEmpty()) {
        writtenInputFile = WriteStandardInputFile(
            standardInputText, OutputFilePath, Quolix_UserIdentity::ForJob(ClientUID, ClientGID));
        // Deliberately left Running with no process: nothing retries such a job.
        if (writtenInputFile.isEmpty())
            return false;
    }

    const QStringList argumentList = Quolix_String::MakeStringList(arguments, true);

    Process = new Quolix_Process(RunnerParentWidget(), JobType.Name, Name, Quolix_Process::NoWindow,
                                 true);
    Process->setProcessEnvironment(Environment());

    if (!StandardInputFile.isEmpty())
        Process->SetInputFile(StandardInputFile);
    else if (!writtenInputFile.isEmpty())
        Process->SetInputFile(writtenInputFile);

    if (!StandardOutputFile.isEmpty())
        Process->SetOutputFile(StandardOutputFile);

    Process->setWorkingDirectory(QFileInfo(InputFilePath).absolutePath());
    Process->m_ProgramPath = Quolix_FileSys::ConvertFilename(JobType.ExecutablePath, false, false);
    Process->m_Arguments = argumentList;

    Process->SetTitle(Name, false);
    Process->m_ShowOutput = false;
    Process->m_UserID = ClientUID;
    Process->m_GroupID = ClientGID;

    connect(Process, &Quolix_Process::FinishedSignal, this, &Tavrol_Job::ProcessFinishedSlot);
    Process->Start(Quolix_Process::NonBlocking);
    return true;
}

QProcessEnvironment Tavrol_Job::Environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // A submission of many jobs reads the local zone once through a TZ of
    // its own; the jobs get the environment Tavrol was started with.
    if (Tavrol_SteadyLocalZone::Pinned())
        environment.remove(QStringLiteral("TZ"));
    const QStringList lines =
        JobType.EnvironmentVariables.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const QStringList parts = line.split(QLatin1Char('='), Qt::SkipEmptyParts);
        if (parts.size() != 2)
            continue;
        QString name = parts.at(0);
        QString value = parts.at(1);
        for (const auto& [placeholder, replacement] : Replacements) {
            // An empty placeholder would match between every two characters.
            if (placeholder.isEmpty())
                continue;
            if (name.contains(placeholder, Qt::CaseInsensitive))
                name.replace(placeholder, replacement, Qt::CaseInsensitive);
            if (value.contains(placeholder, Qt::CaseInsensitive))
                value.replace(placeholder, replacement, Qt::CaseInsensitive);
        }
        // A memory size that did not expand to a number keeps the
        // environment's own value.
        if (name.contains(QLatin1String("GAUSS_MEMDEF"), Qt::CaseInsensitive) &&
            !ReadsAsPositiveInteger(value))
            continue;
        environment.insert(name, value);
    }
    return environment;
}

void Tavrol_Job::ProcessFinishedSlot(bool /*normalExit*/)
{
    Tavrol_JobStatus status = JobStatusCompleted;
    if (!Process)
        status = JobStatusFinished;
    else if (Process->WasKilled)
        status = JobStatusKilled;
    else if (Process->exitStatus() == QProcess::CrashExit)
        status = JobStatusCrashed;
    else if (Process->exitCode() != 0 || Process->error() == QProcess::FailedToStart)
        status = JobStatusFailed; // a program that never started ends here too

    if (Process) {
        // With standard output sent to a file there is no read channel left.
        const QByteArray output = Process->isReadable() ? Process->readAll() : QByteArray();
        const QString text = QString::fromLatin1(Quolix_String::UpToFirstZero(output));
        if (!text.isEmpty())
            StdOutAndStdErr += text;
    }

    SetStatus(status, true);
    // Direct connections: the queue starts its next job and the view moves
    // this one to the finished jobs before the client hears of it.
    emit JobFinishedSignal();
    SendNotification();

    delete Process;
    Process = nullptr;
}

void Tavrol_Job::Kill()
{
    if (Status != JobStatusRunning || !Process)
        return;
    const int pid = Process->ProcessID();
    if (pid > 0)
        Tavrol_Process::KillChildProcesses(pid);
    Process->KillSlot();
    if (TavrolAppWindow && TavrolAppWindow->FinishedJobsView())
        TavrolAppWindow->FinishedJobsView()->AddJob(*this);
}

bool Tavrol_Job::SendNotification()
{
    if (ClientAddress.isEmpty() || ClientName.isEmpty() || ClientAppName.isEmpty())
        return false;
    if (ClientAppName == ::ClientName())
        return false;
    if ((ClientNotification & 1) == 0)
        return false;
    const int exitCode = Process ? Process->exitCode() : 0;
    // The message is made now, while the process can still tell its exit
    // code; it travels from the event loop, so nobody waits for the client.
    Tavrol_Message::Send(Tavrol_Message::JobFinishedMessage(*this, exitCode),
                         QHostAddress(ClientAddress), static_cast<quint16>(ClientPort),
                         Tavrol_Message::NotificationTimeoutMs);
    return true;
}
