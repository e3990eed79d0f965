#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class Quolix_String
{
public:
    // Splits a command line into words at blanks. A word in double quotes, as
    // Quolix_FileSys::ConvertFilename writes it, stays whole with the quotes
    // removed and its backslash escapes undone. With keepEmptyQuoted, a quoted
    // empty word ("") is kept as an empty argument.
    static QStringList MakeStringList(const QString& text, bool keepEmptyQuoted);

    // Index of the first entry equal to text, or -1.
    static int FindIndex(const QString& text, const QStringList& list, bool caseSensitive);

    // The first of the longest strings, or an empty string for an empty list.
    static QString MaxString(const QStringList& list);

    // The bytes before the first zero byte, all of them if there is none: the
    // text a C string of them would hold.
    static QByteArray UpToFirstZero(const QByteArray& bytes);
};
