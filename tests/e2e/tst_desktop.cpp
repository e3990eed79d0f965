// Instances on a desktop, under a real X server that the test starts. A
// console instance: a request that opens the job type selection dialog, a
// cancel of that dialog, and the instance goes on serving its prompt and its
// clients. A GUI instance: its window appears with its title, "hide" and
// "show" requests unmap and map it, a close from the window manager only
// hides it, and a submitted job runs to its end.

#include "consolesession.h"
#include "platform/computerdata.h"
#include "socketclient.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QHostAddress>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <unistd.h>

using E2E::ConsoleSession;
using E2E::ExitQuestion;
using E2E::Home;
using E2E::SaveUnnamedQuestion;
using E2E::SendRequest;

namespace {

const QString DialogTitle = QStringLiteral("Submit Job, Select Job Type");
const QString MainWindowTitle = QStringLiteral("TavrolGUI 1.1.15, Unsaved Project");

struct CommandResult
{
    bool finished = false;
    int exitCode = -1;
    QByteArray output;
};

CommandResult RunCommand(const QString& program, const QStringList& arguments,
                         const QProcessEnvironment& environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    CommandResult result;
    if (!process.waitForStarted(10000))
        return result;
    result.finished = process.waitForFinished(timeoutMs);
    if (!result.finished) {
        process.kill();
        process.waitForFinished(10000);
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = process.readAllStandardOutput();
    return result;
}

// An X server of the test's own on a display that nobody else uses.
class VirtualDisplay
{
public:
    ~VirtualDisplay()
    {
        if (m_server.state() == QProcess::NotRunning)
            return;
        m_server.terminate();
        if (!m_server.waitForFinished(10000)) {
            m_server.kill();
            m_server.waitForFinished(10000);
        }
    }

    bool Start(const QString& program)
    {
        for (int number = 90; number <= 140; ++number) {
            const QString socket = QStringLiteral("/tmp/.X11-unix/X%1").arg(number);
            if (QFileInfo::exists(socket) ||
                QFileInfo::exists(QStringLiteral("/tmp/.X%1-lock").arg(number)))
                continue;
            const QString name = QStringLiteral(":%1").arg(number);
            m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            m_server.setStandardOutputFile(QProcess::nullDevice());
            m_server.start(program, {name, QStringLiteral("-screen"), QStringLiteral("0"),
                                     QStringLiteral("1280x1024x24"), QStringLiteral("-nolisten"),
                                     QStringLiteral("tcp")});
            if (!m_server.waitForStarted(10000))
                return false;
            // Up when its socket is there; gone at once when another server
            // took the number first.
            QDeadlineTimer deadline(20000);
            while (!QFileInfo::exists(socket) && m_server.state() == QProcess::Running &&
                   !deadline.hasExpired())
                m_server.waitForFinished(50);
            if (QFileInfo::exists(socket) && m_server.state() == QProcess::Running) {
                m_name = name;
                return true;
            }
            m_server.kill();
            m_server.waitForFinished(10000);
        }
        return false;
    }

    QString Name() const { return m_name; }

private:
    QProcess m_server;
    QString m_name;
};

// A desktop instance of the real binary on an X server of its own, with a
// home of its own and the stand-in programs; killed when it goes.
class DesktopInstance
{
public:
    ~DesktopInstance()
    {
        if (m_gui.state() == QProcess::NotRunning)
            return;
        m_gui.kill();
        m_gui.waitForFinished(10000);
    }

    // The X server and the environment that uses it.
    bool StartDisplay(const QString& xvfb)
    {
        if (!m_display.Start(xvfb))
            return false;
        m_environment = m_home.Environment(true);
        m_environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        m_environment.insert(QStringLiteral("DISPLAY"), m_display.Name());
        m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        return true;
    }

    // The window instance, started in the home directory.
    bool StartWindow()
    {
        m_gui.setProcessEnvironment(m_environment);
        m_gui.setWorkingDirectory(m_home.Path());
        m_gui.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_gui.setStandardOutputFile(QProcess::nullDevice());
        m_gui.start(TestSupport::TavrolBinary(), {});
        return m_gui.waitForStarted(10000);
    }

    const Home& HomeDir() const { return m_home; }
    const QProcessEnvironment& Environment() const { return m_environment; }
    QProcess::ProcessState State() const { return m_gui.state(); }

private:
    VirtualDisplay m_display;
    Home m_home;
    QProcessEnvironment m_environment;
    QProcess m_gui;
};

QByteArray Line(const char* key, const QString& value)
{
    return QByteArray(key) + value.toLocal8Bit() + "\n";
}

QByteArray Submission(const QString& jobTypeName, const QString& inputFile, const QString& jobName)
{
    return "clientname=tester\nclientappname=tstdesktop\n" +
           Line("clientuid=", QString::number(getuid())) + "action=submitjob\n" +
           Line("jobtypename=", jobTypeName) + "jobqueue=none\n" +
           Line("jobinputfile=", inputFile) + Line("jobname=", jobName);
}

} // namespace

class TestDesktop : public QObject
{
    Q_OBJECT

private:
    QString m_xvfb;
    QString m_xdotool;

    // The selection dialog's visible windows, by id; empty when there is none.
    QStringList DialogWindows(const QProcessEnvironment& environment, bool wait)
    {
        return VisibleWindows(DialogTitle, environment, wait);
    }

    QStringList VisibleWindows(const QString& title, const QProcessEnvironment& environment,
                               bool wait)
    {
        QStringList arguments{QStringLiteral("search")};
        if (wait)
            arguments << QStringLiteral("--sync");
        arguments << QStringLiteral("--onlyvisible") << QStringLiteral("--name")
                  << QLatin1Char('^') + QRegularExpression::escape(title) + QLatin1Char('$');
        const CommandResult found = RunCommand(m_xdotool, arguments, environment, 30000);
        if (!found.finished)
            return {};
        return QString::fromLatin1(found.output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    int Run(const QString& program, const QStringList& arguments,
            const QProcessEnvironment& environment)
    {
        return RunCommand(program, arguments, environment, 30000).exitCode;
    }

    // What the window shows now, as the X server has it.
    QImage Grab(const QString& window, const QProcessEnvironment& environment)
    {
        const QString file = m_pictures.filePath(QStringLiteral("window.png"));
        QFile::remove(file);
        if (Run(QStringLiteral(TAVROL_XTOOL), {QStringLiteral("grab"), window, file},
                environment) != 0)
            return QImage();
        return QImage(file).convertToFormat(QImage::Format_RGB32);
    }

    // Moves on by count tabs with the keyboard, as a user would; the window
    // has the focus.
    bool SwitchTabs(int count, const QProcessEnvironment& environment)
    {
        for (int i = 0; i < count; ++i) {
            if (Run(m_xdotool,
                    {QStringLiteral("key"), QStringLiteral("--clearmodifiers"),
                     QStringLiteral("ctrl+Tab")},
                    environment) != 0)
                return false;
        }
        return true;
    }

    QTemporaryDir m_pictures;

private slots:
    void initTestCase()
    {
        m_xvfb = QStandardPaths::findExecutable(QStringLiteral("Xvfb"));
        m_xdotool = QStandardPaths::findExecutable(QStringLiteral("xdotool"));
        if (m_xvfb.isEmpty() || m_xdotool.isEmpty())
            QSKIP("Xvfb and xdotool are needed (scripts/install-deps.sh installs them)");
    }

    // Cancelling the dialog ends nothing: the instance still answers at its
    // prompt and runs the next client's job.
    void cancelledSelectionDialogLeavesTheInstanceRunning()
    {
        DesktopInstance instance;
        QVERIFY(instance.StartDisplay(m_xvfb));
        const Home& home = instance.HomeDir();
        const QProcessEnvironment& environment = instance.Environment();
        const QString unknown = E2E::WriteFile(home.File(QStringLiteral("sample.xyz")), "x\n");
        const QString input = E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "w\n");

        ConsoleSession session(environment);
        QVERIFY(session.Start({QStringLiteral("-console")}, home.Path()));
        QVERIFY(!session.WaitForFirstPrompt().isEmpty());

        // No type has this name and none takes the extension: the dialog asks.
        QVERIFY(SendRequest(
            Submission(QStringLiteral("NoSuchType"), unknown, QStringLiteral("unknown"))));
        const QStringList windows = DialogWindows(environment, true);
        QVERIFY2(!windows.isEmpty(), "the selection dialog did not appear");
        const QString window = windows.first();
        QCOMPARE(RunCommand(m_xdotool,
                            {QStringLiteral("windowfocus"), QStringLiteral("--sync"), window},
                            environment, 30000)
                     .exitCode,
                 0);
        QCOMPARE(RunCommand(m_xdotool, {QStringLiteral("key"), QStringLiteral("Escape")},
                            environment, 30000)
                     .exitCode,
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(DialogWindows(environment, false).isEmpty(), 20000);

        // The instance lives on, its prompt answers, and it serves a client.
        session.Pause(500);
        QVERIFY(session.IsRunning());
        QCOMPARE(session.Send(QStringLiteral("list queueless jobs")),
                 QStringLiteral("\nQueueless Jobs List is Empty\n\n"));
        QVERIFY(SendRequest(
            Submission(QStringLiteral("Gaussian"), input, QStringLiteral("afterdialog"))));
        const QRegularExpression finishedJob(QStringLiteral("\n\\d+ +afterdialog +Completed +"));
        QString finished;
        QDeadlineTimer deadline(30000);
        while (!finished.contains(finishedJob) && !deadline.hasExpired()) {
            finished = session.Send(QStringLiteral("list finished jobs"));
            if (!finished.contains(finishedJob))
                session.Pause(200);
        }
        QVERIFY2(finished.contains(finishedJob), qPrintable(finished));
        // The cancelled request made no job.
        QVERIFY2(!finished.contains(QStringLiteral("unknown")), qPrintable(finished));

        QCOMPARE(session.Send(QStringLiteral("quit"), ExitQuestion), QString());
        session.Write(QStringLiteral("yes"));
        QCOMPARE(session.WaitForEnding(SaveUnnamedQuestion), QString());
        session.Write(QStringLiteral("no"));
        int exitCode = -2;
        QVERIFY(session.WaitForExit(&exitCode));
        QCOMPARE(exitCode, 0);
    }

    // The GUI instance as a user and its clients meet it.
    void guiWindowHidesShowsAndRunsJobs()
    {
        DesktopInstance instance;
        QVERIFY(instance.StartDisplay(m_xvfb));
        const Home& home = instance.HomeDir();
        const QProcessEnvironment& environment = instance.Environment();
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("water.gjf")), "#standin sleep=3\n");

        QVERIFY(instance.StartWindow());

        // The window appears with its title.
        const QStringList windows = VisibleWindows(MainWindowTitle, environment, true);
        QVERIFY2(windows.size() == 1, "the main window did not appear");
        const QString window = windows.first();
        const quint16 guiPort = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        const QByteArray client =
            "clientname=tester\n" + Line("clientuid=", QString::number(getuid()));

        // "hide" unmaps it, "show" maps it again.
        QVERIFY(SendRequest(client + "action=hide", guiPort));
        QTRY_VERIFY_WITH_TIMEOUT(VisibleWindows(MainWindowTitle, environment, false).isEmpty(),
                                 20000);
        QVERIFY(SendRequest(client + "action=show", guiPort));
        QTRY_COMPARE_WITH_TIMEOUT(VisibleWindows(MainWindowTitle, environment, false),
                                  QStringList{window}, 20000);

        // The window manager's close only hides: the port still answers.
        QCOMPARE(RunCommand(QStringLiteral(TAVROL_XTOOL), {QStringLiteral("close"), window},
                            environment, 30000)
                     .exitCode,
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(VisibleWindows(MainWindowTitle, environment, false).isEmpty(),
                                 20000);
        QCOMPARE(instance.State(), QProcess::Running);
        QVERIFY(SendRequest(client + "action=test", guiPort));
        QVERIFY(SendRequest(client + "action=show", guiPort));
        QTRY_COMPARE_WITH_TIMEOUT(VisibleWindows(MainWindowTitle, environment, false),
                                  QStringList{window}, 20000);

        // What the long queue's tab and the finished jobs' tab show while
        // they are empty.
        QCOMPARE(Run(m_xdotool, {QStringLiteral("windowfocus"), QStringLiteral("--sync"), window},
                     environment),
                 0);
        const QImage emptyLong = Grab(window, environment);
        QVERIFY(!emptyLong.isNull());
        QVERIFY(SwitchTabs(4, environment));
        QTRY_VERIFY_WITH_TIMEOUT(Grab(window, environment) != emptyLong, 20000);
        const QImage emptyFinished = Grab(window, environment);
        QVERIFY(SwitchTabs(2, environment));
        QTRY_COMPARE_WITH_TIMEOUT(Grab(window, environment), emptyLong, 20000);

        // A job for the long queue: its row appears in the long queue's
        // table, leaves it when the job ends, and the client hears so.
        E2E::Listener listener;
        QVERIFY(
            SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                        QStringLiteral("long"), input, QStringLiteral("guijob")),
                        guiPort));
        QTRY_VERIFY_WITH_TIMEOUT(Grab(window, environment) != emptyLong, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 1, 30000);
        QTRY_COMPARE_WITH_TIMEOUT(Grab(window, environment), emptyLong, 20000);
        // ...and is then a row of the finished jobs.
        QVERIFY(SwitchTabs(4, environment));
        QTRY_VERIFY_WITH_TIMEOUT(Grab(window, environment) != emptyLong, 20000);
        QVERIFY(Grab(window, environment) != emptyFinished);
        const QByteArray finished = listener.Messages().first();
        QVERIFY2(finished.contains("action=jobfinished\n"), finished.constData());
        QVERIFY2(finished.contains("jobstatus=completed\n"), finished.constData());
        QVERIFY2(finished.contains("jobqueue=long\n"), finished.constData());
        QCOMPARE(instance.State(), QProcess::Running);
    }

    // A running long job's output, double-clicked in the long queue's table,
    // opens a viewer that shows what the program writes later.
    void guiStreamsARunningJobsOutput()
    {
        DesktopInstance instance;
        QVERIFY(instance.StartDisplay(m_xvfb));
        const Home& home = instance.HomeDir();
        const QProcessEnvironment& environment = instance.Environment();
        const QString input =
            E2E::WriteFile(home.File(QStringLiteral("stream.gjf")), "#standin sleep=60\n");

        QVERIFY(instance.StartWindow());
        const QStringList windows = VisibleWindows(MainWindowTitle, environment, true);
        QVERIFY2(windows.size() == 1, "the main window did not appear");
        const QString window = windows.first();
        const QImage emptyLong = Grab(window, environment);

        E2E::Listener listener;
        const quint16 guiPort = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        QVERIFY(
            SendRequest(E2E::Submission(listener.Port(), QStringLiteral("Gaussian"),
                                        QStringLiteral("long"), input, QStringLiteral("streamjob")),
                        guiPort));
        QTRY_VERIFY_WITH_TIMEOUT(Grab(window, environment) != emptyLong, 20000);
        const QString output = home.File(QStringLiteral("stream.log"));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(output).size() > 0, 20000);

        // The first row lies below the tabs and the header; its height is the
        // style's, so the double click walks down until a viewer appears.
        const QString viewerTitle = QStringLiteral("Streaming ") + output;
        QStringList viewers;
        for (int y = 50; y <= 140 && viewers.isEmpty(); y += 8) {
            QCOMPARE(Run(m_xdotool,
                         {QStringLiteral("mousemove"), QStringLiteral("--window"), window,
                          QStringLiteral("60"), QString::number(y), QStringLiteral("click"),
                          QStringLiteral("--repeat"), QStringLiteral("2"),
                          QStringLiteral("--delay"), QStringLiteral("60"), QStringLiteral("1")},
                         environment),
                     0);
            // A miss opens nothing; a hit shows its window within moments.
            (void)QTest::qWaitFor(
                [&] {
                    viewers = VisibleWindows(viewerTitle, environment, false);
                    return !viewers.isEmpty();
                },
                1500);
        }
        QVERIFY2(viewers.size() == 1, "no viewer of the output appeared");
        const QString viewer = viewers.first();
        QTRY_VERIFY_WITH_TIMEOUT(!Grab(viewer, environment).isNull(), 20000);
        const QImage before = Grab(viewer, environment);
        {
            QFile file(output);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
            for (int i = 0; i < 5; ++i)
                file.write("SCF Done:  E(RB3LYP) =  -76.4089  A.U. after 9 cycles\n");
        }
        // The viewer polls every two seconds: the new lines show without a hand.
        QTRY_VERIFY_WITH_TIMEOUT(Grab(viewer, environment) != before, 20000);
    }

    // A client that asks for confirmation meets the Submit Jobs dialog: the
    // job runs once the user submits it, a request that comes meanwhile
    // waits its turn, and a cancelled dialog makes no job.
    void guiConfirmedRequestsGoThroughTheSubmitJobsDialog()
    {
        DesktopInstance instance;
        QVERIFY(instance.StartDisplay(m_xvfb));
        const Home& home = instance.HomeDir();
        const QProcessEnvironment& environment = instance.Environment();
        const auto input = [&home](const QString& name) {
            return E2E::WriteFile(home.File(name), "#standin sleep=0\n");
        };
        const QString first = input(QStringLiteral("first.gjf"));
        const QString second = input(QStringLiteral("second.gjf"));
        const QString third = input(QStringLiteral("third.gjf"));
        const QString fourth = input(QStringLiteral("fourth.gjf"));

        QVERIFY(instance.StartWindow());
        QVERIFY2(VisibleWindows(MainWindowTitle, environment, true).size() == 1,
                 "the main window did not appear");

        E2E::Listener listener;
        const quint16 guiPort = quint16(Quolix_ComputerData::TavrolGUIPortNumber());
        const auto request = [&](const QString& file, bool confirm) {
            QByteArray message =
                E2E::Submission(listener.Port(), QStringLiteral("Gaussian"), QStringLiteral("long"),
                                file, QStringLiteral("named"));
            if (confirm)
                message += "\nconfirmaction=yes";
            return SendRequest(message, guiPort);
        };
        const QString dialogTitle = QStringLiteral("Submit Jobs");

        QVERIFY(request(first, true));
        QStringList dialogs = VisibleWindows(dialogTitle, environment, true);
        QVERIFY2(dialogs.size() == 1, "the Submit Jobs dialog did not appear");
        // The instance has taken the second request once its connection is
        // closed; it is served only after the dialog.
        QVERIFY(request(second, false));
        QVERIFY(listener.Messages().isEmpty());

        // Submit is the first button of the bottom row, at the left.
        const QString dialog = dialogs.first();
        const CommandResult geometry = RunCommand(
            m_xdotool, {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), dialog},
            environment, 30000);
        const QRegularExpressionMatch height = QRegularExpression(QStringLiteral("HEIGHT=(\\d+)"))
                                                   .match(QString::fromLatin1(geometry.output));
        QVERIFY2(height.hasMatch(), geometry.output.constData());
        QCOMPARE(Run(m_xdotool,
                     {QStringLiteral("mousemove"), QStringLiteral("--window"), dialog,
                      QStringLiteral("45"), QString::number(height.captured(1).toInt() - 26),
                      QStringLiteral("click"), QStringLiteral("1")},
                     environment),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(VisibleWindows(dialogTitle, environment, false).isEmpty(), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 2, 30000);
        const QByteArray submitted = listener.Messages().at(0);
        const QByteArray waited = listener.Messages().at(1);
        QVERIFY2(submitted.contains("action=jobfinished\n"), submitted.constData());
        QVERIFY2(submitted.contains("jobstatus=completed\n"), submitted.constData());
        QVERIFY2(submitted.contains(("jobinputfile=" + first + "\n").toUtf8()),
                 submitted.constData());
        QVERIFY2(waited.contains(("jobinputfile=" + second + "\n").toUtf8()), waited.constData());

        // Cancelled: no job, and the instance serves the next client.
        QVERIFY(request(third, true));
        dialogs = VisibleWindows(dialogTitle, environment, true);
        QVERIFY2(dialogs.size() == 1, "the Submit Jobs dialog did not appear again");
        QCOMPARE(Run(m_xdotool,
                     {QStringLiteral("windowfocus"), QStringLiteral("--sync"), dialogs.first()},
                     environment),
                 0);
        QCOMPARE(Run(m_xdotool, {QStringLiteral("key"), QStringLiteral("Escape")}, environment), 0);
        QTRY_VERIFY_WITH_TIMEOUT(VisibleWindows(dialogTitle, environment, false).isEmpty(), 20000);
        QVERIFY(request(fourth, false));
        QTRY_COMPARE_WITH_TIMEOUT(listener.Messages().size(), 3, 30000);
        const QByteArray after = listener.Messages().at(2);
        QVERIFY2(after.contains(("jobinputfile=" + fourth + "\n").toUtf8()), after.constData());
        for (const QByteArray& message : listener.Messages())
            QVERIFY2(!message.contains("third.gjf"), message.constData());
        QCOMPARE(instance.State(), QProcess::Running);
    }

    // "-help" in the GUI: the usage stays on the screen in the start-up
    // window, titled like the program, until the user closes it; then the
    // process ends with 0.
    void guiHelpWindowStaysUntilClosed()
    {
        VirtualDisplay display;
        QVERIFY(display.Start(m_xvfb));
        Home home;
        QProcessEnvironment environment = home.Environment(true);
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        environment.insert(QStringLiteral("DISPLAY"), display.Name());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));

        QProcess gui;
        gui.setProcessEnvironment(environment);
        gui.setWorkingDirectory(home.Path());
        gui.start(TestSupport::TavrolBinary(), {QStringLiteral("-help")});
        QVERIFY(gui.waitForStarted(10000));
        const auto stop = qScopeGuard([&gui] {
            gui.kill();
            gui.waitForFinished(10000);
        });
        const QStringList windows =
            VisibleWindows(QStringLiteral("TavrolGUI 1.1.15"), environment, true);
        QVERIFY2(windows.size() == 1, "the usage window did not appear");
        QCOMPARE(RunCommand(QStringLiteral(TAVROL_XTOOL),
                            {QStringLiteral("close"), windows.first()}, environment, 30000)
                     .exitCode,
                 0);
        QVERIFY(gui.waitForFinished(20000));
        QCOMPARE(gui.exitStatus(), QProcess::NormalExit);
        QCOMPARE(gui.exitCode(), 0);
        QCOMPARE(gui.readAllStandardOutput(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestDesktop)
#include "tst_desktop.moc"
