#pragma once

#include "jobtypes/jobtype.h"

#include <QObject>
#include <QString>

#include <functional>

class Tavrol_Console;
class Tavrol_ConsoleWake;

// One prompt and one command per pass. Reads standard input, and calls into
// the views and the main object on the main thread, waiting there for each
// call to end, so that the store and the queues are only ever touched by the
// thread that owns them.
class Tavrol_Console_Worker : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_Console_Worker(Tavrol_Console* console);

    void ProcessCommand(const QString& line);

    // One line of standard input, trimmed. Never returns at the end of the
    // input: it waits for more.
    static void ReadConsoleLine(QString& line);
    // The same over any descriptor; at its end it is looked at again after a
    // pause. False, with an empty line, once the wake-up is raised.
    static bool ReadLine(int descriptor, QString& line, const Tavrol_ConsoleWake* wake = nullptr);

    int AskQueue();              // 0 long, 1 short, 2 queueless, -1 cancelled
    Tavrol_JobType AskJobType(); // invalid when cancelled
    QString AskInputFile();      // empty when cancelled

    // Runs work on the main thread and waits for it; runs it at once when
    // already there. When the wake-up is raised before the main thread has
    // taken the work up, the work is dropped and the result is false, so that
    // a stopping console never waits on a main thread that waits for it.
    static bool RunOnMainThread(const std::function<void()>& work,
                                const Tavrol_ConsoleWake* wake = nullptr);

signals:
    void QuitSignal();

public slots:
    void InteractSlot();

private:
    // Prints the prompt and reads the answer from standard input; false when
    // the console is stopping.
    bool Ask(const char* prompt, QString& answer) const;
    bool Stopping() const;
    const Tavrol_ConsoleWake* Wake() const;
    bool OnMainThread(const std::function<void()>& work) const;
    void InteractOnce(); // one prompt and the command it reads
    void ListRunningJobs(bool onlyKnownJobTypes);
    void AddJob(int queueID);
    void ChangeDirectory(const QString& path);
    void PrintCurrentDirectory();
    void RunShellCommand(const QString& command);

    // The commands added beside those of the prompt's own table, in
    // console_commands.cpp. False when the line is none of them.
    bool ProcessAddedCommand(const QString& command);
    bool AskYesNo(const QString& question) const;
    void PrintHelp() const;
    void SetQueuePaused(int queueID, bool paused) const;
    void SetQueueMaximum(int queueID, const QString& value) const;
    void ShowJob(const QString& argument) const;
    void ShowOutput(const QString& argument) const;
    void ShowLog(const QString& argument) const;
    void KillOrRemoveJob(const QString& argument, bool killOnly) const;
    void Save() const;
    void SaveAs(const QString& typedPath) const;
    void AddClusterJobType() const; // console_clustercommand.cpp

    Tavrol_Console* m_console = nullptr;
};
