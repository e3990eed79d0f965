#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

class QTextStream;
struct Tavrol_Request;

// What tavrol-submit was asked to do.
struct Tavrol_SubmitOptions
{
    enum class Instance
    {
        Any, // the console instance's port, then the GUI instance's
        GUI,
        Console
    };

    Instance Target = Instance::Any;
    QString JobTypeName;
    QString Queue; // the protocol's word ("Long", "Short", "Queueless", "Auto"); empty: none sent
    QString JobName;
    bool Confirm = false;
    bool Wait = false;
    int TimeoutSeconds = -1; // -1: wait without end
    bool Help = false;
    std::vector<std::pair<QString, QString>> Variables; // names with their "@"
    QStringList Files;
};

// The command-line client of the request protocol: builds one "submitjob"
// request per file with the protocol's own writer, sends it to the port of
// the instance as the program itself chooses it, and, asked to wait, listens
// on a free loopback port for the job finished notifications.
class Tavrol_SubmitClient
{
public:
    // The program's exit codes.
    enum ExitCode
    {
        Completed = 0,
        Failed = 1,
        Crashed = 2,
        Killed = 3,
        OtherStatus = 4,
        TimedOut = 5,
        CannotConnect = 6,
        BadUsage = 7
    };

    // The arguments after the program name. False, with a one-line reason,
    // for arguments that make no request.
    static bool ParseArguments(const QStringList& arguments, Tavrol_SubmitOptions& options,
                               QString& error);
    static QString UsageText();

    // The ports to try, in order, from the same environment variables as the
    // program.
    static std::vector<quint16> CandidatePorts(Tavrol_SubmitOptions::Instance target);
    // One file's request; the notification goes to listenerPort when waiting.
    static Tavrol_Request BuildRequest(const Tavrol_SubmitOptions& options, const QString& file,
                                       quint16 listenerPort);
    // Writes the message on a connection of its own and holds the connection
    // open until the instance closes it: an instance trusts only a client
    // whose socket is still open when it takes the connection. False when
    // the port could not be reached.
    static bool SendMessage(const QByteArray& message, quint16 port);
    // The exit code for a status word of the notification.
    static int ExitCodeForStatus(const QString& status);

    // The whole run; the texts go to out and err.
    static int Run(const Tavrol_SubmitOptions& options, QTextStream& out, QTextStream& err);
};
