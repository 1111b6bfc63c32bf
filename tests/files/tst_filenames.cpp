// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQUtilityFunctions.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestFileNames : public QObject
{
    Q_OBJECT

private slots:
    void replaceAll_data();
    void replaceAll();
    void replaceFindingTheStringItself();
    void cleanFileName_data();
    void cleanFileName();
    void cleanFileNameOfNothing();
};

void TestFileNames::replaceAll_data()
{
    QTest::addColumn<QString>("string");
    QTest::addColumn<QString>("find");
    QTest::addColumn<QString>("replacement");
    QTest::addColumn<QString>("expected");

    QTest::newRow("pairs of a become b") << "aaaa" << "aa" << "b" << "bb";
    QTest::newRow("the replacement joins the next letter and is replaced again") << "abb" << "ab" << "a" << "a";
    QTest::newRow("a chain collapses rightwards") << "abbbb" << "ab" << "a" << "a";
    QTest::newRow("what the replacement forms with the text before it is not sought") << "aaab" << "ab" << "b" << "aab";
    QTest::newRow("a longer replacement") << "x-y-z" << "-" << "+=" << "x+=y+=z";
    QTest::newRow("removal") << "a.b.c" << "." << "" << "abc";
    QTest::newRow("case matters") << "Aa" << "a" << "b" << "Ab";
    QTest::newRow("no occurrence") << "abc" << "x" << "y" << "abc";
    QTest::newRow("an empty string to find is found nowhere") << "abc" << "" << "x" << "abc";
    QTest::newRow("in an empty string") << "" << "a" << "b" << "";
    QTest::newRow("composed and decomposed accents differ") << u"caf\u00e9 cafe\u0301"_s << u"\u00e9"_s << "e" << u"cafe cafe\u0301"_s;
    QTest::newRow("half of a surrogate pair is a code unit like any other")
        << u"a\U0001F600b"_s << QString(QChar(0xD83D)) << "?" << (u"a?"_s + QChar(0xDE00) + u'b');
}

void TestFileNames::replaceAll()
{
    QFETCH(QString, string);
    QFETCH(QString, find);
    QFETCH(QString, replacement);
    QFETCH(QString, expected);
    TQReplaceAllOccurrancesOfString(string, find, replacement);
    QCOMPARE(string, expected);
}

void TestFileNames::replaceFindingTheStringItself()
{
    // Were the needle read again after the first replacement, it would be "x" and be found in
    // its own replacement forever.
    QString string = u"abc"_s;
    TQReplaceAllOccurrancesOfString(string, string, u"x"_s);
    QCOMPARE(string, u"x"_s);
}

void TestFileNames::cleanFileName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("a slash and a colon") << "a/b:c" << "a|b.c";
    QTest::newRow("a NUL between two letters joins them") << QString(u"a\0b"_s) << "ab";
    QTest::newRow("only NULs") << QString(u"\0\0\0"_s) << "";
    QTest::newRow("a path becomes one name") << "/usr/local/bin/" << "|usr|local|bin|";
    QTest::newRow("a time of day") << "12:30:05" << "12.30.05";
    QTest::newRow("leading dots and spaces stay") << " ..hidden " << " ..hidden ";
    QTest::newRow("a bar and a dot are kept as they are") << "a|b.c" << "a|b.c";
    QTest::newRow("an empty name") << "" << "";
    QTest::newRow("no length limit") << QString(1000, u':') << QString(1000, u'.');
    QTest::newRow("other characters are untouched") << u"\u00e9t\u00e9\\*?<>\"\t"_s << u"\u00e9t\u00e9\\*?<>\"\t"_s;
}

void TestFileNames::cleanFileName()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    const std::optional<QString> clean = TQCreateCleanFileName(name);
    QVERIFY(clean.has_value());
    QCOMPARE(*clean, expected);
}

void TestFileNames::cleanFileNameOfNothing()
{
    QVERIFY(!TQCreateCleanFileName(std::nullopt).has_value());
    // A null QString is a name, an empty one.
    const std::optional<QString> empty = TQCreateCleanFileName(QString());
    QVERIFY(empty.has_value());
    QVERIFY(empty->isEmpty());
}

QTEST_GUILESS_MAIN(TestFileNames)
#include "tst_filenames.moc"
