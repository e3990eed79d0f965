// The console's added commands, driven through the real program: help, the
// queues' pause and maximum, a job's details, output and log, killing and
// removing jobs, and saving the project by name.

#include "consolesession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using E2E::ConsoleSession;
using E2E::Home;
using E2E::Prompt;

namespace {

const QString EnterJobType = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString EnterInputFile = QStringLiteral("\n<Tavrol> Enter Input File:  ");
const QString ExitQuestion =
    QStringLiteral("\n<Tavrol> Are you sure you want to completely exit Tavrol?  ");

const QString HelpText = QStringLiteral(
    "\nCommands:\n"
    "  list long jobs             List the jobs of the Long queue.\n"
    "  list short jobs            List the jobs of the Short queue.\n"
    "  list queueless jobs        List the queueless jobs.\n"
    "  list running jobs          List the running processes of known job types.\n"
    "  list all running jobs      List every running process.\n"
    "  list finished jobs         List the finished jobs.\n"
    "  list job types             List the job types.\n"
    "  add job                    Add a job, asking for its queue, job type and input file "
    "(or \"submit job\").\n"
    "  add long job               Add a job to the Long queue (or \"submit long job\").\n"
    "  add short job              Add a job to the Short queue (or \"submit short job\").\n"
    "  add queueless job          Add a queueless job (or \"submit queueless job\").\n"
    "  add cluster job type       Add a job type whose program runs on a Slurm cluster.\n"
    "  show job N                 Show the fields, status, exit code and times of job N.\n"
    "  show output N              Show the output file of job N.\n"
    "  show log N                 Show the standard output and error captured from job N.\n"
    "  kill job N                 Kill running job N; it leaves its queue for the finished "
    "jobs.\n"
    "  remove job N               Remove job N from its queue; a running job is killed.\n"
    "  pause long queue           Start no more jobs of the Long queue.\n"
    "  unpause long queue         Let the Long queue start its jobs again.\n"
    "  pause short queue          Start no more jobs of the Short queue.\n"
    "  unpause short queue        Let the Short queue start its jobs again.\n"
    "  set long queue maximum N   Run at most N jobs of the Long queue at a time.\n"
    "  set short queue maximum N  Run at most N jobs of the Short queue at a time.\n"
    "  save                       Save the project to its file.\n"
    "  save as PATH               Save the project to PATH (\".tvrl\" is added when missing).\n"
    "  pwd                        Print the current directory.\n"
    "  cd DIRECTORY               Change the current directory (\"cd\" alone: the home "
    "directory).\n"
    "  ls ARGUMENTS               List files through the shell.\n"
    "  clear                      Clear the screen.\n"
    "  help                       Print this list.\n"
    "  quit                       Exit Tavrol, after a question (or \"exit\").\n"
    "\n");

QString Fact(const QString& text)
{
    return QLatin1Char('\n') + text + QStringLiteral("\n\n");
}

// The processes whose command line holds the text, and every child of theirs.
QList<qint64> ProcessesWith(const QString& text)
{
    QList<qint64> found;
    QHash<qint64, qint64> parents;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool isNumber = false;
        const qint64 pid = entry.toLongLong(&isNumber);
        if (!isNumber)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray statText = stat.readAll();
        const QList<QByteArray> fields = statText.mid(statText.lastIndexOf(')') + 2).split(' ');
        if (fields.size() < 2 || fields[0] == "Z")
            continue; // an ended process waiting to be reaped runs no more
        parents.insert(pid, fields[1].toLongLong());
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(text.toLocal8Bit()))
            found << pid;
    }
    for (auto entry = parents.cbegin(); entry != parents.cend(); ++entry) {
        if (found.contains(entry.value()) && !found.contains(entry.key()))
            found << entry.key();
    }
    return found;
}

bool AnyAlive(const QList<qint64>& pids)
{
    for (const qint64 pid : pids) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = stat.readAll();
        if (text.mid(text.lastIndexOf(')') + 2, 1) != "Z")
            return true;
    }
    return false;
}

} // namespace

class TestConsoleCommands : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ConsoleSession> Start(const Home& home, const QStringList& arguments = {})
    {
        auto session = std::make_unique<ConsoleSession>(home.Environment(true));
        if (!session->Start(QStringList{QStringLiteral("-console")} + arguments, home.Path()))
            return nullptr;
        if (session->WaitForFirstPrompt().isEmpty())
            return nullptr;
        return session;
    }

    static void AddJob(ConsoleSession& session, const QString& command, const QString& inputFile)
    {
        QCOMPARE(session.Send(command, EnterJobType), QString());
        QCOMPARE(session.Send(QStringLiteral("Gaussian"), EnterInputFile), QString());
        QCOMPARE(session.Send(inputFile), QString());
    }

    // Waits until "show job" reports the status.
    static bool WaitForStatus(ConsoleSession& session, int jobId, const QString& status,
                              QString* details = nullptr)
    {
        const QString line = QStringLiteral("\nStatus:        ") + status + QLatin1Char('\n');
        for (int attempt = 0; attempt < 150; ++attempt) {
            const QString text = session.Send(QStringLiteral("show job %1").arg(jobId));
            if (text.contains(line)) {
                if (details)
                    *details = text;
                return true;
            }
            session.Pause(200);
        }
        return false;
    }

private slots:
    void helpListsEveryCommand()
    {
        Home home;
        auto session = Start(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("help")), HelpText);
        QCOMPARE(session->Send(QStringLiteral("  help  ")), HelpText);
    }

    void unmatchedLinesStayIgnored_data()
    {
        QTest::addColumn<QString>("line");
        for (const char* line :
             {"HELP", "help me", "show job", "show", "kill job", "Save", "save  ", "saveas x",
              "pause queue", "pause long", "unpause  long queue", "set long queue maximum",
              "show jobs 1", "remove jobs 1"})
            QTest::newRow(line) << QString::fromLatin1(line);
    }

    void unmatchedLinesStayIgnored()
    {
        QFETCH(QString, line);
        Home home;
        auto session = Start(home);
        QVERIFY(session);
        const QString answer = session->Send(line);
        // "save  " is trimmed to "save", a command; everything else says nothing.
        if (line.trimmed() == QLatin1String("save"))
            QCOMPARE(answer, Fact(QStringLiteral(
                                 "The project has no file to save to: name one with \"save as "
                                 "PATH\".")));
        else
            QCOMPARE(answer, QString());
        QVERIFY(session->IsRunning());
    }

    void pauseUnpauseAndMaximum()
    {
        Home home;
        const QString quick = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        const QString slow =
            E2E::WriteFile(home.File(QStringLiteral("slow.gjf")), "#standin sleep=60\n");
        auto session = Start(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("pause long queue")),
                 Fact(QStringLiteral("Long Jobs Queue paused.")));
        AddJob(*session, QStringLiteral("add long job"), quick);
        session->Pause(1500);
        QVERIFY(session->Send(QStringLiteral("show job 1"))
                    .contains(QStringLiteral("\nStatus:        Pending\n")));
        QCOMPARE(session->Send(QStringLiteral("unpause long queue")),
                 Fact(QStringLiteral("Long Jobs Queue unpaused.")));
        QVERIFY(WaitForStatus(*session, 1, QStringLiteral("Completed")));

        // The maximum: two slow jobs of the short queue run side by side.
        QCOMPARE(session->Send(QStringLiteral("set short queue maximum 2")),
                 Fact(QStringLiteral("Short Jobs Queue maximum set to 2 running jobs.")));
        AddJob(*session, QStringLiteral("add short job"), slow);
        AddJob(*session, QStringLiteral("add short job"), slow);
        QVERIFY(WaitForStatus(*session, 2, QStringLiteral("Running")));
        QVERIFY(WaitForStatus(*session, 3, QStringLiteral("Running")));
        QCOMPARE(
            session->Send(QStringLiteral("set long queue maximum 0")),
            Fact(QStringLiteral("The maximum must be a whole number from 1 to 2147483647:  0")));
        QCOMPARE(
            session->Send(QStringLiteral("set short queue maximum many")),
            Fact(QStringLiteral("The maximum must be a whole number from 1 to 2147483647:  many")));
        QCOMPARE(session->Send(QStringLiteral("pause short queue")),
                 Fact(QStringLiteral("Short Jobs Queue paused.")));
        QCOMPARE(session->Send(QStringLiteral("unpause short queue")),
                 Fact(QStringLiteral("Short Jobs Queue unpaused.")));
        QCOMPARE(session->Send(QStringLiteral("set long queue maximum 3")),
                 Fact(QStringLiteral("Long Jobs Queue maximum set to 3 running jobs.")));
    }

    void showJobOutputAndLog()
    {
        Home home;
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "#standin print=SCF Done\n");
        const QString failing =
            E2E::WriteFile(home.File(QStringLiteral("bad.gjf")), "#standin exit=3\n");
        auto session = Start(home);
        QVERIFY(session);
        AddJob(*session, QStringLiteral("add queueless job"), input);
        QString details;
        QVERIFY(WaitForStatus(*session, 1, QStringLiteral("Completed"), &details));
        const QString output = QFileInfo(home.File(QStringLiteral("water.log"))).absoluteFilePath();
        const QStringList lines = details.split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 15);
        QCOMPARE(lines.mid(0, 8), (QStringList{QString(), QStringLiteral("Job 1"),
                                               QStringLiteral("Name:          water.gjf"),
                                               QStringLiteral("Status:        Completed"),
                                               QStringLiteral("Exit Code:     0"),
                                               QStringLiteral("Queue:         None"),
                                               QStringLiteral("Job Type:      Gaussian"),
                                               QStringLiteral("Input File:    ") + input}));
        QCOMPARE(lines[8], QStringLiteral("Output File:   ") + output);
        QVERIFY2(lines[9].startsWith(QStringLiteral("Command Line:  ")) && lines[9].contains(input),
                 qPrintable(lines[9]));
        const QRegularExpression time(
            QStringLiteral("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d$"));
        for (int i = 10; i < 13; ++i) {
            QCOMPARE(lines[i].left(15), QStringList({QStringLiteral("Submitted:     "),
                                                     QStringLiteral("Started:       "),
                                                     QStringLiteral("Finished:      ")})[i - 10]);
            QVERIFY2(time.match(lines[i].mid(15)).hasMatch(), qPrintable(lines[i]));
        }
        QCOMPARE(lines.mid(13), (QStringList{QString(), QString()}));

        QCOMPARE(session->Send(QStringLiteral("show output 1")),
                 QStringLiteral("\nOutput file of job 1:  ") + output +
                     QStringLiteral("\n\ng16 output\ninput: ") + input + QStringLiteral("\n\n"));
        const QString log = session->Send(QStringLiteral("show log 1"));
        QVERIFY2(log.startsWith(QStringLiteral("\nStandard output and error of job 1:\n\ng16 "
                                               "started: [")),
                 qPrintable(log));
        QVERIFY2(log.contains(QStringLiteral("\nSCF Done\n")), qPrintable(log));
        QVERIFY2(log.contains(QStringLiteral("g16 diagnostics\n")), qPrintable(log));
        QVERIFY(log.endsWith(QStringLiteral("\n\n")));

        AddJob(*session, QStringLiteral("add queueless job"), failing);
        QVERIFY(WaitForStatus(*session, 2, QStringLiteral("Failed"), &details));
        QVERIFY2(details.contains(QStringLiteral("\nExit Code:     3\n")), qPrintable(details));

        QCOMPARE(session->Send(QStringLiteral("show job 99")),
                 Fact(QStringLiteral("There is no job 99 in the queues or the finished jobs.")));
        QCOMPARE(session->Send(QStringLiteral("show log x")),
                 Fact(QStringLiteral("Not a job number:  x")));
        QCOMPARE(session->Send(QStringLiteral("show output -1")),
                 Fact(QStringLiteral("Not a job number:  -1")));
    }

    void showOfAWaitingJob()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("wait.gjf")), "w\n");
        auto session = Start(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("pause short queue")),
                 Fact(QStringLiteral("Short Jobs Queue paused.")));
        AddJob(*session, QStringLiteral("add short job"), input);
        const QString details = session->Send(QStringLiteral("show job 1"));
        QVERIFY2(details.contains(QStringLiteral("\nStatus:        Pending\nExit Code:     (not "
                                                 "yet)\nQueue:         Short\n")),
                 qPrintable(details));
        QVERIFY2(details.contains(QStringLiteral("\nStarted:       (none)\nFinished:      "
                                                 "(none)\n\n")),
                 qPrintable(details));
        QCOMPARE(session->Send(QStringLiteral("show log 1")),
                 Fact(QStringLiteral("Job 1 has not ended: its standard output and error are "
                                     "collected when it ends.")));
        QCOMPARE(session->Send(QStringLiteral("show output 1")),
                 Fact(QStringLiteral("The output file of job 1 does not exist:  ") +
                      QFileInfo(home.File(QStringLiteral("wait.log"))).absoluteFilePath()));
    }

    void killAndRemoveJobs()
    {
        Home home;
        const QString slow =
            E2E::WriteFile(home.File(QStringLiteral("slow.gjf")), "#standin sleep=60\n");
        const QString other =
            E2E::WriteFile(home.File(QStringLiteral("other.gjf")), "#standin sleep=60\n");
        auto session = Start(home);
        QVERIFY(session);
        AddJob(*session, QStringLiteral("add long job"), slow);
        AddJob(*session, QStringLiteral("add long job"), other);
        QVERIFY(WaitForStatus(*session, 1, QStringLiteral("Running")));
        QList<qint64> standIn;
        QTRY_VERIFY_WITH_TIMEOUT((standIn = ProcessesWith(slow)).size() >= 2, 20000);

        // A waiting job is not killed; it is removed.
        QCOMPARE(
            session->Send(QStringLiteral("kill job 2")),
            Fact(QStringLiteral(
                "Job 2 is not running (Pending); \"remove job 2\" takes it out of its queue.")));
        const QString removeQuestion =
            QStringLiteral("\n<Tavrol> Remove job 2 (other.gjf) from the Long Jobs Queue?  ");
        QCOMPARE(session->Send(QStringLiteral("remove job 2"), removeQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("no")),
                 Fact(QStringLiteral("Job 2 was not removed.")));
        QCOMPARE(session->Send(QStringLiteral("remove job 2"), removeQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("yes")), Fact(QStringLiteral("Job 2 removed.")));
        QCOMPARE(session->Send(QStringLiteral("show job 2")),
                 Fact(QStringLiteral("There is no job 2 in the queues or the finished jobs.")));

        const QString killQuestion =
            QStringLiteral("\n<Tavrol> Kill running job 1 (slow.gjf) of the Long Jobs Queue?  ");
        QCOMPARE(session->Send(QStringLiteral("kill job 1"), killQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("n")), Fact(QStringLiteral("Job 1 was not killed.")));
        QVERIFY(AnyAlive(standIn));
        QCOMPARE(session->Send(QStringLiteral("kill job 1"), killQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("y")), Fact(QStringLiteral("Job 1 killed.")));
        // The stand-in and its sleep are gone, long before the sleep would end.
        QTRY_VERIFY_WITH_TIMEOUT(!AnyAlive(standIn), 10000);
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
        QVERIFY(session->Send(QStringLiteral("list finished jobs"))
                    .contains(QRegularExpression(QStringLiteral("\n1 +slow\\.gjf +"))));
        QCOMPARE(session->Send(QStringLiteral("kill job 1")),
                 Fact(QStringLiteral("Job 1 is not in a queue: it is in the finished jobs.")));
        QCOMPARE(session->Send(QStringLiteral("remove job 1")),
                 Fact(QStringLiteral("Job 1 is not in a queue: it is in the finished jobs.")));

        // Removing a running job kills it, after its own question.
        AddJob(*session, QStringLiteral("add short job"), other);
        QVERIFY(WaitForStatus(*session, 3, QStringLiteral("Running")));
        QList<qint64> otherStandIn;
        QTRY_VERIFY_WITH_TIMEOUT((otherStandIn = ProcessesWith(other)).size() >= 2, 20000);
        QCOMPARE(session->Send(QStringLiteral("remove job 3"),
                               QStringLiteral("\n<Tavrol> Job 3 is running and removing it kills "
                                              "it.  Remove job 3 (other.gjf) from the Short Jobs "
                                              "Queue?  ")),
                 QString());
        QCOMPARE(session->Send(QStringLiteral("yes")),
                 Fact(QStringLiteral("Job 3 killed and removed.")));
        QTRY_VERIFY_WITH_TIMEOUT(!AnyAlive(otherStandIn), 10000);
    }

    void saveAndSaveAs()
    {
        Home home;
        const QString quick = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        const QString project = home.File(QStringLiteral("unnamed.tvrl"));
        {
            auto session = Start(home);
            QVERIFY(session);
            QCOMPARE(session->Send(QStringLiteral("save")),
                     Fact(QStringLiteral("The project has no file to save to: name one with "
                                         "\"save as PATH\".")));
            QCOMPARE(session->Send(QStringLiteral("save as ") + home.File(QStringLiteral("no/p"))),
                     Fact(QStringLiteral("Cannot save the project: no directory ") +
                          home.File(QStringLiteral("no"))));
            QCOMPARE(session->Send(QStringLiteral("pause long queue")),
                     Fact(QStringLiteral("Long Jobs Queue paused.")));
            AddJob(*session, QStringLiteral("add long job"), quick);
            // A relative name is taken from the current directory; ".tvrl" is added.
            QCOMPARE(session->Send(QStringLiteral("save as unnamed")),
                     Fact(QStringLiteral("Project saved to ") + project));
            QVERIFY(QFileInfo(project).size() > 0);
            QCOMPARE(session->Send(QStringLiteral("save")),
                     Fact(QStringLiteral("Project saved to ") + project));
            const QString replace = QStringLiteral("\n<Tavrol> ") + project +
                                    QStringLiteral(" exists already.  Replace it?  ");
            QCOMPARE(session->Send(QStringLiteral("save as unnamed"), replace), QString());
            QCOMPARE(session->Send(QStringLiteral("no")),
                     Fact(QStringLiteral("Nothing was saved.")));
            // A name that ends in ".tvrl" in any case is kept as it is.
            QCOMPARE(
                session->Send(QStringLiteral("save as copy.TVRL")),
                Fact(QStringLiteral("Project saved to ") + home.File(QStringLiteral("copy.TVRL"))));
            QVERIFY(!QFile::exists(home.File(QStringLiteral("copy.TVRL.tvrl"))));
            // Saved and unchanged since: the exit asks nothing more.
            QCOMPARE(session->Send(QStringLiteral("quit"), ExitQuestion), QString());
            session->Write(QStringLiteral("yes"));
            int exitCode = -2;
            QVERIFY(session->WaitForExit(&exitCode));
            QCOMPARE(exitCode, 0);
        }
        // The file reopens with its waiting job, in a paused queue that the
        // console unpauses.
        auto session = std::make_unique<ConsoleSession>(home.Environment(true));
        QVERIFY(session->Start({QStringLiteral("-console"), project}, home.Path()));
        QCOMPARE(session->WaitForFirstPrompt(), QStringLiteral("TavrolConsole 1.1.15, ") + project +
                                                    QStringLiteral("\n\n") + Prompt);
        QVERIFY(session->Send(QStringLiteral("list long jobs"))
                    .contains(QRegularExpression(QStringLiteral("\n1 +quick\\.gjf +Pending"))));
        session->Pause(1500);
        QVERIFY2(session->Send(QStringLiteral("show job 1"))
                     .contains(QStringLiteral("\nStatus:        Pending\n")),
                 "the reopened queue is paused");
        QCOMPARE(session->Send(QStringLiteral("unpause long queue")),
                 Fact(QStringLiteral("Long Jobs Queue unpaused.")));
        QVERIFY(WaitForStatus(*session, 1, QStringLiteral("Completed")));
    }
};

QTEST_GUILESS_MAIN(TestConsoleCommands)
#include "tst_consolecommands.moc"
