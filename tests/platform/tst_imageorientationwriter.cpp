#include "TQImageOrientationWriter.h"
#include "TQSampleData.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <memory>
#include <thread>
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

// Every tag exiftool finds, except the file system's, exiftool's own, the orientation we
// change, and the offsets a rewrite by exiv2 may legitimately move (the data they point at
// is compared on its own).
QJsonObject otherTags(const QString &path)
{
    QJsonObject tags = exiftool({u"-a"_s, u"-G1"_s}, path);
    for (const QString &key : tags.keys()) {
        if (key == u"SourceFile" || key.startsWith(u"System:") || key.startsWith(u"File:")
            || key.startsWith(u"ExifTool:") || key.endsWith(u":Orientation") || key.contains(u"Offset"))
            tags.remove(key);
    }
    return tags;
}

// The compressed picture, found independently of the code under test: a JPEG's bytes
// from its first scan on, a PNG's IDAT data, a TIFF's strips as exiftool locates them.
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
    if (d.startsWith("\x89PNG")) {
        QByteArray idat;
        for (qsizetype p = 8; p + 12 <= d.size(); p += 12 + qFromBigEndian<quint32>(u + p)) {
            if (d.mid(p + 4, 4) == "IDAT")
                idat += d.mid(p + 8, qFromBigEndian<quint32>(u + p));
        }
        return idat;
    }
    const QJsonObject strips = exiftool({u"-n"_s, u"-StripOffsets"_s, u"-StripByteCounts"_s}, path);
    const QStringList offsets = strips.value(u"StripOffsets").toVariant().toString().split(u' ');
    const QStringList counts = strips.value(u"StripByteCounts").toVariant().toString().split(u' ');
    QByteArray data;
    for (qsizetype i = 0; i < offsets.size() && offsets.size() == counts.size(); ++i)
        data += d.mid(offsets[i].toLongLong(), counts[i].toLongLong());
    return data;
}

// True unless a PNG chunk's CRC disagrees with its type and data.
bool pngCrcsHold(const QString &path)
{
    const QByteArray d = readAll(path);
    const auto *u = reinterpret_cast<const uchar *>(d.constData());
    for (qsizetype p = 8; d.startsWith("\x89PNG") && p + 12 <= d.size(); p += 12 + qFromBigEndian<quint32>(u + p)) {
        const quint32 length = qFromBigEndian<quint32>(u + p);
        quint32 c = 0xffffffffu;
        for (qsizetype i = p + 4; i < p + 8 + length; ++i) {
            c ^= u[i];
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
        }
        if ((c ^ 0xffffffffu) != qFromBigEndian<quint32>(u + p + 8 + length))
            return false;
    }
    return true;
}

QImage storedPixels(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(false);
    return reader.read().convertToFormat(QImage::Format_RGB32);
}

// A small RGB TIFF spelled out by hand, so that byte order and layout are ours to choose.
// DNGVersion is what makes exiftool and raw developers treat it as a DNG. With
// stripCoversAll the one strip claims the whole file, IFD included.
QByteArray tinyTiff(bool big, int orientation, bool dng, bool stripCoversAll = false)
{
    const auto num = [big](int size, quint32 v) {
        QByteArray b(size, '\0');
        if (size == 2)
            big ? qToBigEndian<quint16>(v, b.data()) : qToLittleEndian<quint16>(v, b.data());
        else
            big ? qToBigEndian<quint32>(v, b.data()) : qToLittleEndian<quint32>(v, b.data());
        return b;
    };
    const auto text = [](const char *s) { return QByteArray(s, qstrlen(s) + 1); };
    QByteArray strip;
    for (int i = 0; i < 8 * 6; ++i)
        strip.append(char(i * 5)).append(char(200 - i * 3)).append(char(i * 7));
    struct Entry { quint16 tag, type; QByteArray value; quint32 count; };
    std::vector<Entry> entries = {
        {256, 3, num(2, 8), 1}, {257, 3, num(2, 6), 1}, {258, 3, num(2, 8) + num(2, 8) + num(2, 8), 3},
        {259, 3, num(2, 1), 1}, {262, 3, num(2, 2), 1}, {271, 2, text("TQKit"), 0},
        {272, 2, text("Bench Camera"), 0}, {273, 4, {}, 1}, {274, 3, num(2, orientation), 1},
        {277, 3, num(2, 3), 1}, {278, 3, num(2, 6), 1}, {279, 4, {}, 1}, {305, 2, text("tst_imageorientationwriter"), 0},
    };
    if (orientation <= 0)
        entries.erase(entries.begin() + 8);
    if (dng) {
        entries.push_back({50706, 1, QByteArray("\x01\x04\0\0", 4), 4});
        entries.push_back({50708, 2, text("TQKit Bench Camera"), 0});
    }
    const quint32 ifdEnd = 8 + 2 + 12 * quint32(entries.size()) + 4;
    QByteArray extra;
    for (Entry &e : entries) {
        if (e.count == 0)
            e.count = quint32(e.value.size());
        if (e.value.size() > 4)
            extra += e.value + QByteArray(e.value.size() % 2, '\0');
    }
    const quint32 stripAt = ifdEnd + quint32(extra.size());
    for (Entry &e : entries) {
        if (e.tag == 273)
            e.value = num(4, stripCoversAll ? 0 : stripAt);
        if (e.tag == 279)
            e.value = num(4, stripCoversAll ? stripAt + strip.size() : strip.size());
    }
    QByteArray out = (big ? QByteArray("MM\0*", 4) : QByteArray("II*\0", 4)) + num(4, 8) + num(2, entries.size());
    quint32 extraAt = ifdEnd;
    for (const Entry &e : entries) {
        out += num(2, e.tag) + num(2, e.type) + num(4, e.count);
        out += e.value.size() <= 4 ? e.value.leftJustified(4, '\0') : num(4, extraAt);
        if (e.value.size() > 4)
            extraAt += quint32(e.value.size() + e.value.size() % 2);
    }
    return out + num(4, 0) + extra + strip;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

// A picture of `kind` stating orientation `from`; 0 gives EXIF without the tag, -1 no EXIF.
bool makePicture(const QString &path, const QString &kind, int from)
{
    QVariantMap exif{{u"Make"_s, u"FUJIFILM"_s}, {u"Model"_s, u"X-T5"_s}, {u"ISO"_s, 400},
                     {u"ExposureTime"_s, 1.0 / 250}, {u"FNumber"_s, 2.8}, {u"FocalLength"_s, 33.0},
                     {u"LensModel"_s, u"XF33mmF1.4 R LM WR"_s}, {u"DateTimeOriginal"_s, u"2024:05:06 07:08:09"_s}};
    if (from > 0)
        exif[u"Orientation"_s] = from;
    if (from < 0)
        exif.clear();
    if (kind == u"tiff-be" || kind == u"dng")
        return writeFile(path, tinyTiff(kind == u"tiff-be", from, kind == u"dng"));
    if (kind == u"png-exif") { // EXIF in an eXIf chunk, as exiftool writes it
        QStringList arguments{u"-q"_s, u"-overwrite_original"_s, u"-n"_s, u"-IFD0:Make=FUJIFILM"_s, path};
        if (from > 0)
            arguments.insert(3, u"-IFD0:Orientation=%1"_s.arg(from));
        return TQSampleData::writeImage(path, "PNG", QSize(64, 48), {}) && QProcess::execute(Exiftool, arguments) == 0;
    }
    if (!TQSampleData::writeImage(path, kind.toUpper().toLatin1().constData(), QSize(64, 48), exif))
        return false;
    // Qt's TIFF writer states orientation 1 of its own accord.
    return kind != u"tiff" || from > 0
            || QProcess::execute(Exiftool, {u"-q"_s, u"-overwrite_original"_s, u"-IFD0:Orientation="_s, path}) == 0;
}

} // namespace

class TestImageOrientationWriter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void writesOnlyTheOrientation_data();
    void writesOnlyTheOrientation();
    void sameOrientationLeavesTheFileAlone_data();
    void sameOrientationLeavesTheFileAlone();
    void refusalsLeaveTheFileAsItWas_data();
    void refusalsLeaveTheFileAsItWas();
    void filesOnSeveralThreadsAtOnce();

private:
    std::unique_ptr<QTemporaryDir> m_root;
};

void TestImageOrientationWriter::initTestCase()
{
    // The file-size limit of one refusal below would otherwise kill the test.
    std::signal(SIGXFSZ, SIG_IGN);
}

void TestImageOrientationWriter::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QVERIFY(m_root->isValid());
}

void TestImageOrientationWriter::writesOnlyTheOrientation_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("patchedBytes"); // bytes that may differ afterwards; -1: laid out anew

    QTest::newRow("a JPEG turned from 1 to 6 has its tag patched") << u"jpeg"_s << 1 << 6 << 2;
    QTest::newRow("a JPEG turned from 6 to 3 has its tag patched") << u"jpeg"_s << 6 << 3 << 2;
    QTest::newRow("a JPEG turned from 8 to 1 has its tag patched") << u"jpeg"_s << 8 << 1 << 2;
    QTest::newRow("a JPEG without the tag gets one from exiv2") << u"jpeg"_s << 0 << 8 << -1;
    QTest::newRow("a JPEG without EXIF gets an Exif segment") << u"jpeg"_s << -1 << 5 << -1;
    QTest::newRow("a PNG with EXIF in a text chunk goes through exiv2") << u"png"_s << 1 << 6 << -1;
    QTest::newRow("a PNG without the tag gets one from exiv2") << u"png"_s << 0 << 7 << -1;
    QTest::newRow("a PNG with an eXIf chunk has its tag and CRC patched") << u"png-exif"_s << 1 << 7 << 6;
    QTest::newRow("a PNG whose eXIf chunk lacks the tag gets one from exiv2") << u"png-exif"_s << 0 << 4 << -1;
    QTest::newRow("a TIFF turned from 1 to 8 has its tag patched") << u"tiff"_s << 1 << 8 << 2;
    QTest::newRow("a TIFF turned from 6 to 1 has its tag patched") << u"tiff"_s << 6 << 1 << 2;
    QTest::newRow("a TIFF without the tag is laid out anew with its strip intact") << u"tiff"_s << 0 << 3 << -1;
    QTest::newRow("a big-endian TIFF is patched in its own byte order") << u"tiff-be"_s << 1 << 6 << 2;
    QTest::newRow("a DNG has its tag patched") << u"dng"_s << 1 << 8 << 2;
    QTest::newRow("a DNG without the tag gets one from exiv2") << u"dng"_s << 0 << 2 << -1;
}

void TestImageOrientationWriter::writesOnlyTheOrientation()
{
    QFETCH(QString, kind);
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(int, patchedBytes);
    if (Exiftool.isEmpty())
        QSKIP("exiftool is not installed");

    const QString path = m_root->filePath(u"picture."_s + (kind == u"png-exif" ? u"png"_s : kind.section(u'-', 0, 0)));
    QVERIFY(makePicture(path, kind, from));
    QVERIFY(::chmod(QFile::encodeName(path).constData(), 0640) == 0);
    const bool root = ::geteuid() == 0;
    if (root)
        QVERIFY(::chown(QFile::encodeName(path).constData(), 1234, 2345) == 0);
    const bool xattrs = ::setxattr(QFile::encodeName(path).constData(), "user.xdg.tags", "Red", 3, 0) == 0;

    const QByteArray bytesBefore = readAll(path);
    const struct stat before = statOf(path);
    const QJsonObject tagsBefore = otherTags(path);
    const QByteArray dataBefore = imageData(path);
    const QImage pixelsBefore = storedPixels(path);
    QVERIFY(!dataBefore.isEmpty());
    QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), qMax(from, 0));

    QString error = u"stale"_s;
    QCOMPARE(writeOrientation(path, to, &error), Result::Written);
    QVERIFY2(error.isEmpty(), qPrintable(error));

    QCOMPARE(exiftool({u"-n"_s, u"-Orientation"_s}, path).value(u"Orientation").toInt(), to);
    QCOMPARE(otherTags(path), tagsBefore);
    QCOMPARE(imageData(path), dataBefore);
    QCOMPARE(storedPixels(path), pixelsBefore);
    QVERIFY(pngCrcsHold(path));
    const QByteArray bytesAfter = readAll(path);
    if (patchedBytes >= 0) {
        QCOMPARE(bytesAfter.size(), bytesBefore.size());
        qsizetype differing = 0;
        for (qsizetype i = 0; i < bytesAfter.size(); ++i)
            differing += bytesAfter[i] != bytesBefore[i];
        QVERIFY(differing >= 1 && differing <= patchedBytes);
    }

    const struct stat after = statOf(path);
    QVERIFY(after.st_ino != before.st_ino);
    QCOMPARE(after.st_mode & 07777, mode_t(0640));
    if (root)
        QCOMPARE(std::pair(after.st_uid, after.st_gid), std::pair(uid_t(1234), gid_t(2345)));
    if (xattrs) {
        char value[16] = {};
        QCOMPARE(::getxattr(QFile::encodeName(path).constData(), "user.xdg.tags", value, sizeof value), ssize_t(3));
        QCOMPARE(QByteArray(value), QByteArray("Red"));
    }
    QCOMPARE(folderEntries(m_root->path()), QStringList{QFileInfo(path).fileName()});
}

void TestImageOrientationWriter::sameOrientationLeavesTheFileAlone_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("orientation");

    QTest::newRow("a JPEG that says 6 already") << u"jpeg"_s << 6;
    QTest::newRow("a TIFF that says 3 already") << u"tiff"_s << 3;
    QTest::newRow("a PNG whose text chunk says 2 already") << u"png"_s << 2;
}

void TestImageOrientationWriter::sameOrientationLeavesTheFileAlone()
{
    QFETCH(QString, kind);
    QFETCH(int, orientation);

    const QString path = m_root->filePath(u"picture."_s + kind);
    QVERIFY(makePicture(path, kind, orientation));
    const QByteArray bytes = readAll(path);
    const ino_t inode = statOf(path).st_ino;

    QCOMPARE(writeOrientation(path, orientation), Result::AlreadySet);
    QCOMPARE(readAll(path), bytes);
    QCOMPARE(statOf(path).st_ino, inode);
    QCOMPARE(folderEntries(m_root->path()), QStringList{QFileInfo(path).fileName()});
}

void TestImageOrientationWriter::refusalsLeaveTheFileAsItWas_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<int>("orientation");
    QTest::addColumn<Result>("expected");

    QTest::newRow("orientation 0 is refused") << u"jpeg"_s << 0 << Result::InvalidOrientation;
    QTest::newRow("orientation 9 is refused") << u"jpeg"_s << 9 << Result::InvalidOrientation;
    QTest::newRow("a file of mode 0444 is read-only even to root") << u"read-only file"_s << 3 << Result::ReadOnlyFile;
    QTest::newRow("a folder of mode 0555 is read-only even to root") << u"read-only folder"_s << 3 << Result::ReadOnlyFolder;
    QTest::newRow("a missing file is not found") << u"missing"_s << 3 << Result::NotFound;
    QTest::newRow("a file in a missing folder is not found") << u"missing folder"_s << 3 << Result::NotFound;
    QTest::newRow("a symbolic link is refused and its target kept") << u"link"_s << 3 << Result::NotAFile;
    QTest::newRow("a folder is refused") << u"folder"_s << 3 << Result::NotAFile;
    QTest::newRow("the first half of a JPEG is corrupt") << u"truncated jpeg"_s << 3 << Result::Corrupt;
    QTest::newRow("a JPEG cut off inside its scan data is corrupt") << u"cut scan jpeg"_s << 3 << Result::Corrupt;
    QTest::newRow("a TIFF cut off inside its strip is corrupt") << u"truncated tiff"_s << 3 << Result::Corrupt;
    QTest::newRow("a PNG cut off before IEND is corrupt") << u"truncated png"_s << 3 << Result::Corrupt;
    QTest::newRow("a JPEG whose Exif points outside itself is corrupt") << u"bad exif"_s << 3 << Result::Corrupt;
    QTest::newRow("a text file named .jpg is unsupported") << u"text"_s << 3 << Result::UnsupportedFormat;
    QTest::newRow("a BMP is unsupported") << u"bmp"_s << 3 << Result::UnsupportedFormat;
    QTest::newRow("an empty file is unsupported") << u"empty"_s << 3 << Result::UnsupportedFormat;
    QTest::newRow("a TIFF whose strip covers its own tag would change its picture")
            << u"overlapping strip"_s << 3 << Result::ImageDataWouldChange;
    QTest::newRow("a copy cut short by the file-size limit is dropped") << u"size limit"_s << 3 << Result::NoSpace;
    QTest::newRow("an exiv2 rewrite that outgrows the file-size limit is dropped")
            << u"size limit png"_s << 3 << Result::NoSpace;
}

void TestImageOrientationWriter::refusalsLeaveTheFileAsItWas()
{
    QFETCH(QString, setup);
    QFETCH(int, orientation);
    QFETCH(Result, expected);

    const QString folder = m_root->filePath(u"folder"_s);
    QVERIFY(QDir().mkpath(folder));
    QString path = folder + u"/picture.jpg"_s;
    if (setup.endsWith(u"png") || setup == u"truncated png")
        path = folder + u"/picture.png"_s;
    else if (setup.contains(u"tiff") || setup == u"overlapping strip")
        path = folder + u"/picture.tiff"_s;

    if (setup == u"missing folder")
        path = folder + u"/no such folder/picture.jpg"_s;
    else if (setup == u"folder")
        QVERIFY(QDir().mkpath(path));
    else if (setup == u"text")
        QVERIFY(writeFile(path, "Not Found: the download went wrong\n"));
    else if (setup == u"empty")
        QVERIFY(writeFile(path, {}));
    else if (setup == u"bmp")
        QVERIFY(QImage(QSize(8, 8), QImage::Format_RGB32).save(path, "BMP"));
    else if (setup == u"overlapping strip")
        QVERIFY(writeFile(path, tinyTiff(false, 1, false, true)));
    else if (setup != u"missing")
        QVERIFY(makePicture(path, path.section(u'.', -1), setup == u"size limit png" ? 0 : 1));

    if (setup == u"cut scan jpeg")
        QVERIFY(writeFile(path, readAll(path).chopped(10)));
    if (setup.startsWith(u"truncated"))
        QVERIFY(writeFile(path, readAll(path).left(readAll(path).size() / 2)));
    if (setup == u"bad exif") { // the TIFF header's IFD0 offset, just after "Exif\0\0II*\0"
        QByteArray bytes = readAll(path);
        const qsizetype ifd0 = bytes.indexOf(QByteArray("Exif\0\0", 6)) + 10;
        bytes.replace(ifd0, 4, QByteArray("\xf0\xff\x00\x00", 4));
        QVERIFY(writeFile(path, bytes));
    }
    if (setup == u"link") {
        QVERIFY(QFile::rename(path, folder + u"/target.jpg"_s));
        QVERIFY(QFile::link(u"target.jpg"_s, path));
    }
    if (setup == u"read-only file")
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0444) == 0);
    if (setup == u"read-only folder")
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0555) == 0);

    const QByteArray bytes = readAll(path);
    const ino_t inode = statOf(path).st_ino;
    const QStringList entries = folderEntries(folder);
    const QByteArray targetBytes = readAll(folder + u"/target.jpg"_s);

    QString error;
    struct rlimit oldLimit = {};
    ::getrlimit(RLIMIT_FSIZE, &oldLimit);
    if (setup.startsWith(u"size limit")) {
        // The copy itself fails at half; exiv2's rewrite of a full copy fails on growing it.
        const struct rlimit limit = {rlim_t(setup == u"size limit" ? bytes.size() / 2 : bytes.size()),
                                     oldLimit.rlim_max};
        QVERIFY(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
    }
    const Result result = writeOrientation(path, orientation, &error);
    ::setrlimit(RLIMIT_FSIZE, &oldLimit);
    ::chmod(QFile::encodeName(folder).constData(), 0755);

    QCOMPARE(result, expected);
    QVERIFY(!error.isEmpty());
    QCOMPARE(readAll(path), bytes);
    QCOMPARE(statOf(path).st_ino, inode);
    QCOMPARE(readAll(folder + u"/target.jpg"_s), targetBytes);
    QCOMPARE(folderEntries(folder), entries); // no copy left behind
}

void TestImageOrientationWriter::filesOnSeveralThreadsAtOnce()
{
    // Both routes at once: JPEGs are patched by hand, PNGs go through exiv2.
    QStringList paths;
    for (int i = 0; i < 12; ++i) {
        paths << m_root->filePath(u"picture-%1.%2"_s.arg(i).arg(i % 2 ? u"png" : u"jpeg"));
        QVERIFY(makePicture(paths.last(), i % 2 ? u"png"_s : u"jpeg"_s, 1));
    }
    std::vector<Result> results(paths.size());
    std::vector<std::thread> threads;
    for (qsizetype i = 0; i < paths.size(); ++i)
        threads.emplace_back([&, i] { results[i] = writeOrientation(paths[i], 2 + i % 7); });
    for (std::thread &t : threads)
        t.join();
    for (qsizetype i = 0; i < paths.size(); ++i) {
        QCOMPARE(results[i], Result::Written);
        QCOMPARE(writeOrientation(paths[i], 2 + i % 7), Result::AlreadySet);
    }
}

QTEST_GUILESS_MAIN(TestImageOrientationWriter)
#include "tst_imageorientationwriter.moc"
