#include "queuetesthelpers.h"

#include "views/listing.h"

#include <QDateTime>
#include <QTest>

using namespace QueueTest;

class TstListing : public QObject
{
    Q_OBJECT

private:
    static Tavrol_Listing Sample()
    {
        Tavrol_Listing listing(
            {QStringLiteral("Job ID"), QStringLiteral("Name"), QStringLiteral("Status")});
        listing.AddRow(
            {QStringLiteral("7"), QStringLiteral("Molécule"), QStringLiteral("Pending")});
        listing.AddRow({QStringLiteral("12"), QStringLiteral("a"), QStringLiteral("Running")});
        return listing;
    }

    static QByteArray SampleBytes()
    {
        // Widths: the header where it is longer, else the longest value; every
        // cell padded, the last column too ("Status " under the header).
        return QStringLiteral("\nHeading\n"
                              "Job ID  Name      Status \n"
                              "-------------------------\n"
                              "7       Molécule  Pending\n"
                              "12      a         Running\n"
                              "\n")
            .toLocal8Bit();
    }

private slots:
    void printWritesHeadingHeadersDashesRowsAndAnEmptyLine()
    {
        const Tavrol_Listing listing = Sample();
        StdoutCapture capture;
        listing.Print(QStringLiteral("\nHeading"), QStringLiteral("\nNothing is Empty\n"));
        QCOMPARE(capture.Bytes(), SampleBytes());
    }

    void textIsWhatPrintWrites()
    {
        const Tavrol_Listing listing = Sample();
        QCOMPARE(
            listing.Text(QStringLiteral("\nHeading"), QStringLiteral("\nEmpty\n")).toLocal8Bit(),
            SampleBytes());
    }

    void printRowsWritesWhatAKeptListingPrints()
    {
        const std::vector<QStringList> rows{
            {QStringLiteral("7"), QStringLiteral("Molécule"), QStringLiteral("Pending")},
            {QStringLiteral("12"), QStringLiteral("a"), QStringLiteral("Running")}};
        int asked = 0;
        StdoutCapture capture;
        Tavrol_Listing::PrintRows(
            {QStringLiteral("Job ID"), QStringLiteral("Name"), QStringLiteral("Status")},
            rows.size(),
            [&](size_t row, std::vector<QString>& cells) {
                ++asked;
                QCOMPARE(cells.size(), size_t(3));
                for (size_t column = 0; column < cells.size(); ++column)
                    cells[column] = rows[row][int(column)];
            },
            QStringLiteral("\nHeading"), QStringLiteral("\nNothing\n"));
        QCOMPARE(capture.Bytes(), SampleBytes());
        QCOMPARE(asked, 4); // each row once for the widths, once written
    }

    void printRowsWithoutRowsPrintsOnlyItsEmptyText()
    {
        StdoutCapture capture;
        Tavrol_Listing::PrintRows(
            {QStringLiteral("A")}, 0, [](size_t, std::vector<QString>&) { QFAIL("asked"); },
            QStringLiteral("\nHeading"), QStringLiteral("\nNothing\n"));
        QCOMPARE(capture.Bytes(), QByteArray("\nNothing\n\n"));
    }

    // puts stops at a zero byte; the rest of that line is not written.
    void printRowsCutsALineAtAZeroCharacter()
    {
        Tavrol_Listing kept({QStringLiteral("A"), QStringLiteral("B")});
        const QStringList cells{QStringLiteral("x") + QChar(0) + QStringLiteral("y"),
                                QStringLiteral("z")};
        kept.AddRow(cells);
        StdoutCapture keptCapture;
        kept.Print(QStringLiteral("H"), QString());
        const QByteArray keptBytes = keptCapture.Bytes();
        StdoutCapture capture;
        Tavrol_Listing::PrintRows(
            {QStringLiteral("A"), QStringLiteral("B")}, 1,
            [&](size_t, std::vector<QString>& row) {
                row[0] = cells[0];
                row[1] = cells[1];
            },
            QStringLiteral("H"), QString());
        QCOMPARE(capture.Bytes(), keptBytes);
        QCOMPARE(capture.Bytes(), QByteArray("H\nA    B\n------\nx\n\n"));
    }

    void anEmptyListingPrintsOnlyItsEmptyText()
    {
        const Tavrol_Listing listing({QStringLiteral("A"), QStringLiteral("B")});
        QVERIFY(listing.IsEmpty());
        StdoutCapture capture;
        listing.Print(QStringLiteral("\nHeading"),
                      QStringLiteral("\nFinished Jobs List is Empty\n"));
        // puts adds its own line end behind the text's.
        QCOMPARE(capture.Bytes(), QByteArray("\nFinished Jobs List is Empty\n\n"));
    }

    void theDashLineIsAsLongAsThePaddedHeaderLine()
    {
        Tavrol_Listing listing({QStringLiteral("A"), QStringLiteral("B")});
        listing.AddRow({QStringLiteral("long value"), QStringLiteral("x")});
        const QStringList lines = listing.Text(QStringLiteral("H"), QString()).split('\n');
        QCOMPARE(lines.at(1), QStringLiteral("A           B"));
        QCOMPARE(lines.at(2), QString(13, '-'));
        QCOMPARE(lines.at(3), QStringLiteral("long value  x"));
    }

    void aRowWithFewerCellsIsPaddedWithBlanks()
    {
        Tavrol_Listing listing({QStringLiteral("One"), QStringLiteral("Two")});
        listing.AddRow({QStringLiteral("1")});
        QCOMPARE(listing.Text(QStringLiteral("H"), QString()),
                 QStringLiteral("H\nOne  Two\n--------\n1       \n\n"));
    }

    void timesAreMonthFirst()
    {
        const QDateTime time(QDate(2024, 5, 17), QTime(14, 3, 9));
        QCOMPARE(Tavrol_Listing::TimeText(time), QStringLiteral("05-17-2024 14:03:09"));
        QCOMPARE(Tavrol_Listing::TimeText(QDateTime()), QString());
    }
};

QTEST_GUILESS_MAIN(TstListing)
#include "tst_listing.moc"
