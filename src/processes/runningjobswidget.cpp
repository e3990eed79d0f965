#include "processes/runningjobswidget.h"

#include "app/globals.h"
#include "jobtypes/jobtype.h"
#include "views/listing.h"

#include <QDir>
#include <QFileInfo>
#include <QFrame>
#include <QWidget>

#include <algorithm>
#include <utility>

Tavrol_RunningJobsWidget::Tavrol_RunningJobsWidget(QWidget* parent)
    : QObject(nullptr), m_reader(new Tavrol_ProcessTableReader(this))
{
    connect(m_reader, &Tavrol_ProcessTableReader::TableReadSignal, this, [this] {
        ShowProcessTable(m_reader->Rows());
        emit RefreshedSignal();
    });
    if (IsGUIRunMode())
        m_frame = new QFrame(parent);
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
    m_processes = std::move(rows);
    if (m_processes.empty())
        return;
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    // With no job type known the list is not narrowed, and the table stays empty.
    if (m_onlyKnownJobTypes && !jobTypes.empty())
        FilterByKnownJobTypes(jobTypes);
}

const Tavrol_Process& Tavrol_RunningJobsWidget::CurrentProcess() const
{
    return m_noProcess; // only a window's table has a current row
}

void Tavrol_RunningJobsWidget::PrintList()
{
    Refresh();
    PrintCurrentList();
}

void Tavrol_RunningJobsWidget::PrintCurrentList() const
{
    Tavrol_Listing listing({QStringLiteral("User"), QStringLiteral("Process ID"),
                            QStringLiteral("Parent Process ID"), QStringLiteral("App Name"),
                            QStringLiteral("Status"), QStringLiteral("App Path"),
                            QStringLiteral("Command Line")});
    for (const Tavrol_Process& row : m_processes) {
        listing.AddRow({row.User, QString::number(row.ProcessIDValue()),
                        QString::number(row.ParentProcessIDValue()), row.AppName, row.State,
                        row.AppPath, row.CommandLine});
    }
    listing.Print(QStringLiteral("\nRunning Jobs"),
                  QStringLiteral("\nRunning Jobs List is Empty\n"));
}

void Tavrol_RunningJobsWidget::ContextMenuSlot(QPoint)
{
    // The kill and remove menu belongs to a window's table.
}

void Tavrol_RunningJobsWidget::OnlyShowJobsOfKnownJobTypesSlot()
{
    // The box exists only in a window; its state is taken there.
    m_reader->Start();
}

void Tavrol_RunningJobsWidget::RefreshSlot()
{
    m_reader->Start();
}
