#include "UWStandardFile.h"
#include "tqinfo_output.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMultiMap>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Run
{
    bool finished = false;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    QList<QByteArray> lines() const
    {
        QList<QByteArray> all = out.split('\n');
        if (!all.isEmpty() && all.last().isEmpty())
            all.removeLast();
        return all;
    }
};

// The keys of a JSON object line in the order they are written; QJsonObject hands them back
// sorted. Only for objects whose values hold no objects with the same key names.
QStringList writtenKeys(const QByteArray &line)
{
    QMultiMap<qsizetype, QString> byPosition;
    for (const QString &key : QJsonDocument::fromJson(line).object().keys())
        byPosition.insert(line.indexOf('"' + key.toUtf8() + "\":"), key);
    return byPosition.values();
}

QJsonValue parsed(const QByteArray &json)
{
    return QJsonDocument::fromJson('[' + json + ']').array().at(0);
}

} // namespace

class TestTqinfo : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void jsonLines_data();
    void jsonLines();
    void values_data();
    void values();
    void dates_data();
    void dates();
    void listing();
    void listingOrder_data();
    void listingOrder();
    void exitStatus_data();
    void exitStatus();
    void table_data();
    void table();
    void conversion_data();
    void conversion();
    void cells_data();
    void cells();

private:
    Run run(const QStringList &arguments) const;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QStringList entries() const
    {
        // QDir's own order is no reference: it is the very thing under test.
        QStringList names = QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                                         QDir::Unsorted);
        names.sort();
        return names;
    }

    QTemporaryDir m_dir;
};

void TestTqinfo::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QImage picture(32, 24, QImage::Format_RGB32);
    picture.fill(Qt::red);
    QVERIFY(picture.save(path(QStringLiteral("photo.jpg")), "JPEG"));
    for (const char *name : {"notes.txt", ".hidden-file", "café menu.txt", "file2.txt", "file10.txt", "apple.txt", "Banana.txt"}) {
        QFile file(path(QString::fromUtf8(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("some text\n");
    }
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder")));
    QVERIFY(QFile::link(QStringLiteral("photo.jpg"), path(QStringLiteral("link-to-photo.jpg"))));
    QVERIFY(QFile::link(QStringLiteral("missing"), path(QStringLiteral("dangling"))));
    QVERIFY(QFile::link(QStringLiteral("loop-b"), path(QStringLiteral("loop-a"))));
    QVERIFY(QFile::link(QStringLiteral("loop-a"), path(QStringLiteral("loop-b"))));
    // Linux takes any bytes for a name, and a QString cannot hold this one.
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("odd")));
    const int descriptor = ::open(QFile::encodeName(path(QStringLiteral("odd"))) + "/bad\xffname", O_CREAT | O_WRONLY, 0644);
    QVERIFY(descriptor >= 0);
    ::close(descriptor);
}

void TestTqinfo::cleanupTestCase()
{
    // QTemporaryDir cannot name the file either, and would leave the folder behind.
    ::unlink(QFile::encodeName(path(QStringLiteral("odd"))) + "/bad\xffname");
}

Run TestTqinfo::run(const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(m_dir.path());
    // Reasons come from strerror, which speaks the locale's language.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(TQINFO_PATH), arguments);
    Run result;
    result.finished = process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

void TestTqinfo::jsonLines_data()
{
    QTest::addColumn<QStringList>("keyArguments");
    QTest::addColumn<QStringList>("expectedKeys");

    QStringList all = UWStandardFile::keys();
    all.removeAll(QStringLiteral("path"));
    QTest::newRow("Without --keys every key comes in the library's order") << QStringList{} << all;
    QTest::newRow("Keys come in the order they were asked for")
        << QStringList{QStringLiteral("--keys"), QStringLiteral("isDirectory,uti,displayName")}
        << QStringList{QStringLiteral("isDirectory"), QStringLiteral("uti"), QStringLiteral("displayName")};
    QTest::newRow("A key asked for twice, and path itself, appear once")
        << QStringList{QStringLiteral("--keys"), QStringLiteral("uti, path,uti"), QStringLiteral("--keys"), QStringLiteral("isRealFile")}
        << QStringList{QStringLiteral("uti"), QStringLiteral("isRealFile")};
}

void TestTqinfo::jsonLines()
{
    QFETCH(QStringList, keyArguments);
    QFETCH(QStringList, expectedKeys);

    const QStringList names = {QStringLiteral("photo.jpg"), QStringLiteral("café menu.txt"), QStringLiteral("folder"),
                               QStringLiteral("link-to-photo.jpg"), QStringLiteral("dangling"), QStringLiteral(".hidden-file")};
    const Run result = run(QStringList{QStringLiteral("--json")} + keyArguments + names);
    QVERIFY(result.finished);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.err, QByteArray());
    const QList<QByteArray> lines = result.lines();
    QCOMPARE(lines.size(), names.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(lines.at(i), &error);
        QVERIFY2(error.error == QJsonParseError::NoError && document.isObject(), lines.at(i).constData());
        QCOMPARE(writtenKeys(lines.at(i)), QStringList{QStringLiteral("path")} + expectedKeys);
        QCOMPARE(document.object().value(QStringLiteral("path")).toString(), path(names.at(i)));
    }
}

void TestTqinfo::values_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("expected"); // "{dir}" in a string stands for the folder's URL

    QTest::newRow("A JPEG's type is its identifier") << u"photo.jpg"_qs << u"uti"_qs << QJsonValue(u"public.jpeg"_qs);
    QTest::newRow("A folder is a directory") << u"folder"_qs << u"isDirectory"_qs << QJsonValue(true);
    QTest::newRow("A dot-file is invisible") << u".hidden-file"_qs << u"isInvisible"_qs << QJsonValue(true);
    QTest::newRow("A link's own type is a symlink") << u"link-to-photo.jpg"_qs << u"uti"_qs << QJsonValue(u"public.symlink"_qs);
    QTest::newRow("A link resolves to its target's type") << u"link-to-photo.jpg"_qs << u"resolvedUTI"_qs << QJsonValue(u"public.jpeg"_qs);
    QTest::newRow("A link is no real file") << u"link-to-photo.jpg"_qs << u"isRealFile"_qs << QJsonValue(false);
    QTest::newRow("A link's resolved URL is its target's") << u"link-to-photo.jpg"_qs << u"resolvedURL"_qs << QJsonValue(u"{dir}/photo.jpg"_qs);
    QTest::newRow("A dangling link resolves to itself") << u"dangling"_qs << u"resolvedURL"_qs << QJsonValue(u"{dir}/dangling"_qs);
    QTest::newRow("A URL is percent-encoded") << u"café menu.txt"_qs << u"URL"_qs << QJsonValue(u"{dir}/caf%C3%A9%20menu.txt"_qs);
    QTest::newRow("No label is the number 0") << u"notes.txt"_qs << u"finderLabel"_qs << QJsonValue(0);
}

void TestTqinfo::values()
{
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(QJsonValue, expected);

    if (expected.isString()) {
        const QString dirUrl = QString::fromUtf8(QUrl::fromLocalFile(m_dir.path()).toEncoded());
        expected = expected.toString().replace(u"{dir}"_qs, dirUrl);
    }
    const Run result = run({QStringLiteral("--json"), QStringLiteral("--keys"), key, name});
    QVERIFY(result.finished);
    QCOMPARE(result.exitCode, 0);
    const QJsonValue actual = QJsonDocument::fromJson(result.out).object().value(key);
    QCOMPARE(actual.type(), expected.type());
    QCOMPARE(actual, expected);
}

void TestTqinfo::dates_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("A JPEG") << u"photo.jpg"_qs;
    QTest::newRow("A folder") << u"folder"_qs;
    QTest::newRow("A dangling link, by its own time") << u"dangling"_qs;
}

void TestTqinfo::dates()
{
    QFETCH(QString, name);

    const Run result = run({QStringLiteral("--json"), QStringLiteral("--keys"), QStringLiteral("modificationDate,creationDate"), name});
    QVERIFY(result.finished);
    const QJsonObject object = QJsonDocument::fromJson(result.out).object();
    const QRegularExpression utcWithMs(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"));
    for (const QString &key : {u"modificationDate"_qs, u"creationDate"_qs})
        QVERIFY2(utcWithMs.match(object.value(key).toString()).hasMatch(), qPrintable(object.value(key).toString()));

    struct stat status;
    QCOMPARE(::lstat(QFile::encodeName(path(name)).constData(), &status), 0);
    const qint64 msecs = qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
    const QDateTime written = QDateTime::fromString(object.value(u"modificationDate"_qs).toString(), Qt::ISODateWithMs);
    QCOMPARE(written.toMSecsSinceEpoch(), msecs);
}

void TestTqinfo::listing()
{
    // Relative on purpose: the rows must still name absolute paths.
    const Run result = run({QStringLiteral("--json"), QStringLiteral("--keys"), QStringLiteral("displayName"),
                            QStringLiteral("--list"), QStringLiteral(".")});
    QVERIFY(result.finished);
    QCOMPARE(result.exitCode, 0);
    QStringList listed;
    for (const QByteArray &line : result.lines()) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        const QString name = object.value(u"displayName"_qs).toString();
        QCOMPARE(object.value(u"path"_qs).toString(), path(name));
        listed.append(name);
    }
    QVERIFY(listed.contains(u".hidden-file"_qs));
    listed.sort();
    QCOMPARE(listed, entries());
}

void TestTqinfo::listingOrder_data()
{
    QTest::addColumn<QString>("earlier");
    QTest::addColumn<QString>("later");
    QTest::newRow("Numbers in names compare by value") << u"file2.txt"_qs << u"file10.txt"_qs;
    QTest::newRow("Capitals do not jump ahead of the alphabet") << u"apple.txt"_qs << u"Banana.txt"_qs;
    QTest::newRow("An accented letter sorts with its base letter") << u"café menu.txt"_qs << u"dangling"_qs;
}

void TestTqinfo::listingOrder()
{
    QFETCH(QString, earlier);
    QFETCH(QString, later);

    const Run result = run({QStringLiteral("--json"), QStringLiteral("--keys"), QStringLiteral("displayName"),
                            QStringLiteral("--list"), m_dir.path()});
    QVERIFY(result.finished);
    QStringList listed;
    for (const QByteArray &line : result.lines())
        listed.append(QJsonDocument::fromJson(line).object().value(u"displayName"_qs).toString());
    QVERIFY(listed.contains(earlier) && listed.contains(later));
    QVERIFY2(listed.indexOf(earlier) < listed.indexOf(later), qPrintable(listed.join(u", "_qs)));
}

void TestTqinfo::exitStatus_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("error"); // a pattern for the whole of stderr
    QTest::addColumn<int>("lines");     // on stdout; -1 for any number

    const QString usage = u"^tqinfo: %1\nTry 'tqinfo --help' for more information.\n$"_qs;
    QTest::newRow("An existing file is shown without a word on stderr") << QStringList{u"photo.jpg"_qs} << 0 << u"^$"_qs << 1;
    QTest::newRow("A dangling link exists") << QStringList{u"dangling"_qs} << 0 << u"^$"_qs << 1;
    QTest::newRow("A missing path is reported and the others are still shown")
        << QStringList{u"nope"_qs, u"notes.txt"_qs} << 1 << u"^tqinfo: nope: No such file or directory\n$"_qs << 1;
    QTest::newRow("A file with a trailing slash is not a directory")
        << QStringList{u"notes.txt/"_qs} << 1 << u"^tqinfo: notes.txt/: Not a directory\n$"_qs << 0;
    QTest::newRow("Listing a file gives its reason")
        << QStringList{u"--list"_qs, u"notes.txt"_qs} << 1 << u"^tqinfo: notes.txt: Not a directory\n$"_qs << 0;
    QTest::newRow("Listing a missing folder gives its reason")
        << QStringList{u"--list"_qs, u"nope"_qs} << 1 << u"^tqinfo: nope: No such file or directory\n$"_qs << 0;
    QTest::newRow("Listing a link loop gives its reason")
        << QStringList{u"--list"_qs, u"loop-a"_qs} << 1 << u"^tqinfo: loop-a: Too many levels of symbolic links\n$"_qs << 0;
    QTest::newRow("A name that is not UTF-8 is reported, not mistaken for a missing file")
        << QStringList{u"--list"_qs, u"odd"_qs} << 1 << u"^tqinfo: odd/bad.name: file name is not valid UTF-8\n$"_qs << 0;
    QTest::newRow("An empty folder lists nothing") << QStringList{u"--list"_qs, u"folder"_qs} << 0 << u"^$"_qs << 0;
    QTest::newRow("No path is a usage error") << QStringList{} << 2 << usage.arg(u"no path given"_qs) << 0;
    QTest::newRow("An unknown option is a usage error") << QStringList{u"--frobnicate"_qs, u"notes.txt"_qs} << 2 << usage.arg(u".*frobnicate.*"_qs) << 0;
    QTest::newRow("An empty key list is a usage error") << QStringList{u"--keys"_qs, u""_qs, u"notes.txt"_qs} << 2 << usage.arg(u".*"_qs) << 0;
    QTest::newRow("A trailing comma in the keys is a usage error") << QStringList{u"--keys"_qs, u"uti,"_qs, u"notes.txt"_qs} << 2 << usage.arg(u".*"_qs) << 0;
    QTest::newRow("An unknown key is named with the known ones")
        << QStringList{u"--keys"_qs, u"uti,size"_qs, u"notes.txt"_qs} << 2 << usage.arg(u"unknown key 'size'.*displayName.*modificationDate.*"_qs) << 0;
    QTest::newRow("A key in the wrong case gets a hint")
        << QStringList{u"--keys"_qs, u"displayname"_qs, u"notes.txt"_qs} << 2 << usage.arg(u".*did you mean 'displayName'.*"_qs) << 0;
    QTest::newRow("A listing with another path is a usage error")
        << QStringList{u"--list"_qs, u"folder"_qs, u"notes.txt"_qs} << 2 << usage.arg(u".*"_qs) << 0;
    QTest::newRow("Help is no error") << QStringList{u"--help"_qs} << 0 << u"^$"_qs << -1;
    QTest::newRow("The version is one line") << QStringList{u"--version"_qs} << 0 << u"^$"_qs << 1;
}

void TestTqinfo::exitStatus()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, error);
    QFETCH(int, lines);

    // JSON, so that stdout has exactly one line per item shown.
    const Run result = run(QStringList{u"--json"_qs} + arguments);
    QVERIFY(result.finished);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(QRegularExpression(error).match(QString::fromUtf8(result.err)).hasMatch(), result.err.constData());
    if (lines >= 0)
        QCOMPARE(result.lines().size(), lines);
}

void TestTqinfo::table_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("names");  // the rows' files in order; empty: the folder's entries
    QTest::addColumn<QStringList>("header"); // empty: the default keys, whatever they are

    QTest::newRow("One file") << QStringList{u"photo.jpg"_qs} << QStringList{u"photo.jpg"_qs} << QStringList{};
    const QStringList odd = {u"café menu.txt"_qs, u"link-to-photo.jpg"_qs, u"folder"_qs, u"dangling"_qs};
    QTest::newRow("Names with spaces and accents, links and folders") << odd << odd << QStringList{};
    QTest::newRow("Chosen keys make the columns")
        << QStringList{u"--keys"_qs, u"kindString,uti"_qs, u"photo.jpg"_qs, u"notes.txt"_qs}
        << QStringList{u"photo.jpg"_qs, u"notes.txt"_qs} << QStringList{u"path"_qs, u"kindString"_qs, u"uti"_qs};
    QTest::newRow("A folder listing") << QStringList{u"--list"_qs, u"."_qs} << QStringList{} << QStringList{};
}

void TestTqinfo::table()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, names);
    QFETCH(QStringList, header);

    const Run result = run(arguments);
    QVERIFY(result.finished);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.err, QByteArray());
    const QStringList lines = QString::fromUtf8(result.out).split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), (names.isEmpty() ? entries().size() : names.size()) + 1);

    const QString &heading = lines.first();
    const QStringList columns = heading.split(u' ', Qt::SkipEmptyParts);
    QCOMPARE(columns.first(), u"path"_qs);
    if (!header.isEmpty())
        QCOMPARE(columns, header);
    for (const QString &key : columns.mid(1))
        QVERIFY(UWStandardFile::keys().contains(key));
    QList<qsizetype> starts;
    for (qsizetype i = 1; i < heading.size(); ++i) {
        if (heading.at(i - 1) == u' ' && heading.at(i) != u' ')
            starts.append(i);
    }
    QCOMPARE(starts.size(), columns.size() - 1);

    for (qsizetype row = 1; row < lines.size(); ++row) {
        const QString &line = lines.at(row);
        // The whole path, never shortened.
        if (!names.isEmpty())
            QVERIFY2(line.startsWith(path(names.at(row - 1)) + u"  "_qs), qPrintable(line));
        for (const qsizetype start : std::as_const(starts))
            QVERIFY2(line.size() > start && line.at(start - 1) == u' ' && line.at(start) != u' ', qPrintable(line));
    }
}

void TestTqinfo::conversion_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");

    const QDateTime noon(QDate(2026, 11, 21), QTime(7, 27, 0, 123), Qt::OffsetFromUTC, 7200);
    QTest::newRow("A missing value is null") << QVariant() << QByteArray("null");
    QTest::newRow("A string is escaped") << QVariant(u"say \"hi\"\n"_qs) << QByteArray(R"("say \"hi\"\n")");
    QTest::newRow("A 64-bit count keeps every digit") << QVariant(qint64(9007199254740993)) << QByteArray("9007199254740993");
    QTest::newRow("A small unsigned number is an integer") << QVariant::fromValue(ushort(7)) << QByteArray("7");
    QTest::newRow("An unsigned count past qint64 stays positive") << QVariant::fromValue(quint64(1) << 63) << QByteArray("9.223372036854775808e18");
    QTest::newRow("A float is a number") << QVariant(1.5f) << QByteArray("1.5");
    QTest::newRow("Not a number is null") << QVariant(qQNaN()) << QByteArray("null");
    QTest::newRow("A date in another zone is written in UTC") << QVariant(noon) << QByteArray(R"("2026-11-21T05:27:00.123Z")");
    QTest::newRow("An invalid date is null") << QVariant(QDateTime()) << QByteArray("null");
    QTest::newRow("A URL is encoded") << QVariant(QUrl::fromLocalFile(u"/tmp/a b#c"_qs)) << QByteArray(R"("file:///tmp/a%20b%23c")");
    QTest::newRow("A pixel size has a width and a height") << QVariant(QSize(640, 480)) << QByteArray(R"({"width":640,"height":480})");
    QTest::newRow("A fractional size keeps its fractions") << QVariant(QSizeF(1.5, 2)) << QByteArray(R"({"width":1.5,"height":2})");
    QTest::newRow("An unknown size is null") << QVariant(QSize()) << QByteArray("null");
    QTest::newRow("A list of names is an array") << QVariant(QStringList{u"a"_qs, u"b"_qs}) << QByteArray(R"(["a","b"])");
    QTest::newRow("Each element of a list is converted") << QVariant(QVariantList{1, QVariant(), noon}) << QByteArray(R"([1,null,"2026-11-21T05:27:00.123Z"])");
    QTest::newRow("A map is an object of converted values") << QVariant(QVariantMap{{u"n"_qs, 2}, {u"on"_qs, true}}) << QByteArray(R"({"n":2,"on":true})");
}

void TestTqinfo::conversion()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);

    // Compared as parsed values: neither an object's key order nor the spelling of a number
    // is part of the meaning. Integers parse as integers, so a lost digit still shows.
    const QByteArray written = TQInfo::jsonText(TQInfo::jsonValue(value));
    QCOMPARE(parsed(written).type(), parsed(json).type());
    QCOMPARE(parsed(written), parsed(json));
}

void TestTqinfo::cells_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");

    QTest::newRow("A missing value is a dash") << QVariant() << u"-"_qs << 1;
    QTest::newRow("A size reads as width by height") << QVariant(QSizeF(1.5, 2)) << u"1.5x2"_qs << 5;
    QTest::newRow("A newline in a name cannot break the row") << QVariant(u"a\nb"_qs) << u"a?b"_qs << 3;
    QTest::newRow("A decomposed accent takes no column of its own") << QVariant(u"cafe\u0301"_qs) << u"cafe\u0301"_qs << 4;
    QTest::newRow("Wide letters take two columns each") << QVariant(u"写真.jpg"_qs) << u"写真.jpg"_qs << 8;
}

void TestTqinfo::cells()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);
    QFETCH(int, width);

    QCOMPARE(TQInfo::cellText(value), text);
    QCOMPARE(TQInfo::displayWidth(text), width);
}

QTEST_GUILESS_MAIN(TestTqinfo)
#include "tst_tqinfo.moc"
