// Quolix_Process, the runner: starting a job's program, its end, and killing
// it.
#include "platform/process.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <vector>

namespace {

constexpr int StopWaitMs = 30000;
// The overflow group: what a user's job gets when no real group is known, so
// that a root instance never hands it group 0.
constexpr gid_t FallbackGroupID = 65534;

gid_t PrimaryGroupOf(uid_t uid)
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? std::size_t(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
        found->pw_gid > 0)
        return found->pw_gid;
    return FallbackGroupID;
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
    PrepareChildIdentity();
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

// A root instance runs a user's job as that user: supplementary groups and
// group go first, while there is still the right to change them, then the
// user. If any step fails the child ends before exec rather than run as root.
// Any other instance runs the child as itself.
void Quolix_Process::PrepareChildIdentity()
{
    if (geteuid() != 0 || m_UserID <= 0) {
        if (childProcessModifier())
            setChildProcessModifier([] {});
        return;
    }
    const uid_t userID = static_cast<uid_t>(m_UserID);
    const gid_t groupID = m_GroupID > 0 ? static_cast<gid_t>(m_GroupID) : PrimaryGroupOf(userID);
    setChildProcessModifier([userID, groupID] {
        if (setgroups(0, nullptr) != 0 || setgid(groupID) != 0 || setuid(userID) != 0)
            _exit(127);
    });
}
