#pragma once

#include "platform/database_foundation.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

class Tavrol_Database;

// The one place that makes, finds and ends databases, and copies a memory
// database to and from a project file. It owns every database; all other code
// reaches the current one through Current(), anew at each use, since CloseAll
// deletes it.
class Tavrol_Database_Manager : public QObject
{
    Q_OBJECT

public:
    static Tavrol_Database_Manager* Instance();
    // The current database, or null; never to be kept across calls.
    static Tavrol_Database* Current();

    // Finds or makes a database and makes it current; does not open it. Null
    // for a cancelled file dialog, or for an empty path with mustExist and no
    // such database.
    Tavrol_Database* GetDatabase(DatabaseTypeEnum kind, const QString& path, bool mustExist);
    void CloseAll();
    bool SaveToFile(Tavrol_Database* database, const QString& path);
    bool LoadFromFile(const QString& path, Tavrol_Database* database);

    // Every live database, oldest first.
    std::vector<Tavrol_Database*> Databases() const;

    // The connection name, driver and host each kind of database gets.
    static QString ConnectionName(DatabaseTypeEnum kind, const QString& path);
    static QString DriverName(DatabaseTypeEnum kind);
    static QString HostName(DatabaseTypeEnum kind);

    Tavrol_Database* CurrentDatabase = nullptr; // one of the databases, or null

private:
    Tavrol_Database_Manager();
    ~Tavrol_Database_Manager() override;

    QString AskForPath(DatabaseTypeEnum kind, bool mustExist) const;

    std::vector<std::unique_ptr<Tavrol_Database>> m_databases;
};
