#pragma once

// The processor time a process of this host has used, from /proc.

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>

namespace TestSupport {

// User and system time together, in clock ticks; -1 when the process is gone.
inline long long ProcessCpuTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    // Fields after the command name, which is in parentheses and may hold blanks.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return fields[11].toLongLong() + fields[12].toLongLong(); // utime, stime
}

} // namespace TestSupport
