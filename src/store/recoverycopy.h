#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>

// A copy of the memory project under the user's state directory, kept within
// a few seconds of every change of the store, so that a crash, a kill or a
// power cut loses no more than those seconds. A normal exit removes it; the
// next start of the same project finds it only after an abnormal end.
//
// Each project has its own copy, named by a hash of its absolute path
// ("unnamed" for a project without a file). A lock beside the copy, held for
// as long as the process lives, keeps a second instance on the same project
// from taking the copy of a running one.
class Tavrol_RecoveryCopy : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_RecoveryCopy(QObject* parent = nullptr);
    ~Tavrol_RecoveryCopy() override;

    Tavrol_RecoveryCopy(const Tavrol_RecoveryCopy&) = delete;
    Tavrol_RecoveryCopy& operator=(const Tavrol_RecoveryCopy&) = delete;

    // $XDG_STATE_HOME/tavrol/recovery, or ~/.local/state/tavrol/recovery.
    static QString Directory();
    // The copy of the project whose file is projectFilePath (may be empty).
    static QString PathFor(const QString& projectFilePath);

    // Takes the copy of this project for this process. False when another
    // running instance holds it: then this process writes no copy.
    bool Claim(const QString& projectFilePath);
    bool Claimed() const { return m_lockDescriptor >= 0; }
    QString CopyPath() const { return m_copyPath; }
    // A copy left by a process that did not end normally.
    bool HasCopy() const;
    void Discard();

    // From now on every commit of the store leads to a write.
    void Watch();
    // Writes the copy of the current project at once (or removes it when the
    // project holds nothing that its file does not).
    void WriteNow();
    // The normal end: no more writes, and no copy left behind.
    void Finish();

    // Figures of the writes made so far.
    int WriteCount() const { return m_writeCount; }
    qint64 LastWriteMicroseconds() const { return m_lastWriteMicroseconds; }
    qint64 LongestWriteMicroseconds() const { return m_longestWriteMicroseconds; }
    int IntervalMilliseconds() const { return m_timer.interval(); }

signals:
    void CopyWrittenSignal();

private:
    void ChangedSlot();
    void Release();
    void StopWatching();
    void AdaptInterval();

    QTimer m_timer;
    QString m_projectFilePath;
    QString m_copyPath;
    int m_lockDescriptor = -1;
    std::atomic<bool> m_changePending{false};
    int m_writeCount = 0;
    qint64 m_lastWriteMicroseconds = 0;
    qint64 m_longestWriteMicroseconds = 0;
};
