// The table of a queue view: its build, and the rebuild after every change.

#include "views/jobswidget.h"

#include "jobs/job.h"
#include "jobs/jobscollection.h"
#include "jobtypes/jobtype.h"
#include "platform/tablewidget.h"
#include "views/listing.h"

#include <QFrame>
#include <QVBoxLayout>

namespace {

constexpr int ColumnCount = 8;
constexpr int CellAlignment = Qt::AlignHCenter | Qt::AlignVCenter;

} // namespace

QStringList Tavrol_JobsWidget::Headers()
{
    return {QStringLiteral("Job ID"),          QStringLiteral("Name"),
            QStringLiteral("Status"),          QStringLiteral("Job Type"),
            QStringLiteral("Executable Path"), QStringLiteral("Command Line"),
            QStringLiteral("Submitted"),       QStringLiteral("Started")};
}

void Tavrol_JobsWidget::BuildTable()
{
    if (!m_frame)
        return;
    auto* layout = new QVBoxLayout(m_frame);
    m_table = new Quolix_TableWidget(false, 1, ColumnCount, m_frame);
    m_table->setDragDropMode(QAbstractItemView::InternalMove);
    m_table->setDefaultDropAction(Qt::MoveAction);
    m_table->setAcceptDrops(true);
    m_table->setDropIndicatorShown(true);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_table, &QTableWidget::cellDoubleClicked, this,
            &Tavrol_JobsWidget::CellDoubleClickedSlot);
    connect(m_table, &QWidget::customContextMenuRequested, this,
            &Tavrol_JobsWidget::ContextMenuSlot);
    m_table->UseActiveHighlightWhenInactive();
    connect(m_table, &Quolix_TableWidget::DropSignal, this, &Tavrol_JobsWidget::FilesDroppedSlot);
    m_table->SetUpColumnsAndRows(Headers(), 0, QAbstractItemView::ExtendedSelection);
    layout->addWidget(m_table, 0, Qt::Alignment());
    m_table->SetRebuild([this] { RebuildTable(); });
}

// While the table is off screen the rows wait for it to be shown; the user
// sees the same rows, and the selection is gone either way.
void Tavrol_JobsWidget::RebuildTable()
{
    if (!m_table || m_table->DeferWhileHidden())
        return;
    m_table->ClearRows();
    const std::vector<Tavrol_Job*> jobs = CurrentJobs();
    if (jobs.empty())
        return; // sorting stays off until a job comes back
    m_table->AppendRows(static_cast<int>(jobs.size()),
                        [&](int row) { WriteRow(row, row, *jobs[static_cast<size_t>(row)]); });
    m_table->setVisible(true);
    m_table->SortAsRebuilt();
}

void Tavrol_JobsWidget::WriteRow(int row, int index, const Tavrol_Job& job)
{
    const auto cell = [&](int column, const QVariant& value) {
        Quolix_TableWidgetItem::AddItemToTable(m_table, row, column, value, value, index,
                                               CellAlignment, false);
    };
    cell(0, job.JobID);
    cell(1, job.Name);
    cell(2, Tavrol_Job::StatusToString(job.Status));
    cell(3, job.JobType.Name);
    cell(4, job.JobType.ExecutablePath);
    cell(5, job.CommandLine());
    cell(6, Tavrol_Listing::TimeText(job.Submitted));
    cell(7, Tavrol_Listing::TimeText(job.Started));
}
