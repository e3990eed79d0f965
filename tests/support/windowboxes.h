#pragma once

// Answers the window's modal message boxes from a test, recording what each
// showed: title, text, icon, buttons and the default button.

#include <QAbstractButton>
#include <QApplication>
#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPushButton>
#include <QString>
#include <QTimer>

// What a modal message box showed before the test answered it.
struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
};

// Answers the next modal message box, as soon as the event loop runs, by
// clicking the given button; each answer is queued after the one before.
class BoxAnswerer : public QObject
{
public:
    void Queue(QMessageBox::StandardButton answer)
    {
        m_answers.append(answer);
        Arm();
    }
    const QList<SeenBox>& Seen() const { return m_seen; }

private:
    void Arm()
    {
        QTimer::singleShot(0, this, [this] { AnswerWhenShown(); });
    }

    void AnswerWhenShown()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || m_answers.isEmpty()) {
            if (!m_answers.isEmpty())
                Arm(); // the box is not up yet: look again on the next pass
            return;
        }
        SeenBox seen;
        seen.title = box->windowTitle();
        seen.text = box->text();
        seen.icon = box->icon();
        seen.buttons = box->standardButtons();
        if (box->defaultButton())
            seen.defaultButton = box->standardButton(box->defaultButton());
        m_seen.append(seen);
        box->button(m_answers.takeFirst())->click();
        if (!m_answers.isEmpty())
            Arm();
    }

    QList<QMessageBox::StandardButton> m_answers;
    QList<SeenBox> m_seen;
};
