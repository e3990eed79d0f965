#include "jobtypes/jobtypeswidget.h"

#include "app/globals.h"
#include "jobtypes/newjobtypewidget.h"
#include "platform/error.h"
#include "platform/helpdialog.h"
#include "platform/tablewidget.h"
#include "views/listing.h"

#include <QBrush>
#include <QFile>
#include <QFrame>
#include <QMenu>
#include <QVBoxLayout>
#include <QWidget>

#include <memory>
#include <utility>

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

namespace {

bool AskYes(const QString& title, const QString& text)
{
    return Quolix_Error::ReportWarning(title, text, 2, 0) == Quolix_Error::AnswerYes;
}

// The entries that add one default type, with the operation each calls.
const std::vector<std::pair<QString, void (*)()>>& DefaultTypeEntries()
{
    static const std::vector<std::pair<QString, void (*)()>> entries = {
        {QStringLiteral("Add Default Ombrix Job Types"), &Tavrol_JobType::AddDefaultOmbrix},
        {QStringLiteral("Add Default Gaussian Job Type"), &Tavrol_JobType::AddDefaultGaussian},
        {QStringLiteral("Add Default GMMX Job Type"), &Tavrol_JobType::AddDefaultGMMX},
        {QStringLiteral("Add Default Cubegen Job Type"), &Tavrol_JobType::AddDefaultCubegen},
        {QStringLiteral("Add Default Formchk Job Type"), &Tavrol_JobType::AddDefaultFormchk},
        {QStringLiteral("Add Default Freqchk Job Type"), &Tavrol_JobType::AddDefaultFreqchk},
        {QStringLiteral("Add Default Cubman Job Type"), &Tavrol_JobType::AddDefaultCubman}};
    return entries;
}

} // namespace

void Tavrol_JobTypesWidget::ContextMenuSlot(QPoint position)
{
    if (!m_frame || !m_table)
        return;
    auto menu = std::make_unique<QMenu>(m_table);
    QAction* add = menu->addAction(QStringLiteral("Add Job Type"));
    QAction* edit = menu->addAction(QStringLiteral("Edit Selected Job Type"));
    QAction* remove = menu->addAction(QStringLiteral("Remove Selected Job Type"));
    QAction* removeAll = menu->addAction(QStringLiteral("Remove All Job Types"));
    menu->addSeparator();
    QAction* defaults = menu->addAction(QStringLiteral("Add Default Job Types"));
    menu->addSeparator();
    std::vector<std::pair<QAction*, void (*)()>> defaultActions;
    for (const auto& [text, operation] : DefaultTypeEntries())
        defaultActions.emplace_back(menu->addAction(text), operation);
    menu->addSeparator();
    QAction* help = menu->addAction(QStringLiteral("Help"));
    Quolix_HelpDialog::Global()->ConnectAction(help, QStringLiteral("tavrol/jobtypes"), false);

    const QAction* chosen = menu->exec(m_table->viewport()->mapToGlobal(position));
    if (!chosen)
        return;
    // Set only once the menu has closed, so every entry was shown enabled;
    // the entries below act whatever these say.
    edit->setEnabled(CurrentRow() >= 0);
    remove->setEnabled(CurrentRow() >= 0);
    removeAll->setEnabled(!m_jobTypes.empty());

    if (chosen == add) {
        AddFromDialog();
    } else if (chosen == edit) {
        EditSlot();
    } else if (chosen == remove) {
        const Tavrol_JobType selected = SelectedJobType();
        if (AskYes(QStringLiteral("Remove Job Type"),
                   QStringLiteral("Are you sure you want to remove the following Job "
                                  "Type?\n\n") +
                       selected.Name))
            Tavrol_JobType::Remove(selected);
    } else if (chosen == removeAll) {
        if (AskYes(QStringLiteral("Remove All Job Types"),
                   QStringLiteral("Are you sure you want to remove all Job Types?")))
            Tavrol_JobType::RemoveAll();
    } else if (chosen == defaults) {
        Tavrol_JobType::AddDefaults();
    } else {
        for (const auto& [action, operation] : defaultActions) {
            if (chosen == action)
                operation();
        }
    }
    Refresh();
}

void Tavrol_JobTypesWidget::AddFromDialog()
{
    Tavrol_NewJobTypeWidget dialog(m_frame);
    if (dialog.exec() != QDialog::Accepted)
        return;
    Tavrol_JobType jobType = dialog.JobType();
    Tavrol_JobType::Add(jobType);
}

void Tavrol_JobTypesWidget::EditSlot()
{
    if (!m_frame)
        return;
    const int row = CurrentRow();
    if (row < 0)
        return;
    const Tavrol_JobType selected = SelectedJobType();
    Tavrol_NewJobTypeWidget dialog(m_frame);
    dialog.setWindowTitle(QStringLiteral("Edit Job Type"));
    dialog.SetJobType(selected);
    if (dialog.exec() == QDialog::Accepted) {
        Tavrol_JobType edited = dialog.JobType();
        edited.JobTypeID = selected.JobTypeID;
        if (row >= static_cast<int>(m_jobTypes.size()))
            Tavrol_JobType::Add(edited);
        else
            Tavrol_JobType::Update(edited);
    }
    Refresh();
}
