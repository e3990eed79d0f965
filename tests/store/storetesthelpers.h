#pragma once

// Helpers of the job store tests: what a connection executes, what is printed
// on the standard error stream, and the rows of a table as text.

#include "store/database.h"
#include "store/database_manager.h"

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

// Records every statement the connection starts to run while it lives.
// Statements that fail already when they are prepared never start. It hooks
// the connection's SQLite handle and unhooks it when it goes, so it must go
// before the connection is closed (CloseAll frees the handle).
class StatementTrace
{
public:
    explicit StatementTrace(const QSqlDatabase& database) : m_handle(HandleOf(database))
    {
        sqlite3_trace_v2(m_handle, SQLITE_TRACE_STMT, &StatementTrace::Callback, this);
    }
    ~StatementTrace() { sqlite3_trace_v2(m_handle, 0, nullptr, nullptr); }
    StatementTrace(const StatementTrace&) = delete;
    StatementTrace& operator=(const StatementTrace&) = delete;

    QStringList Statements;

    // The statements that write or steer transactions: all but the reads.
    QStringList Writes() const
    {
        QStringList writes;
        for (const QString& statement : Statements) {
            if (!statement.startsWith(QLatin1String("SELECT"), Qt::CaseInsensitive) &&
                !statement.startsWith(QLatin1String("PRAGMA"), Qt::CaseInsensitive))
                writes.append(statement);
        }
        return writes;
    }

private:
    static int Callback(unsigned type, void* context, void* statement, void*)
    {
        if (type == SQLITE_TRACE_STMT) {
            auto* self = static_cast<StatementTrace*>(context);
            self->Statements.append(
                QString::fromUtf8(sqlite3_sql(static_cast<sqlite3_stmt*>(statement))));
        }
        return 0;
    }

    sqlite3* m_handle;
};

// Captures what the process writes to its standard error stream while it lives.
class StderrCapture
{
public:
    StderrCapture()
    {
        std::fflush(stderr);
        m_file.open();
        m_saved = dup(STDERR_FILENO);
        dup2(m_file.handle(), STDERR_FILENO);
    }
    ~StderrCapture() { Restore(); }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    QString Text()
    {
        Restore();
        m_file.seek(0);
        return QString::fromLocal8Bit(m_file.readAll());
    }

private:
    void Restore()
    {
        if (m_saved < 0)
            return;
        std::fflush(stderr);
        dup2(m_saved, STDERR_FILENO);
        close(m_saved);
        m_saved = -1;
    }

    QTemporaryFile m_file;
    int m_saved = -1;
};

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
