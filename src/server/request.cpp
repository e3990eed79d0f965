#include "window/appwindow.h"

#include "app/globals.h"
#include "platform/computerdata.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

// Early version: requests are read and acted on in the following commits.

void Tavrol_AppWindow::StartServer()
{
    m_server = new QTcpServer(this);
    const int port = (RunMode < 2 || RunMode > 5) ? Quolix_ComputerData::TavrolGUIPortNumber()
                                                  : Quolix_ComputerData::TavrolConsolePortNumber();
    m_server->listen(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port));
    connect(m_server, &QTcpServer::newConnection, this,
            &Tavrol_AppWindow::NewConnectionToServerSlot);
}

void Tavrol_AppWindow::NewConnectionToServerSlot()
{
    if (m_connectionBusy) {
        QTimer::singleShot(100, this, &Tavrol_AppWindow::NewConnectionToServerSlot);
        return;
    }
    ProcessRequest();
}

void Tavrol_AppWindow::ProcessRequest()
{
    m_connectionBusy = true;
    QTcpSocket* socket = m_server ? m_server->nextPendingConnection() : nullptr;
    if (socket) {
        socket->close();
        delete socket;
    }
    m_connectionBusy = false;
}
