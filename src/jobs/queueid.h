#pragma once

#include <QString>

// The three ways a queue is named, and the only place that converts between
// them:
// - a job's QueueID: 0 long, 1 short (the ids of their Queues rows), 2 the
//   queueless list, which has no row;
// - a destination, as the submission dialogs and dropped files give it: one
//   above the QueueID, 0 for "choose by job type";
// - words: "Long", "Short", and "None" or "Queueless" for the queueless list.
struct Tavrol_QueueID
{
    static constexpr int Long = 0;
    static constexpr int Short = 1;
    static constexpr int Queueless = 2;
    static constexpr int None = -1; // no queue, or a word that names none

    static constexpr int AutoDestination = 0;

    static constexpr bool IsValid(int queueID) { return queueID >= Long && queueID <= Queueless; }

    // One above the QueueID; AutoDestination for no queue.
    static constexpr int ToDestination(int queueID)
    {
        return IsValid(queueID) ? queueID + 1 : AutoDestination;
    }
    // One below the destination; None for auto and anything unknown.
    static constexpr int FromDestination(int destination)
    {
        return IsValid(destination - 1) ? destination - 1 : None;
    }

    // A word that begins with "Long", "Short", "None" or "Queueless", in any
    // case; None for anything else, "Auto" and the empty word included.
    static int FromWord(const QString& word)
    {
        if (word.startsWith(QLatin1String("Long"), Qt::CaseInsensitive))
            return Long;
        if (word.startsWith(QLatin1String("Short"), Qt::CaseInsensitive))
            return Short;
        if (word.startsWith(QLatin1String("None"), Qt::CaseInsensitive) ||
            word.startsWith(QLatin1String("Queueless"), Qt::CaseInsensitive))
            return Queueless;
        return None;
    }

    // The name a submitted job carries: "Long", "Short", "None"; else empty.
    static QString JobQueueName(int queueID) { return Name(queueID, QStringLiteral("None")); }
    // A job type's default queue as the store gives it back: "Long",
    // "Short", "Queueless"; else empty.
    static QString DefaultQueueName(int queueID)
    {
        return Name(queueID, QStringLiteral("Queueless"));
    }

private:
    static QString Name(int queueID, const QString& queuelessWord)
    {
        switch (queueID) {
        case Long:
            return QStringLiteral("Long");
        case Short:
            return QStringLiteral("Short");
        case Queueless:
            return queuelessWord;
        default:
            return QString();
        }
    }
};
