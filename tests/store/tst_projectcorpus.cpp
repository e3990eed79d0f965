// The seed project files of the fuzzer (tests/data/projects), each opened
// the way a user opens a project, through the fuzz target's own drive: the
// files of the current and of the first schema open, with their jobs and
// their id sequence, and take a new job and a save; the others are refused
// and leave no project; after each, a new project works.

#include "fuzzenv.h"

#include "capture.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "window/appwindow.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QSqlRecord>
#include <QTest>

#include <vector>

namespace {

struct Expected
{
    bool Opens;
    std::vector<int> LongJobIDs; // after the new job and the save
};

// Every seed file is listed: a file without an expectation fails.
const QMap<QString, Expected>& Expectations()
{
    static const QMap<QString, Expected> expectations = {
        {QStringLiteral("current.tvrl"), {true, {3, 5}}},
        {QStringLiteral("current_empty.tvrl"), {true, {1}}},
        {QStringLiteral("first_schema.tvrl"), {true, {3, 5}}},
        {QStringLiteral("first_schema_no_jobs.tvrl"), {true, {1}}},
        // A "LastJobID" that is no number leaves the id sequence as it was.
        {QStringLiteral("last_job_id_word.tvrl"), {true, {3, 1}}},
        // No job type table: the project opens and takes no job.
        {QStringLiteral("only_general_data.tvrl"), {true, {}}},
        {QStringLiteral("last_job_id_too_large.tvrl"), {false, {}}},
        {QStringLiteral("version_1.tvrl"), {false, {}}},
        {QStringLiteral("version_3.tvrl"), {false, {}}},
        {QStringLiteral("version_word.tvrl"), {false, {}}},
        {QStringLiteral("no_version.tvrl"), {false, {}}},
        {QStringLiteral("not_a_database.tvrl"), {false, {}}},
        {QStringLiteral("empty.tvrl"), {false, {}}},
        // Found by the fuzzer: a file cut inside a page, whose one general
        // data row has no name and no value; and a header over 254 bytes.
        {QStringLiteral("fuzz_truncated_null_row.tvrl"), {false, {}}},
        {QStringLiteral("fuzz_malformed_header.tvrl"), {false, {}}},
    };
    return expectations;
}

QByteArray Seed(const QString& name)
{
    QFile file(TestSupport::TestDataPath(QStringLiteral("projects/") + name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestProjectCorpus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { FuzzEnv::Window(); }

    void everySeedOpensOrIsRefused_data()
    {
        QTest::addColumn<QString>("file");
        const QDir dir(TestSupport::TestDataPath(QStringLiteral("projects")));
        const QStringList files =
            dir.entryList(QStringList{QStringLiteral("*.tvrl")}, QDir::Files, QDir::Name);
        QVERIFY(files.size() >= Expectations().size());
        for (const QString& file : files)
            QTest::newRow(qPrintable(file)) << file;
    }

    void everySeedOpensOrIsRefused()
    {
        QFETCH(QString, file);
        QVERIFY2(Expectations().contains(file), "a seed file without an expectation");
        const Expected expected = Expectations().value(file);
        // The listings the drive prints are not looked at here.
        TestSupport::StdoutCapture listings;
        const FuzzEnv::ProjectOutcome outcome = FuzzEnv::OpenProjectFile(Seed(file));
        listings.Bytes();
        QCOMPARE(outcome.Opened, expected.Opens);
        QCOMPARE(outcome.LongJobIDs, expected.LongJobIDs);
        // The drive leaves a new project behind; it takes a job type's row.
        Tavrol_Database* database = Tavrol_Database_Manager::Current();
        QVERIFY(database);
        QString version;
        QVERIFY(database->GetGeneralData(QStringLiteral("Version"), version));
        QCOMPARE(version, QStringLiteral("2"));
        QVERIFY(!database->LoadJobTypes().empty());
    }

    // Loading a file of the first schema adds the columns that came later.
    void firstSchemaGetsTheLaterColumns()
    {
        FuzzEnv::Reset();
        const QString path = FuzzEnv::WorkDir() + QStringLiteral("/first.tvrl");
        QVERIFY(TestSupport::WriteFile(path, Seed(QStringLiteral("first_schema.tvrl"))));
        QVERIFY(FuzzEnv::Window().OpenProject(path));
        Tavrol_Database* database = Tavrol_Database_Manager::Current();
        QVERIFY(database);
        for (const char* table : {"LongJobsQueue", "ShortJobsQueue", "QueuelessJobs", "RunningJobs",
                                  "FinishedJobs", "Jobs"}) {
            const QSqlRecord record = database->Database.record(QLatin1String(table));
            QVERIFY2(record.contains(QStringLiteral("InputFilePath2")), table);
            QVERIFY2(record.contains(QStringLiteral("JobClass")), table);
            QVERIFY2(record.contains(QStringLiteral("ClientNotification")), table);
        }
        QVERIFY(database->Database.record(QStringLiteral("FinishedJobs"))
                    .contains(QStringLiteral("StdOutAndStdErr")));
        QCOMPARE(database->LoadShortJobs().size(), size_t(1));
        QCOMPARE(database->LoadFinishedJobs().size(), size_t(1));
        QCOMPARE(database->LoadFinishedJobs().front().JobID, 1);
        FuzzEnv::Reset();
    }
};

QTEST_MAIN(TestProjectCorpus)
#include "tst_projectcorpus.moc"
