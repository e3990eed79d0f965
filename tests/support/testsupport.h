#pragma once

// Helpers shared by the test executables.

#include <QByteArray>
#include <QString>
#include <QtGlobal>

class QTcpServer;
class QTcpSocket;
struct Tavrol_Request;

namespace TestSupport {

// A stand-in program of tests/fixtures, by file name.
QString FixturePath(const QString& name);
// The fixtures directory itself.
QString FixturesDir();
// A file of tests/data.
QString TestDataPath(const QString& name);
// The built tavrol executable.
QString TavrolBinary();
QString SubmitBinary(); // tavrol-submit
// The primary group of a user of the system, or -1 for an unknown user.
int FirstGroupOfUser(int uid);

// A request written whole to a server of this process on the loopback port,
// the connection held open until the server closes it: a server trusts only
// the owner of an open client socket. The socket is deleted once closed;
// the caller's event loop must run meanwhile.
bool SendAndHold(quint16 port, const QByteArray& message);
// A raw loopback client socket, connected, that the kernel records as made
// by the user uid (only root can make one for another user); -1 on failure.
int ConnectAs(int uid, quint16 port);

// Writes a file whole, replacing what it held; false if it cannot be opened.
bool WriteFile(const QString& path, const QByteArray& contents);
// The same, answering with the path, or an empty string on failure.
QString WrittenFile(const QString& path, const QByteArray& contents);

// Alive means present and not a zombie: a killed orphan may stay a zombie of
// an init that does not reap.
bool IsAlive(int pid);

// Takes the next connection of server and collects all it sends until the
// peer disconnects; "<no connection>" when none comes.
QByteArray ReceiveAll(QTcpServer& server);
// Collects all a connected socket receives until the peer disconnects, for at
// most 30 seconds, running the events meanwhile.
QByteArray ReadUntilClosed(QTcpSocket& socket);

// A request as the server's reader takes it from these bytes.
Tavrol_Request RequestOf(const QByteArray& bytes);

} // namespace TestSupport
