#include "console/console_worker.h"

#include "app/globals.h"
#include "console/console.h"
#include "jobtypes/jobtypeswidget.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
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
#include <cstdlib>
#include <thread>

namespace {

constexpr int PromptRepeatMilliseconds = 100;
// A bound on the passes of ServeEvents, so that a queue that never runs dry
// cannot keep the prompt away.
constexpr int MaxEventPasses = 64;

QString Asked(const char* prompt)
{
    std::fputs(prompt, stdout);
    std::fflush(stdout);
    QString answer;
    Tavrol_Console_Worker::ReadConsoleLine(answer);
    return answer;
}

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

void Tavrol_Console_Worker::RunOnMainThread(const std::function<void()>& work)
{
    QCoreApplication* application = QCoreApplication::instance();
    if (!application || QThread::currentThread() == application->thread()) {
        work();
        return;
    }
    QMetaObject::invokeMethod(application, work, Qt::BlockingQueuedConnection);
}

void Tavrol_Console_Worker::ReadLine(std::FILE* stream, QString& line)
{
    char buffer[ReadBufferSize];
    int length = 0;
    for (;;) {
        const int character = std::getc(stream);
        if (character == EOF) {
            // The end of the input is no stop: more may come, so look again
            // after a pause instead of spinning.
            std::clearerr(stream);
            std::this_thread::sleep_for(std::chrono::milliseconds(EndOfInputRetryMilliseconds));
            continue;
        }
        if (character == '\n')
            break;
        if (length < ReadBufferSize - 1)
            buffer[length++] = static_cast<char>(character);
        // else: the line is longer than the buffer; the rest of it is dropped.
    }
    buffer[length] = '\0';
    line = QString::fromLatin1(buffer).trimmed(); // a zero byte ends the text, as in C
}

void Tavrol_Console_Worker::ReadConsoleLine(QString& line)
{
    ReadLine(stdin, line);
}

void Tavrol_Console_Worker::InteractSlot()
{
    for (;;) {
        InteractOnce();
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
    const QString line = Asked("<Tavrol> ");
    // Without an event loop nothing moved while the prompt waited: what ended
    // meanwhile is served now, so that this command already sees it.
    if (NoEventLoop)
        ServeEvents();
    const QString lowered = line.toLower();
    if (lowered != QLatin1String("quit") && lowered != QLatin1String("exit")) {
        ProcessCommand(line);
        return;
    }
    const QString answer =
        Asked("\n<Tavrol> Are you sure you want to completely exit Tavrol?  ").toLower();
    if (answer == QLatin1String("yes") || answer == QLatin1String("y") ||
        answer == QLatin1String("1")) {
        RunOnMainThread([] {
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
        RunOnMainThread([window] { window->LongJobsView()->PrintList(); });
    } else if (command == QLatin1String("list short jobs")) {
        RunOnMainThread([window] { window->ShortJobsView()->PrintList(); });
    } else if (command == QLatin1String("list queueless jobs")) {
        RunOnMainThread([window] { window->QueuelessJobsView()->PrintList(); });
    } else if (command == QLatin1String("list running jobs")) {
        ListRunningJobs(true);
    } else if (command == QLatin1String("list all running jobs")) {
        ListRunningJobs(false);
    } else if (command == QLatin1String("list finished jobs")) {
        RunOnMainThread([window] { window->FinishedJobsView()->PrintList(); });
    } else if (command == QLatin1String("list job types")) {
        RunOnMainThread([window] { window->JobTypesView()->PrintList(); });
    } else if (command == QLatin1String("add job") || command == QLatin1String("submit job")) {
        const int queueID = AskQueue();
        if (queueID >= 0)
            AddJob(queueID);
    } else if (command == QLatin1String("add long job") ||
               command == QLatin1String("submit long job")) {
        AddJob(0);
    } else if (command == QLatin1String("add short job") ||
               command == QLatin1String("submit short job")) {
        AddJob(1);
    } else if (command == QLatin1String("add queueless job") ||
               command == QLatin1String("submit queueless job")) {
        AddJob(2);
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
    }
}

void Tavrol_Console_Worker::ListRunningJobs(bool onlyKnownJobTypes)
{
    Tavrol_AppWindow* window = TavrolAppWindow;
    RunOnMainThread([window, onlyKnownJobTypes] {
        window->RunningJobsView()->SetOnlyKnownJobTypes(onlyKnownJobTypes);
        window->RunningJobsView()->PrintList();
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
    RunOnMainThread([window, queueID, path, jobTypeID] {
        if (queueID == 0)
            window->LongJobsView()->AddJobFromFile(path, jobTypeID);
        else if (queueID == 1)
            window->ShortJobsView()->AddJobFromFile(path, jobTypeID);
        else if (queueID == 2)
            window->QueuelessJobsView()->AddJobFromFile(path, jobTypeID);
    });
}

int Tavrol_Console_Worker::AskQueue()
{
    for (;;) {
        const QString answer = Asked("\n<Tavrol> Enter Queue:  ").toLower();
        if (answer == QLatin1String("long"))
            return 0;
        if (answer == QLatin1String("short"))
            return 1;
        if (answer == QLatin1String("none"))
            return 2;
        if (answer == QLatin1String("cancel"))
            return -1;
        std::putchar('\n');
    }
}

Tavrol_JobType Tavrol_Console_Worker::AskJobType()
{
    for (;;) {
        const QString answer = Asked("\n<Tavrol> Enter Job Type:  ");
        Tavrol_JobType jobType;
        RunOnMainThread([&jobType, &answer] { jobType = Tavrol_JobType::ByName(answer); });
        if (jobType.IsValid())
            return jobType;
        bool isNumber = false;
        const int jobTypeID = answer.toInt(&isNumber, 10);
        if (isNumber) {
            RunOnMainThread([&jobType, jobTypeID] { jobType = Tavrol_JobType::ByID(jobTypeID); });
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
        const QString answer = Asked("\n<Tavrol> Enter Input File:  ");
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
    QByteArray output = shell.readAllStandardOutput();
    shell.readAllStandardError();
    const qsizetype zero = output.indexOf('\0');
    if (zero >= 0)
        output.truncate(zero);
    std::printf("\n%s\n\n", output.constData());
}
