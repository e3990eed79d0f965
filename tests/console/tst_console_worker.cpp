// The console's reader and its questions: a line never overruns the buffer,
// the end of the input is waited out without spinning, each question takes
// only its own answers, and the commands reach the views on the main thread.

#include "app/globals.h"
#include "console/console.h"
#include "console/console_worker.h"
#include "console/consoleinput.h"
#include "jobs/queuelessjobslist.h"
#include "store/database_manager.h"
#include "testsupport.h"
#include "views/queuelessjobswidget.h"
#include "window/appwindow.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

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
        Tavrol_Console_Worker::ReadLine(fileno(stream), line);
        lines.append(line);
    }
    std::fclose(stream);
    return lines;
}

// Bytes that wait unread in a pipe.
int Unread(int descriptor)
{
    int count = -1;
    return ioctl(descriptor, FIONREAD, &count) == 0 ? count : -1;
}

// Standard input or output swapped for another descriptor for as long as
// the object lives.
class Redirect
{
public:
    Redirect(int standard, int replacement) : m_standard(standard), m_saved(dup(standard))
    {
        std::fflush(stdout);
        dup2(replacement, standard);
    }
    ~Redirect()
    {
        std::fflush(stdout);
        dup2(m_saved, m_standard);
        close(m_saved);
    }
    Redirect(const Redirect&) = delete;
    Redirect& operator=(const Redirect&) = delete;

private:
    int m_standard;
    int m_saved;
};

// Both ends of a pipe, closed with the object.
struct Pipe
{
    Pipe() { valid = pipe(ends) == 0; }
    ~Pipe()
    {
        for (int end : ends) {
            if (end >= 0)
                close(end);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    bool Write(const char* text) const
    {
        const auto length = ssize_t(std::strlen(text));
        return write(ends[1], text, size_t(length)) == length;
    }
    int ends[2] = {-1, -1};
    bool valid = false;
};

QByteArray FileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
        return TestSupport::WrittenFile(m_dir.filePath(name), "x\n");
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
            Tavrol_Console_Worker::ReadLine(fileno(stream), line);
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

    // A wake-up ends the pause at the end of the input; the part of a line
    // read so far is dropped.
    void wakeEndsTheWaitAtTheEndOfInput()
    {
        std::FILE* stream = StreamOf("ab");
        const int descriptor = fileno(stream);
        Tavrol_ConsoleWake wake;
        std::atomic<bool> done{false};
        bool result = true;
        QString line = QStringLiteral("old");
        std::thread reader([&] {
            result = Tavrol_Console_Worker::ReadLine(descriptor, line, &wake);
            done = true;
        });
        QTRY_COMPARE_WITH_TIMEOUT(lseek(descriptor, 0, SEEK_CUR), off_t(2), 5000);
        QVERIFY(!done);
        QElapsedTimer timer;
        timer.start();
        wake.Raise();
        QTRY_VERIFY_WITH_TIMEOUT(done, 5000);
        reader.join();
        std::fclose(stream);
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!result);
        QCOMPARE(line, QString());
        // Raised stays raised: a later read ends at once.
        std::FILE* more = StreamOf("next\n");
        QVERIFY(!Tavrol_Console_Worker::ReadLine(fileno(more), line, &wake));
        std::fclose(more);
    }

    // A read that waits on a pipe is woken, and leaves the rest of the input
    // where it is.
    void wakeEndsTheWaitOnAPipe()
    {
        Pipe input;
        QVERIFY(input.valid);
        Tavrol_ConsoleWake wake;
        QVERIFY(wake.Descriptor() >= 0);
        std::atomic<bool> done{false};
        bool result = true;
        QString line;
        std::thread reader([&] {
            result = Tavrol_Console_Worker::ReadLine(input.ends[0], line, &wake);
            done = true;
        });
        QVERIFY(input.Write("pw"));
        QTRY_COMPARE_WITH_TIMEOUT(Unread(input.ends[0]), 0, 5000);
        QVERIFY(!done);
        wake.Raise();
        wake.Raise(); // twice is harmless
        QTRY_VERIFY_WITH_TIMEOUT(done, 5000);
        reader.join();
        QVERIFY(!result);
        QVERIFY(input.Write("d\n"));
        QCOMPARE(Unread(input.ends[0]), 2);
        // Without a wake-up the same descriptor reads as before.
        QVERIFY(Tavrol_Console_Worker::ReadLine(input.ends[0], line));
        QCOMPARE(line, QStringLiteral("d"));
    }

    // The console stops while its worker sits in its read of standard input
    // with half a command typed: the thread ends on its own, at once, and the
    // command is not carried out.
    void stopEndsTheWorkerInItsRead()
    {
        Pipe input;
        QVERIFY(input.valid);
        const QString outputPath = m_dir.filePath(QStringLiteral("stop-output.txt"));
        const int output =
            open(QFile::encodeName(outputPath).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        QVERIFY(output >= 0);
        const QString before = QDir::currentPath();
        qint64 stopMs = -1;
        {
            const Redirect in(STDIN_FILENO, input.ends[0]);
            const Redirect out(STDOUT_FILENO, output);
            Tavrol_Console console;
            console.SetTitle(QStringLiteral("TavrolConsole 1.1.15, Unsaved Project"));
            console.RunSlot();
            QVERIFY(input.Write("cd /"));
            QTRY_COMPARE_WITH_TIMEOUT(Unread(input.ends[0]), 0, 5000);
            QVERIFY(console.Thread()->isRunning());
            QElapsedTimer timer;
            timer.start();
            console.Stop();
            QTRY_VERIFY_WITH_TIMEOUT(console.Thread()->isFinished(), 5000);
            stopMs = timer.elapsed();
            QTRY_VERIFY_WITH_TIMEOUT(!console.Worker(), 5000);
            QVERIFY(input.Write("\n"));
        }
        close(output);
        qInfo("the worker ended %lld ms after the stop", stopMs);
        QVERIFY2(stopMs < 1000, qPrintable(QString::number(stopMs)));
        QCOMPARE(Unread(input.ends[0]), 1); // nobody reads after the stop
        QCOMPARE(QDir::currentPath(), before);
        QCOMPARE(FileContents(outputPath),
                 QByteArray("TavrolConsole 1.1.15, Unsaved Project\n\n<Tavrol> "));
    }

    // The teardown alone, with no stop before it, ends a worker in its read.
    void teardownEndsTheWorkerInItsRead()
    {
        Pipe input;
        QVERIFY(input.valid);
        const int output = open("/dev/null", O_WRONLY);
        QVERIFY(output >= 0);
        qint64 teardownMs = -1;
        {
            const Redirect in(STDIN_FILENO, input.ends[0]);
            const Redirect out(STDOUT_FILENO, output);
            auto console = std::make_unique<Tavrol_Console>();
            console->RunSlot();
            QVERIFY(input.Write("x"));
            QTRY_COMPARE_WITH_TIMEOUT(Unread(input.ends[0]), 0, 5000);
            QElapsedTimer timer;
            timer.start();
            console.reset();
            teardownMs = timer.elapsed();
        }
        close(output);
        qInfo("the console was torn down in %lld ms", teardownMs);
        QVERIFY2(teardownMs < 1000, qPrintable(QString::number(teardownMs)));
    }

    // Work that the main thread has not taken up when the console stops is
    // dropped, so the worker never waits on a main thread that waits for it.
    void runOnMainThreadDropsWorkAfterTheWake()
    {
        Tavrol_ConsoleWake wake;
        std::atomic<bool> ran{false};
        std::atomic<int> result{-1};
        std::thread other([&] {
            result = Tavrol_Console_Worker::RunOnMainThread([&ran] { ran = true; }, &wake) ? 1 : 0;
        });
        wake.Raise();
        other.join(); // the main thread serves no events meanwhile
        QCOMPARE(result.load(), 0);
        QCoreApplication::processEvents();
        QVERIFY(!ran);
        // Without the wake-up the work runs and is waited for.
        Tavrol_ConsoleWake quiet;
        std::thread again([&] {
            result = Tavrol_Console_Worker::RunOnMainThread([&ran] { ran = true; }, &quiet) ? 1 : 0;
        });
        QTRY_VERIFY_WITH_TIMEOUT(ran, 5000);
        again.join();
        QCOMPARE(result.load(), 1);
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
