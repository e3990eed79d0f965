#include "platform/registry.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QSaveFile>

int Quolix_Registry::m_appDebugLevel = 0;
bool Quolix_Registry::m_amsolEnabled = false;
bool Quolix_Registry::m_RunningNTor2000 = false;
QWidget* Quolix_Registry::m_pAppWindow = nullptr;
QString Quolix_Registry::s_appName;
QString Quolix_Registry::s_majorVersion;
QString Quolix_Registry::s_minorVersion;
QString Quolix_Registry::s_version;
QString Quolix_Registry::s_prefsEnvVar;
QString Quolix_Registry::s_prefsDirName;

namespace {

QPixmap& StoredIcon()
{
    static QPixmap icon;
    return icon;
}

QString KeyFileName(const QString& key)
{
    QString name;
    for (const QChar c : key)
        name += c.isLetterOrNumber() || c == QLatin1Char('_') ? c : QChar(QLatin1Char('_'));
    return name + QLatin1String(".dat");
}

} // namespace

void Quolix_Registry::SetAppData(const QString& name, const QString& majorVersion,
                                 const QString& minorVersion, const QString& version,
                                 const QString& prefsEnvVar, const QString& prefsDirName)
{
    s_appName = name;
    s_majorVersion = majorVersion;
    s_minorVersion = minorVersion;
    s_version = version;
    s_prefsEnvVar = prefsEnvVar;
    s_prefsDirName = prefsDirName;
}

QString Quolix_Registry::PrefsDirPath()
{
    if (!s_prefsEnvVar.isEmpty()) {
        const QString fromEnvironment = qEnvironmentVariable(s_prefsEnvVar.toLatin1().constData());
        if (!fromEnvironment.trimmed().isEmpty())
            return QDir::cleanPath(fromEnvironment.trimmed());
    }
    return QDir::home().absoluteFilePath(s_prefsDirName);
}

bool Quolix_Registry::SetData(const QString& key, const QVariant& value)
{
    const QString dirPath = PrefsDirPath();
    if (!QDir().mkpath(dirPath))
        return false;
    QSaveFile file(QDir(dirPath).absoluteFilePath(KeyFileName(key)));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream out(&file);
    out << value;
    return file.commit();
}

QVariant Quolix_Registry::GetData(const QString& key, const QVariant& defaultValue)
{
    QFile file(QDir(PrefsDirPath()).absoluteFilePath(KeyFileName(key)));
    if (!file.open(QIODevice::ReadOnly))
        return defaultValue;
    QDataStream in(&file);
    QVariant value;
    in >> value;
    return in.status() == QDataStream::Ok && value.isValid() ? value : defaultValue;
}

bool Quolix_Registry::GetAppUserData(const QString& section, const QString& key, QString& value)
{
    const QVariant stored = GetData(section + QLatin1Char('/') + key);
    if (!stored.isValid())
        return false;
    value = stored.toString();
    return true;
}

bool Quolix_Registry::PutAppUserData(const QString& section, const QString& key,
                                     const QString& value)
{
    return SetData(section + QLatin1Char('/') + key, value);
}

QStringList Quolix_Registry::GetRecentDirs()
{
    return GetData(QStringLiteral("Recent_Dirs")).toStringList();
}

bool Quolix_Registry::PutRecentDirs(const QStringList& dirs)
{
    return SetData(QStringLiteral("Recent_Dirs"), dirs);
}

std::vector<QStringList> Quolix_Registry::GetRecentOpenStructureFileLists()
{
    std::vector<QStringList> lists;
    const QVariantList stored = GetData(QStringLiteral("Recent_File_Lists")).toList();
    for (const QVariant& list : stored)
        lists.push_back(list.toStringList());
    return lists;
}

bool Quolix_Registry::PutRecentOpenStructureFileLists(const std::vector<QStringList>& lists)
{
    QVariantList stored;
    for (const QStringList& list : lists)
        stored.append(QVariant(list));
    return SetData(QStringLiteral("Recent_File_Lists"), stored);
}

void Quolix_Registry::SetDefaultIcon(const QPixmap& icon)
{
    StoredIcon() = icon;
}

QPixmap Quolix_Registry::DefaultIcon()
{
    return StoredIcon();
}
