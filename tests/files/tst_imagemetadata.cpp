// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageMetadata.h"

#include <QTest>

#include <climits>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");

QVariantMap map(std::initializer_list<std::pair<const char *, QVariant>> values)
{
    QVariantMap result;
    for (const auto &[key, value] : values)
        result.insert(QString::fromLatin1(key), value);
    return result;
}

} // namespace

class TestImageMetadata : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void dimensions_data()
    {
        QTest::addColumn<QVariantMap>("properties");
        QTest::addColumn<QSizeF>("displayed");
        QTest::addColumn<double>("megapixels");
        QTest::addColumn<QString>("texts"); // size, megapixels and shape, as "|"-separated texts

        const auto turned = [](const QVariant &orientation) {
            return map({{"PixelWidth", 4000}, {"PixelHeight", 3000}, {"Orientation", orientation}});
        };
        QTest::newRow("a quarter turn shows a landscape sensor as portrait")
            << turned(6) << QSizeF(3000, 4000) << 12.0 << "3000x4000|12.0 MP|Portrait";
        QTest::newRow("so does the other quarter turn") << turned(8) << QSizeF(3000, 4000) << 12.0 << "3000x4000|12.0 MP|Portrait";
        QTest::newRow("a mirrored turn keeps its stored sides")
            << turned(5) << QSizeF(4000, 3000) << 12.0 << "4000x3000|12.0 MP|Landscape";
        QTest::newRow("so does the other mirrored turn") << turned(7) << QSizeF(4000, 3000) << 12.0 << "4000x3000|12.0 MP|Landscape";
        QTest::newRow("a NaN orientation is none") << turned(notANumber) << QSizeF(4000, 3000) << 12.0 << "4000x3000|12.0 MP|Landscape";
        QTest::newRow("an orientation of 6.0 is 6") << turned(6.0) << QSizeF(3000, 4000) << 12.0 << "3000x4000|12.0 MP|Portrait";
        QTest::newRow("equal sides are square")
            << map({{"PixelWidth", 500}, {"PixelHeight", 500}}) << QSizeF(500, 500) << 0.25 << "500x500|0.3 MP|Square";
        QTest::newRow("no sizes, no shape") << QVariantMap{} << QSizeF(0, 0) << 0.0 << "||";
        QTest::newRow("sides that are no integers are none")
            << map({{"PixelWidth", 1e300}, {"PixelHeight", notANumber}}) << QSizeF(0, 0) << 0.0 << "||";
        QTest::newRow("one missing side, no shape") << map({{"PixelWidth", 640}}) << QSizeF(640, 0) << 0.0 << "||";
        QTest::newRow("the widest side with a text") << map({{"PixelWidth", INT_MAX}, {"PixelHeight", 1}})
                                                     << QSizeF(INT_MAX, 1) << 2147.483647 << "2147483647x1|2147.5 MP|Landscape";
        QTest::newRow("sides past 32 bits have no text, but a shape")
            << map({{"PixelWidth", qint64(INT_MAX) + 1}, {"PixelHeight", 1}}) << QSizeF(2147483648.0, 1) << 2147.483648
            << "|2147.5 MP|Landscape";
    }

    void dimensions()
    {
        QFETCH(QVariantMap, properties);
        QFETCH(QSizeF, displayed);
        QFETCH(QString, texts);

        const TQImageDimensions result = TQImageMetadata::dimensions(properties, TQImageMetadata::orientation(properties));
        const bool turned = displayed.width() < displayed.height();
        QCOMPARE(result.trueDimensions, turned ? displayed.transposed() : displayed);
        QCOMPARE(result.dimensions, displayed);
        QTEST(result.megapixels, "megapixels");
        QCOMPARE(QStringList({result.dimensionsString, result.megapixelString, result.generalOrientationString}).join(u'|'),
                 texts);
        const QString shape = texts.section(u'|', 2);
        QCOMPARE(result.generalOrientation, uint(QStringList({u""_s, u"Portrait"_s, u"Square"_s, u"Landscape"_s}).indexOf(shape)));
    }

    void exposure_data()
    {
        QTest::addColumn<QVariantMap>("exif");
        QTest::addColumn<QString>("texts"); // focal length, ISO, exposure time and f-number

        const auto all = [](const QVariant &v) {
            return map({{"FocalLength", v}, {"ISOSpeedRatings", QVariantList{100, v}}, {"ExposureTime", v}, {"FNumber", v}});
        };
        QTest::newRow("a full set") << map({{"FocalLength", 50.7}, {"ISOSpeedRatings", QVariantList{100, 400}},
                                            {"ExposureTime", 0.004}, {"FNumber", 2.8}})
                                    << "50mm|ISO 400|1/250|f2.8";
        QTest::newRow("an empty ISO list is no ISO") << map({{"ISOSpeedRatings", QVariantList{}}}) << "|||";
        QTest::newRow("long exposures have a whole part") << map({{"ExposureTime", 2.5}}) << "||2 1/2|";
        // Values no integer can hold have no text (their conversion would be undefined).
        QTest::newRow("infinity") << all(inf) << "|||";
        QTest::newRow("minus infinity") << all(-inf) << "|||";
        QTest::newRow("NaN") << all(notANumber) << "|||";
        QTest::newRow("1e300 has only texts that take no integer")
            << all(1e300) << u"||%1|%2"_s.arg(QString::number(1e300, 'f', 0), QString::asprintf("f%1.1f", 1e300));
        QTest::newRow("the largest values a long holds")
            << map({{"FocalLength", 9.2e18}, {"ISOSpeedRatings", QVariantList{-9.2e18}}})
            << "9200000000000000000mm|ISO -9200000000000000000||";
        QTest::newRow("the lowest integer a long holds")
            << map({{"ISOSpeedRatings", QVariantList{std::numeric_limits<qint64>::min()}}}) << "|ISO -9223372036854775808||";
        QTest::newRow("just past them") << map({{"FocalLength", 0x1p63}, {"ISOSpeedRatings", QVariantList{-0x1p64}}}) << "|||";
    }

    void exposure()
    {
        QFETCH(QVariantMap, exif);
        QFETCH(QString, texts);
        const QVariantMap properties{{u"{Exif}"_s, exif}};
        const QStringList found{TQImageMetadata::focalLength(properties).text, TQImageMetadata::iso(properties).text,
                                TQImageMetadata::exposureTime(properties).text, TQImageMetadata::fNumber(properties).text};
        QCOMPARE(found.join(u'|'), texts);
        // The numbers go with their texts: 0 exactly when there is no text.
        QCOMPARE(TQImageMetadata::focalLength(properties).value == 0, found.at(0).isEmpty());
        QCOMPARE(TQImageMetadata::iso(properties).value == 0, found.at(1).isEmpty());
    }

    void dateTaken_data()
    {
        QTest::addColumn<QString>("stated");
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QString>("text");
        QTest::newRow("a date taken") << "2026:11:21 05:27:31" << QDateTime(QDate(2026, 11, 21), QTime(5, 27, 31))
                                      << "Nov 21, 2026, 5:27 AM";
        QTest::newRow("no date taken is the distant past") << QString() << TQDistantPast() << "";
        QTest::newRow("a date that does not parse") << "2026:13:45 99:00:00" << TQDistantPast() << "";
    }

    void dateTaken()
    {
        QFETCH(QString, stated);
        const QVariantMap properties{{u"{Exif}"_s, stated.isNull() ? QVariantMap() : map({{"DateTimeOriginal", stated}})}};
        QString written = u"not written"_s;
        QTEST(TQImageMetadata::exifDate(properties, &written), "date");
        QTEST(written, "text");
        QCOMPARE(TQDistantPast(), QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC));
    }

    void texts_data()
    {
        QTest::addColumn<QVariantMap>("properties");
        QTest::addColumn<QString>("depth");
        QTest::addColumn<QString>("resolution");

        const QString rgb = u"RGB"_s;
        QTest::newRow("16-bit RGB with alpha") << map({{"Depth", 16}, {"ColorModel", rgb}, {"HasAlpha", true}}) << "16-bit RGB(A)" << "";
        QTest::newRow("alpha that is not a boolean does not count")
            << map({{"Depth", 8}, {"ColorModel", u"Gray"_s}, {"HasAlpha", 1}}) << "8-bit Gray" << "";
        QTest::newRow("a depth without a colour model") << map({{"Depth", 16}}) << "16-bit" << "";
        QTest::newRow("a depth of -1 is none") << map({{"Depth", -1}, {"ColorModel", rgb}}) << "" << "";
        QTest::newRow("a depth of NaN") << map({{"Depth", notANumber}, {"ColorModel", rgb}}) << "" << "";
        QTest::newRow("a depth of 8.0") << map({{"Depth", 8.0}, {"ColorModel", rgb}}) << "8-bit RGB" << "";
        QTest::newRow("unequal resolutions") << map({{"DPIWidth", 300.0}, {"DPIHeight", 72.0}}) << "" << "300x72 dpi";
        QTest::newRow("a missing vertical resolution") << map({{"DPIWidth", 300.0}}) << "" << "";
        QTest::newRow("a missing horizontal resolution") << map({{"DPIHeight", 300.0}}) << "" << "";
        // A DPI value becomes an integer by truncation, as a number's integer value does.
        QTest::newRow("a PNG's 2834 pixels a metre") << map({{"DPIWidth", 2834 * 0.0254}, {"DPIHeight", 2834 * 0.0254}}) << "" << "71 dpi";
        QTest::newRow("300.6 by 71.5") << map({{"DPIWidth", 300.6}, {"DPIHeight", 71.5}}) << "" << "300x71 dpi";
        QTest::newRow("values that truncate to the same") << map({{"DPIWidth", 96.2}, {"DPIHeight", 96.8}}) << "" << "96 dpi";
        QTest::newRow("-1.5 truncates to -1, which is none") << map({{"DPIWidth", -1.5}, {"DPIHeight", 72.0}}) << "" << "";
        // Values no 32-bit integer holds have no text.
        QTest::newRow("a NaN resolution") << map({{"DPIWidth", notANumber}, {"DPIHeight", 72.0}}) << "" << "";
        QTest::newRow("an infinite resolution") << map({{"DPIWidth", 72.0}, {"DPIHeight", inf}}) << "" << "";
        QTest::newRow("a resolution of 3e9") << map({{"DPIWidth", 3e9}, {"DPIHeight", 3e9}}) << "" << "";
    }

    void texts()
    {
        QFETCH(QVariantMap, properties);
        QTEST(TQImageMetadata::imageDepthString(properties), "depth");
        QTEST(TQImageMetadata::resolutionString(properties), "resolution");
    }
};

QTEST_GUILESS_MAIN(TestImageMetadata)
#include "tst_imagemetadata.moc"
