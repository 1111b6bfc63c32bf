// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// tqinfo --set-label run as scripts use it, on real files whose tags other programs read.

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// An absent attribute reads as a null array.
QByteArray tagsOf(const QByteArray &path)
{
    QByteArray value(4096, Qt::Uninitialized);
    const ssize_t size = ::lgetxattr(path.constData(), "user.xdg.tags", value.data(), size_t(value.size()));
    return size < 0 ? QByteArray() : value.left(size);
}

bool setTags(const QByteArray &path, const QByteArray &tags)
{
    return ::lsetxattr(path.constData(), "user.xdg.tags", tags.constData(), size_t(tags.size()), 0) == 0;
}

} // namespace

class TestTqinfoLabels : public QObject
{
    Q_OBJECT

private slots:
    void setsLabels_data();
    void setsLabels();
    void helpNamesTheOption();
};

void TestTqinfoLabels::setsLabels_data()
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
    QTest::newRow("no file") << u"--set-label 1"_s << 2 << "x,Purple"_ba << QByteArray() << u"no file given"_s;
}

void TestTqinfoLabels::setsLabels()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, tagsOfA);
    QFETCH(QByteArray, tagsOfB);
    QFETCH(QString, error);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QByteArray a = QFile::encodeName(dir.filePath(u"a"_s));
    // Where b lives depends on the row: its odd name is made from bytes.
    const QByteArray b = QFile::encodeName(dir.filePath(u"b"_s)) + (arguments.contains(u"\\377"_s) ? "\xff" : "");
    for (const QByteArray &path : {a, b}) {
        const int descriptor = ::creat(path.constData(), 0644);
        QVERIFY(descriptor >= 0);
        ::close(descriptor);
    }
    if (!setTags(a, "x,Purple"))
        QSKIP("The temporary folder's file system keeps no user extended attributes");

    // QProcess hands arguments on as UTF-8; the shell's printf makes the bytes.
    QProcess process;
    process.setWorkingDirectory(dir.path());
    process.start(u"/bin/sh"_s, {u"-c"_s, uR"(exec "$0" $(printf -- "$1"))"_s, QStringLiteral(TQINFO_PATH), arguments});
    QVERIFY(process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit);
    const QByteArray err = process.readAllStandardError();
    QCOMPARE(process.exitCode(), exitCode);
    QVERIFY2(error.isEmpty() ? err.isEmpty() : err.contains(error.toUtf8()), err.constData());
    QCOMPARE(tagsOf(a), tagsOfA);
    QCOMPARE(tagsOf(b), tagsOfB);
    ::unlink(b.constData());
}

void TestTqinfoLabels::helpNamesTheOption()
{
    QProcess process;
    process.start(QStringLiteral(TQINFO_PATH), {u"--help"_s});
    QVERIFY(process.waitForFinished(30000));
    const QString help = QString::fromUtf8(process.readAllStandardOutput()).simplified();
    QVERIFY2(help.contains(u"--set-label <N> Gives each FILE (or folder) the Finder label N"_s), qPrintable(help));
}

QTEST_GUILESS_MAIN(TestTqinfoLabels)
#include "tst_tqinfolabels.moc"
