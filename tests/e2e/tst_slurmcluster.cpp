// Cluster job types on a real, private single-node Slurm cluster: the stand-in
// program run through tavrol-slurm from the console instance, its end as
// Tavrol records it, killing it from Tavrol, the long queue's maximum, and
// Tavrol itself killed by signal 9.

#include "consolesession.h"
#include "slurmcluster.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <memory>

using E2E::ConsoleSession;
using E2E::Home;
using E2E::SlurmCluster;

namespace {

const QString ClusterType = QStringLiteral("Cluster Standin");
const QString EnterJobType = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString EnterInputFile = QStringLiteral("\n<Tavrol> Enter Input File:  ");

struct Result
{
    int ExitCode = -1;
    QString Out;
    QString Err;
};

} // namespace

class TestSlurmCluster : public QObject
{
    Q_OBJECT

private:
    QProcessEnvironment Environment(const Home& home) const
    {
        return m_cluster->Environment(home.Environment(true));
    }

    // A console instance with the cluster job type of the stand-in.
    std::unique_ptr<ConsoleSession> StartWithClusterType(const Home& home)
    {
        auto session = E2E::StartConsole(Environment(home), home);
        if (!session)
            return nullptr;
        session->Send(QStringLiteral("add cluster job type"),
                      QStringLiteral("\n<Tavrol> Enter Job Type Name:  "));
        session->Send(ClusterType,
                      QStringLiteral("\n<Tavrol> Enter Program Path on the Cluster:  "));
        session->Send(TestSupport::FixturePath(QStringLiteral("standin")),
                      QStringLiteral("\n<Tavrol> Enter Slurm Partition (empty: the default):  "));
        session->Write(QStringLiteral("tavrol"));
        const QString added = session->Send(QStringLiteral("--cpus-per-task=1"));
        if (!added.contains(QStringLiteral("\nJob type ") + ClusterType +
                            QStringLiteral(" added: ")))
            return nullptr;
        return session;
    }

    static void AddJob(ConsoleSession& session, const QString& command, const QString& input)
    {
        QCOMPARE(session.Send(command, EnterJobType), QString());
        QCOMPARE(session.Send(ClusterType, EnterInputFile), QString());
        QCOMPARE(session.Send(input), QString());
    }

    Result RunSubmit(const Home& home, const QStringList& arguments)
    {
        QProcess submit;
        submit.setProcessEnvironment(Environment(home));
        submit.setWorkingDirectory(home.Path());
        submit.start(TestSupport::SubmitBinary(), arguments);
        Result result;
        if (!submit.waitForFinished(120000)) {
            submit.kill();
            submit.waitForFinished(5000);
            return result;
        }
        result.ExitCode = submit.exitStatus() == QProcess::NormalExit ? submit.exitCode() : -1;
        result.Out = QString::fromLocal8Bit(submit.readAllStandardOutput());
        result.Err = QString::fromLocal8Bit(submit.readAllStandardError());
        return result;
    }

    static int CountOf(const QString& text, const QString& pattern)
    {
        return static_cast<int>(text.count(QRegularExpression(pattern)));
    }

    std::unique_ptr<SlurmCluster> m_cluster;

private slots:
    void initTestCase()
    {
        if (!SlurmCluster::IsRoot())
            QSKIP("Skipped: the cluster tests start slurmctld and slurmd, which must run as "
                  "root; run the suite as root to run them.");
        m_cluster = std::make_unique<SlurmCluster>();
        QVERIFY2(m_cluster->Start(), qPrintable(m_cluster->Problem()));
    }

    void cleanupTestCase() { m_cluster.reset(); }

    void init()
    {
        // Every test begins on an empty cluster.
        QVERIFY2(SlurmCluster::WaitFor([this] { return m_cluster->Jobs().isEmpty(); }, 30000),
                 qPrintable(m_cluster->Jobs().join(QLatin1Char(' '))));
    }

    void jobEndsAsItsProgram_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("statusLine");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("completed")
            << QByteArray("#standin print=on the cluster\n") << "completed, exit code 0" << 0;
        QTest::newRow("failed") << QByteArray("#standin exit=3\n") << "failed, exit code 3" << 1;
        QTest::newRow("crashed") << QByteArray("#standin crash=SEGV\n") << "crashed, exit code "
                                 << 2;
    }

    void jobEndsAsItsProgram()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, statusLine);
        QFETCH(int, exitCode);
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("job.inp")), contents);
        auto session = StartWithClusterType(home);
        QVERIFY(session);
        const Result result =
            RunSubmit(home, {QStringLiteral("--type"), ClusterType, QStringLiteral("--queue"),
                             QStringLiteral("queueless"), QStringLiteral("--wait"), input});
        QCOMPARE(result.Err, QString());
        QVERIFY2(result.Out.startsWith(input + QStringLiteral(": ") + statusLine),
                 qPrintable(result.Out));
        QCOMPARE(result.ExitCode, exitCode);

        // The program ran in the job's directory and wrote its output file
        // there; its standard output came back through the runner.
        QFile output(home.File(QStringLiteral("job.out")));
        QVERIFY(output.open(QIODevice::ReadOnly));
        QCOMPARE(output.readAll(),
                 QByteArray("standin output\ninput: ") + input.toLocal8Bit() + QByteArray("\n"));
        const QString log = session->Send(QStringLiteral("show log 1"));
        QVERIFY2(log.contains(QStringLiteral("standin started: [") + input), qPrintable(log));
        QVERIFY2(log.contains(QStringLiteral("standin diagnostics\n")), qPrintable(log));
        if (exitCode == 0)
            QVERIFY2(log.contains(QStringLiteral("\non the cluster\n")), qPrintable(log));
        // The runner leaves none of its own files behind.
        QCOMPARE(QDir(home.Path())
                     .entryList({QStringLiteral(".tavrol-*")}, QDir::Files | QDir::Hidden)
                     .join(QLatin1Char(' ')),
                 QString());
        QVERIFY(m_cluster->Jobs().isEmpty());
    }

    void killFromTavrolCancelsTheJob()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("long.inp")), "#standin sleep=600\n");
        auto session = StartWithClusterType(home);
        QVERIFY(session);
        AddJob(*session, QStringLiteral("add queueless job"), input);
        QVERIFY2(SlurmCluster::WaitFor(
                     [this] {
                         return m_cluster->Jobs(QStringLiteral("%T")) ==
                                QStringList{QStringLiteral("RUNNING")};
                     },
                     60000),
                 qPrintable(m_cluster->Jobs(QStringLiteral("%i %T")).join(QLatin1Char(' '))));
        QCOMPARE(session->Send(QStringLiteral("kill job 1"),
                               QStringLiteral("\n<Tavrol> Kill running job 1 (long.inp) of the "
                                              "Queueless Jobs List?  ")),
                 QString());
        QCOMPARE(session->Send(QStringLiteral("y")), QStringLiteral("\nJob 1 killed.\n\n"));
        QVERIFY2(SlurmCluster::WaitFor([this] { return m_cluster->Jobs().isEmpty(); }, 10000),
                 qPrintable(m_cluster->Jobs(QStringLiteral("%i %T")).join(QLatin1Char(' '))));
        QCOMPARE(session->Send(QStringLiteral("list queueless jobs")),
                 QStringLiteral("\nQueueless Jobs List is Empty\n\n"));
    }

    void longQueueRunsAtMostItsMaximum()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("short.inp")), "#standin sleep=1\n");
        auto session = StartWithClusterType(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("pause long queue")),
                 QStringLiteral("\nLong Jobs Queue paused.\n\n"));
        QCOMPARE(session->Send(QStringLiteral("set long queue maximum 4")),
                 QStringLiteral("\nLong Jobs Queue maximum set to 4 running jobs.\n\n"));
        for (int job = 0; job < 20; ++job)
            AddJob(*session, QStringLiteral("add long job"), input);
        session->Send(QStringLiteral("unpause long queue"));
        int most = 0;
        int completed = 0;
        int sample = 0;
        QVERIFY2(SlurmCluster::WaitFor(
                     [&] {
                         most = std::max(most, static_cast<int>(m_cluster->Jobs().size()));
                         if (++sample % 5 == 0)
                             completed =
                                 CountOf(session->Send(QStringLiteral("list finished jobs")),
                                         QStringLiteral("\\n\\d+ +short\\.inp +Completed "));
                         return completed == 20;
                     },
                     240000),
                 qPrintable(QString::number(completed)));
        QVERIFY2(most <= 4, qPrintable(QString::number(most)));
        // The samples saw the queue at work, not only its end.
        QVERIFY2(most >= 2, qPrintable(QString::number(most)));
    }

    void tavrolKilledTheGuardCancels()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("left.inp")), "#standin sleep=600\n");
        auto session = StartWithClusterType(home);
        QVERIFY(session);
        AddJob(*session, QStringLiteral("add queueless job"), input);
        AddJob(*session, QStringLiteral("add queueless job"), input);
        QVERIFY2(SlurmCluster::WaitFor([this] { return m_cluster->Jobs().size() == 2; }, 60000),
                 qPrintable(m_cluster->Jobs(QStringLiteral("%i %T")).join(QLatin1Char(' '))));
        ::kill(static_cast<pid_t>(session->ProcessId()), SIGKILL);
        int exitCode = 0;
        QVERIFY(session->WaitForExit(&exitCode, 10000));
        QVERIFY2(SlurmCluster::WaitFor([this] { return m_cluster->Jobs().isEmpty(); }, 10000),
                 qPrintable(m_cluster->Jobs(QStringLiteral("%i %T")).join(QLatin1Char(' '))));
    }
};

QTEST_GUILESS_MAIN(TestSlurmCluster)
#include "tst_slurmcluster.moc"
