// The request server on its own: requests read from the event loop, one at a
// time in order of arrival, a silent client holding up only the requests
// behind it, and what each action hands to the main object.

#include "server/requestserver.h"

#include "testsupport.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <memory>

#include <unistd.h>

namespace {

constexpr int NobodyID = 65534;

QByteArray Named(const QByteArray& name, const QByteArray& action)
{
    return "clientname=" + name + "\nclientuid=" + QByteArray::number(getuid()) +
           "\naction=" + action;
}

} // namespace

class TestRequestServer : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Tavrol_RequestServer> m_server;

    std::unique_ptr<QTcpSocket> Connect() const
    {
        auto socket = std::make_unique<QTcpSocket>();
        socket->connectToHost(QHostAddress(QHostAddress::LocalHost), m_server->Port());
        if (!socket->waitForConnected(5000))
            return nullptr;
        return socket;
    }

    // Writes a whole request and holds the connection until the server
    // closes it, as clients do.
    bool Send(const QByteArray& message) const
    {
        return TestSupport::SendAndHold(m_server->Port(), message);
    }

    // A request from a socket that the kernel says the user uid made.
    bool SendAs(int uid, const QByteArray& message) const
    {
        const int fd = TestSupport::ConnectAs(uid, m_server->Port());
        if (fd < 0)
            return false;
        auto* socket = new QTcpSocket(QCoreApplication::instance());
        QObject::connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
        if (!socket->setSocketDescriptor(fd)) {
            delete socket;
            ::close(fd);
            return false;
        }
        socket->write(message);
        return socket->waitForBytesWritten(5000);
    }

private slots:
    void init()
    {
        m_server = std::make_unique<Tavrol_RequestServer>();
        QVERIFY(m_server->Listen(0));
    }

    void cleanup() { m_server.reset(); }

    void actionsReachTheMainObjectBySignals()
    {
        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        QSignalSpy hides(m_server.get(), &Tavrol_RequestServer::HideSignal);
        QSignalSpy submits(m_server.get(), &Tavrol_RequestServer::SubmitJobSignal);
        QVERIFY(Send(Named("a", "show")));
        QVERIFY(Send(Named("a", "HIDE")));
        QVERIFY(Send(Named("a", "submitjob") + "\njobtypename=Gaussian"));
        QVERIFY(Send(Named("a", "test")));
        QVERIFY(Send(Named("a", "unknown")));
        QVERIFY(Send(Named("b", "show")));
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 2, 10000);
        QCOMPARE(hides.count(), 1);
        QCOMPARE(submits.count(), 1);
        QCOMPARE(m_server->ClientNameList(),
                 (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    }

    // While a client stays silent the request is in hand, and the event loop
    // goes on: timers fire, nothing waits.
    void silentClientDoesNotHoldTheEventLoop()
    {
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->ConnectionBusy(), 10000);
        QElapsedTimer elapsed;
        elapsed.start();
        bool fired = false;
        QTimer::singleShot(10, this, [&fired] { fired = true; });
        QTRY_VERIFY_WITH_TIMEOUT(fired, 10000);
        QVERIFY2(elapsed.elapsed() < 1000, qPrintable(QString::number(elapsed.elapsed())));
        QVERIFY(m_server->ConnectionBusy());
    }

    // Requests that arrive behind a silent client wait their turn, and are
    // then served in order of arrival, also when they have left meanwhile.
    void requestsWaitTheirTurnInOrderOfArrival()
    {
        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        std::unique_ptr<QTcpSocket> first = Connect();
        QVERIFY(first);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->ConnectionBusy(), 10000);
        QVERIFY(Send(Named("second", "show")));
        QVERIFY(Send(Named("third", "show")));
        QTest::qWait(300); // nothing may be served while the first is in hand
        QCOMPARE(shows.count(), 0);
        first->write(Named("first", "show"));
        QVERIFY(first->waitForBytesWritten(5000));
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 3, 10000);
        QCOMPARE(m_server->ClientNameList(),
                 (QStringList{QStringLiteral("first"), QStringLiteral("second"),
                              QStringLiteral("third")}));
        QVERIFY(!m_server->ConnectionBusy());
    }

    // A silent client that leaves ends its request with nothing done.
    void silentClientThatLeavesEndsItsRequest()
    {
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->ConnectionBusy(), 10000);
        QVERIFY(Send(Named("next", "show")));
        silent->disconnectFromHost();
        QTRY_COMPARE_WITH_TIMEOUT(m_server->ClientNameList(), QStringList{QStringLiteral("next")},
                                  10000);
    }

    // A client that stays silent and connected is given up after 30 seconds;
    // the next request is served then.
    void silentClientIsGivenUpAfterThirtySeconds()
    {
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->ConnectionBusy(), 10000);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(Send(Named("patient", "show")));
        QTRY_COMPARE_WITH_TIMEOUT(m_server->ClientNameList(),
                                  QStringList{QStringLiteral("patient")}, 60000);
        QVERIFY(elapsed.elapsed() >= Tavrol_RequestServer::FirstDataTimeoutMs - 1000);
        // The server closed the silent client's connection and wrote nothing.
        QTRY_COMPARE_WITH_TIMEOUT(silent->state(), QAbstractSocket::UnconnectedState, 10000);
        QCOMPARE(silent->readAll(), QByteArray());
    }

    // Who asks is who owns the client's socket: another user's client that
    // claims root, or claims nothing, is refused; with its own uid (and a
    // group of its own) it is served. Root's clients may speak for anyone.
    void onlyTheSocketsOwnerMayBeClaimed()
    {
        if (getuid() != 0)
            QSKIP("only root can make a socket as another user");
        const int nobodyGroup = TestSupport::FirstGroupOfUser(NobodyID);
        if (nobodyGroup < 0)
            QSKIP("no user 65534 on this system");
        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        const QByteArray nobody = QByteArray::number(NobodyID);
        QVERIFY(SendAs(NobodyID, "clientname=claims-root\nclientuid=0\naction=show"));
        QVERIFY(SendAs(NobodyID, "clientname=claims-none\naction=show"));
        QVERIFY(SendAs(NobodyID, "clientname=root-group\nclientuid=" + nobody +
                                     "\nclientgid=0\naction=show"));
        QVERIFY(SendAs(NobodyID, "clientname=itself\nclientuid=" + nobody + "\nclientgid=" +
                                     QByteArray::number(nobodyGroup) + "\naction=show"));
        QVERIFY(Send("clientname=root\nclientuid=" + nobody + "\nclientgid=4242\naction=show"));
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 2, 10000);
        QCOMPARE(m_server->ClientNameList(),
                 (QStringList{QStringLiteral("itself"), QStringLiteral("root")}));
    }

    // Nothing is ever written back, a refusal included.
    void nothingIsWrittenBack()
    {
        std::unique_ptr<QTcpSocket> client = Connect();
        QVERIFY(client);
        client->write("clientname=x\nclientuid=not-a-number\naction=show");
        QVERIFY(client->waitForBytesWritten(5000));
        // Server and client share this thread: wait with the event loop running.
        QTRY_COMPARE_WITH_TIMEOUT(client->state(), QAbstractSocket::UnconnectedState, 10000);
        QCOMPARE(client->readAll(), QByteArray());
        if (getuid() != 0)
            QCOMPARE(m_server->ClientNameList(), QStringList());
    }
};

QTEST_MAIN(TestRequestServer)
#include "tst_requestserver.moc"
