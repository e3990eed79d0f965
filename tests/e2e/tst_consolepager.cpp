// "show log" and "show output" on a terminal page through less, and the
// prompt comes back once less is left. The program runs on a pseudo
// terminal here, as it would in a user's terminal.

#include "consolesession.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QStandardPaths>
#include <QTest>

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using E2E::Home;

namespace {

// The program on the child side of a pseudo terminal.
class TerminalSession
{
public:
    bool Start(const QProcessEnvironment& environment, const QString& workingDirectory)
    {
        QList<QByteArray> variables;
        for (const QString& entry : environment.toStringList())
            variables << entry.toLocal8Bit();
        const QByteArray program = TestSupport::TavrolBinary().toLocal8Bit();
        const QByteArray directory = workingDirectory.toLocal8Bit();
        // Everything the child needs is made before the fork.
        std::vector<char*> envp;
        for (QByteArray& variable : variables)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        winsize size{24, 80, 0, 0};
        m_pid = forkpty(&m_master, nullptr, nullptr, &size);
        if (m_pid < 0)
            return false;
        if (m_pid == 0) {
            if (chdir(directory.constData()) != 0)
                _exit(127);
            char console[] = "-console";
            char* argv[] = {const_cast<char*>(program.constData()), console, nullptr};
            execve(program.constData(), argv, envp.data());
            _exit(127);
        }
        return true;
    }

    ~TerminalSession()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_master >= 0)
            close(m_master);
    }

    void Write(const QByteArray& bytes)
    {
        if (write(m_master, bytes.constData(), size_t(bytes.size())) != bytes.size())
            qWarning("short write to the terminal");
    }

    // Reads until the text has come after everything read before this call.
    bool WaitFor(const QByteArray& text, int timeoutMs = 20000)
    {
        const qsizetype from = m_output.size();
        QDeadlineTimer deadline(timeoutMs);
        while (m_output.indexOf(text, from) < 0) {
            if (deadline.hasExpired())
                return false;
            pollfd fd{m_master, POLLIN, 0};
            if (poll(&fd, 1, 50) <= 0)
                continue;
            char buffer[4096];
            const ssize_t count = read(m_master, buffer, sizeof buffer);
            if (count <= 0 && errno != EINTR && errno != EAGAIN)
                return false;
            if (count > 0)
                m_output.append(buffer, count);
        }
        return true;
    }

    QByteArray Output() const { return m_output; }

private:
    pid_t m_pid = -1;
    int m_master = -1;
    QByteArray m_output;
};

} // namespace

class TestConsolePager : public QObject
{
    Q_OBJECT

private slots:
    void showLogAndOutputPageThroughLess()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("less")).isEmpty())
            QSKIP("less is not installed");
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("paged.gjf")), "#standin print=PAGED TEXT\n");
        TerminalSession terminal;
        QVERIFY(terminal.Start(home.Environment(true), home.Path()));
        QVERIFY(terminal.WaitFor("<Tavrol> "));
        terminal.Write("add queueless job\n");
        QVERIFY(terminal.WaitFor("Enter Job Type:  "));
        terminal.Write("Gaussian\n");
        QVERIFY(terminal.WaitFor("Enter Input File:  "));
        terminal.Write(input.toLocal8Bit() + "\n");
        QVERIFY(terminal.WaitFor("<Tavrol> "));
        // The job ends at once; "show job" says so.
        bool completed = false;
        for (int attempt = 0; attempt < 100 && !completed; ++attempt) {
            terminal.Write("show job 1\n");
            QVERIFY(terminal.WaitFor("<Tavrol> "));
            completed = terminal.Output().endsWith("<Tavrol> ") &&
                        terminal.Output().right(600).contains("Status:        Completed");
            if (!completed)
                QTest::qWait(100);
        }
        QVERIFY(completed);

        terminal.Write("show log 1\n");
        QVERIFY2(terminal.WaitFor("(END)"), terminal.Output().right(400).constData());
        QVERIFY(terminal.Output().right(800).contains("PAGED TEXT"));
        terminal.Write("q");
        QVERIFY(terminal.WaitFor("<Tavrol> "));

        terminal.Write("show output 1\n");
        QVERIFY(terminal.WaitFor("(END)"));
        QVERIFY(terminal.Output().right(800).contains("g16 output"));
        terminal.Write("q");
        QVERIFY(terminal.WaitFor("<Tavrol> "));
    }
};

QTEST_GUILESS_MAIN(TestConsolePager)
#include "tst_consolepager.moc"
