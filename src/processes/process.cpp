#include "processes/process.h"

#include "platform/string.h"

#include <QProcess>
#include <QStringList>

#include <signal.h>

namespace {

Tavrol_Process::SignalFunction signalFunction = &::kill;

int DecimalOrMinusOne(const QString& text)
{
    if (text.isEmpty())
        return -1;
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    return ok ? value : -1;
}

constexpr int KillSignal = 9;

} // namespace

Tavrol_Process::Tavrol_Process(const QString& commName, const QString& commandLine,
                               const QString& startTime, const QString& elapsedTime,
                               const QString& appPath, const QString& state,
                               const QString& priority, const QString& niceValue,
                               const QString& appName, const QString& parentProcessID,
                               const QString& processGroupID, const QString& sessionID,
                               const QString& terminal, const QString& processID,
                               const QString& memoryUsage, const QString& cpuTime,
                               const QString& user, const QString& group, const QString& cpuUsage)
    : CommName(commName), CommandLine(commandLine), StartTime(startTime), ElapsedTime(elapsedTime),
      AppPath(appPath), State(state), Priority(priority), NiceValue(niceValue), AppName(appName),
      ParentProcessID(parentProcessID), ProcessGroupID(processGroupID), SessionID(sessionID),
      Terminal(terminal), ProcessID(processID), MemoryUsage(memoryUsage), CpuTime(cpuTime),
      User(user), Group(group), CpuUsage(cpuUsage)
{
}

bool Tavrol_Process::operator==(const Tavrol_Process& other) const
{
    return CommName == other.CommName && CommandLine == other.CommandLine &&
           StartTime == other.StartTime && ElapsedTime == other.ElapsedTime &&
           AppPath == other.AppPath && State == other.State && Priority == other.Priority &&
           NiceValue == other.NiceValue && AppName == other.AppName &&
           ParentProcessID == other.ParentProcessID && ProcessGroupID == other.ProcessGroupID &&
           SessionID == other.SessionID && Terminal == other.Terminal &&
           ProcessID == other.ProcessID && MemoryUsage == other.MemoryUsage &&
           CpuTime == other.CpuTime && User == other.User && Group == other.Group &&
           CpuUsage == other.CpuUsage;
}

int Tavrol_Process::ProcessIDValue() const
{
    return DecimalOrMinusOne(ProcessID);
}

int Tavrol_Process::ParentProcessIDValue() const
{
    return DecimalOrMinusOne(ParentProcessID);
}

int Tavrol_Process::ProcessGroupIDValue() const
{
    return DecimalOrMinusOne(ProcessGroupID);
}

QString Tavrol_Process::PsProgram()
{
    return QStringLiteral("ps");
}

QStringList Tavrol_Process::PsArguments()
{
    return {QStringLiteral("axo"),
            QStringLiteral("user,pid,ppid,pgid,comm,start,time,state,command")};
}

bool Tavrol_Process::ReadProcessTable(std::vector<Tavrol_Process>& rows)
{
    rows.clear();
    QProcess ps;
    ps.start(PsProgram(), PsArguments(), QIODevice::ReadWrite);
    ps.waitForFinished(PsTimeoutMs);
    rows = ParseProcessTable(ps.readAllStandardOutput());
    return true;
}

std::vector<Tavrol_Process> Tavrol_Process::ParseProcessTable(const QByteArray& psOutput)
{
    const QStringList lines =
        QString::fromLatin1(Quolix_String::UpToFirstZero(psOutput)).split(QLatin1Char('\n'));

    std::vector<Tavrol_Process> rows;
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            rows.push_back(ParseRow(trimmed));
    }
    return rows;
}

// Words are taken by position with no check of their number, and each of the
// first eight is then cut from the line at its first occurrence, wherever that
// is. Both are deliberate: a `comm` with a blank shifts the later words, and a
// cut may hit another column holding the same text.
Tavrol_Process Tavrol_Process::ParseRow(const QString& trimmedLine)
{
    const QStringList words = trimmedLine.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QString rest = trimmedLine;
    for (int i = 0; i < 8; ++i) {
        const QString word = words.value(i);
        const int at = rest.indexOf(word, 0, Qt::CaseSensitive);
        if (at >= 0) {
            rest.remove(at, word.size());
            rest = rest.trimmed();
        }
    }

    Tavrol_Process row;
    row.User = words.value(0);
    row.ProcessID = words.value(1);
    row.ParentProcessID = words.value(2);
    row.ProcessGroupID = words.value(3);
    row.CommName = words.value(4);
    row.AppName = words.value(4);
    row.StartTime = words.value(5);
    row.CpuTime = words.value(6);
    row.State = words.value(7);
    row.AppPath = words.value(8);
    row.CommandLine = rest.trimmed();
    return row;
}

std::vector<int> Tavrol_Process::ChildProcessIDs(const std::vector<Tavrol_Process>& rows, int pid)
{
    std::vector<int> children;
    for (const Tavrol_Process& row : rows) {
        const int childID = row.ProcessIDValue();
        if (!row.HasProcessID() || childID < 0)
            continue;
        if (row.ParentProcessIDValue() == pid)
            children.push_back(childID);
    }
    return children;
}

Tavrol_Process::SignalFunction Tavrol_Process::SetSignalFunction(SignalFunction function)
{
    const SignalFunction previous = signalFunction;
    signalFunction = function ? function : &::kill;
    return previous;
}

void Tavrol_Process::SendKill(int pid)
{
    signalFunction(static_cast<pid_t>(pid), KillSignal);
}

bool Tavrol_Process::KillProcess(int pid)
{
    if (pid < 0)
        return false;
    SendKill(pid);
    return true;
}

bool Tavrol_Process::KillProcessGroup(int pid)
{
    if (pid < 0)
        return false;
    SendKill(-pid);
    return true;
}

bool Tavrol_Process::KillChildProcesses(int pid)
{
    if (pid < 0)
        return false;
    std::vector<Tavrol_Process> rows;
    ReadProcessTable(rows);
    for (const int child : ChildProcessIDs(rows, pid))
        SendKill(child);
    return true;
}

bool Tavrol_Process::KillProcessAndChildProcesses(int pid)
{
    if (pid < 0)
        return false;
    KillChildProcesses(pid);
    SendKill(pid);
    return true;
}

bool Tavrol_Process::KillProcessAndParentProcess(int pid, int ppid)
{
    if (pid < 0 || ppid < 0)
        return false;
    SendKill(ppid);
    SendKill(pid);
    return true;
}

bool Tavrol_Process::KillProcessChildProcessesAndParentProcess(int pid, int ppid)
{
    if (pid < 0)
        return false;
    KillChildProcesses(pid);
    if (ppid < 0)
        return true;
    SendKill(ppid);
    SendKill(pid);
    return true;
}
