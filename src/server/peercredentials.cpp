#include "server/peercredentials.h"

#include <QByteArray>
#include <QFile>
#include <QHostAddress>
#include <QList>
#include <QTcpSocket>

#include <array>
#include <cerrno>
#include <cstring>

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// Time-wait entries (the client has closed its socket) carry uid 0 and
// inode 0: that 0 means "nobody known", never root. An open socket always
// has an inode.
constexpr int TimeWaitState = 6; // TCP_TIME_WAIT in the kernel's numbering

// A file descriptor closed when it goes out of scope.
class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

// The address in network byte order, 4 bytes for IPv4 and 16 for IPv6;
// empty for anything else.
QByteArray NetworkBytes(const QHostAddress& address)
{
    bool isIPv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIPv4);
    if (isIPv4 && address.protocol() == QAbstractSocket::IPv4Protocol) {
        const quint32 network = htonl(ipv4);
        return QByteArray(reinterpret_cast<const char*>(&network), sizeof network);
    }
    if (address.protocol() == QAbstractSocket::IPv6Protocol) {
        const Q_IPV6ADDR ipv6 = address.toIPv6Address();
        return QByteArray(reinterpret_cast<const char*>(ipv6.c), 16);
    }
    return QByteArray();
}

// The four-byte form of a v4-mapped IPv6 address, or the address itself.
QHostAddress Plain(const QHostAddress& address)
{
    bool isIPv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(ipv4) : address;
}

void FillRequest(inet_diag_req_v2& request, const QByteArray& source, quint16 sourcePort,
                 const QByteArray& destination, quint16 destinationPort)
{
    request.sdiag_family = source.size() == 4 ? AF_INET : AF_INET6;
    request.sdiag_protocol = IPPROTO_TCP;
    request.idiag_states = ~0U;
    request.id.idiag_sport = htons(sourcePort);
    request.id.idiag_dport = htons(destinationPort);
    std::memcpy(request.id.idiag_src, source.constData(), size_t(source.size()));
    std::memcpy(request.id.idiag_dst, destination.constData(), size_t(destination.size()));
    request.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    request.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
}

bool SendQuery(int fd, const inet_diag_req_v2& request)
{
    struct
    {
        nlmsghdr header;
        inet_diag_req_v2 body;
    } message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    message.header.nlmsg_flags = NLM_F_REQUEST;
    message.header.nlmsg_seq = 1;
    message.body = request;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t sent = ::sendto(fd, &message, sizeof message, 0,
                                  reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    return sent == ssize_t(sizeof message);
}

// The uid of the one answer that names exactly the socket asked for.
int UIDFromAnswer(const char* buffer, ssize_t length, const inet_diag_sockid& asked)
{
    // The netlink macros mix signed and unsigned lengths; walk by hand.
    const size_t total = size_t(length);
    size_t offset = 0;
    while (offset + sizeof(nlmsghdr) <= total) {
        const auto* header = reinterpret_cast<const nlmsghdr*>(buffer + offset);
        if (header->nlmsg_len < sizeof(nlmsghdr) || offset + header->nlmsg_len > total)
            return -1;
        offset += NLMSG_ALIGN(header->nlmsg_len);
        if (header->nlmsg_type != SOCK_DIAG_BY_FAMILY ||
            header->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg)))
            return -1; // NLMSG_ERROR (no such socket) or NLMSG_DONE
        const auto* answer = static_cast<const inet_diag_msg*>(NLMSG_DATA(header));
        if (answer->id.idiag_sport != asked.idiag_sport ||
            answer->id.idiag_dport != asked.idiag_dport ||
            std::memcmp(answer->id.idiag_src, asked.idiag_src, sizeof asked.idiag_src) != 0 ||
            std::memcmp(answer->id.idiag_dst, asked.idiag_dst, sizeof asked.idiag_dst) != 0)
            continue;
        if (answer->idiag_state == TimeWaitState || answer->idiag_inode == 0)
            return -1;
        return int(answer->idiag_uid);
    }
    return -1;
}

// "0100007F:1F90": each 32-bit word of the address as the kernel holds it,
// in hex, then the port.
QByteArray ProcNetEndpoint(const QByteArray& networkBytes, quint16 port)
{
    QByteArray text;
    for (int word = 0; word + 4 <= networkBytes.size(); word += 4) {
        quint32 value = 0;
        std::memcpy(&value, networkBytes.constData() + word, sizeof value);
        text += QByteArray::number(value, 16).rightJustified(8, '0').toUpper();
    }
    return text + ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
}

QByteArray V4Mapped(const QByteArray& ipv4)
{
    QByteArray mapped(10, '\0');
    mapped += QByteArray("\xff\xff", 2);
    return mapped + ipv4;
}

// Columns: sl local remote st queues timer retransmits uid timeout inode.
int UIDFromTable(const QString& path, const QByteArray& local, const QByteArray& remote)
{
    QFile table(path);
    if (!table.open(QIODevice::ReadOnly))
        return -1;
    table.readLine(); // the header
    while (!table.atEnd()) {
        const QList<QByteArray> columns = table.readLine().simplified().split(' ');
        if (columns.size() < 10 || columns.at(1) != local || columns.at(2) != remote)
            continue;
        bool uidOk = false;
        const int uid = columns.at(7).toInt(&uidOk, 10);
        if (!uidOk || columns.at(3).toInt(nullptr, 16) == TimeWaitState || columns.at(9) == "0")
            return -1;
        return uid;
    }
    return -1;
}

} // namespace

int Tavrol_PeerCredentials::OwnerUID(const QTcpSocket& accepted)
{
    const QHostAddress source = Plain(accepted.peerAddress());
    const QHostAddress destination = Plain(accepted.localAddress());
    const quint16 sourcePort = accepted.peerPort();
    const quint16 destinationPort = accepted.localPort();
    const int uid = OwnerUIDByNetlink(source, sourcePort, destination, destinationPort);
    if (uid >= 0)
        return uid;
    return OwnerUIDByProcNet(source, sourcePort, destination, destinationPort);
}

int Tavrol_PeerCredentials::OwnerUIDByNetlink(const QHostAddress& source, quint16 sourcePort,
                                              const QHostAddress& destination,
                                              quint16 destinationPort)
{
    const QByteArray sourceBytes = NetworkBytes(source);
    const QByteArray destinationBytes = NetworkBytes(destination);
    if (sourceBytes.isEmpty() || sourceBytes.size() != destinationBytes.size())
        return -1;
    const Descriptor fd(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (fd.Get() < 0)
        return -1;
    // The kernel answers at once; the bound only guards against a kernel
    // that never does.
    const timeval limit{1, 0};
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    inet_diag_req_v2 request{};
    FillRequest(request, sourceBytes, sourcePort, destinationBytes, destinationPort);
    if (!SendQuery(fd.Get(), request))
        return -1;
    alignas(nlmsghdr) std::array<char, 8192> buffer{};
    ssize_t length = 0;
    do
        length = ::recv(fd.Get(), buffer.data(), buffer.size(), 0);
    while (length < 0 && errno == EINTR);
    if (length <= 0)
        return -1;
    return UIDFromAnswer(buffer.data(), length, request.id);
}

int Tavrol_PeerCredentials::OwnerUIDByProcNet(const QHostAddress& source, quint16 sourcePort,
                                              const QHostAddress& destination,
                                              quint16 destinationPort)
{
    const QByteArray sourceBytes = NetworkBytes(source);
    const QByteArray destinationBytes = NetworkBytes(destination);
    if (sourceBytes.isEmpty() || sourceBytes.size() != destinationBytes.size())
        return -1;
    if (sourceBytes.size() == 4) {
        const int uid =
            UIDFromTable(QStringLiteral("/proc/net/tcp"), ProcNetEndpoint(sourceBytes, sourcePort),
                         ProcNetEndpoint(destinationBytes, destinationPort));
        if (uid >= 0)
            return uid;
        // An IPv6 socket that reached an IPv4 address lists it v4-mapped.
        return UIDFromTable(QStringLiteral("/proc/net/tcp6"),
                            ProcNetEndpoint(V4Mapped(sourceBytes), sourcePort),
                            ProcNetEndpoint(V4Mapped(destinationBytes), destinationPort));
    }
    return UIDFromTable(QStringLiteral("/proc/net/tcp6"), ProcNetEndpoint(sourceBytes, sourcePort),
                        ProcNetEndpoint(destinationBytes, destinationPort));
}
