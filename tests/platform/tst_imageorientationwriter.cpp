// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientationWriter.h"
#include "TQBoundedChild.h"
#include "TQSampleData.h"
#include "TQTestDesktop.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <bit>
#include <cstring>
#include <csignal>
#include <future>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace TQImageOrientationWriter;

Q_DECLARE_METATYPE(TQImageOrientationWriter::Result)

namespace {

const QString Exiftool = QStandardPaths::findExecutable(u"exiftool"_s);

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

struct stat statOf(const QString &path)
{
    struct stat st = {};
    ::lstat(QFile::encodeName(path).constData(), &st);
    return st;
}

QStringList entriesOf(const QString &dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

QJsonObject exiftool(const QStringList &arguments, const QString &path)
{
    QProcess p;
    p.start(Exiftool, QStringList{u"-j"_s} + arguments + QStringList{path});
    p.waitForFinished(60000);
    return QJsonDocument::fromJson(p.readAllStandardOutput()).array().at(0).toObject();
}

// Every tag exiftool finds, with its validation warnings (a PNG chunk's bad CRC among them),
// except the file system's, the orientation we change (given apart), and the offsets a
// rewrite by exiv2 may legitimately move (the data they point at is compared on its own).
QJsonObject otherTags(const QString &path, int *orientation)
{
    QJsonObject tags = exiftool({u"-a"_s, u"-G1"_s, u"-n"_s, u"-all"_s, u"-validate"_s}, path);
    *orientation = tags.value(u"IFD0:Orientation").toInt();
    for (const QString &key : tags.keys()) {
        if (key == u"SourceFile" || key.startsWith(u"System:") || key.startsWith(u"File:")
            || key == u"ExifTool:ExifToolVersion" || key.endsWith(u":Orientation") || key.contains(u"Offset"))
            tags.remove(key);
    }
    return tags;
}

// The compressed picture, found independently of the code under test: a JPEG's bytes from
// its first scan on, a PNG's from its first IDAT chunk on, a TIFF's strips as exiftool
// locates them.
QByteArray imageData(const QString &path)
{
    const QByteArray d = readAll(path);
    const auto *u = reinterpret_cast<const uchar *>(d.constData());
    if (d.startsWith("\xff\xd8")) {
        qsizetype p = 2;
        while (p + 4 <= d.size() && u[p + 1] != 0xda)
            p += 2 + (u[p + 2] << 8 | u[p + 3]);
        return d.mid(p);
    }
    if (d.startsWith("\x89PNG"))
        return d.contains("IDAT") ? d.mid(d.indexOf("IDAT") - 4) : QByteArray();
    const QJsonObject strips = exiftool({u"-n"_s, u"-StripOffsets"_s, u"-StripByteCounts"_s}, path);
    const QStringList offsets = strips.value(u"StripOffsets").toVariant().toString().split(u' ');
    const QStringList counts = strips.value(u"StripByteCounts").toVariant().toString().split(u' ');
    QByteArray data;
    for (qsizetype i = 0; i < offsets.size() && offsets.size() == counts.size(); ++i)
        data += d.mid(offsets[i].toLongLong(), counts[i].toLongLong());
    return data;
}

// A 64×48 picture of `kind` stating orientation `from`, or no orientation with 0. exiv2
// writes a JPEG's EXIF little-endian; exiftool writes a PNG's as a big-endian eXIf chunk,
// turns a TIFF into a DNG, and drops the orientation Qt's TIFF writer states unasked.
bool makePicture(const QString &path, const QString &kind, int from)
{
    QVariantMap exif{{u"Make"_s, u"FUJIFILM"_s}, {u"Model"_s, u"X-T5"_s}, {u"ISO"_s, 400},
                     {u"ExposureTime"_s, 1.0 / 250}, {u"LensModel"_s, u"XF33mmF1.4 R LM WR"_s},
                     {u"DateTimeOriginal"_s, u"2024:05:06 07:08:09"_s}};
    if (from > 0)
        exif[u"Orientation"_s] = from;
    const char *format = kind == u"jpeg" ? "JPEG" : kind.startsWith(u"png") ? "PNG" : "TIFF";
    if (!TQSampleData::writeImage(path, format, QSize(64, 48), kind == u"png-exif" ? QVariantMap() : exif))
        return false;
    QStringList arguments{u"-q"_s, u"-overwrite_original"_s, u"-n"_s};
    if (kind == u"png-exif")
        arguments << u"-IFD0:Make=FUJIFILM"_s << u"-IFD0:Orientation=%1"_s.arg(from);
    if (kind == u"dng")
        arguments << u"-DNGVersion=1 4 0 0"_s << u"-UniqueCameraModel=TQKit Bench Camera"_s;
    if (format == "TIFF"_ba && from == 0)
        arguments << u"-IFD0:Orientation="_s;
    return arguments.size() == 3 || QProcess::execute(Exiftool, arguments << path) == 0;
}

template <typename T>
QByteArray littleEndian(T value)
{
    QByteArray bytes(sizeof(T), '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

// A little-endian TIFF structure whose IFD0 holds one Orientation entry of `type` with `value`
// (its bytes as stored: inline when four or fewer, else right after the IFD).
QByteArray tiffWithOrientation(quint16 type, const QByteArray &value)
{
    const bool inlined = value.size() <= 4;
    QByteArray entry = littleEndian<quint16>(0x0112) + littleEndian(type) + littleEndian<quint32>(1)
            + (inlined ? value.leftJustified(4, '\0') : littleEndian<quint32>(26));
    return QByteArray("II*\0\x08\0\0\0\x01\0", 10) + entry + QByteArray(4, '\0') + (inlined ? QByteArray() : value);
}

// A grey picture carrying `tiff` as its EXIF: a JPEG (an Exif segment right after its SOI), or
// a HEIF (empty when libheif has no encoder here).
QByteArray withExif(bool heif, const QByteArray &tiff)
{
    QImage grey(64, 48, QImage::Format_RGB888);
    grey.fill(QColor(0x80, 0x80, 0x80));
    const QTemporaryDir dir;
    if (heif)
        return TQSampleData::writeHeic(dir.filePath(u"p.heic"_s), grey, tiff) ? readAll(dir.filePath(u"p.heic"_s)) : QByteArray();
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    grey.save(&buffer, "JPEG");
    QByteArray segment("\xff\xe1\0\0Exif\0\0", 10);
    qToBigEndian<quint16>(quint16(8 + tiff.size()), segment.data() + 2);
    return QByteArray(buffer.data()).insert(2, segment + tiff);
}

int childWarnings = 0;

// The answers of `work`, run in a child process held to hard bounds (CPU seconds, an alarm),
// then the number of warnings it logged; empty when it hung, ran away or crashed.
QList<int> inBoundedChild(const std::function<QList<int>()> &work)
{
    const TQChildOutcome child = runInBoundedChild(
            [&work] {
                qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &) {
                    childWarnings += type == QtWarningMsg || type == QtCriticalMsg;
                });
                QByteArray report;
                for (int answer : work() + QList<int>{childWarnings})
                    report += QByteArray::number(answer) + ' ';
                return report;
            },
            TQChildLimits{0, 5, 20});
    QList<int> answers;
    for (const QByteArray &answer : child.answer.split(' '))
        if (child.finished && !answer.isEmpty())
            answers << answer.toInt();
    return answers;
}

} // namespace

class TestImageOrientationWriter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (Exiftool.isEmpty())
            QSKIP("exiftool is not installed");
        // The file-size limit of two refusals below would otherwise kill the test.
        std::signal(SIGXFSZ, SIG_IGN);
    }

    void rewrites_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("from"); // the orientation the picture states; 0: none
        QTest::addColumn<int>("to");
        QTest::addColumn<Result>("expected");
        QTest::addColumn<QString>("blamed"); // what the message must name: "file", "folder" or anything
        const auto row = [](const char *name, const char *setup, const char *kind, int from, int to,
                            Result r = Result::Written, const char *blamed = "") {
            QTest::newRow(name) << QString::fromLatin1(setup) << QString::fromLatin1(kind) << from << to << r
                                << QString::fromLatin1(blamed);
        };
        row("a JPEG's little-endian tag is patched", "", "jpeg", 1, 6);
        row("a JPEG without the tag gets one from exiv2", "", "jpeg", 0, 8);
        row("a PNG's big-endian eXIf tag is patched and the chunk's CRC redone", "", "png-exif", 1, 7);
        row("a PNG with EXIF in a text chunk goes through exiv2, back to 1", "", "png", 6, 1);
        row("a TIFF's tag is patched", "", "tiff", 6, 1);
        row("a TIFF without the tag is laid out anew with its strip intact", "", "tiff", 0, 3);
        row("a DNG's tag is patched", "", "dng", 1, 8);
        row("a progressive JPEG's tag is patched: the search for its end steps over tables between scans", "progressive",
            "jpeg", 1, 6);
        row("another hard link keeps the old content", "hard link", "jpeg", 1, 8);
        row("a name that is not UTF-8", "not UTF-8", "jpeg", 1, 3);
        row("a JPEG that says 6 already is not touched", "", "jpeg", 6, 6, Result::AlreadySet);
        row("a PNG whose text chunk says 6 already is not touched", "", "png", 6, 6, Result::AlreadySet);
        // exiv2 would keep the eXIf's tags and drop the text's; patching the eXIf alone would
        // leave the text's answer.
        row("a PNG with EXIF both in an eXIf chunk and in text is unsupported", "eXIf too", "png", 1, 6,
            Result::UnsupportedFormat, "file");
        row("orientation 9 is refused", "", "jpeg", 1, 9, Result::InvalidOrientation);
        row("a file of mode 0444 is read-only even to root", "read-only file", "jpeg", 1, 3, Result::ReadOnlyFile, "file");
        row("a folder of mode 0555 is read-only even to root", "read-only folder", "jpeg", 1, 3, Result::ReadOnlyFolder,
            "folder");
        row("a read-only file in a read-only folder: the file is named", "read-only both", "jpeg", 1, 3,
            Result::ReadOnlyFile, "file");
        row("a missing file is not found", "missing", "jpeg", 1, 3, Result::NotFound);
        row("a symbolic link is refused and its target kept", "link", "jpeg", 1, 3, Result::NotAFile);
        row("a folder is refused", "folder", "jpeg", 1, 3, Result::NotAFile);
        row("a named pipe is refused with a warning, also when read", "fifo", "jpeg", 1, 3, Result::NotAFile);
        row("a JPEG cut in half is corrupt", "truncated", "jpeg", 1, 3, Result::Corrupt);
        row("a TIFF cut in half, inside its strip, is corrupt", "truncated", "tiff", 1, 3, Result::Corrupt);
        row("a PNG cut in half, before IEND, is corrupt", "truncated", "png", 1, 3, Result::Corrupt);
        row("a text file named .jpg is unsupported", "text", "jpeg", 1, 3, Result::UnsupportedFormat);
        row("a JPEG with an empty APP2 segment before its EXIF is patched", "empty segment", "jpeg", 1, 6);
        row("a JPEG with more pictures (MPF) and no tag to patch is unsupported", "mpf", "jpeg", 0, 3,
            Result::UnsupportedFormat);
        row("a TIFF whose strip covers its own tag would change its picture", "strip over IFD", "tiff", 1, 3,
            Result::ImageDataWouldChange);
        // The properties reader stops at a chunk whose type is no chunk type; the writer, walking
        // the same structure, must not take such a file for whole and rewrite it.
        row("a PNG chunk typed with digits is corrupt", "digits chunk", "png-exif", 1, 6, Result::Corrupt, "file");
        // Zeros read as empty chunks of type 0: a hole in a sparse file, twelve bytes at a time.
        row("a PNG hole of zeros as long as 5000 empty chunks is corrupt", "hole", "png-exif", 1, 6, Result::Corrupt, "file");
        row("a copy cut short by the file-size limit is dropped", "size limit", "jpeg", 1, 3, Result::NoSpace);
        row("an exiv2 rewrite that outgrows the file-size limit is dropped", "size limit", "png", 0, 3, Result::NoSpace);
    }

    // Written: the orientation and nothing else changed, in a copy renamed into place that kept
    // the file's attributes. Anything else: the file, its folder and its other names as they were.
    void rewrites()
    {
        QFETCH(QString, setup);
        QFETCH(QString, kind);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(Result, expected);
        QFETCH(QString, blamed);
        const QTemporaryDir root;
        const QString folder = root.filePath(u"folder"_s), path = folder + u"/picture."_s + kind.section(u'-', 0, 0);
        const QString other = folder + u"/target.jpeg"_s; // a symbolic link's target, or a second hard link
        const QByteArray native = QFile::encodeName(path), nativeFolder = QFile::encodeName(folder);
        const QByteArray bytesName = nativeFolder + "/caf\xff.jpeg";
        const bool written = expected == Result::Written, privileged = ::geteuid() == 0;
        QVERIFY(QDir().mkpath(setup == u"folder" ? path : folder));
        if (setup != u"missing" && setup != u"folder" && setup != u"text" && setup != u"fifo")
            QVERIFY(makePicture(path, kind, from));
        if (setup == u"progressive") { // the same picture in scans with tables between them, after its EXIF
            const QByteArray original = readAll(path);
            const qsizetype app1 = original.indexOf("\xff\xe1");
            QVERIFY(app1 > 0);
            QBuffer scans;
            QVERIFY(scans.open(QIODevice::WriteOnly));
            QImageWriter writer(&scans, "jpeg");
            writer.setProgressiveScanWrite(true);
            QVERIFY(writer.write(QImage(path)));
            const qsizetype length = 2 + qFromBigEndian<quint16>(original.constData() + app1 + 2);
            QVERIFY(writeWholeFile(path, QByteArray(scans.data()).insert(2, original.mid(app1, length))));
        }
        QByteArray bytes = setup == u"text" ? "Not Found: the download went wrong\n" : readAll(path);
        if (setup == u"truncated")
            bytes.truncate(bytes.size() / 2);
        if (setup == u"digits chunk" || setup == u"hole") // right after IHDR
            bytes.insert(33, setup == u"hole" ? QByteArray(12 * 5000, '\0') : "\0\0\0\x04" "1234"_ba + QByteArray(8, '\0'));
        if (setup == u"mpf") // an APP2 segment announcing further pictures, right after SOI
            bytes.insert(2, QByteArray("\xff\xe2\x00\x08MPF\x00\x00\x00", 10));
        if (setup == u"eXIf too") { // another picture's eXIf chunk, right after IHDR
            const QString donor = root.filePath(u"donor.png"_s);
            QVERIFY(makePicture(donor, u"png-exif"_s, from));
            const QByteArray d = readAll(donor);
            const qsizetype at = d.indexOf("eXIf") - 4;
            QVERIFY(at > 0);
            bytes.insert(33, d.mid(at, 12 + qFromBigEndian<quint32>(d.constData() + at)));
        }
        if (setup == u"empty segment") // an APP2 segment of no bytes, right after SOI
            bytes.insert(2, QByteArray("\xff\xe2\x00\x02", 4));
        if (setup == u"strip over IFD") { // StripOffsets 0 and StripByteCounts the file's size
            const auto *u = reinterpret_cast<const uchar *>(bytes.constData());
            const quint32 ifd = qFromLittleEndian<quint32>(u + 4);
            for (int i = 0; i < qFromLittleEndian<quint16>(u + ifd); ++i) {
                const quint16 tag = qFromLittleEndian<quint16>(u + ifd + 2 + 12 * i);
                if (tag == 273 || tag == 279)
                    qToLittleEndian<quint32>(tag == 273 ? 0 : bytes.size(), bytes.data() + ifd + 2 + 12 * i + 8);
            }
        }
        if (bytes != readAll(path))
            QVERIFY(writeWholeFile(path, bytes));
        if (setup == u"link") {
            QVERIFY(QFile::rename(path, other));
            QVERIFY(QFile::link(u"target.jpeg"_s, path));
        }
        if (setup == u"hard link")
            QVERIFY(::link(native.constData(), QFile::encodeName(other).constData()) == 0);
        const QRegularExpression namedPipe(QRegularExpression::escape(path) + u".*named pipe"_s);
        if (setup == u"fifo") { // made last: opening it to read would wait for a writer
            QVERIFY(::mkfifo(native.constData(), 0644) == 0);
            QTest::ignoreMessage(QtWarningMsg, namedPipe);
        }
        bool xattrs = false;
        if (written) {
            QVERIFY(::chmod(native.constData(), 0640) == 0);
            QVERIFY(!privileged || ::chown(native.constData(), 1234, 2345) == 0);
            xattrs = ::setxattr(native.constData(), "user.xdg.tags", "Red", 3, 0) == 0;
        }
        if (setup.startsWith(u"read-only") && setup != u"read-only folder")
            QVERIFY(::chmod(native.constData(), 0444) == 0);
        if (setup.startsWith(u"read-only") && setup != u"read-only file")
            QVERIFY(::chmod(nativeFolder.constData(), 0555) == 0);
        if (setup != u"fifo")
            bytes = readAll(path);
        const ino_t inode = statOf(path).st_ino;
        const QStringList entries = entriesOf(folder);
        const QByteArray otherBytes = readAll(other);
        int orientation = -1;
        const QJsonObject tagsBefore = written ? otherTags(path, &orientation) : QJsonObject();
        const QByteArray dataBefore = written ? imageData(path) : QByteArray();
        QVERIFY(!written || (orientation == from && !dataBefore.isEmpty()));

        // The folder's events tell whether the copy was written while it had a name: a kill then
        // would have left it behind.
        const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(watch >= 0
                && ::inotify_add_watch(watch, nativeFolder.constData(), IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM) >= 0);
        if (setup == u"not UTF-8")
            QVERIFY(::rename(native.constData(), bytesName.constData()) == 0);
        struct rlimit oldLimit = {};
        ::getrlimit(RLIMIT_FSIZE, &oldLimit);
        if (setup == u"size limit") {
            // The patch route's copy fails at half; exiv2's rewrite of a full copy fails on growing it.
            const struct rlimit limit = {rlim_t(from ? bytes.size() / 2 : bytes.size()), oldLimit.rlim_max};
            QVERIFY(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
        }
        QString error = u"stale"_s;
        const Result result = writeOrientation(setup == u"not UTF-8" ? bytesName : native, to, &error);
        ::setrlimit(RLIMIT_FSIZE, &oldLimit);
        ::chmod(nativeFolder.constData(), 0755);
        QCOMPARE(result, expected);
        QCOMPARE(error.isEmpty(), succeeded(expected));
        const QString file = u"\u201c"_s + path + u"\u201d"_s, folderName = u"\u201c"_s + folder + u"\u201d"_s;
        QVERIFY2(blamed != u"file" || (error.contains(file) && !error.contains(folderName)), qPrintable(error));
        QVERIFY2(blamed != u"folder" || error.contains(folderName), qPrintable(error));
        if (setup == u"not UTF-8") {
            QCOMPARE(readOrientation(bytesName), to);
            QVERIFY(::rename(bytesName.constData(), native.constData()) == 0);
        }
        QString events; // of the copy, the one name starting with a dot
        alignas(inotify_event) char buffer[16384];
        const ssize_t length = ::read(watch, buffer, sizeof buffer);
        ::close(watch);
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->len > 0 && event->name[0] == '.')
                events += event->mask & IN_CREATE ? u"created "_s : event->mask & IN_MOVED_FROM ? u"renamed"_s : u"written "_s;
        }
        QCOMPARE(readAll(other), otherBytes); // a link's target, another hard link: untouched
        QCOMPARE(entriesOf(folder), entries); // no copy left behind
        if (!written) {
            QVERIFY2(!events.contains(u"renamed"), qPrintable(events));
            QCOMPARE(statOf(path).st_ino, inode);
            if (setup == u"fifo") // reading it doesn't wait for a writer either
                QTest::ignoreMessage(QtWarningMsg, namedPipe);
            QVERIFY(setup == u"fifo" ? readOrientation(path) == 0 : readAll(path) == bytes);
            return;
        }
        QCOMPARE(events, u"created renamed"_s);
        if (from != 0 && kind != u"png") { // patched: the value and a PNG chunk's CRC alone differ
            const QByteArray now = readAll(path);
            QCOMPARE(now.size(), bytes.size());
            qsizetype changed = 0;
            for (qsizetype i = 0; i < now.size(); ++i)
                changed += now[i] != bytes[i];
            QVERIFY2(changed <= (kind == u"png-exif" ? 6 : 2), qPrintable(QString::number(changed)));
        }
        QCOMPARE(otherTags(path, &orientation), tagsBefore);
        QCOMPARE(orientation, to);
        QCOMPARE(imageData(path), dataBefore);
        const struct stat after = statOf(path);
        QVERIFY(after.st_ino != inode); // a copy renamed into place, not a write in place
        QCOMPARE(after.st_mode & 07777, mode_t(0640));
        QCOMPARE(after.st_nlink, nlink_t(1));
        if (privileged)
            QCOMPARE(std::pair(after.st_uid, after.st_gid), std::pair(uid_t(1234), gid_t(2345)));
        char value[4] = {};
        QVERIFY(!xattrs || (::getxattr(native.constData(), "user.xdg.tags", value, 3) == 3 && qstrcmp(value, "Red") == 0));
        if (setup == u"hard link") // the other name keeps the old file
            QCOMPARE(std::pair(statOf(other).st_ino, statOf(other).st_nlink), std::pair(inode, nlink_t(1)));
    }

    void filesOnSeveralThreadsAtOnce()
    {
        // Both routes at once: JPEGs are patched by hand, PNGs go through exiv2.
        const QTemporaryDir root;
        QStringList paths;
        std::vector<std::future<Result>> results;
        for (int i = 0; i < 6; ++i) {
            paths << root.filePath(u"picture-%1.%2"_s.arg(i).arg(i % 2 ? u"png" : u"jpeg"));
            QVERIFY(makePicture(paths.last(), paths.last().section(u'.', -1), 1));
        }
        for (int i = 0; i < paths.size(); ++i)
            results.push_back(std::async(std::launch::async, [&paths, i] { return writeOrientation(paths[i], 2 + i); }));
        for (int i = 0; i < paths.size(); ++i) {
            QCOMPARE(results[i].get(), Result::Written);
            QCOMPARE(readOrientation(paths[i]), 2 + i);
        }
    }

    void readsThenWritesSix_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes"); // "far": see below; empty: libheif has no encoder here
        QTest::addColumn<int>("read");         // 1: states none; 0: not an image
        QTest::addColumn<Result>("written");
        // A QuickTime file type box, then a movie header atom whose size field says 0xfffffffe:
        // exiv2's QuickTime parser loops on it for ever.
        const QByteArray runaway = QByteArray("\0\0\0\x18" "ftypqt  \0\0\x02\0qt  \0\0\0\0", 24)
                + QByteArray("\xff\xff\xff\xfe" "mvhd", 8) + QByteArray(64, '\0');
        for (const char *name : {"movie.jpg", "movie.heic", "movie.webp"})
            QTest::addRow("a QuickTime shape named %s", name + 5) << QString::fromLatin1(name) << runaway << 0 << Result::UnsupportedFormat;
        // Over 1 GiB, of which only the start may be read for a TIFF's IFDs; a PNG's eXIf chunk
        // stating 6 that follows an ancillary chunk of 1 GiB of holes is still found.
        QTest::newRow("a PNG whose EXIF lies past 1 GiB") << u"far.png"_s << "far"_ba << 6 << Result::AlreadySet;
        // With its EXIF in a text chunk only exiv2 could add the tag, holding the whole file: refused.
        QTest::newRow("a PNG of over 1 GiB, its EXIF in text") << u"far.png"_s << "far text"_ba << 6 << Result::UnsupportedFormat;
        QTest::newRow("two bytes of a JPEG, then text") << u"almost.jpg"_s << "\xff\xd8 and no more of one"_ba << 0
                                                        << Result::UnsupportedFormat;
        // Every type of TIFF number: a JPEG's is read by exiv2 and rewritten as a SHORT; a HEIF's
        // EXIF block comes as bytes and is read by the library's own parser, and HEIF is never written.
        const auto number = [](const char *tag, quint16 type, const QByteArray &value, int read) {
            const QByteArray tiff = tiffWithOrientation(type, value);
            QTest::addRow("JPEG, %s", tag) << u"odd.jpg"_s << withExif(false, tiff) << read
                                            << (read == 6 ? Result::AlreadySet : Result::Written);
            QTest::addRow("HEIF, %s", tag) << u"odd.heic"_s << withExif(true, tiff) << read << Result::UnsupportedFormat;
        };
        const double inf = std::numeric_limits<double>::infinity();
        number("SHORT 6", 3, littleEndian<quint16>(6), 6);
        number("SHORT 9", 3, littleEndian<quint16>(9), 1);
        number("BYTE 6", 1, QByteArray(1, '\x06'), 6);
        number("SSHORT 6", 8, littleEndian<qint16>(6), 6);
        number("SLONG -6", 9, littleEndian<qint32>(-6), 1);
        number("LONG 4294967290", 4, littleEndian<quint32>(4294967290u), 1);
        number("FLOAT 6", 11, littleEndian(std::bit_cast<quint32>(6.0f)), 6);
        number("FLOAT 6.5", 11, littleEndian(std::bit_cast<quint32>(6.5f)), 1);
        number("FLOAT NaN", 11, littleEndian(std::bit_cast<quint32>(std::numeric_limits<float>::quiet_NaN())), 1);
        number("FLOAT -inf", 11, littleEndian(std::bit_cast<quint32>(float(-inf))), 1);
        number("DOUBLE 6", 12, littleEndian(std::bit_cast<quint64>(6.0)), 6);
        number("DOUBLE 1e300", 12, littleEndian(std::bit_cast<quint64>(1e300)), 1);
        number("DOUBLE inf", 12, littleEndian(std::bit_cast<quint64>(inf)), 1);
        number("RATIONAL 12/2", 5, littleEndian(quint64(2) << 32 | 12), 6);
        number("RATIONAL 6/0", 5, littleEndian(quint64(6)), 1);
        number("RATIONAL 3221225472/536870912", 5, littleEndian(quint64(0x20000000) << 32 | 0xc0000000u), 6);
        number("SRATIONAL -12/-2", 10, littleEndian(quint64(0xfffffffe) << 32 | 0xfffffff4u), 6);
        number("SRATIONAL -2147483648/-1", 10, littleEndian(quint64(0xffffffff) << 32 | 0x80000000u), 1);
    }

    // Read, written 6, read again, in a child held to hard bounds: a hostile file answers at
    // once, a file that can't take the write keeps its bytes, and nothing here is worth a warning.
    void readsThenWritesSix()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(int, read);
        QFETCH(Result, written);
        if (bytes.isEmpty())
            QSKIP("libheif can't encode HEVC here");
        const QTemporaryDir root;
        const QString path = root.filePath(name);
        if (bytes.startsWith("far")) {
            QVERIFY(makePicture(path, bytes == "far" ? u"png-exif"_s : u"png"_s, 6));
            const QByteArray png = readAll(path);
            QByteArray skipped("\0\0\0\0tqKt", 8);
            const qint64 length = (qint64(1) << 30) + (1 << 20);
            qToBigEndian<quint32>(quint32(length), skipped.data());
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(png.first(33) + skipped) == 41);
            QVERIFY(f.seek(41 + length + 4) && f.write(png.mid(33)) == png.size() - 33);
        } else {
            QVERIFY(writeWholeFile(path, bytes));
        }
        const QList<int> answers = inBoundedChild([&path] {
            return QList<int>{readOrientation(path), int(writeOrientation(path, 6)), readOrientation(path)};
        });
        QCOMPARE(answers, (QList<int>{read, int(written), succeeded(written) ? 6 : read, 0}));
        QVERIFY(written == Result::Written || bytes.startsWith("far") || readAll(path) == bytes);
    }

    // Some writers end the last IFD right at the end of the EXIF block, without the link to a
    // next one: the tag is patched in place all the same, and nothing else moves.
    void patchesAnIfdThatEndsItsBlock()
    {
        const QTemporaryDir root;
        const QString path = root.filePath(u"unlinked.jpg"_s);
        // IFD0 holding only Orientation = 1, and no link after it.
        const QByteArray before = withExif(false, tiffWithOrientation(3, littleEndian<quint16>(1)).chopped(4));
        QVERIFY(writeWholeFile(path, before));
        QCOMPARE(readOrientation(path), 1);
        QCOMPARE(writeOrientation(path, 6), Result::Written);
        QCOMPARE(readOrientation(path), 6);
        QByteArray after = readAll(path);
        QCOMPARE(after.size(), before.size());
        QCOMPARE(after.replace(2 + 4 + 6 + 18, 1, "\x01"), before);
    }

    // What is no file is refused before anything is opened, and the refusal says what it is.
    void refusesWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char *kind : {"a device", "a socket", "a named pipe"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }

    void refusesWhatIsNoFile()
    {
        QFETCH(QString, kind);
        const QTemporaryDir root;
        QString path = kind == u"a device" ? u"/dev/null"_s : root.filePath(u"special"_s);
        const QByteArray native = QFile::encodeName(path);
        const int socketFd = kind == u"a socket" ? ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0) : -1;
        if (socketFd >= 0) {
            sockaddr_un address = {};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, native.constData(), sizeof address.sun_path - 1);
            QVERIFY(::bind(socketFd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0);
        }
        QVERIFY(kind != u"a named pipe" || ::mkfifo(native.constData(), 0600) == 0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QRegularExpression::escape(path) + u": it is "_s + kind + u'$'));
        QString error;
        QCOMPARE(writeOrientation(native, 6, &error), Result::NotAFile);
        QVERIFY2(error.endsWith(u" is "_s + kind), qPrintable(error));
        if (socketFd >= 0)
            ::close(socketFd);
    }

    void removesOnlyCopiesThatDied_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("removed");
        const QString copy = u".picture.jpg.k3Xq9Z"_s;
        QTest::newRow("a dead copy of this file") << copy << u"old"_s << true;
        QTest::newRow("a dead copy touched just now") << copy << u"new"_s << true;
        QTest::newRow("a copy a living writer holds") << copy << u"locked"_s << false;
        QTest::newRow("a copy just made, not yet locked") << copy << u"newborn"_s << false;
        QTest::newRow("a copy made long ago, never locked") << copy << u"stillborn"_s << true;
        QTest::newRow("a copy with another name too") << copy << u"linked"_s << false;
        QTest::newRow("a copy of another user") << copy << u"foreign"_s << false;
        QTest::newRow("a symbolic link") << copy << u"symlink"_s << false;
        QTest::newRow("a named pipe") << copy << u"fifo"_s << false;
        QTest::newRow("a copy of another file") << u".picture.jpeg.k3Xq9Z"_s << u"old"_s << false;
        QTest::newRow("five letters") << u".picture.jpg.k3Xq9"_s << u"old"_s << false;
        QTest::newRow("seven letters") << u".picture.jpg.k3Xq9Zz"_s << u"old"_s << false;
        QTest::newRow("not a letter") << u".picture.jpg.k3Xq-Z"_s << u"old"_s << false;
    }

    void removesOnlyCopiesThatDied()
    {
        QFETCH(QString, entry);
        QFETCH(QString, kind);
        QFETCH(bool, removed);
        const QTemporaryDir root;
        const QString path = root.filePath(u"picture.jpg"_s), copy = root.filePath(entry);
        const QByteArray native = QFile::encodeName(copy);
        QVERIFY(makePicture(path, u"jpeg"_s, 1));
        if (kind == u"symlink")
            QVERIFY(QFile::link(path, copy));
        else if (kind == u"fifo")
            QVERIFY(::mkfifo(native.constData(), 0600) == 0);
        else
            QVERIFY(QFile::copy(path, copy));
        if (kind == u"linked")
            QVERIFY(::link(native.constData(), QFile::encodeName(root.filePath(u"kept.jpg"_s)).constData()) == 0);
        if (kind == u"foreign")
            QVERIFY(::geteuid() != 0 || ::lchown(native.constData(), 1234, 1234) == 0);
        if (kind.endsWith(u"born"))
            QVERIFY(::chmod(native.constData(), 0) == 0);
        const struct timespec old[2] = {{0, UTIME_OMIT}, {::time(nullptr) - 60, 0}};
        if (kind != u"new" && kind != u"newborn")
            QVERIFY(::utimensat(AT_FDCWD, native.constData(), old, AT_SYMLINK_NOFOLLOW) == 0);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        const int held = kind == u"locked" ? ::open(native.constData(), O_RDWR | O_CLOEXEC) : -1;
        QVERIFY(kind != u"locked" || (held >= 0 && ::fcntl(held, F_OFD_SETLK, &lock) == 0));
        QCOMPARE(writeOrientation(path, 6), Result::Written);
        if (held >= 0)
            ::close(held);
        QCOMPARE(!QFileInfo(copy).exists() && !QFileInfo(copy).isSymLink(), removed);
    }
};

QTEST_GUILESS_MAIN(TestImageOrientationWriter)
#include "tst_imageorientationwriter.moc"
