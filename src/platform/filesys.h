#pragma once

#include <QString>

// File names, and where the external programs are expected on this machine.
class Quolix_FileSys
{
public:
    enum FileType
    {
        OmbrixOutputFile = 1
    };

    // Where help pages are looked for; set by ApplicationInit.
    static QString m_appHelpDirPath;

    // The path in native form. With quote, a path that a shell would split or
    // interpret is wrapped in double quotes, with '"' and '\' escaped by a
    // backslash; Quolix_String::MakeStringList undoes exactly this.
    static QString ConvertFilename(const QString& path, bool quote, bool reserved);

    // Replaces the suffix after the last point of the file name by extension
    // (given as ".log" or "log"), or appends it when the name has none.
    static bool SetFileExtension(QString& path, const QString& extension);
    // For OmbrixOutputFile: mode 0 gives the new "oout", mode 1 the older "out".
    static bool SetFileExtension(QString& path, FileType type, int mode);
    // "odat" and "oout" are the new Ombrix extensions, "dat" and "out" the older ones.
    static bool IsNewOmbrixFileExtension(const QString& suffix);

    // A path in directory, base.extension or base_N.extension, naming no
    // existing file. The file is not created.
    static QString NewFileName(const QString& base, const QString& extension,
                               const QString& directory, bool reserved);

    // GAUSS_EXEDIR (its first entry), else $g16root/g16, else $g09root/g09,
    // else the first standard install directory that exists, else /opt/g16.
    // The scratch directory the quantum program uses, from its environment,
    // or an empty string when none is set. The flags are kept for callers
    // that may one day ask for it to be made or checked; neither is used.
    static QString FindGaussScrDirPath(bool create, bool check);
    static QString GaussExeDirPath();
    // g16 in that directory, else g09 if only that exists.
    static QString GaussExePath();
    // TAVROL_OMBRIX_EXE, else /opt/ombrix/bin/ombrix.
    static QString OmbrixExePath();
};
