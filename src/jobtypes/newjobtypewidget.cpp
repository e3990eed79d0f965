#include "jobtypes/newjobtypewidget.h"

#include "platform/helpdialog.h"
#include "platform/widgetutil.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

#include <algorithm>
#include <vector>

namespace {

QString AskForExecutable(QWidget* parent)
{
    QString selectedFilter;
    return QFileDialog::getOpenFileName(parent, QStringLiteral("Select an Executable File"),
                                        QDir::currentPath(), QStringLiteral("All Files (*.*)"),
                                        &selectedFilter);
}

Tavrol_NewJobTypeWidget::BrowseFunction& Browse()
{
    static Tavrol_NewJobTypeWidget::BrowseFunction function = AskForExecutable;
    return function;
}

} // namespace

Tavrol_NewJobTypeWidget::Tavrol_NewJobTypeWidget(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    setModal(true);
    BuildControls();
    BuildButtons();
    Connect();
    setWindowTitle(QStringLiteral("New Job Type"));
    if (parent)
        setWindowIcon(parent->windowIcon());
}

void Tavrol_NewJobTypeWidget::BuildControls()
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    QList<QWidget*> labels;
    const auto row = [&](const QString& text, QWidget* control, QWidget* extra = nullptr,
                         bool stretchAfter = false) {
        auto* rowLayout = new QHBoxLayout();
        auto* label = new QLabel(text, this);
        labels.push_back(label);
        rowLayout->addWidget(label);
        rowLayout->addWidget(control, extra ? 1 : 0);
        if (extra)
            rowLayout->addWidget(extra);
        if (stretchAfter)
            rowLayout->addStretch(1);
        layout->addLayout(rowLayout);
    };

    m_nameEdit = new QLineEdit(this);
    m_queueBox = new QComboBox(this);
    m_queueBox->addItem(QStringLiteral("Long Jobs"), QStringLiteral("Long"));
    m_queueBox->addItem(QStringLiteral("Short Jobs"), QStringLiteral("Short"));
    m_queueBox->addItem(QStringLiteral("None (Queueless)"), QStringLiteral("None"));
    m_applicationNameEdit = new QLineEdit(this);
    m_pathEdit = new QLineEdit(this);
    m_browseButton = new QPushButton(QStringLiteral("Browse..."), this);
    m_commandLineEdit = new QTextEdit(this);
    m_commandLineEdit->setAcceptRichText(false);
    m_inputFilterEdit = new QLineEdit(this);
    m_outputFilterEdit = new QLineEdit(this);
    m_environmentEdit = new QTextEdit(this);
    m_environmentEdit->setAcceptRichText(false);

    row(QStringLiteral("Name:  "), m_nameEdit);
    row(QStringLiteral("Default Queue:  "), m_queueBox, nullptr, true);
    row(QStringLiteral("Application Name:  "), m_applicationNameEdit);
    row(QStringLiteral("Executable Path:  "), m_pathEdit, m_browseButton);
    row(QStringLiteral("Generic Command Line:  "), m_commandLineEdit);
    row(QStringLiteral("Input File Filter:  "), m_inputFilterEdit);
    row(QStringLiteral("Output File Filter:  "), m_outputFilterEdit);
    row(QStringLiteral("Environment Variables:  "), m_environmentEdit);
    Quolix_WidgetUtil::MatchMinimumWidths(true, labels);
}

void Tavrol_NewJobTypeWidget::BuildButtons()
{
    m_okButton = new QPushButton(tr("Ok"), this);
    m_cancelButton = new QPushButton(tr("Cancel"), this);
    m_helpButton = new QPushButton(tr("Help"), this);
    m_okButton->setEnabled(false);
    Quolix_WidgetUtil::AddButtonRow(*static_cast<QVBoxLayout*>(layout()), *this,
                                    {m_okButton, m_cancelButton, m_helpButton});

    Quolix_HelpDialog::Global()->ConnectButton(m_helpButton, QStringLiteral("tavrol/newjobtype"));
    // The Return key presses none of them.
    for (QPushButton* button : {m_browseButton, m_okButton, m_cancelButton, m_helpButton}) {
        button->setDefault(false);
        button->setAutoDefault(false);
    }
}

// Typing in the path, the command line or the environment is not connected:
// those controls re-evaluate Ok only through another control's signal.
void Tavrol_NewJobTypeWidget::Connect()
{
    connect(m_nameEdit, &QLineEdit::editingFinished, this, &Tavrol_NewJobTypeWidget::NameEditSlot);
    connect(m_queueBox, &QComboBox::activated, this, &Tavrol_NewJobTypeWidget::DefaultQueueSlot);
    connect(m_applicationNameEdit, &QLineEdit::editingFinished, this,
            &Tavrol_NewJobTypeWidget::ApplicationNameEditSlot);
    connect(m_browseButton, &QPushButton::clicked, this,
            &Tavrol_NewJobTypeWidget::ExecutablePathBrowseSlot);
    connect(m_inputFilterEdit, &QLineEdit::editingFinished, this,
            &Tavrol_NewJobTypeWidget::InputFileFilterEditSlot);
    connect(m_outputFilterEdit, &QLineEdit::editingFinished, this,
            &Tavrol_NewJobTypeWidget::OutputFileFilterEditSlot);
    connect(m_okButton, &QPushButton::clicked, this, &Tavrol_NewJobTypeWidget::OkaySlot);
    connect(m_cancelButton, &QPushButton::clicked, this, &Tavrol_NewJobTypeWidget::CancelSlot);
}

Tavrol_NewJobTypeWidget::BrowseFunction
Tavrol_NewJobTypeWidget::SetBrowseFunction(BrowseFunction function)
{
    BrowseFunction previous = Browse();
    Browse() = function ? std::move(function) : BrowseFunction(AskForExecutable);
    return previous;
}

Tavrol_JobType Tavrol_NewJobTypeWidget::JobType() const
{
    Tavrol_JobType type;
    type.Name = m_nameEdit->text();
    type.ApplicationName = m_applicationNameEdit->text();
    type.ExecutablePath = m_pathEdit->text();
    type.DefaultQueue = m_queueBox->itemData(m_queueBox->currentIndex(), Qt::UserRole).toString();
    type.GenericCommandLine = m_commandLineEdit->document()->toPlainText();
    type.InputFileFilter = m_inputFilterEdit->text();
    type.OutputFileFilter = m_outputFilterEdit->text();
    type.EnvironmentVariables = m_environmentEdit->document()->toPlainText();
    return type;
}

// Ok stays as it is: an edit is accepted only after a control has fired.
void Tavrol_NewJobTypeWidget::SetJobType(const Tavrol_JobType& jobType)
{
    m_nameEdit->setText(jobType.Name);
    m_applicationNameEdit->setText(jobType.ApplicationName);
    m_pathEdit->setText(jobType.ExecutablePath);
    m_commandLineEdit->setPlainText(jobType.GenericCommandLine);
    m_inputFilterEdit->setText(jobType.InputFileFilter);
    m_outputFilterEdit->setText(jobType.OutputFileFilter);
    m_environmentEdit->setPlainText(jobType.EnvironmentVariables);
    m_queueBox->setCurrentIndex(jobType.DefaultQueueID());
}

void Tavrol_NewJobTypeWidget::UpdateOkay()
{
    m_okButton->setEnabled(JobType().IsValid());
}

QSize Tavrol_NewJobTypeWidget::sizeHint() const
{
    return {QDialog::sizeHint().width(), minimumSizeHint().height()};
}

void Tavrol_NewJobTypeWidget::CancelSlot()
{
    reject();
}

void Tavrol_NewJobTypeWidget::NameEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::ApplicationNameEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::ExecutablePathEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::ExecutablePathBrowseSlot()
{
    const QString path = Browse()(this);
    if (path.isEmpty() || !QFile::exists(path))
        return;
    m_pathEdit->setText(path);
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::DefaultQueueSlot(int)
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::GenericCommandLineEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::InputFileFilterEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::OutputFileFilterEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::EnvironmentVariablesEditSlot()
{
    UpdateOkay();
}

void Tavrol_NewJobTypeWidget::OkaySlot()
{
    accept();
}
