#include "TQImageOrientationWriter.h"
#include "TQSampleData.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <future>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
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

} // namespace

class TestImageOrientationWriter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void writesOnlyTheOrientation_data();
    void writesOnlyTheOrientation();
    void leavesTheFileAsItWas_data();
    void leavesTheFileAsItWas();
    void filesOnSeveralThreadsAtOnce();
};

void TestImageOrientationWriter::initTestCase()
{
    if (Exiftool.isEmpty())
        QSKIP("exiftool is not installed");
    // The file-size limit of two refusals below would otherwise kill the test.
    std::signal(SIGXFSZ, SIG_IGN);
}

void TestImageOrientationWriter::writesOnlyTheOrientation_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");

    QTest::newRow("a JPEG's little-endian tag is patched") << u"jpeg"_s << 1 << 6;
    QTest::newRow("a JPEG without the tag gets one from exiv2") << u"jpeg"_s << 0 << 8;
    QTest::newRow("a PNG's big-endian eXIf tag is patched and the chunk's CRC redone") << u"png-exif"_s << 1 << 7;
    QTest::newRow("a PNG with EXIF in a text chunk goes through exiv2") << u"png"_s << 1 << 6;
    QTest::newRow("a TIFF's tag is patched") << u"tiff"_s << 6 << 1;
    QTest::newRow("a TIFF without the tag is laid out anew with its strip intact") << u"tiff"_s << 0 << 3;
    QTest::newRow("a DNG's tag is patched") << u"dng"_s << 1 << 8;
}

void TestImageOrientationWriter::writesOnlyTheOrientation()
{
    QFETCH(QString, kind);
    QFETCH(int, from);
    QFETCH(int, to);

    const QTemporaryDir root;
    const QString path = root.filePath(u"picture."_s + kind.section(u'-', 0, 0));
    QVERIFY(makePicture(path, kind, from));
    const QByteArray native = QFile::encodeName(path);
    QVERIFY(::chmod(native.constData(), 0640) == 0);
    const bool privileged = ::geteuid() == 0;
    if (privileged)
        QVERIFY(::chown(native.constData(), 1234, 2345) == 0);
    const bool xattrs = ::setxattr(native.constData(), "user.xdg.tags", "Red", 3, 0) == 0;

    const ino_t inode = statOf(path).st_ino;
    const QJsonObject tagsBefore = otherTags(path);
    const QByteArray dataBefore = imageData(path);
    QVERIFY(!dataBefore.isEmpty());
    QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), from);

    QString error = u"stale"_s;
    QCOMPARE(writeOrientation(path, to, &error), Result::Written);
    QVERIFY2(error.isEmpty(), qPrintable(error));

    QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), to);
    QCOMPARE(otherTags(path), tagsBefore);
    QCOMPARE(imageData(path), dataBefore);

    const struct stat after = statOf(path);
    QVERIFY(after.st_ino != inode); // a copy renamed into place, not a write in place
    QCOMPARE(after.st_mode & 07777, mode_t(0640));
    if (privileged)
        QCOMPARE(std::pair(after.st_uid, after.st_gid), std::pair(uid_t(1234), gid_t(2345)));
    char value[4] = {};
    if (xattrs)
        QVERIFY(::getxattr(native.constData(), "user.xdg.tags", value, 3) == 3 && qstrcmp(value, "Red") == 0);
    QCOMPARE(folderEntries(root.path()), QStringList{QFileInfo(path).fileName()});
}

void TestImageOrientationWriter::leavesTheFileAsItWas_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("from"); // the orientation the picture states; 0: none
    QTest::addColumn<int>("to");
    QTest::addColumn<Result>("expected");

    const auto row = [](const char *name, const char *setup, const char *kind, int from, int to, Result r) {
        QTest::newRow(name) << QString::fromLatin1(setup) << QString::fromLatin1(kind) << from << to << r;
    };
    row("a JPEG that says 6 already is not touched", "", "jpeg", 6, 6, Result::AlreadySet);
    row("a PNG whose text chunk says 6 already is not touched", "", "png", 6, 6, Result::AlreadySet);
    row("orientation 9 is refused", "", "jpeg", 1, 9, Result::InvalidOrientation);
    row("a file of mode 0444 is read-only even to root", "read-only file", "jpeg", 1, 3, Result::ReadOnlyFile);
    row("a folder of mode 0555 is read-only even to root", "read-only folder", "jpeg", 1, 3, Result::ReadOnlyFolder);
    row("a missing file is not found", "missing", "jpeg", 1, 3, Result::NotFound);
    row("a symbolic link is refused and its target kept", "link", "jpeg", 1, 3, Result::NotAFile);
    row("a folder is refused", "folder", "jpeg", 1, 3, Result::NotAFile);
    row("a JPEG cut in half is corrupt", "truncated", "jpeg", 1, 3, Result::Corrupt);
    row("a TIFF cut in half, inside its strip, is corrupt", "truncated", "tiff", 1, 3, Result::Corrupt);
    row("a PNG cut in half, before IEND, is corrupt", "truncated", "png", 1, 3, Result::Corrupt);
    row("a text file named .jpg is unsupported", "text", "jpg", 1, 3, Result::UnsupportedFormat);
    row("a JPEG with more pictures (MPF) and no tag to patch is unsupported", "mpf", "jpeg", 0, 3,
        Result::UnsupportedFormat);
    row("a TIFF whose strip covers its own tag would change its picture", "strip over IFD", "tiff", 1, 3,
        Result::ImageDataWouldChange);
    row("a copy cut short by the file-size limit is dropped", "size limit", "jpeg", 1, 3, Result::NoSpace);
    row("an exiv2 rewrite that outgrows the file-size limit is dropped", "size limit", "png", 0, 3, Result::NoSpace);
}

void TestImageOrientationWriter::leavesTheFileAsItWas()
{
    QFETCH(QString, setup);
    QFETCH(QString, kind);
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(Result, expected);

    const QTemporaryDir root;
    const QString folder = root.filePath(u"folder"_s), path = folder + u"/picture."_s + kind;
    QVERIFY(QDir().mkpath(setup == u"folder" ? path : folder));
    if (setup != u"missing" && setup != u"folder" && setup != u"text")
        QVERIFY(makePicture(path, kind, from));

    QByteArray bytes = setup == u"text" ? "Not Found: the download went wrong\n" : readAll(path);
    if (setup == u"truncated")
        bytes.truncate(bytes.size() / 2);
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
    if (setup == u"read-only file")
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0444) == 0);
    if (setup == u"read-only folder")
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0555) == 0);

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
    QCOMPARE(readAll(path), bytes);
    QCOMPARE(statOf(path).st_ino, inode);
    QCOMPARE(readAll(folder + u"/target.jpeg"_s), targetBytes);
    QCOMPARE(folderEntries(folder), entries); // no copy left behind
}

void TestImageOrientationWriter::filesOnSeveralThreadsAtOnce()
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

QTEST_GUILESS_MAIN(TestImageOrientationWriter)
#include "tst_imageorientationwriter.moc"
