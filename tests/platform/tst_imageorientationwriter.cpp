// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientationWriter.h"
#include "TQBoundedChild.h"
#include "TQSampleData.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
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
#include <csignal>
#include <functional>
#include <future>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using TQImageOrientationWriter::readOrientation;
using TQImageOrientationWriter::Result;
using TQImageOrientationWriter::writeOrientation;

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

QStringList folderEntries(const QString &dir)
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
// except the file system's, the orientation we change, and the offsets a rewrite by exiv2
// may legitimately move (the data they point at is compared on its own).
QJsonObject otherTags(const QString &path)
{
    QJsonObject tags = exiftool({u"-a"_s, u"-G1"_s, u"-validate"_s}, path);
    for (const QString &key : tags.keys()) {
        if (key == u"SourceFile" || key.startsWith(u"System:") || key.startsWith(u"File:")
            || key == u"ExifTool:ExifToolVersion" || key.endsWith(u":Orientation") || key.contains(u"Offset"))
            tags.remove(key);
    }
    return tags;
}

// The compressed picture, found independently of the code under test: a JPEG's bytes
// from its first scan on, a PNG's from its first IDAT chunk on, a TIFF's strips as exiftool
// locates them.
QByteArray imageData(const QString &path)
{
    const QByteArray d = readAll(path);
    const auto *u = reinterpret_cast<const uchar *>(d.constData());
    if (d.startsWith("\xff\xd8")) {
        for (qsizetype p = 2; p + 4 <= d.size(); p += 2 + (u[p + 2] << 8 | u[p + 3])) {
            if (u[p + 1] == 0xda)
                return d.mid(p);
        }
        return {};
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
                     {u"ExposureTime"_s, 1.0 / 250}, {u"FNumber"_s, 2.8}, {u"FocalLength"_s, 33.0},
                     {u"LensModel"_s, u"XF33mmF1.4 R LM WR"_s}, {u"DateTimeOriginal"_s, u"2024:05:06 07:08:09"_s}};
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


QString quoted(const QString &path)
{
    return u"\u201c"_s + path + u"\u201d"_s;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// A little-endian TIFF structure whose IFD0 holds one Orientation entry of `type` with `value`
// (its bytes as stored: inline when four or fewer, else right after the IFD).
QByteArray tiffWithOrientation(quint16 type, const QByteArray &value)
{
    QByteArray tiff("II*\0\x08\0\0\0\x01\0", 10);
    char entry[12] = {};
    qToLittleEndian<quint16>(0x0112, entry);
    qToLittleEndian<quint16>(type, entry + 2);
    qToLittleEndian<quint32>(1, entry + 4);
    if (value.size() <= 4)
        std::copy(value.begin(), value.end(), entry + 8);
    else
        qToLittleEndian<quint32>(26, entry + 8);
    tiff += QByteArray(entry, 12) + QByteArray(4, '\0');
    return value.size() > 4 ? tiff + value : tiff;
}

// A plain JPEG carrying `tiff` in an Exif segment right after its SOI.
QByteArray jpegWithExif(const QByteArray &tiff)
{
    QImage image(16, 16, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG");
    QByteArray segment("\xff\xe1\0\0Exif\0\0", 10);
    qToBigEndian<quint16>(quint16(8 + tiff.size()), segment.data() + 2);
    QByteArray jpeg = buffer.data();
    return jpeg.insert(2, segment + tiff);
}

template <typename T>
QByteArray littleEndian(T value)
{
    QByteArray bytes(sizeof(T), '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

// A grey HEIC whose EXIF block is `tiff`; empty when libheif has no encoder here.
QString writeHeif(const QString &path, const QByteArray &tiff)
{
    QImage grey(64, 48, QImage::Format_RGB888);
    grey.fill(QColor(0x80, 0x80, 0x80));
    return TQSampleData::writeHeic(path, grey, tiff) ? path : QString();
}

// What a child process answered, and the warnings it logged. A child that hangs or runs away
// with memory is stopped by its limits (CPU seconds, an alarm) and did not finish.
struct Outcome
{
    bool finished = false;
    QList<int> answers;
    QStringList warnings;
};

QStringList childWarnings;

Outcome inBoundedChild(const std::function<QList<int>()> &work)
{
    const TQChildOutcome child = runInBoundedChild(
            [&work] {
                qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
                    if (type == QtWarningMsg || type == QtCriticalMsg)
                        childWarnings << message;
                });
                QByteArray report;
                for (int answer : work())
                    report += QByteArray::number(answer) + ' ';
                for (const QString &warning : std::as_const(childWarnings))
                    report += '\n' + warning.toUtf8();
                return report;
            },
            TQChildLimits{0, 5, 20});
    Outcome outcome;
    outcome.finished = child.finished;
    const QList<QByteArray> lines = child.answer.split('\n');
    for (const QByteArray &answer : lines.value(0).split(' '))
        if (!answer.isEmpty())
            outcome.answers << answer.toInt();
    for (qsizetype i = 1; i < lines.size(); ++i)
        outcome.warnings << QString::fromUtf8(lines[i]);
    return outcome;
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

    void writesOnlyTheOrientation_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("setup"); // "hard link": a second name; "not UTF-8": written under a name of bytes

        QTest::newRow("a JPEG's little-endian tag is patched") << u"jpeg"_s << 1 << 6 << QString();
        QTest::newRow("a JPEG without the tag gets one from exiv2") << u"jpeg"_s << 0 << 8 << QString();
        QTest::newRow("a PNG's big-endian eXIf tag is patched and the chunk's CRC redone") << u"png-exif"_s << 1 << 7 << QString();
        QTest::newRow("a PNG with EXIF in a text chunk goes through exiv2") << u"png"_s << 1 << 6 << QString();
        QTest::newRow("a TIFF's tag is patched") << u"tiff"_s << 6 << 1 << QString();
        QTest::newRow("a TIFF without the tag is laid out anew with its strip intact") << u"tiff"_s << 0 << 3 << QString();
        QTest::newRow("a DNG's tag is patched") << u"dng"_s << 1 << 8 << QString();
        QTest::newRow("another hard link keeps the old content") << u"jpeg"_s << 1 << 8 << u"hard link"_s;
        QTest::newRow("a name that is not UTF-8") << u"jpeg"_s << 1 << 3 << u"not UTF-8"_s;
    }

    void writesOnlyTheOrientation()
    {
        QFETCH(QString, kind);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QString, setup);

        const QTemporaryDir root;
        const QString path = root.filePath(u"picture."_s + kind.section(u'-', 0, 0)), other = root.filePath(u"other.jpeg"_s);
        QVERIFY(makePicture(path, kind, from));
        const QByteArray native = QFile::encodeName(path);
        QVERIFY(::chmod(native.constData(), 0640) == 0);
        const bool privileged = ::geteuid() == 0;
        if (privileged)
            QVERIFY(::chown(native.constData(), 1234, 2345) == 0);
        const bool xattrs = ::setxattr(native.constData(), "user.xdg.tags", "Red", 3, 0) == 0;
        if (setup == u"hard link")
            QVERIFY(::link(native.constData(), QFile::encodeName(other).constData()) == 0);
        const QByteArray bytes = readAll(path);
        const QStringList entries = folderEntries(root.path());

        const ino_t inode = statOf(path).st_ino;
        const QJsonObject tagsBefore = otherTags(path);
        const QByteArray dataBefore = imageData(path);
        QVERIFY(!dataBefore.isEmpty());
        QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), from);

        // The folder's events tell whether the copy was written while it had a name: a kill then
        // would have left it behind.
        const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(watch >= 0);
        QVERIFY(::inotify_add_watch(watch, QFile::encodeName(root.path()).constData(),
                                    IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM) >= 0);
        const QByteArray bytesName = QFile::encodeName(root.path()) + "/caf\xff.jpeg";
        if (setup == u"not UTF-8")
            QVERIFY(::rename(native.constData(), bytesName.constData()) == 0);
        QString error = u"stale"_s;
        const Result result = setup == u"not UTF-8" ? writeOrientation(bytesName, to, &error) : writeOrientation(path, to, &error);
        QCOMPARE(result, Result::Written);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        if (setup == u"not UTF-8") {
            QCOMPARE(readOrientation(bytesName), to);
            QVERIFY(::rename(bytesName.constData(), native.constData()) == 0);
        }
        QStringList events; // of the copy, the one name starting with a dot
        alignas(inotify_event) char buffer[16384];
        const ssize_t length = ::read(watch, buffer, sizeof buffer);
        ::close(watch);
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->len > 0 && event->name[0] == '.')
                events << (event->mask & IN_CREATE ? u"created"_s : event->mask & IN_MOVED_FROM ? u"renamed"_s : u"written"_s);
        }
        QCOMPARE(events, (QStringList{u"created"_s, u"renamed"_s}));

        QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), to);
        if (from != 0 && kind != u"png") { // patched: the value and a PNG chunk's CRC alone differ
            const QByteArray now = readAll(path);
            QCOMPARE(now.size(), bytes.size());
            qsizetype changed = 0;
            for (qsizetype i = 0; i < now.size(); ++i)
                changed += now[i] != bytes[i];
            QVERIFY2(changed <= (kind == u"png-exif" ? 6 : 2), qPrintable(QString::number(changed)));
        }
        QCOMPARE(otherTags(path), tagsBefore);
        QCOMPARE(imageData(path), dataBefore);

        const struct stat after = statOf(path);
        QVERIFY(after.st_ino != inode); // a copy renamed into place, not a write in place
        QCOMPARE(after.st_mode & 07777, mode_t(0640));
        QCOMPARE(after.st_nlink, nlink_t(1));
        if (privileged)
            QCOMPARE(std::pair(after.st_uid, after.st_gid), std::pair(uid_t(1234), gid_t(2345)));
        char value[4] = {};
        if (xattrs)
            QVERIFY(::getxattr(native.constData(), "user.xdg.tags", value, 3) == 3 && qstrcmp(value, "Red") == 0);
        QCOMPARE(folderEntries(root.path()), entries);
        if (setup == u"hard link") { // the other name keeps the old file
            QCOMPARE(readAll(other), bytes);
            QCOMPARE(statOf(other).st_ino, inode);
            QCOMPARE(statOf(other).st_nlink, nlink_t(1));
        }
    }

    void leavesTheFileAsItWas_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("from"); // the orientation the picture states; 0: none
        QTest::addColumn<int>("to");
        QTest::addColumn<Result>("expected");
        QTest::addColumn<QString>("blamed"); // what the message must name: "file", "folder" or anything

        const auto row = [](const char *name, const char *setup, const char *kind, int from, int to, Result r,
                            const char *blamed = "") {
            QTest::newRow(name) << QString::fromLatin1(setup) << QString::fromLatin1(kind) << from << to << r
                                << QString::fromLatin1(blamed);
        };
        row("a JPEG that says 6 already is not touched", "", "jpeg", 6, 6, Result::AlreadySet);
        row("a PNG whose text chunk says 6 already is not touched", "", "png", 6, 6, Result::AlreadySet);
        row("orientation 9 is refused", "", "jpeg", 1, 9, Result::InvalidOrientation);
        row("a file of mode 0444 is read-only even to root", "read-only file", "jpeg", 1, 3, Result::ReadOnlyFile, "file");
        row("a folder of mode 0555 is read-only even to root", "read-only folder", "jpeg", 1, 3, Result::ReadOnlyFolder,
            "folder");
        row("a read-only file in a read-only folder: the file is named", "read-only both", "jpeg", 1, 3,
            Result::ReadOnlyFile, "file");
        row("a missing file is not found", "missing", "jpeg", 1, 3, Result::NotFound);
        row("a symbolic link is refused and its target kept", "link", "jpeg", 1, 3, Result::NotAFile);
        row("a folder is refused", "folder", "jpeg", 1, 3, Result::NotAFile);
        row("a named pipe is refused with a warning", "fifo", "jpeg", 1, 3, Result::NotAFile);
        row("a JPEG cut in half is corrupt", "truncated", "jpeg", 1, 3, Result::Corrupt);
        row("a TIFF cut in half, inside its strip, is corrupt", "truncated", "tiff", 1, 3, Result::Corrupt);
        row("a PNG cut in half, before IEND, is corrupt", "truncated", "png", 1, 3, Result::Corrupt);
        row("a text file named .jpg is unsupported", "text", "jpg", 1, 3, Result::UnsupportedFormat);
        row("a JPEG with more pictures (MPF) and no tag to patch is unsupported", "mpf", "jpeg", 0, 3,
            Result::UnsupportedFormat);
        row("a TIFF whose strip covers its own tag would change its picture", "strip over IFD", "tiff", 1, 3,
            Result::ImageDataWouldChange);
        // The properties reader stops at a chunk whose type is no chunk type; the writer, walking
        // the same structure, must not take such a file for whole and rewrite it.
        row("a PNG chunk typed with digits is corrupt", "digits chunk", "png-exif", 1, 6, Result::Corrupt, "file");
        // Zeros read as empty chunks of type 0: a hole in a sparse file, twelve bytes at a time.
        row("a PNG hole of zeros as long as 5000 empty chunks is corrupt", "hole", "png-exif", 1, 6, Result::Corrupt,
            "file");
        row("a copy cut short by the file-size limit is dropped", "size limit", "jpeg", 1, 3, Result::NoSpace);
        row("an exiv2 rewrite that outgrows the file-size limit is dropped", "size limit", "png", 0, 3, Result::NoSpace);
    }

    void leavesTheFileAsItWas()
    {
        QFETCH(QString, setup);
        QFETCH(QString, kind);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(Result, expected);
        QFETCH(QString, blamed);

        const QTemporaryDir root;
        const QString folder = root.filePath(u"folder"_s), path = folder + u"/picture."_s + kind;
        QVERIFY(QDir().mkpath(setup == u"folder" ? path : folder));
        if (setup != u"missing" && setup != u"folder" && setup != u"text" && setup != u"fifo")
            QVERIFY(makePicture(path, kind, from));

        QByteArray bytes = setup == u"text" ? "Not Found: the download went wrong\n" : readAll(path);
        if (setup == u"truncated")
            bytes.truncate(bytes.size() / 2);
        if (setup == u"digits chunk" || setup == u"hole") // right after IHDR
            bytes.insert(33, setup == u"hole" ? QByteArray(12 * 5000, '\0')
                                              : QByteArray("\0\0\0\x04" "1234", 8) + QByteArray(8, '\0'));
        if (setup == u"mpf") // an APP2 segment announcing further pictures, right after SOI
            bytes.insert(2, QByteArray("\xff\xe2\x00\x08MPF\x00\x00\x00", 10));
        if (setup == u"strip over IFD") { // StripOffsets 0 and StripByteCounts the file's size
            const auto *u = reinterpret_cast<const uchar *>(bytes.constData());
            const quint32 ifd = qFromLittleEndian<quint32>(u + 4);
            for (int i = 0; i < qFromLittleEndian<quint16>(u + ifd); ++i) {
                const quint16 tag = qFromLittleEndian<quint16>(u + ifd + 2 + 12 * i);
                if (tag == 273 || tag == 279)
                    qToLittleEndian<quint32>(tag == 273 ? 0 : bytes.size(), bytes.data() + ifd + 2 + 12 * i + 8);
            }
        }
        if (QFile f(path); bytes != readAll(path))
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size());
        if (setup == u"link") {
            QVERIFY(QFile::rename(path, folder + u"/target.jpeg"_s));
            QVERIFY(QFile::link(u"target.jpeg"_s, path));
        }
        if (setup == u"fifo") { // made last: opening it to read would wait for a writer
            QVERIFY(::mkfifo(QFile::encodeName(path).constData(), 0644) == 0);
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QRegularExpression::escape(path) + u".*named pipe"_s));
        }
        if (setup.startsWith(u"read-only") && setup != u"read-only folder")
            QVERIFY(::chmod(QFile::encodeName(path).constData(), 0444) == 0);
        if (setup.startsWith(u"read-only") && setup != u"read-only file")
            QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0555) == 0);

        if (setup != u"fifo")
            bytes = readAll(path);
        const ino_t inode = statOf(path).st_ino;
        const QStringList entries = folderEntries(folder);
        const QByteArray targetBytes = readAll(folder + u"/target.jpeg"_s);

        struct rlimit oldLimit = {};
        ::getrlimit(RLIMIT_FSIZE, &oldLimit);
        if (setup == u"size limit") {
            // The patch route's copy fails at half; exiv2's rewrite of a full copy fails on growing it.
            const struct rlimit limit = {rlim_t(from ? bytes.size() / 2 : bytes.size()), oldLimit.rlim_max};
            QVERIFY(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
        }
        QString error = u"stale"_s;
        const Result result = writeOrientation(path, to, &error);
        ::setrlimit(RLIMIT_FSIZE, &oldLimit);
        ::chmod(QFile::encodeName(folder).constData(), 0755);

        QCOMPARE(result, expected);
        QCOMPARE(error.isEmpty(), expected == Result::AlreadySet);
        if (blamed == u"file")
            QVERIFY2(error.contains(quoted(path)) && !error.contains(quoted(folder)), qPrintable(error));
        if (blamed == u"folder")
            QVERIFY2(error.contains(quoted(folder)), qPrintable(error));
        if (setup != u"fifo")
            QCOMPARE(readAll(path), bytes);
        QCOMPARE(statOf(path).st_ino, inode);
        QCOMPARE(readAll(folder + u"/target.jpeg"_s), targetBytes);
        QCOMPARE(folderEntries(folder), entries); // no copy left behind
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
            QCOMPARE(TQImageOrientationWriter::readOrientation(paths[i]), 2 + i);
        }
    }

    void hostileFilesAnswerAtOnce_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes"); // empty: a named pipe; "heif": a real HEIC stating 6; "far": see below
        QTest::addColumn<int>("read");
        QTest::addColumn<Result>("written");

        // A QuickTime file type box, then a movie header atom whose size field says 0xfffffffe:
        // exiv2's QuickTime parser loops on it for ever.
        const QByteArray runaway = QByteArray("\0\0\0\x18" "ftypqt  \0\0\x02\0qt  \0\0\0\0", 24)
                + QByteArray("\xff\xff\xff\xfe" "mvhd", 8) + QByteArray(64, '\0');
        QTest::newRow("a QuickTime shape named .jpg") << u"movie.jpg"_s << runaway << 0 << Result::UnsupportedFormat;
        QTest::newRow("a QuickTime shape named .heic") << u"movie.heic"_s << runaway << 0 << Result::UnsupportedFormat;
        QTest::newRow("a QuickTime shape named .webp") << u"movie.webp"_s << runaway << 0 << Result::UnsupportedFormat;
        QTest::newRow("a named pipe named .jpg") << u"pipe.jpg"_s << QByteArray() << 0 << Result::NotAFile;
        QTest::newRow("a real HEIC: libheif reads its orientation, the writer leaves it")
                << u"photo.heic"_s << "heif"_ba << 6 << Result::UnsupportedFormat;
        // Over 1 GiB, of which only the start may be read for a TIFF's IFDs; a PNG's eXIf chunk
        // stating 6 that follows an ancillary chunk of 1 GiB of holes is still found.
        QTest::newRow("a PNG whose EXIF lies past 1 GiB") << u"far.png"_s << "far"_ba << 6 << Result::AlreadySet;
    }

    void hostileFilesAnswerAtOnce()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(int, read);
        QFETCH(Result, written);

        const QTemporaryDir root;
        const QString path = root.filePath(name);
        if (bytes.isEmpty())
            QVERIFY(::mkfifo(QFile::encodeName(path).constData(), 0644) == 0);
        else if (bytes == "heif" && writeHeif(path, tiffWithOrientation(3, littleEndian<quint16>(6))).isEmpty())
            QSKIP("libheif can't encode HEVC here");
        else if (bytes != "heif" && bytes != "far")
            QVERIFY(writeFile(path, bytes));
        if (bytes == "far") {
            QVERIFY(makePicture(path, u"png-exif"_s, 6));
            const QByteArray png = readAll(path);
            QByteArray skipped("\0\0\0\0tqKt", 8);
            const qint64 length = (qint64(1) << 30) + (1 << 20);
            qToBigEndian<quint32>(quint32(length), skipped.data());
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(png.first(33) + skipped) == 41);
            QVERIFY(f.seek(41 + length + 4) && f.write(png.mid(33)) == png.size() - 33);
        }
        const QByteArray before = bytes.isEmpty() || bytes == "far" ? QByteArray() : readAll(path);

        const Outcome outcome = inBoundedChild([&path] {
            return QList<int>{readOrientation(path), int(writeOrientation(path, 6))};
        });
        QVERIFY2(outcome.finished, "the child hung, ran away or crashed");
        QCOMPARE(outcome.answers, (QList<int>{read, int(written)}));
        // A special file is worth one warning each time it is refused, naming it; nothing else is.
        QCOMPARE(outcome.warnings.size(), bytes.isEmpty() ? 2 : 0);
        for (const QString &warning : outcome.warnings)
            QVERIFY2(warning.contains(path), qPrintable(warning));
        if (!before.isEmpty())
            QCOMPARE(readAll(path), before);
    }

    void numbersThatAreNoOrientation_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("read"); // 1: states none

        const double inf = std::numeric_limits<double>::infinity();
        QTest::newRow("SHORT 6") << 3 << littleEndian<quint16>(6) << 6;
        QTest::newRow("SHORT 9") << 3 << littleEndian<quint16>(9) << 1;
        QTest::newRow("BYTE 6") << 1 << QByteArray(1, '\x06') << 6;
        QTest::newRow("SSHORT 6") << 8 << littleEndian<qint16>(6) << 6;
        QTest::newRow("SLONG -6") << 9 << littleEndian<qint32>(-6) << 1;
        QTest::newRow("LONG 4294967290") << 4 << littleEndian<quint32>(4294967290u) << 1;
        QTest::newRow("FLOAT 6") << 11 << littleEndian(std::bit_cast<quint32>(6.0f)) << 6;
        QTest::newRow("FLOAT 6.5") << 11 << littleEndian(std::bit_cast<quint32>(6.5f)) << 1;
        QTest::newRow("FLOAT NaN") << 11 << littleEndian(std::bit_cast<quint32>(std::numeric_limits<float>::quiet_NaN())) << 1;
        QTest::newRow("FLOAT -inf") << 11 << littleEndian(std::bit_cast<quint32>(float(-inf))) << 1;
        QTest::newRow("DOUBLE 6") << 12 << littleEndian(std::bit_cast<quint64>(6.0)) << 6;
        QTest::newRow("DOUBLE 1e300") << 12 << littleEndian(std::bit_cast<quint64>(1e300)) << 1;
        QTest::newRow("DOUBLE inf") << 12 << littleEndian(std::bit_cast<quint64>(inf)) << 1;
        QTest::newRow("RATIONAL 12/2") << 5 << littleEndian(quint64(2) << 32 | 12) << 6;
        QTest::newRow("RATIONAL 6/0") << 5 << littleEndian(quint64(6)) << 1;
        QTest::newRow("SRATIONAL -2147483648/-1") << 10 << littleEndian(quint64(0xffffffff) << 32 | 0x80000000u) << 1;
    }

    void numbersThatAreNoOrientation()
    {
        QFETCH(int, type);
        QFETCH(QByteArray, value);
        QFETCH(int, read);

        const QTemporaryDir root;
        const QString path = root.filePath(u"odd.jpg"_s);
        QVERIFY(writeFile(path, jpegWithExif(tiffWithOrientation(quint16(type), value))));
        QCOMPARE(readOrientation(path), read);
        // Writing 6 over anything but a real 6 rewrites the tag as a SHORT that says 6.
        QCOMPARE(writeOrientation(path, 6), read == 6 ? Result::AlreadySet : Result::Written);
        QCOMPARE(readOrientation(path), 6);
        // A HEIF's EXIF block comes as bytes and is read by the library's own parser: the same
        // answers.
        const QString heif = writeHeif(root.filePath(u"odd.heic"_s), tiffWithOrientation(quint16(type), value));
        if (!heif.isEmpty())
            QCOMPARE(readOrientation(heif), read);
    }

    void removesOnlyCopiesThatDied_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("removed");

        QTest::newRow("a dead copy of this file") << u".picture.jpg.k3Xq9Z"_s << u"old"_s << true;
        QTest::newRow("a dead copy touched just now") << u".picture.jpg.k3Xq9Z"_s << u"new"_s << true;
        QTest::newRow("a copy a living writer holds") << u".picture.jpg.k3Xq9Z"_s << u"locked"_s << false;
        QTest::newRow("a copy just made, not yet locked") << u".picture.jpg.k3Xq9Z"_s << u"newborn"_s << false;
        QTest::newRow("a copy made long ago, never locked") << u".picture.jpg.k3Xq9Z"_s << u"stillborn"_s << true;
        QTest::newRow("a copy with another name too") << u".picture.jpg.k3Xq9Z"_s << u"linked"_s << false;
        QTest::newRow("a copy of another user") << u".picture.jpg.k3Xq9Z"_s << u"foreign"_s << false;
        QTest::newRow("a symbolic link") << u".picture.jpg.k3Xq9Z"_s << u"symlink"_s << false;
        QTest::newRow("a named pipe") << u".picture.jpg.k3Xq9Z"_s << u"fifo"_s << false;
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
        int held = -1;
        if (kind == u"locked") {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            held = ::open(native.constData(), O_RDWR | O_CLOEXEC);
            QVERIFY(held >= 0 && ::fcntl(held, F_OFD_SETLK, &lock) == 0);
        }

        QCOMPARE(writeOrientation(path, 6), Result::Written);
        if (held >= 0)
            ::close(held);
        QCOMPARE(!QFileInfo(copy).exists() && !QFileInfo(copy).isSymLink(), removed);
    }
};

QTEST_GUILESS_MAIN(TestImageOrientationWriter)
#include "tst_imageorientationwriter.moc"
