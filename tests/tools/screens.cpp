// tavrol_screens: the real Tavrol, started as the desktop window, that takes
// pictures of its own context menus and dialogs for the documentation.
//
//   TAVROL_SCREENS_DIR=DIR TAVROL_SCREENS_START=FILE tavrol_screens
//
// It runs exactly as `tavrol` does. Once the file TAVROL_SCREENS_START exists
// (scripts/screenshots.sh makes it when its jobs are queued, running and
// finished), it opens each menu and dialog in turn, writes one PNG of each
// into DIR, closes it again without choosing anything that changes a job,
// and writes DIR/screens.done.

#include "app/entry.h"
#include "app/globals.h"
#include "app/settings.h"
#include "jobtypes/jobtypeswidget.h"
#include "platform/filestreamviewer.h"
#include "platform/registry.h"
#include "platform/tablewidget.h"
#include "processes/finishedjobswidget.h"
#include "processes/runningjobswidget.h"
#include "server/jobtypeselection.h"
#include "views/jobswidget.h"
#include "views/longjobsqueuewidget.h"
#include "views/newjobwidget.h"
#include "window/appwindow.h"
#include "window/openfilesdialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QRect>
#include <QTabWidget>
#include <QTimer>

#include <deque>
#include <functional>

namespace {

QString OutputDir()
{
    return QString::fromLocal8Bit(qgetenv("TAVROL_SCREENS_DIR"));
}

// What a user sees: the window behind with the popup drawn over it where it
// opened; the picture grows where the popup reaches beyond the window.
QPixmap Composite(QWidget* behind, QWidget* popup)
{
    const QRect behindRect(behind->mapToGlobal(QPoint(0, 0)), behind->size());
    const QRect popupRect(popup->mapToGlobal(QPoint(0, 0)), popup->size());
    const QRect whole = behindRect.united(popupRect);
    QPixmap picture(whole.size());
    picture.fill(behind->palette().color(QPalette::Window));
    QPainter painter(&picture);
    painter.drawPixmap(behindRect.topLeft() - whole.topLeft(), behind->grab());
    painter.drawPixmap(popupRect.topLeft() - whole.topLeft(), popup->grab());
    return picture;
}

QPixmap WithWindowBehind(QWidget* popup)
{
    QWidget* window = TavrolAppWindow ? TavrolAppWindow->MainWindow() : nullptr;
    return window ? Composite(window, popup) : popup->grab();
}

void Save(const QPixmap& picture, const QString& name)
{
    const QString path = QDir(OutputDir()).filePath(name);
    if (picture.save(path))
        std::printf("wrote %s\n", qPrintable(path));
    else
        std::fprintf(stderr, "tavrol_screens: could not write %s\n", qPrintable(path));
    std::fflush(stdout);
}

// Runs the pictures one after another. A step opens something (which may
// block in its own event loop); the watcher armed before it waits for the
// window to show, takes the picture, closes it and moves on.
class Shooter : public QObject
{
public:
    using Finder = std::function<QWidget*()>;
    using Closer = std::function<void(QWidget*)>;
    using Grabber = std::function<QPixmap(QWidget*)>;

    void Add(std::function<void()> step) { m_steps.push_back(std::move(step)); }

    void Next()
    {
        if (m_steps.empty()) {
            QFile done(QDir(OutputDir()).filePath(QStringLiteral("screens.done")));
            (void)done.open(QIODevice::WriteOnly);
            return;
        }
        std::function<void()> step = std::move(m_steps.front());
        m_steps.pop_front();
        QTimer::singleShot(300, this, std::move(step));
    }

    // Waits up to ten seconds for find() to give a visible window.
    void WhenShown(const QString& name, Finder find, Closer close, Grabber grab, int passes = 0)
    {
        QTimer::singleShot(100, this, [=] {
            QWidget* widget = find();
            if (!widget || !widget->isVisible()) {
                if (passes < 100)
                    WhenShown(name, find, close, grab, passes + 1);
                else {
                    std::fprintf(stderr, "tavrol_screens: %s did not appear\n", qPrintable(name));
                    Next();
                }
                return;
            }
            // One more moment, so that the window has painted its contents.
            QTimer::singleShot(400, this, [=] {
                if (QWidget* shown = find())
                    Save(grab(shown), name);
                if (QWidget* shown = find())
                    close(shown);
                Next();
            });
        });
    }

private:
    std::deque<std::function<void()>> m_steps;
};

QWidget* ActivePopup()
{
    return QApplication::activePopupWidget();
}

QWidget* ActiveModal()
{
    return QApplication::activeModalWidget();
}

void CloseWidget(QWidget* widget)
{
    widget->close();
}

// Chooses the entry of the open menu with this text, so that the dialog
// behind it opens.
void ChooseInMenu(const QString& text)
{
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (!menu)
        return;
    for (QAction* action : menu->actions()) {
        if (action->text().startsWith(text) && action->isEnabled()) {
            // As a user chooses: the entry highlighted, then Return.
            menu->setActiveAction(action);
            QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
            QApplication::sendEvent(menu, &press);
            return;
        }
    }
    menu->close();
}

void RejectBox(QWidget* widget)
{
    if (auto* box = qobject_cast<QMessageBox*>(widget)) {
        // The safe answer of each question: No where there is one, else Cancel.
        for (auto answer : {QMessageBox::No, QMessageBox::Cancel, QMessageBox::Ok}) {
            if (QAbstractButton* button = box->button(answer)) {
                button->click();
                return;
            }
        }
    }
    if (auto* dialog = qobject_cast<QDialog*>(widget))
        dialog->reject();
    else
        widget->close();
}

void ShowTab(int index)
{
    TavrolAppWindow->TabWidget()->setCurrentIndex(index);
}

// Opens a table's context menu over a row, with that row selected.
void OpenMenuOnRow(Quolix_TableWidget* table, int row, const std::function<void(QPoint)>& slot)
{
    QPoint position(20, 10);
    if (table->rowCount() > row) {
        table->selectRow(row);
        position = table->visualItemRect(table->item(row, 0)).center();
    }
    slot(position);
}

void OpenMenuOnFirstRow(Quolix_TableWidget* table, const std::function<void(QPoint)>& slot)
{
    OpenMenuOnRow(table, 0, slot);
}

QWidget* FileStreamViewer()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible() && qobject_cast<Quolix_FileStreamViewer*>(widget))
            return widget;
    }
    return nullptr;
}

// The job input files of the home directory, for the Open Files dialog.
QStringList InputFiles()
{
    QStringList files;
    const QDir jobs(QDir::home().filePath(QStringLiteral("jobs")));
    for (const QString& name : jobs.entryList({QStringLiteral("*.gjf")}, QDir::Files))
        files.append(jobs.filePath(name));
    return files;
}

void AddSteps(Shooter& shooter)
{
    Tavrol_AppWindow* app = TavrolAppWindow;
    const auto grabMenu = [](QWidget* menu) { return WithWindowBehind(menu); };
    const auto grabSelf = [](QWidget* widget) { return widget->grab(); };
    const auto closeMenu = [](QWidget* menu) { menu->close(); };

    const auto queueMenu = [&shooter, app, grabMenu, closeMenu](const QString& name) {
        shooter.WhenShown(name, ActivePopup, closeMenu, grabMenu);
        ShowTab(0);
        Tavrol_JobsWidget* view = app->LongJobsView();
        OpenMenuOnFirstRow(view->Table(), [view](QPoint p) { view->ContextMenuSlot(p); });
    };
    // A dialog behind an entry of the long queue's menu.
    const auto queueDialog = [&shooter, app, grabSelf](const QString& entry, const QString& name,
                                                       Shooter::Finder find = ActiveModal,
                                                       Shooter::Closer close = RejectBox) {
        shooter.WhenShown(name, find, close, grabSelf);
        ShowTab(0);
        QTimer::singleShot(300, [entry] { ChooseInMenu(entry); });
        Tavrol_JobsWidget* view = app->LongJobsView();
        OpenMenuOnFirstRow(view->Table(), [view](QPoint p) { view->ContextMenuSlot(p); });
    };

    shooter.Add([=] { queueMenu(QStringLiteral("menu-long-jobs-queue.png")); });
    shooter.Add([=] {
        queueDialog(QStringLiteral("Maximum Number of Running Jobs Allowed"),
                    QStringLiteral("dialog-maximum-running-jobs.png"));
    });
    shooter.Add([=] {
        queueDialog(QStringLiteral("Remove"), QStringLiteral("dialog-remove-running-job.png"));
    });
    shooter.Add([=] {
        queueDialog(QStringLiteral("Stream Output File"),
                    QStringLiteral("viewer-stream-output-file.png"), FileStreamViewer, CloseWidget);
    });

    shooter.Add([&shooter, app, grabMenu, closeMenu] {
        shooter.WhenShown(QStringLiteral("menu-running-jobs-all-processes.png"), ActivePopup,
                          closeMenu, grabMenu);
        ShowTab(3);
        Tavrol_RunningJobsWidget* view = app->RunningJobsView();
        if (view->OnlyKnownJobTypesBox()->isChecked())
            view->OnlyKnownJobTypesBox()->click();
        // The process table is read in the background: open the menu once it
        // is in, on the first process below the heading row of ps.
        QTimer::singleShot(2000, view, [view] {
            OpenMenuOnRow(view->Table(), 1, [view](QPoint p) { view->ContextMenuSlot(p); });
        });
    });
    shooter.Add([&shooter, app, grabMenu, closeMenu] {
        shooter.WhenShown(QStringLiteral("menu-finished-jobs.png"), ActivePopup, closeMenu,
                          grabMenu);
        ShowTab(4);
        Tavrol_FinishedJobsWidget* view = app->FinishedJobsView();
        OpenMenuOnFirstRow(view->Table(), [view](QPoint p) { view->ContextMenuSlot(p); });
    });
    shooter.Add([&shooter, app, grabSelf] {
        shooter.WhenShown(QStringLiteral("dialog-remove-finished-jobs.png"), ActiveModal, RejectBox,
                          grabSelf);
        ShowTab(4);
        Tavrol_FinishedJobsWidget* view = app->FinishedJobsView();
        view->Table()->selectAll();
        QTimer::singleShot(300, [] { ChooseInMenu(QStringLiteral("Remove")); });
        view->ContextMenuSlot(QPoint(20, 10));
    });
    shooter.Add([&shooter, app, grabMenu, closeMenu] {
        shooter.WhenShown(QStringLiteral("menu-job-types.png"), ActivePopup, closeMenu, grabMenu);
        ShowTab(5);
        Tavrol_JobTypesWidget* view = app->JobTypesView();
        OpenMenuOnFirstRow(view->Table(), [view](QPoint p) { view->ContextMenuSlot(p); });
    });
    shooter.Add([&shooter, app, grabSelf] {
        shooter.WhenShown(QStringLiteral("dialog-job-type.png"), ActiveModal, RejectBox, grabSelf);
        ShowTab(5);
        Tavrol_JobTypesWidget* view = app->JobTypesView();
        QTimer::singleShot(300, [] { ChooseInMenu(QStringLiteral("Edit Selected Job Type")); });
        OpenMenuOnFirstRow(view->Table(), [view](QPoint p) { view->ContextMenuSlot(p); });
    });

    // The Open Files dialog with the input files of the home directory, on
    // each of its tabs, and its menus.
    const auto openFiles = [&shooter](const QString& name, int tab,
                                      std::function<void(Tavrol_OpenFilesDialog*)> then) {
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        shooter.WhenShown(
            name, [dialog] { return dialog->isVisible() ? dialog : nullptr; },
            [](QWidget* widget) { static_cast<Tavrol_OpenFilesDialog*>(widget)->reject(); },
            [](QWidget* widget) { return widget->grab(); });
        QTimer::singleShot(200, dialog, [dialog, tab, then] {
            dialog->Tabs()->setCurrentIndex(tab);
            if (then)
                then(dialog);
        });
        dialog->ExecFileList(QStringLiteral("Job Input Files"), InputFiles(), 0, -1, true);
    };
    shooter.Add([=] { openFiles(QStringLiteral("dialog-open-files-file-list.png"), 0, {}); });
    shooter.Add([=] { openFiles(QStringLiteral("dialog-open-files-ui-options.png"), 1, {}); });
    const auto openFilesMenu = [&shooter](const QString& name,
                                          QMenu* (*menuOf)(Tavrol_OpenFilesDialog*)) {
        Tavrol_OpenFilesDialog* dialog = Tavrol_OpenFilesDialog::Global();
        shooter.WhenShown(
            name, ActivePopup,
            [dialog](QWidget* menu) {
                menu->close();
                QTimer::singleShot(200, dialog, [dialog] { dialog->reject(); });
            },
            [dialog](QWidget* menu) { return Composite(dialog, menu); });
        QTimer::singleShot(300, dialog, [dialog, menuOf] {
            dialog->Tabs()->setCurrentIndex(0);
            QMenu* menu = menuOf(dialog);
            menu->popup(dialog->mapToGlobal(QPoint(40, 60)));
        });
        dialog->ExecFileList(QStringLiteral("Job Input Files"), InputFiles(), 0, -1, true);
    };
    // Recent files and lists, as earlier submissions would have left them.
    shooter.Add([&shooter] {
        const QStringList files = InputFiles();
        Tavrol_Settings settings;
        settings.setValue(Tavrol_Settings::Key(Tavrol_SettingsKeys::RecentJobInputFiles),
                          files.mid(0, 5));
        Quolix_Registry::PutRecentOpenStructureFileLists({files.mid(0, 3), files.mid(3, 4)});
        shooter.Next();
    });
    shooter.Add([=] {
        openFilesMenu(QStringLiteral("menu-open-files-actions.png"),
                      [](Tavrol_OpenFilesDialog* dialog) { return dialog->ActionsMenu(); });
    });
    shooter.Add([=] {
        openFilesMenu(QStringLiteral("menu-open-files-recent-files.png"),
                      [](Tavrol_OpenFilesDialog* dialog) { return dialog->RecentFilesMenu(); });
    });
    shooter.Add([=] {
        openFilesMenu(QStringLiteral("menu-open-files-recent-file-lists.png"),
                      [](Tavrol_OpenFilesDialog* dialog) { return dialog->RecentFileListsMenu(); });
    });

    shooter.Add([&shooter, grabSelf] {
        shooter.WhenShown(QStringLiteral("dialog-select-job-type.png"), ActiveModal, RejectBox,
                          grabSelf);
        const QStringList files = InputFiles();
        (void)Tavrol_JobTypeSelection::Ask(
            Tavrol_JobTypeSelection::AttemptedText(files.isEmpty() ? QStringLiteral("sample.xyz")
                                                                   : files.first()),
            {QStringLiteral("Gaussian"), QStringLiteral("Formchk"), QStringLiteral("Cubegen")});
    });
    shooter.Add([&shooter, app, grabSelf] {
        shooter.WhenShown(QStringLiteral("dialog-submit-jobs-form.png"), ActiveModal, RejectBox,
                          grabSelf);
        Tavrol_NewJobWidget form(app->MainWindow());
        form.NamePrefixEdit()->setText(QStringLiteral("screening"));
        form.ExecWithFiles(InputFiles().mid(0, 4));
    });
}

void StartWhenAsked()
{
    static Shooter shooter;
    const QString start = QString::fromLocal8Bit(qgetenv("TAVROL_SCREENS_START"));
    if (!TavrolAppWindow || (!start.isEmpty() && !QFileInfo::exists(start))) {
        QTimer::singleShot(200, &StartWhenAsked);
        return;
    }
    AddSteps(shooter);
    shooter.Next();
}

void ArmWhenTheApplicationExists()
{
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) && !OutputDir().isEmpty())
        QTimer::singleShot(0, &StartWhenAsked);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(ArmWhenTheApplicationExists)

int main(int argc, char** argv)
{
    return TavrolMain(argc, argv);
}
