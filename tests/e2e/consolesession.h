#pragma once

// Drives the real tavrol binary in a console run mode through a pipe: lines
// go to its standard input, and its standard output is collected so that a
// test can wait for a prompt and take the exact text printed before it.

#include "testsupport.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace E2E {

inline const QString Prompt = QStringLiteral("<Tavrol> ");
inline const QString ExitQuestion =
    QStringLiteral("\n<Tavrol> Are you sure you want to completely exit Tavrol?  ");
inline const QString SaveUnnamedQuestion =
    QStringLiteral("\n<Tavrol> Save Current Project to a File Before Closing it?  ");
constexpr int DefaultWaitMs = 20000;

// A private home for one run: settings, preferences and the recent projects
// of one test never reach another.
class Home
{
public:
    Home() { QDir(m_dir.path()).mkpath(QStringLiteral("prefs")); }
    QString Path() const { return m_dir.path(); }
    QString File(const QString& name) const { return m_dir.filePath(name); }

    // The test's own environment with this home, and the stand-in programs
    // as the installed chemistry programs when standIns is set.
    QProcessEnvironment Environment(bool standIns) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), Path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), File(QStringLiteral(".config")));
        environment.insert(QStringLiteral("XDG_STATE_HOME"), File(QStringLiteral(".local/state")));
        environment.insert(QStringLiteral("TAVROLPREFS_DIR"), File(QStringLiteral("prefs")));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("TERM"), QStringLiteral("xterm"));
        environment.remove(QStringLiteral("STANDIN_EXIT"));
        environment.remove(QStringLiteral("STANDIN_SLEEP"));
        environment.remove(QStringLiteral("STANDIN_CRASH"));
        if (standIns) {
            environment.insert(QStringLiteral("GAUSS_EXEDIR"),
                               TestSupport::FixturePath(QStringLiteral("gaussian/g16")));
            environment.insert(QStringLiteral("TAVROL_OMBRIX_EXE"),
                               TestSupport::FixturePath(QStringLiteral("ombrix/bin/ombrix")));
        } else {
            environment.insert(QStringLiteral("GAUSS_EXEDIR"), File(QStringLiteral("no-gaussian")));
            environment.insert(QStringLiteral("TAVROL_OMBRIX_EXE"),
                               File(QStringLiteral("no-ombrix/ombrix")));
        }
        return environment;
    }

private:
    QTemporaryDir m_dir;
};

class ConsoleSession
{
public:
    explicit ConsoleSession(const QProcessEnvironment& environment)
    {
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
    }
    ~ConsoleSession() { Kill(); }

    bool Start(const QStringList& arguments, const QString& workingDirectory = QString())
    {
        return StartProgram(TestSupport::TavrolBinary(), arguments, workingDirectory);
    }

    // Starts another program, one that runs tavrol in turn (as another user).
    bool StartProgram(const QString& program, const QStringList& arguments,
                      const QString& workingDirectory = QString())
    {
        if (!workingDirectory.isEmpty())
            m_process.setWorkingDirectory(workingDirectory);
        m_process.start(program, arguments);
        return m_process.waitForStarted(10000);
    }

    // Waits for the caption and the first prompt; returns all that came.
    QString WaitForFirstPrompt(int timeoutMs = DefaultWaitMs)
    {
        if (!WaitUntil([this] { return m_output.endsWith(Prompt); }, timeoutMs))
            return QString();
        return TakeNew();
    }

    // Sends one line and returns what was printed up to the text that ends
    // the answer (the next prompt by default), that text excluded. A null
    // string when it did not come in time.
    QString Send(const QString& line, const QString& until = Prompt, int timeoutMs = DefaultWaitMs)
    {
        Write(line);
        return WaitForEnding(until, timeoutMs);
    }

    void Write(const QString& line)
    {
        m_process.write((line + QLatin1Char('\n')).toLocal8Bit());
        m_process.waitForBytesWritten(5000);
    }

    void WriteRaw(const QByteArray& bytes)
    {
        m_process.write(bytes);
        m_process.waitForBytesWritten(5000);
    }

    QString WaitForEnding(const QString& ending, int timeoutMs = DefaultWaitMs)
    {
        if (!WaitUntil([this, &ending] { return m_output.mid(m_taken).endsWith(ending); },
                       timeoutMs))
            return QString();
        QString text = TakeNew();
        text.chop(ending.size());
        return text;
    }

    bool WaitForText(const QString& text, int timeoutMs = DefaultWaitMs)
    {
        return WaitUntil([this, &text] { return m_output.mid(m_taken).contains(text); }, timeoutMs);
    }

    // True when the process ended by itself within the time, with its status.
    bool WaitForExit(int* exitCode, int timeoutMs = DefaultWaitMs)
    {
        if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(timeoutMs))
            return false;
        ReadAvailable();
        if (exitCode)
            *exitCode = m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
        return true;
    }

    bool IsRunning() const { return m_process.state() != QProcess::NotRunning; }
    qint64 ProcessId() const { return m_process.processId(); }
    void CloseInput() { m_process.closeWriteChannel(); }
    QString Output() const { return m_output; }
    QString Unread()
    {
        ReadAvailable();
        return m_output.mid(m_taken);
    }
    QString ErrorOutput() { return QString::fromLocal8Bit(m_process.readAllStandardError()); }

    // Lets events pass for a while, collecting output, without waiting for any.
    void Pause(int milliseconds)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < milliseconds) {
            m_process.waitForReadyRead(50);
            ReadAvailable();
        }
    }

    void Kill()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.kill();
        m_process.waitForFinished(10000);
    }

private:
    template <typename Condition> bool WaitUntil(Condition condition, int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        ReadAvailable();
        while (!condition()) {
            if (deadline.hasExpired())
                return false;
            if (m_process.state() == QProcess::NotRunning) {
                ReadAvailable();
                return condition();
            }
            m_process.waitForReadyRead(50);
            ReadAvailable();
        }
        return true;
    }

    void ReadAvailable() { m_output += QString::fromLocal8Bit(m_process.readAllStandardOutput()); }

    QString TakeNew()
    {
        const QString text = m_output.mid(m_taken);
        m_taken = m_output.size();
        return text;
    }

    QProcess m_process;
    QString m_output;
    qsizetype m_taken = 0;
};

// Writes a text file and returns its path.
inline QString WriteFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.write(contents);
    return path;
}

// A console instance in the home's directory, at its first prompt; null when
// it did not get there.
inline std::unique_ptr<ConsoleSession> StartConsole(const QProcessEnvironment& environment,
                                                    const Home& home)
{
    auto session = std::make_unique<ConsoleSession>(environment);
    if (!session->Start({QStringLiteral("-console")}, home.Path()) ||
        session->WaitForFirstPrompt().isEmpty())
        return nullptr;
    return session;
}

inline std::unique_ptr<ConsoleSession> StartConsole(const Home& home)
{
    return StartConsole(home.Environment(true), home);
}

// A copy of an executable that every user may run.
inline bool CopyExecutable(const QString& from, const QString& to)
{
    return QFile::copy(from, to) &&
           QFile::setPermissions(to, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                         QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                                         QFileDevice::ExeGroup | QFileDevice::ReadOther |
                                         QFileDevice::ExeOther);
}

} // namespace E2E
