// The other suites trust the sample tree and what writeSamples() says about it, so this one
// holds both to outside witnesses: exiftool for the EXIF, Qt's own decoders for the pixels
// and the orientation, the shared MIME database for the types, and the file system itself
// for links, hidden files and folder contents.

#include "TQSampleData.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeDatabase>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cmath>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using TQSampleData::Sample;

namespace {

QString readLinkText(const QString &path)
{
    QByteArray buffer(4096, '\0');
    const ssize_t n = ::readlink(QFile::encodeName(path).constData(), buffer.data(), size_t(buffer.size()));
    return n < 0 ? QString() : QFile::decodeName(buffer.left(n));
}

// Plain files by content hash and links by their text: what "the same tree" means on disk.
QMap<QString, QByteArray> fingerprint(const QString &root)
{
    QMap<QString, QByteArray> prints;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info = it.fileInfo();
        const QString rel = QDir(root).relativeFilePath(path);
        if (info.isSymLink()) {
            prints.insert(rel, "link:" + readLinkText(path).toUtf8());
        } else if (info.isFile()) {
            QFile f(path);
            if (f.open(QIODevice::ReadOnly))
                prints.insert(rel, QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256).toHex());
            prints[rel] += info.isExecutable() ? "+x" : "";
        } else {
            prints.insert(rel, "folder");
        }
    }
    return prints;
}

bool closeTo(QRgb actual, QRgb wanted)
{
    // JPEG at quality 90 with chroma subsampling moves a flat colour by a few levels.
    const int tolerance = 24;
    return std::abs(qRed(actual) - qRed(wanted)) <= tolerance
            && std::abs(qGreen(actual) - qGreen(wanted)) <= tolerance
            && std::abs(qBlue(actual) - qBlue(wanted)) <= tolerance;
}

QString colourName(QRgb c)
{
    return u'#' + QString::number(c & 0xffffff, 16).rightJustified(6, u'0');
}

} // namespace

class TestSampleData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void listMatchesTree();
    void treeIsSmall();
    void writingTwiceGivesTheSameTree();

    void exifAgreesWithExiftool_data();
    void exifAgreesWithExiftool();
    void picturesShowUpright_data();
    void picturesShowUpright();
    void typesAgreeWithMimeDatabase_data();
    void typesAgreeWithMimeDatabase();
    void executableBit_data();
    void executableBit();
    void links_data();
    void links();
    void hiddenFiles_data();
    void hiddenFiles();

    void writeImageRefusesBadInput_data();
    void writeImageRefusesBadInput();
    void writeSamplesRefusesBadFolders();

private:
    QTemporaryDir m_dir;
    QList<Sample> m_samples;

    QString m_exiftool;
    QString m_exiftoolProblem;
    QHash<QString, QJsonObject> m_exiftoolReport;

    void runExiftool();
    QString pathOf(const QString &rel) const { return m_dir.filePath(rel); }
    void addRows(const std::function<bool(const Sample &)> &wanted);
};

void TestSampleData::initTestCase()
{
    QVERIFY2(m_dir.isValid(), qPrintable(m_dir.errorString()));
    QString error;
    m_samples = TQSampleData::writeSamples(m_dir.path(), &error);
    QVERIFY2(!m_samples.isEmpty(), qPrintable(error));
    runExiftool();
}

// One exiftool run for every picture: it is a Perl program, and starting it once per row
// would cost more than the rest of the suite.
void TestSampleData::runExiftool()
{
    m_exiftool = QStandardPaths::findExecutable(u"exiftool"_s);
    if (m_exiftool.isEmpty())
        return;
    QStringList files;
    for (const Sample &s : std::as_const(m_samples)) {
        if (s.kind == u"image" || s.kind == u"lying")
            files.append(s.relativePath);
    }
    QProcess p;
    p.setWorkingDirectory(m_dir.path());
    p.start(m_exiftool, QStringList{u"-j"_s, u"-n"_s, u"-Orientation"_s, u"-Make"_s, u"-Model"_s,
                                    u"-ISO"_s, u"-ExposureTime"_s, u"-FNumber"_s, u"-FocalLength"_s,
                                    u"-DateTimeOriginal"_s, u"-ImageWidth"_s, u"-ImageHeight"_s,
                                    u"-LensModel"_s, u"-Software"_s, u"-MIMEType"_s}
                    + files);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit) {
        m_exiftoolProblem = u"exiftool did not finish: "_s + p.errorString();
        return;
    }
    const QJsonDocument doc = QJsonDocument::fromJson(p.readAllStandardOutput());
    for (const QJsonValue &v : doc.array())
        m_exiftoolReport.insert(v[u"SourceFile"_s].toString(), v.toObject());
    if (m_exiftoolReport.isEmpty())
        m_exiftoolProblem = u"exiftool said nothing: "_s + QString::fromLocal8Bit(p.readAllStandardError());
}

void TestSampleData::addRows(const std::function<bool(const Sample &)> &wanted)
{
    QTest::addColumn<QString>("relativePath");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QVariantMap>("expected");
    int rows = 0;
    for (const Sample &s : std::as_const(m_samples)) {
        if (wanted(s)) {
            QTest::newRow(s.relativePath.toUtf8().constData()) << s.relativePath << s.kind << s.expected;
            ++rows;
        }
    }
    // A filter that matches nothing would let its test pass without looking at anything.
    QVERIFY(rows > 0);
}

void TestSampleData::listMatchesTree()
{
    QStringList onDisk;
    QDirIterator it(m_dir.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        onDisk.append(QDir(m_dir.path()).relativeFilePath(it.next()));
    QStringList listed;
    for (const Sample &s : std::as_const(m_samples))
        listed.append(s.relativePath);
    onDisk.sort();
    listed.sort();
    QCOMPARE(listed, onDisk);

    for (const Sample &s : std::as_const(m_samples)) {
        const QFileInfo info(pathOf(s.relativePath));
        const QByteArray what = (s.relativePath + u" ("_s + s.kind + u')').toUtf8();
        if (s.kind == u"link") {
            QVERIFY2(info.isSymLink(), what);
        } else if (s.kind == u"folder") {
            QVERIFY2(info.isDir() && !info.isSymLink(), what);
            const QStringList entries = QDir(info.filePath()).entryList(
                    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
            QCOMPARE(entries.size(), s.expected.value(u"entryCount"_s).toInt());
        } else {
            QVERIFY2(info.isFile() && !info.isSymLink(), what);
            QCOMPARE(info.size(), s.expected.value(u"size"_s).toLongLong());
        }
    }
}

void TestSampleData::treeIsSmall()
{
    qint64 total = 0;
    for (const Sample &s : std::as_const(m_samples))
        total += s.expected.value(u"size"_s).toLongLong();
    QVERIFY2(total < 2 * 1024 * 1024, qPrintable(u"%1 bytes"_s.arg(total)));
}

void TestSampleData::writingTwiceGivesTheSameTree()
{
    const QMap<QString, QByteArray> before = fingerprint(m_dir.path());
    QString error;
    const QList<Sample> again = TQSampleData::writeSamples(m_dir.path(), &error);
    QVERIFY2(!again.isEmpty(), qPrintable(error));
    QCOMPARE(fingerprint(m_dir.path()), before);
    QCOMPARE(again.size(), m_samples.size());
    for (qsizetype i = 0; i < again.size(); ++i) {
        QCOMPARE(again[i].relativePath, m_samples[i].relativePath);
        QCOMPARE(again[i].kind, m_samples[i].kind);
        QCOMPARE(again[i].expected, m_samples[i].expected);
    }
}

void TestSampleData::exifAgreesWithExiftool_data()
{
    addRows([](const Sample &s) { return s.kind == u"image" || s.kind == u"lying"; });
}

void TestSampleData::exifAgreesWithExiftool()
{
    if (m_exiftool.isEmpty())
        QSKIP("exiftool is not installed");
    QVERIFY2(m_exiftoolProblem.isEmpty(), qPrintable(m_exiftoolProblem));

    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);
    QVERIFY2(m_exiftoolReport.contains(relativePath), "exiftool did not report on this file");
    const QJsonObject tool = m_exiftoolReport.value(relativePath);

    const struct { QString tool; QString expected; bool number; } keys[] = {
        {u"Orientation"_s, u"orientation"_s, true},
        {u"Make"_s, u"make"_s, false},
        {u"Model"_s, u"model"_s, false},
        {u"LensModel"_s, u"lensModel"_s, false},
        {u"Software"_s, u"software"_s, false},
        {u"DateTimeOriginal"_s, u"dateTimeOriginal"_s, false},
        {u"ISO"_s, u"iso"_s, true},
        {u"ExposureTime"_s, u"exposureTime"_s, true},
        {u"FNumber"_s, u"fNumber"_s, true},
        {u"FocalLength"_s, u"focalLength"_s, true},
        {u"ImageWidth"_s, u"width"_s, true},
        {u"ImageHeight"_s, u"height"_s, true},
        {u"MIMEType"_s, u"contentMime"_s, false},
    };
    for (const auto &key : keys) {
        const QByteArray name = key.tool.toUtf8();
        // A tag that isn't promised must be absent too: no-exif.jpg has to have no EXIF.
        QVERIFY2(tool.contains(key.tool) == expected.contains(key.expected),
                 name + (tool.contains(key.tool) ? " is there but isn't expected" : " is missing"));
        if (!tool.contains(key.tool))
            continue;
        if (key.number) {
            const double got = tool.value(key.tool).toDouble();
            const double want = expected.value(key.expected).toDouble();
            // exiftool prints ten significant digits: 1/60 comes back as 0.01666666667.
            QVERIFY2(std::abs(got - want) <= std::abs(want) * 1e-6,
                     name + ": " + QByteArray::number(got, 'g', 12) + " != " + QByteArray::number(want, 'g', 12));
        } else {
            QCOMPARE(tool.value(key.tool).toVariant().toString(), expected.value(key.expected).toString());
        }
    }
}

void TestSampleData::picturesShowUpright_data()
{
    addRows([](const Sample &s) { return s.expected.contains(u"displayWidth"_s); });
}

void TestSampleData::picturesShowUpright()
{
    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);

    // Qt's readers apply the orientation themselves (EXIF in JPEG, the IFD0 tag in TIFF), so
    // they are an outside witness to where the generator put the corner blocks.
    QImageReader reader(pathOf(relativePath));
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
    QCOMPARE(image.size(), QSize(expected.value(u"displayWidth"_s).toInt(),
                                 expected.value(u"displayHeight"_s).toInt()));

    const int w = image.width();
    const int h = image.height();
    const struct { const char *where; QPoint at; QRgb colour; } probes[] = {
        {"top left", {w / 8, h / 8}, TQSampleData::TopLeftMarker},
        {"top right", {w - 1 - w / 8, h / 8}, TQSampleData::TopRightMarker},
        {"bottom left", {w / 8, h - 1 - h / 8}, TQSampleData::Background},
        {"bottom right", {w - 1 - w / 8, h - 1 - h / 8}, TQSampleData::Background},
        {"centre", {w / 2, h / 2}, TQSampleData::Background},
    };
    for (const auto &probe : probes) {
        const QRgb got = image.pixel(probe.at);
        QVERIFY2(closeTo(got, probe.colour),
                 qPrintable(u"%1: %2, wanted %3"_s.arg(QLatin1StringView(probe.where), colourName(got),
                                                      colourName(probe.colour))));
    }
}

void TestSampleData::typesAgreeWithMimeDatabase_data()
{
    addRows([](const Sample &s) {
        return s.expected.contains(u"contentMime"_s) || s.expected.contains(u"nameMime"_s);
    });
}

void TestSampleData::typesAgreeWithMimeDatabase()
{
    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);
    const QMimeDatabase db;
    if (expected.contains(u"contentMime"_s)) {
        QFile f(pathOf(relativePath));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(db.mimeTypeForData(f.readAll()).name(), expected.value(u"contentMime"_s).toString());
    }
    if (expected.contains(u"nameMime"_s)) {
        QCOMPARE(db.mimeTypeForFile(pathOf(relativePath), QMimeDatabase::MatchExtension).name(),
                 expected.value(u"nameMime"_s).toString());
    }
}

void TestSampleData::executableBit_data()
{
    addRows([](const Sample &s) { return s.expected.contains(u"executable"_s); });
}

void TestSampleData::executableBit()
{
    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);
    QCOMPARE(QFileInfo(pathOf(relativePath)).isExecutable(), expected.value(u"executable"_s).toBool());
}

void TestSampleData::links_data()
{
    addRows([](const Sample &s) { return s.kind == u"link"; });
}

void TestSampleData::links()
{
    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);
    const QString path = pathOf(relativePath);
    const QFileInfo info(path);
    const QString target = expected.value(u"target"_s).toString();

    QVERIFY(info.isSymLink());
    QVERIFY2(QDir::isRelativePath(target), "links in the tree must survive the tree being moved");
    QCOMPARE(readLinkText(path), target);
    QCOMPARE(info.symLinkTarget(), QDir::cleanPath(info.absolutePath() + u'/' + target));

    const QString resolvesTo = expected.value(u"resolvesTo"_s).toString();
    const bool broken = expected.value(u"dangling"_s).toBool() || expected.value(u"loop"_s).toBool();
    QCOMPARE(resolvesTo.isEmpty(), broken);
    QCOMPARE(info.exists(), !broken);
    // stat() rather than QFileInfo tells the two broken kinds apart: Qt 6.4 answers
    // canonicalFilePath() for a loop with the link's own path, as if it resolved.
    struct stat st;
    const int statResult = ::stat(QFile::encodeName(path).constData(), &st);
    const int statError = statResult == 0 ? 0 : errno;
    if (expected.value(u"loop"_s).toBool())
        QCOMPARE(statError, ELOOP);
    else if (broken)
        QCOMPARE(statError, ENOENT);
    else
        QCOMPARE(info.canonicalFilePath(), QFileInfo(pathOf(resolvesTo)).canonicalFilePath());
    if (expected.value(u"loop"_s).toBool()) {
        // Each half of the loop must name the other, or it is merely dangling.
        const QFileInfo other(info.symLinkTarget());
        QVERIFY(other.isSymLink());
        QCOMPARE(other.symLinkTarget(), info.absoluteFilePath());
    }
}

void TestSampleData::hiddenFiles_data()
{
    addRows([](const Sample &s) { return s.expected.contains(u"hidden"_s); });
}

void TestSampleData::hiddenFiles()
{
    QFETCH(QString, relativePath);
    QFETCH(QVariantMap, expected);
    const QFileInfo info(pathOf(relativePath));
    QStringList listed;
    QFile list(info.absolutePath() + u"/.hidden"_s);
    if (list.open(QIODevice::ReadOnly | QIODevice::Text))
        listed = QString::fromUtf8(list.readAll()).split(u'\n', Qt::SkipEmptyParts);
    for (const QString &name : std::as_const(listed))
        QVERIFY2(QFileInfo::exists(info.absolutePath() + u'/' + name), qPrintable(name + u" is listed but missing"_s));

    const bool byDot = info.fileName().startsWith(u'.');
    const bool byList = listed.contains(info.fileName());
    QCOMPARE(byDot || byList, expected.value(u"hidden"_s).toBool());
    const QString by = expected.value(u"hiddenBy"_s).toString();
    if (by == u"dot")
        QVERIFY(byDot);
    else if (by == u"hidden-list")
        QVERIFY(byList && !byDot);
    else
        QVERIFY(by.isEmpty());
}

void TestSampleData::writeImageRefusesBadInput_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QVariantMap>("exif");
    QTest::addColumn<bool>("missingFolder");

    const QSize ok(16, 12);
    QTest::newRow("unknown format") << QByteArray("GIF") << ok << QVariantMap() << false;
    QTest::newRow("no format") << QByteArray() << ok << QVariantMap() << false;
    QTest::newRow("too small to show the corners") << QByteArray("PNG") << QSize(3, 12) << QVariantMap() << false;
    QTest::newRow("empty size") << QByteArray("PNG") << QSize() << QVariantMap() << false;
    QTest::newRow("orientation 0") << QByteArray("JPEG") << ok << QVariantMap{{u"Orientation"_s, 0}} << false;
    QTest::newRow("orientation 9") << QByteArray("JPEG") << ok << QVariantMap{{u"Orientation"_s, 9}} << false;
    QTest::newRow("orientation as words") << QByteArray("JPEG") << ok << QVariantMap{{u"Orientation"_s, u"upright"_s}} << false;
    QTest::newRow("negative ISO") << QByteArray("JPEG") << ok << QVariantMap{{u"ISO"_s, -100}} << false;
    QTest::newRow("ISO past 16 bits") << QByteArray("JPEG") << ok << QVariantMap{{u"ISO"_s, 70000}} << false;
    QTest::newRow("zero exposure") << QByteArray("JPEG") << ok << QVariantMap{{u"ExposureTime"_s, 0.0}} << false;
    QTest::newRow("infinite f-number") << QByteArray("JPEG") << ok << QVariantMap{{u"FNumber"_s, qInf()}} << false;
    QTest::newRow("date in the wrong form") << QByteArray("JPEG") << ok
            << QVariantMap{{u"DateTimeOriginal"_s, u"2020-01-02 03:04:05"_s}} << false;
    QTest::newRow("impossible date") << QByteArray("JPEG") << ok
            << QVariantMap{{u"DateTimeOriginal"_s, u"2020:02:30 03:04:05"_s}} << false;
    QTest::newRow("empty make") << QByteArray("JPEG") << ok << QVariantMap{{u"Make"_s, QString()}} << false;
    QTest::newRow("misspelt key") << QByteArray("JPEG") << ok << QVariantMap{{u"Fnumber"_s, 2.8}} << false;
    QTest::newRow("folder missing") << QByteArray("JPEG") << ok << QVariantMap{{u"ISO"_s, 100}} << true;
}

void TestSampleData::writeImageRefusesBadInput()
{
    QFETCH(QByteArray, format);
    QFETCH(QSize, size);
    QFETCH(QVariantMap, exif);
    QFETCH(bool, missingFolder);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(missingFolder ? u"no/such/folder/x.jpg"_s : u"x.pic"_s);
    // The reason must be logged; ignoreMessage() fails the row if no warning comes.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u".+"_s));
    QVERIFY(!TQSampleData::writeImage(path, format.isNull() ? nullptr : format.constData(), size, exif));
    // Refused before anything is written, so no half-made file is left for a test to trip on.
    QVERIFY(!QFileInfo::exists(path));
}

void TestSampleData::writeSamplesRefusesBadFolders()
{
    QString error;
    QVERIFY(TQSampleData::writeSamples(m_dir.filePath(u"no-such-folder"_s), &error).isEmpty());
    QVERIFY(!error.isEmpty());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could not write the samples"_s));
    QVERIFY(TQSampleData::writeSamples(QString()).isEmpty());

    // A folder where a sample file should go is somebody else's: it must be left alone.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(QDir(dir.path()).mkpath(u"images/orientation-1.jpg/keep-me"_s));
    error.clear();
    QVERIFY(TQSampleData::writeSamples(dir.path(), &error).isEmpty());
    QVERIFY2(error.contains(u"orientation-1.jpg"_s), qPrintable(error));
    QVERIFY(QFileInfo(dir.filePath(u"images/orientation-1.jpg/keep-me"_s)).isDir());
}

QTEST_GUILESS_MAIN(TestSampleData)

#include "tst_sampledata.moc"
