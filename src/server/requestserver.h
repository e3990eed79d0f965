#pragma once

#include "server/message.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

class QTcpServer;
class QTcpSocket;

// The local socket server: one connection carries one request, and requests
// are taken one at a time in the order they arrived. Nothing is ever written
// back, and every refusal is silent. It never waits on a client: a request's
// data is awaited from the event loop, so a client that connects and stays
// silent holds up the next request, never the program.
//
// What a request asks for reaches the main object through the signals; a
// submission may open a dialog, and the request stays in hand until it closes.
class Tavrol_RequestServer : public QObject
{
    Q_OBJECT

public:
    // A client's first data is awaited this long before the request is read
    // as it stands (empty, for a silent client).
    static constexpr int FirstDataTimeoutMs = 30000;

    explicit Tavrol_RequestServer(QObject* parent = nullptr);
    ~Tavrol_RequestServer() override;

    // Listens on the loopback address. The result is for the caller to ignore:
    // an instance that could not listen simply has no clients.
    bool Listen(int port);
    quint16 Port() const;

    bool ConnectionBusy() const { return m_connectionBusy; }
    // Every distinct client name seen, in order of arrival; only ever grows.
    const QStringList& ClientNameList() const { return m_clientNameList; }

signals:
    void ShowSignal();
    void HideSignal();
    void SubmitJobSignal(const Tavrol_Request& request);

public slots:
    void NewConnectionToServerSlot();

private:
    void ProcessRequest();
    void RequestDataSlot();
    void CarryOut(const Tavrol_Request& request);
    void EndRequest();

    QTcpServer* m_server = nullptr;
    std::unique_ptr<QTcpSocket, void (*)(QTcpSocket*)> m_socket;
    QTimer m_firstDataTimer;
    bool m_connectionBusy = false;
    QStringList m_clientNameList;
};
