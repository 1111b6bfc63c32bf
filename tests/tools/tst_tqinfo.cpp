// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// tqinfo run as scripts use it, on real files in a fresh folder.

#include "TQFile.h"
#include "tqinfo_output.h"
#include "TQTestDesktop.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMultiMap>
#include <QProcess>
#include <QScopeGuard>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QTest>

#include <sys/stat.h>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Run
{
    int exitCode = -1; // also when the program crashed or hung
    QByteArray out, err;
    QList<QByteArray> lines() const { return out.isEmpty() ? QList<QByteArray>{} : out.chopped(1).split('\n'); }
};

// The keys of a flat JSON object line in the order they are written; QJsonObject sorts them.
QStringList writtenKeys(const QByteArray &line)
{
    QMultiMap<qsizetype, QString> byPosition;
    for (const QString &key : QJsonDocument::fromJson(line).object().keys())
        byPosition.insert(line.indexOf('"' + key.toUtf8() + "\":"), key);
    return byPosition.values();
}

// Names with spaces and accents, a link, a dangling link and a folder, as arguments and as names.
const QString someFiles = uR"(photo.jpg "café menu.txt" folder link-to-photo.jpg dangling)"_s;
const QStringList someNames = QProcess::splitCommand(someFiles);
const QByteArray oddName = "/bad\xffname"; // Linux takes any bytes for a name; a QString can't hold this one

// The labels other programs read; an absent attribute reads as a null array.
QByteArray tagsOf(const QByteArray &path)
{
    QByteArray value(4096, Qt::Uninitialized);
    const ssize_t size = ::lgetxattr(path.constData(), "user.xdg.tags", value.data(), size_t(value.size()));
    return size < 0 ? QByteArray() : value.left(size);
}

} // namespace

class TestTqinfo : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QTemporaryDir m_cache; // the shared thumbnail cache, which --thumbnails writes too
    QString path(const QString &name) const { return m_dir.filePath(name); }

    // With `octal`, the shell's printf makes the arguments' bytes from octal escapes ("\\377"):
    // QProcess hands arguments on as UTF-8, which a name that is not cannot be. Arguments are
    // then split at spaces, else as by QProcess::splitCommand().
    Run run(const QString &arguments, const QString &folder = {}, bool octal = false) const
    {
        QProcess process;
        process.setWorkingDirectory(folder.isEmpty() ? m_dir.path() : folder);
        if (octal)
            process.start(u"/bin/sh"_s, {u"-c"_s, uR"(exec "$0" $(printf -- "$1"))"_s, QStringLiteral(TQINFO_PATH), arguments});
        else
            process.start(QStringLiteral(TQINFO_PATH), QProcess::splitCommand(arguments));
        const bool finished = process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit;
        return {finished ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError()};
    }

private slots:
    void cleanupTestCase() { ::unlink(QFile::encodeName(path(u"odd"_s)) + oddName); } // QTemporaryDir can't name it

    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_cache.isValid());
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_cache.path()));
        qputenv("LC_ALL", "C.UTF-8"); // for tqinfo: reasons come from strerror, which speaks the locale's language
        QVERIFY(QImage(32, 24, QImage::Format_RGB32).save(path(u"photo.jpg"_s), "JPEG"));
        for (const char *name : {"notes.txt", ".hidden-file", "café menu.txt", "file2.txt", "file10.txt", "apple.txt", "Banana.txt"})
            QVERIFY(writeWholeFile(path(QString::fromUtf8(name)), "some text\n"));
        QVERIFY(QDir(m_dir.path()).mkdir(u"folder"_s) && QDir(m_dir.path()).mkdir(u"odd"_s));
        QVERIFY(QFile::link(u"photo.jpg"_s, path(u"link-to-photo.jpg"_s)));
        QVERIFY(QFile::link(u"missing"_s, path(u"dangling"_s)));
        const int descriptor = ::open(QFile::encodeName(path(u"odd"_s)) + oddName, O_CREAT | O_WRONLY, 0644);
        QVERIFY(descriptor >= 0);
        ::close(descriptor);
    }

    void jsonLines_data()
    {
        QTest::addColumn<QString>("keyArguments");
        QTest::addColumn<QStringList>("expectedKeys");

        QStringList all = TQFile::keys();
        all.removeAll(u"path"_s);
        QTest::newRow("Without --keys every key comes in the library's order") << QString() << all;
        QTest::newRow("Keys come in the order they were asked for")
            << u"--keys isDirectory,uti,displayName"_s << QStringList{u"isDirectory"_s, u"uti"_s, u"displayName"_s};
        QTest::newRow("A key asked for twice, and path itself, appear once")
            << uR"(--keys "uti, path,uti" --keys isRealFile)"_s << QStringList{u"uti"_s, u"isRealFile"_s};
    }

    void jsonLines()
    {
        QFETCH(QString, keyArguments);
        QFETCH(QStringList, expectedKeys);

        const Run result = run(u"--json %1 %2"_s.arg(keyArguments, someFiles));
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        const QList<QByteArray> lines = result.lines();
        QCOMPARE(lines.size(), someNames.size());
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const QJsonObject object = QJsonDocument::fromJson(lines.at(i)).object(); // empty unless it parses
            QVERIFY2(!object.isEmpty(), lines.at(i).constData());
            QCOMPARE(writtenKeys(lines.at(i)), QStringList{u"path"_s} + expectedKeys);
            QCOMPARE(object.value(u"path"_s).toString(), path(someNames.at(i)));
        }
    }

    void sortsAndFilters_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("names");

        // Every entry, hidden ones too, in the order people expect: numbers by value, capitals in the alphabet.
        QTest::newRow("Without a sort") << QString()
            << u".hidden-file|apple.txt|Banana.txt|café menu.txt|dangling|file2.txt|file10.txt|folder|link-to-photo.jpg|notes.txt|odd|photo.jpg"_s;
        QTest::newRow("Visible entries by name, folders last")
            << u"--sort 0 --folders last --filter 0"_s
            << u"apple.txt|Banana.txt|café menu.txt|dangling|file2.txt|file10.txt|link-to-photo.jpg|notes.txt|photo.jpg|folder|odd"_s;
        QTest::newRow("Visible images; a link to one is one") << u"--sort 0 --filter 2"_s << u"link-to-photo.jpg|photo.jpg"_s;
        // A link's size is its own: the length of the name it holds.
        QTest::newRow("By size without folders, hidden ones too")
            << u"--sort 1 --folders first --filter 1 --exclude-folders"_s
            << u"dangling|link-to-photo.jpg|.hidden-file|apple.txt|Banana.txt|café menu.txt|file2.txt|file10.txt|notes.txt|photo.jpg"_s;
        QTest::newRow("Images and folders without folders, descending")
            << u"--sort 0 --descending --filter 4 --exclude-folders"_s << u"photo.jpg|link-to-photo.jpg"_s;
        QTest::newRow("Visible folders stay folders") << u"--sort 2 --folders first --filter 6 --exclude-folders"_s << u"folder|odd"_s;
    }

    void sortsAndFilters()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, names);

        const Run result = run(u"--json --keys displayName --list . "_s + arguments);
        QCOMPARE(result.exitCode, 0);
        QStringList listed;
        for (const QByteArray &line : result.lines()) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            listed.append(object.value(u"displayName"_s).toString());
            // The folder was named relative, the rows name absolute paths.
            QCOMPARE(object.value(u"path"_s).toString(), path(listed.last()));
        }
        QCOMPARE(listed.join(u'|'), names);
    }

    void writesThumbnails()
    {
        const Run result = run(u"--thumbnails thumbnails --size 16 photo.jpg link-to-photo.jpg notes.txt nope"_s);
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(result.err.contains("notes.txt: no thumbnail") && result.err.contains("nope: No such file"), result.err.constData());
        const QDir output(path(u"thumbnails"_s));
        QCOMPARE(output.entryList(QDir::Files, QDir::Name), (QStringList{u"link-to-photo.jpg.png"_s, u"photo.jpg.png"_s}));
        QCOMPARE(QImage(output.filePath(u"photo.jpg.png"_s)).size(), QSize(16, 12)); // the 32x24 photo, scaled to fit
    }

    // Out of the class: moc cannot read some of its raw strings.
    void commandLines_data();
    void commandLines()
    {
        QFETCH(QString, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        QFETCH(QString, error);
        QFETCH(int, orientation);

        QFile photo(path(u"photo.jpg"_s));
        QVERIFY(photo.open(QIODevice::ReadOnly));
        const QByteArray bytes = photo.readAll();
        const QByteArray copies[] = {QFile::encodeName(path(u"turn.jpg"_s)), QFile::encodeName(path(u"turn"_s)) + "\xff.jpg"};
        for (const QByteArray &copy : copies) {
            const int descriptor = ::open(copy.constData(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
            QVERIFY(descriptor >= 0);
            const bool written = ::write(descriptor, bytes.constData(), size_t(bytes.size())) == bytes.size();
            ::close(descriptor);
            QVERIFY(written);
        }
        const auto removeCopies = qScopeGuard([&] {
            for (const QByteArray &copy : copies)
                ::unlink(copy.constData());
        });
        // A named pipe lives outside the shared folder, whose listing other tests compare.
        QTemporaryDir special;
        const QString pipe = special.filePath(u"pipe.jpg"_s);
        QVERIFY(::mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0);

        const bool octal = arguments.contains(u'\\');
        const Run result = run(QString(arguments).replace(u"{pipe}"_s, pipe), {}, octal);
        QCOMPARE(result.exitCode, exitCode);
        const bool errorAsWanted = error.isEmpty() ? result.err.isEmpty() : QRegularExpression(error).match(QString::fromUtf8(result.err)).hasMatch();
        QVERIFY2(errorAsWanted, result.err.constData());
        QVERIFY2(QRegularExpression(output).match(QString::fromUtf8(result.out)).hasMatch(), result.out.constData());
        QCOMPARE(TQFile::newFileForNativePath(copies[octal])->storedImageOrientation(), orientation);
        // The name as text would be another file, which nothing may make.
        QVERIFY(::access(QFile::encodeName(path(u"turn\uFFFD.jpg"_s)).constData(), F_OK) != 0);
    }

    void setsLabels_data()
    {
        QTest::addColumn<QString>("arguments"); // split at spaces; octal escapes for bytes
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("tagsOfA"); // a starts as "x,Purple", b without tags
        QTest::addColumn<QByteArray>("tagsOfB");
        QTest::addColumn<QString>("error");

        QTest::newRow("two files, other tags kept") << u"--set-label 6 a b"_s << 0 << "x,Red"_ba << "Red"_ba << QString();
        QTest::newRow("label 0 takes the label away") << u"--set-label 0 a b"_s << 0 << "x"_ba << QByteArray() << QString();
        QTest::newRow("a missing file fails, the rest is labelled")
            << u"--set-label 2 missing a"_s << 1 << "x,Green"_ba << QByteArray() << u"tqinfo: missing: No such file"_s;
        QTest::newRow("a name that is not UTF-8") << u"--set-label 4 b\\377"_s << 0 << "x,Purple"_ba << "Blue"_ba << QString();
        QTest::newRow("a label out of range is a usage error")
            << u"--set-label 8 a"_s << 2 << "x,Purple"_ba << QByteArray() << u"from 0 (none) to 7"_s;
        QTest::newRow("another option is a usage error")
            << u"--json --set-label 1 a"_s << 2 << "x,Purple"_ba << QByteArray() << u"takes files only"_s;
    }

    void setsLabels()
    {
        QFETCH(QString, arguments);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, tagsOfA);
        QFETCH(QByteArray, tagsOfB);
        QFETCH(QString, error);

        // A folder of the row's own: the shared one's listing is compared by other tests.
        QTemporaryDir dir;
        const QByteArray a = QFile::encodeName(dir.filePath(u"a"_s));
        const QByteArray b = QFile::encodeName(dir.filePath(u"b"_s)) + (arguments.contains(u"\\377"_s) ? "\xff" : "");
        for (const QByteArray &path : {a, b}) {
            const int descriptor = ::creat(path.constData(), 0644);
            QVERIFY(descriptor >= 0);
            ::close(descriptor);
        }
        if (::lsetxattr(a.constData(), "user.xdg.tags", "x,Purple", 8, 0) != 0)
            QSKIP("The temporary folder's file system keeps no user extended attributes");

        const Run result = run(arguments, dir.path(), true);
        QCOMPARE(result.exitCode, exitCode);
        QVERIFY2(error.isEmpty() ? result.err.isEmpty() : result.err.contains(error.toUtf8()), result.err.constData());
        QCOMPARE(tagsOf(a), tagsOfA);
        QCOMPARE(tagsOf(b), tagsOfB);
        ::unlink(b.constData());
    }

    // The table printer on its own, with the characters terminals draw wider, narrower or not at
    // all; each expected line is counted by hand.
    void tableAlignsWhatTerminalsShow_data()
    {
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QVariantList>("values"); // of the one key "k"
        QTest::addColumn<QString>("expected");

        const QDateTime noon(QDate(2026, 1, 2), QTime(3, 4, 5, 6), QTimeZone(3600));
        QTest::newRow("wide script, decomposed accent, controls")
            << QStringList{u"/x"_s, u"/日本"_s, u"/e\u0301\n"_s, u"/a\tb\u0085"_s}
            << QVariantList{true, noon, QVariant(), QSize(3, 2)}
            << u"path   k\n/x     true\n/日本  2026-01-02T02:04:05.006Z\n/e\u0301?    -\n/a?b?  3x2\n"_s;
        QTest::newRow("emoji, soft hyphen, lone surrogate")
            << QStringList{u"/\U0001F600"_s, u"/a\u00ADb"_s, u"/"_s + QChar(0xD800)}
            << QVariantList{u"x\u001By"_s, false, 12}
            << u"path  k\n/\U0001F600   x?y\n/a\u00ADb   false\n/?    12\n"_s; // UTF-8 has no lone surrogate: Qt writes "?"
    }

    void tableAlignsWhatTerminalsShow()
    {
        QFETCH(QStringList, paths);
        QFETCH(QVariantList, values);
        QFETCH(QString, expected);

        TQInfo::Table table({u"k"_s});
        for (qsizetype i = 0; i < paths.size(); ++i)
            table.append({paths.at(i), {values.at(i)}});
        QCOMPARE(QString::fromUtf8(table.text()), expected);
    }

    // Dates in the table are written by hand for speed; they must read exactly as Qt writes them.
    void tableDatesAreQtsIsoForm_data()
    {
        QTest::addColumn<QDateTime>("date");

        QTest::newRow("the epoch") << QDateTime::fromMSecsSinceEpoch(0, QTimeZone::utc());
        QTest::newRow("the last millisecond of 9999") << QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), QTimeZone::utc());
        QTest::newRow("a year of three digits") << QDateTime(QDate(999, 3, 4), QTime(5, 6, 7, 8), QTimeZone::utc());
        QTest::newRow("an offset that crosses midnight") << QDateTime(QDate(2026, 1, 1), QTime(1, 0), QTimeZone(5 * 3600 + 1800));
        QTest::newRow("a year of five digits") << QDateTime(QDate(10000, 1, 1), QTime(0, 0), QTimeZone::utc());
        QTest::newRow("a year before the common era") << QDateTime(QDate(-44, 3, 15), QTime(12, 0), QTimeZone::utc());
    }

    void tableDatesAreQtsIsoForm()
    {
        QFETCH(QDateTime, date);
        QCOMPARE(TQInfo::cellText(date), date.toUTC().toString(Qt::ISODateWithMs));
    }
};

// tqinfo given files one by one, or a folder: turn.jpg and turn\377.jpg are fresh copies of
// photo.jpg for each row. Arguments with a backslash are split at spaces, its octal escapes made bytes.
void TestTqinfo::commandLines_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output"); // a pattern for the whole of stdout
    QTest::addColumn<QString>("error");  // a pattern found in stderr; empty: nothing there
    QTest::addColumn<int>("orientation"); // what the copy named in the arguments states afterwards

    // JSON values matched as written, which shows their type as well: "true" is no true, and "0" no 0.
    const QString value = uR"(^\{"path":"[^"]+/%1","%2":%3\}\n$)"_s;
    QTest::newRow("A JPEG's type is its identifier")
        << u"--json --keys uti photo.jpg"_s << 0 << value.arg(u"photo\\.jpg"_s, u"uti"_s, uR"("public\.jpeg")"_s) << QString() << 1;
    QTest::newRow("A folder is a directory")
        << u"--json --keys isDirectory folder"_s << 0 << value.arg(u"folder"_s, u"isDirectory"_s, u"true"_s) << QString() << 1;
    QTest::newRow("A URL is percent-encoded") << uR"(--json --keys URL "café menu.txt")"_s << 0
        << value.arg(u"café menu\\.txt"_s, u"URL"_s, uR"("file://[^"]+/caf%C3%A9%20menu\.txt")"_s) << QString() << 1;
    QTest::newRow("No label is the number 0")
        << u"--json --keys finderLabel notes.txt"_s << 0 << value.arg(u"notes\\.txt"_s, u"finderLabel"_s, u"0"_s) << QString() << 1;
    QTest::newRow("A date is UTC with milliseconds") << u"--json --keys modificationDate dangling"_s << 0
        << value.arg(u"dangling"_s, u"modificationDate"_s, uR"("\d{4}-\d\d-\d\dT[\d:]{8}\.\d{3}Z")"_s) << QString() << 1;

    const QString usage = u"^tqinfo: %1\nTry 'tqinfo --help' for more information.\n$"_s;
    QTest::newRow("A missing path is reported and the others are still shown") << u"--json nope notes.txt"_s << 1
        << uR"(^\{"path":"[^"]+/notes\.txt".*\}\n$)"_s << u"^tqinfo: nope: No such file or directory\n$"_s << 1;
    QTest::newRow("A file named as a folder is not one, though its item would be the file")
        << u"--json "_s + m_dir.path() + u"/notes.txt/ photo.jpg"_s << 1 << uR"(^\{"path":"[^"]+/photo\.jpg".*\}\n$)"_s
        << u"^tqinfo: .*/notes.txt/: Not a directory\n$"_s << 1;
    // The table: a heading, then the whole path and the values, one row a file in the order given.
    QTest::newRow("A table of the chosen keys") << u"--keys kindString,uti folder dangling"_s << 0
        << uR"(^path +kindString +uti\n/\S+/folder +folder +public\.folder\n/\S+/dangling +symbolic link +public\.symlink\n$)"_s
        << QString() << 1;
    QTest::newRow("Listing a file gives its reason") << u"--json --list notes.txt"_s << 1 << u"^$"_s << u"^tqinfo: notes.txt: Not a directory\n$"_s << 1;
    QTest::newRow("and no heading over nothing") << u"--list notes.txt"_s << 1 << u"^$"_s << u"^tqinfo: notes.txt: Not a directory\n$"_s << 1;
    QTest::newRow("No path is a usage error") << u"--json"_s << 2 << u"^$"_s << usage.arg(u"no path given"_s) << 1;
    QTest::newRow("An unknown option is a usage error") << u"--frobnicate notes.txt"_s << 2 << u"^$"_s << usage.arg(u".*frobnicate.*"_s) << 1;
    QTest::newRow("An unknown key gets a hint and the known keys") << u"--keys displayname notes.txt"_s << 2 << u"^$"_s
        << usage.arg(uR"(unknown key 'displayname' \(did you mean 'displayName'\?\); known keys: .*modificationDate.*)"_s) << 1;
    QTest::newRow("Sorting needs a listing") << u"--sort 1 notes.txt"_s << 2 << u"^$"_s << usage.arg(u".*need --list"_s) << 1;
    QTest::newRow("Excluding folders needs a filter to add to") << u"--list . --filter 9 --exclude-folders"_s << 2 << u"^$"_s
        << usage.arg(u"--exclude-folders needs --filter 0 to 7"_s) << 1;

    QTest::newRow("an orientation is written") << u"--set-orientation 6 turn.jpg"_s << 0 << u"^$"_s << QString() << 6;
    QTest::newRow("a turn counts counter-clockwise from the stated orientation") << u"--rotate 90 turn.jpg"_s << 0 << u"^$"_s << QString() << 8;
    QTest::newRow("a file that is no image fails, the rest is written")
        << u"--rotate 180 folder turn.jpg"_s << 1 << u"^$"_s << u"folder: not a writable JPEG"_s << 3;
    QTest::newRow("a named pipe fails and says what it is") << u"--rotate 180 {pipe} turn.jpg"_s << 1 << u"^$"_s
        << uR"(pipe\.jpg: not a writable JPEG, PNG, TIFF or camera RAW file \(its kind: pipe\))"_s << 3;
    QTest::newRow("an angle off the right angles is a usage error") << u"--rotate 45 turn.jpg"_s << 2 << u"^$"_s << u"multiple of 90"_s << 1;
    QTest::newRow("an orientation out of range is a usage error") << u"--set-orientation 9 turn.jpg"_s << 2 << u"^$"_s << u"from 1 to 8"_s << 1;
    QTest::newRow("properties: an image's, none for a text, a reason for a missing file")
        << u"--properties turn.jpg notes.txt missing.jpg"_s << 1
        << uR"(^\{"path":"[^"]*/turn\.jpg","properties":\{.*"PixelWidth":32.*\}\}\n\{"path":"[^"]*/notes\.txt","properties":null\}\n$)"_s
        << u"missing.jpg: No such file"_s << 1;
    QTest::newRow("a name that is not UTF-8 on the command line") << u"--json --keys displayName,isRealFile odd/bad\\377name"_s << 0
        << u"^\\{\"path\":\"[^\"]*/odd/bad\uFFFDname\",\"displayName\":\"bad\uFFFDname\",\"isRealFile\":true\\}\n$"_s << QString() << 1;
    QTest::newRow("a folder's entry that is not UTF-8") << u"--json --keys displayName,uti --list odd"_s << 0
        << u"^\\{.*\"displayName\":\"bad\uFFFDname\",\"uti\":\"public.data\"\\}\n$"_s << QString() << 1;
    QTest::newRow("the properties of an image named in bytes")
        << u"--properties turn\\377.jpg"_s << 0 << u"^\\{.*\"PixelWidth\":32.*\\}\n$"_s << QString() << 1;
    QTest::newRow("a turn of an image named in bytes") << u"--rotate 90 turn\\377.jpg"_s << 0 << u"^$"_s << QString() << 8;
}

QTEST_GUILESS_MAIN(TestTqinfo)
#include "tst_tqinfo.moc"
