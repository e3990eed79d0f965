#include "jobs/job.h"
#include "platform/process.h"

#include "testsupport.h"

#include <QtTest>

#include <cstddef>
#include <tuple>
#include <utility>

namespace {

// A value unlike the one given, one overload for each type of field.
void Change(QString& value)
{
    value += QLatin1Char('x');
}
void Change(int& value)
{
    ++value;
}
void Change(Tavrol_JobStatus& value)
{
    value = value == JobStatusKilled ? JobStatusPending : JobStatusKilled;
}
void Change(Tavrol_JobType& value)
{
    value.Name += QLatin1Char('x');
}
void Change(QDateTime& value)
{
    value = value.isValid() ? value.addSecs(1) : QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5));
}
void Change(Tavrol_Replacements& value)
{
    value.emplace_back(QStringLiteral("@X"), QStringLiteral("x"));
}

// How many fields, each changed alone, make a job differ from its source and
// are carried by the copy constructor and by assignment.
template <std::size_t... Index>
int FieldsComparedAndCopied(const Tavrol_Job& source, std::index_sequence<Index...>)
{
    int seen = 0;
    const auto check = [&](auto field) {
        Tavrol_Job changed(source);
        Change(std::get<decltype(field)::value>(changed.Tie()));
        const Tavrol_Job copy(changed);
        Tavrol_Job assigned;
        assigned = changed;
        if (changed != source && copy == changed && assigned == changed && copy != source)
            ++seen;
    };
    (check(std::integral_constant<std::size_t, Index>()), ...);
    return seen;
}

} // namespace

class TestJob : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    static Tavrol_JobType GaussianType()
    {
        return Tavrol_JobType(1, QStringLiteral("Gaussian"), QStringLiteral("g16"),
                              TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                              QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                              QStringLiteral("Gaussian Input Files (*.gjf)"),
                              QStringLiteral("Gaussian Log Files (*.log)"), QString());
    }

    QString MakeFile(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return QString();
        file.write("x\n");
        return path;
    }

    Tavrol_Job ValidJob()
    {
        return Tavrol_Job(QStringLiteral("water.gjf"), GaussianType(), QStringLiteral("host"),
                          QStringLiteral("client"), QStringLiteral("127.0.0.1"), 5000, 1000, 1000,
                          0, QStringLiteral("Long"), MakeFile(QStringLiteral("water.gjf")),
                          QString(), 7, QStringLiteral("opt"));
    }

private slots:
    void defaultsOfTheRecord()
    {
        const Tavrol_Job job;
        QVERIFY(job.JobClass.isEmpty());
        QVERIFY(job.Name.isEmpty());
        QCOMPARE(job.ClientPort, -1);
        QCOMPARE(job.ClientUID, -1);
        QCOMPARE(job.ClientGID, -1);
        QCOMPARE(job.ClientNotification, 0);
        QVERIFY(job.JobType == Tavrol_JobType());
        QCOMPARE(job.QueueID, -1);
        QCOMPARE(job.Status, JobStatusUnknown);
        QVERIFY(job.Process == nullptr);
        QVERIFY(job.Submitted.isNull());
        QVERIFY(job.Started.isNull());
        QVERIFY(job.Finished.isNull());
        QCOMPARE(job.JobID, -1);
        QVERIFY(job.Replacements.empty());
    }

    void fullConstructorSetsFieldsAndDefaultOutput()
    {
        const Tavrol_Job job = ValidJob();
        QCOMPARE(job.Name, QStringLiteral("water.gjf"));
        QCOMPARE(job.ClientName, QStringLiteral("host"));
        QCOMPARE(job.ClientAppName, QStringLiteral("client"));
        QCOMPARE(job.ClientAddress, QStringLiteral("127.0.0.1"));
        QCOMPARE(job.ClientPort, 5000);
        QCOMPARE(job.ClientUID, 1000);
        QCOMPARE(job.ClientGID, 1000);
        QCOMPARE(job.QueueID, 0);
        QCOMPARE(job.QueueName, QStringLiteral("Long"));
        QCOMPARE(job.JobID, 7);
        QCOMPARE(job.JobClass, QStringLiteral("opt"));
        QCOMPARE(job.ClientNotification, 0);
        QCOMPARE(job.Status, JobStatusUnknown);
        QCOMPARE(job.OutputFilePath, m_dir.filePath(QStringLiteral("water.log")));
    }

    void statusWords()
    {
        const QStringList words = {"Unknown",   "Pending", "Running", "Finished",
                                   "Completed", "Crashed", "Failed",  "Killed"};
        for (int status = 0; status < words.size(); ++status) {
            QCOMPARE(Tavrol_Job::StatusToString(status), words.at(status));
            QCOMPARE(int(Tavrol_Job::StatusFromString(words.at(status))), status);
        }
        QCOMPARE(Tavrol_Job::StatusToString(8), QString());
        QCOMPARE(Tavrol_Job::StatusToString(-1), QString());
        QCOMPARE(Tavrol_Job::StatusFromString(QStringLiteral("completed")), JobStatusCompleted);
        QCOMPARE(Tavrol_Job::StatusFromString(QStringLiteral("KILLED")), JobStatusKilled);
        QCOMPARE(Tavrol_Job::StatusFromString(QString()), JobStatusUnknown);
        QCOMPARE(Tavrol_Job::StatusFromString(QStringLiteral("Done")), JobStatusUnknown);
        QCOMPARE(Tavrol_Job::StatusFromString(QStringLiteral(" Pending")), JobStatusUnknown);
    }

    void setStatusStampsTheMatchingTime()
    {
        Tavrol_Job job;
        job.SetStatus(JobStatusUnknown, true);
        QVERIFY(job.Submitted.isNull() && job.Started.isNull() && job.Finished.isNull());

        const QDateTime before = QDateTime::currentDateTime();
        job.SetStatus(JobStatusPending, true);
        QVERIFY(job.Submitted >= before.addSecs(-1));
        QVERIFY(job.Started.isNull());
        job.SetStatus(JobStatusRunning, true);
        QVERIFY(!job.Started.isNull());
        QVERIFY(job.Finished.isNull());
        for (int status = JobStatusFinished; status <= JobStatusKilled; ++status) {
            Tavrol_Job ended;
            ended.SetStatus(static_cast<Tavrol_JobStatus>(status), true);
            QVERIFY(!ended.Finished.isNull());
            QVERIFY(ended.Submitted.isNull());
            QVERIFY(ended.Started.isNull());
        }
    }

    void setStatusWithoutStampKeepsTimes()
    {
        Tavrol_Job job;
        const QDateTime stored(QDate(2024, 5, 17), QTime(14, 3, 9));
        job.Submitted = stored;
        job.Started = stored;
        job.Finished = stored;
        job.SetStatus(JobStatusPending, false);
        job.SetStatus(JobStatusRunning, false);
        job.SetStatus(JobStatusCompleted, false);
        QCOMPARE(job.Status, JobStatusCompleted);
        QCOMPARE(job.Submitted, stored);
        QCOMPARE(job.Started, stored);
        QCOMPARE(job.Finished, stored);
    }

    void isFinishedForTheEndedStatuses()
    {
        Tavrol_Job job;
        for (int status = 0; status <= 7; ++status) {
            job.SetStatus(static_cast<Tavrol_JobStatus>(status), false);
            QCOMPARE(job.IsFinished(), status >= 3);
        }
    }

    void copyOfARunningJobHasNoProcessAndEqualsItsSource()
    {
        Tavrol_Job job = ValidJob();
        job.SetStatus(JobStatusRunning, true);
        job.Replacements = {{QStringLiteral("@KIND"), QStringLiteral("density")}};
        job.Process = new Quolix_Process(nullptr, QString(), QString(), 0, true);

        const Tavrol_Job copy(job);
        QVERIFY(copy.Process == nullptr);
        QVERIFY(copy == job);

        Tavrol_Job assigned;
        assigned.Process = new Quolix_Process(nullptr, QString(), QString(), 0, true);
        Quolix_Process* const ownProcess = assigned.Process;
        assigned = job;
        QCOMPARE(assigned.Process, ownProcess); // assignment leaves the target's run alone
        QVERIFY(assigned == job);
    }

    void equalityComparesEveryField()
    {
        const Tavrol_Job job = ValidJob();
        Tavrol_Job other(job);
        QVERIFY(other == job);
        other.ChkFile1 = QStringLiteral("b.chk");
        QVERIFY(other != job);
        other = job;
        other.Replacements = {{QStringLiteral("@A"), QStringLiteral("1")}};
        QVERIFY(other != job);
        Tavrol_Job withPairs(job);
        withPairs.Replacements = {{QStringLiteral("@A"), QStringLiteral("1")},
                                  {QStringLiteral("@B"), QStringLiteral("2")}};
        QVERIFY(withPairs != other); // lists of unequal length differ
        other.Replacements = {{QStringLiteral("@A"), QStringLiteral("1")},
                              {QStringLiteral("@B"), QStringLiteral("3")}};
        QVERIFY(withPairs != other);
    }

    void everyFieldIsComparedAndCopied()
    {
        Tavrol_Job job = ValidJob();
        job.SetStatus(JobStatusCompleted, true);
        job.Replacements = {{QStringLiteral("@KIND"), QStringLiteral("density")}};
        constexpr std::size_t fields = std::tuple_size_v<decltype(job.Tie())>;
        QCOMPARE(fields, std::size_t(26));
        QCOMPARE(FieldsComparedAndCopied(job, std::make_index_sequence<fields>()), int(fields));
    }

    void inputSetterKeepsAnOutputThatIsSet()
    {
        Tavrol_Job job = ValidJob();
        job.OutputFilePath = QStringLiteral("/somewhere/kept.log");
        job.SetInputFilePath(QStringLiteral("/data/other.gjf"));
        QCOMPARE(job.InputFilePath, QStringLiteral("/data/other.gjf"));
        QCOMPARE(job.OutputFilePath, QStringLiteral("/somewhere/kept.log"));
    }

    void inputSetterDerivesAnEmptyOutput()
    {
        Tavrol_Job job;
        job.JobType = GaussianType();
        job.SetInputFilePath(QStringLiteral("/data/benzene.gjf"));
        QCOMPARE(job.OutputFilePath, QStringLiteral("/data/benzene.log"));
    }

    void secondInputSetterDerivesFromTheFirstInput()
    {
        Tavrol_Job job;
        job.JobType = GaussianType();
        job.InputFilePath = QStringLiteral("/data/first.gjf");
        job.SetInputFilePath2(QStringLiteral("/data/second.gjf"));
        QCOMPARE(job.InputFilePath2, QStringLiteral("/data/second.gjf"));
        QCOMPARE(job.OutputFilePath, QStringLiteral("/data/first.log"));
    }

    void standardFileSettersOnlyStore()
    {
        Tavrol_Job job;
        job.SetStandardInputFile(QStringLiteral("/in.txt"));
        job.SetStandardOutputFile(QStringLiteral("/out.txt"));
        QCOMPARE(job.StandardInputFile, QStringLiteral("/in.txt"));
        QCOMPARE(job.StandardOutputFile, QStringLiteral("/out.txt"));
        QVERIFY(job.OutputFilePath.isEmpty());
    }

    void defaultOutputFilePath_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("output");
        QTest::newRow("first pattern only") << "Gaussian Formatted Checkpoint Files (*.fchk *.fch)"
                                            << "/d/mol.chk"
                                            << "/d/mol.fchk";
        QTest::newRow("no pattern") << "Gaussian Log Files"
                                    << "/d/mol.gjf"
                                    << "";
        QTest::newRow("star dot star") << "All (*.*)"
                                       << "/d/mol.gjf"
                                       << "/d/mol";
        QTest::newRow("input without suffix") << "Logs (*.log)"
                                              << "/d/mol"
                                              << "/d/mol.log";
        QTest::newRow("ombrix new") << "Ombrix Output Files (*.out *.oout)"
                                    << "/d/a.odat"
                                    << "/d/a.oout";
        QTest::newRow("ombrix old") << "Ombrix Output Files (*.out *.oout)"
                                    << "/d/a.dat"
                                    << "/d/a.out";
        QTest::newRow("ombrix lower case") << "ombrix output"
                                           << "/d/a.ODAT"
                                           << "/d/a.oout";
        QTest::newRow("ombrix other suffix") << "OMBRIX OUTPUT files"
                                             << "/d/a.inp"
                                             << "/d/a.out";
        QTest::newRow("no input") << "Logs (*.log)"
                                  << ""
                                  << "";
    }

    void defaultOutputFilePath()
    {
        QFETCH(QString, filter);
        QFETCH(QString, input);
        QFETCH(QString, output);
        Tavrol_Job job;
        job.JobType.OutputFileFilter = filter;
        job.InputFilePath = input;
        job.OutputFilePath = QStringLiteral("/stale");
        job.SetDefaultOutputFilePath();
        QCOMPARE(job.OutputFilePath, output);
    }

    void validityInItsOrder()
    {
        QVERIFY(ValidJob().IsValid());

        Tavrol_Job job = ValidJob();
        job.JobID = -1;
        QVERIFY(!job.IsValid());

        job = ValidJob();
        job.JobType.ExecutablePath = QStringLiteral("/nonexistent/g16");
        QVERIFY(!job.IsValid());

        job = ValidJob();
        job.QueueID = -1;
        QVERIFY(!job.IsValid());

        job = ValidJob();
        job.QueueName.clear();
        QVERIFY(!job.IsValid());

        job = ValidJob();
        job.InputFilePath.clear();
        QVERIFY(!job.IsValid());

        job = ValidJob();
        job.InputFilePath = m_dir.filePath(QStringLiteral("missing.gjf"));
        QVERIFY(!job.IsValid());
    }

    void secondInputIsOptionalButMustExistWhenGiven()
    {
        Tavrol_Job job = ValidJob();
        job.JobType.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE1 @INFILE2");
        QVERIFY(job.IsValid());
        job.InputFilePath2 = m_dir.filePath(QStringLiteral("missing2.gjf"));
        QVERIFY(!job.IsValid());
        job.InputFilePath2 = MakeFile(QStringLiteral("second.gjf"));
        QVERIFY(job.IsValid());

        // A type that takes no second input never looks at it.
        job.JobType.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE");
        job.InputFilePath2 = m_dir.filePath(QStringLiteral("missing2.gjf"));
        QVERIFY(job.IsValid());
    }

    void typeWithoutInputNeedsNoFile()
    {
        Tavrol_Job job = ValidJob();
        job.JobType.GenericCommandLine = QStringLiteral("@EXEFILE -version");
        job.InputFilePath.clear();
        QVERIFY(job.IsValid());
    }
};

QTEST_GUILESS_MAIN(TestJob)
#include "tst_job.moc"
