#include "platform/processwindow.h"

#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextCursor>
#include <QVBoxLayout>

namespace {
const int DefaultWidth = 560;
const int DefaultHeight = 320;
} // namespace

Quolix_ProcessWindow::Quolix_ProcessWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    m_textArea = new QPlainTextEdit(this);
    m_textArea->setReadOnly(true);
    m_textArea->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_textArea->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_textArea);
    resize(DefaultWidth, DefaultHeight);
}

void Quolix_ProcessWindow::AppendText(const QString& text)
{
    QTextCursor cursor(m_textArea->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    QScrollBar* scrollBar = m_textArea->verticalScrollBar();
    scrollBar->setValue(scrollBar->maximum());
}

QString Quolix_ProcessWindow::Text() const
{
    return m_textArea->toPlainText();
}
