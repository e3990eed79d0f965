#pragma once

#include "views/jobswidget.h"

#include <vector>

class Tavrol_JobsQueue;

// The part shared by the long and the short queue views: a queue with a
// maximum and a pause, which comes up paused when a project brings jobs.
class Tavrol_JobsQueueWidget : public Tavrol_JobsWidget
{
    Q_OBJECT

public:
    void LoadJobs(const std::vector<Tavrol_Job>& jobs);
    void SetMaxRunningJobs(int maximum);
    void PauseAndKillRunningJobs();

    virtual Tavrol_JobsQueue& Queue() = 0;
    virtual const Tavrol_JobsQueue& Queue() const = 0;

public slots:
    void QueueUpdatedSlot();

protected:
    Tavrol_JobsQueueWidget(const Tavrol_JobsWidgetFamily& family, QWidget* parent);
    void ConnectQueue();

    Tavrol_JobsCollection& Collection() override;
    const Tavrol_JobsCollection& Collection() const override;
    Tavrol_JobsQueue* MaximumQueue() override { return &Queue(); }
};
