// The plain Submit Jobs form: its controls and their first state, the queue
// default of a job type, Ok's rule over the input lines, the browse step with
// its warnings, and the jobs SubmittedJobs() stands for.

#include "modaldriver.h"
#include "queuetesthelpers.h"
#include "realuser.h"

#include "app/globals.h"
#include "views/newjobwidget.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <optional>

using namespace QueueTest;

namespace {

Tavrol_JobType TypeWithQueue(int id, const QString& name, const QString& queue,
                             const QString& commandLine = QStringLiteral("@EXEFILE @INFILE"))
{
    return Tavrol_JobType(id, name, QStringLiteral("Standin App"), StandinPath(), queue,
                          commandLine, QStringLiteral("Input Files (*.gjf *.com)"),
                          QStringLiteral("Output Files (*.log)"), QString());
}

// An invalid type: its executable does not exist.
Tavrol_JobType BrokenType(int id)
{
    return Tavrol_JobType(id, QStringLiteral("Broken"), QStringLiteral("Broken App"),
                          QStringLiteral("/nonexistent/program"), QStringLiteral("Long"),
                          QStringLiteral("@EXEFILE @INFILE"), QString(), QString(), QString());
}

QString Touch(const QDir& dir, const QString& name)
{
    QFile file(dir.absoluteFilePath(name));
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write("#standin exit=0\n");
    return file.fileName();
}

QStringList Names(const std::vector<Tavrol_Job>& jobs)
{
    QStringList names;
    for (const Tavrol_Job& job : jobs)
        names.append(job.Name);
    return names;
}

} // namespace

class TstNewJobWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeGUI; }

    void init()
    {
        Tavrol_JobType::SetAll(
            {TypeWithQueue(0, QStringLiteral("Gaussian"), QStringLiteral("Short")),
             TypeWithQueue(1, QStringLiteral("No Input"), QStringLiteral("None"),
                           QStringLiteral("@EXEFILE")),
             TypeWithQueue(2, QStringLiteral("Odd Queue"), QStringLiteral("Elsewhere")),
             BrokenType(3)});
        JobIDManager = Quolix_IDManager(0, 1);
        m_startDir = QDir::currentPath();
    }

    void cleanup()
    {
        Tavrol_NewJobWidget::SetBrowseFunction(nullptr);
        Tavrol_JobType::Clear();
        QDir::setCurrent(m_startDir);
    }

    void theFormHasItsControlsTitleAndFirstState()
    {
        Tavrol_NewJobWidget form;
        QCOMPARE(form.windowTitle(), QStringLiteral("Submit Jobs"));
        QVERIFY(form.isModal());
        QVERIFY(!(form.windowFlags() & Qt::WindowContextHelpButtonHint));
        QCOMPARE(form.JobTypeBox()->count(), 4);
        QCOMPARE(form.JobTypeBox()->itemText(0), QStringLiteral("Gaussian"));
        QCOMPARE(form.JobTypeBox()->itemText(3), QStringLiteral("Broken"));
        QVERIFY(!form.JobTypeBox()->itemData(0).isValid());
        QCOMPARE(form.QueueBox()->count(), 3);
        const QStringList texts{"Long Jobs", "Short Jobs", "None (Queueless)"};
        const QStringList data{"Long", "Short", "None"};
        for (int index = 0; index < 3; ++index) {
            QCOMPARE(form.QueueBox()->itemText(index), texts.at(index));
            QCOMPARE(form.QueueBox()->itemData(index).toString(), data.at(index));
        }
        // The first type's default queue is chosen at once.
        QCOMPARE(form.JobTypeBox()->currentIndex(), 0);
        QCOMPARE(form.QueueBox()->currentIndex(), 1);
        QVERIFY(form.NamePrefixEdit()->text().isEmpty());
        QVERIFY(form.InputFilesEdit()->toPlainText().isEmpty());
        QCOMPARE(form.BrowseButton()->text(), QStringLiteral("Browse..."));
        QCOMPARE(form.OkButton()->text(), QStringLiteral("Ok"));
        QCOMPARE(form.CancelButton()->text(), QStringLiteral("Cancel"));
        QCOMPARE(form.HelpButton()->text(), QStringLiteral("Help"));
        QVERIFY(!form.OkButton()->isEnabled());
        QVERIFY(!form.HelpButton()->isDefault());
        QVERIFY(!form.HelpButton()->autoDefault());

        QStringList labels;
        int width = -1;
        for (const QLabel* label : form.findChildren<QLabel*>()) {
            labels.append(label->text());
            if (width >= 0)
                QCOMPARE(label->minimumWidth(), width);
            width = label->minimumWidth();
        }
        QCOMPARE(labels, QStringList({"Name:  ", "Job Type:  ", "Queue:  ", "Input Files:  "}));
        QVERIFY(width > 0);
    }

    void noJobTypesLeavesEverythingDisabled()
    {
        Tavrol_JobType::Clear();
        Tavrol_NewJobWidget form;
        QCOMPARE(form.JobTypeBox()->count(), 0);
        QVERIFY(!form.SelectedJobType().IsValid());
        QVERIFY(!form.OkButton()->isEnabled());
        QVERIFY(form.SubmittedJobs().empty());
    }

    void anInvalidJobTypeDisablesInputBrowseAndOk()
    {
        QTemporaryDir dir;
        const QString file = Touch(dir.path(), QStringLiteral("a.gjf"));
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(file);
        QVERIFY(form.OkButton()->isEnabled());
        form.QueueBox()->setCurrentIndex(2);
        form.JobTypeBox()->setCurrentIndex(3);
        form.JobTypeSlot(3);
        QVERIFY(!form.InputFilesEdit()->isEnabled());
        QVERIFY(!form.BrowseButton()->isEnabled());
        QVERIFY(!form.OkButton()->isEnabled());
        // An invalid type leaves the queue box as it was.
        QCOMPARE(form.QueueBox()->currentIndex(), 2);
        QVERIFY(form.SubmittedJobs().empty());
        QCOMPARE(JobIDManager.NewID(), 1);
    }

    void okNeedsEveryLineToBeAnExistingFile()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("second.gjf"));
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(QStringLiteral("\n\n%1\n\n%2\n\n").arg(first, second));
        QVERIFY(form.OkButton()->isEnabled());
        form.InputFilesEdit()->setPlainText(first + QStringLiteral("\n/nonexistent/x.gjf"));
        QVERIFY(!form.OkButton()->isEnabled());
        form.InputFilesEdit()->setPlainText(QStringLiteral("   \n  "));
        QVERIFY(!form.OkButton()->isEnabled());
    }

    void aFileNameWithATrailingBlankOnItsLineKeepsOkDisabled()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("second.gjf"));
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(first + QStringLiteral(" \n") + second);
        QVERIFY(!form.OkButton()->isEnabled());
        // The text is trimmed as a whole, so a blank after the last line does no harm.
        form.InputFilesEdit()->setPlainText(first + QStringLiteral("\n") + second +
                                            QStringLiteral(" "));
        QVERIFY(form.OkButton()->isEnabled());
    }

    void aBlankPrefixNamesJobsAfterTheirFiles()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("benzene.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("water.com"));
        Tavrol_NewJobWidget form;
        form.NamePrefixEdit()->setText(QStringLiteral("   "));
        form.InputFilesEdit()->setPlainText(first + QStringLiteral("\n") + second);
        const std::vector<Tavrol_Job> jobs = form.SubmittedJobs();
        QCOMPARE(Names(jobs), QStringList({"benzene.gjf", "water.com"}));
        QCOMPARE(jobs.at(0).JobID, 1);
        QCOMPARE(jobs.at(1).JobID, 2);
        QCOMPARE(jobs.at(0).InputFilePath, first);
        QCOMPARE(jobs.at(0).QueueID, 1);
        QCOMPARE(jobs.at(0).QueueName, QStringLiteral("Short"));
        QCOMPARE(jobs.at(0).JobType.Name, QStringLiteral("Gaussian"));
        QCOMPARE(jobs.at(0).ClientAppName, ClientName());
        QVERIFY(jobs.at(0).IsValid());
    }

    void aPrefixComesBeforeACommaBlankAndTheFileName()
    {
        QTemporaryDir dir;
        const QString file = Touch(dir.path(), QStringLiteral("benzene.gjf"));
        Tavrol_NewJobWidget form;
        form.NamePrefixEdit()->setText(QStringLiteral("  scan  "));
        form.InputFilesEdit()->setPlainText(file);
        form.QueueBox()->setCurrentIndex(2);
        const std::vector<Tavrol_Job> jobs = form.SubmittedJobs();
        QCOMPARE(Names(jobs), QStringList({"scan, benzene.gjf"}));
        QCOMPARE(jobs.at(0).QueueID, 2);
        QCOMPARE(jobs.at(0).QueueName, QStringLiteral("None"));
    }

    void aTypeWithoutInputFileGivesOneJobNamedAfterThePrefixOrTheId()
    {
        Tavrol_NewJobWidget form;
        form.JobTypeBox()->setCurrentIndex(1);
        form.JobTypeSlot(1);
        QCOMPARE(form.QueueBox()->currentIndex(), 2);
        QVERIFY(!form.InputFilesEdit()->isEnabled());
        QVERIFY(!form.BrowseButton()->isEnabled());
        QVERIFY(form.OkButton()->isEnabled());
        std::vector<Tavrol_Job> jobs = form.SubmittedJobs();
        QCOMPARE(Names(jobs), QStringList({"1"}));
        QVERIFY(jobs.at(0).InputFilePath.isEmpty());
        form.NamePrefixEdit()->setText(QStringLiteral("cube"));
        jobs = form.SubmittedJobs();
        QCOMPARE(Names(jobs), QStringList({"cube, "}));
        QCOMPARE(jobs.at(0).JobID, 2);
    }

    void anUnknownDefaultQueueLeavesNoQueueAndAnInvalidJob()
    {
        QTemporaryDir dir;
        const QString file = Touch(dir.path(), QStringLiteral("a.gjf"));
        Tavrol_NewJobWidget form;
        form.JobTypeBox()->setCurrentIndex(2);
        form.JobTypeSlot(2);
        QCOMPARE(form.QueueBox()->currentIndex(), -1);
        form.InputFilesEdit()->setPlainText(file);
        QVERIFY(form.OkButton()->isEnabled());
        const std::vector<Tavrol_Job> jobs = form.SubmittedJobs();
        QCOMPARE(jobs.size(), size_t(1));
        QCOMPARE(jobs.at(0).QueueID, -1);
        QVERIFY(jobs.at(0).QueueName.isEmpty());
        QVERIFY(!jobs.at(0).IsValid());
    }

    void aFileThatVanishesFailsTheWholeSubmissionAfterUsingIds()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("second.gjf"));
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(first + QStringLiteral("\n") + second);
        QVERIFY(form.OkButton()->isEnabled());
        QVERIFY(QFile::remove(second));
        QVERIFY(form.SubmittedJobs().empty());
        QCOMPARE(JobIDManager.NewID(), 2);
    }

    void execWithFilesFillsTheFieldAndOkAccepts()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("second.gjf"));
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(QStringLiteral("old"));
        QString seen;
        QTimer::singleShot(0, &form, [&] {
            seen = form.InputFilesEdit()->toPlainText();
            form.OkButton()->click();
        });
        QCOMPARE(form.ExecWithFiles({first, second}), int(QDialog::Accepted));
        QCOMPARE(seen, first + QStringLiteral("\n") + second);

        QTimer::singleShot(0, &form, [&] {
            seen = form.InputFilesEdit()->toPlainText();
            form.CancelButton()->click();
        });
        QCOMPARE(form.ExecWithFiles({}), int(QDialog::Rejected));
        QVERIFY(seen.isEmpty());
    }

    void closingTheWindowCancels()
    {
        Tavrol_NewJobWidget form;
        QTimer::singleShot(0, &form, [&] { form.close(); });
        QCOMPARE(form.exec(), int(QDialog::Rejected));
    }

    void browsingFillsTheFieldAndMovesTheCurrentDirectory()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString second = Touch(dir.path(), QStringLiteral("second.gjf"));
        QString filterAsked;
        Tavrol_NewJobWidget::SetBrowseFunction([&](QWidget*, const QString& filter) {
            filterAsked = filter;
            return QStringList{first, second};
        });
        Tavrol_NewJobWidget form;
        form.BrowseButton()->click();
        QCOMPARE(filterAsked, QStringLiteral("Input Files (*.gjf *.com)"));
        QCOMPARE(form.InputFilesEdit()->toPlainText(), first + QStringLiteral("\n") + second);
        QVERIFY(form.OkButton()->isEnabled());
        QCOMPARE(QDir::currentPath(), QFileInfo(dir.path()).canonicalFilePath());
    }

    void browsingNothingLeavesTheField()
    {
        Tavrol_NewJobWidget::SetBrowseFunction(
            [](QWidget*, const QString&) { return QStringList(); });
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(QStringLiteral("kept"));
        form.BrowseButton()->click();
        QCOMPARE(form.InputFilesEdit()->toPlainText(), QStringLiteral("kept"));
    }

    void aMissingBrowsedFileIsToldAndTheFieldKept()
    {
        QTemporaryDir dir;
        const QString first = Touch(dir.path(), QStringLiteral("first.gjf"));
        const QString missing = dir.filePath(QStringLiteral("missing.gjf"));
        Tavrol_NewJobWidget::SetBrowseFunction([&](QWidget*, const QString&) {
            return QStringList{first, missing};
        });
        Tavrol_NewJobWidget form;
        form.InputFilesEdit()->setPlainText(QStringLiteral("kept"));
        ModalDriver::BoxAnswerer boxes;
        boxes.Queue(QMessageBox::Ok);
        form.BrowseButton()->click();
        QCOMPARE(boxes.Seen().size(), 1);
        QCOMPARE(boxes.Seen().at(0).title, QStringLiteral("Opening an Input File"));
        QCOMPARE(boxes.Seen().at(0).text,
                 QStringLiteral("The specified file does not exist:\n\n") + missing);
        QCOMPARE(boxes.Seen().at(0).buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(form.InputFilesEdit()->toPlainText(), QStringLiteral("kept"));
        // The first file passed, so the next browse starts in its directory.
        QCOMPARE(QDir::currentPath(), QFileInfo(dir.path()).canonicalFilePath());
    }

    void anUnreadableBrowsedFileIsTold()
    {
        QTemporaryDir dir;
        const QString locked = Touch(dir.path(), QStringLiteral("locked.gjf"));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::WriteOwner));
        // Root reads every file; as root the access check is made for nobody.
        std::optional<RealUser> nobody;
        if (geteuid() == 0) {
            QVERIFY(QFile::setPermissions(dir.path(), QFile::permissions(dir.path()) |
                                                          QFileDevice::ExeGroup |
                                                          QFileDevice::ExeOther));
            nobody.emplace(NobodyUid);
            QVERIFY(nobody->Taken());
        }
        Tavrol_NewJobWidget::SetBrowseFunction(
            [&](QWidget*, const QString&) { return QStringList{locked}; });
        Tavrol_NewJobWidget form;
        ModalDriver::BoxAnswerer boxes;
        boxes.Queue(QMessageBox::Ok);
        form.BrowseButton()->click();
        QCOMPARE(boxes.Seen().size(), 1);
        QCOMPARE(boxes.Seen().at(0).text,
                 QStringLiteral("The specified file is not readable:\n\n") + locked);
        QVERIFY(form.InputFilesEdit()->toPlainText().isEmpty());
    }

private:
    QString m_startDir;
};

QTEST_MAIN(TstNewJobWidget)
#include "tst_newjobwidget.moc"
