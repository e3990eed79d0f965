#pragma once

#include "jobs/jobsqueue.h"

// The "Short" queue: job QueueID 1, jobs table ShortJobsQueue.
class Tavrol_ShortJobsQueue : public Tavrol_JobsQueue
{
    Q_OBJECT

public:
    explicit Tavrol_ShortJobsQueue(QObject* parent = nullptr);
    Tavrol_ShortJobsQueue(const Tavrol_ShortJobsQueue& other) = default;
    Tavrol_ShortJobsQueue& operator=(const Tavrol_ShortJobsQueue& other) = default;
};
