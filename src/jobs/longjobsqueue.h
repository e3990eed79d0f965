#pragma once

#include "jobs/jobsqueue.h"

// The "Long" queue: job QueueID 0, jobs table LongJobsQueue.
class Tavrol_LongJobsQueue : public Tavrol_JobsQueue
{
    Q_OBJECT

public:
    explicit Tavrol_LongJobsQueue(QObject* parent = nullptr);
    Tavrol_LongJobsQueue(const Tavrol_LongJobsQueue& other) = default;
    Tavrol_LongJobsQueue& operator=(const Tavrol_LongJobsQueue& other) = default;
};
