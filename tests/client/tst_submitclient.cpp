// The reusable part of tavrol-submit: its arguments, the request it builds
// with the protocol's writer, the ports it tries and its exit codes.

#include "client/submitclient.h"
#include "platform/computerdata.h"
#include "server/message.h"

#include <QBuffer>
#include <QDir>
#include <QTest>

class TestSubmitClient : public QObject
{
    Q_OBJECT

private slots:
    void argumentsBecomeOptions()
    {
        Tavrol_SubmitOptions options;
        QString error;
        QVERIFY(Tavrol_SubmitClient::ParseArguments(
            {"--gui", "--type", "Gaussian", "--queue=AUTO", "--name", "run 1", "--confirm", "--var",
             "NPROC=4", "--var=@MEM=2GB", "--wait", "--timeout", "30", "a.gjf", "--", "--b.gjf"},
            options, error));
        QCOMPARE(error, QString());
        QVERIFY(options.Target == Tavrol_SubmitOptions::Instance::GUI);
        QCOMPARE(options.JobTypeName, QStringLiteral("Gaussian"));
        QCOMPARE(options.Queue, QStringLiteral("Auto"));
        QCOMPARE(options.JobName, QStringLiteral("run 1"));
        QVERIFY(options.Confirm);
        QVERIFY(options.Wait);
        QCOMPARE(options.TimeoutSeconds, 30);
        QCOMPARE(options.Files, (QStringList{"a.gjf", "--b.gjf"}));
        QCOMPARE(options.Variables.size(), size_t(2));
        QCOMPARE(options.Variables[0].first, QStringLiteral("@NPROC"));
        QCOMPARE(options.Variables[1].first, QStringLiteral("@MEM"));
        QCOMPARE(options.Variables[1].second, QStringLiteral("2GB"));
    }

    void requestIsTheProtocolsText()
    {
        Tavrol_SubmitOptions options;
        options.JobTypeName = QStringLiteral("Gaussian");
        options.Queue = QStringLiteral("Short");
        options.Wait = true;
        options.Variables = {{QStringLiteral("@ROUTE"), QStringLiteral("a\nb")}};
        const Tavrol_Request request =
            Tavrol_SubmitClient::BuildRequest(options, QStringLiteral("/tmp/x/../w.gjf"), 40000);
        const QString text = Tavrol_Message::RequestText(request);
        const QString expected =
            QStringLiteral("clientname=tavrol-submit\nclientappname=tavrol-submit\n"
                           "clientaddress=127.0.0.1\nclientport=40000\nclientuid=%1\n"
                           "clientgid=%2\nclientnotification=1\naction=submitjob\n"
                           "jobtypename=Gaussian\njobqueue=Short\njobinputfile=/tmp/w.gjf\n"
                           "@ROUTE=a_;_b")
                .arg(Quolix_ComputerData::UID())
                .arg(Quolix_ComputerData::GID());
        QCOMPARE(text, expected);
        // Read back by the server's own reader, field for field.
        QByteArray bytes = text.toLocal8Bit();
        QBuffer buffer(&bytes);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        const Tavrol_Request read = Tavrol_Message::ReadRequest(&buffer);
        QCOMPARE(read.ClientPort, QStringLiteral("40000"));
        QCOMPARE(read.Action, QStringLiteral("submitjob"));
        QCOMPARE(read.JobInputFile, QStringLiteral("/tmp/w.gjf"));
        QVERIFY(!read.ConfirmAction);
        QCOMPARE(read.JobVariables, request.JobVariables);
    }

    void confirmAndNoWait()
    {
        Tavrol_SubmitOptions options;
        options.Confirm = true;
        const Tavrol_Request request =
            Tavrol_SubmitClient::BuildRequest(options, QStringLiteral("/f.gjf"), 40000);
        QCOMPARE(request.ClientPort, QStringLiteral("0"));
        QCOMPARE(request.ClientNotification, QStringLiteral("0"));
        QVERIFY(Tavrol_Message::RequestText(request).contains(
            QStringLiteral("\naction=submitjob\nconfirmaction=yes\njobinputfile=/f.gjf")));
    }

    void portsComeFromTheEnvironment()
    {
        const auto console = quint16(Quolix_ComputerData::TavrolConsolePortNumber());
        const auto gui = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        QCOMPARE(Tavrol_SubmitClient::CandidatePorts(Tavrol_SubmitOptions::Instance::Any),
                 (std::vector<quint16>{console, gui}));
        QCOMPARE(Tavrol_SubmitClient::CandidatePorts(Tavrol_SubmitOptions::Instance::GUI),
                 (std::vector<quint16>{gui}));
        qputenv("TAVROL_CONSOLE_PORT", "45678");
        QCOMPARE(Tavrol_SubmitClient::CandidatePorts(Tavrol_SubmitOptions::Instance::Console),
                 (std::vector<quint16>{45678}));
    }

    void statusWordsGiveTheExitCodes()
    {
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus("completed"), 0);
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus("failed"), 1);
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus("crashed"), 2);
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus("killed"), 3);
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus("finished"), 4);
        QCOMPARE(Tavrol_SubmitClient::ExitCodeForStatus(""), 4);
    }
};

QTEST_GUILESS_MAIN(TestSubmitClient)
#include "tst_submitclient.moc"
