#include "processes/finishedjobswidget.h"

#include "app/globals.h"
#include "platform/collection.h"
#include "platform/helpdialog.h"
#include "platform/tablewidget.h"
#include "views/jobviewers.h"
#include "views/listing.h"

#include "store/database.h"
#include "store/database_manager.h"
#include "store/steadylocalzone.h"

#include <QFileInfo>
#include <QFrame>
#include <QMenu>
#include <QMessageBox>
#include <QVBoxLayout>
#include <QWidget>

#include <utility>

namespace {

constexpr int ColumnCount = 10;
constexpr size_t MaximumRowsPlaced = 64;

} // namespace

Tavrol_FinishedJobsWidget::Tavrol_FinishedJobsWidget(QWidget* parent) : QObject(nullptr)
{
    if (IsGUIRunMode()) {
        m_frame = new QFrame(parent);
        BuildTable();
    }
    Update();
}

Tavrol_FinishedJobsWidget::~Tavrol_FinishedJobsWidget()
{
    if (m_frame) {
        m_frame->setVisible(false);
        delete m_frame;
        m_frame = nullptr;
    }
}

QStringList Tavrol_FinishedJobsWidget::Headers()
{
    return {QStringLiteral("Job ID"),       QStringLiteral("Name"),
            QStringLiteral("Status"),       QStringLiteral("Job Type"),
            QStringLiteral("Queue"),        QStringLiteral("Executable Path"),
            QStringLiteral("Command Line"), QStringLiteral("Submitted"),
            QStringLiteral("Started"),      QStringLiteral("Finished")};
}

void Tavrol_FinishedJobsWidget::BuildTable()
{
    auto* layout = new QVBoxLayout(m_frame);
    m_table = new Quolix_TableWidget(false, 0, ColumnCount, m_frame);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_table, &QTableWidget::cellDoubleClicked, this,
            &Tavrol_FinishedJobsWidget::CellDoubleClickedSlot);
    connect(m_table, &QWidget::customContextMenuRequested, this,
            &Tavrol_FinishedJobsWidget::ContextMenuSlot);
    m_table->UseActiveHighlightWhenInactive();
    m_table->SetUpColumnsAndRows(Headers(), 0, QAbstractItemView::ExtendedSelection);
    layout->addWidget(m_table);
    m_table->SetRebuild([this] { ShowJobs(); });
}

void Tavrol_FinishedJobsWidget::AddJob(const Tavrol_Job& job)
{
    m_finishedJobs.push_back(job);
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        int id = -1; // the store picks the next key
        database->AddFinishedJob(job, true, &id);
    }
    Update();
}

void Tavrol_FinishedJobsWidget::SetJobs(const std::vector<Tavrol_Job>& jobs)
{
    m_finishedJobs.clear();
    for (const Tavrol_Job& job : jobs)
        m_finishedJobs.push_back(job);
    m_rowsCurrent = false;
    Update();
}

void Tavrol_FinishedJobsWidget::TakeJobs(Tavrol_FinishedJobsList&& jobs)
{
    m_finishedJobs = std::move(jobs);
    m_rowsCurrent = false;
    Update();
}

void Tavrol_FinishedJobsWidget::Clear()
{
    m_finishedJobs.clear();
    m_rowsCurrent = false;
    Update();
}

void Tavrol_FinishedJobsWidget::Update()
{
    if (!m_table || m_table->DeferWhileHidden())
        return;
    ShowJobs();
}

// Every change of the list other than an append marks the rows as no longer
// current, and only then is the whole table built again.
void Tavrol_FinishedJobsWidget::ShowJobs()
{
    if (!m_rowsCurrent || m_rowsShown > m_finishedJobs.size())
        RebuildRows();
    else
        AppendRows();
}

void Tavrol_FinishedJobsWidget::RebuildRows()
{
    m_table->ClearRows();
    m_rowsShown = 0;
    m_rowsCurrent = true;
    AppendRows();
}

// The rows of the jobs appended since the last build go below the others
// with sorting off, and the sort then puts every row where a whole rebuild
// would: the item data of the earlier rows are still their jobs' indexes.
void Tavrol_FinishedJobsWidget::AppendRows()
{
    m_table->ClearSelectionAndCurrent();
    // A few jobs that ended are put in their places one by one; a sort of
    // the whole history would take longer than a job's end may.
    if (m_table->InRebuildOrder() && m_finishedJobs.size() - m_rowsShown <= MaximumRowsPlaced) {
        for (; m_rowsShown < m_finishedJobs.size(); ++m_rowsShown) {
            const int index = static_cast<int>(m_rowsShown);
            m_table->InsertRowInOrder([&](QTableWidget* table, int row) {
                WriteRow(table, row, index, m_finishedJobs[m_rowsShown]);
            });
        }
        return;
    }
    m_table->setSortingEnabled(false);
    const size_t first = m_rowsShown;
    const int added = static_cast<int>(m_finishedJobs.size() - first);
    const int firstRow = m_table->rowCount();
    m_table->AppendRows(added, [&](int row) {
        const int index = static_cast<int>(first) + (row - firstRow);
        WriteRow(m_table, row, index, m_finishedJobs[static_cast<size_t>(index)]);
    });
    m_rowsShown = m_finishedJobs.size();
    m_table->SortAsRebuilt();
}

void Tavrol_FinishedJobsWidget::WriteRow(QTableWidget* table, int row, int index,
                                         const Tavrol_Job& job)
{
    const auto cell = [&](int column, const QVariant& value) {
        Quolix_TableWidgetItem::AddItemToTable(table, row, column, value, value, index,
                                               Qt::AlignCenter, false);
    };
    cell(0, job.JobID);
    cell(1, job.Name);
    cell(2, Tavrol_Job::StatusToString(job.Status));
    cell(3, job.JobType.Name);
    cell(4, job.QueueName);
    cell(5, job.JobType.ExecutablePath);
    cell(6, job.CommandLine());
    cell(7, Tavrol_Listing::TimeText(job.Submitted));
    cell(8, Tavrol_Listing::TimeText(job.Started));
    cell(9, Tavrol_Listing::TimeText(job.Finished));
}

int Tavrol_FinishedJobsWidget::CurrentJobIndex() const
{
    if (!m_table)
        return -1;
    const int index = Quolix_TableWidget::ItemDataOf(m_table->currentItem());
    return index < static_cast<int>(m_finishedJobs.size()) ? index : -1;
}

// A history of years is listed without keeping its text: each row's cells
// are made when they are measured and again when they are written.
void Tavrol_FinishedJobsWidget::PrintList()
{
    // Three local times a row, twice: the zone is read once for all of them.
    const Tavrol_SteadyLocalZone steadyZone;
    std::vector<QString> statusWords;
    for (int status = JobStatusUnknown; status <= JobStatusKilled; ++status)
        statusWords.push_back(Tavrol_Job::StatusToString(status));
    const auto statusText = [&statusWords](int status) {
        return status >= 0 && status < static_cast<int>(statusWords.size())
                   ? statusWords[static_cast<size_t>(status)]
                   : Tavrol_Job::StatusToString(status);
    };
    Tavrol_Listing::PrintRows(
        Headers(), m_finishedJobs.size(),
        [&](size_t row, std::vector<QString>& cells) {
            const Tavrol_Job job = m_finishedJobs[row];
            cells[0] = QString::number(job.JobID);
            cells[1] = job.Name;
            cells[2] = statusText(job.Status);
            cells[3] = job.JobType.Name;
            cells[4] = job.QueueName;
            cells[5] = job.JobType.ExecutablePath;
            cells[6] = job.CommandLine();
            cells[7] = Tavrol_Listing::TimeText(job.Submitted);
            cells[8] = Tavrol_Listing::TimeText(job.Started);
            cells[9] = Tavrol_Listing::TimeText(job.Finished);
        },
        QStringLiteral("\nFinished Jobs"), QStringLiteral("\nFinished Jobs List is Empty\n"));
}

namespace {

const int MaximumNamesListed = 10;

bool IsExistingFile(const QString& path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

void ShowOutput(const Tavrol_Job& job)
{
    Tavrol_JobViewers::OpenFile(job.OutputFilePath,
                                QStringLiteral("Output file of ") + job.Name +
                                    QStringLiteral(":  ") + job.OutputFilePath,
                                Tavrol_JobViewers::OnceOnly);
}

void ShowInput(const Tavrol_Job& job)
{
    Tavrol_JobViewers::OpenFile(job.InputFilePath,
                                QStringLiteral("Input file of ") + job.Name +
                                    QStringLiteral(":  ") + job.InputFilePath,
                                Tavrol_JobViewers::OnceOnly);
}

} // namespace

void Tavrol_FinishedJobsWidget::CellDoubleClickedSlot(int row, int column)
{
    if (!m_table)
        return;
    const QTableWidgetItem* item = m_table->currentItem();
    if (!item || item->row() != row || item->column() != column)
        return;
    const int index = CurrentJobIndex();
    if (index < 0)
        return;
    const Tavrol_Job job = m_finishedJobs[static_cast<size_t>(index)];
    if (IsExistingFile(job.OutputFilePath))
        ShowOutput(job);
}

void Tavrol_FinishedJobsWidget::ContextMenuSlot(QPoint position)
{
    if (!m_table)
        return;
    const int index = CurrentJobIndex();
    if (index < 0)
        return;
    const Tavrol_Job job = m_finishedJobs[static_cast<size_t>(index)];

    QMenu menu(m_table);
    QAction* remove = menu.addAction(QStringLiteral("Remove"));
    QAction* showInput = menu.addAction(QStringLiteral("Show Input File"));
    QAction* showOutput = menu.addAction(QStringLiteral("Show Output File"));
    QAction* showLog = menu.addAction(QStringLiteral("Show stdout and stderr"));
    menu.addSeparator();
    QAction* help = menu.addAction(QStringLiteral("Help"));
    Quolix_HelpDialog::Global()->ConnectAction(help, QStringLiteral("tavrol/finishedjobs"), false);
    showInput->setEnabled(IsExistingFile(job.InputFilePath));
    showOutput->setEnabled(IsExistingFile(job.OutputFilePath));
    showLog->setEnabled(!job.StdOutAndStdErr.isEmpty());

    const QAction* chosen = menu.exec(m_table->viewport()->mapToGlobal(position));
    if (chosen == showLog) {
        Tavrol_JobViewers::OpenText(QStringLiteral("Log of ") + job.Name, job.StdOutAndStdErr);
    } else if (chosen == showInput) {
        ShowInput(job);
    } else if (chosen == showOutput) {
        ShowOutput(job);
    } else if (chosen == remove) {
        RemoveSelectedJobs();
    }
}

std::vector<int> Tavrol_FinishedJobsWidget::SelectedJobIndexes() const
{
    std::vector<int> indexes;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QTableWidgetItem* item = m_table->item(row, 0);
        const int index = Quolix_TableWidget::ItemDataOf(item);
        if (item && item->isSelected() && index >= 0 &&
            index < static_cast<int>(m_finishedJobs.size()))
            indexes.push_back(index);
    }
    return indexes;
}

void Tavrol_FinishedJobsWidget::RemoveSelectedJobs()
{
    std::vector<int> indexes = SelectedJobIndexes();
    if (indexes.empty())
        return;
    QString names;
    for (size_t i = 0; i < indexes.size() && i < MaximumNamesListed; ++i) {
        if (i > 0)
            names += QLatin1Char('\n');
        names += m_finishedJobs[static_cast<size_t>(indexes[i])].Name;
    }
    if (indexes.size() > MaximumNamesListed)
        names += QStringLiteral("\n... ") + QString::number(indexes.size() - MaximumNamesListed) +
                 QStringLiteral(" more ...");
    const QString text = QStringLiteral("Are you sure you want to remove the following ") +
                         QString::number(indexes.size()) +
                         QStringLiteral(" selected finished jobs?\n\n") + names;
    if (QMessageBox::question(m_frame, QStringLiteral("Remove Selected Finished Jobs"), text,
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        for (const int index : indexes)
            database->DeleteFinishedJob(m_finishedJobs.JobIDAt(static_cast<size_t>(index)));
    }
    // From the last to the first, so that an erased entry moves none still to come.
    Quolix_Collection::Sort(indexes);
    for (auto index = indexes.rbegin(); index != indexes.rend(); ++index)
        m_finishedJobs.erase(static_cast<size_t>(*index));
    m_rowsCurrent = false;
    Update();
}
