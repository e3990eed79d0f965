#include "app/globals.h"
#include "jobtypes/jobtype.h"
#include "platform/filesys.h"
#include "store/database.h"
#include "store/database_manager.h"

#include "testsupport.h"

#include <QDir>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

namespace {

Tavrol_Database_Manager* Manager()
{
    return Tavrol_Database_Manager::Instance();
}

Tavrol_Database* NewProject()
{
    Tavrol_Database* database = Manager()->GetDatabase(SQLiteMemory, QString(), false);
    database->Open();
    database->CreateTables();
    return database;
}

Tavrol_JobType TypeNamed(const QString& name)
{
    return Tavrol_JobType(0, name, QStringLiteral("app"), QStringLiteral("/opt/app"),
                          QStringLiteral("Short"), QStringLiteral("@EXEFILE @INFILE"),
                          QStringLiteral("Input (*.inp)"), QStringLiteral("Output (*.out)"),
                          QStringLiteral("A=1"));
}

std::vector<Tavrol_JobType> List()
{
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    return jobTypes;
}

int RowCount(Tavrol_Database* database)
{
    QSqlQuery query(database->Database);
    query.exec(QStringLiteral("SELECT COUNT(*) FROM JobTypes"));
    return query.next() ? query.value(0).toInt() : -1;
}

// Counts the statements that change the store while it lives.
class WriteCounter
{
public:
    explicit WriteCounter(Tavrol_Database* database)
        : m_handle(*static_cast<sqlite3* const*>(database->Driver()->handle().constData()))
    {
        sqlite3_trace_v2(m_handle, SQLITE_TRACE_STMT, &WriteCounter::Callback, this);
    }
    ~WriteCounter() { sqlite3_trace_v2(m_handle, 0, nullptr, nullptr); }
    WriteCounter(const WriteCounter&) = delete;
    WriteCounter& operator=(const WriteCounter&) = delete;
    int Writes = 0;

private:
    static int Callback(unsigned, void* context, void* statement, void*)
    {
        const QString sql = QString::fromUtf8(sqlite3_sql(static_cast<sqlite3_stmt*>(statement)));
        if (!sql.startsWith(QLatin1String("SELECT")))
            ++static_cast<WriteCounter*>(context)->Writes;
        return 0;
    }
    sqlite3* m_handle;
};

} // namespace

class TestJobTypeList : public QObject
{
    Q_OBJECT

private:
    QByteArray m_gaussExeDir;
    QByteArray m_ombrixExe;

    void UseStandIns()
    {
        qputenv("GAUSS_EXEDIR", TestSupport::FixturePath("gaussian/g16").toLocal8Bit());
        qputenv("TAVROL_OMBRIX_EXE", TestSupport::FixturePath("ombrix/bin/ombrix").toLocal8Bit());
        delete AppBaseDir;
        AppBaseDir = new QDir(TestSupport::FixturePath("appbase"));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(TavrolAppWindow == nullptr);
        m_gaussExeDir = qgetenv("GAUSS_EXEDIR");
        m_ombrixExe = qgetenv("TAVROL_OMBRIX_EXE");
    }

    void cleanup()
    {
        Manager()->CloseAll();
        Tavrol_JobType::Clear();
        delete AppBaseDir;
        AppBaseDir = nullptr;
        qputenv("GAUSS_EXEDIR", m_gaussExeDir);
        qputenv("TAVROL_OMBRIX_EXE", m_ombrixExe);
    }

    // ---- The list and the table ----

    void withoutAStoreAddEndsWithAnEmptyList()
    {
        QVERIFY(Manager()->CurrentDatabase == nullptr);
        Tavrol_JobType jobType = TypeNamed("A");
        Tavrol_JobType::Add(jobType);
        QVERIFY(List().empty());
        QCOMPARE(jobType.JobTypeID, 0);
    }

    void addKeepsTheListEqualToTheTable()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType first = TypeNamed("First");
        Tavrol_JobType second = TypeNamed("Second");
        Tavrol_JobType third = TypeNamed("Third");
        first.JobTypeID = 55;
        Tavrol_JobType::Add(first);
        Tavrol_JobType::Add(second);
        Tavrol_JobType::Add(third);
        QCOMPARE(first.JobTypeID, 0);
        QCOMPARE(second.JobTypeID, 1);
        QCOMPARE(third.JobTypeID, 2);
        const std::vector<Tavrol_JobType> list = List();
        QCOMPARE(list, database->LoadJobTypes());
        QCOMPARE(list.size(), size_t(3));
        QCOMPARE(list[0], first);
        QCOMPARE(list[1], second);
        QCOMPARE(list[2], third);
    }

    void addingAStoredNameMakesANewRow()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType jobType = TypeNamed("Same");
        Tavrol_JobType::Add(jobType);
        Tavrol_JobType again = TypeNamed("Same");
        Tavrol_JobType::Add(again);
        QCOMPARE(again.JobTypeID, 1);
        QCOMPARE(RowCount(database), 2);
        QCOMPARE(List().size(), size_t(2));
    }

    void aNameWithAQuoteIsAddedAndListed()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType jobType = TypeNamed("O'Brien's Gaussian");
        Tavrol_JobType::Add(jobType);
        QCOMPARE(jobType.JobTypeID, 0);
        QCOMPARE(List().size(), size_t(1));
        QCOMPARE(List().front().Name, QStringLiteral("O'Brien's Gaussian"));
        QCOMPARE(database->LoadJobTypes(), List());
        QCOMPARE(Tavrol_JobType::ByName("O'Brien's Gaussian"), jobType);
        Tavrol_JobType::Remove(jobType);
        QVERIFY(List().empty());
        QCOMPARE(RowCount(database), 0);
    }

    void aFailedStoreWriteLeavesTheListAsTheTableHasIt()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType good = TypeNamed("Good");
        Tavrol_JobType::Add(good);
        Tavrol_JobType empty = TypeNamed(QString(QLatin1String("")));
        Tavrol_JobType::Add(empty);
        QCOMPARE(RowCount(database), 1);
        QCOMPARE(List().size(), size_t(1));
        QCOMPARE(List().front().Name, QStringLiteral("Good"));
    }

    void getAllGivesCopiesAndNames()
    {
        NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType b = TypeNamed("B");
        Tavrol_JobType::Add(a);
        Tavrol_JobType::Add(b);
        std::vector<Tavrol_JobType> jobTypes = {TypeNamed("old")};
        QStringList names = {QStringLiteral("old name")};
        QVERIFY(Tavrol_JobType::GetAll(jobTypes, names));
        QCOMPARE(jobTypes.size(), size_t(2));
        QCOMPARE(names, QStringList({QStringLiteral("A"), QStringLiteral("B")}));
        jobTypes[0].Name = QStringLiteral("changed");
        QCOMPARE(List()[0].Name, QStringLiteral("A"));
        std::vector<Tavrol_JobType> plain;
        QVERIFY(Tavrol_JobType::GetAll(plain));
        QCOMPARE(plain, List());
    }

    void lookupsGiveTheFirstMatchOrTheDefaultType()
    {
        Tavrol_JobType::SetAll(
            {Tavrol_JobType(4, "Gaussian", "g16", "/g16", "Long", "@EXEFILE", "", "", ""),
             Tavrol_JobType(4, "Second", "x", "/x", "Long", "@EXEFILE", "", "", ""),
             Tavrol_JobType(7, "Gaussian", "g09", "/g09", "Long", "@EXEFILE", "", "", "")});
        QCOMPARE(Tavrol_JobType::ByID(4).Name, QStringLiteral("Gaussian"));
        QCOMPARE(Tavrol_JobType::ByID(7).ApplicationName, QStringLiteral("g09"));
        QCOMPARE(Tavrol_JobType::ByID(9), Tavrol_JobType());
        QCOMPARE(Tavrol_JobType::ByName("Gaussian").ApplicationName, QStringLiteral("g16"));
        QCOMPARE(Tavrol_JobType::ByName("gaussian"), Tavrol_JobType());
        QCOMPARE(Tavrol_JobType::ByName("Gaussian "), Tavrol_JobType());
        QVERIFY(!Tavrol_JobType::ByName("nothing").IsValid());
    }

    void setAllAndClearDoNotTouchTheStore()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType stored = TypeNamed("Stored");
        Tavrol_JobType::Add(stored);
        WriteCounter counter(database);
        Tavrol_JobType::SetAll({TypeNamed("X"), TypeNamed("Y")});
        QCOMPARE(List().size(), size_t(2));
        Tavrol_JobType::Clear();
        QVERIFY(List().empty());
        QCOMPARE(counter.Writes, 0);
        QCOMPARE(RowCount(database), 1);
    }

    void removeTakesEqualEntriesAndTheirRows()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType b = TypeNamed("B");
        Tavrol_JobType::Add(a);
        Tavrol_JobType::Add(b);
        Tavrol_JobType::Remove(a);
        QCOMPARE(List(), std::vector<Tavrol_JobType>({b}));
        QCOMPARE(database->LoadJobTypes(), List());
    }

    void removeOfADifferingTypeFindsNothing()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType::Add(a);
        Tavrol_JobType differing = a;
        differing.EnvironmentVariables = QStringLiteral("A=2");
        WriteCounter counter(database);
        Tavrol_JobType::Remove(differing);
        QCOMPARE(counter.Writes, 0);
        QCOMPARE(List().size(), size_t(1));
        QCOMPARE(RowCount(database), 1);
    }

    void removeSkipsNoNeighbour()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType::Add(a);
        // Two equal entries side by side both go, each with its delete.
        Tavrol_JobType::SetAll({a, a, TypeNamed("B")});
        WriteCounter counter(database);
        Tavrol_JobType::Remove(a);
        QCOMPARE(List().size(), size_t(1));
        QCOMPARE(List().front().Name, QStringLiteral("B"));
        QCOMPARE(counter.Writes, 6);
        QCOMPARE(RowCount(database), 0);
    }

    void removeWithoutAStoreOnlyChangesTheList()
    {
        Tavrol_JobType::SetAll({TypeNamed("A"), TypeNamed("B")});
        Tavrol_JobType::Remove(TypeNamed("A"));
        QCOMPARE(List().size(), size_t(1));
    }

    void removeAllEmptiesListAndTable()
    {
        Tavrol_Database* database = NewProject();
        for (const char* name : {"A", "B", "C"}) {
            Tavrol_JobType jobType = TypeNamed(name);
            Tavrol_JobType::Add(jobType);
        }
        QCOMPARE(RowCount(database), 3);
        Tavrol_JobType::RemoveAll();
        QVERIFY(List().empty());
        QCOMPARE(RowCount(database), 0);
    }

    void updateOfAnUnknownIdDoesNothing()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType::Add(a);
        Tavrol_JobType unknown = TypeNamed("Z");
        unknown.JobTypeID = 42;
        WriteCounter counter(database);
        Tavrol_JobType::Update(unknown);
        QCOMPARE(counter.Writes, 0);
        QCOMPARE(List(), std::vector<Tavrol_JobType>({a}));
    }

    void updateRewritesTheFirstEntryOfTheIdAndItsRow()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType b = TypeNamed("B");
        Tavrol_JobType::Add(a);
        Tavrol_JobType::Add(b);
        Tavrol_JobType changed(b.JobTypeID, "B2", "b2", "/b2", "Long", "@EXEFILE x", "i", "o",
                               "E=2");
        Tavrol_JobType::Update(changed);
        QCOMPARE(List()[1], changed);
        QCOMPARE(database->LoadJobTypes(), List());
    }

    void anUpdateWithAQuoteChangesOnlyTheList()
    {
        Tavrol_Database* database = NewProject();
        Tavrol_JobType a = TypeNamed("A");
        Tavrol_JobType::Add(a);
        Tavrol_JobType changed = a;
        changed.GenericCommandLine = QStringLiteral("@EXEFILE '@INFILE'");
        Tavrol_JobType::Update(changed);
        QCOMPARE(List().front(), changed);
        QCOMPARE(database->GetJobType(a.JobTypeID), a);
        Tavrol_JobType::ReloadFromStore();
        QCOMPARE(List().front(), a);
    }

    void reloadFromStoreFollowsTheTable()
    {
        Tavrol_JobType::SetAll({TypeNamed("memory only")});
        Tavrol_JobType::ReloadFromStore();
        QVERIFY(List().empty());

        Tavrol_Database* database = NewProject();
        Tavrol_JobType::SetAll({TypeNamed("memory only")});
        Tavrol_JobType::ReloadFromStore();
        QVERIFY(List().empty());
        QVERIFY(database->AddJobType(TypeNamed("Z"), true, nullptr));
        QVERIFY(database->AddJobType(TypeNamed("A"), true, nullptr));
        Tavrol_JobType::ReloadFromStore();
        QCOMPARE(List(), database->LoadJobTypes());
        QCOMPARE(List()[0].Name, QStringLiteral("Z"));
    }

    // ---- Default types ----

    void everyDefaultTypeAppearsWhenItsProgramIsThere()
    {
        UseStandIns();
        Tavrol_Database* database = NewProject();
        Tavrol_JobType::AddDefaults();
        const QString gaussDir = QDir::cleanPath(TestSupport::FixturePath("gaussian/g16"));
        const QString ombrix = TestSupport::FixturePath("ombrix/bin/ombrix");
        const QString gmmx = QDir(TestSupport::FixturePath("appbase")).absolutePath() + "/gmmx";
        const std::vector<Tavrol_JobType> expected = {
            Tavrol_JobType(0, "Ombrix", "ombrix", ombrix, "Short", "@EXEFILE -nproc=0 -b @INFILE",
                           "Ombrix Input Files (*.dat *.odat)",
                           "Ombrix Output Files (*.out *.oout)", ""),
            Tavrol_JobType(1, "Gaussian", "g16", gaussDir + "/g16", "Long",
                           "@EXEFILE @INFILE @OUTFILE", "Gaussian Input Files (*.gjf)",
                           "Gaussian Log Files (*.log)", "GAUSS_EXEDIR=" + gaussDir),
            Tavrol_JobType(2, "GMMX", "gmmx", gmmx, "Short", "@EXEFILE @INFILE @OUTFILE",
                           "GMMX Input Files (*.gmmx)", "GMMX Output Files (*.sdf)", ""),
            Tavrol_JobType(3, "Cubegen", "cubegen", gaussDir + "/cubegen", "Short",
                           "@EXEFILE @MEMORY @KIND @INFILE @OUTFILE @NPTS @HEADER",
                           "Gaussian Formatted Checkpoint Files (*.fchk *.fch)",
                           "Cube Files (*.cube *.cub)", "GAUSS_MEMDEF=@MEMORY"),
            Tavrol_JobType(4, "Formchk", "formchk", gaussDir + "/formchk", "Short",
                           "@EXEFILE -3 @INFILE @OUTFILE", "Gaussian Checkpoint Files (*.chk)",
                           "Gaussian Formatted Checkpoint Files (*.fchk *.fch)",
                           "GAUSS_MEMDEF=@MEMORY"),
            Tavrol_JobType(5, "Freqchk", "freqchk", gaussDir + "/freqchk", "Short",
                           "@EXEFILE @INFILE @SAVE @NFD @SEL\nn\n@TEMP\n@PRESS\n@SCALE\n@ISO\n"
                           "@PROJ\n@SELINPUT\n",
                           "Gaussian Checkpoint Files (*.chk *.fchk *.fch)",
                           "Gaussian Frequency Files (*.gfrq)", "GAUSS_MEMDEF=@MEMORY"),
            Tavrol_JobType(6, "Cubman", "cubman", gaussDir + "/cubman", "Short",
                           "@EXEFILE\n@KIND\n@INFILE1\ny\n@INFILE2\ny\n@OUTFILE\ny\n@SCALE\n",
                           "Cube Files (*.cube *.cub)", "Cube Files (*.cube *.cub)",
                           "GAUSS_MEMDEF=@MEMORY"),
        };
        const std::vector<Tavrol_JobType> list = List();
        QCOMPARE(list.size(), expected.size());
        for (size_t index = 0; index < expected.size(); ++index) {
            QCOMPARE(list[index].JobTypeID, expected[index].JobTypeID);
            QCOMPARE(list[index].Name, expected[index].Name);
            QCOMPARE(list[index].ApplicationName, expected[index].ApplicationName);
            QCOMPARE(list[index].ExecutablePath, expected[index].ExecutablePath);
            QCOMPARE(list[index].DefaultQueue, expected[index].DefaultQueue);
            QCOMPARE(list[index].GenericCommandLine, expected[index].GenericCommandLine);
            QCOMPARE(list[index].InputFileFilter, expected[index].InputFileFilter);
            QCOMPARE(list[index].OutputFileFilter, expected[index].OutputFileFilter);
            QCOMPARE(list[index].EnvironmentVariables, expected[index].EnvironmentVariables);
            QVERIFY(list[index].IsValid());
        }
        QCOMPARE(database->LoadJobTypes(), list);
    }

    void noDefaultTypeAppearsWithoutItsProgram()
    {
        QTemporaryDir empty;
        qputenv("GAUSS_EXEDIR", empty.filePath("g16").toLocal8Bit());
        qputenv("TAVROL_OMBRIX_EXE", empty.filePath("ombrix").toLocal8Bit());
        Tavrol_Database* database = NewProject();
        Tavrol_JobType::AddDefaults();
        QVERIFY(List().empty());
        delete AppBaseDir;
        AppBaseDir = new QDir(empty.path());
        Tavrol_JobType::AddDefaults();
        QVERIFY(List().empty());
        QCOMPARE(RowCount(database), 0);
    }

    void eachDefaultAddsOnlyItself_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name :
             {"Ombrix", "Gaussian", "GMMX", "Cubegen", "Formchk", "Freqchk", "Cubman"})
            QTest::newRow(name) << name;
    }
    void eachDefaultAddsOnlyItself()
    {
        QFETCH(QString, name);
        UseStandIns();
        NewProject();
        if (name == "Ombrix")
            Tavrol_JobType::AddDefaultOmbrix();
        else if (name == "Gaussian")
            Tavrol_JobType::AddDefaultGaussian();
        else if (name == "GMMX")
            Tavrol_JobType::AddDefaultGMMX();
        else if (name == "Cubegen")
            Tavrol_JobType::AddDefaultCubegen();
        else if (name == "Formchk")
            Tavrol_JobType::AddDefaultFormchk();
        else if (name == "Freqchk")
            Tavrol_JobType::AddDefaultFreqchk();
        else
            Tavrol_JobType::AddDefaultCubman();
        QCOMPARE(List().size(), size_t(1));
        QCOMPARE(List().front().Name, name);
        QCOMPARE(List().front().JobTypeID, 0);
    }

    void onlyTheProgramsThatExistGetADefault()
    {
        UseStandIns();
        QTemporaryDir empty;
        qputenv("TAVROL_OMBRIX_EXE", empty.filePath("ombrix").toLocal8Bit());
        delete AppBaseDir;
        AppBaseDir = nullptr;
        NewProject();
        Tavrol_JobType::AddDefaults();
        QStringList names;
        std::vector<Tavrol_JobType> jobTypes;
        Tavrol_JobType::GetAll(jobTypes, names);
        QCOMPARE(names, QStringList({"Gaussian", "Cubegen", "Formchk", "Freqchk", "Cubman"}));
    }

    void addingTheDefaultsTwiceMakesASecondSet()
    {
        UseStandIns();
        Tavrol_Database* database = NewProject();
        Tavrol_JobType::AddDefaults();
        Tavrol_JobType::AddDefaults();
        QCOMPARE(RowCount(database), 14);
        QCOMPARE(List().size(), size_t(14));
        QCOMPARE(List()[7].Name, QStringLiteral("Ombrix"));
        QCOMPARE(List()[7].JobTypeID, 7);
    }

    void defaultsWithoutAStoreLeaveTheListEmpty()
    {
        UseStandIns();
        Tavrol_JobType::AddDefaults();
        QVERIFY(List().empty());
    }
};

QTEST_MAIN(TestJobTypeList)
#include "tst_jobtypelist.moc"
