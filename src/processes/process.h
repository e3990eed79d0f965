#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <vector>

// One row of the operating system's process list, as `ps` prints it. Numbers
// stay text; the *Value() accessors read them. The static operations read the
// whole table and send signal 9 by process, group, children and parent.
class Tavrol_Process
{
public:
    Tavrol_Process() = default;
    Tavrol_Process(const QString& commName, const QString& commandLine, const QString& startTime,
                   const QString& elapsedTime, const QString& appPath, const QString& state,
                   const QString& priority, const QString& niceValue, const QString& appName,
                   const QString& parentProcessID, const QString& processGroupID,
                   const QString& sessionID, const QString& terminal, const QString& processID,
                   const QString& memoryUsage, const QString& cpuTime, const QString& user,
                   const QString& group, const QString& cpuUsage);

    bool operator==(const Tavrol_Process& other) const;
    bool operator!=(const Tavrol_Process& other) const { return !(*this == other); }

    // -1 when the text is empty or not a decimal integer.
    int ProcessIDValue() const;
    int ParentProcessIDValue() const;
    int ProcessGroupIDValue() const;
    bool HasProcessID() const { return !ProcessID.isEmpty(); }

    // The command that prints the process table, and the longest wait for it.
    static QString PsProgram();
    static QStringList PsArguments();
    static constexpr int PsTimeoutMs = 30000;

    // Runs `ps` (waiting at most 30 seconds) and parses what it printed.
    // Always true; without `ps` the list is empty.
    static bool ReadProcessTable(std::vector<Tavrol_Process>& rows);
    // The parser alone: the heading row is read like any other row.
    static std::vector<Tavrol_Process> ParseProcessTable(const QByteArray& psOutput);

    // Signal 9 in every case. A negative id is refused (false, nothing sent);
    // otherwise true, whatever kill() answered.
    static bool KillProcess(int pid);
    static bool KillProcessGroup(int pid);
    static bool KillChildProcesses(int pid);
    static bool KillProcessAndChildProcesses(int pid);
    static bool KillProcessAndParentProcess(int pid, int ppid);
    static bool KillProcessChildProcessesAndParentProcess(int pid, int ppid);

    // The direct children of pid in rows, in row order; rows whose process id
    // is not a number of 0 or more are left out.
    static std::vector<int> ChildProcessIDs(const std::vector<Tavrol_Process>& rows, int pid);

    // Every signal goes through this function, kill() by default. Tests put a
    // recorder here to see which ids are signalled, and in which order.
    using SignalFunction = int (*)(pid_t pid, int signal);
    static SignalFunction SetSignalFunction(SignalFunction function);

    QString CommName;        // `comm`, word 5
    QString CommandLine;     // what is left of the row once words 1 to 8 are taken out
    QString StartTime;       // `start`, word 6
    QString ElapsedTime;     // not read from `ps`
    QString AppPath;         // word 9, the command's first word
    QString State;           // `state`, word 8
    QString Priority;        // not read from `ps`
    QString NiceValue;       // not read from `ps`
    QString AppName;         // `comm`, word 5
    QString ParentProcessID; // `ppid`, word 3
    QString ProcessGroupID;  // `pgid`, word 4
    QString SessionID;       // not read from `ps`
    QString Terminal;        // not read from `ps`
    QString ProcessID;       // `pid`, word 2
    QString MemoryUsage;     // not read from `ps`
    QString CpuTime;         // `time`, word 7
    QString User;            // `user`, word 1
    QString Group;           // not read from `ps`
    QString CpuUsage;        // not read from `ps`

private:
    static Tavrol_Process ParseRow(const QString& trimmedLine);
    static void SendKill(int pid);
};
