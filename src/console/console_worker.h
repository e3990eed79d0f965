#pragma once

#include "jobtypes/jobtype.h"

#include <QObject>
#include <QString>

#include <cstdio>
#include <functional>

class Tavrol_Console;

// One prompt and one command per pass. Reads standard input, and calls into
// the views and the main object on the main thread, waiting there for each
// call to end, so that the store and the queues are only ever touched by the
// thread that owns them.
class Tavrol_Console_Worker : public QObject
{
    Q_OBJECT

public:
    // A line is read into a buffer of this many bytes; a longer line is cut to
    // what fits and the rest of it is dropped.
    static constexpr int ReadBufferSize = 1040;
    // At the end of the input the reader tries again after this pause.
    static constexpr int EndOfInputRetryMilliseconds = 50;

    explicit Tavrol_Console_Worker(Tavrol_Console* console);

    void ProcessCommand(const QString& line);

    // One line of standard input, trimmed. Never returns at the end of the
    // input: it waits for more.
    static void ReadConsoleLine(QString& line);
    // The same over any stream; a stream at its end is polled again after a pause.
    static void ReadLine(std::FILE* stream, QString& line);

    int AskQueue();              // 0 long, 1 short, 2 queueless, -1 cancelled
    Tavrol_JobType AskJobType(); // invalid when cancelled
    QString AskInputFile();      // empty when cancelled

    // Runs work on the main thread and waits for it; runs it at once when
    // already there.
    static void RunOnMainThread(const std::function<void()>& work);

signals:
    void QuitSignal();

public slots:
    void InteractSlot();

private:
    void InteractOnce(); // one prompt and the command it reads
    void ListRunningJobs(bool onlyKnownJobTypes);
    void AddJob(int queueID);
    void ChangeDirectory(const QString& path);
    void PrintCurrentDirectory();
    void RunShellCommand(const QString& command);

    Tavrol_Console* m_console = nullptr;
};
