// Project files in the console run mode: a new project's rows, the caption,
// open with its version check and id seed, save and its reload, the save
// question on standard input, the recent list and the last directory.

#include "app/globals.h"
#include "app/settings.h"
#include "console/console.h"
#include "console/console_worker.h"
#include "jobs/job.h"
#include "jobs/longjobsqueue.h"
#include "jobs/queuelessjobslist.h"
#include "jobtypes/jobtypeswidget.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

namespace {

Tavrol_Database* Current()
{
    return Tavrol_Database_Manager::Instance()->CurrentDatabase;
}

QString Caption(const Tavrol_AppWindow& window)
{
    return window.Console()->Title();
}

QString Stored(const QString& name)
{
    QString value;
    if (Current())
        Current()->GetGeneralData(name, value);
    return value;
}

QString Touch(const QTemporaryDir& directory, const QString& name, const QByteArray& contents)
{
    return TestSupport::WrittenFile(directory.filePath(name), contents);
}

QStringList RecentProjects()
{
    return Tavrol_Settings()
        .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentProjects))
        .toStringList();
}

} // namespace

class TestProjectFiles : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Tavrol_AppWindow> m_window;
    QString m_input;
    QString m_slowInput;

    // The next lines that the console reads.
    void Answer(const QByteArray& lines)
    {
        const QString path = Touch(m_dir, QStringLiteral("answers.txt"), lines);
        QVERIFY(std::freopen(QFile::encodeName(path).constData(), "r", stdin));
    }

    // A saved project with a finished job, two waiting long jobs and a
    // queueless one, and "LastJobID" 4.
    QString MakeProject(const QString& name)
    {
        const QString path = Touch(m_dir, name, QByteArray());
        m_window->NewProject(path);
        m_window->QueuelessJobsView()->AddJobFromFile(m_input, -1);
        if (!QTest::qWaitFor(
                [this] { return m_window->FinishedJobsView()->FinishedJobs().size() == 1; }, 20000))
            return QString();
        m_window->LongJobsView()->AddJobFromFile(m_slowInput, -1);
        m_window->LongJobsView()->AddJobFromFile(m_input, -1);
        m_window->QueuelessJobsView()->AddJobFromFile(m_slowInput, -1);
        if (!m_window->SaveProject())
            return QString();
        KillJobs();
        return path;
    }

    void KillJobs()
    {
        m_window->LongJobsView()->PauseAndKillRunningJobs();
        m_window->ShortJobsView()->PauseAndKillRunningJobs();
        m_window->QueuelessJobsView()->KillRunningJobs();
        QTest::qWait(200);
    }

private slots:
    void initTestCase()
    {
        RunMode = RunModeConsole;
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        m_input = Touch(m_dir, QStringLiteral("water.gjf"), "w\n");
        m_slowInput = Touch(m_dir, QStringLiteral("slow.gjf"), "#standin sleep=60\n");
    }

    void init()
    {
        Tavrol_Settings().clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
        JobIDManager = Quolix_IDManager(0, 1);
        m_window = std::make_unique<Tavrol_AppWindow>();
        TavrolAppWindow = m_window.get();
        m_window->BuildWidgets();
    }

    void cleanup()
    {
        KillJobs();
        m_window.reset();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void newProjectRows()
    {
        m_window->NewProject(QString());
        Tavrol_Database* database = Current();
        QVERIFY(database);
        QCOMPARE(database->DatabaseType, SQLiteMemory);
        QCOMPARE(Stored(QStringLiteral("Version")), QStringLiteral("2"));
        QCOMPARE(database->GetQueueID(QStringLiteral("Long")), 0);
        QCOMPARE(database->GetQueueID(QStringLiteral("Short")), 1);
        QCOMPARE(database->GetQueueMaxRunningJobs(QStringLiteral("Long")), 1);
        QCOMPARE(database->GetQueueMaxRunningJobs(QStringLiteral("Short")), 1);
        QVERIFY(database->FilePath.isEmpty());
        QVERIFY(!database->Modified);
        QCOMPARE(database->LoadJobTypes().size(), size_t(5)); // the Gaussian family
        QCOMPARE(m_window->JobTypesView()->JobTypes().size(), size_t(5));
        QVERIFY(!m_window->LongJobsView()->Queue().Paused());
    }

    void newProjectStoresTheDirectoryOfAnExistingFile()
    {
        QTemporaryDir other;
        const QString path = Touch(other, QStringLiteral("n.tvrl"), QByteArray());
        m_window->NewProject(path);
        QCOMPARE(Current()->FilePath, path);
        QCOMPARE(Tavrol_Settings()
                     .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath))
                     .toString(),
                 QDir(other.path()).absolutePath());
    }

    void captions()
    {
        qputenv("GAUSS_EXEDIR", "/no/such/gaussian");
        m_window->NewProject(QString());
        m_window->UpdateCaption();
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15, New Project"));
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        m_window->NewProject(QString());
        m_window->UpdateCaption();
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15, Unsaved Project"));
        Current()->FilePath = QStringLiteral("/x/y.tvrl");
        m_window->UpdateCaption();
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15, /x/y.tvrl"));
        // Another kind of database shows its name.
        const QString file = m_dir.filePath(QStringLiteral("file.sqlite"));
        QVERIFY(Tavrol_Database_Manager::Instance()->GetDatabase(SQLiteFile, file, true));
        m_window->UpdateCaption();
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15, ") + file);
        Tavrol_Database_Manager::Instance()->CloseAll();
        m_window->UpdateCaption();
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15"));
    }

    void projectFileExtension()
    {
        QCOMPARE(Tavrol_AppWindow::WithProjectExtension(QStringLiteral("a.TVRL")),
                 QStringLiteral("a.TVRL"));
        QCOMPARE(Tavrol_AppWindow::WithProjectExtension(QStringLiteral(" a ")),
                 QStringLiteral("a.tvrl"));
        QCOMPARE(Tavrol_AppWindow::WithProjectExtension(QStringLiteral("/d/p.tvrl")),
                 QStringLiteral("/d/p.tvrl"));
        QCOMPARE(Tavrol_AppWindow::WithProjectExtension(QStringLiteral("p.db")),
                 QStringLiteral("p.db.tvrl"));
        QCOMPARE(Tavrol_AppWindow::WithProjectExtension(QStringLiteral("  ")), QString());
    }

    void recentProjects()
    {
        for (int index = 0; index < 12; ++index)
            m_window->AddToRecentProjects(QStringLiteral("/p/%1.tvrl").arg(index));
        QStringList expected;
        for (int index = 11; index >= 2; --index)
            expected.append(QStringLiteral("/p/%1.tvrl").arg(index));
        QCOMPARE(RecentProjects(), expected);
        m_window->AddToRecentProjects(QStringLiteral("/p/5.tvrl"));
        expected.removeAll(QStringLiteral("/p/5.tvrl"));
        expected.prepend(QStringLiteral("/p/5.tvrl"));
        QCOMPARE(RecentProjects(), expected);
        QCOMPARE(RecentProjects().size(), 10);
    }

    void setLastDirectory()
    {
        const QString before = QDir::currentPath();
        m_window->SetLastDirectory(m_dir.path());
        QCOMPARE(QDir::currentPath(), QDir(m_dir.path()).absolutePath());
        QCOMPARE(Tavrol_Settings()
                     .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::LastDirectoryPath))
                     .toString(),
                 m_dir.path());
        QDir::setCurrent(before);
    }

    void openProjectBringsItAllBack()
    {
        const QString path = MakeProject(QStringLiteral("full.tvrl"));
        QVERIFY(!path.isEmpty());
        Tavrol_Settings().clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
        m_window->LongJobsView()->ClearJobs();
        m_window->FinishedJobsView()->Clear();
        JobIDManager = Quolix_IDManager(0, 1);
        QVERIFY(m_window->OpenProject(path));
        QVERIFY(Current());
        QCOMPARE(Current()->FilePath, path);
        QVERIFY(!Current()->Modified);
        QCOMPARE(JobIDManager.LastID(), 4);
        const Tavrol_LongJobsQueue& queue = m_window->LongJobsView()->Queue();
        QVERIFY(queue.Paused());
        QCOMPARE(queue.Count(), 2);
        QCOMPARE(queue.JobAt(0)->Status, JobStatusPending);
        QCOMPARE(queue.JobAt(1)->Status, JobStatusPending);
        QCOMPARE(m_window->FinishedJobsView()->FinishedJobs().size(), size_t(1));
        QCOMPARE(m_window->JobTypesView()->JobTypes().size(), size_t(5));
        // The queueless rows stay in the file: nothing brings them back ...
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 0);
        QCOMPARE(Current()->LoadQueuelessJobs().size(), size_t(1));
        QCOMPARE(RecentProjects(), QStringList{path});
        QCOMPARE(QDir::currentPath(), QDir(m_dir.path()).absolutePath());
        // ... unless the unused reload is called.
        m_window->ReloadQueuelessList();
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 1);
    }

    void openProjectRefusesOtherVersions_data()
    {
        QTest::addColumn<QString>("version");
        QTest::newRow("3") << "3";
        QTest::newRow("1") << "1";
        QTest::newRow("text") << "two";
        QTest::newRow("empty") << "";
    }

    void openProjectRefusesOtherVersions()
    {
        QFETCH(QString, version);
        const QString path = Touch(m_dir, QStringLiteral("v.tvrl"), QByteArray());
        m_window->NewProject(path);
        QVERIFY(Current()->SetGeneralData(QStringLiteral("Version"), version));
        QVERIFY(m_window->SaveProject());
        JobIDManager = Quolix_IDManager(7, 1);
        QVERIFY(!m_window->OpenProject(path));
        QVERIFY(!Current());
        QCOMPARE(JobIDManager.LastID(), 7);
    }

    void openProjectRefusals()
    {
        QVERIFY(!m_window->OpenProject(QString()));
        const QString garbage = Touch(m_dir, QStringLiteral("g.tvrl"), "not a database");
        QVERIFY(!m_window->OpenProject(garbage));
        QVERIFY(!Current());
        const QString empty = Touch(m_dir, QStringLiteral("e.tvrl"), QByteArray());
        QVERIFY(!m_window->OpenProject(empty));
    }

    // A negative or unreadable "LastJobID" leaves the id sequence alone.
    void lastJobIDSeed_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("lastID");
        QTest::newRow("0") << "0" << 0;
        QTest::newRow("41") << "41" << 41;
        QTest::newRow("negative") << "-5" << 9;
        QTest::newRow("text") << "x" << 9;
        QTest::newRow("far negative") << "-99999999999" << 9;
        QTest::newRow("sign and blanks") << " +41 " << 41;
        QTest::newRow("room for one") << "2147483646" << 2147483646;
    }

    void lastJobIDSeed()
    {
        QFETCH(QString, stored);
        QFETCH(int, lastID);
        const QString path = Touch(m_dir, QStringLiteral("id.tvrl"), QByteArray());
        m_window->NewProject(path);
        QVERIFY(Current()->SetGeneralData(QStringLiteral("LastJobID"), stored));
        QVERIFY(m_window->SaveProject());
        JobIDManager = Quolix_IDManager(9, 1);
        QVERIFY(m_window->OpenProject(path));
        QCOMPARE(JobIDManager.LastID(), lastID);
    }

    // A "LastJobID" that leaves no id to hand out refuses the project, the
    // same way as another "Version": silently, with nothing opened, the id
    // sequence untouched and the file not made recent.
    void openProjectRefusesLastJobIDWithoutRoom_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::newRow("largest int") << "2147483647";
        QTest::newRow("above int") << "2147483648";
        QTest::newRow("above 32 bits") << "4294967297";
        QTest::newRow("beyond 64 bits") << "99999999999999999999999";
        QTest::newRow("with sign and blanks") << " +2147483647 ";
    }

    void openProjectRefusesLastJobIDWithoutRoom()
    {
        QFETCH(QString, stored);
        const QString path = Touch(m_dir, QStringLiteral("full-ids.tvrl"), QByteArray());
        m_window->NewProject(path);
        QVERIFY(Current()->SetGeneralData(QStringLiteral("LastJobID"), stored));
        QVERIFY(m_window->SaveProject());
        Tavrol_Settings().clear();
        JobIDManager = Quolix_IDManager(7, 1);
        QVERIFY(!m_window->OpenProject(path));
        QVERIFY(!Current());
        QCOMPARE(JobIDManager.LastID(), 7);
        QCOMPARE(RecentProjects(), QStringList());
    }

    // The last id an int holds is still handed out; after it come no more.
    void lastJobIDLeavingOneIdOpensAndNeverWraps()
    {
        const QString path = Touch(m_dir, QStringLiteral("one-left.tvrl"), QByteArray());
        m_window->NewProject(path);
        QVERIFY(Current()->SetGeneralData(QStringLiteral("LastJobID"), "2147483646"));
        QVERIFY(m_window->SaveProject());
        QVERIFY(m_window->OpenProject(path));
        m_window->QueuelessJobsView()->AddJobFromFile(m_slowInput, 1);
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 1);
        QCOMPARE(m_window->QueuelessJobsView()->List().JobAt(0)->JobID, 2147483647);
        QString lastJobID;
        QVERIFY(Current()->GetGeneralData(QStringLiteral("LastJobID"), lastJobID));
        QCOMPARE(lastJobID, QStringLiteral("2147483647"));
        QCOMPARE(JobIDManager.NewID(), -1);
    }

    // Every save ends with a fresh load of the file just written.
    void saveReloadsTheFile()
    {
        const QString path = Touch(m_dir, QStringLiteral("s.tvrl"), QByteArray());
        m_window->NewProject(path);
        Tavrol_Database* before = Current();
        before->Modified = true;
        QVERIFY(m_window->SaveProject());
        QVERIFY(Current());
        QCOMPARE(Current()->FilePath, path);
        QVERIFY(!Current()->Modified);
        QCOMPARE(Stored(QStringLiteral("Version")), QStringLiteral("2"));
        QCOMPARE(Caption(*m_window), QStringLiteral("TavrolConsole 1.1.15, ") + path);
        QCOMPARE(RecentProjects(), QStringList{path});
        QCOMPARE(Tavrol_Database_Manager::Instance()->Databases().size(), size_t(1));
    }

    // The console cannot name a file: an unnamed project, or one whose file
    // has vanished, cannot be saved there.
    void saveWithoutAFileFailsInTheConsole()
    {
        QVERIFY(!m_window->SaveProject());
        m_window->NewProject(QString());
        QVERIFY(!m_window->SaveProject());
        m_window->NewProject(m_dir.filePath(QStringLiteral("never-made.tvrl")));
        QVERIFY(!m_window->SaveProject());
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("never-made.tvrl"))));
        QVERIFY(!m_window->SaveProjectAs());
    }

    void saveIfModified_data()
    {
        QTest::addColumn<bool>("named");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("result");
        QTest::newRow("unnamed yes") << false << QByteArray("yes\n") << 2;
        QTest::newRow("unnamed no") << false << QByteArray("NO\n") << 1;
        QTest::newRow("unnamed other") << false << QByteArray("cancel\n") << 2;
        QTest::newRow("named yes") << true << QByteArray("  Yes \n") << 0;
        QTest::newRow("named no") << true << QByteArray("no\n") << 1;
        QTest::newRow("named y") << true << QByteArray("y\n") << 2;
    }

    void saveIfModified()
    {
        QFETCH(bool, named);
        QFETCH(QByteArray, answer);
        QFETCH(int, result);
        const QString path = Touch(m_dir, QStringLiteral("q.tvrl"), QByteArray());
        m_window->NewProject(named ? path : QString());
        QCOMPARE(m_window->SaveIfModified(), 1); // unchanged: nothing is asked
        Current()->Modified = true;
        Answer(answer + "next line\n");
        QCOMPARE(m_window->SaveIfModified(), result);
        QString following;
        Tavrol_Console_Worker::ReadConsoleLine(following);
        QCOMPARE(following, QStringLiteral("next line"));
        QCOMPARE(QFile(path).size() > 0, result == 0);
    }

    // A database of another kind gets no question, but a line is read.
    void saveIfModifiedReadsALineForOtherKinds()
    {
        Tavrol_Database* database = Tavrol_Database_Manager::Instance()->GetDatabase(
            MySQL, m_dir.filePath(QStringLiteral("server")), true);
        QVERIFY(database);
        database->Modified = true;
        Answer("no\nnext line\n");
        QCOMPARE(m_window->SaveIfModified(), 1);
        QString following;
        Tavrol_Console_Worker::ReadConsoleLine(following);
        QCOMPARE(following, QStringLiteral("next line"));
    }

    // With no database every view is emptied, and so is the job type list.
    void reloadsWithoutADatabase()
    {
        const QString path = MakeProject(QStringLiteral("r.tvrl"));
        QVERIFY(!path.isEmpty());
        Tavrol_Database_Manager::Instance()->CloseAll(); // the killed jobs changed it
        QVERIFY(m_window->OpenProject(path));
        Tavrol_Database_Manager::Instance()->CloseAll();
        m_window->ReloadLongQueue();
        m_window->ReloadShortQueue();
        m_window->ReloadFinishedJobs();
        m_window->ReloadJobTypes();
        m_window->ReloadQueuelessList();
        QCOMPARE(m_window->LongJobsView()->Queue().Count(), 0);
        QCOMPARE(m_window->FinishedJobsView()->FinishedJobs().size(), size_t(0));
        QCOMPARE(m_window->JobTypesView()->JobTypes().size(), size_t(0));
        std::vector<Tavrol_JobType> jobTypes;
        Tavrol_JobType::GetAll(jobTypes);
        QCOMPARE(jobTypes.size(), size_t(0));
    }
};

QTEST_MAIN(TestProjectFiles)
#include "tst_projectfiles.moc"
