#include "client/submitclient.h"

#include "platform/computerdata.h"
#include "server/message.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace {

const QString ProgramName = QStringLiteral("tavrol-submit");
constexpr int ConnectTimeoutMs = 2000;
constexpr int WriteTimeoutMs = 10000;
// An instance closes the connection once it has read the request, but in the
// GUI only after the user has answered its confirmation dialog.
constexpr int CloseWaitMs = 120000;

const QString Usage = QStringLiteral(
    "Usage: tavrol-submit [--gui|--console] [--type NAME] [--queue long|short|queueless|auto]\n"
    "                     [--name NAME] [--confirm] [--var KEY=VALUE ...] [--wait]\n"
    "                     [--timeout SECONDS] FILE...\n");

// "--key value" or "--key=value"; advances the index past what it took.
bool TakeValue(const QStringList& arguments, int& index, const QString& option, QString& value,
               QString& error)
{
    const QString argument = arguments[index];
    if (argument.startsWith(option + QLatin1Char('='))) {
        value = argument.mid(option.size() + 1);
        return true;
    }
    if (index + 1 >= arguments.size()) {
        error = option + QStringLiteral(" needs a value");
        return false;
    }
    value = arguments[++index];
    return true;
}

bool IsOption(const QString& argument, const QString& option)
{
    return argument == option || argument.startsWith(option + QLatin1Char('='));
}

bool QueueWord(const QString& value, QString& word)
{
    const QString lowered = value.toLower();
    if (lowered == QLatin1String("long"))
        word = QStringLiteral("Long");
    else if (lowered == QLatin1String("short"))
        word = QStringLiteral("Short");
    else if (lowered == QLatin1String("queueless"))
        word = QStringLiteral("Queueless");
    else if (lowered == QLatin1String("auto"))
        word = QStringLiteral("Auto");
    else
        return false;
    return true;
}

bool Variable(const QString& value, std::pair<QString, QString>& variable)
{
    const int equals = value.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return false;
    QString name = value.left(equals);
    if (!name.startsWith(QLatin1Char('@')))
        name.prepend(QLatin1Char('@'));
    variable = {name, value.mid(equals + 1)};
    return true;
}

bool TakeOption(const QStringList& arguments, int& index, Tavrol_SubmitOptions& options,
                QString& error)
{
    const QString argument = arguments[index];
    QString value;
    if (argument == QLatin1String("--gui")) {
        options.Target = Tavrol_SubmitOptions::Instance::GUI;
    } else if (argument == QLatin1String("--console")) {
        options.Target = Tavrol_SubmitOptions::Instance::Console;
    } else if (argument == QLatin1String("--confirm")) {
        options.Confirm = true;
    } else if (argument == QLatin1String("--wait")) {
        options.Wait = true;
    } else if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
        options.Help = true;
    } else if (IsOption(argument, QStringLiteral("--type"))) {
        return TakeValue(arguments, index, QStringLiteral("--type"), options.JobTypeName, error);
    } else if (IsOption(argument, QStringLiteral("--name"))) {
        return TakeValue(arguments, index, QStringLiteral("--name"), options.JobName, error);
    } else if (IsOption(argument, QStringLiteral("--queue"))) {
        if (!TakeValue(arguments, index, QStringLiteral("--queue"), value, error))
            return false;
        if (!QueueWord(value, options.Queue)) {
            error = QStringLiteral("--queue takes long, short, queueless or auto, not ") + value;
            return false;
        }
    } else if (IsOption(argument, QStringLiteral("--var"))) {
        if (!TakeValue(arguments, index, QStringLiteral("--var"), value, error))
            return false;
        std::pair<QString, QString> variable;
        if (!Variable(value, variable)) {
            error = QStringLiteral("--var takes KEY=VALUE, not ") + value;
            return false;
        }
        options.Variables.push_back(variable);
    } else if (IsOption(argument, QStringLiteral("--timeout"))) {
        if (!TakeValue(arguments, index, QStringLiteral("--timeout"), value, error))
            return false;
        bool isNumber = false;
        options.TimeoutSeconds = value.toInt(&isNumber, 10);
        if (!isNumber || options.TimeoutSeconds < 1) {
            error =
                QStringLiteral("--timeout takes a whole number of seconds from 1, not ") + value;
            return false;
        }
    } else {
        error = QStringLiteral("unknown option ") + argument;
        return false;
    }
    return true;
}

// A line feed would end the line that carries the value.
bool HasLineFeed(const Tavrol_SubmitOptions& options)
{
    const QStringList values = QStringList{options.JobTypeName, options.JobName} + options.Files;
    return std::any_of(values.begin(), values.end(),
                       [](const QString& value) { return value.contains(QLatin1Char('\n')); });
}

// One job finished notification, as its "key=value" lines.
QString Value(const QByteArray& message, const char* key)
{
    const QList<QByteArray> lines = message.split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(key))
            return QString::fromLocal8Bit(line.mid(int(qstrlen(key))));
    }
    return QString();
}

QString CleanPath(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// The listener for job finished notifications: each connection brings one
// whole message, complete once the instance closes it.
class NotificationListener : public QObject
{
public:
    bool Listen() { return m_server.listen(QHostAddress(QHostAddress::LocalHost), 0); }
    quint16 Port() const { return m_server.serverPort(); }

    template <typename Handler> void OnMessage(Handler handler)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this, handler] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                auto buffer = std::make_shared<QByteArray>();
                connect(socket, &QTcpSocket::readyRead, socket,
                        [socket, buffer] { buffer->append(socket->readAll()); });
                connect(socket, &QTcpSocket::disconnected, this, [socket, buffer, handler] {
                    buffer->append(socket->readAll());
                    socket->deleteLater();
                    handler(*buffer);
                });
            }
        });
    }

private:
    QTcpServer m_server;
};

struct PendingJob
{
    QString File;
    bool Ended = false;
    int ExitCode = Tavrol_SubmitClient::OtherStatus;
};

QString PortsText(const std::vector<quint16>& ports)
{
    QStringList numbers;
    for (const quint16 port : ports)
        numbers << QString::number(port);
    return numbers.join(QStringLiteral(" or "));
}

} // namespace

QString Tavrol_SubmitClient::UsageText()
{
    return Usage;
}

bool Tavrol_SubmitClient::ParseArguments(const QStringList& arguments,
                                         Tavrol_SubmitOptions& options, QString& error)
{
    bool optionsEnded = false;
    for (int index = 0; index < arguments.size(); ++index) {
        const QString& argument = arguments[index];
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) ||
            argument == QLatin1String("-")) {
            options.Files << argument;
        } else if (argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (!TakeOption(arguments, index, options, error)) {
            return false;
        }
    }
    if (options.Help)
        return true;
    if (options.Files.isEmpty()) {
        error = QStringLiteral("no input file given");
        return false;
    }
    if (options.TimeoutSeconds > 0 && !options.Wait) {
        error = QStringLiteral("--timeout needs --wait");
        return false;
    }
    if (HasLineFeed(options)) {
        error = QStringLiteral("a name or a file name holds a line feed");
        return false;
    }
    return true;
}

std::vector<quint16> Tavrol_SubmitClient::CandidatePorts(Tavrol_SubmitOptions::Instance target)
{
    const auto console = quint16(Quolix_ComputerData::TavrolConsolePortNumber());
    const auto gui = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
    switch (target) {
    case Tavrol_SubmitOptions::Instance::GUI:
        return {gui};
    case Tavrol_SubmitOptions::Instance::Console:
        return {console};
    case Tavrol_SubmitOptions::Instance::Any:
        break;
    }
    return {console, gui};
}

Tavrol_Request Tavrol_SubmitClient::BuildRequest(const Tavrol_SubmitOptions& options,
                                                 const QString& file, quint16 listenerPort)
{
    Tavrol_Request request;
    request.ClientName = ProgramName;
    request.ClientAppName = ProgramName;
    request.ClientAddress = QHostAddress(QHostAddress::LocalHost).toString();
    request.ClientPort = QString::number(options.Wait ? listenerPort : 0);
    request.ClientUID = QString::number(Quolix_ComputerData::UID());
    request.ClientGID = QString::number(Quolix_ComputerData::GID());
    request.ClientNotification = options.Wait ? QStringLiteral("1") : QStringLiteral("0");
    request.Action = QStringLiteral("submitjob");
    request.ConfirmAction = options.Confirm;
    request.JobTypeName = options.JobTypeName;
    request.JobName = options.JobName;
    request.JobQueue = options.Queue;
    // The instance runs in a directory of its own: the path must not depend
    // on ours.
    request.JobInputFile = CleanPath(file);
    request.JobVariables = options.Variables;
    return request;
}

bool Tavrol_SubmitClient::SendMessage(const QByteArray& message, quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!socket.waitForConnected(ConnectTimeoutMs))
        return false;
    socket.write(message);
    if (!socket.waitForBytesWritten(WriteTimeoutMs))
        return false;
    // Read to the end: the instance closes the connection once it has the
    // request, and never answers on it.
    while (socket.state() == QAbstractSocket::ConnectedState &&
           socket.waitForReadyRead(CloseWaitMs))
        socket.readAll();
    socket.close();
    return true;
}

int Tavrol_SubmitClient::ExitCodeForStatus(const QString& status)
{
    if (status == QLatin1String("completed"))
        return Completed;
    if (status == QLatin1String("failed"))
        return Failed;
    if (status == QLatin1String("crashed"))
        return Crashed;
    if (status == QLatin1String("killed"))
        return Killed;
    return OtherStatus;
}

int Tavrol_SubmitClient::Run(const Tavrol_SubmitOptions& options, QTextStream& out,
                             QTextStream& err)
{
    for (const QString& file : options.Files) {
        if (!QFileInfo(file).isFile()) {
            err << ProgramName << ": no such file: " << file << Qt::endl;
            return BadUsage;
        }
    }
    NotificationListener listener;
    if (options.Wait && !listener.Listen()) {
        err << ProgramName << ": cannot listen on a loopback port for the job finished notification"
            << Qt::endl;
        return CannotConnect;
    }
    std::vector<PendingJob> jobs;
    QEventLoop loop;
    listener.OnMessage([&jobs, &loop, &out](const QByteArray& message) {
        const QString file = CleanPath(Value(message, "jobinputfile="));
        for (PendingJob& job : jobs) {
            if (job.Ended || job.File != file)
                continue;
            const QString status = Value(message, "jobstatus=");
            job.Ended = true;
            job.ExitCode = ExitCodeForStatus(status);
            out << job.File << ": " << status << ", exit code " << Value(message, "jobexitcode=")
                << Qt::endl;
            break;
        }
        if (std::all_of(jobs.begin(), jobs.end(), [](const PendingJob& job) { return job.Ended; }))
            loop.quit();
    });

    const std::vector<quint16> candidates = CandidatePorts(options.Target);
    std::vector<quint16> ports = candidates;
    for (const QString& file : options.Files) {
        const QByteArray message =
            Tavrol_Message::RequestText(BuildRequest(options, file, listener.Port())).toLocal8Bit();
        // The first port that answers takes every request.
        while (!ports.empty() && !SendMessage(message, ports.front()))
            ports.erase(ports.begin());
        if (ports.empty()) {
            err << ProgramName << ": cannot connect to a Tavrol instance on port "
                << PortsText(candidates) << Qt::endl;
            return CannotConnect;
        }
        ports.resize(1);
        jobs.push_back({CleanPath(file)});
        if (!options.Wait)
            out << "Sent " << jobs.back().File << " to the Tavrol instance on port "
                << ports.front() << "." << Qt::endl;
    }
    if (!options.Wait)
        return Completed;

    QTimer timeout;
    bool timedOut = false;
    if (options.TimeoutSeconds > 0) {
        timeout.setSingleShot(true);
        QObject::connect(&timeout, &QTimer::timeout, &loop, [&loop, &timedOut] {
            timedOut = true;
            loop.quit();
        });
        timeout.start(options.TimeoutSeconds * 1000);
    }
    if (std::any_of(jobs.begin(), jobs.end(), [](const PendingJob& job) { return !job.Ended; }))
        loop.exec();
    if (timedOut) {
        for (const PendingJob& job : jobs) {
            if (!job.Ended)
                err << ProgramName << ": gave up after " << options.TimeoutSeconds
                    << (options.TimeoutSeconds == 1 ? " second" : " seconds")
                    << ": no job finished notification for " << job.File << Qt::endl;
        }
        return TimedOut;
    }
    for (const PendingJob& job : jobs) {
        if (job.ExitCode != Completed)
            return job.ExitCode;
    }
    return Completed;
}
