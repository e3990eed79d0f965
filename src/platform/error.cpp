#include "platform/error.h"

#include "app/globals.h"
#include "platform/registry.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>

#include <cstdio>

namespace {

bool AnswerOffscreen = false;

void PrintToStandardError(const QString& title, const QString& text)
{
    std::fprintf(stderr, "%s: %s\n", title.toLocal8Bit().constData(),
                 text.toLocal8Bit().constData());
}

QMessageBox::StandardButton ButtonOf(int answer)
{
    switch (answer) {
    case Quolix_Error::AnswerYes:
        return QMessageBox::Yes;
    case Quolix_Error::AnswerNo:
        return QMessageBox::No;
    case Quolix_Error::AnswerCancel:
        return QMessageBox::Cancel;
    default:
        return QMessageBox::NoButton;
    }
}

int AnswerOf(int button)
{
    switch (button) {
    case QMessageBox::Yes:
    case QMessageBox::Ok:
        return Quolix_Error::AnswerYes;
    case QMessageBox::No:
        return Quolix_Error::AnswerNo;
    case QMessageBox::Cancel:
        return Quolix_Error::AnswerCancel;
    default:
        return Quolix_Error::AnswerNone;
    }
}

} // namespace

bool Quolix_Error::CanAskUser()
{
    if (!IsGUIRunMode() || !qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    if (AnswerOffscreen)
        return true;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

void Quolix_Error::SetAnswerOffscreen(bool answer)
{
    AnswerOffscreen = answer;
}

int Quolix_Error::ReportWarning(const QString& title, const QString& text, int mode,
                                int defaultAnswer)
{
    if (!CanAskUser()) {
        PrintToStandardError(title, text);
        return defaultAnswer;
    }
    QMessageBox::StandardButtons buttons = QMessageBox::Ok;
    if (mode == 2)
        buttons = QMessageBox::Yes | QMessageBox::No;
    else if (mode == 5)
        buttons = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    QMessageBox box(QMessageBox::Warning, title, text, buttons, Quolix_Registry::m_pAppWindow);
    box.setDefaultButton(ButtonOf(defaultAnswer));
    return AnswerOf(box.exec());
}

void Quolix_Error::ReportError(const QString& title, const QString& text)
{
    if (!CanAskUser()) {
        PrintToStandardError(title, text);
        return;
    }
    QMessageBox::critical(Quolix_Registry::m_pAppWindow, title, text);
}
