// The console commands added beside the prompt's own table: help, the
// queues' pause and maximum, a job's details, output and log, killing and
// removing a job, and saving the project. Each goes through the operation
// that the window's action of the same kind calls, on the main thread.

#include "console/console_worker.h"

#include "app/globals.h"
#include "console/console.h"
#include "console/consolepager.h"
#include "jobs/job.h"
#include "jobs/jobscollection.h"
#include "jobs/queueid.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "views/listing.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cstdio>
#include <limits>

#include <unistd.h>

namespace {

// Each row: the command as typed, and what it does.
const char* const HelpRows[][2] = {
    {"list long jobs", "List the jobs of the Long queue."},
    {"list short jobs", "List the jobs of the Short queue."},
    {"list queueless jobs", "List the queueless jobs."},
    {"list running jobs", "List the running processes of known job types."},
    {"list all running jobs", "List every running process."},
    {"list finished jobs", "List the finished jobs."},
    {"list job types", "List the job types."},
    {"add job", "Add a job, asking for its queue, job type and input file (or \"submit job\")."},
    {"add long job", "Add a job to the Long queue (or \"submit long job\")."},
    {"add short job", "Add a job to the Short queue (or \"submit short job\")."},
    {"add queueless job", "Add a queueless job (or \"submit queueless job\")."},
    {"add cluster job type", "Add a job type whose program runs on a Slurm cluster."},
    {"show job N", "Show the fields, status, exit code and times of job N."},
    {"show output N", "Show the output file of job N."},
    {"show log N", "Show the standard output and error captured from job N."},
    {"kill job N", "Kill running job N; it leaves its queue for the finished jobs."},
    {"remove job N", "Remove job N from its queue; a running job is killed."},
    {"pause long queue", "Start no more jobs of the Long queue."},
    {"unpause long queue", "Let the Long queue start its jobs again."},
    {"pause short queue", "Start no more jobs of the Short queue."},
    {"unpause short queue", "Let the Short queue start its jobs again."},
    {"set long queue maximum N", "Run at most N jobs of the Long queue at a time."},
    {"set short queue maximum N", "Run at most N jobs of the Short queue at a time."},
    {"save", "Save the project to its file."},
    {"save as PATH", "Save the project to PATH (\".tvrl\" is added when missing)."},
    {"pwd", "Print the current directory."},
    {"cd DIRECTORY", "Change the current directory (\"cd\" alone: the home directory)."},
    {"ls ARGUMENTS", "List files through the shell."},
    {"clear", "Clear the screen."},
    {"help", "Print this list."},
    {"quit", "Exit Tavrol, after a question (or \"exit\")."},
};
constexpr int HelpCommandWidth = 27;

void Print(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

// One fact on a line of its own, with an empty line before and after, as
// the prompt's own answers are printed.
void PrintFact(const QString& text)
{
    Print(QLatin1Char('\n') + text + QStringLiteral("\n\n"));
}

QString CollectionTitle(int queueID)
{
    switch (queueID) {
    case Tavrol_QueueID::Long:
        return QStringLiteral("Long Jobs Queue");
    case Tavrol_QueueID::Short:
        return QStringLiteral("Short Jobs Queue");
    default:
        return QStringLiteral("Queueless Jobs List");
    }
}

Tavrol_JobsQueueWidget* QueueWidget(Tavrol_AppWindow* window, int queueID)
{
    if (queueID == Tavrol_QueueID::Long)
        return window->LongJobsView();
    if (queueID == Tavrol_QueueID::Short)
        return window->ShortJobsView();
    return nullptr;
}

Tavrol_JobsCollection* CollectionOf(Tavrol_AppWindow* window, int queueID)
{
    if (Tavrol_JobsQueueWidget* view = QueueWidget(window, queueID))
        return &view->Queue();
    if (queueID == Tavrol_QueueID::Queueless && window->QueuelessJobsView())
        return &window->QueuelessJobsView()->List();
    return nullptr;
}

// What the console knows of one job, copied on the main thread.
struct JobFacts
{
    bool Found = false;
    int QueueID = Tavrol_QueueID::None; // the collection that holds it; None once it ended
    Tavrol_JobRecord Record;
    QString CommandLine;
    bool ExitCodeKnown = false;
    int ExitCode = 0;
};

// The queues first, then the finished jobs, the latest entry first. For the
// main thread.
JobFacts LookUpJob(Tavrol_AppWindow* window, int jobId)
{
    JobFacts facts;
    for (const int queueID :
         {Tavrol_QueueID::Long, Tavrol_QueueID::Short, Tavrol_QueueID::Queueless}) {
        const Tavrol_JobsCollection* collection = CollectionOf(window, queueID);
        const Tavrol_Job* job = collection ? collection->JobWithID(jobId) : nullptr;
        if (job) {
            facts.Found = true;
            facts.QueueID = queueID;
            facts.Record = *job;
            facts.CommandLine = job->CommandLine();
            break;
        }
    }
    if (!facts.Found && window->FinishedJobsView()) {
        const Tavrol_FinishedJobsList& finished = window->FinishedJobsView()->FinishedJobs();
        for (size_t index = finished.size(); index > 0; --index) {
            if (finished.JobIDAt(index - 1) == jobId) {
                const Tavrol_Job job = finished[index - 1];
                facts.Found = true;
                facts.Record = job;
                facts.CommandLine = job.CommandLine();
                break;
            }
        }
    }
    if (facts.Found && window->Console())
        facts.ExitCodeKnown = window->Console()->ExitCodes().ExitCode(jobId, facts.ExitCode);
    return facts;
}

bool ParseJobID(const QString& argument, int& jobId)
{
    bool isNumber = false;
    jobId = argument.toInt(&isNumber, 10);
    if (isNumber && jobId >= 0)
        return true;
    PrintFact(QStringLiteral("Not a job number:  ") + argument);
    return false;
}

QString JobText(int jobId)
{
    return QStringLiteral("Job ") + QString::number(jobId);
}

// The job of a command, or a printed reason why there is none.
bool FindJob(Tavrol_AppWindow* window, const QString& argument, JobFacts& facts,
             const std::function<bool(const std::function<void()>&)>& onMainThread)
{
    int jobId = -1;
    if (!ParseJobID(argument, jobId))
        return false;
    onMainThread([&facts, window, jobId] { facts = LookUpJob(window, jobId); });
    if (facts.Found)
        return true;
    PrintFact(QStringLiteral("There is no job ") + QString::number(jobId) +
              QStringLiteral(" in the queues or the finished jobs."));
    return false;
}

QString ExitCodeText(const JobFacts& facts)
{
    if (facts.ExitCodeKnown)
        return QString::number(facts.ExitCode);
    const bool queued = facts.QueueID != Tavrol_QueueID::None;
    if (queued &&
        (facts.Record.Status == JobStatusPending || facts.Record.Status == JobStatusRunning))
        return QStringLiteral("(not yet)");
    return QStringLiteral("(not known)");
}

QString ValueOrNone(const QString& value)
{
    return value.isEmpty() ? QStringLiteral("(none)") : value;
}

QString TimeOrNone(const QDateTime& time)
{
    return ValueOrNone(Tavrol_Listing::TimeText(time));
}

QString JobDetails(const JobFacts& facts)
{
    const Tavrol_JobRecord& job = facts.Record;
    const QList<QPair<QString, QString>> rows = {
        {QStringLiteral("Name:"), job.Name},
        {QStringLiteral("Status:"), Tavrol_Job::StatusToString(job.Status)},
        {QStringLiteral("Exit Code:"), ExitCodeText(facts)},
        {QStringLiteral("Queue:"), ValueOrNone(job.QueueName)},
        {QStringLiteral("Job Type:"), ValueOrNone(job.JobType.Name)},
        {QStringLiteral("Input File:"), ValueOrNone(job.InputFilePath)},
        {QStringLiteral("Output File:"), ValueOrNone(job.OutputFilePath)},
        {QStringLiteral("Command Line:"), ValueOrNone(facts.CommandLine)},
        {QStringLiteral("Submitted:"), TimeOrNone(job.Submitted)},
        {QStringLiteral("Started:"), TimeOrNone(job.Started)},
        {QStringLiteral("Finished:"), TimeOrNone(job.Finished)},
    };
    QString text = QLatin1Char('\n') + JobText(job.JobID) + QLatin1Char('\n');
    for (const auto& row : rows)
        text += row.first.leftJustified(15) + row.second + QLatin1Char('\n');
    return text + QLatin1Char('\n');
}

// A text shown through the pager ends with a line feed and an empty line.
QByteArray Paged(const QString& heading, QByteArray body)
{
    if (!body.isEmpty() && !body.endsWith('\n'))
        body += '\n';
    return QLatin1Char('\n').toLatin1() + heading.toLocal8Bit() + "\n\n" + body + '\n';
}

QString ParentDirectoryProblem(const QString& path)
{
    const QFileInfo directory(QFileInfo(path).absolutePath());
    if (!directory.isDir())
        return QStringLiteral("Cannot save the project: no directory ") +
               directory.absoluteFilePath();
    if (!directory.isWritable())
        return QStringLiteral("Cannot save the project: the directory ") +
               directory.absoluteFilePath() + QStringLiteral(" is not writable");
    if (QFileInfo(path).isDir())
        return QStringLiteral("Cannot save the project: ") + path +
               QStringLiteral(" is a directory");
    return QString();
}

} // namespace

bool Tavrol_Console_Worker::ProcessAddedCommand(const QString& command)
{
    struct Prefixed
    {
        const char* words;
        std::function<void(const QString&)> act;
    };
    const Prefixed prefixed[] = {
        {"show job ", [this](const QString& rest) { ShowJob(rest); }},
        {"show output ", [this](const QString& rest) { ShowOutput(rest); }},
        {"show log ", [this](const QString& rest) { ShowLog(rest); }},
        {"kill job ", [this](const QString& rest) { KillOrRemoveJob(rest, true); }},
        {"remove job ", [this](const QString& rest) { KillOrRemoveJob(rest, false); }},
        {"set long queue maximum ",
         [this](const QString& rest) { SetQueueMaximum(Tavrol_QueueID::Long, rest); }},
        {"set short queue maximum ",
         [this](const QString& rest) { SetQueueMaximum(Tavrol_QueueID::Short, rest); }},
        {"save as ", [this](const QString& rest) { SaveAs(rest); }},
    };
    if (command == QLatin1String("help")) {
        PrintHelp();
    } else if (command == QLatin1String("pause long queue")) {
        SetQueuePaused(Tavrol_QueueID::Long, true);
    } else if (command == QLatin1String("unpause long queue")) {
        SetQueuePaused(Tavrol_QueueID::Long, false);
    } else if (command == QLatin1String("pause short queue")) {
        SetQueuePaused(Tavrol_QueueID::Short, true);
    } else if (command == QLatin1String("unpause short queue")) {
        SetQueuePaused(Tavrol_QueueID::Short, false);
    } else if (command == QLatin1String("save")) {
        Save();
    } else if (command == QLatin1String("add cluster job type")) {
        AddClusterJobType();
    } else {
        for (const Prefixed& row : prefixed) {
            const QLatin1String words(row.words);
            if (command.startsWith(words)) {
                row.act(command.mid(words.size()).trimmed());
                return true;
            }
        }
        return false;
    }
    return true;
}

bool Tavrol_Console_Worker::AskYesNo(const QString& question) const
{
    QString answer;
    if (!Ask(question.toLocal8Bit().constData(), answer))
        return false;
    answer = answer.toLower();
    return answer == QLatin1String("yes") || answer == QLatin1String("y");
}

void Tavrol_Console_Worker::PrintHelp() const
{
    QString text = QStringLiteral("\nCommands:\n");
    for (const auto& row : HelpRows)
        text += QStringLiteral("  ") + QString::fromLatin1(row[0]).leftJustified(HelpCommandWidth) +
                QString::fromLatin1(row[1]) + QLatin1Char('\n');
    Print(text + QLatin1Char('\n'));
}

// The window's "Pause Queue" and "Unpause Queue".
void Tavrol_Console_Worker::SetQueuePaused(int queueID, bool paused) const
{
    Tavrol_AppWindow* window = TavrolAppWindow;
    OnMainThread([window, queueID, paused] {
        if (Tavrol_JobsQueueWidget* view = QueueWidget(window, queueID)) {
            view->Queue().SetPaused(paused);
            view->RebuildTable();
        }
    });
    PrintFact(CollectionTitle(queueID) +
              (paused ? QStringLiteral(" paused.") : QStringLiteral(" unpaused.")));
}

// The window's maximum dialog: a whole number from 1 up.
void Tavrol_Console_Worker::SetQueueMaximum(int queueID, const QString& value) const
{
    bool isNumber = false;
    const int maximum = value.toInt(&isNumber, 10);
    if (!isNumber || maximum < 1) {
        PrintFact(QStringLiteral("The maximum must be a whole number from 1 to ") +
                  QString::number(std::numeric_limits<int>::max()) + QStringLiteral(":  ") + value);
        return;
    }
    Tavrol_AppWindow* window = TavrolAppWindow;
    OnMainThread([window, queueID, maximum] {
        if (Tavrol_JobsQueueWidget* view = QueueWidget(window, queueID)) {
            view->SetMaxRunningJobs(maximum);
            view->RebuildTable();
        }
    });
    PrintFact(CollectionTitle(queueID) + QStringLiteral(" maximum set to ") +
              QString::number(maximum) + QStringLiteral(" running jobs."));
}

void Tavrol_Console_Worker::ShowJob(const QString& argument) const
{
    JobFacts facts;
    if (FindJob(TavrolAppWindow, argument, facts,
                [this](const std::function<void()>& work) { return OnMainThread(work); }))
        Print(JobDetails(facts));
}

void Tavrol_Console_Worker::ShowOutput(const QString& argument) const
{
    JobFacts facts;
    if (!FindJob(TavrolAppWindow, argument, facts,
                 [this](const std::function<void()>& work) { return OnMainThread(work); }))
        return;
    const QString path = facts.Record.OutputFilePath;
    const QString job = JobText(facts.Record.JobID);
    if (path.isEmpty()) {
        PrintFact(job + QStringLiteral(" has no output file."));
        return;
    }
    QFile file(path);
    if (!file.exists()) {
        PrintFact(QStringLiteral("The output file of ") + job.toLower() +
                  QStringLiteral(" does not exist:  ") + path);
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        PrintFact(QStringLiteral("The output file of ") + job.toLower() +
                  QStringLiteral(" cannot be read:  ") + path);
        return;
    }
    Tavrol_ConsolePager::Show(
        Paged(QStringLiteral("Output file of ") + job.toLower() + QStringLiteral(":  ") + path,
              file.readAll()));
}

// The window's "Show stdout and stderr": the text collected at the job's end.
void Tavrol_Console_Worker::ShowLog(const QString& argument) const
{
    JobFacts facts;
    if (!FindJob(TavrolAppWindow, argument, facts,
                 [this](const std::function<void()>& work) { return OnMainThread(work); }))
        return;
    const QString job = JobText(facts.Record.JobID);
    if (facts.Record.StdOutAndStdErr.isEmpty()) {
        if (facts.QueueID != Tavrol_QueueID::None)
            PrintFact(job + QStringLiteral(" has not ended: its standard output and error are "
                                           "collected when it ends."));
        else
            PrintFact(QStringLiteral("Nothing was collected from the standard output and error "
                                     "of ") +
                      job.toLower() + QLatin1Char('.'));
        return;
    }
    Tavrol_ConsolePager::Show(
        Paged(QStringLiteral("Standard output and error of ") + job.toLower() + QLatin1Char(':'),
              facts.Record.StdOutAndStdErr.toLocal8Bit()));
}

// The window's "Remove", which kills a running job; "kill job" takes only a
// running one.
void Tavrol_Console_Worker::KillOrRemoveJob(const QString& argument, bool killOnly) const
{
    Tavrol_AppWindow* window = TavrolAppWindow;
    JobFacts facts;
    if (!FindJob(window, argument, facts,
                 [this](const std::function<void()>& work) { return OnMainThread(work); }))
        return;
    const int jobId = facts.Record.JobID;
    const QString job = JobText(jobId);
    const QString status = Tavrol_Job::StatusToString(facts.Record.Status);
    if (facts.QueueID == Tavrol_QueueID::None) {
        PrintFact(job + QStringLiteral(" is not in a queue: it is in the finished jobs."));
        return;
    }
    const bool running = facts.Record.Status == JobStatusRunning;
    if (killOnly && !running) {
        PrintFact(job + QStringLiteral(" is not running (") + status +
                  QStringLiteral("); \"remove job ") + QString::number(jobId) +
                  QStringLiteral("\" takes it out of its queue."));
        return;
    }
    const QString jobAndName =
        job.toLower() + QStringLiteral(" (") + facts.Record.Name + QLatin1Char(')');
    const QString collection = CollectionTitle(facts.QueueID);
    QString question;
    if (killOnly)
        question = QStringLiteral("\n<Tavrol> Kill running ") + jobAndName +
                   QStringLiteral(" of the ") + collection + QStringLiteral("?  ");
    else if (running)
        question = QStringLiteral("\n<Tavrol> ") + job +
                   QStringLiteral(" is running and removing it kills it.  Remove ") + jobAndName +
                   QStringLiteral(" from the ") + collection + QStringLiteral("?  ");
    else
        question = QStringLiteral("\n<Tavrol> Remove ") + jobAndName +
                   QStringLiteral(" from the ") + collection + QStringLiteral("?  ");
    if (!AskYesNo(question)) {
        PrintFact(job + (killOnly ? QStringLiteral(" was not killed.")
                                  : QStringLiteral(" was not removed.")));
        return;
    }
    enum class Outcome
    {
        Gone,
        NotRunning,
        Done
    };
    Outcome outcome = Outcome::Gone;
    bool killed = false;
    const int queueID = facts.QueueID;
    OnMainThread([window, queueID, jobId, killOnly, &outcome, &killed] {
        // The job may have moved on while the question waited.
        Tavrol_JobsCollection* collection = CollectionOf(window, queueID);
        const Tavrol_Job* current = collection ? collection->JobWithID(jobId) : nullptr;
        if (!current)
            return;
        killed = current->Status == JobStatusRunning;
        if (killOnly && !killed) {
            outcome = Outcome::NotRunning;
            return;
        }
        Tavrol_JobsWidget* view = window->QueueView(queueID);
        if (view && view->RemoveJobs({jobId})) {
            outcome = Outcome::Done;
            view->RebuildTable();
        }
    });
    switch (outcome) {
    case Outcome::Gone:
        PrintFact(job + QStringLiteral(" has left its queue meanwhile; nothing was done."));
        break;
    case Outcome::NotRunning:
        PrintFact(job + QStringLiteral(" is no longer running; nothing was done."));
        break;
    case Outcome::Done:
        if (killOnly)
            PrintFact(job + QStringLiteral(" killed."));
        else if (killed)
            PrintFact(job + QStringLiteral(" killed and removed."));
        else
            PrintFact(job + QStringLiteral(" removed."));
        break;
    }
}

// The window's save: to the project's file. An unnamed project, or one
// whose file has gone, needs "save as".
void Tavrol_Console_Worker::Save() const
{
    Tavrol_AppWindow* window = TavrolAppWindow;
    bool haveProject = false;
    bool saved = false;
    QString path;
    OnMainThread([window, &haveProject, &saved, &path] {
        haveProject = Tavrol_Database_Manager::Current() != nullptr;
        if (!haveProject)
            return;
        saved = window->SaveProject();
        if (const Tavrol_Database* database = Tavrol_Database_Manager::Current())
            path = database->FilePath;
    });
    if (!haveProject)
        PrintFact(QStringLiteral("There is no project to save."));
    else if (saved)
        PrintFact(QStringLiteral("Project saved to ") + path);
    else
        PrintFact(QStringLiteral("The project has no file to save to: name one with \"save as "
                                 "PATH\"."));
}

// The window's save as, with the file named here instead of in a dialog.
void Tavrol_Console_Worker::SaveAs(const QString& typedPath) const
{
    const QString path =
        QFileInfo(Tavrol_AppWindow::WithProjectExtension(typedPath)).absoluteFilePath();
    // A save that cannot write its file would still close the project and
    // load the missing file: it is refused before it begins.
    const QString problem = ParentDirectoryProblem(path);
    if (!problem.isEmpty()) {
        PrintFact(problem);
        return;
    }
    if (QFileInfo::exists(path) && !AskYesNo(QStringLiteral("\n<Tavrol> ") + path +
                                             QStringLiteral(" exists already.  Replace it?  "))) {
        PrintFact(QStringLiteral("Nothing was saved."));
        return;
    }
    Tavrol_AppWindow* window = TavrolAppWindow;
    bool haveProject = false;
    bool saved = false;
    OnMainThread([window, path, &haveProject, &saved] {
        haveProject = Tavrol_Database_Manager::Current() != nullptr;
        if (haveProject)
            saved = window->WriteProject(path) && QFileInfo::exists(path);
    });
    if (!haveProject)
        PrintFact(QStringLiteral("There is no project to save."));
    else if (saved)
        PrintFact(QStringLiteral("Project saved to ") + path);
    else
        PrintFact(QStringLiteral("The project could not be saved to ") + path);
}
