// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNumberUtilities.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

class TestNumberUtilities : public QObject
{
    Q_OBJECT

private slots:
    void fractionValue_data();
    void fractionValue();
};

void TestNumberUtilities::fractionValue_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("two and a half seconds is a mixed number") << 2.5 << u"2 1/2"_s;
    QTest::newRow("one and a quarter seconds is a mixed number") << 1.25 << u"1 1/4"_s;
    QTest::newRow("a short exposure is a unit fraction") << 0.004 << u"1/250"_s;
    QTest::newRow("an eightieth of a second survives rounding") << 0.0125 << u"1/80"_s;
    QTest::newRow("three tenths rounds to a third") << 0.3 << u"1/3"_s;
    QTest::newRow("a half is a half") << 0.5 << u"1/2"_s;
    QTest::newRow("three quarters rounds to a whole unit fraction") << 0.75 << u"1/1"_s;
    QTest::newRow("nearly three keeps its whole part") << 2.9999 << u"2 1/1"_s;
    QTest::newRow("a long exposure of whole seconds has no fraction") << 30.0 << u"30"_s;
    QTest::newRow("zero is zero") << 0.0 << u"0"_s;
    QTest::newRow("negative zero has no sign") << -0.0 << u"0"_s;
    QTest::newRow("a whole number beyond 64 bits is written out") << 1e20 << u"100000000000000000000"_s;
    QTest::newRow("a fraction too small for a 64-bit denominator reads zero") << 1e-300 << u"0"_s;
    QTest::newRow("the smallest denormal does not divide into infinity") << std::numeric_limits<double>::denorm_min() << u"0"_s;
    QTest::newRow("a tiny negative number reads zero without a sign") << -1e-300 << u"0"_s;
    QTest::newRow("a negative fraction keeps its magnitude") << -0.5 << u"-1/2"_s;
    QTest::newRow("a negative mixed number keeps its magnitude") << -2.5 << u"-2 1/2"_s;
    QTest::newRow("a negative whole number") << -3.0 << u"-3"_s;
    QTest::newRow("not a number gives nothing") << std::nan("") << QString();
    QTest::newRow("infinity gives nothing") << std::numeric_limits<double>::infinity() << QString();
    QTest::newRow("negative infinity gives nothing") << -std::numeric_limits<double>::infinity() << QString();
}

void TestNumberUtilities::fractionValue()
{
    QFETCH(double, value);
    QFETCH(QString, expected);
    QCOMPARE(TQNumberUtilities::fractionValue(value), expected);
}

QTEST_GUILESS_MAIN(TestNumberUtilities)
#include "tst_numberutilities.moc"
