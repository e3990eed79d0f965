// The file list of the Submit Jobs dialog: its rows, checks and numbers, the
// duplicate rule, the order of sorted rows, drags and drops, the actions, the
// recent menus and what Submit feeds into the recent stores.

#include "app/settings.h"
#include "platform/registry.h"
#include "platform/treewidget.h"
#include "testsupport.h"
#include "window/openfilesdialog.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFileInfo>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

namespace {

QStringList ColumnTexts(const QTreeWidget* tree, int column)
{
    QStringList texts;
    for (int row = 0; row < tree->topLevelItemCount(); ++row)
        texts.append(tree->topLevelItem(row)->text(column));
    return texts;
}

QStringList ActionTexts(const QMenu* menu)
{
    QStringList texts;
    for (const QAction* action : menu->actions())
        texts.append(action->isSeparator() ? QStringLiteral("|") : action->text());
    return texts;
}

// A drop on the list's viewport, as a drag from elsewhere or from the list
// itself delivers it.
void Drop(QTreeWidget* tree, QMimeData* mime)
{
    const QPointF pos(5, 5);
    QDragEnterEvent enter(pos.toPoint(), Qt::MoveAction | Qt::CopyAction, mime, Qt::LeftButton,
                          Qt::NoModifier);
    QApplication::sendEvent(tree->viewport(), &enter);
    QDropEvent drop(pos, Qt::MoveAction | Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(tree->viewport(), &drop);
}

} // namespace

class TestOpenFilesList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void columnsOfANewRow();
    void missingPathIsRefused();
    void duplicatesRefusedUnlessAllowed();
    void newRowIsCheckedAndSubmitFollowsChecks();
    void numbersAreNeverRenumbered();
    void readersFollowRowOrder();
    void sizesSortAsNumbersAndDatesByTime();
    void itemOrderFallsBackToText();
    void movingRowsSwitchesSortingOff();
    void droppedFilesSwitchSortingOffAndAreAdded();
    void actionsMenuAndSlots();
    void deleteKeyClearsSelection();
    void recentFileListTextIsCutAt128();
    void recentFilesMenuKeepsExistingFiles();
    void recentFileListsMenuKeepsWholeLists();
    void recentDirsMenu();
    void submitFeedsRecentFiles();
    void recentFileListsRules();
    void detailLevels();
    void replacingTheCurrentRow();

private:
    QString MakeFile(const QString& name, int size = 1);
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Tavrol_OpenFilesDialog> m_dialog;
};

void TestOpenFilesList::initTestCase()
{
    Quolix_Registry::SetAppData(QStringLiteral("Tavrol"), QStringLiteral("1"), QStringLiteral("0"),
                                QStringLiteral("1.0"), QStringLiteral("TAVROLPREFS_DIR"),
                                QStringLiteral(".tavrolprefs"));
}

void TestOpenFilesList::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_dialog = std::make_unique<Tavrol_OpenFilesDialog>();
    Tavrol_Settings().clear();
    Quolix_Registry::PutRecentOpenStructureFileLists({});
    Quolix_Registry::PutRecentDirs({});
}

void TestOpenFilesList::cleanup()
{
    m_dialog.reset();
    QDir::setCurrent(QDir::homePath());
    m_dir.reset();
}

QString TestOpenFilesList::MakeFile(const QString& name, int size)
{
    return TestSupport::WrittenFile(m_dir->filePath(name), QByteArray(size, 'x'));
}

void TestOpenFilesList::columnsOfANewRow()
{
    const QString path = MakeFile(QStringLiteral("water.com"), 12);
    QVERIFY(m_dialog->AddFilePath(path));
    const QTreeWidget* tree = m_dialog->FileList();
    QCOMPARE(tree->columnCount(), 8);
    const QTreeWidgetItem* header = tree->headerItem();
    QCOMPARE(header->text(0), QStringLiteral("ID"));
    QCOMPARE(header->text(1), QStringLiteral("File Path"));
    QCOMPARE(header->text(2), QStringLiteral("File Name"));
    QCOMPARE(header->text(3), QStringLiteral("Directory"));
    QCOMPARE(header->text(4), QStringLiteral("Type"));
    QCOMPARE(header->text(5), QStringLiteral("Size (bytes)"));
    QCOMPARE(header->text(6), QStringLiteral("Created"));
    QCOMPARE(header->text(7), QStringLiteral("Last Modified"));
    const QTreeWidgetItem* item = tree->topLevelItem(0);
    QVERIFY(dynamic_cast<const Quolix_TreeWidgetItem*>(item));
    QCOMPARE(item->childCount(), 0);
    QCOMPARE(item->text(0), QStringLiteral("1"));
    QCOMPARE(item->text(1), QFileInfo(path).absoluteFilePath());
    QCOMPARE(item->text(2), QStringLiteral("water.com"));
    QCOMPARE(item->text(3), QFileInfo(path).absolutePath());
    QCOMPARE(item->text(4), QStringLiteral("com"));
    QCOMPARE(item->text(5), QStringLiteral("12"));
    QCOMPARE(item->text(7),
             QFileInfo(path).lastModified().toString(QStringLiteral("ddd MMM d yyyy, h:mm:ss ap")));
    QVERIFY(QDateTime::fromString(item->text(6), QStringLiteral("ddd MMM d yyyy, h:mm:ss ap"))
                .isValid());
    QCOMPARE(item->data(3, Qt::UserRole).toString(), path);
    QVERIFY(!(item->flags() & Qt::ItemIsDropEnabled));
    QCOMPARE(tree->currentItem(), item);
    QCOMPARE(QDir::currentPath(), QFileInfo(path).absolutePath());
    QVERIFY(!tree->isSortingEnabled());
    QVERIFY(!m_dialog->SortingBox()->isChecked());
}

void TestOpenFilesList::missingPathIsRefused()
{
    QVERIFY(!m_dialog->AddFilePath(m_dir->filePath(QStringLiteral("absent.com"))));
    QVERIFY(!m_dialog->AddFilePath(QString()));
    QCOMPARE(m_dialog->FileList()->topLevelItemCount(), 0);
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
}

void TestOpenFilesList::duplicatesRefusedUnlessAllowed()
{
    const QString path = MakeFile(QStringLiteral("a.com"));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("sub")));
    QVERIFY(m_dialog->AddFilePath(path));
    const QString dotted = m_dir->path() + QStringLiteral("/sub/../a.com");
    QVERIFY(!m_dialog->AddFilePath(dotted));
    // A file whose name ends in blanks exists, but reads as the listed one.
    const QString blanks = MakeFile(QStringLiteral("a.com  "));
    QVERIFY(QFile::exists(blanks));
    QVERIFY(!m_dialog->AddFilePath(blanks));
    QCOMPARE(m_dialog->FileList()->topLevelItemCount(), 1);
    m_dialog->AllowDuplicatesBox()->setChecked(true);
    QVERIFY(m_dialog->AddFilePath(dotted));
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({path, dotted}));
}

void TestOpenFilesList::newRowIsCheckedAndSubmitFollowsChecks()
{
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("a.com"))));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("b.com"))));
    QTreeWidget* tree = m_dialog->FileList();
    QCOMPARE(tree->topLevelItem(0)->checkState(0), Qt::Checked);
    QVERIFY(m_dialog->SubmitButton()->isEnabled());
    // A click on a check reaches the button through itemChanged.
    tree->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    QVERIFY(m_dialog->SubmitButton()->isEnabled());
    tree->topLevelItem(1)->setCheckState(0, Qt::Unchecked);
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
    QVERIFY(m_dialog->CheckedFilePaths().isEmpty());
    tree->topLevelItem(1)->setCheckState(0, Qt::Checked);
    QVERIFY(m_dialog->SubmitButton()->isEnabled());
    QCOMPARE(m_dialog->CheckedFilePaths(), QStringList({m_dir->filePath("b.com")}));
}

void TestOpenFilesList::numbersAreNeverRenumbered()
{
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("a.com"))));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("b.com"))));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("c.com"))));
    QTreeWidget* tree = m_dialog->FileList();
    tree->clearSelection();
    tree->topLevelItem(0)->setSelected(true);
    m_dialog->ClearSelectedFilePathsSlot();
    QCOMPARE(ColumnTexts(tree, 0), QStringList({"2", "3"}));
    QCOMPARE(tree->currentItem(), tree->topLevelItem(1));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("d.com"))));
    QCOMPARE(ColumnTexts(tree, 0), QStringList({"2", "3", "3"}));
}

void TestOpenFilesList::readersFollowRowOrder()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString c = MakeFile(QStringLiteral("c.com"));
    QCOMPARE(m_dialog->CurrentFilePath(), QString());
    for (const QString& path : {c, a, b})
        QVERIFY(m_dialog->AddFilePath(path));
    QTreeWidget* tree = m_dialog->FileList();
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({c, a, b}));
    QCOMPARE(m_dialog->CurrentFilePath(), b);
    tree->clearSelection();
    tree->topLevelItem(2)->setSelected(true);
    tree->topLevelItem(0)->setSelected(true);
    QCOMPARE(m_dialog->SelectedFilePaths(), QStringList({c, b}));
    tree->topLevelItem(1)->setCheckState(0, Qt::Unchecked);
    QCOMPARE(m_dialog->CheckedFilePaths(), QStringList({c, b}));
    tree->sortItems(2, Qt::AscendingOrder);
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({a, b, c}));
    QCOMPARE(m_dialog->CheckedFilePaths(), QStringList({b, c}));
}

void TestOpenFilesList::sizesSortAsNumbersAndDatesByTime()
{
    const QString ten = MakeFile(QStringLiteral("ten.com"), 10);
    const QString nine = MakeFile(QStringLiteral("nine.com"), 9);
    QVERIFY(m_dialog->AddFilePath(ten));
    QVERIFY(m_dialog->AddFilePath(nine));
    QTreeWidget* tree = m_dialog->FileList();
    m_dialog->SortingBox()->click();
    QVERIFY(tree->isSortingEnabled());
    tree->sortItems(5, Qt::AscendingOrder);
    QCOMPARE(ColumnTexts(tree, 5), QStringList({"9", "10"}));
    // Mon 2 Jan 2023 comes after Fri 30 Dec 2022, though "Fri" < "Mon" < "Sat".
    tree->topLevelItem(0)->setText(7, QStringLiteral("Mon Jan 2 2023, 9:00:00 am"));
    tree->topLevelItem(1)->setText(7, QStringLiteral("Fri Dec 30 2022, 11:00:00 pm"));
    tree->sortItems(7, Qt::AscendingOrder);
    QCOMPARE(ColumnTexts(tree, 7),
             QStringList({"Fri Dec 30 2022, 11:00:00 pm", "Mon Jan 2 2023, 9:00:00 am"}));
    tree->topLevelItem(0)->setText(7, QStringLiteral("Sat Jan 7 2023, 1:00:00 pm"));
    tree->sortItems(7, Qt::AscendingOrder);
    QCOMPARE(ColumnTexts(tree, 7),
             QStringList({"Mon Jan 2 2023, 9:00:00 am", "Sat Jan 7 2023, 1:00:00 pm"}));
}

void TestOpenFilesList::itemOrderFallsBackToText()
{
    QTreeWidget tree;
    tree.setColumnCount(1);
    auto* a = new Quolix_TreeWidgetItem(&tree);
    auto* b = new Quolix_TreeWidgetItem(&tree);
    QCOMPARE(a->m_tag, -1);
    tree.sortItems(0, Qt::AscendingOrder);
    a->setText(0, QStringLiteral("5000000000"));
    b->setText(0, QStringLiteral("999"));
    QVERIFY(*b < *a); // beyond 32 bits, compared as doubles
    a->setText(0, QStringLiteral("2.5"));
    b->setText(0, QStringLiteral("10"));
    QVERIFY(*a < *b);
    a->setText(0, QStringLiteral("b"));
    b->setText(0, QStringLiteral("B"));
    QVERIFY(*b < *a); // case sensitive
    a->setText(0, QStringLiteral("10.com"));
    b->setText(0, QStringLiteral("9.com"));
    QVERIFY(*a < *b);
    a->setData(0, Qt::UserRole + 1, 7);
    b->setData(0, Qt::UserRole + 1, 3);
    QVERIFY(*b < *a);
}

void TestOpenFilesList::movingRowsSwitchesSortingOff()
{
    // A drop of the tree's own rows is a move: the drag manager hands such a
    // drop only to the tree the drag began in, so it is given straight to
    // the tree's handler here.
    struct Tree : Quolix_TreeWidget
    {
        using Quolix_TreeWidget::dropEvent;
    } tree;
    tree.setDragDropMode(QAbstractItemView::InternalMove);
    new Quolix_TreeWidgetItem(&tree);
    QSignalSpy moved(&tree, &Quolix_TreeWidget::ItemsMovedSignal);
    QSignalSpy dropped(&tree, &Quolix_TreeWidget::DropSignal);
    std::unique_ptr<QMimeData> mime(tree.model()->mimeData({tree.model()->index(0, 0)}));
    QVERIFY(mime);
    QDropEvent drop(QPointF(5, 5), Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    tree.dropEvent(&drop);
    QCOMPARE(moved.count(), 1);
    QCOMPARE(dropped.count(), 0);

    // The dialog answers a move by switching sorting off at once.
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("a.com"))));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("b.com"))));
    m_dialog->SortingBox()->click();
    QVERIFY(m_dialog->FileList()->isSortingEnabled());
    emit m_dialog->FileList()->ItemsMovedSignal();
    QVERIFY(!m_dialog->SortingBox()->isChecked());
    QVERIFY(!m_dialog->FileList()->isSortingEnabled());
}

void TestOpenFilesList::droppedFilesSwitchSortingOffAndAreAdded()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    QVERIFY(m_dialog->AddFilePath(a));
    auto* tree = m_dialog->FileList();
    m_dialog->SortingBox()->click();
    QSignalSpy dropped(tree, &Quolix_TreeWidget::DropSignal);
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(b), QUrl(QStringLiteral("http://example.invalid/x.com")),
                  QUrl::fromLocalFile(a)});
    Drop(tree, &mime);
    QCOMPARE(dropped.count(), 1);
    QCOMPARE(dropped.at(0).at(0).toStringList(), QStringList({b, a}));
    QVERIFY(!m_dialog->SortingBox()->isChecked());
    QVERIFY(!tree->isSortingEnabled());
    // The duplicate of a is refused; b is added after it.
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({a, b}));
}

void TestOpenFilesList::actionsMenuAndSlots()
{
    const QMenu* menu = m_dialog->ActionsMenu();
    QCOMPARE(ActionTexts(menu), QStringList({"Selected Items", "All Items"}));
    const QList<QAction*> submenus = menu->actions();
    const QStringList entries({"Clear", "|", "Check", "Uncheck", "Toggle"});
    QCOMPARE(ActionTexts(submenus.at(0)->menu()), entries);
    QCOMPARE(ActionTexts(submenus.at(1)->menu()), entries);
    QList<int> data;
    for (const QAction* submenu : submenus)
        for (const QAction* action : submenu->menu()->actions())
            if (!action->isSeparator())
                data.append(action->data().toInt());
    QCOMPARE(data, QList<int>({0, 2, 4, 6, 1, 3, 5, 7}));

    // On an empty list every entry is enabled and does nothing.
    for (QAction* submenu : submenus)
        for (QAction* action : submenu->menu()->actions()) {
            QVERIFY(action->isEnabled());
            m_dialog->FileListActionSlot(action);
        }
    m_dialog->FileListActionSlot(nullptr);

    for (const char* name : {"a.com", "b.com", "c.com"})
        QVERIFY(m_dialog->AddFilePath(MakeFile(QLatin1String(name))));
    QTreeWidget* tree = m_dialog->FileList();
    const auto checks = [tree] {
        QList<int> states;
        for (int row = 0; row < tree->topLevelItemCount(); ++row)
            states.append(tree->topLevelItem(row)->checkState(0));
        return states;
    };
    const auto run = [this, submenus](int menuIndex, int actionIndex) {
        m_dialog->FileListActionSlot(submenus.at(menuIndex)->menu()->actions().at(actionIndex));
    };
    tree->clearSelection();
    tree->topLevelItem(1)->setSelected(true);
    run(0, 3); // Uncheck selected
    QCOMPARE(checks(), QList<int>({2, 0, 2}));
    run(1, 4); // Toggle all
    QCOMPARE(checks(), QList<int>({0, 2, 0}));
    QVERIFY(m_dialog->SubmitButton()->isEnabled());
    run(0, 4); // Toggle selected
    QCOMPARE(checks(), QList<int>({0, 0, 0}));
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
    tree->topLevelItem(0)->setCheckState(0, Qt::PartiallyChecked);
    run(1, 4); // a partial check is left as it is
    QCOMPARE(checks(), QList<int>({1, 2, 2}));
    run(1, 3); // Uncheck all
    QCOMPARE(checks(), QList<int>({0, 0, 0}));
    run(0, 2); // Check selected
    QCOMPARE(checks(), QList<int>({0, 2, 0}));
    run(1, 2); // Check all
    QCOMPARE(checks(), QList<int>({2, 2, 2}));
    run(0, 0); // Clear selected
    QCOMPARE(ColumnTexts(tree, 2), QStringList({"a.com", "c.com"}));
    QCOMPARE(tree->currentItem(), tree->topLevelItem(1));
    run(1, 0); // Clear all
    QCOMPARE(tree->topLevelItemCount(), 0);
    QVERIFY(!m_dialog->SubmitButton()->isEnabled());
}

void TestOpenFilesList::deleteKeyClearsSelection()
{
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get()));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("a.com"))));
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("b.com"))));
    QTreeWidget* tree = m_dialog->FileList();
    tree->setFocus();
    tree->clearSelection();
    tree->topLevelItem(0)->setSelected(true);
    QTest::keyClick(tree, Qt::Key_Delete);
    QTRY_COMPARE_WITH_TIMEOUT(ColumnTexts(tree, 2), QStringList({"b.com"}), 10000);
}

void TestOpenFilesList::recentFileListTextIsCutAt128()
{
    // "2 files:  " is 10 characters, ", " 2 more: the paths make up the rest.
    const QString first(58, QLatin1Char('a'));
    const QStringList whole({first, QString(58, QLatin1Char('b'))});
    QCOMPARE(Tavrol_OpenFilesDialog::RecentFileListText(whole).size(), 128);
    QCOMPARE(Tavrol_OpenFilesDialog::RecentFileListText(whole),
             QStringLiteral("2 files:  ") + whole.join(QStringLiteral(", ")));
    const QStringList longer({first, QString(59, QLatin1Char('b'))});
    const QString cut = Tavrol_OpenFilesDialog::RecentFileListText(longer);
    QCOMPARE(cut.size(), 128);
    QCOMPARE(cut, (QStringLiteral("2 files:  ") + longer.join(QStringLiteral(", "))).left(125) +
                      QStringLiteral("..."));
}

void TestOpenFilesList::recentFilesMenuKeepsExistingFiles()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString gone = m_dir->filePath(QStringLiteral("gone.com"));
    m_dialog->RefreshRecentFiles();
    QVERIFY(m_dialog->RecentFilesMenu()->isEmpty());
    Tavrol_Settings().setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles),
                               QStringList({b, gone, a}));
    m_dialog->RefreshRecentFiles();
    QCOMPARE(ActionTexts(m_dialog->RecentFilesMenu()), QStringList({b, a}));
    m_dialog->FilePathRecentSlot(m_dialog->RecentFilesMenu()->actions().at(1));
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({a}));
}

void TestOpenFilesList::recentFileListsMenuKeepsWholeLists()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString gone = m_dir->filePath(QStringLiteral("gone.com"));
    Quolix_Registry::PutRecentOpenStructureFileLists({{a, gone}, {b, a}});
    m_dialog->RefreshRecentFileLists();
    QCOMPARE(ActionTexts(m_dialog->RecentFileListsMenu()),
             QStringList({QStringLiteral("2 files:  ") + b + QStringLiteral(", ") + a}));
    m_dialog->FilePathListRecentSlot(m_dialog->RecentFileListsMenu()->actions().at(0));
    QCOMPARE(m_dialog->AllFilePaths(), QStringList({b, a}));
}

void TestOpenFilesList::recentDirsMenu()
{
    QDir::setCurrent(m_dir->path());
    const QString stored = QStringLiteral("/no/such/dir");
    Quolix_Registry::PutRecentDirs({stored});
    m_dialog->RefreshRecentDirs();
    QStringList expected({QDir::currentPath(), QDir::homePath(), QStringLiteral("/")});
    expected << QStringLiteral("|") << stored;
    QCOMPARE(ActionTexts(m_dialog->RecentDirsMenu()), expected);
    QCOMPARE(m_dialog->RecentDirsMenu()->actions().at(2)->data().toString(), QStringLiteral("/"));
}

void TestOpenFilesList::submitFeedsRecentFiles()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    const QString c = MakeFile(QStringLiteral("c.com"));
    for (const QString& path : {a, b, c})
        QVERIFY(m_dialog->AddFilePath(path));
    m_dialog->FileList()->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    m_dialog->AddToRecentFiles();
    const QStringList recent =
        Tavrol_Settings()
            .value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles))
            .toStringList();
    QCOMPARE(recent, QStringList({c, b, a}));
}

void TestOpenFilesList::recentFileListsRules()
{
    const QString a = MakeFile(QStringLiteral("a.com"));
    const QString b = MakeFile(QStringLiteral("b.com"));
    QVERIFY(m_dialog->AddFilePath(a));
    m_dialog->AddToRecentFileLists();
    QVERIFY(Quolix_Registry::GetRecentOpenStructureFileLists().empty());
    QVERIFY(m_dialog->AddFilePath(b));
    m_dialog->AddToRecentFileLists();
    m_dialog->AddToRecentFileLists();
    QCOMPARE(Quolix_Registry::GetRecentOpenStructureFileLists(),
             std::vector<QStringList>({{a, b}}));
    m_dialog->ClearAllFilePathsSlot();
    QVERIFY(m_dialog->AddFilePath(b));
    QVERIFY(m_dialog->AddFilePath(a));
    m_dialog->AddToRecentFileLists();
    QCOMPARE(Quolix_Registry::GetRecentOpenStructureFileLists(),
             std::vector<QStringList>({{b, a}, {a, b}}));
    // An equal list further down moves to the front instead of recurring.
    m_dialog->ClearAllFilePathsSlot();
    QVERIFY(m_dialog->AddFilePath(a));
    QVERIFY(m_dialog->AddFilePath(b));
    m_dialog->AddToRecentFileLists();
    QCOMPARE(Quolix_Registry::GetRecentOpenStructureFileLists(),
             std::vector<QStringList>({{a, b}, {b, a}}));
    // At most ten lists are kept.
    std::vector<QStringList> many;
    for (int i = 0; i < 12; ++i)
        many.push_back({QString::number(i), QStringLiteral("x")});
    Quolix_Registry::PutRecentOpenStructureFileLists(many);
    m_dialog->AddToRecentFileLists();
    const std::vector<QStringList> kept = Quolix_Registry::GetRecentOpenStructureFileLists();
    QCOMPARE(kept.size(), size_t(10));
    QCOMPARE(kept.front(), QStringList({a, b}));
    QCOMPARE(kept.back(), many.at(8));
}

void TestOpenFilesList::detailLevels()
{
    QVERIFY(m_dialog->AddFilePath(MakeFile(QStringLiteral("a.com"))));
    const QTreeWidget* tree = m_dialog->FileList();
    const auto shown = [tree] {
        QList<bool> columns;
        for (int column = 0; column < 8; ++column)
            columns.append(!tree->isColumnHidden(column));
        return columns;
    };
    QCOMPARE(m_dialog->DetailBox()->itemText(0), QStringLiteral("Low"));
    QCOMPARE(m_dialog->DetailBox()->itemText(1), QStringLiteral("Medium"));
    QCOMPARE(m_dialog->DetailBox()->itemText(2), QStringLiteral("High"));
    m_dialog->DetailBox()->setCurrentIndex(0);
    QCOMPARE(shown(), QList<bool>({true, true, true, false, false, false, false, false}));
    m_dialog->DetailBox()->setCurrentIndex(1);
    QCOMPARE(shown(), QList<bool>({true, false, true, true, true, false, false, false}));
    m_dialog->DetailBox()->setCurrentIndex(2);
    QCOMPARE(shown(), QList<bool>({true, false, true, true, true, true, true, true}));
}

void TestOpenFilesList::replacingTheCurrentRow()
{
    const QString a = MakeFile(QStringLiteral("a.com"), 3);
    m_dialog->FilePathEditSlot(); // no current row: nothing
    QCOMPARE(m_dialog->FileList()->topLevelItemCount(), 0);
    m_dialog->ReplaceCurrentFilePath(a);
    const QTreeWidgetItem* item = m_dialog->FileList()->currentItem();
    QVERIFY(item);
    QCOMPARE(item->text(0), QStringLiteral("1"));
    QCOMPARE(item->checkState(0), Qt::Checked);
    QCOMPARE(item->text(3), a);
    QCOMPARE(item->data(3, Qt::UserRole).toString(), QFileInfo(a).absolutePath());
    QCOMPARE(item->data(4, Qt::UserRole).toString(), QStringLiteral("com"));
    QCOMPARE(item->text(4), QString());
    QCOMPARE(item->text(5), QStringLiteral("3"));
}

QTEST_MAIN(TestOpenFilesList)
#include "tst_openfileslist.moc"
