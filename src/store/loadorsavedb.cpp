#include "store/loadorsavedb.h"

#include <sqlite3.h>

int LoadOrSaveDb(sqlite3* handle, const char* fileName, int isSave)
{
    if (!handle || !fileName)
        return SQLITE_MISUSE;
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
