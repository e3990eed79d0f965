#include "../views/queuetesthelpers.h"

#include "app/globals.h"
#include "processes/runningjobswidget.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace QueueTest;

namespace {

Tavrol_JobType TypeFor(const QString& executablePath)
{
    Tavrol_JobType type = StandinJobType(0);
    type.ExecutablePath = executablePath;
    return type;
}

bool HasProcess(const std::vector<Tavrol_Process>& rows, qint64 pid)
{
    return std::any_of(rows.begin(), rows.end(),
                       [pid](const Tavrol_Process& row) { return row.ProcessIDValue() == pid; });
}

bool HasHeadingRow(const std::vector<Tavrol_Process>& rows)
{
    return std::any_of(rows.begin(), rows.end(), [](const Tavrol_Process& row) {
        return row.User == QLatin1String("USER") && row.ProcessIDValue() == -1;
    });
}

// A program of its own, so that no other process on the machine has its path.
class OwnSleeper
{
public:
    explicit OwnSleeper(const QTemporaryDir& dir)
    {
        m_path = dir.filePath(QStringLiteral("ownsleeper"));
        QFile::copy(QStandardPaths::findExecutable(QStringLiteral("sleep")), m_path);
        QFile::setPermissions(m_path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_process.start(m_path, {QStringLiteral("30")});
        m_process.waitForStarted(WaitMs);
    }
    ~OwnSleeper()
    {
        m_process.kill();
        m_process.waitForFinished(WaitMs);
    }
    OwnSleeper(const OwnSleeper&) = delete;
    OwnSleeper& operator=(const OwnSleeper&) = delete;

    QString Path() const { return m_path; }
    qint64 ProcessID() const { return m_process.processId(); }

private:
    QString m_path;
    QProcess m_process;
};

} // namespace

class TstRunningJobsWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeConsole; }
    void cleanup() { Tavrol_JobType::Clear(); }

    void knownJobTypesOnlyByDefaultAndNoFrame()
    {
        Tavrol_RunningJobsWidget view;
        QVERIFY(view.OnlyKnownJobTypes());
        QVERIFY(!view.Frame());
        QCOMPARE(view.CurrentProcess(), Tavrol_Process());
    }

    void pathsMatchWithOrWithoutTheCompanyPoint()
    {
        QVERIFY(Tavrol_RunningJobsWidget::PathMatchesJobType(
            QStringLiteral("/opt/Zendara, Inc./bin/tool"),
            TypeFor(QStringLiteral("/opt/zendara, inc/bin/tool"))));
        QVERIFY(Tavrol_RunningJobsWidget::PathMatchesJobType(
            QStringLiteral("/opt/Gaussian, Inc/g16/g16"),
            TypeFor(QStringLiteral("  /opt/GAUSSIAN, INC./g16/g16  "))));
        QVERIFY(Tavrol_RunningJobsWidget::PathMatchesJobType(
            QStringLiteral("/opt//g16/./g16"), TypeFor(QStringLiteral("/opt/g16/g16"))));
        QVERIFY(!Tavrol_RunningJobsWidget::PathMatchesJobType(
            QStringLiteral("/opt/g16/g16"), TypeFor(QStringLiteral("/opt/g16/g09"))));
        QVERIFY(!Tavrol_RunningJobsWidget::PathMatchesJobType(QStringLiteral("  "),
                                                              TypeFor(QStringLiteral("  "))));
        QVERIFY(!Tavrol_RunningJobsWidget::PathMatchesJobType(QStringLiteral("/bin/sh"),
                                                              TypeFor(QString())));
        QCOMPARE(Tavrol_RunningJobsWidget::NormalisedPath(
                     QStringLiteral("/a/zendara, inc./b/Gaussian, Inc./c/")),
                 QStringLiteral("/a/Zendara, Inc/b/Gaussian, Inc/c"));
    }

    void aSymbolicLinkMatchesThroughTheCanonicalPath()
    {
        QTemporaryDir dir;
        const QString target = dir.filePath(QStringLiteral("program"));
        const QString link = dir.filePath(QStringLiteral("link"));
        QFile file(target);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QVERIFY(QFile::link(target, link));
        QVERIFY(Tavrol_RunningJobsWidget::PathMatchesJobType(target, TypeFor(link)));
        QVERIFY(Tavrol_RunningJobsWidget::PathMatchesJobType(link, TypeFor(target)));
        QVERIFY(!Tavrol_RunningJobsWidget::PathMatchesJobType(
            dir.filePath(QStringLiteral("missing")), TypeFor(link)));
    }

    void refreshShowsAProgramOfAKnownJobTypeStartedElsewhere()
    {
        QTemporaryDir dir;
        OwnSleeper sleeper(dir);
        QVERIFY(sleeper.ProcessID() > 0);
        const QString link = dir.filePath(QStringLiteral("sleeper-link"));
        QVERIFY(QFile::link(sleeper.Path(), link));
        Tavrol_JobType::SetAll(
            {TypeFor(dir.filePath(QStringLiteral("nothing-here"))), TypeFor(link)});
        Tavrol_RunningJobsWidget view;
        QCOMPARE(view.Processes().size(), size_t(1));
        QCOMPARE(view.Processes().front().ProcessIDValue(), sleeper.ProcessID());
        QCOMPARE(view.Processes().front().AppPath, sleeper.Path());
        QVERIFY(!HasHeadingRow(view.Processes()));
    }

    void clearingTheFilterBringsInTheHeadingRow()
    {
        QTemporaryDir dir;
        OwnSleeper sleeper(dir);
        Tavrol_JobType::SetAll({TypeFor(sleeper.Path())});
        Tavrol_RunningJobsWidget view;
        QVERIFY(!HasHeadingRow(view.Processes()));
        view.SetOnlyKnownJobTypes(false);
        view.Refresh();
        QVERIFY(HasHeadingRow(view.Processes()));
        QVERIFY(HasProcess(view.Processes(), sleeper.ProcessID()));
        QVERIFY(view.Processes().size() > 2);
    }

    // The refresh slot does not wait for `ps`: the rows come with the signal.
    void refreshSlotReadsTheTableBesideTheEventLoop()
    {
        QTemporaryDir dir;
        OwnSleeper sleeper(dir);
        Tavrol_JobType::SetAll({TypeFor(dir.filePath(QStringLiteral("nothing-here")))});
        Tavrol_RunningJobsWidget view;
        QVERIFY(view.Processes().empty());
        Tavrol_JobType::SetAll({TypeFor(sleeper.Path())});
        QSignalSpy refreshed(&view, &Tavrol_RunningJobsWidget::RefreshedSignal);
        view.RefreshSlot();
        view.RefreshSlot(); // a second call while one read runs changes nothing
        QVERIFY(view.Processes().empty());
        QVERIFY(refreshed.wait(30000));
        QCOMPARE(view.Processes().size(), size_t(1));
        QCOMPARE(view.Processes().front().ProcessIDValue(), sleeper.ProcessID());
        QTest::qWait(200);
        QCOMPARE(refreshed.count(), 1);
    }

    void withNoJobTypeKnownTheListIsNotNarrowed()
    {
        Tavrol_JobType::Clear();
        Tavrol_RunningJobsWidget view;
        QVERIFY(view.OnlyKnownJobTypes());
        QVERIFY(HasHeadingRow(view.Processes()));
        QVERIFY(HasProcess(view.Processes(), QCoreApplication::applicationPid()));
    }

    void printListWhenNothingMatches()
    {
        QTemporaryDir dir;
        Tavrol_JobType::SetAll({TypeFor(dir.filePath(QStringLiteral("nothing-here")))});
        Tavrol_RunningJobsWidget view;
        StdoutCapture capture;
        view.PrintList();
        QCOMPARE(capture.Bytes(), QByteArray("\nRunning Jobs List is Empty\n\n"));
    }

    void printListWithoutPs()
    {
        QTemporaryDir dir;
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", dir.path().toLocal8Bit());
        Tavrol_RunningJobsWidget view;
        StdoutCapture capture;
        view.PrintList();
        const QByteArray printed = capture.Bytes();
        qputenv("PATH", path);
        QCOMPARE(printed, QByteArray("\nRunning Jobs List is Empty\n\n"));
        QVERIFY(view.Processes().empty());
    }

    void printListRefreshesAndPadsEveryColumn()
    {
        QTemporaryDir dir;
        OwnSleeper sleeper(dir);
        Tavrol_JobType::SetAll({TypeFor(sleeper.Path())});
        Tavrol_RunningJobsWidget view;
        view.SetOnlyKnownJobTypes(false);
        view.Refresh();
        view.SetOnlyKnownJobTypes(true); // PrintList refreshes with the filter
        StdoutCapture capture;
        view.PrintList();
        const QString text = QString::fromLocal8Bit(capture.Bytes());
        QVERIFY(text.startsWith(QStringLiteral("\nRunning Jobs\nUser")));
        QVERIFY(text.endsWith(QStringLiteral("\n\n")));
        const QStringList lines = text.split('\n');
        QCOMPARE(lines.size(), 7); // "", heading, headers, dashes, one row, "", ""
        const QString headers = lines.at(2);
        QCOMPARE(headers.simplified(), QStringLiteral("User Process ID Parent Process ID App Name "
                                                      "Status App Path Command Line"));
        // The widest App Name is the program's own name, wider than the header.
        QVERIFY(headers.contains(QStringLiteral("App Name    Status")));
        QCOMPARE(lines.at(3), QString(headers.size(), '-'));
        QCOMPARE(lines.at(4).size(), headers.size());
        QVERIFY(lines.at(4).contains(QString::number(sleeper.ProcessID())));
        QVERIFY(lines.at(4).contains(sleeper.Path() + QStringLiteral("  ") + sleeper.Path() +
                                     QStringLiteral(" 30")));
        QVERIFY(
            headers.endsWith(QStringLiteral("Command Line") +
                             QString(headers.size() - headers.indexOf("Command Line") - 12, ' ')));
    }
};

QTEST_GUILESS_MAIN(TstRunningJobsWidget)
#include "tst_runningjobswidget.moc"
