// How a project of years of history opens: projects of 10,000, 100,000 and
// 1,000,000 finished jobs are made through the store and saved with
// SaveToFile, and each is then opened the way a user opens it, by the real
// binary in the console run mode ("tavrol -console project.tvrl"). Reported
// per size: the file's size, the time to the first prompt, the time of
// "list finished jobs" and the size of its text, the process's peak memory
// (VmHWM) after the listing, the store's own LoadFromFile and the load of
// the history list in this process, and the time until the window run mode
// ("tavrol project.tvrl" on the offscreen platform) takes a request on its
// port with the project open, with its peak memory; and the time the
// Finished Jobs tab takes to show the whole history the first time it is
// opened (offscreen). Figures only; nothing is asserted.
//
//   bench_history                      10,000, 100,000 and 1,000,000 jobs
//   bench_history 100000               one size
//
// The first 10,000 rows of a project go in one by one by AddFinishedJob;
// larger projects repeat those rows with new keys and job ids by SQL, which
// gives the same columns and texts without hours of single adds.

#include "benchsupport.h"

#include "jobs/job.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "server/message.h"
#include "store/database.h"
#include "store/database_manager.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QWidget>

#include <cstdio>
#include <ctime>
#include <unistd.h>
#include <vector>

namespace {

const int SingleAdds = 10000;
const int WaitMs = 600000;
const QByteArray Prompt("<Tavrol> ");

double CpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + now.tv_nsec / 1e9;
}

Tavrol_JobType BenchJobType()
{
    return Tavrol_JobType(
        0, QStringLiteral("Gaussian"), QStringLiteral("g16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Gaussian Input Files (*.gjf)"),
        QStringLiteral("Gaussian Log Files (*.log)"), QStringLiteral("GAUSS_EXEDIR=/opt/g16"));
}

Tavrol_Job FinishedJob(int number, const Tavrol_JobType& jobType)
{
    const QString name = (number % 10 == 0 ? QStringLiteral("O'Neil_") : QStringLiteral("mol_")) +
                         QString::number(number) + QStringLiteral(".gjf");
    Tavrol_Job job(name, jobType, QStringLiteral("TavrolGUI"), QStringLiteral("Viewer"),
                   QStringLiteral("127.0.0.1"), 5000 + number % 100, 501, 20, number % 3,
                   Tavrol_JobType::QueueNameFromID(number % 3),
                   QStringLiteral("/home/chem/jobs/") + name, QString(), number, QString());
    const QDateTime start(QDate(2024, 1, 1), QTime(8, 0, 0));
    job.Submitted = start.addSecs(number);
    job.Started = start.addSecs(number + 5);
    job.Finished = start.addSecs(number + 65);
    job.SetStatus(number % 7 == 0 ? JobStatusFailed : JobStatusCompleted, false);
    job.StdOutAndStdErr = QStringLiteral("Entering Gaussian System\nNormal termination.\n");
    job.ClientNotification = number % 2;
    return job;
}

// Doubles the history by SQL until it holds rows rows: each copy takes new
// keys and job ids above the ones already there.
bool GrowBySQL(Tavrol_Database* database, int have, int rows)
{
    const QSqlRecord fields = database->Database.record(QStringLiteral("FinishedJobs"));
    while (have < rows) {
        const int take = std::min(have, rows - have);
        QStringList columns;
        for (int i = 0; i < fields.count(); ++i) {
            const QString name = fields.fieldName(i);
            if (name == QLatin1String("FinishedJobID") || name == QLatin1String("JobID"))
                columns.append(name + QStringLiteral(" + ") + QString::number(have));
            else
                columns.append(name);
        }
        database->Database.transaction();
        QSqlQuery query(database->Database);
        const bool done = query.exec(QStringLiteral("INSERT INTO FinishedJobs SELECT ") +
                                     columns.join(QStringLiteral(", ")) +
                                     QStringLiteral(" FROM FinishedJobs WHERE FinishedJobID < ") +
                                     QString::number(take));
        database->Database.commit();
        if (!done)
            return false;
        have += take;
    }
    return true;
}

bool MakeProject(const QString& path, int rows)
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables())
        return false;
    database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    database->AddQueue(QStringLiteral("Long"), 1, nullptr);
    database->AddQueue(QStringLiteral("Short"), 1, nullptr);
    Tavrol_JobType jobType = BenchJobType();
    int jobTypeID = -1;
    database->AddJobType(jobType, true, &jobTypeID);
    jobType.JobTypeID = jobTypeID;
    const int single = std::min(rows, SingleAdds);
    for (int number = 0; number < single; ++number) {
        if (!database->AddFinishedJob(FinishedJob(number, jobType), true, nullptr))
            return false;
    }
    if (!GrowBySQL(database, single, rows))
        return false;
    database->SetGeneralData(QStringLiteral("LastJobID"), QString::number(rows - 1));
    const bool saved = manager->SaveToFile(database, path);
    manager->CloseAll();
    return saved;
}

struct InProcess
{
    double LoadFromFile = 0;
    double LoadFinishedJobs = 0;
    double LoadFinishedJobsCpu = 0;
    size_t Rows = 0;
    double FinishedTab = 0; // the first show of the Finished Jobs table
};

// The Finished Jobs table is filled when it is first shown; a window that
// holds the history but has not shown that tab yet pays nothing for it.
double FinishedTabSeconds(Tavrol_FinishedJobsList&& history)
{
    QWidget tab;
    Tavrol_FinishedJobsWidget finished(&tab);
    const int rows = static_cast<int>(history.size());
    finished.TakeJobs(std::move(history));
    QElapsedTimer timer;
    timer.start();
    tab.show();
    while (finished.Table()->rowCount() < rows && timer.elapsed() < 600000)
        QCoreApplication::processEvents();
    QCoreApplication::processEvents(); // the first paint of the rows
    return timer.nsecsElapsed() / 1e9;
}

InProcess OpenInProcess(const QString& path)
{
    InProcess figures;
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    QElapsedTimer timer;
    timer.start();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    database->FilePath = path;
    database->Open();
    manager->LoadFromFile(path, database);
    figures.LoadFromFile = timer.nsecsElapsed() / 1e9;
    timer.start();
    const double cpu = CpuSeconds();
    Tavrol_FinishedJobsList history;
    database->LoadFinishedJobs(history);
    figures.Rows = history.size();
    figures.LoadFinishedJobs = timer.nsecsElapsed() / 1e9;
    figures.LoadFinishedJobsCpu = CpuSeconds() - cpu;
    manager->CloseAll();
    figures.FinishedTab = FinishedTabSeconds(std::move(history));
    return figures;
}

// A field of /proc/<pid>/status, in kB.
long StatusKBOf(qint64 pid, const char* field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(int(qstrlen(field))).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

// Reads the child's output as it comes, keeping only its count and its end.
class Child
{
public:
    bool Start(const QString& project, const QString& home)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        environment.insert(QStringLiteral("TAVROLPREFS_DIR"), home);
        environment.insert(QStringLiteral("TAVROL_CONSOLE_PORT"),
                           QString::number(Bench::FreePort()));
        environment.insert(QStringLiteral("TAVROL_GUI_PORT"), QString::number(Bench::FreePort()));
        m_process.setProcessEnvironment(environment);
        m_process.start(QStringLiteral(TAVROL_BINARY), {QStringLiteral("-console"), project});
        return m_process.waitForStarted(WaitMs);
    }

    // Waits until the output ends with a prompt; answers false on a timeout.
    bool WaitForPrompt()
    {
        QElapsedTimer timer;
        timer.start();
        while (!m_tail.endsWith(Prompt)) {
            if (timer.elapsed() > WaitMs || m_process.state() == QProcess::NotRunning)
                return false;
            m_process.waitForReadyRead(100);
            Take();
        }
        return true;
    }

    void Write(const QByteArray& line)
    {
        m_tail.clear();
        m_bytes = 0;
        m_process.write(line);
        m_process.waitForBytesWritten(WaitMs);
    }

    qint64 Bytes() const { return m_bytes; }

    // A field of /proc/<pid>/status, in kB.
    long StatusKB(const char* field) const { return StatusKBOf(m_process.processId(), field); }

    // The child's CPU time so far, user and system, in seconds.
    double CpuSeconds() const
    {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(m_process.processId()));
        if (!stat.open(QIODevice::ReadOnly))
            return -1;
        const QByteArray text = stat.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        const double ticks = double(sysconf(_SC_CLK_TCK));
        return (fields.value(11).toDouble() + fields.value(12).toDouble()) / ticks;
    }

    void Quit()
    {
        Write("quit\n");
        Write("yes\n");
        if (!m_process.waitForFinished(30000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

private:
    void Take()
    {
        const QByteArray data = m_process.readAllStandardOutput();
        m_bytes += data.size();
        m_tail += data;
        if (m_tail.size() > 4096)
            m_tail = m_tail.right(4096);
    }

    QProcess m_process;
    QByteArray m_tail;
    qint64 m_bytes = 0;
};

struct RealOpen
{
    double ToPrompt = -1;
    double Listing = -1;
    double ListingCpu = -1;
    qint64 ListingBytes = 0;
    long PeakKB = -1;
    long PeakBeforeListingKB = -1;
};

RealOpen OpenWithBinary(const QString& project, const QString& home)
{
    RealOpen figures;
    Child child;
    QElapsedTimer timer;
    timer.start();
    if (!child.Start(project, home) || !child.WaitForPrompt())
        return figures;
    figures.ToPrompt = timer.nsecsElapsed() / 1e9;
    figures.PeakBeforeListingKB = child.StatusKB("VmHWM:");
    timer.start();
    const double cpu = child.CpuSeconds();
    child.Write("list finished jobs\n");
    // The prompt comes back 100 ms after the command, by the console's timer.
    if (child.WaitForPrompt())
        figures.Listing = timer.nsecsElapsed() / 1e9 - 0.1;
    figures.ListingCpu = child.CpuSeconds() - cpu;
    figures.ListingBytes = child.Bytes();
    figures.PeakKB = child.StatusKB("VmHWM:");
    child.Quit();
    return figures;
}

struct WindowOpen
{
    double Answered = -1;
    long PeakKB = -1;
};

// The window run mode on the offscreen platform: the request server listens
// only after the project is open, and it takes a message (closing the
// connection) only from a running event loop, so the first test message
// that it takes marks a window that answers.
WindowOpen OpenWindow(const QString& project, const QString& home)
{
    WindowOpen figures;
    const quint16 guiPort = Bench::FreePort();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    environment.insert(QStringLiteral("TAVROLPREFS_DIR"), home);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("TAVROL_CONSOLE_PORT"), QString::number(Bench::FreePort()));
    environment.insert(QStringLiteral("TAVROL_GUI_PORT"), QString::number(guiPort));
    QProcess window;
    window.setProcessEnvironment(environment);
    window.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    window.start(QStringLiteral(TAVROL_BINARY), {project});
    if (!window.waitForStarted(WaitMs))
        return figures;
    const QByteArray message =
        Tavrol_Message::TestMessage(QStringLiteral("bench_history")).toLocal8Bit();
    while (timer.elapsed() < WaitMs && window.state() == QProcess::Running) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), guiPort);
        if (!socket.waitForConnected(100)) {
            window.waitForFinished(20); // lets the window go on, and reads its output
            window.readAllStandardOutput();
            continue;
        }
        socket.write(message);
        socket.waitForBytesWritten(WaitMs);
        if (socket.state() == QAbstractSocket::UnconnectedState ||
            socket.waitForDisconnected(WaitMs)) {
            figures.Answered = timer.nsecsElapsed() / 1e9;
            break;
        }
    }
    figures.PeakKB = StatusKBOf(window.processId(), "VmHWM:");
    window.terminate();
    if (!window.waitForFinished(30000)) {
        window.kill();
        window.waitForFinished(5000);
    }
    return figures;
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(QString::fromLocal8Bit(argv[i]).toInt());
    if (sizes.empty())
        sizes = {10000, 100000, 1000000};
    QTemporaryDir directory;
    std::printf("%9s %9s %10s %10s %9s %9s %10s %10s %9s %9s %9s %10s %9s %10s %9s\n", "jobs",
                "file MiB", "prompt s", "listing s", "list CPU", "list MiB", "HWM open", "HWM list",
                "load s", "jobs s", "jobs CPU", "us/job", "window s", "HWM window", "tab s");
    std::fflush(stdout);
    for (const int rows : sizes) {
        const QString path = directory.filePath(QStringLiteral("history%1.tvrl").arg(rows));
        const QString home = directory.filePath(QStringLiteral("home%1").arg(rows));
        QDir().mkpath(home);
        if (!MakeProject(path, rows)) {
            std::fprintf(stderr, "could not make a project of %d jobs\n", rows);
            return 2;
        }
        const InProcess inProcess = OpenInProcess(path);
        const RealOpen real = OpenWithBinary(path, home);
        const WindowOpen window = OpenWindow(path, home);
        std::printf("%9d %9.1f %10.3f %10.3f %9.3f %9.1f %8.0fMB %8.0fMB %9.3f %9.3f %9.3f %10.2f "
                    "%9.3f %8.0fMB %9.3f\n",
                    rows, QFileInfo(path).size() / 1048576.0, real.ToPrompt, real.Listing,
                    real.ListingCpu, real.ListingBytes / 1048576.0,
                    real.PeakBeforeListingKB / 1024.0, real.PeakKB / 1024.0, inProcess.LoadFromFile,
                    inProcess.LoadFinishedJobs, inProcess.LoadFinishedJobsCpu,
                    real.ToPrompt * 1e6 / rows, window.Answered, window.PeakKB / 1024.0,
                    inProcess.FinishedTab);
        if (inProcess.Rows != size_t(rows))
            std::printf("  (LoadFinishedJobs gave %zu rows)\n", inProcess.Rows);
        std::fflush(stdout);
        // BENCH_KEEP_DIR keeps the projects, for profiling the binary on them.
        const QString keep = qEnvironmentVariable("BENCH_KEEP_DIR");
        if (keep.isEmpty() || !QFile::rename(path, QDir(keep).filePath(QFileInfo(path).fileName())))
            QFile::remove(path);
    }
    return 0;
}
