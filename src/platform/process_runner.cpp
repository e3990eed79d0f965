// Quolix_Process, the runner: starting a job's program, its end, and killing
// it.
#include "platform/process.h"

#include "platform/useridentity.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int StopWaitMs = 30000;
// What a child that cannot set itself up ends with: the code QProcess gives
// a program that cannot be executed.
constexpr int SetupFailedExitCode = 255;

// Runs in the forked child, so it may only make async-signal-safe calls:
// every text is prepared by the parent.
class ChildSetup
{
public:
    ChildSetup(Quolix_UserIdentity identity, const QString& workingDirectory,
               const QString& inputFile, const QString& outputFile)
        : m_identity(std::move(identity)), m_workingDirectory(QFile::encodeName(workingDirectory)),
          m_inputFile(QFile::encodeName(inputFile)), m_outputFile(QFile::encodeName(outputFile))
    {
    }

    void operator()() const
    {
        if (!m_identity.TakeOnInChild())
            Fail("cannot take on user ", QByteArray::number(m_identity.UserID()));
        // Entered again with the user's own rights.
        if (!m_workingDirectory.isEmpty() && ::chdir(m_workingDirectory.constData()) != 0)
            Fail("cannot enter the working directory ", m_workingDirectory);
        if (!m_inputFile.isEmpty() && !OpenOnto(m_inputFile, O_RDONLY, STDIN_FILENO))
            Fail("cannot open the standard input file ", m_inputFile);
        if (!m_outputFile.isEmpty()) {
            if (!OpenOnto(m_outputFile, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO))
                Fail("cannot open the standard output file ", m_outputFile);
            // Standard error follows standard output, as merged channels do.
            ::dup2(STDOUT_FILENO, STDERR_FILENO);
        }
    }

private:
    static bool OpenOnto(const QByteArray& path, int flags, int target)
    {
        const int fd = ::open(path.constData(), flags | O_CLOEXEC, 0666);
        if (fd < 0)
            return false;
        const bool moved = ::dup2(fd, target) == target;
        ::close(fd);
        return moved;
    }

    // Says why on standard error, which the job captures, and ends the child.
    [[noreturn]] static void Fail(const char* what, const QByteArray& subject)
    {
        const int error = errno;
        Write("tavrol: ");
        Write(what);
        Write(subject.constData());
        Write(": ");
        Write(ErrorText(error));
        Write("\n");
        _exit(SetupFailedExitCode);
    }

    static void Write(const char* text)
    {
        const ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
        (void)ignored;
    }

    // strerror is not async-signal-safe; these are the errors a user meets.
    static const char* ErrorText(int error)
    {
        switch (error) {
        case EACCES:
            return "Permission denied";
        case ENOENT:
            return "No such file or directory";
        case ENOTDIR:
            return "Not a directory";
        case EISDIR:
            return "Is a directory";
        case EPERM:
            return "Operation not permitted";
        case EROFS:
            return "Read-only file system";
        case ELOOP:
            return "Too many levels of symbolic links";
        case ENOSPC:
            return "No space left on device";
        default:
            return "Input/output error";
        }
    }

    Quolix_UserIdentity m_identity;
    QByteArray m_workingDirectory;
    QByteArray m_inputFile;
    QByteArray m_outputFile;
};

// A relative file name means the same as it would to QProcess, which opens
// its standard files before the child enters its working directory.
QString Absolute(const QString& path)
{
    return path.isEmpty() ? path : QDir::current().absoluteFilePath(path);
}

} // namespace

Quolix_Process::RunnerGuard::~RunnerGuard()
{
    for (const QMetaObject::Connection& connection : m_connections)
        QObject::disconnect(connection);
    if (m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished(StopWaitMs);
    }
}

bool Quolix_Process::Start(BlockEnum block)
{
    if (state() != QProcess::NotRunning)
        return false;
    ConnectRunner();
    ++m_runNumber;
    m_finishedSignalled = false;
    WasKilled = false;
    setProcessChannelMode(QProcess::MergedChannels);
    PrepareChild();
    start(m_ProgramPath, m_Arguments, QIODevice::ReadWrite);
    const bool failedAtOnce = state() == QProcess::NotRunning;
    // Nobody writes to a job's program: without a standard input file it
    // reads end of file at once rather than wait for ever.
    if (!failedAtOnce)
        closeWriteChannel();
    if (block == Blocking && !failedAtOnce)
        waitForFinished(-1);
    return !failedAtOnce;
}

int Quolix_Process::ProcessID() const
{
    return static_cast<int>(processId());
}

// Only marks the run and sends the signal: the end itself arrives later from
// the event loop, never from in here.
void Quolix_Process::KillSlot()
{
    WasKilled = true;
    if (state() != QProcess::NotRunning)
        kill();
}

void Quolix_Process::EmitFinishedLater(bool normalExit)
{
    if (m_finishedSignalled)
        return;
    m_finishedSignalled = true;
    const quint64 run = m_runNumber;
    QMetaObject::invokeMethod(
        this,
        [this, run, normalExit] {
            // The receiver may delete this runner: nothing may follow the emit.
            if (run == m_runNumber)
                emit FinishedSignal(normalExit);
        },
        Qt::QueuedConnection);
}

void Quolix_Process::ConnectRunner()
{
    if (!m_runnerGuard.m_connections.empty())
        return;
    m_runnerGuard.m_connections.push_back(
        connect(this, &QProcess::finished, this, [this](int, QProcess::ExitStatus status) {
            EmitFinishedLater(status == QProcess::NormalExit);
        }));
    // A program that cannot start gets no finished(); this is its only end.
    m_runnerGuard.m_connections.push_back(
        connect(this, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                EmitFinishedLater(false);
        }));
}

void Quolix_Process::SetInputFile(const QString& path)
{
    m_inputFile = path;
}

void Quolix_Process::SetOutputFile(const QString& path)
{
    m_outputFile = path;
}

// A root instance runs a user's job as that user, files and all; any other
// instance runs the child as itself, its files opened by QProcess.
void Quolix_Process::PrepareChild()
{
    const Quolix_UserIdentity identity = Quolix_UserIdentity::ForJob(m_UserID, m_GroupID);
    if (!identity.ChangesUser()) {
        if (childProcessModifier())
            setChildProcessModifier([] {});
        if (!m_inputFile.isEmpty())
            setStandardInputFile(m_inputFile);
        if (!m_outputFile.isEmpty())
            setStandardOutputFile(m_outputFile, QIODevice::Truncate);
        return;
    }
    setStandardInputFile(QString());
    setStandardOutputFile(QString());
    setChildProcessModifier(
        ChildSetup(identity, workingDirectory(), Absolute(m_inputFile), Absolute(m_outputFile)));
}
