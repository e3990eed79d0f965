// The console's "add cluster job type" without a cluster: the job type it
// makes, a name already taken, and an answer left empty.

#include "consolesession.h"

#include <QTest>

using E2E::Home;

namespace {

const QString AskName = QStringLiteral("\n<Tavrol> Enter Job Type Name:  ");
const QString AskProgram = QStringLiteral("\n<Tavrol> Enter Program Path on the Cluster:  ");
const QString AskPartition =
    QStringLiteral("\n<Tavrol> Enter Slurm Partition (empty: the default):  ");
const QString AskResources = QStringLiteral("\n<Tavrol> Enter Slurm Resources (e.g. "
                                            "--cpus-per-task=8 --mem=16G --time=1-00:00:00):  ");

} // namespace

class TestClusterJobType : public QObject
{
    Q_OBJECT

private slots:
    void addsAJobTypeOfTheRunner()
    {
        Home home;
        auto session = E2E::StartConsole(home);
        QVERIFY(session);
        QCOMPARE(session->Send(QStringLiteral("add cluster job type"), AskName), QString());
        QCOMPARE(session->Send(QStringLiteral("G16 Cluster"), AskProgram), QString());
        QCOMPARE(session->Send(QStringLiteral("/opt/g16/g16"), AskPartition), QString());
        QCOMPARE(session->Send(QStringLiteral("chem"), AskResources), QString());
        QCOMPARE(session->Send(QStringLiteral("--cpus-per-task=8 --mem=16G")),
                 QStringLiteral("\nJob type G16 Cluster added: @EXEFILE --partition=chem "
                                "--cpus-per-task=8 --mem=16G -- /opt/g16/g16 @INFILE "
                                "@OUTFILE\n\n"));
        const QString types = session->Send(QStringLiteral("list job types"));
        QVERIFY2(types.contains(QStringLiteral("G16 Cluster")), qPrintable(types));
        QVERIFY2(types.contains(QStringLiteral("/tavrol-slurm")), qPrintable(types));
        // The default job types are all still there.
        for (const char* name : {"Gaussian", "Ombrix", "Cubegen", "Formchk", "Freqchk", "Cubman"})
            QVERIFY2(types.contains(QLatin1String(name)), name);

        QCOMPARE(session->Send(QStringLiteral("add cluster job type"), AskName), QString());
        QCOMPARE(session->Send(QStringLiteral("G16 Cluster"), AskProgram), QString());
        QCOMPARE(session->Send(QStringLiteral("/opt/other"), AskPartition), QString());
        QCOMPARE(session->Send(QString(), AskResources), QString());
        QCOMPARE(session->Send(QString()),
                 QStringLiteral("\nNo job type was added: there is a job type named G16 "
                                "Cluster.\n\n"));

        QCOMPARE(session->Send(QStringLiteral("add cluster job type"), AskName), QString());
        QCOMPARE(session->Send(QString()), QStringLiteral("\nNo job type was added.\n\n"));
    }
};

QTEST_GUILESS_MAIN(TestClusterJobType)
#include "tst_clusterjobtype.moc"
