#pragma once

#include <QSet>
#include <QString>

class Tavrol_Job;

// While a long history loads, the texts that most jobs repeat (the client's
// name, program and address, the job class, the second input file) are made
// to share one QString each instead of one copy per row. QString copies on
// write, so a later change to one job's field leaves every other job as it was.
class Tavrol_SharedTexts
{
public:
    void Share(Tavrol_Job& job);
    // The text kept for value, which then refers to it; new values are kept
    // until the set is full, after which they stay as they are.
    void Share(QString& value);

    // Enough for any real mix of clients and classes; a column of unique
    // values stops growing the set there.
    static constexpr qsizetype MaximumTexts = 4096;

private:
    QSet<QString> m_texts;
};
