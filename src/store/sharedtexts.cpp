#include "store/sharedtexts.h"

#include "jobs/job.h"

void Tavrol_SharedTexts::Share(Tavrol_Job& job)
{
    Share(job.ClientName);
    Share(job.ClientAppName);
    Share(job.ClientAddress);
    Share(job.JobClass);
    Share(job.InputFilePath2);
}

void Tavrol_SharedTexts::Share(QString& value)
{
    // An empty text holds no memory of its own; null and empty stay apart.
    if (value.isEmpty())
        return;
    const auto kept = m_texts.constFind(value);
    if (kept != m_texts.cend())
        value = *kept;
    else if (m_texts.size() < MaximumTexts)
        m_texts.insert(value);
}
