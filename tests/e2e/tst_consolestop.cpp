// The end of a console instance: through a pipe, closed or left open, and
// through a pseudo-terminal, the complete exit ends the process with status 0
// and nothing at all on its standard error, and no line typed ahead of the
// exit is taken up.

#include "consolesession.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using E2E::ConsoleSession;
using E2E::ExitQuestion;
using E2E::Home;
using E2E::Prompt;
using E2E::SaveUnnamedQuestion;

namespace {

// Without the chemistry programs there are no default job types, and the
// new project is unchanged; with them it is unsaved.
const QString NewGreeting = QStringLiteral("TavrolConsole 1.1.15, New Project\n\n<Tavrol> ");
const QString UnsavedGreeting =
    QStringLiteral("TavrolConsole 1.1.15, Unsaved Project\n\n<Tavrol> ");
const QString EnterJobType = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString EnterInputFile = QStringLiteral("\n<Tavrol> Enter Input File:  ");

// The real program on a pseudo-terminal: standard input and output are the
// terminal, standard error goes to a file of its own.
class TerminalSession
{
public:
    ~TerminalSession()
    {
        if (m_pid > 0 && !m_ended) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_master >= 0)
            close(m_master);
    }

    bool Start(const QProcessEnvironment& environment, const QString& directory,
               const QString& errorFile)
    {
        // Everything the child needs is made before the fork.
        const QByteArray program = QFile::encodeName(TestSupport::TavrolBinary());
        const QByteArray option("-console");
        const QByteArray workingDirectory = QFile::encodeName(directory);
        const QByteArray errorPath = QFile::encodeName(errorFile);
        std::vector<QByteArray> variables;
        for (const QString& entry : environment.toStringList())
            variables.push_back(entry.toLocal8Bit());
        std::vector<char*> envp;
        for (QByteArray& variable : variables)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        char* argv[] = {const_cast<char*>(program.constData()),
                        const_cast<char*>(option.constData()), nullptr};

        m_pid = forkpty(&m_master, nullptr, nullptr, nullptr);
        if (m_pid < 0)
            return false;
        if (m_pid == 0) {
            const int error = open(errorPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (error < 0 || dup2(error, STDERR_FILENO) < 0 || chdir(workingDirectory) != 0)
                _exit(127);
            close(error);
            execve(program.constData(), argv, envp.data());
            _exit(127);
        }
        return true;
    }

    bool WaitFor(const QByteArray& text, int timeoutMs = E2E::DefaultWaitMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!m_output.mid(m_taken).contains(text)) {
            if (deadline.hasExpired() || !ReadSome(deadline))
                return false;
        }
        m_taken = m_output.indexOf(text, m_taken) + text.size();
        return true;
    }

    bool Write(const QByteArray& bytes)
    {
        return write(m_master, bytes.constData(), size_t(bytes.size())) == bytes.size();
    }

    // Keeps reading the terminal, so that the child never blocks on it,
    // until the child has ended; false when it did not end in time.
    bool WaitForExit(int* status, int timeoutMs = E2E::DefaultWaitMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        for (;;) {
            const pid_t ended = waitpid(m_pid, status, WNOHANG);
            if (ended == m_pid) {
                m_ended = true;
                return true;
            }
            if (ended < 0 || deadline.hasExpired())
                return false;
            ReadSome(QDeadlineTimer(50));
        }
    }

    QByteArray Output() const { return m_output; }

private:
    bool ReadSome(const QDeadlineTimer& deadline)
    {
        pollfd master{m_master, POLLIN, 0};
        const int waited = poll(&master, 1, int(qMax<qint64>(1, deadline.remainingTime())));
        if (waited < 0 && errno != EINTR)
            return false;
        if (waited > 0) {
            char buffer[4096];
            const ssize_t count = read(m_master, buffer, sizeof buffer);
            if (count <= 0)
                return false; // the terminal is gone with the child
            m_output.append(buffer, int(count));
        }
        return true;
    }

    pid_t m_pid = -1;
    int m_master = -1;
    bool m_ended = false;
    QByteArray m_output;
    qsizetype m_taken = 0;
};

} // namespace

class TestConsoleStop : public QObject
{
    Q_OBJECT

private:
    static std::unique_ptr<ConsoleSession> Start(const Home& home, bool standIns = false)
    {
        auto session = std::make_unique<ConsoleSession>(home.Environment(standIns));
        if (!session->Start({QStringLiteral("-console")}, home.Path()))
            return nullptr;
        if (session->WaitForFirstPrompt() != (standIns ? UnsavedGreeting : NewGreeting))
            return nullptr;
        return session;
    }

private slots:
    // "quit" and "yes" arrive together and the input ends behind them.
    void pipedQuitWithTheInputClosed()
    {
        Home home;
        auto session = Start(home);
        QVERIFY(session);
        session->WriteRaw("quit\nyes\n");
        session->CloseInput();
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), ExitQuestion + QStringLiteral("\n"));
        QCOMPARE(session->ErrorOutput(), QString());
    }

    // The input stays open: the prompt waits in its read, commands come one
    // by one, and a later "exit" ends the instance while the input is open.
    void exitTypedLaterWithTheInputOpen()
    {
        Home home;
        auto session = Start(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
        session->Pause(300); // the worker sits in its read meanwhile
        QVERIFY(session->IsRunning());
        QCOMPARE(session->Send(QStringLiteral("exit"), ExitQuestion), QString());
        session->Write(QStringLiteral("yes"));
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), QStringLiteral("\n"));
        QCOMPARE(session->ErrorOutput(), QString());
    }

    // Lines typed ahead of the exit are left alone: the instance quits while
    // more input is waiting and the input is still open.
    void linesTypedAheadOfTheExitAreNotRead()
    {
        Home home;
        auto session = Start(home);
        QVERIFY(session);
        session->WriteRaw("quit\nyes\nlist long jobs\npwd\n");
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), ExitQuestion + QStringLiteral("\n"));
        QCOMPARE(session->ErrorOutput(), QString());
    }

    // A changed project: the main thread asks the save question and reads
    // the answer while the worker waits for it.
    void saveQuestionAnsweredThenTheExit()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        auto session = Start(home, true);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("add queueless job"), EnterJobType), QString());
        QCOMPARE(session->Send(QStringLiteral("Gaussian"), EnterInputFile), QString());
        QCOMPARE(session->Send(input), QString());
        QCOMPARE(session->Send(QStringLiteral("quit"), ExitQuestion), QString());
        session->Write(QStringLiteral("yes"));
        QCOMPARE(session->WaitForEnding(SaveUnnamedQuestion), QString());
        session->Write(QStringLiteral("no"));
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), QStringLiteral("\n"));
        QCOMPARE(session->ErrorOutput(), QString());
    }

    // On a terminal, as a user runs it.
    void pseudoTerminalQuit()
    {
        Home home;
        const QString errorFile = home.File(QStringLiteral("stderr.txt"));
        TerminalSession terminal;
        QVERIFY(terminal.Start(home.Environment(false), home.Path(), errorFile));
        QVERIFY2(terminal.WaitFor(Prompt.toLatin1()), terminal.Output().constData());
        QVERIFY(terminal.Write("list short jobs\n"));
        QVERIFY2(terminal.WaitFor("Short Jobs Queue is Empty"), terminal.Output().constData());
        QVERIFY(terminal.WaitFor(Prompt.toLatin1()));
        QVERIFY(terminal.Write("quit\n"));
        QVERIFY2(terminal.WaitFor("Are you sure you want to completely exit Tavrol?  "),
                 terminal.Output().constData());
        QVERIFY(terminal.Write("yes\n"));
        int status = -1;
        QVERIFY2(terminal.WaitForExit(&status), terminal.Output().constData());
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
        QFile error(errorFile);
        QVERIFY(error.open(QIODevice::ReadOnly));
        QCOMPARE(error.readAll(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestConsoleStop)
#include "tst_consolestop.moc"
