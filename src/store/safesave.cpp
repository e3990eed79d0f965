#include "store/safesave.h"

#include "store/database.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray NativePath(const QString& path)
{
    return QFile::encodeName(path);
}

QString SystemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString SQLiteError(int code)
{
    return QString::fromLatin1(sqlite3_errstr(code));
}

// The mode a new file gets from the process's umask, as open(2) would give.
mode_t NewFileMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// A project that replaces a file takes over the file's permissions.
mode_t ModeFor(const QByteArray& target)
{
    struct stat status
    {
    };
    if (stat(target.constData(), &status) == 0)
        return status.st_mode & 07777;
    return NewFileMode();
}

// Whether a file must not be replaced. A file without any write permission
// is meant to stay as it is, also for root, whom access() lets write anyway.
bool IsReadOnly(const QByteArray& target)
{
    struct stat status
    {
    };
    if (stat(target.constData(), &status) != 0)
        return false;
    return (status.st_mode & 0222) == 0 || access(target.constData(), W_OK) != 0;
}

int BackUp(sqlite3* from, sqlite3* to)
{
    sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
    if (!backup)
        return sqlite3_errcode(to);
    sqlite3_backup_step(backup, -1);
    return sqlite3_backup_finish(backup);
}

// The whole database behind handle in a new temporary file beside target.
// Answers the temporary file's name, or leaves problem set.
QByteArray WriteTemporary(sqlite3* handle, const QString& target, QString* problem)
{
    const QFileInfo targetInfo(target);
    QByteArray name = NativePath(targetInfo.absolutePath() + QStringLiteral("/.") +
                                 targetInfo.fileName() + QStringLiteral(".saving-XXXXXX"));
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) {
        *problem = SystemError(errno);
        return QByteArray();
    }
    fchmod(descriptor, ModeFor(NativePath(target)));
    close(descriptor);
    sqlite3* file = nullptr;
    int result = sqlite3_open_v2(name.constData(), &file, SQLITE_OPEN_READWRITE, nullptr);
    if (result == SQLITE_OK)
        result = BackUp(handle, file);
    const int closed = sqlite3_close(file);
    if (result == SQLITE_OK)
        result = closed;
    if (result != SQLITE_OK) {
        *problem = SQLiteError(result);
        unlink(name.constData());
        return QByteArray();
    }
    return name;
}

// So that the rename itself survives a power cut.
void SyncDirectoryOf(const QString& path)
{
    const int directory =
        open(NativePath(QFileInfo(path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY);
    if (directory < 0)
        return;
    fsync(directory);
    close(directory);
}

bool KeepAsBackup(const QString& path, const QString& backupPath, QString* problem)
{
    // A second name for the same file costs nothing; a copy serves where
    // links are not allowed.
    if (link(NativePath(path).constData(), NativePath(backupPath).constData()) == 0)
        return true;
    if (QFile::copy(path, backupPath))
        return true;
    *problem = QStringLiteral("the file could not be kept as ") + backupPath;
    return false;
}

bool SQLiteHandleOf(const QSqlDriver* driver, sqlite3** handle)
{
    *handle = nullptr;
    const QVariant variant = driver->handle();
    if (!variant.isValid() || std::strcmp(variant.typeName(), "sqlite3*") != 0)
        return false;
    *handle = *static_cast<sqlite3* const*>(variant.constData());
    return *handle != nullptr;
}

} // namespace

namespace Tavrol_SafeSave {

Tavrol_PathContent Examine(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return Tavrol_PathContent::Nothing;
    if (!info.isFile())
        return Tavrol_PathContent::OtherFile;
    sqlite3* file = nullptr;
    bool project = false;
    if (sqlite3_open_v2(NativePath(path).constData(), &file, SQLITE_OPEN_READONLY, nullptr) ==
        SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(file, "SELECT 1 FROM GeneralData WHERE Name = 'Version'", -1,
                               &statement, nullptr) == SQLITE_OK)
            project = sqlite3_step(statement) == SQLITE_ROW;
        sqlite3_finalize(statement);
    }
    sqlite3_close(file);
    return project ? Tavrol_PathContent::TavrolProject : Tavrol_PathContent::OtherFile;
}

QString BackupPathFor(const QString& path)
{
    const QString plain = path + QStringLiteral(".bak");
    if (!QFileInfo(plain).exists() && !QFileInfo(plain).isSymLink())
        return plain;
    for (int number = 1;; ++number) {
        const QString numbered = plain + QLatin1Char('.') + QString::number(number);
        if (!QFileInfo(numbered).exists() && !QFileInfo(numbered).isSymLink())
            return numbered;
    }
}

QString WriteAtomically(sqlite3* handle, const QString& path)
{
    QString problem;
    const QByteArray temporary = WriteTemporary(handle, path, &problem);
    if (temporary.isEmpty())
        return problem;
    if (rename(temporary.constData(), NativePath(path).constData()) != 0) {
        problem = SystemError(errno);
        unlink(temporary.constData());
        return problem;
    }
    SyncDirectoryOf(path);
    return QString();
}

Tavrol_SafeSaveResult SaveHandle(sqlite3* handle, const QString& path)
{
    Tavrol_SafeSaveResult result;
    if (!handle) {
        result.Problem = QStringLiteral("there is no database to save");
        return result;
    }
    const QByteArray target = NativePath(path);
    if (IsReadOnly(target)) {
        result.Problem = QStringLiteral("the file is read-only");
        return result;
    }
    // The complete copy comes first: a full disk must not leave a backup
    // name behind, nor touch the file.
    const QByteArray temporary = WriteTemporary(handle, path, &result.Problem);
    if (temporary.isEmpty())
        return result;
    // An empty file holds nothing to keep.
    if (QFileInfo(path).size() > 0 && Examine(path) == Tavrol_PathContent::OtherFile) {
        const QString backupPath = BackupPathFor(path);
        if (!KeepAsBackup(path, backupPath, &result.Problem)) {
            unlink(temporary.constData());
            return result;
        }
        result.BackupPath = backupPath;
    }
    if (rename(temporary.constData(), target.constData()) != 0) {
        result.Problem = SystemError(errno);
        unlink(temporary.constData());
        if (!result.BackupPath.isEmpty())
            QFile::remove(result.BackupPath); // the file itself is still in place
        result.BackupPath.clear();
        return result;
    }
    SyncDirectoryOf(path);
    result.Saved = true;
    return result;
}

sqlite3* MemoryHandleOf(Tavrol_Database* database)
{
    sqlite3* handle = nullptr;
    if (!database || database->DatabaseType != SQLiteMemory || !database->Driver() ||
        !SQLiteHandleOf(database->Driver(), &handle))
        return nullptr;
    return handle;
}

Tavrol_SafeSaveResult SaveDatabase(Tavrol_Database* database, const QString& path)
{
    sqlite3* const handle = MemoryHandleOf(database);
    if (!handle) {
        Tavrol_SafeSaveResult result;
        result.Problem = QStringLiteral("there is no project database to save");
        return result;
    }
    return SaveHandle(handle, path);
}

} // namespace Tavrol_SafeSave
