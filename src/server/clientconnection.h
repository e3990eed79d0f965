#pragma once

#include <QByteArray>
#include <QObject>
#include <QTimer>

class QTcpSocket;

// One client connection while its message comes in. Read from the event
// loop beside every other connection, it never waits on anything.
//
// The message is complete at the first of:
// - the client ends its side of the connection: the message is all it sent;
// - data has come and then nothing more for QuietMs: the message is what has
//   come (a client writes its whole message at once);
// - FirstDataTimeoutMs have passed since the connection was taken: the
//   message is what has come by then, nothing for a silent client.
// A connection that sends more than MaxMessageBytes is dropped: its data is
// discarded at once and its socket aborted, without a word to the client.
class Tavrol_ClientConnection : public QObject
{
    Q_OBJECT

public:
    static constexpr int FirstDataTimeoutMs = 30000;
    static constexpr int QuietMs = 100;
    static constexpr qint64 MaxMessageBytes = 1024 * 1024;

    // Takes the socket over; ownerUID is the kernel's owner of the client's
    // socket, looked up when it was accepted.
    Tavrol_ClientConnection(QTcpSocket* socket, int ownerUID, QObject* parent);
    ~Tavrol_ClientConnection() override;

    int OwnerUID() const { return m_ownerUID; }
    bool IsComplete() const { return m_complete; }
    bool HasData() const { return !m_message.isEmpty(); }
    const QByteArray& Message() const { return m_message; }
    // Closes the connection; nothing is ever written back.
    void Close();

signals:
    // The message is complete; emitted once.
    void CompleteSignal(Tavrol_ClientConnection* connection);
    // The connection was dropped for its size; emitted once.
    void DroppedSignal(Tavrol_ClientConnection* connection);

private:
    void ReadSlot();
    void EndedSlot();
    void Complete();
    void Drop();

    QTcpSocket* m_socket; // a child of this object
    const int m_ownerUID;
    QByteArray m_message;
    QTimer m_limit;
    QTimer m_quiet;
    bool m_complete = false;
    bool m_dropped = false;
};
