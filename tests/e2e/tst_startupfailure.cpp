// Starts that cannot get a platform from the toolkit: the real program says
// why on its standard error, in its last line, and ends with status 1 rather
// than dying from an abort.

#include "binaryrun.h"
#include "testsupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

using E2E::Run;

namespace {

const QByteArray NoDisplayLine = "tavrol: no usable display (DISPLAY is not set): the window "
                                 "cannot be shown. Start with \"-console\" to run without a "
                                 "window.";

QByteArray LastLine(const QByteArray& text)
{
    QByteArray trimmed = text;
    if (trimmed.endsWith('\n'))
        trimmed.chop(1);
    return trimmed.mid(trimmed.lastIndexOf('\n') + 1);
}

// A display number that no X server uses on this machine, outside the range
// where the desktop test starts its own server.
int UnusedDisplayNumber()
{
    for (int number = 199; number > 140; --number) {
        if (!QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(number)) &&
            !QFileInfo::exists(QStringLiteral("/tmp/.X%1-lock").arg(number)))
            return number;
    }
    return -1;
}

} // namespace

class TestStartupFailure : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    // The test's environment without any display or platform choice.
    static QProcessEnvironment Headless()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        environment.remove(QStringLiteral("DISPLAY"));
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        return environment;
    }

    // Ended by itself with status 1, not by a signal, and nothing on the
    // standard output.
    static void VerifyFailedStart(const Run& run)
    {
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.standardOutput, QByteArray());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(QFileInfo(TestSupport::TavrolBinary()).isExecutable());
    }

    void guiWithADisplayNobodyServes()
    {
        const int number = UnusedDisplayNumber();
        QVERIFY(number >= 0);
        const QString display = QStringLiteral(":%1").arg(number);
        QProcessEnvironment environment = Headless();
        environment.insert(QStringLiteral("DISPLAY"), display);
        const Run run = E2E::RunTavrol({}, m_dir.path(), QByteArray(), environment);
        VerifyFailedStart(run);
        QCOMPARE(LastLine(run.standardError),
                 QByteArray("tavrol: no usable display (DISPLAY is \"") + display.toLatin1() +
                     "\"): the window cannot be shown. Start with \"-console\" to run without a "
                     "window.");
        // The toolkit's own reason comes first, whatever the debug options.
        QVERIFY2(run.standardError.startsWith("Fatal:   "), run.standardError.constData());
        QCOMPARE(run.standardError.count("\ntavrol: "), 1);
    }

    void guiWithoutAnyDisplay()
    {
        const Run run = E2E::RunTavrol({}, m_dir.path(), QByteArray(), Headless());
        VerifyFailedStart(run);
        QCOMPARE(LastLine(run.standardError), NoDisplayLine);
        QVERIFY2(run.standardError.startsWith("Fatal:   "), run.standardError.constData());
    }

    // With "-debug" the fatal message is printed once, not twice.
    void guiWithoutAnyDisplayUnderDebug()
    {
        const Run run =
            E2E::RunTavrol({QStringLiteral("-debug")}, m_dir.path(), QByteArray(), Headless());
        VerifyFailedStart(run);
        QCOMPARE(run.standardError.count("Fatal:   "), 1);
        QCOMPARE(LastLine(run.standardError), NoDisplayLine);
    }

    void consoleWithAPlatformThatCannotBeLoaded()
    {
        QProcessEnvironment environment = Headless();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("bogus"));
        const Run run =
            E2E::RunTavrol({QStringLiteral("-console")}, m_dir.path(), QByteArray(), environment);
        VerifyFailedStart(run);
        QCOMPARE(LastLine(run.standardError),
                 QByteArray("tavrol: the platform plugin \"bogus\" cannot be loaded "
                            "(QT_QPA_PLATFORM is \"bogus\", DISPLAY is not set)."));
        QVERIFY2(run.standardError.startsWith("Fatal:   "), run.standardError.constData());
    }

    // The console on a machine without a display still starts, offscreen.
    void consoleWithoutAnyDisplayStarts()
    {
        const Run run = E2E::RunTavrol({QStringLiteral("-console"), QStringLiteral("-help")},
                                       m_dir.path(), QByteArray(), Headless());
        QVERIFY(run.finished);
        QCOMPARE(run.exitStatus, QProcess::NormalExit);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.standardError, QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestStartupFailure)
#include "tst_startupfailure.moc"
