// The real binary stays responsive whatever its clients do: a silent client,
// a notification target that does not answer and a slow `ps` never hold up
// the console, no notification is lost or sent twice, and at exit no program
// that Tavrol started outlives it.

#include "consolesession.h"
#include "socketclient.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

using E2E::ConsoleSession;
using E2E::Home;
using E2E::Listener;
using E2E::StartConsole;

namespace {

// Well above a quick answer, far below the 30 seconds of a blocked wait.
constexpr qint64 QuickAnswerMs = 2000;

// The command lines of the processes that run now and contain marker.
QStringList ProcessesWith(const QString& marker)
{
    QStringList found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool isPid = false;
        entry.toInt(&isPid);
        if (!isPid)
            continue;
        QFile file(QStringLiteral("/proc/") + entry + QStringLiteral("/cmdline"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString commandLine = QString::fromLocal8Bit(file.readAll().replace('\0', ' '));
        if (commandLine.contains(marker))
            found << entry + QLatin1Char(' ') + commandLine;
    }
    return found;
}

// A listener whose queue of connections is full: a connection to it is never
// taken, so a connect waits until its own time limit.
class DeafListener
{
public:
    DeafListener()
    {
        m_fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (m_fd < 0 || ::bind(m_fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::listen(m_fd, 0) != 0 ||
            ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return;
        m_port = ntohs(address.sin_port);
        for (int i = 0; i < 4; ++i) {
            m_fillers.push_back(std::make_unique<QTcpSocket>());
            m_fillers.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
            m_fillers.back()->waitForConnected(300);
        }
    }
    ~DeafListener()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    DeafListener(const DeafListener&) = delete;
    DeafListener& operator=(const DeafListener&) = delete;

    quint16 Port() const { return m_port; }

private:
    int m_fd = -1;
    quint16 m_port = 0;
    std::vector<std::unique_ptr<QTcpSocket>> m_fillers;
};

// A port where nothing listens.
quint16 ClosedPort()
{
    QTcpServer server;
    server.listen(QHostAddress(QHostAddress::LocalHost), 0);
    return server.serverPort();
}

// A file descriptor closed when it goes out of scope.
class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    int Get() const { return m_fd; }

private:
    int m_fd;
};

// A loopback connection that will say nothing.
int ConnectSilently(quint16 port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd >= 0 &&
        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool RaiseFileLimit(rlim_t needed)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return false;
    if (limit.rlim_cur >= needed)
        return true;
    limit.rlim_cur = std::min(limit.rlim_max, std::max(needed, rlim_t(4096)));
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= needed;
}

// VmRSS of a process, in KiB; -1 if it cannot be read.
qint64 ResidentKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("\nVmRSS:\\s+(\\d+) kB"))
            .match(QString::fromLatin1(status.readAll()));
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}

// Writes head and then filler up to total bytes, until the peer refuses
// more (it dropped the connection); the bytes written. A peer that neither
// reads nor drops stops the writing after 30 seconds.
qint64 SendUntilRefused(int fd, const QByteArray& head, qint64 total)
{
    const timeval limit{30, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (::send(fd, head.constData(), size_t(head.size()), MSG_NOSIGNAL) != head.size())
        return 0;
    const QByteArray filler(64 * 1024, 'x');
    qint64 sent = head.size();
    while (sent < total) {
        const ssize_t written = ::send(fd, filler.constData(), size_t(filler.size()), MSG_NOSIGNAL);
        if (written <= 0)
            break;
        sent += written;
    }
    return sent;
}

} // namespace

class TestResponsiveness : public QObject
{
    Q_OBJECT

private:
    // The answer to a command, and how long it took.
    static QString Timed(ConsoleSession& session, const QString& command, qint64* elapsedMs)
    {
        QElapsedTimer timer;
        timer.start();
        const QString answer = session.Send(command);
        *elapsedMs = timer.elapsed();
        return answer;
    }

    // Asks for the finished jobs until count of them show word; each answer
    // must come at once.
    static bool WaitForFinished(ConsoleSession& session, const QString& word, int count)
    {
        for (int attempt = 0; attempt < 100; ++attempt) {
            qint64 elapsed = 0;
            const QString text = Timed(session, QStringLiteral("list finished jobs"), &elapsed);
            if (elapsed > QuickAnswerMs) {
                qWarning("\"list finished jobs\" took %lld ms", elapsed);
                return false;
            }
            if (text.count(QStringLiteral("  ") + word + QStringLiteral("  ")) >= count)
                return true;
            session.Pause(200);
        }
        return false;
    }

    static void Quit(ConsoleSession& session, const QString& saveAnswer)
    {
        session.Send(QStringLiteral("quit"), E2E::ExitQuestion);
        session.Write(QStringLiteral("yes"));
        if (!saveAnswer.isEmpty() &&
            session.WaitForText(QStringLiteral("Before Closing it?  "), E2E::DefaultWaitMs))
            session.Write(saveAnswer);
    }

private slots:
    // A client that connects and says nothing holds up neither the console
    // nor the requests behind it.
    void silentClientDoesNotDelayTheConsole()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("slow.gjf")), "#standin sleep=60\n");
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);

        QTcpSocket silent;
        silent.connectToHost(QHostAddress(QHostAddress::LocalHost), E2E::ConsolePort());
        QVERIFY(silent.waitForConnected(5000));
        QVERIFY(E2E::SendRequest(E2E::Submission(ClosedPort(), QStringLiteral("Gaussian"),
                                                 QStringLiteral("Long"), input,
                                                 QStringLiteral("Second"))));

        qint64 elapsed = 0;
        QVERIFY(Timed(*session, QStringLiteral("list long jobs"), &elapsed)
                    .startsWith(QStringLiteral("\nLong Jobs")));
        QVERIFY2(elapsed < QuickAnswerMs, qPrintable(QString::number(elapsed)));
        QCOMPARE(Timed(*session, QStringLiteral("list job types"), &elapsed).left(11),
                 QStringLiteral("\nJob Types\n"));
        QVERIFY2(elapsed < QuickAnswerMs, qPrintable(QString::number(elapsed)));

        // The add flow asks the main thread for the job type and adds the job.
        const QString quick = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(session->Send(QStringLiteral("add queueless job"),
                               QStringLiteral("\n<Tavrol> Enter Job Type:  ")),
                 QString());
        QCOMPARE(session->Send(QStringLiteral("Gaussian"),
                               QStringLiteral("\n<Tavrol> Enter Input File:  ")),
                 QString());
        QCOMPARE(session->Send(quick), QString());
        QVERIFY2(timer.elapsed() < 3 * QuickAnswerMs, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));

        QString longJobs;
        for (int attempt = 0; attempt < 100 && !longJobs.contains(QLatin1String("Second"));
             ++attempt) {
            session->Pause(100);
            longJobs = Timed(*session, QStringLiteral("list long jobs"), &elapsed);
            QVERIFY2(elapsed < QuickAnswerMs, qPrintable(QString::number(elapsed)));
        }
        QVERIFY2(longJobs.contains(QRegularExpression(QStringLiteral("\n1 +Second +Running "))),
                 qPrintable(longJobs));
        QCOMPARE(silent.state(), QAbstractSocket::ConnectedState);
        silent.disconnectFromHost();
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr));
    }

    // A thousand clients that connect and say nothing delay a real request
    // by no more than the time to take them in turn.
    void thousandSilentClientsDelayNobody()
    {
        constexpr int Crowd = 1000;
        QVERIFY(RaiseFileLimit(Crowd + 200));
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);
        Listener listener;
        std::vector<Descriptor> silent;
        for (int i = 0; i < Crowd; ++i) {
            silent.emplace_back(ConnectSilently(E2E::ConsolePort()));
            QVERIFY2(silent.back().Get() >= 0, qPrintable(QString::number(i)));
        }
        QElapsedTimer timer;
        timer.start();
        // Returns once the instance has taken the message and closed.
        QVERIFY(E2E::SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                                 QStringLiteral("Queueless"), input,
                                                 QStringLiteral("crowded"))));
        const qint64 taken = timer.elapsed();
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        const qint64 finished = timer.elapsed();
        qInfo("taken after %lld ms, finished after %lld ms", taken, finished);
        QVERIFY2(taken < QuickAnswerMs, qPrintable(QString::number(taken)));
        QVERIFY2(finished < QuickAnswerMs, qPrintable(QString::number(finished)));
        QVERIFY(listener.Messages().first().contains("\njobstatus=completed\n"));
        silent.clear();
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr));
    }

    // A 64 MiB message is dropped at the bound: the instance reads no more
    // of it, keeps none of it, and goes on serving.
    void hugeMessageIsRefusedWithoutGrowingMemory()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);
        Listener listener;
        const qint64 before = ResidentKiB(session->ProcessId());
        QVERIFY(before > 0);
        const Descriptor huge(ConnectSilently(E2E::ConsolePort()));
        QVERIFY(huge.Get() >= 0);
        const QByteArray head =
            E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                            QStringLiteral("Queueless"), input, QStringLiteral("huge")) +
            "\n@pad=";
        const qint64 total = 64LL * 1024 * 1024;
        const qint64 sent = SendUntilRefused(huge.Get(), head, total);
        QVERIFY2(sent < total, qPrintable(QString::number(sent)));
        const qint64 after = ResidentKiB(session->ProcessId());
        qInfo("resident %lld KiB before, %lld KiB after; %lld bytes taken before the drop", before,
              after, sent);
        QVERIFY2(after - before < 4 * 1024, qPrintable(QString::number(after - before)));
        QVERIFY(E2E::SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                                 QStringLiteral("Queueless"), input,
                                                 QStringLiteral("small"))));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
        const QString finished = session->Send(QStringLiteral("list finished jobs"));
        QVERIFY2(finished.contains(QLatin1String("small")) &&
                     !finished.contains(QLatin1String("huge")),
                 qPrintable(finished));
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr));
    }

    // Notifications to a client that never takes the connection, to a port
    // where nothing listens and to one that takes it and never reads leave
    // the console answering at once.
    void unansweredNotificationsDoNotDelayTheConsole()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);
        DeafListener deaf;
        QVERIFY(deaf.Port() != 0);
        QTcpServer neverReads;
        QVERIFY(neverReads.listen(QHostAddress(QHostAddress::LocalHost), 0));
        const quint16 ports[] = {deaf.Port(), ClosedPort(), neverReads.serverPort(), deaf.Port()};
        for (const quint16 port : ports) {
            QVERIFY(E2E::SendRequest(E2E::Submission(
                port, QStringLiteral("Gaussian"), QStringLiteral("Queueless"), input, QString())));
        }
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 4));
        qint64 elapsed = 0;
        QVERIFY(Timed(*session, QStringLiteral("list queueless jobs"), &elapsed)
                    .startsWith(QStringLiteral("\nQueueless Jobs List is Empty\n")));
        QVERIFY2(elapsed < QuickAnswerMs, qPrintable(QString::number(elapsed)));
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr, 60000));
    }

    // Every job tells its client once: no notification lost, none twice.
    void everyNotificationArrivesExactlyOnce()
    {
        Home home;
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);
        Listener listener;
        constexpr int JobCount = 24;
        QSet<QString> expected;
        for (int i = 0; i < JobCount; ++i) {
            const QString input = E2E::WriteFile(home.File(QStringLiteral("job%1.gjf").arg(i)),
                                                 QByteArray("#standin exit=0\n"));
            expected.insert(input);
            const QString queue = i % 3 == 0   ? QStringLiteral("Long")
                                  : i % 3 == 1 ? QStringLiteral("Short")
                                               : QStringLiteral("None");
            QVERIFY(E2E::SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                                     queue, input, QString())));
        }
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), JobCount, 60000);
        session->Pause(500); // a second copy would come now
        QCOMPARE(listener.Messages().size(), JobCount);
        QSet<QString> received;
        for (const QByteArray& message : listener.Messages()) {
            const QRegularExpressionMatch match =
                QRegularExpression(QStringLiteral("\njobinputfile=([^\n]*)\n"))
                    .match(QString::fromLocal8Bit(message));
            QVERIFY(match.hasMatch());
            QVERIFY(message.contains("\naction=jobfinished\njobstatus=completed\n"));
            received.insert(match.captured(1));
        }
        QCOMPARE(received, expected);
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr));
    }

    // A slow `ps` runs beside the main thread: while the console waits for
    // it, jobs still end and their clients are told.
    void slowProcessTableDoesNotHoldTheMainThread()
    {
        Home home;
        const QString bin = home.File(QStringLiteral("slow-ps"));
        QVERIFY(QDir().mkpath(bin));
        const QString marker = home.File(QStringLiteral("ps-started"));
        const QString realPs = QStandardPaths::findExecutable(QStringLiteral("ps"));
        QVERIFY(!realPs.isEmpty());
        // Only the reads made after the start are slow.
        const QString script = QStringLiteral("#!/bin/sh\nif [ -e '%1' ]; then sleep 8; fi\n"
                                              "exec '%2' \"$@\"\n")
                                   .arg(marker, realPs);
        QVERIFY(!E2E::WriteFile(bin + QStringLiteral("/ps"), script.toLocal8Bit()).isEmpty());
        QVERIFY(QFile::setPermissions(bin + QStringLiteral("/ps"),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        QProcessEnvironment environment = home.Environment(true);
        environment.insert(QStringLiteral("PATH"),
                           bin + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
        auto session = StartConsole(environment, home);
        QVERIFY(session);
        QVERIFY(!E2E::WriteFile(marker, "slow\n").isEmpty());

        const QString input = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        Listener listener;
        session->Write(QStringLiteral("list all running jobs"));
        QVERIFY(E2E::SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                                 QStringLiteral("Queueless"), input, QString())));
        QElapsedTimer timer;
        timer.start();
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        // The job ran and its client was told while `ps` was still asleep.
        QVERIFY2(timer.elapsed() < 6000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!session->Unread().contains(QLatin1String("Running Jobs")));
        const QString listing = session->WaitForEnding(E2E::Prompt, 30000);
        QVERIFY2(listing.startsWith(QStringLiteral("\nRunning Jobs\nUser ")), qPrintable(listing));
        QFile::remove(marker);
        Quit(*session, QStringLiteral("no"));
        QVERIFY(session->WaitForExit(nullptr));
    }

    // At exit the kill loop passes over every other running job; those go
    // with their view, and each takes its whole program along, children
    // first, so that nothing Tavrol started is left running.
    void exitLeavesNoProgramRunning()
    {
        Home home;
        const QString marker = QStringLiteral("%1").arg(3000 + (getpid() % 5000));
        auto session = StartConsole(home.Environment(true), home);
        QVERIFY(session);
        for (int i = 0; i < 4; ++i) {
            const QString input =
                E2E::WriteFile(home.File(QStringLiteral("run%1.gjf").arg(i)),
                               QStringLiteral("#standin sleep=%1\n").arg(marker).toLocal8Bit());
            QVERIFY(
                E2E::SendRequest(E2E::Submission(ClosedPort(), QStringLiteral("Gaussian"),
                                                 QStringLiteral("Queueless"), input, QString())));
        }
        const QString sleeping = QStringLiteral("sleep ") + marker;
        QTRY_COMPARE_WITH_TIMEOUT(ProcessesWith(sleeping).size(), 4, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(ProcessesWith(home.File(QStringLiteral("run"))).size(), 4, 20000);
        Quit(*session, QStringLiteral("no"));
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode, 60000));
        QCOMPARE(exitCode, 0);
        QTRY_COMPARE_WITH_TIMEOUT(ProcessesWith(sleeping), QStringList(), 10000);
        QCOMPARE(ProcessesWith(home.File(QStringLiteral("run"))), QStringList());
    }
};

QTEST_MAIN(TestResponsiveness)
#include "tst_responsiveness.moc"
