// The console run modes of the real program, driven through a pipe: start,
// caption, every command, the add flows, the exit and save questions, and
// project files made, saved, reopened and refused.

#include "consolesession.h"
#include "platform/computerdata.h"
#include "processcpu.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpSocket>
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
const QString EnterQueue = QStringLiteral("\n<Tavrol> Enter Queue:  ");
const QString EnterJobType = QStringLiteral("\n<Tavrol> Enter Job Type:  ");
const QString EnterInputFile = QStringLiteral("\n<Tavrol> Enter Input File:  ");
const QString SaveNamedQuestion =
    QStringLiteral("\n<Tavrol> Save Changes Made to Current Project Before Closing it?  ");

QString Greeting(const QString& projectText)
{
    return Caption + QStringLiteral(", ") + projectText + QStringLiteral("\n\n") + Prompt;
}

// Reads the stored general data value of a project file.
QString StoredValue(const QString& projectPath, const QString& name)
{
    const QString connection = QUuid::createUuid().toString();
    QString value;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(projectPath);
        if (database.open()) {
            QSqlQuery query(database);
            query.prepare(QStringLiteral("SELECT DataStr FROM GeneralData WHERE Name = ?"));
            query.addBindValue(name);
            if (query.exec() && query.next())
                value = query.value(0).toString();
        }
        database.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return value;
}

bool SetStoredValue(const QString& projectPath, const QString& name, const QString& value)
{
    const QString connection = QUuid::createUuid().toString();
    bool done = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(projectPath);
        if (database.open()) {
            QSqlQuery query(database);
            query.prepare(QStringLiteral("UPDATE GeneralData SET DataStr = ? WHERE Name = ?"));
            query.addBindValue(value);
            query.addBindValue(name);
            done = query.exec() && query.numRowsAffected() == 1;
        }
        database.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return done;
}

QByteArray FileStart(const QString& path, int length)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.read(length);
}

// How many children of a process still run: started and not yet ended. A
// child that has ended but is not yet reaped (a zombie) does not count.
int LiveChildren(qint64 parent)
{
    int live = 0;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = stat.readAll();
        // Fields after the command name: the state, then the parent's id.
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields[1].toLongLong() == parent && fields[0] != "Z")
            ++live;
    }
    return live;
}
} // namespace

class TestConsole : public QObject
{
    Q_OBJECT

private:
    // Starts the console in a home of its own and waits for the first prompt.
    std::unique_ptr<ConsoleSession> Start(const Home& home, bool standIns,
                                          const QStringList& arguments, QString* greeting,
                                          const QString& workingDirectory = QString())
    {
        auto session = std::make_unique<ConsoleSession>(home.Environment(standIns));
        if (!session->Start(arguments, workingDirectory.isEmpty() ? home.Path() : workingDirectory))
            return nullptr;
        *greeting = session->WaitForFirstPrompt();
        return session;
    }

    // Waits until the finished jobs listing shows count rows with the word.
    static bool WaitForFinished(ConsoleSession& session, const QString& word, int count,
                                QString* listing = nullptr)
    {
        for (int attempt = 0; attempt < 100; ++attempt) {
            const QString text = session.Send(QStringLiteral("list finished jobs"));
            if (text.count(QStringLiteral("  ") + word + QStringLiteral("  ")) >= count) {
                if (listing)
                    *listing = text;
                return true;
            }
            session.Pause(200);
        }
        return false;
    }

    // Adds a job through the console's add flow, answering each question.
    static void AddJob(ConsoleSession& session, const QString& command, const QString& jobType,
                       const QString& inputFile)
    {
        QCOMPARE(session.Send(command, EnterJobType), QString());
        QCOMPARE(session.Send(jobType, EnterInputFile), QString());
        QCOMPARE(session.Send(inputFile), QString());
    }

    static void QuitWithAnswers(ConsoleSession& session)
    {
        QCOMPARE(session.Send(QStringLiteral("quit"), ExitQuestion), QString());
        session.Write(QStringLiteral("yes"));
    }

private slots:
    void startShowsCaptionOfNewProject()
    {
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(QStringLiteral("New Project")));
    }

    void everyConsoleOptionStartsTheConsole_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("-console") << QStringList{QStringLiteral("-console")};
        QTest::newRow("-nogui") << QStringList{QStringLiteral("-nogui")};
        QTest::newRow("-newconsole") << QStringList{QStringLiteral("-newconsole")};
        QTest::newRow("both") << QStringList{QStringLiteral("-console"),
                                             QStringLiteral("-newconsole")};
    }

    void everyConsoleOptionStartsTheConsole()
    {
        QFETCH(QStringList, arguments);
        Home home;
        QString greeting;
        auto session = Start(home, false, arguments, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(QStringLiteral("New Project")));
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
    }

    // Default job types make rows, so an unnamed project with them is unsaved.
    void defaultJobTypesMakeAnUnsavedProject()
    {
        Home home;
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(QStringLiteral("Unsaved Project")));
        const QString types = session->Send(QStringLiteral("list job types"));
        QVERIFY2(types.startsWith(QStringLiteral("\nJob Types\nDBID  Name  ")), qPrintable(types));
        QVERIFY(types.contains(QStringLiteral("\n0     Ombrix    ")));
        QVERIFY(types.contains(QStringLiteral("\n1     Gaussian  ")));
    }

    void emptyListings_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("expected");
        QTest::newRow("long") << "list long jobs"
                              << "\nLong Jobs Queue is Empty\n\n";
        QTest::newRow("short") << "list short jobs"
                               << "\nShort Jobs Queue is Empty\n\n";
        QTest::newRow("queueless") << "list queueless jobs"
                                   << "\nQueueless Jobs List is Empty\n\n";
        QTest::newRow("finished") << "list finished jobs"
                                  << "\nFinished Jobs List is Empty\n\n";
        QTest::newRow("job types") << "list job types"
                                   << "\nJob Types List is Empty\n\n";
    }

    void emptyListings()
    {
        QFETCH(QString, command);
        QFETCH(QString, expected);
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(command), expected);
    }

    // "list all running jobs" shows the whole process table; "list running
    // jobs" only the programs of known job types, of which none runs here.
    void runningJobsListings()
    {
        Home home;
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("list running jobs")),
                 QStringLiteral("\nRunning Jobs List is Empty\n\n"));
        const QString all = session->Send(QStringLiteral("list all running jobs"));
        QVERIFY2(all.startsWith(QStringLiteral("\nRunning Jobs\nUser ")), qPrintable(all));
        QVERIFY(all.contains(QStringLiteral("Process ID  Parent Process ID  App Name")));
        QVERIFY(all.contains(QStringLiteral("/tavrol -console")));
        QVERIFY(all.endsWith(QStringLiteral("\n\n")));
        QCOMPARE(session->Send(QStringLiteral("list running jobs")),
                 QStringLiteral("\nRunning Jobs List is Empty\n\n"));
    }

    // With no job type known, the list is not narrowed at all.
    void runningJobsWithoutJobTypes()
    {
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        const QString known = session->Send(QStringLiteral("list running jobs"));
        QVERIFY2(known.startsWith(QStringLiteral("\nRunning Jobs\nUser ")), qPrintable(known));
        QVERIFY(known.contains(QStringLiteral("/tavrol -console")));
    }

    void pwdAndCd()
    {
        Home home;
        QTemporaryDir elsewhere;
        const QString start = QDir(home.Path()).absolutePath();
        const QString other = QDir(elsewhere.path()).absolutePath();
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        const auto line = [](const QString& path) {
            return QStringLiteral("\nCurrent Directory:  ") + path + QStringLiteral("\n\n");
        };
        QCOMPARE(session->Send(QStringLiteral("pwd")), line(start));
        QCOMPARE(session->Send(QStringLiteral("  pwd  ")), line(start));
        QCOMPARE(session->Send(QStringLiteral("cd ") + other), line(other));
        QCOMPARE(session->Send(QStringLiteral("pwd")), line(other));
        // Two blanks leave a blank in front of the path: the change fails and
        // the current directory is printed all the same.
        QCOMPARE(session->Send(QStringLiteral("cd  ") + start), line(other));
        QCOMPARE(session->Send(QStringLiteral("cd /no/such/directory")), line(other));
        QCOMPARE(session->Send(QStringLiteral("cd")), line(start)); // home
    }

    void clearRunsTheClearCommand()
    {
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        const QString text = session->Send(QStringLiteral("clear"));
        QVERIFY2(text.startsWith(QStringLiteral("\x1b[H\x1b[2J")),
                 qPrintable(text.toUtf8().toHex()));
    }

    void lsGoesToTheShell()
    {
        Home home;
        QTemporaryDir directory;
        QVERIFY(!E2E::WriteFile(directory.filePath(QStringLiteral("b.txt")), "b").isEmpty());
        QVERIFY(!E2E::WriteFile(directory.filePath(QStringLiteral("a.gjf")), "a").isEmpty());
        QString greeting;
        auto session =
            Start(home, false, {QStringLiteral("-console")}, &greeting, directory.path());
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("ls")), QStringLiteral("\na.gjf\nb.txt\n\n\n"));
        QCOMPARE(session->Send(QStringLiteral("ls b.txt")), QStringLiteral("\nb.txt\n\n\n"));
        const QString longListing = session->Send(QStringLiteral("ls -l"));
        QVERIFY2(longListing.startsWith(QStringLiteral("\ntotal ")), qPrintable(longListing));
        QVERIFY(longListing.contains(QStringLiteral(" a.gjf\n")));
        // Standard error is dropped: only the (empty) standard output shows.
        QCOMPARE(session->Send(QStringLiteral("ls no-such-file")), QStringLiteral("\n\n\n"));
        // A quote ends the quoted command; what follows is the shell's next word.
        QCOMPARE(session->Send(QStringLiteral("ls \"b.txt\"")), QStringLiteral("\nb.txt\n\n\n"));
        QCOMPARE(session->Send(QStringLiteral("lsx")), QString());
        QCOMPARE(session->Send(QStringLiteral("LS")), QString());
    }

    void unknownCommandsAreIgnoredSilently_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("capitals") << "LIST LONG JOBS";
        QTest::newRow("empty") << "";
        QTest::newRow("blanks") << "   ";
        QTest::newRow("unknown") << "hello";
        QTest::newRow("inner blanks") << "list  long jobs";
        QTest::newRow("queue word") << "add none job";
        QTest::newRow("list") << "list";
    }

    void unknownCommandsAreIgnoredSilently()
    {
        QFETCH(QString, command);
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(command), QString());
        QVERIFY(session->IsRunning());
    }

    void addFlowsCancelAndRetry()
    {
        Home home;
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        // The queue question: "queueless" is no answer there, "CANCEL" is.
        QCOMPARE(session->Send(QStringLiteral("add job"), EnterQueue), QString());
        QCOMPARE(session->Send(QStringLiteral("queueless"), EnterQueue), QStringLiteral("\n"));
        QCOMPARE(session->Send(QString(), EnterQueue), QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("CANCEL")), QString());
        // The job type question: neither an unknown name nor an unknown id.
        QCOMPARE(session->Send(QStringLiteral("submit long job"), EnterJobType), QString());
        QCOMPARE(session->Send(QStringLiteral("gaussian"), EnterJobType), QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("99"), EnterJobType), QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("Cancel")), QString());
        // The input file question takes only the word in lower case.
        QCOMPARE(session->Send(QStringLiteral("add short job"), EnterJobType), QString());
        QCOMPARE(session->Send(QStringLiteral("Gaussian"), EnterInputFile), QString());
        QCOMPARE(session->Send(home.File(QStringLiteral("missing.gjf")), EnterInputFile),
                 QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("CANCEL"), EnterInputFile), QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("cancel")), QString());
        // The job type by its id, then a cancel at the file.
        QCOMPARE(session->Send(QStringLiteral("add queueless job"), EnterJobType), QString());
        QCOMPARE(session->Send(QStringLiteral("1"), EnterInputFile), QString());
        QCOMPARE(session->Send(QStringLiteral("cancel")), QString());
        QCOMPARE(session->Send(QStringLiteral("add job"), EnterQueue), QString());
        QCOMPARE(session->Send(QStringLiteral("None"), EnterJobType), QString());
        QCOMPARE(session->Send(QStringLiteral("cancel")), QString());
        for (const char* command : {"list long jobs", "list short jobs", "list queueless jobs"})
            QVERIFY(
                session->Send(QLatin1String(command)).endsWith(QStringLiteral(" is Empty\n\n")));
        QCOMPARE(session->Send(QStringLiteral("list finished jobs")),
                 QStringLiteral("\nFinished Jobs List is Empty\n\n"));
    }

    // Each add command puts a job in its queue; the stand-in runs to its end.
    void addedJobsRunToTheEnd()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "water\n");
        const QString slow =
            E2E::WriteFile(home.File(QStringLiteral("slow.gjf")), "#standin sleep=60\n");
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("add job"), EnterQueue), QString());
        AddJobAfterQueue(*session, QStringLiteral("long"), QStringLiteral("Gaussian"), input);
        AddJob(*session, QStringLiteral("submit short job"), QStringLiteral("1"), slow);
        AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"), input);
        QString finished;
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 2, &finished));
        QVERIFY2(finished.contains(QRegularExpression(
                     QStringLiteral("\n1 +water\\.gjf +Completed +Gaussian +Long +"))),
                 qPrintable(finished));
        QVERIFY2(finished.contains(QRegularExpression(
                     QStringLiteral("\n3 +water\\.gjf +Completed +Gaussian +None +"))),
                 qPrintable(finished));
        const QString shortJobs = session->Send(QStringLiteral("list short jobs"));
        QVERIFY2(shortJobs.startsWith(QStringLiteral("\nShort Jobs Queue\nJob ID  Name      "
                                                     "Status   Job Type  Executable Path")),
                 qPrintable(shortJobs));
        QVERIFY(shortJobs.contains(
            QRegularExpression(QStringLiteral("\n2 +slow\\.gjf +Running +Gaussian +"))));
        QCOMPARE(FileStart(home.File(QStringLiteral("water.log")), 11), QByteArray("g16 output\n"));
    }

    void quitAnsweredNoGoesBackToThePrompt_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("answer");
        QTest::newRow("QUIT no") << "QUIT"
                                 << "no";
        QTest::newRow("exit n") << "exit"
                                << "n";
        QTest::newRow("Exit empty") << "Exit"
                                    << "";
        QTest::newRow("quit 2") << "quit"
                                << "2";
    }

    void quitAnsweredNoGoesBackToThePrompt()
    {
        QFETCH(QString, command);
        QFETCH(QString, answer);
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(command, ExitQuestion), QString());
        QCOMPARE(session->Send(answer), QStringLiteral("\n"));
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
    }

    void quitAnsweredYesEndsTheProcess_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("answer");
        QTest::newRow("QUIT YES") << "QUIT"
                                  << "YES";
        QTest::newRow("exit y") << "exit"
                                << "y";
        QTest::newRow("quit 1") << "quit"
                                << "1";
    }

    // An unchanged project is closed without a save question.
    void quitAnsweredYesEndsTheProcess()
    {
        QFETCH(QString, command);
        QFETCH(QString, answer);
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(session->Send(command, ExitQuestion), QString());
        session->Write(answer);
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), QStringLiteral("\n"));
    }

    void saveQuestionForAnUnnamedProject_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("ends");
        // "yes" cannot save: the console has no way to name a file.
        QTest::newRow("yes") << "yes" << false;
        QTest::newRow("no") << "no" << true;
        QTest::newRow("NO") << "NO" << true;
        QTest::newRow("other") << "later" << false;
    }

    void saveQuestionForAnUnnamedProject()
    {
        QFETCH(QString, answer);
        QFETCH(bool, ends);
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"), input);
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
        QuitWithAnswers(*session);
        QCOMPARE(session->WaitForEnding(SaveUnnamedQuestion), QString());
        if (!ends) {
            QCOMPARE(session->Send(answer), QStringLiteral("\n"));
            QVERIFY(session->IsRunning());
            // Asked again at the next exit.
            QuitWithAnswers(*session);
            QCOMPARE(session->WaitForEnding(SaveUnnamedQuestion), QString());
            answer = QStringLiteral("no");
        }
        session->Write(answer);
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(session->Unread(), QStringLiteral("\n"));
    }

    void saveQuestionForANamedProject_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("ends");
        QTest::addColumn<bool>("written");
        QTest::newRow("yes") << "yes" << true << true;
        QTest::newRow("Yes") << "Yes" << true << true;
        QTest::newRow("no") << "no" << true << false;
        QTest::newRow("other") << "y" << false << false;
    }

    // An existing empty file named on the command line becomes a new project
    // with that path, and "yes" at the save question writes it.
    void saveQuestionForANamedProject()
    {
        QFETCH(QString, answer);
        QFETCH(bool, ends);
        QFETCH(bool, written);
        Home home;
        const QString project = E2E::WriteFile(home.File(QStringLiteral("made.tvrl")), "");
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(project));
        AddJob(*session, QStringLiteral("add long job"), QStringLiteral("Gaussian"), input);
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
        QuitWithAnswers(*session);
        QCOMPARE(session->WaitForEnding(SaveNamedQuestion), QString());
        if (!ends) {
            QCOMPARE(session->Send(answer), QStringLiteral("\n"));
            QVERIFY(session->IsRunning());
            QCOMPARE(QFileInfo(project).size(), 0);
            session->Kill();
            return;
        }
        session->Write(answer);
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        if (written) {
            QCOMPARE(FileStart(project, 16), QByteArray("SQLite format 3\0", 16));
            QCOMPARE(StoredValue(project, QStringLiteral("Version")), QStringLiteral("2"));
            QCOMPARE(StoredValue(project, QStringLiteral("LastJobID")), QStringLiteral("1"));
        } else {
            QCOMPARE(QFileInfo(project).size(), 0);
        }
    }

    // A saved project comes back with its waiting jobs Pending in a paused
    // queue, its finished jobs, and its job numbers going on.
    void savedProjectReopens()
    {
        Home home;
        const QString project = E2E::WriteFile(home.File(QStringLiteral("p.tvrl")), "");
        const QString quick = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        const QString slow =
            E2E::WriteFile(home.File(QStringLiteral("slow.gjf")), "#standin sleep=60\n");
        {
            QString greeting;
            auto session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
            QVERIFY(session);
            AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"),
                   quick);
            QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
            AddJob(*session, QStringLiteral("add long job"), QStringLiteral("Gaussian"), slow);
            AddJob(*session, QStringLiteral("add long job"), QStringLiteral("Gaussian"), quick);
            const QString longJobs = session->Send(QStringLiteral("list long jobs"));
            QVERIFY(
                longJobs.contains(QRegularExpression(QStringLiteral("\n2 +slow\\.gjf +Running"))));
            QVERIFY(
                longJobs.contains(QRegularExpression(QStringLiteral("\n3 +quick\\.gjf +Pending"))));
            QuitWithAnswers(*session);
            QCOMPARE(session->WaitForEnding(SaveNamedQuestion), QString());
            session->Write(QStringLiteral("yes"));
            int exitCode = -2;
            QVERIFY(session->WaitForExit(&exitCode));
            QCOMPARE(exitCode, 0);
        }
        QCOMPARE(StoredValue(project, QStringLiteral("LastJobID")), QStringLiteral("3"));
        // No file named: the most recent project is opened.
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(project));
        const auto pendingJobs = [&session] {
            const QString longJobs = session->Send(QStringLiteral("list long jobs"));
            return longJobs.contains(
                       QRegularExpression(QStringLiteral("\n2 +slow\\.gjf +Pending"))) &&
                   longJobs.contains(
                       QRegularExpression(QStringLiteral("\n3 +quick\\.gjf +Pending")));
        };
        QVERIFY(pendingJobs());
        session->Pause(1500);
        QVERIFY2(pendingJobs(), "the reopened queue is paused");
        QString finished;
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1, &finished));
        QVERIFY(finished.contains(QRegularExpression(
            QStringLiteral("\n1 +quick\\.gjf +Completed +Gaussian +Queueless +"))));
        // The job numbers go on from "LastJobID".
        AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"), quick);
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 2, &finished));
        QVERIFY2(
            finished.contains(QRegularExpression(QStringLiteral("\n4 +quick\\.gjf +Completed"))),
            qPrintable(finished));
        // The project named on the command line opens the same way.
        session->Kill();
        session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(project));
        QVERIFY(pendingJobs());
    }

    void unreadableProjectFallsBackToANewProject_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("not a database") << QByteArray("this is not a database\n");
        QTest::newRow("binary") << QByteArray("\x00\x01\x02\x03 SQLite", 11);
    }

    // A file that is not a project gives a new project with the same path.
    void unreadableProjectFallsBackToANewProject()
    {
        QFETCH(QByteArray, contents);
        Home home;
        const QString project = E2E::WriteFile(home.File(QStringLiteral("bad.tvrl")), contents);
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(project));
        QVERIFY(session->Send(QStringLiteral("list job types"))
                    .contains(QStringLiteral("\n1     Gaussian  ")));
        AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"), input);
        QString finished;
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1, &finished));
        QVERIFY(finished.contains(QRegularExpression(QStringLiteral("\n1 +a\\.gjf +Completed"))));
        // The new project was not changed by opening it: no save question.
        QuitWithAnswers(*session);
        QCOMPARE(session->WaitForEnding(SaveNamedQuestion), QString());
        session->Write(QStringLiteral("no"));
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
        QCOMPARE(FileStart(project, 100), contents);
    }

    // Another "Version", or a "LastJobID" that leaves no job id, refuses the
    // file: a new project with its path takes its place.
    void unusableProjectIsRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("value");
        QTest::newRow("Version 3") << "Version"
                                   << "3";
        // No job id left to hand out.
        QTest::newRow("LastJobID at the int limit") << "LastJobID"
                                                    << "2147483647";
    }

    void unusableProjectIsRefused()
    {
        QFETCH(QString, name);
        QFETCH(QString, value);
        Home home;
        const QString project = E2E::WriteFile(home.File(QStringLiteral("old.tvrl")), "");
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        {
            QString greeting;
            auto session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
            QVERIFY(session);
            AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"),
                   input);
            QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
            QuitWithAnswers(*session);
            QCOMPARE(session->WaitForEnding(SaveNamedQuestion), QString());
            session->Write(QStringLiteral("yes"));
            QVERIFY(session->WaitForExit(nullptr));
        }
        QVERIFY(SetStoredValue(project, name, value));
        QString greeting;
        auto session = Start(home, true, {QStringLiteral("-console"), project}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(project));
        QCOMPARE(session->Send(QStringLiteral("list finished jobs")),
                 QStringLiteral("\nFinished Jobs List is Empty\n\n"));
        // The job numbers start anew in the new project, and a save
        // overwrites the refused file.
        AddJob(*session, QStringLiteral("add queueless job"), QStringLiteral("Gaussian"), input);
        QString finished;
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1, &finished));
        QVERIFY(finished.contains(QRegularExpression(QStringLiteral("\n1 +a\\.gjf +Completed"))));
        QuitWithAnswers(*session);
        QCOMPARE(session->WaitForEnding(SaveNamedQuestion), QString());
        session->Write(QStringLiteral("yes"));
        QVERIFY(session->WaitForExit(nullptr));
        QCOMPARE(StoredValue(project, QStringLiteral("Version")), QStringLiteral("2"));
        QCOMPARE(StoredValue(project, QStringLiteral("LastJobID")), QStringLiteral("1"));
    }

    void missingProjectFileEndsWithStatus1()
    {
        Home home;
        ConsoleSession session(home.Environment(false));
        QVERIFY(session.Start({QStringLiteral("-console"), home.File(QStringLiteral("none.tvrl"))},
                              home.Path()));
        int exitCode = -2;
        QVERIFY(session.WaitForExit(&exitCode));
        QCOMPARE(exitCode, 1);
        QCOMPARE(session.Output(), QString());
    }

    // A line longer than the reader's buffer is cut, and the rest of it is
    // dropped rather than taken as the next command.
    void longLinesAreCut()
    {
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        const QString here = QDir(home.Path()).absolutePath();
        // 1039 characters fit: "pwd" and blanks, then the cut drops "zzz".
        QCOMPARE(session->Send(QStringLiteral("pwd") + QString(1036, QLatin1Char(' ')) +
                               QStringLiteral("zzz")),
                 QStringLiteral("\nCurrent Directory:  ") + here + QStringLiteral("\n\n"));
        // The part beyond the buffer never becomes a command of its own.
        QCOMPARE(session->Send(QString(1039, QLatin1Char('x')) + QStringLiteral("pwd")), QString());
        QCOMPARE(session->Send(QString(5000, QLatin1Char('y'))), QString());
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
        QCOMPARE(session->Send(QStringLiteral("list short jobs")),
                 QStringLiteral("\nShort Jobs Queue is Empty\n\n"));
    }

    // At the end of the input the reader keeps waiting, without spinning.
    void endOfInputDoesNotSpin()
    {
        Home home;
        QString greeting;
        auto session = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(session);
        session->CloseInput();
        session->Pause(500);
        const long long before = TestSupport::ProcessCpuTicks(session->ProcessId());
        QVERIFY(before >= 0);
        session->Pause(2000);
        const long long after = TestSupport::ProcessCpuTicks(session->ProcessId());
        const double seconds = double(after - before) / double(sysconf(_SC_CLK_TCK));
        QVERIFY2(seconds < 0.5, qPrintable(QString::number(seconds)));
        QVERIFY(session->IsRunning());
        QCOMPARE(session->Unread(), QString());
    }

    // Without an event loop the prompt runs on the main thread; jobs move on
    // between commands.
    void noEventLoop()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("a.gjf")), "a\n");
        QString greeting;
        auto session = Start(
            home, true, {QStringLiteral("-console"), QStringLiteral("-noeventloop")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(QStringLiteral("Unsaved Project")));
        QCOMPARE(session->Send(QStringLiteral("pwd")), QStringLiteral("\nCurrent Directory:  ") +
                                                           QDir(home.Path()).absolutePath() +
                                                           QStringLiteral("\n\n"));
        AddJob(*session, QStringLiteral("add short job"), QStringLiteral("Gaussian"), input);
        QVERIFY(WaitForFinished(*session, QStringLiteral("Completed"), 1));
        QCOMPARE(session->Send(QStringLiteral("quit"), ExitQuestion), QString());
        QCOMPARE(session->Send(QStringLiteral("no")), QStringLiteral("\n"));
        QuitWithAnswers(*session);
        QCOMPARE(session->WaitForEnding(SaveUnnamedQuestion), QString());
        session->Write(QStringLiteral("no"));
        int exitCode = -2;
        QVERIFY(session->WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
    }

    // Without an event loop, a job that ended while the prompt waited is seen
    // as ended by the very next command: the process's end and the runner's
    // signal that follows it are both served before that command runs.
    void noEventLoopSeesAnEndedJobAtTheNextCommand()
    {
        Home home;
        const QString input = E2E::WriteFile(home.File(QStringLiteral("quick.gjf")), "q\n");
        const QString output = home.File(QStringLiteral("quick.log"));
        QString greeting;
        auto session = Start(
            home, true, {QStringLiteral("-console"), QStringLiteral("-noeventloop")}, &greeting);
        QVERIFY(session);
        QCOMPARE(greeting, Greeting(QStringLiteral("Unsaved Project")));
        AddJob(*session, QStringLiteral("add long job"), QStringLiteral("Gaussian"), input);
        // The stand-in writes its output file last, then ends; wait for both.
        const QByteArray written = "g16 output\ninput: " + input.toLocal8Bit() + '\n';
        QTRY_COMPARE_WITH_TIMEOUT(FileStart(output, 4096), written, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(LiveChildren(session->ProcessId()), 0, 20000);
        const QString finished = session->Send(QStringLiteral("list finished jobs"));
        QVERIFY2(finished.contains(QRegularExpression(
                     QStringLiteral("\n1 +quick\\.gjf +Completed +Gaussian +Long +"))),
                 qPrintable(finished));
        QCOMPARE(session->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
    }

    // One console instance per port: a second start ends at once, silently.
    void secondConsoleStartEndsWithStatus0()
    {
        Home home;
        QString greeting;
        auto first = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(first);
        ConsoleSession second(home.Environment(false));
        QVERIFY(second.Start({QStringLiteral("-console")}, home.Path()));
        int exitCode = -2;
        QVERIFY(second.WaitForExit(&exitCode, 10000));
        QCOMPARE(exitCode, 0);
        QCOMPARE(second.Output(), QString());
        QCOMPARE(first->Send(QStringLiteral("list long jobs")),
                 QStringLiteral("\nLong Jobs Queue is Empty\n\n"));
    }

    // The GUI tests its own port, so a console instance does not stop it: it
    // comes up and listens on the GUI port.
    void guiStartBesideAConsoleIsNotRefused()
    {
        Home home;
        QString greeting;
        auto console = Start(home, false, {QStringLiteral("-console")}, &greeting);
        QVERIFY(console);
        ConsoleSession gui(home.Environment(false));
        QVERIFY(gui.Start({}, home.Path()));
        const quint16 guiPort = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        bool listening = false;
        for (int attempt = 0; attempt < 100 && !listening && gui.IsRunning(); ++attempt) {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress(QHostAddress::LocalHost), guiPort);
            listening = probe.waitForConnected(200);
            if (!listening)
                gui.Pause(100);
        }
        QVERIFY(listening);
        QVERIFY(gui.IsRunning());
        gui.Kill();
    }

private:
    static void AddJobAfterQueue(ConsoleSession& session, const QString& queue,
                                 const QString& jobType, const QString& inputFile)
    {
        QCOMPARE(session.Send(queue, EnterJobType), QString());
        QCOMPARE(session.Send(jobType, EnterInputFile), QString());
        QCOMPARE(session.Send(inputFile), QString());
    }
};

QTEST_GUILESS_MAIN(TestConsole)
#include "tst_console.moc"
