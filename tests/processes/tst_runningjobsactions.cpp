#include "../views/queuetesthelpers.h"
#include "modaldriver.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "jobs/jobsqueue.h"
#include "platform/error.h"
#include "platform/process.h"
#include "processes/runningjobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCheckBox>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <set>

using namespace QueueTest;
using namespace TableTest;
using ModalDriver::BoxAnswerer;
using ModalDriver::MenuChooser;

namespace {

// Pids far above any the machine hands out: the kills are only recorded.
const int FakePid = 4100001;
const int FakeParentPid = 4100000;

std::vector<std::pair<pid_t, int>> recordedSignals;

int RecordSignal(pid_t pid, int signal)
{
    recordedSignals.emplace_back(pid, signal);
    return 0;
}

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
        for (const auto& entry : recordedSignals)
            pids.push_back(entry.first);
        return pids;
    }

private:
    Tavrol_Process::SignalFunction m_previous = nullptr;
};

Tavrol_Process Row(int pid, int ppid, const QString& path)
{
    Tavrol_Process row;
    row.User = QStringLiteral("chemist");
    row.ProcessID = QString::number(pid);
    row.ParentProcessID = QString::number(ppid);
    row.AppName = QFileInfo(path).fileName();
    row.State = QStringLiteral("S");
    row.AppPath = path;
    row.CommandLine = path + QStringLiteral(" input.gjf");
    return row;
}

class GuiWindow
{
public:
    GuiWindow()
    {
        TavrolAppWindow = &m_window;
        m_window.BuildWidgets();
    }
    ~GuiWindow()
    {
        m_window.LongJobsView()->PauseAndKillRunningJobs();
        TavrolAppWindow = nullptr;
    }
    GuiWindow(const GuiWindow&) = delete;
    GuiWindow& operator=(const GuiWindow&) = delete;
    Tavrol_AppWindow& Window() { return m_window; }

private:
    Tavrol_AppWindow m_window;
};

// Shows the one row, makes it current, and opens the menu on it.
void OpenMenuOn(Tavrol_RunningJobsWidget& view, const Tavrol_Process& row, MenuChooser& chooser,
                const QString& choice)
{
    view.ShowProcessTable({row});
    view.Table()->setCurrentCell(0, 1);
    chooser.Choose(choice);
    view.ContextMenuSlot(view.Table()->viewport()->rect().center());
}

const QStringList KillMenu = {"Kill Process",
                              "Kill Process Group",
                              "Kill Child Processes",
                              "Kill Process and Child Processes",
                              "Kill Process and Parent Process",
                              "Kill Process, Child Processes and Parent Process",
                              "-",
                              "Help"};

} // namespace

class TstRunningJobsActions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
    }
    void init()
    {
        Tavrol_JobType::SetAll({StandinJobType(0)});
        JobIDManager = Quolix_IDManager(0, 1);
    }
    void cleanup()
    {
        Tavrol_JobType::Clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void withTheBoxCheckedTheMenuHasOnlyRemove()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        QVERIFY(view.OnlyKnownJobTypes());
        MenuChooser chooser;
        OpenMenuOn(view, Row(FakePid, FakeParentPid, StandinPath()), chooser, QString());
        QVERIFY(chooser.Seen());
        QCOMPARE(chooser.Texts(), QStringList{"Remove"});
    }

    void withTheBoxClearedTheKillsAndHelp()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.OnlyKnownJobTypesBox()->click();
        QVERIFY(!view.OnlyKnownJobTypes());
        MenuChooser chooser;
        OpenMenuOn(view, Row(FakePid, FakeParentPid, StandinPath()), chooser, QString());
        QCOMPARE(chooser.Texts(), KillMenu);
    }

    void eachKillReachesItsOperationWithTheRowsIds_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QList<int>>("pids");
        QTest::newRow("process") << "Kill Process" << QList<int>{FakePid};
        QTest::newRow("group") << "Kill Process Group" << QList<int>{-FakePid};
        QTest::newRow("children") << "Kill Child Processes" << QList<int>{};
        QTest::newRow("process and children")
            << "Kill Process and Child Processes" << QList<int>{FakePid};
        QTest::newRow("process and parent")
            << "Kill Process and Parent Process" << QList<int>{FakeParentPid, FakePid};
        QTest::newRow("all") << "Kill Process, Child Processes and Parent Process"
                             << QList<int>{FakeParentPid, FakePid};
    }

    void eachKillReachesItsOperationWithTheRowsIds()
    {
        QFETCH(QString, action);
        QFETCH(QList<int>, pids);
        SignalRecorder recorder;
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetOnlyKnownJobTypes(false);
        MenuChooser chooser;
        OpenMenuOn(view, Row(FakePid, FakeParentPid, QStringLiteral("/usr/bin/other")), chooser,
                   action);
        QVERIFY(chooser.Seen());
        QList<int> seen;
        for (const pid_t pid : SignalRecorder::Pids())
            seen.append(pid);
        QCOMPARE(seen, pids);
        // The refresh after a choice read the real table: the fake row is gone.
        QVERIFY(
            std::none_of(view.Processes().begin(), view.Processes().end(),
                         [](const Tavrol_Process& p) { return p.ProcessIDValue() == FakePid; }));
    }

    void aClosedMenuNeitherKillsNorRefreshes()
    {
        SignalRecorder recorder;
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetOnlyKnownJobTypes(false);
        MenuChooser chooser;
        OpenMenuOn(view, Row(FakePid, FakeParentPid, QStringLiteral("/usr/bin/other")), chooser,
                   QString());
        QVERIFY(chooser.Seen());
        QVERIFY(recordedSignals.empty());
        QCOMPARE(view.Processes().size(), size_t(1));
        QCOMPARE(view.Processes().front().ProcessIDValue(), FakePid);
    }

    void aRowWithoutAProcessIdHasNoMenu()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.ShowProcessTable({});
        MenuChooser chooser;
        chooser.Choose(QString());
        view.ContextMenuSlot(QPoint(1, 1));
        QCoreApplication::processEvents();
        QVERIFY(!chooser.Seen());
    }

    void removeReachesTheQueueThatRunsTheProcess()
    {
        QTemporaryDir dir;
        GuiWindow window;
        Tavrol_LongJobsQueueWidget& queue = *window.Window().LongJobsView();
        queue.AddJobFromFile(WriteInput(dir.path(), QStringLiteral("a.gjf"), 30), -1);
        const Tavrol_Job* job = queue.Queue().JobAt(0);
        QCOMPARE(job->Status, JobStatusRunning);
        QTRY_VERIFY_WITH_TIMEOUT(job->Process && job->Process->processId() > 0, WaitMs);
        const int pid = static_cast<int>(job->Process->processId());

        Tavrol_RunningJobsWidget& view = *window.Window().RunningJobsView();
        QVERIFY(ShowAlone(view.Frame()));
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenuOn(view, Row(pid, 1, StandinPath()), chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 2);
        QCOMPARE(answerer.Seen()[0].title,
                 QStringLiteral("Remove Selected Jobs from Long Jobs Queue"));
        QCOMPARE(queue.Queue().Count(), 0);
    }

    void removeLeavesAProcessOfNoQueueAlone()
    {
        SignalRecorder recorder;
        GuiWindow window;
        Tavrol_RunningJobsWidget& view = *window.Window().RunningJobsView();
        QVERIFY(ShowAlone(view.Frame()));
        BoxAnswerer answerer;
        MenuChooser chooser;
        OpenMenuOn(view, Row(FakePid, FakeParentPid, StandinPath()), chooser,
                   QStringLiteral("Remove"));
        QVERIFY(chooser.Seen());
        QVERIFY(answerer.Seen().isEmpty());
        QVERIFY(recordedSignals.empty());
    }
};

QTEST_MAIN(TstRunningJobsActions)
#include "tst_runningjobsactions.moc"
