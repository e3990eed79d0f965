#pragma once

#include "jobs/longjobsqueue.h"
#include "views/jobsqueuewidget.h"

// The view of the long queue, on the "Long Jobs Queue" tab.
class Tavrol_LongJobsQueueWidget : public Tavrol_JobsQueueWidget
{
    Q_OBJECT

public:
    explicit Tavrol_LongJobsQueueWidget(QWidget* parent = nullptr);
    ~Tavrol_LongJobsQueueWidget() override;

    Tavrol_LongJobsQueue& Queue() override { return m_queue; }
    const Tavrol_LongJobsQueue& Queue() const override { return m_queue; }

protected:
    bool AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const override;
    bool DeleteStoreRow(Tavrol_Database& database, int jobId) const override;

private:
    Tavrol_LongJobsQueue m_queue;
};
