#include "server/message.h"

#include "app/globals.h"
#include "jobs/job.h"
#include "server/messagesender.h"

#include <QHostAddress>
#include <QIODevice>
#include <QStringList>
#include <QTcpSocket>
#include <QTextStream>

namespace {

enum class Trim
{
    No,
    Yes
};

struct KeyRow
{
    const char* key;
    Trim trim;
    QString Tavrol_Request::*field;
};

// Tried top to bottom; the first key that the line begins with takes it. The
// confirm words sit in their place in the order between "action=" and
// "jobsilent=".
const KeyRow LeadingKeys[] = {
    {"clientname=", Trim::No, &Tavrol_Request::ClientName},
    {"clientappname=", Trim::No, &Tavrol_Request::ClientAppName},
    {"clientaddress=", Trim::No, &Tavrol_Request::ClientAddress},
    {"clientport=", Trim::No, &Tavrol_Request::ClientPort},
    {"clientuid=", Trim::No, &Tavrol_Request::ClientUID},
    {"clientgid=", Trim::No, &Tavrol_Request::ClientGID},
    {"clientnotification=", Trim::No, &Tavrol_Request::ClientNotification},
    {"action=", Trim::No, &Tavrol_Request::Action},
};

const KeyRow TrailingKeys[] = {
    {"jobsilent=", Trim::No, &Tavrol_Request::JobSilent},
    {"jobtypename=", Trim::No, &Tavrol_Request::JobTypeName},
    {"jobclass=", Trim::No, &Tavrol_Request::JobClass},
    {"jobname=", Trim::No, &Tavrol_Request::JobName},
    {"jobqueue=", Trim::No, &Tavrol_Request::JobQueue},
    {"jobinputfile=", Trim::Yes, &Tavrol_Request::JobInputFile},
    {"jobinputfile2=", Trim::Yes, &Tavrol_Request::JobInputFile2},
    {"jobstandardinputfile=", Trim::Yes, &Tavrol_Request::JobStandardInputFile},
    {"joboutputfile=", Trim::Yes, &Tavrol_Request::JobOutputFile},
    {"jobstandardoutputfile=", Trim::Yes, &Tavrol_Request::JobStandardOutputFile},
    {"jobchkfile=", Trim::Yes, &Tavrol_Request::JobChkFile},
    {"jobchkfile1=", Trim::Yes, &Tavrol_Request::JobChkFile1},
};

bool StartsWithKey(const QString& line, const char* key)
{
    return line.startsWith(QLatin1String(key), Qt::CaseInsensitive);
}

template <std::size_t N>
bool ApplyKeyRow(const KeyRow (&rows)[N], Tavrol_Request& request, const QString& line)
{
    for (const KeyRow& row : rows) {
        if (!StartsWithKey(line, row.key))
            continue;
        const QString value = line.mid(int(qstrlen(row.key)));
        request.*row.field = row.trim == Trim::Yes ? value.trimmed() : value;
        return true;
    }
    return false;
}

// Returns true if the line was a confirm word; a "confirmaction=" line with
// any other word is not taken, and falls through to the keys below it.
bool ApplyConfirmWord(Tavrol_Request& request, const QString& line)
{
    if (StartsWithKey(line, "confirmaction=yes") || StartsWithKey(line, "confirmaction=true")) {
        request.ConfirmAction = true;
        return true;
    }
    if (StartsWithKey(line, "confirmaction=no") || StartsWithKey(line, "confirmaction=false")) {
        request.ConfirmAction = false;
        return true;
    }
    return false;
}

void ApplyJobVariable(Tavrol_Request& request, const QString& line)
{
    const int equals = line.indexOf(QLatin1Char('='), 0, Qt::CaseSensitive);
    if (equals < 0)
        return;
    QString value = line.mid(equals + 1).trimmed();
    value.replace(QLatin1String("_;_"), QLatin1String("\n"), Qt::CaseSensitive);
    request.JobVariables.emplace_back(line.left(equals), value);
}

} // namespace

void Tavrol_Message::ClassifyLine(Tavrol_Request& request, const QString& line)
{
    if (ApplyKeyRow(LeadingKeys, request, line))
        return;
    if (ApplyConfirmWord(request, line))
        return;
    if (ApplyKeyRow(TrailingKeys, request, line))
        return;
    if (line.startsWith(QLatin1Char('@')))
        ApplyJobVariable(request, line);
}

Tavrol_Request Tavrol_Message::ReadRequest(QIODevice* device)
{
    Tavrol_Request request;
    if (!device)
        return request;
    QTextStream stream(device);
    stream.setEncoding(QStringConverter::System);
    while (!stream.atEnd())
        ClassifyLine(request, stream.readLine());
    return request;
}

Tavrol_Request Tavrol_Message::ReceiveRequest(QTcpSocket* socket)
{
    if (!socket)
        return {};
    socket->waitForReadyRead(ReadyReadTimeoutMs);
    return ReadRequest(socket);
}

QString Tavrol_Message::RequestText(const Tavrol_Request& request)
{
    QStringList lines;
    const auto addRows = [&lines, &request](const auto& rows) {
        for (const KeyRow& row : rows) {
            const QString& value = request.*row.field;
            if (!value.isEmpty())
                lines << QLatin1String(row.key) + value;
        }
    };
    addRows(LeadingKeys);
    if (request.ConfirmAction)
        lines << QStringLiteral("confirmaction=yes");
    addRows(TrailingKeys);
    for (const auto& variable : request.JobVariables) {
        QString value = variable.second;
        value.replace(QLatin1Char('\n'), QLatin1String("_;_"));
        lines << variable.first + QLatin1Char('=') + value;
    }
    return lines.join(QLatin1Char('\n'));
}

QString Tavrol_Message::TestMessage(const QString& clientName)
{
    return QLatin1String("clientname=") + clientName + QLatin1String("\naction=test");
}

QString Tavrol_Message::JobFinishedMessage(const Tavrol_Job& job, int exitCode)
{
    QStringList lines;
    lines << QLatin1String("servername=") + ::ClientName()
          << QLatin1String("clientname=") + job.ClientName
          << QLatin1String("clientappname=") + job.ClientAppName
          << QLatin1String("clientaddress=") + job.ClientAddress
          << QLatin1String("clientport=") + QString::number(job.ClientPort)
          << QLatin1String("clientuid=") + QString::number(job.ClientUID)
          << QLatin1String("clientgid=") + QString::number(job.ClientGID)
          << QStringLiteral("action=jobfinished")
          << QLatin1String("jobstatus=") + Tavrol_Job::StatusToString(job.Status).toLower()
          << QLatin1String("jobexitcode=") + QString::number(exitCode)
          << QLatin1String("jobclass=") + job.JobClass.toLower()
          << QLatin1String("jobtypename=") + job.JobType.Name.toLower()
          << QLatin1String("jobqueue=") + job.QueueName.toLower()
          << QLatin1String("jobinputfile=") + job.InputFilePath
          << QLatin1String("jobinputfile2=") + job.InputFilePath2
          << QLatin1String("jobstandardinputfile=") + job.StandardInputFile
          << QLatin1String("joboutputfile=") + job.OutputFilePath
          << QLatin1String("jobstandardoutputfile=") + job.StandardOutputFile;
    if (!job.ChkFile.isEmpty())
        lines << QLatin1String("jobchkfile=") + job.ChkFile;
    if (!job.ChkFile1.isEmpty())
        lines << QLatin1String("jobchkfile1=") + job.ChkFile1;
    return lines.join(QLatin1Char('\n'));
}

// The text leaves in the local 8-bit encoding, as a text stream would write
// it; the connect and the write go on from the event loop.
Tavrol_MessageSender* Tavrol_Message::Send(const QString& text, const QHostAddress& address,
                                           quint16 port, int connectTimeoutMs)
{
    return Tavrol_MessageSender::Start(text.toLocal8Bit(), address, port, connectTimeoutMs,
                                       BytesWrittenTimeoutMs);
}

Tavrol_MessageSender* Tavrol_Message::SendTestMessage(const QString& clientName, quint16 port)
{
    return Send(TestMessage(clientName), QHostAddress(QHostAddress::LocalHost), port,
                TestConnectTimeoutMs);
}

int Tavrol_Message::SocketsInFlight()
{
    return Tavrol_MessageSender::InFlight();
}
