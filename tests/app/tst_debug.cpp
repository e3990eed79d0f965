#include "app/app.h"

#include "app/globals.h"

#include "capture.h"

#include <QtTest>

#include <QTemporaryDir>

#include <cstdio>
#include <unistd.h>

using TestSupport::StandardErrorOf;

namespace {

QByteArray ContentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

QtMessageHandler CurrentHandler()
{
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(handler);
    return handler;
}

void LogAllKinds()
{
    qDebug("debug text");
    qInfo("info text");
    qWarning("warning text");
    qCritical("critical text");
}

} // namespace

class TestDebug : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_savedCurrent;
    QtMessageHandler m_testHandler = nullptr;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_savedCurrent = QDir::currentPath();
        m_testHandler = CurrentHandler();
    }

    void init()
    {
        QDir(m_dir.path()).removeRecursively();
        QVERIFY(QDir().mkpath(m_dir.path()));
        QVERIFY(QDir::setCurrent(m_dir.path()));
        DebugLevel = 0;
    }

    void cleanup()
    {
        StopDebugOutput();
        qInstallMessageHandler(m_testHandler);
        QDir::setCurrent(m_savedCurrent);
    }

    // The handler.

    void withoutDebuggingNothingIsPrinted()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-console"}));
        QVERIFY(CurrentHandler() == &DebugMessageHandler);
        QCOMPARE(DebugLevel, 0);
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray());
    }

    void handlerIsInPlaceWithTheProgramAlone()
    {
        QVERIFY(ProcessDebugArguments({"tavrol"}));
        QVERIFY(CurrentHandler() == &DebugMessageHandler);
        QCOMPARE(DebugLevel, 0);
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray());
    }

    void debugWritesToStandardErrorWithAFurtherBlank()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debug"}));
        QCOMPARE(DebugLevel, 7);
        QCOMPARE(DebugFile, nullptr);
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray("Info:   debug text\n"
                                                          "Info:   info text\n"
                                                          "Warning:   warning text\n"));
    }

    void debugOptionIsCaseFree()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-DeBuG"}));
        QCOMPARE(DebugLevel, 7);
    }

    void criticalIsNeverShown()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debug"}));
        QCOMPARE(StandardErrorOf([] { qCritical("critical text"); }), QByteArray());
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile"}));
        qCritical("critical text");
        QCOMPARE(ContentsOf("tavrol_debug.txt"), QByteArray());
    }

    void eachKindNeedsItsBit()
    {
        qInstallMessageHandler(DebugMessageHandler);
        DebugLevel = 1;
        QCOMPARE(StandardErrorOf(LogAllKinds),
                 QByteArray("Info:   debug text\nInfo:   info text\n"));
        DebugLevel = 2;
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray("Warning:   warning text\n"));
        DebugLevel = 4;
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray());
    }

    void fatalIsWrittenWithItsBitAndAlwaysStopsTheOutput()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile"}));
        const QMessageLogContext context;
        DebugMessageHandler(QtFatalMsg, context, "fatal text");
        QCOMPARE(ContentsOf("tavrol_debug.txt"), QByteArray("Fatal:  fatal text\n"));
        QCOMPARE(DebugFile, nullptr);
        QCOMPARE(DebugLevel, 0);
        QVERIFY(CurrentHandler() != &DebugMessageHandler);

        // Without bit 2 nothing is written, but the output stops all the same.
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile=second.txt"}));
        DebugLevel = 3;
        DebugMessageHandler(QtFatalMsg, context, "fatal text");
        QCOMPARE(ContentsOf("second.txt"), QByteArray());
        QCOMPARE(DebugFile, nullptr);
        QCOMPARE(DebugLevel, 0);
        QVERIFY(CurrentHandler() != &DebugMessageHandler);
    }

    void fatalToStandardError()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debug"}));
        const QMessageLogContext context;
        QCOMPARE(
            StandardErrorOf([&context] { DebugMessageHandler(QtFatalMsg, context, "fatal text"); }),
            QByteArray("Fatal:   fatal text\n"));
        QCOMPARE(DebugLevel, 0);
    }

    // The debug file.

    void debugFileIsTavrolDebugTxt()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-console", "-debugfile"}));
        QCOMPARE(DebugLevel, 7);
        QVERIFY(DebugFile);
        QCOMPARE(StandardErrorOf(LogAllKinds), QByteArray());
        QCOMPARE(ContentsOf("tavrol_debug.txt"), QByteArray("Info:  debug text\n"
                                                            "Info:  info text\n"
                                                            "Warning:  warning text\n"));
    }

    void namedDebugFileIsLowerCased()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-DEBUGFILE=Out.TXT"}));
        qWarning("into out.txt");
        QVERIFY(QFileInfo::exists("out.txt"));
        QVERIFY(!QDir(m_dir.path()).entryList(QDir::Files).contains("Out.TXT"));
        QCOMPARE(ContentsOf("out.txt"), QByteArray("Warning:  into out.txt\n"));
    }

    void debugFileNameIsWhatFollowsTheFirstEquals()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile=a=b.txt"}));
        qDebug("x");
        QCOMPARE(ContentsOf("a=b.txt"), QByteArray("Info:  x\n"));
    }

    void olderDebugFileIsReplaced()
    {
        QFile old("tavrol_debug.txt");
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("older contents\n");
        old.close();
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile"}));
        qDebug("new");
        QCOMPARE(ContentsOf("tavrol_debug.txt"), QByteArray("Info:  new\n"));
    }

    void firstMatchWins_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("toFile");
        QTest::newRow("-debug -debugfile")
            << QStringList{"tavrol", "-debug", "-debugfile"} << false;
        QTest::newRow("-debugfile -debug") << QStringList{"tavrol", "-debugfile", "-debug"} << true;
        QTest::newRow("-debug -debugfile=x")
            << QStringList{"tavrol", "-debug", "-debugfile=tavrol_debug.txt"} << false;
    }

    void firstMatchWins()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, toFile);
        QVERIFY(ProcessDebugArguments(arguments));
        QCOMPARE(DebugLevel, 7);
        QCOMPARE(DebugFile != nullptr, toFile);
        QCOMPARE(QFileInfo::exists("tavrol_debug.txt"), toFile);
        const QByteArray printed = StandardErrorOf([] { qWarning("where"); });
        QCOMPARE(printed, toFile ? QByteArray() : QByteArray("Warning:   where\n"));
    }

    void unopenableDebugFileLeavesNoHandler()
    {
        QVERIFY(!ProcessDebugArguments({"tavrol", "-debugfile=no-such-dir/x.txt", "-debug"}));
        QCOMPARE(DebugLevel, 7);
        QCOMPARE(DebugFile, nullptr);
        QVERIFY(CurrentHandler() != &DebugMessageHandler);

        QVERIFY(!ProcessDebugArguments({"tavrol", "-debugfile="}));
        QCOMPARE(DebugFile, nullptr);
        QVERIFY(CurrentHandler() != &DebugMessageHandler);
    }

    void stopDebugOutputClosesTheFile()
    {
        QVERIFY(ProcessDebugArguments({"tavrol", "-debugfile"}));
        QPointer<QFile> file(DebugFile);
        StopDebugOutput();
        QVERIFY(file.isNull());
        QCOMPARE(DebugFile, nullptr);
        QCOMPARE(DebugLevel, 0);
        QVERIFY(CurrentHandler() != &DebugMessageHandler);
    }
};

QTEST_GUILESS_MAIN(TestDebug)
#include "tst_debug.moc"
