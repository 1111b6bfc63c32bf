// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNameFilter.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestNameFilter : public QObject
{
    Q_OBJECT

private slots:
    void matches_data();
    void matches();
    void folded_data();
    void folded();
    void agreesWithFoldedContains();
};

void TestNameFilter::matches_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("expected");

    const QString cafeComposed = u"Caf\u00e9 cr\u00e8me.txt"_s;
    const QString cafeDecomposed = u"Cafe\u0301 cre\u0300me.txt"_s;
    QTest::newRow("plain text finds an accented name") << u"cafe"_s << cafeComposed << true;
    QTest::newRow("the decomposed spelling is the same name") << u"caf\u00e9 cr"_s << cafeDecomposed << true;
    QTest::newRow("an accented text finds a plain name") << u"r\u00e9sum\u00e9"_s << u"Resume 2024.pdf"_s << true;
    QTest::newRow("stacked accents fold away") << u"uu"_s << u"\u01d6\u01d7"_s << true;
    QTest::newRow("strasse finds Stra\u00dfe") << u"strasse"_s << u"Stra\u00dfe 5.jpg"_s << true;
    QTest::newRow("a stroke is not a letter") << u"lodz"_s << u"\u0141\u00f3d\u017a.png"_s << true;
    QTest::newRow("dotted capital I of Turkish") << u"istanbul"_s << u"\u0130STANBUL"_s << true;
    QTest::newRow("final sigma folds like sigma") << u"\u03bb\u03bf\u03b3\u03bf\u03c3"_s << u"\u039b\u039f\u0393\u039f\u03a3"_s << true;
    QTest::newRow("a ligature character is its letters") << u"file"_s << u"\ufb01le"_s << true;
    QTest::newRow("a mathematical letter beyond the BMP") << u"x"_s << u"\U0001d431"_s << true;
    QTest::newRow("kana voicing marks are kept") << u"\u304c"_s << u"\u304b"_s << false;
    QTest::newRow("kana with its mark, composed or not") << u"\u304c"_s << u"\u304b\u3099"_s << true;
    QTest::newRow("devanagari vowel signs are kept") << u"\u0915\u0941"_s << u"\u0915"_s << false;
    QTest::newRow("a different letter is different") << u"cafe"_s << u"Caff\u00e8"_s << false;
    QTest::newRow("the empty text matches everything") << QString() << u"x"_s << true;
    QTest::newRow("a text of accents alone matches everything") << u"\u0301\u0300"_s << u"x"_s << true;
    QTest::newRow("a text longer than the name") << u"abc"_s << u"ab"_s << false;
    QTest::newRow("a repeat after a false start") << u"aab"_s << u"aaab"_s << true;
    QTest::newRow("a false start that folds from a ligature") << u"ssa"_s << u"\u00dfsa"_s << true;
    QTest::newRow("a lone surrogate is kept and does not match a letter") << u"a"_s << QString(QChar(0xD800)) << false;
}

void TestNameFilter::matches()
{
    QFETCH(QString, text);
    QFETCH(QString, name);
    QFETCH(bool, expected);
    const TQNameFilter filter(text);
    QCOMPARE(filter.matches(name), expected);
    QCOMPARE(filter.text(), text);
}

void TestNameFilter::folded_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("accents and case") << u"\u00c9t\u00c9 \u00e0 Paris"_s << u"ete a paris"_s;
    QTest::newRow("sharp s and strokes") << u"Stra\u00dfe \u00d8resund \u0110akovo"_s << u"strasse oresund dakovo"_s;
    QTest::newRow("Angstrom sign decomposes, then folds") << u"\u212b"_s << u"a"_s;
    QTest::newRow("Hangul syllable kept whole") << u"\ud55c"_s << u"\ud55c"_s;
    QTest::newRow("symbols pass through") << u"#1 (copy) \u2192 \U0001f600"_s << u"#1 (copy) \u2192 \U0001f600"_s;
}

void TestNameFilter::folded()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(TQNameFilter::folded(text), expected);
}

// The streaming matcher against the plain definition, substring of the folded forms, over
// every piece of some hard names: false starts, repeats and expansions.
void TestNameFilter::agreesWithFoldedContains()
{
    const QStringList names{u"aaabaaabaaaab"_s, u"Stra\u00dfestrasse\u00df"_s, u"\u00e9e\u0301E\u00c9"_s,
                            u"abcabdabcabcabd"_s, u"\ufb03\ufb00\ufb01"_s};
    for (const QString &name : names) {
        const QString foldedName = TQNameFilter::folded(name);
        for (qsizetype from = 0; from < name.size(); ++from) {
            for (qsizetype length = 1; from + length <= name.size(); ++length) {
                const QString piece = name.mid(from, length);
                const TQNameFilter filter(piece);
                const bool expected = foldedName.contains(TQNameFilter::folded(piece));
                QVERIFY2(filter.matches(name) == expected, qPrintable(piece + u" in "_s + name));
            }
        }
        // A text that is not a piece: each piece with a letter appended that the name lacks.
        QVERIFY(!TQNameFilter(name + u"z"_s).matches(name));
    }
}

QTEST_APPLESS_MAIN(TestNameFilter)
#include "tst_namefilter.moc"
