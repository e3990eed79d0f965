// The owner of a client's socket, as the kernel tells it: found by the
// socket diagnostics and by the tables under /proc/net, for the test's own
// sockets, for a socket of another user, and not at all once the client has
// closed its end.

#include "server/peercredentials.h"

#include "testsupport.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

#include <unistd.h>

namespace {

constexpr int NobodyID = 65534;

using TestSupport::ConnectAs;

} // namespace

class TestPeerCredentials : public QObject
{
    Q_OBJECT

private:
    QTcpServer m_server;

    std::unique_ptr<QTcpSocket> Accept()
    {
        if (!m_server.hasPendingConnections() && !m_server.waitForNewConnection(5000))
            return nullptr;
        return std::unique_ptr<QTcpSocket>(m_server.nextPendingConnection());
    }

    static int ByNetlink(const QTcpSocket& accepted)
    {
        return Tavrol_PeerCredentials::OwnerUIDByNetlink(
            accepted.peerAddress(), accepted.peerPort(), accepted.localAddress(),
            accepted.localPort());
    }

    static int ByProcNet(const QTcpSocket& accepted)
    {
        return Tavrol_PeerCredentials::OwnerUIDByProcNet(
            accepted.peerAddress(), accepted.peerPort(), accepted.localAddress(),
            accepted.localPort());
    }

private slots:
    void initTestCase() { QVERIFY(m_server.listen(QHostAddress(QHostAddress::LocalHost), 0)); }

    void ownSocketIsFoundBothWays()
    {
        QTcpSocket client;
        client.connectToHost(QHostAddress(QHostAddress::LocalHost), m_server.serverPort());
        QVERIFY(client.waitForConnected(5000));
        std::unique_ptr<QTcpSocket> accepted = Accept();
        QVERIFY(accepted);
        QCOMPARE(ByNetlink(*accepted), int(getuid()));
        QCOMPARE(ByProcNet(*accepted), int(getuid()));
        QCOMPARE(Tavrol_PeerCredentials::OwnerUID(*accepted), int(getuid()));
    }

    // Only the exact four-tuple is looked up: one port off finds nothing.
    void onlyTheExactConnectionIsFound()
    {
        QTcpSocket client;
        client.connectToHost(QHostAddress(QHostAddress::LocalHost), m_server.serverPort());
        QVERIFY(client.waitForConnected(5000));
        std::unique_ptr<QTcpSocket> accepted = Accept();
        QVERIFY(accepted);
        const quint16 wrongPort = quint16(accepted->peerPort() + 1);
        QCOMPARE(Tavrol_PeerCredentials::OwnerUIDByNetlink(accepted->peerAddress(), wrongPort,
                                                           accepted->localAddress(),
                                                           accepted->localPort()),
                 -1);
        QCOMPARE(Tavrol_PeerCredentials::OwnerUIDByProcNet(accepted->peerAddress(), wrongPort,
                                                           accepted->localAddress(),
                                                           accepted->localPort()),
                 -1);
    }

    // A socket made by another user is that user's, whoever accepts it.
    void socketOfAnotherUser()
    {
        if (getuid() != 0)
            QSKIP("only root can make a socket as another user");
        const int fd = ConnectAs(NobodyID, m_server.serverPort());
        QVERIFY(fd >= 0);
        std::unique_ptr<QTcpSocket> accepted = Accept();
        QVERIFY(accepted);
        QCOMPARE(ByNetlink(*accepted), NobodyID);
        QCOMPARE(ByProcNet(*accepted), NobodyID);
        ::close(fd);
    }

    // Once the client has closed its socket only a time-wait entry is
    // left, which the kernel lists as uid 0: that is nobody, never root.
    void closedClientHasNoOwner()
    {
        const int fd = ConnectAs(int(getuid()), m_server.serverPort());
        QVERIFY(fd >= 0);
        std::unique_ptr<QTcpSocket> accepted = Accept();
        QVERIFY(accepted);
        QCOMPARE(ByNetlink(*accepted), int(getuid()));
        ::close(fd);
        QTRY_COMPARE_WITH_TIMEOUT(ByNetlink(*accepted), -1, 5000);
        QCOMPARE(ByProcNet(*accepted), -1);
        QCOMPARE(Tavrol_PeerCredentials::OwnerUID(*accepted), -1);
    }
};

QTEST_MAIN(TestPeerCredentials)
#include "tst_peercredentials.moc"
