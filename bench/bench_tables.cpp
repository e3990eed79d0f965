// The tables of the main window at 1,000, 10,000 and 100,000 rows: the
// rebuild of each, a job's end reaching a shown finished jobs table, and a
// switch to the finished jobs tab. Prints milliseconds; asserts nothing.

#include "app/globals.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "processes/process.h"
#include "processes/runningjobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "window/appwindow.h"

#include "store/database.h"
#include "store/database_manager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFrame>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cstdio>
#include <functional>
#include <vector>

namespace {

const int Sizes[] = {1000, 10000, 100000};

Tavrol_JobType BenchJobType(int id = 0)
{
    return Tavrol_JobType(id, QStringLiteral("Gaussian 16 #%1").arg(id), QStringLiteral("G16"),
                          QStringLiteral("/opt/g16/g16"), QStringLiteral("Long"),
                          QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                          QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"),
                          QStringLiteral("GAUSS_SCRDIR=/tmp\nOMP_NUM_THREADS=4"));
}

Tavrol_Job MakeJob(int id, Tavrol_JobStatus status)
{
    Tavrol_Job job(QStringLiteral("molecule_%1.gjf").arg(id), BenchJobType(), QString(), QString(),
                   QString(), -1, -1, -1, 0, QStringLiteral("Long"),
                   QStringLiteral("/data/project/molecule_%1.gjf").arg(id), QString(), id,
                   QString());
    job.Status = status;
    const QDateTime base(QDate(2020, 1, 1), QTime(8, 0));
    job.Submitted = base.addSecs(id * 60);
    job.Started = base.addSecs(id * 60 + 5);
    job.Finished = base.addSecs(id * 60 + 3600 + (id % 97));
    return job;
}

std::vector<Tavrol_Job> MakeJobs(int count, Tavrol_JobStatus status)
{
    std::vector<Tavrol_Job> jobs;
    jobs.reserve(static_cast<size_t>(count));
    for (int id = 1; id <= count; ++id)
        jobs.push_back(MakeJob(id, status));
    return jobs;
}

double Milliseconds(const std::function<void()>& step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    QCoreApplication::processEvents(); // the paint that shows the change
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

// The six frames in tabs of a shown window, as the main window places them.
class Window
{
public:
    explicit Window(Tavrol_AppWindow& app)
    {
        m_tabs.resize(1200, 800);
        const QList<QFrame*> frames = {app.LongJobsView()->Frame(), app.RunningJobsView()->Frame(),
                                       app.FinishedJobsView()->Frame(),
                                       app.JobTypesView()->Frame()};
        for (QFrame* frame : frames) {
            auto* page = new QWidget(&m_tabs);
            (new QVBoxLayout(page))->addWidget(frame);
            m_tabs.addTab(page, QString());
        }
        m_tabs.show();
        QCoreApplication::processEvents();
    }
    ~Window()
    {
        // The frames belong to their views.
        for (int index = m_tabs.count() - 1; index >= 0; --index) {
            for (QFrame* frame :
                 m_tabs.widget(index)->findChildren<QFrame*>(QString(), Qt::FindDirectChildrenOnly))
                frame->setParent(nullptr);
        }
    }
    void ShowTab(int index)
    {
        m_tabs.setCurrentIndex(index);
        QCoreApplication::processEvents();
    }
    QTabWidget& Tabs() { return m_tabs; }

private:
    QTabWidget m_tabs;
};

constexpr int LongTab = 0;
constexpr int RunningTab = 1;
constexpr int FinishedTab = 2;
constexpr int JobTypesTab = 3;

void BenchQueueView(Tavrol_AppWindow& app, Window& window)
{
    window.ShowTab(LongTab);
    for (const int size : Sizes) {
        const std::vector<Tavrol_Job> jobs = MakeJobs(size, JobStatusPending);
        Tavrol_LongJobsQueueWidget* view = app.LongJobsView();
        const double load = Milliseconds([&] { view->LoadJobs(jobs); });
        const double rebuild = Milliseconds([&] { view->RebuildTable(); });
        std::printf("long jobs queue  %6d rows: LoadJobs %8.1f ms, RebuildTable %8.1f ms\n", size,
                    load, rebuild);
        view->ClearJobs();
    }
}

void BenchRunningView(Tavrol_AppWindow& app, Window& window)
{
    window.ShowTab(RunningTab);
    Tavrol_RunningJobsWidget* view = app.RunningJobsView();
    view->SetOnlyKnownJobTypes(false);
    for (const int size : Sizes) {
        std::vector<Tavrol_Process> rows(static_cast<size_t>(size));
        for (int i = 0; i < size; ++i) {
            Tavrol_Process& row = rows[static_cast<size_t>(i)];
            row.User = QStringLiteral("chemist");
            row.ProcessID = QString::number(1000 + i);
            row.ParentProcessID = QString::number(1);
            row.AppName = QStringLiteral("g16");
            row.State = QStringLiteral("R");
            row.AppPath = QStringLiteral("/opt/g16/g16");
            row.CommandLine = QStringLiteral("/opt/g16/g16 molecule_%1.gjf").arg(i);
        }
        const double shown = Milliseconds([&] { view->ShowProcessTable(rows); });
        std::printf("running jobs     %6d rows: ShowProcessTable %8.1f ms\n", size, shown);
    }
    view->ShowProcessTable({});
}

void BenchJobTypesView(Tavrol_AppWindow& app, Window& window)
{
    window.ShowTab(JobTypesTab);
    for (const int size : Sizes) {
        std::vector<Tavrol_JobType> types;
        for (int id = 0; id < size; ++id)
            types.push_back(BenchJobType(id));
        Tavrol_JobType::SetAll(types);
        const double refresh = Milliseconds([&] { app.JobTypesView()->Refresh(); });
        std::printf("job types        %6d rows: Refresh %8.1f ms\n", size, refresh);
    }
    Tavrol_JobType::SetAll({BenchJobType()});
    app.JobTypesView()->Refresh();
}

// A waiting job of the long queue ends: its status is set as its process's
// end sets it, and the queue's update signal runs the view's sweep.
double EndJob(Tavrol_AppWindow& app, int id)
{
    Tavrol_LongJobsQueueWidget* view = app.LongJobsView();
    view->LoadJobs({MakeJob(id, JobStatusPending)});
    Tavrol_Job* job = view->Queue().JobAt(0);
    job->Status = JobStatusCompleted;
    job->Finished = QDateTime::currentDateTime();
    return Milliseconds([view] { view->QueueUpdatedSlot(); });
}

void BenchFinishedView(Tavrol_AppWindow& app, Window& window)
{
    Tavrol_FinishedJobsWidget* view = app.FinishedJobsView();
    for (const int size : Sizes) {
        const std::vector<Tavrol_Job> jobs = MakeJobs(size, JobStatusCompleted);

        window.ShowTab(FinishedTab);
        const double setShown = Milliseconds([&] { view->SetJobs(jobs); });
        const double update = Milliseconds([&] { view->Update(); });

        // A job's end as the queue view delivers it: the sweep takes the
        // ended job out of the queue and hands it to the finished jobs.
        const double end = EndJob(app, size + 1);

        // The project opened while another tab is current, then the switch.
        window.ShowTab(LongTab);
        const double setHidden = Milliseconds([&] { view->SetJobs(jobs); });
        const double firstSwitch = Milliseconds([&] {
            window.Tabs().setCurrentIndex(FinishedTab);
            app.CurrentTabChangedSlot(4);
        });
        // Jobs that end while the tab is not shown, then a switch back.
        window.ShowTab(LongTab);
        const double hiddenEnd = EndJob(app, size + 2);
        const double laterSwitch = Milliseconds([&] {
            window.Tabs().setCurrentIndex(FinishedTab);
            app.CurrentTabChangedSlot(4);
        });
        std::printf("finished jobs    %6d rows: SetJobs shown %8.1f ms, Update %8.1f ms, "
                    "job end shown %6.1f ms\n",
                    size, setShown, update, end);
        std::printf("                              SetJobs hidden %6.1f ms, switch to tab %8.1f "
                    "ms, job end hidden %6.1f ms, switch after it %6.1f ms\n",
                    setHidden, firstSwitch, hiddenEnd, laterSwitch);
    }
    view->Clear();
}

// The fill of the same number of cells without the table's fill support:
// one plain item per cell, three roles each, every cell announced.
void BenchPlainFill()
{
    for (const int size : Sizes) {
        QTableWidget table(0, 10);
        table.resize(1200, 800);
        table.show();
        QCoreApplication::processEvents();
        const double fill = Milliseconds([&] {
            table.setRowCount(size);
            for (int row = 0; row < size; ++row) {
                for (int column = 0; column < 10; ++column) {
                    auto* item = new QTableWidgetItem();
                    item->setData(Qt::DisplayRole, QStringLiteral("cell %1").arg(row));
                    item->setData(Qt::UserRole + 2, row);
                    item->setData(Qt::TextAlignmentRole, int(Qt::AlignCenter));
                    table.setItem(row, column, item);
                }
            }
            table.setSortingEnabled(true);
        });
        std::printf("plain QTableWidget fill %6d rows x 10: %8.1f ms\n", size, fill);
    }
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    RunMode = RunModeGUI;
    Tavrol_JobType::SetAll({BenchJobType()});

    Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
    Tavrol_Database* database = manager->GetDatabase(SQLiteMemory, QString(), false);
    if (database && database->Open() && database->CreateTables()) {
        int id = -1;
        database->AddQueue(QStringLiteral("Long"), 1, &id);
        database->AddQueue(QStringLiteral("Short"), 1, &id);
    }

    auto* app = new Tavrol_AppWindow();
    TavrolAppWindow = app;
    app->BuildWidgets();
    {
        Window window(*app);
        BenchPlainFill();
        BenchQueueView(*app, window);
        BenchRunningView(*app, window);
        BenchJobTypesView(*app, window);
        BenchFinishedView(*app, window);
    }
    TavrolAppWindow = nullptr;
    delete app;
    manager->CloseAll();
    return 0;
}
