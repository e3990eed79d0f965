#pragma once

// Recording the statements an SQLite connection runs.

#include <QSqlDatabase>
#include <QStringList>

struct sqlite3;

namespace TestSupport {

// Records every statement the connection starts to run while it lives.
// Statements that fail already when they are prepared never start. It hooks
// the connection's SQLite handle and unhooks it when it goes, so it must go
// before the connection is closed (CloseAll frees the handle).
class StatementTrace
{
public:
    explicit StatementTrace(const QSqlDatabase& database);
    ~StatementTrace();
    StatementTrace(const StatementTrace&) = delete;
    StatementTrace& operator=(const StatementTrace&) = delete;

    QStringList Statements;
    // For each of Statements, how often that prepared statement had run to a
    // reset before: 0 for one prepared for this run, more for one kept.
    QList<int> EarlierRuns;

    // The statements that write or steer transactions: all but the reads.
    QStringList Writes() const;
    // The UPDATE statements alone.
    QStringList Updates() const;

private:
    static int Callback(unsigned type, void* context, void* statement, void*);

    sqlite3* m_handle;
};

} // namespace TestSupport
