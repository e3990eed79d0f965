#include "platform/string.h"

QStringList Quolix_String::MakeStringList(const QString& text, bool keepEmptyQuoted)
{
    QStringList words;
    QString word;
    bool inWord = false;
    bool quoted = false;
    bool wasQuoted = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < text.size() &&
                (text.at(i + 1) == QLatin1Char('"') || text.at(i + 1) == QLatin1Char('\\'))) {
                word += text.at(++i);
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                word += c;
            }
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inWord = true;
            wasQuoted = true;
        } else if (c.isSpace()) {
            if (inWord && (!word.isEmpty() || (wasQuoted && keepEmptyQuoted)))
                words << word;
            word.clear();
            inWord = false;
            wasQuoted = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord && (!word.isEmpty() || (wasQuoted && keepEmptyQuoted)))
        words << word;
    return words;
}

int Quolix_String::FindIndex(const QString& text, const QStringList& list, bool caseSensitive)
{
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (int i = 0; i < list.size(); ++i) {
        if (list.at(i).compare(text, cs) == 0)
            return i;
    }
    return -1;
}

QString Quolix_String::MaxString(const QStringList& list)
{
    QString longest;
    for (const QString& entry : list) {
        if (entry.size() > longest.size())
            longest = entry;
    }
    return longest;
}

QByteArray Quolix_String::UpToFirstZero(const QByteArray& bytes)
{
    const qsizetype zero = bytes.indexOf('\0');
    return zero >= 0 ? bytes.left(zero) : bytes;
}
