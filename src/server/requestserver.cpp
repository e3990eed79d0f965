#include "server/requestserver.h"

#include "platform/computerdata.h"
#include "server/clientcheck.h"
#include "server/clientconnection.h"
#include "server/message.h"
#include "server/peercredentials.h"

#include <QBuffer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

namespace {

// The owner of a client's socket is looked up the moment the connection is
// accepted, while the client is most surely still there to be found.
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

} // namespace

Tavrol_RequestServer::Tavrol_RequestServer(QObject* parent)
    : QObject(parent), m_server(new OwnerLookupServer(this))
{
    m_server->setListenBacklogSize(ListenBacklog);
    // Qt stops accepting while a connection it accepted is not taken; one
    // that waits for room keeps the rest in the system's listen queue.
    m_server->setMaxPendingConnections(1);
    connect(m_server, &QTcpServer::newConnection, this,
            &Tavrol_RequestServer::NewConnectionToServerSlot);
}

Tavrol_RequestServer::~Tavrol_RequestServer()
{
    for (Tavrol_ClientConnection* connection : m_connections)
        connection->disconnect(this);
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

void Tavrol_RequestServer::NewConnectionToServerSlot()
{
    TakeConnections();
}

// Taking a connection lets Qt accept the next one from the listen queue.
void Tavrol_RequestServer::TakeConnections()
{
    while (m_server->hasPendingConnections()) {
        if (HeldConnections() >= MaxConnections && !GiveUpOneIncomplete())
            return;
        QTcpSocket* socket = m_server->nextPendingConnection();
        if (!socket)
            return;
        auto* connection = new Tavrol_ClientConnection(socket, OwnerOf(*socket), this);
        connect(connection, &Tavrol_ClientConnection::CompleteSignal, this,
                &Tavrol_RequestServer::ConnectionCompleteSlot);
        connect(connection, &Tavrol_ClientConnection::DroppedSignal, this,
                &Tavrol_RequestServer::ConnectionDroppedSlot);
        m_connections.push_back(connection);
    }
}

// Room for a connection that waits: the oldest that has sent nothing goes,
// else the oldest whose message is still coming. Complete messages stay.
bool Tavrol_RequestServer::GiveUpOneIncomplete()
{
    const auto silent = std::find_if(
        m_connections.begin(), m_connections.end(),
        [](const Tavrol_ClientConnection* c) { return !c->IsComplete() && !c->HasData(); });
    const auto chosen =
        silent != m_connections.end()
            ? silent
            : std::find_if(m_connections.begin(), m_connections.end(),
                           [](const Tavrol_ClientConnection* c) { return !c->IsComplete(); });
    if (chosen == m_connections.end())
        return false;
    Tavrol_ClientConnection* connection = *chosen;
    m_connections.erase(chosen);
    Forget(connection);
    return true;
}

int Tavrol_RequestServer::WaitingRequests() const
{
    return int(std::count_if(m_connections.begin(), m_connections.end(),
                             [](const Tavrol_ClientConnection* c) { return c->IsComplete(); }));
}

// Serves every complete message in turn. A dialog opened by one lets this be
// entered again from its event loop; that call leaves the rest to this one.
void Tavrol_RequestServer::ConnectionCompleteSlot()
{
    if (m_connectionBusy)
        return;
    m_connectionBusy = true;
    while (Tavrol_ClientConnection* connection = TakeFirstComplete()) {
        const QByteArray message = connection->Message();
        const int owner = connection->OwnerUID();
        // The message is taken: the client, which holds its end open until
        // it sees this close, may go while the request is carried out.
        Forget(connection);
        Serve(message, owner);
    }
    m_connectionBusy = false;
}

void Tavrol_RequestServer::ConnectionDroppedSlot(Tavrol_ClientConnection* connection)
{
    m_connections.remove(connection);
    Forget(connection);
}

Tavrol_ClientConnection* Tavrol_RequestServer::TakeFirstComplete()
{
    const auto found =
        std::find_if(m_connections.begin(), m_connections.end(),
                     [](const Tavrol_ClientConnection* c) { return c->IsComplete(); });
    if (found == m_connections.end())
        return nullptr;
    Tavrol_ClientConnection* connection = *found;
    m_connections.erase(found);
    return connection;
}

void Tavrol_RequestServer::Serve(QByteArray message, int ownerUID)
{
    QBuffer buffer(&message);
    buffer.open(QIODevice::ReadOnly);
    const Tavrol_Request request = Tavrol_Message::ReadRequest(&buffer);
    if (Tavrol_ClientCheck::UserMayAsk(request.ClientUID, request.ClientGID,
                                       Quolix_ComputerData::UID(), ownerUID))
        CarryOut(request);
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

// The end of a connection, served or not: closed without a word, deleted
// from the event loop (it may be the sender of the signal in hand), and its
// place given to the next connection waiting.
void Tavrol_RequestServer::Forget(Tavrol_ClientConnection* connection)
{
    connection->disconnect(this);
    connection->Close();
    connection->deleteLater();
    QTimer::singleShot(0, this, &Tavrol_RequestServer::TakeConnections);
}
