#include "platform/filesys.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

QString Quolix_FileSys::m_appHelpDirPath;

namespace {

bool IsShellSafe(QChar c)
{
    if (c.isLetterOrNumber())
        return true;
    static const QString safe = QStringLiteral("_-./+:,@%=");
    return safe.contains(c);
}

bool NeedsQuotes(const QString& path)
{
    if (path.startsWith(QLatin1Char('~')))
        return true;
    for (const QChar c : path) {
        if (!IsShellSafe(c))
            return true;
    }
    return false;
}

} // namespace

QString Quolix_FileSys::ConvertFilename(const QString& path, bool quote, bool /*reserved*/)
{
    QString native = QDir::toNativeSeparators(path);
    if (!quote || native.isEmpty() || !NeedsQuotes(native))
        return native;
    native.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    native.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + native + QLatin1Char('"');
}

bool Quolix_FileSys::SetFileExtension(QString& path, const QString& extension)
{
    QString suffix = extension;
    while (suffix.startsWith(QLatin1Char('.')))
        suffix.remove(0, 1);
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot > slash)
        path.truncate(dot);
    if (!suffix.isEmpty())
        path += QLatin1Char('.') + suffix;
    return true;
}

bool Quolix_FileSys::SetFileExtension(QString& path, FileType type, int mode)
{
    if (type != OmbrixOutputFile)
        return false;
    return SetFileExtension(path, mode == 0 ? QStringLiteral("oout") : QStringLiteral("out"));
}

bool Quolix_FileSys::IsNewOmbrixFileExtension(const QString& suffix)
{
    return suffix.compare(QLatin1String("odat"), Qt::CaseInsensitive) == 0 ||
           suffix.compare(QLatin1String("oout"), Qt::CaseInsensitive) == 0;
}

QString Quolix_FileSys::NewFileName(const QString& base, const QString& extension,
                                    const QString& directory, bool /*reserved*/)
{
    const QDir dir(directory);
    QString suffix = extension;
    while (suffix.startsWith(QLatin1Char('.')))
        suffix.remove(0, 1);
    const QString dotted = suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix;
    QString candidate = dir.absoluteFilePath(base + dotted);
    for (int n = 1; QFileInfo::exists(candidate); ++n)
        candidate = dir.absoluteFilePath(base + QLatin1Char('_') + QString::number(n) + dotted);
    return candidate;
}

QString Quolix_FileSys::FindGaussScrDirPath(bool /*create*/, bool /*check*/)
{
    const QString dir = qEnvironmentVariable("GAUSS_SCRDIR").split(QLatin1Char(':')).value(0);
    return dir.trimmed().isEmpty() ? QString() : QDir::cleanPath(dir.trimmed());
}

QString Quolix_FileSys::GaussExeDirPath()
{
    const QString exeDir = qEnvironmentVariable("GAUSS_EXEDIR").split(QLatin1Char(':')).value(0);
    if (!exeDir.trimmed().isEmpty())
        return QDir::cleanPath(exeDir.trimmed());
    const QString g16root = qEnvironmentVariable("g16root").trimmed();
    if (!g16root.isEmpty())
        return QDir::cleanPath(g16root + QLatin1String("/g16"));
    const QString g09root = qEnvironmentVariable("g09root").trimmed();
    if (!g09root.isEmpty())
        return QDir::cleanPath(g09root + QLatin1String("/g09"));
    static const char* const standardDirs[] = {"/opt/g16", "/usr/local/g16", "/opt/g09",
                                               "/usr/local/g09"};
    for (const char* dir : standardDirs) {
        if (QFileInfo(QLatin1String(dir)).isDir())
            return QLatin1String(dir);
    }
    return QStringLiteral("/opt/g16");
}

QString Quolix_FileSys::GaussExePath()
{
    const QString dir = GaussExeDirPath();
    const QString g16 = dir + QLatin1String("/g16");
    const QString g09 = dir + QLatin1String("/g09");
    if (!QFile::exists(g16) && QFile::exists(g09))
        return g09;
    return g16;
}

QString Quolix_FileSys::OmbrixExePath()
{
    const QString path = qEnvironmentVariable("TAVROL_OMBRIX_EXE").trimmed();
    return path.isEmpty() ? QStringLiteral("/opt/ombrix/bin/ombrix") : path;
}
