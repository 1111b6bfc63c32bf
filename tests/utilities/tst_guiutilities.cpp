// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// These utilities need no widgets, and the test runs on a QGuiApplication: QtTest must not
// take the application for a QApplication because the library happens to link QtWidgets.
#undef QT_WIDGETS_LIB

#include "TQAffineTransformOrientationUtilities.h"
#include "TQAttributedStringUtilities.h"
#include "TQBezierPathUtilities.h"
#include "TQEventUtilities.h"
#include "TQImageUtilities.h"
#include "TQScreenUtilities.h"
#include "TQTestDesktop.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QStyleHints>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>
#include <QWindow>

using namespace Qt::StringLiterals;
using Points = QList<QPoint>;
using ImageLoader = QImage (*)();

namespace {

// What menubarScreen() answered before the application object, and so any screen, existed.
QScreen *screenBeforeApplication = reinterpret_cast<QScreen *>(1);

QFont textFont()
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(13);
    return font;
}

float advance(const QString &text) { return float(QFontMetricsF(textFont()).horizontalAdvance(text)); }

QTextDocument *document(const QString &text, QTextDocument *document)
{
    document->setDefaultFont(textFont());
    document->setPlainText(text);
    return document;
}

bool near(const QColor &a, const QColor &b)
{
    const auto close = [](int x, int y) { return std::abs(x - y) <= 3; };
    return close(a.red(), b.red()) && close(a.green(), b.green()) && close(a.blue(), b.blue())
        && close(a.alpha(), b.alpha());
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

class TestGuiUtilities : public QObject
{
    Q_OBJECT

    QTemporaryDir m_settingsDir;

private slots:
    void initTestCase()
    {
        QVERIFY(m_settingsDir.isValid());
        QCoreApplication::setOrganizationName(u"TQKitTests"_s);
        QCoreApplication::setApplicationName(u"tst_guiutilities"_s);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    }

    // The limit is a text as wide as the width allowed, mostly the answer itself, so each row
    // checks where the cutting stops: one step earlier is too wide, one later not the first to fit.
    void truncate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("limit");
        QTest::addColumn<QString>("expected");

        const QString ten = u"abcdefghij"_s;
        QTest::newRow("exactly as wide as allowed") << ten << ten << ten;
        QTest::newRow("narrower than allowed") << ten << ten + ten << ten;
        QTest::newRow("room for four and the ellipsis") << ten << u"abcd…"_s << u"abcd…"_s;
        QTest::newRow("no room leaves two and the ellipsis") << ten << QString() << u"ab…"_s;
        QTest::newRow("four characters are cut") << u"abcd"_s << QString() << u"ab…"_s;
        QTest::newRow("three characters come back whole") << u"abc"_s << QString() << u"abc"_s;
        QTest::newRow("an empty text fits in nothing") << QString() << QString() << QString();
        QTest::newRow("a paragraph break is one character, the widest line counts")
            << u"ab\ncdefghijkl"_s << u"ab\ncdefgh…"_s << u"ab\ncdefgh…"_s;
        // "ab", a character outside the BMP (two UTF-16 units), "cdef": a cut after three units
        // ends on the pair's first half and is allowed exactly. Only a font that draws the pair
        // wider than its first half tells.
        const QString pair = u"ab\U0001F600cdef"_s, split = pair.left(3) + u"…"_s;
        if (advance(pair.left(4) + u"…"_s) > advance(split))
            QTest::newRow("a surrogate pair is never split") << pair << split << u"ab…"_s;
    }

    void truncate()
    {
        QFETCH(QString, text);
        QFETCH(QString, limit);
        QFETCH(QString, expected);
        using TQAttributedStringUtilities::truncateForWidth;
        const bool fits = advance(text) <= advance(limit);
        if (!text.contains(u'\n')) { // a plain text is one line
            bool reportedFit = !fits;
            const QString result = truncateForWidth(text, textFont(), advance(limit), &reportedFit);
            QCOMPARE(result, expected);
            QCOMPARE(reportedFit, fits);
            QCOMPARE(result.constData() == text.constData(), fits); // a text that fits is handed back itself
        }
        QTextDocument source, measure;
        document(text, &source);
        document(limit, &measure)->setDocumentMargin(0);
        // The first character the ellipsis replaces is red; a colour changes no width.
        const int replaced = expected.endsWith(u'…') ? int(expected.size()) - 1 : -1;
        QTextCursor cursor(&source);
        if (replaced >= 0) {
            cursor.setPosition(replaced);
            cursor.setPosition(replaced + 1, QTextCursor::KeepAnchor);
            QTextCharFormat red;
            red.setForeground(Qt::red);
            cursor.mergeCharFormat(red);
        }
        const auto result = truncateForWidth(&source, float(measure.idealWidth()));
        QCOMPARE(result ? result->toPlainText() : text, expected);
        QCOMPARE(bool(result), !fits);
        QVERIFY(!truncateForWidth(nullptr, 0));
        if (replaced < 0)
            return;
        QCOMPARE(result->defaultFont(), source.defaultFont());
        QCOMPARE(result->documentMargin(), source.documentMargin());
        cursor = QTextCursor(result.get());
        cursor.movePosition(QTextCursor::End);
        QCOMPARE(cursor.charFormat().foreground().color(), QColor(Qt::red)); // the ellipsis
        cursor.movePosition(QTextCursor::PreviousCharacter);
        QVERIFY(cursor.charFormat().foreground().color() != QColor(Qt::red));
    }

    void menubarScreen()
    {
        QCOMPARE(screenBeforeApplication, nullptr);
        QCOMPARE(TQScreenUtilities::menubarScreen(), QGuiApplication::primaryScreen());
    }

    void modifierKeys_data()
    {
        QTest::addColumn<Qt::KeyboardModifiers>("held");
        QTest::addColumn<QList<bool>>("expected"); // control, option, command, shift
        using Held = Qt::KeyboardModifiers;
        QTest::newRow("nothing held") << Held() << QList{false, false, false, false};
        QTest::newRow("Shift is Shift") << Held(Qt::ShiftModifier) << QList{false, false, false, true};
        QTest::newRow("Ctrl is Command") << Held(Qt::ControlModifier) << QList{false, false, true, false};
        QTest::newRow("Alt is Option") << Held(Qt::AltModifier) << QList{false, true, false, false};
        QTest::newRow("Meta is Control") << Held(Qt::MetaModifier) << QList{true, false, false, false};
    }

    void modifierKeys()
    {
        QFETCH(Qt::KeyboardModifiers, held);
        // The offscreen platform cannot be asked for the keyboard; Qt then answers with what the
        // last key event delivered to a window carried, which is what QTest can produce.
        QWindow window;
        window.resize(50, 50);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTest::keyPress(&window, Qt::Key_A, held);
        const QList<bool> down{TQEventUtilities::isControlKeyDown(), TQEventUtilities::isOptionKeyDown(),
                               TQEventUtilities::isCommandKeyDown(), TQEventUtilities::isShiftKeyDown()};
        QTest::keyRelease(&window, Qt::Key_A, Qt::NoModifier);
        QTEST(down, "expected");
    }

    void doubleClickDelay_data()
    {
        QTest::addColumn<QVariant>("stored"); // invalid: the key is not set
        QTest::addColumn<int>("desktopMs");
        QTest::addColumn<double>("expected");

        QTest::newRow("a half second is trusted") << QVariant(0.5) << 400 << 0.5;
        QTest::newRow("a quarter second is not") << QVariant(0.25) << 400 << 1.0;
        QTest::newRow("two seconds are not") << QVariant(2.0) << 400 << 1.0;
        QTest::newRow("the host's setting wins over the desktop's") << QVariant(1.5) << 700 << 1.5;
        QTest::newRow("unset: the desktop's interval") << QVariant() << 400 << 0.4;
        QTest::newRow("unset: the desktop's two seconds are not trusted") << QVariant() << 2000 << 1.0;
    }

    void doubleClickDelay()
    {
        QFETCH(QVariant, stored);
        QFETCH(int, desktopMs);
        const QString key = QLatin1StringView(TQEventUtilities::DoubleClickThresholdKey);
        const int originalMs = QGuiApplication::styleHints()->mouseDoubleClickInterval();
        const auto restore = qScopeGuard([=] { QGuiApplication::styleHints()->setMouseDoubleClickInterval(originalMs); });
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(desktopMs);
        if (stored.isValid())
            QSettings().setValue(key, stored);
        else
            QSettings().remove(key);
        QTEST(TQEventUtilities::doubleClickDelay(), "expected");
    }

    void strokeInside_data()
    {
        QTest::addColumn<qreal>("penWidth");
        QTest::addColumn<QRectF>("limit");
        QTest::addColumn<QRect>("earlierClip"); // empty: none
        QTest::addColumn<Points>("painted");
        QTest::addColumn<Points>("untouched");

        // The path is the square (20, 20) to (80, 80). Inside each edge within the pen's
        // width, then outside each edge and the middle.
        const Points inside{{21, 50}, {78, 50}, {50, 21}, {50, 78}, {23, 50}};
        const Points outside{{18, 50}, {81, 50}, {50, 18}, {50, 81}, {26, 50}, {50, 50}};
        QTest::newRow("outlined on its inside only") << 4.0 << QRectF() << QRect() << inside << outside;
        QTest::newRow("a rectangle of no width is ignored") << 4.0 << QRectF(0, 0, 0, 100) << QRect() << inside
                                                            << outside;
        QTest::newRow("the rectangle limits the stroke to the left half")
            << 4.0 << QRectF(0, 0, 50, 100) << QRect() << Points{{21, 50}, {30, 21}, {30, 78}}
            << Points{{78, 50}, {60, 21}, {60, 78}, {18, 50}};
        QTest::newRow("a wider pen reaches further in") << 10.0 << QRectF() << QRect()
                                                        << Points{{21, 50}, {28, 50}, {71, 50}}
                                                        << Points{{18, 50}, {31, 50}, {50, 50}};
        QTest::newRow("the path replaces a clip set before")
            << 4.0 << QRectF() << QRect(0, 0, 40, 40) << Points{{21, 30}, {78, 50}, {50, 78}} << Points{{18, 30}};
    }

    void strokeInside()
    {
        QFETCH(qreal, penWidth);
        QFETCH(QRectF, limit);
        QFETCH(QRect, earlierClip);
        QFETCH(Points, painted);
        QFETCH(Points, untouched);
        QImage image(100, 100, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setPen(QPen(Qt::red, penWidth));
        if (!earlierClip.isEmpty())
            painter.setClipRect(earlierClip);
        QPainterPath square;
        square.addRect(20, 20, 60, 60);
        TQBezierPathUtilities::strokeInsideWithinRect(square, painter, limit);
        QCOMPARE(painter.pen().widthF(), penWidth);
        QCOMPARE(painter.hasClipping() ? painter.clipBoundingRect() : QRectF(), QRectF(earlierClip));
        painter.end();
        const auto at = [](QPoint p) { return u"at %1,%2"_s.arg(p.x()).arg(p.y()); };
        for (const QPoint &point : painted)
            QVERIFY2(image.pixelColor(point) == QColor(Qt::red), qPrintable(at(point)));
        for (const QPoint &point : untouched)
            QVERIFY2(image.pixelColor(point).alpha() == 0, qPrintable(at(point)));
    }

    void rotationForOrientation_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<bool>("flipped");
        QTest::addColumn<QPointF>("imageOfX"); // where (1, 0) goes; a rotation takes (0, 1) along

        const QPointF x(1, 0), y(0, 1);
        for (bool flipped : {false, true}) {
            for (int orientation : {1, 2, 4, 5, 7, 0, 9, -6})
                QTest::addRow("%d%s is left alone", orientation, flipped ? ", flipped," : "") << orientation << flipped << x;
            QTest::addRow("3%s turns half way", flipped ? ", flipped," : "") << 3 << flipped << -x;
        }
        // A y that grows upwards turns (1, 0) towards -y for a clockwise quarter on the screen; a
        // y that grows downwards (flipped) turns it towards +y for the same on-screen turn.
        QTest::newRow("6 turns a quarter clockwise") << 6 << false << -y;
        QTest::newRow("6, flipped, turns the other way in its coordinates") << 6 << true << y;
        QTest::newRow("8 turns a quarter counter-clockwise") << 8 << false << y;
        QTest::newRow("8, flipped, turns the other way in its coordinates") << 8 << true << -y;
    }

    void rotationForOrientation()
    {
        QFETCH(int, orientation);
        QFETCH(bool, flipped);
        QFETCH(QPointF, imageOfX);
        const auto t = TQAffineTransformOrientationUtilities::rotationTransformForOrientation(orientation, flipped);
        QCOMPARE(t.map(QPointF(1, 0)), imageOfX);
        QCOMPARE(t.map(QPointF(0, 1)), QPointF(-imageOfX.y(), imageOfX.x()));
        QCOMPARE(t.map(QPointF(0, 0)), QPointF(0, 0));
    }

    void addsPropertiesOfImagesOnly()
    {
        QTemporaryDir dir;
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::yellow);
        QVERIFY(image.save(dir.filePath(u"plain.jpg"_s), "JPEG"));
        const QString text = dir.filePath(u"notes.txt"_s);
        QVERIFY(writeWholeFile(text, "words\n"));
        const QVariantMap before{{u"PixelWidth"_s, 1}, {u"kept"_s, u"mine"_s}};
        QVariantMap dictionary = before;
        QVERIFY(!TQImageUtilities::addPropertiesofFile(UWStandardFile::newFileForPath(text), dictionary));
        QVERIFY(!TQImageUtilities::addPropertiesofFile(nullptr, dictionary));
        QCOMPARE(dictionary, before);

        const auto jpeg = UWStandardFile::newFileForPath(dir.filePath(u"plain.jpg"_s));
        QVERIFY(TQImageUtilities::addPropertiesofFile(jpeg, dictionary));
        QCOMPARE(dictionary.value(u"PixelWidth"_s).toInt(), 40); // replaced
        QCOMPARE(dictionary.value(u"kept"_s), QVariant(u"mine"_s));
        // A JPEG without IPTC still gets the (empty) group a caller fills in; not every group.
        QCOMPARE(dictionary.value(u"{IPTC}"_s), QVariant(QVariantMap()));
        QVERIFY(!dictionary.contains(u"{GPS}"_s));
    }

    void ownImagesLoad_data()
    {
        QTest::addColumn<ImageLoader>("load");
        QTest::newRow("alias badge") << &TQImageUtilities::aliasBadge;
        QTest::newRow("trash") << &TQImageUtilities::trashImage;
        QTest::newRow("notice") << &TQImageUtilities::noticeImage;
    }

    void ownImagesLoad()
    {
        QFETCH(ImageLoader, load);
        const QImage image = load();
        QCOMPARE(image.size(), QSize(128, 128));
        QVERIFY(image.hasAlphaChannel());
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        const QImage alpha = image.convertToFormat(QImage::Format_Alpha8); // and something is drawn
        QVERIFY(std::any_of(alpha.constBits(), alpha.constBits() + alpha.sizeInBytes(), [](uchar a) { return a > 0; }));
        QVERIFY(load().cacheKey() != image.cacheKey()); // every caller gets an image of its own
    }

    void drawsUpright_data()
    {
        QTest::addColumn<bool>("yUp");
        QTest::addColumn<bool>("bitmapVariant");
        QTest::addColumn<int>("operation");
        QTest::addColumn<qreal>("fraction");
        QTest::addColumn<QRectF>("source");
        QTest::addColumn<QColor>("background");
        QTest::addColumn<QColor>("top");
        QTest::addColumn<QColor>("bottom");

        const int over = QPainter::CompositionMode_SourceOver, behind = QPainter::CompositionMode_DestinationOver;
        const QColor clear = Qt::transparent, red = Qt::red, blue = Qt::blue, green = Qt::green;
        const QColor halfRed(255, 0, 0, 128), halfBlue(0, 0, 255, 128);
        const QRectF all;
        QTest::newRow("y-down") << false << false << over << 1.0 << all << clear << red << blue;
        QTest::newRow("y-up") << true << false << over << 1.0 << all << clear << red << blue;
        QTest::newRow("y-up, bitmap variant") << true << true << over << 1.0 << all << clear << red << blue;
        QTest::newRow("y-up, half") << true << false << over << 0.5 << all << clear << halfRed << halfBlue;
        QTest::newRow("y-up, upper part") << true << false << over << 1.0 << QRectF(0, 0, 8, 4) << clear << red << red;
        QTest::newRow("y-down, behind") << false << false << behind << 1.0 << all << green << green << green;
        QTest::newRow("nothing") << false << false << over << 0.0 << all << green << green << green;
    }

    void drawsUpright()
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

    void badInputDrawsNothing_data()
    {
        QTest::addColumn<int>("painter"); // 0 none, 1 inactive, 2 active
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QRectF>("destination");
        QTest::addColumn<qreal>("fraction");

        const QImage image = redOverBlue();
        const QRectF rect(0, 0, 8, 8);
        const qreal nan = std::nan("");
        QTest::newRow("no painter") << 0 << image << rect << 1.0;
        QTest::newRow("inactive painter") << 1 << image << rect << 1.0;
        QTest::newRow("null image") << 2 << QImage() << rect << 1.0;
        QTest::newRow("empty destination") << 2 << image << QRectF(2, 2, 0, 5) << 1.0;
        QTest::newRow("NaN destination") << 2 << image << QRectF(nan, 0, 8, 8) << 1.0;
        QTest::newRow("NaN fraction") << 2 << image << rect << nan;
    }

    void badInputDrawsNothing()
    {
        QFETCH(int, painter);
        QFETCH(QImage, image);
        QFETCH(QRectF, destination);
        QFETCH(qreal, fraction);
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QImage canvas(8, 8, QImage::Format_ARGB32_Premultiplied);
        canvas.fill(Qt::white);
        const QImage before = canvas;
        {
            QPainter active(&canvas), inactive;
            QPainter *given = painter == 2 ? &active : painter == 1 ? &inactive : nullptr;
            const auto over = QPainter::CompositionMode_SourceOver;
            TQImageUtilities::drawAdjustedInRect(image, given, destination, QRectF(), over, fraction);
            if (fraction == 1.0)
                TQImageUtilities::drawImageAdjustedInRect(image, given, destination);
        }
        QCOMPARE(canvas, before);
    }
};

int main(int argc, char **argv)
{
    // Before the application object there is no screen at all: the answer must be null.
    screenBeforeApplication = TQScreenUtilities::menubarScreen();
    QGuiApplication app(argc, argv);
    TestGuiUtilities test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_guiutilities.moc"
