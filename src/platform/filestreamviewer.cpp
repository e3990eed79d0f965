#include "platform/filestreamviewer.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextCursor>
#include <QVBoxLayout>

#include <algorithm>

namespace {
const int DefaultWidth = 720;
const int DefaultHeight = 480;
} // namespace

Quolix_FileStreamViewer::Quolix_FileStreamViewer(bool deleteOnClose, QWidget* parent,
                                                 const QString& filePath, const QString& title,
                                                 bool showOnStart, int periodMs, bool followEnd,
                                                 bool fixedFont, const QString& windowName)
    : QWidget(parent, Qt::Window), m_filePath(filePath), m_showOnStart(showOnStart),
      m_periodMs(periodMs), m_followEnd(followEnd)
{
    Build(deleteOnClose, title, fixedFont, windowName);
}

Quolix_FileStreamViewer::Quolix_FileStreamViewer(bool deleteOnClose, QWidget* parent,
                                                 QProcess* process, const QString& title,
                                                 bool showOnStart, int periodMs, bool followEnd,
                                                 bool fixedFont, const QString& windowName)
    : QWidget(parent, Qt::Window), m_process(process), m_isProcess(true),
      m_showOnStart(showOnStart), m_periodMs(periodMs), m_followEnd(followEnd)
{
    Build(deleteOnClose, title, fixedFont, windowName);
}

void Quolix_FileStreamViewer::Build(bool deleteOnClose, const QString& title, bool fixedFont,
                                    const QString& windowName)
{
    setAttribute(Qt::WA_DeleteOnClose, deleteOnClose);
    setWindowTitle(title);
    setObjectName(windowName);

    m_textArea = new QPlainTextEdit(this);
    m_textArea->setReadOnly(true);
    m_textArea->setLineWrapMode(QPlainTextEdit::NoWrap);
    // Appending must not scroll by itself; AppendText decides.
    m_textArea->setCenterOnScroll(false);
    if (fixedFont)
        m_textArea->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_textArea);
    resize(DefaultWidth, DefaultHeight);

    connect(&m_pollTimer, &QTimer::timeout, this, &Quolix_FileStreamViewer::Poll);
}

bool Quolix_FileStreamViewer::Start()
{
    if (m_isProcess) {
        if (!m_process)
            return false;
        ReadProcess();
    } else if (!m_filePath.isEmpty() && !StartFile()) {
        return false;
    }
    if (m_periodMs > 0 && (m_isProcess || !m_filePath.isEmpty()))
        m_pollTimer.start(m_periodMs);
    if (m_showOnStart)
        show();
    return true;
}

bool Quolix_FileStreamViewer::StartFile()
{
    const QFileInfo info(m_filePath);
    if (!info.exists() || !info.isFile())
        return false;
    m_file.setFileName(m_filePath);
    // Unbuffered, so that each read sees what the writer has added meanwhile.
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    const qint64 size = m_file.size();
    if (size > m_maxShownBytes) {
        m_cutBytes = size - m_maxShownBytes;
        m_offset = m_cutBytes;
    }
    m_loading = true;
    QTimer::singleShot(0, this, &Quolix_FileStreamViewer::ReadFileChunk);
    return true;
}

void Quolix_FileStreamViewer::Poll()
{
    if (m_isProcess) {
        ReadProcess();
        return;
    }
    if (m_loading)
        return;
    // A file written anew from the start is shown anew.
    if (m_file.size() < m_offset) {
        m_textArea->clear();
        m_offset = 0;
        m_cutBytes = 0;
        m_decoder.resetState();
    }
    if (m_file.size() > m_offset) {
        m_loading = true;
        ReadFileChunk();
    }
}

// One chunk per turn of the event loop, so that the window stays responsive
// while a large file comes in.
void Quolix_FileStreamViewer::ReadFileChunk()
{
    if (!m_file.isOpen() || !m_file.seek(m_offset)) {
        m_loading = false;
        return;
    }
    QByteArray chunk = m_file.read(ChunkBytes);
    if (chunk.isEmpty()) {
        m_loading = false;
        return;
    }
    const bool firstOfCut = m_cutBytes > 0 && m_offset == m_cutBytes;
    m_offset += chunk.size();
    if (firstOfCut) {
        // Start the shown part at a whole line.
        const qsizetype lineEnd = chunk.indexOf('\n');
        const qsizetype skipped = lineEnd < 0 ? 0 : lineEnd + 1;
        m_cutBytes += skipped;
        chunk.remove(0, skipped);
        AppendText(QStringLiteral("[... the first %1 bytes of the file are not shown ...]\n")
                       .arg(m_cutBytes));
    }
    chunk.replace('\0', ' ');
    AppendText(m_decoder.decode(chunk));
    if (m_offset < m_file.size())
        QTimer::singleShot(0, this, &Quolix_FileStreamViewer::ReadFileChunk);
    else
        m_loading = false;
}

// The job reads its process's output only when the program ends, so the
// viewer looks at it without taking it away.
void Quolix_FileStreamViewer::ReadProcess()
{
    if (!m_process) {
        m_pollTimer.stop();
        return;
    }
    const qint64 available = m_process->bytesAvailable();
    m_processShown = std::min(m_processShown, available);
    if (available == m_processShown)
        return;
    const QByteArray all = m_process->peek(available);
    QByteArray added = all.mid(m_processShown);
    m_processShown = all.size();
    added.replace('\0', ' ');
    AppendText(m_decoder.decode(added));
}

void Quolix_FileStreamViewer::AppendLine(const QString& text, bool lineBreak)
{
    AppendText(lineBreak ? text + QLatin1Char('\n') : text);
}

void Quolix_FileStreamViewer::AppendText(const QString& text)
{
    if (text.isEmpty())
        return;
    QScrollBar* bar = m_textArea->verticalScrollBar();
    const int previous = bar->value();
    const bool atEnd = previous >= bar->maximum();
    QTextCursor cursor(m_textArea->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    bar->setValue(m_followEnd && atEnd ? bar->maximum() : previous);
}

QString Quolix_FileStreamViewer::Text() const
{
    return m_textArea->toPlainText();
}
