#pragma once

#include "jobs/job.h"
#include "jobtypes/jobtype.h"

#include <QDialog>
#include <QStringList>

#include <functional>
#include <vector>

class QCloseEvent;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTextEdit;

// The plain submission form: one name prefix, one job type and one queue for
// a list of input files, one per line. It only stands for jobs; whoever
// opened it adds them to the queues. Ok stays disabled while a line is not an
// existing file, so bad input never reaches a job.
class Tavrol_NewJobWidget : public QDialog
{
    Q_OBJECT

public:
    explicit Tavrol_NewJobWidget(QWidget* parent = nullptr);

    int ExecWithFiles(const QStringList& files);
    Tavrol_JobType SelectedJobType() const;
    std::vector<Tavrol_Job> SubmittedJobs() const;
    void UpdateControls();

    QLineEdit* NamePrefixEdit() const { return m_namePrefixEdit; }
    QComboBox* JobTypeBox() const { return m_jobTypeBox; }
    QComboBox* QueueBox() const { return m_queueBox; }
    QTextEdit* InputFilesEdit() const { return m_inputFilesEdit; }
    QPushButton* BrowseButton() const { return m_browseButton; }
    QPushButton* OkButton() const { return m_okButton; }
    QPushButton* CancelButton() const { return m_cancelButton; }
    QPushButton* HelpButton() const { return m_helpButton; }

    // What the browse button asks for files; a test puts its own answer here.
    using BrowseFunction = std::function<QStringList(QWidget* parent, const QString& filter)>;
    static BrowseFunction SetBrowseFunction(BrowseFunction function);

public slots:
    void CancelSlot();
    void InputFileEditSlot();
    void InputFileBrowseSlot();
    void JobTypeSlot(int index);
    void NamePrefixEditSlot();
    void OkaySlot();
    void QueueSlot(int index);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void BuildControls();
    void BuildButtons();
    void Connect();
    QStringList InputLines() const;
    bool FilesPassBrowseChecks(const QStringList& files);
    Tavrol_Job MakeJob(const Tavrol_JobType& jobType, const QString& name,
                       const QString& inputFilePath, int jobId) const;

    QLineEdit* m_namePrefixEdit = nullptr;
    QComboBox* m_jobTypeBox = nullptr;
    QComboBox* m_queueBox = nullptr;
    QTextEdit* m_inputFilesEdit = nullptr;
    QPushButton* m_browseButton = nullptr;
    QPushButton* m_okButton = nullptr;
    QPushButton* m_cancelButton = nullptr;
    QPushButton* m_helpButton = nullptr;
};
