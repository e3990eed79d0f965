#pragma once

#include "processes/process.h"
#include "processes/processtablereader.h"

#include <QObject>
#include <QPoint>
#include <QStringList>

#include <vector>

class QCheckBox;
class QFrame;
class QPushButton;
class QWidget;
class Quolix_TableWidget;
class Tavrol_JobType;

// What runs on the machine, from the process table, by default narrowed to
// the programs of the known job types (also those started elsewhere).
// Without a window it only reads and prints.
class Tavrol_RunningJobsWidget : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_RunningJobsWidget(QWidget* parent = nullptr);
    ~Tavrol_RunningJobsWidget() override;

    // Reads the table now, waiting for `ps`; at construction and for PrintList.
    void Refresh();
    // Shows a table read elsewhere (off the main thread, or by the reader),
    // narrowed as Refresh narrows it.
    void ShowProcessTable(std::vector<Tavrol_Process> rows);
    void PrintList();
    // Prints the rows as they stand, without reading the table again.
    void PrintCurrentList() const;

    bool OnlyKnownJobTypes() const { return m_onlyKnownJobTypes; }
    void SetOnlyKnownJobTypes(bool only) { m_onlyKnownJobTypes = only; }
    const std::vector<Tavrol_Process>& Processes() const { return m_processes; }
    // The row of the table's current row, or an empty row.
    const Tavrol_Process& CurrentProcess() const;
    QFrame* Frame() const { return m_frame; }
    Quolix_TableWidget* Table() const { return m_table; }
    QPushButton* RefreshButton() const { return m_refreshButton; }
    QCheckBox* OnlyKnownJobTypesBox() const { return m_onlyKnownBox; }
    // The seven column headers of the table and of the console listing.
    static QStringList Headers();
    // The six kill entries of the menu with the box cleared, in menu order.
    static QStringList KillActionTexts();

    // True when the path of a process row stands for the executable of the
    // job type: equal after normalising, or the same file once links are
    // resolved.
    static bool PathMatchesJobType(const QString& appPath, const Tavrol_JobType& jobType);
    // Native separators, a clean path, and the company names without their
    // final point, whichever the case.
    static QString NormalisedPath(const QString& path);

signals:
    // A refresh asked for by a slot has ended; the rows are new.
    void RefreshedSignal();

public slots:
    void ContextMenuSlot(QPoint position);
    // These refresh from the event loop: `ps` runs beside it.
    void OnlyShowJobsOfKnownJobTypesSlot();
    void RefreshSlot();
    // A job of this program started or ended: a table on screen reads the
    // process table again, beside the event loop; one off screen does so
    // when it is shown.
    void JobsChangedSlot();

private:
    void BuildFrame();
    void FillTable();
    void WriteRow(int row, int index, const Tavrol_Process& process);
    void TableReadSlot();
    void FilterByKnownJobTypes(const std::vector<Tavrol_JobType>& jobTypes);
    static void Kill(const QString& action, const Tavrol_Process& process);
    static void RemoveFromQueues(int processId);

    std::vector<Tavrol_Process> m_processes;
    Tavrol_ProcessTableReader* m_reader = nullptr;
    bool m_onlyKnownJobTypes = true;
    Tavrol_Process m_noProcess;
    QFrame* m_frame = nullptr;
    Quolix_TableWidget* m_table = nullptr;
    QPushButton* m_refreshButton = nullptr;
    QCheckBox* m_onlyKnownBox = nullptr;
    // False when the last read left the table empty whatever it found (no
    // job type known).
    bool m_rowsWanted = false;
    bool m_readAgain = false;     // a job changed while a read was running
    bool m_readWhenShown = false; // a job changed while the table was off screen
};
