#include "window/openfilesdialog.h"

#include "app/app.h"
#include "app/settings.h"
#include "platform/filesys.h"
#include "platform/registry.h"
#include "platform/treewidget.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>

namespace {

constexpr int RecentListTextLimit = 128;
constexpr int RecentListsKept = 10;

QString CleanPath(const QString& path)
{
    return QDir::toNativeSeparators(QDir::cleanPath(path.trimmed()));
}

QPushButton* MenuButton(const QString& text, QMenu* menu)
{
    auto* button = new QPushButton(text);
    button->setMenu(menu);
    button->setDefault(false);
    button->setAutoDefault(false);
    return button;
}

QString FileDate(const QDateTime& date)
{
    return date.toString(Quolix_TreeWidgetItem::DateFormat);
}

QDateTime CreatedTime(const QFileInfo& info)
{
    const QDateTime birth = info.birthTime();
    return birth.isValid() ? birth : info.metadataChangeTime();
}

} // namespace

Tavrol_OpenFilesDialog::Tavrol_OpenFilesDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Submit Jobs"));
    auto* layout = new QVBoxLayout(this);
    m_headingLabel = new QLabel(this);
    m_headingLabel->hide();
    layout->addWidget(m_headingLabel);
    auto* tabs = new QTabWidget(this);
    tabs->addTab(MakeFileListTab(), QStringLiteral("File List"));
    auto* options = new QWidget;
    auto* optionsLayout = new QVBoxLayout(options);
    m_allowDuplicatesBox = new QCheckBox(QStringLiteral("Allow Duplicate Files"), options);
    m_detailBox = new QComboBox(options);
    m_detailBox->addItems(
        {QStringLiteral("Low"), QStringLiteral("Medium"), QStringLiteral("High")});
    optionsLayout->addWidget(m_allowDuplicatesBox);
    optionsLayout->addWidget(m_detailBox);
    optionsLayout->addStretch(1);
    tabs->addTab(options, QStringLiteral("Options"));
    layout->addWidget(tabs, 1);
    auto* buttons = new QHBoxLayout;
    m_submitButton = new QPushButton(QStringLiteral("Submit"), this);
    auto* cancelButton = new QPushButton(QStringLiteral("Cancel"), this);
    buttons->addStretch(1);
    buttons->addWidget(m_submitButton);
    buttons->addWidget(cancelButton);
    layout->addLayout(buttons);
    connect(m_submitButton, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_detailBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &Tavrol_OpenFilesDialog::FileListDetailSlot);
    UpdateFileListColumns();
    UpdateSubmitState();
}

QWidget* Tavrol_OpenFilesDialog::MakeFileListTab()
{
    auto* tab = new QWidget;
    auto* layout = new QVBoxLayout(tab);
    layout->addLayout(MakeFileButtonsRow());
    MakeFileList();
    layout->addWidget(m_fileList, 1);
    return tab;
}

QLayout* Tavrol_OpenFilesDialog::MakeFileButtonsRow()
{
    m_recentDirsMenu = new QMenu(this);
    m_recentFilesMenu = new QMenu(this);
    m_recentFileListsMenu = new QMenu(this);
    m_actionsMenu = new QMenu(this);
    FillActionsMenu(m_actionsMenu);
    m_addFilesButton = new QToolButton;
    m_addFilesButton->setText(QStringLiteral("  Add Files...  "));
    m_addFilesButton->setPopupMode(QToolButton::MenuButtonPopup);
    m_addFilesButton->setMenu(m_recentDirsMenu);
    m_recentFileButton = MenuButton(QStringLiteral("Add Recent File"), m_recentFilesMenu);
    m_recentListButton = MenuButton(QStringLiteral("Add Recent File List"), m_recentFileListsMenu);
    auto* actionsButton = MenuButton(QStringLiteral("Actions"), m_actionsMenu);
    m_sortingBox = new QCheckBox(QStringLiteral("Sorting"));
    m_addFilesButton->setMinimumHeight(m_recentFileButton->minimumSizeHint().height());
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (QWidget* widget :
         {static_cast<QWidget*>(m_addFilesButton), static_cast<QWidget*>(m_recentFileButton),
          static_cast<QWidget*>(m_recentListButton), static_cast<QWidget*>(actionsButton),
          static_cast<QWidget*>(m_sortingBox)}) {
        row->addWidget(widget);
        row->addStretch(1);
    }
    connect(m_addFilesButton, &QToolButton::clicked, this,
            &Tavrol_OpenFilesDialog::FilePathBrowseSlot);
    connect(m_recentDirsMenu, &QMenu::triggered, this, &Tavrol_OpenFilesDialog::RecentDirSlot);
    connect(m_recentFilesMenu, &QMenu::triggered, this,
            &Tavrol_OpenFilesDialog::FilePathRecentSlot);
    connect(m_recentFileListsMenu, &QMenu::triggered, this,
            &Tavrol_OpenFilesDialog::FilePathListRecentSlot);
    connect(m_actionsMenu, &QMenu::triggered, this, &Tavrol_OpenFilesDialog::FileListActionSlot);
    connect(m_actionsMenu, &QMenu::aboutToShow, this,
            &Tavrol_OpenFilesDialog::UpdateFileListActionsMenuSlot);
    connect(m_sortingBox, &QCheckBox::clicked, this, &Tavrol_OpenFilesDialog::AllowSortingSlot);
    return row;
}

void Tavrol_OpenFilesDialog::MakeFileList()
{
    m_fileList = new Quolix_TreeWidget;
    m_fileList->setIndentation(0);
    m_fileList->setAllColumnsShowFocus(true);
    m_fileList->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_fileList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_fileList->setColumnCount(ColumnCount);
    m_fileList->setHeaderLabels({QStringLiteral("ID"), QStringLiteral("File Path"),
                                 QStringLiteral("File Name"), QStringLiteral("Directory"),
                                 QStringLiteral("Type"), QStringLiteral("Size (bytes)"),
                                 QStringLiteral("Created"), QStringLiteral("Last Modified")});
    m_fileList->setDragDropMode(QAbstractItemView::InternalMove);
    m_fileList->setDefaultDropAction(Qt::MoveAction);
    m_fileList->setAcceptDrops(true);
    m_fileList->setDropIndicatorShown(true);
    m_fileList->setContextMenuPolicy(Qt::CustomContextMenu);
    m_fileList->header()->setSortIndicator(IdColumn, Qt::AscendingOrder);
    m_fileList->setSortingEnabled(false);
    auto* deleteKey = new QShortcut(QKeySequence(Qt::Key_Delete), m_fileList);
    deleteKey->setContext(Qt::WindowShortcut);
    connect(deleteKey, &QShortcut::activated, this,
            &Tavrol_OpenFilesDialog::ClearSelectedFilePathsSlot);
    ConnectFileList();
}

void Tavrol_OpenFilesDialog::ConnectFileList()
{
    connect(m_fileList, &Quolix_TreeWidget::DropSignal, this,
            &Tavrol_OpenFilesDialog::ItemsDroppedSlot);
    connect(m_fileList, &Quolix_TreeWidget::ItemsMovedSignal, this,
            &Tavrol_OpenFilesDialog::ItemsMovedSlot);
    connect(m_fileList, &QTreeWidget::itemSelectionChanged, this,
            &Tavrol_OpenFilesDialog::ItemSelectionChangedSlot);
    connect(m_fileList, &Quolix_TreeWidget::ItemEditorClosedSignal, this,
            &Tavrol_OpenFilesDialog::ItemEditorClosedSlot);
    connect(m_fileList, &QTreeWidget::itemChanged, this, &Tavrol_OpenFilesDialog::ItemChangedSlot);
    connect(m_fileList, &QWidget::customContextMenuRequested, this,
            &Tavrol_OpenFilesDialog::ContextMenuSlot);
}

void Tavrol_OpenFilesDialog::FillActionsMenu(QMenu* menu) const
{
    const auto fill = [](QMenu* submenu, int offset) {
        const auto add = [&](const QString& text, int data) {
            submenu->addAction(text)->setData(data + offset);
        };
        add(QStringLiteral("Clear"), ClearSelected);
        submenu->addSeparator();
        add(QStringLiteral("Check"), CheckSelected);
        add(QStringLiteral("Uncheck"), UncheckSelected);
        add(QStringLiteral("Toggle"), ToggleSelected);
    };
    fill(menu->addMenu(QStringLiteral("Selected Items")), 0);
    fill(menu->addMenu(QStringLiteral("All Items")), 1);
}

void Tavrol_OpenFilesDialog::FillFileColumns(QTreeWidgetItem* item, const QString& path)
{
    const QFileInfo info(path);
    item->setText(PathColumn, info.absoluteFilePath());
    item->setText(NameColumn, info.fileName());
    item->setText(DirColumn, info.absolutePath());
    item->setText(TypeColumn, info.suffix());
    item->setText(SizeColumn, QString::number(info.size()));
    item->setText(CreatedColumn, FileDate(CreatedTime(info)));
    item->setText(ModifiedColumn, FileDate(info.lastModified()));
}

bool Tavrol_OpenFilesDialog::AddFilePath(const QString& path)
{
    if (!QFile::exists(path) || path.trimmed().isEmpty())
        return false;
    const QString clean = CleanPath(path);
    if (!m_allowDuplicatesBox->isChecked()) {
        const QStringList listed = AllFilePaths();
        const bool duplicate = std::any_of(listed.cbegin(), listed.cend(),
                                           [&](const QString& p) { return CleanPath(p) == clean; });
        if (duplicate)
            return false;
    }
    auto* item = new Quolix_TreeWidgetItem(m_fileList);
    item->setFlags(item->flags() & ~Qt::ItemIsDropEnabled);
    item->setText(IdColumn, QString::number(m_fileList->topLevelItemCount()));
    FillFileColumns(item, path);
    item->setData(DirColumn, Qt::UserRole, path);
    item->setCheckState(IdColumn, Qt::Checked);
    m_fileList->setCurrentItem(item);
    QDir::setCurrent(QFileInfo(path).absolutePath());
    UpdateSubmitState();
    ResizeColumns();
    return true;
}

std::vector<QTreeWidgetItem*> Tavrol_OpenFilesDialog::Rows(bool selectedOnly) const
{
    std::vector<QTreeWidgetItem*> rows;
    for (int row = 0; row < m_fileList->topLevelItemCount(); ++row) {
        QTreeWidgetItem* item = m_fileList->topLevelItem(row);
        if (!selectedOnly || item->isSelected())
            rows.push_back(item);
    }
    return rows;
}

QStringList Tavrol_OpenFilesDialog::Paths(const std::vector<QTreeWidgetItem*>& rows) const
{
    QStringList paths;
    for (const QTreeWidgetItem* item : rows)
        paths.append(item->data(DirColumn, Qt::UserRole).toString());
    return paths;
}

QStringList Tavrol_OpenFilesDialog::AllFilePaths() const
{
    return Paths(Rows(false));
}

QStringList Tavrol_OpenFilesDialog::SelectedFilePaths() const
{
    return Paths(Rows(true));
}

QStringList Tavrol_OpenFilesDialog::CheckedFilePaths() const
{
    std::vector<QTreeWidgetItem*> rows = Rows(false);
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [](const QTreeWidgetItem* item) {
                                  return item->data(IdColumn, Qt::CheckStateRole).toInt() !=
                                         Qt::Checked;
                              }),
               rows.end());
    return Paths(rows);
}

QString Tavrol_OpenFilesDialog::CurrentFilePath() const
{
    const QTreeWidgetItem* item = m_fileList->currentItem();
    return item ? item->data(DirColumn, Qt::UserRole).toString() : QString();
}

void Tavrol_OpenFilesDialog::UpdateSubmitState()
{
    m_submitButton->setEnabled(!CheckedFilePaths().isEmpty());
    m_headingLabel->setVisible(!m_headingLabel->text().isEmpty());
}

void Tavrol_OpenFilesDialog::ResizeColumns()
{
    for (int column = 0; column < ColumnCount; ++column)
        m_fileList->resizeColumnToContents(column);
    // Room for the check box beside the number.
    m_fileList->setColumnWidth(IdColumn, m_fileList->columnWidth(IdColumn) + 10);
}

void Tavrol_OpenFilesDialog::SortingOff()
{
    m_sortingBox->setChecked(false);
    m_fileList->setSortingEnabled(false);
}

void Tavrol_OpenFilesDialog::ItemsDroppedSlot(const QStringList& files)
{
    SortingOff();
    for (const QString& file : files)
        AddFilePath(file);
}

void Tavrol_OpenFilesDialog::ItemsMovedSlot()
{
    SortingOff();
}

void Tavrol_OpenFilesDialog::ItemSelectionChangedSlot()
{
    UpdateSubmitState();
}

void Tavrol_OpenFilesDialog::ItemEditorClosedSlot()
{
    UpdateSubmitState();
}

void Tavrol_OpenFilesDialog::ItemChangedSlot(QTreeWidgetItem* /*item*/, int /*column*/)
{
    UpdateSubmitState();
}

void Tavrol_OpenFilesDialog::ContextMenuSlot(const QPoint& pos)
{
    const auto menu = std::make_unique<QMenu>(m_fileList);
    FillActionsMenu(menu.get());
    connect(menu.get(), &QMenu::aboutToShow, this,
            &Tavrol_OpenFilesDialog::UpdateFileListActionsMenuSlot);
    QAction* chosen = menu->exec(m_fileList->viewport()->mapToGlobal(pos));
    if (chosen)
        FileListActionSlot(chosen);
}

void Tavrol_OpenFilesDialog::AddFilePathSlot(const QString& path)
{
    AddFilePath(path);
}

void Tavrol_OpenFilesDialog::RemoveSelectedRows()
{
    const std::vector<QTreeWidgetItem*> rows = Rows(true);
    for (QTreeWidgetItem* item : rows)
        delete item;
    const int count = m_fileList->topLevelItemCount();
    if (count > 0)
        m_fileList->setCurrentItem(m_fileList->topLevelItem(count - 1));
    UpdateSubmitState();
    ResizeColumns();
}

void Tavrol_OpenFilesDialog::SetChecks(bool selectedOnly, Qt::CheckState state)
{
    for (QTreeWidgetItem* item : Rows(selectedOnly))
        item->setCheckState(IdColumn, state);
    UpdateSubmitState();
}

void Tavrol_OpenFilesDialog::ToggleChecks(bool selectedOnly)
{
    for (QTreeWidgetItem* item : Rows(selectedOnly)) {
        const int check = item->data(IdColumn, Qt::CheckStateRole).toInt();
        if (check == Qt::Checked)
            item->setCheckState(IdColumn, Qt::Unchecked);
        else if (check == Qt::Unchecked)
            item->setCheckState(IdColumn, Qt::Checked);
    }
    UpdateSubmitState();
}

void Tavrol_OpenFilesDialog::ClearSelectedFilePathsSlot()
{
    RemoveSelectedRows();
}

void Tavrol_OpenFilesDialog::ClearAllFilePathsSlot()
{
    m_fileList->clear();
    UpdateSubmitState();
    ResizeColumns();
}

void Tavrol_OpenFilesDialog::CheckSelectedFilePathsSlot()
{
    SetChecks(true, Qt::Checked);
}

void Tavrol_OpenFilesDialog::CheckAllFilePathsSlot()
{
    SetChecks(false, Qt::Checked);
}

void Tavrol_OpenFilesDialog::UncheckSelectedFilePathsSlot()
{
    SetChecks(true, Qt::Unchecked);
}

void Tavrol_OpenFilesDialog::UncheckAllFilePathsSlot()
{
    SetChecks(false, Qt::Unchecked);
}

void Tavrol_OpenFilesDialog::ToggleSelectedFilePathsSlot()
{
    ToggleChecks(true);
}

void Tavrol_OpenFilesDialog::ToggleAllFilePathsSlot()
{
    ToggleChecks(false);
}

void Tavrol_OpenFilesDialog::FileListActionSlot(QAction* action)
{
    if (!action)
        return;
    switch (action->data().toInt()) {
    case ClearSelected:
        ClearSelectedFilePathsSlot();
        break;
    case ClearAll:
        ClearAllFilePathsSlot();
        break;
    case CheckSelected:
        CheckSelectedFilePathsSlot();
        break;
    case CheckAll:
        CheckAllFilePathsSlot();
        break;
    case UncheckSelected:
        UncheckSelectedFilePathsSlot();
        break;
    case UncheckAll:
        UncheckAllFilePathsSlot();
        break;
    case ToggleSelected:
        ToggleSelectedFilePathsSlot();
        break;
    case ToggleAll:
        ToggleAllFilePathsSlot();
        break;
    default:
        break;
    }
}

void Tavrol_OpenFilesDialog::UpdateFileListActionsMenuSlot()
{
    // Every entry stays enabled; on an empty list they simply do nothing.
}

void Tavrol_OpenFilesDialog::AllowSortingSlot()
{
    m_fileList->setSortingEnabled(m_sortingBox->isChecked());
}

void Tavrol_OpenFilesDialog::BrowseForFiles()
{
    const QStringList files =
        QFileDialog::getOpenFileNames(this, QStringLiteral("Add Files"), QDir::currentPath());
    for (const QString& file : files)
        AddFilePath(file);
}

void Tavrol_OpenFilesDialog::FilePathBrowseSlot()
{
    BrowseForFiles();
}

void Tavrol_OpenFilesDialog::RefreshRecentDirs()
{
    m_recentDirsMenu->clear();
    const auto add = [this](const QString& path) {
        m_recentDirsMenu->addAction(path)->setData(path);
    };
    if (QFileInfo::exists(QDir::currentPath()))
        add(QDir::currentPath());
    if (QFileInfo::exists(QDir::homePath()))
        add(QDir::homePath());
    add(QStringLiteral("/"));
    const QString scratch = Quolix_FileSys::FindGaussScrDirPath(false, false);
    if (!scratch.isEmpty() && QFileInfo::exists(scratch))
        add(scratch);
    m_recentDirsMenu->addSeparator();
    for (const QString& dir : Quolix_Registry::GetRecentDirs())
        add(dir);
    m_recentDirsMenu->menuAction()->setEnabled(!m_recentDirsMenu->isEmpty());
}

void Tavrol_OpenFilesDialog::RecentDirSlot(QAction* action)
{
    const QString path = action ? action->data().toString() : QString();
    if (!path.isEmpty() && QFileInfo::exists(path))
        QDir::setCurrent(path);
    BrowseForFiles();
}

void Tavrol_OpenFilesDialog::RefreshRecentFiles()
{
    m_recentFilesMenu->clear();
    const Tavrol_Settings settings;
    const QStringList recent =
        settings.value(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles))
            .toStringList();
    for (const QString& path : recent) {
        if (QFile::exists(path))
            m_recentFilesMenu->addAction(path)->setData(path);
    }
    m_recentFileButton->setEnabled(!m_recentFilesMenu->isEmpty());
}

void Tavrol_OpenFilesDialog::FilePathRecentSlot(QAction* action)
{
    const QString path = action ? action->data().toString() : QString();
    if (!path.isEmpty() && QFile::exists(path))
        AddFilePath(path);
}

QString Tavrol_OpenFilesDialog::RecentFileListText(const QStringList& files)
{
    QString text = QString::number(files.size()) + QStringLiteral(" files:  ") +
                   files.join(QStringLiteral(", "));
    if (text.size() > RecentListTextLimit)
        text = text.left(RecentListTextLimit - 3) + QStringLiteral("...");
    return text;
}

void Tavrol_OpenFilesDialog::RefreshRecentFileLists()
{
    m_recentFileListsMenu->clear();
    for (const QStringList& list : Quolix_Registry::GetRecentOpenStructureFileLists()) {
        const bool allExist = std::all_of(list.cbegin(), list.cend(),
                                          [](const QString& path) { return QFile::exists(path); });
        if (allExist)
            m_recentFileListsMenu->addAction(RecentFileListText(list))->setData(list);
    }
    m_recentListButton->setEnabled(!m_recentFileListsMenu->isEmpty());
}

void Tavrol_OpenFilesDialog::FilePathListRecentSlot(QAction* action)
{
    if (!action)
        return;
    for (const QString& path : action->data().toStringList()) {
        if (!path.isEmpty() && QFile::exists(path))
            AddFilePath(path);
    }
}

void Tavrol_OpenFilesDialog::AddToRecentFiles() const
{
    for (const QString& path : AllFilePaths())
        AddToRecentInputFiles(path);
}

void Tavrol_OpenFilesDialog::AddToRecentFileLists() const
{
    const QStringList list = AllFilePaths();
    if (list.size() < 2)
        return;
    const std::vector<QStringList> stored = Quolix_Registry::GetRecentOpenStructureFileLists();
    if (!stored.empty() && stored.front() == list)
        return;
    std::vector<QStringList> lists{list};
    for (const QStringList& old : stored) {
        if (static_cast<int>(lists.size()) >= RecentListsKept)
            break;
        if (old != list)
            lists.push_back(old);
    }
    Quolix_Registry::PutRecentOpenStructureFileLists(lists);
}

void Tavrol_OpenFilesDialog::UpdateFileListColumns()
{
    static const bool shown[3][ColumnCount] = {
        {true, true, true, false, false, false, false, false},
        {true, false, true, true, true, false, false, false},
        {true, false, true, true, true, true, true, true}};
    const int level = std::clamp(m_detailBox->currentIndex(), 0, 2);
    bool changed = false;
    for (int column = PathColumn; column < ColumnCount; ++column) {
        const bool hide = !shown[level][column];
        changed = changed || m_fileList->isColumnHidden(column) != hide;
        m_fileList->setColumnHidden(column, hide);
    }
    if (changed)
        ResizeColumns();
}

void Tavrol_OpenFilesDialog::FileListDetailSlot(int /*index*/)
{
    UpdateFileListColumns();
}

void Tavrol_OpenFilesDialog::FilePathEditSlot()
{
    const QString path = CurrentFilePath();
    if (!path.isEmpty() && QFile::exists(path))
        ReplaceCurrentFilePath(path);
}

void Tavrol_OpenFilesDialog::ReplaceCurrentFilePath(const QString& path)
{
    QTreeWidgetItem* item = m_fileList->currentItem();
    if (!item) {
        item = new Quolix_TreeWidgetItem(m_fileList);
        item->setFlags(item->flags() & ~Qt::ItemIsDropEnabled);
        item->setText(IdColumn, QString::number(m_fileList->topLevelItemCount()));
        item->setCheckState(IdColumn, Qt::Checked);
        m_fileList->setCurrentItem(item);
    }
    const QFileInfo info(path);
    const QString typeText = item->text(TypeColumn);
    FillFileColumns(item, path);
    // Kept as it has always been: the path as text, the directory as data,
    // and the suffix as data only.
    item->setText(DirColumn, path);
    item->setData(DirColumn, Qt::UserRole, info.absolutePath());
    item->setText(TypeColumn, typeText);
    item->setData(TypeColumn, Qt::UserRole, info.suffix());
    UpdateSubmitState();
    ResizeColumns();
}
