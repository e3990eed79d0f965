#include "views/listing.h"

#include <QByteArray>
#include <QDateTime>
#include <QStringEncoder>

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

// Lines go out in blocks of the same bytes that puts would write one by one:
// standard output may be unbuffered.
class BlockWriter
{
public:
    BlockWriter() { m_block.reserve(OutputBlockSize + 4096); }
    ~BlockWriter() { Flush(); }
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    // The line in the local 8-bit encoding, as toLocal8Bit gives it, cut at
    // its first zero byte as puts would, and a line feed.
    void Line(const QString& line)
    {
        m_encoder.resetState();
        const qsizetype start = m_block.size();
        m_block.resize(start + m_encoder.requiredSpace(line.size()));
        char* const begin = m_block.data() + start;
        char* const end = m_encoder.appendToBuffer(begin, line);
        const char* const zero =
            std::find(static_cast<const char*>(begin), static_cast<const char*>(end), '\0');
        m_block.resize(start + (zero - begin));
        m_block += '\n';
        if (m_block.size() >= OutputBlockSize)
            Flush();
    }

    void EmptyLine() { m_block += '\n'; }

    void Flush()
    {
        std::fwrite(m_block.constData(), 1, static_cast<size_t>(m_block.size()), stdout);
        m_block.truncate(0);
    }

private:
    QStringEncoder m_encoder{QStringConverter::System};
    QByteArray m_block;
};

void JoinCells(const std::vector<QString>& cells, const std::vector<int>& widths, QString& line)
{
    line.truncate(0); // keeps the buffer of the previous line
    for (size_t column = 0; column < widths.size(); ++column) {
        if (column > 0)
            line += ColumnSeparator;
        const QString& cell = cells[column];
        line += cell;
        if (cell.size() < widths[column])
            line.resize(line.size() + widths[column] - cell.size(), QLatin1Char(' '));
    }
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
        BlockWriter writer;
        WriteLines(heading, [&writer](const QString& line) { writer.Line(line); });
        writer.EmptyLine();
    }
    std::fflush(stdout);
}

void Tavrol_Listing::PrintRows(const QStringList& headers, size_t rows, const CellsOf& cellsOf,
                               const QString& heading, const QString& emptyText)
{
    if (rows == 0) {
        PutLine(emptyText);
        std::fflush(stdout);
        return;
    }
    std::vector<QString> cells(static_cast<size_t>(headers.size()));
    std::vector<int> widths;
    for (const QString& header : headers)
        widths.push_back(static_cast<int>(header.size()));
    for (size_t row = 0; row < rows; ++row) {
        cellsOf(row, cells);
        for (size_t column = 0; column < widths.size(); ++column)
            widths[column] = std::max(widths[column], static_cast<int>(cells[column].size()));
    }
    {
        BlockWriter writer;
        QString line;
        writer.Line(heading);
        JoinCells(std::vector<QString>(headers.cbegin(), headers.cend()), widths, line);
        const QString dashes(line.size(), QLatin1Char('-'));
        writer.Line(line);
        writer.Line(dashes);
        for (size_t row = 0; row < rows; ++row) {
            cellsOf(row, cells);
            JoinCells(cells, widths, line);
            writer.Line(line);
        }
        writer.EmptyLine();
    }
    std::fflush(stdout);
}
