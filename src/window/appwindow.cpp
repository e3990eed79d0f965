#include "window/appwindow.h"

#include "app/globals.h"
#include "console/console.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QTcpServer>
#include <QTimer>

// Early version: the views and the project come in the following commits.

Tavrol_AppWindow::Tavrol_AppWindow(QObject* parent, Qt::WindowFlags flags)
    : QObject(parent), m_windowFlags(flags)
{
    if (IsConsoleRunMode()) {
        m_console = new Tavrol_Console();
    } else {
        m_mainWindow = new QMainWindow(nullptr, flags);
        m_mainWindow->installEventFilter(this);
    }
}

Tavrol_AppWindow::~Tavrol_AppWindow()
{
    if (m_mainWindow) {
        m_mainWindow->hide();
        delete m_mainWindow;
        m_mainWindow = nullptr;
    }
    delete m_console;
    m_console = nullptr;
    if (m_server) {
        m_server->close();
        delete m_server;
        m_server = nullptr;
    }
}

void Tavrol_AppWindow::BuildWidgets() {}

bool Tavrol_AppWindow::Start()
{
    BuildWidgets();
    if (m_console)
        m_console->SetTitle(TitleText());
    else
        m_mainWindow->setWindowTitle(TitleText());
    NewProject(StartupFilePath);
    UpdateCaption();
    StartServer();
    return true;
}

void Tavrol_AppWindow::Show(uint)
{
    if (m_console) {
        if (NoEventLoop)
            m_console->RunSlot();
        else
            QTimer::singleShot(0, m_console, &Tavrol_Console::RunSlot);
        return;
    }
    m_mainWindow->setVisible(true);
}

void Tavrol_AppWindow::Show()
{
    Show(10);
}

void Tavrol_AppWindow::SystemTrayQuitSlot()
{
    m_showQuitting = true;
    ExitSlot();
}

void Tavrol_AppWindow::AboutSlot() {}

void Tavrol_AppWindow::CurrentTabChangedSlot(int) {}

void Tavrol_AppWindow::ExitSlot()
{
    if (!m_showQuitting)
        return;
    m_cancelClose = false;
    if (SaveIfModified() < 2) {
        QApplication::closeAllWindows();
        if (m_console)
            m_console->Stop();
        QCoreApplication::quit();
    }
    m_cancelClose = false;
}

void Tavrol_AppWindow::NewJobsSlot()
{
    SubmitJobs(QStringList(), 0, -1);
}

void Tavrol_AppWindow::OkaySlot()
{
    if (m_mainWindow)
        m_mainWindow->setVisible(false);
}

void Tavrol_AppWindow::UpdateMenusSlot() {}

void Tavrol_AppWindow::SystemTrayShowWindowSlot() {}

void Tavrol_AppWindow::SystemTrayHideWindowSlot()
{
    OkaySlot();
}

void Tavrol_AppWindow::SubmitJobs(const QStringList&, int, int) {}

bool Tavrol_AppWindow::eventFilter(QObject* watched, QEvent* event)
{
    return QObject::eventFilter(watched, event);
}
