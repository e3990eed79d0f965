#pragma once

#include <QString>
#include <QStringList>

// The question a submission asks when no job type can be told from an input
// file: a list of the job type names with "None" first.
class Tavrol_JobTypeSelection
{
public:
    // The text of a request that named an unknown job type.
    static QString AttemptedText(const QString& inputFile);
    // The text of a file that the user asked to be typed automatically.
    static QString RequestedText(const QString& inputFile);

    // False where no one can answer a dialog: without a windowing application,
    // or on a platform with no display ("offscreen", "minimal").
    static bool CanAsk();

    // The chosen name; empty for a cancel, for "None", and wherever CanAsk()
    // is false, which counts as a cancel.
    static QString Ask(const QString& text, const QStringList& jobTypeNames);

    static const QString Title;    // "Submit Job, Select Job Type"
    static const QString NoneItem; // "None"
};
