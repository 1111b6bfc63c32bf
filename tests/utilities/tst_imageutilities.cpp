// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageUtilities.h"

#include <QFile>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;
using ImageLoader = QImage (*)();

namespace {

bool near(const QColor &a, const QColor &b)
{
    const auto close = [](int x, int y) { return std::abs(x - y) <= 3; };
    return close(a.red(), b.red()) && close(a.green(), b.green()) && close(a.blue(), b.blue())
        && close(a.alpha(), b.alpha());
}

int opaquePixels(const QImage &image, const QRect &area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            count += qAlpha(image.pixel(x, y)) > 0;
    return count;
}

// Red on top, blue below: drawn upside down it is plainly so.
QImage redOverBlue()
{
    QImage image(8, 8, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::blue);
    QPainter(&image).fillRect(0, 0, 8, 4, Qt::red);
    return image;
}

} // namespace

class TestImageUtilities : public QObject
{
    Q_OBJECT

private slots:
    void addsPropertiesWithTheCommonGroups();
    void leavesTheDictionaryAloneForNonImages();

    void ownImagesLoad_data();
    void ownImagesLoad();

    void drawsUpright_data();
    void drawsUpright();
    void badInputDrawsNothing_data();
    void badInputDrawsNothing();
};

void TestImageUtilities::addsPropertiesWithTheCommonGroups()
{
    QTemporaryDir dir;
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::yellow);
    QVERIFY(image.save(dir.filePath(QStringLiteral("plain.jpg")), "JPEG"));

    QVariantMap dictionary{{QStringLiteral("PixelWidth"), 1}, {QStringLiteral("kept"), QStringLiteral("mine")}};
    QVERIFY(TQImageUtilities::addPropertiesofFile(UWStandardFile::newFileForPath(dir.filePath(QStringLiteral("plain.jpg"))), dictionary));
    QCOMPARE(dictionary.value(QStringLiteral("PixelWidth")).toInt(), 40); // replaced
    QCOMPARE(dictionary.value(QStringLiteral("kept")), QVariant(QStringLiteral("mine")));
    // A JPEG without EXIF or IPTC still gets the groups a caller fills in, and only those.
    for (const char *group : {"{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}", "{MakerNikon}"})
        QVERIFY2(dictionary.value(QString::fromLatin1(group)).typeId() == QMetaType::QVariantMap, group);
    QVERIFY(dictionary.value(QStringLiteral("{IPTC}")).toMap().isEmpty());
    QVERIFY(!dictionary.contains(QStringLiteral("{GPS}")));
}

void TestImageUtilities::leavesTheDictionaryAloneForNonImages()
{
    QTemporaryDir dir;
    QFile text(dir.filePath(QStringLiteral("notes.txt")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("words\n");
    text.close();
    const QVariantMap before{{QStringLiteral("a"), 1}};
    QVariantMap dictionary = before;
    QVERIFY(!TQImageUtilities::addPropertiesofFile(UWStandardFile::newFileForPath(text.fileName()), dictionary));
    QVERIFY(!TQImageUtilities::addPropertiesofFile(nullptr, dictionary));
    QCOMPARE(dictionary, before);
}

void TestImageUtilities::ownImagesLoad_data()
{
    QTest::addColumn<ImageLoader>("load");
    QTest::newRow("alias badge") << &TQImageUtilities::aliasBadge;
    QTest::newRow("trash") << &TQImageUtilities::trashImage;
    QTest::newRow("notice") << &TQImageUtilities::noticeImage;
}

void TestImageUtilities::ownImagesLoad()
{
    QFETCH(ImageLoader, load);
    const QImage image = load();
    QVERIFY(!image.isNull());
    QCOMPARE(image.size(), QSize(128, 128));
    QVERIFY(image.hasAlphaChannel());
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
    QVERIFY(opaquePixels(image, image.rect()) > 0);
}

void TestImageUtilities::drawsUpright_data()
{
    QTest::addColumn<bool>("yUp");
    QTest::addColumn<bool>("bitmapVariant");
    QTest::addColumn<int>("operation");
    QTest::addColumn<qreal>("fraction");
    QTest::addColumn<QRectF>("source");
    QTest::addColumn<QColor>("background");
    QTest::addColumn<QColor>("top");
    QTest::addColumn<QColor>("bottom");

    const int over = QPainter::CompositionMode_SourceOver;
    const QColor clear = Qt::transparent, red = Qt::red, blue = Qt::blue, green = Qt::green;
    const QColor halfRed(255, 0, 0, 128), halfBlue(0, 0, 255, 128);
    QTest::newRow("y-down") << false << false << over << 1.0 << QRectF() << clear << red << blue;
    QTest::newRow("y-up") << true << false << over << 1.0 << QRectF() << clear << red << blue;
    QTest::newRow("y-up, bitmap variant") << true << true << over << 1.0 << QRectF() << clear << red << blue;
    QTest::newRow("y-up, half") << true << false << over << 0.5 << QRectF() << clear << halfRed << halfBlue;
    QTest::newRow("y-up, upper part") << true << false << over << 1.0 << QRectF(0, 0, 8, 4) << clear << red << red;
    QTest::newRow("y-down, behind") << false << false << int(QPainter::CompositionMode_DestinationOver) << 1.0
                                    << QRectF() << green << green << green;
    QTest::newRow("over an opaque background") << false << false << over << 1.0 << QRectF() << green << red << blue;
    QTest::newRow("nothing") << false << false << over << 0.0 << QRectF() << green << green << green;
}

void TestImageUtilities::drawsUpright()
{
    QFETCH(bool, yUp);
    QFETCH(bool, bitmapVariant);
    QFETCH(int, operation);
    QFETCH(qreal, fraction);
    QFETCH(QRectF, source);
    QFETCH(QColor, background);
    QFETCH(QColor, top);
    QFETCH(QColor, bottom);

    QImage canvas(24, 30, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(background);
    const QRectF destination(4, 4, 16, 16);
    QRect onCanvas;
    {
        QPainter painter(&canvas);
        if (yUp) {
            painter.translate(0, canvas.height());
            painter.scale(1, -1);
        }
        const QTransform before = painter.transform();
        onCanvas = before.mapRect(destination).toRect();
        if (bitmapVariant)
            TQImageUtilities::drawImageAdjustedInRect(redOverBlue(), &painter, destination);
        else
            TQImageUtilities::drawAdjustedInRect(redOverBlue(), &painter, destination, source,
                                                 QPainter::CompositionMode(operation), fraction);
        QCOMPARE(painter.transform(), before);
        QCOMPARE(painter.opacity(), 1.0);
        QCOMPARE(painter.compositionMode(), QPainter::CompositionMode_SourceOver);
    }
    const int x = onCanvas.center().x();
    const QColor seenTop = canvas.pixelColor(x, onCanvas.top() + 2);
    const QColor seenBottom = canvas.pixelColor(x, onCanvas.bottom() - 2);
    QVERIFY2(near(seenTop, top), qPrintable(seenTop.name(QColor::HexArgb)));
    QVERIFY2(near(seenBottom, bottom), qPrintable(seenBottom.name(QColor::HexArgb)));
    // Nothing lands outside the destination.
    QVERIFY(near(canvas.pixelColor(x, onCanvas.top() - 1), background));
    QVERIFY(near(canvas.pixelColor(x, onCanvas.bottom() + 1), background));
}

void TestImageUtilities::badInputDrawsNothing_data()
{
    QTest::addColumn<bool>("painterGiven");
    QTest::addColumn<bool>("painterActive");
    QTest::addColumn<QImage>("image");
    QTest::addColumn<QRectF>("destination");
    QTest::addColumn<qreal>("fraction");

    const QImage image = redOverBlue();
    const QRectF rect(0, 0, 8, 8);
    const qreal nan = std::nan("");
    QTest::newRow("no painter") << false << false << image << rect << 1.0;
    QTest::newRow("inactive painter") << true << false << image << rect << 1.0;
    QTest::newRow("null image") << true << true << QImage() << rect << 1.0;
    QTest::newRow("empty destination") << true << true << image << QRectF(2, 2, 0, 5) << 1.0;
    QTest::newRow("NaN destination") << true << true << image << QRectF(nan, 0, 8, 8) << 1.0;
    QTest::newRow("NaN fraction") << true << true << image << rect << nan;
}

void TestImageUtilities::badInputDrawsNothing()
{
    QFETCH(bool, painterGiven);
    QFETCH(bool, painterActive);
    QFETCH(QImage, image);
    QFETCH(QRectF, destination);
    QFETCH(qreal, fraction);
    QTest::failOnWarning(QRegularExpression(u".*"_s));

    QImage canvas(8, 8, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::white);
    const QImage before = canvas;
    QPainter painter;
    if (painterActive)
        QVERIFY(painter.begin(&canvas));
    QPainter *given = painterGiven ? &painter : nullptr;
    TQImageUtilities::drawAdjustedInRect(image, given, destination, QRectF(), QPainter::CompositionMode_SourceOver,
                                         fraction);
    if (fraction == 1.0)
        TQImageUtilities::drawImageAdjustedInRect(image, given, destination);
    if (painterActive)
        painter.end();
    QCOMPARE(canvas, before);
}

QTEST_MAIN(TestImageUtilities)
#include "tst_imageutilities.moc"
