#include "platform/database_foundation.h"

#include <QSqlDriver>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSqlTableModel>

#include <sqlite3.h>

#include <cstring>

namespace {

const char* const MemoryDatabaseName = ":memory:";

std::function<void()>& CommitObserver()
{
    static std::function<void()> observer;
    return observer;
}

// True when the connection registered under name is the one behind driver, so
// that one object never removes a connection that another has taken over.
bool IsRegisteredTo(const QString& name, const QSqlDriver* driver)
{
    if (!QSqlDatabase::contains(name))
        return false;
    const QSqlDatabase registered = QSqlDatabase::database(name, false);
    return registered.driver() == driver;
}

} // namespace

Quolix_Database_Foundation::Quolix_Database_Foundation(DatabaseTypeEnum kind, QString path,
                                                       const QString& user, const QString& password,
                                                       const QString& host,
                                                       const QString& driverName,
                                                       const QString& connectionName,
                                                       QObject* parent, const QString& objectName)
    : QObject(parent), DatabaseName(path), DatabaseType(kind), m_connectionName(connectionName)
{
    setObjectName(objectName);
    Database = QSqlDatabase::addDatabase(driverName, connectionName);
    Database.setDatabaseName(kind == SQLiteMemory ? QString::fromLatin1(MemoryDatabaseName) : path);
    if (!user.isEmpty())
        Database.setUserName(user);
    if (!password.isEmpty())
        Database.setPassword(password);
    if (!host.isEmpty())
        Database.setHostName(host);
}

Quolix_Database_Foundation::~Quolix_Database_Foundation()
{
    Close();
    const QSqlDriver* const driver = Database.driver();
    // Every handle on the connection must be gone before it is removed.
    Database = QSqlDatabase();
    if (IsRegisteredTo(m_connectionName, driver))
        QSqlDatabase::removeDatabase(m_connectionName);
}

bool Quolix_Database_Foundation::Open()
{
    if (Database.isOpen())
        return true;
    if (!Database.open()) {
        RememberError(Database.lastError());
        return false;
    }
    if (DatabaseType != SQLiteMemory)
        Initialize();
    return Database.isOpen();
}

void Quolix_Database_Foundation::Close()
{
    ForgetPreparedQueries();
    if (Database.isOpen())
        Database.close();
}

bool Quolix_Database_Foundation::BeginTransaction()
{
    return SteerTransaction(QStringLiteral("BEGIN"), QStringLiteral("Unable to begin transaction"),
                            &QSqlDatabase::transaction);
}

bool Quolix_Database_Foundation::Commit()
{
    if (!SteerTransaction(QStringLiteral("COMMIT"), QStringLiteral("Unable to commit transaction"),
                          &QSqlDatabase::commit))
        return false;
    Modified = true;
    if (const std::function<void()>& observer = CommitObserver())
        observer();
    return true;
}

// On SQLite the statement is kept prepared; other drivers steer the
// transaction their own way.
bool Quolix_Database_Foundation::SteerTransaction(const QString& statement,
                                                  const QString& failureText,
                                                  bool (QSqlDatabase::*driverCall)())
{
    if (sqlite3* handle = SQLiteHandle())
        return StepPrepared(handle, statement, {}, failureText);
    if (!(Database.*driverCall)()) {
        RememberError(Database.lastError());
        return false;
    }
    return true;
}

void Quolix_Database_Foundation::SetCommitObserver(std::function<void()> observer)
{
    CommitObserver() = std::move(observer);
}

bool Quolix_Database_Foundation::SelectAll(QSqlTableModel& model)
{
    if (!model.select()) {
        RememberError(model.lastError());
        return false;
    }
    while (model.canFetchMore())
        model.fetchMore();
    return true;
}

QString Quolix_Database_Foundation::LastErrorMessage() const
{
    if (m_lastError.type() != QSqlError::NoError)
        return m_lastError.text();
    return Database.lastError().text();
}

QSqlDriver* Quolix_Database_Foundation::Driver() const
{
    return Database.isValid() ? Database.driver() : nullptr;
}

void Quolix_Database_Foundation::ForgetPreparedQueries()
{
    m_preparedQueries.clear();
    m_preparedStatements.clear();
}

bool Quolix_Database_Foundation::Initialize()
{
    return CreateTables();
}

bool Quolix_Database_Foundation::CreateTables()
{
    TablesCreated = Database.isOpen();
    return TablesCreated;
}

bool Quolix_Database_Foundation::UpgradeTables()
{
    return Database.isOpen();
}

// ---- Kept statements -------------------------------------------------------

void Quolix_Database_Foundation::StatementFinalizer::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

// The engine's handle when the connection is an open SQLite one, else null.
sqlite3* Quolix_Database_Foundation::SQLiteHandle() const
{
    const QSqlDriver* driver = Driver();
    if (!driver || !Database.isOpen())
        return nullptr;
    const QVariant handle = driver->handle();
    if (!handle.isValid() || std::strcmp(handle.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3* const*>(handle.constData());
}

QSqlQuery* Quolix_Database_Foundation::PreparedQuery(const QString& sql)
{
    auto found = m_preparedQueries.find(sql);
    if (found != m_preparedQueries.end())
        return found->second.get();
    auto query = std::make_unique<QSqlQuery>(Database);
    if (!query->prepare(sql)) {
        RememberError(query->lastError());
        return nullptr;
    }
    return m_preparedQueries.emplace(sql, std::move(query)).first->second.get();
}

sqlite3_stmt* Quolix_Database_Foundation::PreparedStatement(sqlite3* handle, const QString& sql)
{
    auto found = m_preparedStatements.find(sql);
    if (found != m_preparedStatements.end())
        return found->second.get();
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare16_v2(handle, sql.constData(), int(sql.size() * sizeof(QChar)), &statement,
                             nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        RememberSQLiteError(handle, QStringLiteral("Unable to execute statement"));
        return nullptr;
    }
    return m_preparedStatements.emplace(sql, SQLiteStatement(statement)).first->second.get();
}

void Quolix_Database_Foundation::RememberSQLiteError(sqlite3* handle, const QString& driverText)
{
    RememberError(QSqlError(driverText, QString::fromUtf8(sqlite3_errmsg(handle)),
                            QSqlError::StatementError,
                            QString::number(sqlite3_extended_errcode(handle))));
}

namespace {

// Binds a value as the SQLite driver of Qt would: a null value, a null string
// or a null byte array as SQL null, numbers as numbers, anything else as text. The value
// outlives the statement's run, so its data is not copied.
int BindValue(sqlite3_stmt* statement, int position, const QVariant& value)
{
    if (value.isNull())
        return sqlite3_bind_null(statement, position);
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Bool:
        return sqlite3_bind_int(statement, position, value.toInt());
    case QMetaType::LongLong:
    case QMetaType::UInt:
        return sqlite3_bind_int64(statement, position, value.toLongLong());
    case QMetaType::Double:
        return sqlite3_bind_double(statement, position, value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray* bytes = static_cast<const QByteArray*>(value.constData());
        if (bytes->isNull())
            return sqlite3_bind_null(statement, position);
        return sqlite3_bind_blob(statement, position, bytes->constData(), int(bytes->size()),
                                 SQLITE_STATIC);
    }
    case QMetaType::QString: {
        const QString* text = static_cast<const QString*>(value.constData());
        if (text->isNull())
            return sqlite3_bind_null(statement, position);
        return sqlite3_bind_text16(statement, position, text->constData(),
                                   int(text->size() * sizeof(QChar)), SQLITE_STATIC);
    }
    default: {
        const QString text = value.toString();
        return sqlite3_bind_text16(statement, position, text.constData(),
                                   int(text.size() * sizeof(QChar)), SQLITE_TRANSIENT);
    }
    }
}

} // namespace

bool Quolix_Database_Foundation::StepPrepared(sqlite3* handle, const QString& sql,
                                              const std::vector<QVariant>& values,
                                              const QString& failureText)
{
    sqlite3_stmt* statement = PreparedStatement(handle, sql);
    if (!statement)
        return false;
    for (int position = 0; position < int(values.size()); ++position) {
        if (BindValue(statement, position + 1, values[size_t(position)]) != SQLITE_OK) {
            RememberSQLiteError(handle, QStringLiteral("Unable to bind value"));
            sqlite3_clear_bindings(statement);
            return false;
        }
    }
    const int result = sqlite3_step(statement);
    if (result != SQLITE_DONE && result != SQLITE_ROW)
        RememberSQLiteError(handle, failureText);
    // Reset at once, so that the kept statement holds nothing of the database.
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return result == SQLITE_DONE || result == SQLITE_ROW;
}

bool Quolix_Database_Foundation::ExecutePrepared(const QString& sql,
                                                 const std::vector<QVariant>& values)
{
    if (sqlite3* handle = SQLiteHandle())
        return StepPrepared(handle, sql, values, QStringLiteral("Unable to fetch row"));
    QSqlQuery* query = PreparedQuery(sql);
    if (!query)
        return false;
    for (int position = 0; position < int(values.size()); ++position)
        query->bindValue(position, values[size_t(position)]);
    const bool executed = query->exec();
    if (!executed)
        RememberError(query->lastError());
    query->finish();
    return executed;
}

bool Quolix_Database_Foundation::SelectPreparedInt(const QString& sql, int* value)
{
    if (sqlite3* handle = SQLiteHandle()) {
        sqlite3_stmt* statement = PreparedStatement(handle, sql);
        if (!statement)
            return false;
        bool found = false;
        if (sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_count(statement) > 0) {
            const int type = sqlite3_column_type(statement, 0);
            if (type == SQLITE_INTEGER) {
                *value = sqlite3_column_int(statement, 0);
                found = true;
            } else if (type != SQLITE_NULL) {
                const QString text = QString::fromUtf8(
                    reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
                const int number = text.toInt(&found);
                if (found)
                    *value = number;
            }
        }
        sqlite3_reset(statement);
        return found;
    }
    QSqlQuery* query = PreparedQuery(sql);
    if (!query)
        return false;
    bool found = false;
    if (query->exec() && query->next() && !query->value(0).isNull()) {
        const int number = query->value(0).toInt(&found);
        if (found)
            *value = number;
    }
    query->finish();
    return found;
}

bool Quolix_Database_Foundation::SelectPreparedHasRow(const QString& sql)
{
    if (sqlite3* handle = SQLiteHandle()) {
        sqlite3_stmt* statement = PreparedStatement(handle, sql);
        if (!statement)
            return false;
        const bool found = sqlite3_step(statement) == SQLITE_ROW;
        sqlite3_reset(statement);
        return found;
    }
    QSqlQuery* query = PreparedQuery(sql);
    if (!query)
        return false;
    const bool found = query->exec() && query->next();
    query->finish();
    return found;
}

namespace {

// A row of SQLite's own statement. Text is read as the UTF-8 the memory
// database keeps, without a round trip through a QVariant.
class SQLiteRow : public Quolix_ResultRow
{
public:
    explicit SQLiteRow(sqlite3_stmt* statement) : m_statement(statement)
    {
        const int columns = sqlite3_column_count(statement);
        for (int column = 0; column < columns; ++column)
            m_names.append(QString::fromUtf8(sqlite3_column_name(statement, column)));
    }
    int ColumnIndex(const QString& name) const override
    {
        for (int column = 0; column < int(m_names.size()); ++column) {
            if (m_names[column].compare(name, Qt::CaseInsensitive) == 0)
                return column;
        }
        return -1;
    }
    QString Text(int column) const override
    {
        switch (Type(column)) {
        case SQLITE_NULL:
            return QString();
        case SQLITE_TEXT:
            return QString::fromUtf8(
                reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column)),
                sqlite3_column_bytes(m_statement, column));
        default:
            return Variant(column).toString();
        }
    }
    int Integer(int column) const override
    {
        switch (Type(column)) {
        case SQLITE_NULL:
            return 0;
        case SQLITE_INTEGER:
            return QVariant(qlonglong(sqlite3_column_int64(m_statement, column))).toInt();
        case SQLITE_TEXT:
            return Text(column).toInt();
        default:
            return Variant(column).toInt();
        }
    }

private:
    int Type(int column) const
    {
        return column < 0 ? SQLITE_NULL : sqlite3_column_type(m_statement, column);
    }
    // The value Qt's SQLite driver would give, for the rarer storage classes.
    QVariant Variant(int column) const
    {
        switch (Type(column)) {
        case SQLITE_INTEGER:
            return QVariant(qlonglong(sqlite3_column_int64(m_statement, column)));
        case SQLITE_FLOAT:
            return QVariant(sqlite3_column_double(m_statement, column));
        case SQLITE_BLOB:
            return QVariant(
                QByteArray(static_cast<const char*>(sqlite3_column_blob(m_statement, column)),
                           sqlite3_column_bytes(m_statement, column)));
        case SQLITE_TEXT:
            return QVariant(Text(column));
        default:
            return QVariant();
        }
    }

    sqlite3_stmt* m_statement;
    QStringList m_names;
};

// A row of a QSqlQuery, for connections that are not SQLite.
class QueryRow : public Quolix_ResultRow
{
public:
    explicit QueryRow(const QSqlQuery& query) : m_query(query), m_record(query.record()) {}
    int ColumnIndex(const QString& name) const override { return m_record.indexOf(name); }
    QString Text(int column) const override
    {
        return column < 0 ? QString() : m_query.value(column).toString();
    }
    int Integer(int column) const override
    {
        return column < 0 ? 0 : m_query.value(column).toInt();
    }

private:
    const QSqlQuery& m_query;
    QSqlRecord m_record;
};

// Finalizes a statement of a single use.
struct SingleUse
{
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

} // namespace

bool Quolix_Database_Foundation::SelectEach(
    const QString& sql, const std::function<void(const Quolix_ResultRow&)>& visit)
{
    if (sqlite3* handle = SQLiteHandle()) {
        sqlite3_stmt* prepared = nullptr;
        if (sqlite3_prepare16_v2(handle, sql.constData(), int(sql.size() * sizeof(QChar)),
                                 &prepared, nullptr) != SQLITE_OK) {
            sqlite3_finalize(prepared);
            RememberSQLiteError(handle, QStringLiteral("Unable to execute statement"));
            return false;
        }
        const std::unique_ptr<sqlite3_stmt, SingleUse> statement(prepared);
        const SQLiteRow row(prepared);
        int result = SQLITE_ROW;
        while ((result = sqlite3_step(prepared)) == SQLITE_ROW)
            visit(row);
        if (result != SQLITE_DONE) {
            RememberSQLiteError(handle, QStringLiteral("Unable to fetch row"));
            return false;
        }
        return true;
    }
    QSqlQuery query(Database);
    query.setForwardOnly(true);
    if (!query.exec(sql)) {
        RememberError(query.lastError());
        return false;
    }
    const QueryRow row(query);
    while (query.next())
        visit(row);
    return true;
}

void Quolix_Database_Foundation::RememberError(const QSqlError& error)
{
    m_lastError = error;
}

QString Quolix_SQLEscape(const QString& text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\''), QLatin1String("''"));
    return escaped;
}
