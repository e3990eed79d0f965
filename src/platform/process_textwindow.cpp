// Quolix_Process, its text window: how the start-up progress is shown.

#include "platform/process.h"

#include "app/globals.h"
#include "platform/processwindow.h"

#include <QApplication>
#include <QIcon>

void Quolix_Process::EnsureWindow()
{
    // The window exists only in a GUI run mode, and only once it is needed.
    if (m_window || m_showWindow == NoWindow || !IsGUIRunMode() ||
        !qobject_cast<QApplication*>(QCoreApplication::instance())) {
        return;
    }
    // Owned here, not through the parent widget, which only places it.
    m_window = std::make_unique<Quolix_ProcessWindow>(nullptr);
    m_window->setObjectName(m_name);
    m_window->setWindowTitle(m_title);
    m_window->AppendText(m_text);
}

void Quolix_Process::SetTitle(const QString& title, bool show)
{
    m_title = title;
    if (m_window)
        m_window->setWindowTitle(title);
    if (show)
        Show();
}

void Quolix_Process::SetIcon(const QIcon& icon)
{
    EnsureWindow();
    if (m_window)
        m_window->setWindowIcon(icon);
}

void Quolix_Process::AppendText(const QString& text)
{
    m_text += text;
    if (m_window)
        m_window->AppendText(text);
}

void Quolix_Process::Show()
{
    EnsureWindow();
    if (!m_window)
        return;
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    // Made the active window at once, so that whoever asks next finds it.
    QApplication::setActiveWindow(m_window.get());
#endif
}

QString Quolix_Process::Text() const
{
    return m_text;
}

QWidget* Quolix_Process::Window() const
{
    return m_window.get();
}
