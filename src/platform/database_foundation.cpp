#include "platform/database_foundation.h"

#include <QSqlDriver>
#include <QSqlQuery>
#include <QSqlTableModel>

namespace {

const char* const MemoryDatabaseName = ":memory:";

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

bool Quolix_Database_Foundation::Commit()
{
    if (!Database.commit()) {
        RememberError(Database.lastError());
        return false;
    }
    Modified = true;
    return true;
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
