#include "views/listing.h"

#include <QByteArray>
#include <QDateTime>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

const QString ColumnSeparator = QStringLiteral("  ");
constexpr qsizetype OutputBlockSize = 1 << 16;

void PutLine(const QString& line)
{
    std::puts(line.toLocal8Bit().constData());
}

} // namespace

Tavrol_Listing::Tavrol_Listing(const QStringList& headers) : m_headers(headers) {}

void Tavrol_Listing::AddRow(QStringList cells)
{
    m_rows.push_back(std::move(cells));
}

void Tavrol_Listing::Reserve(size_t rows)
{
    m_rows.reserve(rows);
}

QString Tavrol_Listing::TimeText(const QDateTime& time)
{
    return time.toString(QStringLiteral("MM-dd-yyyy hh:mm:ss"));
}

// The larger of each header's length and its column's longest value.
std::vector<int> Tavrol_Listing::ColumnWidths() const
{
    std::vector<int> widths;
    widths.reserve(static_cast<size_t>(m_headers.size()));
    for (const QString& header : m_headers)
        widths.push_back(static_cast<int>(header.size()));
    for (const QStringList& row : m_rows) {
        for (size_t column = 0; column < widths.size(); ++column) {
            const auto length = static_cast<int>(row.value(static_cast<int>(column)).size());
            widths[column] = std::max(widths[column], length);
        }
    }
    return widths;
}

void Tavrol_Listing::JoinPadded(const QStringList& cells, const std::vector<int>& widths,
                                QString& line) const
{
    line.truncate(0); // keeps the buffer of the previous line
    for (size_t column = 0; column < widths.size(); ++column) {
        if (column > 0)
            line += ColumnSeparator;
        const QString cell = cells.value(static_cast<int>(column));
        line += cell;
        if (cell.size() < widths[column])
            line.resize(line.size() + widths[column] - cell.size(), QLatin1Char(' '));
    }
}

// Line by line, each one made in the same buffer as it is written, so that
// a long listing is never held whole a second time beside its cells.
void Tavrol_Listing::WriteLines(const QString& heading,
                                const std::function<void(const QString&)>& write) const
{
    const std::vector<int> widths = ColumnWidths();
    QString line;
    write(heading);
    JoinPadded(m_headers, widths, line);
    const QString dashes(line.size(), QLatin1Char('-'));
    write(line);
    write(dashes);
    for (const QStringList& row : m_rows) {
        JoinPadded(row, widths, line);
        write(line);
    }
}

QString Tavrol_Listing::Text(const QString& heading, const QString& emptyText) const
{
    if (IsEmpty())
        return emptyText + '\n';
    QString text;
    WriteLines(heading, [&text](const QString& line) { text += line + '\n'; });
    return text + '\n';
}

void Tavrol_Listing::Print(const QString& heading, const QString& emptyText) const
{
    if (IsEmpty()) {
        PutLine(emptyText);
    } else {
        // Standard output may be unbuffered: lines go out in blocks of the
        // same bytes that puts would write one by one.
        QByteArray block;
        const auto flush = [&block] {
            std::fwrite(block.constData(), 1, static_cast<size_t>(block.size()), stdout);
            block.clear();
        };
        WriteLines(heading, [&](const QString& line) {
            const QByteArray bytes = line.toLocal8Bit();
            // puts ends a line at its first zero byte.
            const qsizetype zero = bytes.indexOf('\0');
            block += zero < 0 ? bytes : bytes.left(zero);
            block += '\n';
            if (block.size() >= OutputBlockSize)
                flush();
        });
        block += '\n';
        flush();
    }
    std::fflush(stdout);
}
