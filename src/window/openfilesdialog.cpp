#include "window/openfilesdialog.h"

#include "app/app.h"
#include "app/globals.h"
#include "app/settings.h"
#include "jobtypes/jobtype.h"
#include "platform/filesys.h"
#include "platform/helpdialog.h"
#include "platform/registry.h"
#include "platform/treewidget.h"
#include "platform/widgetutil.h"
#include "window/appwindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSizeGrip>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>

namespace {

constexpr int RecentListTextLimit = 128;
constexpr int RecentListsKept = 10;

QString AllFilesFilter()
{
    return QStringLiteral("All Files (*.*)");
}

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

const QString Tavrol_OpenFilesDialog::SettingsSection = QStringLiteral("Open Files");
QStringList Tavrol_OpenFilesDialog::s_fileFilters;
QList<int> Tavrol_OpenFilesDialog::s_fileFilterIds;
int Tavrol_OpenFilesDialog::s_lastAddFileType = -1;

Tavrol_OpenFilesDialog::Tavrol_OpenFilesDialog(QWidget* parent) : QDialog(parent)
{
    setModal(true);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    // Closing the dialog must never end a program that lives in the tray.
    setAttribute(Qt::WA_QuitOnClose, false);
    if (s_fileFilters.isEmpty()) {
        s_fileFilters = QStringList{AllFilesFilter()};
        s_fileFilterIds = QList<int>{-1};
    }
    auto* layout = new QVBoxLayout(this);
    m_headingLabel = new QLabel(this);
    layout->addWidget(m_headingLabel, 0, Qt::AlignLeft);
    layout->addSpacing(5);
    m_tabs = new QTabWidget(this);
    m_tabs->addTab(MakeFileListTab(), QStringLiteral("File List"));
    m_tabs->addTab(MakeUiOptionsTab(), QStringLiteral("UI Options"));
    layout->addWidget(m_tabs, 1);
    auto* line = new QFrame(this);
    line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    layout->addWidget(line);
    layout->addLayout(MakeBottomRow());
    if (TavrolAppWindow && TavrolAppWindow->MainWindow())
        setWindowIcon(TavrolAppWindow->MainWindow()->windowIcon());
    setWindowTitle(QStringLiteral("Submit Jobs"));
    RefreshRecentDirs();
    RefreshRecentFiles();
    RefreshRecentFileLists();
    UpdateSubmitState();
    ResizeColumns();
    LoadSettings();
    UpdateFileListColumns();
}

Tavrol_OpenFilesDialog* Tavrol_OpenFilesDialog::Global()
{
    // Lives until the process ends, as the toolkit's own top-level windows do.
    static Tavrol_OpenFilesDialog* dialog = new Tavrol_OpenFilesDialog;
    return dialog;
}

QLayout* Tavrol_OpenFilesDialog::MakeBottomRow()
{
    m_submitButton = new QPushButton(QStringLiteral("Submit"), this);
    auto* cancelButton = new QPushButton(QStringLiteral("Cancel"), this);
    auto* defaultsButton = new QPushButton(QStringLiteral("Default Settings"), this);
    m_retainSettingsBox = new QCheckBox(QStringLiteral("Retain Settings"), this);
    auto* row = new QHBoxLayout;
    for (QPushButton* button : {m_submitButton, cancelButton, defaultsButton}) {
        button->setDefault(false);
        button->setAutoDefault(false);
        row->addWidget(button);
        row->addStretch(1);
    }
    row->addWidget(m_retainSettingsBox);
    row->addStretch(1);
    row->addWidget(new QSizeGrip(this), 0, Qt::AlignRight | Qt::AlignBottom);
    connect(m_submitButton, &QPushButton::clicked, this, &Tavrol_OpenFilesDialog::OkaySlot);
    connect(cancelButton, &QPushButton::clicked, this, &Tavrol_OpenFilesDialog::CancelSlot);
    connect(defaultsButton, &QPushButton::clicked, this,
            &Tavrol_OpenFilesDialog::DefaultOptionsSlot);
    return row;
}

QLayout* Tavrol_OpenFilesDialog::MakeChoiceRows()
{
    auto* openAsLabel = new QLabel(QStringLiteral("Submit as:  "));
    auto* targetLabel = new QLabel(QStringLiteral("Target:  "));
    m_openAsBox = new Quolix_ComboBox(nullptr, 0);
    m_targetBox = new Quolix_ComboBox(nullptr, 0);
    const QStringList targets{QStringLiteral("Auto"), QStringLiteral("Long Jobs Queue"),
                              QStringLiteral("Short Jobs Queue"), QStringLiteral("Queueless Jobs")};
    for (int index = 0; index < targets.size(); ++index)
        m_targetBox->addItem(targets.at(index), index);
    m_openAsBox->addItem(QStringLiteral("Auto"), -1);
    m_retainListBox = new QCheckBox(QStringLiteral("Retain File List"));
    auto* help = new QPushButton(QStringLiteral("&Help"));
    Quolix_HelpDialog::Global()->ConnectButton(help,
                                               QStringLiteral("tavrol/openfiles_adv_filelist"));
    Quolix_WidgetUtil::MatchMinimumWidths(true, {openAsLabel, targetLabel});
    auto* rows = new QVBoxLayout;
    auto* openAsRow = new QHBoxLayout;
    openAsRow->addWidget(openAsLabel);
    openAsRow->addWidget(m_openAsBox);
    openAsRow->addStretch(1);
    openAsRow->addWidget(m_retainListBox);
    auto* targetRow = new QHBoxLayout;
    targetRow->addWidget(targetLabel);
    targetRow->addWidget(m_targetBox);
    targetRow->addStretch(1);
    targetRow->addWidget(help);
    rows->addLayout(openAsRow);
    rows->addLayout(targetRow);
    connect(m_openAsBox, qOverload<int>(&QComboBox::activated), this,
            &Tavrol_OpenFilesDialog::OpenAsSlot);
    connect(m_targetBox, qOverload<int>(&QComboBox::activated), this,
            &Tavrol_OpenFilesDialog::DestQueueSlot);
    return rows;
}

QWidget* Tavrol_OpenFilesDialog::MakeUiOptionsTab()
{
    auto* tab = new QWidget;
    auto* layout = new QVBoxLayout(tab);
    m_nativeBrowserBox = new QCheckBox(QStringLiteral("Use Native File Browser"));
    m_startBrowserBox =
        new QCheckBox(QStringLiteral("Start with File Browser if Initial File List is Empty"));
    m_detailBox = new QComboBox;
    m_detailBox->addItem(QStringLiteral("Low"), 0);
    m_detailBox->addItem(QStringLiteral("Medium"), 1);
    m_detailBox->addItem(QStringLiteral("High"), 2);
    m_detailBox->setCurrentIndex(2);
    m_allowDuplicatesBox = new QCheckBox(QStringLiteral("Allow Duplicate Files"));
    layout->addWidget(m_nativeBrowserBox, 0, Qt::AlignLeft);
    layout->addWidget(m_startBrowserBox, 0, Qt::AlignLeft);
    auto* detailRow = new QHBoxLayout;
    detailRow->addWidget(new QLabel(QStringLiteral("File List Detail:  ")));
    detailRow->addWidget(m_detailBox);
    detailRow->addStretch(1);
    layout->addLayout(detailRow);
    layout->addWidget(m_allowDuplicatesBox, 0, Qt::AlignLeft);
    layout->addStretch(1);
    auto* helpRow = new QHBoxLayout;
    auto* help = new QPushButton(QStringLiteral("&Help"));
    Quolix_HelpDialog::Global()->ConnectButton(help, QStringLiteral("tavrol/openfiles_adv_ui"));
    helpRow->addStretch(1);
    helpRow->addWidget(help);
    layout->addLayout(helpRow);
    connect(m_detailBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &Tavrol_OpenFilesDialog::FileListDetailSlot);
    return tab;
}

// Kept for a later third tab; not called, so the dialog shows two.
QWidget* Tavrol_OpenFilesDialog::MakeSubmitOptionsTab()
{
    auto* tab = new QWidget;
    auto* layout = new QVBoxLayout(tab);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    auto* frame = new QFrame;
    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->addStretch(1);
    scroll->setWidget(frame);
    layout->addWidget(scroll, 1);
    auto* help = new QPushButton(QStringLiteral("&Help"));
    Quolix_HelpDialog::Global()->ConnectButton(help,
                                               QStringLiteral("tavrol/openfiles_adv_options"));
    layout->addWidget(help, 0, Qt::AlignRight);
    return tab;
}

QWidget* Tavrol_OpenFilesDialog::MakeFileListTab()
{
    auto* tab = new QWidget;
    auto* layout = new QVBoxLayout(tab);
    layout->addLayout(MakeFileButtonsRow());
    MakeFileList();
    layout->addWidget(m_fileList, 1);
    layout->addLayout(MakeChoiceRows());
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
    const int filterIndex = s_fileFilterIds.indexOf(s_lastAddFileType);
    const QString filter = filterIndex >= 0 ? s_fileFilters.at(filterIndex) : QString();
    const QString filters = s_fileFilters.join(QStringLiteral(";;"));
    QString chosenFilter;
    QStringList files;
    if (!m_nativeBrowserBox->isChecked()) {
        files = BrowseOwnDialog(filters, filter, chosenFilter);
    } else {
        chosenFilter = filter;
        files = QFileDialog::getOpenFileNames(this, QStringLiteral("Select Files"),
                                              QDir::currentPath() + QStringLiteral("/ "), filters,
                                              &chosenFilter);
    }
    if (files.isEmpty())
        return;
    const int chosenIndex = s_fileFilters.indexOf(chosenFilter);
    s_lastAddFileType = chosenIndex >= 0 ? s_fileFilterIds.at(chosenIndex) : -1;
    for (const QString& file : files) {
        if (!file.isEmpty() && QFile::exists(file))
            AddFilePath(file);
    }
}

QStringList Tavrol_OpenFilesDialog::BrowseOwnDialog(const QString& filters, const QString& filter,
                                                    QString& chosenFilter)
{
    QFileDialog dialog(this, QStringLiteral("Select Files"), QDir::currentPath(), filters);
    dialog.selectNameFilter(filter);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setModal(true);
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setOption(QFileDialog::DontUseCustomDirectoryIcons, true);
    // The sidebar offers the scratch directory and the recent directories.
    Quolix_WidgetUtil::PrepQFileDialog(dialog, Quolix_FileSys::FindGaussScrDirPath(false, false),
                                       Quolix_Registry::GetRecentDirs());
    const QString windowKeys = QStringLiteral("Non-Custom QFileDialog, ");
    Quolix_WidgetUtil::LoadWindowSettings(dialog, SettingsSection, windowKeys);
    const bool accepted = dialog.exec() == QDialog::Accepted;
    Quolix_WidgetUtil::SaveWindowSettings(dialog, SettingsSection, windowKeys);
    if (!accepted)
        return QStringList();
    chosenFilter = dialog.selectedNameFilter();
    return dialog.selectedFiles();
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

void Tavrol_OpenFilesDialog::RefreshJobTypes()
{
    s_fileFilters = QStringList{AllFilesFilter()};
    s_fileFilterIds = QList<int>{-1};
    m_openAsBox->clear();
    m_openAsBox->addItem(QStringLiteral("Auto"), -1);
    std::vector<Tavrol_JobType> jobTypes;
    Tavrol_JobType::GetAll(jobTypes);
    if (!jobTypes.empty()) {
        s_fileFilters.clear();
        s_fileFilterIds.clear();
        for (const Tavrol_JobType& jobType : jobTypes) {
            s_fileFilters.append(jobType.InputFileFilter);
            s_fileFilterIds.append(jobType.JobTypeID);
            m_openAsBox->addItem(jobType.Name, jobType.JobTypeID);
        }
        // With job types the catch-all comes last.
        s_fileFilters.append(AllFilesFilter());
        s_fileFilterIds.append(-1);
    }
    m_openAsBox->setMaxVisibleItems(m_openAsBox->count());
}

void Tavrol_OpenFilesDialog::SetOpenAs(int id)
{
    const int index = m_openAsBox->findData(id);
    if (index >= 0)
        m_openAsBox->setCurrentIndex(index);
    if (id != -1)
        s_lastAddFileType = id;
}

void Tavrol_OpenFilesDialog::SetDestQueue(int index, int mask)
{
    if (mask >= 0 && mask <= 0xF) {
        for (int item = 0; item < 4; ++item)
            m_targetBox->setItemEnabled(item, (mask >> item) & 1);
    }
    m_targetBox->setCurrentIndex(index);
}

int Tavrol_OpenFilesDialog::DestQueue() const
{
    return m_targetBox ? m_targetBox->currentIndex() : 0;
}

int Tavrol_OpenFilesDialog::OpenAs() const
{
    return m_openAsBox->currentData().toInt();
}

QSize Tavrol_OpenFilesDialog::sizeHint() const
{
    const QSize minimum = minimumSizeHint();
    return QSize(int(minimum.width() * 1.1), int(minimum.height() * 1.5));
}

void Tavrol_OpenFilesDialog::PlaceOnScreen()
{
    resize(sizeHint());
    const QScreen* screen = this->screen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    const int x = std::max(10, (available.width() - width()) / 2);
    const int y = std::max(10, (available.height() - height()) / 2);
    move(x, y);
}

void Tavrol_OpenFilesDialog::FillList(const QStringList& files, bool checkAll)
{
    if (files.isEmpty()) {
        if (!m_retainListBox->isChecked())
            ClearAllFilePathsSlot();
        return;
    }
    ClearAllFilePathsSlot();
    for (const QString& file : files)
        AddFilePath(file);
    if (m_fileList->topLevelItemCount() == 0)
        return;
    m_fileList->clearSelection();
    for (int row = 0; row < m_fileList->topLevelItemCount(); ++row) {
        const bool checked = row == 0 || checkAll;
        m_fileList->topLevelItem(row)->setCheckState(IdColumn,
                                                     checked ? Qt::Checked : Qt::Unchecked);
    }
    m_fileList->topLevelItem(0)->setSelected(true);
}

int Tavrol_OpenFilesDialog::ExecFileList(const QString& heading, const QStringList& files,
                                         int destination, int jobTypeId, bool checkAll)
{
    RefreshJobTypes();
    m_headingLabel->setText(heading);
    PlaceOnScreen();
    m_tabs->setCurrentIndex(0);
    FillList(files, checkAll);
    SetOpenAs(jobTypeId);
    SetDestQueue(destination, 0xF);
    // Stored choices beat the caller's on purpose: a retained target holds
    // for files dropped on any view.
    LoadSettings();
    m_fileList->setSortingEnabled(m_sortingBox->isChecked());
    RefreshRecentDirs();
    RefreshRecentFiles();
    RefreshRecentFileLists();
    UpdateFileListColumns();
    UpdateSubmitState();
    raise();
    if (m_fileList->topLevelItemCount() == 0 && m_startBrowserBox->isChecked())
        BrowseForFiles();
    const int result = exec();
    SaveSettings();
    return CheckedFilePaths().isEmpty() ? 0 : result;
}

namespace {

void LoadFlag(const QString& key, QCheckBox* box)
{
    QString text;
    if (!Quolix_Registry::GetAppUserData(Tavrol_OpenFilesDialog::SettingsSection, key, text))
        return;
    bool ok = false;
    const int value = text.toInt(&ok);
    if (ok && (value == 0 || value == 1))
        box->setChecked(value == 1);
}

bool LoadNumber(const QString& key, int& number)
{
    QString text;
    if (!Quolix_Registry::GetAppUserData(Tavrol_OpenFilesDialog::SettingsSection, key, text))
        return false;
    bool ok = false;
    number = text.toInt(&ok);
    return ok;
}

void Save(const QString& key, const QString& value)
{
    Quolix_Registry::PutAppUserData(Tavrol_OpenFilesDialog::SettingsSection, key, value);
}

void SaveFlag(const QString& key, const QCheckBox* box)
{
    Save(key, box->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
}

} // namespace

void Tavrol_OpenFilesDialog::LoadSettings()
{
    LoadFlag(QStringLiteral("Retain Settings"), m_retainSettingsBox);
    LoadFlag(QStringLiteral("Sorting"), m_sortingBox);
    int number = 0;
    if (LoadNumber(QStringLiteral("Open as"), number))
        SetOpenAs(number);
    if (LoadNumber(QStringLiteral("File Open Options"), number))
        m_fileOpenData.m_fileOpenOptions = number;
    QString filter;
    if (Quolix_Registry::GetAppUserData(SettingsSection, QStringLiteral("Last Add File Type"),
                                        filter)) {
        const int index = s_fileFilters.indexOf(filter);
        s_lastAddFileType = index >= 0 ? s_fileFilterIds.at(index) : -1;
    }
    if (LoadNumber(QStringLiteral("Destination Queue"), number) && number >= 0 &&
        m_targetBox->isItemEnabled(number))
        m_targetBox->setCurrentIndex(number);
    LoadFlag(QStringLiteral("Use Native File Browser"), m_nativeBrowserBox);
    LoadFlag(QStringLiteral("Start with File Browser if Initial File List is Empty"),
             m_startBrowserBox);
    if (LoadNumber(QStringLiteral("File List Detail"), number) && number >= 0 &&
        number < m_detailBox->count())
        m_detailBox->setCurrentIndex(number);
    LoadFlag(QStringLiteral("Allow Duplicate Files"), m_allowDuplicatesBox);
}

void Tavrol_OpenFilesDialog::SaveSettings()
{
    SaveFlag(QStringLiteral("Retain Settings"), m_retainSettingsBox);
    if (!m_retainSettingsBox->isChecked())
        return;
    SaveFlag(QStringLiteral("Sorting"), m_sortingBox);
    Save(QStringLiteral("Open as"), QString::number(OpenAs()));
    Save(QStringLiteral("File Open Options"), QString::number(m_fileOpenData.m_fileOpenOptions));
    const int filterIndex = s_fileFilterIds.indexOf(s_lastAddFileType);
    Save(QStringLiteral("Last Add File Type"),
         filterIndex >= 0 ? s_fileFilters.at(filterIndex) : QString());
    Save(QStringLiteral("Destination Queue"), QString::number(DestQueue()));
    SaveFlag(QStringLiteral("Use Native File Browser"), m_nativeBrowserBox);
    SaveFlag(QStringLiteral("Start with File Browser if Initial File List is Empty"),
             m_startBrowserBox);
    Save(QStringLiteral("File List Detail"), QString::number(m_detailBox->currentIndex()));
    SaveFlag(QStringLiteral("Allow Duplicate Files"), m_allowDuplicatesBox);
}

void Tavrol_OpenFilesDialog::DefaultOptionsSlot()
{
    m_retainSettingsBox->setChecked(false);
    m_fileOpenData = Quolix_FileOpenData();
    m_targetBox->setCurrentIndex(0);
    m_retainListBox->setChecked(false);
    s_lastAddFileType = -1;
    m_nativeBrowserBox->setChecked(false);
    m_startBrowserBox->setChecked(false);
    m_detailBox->setCurrentIndex(2);
    UpdateFileListColumns();
    m_allowDuplicatesBox->setChecked(false);
    m_openAsBox->setCurrentIndex(0);
    SortingOff();
}

void Tavrol_OpenFilesDialog::OkaySlot()
{
    m_fileOpenData = Quolix_FileOpenData();
    AddToRecentFiles();
    AddToRecentFileLists();
    QDialog::accept();
}

void Tavrol_OpenFilesDialog::OkayAllSlot()
{
    m_fileList->selectAll();
    CheckAllFilePathsSlot();
    OkaySlot();
}

void Tavrol_OpenFilesDialog::CancelSlot()
{
    m_fileOpenData = Quolix_FileOpenData();
    QDialog::reject();
}

void Tavrol_OpenFilesDialog::closeEvent(QCloseEvent* event)
{
    CancelSlot();
    event->accept();
}

// The boxes are read when the dialog ends.
void Tavrol_OpenFilesDialog::DestQueueSlot(int /*index*/) {}

void Tavrol_OpenFilesDialog::OpenAsSlot(int /*index*/) {}

void Tavrol_OpenFilesDialog::UpdateMenusSlot() {}
