// Console answer time while clients stay silent: a console instance is sent
// 1,000 connections, one after another, that never write a byte and stay
// open. Between them, "list long jobs" is typed at the console and the time
// to the next prompt is measured. Then, with all of them still open, a
// complete request is sent and the time until the instance has taken it (it
// closes the connection then) is measured.
//
// Usage: bench_silent [connections] [samples per step]   (defaults: 1000, 5)

#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Bench::FreePort;
using Bench::Loopback;

int OpenSilentConnection(quint16 port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(port);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

void RaiseFileLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

class Console
{
public:
    Console(const QTemporaryDir& home, quint16 consolePort)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                           home.filePath(QStringLiteral(".config")));
        environment.insert(QStringLiteral("TAVROLPREFS_DIR"),
                           home.filePath(QStringLiteral("prefs")));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("TAVROL_CONSOLE_PORT"), QString::number(consolePort));
        environment.insert(QStringLiteral("TAVROL_GUI_PORT"), QString::number(FreePort()));
        m_process.setProcessEnvironment(environment);
        m_process.setWorkingDirectory(home.path());
        m_process.start(QStringLiteral(TAVROL_BINARY), {QStringLiteral("-console")});
    }

    ~Console()
    {
        m_process.kill();
        m_process.waitForFinished(10000);
    }

    bool WaitForPrompt(int timeoutMs)
    {
        QElapsedTimer timer;
        timer.start();
        while (!m_output.endsWith("<Tavrol> ") && timer.elapsed() < timeoutMs) {
            m_process.waitForReadyRead(5);
            m_output += m_process.readAllStandardOutput();
        }
        const bool prompted = m_output.endsWith("<Tavrol> ");
        m_output.clear();
        return prompted;
    }

    // Milliseconds from the command to the prompt that follows its answer.
    double Answer(const QByteArray& command)
    {
        QElapsedTimer timer;
        timer.start();
        m_process.write(command + '\n');
        m_process.waitForBytesWritten(1000);
        if (!WaitForPrompt(60000))
            return -1;
        return timer.nsecsElapsed() / 1e6;
    }

private:
    QProcess m_process;
    QByteArray m_output;
};

// Milliseconds from the connect of a complete request to the instance's
// close of it; -1 if it was not taken within 60 seconds.
double TimeToTake(quint16 port, const QByteArray& message)
{
    QElapsedTimer timer;
    timer.start();
    const int fd = OpenSilentConnection(port);
    if (fd < 0)
        return -1;
    const timeval limit{60, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const bool written = write(fd, message.constData(), size_t(message.size())) == message.size();
    char byte = 0;
    const bool closed = written && read(fd, &byte, 1) == 0;
    close(fd);
    return closed ? double(timer.nsecsElapsed()) / 1e6 : -1;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const int connections = arguments.size() > 1 ? arguments.at(1).toInt() : 1000;
    const int samplesPerStep = arguments.size() > 2 ? arguments.at(2).toInt() : 5;
    RaiseFileLimit();

    QTemporaryDir home;
    QDir(home.path()).mkpath(QStringLiteral("prefs"));
    const quint16 port = FreePort();
    Console console(home, port);
    if (!console.WaitForPrompt(30000)) {
        std::fprintf(stderr, "tavrol did not start\n");
        return 1;
    }
    // The prompt comes back 100 ms after each command by design; the same
    // command with no client at all gives that floor.
    std::vector<double> idle;
    for (int sample = 0; sample < 10; ++sample)
        idle.push_back(console.Answer("list long jobs"));

    std::vector<int> open;
    std::vector<double> answers;
    const int step = std::max(1, connections / 20);
    while (int(open.size()) < connections) {
        const int fd = OpenSilentConnection(port);
        if (fd < 0) {
            std::fprintf(stderr, "connection %zu refused\n", open.size() + 1);
            break;
        }
        open.push_back(fd);
        if (open.size() % size_t(step) == 0 || int(open.size()) == connections) {
            for (int sample = 0; sample < samplesPerStep; ++sample)
                answers.push_back(console.Answer("list long jobs"));
        }
    }
    const double median = Median(answers);
    const double maximum = answers.empty() ? 0 : *std::max_element(answers.begin(), answers.end());
    std::printf("no client:                      median %7.1f ms, maximum %7.1f ms "
                "(the prompt's own 100 ms pause included)\n",
                Median(idle), *std::max_element(idle.begin(), idle.end()));
    std::printf("%4zu silent connections open:   median %7.1f ms, maximum %7.1f ms over %zu "
                "answers\n",
                open.size(), median, maximum, answers.size());
    std::printf("answer beyond the prompt pause: median %7.1f ms, maximum %7.1f ms\n",
                median - Median(idle), maximum - Median(idle));
    const QByteArray request =
        "clientname=bench\nclientuid=" + QByteArray::number(getuid()) + "\naction=test";
    std::vector<double> takes;
    for (int sample = 0; sample < 5; ++sample)
        takes.push_back(TimeToTake(port, request));
    std::printf("request taken with them open:   median %7.1f ms, maximum %7.1f ms\n",
                Median(takes), *std::max_element(takes.begin(), takes.end()));
    for (const int fd : open)
        close(fd);
    return 0;
}
