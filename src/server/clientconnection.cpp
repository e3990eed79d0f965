#include "server/clientconnection.h"

#include <QTcpSocket>

namespace {

// Qt reads no more than this from the system at a time, so a client that
// floods the connection never grows its buffer beyond it.
constexpr qint64 SocketReadBufferBytes = 64 * 1024;

} // namespace

Tavrol_ClientConnection::Tavrol_ClientConnection(QTcpSocket* socket, int ownerUID, QObject* parent)
    : QObject(parent), m_socket(socket), m_ownerUID(ownerUID)
{
    m_socket->setParent(this);
    m_socket->setReadBufferSize(SocketReadBufferBytes);
    m_limit.setSingleShot(true);
    m_limit.setInterval(FirstDataTimeoutMs);
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(QuietMs);
    connect(&m_limit, &QTimer::timeout, this, &Tavrol_ClientConnection::Complete);
    connect(&m_quiet, &QTimer::timeout, this, &Tavrol_ClientConnection::Complete);
    connect(m_socket, &QIODevice::readyRead, this, &Tavrol_ClientConnection::ReadSlot);
    connect(m_socket, &QIODevice::readChannelFinished, this, &Tavrol_ClientConnection::EndedSlot);
    connect(m_socket, &QAbstractSocket::disconnected, this, &Tavrol_ClientConnection::EndedSlot);
    m_limit.start();
    // Data may have come before the connection was taken.
    QTimer::singleShot(0, this, &Tavrol_ClientConnection::ReadSlot);
}

Tavrol_ClientConnection::~Tavrol_ClientConnection()
{
    m_socket->disconnect(this);
}

void Tavrol_ClientConnection::Close()
{
    m_limit.stop();
    m_quiet.stop();
    m_socket->disconnect(this);
    m_socket->close();
}

void Tavrol_ClientConnection::ReadSlot()
{
    if (m_complete || m_dropped)
        return;
    const qint64 available = m_socket->bytesAvailable();
    if (available <= 0)
        return;
    // One byte beyond the bound is enough to know the message is too long.
    const qint64 room = MaxMessageBytes + 1 - m_message.size();
    m_message += m_socket->read(qMin(available, room));
    if (m_message.size() > MaxMessageBytes) {
        Drop();
        return;
    }
    m_quiet.start();
}

// The client has ended its side: all it sent is the message.
void Tavrol_ClientConnection::EndedSlot()
{
    Complete();
}

void Tavrol_ClientConnection::Complete()
{
    if (m_complete || m_dropped)
        return;
    ReadSlot();
    if (m_dropped)
        return;
    m_complete = true;
    m_limit.stop();
    m_quiet.stop();
    m_socket->disconnect(this);
    emit CompleteSignal(this);
}

void Tavrol_ClientConnection::Drop()
{
    m_dropped = true;
    m_limit.stop();
    m_quiet.stop();
    m_message.clear();
    m_message.squeeze();
    m_socket->disconnect(this);
    m_socket->abort();
    emit DroppedSignal(this);
}
