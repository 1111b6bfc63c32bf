#include "TQUserDefaultsUtilities.h"

#include <QColor>
#include <QDataStream>
#include <QIODevice>
#include <QDateTime>
#include <QLoggingCategory>
#include <QRect>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QUuid>

#include <limits>

using namespace Qt::StringLiterals;
using namespace TQUserDefaultsUtilities;

namespace {

const QString key = u"viewer/background"_s;
const QSettings::Format formats[] = {QSettings::IniFormat, QSettings::NativeFormat};

struct Opaque
{
    int value = 0;
};

QVariant nestedLists(int depth)
{
    QVariant value = u"bottom"_s;
    for (int i = 0; i < depth; ++i)
        value = QVariantList{value};
    return value;
}

// Values of every kind the archive keeps, each with the name of its test row; together they
// make one tree for the tests of damaged archives.
QList<std::pair<const char *, QVariant>> archivableValues()
{
    const QVariantList strings{u"alpha"_s, QString(), u""_s, QByteArray()};
    return {
        {"text outside Latin-1 comes back whole", u"Ünïcødé ✓ 日本"_s},
        {"integers keep their exact types",
         QVariantList{-7, 7u, std::numeric_limits<qint64>::min(), std::numeric_limits<quint64>::max(),
                      QVariant::fromValue(short(-3)), QVariant::fromValue(ushort(3)), true, QChar(u'é')}},
        {"floating-point numbers keep their type and value",
         QVariantList{0.1, 1.5f, -0.0, std::numeric_limits<double>::infinity()}},
        {"dates, times, addresses and identifiers",
         QVariantList{QDate(1999, 12, 31), QTime(23, 59, 58, 500), QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC),
                      QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::OffsetFromUTC, 3600), QUrl(u"file:///tmp/a%20b"_s),
                      QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s)}},
        {"geometry and colours",
         QVariantList{QSize(3, 4), QSizeF(1.5, 2), QPoint(-1, 2), QPointF(0.5, 0.25), QRect(1, 2, 3, 4),
                      QRectF(0.5, 1, 2, 3), QColor(10, 20, 30, 40), QColor::fromHsvF(0.5f, 0.25f, 1.0f), QColor()}},
        {"a map nesting a hash, lists and byte arrays",
         QVariantMap{{u"hash"_s, QVariantHash{{u"x"_s, 1}, {u"y"_s, QVariantList{QByteArray("\0\xff", 2)}}}},
                     {u"list"_s, strings}, {u"empty"_s, QVariantMap{}}}},
        {"string lists and sets of strings",
         QVariantList{QStringList{u"a"_s, u"b"_s, u"a"_s}, QVariant::fromValue(QSet<QString>{u"red"_s, u"green"_s})}},
        {"null and empty elements keep their places", QVariantList{QVariant(), strings, QVariant()}},
    };
}

// Same values and the same type at every node: QVariant's own comparison takes 1 and 1.0
// for equal.
bool sameTree(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    switch (a.metaType().id()) {
    case QMetaType::QVariantList: {
        const QVariantList x = a.toList(), y = b.toList();
        return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), sameTree);
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        const QVariantHash x = a.toHash(), y = b.toHash();
        if (x.size() != y.size())
            return false;
        for (auto it = x.cbegin(); it != x.cend(); ++it) {
            if (!y.contains(it.key()) || !sameTree(it.value(), y.value(it.key())))
                return false;
        }
        return true;
    }
    default:
        return a == b;
    }
}

// Bytes in the stored form, field by field, for archives this library would never write.
template<typename... Fields>
QByteArray storedForm(quint8 version, Fields... fields)
{
    QByteArray data;
    QDataStream out(&data, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out.writeRawData("TQKA", 4);
    out << version;
    ((out << fields), ...);
    return data;
}

QByteArray archived(const QVariant &value)
{
    QVariantMap map;
    setKeyedArchivableObject(map, value, key);
    return map.value(key).toByteArray();
}

void expectRefusal(const QString &reason = QString())
{
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^the (value|archive) under \"viewer/background\" .*"_s
                                                        + QRegularExpression::escape(reason)));
}

} // namespace

class TestUserDefaultsUtilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void roundTrip_data();
    void roundTrip();
    void nothingToStoreKeepsTheOldValue_data();
    void nothingToStoreKeepsTheOldValue();
    void refusesWhatItDidNotWrite_data();
    void refusesWhatItDidNotWrite();
    void everyTruncationIsRefused();
    void damagedBytesGiveNullOrAnArchivableTree();
};

void TestUserDefaultsUtilities::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s);
}

void TestUserDefaultsUtilities::init()
{
    QTest::failOnWarning(QRegularExpression(u".*"_s));
}

void TestUserDefaultsUtilities::roundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    for (const auto &[name, value] : archivableValues())
        QTest::newRow(name) << value;
    QTest::newRow("lists nested as deep as allowed") << nestedLists(256);
}

void TestUserDefaultsUtilities::roundTrip()
{
    QFETCH(QVariant, value);

    QVariantMap map;
    QVERIFY(setKeyedArchivableObject(map, value, key));
    QVERIFY(sameTree(keyedUnarchiveObjectForKey(map, key), value));

    const QTemporaryDir dir;
    for (const QSettings::Format format : formats) {
        const QString path = dir.filePath(u"settings-%1.conf"_s.arg(format));
        {
            QSettings settings(path, format);
            QVERIFY(setKeyedArchivableObject(settings, value, key));
        }
        const QSettings reopened(path, format);
        QCOMPARE(reopened.status(), QSettings::NoError);
        const QVariant read = keyedUnarchiveObjectForKey(reopened, key);
        QCOMPARE(read, value);
        QVERIFY(sameTree(read, value));
    }
}

void TestUserDefaultsUtilities::nothingToStoreKeepsTheOldValue_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("logged");

    QTest::newRow("a null value stores nothing, silently") << QVariant() << false;
    QTest::newRow("a type the archive does not know") << QVariant::fromValue(Opaque{}) << true;
    QTest::newRow("a map holding a container the archive does not know")
        << QVariant(QVariantMap{{u"a"_s, 1}, {u"b"_s, QVariant::fromValue(QList<int>{1, 2})}}) << true;
    QTest::newRow("lists nested deeper than allowed") << nestedLists(257) << true;
}

void TestUserDefaultsUtilities::nothingToStoreKeepsTheOldValue()
{
    QFETCH(QVariant, value);
    QFETCH(bool, logged);
    const QVariant old = u"old"_s;

    QVariantMap map;
    QVERIFY(setKeyedArchivableObject(map, old, key));
    if (logged)
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^nothing stored under \"viewer/background\" because "_s));
    QVERIFY(!setKeyedArchivableObject(map, value, key));
    QCOMPARE(keyedUnarchiveObjectForKey(map, key), old);

    const QTemporaryDir dir;
    for (const QSettings::Format format : formats) {
        const QString path = dir.filePath(u"settings-%1.conf"_s.arg(format));
        {
            QSettings settings(path, format);
            QVERIFY(setKeyedArchivableObject(settings, old, key));
            if (logged)
                QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^nothing stored under "_s));
            QVERIFY(!setKeyedArchivableObject(settings, value, key));
        }
        QCOMPARE(keyedUnarchiveObjectForKey(QSettings(path, format), key), old);
    }
}

void TestUserDefaultsUtilities::refusesWhatItDidNotWrite_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("reason");

    QTest::newRow("text stored by someone else") << QVariant(u"hello"_s) << u"not an archive"_s;
    QTest::newRow("a number stored by someone else") << QVariant(42) << u"not an archive"_s;
    QTest::newRow("bytes of another format")
        << QVariant(QByteArray("\x80\x04\x95 pickled")) << u"not an archive of this library"_s;
    QTest::newRow("a later version of the format")
        << QVariant(storedForm(2, quint8(0))) << u"archive format 2 is unknown"_s;
    QTest::newRow("an unknown tag") << QVariant(storedForm(1, quint8(7))) << u"unknown tag 7"_s;
    QTest::newRow("a leaf whose reader reserves what its count claims")
        << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QVariantList), quint32(0xffffffff)))
        << u"value type 9 is not accepted"_s;
    QTest::newRow("a leaf that needs a running GUI")
        << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QPixmap), quint32(0))) << u"value type 4097 is not accepted"_s;
    QTest::newRow("a list claiming four billion elements")
        << QVariant(storedForm(1, quint8(2), quint32(0xffffffff), quint8(0))) << u"a container claims 4294967295 elements"_s;
    QTest::newRow("a set claiming more strings than its bytes hold")
        << QVariant(storedForm(1, quint8(6), quint32(3), u"a"_s)) << u"a container claims 3 elements"_s;
    QTest::newRow("a string with an odd number of bytes")
        << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QString), quint32(3), quint8('a'), quint8(0), quint8('b')))
        << u"cut short or damaged"_s;
    QTest::newRow("a colour of an unknown model")
        << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QColor), qint8(99), quint16(0), quint16(0),
                               quint16(0), quint16(0), quint16(0))) << u"a colour of unknown model"_s;
    QTest::newRow("bytes after the value")
        << QVariant(archived(u"fine"_s) + '\0') << u"bytes follow the archived value"_s;

    QByteArray deep = storedForm(1);
    for (int i = 0; i < 100000; ++i)
        deep += QByteArray("\x02\x00\x00\x00\x01", 5);
    QTest::newRow("lists nested a hundred thousand deep") << QVariant(deep + '\0') << u"nested deeper than 256 levels"_s;
}

void TestUserDefaultsUtilities::refusesWhatItDidNotWrite()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, reason);

    expectRefusal(reason);
    QVERIFY(!keyedUnarchiveObjectForKey(QVariantMap{{key, stored}}, key).isValid());

    const QTemporaryDir dir;
    for (const QSettings::Format format : formats) {
        const QString path = dir.filePath(u"settings-%1.conf"_s.arg(format));
        QSettings(path, format).setValue(key, stored);
        expectRefusal(reason);
        QVERIFY(!keyedUnarchiveObjectForKey(QSettings(path, format), key).isValid());
    }
}

void TestUserDefaultsUtilities::everyTruncationIsRefused()
{
    QVariantMap tree;
    for (const auto &[name, value] : archivableValues())
        tree.insert(QString::fromUtf8(name), value);
    const QByteArray whole = archived(tree);
    QVERIFY(!whole.isEmpty());

    QVERIFY(!keyedUnarchiveObjectForKey(QVariantMap{{key, QByteArray()}}, key).isValid());
    for (qsizetype length = 1; length < whole.size(); ++length) {
        expectRefusal();
        QVERIFY2(!keyedUnarchiveObjectForKey(QVariantMap{{key, whole.left(length)}}, key).isValid(),
                 qPrintable(u"the first %1 bytes were accepted"_s.arg(length)));
    }
}

void TestUserDefaultsUtilities::damagedBytesGiveNullOrAnArchivableTree()
{
    QVariantList tree;
    for (const auto &entry : archivableValues())
        tree.append(entry.second);
    const QByteArray whole = archived(tree);
    QVERIFY(!whole.isEmpty());

    // Thousands of refusals would only bury the output; the other tests check the line.
    QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=false"_s);
    const auto restore = qScopeGuard([] { QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s); });

    int refused = 0;
    for (qsizetype at = 0; at < whole.size(); ++at) {
        for (const char flip : {'\x01', '\x80', '\xff'}) {
            QByteArray damaged = whole;
            damaged[at] = char(damaged[at] ^ flip);
            const QVariant read = keyedUnarchiveObjectForKey(QVariantMap{{key, damaged}}, key);
            if (!read.isValid())
                ++refused;
            else
                QVERIFY2(!archived(read).isEmpty(), qPrintable(u"damage at byte %1 gave a tree no archive holds"_s.arg(at)));
        }
    }
    QVERIFY(refused > 0);
}

QTEST_GUILESS_MAIN(TestUserDefaultsUtilities)
#include "tst_userdefaultsutilities.moc"
