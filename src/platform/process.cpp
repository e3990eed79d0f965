// Quolix_Process: construction. The runner is in process_runner.cpp, the
// text window in process_textwindow.cpp.

#include "platform/process.h"

#include "platform/processwindow.h"

Quolix_Process::Quolix_Process(QWidget* parentWidget, const QString& organisation,
                               const QString& name, int showWindow, bool /*reserved*/)
    : m_parentWidget(parentWidget), m_organisation(organisation), m_name(name), m_title(name),
      m_showWindow(showWindow)
{
}

// The runner's guard stops a program that still runs; the window goes with the object.
Quolix_Process::~Quolix_Process() = default;
