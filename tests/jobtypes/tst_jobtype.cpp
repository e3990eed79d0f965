#include "jobtypes/jobtype.h"

#include "testsupport.h"

#include <QtTest>

class TestJobType : public QObject
{
    Q_OBJECT

private:
    static Tavrol_JobType ValidType()
    {
        return Tavrol_JobType(3, QStringLiteral("Gaussian"), QStringLiteral("g16"),
                              TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                              QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                              QStringLiteral("Gaussian Input Files (*.gjf)"),
                              QStringLiteral("Gaussian Log Files (*.log)"), QString());
    }

private slots:
    void defaultTypeHasIdZeroAndIsInvalid()
    {
        const Tavrol_JobType type;
        QCOMPARE(type.JobTypeID, 0);
        QVERIFY(type.Name.isEmpty());
        QVERIFY(type.ApplicationName.isEmpty());
        QVERIFY(type.ExecutablePath.isEmpty());
        QVERIFY(type.DefaultQueue.isEmpty());
        QVERIFY(type.GenericCommandLine.isEmpty());
        QVERIFY(type.InputFileFilter.isEmpty());
        QVERIFY(type.OutputFileFilter.isEmpty());
        QVERIFY(type.EnvironmentVariables.isEmpty());
        QVERIFY(!type.IsValid());
    }

    void fullConstructorAssignsInOrder()
    {
        const Tavrol_JobType type(7, "n", "a", "p", "q", "c", "i", "o", "e");
        QCOMPARE(type.JobTypeID, 7);
        QCOMPARE(type.Name, QStringLiteral("n"));
        QCOMPARE(type.ApplicationName, QStringLiteral("a"));
        QCOMPARE(type.ExecutablePath, QStringLiteral("p"));
        QCOMPARE(type.DefaultQueue, QStringLiteral("q"));
        QCOMPARE(type.GenericCommandLine, QStringLiteral("c"));
        QCOMPARE(type.InputFileFilter, QStringLiteral("i"));
        QCOMPARE(type.OutputFileFilter, QStringLiteral("o"));
        QCOMPARE(type.EnvironmentVariables, QStringLiteral("e"));
    }

    void equalityComparesIdAndEveryString()
    {
        const Tavrol_JobType type = ValidType();
        Tavrol_JobType copy = type;
        QVERIFY(copy == type);
        copy.EnvironmentVariables = QStringLiteral("X=1");
        QVERIFY(copy != type);
        copy = type;
        copy.JobTypeID = 4;
        QVERIFY(!(copy == type));
    }

    void validTypeNeedsAnExistingExecutableAndExeFile()
    {
        QVERIFY(ValidType().IsValid());

        Tavrol_JobType type = ValidType();
        type.JobTypeID = -1;
        QVERIFY(!type.IsValid());

        type = ValidType();
        type.Name.clear();
        QVERIFY(!type.IsValid());

        type = ValidType();
        type.ApplicationName.clear();
        QVERIFY(!type.IsValid());

        type = ValidType();
        type.ExecutablePath = QStringLiteral("/nonexistent/tavrol/g16");
        QVERIFY(!type.IsValid());

        type = ValidType();
        type.GenericCommandLine = QStringLiteral("g16 @INFILE");
        QVERIFY(!type.IsValid());

        type.GenericCommandLine = QStringLiteral("@exefile @INFILE");
        QVERIFY(type.IsValid());
    }

    void defaultQueueIdTestsTheBeginningIgnoringCase_data()
    {
        QTest::addColumn<QString>("queue");
        QTest::addColumn<int>("id");
        QTest::newRow("Long") << "Long" << 0;
        QTest::newRow("Long Jobs") << "Long Jobs" << 0;
        QTest::newRow("long") << "long" << 0;
        QTest::newRow("Short") << "Short" << 1;
        QTest::newRow("Short Jobs") << "Short Jobs" << 1;
        QTest::newRow("short") << "short" << 1;
        QTest::newRow("None") << "None" << 2;
        QTest::newRow("Queueless") << "Queueless" << 2;
        QTest::newRow("queueless list") << "queueless list" << 2;
        QTest::newRow("Queue") << "Queue" << -1;
        QTest::newRow("empty") << "" << -1;
        QTest::newRow(" Long") << " Long" << -1;
    }

    void defaultQueueIdTestsTheBeginningIgnoringCase()
    {
        QFETCH(QString, queue);
        QFETCH(int, id);
        Tavrol_JobType type;
        type.DefaultQueue = queue;
        QCOMPARE(type.DefaultQueueID(), id);
    }

    void queueNameFromIdMapsBack()
    {
        QCOMPARE(Tavrol_JobType::QueueNameFromID(0), QStringLiteral("Long"));
        QCOMPARE(Tavrol_JobType::QueueNameFromID(1), QStringLiteral("Short"));
        QCOMPARE(Tavrol_JobType::QueueNameFromID(2), QStringLiteral("Queueless"));
        QCOMPARE(Tavrol_JobType::QueueNameFromID(-1), QString());
        QCOMPARE(Tavrol_JobType::QueueNameFromID(3), QString());
    }

    void usesInputFileIgnoresCase()
    {
        Tavrol_JobType type;
        type.GenericCommandLine = QStringLiteral("@EXEFILE @INFILE2");
        QVERIFY(type.UsesInputFile());
        QVERIFY(type.UsesInputFile2());
        type.GenericCommandLine = QStringLiteral("@EXEFILE @infile1");
        QVERIFY(type.UsesInputFile());
        QVERIFY(!type.UsesInputFile2());
        type.GenericCommandLine = QStringLiteral("@EXEFILE @OUTFILE");
        QVERIFY(!type.UsesInputFile());
        QVERIFY(!type.UsesInputFile2());
    }

    void handlesInputFile_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("handles");
        const QString ombrix = QStringLiteral("Ombrix Input Files (*.dat *.odat)");
        QTest::newRow("capital name") << ombrix << "/data/FILE.DAT" << true;
        QTest::newRow("second pattern") << ombrix << "/data/x.odat" << true;
        QTest::newRow("no suffix") << ombrix << "/data/FILE" << false;
        QTest::newRow("other suffix") << ombrix << "/data/x.gjf" << false;
        QTest::newRow("empty filter") << ""
                                      << "/data/x.dat" << false;
        QTest::newRow("blank filter") << "   "
                                      << "/data/x.dat" << false;
        QTest::newRow("star dot star") << "All Files (*.*)"
                                       << "/data/x.dat" << false;
        QTest::newRow("prefix before pattern") << "Files (x*.dat)"
                                               << "/data/x.dat" << false;
        QTest::newRow("word before parenthesis") << "dat files (*.gjf)"
                                                 << "/data/dat" << false;
        QTest::newRow("several groups") << "A (*.gjf) B (*.com)"
                                        << "/d/x.com" << true;
        QTest::newRow("upper pattern") << "Inputs (*.GJF)"
                                       << "/d/x.gjf" << true;
        QTest::newRow("last suffix only") << "Cube (*.cube)"
                                          << "/d/x.cube.bak" << false;
        QTest::newRow("bare star dot") << "Odd (*.)"
                                       << "/d/noext" << true;
    }

    void handlesInputFile()
    {
        QFETCH(QString, filter);
        QFETCH(QString, path);
        QFETCH(bool, handles);
        Tavrol_JobType type;
        type.InputFileFilter = filter;
        QCOMPARE(type.HandlesInputFile(path), handles);
    }
};

QTEST_GUILESS_MAIN(TestJobType)
#include "tst_jobtype.moc"
