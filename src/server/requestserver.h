#pragma once

#include "server/clientconnection.h"
#include "server/message.h"

#include <QObject>
#include <QStringList>

#include <list>

class QTcpServer;

// The local socket server: one connection carries one request. Nothing is
// ever written back, and every refusal is silent.
//
// Who asks is who the kernel says: the owner of the client's socket is
// looked up as the connection is accepted, and the request's user and group
// ids must agree with it (Tavrol_ClientCheck).
//
// Connections are read side by side from the event loop, each with its own
// time limit and size bound (Tavrol_ClientConnection says when a message is
// complete), so a slow or silent client holds up nobody but itself.
// Requests are carried out one at a time, in the order their connections
// arrived among those whose message is complete. At most MaxConnections are
// read at once (one more waits accepted); the rest wait in the system's
// listen queue. When all places are taken and another connection waits, the
// oldest held connection that has sent nothing (else the oldest whose
// message is still coming) is given up, closed without a word, so that a
// crowd of silent clients delays the others by no more than the time to
// accept them.
//
// What a request asks for reaches the main object through the signals; a
// submission may open a dialog, and the request stays in hand until it
// closes, while other connections go on being read.
class Tavrol_RequestServer : public QObject
{
    Q_OBJECT

public:
    static constexpr int FirstDataTimeoutMs = Tavrol_ClientConnection::FirstDataTimeoutMs;
    static constexpr qint64 MaxMessageBytes = Tavrol_ClientConnection::MaxMessageBytes;
    static constexpr int MaxConnections = 256;
    static constexpr int ListenBacklog = 1024;

    explicit Tavrol_RequestServer(QObject* parent = nullptr);
    ~Tavrol_RequestServer() override;

    // Listens on the loopback address. The result is for the caller to ignore:
    // an instance that could not listen simply has no clients.
    bool Listen(int port);
    quint16 Port() const;

    // A request is being carried out (a dialog may be open).
    bool ConnectionBusy() const { return m_connectionBusy; }
    // Connections taken and not yet done with.
    int HeldConnections() const { return int(m_connections.size()); }
    // Connections whose message is complete, waiting for their turn.
    int WaitingRequests() const;
    // Every distinct client name seen, in order of arrival; only ever grows.
    const QStringList& ClientNameList() const { return m_clientNameList; }

signals:
    void ShowSignal();
    void HideSignal();
    void SubmitJobSignal(const Tavrol_Request& request);

public slots:
    void NewConnectionToServerSlot();

private:
    void TakeConnections();
    void ConnectionCompleteSlot();
    void ConnectionDroppedSlot(Tavrol_ClientConnection* connection);
    bool GiveUpOneIncomplete();
    Tavrol_ClientConnection* TakeFirstComplete();
    void Serve(QByteArray message, int ownerUID);
    void CarryOut(const Tavrol_Request& request);
    void Forget(Tavrol_ClientConnection* connection);

    QTcpServer* m_server = nullptr;
    // In order of arrival; children of this object.
    std::list<Tavrol_ClientConnection*> m_connections;
    bool m_connectionBusy = false;
    QStringList m_clientNameList;
};
