#include "jobs/shortjobsqueue.h"

Tavrol_ShortJobsQueue::Tavrol_ShortJobsQueue(QObject* parent)
    : Tavrol_JobsQueue(QStringLiteral("Short"), parent)
{
}
