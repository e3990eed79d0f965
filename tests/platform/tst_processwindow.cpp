#include "platform/process.h"
#include "platform/processwindow.h"

#include "app/globals.h"

#include <QtTest>

#include <QApplication>
#include <QIcon>
#include <QPlainTextEdit>

// The text-window half of Quolix_Process: a real top-level window, made only
// when needed and only in a GUI run mode.
class TestProcessWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { RunMode = RunModeGUI; }
    void cleanup() { RunMode = RunModeGUI; }

    void constructionOnlyRecordsItsValues()
    {
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        QCOMPARE(process.Window(), nullptr);
        QCOMPARE(process.Title(), QString("TavrolGUI"));
        QCOMPARE(process.Text(), QString());
        QCOMPARE(process.state(), QProcess::NotRunning);
        process.SetTitle("Title", false);
        QCOMPARE(process.Title(), QString("Title"));
        QCOMPARE(process.Window(), nullptr);
    }

    void iconMakesTheWindow()
    {
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        process.SetTitle("TavrolGUI 1.1.15", false);
        process.SetIcon(QIcon(QPixmap(16, 16)));
        QWidget* window = process.Window();
        QVERIFY(window);
        QVERIFY(window->isWindow());
        QVERIFY(!window->isVisible());
        QCOMPARE(window->windowTitle(), QString("TavrolGUI 1.1.15"));
        QVERIFY(!window->windowIcon().isNull());
        process.SetTitle("Changed", false);
        QCOMPARE(window->windowTitle(), QString("Changed"));
    }

    void textIsAppendedAsItStands()
    {
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        process.AppendText("before the window ");
        process.Show();
        auto* window = qobject_cast<Quolix_ProcessWindow*>(process.Window());
        QVERIFY(window);
        process.AppendText("and after\nsecond line");
        QCOMPARE(process.Text(), QString("before the window and after\nsecond line"));
        QCOMPARE(window->Text(), process.Text());
        QVERIFY(window->TextArea()->isReadOnly());
    }

    void showMakesItTheActiveWindow()
    {
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        process.SetTitle("Shown", true);
        QVERIFY(process.Window());
        QVERIFY(process.Window()->isVisible());
        QCOMPARE(QApplication::activeWindow(), process.Window());
    }

    void windowGoesWithTheObject()
    {
        auto* process = new Quolix_Process(nullptr, "Zendara, Inc.", "TavrolGUI", 1, false);
        process->Show();
        QPointer<QWidget> window(process->Window());
        QVERIFY(window);
        delete process;
        QVERIFY(window.isNull());
    }

    void noWindowInTheConsole()
    {
        RunMode = RunModeConsole;
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolConsole", 1, false);
        process.SetIcon(QIcon(QPixmap(16, 16)));
        process.SetTitle("Title", true);
        process.AppendText("kept");
        process.Show();
        QCOMPARE(process.Window(), nullptr);
        QCOMPARE(process.Text(), QString("kept"));
    }

    void noWindowWhenNotAsked()
    {
        Quolix_Process process(nullptr, "Zendara, Inc.", "TavrolGUI", Quolix_Process::NoWindow,
                               false);
        process.Show();
        QCOMPARE(process.Window(), nullptr);
    }
};

QTEST_MAIN(TestProcessWindow)
#include "tst_processwindow.moc"
