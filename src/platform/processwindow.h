#pragma once

#include <QString>
#include <QWidget>

class QPlainTextEdit;

// A top-level window that shows text that grows, such as the start-up progress.
class Quolix_ProcessWindow : public QWidget
{
    Q_OBJECT

public:
    explicit Quolix_ProcessWindow(QWidget* parent = nullptr);

    // Adds the text at the end, as it stands (no line break is added), and
    // keeps the end in view.
    void AppendText(const QString& text);
    QString Text() const;
    QPlainTextEdit* TextArea() const { return m_textArea; }

private:
    QPlainTextEdit* m_textArea = nullptr;
};
