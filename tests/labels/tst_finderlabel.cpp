// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVFinderLabel.h"
#include "FVIntegerKeyDictionary.h"
#include "TQInvalidParameterException.h"
#include "UWFileManagerCategories.h"
#include "UWFinderLabels_p.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;
using namespace UWFileManagerCategories;
using Call = std::function<void()>;

namespace {

qint64 fakeNow = 0;
qint64 fakeClock() { return fakeNow; }
QSettings labelsDomain() { return QSettings(QSettings::NativeFormat, QSettings::UserScope, u"com.apple.Labels"_s); }

bool near(const QColor &a, const QColor &b)
{
    const auto close = [](int x, int y) { return std::abs(x - y) <= 3; };
    return close(a.red(), b.red()) && close(a.green(), b.green()) && close(a.blue(), b.blue()) && close(a.alpha(), b.alpha());
}

// A swatch drawn alone into an image of its size, through a y-up painter if asked; without a
// flag, the flag is read from the painter.
QImage swatch(int label, const QSizeF &size, bool yUp, std::optional<bool> flipped, bool roundEnds)
{
    QImage image(size.toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    if (yUp) {
        painter.translate(0, size.height());
        painter.scale(1, -1);
    }
    if (flipped)
        FVFinderLabel::drawFinderLabel(label, QRectF(QPointF(), size), &painter, *flipped, roundEnds);
    else
        FVFinderLabel::drawFinderLabel(label, QRectF(QPointF(), size), &painter, roundEnds);
    return image;
}

} // namespace

class TestFinderLabel : public QObject
{
    Q_OBJECT

public:
    explicit TestFinderLabel(const QString &configHome) : m_configHome(configHome) { }

private:
    QString m_configHome;

private slots:
    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }
    void initTestCase() { QVERIFY(labelsDomain().fileName().startsWith(m_configHome + u'/')); }

    // First, so that no other test has drawn label 3's layer.
    void refusesBadInput_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("condition");
        const QString noContext = u"NULL != context"_s, badLabel = u"label >= 0 && label < 8"_s;
        const QRectF rect(0, 0, 9, 9);
        QTest::newRow("undrawn layer") << Call([] { FVFinderLabel::_layerForLabel(3, nullptr); }) << noContext;
        QTest::newRow("draw, flag given") << Call([&] { FVFinderLabel::drawFinderLabel(3, rect, nullptr, true, false); }) << noContext;
        QTest::newRow("draw, flag read") << Call([&] { FVFinderLabel::drawFinderLabel(3, rect, nullptr, true); }) << noContext;
        QTest::newRow("upper colour of 8") << Call([] { upperColorForFinderLabel(8); }) << badLabel;
        QTest::newRow("lower colour of -1") << Call([] { lowerColorForFinderLabel(-1); }) << badLabel;
        QTest::newRow("gradient of 8") << Call([] { gradientForFinderLabel(8); }) << badLabel;
        // Also checks the painter comes back balanced: a state left saved warns when it ends.
        QTest::newRow("draw label 8") << Call([] { swatch(8, QSizeF(20, 10), true, false, true); }) << badLabel;
    }
    void refusesBadInput()
    {
        QFETCH(Call, call);
        QFETCH(QString, condition);
        try {
            call();
            QFAIL("no exception");
        } catch (const TQInvalidParameterException &e) {
            QCOMPARE(QString::fromUtf8(e.what()), u"Invalid parameter not satisfying: "_s + condition);
        }
    }

    void names_data()
    {
        QTest::addColumn<QVariantMap>("domain");
        QTest::addColumn<int>("label");
        QTest::addColumn<QString>("name");
        const QVariantMap renamed{{u"Label_Name_0"_s, u"Nothing"_s}, {u"Label_Name_6"_s, u"Urgent"_s},
                                  {u"Label_Name_4"_s, QStringList{u"a"_s, u"b"_s}}};
        QTest::newRow("user's name") << renamed << 6 << u"Urgent"_s;
        QTest::newRow("user's name for no label") << renamed << 0 << u"Nothing"_s;
        QTest::newRow("a list is no name") << renamed << 4 << u"Blue"_s;
        QTest::newRow("default of no label") << QVariantMap{{u"Label_Name_6"_s, u"Urgent"_s}} << 0 << u"No Label"_s;
        QTest::newRow("8") << renamed << 8 << QString();
        QTest::newRow("-1") << renamed << -1 << QString();
    }
    void names()
    {
        QFETCH(QVariantMap, domain);
        QFETCH(int, label);
        QFETCH(QString, name);
        QSettings settings = labelsDomain();
        settings.clear();
        for (auto it = domain.cbegin(); it != domain.cend(); ++it)
            settings.setValue(it.key(), it.value());
        settings.sync();
        UWFinderLabels_setClockForTesting(fakeClock);
        const QString got = FVFinderLabel::nameForLabel(label);
        QCOMPARE(got, name);
        QCOMPARE(got.isNull(), name.isNull());
    }

    void namesAreReadAtMostEvery15Seconds()
    {
        QVERIFY(!QFile::exists(labelsDomain().fileName()) || QFile::remove(labelsDomain().fileName()));
        UWFinderLabels_setClockForTesting(fakeClock);
        QCOMPARE(FVFinderLabel::nameForLabel(6), u"Red"_s);
        labelsDomain().setValue(u"Label_Name_6"_s, u"Stop"_s);
        QCOMPARE(FVFinderLabel::nameForLabel(6), u"Stop"_s); // an absent domain left no copy to keep
        labelsDomain().setValue(u"Label_Name_6"_s, u"Halt now"_s);
        fakeNow += 14'999;
        QCOMPARE(FVFinderLabel::nameForLabel(6), u"Stop"_s);
        fakeNow += 2;
        QCOMPARE(FVFinderLabel::nameForLabel(6), u"Halt now"_s);
    }

    void colours()
    {
        QStringList uppers;
        for (int label = 0; label < 8; ++label) {
            const QColor upper = upperColorForFinderLabel(label), lower = lowerColorForFinderLabel(label);
            uppers << upper.name();
            for (auto component : {&QColor::redF, &QColor::greenF, &QColor::blueF})
                QCOMPARE_LE(std::abs((lower.*component)() - 0.9f * (upper.*component)()), 1e-4f);
            QCOMPARE(lower.alpha(), upper.alpha());
            const QLinearGradient gradient = gradientForFinderLabel(label);
            QCOMPARE(gradient.stops(), (QGradientStops{{0, upper}, {1, lower}}));
            QCOMPARE(gradient.coordinateMode(), QGradient::ObjectBoundingMode);
            QCOMPARE(QLineF(gradient.start(), gradient.finalStop()), QLineF(0, 0, 0, 1));
        }
        QCOMPARE(uppers.join(u' '), u"#f6f6f6 #aaaab0 #96d062 #c096de #6eaaf2 #f8de5c #f26660 #faa848"_s);
    }

    void swatchShowsUpperColourOnTopAndRoundsItsEnds_data()
    {
        QTest::addColumn<int>("label");
        QTest::addColumn<bool>("yUp");
        QTest::addColumn<std::optional<bool>>("flipped");
        QTest::addColumn<bool>("roundEnds");
        QTest::addColumn<bool>("upsideDown");
        const std::optional<bool> yes = true, no = false, ask;
        QTest::newRow("red, y down") << 6 << false << yes << false << false;
        QTest::newRow("red, y up") << 6 << true << no << false << false;
        QTest::newRow("blue, y up, round ends") << 4 << true << no << true << false;
        QTest::newRow("blue, y down, flag read, round ends") << 4 << false << ask << true << false;
        QTest::newRow("green, y up, flag read") << 2 << true << ask << false << false;
        QTest::newRow("red, y up, wrong flag") << 6 << true << yes << false << true;
    }
    void swatchShowsUpperColourOnTopAndRoundsItsEnds()
    {
        QFETCH(int, label);
        QFETCH(bool, roundEnds);
        QFETCH(bool, upsideDown);
        QFETCH(bool, yUp);
        QFETCH(std::optional<bool>, flipped);
        const QImage image = swatch(label, QSizeF(40, 10), yUp, flipped, roundEnds);
        const QColor top = image.pixelColor(20, 0), bottom = image.pixelColor(20, 9);
        const QColor upper = upperColorForFinderLabel(label), lower = lowerColorForFinderLabel(label);
        QVERIFY2(near(top, upsideDown ? lower : upper), qPrintable(top.name(QColor::HexArgb)));
        QVERIFY2(near(bottom, upsideDown ? upper : lower), qPrintable(bottom.name(QColor::HexArgb)));
        for (const QPoint corner : {QPoint(0, 0), QPoint(39, 0), QPoint(0, 9), QPoint(39, 9)})
            QCOMPARE(image.pixelColor(corner).alpha(), roundEnds ? 0 : 255);
        // The four ends are mirror images of each other, to the antialiasing's rounding.
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const int alpha = qAlpha(image.pixel(x, y));
                QVERIFY2(std::abs(alpha - qAlpha(image.pixel(image.width() - 1 - x, y))) <= 2
                             && std::abs(alpha - qAlpha(image.pixel(x, image.height() - 1 - y))) <= 2,
                         qPrintable(u"at %1,%2"_s.arg(x).arg(y)));
            }
        }
    }

    void roundEndsRadius_data()
    {
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<qreal>("radius");
        const qreal nan = std::numeric_limits<qreal>::quiet_NaN();
        QTest::newRow("40x10") << QSizeF(40, 10) << 5.0;
        QTest::newRow("10x40") << QSizeF(10, 40) << 5.0;
        QTest::newRow("40x20") << QSizeF(40, 20) << 6.5;
        QTest::newRow("NaN") << QSizeF(nan, nan) << 6.5;
        QTest::newRow("negative") << QSizeF(-4, 10) << 0.0;
    }
    void roundEndsRadius()
    {
        QFETCH(QSizeF, size);
        QTEST(FVFinderLabel::roundEndsRadius(size), "radius");
    }

    void emptyRectanglesDrawNothing_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::newRow("no height") << QRectF(0, 0, 20, 0);
        QTest::newRow("negative width") << QRectF(20, 0, -20, 10);
        QTest::newRow("NaN") << QRectF(0, 0, std::numeric_limits<qreal>::quiet_NaN(), 10);
        QTest::newRow("infinite") << QRectF(0, 0, std::numeric_limits<qreal>::infinity(), 10);
    }
    void emptyRectanglesDrawNothing()
    {
        QFETCH(QRectF, rect);
        QImage image(20, 10, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        const QImage before = image;
        QPainter painter(&image);
        FVFinderLabel::drawFinderLabel(1, rect, &painter, true);
        FVFinderLabel::drawFinderLabel(1, rect, &painter, false);
        painter.end();
        QCOMPARE(image, before);
    }

    void layerIsDrawnOnceAndShared()
    {
        QImage target(1, 1, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&target);
        const QImage first = FVFinderLabel::_layerForLabel(0, &painter); // label 0 is drawn nowhere else
        QCOMPARE(FVFinderLabel::_layerForLabel(0, nullptr).cacheKey(), first.cacheKey());

        swatch(7, QSizeF(30, 12), false, true, false);
        const QImage layer = FVFinderLabel::_layerForLabel(7, nullptr); // drawing cached it
        swatch(7, QSizeF(80, 20), true, false, true);
        QCOMPARE(FVFinderLabel::_layerForLabel(7, nullptr).cacheKey(), layer.cacheKey());
        QCOMPARE(QSizeF(layer.size()), FVFinderLabel::_layerSize());
        QVERIFY(near(layer.pixelColor(0, 0), upperColorForFinderLabel(7)));
        QVERIFY(near(layer.pixelColor(0, 31), lowerColorForFinderLabel(7)));
    }

    void integerKeys()
    {
        const FVIntegerKeyCallBacks &callBacks = FVIntegerKeyDictionaryCallBacks;
        for (const qintptr key : {qintptr(42), qintptr(-3), std::numeric_limits<qintptr>::min()}) {
            const QString description = callBacks.copyDescription(key);
            QCOMPARE(description.toLongLong(), key);
            QCOMPARE(callBacks.hash(key), size_t(key));
            QVERIFY(callBacks.equal(key, description.toLongLong()));
            QVERIFY(!callBacks.equal(key, key + 1));
        }
    }
};

int main(int argc, char *argv[])
{
    // Before the application and any QSettings, which keeps the folder it first finds.
    QTemporaryDir configHome;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome.path()));
    QGuiApplication app(argc, argv);
    TestFinderLabel test(configHome.path());
    return QTest::qExec(&test, argc, argv);
}

#include "tst_finderlabel.moc"
