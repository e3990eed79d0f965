#pragma once

#include "jobtypes/jobtype.h"

#include <QDialog>
#include <QSize>

#include <functional>

class QComboBox;
class QLineEdit;
class QPushButton;
class QTextEdit;

// The modal dialog in which a job type is written or changed. Ok is enabled
// only for a valid type, and only when one of the controls that report their
// edits fires: typing in the path, the command line or the environment alone
// does not re-evaluate it. The caller adds or updates the type it returns.
class Tavrol_NewJobTypeWidget : public QDialog
{
    Q_OBJECT

public:
    explicit Tavrol_NewJobTypeWidget(QWidget* parent = nullptr);

    Tavrol_JobType JobType() const;
    void SetJobType(const Tavrol_JobType& jobType);
    void UpdateOkay();
    QSize sizeHint() const override;

    QLineEdit* NameEdit() const { return m_nameEdit; }
    QComboBox* DefaultQueueBox() const { return m_queueBox; }
    QLineEdit* ApplicationNameEdit() const { return m_applicationNameEdit; }
    QLineEdit* ExecutablePathEdit() const { return m_pathEdit; }
    QPushButton* BrowseButton() const { return m_browseButton; }
    QTextEdit* CommandLineEdit() const { return m_commandLineEdit; }
    QLineEdit* InputFilterEdit() const { return m_inputFilterEdit; }
    QLineEdit* OutputFilterEdit() const { return m_outputFilterEdit; }
    QTextEdit* EnvironmentEdit() const { return m_environmentEdit; }
    QPushButton* OkButton() const { return m_okButton; }
    QPushButton* CancelButton() const { return m_cancelButton; }
    QPushButton* HelpButton() const { return m_helpButton; }

    // What the browse button asks for a file; a test puts its own answer here.
    using BrowseFunction = std::function<QString(QWidget* parent)>;
    static BrowseFunction SetBrowseFunction(BrowseFunction function);

public slots:
    void CancelSlot();
    void NameEditSlot();
    void ApplicationNameEditSlot();
    void ExecutablePathEditSlot();
    void ExecutablePathBrowseSlot();
    void DefaultQueueSlot(int index);
    void GenericCommandLineEditSlot();
    void InputFileFilterEditSlot();
    void OutputFileFilterEditSlot();
    void EnvironmentVariablesEditSlot();
    void OkaySlot();

private:
    void BuildControls();
    void BuildButtons();
    void Connect();

    QLineEdit* m_nameEdit = nullptr;
    QComboBox* m_queueBox = nullptr;
    QLineEdit* m_applicationNameEdit = nullptr;
    QLineEdit* m_pathEdit = nullptr;
    QPushButton* m_browseButton = nullptr;
    QTextEdit* m_commandLineEdit = nullptr;
    QLineEdit* m_inputFilterEdit = nullptr;
    QLineEdit* m_outputFilterEdit = nullptr;
    QTextEdit* m_environmentEdit = nullptr;
    QPushButton* m_okButton = nullptr;
    QPushButton* m_cancelButton = nullptr;
    QPushButton* m_helpButton = nullptr;
};
