#pragma once

#include "jobtypes/jobtype.h"

#include <QObject>
#include <QPoint>
#include <QStringList>

#include <vector>

class QFrame;
class QWidget;
class Quolix_TableWidget;

// The job types tab: its own copy of the process-wide list, shown as a table
// in a window and printed at the console. Without a window it keeps only the
// copy.
class Tavrol_JobTypesWidget : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_JobTypesWidget(QWidget* parent = nullptr);
    ~Tavrol_JobTypesWidget() override;

    void Refresh();
    // The type of the current row, found by the id in its first column, never
    // by the row's position; the default type when no row is current.
    Tavrol_JobType SelectedJobType() const;
    void PrintJobTypes();
    void PrintList() { PrintJobTypes(); }

    const std::vector<Tavrol_JobType>& JobTypes() const { return m_jobTypes; }
    QFrame* Frame() const { return m_frame; }
    Quolix_TableWidget* Table() const { return m_table; }
    // The nine column headers of the table and of the console listing.
    static QStringList Headers();

    // The text of the environment column: each line feed becomes " ; ".
    static QString EnvironmentText(const QString& environmentVariables);
    // The job type of the copy with this id, or the default type.
    Tavrol_JobType JobTypeWithID(int jobTypeId) const;

public slots:
    void CellDoubleClickedSlot(int row, int column);
    void ContextMenuSlot(QPoint position);
    void EditSlot();

private:
    void BuildTable();
    void FillTable();
    void WriteRow(int row, int index, const Tavrol_JobType& type);
    void TakeCopyOfList();
    int CurrentRow() const;
    int JobTypeIDAtRow(int row, bool* ok) const;
    void AddFromDialog();

    QFrame* m_frame = nullptr;
    std::vector<Tavrol_JobType> m_jobTypes;
    Quolix_TableWidget* m_table = nullptr;
    Tavrol_JobType m_noSelection;
};
