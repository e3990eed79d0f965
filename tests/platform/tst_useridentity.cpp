#include "platform/useridentity.h"

#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

class TestUserIdentity : public QObject
{
    Q_OBJECT

private:
    static const passwd* Nobody()
    {
        const passwd* nobody = getpwnam("nobody");
        return nobody && nobody->pw_uid != 0 ? nobody : nullptr;
    }

private slots:
    // Root's own jobs, and every job of an instance that is not root, keep
    // the instance's identity.
    void noChangeWithoutRootOrForRoot()
    {
        const Quolix_UserIdentity root = Quolix_UserIdentity::ForJob(0, 0);
        QVERIFY(!root.ChangesUser());
        QCOMPARE(root.UserID(), geteuid());
        QVERIFY(!Quolix_UserIdentity::ForJob(-1, -1).ChangesUser());
        if (geteuid() != 0)
            QVERIFY(!Quolix_UserIdentity::ForJob(int(geteuid()) + 1, 0).ChangesUser());
    }

    void userGetsOnlyItsOwnGroups()
    {
        if (geteuid() != 0)
            QSKIP("only a root instance changes the user");
        const passwd* nobody = Nobody();
        if (!nobody)
            QSKIP("no unprivileged user 'nobody'");
        const Quolix_UserIdentity plain = Quolix_UserIdentity::ForJob(int(nobody->pw_uid), -1);
        QVERIFY(plain.ChangesUser());
        QCOMPARE(plain.UserID(), nobody->pw_uid);
        QCOMPARE(plain.GroupID(), nobody->pw_gid);
        QVERIFY(!plain.Groups().empty());
        for (const gid_t group : plain.Groups())
            QVERIFY(group != 0 || nobody->pw_gid == 0);
        // Root's group, asked for by a claim, is not the user's.
        QCOMPARE(Quolix_UserIdentity::ForJob(int(nobody->pw_uid), 0).GroupID(), nobody->pw_gid);
        // A user the system does not know: no groups, the overflow group.
        const Quolix_UserIdentity unknown = Quolix_UserIdentity::ForJob(4321, 4322);
        QCOMPARE(unknown.UserID(), uid_t(4321));
        QCOMPARE(unknown.GroupID(), gid_t(65534));
        QVERIFY(unknown.Groups().empty());
    }

    void writesWithTheUsersRights()
    {
        if (geteuid() != 0)
            QSKIP("only a root instance changes the user");
        const passwd* nobody = Nobody();
        if (!nobody)
            QSKIP("no unprivileged user 'nobody'");
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QCOMPARE(::chmod(QFile::encodeName(dir.path()).constData(), 0755), 0);
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("open")));
        QCOMPARE(::chmod(QFile::encodeName(dir.filePath(QStringLiteral("open"))).constData(), 0777),
                 0);
        const Quolix_UserIdentity user = Quolix_UserIdentity::ForJob(int(nobody->pw_uid), -1);

        const QString made = dir.filePath(QStringLiteral("open/answers.inp"));
        QVERIFY(user.WriteFile(made, "n\n298\n"));
        QFile file(made);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("n\n298\n"));
        QCOMPARE(QFileInfo(made).ownerId(), nobody->pw_uid);

        // Root's own directory and root's own file stay as they are.
        QVERIFY(!user.WriteFile(dir.filePath(QStringLiteral("root.inp")), "x"));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("root.inp"))));
        const QString rootFile = dir.filePath(QStringLiteral("open/root.txt"));
        QVERIFY(TestSupport::WriteFile(rootFile, "root's\n"));
        QVERIFY(!user.WriteFile(rootFile, "overwritten"));
        QFile kept(rootFile);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), QByteArray("root's\n"));
    }

    void plainWriteWithoutChange()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("plain.inp"));
        QVERIFY(TestSupport::WriteFile(path, "a much longer old text\n"));
        QVERIFY(Quolix_UserIdentity::ForJob(-1, -1).WriteFile(path, "new\n"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("new\n"));
        QVERIFY(!Quolix_UserIdentity::ForJob(-1, -1).WriteFile(
            dir.filePath(QStringLiteral("missing/x.inp")), "x"));
    }
};

QTEST_GUILESS_MAIN(TestUserIdentity)
#include "tst_useridentity.moc"
