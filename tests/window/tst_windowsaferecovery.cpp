// The window's side of safe saves and recovery copies: the message box that
// names a backup, the one of a failed save, and the question that offers a
// recovery copy at start, with what each answer does.

#include "windowboxes.h"

#include "app/globals.h"
#include "app/settings.h"
#include "jobtypes/jobtype.h"
#include "platform/error.h"
#include "processes/finishedjobswidget.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"
#include "store/safesave.h"
#include "testsupport.h"
#include "window/appwindow.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

const QByteArray GaussianInput = "%chk=water\n#p hf/sto-3g\n\nwater\n\n0 1\nO\nH 1 0.96\n\n";

QByteArray ReadBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Tavrol_Database* Current()
{
    return Tavrol_Database_Manager::Current();
}

// A recovery copy of an unnamed project that has "LastJobID" 7 and one
// queueless job, as a killed process leaves it.
bool LeaveRecoveryCopy()
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (!database || !database->Open() || !database->CreateTables())
        return false;
    database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    database->SetGeneralData(QStringLiteral("LastJobID"), QStringLiteral("7"));
    database->AddQueue(QStringLiteral("Long"), 1, nullptr);
    database->AddQueue(QStringLiteral("Short"), 1, nullptr);
    Tavrol_JobType::AddDefaults();
    const std::vector<Tavrol_JobType> jobTypes = database->LoadJobTypes();
    if (jobTypes.empty())
        return false;
    const Tavrol_JobType& jobType = jobTypes.front();
    Tavrol_Job job(QStringLiteral("water.gjf"), jobType, QStringLiteral("TavrolGUI"),
                   QStringLiteral("TavrolGUI"), QStringLiteral("127.0.0.1"), -1, -1, -1, 2,
                   QStringLiteral("None"), QStringLiteral("/tmp/water.gjf"), QString(), 7,
                   QString());
    job.Status = JobStatusRunning;
    int id = -1;
    if (!database->AddQueuelessJob(job, true, &id))
        return false;
    QDir().mkpath(Tavrol_RecoveryCopy::Directory());
    const Tavrol_SafeSaveResult result =
        Tavrol_SafeSave::SaveDatabase(database, Tavrol_RecoveryCopy::PathFor(QString()));
    if (!result.Saved)
        qWarning("no recovery copy: %s", qPrintable(result.Problem));
    const bool written = result.Saved;
    manager->CloseAll();
    return written;
}

} // namespace

class TestWindowSafeRecovery : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        qputenv("XDG_STATE_HOME", QFile::encodeName(m_state.path()));
    }

    void init()
    {
        Tavrol_Settings().clear();
        StartupFilePath.clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
        m_window = std::make_unique<Tavrol_AppWindow>();
        TavrolAppWindow = m_window.get();
    }

    void cleanup()
    {
        m_window.reset();
        TavrolAppWindow = nullptr;
        Tavrol_Database_Manager::Instance()->CloseAll();
        QDir(Tavrol_RecoveryCopy::Directory()).removeRecursively();
    }

    void aBackupIsNamedInAMessageBox()
    {
        QVERIFY(m_window->Start());
        const QString input =
            TestSupport::WrittenFile(m_dir.filePath(QStringLiteral("mine.gjf")), GaussianInput);
        Current()->FilePath = input;
        Current()->Modified = true;
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Ok);
        QCOMPARE(m_window->SaveIfModified(), int(Tavrol_AppWindow::ProjectSaved));
        QCOMPARE(answerer.Seen().size(), 2);
        const SeenBox& box = answerer.Seen()[1];
        QCOMPARE(box.title, QStringLiteral("Saving a Tavrol Project File"));
        QCOMPARE(box.text, QStringLiteral("The file was not a Tavrol project. It is kept as:\n\n") +
                               input + QStringLiteral(".bak"));
        QCOMPARE(box.icon, QMessageBox::Information);
        QCOMPARE(ReadBytes(input + QStringLiteral(".bak")), GaussianInput);
        QCOMPARE(Tavrol_SafeSave::Examine(input), Tavrol_PathContent::TavrolProject);
        QVERIFY(!Current()->Modified);
    }

    void aFailedSaveIsShownAndTheProjectKept()
    {
        QVERIFY(m_window->Start());
        const QString input =
            TestSupport::WrittenFile(m_dir.filePath(QStringLiteral("ro.gjf")), GaussianInput);
        QVERIFY(QFile::setPermissions(input, QFile::ReadOwner));
        Tavrol_Database* before = Current();
        before->FilePath = input;
        before->SetGeneralData(QStringLiteral("LastJobID"), QStringLiteral("12"));
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        answerer.Queue(QMessageBox::Ok);
        QCOMPARE(m_window->SaveIfModified(), int(Tavrol_AppWindow::ProjectSaveCancelled));
        QCOMPARE(answerer.Seen().size(), 2);
        const SeenBox& box = answerer.Seen()[1];
        QCOMPARE(box.title, QStringLiteral("Saving a Tavrol Project File"));
        QCOMPARE(box.text, QStringLiteral("The project could not be saved to:\n\n") + input +
                               QStringLiteral("\n\n(the file is read-only)\n\nThe project stays "
                                              "open: nothing was lost."));
        QCOMPARE(box.icon, QMessageBox::Warning);
        QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        // The same memory project, still modified, with its change.
        QCOMPARE(Current(), before);
        QVERIFY(Current()->Modified);
        QString lastJobID;
        QVERIFY(Current()->GetGeneralData(QStringLiteral("LastJobID"), lastJobID));
        QCOMPARE(lastJobID, QStringLiteral("12"));
        QCOMPARE(ReadBytes(input), GaussianInput);
    }

    void aSaveRemovesTheCopy()
    {
        QVERIFY(m_window->Start());
        Tavrol_RecoveryCopy* copy = m_window->RecoveryCopy();
        QVERIFY(copy);
        Current()->Modified = true;
        copy->WriteNow();
        const QString unnamed = Tavrol_RecoveryCopy::PathFor(QString());
        QVERIFY(QFile::exists(unnamed));
        const QString path = m_dir.filePath(QStringLiteral("saved.tvrl"));
        QVERIFY(m_window->WriteProject(path));
        QVERIFY(!QFile::exists(unnamed));
        QVERIFY(!QFile::exists(Tavrol_RecoveryCopy::PathFor(path)));
        QCOMPARE(copy->CopyPath(), Tavrol_RecoveryCopy::PathFor(path));
    }

    void yesRecoversTheCopyAsAModifiedProject()
    {
        QVERIFY(LeaveRecoveryCopy());
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        QVERIFY(m_window->Start());
        QCOMPARE(answerer.Seen().size(), 1);
        const SeenBox& box = answerer.Seen()[0];
        QCOMPARE(box.title, QStringLiteral("Recover Project?"));
        QCOMPARE(box.text,
                 QStringLiteral("Tavrol did not end normally the last time it worked on this "
                                "project, and a recovery copy of the project was kept.\n\nWould "
                                "you like to recover it?\n\nIf you choose No, the recovery copy "
                                "will be deleted."));
        QCOMPARE(box.icon, QMessageBox::Question);
        QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::No);
        QCOMPARE(box.defaultButton, QMessageBox::Yes);
        QVERIFY(Current());
        QVERIFY(Current()->Modified);
        QCOMPARE(Current()->FilePath, QString());
        // The queueless job that ran at the crash is a finished record now.
        const auto& finished = m_window->FinishedJobsView()->FinishedJobs();
        QCOMPARE(int(finished.size()), 1);
        QCOMPARE(finished.front().JobID, 7);
        QCOMPARE(finished.front().Status, JobStatusUnknown);
        QCOMPARE(int(Current()->LoadFinishedJobs().size()), 1);
        QVERIFY(Current()->LoadQueuelessJobs().empty());
        QCOMPARE(JobIDManager.LastID(), 7);
        QVERIFY(QFile::exists(Tavrol_RecoveryCopy::PathFor(QString())));
        m_window.reset(); // an orderly end
        QVERIFY(!QFile::exists(Tavrol_RecoveryCopy::PathFor(QString())));
    }

    void noDeletesTheCopyAndStartsAsBefore()
    {
        QVERIFY(LeaveRecoveryCopy());
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        QVERIFY(m_window->Start());
        QCOMPARE(answerer.Seen().size(), 1);
        QVERIFY(!QFile::exists(Tavrol_RecoveryCopy::PathFor(QString())));
        QVERIFY(Current());
        QVERIFY(!Current()->Modified);
        QVERIFY(m_window->FinishedJobsView()->FinishedJobs().empty());
    }

    void theSettingOffersNothing()
    {
        QVERIFY(LeaveRecoveryCopy());
        Tavrol_Settings().setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecoveryCopies),
                                   false);
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes); // would answer a question, were there one
        QVERIFY(m_window->Start());
        QVERIFY(m_window->FinishedJobsView()->FinishedJobs().empty());
        QCOMPARE(m_window->RecoveryCopy(), nullptr);
        QVERIFY(QFile::exists(Tavrol_RecoveryCopy::PathFor(QString())));
        QCOMPARE(answerer.Seen().size(), 0);
    }

private:
    QTemporaryDir m_dir;
    QTemporaryDir m_state;
    std::unique_ptr<Tavrol_AppWindow> m_window;
};

QTEST_MAIN(TestWindowSafeRecovery)
#include "tst_windowsaferecovery.moc"
