#include "testsupport.h"

#include "server/message.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>

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
