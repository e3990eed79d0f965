#include "store/loadorsavedb.h"

#include <sqlite3.h>

#include <unistd.h>

namespace {

int CopyDatabase(sqlite3* handle, const char* fileName, bool isSave)
{
    sqlite3* file = nullptr;
    const int flags = isSave ? (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) : SQLITE_OPEN_READONLY;
    int result = sqlite3_open_v2(fileName, &file, flags, nullptr);
    if (result == SQLITE_OK) {
        sqlite3* const from = isSave ? handle : file;
        sqlite3* const to = isSave ? file : handle;
        sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
        if (backup) {
            sqlite3_backup_step(backup, -1);
            // Finishing reports the first error of the steps, if any.
            result = sqlite3_backup_finish(backup);
        } else {
            result = sqlite3_errcode(to);
        }
    }
    sqlite3_close(file);
    return result;
}

} // namespace

int LoadOrSaveDb(sqlite3* handle, const char* fileName, int isSave)
{
    if (!handle || !fileName)
        return SQLITE_MISUSE;
    int result = CopyDatabase(handle, fileName, isSave != 0);
    // A save replaces what the file holds. SQLite can only write over a
    // database, so a file that is none (a corrupt project the user chose to
    // save over) is emptied first.
    if (isSave && result == SQLITE_NOTADB && truncate(fileName, 0) == 0)
        result = CopyDatabase(handle, fileName, true);
    return result;
}
