// Who asks is who the kernel says, with real users: a user made for the
// test, its client sockets, a root instance that runs its jobs, and an
// instance of its own. Needs root, as the tests run in CI.

#include "consolesession.h"
#include "socketclient.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTest>

#include <memory>
#include <optional>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using E2E::ClientRequest;
using E2E::ConsolePort;
using E2E::ConsoleSession;
using E2E::CopyExecutable;
using E2E::Home;
using E2E::Line;
using E2E::Listener;

namespace {

constexpr int NobodyID = 65534;

bool RunQuietly(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    return process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

// A user of this machine made for one test run and removed with it.
class TestUser
{
public:
    static std::unique_ptr<TestUser> Make()
    {
        const QString name = QStringLiteral("tvrl%1").arg(getpid());
        if (!RunQuietly(QStringLiteral("useradd"),
                        {QStringLiteral("--no-create-home"), QStringLiteral("--user-group"),
                         QStringLiteral("--shell"), QStringLiteral("/usr/sbin/nologin"), name}))
            return nullptr;
        auto user = std::unique_ptr<TestUser>(new TestUser(name));
        const passwd* entry = getpwnam(name.toLocal8Bit().constData());
        if (!entry)
            return nullptr;
        user->m_uid = int(entry->pw_uid);
        user->m_gid = int(entry->pw_gid);
        return user;
    }
    ~TestUser() { RunQuietly(QStringLiteral("userdel"), {m_name}); }

    int UID() const { return m_uid; }
    int GID() const { return m_gid; }
    bool Owns(const QString& path) const
    {
        return ::chown(QFile::encodeName(path).constData(), uid_t(m_uid), gid_t(m_gid)) == 0;
    }

private:
    explicit TestUser(QString name) : m_name(std::move(name)) {}
    QString m_name;
    int m_uid = -1;
    int m_gid = -1;
};

bool OpenToAll(const QString& path)
{
    return ::chmod(QFile::encodeName(path).constData(), 0755) == 0;
}

// The home of a test, open for the test user to pass through: the stand-in
// programs in "bin" that any user may run, the user's own "work" directory,
// and "secret", which only root may enter.
class SharedHome
{
public:
    bool Make(const TestUser& user)
    {
        const QDir root(m_home.Path());
        return OpenToAll(m_home.Path()) && root.mkpath(QStringLiteral("bin")) &&
               CopyExecutable(TestSupport::FixturePath(QStringLiteral("standin")),
                              Bin(QStringLiteral("g16"))) &&
               CopyExecutable(TestSupport::FixturePath(QStringLiteral("standin")),
                              Bin(QStringLiteral("freqchk"))) &&
               root.mkpath(QStringLiteral("work")) && user.Owns(Work(QString())) &&
               root.mkpath(QStringLiteral("secret")) &&
               ::chmod(QFile::encodeName(File(QStringLiteral("secret"))).constData(), 0700) == 0;
    }

    QString File(const QString& name) const { return m_home.File(name); }
    QString Bin(const QString& name) const { return File(QStringLiteral("bin/") + name); }
    QString Work(const QString& name) const { return File(QStringLiteral("work/") + name); }
    QProcessEnvironment Environment() const
    {
        QProcessEnvironment environment = m_home.Environment(true);
        environment.insert(QStringLiteral("GAUSS_EXEDIR"), File(QStringLiteral("bin")));
        return environment;
    }
    const Home& Base() const { return m_home; }

private:
    Home m_home;
};

// A request written on a socket that the given user owns, held open until
// the instance closes it.
bool SendAs(int uid, const QByteArray& message)
{
    const int fd = TestSupport::ConnectAs(uid, ConsolePort());
    if (fd < 0)
        return false;
    QTcpSocket socket;
    if (!socket.setSocketDescriptor(fd))
        return false;
    socket.write(message);
    if (!socket.waitForBytesWritten(5000))
        return false;
    if (socket.state() != QAbstractSocket::UnconnectedState)
        socket.waitForDisconnected(10000);
    return socket.readAll().isEmpty();
}

QByteArray RequestAs(quint16 listenerPort, int uid, int gid)
{
    QByteArray request = ClientRequest(listenerPort, QString::number(uid));
    return request.replace(Line("clientgid=", QString::number(getgid())),
                           Line("clientgid=", QString::number(gid)));
}

QByteArray Job(const QString& type, const QString& input, const QString& name)
{
    return "action=submitjob\n" + Line("jobtypename=", type) + "\njobqueue=none\n" +
           Line("jobinputfile=", input) + "\n" + Line("jobname=", name) + "\n";
}

// The user id of the process whose command line holds text, from ps.
std::optional<int> UIDOfProcessWith(const QString& text)
{
    QProcess ps;
    ps.start(QStringLiteral("ps"), {QStringLiteral("-eo"), QStringLiteral("uid=,args=")});
    if (!ps.waitForFinished(10000))
        return std::nullopt;
    const QStringList lines = QString::fromLocal8Bit(ps.readAllStandardOutput()).split('\n');
    for (const QString& line : lines) {
        if (line.contains(text) && !line.contains(QLatin1String("ps -eo")))
            return line.trimmed().section(QLatin1Char(' '), 0, 0).toInt();
    }
    return std::nullopt;
}

QByteArray Contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

} // namespace

class TestVerifiedClients : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestUser> m_user;

    static std::unique_ptr<ConsoleSession> Start(const QProcessEnvironment& environment,
                                                 const QString& program,
                                                 const QStringList& arguments,
                                                 const QString& directory)
    {
        auto session = std::make_unique<ConsoleSession>(environment);
        if (!session->StartProgram(program, arguments, directory) ||
            session->WaitForFirstPrompt().isEmpty())
            return nullptr;
        return session;
    }

    static void Quit(ConsoleSession& session)
    {
        session.Send(QStringLiteral("quit"), E2E::ExitQuestion);
        session.Write(QStringLiteral("yes"));
        if (session.WaitForText(QStringLiteral("Before Closing it?  ")))
            session.Write(QStringLiteral("no"));
        QVERIFY(session.WaitForExit(nullptr));
    }

private slots:
    void initTestCase()
    {
        if (getuid() != 0)
            QSKIP("making users and sockets of other users needs root");
        if (QStandardPaths::findExecutable(QStringLiteral("useradd")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
            QSKIP("useradd and setpriv are needed");
        m_user = TestUser::Make();
        QVERIFY(m_user);
    }

    void cleanupTestCase() { m_user.reset(); }

    // Another user's claim of root to a root instance is refused and nothing
    // runs; its claim of its own uid runs the job as that user, output and
    // all, and a standard input file only root may read fails the job
    // without a byte of it reaching the user.
    void rootInstanceRunsJobsOnlyAsTheVerifiedUser()
    {
        SharedHome home;
        QVERIFY(home.Make(*m_user));
        const QString secret = home.File(QStringLiteral("secret/key.txt"));
        QVERIFY(TestSupport::WriteFile(secret, "ROOT-ONLY-SECRET\n"));
        const QString input = home.Work(QStringLiteral("slow.gjf"));
        QVERIFY(TestSupport::WriteFile(input, "#standin sleep=3\n"));
        QVERIFY(m_user->Owns(input));
        auto session = Start(home.Environment(), TestSupport::TavrolBinary(),
                             {QStringLiteral("-console")}, home.Base().Path());
        QVERIFY(session);
        Listener listener;

        // Claiming root: refused; then a job as root itself must not appear.
        QVERIFY(SendAs(m_user->UID(),
                       RequestAs(listener.Port(), 0, 0) +
                           Job(QStringLiteral("Gaussian"), input, QStringLiteral("claimedroot"))));
        // Its own uid: the program runs as the user.
        QVERIFY(SendAs(m_user->UID(),
                       RequestAs(listener.Port(), m_user->UID(), m_user->GID()) +
                           Job(QStringLiteral("Gaussian"), input, QStringLiteral("ownjob"))));
        std::optional<int> runner;
        QTRY_VERIFY_WITH_TIMEOUT((runner = UIDOfProcessWith(input)).has_value(), 20000);
        QCOMPARE(*runner, m_user->UID());
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QVERIFY(listener.Messages().first().contains("\njobstatus=completed\n"));
        QVERIFY(listener.Messages().first().contains(
            Line("\nclientuid=", QString::number(m_user->UID())) + "\n"));
        const QString output = home.Work(QStringLiteral("slow.log"));
        QVERIFY(QFile::exists(output));
        QCOMPARE(QFileInfo(output).ownerId(), uint(m_user->UID()));
        QCOMPARE(QFileInfo(output).groupId(), uint(m_user->GID()));

        // The written answers of a utility are the user's file too, and a
        // standard input file the user may read reaches the program.
        const QString checkpoint = home.Work(QStringLiteral("freq.chk"));
        QVERIFY(TestSupport::WriteFile(checkpoint, "checkpoint\n"));
        const QString answers = home.Work(QStringLiteral("answers.txt"));
        QVERIFY(TestSupport::WriteFile(answers, "user answer\n"));
        QVERIFY(m_user->Owns(checkpoint) && m_user->Owns(answers));
        const QString readable = home.Work(QStringLiteral("readable.out"));
        QVERIFY(SendAs(m_user->UID(),
                       RequestAs(listener.Port(), m_user->UID(), m_user->GID()) +
                           Job(QStringLiteral("Freqchk"), checkpoint, QStringLiteral("readable")) +
                           Line("jobstandardinputfile=", answers) + "\n" +
                           Line("jobstandardoutputfile=", readable) + "\n"));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 2, 20000);
        QVERIFY(listener.Messages().at(1).contains("\njobstatus=completed\n"));
        QVERIFY2(Contents(readable).contains("answer: user answer\n"), Contents(readable));
        QCOMPARE(QFileInfo(readable).ownerId(), uint(m_user->UID()));
        const QStringList written =
            QDir(home.Work(QString())).entryList({QStringLiteral("freqchk*.inp")}, QDir::Files);
        QCOMPARE(written.size(), 1);
        QCOMPARE(QFileInfo(home.Work(written.first())).ownerId(), uint(m_user->UID()));

        // A standard input file only root may read: the job fails as a
        // program that cannot start, and nothing of the file gets out.
        const QString leaked = home.Work(QStringLiteral("leaked.out"));
        QVERIFY(SendAs(m_user->UID(),
                       RequestAs(listener.Port(), m_user->UID(), m_user->GID()) +
                           Job(QStringLiteral("Freqchk"), checkpoint, QStringLiteral("secret")) +
                           Line("jobstandardinputfile=", secret) + "\n" +
                           Line("jobstandardoutputfile=", leaked) + "\n"));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 3, 20000);
        QVERIFY2(listener.Messages().at(2).contains("\njobstatus=failed\njobexitcode=255\n"),
                 listener.Messages().at(2));
        QVERIFY(!QFile::exists(leaked));
        for (const QString& name : QDir(home.Work(QString())).entryList(QDir::Files))
            QVERIFY2(!Contents(home.Work(name)).contains("ROOT-ONLY-SECRET"), qPrintable(name));

        const QString finished = session->Send(QStringLiteral("list finished jobs"));
        QVERIFY2(!finished.contains(QLatin1String("claimedroot")), qPrintable(finished));
        QVERIFY2(finished.contains(QRegularExpression(QStringLiteral("ownjob +Completed"))) &&
                     finished.contains(QRegularExpression(QStringLiteral("secret +Failed"))),
                 qPrintable(finished));
        QCOMPARE(listener.Messages().size(), 3);
        Quit(*session);
    }

    // A user's own instance: another user claiming its uid is refused, its
    // own client is served.
    void userInstanceRefusesAnotherUsersClaim()
    {
        SharedHome home;
        QVERIFY(home.Make(*m_user));
        QVERIFY(m_user->Owns(home.Base().Path()) &&
                m_user->Owns(home.File(QStringLiteral("prefs"))));
        const QString binary = home.Bin(QStringLiteral("tavrol"));
        QVERIFY(CopyExecutable(TestSupport::TavrolBinary(), binary));
        const QString input = home.Work(QStringLiteral("mine.gjf"));
        QVERIFY(TestSupport::WriteFile(input, "mine\n"));
        QVERIFY(m_user->Owns(input));
        auto session = Start(home.Environment(), QStringLiteral("setpriv"),
                             {QStringLiteral("--reuid=%1").arg(m_user->UID()),
                              QStringLiteral("--regid=%1").arg(m_user->GID()),
                              QStringLiteral("--init-groups"), binary, QStringLiteral("-console")},
                             home.Base().Path());
        QVERIFY(session);
        Listener listener;
        const QByteArray claim = RequestAs(listener.Port(), m_user->UID(), m_user->GID());
        QVERIFY(SendAs(NobodyID,
                       claim + Job(QStringLiteral("Gaussian"), input, QStringLiteral("impostor"))));
        QVERIFY(SendAs(m_user->UID(),
                       claim + Job(QStringLiteral("Gaussian"), input, QStringLiteral("owner"))));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 20000);
        QVERIFY(listener.Messages().first().contains("\njobstatus=completed\n"));
        const QString finished = session->Send(QStringLiteral("list finished jobs"));
        QVERIFY2(finished.contains(QRegularExpression(QStringLiteral("owner +Completed"))) &&
                     !finished.contains(QLatin1String("impostor")),
                 qPrintable(finished));
        QCOMPARE(QFileInfo(home.Work(QStringLiteral("mine.log"))).ownerId(), uint(m_user->UID()));
        Quit(*session);
    }
};

QTEST_GUILESS_MAIN(TestVerifiedClients)
#include "tst_verifiedclients.moc"
