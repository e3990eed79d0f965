#include "jobtypes/jobtypeswidget.h"

#include "app/globals.h"
#include "platform/tablewidget.h"
#include "views/listing.h"

#include <QBrush>
#include <QFile>
#include <QFrame>
#include <QVBoxLayout>
#include <QWidget>

namespace {

constexpr int ColumnCount = 9;

} // namespace

Tavrol_JobTypesWidget::Tavrol_JobTypesWidget(QWidget* parent) : QObject(nullptr)
{
    // Without a window the copy is taken at the first Refresh, which the main
    // object's reload of the job types runs.
    if (IsGUIRunMode()) {
        m_frame = new QFrame(parent);
        BuildTable();
        Refresh();
    }
}

Tavrol_JobTypesWidget::~Tavrol_JobTypesWidget()
{
    if (m_frame) {
        m_frame->setVisible(false);
        delete m_frame;
        m_frame = nullptr;
    }
}

void Tavrol_JobTypesWidget::TakeCopyOfList()
{
    m_jobTypes.clear();
    Tavrol_JobType::GetAll(m_jobTypes);
}

QStringList Tavrol_JobTypesWidget::Headers()
{
    return {QStringLiteral("DBID"),
            QStringLiteral("Name"),
            QStringLiteral("Application Name"),
            QStringLiteral("Executable Path"),
            QStringLiteral("Default Queue"),
            QStringLiteral("Input File Filter"),
            QStringLiteral("Output File Filter"),
            QStringLiteral("Environment Variables"),
            QStringLiteral("Generic Command Line")};
}

void Tavrol_JobTypesWidget::BuildTable()
{
    auto* layout = new QVBoxLayout(m_frame);
    m_table = new Quolix_TableWidget(false, 1, ColumnCount, m_frame);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_table, &QWidget::customContextMenuRequested, this,
            &Tavrol_JobTypesWidget::ContextMenuSlot);
    m_table->UseActiveHighlightWhenInactive();
    connect(m_table, &QTableWidget::cellDoubleClicked, this,
            &Tavrol_JobTypesWidget::CellDoubleClickedSlot);
    m_table->SetUpColumnsAndRows(Headers(), 0, QAbstractItemView::SingleSelection);
    layout->addWidget(m_table);
    m_table->SetRebuild([this] { FillTable(); });
}

// The copy is taken at once in every run mode; the table of a window that is
// off screen is filled when it is shown.
void Tavrol_JobTypesWidget::Refresh()
{
    if (!m_table) {
        TakeCopyOfList();
        return;
    }
    m_table->ClearRows();
    TakeCopyOfList();
    if (!m_table->DeferWhileHidden())
        FillTable();
}

void Tavrol_JobTypesWidget::FillTable()
{
    m_table->ClearRows();
    if (m_jobTypes.empty())
        return; // sorting stays off until a refresh finds rows
    m_table->AppendRows(static_cast<int>(m_jobTypes.size()), [this](int row) {
        WriteRow(row, row, m_jobTypes[static_cast<size_t>(row)]);
    });
    m_table->setVisible(true);
    m_table->SortAsRebuilt();
}

void Tavrol_JobTypesWidget::WriteRow(int row, int index, const Tavrol_JobType& type)
{
    const auto cell = [&](int column, const QVariant& value) {
        return Quolix_TableWidgetItem::AddItemToTable(m_table, row, column, value, value, index,
                                                      Qt::AlignCenter, false);
    };
    cell(0, type.JobTypeID);
    cell(1, type.Name);
    cell(2, type.ApplicationName);
    QTableWidgetItem* path = cell(3, type.ExecutablePath);
    if (!QFile::exists(type.ExecutablePath))
        path->setForeground(QBrush(Qt::red)); // a type that cannot run
    cell(4, type.DefaultQueue);
    cell(5, type.InputFileFilter);
    cell(6, type.OutputFileFilter);
    cell(7, EnvironmentText(type.EnvironmentVariables));
    cell(8, type.GenericCommandLine);
}

int Tavrol_JobTypesWidget::CurrentRow() const
{
    return m_table ? m_table->currentRow() : -1;
}

// The id in the row's first cell: the table may be sorted, so the row never
// indexes the copy.
int Tavrol_JobTypesWidget::JobTypeIDAtRow(int row, bool* ok) const
{
    *ok = false;
    const QTableWidgetItem* item = m_table ? m_table->item(row, 0) : nullptr;
    return item ? item->data(Qt::DisplayRole).toInt(ok) : -1;
}

Tavrol_JobType Tavrol_JobTypesWidget::JobTypeWithID(int jobTypeId) const
{
    for (const Tavrol_JobType& jobType : m_jobTypes) {
        if (jobType.JobTypeID == jobTypeId)
            return jobType;
    }
    return m_noSelection;
}

Tavrol_JobType Tavrol_JobTypesWidget::SelectedJobType() const
{
    const int row = CurrentRow();
    if (row < 0 || row >= static_cast<int>(m_jobTypes.size()))
        return m_noSelection;
    bool ok = false;
    const int jobTypeId = JobTypeIDAtRow(row, &ok);
    return ok ? JobTypeWithID(jobTypeId) : m_noSelection;
}

QString Tavrol_JobTypesWidget::EnvironmentText(const QString& environmentVariables)
{
    QString text = environmentVariables;
    return text.replace('\n', QStringLiteral(" ; "));
}

void Tavrol_JobTypesWidget::PrintJobTypes()
{
    TakeCopyOfList();
    Tavrol_Listing listing(Headers());
    for (const Tavrol_JobType& type : m_jobTypes) {
        listing.AddRow({QString::number(type.JobTypeID), type.Name, type.ApplicationName,
                        type.ExecutablePath, type.DefaultQueue, type.InputFileFilter,
                        type.OutputFileFilter, EnvironmentText(type.EnvironmentVariables),
                        type.GenericCommandLine});
    }
    listing.Print(QStringLiteral("\nJob Types"), QStringLiteral("\nJob Types List is Empty\n"));
}

void Tavrol_JobTypesWidget::CellDoubleClickedSlot(int, int)
{
    EditSlot();
}

void Tavrol_JobTypesWidget::ContextMenuSlot(QPoint)
{
    // The menu belongs to a window's table.
}

void Tavrol_JobTypesWidget::EditSlot()
{
    // Editing needs the job type dialog of a window.
    if (!m_frame || CurrentRow() < 0)
        return;
}
