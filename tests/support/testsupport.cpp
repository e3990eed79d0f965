#include "testsupport.h"

#include "server/message.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

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

QString SubmitBinary()
{
    return QStringLiteral(TAVROL_SUBMIT_BINARY);
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

bool WriteFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    file.write(contents);
    return true;
}

QString WrittenFile(const QString& path, const QByteArray& contents)
{
    return WriteFile(path, contents) ? path : QString();
}

bool IsAlive(int pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = stat.readAll();
    const int close = text.lastIndexOf(')');
    if (close < 0 || close + 2 >= text.size())
        return false;
    const char state = text.at(close + 2);
    return state != 'Z' && state != 'X';
}

QByteArray ReceiveAll(QTcpServer& server)
{
    if (!server.hasPendingConnections() && !server.waitForNewConnection(30000))
        return QByteArray("<no connection>");
    const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
    return ReadUntilClosed(*socket);
}

QByteArray ReadUntilClosed(QTcpSocket& socket)
{
    QByteArray received;
    QElapsedTimer timer;
    timer.start();
    while (socket.state() == QAbstractSocket::ConnectedState && timer.elapsed() < 30000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        socket.waitForReadyRead(50);
        received += socket.readAll();
    }
    received += socket.readAll();
    return received;
}

Tavrol_Request RequestOf(const QByteArray& bytes)
{
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    return Tavrol_Message::ReadRequest(&buffer);
}

} // namespace TestSupport
