#pragma once

// A local client of a running instance, for end-to-end tests: its listener
// for job finished notifications, and its requests to the console port.

#include "platform/computerdata.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

#include <unistd.h>

namespace E2E {

// The client's own listener: every connection is one whole message.
class Listener : public QObject
{
public:
    Listener()
    {
        m_server.listen(QHostAddress(QHostAddress::LocalHost), 0);
        connect(&m_server, &QTcpServer::newConnection, this, &Listener::Accept);
    }

    quint16 Port() const { return m_server.serverPort(); }
    const QList<QByteArray>& Messages() const { return m_messages; }

private:
    void Accept()
    {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            auto buffer = std::make_shared<QByteArray>();
            connect(socket, &QTcpSocket::readyRead, socket,
                    [socket, buffer] { buffer->append(socket->readAll()); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket, buffer] {
                buffer->append(socket->readAll());
                m_messages.append(*buffer);
                socket->deleteLater();
            });
        }
    }

    QTcpServer m_server;
    QList<QByteArray> m_messages;
};

inline QByteArray Line(const char* key, const QString& value)
{
    return QByteArray(key) + value.toLocal8Bit();
}

// A request with the client fields of this test and its listener.
inline QByteArray ClientRequest(quint16 listenerPort,
                                const QString& uid = QString::number(getuid()))
{
    return QByteArray("clientname=tester\nclientappname=tstsocket\nclientaddress=127.0.0.1\n") +
           Line("clientport=", QString::number(listenerPort)) + "\n" + Line("clientuid=", uid) +
           "\n" + Line("clientgid=", QString::number(getgid())) + "\nclientnotification=1\n";
}

inline QByteArray Submission(quint16 listenerPort, const QString& jobTypeName, const QString& queue,
                             const QString& inputFile, const QString& jobName)
{
    return ClientRequest(listenerPort) + "action=submitjob\n" + Line("jobtypename=", jobTypeName) +
           "\n" + Line("jobqueue=", queue) + "\n" + Line("jobinputfile=", inputFile) + "\n" +
           Line("jobname=", jobName);
}

inline quint16 ConsolePort()
{
    return quint16(Quolix_ComputerData::TavrolConsolePortNumber());
}

// One message on one connection, written at once, as a client must; the
// connection is held open until the instance closes it, which it does once
// it has taken the message: the instance trusts only the owner of an open
// client socket.
inline bool SendRequest(const QByteArray& message, quint16 port = ConsolePort())
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!socket.waitForConnected(5000))
        return false;
    if (!message.isEmpty()) {
        socket.write(message);
        if (!socket.waitForBytesWritten(5000))
            return false;
        if (socket.state() != QAbstractSocket::UnconnectedState)
            socket.waitForDisconnected(10000);
    }
    socket.disconnectFromHost();
    if (socket.state() != QAbstractSocket::UnconnectedState)
        socket.waitForDisconnected(5000);
    return true;
}

} // namespace E2E
