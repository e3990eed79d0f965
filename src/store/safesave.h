#pragma once

#include <QString>

class Tavrol_Database;
struct sqlite3;

// What lies at a path that a project is about to be written to.
enum class Tavrol_PathContent
{
    Nothing,       // no file there
    TavrolProject, // an SQLite database with the general data "Version"
    OtherFile      // anything else: a chemist's input, a text, a foreign database
};

// What a safe save did.
struct Tavrol_SafeSaveResult
{
    bool Saved = false;
    QString BackupPath; // where a file that was no project went; empty if none
    QString Problem;    // why the save failed, in a few words; empty on success
};

// Writing a project never destroys what was there before: the database goes
// to a temporary file beside the target, which replaces the target only when
// it is complete. A file that is no project is kept under a backup name first.
namespace Tavrol_SafeSave {

Tavrol_PathContent Examine(const QString& path);

// NAME.bak, or else the first of NAME.bak.1, NAME.bak.2, ... that is free.
QString BackupPathFor(const QString& path);

// Copies the whole database behind handle to path as described above.
Tavrol_SafeSaveResult SaveHandle(sqlite3* handle, const QString& path);

// The same for a memory database; any other database, or one without an
// SQLite handle, is not saved.
Tavrol_SafeSaveResult SaveDatabase(Tavrol_Database* database, const QString& path);

// The SQLite handle of a memory database; null for any other database.
sqlite3* MemoryHandleOf(Tavrol_Database* database);

// Copies the database behind handle to a temporary file beside path, then
// renames it over path. Empty on success, else the reason.
QString WriteAtomically(sqlite3* handle, const QString& path);

} // namespace Tavrol_SafeSave
