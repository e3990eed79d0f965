#include "store/database.h"
#include "store/database_manager.h"
#include "store/loadorsavedb.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QPointer>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

using namespace StoreTest;

namespace {

const QStringList AllTables = {
    QStringLiteral("GeneralData"),    QStringLiteral("JobTypes"),
    QStringLiteral("Queues"),         QStringLiteral("LongJobsQueue"),
    QStringLiteral("ShortJobsQueue"), QStringLiteral("QueuelessJobs"),
    QStringLiteral("RunningJobs"),    QStringLiteral("FinishedJobs"),
    QStringLiteral("Jobs"),
};

Tavrol_Database_Manager* Manager()
{
    return Tavrol_Database_Manager::Instance();
}

// What a file dialog showed, and how it was answered.
struct DialogSeen
{
    bool Shown = false;
    QString Title;
    QStringList Filters;
    QString Directory;
    QFileDialog::AcceptMode Mode = QFileDialog::AcceptOpen;
    bool DontConfirmOverwrite = false;
};

// Answers the next modal file dialog: with answer, or by cancelling when it is
// empty. Gives up after a minute.
class DialogAnswerer : public QObject
{
public:
    explicit DialogAnswerer(const QString& answer) : m_answer(answer)
    {
        connect(&m_timer, &QTimer::timeout, this, &DialogAnswerer::Poll);
        m_timer.start(10);
        m_deadline.start();
    }
    DialogSeen Seen;
    QStringList Unexpected;

private:
    void Poll()
    {
        QWidget* modal = QApplication::activeModalWidget();
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        if (!dialog) {
            // Anything else that is modal would block the test: close it.
            if (auto* other = qobject_cast<QDialog*>(modal)) {
                Unexpected.append(other->windowTitle());
                other->reject();
            }
            if (m_deadline.elapsed() > 60000)
                m_timer.stop();
            return;
        }
        m_timer.stop();
        Seen.Shown = true;
        Seen.Title = dialog->windowTitle();
        Seen.Filters = dialog->nameFilters();
        Seen.Directory = dialog->directory().absolutePath();
        Seen.Mode = dialog->acceptMode();
        Seen.DontConfirmOverwrite = dialog->testOption(QFileDialog::DontConfirmOverwrite);
        if (m_answer.isEmpty()) {
            dialog->reject();
            return;
        }
        // Types the name into the dialog and accepts it as it stands, without
        // the dialog's own checks. selectFile would leave a focused name field
        // alone.
        dialog->setDirectory(QFileInfo(m_answer).absolutePath());
        auto* nameField = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        if (!nameField) {
            Unexpected.append(QStringLiteral("no file name field"));
            dialog->reject();
            return;
        }
        nameField->setText(QFileInfo(m_answer).fileName());
        static_cast<QDialog*>(dialog)->done(QDialog::Accepted);
    }

    QString m_answer;
    QTimer m_timer;
    QElapsedTimer m_deadline;
};

// A job for the tables, with every stored field set.
Tavrol_Job MakeJob(const QString& name, int jobID, const Tavrol_JobType& jobType, int queueID)
{
    Tavrol_Job job(name, jobType, QStringLiteral("client"), QStringLiteral("clientApp"),
                   QStringLiteral("127.0.0.1"), 4321, 1000, 100, queueID,
                   Tavrol_JobType::QueueNameFromID(queueID), QStringLiteral("/data/") + name,
                   QStringLiteral("/data/second.gjf"), jobID, QStringLiteral("class A"));
    job.Submitted = QDateTime(QDate(2024, 5, 17), QTime(14, 3, 9));
    job.Started = QDateTime(QDate(2024, 5, 17), QTime(14, 3, 10));
    job.Finished = QDateTime(QDate(2024, 5, 17), QTime(15, 0, 0));
    job.SetStatus(JobStatusCompleted, false);
    job.StdOutAndStdErr = QStringLiteral("output of ") + name;
    job.ClientNotification = 1;
    return job;
}

Tavrol_JobType GaussianType()
{
    return Tavrol_JobType(
        0, QStringLiteral("Gaussian"), QStringLiteral("g16"), QStringLiteral("/opt/g16/g16"),
        QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Gaussian Input Files (*.gjf)"),
        QStringLiteral("Gaussian Log Files (*.log)"), QStringLiteral("GAUSS_EXEDIR=/opt/g16"));
}

// A project with rows in every table.
void FillEveryTable(Tavrol_Database* database)
{
    QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2")));
    QVERIFY(database->SetGeneralData(QStringLiteral("LastJobID"), QStringLiteral("12")));
    QVERIFY(database->AddQueue(QStringLiteral("Long"), 1, nullptr));
    QVERIFY(database->AddQueue(QStringLiteral("Short"), 3, nullptr));
    Tavrol_JobType jobType = GaussianType();
    int jobTypeID = -1;
    QVERIFY(database->AddJobType(jobType, true, &jobTypeID));
    jobType.JobTypeID = jobTypeID;
    QVERIFY(database->AddLongJob(MakeJob("long.gjf", 10, jobType, 0), true, nullptr));
    QVERIFY(database->AddShortJob(MakeJob("short.gjf", 11, jobType, 1), true, nullptr));
    QVERIFY(database->AddQueuelessJob(MakeJob("free.gjf", 12, jobType, 2), true, nullptr));
    QVERIFY(database->AddFinishedJob(MakeJob("done.gjf", 9, jobType, 0), true, nullptr));
    QVERIFY(Run(database->Database,
                {QStringLiteral("INSERT INTO RunningJobs (RunningJobID, Name, JobTypeID, QueueID, "
                                "ProcessID, ParentProcessID, ApplicationName, ExecutablePath, "
                                "CommandLine, Created, LastModified, JobID) VALUES (0, 'r', 0, 0, "
                                "77, 1, 'g16', '/opt/g16/g16', 'g16 r', 'c', 'm', 5)"),
                 QStringLiteral("INSERT INTO Jobs (JobID, Name, JobTypeID, QueueID, ProcessID, "
                                "ParentProcessID, ApplicationName, ExecutablePath, CommandLine, "
                                "Created, LastModified) VALUES (3, 'j', 0, 1, 78, 1, 'g16', "
                                "'/opt/g16/g16', 'g16 j', 'c', 'm')")}));
}

std::map<QString, QStringList> AllRows(const QSqlDatabase& database)
{
    std::map<QString, QStringList> rows;
    for (const QString& table : AllTables)
        rows[table] = TableRows(database, table);
    return rows;
}

// A file database made with plain statements, outside the store.
class PlainFile
{
public:
    explicit PlainFile(const QString& path) : m_name(QStringLiteral("plain file ") + path)
    {
        m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        m_database.setDatabaseName(path);
        m_database.open();
    }
    ~PlainFile()
    {
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }
    QSqlDatabase& Database() { return m_database; }

private:
    QString m_name;
    QSqlDatabase m_database;
};

// The statements of the schema before the later columns came.
QStringList OldSchemaStatements()
{
    Tavrol_Database* fresh = NewProjectDatabase();
    QStringList statements;
    QSqlQuery query(fresh->Database);
    query.exec(
        QStringLiteral("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"));
    while (query.next()) {
        QString statement = query.value(0).toString();
        statement.remove(QStringLiteral(",StdOutAndStdErr TEXT"));
        statement.remove(
            QStringLiteral(",InputFilePath2 TEXT,JobClass TEXT,ClientNotification INTEGER"));
        statements.append(statement);
    }
    query.finish();
    Manager()->CloseAll();
    return statements;
}

} // namespace

class TestDatabaseManager : public QObject
{
    Q_OBJECT

private:
    QString m_startDirectory;

private slots:
    void initTestCase()
    {
        QVERIFY(ErrorLog::Install());
        m_startDirectory = QDir::currentPath();
    }

    void cleanup()
    {
        Manager()->CloseAll();
        QDir::setCurrent(m_startDirectory);
        ErrorLog::Messages().clear();
    }

    // ---- Instance and GetDatabase ----

    void thereIsOneManager()
    {
        QVERIFY(Manager() != nullptr);
        QCOMPARE(Tavrol_Database_Manager::Instance(), Manager());
        QVERIFY(Manager()->parent() == nullptr);
    }

    void currentFollowsEveryChangeOfTheCurrentDatabase()
    {
        QVERIFY(Tavrol_Database_Manager::Current() == nullptr);
        Tavrol_Database* memory = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        QVERIFY(memory);
        QCOMPARE(Tavrol_Database_Manager::Current(), memory);
        QTemporaryDir directory;
        Tavrol_Database* file =
            Manager()->GetDatabase(SQLiteFile, directory.filePath("a.db"), true);
        QVERIFY(file);
        QVERIFY(file != memory);
        QCOMPARE(Tavrol_Database_Manager::Current(), file);
        Manager()->CloseAll();
        QVERIFY(Tavrol_Database_Manager::Current() == nullptr);
    }

    void memoryWithMustExistAndNoDatabaseGivesNull()
    {
        QVERIFY(Manager()->GetDatabase(SQLiteMemory, QString(), true) == nullptr);
        QVERIFY(Manager()->Databases().empty());
        QVERIFY(Manager()->CurrentDatabase == nullptr);
        QVERIFY(!QSqlDatabase::contains(QString(QLatin1String(""))));
    }

    void twoMemoryCallsGiveTheSameObject()
    {
        Tavrol_Database* first = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        Tavrol_Database* second = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        QVERIFY(first);
        QCOMPARE(second, first);
        QCOMPARE(Manager()->CurrentDatabase, first);
        QCOMPARE(Manager()->Databases().size(), size_t(1));
        QCOMPARE(Manager()->GetDatabase(SQLiteMemory, QString(), true), first);
    }

    void theMemoryDatabaseIsNamedByItsEmptyPath()
    {
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        QCOMPARE(database->Database.connectionName(), QString(QLatin1String("")));
        QCOMPARE(database->ConnectionName(), QString(QLatin1String("")));
        QVERIFY(QSqlDatabase::contains(QString(QLatin1String(""))));
        QVERIFY(!QSqlDatabase::contains(QLatin1String(QSqlDatabase::defaultConnection)));
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList({QString(QLatin1String(""))}));
        QCOMPARE(database->Database.driverName(), QStringLiteral("QSQLITE"));
        QCOMPARE(database->Database.hostName(), QString());
        QCOMPARE(database->objectName(), QStringLiteral("Database Object"));
        QCOMPARE(database->DatabaseType, SQLiteMemory);
        QVERIFY(database->DatabaseName.isEmpty());
        QVERIFY(database->FilePath.isEmpty());
        QVERIFY(!database->Modified);
        QVERIFY(!database->TablesCreated);
        QVERIFY(database->parent() == nullptr);
        // GetDatabase does not open.
        QVERIFY(!database->Database.isOpen());
        QVERIFY(database->Open());
        QCOMPARE(database->Database.databaseName(), QStringLiteral(":memory:"));
        // A memory database starts empty: its tables come from a file or a new project.
        QVERIFY(database->Database.tables().isEmpty());
        QVERIFY(!database->TablesCreated);
    }

    void openIsIdempotent()
    {
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->AddGeneralData(QStringLiteral("Version"), QStringLiteral("2"), false,
                                         nullptr));
        sqlite3* handle = HandleOf(database->Database);
        QVERIFY(database->Open());
        QVERIFY(database->Open());
        QCOMPARE(HandleOf(database->Database), handle);
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("2"));
    }

    void aPathWithMustExistMakesANewDatabaseAndMovesTheProcess()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("project.sqlite"));
        Tavrol_Database* memory = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteFile, path, true);
        QVERIFY(database);
        QVERIFY(database != memory);
        QCOMPARE(Manager()->CurrentDatabase, database);
        QCOMPARE(Manager()->Databases().size(), size_t(2));
        QCOMPARE(database->DatabaseName, path);
        QCOMPARE(database->DatabaseType, SQLiteFile);
        QCOMPARE(database->Database.connectionName(),
                 QStringLiteral("Connection to SQLite file database:  ") + path);
        QCOMPARE(database->Database.databaseName(), path);
        QCOMPARE(database->Database.driverName(), QStringLiteral("QSQLITE"));
        QCOMPARE(QDir::currentPath(), QFileInfo(path).absolutePath());
        QVERIFY(!database->Database.isOpen());
        QVERIFY(!QFile::exists(path));
    }

    void aMemoryDatabaseWithAPathIsNamedByThePath()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("named"));
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteMemory, path, false);
        QCOMPARE(database->Database.connectionName(), path);
        QCOMPARE(QDir::currentPath(), directory.path());
        QVERIFY(database->Open());
        QCOMPARE(database->Database.databaseName(), QStringLiteral(":memory:"));
        QVERIFY(!QFile::exists(path));
    }

    void anExistingPathGivesTheSameObjectWithoutMovingTheProcess()
    {
        QTemporaryDir directory;
        QTemporaryDir elsewhere;
        const QString path = directory.filePath(QStringLiteral("project.sqlite"));
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteFile, path, true);
        Tavrol_Database* memory = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        QCOMPARE(Manager()->CurrentDatabase, memory);
        QDir::setCurrent(elsewhere.path());
        const QStringList connections = QSqlDatabase::connectionNames();
        QCOMPARE(Manager()->GetDatabase(SQLiteFile, path, false), database);
        QCOMPARE(Manager()->CurrentDatabase, database);
        QCOMPARE(QDir::currentPath(), QDir(elsewhere.path()).absolutePath());
        QCOMPARE(QSqlDatabase::connectionNames(), connections);
        QCOMPARE(Manager()->Databases().size(), size_t(2));
        // The same path of another kind is another database.
        Tavrol_Database* memoryWithPath = Manager()->GetDatabase(SQLiteMemory, path, false);
        QVERIFY(memoryWithPath != database);
        QCOMPARE(Manager()->Databases().size(), size_t(3));
    }

    void anEmptyPathGivesTheCurrentDatabaseOfThatKindBeforeAnyDialog()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("project.sqlite"));
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteFile, path, true);
        DialogAnswerer answerer{QString()};
        QCOMPARE(Manager()->GetDatabase(SQLiteFile, QString(), true), database);
        QCOMPARE(Manager()->GetDatabase(SQLiteFile, QString(), false), database);
        QCoreApplication::processEvents();
        QVERIFY(!answerer.Seen.Shown);
    }

    void fileDialogs_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("mustExist");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("connectionPrefix");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<QString>("host");
        QTest::newRow("SQLite open") << int(SQLiteFile) << true << "Select an SQLite Database File"
                                     << "SQLite Databases (*.*)"
                                     << "Connection to SQLite file database:  "
                                     << "QSQLITE"
                                     << "";
        QTest::newRow("SQLite save")
            << int(SQLiteFile) << false << "Specify an SQLite Database File"
            << "SQLite Databases (*.*)"
            << "Connection to SQLite file database:  "
            << "QSQLITE"
            << "";
        QTest::newRow("MySQL open")
            << int(MySQL) << true << "Select a MySQL Database File or Directory"
            << "MySQL Databases (*.*)"
            << "Connection to MySQL file/directory database:  "
            << "QMYSQL"
            << "localhost";
        QTest::newRow("MySQL save")
            << int(MySQL) << false << "Specify a MySQL Database File or Directory"
            << "MySQL Databases (*.*)"
            << "Connection to MySQL file/directory database:  "
            << "QMYSQL"
            << "localhost";
        QTest::newRow("PostgreSQL open")
            << int(PostgreSQL) << true << "Select a MySQL Database File or Directory"
            << "PostGreSQL Databases (*.*)"
            << "Connection to PostgresQL file/directory database:  "
            << "QPSQL"
            << "localhost";
        QTest::newRow("PostgreSQL save")
            << int(PostgreSQL) << false << "Specify a MySQL Database File or Directory"
            << "PostGreSQL Databases (*.*)"
            << "Connection to PostgresQL file/directory database:  "
            << "QPSQL"
            << "localhost";
    }

    void fileDialogs()
    {
        QFETCH(int, kind);
        QFETCH(bool, mustExist);
        QFETCH(QString, title);
        QFETCH(QString, filter);
        QFETCH(QString, connectionPrefix);
        QFETCH(QString, driver);
        QFETCH(QString, host);
        QTemporaryDir directory;
        QTemporaryDir target;
        QDir::setCurrent(directory.path());
        Tavrol_Database* memory = Manager()->GetDatabase(SQLiteMemory, QString(), false);

        // Cancelled: nothing is made and the current database stays.
        {
            DialogAnswerer answerer{QString()};
            QVERIFY(Manager()->GetDatabase(DatabaseTypeEnum(kind), QString(), mustExist) ==
                    nullptr);
            QVERIFY(answerer.Seen.Shown);
            QCOMPARE(answerer.Seen.Title, title);
            QCOMPARE(answerer.Seen.Filters, QStringList({filter}));
            QCOMPARE(answerer.Seen.Directory, QDir(directory.path()).absolutePath());
            QCOMPARE(answerer.Seen.Mode,
                     mustExist ? QFileDialog::AcceptOpen : QFileDialog::AcceptSave);
            QCOMPARE(answerer.Seen.DontConfirmOverwrite, !mustExist);
            QCOMPARE(Manager()->CurrentDatabase, memory);
            QCOMPARE(Manager()->Databases().size(), size_t(1));
        }

        // Answered: a new database of that path, without a search.
        const QString path = target.filePath(QStringLiteral("chosen.db"));
        if (mustExist) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        DialogAnswerer answerer(path);
        Tavrol_Database* database =
            Manager()->GetDatabase(DatabaseTypeEnum(kind), QString(), mustExist);
        QVERIFY(answerer.Seen.Shown);
        QVERIFY(database);
        QCOMPARE(database->DatabaseName, path);
        QCOMPARE(int(database->DatabaseType), kind);
        QCOMPARE(database->ConnectionName(), connectionPrefix + path);
        QCOMPARE(database->Database.driverName(), driver);
        QCOMPARE(Tavrol_Database_Manager::HostName(DatabaseTypeEnum(kind)), host);
        // A connection whose driver is not installed keeps no host name.
        if (database->Database.isValid())
            QCOMPARE(database->Database.hostName(), host);
        QVERIFY(answerer.Unexpected.isEmpty());
        QCOMPARE(Manager()->CurrentDatabase, database);
        QCOMPARE(QDir::currentPath(), QDir(target.path()).absolutePath());
    }

    void aDialogAnswerIsNotSearched()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("project.sqlite"));
        Tavrol_Database* existing = Manager()->GetDatabase(SQLiteFile, path, false);
        Manager()->GetDatabase(SQLiteMemory, QString(), false);
        DialogAnswerer answerer(path);
        Tavrol_Database* database = Manager()->GetDatabase(SQLiteFile, QString(), false);
        QVERIFY(answerer.Seen.Shown);
        QVERIFY(database);
        QVERIFY(database != existing);
        QCOMPARE(Manager()->Databases().size(), size_t(3));
        QCOMPARE(database->ConnectionName(), existing->ConnectionName());
        // The newer object holds the connection name; ending all removes it.
        Manager()->CloseAll();
        QVERIFY(!QSqlDatabase::contains(QStringLiteral("Connection to SQLite file database:  ") +
                                        path));
    }

    // ---- CloseAll ----

    void closeAllOnAnEmptyManagerOnlyClearsTheCurrentDatabase()
    {
        Tavrol_Database outside(SQLiteMemory, QString(), QString(), QString(), QString(),
                                QStringLiteral("QSQLITE"), QStringLiteral("outside"));
        QVERIFY(outside.Open());
        Manager()->CurrentDatabase = &outside;
        Manager()->CloseAll();
        QVERIFY(Manager()->CurrentDatabase == nullptr);
        QVERIFY(outside.Database.isOpen());
    }

    void closeAllClosesAndDeletesEveryDatabase()
    {
        QTemporaryDir directory;
        QPointer<Tavrol_Database> memory = NewProjectDatabase();
        QPointer<Tavrol_Database> file =
            Manager()->GetDatabase(SQLiteFile, directory.filePath("a.db"), true);
        QVERIFY(file->Open());
        QVERIFY(QFile::exists(directory.filePath("a.db")));
        // A file database is initialised when it is opened.
        QVERIFY(file->TablesCreated);
        QCOMPARE(file->Database.tables(QSql::Tables).size(), 9);
        Manager()->CloseAll();
        QVERIFY(memory.isNull());
        QVERIFY(file.isNull());
        QVERIFY(Manager()->Databases().empty());
        QVERIFY(Manager()->CurrentDatabase == nullptr);
        QVERIFY(QSqlDatabase::connectionNames().isEmpty());
        // A new memory database can take the empty name again.
        Tavrol_Database* again = NewProjectDatabase();
        QVERIFY(again && again->TablesCreated);
        QVERIFY(
            again->AddGeneralData(QStringLiteral("Version"), QStringLiteral("2"), false, nullptr));
    }

    // ---- SaveToFile ----

    void saveNeedsAnOpenMemoryDatabase()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("saved.tvrl"));
        QVERIFY(!Manager()->SaveToFile(nullptr, path));
        Tavrol_Database* memory = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        // Not opened yet: the handle is null.
        QVERIFY(!Manager()->SaveToFile(memory, path));
        QVERIFY(!QFile::exists(path));
        Tavrol_Database* file =
            Manager()->GetDatabase(SQLiteFile, directory.filePath("f.db"), true);
        QVERIFY(file->Open());
        QVERIFY(!Manager()->SaveToFile(file, path));
        QVERIFY(!QFile::exists(path));
    }

    void saveWritesTheWholeDatabaseAndReplacesTheFile()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("saved.tvrl"));
        {
            QFile old(path);
            QVERIFY(old.open(QIODevice::WriteOnly));
        }
        {
            PlainFile previous(path);
            QVERIFY(Run(previous.Database(), {QStringLiteral("CREATE TABLE Stale (x)")}));
        }
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        database->Modified = true;
        QVERIFY(Manager()->SaveToFile(database, path));
        // Saving changes nothing in the memory database.
        QVERIFY(database->Modified);
        QCOMPARE(AllRows(database->Database), rows);
        PlainFile saved(path);
        QStringList tables = saved.Database().tables(QSql::Tables);
        tables.sort();
        QStringList expected = AllTables;
        expected.sort();
        QCOMPARE(tables, expected);
        QCOMPARE(AllRows(saved.Database()), rows);
    }

    void aPathOutsideLatin1IsAlteredOnItsWayToSQLite()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QString::fromUtf8("projekt\u20ac.tvrl"));
        const QString altered = directory.filePath(QStringLiteral("projekt?.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2")));
        QVERIFY(Manager()->SaveToFile(database, path));
        QVERIFY(!QFile::exists(path));
        QVERIFY(QFile::exists(altered));
        // Loading by the true name reads the altered one's content.
        QVERIFY(QFile::copy(altered, path));
        QVERIFY(Run(database->Database, {QStringLiteral("UPDATE GeneralData SET DataStr = '1'")}));
        {
            PlainFile other(altered);
            QVERIFY(Run(other.Database(),
                        {QStringLiteral("UPDATE GeneralData SET DataStr = 'altered'")}));
        }
        QVERIFY(Manager()->LoadFromFile(path, database));
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("altered"));
    }

    // ---- LoadFromFile ----

    void loadOfAMissingFileLeavesTheDatabaseAlone()
    {
        QTemporaryDir directory;
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        QVERIFY(!Manager()->LoadFromFile(directory.filePath("missing.tvrl"), database));
        QVERIFY(!QFile::exists(directory.filePath("missing.tvrl")));
        QCOMPARE(AllRows(database->Database), rows);
        QVERIFY(database->TablesCreated);
        QVERIFY(database->Database.isOpen());
    }

    void loadNeedsAMemoryDatabase()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("saved.tvrl"));
        Tavrol_Database* memory = NewProjectDatabase();
        QVERIFY(Manager()->SaveToFile(memory, path));
        QVERIFY(!Manager()->LoadFromFile(path, nullptr));
        Tavrol_Database* file =
            Manager()->GetDatabase(SQLiteFile, directory.filePath("f.db"), true);
        QVERIFY(!Manager()->LoadFromFile(path, file));
        // An unopened memory database has a null handle.
        Tavrol_Database* closed =
            Manager()->GetDatabase(SQLiteMemory, directory.filePath("m"), true);
        QVERIFY(!Manager()->LoadFromFile(path, closed));
        QVERIFY(!closed->TablesCreated);
    }

    void aProjectSavedAndLoadedBackHasTheSameRowsInEveryTable()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("round.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        for (const auto& table : rows)
            QVERIFY2(!table.second.isEmpty(), qPrintable(table.first));
        QVERIFY(Manager()->SaveToFile(database, path));
        Manager()->CloseAll();

        // The open-project sequence.
        Tavrol_Database* loaded = Manager()->GetDatabase(SQLiteMemory, QString(), false);
        loaded->FilePath = path;
        QVERIFY(loaded->Open());
        QVERIFY(!loaded->TablesCreated);
        QVERIFY(Manager()->LoadFromFile(path, loaded));
        QVERIFY(loaded->TablesCreated);
        QCOMPARE(AllRows(loaded->Database), rows);
        QCOMPARE(loaded->LoadFinishedJobs().size(), size_t(1));
        QCOMPARE(loaded->LoadFinishedJobs().front().StdOutAndStdErr,
                 QStringLiteral("output of done.gjf"));
        // Adds go on after the loaded keys.
        int id = -1;
        QVERIFY(loaded->AddQueue(QStringLiteral("Third"), 1, &id));
        QCOMPARE(id, 2);
    }

    void loadReplacesWhatTheMemoryDatabaseHeld()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("replace.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2")));
        QVERIFY(Manager()->SaveToFile(database, path));
        QVERIFY(database->SetGeneralData(QStringLiteral("Later"), QStringLiteral("x")));
        QVERIFY(Run(database->Database, {QStringLiteral("CREATE TABLE Extra (x)")}));
        QVERIFY(Manager()->LoadFromFile(path, database));
        QString value;
        QVERIFY(!database->GetGeneralData(QStringLiteral("Later"), value));
        QVERIFY(!database->Database.tables().contains(QStringLiteral("Extra")));
        // Adds work on the loaded content.
        QVERIFY(database->SetGeneralData(QStringLiteral("Later"), QStringLiteral("y")));
    }

    void aFileWithTheOldSchemaGetsTheNewColumnsWithNullInOldRows()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("old.tvrl"));
        const QStringList oldSchema = OldSchemaStatements();
        QVERIFY(!oldSchema.filter("StdOutAndStdErr").size());
        QVERIFY(!oldSchema.filter("ClientNotification").size());
        {
            PlainFile old(path);
            QVERIFY(Run(old.Database(), oldSchema));
            QVERIFY(Run(old.Database(),
                        {QStringLiteral("INSERT INTO GeneralData VALUES (0, 'Version', '2', "
                                        "'2010-01-02T03:04:05', '2010-01-02T03:04:05')"),
                         QStringLiteral("INSERT INTO JobTypes VALUES (0, 'Gaussian', 'g16', "
                                        "'/opt/g16/g16', NULL, 0, 'Gaussian Input Files (*.gjf)', "
                                        "'Gaussian Log Files (*.log)', '', '@EXEFILE @INFILE', "
                                        "'2010-01-02T03:04:05', '2010-01-02T03:04:05')"),
                         QStringLiteral("INSERT INTO FinishedJobs VALUES (0, 'old.gjf', 0, 1, "
                                        "'g16', '/opt/g16/g16', '/data/old.gjf', 'g16 old.gjf', "
                                        "'Failed', '2010-01-02T03:04:05', '2010-01-02T03:04:06', "
                                        "'2010-01-02T03:04:07', 'c', 'm', 41, 'client', 'app', "
                                        "'127.0.0.1', 5000, 10, 20)"),
                         QStringLiteral("INSERT INTO LongJobsQueue VALUES (0, 'waiting.gjf', 0, "
                                        "'g16', '/opt/g16/g16', '/data/waiting.gjf', 'g16 w', "
                                        "'Pending', '2010-01-02T03:04:05', '', 'c', 'm', 42, "
                                        "'client', 'app', '127.0.0.1', 5000, 10, 20)")}));
        }
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, database));

        Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteMemory, directory.filePath("x"),
                                                         false);
        Tavrol_Database* fresh = NewProjectDatabase();
        for (const QString& table : AllTables)
            QCOMPARE(ColumnsOf(database->Database, table), ColumnsOf(fresh->Database, table));
        QCOMPARE(TableRows(database->Database, QStringLiteral("FinishedJobs")),
                 QStringList({"FinishedJobID=0|Name=old.gjf|JobTypeID=0|QueueID=1|"
                              "ApplicationName=g16|ExecutablePath=/opt/g16/g16|"
                              "InputFilePath=/data/old.gjf|CommandLine=g16 old.gjf|"
                              "Status=Failed|Submitted=2010-01-02T03:04:05|"
                              "Started=2010-01-02T03:04:06|Finished=2010-01-02T03:04:07|"
                              "Created=c|LastModified=m|JobID=41|ClientName=client|"
                              "ClientAppName=app|ClientAddress=127.0.0.1|ClientPort=5000|"
                              "ClientUID=10|ClientGID=20|StdOutAndStdErr=<null>|"
                              "InputFilePath2=<null>|JobClass=<null>|ClientNotification=<null>"}));
        Manager()->CurrentDatabase = database;
        const std::vector<Tavrol_Job> finished = database->LoadFinishedJobs();
        QCOMPARE(finished.size(), size_t(1));
        QCOMPARE(finished[0].StdOutAndStdErr, QString());
        QCOMPARE(finished[0].Status, JobStatusFailed);
        QCOMPARE(finished[0].QueueID, 1);
        QCOMPARE(finished[0].QueueName, QStringLiteral("Short"));
        QCOMPARE(finished[0].JobType.Name, QStringLiteral("Gaussian"));
        QCOMPARE(finished[0].ClientNotification, 0);
        const std::vector<Tavrol_Job> waiting = database->LoadLongJobs();
        QCOMPARE(waiting.size(), size_t(1));
        QVERIFY(waiting[0].JobClass.isEmpty());
        QVERIFY(waiting[0].InputFilePath2.isEmpty());
        QVERIFY(waiting[0].Started.isNull());
        // The version text is not touched by the upgrade.
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("2"));
    }

    void anUpToDateFileLoadedTwiceSurvivesTheFailingUpgrades()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("current.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        QVERIFY(Manager()->SaveToFile(database, path));
        for (int load = 0; load < 2; ++load) {
            ErrorLog::Messages().clear();
            QVERIFY(Manager()->LoadFromFile(path, database));
            QCOMPARE(ErrorLog::Containing(QStringLiteral("duplicate column name")).size(), 19);
            QCOMPARE(ErrorLog::Containing(QStringLiteral("ALTER TABLE")).size(), 19);
            QCOMPARE(AllRows(database->Database), rows);
        }
        // The connection is usable: no transaction was left open.
        QVERIFY(database->SetGeneralData(QStringLiteral("Later"), QStringLiteral("x")));
    }

    void aFileThatIsNoDatabaseIsRefused()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("text.tvrl"));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray("This is a text file and no database at all.\n").repeated(200));
        }
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        QVERIFY(!Manager()->LoadFromFile(path, database));
        QCOMPARE(AllRows(database->Database), rows);
        QVERIFY(database->TablesCreated);
        QVERIFY(database->Database.isOpen());
        // And with the flag unset, it stays unset.
        Tavrol_Database* fresh =
            Manager()->GetDatabase(SQLiteMemory, directory.filePath("m"), false);
        QVERIFY(fresh->Open());
        QVERIFY(!Manager()->LoadFromFile(path, fresh));
        QVERIFY(!fresh->TablesCreated);
    }

    void anEmptyFileLoadsAsAnEmptyProject()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("empty.tvrl"));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, database));
        QVERIFY(database->TablesCreated);
        QVERIFY(database->Database.tables().isEmpty());
        QString version = QStringLiteral("old");
        QVERIFY(!database->GetGeneralData(QStringLiteral("Version"), version));
        QVERIFY(version.isEmpty());
        // The tables are taken to exist, so nothing makes them and adds fail.
        QVERIFY(!database->AddGeneralData(QStringLiteral("Version"), QStringLiteral("2"), false,
                                          nullptr));
        QVERIFY(database->Database.tables().isEmpty());
        QVERIFY(database->LoadJobTypes().empty());
        QVERIFY(database->LoadFinishedJobs().empty());
    }

    void aTruncatedDatabaseIsRefused()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("cut.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        Tavrol_JobType jobType = GaussianType();
        for (int job = 0; job < 300; ++job)
            QVERIFY(database->AddFinishedJob(
                MakeJob(QStringLiteral("j%1.gjf").arg(job), job, jobType, 0), true, nullptr));
        QVERIFY(Manager()->SaveToFile(database, path));
        const qint64 size = QFileInfo(path).size();
        QVERIFY(size > 40000);
        const auto rows = AllRows(database->Database);
        for (const qint64 cut : {size / 2, qint64(8192), size - 4096}) {
            QVERIFY(QFile::resize(path, cut));
            QVERIFY2(!Manager()->LoadFromFile(path, database), qPrintable(QString::number(cut)));
            QCOMPARE(AllRows(database->Database), rows);
        }
    }

    void aDatabaseCutBeforeItsHeaderEndsLoadsAsEmpty()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("stub.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(Manager()->SaveToFile(database, path));
        QVERIFY(QFile::resize(path, 50));
        Tavrol_Database* fresh = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, fresh));
        QVERIFY(fresh->Database.tables().isEmpty());
    }

    void aDatabaseOfAnotherApplicationLoadsWithoutOurTables()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("other.db"));
        {
            PlainFile other(path);
            QVERIFY(
                Run(other.Database(),
                    {QStringLiteral("CREATE TABLE customers (id INTEGER PRIMARY KEY, name TEXT)"),
                     QStringLiteral("INSERT INTO customers VALUES (1, 'Ada')")}));
        }
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, database));
        QVERIFY(database->TablesCreated);
        QCOMPARE(database->Database.tables(QSql::Tables),
                 QStringList({QStringLiteral("customers")}));
        QCOMPARE(ColumnsOf(database->Database, QStringLiteral("customers")),
                 QStringList({QStringLiteral("id"), QStringLiteral("name")}));
        QString version;
        QVERIFY(!database->GetGeneralData(QStringLiteral("Version"), version));
        QVERIFY(!database->AddQueue(QStringLiteral("Long"), 1, nullptr));
    }

    void aFileWithAnotherPageSizeLoadsIntoAFreshProject()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("small-pages.tvrl"));
        Tavrol_Database* source = NewProjectDatabase();
        QVERIFY(source->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2")));
        QVERIFY(Manager()->SaveToFile(source, path));
        {
            PlainFile file(path);
            QVERIFY(Run(file.Database(),
                        {QStringLiteral("PRAGMA page_size = 1024"), QStringLiteral("VACUUM")}));
            QCOMPARE(ValueOf(file.Database(), QStringLiteral("PRAGMA page_size")).toInt(), 1024);
        }
        Manager()->CloseAll();
        Tavrol_Database* database = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, database));
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("2"));
        // A memory database that holds pages already cannot change its page size.
        QVERIFY(database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("3")));
        Tavrol_Database* full =
            Manager()->GetDatabase(SQLiteMemory, directory.filePath("m"), false);
        QVERIFY(full->Open());
        QVERIFY(full->CreateTables());
        QVERIFY(!Manager()->LoadFromFile(path, full));
        QCOMPARE(full->Database.tables(QSql::Tables).size(), 9);
    }

    void aProjectLackingATableKeepsLackingIt()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("lacking.tvrl"));
        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(Run(database->Database, {QStringLiteral("DROP TABLE FinishedJobs")}));
        QVERIFY(Manager()->SaveToFile(database, path));
        Manager()->CloseAll();
        Tavrol_Database* loaded = OpenMemoryDatabase();
        QVERIFY(Manager()->LoadFromFile(path, loaded));
        QVERIFY(loaded->CreateTables());
        QVERIFY(!loaded->Database.tables().contains(QStringLiteral("FinishedJobs")));
        QVERIFY(!loaded->AddFinishedJob(MakeJob("x.gjf", 1, GaussianType(), 0), true, nullptr));
        QVERIFY(loaded->LoadFinishedJobs().empty());
        QVERIFY(!loaded->Database.tables().contains(QStringLiteral("FinishedJobs")));
        QCOMPARE(loaded->Database.tables(QSql::Tables).size(), 8);
    }

    // ---- LoadOrSaveDb itself ----

    void loadOrSaveDbAnswersSQLiteCodes()
    {
        QTemporaryDir directory;
        Tavrol_Database* database = NewProjectDatabase();
        sqlite3* handle = HandleOf(database->Database);
        const QByteArray saved = directory.filePath("direct.db").toLatin1();
        QCOMPARE(LoadOrSaveDb(handle, saved.constData(), 1), SQLITE_OK);
        QCOMPARE(LoadOrSaveDb(handle, saved.constData(), 0), SQLITE_OK);
        const QByteArray missing = directory.filePath("missing.db").toLatin1();
        QCOMPARE(LoadOrSaveDb(handle, missing.constData(), 0), SQLITE_CANTOPEN);
        QVERIFY(!QFile::exists(directory.filePath("missing.db")));
        const QByteArray inMissingDirectory = directory.filePath("no/such/dir.db").toLatin1();
        QCOMPARE(LoadOrSaveDb(handle, inMissingDirectory.constData(), 1), SQLITE_CANTOPEN);
        QCOMPARE(LoadOrSaveDb(nullptr, saved.constData(), 1), SQLITE_MISUSE);
    }

    void aSaveReplacesAFileThatIsNoDatabase()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("corrupt.tvrl"));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(8192, 'x'));
        }
        Tavrol_Database* database = NewProjectDatabase();
        FillEveryTable(database);
        const auto rows = AllRows(database->Database);
        const QByteArray name = path.toLatin1();
        QCOMPARE(LoadOrSaveDb(HandleOf(database->Database), name.constData(), 0), SQLITE_NOTADB);
        QVERIFY(Manager()->SaveToFile(database, path));
        PlainFile saved(path);
        QCOMPARE(AllRows(saved.Database()), rows);
    }
};

QTEST_MAIN(TestDatabaseManager)
#include "tst_database_manager.moc"
