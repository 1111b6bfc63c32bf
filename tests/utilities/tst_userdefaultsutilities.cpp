// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQUserDefaultsUtilities.h"

#include <QColor>
#include <QFont>
#include <QDataStream>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QRect>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QTimeZone>
#include <QUuid>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;
using namespace TQUserDefaultsUtilities;

namespace {

const QString key = u"viewer/background"_s;

QFont largestInPixels()
{
    QFont font(u"Monospace"_s);
    font.setPixelSize(10000);
    return font;
}

// Every kind of value the archive keeps, with the names of their test rows; together they
// make the tree the damaged archives are cut from.
QList<std::pair<const char *, QVariant>> archivableValues()
{
    return {
        {"numbers and text keep their exact types",
         QVariantList{u"Ünïcødé ✓ 日本"_s, -7, 7u, std::numeric_limits<qint64>::min(), std::numeric_limits<quint64>::max(),
                      QVariant::fromValue(short(-3)), QVariant::fromValue(ushort(3)), true, QChar(u'é'), 0.1, 1.5f,
                      std::numeric_limits<double>::infinity()}},
        {"dates, addresses, identifiers, geometry and colours come back exactly",
         QVariantList{QDate(1999, 12, 31), QTime(23, 59, 58, 500), QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC),
                      QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::OffsetFromUTC, 3600), QUrl(u"file:///tmp/a%20b"_s),
                      QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s), QSize(3, 4), QSizeF(1.5, 2),
                      QPoint(-1, 2), QPointF(0.5, 0.25), QRect(1, 2, 3, 4), QRectF(0.5, 1, 2, 3), QColor(10, 20, 30, 40),
                      QColor::fromHsvF(0.5f, 0.25f, 1.0f), QColor(),
                      QDateTime(QDate(2024, 5, 1), QTime(12, 0), QTimeZone(u"UTC+05:30"_s.toLatin1())),
                      QDateTime(QDate(2024, 5, 1), QTime(12, 0), QTimeZone("Custom/Zone", 3600, u"Custom"_s, u"CZ"_s))}},
        {"fonts come back as they were described, up to the largest size",
         QVariantList{QFont(u"DejaVu Sans"_s, 13, QFont::Bold, true), QFont(u"Monospace"_s, 10000), largestInPixels()}},
        {"containers nest and null or empty elements keep their places",
         QVariantMap{{u"hash"_s, QVariantHash{{u"x"_s, 1}, {u"y"_s, QVariantList{QByteArray("\0\xff", 2)}}}},
                     {u"list"_s, QVariantList{QVariant(), u"alpha"_s, QString(), u""_s, QByteArray()}},
                     {u"names"_s, QStringList{u"a"_s, u"b"_s, u"a"_s}},
                     {u"set"_s, QVariant::fromValue(QSet<QString>{u"red"_s, u"green"_s})}, {u"empty"_s, QVariantMap{}}}},
    };
}

// Same values and the same type at every node: QVariant's own comparison takes 1 and 1.0
// for equal.
bool sameTree(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    const int type = a.metaType().id();
    if (type == QMetaType::QVariantList) {
        const QVariantList x = a.toList(), y = b.toList();
        return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), sameTree);
    }
    if (type != QMetaType::QVariantMap && type != QMetaType::QVariantHash)
        return a == b;
    const QVariantHash x = a.toHash(), y = b.toHash();
    return x.size() == y.size()
        && std::all_of(x.keyBegin(), x.keyEnd(), [&](const QString &k) { return y.contains(k) && sameTree(x[k], y[k]); });
}

// Bytes in the stored form, field by field, for archives this library would never write.
template<typename... Fields>
QByteArray storedForm(quint8 version, Fields... fields)
{
    QByteArray data;
    QDataStream out(&data, QIODeviceBase::WriteOnly);
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

QVariant readBack(const QByteArray &data)
{
    return keyedUnarchiveObjectForKey(QVariantMap{{key, data}}, key);
}

} // namespace

class TestUserDefaultsUtilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s);
        QFile zone(m_dir.filePath(u"zone"_s));
        QVERIFY(zone.open(QIODevice::WriteOnly) && zone.write("TZif2") == 5);
    }
    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }
    void storesInMapsAndSettingsFiles_data();
    void storesInMapsAndSettingsFiles();
    void readsNullFromWhatItDidNotWrite_data();
    void readsNullFromWhatItDidNotWrite();
    void damagedArchivesAreRefused();

private:
    QTemporaryDir m_dir;
};

void TestUserDefaultsUtilities::storesInMapsAndSettingsFiles_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("stored"); // if not, the old value stays
    const auto nestedLists = [](int depth) {
        QVariant value = u"bottom"_s;
        for (int i = 0; i < depth; ++i)
            value = QVariantList{value};
        return value;
    };
    for (const auto &[name, value] : archivableValues())
        QTest::newRow(name) << value << true;
    QTest::newRow("lists nested as deep as allowed come back") << nestedLists(256) << true;
    QTest::newRow("a null value stores nothing") << QVariant() << false;
    QTest::newRow("a map holding a container the archive does not know stores nothing")
        << QVariant(QVariantMap{{u"a"_s, 1}, {u"b"_s, QVariant::fromValue(QList<int>{1, 2})}}) << false;
    QTest::newRow("lists nested deeper than allowed store nothing") << nestedLists(257) << false;
}

void TestUserDefaultsUtilities::storesInMapsAndSettingsFiles()
{
    QFETCH(QVariant, value);
    QFETCH(bool, stored);
    const QVariant expected = stored ? value : QVariant(u"old"_s);
    const auto store = [&](auto &target) {
        setKeyedArchivableObject(target, u"old"_s, key);
        if (!stored && value.isValid()) // a null value is no mistake worth a line
            QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^nothing stored under \"viewer/background\" because "_s));
        return setKeyedArchivableObject(target, value, key) == stored;
    };

    QVariantMap map;
    QVERIFY(store(map));
    QVERIFY(sameTree(keyedUnarchiveObjectForKey(map, key), expected));

    const QTemporaryDir dir;
    const QString path = dir.filePath(u"settings.ini"_s);
    {
        QSettings settings(path, QSettings::IniFormat);
        QVERIFY(store(settings));
    }
    const QSettings reopened(path, QSettings::IniFormat); // an INI file keeps every number as text
    QVERIFY(sameTree(keyedUnarchiveObjectForKey(reopened, key), expected));
}

void TestUserDefaultsUtilities::readsNullFromWhatItDidNotWrite_data()
{
    QTest::addColumn<QVariant>("stored"); // null: the key is missing
    QTest::addColumn<QString>("reason"); // empty: nothing is logged

    const QByteArray deep = storedForm(1) + QByteArray("\x02\x00\x00\x00\x01", 5).repeated(100000) + '\0'; // lists of one
    const auto row = [](const char *name, const QVariant &stored, const QString &reason) { QTest::newRow(name) << stored << reason; };
    row("a missing key reads as null", QVariant(), {});
    row("an empty byte array reads as null", QByteArray(), {});
    row("text stored by someone else is no archive", u"hello"_s, u"is a QString not an archive"_s);
    row("bytes of another format are refused", QByteArray("\x80\x04\x95 pickled"), u"not an archive of this library"_s);
    row("a later version of the format is refused", storedForm(2, quint8(0)), u"archive format 2 is unknown"_s);
    row("an unknown tag is refused", storedForm(1, quint8(8)), u"unknown tag 8"_s);
    // QFont's setters would complain on stderr about these; its own reader is never used.
    const auto font = [](double points, qint32 pixels, qint32 weight, quint8 style, qint32 stretch) {
        return storedForm(1, quint8(7), u"Sans"_s, QString(), points, pixels, weight, style, quint8(0), stretch);
    };
    row("a font of weight 0 is refused", font(12, -1, 0, 0, 0), u"not a font"_s);
    row("a font of no size is refused", font(-1, -1, 400, 0, 0), u"not a font"_s);
    row("a font of an unknown style is refused", font(12, -1, 400, 3, 0), u"not a font"_s);
    row("a font stretched beyond Qt's range is refused", font(12, -1, 400, 0, 4001), u"not a font"_s);
    row("a font cut short is refused", storedForm(1, quint8(7), u"Sans"_s), u"the archive is cut short or damaged"_s);
    row("a leaf type whose reader trusts its count is refused",
        storedForm(1, quint8(1), quint32(QMetaType::QVariantList), quint32(0xffffffff)), u"value type 9 is not accepted"_s);
    // Qt's readers would take these bytes for enum values out of range, or open the zone name
    // as a file: they are refused before Qt reads them.
    for (const qint8 spec : {qint8(6), qint8(-1)}) {
        QTest::addRow("a colour of unknown model %d is refused", spec)
            << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QColor), spec, quint16(0), quint16(0), quint16(0),
                                   quint16(0), quint16(0)))
            << u"a colour of unknown model %1"_s.arg(int(spec));
    }
    const auto dateTime = [](qint8 spec, auto... rest) {
        return storedForm(1, quint8(1), quint32(QMetaType::QDateTime), qint64(2460432), quint32(43200000), spec, rest...);
    };
    for (const qint8 spec : {qint8(4), qint8(-1)}) {
        QTest::addRow("a date and time of unknown time spec %d is refused", spec)
            << QVariant(dateTime(spec)) << u"a date and time of unknown time spec %1"_s.arg(int(spec));
    }
    const QString unknownZone = u"a date and time in a time zone this system does not know"_s;
    // Qt would read "/usr/share/zoneinfo/" + the name: a FIFO there would hang it for ever.
    const QString planted = QDir(m_dir.path()).absoluteFilePath(u"zone"_s);
    row("a zone named by a path out of the zone folder is refused",
        dateTime(qint8(Qt::TimeZone), u"../../.."_s + planted), unknownZone);
    row("a zone name too long for any zone is refused", dateTime(qint8(Qt::TimeZone), u"Europe/"_s.repeated(40)), unknownZone);
    row("a zone name cut short is refused", dateTime(qint8(Qt::TimeZone), quint32(200)) + "\0E\0u",
        u"the archive is cut short or damaged"_s);
    row("a list claiming four billion elements is refused", storedForm(1, quint8(2), quint32(0xffffffff), quint8(0)),
        u"a container claims 4294967295 elements"_s);
    row("bytes after the value are refused", archived(u"fine"_s) + '\0', u"bytes follow the archived value"_s);
    row("lists nested a hundred thousand deep are refused", deep, u"nested deeper than 256 levels"_s);
}

void TestUserDefaultsUtilities::readsNullFromWhatItDidNotWrite()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, reason);
    if (!reason.isEmpty()) {
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^the (value|archive) under \"viewer/background\" .*"_s
                                                            + QRegularExpression::escape(reason)));
    }
    const QVariantMap map = stored.isValid() ? QVariantMap{{key, stored}} : QVariantMap();
    QVERIFY(!keyedUnarchiveObjectForKey(map, key).isValid());
}

void TestUserDefaultsUtilities::damagedArchivesAreRefused()
{
    QVariantMap tree;
    for (const auto &[name, value] : archivableValues())
        tree.insert(QString::fromUtf8(name), value);
    const QByteArray whole = archived(tree);
    QVERIFY(sameTree(readBack(whole), tree));

    // Thousands of refusals would only bury the output; the table above checks the line.
    QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=false"_s);
    const auto restore = qScopeGuard([] { QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s); });
    for (qsizetype at = 0; at < whole.size(); ++at) {
        QVERIFY2(!readBack(whole.left(at)).isValid(), qPrintable(u"the first %1 bytes were accepted"_s.arg(at)));
        for (const char flip : {'\x01', '\xff'}) {
            QByteArray damaged = whole;
            damaged[at] = char(damaged[at] ^ flip);
            const QVariant read = readBack(damaged);
            QVERIFY2(!read.isValid() || !archived(read).isEmpty(), qPrintable(u"damage at byte %1 gave a tree no archive holds"_s.arg(at)));
        }
    }
}

QTEST_MAIN(TestUserDefaultsUtilities) // fonts need the GUI application
#include "tst_userdefaultsutilities.moc"
