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

// Every line but the closing empty one, in order, each made in the same
// buffer and given to write, so that a long listing is never held whole. The
// columns are as wide as the longest of their header and values, so every
// row's cells are asked for twice.
void WriteLines(const QStringList& headers, size_t rows, const Tavrol_Listing::CellsOf& cellsOf,
                const QString& heading, const std::function<void(const QString&)>& write)
{
    const std::vector<QString> headerCells(headers.cbegin(), headers.cend());
    std::vector<int> widths;
    widths.reserve(headerCells.size());
    for (const QString& header : headerCells)
        widths.push_back(static_cast<int>(header.size()));
    std::vector<QString> cells(headerCells.size());
    for (size_t row = 0; row < rows; ++row) {
        cellsOf(row, cells);
        for (size_t column = 0; column < widths.size(); ++column)
            widths[column] = std::max(widths[column], static_cast<int>(cells[column].size()));
    }
    QString line;
    write(heading);
    JoinCells(headerCells, widths, line);
    const QString dashes(line.size(), QLatin1Char('-'));
    write(line);
    write(dashes);
    for (size_t row = 0; row < rows; ++row) {
        cellsOf(row, cells);
        JoinCells(cells, widths, line);
        write(line);
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

// A kept row may have fewer cells than headers: the missing ones are empty.
Tavrol_Listing::CellsOf Tavrol_Listing::KeptCells() const
{
    return [this](size_t row, std::vector<QString>& cells) {
        const QStringList& kept = m_rows[row];
        for (size_t column = 0; column < cells.size(); ++column)
            cells[column] = kept.value(static_cast<int>(column));
    };
}

QString Tavrol_Listing::Text(const QString& heading, const QString& emptyText) const
{
    if (IsEmpty())
        return emptyText + '\n';
    QString text;
    WriteLines(m_headers, m_rows.size(), KeptCells(), heading,
               [&text](const QString& line) { text += line + '\n'; });
    return text + '\n';
}

void Tavrol_Listing::Print(const QString& heading, const QString& emptyText) const
{
    PrintRows(m_headers, m_rows.size(), KeptCells(), heading, emptyText);
}

void Tavrol_Listing::PrintRows(const QStringList& headers, size_t rows, const CellsOf& cellsOf,
                               const QString& heading, const QString& emptyText)
{
    if (rows == 0) {
        PutLine(emptyText);
    } else {
        BlockWriter writer;
        WriteLines(headers, rows, cellsOf, heading,
                   [&writer](const QString& line) { writer.Line(line); });
        writer.EmptyLine();
    }
    std::fflush(stdout);
}
