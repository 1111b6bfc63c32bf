// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageMetadata.h"

#include <QTest>

#include <climits>
#include <cmath>
#include <limits>

namespace {

QVariantMap sized(qint64 width, qint64 height)
{
    return {{QStringLiteral("PixelWidth"), width}, {QStringLiteral("PixelHeight"), height}};
}

QVariantMap withExif(const QVariantMap &exif)
{
    return {{QStringLiteral("{Exif}"), exif}};
}

} // namespace

class TestImageMetadata : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }
    void dimensions_data();
    void dimensions();
    void exposure_data();
    void exposure();
    void dateTaken_data();
    void dateTaken();
    void texts_data();
    void texts();
};

void TestImageMetadata::dimensions_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QSizeF>("displayed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("megapixels");
    QTest::addColumn<QString>("megapixelText");
    QTest::addColumn<uint>("shape");
    QTest::addColumn<QString>("shapeText");

    QVariantMap turned = sized(4000, 3000);
    turned.insert(QStringLiteral("Orientation"), 6);
    QTest::newRow("a quarter turn shows a landscape sensor as portrait")
        << turned << QSizeF(3000, 4000) << "3000x4000" << 12.0 << "12.0 MP" << 1u << "Portrait";
    turned.insert(QStringLiteral("Orientation"), 8);
    QTest::newRow("so does the other quarter turn")
        << turned << QSizeF(3000, 4000) << "3000x4000" << 12.0 << "12.0 MP" << 1u << "Portrait";
    turned.insert(QStringLiteral("Orientation"), 5);
    QTest::newRow("a mirrored turn keeps its stored sides")
        << turned << QSizeF(4000, 3000) << "4000x3000" << 12.0 << "12.0 MP" << 3u << "Landscape";
    turned.insert(QStringLiteral("Orientation"), 7);
    QTest::newRow("so does the other mirrored turn")
        << turned << QSizeF(4000, 3000) << "4000x3000" << 12.0 << "12.0 MP" << 3u << "Landscape";
    QTest::newRow("equal sides are square") << sized(500, 500) << QSizeF(500, 500) << "500x500" << 0.25 << "0.3 MP" << 2u << "Square";
    QTest::newRow("no sizes, no shape") << QVariantMap{} << QSizeF(0, 0) << "" << 0.0 << "" << 0u << "";
    QVariantMap huge = sized(0, 0);
    huge.insert(QStringLiteral("PixelWidth"), 1e300);
    huge.insert(QStringLiteral("PixelHeight"), std::nan(""));
    QTest::newRow("sides that are no integers are none") << huge << QSizeF(0, 0) << "" << 0.0 << "" << 0u << "";
    QTest::newRow("the widest side with a text")
        << sized(INT_MAX, 1) << QSizeF(double(INT_MAX), 1) << "2147483647x1" << 2147.483647 << "2147.5 MP" << 3u << "Landscape";
    QTest::newRow("sides past 32 bits have no text, but a shape")
        << sized(qint64(INT_MAX) + 1, 1) << QSizeF(2147483648.0, 1) << "" << 2147.483648 << "2147.5 MP" << 3u << "Landscape";
    QVariantMap strange = sized(4000, 3000);
    strange.insert(QStringLiteral("Orientation"), std::nan(""));
    QTest::newRow("a NaN orientation is none") << strange << QSizeF(4000, 3000) << "4000x3000" << 12.0 << "12.0 MP" << 3u << "Landscape";
    strange.insert(QStringLiteral("Orientation"), 6.0);
    QTest::newRow("an orientation of 6.0 is 6") << strange << QSizeF(3000, 4000) << "3000x4000" << 12.0 << "12.0 MP" << 1u << "Portrait";
    QTest::newRow("one missing side, no shape") << QVariantMap{{QStringLiteral("PixelWidth"), 640}}
        << QSizeF(640, 0) << "" << 0.0 << "" << 0u << "";
}

void TestImageMetadata::dimensions()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QSizeF, displayed);
    QFETCH(QString, text);
    QFETCH(double, megapixels);
    QFETCH(QString, megapixelText);
    QFETCH(uint, shape);
    QFETCH(QString, shapeText);

    const TQImageDimensions result = TQImageMetadata::dimensions(properties, TQImageMetadata::orientation(properties));
    if (properties.value(QStringLiteral("PixelWidth")).typeId() == QMetaType::Double) // unturned rows only
        QCOMPARE(result.trueDimensions, displayed);
    else
        QCOMPARE(result.trueDimensions, QSizeF(properties.value(QStringLiteral("PixelWidth")).toDouble(),
                                               properties.value(QStringLiteral("PixelHeight")).toDouble()));
    QCOMPARE(result.dimensions, displayed);
    QCOMPARE(result.dimensionsString, text);
    QCOMPARE(result.megapixels, megapixels);
    QCOMPARE(result.megapixelString, megapixelText);
    QCOMPARE(result.generalOrientation, shape);
    QCOMPARE(result.generalOrientationString, shapeText);
}

void TestImageMetadata::exposure_data()
{
    QTest::addColumn<QVariantMap>("exif");
    QTest::addColumn<QString>("focal");
    QTest::addColumn<QString>("iso");
    QTest::addColumn<QString>("time");
    QTest::addColumn<QString>("aperture");

    QTest::newRow("a full set") << QVariantMap{{QStringLiteral("FocalLength"), 50.7},
                                               {QStringLiteral("ISOSpeedRatings"), QVariantList{100, 400}},
                                               {QStringLiteral("ExposureTime"), 0.004},
                                               {QStringLiteral("FNumber"), 2.8}}
                                << "50mm" << "ISO 400" << "1/250" << "f2.8";
    QTest::newRow("an empty ISO list is no ISO") << QVariantMap{{QStringLiteral("ISOSpeedRatings"), QVariantList{}}}
                                                  << "" << "" << "" << "";
    QTest::newRow("long exposures have a whole part") << QVariantMap{{QStringLiteral("ExposureTime"), 2.5}}
                                                       << "" << "" << "2 1/2" << "";
    // Values no integer can hold have no text (their conversion would be undefined).
    constexpr double inf = std::numeric_limits<double>::infinity();
    const double nan = std::nan("");
    const auto all = [](const QVariant &v) {
        return QVariantMap{{QStringLiteral("FocalLength"), v}, {QStringLiteral("ISOSpeedRatings"), QVariantList{100, v}},
                           {QStringLiteral("ExposureTime"), v}, {QStringLiteral("FNumber"), v}};
    };
    QTest::newRow("infinity") << all(inf) << "" << "" << "" << "";
    QTest::newRow("minus infinity") << all(-inf) << "" << "" << "" << "";
    QTest::newRow("NaN") << all(nan) << "" << "" << "" << "";
    QTest::newRow("1e300 has only texts that take no integer")
        << all(1e300) << "" << "" << QString::number(1e300, 'f', 0) << QString::asprintf("f%1.1f", 1e300);
    QTest::newRow("the largest values a long holds") << QVariantMap{{QStringLiteral("FocalLength"), 9.2e18},
                                                                      {QStringLiteral("ISOSpeedRatings"), QVariantList{-9.2e18}}}
                                                       << "9200000000000000000mm" << "ISO -9200000000000000000" << "" << "";
    QTest::newRow("just past them") << QVariantMap{{QStringLiteral("FocalLength"), 0x1p63},
                                                   {QStringLiteral("ISOSpeedRatings"), QVariantList{-0x1p64}}}
                                    << "" << "" << "" << "";
}

void TestImageMetadata::exposure()
{
    QFETCH(QVariantMap, exif);
    QFETCH(QString, focal);
    QFETCH(QString, iso);
    QFETCH(QString, time);
    QFETCH(QString, aperture);
    const QVariantMap properties = withExif(exif);
    QCOMPARE(TQImageMetadata::focalLength(properties).text, focal);
    QCOMPARE(TQImageMetadata::iso(properties).text, iso);
    QCOMPARE(TQImageMetadata::exposureTime(properties).text, time);
    QCOMPARE(TQImageMetadata::fNumber(properties).text, aperture);
    // The numbers go with their texts: 0 exactly when there is no text.
    QCOMPARE(TQImageMetadata::iso(properties).value == 0, iso.isEmpty());
    QCOMPARE(TQImageMetadata::focalLength(properties).value == 0, focal.isEmpty());
}

void TestImageMetadata::dateTaken_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<QString>("text");
    QTest::newRow("a date taken") << withExif({{QStringLiteral("DateTimeOriginal"), QStringLiteral("2026:11:21 05:27:31")}})
                                  << QDateTime(QDate(2026, 11, 21), QTime(5, 27, 31)) << "Nov 21, 2026, 5:27 AM";
    QTest::newRow("no date taken is the distant past") << QVariantMap{} << TQDistantPast() << "";
    QTest::newRow("a date that does not parse") << withExif({{QStringLiteral("DateTimeOriginal"), QStringLiteral("2026:13:45 99:00:00")}})
                                                << TQDistantPast() << "";
}

void TestImageMetadata::dateTaken()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QDateTime, date);
    QFETCH(QString, text);
    QString written = QStringLiteral("not written");
    QCOMPARE(TQImageMetadata::exifDate(properties, &written), date);
    QCOMPARE(written, text);
    QCOMPARE(TQDistantPast(), QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC));
}

void TestImageMetadata::texts_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("depth");
    QTest::addColumn<QString>("resolution");

    const auto p = [](std::initializer_list<std::pair<const char *, QVariant>> values) {
        QVariantMap map;
        for (const auto &[key, value] : values)
            map.insert(QString::fromLatin1(key), value);
        return map;
    };
    QTest::newRow("16-bit RGB with alpha") << p({{"Depth", 16}, {"ColorModel", QStringLiteral("RGB")}, {"HasAlpha", true}})
                                           << "16-bit RGB(A)" << "";
    QTest::newRow("16-bit RGB without alpha") << p({{"Depth", 16}, {"ColorModel", QStringLiteral("RGB")}, {"HasAlpha", false}})
                                              << "16-bit RGB" << "";
    QTest::newRow("alpha that is not a boolean does not count") << p({{"Depth", 8}, {"ColorModel", QStringLiteral("Gray")}, {"HasAlpha", 1}})
                                                                 << "8-bit Gray" << "";
    QTest::newRow("a depth without a colour model") << p({{"Depth", 16}}) << "16-bit" << "";
    QTest::newRow("a depth of -1 is none") << p({{"Depth", -1}, {"ColorModel", QStringLiteral("RGB")}}) << "" << "";
    QTest::newRow("equal resolutions") << p({{"DPIWidth", 72.0}, {"DPIHeight", 72.0}}) << "" << "72 dpi";
    QTest::newRow("unequal resolutions") << p({{"DPIWidth", 300.0}, {"DPIHeight", 72.0}}) << "" << "300x72 dpi";
    QTest::newRow("a missing vertical resolution") << p({{"DPIWidth", 300.0}}) << "" << "";
    QTest::newRow("a missing horizontal resolution") << p({{"DPIHeight", 300.0}}) << "" << "";
    // A DPI value becomes an integer by truncation, as a number's integer value does.
    QTest::newRow("72.9 by 72.9 is 72 dpi") << p({{"DPIWidth", 72.9}, {"DPIHeight", 72.9}}) << "" << "72 dpi";
    QTest::newRow("a PNG's 2834 pixels a metre") << p({{"DPIWidth", 2834 * 0.0254}, {"DPIHeight", 2834 * 0.0254}})
                                                 << "" << "71 dpi";
    QTest::newRow("300.6 by 71.5") << p({{"DPIWidth", 300.6}, {"DPIHeight", 71.5}}) << "" << "300x71 dpi";
    QTest::newRow("values that truncate to the same") << p({{"DPIWidth", 96.2}, {"DPIHeight", 96.8}}) << "" << "96 dpi";
    QTest::newRow("-1.5 truncates to -1, which is none") << p({{"DPIWidth", -1.5}, {"DPIHeight", 72.0}}) << "" << "";
    // Values no 32-bit integer holds have no text.
    QTest::newRow("a NaN resolution") << p({{"DPIWidth", std::nan("")}, {"DPIHeight", 72.0}}) << "" << "";
    QTest::newRow("an infinite resolution") << p({{"DPIWidth", 72.0}, {"DPIHeight", std::numeric_limits<double>::infinity()}})
                                            << "" << "";
    QTest::newRow("a resolution of 3e9") << p({{"DPIWidth", 3e9}, {"DPIHeight", 3e9}}) << "" << "";
    QTest::newRow("a depth of NaN") << p({{"Depth", std::nan("")}, {"ColorModel", QStringLiteral("RGB")}}) << "" << "";
    QTest::newRow("a depth of 8.0") << p({{"Depth", 8.0}, {"ColorModel", QStringLiteral("RGB")}}) << "8-bit RGB" << "";
}

void TestImageMetadata::texts()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QString, depth);
    QFETCH(QString, resolution);
    QCOMPARE(TQImageMetadata::imageDepthString(properties), depth);
    QCOMPARE(TQImageMetadata::resolutionString(properties), resolution);
}

QTEST_GUILESS_MAIN(TestImageMetadata)
#include "tst_imagemetadata.moc"
