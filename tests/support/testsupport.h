#pragma once

// Helpers shared by the test executables.

#include <QByteArray>
#include <QString>
#include <QtGlobal>

namespace TestSupport {

// A stand-in program of tests/fixtures, by file name.
QString FixturePath(const QString& name);
// The fixtures directory itself.
QString FixturesDir();
// A file of tests/data.
QString TestDataPath(const QString& name);
// The built tavrol executable.
QString TavrolBinary();
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

} // namespace TestSupport
