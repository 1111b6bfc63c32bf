// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQDateUtilities.h"
#include "TQNameFilter.h"
#include "TQNumberUtilities.h"
#include "TQStringUtilities.h"

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QSet>
#include <QTest>
#include <QTranslator>

using namespace Qt::StringLiterals;
using namespace TQStringUtilities;

namespace {

using Table = QHash<QString, QString>;

const QDateTime now = QDateTime(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC);

// A fraction of one half makes the estimate equal to the time elapsed.
QDateTime startedSecondsAgo(double seconds) { return now.addMSecs(qint64(std::llround(-seconds * 1000.0))); }

// A real translator, as a host would install one, whose table lives in memory and which
// remembers every text it was asked for.
class TableTranslator : public QTranslator
{
public:
    explicit TableTranslator(Table table) : m_table(std::move(table)) {}

    QString translate(const char *context, const char *source, const char * = nullptr, int = -1) const override
    {
        if (qstrcmp(context, "Quillbox") != 0)
            return QString();
        asked.insert(QString::fromUtf8(source));
        return m_table.value(QString::fromUtf8(source));
    }
    bool isEmpty() const override { return false; }

    mutable QSet<QString> asked;
    const Table m_table;
};

} // namespace

class TestStringUtilities : public QObject
{
    Q_OBJECT

    const QLocale english{QLocale::English, QLocale::UnitedStates};
    QLocale originalDefault;

private slots:
    void initTestCase() { QLocale::setDefault(english); }
    void cleanupTestCase() { QLocale::setDefault(originalDefault); }

    void finderStyleCompare_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("self");
        QTest::addColumn<QString>("other");
        QTest::addColumn<int>("expected");

        const QLocale en = english, sv(QLocale::Swedish, QLocale::Sweden), c = QLocale::c();
        QTest::newRow("digit runs compare by value") << en << u"file2"_s << u"file10"_s << -1;
        QTest::newRow("case is ignored before digits") << en << u"FILE10"_s << u"file9"_s << 1;
        QTest::newRow("names differing in case are not equal, lowercase first") << en << u"abc"_s << u"ABC"_s << -1;
        QTest::newRow("identical names are equal") << en << u"Photo 1.jpg"_s << u"Photo 1.jpg"_s << 0;
        QTest::newRow("the empty name comes first") << en << u""_s << u"a"_s << -1;
        QTest::newRow("a leading space sorts before letters") << en << u" b"_s << u"a"_s << -1;
        QTest::newRow("full-width digits compare by value") << en << u"ｆｉｌｅ２"_s << u"file10"_s << -1;
        QTest::newRow("full-width and ordinary forms tie, ordinary first") << en << u"file2"_s << u"ｆｉｌｅ２"_s << -1;
        QTest::newRow("a full-width name ties by case only with its folded form")
            << en << u"ｆｉｌｅ２"_s << u"File2"_s << -1;
        QTest::newRow("width is folded before case breaks a tie") << en << u"ｆa"_s << u"fA"_s << -1;
        QTest::newRow("half-width katakana ties with its ordinary form") << en << u"ｶﾞ"_s << u"ガ"_s << 1;
        QTest::newRow("an accent makes a name different") << en << u"résumé"_s << u"resume"_s << 1;
        QTest::newRow("an accent weighs less than a letter") << en << u"résumé"_s << u"resumf"_s << -1;
        QTest::newRow("equivalent accent spellings differ by code units") << en << u"\u00e9"_s << u"e\u0301"_s << 1;
        QTest::newRow("leading zeros tie, then code units decide") << en << u"file02"_s << u"file2"_s << -1;
        QTest::newRow("in English o with diaeresis is an o") << en << u"ö"_s << u"z"_s << -1;
        QTest::newRow("in Swedish o with diaeresis follows z") << sv << u"ö"_s << u"z"_s << 1;
        QTest::newRow("in Swedish digit runs compare by value") << sv << u"bild9"_s << u"bild10"_s << -1;
        QTest::newRow("the C locale still compares digit runs by value") << c << u"file2"_s << u"file10"_s << -1;
        QTest::newRow("the C locale still ignores case first") << c << u"B"_s << u"a"_s << 1;
    }

    void finderStyleCompare()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, self);
        QFETCH(QString, other);
        QFETCH(int, expected);
        QLocale::setDefault(locale);
        const auto restore = qScopeGuard([this] { QLocale::setDefault(english); });
        QCOMPARE(TQStringUtilities::finderStyleCompare(self, other), expected);
        QCOMPARE(TQStringUtilities::finderStyleCompare(other, self), -expected);
        QCOMPARE(TQStringUtilities::finderStyleCompare(self, &other), expected);
        QCOMPARE(TQStringUtilities::finderStyleCompare(self, nullptr), -1); // a missing string sorts first
        const auto selfKey = finderStyleSortKey(self), otherKey = finderStyleSortKey(other);
        QCOMPARE(compare(selfKey, otherKey), expected);
        QCOMPARE(compare(otherKey, selfKey), -expected);
    }

    void sortKeysOrderLikeCompare()
    {
        const QStringList names = {
            u"file10"_s, u"File2"_s, u"file2"_s, u"ｆｉｌｅ２"_s, u"FILE2"_s, u"file02"_s, u"file1"_s, u"file 2"_s,
            u" file2"_s, u"  file2"_s, u""_s, u"résumé"_s, u"resume"_s, u"Résumé"_s, u"resumf"_s, u"e\u0301"_s,
            u"\u00e9"_s, u"E"_s, u"e"_s, u"ｅ"_s, u"abc"_s, u"ABC"_s, u"Abc"_s, u"ａｂｃ"_s, u"abc10def"_s,
            u"abc9def"_s, u"abc9Def"_s, u"9"_s, u"10"_s, u"０9"_s, u"ö"_s, u"o"_s, u"z"_s, u"ガ"_s, u"ｶﾞ"_s,
            u"カ"_s, u"a\u3000b"_s, u"a b"_s, u"a\u200bb"_s, u"ab"_s, u"_x"_s, u"x.jpg"_s, u"x.JPG"_s};
        QStringList byCompare = names;
        std::sort(byCompare.begin(), byCompare.end(),
                  [](const QString &a, const QString &b) { return TQStringUtilities::finderStyleCompare(a, b) < 0; });
        for (qsizetype i = 1; i < byCompare.size(); ++i)
            QCOMPARE(TQStringUtilities::finderStyleCompare(byCompare.at(i - 1), byCompare.at(i)), -1);
        std::vector<FinderStyleSortKey> keys;
        for (const QString &name : names)
            keys.push_back(finderStyleSortKey(name));
        std::sort(keys.begin(), keys.end());
        QStringList byKey;
        for (const auto &key : keys)
            byKey.append(key.string());
        QCOMPARE(byKey, byCompare);
    }

    void paths_data()
    {
        QTest::addColumn<QString>("self");
        QTest::addColumn<QString>("directory");
        QTest::addColumn<bool>("inDirectory"); // standardised parent is the folder
        QTest::addColumn<bool>("inSubdirectory"); // plain text prefix

        QTest::newRow("trailing separator of the folder") << u"/x/y/z.jpg"_s << u"/x/y/"_s << true << true;
        QTest::newRow("dot component of the folder") << u"/x/y/z.jpg"_s << u"/x/./y"_s << true << false;
        QTest::newRow("a file in a subfolder") << u"/x/y/w/z.jpg"_s << u"/x/y"_s << false << true;
        QTest::newRow("a folder and itself") << u"/x/y"_s << u"/x/y"_s << false << true;
        QTest::newRow("a trailing separator makes no component") << u"/x/y/w/"_s << u"/x/y"_s << true << true;
        QTest::newRow("dot-dot component of the file") << u"/x/w/../y/z.jpg"_s << u"/x/y"_s << true << false;
        QTest::newRow("a similar folder name") << u"/x/yz/a.jpg"_s << u"/x/y"_s << false << true;
        QTest::newRow("the parent") << u"/x"_s << u"/x/y"_s << false << false;
        QTest::newRow("a tilde is the home folder") << QDir::homePath() + u"/a.jpg"_s << u"~"_s << true << false;
        QTest::newRow("a top-level entry and the root") << u"/etc"_s << u"/"_s << true << true;
        QTest::newRow("the root and a folder named by nothing") << u"/"_s << QString() << false << false;
        QTest::newRow("the empty folder") << u"/x/y"_s << u""_s << false << false;
    }

    void paths()
    {
        QFETCH(QString, self);
        QFETCH(QString, directory);
        QTEST(isInDirectory(self, directory), "inDirectory");
        QTEST(isInSubdirectoryOfDirectory(self, directory), "inSubdirectory");
    }

    void fractionValue_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("expected");

        QTest::newRow("two and a half seconds is a mixed number") << 2.5 << u"2 1/2"_s;
        QTest::newRow("a short exposure is a unit fraction") << 0.004 << u"1/250"_s;
        QTest::newRow("an eightieth of a second survives rounding") << 0.0125 << u"1/80"_s;
        QTest::newRow("three tenths rounds to a third") << 0.3 << u"1/3"_s;
        QTest::newRow("three quarters rounds to a whole unit fraction") << 0.75 << u"1/1"_s;
        QTest::newRow("nearly three keeps its whole part") << 2.9999 << u"2 1/1"_s;
        QTest::newRow("a long exposure of whole seconds has no fraction") << 30.0 << u"30"_s;
        QTest::newRow("negative zero has no sign") << -0.0 << u"0"_s;
        QTest::newRow("a whole number beyond 64 bits is written out") << 1e20 << u"100000000000000000000"_s;
        QTest::newRow("a fraction too small for a 64-bit denominator reads zero") << 1e-300 << u"0"_s;
        QTest::newRow("the smallest denormal does not divide into infinity")
            << std::numeric_limits<double>::denorm_min() << u"0"_s;
        QTest::newRow("a negative mixed number keeps its magnitude") << -2.5 << u"-2 1/2"_s;
        QTest::newRow("a negative fraction keeps its magnitude") << -0.5 << u"-1/2"_s;
        QTest::newRow("not a number gives nothing") << std::nan("") << QString();
        QTest::newRow("infinity gives nothing") << std::numeric_limits<double>::infinity() << QString();
    }

    void fractionValue()
    {
        QFETCH(double, value);
        QTEST(TQNumberUtilities::fractionValue(value), "expected");
    }

    void matches_data()
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
        QTest::newRow("final sigma folds like sigma")
            << u"\u03bb\u03bf\u03b3\u03bf\u03c3"_s << u"\u039b\u039f\u0393\u039f\u03a3"_s << true;
        QTest::newRow("a ligature character is its letters") << u"file"_s << u"\ufb01le"_s << true;
        QTest::newRow("a mathematical letter beyond the BMP") << u"x"_s << u"\U0001d431"_s << true;
        QTest::newRow("kana voicing marks are kept") << u"\u304c"_s << u"\u304b"_s << false;
        QTest::newRow("kana with its mark, composed or not") << u"\u304c"_s << u"\u304b\u3099"_s << true;
        QTest::newRow("devanagari vowel signs are kept") << u"\u0915\u0941"_s << u"\u0915"_s << false;
        QTest::newRow("a different letter is different") << u"cafe"_s << u"Caff\u00e8"_s << false;
        QTest::newRow("the empty text matches everything") << QString() << u"x"_s << true;
        QTest::newRow("a text of accents alone matches everything") << u"\u0301\u0300"_s << u"x"_s << true;
        QTest::newRow("a false start that folds from a ligature") << u"ssa"_s << u"\u00dfsa"_s << true;
        QTest::newRow("a lone surrogate is kept and does not match a letter") << u"a"_s << QString(QChar(0xD800)) << false;
    }

    void matches()
    {
        QFETCH(QString, text);
        QFETCH(QString, name);
        const TQNameFilter filter(text);
        QTEST(filter.matches(name), "expected");
        QCOMPARE(filter.text(), text);
    }

    void folded_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("accents and case") << u"\u00c9t\u00c9 \u00e0 Paris"_s << u"ete a paris"_s;
        QTest::newRow("sharp s and strokes") << u"Stra\u00dfe \u00d8resund \u0110akovo"_s << u"strasse oresund dakovo"_s;
        QTest::newRow("Angstrom sign decomposes, then folds") << u"\u212b"_s << u"a"_s;
        QTest::newRow("Hangul syllable kept whole") << u"\ud55c"_s << u"\ud55c"_s;
        QTest::newRow("symbols pass through") << u"#1 (copy) \u2192 \U0001f600"_s << u"#1 (copy) \u2192 \U0001f600"_s;
    }

    void folded()
    {
        QFETCH(QString, text);
        QTEST(TQNameFilter::folded(text), "expected");
    }

    // The streaming matcher against the plain definition, substring of the folded forms, over
    // every piece of some hard names: false starts, repeats and expansions.
    void agreesWithFoldedContains()
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

    void timeLeft_data()
    {
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<double>("secondsLeft");

        const auto row = [](const char *name, double elapsed, double fraction, const QString &text, double left) {
            QTest::newRow(name) << elapsed << fraction << text << left;
        };
        const auto half = [&](const char *name, double seconds, const QString &text) {
            row(name, seconds, 0.5, text, seconds);
        };
        half("4 s", 4, u"About 5 seconds remaining"_s);
        half("5 s", 5, u"About 15 seconds remaining"_s);
        half("19 s", 19, u"About 15 seconds remaining"_s);
        half("20 s", 20, u"About 30 seconds remaining"_s);
        half("41 s", 41, u"About 30 seconds remaining"_s);
        half("42 s", 42, u"About a minute remaining"_s);
        half("120 s", 120, u"2 minutes remaining"_s);
        half("an hour still counts minutes", 3600, u"60 minutes remaining"_s);
        half("61 minutes keep the plural minutes", 3660, u"1 hour and 1 minutes remaining"_s);
        half("two hours", 7200, u"2 hours remaining"_s);
        half("a day still counts hours", 86400, u"24 hours remaining"_s);
        half("25 hours read one day", 90000, u"1 day remaining"_s);
        half("25 hours and a minute name all three units", 90060, u"1 day, 1 hours, and 1 minutes remaining"_s);
        half("48 hours and a minute skip the empty hours", 172860, u"2 days and 1 minutes remaining"_s);
        row("4.5 s rounds half away from zero", 4.5, 0.5, u"About 15 seconds remaining"_s, 5);
        row("a quarter done after a minute leaves three", 60, 0.25, u"3 minutes remaining"_s, 180);
        row("finished leaves nothing", 500, 1, u"About 5 seconds remaining"_s, 0);
        // A negative estimate wraps to 2^64 - 5 seconds; as a double that is 2^64.
        row("more than finished wraps to billions of days", 10, 2, u"213503982334601 days remaining"_s,
            18446744073709551616.0);
        // Beyond the signed range an estimate keeps its value while 64 unsigned bits hold it.
        row("above the signed range is exact", 1000, 1e-16,
            u"115740740740740 days, 17 hours, and 46 minutes remaining"_s, 1e19);
        row("beyond 64 bits saturates", 10, 1e-300, u"213503982334601 days remaining"_s, 18446744073709551616.0);
        row("below the signed range saturates at its wrap", 10, -1e-300,
            u"106751991167300 days, 15 hours, and 30 minutes remaining"_s, 9223372036854775808.0);
        row("not a number counts as nothing left", 10, std::nan(""), u"About 5 seconds remaining"_s, 0);
        // No progress yet: no text, and the seconds handed in are left as they were.
        row("nothing done tells nothing", 100, 0.0, QString(), -1);
        row("nothing done, negative zero", 100, -0.0, QString(), -1);
        row("a vanishing fraction at the very start", 0, std::numeric_limits<double>::denorm_min(),
            u"About 5 seconds remaining"_s, 0);
    }

    void timeLeft()
    {
        QFETCH(double, elapsed);
        QFETCH(double, fraction);
        QFETCH(QString, expected);
        const QDateTime start = startedSecondsAgo(elapsed);
        double returned = -1;
        QCOMPARE(TQDateUtilities::stringForTimeLeftWithPercentComplete(start, fraction, &returned, now), expected);
        QTEST(returned, "secondsLeft");
        QCOMPARE(TQDateUtilities::stringForTimeLeftWithPercentComplete(start, fraction, nullptr, now), expected);
    }

    void translated_data()
    {
        QTest::addColumn<Table>("table");
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QStringList>("asked"); // every text looked up; empty: not checked

        const Table german{{u"minutes"_s, u"Minuten"_s}, {u"hour"_s, u"Stunde"_s}, {u"%qu %@ remaining"_s, u"noch %qu %@"_s},
                           {u"%qu %@ and %qu %@ remaining"_s, u"noch %qu %@ und %qu %@"_s},
                           {u"About 15 seconds remaining"_s, u"Etwa 15 Sekunden"_s}};
        const auto row = [](const char *name, const Table &table, double elapsed, const QString &text,
                            const QStringList &asked = {}) { QTest::newRow(name) << table << elapsed << text << asked; };
        const auto format = [](const QString &translation) { return Table{{u"%qu %@ remaining"_s, translation}}; };
        row("a unit word and its format", german, 120, u"noch 2 Minuten"_s);
        row("the singular leading word, the plural following one", german, 3660, u"noch 1 Stunde und 1 Minuten"_s);
        row("a fixed sentence", german, 10, u"Etwa 15 Sekunden"_s);
        row("an untranslated word in a translated format", german, 7200, u"noch 2 hours"_s);
        row("a translator may reorder the arguments",
            Table{{u"%qu %@, %qu %@, and %qu %@ remaining"_s, u"%5$qu %6$@ / %3$qu %4$@ / %1$qu %2$@"_s}}, 90060,
            u"1 minutes / 1 hours / 1 day"_s);
        row("a percent sign survives", format(u"100%% of %qu %@"_s), 120, u"100% of 2 minutes"_s);
        row("a conversion with no argument left is dropped", format(u"%qu %@ %@ %9$qu!"_s), 120, u"2 minutes  !"_s);
        row("an unknown conversion is kept as written", format(u"%d %$qu %qu %@"_s), 120, u"%d %$qu 2 minutes"_s);
        const QStringList units{u"days"_s, u"hours"_s, u"minutes"_s, u"About a minute remaining"_s};
        row("sixty seconds never ask for the singular minute", {}, 60, u"About a minute remaining"_s, units);
        row("a minute and more asks for the singular minute", {}, 61, u"About a minute remaining"_s,
            units + QStringList{u"minute"_s});
    }

    void translated()
    {
        QFETCH(Table, table);
        QFETCH(double, elapsed);
        QFETCH(QStringList, asked);
        TableTranslator translator(table);
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const QString text =
            TQDateUtilities::stringForTimeLeftWithPercentComplete(startedSecondsAgo(elapsed), 0.5, nullptr, now);
        QCoreApplication::removeTranslator(&translator);
        QTEST(text, "expected");
        if (!asked.isEmpty())
            QCOMPARE(translator.asked, QSet<QString>(asked.cbegin(), asked.cend()));
    }
};

QTEST_GUILESS_MAIN(TestStringUtilities)
#include "tst_stringutilities.moc"
