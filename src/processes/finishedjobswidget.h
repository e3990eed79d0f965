#pragma once

#include "jobs/job.h"

#include <QObject>
#include <QPoint>

#include <vector>

class QFrame;
class QWidget;
class Quolix_TableWidget;

// The history: a copy of every job that ended or was killed, kept in a list
// and in the FinishedJobs table. Without a window it only keeps and prints.
class Tavrol_FinishedJobsWidget : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_FinishedJobsWidget(QWidget* parent = nullptr);
    ~Tavrol_FinishedJobsWidget() override;

    void AddJob(const Tavrol_Job& job);
    void SetJobs(const std::vector<Tavrol_Job>& jobs);
    void Clear();
    void Update();
    void PrintList();

    const std::vector<Tavrol_Job>& FinishedJobs() const { return m_finishedJobs; }
    QFrame* Frame() const { return m_frame; }

public slots:
    void CellDoubleClickedSlot(int row, int column);
    void ContextMenuSlot(QPoint position);

private:
    QFrame* m_frame = nullptr;
    Quolix_TableWidget* m_table = nullptr;
    std::vector<Tavrol_Job> m_finishedJobs;
};
