#pragma once

#include <QHash>
#include <QObject>

class Tavrol_JobsCollection;

// The exit codes of the jobs that ended while the console ran. A job keeps no
// exit code of its own, and its process is gone once it has ended, so the
// code is taken at the job's end, while the process can still tell it. Lives
// on the main thread, beside the collections it watches.
class Tavrol_ExitCodeBook : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_ExitCodeBook(QObject* parent = nullptr);

    // Watches the jobs that the collection starts from now on; updated is the
    // collection's signal that follows each scheduling step.
    template <typename Collection> void Watch(Collection& collection, void (Collection::*updated)())
    {
        connect(&collection, updated, this, &Tavrol_ExitCodeBook::CollectionUpdatedSlot);
    }
    // The exit code of a job that ended normally; false when none was taken.
    bool ExitCode(int jobId, int& exitCode) const;

private:
    void CollectionUpdatedSlot();
    void JobFinishedSlot();

    QHash<int, int> m_exitCodes;
};
