#include "server/message.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "server/messagesender.h"
#include "testsupport.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using Variables = std::vector<std::pair<QString, QString>>;

using TestSupport::ReadUntilClosed;
using TestSupport::ReceiveAll;
using TestSupport::RequestOf;

namespace {

QByteArray ReadCorpusFile(const QString& name)
{
    QFile file(TestSupport::TestDataPath(QStringLiteral("requests/") + name));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

QString Local(const QByteArray& bytes)
{
    return QString::fromLocal8Bit(bytes);
}

bool SameRequest(const Tavrol_Request& a, const Tavrol_Request& b)
{
    return a.ClientName == b.ClientName && a.ClientAppName == b.ClientAppName &&
           a.ClientAddress == b.ClientAddress && a.ClientPort == b.ClientPort &&
           a.ClientUID == b.ClientUID && a.ClientGID == b.ClientGID &&
           a.ClientNotification == b.ClientNotification && a.Action == b.Action &&
           a.ConfirmAction == b.ConfirmAction && a.JobSilent == b.JobSilent &&
           a.JobTypeName == b.JobTypeName && a.JobClass == b.JobClass && a.JobName == b.JobName &&
           a.JobQueue == b.JobQueue && a.JobInputFile == b.JobInputFile &&
           a.JobInputFile2 == b.JobInputFile2 && a.JobStandardInputFile == b.JobStandardInputFile &&
           a.JobOutputFile == b.JobOutputFile &&
           a.JobStandardOutputFile == b.JobStandardOutputFile && a.JobChkFile == b.JobChkFile &&
           a.JobChkFile1 == b.JobChkFile1 && a.JobVariables == b.JobVariables;
}

// A listening server and a connected client on the loopback address; the
// server's end is what the reader gets, as in the request server.
class Connection
{
public:
    bool Open()
    {
        if (!m_server.listen(QHostAddress(QHostAddress::LocalHost), 0))
            return false;
        m_client.connectToHost(QHostAddress(QHostAddress::LocalHost), m_server.serverPort());
        if (!m_client.waitForConnected(30000) || !m_server.waitForNewConnection(30000))
            return false;
        m_serverSide.reset(m_server.nextPendingConnection());
        return m_serverSide != nullptr;
    }
    QTcpSocket& Client() { return m_client; }
    QTcpSocket* ServerSide() { return m_serverSide.get(); }

private:
    QTcpServer m_server;
    QTcpSocket m_client;
    std::unique_ptr<QTcpSocket> m_serverSide;
};

Tavrol_Job MakeJob()
{
    Tavrol_JobType type;
    type.Name = QStringLiteral("Gaussian");
    Tavrol_Job job;
    job.JobType = type;
    job.ClientName = QStringLiteral("Visualizer");
    job.ClientAppName = QStringLiteral("VisualizerApp");
    job.ClientAddress = QStringLiteral("127.0.0.1");
    job.ClientPort = 40001;
    job.ClientUID = 1000;
    job.ClientGID = 100;
    job.ClientNotification = 1;
    job.Status = JobStatusCompleted;
    job.JobClass = QStringLiteral("OptFreq");
    job.QueueName = QStringLiteral("Long");
    job.InputFilePath = QStringLiteral("/Data/Water.gjf");
    job.InputFilePath2 = QString();
    job.StandardInputFile = QStringLiteral("/Data/In.txt");
    job.OutputFilePath = QStringLiteral("/Data/Water.LOG");
    job.StandardOutputFile = QStringLiteral("/Data/Out.txt");
    job.Name = QStringLiteral("never sent");
    job.Replacements = {{QStringLiteral("@MEMORY"), QStringLiteral("1")}};
    return job;
}

const char* const NotificationHead = "servername=TavrolGUI\n"
                                     "clientname=Visualizer\n"
                                     "clientappname=VisualizerApp\n"
                                     "clientaddress=127.0.0.1\n"
                                     "clientport=40001\n"
                                     "clientuid=1000\n"
                                     "clientgid=100\n"
                                     "action=jobfinished\n"
                                     "jobstatus=completed\n"
                                     "jobexitcode=7\n"
                                     "jobclass=optfreq\n"
                                     "jobtypename=gaussian\n"
                                     "jobqueue=long\n"
                                     "jobinputfile=/Data/Water.gjf\n"
                                     "jobinputfile2=\n"
                                     "jobstandardinputfile=/Data/In.txt\n"
                                     "joboutputfile=/Data/Water.LOG\n"
                                     "jobstandardoutputfile=/Data/Out.txt";

} // namespace

class TestMessage : public QObject
{
    Q_OBJECT

private slots:
    void init();

    // Reader.
    void onlyActionTestProducesNothingElse();
    void everyKeyFillsItsField();
    void keysMatchWithoutRegardToCase();
    void untrimmedAndTrimmedValues();
    void firstMatchingKeyWins();
    void laterLineOfSameKeyWins();
    void confirmWordsArePrefixTests();
    void confirmWithOtherWordChangesNothing();
    void jobVariables();
    void jobVariableWithOddName();
    void jobVariableWithEmptyValue();
    void jobVariableEscapeIsCaseSensitiveAndOnlyOne();
    void unknownLinesVanish();
    void carriageReturnLineFeedEndsLine();
    void lastLineNeedsNoLineFeed();
    void readerTakesLocalEightBitText();
    void nullDeviceGivesEmptyRequest();

    // Reader on a socket.
    void socketRequestIsRead();
    void connectionThatClosesAtOnce();
    void nullSocketGivesEmptyRequest();

    // Corpus.
    void corpusReplaysThroughReader_data();
    void corpusReplaysThroughReader();
    void corpusReplaysThroughSocket_data();
    void corpusReplaysThroughSocket();
    void corpusSubmitJob();
    void corpusVariables();
    void corpusFirstKeyWins();
    void corpusNulInTheMiddle();
    void corpusLargeMessage();
    void corpusBinaryAndInvalidText();

    // Builders.
    void testMessageByRunMode();
    void jobFinishedNotificationInFixedOrder();
    void jobFinishedNotificationCheckpointLines();
    void jobFinishedStatusWordsInLowerCase();

    // Writer.
    void sendDeliversExactBytesAfterReturn();
    void sendTestMessageReachesLocalPort();
    void sendToClosedPortFails();
    void sendToPeerThatNeverAcceptsGivesUpInTime();
    void sendToPeerThatNeverReadsFinishes();
    void sentSocketsAreReclaimed();
};

void TestMessage::init()
{
    RunMode = RunModeGUI;
}

void TestMessage::onlyActionTestProducesNothingElse()
{
    const Tavrol_Request request = RequestOf("action=test");
    QCOMPARE(request.Action, QStringLiteral("test"));
    Tavrol_Request expected;
    expected.Action = QStringLiteral("test");
    QVERIFY(SameRequest(request, expected));
    QVERIFY(!request.ConfirmAction);
    QVERIFY(request.JobVariables.empty());
}

void TestMessage::everyKeyFillsItsField()
{
    const Tavrol_Request r = RequestOf("clientname=n\nclientappname=an\nclientaddress=::1\n"
                                       "clientport=12\nclientuid=13\nclientgid=14\n"
                                       "clientnotification=3\naction=show\nconfirmaction=yes\n"
                                       "jobsilent=1\njobtypename=t\njobclass=c\njobname=j\n"
                                       "jobqueue=Auto\njobinputfile=i\njobinputfile2=i2\n"
                                       "jobstandardinputfile=si\njoboutputfile=o\n"
                                       "jobstandardoutputfile=so\njobchkfile=k\njobchkfile1=k1");
    QCOMPARE(r.ClientName, QStringLiteral("n"));
    QCOMPARE(r.ClientAppName, QStringLiteral("an"));
    QCOMPARE(r.ClientAddress, QStringLiteral("::1"));
    QCOMPARE(r.ClientPort, QStringLiteral("12"));
    QCOMPARE(r.ClientUID, QStringLiteral("13"));
    QCOMPARE(r.ClientGID, QStringLiteral("14"));
    QCOMPARE(r.ClientNotification, QStringLiteral("3"));
    QCOMPARE(r.Action, QStringLiteral("show"));
    QVERIFY(r.ConfirmAction);
    QCOMPARE(r.JobSilent, QStringLiteral("1"));
    QCOMPARE(r.JobTypeName, QStringLiteral("t"));
    QCOMPARE(r.JobClass, QStringLiteral("c"));
    QCOMPARE(r.JobName, QStringLiteral("j"));
    QCOMPARE(r.JobQueue, QStringLiteral("Auto"));
    QCOMPARE(r.JobInputFile, QStringLiteral("i"));
    QCOMPARE(r.JobInputFile2, QStringLiteral("i2"));
    QCOMPARE(r.JobStandardInputFile, QStringLiteral("si"));
    QCOMPARE(r.JobOutputFile, QStringLiteral("o"));
    QCOMPARE(r.JobStandardOutputFile, QStringLiteral("so"));
    QCOMPARE(r.JobChkFile, QStringLiteral("k"));
    QCOMPARE(r.JobChkFile1, QStringLiteral("k1"));
}

void TestMessage::keysMatchWithoutRegardToCase()
{
    const Tavrol_Request r = RequestOf("ACTION=SubmitJob\nJOBNAME=x\nJobName=MixedCase Name\n"
                                       "ClientName=Viewer\nJOBQUEUE=Longest");
    QCOMPARE(r.Action, QStringLiteral("SubmitJob"));
    QCOMPARE(r.Action.compare(QLatin1String("submitjob"), Qt::CaseInsensitive), 0);
    QCOMPARE(r.JobName, QStringLiteral("MixedCase Name"));
    QCOMPARE(r.ClientName, QStringLiteral("Viewer"));
    QCOMPARE(r.JobQueue, QStringLiteral("Longest"));
    QCOMPARE(RequestOf("JOBNAME=x").JobName, QStringLiteral("x"));
    QCOMPARE(RequestOf("jobqueue=Queuefoo").JobQueue, QStringLiteral("Queuefoo"));
}

void TestMessage::untrimmedAndTrimmedValues()
{
    const Tavrol_Request r = RequestOf(
        "clientname= a \nclientappname= b \nclientaddress= c \nclientport= 1 \n"
        "clientuid= 2 \nclientgid= 3 \nclientnotification= 1 \naction= show \njobsilent= s \n"
        "jobtypename= t \njobclass= c \njobname= n \njobqueue= Long \n"
        "jobinputfile=  /in  \njobinputfile2=\t/in2 \njobstandardinputfile= /si \n"
        "joboutputfile= /o \njobstandardoutputfile= /so \njobchkfile= /k \njobchkfile1= /k1 ");
    QCOMPARE(r.ClientName, QStringLiteral(" a "));
    QCOMPARE(r.ClientAppName, QStringLiteral(" b "));
    QCOMPARE(r.ClientAddress, QStringLiteral(" c "));
    QCOMPARE(r.ClientPort, QStringLiteral(" 1 "));
    QCOMPARE(r.ClientUID, QStringLiteral(" 2 "));
    QCOMPARE(r.ClientGID, QStringLiteral(" 3 "));
    QCOMPARE(r.ClientNotification, QStringLiteral(" 1 "));
    QCOMPARE(r.Action, QStringLiteral(" show "));
    QCOMPARE(r.JobSilent, QStringLiteral(" s "));
    QCOMPARE(r.JobTypeName, QStringLiteral(" t "));
    QCOMPARE(r.JobClass, QStringLiteral(" c "));
    QCOMPARE(r.JobName, QStringLiteral(" n "));
    QCOMPARE(r.JobQueue, QStringLiteral(" Long "));
    QCOMPARE(r.JobInputFile, QStringLiteral("/in"));
    QCOMPARE(r.JobInputFile2, QStringLiteral("/in2"));
    QCOMPARE(r.JobStandardInputFile, QStringLiteral("/si"));
    QCOMPARE(r.JobOutputFile, QStringLiteral("/o"));
    QCOMPARE(r.JobStandardOutputFile, QStringLiteral("/so"));
    QCOMPARE(r.JobChkFile, QStringLiteral("/k"));
    QCOMPARE(r.JobChkFile1, QStringLiteral("/k1"));
}

void TestMessage::firstMatchingKeyWins()
{
    const Tavrol_Request r = RequestOf("clientname=clientappname=x\njobinputfile2= two \n"
                                       "jobchkfile1= one \naction=jobname=y");
    QCOMPARE(r.ClientName, QStringLiteral("clientappname=x"));
    QVERIFY(r.ClientAppName.isEmpty());
    QCOMPARE(r.JobInputFile2, QStringLiteral("two"));
    QVERIFY(r.JobInputFile.isEmpty());
    QCOMPARE(r.JobChkFile1, QStringLiteral("one"));
    QVERIFY(r.JobChkFile.isEmpty());
    QCOMPARE(r.Action, QStringLiteral("jobname=y"));
    QVERIFY(r.JobName.isEmpty());
}

void TestMessage::laterLineOfSameKeyWins()
{
    const Tavrol_Request r = RequestOf("jobname=first\naction=show\njobname=second\njobname=");
    QVERIFY(r.JobName.isEmpty());
    QCOMPARE(RequestOf("jobname=first\njobname=second").JobName, QStringLiteral("second"));
}

void TestMessage::confirmWordsArePrefixTests()
{
    QVERIFY(RequestOf("confirmaction=yes").ConfirmAction);
    QVERIFY(RequestOf("confirmaction=true").ConfirmAction);
    QVERIFY(RequestOf("confirmaction=yesterday").ConfirmAction);
    QVERIFY(RequestOf("CONFIRMACTION=TRUEISH").ConfirmAction);
    QVERIFY(!RequestOf("confirmaction=yes\nconfirmaction=no").ConfirmAction);
    QVERIFY(!RequestOf("confirmaction=yes\nconfirmaction=false").ConfirmAction);
    QVERIFY(!RequestOf("confirmaction=yes\nconfirmaction=nope").ConfirmAction);
    QVERIFY(!RequestOf("action=show").ConfirmAction);
}

void TestMessage::confirmWithOtherWordChangesNothing()
{
    QVERIFY(RequestOf("confirmaction=yes\nconfirmaction=maybe").ConfirmAction);
    QVERIFY(!RequestOf("confirmaction=maybe").ConfirmAction);
    QVERIFY(!RequestOf("confirmaction= yes").ConfirmAction);
}

void TestMessage::jobVariables()
{
    const Tavrol_Request r = RequestOf("@note=a_;_b\n@KIND=add\n@note=again\n@x=a=b");
    const Variables expected = {{QStringLiteral("@note"), QStringLiteral("a\nb")},
                                {QStringLiteral("@KIND"), QStringLiteral("add")},
                                {QStringLiteral("@note"), QStringLiteral("again")},
                                {QStringLiteral("@x"), QStringLiteral("a=b")}};
    QCOMPARE(r.JobVariables, expected);
}

void TestMessage::jobVariableWithOddName()
{
    const Variables expected = {{QStringLiteral("@ odd name "), QStringLiteral("v")}};
    QCOMPARE(RequestOf("@ odd name = v").JobVariables, expected);
}

void TestMessage::jobVariableWithEmptyValue()
{
    const Variables expected = {{QStringLiteral("@empty"), QString()},
                                {QStringLiteral("@blank"), QString()}};
    QCOMPARE(RequestOf("@empty=\n@blank=   \n@noequals").JobVariables, expected);
}

void TestMessage::jobVariableEscapeIsCaseSensitiveAndOnlyOne()
{
    const Variables expected = {{QStringLiteral("@v"), QStringLiteral("\n\nx_:_y")},
                                {QStringLiteral("@w"), QStringLiteral("a\n")}};
    QCOMPARE(RequestOf("@v=_;__;_x_:_y\n@w= a_;_ ").JobVariables, expected);
}

void TestMessage::unknownLinesVanish()
{
    const Tavrol_Request r =
        RequestOf("hello\nname=x\nclientname\n action=show\n=\n@\nservername=me\njobsilent");
    QVERIFY(SameRequest(r, Tavrol_Request()));
}

void TestMessage::carriageReturnLineFeedEndsLine()
{
    const Tavrol_Request r = RequestOf("action=show\r\njobname=n \r\n");
    QCOMPARE(r.Action, QStringLiteral("show"));
    QCOMPARE(r.JobName, QStringLiteral("n "));
}

void TestMessage::lastLineNeedsNoLineFeed()
{
    QCOMPARE(RequestOf("action=hide").Action, QStringLiteral("hide"));
    QCOMPARE(RequestOf("action=hide\n").Action, QStringLiteral("hide"));
}

void TestMessage::readerTakesLocalEightBitText()
{
    const QString name = QStringLiteral("Caf\u00e9 \u00c5ngstr\u00f6m");
    const Tavrol_Request r = RequestOf("jobname=" + name.toLocal8Bit());
    QCOMPARE(r.JobName, name);
}

void TestMessage::nullDeviceGivesEmptyRequest()
{
    QVERIFY(SameRequest(Tavrol_Message::ReadRequest(nullptr), Tavrol_Request()));
}

void TestMessage::socketRequestIsRead()
{
    Connection connection;
    QVERIFY(connection.Open());
    connection.Client().write("clientname=Sock\naction=show\n@A=1_;_2");
    QVERIFY(connection.Client().waitForBytesWritten(30000));
    const Tavrol_Request r = Tavrol_Message::ReceiveRequest(connection.ServerSide());
    QCOMPARE(r.ClientName, QStringLiteral("Sock"));
    QCOMPARE(r.Action, QStringLiteral("show"));
    const Variables expected = {{QStringLiteral("@A"), QStringLiteral("1\n2")}};
    QCOMPARE(r.JobVariables, expected);
}

void TestMessage::connectionThatClosesAtOnce()
{
    Connection connection;
    QVERIFY(connection.Open());
    connection.Client().close();
    QElapsedTimer timer;
    timer.start();
    const Tavrol_Request r = Tavrol_Message::ReceiveRequest(connection.ServerSide());
    QVERIFY(timer.elapsed() < 20000);
    QVERIFY(SameRequest(r, Tavrol_Request()));
}

void TestMessage::nullSocketGivesEmptyRequest()
{
    QVERIFY(SameRequest(Tavrol_Message::ReceiveRequest(nullptr), Tavrol_Request()));
}

void TestMessage::corpusReplaysThroughReader_data()
{
    QTest::addColumn<QString>("file");
    const QDir dir(TestSupport::TestDataPath(QStringLiteral("requests")));
    const QStringList files = dir.entryList(QDir::Files, QDir::Name);
    QVERIFY(files.size() >= 14);
    for (const QString& file : files)
        QTest::newRow(qPrintable(file)) << file;
}

void TestMessage::corpusReplaysThroughReader()
{
    QFETCH(QString, file);
    const QByteArray bytes = ReadCorpusFile(file);
    const Tavrol_Request first = RequestOf(bytes);
    QVERIFY(SameRequest(first, RequestOf(bytes)));
    // Line by line through ClassifyLine gives the same, for text without
    // carriage returns.
    if (!bytes.contains('\r') && bytes.size() < 100000) {
        Tavrol_Request byLine;
        for (const QString& line : Local(bytes).split(QLatin1Char('\n')))
            Tavrol_Message::ClassifyLine(byLine, line);
        QVERIFY(SameRequest(first, byLine));
    }
}

void TestMessage::corpusReplaysThroughSocket_data()
{
    corpusReplaysThroughReader_data();
}

void TestMessage::corpusReplaysThroughSocket()
{
    QFETCH(QString, file);
    const QByteArray bytes = ReadCorpusFile(file);
    Connection connection;
    QVERIFY(connection.Open());
    if (!bytes.isEmpty()) {
        connection.Client().write(bytes);
        connection.Client().flush();
    }
    connection.Client().disconnectFromHost();
    const Tavrol_Request r = Tavrol_Message::ReceiveRequest(connection.ServerSide());
    // What had not arrived when the stream first reported its end is never
    // read: small messages arrive whole, a large one may be cut short.
    if (bytes.size() < 16384)
        QVERIFY(SameRequest(r, RequestOf(bytes)));
    connection.Client().abort();
}

void TestMessage::corpusSubmitJob()
{
    const Tavrol_Request r = RequestOf(ReadCorpusFile(QStringLiteral("submitjob.txt")));
    QCOMPARE(r.ClientName, QStringLiteral("Visualizer"));
    QCOMPARE(r.ClientAppName, QStringLiteral("VisualizerApp"));
    QCOMPARE(r.ClientAddress, QStringLiteral("127.0.0.1"));
    QCOMPARE(r.ClientPort, QStringLiteral("40001"));
    QCOMPARE(r.ClientUID, QStringLiteral("1000"));
    QCOMPARE(r.ClientGID, QStringLiteral("1000"));
    QCOMPARE(r.ClientNotification, QStringLiteral("1"));
    QCOMPARE(r.Action, QStringLiteral("submitjob"));
    QVERIFY(!r.ConfirmAction);
    QCOMPARE(r.JobTypeName, QStringLiteral("Gaussian"));
    QCOMPARE(r.JobClass, QStringLiteral("Opt"));
    QCOMPARE(r.JobName, QStringLiteral("water opt"));
    QCOMPARE(r.JobQueue, QStringLiteral("Short"));
    QCOMPARE(r.JobInputFile, QStringLiteral("/home/user/water.gjf"));
    QVERIFY(r.JobInputFile2.isEmpty());
    QCOMPARE(r.JobStandardInputFile, QStringLiteral("/home/user/answers.txt"));
    QCOMPARE(r.JobOutputFile, QStringLiteral("/home/user/water.log"));
    QCOMPARE(r.JobStandardOutputFile, QStringLiteral("/home/user/water.stdout"));
    QCOMPARE(r.JobChkFile, QStringLiteral("/home/user/water.chk"));
    QCOMPARE(r.JobChkFile1, QStringLiteral("/home/user/water2.chk"));
    const Variables expected = {{QStringLiteral("@MEMORY"), QStringLiteral("2000000")},
                                {QStringLiteral("@KIND"), QStringLiteral("add\ny")}};
    QCOMPARE(r.JobVariables, expected);
}

void TestMessage::corpusVariables()
{
    const Tavrol_Request r = RequestOf(ReadCorpusFile(QStringLiteral("variables.txt")));
    const Variables expected = {{QStringLiteral("@note"), QStringLiteral("a\nb")},
                                {QStringLiteral("@ odd name "), QStringLiteral("v")},
                                {QStringLiteral("@empty"), QString()},
                                {QStringLiteral("@note"), QStringLiteral("second")},
                                {QStringLiteral("@x"), QStringLiteral("a=b")},
                                {QStringLiteral("@Case"), QStringLiteral("\n\n")}};
    QCOMPARE(r.JobVariables, expected);
    QCOMPARE(r.Action, QStringLiteral("submitjob"));
}

void TestMessage::corpusFirstKeyWins()
{
    const Tavrol_Request r = RequestOf(ReadCorpusFile(QStringLiteral("first_key_wins.txt")));
    QCOMPARE(r.ClientName, QStringLiteral("clientappname=x"));
    QCOMPARE(r.JobInputFile2, QStringLiteral("second"));
    QCOMPARE(r.JobChkFile1, QStringLiteral("one"));
    QCOMPARE(r.JobName, QStringLiteral("MixedCase"));
    QCOMPARE(r.Action, QStringLiteral("SubmitJob"));
    QCOMPARE(r.JobQueue, QStringLiteral("Queuefoo"));

    const Tavrol_Request confirm = RequestOf(ReadCorpusFile(QStringLiteral("confirm_words.txt")));
    QVERIFY(confirm.ConfirmAction);
    const Tavrol_Request crlf = RequestOf(ReadCorpusFile(QStringLiteral("crlf.txt")));
    QCOMPARE(crlf.ClientName, QStringLiteral("Crlf"));
    QCOMPARE(crlf.JobName, QStringLiteral("Name With Blanks "));
    QCOMPARE(RequestOf(ReadCorpusFile(QStringLiteral("no_line_feed.txt"))).Action,
             QStringLiteral("hide"));
    QVERIFY(SameRequest(RequestOf(ReadCorpusFile(QStringLiteral("only_line_feeds.txt"))),
                        Tavrol_Request()));
    QVERIFY(SameRequest(RequestOf(ReadCorpusFile(QStringLiteral("empty.txt"))), Tavrol_Request()));
    QCOMPARE(RequestOf(ReadCorpusFile(QStringLiteral("test.txt"))).ClientName,
             QStringLiteral("TavrolGUI"));
}

void TestMessage::corpusNulInTheMiddle()
{
    const Tavrol_Request r = RequestOf(ReadCorpusFile(QStringLiteral("nul_in_middle.bin")));
    QCOMPARE(r.ClientName, Local(QByteArray("before\0after", 12)));
    QCOMPARE(r.ClientName.size(), 12);
    QCOMPARE(r.Action, Local(QByteArray("hide\0", 5)));
    QCOMPARE(r.JobName, QStringLiteral("x"));
}

void TestMessage::corpusLargeMessage()
{
    const QByteArray bytes = ReadCorpusFile(QStringLiteral("large_1mib.txt"));
    QCOMPARE(bytes.size(), 1 << 20);
    const Tavrol_Request r = RequestOf(bytes);
    QCOMPARE(r.Action, QStringLiteral("submitjob"));
    QCOMPARE(r.JobName.size(), (1 << 20) - int(qstrlen("action=submitjob\njobname=")));
    QVERIFY(r.JobName.count(QLatin1Char('x')) == r.JobName.size());

    const Tavrol_Request lines = RequestOf(ReadCorpusFile(QStringLiteral("many_lines.txt")));
    QCOMPARE(lines.JobVariables.size(), std::size_t(2000));
    QCOMPARE(lines.JobVariables.back().first, QStringLiteral("@VAR"));
    QCOMPARE(lines.JobVariables.back().second, QString(95, QLatin1Char('v')));

    // Through a socket whatever part had arrived is read, and no more.
    Connection connection;
    QVERIFY(connection.Open());
    connection.Client().write(bytes);
    connection.Client().flush();
    const Tavrol_Request partial = Tavrol_Message::ReceiveRequest(connection.ServerSide());
    QVERIFY(partial.JobName.size() <= r.JobName.size());
    QVERIFY(partial.JobName.count(QLatin1Char('x')) == partial.JobName.size());
    connection.Client().abort();
}

void TestMessage::corpusBinaryAndInvalidText()
{
    const QByteArray invalid = ReadCorpusFile(QStringLiteral("invalid_utf8.bin"));
    const Tavrol_Request r = RequestOf(invalid);
    QCOMPARE(r.ClientName, Local("\xff\xfe\xc3("));
    QCOMPARE(r.Action, QStringLiteral("submitjob"));
    QCOMPARE(r.JobName, Local("caf\xc3\xa9"));

    // Random bytes: read to the end without harm, every line classified.
    const QByteArray binary = ReadCorpusFile(QStringLiteral("binary.bin"));
    QCOMPARE(binary.size(), 4096);
    RequestOf(binary);
}

void TestMessage::testMessageByRunMode()
{
    QCOMPARE(Tavrol_Message::TestMessage(ClientName()),
             QStringLiteral("clientname=TavrolGUI\naction=test"));
    RunMode = RunModeConsole;
    QCOMPARE(Tavrol_Message::TestMessage(ClientName()),
             QStringLiteral("clientname=TavrolConsole\naction=test"));
    RunMode = RunModeNewConsole;
    QCOMPARE(Tavrol_Message::TestMessage(ClientName()),
             QStringLiteral("clientname=TavrolConsole\naction=test"));
}

void TestMessage::jobFinishedNotificationInFixedOrder()
{
    const Tavrol_Job job = MakeJob();
    QCOMPARE(Tavrol_Message::JobFinishedMessage(job, 7), QString::fromLatin1(NotificationHead));
    RunMode = RunModeConsole;
    QVERIFY(Tavrol_Message::JobFinishedMessage(job, 7).startsWith(
        QLatin1String("servername=TavrolConsole\nclientname=Visualizer\n")));
}

void TestMessage::jobFinishedNotificationCheckpointLines()
{
    Tavrol_Job job = MakeJob();
    job.ChkFile = QStringLiteral("/Data/Water.CHK");
    QCOMPARE(Tavrol_Message::JobFinishedMessage(job, 7),
             QString::fromLatin1(NotificationHead) + QLatin1String("\njobchkfile=/Data/Water.CHK"));
    job.ChkFile1 = QStringLiteral("/Data/Two.chk");
    QCOMPARE(Tavrol_Message::JobFinishedMessage(job, 7),
             QString::fromLatin1(NotificationHead) +
                 QLatin1String("\njobchkfile=/Data/Water.CHK\njobchkfile1=/Data/Two.chk"));
    job.ChkFile.clear();
    QCOMPARE(Tavrol_Message::JobFinishedMessage(job, 7),
             QString::fromLatin1(NotificationHead) + QLatin1String("\njobchkfile1=/Data/Two.chk"));
}

void TestMessage::jobFinishedStatusWordsInLowerCase()
{
    const char* const words[] = {"unknown",   "pending", "running", "finished",
                                 "completed", "crashed", "failed",  "killed"};
    Tavrol_Job job = MakeJob();
    for (int status = 0; status <= 7; ++status) {
        job.Status = Tavrol_JobStatus(status);
        const QString message = Tavrol_Message::JobFinishedMessage(job, -2);
        QVERIFY(message.contains(QLatin1String("\njobstatus=") + QLatin1String(words[status]) +
                                 QLatin1String("\njobexitcode=-2\n")));
    }
}

void TestMessage::sendDeliversExactBytesAfterReturn()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress(QHostAddress::LocalHost), 0));
    const QString text = QStringLiteral("servername=TavrolGUI\njobname=Caf\u00e9\n\nlast");
    QVERIFY(Tavrol_Message::Send(text, QHostAddress(QHostAddress::LocalHost), server.serverPort(),
                                 Tavrol_Message::NotificationTimeoutMs));
    // Nothing was flushed by hand: the bytes leave from the event loop.
    QVERIFY(server.waitForNewConnection(30000));
    std::unique_ptr<QTcpSocket> peek(server.nextPendingConnection());
    QVERIFY(!peek->waitForReadyRead(200));
    QCOMPARE(ReadUntilClosed(*peek), text.toLocal8Bit());
}

void TestMessage::sendTestMessageReachesLocalPort()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress(QHostAddress::LocalHost), 0));
    RunMode = RunModeConsole;
    QVERIFY(Tavrol_Message::SendTestMessage(ClientName(), server.serverPort()));
    QCOMPARE(ReceiveAll(server), QByteArray("clientname=TavrolConsole\naction=test"));
}

// The sender returns at once and tells later that nobody was there.
void TestMessage::sendToClosedPortFails()
{
    quint16 port = 0;
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress(QHostAddress::LocalHost), 0));
        port = server.serverPort();
    }
    Tavrol_MessageSender* sender =
        Tavrol_Message::Send(QStringLiteral("action=test"), QHostAddress(QHostAddress::LocalHost),
                             port, Tavrol_Message::TestConnectTimeoutMs);
    QVERIFY(sender);
    QSignalSpy finished(sender, &Tavrol_MessageSender::FinishedSignal);
    QVERIFY(finished.wait(20000));
    QCOMPARE(finished.first().first().toBool(), false);
    QTRY_COMPARE_WITH_TIMEOUT(Tavrol_Message::SocketsInFlight(), 0, 30000);
}

// A peer whose queue of connections is full never takes the connection: the
// send gives up at its time limit, and the caller never waited for it.
void TestMessage::sendToPeerThatNeverAcceptsGivesUpInTime()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    QVERIFY(listener >= 0);
    const auto closeListener = qScopeGuard([listener] { ::close(listener); });
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QCOMPARE(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    QCOMPARE(::listen(listener, 0), 0);
    socklen_t length = sizeof address;
    QCOMPARE(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const quint16 port = ntohs(address.sin_port);
    // Fill the queue with connections that nobody accepts.
    std::vector<std::unique_ptr<QTcpSocket>> fillers;
    for (int i = 0; i < 4; ++i) {
        fillers.push_back(std::make_unique<QTcpSocket>());
        fillers.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        fillers.back()->waitForConnected(300);
    }

    QElapsedTimer timer;
    timer.start();
    Tavrol_MessageSender* sender = Tavrol_Message::Send(
        QStringLiteral("late"), QHostAddress(QHostAddress::LocalHost), port, 1500);
    QVERIFY(timer.elapsed() < 100);
    QSignalSpy finished(sender, &Tavrol_MessageSender::FinishedSignal);
    QVERIFY(finished.wait(20000));
    QCOMPARE(finished.first().first().toBool(), false);
    QVERIFY(timer.elapsed() >= 1400);
    QTRY_COMPARE_WITH_TIMEOUT(Tavrol_Message::SocketsInFlight(), 0, 30000);
}

// A peer that takes the connection and never reads still gets the message:
// it waits in the system's buffers, and the sender is done.
void TestMessage::sendToPeerThatNeverReadsFinishes()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress(QHostAddress::LocalHost), 0));
    QElapsedTimer timer;
    timer.start();
    Tavrol_MessageSender* sender = Tavrol_Message::Send(
        QStringLiteral("jobstatus=completed"), QHostAddress(QHostAddress::LocalHost),
        server.serverPort(), Tavrol_Message::NotificationTimeoutMs);
    QVERIFY(timer.elapsed() < 100);
    QSignalSpy finished(sender, &Tavrol_MessageSender::FinishedSignal);
    QVERIFY(finished.wait(20000));
    QCOMPARE(finished.first().first().toBool(), true);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasPendingConnections() || server.waitForNewConnection(10),
                             10000);
    std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());
    QByteArray received;
    QTRY_COMPARE_WITH_TIMEOUT(received += peer->readAll(), QByteArray("jobstatus=completed"),
                              10000);
}

void TestMessage::sentSocketsAreReclaimed()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress(QHostAddress::LocalHost), 0));
    for (int i = 0; i < 20; ++i) {
        QVERIFY(Tavrol_Message::Send(QStringLiteral("n=%1").arg(i),
                                     QHostAddress(QHostAddress::LocalHost), server.serverPort(),
                                     Tavrol_Message::TestConnectTimeoutMs));
    }
    QVERIFY(Tavrol_Message::SocketsInFlight() > 0);
    for (int i = 0; i < 20; ++i)
        QCOMPARE(ReceiveAll(server), QStringLiteral("n=%1").arg(i).toLatin1());
    QTRY_COMPARE_WITH_TIMEOUT(Tavrol_Message::SocketsInFlight(), 0, 30000);
}

QTEST_GUILESS_MAIN(TestMessage)
#include "tst_message.moc"
