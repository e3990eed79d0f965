// The cost of finding who owns a client's socket: one look-up by the
// kernel's socket diagnostics and one by the tables under /proc/net, with a
// single connection open and with many (the /proc/net tables are read
// whole, so their cost grows with the number of sockets on the machine).
//
// Usage: bench_peercredentials [look-ups] [other connections]
//        (defaults: 2000, 1000)

#include "server/peercredentials.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include <sys/resource.h>

namespace {

using Lookup = std::function<int(const QTcpSocket&)>;

double MicrosecondsPerLookup(const QTcpSocket& accepted, const Lookup& lookup, int count)
{
    QElapsedTimer timer;
    timer.start();
    int found = 0;
    for (int i = 0; i < count; ++i)
        found += lookup(accepted) >= 0 ? 1 : 0;
    const double microseconds = double(timer.nsecsElapsed()) / 1e3 / count;
    return found == count ? microseconds : -1;
}

int ByNetlink(const QTcpSocket& accepted)
{
    return Tavrol_PeerCredentials::OwnerUIDByNetlink(accepted.peerAddress(), accepted.peerPort(),
                                                     accepted.localAddress(), accepted.localPort());
}

int ByProcNet(const QTcpSocket& accepted)
{
    return Tavrol_PeerCredentials::OwnerUIDByProcNet(accepted.peerAddress(), accepted.peerPort(),
                                                     accepted.localAddress(), accepted.localPort());
}

void RaiseFileLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

void Report(const char* setting, const QTcpSocket& accepted, int count)
{
    std::printf("%-28s netlink %8.1f us   /proc/net %8.1f us   (per look-up, %d each)\n", setting,
                MicrosecondsPerLookup(accepted, ByNetlink, count),
                MicrosecondsPerLookup(accepted, ByProcNet, count), count);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const int count = arguments.size() > 1 ? arguments.at(1).toInt() : 2000;
    const int others = arguments.size() > 2 ? arguments.at(2).toInt() : 1000;
    RaiseFileLimit();

    QTcpServer server;
    server.setMaxPendingConnections(others + 2);
    server.setListenBacklogSize(others + 2);
    if (!server.listen(QHostAddress(QHostAddress::LocalHost), 0))
        return 1;
    QTcpSocket client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), server.serverPort());
    if (!client.waitForConnected(5000) || !server.waitForNewConnection(5000))
        return 1;
    const std::unique_ptr<QTcpSocket> accepted(server.nextPendingConnection());
    Report("one connection open:", *accepted, count);

    std::vector<std::unique_ptr<QTcpSocket>> open;
    for (int i = 0; i < others; ++i) {
        auto socket = std::make_unique<QTcpSocket>();
        socket->connectToHost(QHostAddress(QHostAddress::LocalHost), server.serverPort());
        if (!socket->waitForConnected(5000))
            break;
        open.push_back(std::move(socket));
    }
    const QByteArray setting = QByteArray::number(qulonglong(open.size())) + " more connections:";
    Report(setting.constData(), *accepted, count);
    return 0;
}
