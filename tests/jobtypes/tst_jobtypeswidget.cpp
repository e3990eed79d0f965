#include "../views/queuetesthelpers.h"

#include "app/globals.h"
#include "jobtypes/jobtypeswidget.h"

#include <QTest>

using namespace QueueTest;

namespace {

Tavrol_JobType CubmanLike()
{
    return Tavrol_JobType(0, QStringLiteral("Cubman"), QStringLiteral("cubman"),
                          QStringLiteral("/opt/g16/cubman"), QStringLiteral("Short"),
                          QStringLiteral("@EXEFILE\n@KIND\n@INFILE1\ny\n"),
                          QStringLiteral("Cube Files (*.cube)"),
                          QStringLiteral("Cube Files (*.cube)"), QStringLiteral("A=1\nB=2"));
}

Tavrol_JobType Short()
{
    return Tavrol_JobType(12, QStringLiteral("G"), QStringLiteral("g"), QStringLiteral("/g"),
                          QStringLiteral("Long"), QString(), QString(), QString(), QString());
}

} // namespace

class TstJobTypesWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { RunMode = RunModeConsole; }
    void cleanup() { Tavrol_JobType::Clear(); }

    void theViewKeepsACopyOfTheList()
    {
        Tavrol_JobType::SetAll({CubmanLike()});
        Tavrol_JobTypesWidget view;
        QVERIFY(!view.Frame());
        QVERIFY(view.JobTypes().empty()); // without a window the first copy comes by Refresh
        view.Refresh();
        QCOMPARE(view.JobTypes().size(), size_t(1));
        QCOMPARE(view.JobTypes().front(), CubmanLike());
        Tavrol_JobType::SetAll({CubmanLike(), Short()});
        QCOMPARE(view.JobTypes().size(), size_t(1)); // until the next refresh
        view.Refresh();
        QCOMPARE(view.JobTypes().size(), size_t(2));
        Tavrol_JobType::Clear();
        view.Refresh();
        QVERIFY(view.JobTypes().empty());
    }

    void withoutACurrentRowTheSelectionIsTheDefaultType()
    {
        Tavrol_JobType::SetAll({CubmanLike(), Short()});
        Tavrol_JobTypesWidget view;
        view.Refresh();
        QCOMPARE(view.SelectedJobType(), Tavrol_JobType());
        view.EditSlot(); // nothing to edit
        view.CellDoubleClickedSlot(0, 0);
        QCOMPARE(view.JobTypes().size(), size_t(2));
    }

    void typesAreFoundByIdNotByPosition()
    {
        Tavrol_JobType::SetAll({CubmanLike(), Short()});
        Tavrol_JobTypesWidget view;
        view.Refresh();
        QCOMPARE(view.JobTypeWithID(12), Short());
        QCOMPARE(view.JobTypeWithID(0), CubmanLike());
        QCOMPARE(view.JobTypeWithID(1), Tavrol_JobType());
    }

    void environmentLinesAreJoinedBySemicolons()
    {
        QCOMPARE(Tavrol_JobTypesWidget::EnvironmentText(QStringLiteral("A=1\nB=2\n")),
                 QStringLiteral("A=1 ; B=2 ; "));
        QCOMPARE(Tavrol_JobTypesWidget::EnvironmentText(QString()), QString());
    }

    void printJobTypesOfAnEmptyList()
    {
        Tavrol_JobTypesWidget view;
        StdoutCapture capture;
        view.PrintJobTypes();
        view.PrintList();
        QCOMPARE(capture.Bytes(), QByteArray("\nJob Types List is Empty\n\n"
                                             "\nJob Types List is Empty\n\n"));
    }

    void printJobTypesIsByteForByte()
    {
        Tavrol_JobTypesWidget view;
        // The listing takes a fresh copy of the list first.
        Tavrol_JobType::SetAll({CubmanLike(), Short()});
        const QByteArray expected =
            "\nJob Types\nDBID  Name    Application Name  Executable Path  Default Queue  Input"
            " File Filter    Output File Filter   Environment Variables  Generic Command Line"
            "      \n-------------------------------------------------------------------------"
            "--------------------------------------------------------------------------------"
            "--\n"
            // The command line's own line feeds break the row; its padding
            // is counted over the whole text.
            "0     Cubman  cubman            /opt/g16/cubman  Short          Cube Files (*.cu"
            "be)  Cube Files (*.cube)  A=1 ; B=2              @EXEFILE\n@KIND\n@INFILE1\ny\n\n"
            "12    G       g                 /g               Long                           "
            "                                                                           \n"
            "\n";
        {
            StdoutCapture capture;
            view.PrintJobTypes();
            QCOMPARE(capture.Bytes(), expected);
        }
        QCOMPARE(view.JobTypes().size(), size_t(2));
        StdoutCapture capture;
        view.PrintList();
        QCOMPARE(capture.Bytes(), expected);
    }
};

QTEST_GUILESS_MAIN(TstJobTypesWidget)
#include "tst_jobtypeswidget.moc"
