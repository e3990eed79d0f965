#pragma once

#include "jobs/shortjobsqueue.h"
#include "views/jobsqueuewidget.h"

// The view of the short queue, on the "Short Jobs Queue" tab.
class Tavrol_ShortJobsQueueWidget : public Tavrol_JobsQueueWidget
{
    Q_OBJECT

public:
    explicit Tavrol_ShortJobsQueueWidget(QWidget* parent = nullptr);
    ~Tavrol_ShortJobsQueueWidget() override;

    Tavrol_ShortJobsQueue& Queue() override { return m_queue; }
    const Tavrol_ShortJobsQueue& Queue() const override { return m_queue; }

protected:
    bool AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const override;
    bool DeleteStoreRow(Tavrol_Database& database, int jobId) const override;

private:
    Tavrol_ShortJobsQueue m_queue;
};
