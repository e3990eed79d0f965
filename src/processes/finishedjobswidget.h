#pragma once

#include "jobs/job.h"
#include "processes/finishedjobslist.h"

#include <QObject>
#include <QPoint>
#include <QStringList>

#include <deque>
#include <vector>

class QFrame;
class QTableWidget;
class QWidget;
class Quolix_TableWidget;

// The history: a copy of every job that ended or was killed, kept in a list
// and in the FinishedJobs table. Without a window it only keeps and prints.
//
// Years of history make this table large, so Update does no more than the
// change needs: off screen it waits until the table is shown, and jobs that
// were only appended since the last build are added as rows of their own,
// with the same rows, order and cleared selection a whole rebuild would give.
class Tavrol_FinishedJobsWidget : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_FinishedJobsWidget(QWidget* parent = nullptr);
    ~Tavrol_FinishedJobsWidget() override;

    void AddJob(const Tavrol_Job& job);
    void SetJobs(const std::vector<Tavrol_Job>& jobs);
    // Takes the list as it is, without a copy of any job.
    void TakeJobs(Tavrol_FinishedJobsList&& jobs);
    void Clear();
    void Update();
    void PrintList();

    const Tavrol_FinishedJobsList& FinishedJobs() const { return m_finishedJobs; }
    QFrame* Frame() const { return m_frame; }
    Quolix_TableWidget* Table() const { return m_table; }
    // The ten column headers of the table and of the console listing.
    static QStringList Headers();
    // The index in FinishedJobs that the table's current cell carries, or -1.
    int CurrentJobIndex() const;

public slots:
    void CellDoubleClickedSlot(int row, int column);
    void ContextMenuSlot(QPoint position);

private:
    void BuildTable();
    void ShowJobs();
    void RebuildRows();
    void AppendRows();
    void WriteRow(QTableWidget* table, int row, int index, const Tavrol_Job& job);
    // The list indexes of the rows whose first cell is selected, in shown order.
    std::vector<int> SelectedJobIndexes() const;
    void RemoveSelectedJobs();

    QFrame* m_frame = nullptr;
    Quolix_TableWidget* m_table = nullptr;
    Tavrol_FinishedJobsList m_finishedJobs;
    // The table shows the entries [0, m_rowsShown) of the list as they are,
    // unless m_rowsCurrent is false (the list was replaced or shrunk).
    size_t m_rowsShown = 0;
    bool m_rowsCurrent = false;
};
