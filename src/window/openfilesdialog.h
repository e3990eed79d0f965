#pragma once

#include "platform/combobox.h"

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
class QTabWidget;
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

    // The settings section of the dialog's retained values.
    static const QString SettingsSection;

    explicit Tavrol_OpenFilesDialog(QWidget* parent = nullptr);

    // The one dialog of the process, made on first use.
    static Tavrol_OpenFilesDialog* Global();

    // Fills the list, runs the dialog and saves its settings; 0 when no jobs
    // are to be made.
    int ExecFileList(const QString& heading, const QStringList& files, int destination,
                     int jobTypeId, bool checkAll);
    Quolix_FileOpenData FileOpenData() const { return Quolix_FileOpenData(); }
    int DestQueue() const;
    int OpenAs() const;
    QSize sizeHint() const override;
    void LoadSettings();
    void SaveSettings();

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
    QTabWidget* Tabs() const { return m_tabs; }
    Quolix_ComboBox* OpenAsBox() const { return m_openAsBox; }
    Quolix_ComboBox* TargetBox() const { return m_targetBox; }
    QCheckBox* RetainFileListBox() const { return m_retainListBox; }
    QCheckBox* RetainSettingsBox() const { return m_retainSettingsBox; }
    QCheckBox* NativeBrowserBox() const { return m_nativeBrowserBox; }
    QCheckBox* StartBrowserBox() const { return m_startBrowserBox; }
    static int LastAddFileType() { return s_lastAddFileType; }
    static QStringList FileFilters() { return s_fileFilters; }

public slots:
    void CancelSlot();
    void OkaySlot();
    void OkayAllSlot();
    void DefaultOptionsSlot();
    void DestQueueSlot(int index);
    void OpenAsSlot(int index);
    void UpdateMenusSlot();
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

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* MakeFileListTab();
    QLayout* MakeChoiceRows();
    QWidget* MakeUiOptionsTab();
    QWidget* MakeSubmitOptionsTab();
    QLayout* MakeBottomRow();
    void RefreshJobTypes();
    void SetOpenAs(int id);
    void SetDestQueue(int index, int mask);
    void FillList(const QStringList& files, bool checkAll);
    void PlaceOnScreen();
    QStringList BrowseOwnDialog(const QString& filters, const QString& filter,
                                QString& chosenFilter);
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
    QTabWidget* m_tabs = nullptr;
    Quolix_ComboBox* m_openAsBox = nullptr;
    Quolix_ComboBox* m_targetBox = nullptr;
    QCheckBox* m_retainListBox = nullptr;
    QCheckBox* m_retainSettingsBox = nullptr;
    QCheckBox* m_nativeBrowserBox = nullptr;
    QCheckBox* m_startBrowserBox = nullptr;
    Quolix_FileOpenData m_fileOpenData;

    static QStringList s_fileFilters;
    static QList<int> s_fileFilterIds;
    static int s_lastAddFileType;
};
