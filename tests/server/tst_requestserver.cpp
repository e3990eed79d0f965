// The request server on its own: connections read side by side, each with
// its own time limit and size bound; requests carried out one at a time in
// the order their connections arrived; a silent client, or a crowd of them,
// holding up nobody; and what each action hands to the main object.

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
#include <vector>

#include <sys/socket.h>
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

    // A silent client is held beside the others and holds up nobody: a
    // complete request behind it is carried out at once.
    void completeRequestBehindASilentOneIsServedAtOnce()
    {
        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), 1, 10000);
        QVERIFY(!m_server->ConnectionBusy());
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(Send(Named("behind", "show")));
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 1, 10000);
        QVERIFY2(elapsed.elapsed() < 1000, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(m_server->ClientNameList(), QStringList{QStringLiteral("behind")});
        QCOMPARE(m_server->HeldConnections(), 1);
        QCOMPARE(silent->state(), QAbstractSocket::ConnectedState);
    }

    // Requests are carried out one at a time in the order their connections
    // arrived: while one is in hand (a dialog stands open), two more come
    // complete, the later one first, and are served first come first.
    void completeRequestsKeepTheirArrivalOrder()
    {
        std::unique_ptr<QTcpSocket> first;
        std::unique_ptr<QTcpSocket> second;
        bool bothWaited = false;
        connect(m_server.get(), &Tavrol_RequestServer::SubmitJobSignal, this, [&] {
            first = Connect();
            second = Connect();
            QVERIFY(first && second);
            second->write(Named("second", "show"));
            QVERIFY(second->flush());
            QTRY_COMPARE_WITH_TIMEOUT(m_server->WaitingRequests(), 1, 10000);
            first->write(Named("first", "show"));
            QVERIFY(first->flush());
            QTRY_COMPARE_WITH_TIMEOUT(m_server->WaitingRequests(), 2, 10000);
            QVERIFY(m_server->ConnectionBusy());
            bothWaited = true;
        });
        QVERIFY(Send(Named("dialog", "submitjob")));
        QTRY_COMPARE_WITH_TIMEOUT(m_server->ClientNameList().size(), 3, 20000);
        QVERIFY(bothWaited);
        QCOMPARE(m_server->ClientNameList(),
                 (QStringList{QStringLiteral("dialog"), QStringLiteral("first"),
                              QStringLiteral("second")}));
        QVERIFY(!m_server->ConnectionBusy());
    }

    // A silent client that leaves is forgotten with nothing done.
    void silentClientThatLeavesIsForgotten()
    {
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), 1, 10000);
        silent->disconnectFromHost();
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), 0, 10000);
        QCOMPARE(m_server->ClientNameList(), QStringList());
    }

    // A client that stays silent and connected is given up after 30
    // seconds: its connection is closed and nothing is written back.
    void silentClientIsGivenUpAfterThirtySeconds()
    {
        std::unique_ptr<QTcpSocket> silent = Connect();
        QVERIFY(silent);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), 1, 10000);
        QElapsedTimer elapsed;
        elapsed.start();
        QTRY_COMPARE_WITH_TIMEOUT(silent->state(), QAbstractSocket::UnconnectedState, 60000);
        QVERIFY2(elapsed.elapsed() >= Tavrol_RequestServer::FirstDataTimeoutMs - 1000,
                 qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(silent->readAll(), QByteArray());
        QCOMPARE(m_server->HeldConnections(), 0);
        QCOMPARE(m_server->ClientNameList(), QStringList());
    }

    // A message of the bound is read whole; a byte more and the connection
    // is dropped without a word, its request never carried out.
    void messagesAreBoundInSize()
    {
        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        const QByteArray head = Named("whole", "show") + "\n@pad=";
        const QByteArray whole =
            head + QByteArray(int(Tavrol_RequestServer::MaxMessageBytes - head.size()), 'x');
        std::unique_ptr<QTcpSocket> fits = Connect();
        QVERIFY(fits);
        fits->write(whole);
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 1, 20000);
        std::unique_ptr<QTcpSocket> over = Connect();
        QVERIFY(over);
        over->write(Named("over", "show") + "\n@pad=" + QByteArray(whole.size(), 'x'));
        QTRY_COMPARE_WITH_TIMEOUT(over->state(), QAbstractSocket::UnconnectedState, 20000);
        QCOMPARE(over->readAll(), QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), 0, 10000);
        QCOMPARE(shows.count(), 1);
        QCOMPARE(m_server->ClientNameList(), QStringList{QStringLiteral("whole")});
    }

    // At most MaxConnections are held. When all places are taken, the oldest
    // silent connections make room for the ones that wait, so a crowd of
    // silent clients delays a complete request by no more than a second.
    void crowdOfSilentClientsDelaysNobody()
    {
        constexpr int Crowd = Tavrol_RequestServer::MaxConnections + 44;
        std::vector<int> silent;
        for (int i = 0; i < Crowd; ++i) {
            const int fd = TestSupport::ConnectAs(int(getuid()), m_server->Port());
            QVERIFY(fd >= 0);
            silent.push_back(fd);
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_server->HeldConnections(), Tavrol_RequestServer::MaxConnections,
                                  10000);
        // The first ones were given up: the server closed them, silently.
        const auto closedByServer = [](int fd) {
            char byte = 0;
            return ::recv(fd, &byte, 1, MSG_DONTWAIT) == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(
            closedByServer(silent.at(Crowd - Tavrol_RequestServer::MaxConnections - 1)), 10000);
        for (int i = 0; i < Crowd - Tavrol_RequestServer::MaxConnections; ++i)
            QVERIFY2(closedByServer(silent.at(size_t(i))), qPrintable(QString::number(i)));
        for (int i = Crowd - Tavrol_RequestServer::MaxConnections; i < Crowd; ++i)
            QVERIFY2(!closedByServer(silent.at(size_t(i))), qPrintable(QString::number(i)));

        QSignalSpy shows(m_server.get(), &Tavrol_RequestServer::ShowSignal);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(Send(Named("crowded", "show")));
        QTRY_COMPARE_WITH_TIMEOUT(shows.count(), 1, 10000);
        QVERIFY2(elapsed.elapsed() < 1000, qPrintable(QString::number(elapsed.elapsed())));
        QVERIFY(m_server->HeldConnections() <= Tavrol_RequestServer::MaxConnections);
        for (const int fd : silent)
            ::close(fd);
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
