#include "../views/queuetesthelpers.h"
#include "modaldriver.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "platform/error.h"
#include "platform/filestreamviewer.h"
#include "processes/finishedjobswidget.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace QueueTest;
using namespace TableTest;
using ModalDriver::BoxAnswerer;
using ModalDriver::MenuChooser;

namespace {

Tavrol_Job EndedJob(const QString& name, int id, const QString& input = QString())
{
    Tavrol_Job job(name, StandinJobType(), QString(), QString(), QString(), -1, -1, -1, 0,
                   QStringLiteral("Long"),
                   input.isEmpty() ? QStringLiteral("/data/") + name : input, QString(), id,
                   QString());
    job.SetStatus(JobStatusCompleted, false);
    return job;
}

std::vector<Tavrol_Job> EndedJobs(int count)
{
    std::vector<Tavrol_Job> jobs;
    for (int i = 1; i <= count; ++i)
        jobs.push_back(EndedJob(QStringLiteral("f%1.gjf").arg(i, 2, 10, QLatin1Char('0')), i));
    return jobs;
}

QList<Quolix_FileStreamViewer*> Viewers()
{
    QList<Quolix_FileStreamViewer*> viewers;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* viewer = qobject_cast<Quolix_FileStreamViewer*>(widget))
            viewers.append(viewer);
    }
    return viewers;
}

void OpenMenu(Tavrol_FinishedJobsWidget& view, MenuChooser& chooser, const QString& choice)
{
    chooser.Choose(choice);
    view.ContextMenuSlot(view.Table()->viewport()->rect().center());
}

QStringList Names(const Tavrol_FinishedJobsWidget& view)
{
    QStringList names;
    for (const Tavrol_Job& job : view.FinishedJobs())
        names << job.Name;
    return names;
}

bool WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

} // namespace

class TstFinishedJobsActions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
    }

    void cleanup()
    {
        for (Quolix_FileStreamViewer* viewer : Viewers())
            delete viewer;
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void doubleClickShowsAnExistingOutputOnly()
    {
        QTemporaryDir dir;
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        const QString input = WriteInput(dir.path(), QStringLiteral("d.gjf"), 0);
        view.AddJob(EndedJob(QStringLiteral("d.gjf"), 1, input));
        const QString output = view.FinishedJobs().front().OutputFilePath;
        QVERIFY(WriteFile(output, "final energy\n"));
        view.Table()->setCurrentCell(0, 1);
        view.CellDoubleClickedSlot(0, 1);
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), "Output file of d.gjf:  " + output);
        QCOMPARE(Viewers()[0]->Period(), -1);
        QTRY_COMPARE(Viewers()[0]->Text(), QStringLiteral("final energy\n"));
        delete Viewers()[0];

        // Its output deleted, the job's double click does nothing.
        QVERIFY(QFile::remove(output));
        view.CellDoubleClickedSlot(0, 1);
        QVERIFY(Viewers().isEmpty());
    }

    void emptyLogDisablesItsEntryAndRemoveStays()
    {
        QTemporaryDir dir;
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        const QString input = WriteInput(dir.path(), QStringLiteral("e.gjf"), 0);
        view.AddJob(EndedJob(QStringLiteral("e.gjf"), 1, input));
        view.Table()->setCurrentCell(0, 0);
        MenuChooser chooser;
        OpenMenu(view, chooser, QString());
        QCOMPARE(chooser.Texts(), QStringList({"Remove", "Show Input File", "Show Output File",
                                               "Show stdout and stderr", "-", "Help"}));
        QCOMPARE(chooser.Enabled(), QList<bool>({true, true, false, false, true, true}));

        OpenMenu(view, chooser, QStringLiteral("Show Input File"));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), "Input file of e.gjf:  " + input);
    }

    void showStdoutAndStderrGoesThroughAppendLine()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        Tavrol_Job job = EndedJob(QStringLiteral("l.gjf"), 1);
        job.StdOutAndStdErr = QStringLiteral("g16 started\ng16 diagnostics\n");
        view.AddJob(job);
        view.Table()->setCurrentCell(0, 0);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Show stdout and stderr"));
        QVERIFY(chooser.IsEnabled("Show stdout and stderr"));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), QStringLiteral("Log of l.gjf"));
        QVERIFY(Viewers()[0]->FilePath().isEmpty());
        QCOMPARE(Viewers()[0]->Text(), QStringLiteral("g16 started\ng16 diagnostics\n"));
    }

    void noCurrentJobNoMenu()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.AddJob(EndedJob(QStringLiteral("n.gjf"), 1));
        view.Table()->setCurrentItem(nullptr);
        MenuChooser chooser;
        chooser.Choose(QString());
        view.ContextMenuSlot(QPoint(1, 1));
        QCoreApplication::processEvents();
        QVERIFY(!chooser.Seen());
    }

    void twelveSelectedListTenAndCountTheOthers()
    {
        MemoryProject project;
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.SetJobs(EndedJobs(12));
        view.Table()->setCurrentCell(0, 0);
        view.Table()->selectAll();
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("Remove Selected Finished Jobs"));
        QStringList ten;
        for (int i = 1; i <= 10; ++i)
            ten << QStringLiteral("f%1.gjf").arg(i, 2, 10, QLatin1Char('0'));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following 12 selected "
                                "finished jobs?\n\n") +
                     ten.join('\n') + QStringLiteral("\n... 2 more ..."));
        QCOMPARE(view.FinishedJobs().size(), size_t(12));
    }

    void removingRowsOneAndThreeKeepsTwoAndFour()
    {
        MemoryProject project;
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        for (const Tavrol_Job& job : EndedJobs(4))
            view.AddJob(job); // stored as well
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList({"1", "2", "3", "4"}));
        QTableWidget& table = *view.Table();
        table.setCurrentCell(0, 0);
        table.clearSelection();
        for (const int row : {0, 2})
            table.selectionModel()->select(table.model()->index(row, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following 2 selected "
                                "finished jobs?\n\nf01.gjf\nf03.gjf"));
        QCOMPARE(Names(view), QStringList({"f02.gjf", "f04.gjf"}));
        QCOMPARE(Column(table, 1), QStringList({"f02.gjf", "f04.gjf"}));
        QCOMPARE(project.Column(QStringLiteral("FinishedJobs"), QStringLiteral("JobID")),
                 QStringList({"2", "4"}));
    }

    void afterSortingTheActionsReachTheRightJob()
    {
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        std::vector<Tavrol_Job> jobs = EndedJobs(3);
        jobs[1].StdOutAndStdErr = QStringLiteral("only the second\n");
        view.SetJobs(jobs);
        QTableWidget& table = *view.Table();
        table.sortItems(1, Qt::DescendingOrder); // f03, f02, f01
        QCOMPARE(table.item(1, 1)->text(), QStringLiteral("f02.gjf"));
        table.setCurrentCell(1, 1);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Show stdout and stderr"));
        QCOMPARE(Viewers().size(), 1);
        QCOMPARE(Viewers()[0]->windowTitle(), QStringLiteral("Log of f02.gjf"));

        table.clearSelection();
        table.selectRow(0); // f03
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        OpenMenu(view, chooser, QStringLiteral("Remove"));
        QCOMPARE(Names(view), QStringList({"f01.gjf", "f02.gjf"}));
    }

    void aKilledJobsRecordShowsRunning()
    {
        QTemporaryDir dir;
        Tavrol_FinishedJobsWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        JobsOwner owner;
        Tavrol_Job* running =
            owner.Keep(MakeJob(WriteInput(dir.path(), QStringLiteral("k.gjf"), 30), 5));
        QVERIFY(running->Start());
        view.AddJob(*running); // what Kill hands over before the process has ended
        QCOMPARE(Column(*view.Table(), 2), QStringList{"Running"});
    }
};

QTEST_MAIN(TstFinishedJobsActions)
#include "tst_finishedjobsactions.moc"
