// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Setting labels on real files in a folder whose file system keeps user extended attributes.

#include "TQFile.h"
#include "UWFinderLabels.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// A German name for one label, so that a translated name can be met in a tag list.
struct GermanRed : QTranslator
{
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        return QByteArrayView(context) == "UWStorageKit" && QByteArrayView(source) == "Red" ? u"Rot"_s : QString();
    }
};

// An absent attribute reads as a null array.
QByteArray attribute(const QString &path, const char *name = "user.xdg.tags")
{
    QByteArray value(65536, Qt::Uninitialized);
    const ssize_t size = ::lgetxattr(QFile::encodeName(path).constData(), name, value.data(), size_t(value.size()));
    return size < 0 ? QByteArray() : value.left(size);
}

bool setAttribute(const QString &path, const QByteArray &value, const char *name = "user.xdg.tags")
{
    return ::lsetxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()), 0) == 0;
}

// Sets or clears the immutable flag, which stops even the superuser; false where it can't.
bool setImmutable(const QString &path, bool on)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    int flags = 0;
    const bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0
                      && (flags = on ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL,
                          ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0);
    ::close(fd);
    return done;
}

struct Recorder : UWFileObserver
{
    QStringList seen;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { seen << key.toString(); }
    void fileDidChangeValueForKey(UWStandardFile *file, QStringView key) override
    {
        seen << key.toString() + u'=' + file->valueForKey(key).toString();
    }
};

} // namespace

class TestLabelWriting : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(QCoreApplication::installTranslator(&m_german));
        // tmpfs before Linux 6.6 keeps no user attributes; the build folder usually does.
        for (const QString &base : {QDir::tempPath(), QCoreApplication::applicationDirPath()}) {
            m_dir = std::make_unique<QTemporaryDir>(base + u"/labels-XXXXXX"_s);
            if (m_dir->isValid() && setAttribute(fresh(u"probe"_s), "1"))
                return;
        }
        QSKIP("Neither the temporary folder nor the build folder keeps user extended attributes");
    }

    void writing_data()
    {
        QTest::addColumn<bool>("folder");
        QTest::addColumn<QByteArray>("before"); // null: no attribute
        QTest::addColumn<int>("label");
        QTest::addColumn<QByteArray>("after");

        const QByteArray longList = QByteArray(5000, 'x') + ",Red";
        QTest::newRow("a file without tags") << false << QByteArray() << 3 << "Purple"_ba;
        QTest::newRow("a folder") << true << "work"_ba << 3 << "work,Purple"_ba;
        QTest::newRow("the label takes its old tag's place") << false << "a,Red,b"_ba << 2 << "a,Green,b"_ba;
        QTest::newRow("any case is the label's tag") << false << "RED,x"_ba << 4 << "Blue,x"_ba;
        QTest::newRow("a translated name is the label's tag") << false << "Rot,x"_ba << 0 << "x"_ba;
        QTest::newRow("every label tag goes, one stays") << false << "Gray,x,green"_ba << 7 << "Orange,x"_ba;
        QTest::newRow("names like a label's stay") << false << "Reddish, Red ,x"_ba << 5 << "Reddish,Yellow,x"_ba;
        QTest::newRow("empty entries go") << false << ",a,, ,b,Red"_ba << 0 << "a,b"_ba;
        QTest::newRow("tags that are not UTF-8 stay") << false << "caf\xe9,Red"_ba << 1 << "caf\xe9,Gray"_ba;
        QTest::newRow("an emptied list removes the attribute") << false << "Red"_ba << 0 << QByteArray();
        QTest::newRow("a list longer than a page") << false << longList << 4 << longList.chopped(3) + "Blue";
    }

    void writing()
    {
        QFETCH(bool, folder);
        QFETCH(QByteArray, before);
        QFETCH(int, label);

        QString path = fresh(u"written"_s, folder);
        // ext4 keeps a value in one block; tmpfs (Linux 6.6 and later) takes longer ones.
        QTemporaryDir inMemory(u"/dev/shm/labels-XXXXXX"_s);
        if (!before.isNull() && !setAttribute(path, before) && errno == ENOSPC) {
            path = inMemory.filePath(u"written"_s);
            if (!QFile(path).open(QIODevice::WriteOnly) || !setAttribute(path, before))
                QSKIP("No file system here keeps an attribute this long");
        }
        QCOMPARE(attribute(path), before);
        const TQFileRef file = TQFile::newFileForPath(path);
        QVERIFY(file->finderLabel() != label); // cached before the change
        Recorder recorder;
        file->addObserver(&recorder);
        QString error;
        QVERIFY2(file->setFinderLabel(label, &error), qPrintable(error));
        file->removeObserver(&recorder);

        QTEST(attribute(path), "after");
        QCOMPARE(file->finderLabel(), label);
        const QString name = label ? UWFinderLabels::nameForLabel(label) : QString();
        QCOMPARE(recorder.seen, QStringList({u"finderLabelSortValue"_s, u"finderLabel"_s, u"finderLabelTitle"_s,
                                             u"finderLabelTitle="_s + name, u"finderLabel=%1"_s.arg(label),
                                             u"finderLabelSortValue="_s + name}));
    }

    void macRecords_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("before"); // what comes before the FinderInfo record
        QTest::addColumn<int>("label");

        const QByteArray afp = "AFP" + QByteArray(13, '\xff');
        // Magic, version, filler, one entry: FinderInfo (9) at offset 38, 32 bytes long.
        const QByteArray netatalk = QByteArray::fromHex("0005160700020000") + QByteArray(16, '\0')
                                    + QByteArray::fromHex("0001" "00000009" "00000026" "00000020");
        for (int label : {0, 6}) {
            QTest::addRow("FinderInfo to %d", label) << "user.com.apple.FinderInfo"_ba << QByteArray() << label;
            QTest::addRow("Samba's record to %d", label) << "user.DosStream.AFP_AfpInfo"_ba << afp << label;
            QTest::addRow("Netatalk's record to %d", label) << "user.org.netatalk.Metadata"_ba << netatalk << label;
        }
    }

    void macRecords()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, before);
        QFETCH(int, label);

        // A record stating label 3 in its colour byte (9), every other bit set.
        QByteArray record = before + QByteArray(32, '\xff') + QByteArray(12, '\xff');
        const qsizetype colour = before.size() + 9;
        record[colour] = char(0xf1 | (3 << 1));
        const QString path = fresh(u"from-a-mac"_s);
        QVERIFY(setAttribute(path, record, name.constData()));
        QCOMPARE(UWFinderLabels::labelForPath(path), 3);
        QString error;
        QVERIFY2(UWFinderLabels::setLabelForPath(path, label, &error), qPrintable(error));
        QCOMPARE(UWFinderLabels::labelForPath(path), label);
        record[colour] = char(0xf1 | (label << 1)); // the colour bits and nothing else
        QCOMPARE(attribute(path, name.constData()).toHex(), record.toHex());
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("kind"); // a name in the folder, or a path elsewhere
        QTest::addColumn<int>("label");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<bool>("warned");

        QTest::newRow("a named pipe") << u"pipe"_s << 2 << u"it is a named pipe"_s << true;
        QTest::newRow("a link to a file") << u"link"_s << 2 << u"it is a symbolic link"_s << true;
        QTest::newRow("a file that may not be changed") << u"locked"_s << 0 << u"not allowed to change its attributes"_s << true;
        QTest::newRow("a file system without user attributes")
            << u"/proc/self/status"_s << 2 << u"does not keep user extended attributes"_s << true;
        QTest::newRow("a missing file") << u"missing"_s << 2 << u"No such file or directory"_s << false;
        QTest::newRow("no such label") << u"plain"_s << 8 << u"there is no label 8"_s << true;
    }

    void refusals()
    {
        QFETCH(QString, kind);
        QFETCH(int, label);
        QFETCH(QString, reason);
        QFETCH(bool, warned);

        const QString target = fresh(u"target"_s);
        QVERIFY(setAttribute(target, "x,Red"));
        const QString path = kind == u"plain" || kind == u"locked" ? target : kind.startsWith(u'/') ? kind : fresh(kind);
        if (kind == u"pipe") {
            QVERIFY(QFile::remove(path) && ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
        } else if (kind == u"link") {
            QVERIFY(QFile::remove(path) && QFile::link(u"target"_s, path));
        } else if (kind == u"missing") {
            QVERIFY(QFile::remove(path));
        } else if (kind == u"locked") {
            QVERIFY(QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::ReadOther));
            // The superuser writes anyway, except to a file marked immutable.
            if (::geteuid() == 0 && !setImmutable(target, true))
                QSKIP("Running as the superuser on a file system that cannot mark a file immutable");
        }
        const auto unlock = qScopeGuard([&] { setImmutable(target, false); });

        if (warned)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Not setting the label of "_s
                                                                  + QRegularExpression::escape(path) + u": .*"_s
                                                                  + QRegularExpression::escape(reason)));
        QString error;
        QVERIFY(!UWStandardFile::newFileForPath(path)->setFinderLabel(label, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        QCOMPARE(attribute(target), "x,Red"_ba);
    }


private:
    QString fresh(const QString &name, bool folder = false)
    {
        const QString path = m_dir->filePath(name);
        QDir(path).removeRecursively();
        QFile::remove(path);
        folder ? QDir().mkdir(path) : QFile(path).open(QIODevice::WriteOnly);
        return path;
    }


    std::unique_ptr<QTemporaryDir> m_dir;
    GermanRed m_german;
};

QTEST_GUILESS_MAIN(TestLabelWriting)
#include "tst_labelwriting.moc"
