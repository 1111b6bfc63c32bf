// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFlippedView.h"
#include "TQTransformers.h"
#include "TQUserDefaultsUtilities.h"

#include <QApplication>
#include <QFont>
#include <QLocale>
#include <QRegularExpression>
#include <QSize>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// A value Qt can neither convert to text nor print.
struct Opaque
{
    int unused = 0;
};

QFont font(const QString &family, double points, QFont::Weight weight = QFont::Normal)
{
    QFont font(family);
    font.setPointSizeF(points);
    font.setWeight(weight);
    return font;
}

QByteArray archived(const QVariant &value)
{
    QVariantMap settings;
    TQUserDefaultsUtilities::setKeyedArchivableObject(settings, value, u"font"_s);
    return settings.value(u"font"_s).toByteArray();
}

// Every answer that is not nothing has the type the transformer declares.
QVariant checked(const TQValueTransformer &transformer, const QVariant &value)
{
    const QVariant result = transformer.transformedValue(value);
    if (!result.isNull() && result.metaType() != transformer.transformedValueType())
        qWarning() << "answer of the wrong type:" << result;
    return result;
}

} // namespace

Q_DECLARE_METATYPE(Opaque)

class TestTransformers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fontDescription_data();
    void fontDescription();
    void fontDescriptionOfAFontNotInstalledNamesTheMatch();
    void uppercase_data();
    void uppercase();
    void uppercaseIgnoresTheLocale();
    void emptiness_data();
    void emptiness();
    void flippedViewCountsFromTheTop();
};

void TestTransformers::initTestCase()
{
    // checked() reports an answer of the wrong type as a warning.
    QTest::failOnWarning(QRegularExpression(u".*"_s));
}

void TestTransformers::fontDescription_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("expected");

    const QString sans = u"DejaVu Sans"_s;
    QTest::newRow("a 12-point font") << QVariant(font(sans, 12)) << u"DejaVu Sans Book (12 pt)"_s;
    QTest::newRow("12.5 points round down to even") << QVariant(font(sans, 12.5)) << u"DejaVu Sans Book (12 pt)"_s;
    QTest::newRow("13.5 points round up to even") << QVariant(font(sans, 13.5)) << u"DejaVu Sans Book (14 pt)"_s;
    QTest::newRow("the style of the matched face is named")
        << QVariant(font(sans, 10, QFont::Bold)) << u"DejaVu Sans Bold (10 pt)"_s;
    QFont pixels(sans);
    pixels.setPixelSize(16);
    QTest::newRow("a font set in pixels reads in pixels") << QVariant(pixels) << u"DejaVu Sans Book (16 px)"_s;

    QTest::newRow("nothing gives nothing") << QVariant() << QString();
    QTest::newRow("a family name is no font") << QVariant(sans) << QString();
    QTest::newRow("bytes that are no archive") << QVariant(QByteArray("DejaVu Sans 12")) << QString();
    QTest::newRow("an archive of something else") << QVariant(archived(sans)) << QString();
    QTest::newRow("an archive cut short") << QVariant(archived(sans).chopped(3)) << QString();
    QTest::newRow("an archived font") << QVariant(archived(font(sans, 13.5))) << u"DejaVu Sans Book (14 pt)"_s;
}

void TestTransformers::fontDescription()
{
    QFETCH(QVariant, value);
    QFETCH(QString, expected);

    const QVariant description = checked(TQFontDescriptionTransformer(), value);
    QCOMPARE(description.isNull(), expected.isNull());
    QCOMPARE(description.toString(), expected);
}

void TestTransformers::fontDescriptionOfAFontNotInstalledNamesTheMatch()
{
    const QString missing = u"No Such Family Installed"_s;
    const QString description = TQFontDescriptionTransformer().transformedValue(font(missing, 11)).toString();
    QVERIFY2(description.endsWith(u" (11 pt)"_s), qPrintable(description));
    QVERIFY2(!description.contains(missing), qPrintable(description));
    QVERIFY2(description.size() > u" (11 pt)"_s.size(), qPrintable(description));
}

void TestTransformers::uppercase_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("text") << QVariant(u"Hello, world"_s) << u"HELLO, WORLD"_s;
    QTest::newRow("a sharp s becomes two letters") << QVariant(u"straße"_s) << u"STRASSE"_s;
    QTest::newRow("a number") << QVariant(12) << u"12"_s;
    QTest::newRow("bytes read as UTF-8") << QVariant(QByteArray("gr\xc3\xbc\x6e")) << u"GRÜN"_s;
    QTest::newRow("a list of words") << QVariant(QStringList{u"a"_s, u"b"_s}) << u"(A, B)"_s;
    QTest::newRow("a mixed list with nothing in it")
        << QVariant(QVariantList{1, u"x"_s, QVariant()}) << u"(1, X, <NULL>)"_s;
    QTest::newRow("nested lists") << QVariant(QVariantList{QVariantList{u"a"_s}, u"b"_s}) << u"((A), B)"_s;
    QTest::newRow("a map") << QVariant(QVariantMap{{u"k"_s, u"v"_s}, {u"n"_s, 2}}) << u"{K = V; N = 2}"_s;
    QTest::newRow("a size in its debug form") << QVariant(QSize(3, 4)) << u"QSIZE(3, 4)"_s;

    QTest::newRow("nothing gives nothing") << QVariant() << QString();
    QTest::newRow("a value with no printed form gives nothing") << QVariant::fromValue(Opaque()) << QString();
    QTest::newRow("a list holding a value with no printed form gives nothing")
        << QVariant(QVariantList{1, QVariant::fromValue(Opaque())}) << QString();
    QTest::newRow("empty text stays text") << QVariant(u""_s) << u""_s;
}

void TestTransformers::uppercase()
{
    QFETCH(QVariant, value);
    QFETCH(QString, expected);

    const QVariant upper = checked(TQUppercaseTransformer(), value);
    QCOMPARE(upper.isNull(), expected.isNull());
    QCOMPARE(upper.toString(), expected);
}

void TestTransformers::uppercaseIgnoresTheLocale()
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::Turkish, QLocale::Turkey));
    const QString upper = TQUppercaseTransformer().transformedValue(u"istanbul"_s).toString();
    QLocale::setDefault(before);
    QCOMPARE(upper, u"ISTANBUL"_s);
}

void TestTransformers::emptiness_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("empty");

    QTest::newRow("nothing is empty") << QVariant() << true;
    QTest::newRow("a null pointer is nothing") << QVariant::fromValue(nullptr) << true;
    QTest::newRow("a null string is zero-length text") << QVariant(QString()) << true;
    QTest::newRow("empty bytes are empty") << QVariant(QByteArray()) << true;

    QTest::newRow("a space is text") << QVariant(u" "_s) << false;
    QTest::newRow("a byte is data") << QVariant(QByteArray(1, '\0')) << false;
    QTest::newRow("the number 0 has no length") << QVariant(0) << false;
    QTest::newRow("an empty list has no length") << QVariant(QVariantList()) << false;
    QTest::newRow("an opaque value has no length") << QVariant::fromValue(Opaque()) << false;
}

void TestTransformers::emptiness()
{
    QFETCH(QVariant, value);
    QFETCH(bool, empty);

    const QVariant isEmpty = checked(TQIsEmptyTransformer(), value);
    const QVariant isNotEmpty = checked(TQIsNotEmptyTransformer(), value);
    QCOMPARE(isEmpty.metaType(), QMetaType::fromType<bool>());
    QCOMPARE(isNotEmpty.metaType(), QMetaType::fromType<bool>());
    QCOMPARE(isEmpty.toBool(), empty);
    QCOMPARE(isNotEmpty.toBool(), !empty);
}

void TestTransformers::flippedViewCountsFromTheTop()
{
    TQFlippedView view;
    QVERIFY(view.isFlipped());
    QCOMPARE(view.property("flipped"), QVariant(true));

}

QTEST_MAIN(TestTransformers)
#include "tst_transformers.moc"
