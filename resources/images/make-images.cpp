// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Draws the library's own images (the alias badge, the trash and the notice) and writes them
// as PNG files into the folder given on the command line. The PNGs beside this file are its
// output; run it again after changing a drawing and commit both (see README.md).
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QString>

#include <cstdio>
#include <functional>

namespace {

constexpr int side = 128;

// Drawn on a transparent canvas with antialiasing; every image is the same size so that a
// host can scale them alike.
QImage drawn(const std::function<void(QPainter &)> &draw)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    draw(painter);
    painter.end();
    // Stored straight (not premultiplied) so that every reader gets the same pixels.
    return image.convertToFormat(QImage::Format_ARGB32);
}

// A white tile with a curved arrow in the lower-left corner: laid over an icon of any size it
// marks a link, and the rest of the canvas stays clear so the icon shows through.
void drawAliasBadge(QPainter &p)
{
    const QColor ink(0x22, 0x22, 0x22);
    p.setPen(QPen(ink, 3));
    p.setBrush(Qt::white);
    p.drawRoundedRect(QRectF(5, 79, 44, 44), 8, 8);

    QPainterPath shaft;
    shaft.moveTo(16, 114);
    shaft.cubicTo(16, 100, 22, 92, 34, 92);
    p.setPen(QPen(ink, 6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(shaft);

    p.setPen(Qt::NoPen);
    p.setBrush(ink);
    p.drawPolygon(QPolygonF({QPointF(44, 92), QPointF(31, 81), QPointF(31, 103)}));
}

// A plain bin with a lid and a handle, ribbed so it still reads as a bin when small.
void drawTrash(QPainter &p)
{
    const QColor outline(0x4a, 0x4f, 0x55);
    QLinearGradient metal(QPointF(30, 0), QPointF(98, 0));
    metal.setColorAt(0, QColor(0xd5, 0xd9, 0xdd));
    metal.setColorAt(1, QColor(0x9a, 0xa0, 0xa6));

    p.setPen(QPen(outline, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(metal);
    p.drawPolygon(QPolygonF({QPointF(30, 42), QPointF(98, 42), QPointF(90, 120), QPointF(38, 120)}));
    for (const qreal x : {48.0, 64.0, 80.0}) {
        const qreal lean = (x - 64) / 8;
        p.drawLine(QPointF(x, 52), QPointF(x - lean, 110));
    }

    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(51, 12, 26, 16), 5, 5);
    p.setBrush(metal);
    p.drawRoundedRect(QRectF(20, 26, 88, 14), 5, 5);
}

// An amber warning triangle with an exclamation mark made of shapes, not of a font, so the
// image does not depend on which fonts the machine has.
void drawNotice(QPainter &p)
{
    const QColor ink(0x33, 0x33, 0x33);
    p.setPen(QPen(ink, 7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(QColor(0xf6, 0xc3, 0x43));
    p.drawPolygon(QPolygonF({QPointF(64, 10), QPointF(121, 114), QPointF(7, 114)}));

    p.setPen(Qt::NoPen);
    p.setBrush(ink);
    p.drawRoundedRect(QRectF(57.5, 40, 13, 46), 6.5, 6.5);
    p.drawEllipse(QPointF(64, 99), 7.5, 7.5);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT-FOLDER\n", argv[0]);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const struct
    {
        const char *name;
        void (*draw)(QPainter &);
    } images[] = {
        {"alias-badge.png", drawAliasBadge},
        {"trash.png", drawTrash},
        {"notice.png", drawNotice},
    };
    for (const auto &image : images) {
        const QString path = folder + u'/' + QString::fromLatin1(image.name);
        if (!drawn(image.draw).save(path, "PNG")) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
