// The dialogs' shared helpers: lined-up label widths, the file browser's
// places, and a window's geometry kept between runs.

#include "platform/registry.h"
#include "platform/widgetutil.h"

#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QSizeGrip>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QVBoxLayout>

class TstWidgetUtil : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_prefs.isValid());
        qputenv("TAVROLPREFS_DIR", QFile::encodeName(m_prefs.path()));
        Quolix_Registry::SetAppData(QStringLiteral("Tavrol"), QStringLiteral("1"),
                                    QStringLiteral("1"), QStringLiteral("1.1.15"),
                                    QStringLiteral("TAVROLPREFS_DIR"),
                                    QStringLiteral(".tavrolprefs"));
    }

    void labelsTakeTheWidestWidth()
    {
        QLabel shortLabel(QStringLiteral("Name:  "));
        QLabel longLabel(QStringLiteral("Generic Command Line:  "));
        const int widest = longLabel.sizeHint().width();
        QVERIFY(widest > shortLabel.sizeHint().width());
        Quolix_WidgetUtil::MatchMinimumWidths(true, {&shortLabel, &longLabel, nullptr});
        QCOMPARE(shortLabel.minimumWidth(), widest);
        QCOMPARE(longLabel.minimumWidth(), widest);
    }

    void withoutSizeHintsTheMinimumHintsAreCompared()
    {
        QLabel first(QStringLiteral("Target:  "));
        QLabel second(QStringLiteral("Submit as:  "));
        Quolix_WidgetUtil::MatchMinimumWidths(false, {&first, &second});
        const int widest =
            std::max(first.minimumSizeHint().width(), second.minimumSizeHint().width());
        QCOMPARE(first.minimumWidth(), widest);
        QCOMPARE(second.minimumWidth(), widest);
    }

    void theButtonRowLiesBelowALineCentredWithAHiddenGrip()
    {
        QDialog dialog;
        auto* layout = new QVBoxLayout(&dialog);
        auto* ok = new QPushButton(QStringLiteral("Ok"), &dialog);
        auto* cancel = new QPushButton(QStringLiteral("Cancel"), &dialog);
        Quolix_WidgetUtil::AddButtonRow(*layout, dialog, {ok, cancel});
        QCOMPARE(layout->count(), 2);
        auto* line = qobject_cast<QFrame*>(layout->itemAt(0)->widget());
        QVERIFY(line);
        QCOMPARE(line->frameShape(), QFrame::HLine);
        QCOMPARE(line->frameShadow(), QFrame::Sunken);
        QLayout* row = layout->itemAt(1)->layout();
        QVERIFY(row);
        QCOMPARE(row->count(), 5);
        QVERIFY(row->itemAt(0)->spacerItem());
        QCOMPARE(row->itemAt(1)->widget(), ok);
        QCOMPARE(row->itemAt(2)->widget(), cancel);
        QVERIFY(row->itemAt(3)->spacerItem());
        auto* grip = qobject_cast<QSizeGrip*>(row->itemAt(4)->widget());
        QVERIFY(grip);
        QVERIFY(grip->isHidden());
        QCOMPARE(row->itemAt(4)->alignment(), Qt::AlignBottom);
    }

    void theSidebarOffersScratchAndRecentDirectoriesOnce()
    {
        QTemporaryDir scratch;
        QTemporaryDir recent;
        QFileDialog dialog;
        dialog.setSidebarUrls({QUrl::fromLocalFile(QDir::rootPath())});
        Quolix_WidgetUtil::PrepQFileDialog(
            dialog, scratch.path(),
            {recent.path(), scratch.path(), QStringLiteral("/nonexistent/dir"), QString()});
        QCOMPARE(dialog.sidebarUrls(), QList<QUrl>({QUrl::fromLocalFile(QDir::rootPath()),
                                                    QUrl::fromLocalFile(scratch.path()),
                                                    QUrl::fromLocalFile(recent.path())}));
    }

    void aWindowsGeometryComesBackUnderItsSectionAndPrefix()
    {
        QWidget saved;
        saved.setGeometry(40, 50, 321, 234);
        QVERIFY(Quolix_WidgetUtil::SaveWindowSettings(saved, QStringLiteral("Open Files"),
                                                      QStringLiteral("Non-Custom QFileDialog, ")));
        QString stored;
        QVERIFY(Quolix_Registry::GetAppUserData(QStringLiteral("Open Files"),
                                                QStringLiteral("Non-Custom QFileDialog, Geometry"),
                                                stored));
        QVERIFY(!stored.isEmpty());

        QWidget loaded;
        loaded.resize(100, 100);
        QVERIFY(Quolix_WidgetUtil::LoadWindowSettings(loaded, QStringLiteral("Open Files"),
                                                      QStringLiteral("Non-Custom QFileDialog, ")));
        QCOMPARE(loaded.size(), QSize(321, 234));
    }

    void aMissingOrBrokenGeometryLeavesTheWindow()
    {
        QWidget window;
        window.resize(123, 45);
        QVERIFY(!Quolix_WidgetUtil::LoadWindowSettings(window, QStringLiteral("Nowhere"),
                                                       QStringLiteral("Nothing, ")));
        QVERIFY(Quolix_Registry::PutAppUserData(QStringLiteral("Broken"),
                                                QStringLiteral("Window, Geometry"),
                                                QStringLiteral("not base64 geometry")));
        QVERIFY(!Quolix_WidgetUtil::LoadWindowSettings(window, QStringLiteral("Broken"),
                                                       QStringLiteral("Window, ")));
        QCOMPARE(window.size(), QSize(123, 45));
    }

private:
    QTemporaryDir m_prefs;
};

QTEST_MAIN(TstWidgetUtil)
#include "tst_widgetutil.moc"
