#include "store/database.h"
#include "store/database_manager.h"
#include "store/safesave.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

using namespace StoreTest;

namespace {

bool WriteBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray ReadBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const QByteArray GaussianInput = "%chk=water\n#p hf/sto-3g\n\nwater\n\n0 1\nO\nH 1 0.96\n\n";

// A project with its "Version" row, as a new project has.
Tavrol_Database* NewProject()
{
    Tavrol_Database* database = NewProjectDatabase();
    if (database)
        database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    return database;
}

} // namespace

class TestSafeSave : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { Tavrol_Database_Manager::Instance()->CloseAll(); }

    void examineTellsNothingProjectAndOtherFiles()
    {
        QTemporaryDir dir;
        const QString missing = dir.filePath(QStringLiteral("missing.tvrl"));
        QCOMPARE(Tavrol_SafeSave::Examine(missing), Tavrol_PathContent::Nothing);

        const QString input = dir.filePath(QStringLiteral("water.gjf"));
        QVERIFY(WriteBytes(input, GaussianInput));
        QCOMPARE(Tavrol_SafeSave::Examine(input), Tavrol_PathContent::OtherFile);

        const QString project = dir.filePath(QStringLiteral("p.tvrl"));
        QVERIFY(Tavrol_Database_Manager::Instance()->SaveToFile(NewProject(), project));
        QCOMPARE(Tavrol_SafeSave::Examine(project), Tavrol_PathContent::TavrolProject);

        // A database without the general data "Version" is no project.
        const QString foreign = dir.filePath(QStringLiteral("foreign.db"));
        sqlite3* handle = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(foreign).constData(), &handle), SQLITE_OK);
        QCOMPARE(sqlite3_exec(handle, "CREATE TABLE GeneralData (Name TEXT, DataStr TEXT);",
                              nullptr, nullptr, nullptr),
                 SQLITE_OK);
        sqlite3_close(handle);
        QCOMPARE(Tavrol_SafeSave::Examine(foreign), Tavrol_PathContent::OtherFile);

        QCOMPARE(Tavrol_SafeSave::Examine(dir.path()), Tavrol_PathContent::OtherFile);
    }

    void backupNamesCountUp()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("mine.gjf"));
        QCOMPARE(Tavrol_SafeSave::BackupPathFor(path), path + QStringLiteral(".bak"));
        QVERIFY(WriteBytes(path + QStringLiteral(".bak"), "a"));
        QCOMPARE(Tavrol_SafeSave::BackupPathFor(path), path + QStringLiteral(".bak.1"));
        QVERIFY(WriteBytes(path + QStringLiteral(".bak.1"), "b"));
        QCOMPARE(Tavrol_SafeSave::BackupPathFor(path), path + QStringLiteral(".bak.2"));
    }

    void aFileThatIsNoProjectIsKeptAsBackup()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("mine.gjf"));
        QVERIFY(WriteBytes(path, GaussianInput));
        QVERIFY(WriteBytes(path + QStringLiteral(".bak"), "older backup"));

        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(NewProject(), path);
        QVERIFY2(result.Saved, qPrintable(result.Problem));
        QCOMPARE(result.Problem, QString());
        QCOMPARE(result.BackupPath, path + QStringLiteral(".bak.1"));
        QCOMPARE(ReadBytes(path + QStringLiteral(".bak.1")), GaussianInput);
        QCOMPARE(ReadBytes(path + QStringLiteral(".bak")), QByteArray("older backup"));
        QCOMPARE(Tavrol_SafeSave::Examine(path), Tavrol_PathContent::TavrolProject);
        // No temporary file stays behind.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 QStringList({QStringLiteral("mine.gjf"), QStringLiteral("mine.gjf.bak"),
                              QStringLiteral("mine.gjf.bak.1")}));
    }

    void aProjectIsReplacedWithoutBackupAndKeepsItsMode()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("p.tvrl"));
        QVERIFY(Tavrol_Database_Manager::Instance()->SaveToFile(NewProject(), path));
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner |
                                                QFile::ReadGroup | QFile::ReadOther));
        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_Database* database = NewProject();
        QVERIFY(database->SetGeneralData(QStringLiteral("LastJobID"), QStringLiteral("41")));

        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(database, path);
        QVERIFY2(result.Saved, qPrintable(result.Problem));
        QCOMPARE(result.BackupPath, QString());
        QCOMPARE(QFile::permissions(path) & QFileDevice::Permissions(0x7077),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList(QStringLiteral("p.tvrl")));

        Tavrol_Database_Manager::Instance()->CloseAll();
        Tavrol_Database* loaded = OpenMemoryDatabase();
        QVERIFY(Tavrol_Database_Manager::Instance()->LoadFromFile(path, loaded));
        QString lastJobID;
        QVERIFY(loaded->GetGeneralData(QStringLiteral("LastJobID"), lastJobID));
        QCOMPARE(lastJobID, QStringLiteral("41"));
    }

    void aReadOnlyFileIsNotReplaced()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("mine.gjf"));
        QVERIFY(WriteBytes(path, GaussianInput));
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup));

        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(NewProject(), path);
        QVERIFY(!result.Saved);
        QCOMPARE(result.Problem, QStringLiteral("the file is read-only"));
        QCOMPARE(result.BackupPath, QString());
        QCOMPARE(ReadBytes(path), GaussianInput);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList(QStringLiteral("mine.gjf")));
    }

    void aReadOnlyDirectoryFailsAndLeavesTheFile()
    {
        if (geteuid() == 0)
            QSKIP("root writes into read-only directories");
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("p.tvrl"));
        QVERIFY(WriteBytes(path, GaussianInput));
        QVERIFY(QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner));
        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(NewProject(), path);
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(!result.Saved);
        QCOMPARE(result.Problem, QStringLiteral("Permission denied"));
        QCOMPARE(ReadBytes(path), GaussianInput);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList(QStringLiteral("p.tvrl")));
    }

    void aMissingDirectoryIsReported()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("gone/p.tvrl"));
        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(NewProject(), path);
        QVERIFY(!result.Saved);
        QCOMPARE(result.Problem, QStringLiteral("No such file or directory"));
    }

    void onlyMemoryDatabasesAreSaved()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("p.tvrl"));
        const Tavrol_SafeSaveResult result = Tavrol_SafeSave::SaveDatabase(nullptr, path);
        QVERIFY(!result.Saved);
        QCOMPARE(result.Problem, QStringLiteral("there is no project database to save"));
        QVERIFY(!QFile::exists(path));
    }
};

QTEST_MAIN(TestSafeSave)
#include "tst_safesave.moc"
