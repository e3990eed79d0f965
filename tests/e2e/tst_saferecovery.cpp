// Nothing lost, with the real program in the console: a file that is no
// project survives a save as a backup, a save that fails is reported and
// keeps the project, and a killed process leaves a recovery copy that the
// next start offers.

#include "consolesession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>
#include <QUuid>

#include <memory>

#include <unistd.h>

using E2E::ConsoleSession;
using E2E::ExitQuestion;
using E2E::Home;
using E2E::Prompt;
using E2E::SaveUnnamedQuestion;

namespace {

const QString Caption = QStringLiteral("TavrolConsole 1.1.15");
const QString EnterJobType = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString EnterInputFile = QStringLiteral("\n<Tavrol> Enter Input File:  ");
const QString SaveNamedQuestion =
    QStringLiteral("\n<Tavrol> Save Changes Made to Current Project Before Closing it?  ");
const QString RecoveryQuestion =
    QStringLiteral("\n<Tavrol> Recover the Changes Kept When Tavrol Last Ended Unexpectedly?  ");
const QByteArray GaussianInput = "%chk=water\n#p hf/sto-3g\n\nwater\n\n0 1\nO\nH 1 0.96\n\n";
constexpr int CrashJobs = 50;

QByteArray ReadBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString RecoveryDirectory(const Home& home)
{
    return home.File(QStringLiteral(".local/state/tavrol/recovery"));
}

QStringList RecoveryCopies(const Home& home)
{
    return QDir(RecoveryDirectory(home))
        .entryList({QStringLiteral("*.tvrl")}, QDir::Files | QDir::Hidden);
}

// Rows of the finished jobs table of a project file; -1 when unreadable.
int FinishedRows(const QString& path)
{
    const QString connection = QUuid::createUuid().toString();
    int rows = -1;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(path);
        database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (database.open()) {
            QSqlQuery query(database);
            if (query.exec(QStringLiteral("SELECT COUNT(*) FROM FinishedJobs")) && query.next())
                rows = query.value(0).toInt();
        }
        database.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return rows;
}

// The numbered rows of a finished jobs listing.
int ListedJobs(const QString& listing, const QString& status)
{
    static const QRegularExpression row(QStringLiteral("\n[0-9]+ +\\S+ +(\\S+) "));
    int count = 0;
    for (auto match = row.globalMatch(listing); match.hasNext();) {
        if (match.next().captured(1) == status)
            ++count;
    }
    return count;
}

} // namespace

class TestSafeRecovery : public QObject
{
    Q_OBJECT

private:
    static std::unique_ptr<ConsoleSession> Start(const Home& home, const QStringList& arguments,
                                                 QString* greeting)
    {
        auto session = std::make_unique<ConsoleSession>(home.Environment(true));
        if (!session->Start(arguments, home.Path()))
            return nullptr;
        *greeting = session->WaitForFirstPrompt();
        return session;
    }

    static void AddJob(ConsoleSession& session, const QString& inputFile)
    {
        QCOMPARE(session.Send(QStringLiteral("add long job"), EnterJobType), QString());
        QCOMPARE(session.Send(QStringLiteral("Gaussian"), EnterInputFile), QString());
        QCOMPARE(session.Send(inputFile), QString());
    }

    static bool WaitForFinished(ConsoleSession& session, int count, QString* listing = nullptr)
    {
        for (int attempt = 0; attempt < 300; ++attempt) {
            const QString text = session.Send(QStringLiteral("list finished jobs"));
            if (ListedJobs(text, QStringLiteral("Completed")) >= count) {
                if (listing)
                    *listing = text;
                return true;
            }
            session.Pause(200);
        }
        return false;
    }

    // Waits until the home's one recovery copy holds count finished jobs.
    static bool WaitForCopy(ConsoleSession& session, const Home& home, int count)
    {
        for (int attempt = 0; attempt < 150; ++attempt) {
            const QStringList copies = RecoveryCopies(home);
            if (copies.size() == 1 &&
                FinishedRows(RecoveryDirectory(home) + QLatin1Char('/') + copies.first()) == count)
                return true;
            session.Pause(100);
        }
        return false;
    }

    // An unnamed project with count finished jobs, in a process killed with
    // signal 9 once its recovery copy holds them all.
    void CrashAfterJobs(const Home& home, int count)
    {
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "water\n");
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Caption + QStringLiteral(", Unsaved Project\n\n") + Prompt);
        for (int job = 0; job < count; ++job)
            AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, count));
        QVERIFY(WaitForCopy(*session, home, count));
        ::kill(static_cast<pid_t>(session->ProcessId()), SIGKILL);
        int exitCode = 0;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, -1);
        QCOMPARE(RecoveryCopies(home).size(), 1);
    }

    // Ends a session through quit, with answers to the questions that come.
    static void Quit(ConsoleSession& session, const QString& saveQuestion, const QString& answer)
    {
        QCOMPARE(session.Send(QStringLiteral("quit"), ExitQuestion), QString());
        if (saveQuestion.isEmpty()) {
            session.Write(QStringLiteral("yes"));
        } else {
            QCOMPARE(session.Send(QStringLiteral("yes"), saveQuestion), QString());
            session.Write(answer);
        }
        int exitCode = -1;
        QVERIFY(session.WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
    }

    // A save that fails: the one line, the prompt again, the job still
    // there, and an exit only with "no".
    static void SaveFailsAndProjectStays(ConsoleSession& session, const QString& path,
                                         const QString& problem)
    {
        QCOMPARE(session.Send(QStringLiteral("quit"), ExitQuestion), QString());
        QCOMPARE(session.Send(QStringLiteral("yes"), SaveNamedQuestion), QString());
        QCOMPARE(session.Send(QStringLiteral("yes")),
                 QStringLiteral("<Tavrol> The project could not be saved to ") + path +
                     QStringLiteral(" (") + problem +
                     QStringLiteral("); it stays open, nothing was lost.\n\n"));
        QVERIFY(session.IsRunning());
        QString listing;
        QVERIFY(WaitForFinished(session, 1, &listing));
        QCOMPARE(ListedJobs(listing, QStringLiteral("Completed")), 1);
        Quit(session, SaveNamedQuestion, QStringLiteral("no"));
    }

private slots:
    void aGaussianInputNamedAsProjectIsKeptAsBackup()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("mine.gjf")), GaussianInput);
        const QString path = QFileInfo(input).absoluteFilePath();
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console"), input}, &greeting);
        QVERIFY(session);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        QCOMPARE(session->Send(QStringLiteral("quit"), ExitQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("yes"), SaveNamedQuestion), QString());
        session->Write(QStringLiteral("yes"));
        int exitCode = -1;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread().trimmed(),
                 QStringLiteral("<Tavrol> The file was not a Tavrol project; it is kept as ") +
                     path + QStringLiteral(".bak"));
        QCOMPARE(ReadBytes(path + QStringLiteral(".bak")), GaussianInput);
        QCOMPARE(ReadBytes(path).left(16), QByteArray("SQLite format 3", 16));
        QCOMPARE(FinishedRows(path), 1);
        QCOMPARE(RecoveryCopies(home), QStringList());

        // The project reopens with its job; a second save needs no backup.
        session = Start(home, {QStringLiteral("-console"), input}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Caption + QStringLiteral(", ") + path + QStringLiteral("\n\n") + Prompt);
        QString listing;
        QVERIFY(WaitForFinished(*session, 1, &listing));
        QVERIFY2(
            listing.contains(QRegularExpression(QStringLiteral("\n1 +mine\\.gjf +Completed "))),
            qPrintable(listing));
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 2));
        Quit(*session, SaveNamedQuestion, QStringLiteral("yes"));
        QCOMPARE(FinishedRows(path), 2);
        QVERIFY(!QFile::exists(path + QStringLiteral(".bak.1")));
        QCOMPARE(ReadBytes(path + QStringLiteral(".bak")), GaussianInput);
    }

    void aSaveOntoAReadOnlyFileIsReportedAndTheProjectKept()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("ro.gjf")), GaussianInput);
        const QString path = QFileInfo(input).absoluteFilePath();
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console"), input}, &greeting);
        QVERIFY(session);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup));
        SaveFailsAndProjectStays(*session, path, QStringLiteral("the file is read-only"));
        QCOMPARE(ReadBytes(path), GaussianInput);
        QVERIFY(!QFile::exists(path + QStringLiteral(".bak")));
    }

    void aSaveIntoAReadOnlyDirectoryIsReportedAndTheProjectKept()
    {
        if (geteuid() == 0)
            QSKIP("root writes into read-only directories; the file and the full file system "
                  "cases cover it");
        Home home;
        QVERIFY(QDir(home.Path()).mkpath(QStringLiteral("locked")));
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("locked/mine.gjf")), GaussianInput);
        const QString path = QFileInfo(input).absoluteFilePath();
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console"), input}, &greeting);
        QVERIFY(session);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        const QString locked = home.File(QStringLiteral("locked"));
        QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner));
        SaveFailsAndProjectStays(*session, path, QStringLiteral("Permission denied"));
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(ReadBytes(path), GaussianInput);
    }

    void aSaveOntoAFullFileSystemIsReportedAndTheProjectKept()
    {
        if (geteuid() != 0)
            QSKIP("only root mounts a small file system; the read-only cases cover it");
        Home home;
        const QString mountPoint = home.File(QStringLiteral("small"));
        QVERIFY(QDir(home.Path()).mkpath(QStringLiteral("small")));
        QProcess mount;
        mount.start(QStringLiteral("mount"),
                    {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                     QStringLiteral("size=64k"), QStringLiteral("tmpfs"), mountPoint});
        if (!mount.waitForFinished(30000) || mount.exitStatus() != QProcess::NormalExit ||
            mount.exitCode() != 0)
            QSKIP("no tmpfs can be mounted here; the read-only file case covers it");
        const auto unmount = qScopeGuard(
            [&mountPoint] { QProcess::execute(QStringLiteral("umount"), {mountPoint}); });
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("small/mine.gjf")), GaussianInput);
        const QString path = QFileInfo(input).absoluteFilePath();
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console"), input}, &greeting);
        QVERIFY(session);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        // The project no longer fits beside what the file system holds.
        QVERIFY(
            !E2E::WriteFile(home.File(QStringLiteral("small/filler")), QByteArray(40 * 1024, 'x'))
                 .isEmpty());
        SaveFailsAndProjectStays(*session, path, QStringLiteral("database or disk is full"));
        QCOMPARE(ReadBytes(path), GaussianInput);
        // Neither a temporary file nor a backup is left.
        QCOMPARE(QDir(mountPoint)
                     .entryList({QStringLiteral(".*"), QStringLiteral("*.bak*")},
                                QDir::Files | QDir::Hidden),
                 QStringList());
    }

    void aKilledProcessIsRecoveredWithEveryFinishedJob()
    {
        Home home;
        CrashAfterJobs(home, CrashJobs);
        if (QTest::currentTestFailed())
            return;
        auto session = std::make_unique<ConsoleSession>(home.Environment(true));
        QVERIFY(session->Start({QStringLiteral("-console")}, home.Path()));
        QCOMPARE(session->WaitForEnding(RecoveryQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("yes")),
                 Caption + QStringLiteral(", Unsaved Project\n\n"));
        QString listing;
        QVERIFY(WaitForFinished(*session, CrashJobs, &listing));
        QCOMPARE(ListedJobs(listing, QStringLiteral("Completed")), CrashJobs);
        for (int job = 1; job <= CrashJobs; ++job)
            QVERIFY2(listing.contains(QRegularExpression(
                         QStringLiteral("\n%1 +water\\.gjf +Completed ").arg(job))),
                     qPrintable(QString::number(job)));
        // Recovered means modified: the save question comes at exit.
        Quit(*session, SaveUnnamedQuestion, QStringLiteral("no"));
        QCOMPARE(RecoveryCopies(home), QStringList());
    }

    void noToRecoveryStartsAsBeforeAndDropsTheCopy()
    {
        Home home;
        CrashAfterJobs(home, 2);
        if (QTest::currentTestFailed())
            return;
        auto session = std::make_unique<ConsoleSession>(home.Environment(true));
        QVERIFY(session->Start({QStringLiteral("-console")}, home.Path()));
        QCOMPARE(session->WaitForEnding(RecoveryQuestion), QString());
        // As a start without a copy: a new project with the default job types.
        QCOMPARE(session->Send(QStringLiteral("no")),
                 Caption + QStringLiteral(", Unsaved Project\n\n"));
        QCOMPARE(RecoveryCopies(home), QStringList());
        const QString listing = session->Send(QStringLiteral("list finished jobs"));
        QCOMPARE(ListedJobs(listing, QStringLiteral("Completed")), 0);
        Quit(*session, QString(), QString());

        // Nothing is offered again.
        QString greeting;
        session = Start(home, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Caption + QStringLiteral(", Unsaved Project\n\n") + Prompt);
        Quit(*session, QString(), QString());
    }

    void aNormalExitLeavesNoCopy()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "water\n");
        QString greeting;
        auto session = Start(home, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        QVERIFY(WaitForCopy(*session, home, 1));
        Quit(*session, SaveUnnamedQuestion, QStringLiteral("no"));
        QCOMPARE(RecoveryCopies(home), QStringList());
    }

    void noRecoveryOptionAndSettingWriteNoCopy_data()
    {
        QTest::addColumn<bool>("byOption");
        QTest::newRow("-norecovery") << true;
        QTest::newRow("setting") << false;
    }

    void noRecoveryOptionAndSettingWriteNoCopy()
    {
        QFETCH(bool, byOption);
        Home home;
        QStringList arguments{QStringLiteral("-console")};
        if (byOption) {
            arguments.append(QStringLiteral("-norecovery"));
        } else {
            QSettings settings(home.File(QStringLiteral(".config/Zendara, Inc./Tavrol.conf")),
                               QSettings::IniFormat);
            settings.setValue(QStringLiteral("1/Recovery/Copies"), false);
        }
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "water\n");
        QString greeting;
        auto session = Start(home, arguments, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Caption + QStringLiteral(", Unsaved Project\n\n") + Prompt);
        AddJob(*session, input);
        QVERIFY(WaitForFinished(*session, 1));
        // Well past the moment a copy would have been written.
        session->Pause(5000);
        QCOMPARE(RecoveryCopies(home), QStringList());
        session->Kill();

        // Killed without a copy: the next start offers nothing.
        session = Start(home, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Caption + QStringLiteral(", Unsaved Project\n\n") + Prompt);
        Quit(*session, QString(), QString());
    }
};

QTEST_GUILESS_MAIN(TestSafeRecovery)
#include "tst_saferecovery.moc"
