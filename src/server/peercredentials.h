#pragma once

#include <QtGlobal>

class QHostAddress;
class QTcpSocket;

// Who owns the other end of a loopback TCP connection, as the kernel knows
// it: the user id of the client's socket, found by its exact four-tuple.
// A client's word about itself is never taken; its socket is.
//
// The client's socket must still be open: once the client has closed it,
// the kernel keeps only a time-wait entry that names nobody, and the owner
// counts as not found. Look the owner up as soon as a connection is taken.
class Tavrol_PeerCredentials
{
public:
    // The uid that owns the client's end of an accepted connection, or -1
    // when it cannot be found. Asks the kernel's socket diagnostics first
    // and reads the socket tables under /proc/net when that fails.
    static int OwnerUID(const QTcpSocket& accepted);

    // The owner of the socket bound to source and connected to destination
    // (for an accepted connection: its peer, then its local end), or -1.
    static int OwnerUIDByNetlink(const QHostAddress& source, quint16 sourcePort,
                                 const QHostAddress& destination, quint16 destinationPort);
    static int OwnerUIDByProcNet(const QHostAddress& source, quint16 sourcePort,
                                 const QHostAddress& destination, quint16 destinationPort);
};
