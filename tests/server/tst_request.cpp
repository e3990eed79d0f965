// The request server inside a console main object: what each action does to
// the client name list and the queues, and what a submitted job carries.

#include "app/globals.h"
#include "jobs/job.h"
#include "jobs/longjobsqueue.h"
#include "jobs/queuelessjobslist.h"
#include "jobs/shortjobsqueue.h"
#include "platform/computerdata.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QFile>
#include <QHostAddress>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <unistd.h>

namespace {

bool Send(const QByteArray& message)
{
    return TestSupport::SendAndHold(quint16(Quolix_ComputerData::TavrolConsolePortNumber()),
                                    message);
}

QByteArray Client(const QByteArray& name)
{
    return "clientname=" + name + "\nclientuid=" + QByteArray::number(getuid()) + "\n";
}

} // namespace

class TestRequest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_slowInput;
    std::unique_ptr<Tavrol_AppWindow> m_window;

    int LongCount() const { return m_window->LongJobsView()->Queue().Count(); }
    int ShortCount() const { return m_window->ShortJobsView()->Queue().Count(); }
    int QueuelessCount() const { return m_window->QueuelessJobsView()->List().Count(); }
    int JobCount() const { return LongCount() + ShortCount() + QueuelessCount(); }

    QByteArray Submit(const QByteArray& lines) const
    {
        return Client("tester") + "action=submitjob\njobinputfile=" + m_slowInput.toLocal8Bit() +
               "\n" + lines;
    }

private slots:
    void initTestCase()
    {
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        RunMode = RunModeConsole;
        m_slowInput = m_dir.filePath(QStringLiteral("slow.gjf"));
        QFile input(m_slowInput);
        QVERIFY(input.open(QIODevice::WriteOnly));
        input.write("#standin sleep=60\n");
    }

    void init()
    {
        m_window = std::make_unique<Tavrol_AppWindow>(nullptr, Qt::WindowFlags());
        TavrolAppWindow = m_window.get();
        QVERIFY(m_window->Start());
    }

    void cleanup()
    {
        m_window->LongJobsView()->PauseAndKillRunningJobs();
        m_window->ShortJobsView()->PauseAndKillRunningJobs();
        m_window->QueuelessJobsView()->KillRunningJobs();
        QTest::qWait(200); // the killed jobs deliver their ends
        m_window.reset();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void serverListensOnTheConsolePort()
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost),
                             quint16(Quolix_ComputerData::TavrolConsolePortNumber()));
        QVERIFY(socket.waitForConnected(5000));
    }

    // Every distinct client name of every action but "test" and the empty
    // one, unknown actions included, in order of arrival.
    void clientNameListCollectsNames()
    {
        QVERIFY(Send(Client("alpha") + "action=show"));
        QVERIFY(Send(Client("beta") + "action=frobnicate"));
        QVERIFY(Send(Client("gamma") + "action=test"));
        QVERIFY(Send(Client("delta") + "action="));
        QVERIFY(Send(Client("alpha") + "action=hide"));
        QVERIFY(Send(Client("Alpha") + "action=HIDE"));
        // No user id: refused unless the client is root, who may speak for anyone.
        QVERIFY(Send("clientname=epsilon\nclientuid=\naction=show"));
        QVERIFY(Send(Client("") + "action=show"));
        QVERIFY(Send(Client("last") + "action=submitjob"));
        QTRY_VERIFY_WITH_TIMEOUT(m_window->ClientNameList().contains(QStringLiteral("last")),
                                 10000);
        QStringList expected{QStringLiteral("alpha"), QStringLiteral("beta")};
        if (getuid() == 0)
            expected << QStringLiteral("Alpha") << QStringLiteral("epsilon");
        else
            expected << QStringLiteral("Alpha");
        expected << QStringLiteral("last");
        QCOMPARE(m_window->ClientNameList(), expected);
        QCOMPARE(JobCount(), 0);
    }

    // The test connection at entry: connect and close, no list entry.
    void connectionClosedAtOnceChangesNothing()
    {
        QVERIFY(Send(QByteArray()));
        QVERIFY(Send("clientname=TavrolConsole\naction=test"));
        QVERIFY(Send(Client("after") + "action=show"));
        QTRY_COMPARE_WITH_TIMEOUT(m_window->ClientNameList(), QStringList{QStringLiteral("after")},
                                  10000);
        QCOMPARE(JobCount(), 0);
    }

    void queueWordsPickTheQueue()
    {
        QVERIFY(Send(Submit("jobtypename=Gaussian\njobqueue=Longest")));
        QTRY_COMPARE_WITH_TIMEOUT(LongCount(), 1, 10000);
        QVERIFY(Send(Submit("jobtypename=gaussian\njobqueue=short")));
        QTRY_COMPARE_WITH_TIMEOUT(ShortCount(), 1, 10000);
        QVERIFY(Send(Submit("jobtypename=GAUSSIAN\njobqueue=Queueless")));
        QTRY_COMPARE_WITH_TIMEOUT(QueuelessCount(), 1, 10000);
        QVERIFY(Send(Submit("jobtypename=Gaussian\njobqueue=none")));
        QTRY_COMPARE_WITH_TIMEOUT(QueuelessCount(), 2, 10000);
        // "auto", an unknown word and no word take Gaussian's default, Long.
        QVERIFY(Send(Submit("jobtypename=Gaussian\njobqueue=auto")));
        QVERIFY(Send(Submit("jobtypename=Gaussian\njobqueue=Queuefoo")));
        QVERIFY(Send(Submit("jobtypename=Gaussian")));
        QTRY_COMPARE_WITH_TIMEOUT(LongCount(), 4, 10000);
        const Tavrol_Job* job = m_window->LongJobsView()->Queue().JobAt(1);
        QCOMPARE(job->QueueName, QStringLiteral("Long"));
        QCOMPARE(job->QueueID, 0);
        QCOMPARE(m_window->QueuelessJobsView()->List().JobAt(0)->QueueName, QStringLiteral("None"));
    }

    // What the request gives travels on the job, and the store learns the id.
    void submittedJobCarriesTheRequest()
    {
        QVERIFY(Send(Submit("clientappname=app\nclientaddress=127.0.0.1\nclientport=5555\n"
                            "clientnotification=1\njobtypename=Gaussian\njobname=Named\n"
                            "jobclass=Freq\n@MEMORY=1GB\n@x=a_;_b\nconfirmaction=yes")));
        QTRY_COMPARE_WITH_TIMEOUT(LongCount(), 1, 10000);
        const Tavrol_Job* job = m_window->LongJobsView()->Queue().JobAt(0);
        QCOMPARE(job->Name, QStringLiteral("Named"));
        QCOMPARE(job->ClientName, QStringLiteral("tester"));
        QCOMPARE(job->ClientAppName, QStringLiteral("app"));
        QCOMPARE(job->ClientPort, 5555);
        QCOMPARE(job->ClientUID, int(getuid()));
        QCOMPARE(job->ClientNotification, 1);
        QCOMPARE(job->JobClass, QStringLiteral("Freq"));
        const Tavrol_Replacements expected = {{QStringLiteral("@MEMORY"), QStringLiteral("1GB")},
                                              {QStringLiteral("@x"), QStringLiteral("a\nb")}};
        QCOMPARE(job->Replacements, expected);
        QCOMPARE(job->Status, JobStatusRunning);
        QString lastJobID;
        QVERIFY(Tavrol_Database_Manager::Instance()->CurrentDatabase->GetGeneralData(
            QStringLiteral("LastJobID"), lastJobID));
        QCOMPARE(lastJobID, QString::number(job->JobID));
    }

    // The console has no confirmation: a request for one goes the direct
    // way, which needs a job type.
    void confirmationWithoutJobTypeDoesNothingInTheConsole()
    {
        QVERIFY(Send(Submit("confirmaction=yes")));
        QVERIFY(Send(Client("after") + "action=show"));
        QTRY_VERIFY_WITH_TIMEOUT(m_window->ClientNameList().contains(QStringLiteral("after")),
                                 10000);
        QCOMPARE(JobCount(), 0);
    }

    // An unknown type name whose file a type takes goes in directly here.
    void unknownTypeNameGoesByExtension()
    {
        QVERIFY(Send(Submit("jobtypename=g09\njobqueue=short")));
        QTRY_COMPARE_WITH_TIMEOUT(ShortCount(), 1, 10000);
        QCOMPARE(m_window->ShortJobsView()->Queue().JobAt(0)->JobType.Name,
                 QStringLiteral("Gaussian"));
    }
};

QTEST_MAIN(TestRequest)
#include "tst_request.moc"
