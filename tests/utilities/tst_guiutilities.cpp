// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// These utilities need no widgets, and the test runs on a QGuiApplication: QtTest must not
// take the application for a QApplication because the library happens to link QtWidgets.
#undef QT_WIDGETS_LIB

#include "TQAffineTransformOrientationUtilities.h"
#include "TQAttributedStringUtilities.h"
#include "TQBezierPathUtilities.h"
#include "TQEventUtilities.h"
#include "TQScreenUtilities.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QScopeGuard>
#include <QScreen>
#include <QSettings>
#include <QStyleHints>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>
#include <QWindow>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString Ellipsis(QChar(0x2026));

// What menubarScreen() answered before the application object, and so any screen, existed.
QScreen *screenBeforeApplication = reinterpret_cast<QScreen *>(1);

QFont textFont()
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(13);
    return font;
}

float advance(const QString &text)
{
    return float(QFontMetricsF(textFont()).horizontalAdvance(text));
}

} // namespace

class TestGuiUtilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void truncateString_data();
    void truncateString();
    void truncateStringKeepsWholeSurrogatePairs();
    void truncateDocument_data();
    void truncateDocument();

    void menubarScreen();

    void modifierKeys_data();
    void modifierKeys();

    void doubleClickDelay_data();
    void doubleClickDelay();

    void strokeInside_data();
    void strokeInside();

    void rotationForOrientation_data();
    void rotationForOrientation();

private:
    QTemporaryDir m_settingsDir;
};

void TestGuiUtilities::initTestCase()
{
    QVERIFY(m_settingsDir.isValid());
    QCoreApplication::setOrganizationName(u"TQKitTests"_s);
    QCoreApplication::setApplicationName(u"tst_guiutilities"_s);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settingsDir.path());
}

// The width given is that of the answer the rule must reach, so each row checks where the
// cutting stops: one step too early is too wide, one step later is not the first that fits.
void TestGuiUtilities::truncateString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<float>("width");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("fits");

    const QString ten = u"abcdefghij"_s;
    QTest::newRow("a text exactly as wide as allowed fits") << ten << advance(ten) << ten << true;
    QTest::newRow("a text narrower than allowed fits") << ten << advance(ten) + 50 << ten << true;
    const QString cut = ten.left(5) + Ellipsis;
    QTest::newRow("room for five characters and the ellipsis") << ten << advance(cut) << cut << false;
    QTest::newRow("no room at all leaves two characters and the ellipsis") << ten << 0.0f << u"ab…"_s << false;
    QTest::newRow("four characters are cut") << u"abcd"_s << 0.0f << u"ab…"_s << false;
    QTest::newRow("three characters too wide come back whole") << u"abc"_s << 0.0f << u"abc"_s << false;
    QTest::newRow("an empty text fits in nothing") << QString() << 0.0f << QString() << true;
}

void TestGuiUtilities::truncateString()
{
    QFETCH(QString, text);
    QFETCH(float, width);
    QFETCH(QString, expected);
    QFETCH(bool, fits);

    const QString before = text;
    bool reportedFit = !fits;
    const QString result = TQAttributedStringUtilities::truncateForWidth(text, textFont(), width, &reportedFit);
    QCOMPARE(result, expected);
    QCOMPARE(reportedFit, fits);
    // A text that fits is handed back itself; anything else is a new string.
    QCOMPARE(result.constData() == text.constData(), fits);
    QCOMPARE(text, before);
    if (!fits && text.size() >= 4) {
        QVERIFY(result.endsWith(Ellipsis));
        QVERIFY(result.size() >= 3);
    }
}

void TestGuiUtilities::truncateStringKeepsWholeSurrogatePairs()
{
    // "ab", a character outside the BMP (two UTF-16 units), "cdef".
    const QString text = u"ab\U0001F600cdef"_s;
    const QString split = text.left(3) + Ellipsis; // would end on the pair's first half
    const QString whole = text.left(4) + Ellipsis;
    const float width = std::max(advance(split), advance(u"ab…"_s));
    if (advance(whole) <= width)
        QSKIP("the font draws the pair no wider than half of it; the cut cannot be placed on it");
    const QString result = TQAttributedStringUtilities::truncateForWidth(text, textFont(), width);
    QVERIFY(result.isValidUtf16());
    QCOMPARE(result, u"ab…"_s);
}

void TestGuiUtilities::truncateDocument_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("limit"); // a text as wide as the width allowed
    QTest::addColumn<QString>("expected"); // null: the document fits
    QTest::addColumn<int>("firstReplaced");

    const QString ten = u"abcdefghij"_s;
    QTest::newRow("a document that fits is its own answer") << ten << ten << QString() << -1;
    QTest::newRow("room for four characters") << ten << u"abcd…"_s << u"abcd…"_s << 4;
    QTest::newRow("no room keeps two characters") << ten << u"a"_s << u"ab…"_s << 2;
    QTest::newRow("a paragraph break counts as one character and the widest line is measured")
        << u"ab\ncdefghijkl"_s << u"ab\ncdefgh…"_s << u"ab\ncdefgh…"_s << 9;
    QTest::newRow("three characters too wide come back whole") << u"abc"_s << u"a"_s << u"abc"_s << -1;
}

void TestGuiUtilities::truncateDocument()
{
    QFETCH(QString, text);
    QFETCH(QString, limit);
    QFETCH(QString, expected);
    QFETCH(int, firstReplaced);

    QTextDocument document;
    document.setDefaultFont(textFont());
    document.setPlainText(text);
    // The first character the ellipsis replaces is red; a colour changes no width.
    if (firstReplaced >= 0) {
        QTextCursor cursor(&document);
        cursor.setPosition(firstReplaced);
        cursor.setPosition(firstReplaced + 1, QTextCursor::KeepAnchor);
        QTextCharFormat red;
        red.setForeground(Qt::red);
        cursor.mergeCharFormat(red);
    }
    QTextDocument measure;
    measure.setDefaultFont(textFont());
    measure.setDocumentMargin(0);
    measure.setPlainText(limit);
    const float width = float(measure.idealWidth());

    const std::unique_ptr<QTextDocument> result = TQAttributedStringUtilities::truncateForWidth(&document, width);
    QCOMPARE(document.toPlainText(), text);
    QCOMPARE(bool(result), !expected.isNull());
    if (!result)
        return;
    QCOMPARE(result->toPlainText(), expected);
    QCOMPARE(result->defaultFont(), document.defaultFont());
    QCOMPARE(result->documentMargin(), document.documentMargin());
    if (firstReplaced >= 0) {
        QTextCursor cursor(result.get());
        cursor.movePosition(QTextCursor::End);
        QCOMPARE(cursor.charFormat().foreground().color(), QColor(Qt::red)); // the ellipsis
        cursor.movePosition(QTextCursor::PreviousCharacter);
        QVERIFY(cursor.charFormat().foreground().color() != QColor(Qt::red));
    }
}

void TestGuiUtilities::menubarScreen()
{
    QCOMPARE(screenBeforeApplication, nullptr);
    QVERIFY(!QGuiApplication::screens().isEmpty());
    QCOMPARE(TQScreenUtilities::menubarScreen(), QGuiApplication::primaryScreen());
}

void TestGuiUtilities::modifierKeys_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<Qt::KeyboardModifiers>("held");
    QTest::addColumn<QList<bool>>("expected"); // control, option, command, shift

    QTest::newRow("nothing held") << int(Qt::Key_A) << Qt::KeyboardModifiers() << QList<bool>{false, false, false, false};
    QTest::newRow("Shift is Shift") << int(Qt::Key_Shift) << Qt::KeyboardModifiers(Qt::ShiftModifier) << QList<bool>{false, false, false, true};
    QTest::newRow("Ctrl is Command") << int(Qt::Key_Control) << Qt::KeyboardModifiers(Qt::ControlModifier) << QList<bool>{false, false, true, false};
    QTest::newRow("Alt is Option") << int(Qt::Key_Alt) << Qt::KeyboardModifiers(Qt::AltModifier) << QList<bool>{false, true, false, false};
    QTest::newRow("Meta is Control") << int(Qt::Key_Meta) << Qt::KeyboardModifiers(Qt::MetaModifier) << QList<bool>{true, false, false, false};
    QTest::newRow("all four at once") << int(Qt::Key_B)
        << (Qt::MetaModifier | Qt::AltModifier | Qt::ControlModifier | Qt::ShiftModifier) << QList<bool>{true, true, true, true};
}

void TestGuiUtilities::modifierKeys()
{
    QFETCH(int, key);
    QFETCH(Qt::KeyboardModifiers, held);
    QFETCH(QList<bool>, expected);

    // The offscreen platform cannot be asked for the keyboard; Qt then answers with what the
    // last key event delivered to a window carried, which is what QTest can produce.
    QWindow window;
    window.resize(50, 50);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTest::keyPress(&window, Qt::Key(key), held);
    const QList<bool> down{TQEventUtilities::isControlKeyDown(), TQEventUtilities::isOptionKeyDown(),
                           TQEventUtilities::isCommandKeyDown(), TQEventUtilities::isShiftKeyDown()};
    QTest::keyRelease(&window, Qt::Key(key), Qt::NoModifier);
    QCOMPARE(down, expected);
    QCOMPARE(QGuiApplication::queryKeyboardModifiers(), Qt::NoModifier);
}

void TestGuiUtilities::doubleClickDelay_data()
{
    QTest::addColumn<QVariant>("stored"); // invalid: the key is not set
    QTest::addColumn<int>("desktopMs");
    QTest::addColumn<double>("expected");

    const QVariant unset;
    QTest::newRow("a half second is trusted") << QVariant(0.5) << 400 << 0.5;
    QTest::newRow("zero is not") << QVariant(0) << 400 << 1.0;
    QTest::newRow("a quarter second is not") << QVariant(0.25) << 400 << 1.0;
    QTest::newRow("two seconds are not") << QVariant(2.0) << 400 << 1.0;
    QTest::newRow("text that is no number reads as zero") << QVariant(u"slow"_s) << 400 << 1.0;
    QTest::newRow("the host's setting wins over the desktop's") << QVariant(1.5) << 700 << 1.5;
    QTest::newRow("unset: the desktop's interval") << unset << 400 << 0.4;
    QTest::newRow("unset: the desktop's quarter second is not trusted") << unset << 250 << 1.0;
    QTest::newRow("unset: the desktop's two seconds are not trusted") << unset << 2000 << 1.0;
}

void TestGuiUtilities::doubleClickDelay()
{
    QFETCH(QVariant, stored);
    QFETCH(int, desktopMs);
    QFETCH(double, expected);

    const int originalMs = QGuiApplication::styleHints()->mouseDoubleClickInterval();
    const auto restore = qScopeGuard([originalMs] {
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(originalMs);
        QSettings().remove(QLatin1StringView(TQEventUtilities::DoubleClickThresholdKey));
    });
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(desktopMs);
    {
        QSettings settings;
        if (stored.isValid())
            settings.setValue(QLatin1StringView(TQEventUtilities::DoubleClickThresholdKey), stored);
        else
            settings.remove(QLatin1StringView(TQEventUtilities::DoubleClickThresholdKey));
    }
    QCOMPARE(TQEventUtilities::doubleClickDelay(), expected);
}

void TestGuiUtilities::strokeInside_data()
{
    QTest::addColumn<QPainterPath>("path");
    QTest::addColumn<qreal>("penWidth");
    QTest::addColumn<QRectF>("limit");
    QTest::addColumn<QRect>("earlierClip"); // empty: none
    QTest::addColumn<QList<QPoint>>("painted");
    QTest::addColumn<QList<QPoint>>("untouched");

    QPainterPath square;
    square.addRect(20, 20, 60, 60);
    // Inside each edge within the pen's width, then outside each edge, then the middle.
    const QList<QPoint> insideEdges{{21, 50}, {78, 50}, {50, 21}, {50, 78}, {23, 50}};
    const QList<QPoint> outsideEdges{{18, 50}, {81, 50}, {50, 18}, {50, 81}, {26, 50}, {50, 50}};

    QTest::newRow("a square is outlined on its inside only")
        << square << 4.0 << QRectF() << QRect() << insideEdges << outsideEdges;
    QTest::newRow("a rectangle of no width is ignored")
        << square << 4.0 << QRectF(0, 0, 0, 100) << QRect() << insideEdges << outsideEdges;
    QTest::newRow("the rectangle limits the stroke to the left half")
        << square << 4.0 << QRectF(0, 0, 50, 100) << QRect()
        << QList<QPoint>{{21, 50}, {30, 21}, {30, 78}} << QList<QPoint>{{78, 50}, {60, 21}, {60, 78}, {18, 50}};
    QTest::newRow("a wider pen reaches further in")
        << square << 10.0 << QRectF() << QRect()
        << QList<QPoint>{{21, 50}, {28, 50}, {71, 50}} << QList<QPoint>{{18, 50}, {31, 50}, {50, 50}};
    QTest::newRow("the path replaces a clip set before")
        << square << 4.0 << QRectF() << QRect(0, 0, 40, 40)
        << QList<QPoint>{{21, 30}, {78, 50}, {50, 78}} << QList<QPoint>{{18, 30}};
}

void TestGuiUtilities::strokeInside()
{
    QFETCH(QPainterPath, path);
    QFETCH(qreal, penWidth);
    QFETCH(QRectF, limit);
    QFETCH(QRect, earlierClip);
    QFETCH(QList<QPoint>, painted);
    QFETCH(QList<QPoint>, untouched);

    QImage image(100, 100, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QPen pen(Qt::red);
    pen.setWidthF(penWidth);
    painter.setPen(pen);
    if (!earlierClip.isEmpty())
        painter.setClipRect(earlierClip);

    TQBezierPathUtilities::strokeInsideWithinRect(path, painter, limit);

    QCOMPARE(painter.pen().widthF(), penWidth);
    QCOMPARE(painter.hasClipping(), !earlierClip.isEmpty());
    if (!earlierClip.isEmpty())
        QCOMPARE(painter.clipBoundingRect(), QRectF(earlierClip));
    painter.end();

    for (const QPoint &point : painted)
        QVERIFY2(image.pixelColor(point) == QColor(Qt::red), qPrintable(u"not painted at %1,%2"_s.arg(point.x()).arg(point.y())));
    for (const QPoint &point : untouched)
        QVERIFY2(image.pixelColor(point).alpha() == 0, qPrintable(u"painted at %1,%2"_s.arg(point.x()).arg(point.y())));
}

void TestGuiUtilities::rotationForOrientation_data()
{
    QTest::addColumn<int>("orientation");
    QTest::addColumn<bool>("flipped");
    QTest::addColumn<QPointF>("imageOfX"); // where (1, 0) goes
    QTest::addColumn<QPointF>("imageOfY"); // where (0, 1) goes

    const QPointF x(1, 0), y(0, 1);
    for (bool flipped : {false, true}) {
        for (int orientation : {1, 2, 4, 5, 7, 0, 9, -6}) {
            QTest::addRow("orientation %d%s is left alone", orientation, flipped ? ", flipped," : "")
                << orientation << flipped << x << y;
        }
        QTest::addRow("orientation 3%s turns half way", flipped ? ", flipped," : "") << 3 << flipped << -x << -y;
    }
    // A y that grows upwards turns (1, 0) towards -y for a clockwise quarter on the screen; a
    // y that grows downwards (flipped) turns it towards +y for the same on-screen turn.
    QTest::newRow("orientation 6 turns a quarter clockwise") << 6 << false << -y << x;
    QTest::newRow("orientation 6, flipped, turns the other way in its coordinates") << 6 << true << y << -x;
    QTest::newRow("orientation 8 turns a quarter counter-clockwise") << 8 << false << y << -x;
    QTest::newRow("orientation 8, flipped, turns the other way in its coordinates") << 8 << true << -y << x;
}

void TestGuiUtilities::rotationForOrientation()
{
    QFETCH(int, orientation);
    QFETCH(bool, flipped);
    QFETCH(QPointF, imageOfX);
    QFETCH(QPointF, imageOfY);

    const QTransform transform =
        TQAffineTransformOrientationUtilities::rotationTransformForOrientation(orientation, flipped);
    QCOMPARE(transform.map(QPointF(1, 0)), imageOfX);
    QCOMPARE(transform.map(QPointF(0, 1)), imageOfY);
    QCOMPARE(transform.map(QPointF(0, 0)), QPointF(0, 0));
    QVERIFY(transform.type() <= QTransform::TxRotate);
}

int main(int argc, char **argv)
{
    // Before the application object there is no screen at all: the answer must be null.
    screenBeforeApplication = TQScreenUtilities::menubarScreen();
    QGuiApplication app(argc, argv);
    TestGuiUtilities test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_guiutilities.moc"
