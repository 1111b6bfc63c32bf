// Setting labels on real files in a folder whose file system keeps user extended attributes.

#include "TQFile.h"
#include "UWFinderLabels.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QStandardPaths>
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

// A German table for one label, so that a translated name can be met in a tag list.
class GermanRed : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        return QByteArrayView(context) == "UWStorageKit" && QByteArrayView(source) == "Red" ? u"Rot"_s : QString();
    }
};

// An absent attribute reads as a null array, an empty one as an empty array.
QByteArray attribute(const QString &path, const char *name)
{
    const QByteArray native = QFile::encodeName(path);
    const ssize_t size = ::lgetxattr(native.constData(), name, nullptr, 0);
    if (size < 0)
        return {};
    QByteArray value(size, Qt::Uninitialized);
    return ::lgetxattr(native.constData(), name, value.data(), size_t(size)) == size ? value : QByteArray();
}

bool setAttribute(const QString &path, const char *name, const QByteArray &value)
{
    return ::lsetxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()), 0) == 0;
}

struct Recorder : UWFileObserver
{
    QStringList announced;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { announced << u"will "_s + key.toString(); }
    void fileDidChangeValueForKey(UWStandardFile *file, QStringView key) override
    {
        announced << u"did "_s + key.toString() + u"="_s + file->valueForKey(key).toString();
    }
};

// A FinderInfo record stating label 3 in its colour byte (9), every other bit set, wrapped
// as `name` keeps it; `colourAt` is where the colour byte lands.
QByteArray macRecord(const QByteArray &name, qsizetype *colourAt)
{
    QByteArray info(32, char(0xff));
    info[9] = char(0xf1 | (3 << 1));
    QByteArray before, after;
    if (name == "user.DosStream.AFP_AfpInfo") {
        before = "AFP" + QByteArray(13, '\xff');
        after = QByteArray(12, '\xff');
    } else if (name == "user.org.netatalk.Metadata") {
        // Magic, version, filler, one entry: FinderInfo (9) at offset 38, 32 bytes long.
        before = QByteArray::fromHex("0005160700020000") + QByteArray(16, '\0')
                 + QByteArray::fromHex("0001" "00000009" "00000026" "00000020");
    }
    *colourAt = before.size() + 9;
    return before + info + after;
}

} // namespace

class TestLabelWriting : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void tagLists_data();
    void tagLists();
    void writing_data();
    void writing();
    void macRecords_data();
    void macRecords();
    void refusals_data();
    void refusals();
    void otherToolsSeeTheTags();

private:
    QString freshFile(const QString &name, bool folder = false);

    std::unique_ptr<QTemporaryDir> m_dir;
    GermanRed m_german;
};

void TestLabelWriting::initTestCase()
{
    QVERIFY(QCoreApplication::installTranslator(&m_german));
    // tmpfs before Linux 6.6 keeps no user attributes; the build folder usually does.
    for (const QString &base : {QDir::tempPath(), QCoreApplication::applicationDirPath()}) {
        auto dir = std::make_unique<QTemporaryDir>(base + u"/labels-XXXXXX"_s);
        if (dir->isValid() && QFile(dir->filePath(u"probe"_s)).open(QIODevice::WriteOnly)
            && setAttribute(dir->filePath(u"probe"_s), "user.probe", "1")) {
            m_dir = std::move(dir);
            return;
        }
    }
    QSKIP("Neither the temporary folder nor the build folder keeps user extended attributes");
}

QString TestLabelWriting::freshFile(const QString &name, bool folder)
{
    const QString path = m_dir->filePath(name);
    QDir(path).removeRecursively();
    QFile::remove(path);
    if (folder)
        QDir().mkdir(path);
    else
        QFile(path).open(QIODevice::WriteOnly);
    return path;
}

void TestLabelWriting::tagLists_data()
{
    QTest::addColumn<QByteArray>("tags");
    QTest::addColumn<int>("label");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("the label takes its old tag's place") << "project,Red,todo"_ba << 2 << "project,Green,todo"_ba;
    QTest::newRow("a list without a label gets it last") << "project"_ba << 6 << "project,Red"_ba;
    QTest::newRow("any case is the label's tag") << "RED,x"_ba << 4 << "Blue,x"_ba;
    QTest::newRow("a translated name is the label's tag") << "Rot,x"_ba << 0 << "x"_ba;
    QTest::newRow("every label tag goes, one stays") << "Gray,x,green"_ba << 7 << "Orange,x"_ba;
    QTest::newRow("names like a label's stay") << "Reddish, Red ,x"_ba << 5 << "Reddish,Yellow,x"_ba;
    QTest::newRow("label 0 of the last tag empties the list") << "Red"_ba << 0 << ""_ba;
    QTest::newRow("empty entries go") << ",a,, ,b,"_ba << 0 << "a,b"_ba;
    QTest::newRow("tags that are not UTF-8 stay as they are") << "caf\xe9,Red"_ba << 1 << "caf\xe9,Gray"_ba;
}

void TestLabelWriting::tagLists()
{
    QFETCH(QByteArray, tags);
    QFETCH(int, label);
    QFETCH(QByteArray, expected);
    QCOMPARE(UWFinderLabels::tagsWithLabel(tags, label), expected);
}

void TestLabelWriting::writing_data()
{
    QTest::addColumn<bool>("folder");
    QTest::addColumn<QByteArray>("before"); // null: no attribute
    QTest::addColumn<int>("label");
    QTest::addColumn<QByteArray>("after");

    const QByteArray longList = QByteArray(5000, 'x') + ",Red";
    QTest::newRow("a file without tags") << false << QByteArray() << 3 << "Purple"_ba;
    QTest::newRow("a folder") << true << "work"_ba << 3 << "work,Purple"_ba;
    QTest::newRow("other tags stay") << false << "a,Red,b"_ba << 2 << "a,Green,b"_ba;
    QTest::newRow("label 0 removes the tag") << false << "a,red"_ba << 0 << "a"_ba;
    QTest::newRow("an emptied list removes the attribute") << false << "Red"_ba << 0 << QByteArray();
    QTest::newRow("a list longer than a page") << false << longList << 4 << longList.chopped(3) + "Blue";
}

void TestLabelWriting::writing()
{
    QFETCH(bool, folder);
    QFETCH(QByteArray, before);
    QFETCH(int, label);
    QFETCH(QByteArray, after);

    QString path = freshFile(u"written"_s, folder);
    // ext4 keeps a value in one block; tmpfs (Linux 6.6 and later) takes longer ones.
    QTemporaryDir inMemory(u"/dev/shm/labels-XXXXXX"_s);
    if (!before.isNull() && !setAttribute(path, "user.xdg.tags", before) && errno == ENOSPC) {
        path = inMemory.filePath(u"written"_s);
        if (!QFile(path).open(QIODevice::WriteOnly) || !setAttribute(path, "user.xdg.tags", before))
            QSKIP("No file system here keeps an attribute this long");
    }
    QCOMPARE(attribute(path, "user.xdg.tags"), before);
    const TQFileRef file = TQFile::newFileForPath(path);
    QVERIFY(file->finderLabel() != label); // cached before the change
    Recorder recorder;
    file->addObserver(&recorder);
    QString error;
    QVERIFY2(file->setFinderLabel(label, &error), qPrintable(error));
    file->removeObserver(&recorder);

    QCOMPARE(attribute(path, "user.xdg.tags"), after);
    QCOMPARE(file->finderLabel(), label);
    const QString shown = label ? UWFinderLabels::nameForLabel(label) : QString();
    QCOMPARE(recorder.announced,
             QStringList({u"will finderLabelSortValue"_s, u"will finderLabel"_s, u"will finderLabelTitle"_s,
                          u"did finderLabelTitle="_s + shown, u"did finderLabel="_s + QString::number(label),
                          u"did finderLabelSortValue="_s + shown}));
}

void TestLabelWriting::macRecords_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("label");

    for (const QByteArray &name : {"user.com.apple.FinderInfo"_ba, "user.DosStream.AFP_AfpInfo"_ba,
                                  "user.org.netatalk.Metadata"_ba}) {
        QTest::addRow("%s loses its label", name.constData()) << name << 0;
        QTest::addRow("%s follows a new label", name.constData()) << name << 6;
    }
}

void TestLabelWriting::macRecords()
{
    QFETCH(QByteArray, name);
    QFETCH(int, label);

    const QString path = freshFile(u"from-a-mac"_s);
    qsizetype colourAt = 0;
    QByteArray record = macRecord(name, &colourAt);
    QVERIFY(setAttribute(path, name.constData(), record));
    QCOMPARE(UWFinderLabels::labelForPath(path), 3);
    QString error;
    QVERIFY2(UWFinderLabels::setLabelForPath(path, label, &error), qPrintable(error));
    QCOMPARE(UWFinderLabels::labelForPath(path), label);
    // Only the three colour bits changed.
    record[colourAt] = char(0xf1 | (label << 1));
    QCOMPARE(attribute(path, name.constData()).toHex(), record.toHex());
}

void TestLabelWriting::refusals_data()
{
    QTest::addColumn<QString>("kind");
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

void TestLabelWriting::refusals()
{
    QFETCH(QString, kind);
    QFETCH(int, label);
    QFETCH(QString, reason);
    QFETCH(bool, warned);

    const QString target = freshFile(u"target"_s);
    QVERIFY(setAttribute(target, "user.xdg.tags", "x,Red"));
    const bool ours = !kind.startsWith(u'/');
    QString path = ours ? m_dir->filePath(kind) : kind;
    if (ours)
        QFile::remove(path);
    bool immutable = false;
    const auto unlock = qScopeGuard([&] {
        int flags = 0;
        const int fd = ::open(QFile::encodeName(target).constData(), O_RDONLY);
        if (immutable && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags &= ~FS_IMMUTABLE_FL;
            ::ioctl(fd, FS_IOC_SETFLAGS, &flags);
        }
        ::close(fd);
    });
    if (kind == u"pipe") {
        QVERIFY(::mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
    } else if (kind == u"link") {
        QVERIFY(QFile::link(u"target"_s, path));
    } else if (kind == u"locked" || kind == u"plain") {
        path = target;
        if (kind == u"locked") {
            QVERIFY(QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::ReadOther));
            // The superuser writes anyway, except to a file marked immutable.
            if (::geteuid() == 0) {
                const int fd = ::open(QFile::encodeName(target).constData(), O_RDONLY);
                int flags = 0;
                immutable = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0
                            && (flags |= FS_IMMUTABLE_FL, ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0);
                ::close(fd);
                if (!immutable)
                    QSKIP("Running as the superuser on a file system that cannot mark a file immutable");
            }
        }
    }

    if (warned) {
        const QString pattern = u"^Not setting the label of "_s + QRegularExpression::escape(path) + u": .*"_s
                                + QRegularExpression::escape(reason);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(pattern));
    }
    const UWStandardFileRef file = UWStandardFile::newFileForPath(path);
    QString error;
    QVERIFY(!file->setFinderLabel(label, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QCOMPARE(attribute(target, "user.xdg.tags"), "x,Red"_ba);
    if (ours && path != target)
        QFile::remove(path);
}

void TestLabelWriting::otherToolsSeeTheTags()
{
    const QString python = QStandardPaths::findExecutable(u"python3"_s);
    if (python.isEmpty())
        QSKIP("python3 is not installed");
    const QString path = freshFile(u"shared"_s);
    // Another program's list, in its own spelling, then a label on top of it and read back there.
    const QString script = u"import os, sys\n"
                           "os.setxattr(sys.argv[1], 'user.xdg.tags', b'holiday,orange')\n"
                           "input()\n"
                           "sys.stdout.buffer.write(os.getxattr(sys.argv[1], 'user.xdg.tags'))\n"_s;
    QProcess process;
    process.start(python, {u"-c"_s, script, path});
    QVERIFY(process.waitForStarted());
    QTRY_COMPARE(attribute(path, "user.xdg.tags"), "holiday,orange"_ba);
    QCOMPARE(UWFinderLabels::labelForPath(path), 7);
    QVERIFY(UWFinderLabels::setLabelForPath(path, 4));
    process.write("\n");
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.readAllStandardOutput(), "holiday,Blue"_ba);
}

QTEST_GUILESS_MAIN(TestLabelWriting)
#include "tst_labelwriting.moc"
