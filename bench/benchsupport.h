#pragma once

// Loopback addresses and free ports for the benchmark programs.

#include <QtGlobal>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

inline sockaddr_in Loopback(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A port nobody listens on at this moment.
inline quint16 FreePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(0);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

} // namespace Bench
