#include "testsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QHostAddress>
#include <QTcpSocket>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <pwd.h>

namespace TestSupport {

QString FixturesDir()
{
    return QStringLiteral(TAVROL_FIXTURES_DIR);
}

QString FixturePath(const QString& name)
{
    return QDir(FixturesDir()).absoluteFilePath(name);
}

QString TestDataPath(const QString& name)
{
    return QDir(QStringLiteral(TAVROL_TEST_DATA_DIR)).absoluteFilePath(name);
}

QString TavrolBinary()
{
    return QStringLiteral(TAVROL_BINARY);
}

int FirstGroupOfUser(int uid)
{
    const passwd* entry = getpwuid(uid_t(uid));
    return entry ? int(entry->pw_gid) : -1;
}

bool SendAndHold(quint16 port, const QByteArray& message)
{
    auto* socket = new QTcpSocket(QCoreApplication::instance());
    QObject::connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
    socket->connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    bool sent = socket->waitForConnected(5000);
    if (sent && !message.isEmpty()) {
        socket->write(message);
        sent = socket->waitForBytesWritten(5000);
    }
    // A connection with nothing to say closes at once, as the test
    // connection at entry does.
    if (!sent || message.isEmpty())
        socket->disconnectFromHost();
    if (!sent)
        socket->deleteLater();
    return sent;
}

int ConnectAs(int uid, quint16 port)
{
    const auto own = geteuid();
    if (uid_t(uid) != own && seteuid(uid_t(uid)) != 0)
        return -1;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (uid_t(uid) != own && seteuid(own) != 0)
        qFatal("could not return to the test's own user");
    if (fd < 0)
        return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

} // namespace TestSupport
