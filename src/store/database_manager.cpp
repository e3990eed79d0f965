#include "store/database_manager.h"

#include "store/database.h"
#include "store/loadorsavedb.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QSqlDriver>
#include <QVariant>

#include <cstring>

namespace {

const char* const SQLiteHandleTypeName = "sqlite3*";

// How one kind of database is chosen in a file dialog.
struct FileQuestion
{
    const char* OpenTitle;
    const char* SaveTitle;
    const char* Filter;
};

} // namespace

Tavrol_Database_Manager::Tavrol_Database_Manager() = default;

Tavrol_Database_Manager::~Tavrol_Database_Manager() = default;

Tavrol_Database_Manager* Tavrol_Database_Manager::Instance()
{
    // Made at the first call and kept for the life of the process.
    static Tavrol_Database_Manager* const instance = new Tavrol_Database_Manager();
    return instance;
}

Tavrol_Database* Tavrol_Database_Manager::Current()
{
    return Instance()->CurrentDatabase;
}

std::vector<Tavrol_Database*> Tavrol_Database_Manager::Databases() const
{
    std::vector<Tavrol_Database*> databases;
    for (const auto& database : m_databases)
        databases.push_back(database.get());
    return databases;
}

QString Tavrol_Database_Manager::ConnectionName(DatabaseTypeEnum kind, const QString& path)
{
    switch (kind) {
    case SQLiteMemory:
        // The path itself, so the empty string for the project's memory
        // database: at most one of those is alive at a time.
        return path;
    case SQLiteFile:
        return QStringLiteral("Connection to SQLite file database:  ") + path;
    case MySQL:
        return QStringLiteral("Connection to MySQL file/directory database:  ") + path;
    case PostgreSQL:
        return QStringLiteral("Connection to PostgresQL file/directory database:  ") + path;
    }
    return path;
}

QString Tavrol_Database_Manager::DriverName(DatabaseTypeEnum kind)
{
    switch (kind) {
    case MySQL:
        return QStringLiteral("QMYSQL");
    case PostgreSQL:
        return QStringLiteral("QPSQL");
    case SQLiteMemory:
    case SQLiteFile:
        break;
    }
    return QStringLiteral("QSQLITE");
}

QString Tavrol_Database_Manager::HostName(DatabaseTypeEnum kind)
{
    return kind == MySQL || kind == PostgreSQL ? QStringLiteral("localhost") : QString();
}

Tavrol_Database* Tavrol_Database_Manager::GetDatabase(DatabaseTypeEnum kind, const QString& path,
                                                      bool mustExist)
{
    QString databasePath = path;
    bool search = true;
    if (databasePath.isEmpty()) {
        if (CurrentDatabase && CurrentDatabase->DatabaseType == kind)
            return CurrentDatabase;
        if (kind != SQLiteMemory) {
            databasePath = AskForPath(kind, mustExist);
            if (databasePath.isEmpty())
                return nullptr;
            search = false;
        }
    }
    if (search) {
        for (const auto& database : m_databases) {
            if (database->DatabaseType == kind && database->DatabaseName == databasePath) {
                CurrentDatabase = database.get();
                return CurrentDatabase;
            }
        }
        // mustExist only forbids making a database for an empty path.
        if (databasePath.isEmpty() && mustExist)
            return nullptr;
    }
    auto database = std::make_unique<Tavrol_Database>(
        kind, databasePath, QString(), QString(), HostName(kind), DriverName(kind),
        ConnectionName(kind, databasePath), nullptr, QStringLiteral("Database Object"));
    // The whole process moves to the file's directory.
    if (!databasePath.isEmpty())
        QDir::setCurrent(QFileInfo(databasePath).absolutePath());
    CurrentDatabase = database.get();
    m_databases.push_back(std::move(database));
    return CurrentDatabase;
}

QString Tavrol_Database_Manager::AskForPath(DatabaseTypeEnum kind, bool mustExist) const
{
    // The PostgreSQL titles are those of MySQL; that text stands.
    FileQuestion question{"Select an SQLite Database File", "Specify an SQLite Database File",
                          "SQLite Databases (*.*)"};
    if (kind == MySQL)
        question = {"Select a MySQL Database File or Directory",
                    "Specify a MySQL Database File or Directory", "MySQL Databases (*.*)"};
    else if (kind == PostgreSQL)
        question = {"Select a MySQL Database File or Directory",
                    "Specify a MySQL Database File or Directory", "PostGreSQL Databases (*.*)"};
    QString selectedFilter;
    if (mustExist)
        return QFileDialog::getOpenFileName(nullptr, tr(question.OpenTitle), QDir::currentPath(),
                                            QString::fromLatin1(question.Filter), &selectedFilter);
    return QFileDialog::getSaveFileName(nullptr, tr(question.SaveTitle), QDir::currentPath(),
                                        QString::fromLatin1(question.Filter), &selectedFilter,
                                        QFileDialog::DontConfirmOverwrite);
}

void Tavrol_Database_Manager::CloseAll()
{
    for (const auto& database : m_databases)
        database->Close();
    m_databases.clear();
    CurrentDatabase = nullptr;
}

namespace {

// The SQLite handle behind a connection. False when the connection has no
// such handle at all; then handle is left null.
bool SQLiteHandleOf(const QSqlDriver* driver, sqlite3** handle)
{
    *handle = nullptr;
    const QVariant variant = driver->handle();
    if (!variant.isValid() || std::strcmp(variant.typeName(), SQLiteHandleTypeName) != 0)
        return false;
    *handle = *static_cast<sqlite3* const*>(variant.constData());
    return true;
}

} // namespace

bool Tavrol_Database_Manager::SaveToFile(Tavrol_Database* database, const QString& path)
{
    if (!database || database->DatabaseType != SQLiteMemory || !database->Driver())
        return false;
    sqlite3* handle = nullptr;
    // A connection without an SQLite handle counts as saved, with nothing copied.
    if (!SQLiteHandleOf(database->Driver(), &handle))
        return true;
    if (!handle)
        return false;
    // The file gets the stored schema alone; the next delete makes them again.
    database->DropWorkingIndexes();
    return LoadOrSaveDb(handle, path.toLatin1().constData(), 1) == 0;
}

bool Tavrol_Database_Manager::LoadFromFile(const QString& path, Tavrol_Database* database)
{
    if (!database || !QFile::exists(path) || database->DatabaseType != SQLiteMemory ||
        !database->Driver())
        return false;
    sqlite3* handle = nullptr;
    if (SQLiteHandleOf(database->Driver(), &handle)) {
        if (!handle)
            return false;
        // No statement may hold the database while its content is replaced.
        database->ForgetPreparedQueries();
        if (LoadOrSaveDb(handle, path.toLatin1().constData(), 0) != 0)
            return false;
    }
    // The tables came with the file; nothing is checked.
    database->TablesCreated = true;
    database->UpgradeTables();
    return true;
}
