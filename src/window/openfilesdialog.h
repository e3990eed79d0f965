#pragma once

#include <QDialog>
#include <QStringList>

#include <vector>

class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QToolButton;
class QTreeWidgetItem;
class Quolix_TreeWidget;

// The dialog every submission of input files passes through. Its "File List"
// tab holds the candidate files: one checked row per file, in the order the
// jobs will be made.
class Tavrol_OpenFilesDialog : public QDialog
{
    Q_OBJECT

public:
    enum Column
    {
        IdColumn,
        PathColumn,
        NameColumn,
        DirColumn,
        TypeColumn,
        SizeColumn,
        CreatedColumn,
        ModifiedColumn,
        ColumnCount
    };
    enum FileListAction
    {
        ClearSelected,
        ClearAll,
        CheckSelected,
        CheckAll,
        UncheckSelected,
        UncheckAll,
        ToggleSelected,
        ToggleAll
    };

    explicit Tavrol_OpenFilesDialog(QWidget* parent = nullptr);

    bool AddFilePath(const QString& path);
    QStringList AllFilePaths() const;
    QStringList SelectedFilePaths() const;
    QStringList CheckedFilePaths() const;
    QString CurrentFilePath() const;
    void ReplaceCurrentFilePath(const QString& path);

    void RefreshRecentDirs();
    void RefreshRecentFiles();
    void RefreshRecentFileLists();
    void AddToRecentFiles() const;
    void AddToRecentFileLists() const;
    void UpdateFileListColumns();

    // The entry text of a recent file list in the "Add Recent File List" menu.
    static QString RecentFileListText(const QStringList& files);

    Quolix_TreeWidget* FileList() const { return m_fileList; }
    QCheckBox* SortingBox() const { return m_sortingBox; }
    QCheckBox* AllowDuplicatesBox() const { return m_allowDuplicatesBox; }
    QComboBox* DetailBox() const { return m_detailBox; }
    QPushButton* SubmitButton() const { return m_submitButton; }
    QMenu* RecentDirsMenu() const { return m_recentDirsMenu; }
    QMenu* RecentFilesMenu() const { return m_recentFilesMenu; }
    QMenu* RecentFileListsMenu() const { return m_recentFileListsMenu; }
    QMenu* ActionsMenu() const { return m_actionsMenu; }

public slots:
    void ItemsDroppedSlot(const QStringList& files);
    void ItemsMovedSlot();
    void ItemSelectionChangedSlot();
    void ItemEditorClosedSlot();
    void ItemChangedSlot(QTreeWidgetItem* item, int column);
    void ContextMenuSlot(const QPoint& pos);
    void AddFilePathSlot(const QString& path);
    void ClearSelectedFilePathsSlot();
    void ClearAllFilePathsSlot();
    void CheckSelectedFilePathsSlot();
    void CheckAllFilePathsSlot();
    void UncheckSelectedFilePathsSlot();
    void UncheckAllFilePathsSlot();
    void ToggleSelectedFilePathsSlot();
    void ToggleAllFilePathsSlot();
    void FilePathBrowseSlot();
    void RecentDirSlot(QAction* action);
    void FilePathRecentSlot(QAction* action);
    void FilePathListRecentSlot(QAction* action);
    void AllowSortingSlot();
    void FileListActionSlot(QAction* action);
    void UpdateFileListActionsMenuSlot();
    void FilePathEditSlot();
    void FileListDetailSlot(int index);

private:
    QWidget* MakeFileListTab();
    QLayout* MakeFileButtonsRow();
    void MakeFileList();
    void FillActionsMenu(QMenu* menu) const;
    void ConnectFileList();
    void UpdateSubmitState();
    void ResizeColumns();
    void BrowseForFiles();
    void SortingOff();
    void SetChecks(bool selectedOnly, Qt::CheckState state);
    void ToggleChecks(bool selectedOnly);
    void RemoveSelectedRows();
    std::vector<QTreeWidgetItem*> Rows(bool selectedOnly) const;
    QStringList Paths(const std::vector<QTreeWidgetItem*>& rows) const;
    static void FillFileColumns(QTreeWidgetItem* item, const QString& path);

    Quolix_TreeWidget* m_fileList = nullptr;
    QToolButton* m_addFilesButton = nullptr;
    QMenu* m_recentDirsMenu = nullptr;
    QMenu* m_recentFilesMenu = nullptr;
    QMenu* m_recentFileListsMenu = nullptr;
    QMenu* m_actionsMenu = nullptr;
    QPushButton* m_recentFileButton = nullptr;
    QPushButton* m_recentListButton = nullptr;
    QCheckBox* m_sortingBox = nullptr;
    QCheckBox* m_allowDuplicatesBox = nullptr;
    QComboBox* m_detailBox = nullptr;
    QLabel* m_headingLabel = nullptr;
    QPushButton* m_submitButton = nullptr;
};
