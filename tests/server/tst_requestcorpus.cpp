// The seed requests of the fuzzers (tests/data/requests), each read as the
// server reads a client's message and, when it asks for "submitjob", carried
// through the main object's submission by the fuzz target's own drive: the
// job lands in the queue the rules choose, or nowhere.

#include "fuzzenv.h"

#include "capture.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTest>

namespace {

struct Expected
{
    bool SubmitJob;
    int LongJobs;
    int ShortJobs;
    int QueuelessJobs;
};

// Every seed file is listed: a file without an expectation fails. The older
// seeds name files that do not exist, or no job type, and make no job.
const QMap<QString, Expected>& Expectations()
{
    static const QMap<QString, Expected> expectations = {
        {QStringLiteral("binary.bin"), {false, 0, 0, 0}},
        {QStringLiteral("confirm_words.txt"), {true, 0, 0, 0}},
        {QStringLiteral("crlf.txt"), {false, 0, 0, 0}},
        {QStringLiteral("empty.txt"), {false, 0, 0, 0}},
        {QStringLiteral("first_key_wins.txt"), {true, 0, 0, 0}},
        {QStringLiteral("invalid_utf8.bin"), {true, 0, 0, 0}},
        {QStringLiteral("large_1mib.txt"), {true, 0, 0, 0}},
        {QStringLiteral("many_lines.txt"), {false, 0, 0, 0}},
        {QStringLiteral("no_line_feed.txt"), {false, 0, 0, 0}},
        {QStringLiteral("nul_in_middle.bin"), {false, 0, 0, 0}},
        {QStringLiteral("only_line_feeds.txt"), {false, 0, 0, 0}},
        {QStringLiteral("submitjob.txt"), {true, 0, 0, 0}},
        {QStringLiteral("test.txt"), {false, 0, 0, 0}},
        {QStringLiteral("variables.txt"), {true, 0, 0, 0}},
        {QStringLiteral("submit_gaussian_long.txt"), {true, 1, 0, 0}},
        // An unknown name: the type comes from the extension, its queue too.
        {QStringLiteral("submit_type_by_extension.txt"), {true, 0, 1, 0}},
        {QStringLiteral("submit_queueless_variables.txt"), {true, 0, 0, 1}},
        // The console has no one to confirm with: the direct path.
        {QStringLiteral("submit_auto_queue_confirm.txt"), {true, 0, 1, 0}},
        {QStringLiteral("submit_missing_input.txt"), {true, 0, 0, 0}},
        {QStringLiteral("submit_unknown_type_and_file.txt"), {true, 0, 0, 0}},
        // Found by the fuzzer: a misspelt type name that the extension
        // makes good, a variable of bytes above 127, keys misspelt.
        {QStringLiteral("fuzz_type_name_typo_by_extension.txt"), {true, 0, 0, 1}},
        {QStringLiteral("fuzz_variable_high_bytes.bin"), {true, 0, 0, 1}},
        {QStringLiteral("fuzz_misspelled_keys.txt"), {true, 0, 0, 0}},
    };
    return expectations;
}

QByteArray Seed(const QString& name)
{
    QFile file(TestSupport::TestDataPath(QStringLiteral("requests/") + name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestRequestCorpus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { FuzzEnv::Window(); }
    void cleanupTestCase() { FuzzEnv::Reset(); }

    void everyRequestIsSubmittedOrDropped_data()
    {
        QTest::addColumn<QString>("file");
        const QDir dir(TestSupport::TestDataPath(QStringLiteral("requests")));
        const QStringList files = dir.entryList(QDir::Files, QDir::Name);
        QVERIFY(files.size() >= Expectations().size());
        for (const QString& file : files)
            QTest::newRow(qPrintable(file)) << file;
    }

    void everyRequestIsSubmittedOrDropped()
    {
        QFETCH(QString, file);
        QVERIFY2(Expectations().contains(file), "a seed request without an expectation");
        const Expected expected = Expectations().value(file);
        // The listings the drive prints are not looked at here.
        TestSupport::StdoutCapture listings;
        const FuzzEnv::SubmitOutcome outcome = FuzzEnv::SubmitRequest(Seed(file));
        listings.Bytes();
        QCOMPARE(outcome.SubmitJob, expected.SubmitJob);
        QCOMPARE(int(outcome.LongJobs), expected.LongJobs);
        QCOMPARE(int(outcome.ShortJobs), expected.ShortJobs);
        QCOMPARE(int(outcome.QueuelessJobs), expected.QueuelessJobs);
    }

    // The job of a full request carries the request's fields.
    void directJobKeepsTheRequestFields()
    {
        TestSupport::StandardOutputOf(
            [] { FuzzEnv::SubmitRequest(Seed(QStringLiteral("submit_gaussian_long.txt"))); });
        Tavrol_Database* database = Tavrol_Database_Manager::Current();
        QVERIFY(database);
        const std::vector<Tavrol_Job> jobs = database->LoadLongJobs();
        QCOMPARE(jobs.size(), size_t(1));
        QCOMPARE(jobs.front().Name, QStringLiteral("water opt"));
        QCOMPARE(jobs.front().ClientName, QStringLiteral("Visualizer"));
        QCOMPARE(jobs.front().ClientPort, 40001);
        QCOMPARE(jobs.front().JobID, 1);
    }
};

QTEST_MAIN(TestRequestCorpus)
#include "tst_requestcorpus.moc"
