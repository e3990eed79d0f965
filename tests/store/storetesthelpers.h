#pragma once

// Helpers of the job store tests: what a connection executes, what is printed
// on the standard error stream, and the rows of a table as text.

#include "store/database.h"
#include "store/database_manager.h"

#include "capture.h"
#include "statementtrace.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>
#include <QTemporaryFile>
#include <QVariant>

#include <sqlite3.h>

#include <cstdio>
#include <unistd.h>

namespace StoreTest {

inline sqlite3* HandleOf(const QSqlDatabase& database)
{
    const QVariant handle = database.driver()->handle();
    return *static_cast<sqlite3* const*>(handle.constData());
}

using TestSupport::StatementTrace;
using TestSupport::StderrCapture;

// Every row of a table, ordered by its first column, one text per row.
inline QStringList TableRows(const QSqlDatabase& database, const QString& table)
{
    QStringList rows;
    QSqlQuery query(database);
    if (!query.exec(QStringLiteral("SELECT * FROM ") + table + QStringLiteral(" ORDER BY 1")))
        return {QStringLiteral("<error: ") + query.lastError().text() + QLatin1Char('>')};
    while (query.next()) {
        QStringList cells;
        const QSqlRecord record = query.record();
        for (int column = 0; column < record.count(); ++column) {
            const QVariant value = record.value(column);
            cells.append(record.fieldName(column) + QLatin1Char('=') +
                         (value.isNull() ? QStringLiteral("<null>") : value.toString()));
        }
        rows.append(cells.join(QLatin1Char('|')));
    }
    return rows;
}

// The column names of a table, in order.
inline QStringList ColumnsOf(const QSqlDatabase& database, const QString& table)
{
    QStringList columns;
    QSqlQuery query(database);
    query.exec(QStringLiteral("PRAGMA table_info(") + table + QLatin1Char(')'));
    while (query.next())
        columns.append(query.value(1).toString());
    return columns;
}

// One value of the first row a statement gives.
inline QVariant ValueOf(const QSqlDatabase& database, const QString& sql)
{
    QSqlQuery query(database);
    if (!query.exec(sql) || !query.next())
        return QVariant();
    return query.value(0);
}

// Runs statements on a connection; false at the first that fails.
inline bool Run(const QSqlDatabase& database, const QStringList& statements)
{
    for (const QString& statement : statements) {
        QSqlQuery query(database);
        if (!query.exec(statement)) {
            qWarning("%s: %s", qPrintable(statement), qPrintable(query.lastError().text()));
            return false;
        }
    }
    return true;
}

// A fresh, open memory database that is current, without tables.
inline Tavrol_Database* OpenMemoryDatabase()
{
    Tavrol_Database* database =
        Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, QString(), false);
    if (database)
        database->Open();
    return database;
}

// The same, with the tables made.
inline Tavrol_Database* NewProjectDatabase()
{
    Tavrol_Database* database = OpenMemoryDatabase();
    if (database)
        database->CreateTables();
    return database;
}

} // namespace StoreTest

namespace StoreTest {

// Messages of SQLite's error log, which names every statement that fails
// already when it is prepared. Install it before any connection is opened.
class ErrorLog
{
public:
    static QStringList& Messages()
    {
        static QStringList messages;
        return messages;
    }
    static bool Install()
    {
        sqlite3_shutdown();
        const bool configured =
            sqlite3_config(SQLITE_CONFIG_LOG, &ErrorLog::Callback, nullptr) == SQLITE_OK;
        return sqlite3_initialize() == SQLITE_OK && configured;
    }
    // The logged messages that contain text.
    static QStringList Containing(const QString& text) { return Messages().filter(text); }

private:
    static void Callback(void*, int, const char* message) { Messages().append(message); }
};

} // namespace StoreTest
