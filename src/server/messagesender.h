#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QTcpSocket>
#include <QTimer>

// Sends one message on a connection of its own without ever waiting: the
// connect and the write each have their own time limit, and the sender
// deletes itself once the message is out, the peer is gone, or time is up.
// Every sender is independent, so a client that does not answer holds up
// nobody.
class Tavrol_MessageSender : public QObject
{
    Q_OBJECT

public:
    // Starts the send and returns at once; the sender owns itself.
    static Tavrol_MessageSender* Start(const QByteArray& bytes, const QHostAddress& address,
                                       quint16 port, int connectTimeoutMs, int writeTimeoutMs);

    // Senders that have not yet finished.
    static int InFlight();
    // Lets the senders still in flight finish, for at most timeoutMs; for the
    // end of the program, when no event loop will run for them any more.
    static void FinishAll(int timeoutMs);

    ~Tavrol_MessageSender() override;

signals:
    // reached: the connection was made (the message was then handed over).
    void FinishedSignal(bool reached);

private:
    Tavrol_MessageSender(const QByteArray& bytes, int writeTimeoutMs);
    void Connect(const QHostAddress& address, quint16 port, int connectTimeoutMs);
    void ConnectedSlot();
    void BytesWrittenSlot();
    void Finish();

    QTcpSocket m_socket;
    QTimer m_deadline;
    QByteArray m_bytes;
    int m_writeTimeoutMs;
    bool m_reached = false;
    bool m_finished = false;
};
