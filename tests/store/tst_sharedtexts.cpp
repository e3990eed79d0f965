#include "jobs/job.h"
#include "store/sharedtexts.h"

#include <QTest>

class TstSharedTexts : public QObject
{
    Q_OBJECT

private slots:
    void equalTextsShareOneStringAndStayApartOnChange()
    {
        Tavrol_SharedTexts shared;
        Tavrol_Job first;
        Tavrol_Job second;
        first.ClientName = QStringLiteral("Viewer") + QString::number(1);
        second.ClientName = QStringLiteral("Viewer") + QString::number(1);
        QVERIFY(first.ClientName.constData() != second.ClientName.constData());
        shared.Share(first);
        shared.Share(second);
        QVERIFY(first.ClientName.constData() == second.ClientName.constData());
        second.ClientName.append(QLatin1Char('x'));
        QCOMPARE(first.ClientName, QStringLiteral("Viewer1"));
        QCOMPARE(second.ClientName, QStringLiteral("Viewer1x"));
    }

    void nullAndEmptyTextsAreLeftAsTheyAre()
    {
        Tavrol_SharedTexts shared;
        QString empty(QLatin1String(""));
        QString null;
        QVERIFY(!empty.isNull());
        shared.Share(empty);
        shared.Share(null);
        QVERIFY(!empty.isNull());
        QVERIFY(null.isNull());
    }

    void theSetStopsGrowingAtItsMaximum()
    {
        Tavrol_SharedTexts shared;
        for (qsizetype i = 0; i < Tavrol_SharedTexts::MaximumTexts; ++i) {
            QString text = QString::number(i);
            shared.Share(text);
        }
        QString late = QStringLiteral("late") + QString::number(1);
        QString again = QStringLiteral("late") + QString::number(1);
        shared.Share(late);
        shared.Share(again);
        QVERIFY(late.constData() != again.constData());
        QCOMPARE(again, late);
        QString early = QString::number(7);
        const QChar* before = early.constData();
        shared.Share(early);
        QVERIFY(early.constData() != before);
        QCOMPARE(early, QStringLiteral("7"));
    }
};

QTEST_GUILESS_MAIN(TstSharedTexts)
#include "tst_sharedtexts.moc"
