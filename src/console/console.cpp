#include "console/console.h"

#include "app/globals.h"
#include "console/console_worker.h"
#include "jobs/queuelessjobslist.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

Tavrol_Console::Tavrol_Console(QObject* parent) : QObject(parent) {}

Tavrol_Console::~Tavrol_Console()
{
    if (m_thread.isRunning()) {
        // The wake-up ends a read of standard input and any wait for the
        // main thread, so the worker leaves by itself.
        Stop();
        m_thread.wait();
    }
    if (!m_thread.isFinished())
        delete m_worker; // never moved to a thread that would delete it
}

void Tavrol_Console::RunSlot()
{
    std::printf("%s\n\n", m_title.toLocal8Bit().constData());
    WatchJobEnds();
    m_worker = new Tavrol_Console_Worker(this);
    connect(m_worker, &Tavrol_Console_Worker::QuitSignal, this, &Tavrol_Console::QuitSlot);
    QCoreApplication::processEvents();
    if (NoEventLoop) {
        m_worker->InteractSlot(); // returns only when the process ends
        return;
    }
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start(QThread::InheritPriority);
    QTimer::singleShot(0, m_worker, &Tavrol_Console_Worker::InteractSlot);
}

void Tavrol_Console::QuitSlot() {}

// From the prompt's start on, the exit code of every job that ends is kept
// for "show job".
void Tavrol_Console::WatchJobEnds()
{
    Tavrol_AppWindow* window = TavrolAppWindow;
    if (!window || !window->LongJobsView() || !window->ShortJobsView() ||
        !window->QueuelessJobsView())
        return;
    m_exitCodes.Watch<Tavrol_JobsQueue>(window->LongJobsView()->Queue(),
                                        &Tavrol_JobsQueue::QueueUpdatedSignal);
    m_exitCodes.Watch<Tavrol_JobsQueue>(window->ShortJobsView()->Queue(),
                                        &Tavrol_JobsQueue::QueueUpdatedSignal);
    m_exitCodes.Watch(window->QueuelessJobsView()->List(),
                      &Tavrol_QueuelessJobsList::ListUpdatedSignal);
}

void Tavrol_Console::Stop()
{
    m_wake.Raise();
    m_thread.quit();
    m_thread.exit(0);
}

Tavrol_Console_Worker* Tavrol_Console::Worker() const
{
    return m_worker.data();
}
