#pragma once

#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QStringList>

#include <deque>
#include <memory>
#include <vector>

class QAction;
class QBoxLayout;
class QEvent;
class QFrame;
class QMainWindow;
class QMenu;
class QPushButton;
class QSystemTrayIcon;
class QTabWidget;
class Tavrol_Console;
class Tavrol_Job;
class Tavrol_JobType;
class Tavrol_SubmitRequest;
struct Tavrol_Request;
class Tavrol_FinishedJobsWidget;
class Tavrol_JobTypesWidget;
class Tavrol_JobsWidget;
class Tavrol_LongJobsQueueWidget;
class Tavrol_QueuelessJobsWidget;
class Tavrol_RecoveryCopy;
class Tavrol_RequestServer;
class Tavrol_RunningJobsWidget;
class Tavrol_ShortJobsQueueWidget;

// Files: appwindow.cpp (start, placement, exit), appwindow_requests.cpp (what
// clients ask for), appwindow_projectfiles.cpp (new, open, save, caption).
//
// The main object of every run mode. It owns the QMainWindow in the GUI or the
// Tavrol_Console in the console, and in both the six views, the project and
// the request server.
class Tavrol_AppWindow : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_AppWindow(QObject* parent = nullptr, Qt::WindowFlags flags = {});
    ~Tavrol_AppWindow() override;

    bool Start();

    // The views, made by BuildWidgets (the first step of Start).
    void BuildWidgets();
    Tavrol_LongJobsQueueWidget* LongJobsView() const { return m_longView; }
    Tavrol_ShortJobsQueueWidget* ShortJobsView() const { return m_shortView; }
    Tavrol_QueuelessJobsWidget* QueuelessJobsView() const { return m_queuelessView; }
    Tavrol_RunningJobsWidget* RunningJobsView() const { return m_runningView; }
    Tavrol_FinishedJobsWidget* FinishedJobsView() const { return m_finishedView; }
    Tavrol_JobTypesWidget* JobTypesView() const { return m_jobTypesView; }
    // The view of a job's QueueID (jobs/queueid.h): long, short or queueless;
    // null for any other number.
    Tavrol_JobsWidget* QueueView(int queueID) const;
    QMainWindow* MainWindow() const { return m_mainWindow; }
    // The window's parts, null in the console.
    QTabWidget* TabWidget() const { return m_tabWidget; }
    QPushButton* SubmitButton() const { return m_submitButton; }
    QSystemTrayIcon* TrayIcon() const { return m_trayIcon; }
    QMenu* TrayMenu() const { return m_trayMenu; }
    Tavrol_Console* Console() const { return m_console; }

    // What SaveIfModified did, by its numbers.
    enum SaveResult
    {
        ProjectSaved = 0,        // the user said yes and the save succeeded
        ProjectNotSaved = 1,     // nothing to save, or the user said no
        ProjectSaveCancelled = 2 // cancelled, or the save failed
    };

    // Project files.
    int SaveIfModified(); // a SaveResult
    bool OpenProject(const QString& path);
    void NewProject(const QString& path);
    bool SaveProject();
    bool SaveProjectAs();
    // The end of every save: writes the project to the path as given and
    // loads it back. Public for the console's "save as", which names the
    // file itself.
    bool WriteProject(const QString& path);
    void UpdateCaption();
    void AddToRecentProjects(const QString& path);
    void SetLastDirectory(const QString& path);
    void ReloadLongQueue();
    void ReloadShortQueue();
    void ReloadFinishedJobs();
    void ReloadJobTypes();
    void ReloadQueuelessList();

    void SubmitJobs(const QStringList& files, int queueSelector, int jobTypeId);
    // A client's "submitjob": directly into a queue, or through the user's check.
    void SubmitRequestedJob(const Tavrol_Request& request);

    // The client names that the request server has seen.
    const QStringList& ClientNameList() const;
    Tavrol_RequestServer* RequestServer() const { return m_server; }
    // The project's recovery copy; null with "-norecovery" or the setting off.
    Tavrol_RecoveryCopy* RecoveryCopy() const { return m_recovery; }

    // Where Show puts a window of that size: centred on the available
    // desktop, but never left of or above 10.
    static QPoint WindowPosition(const QRect& available, const QSize& size);
    // The about box's text: title, platform, and the maker's notice.
    static QString AboutText();
    // A project file name as typed, trimmed, with ".tvrl" added unless it
    // ends so in any case; empty stays empty.
    static QString WithProjectExtension(const QString& typed);

public slots:
    void Show(uint placement);
    void Show();
    void SystemTrayQuitSlot();
    void AboutSlot();
    void CurrentTabChangedSlot(int index);
    void ExitSlot();
    void NewJobsSlot();
    void OkaySlot();
    void UpdateMenusSlot();
    void SystemTrayShowWindowSlot();
    void SystemTrayHideWindowSlot();
    void ShowRequestedSlot();
    void HideRequestedSlot();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void StartServer();
    void SubmitConfirmedRequest(const Tavrol_SubmitRequest& submission);
    void ConfirmOneRequest(const Tavrol_SubmitRequest& submission);
    void AddJobToQueue(std::unique_ptr<Tavrol_Job> job);

    void BuildMainWindowFrame();
    QFrame* AddTab(const QString& title);
    void AddViewFrame(int tab, QFrame* viewFrame);
    void BuildButtonRow(QBoxLayout* layout);
    void CreateViews();
    void CreateTrayIcon();
    void RestoreLastDirectory() const;
    static QStringList ExistingRecentProjects();
    static QString StartupProjectPath(const QStringList& existingRecentProjects);
    void RestoreToolBarState();
    void ActivateMainWindow();
    void SubmitCheckedFile(const QString& file, int destination, int jobTypeId,
                           const std::vector<Tavrol_JobType>& jobTypes, const QStringList& names);
    static int AskJobTypeID(const QString& file, const std::vector<Tavrol_JobType>& jobTypes,
                            const QStringList& names);

    bool ProjectFileUsable(const QString& path) const;
    bool TakeLoadedProject();
    // The recovery copy (appwindow_recovery.cpp).
    static bool RecoveryWanted();
    bool OfferRecovery(const QString& projectPath);
    bool RecoverProject(const QString& projectPath, const QString& copyPath);
    void EndQueuelessJobsOfCrash();
    void ReportSaveFailure(const QString& path, const QString& problem) const;
    void ReportBackup(const QString& backupPath) const;
    QString AskProjectFilePath() const;

    bool m_cancelClose = false;
    bool m_showQuitting = false;
    QFrame* m_centralFrame = nullptr;
    QPushButton* m_submitButton = nullptr;
    QPushButton* m_hideButton = nullptr;
    QPushButton* m_exitButton = nullptr;
    QTabWidget* m_tabWidget = nullptr;
    QList<QFrame*> m_tabFrames;
    Tavrol_LongJobsQueueWidget* m_longView = nullptr;
    Tavrol_ShortJobsQueueWidget* m_shortView = nullptr;
    Tavrol_QueuelessJobsWidget* m_queuelessView = nullptr;
    Tavrol_RunningJobsWidget* m_runningView = nullptr;
    Tavrol_FinishedJobsWidget* m_finishedView = nullptr;
    Tavrol_JobTypesWidget* m_jobTypesView = nullptr;
    QMainWindow* m_mainWindow = nullptr;
    // Confirmed requests waiting for the Submit Jobs dialog, served in order.
    std::deque<std::shared_ptr<Tavrol_SubmitRequest>> m_pendingConfirmed;
    bool m_confirming = false;
    Tavrol_Console* m_console = nullptr;
    QMenu* m_trayMenu = nullptr;
    QSystemTrayIcon* m_trayIcon = nullptr;
    QAction* m_showAction = nullptr;
    QAction* m_hideAction = nullptr;
    QAction* m_exitAction = nullptr;
    Tavrol_RequestServer* m_server = nullptr;
    Tavrol_RecoveryCopy* m_recovery = nullptr; // null when switched off
};
