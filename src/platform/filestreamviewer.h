#pragma once

#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QStringDecoder>
#include <QTimer>
#include <QWidget>

class QPlainTextEdit;

// A window that shows a file, the output of a running process, or text that is
// appended to it. With a period above 0 it keeps following its source: what
// the program writes later appears at the end, and the view stays at the end
// unless the user has scrolled away from it. Files are read in chunks on the
// event loop, and of a very large file only the end is shown, so that a long
// log neither freezes the window nor sits in memory twice.
class Quolix_FileStreamViewer : public QWidget
{
    Q_OBJECT

public:
    // deleteOnClose: the window deletes itself when closed, so that it can
    // live on its own. showOnStart: Start() shows it. periodMs: -1 reads the
    // source once, a positive value polls it that often. followEnd: keep the
    // end in view while text arrives. fixedFont: a fixed-width font.
    // windowName: the object name, which also keys nothing else.
    Quolix_FileStreamViewer(bool deleteOnClose, QWidget* parent, const QString& filePath,
                            const QString& title, bool showOnStart, int periodMs, bool followEnd,
                            bool fixedFont, const QString& windowName);
    Quolix_FileStreamViewer(bool deleteOnClose, QWidget* parent, QProcess* process,
                            const QString& title, bool showOnStart, int periodMs, bool followEnd,
                            bool fixedFont, const QString& windowName);

    // False when the source can't be read: a file that is missing or
    // unreadable, or no process. An empty file path means appended text only.
    bool Start();
    // Adds the text at the end, followed by a line feed when lineBreak is true.
    void AppendLine(const QString& text, bool lineBreak = true);

    // Of a longer file only the last maxBytes are shown (default 8 MiB).
    void SetMaxShownBytes(qint64 maxBytes) { m_maxShownBytes = maxBytes; }
    QString Text() const;
    QString FilePath() const { return m_filePath; }
    QProcess* Process() const { return m_process; }
    int Period() const { return m_periodMs; }
    bool IsFollowing() const { return m_pollTimer.isActive(); }
    // True while the initial read of a file is still going on in chunks.
    bool IsLoading() const { return m_loading; }
    QPlainTextEdit* TextArea() const { return m_textArea; }

    static constexpr qint64 DefaultMaxShownBytes = 8 * 1024 * 1024;
    static constexpr qint64 ChunkBytes = 256 * 1024;

private:
    void Build(bool deleteOnClose, const QString& title, bool fixedFont, const QString& windowName);
    bool StartFile();
    void Poll();
    void ReadFileChunk();
    void ReadProcess();
    void AppendText(const QString& text);

    QString m_filePath;
    QPointer<QProcess> m_process;
    bool m_isProcess = false;
    bool m_showOnStart = true;
    int m_periodMs = -1;
    bool m_followEnd = true;
    qint64 m_maxShownBytes = DefaultMaxShownBytes;

    QFile m_file;
    qint64 m_offset = 0;    // bytes of the file read so far
    qint64 m_cutBytes = 0;  // bytes left out at the start of a large file
    bool m_loading = false; // a chunked read is under way
    qint64 m_processShown = 0;
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    QTimer m_pollTimer;
    QPlainTextEdit* m_textArea = nullptr;
};
