#pragma once

#include "jobs/queuelessjobslist.h"
#include "views/jobswidget.h"

#include <vector>

// The view of the queueless list, on the "Queueless Jobs" tab: no maximum,
// no pause, and a project's stored rows are not brought back into it.
class Tavrol_QueuelessJobsWidget : public Tavrol_JobsWidget
{
    Q_OBJECT

public:
    explicit Tavrol_QueuelessJobsWidget(QWidget* parent = nullptr);
    ~Tavrol_QueuelessJobsWidget() override;

    void LoadJobs(const std::vector<Tavrol_Job>& jobs);
    void KillRunningJobs();

    Tavrol_QueuelessJobsList& List() { return m_list; }
    const Tavrol_QueuelessJobsList& List() const { return m_list; }

public slots:
    void ListUpdatedSlot();

protected:
    Tavrol_JobsCollection& Collection() override { return m_list; }
    const Tavrol_JobsCollection& Collection() const override { return m_list; }
    bool AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const override;
    bool DeleteStoreRow(Tavrol_Database& database, int jobId) const override;

private:
    Tavrol_QueuelessJobsList m_list;
};
