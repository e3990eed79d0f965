#include "platform/collection.h"
#include "platform/string.h"

#include <QtTest>

class TestString : public QObject
{
    Q_OBJECT

private slots:
    void makeStringListSplitsAtBlanks()
    {
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("  a  b\tc "), true),
                 QStringList({"a", "b", "c"}));
        QCOMPARE(Quolix_String::MakeStringList(QString(), true), QStringList());
    }

    void makeStringListKeepsQuotedWordsWhole()
    {
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("-b \"/a b/c d\" x"), true),
                 QStringList({"-b", "/a b/c d", "x"}));
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("pre\"fix q\"post"), true),
                 QStringList({"prefix qpost"}));
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("\"a \\\"b\\\" \\\\c\""), true),
                 QStringList({"a \"b\" \\c"}));
    }

    void emptyQuotedWordIsKeptOnlyWhenAsked()
    {
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("a \"\" b"), true),
                 QStringList({"a", "", "b"}));
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("a \"\" b"), false),
                 QStringList({"a", "b"}));
    }

    void unterminatedQuoteRunsToTheEnd()
    {
        QCOMPARE(Quolix_String::MakeStringList(QStringLiteral("a \"b c"), true),
                 QStringList({"a", "b c"}));
    }

    void findIndex()
    {
        const QStringList list = {"GeneralData", "JobTypes"};
        QCOMPARE(Quolix_String::FindIndex(QStringLiteral("jobtypes"), list, false), 1);
        QCOMPARE(Quolix_String::FindIndex(QStringLiteral("jobtypes"), list, true), -1);
        QCOMPARE(Quolix_String::FindIndex(QStringLiteral("Queues"), list, false), -1);
    }

    void maxStringIsTheFirstLongest()
    {
        QCOMPARE(Quolix_String::MaxString({"ab", "xyz", "abc", "a"}), QStringLiteral("xyz"));
        QCOMPARE(Quolix_String::MaxString({}), QString());
    }

    void upToFirstZeroCutsAtTheFirstZeroByte()
    {
        QCOMPARE(Quolix_String::UpToFirstZero(QByteArray("ab\0cd\0e", 7)), QByteArray("ab"));
        QCOMPARE(Quolix_String::UpToFirstZero(QByteArray("\0ab", 3)), QByteArray());
        QCOMPARE(Quolix_String::UpToFirstZero(QByteArray("abc")), QByteArray("abc"));
        QCOMPARE(Quolix_String::UpToFirstZero(QByteArray()), QByteArray());
    }

    void collectionSortsAscending()
    {
        std::vector<int> values = {5, -1, 3, 3, 0};
        Quolix_Collection::Sort(values);
        QCOMPARE(values, std::vector<int>({-1, 0, 3, 3, 5}));
    }
};

QTEST_GUILESS_MAIN(TestString)
#include "tst_string.moc"
