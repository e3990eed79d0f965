#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QThread>

#include "console/consoleinput.h"
#include "console/exitcodebook.h"

class Tavrol_Console_Worker;

// The console run modes' interface: a prompt on standard input and output in
// place of a window. The prompt runs on a thread of its own so that the main
// thread's event loop keeps running jobs and serving clients while it waits
// for a line; with "-noeventloop" it runs on the main thread instead.
class Tavrol_Console : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_Console(QObject* parent = nullptr);
    ~Tavrol_Console() override;

    // The caption, printed once when the prompt starts.
    void SetTitle(const QString& title) { m_title = title; }
    QString Title() const { return m_title; }

    // Ends the worker thread's event loop, so that an armed prompt timer never
    // fires again, and wakes a worker that waits for a line: it drops what it
    // had read of that line and its thread ends on its own.
    void Stop();
    const Tavrol_ConsoleWake& Wake() const { return m_wake; }

    Tavrol_Console_Worker* Worker() const; // null before RunSlot and after the thread ends
    QThread* Thread() { return &m_thread; }
    // For the main thread only.
    const Tavrol_ExitCodeBook& ExitCodes() const { return m_exitCodes; }

public slots:
    void RunSlot();
    void QuitSlot();

private:
    void WatchJobEnds();

    QPointer<Tavrol_Console_Worker> m_worker; // deleted with its thread

    Tavrol_ConsoleWake m_wake; // outlives the thread that reads through it
    QThread m_thread;
    QString m_title;
    Tavrol_ExitCodeBook m_exitCodes;
};
