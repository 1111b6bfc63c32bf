// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNumberUtilities.h"
#include "TQStringUtilities.h"

#include <QDir>
#include <QLocale>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

class TestStringUtilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void finderStyleCompare_data();
    void finderStyleCompare();
    void missingStringSortsFirst();
    void sortKeysOrderLikeCompare();
    void isInDirectory_data();
    void isInDirectory();
    void isInSubdirectoryOfDirectory_data();
    void isInSubdirectoryOfDirectory();
    void fractionValue_data();
    void fractionValue();

private:
    const QLocale english{QLocale::English, QLocale::UnitedStates};
    QLocale originalDefault;
};

void TestStringUtilities::initTestCase()
{
    originalDefault = QLocale();
    QLocale::setDefault(english);
}

void TestStringUtilities::cleanupTestCase()
{
    QLocale::setDefault(originalDefault);
}

void TestStringUtilities::finderStyleCompare_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("self");
    QTest::addColumn<QString>("other");
    QTest::addColumn<int>("expected");

    const QLocale en = english;
    QTest::newRow("digit runs compare by value") << en << u"file2"_s << u"file10"_s << -1;
    QTest::newRow("case is ignored before digits") << en << u"FILE10"_s << u"file9"_s << 1;
    QTest::newRow("names differing in case are not equal, lowercase first") << en << u"abc"_s << u"ABC"_s << -1;
    QTest::newRow("identical names are equal") << en << u"Photo 1.jpg"_s << u"Photo 1.jpg"_s << 0;
    QTest::newRow("the empty name comes first") << en << u""_s << u"a"_s << -1;
    QTest::newRow("a leading space sorts before letters") << en << u" b"_s << u"a"_s << -1;
    QTest::newRow("full-width digits compare by value") << en << u"ｆｉｌｅ２"_s << u"file10"_s << -1;
    QTest::newRow("full-width and ordinary forms tie, ordinary first") << en << u"file2"_s << u"ｆｉｌｅ２"_s << -1;
    QTest::newRow("a full-width name ties by case only with its folded form") << en << u"ｆｉｌｅ２"_s << u"File2"_s << -1;
    QTest::newRow("width is folded before case breaks a tie") << en << u"ｆa"_s << u"fA"_s << -1;
    QTest::newRow("half-width katakana ties with its ordinary form") << en << u"ｶﾞ"_s << u"ガ"_s << 1;
    QTest::newRow("an accent makes a name different") << en << u"résumé"_s << u"resume"_s << 1;
    QTest::newRow("an accent weighs less than a letter") << en << u"résumé"_s << u"resumf"_s << -1;
    QTest::newRow("equivalent accent spellings differ by code units") << en << u"\u00e9"_s << u"e\u0301"_s << 1;
    QTest::newRow("leading zeros tie, then code units decide") << en << u"file02"_s << u"file2"_s << -1;
    QTest::newRow("in English o with diaeresis is an o") << en << u"ö"_s << u"z"_s << -1;

    const QLocale sv(QLocale::Swedish, QLocale::Sweden);
    QTest::newRow("in Swedish o with diaeresis follows z") << sv << u"ö"_s << u"z"_s << 1;
    QTest::newRow("in Swedish digit runs compare by value") << sv << u"bild9"_s << u"bild10"_s << -1;

    const QLocale c = QLocale::c();
    QTest::newRow("the C locale still compares digit runs by value") << c << u"file2"_s << u"file10"_s << -1;
    QTest::newRow("the C locale still ignores case first") << c << u"B"_s << u"a"_s << 1;
}

void TestStringUtilities::finderStyleCompare()
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
    const auto selfKey = TQStringUtilities::finderStyleSortKey(self);
    const auto otherKey = TQStringUtilities::finderStyleSortKey(other);
    QCOMPARE(TQStringUtilities::compare(selfKey, otherKey), expected);
    QCOMPARE(TQStringUtilities::compare(otherKey, selfKey), -expected);
}

void TestStringUtilities::missingStringSortsFirst()
{
    QCOMPARE(TQStringUtilities::finderStyleCompare(u"a"_s, nullptr), -1);
    QCOMPARE(TQStringUtilities::finderStyleCompare(QString(), nullptr), -1);
}

void TestStringUtilities::sortKeysOrderLikeCompare()
{
    const QStringList names = {
        u"file10"_s, u"File2"_s, u"file2"_s, u"ｆｉｌｅ２"_s, u"FILE2"_s, u"file02"_s, u"file1"_s,
        u"file 2"_s, u" file2"_s, u"  file2"_s, u""_s, u"résumé"_s, u"resume"_s, u"Résumé"_s,
        u"resumf"_s, u"e\u0301"_s, u"\u00e9"_s, u"E"_s, u"e"_s, u"ｅ"_s, u"abc"_s, u"ABC"_s,
        u"Abc"_s, u"ａｂｃ"_s, u"abc10def"_s, u"abc9def"_s, u"abc9Def"_s, u"9"_s, u"10"_s, u"０9"_s,
        u"ö"_s, u"o"_s, u"z"_s, u"ガ"_s, u"ｶﾞ"_s, u"カ"_s, u"a\u3000b"_s, u"a b"_s, u"a\u200bb"_s,
        u"ab"_s, u"_x"_s, u"x.jpg"_s, u"x.JPG"_s};
    QStringList byCompare = names;
    std::sort(byCompare.begin(), byCompare.end(), [](const QString &a, const QString &b) {
        return TQStringUtilities::finderStyleCompare(a, b) < 0;
    });
    for (qsizetype i = 1; i < byCompare.size(); ++i)
        QCOMPARE(TQStringUtilities::finderStyleCompare(byCompare.at(i - 1), byCompare.at(i)), -1);

    std::vector<TQStringUtilities::FinderStyleSortKey> keys;
    for (const QString &name : names)
        keys.push_back(TQStringUtilities::finderStyleSortKey(name));
    std::sort(keys.begin(), keys.end());
    QStringList byKey;
    for (const auto &key : keys)
        byKey.append(key.string());
    QCOMPARE(byKey, byCompare);
}

void TestStringUtilities::isInDirectory_data()
{
    QTest::addColumn<QString>("self");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<bool>("expected");

    QTest::newRow("a file is in its folder named with a trailing separator") << u"/x/y/z.jpg"_s << u"/x/y/"_s << true;
    QTest::newRow("a dot component of the folder is removed") << u"/x/y/z.jpg"_s << u"/x/./y"_s << true;
    QTest::newRow("a file in a subfolder is not directly in the folder") << u"/x/y/w/z.jpg"_s << u"/x/y"_s << false;
    QTest::newRow("a folder is not in itself") << u"/x/y"_s << u"/x/y"_s << false;
    QTest::newRow("a trailing separator does not make a component") << u"/x/y/w/"_s << u"/x/y"_s << true;
    QTest::newRow("a dot-dot component of the file is resolved") << u"/x/w/../y/z.jpg"_s << u"/x/y"_s << true;
    QTest::newRow("a similar folder name is another folder") << u"/x/yz/a.jpg"_s << u"/x/y"_s << false;
    QTest::newRow("a tilde in the folder is the home folder") << QDir::homePath() + u"/a.jpg"_s << u"~"_s << true;
    QTest::newRow("a top-level entry is in the root") << u"/etc"_s << u"/"_s << true;
    QTest::newRow("the root is in no folder, not even one named by nothing") << u"/"_s << QString() << false;
}

void TestStringUtilities::isInDirectory()
{
    QFETCH(QString, self);
    QFETCH(QString, directory);
    QFETCH(bool, expected);
    QCOMPARE(TQStringUtilities::isInDirectory(self, directory), expected);
}

void TestStringUtilities::isInSubdirectoryOfDirectory_data()
{
    QTest::addColumn<QString>("self");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<bool>("expected");

    QTest::newRow("a folder is inside itself") << u"/x/y"_s << u"/x/y"_s << true;
    QTest::newRow("a name that merely begins like the folder is inside") << u"/x/yz/a"_s << u"/x/y"_s << true;
    QTest::newRow("the parent is not inside") << u"/x"_s << u"/x/y"_s << false;
    QTest::newRow("paths are not standardised") << u"/x/y/z.jpg"_s << u"/x/./y"_s << false;
    QTest::newRow("the empty folder contains nothing") << u"/x/y"_s << u""_s << false;
}

void TestStringUtilities::isInSubdirectoryOfDirectory()
{
    QFETCH(QString, self);
    QFETCH(QString, directory);
    QFETCH(bool, expected);
    QCOMPARE(TQStringUtilities::isInSubdirectoryOfDirectory(self, directory), expected);
}

void TestStringUtilities::fractionValue_data()
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
    QTest::newRow("the smallest denormal does not divide into infinity") << std::numeric_limits<double>::denorm_min() << u"0"_s;
    QTest::newRow("a negative mixed number keeps its magnitude") << -2.5 << u"-2 1/2"_s;
    QTest::newRow("a negative fraction keeps its magnitude") << -0.5 << u"-1/2"_s;
    QTest::newRow("not a number gives nothing") << std::nan("") << QString();
    QTest::newRow("infinity gives nothing") << std::numeric_limits<double>::infinity() << QString();
}

void TestStringUtilities::fractionValue()
{
    QFETCH(double, value);
    QFETCH(QString, expected);
    QCOMPARE(TQNumberUtilities::fractionValue(value), expected);
}

QTEST_GUILESS_MAIN(TestStringUtilities)
#include "tst_stringutilities.moc"
