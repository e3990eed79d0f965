#pragma once

struct sqlite3;

// Copies a whole SQLite database in one step of the online backup. With
// isSave 1 the database behind handle replaces the content of the file
// fileName; with 0 the file's database replaces the handle's. Answers 0 on
// success, else an SQLite error code. Loading never creates the file.
int LoadOrSaveDb(sqlite3* handle, const char* fileName, int isSave);
