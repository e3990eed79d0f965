#include "platform/computerdata.h"
#include "platform/filesys.h"
#include "platform/idmanager.h"

#include "testsupport.h"

#include <QtTest>

#include <unistd.h>

class TestFileSys : public QObject
{
    Q_OBJECT

private slots:
    void setFileExtension()
    {
        QString path = QStringLiteral("/d/mol.gjf");
        Quolix_FileSys::SetFileExtension(path, QStringLiteral(".log"));
        QCOMPARE(path, QStringLiteral("/d/mol.log"));
        path = QStringLiteral("/d.dir/mol");
        Quolix_FileSys::SetFileExtension(path, QStringLiteral("log"));
        QCOMPARE(path, QStringLiteral("/d.dir/mol.log"));
        path = QStringLiteral("/d/mol.tar.gz");
        Quolix_FileSys::SetFileExtension(path, QStringLiteral(".fchk"));
        QCOMPARE(path, QStringLiteral("/d/mol.tar.fchk"));
    }

    void ombrixOutputExtensions()
    {
        QString path = QStringLiteral("/d/a.odat");
        Quolix_FileSys::SetFileExtension(path, Quolix_FileSys::OmbrixOutputFile, 0);
        QCOMPARE(path, QStringLiteral("/d/a.oout"));
        path = QStringLiteral("/d/a.dat");
        Quolix_FileSys::SetFileExtension(path, Quolix_FileSys::OmbrixOutputFile, 1);
        QCOMPARE(path, QStringLiteral("/d/a.out"));
        QVERIFY(Quolix_FileSys::IsNewOmbrixFileExtension(QStringLiteral("odat")));
        QVERIFY(Quolix_FileSys::IsNewOmbrixFileExtension(QStringLiteral("OOUT")));
        QVERIFY(!Quolix_FileSys::IsNewOmbrixFileExtension(QStringLiteral("dat")));
        QVERIFY(!Quolix_FileSys::IsNewOmbrixFileExtension(QStringLiteral("out")));
        QVERIFY(!Quolix_FileSys::IsNewOmbrixFileExtension(QString()));
    }

    void newFileNameNamesNoExistingFile()
    {
        QTemporaryDir dir;
        const QString first = Quolix_FileSys::NewFileName("freqchk", "inp", dir.path(), false);
        QCOMPARE(first, dir.filePath(QStringLiteral("freqchk.inp")));
        QVERIFY(!QFile::exists(first));
        QFile(first).open(QIODevice::WriteOnly);
        const QString second = Quolix_FileSys::NewFileName("freqchk", "inp", dir.path(), false);
        QCOMPARE(second, dir.filePath(QStringLiteral("freqchk_1.inp")));
    }

    void gaussianPathsFollowTheEnvironment()
    {
        const QByteArray saved = qgetenv("GAUSS_EXEDIR");
        const QString fixtures = TestSupport::FixturePath(QStringLiteral("gaussian/g16"));
        qputenv("GAUSS_EXEDIR", fixtures.toLocal8Bit() + ":/other/dir");
        QCOMPARE(Quolix_FileSys::GaussExeDirPath(), fixtures);
        QCOMPARE(Quolix_FileSys::GaussExePath(), fixtures + QStringLiteral("/g16"));

        qunsetenv("GAUSS_EXEDIR");
        qputenv("g16root", "/somewhere");
        QCOMPARE(Quolix_FileSys::GaussExeDirPath(), QStringLiteral("/somewhere/g16"));
        qunsetenv("g16root");
        qputenv("g09root", "/elsewhere");
        QCOMPARE(Quolix_FileSys::GaussExeDirPath(), QStringLiteral("/elsewhere/g09"));
        qunsetenv("g09root");
        qputenv("GAUSS_EXEDIR", saved);
    }

    void ombrixPathFollowsTheEnvironment()
    {
        const QByteArray saved = qgetenv("TAVROL_OMBRIX_EXE");
        qputenv("TAVROL_OMBRIX_EXE", "/x/ombrix");
        QCOMPARE(Quolix_FileSys::OmbrixExePath(), QStringLiteral("/x/ombrix"));
        qunsetenv("TAVROL_OMBRIX_EXE");
        QCOMPARE(Quolix_FileSys::OmbrixExePath(), QStringLiteral("/opt/ombrix/bin/ombrix"));
        qputenv("TAVROL_OMBRIX_EXE", saved);
    }

    void portsHaveDefaultsAndOverrides()
    {
        const QByteArray gui = qgetenv("TAVROL_GUI_PORT");
        const QByteArray console = qgetenv("TAVROL_CONSOLE_PORT");
        qunsetenv("TAVROL_GUI_PORT");
        qunsetenv("TAVROL_CONSOLE_PORT");
        QCOMPARE(Quolix_ComputerData::TavrolGUIPortNumber(), 24871);
        QCOMPARE(Quolix_ComputerData::TavrolConsolePortNumber(), 24872);
        qputenv("TAVROL_GUI_PORT", "40001");
        qputenv("TAVROL_CONSOLE_PORT", "not a port");
        QCOMPARE(Quolix_ComputerData::TavrolGUIPortNumber(), 40001);
        QCOMPARE(Quolix_ComputerData::TavrolConsolePortNumber(), 24872);
        qputenv("TAVROL_GUI_PORT", gui);
        qputenv("TAVROL_CONSOLE_PORT", console);
    }

    void idsAreTheRealOnes()
    {
        QCOMPARE(Quolix_ComputerData::UID(), int(getuid()));
        QCOMPARE(Quolix_ComputerData::GID(), int(getgid()));
    }

    void idManagerHandsOutNewIdsAndIsAssignable()
    {
        Quolix_IDManager manager(0, 1);
        QCOMPARE(manager.NewID(), 1);
        QCOMPARE(manager.NewID(), 2);
        manager = Quolix_IDManager(41, 1);
        QCOMPARE(manager.NewID(), 42);
        QCOMPARE(manager.LastID(), 42);
    }

    // At the top of the int range the manager gives -1 rather than wrap around
    // to negative ids, and stays where it is.
    void idManagerNeverWrapsAround()
    {
        Quolix_IDManager manager(2147483645, 1);
        QCOMPARE(manager.NewID(), 2147483646);
        QCOMPARE(manager.NewID(), 2147483647);
        QCOMPARE(manager.NewID(), -1);
        QCOMPARE(manager.NewID(), -1);
        QCOMPARE(manager.LastID(), 2147483647);
        Quolix_IDManager stepping(2147483600, 100);
        QCOMPARE(stepping.NewID(), -1);
        QCOMPARE(stepping.LastID(), 2147483600);
        Quolix_IDManager downwards(-2147483647, -1);
        QCOMPARE(downwards.NewID(), -2147483647 - 1);
        QCOMPARE(downwards.NewID(), -1);
        QCOMPARE(downwards.LastID(), -2147483647 - 1);
        // Below the top nothing changes, negative seeds included.
        Quolix_IDManager negative(-3, 1);
        QCOMPARE(negative.NewID(), -2);
        QCOMPARE(negative.NewID(), -1);
        QCOMPARE(negative.NewID(), 0);
    }
};

QTEST_GUILESS_MAIN(TestFileSys)
#include "tst_filesys.moc"
