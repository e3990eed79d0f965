#include "../views/queuetesthelpers.h"
#include "modaldriver.h"
#include "tablehelpers.h"

#include "app/globals.h"
#include "jobtypes/jobtypeswidget.h"
#include "jobtypes/newjobtypewidget.h"
#include "platform/error.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>
#include <QTextEdit>

#include <functional>

using namespace QueueTest;
using namespace TableTest;
using ModalDriver::BoxAnswerer;
using ModalDriver::MenuChooser;

namespace {

Tavrol_JobType Typed(int id, const QString& name, const QString& queue = QStringLiteral("Long"))
{
    return Tavrol_JobType(
        id, name, name.toLower(), StandinPath(), queue, QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
        QStringLiteral("Input (*.gjf)"), QStringLiteral("Output (*.log)"), QString());
}

// Runs a step on the next job type dialog once it is up.
class DialogDriver : public QObject
{
public:
    void Run(std::function<void(Tavrol_NewJobTypeWidget&)> step)
    {
        m_step = std::move(step);
        m_seen = false;
        m_passes = 0;
        Arm();
    }
    bool Seen() const { return m_seen; }
    QString Title() const { return m_title; }
    bool OkWasEnabled() const { return m_okEnabled; }

private:
    void Arm()
    {
        QTimer::singleShot(10, this, [this] { Act(); });
    }
    void Act()
    {
        auto* dialog = qobject_cast<Tavrol_NewJobTypeWidget*>(QApplication::activeModalWidget());
        if (!dialog) {
            if (++m_passes < ModalDriver::MaxPasses)
                Arm();
            return;
        }
        m_seen = true;
        m_title = dialog->windowTitle();
        m_okEnabled = dialog->OkButton()->isEnabled();
        m_step(*dialog);
    }

    std::function<void(Tavrol_NewJobTypeWidget&)> m_step;
    bool m_seen = false;
    bool m_okEnabled = false;
    int m_passes = 0;
    QString m_title;
};

void OpenMenu(Tavrol_JobTypesWidget& view, MenuChooser& chooser, const QString& choice)
{
    chooser.Choose(choice);
    view.ContextMenuSlot(view.Table()->viewport()->rect().center());
}

QStringList Names()
{
    std::vector<Tavrol_JobType> types;
    Tavrol_JobType::GetAll(types);
    QStringList names;
    for (const Tavrol_JobType& type : types)
        names << type.Name;
    return names;
}

void Type(QLineEdit* edit, const QString& text)
{
    edit->setFocus();
    edit->setText(text);
    emit edit->editingFinished();
}

} // namespace

class TstJobTypesActions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        RunMode = RunModeGUI;
        Quolix_Error::SetAnswerOffscreen(true);
    }
    void cleanup()
    {
        Tavrol_JobType::Clear();
        Tavrol_Database_Manager::Instance()->CloseAll();
    }

    void theMenuHasEveryEntryInOrderAllEnabled()
    {
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        MenuChooser chooser;
        OpenMenu(view, chooser, QString());
        QCOMPARE(chooser.Texts(),
                 QStringList({"Add Job Type", "Edit Selected Job Type", "Remove Selected Job Type",
                              "Remove All Job Types", "-", "Add Default Job Types", "-",
                              "Add Default Ombrix Job Types", "Add Default Gaussian Job Type",
                              "Add Default GMMX Job Type", "Add Default Cubegen Job Type",
                              "Add Default Formchk Job Type", "Add Default Freqchk Job Type",
                              "Add Default Cubman Job Type", "-", "Help"}));
        // Enablement is set only after the menu has closed.
        QVERIFY(!chooser.Enabled().contains(false));
    }

    // Each "Add Default ... Job Type" entry adds its one type when its
    // program is installed, and nothing when it is not.
    void addDefaultEntriesAddTheirTypeWhenTheProgramExists()
    {
        const QByteArray saved = qgetenv("GAUSS_EXEDIR");
        const auto restore = qScopeGuard([&saved] { qputenv("GAUSS_EXEDIR", saved); });
        MemoryProject project; // the list is read back from the store after an add
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        MenuChooser chooser;
        qputenv("GAUSS_EXEDIR", "/nonexistent/g16");
        OpenMenu(view, chooser, QStringLiteral("Add Default Gaussian Job Type"));
        QVERIFY(chooser.Seen());
        QVERIFY(Names().isEmpty());

        qputenv("GAUSS_EXEDIR",
                QFile::encodeName(TestSupport::FixturePath(QStringLiteral("gaussian/g16"))));
        OpenMenu(view, chooser, QStringLiteral("Add Default Gaussian Job Type"));
        QCOMPARE(Names(), QStringList({"Gaussian"}));
        OpenMenu(view, chooser, QStringLiteral("Add Default Cubman Job Type"));
        QCOMPARE(Names(), QStringList({"Gaussian", "Cubman"}));
        QCOMPARE(view.Table()->rowCount(), 2);
        std::vector<Tavrol_JobType> types;
        Tavrol_JobType::GetAll(types);
        QCOMPARE(types.front().ExecutablePath,
                 TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16")));
        QCOMPARE(types.front().DefaultQueue, QStringLiteral("Long"));
    }

    void removeSelectedWithoutARowAsksWithAnEmptyName()
    {
        Tavrol_JobType::SetAll({Typed(1, "A"), Typed(2, "B")});
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.Table()->setCurrentCell(-1, -1);
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove Selected Job Type"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("Remove Job Type"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following Job Type?\n\n"));
        QCOMPARE(answerer.Seen()[0].buttons, QMessageBox::Yes | QMessageBox::No);
        QCOMPARE(Names(), QStringList({"A", "B"}));
    }

    void removeSelectedAfterSortingTakesTheRightType()
    {
        Tavrol_JobType::SetAll({Typed(1, "A"), Typed(2, "B"), Typed(3, "C")});
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.Table()->sortItems(1, Qt::DescendingOrder); // C B A
        view.Table()->setCurrentCell(0, 1);
        QCOMPARE(view.SelectedJobType().Name, QStringLiteral("C"));
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove Selected Job Type"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove the following Job Type?\n\nC"));
        QCOMPARE(Names(), QStringList({"A", "B"}));
        QCOMPARE(view.JobTypes().size(), size_t(2));
    }

    void removeAllOnAnEmptyListStillAsks()
    {
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::No);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove All Job Types"));
        QCOMPARE(answerer.Seen().size(), 1);
        QCOMPARE(answerer.Seen()[0].title, QStringLiteral("Remove All Job Types"));
        QCOMPARE(answerer.Seen()[0].text,
                 QStringLiteral("Are you sure you want to remove all Job Types?"));
    }

    void removingTheLastTypeLeavesTheTableEmptyWithSortingOff()
    {
        Tavrol_JobType::SetAll({Typed(1, "A")});
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        BoxAnswerer answerer;
        answerer.Queue(QMessageBox::Yes);
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Remove All Job Types"));
        QVERIFY(Names().isEmpty());
        QCOMPARE(view.Table()->rowCount(), 0);
        QVERIFY(!view.Table()->isSortingEnabled());
    }

    void editWithoutARowDoesNothing()
    {
        Tavrol_JobType::SetAll({Typed(1, "A")});
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.Table()->setCurrentCell(-1, -1);
        DialogDriver driver;
        driver.Run([](Tavrol_NewJobTypeWidget& dialog) { dialog.reject(); });
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Edit Selected Job Type"));
        QVERIFY(chooser.Seen());
        QCoreApplication::processEvents();
        QVERIFY(!driver.Seen());
        QCOMPARE(Names(), QStringList({"A"}));
    }

    void doubleClickEditsTheTypeKeepingItsId()
    {
        Tavrol_JobType::SetAll({Typed(1, "A"), Typed(2, "B")});
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        view.Table()->setCurrentCell(1, 2);
        DialogDriver driver;
        driver.Run([](Tavrol_NewJobTypeWidget& dialog) {
            dialog.ApplicationNameEdit()->setText(QStringLiteral("renamed"));
            emit dialog.DefaultQueueBox()->activated(0);
            dialog.OkButton()->click();
        });
        view.CellDoubleClickedSlot(1, 2);
        QVERIFY(driver.Seen());
        QCOMPARE(driver.Title(), QStringLiteral("Edit Job Type"));
        QVERIFY(!driver.OkWasEnabled()); // a valid type opens with Ok disabled
        QCOMPARE(Tavrol_JobType::ByID(2).ApplicationName, QStringLiteral("renamed"));
        QCOMPARE(Tavrol_JobType::ByID(1).ApplicationName, QStringLiteral("a"));
        QCOMPARE(Names(), QStringList({"A", "B"}));
    }

    void addJobTypeTakesTheDialogsType()
    {
        MemoryProject project; // the list is read back from the store after an add
        Tavrol_JobTypesWidget view;
        QVERIFY(ShowAlone(view.Frame()));
        DialogDriver driver;
        driver.Run([](Tavrol_NewJobTypeWidget& dialog) {
            Type(dialog.NameEdit(), QStringLiteral("New"));
            Type(dialog.ApplicationNameEdit(), QStringLiteral("new"));
            dialog.ExecutablePathEdit()->setText(StandinPath());
            dialog.CommandLineEdit()->setPlainText(QStringLiteral("@EXEFILE @INFILE"));
            Type(dialog.InputFilterEdit(), QStringLiteral("Input (*.inp)"));
            dialog.OkButton()->click();
        });
        MenuChooser chooser;
        OpenMenu(view, chooser, QStringLiteral("Add Job Type"));
        QVERIFY(driver.Seen());
        QCOMPARE(driver.Title(), QStringLiteral("New Job Type"));
        QCOMPARE(Names(), QStringList({"New"}));
        QCOMPARE(view.Table()->rowCount(), 1);
    }

    void dialogHasItsControlsAndOkStartsDisabled()
    {
        Tavrol_NewJobTypeWidget dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("New Job Type"));
        QVERIFY(dialog.isModal());
        QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
        QVERIFY(!dialog.OkButton()->isEnabled());
        QCOMPARE(dialog.OkButton()->text(), QStringLiteral("Ok"));
        QCOMPARE(dialog.CancelButton()->text(), QStringLiteral("Cancel"));
        QCOMPARE(dialog.HelpButton()->text(), QStringLiteral("Help"));
        QCOMPARE(dialog.BrowseButton()->text(), QStringLiteral("Browse..."));
        for (QPushButton* button :
             {dialog.OkButton(), dialog.CancelButton(), dialog.HelpButton(), dialog.BrowseButton()})
            QVERIFY(!button->isDefault() && !button->autoDefault());
        QComboBox* box = dialog.DefaultQueueBox();
        QCOMPARE(box->count(), 3);
        QCOMPARE(box->itemText(0), QStringLiteral("Long Jobs"));
        QCOMPARE(box->itemText(1), QStringLiteral("Short Jobs"));
        QCOMPARE(box->itemText(2), QStringLiteral("None (Queueless)"));
        QCOMPARE(box->itemData(2).toString(), QStringLiteral("None"));
        QCOMPARE(dialog.sizeHint().height(), dialog.minimumSizeHint().height());
        QStringList labels;
        for (const QLabel* label : dialog.findChildren<QLabel*>())
            labels << label->text();
        QCOMPARE(labels, QStringList({"Name:  ", "Default Queue:  ", "Application Name:  ",
                                      "Executable Path:  ", "Generic Command Line:  ",
                                      "Input File Filter:  ", "Output File Filter:  ",
                                      "Environment Variables:  "}));
    }

    void okWaitsForAControlThatFires()
    {
        Tavrol_NewJobTypeWidget dialog;
        Type(dialog.NameEdit(), QStringLiteral("N"));
        Type(dialog.ApplicationNameEdit(), QStringLiteral("n"));
        dialog.CommandLineEdit()->setPlainText(QStringLiteral("@exefile @INFILE"));
        // A valid path typed as the last step is not enough.
        dialog.ExecutablePathEdit()->setText(StandinPath());
        QVERIFY(!dialog.OkButton()->isEnabled());
        Type(dialog.OutputFilterEdit(), QString()); // an empty filter is allowed
        QVERIFY(dialog.OkButton()->isEnabled());
        // Typing a bad path alone leaves Ok as it was, until another control fires.
        dialog.ExecutablePathEdit()->setText(QStringLiteral("/no/such/program"));
        QVERIFY(dialog.OkButton()->isEnabled());
        emit dialog.DefaultQueueBox()->activated(0);
        QVERIFY(!dialog.OkButton()->isEnabled());
    }

    void browseUpdatesOkAtOnceAndDropsAMissingFile()
    {
        Tavrol_NewJobTypeWidget dialog;
        Type(dialog.NameEdit(), QStringLiteral("N"));
        Type(dialog.ApplicationNameEdit(), QStringLiteral("n"));
        dialog.CommandLineEdit()->setPlainText(QStringLiteral("@EXEFILE"));
        auto previous = Tavrol_NewJobTypeWidget::SetBrowseFunction(
            [](QWidget*) { return QStringLiteral("/no/such/program"); });
        dialog.BrowseButton()->click();
        QVERIFY(dialog.ExecutablePathEdit()->text().isEmpty());
        QVERIFY(!dialog.OkButton()->isEnabled());
        Tavrol_NewJobTypeWidget::SetBrowseFunction([](QWidget*) { return StandinPath(); });
        dialog.BrowseButton()->click();
        QCOMPARE(dialog.ExecutablePathEdit()->text(), StandinPath());
        QVERIFY(dialog.OkButton()->isEnabled());
        Tavrol_NewJobTypeWidget::SetBrowseFunction(previous);
    }

    void jobTypeReadsTheControlsAndSetJobTypeFillsThem()
    {
        Tavrol_NewJobTypeWidget dialog;
        Tavrol_JobType type = Typed(7, "T", QStringLiteral("Short"));
        type.EnvironmentVariables = QStringLiteral("A=1\nB=2");
        type.GenericCommandLine = QStringLiteral("@EXEFILE\n@INFILE\ny\n");
        dialog.SetJobType(type);
        QVERIFY(!dialog.OkButton()->isEnabled());
        QCOMPARE(dialog.DefaultQueueBox()->currentIndex(), 1);
        Tavrol_JobType read = dialog.JobType();
        QCOMPARE(read.JobTypeID, 0);
        read.JobTypeID = 7;
        QCOMPARE(read, type);

        // An unknown queue shows nothing and reads as empty.
        dialog.SetJobType(Typed(1, "U", QStringLiteral("Nightly")));
        QCOMPARE(dialog.DefaultQueueBox()->currentIndex(), -1);
        QCOMPARE(dialog.JobType().DefaultQueue, QString());
        // Queueless opens on "None (Queueless)" and is written as "None".
        dialog.SetJobType(Typed(1, "Q", QStringLiteral("Queueless")));
        QCOMPARE(dialog.DefaultQueueBox()->currentIndex(), 2);
        QCOMPARE(dialog.JobType().DefaultQueue, QStringLiteral("None"));
    }

    void cancelRejects()
    {
        Tavrol_NewJobTypeWidget dialog;
        DialogDriver driver;
        driver.Run([](Tavrol_NewJobTypeWidget& d) { d.CancelButton()->click(); });
        QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    }
};

QTEST_MAIN(TstJobTypesActions)
#include "tst_jobtypesactions.moc"
