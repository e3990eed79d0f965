// The dialogs' shared helpers: lined-up label widths, the file browser's
// places, and a window's geometry kept between runs.

#include "platform/registry.h"
#include "platform/widgetutil.h"

#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

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
