#include "fuzzenv.h"

#include "app/globals.h"
#include "console/console.h"
#include "console/console_worker.h"
#include "server/message.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

const char* const InputFileNames[] = {"water.gjf", "water.chk", "water.fchk", "water.cube",
                                      "mol.gmmx",  "mol.dat",   "notes.txt"};
const char* const ProgramNames[] = {"g16",    "cubegen", "formchk", "freqchk",
                                    "cubman", "gmmx",    "ombrix"};

struct Sandbox
{
    QTemporaryDir Dir;
    QString StartDirectory;
};

// Removed when the process ends normally.
Sandbox& TheSandbox()
{
    static Sandbox sandbox;
    return sandbox;
}

void Link(const QString& target, const QString& link)
{
    FuzzEnv::Check(QFile::link(target, link));
}

// Everything the program reads from its environment, before it starts.
void PrepareEnvironment(const QString& dir)
{
    const QString home = dir + QStringLiteral("/home");
    const QString bin = dir + QStringLiteral("/bin");
    const QString programs = dir + QStringLiteral("/programs");
    for (const QString& path :
         {home + QStringLiteral("/.config"), home + QStringLiteral("/prefs"), bin, programs})
        FuzzEnv::Check(QDir().mkpath(path));
    // "ls ..." goes to a shell that only repeats its words; "clear" is a no-op.
    Link(QStringLiteral("/bin/echo"), bin + QStringLiteral("/sh"));
    Link(QStringLiteral("/bin/true"), bin + QStringLiteral("/clear"));
    // Every default job type exists, and each of its programs is /bin/true:
    // a job that starts ends at once, whatever its arguments.
    for (const char* name : ProgramNames)
        Link(QStringLiteral("/bin/true"), programs + QLatin1Char('/') + QLatin1String(name));
    qputenv("PATH", bin.toLocal8Bit());
    qputenv("HOME", home.toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home + QStringLiteral("/.config")).toLocal8Bit());
    qputenv("TAVROLPREFS_DIR", (home + QStringLiteral("/prefs")).toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("GAUSS_EXEDIR", programs.toLocal8Bit());
    qputenv("TAVROL_OMBRIX_EXE", (programs + QStringLiteral("/ombrix")).toLocal8Bit());
}

void MakeInputFiles(const QString& dir)
{
    for (const char* name : InputFileNames) {
        QFile file(dir + QLatin1Char('/') + QLatin1String(name));
        FuzzEnv::Check(file.open(QIODevice::WriteOnly) && file.write("x\n") == 2);
    }
}

void MakeApplicationUnlessMade()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 1;
    static char name[] = "tavrol_fuzz";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv); // lives as long as the process
}

Tavrol_AppWindow* MakeWindow()
{
    Sandbox& sandbox = TheSandbox();
    FuzzEnv::Check(sandbox.Dir.isValid());
    const QString dir = sandbox.Dir.path();
    PrepareEnvironment(dir);
    MakeInputFiles(dir);
    MakeApplicationUnlessMade();
    RunMode = RunModeConsole;
    AppBaseDir = new QDir(dir + QStringLiteral("/programs")); // where "gmmx" is looked for
    FuzzEnv::Check(QDir::setCurrent(dir));
    sandbox.StartDirectory = QDir::currentPath();
    auto* window = new Tavrol_AppWindow(); // lives as long as the process
    TavrolAppWindow = window;
    window->BuildWidgets();
    // Paused queues keep queued jobs from starting; the queueless list has
    // no pause, and its jobs run /bin/true.
    window->LongJobsView()->PauseAndKillRunningJobs();
    window->ShortJobsView()->PauseAndKillRunningJobs();
    window->NewProject(QString());
    return window;
}

// The job rows of the project, by queue: every queued job has one.
FuzzEnv::SubmitOutcome JobRows()
{
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    FuzzEnv::Check(database != nullptr);
    FuzzEnv::SubmitOutcome rows;
    rows.LongJobs = database->LoadLongJobs().size();
    rows.ShortJobs = database->LoadShortJobs().size();
    rows.QueuelessJobs = database->LoadQueuelessJobs().size();
    return rows;
}

// The console session's standard input: a pipe whose write end the feeder
// keeps, so that the reader waits at its end as it does at a terminal.
constexpr std::chrono::microseconds FeederPoll(200);
constexpr std::chrono::milliseconds AnswerInterval(2);

int StandardInputWriter()
{
    static const int writer = [] {
        int ends[2] = {-1, -1};
        FuzzEnv::Check(pipe2(ends, O_CLOEXEC) == 0);
        FuzzEnv::Check(dup2(ends[0], STDIN_FILENO) == STDIN_FILENO);
        close(ends[0]);
        return ends[1];
    }();
    return writer;
}

void WriteAll(int descriptor, const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(descriptor, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        FuzzEnv::Check(written > 0);
        bytes += written;
        size -= std::size_t(written);
    }
}

int Unread()
{
    int count = 0;
    FuzzEnv::Check(ioctl(STDIN_FILENO, FIONREAD, &count) == 0);
    return count;
}

void DrainStandardInput()
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    fcntl(STDIN_FILENO, F_SETFL, flags | O_NONBLOCK);
    char buffer[4096];
    while (read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
    }
    fcntl(STDIN_FILENO, F_SETFL, flags);
}

// Writes the session, waits until the worker has taken every byte and stops
// its console. A save question reads standard input without the wake-up; it
// gets "cancel" lines until the session is over.
void Feed(const QByteArray& input, Tavrol_Console& console, const std::atomic<bool>& done)
{
    const int writer = StandardInputWriter();
    WriteAll(writer, input.constData(), std::size_t(input.size()));
    while (Unread() > 0 && !done.load())
        std::this_thread::sleep_for(FeederPoll);
    console.Stop();
    static const char answer[] = "cancel\n";
    while (!done.load()) {
        if (Unread() == 0)
            WriteAll(writer, answer, sizeof answer - 1);
        std::this_thread::sleep_for(AnswerInterval);
    }
}

} // namespace

namespace FuzzEnv {

Tavrol_AppWindow& Window()
{
    static Tavrol_AppWindow* const window = MakeWindow();
    return *window;
}

QString WorkDir()
{
    Window();
    return TheSandbox().Dir.path();
}

void Reset()
{
    Tavrol_AppWindow& window = Window();
    Check(QDir::setCurrent(TheSandbox().StartDirectory));
    window.LongJobsView()->PauseAndKillRunningJobs();
    window.ShortJobsView()->PauseAndKillRunningJobs();
    window.QueuelessJobsView()->KillRunningJobs();
    QCoreApplication::processEvents();
    // An unmodified project is let go without the save question.
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current())
        database->Modified = false;
    window.NewProject(QString());
    window.QueuelessJobsView()->ClearJobs();
    JobIDManager = Quolix_IDManager(0, 1);
    Tavrol_Database* fresh = Tavrol_Database_Manager::Current();
    Check(fresh != nullptr);
    fresh->Modified = false;
}

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

void DiscardStandardOutput()
{
    std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    Check(null >= 0 && dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
    close(null);
}

ProjectOutcome OpenProjectFile(const QByteArray& bytes)
{
    Tavrol_AppWindow& window = Window();
    Reset();
    const QString path = WorkDir() + QStringLiteral("/fuzzed.tvrl");
    QFile file(path);
    Check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    Check(file.write(bytes) == bytes.size());
    file.close();

    ProjectOutcome outcome;
    outcome.Opened = window.OpenProject(path);
    if (outcome.Opened) {
        Check(Tavrol_Database_Manager::Current() != nullptr);
        Check(Tavrol_Database_Manager::Current()->FilePath == path);
        window.LongJobsView()->AddJobFromFile(WorkDir() + QStringLiteral("/water.gjf"), -1);
        window.UpdateCaption();
        window.LongJobsView()->PrintList();
        // The file exists, so the save needs no question and reloads what it
        // wrote.
        Check(window.SaveProject());
        Check(Tavrol_Database_Manager::Current() != nullptr);
        Check(!Tavrol_Database_Manager::Current()->Modified);
        for (const Tavrol_Job& job : Tavrol_Database_Manager::Current()->LoadLongJobs())
            outcome.LongJobIDs.push_back(job.JobID);
    } else {
        Check(Tavrol_Database_Manager::Current() == nullptr);
    }
    Reset();
    QString version;
    Check(Tavrol_Database_Manager::Current()->GetGeneralData(QStringLiteral("Version"), version));
    Check(version == QLatin1String("2"));
    return outcome;
}

// The worker runs on the main thread, as with "-noeventloop", with a console
// of its own whose wake-up the feeder raises once every byte is read: the
// prompt then ends as it does when a console stops. An exit the session
// confirms closes the store and ends the loop, which does not end the process
// here (no Tavrol_App, no event loop to leave), so the commands after it meet
// a program without a project.
// "save" and "save as PATH" write wherever a line points, and the fuzzer
// must not write outside its sandbox: such lines are left out.
static QByteArray WithoutSaveCommands(const QByteArray& input)
{
    QByteArray kept;
    for (const QByteArray& line : input.split('\n')) {
        if (!line.toLower().contains("save"))
            kept += line + '\n';
    }
    kept.chop(1);
    return kept;
}

void RunConsoleSession(const QByteArray& session)
{
    const QByteArray input = WithoutSaveCommands(session);
    Reset();
    StandardInputWriter();
    NoEventLoop = true;
    {
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        std::atomic<bool> done{false};
        std::thread feeder(Feed, std::cref(input), std::ref(console), std::cref(done));
        worker.InteractSlot(); // returns once the wake-up is raised
        done = true;
        feeder.join();
    }
    std::fflush(stdout);
    DrainStandardInput();
    Check(TavrolAppWindow == &Window());
}

// As the server does once the user check has passed (the check is the
// server's own business).
SubmitOutcome SubmitRequest(const QByteArray& bytes)
{
    Tavrol_AppWindow& window = Window();
    Reset();
    QByteArray data = bytes;
    QBuffer buffer(&data);
    Check(buffer.open(QIODevice::ReadOnly));
    const Tavrol_Request request = Tavrol_Message::ReadRequest(&buffer);
    SubmitOutcome outcome;
    outcome.SubmitJob = request.Action.toLower() == QLatin1String("submitjob");
    if (!outcome.SubmitJob)
        return outcome;
    const SubmitOutcome before = JobRows();
    window.SubmitRequestedJob(request);
    const SubmitOutcome after = JobRows();
    Check(after.LongJobs >= before.LongJobs && after.ShortJobs >= before.ShortJobs &&
          after.QueuelessJobs >= before.QueuelessJobs);
    outcome.LongJobs = after.LongJobs - before.LongJobs;
    outcome.ShortJobs = after.ShortJobs - before.ShortJobs;
    outcome.QueuelessJobs = after.QueuelessJobs - before.QueuelessJobs;
    window.LongJobsView()->PrintList();
    window.ShortJobsView()->PrintList();
    window.QueuelessJobsView()->PrintList();
    return outcome;
}

} // namespace FuzzEnv
