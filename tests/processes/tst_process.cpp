#include "processes/process.h"

#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

using TestSupport::IsAlive;

namespace {

// Every signal that the kill operations send while a recorder is installed;
// nothing is delivered.
std::vector<std::pair<pid_t, int>> recordedSignals;

int RecordSignal(pid_t pid, int signal)
{
    recordedSignals.emplace_back(pid, signal);
    return 0;
}

// Installs the recorder for one scope.
class SignalRecorder
{
public:
    SignalRecorder()
    {
        recordedSignals.clear();
        m_previous = Tavrol_Process::SetSignalFunction(&RecordSignal);
    }
    ~SignalRecorder() { Tavrol_Process::SetSignalFunction(m_previous); }
    SignalRecorder(const SignalRecorder&) = delete;
    SignalRecorder& operator=(const SignalRecorder&) = delete;

    static std::vector<pid_t> Pids()
    {
        std::vector<pid_t> pids;
        for (const auto& [pid, signal] : recordedSignals) {
            if (signal != 9)
                return {};
            pids.push_back(pid);
        }
        return pids;
    }

private:
    Tavrol_Process::SignalFunction m_previous = nullptr;
};

int ReadPidFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    bool ok = false;
    const int pid = file.readAll().trimmed().toInt(&ok);
    return ok && pid > 0 ? pid : -1;
}

void WriteScript(const QString& path, const QByteArray& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
    file.close();
    QVERIFY(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                QFileDevice::ExeOwner));
}

// A parent shell that starts two child shells and then waits on its standard
// input; each child starts a sleeping grandchild and waits for it. All ids are
// written to files.
class ProcessTree
{
public:
    bool Start()
    {
        if (!m_dir.isValid())
            return false;
        const QString child = m_dir.filePath(QStringLiteral("child.sh"));
        const QString parent = m_dir.filePath(QStringLiteral("parent.sh"));
        WriteScript(child, "#!/bin/sh\n"
                           "sleep 300 &\n"
                           "echo $! > \"$1.grandchild\"\n"
                           "echo $$ > \"$1.pid\"\n"
                           "wait\n");
        WriteScript(parent, "#!/bin/sh\n"
                            "dir=$(dirname \"$0\")\n"
                            "\"$dir/child.sh\" \"$dir/a\" &\n"
                            "\"$dir/child.sh\" \"$dir/b\" &\n"
                            "read -r line\n");
        m_parent.start(QStringLiteral("/bin/sh"), {parent});
        if (!m_parent.waitForStarted(30000))
            return false;
        const auto ready = [this] {
            return ChildA() > 0 && ChildB() > 0 && GrandchildA() > 0 && GrandchildB() > 0;
        };
        for (int i = 0; i < 300 && !ready(); ++i)
            QTest::qWait(100);
        return ready();
    }

    ~ProcessTree()
    {
        for (const int pid : {GrandchildA(), GrandchildB(), ChildA(), ChildB()}) {
            if (pid > 0 && IsAlive(pid))
                ::kill(pid, SIGKILL);
        }
        m_parent.kill();
        m_parent.waitForFinished(30000);
    }

    int Parent() const { return int(m_parent.processId()); }
    int ChildA() const { return ReadPidFile(m_dir.filePath(QStringLiteral("a.pid"))); }
    int ChildB() const { return ReadPidFile(m_dir.filePath(QStringLiteral("b.pid"))); }
    int GrandchildA() const { return ReadPidFile(m_dir.filePath(QStringLiteral("a.grandchild"))); }
    int GrandchildB() const { return ReadPidFile(m_dir.filePath(QStringLiteral("b.grandchild"))); }
    QProcess& ParentProcess() { return m_parent; }

private:
    QTemporaryDir m_dir;
    QProcess m_parent;
};

const QByteArray CapturedTable =
    "USER         PID    PPID    PGID COMMAND         STARTED     TIME S COMMAND\n"
    "root           1       0       0 init           13:12:43 00:00:03 S /sbin/init splash\n"
    "alice       4242       1    4242 bash           09:01:02 00:00:00 S -bash\n"
    "\n"
    "bob         5000    4242    5000 Web Content    10:11:12 00:01:30 R /usr/lib/web/app "
    "-contentproc 12\n"
    "carol       6001    4242    6001 run            Jan 02   00:00:00 S /opt/my tools/run -x\n";

} // namespace

class TestProcess : public QObject
{
    Q_OBJECT

private slots:
    void defaultRowIsEmpty();
    void constructorKeepsFieldOrder();
    void equalityComparesEveryField();
    void numericAccessors();
    void parserReadsHeadingRowLikeAnyRow();
    void parserFillsElevenFields();
    void parserKeepsFirstWordInCommandLine();
    void parserShiftsWordsAfterCommWithBlank();
    void parserCutsAppPathAtBlank();
    void parserRemovesFirstOccurrenceOfEachWord();
    void parserSkipsEmptyLinesAndStopsAtZeroByte();
    void parserReadsShortRowsWithoutCheck();
    void childIdsSkipRowsWithoutNumericId();
    void readProcessTableSeesThisProcess();
    void readProcessTableWithoutPsIsEmpty();
    void negativeIdsAreRefused();
    void killProcessGroupZeroAddressesOwnGroup();
    void killOrderIsChildrenParentProcess();
    void killProcessAndParentProcessNeedsBothIds();
    void killChildProcessesLeavesGrandchildren();
    void killProcessAndChildProcessesKillsBoth();
    void killChildrenAndParentWithoutParentLeavesProcess();
    void killProcessAndParentProcessKillsBoth();
    void killProcessGroupKillsWholeGroup();
    void killProcessKillsOneProcess();
};

void TestProcess::defaultRowIsEmpty()
{
    const Tavrol_Process row;
    QVERIFY(row.User.isEmpty());
    QVERIFY(row.CommandLine.isEmpty());
    QVERIFY(!row.HasProcessID());
    QCOMPARE(row.ProcessIDValue(), -1);
}

void TestProcess::constructorKeepsFieldOrder()
{
    QStringList values;
    for (int i = 1; i <= 19; ++i)
        values << QStringLiteral("v%1").arg(i);
    const Tavrol_Process row(values[0], values[1], values[2], values[3], values[4], values[5],
                             values[6], values[7], values[8], values[9], values[10], values[11],
                             values[12], values[13], values[14], values[15], values[16], values[17],
                             values[18]);
    const QStringList fields = {
        row.CommName,       row.CommandLine, row.StartTime, row.ElapsedTime, row.AppPath,
        row.State,          row.Priority,    row.NiceValue, row.AppName,     row.ParentProcessID,
        row.ProcessGroupID, row.SessionID,   row.Terminal,  row.ProcessID,   row.MemoryUsage,
        row.CpuTime,        row.User,        row.Group,     row.CpuUsage};
    QCOMPARE(fields, values);
}

void TestProcess::equalityComparesEveryField()
{
    QStringList values;
    for (int i = 1; i <= 19; ++i)
        values << QStringLiteral("v%1").arg(i);
    const auto make = [&values] {
        return Tavrol_Process(values[0], values[1], values[2], values[3], values[4], values[5],
                              values[6], values[7], values[8], values[9], values[10], values[11],
                              values[12], values[13], values[14], values[15], values[16],
                              values[17], values[18]);
    };
    const Tavrol_Process reference = make();
    QVERIFY(reference == make());
    QVERIFY(!(reference != make()));
    for (int i = 0; i < 19; ++i) {
        const QString kept = values[i];
        values[i] += QLatin1Char('x');
        QVERIFY2(reference != make(), qPrintable(QStringLiteral("field %1").arg(i + 1)));
        values[i] = kept;
    }
}

void TestProcess::numericAccessors()
{
    Tavrol_Process row;
    row.ProcessID = QStringLiteral("123");
    row.ParentProcessID = QStringLiteral("PPID");
    row.ProcessGroupID = QString();
    QCOMPARE(row.ProcessIDValue(), 123);
    QCOMPARE(row.ParentProcessIDValue(), -1);
    QCOMPARE(row.ProcessGroupIDValue(), -1);
    QVERIFY(row.HasProcessID());
    row.ProcessID = QStringLiteral("0x10");
    QCOMPARE(row.ProcessIDValue(), -1);
    QVERIFY(row.HasProcessID());
}

void TestProcess::parserReadsHeadingRowLikeAnyRow()
{
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(CapturedTable);
    QCOMPARE(rows.size(), std::size_t(5));
    const Tavrol_Process& heading = rows.at(0);
    QCOMPARE(heading.User, QStringLiteral("USER"));
    QCOMPARE(heading.ProcessID, QStringLiteral("PID"));
    QCOMPARE(heading.ProcessIDValue(), -1);
    QCOMPARE(heading.ParentProcessIDValue(), -1);
    QCOMPARE(heading.CommName, QStringLiteral("COMMAND"));
    QCOMPARE(heading.StartTime, QStringLiteral("STARTED"));
    QCOMPARE(heading.State, QStringLiteral("S"));
    QCOMPARE(heading.AppPath, QStringLiteral("COMMAND"));
    QCOMPARE(heading.CommandLine, QStringLiteral("COMMAND"));
}

void TestProcess::parserFillsElevenFields()
{
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(CapturedTable);
    const Tavrol_Process expected(
        QStringLiteral("init"), QStringLiteral("/sbin/init splash"), QStringLiteral("13:12:43"),
        QString(), QStringLiteral("/sbin/init"), QStringLiteral("S"), QString(), QString(),
        QStringLiteral("init"), QStringLiteral("0"), QStringLiteral("0"), QString(), QString(),
        QStringLiteral("1"), QString(), QStringLiteral("00:00:03"), QStringLiteral("root"),
        QString(), QString());
    QCOMPARE(rows.at(1), expected);
    QCOMPARE(rows.at(1).ProcessIDValue(), 1);
    QCOMPARE(rows.at(1).ParentProcessIDValue(), 0);
    QCOMPARE(rows.at(1).ProcessGroupIDValue(), 0);
}

void TestProcess::parserKeepsFirstWordInCommandLine()
{
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(CapturedTable);
    const Tavrol_Process& bash = rows.at(2);
    QCOMPARE(bash.AppPath, QStringLiteral("-bash"));
    QCOMPARE(bash.CommandLine, QStringLiteral("-bash"));
    QCOMPARE(bash.ProcessGroupID, QStringLiteral("4242"));
}

void TestProcess::parserShiftsWordsAfterCommWithBlank()
{
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(CapturedTable);
    const Tavrol_Process& web = rows.at(3);
    QCOMPARE(web.CommName, QStringLiteral("Web"));
    QCOMPARE(web.AppName, QStringLiteral("Web"));
    QCOMPARE(web.StartTime, QStringLiteral("Content"));
    QCOMPARE(web.CpuTime, QStringLiteral("10:11:12"));
    QCOMPARE(web.State, QStringLiteral("00:01:30"));
    QCOMPARE(web.AppPath, QStringLiteral("R"));
    QCOMPARE(web.CommandLine, QStringLiteral("R /usr/lib/web/app -contentproc 12"));
}

void TestProcess::parserCutsAppPathAtBlank()
{
    // A start time of two words ("Jan 02") shifts too, so the path's first
    // half lands in the command line with the state letter.
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(CapturedTable);
    const Tavrol_Process& run = rows.at(4);
    QCOMPARE(run.StartTime, QStringLiteral("Jan"));
    QCOMPARE(run.CpuTime, QStringLiteral("02"));
    QCOMPARE(run.State, QStringLiteral("00:00:00"));
    QCOMPARE(run.AppPath, QStringLiteral("S"));
    QCOMPARE(run.CommandLine, QStringLiteral("S /opt/my tools/run -x"));

    const std::vector<Tavrol_Process> plain = Tavrol_Process::ParseProcessTable(
        "dave 7 1 7 run 10:00:00 00:00:00 S /opt/my tools/run -x");
    QCOMPARE(plain.at(0).AppPath, QStringLiteral("/opt/my"));
    QCOMPARE(plain.at(0).CommandLine, QStringLiteral("/opt/my tools/run -x"));
}

void TestProcess::parserRemovesFirstOccurrenceOfEachWord()
{
    // Each word is cut at its first occurrence; the blanks inside the
    // command are kept as they were.
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(
        "  S   77   1   77 sh   10:00:00 00:00:00 S   sh  -c  'echo S'  ");
    QCOMPARE(rows.size(), std::size_t(1));
    QCOMPARE(rows.at(0).User, QStringLiteral("S"));
    QCOMPARE(rows.at(0).State, QStringLiteral("S"));
    QCOMPARE(rows.at(0).AppPath, QStringLiteral("sh"));
    QCOMPARE(rows.at(0).CommandLine, QStringLiteral("sh  -c  'echo S'"));

    // Words are split at blanks only, but the line is trimmed of any white
    // space: a word that begins with a tab is then first found in the
    // command, and is cut there rather than in its own column, and the next
    // words are cut wherever they first turn up.
    const std::vector<Tavrol_Process> odd =
        Tavrol_Process::ParseProcessTable("u \t7 1 7 c t5 t6 S prog --x\t7");
    QCOMPARE(odd.at(0).ProcessID, QStringLiteral("\t7"));
    QCOMPARE(odd.at(0).AppPath, QStringLiteral("prog"));
    QCOMPARE(odd.at(0).CommandLine, QStringLiteral("7     prog --x"));
}

void TestProcess::parserSkipsEmptyLinesAndStopsAtZeroByte()
{
    QByteArray text = "\n   \nu 9 1 9 a 1 2 S /a\n";
    text.append('\0');
    text.append("u 10 1 10 b 1 2 S /b\n");
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable(text);
    QCOMPARE(rows.size(), std::size_t(1));
    QCOMPARE(rows.at(0).ProcessID, QStringLiteral("9"));
    QVERIFY(Tavrol_Process::ParseProcessTable(QByteArray()).empty());
}

void TestProcess::parserReadsShortRowsWithoutCheck()
{
    const std::vector<Tavrol_Process> rows = Tavrol_Process::ParseProcessTable("only three words");
    QCOMPARE(rows.size(), std::size_t(1));
    QCOMPARE(rows.at(0).User, QStringLiteral("only"));
    QCOMPARE(rows.at(0).ProcessID, QStringLiteral("three"));
    QCOMPARE(rows.at(0).ParentProcessID, QStringLiteral("words"));
    QVERIFY(rows.at(0).AppPath.isEmpty());
    QVERIFY(rows.at(0).CommandLine.isEmpty());
}

void TestProcess::childIdsSkipRowsWithoutNumericId()
{
    const std::vector<Tavrol_Process> rows =
        Tavrol_Process::ParseProcessTable("USER PID PPID PGID COMMAND STARTED TIME S COMMAND\n"
                                          "u 100 77 100 a 1 2 S /a\n"
                                          "u abc 77 100 b 1 2 S /b\n"
                                          "u -5 77 100 c 1 2 S /c\n"
                                          "u 101 78 100 d 1 2 S /d\n"
                                          "u 102 77 100 e 1 2 S /e\n");
    QCOMPARE(Tavrol_Process::ChildProcessIDs(rows, 77), (std::vector<int>{100, 102}));
    // The heading row's parent id is -1 but its own id is no number, so even
    // a search for the children of -1 passes it by.
    QVERIFY(Tavrol_Process::ChildProcessIDs(rows, -1).empty());
}

void TestProcess::readProcessTableSeesThisProcess()
{
    std::vector<Tavrol_Process> rows(3);
    QVERIFY(Tavrol_Process::ReadProcessTable(rows));
    QVERIFY(rows.size() > 2);
    QCOMPARE(rows.at(0).User, QStringLiteral("USER"));
    QCOMPARE(rows.at(0).ProcessIDValue(), -1);

    QProcess sleeper;
    sleeper.start(QStringLiteral("sleep"), {QStringLiteral("300")});
    QVERIFY(sleeper.waitForStarted(30000));
    const int sleeperID = int(sleeper.processId());
    QVERIFY(Tavrol_Process::ReadProcessTable(rows));
    bool foundSelf = false;
    bool foundSleeper = false;
    for (const Tavrol_Process& row : rows) {
        if (row.ProcessIDValue() == int(getpid())) {
            foundSelf = true;
            QCOMPARE(row.ParentProcessIDValue(), int(getppid()));
            QCOMPARE(row.ProcessGroupIDValue(), int(getpgrp()));
        }
        if (row.ProcessIDValue() == sleeperID) {
            foundSleeper = true;
            QCOMPARE(row.CommName, QStringLiteral("sleep"));
            QCOMPARE(row.ParentProcessIDValue(), int(getpid()));
            QVERIFY(row.AppPath.endsWith(QLatin1String("sleep")));
            QCOMPARE(row.CommandLine, row.AppPath + QLatin1String(" 300"));
            QVERIFY(!row.State.isEmpty());
            QVERIFY(row.ElapsedTime.isEmpty() && row.Group.isEmpty());
        }
    }
    QVERIFY(foundSelf);
    QVERIFY(foundSleeper);
    sleeper.kill();
    sleeper.waitForFinished(30000);
}

void TestProcess::readProcessTableWithoutPsIsEmpty()
{
    QTemporaryDir emptyDir;
    QVERIFY(emptyDir.isValid());
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", emptyDir.path().toLocal8Bit());
    std::vector<Tavrol_Process> rows(2);
    const bool read = Tavrol_Process::ReadProcessTable(rows);
    bool killed = false;
    {
        SignalRecorder recorder;
        killed = Tavrol_Process::KillChildProcesses(int(getpid()));
        QVERIFY(recordedSignals.empty());
    }
    qputenv("PATH", path);
    QVERIFY(read);
    QVERIFY(rows.empty());
    QVERIFY(killed);
}

void TestProcess::negativeIdsAreRefused()
{
    SignalRecorder recorder;
    QVERIFY(!Tavrol_Process::KillProcess(-1));
    QVERIFY(!Tavrol_Process::KillProcessGroup(-1));
    QVERIFY(!Tavrol_Process::KillChildProcesses(-1));
    QVERIFY(!Tavrol_Process::KillProcessAndChildProcesses(-1));
    QVERIFY(!Tavrol_Process::KillProcessAndParentProcess(-1, 5));
    QVERIFY(!Tavrol_Process::KillProcessAndParentProcess(5, -1));
    QVERIFY(!Tavrol_Process::KillProcessChildProcessesAndParentProcess(-1, 5));
    QVERIFY(recordedSignals.empty());

    QVERIFY(Tavrol_Process::KillProcess(0));
    QVERIFY(Tavrol_Process::KillProcessGroup(42));
    QCOMPARE(SignalRecorder::Pids(), (std::vector<pid_t>{0, -42}));
}

void TestProcess::killProcessGroupZeroAddressesOwnGroup()
{
    {
        SignalRecorder recorder;
        QVERIFY(Tavrol_Process::KillProcessGroup(0));
        QCOMPARE(SignalRecorder::Pids(), (std::vector<pid_t>{0}));
    }
    // For real, in a child of its own group: it kills itself with signal 9.
    const pid_t child = fork();
    QVERIFY(child >= 0);
    if (child == 0) {
        setpgid(0, 0);
        Tavrol_Process::KillProcessGroup(0);
        _exit(0);
    }
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), 9);
}

void TestProcess::killOrderIsChildrenParentProcess()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    const int parent = tree.Parent();
    const std::vector<pid_t> children = {tree.ChildA(), tree.ChildB()};
    const auto sorted = [](std::vector<pid_t> pids, std::size_t from) {
        std::sort(pids.begin() + long(from), pids.end());
        return pids;
    };
    {
        SignalRecorder recorder;
        QVERIFY(Tavrol_Process::KillChildProcesses(parent));
        QCOMPARE(sorted(SignalRecorder::Pids(), 0), sorted(children, 0));
    }
    {
        SignalRecorder recorder;
        QVERIFY(Tavrol_Process::KillProcessAndChildProcesses(parent));
        std::vector<pid_t> pids = SignalRecorder::Pids();
        QCOMPARE(pids.size(), std::size_t(3));
        QCOMPARE(pids.back(), parent);
        pids.pop_back();
        QCOMPARE(sorted(pids, 0), sorted(children, 0));
    }
    {
        SignalRecorder recorder;
        QVERIFY(Tavrol_Process::KillProcessChildProcessesAndParentProcess(parent, 4242));
        std::vector<pid_t> pids = SignalRecorder::Pids();
        QCOMPARE(pids.size(), std::size_t(4));
        QCOMPARE(pids.at(2), pid_t(4242));
        QCOMPARE(pids.at(3), parent);
        pids.resize(2);
        QCOMPARE(sorted(pids, 0), sorted(children, 0));
    }
    {
        SignalRecorder recorder;
        QVERIFY(Tavrol_Process::KillProcessAndParentProcess(5, 7));
        QCOMPARE(SignalRecorder::Pids(), (std::vector<pid_t>{7, 5}));
    }
}

void TestProcess::killProcessAndParentProcessNeedsBothIds()
{
    SignalRecorder recorder;
    QVERIFY(!Tavrol_Process::KillProcessAndParentProcess(5, -1));
    QVERIFY(recordedSignals.empty());
}

void TestProcess::killChildProcessesLeavesGrandchildren()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    QVERIFY(Tavrol_Process::KillChildProcesses(tree.Parent()));
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(tree.ChildA()) && !IsAlive(tree.ChildB()), 30000);
    QVERIFY(IsAlive(tree.GrandchildA()));
    QVERIFY(IsAlive(tree.GrandchildB()));
    QVERIFY(IsAlive(tree.Parent()));
}

void TestProcess::killProcessAndChildProcessesKillsBoth()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    QVERIFY(Tavrol_Process::KillProcessAndChildProcesses(tree.Parent()));
    QVERIFY(tree.ParentProcess().waitForFinished(30000));
    QCOMPARE(tree.ParentProcess().exitStatus(), QProcess::CrashExit);
    QCOMPARE(tree.ParentProcess().exitCode(), 9);
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(tree.ChildA()) && !IsAlive(tree.ChildB()), 30000);
    QVERIFY(IsAlive(tree.GrandchildA()));
}

void TestProcess::killChildrenAndParentWithoutParentLeavesProcess()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    QVERIFY(Tavrol_Process::KillProcessChildProcessesAndParentProcess(tree.Parent(), -1));
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(tree.ChildA()) && !IsAlive(tree.ChildB()), 30000);
    QVERIFY(IsAlive(tree.Parent()));
    QCOMPARE(tree.ParentProcess().state(), QProcess::Running);
}

void TestProcess::killProcessAndParentProcessKillsBoth()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    const int child = tree.ChildA();
    QVERIFY(Tavrol_Process::KillProcessAndParentProcess(child, tree.Parent()));
    QVERIFY(tree.ParentProcess().waitForFinished(30000));
    QCOMPARE(tree.ParentProcess().exitCode(), 9);
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(child), 30000);
    QVERIFY(IsAlive(tree.ChildB()));
}

void TestProcess::killProcessGroupKillsWholeGroup()
{
    ProcessTree tree;
    QProcess& parent = tree.ParentProcess();
    parent.setChildProcessModifier([] { setpgid(0, 0); });
    QVERIFY(tree.Start());
    QCOMPARE(int(getpgid(tree.Parent())), tree.Parent());
    QVERIFY(Tavrol_Process::KillProcessGroup(tree.Parent()));
    QVERIFY(parent.waitForFinished(30000));
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(tree.ChildA()) && !IsAlive(tree.ChildB()) &&
                                 !IsAlive(tree.GrandchildA()) && !IsAlive(tree.GrandchildB()),
                             30000);
}

void TestProcess::killProcessKillsOneProcess()
{
    ProcessTree tree;
    QVERIFY(tree.Start());
    QVERIFY(Tavrol_Process::KillProcess(tree.ChildA()));
    QTRY_VERIFY_WITH_TIMEOUT(!IsAlive(tree.ChildA()), 30000);
    QVERIFY(IsAlive(tree.GrandchildA()));
    QVERIFY(IsAlive(tree.ChildB()));
    QVERIFY(IsAlive(tree.Parent()));
}

QTEST_GUILESS_MAIN(TestProcess)
#include "tst_process.moc"
