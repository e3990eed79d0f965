#include "store/recoverycopy.h"

#include "store/database.h"
#include "store/database_manager.h"
#include "store/safesave.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>
#include <QThread>

#include <algorithm>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// The first write follows a change by this much; changes meanwhile share it.
constexpr int ShortestIntervalMs = 2000;
// A slow write (a very large project) is spaced out so that writing takes at
// most a tenth of the main thread's time.
constexpr int IntervalPerWriteTime = 10;
constexpr int LongestIntervalMs = 60000;

// The copy that the commit observer serves; there is one observer at a time.
const Tavrol_RecoveryCopy* Watcher = nullptr;

QString StateHome()
{
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (!state.isEmpty() && QDir::isAbsolutePath(state))
        return state;
    return QDir::homePath() + QStringLiteral("/.local/state");
}

} // namespace

Tavrol_RecoveryCopy::Tavrol_RecoveryCopy(QObject* parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(ShortestIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &Tavrol_RecoveryCopy::WriteNow);
}

Tavrol_RecoveryCopy::~Tavrol_RecoveryCopy()
{
    StopWatching();
    // The copy stays: only Finish, the normal end, removes it.
    if (m_lockDescriptor >= 0)
        close(m_lockDescriptor);
}

QString Tavrol_RecoveryCopy::Directory()
{
    return StateHome() + QStringLiteral("/tavrol/recovery");
}

QString Tavrol_RecoveryCopy::PathFor(const QString& projectFilePath)
{
    QString name = QStringLiteral("unnamed");
    if (!projectFilePath.isEmpty()) {
        const QByteArray absolute = QFileInfo(projectFilePath).absoluteFilePath().toUtf8();
        name = QString::fromLatin1(
            QCryptographicHash::hash(absolute, QCryptographicHash::Sha1).toHex().left(16));
    }
    return Directory() + QLatin1Char('/') + name + QStringLiteral(".tvrl");
}

bool Tavrol_RecoveryCopy::Claim(const QString& projectFilePath)
{
    Release();
    m_projectFilePath = projectFilePath;
    m_copyPath = PathFor(projectFilePath);
    if (!QDir().mkpath(Directory()))
        return false;
    // flock ends with the process however it ends, kill -9 included.
    const QByteArray lockPath = QFile::encodeName(m_copyPath + QStringLiteral(".lock"));
    const int descriptor = open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return false;
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return false;
    }
    m_lockDescriptor = descriptor;
    return true;
}

void Tavrol_RecoveryCopy::Release()
{
    if (m_lockDescriptor < 0)
        return;
    close(m_lockDescriptor);
    m_lockDescriptor = -1;
}

bool Tavrol_RecoveryCopy::HasCopy() const
{
    return Claimed() && QFileInfo(m_copyPath).isFile();
}

void Tavrol_RecoveryCopy::Discard()
{
    if (Claimed())
        QFile::remove(m_copyPath);
}

void Tavrol_RecoveryCopy::Watch()
{
    Watcher = this;
    Quolix_Database_Foundation::SetCommitObserver([this] {
        // Commits come by the thousand: only the first after a write counts.
        if (m_changePending.exchange(true))
            return;
        if (QThread::currentThread() == thread())
            ChangedSlot();
        else
            QMetaObject::invokeMethod(this, &Tavrol_RecoveryCopy::ChangedSlot,
                                      Qt::QueuedConnection);
    });
}

void Tavrol_RecoveryCopy::StopWatching()
{
    if (Watcher != this)
        return;
    Quolix_Database_Foundation::SetCommitObserver({});
    Watcher = nullptr;
}

void Tavrol_RecoveryCopy::ChangedSlot()
{
    if (!m_timer.isActive())
        m_timer.start();
}

void Tavrol_RecoveryCopy::WriteNow()
{
    m_timer.stop();
    m_changePending = false;
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database || database->DatabaseType != SQLiteMemory)
        return;
    // A save as gives the project another file, and so another copy.
    if (database->FilePath != m_projectFilePath) {
        Discard();
        Claim(database->FilePath);
    }
    if (!Claimed())
        return;
    if (!database->Modified) {
        Discard(); // the project file holds all of it
        return;
    }
    sqlite3* const handle = Tavrol_SafeSave::MemoryHandleOf(database);
    if (!handle)
        return;
    QElapsedTimer clock;
    clock.start();
    if (!Tavrol_SafeSave::WriteAtomically(handle, m_copyPath).isEmpty())
        return; // a full disk: the next change tries again
    m_lastWriteMicroseconds = clock.nsecsElapsed() / 1000;
    m_longestWriteMicroseconds = std::max(m_longestWriteMicroseconds, m_lastWriteMicroseconds);
    ++m_writeCount;
    AdaptInterval();
    emit CopyWrittenSignal();
}

void Tavrol_RecoveryCopy::AdaptInterval()
{
    const qint64 wanted = m_lastWriteMicroseconds / 1000 * IntervalPerWriteTime;
    m_timer.setInterval(
        static_cast<int>(std::clamp<qint64>(wanted, ShortestIntervalMs, LongestIntervalMs)));
}

void Tavrol_RecoveryCopy::Finish()
{
    m_timer.stop();
    StopWatching();
    Discard();
    if (Claimed())
        QFile::remove(m_copyPath + QStringLiteral(".lock"));
    Release();
}
