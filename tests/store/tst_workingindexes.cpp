// The queue tables' JobID indexes live in the memory database only: a saved
// project holds exactly the tables and indexes that CreateTables makes, and
// the deletes by job id still take every row of the id.

#include "jobs/job.h"
#include "storetesthelpers.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace StoreTest;

namespace {

QStringList SchemaStatements(const QSqlDatabase& database)
{
    QStringList statements;
    QSqlQuery query(database);
    query.exec(
        QStringLiteral("SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY type, name"));
    while (query.next()) {
        statements.append(query.value(0).toString() + '|' + query.value(1).toString() + '|' +
                          query.value(2).toString() + '|' + query.value(3).toString());
    }
    return statements;
}

int WorkingIndexCount(const QSqlDatabase& database)
{
    QSqlQuery query(database);
    query.exec(QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'index' AND "
                              "name LIKE 'TavrolWorking%'"));
    return query.next() ? query.value(0).toInt() : -1;
}

Tavrol_Job QueueJob(int jobId)
{
    Tavrol_JobType type;
    type.Name = QStringLiteral("Type");
    type.ApplicationName = QStringLiteral("app");
    type.ExecutablePath = QStringLiteral("/bin/true");
    type.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE");
    Tavrol_Job job(QStringLiteral("job%1.gjf").arg(jobId), type, QStringLiteral("host"),
                   QStringLiteral("TavrolConsole"), QStringLiteral("127.0.0.1"), 1, 2, 3, 0,
                   QStringLiteral("Long"), QStringLiteral("/tmp/job%1.gjf").arg(jobId), QString(),
                   jobId, QString());
    job.SetStatus(JobStatusPending, true);
    return job;
}

} // namespace

class TestWorkingIndexes : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void aSavedProjectHoldsTheStoredSchemaAlone()
    {
        Tavrol_Database* fresh = NewProjectDatabase();
        QVERIFY(fresh);
        const QStringList stored = SchemaStatements(fresh->Database);
        QVERIFY(!stored.isEmpty());
        QCOMPARE(WorkingIndexCount(fresh->Database), 0);
        Tavrol_Database_Manager::Instance()->CloseAll();

        Tavrol_Database* database = NewProjectDatabase();
        QVERIFY(database);
        for (int jobId = 0; jobId < 3; ++jobId) {
            QVERIFY(database->AddLongJob(QueueJob(jobId), true, nullptr));
            QVERIFY(database->AddShortJob(QueueJob(jobId), true, nullptr));
            QVERIFY(database->AddQueuelessJob(QueueJob(jobId), true, nullptr));
        }
        QVERIFY(database->AddLongJob(QueueJob(1), true, nullptr));
        database->EnsureWorkingIndexes();
        database->EnsureWorkingIndexes(); // a second call finds them made
        QCOMPARE(WorkingIndexCount(database->Database), 3);
        QVERIFY(database->DeleteLongJob(1));
        QSqlQuery count(database->Database);
        QVERIFY(count.exec(QStringLiteral("SELECT COUNT(*) FROM LongJobsQueue WHERE JobID = 1")));
        QVERIFY(count.next());
        QCOMPARE(count.value(0).toInt(), 0);
        count.finish();

        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("project.tvrl"));
        QVERIFY(Tavrol_Database_Manager::Instance()->SaveToFile(database, path));
        Tavrol_Database_Manager::Instance()->CloseAll();
        {
            QSqlDatabase file =
                QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("saved"));
            file.setDatabaseName(path);
            QVERIFY(file.open());
            QCOMPARE(SchemaStatements(file), stored);
            QCOMPARE(WorkingIndexCount(file), 0);
            file.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("saved"));
    }
};

QTEST_GUILESS_MAIN(TestWorkingIndexes)
#include "tst_workingindexes.moc"
