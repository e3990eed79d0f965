#pragma once

// Helpers shared by the test executables.

#include <QByteArray>
#include <QString>

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
