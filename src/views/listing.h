#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QDateTime;

// The console listing that every view prints: a heading, the headers and the
// rows in columns as wide as their longest value or header, every cell padded
// on the right with blanks (the last column too), a dash line as long as the
// header line, and one empty line. An empty listing prints only its empty text.
class Tavrol_Listing
{
public:
    explicit Tavrol_Listing(const QStringList& headers);

    void AddRow(QStringList cells);
    void Reserve(size_t rows);
    bool IsEmpty() const { return m_rows.empty(); }

    // The exact text that Print writes, for the given heading and empty text.
    QString Text(const QString& heading, const QString& emptyText) const;
    // Writes the text to standard output as puts and putchar would, in the local
    // 8-bit encoding, and flushes.
    void Print(const QString& heading, const QString& emptyText) const;

    // The cells of one row of a listing that is not kept: the function gives
    // the texts of row number row into cells, which holds one entry per header.
    using CellsOf = std::function<void(size_t row, std::vector<QString>& cells)>;
    // Prints the same text as a listing holding those rows would, without
    // keeping them: cellsOf is asked for every row twice, once for the column
    // widths and once as the row is written.
    static void PrintRows(const QStringList& headers, size_t rows, const CellsOf& cellsOf,
                          const QString& heading, const QString& emptyText);

    // "MM-dd-yyyy hh:mm:ss"; empty for a null time.
    static QString TimeText(const QDateTime& time);

private:
    CellsOf KeptCells() const;

    QStringList m_headers;
    std::vector<QStringList> m_rows;
};
