// End-to-end submission rate: a client sends N "submitjob" requests, one
// connection each, for a stand-in program that ends at once, into the
// queueless list of a running console instance, and waits on its own
// listener for all N job finished notifications. The same N commands then go
// through task-spooler (tsp), with a private socket, for comparison.
//
// Usage: bench_submit [jobs] [tsp slots ...]   (defaults: 1000 jobs; slots 4 and 1000)

#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int DefaultJobs = 1000;

using Bench::FreePort;
using Bench::Loopback;

// The client's listener: counts the job finished notifications, each one
// whole connection, on a thread of its own so that it never holds up the
// instance's writer.
class Listener
{
public:
    Listener()
    {
        m_fd = socket(AF_INET, SOCK_STREAM, 0);
        const int on = 1;
        setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address = Loopback(0);
        bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(m_fd, 4096);
        socklen_t length = sizeof address;
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Run(); });
    }

    ~Listener()
    {
        m_stop = true;
        shutdown(m_fd, SHUT_RDWR);
        close(m_fd);
        m_thread.join();
    }

    quint16 Port() const { return m_port; }
    int Notifications() const { return m_notifications; }
    int Completed() const { return m_completed; }

private:
    void Run()
    {
        while (!m_stop) {
            const int client = accept(m_fd, nullptr, nullptr);
            if (client < 0)
                continue;
            std::string message;
            char buffer[4096];
            ssize_t got = 0;
            while ((got = read(client, buffer, sizeof buffer)) > 0)
                message.append(buffer, size_t(got));
            close(client);
            if (message.find("\naction=jobfinished\n") != std::string::npos) {
                if (message.find("\njobstatus=completed\n") != std::string::npos)
                    ++m_completed;
                ++m_notifications;
            }
        }
    }

    int m_fd = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_notifications{0};
    std::atomic<int> m_completed{0};
    std::thread m_thread;
};

bool SendRequest(quint16 port, const QByteArray& message)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(port);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return false;
    }
    const bool written = write(fd, message.constData(), size_t(message.size())) == message.size();
    // The instance trusts only the owner of an open client socket: hold it
    // until the instance has taken the message and closed its end.
    const timeval limit{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char byte = 0;
    while (written && read(fd, &byte, 1) > 0) {
    }
    close(fd);
    return written;
}

struct Result
{
    QString Name;
    int Jobs = 0;
    double SubmitSeconds = 0;
    double TotalSeconds = 0;
    int Finished = 0;
    double CpuSeconds = 0;
};

void Print(const Result& result)
{
    std::printf("%-26s %5d jobs  submitted in %7.3f s (%7.1f requests/s)  last end after "
                "%7.3f s (%6.1f jobs/s end to end)  finished %d  CPU %.2f ms per job\n",
                qPrintable(result.Name), result.Jobs, result.SubmitSeconds,
                result.Jobs / result.SubmitSeconds, result.TotalSeconds,
                result.Jobs / result.TotalSeconds, result.Finished,
                1000 * result.CpuSeconds / result.Jobs);
    std::fflush(stdout);
}

// CPU time, user and system, of every descendant that has been waited for.
// The bench is a subreaper, so daemons and background runners that outlive
// their parents come back to it and are counted too.
double ChildrenCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Waits for every orphan that came back to the bench, for at most a while.
void ReapOrphans(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        const pid_t pid = waitpid(-1, nullptr, WNOHANG);
        if (pid < 0)
            return; // no children left
        if (pid == 0)
            QThread::msleep(10);
    }
}

QProcessEnvironment BenchEnvironment(const QTemporaryDir& home, quint16 consolePort,
                                     quint16 guiPort)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral(".config")));
    environment.insert(QStringLiteral("TAVROLPREFS_DIR"), home.filePath(QStringLiteral("prefs")));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("TAVROL_CONSOLE_PORT"), QString::number(consolePort));
    environment.insert(QStringLiteral("TAVROL_GUI_PORT"), QString::number(guiPort));
    environment.insert(QStringLiteral("GAUSS_EXEDIR"),
                       QStringLiteral(TAVROL_FIXTURES_DIR "/gaussian/g16"));
    environment.insert(QStringLiteral("TAVROL_OMBRIX_EXE"), home.filePath(QStringLiteral("none")));
    return environment;
}

bool WaitFor(QProcess& process, const QByteArray& text, int timeoutMs)
{
    QByteArray output;
    QElapsedTimer timer;
    timer.start();
    while (!output.contains(text) && timer.elapsed() < timeoutMs) {
        process.waitForReadyRead(100);
        output += process.readAllStandardOutput();
    }
    return output.contains(text);
}

Result RunTavrol(int jobs, const QString& input)
{
    Result result;
    result.Name = QStringLiteral("Tavrol console, queueless");
    result.Jobs = jobs;
    QTemporaryDir home;
    QDir(home.path()).mkpath(QStringLiteral("prefs"));
    const quint16 consolePort = FreePort();
    QProcess tavrol;
    tavrol.setProcessEnvironment(BenchEnvironment(home, consolePort, FreePort()));
    tavrol.setWorkingDirectory(home.path());
    tavrol.start(QStringLiteral(TAVROL_BINARY), {QStringLiteral("-console")});
    if (!WaitFor(tavrol, "<Tavrol> ", 30000)) {
        std::fprintf(stderr, "tavrol did not start\n");
        return result;
    }
    Listener listener;
    const QByteArray head =
        "clientname=bench\nclientappname=bench_submit\nclientaddress=127.0.0.1\n"
        "clientport=" +
        QByteArray::number(listener.Port()) + "\nclientuid=" + QByteArray::number(getuid()) +
        "\nclientgid=" + QByteArray::number(getgid()) +
        "\nclientnotification=1\naction=submitjob\njobtypename=Gaussian\n"
        "jobqueue=None\njobinputfile=" +
        input.toLocal8Bit() + "\njobname=bench";
    QElapsedTimer timer;
    timer.start();
    for (int index = 0; index < jobs; ++index) {
        if (!SendRequest(consolePort, head + QByteArray::number(index)))
            std::fprintf(stderr, "request %d not sent\n", index);
    }
    result.SubmitSeconds = timer.nsecsElapsed() / 1e9;
    while (listener.Notifications() < jobs && timer.elapsed() < 600000)
        QThread::msleep(1);
    result.TotalSeconds = timer.nsecsElapsed() / 1e9;
    result.Finished = listener.Completed();
    tavrol.write("quit\nyes\nno\n");
    if (!tavrol.waitForFinished(30000)) {
        tavrol.kill();
        tavrol.waitForFinished(10000);
    }
    return result;
}

int TspFinished(const QProcessEnvironment& environment, const QString& tsp)
{
    QProcess list;
    list.setProcessEnvironment(environment);
    list.start(tsp, {QStringLiteral("-l")});
    list.waitForFinished(30000);
    int finished = 0;
    for (const QByteArray& line : list.readAllStandardOutput().split('\n')) {
        if (line.contains(" finished "))
            ++finished;
    }
    return finished;
}

Result RunTaskSpooler(int jobs, int slotCount, const QString& tsp, const QString& input)
{
    Result result;
    result.Name = QStringLiteral("task-spooler, %1 slots").arg(slotCount);
    result.Jobs = jobs;
    QTemporaryDir state;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TS_SOCKET"), state.filePath(QStringLiteral("socket")));
    environment.insert(QStringLiteral("TMPDIR"), state.path());
    environment.insert(QStringLiteral("TS_MAXFINISHED"), QString::number(jobs + 10));
    environment.insert(QStringLiteral("TS_MAXCONN"), QString::number(jobs + 10));
    environment.insert(QStringLiteral("TS_SLOTS"), QString::number(slotCount));
    const QString g16 = QStringLiteral(TAVROL_FIXTURES_DIR "/gaussian/g16/g16");
    const QString output = QFileInfo(input).absolutePath() + QStringLiteral("/bench.log");
    QElapsedTimer timer;
    timer.start();
    for (int index = 0; index < jobs; ++index) {
        QProcess add;
        add.setProcessEnvironment(environment);
        add.setWorkingDirectory(QFileInfo(input).absolutePath());
        add.start(tsp, {g16, input, output});
        add.waitForFinished(30000);
    }
    result.SubmitSeconds = timer.nsecsElapsed() / 1e9;
    while ((result.Finished = TspFinished(environment, tsp)) < jobs && timer.elapsed() < 600000)
        QThread::msleep(20);
    result.TotalSeconds = timer.nsecsElapsed() / 1e9;
    QProcess kill;
    kill.setProcessEnvironment(environment);
    kill.start(tsp, {QStringLiteral("-K")});
    kill.waitForFinished(10000);
    // The spooler leaves its output files read-only; make them removable.
    QDirIterator files(state.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext())
        QFile::setPermissions(files.next(), QFile::ReadOwner | QFile::WriteOwner);
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const int jobs = arguments.size() > 1 ? arguments.at(1).toInt() : DefaultJobs;
    QList<int> slotCounts;
    for (int index = 2; index < arguments.size(); ++index)
        slotCounts.append(arguments.at(index).toInt());
    if (slotCounts.isEmpty())
        slotCounts = {4, jobs};

    QTemporaryDir work;
    const QString input = work.filePath(QStringLiteral("bench.gjf"));
    QFile file(input);
    file.open(QIODevice::WriteOnly);
    file.write("bench\n");
    file.close();

    std::printf("%d jobs of the g16 stand-in, %d processors\n", jobs, QThread::idealThreadCount());
    // Orphaned descendants (the spooler's daemon and its job runners) come
    // back to this process, so their CPU time can be counted.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    double cpuBefore = ChildrenCpuSeconds();
    Result tavrol = RunTavrol(jobs, input);
    ReapOrphans(5000);
    tavrol.CpuSeconds = ChildrenCpuSeconds() - cpuBefore;
    Print(tavrol);
    const QString tsp = QStandardPaths::findExecutable(QStringLiteral("tsp"));
    if (tsp.isEmpty()) {
        std::printf("task-spooler (tsp) is not installed: no comparison\n");
        return 0;
    }
    for (int slotCount : slotCounts) {
        cpuBefore = ChildrenCpuSeconds();
        Result spooler = RunTaskSpooler(jobs, slotCount, tsp, input);
        ReapOrphans(10000);
        spooler.CpuSeconds = ChildrenCpuSeconds() - cpuBefore;
        Print(spooler);
    }
    return 0;
}
