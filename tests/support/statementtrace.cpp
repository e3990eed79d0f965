#include "statementtrace.h"

#include <QRegularExpression>
#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

namespace TestSupport {

namespace {

sqlite3* HandleOf(const QSqlDatabase& database)
{
    const QVariant handle = database.driver()->handle();
    return *static_cast<sqlite3* const*>(handle.constData());
}

} // namespace

StatementTrace::StatementTrace(const QSqlDatabase& database) : m_handle(HandleOf(database))
{
    sqlite3_trace_v2(m_handle, SQLITE_TRACE_STMT, &StatementTrace::Callback, this);
}

StatementTrace::~StatementTrace()
{
    sqlite3_trace_v2(m_handle, 0, nullptr, nullptr);
}

QStringList StatementTrace::Writes() const
{
    QStringList writes;
    for (const QString& statement : Statements) {
        if (!statement.startsWith(QLatin1String("SELECT"), Qt::CaseInsensitive) &&
            !statement.startsWith(QLatin1String("PRAGMA"), Qt::CaseInsensitive))
            writes.append(statement);
    }
    return writes;
}

QStringList StatementTrace::Updates() const
{
    return Statements.filter(QRegularExpression(QStringLiteral("^UPDATE ")));
}

int StatementTrace::Callback(unsigned type, void* context, void* statement, void*)
{
    if (type == SQLITE_TRACE_STMT) {
        auto* self = static_cast<StatementTrace*>(context);
        auto* prepared = static_cast<sqlite3_stmt*>(statement);
        self->Statements.append(QString::fromUtf8(sqlite3_sql(prepared)));
        self->EarlierRuns.append(sqlite3_stmt_status(prepared, SQLITE_STMTSTATUS_RUN, 0));
    }
    return 0;
}

} // namespace TestSupport
