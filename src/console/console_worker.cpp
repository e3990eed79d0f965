#include "console/console_worker.h"

#include "app/globals.h"
#include "console/console.h"
#include "console/consoleinput.h"
#include "jobs/queueid.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/string.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "views/jobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMetaObject>
#include <QProcess>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

#include <unistd.h>

namespace {

constexpr int PromptRepeatMilliseconds = 100;
// How often a thread that waits for the main thread looks at the wake-up.
constexpr std::chrono::milliseconds WakeCheckInterval(50);
// A bound on the passes of ServeEvents, so that a queue that never runs dry
// cannot keep the prompt away.
constexpr int MaxEventPasses = 64;

// One piece of work handed to the main thread, shared by both sides.
struct MainThreadCall
{
    enum State
    {
        Pending,
        Running,
        Done,
        Dropped
    };
    std::mutex mutex;
    std::condition_variable changed;
    State state = Pending;
};

// Serves this thread's events until a pass finds nothing more to do. A job's
// end comes in two steps, the process's end and then the runner's
// FinishedSignal that it posts, and both are handled here, not one now and
// the other a command later.
void ServeEvents()
{
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    if (!dispatcher)
        return;
    for (int pass = 0; pass < MaxEventPasses; ++pass) {
        if (!dispatcher->processEvents(QEventLoop::AllEvents))
            break;
    }
}

} // namespace

Tavrol_Console_Worker::Tavrol_Console_Worker(Tavrol_Console* console) : m_console(console) {}

bool Tavrol_Console_Worker::RunOnMainThread(const std::function<void()>& work,
                                            const Tavrol_ConsoleWake* wake)
{
    QCoreApplication* application = QCoreApplication::instance();
    if (!application || QThread::currentThread() == application->thread()) {
        work();
        return true;
    }
    const auto call = std::make_shared<MainThreadCall>();
    QMetaObject::invokeMethod(
        application,
        [call, work] {
            {
                const std::lock_guard<std::mutex> lock(call->mutex);
                if (call->state == MainThreadCall::Dropped)
                    return; // the caller gave up and its locals are gone
                call->state = MainThreadCall::Running;
            }
            work();
            {
                const std::lock_guard<std::mutex> lock(call->mutex);
                call->state = MainThreadCall::Done;
            }
            call->changed.notify_all();
        },
        Qt::QueuedConnection);
    std::unique_lock<std::mutex> lock(call->mutex);
    for (;;) {
        if (call->state == MainThreadCall::Done)
            return true;
        // Work the main thread has begun is waited for to its end.
        if (call->state == MainThreadCall::Pending && wake && wake->IsRaised()) {
            call->state = MainThreadCall::Dropped;
            return false;
        }
        call->changed.wait_for(lock, WakeCheckInterval);
    }
}

bool Tavrol_Console_Worker::ReadLine(int descriptor, QString& line, const Tavrol_ConsoleWake* wake)
{
    return Tavrol_ReadConsoleLine(descriptor, wake, line);
}

void Tavrol_Console_Worker::ReadConsoleLine(QString& line)
{
    ReadLine(STDIN_FILENO, line);
}

const Tavrol_ConsoleWake* Tavrol_Console_Worker::Wake() const
{
    return m_console ? &m_console->Wake() : nullptr;
}

bool Tavrol_Console_Worker::Stopping() const
{
    const Tavrol_ConsoleWake* wake = Wake();
    return wake && wake->IsRaised();
}

bool Tavrol_Console_Worker::OnMainThread(const std::function<void()>& work) const
{
    return RunOnMainThread(work, Wake());
}

bool Tavrol_Console_Worker::Ask(const char* prompt, QString& answer) const
{
    std::fputs(prompt, stdout);
    std::fflush(stdout);
    return ReadLine(STDIN_FILENO, answer, Wake());
}

void Tavrol_Console_Worker::InteractSlot()
{
    for (;;) {
        InteractOnce();
        if (Stopping())
            return; // the thread is ending: no further prompt
        ServeEvents();
        if (!NoEventLoop) {
            QTimer::singleShot(PromptRepeatMilliseconds, this,
                               &Tavrol_Console_Worker::InteractSlot);
            return;
        }
    }
}

void Tavrol_Console_Worker::InteractOnce()
{
    QString line;
    if (!Ask("<Tavrol> ", line))
        return;
    // Without an event loop nothing moved while the prompt waited: what ended
    // meanwhile is served now, so that this command already sees it.
    if (NoEventLoop)
        ServeEvents();
    const QString lowered = line.toLower();
    if (lowered != QLatin1String("quit") && lowered != QLatin1String("exit")) {
        ProcessCommand(line);
        return;
    }
    QString answer;
    if (!Ask("\n<Tavrol> Are you sure you want to completely exit Tavrol?  ", answer))
        return;
    answer = answer.toLower();
    if (answer == QLatin1String("yes") || answer == QLatin1String("y") ||
        answer == QLatin1String("1")) {
        OnMainThread([] {
            if (TavrolAppWindow)
                TavrolAppWindow->SystemTrayQuitSlot();
        });
    }
    std::putchar('\n');
}

void Tavrol_Console_Worker::ProcessCommand(const QString& typed)
{
    const QString command = typed.trimmed();
    Tavrol_AppWindow* window = TavrolAppWindow;
    if (!window)
        return;
    if (command == QLatin1String("list long jobs")) {
        OnMainThread([window] { window->LongJobsView()->PrintList(); });
    } else if (command == QLatin1String("list short jobs")) {
        OnMainThread([window] { window->ShortJobsView()->PrintList(); });
    } else if (command == QLatin1String("list queueless jobs")) {
        OnMainThread([window] { window->QueuelessJobsView()->PrintList(); });
    } else if (command == QLatin1String("list running jobs")) {
        ListRunningJobs(true);
    } else if (command == QLatin1String("list all running jobs")) {
        ListRunningJobs(false);
    } else if (command == QLatin1String("list finished jobs")) {
        OnMainThread([window] { window->FinishedJobsView()->PrintList(); });
    } else if (command == QLatin1String("list job types")) {
        OnMainThread([window] { window->JobTypesView()->PrintList(); });
    } else if (command == QLatin1String("add job") || command == QLatin1String("submit job")) {
        const int queueID = AskQueue();
        if (queueID >= 0)
            AddJob(queueID);
    } else if (command == QLatin1String("add long job") ||
               command == QLatin1String("submit long job")) {
        AddJob(Tavrol_QueueID::Long);
    } else if (command == QLatin1String("add short job") ||
               command == QLatin1String("submit short job")) {
        AddJob(Tavrol_QueueID::Short);
    } else if (command == QLatin1String("add queueless job") ||
               command == QLatin1String("submit queueless job")) {
        AddJob(Tavrol_QueueID::Queueless);
    } else if (command == QLatin1String("pwd")) {
        PrintCurrentDirectory();
    } else if (command.startsWith(QLatin1String("cd "))) {
        ChangeDirectory(command.mid(3));
    } else if (command == QLatin1String("cd")) {
        ChangeDirectory(QDir::homePath());
    } else if (command == QLatin1String("clear")) {
        std::fflush(stdout);
        if (std::system("clear") != 0) {
            // clear has nothing to report that the user would not see
        }
    } else if (command == QLatin1String("ls") || command.startsWith(QLatin1String("ls "))) {
        RunShellCommand(command);
    } else {
        ProcessAddedCommand(command); // a line that is no command is ignored without a word
    }
}

// `ps` runs here, on the console's own thread, so that the main thread never
// waits for it; only the narrowing and the printing happen there.
void Tavrol_Console_Worker::ListRunningJobs(bool onlyKnownJobTypes)
{
    std::vector<Tavrol_Process> rows;
    Tavrol_Process::ReadProcessTable(rows);
    Tavrol_AppWindow* window = TavrolAppWindow;
    OnMainThread([window, onlyKnownJobTypes, &rows] {
        Tavrol_RunningJobsWidget* view = window->RunningJobsView();
        view->SetOnlyKnownJobTypes(onlyKnownJobTypes);
        view->ShowProcessTable(std::move(rows));
        view->PrintCurrentList();
    });
}

void Tavrol_Console_Worker::AddJob(int queueID)
{
    const Tavrol_JobType jobType = AskJobType();
    if (!jobType.IsValid())
        return;
    const QString path = AskInputFile();
    if (path.isEmpty() || !QFile::exists(path))
        return;
    Tavrol_AppWindow* window = TavrolAppWindow;
    const int jobTypeID = jobType.JobTypeID;
    OnMainThread([window, queueID, path, jobTypeID] {
        if (Tavrol_JobsWidget* view = window->QueueView(queueID))
            view->AddJobFromFile(path, jobTypeID);
    });
}

int Tavrol_Console_Worker::AskQueue()
{
    for (;;) {
        QString answer;
        if (!Ask("\n<Tavrol> Enter Queue:  ", answer))
            return -1;
        answer = answer.toLower();
        // Exact words here: "queueless" is no answer to this question.
        if (answer == QLatin1String("long"))
            return Tavrol_QueueID::Long;
        if (answer == QLatin1String("short"))
            return Tavrol_QueueID::Short;
        if (answer == QLatin1String("none"))
            return Tavrol_QueueID::Queueless;
        if (answer == QLatin1String("cancel"))
            return Tavrol_QueueID::None;
        std::putchar('\n');
    }
}

Tavrol_JobType Tavrol_Console_Worker::AskJobType()
{
    for (;;) {
        QString answer;
        if (!Ask("\n<Tavrol> Enter Job Type:  ", answer))
            return Tavrol_JobType();
        Tavrol_JobType jobType;
        OnMainThread([&jobType, &answer] { jobType = Tavrol_JobType::ByName(answer); });
        if (jobType.IsValid())
            return jobType;
        bool isNumber = false;
        const int jobTypeID = answer.toInt(&isNumber, 10);
        if (isNumber) {
            OnMainThread([&jobType, jobTypeID] { jobType = Tavrol_JobType::ByID(jobTypeID); });
            if (jobType.IsValid())
                return jobType;
        }
        if (answer.toLower() == QLatin1String("cancel"))
            return Tavrol_JobType();
        std::putchar('\n');
    }
}

QString Tavrol_Console_Worker::AskInputFile()
{
    for (;;) {
        QString answer;
        if (!Ask("\n<Tavrol> Enter Input File:  ", answer))
            return QString();
        if (!answer.isEmpty() && QFile::exists(answer))
            return answer;
        if (answer == QLatin1String("cancel"))
            return QString();
        std::putchar('\n');
    }
}

void Tavrol_Console_Worker::PrintCurrentDirectory()
{
    std::printf("\nCurrent Directory:  %s\n\n", QDir::currentPath().toLocal8Bit().constData());
}

void Tavrol_Console_Worker::ChangeDirectory(const QString& path)
{
    QDir::setCurrent(path); // a failed change is not reported: the path printed says it all
    PrintCurrentDirectory();
}

void Tavrol_Console_Worker::RunShellCommand(const QString& command)
{
    // The command goes to the shell inside one pair of double quotes; a quote
    // in the command ends that pair, and nothing escapes it.
    QProcess shell;
    shell.startCommand(QStringLiteral("sh -c \"") + command + QLatin1Char('"'),
                       QIODevice::ReadWrite);
    shell.waitForFinished(-1);
    const QByteArray output = Quolix_String::UpToFirstZero(shell.readAllStandardOutput());
    shell.readAllStandardError();
    std::printf("\n%s\n\n", output.constData());
}
