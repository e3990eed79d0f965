#include "server/messagesender.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>

#include <atomic>

namespace {

std::atomic<int> sendersInFlight{0};

} // namespace

Tavrol_MessageSender* Tavrol_MessageSender::Start(const QByteArray& bytes,
                                                  const QHostAddress& address, quint16 port,
                                                  int connectTimeoutMs, int writeTimeoutMs)
{
    auto* sender = new Tavrol_MessageSender(bytes, writeTimeoutMs);
    sender->Connect(address, port, connectTimeoutMs);
    return sender;
}

Tavrol_MessageSender::Tavrol_MessageSender(const QByteArray& bytes, int writeTimeoutMs)
    : m_bytes(bytes), m_writeTimeoutMs(writeTimeoutMs)
{
    ++sendersInFlight;
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        m_socket.abort();
        Finish();
    });
    connect(&m_socket, &QAbstractSocket::connected, this, &Tavrol_MessageSender::ConnectedSlot);
    connect(&m_socket, &QIODevice::bytesWritten, this, &Tavrol_MessageSender::BytesWrittenSlot);
    connect(&m_socket, &QAbstractSocket::disconnected, this, &Tavrol_MessageSender::Finish);
    connect(&m_socket, &QAbstractSocket::errorOccurred, this, &Tavrol_MessageSender::Finish);
}

Tavrol_MessageSender::~Tavrol_MessageSender()
{
    m_socket.disconnect(this);
    m_socket.abort();
    --sendersInFlight;
}

void Tavrol_MessageSender::Connect(const QHostAddress& address, quint16 port, int connectTimeoutMs)
{
    m_deadline.start(connectTimeoutMs);
    m_socket.connectToHost(address, port, QIODevice::ReadWrite);
}

void Tavrol_MessageSender::ConnectedSlot()
{
    m_reached = true;
    m_deadline.start(m_writeTimeoutMs);
    if (m_bytes.isEmpty()) {
        m_socket.disconnectFromHost();
        return;
    }
    m_socket.write(m_bytes);
}

// Once the last byte is with the system, the connection is closed; the
// system delivers what it holds.
void Tavrol_MessageSender::BytesWrittenSlot()
{
    if (m_socket.bytesToWrite() == 0)
        m_socket.disconnectFromHost();
}

void Tavrol_MessageSender::Finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_deadline.stop();
    emit FinishedSignal(m_reached);
    deleteLater();
}

int Tavrol_MessageSender::InFlight()
{
    return sendersInFlight;
}

void Tavrol_MessageSender::FinishAll(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (sendersInFlight > 0 && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}
