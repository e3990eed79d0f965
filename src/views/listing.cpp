#include "views/listing.h"

#include "platform/string.h"

#include <QDateTime>

#include <algorithm>
#include <cstdio>

namespace {

const QString ColumnSeparator = QStringLiteral("  ");

void PutLine(const QString& line)
{
    std::puts(line.toLocal8Bit().constData());
}

} // namespace

Tavrol_Listing::Tavrol_Listing(const QStringList& headers) : m_headers(headers) {}

void Tavrol_Listing::AddRow(const QStringList& cells)
{
    m_rows.push_back(cells);
}

QString Tavrol_Listing::TimeText(const QDateTime& time)
{
    return time.toString(QStringLiteral("MM-dd-yyyy hh:mm:ss"));
}

std::vector<int> Tavrol_Listing::ColumnWidths() const
{
    std::vector<int> widths;
    for (int column = 0; column < m_headers.size(); ++column) {
        QStringList values;
        for (const QStringList& row : m_rows)
            values.append(row.value(column));
        const auto longest = static_cast<int>(Quolix_String::MaxString(values).size());
        widths.push_back(std::max(static_cast<int>(m_headers[column].size()), longest));
    }
    return widths;
}

QString Tavrol_Listing::JoinPadded(const QStringList& cells, const std::vector<int>& widths) const
{
    QStringList padded;
    for (size_t column = 0; column < widths.size(); ++column)
        padded.append(cells.value(static_cast<int>(column)).leftJustified(widths[column], ' '));
    return padded.join(ColumnSeparator);
}

QStringList Tavrol_Listing::Lines(const QString& heading) const
{
    const std::vector<int> widths = ColumnWidths();
    const QString headerLine = JoinPadded(m_headers, widths);
    QStringList lines{heading, headerLine, QString(headerLine.size(), '-')};
    for (const QStringList& row : m_rows)
        lines.append(JoinPadded(row, widths));
    return lines;
}

QString Tavrol_Listing::Text(const QString& heading, const QString& emptyText) const
{
    if (IsEmpty())
        return emptyText + '\n';
    QString text;
    for (const QString& line : Lines(heading))
        text += line + '\n';
    return text + '\n';
}

void Tavrol_Listing::Print(const QString& heading, const QString& emptyText) const
{
    if (IsEmpty()) {
        PutLine(emptyText);
    } else {
        for (const QString& line : Lines(heading))
            PutLine(line);
        std::putchar('\n');
    }
    std::fflush(stdout);
}
