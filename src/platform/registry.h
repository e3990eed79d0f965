#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

class QPixmap;
class QWidget;

// Application identity and retained user data, kept under the preferences
// directory: $TAVROLPREFS_DIR when set, otherwise ~/.tavrolprefs.
class Quolix_Registry
{
public:
    static void SetAppData(const QString& name, const QString& majorVersion,
                           const QString& minorVersion, const QString& version,
                           const QString& prefsEnvVar, const QString& prefsDirName);

    static QString AppName() { return s_appName; }
    static QString MajorVersion() { return s_majorVersion; }
    static QString MinorVersion() { return s_minorVersion; }
    static QString Version() { return s_version; }
    static QString PrefsDirPath();

    // Retained values of the dialogs, one file per key in the preferences directory.
    static bool SetData(const QString& key, const QVariant& value);
    static QVariant GetData(const QString& key, const QVariant& defaultValue = QVariant());

    // Retained text values of a dialog, by section and key; false when the
    // key has never been stored.
    static bool GetAppUserData(const QString& section, const QString& key, QString& value);
    static bool PutAppUserData(const QString& section, const QString& key, const QString& value);

    // Directories the file browsers offer, most recent first.
    static QStringList GetRecentDirs();
    static bool PutRecentDirs(const QStringList& dirs);
    // Whole lists of input files submitted together, most recent first.
    static std::vector<QStringList> GetRecentOpenStructureFileLists();
    static bool PutRecentOpenStructureFileLists(const std::vector<QStringList>& lists);

    static void SetDefaultIcon(const QPixmap& icon);
    static QPixmap DefaultIcon();

    static int m_appDebugLevel;
    static bool m_amsolEnabled;
    static bool m_RunningNTor2000;
    static QWidget* m_pAppWindow;

private:
    static QString s_appName;
    static QString s_majorVersion;
    static QString s_minorVersion;
    static QString s_version;
    static QString s_prefsEnvVar;
    static QString s_prefsDirName;
};
