#include "processes/runningjobswidget.h"

#include "app/globals.h"
#include "jobtypes/jobtype.h"
#include "platform/helpdialog.h"
#include "platform/tablewidget.h"
#include "views/jobswidget.h"
#include "views/listing.h"
#include "views/longjobsqueuewidget.h"
#include "views/queuelessjobswidget.h"
#include "views/shortjobsqueuewidget.h"
#include "window/appwindow.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <utility>

Tavrol_RunningJobsWidget::Tavrol_RunningJobsWidget(QWidget* parent)
    : QObject(nullptr), m_reader(new Tavrol_ProcessTableReader(this))
{
    connect(m_reader, &Tavrol_ProcessTableReader::TableReadSignal, this,
            &Tavrol_RunningJobsWidget::TableReadSlot);
    if (IsGUIRunMode()) {
        m_frame = new QFrame(parent);
        BuildFrame();
    }
    Refresh();
}

Tavrol_RunningJobsWidget::~Tavrol_RunningJobsWidget()
{
    if (m_frame) {
        m_frame->setVisible(false);
        delete m_frame;
        m_frame = nullptr;
    }
}

QStringList Tavrol_RunningJobsWidget::Headers()
{
    return {QStringLiteral("User"),
            QStringLiteral("Process ID"),
            QStringLiteral("Parent Process ID"),
            QStringLiteral("App Name"),
            QStringLiteral("Status"),
            QStringLiteral("App Path"),
            QStringLiteral("Command Line")};
}

// The table, with the "Refresh" button and the box below it.
void Tavrol_RunningJobsWidget::BuildFrame()
{
    auto* layout = new QVBoxLayout(m_frame);
    m_table = new Quolix_TableWidget(false, 0, static_cast<int>(Headers().size()), m_frame);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_table, &QWidget::customContextMenuRequested, this,
            &Tavrol_RunningJobsWidget::ContextMenuSlot);
    m_table->UseActiveHighlightWhenInactive();
    m_table->SetUpColumnsAndRows(Headers(), 1, QAbstractItemView::SingleSelection);
    layout->addWidget(m_table);

    auto* buttons = new QHBoxLayout();
    m_refreshButton = new QPushButton(QStringLiteral("Refresh"), m_frame);
    m_onlyKnownBox = new QCheckBox(QStringLiteral("Only Show Known Job Types"), m_frame);
    m_onlyKnownBox->setChecked(m_onlyKnownJobTypes);
    connect(m_refreshButton, &QPushButton::clicked, this, &Tavrol_RunningJobsWidget::RefreshSlot);
    connect(m_onlyKnownBox, &QCheckBox::clicked, this,
            &Tavrol_RunningJobsWidget::OnlyShowJobsOfKnownJobTypesSlot);
    buttons->addWidget(m_refreshButton);
    buttons->addWidget(m_onlyKnownBox);
    buttons->addStretch(1);
    layout->addLayout(buttons);

    m_table->SetRebuild([this] {
        FillTable();
        if (m_readWhenShown) {
            m_readWhenShown = false;
            JobsChangedSlot();
        }
    });
}

QString Tavrol_RunningJobsWidget::NormalisedPath(const QString& path)
{
    QString normalised = QDir::cleanPath(QDir::toNativeSeparators(path));
    normalised.replace(QStringLiteral("Zendara, Inc."), QStringLiteral("Zendara, Inc"),
                       Qt::CaseInsensitive);
    normalised.replace(QStringLiteral("Gaussian, Inc."), QStringLiteral("Gaussian, Inc"),
                       Qt::CaseInsensitive);
    return normalised;
}

bool Tavrol_RunningJobsWidget::PathMatchesJobType(const QString& appPath,
                                                  const Tavrol_JobType& jobType)
{
    const QString trimmedApp = appPath.trimmed();
    const QString trimmedExe = jobType.ExecutablePath.trimmed();
    if (trimmedApp.isEmpty() || trimmedExe.isEmpty())
        return false;
    const QString app = NormalisedPath(trimmedApp);
    const QString exe = NormalisedPath(trimmedExe);
    if (app.compare(exe, Qt::CaseInsensitive) == 0)
        return true;
    const QString canonicalApp = QFileInfo(app).canonicalFilePath().trimmed();
    const QString canonicalExe = QFileInfo(exe).canonicalFilePath().trimmed();
    if (canonicalApp.isEmpty() || canonicalExe.isEmpty())
        return false;
    return canonicalApp.compare(canonicalExe, Qt::CaseInsensitive) == 0;
}

void Tavrol_RunningJobsWidget::FilterByKnownJobTypes(const std::vector<Tavrol_JobType>& jobTypes)
{
    const auto unknown = [&jobTypes](const Tavrol_Process& row) {
        return std::none_of(jobTypes.begin(), jobTypes.end(), [&row](const Tavrol_JobType& type) {
            return PathMatchesJobType(row.AppPath, type);
        });
    };
    m_processes.erase(std::remove_if(m_processes.begin(), m_processes.end(), unknown),
                      m_processes.end());
}

void Tavrol_RunningJobsWidget::Refresh()
{
    std::vector<Tavrol_Process> rows;
    Tavrol_Process::ReadProcessTable(rows);
    ShowProcessTable(std::move(rows));
}

void Tavrol_RunningJobsWidget::ShowProcessTable(std::vector<Tavrol_Process> rows)
{
    if (m_table)
        m_table->ClearRows();
    m_processes = std::move(rows);
    m_rowsWanted = false;
    if (m_processes.empty())
        return;
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    // With no job type known the list is not narrowed, and the table stays empty.
    if (jobTypes.empty())
        return;
    if (m_onlyKnownJobTypes)
        FilterByKnownJobTypes(jobTypes);
    m_rowsWanted = true;
    if (m_table && !m_table->DeferWhileHidden())
        FillTable();
}

void Tavrol_RunningJobsWidget::FillTable()
{
    m_table->ClearRows();
    if (!m_rowsWanted)
        return;
    m_table->AppendRows(static_cast<int>(m_processes.size()), [this](int row) {
        WriteRow(row, row, m_processes[static_cast<size_t>(row)]);
    });
    m_table->SortAsRebuilt();
}

void Tavrol_RunningJobsWidget::WriteRow(int row, int index, const Tavrol_Process& process)
{
    const auto cell = [&](int column, const QVariant& value) {
        Quolix_TableWidgetItem::AddItemToTable(m_table, row, column, value, value, index,
                                               Qt::AlignLeft | Qt::AlignVCenter, false);
    };
    cell(0, process.User);
    cell(1, process.ProcessIDValue());
    cell(2, process.ParentProcessIDValue());
    cell(3, process.AppName);
    cell(4, process.State);
    cell(5, process.AppPath);
    cell(6, process.CommandLine);
}

// Found by the process id in the row's second cell, since the table may be
// sorted.
const Tavrol_Process& Tavrol_RunningJobsWidget::CurrentProcess() const
{
    if (!m_table || m_table->currentRow() < 0)
        return m_noProcess;
    const QTableWidgetItem* item = m_table->item(m_table->currentRow(), 1);
    if (!item)
        return m_noProcess;
    bool ok = false;
    const int processId = item->data(Qt::DisplayRole).toInt(&ok);
    if (!ok)
        return m_noProcess;
    const auto found =
        std::find_if(m_processes.begin(), m_processes.end(), [processId](const Tavrol_Process& p) {
            return p.ProcessIDValue() == processId;
        });
    return found != m_processes.end() ? *found : m_noProcess;
}

void Tavrol_RunningJobsWidget::PrintList()
{
    Refresh();
    PrintCurrentList();
}

void Tavrol_RunningJobsWidget::PrintCurrentList() const
{
    Tavrol_Listing listing(Headers());
    for (const Tavrol_Process& row : m_processes) {
        listing.AddRow({row.User, QString::number(row.ProcessIDValue()),
                        QString::number(row.ParentProcessIDValue()), row.AppName, row.State,
                        row.AppPath, row.CommandLine});
    }
    listing.Print(QStringLiteral("\nRunning Jobs"),
                  QStringLiteral("\nRunning Jobs List is Empty\n"));
}

void Tavrol_RunningJobsWidget::ContextMenuSlot(QPoint position)
{
    if (!m_table)
        return;
    const Tavrol_Process process = CurrentProcess();
    if (!process.HasProcessID())
        return;
    // Parented to the table: a menu closed without a choice is left as it is.
    auto* menu = new QMenu(m_table);
    if (m_onlyKnownJobTypes) {
        menu->addAction(QStringLiteral("Remove"));
    } else {
        for (const QString& text : KillActionTexts())
            menu->addAction(text);
        menu->addSeparator();
        QAction* help = menu->addAction(QStringLiteral("Help"));
        Quolix_HelpDialog::Global()->ConnectAction(help, QStringLiteral("tavrol/runningjobs"),
                                                   false);
    }
    const QAction* chosen = menu->exec(m_table->viewport()->mapToGlobal(position));
    if (!chosen)
        return;
    if (chosen->text() == QStringLiteral("Remove"))
        RemoveFromQueues(process.ProcessIDValue());
    else
        Kill(chosen->text(), process);
    Refresh();
    delete menu;
}

QStringList Tavrol_RunningJobsWidget::KillActionTexts()
{
    return {QStringLiteral("Kill Process"),
            QStringLiteral("Kill Process Group"),
            QStringLiteral("Kill Child Processes"),
            QStringLiteral("Kill Process and Child Processes"),
            QStringLiteral("Kill Process and Parent Process"),
            QStringLiteral("Kill Process, Child Processes and Parent Process")};
}

// No question before a kill. The group kill is given the process id too, so
// it reaches a group only where the process leads one.
void Tavrol_RunningJobsWidget::Kill(const QString& action, const Tavrol_Process& process)
{
    const int pid = process.ProcessIDValue();
    const int ppid = process.ParentProcessIDValue();
    const QStringList texts = KillActionTexts();
    switch (texts.indexOf(action)) {
    case 0:
        Tavrol_Process::KillProcess(pid);
        break;
    case 1:
        Tavrol_Process::KillProcessGroup(pid);
        break;
    case 2:
        Tavrol_Process::KillChildProcesses(pid);
        break;
    case 3:
        Tavrol_Process::KillProcessAndChildProcesses(pid);
        break;
    case 4:
        Tavrol_Process::KillProcessAndParentProcess(pid, ppid);
        break;
    case 5:
        Tavrol_Process::KillProcessChildProcessesAndParentProcess(pid, ppid);
        break;
    default:
        break; // "Help" acts through its own connection
    }
}

// A process of no queue is left alone: in this mode nothing started
// elsewhere can be ended.
void Tavrol_RunningJobsWidget::RemoveFromQueues(int processId)
{
    if (!TavrolAppWindow)
        return;
    const std::vector<Tavrol_JobsWidget*> views = {TavrolAppWindow->LongJobsView(),
                                                   TavrolAppWindow->ShortJobsView(),
                                                   TavrolAppWindow->QueuelessJobsView()};
    for (Tavrol_JobsWidget* view : views) {
        if (view && view->RemoveJobByProcessID(processId))
            return;
    }
}

void Tavrol_RunningJobsWidget::OnlyShowJobsOfKnownJobTypesSlot()
{
    if (m_onlyKnownBox)
        m_onlyKnownJobTypes = m_onlyKnownBox->isChecked();
    m_reader->Start();
}

void Tavrol_RunningJobsWidget::TableReadSlot()
{
    ShowProcessTable(m_reader->Rows());
    emit RefreshedSignal();
    if (m_readAgain) {
        m_readAgain = false;
        m_reader->Start();
    }
}

void Tavrol_RunningJobsWidget::JobsChangedSlot()
{
    if (!m_table)
        return;
    if (m_table->DeferWhileHidden()) {
        m_readWhenShown = true;
        return;
    }
    if (m_reader->IsReading())
        m_readAgain = true; // the running read may have missed this change
    else
        m_reader->Start();
}

void Tavrol_RunningJobsWidget::RefreshSlot()
{
    m_reader->Start();
}
