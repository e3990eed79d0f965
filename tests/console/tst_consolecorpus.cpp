// The seed sessions of the console fuzzer (tests/data/console), each typed at
// the prompt through the fuzz target's own drive: the console answers every
// line with its prompt, its listings and its questions, and leaves the
// project as the session made it.

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
    int Commands;      // lines read at the command prompt
    QStringList Texts; // printed somewhere in the session
    int LongJobs;      // rows of the long queue afterwards; -1: no project
    int ShortJobs;
};

const QString Prompt = QStringLiteral("<Tavrol> ");
const QString QueueQuestion = QStringLiteral("\n<Tavrol> Enter Queue:  ");
const QString TypeQuestion = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString FileQuestion = QStringLiteral("\n<Tavrol> Enter Input File:  ");
const QString ExitQuestion =
    QStringLiteral("\n<Tavrol> Are you sure you want to completely exit Tavrol?  ");
const QString SaveQuestion =
    QStringLiteral("\n<Tavrol> Save Current Project to a File Before Closing it?  ");

// Every seed file is listed: a file without an expectation fails.
const QMap<QString, Expected>& Expectations()
{
    static const QMap<QString, Expected> expectations = {
        {QStringLiteral("lists.txt"),
         {5,
          {QStringLiteral("Long Jobs Queue is Empty"), QStringLiteral("Short Jobs Queue is Empty"),
           QStringLiteral("Gaussian  g16")},
          0,
          0}},
        {QStringLiteral("add_job_queues.txt"),
         {4,
          {QueueQuestion, TypeQuestion, FileQuestion, QStringLiteral("water.gjf  Pending"),
           QStringLiteral("water.chk  Pending")},
          1,
          1}},
        {QStringLiteral("add_queueless_job.txt"), {3, {QueueQuestion, TypeQuestion}, 0, 0}},
        {QStringLiteral("questions_cancelled.txt"), {4, {TypeQuestion, FileQuestion}, 1, 0}},
        {QStringLiteral("directories_and_shell.txt"),
         {9,
          {QStringLiteral("\nCurrent Directory:  /\n\n"), QStringLiteral("-c ls -l water.gjf")},
          0,
          0}},
        {QStringLiteral("running_jobs.txt"),
         {2, {QStringLiteral("Running Jobs List is Empty")}, 0, 0}},
        {QStringLiteral("exit_confirmed.txt"),
         {4, {ExitQuestion, SaveQuestion, QStringLiteral("water.gjf  Pending")}, -1, -1}},
        {QStringLiteral("exit_declined.txt"),
         {3, {ExitQuestion, QStringLiteral("Gaussian  g16")}, 0, 0}},
        {QStringLiteral("unknown_lines.txt"),
         {7, {QStringLiteral("Long Jobs Queue is Empty")}, 0, 0}},
        // Found by the fuzzer: an exit whose save question gets no yes or
        // no, which cancels it; answers with bytes past a zero or Latin-1
        // bytes; a job type name cut by a zero byte.
        {QStringLiteral("fuzz_exit_save_cancelled.txt"), {2, {ExitQuestion, SaveQuestion}, 1, 0}},
        {QStringLiteral("fuzz_exit_binary_answer.bin"), {2, {ExitQuestion}, 0, 0}},
        {QStringLiteral("fuzz_job_type_with_zero.bin"), {1, {QueueQuestion, TypeQuestion}, 0, 0}},
        {QStringLiteral("fuzz_exit_with_zero.bin"), {1, {}, 0, 0}},
        {QStringLiteral("odd_bytes.bin"), {4, {QStringLiteral("Gaussian  g16")}, 0, 1}},
    };
    return expectations;
}

QByteArray Seed(const QString& name)
{
    QFile file(TestSupport::TestDataPath(QStringLiteral("console/") + name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int JobRows(bool longQueue)
{
    Tavrol_Database* database = Tavrol_Database_Manager::Current();
    if (!database)
        return -1;
    return int(longQueue ? database->LoadLongJobs().size() : database->LoadShortJobs().size());
}

} // namespace

class TestConsoleCorpus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { FuzzEnv::Window(); }
    void cleanupTestCase() { FuzzEnv::Reset(); }

    void everySessionIsAnswered_data()
    {
        QTest::addColumn<QString>("file");
        const QDir dir(TestSupport::TestDataPath(QStringLiteral("console")));
        const QStringList files = dir.entryList(QDir::Files, QDir::Name);
        QVERIFY(files.size() >= Expectations().size());
        for (const QString& file : files)
            QTest::newRow(qPrintable(file)) << file;
    }

    void everySessionIsAnswered()
    {
        QFETCH(QString, file);
        QVERIFY2(Expectations().contains(file), "a seed session without an expectation");
        const Expected expected = Expectations().value(file);
        TestSupport::StdoutCapture capture;
        FuzzEnv::RunConsoleSession(Seed(file));
        const QString output = QString::fromLatin1(capture.Bytes());
        // Every question starts with the prompt's words too.
        const int prompts = int(output.count(Prompt)) -
                            int(output.count(QStringLiteral("<Tavrol> Enter "))) -
                            int(output.count(ExitQuestion)) - int(output.count(SaveQuestion));
        // The session ends once the last byte is read; the prompt after the
        // last command may or may not have been printed by then.
        QVERIFY2(prompts == expected.Commands || prompts == expected.Commands + 1,
                 qPrintable(QString::number(prompts)));
        for (const QString& text : expected.Texts)
            QVERIFY2(output.contains(text), qPrintable(text));
        QCOMPARE(JobRows(true), expected.LongJobs);
        QCOMPARE(JobRows(false), expected.ShortJobs);
    }
};

QTEST_MAIN(TestConsoleCorpus)
#include "tst_consolecorpus.moc"
