// How a "submitjob" request becomes a job: job type by name, by extension or
// by the selection dialog, the queue words, the direct path's job, the
// confirmed path's per-file loop, and the user check.

#include "jobs/job.h"
#include "server/clientcheck.h"
#include "server/jobtypeselection.h"
#include "server/message.h"
#include "server/submitrequest.h"
#include "testsupport.h"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using TestSupport::RequestOf;

namespace {

Tavrol_JobType MakeType(int id, const QString& name, const QString& defaultQueue,
                        const QString& commandLine, const QString& filter)
{
    return Tavrol_JobType(id, name, QStringLiteral("g16"),
                          TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")),
                          defaultQueue, commandLine, filter, QStringLiteral("Logs (*.log)"),
                          QString());
}

std::vector<Tavrol_JobType> JobTypes()
{
    return {MakeType(4, QStringLiteral("Gaussian"), QStringLiteral("Long"),
                     QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                     QStringLiteral("Gaussian Input Files (*.gjf)")),
            MakeType(7, QStringLiteral("Cubegen"), QStringLiteral("Short"),
                     QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                     QStringLiteral("Checkpoints (*.fchk *.fch)")),
            MakeType(9, QStringLiteral("Tool"), QStringLiteral("Queueless"),
                     QStringLiteral("@EXEFILE -version"), QStringLiteral("Any (*.txt)")),
            MakeType(11, QStringLiteral("Odd"), QStringLiteral("Elsewhere"),
                     QStringLiteral("@EXEFILE @INFILE"), QStringLiteral("Odd (*.odd)"))};
}

QStringList Names(const std::vector<Tavrol_JobType>& jobTypes)
{
    QStringList names;
    for (const Tavrol_JobType& jobType : jobTypes)
        names.append(jobType.Name);
    return names;
}

Tavrol_SubmitRequest Submission(const QByteArray& text)
{
    const std::vector<Tavrol_JobType> jobTypes = JobTypes();
    return Tavrol_SubmitRequest(RequestOf(text), jobTypes, Names(jobTypes));
}

} // namespace

class TestRequestSubmit : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_gjf;
    QString m_fchk;
    QString m_xyz;

    QString Touch(const QString& name)
    {
        return TestSupport::WrittenFile(m_dir.filePath(name), "x\n");
    }

    QByteArray InputLine(const QString& path) const
    {
        return "jobinputfile=" + path.toLocal8Bit() + "\n";
    }

private slots:
    void initTestCase()
    {
        m_gjf = Touch(QStringLiteral("water.gjf"));
        m_fchk = Touch(QStringLiteral("water.fchk"));
        m_xyz = Touch(QStringLiteral("water.xyz"));
    }

    // Who asks is who owns the client's socket: the given ids must be its
    // own, root may speak for anyone, and an unknown owner asks for nothing.
    // An instance of a user above 0 still serves only that user.
    void userCheck_data()
    {
        const int user = 1000;
        const int group = TestSupport::FirstGroupOfUser(user);
        QTest::addColumn<QString>("clientUID");
        QTest::addColumn<QString>("clientGID");
        QTest::addColumn<int>("processUID");
        QTest::addColumn<int>("ownerUID");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("same") << "1000"
                              << "" << 1000 << 1000 << true;
        QTest::newRow("claims the process, owner other") << "1000"
                                                         << "" << 1000 << 1001 << false;
        QTest::newRow("owner unknown") << "1000"
                                       << "" << 1000 << -1 << false;
        QTest::newRow("other") << "1001"
                               << "" << 1000 << 1001 << false;
        QTest::newRow("empty") << ""
                               << "" << 1000 << 1000 << false;
        QTest::newRow("not a number") << "abc"
                                      << "" << 1000 << 1000 << false;
        QTest::newRow("trailing text") << "1000x"
                                       << "" << 1000 << 1000 << false;
        QTest::newRow("blank") << " 1000"
                               << "" << 1000 << 1000 << true; // toInt skips blanks
        QTest::newRow("root owner speaks for the user") << "1000"
                                                        << "0" << 1000 << 0 << true;
        QTest::newRow("root owner, other user") << "1001"
                                                << "" << 1000 << 0 << false;
        QTest::newRow("root process, own claim") << "1001"
                                                 << "" << 0 << 1001 << true;
        QTest::newRow("root process, false claim") << "0"
                                                   << "" << 0 << 1001 << false;
        QTest::newRow("root process, empty claim") << ""
                                                   << "" << 0 << 1001 << false;
        QTest::newRow("root process, unknown owner") << "1001"
                                                     << "" << 0 << -1 << false;
        QTest::newRow("root process, root owner") << ""
                                                  << "" << 0 << 0 << true;
        QTest::newRow("negative process, own claim") << "1001"
                                                     << "" << -1 << 1001 << true;
        QTest::newRow("root group claimed") << "1000"
                                            << "0" << 1000 << 1000 << (group == 0);
        QTest::newRow("group not a number") << "1000"
                                            << "abc" << 1000 << 1000 << false;
        if (group >= 0)
            QTest::newRow("own group") << "1000" << QString::number(group) << 1000 << 1000 << true;
    }

    void userCheck()
    {
        QFETCH(QString, clientUID);
        QFETCH(QString, clientGID);
        QFETCH(int, processUID);
        QFETCH(int, ownerUID);
        QFETCH(bool, allowed);
        QCOMPARE(Tavrol_ClientCheck::UserMayAsk(clientUID, clientGID, processUID, ownerUID),
                 allowed);
    }

    // Groups come from the system's user database: the primary group and
    // the supplementary ones.
    void groupsOfAUser()
    {
        QVERIFY(Tavrol_ClientCheck::IsGroupOf(0, 0)); // root's primary group
        QVERIFY(Tavrol_ClientCheck::IsGroupOf(int(getgid()), int(getuid())) || getuid() != 0);
        QVERIFY(!Tavrol_ClientCheck::IsGroupOf(0, 1999999)); // no such user
        QVERIFY(!Tavrol_ClientCheck::IsGroupOf(-1, 0));
        const int nobodyGroup = TestSupport::FirstGroupOfUser(65534);
        if (nobodyGroup < 0)
            QSKIP("no user 65534 on this system");
        QVERIFY(Tavrol_ClientCheck::IsGroupOf(nobodyGroup, 65534));
        QVERIFY(!Tavrol_ClientCheck::IsGroupOf(0, 65534));
    }

    void queueWords_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("selector");
        QTest::newRow("Long") << "Long" << 1;
        QTest::newRow("Longest") << "Longest" << 1;
        QTest::newRow("long") << "long" << 1;
        QTest::newRow("SHORT") << "SHORT" << 2;
        QTest::newRow("None") << "None" << 3;
        QTest::newRow("queueless") << "queueless" << 3;
        QTest::newRow("Queuefoo") << "Queuefoo" << 0;
        QTest::newRow("Auto") << "Auto" << 0;
        QTest::newRow("empty") << "" << 0;
        QTest::newRow(" Long") << " Long" << 0;
    }

    void queueWords()
    {
        QFETCH(QString, word);
        QFETCH(int, selector);
        QCOMPARE(Tavrol_SubmitRequest::QueueSelectorOf(word), selector);
    }

    void queueOfTheRequest_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<int>("selector");
        QTest::addColumn<QString>("queueName");
        QTest::newRow("word") << QByteArray("jobtypename=Gaussian\njobqueue=short\n") << 2
                              << "Short";
        QTest::newRow("auto takes default")
            << QByteArray("jobtypename=Cubegen\njobqueue=auto\n") << 2 << "Short";
        QTest::newRow("unknown word takes default")
            << QByteArray("jobtypename=Gaussian\njobqueue=Queuefoo\n") << 1 << "Long";
        QTest::newRow("no word takes default") << QByteArray("jobtypename=tool\n") << 3 << "None";
        QTest::newRow("auto without type") << QByteArray("jobqueue=AUTO\n") << 0 << "Auto";
        QTest::newRow("nothing") << QByteArray("jobqueue=x\n") << 0 << "";
        QTest::newRow("type without default") << QByteArray("jobtypename=Odd\n") << 0 << "";
    }

    void queueOfTheRequest()
    {
        QFETCH(QByteArray, lines);
        QFETCH(int, selector);
        QFETCH(QString, queueName);
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\n" + lines + InputLine(m_gjf));
        QVERIFY(submission.Prepare());
        QCOMPARE(submission.QueueSelector(), selector);
        QCOMPARE(submission.QueueName(), queueName);
    }

    void jobTypeByNameIgnoresCase()
    {
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=cUBEGEN\n" + InputLine(m_gjf));
        QVERIFY(submission.Prepare());
        QCOMPARE(submission.JobTypeIndex(), 1);
        QCOMPARE(submission.JobTypeID(), 7);
        QVERIFY(!submission.ConfirmRequested());
    }

    // An unknown name is no refusal: the file's extension picks the type,
    // and the user is then to confirm it.
    void unknownNameIsTheFirstTypeForTheFile()
    {
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=g09\n" + InputLine(m_fchk));
        QVERIFY(submission.Prepare());
        QCOMPARE(submission.JobTypeIndex(), 1);
        QVERIFY(submission.ConfirmRequested());
    }

    // Where nobody can answer the selection dialog it counts as cancelled.
    void unknownNameAndUnknownExtensionIsDropped()
    {
        QVERIFY(!Tavrol_JobTypeSelection::CanAsk());
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=g09\n" + InputLine(m_xyz));
        QVERIFY(!submission.Prepare());
        QCOMPARE(Tavrol_JobTypeSelection::Ask(QStringLiteral("text"), {QStringLiteral("A")}),
                 QString());
    }

    void selectionTexts()
    {
        const QString closing = QStringLiteral(
            "\n\nPlease select a Job Type for this input file or select None to skip this input "
            "file.\n");
        QCOMPARE(Tavrol_JobTypeSelection::AttemptedText(QStringLiteral("/a/b.xyz")),
                 QStringLiteral("Auto determination of Job Type was attempted but an appropriate "
                                "Job Type for the\nfollowing input file cannot be determined from "
                                "its extension:\n\n/a/b.xyz") +
                     closing);
        QCOMPARE(Tavrol_JobTypeSelection::RequestedText(QStringLiteral("c.d")),
                 QStringLiteral("Auto determination of Job Type was requested but an appropriate "
                                "Job Type for the\nfollowing input file cannot be determined from "
                                "its extension:\n\nc.d") +
                     closing);
        QCOMPARE(Tavrol_JobTypeSelection::Title, QStringLiteral("Submit Job, Select Job Type"));
    }

    void inputFileTheTypeNeeds_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<bool>("prepared");
        QTest::newRow("missing") << QByteArray("jobtypename=Gaussian\njobinputfile=/no/such.gjf")
                                 << false;
        QTest::newRow("empty") << QByteArray("jobtypename=Gaussian\n") << false;
        QTest::newRow("not needed") << QByteArray("jobtypename=Tool\n") << true;
        QTest::newRow("no type") << QByteArray("jobinputfile=/no/such.gjf") << true;
    }

    void inputFileTheTypeNeeds()
    {
        QFETCH(QByteArray, lines);
        QFETCH(bool, prepared);
        QCOMPARE(Submission("action=submitjob\n" + lines).Prepare(), prepared);
    }

    void directJobWithoutTypeIsDropped()
    {
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\nconfirmaction=yes\n" + InputLine(m_gjf));
        QVERIFY(submission.Prepare());
        QCOMPARE(submission.JobTypeIndex(), -1);
        QVERIFY(submission.ConfirmRequested());
        QVERIFY(!submission.MakeDirectJob(5));
        QCOMPARE(submission.InputFiles(), QStringList{m_gjf});
    }

    void directJobCarriesTheRequest()
    {
        const QString stdinFile = m_dir.filePath(QStringLiteral("answers.txt"));
        Tavrol_SubmitRequest submission = Submission(
            "clientname=Client\nclientappname=App\nclientaddress=127.0.0.1\nclientport=4567\n"
            "clientuid=1000\nclientgid=abc\nclientnotification=1\naction=submitjob\n"
            "jobtypename=gaussian\njobqueue=Short\njobclass=Opt\njobname=Named\n" +
            InputLine(m_gjf) + "jobstandardinputfile=" + stdinFile.toLocal8Bit() +
            "\njoboutputfile=  out.log  \njobstandardoutputfile=std.txt\njobchkfile=a.chk\n"
            "jobchkfile1=b.chk\n@MEMORY=2GB\n@note=a_;_b\n@MEMORY=4GB");
        QVERIFY(submission.Prepare());
        const std::unique_ptr<Tavrol_Job> job = submission.MakeDirectJob(12);
        QVERIFY(job);
        QCOMPARE(job->Name, QStringLiteral("Named"));
        QCOMPARE(job->JobType.Name, QStringLiteral("Gaussian"));
        QCOMPARE(job->ClientName, QStringLiteral("Client"));
        QCOMPARE(job->ClientAppName, QStringLiteral("App"));
        QCOMPARE(job->ClientAddress, QStringLiteral("127.0.0.1"));
        QCOMPARE(job->ClientPort, 4567);
        QCOMPARE(job->ClientUID, 1000);
        QCOMPARE(job->ClientGID, 0);
        QCOMPARE(job->ClientNotification, 1);
        QCOMPARE(job->QueueID, 1);
        QCOMPARE(job->QueueName, QStringLiteral("Short"));
        QCOMPARE(job->InputFilePath, m_gjf);
        QCOMPARE(job->JobID, 12);
        QCOMPARE(job->JobClass, QStringLiteral("Opt"));
        QCOMPARE(job->StandardInputFile, stdinFile);
        QCOMPARE(job->OutputFilePath, QStringLiteral("out.log"));
        QCOMPARE(job->StandardOutputFile, QStringLiteral("std.txt"));
        QCOMPARE(job->ChkFile, QStringLiteral("a.chk"));
        QCOMPARE(job->ChkFile1, QStringLiteral("b.chk"));
        const Tavrol_Replacements expected = {{QStringLiteral("@MEMORY"), QStringLiteral("2GB")},
                                              {QStringLiteral("@note"), QStringLiteral("a\nb")},
                                              {QStringLiteral("@MEMORY"), QStringLiteral("4GB")}};
        QCOMPARE(job->Replacements, expected);
    }

    void directJobName_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("name");
        QTest::newRow("given") << QByteArray("jobtypename=Gaussian\njobname=JOB x\n") << "JOB x";
        QTest::newRow("file") << QByteArray("jobtypename=Gaussian\n") << "water.gjf";
        QTest::newRow("id") << QByteArray("jobtypename=Tool\njobinputfile=\n") << "33";
    }

    void directJobName()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, name);
        QByteArray text = "action=submitjob\n" + lines;
        if (!lines.contains("jobinputfile="))
            text += InputLine(m_gjf);
        Tavrol_SubmitRequest submission = Submission(text);
        QVERIFY(submission.Prepare());
        const std::unique_ptr<Tavrol_Job> job = submission.MakeDirectJob(33);
        QVERIFY(job);
        QCOMPARE(job->Name, name);
    }

    void notificationField_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("notification");
        QTest::newRow("set") << QByteArray("clientnotification=1") << 1;
        QTest::newRow("other bits") << QByteArray("clientnotification=6") << 6;
        QTest::newRow("not a number") << QByteArray("clientnotification=yes") << 0;
        QTest::newRow("absent") << QByteArray() << 0;
    }

    void notificationField()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, notification);
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=Gaussian\n" + InputLine(m_gjf) + line);
        QVERIFY(submission.Prepare());
        const std::unique_ptr<Tavrol_Job> job = submission.MakeDirectJob(1);
        QVERIFY(job);
        QCOMPARE(job->ClientNotification, notification);
    }

    // A job with no queue fails the validity check and is dropped.
    void invalidDirectJobIsDropped()
    {
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=Odd\njobinputfile=" + m_gjf.toLocal8Bit());
        QVERIFY(submission.Prepare());
        QCOMPARE(submission.QueueSelector(), 0);
        QVERIFY(!submission.MakeDirectJob(1));
        Tavrol_SubmitRequest negativeID =
            Submission("action=submitjob\njobtypename=Gaussian\n" + InputLine(m_gjf));
        QVERIFY(negativeID.Prepare());
        QVERIFY(!negativeID.MakeDirectJob(-1));
    }

    // The confirmed path, once the files are checked: one job per file; the
    // request's files only for its own input file; no name from the request.
    void checkedFilesBecomeJobs()
    {
        const QString other = Touch(QStringLiteral("other.gjf"));
        Tavrol_SubmitRequest submission =
            Submission("clientname=C\nclientappname=A\nclientnotification=1\naction=submitjob\n"
                       "confirmaction=yes\njobtypename=Gaussian\njobname=ignored\n" +
                       InputLine(m_gjf) + "joboutputfile=req.log\njobchkfile=req.chk\n@X=1");
        QVERIFY(submission.Prepare());
        std::vector<std::unique_ptr<Tavrol_Job>> jobs;
        int nextID = 40;
        QStringList asked;
        submission.SubmitCheckedFiles(
            {m_gjf, m_dir.filePath(QStringLiteral("gone.gjf")), other, m_fchk},
            [&asked](const QString& file) {
                asked.append(QFileInfo(file).fileName());
                if (file.endsWith(QLatin1String(".fchk")))
                    return Tavrol_FileChoice{0, -1}; // auto, auto
                return Tavrol_FileChoice{3, 4};      // queueless, Gaussian
            },
            [&nextID] { return nextID++; },
            [&jobs](std::unique_ptr<Tavrol_Job> job) { jobs.push_back(std::move(job)); });
        QCOMPARE(asked, (QStringList{QStringLiteral("water.gjf"), QStringLiteral("other.gjf"),
                                     QStringLiteral("water.fchk")}));
        QCOMPARE(jobs.size(), size_t(3));
        QCOMPARE(jobs[0]->Name, QStringLiteral("water.gjf"));
        QCOMPARE(jobs[0]->JobID, 40);
        QCOMPARE(jobs[0]->QueueID, 2);
        QCOMPARE(jobs[0]->QueueName, QStringLiteral("None"));
        QCOMPARE(jobs[0]->OutputFilePath, QStringLiteral("req.log"));
        QCOMPARE(jobs[0]->ChkFile, QStringLiteral("req.chk"));
        QCOMPARE(jobs[1]->Name, QStringLiteral("other.gjf"));
        QCOMPARE(jobs[1]->ChkFile, QString());
        QVERIFY(jobs[1]->OutputFilePath != QStringLiteral("req.log"));
        QCOMPARE(jobs[1]->ClientNotification, 1);
        QCOMPARE(jobs[1]->Replacements.size(), size_t(1));
        QCOMPARE(jobs[2]->JobType.Name, QStringLiteral("Cubegen"));
        QCOMPARE(jobs[2]->QueueID, 1);
        QCOMPARE(jobs[2]->QueueName, QStringLiteral("Short"));
        QCOMPARE(jobs[2]->ClientName, QStringLiteral("C"));
    }

    // An unknown id keeps the type chosen before; a file that no type takes is
    // skipped where the dialog cannot be answered; an invalid job ends it all.
    void checkedFilesRules()
    {
        Tavrol_SubmitRequest submission =
            Submission("action=submitjob\njobtypename=Cubegen\n" + InputLine(m_fchk));
        QVERIFY(submission.Prepare());
        std::vector<std::unique_ptr<Tavrol_Job>> jobs;
        int nextID = 1;
        submission.SubmitCheckedFiles(
            {m_gjf, m_xyz, m_fchk, m_gjf},
            [](const QString& file) {
                static int calls = 0;
                if (file.endsWith(QLatin1String(".xyz")))
                    return Tavrol_FileChoice{2, -1};
                return Tavrol_FileChoice{0, calls++ == 0 ? 99 : 7};
            },
            [&nextID] { return nextID++ == 2 ? -1 : nextID; },
            [&jobs](std::unique_ptr<Tavrol_Job> job) { jobs.push_back(std::move(job)); });
        // water.gjf with the earlier Cubegen in its default queue; water.xyz
        // skipped; water.fchk gets the id -1, is invalid and ends the loop, so
        // the last file is never made a job.
        QCOMPARE(jobs.size(), size_t(1));
        QCOMPARE(jobs[0]->JobType.Name, QStringLiteral("Cubegen"));
        QCOMPARE(jobs[0]->QueueName, QStringLiteral("Short"));
        QCOMPARE(jobs[0]->InputFilePath, m_gjf);
        QCOMPARE(nextID, 3);
    }
};

QTEST_MAIN(TestRequestSubmit)
#include "tst_request_submit.moc"
