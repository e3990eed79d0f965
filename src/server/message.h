#pragma once

#include <QString>

#include <utility>
#include <vector>

class QHostAddress;
class QIODevice;
class QTcpSocket;
class Tavrol_Job;
class Tavrol_MessageSender;

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
    // A blocking read for a client of its own: one wait of up to 30 seconds
    // for the first data, then whatever has arrived. The server does not
    // wait; it reads with ReadRequest once the data is there.
    static Tavrol_Request ReceiveRequest(QTcpSocket* socket);
    // Files one line into the request; lines that match no key vanish.
    static void ClassifyLine(Tavrol_Request& request, const QString& line);

    // A client's request as its lines: every field that is not empty, in the
    // order of the key table, then the confirm word when set, then the job
    // variables with their line feeds as "_;_". No final line feed.
    static QString RequestText(const Tavrol_Request& request);

    // "clientname=<name>\naction=test", with no final line feed.
    static QString TestMessage(const QString& clientName);
    // The job finished notification, with this process's client name as the
    // server and the given exit code.
    static QString JobFinishedMessage(const Tavrol_Job& job, int exitCode);

    // Sends text on a new connection and returns at once: the connect, waited
    // for up to connectTimeoutMs, and the write go on from the event loop. The
    // sender deletes itself when done and tells whether the peer was reached.
    static Tavrol_MessageSender* Send(const QString& text, const QHostAddress& address,
                                      quint16 port, int connectTimeoutMs);
    // The test message to this machine's own port, 1 second to connect.
    static Tavrol_MessageSender* SendTestMessage(const QString& clientName, quint16 port);

    // Sends that have not yet finished.
    static int SocketsInFlight();

    static constexpr int TestConnectTimeoutMs = 1000;
    static constexpr int NotificationTimeoutMs = 30000;
    static constexpr int ReadyReadTimeoutMs = 30000;
    static constexpr int BytesWrittenTimeoutMs = 30000;
};
