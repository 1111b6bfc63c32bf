// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBoundedChild.h"
#include "TQFile.h"
#include "TQUtilityFunctions.h"

#include <QDir>
#include <QFile>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QColor background(0, 160, 0);
const QColor window(210, 220, 230);
const QColor iconTop(255, 0, 0);
const QColor iconBottom(0, 0, 255);

// The box is filled with the window colour; the file box lightens it with half-opaque white.
QColor fillColour(bool withFile)
{
    if (!withFile)
        return window;
    auto half = [](int c) { return c + (255 - c) * 128 / 255; };
    return {half(window.red()), half(window.green()), half(window.blue())};
}

bool near(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) <= 1 && std::abs(a.green() - b.green()) <= 1 && std::abs(a.blue() - b.blue()) <= 1;
}

// Rows (first, last) of the runs of rows inside area that hold a pixel other than the fill.
QList<QPair<int, int>> inkRuns(const QImage &image, const QRect &area, QColor fill, QRect *inkBounds)
{
    QList<QPair<int, int>> runs;
    QRect bounds;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        bool ink = false;
        for (int x = area.left(); x <= area.right(); ++x) {
            if (!near(image.pixelColor(x, y), fill)) {
                ink = true;
                bounds |= QRect(x, y, 1, 1);
            }
        }
        if (ink && !runs.isEmpty() && runs.last().second == y - 1)
            runs.last().second = y;
        else if (ink)
            runs.append({y, y});
    }
    *inkBounds = bounds;
    return runs;
}

// Antialiased curves may round a step apart; a mirrored word differs by far more.
int largestDifference(const QImage &a, const QImage &b)
{
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QColor p = a.pixelColor(x, y), q = b.pixelColor(x, y);
            largest = std::max({largest, std::abs(p.red() - q.red()), std::abs(p.green() - q.green()), std::abs(p.blue() - q.blue())});
        }
    }
    return largest;
}

} // namespace

class TestMessageBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QPalette palette = QGuiApplication::palette();
        palette.setColor(QPalette::Window, window);
        palette.setColor(QPalette::WindowText, Qt::black);
        QGuiApplication::setPalette(palette);

        // An icon theme of our own whose text icon is red above and blue below, so that an icon
        // drawn upside down shows.
        const QString theme = m_dir.filePath(u"icons/tqtest"_s);
        QVERIFY(QDir().mkpath(theme + u"/64x64/mimetypes"_s));
        QFile index(theme + u"/index.theme"_s);
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=tqtest\nDirectories=64x64/mimetypes\n\n"
                    "[64x64/mimetypes]\nSize=64\nContext=MimeTypes\nType=Fixed\n");
        index.close();
        QImage icon(64, 64, QImage::Format_ARGB32);
        icon.fill(iconBottom);
        QPainter(&icon).fillRect(0, 0, 64, 32, iconTop);
        QVERIFY(icon.save(theme + u"/64x64/mimetypes/text-plain.png"_s));
        QIcon::setThemeSearchPaths({m_dir.filePath(u"icons"_s)});
        QIcon::setThemeName(u"tqtest"_s);

        const QString path = m_dir.filePath(u"Holiday notes.txt"_s);
        QFile text(path);
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("sun, sea\n");
        text.close();
        m_file = TQFile::newFileForPath(path);
        QVERIFY(m_file);
        QVERIFY(!m_file->fileIcon().isNull());
    }

    void boxEdges_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("yUp");
        QTest::addColumn<bool>("withFile");
        QTest::addColumn<QRect>("box");

        QTest::newRow("a message in 600 x 400") << QSize(600, 400) << false << false << QRect(148, 123, 304, 154);
        QTest::newRow("a file in 600 x 400") << QSize(600, 400) << false << true << QRect(148, 113, 304, 174);
        QTest::newRow("odd bounds round the origin down") << QSize(603, 403) << false << false << QRect(149, 124, 304, 154);
        QTest::newRow("a file in odd bounds") << QSize(603, 403) << false << true << QRect(149, 114, 304, 174);
        // In a y-up painter the rounded-down origin is the box's lower edge on screen.
        QTest::newRow("a y-up painter") << QSize(600, 400) << true << false << QRect(148, 123, 304, 154);
        QTest::newRow("a y-up painter, odd bounds") << QSize(603, 403) << true << false << QRect(149, 125, 304, 154);
        QTest::newRow("a y-up painter, a file in odd bounds") << QSize(603, 403) << true << true << QRect(149, 115, 304, 174);
        // The box then starts at (-52, -27) or (-52, -37) and covers the whole view with its fill.
        QTest::newRow("bounds smaller than the box") << QSize(200, 100) << false << false << QRect();
        QTest::newRow("bounds smaller than the file box") << QSize(200, 100) << false << true << QRect();
    }

    void boxEdges()
    {
        QFETCH(QSize, size);
        QFETCH(bool, yUp);
        QFETCH(bool, withFile);
        QFETCH(QRect, box);
        const QImage image = render(size, yUp, withFile, u"Nothing here"_s, m_file);
        const QColor fill = fillColour(withFile);
        if (box.isNull()) {
            QRect ink;
            inkRuns(image, image.rect(), fill, &ink);
            QVERIFY(!ink.isEmpty());
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    QVERIFY(image.pixelColor(x, y) != background);
            return;
        }
        const int midX = box.center().x();
        const int sideY = box.top() + 20; // beside the icon and above any text

        // Outside: untouched; the corner itself is cut off by the rounding.
        for (QPoint outside : {QPoint(box.left() - 1, sideY), QPoint(box.right() + 1, sideY),
                               QPoint(midX, box.top() - 1), QPoint(midX, box.bottom() + 1), box.topLeft(), box.bottomRight()})
            QCOMPARE(image.pixelColor(outside), background);
        // The bezel: two dark pixels on every side.
        for (QPoint bezel : {QPoint(box.left(), sideY), QPoint(box.left() + 1, sideY), QPoint(box.right(), sideY),
                             QPoint(box.right() - 1, sideY), QPoint(box.left() + 20, box.top()), QPoint(box.left() + 20, box.top() + 1),
                             QPoint(box.left() + 20, box.bottom()), QPoint(box.left() + 20, box.bottom() - 1)}) {
            const QColor c = image.pixelColor(bezel);
            QVERIFY2(std::max({c.red(), c.green(), c.blue()}) < 110, qPrintable(c.name()));
        }
        // Inside: the fill reaches the bezel on every side, square corners included.
        const QRect filled = box.adjusted(2, 2, -2, -2);
        for (QPoint inside : {filled.topLeft(), filled.topRight(), filled.bottomLeft(), filled.bottomRight(),
                              QPoint(filled.left(), sideY), QPoint(filled.right(), sideY)})
            QVERIFY2(near(image.pixelColor(inside), fill), qPrintable(image.pixelColor(inside).name()));
    }

    void textStaysCentredInItsArea_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("yUp");
        QTest::addColumn<int>("minLines");
        QTest::addColumn<int>("maxLines"); // 0: as many as fill the box

        const QString sentence = u"The folder is empty. Drop files here to copy them, or choose another folder."_s;
        QTest::newRow("one word") << u"Empty"_s << false << 1 << 1;
        QTest::newRow("one word, y-up") << u"Empty"_s << true << 1 << 1;
        QTest::newRow("a sentence wraps within the width") << sentence << false << 2 << 3;
        QTest::newRow("a line end starts a new line") << u"No items\nin this folder"_s << false << 2 << 2;
        QTest::newRow("a word wider than the box is broken") << QString(120, u'W') << false << 2 << 8;
        QTest::newRow("a message taller than the box is cut at its edge") << sentence.repeated(20) << false << 3 << 0;
        QTest::newRow("taller than the box, y-up") << sentence.repeated(20) << true << 3 << 0;
    }

    void textStaysCentredInItsArea()
    {
        QFETCH(QString, message);
        QFETCH(bool, yUp);
        QFETCH(int, minLines);
        QFETCH(int, maxLines);
        const QImage image = render(QSize(600, 400), yUp, false, message);
        const QRect textArea = QRect(148, 123, 304, 154).adjusted(3, 3, -3, -3);
        const qreal lineSpacing = QFontMetricsF(QGuiApplication::font(), &image).lineSpacing();

        // Every pixel of the text lies in the text area: nothing in the fill's one-pixel margin.
        QRect ink;
        inkRuns(image, textArea.adjusted(-1, -1, 1, 1), window, &ink);
        QVERIFY(!ink.isEmpty());
        QVERIFY2(textArea.contains(ink), qPrintable(u"text at %1,%2 %3x%4"_s.arg(ink.x()).arg(ink.y()).arg(ink.width()).arg(ink.height())));
        QVERIFY(std::abs((ink.left() + ink.right()) / 2.0 - 300) <= 2);
        QVERIFY(std::abs((ink.top() + ink.bottom()) / 2.0 - 200) <= lineSpacing / 2);
        QVERIFY(ink.height() > (minLines - 1) * lineSpacing);
        if (maxLines)
            QVERIFY(ink.height() <= maxLines * lineSpacing);
        else
            QVERIFY(ink.height() > textArea.height() - 2 * lineSpacing);
        // Text drawn mirrored in a y-up painter would show as a different picture.
        if (yUp)
            QVERIFY(largestDifference(image, render(QSize(600, 400), false, false, message)) <= 3);
    }

    void fileLayout_data()
    {
        QTest::addColumn<bool>("yUp");
        QTest::addColumn<bool>("withItem");

        QTest::newRow("a file") << false << true;
        QTest::newRow("a file, y-up") << true << true;
        QTest::newRow("no file: no icon, no name, the message in its place") << false << false;
    }

    void fileLayout()
    {
        QFETCH(bool, yUp);
        QFETCH(bool, withItem);
        const QImage image = render(QSize(600, 400), yUp, true, u"Cannot open this file"_s, withItem ? m_file : nullptr);
        if (yUp) // the same picture either way up
            QVERIFY(largestDifference(image, render(QSize(600, 400), false, true, u"Cannot open this file"_s, m_file)) <= 3);
        const QRect inner = QRect(148, 113, 304, 174).adjusted(3, 3, -3, -3);
        QRect ink;
        const QList<QPair<int, int>> runs = inkRuns(image, inner, fillColour(true), &ink);
        QVERIFY(inner.contains(ink));

        const int iconTopY = inner.top() + 15;
        QFont nameFont = QGuiApplication::font();
        nameFont.setPointSizeF(10);
        const qreal nameSpacing = QFontMetricsF(nameFont, &image).lineSpacing();
        const qreal nameTop = iconTopY + 64 + 4;
        const QPair<int, int> message = runs.last();
        // The message keeps its place below the name's line, named or not.
        QVERIFY(message.first >= nameTop + 14);
        QVERIFY(message.first <= nameTop + nameSpacing + 14 + QFontMetricsF(QGuiApplication::font(), &image).lineSpacing());
        if (!withItem) {
            QCOMPARE(runs.size(), 1);
            return;
        }
        QCOMPARE(runs.size(), 3);
        // The icon, 64 x 64, centred, upright.
        QCOMPARE(runs.at(0), qMakePair(iconTopY, iconTopY + 63));
        QVERIFY(near(image.pixelColor(267, iconTopY + 10), fillColour(true)));
        QVERIFY(near(image.pixelColor(268, iconTopY + 10), iconTop));
        QVERIFY(near(image.pixelColor(331, iconTopY + 10), iconTop));
        QVERIFY(near(image.pixelColor(332, iconTopY + 10), fillColour(true)));
        QVERIFY(near(image.pixelColor(300, iconTopY + 54), iconBottom));
        // The name below it, then 14 of space at least between the name's and the message's lines.
        const QPair<int, int> name = runs.at(1);
        QVERIFY(name.first >= nameTop);
        QVERIFY(name.second < nameTop + nameSpacing);
        QVERIFY(message.first - name.second > 14);
    }

    void nothingToDrawWith()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QPainter inactive;
        TQDrawMessageBox(u"Empty"_s, &inactive, QRectF(0, 0, 600, 400));
        TQDrawMessageBoxWithFile(u"Empty"_s, &inactive, m_file, QRectF(0, 0, 600, 400));
        TQDrawMessageBox(u"Empty"_s, nullptr, QRectF(0, 0, 600, 400));
        TQDrawMessageBoxWithFile(u"Empty"_s, nullptr, m_file, QRectF(0, 0, 600, 400));
    }

    void aHugeMessageCostsABoxFull()
    {
        // Laying out all of ten million characters takes some 350 MB; what a box shows takes little.
        const QString message = u"word and more words "_s.repeated(500000);
        const TQChildOutcome child = runInBoundedChild(
            [&] {
                // A strip 40 rows high: the raster engine fills taller areas on helper threads,
                // which a forked child does not have.
                QImage image(600, 40, QImage::Format_ARGB32_Premultiplied);
                image.fill(background);
                QPainter painter(&image);
                painter.translate(0, -130);
                TQDrawMessageBox(message, &painter, QRectF(0, 0, 600, 400));
                painter.end();
                QRect ink;
                return QByteArray::number(inkRuns(image, QRect(151, 0, 298, 40), window, &ink).size());
            },
            {.addressHeadroom = 128ull << 20});
        QVERIFY2(child.finished, child.failure.constData());
        QVERIFY(child.answer.toInt() >= 2); // lines of text all the way down the strip
    }

private:
    QImage render(QSize size, bool yUp, bool withFile, const QString &message, UWStandardFileRef file = {})
    {
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(background);
        QPainter painter(&image);
        if (yUp) {
            painter.translate(0, size.height());
            painter.scale(1, -1);
        }
        const QRectF bounds(QPointF(0, 0), size);
        if (withFile)
            TQDrawMessageBoxWithFile(message, &painter, file, bounds);
        else
            TQDrawMessageBox(message, &painter, bounds);
        return image;
    }

    QTemporaryDir m_dir;
    UWStandardFileRef m_file;
};

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
