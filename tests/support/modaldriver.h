#pragma once

// Drives the menus and modal boxes that a slot opens with exec(): each waits
// on the event loop until its window is up, records what it shows and then
// answers as the test asked.

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QInputDialog>
#include <QList>
#include <QMenu>
#include <QMessageBox>
#include <QObject>
#include <QSpinBox>
#include <QStringList>
#include <QTest>
#include <QTimer>

#include <functional>

namespace ModalDriver {

// Gives up looking after so many passes of the event loop (about 30 s).
constexpr int MaxPasses = 3000;

// One context menu: the texts of its entries ("-" for a separator) and
// whether each is enabled. Chooses the entry with the given text, or closes
// the menu when the text is empty.
class MenuChooser : public QObject
{
public:
    void Choose(const QString& text)
    {
        m_choice = text;
        m_seen = false;
        m_passes = 0;
        Arm();
    }
    bool Seen() const { return m_seen; }
    const QStringList& Texts() const { return m_texts; }
    const QList<bool>& Enabled() const { return m_enabled; }
    bool IsEnabled(const QString& text) const
    {
        const int index = m_texts.indexOf(text);
        return index >= 0 && m_enabled[index];
    }

private:
    void Arm()
    {
        QTimer::singleShot(10, this, [this] { Act(); });
    }
    void Act()
    {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu) {
            if (++m_passes < MaxPasses)
                Arm();
            return;
        }
        m_seen = true;
        m_texts.clear();
        m_enabled.clear();
        QAction* chosen = nullptr;
        for (QAction* action : menu->actions()) {
            m_texts.append(action->isSeparator() ? QStringLiteral("-") : action->text());
            m_enabled.append(action->isEnabled());
            if (!action->isSeparator() && action->text() == m_choice)
                chosen = action;
        }
        if (chosen && chosen->isEnabled()) {
            menu->setActiveAction(chosen);
            QTest::keyClick(menu, Qt::Key_Return);
        } else {
            menu->close();
        }
    }

    QString m_choice;
    bool m_seen = false;
    int m_passes = 0;
    QStringList m_texts;
    QList<bool> m_enabled;
};

struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
};

// Answers the message boxes that come up, in turn, with the queued buttons.
class BoxAnswerer : public QObject
{
public:
    void Queue(QMessageBox::StandardButton answer)
    {
        m_answers.append(answer);
        m_passes = 0;
        Arm();
    }
    const QList<SeenBox>& Seen() const { return m_seen; }

private:
    void Arm()
    {
        QTimer::singleShot(10, this, [this] { Act(); });
    }
    void Act()
    {
        if (m_answers.isEmpty())
            return;
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            if (++m_passes < MaxPasses)
                Arm();
            return;
        }
        m_seen.append({box->windowTitle(), box->text(), box->standardButtons()});
        QAbstractButton* button = box->button(m_answers.takeFirst());
        if (button)
            button->click();
        else
            box->reject();
        if (!m_answers.isEmpty())
            Arm();
    }

    QList<QMessageBox::StandardButton> m_answers;
    QList<SeenBox> m_seen;
    int m_passes = 0;
};

// Answers the next input dialog: records it, then runs the given step on it
// (which may set a value) and accepts or rejects it.
class InputAnswerer : public QObject
{
public:
    void Answer(std::function<void(QInputDialog&)> step, bool accept)
    {
        m_step = std::move(step);
        m_accept = accept;
        m_passes = 0;
        Arm();
    }
    bool Seen() const { return m_seen; }
    QString Title() const { return m_title; }
    QString Label() const { return m_label; }
    int Minimum() const { return m_minimum; }
    int Maximum() const { return m_maximum; }
    int Value() const { return m_value; }

private:
    void Arm()
    {
        QTimer::singleShot(10, this, [this] { Act(); });
    }
    void Act()
    {
        auto* dialog = qobject_cast<QInputDialog*>(QApplication::activeModalWidget());
        if (!dialog) {
            if (++m_passes < MaxPasses)
                Arm();
            return;
        }
        m_seen = true;
        m_title = dialog->windowTitle();
        m_label = dialog->labelText();
        m_minimum = dialog->intMinimum();
        m_maximum = dialog->intMaximum();
        m_value = dialog->intValue();
        if (m_step)
            m_step(*dialog);
        if (m_accept)
            dialog->accept();
        else
            dialog->reject();
    }

    std::function<void(QInputDialog&)> m_step;
    bool m_accept = false;
    bool m_seen = false;
    int m_passes = 0;
    QString m_title;
    QString m_label;
    int m_minimum = 0;
    int m_maximum = 0;
    int m_value = 0;
};

} // namespace ModalDriver
