#include "jobs/longjobsqueue.h"

Tavrol_LongJobsQueue::Tavrol_LongJobsQueue(QObject* parent)
    : Tavrol_JobsQueue(QStringLiteral("Long"), parent)
{
}
