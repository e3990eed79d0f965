#pragma once

#include <QObject>
#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
#include <QVariant>

#include <functional>
#include <map>
#include <memory>
#include <vector>

class QSqlDriver;
class QSqlQuery;
class QSqlTableModel;
struct sqlite3;
struct sqlite3_stmt;

// One row of a result, as SelectEach hands it out. Values convert as QVariant
// converts the values of Qt's drivers.
class Quolix_ResultRow
{
public:
    virtual ~Quolix_ResultRow() = default;
    // The position of a column of the result by its name, or -1.
    virtual int ColumnIndex(const QString& name) const = 0;
    // A column as QVariant::toString and QVariant::toInt give it; a position
    // of -1 reads as an SQL null.
    virtual QString Text(int column) const = 0;
    virtual int Integer(int column) const = 0;
};

// The kinds of database a connection can reach.
enum DatabaseTypeEnum : qint32
{
    SQLiteMemory = 0,
    SQLiteFile = 1,
    MySQL = 2,
    PostgreSQL = 3
};

// One named connection to a database, with the bookkeeping that a project
// needs: whether its tables exist, where it came from, whether it changed.
// Subclasses fill in the schema through the three virtual operations.
class Quolix_Database_Foundation : public QObject
{
    Q_OBJECT

public:
    // Registers the connection under connectionName with the given driver. A
    // memory database (SQLiteMemory) is an in-memory SQLite database whatever
    // the path; the path is kept as DatabaseName.
    Quolix_Database_Foundation(DatabaseTypeEnum kind, QString path, const QString& user,
                               const QString& password, const QString& host,
                               const QString& driverName, const QString& connectionName,
                               QObject* parent = nullptr, const QString& objectName = QString());
    ~Quolix_Database_Foundation() override;

    Quolix_Database_Foundation(const Quolix_Database_Foundation&) = delete;
    Quolix_Database_Foundation& operator=(const Quolix_Database_Foundation&) = delete;

    // True when the connection is open afterwards. An open connection stays as
    // it is. A database other than a memory one is initialised when it is
    // newly opened; a memory database gets its tables from a project file or
    // from the new-project sequence.
    bool Open();
    void Close();
    // Begins a transaction with "BEGIN"; on SQLite the statement is kept
    // prepared, as every add and update of the store begins one.
    bool BeginTransaction();
    // Commits the transaction the caller began on Database. A successful
    // commit marks the project as modified.
    bool Commit();
    // Called after every successful commit of any database, on the thread
    // that committed; one observer at most, none when observer is empty. The
    // recovery copy learns this way that the store has changed.
    static void SetCommitObserver(std::function<void()> observer);
    // Selects and fetches every row, not only the driver's first batch.
    bool SelectAll(QSqlTableModel& model);
    QString LastErrorMessage() const;
    QSqlDriver* Driver() const;
    QString ConnectionName() const { return m_connectionName; }

    // Drops the statements kept prepared for this connection. Needed before
    // the database's content is replaced underneath the connection.
    void ForgetPreparedQueries();

    virtual bool Initialize();
    virtual bool CreateTables();
    virtual bool UpgradeTables();

    QSqlDatabase Database;
    bool TablesCreated = false;
    QString DatabaseName;
    QString FilePath;
    bool Modified = false;
    DatabaseTypeEnum DatabaseType;

protected:
    // Runs a statement that is prepared once per connection and kept, with
    // values bound to its placeholders in order; true when it ran to its end.
    // Values are never part of the statement's text. On SQLite the statement
    // goes straight to the engine, which spares a conversion of every value.
    bool ExecutePrepared(const QString& sql, const std::vector<QVariant>& values);
    // The first column of the first row of a kept statement, as an integer;
    // false for no row, an SQL null or no number.
    bool SelectPreparedInt(const QString& sql, int* value);
    // Whether a kept statement gives at least one row; false also when it
    // cannot be prepared.
    bool SelectPreparedHasRow(const QString& sql);
    // Runs a select and hands every row to visit, in the order of the result,
    // forward only: no row is kept once visit returns. False when the
    // statement fails.
    bool SelectEach(const QString& sql, const std::function<void(const Quolix_ResultRow&)>& visit);
    // Keeps a statement's error for LastErrorMessage.
    void RememberError(const QSqlError& error);

private:
    struct StatementFinalizer
    {
        void operator()(sqlite3_stmt* statement) const;
    };
    using SQLiteStatement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

    sqlite3* SQLiteHandle() const;
    // Runs "BEGIN" or "COMMIT"; failureText names a failure as Qt's driver does.
    bool SteerTransaction(const QString& statement, const QString& failureText,
                          bool (QSqlDatabase::*driverCall)());
    QSqlQuery* PreparedQuery(const QString& sql);
    sqlite3_stmt* PreparedStatement(sqlite3* handle, const QString& sql);
    // Binds the values to a kept statement and runs it to its first row or
    // its end; a failure is remembered under failureText.
    bool StepPrepared(sqlite3* handle, const QString& sql, const std::vector<QVariant>& values,
                      const QString& failureText);
    void RememberSQLiteError(sqlite3* handle, const QString& driverText);

    QString m_connectionName;
    QSqlError m_lastError;
    std::map<QString, std::unique_ptr<QSqlQuery>> m_preparedQueries;
    std::map<QString, SQLiteStatement> m_preparedStatements;
};

// The text with every single quote doubled, safe between single quotes in a
// statement.
QString Quolix_SQLEscape(const QString& text);
