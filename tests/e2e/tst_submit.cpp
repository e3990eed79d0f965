// tavrol-submit against the real program at its console: requests sent and
// waited for, the exit codes of the table, its time limit and its usage.

#include "consolesession.h"
#include "platform/computerdata.h"

#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using E2E::ConsoleSession;
using E2E::Home;
using E2E::StartConsole;

namespace {

struct Result
{
    int ExitCode = -1;
    QString Out;
    QString Err;
};

Result RunSubmit(const Home& home, const QStringList& arguments, int timeoutMs = 60000)
{
    QProcess submit;
    submit.setProcessEnvironment(home.Environment(true));
    submit.setWorkingDirectory(home.Path());
    submit.start(TestSupport::SubmitBinary(), arguments);
    Result result;
    if (!submit.waitForFinished(timeoutMs)) {
        submit.kill();
        submit.waitForFinished(5000);
        return result;
    }
    result.ExitCode = submit.exitStatus() == QProcess::NormalExit ? submit.exitCode() : -1;
    result.Out = QString::fromLocal8Bit(submit.readAllStandardOutput());
    result.Err = QString::fromLocal8Bit(submit.readAllStandardError());
    return result;
}

const QString Usage = QStringLiteral(
    "Usage: tavrol-submit [--gui|--console] [--type NAME] [--queue long|short|queueless|auto]\n"
    "                     [--name NAME] [--confirm] [--var KEY=VALUE ...] [--wait]\n"
    "                     [--timeout SECONDS] FILE...\n");

} // namespace

class TestSubmit : public QObject
{
    Q_OBJECT

private:
private slots:
    void waitGivesTheStatusAndExitCode_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("statusLine");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("completed") << QByteArray("done\n") << "completed, exit code 0" << 0;
        QTest::newRow("failed") << QByteArray("#standin exit=3\n") << "failed, exit code 3" << 1;
        QTest::newRow("crashed") << QByteArray("#standin crash=SEGV\n") << "crashed, exit code "
                                 << 2;
    }

    void waitGivesTheStatusAndExitCode()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, statusLine);
        QFETCH(int, exitCode);
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("job.gjf")), contents);
        auto session = StartConsole(home);
        QVERIFY(session);
        const Result result =
            RunSubmit(home, {QStringLiteral("--type"), QStringLiteral("Gaussian"),
                             QStringLiteral("--queue"), QStringLiteral("queueless"),
                             QStringLiteral("--wait"), QStringLiteral("job.gjf")});
        QCOMPARE(result.Err, QString());
        QVERIFY2(result.Out.startsWith(input + QStringLiteral(": ") + statusLine),
                 qPrintable(result.Out));
        QVERIFY(result.Out.endsWith(QLatin1Char('\n')));
        QCOMPARE(result.Out.count(QLatin1Char('\n')), 1);
        QCOMPARE(result.ExitCode, exitCode);
    }

    void severalFilesAndTheFirstFailure()
    {
        Home home;
        const QString good = E2E::WriteFile(home.File(QStringLiteral("good.gjf")), "g\n");
        const QString bad =
            E2E::WriteFile(home.File(QStringLiteral("bad.gjf")), "#standin exit=5\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        const Result result =
            RunSubmit(home, {QStringLiteral("--console"), QStringLiteral("--type=Gaussian"),
                             QStringLiteral("--queue=short"), QStringLiteral("--name"),
                             QStringLiteral("pair"), QStringLiteral("--wait"), good, bad});
        QCOMPARE(result.ExitCode, 1);
        QStringList lines = result.Out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        lines.sort();
        QCOMPARE(lines, (QStringList{bad + QStringLiteral(": failed, exit code 5"),
                                     good + QStringLiteral(": completed, exit code 0")}));
        const QString finished = session->Send(QStringLiteral("list finished jobs"));
        QCOMPARE(finished.count(QRegularExpression(QStringLiteral("\n\\d +pair +"))), 2);
    }

    void withoutWaitTheRequestIsSent()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("sent.gjf")), "s\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        const Result result = RunSubmit(home, {QStringLiteral("--type"), QStringLiteral("gaussian"),
                                               QStringLiteral("--queue"), QStringLiteral("long"),
                                               QStringLiteral("sent.gjf")});
        QCOMPARE(result.Out, QStringLiteral("Sent ") + input +
                                 QStringLiteral(" to the Tavrol instance on port ") +
                                 QString::number(Quolix_ComputerData::TavrolConsolePortNumber()) +
                                 QStringLiteral(".\n"));
        QCOMPARE(result.Err, QString());
        QCOMPARE(result.ExitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(session->Send(QStringLiteral("list finished jobs"))
                                     .contains(QRegularExpression(QStringLiteral(
                                         "\n1 +sent\\.gjf +Completed +Gaussian +Long"))),
                                 20000);
    }

    void timeoutGivesUp()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("lost.gjf")), "l\n");
        auto session = StartConsole(home);
        QVERIFY(session);
        // Without a job type the console instance drops the request silently.
        const Result result =
            RunSubmit(home, {QStringLiteral("--wait"), QStringLiteral("--timeout"),
                             QStringLiteral("2"), input});
        QCOMPARE(result.Out, QString());
        QCOMPARE(result.Err, QStringLiteral("tavrol-submit: gave up after 2 seconds: no job "
                                            "finished notification for ") +
                                 input + QStringLiteral("\n"));
        QCOMPARE(result.ExitCode, 5);
    }

    void noInstanceToReach()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("x.gjf")), "x\n");
        const Result result = RunSubmit(home, {QStringLiteral("--gui"), QStringLiteral("--type"),
                                               QStringLiteral("Gaussian"), input});
        QCOMPARE(result.Err, QStringLiteral("tavrol-submit: cannot connect to a Tavrol instance "
                                            "on port ") +
                                 QString::number(Quolix_ComputerData::TavrolGUIPortNumber()) +
                                 QStringLiteral("\n"));
        QCOMPARE(result.ExitCode, 6);
        const Result both =
            RunSubmit(home, {QStringLiteral("--type"), QStringLiteral("Gaussian"), input});
        QCOMPARE(
            both.Err,
            QStringLiteral("tavrol-submit: cannot connect to a Tavrol instance on port %1 or %2\n")
                .arg(Quolix_ComputerData::TavrolConsolePortNumber())
                .arg(Quolix_ComputerData::TavrolGUIPortNumber()));
        QCOMPARE(both.ExitCode, 6);
    }

    void badUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no file") << QStringList{QStringLiteral("--wait")}
                                 << QStringLiteral("no input file given");
        QTest::newRow("queue") << QStringList{QStringLiteral("--queue"), QStringLiteral("fast"),
                                              QStringLiteral("a.gjf")}
                               << QStringLiteral(
                                      "--queue takes long, short, queueless or auto, not fast");
        QTest::newRow("value missing")
            << QStringList{QStringLiteral("a.gjf"), QStringLiteral("--type")}
            << QStringLiteral("--type needs a value");
        QTest::newRow("unknown") << QStringList{QStringLiteral("--fast"), QStringLiteral("a.gjf")}
                                 << QStringLiteral("unknown option --fast");
        QTest::newRow("timeout alone") << QStringList{QStringLiteral("--timeout"),
                                                      QStringLiteral("5"), QStringLiteral("a.gjf")}
                                       << QStringLiteral("--timeout needs --wait");
        QTest::newRow("timeout zero")
            << QStringList{QStringLiteral("--wait"), QStringLiteral("--timeout=0"),
                           QStringLiteral("a.gjf")}
            << QStringLiteral("--timeout takes a whole number of seconds from 1, not 0");
        QTest::newRow("variable") << QStringList{QStringLiteral("--var"), QStringLiteral("novalue"),
                                                 QStringLiteral("a.gjf")}
                                  << QStringLiteral("--var takes KEY=VALUE, not novalue");
    }

    void badUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, reason);
        Home home;
        const Result result = RunSubmit(home, arguments);
        QCOMPARE(result.Out, QString());
        QCOMPARE(result.Err,
                 QStringLiteral("tavrol-submit: ") + reason + QStringLiteral("\n") + Usage);
        QCOMPARE(result.ExitCode, 7);
    }

    void missingFileIsBadUsage()
    {
        Home home;
        const Result result = RunSubmit(home, {QStringLiteral("--type"), QStringLiteral("Gaussian"),
                                               QStringLiteral("missing.gjf")});
        QCOMPARE(result.Err, QStringLiteral("tavrol-submit: no such file: missing.gjf\n"));
        QCOMPARE(result.ExitCode, 7);
    }

    void helpPrintsTheUsage()
    {
        Home home;
        const Result result = RunSubmit(home, {QStringLiteral("--help")});
        QCOMPARE(result.Out, Usage);
        QCOMPARE(result.ExitCode, 0);
    }
};

QTEST_GUILESS_MAIN(TestSubmit)
#include "tst_submit.moc"
