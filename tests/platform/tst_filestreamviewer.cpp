#include "platform/filestreamviewer.h"

#include <QtTest>

#include <QElapsedTimer>
#include <QFile>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProcess>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>

// The viewer of files, process output and appended text: shown once, or
// followed while a program still writes.
class TestFileStreamViewer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString WriteFile(const QString& name, const QByteArray& bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return QString();
        file.write(bytes);
        return path;
    }

    static bool AppendToFile(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
            return false;
        return file.write(bytes) == bytes.size();
    }

    static QByteArray NumberedLines(int count)
    {
        QByteArray bytes;
        for (int i = 1; i <= count; ++i)
            bytes += "line " + QByteArray::number(i) + '\n';
        return bytes;
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void fileIsShownOnceWithPeriodMinusOne()
    {
        const QString path = WriteFile("once.log", "first\nsecond\n");
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Input file of a:  " + path, true, -1,
                                       true, true, "File Stream Viewer");
        QVERIFY(viewer.Start());
        QVERIFY(viewer.isWindow());
        QVERIFY(viewer.isVisible());
        QCOMPARE(viewer.windowTitle(), "Input file of a:  " + path);
        QCOMPARE(viewer.objectName(), QString("File Stream Viewer"));
        QVERIFY(viewer.TextArea()->isReadOnly());
        QTRY_COMPARE(viewer.Text(), QString("first\nsecond\n"));
        // Nothing polls the file afterwards.
        QVERIFY(!viewer.IsFollowing());
    }

    void followedFileShowsTextWrittenLater()
    {
        const QString path = WriteFile("follow.log", "start\n");
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Streaming " + path, true, 2000, true,
                                       true, "File Stream Viewer");
        QVERIFY(viewer.Start());
        QVERIFY(viewer.IsFollowing());
        QCOMPARE(viewer.Period(), 2000);
        QTRY_COMPARE(viewer.Text(), QString("start\n"));
        QVERIFY(AppendToFile(path, "written later\n"));
        QTRY_COMPARE_WITH_TIMEOUT(viewer.Text(), QString("start\nwritten later\n"), 10000);
    }

    void followedViewStaysAtTheEndUnlessScrolledUp()
    {
        const QString path = WriteFile("scroll.log", NumberedLines(400));
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Streaming " + path, true, 50, true,
                                       true, "File Stream Viewer");
        QVERIFY(viewer.Start());
        QScrollBar* bar = viewer.TextArea()->verticalScrollBar();
        QTRY_VERIFY(viewer.Text().endsWith("line 400\n"));
        QTRY_VERIFY(bar->maximum() > 0);
        QCOMPARE(bar->value(), bar->maximum());

        QVERIFY(AppendToFile(path, NumberedLines(20)));
        QTRY_VERIFY(viewer.Text().endsWith("line 20\n"));
        QCOMPARE(bar->value(), bar->maximum());

        bar->setValue(3);
        QVERIFY(AppendToFile(path, "after the scroll\n"));
        QTRY_VERIFY(viewer.Text().endsWith("after the scroll\n"));
        QCOMPARE(bar->value(), 3);
    }

    void missingOrUnreadableSourceDoesNotStart()
    {
        Quolix_FileStreamViewer missing(false, nullptr, m_dir.filePath("none.log"), "t", true, -1,
                                        true, true, "File Stream Viewer");
        QVERIFY(!missing.Start());
        QVERIFY(!missing.isVisible());

        Quolix_FileStreamViewer directory(false, nullptr, m_dir.path(), "t", true, 2000, true, true,
                                          "File Stream Viewer");
        QVERIFY(!directory.Start());
        QVERIFY(!directory.IsFollowing());

        Quolix_FileStreamViewer noProcess(false, nullptr, static_cast<QProcess*>(nullptr), "t",
                                          true, 2000, true, true, "File Stream Viewer");
        QVERIFY(!noProcess.Start());
    }

    void emptyPathTakesAppendedLines()
    {
        Quolix_FileStreamViewer viewer(false, nullptr, QString(), "Log of job", true, -1, true,
                                       true, "File Stream Viewer");
        QVERIFY(viewer.Start());
        QVERIFY(viewer.isVisible());
        viewer.AppendLine("collected\noutput\n", false);
        QCOMPARE(viewer.Text(), QString("collected\noutput\n"));
        viewer.AppendLine("one line");
        QCOMPARE(viewer.Text(), QString("collected\noutput\none line\n"));
    }

    void processOutputIsShownAndLeftForItsOwner()
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start("cat", {});
        QVERIFY(process.waitForStarted(10000));
        process.write("from the process\n");
        QTRY_VERIFY_WITH_TIMEOUT(process.bytesAvailable() > 0, 10000);

        Quolix_FileStreamViewer viewer(false, nullptr, &process, "Log of job", true, 50, true, true,
                                       "File Stream Viewer");
        QVERIFY(viewer.Start());
        QCOMPARE(viewer.Text(), QString("from the process\n"));
        process.write("and later\n");
        QTRY_COMPARE_WITH_TIMEOUT(viewer.Text(), QString("from the process\nand later\n"), 10000);
        // The job still reads the whole output when its program ends.
        QCOMPARE(process.readAll(), QByteArray("from the process\nand later\n"));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(10000));
    }

    void viewerStopsWhenTheProcessGoes()
    {
        auto* process = new QProcess;
        Quolix_FileStreamViewer viewer(false, nullptr, process, "Log", false, 20, true, true,
                                       "File Stream Viewer");
        QVERIFY(viewer.Start());
        QVERIFY(!viewer.isVisible());
        QVERIFY(viewer.IsFollowing());
        delete process;
        QTRY_VERIFY(!viewer.IsFollowing());
    }

    void largeFileShowsItsEndInChunks()
    {
        const QByteArray lines = NumberedLines(20000); // about 220 KB
        const QString path = WriteFile("large.log", lines);
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Output", true, -1, true, true,
                                       "File Stream Viewer");
        viewer.SetMaxShownBytes(Quolix_FileStreamViewer::ChunkBytes / 4);
        QVERIFY(viewer.Start());
        // Nothing is read before the event loop runs again.
        QVERIFY(viewer.IsLoading());
        QCOMPARE(viewer.Text(), QString());
        QTRY_VERIFY(!viewer.IsLoading());
        const QString text = viewer.Text();
        QVERIFY(text.startsWith("[... the first "));
        QVERIFY(text.endsWith("line 20000\n"));
        const QString note = text.section('\n', 0, 0);
        const qint64 cut = note.section(' ', 3, 3).toLongLong();
        QVERIFY(cut >= lines.size() - Quolix_FileStreamViewer::ChunkBytes / 4);
        // The shown part begins with a whole line, right after the cut.
        QCOMPARE(text.mid(note.size() + 1), QString::fromLatin1(lines.mid(cut)));
    }

    // A log of 200 MB: Start() returns at once, the window keeps answering
    // while the end comes in, and only the last part is held.
    void twoHundredMegabyteLogOpensWithoutFreezing()
    {
        const QString path = m_dir.filePath("big.log");
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            const QByteArray block = QByteArray(99, 'x') + '\n';
            const QByteArray megabyte = block.repeated(10000);
            for (int i = 0; i < 200; ++i)
                QCOMPARE(file.write(megabyte), megabyte.size());
            QVERIFY(file.write("the last line\n") > 0);
        }
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Output", true, -1, true, true,
                                       "File Stream Viewer");
        QElapsedTimer clock;
        clock.start();
        QVERIFY(viewer.Start());
        const qint64 startMs = clock.elapsed();
        QVERIFY2(startMs < 1000, qPrintable(QString::number(startMs)));

        // The longest time the event loop was away while the file came in.
        qint64 longestGapMs = 0;
        QElapsedTimer gap;
        gap.start();
        QTimer tick;
        connect(&tick, &QTimer::timeout, this,
                [&] { longestGapMs = std::max(longestGapMs, gap.restart()); });
        tick.start(0);
        QTRY_VERIFY_WITH_TIMEOUT(!viewer.IsLoading(), 60000);
        tick.stop();
        qInfo("200 MB log: Start() %lld ms, loaded in %lld ms, longest event loop gap %lld ms",
              startMs, clock.elapsed(), longestGapMs);
        QVERIFY2(longestGapMs < 2000, qPrintable(QString::number(longestGapMs)));
        const QString text = viewer.Text();
        QVERIFY(text.startsWith("[... the first "));
        QVERIFY(text.endsWith("the last line\n"));
        QVERIFY(text.size() <= Quolix_FileStreamViewer::DefaultMaxShownBytes + 100);
        QVERIFY(QFile::remove(path));
    }

    void largeFileIsReadInSeveralTurns()
    {
        const QByteArray bytes(Quolix_FileStreamViewer::ChunkBytes * 3 + 10, 'x');
        const QString path = WriteFile("chunks.log", bytes);
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Output", false, -1, true, true,
                                       "File Stream Viewer");
        QVERIFY(viewer.Start());
        QCoreApplication::processEvents();
        QVERIFY(viewer.IsLoading());
        QVERIFY(viewer.Text().size() < bytes.size());
        QTRY_VERIFY(!viewer.IsLoading());
        QCOMPARE(viewer.Text().size(), bytes.size());
    }

    void rewrittenFileIsShownAnew()
    {
        const QString path = WriteFile("rewrite.log", "old content that is long\n");
        Quolix_FileStreamViewer viewer(false, nullptr, path, "Streaming", true, 50, true, true,
                                       "File Stream Viewer");
        QVERIFY(viewer.Start());
        QTRY_COMPARE(viewer.Text(), QString("old content that is long\n"));
        WriteFile("rewrite.log", "new\n");
        QTRY_COMPARE(viewer.Text(), QString("new\n"));
    }

    void deleteOnCloseLetsItLiveOnItsOwn()
    {
        const QString path = WriteFile("close.log", "x\n");
        QPointer<Quolix_FileStreamViewer> viewer = new Quolix_FileStreamViewer(
            true, nullptr, path, "t", true, 2000, true, true, "File Stream Viewer");
        QVERIFY(viewer->testAttribute(Qt::WA_DeleteOnClose));
        QVERIFY(viewer->Start());
        viewer->close();
        QTRY_VERIFY(viewer.isNull());
    }
};

QTEST_MAIN(TestFileStreamViewer)
#include "tst_filestreamviewer.moc"
