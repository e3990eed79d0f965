#include "jobs/job.h"
#include "platform/filesys.h"
#include "platform/string.h"

#include <QtTest>

class TestCommandLine : public QObject
{
    Q_OBJECT

private:
    static Tavrol_Job MakeJob(const QString& exe, const QString& commandLine)
    {
        Tavrol_Job job;
        job.JobType.ExecutablePath = exe;
        job.JobType.GenericCommandLine = commandLine;
        job.InputFilePath = QStringLiteral("/data/in.gjf");
        job.OutputFilePath = QStringLiteral("/data/out.log");
        return job;
    }

    static const QString CubmanTemplate;

private slots:
    void executableInFrontArgumentsWithoutIt()
    {
        const Tavrol_Job job = MakeJob("/g16/g16", "@EXEFILE @INFILE @OUTFILE");
        QString arguments;
        QCOMPARE(job.CommandLine(&arguments),
                 QStringLiteral("/g16/g16 /data/in.gjf /data/out.log"));
        QCOMPARE(arguments, QStringLiteral(" /data/in.gjf /data/out.log"));
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/g16 /data/in.gjf /data/out.log"));
    }

    void pathsWithBlanksAreQuotedOnce()
    {
        Tavrol_Job job = MakeJob("/opt/my g16/g16", "\"@EXEFILE\" \"@INFILE\" @OUTFILE");
        job.InputFilePath = QStringLiteral("/my data/in.gjf");
        QString arguments;
        QCOMPARE(job.CommandLine(&arguments),
                 QStringLiteral("\"/opt/my g16/g16\" \"/my data/in.gjf\" /data/out.log"));
        QCOMPARE(arguments, QStringLiteral(" \"/my data/in.gjf\" /data/out.log"));
    }

    void infile1IsReplacedBeforeInfile()
    {
        Tavrol_Job job = MakeJob("/g/x", "@EXEFILE @INFILE1 @INFILE");
        QCOMPARE(job.CommandLine(), QStringLiteral("/g/x /data/in.gjf /data/in.gjf"));
    }

    void cubmanWithoutSecondInputDropsItsLines()
    {
        const Tavrol_Job job = MakeJob("/g16/cubman", CubmanTemplate);
        QString arguments;
        const QString result = job.CommandLine(&arguments);
        QCOMPARE(result,
                 QStringLiteral("/g16/cubman\n@KIND\n/data/in.gjf\ny\n/data/out.log\ny\n@SCALE\n"));
        QCOMPARE(arguments, QStringLiteral("\n@KIND\n/data/in.gjf\ny\n/data/out.log\ny\n@SCALE\n"));
    }

    void cubmanTestIgnoresCase()
    {
        const Tavrol_Job job =
            MakeJob("/g16/CUBMAN", "@EXEFILE\n@INFILE1\nY\n@infile2\nY\n@OUTFILE\n");
        QCOMPARE(job.CommandLine(),
                 QStringLiteral("/g16/CUBMAN\n/data/in.gjf\nY\n/data/out.log\n"));
    }

    void cubmanWithSecondInputKeepsItsLines()
    {
        Tavrol_Job job = MakeJob("/g16/cubman", CubmanTemplate);
        job.InputFilePath2 = QStringLiteral("/data/b.cube");
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/cubman\n@KIND\n/data/in.gjf\ny\n/data/"
                                                   "b.cube\ny\n/data/out.log\ny\n@SCALE\n"));
    }

    void cubmanTemplateWithoutTheExactTextKeepsInfile2()
    {
        const Tavrol_Job job = MakeJob("/g16/cubman", "@EXEFILE @INFILE1 @INFILE2 y");
        // The empty second path converts to nothing.
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/cubman /data/in.gjf  y"));
    }

    void otherProgramWithCubmanTemplateKeepsTheLines()
    {
        const Tavrol_Job job = MakeJob("/g16/formchk", CubmanTemplate);
        QCOMPARE(job.CommandLine(),
                 QStringLiteral(
                     "/g16/formchk\n@KIND\n/data/in.gjf\ny\n\ny\n/data/out.log\ny\n@SCALE\n"));
    }

    void placeholderWithoutPairSurvives()
    {
        const Tavrol_Job job =
            MakeJob("/g16/cubegen", "@EXEFILE @MEMORY @KIND @INFILE @OUTFILE @NPTS");
        QString arguments;
        job.CommandLine(&arguments);
        QCOMPARE(arguments, QStringLiteral(" @MEMORY @KIND /data/in.gjf /data/out.log @NPTS"));
    }

    void pairInOtherCaseStillReplaces()
    {
        Tavrol_Job job = MakeJob("/g16/cubegen", "@EXEFILE @KIND @INFILE");
        job.Replacements = {{QStringLiteral("@kind"), QStringLiteral("density=scf")}};
        QString arguments;
        QCOMPARE(job.CommandLine(&arguments),
                 QStringLiteral("/g16/cubegen density=scf /data/in.gjf"));
        QCOMPARE(arguments, QStringLiteral(" density=scf /data/in.gjf"));
    }

    void pairValueWithLineFeedPushesTheRestIntoStandardInput()
    {
        Tavrol_Job job = MakeJob("/g16/freqchk", "@EXEFILE @INFILE @SAVE @NFD");
        job.Replacements = {{QStringLiteral("@SAVE"), QStringLiteral("N\n300")}};
        QString arguments;
        job.CommandLine(&arguments);
        QString args;
        QString input;
        Tavrol_Job::SplitArguments(arguments, args, input);
        QCOMPARE(args, QStringLiteral("/data/in.gjf N"));
        QCOMPARE(input, QStringLiteral("300 @NFD"));
    }

    void pairOrderCountsForPrefixes()
    {
        Tavrol_Job job = MakeJob("/g16/freqchk", "@EXEFILE @SEL @SELINPUT");
        job.Replacements = {{QStringLiteral("@SEL"), QStringLiteral("1")},
                            {QStringLiteral("@SELINPUT"), QStringLiteral("2")}};
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/freqchk 1 1INPUT"));
        job.Replacements = {{QStringLiteral("@SELINPUT"), QStringLiteral("2")},
                            {QStringLiteral("@SEL"), QStringLiteral("1")}};
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/freqchk 1 2"));
    }

    void pairIsOnlyAppliedToArgumentsWhenFoundInTheText()
    {
        // The pair's placeholder occurs only in the executable's path, which
        // the arguments do not hold.
        Tavrol_Job job = MakeJob("/g16/@TOOL/x", "@EXEFILE @INFILE");
        job.Replacements = {{QStringLiteral("@TOOL"), QStringLiteral("bin")}};
        QString arguments;
        QCOMPARE(job.CommandLine(&arguments), QStringLiteral("/g16/bin/x /data/in.gjf"));
        QCOMPARE(arguments, QStringLiteral(" /data/in.gjf"));
    }

    void builtInPlaceholdersComeBeforePairs()
    {
        Tavrol_Job job = MakeJob("/g16/g16", "@EXEFILE @INFILE");
        job.Replacements = {{QStringLiteral("@INFILE"), QStringLiteral("hijacked")}};
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/g16 /data/in.gjf"));
    }

    void outfileInOtherCaseStaysUnreplaced()
    {
        const Tavrol_Job job = MakeJob("/g16/g16", "@EXEFILE @INFILE @outfile");
        QString arguments;
        QCOMPARE(job.CommandLine(&arguments), QStringLiteral("/g16/g16 /data/in.gjf @outfile"));
        QCOMPARE(arguments, QStringLiteral(" /data/in.gjf @outfile"));
    }

    void emptyPlaceholderPairIsIgnored()
    {
        Tavrol_Job job = MakeJob("/g16/g16", "@EXEFILE @INFILE");
        job.Replacements = {{QString(), QStringLiteral("x")}};
        QCOMPARE(job.CommandLine(), QStringLiteral("/g16/g16 /data/in.gjf"));
    }

    void splitWithoutLineFeedKeepsTheWholeStringUntrimmed()
    {
        QString args;
        QString input = QStringLiteral("stale");
        Tavrol_Job::SplitArguments(QStringLiteral("  a b "), args, input);
        QCOMPARE(args, QStringLiteral("  a b "));
        QVERIFY(input.isEmpty());
    }

    void splitKeepsStandardInputExactly()
    {
        QString args;
        QString input;
        Tavrol_Job::SplitArguments(QStringLiteral(" a b \n x\n\ny\n"), args, input);
        QCOMPARE(args, QStringLiteral("a b"));
        QCOMPARE(input, QStringLiteral(" x\n\ny\n"));
    }

    void lineFeedWithNothingBehindGivesNoStandardInput()
    {
        QString args;
        QString input;
        Tavrol_Job::SplitArguments(QStringLiteral(" a\n"), args, input);
        QCOMPARE(args, QStringLiteral("a"));
        QVERIFY(input.isEmpty());
    }

    void convertedPathsSurviveTheSplitIntoArguments_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("plain") << "/data/in.gjf";
        QTest::newRow("blanks") << "/my data/a  b.gjf";
        QTest::newRow("double quotes") << "/data/\"quoted\" name.gjf";
        QTest::newRow("single quote") << "/data/it's.gjf";
        QTest::newRow("backslash") << "/data/back\\slash.gjf";
        QTest::newRow("non-ASCII") << QString::fromUtf8("/daten/Molekül ä ø 水.gjf");
        QTest::newRow("shell characters") << "/data/$HOME;&|<>(x)*?.gjf";
        QTest::newRow("tilde") << "~/x.gjf";
        QTest::newRow("tab") << "/data/a\tb.gjf";
    }

    void convertedPathsSurviveTheSplitIntoArguments()
    {
        QFETCH(QString, path);
        const QString converted = Quolix_FileSys::ConvertFilename(path, true, false);
        const QStringList words = Quolix_String::MakeStringList(
            QStringLiteral("-x ") + converted + QStringLiteral(" ") + converted, true);
        QCOMPARE(words, QStringList({QStringLiteral("-x"), path, path}));
    }

    void unquotedConversionIsBare()
    {
        QCOMPARE(Quolix_FileSys::ConvertFilename(QStringLiteral("/a b/c"), false, false),
                 QStringLiteral("/a b/c"));
        QCOMPARE(Quolix_FileSys::ConvertFilename(QStringLiteral("/a/c.gjf"), true, false),
                 QStringLiteral("/a/c.gjf"));
        QCOMPARE(Quolix_FileSys::ConvertFilename(QString(), true, false), QString());
    }

    void templateRunsEndToEndIntoWords()
    {
        Tavrol_Job job = MakeJob("/g16/g16", "@EXEFILE \"@INFILE\" @OUTFILE");
        job.InputFilePath = QStringLiteral("/my data/in put.gjf");
        job.OutputFilePath = QStringLiteral("/my data/in put.log");
        QString expanded;
        job.CommandLine(&expanded);
        QString args;
        QString input;
        Tavrol_Job::SplitArguments(expanded, args, input);
        QCOMPARE(Quolix_String::MakeStringList(args, true),
                 QStringList({QStringLiteral("/my data/in put.gjf"),
                              QStringLiteral("/my data/in put.log")}));
    }
};

const QString TestCommandLine::CubmanTemplate =
    QStringLiteral("@EXEFILE\n@KIND\n@INFILE1\ny\n@INFILE2\ny\n@OUTFILE\ny\n@SCALE\n");

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
