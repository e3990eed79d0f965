// The console's reader and its questions: a line never overruns the buffer,
// the end of the input is waited out without spinning, each question takes
// only its own answers, and the commands reach the views on the main thread.

#include "app/globals.h"
#include "console/console.h"
#include "console/console_worker.h"
#include "jobs/queuelessjobslist.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/queuelessjobswidget.h"
#include "window/appwindow.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>

#include <sys/resource.h>

namespace {

// A stream holding exactly these bytes, read from its start.
std::FILE* StreamOf(const QByteArray& bytes)
{
    std::FILE* stream = std::tmpfile();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::rewind(stream);
    return stream;
}

QStringList ReadLines(const QByteArray& bytes, int count)
{
    std::FILE* stream = StreamOf(bytes);
    QStringList lines;
    for (int index = 0; index < count; ++index) {
        QString line;
        Tavrol_Console_Worker::ReadLine(stream, line);
        lines.append(line);
    }
    std::fclose(stream);
    return lines;
}

double ProcessCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

} // namespace

class TestConsoleWorker : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Tavrol_AppWindow> m_window;

    void Answer(const QByteArray& lines)
    {
        const QString path = m_dir.filePath(QStringLiteral("answers.txt"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(lines);
        file.close();
        QVERIFY(std::freopen(QFile::encodeName(path).constData(), "r", stdin));
    }

    QString Input(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("x\n");
        return path;
    }

private slots:
    void initTestCase()
    {
        RunMode = RunModeConsole;
        qputenv("GAUSS_EXEDIR",
                TestSupport::FixturePath(QStringLiteral("gaussian/g16")).toLocal8Bit());
        m_window = std::make_unique<Tavrol_AppWindow>();
        TavrolAppWindow = m_window.get();
        m_window->BuildWidgets();
        m_window->NewProject(QString());
    }

    void cleanupTestCase()
    {
        m_window->QueuelessJobsView()->KillRunningJobs();
        m_window.reset();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void readLine_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("trimmed") << QByteArray("  list long jobs \t\nnext\n")
                                 << QStringList{"list long jobs", "next"};
        QTest::newRow("carriage return") << QByteArray("pwd\r\n") << QStringList{"pwd"};
        QTest::newRow("empty lines") << QByteArray("\n\nx\n") << QStringList{"", "", "x"};
        QTest::newRow("zero byte ends the text")
            << QByteArray("ab\0cd\nnext\n", 11) << QStringList{"ab", "next"};
        QTest::newRow("Latin-1") << QByteArray("caf\xe9\n") << QStringList{QStringLiteral("café")};
        const QByteArray fits(1039, 'a');
        QTest::newRow("1039 fit") << fits + "\nnext\n" << QStringList{QString(fits), "next"};
        QTest::newRow("1040 are cut") << fits + "bcd\nnext\n" << QStringList{QString(fits), "next"};
        QTest::newRow("long line dropped whole")
            << QByteArray(100000, 'z') + "pwd\nnext\n"
            << QStringList{QString(1039, QLatin1Char('z')), "next"};
    }

    void readLine()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, lines);
        QCOMPARE(ReadLines(bytes, int(lines.size())), lines);
    }

    // At the end of the input the reader waits for more instead of spinning.
    void endOfInputIsWaitedOut()
    {
        const QString path = m_dir.filePath(QStringLiteral("growing.txt"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("ab");
        file.flush();
        std::FILE* stream = std::fopen(QFile::encodeName(path).constData(), "r");
        QVERIFY(stream);
        std::atomic<bool> done{false};
        QString line;
        std::thread reader([&] {
            Tavrol_Console_Worker::ReadLine(stream, line);
            done = true;
        });
        const double before = ProcessCpuSeconds();
        QTest::qWait(1000);
        const double used = ProcessCpuSeconds() - before;
        QVERIFY(!done);
        file.write("c\n");
        file.flush();
        QTRY_VERIFY_WITH_TIMEOUT(done, 5000);
        reader.join();
        std::fclose(stream);
        QCOMPARE(line, QStringLiteral("abc"));
        QVERIFY2(used < 0.3, qPrintable(QString::number(used)));
    }

    void askQueue_data()
    {
        QTest::addColumn<QByteArray>("answers");
        QTest::addColumn<int>("queue");
        QTest::newRow("long") << QByteArray("long\n") << 0;
        QTest::newRow("Short") << QByteArray("Short\n") << 1;
        QTest::newRow("NONE") << QByteArray("NONE\n") << 2;
        QTest::newRow("queueless is no answer") << QByteArray("queueless\nnone\n") << 2;
        QTest::newRow("cancel") << QByteArray("x\n\nCancel\n") << -1;
    }

    void askQueue()
    {
        QFETCH(QByteArray, answers);
        QFETCH(int, queue);
        Answer(answers + "after\n");
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        QCOMPARE(worker.AskQueue(), queue);
        QString following;
        Tavrol_Console_Worker::ReadConsoleLine(following);
        QCOMPARE(following, QStringLiteral("after"));
    }

    void askJobType_data()
    {
        QTest::addColumn<QByteArray>("answers");
        QTest::addColumn<QString>("name");
        QTest::newRow("name") << QByteArray("Gaussian\n") << "Gaussian";
        QTest::newRow("name is exact") << QByteArray("gaussian\nCubegen\n") << "Cubegen";
        QTest::newRow("id") << QByteArray("1\n") << "Cubegen";
        QTest::newRow("unknown id") << QByteArray("99\n0\n") << "Gaussian";
        QTest::newRow("cancel") << QByteArray("x\nCANCEL\n") << "";
    }

    void askJobType()
    {
        QFETCH(QByteArray, answers);
        QFETCH(QString, name);
        Answer(answers + "after\n");
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        const Tavrol_JobType jobType = worker.AskJobType();
        QCOMPARE(jobType.Name, name);
        QCOMPARE(jobType.IsValid(), !name.isEmpty());
        QString following;
        Tavrol_Console_Worker::ReadConsoleLine(following);
        QCOMPARE(following, QStringLiteral("after"));
    }

    void askInputFile()
    {
        const QString input = Input(QStringLiteral("a.gjf"));
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        Answer("\n/no/such/file\nCANCEL\n" + input.toLocal8Bit() + "\n");
        QCOMPARE(worker.AskInputFile(), input);
        Answer("x\ncancel\n");
        QCOMPARE(worker.AskInputFile(), QString());
    }

    void cdChangesTheDirectory()
    {
        const QString before = QDir::currentPath();
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        worker.ProcessCommand(QStringLiteral("cd ") + m_dir.path());
        QCOMPARE(QDir::currentPath(), QDir(m_dir.path()).absolutePath());
        worker.ProcessCommand(QStringLiteral("cd  /")); // " /" is no directory
        QCOMPARE(QDir::currentPath(), QDir(m_dir.path()).absolutePath());
        worker.ProcessCommand(QStringLiteral("  cd  "));
        QCOMPARE(QDir::currentPath(), QDir::homePath());
        QDir::setCurrent(before);
    }

    void addCommandAddsToTheQueue()
    {
        const QString input = Input(QStringLiteral("b.gjf"));
        Tavrol_Console console;
        Tavrol_Console_Worker worker(&console);
        Answer("Gaussian\n" + input.toLocal8Bit() + "\n");
        worker.ProcessCommand(QStringLiteral("add queueless job"));
        QCOMPARE(m_window->QueuelessJobsView()->List().Count(), 1);
        const int lastID = JobIDManager.LastID();
        Answer("none\nGaussian\ncancel\n");
        worker.ProcessCommand(QStringLiteral("submit job"));
        QCOMPARE(JobIDManager.LastID(), lastID); // the cancelled flow made no job
    }

    // A call from another thread runs on the main thread, and the caller
    // waits for it to end.
    void runOnMainThread()
    {
        QThread* mainThread = QThread::currentThread();
        std::atomic<bool> ranOnMain{false};
        std::atomic<bool> returned{false};
        std::thread other([&] {
            Tavrol_Console_Worker::RunOnMainThread([&] {
                QThread::msleep(100);
                ranOnMain = QThread::currentThread() == mainThread;
            });
            returned = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(returned, 5000);
        other.join();
        QVERIFY(ranOnMain);
        bool direct = false;
        Tavrol_Console_Worker::RunOnMainThread([&direct] { direct = true; });
        QVERIFY(direct);
    }

    void consoleKeepsItsTitle()
    {
        Tavrol_Console console;
        QCOMPARE(console.Title(), QString());
        console.SetTitle(QStringLiteral("TavrolConsole 1.1.15, New Project"));
        QCOMPARE(console.Title(), QStringLiteral("TavrolConsole 1.1.15, New Project"));
        QVERIFY(!console.Worker());
        console.Stop(); // harmless before the prompt runs
        console.QuitSlot();
    }
};

QTEST_MAIN(TestConsoleWorker)
#include "tst_console_worker.moc"
