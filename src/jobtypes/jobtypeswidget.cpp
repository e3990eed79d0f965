#include "jobtypes/jobtypeswidget.h"

#include "app/globals.h"
#include "views/listing.h"

#include <QFrame>
#include <QWidget>

Tavrol_JobTypesWidget::Tavrol_JobTypesWidget(QWidget* parent) : QObject(nullptr)
{
    // Without a window the copy is taken at the first Refresh, which the main
    // object's reload of the job types runs.
    if (IsGUIRunMode()) {
        m_frame = new QFrame(parent);
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

void Tavrol_JobTypesWidget::Refresh()
{
    // The table of a window is filled by the window's table support; the copy
    // is kept in every run mode.
    TakeCopyOfList();
}

int Tavrol_JobTypesWidget::CurrentRow() const
{
    return -1; // only a window's table has a current row
}

int Tavrol_JobTypesWidget::JobTypeIDAtRow(int, bool* ok) const
{
    *ok = false;
    return -1;
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
    Tavrol_Listing listing(
        {QStringLiteral("DBID"), QStringLiteral("Name"), QStringLiteral("Application Name"),
         QStringLiteral("Executable Path"), QStringLiteral("Default Queue"),
         QStringLiteral("Input File Filter"), QStringLiteral("Output File Filter"),
         QStringLiteral("Environment Variables"), QStringLiteral("Generic Command Line")});
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
