#include "window/appwindow.h"

#include "app/app.h"
#include "app/globals.h"
#include "app/settings.h"
#include "console/console.h"
#include "jobs/queueid.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/error.h"
#include "platform/helpdialog.h"
#include "platform/registry.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "server/jobtypeselection.h"
#include "server/requestserver.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/openfilesdialog.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QInputDialog>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QSizeGrip>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// The window keeps at least this distance from the top left of the desktop.
constexpr int MinimumWindowPosition = 10;
// Gaps of the window's layout: around the tabs and the button row, and above
// each view inside its tab.
constexpr int WindowGap = 10;
constexpr int TabTopGap = 20;

const char* const TabTitles[] = {"Long Jobs Queue", "Short Jobs Queue", "Queueless Jobs",
                                 "Running Jobs",    "Finished Jobs",    "Job Types"};

QVBoxLayout* TightVBoxLayout(QWidget* widget)
{
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    return layout;
}

} // namespace

Tavrol_AppWindow::Tavrol_AppWindow(QObject* parent, Qt::WindowFlags flags) : QObject(parent)
{
    if (IsConsoleRunMode()) {
        m_console = new Tavrol_Console();
    } else {
        m_mainWindow = new QMainWindow(nullptr, flags);
        m_mainWindow->installEventFilter(this);
    }
}

// The views, and the queues and jobs inside them, go before the window.
Tavrol_AppWindow::~Tavrol_AppWindow()
{
    // An orderly end is a normal one: only a crash or a kill leaves a copy.
    if (m_recovery)
        m_recovery->Finish();
    delete m_longView;
    m_longView = nullptr;
    delete m_shortView;
    m_shortView = nullptr;
    delete m_queuelessView;
    m_queuelessView = nullptr;
    delete m_runningView;
    m_runningView = nullptr;
    delete m_finishedView;
    m_finishedView = nullptr;
    delete m_jobTypesView;
    m_jobTypesView = nullptr;
    delete m_trayIcon;
    m_trayIcon = nullptr;
    if (m_mainWindow) {
        m_mainWindow->removeEventFilter(this);
        m_mainWindow->hide();
        delete m_mainWindow;
        m_mainWindow = nullptr;
    }
    delete m_console;
    m_console = nullptr;
    delete m_server;
    m_server = nullptr;
    if (TavrolAppWindow == this)
        TavrolAppWindow = nullptr;
}

QString Tavrol_AppWindow::AboutText()
{
    return TitleText() + QStringLiteral("     (") + PlatformText() + QStringLiteral(")\n\n") +
           MakersNotice();
}

void Tavrol_AppWindow::BuildWidgets()
{
    if (m_mainWindow)
        BuildMainWindowFrame();
    CreateViews();
}

// The six views, in tab order. In the window each view's frame sits on its
// tab below a gap; in the console the views have no parent and no frame.
void Tavrol_AppWindow::CreateViews()
{
    const auto tabFrame = [this](int tab) -> QWidget* {
        return tab < m_tabFrames.size() ? m_tabFrames[tab] : nullptr;
    };
    m_longView = new Tavrol_LongJobsQueueWidget(tabFrame(0));
    m_shortView = new Tavrol_ShortJobsQueueWidget(tabFrame(1));
    m_queuelessView = new Tavrol_QueuelessJobsWidget(tabFrame(2));
    m_runningView = new Tavrol_RunningJobsWidget(tabFrame(3));
    m_finishedView = new Tavrol_FinishedJobsWidget(tabFrame(4));
    m_jobTypesView = new Tavrol_JobTypesWidget(tabFrame(5));
    if (m_tabFrames.isEmpty())
        return;
    AddViewFrame(0, m_longView->Frame());
    AddViewFrame(1, m_shortView->Frame());
    AddViewFrame(2, m_queuelessView->Frame());
    AddViewFrame(3, m_runningView->Frame());
    AddViewFrame(4, m_finishedView->Frame());
    AddViewFrame(5, m_jobTypesView->Frame());
}

void Tavrol_AppWindow::AddViewFrame(int tab, QFrame* viewFrame)
{
    if (viewFrame)
        m_tabFrames[tab]->layout()->addWidget(viewFrame);
}

// The central frame: the tabs, a sunken line and the button row, with gaps
// of 10 between them. The tab frames wait for their views.
void Tavrol_AppWindow::BuildMainWindowFrame()
{
    m_centralFrame = new QFrame(m_mainWindow);
    m_mainWindow->setCentralWidget(m_centralFrame);
    QVBoxLayout* layout = TightVBoxLayout(m_centralFrame);
    layout->addSpacing(WindowGap);

    m_tabWidget = new QTabWidget(m_centralFrame);
    layout->addWidget(m_tabWidget);
    layout->addSpacing(WindowGap);
    for (const char* title : TabTitles)
        m_tabFrames.append(AddTab(QString::fromLatin1(title)));

    auto* line = new QFrame(m_centralFrame);
    line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    layout->addWidget(line);
    layout->addSpacing(WindowGap);
    auto* buttonRow = new QHBoxLayout();
    layout->addLayout(buttonRow);
    layout->addSpacing(WindowGap);
    BuildButtonRow(buttonRow);

    connect(m_tabWidget, &QTabWidget::currentChanged, this,
            &Tavrol_AppWindow::CurrentTabChangedSlot);
}

QFrame* Tavrol_AppWindow::AddTab(const QString& title)
{
    auto* frame = new QFrame(m_tabWidget);
    QVBoxLayout* layout = TightVBoxLayout(frame);
    layout->addSpacing(TabTopGap);
    m_tabWidget->addTab(frame, title);
    return frame;
}

// Submit on the left, Hide and Exit in the middle, Help and About on the
// right, then the size grip in the corner.
void Tavrol_AppWindow::BuildButtonRow(QBoxLayout* layout)
{
    m_submitButton = new QPushButton(QStringLiteral("Submit Jobs..."), m_centralFrame);
    m_hideButton = new QPushButton(QStringLiteral("Hide"), m_centralFrame);
    m_exitButton = new QPushButton(QStringLiteral("Exit"), m_centralFrame);
    auto* helpButton = new QPushButton(QStringLiteral("Help"), m_centralFrame);
    auto* aboutButton = new QPushButton(QStringLiteral("About"), m_centralFrame);
    for (QPushButton* button : {helpButton, aboutButton}) {
        button->setAutoDefault(false);
        button->setDefault(false);
    }

    layout->addSpacing(WindowGap);
    layout->addWidget(m_submitButton);
    layout->addStretch();
    layout->addWidget(m_hideButton);
    layout->addSpacing(WindowGap);
    layout->addWidget(m_exitButton);
    layout->addStretch();
    layout->addWidget(helpButton);
    layout->addSpacing(WindowGap);
    layout->addWidget(aboutButton);
    layout->addSpacing(WindowGap);
    layout->addWidget(new QSizeGrip(m_centralFrame), 0, Qt::AlignBottom | Qt::AlignRight);

    connect(m_submitButton, &QPushButton::clicked, this, &Tavrol_AppWindow::NewJobsSlot);
    connect(m_hideButton, &QPushButton::clicked, this, &Tavrol_AppWindow::OkaySlot);
    connect(m_exitButton, &QPushButton::clicked, this, &Tavrol_AppWindow::SystemTrayQuitSlot);
    connect(aboutButton, &QPushButton::clicked, this, &Tavrol_AppWindow::AboutSlot);
    Quolix_HelpDialog::Global()->ConnectButton(helpButton, QStringLiteral("tavrol/introduction"));
}

// The tray icon takes the window's icon and its title as it is now; neither
// is kept up to date. Whether the desktop has a tray is not asked.
void Tavrol_AppWindow::CreateTrayIcon()
{
    m_trayMenu = new QMenu(m_mainWindow);
    m_showAction = m_trayMenu->addAction(tr("&Show GUI"));
    m_hideAction = m_trayMenu->addAction(tr("&Hide GUI"));
    m_exitAction = m_trayMenu->addAction(tr("&Exit"));
    connect(m_showAction, &QAction::triggered, this, &Tavrol_AppWindow::SystemTrayShowWindowSlot);
    connect(m_hideAction, &QAction::triggered, this, &Tavrol_AppWindow::SystemTrayHideWindowSlot);
    connect(m_exitAction, &QAction::triggered, this, &Tavrol_AppWindow::SystemTrayQuitSlot);

    m_trayIcon = new QSystemTrayIcon(m_mainWindow->windowIcon(), this);
    m_trayIcon->setToolTip(m_mainWindow->windowTitle());
    m_trayIcon->setContextMenu(m_trayMenu);
    m_trayIcon->setVisible(true);
}

bool Tavrol_AppWindow::Start()
{
    BuildWidgets();
    if (m_mainWindow) {
        m_mainWindow->setWindowTitle(TitleText());
        m_mainWindow->setWindowIcon(QIcon(QStringLiteral(":/tavrolgui")));
        Quolix_Registry::m_pAppWindow = m_mainWindow;
        Quolix_Registry::SetDefaultIcon(QPixmap(QStringLiteral(":/tavrolgui")));
    } else {
        m_console->SetTitle(TitleText());
    }
    RestoreLastDirectory();
    const QString projectPath = StartupProjectPath(ExistingRecentProjects());
    if (OfferRecovery(projectPath)) {
        // the project as it was when the last process ended abnormally
    } else if (!projectPath.isEmpty() && QFile::exists(projectPath)) {
        if (!OpenProject(projectPath))
            NewProject(projectPath);
    } else {
        NewProject(projectPath);
    }
    if (m_recovery)
        m_recovery->Watch();
    RestoreToolBarState();
    UpdateCaption();
    if (m_mainWindow)
        CreateTrayIcon();
    StartServer();
    return true;
}

void Tavrol_AppWindow::RestoreLastDirectory() const
{
    const QString directory =
        Tavrol_Settings()
            .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath))
            .toString();
    if (!directory.isEmpty() && QFileInfo(directory).isDir())
        QDir::setCurrent(directory);
}

QStringList Tavrol_AppWindow::ExistingRecentProjects()
{
    const QStringList recent = Tavrol_Settings()
                                   .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentProjects))
                                   .toStringList();
    QStringList existing;
    for (const QString& path : recent) {
        if (QFileInfo(path).isFile())
            existing.append(path);
    }
    return existing;
}

// The project named on the command line, unless its directory is gone; else
// the most recent project that still exists; else none.
QString Tavrol_AppWindow::StartupProjectPath(const QStringList& existingRecentProjects)
{
    QString path = StartupFilePath;
    if (!path.isEmpty() && !QFileInfo(path).absoluteDir().exists())
        path.clear();
    if (path.isEmpty() && !existingRecentProjects.isEmpty())
        path = existingRecentProjects.first();
    return path;
}

// The tested key carries no version prefix while the stored one does, so in
// practice nothing is restored; that is how it has always behaved.
void Tavrol_AppWindow::RestoreToolBarState()
{
    if (!m_mainWindow)
        return;
    Tavrol_Settings settings;
    if (!settings.contains(QStringLiteral("Main_Window/ToolBar_State_0")))
        return;
    const QByteArray state = settings
                                 .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::ToolBarState),
                                        m_mainWindow->saveState(0))
                                 .toByteArray();
    m_mainWindow->restoreState(state, 0);
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
    const QScreen* screen = m_mainWindow->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    m_mainWindow->resize(available.width() / 2, available.height() / 2);
    m_mainWindow->raise();
    m_mainWindow->move(WindowPosition(available, m_mainWindow->size()));
}

QPoint Tavrol_AppWindow::WindowPosition(const QRect& available, const QSize& size)
{
    const int x = available.x() + (available.width() - size.width()) / 2;
    const int y = available.y() + (available.height() - size.height()) / 2;
    return QPoint(std::max(x, MinimumWindowPosition), std::max(y, MinimumWindowPosition));
}

void Tavrol_AppWindow::Show()
{
    Show(10);
}

void Tavrol_AppWindow::SystemTrayQuitSlot()
{
    if (m_mainWindow) {
        if (!m_mainWindow->isVisible())
            m_mainWindow->showNormal();
        // The console has asked its own question before it comes here.
        if (Quolix_Error::ReportWarning(QStringLiteral("Exit Tavrol"),
                                        QStringLiteral("Are you sure you want to completely "
                                                       "exit Tavrol?"),
                                        5, 2) != Quolix_Error::AnswerYes)
            return;
    }
    m_showQuitting = true;
    ExitSlot();
}

void Tavrol_AppWindow::AboutSlot()
{
    QMessageBox box(QMessageBox::Information, QStringLiteral("About TavrolGUI"), AboutText(),
                    QMessageBox::Ok, m_mainWindow);
    box.setDefaultButton(QMessageBox::Ok);
    box.exec();
}

// The view that has just come into sight shows the state of now.
void Tavrol_AppWindow::CurrentTabChangedSlot(int index)
{
    switch (index) {
    case 0:
        if (m_longView)
            m_longView->RebuildTable();
        break;
    case 1:
        if (m_shortView)
            m_shortView->RebuildTable();
        break;
    case 2:
        if (m_queuelessView)
            m_queuelessView->RebuildTable();
        break;
    case 3:
        // The process table is read beside the event loop: ps may be slow.
        if (m_runningView)
            m_runningView->RefreshSlot();
        break;
    case 4:
        if (m_finishedView)
            m_finishedView->Update();
        break;
    case 5:
        if (m_jobTypesView)
            m_jobTypesView->Refresh();
        break;
    default:
        break;
    }
}

// A complete exit: the save question (a cancel ends here), the running jobs
// killed, not waited for, the store closed, then the loop ended.
void Tavrol_AppWindow::ExitSlot()
{
    if (!m_showQuitting)
        return;
    m_cancelClose = false;
    if (SaveIfModified() != ProjectSaveCancelled) {
        if (m_recovery)
            m_recovery->Finish(); // a normal end leaves no recovery copy
        if (m_longView)
            m_longView->PauseAndKillRunningJobs();
        if (m_shortView)
            m_shortView->PauseAndKillRunningJobs();
        if (m_queuelessView)
            m_queuelessView->KillRunningJobs();
        Tavrol_Database_Manager::Instance()->CloseAll();
        QApplication::closeAllWindows();
        if (m_console)
            m_console->Stop();
        if (TavrolApplication)
            TavrolApplication->QuitSlot(); // without an event loop this ends the process
        else
            QCoreApplication::quit();
    }
    if (m_cancelClose)
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

void Tavrol_AppWindow::SystemTrayShowWindowSlot()
{
    if (m_mainWindow)
        ActivateMainWindow();
}

void Tavrol_AppWindow::SystemTrayHideWindowSlot()
{
    OkaySlot();
}

void Tavrol_AppWindow::ActivateMainWindow()
{
    m_mainWindow->setWindowState(
        (m_mainWindow->windowState() & ~(Qt::WindowMinimized | Qt::WindowActive)) |
        Qt::WindowActive);
    m_mainWindow->showNormal();
    m_mainWindow->raise();
}

// The close button only hides the window; a close goes through only during a
// confirmed exit that no save question has cancelled.
bool Tavrol_AppWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_mainWindow || event->type() != QEvent::Close)
        return QObject::eventFilter(watched, event);
    m_mainWindow->setVisible(false);
    if (!m_cancelClose && m_showQuitting)
        return false;
    event->ignore();
    m_cancelClose = false;
    return true;
}

// Files handed over by the views (dropped on a table) or by "Submit Jobs...":
// the user checks them in the Open Files dialog first, and each checked file
// that still exists goes to the view of its queue.
void Tavrol_AppWindow::SubmitJobs(const QStringList& files, int queueSelector, int jobTypeId)
{
    std::vector<Tavrol_JobType> jobTypes;
    QStringList names;
    Tavrol_JobType::GetAll(jobTypes, names);
    if (jobTypes.empty())
        return;
    Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
    if (dialog->ExecFileList(QStringLiteral("Job Input Files"), files, queueSelector, jobTypeId,
                             true) == 0)
        return;
    const QStringList checked = dialog->CheckedFilePaths();
    for (const QString& file : checked) {
        if (QFile::exists(file))
            SubmitCheckedFile(file, dialog->DestQueue(), dialog->OpenAs(), jobTypes, names);
    }
}

// The job type and queue of one checked file: the type chosen, or else the
// first whose filter takes the file, or else the user's answer; the queue
// chosen, or else the default queue of the type, or of the first type whose
// filter takes the file. A file left without either is skipped.
void Tavrol_AppWindow::SubmitCheckedFile(const QString& file, int destination, int jobTypeId,
                                         const std::vector<Tavrol_JobType>& jobTypes,
                                         const QStringList& names)
{
    int index = Tavrol_JobType::IndexForFile(jobTypes, file, jobTypeId);
    if (index >= 0 && jobTypes[size_t(index)].JobTypeID == -1)
        index = -1;
    if (index < 0) {
        index = Tavrol_JobType::IndexOfID(jobTypes, AskJobTypeID(file, jobTypes, names));
        if (index < 0)
            return;
    }
    if (destination == Tavrol_QueueID::AutoDestination)
        destination = Tavrol_QueueID::ToDestination(jobTypes[size_t(index)].DefaultQueueID());
    if (destination == Tavrol_QueueID::AutoDestination) {
        const int matching = Tavrol_JobType::IndexForFile(jobTypes, file, -1);
        if (matching >= 0)
            destination =
                Tavrol_QueueID::ToDestination(jobTypes[size_t(matching)].DefaultQueueID());
    }
    Tavrol_JobsWidget* view = QueueView(Tavrol_QueueID::FromDestination(destination));
    if (destination != Tavrol_QueueID::AutoDestination && view)
        view->AddJobFromFile(file, jobTypes[size_t(index)].JobTypeID);
}

// Asks for the job type of a file that no filter takes; -1 skips the file.
int Tavrol_AppWindow::AskJobTypeID(const QString& file, const std::vector<Tavrol_JobType>& jobTypes,
                                   const QStringList& names)
{
    QInputDialog dialog;
    dialog.setWindowTitle(QStringLiteral("Submit Job, Select Job Type"));
    dialog.setLabelText(Tavrol_JobTypeSelection::RequestedText(file));
    dialog.setComboBoxItems(QStringList{QStringLiteral("None")} + names);
    dialog.setOption(QInputDialog::UseListViewForComboBoxItems);
    if (dialog.exec() != QDialog::Accepted)
        return -1;
    const QString answer = dialog.textValue();
    if (answer.isEmpty() || answer == QLatin1String("None"))
        return -1;
    const int index = int(names.indexOf(answer));
    return index >= 0 ? jobTypes[size_t(index)].JobTypeID : -1;
}

Tavrol_JobsWidget* Tavrol_AppWindow::QueueView(int queueID) const
{
    switch (queueID) {
    case Tavrol_QueueID::Long:
        return m_longView;
    case Tavrol_QueueID::Short:
        return m_shortView;
    case Tavrol_QueueID::Queueless:
        return m_queuelessView;
    default:
        return nullptr;
    }
}
