#include "platform/database_foundation.h"

#include "testsupport.h"

#include <QSqlDriver>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSqlTableModel>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A foundation that counts how often it is initialised.
class CountingDatabase : public Quolix_Database_Foundation
{
public:
    CountingDatabase(DatabaseTypeEnum kind, const QString& path, const QString& connectionName)
        : Quolix_Database_Foundation(kind, path, QString(), QString(), QString(),
                                     QStringLiteral("QSQLITE"), connectionName, nullptr,
                                     QStringLiteral("Database Object"))
    {
    }
    bool Initialize() override
    {
        ++Initialized;
        return Quolix_Database_Foundation::Initialize();
    }
    int Initialized = 0;
};

QString Empty()
{
    return QString(QLatin1String(""));
}

} // namespace

class TestDatabaseFoundation : public QObject
{
    Q_OBJECT

private slots:
    void theConnectionIsRegisteredUnderTheGivenName()
    {
        {
            CountingDatabase database(SQLiteMemory, QString(), Empty());
            QCOMPARE(database.ConnectionName(), Empty());
            QCOMPARE(database.Database.connectionName(), Empty());
            QCOMPARE(QSqlDatabase::connectionNames(), QStringList({Empty()}));
            // The empty name is a name of its own, not Qt's default connection.
            QVERIFY(!QSqlDatabase::contains(QLatin1String(QSqlDatabase::defaultConnection)));
            QVERIFY(!QSqlDatabase::database().isValid());
            QCOMPARE(database.objectName(), QStringLiteral("Database Object"));
            QCOMPARE(database.DatabaseType, SQLiteMemory);
            QVERIFY(database.DatabaseName.isEmpty());
            QVERIFY(!database.TablesCreated);
            QVERIFY(!database.Modified);
        }
        // Gone with its object.
        QVERIFY(QSqlDatabase::connectionNames().isEmpty());
    }

    void userPasswordAndHostReachTheConnection()
    {
        Quolix_Database_Foundation database(SQLiteFile, QStringLiteral("/tmp/x.db"),
                                            QStringLiteral("user"), QStringLiteral("secret"),
                                            QStringLiteral("localhost"), QStringLiteral("QSQLITE"),
                                            QStringLiteral("with host"));
        QCOMPARE(database.Database.userName(), QStringLiteral("user"));
        QCOMPARE(database.Database.password(), QStringLiteral("secret"));
        QCOMPARE(database.Database.hostName(), QStringLiteral("localhost"));
        QCOMPARE(database.Database.databaseName(), QStringLiteral("/tmp/x.db"));
        QCOMPARE(database.DatabaseName, QStringLiteral("/tmp/x.db"));
    }

    void openIsIdempotentAndAMemoryDatabaseIsNotInitialised()
    {
        CountingDatabase database(SQLiteMemory, QStringLiteral("ignored path"), Empty());
        QVERIFY(database.Open());
        QCOMPARE(database.Database.databaseName(), QStringLiteral(":memory:"));
        QVERIFY(QSqlQuery(database.Database).exec(QStringLiteral("CREATE TABLE t (x)")));
        const QVariant handle = database.Driver()->handle();
        QVERIFY(database.Open());
        QVERIFY(database.Open());
        QCOMPARE(database.Driver()->handle(), handle);
        QCOMPARE(database.Database.tables(), QStringList({QStringLiteral("t")}));
        QCOMPARE(database.Initialized, 0);
        QVERIFY(!QFile::exists(QStringLiteral("ignored path")));
    }

    void aFileDatabaseIsInitialisedWhenItIsNewlyOpened()
    {
        QTemporaryDir directory;
        CountingDatabase database(SQLiteFile, directory.filePath("f.db"), "file");
        QVERIFY(database.Open());
        QVERIFY(database.Open());
        QCOMPARE(database.Initialized, 1);
        QVERIFY(database.TablesCreated);
        database.Close();
        QVERIFY(!database.Database.isOpen());
        QVERIFY(database.Open());
        QCOMPARE(database.Initialized, 2);
    }

    void openOfAnImpossibleFileFails()
    {
        QTemporaryDir directory;
        CountingDatabase database(SQLiteFile, directory.filePath("no/such/dir/f.db"), "bad");
        QVERIFY(!database.Open());
        QCOMPARE(database.Initialized, 0);
        QVERIFY(!database.LastErrorMessage().isEmpty());
    }

    void commitSetsModifiedOnlyWhenItWorks()
    {
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(database.Open());
        QVERIFY(!database.Commit());
        QVERIFY(!database.Modified);
        QVERIFY(!database.LastErrorMessage().isEmpty());
        QVERIFY(database.Database.transaction());
        QVERIFY(QSqlQuery(database.Database).exec(QStringLiteral("CREATE TABLE t (x)")));
        QVERIFY(database.Commit());
        QVERIFY(database.Modified);
        database.Modified = false;
        QVERIFY(database.Database.transaction());
        QVERIFY(database.Commit());
        QVERIFY(database.Modified);
    }

    void aTransactionBegunTwiceFailsWithTheDriversText()
    {
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(database.Open());
        QVERIFY(database.BeginTransaction());
        QVERIFY(!database.BeginTransaction());
        QVERIFY(database.LastErrorMessage().contains(
            QStringLiteral("cannot start a transaction within a transaction")));
        QVERIFY(
            database.LastErrorMessage().contains(QStringLiteral("Unable to begin transaction")));
        QVERIFY(database.Commit());
        QVERIFY(!database.Commit());
        QVERIFY(
            database.LastErrorMessage().contains(QStringLiteral("Unable to commit transaction")));
    }

    void beginAndCommitNeedAnOpenConnection()
    {
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(!database.BeginTransaction());
        QVERIFY(!database.Commit());
        QVERIFY(!database.Modified);
    }

    void selectAllFetchesEveryRow()
    {
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(database.Open());
        QSqlQuery query(database.Database);
        QVERIFY(query.exec(QStringLiteral("CREATE TABLE t (x INTEGER)")));
        QVERIFY(query.exec(QStringLiteral(
            "WITH RECURSIVE n(v) AS (SELECT 0 UNION ALL SELECT v + 1 FROM n WHERE v < 999) "
            "INSERT INTO t SELECT v FROM n")));
        query.finish();
        QSqlTableModel model(nullptr, database.Database);
        model.setTable(QStringLiteral("t"));
        QVERIFY(database.SelectAll(model));
        QCOMPARE(model.rowCount(), 1000);
        QVERIFY(!model.canFetchMore());
        QCOMPARE(model.record(999).value(0).toInt(), 999);
    }

    void selectAllOfAMissingTableFails()
    {
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(database.Open());
        QSqlTableModel model(nullptr, database.Database);
        model.setTable(QStringLiteral("missing"));
        QVERIFY(!database.SelectAll(model));
        QCOMPARE(model.rowCount(), 0);
    }

    void driverIsNullOnlyForAConnectionWithoutDriver()
    {
        CountingDatabase sqlite(SQLiteMemory, QString(), Empty());
        QVERIFY(sqlite.Driver() != nullptr);
        Quolix_Database_Foundation missing(
            MySQL, QStringLiteral("db"), QString(), QString(), QStringLiteral("localhost"),
            QStringLiteral("NOSUCHDRIVER"), QStringLiteral("no driver"));
        QVERIFY(missing.Driver() == nullptr);
        QVERIFY(!missing.Open());
    }

    void closeClosesAndTheObjectRemovesItsConnection()
    {
        auto database = std::make_unique<CountingDatabase>(SQLiteMemory, QString(), "temporary");
        QVERIFY(database->Open());
        database->Close();
        QVERIFY(!database->Database.isOpen());
        QVERIFY(QSqlDatabase::contains(QStringLiteral("temporary")));
        database.reset();
        QVERIFY(!QSqlDatabase::contains(QStringLiteral("temporary")));
    }

    void anObjectNeverRemovesAConnectionThatAnotherTookOver()
    {
        auto older = std::make_unique<CountingDatabase>(SQLiteMemory, QString(), "shared name");
        auto newer = std::make_unique<CountingDatabase>(SQLiteMemory, QString(), "shared name");
        QVERIFY(newer->Open());
        older.reset();
        QVERIFY(QSqlDatabase::contains(QStringLiteral("shared name")));
        QVERIFY(QSqlQuery(newer->Database).exec(QStringLiteral("CREATE TABLE t (x)")));
        newer.reset();
        QVERIFY(!QSqlDatabase::contains(QStringLiteral("shared name")));
    }

    void escapeDoublesEverySingleQuote()
    {
        QCOMPARE(Quolix_SQLEscape(QStringLiteral("it's")), QStringLiteral("it''s"));
        QCOMPARE(Quolix_SQLEscape(QStringLiteral("''")), QStringLiteral("''''"));
        QCOMPARE(Quolix_SQLEscape(QStringLiteral("a\"b")), QStringLiteral("a\"b"));
        CountingDatabase database(SQLiteMemory, QString(), Empty());
        QVERIFY(database.Open());
        QSqlQuery query(database.Database);
        const QString text = QStringLiteral("O'Brien's 'quoted' text");
        QVERIFY(
            query.exec(QStringLiteral("SELECT '") + Quolix_SQLEscape(text) + QStringLiteral("'")));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toString(), text);
    }
};

QTEST_MAIN(TestDatabaseFoundation)
#include "tst_database_foundation.moc"
