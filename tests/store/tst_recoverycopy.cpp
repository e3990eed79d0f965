#include "store/database.h"
#include "store/database_manager.h"
#include "store/recoverycopy.h"
#include "store/safesave.h"

#include "storetesthelpers.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace StoreTest;

namespace {

Tavrol_Database* NewProject(const QString& filePath)
{
    Tavrol_Database* database = NewProjectDatabase();
    if (!database)
        return nullptr;
    database->SetGeneralData(QStringLiteral("Version"), QStringLiteral("2"));
    database->FilePath = filePath;
    database->Modified = false;
    return database;
}

QString StoredValue(const QString& copyPath, const QString& name)
{
    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    manager->CloseAll();
    Tavrol_Database* loaded = OpenMemoryDatabase();
    QString value;
    if (loaded && manager->LoadFromFile(copyPath, loaded))
        loaded->GetGeneralData(name, value);
    manager->CloseAll();
    return value;
}

} // namespace

class TestRecoveryCopy : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_state.isValid());
        qputenv("XDG_STATE_HOME", QFile::encodeName(m_state.path()));
    }

    void cleanup()
    {
        Tavrol_Database_Manager::Instance()->CloseAll();
        QDir(Tavrol_RecoveryCopy::Directory()).removeRecursively();
    }

    void copiesLiveUnderTheStateDirectory()
    {
        QCOMPARE(Tavrol_RecoveryCopy::Directory(),
                 m_state.path() + QStringLiteral("/tavrol/recovery"));
        QCOMPARE(Tavrol_RecoveryCopy::PathFor(QString()),
                 Tavrol_RecoveryCopy::Directory() + QStringLiteral("/unnamed.tvrl"));
        const QString named = Tavrol_RecoveryCopy::PathFor(QStringLiteral("/tmp/a/water.tvrl"));
        QVERIFY(named.startsWith(Tavrol_RecoveryCopy::Directory() + QLatin1Char('/')));
        QCOMPARE(QFileInfo(named).fileName().size(), 16 + 5);
        QVERIFY(named != Tavrol_RecoveryCopy::PathFor(QStringLiteral("/tmp/b/water.tvrl")));
        QCOMPARE(Tavrol_RecoveryCopy::PathFor(QStringLiteral("/tmp/a/../a/water.tvrl")), named);
    }

    void theStateHomeDefaultsToTheHomeDirectory()
    {
        const QByteArray kept = qgetenv("XDG_STATE_HOME");
        qunsetenv("XDG_STATE_HOME");
        const QString directory = Tavrol_RecoveryCopy::Directory();
        qputenv("XDG_STATE_HOME", kept);
        QCOMPARE(directory, QDir::homePath() + QStringLiteral("/.local/state/tavrol/recovery"));
    }

    void aSecondClaimWaitsForTheFirstToEnd()
    {
        auto first = std::make_unique<Tavrol_RecoveryCopy>();
        QVERIFY(first->Claim(QStringLiteral("/tmp/x.tvrl")));
        Tavrol_RecoveryCopy second;
        QVERIFY(!second.Claim(QStringLiteral("/tmp/x.tvrl")));
        QVERIFY(!second.Claimed());
        QVERIFY(second.Claim(QStringLiteral("/tmp/y.tvrl")));
        first.reset();
        QVERIFY(second.Claim(QStringLiteral("/tmp/x.tvrl")));
    }

    void aChangeReachesTheCopyWithinSeconds()
    {
        QTemporaryDir dir;
        const QString projectPath = dir.filePath(QStringLiteral("p.tvrl"));
        Tavrol_Database* database = NewProject(projectPath);
        QVERIFY(database);
        Tavrol_RecoveryCopy copy;
        QVERIFY(copy.Claim(projectPath));
        QVERIFY(!copy.HasCopy());
        copy.Watch();
        QSignalSpy written(&copy, &Tavrol_RecoveryCopy::CopyWrittenSignal);
        QElapsedTimer clock;
        clock.start();
        for (int change = 0; change < 20; ++change)
            QVERIFY(database->SetGeneralData(QStringLiteral("LastJobID"), QString::number(change)));
        QVERIFY(written.wait(10000));
        // Twenty commits, one write, after the coalescing delay.
        QVERIFY(clock.elapsed() >= 1900);
        QCOMPARE(copy.WriteCount(), 1);
        QVERIFY(copy.HasCopy());
        QCOMPARE(Tavrol_SafeSave::Examine(copy.CopyPath()), Tavrol_PathContent::TavrolProject);
        QVERIFY(!written.wait(3000)); // nothing changed since
        QCOMPARE(StoredValue(copy.CopyPath(), QStringLiteral("LastJobID")), QStringLiteral("19"));
        QVERIFY(copy.HasCopy());
    }

    void anUnmodifiedProjectHasNoCopy()
    {
        Tavrol_Database* database = NewProject(QString());
        Tavrol_RecoveryCopy copy;
        QVERIFY(copy.Claim(QString()));
        database->Modified = true;
        copy.WriteNow();
        QVERIFY(copy.HasCopy());
        QCOMPARE(copy.CopyPath(), Tavrol_RecoveryCopy::PathFor(QString()));
        database->Modified = false; // saved meanwhile
        copy.WriteNow();
        QVERIFY(!copy.HasCopy());
    }

    void aNewFilePathMovesTheCopy()
    {
        QTemporaryDir dir;
        Tavrol_Database* database = NewProject(QString());
        database->Modified = true;
        Tavrol_RecoveryCopy copy;
        QVERIFY(copy.Claim(QString()));
        copy.WriteNow();
        const QString unnamed = copy.CopyPath();
        QVERIFY(QFile::exists(unnamed));
        database->FilePath = dir.filePath(QStringLiteral("named.tvrl"));
        copy.WriteNow();
        QVERIFY(!QFile::exists(unnamed));
        QCOMPARE(copy.CopyPath(), Tavrol_RecoveryCopy::PathFor(database->FilePath));
        QVERIFY(copy.HasCopy());
    }

    void finishRemovesTheCopyAndDestructionKeepsIt()
    {
        Tavrol_Database* database = NewProject(QString());
        database->Modified = true;
        QString path;
        {
            Tavrol_RecoveryCopy copy;
            QVERIFY(copy.Claim(QString()));
            copy.WriteNow();
            path = copy.CopyPath();
        }
        QVERIFY(QFile::exists(path));
        Tavrol_RecoveryCopy again;
        QVERIFY(again.Claim(QString()));
        QVERIFY(again.HasCopy());
        again.Finish();
        QVERIFY(!QFile::exists(path));
        QVERIFY(!again.Claimed());
    }

private:
    QTemporaryDir m_state;
};

QTEST_MAIN(TestRecoveryCopy)
#include "tst_recoverycopy.moc"
