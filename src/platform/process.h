#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

class QIcon;
class QWidget;
class Quolix_ProcessWindow;

// Files: process.cpp (construction), process_runner.cpp (the runner),
// process_textwindow.cpp (the text window).
//
// Two jobs in one class: it runs a job's program (a QProcess whose standard
// output and standard error are merged into the read channel), and it can show
// text in a window of its own, which is how the start-up progress is shown.
class Quolix_Process : public QProcess
{
    Q_OBJECT

public:
    enum ShowWindowEnum
    {
        NoWindow = 0,
        ShowWindow = 1
    };
    enum BlockEnum
    {
        NonBlocking = 0,
        Blocking = 1
    };

    Quolix_Process(QWidget* parentWidget, const QString& organisation, const QString& name,
                   int showWindow, bool reserved);
    ~Quolix_Process() override;

    // Runner settings, public as the job sets them before Start().
    QString m_ProgramPath;
    QStringList m_Arguments;
    bool m_ShowOutput = true; // cleared for jobs; the runner never echoes output anywhere
    int m_UserID = -1;        // with Tavrol running as root and an id above 0, the
    int m_GroupID = -1;       // child runs as this user (Quolix_UserIdentity)
    bool WasKilled = false;   // set by KillSlot()

    // The program's standard input and output files. They are opened with
    // the program's own rights: by the child after it has taken on its user
    // when the user changes, else as QProcess's standard files (the output
    // truncated). A file the user may not open ends the run as a program
    // that cannot start does, with exit code 255 and a line saying why.
    void SetInputFile(const QString& path);
    void SetOutputFile(const QString& path);

    // Starts m_ProgramPath with m_Arguments. FinishedSignal(bool) follows from
    // the event loop in every case, also when the program cannot be started.
    bool Start(BlockEnum block);
    int ProcessID() const;

    // The text window.
    void SetTitle(const QString& title, bool show);
    void SetIcon(const QIcon& icon);
    void AppendText(const QString& text);
    void Show();
    QString Title() const { return m_title; }
    QString Text() const;
    QWidget* Window() const;

public slots:
    void KillSlot();

signals:
    void FinishedSignal(bool normalExit);

private:
    void EmitFinishedLater(bool normalExit);
    void EnsureWindow();
    // The runner half keeps these (process.cpp).
    void ConnectRunner();
    void PrepareChild();

    QWidget* m_parentWidget = nullptr;
    QString m_organisation;
    QString m_name;
    QString m_title;
    QString m_text;
    int m_showWindow = 0;
    bool m_finishedSignalled = false;
    std::unique_ptr<Quolix_ProcessWindow> m_window;
    quint64 m_runNumber = 0; // a FinishedSignal queued by an earlier run is dropped
    QString m_inputFile;
    QString m_outputFile;

    // Declared last so that it goes first: it cuts the runner's connections
    // and stops a child that still runs before the QProcess part is destroyed,
    // so a runner deleted mid-run neither hangs nor calls into a dead object.
    struct RunnerGuard
    {
        explicit RunnerGuard(QProcess* process) : m_process(process) {}
        RunnerGuard(const RunnerGuard&) = delete;
        RunnerGuard& operator=(const RunnerGuard&) = delete;
        ~RunnerGuard();
        QProcess* m_process;
        std::vector<QMetaObject::Connection> m_connections;
    };
    RunnerGuard m_runnerGuard{this};
};
