#include "views/newjobwidget.h"

#include "app/globals.h"
#include "platform/computerdata.h"
#include "platform/helpdialog.h"
#include "platform/widgetutil.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHostAddress>
#include <QHostInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

namespace {

QStringList AskForInputFiles(QWidget* parent, const QString& filter)
{
    return QFileDialog::getOpenFileNames(parent, QStringLiteral("Select Input Files"),
                                         QDir::currentPath(), filter, nullptr);
}

Tavrol_NewJobWidget::BrowseFunction& Browse()
{
    static Tavrol_NewJobWidget::BrowseFunction function = AskForInputFiles;
    return function;
}

// The job type at a box index; out of range gives an empty, invalid type.
Tavrol_JobType JobTypeAt(int index)
{
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    if (index < 0 || index >= static_cast<int>(jobTypes.size()))
        return Tavrol_JobType();
    return jobTypes[static_cast<size_t>(index)];
}

} // namespace

Tavrol_NewJobWidget::BrowseFunction Tavrol_NewJobWidget::SetBrowseFunction(BrowseFunction function)
{
    BrowseFunction previous = Browse();
    Browse() = function ? std::move(function) : BrowseFunction(AskForInputFiles);
    return previous;
}

Tavrol_NewJobWidget::Tavrol_NewJobWidget(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    setModal(true);
    BuildControls();
    BuildButtons();
    Connect();
    if (m_jobTypeBox->count() > 0) {
        m_jobTypeBox->setCurrentIndex(0);
        JobTypeSlot(0);
    }
    UpdateControls();
    setWindowTitle(QStringLiteral("Submit Jobs"));
    if (parent)
        setWindowIcon(parent->windowIcon());
}

void Tavrol_NewJobWidget::BuildControls()
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);

    m_namePrefixEdit = new QLineEdit(this);
    m_jobTypeBox = new QComboBox(this);
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    for (const Tavrol_JobType& jobType : jobTypes)
        m_jobTypeBox->addItem(jobType.Name);
    m_queueBox = new QComboBox(this);
    m_queueBox->addItem(QStringLiteral("Long Jobs"), QStringLiteral("Long"));
    m_queueBox->addItem(QStringLiteral("Short Jobs"), QStringLiteral("Short"));
    m_queueBox->addItem(QStringLiteral("None (Queueless)"), QStringLiteral("None"));
    m_inputFilesEdit = new QTextEdit(this);
    m_inputFilesEdit->setAcceptRichText(false);
    m_browseButton = new QPushButton(QStringLiteral("Browse..."), this);

    QList<QWidget*> labels;
    const auto row = [&](const QString& text, QWidget* control, int stretch, QWidget* after) {
        auto* rowLayout = new QHBoxLayout();
        auto* label = new QLabel(text, this);
        labels.append(label);
        rowLayout->addWidget(label);
        rowLayout->addWidget(control, stretch);
        if (after)
            rowLayout->addWidget(after);
        else
            rowLayout->addStretch(1);
        layout->addLayout(rowLayout);
    };
    row(QStringLiteral("Name:  "), m_namePrefixEdit, 0, nullptr);
    row(QStringLiteral("Job Type:  "), m_jobTypeBox, 0, nullptr);
    row(QStringLiteral("Queue:  "), m_queueBox, 0, nullptr);
    row(QStringLiteral("Input Files:  "), m_inputFilesEdit, 1, m_browseButton);
    Quolix_WidgetUtil::MatchMinimumWidths(true, labels);
}

void Tavrol_NewJobWidget::BuildButtons()
{
    m_okButton = new QPushButton(QDialog::tr("Ok"), this);
    m_cancelButton = new QPushButton(QDialog::tr("Cancel"), this);
    m_helpButton = new QPushButton(QDialog::tr("Help"), this);
    m_okButton->setEnabled(false);
    m_helpButton->setDefault(false);
    m_helpButton->setAutoDefault(false);
    Quolix_HelpDialog::Global()->ConnectButton(m_helpButton, QStringLiteral("tavrol/newjobs"));
    Quolix_WidgetUtil::AddButtonRow(*static_cast<QVBoxLayout*>(layout()), *this,
                                    {m_okButton, m_cancelButton, m_helpButton});
}

void Tavrol_NewJobWidget::Connect()
{
    connect(m_namePrefixEdit, &QLineEdit::editingFinished, this,
            &Tavrol_NewJobWidget::NamePrefixEditSlot);
    connect(m_jobTypeBox, qOverload<int>(&QComboBox::activated), this,
            &Tavrol_NewJobWidget::JobTypeSlot);
    connect(m_queueBox, qOverload<int>(&QComboBox::activated), this,
            &Tavrol_NewJobWidget::QueueSlot);
    connect(m_inputFilesEdit, &QTextEdit::textChanged, this,
            &Tavrol_NewJobWidget::InputFileEditSlot);
    connect(m_browseButton, &QPushButton::clicked, this, &Tavrol_NewJobWidget::InputFileBrowseSlot);
    connect(m_okButton, &QPushButton::clicked, this, &Tavrol_NewJobWidget::OkaySlot);
    connect(m_cancelButton, &QPushButton::clicked, this, &Tavrol_NewJobWidget::CancelSlot);
}

int Tavrol_NewJobWidget::ExecWithFiles(const QStringList& files)
{
    m_inputFilesEdit->clear();
    if (!files.isEmpty())
        m_inputFilesEdit->setPlainText(files.join(QLatin1Char('\n')));
    return exec();
}

Tavrol_JobType Tavrol_NewJobWidget::SelectedJobType() const
{
    return JobTypeAt(m_jobTypeBox->currentIndex());
}

// The input field's lines, the field trimmed as a whole and empty lines left
// out; each line keeps its own blanks.
QStringList Tavrol_NewJobWidget::InputLines() const
{
    return m_inputFilesEdit->toPlainText().trimmed().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void Tavrol_NewJobWidget::UpdateControls()
{
    const Tavrol_JobType jobType = SelectedJobType();
    if (!jobType.IsValid()) {
        m_browseButton->setEnabled(false);
        m_inputFilesEdit->setEnabled(false);
        m_okButton->setEnabled(false);
        return;
    }
    const bool usesInputFile = jobType.UsesInputFile();
    m_inputFilesEdit->setEnabled(usesInputFile);
    m_browseButton->setEnabled(usesInputFile);
    const QStringList lines = InputLines();
    bool okay = true;
    for (const QString& line : lines) {
        if (!QFile::exists(line)) {
            okay = false;
            break;
        }
    }
    if (lines.isEmpty() && usesInputFile)
        okay = false;
    m_okButton->setEnabled(okay);
}

// A file that is missing or unreadable is told and stops the browse step.
// The first file that passes moves the current directory, which is all the
// memory of the last directory this form has.
bool Tavrol_NewJobWidget::FilesPassBrowseChecks(const QStringList& files)
{
    const QString title = QStringLiteral("Opening an Input File");
    for (int index = 0; index < files.size(); ++index) {
        const QFileInfo info(files.at(index));
        QString problem;
        if (!info.exists())
            problem = QDialog::tr("The specified file does not exist:\n\n%1");
        else if (!info.isReadable())
            problem = QDialog::tr("The specified file is not readable:\n\n%1");
        if (!problem.isEmpty()) {
            QMessageBox::warning(this, title, problem.arg(files.at(index)), QMessageBox::Ok);
            return false;
        }
        if (index == 0)
            QDir::setCurrent(info.absolutePath());
    }
    return true;
}

void Tavrol_NewJobWidget::InputFileBrowseSlot()
{
    const QStringList files = Browse()(this, SelectedJobType().InputFileFilter);
    if (files.isEmpty() || !FilesPassBrowseChecks(files))
        return;
    m_inputFilesEdit->setPlainText(files.join(QLatin1Char('\n')));
    UpdateControls();
}

void Tavrol_NewJobWidget::JobTypeSlot(int index)
{
    const Tavrol_JobType jobType = JobTypeAt(index);
    if (jobType.IsValid())
        m_queueBox->setCurrentIndex(jobType.DefaultQueueID());
    UpdateControls();
}

void Tavrol_NewJobWidget::NamePrefixEditSlot()
{
    UpdateControls();
}

void Tavrol_NewJobWidget::QueueSlot(int)
{
    UpdateControls();
}

void Tavrol_NewJobWidget::InputFileEditSlot()
{
    UpdateControls();
}

void Tavrol_NewJobWidget::OkaySlot()
{
    accept();
}

void Tavrol_NewJobWidget::CancelSlot()
{
    reject();
}

void Tavrol_NewJobWidget::closeEvent(QCloseEvent* event)
{
    CancelSlot();
    event->accept();
}

Tavrol_Job Tavrol_NewJobWidget::MakeJob(const Tavrol_JobType& jobType, const QString& name,
                                        const QString& inputFilePath, int jobId) const
{
    const bool console = IsConsoleRunMode();
    return Tavrol_Job(name, jobType, QHostInfo::localHostName(), ClientName(),
                      QHostAddress(QHostAddress::LocalHost).toString(),
                      console ? Quolix_ComputerData::TavrolConsolePortNumber()
                              : Quolix_ComputerData::TavrolGUIPortNumber(),
                      Quolix_ComputerData::UID(), Quolix_ComputerData::GID(),
                      m_queueBox->currentIndex(), m_queueBox->currentData().toString(),
                      inputFilePath, QString(), jobId, QString());
}

// Ids are taken as the jobs are made, so a submission that fails on a late
// line has used some up; a line that is missing fails the whole submission.
std::vector<Tavrol_Job> Tavrol_NewJobWidget::SubmittedJobs() const
{
    QString prefix = m_namePrefixEdit->text().trimmed();
    if (!prefix.isEmpty())
        prefix += QStringLiteral(", ");
    const Tavrol_JobType jobType = SelectedJobType();
    if (!jobType.IsValid())
        return {};

    std::vector<Tavrol_Job> jobs;
    if (!jobType.UsesInputFile()) {
        const int jobId = JobIDManager.NewID();
        jobs.push_back(
            MakeJob(jobType, prefix.isEmpty() ? QString::number(jobId) : prefix, QString(), jobId));
        return jobs;
    }
    for (const QString& line : InputLines()) {
        if (line.isEmpty() || !QFile::exists(line))
            return {};
        const int jobId = JobIDManager.NewID();
        QString name = prefix + QFileInfo(line).fileName();
        if (name.isEmpty())
            name = QString::number(jobId);
        jobs.push_back(MakeJob(jobType, name, line, jobId));
    }
    return jobs;
}
