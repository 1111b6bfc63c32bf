// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writes the seeds that are easiest made with the library itself: saved bookmark lists as the
// controller saves them, archives of every leaf type, the archive shapes that once misled the
// reader (a colour with an unknown colour model, nesting far beyond the allowed depth), and
// real HEIC pictures from libheif. The picture shapes are spelled out in make-hostile-seeds.py.
//
// usage: tqkit-fuzz-seeds SAMPLE_DATA_DIR OUTPUT_DIR
// Writes OUTPUT_DIR/archives/* and OUTPUT_DIR/pictures/*.heic.

#include "TQBookmarksController.h"
#include "TQUserDefaultsUtilities.h"
#include "UWStandardFile.h"

#include <QColor>
#include <QCoreApplication>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRect>
#include <QSet>
#include <QTemporaryDir>
#include <QUrl>
#include <QUuid>
#include <QtEndian>

#include "TQSampleData.h"

#include <cstdio>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

QString output;
int failures = 0;

void write(const QString &name, const QByteArray &bytes)
{
    QFile file(output + u'/' + name);
    if (bytes.isEmpty() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
        std::fprintf(stderr, "tqkit-fuzz-seeds: could not write %s\n", qPrintable(name));
        ++failures;
    }
}

QByteArray archived(const QVariant &value)
{
    QVariantMap settings;
    TQUserDefaultsUtilities::setKeyedArchivableObject(settings, value, u"v"_s);
    return settings.value(u"v"_s).toByteArray();
}

QByteArray be32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

// A QString as QDataStream writes it: its byte count, then UTF-16 big-endian.
QByteArray streamed(const QString &text)
{
    QByteArray bytes = be32(quint32(text.size() * 2));
    for (QChar c : text)
        bytes += char(c.unicode() >> 8), bytes += char(c.unicode() & 0xff);
    return bytes;
}

// Lists (tag 2) or maps (tag 3, one key each) nested depth deep around an empty list.
QByteArray nested(int depth, bool maps)
{
    QByteArray bytes = "TQKA\x01";
    for (int i = 0; i < depth; ++i)
        bytes += maps ? QByteArray("\x03") + be32(1) + streamed(u"BookmarkArchive"_s) : QByteArray("\x02") + be32(1);
    bytes += QByteArray("\x02") + be32(0);
    return bytes;
}

void archives(const QString &samples)
{
    QDir().mkpath(output + u"/archives"_s);

    // A saved list the way the controller writes it: files, a folder, a separator, and a file
    // that is gone by the time the list is saved again.
    QTemporaryDir scratch;
    const QString gone = scratch.filePath(u"gone.txt"_s);
    QFile(gone).open(QIODevice::WriteOnly);
    TQBookmarksController controller;
    controller.addFiles({UWStandardFile::newFileForPath(samples + u"/images/photo.png"_s),
                         UWStandardFile::newFileForPath(samples + u"/text"_s),
                         UWStandardFile::newFileForPath(samples + u"/text/notes.txt"_s),
                         UWStandardFile::newFileForPath(gone)});
    controller.addSeparatorAtIndex(1);
    (void)controller.savableBookmarks();
    QFile::remove(gone);
    const QVariantList saved = controller.savableBookmarks();
    write(u"archives/saved-list"_s, archived(saved));
    // The older forms the restore still takes: the archive where the live item goes now, and
    // a bare archive record.
    QVariantList older;
    for (const QVariant &entry : saved) {
        QVariantMap record = entry.toMap();
        if (record.contains(u"BookmarkArchive"_s)) {
            older.append(record.value(u"BookmarkArchive"_s));
            record.insert(u"BookmarkFile"_s, record.take(u"BookmarkArchive"_s));
        }
        older.append(record);
    }
    write(u"archives/older-forms"_s, archived(older));

    // Every kind of leaf, in every kind of container.
    const QVariantMap leaves{
            {u"bool"_s, true}, {u"int"_s, -7}, {u"uint"_s, 7u}, {u"qint64"_s, qint64(-1) << 40},
            {u"quint64"_s, quint64(1) << 63}, {u"double"_s, 0.1}, {u"float"_s, 1.5f},
            {u"short"_s, QVariant::fromValue<short>(-3)}, {u"ushort"_s, QVariant::fromValue<ushort>(3)},
            {u"char"_s, QChar(u'é')}, {u"string"_s, u"naïve"_s}, {u"bytes"_s, QByteArray("\0\xff", 2)},
            {u"date"_s, QDate(2019, 6, 15)}, {u"time"_s, QTime(14, 3, 22)},
            {u"datetime"_s, QDateTime(QDate(2019, 6, 15), QTime(14, 3, 22), Qt::UTC)},
            {u"url"_s, QUrl(u"file:///tmp/a%20b"_s)}, {u"uuid"_s, QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s)},
            {u"size"_s, QSize(3, 4)}, {u"sizef"_s, QSizeF(3.5, 4)}, {u"point"_s, QPoint(-1, 2)},
            {u"pointf"_s, QPointF(0.5, -2)}, {u"rect"_s, QRect(1, 2, 3, 4)}, {u"rectf"_s, QRectF(1, 2, 3.5, 4)},
            {u"color"_s, QColor(255, 0, 0)}, {u"hsv"_s, QColor::fromHsv(120, 200, 100)},
            {u"strings"_s, QStringList{u"a"_s, u"b"_s}},
            {u"set"_s, QVariant::fromValue(QSet<QString>{u"x"_s})},
            {u"hash"_s, QVariantHash{{u"k"_s, 1}}}, {u"list"_s, QVariantList{1, u"two"_s, QVariant()}}};
    write(u"archives/every-leaf"_s, archived(leaves));

    // A colour whose colour-model byte is 0x10, which no QColor::Spec names.
    QByteArray color = archived(QColor(255, 0, 0));
    const qsizetype spec = 4 + 1 + 1 + 4; // magic, version, leaf tag, type id
    if (color.size() > spec && color.at(spec) == char(QColor::Rgb)) {
        color[spec] = 0x10;
        write(u"archives/color-spec-0x10"_s, color);
        write(u"archives/list-with-color-spec-0x10"_s,
              QByteArray("TQKA\x01\x02", 6) + be32(1) + color.mid(5));
    } else {
        std::fprintf(stderr, "tqkit-fuzz-seeds: a colour is archived in an unexpected layout\n");
        ++failures;
    }

    // Nesting just inside and far beyond the depth the reader allows.
    write(u"archives/nested-lists-255"_s, nested(255, false));
    write(u"archives/nested-lists-300"_s, nested(300, false));
    write(u"archives/nested-lists-30000"_s, nested(30000, false));
    write(u"archives/nested-maps-300"_s, nested(300, true));
}

// A picture, and its thumbnail, as a HEIC; false when libheif has no encoder here.
bool writeHeif(const QString &path, const QSize &size, bool withThumbnail)
{
    QImage picture(size, QImage::Format_RGB888);
    picture.fill(Qt::darkCyan);
    QPainter(&picture).fillRect(QRect(QPoint(0, 0), size / 2), Qt::yellow);

    return TQSampleData::writeHeic(path, picture, {}, withThumbnail ? picture : QImage(), 32);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: tqkit-fuzz-seeds SAMPLE_DATA_DIR OUTPUT_DIR\n");
        return 2;
    }
    const QString samples = QFile::decodeName(argv[1]);
    output = QFile::decodeName(argv[2]);
    archives(samples);

    QDir().mkpath(output + u"/pictures"_s);
    // Without an encoder (a libheif built without x265) the HEIF seeds are simply absent.
    if (!writeHeif(output + u"/pictures/heif-64x48.heic"_s, QSize(64, 48), false)
        || !writeHeif(output + u"/pictures/heif-96x64-thumbnail.heic"_s, QSize(96, 64), true))
        std::fprintf(stderr, "tqkit-fuzz-seeds: no HEIC seeds: libheif can't encode HEVC here\n");
    return failures == 0 ? 0 : 1;
}
