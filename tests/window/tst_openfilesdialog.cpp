// The Submit Jobs dialog as one run sees it: the one instance, its boxes and
// tabs, ExecFileList's filling and result, the retained settings of the
// section "Open Files" and their reading rules, and what Submit and Cancel
// leave behind.

#include "app/settings.h"
#include "jobtypes/jobtype.h"
#include "platform/registry.h"
#include "platform/treewidget.h"
#include "testsupport.h"
#include "window/openfilesdialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

namespace {

QString Stored(const QString& key)
{
    QString value;
    if (!Quolix_Registry::GetAppUserData(QStringLiteral("Open Files"), key, value))
        return QStringLiteral("<missing>");
    return value;
}

QPushButton* Button(QWidget* parent, const QString& text)
{
    for (QPushButton* button : parent->findChildren<QPushButton*>()) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

} // namespace

class TestOpenFilesDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void oneGlobalDialogThatNeverQuits();
    void firstRunDefaults();
    void submitAsListsTheJobTypes();
    void oneOfThreeCheckedFeedsAllToRecentLists();
    void noCheckedRowGivesZero();
    void retainedFileList();
    void retainedTargetBeatsTheCaller();
    void retentionOffStoresOnlyTheFlag();
    void cancelAlsoSavesSettings();
    void unreadableValuesLeaveTheControls();
    void defaultSettingsKeepTheList();
    void sizeHintGrowsTheMinimum();

private:
    QString MakeFile(const QString& name);
    // Runs the dialog; act is called once it is open and must end it.
    int Run(const QStringList& files, int destination, int jobTypeId,
            const std::function<void()>& act);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Tavrol_OpenFilesDialog> m_dialog;
};

void TestOpenFilesDialog::initTestCase()
{
    Quolix_Registry::SetAppData(QStringLiteral("Tavrol"), QStringLiteral("1"), QStringLiteral("0"),
                                QStringLiteral("1.0"), QStringLiteral("TAVROLPREFS_DIR"),
                                QStringLiteral(".tavrolprefs"));
}

void TestOpenFilesDialog::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QDir prefs(Quolix_Registry::PrefsDirPath());
    for (const QString& name : prefs.entryList(QDir::Files))
        prefs.remove(name);
    Tavrol_Settings().clear();
    Tavrol_JobType::Clear();
    m_dialog = std::make_unique<Tavrol_OpenFilesDialog>();
}

void TestOpenFilesDialog::cleanup()
{
    m_dialog.reset();
    QDir::setCurrent(QDir::homePath());
    m_dir.reset();
}

QString TestOpenFilesDialog::MakeFile(const QString& name)
{
    return TestSupport::WrittenFile(m_dir->filePath(name), QByteArrayLiteral("x"));
}

int TestOpenFilesDialog::Run(const QStringList& files, int destination, int jobTypeId,
                             const std::function<void()>& act)
{
    QTimer::singleShot(0, m_dialog.get(), [this, act] {
        QVERIFY(m_dialog->isVisible());
        act();
    });
    return m_dialog->ExecFileList(QStringLiteral("Job Input Files"), files, destination, jobTypeId,
                                  true);
}

void TestOpenFilesDialog::oneGlobalDialogThatNeverQuits()
{
    Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
    QCOMPARE(Tavrol_OpenFilesDialog::Global(), dialog);
    QVERIFY(!dialog->parent());
    QVERIFY(dialog->isModal());
    QVERIFY(!dialog->testAttribute(Qt::WA_QuitOnClose));
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Submit Jobs"));
}

void TestOpenFilesDialog::firstRunDefaults()
{
    QCOMPARE(m_dialog->Tabs()->count(), 2);
    QCOMPARE(m_dialog->Tabs()->tabText(0), QStringLiteral("File List"));
    QCOMPARE(m_dialog->Tabs()->tabText(1), QStringLiteral("UI Options"));
    QCOMPARE(m_dialog->OpenAsBox()->currentText(), QStringLiteral("Auto"));
    QCOMPARE(m_dialog->OpenAs(), -1);
    QCOMPARE(m_dialog->TargetBox()->count(), 4);
    QCOMPARE(m_dialog->TargetBox()->itemText(3), QStringLiteral("Queueless Jobs"));
    QCOMPARE(m_dialog->TargetBox()->currentText(), QStringLiteral("Auto"));
    QCOMPARE(m_dialog->DestQueue(), 0);
    QCOMPARE(m_dialog->DetailBox()->currentText(), QStringLiteral("High"));
    QVERIFY(!m_dialog->SortingBox()->isChecked());
    QVERIFY(!m_dialog->RetainSettingsBox()->isChecked());
    QVERIFY(!m_dialog->RetainFileListBox()->isChecked());
    QVERIFY(!m_dialog->NativeBrowserBox()->isChecked());
    QVERIFY(!m_dialog->StartBrowserBox()->isChecked());
    QVERIFY(!m_dialog->AllowDuplicatesBox()->isChecked());
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
    QVERIFY(!m_dialog->SubmitButton()->isDefault());
    QVERIFY(Button(m_dialog.get(), QStringLiteral("Default Settings")));
    QCOMPARE(m_dialog->FileOpenData().m_fileOpenOptions, 0);
}

void TestOpenFilesDialog::submitAsListsTheJobTypes()
{
    Tavrol_JobType::SetAll(
        {Tavrol_JobType(4, QStringLiteral("Quick"), QString(), QString(), QStringLiteral("Short"),
                        QString(), QStringLiteral("Inputs (*.com)"), QString(), QString()),
         Tavrol_JobType(9, QStringLiteral("Slow"), QString(), QString(), QStringLiteral("Long"),
                        QString(), QStringLiteral("Inputs (*.gjf)"), QString(), QString())});
    const int result = Run({}, 0, 9, [this] { m_dialog->CancelSlot(); });
    QCOMPARE(result, 0);
    QComboBox* box = m_dialog->OpenAsBox();
    QCOMPARE(box->count(), 3);
    QCOMPARE(box->itemText(1), QStringLiteral("Quick"));
    QCOMPARE(box->itemData(2).toInt(), 9);
    QCOMPARE(box->maxVisibleItems(), 3);
    QCOMPARE(m_dialog->OpenAs(), 9);
    QCOMPARE(Tavrol_OpenFilesDialog::LastAddFileType(), 9);
    QCOMPARE(Tavrol_OpenFilesDialog::FileFilters(),
             QStringList({"Inputs (*.com)", "Inputs (*.gjf)", "All Files (*.*)"}));
}

void TestOpenFilesDialog::oneOfThreeCheckedFeedsAllToRecentLists()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString c = MakeFile(QStringLiteral("c.com"));
    const int result = Run({a, b, c}, 0, -1, [this] {
        QTreeWidget* tree = m_dialog->FileList();
        QCOMPARE(tree->topLevelItemCount(), 3);
        QVERIFY(tree->topLevelItem(0)->isSelected());
        tree->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        tree->topLevelItem(2)->setCheckState(0, Qt::Unchecked);
        QVERIFY(m_dialog->SubmitButton()->isEnabled());
        m_dialog->SubmitButton()->click();
    });
    QCOMPARE(result, int(QDialog::Accepted));
    QCOMPARE(m_dialog->CheckedFilePaths(), QStringList({b}));
    const QStringList recent =
        Tavrol_Settings()
            .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles))
            .toStringList();
    QCOMPARE(recent, QStringList({c, b, a}));
    QCOMPARE(Quolix_Registry::GetRecentOpenStructureFileLists(),
             std::vector<QStringList>({{a, b, c}}));
}

void TestOpenFilesDialog::noCheckedRowGivesZero()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const int result = Run({a}, 0, -1, [this] {
        m_dialog->FileList()->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        m_dialog->OkaySlot();
    });
    QCOMPARE(result, 0);
}

void TestOpenFilesDialog::retainedFileList()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString c = MakeFile(QStringLiteral("c.com"));
    Run({a, b}, 0, -1, [this] {
        m_dialog->RetainFileListBox()->setChecked(true);
        m_dialog->FileList()->topLevelItem(1)->setCheckState(0, Qt::Unchecked);
        m_dialog->CancelSlot();
    });
    Run({}, 0, -1, [this] { m_dialog->CancelSlot(); });
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({a, b}));
    QCOMPARE(m_dialog->CheckedFilePaths(), QStringList({a}));
    Run({c}, 0, -1, [this] { m_dialog->CancelSlot(); });
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({c}));
    m_dialog->RetainFileListBox()->setChecked(false);
    Run({}, 0, -1, [this] { m_dialog->CancelSlot(); });
    QVERIFY(m_dialog->AllFilePaths().isEmpty());
}

void TestOpenFilesDialog::retainedTargetBeatsTheCaller()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    Run({a}, 0, -1, [this] {
        m_dialog->RetainSettingsBox()->setChecked(true);
        m_dialog->TargetBox()->setCurrentIndex(1);
        m_dialog->SubmitButton()->click();
    });
    QCOMPARE(Stored(QStringLiteral("Destination Queue")), QStringLiteral("1"));
    QCOMPARE(Stored(QStringLiteral("Retain Settings")), QStringLiteral("1"));
    QCOMPARE(Stored(QStringLiteral("File List Detail")), QStringLiteral("2"));
    // A new dialog, as after a restart, with files dropped on the queueless view.
    m_dialog = std::make_unique<Tavrol_OpenFilesDialog>();
    int target = -1;
    Run({a}, 3, -1, [this, &target] {
        target = m_dialog->DestQueue();
        m_dialog->CancelSlot();
    });
    QCOMPARE(target, 1);
    QCOMPARE(m_dialog->TargetBox()->currentText(), QStringLiteral("Long Jobs Queue"));
}

void TestOpenFilesDialog::retentionOffStoresOnlyTheFlag()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    Run({a}, 0, -1, [this] {
        m_dialog->RetainSettingsBox()->setChecked(true);
        m_dialog->TargetBox()->setCurrentIndex(1);
        m_dialog->SubmitButton()->click();
    });
    Run({a}, 0, -1, [this] {
        m_dialog->RetainSettingsBox()->setChecked(false);
        m_dialog->TargetBox()->setCurrentIndex(2);
        m_dialog->SubmitButton()->click();
    });
    QCOMPARE(Stored(QStringLiteral("Retain Settings")), QStringLiteral("0"));
    QCOMPARE(Stored(QStringLiteral("Destination Queue")), QStringLiteral("1"));
    int target = -1;
    Run({a}, 3, -1, [this, &target] {
        target = m_dialog->DestQueue();
        m_dialog->CancelSlot();
    });
    QCOMPARE(target, 1);
    QVERIFY(!m_dialog->RetainSettingsBox()->isChecked());
}

void TestOpenFilesDialog::cancelAlsoSavesSettings()
{
    QCOMPARE(Stored(QStringLiteral("Retain Settings")), QStringLiteral("<missing>"));
    Run({}, 0, -1, [this] {
        m_dialog->RetainSettingsBox()->setChecked(true);
        m_dialog->DetailBox()->setCurrentIndex(0);
        m_dialog->SortingBox()->setChecked(true);
        Button(m_dialog.get(), QStringLiteral("Cancel"))->click();
    });
    QCOMPARE(Stored(QStringLiteral("Retain Settings")), QStringLiteral("1"));
    QCOMPARE(Stored(QStringLiteral("File List Detail")), QStringLiteral("0"));
    QCOMPARE(Stored(QStringLiteral("Sorting")), QStringLiteral("1"));
    QCOMPARE(Stored(QStringLiteral("Open as")), QStringLiteral("-1"));
    QCOMPARE(Stored(QStringLiteral("Last Add File Type")), QStringLiteral("All Files (*.*)"));
    // Closing the window is a cancel too.
    Run({}, 0, -1, [this] {
        m_dialog->DetailBox()->setCurrentIndex(1);
        m_dialog->close();
    });
    QCOMPARE(Stored(QStringLiteral("File List Detail")), QStringLiteral("1"));
}

void TestOpenFilesDialog::unreadableValuesLeaveTheControls()
{
    const QString section = QStringLiteral("Open Files");
    Quolix_Registry::PutAppUserData(section, QStringLiteral("Sorting"), QStringLiteral("2"));
    Quolix_Registry::PutAppUserData(section, QStringLiteral("Allow Duplicate Files"),
                                    QStringLiteral("yes"));
    Quolix_Registry::PutAppUserData(section, QStringLiteral("File List Detail"),
                                    QStringLiteral("3"));
    Quolix_Registry::PutAppUserData(section, QStringLiteral("Destination Queue"),
                                    QStringLiteral("-1"));
    Quolix_Registry::PutAppUserData(section, QStringLiteral("Use Native File Browser"),
                                    QStringLiteral("1"));
    m_dialog = std::make_unique<Tavrol_OpenFilesDialog>();
    QVERIFY(!m_dialog->SortingBox()->isChecked());
    QVERIFY(!m_dialog->AllowDuplicatesBox()->isChecked());
    QCOMPARE(m_dialog->DetailBox()->currentIndex(), 2);
    QCOMPARE(m_dialog->DestQueue(), 0);
    QVERIFY(m_dialog->NativeBrowserBox()->isChecked());
}

void TestOpenFilesDialog::defaultSettingsKeepTheList()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    QVERIFY(m_dialog->AddFilePath(a));
    m_dialog->RetainSettingsBox()->setChecked(true);
    m_dialog->RetainFileListBox()->setChecked(true);
    m_dialog->SortingBox()->click();
    m_dialog->DetailBox()->setCurrentIndex(0);
    m_dialog->TargetBox()->setCurrentIndex(2);
    m_dialog->AllowDuplicatesBox()->setChecked(true);
    Button(m_dialog.get(), QStringLiteral("Default Settings"))->click();
    QVERIFY(!m_dialog->RetainSettingsBox()->isChecked());
    QVERIFY(!m_dialog->RetainFileListBox()->isChecked());
    QVERIFY(!m_dialog->SortingBox()->isChecked());
    QVERIFY(!m_dialog->FileList()->isSortingEnabled());
    QCOMPARE(m_dialog->DetailBox()->currentIndex(), 2);
    QVERIFY(!m_dialog->FileList()->isColumnHidden(5));
    QCOMPARE(m_dialog->DestQueue(), 0);
    QVERIFY(!m_dialog->AllowDuplicatesBox()->isChecked());
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({a}));
    // Nothing is stored until settings are saved.
    QCOMPARE(Stored(QStringLiteral("Retain Settings")), QStringLiteral("<missing>"));
}

void TestOpenFilesDialog::sizeHintGrowsTheMinimum()
{
    const QSize minimum = m_dialog->minimumSizeHint();
    QCOMPARE(m_dialog->sizeHint(), QSize(int(minimum.width() * 1.1), int(minimum.height() * 1.5)));
}

QTEST_MAIN(TestOpenFilesDialog)
#include "tst_openfilesdialog.moc"
