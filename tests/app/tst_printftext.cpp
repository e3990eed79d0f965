#include "app/globals.h"
#include "app/printftext.h"

#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <cstring>

// Console texts are printf formats without arguments: plain text must come out
// byte for byte, "%%" as "%", and no conversion may crash or read memory.
class TestPrintfText : public QObject
{
    Q_OBJECT

private:
    static QByteArray Printed(const QByteArray& format, int* count = nullptr)
    {
        std::FILE* file = std::tmpfile();
        if (!file)
            return "<no temporary file>";
        const int written = PrintfWithoutArguments(file, format);
        if (count)
            *count = written;
        std::rewind(file);
        QByteArray bytes;
        char buffer[256];
        size_t read = 0;
        while ((read = std::fread(buffer, 1, sizeof buffer, file)) > 0)
            bytes.append(buffer, static_cast<int>(read));
        std::fclose(file);
        return bytes;
    }

private slots:
    void plainTextIsPrintedByteForByte()
    {
        const QByteArray text = "Usage:\ttavrol \xe9\xfc [options]\r\n\n";
        int count = 0;
        QCOMPARE(Printed(text, &count), text);
        QCOMPARE(count, text.size());
    }

    void usageTextIsPrintedUnchanged()
    {
        const QByteArray usage = DefaultUsageText().toLatin1();
        QCOMPARE(Printed(usage), usage);
    }

    void doublePercentPrintsOnePercent()
    {
        QCOMPARE(Printed("100%% sure, 50%%"), QByteArray("100% sure, 50%"));
        QCOMPARE(Printed("%5%|"), QByteArray("%|"));
    }

    void conversionsPrintAZeroOfTheirType_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("string") << QByteArray("[%s]") << QByteArray("[]");
        QTest::newRow("padded string") << QByteArray("[%5s]") << QByteArray("[     ]");
        QTest::newRow("left string") << QByteArray("[%-3s]") << QByteArray("[   ]");
        QTest::newRow("wide string") << QByteArray("[%ls][%S]") << QByteArray("[][]");
        QTest::newRow("integer") << QByteArray("[%d][%i][%u]") << QByteArray("[0][0][0]");
        QTest::newRow("flags") << QByteArray("[%+d][% d][%05d][%-3d]")
                               << QByteArray("[+0][ 0][00000][0  ]");
        QTest::newRow("lengths") << QByteArray("[%lld][%hhd][%jd][%zu][%td][%ld]")
                                 << QByteArray("[0][0][0][0][0][0]");
        QTest::newRow("hex") << QByteArray("[%x][%#X][%o]") << QByteArray("[0][0][0]");
        QTest::newRow("double") << QByteArray("[%f][%.2f][%e][%g]")
                                << QByteArray("[0.000000][0.00][0.000000e+00][0]");
        QTest::newRow("long double") << QByteArray("[%Lf]") << QByteArray("[0.000000]");
        QTest::newRow("pointer") << QByteArray("[%p]") << QByteArray("[(nil)]");
        QTest::newRow("star width") << QByteArray("[%*d]") << QByteArray("[0]");
        QTest::newRow("star precision") << QByteArray("[%.*f]") << QByteArray("[0]");
        QTest::newRow("positional") << QByteArray("[%1$s][%2$*3$d]") << QByteArray("[][0]");
        QTest::newRow("store") << QByteArray("[%n][%hhn][%lln]") << QByteArray("[][][]");
        QTest::newRow("unknown conversion") << QByteArray("[%y][%5k]") << QByteArray("[%y][%5k]");
        QTest::newRow("blank flag before a word")
            << QByteArray("50% done") << QByteArray("50 0one");
        QTest::newRow("character") << QByteArray("[%c]") << QByteArray("[\0]", 3);
    }

    void conversionsPrintAZeroOfTheirType()
    {
        QFETCH(QByteArray, format);
        QFETCH(QByteArray, expected);
        int count = -2;
        QCOMPARE(Printed(format, &count), expected);
        QCOMPARE(count, expected.size());
    }

    void errnoConversionPrintsTheErrorText()
    {
        errno = ENOENT;
        QCOMPARE(Printed("[%m]"), QByteArray("[") + std::strerror(ENOENT) + "]");
        QCOMPARE(errno, ENOENT);
    }

    void incompleteConversionEndsTheOutput()
    {
        QCOMPARE(Printed("abc%"), QByteArray("abc"));
        QCOMPARE(Printed("abc%l"), QByteArray("abc"));
        QCOMPARE(Printed("abc%-5.3"), QByteArray("abc"));
    }

    void outputStopsAtTheFirstNulByte()
    {
        QCOMPARE(Printed(QByteArray("ab\0cd", 5)), QByteArray("ab"));
    }

    void manyConversionsNeverCrash()
    {
        const QByteArray format = QByteArray("%s%n%p%d%f%S%ls%*.*s").repeated(200);
        int count = -2;
        const QByteArray printed = Printed(format, &count);
        QCOMPARE(printed, QByteArray("(nil)00.000000").repeated(200));
        QCOMPARE(count, printed.size());
    }
};

QTEST_APPLESS_MAIN(TestPrintfText)
#include "tst_printftext.moc"
