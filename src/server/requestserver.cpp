#include "server/requestserver.h"

#include "platform/computerdata.h"
#include "server/clientcheck.h"
#include "server/message.h"
#include "server/peercredentials.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

// Connections that wait in the system's queue while requests are served one
// at a time; a burst of clients (a script submitting many files) then waits
// its turn instead of being turned away.
constexpr int ListenBacklog = 1024;

// The owner of a client's socket is looked up the moment the connection is
// accepted, while the client is surely still there to be found.
const char* const OwnerProperty = "tavrolOwnerUID";

class OwnerLookupServer : public QTcpServer
{
public:
    explicit OwnerLookupServer(QObject* parent) : QTcpServer(parent) {}

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto* socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        socket->setProperty(OwnerProperty, Tavrol_PeerCredentials::OwnerUID(*socket));
        addPendingConnection(socket);
    }
};

int OwnerOf(const QTcpSocket& socket)
{
    bool known = false;
    const int uid = socket.property(OwnerProperty).toInt(&known);
    return known ? uid : Tavrol_ClientCheck::OwnerUnknown;
}

// A socket that may be the sender of the signal being handled goes later.
void DeleteSocketLater(QTcpSocket* socket)
{
    if (socket)
        socket->deleteLater();
}

} // namespace

Tavrol_RequestServer::Tavrol_RequestServer(QObject* parent)
    : QObject(parent), m_server(new OwnerLookupServer(this)), m_socket(nullptr, DeleteSocketLater)
{
    m_server->setListenBacklogSize(ListenBacklog);
    m_firstDataTimer.setSingleShot(true);
    m_firstDataTimer.setInterval(FirstDataTimeoutMs);
    connect(&m_firstDataTimer, &QTimer::timeout, this, &Tavrol_RequestServer::RequestDataSlot);
    connect(m_server, &QTcpServer::newConnection, this,
            &Tavrol_RequestServer::NewConnectionToServerSlot);
}

Tavrol_RequestServer::~Tavrol_RequestServer()
{
    if (m_socket)
        m_socket->disconnect(this);
    m_server->close();
}

bool Tavrol_RequestServer::Listen(int port)
{
    return m_server->listen(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port));
}

quint16 Tavrol_RequestServer::Port() const
{
    return m_server->serverPort();
}

// A connection that arrives while a request is in hand (a dialog's loop lets
// it in) stays pending; the end of that request takes it up.
void Tavrol_RequestServer::NewConnectionToServerSlot()
{
    if (m_connectionBusy)
        return;
    ProcessRequest();
}

void Tavrol_RequestServer::ProcessRequest()
{
    m_connectionBusy = true;
    QTcpSocket* socket = m_server->nextPendingConnection();
    if (!socket) {
        m_connectionBusy = false;
        return;
    }
    m_socket.reset(socket);
    // Data (or the end) may have come while the connection waited its turn.
    if (socket->bytesAvailable() > 0 || socket->state() != QAbstractSocket::ConnectedState) {
        QTimer::singleShot(0, this, &Tavrol_RequestServer::RequestDataSlot);
        return;
    }
    connect(socket, &QIODevice::readyRead, this, &Tavrol_RequestServer::RequestDataSlot);
    connect(socket, &QAbstractSocket::disconnected, this, &Tavrol_RequestServer::RequestDataSlot);
    m_firstDataTimer.start();
}

// The first data, the client's end or the time limit, whichever comes first:
// the request is what has arrived by then.
void Tavrol_RequestServer::RequestDataSlot()
{
    if (!m_socket)
        return;
    m_firstDataTimer.stop();
    m_socket->disconnect(this);
    const Tavrol_Request request = Tavrol_Message::ReadRequest(m_socket.get());
    const int owner = OwnerOf(*m_socket);
    // The message is taken: the client, which holds its end open until it
    // sees this close, may go while the request is carried out.
    m_socket->close();
    if (Tavrol_ClientCheck::UserMayAsk(request.ClientUID, request.ClientGID,
                                       Quolix_ComputerData::UID(), owner))
        CarryOut(request);
    EndRequest();
}

void Tavrol_RequestServer::CarryOut(const Tavrol_Request& request)
{
    const QString action = request.Action.toLower();
    if (action.isEmpty() || action == QLatin1String("test"))
        return;
    if (!request.ClientName.isEmpty() && !m_clientNameList.contains(request.ClientName))
        m_clientNameList.append(request.ClientName);
    if (action == QLatin1String("show"))
        emit ShowSignal();
    else if (action == QLatin1String("hide"))
        emit HideSignal();
    else if (action == QLatin1String("submitjob"))
        emit SubmitJobSignal(request);
}

void Tavrol_RequestServer::EndRequest()
{
    if (m_socket)
        m_socket->close();
    m_socket.reset();
    m_connectionBusy = false;
    if (m_server->hasPendingConnections())
        QTimer::singleShot(0, this, &Tavrol_RequestServer::NewConnectionToServerSlot);
}
