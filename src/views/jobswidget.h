#pragma once

#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>

#include <vector>

class QFrame;
class QWidget;
class Quolix_TableWidget;
class Tavrol_Database;
class Tavrol_Job;
class Tavrol_JobsCollection;
class Tavrol_JobsQueue;
class QMenu;

// What sets one queue view apart from the others of its family.
struct Tavrol_JobsWidgetFamily
{
    int QueueID; // given to a new job with its name (jobs/queueid.h)
    QString HelpTopic;
    QString RemovalTitle;
    QString RemovalQuestionTail; // follows the count in the removal question
    QString EmptyText;           // console listing of an empty collection
    QString Heading;             // console listing heading
    QString MaximumLabel;        // the maximum dialog's label; empty without a maximum
};

// The part shared by the three queue views: the way in to one job collection.
// It turns input files into jobs, keeps the project's job table in step with
// the collection, sweeps ended jobs into the finished jobs view and prints the
// console listing. Without a window it has no frame and no table.
//
// Jobs handed to a view belong to it from then on. The collection never
// deletes a job; the view releases each one after it has left the collection,
// once its run is over (a job that was killed still delivers its end later).
class Tavrol_JobsWidget : public QObject
{
    Q_OBJECT

public:
    ~Tavrol_JobsWidget() override;

    void AddJobFromFile(const QString& filePath, int jobTypeId);
    void AddJob(Tavrol_Job* job);
    void ClearJobs();
    void PrintList();
    bool RemoveJobByProcessID(int processId);
    // The removal of the view's actions: asks (when a window can ask),
    // deletes the rows, then removes the jobs with the update slot held off.
    // A running job is killed by its removal. Public for the console, which
    // asks its own question first.
    bool RemoveJobs(const std::vector<int>& jobIds);
    void RebuildTable();

    QFrame* Frame() const { return m_frame; }
    Quolix_TableWidget* Table() const { return m_table; }
    const Tavrol_JobsWidgetFamily& Family() const { return m_family; }
    // The eight column headers of the table and of the console listing.
    static QStringList Headers();

public slots:
    void FilesDroppedSlot(const QStringList& files);
    void CellDoubleClickedSlot(int row, int column);
    void ContextMenuSlot(QPoint position);

protected:
    Tavrol_JobsWidget(const Tavrol_JobsWidgetFamily& family, QWidget* parent);

    // The collection is a member of the concrete view, so the constructor of
    // the concrete view finishes the build once it exists, and then connects
    // the collection's update signal last of all.
    void FinishConstruction();
    // For the concrete view's destructor: the jobs still in the collection
    // belong to the view and go with it.
    void DeleteRemainingJobs();

    virtual Tavrol_JobsCollection& Collection() = 0;
    virtual const Tavrol_JobsCollection& Collection() const = 0;
    virtual bool AddStoreRow(Tavrol_Database& database, const Tavrol_Job& job) const = 0;
    virtual bool DeleteStoreRow(Tavrol_Database& database, int jobId) const = 0;
    // The queue behind the maximum and pause entries; none in the queueless view.
    virtual Tavrol_JobsQueue* MaximumQueue() { return nullptr; }

    // The finished sweep behind the update slot.
    void SweepFinishedJobs();

    // Collection changes made by the view that may take jobs out: the jobs
    // that left are released afterwards.
    template <typename Change> void ChangeCollection(Change change)
    {
        const std::vector<Tavrol_Job*> before = CurrentJobs();
        change();
        ReleaseJobsThatLeft(before);
    }

private:
    void BuildTable();
    void WriteRow(int row, int index, const Tavrol_Job& job);
    std::vector<Tavrol_Job*> CurrentJobs() const;
    void ReleaseJobsThatLeft(const std::vector<Tavrol_Job*>& before);
    void ReleaseJob(Tavrol_Job* job);
    bool AskToRemove(const QStringList& names) const;
    int AskAboutRunningJobs() const;
    std::vector<int> SelectedJobIDs(int currentIndex) const;
    void ActOnMenuChoice(const QString& choice, int currentJobId,
                         const std::vector<int>& selectedIds);
    void AskForMaximum(Tavrol_JobsQueue& queue);

    QFrame* m_frame = nullptr;
    Quolix_TableWidget* m_table = nullptr;
    bool m_removing = false;
    Tavrol_JobsWidgetFamily m_family;
};
