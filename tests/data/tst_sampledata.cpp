// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The other suites trust the sample tree and what writeSamples() says about it, so this one holds both
// to outside witnesses: exiftool, Qt's decoders, the shared MIME database and the file system.

#include "TQSampleData.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
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

// JPEG at quality 90 with chroma subsampling moves a flat colour by a few levels.
bool closeTo(QRgb actual, QRgb wanted)
{
    return std::abs(qRed(actual) - qRed(wanted)) <= 24 && std::abs(qGreen(actual) - qGreen(wanted)) <= 24
            && std::abs(qBlue(actual) - qBlue(wanted)) <= 24;
}

// exiftool's tag names and the keys of Sample::expected they are checked against.
const std::pair<const char *, const char *> exifKeys[] = {
    {"Orientation", "orientation"}, {"Make", "make"}, {"Model", "model"}, {"LensModel", "lensModel"},
    {"Software", "software"}, {"DateTimeOriginal", "dateTimeOriginal"}, {"ISO", "iso"}, {"ExposureTime", "exposureTime"},
    {"FNumber", "fNumber"}, {"FocalLength", "focalLength"}, {"ImageWidth", "width"}, {"ImageHeight", "height"},
    {"MIMEType", "contentMime"},
};

} // namespace

class TestSampleData : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QList<Sample> m_samples;
    QString m_exiftool;
    QHash<QString, QJsonObject> m_exiftoolReport;

    QString pathOf(const QString &rel) const { return m_dir.filePath(rel); }

    void addRows(const char *sentence, const std::function<bool(const Sample &)> &wanted)
    {
        QTest::addColumn<QString>("relativePath");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QVariantMap>("expected");
        for (const Sample &s : std::as_const(m_samples)) {
            if (wanted(s))
                QTest::newRow(qPrintable(QString::fromUtf8(sentence).arg(s.relativePath))) << s.relativePath << s.kind << s.expected;
        }
        // A filter that matches nothing would let its test pass without looking at anything.
        QVERIFY(std::any_of(m_samples.cbegin(), m_samples.cend(), wanted));
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_dir.isValid(), qPrintable(m_dir.errorString()));
        QString error;
        m_samples = TQSampleData::writeSamples(m_dir.path(), &error);
        QVERIFY2(!m_samples.isEmpty(), qPrintable(error));

        // One exiftool run for every picture: starting the Perl program once per row costs more than the suite.
        m_exiftool = QStandardPaths::findExecutable(u"exiftool"_s);
        if (m_exiftool.isEmpty())
            return;
        QStringList arguments{u"-j"_s, u"-n"_s};
        for (const auto &key : exifKeys)
            arguments.append(u'-' + QLatin1StringView(key.first));
        for (const Sample &s : std::as_const(m_samples)) {
            if (s.expected.contains(u"displayWidth"_s))
                arguments.append(s.relativePath);
        }
        QProcess p;
        p.setWorkingDirectory(m_dir.path());
        p.start(m_exiftool, arguments);
        QVERIFY2(p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit, qPrintable(p.errorString()));
        for (const QJsonValue &v : QJsonDocument::fromJson(p.readAllStandardOutput()).array())
            m_exiftoolReport.insert(v[u"SourceFile"_s].toString(), v.toObject());
        QVERIFY2(!m_exiftoolReport.isEmpty(), p.readAllStandardError().constData());
    }

    void pictures_data()
    {
        addRows("%1 shows upright, and exiftool reads in it what the list promises",
                [](const Sample &s) { return s.expected.contains(u"displayWidth"_s); });
    }

    void pictures()
    {
        QFETCH(QString, relativePath);
        QFETCH(QVariantMap, expected);

        // Qt's readers apply the orientation themselves (EXIF in JPEG, the IFD0 tag in TIFF), so
        // they are an outside witness to where the generator put the red and blue corner blocks.
        QImageReader reader(pathOf(relativePath));
        reader.setAutoTransform(true);
        const QImage image = reader.read();
        QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
        QCOMPARE(image.size(), QSize(expected.value(u"displayWidth"_s).toInt(), expected.value(u"displayHeight"_s).toInt()));
        const int w = image.width(), h = image.height();
        const struct { const char *where; QPoint at; QRgb colour; } probes[] = {
            {"top left", {w / 8, h / 8}, TQSampleData::TopLeftMarker},
            {"top right", {w - 1 - w / 8, h / 8}, TQSampleData::TopRightMarker},
            {"bottom left", {w / 8, h - 1 - h / 8}, TQSampleData::Background},
            {"bottom right", {w - 1 - w / 8, h - 1 - h / 8}, TQSampleData::Background},
        };
        for (const auto &probe : probes) {
            const QRgb got = image.pixel(probe.at);
            const QString colour = QString::number(got & 0xffffff, 16).rightJustified(6, u'0');
            QVERIFY2(closeTo(got, probe.colour), qPrintable(QLatin1StringView(probe.where) + u" is #"_s + colour));
        }

        if (m_exiftool.isEmpty())
            QSKIP("exiftool is not installed");
        QVERIFY2(m_exiftoolReport.contains(relativePath), "exiftool did not report on this file");
        const QJsonObject tool = m_exiftoolReport.value(relativePath);
        for (const auto &[toolName, expectedName] : exifKeys) {
            const QJsonValue got = tool.value(QLatin1StringView(toolName));
            const QVariant want = expected.value(QLatin1StringView(expectedName));
            // A tag that isn't promised must be absent too: no-exif.jpg has to have no EXIF.
            QVERIFY2(got.isUndefined() != want.isValid(), QByteArray(toolName) + (want.isValid() ? " is missing" : " is there but isn't expected"));
            if (want.typeId() == QMetaType::QString) {
                QCOMPARE(got.toVariant().toString(), want.toString());
            } else if (want.isValid()) {
                // exiftool prints ten significant digits: 1/60 comes back as 0.01666666667.
                QVERIFY2(std::abs(got.toDouble() - want.toDouble()) <= std::abs(want.toDouble()) * 1e-6,
                         QByteArray(toolName) + ": " + QByteArray::number(got.toDouble(), 'g', 12) + " != " + want.toByteArray());
            }
        }
    }

    void oddFiles_data()
    {
        addRows("%1 is the link, hidden file or lying file it is listed as", [](const Sample &s) {
            return s.kind == u"link" || s.kind == u"lying" || s.expected.contains(u"hidden"_s);
        });
    }

    void oddFiles()
    {
        QFETCH(QString, relativePath);
        QFETCH(QString, kind);
        QFETCH(QVariantMap, expected);
        const QString path = pathOf(relativePath);
        const QFileInfo info(path);

        if (kind == u"link") {
            const QString target = expected.value(u"target"_s).toString();
            QVERIFY2(QDir::isRelativePath(target), "links in the tree must survive the tree being moved");
            QCOMPARE(readLinkText(path), target);
            // stat() tells a loop from a dangling link; Qt 6.4's canonicalFilePath() calls a loop resolved.
            struct stat st;
            const int statError = ::stat(QFile::encodeName(path).constData(), &st) == 0 ? 0 : errno;
            const QString resolvesTo = expected.value(u"resolvesTo"_s).toString();
            QCOMPARE(statError, expected.value(u"loop"_s).toBool() ? ELOOP : resolvesTo.isEmpty() ? ENOENT : 0);
            if (statError == 0)
                QCOMPARE(info.canonicalFilePath(), QFileInfo(pathOf(resolvesTo)).canonicalFilePath());
        } else if (kind == u"lying") {
            // The bytes say one type, the name another (or nothing).
            const QMimeDatabase db;
            QFile f(path);
            QVERIFY(f.open(QIODevice::ReadOnly));
            const QString byContent = db.mimeTypeForData(f.readAll()).name();
            const QString byName = db.mimeTypeForFile(path, QMimeDatabase::MatchExtension).name();
            QCOMPARE(byContent, expected.value(u"contentMime"_s).toString());
            QCOMPARE(byName, expected.value(u"nameMime"_s, u"application/octet-stream"_s).toString());
            QVERIFY2(byContent != byName, qPrintable(byContent));
        } else {
            QStringList listed;
            QFile list(info.absolutePath() + u"/.hidden"_s);
            if (list.open(QIODevice::ReadOnly | QIODevice::Text))
                listed = QString::fromUtf8(list.readAll()).split(u'\n', Qt::SkipEmptyParts);
            const bool byDot = info.fileName().startsWith(u'.');
            const bool byList = listed.contains(info.fileName());
            QCOMPARE(byDot || byList, expected.value(u"hidden"_s).toBool());
            QCOMPARE(byDot ? u"dot"_s : byList ? u"hidden-list"_s : QString(), expected.value(u"hiddenBy"_s).toString());
        }
    }
};

QTEST_GUILESS_MAIN(TestSampleData)
#include "tst_sampledata.moc"
