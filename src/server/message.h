#pragma once

#include <QString>

#include <utility>
#include <vector>

class QHostAddress;
class QIODevice;
class QTcpSocket;
class Tavrol_Job;

// One client request as it came off the wire: every value is kept as text;
// numbers are read only where they are used.
struct Tavrol_Request
{
    QString ClientName;
    QString ClientAppName;
    QString ClientAddress;
    QString ClientPort;
    QString ClientUID;
    QString ClientGID;
    QString ClientNotification;
    QString Action;
    bool ConfirmAction = false;
    QString JobSilent; // accepted and kept, never read
    QString JobTypeName;
    QString JobClass;
    QString JobName;
    QString JobQueue;
    QString JobInputFile;
    QString JobInputFile2;
    QString JobStandardInputFile;
    QString JobOutputFile;
    QString JobStandardOutputFile;
    QString JobChkFile;
    QString JobChkFile1;
    // "@NAME=value" lines in order of arrival, duplicates kept.
    std::vector<std::pair<QString, QString>> JobVariables;
};

// The wire format of the local socket protocol: one text message per
// connection, key lines separated by a line feed, in the local 8-bit encoding.
class Tavrol_Message
{
public:
    // Reads lines until the stream reports its end; nothing is waited for.
    static Tavrol_Request ReadRequest(QIODevice* device);
    // The server's way: one wait of up to 30 seconds for the first data, then
    // whatever has arrived. A client must write its whole message at once.
    static Tavrol_Request ReceiveRequest(QTcpSocket* socket);
    // Files one line into the request; lines that match no key vanish.
    static void ClassifyLine(Tavrol_Request& request, const QString& line);

    // "clientname=<name>\naction=test", with no final line feed.
    static QString TestMessage(const QString& clientName);
    // The job finished notification, with this process's client name as the
    // server and the given exit code.
    static QString JobFinishedMessage(const Tavrol_Job& job, int exitCode);

    // Streams text into a socket that is not yet connected, connects, waits up
    // to connectTimeoutMs, waits for the write if connected, and closes. The
    // bytes leave from the event loop after this returns; the socket then
    // deletes itself. True if the connection was made.
    static bool Send(const QString& text, const QHostAddress& address, quint16 port,
                     int connectTimeoutMs);
    // The test message to this machine's own port, 1 second to connect.
    static bool SendTestMessage(const QString& clientName, quint16 port);

    // Sockets that Send made and that have not yet been reclaimed.
    static int SocketsInFlight();

    static constexpr int TestConnectTimeoutMs = 1000;
    static constexpr int NotificationTimeoutMs = 30000;
    static constexpr int ReadyReadTimeoutMs = 30000;
    static constexpr int BytesWrittenTimeoutMs = 30000;
};
