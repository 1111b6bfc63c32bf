// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFlippedView.h"
#include "TQTransformers.h"
#include "TQUserDefaultsUtilities.h"

#include <QFont>
#include <QLocale>
#include <QSize>
#include <QTest>

using namespace Qt::StringLiterals;
using Transformer = const TQValueTransformer *;

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

} // namespace

Q_DECLARE_METATYPE(Opaque)

class TestTransformers : public QObject
{
    Q_OBJECT

    const TQFontDescriptionTransformer description{};
    const TQUppercaseTransformer uppercase{};
    const TQIsEmptyTransformer isEmpty{};
    const TQIsNotEmptyTransformer isNotEmpty{};

private slots:
    // Under a Turkish default locale, where a locale-aware upper case of i is a dotted capital I.
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::Turkish, QLocale::Turkey)); }

    void transforms_data()
    {
        QTest::addColumn<Transformer>("transformer");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QVariant>("expected"); // null: nothing

        const auto row = [](const char *name, const TQValueTransformer &transformer, const QVariant &value,
                            const QVariant &expected) { QTest::newRow(name) << &transformer << value << expected; };
        const auto empty = [this](const char *name, const QVariant &value, bool empty) {
            QTest::addRow("empty: %s", name) << Transformer(&isEmpty) << value << QVariant(empty);
            QTest::addRow("not empty: %s", name) << Transformer(&isNotEmpty) << value << QVariant(!empty);
        };
        const QString sans = u"DejaVu Sans"_s;
        QFont pixels(sans);
        pixels.setPixelSize(16);
        row("a 12-point font", description, font(sans, 12), u"DejaVu Sans Book (12 pt)"_s);
        row("12.5 points round down to even", description, font(sans, 12.5), u"DejaVu Sans Book (12 pt)"_s);
        row("13.5 points round up to even", description, font(sans, 13.5), u"DejaVu Sans Book (14 pt)"_s);
        row("the style of the matched face", description, font(sans, 10, QFont::Bold), u"DejaVu Sans Bold (10 pt)"_s);
        row("a font set in pixels reads in pixels", description, pixels, u"DejaVu Sans Book (16 px)"_s);
        row("an archived font", description, archived(font(sans, 13.5)), u"DejaVu Sans Book (14 pt)"_s);
        row("no font", description, QVariant(), QVariant());
        row("a family name is no font", description, sans, QVariant());
        row("bytes that are no archive", description, QByteArray("DejaVu Sans 12"), QVariant());
        row("an archive of something else", description, archived(sans), QVariant());

        row("text", uppercase, u"Hello, world"_s, u"HELLO, WORLD"_s);
        row("the default locale is ignored", uppercase, u"istanbul"_s, u"ISTANBUL"_s);
        row("a number", uppercase, 12, u"12"_s);
        row("bytes read as UTF-8", uppercase, QByteArray("gr\xc3\xbc\x6e"), u"GRÜN"_s);
        row("a mixed list with nothing in it", uppercase, QVariantList{1, u"x"_s, QVariant()}, u"(1, X, <NULL>)"_s);
        row("nested lists", uppercase, QVariantList{QVariantList{u"a"_s}, u"b"_s}, u"((A), B)"_s);
        row("a map", uppercase, QVariantMap{{u"k"_s, u"v"_s}, {u"n"_s, 2}}, u"{K = V; N = 2}"_s);
        row("a size in its debug form", uppercase, QSize(3, 4), u"QSIZE(3, 4)"_s);
        row("empty text stays text", uppercase, u""_s, u""_s);
        row("nothing in upper case", uppercase, QVariant(), QVariant());
        row("a value with no printed form", uppercase, QVariant::fromValue(Opaque()), QVariant());
        row("a list holding a value with no printed form", uppercase, QVariantList{1, QVariant::fromValue(Opaque())},
            QVariant());

        empty("nothing", QVariant(), true);
        empty("a null pointer is nothing", QVariant::fromValue(nullptr), true);
        empty("a null string is zero-length text", QString(), true);
        empty("empty bytes", QByteArray(), true);
        empty("a space is text", u" "_s, false);
        empty("a byte is data", QByteArray(1, '\0'), false);
        empty("the number 0 has no length", 0, false);
        empty("an empty list has no length", QVariantList(), false);
    }

    void transforms()
    {
        QFETCH(Transformer, transformer);
        QFETCH(QVariant, value);
        QFETCH(QVariant, expected);
        const QVariant result = transformer->transformedValue(value);
        QCOMPARE(result, expected);
        QCOMPARE(result.metaType(), expected.isNull() ? QMetaType() : transformer->transformedValueType());
    }

    void fontDescriptionOfAFontNotInstalledNamesTheMatch()
    {
        const QString text = description.transformedValue(font(u"No Such Family Installed"_s, 11)).toString();
        QVERIFY2(text.endsWith(u" (11 pt)"_s) && text.size() > 8 && !text.contains(u"No Such"_s), qPrintable(text));
    }

    void flippedViewCountsFromTheTop() { QCOMPARE(TQFlippedView().property("flipped"), QVariant(true)); }
};

QTEST_MAIN(TestTransformers)
#include "tst_transformers.moc"
