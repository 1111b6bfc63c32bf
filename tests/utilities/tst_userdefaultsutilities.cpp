// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQCopyDeep.h"
#include "TQSameTree.h"
#include "TQUserDefaultsUtilities.h"

#include <QColor>
#include <QDataStream>
#include <QDir>
#include <QFont>
#include <QLoggingCategory>
#include <QRect>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

using namespace Qt::StringLiterals;
using namespace TQUserDefaultsUtilities;

namespace {

const QString key = u"viewer/background"_s;

// Every kind of value the archive keeps; together they make the tree damaged archives are cut from.
QList<std::pair<const char *, QVariant>> archivableValues()
{
    QFont extreme(u"Monospace"_s); // every field at the end of the range Qt accepts
    extreme.setPixelSize(10000);
    extreme.setWeight(QFont::Weight(1000));
    extreme.setStretch(4000);
    extreme.setStyleName(u"Book"_s);
    const QDateTime noon(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC);
    return {
        {"numbers and text keep their exact types",
         QVariantList{u"Ünïcødé ✓ 日本"_s, -7, 7u, std::numeric_limits<qint64>::min(),
                      std::numeric_limits<quint64>::max(), QVariant::fromValue(short(-3)), QVariant::fromValue(ushort(3)),
                      true, QChar(u'é'), 0.1, 1.5f, std::numeric_limits<double>::infinity()}},
        {"dates, addresses, identifiers, geometry and colours",
         QVariantList{QDate(1999, 12, 31), QTime(23, 59, 58, 500), noon, noon.toOffsetFromUtc(3600),
                      QUrl(u"file:///tmp/a%20b"_s), QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s),
                      QSize(3, 4), QSizeF(1.5, 2), QPoint(-1, 2), QPointF(0.5, 0.25), QRect(1, 2, 3, 4),
                      QRectF(0.5, 1, 2, 3), QColor(10, 20, 30, 40), QColor::fromHsvF(0.5f, 0.25f, 1.0f), QColor(),
                      QColor::fromRgbF(1.5f, 0.5f, 0.25f), // the last colour model, extended RGB
                      noon.toTimeZone(QTimeZone("UTC+05:30")),
                      noon.toTimeZone(QTimeZone("Custom/Zone", 3600, u"Custom"_s, u"CZ"_s))}},
        {"fonts, up to the largest size",
         QVariantList{QFont(u"DejaVu Sans"_s, 13, QFont::Bold, true), QFont(u"Monospace"_s, 10000), extreme}},
        {"containers nest and null or empty elements keep their places",
         QVariantMap{{u"hash"_s, QVariantHash{{u"x"_s, 1}, {u"y"_s, QVariantList{QByteArray("\0\xff", 2)}}}},
                     {u"list"_s, QVariantList{QVariant(), u"alpha"_s, QString(), u""_s, QByteArray()}},
                     {u"names"_s, QStringList{u"a"_s, u"b"_s, u"a"_s}},
                     {u"set"_s, QVariant::fromValue(QSet<QString>{u"red"_s, u"green"_s})}, {u"empty"_s, QVariantMap{}}}},
    };
}

// Bytes in the stored form, field by field, for archives this library would never write.
QByteArray fields(auto... fields)
{
    QByteArray data;
    QDataStream out(&data, QIODeviceBase::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    ((out << fields), ...);
    return data;
}

QByteArray storedForm(quint8 version, auto... rest) { return "TQKA" + fields(version, rest...); }

QByteArray archived(const QVariant &value)
{
    QVariantMap map;
    setKeyedArchivableObject(map, value, key);
    return map.value(key).toByteArray();
}

QVariant readBack(const QByteArray &data) { return keyedUnarchiveObjectForKey(QVariantMap{{key, data}}, key); }

QVariant nested(int lists, const QVariant &bottom = u"bottom"_s)
{
    QVariant value = bottom;
    for (int i = 0; i < lists; ++i)
        value = QVariantList{value}; // into a QVariant: a braced list of one list is a copy of it to clang
    return value;
}

enum class Text { Shared, Own };

// Text that owns a heap buffer, as text read from a file or typed in does; literals do not.
QString text(const char *utf8) { return QString::fromUtf8(utf8); }

// Where a tree keeps its data: the first element of every non-empty container (a shared
// container hands out the very same element), the characters of string and byte-array
// values, and those of the map keys and set members.
struct Storage
{
    QSet<const void *> containers, texts, keys;
};

void add(QSet<const void *> &storage, const auto &data)
{
    if (!data.isEmpty())
        storage.insert(&*data.cbegin());
}

void collect(const QVariant &value, Storage &storage)
{
    const auto each = [&storage]<typename Container>(const Container &container) {
        add(storage.containers, container);
        for (auto it = container.cbegin(); it != container.cend(); ++it) {
            if constexpr (requires { it.key(); }) {
                add(storage.keys, it.key());
                collect(it.value(), storage);
            } else if constexpr (std::is_same_v<Container, QSet<QString>>) {
                add(storage.keys, *it);
            } else {
                collect(*it, storage);
            }
        }
    };
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap: return each(value.toMap());
    case QMetaType::QVariantHash: return each(value.toHash());
    case QMetaType::QVariantList: return each(value.toList());
    case QMetaType::QStringList: return each(value.toStringList());
    case QMetaType::QString: return add(storage.texts, value.toString());
    case QMetaType::QByteArray: return add(storage.texts, value.toByteArray());
    }
    if (value.metaType() == QMetaType::fromType<QSet<QString>>())
        each(value.value<QSet<QString>>());
}

// What copy gets wrong about source; empty when nothing. Keys and set members are always
// shared unless borrowed; other text per text.
QString problemIn(const QVariant &source, const QVariant &copy, Text text)
{
    Storage original, copied;
    collect(source, original);
    collect(copy, copied);
    if (copy.metaType() != source.metaType() || copy != source)
        return u"the copy differs from its source"_s;
    if (copied.containers.intersects(original.containers))
        return u"a container is shared"_s;
    if (copied.keys != original.keys)
        return u"a key or set member was copied although it could be shared"_s;
    if (text == Text::Own ? copied.texts.intersects(original.texts) : copied.texts != original.texts)
        return text == Text::Own ? u"text shares its characters"_s : u"text was copied although it could be shared"_s;
    return {};
}

} // namespace

class TestUserDefaultsUtilities : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s); }
    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }

    void storesInMapsAndSettingsFiles_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("stored"); // if not, the old value stays
        for (const auto &[name, value] : archivableValues())
            QTest::newRow(name) << value << true;
        QTest::newRow("lists nested as deep as allowed") << nested(256) << true;
        QTest::newRow("a null value stores nothing") << QVariant() << false;
        QTest::newRow("a container the archive does not know stores nothing")
            << QVariant(QVariantMap{{u"a"_s, 1}, {u"b"_s, QVariant::fromValue(QList<int>{1, 2})}}) << false;
        QTest::newRow("lists nested deeper than allowed store nothing") << nested(257) << false;
    }

    void storesInMapsAndSettingsFiles()
    {
        QFETCH(QVariant, value);
        QFETCH(bool, stored);
        const QVariant expected = stored ? value : QVariant(u"old"_s);
        const auto store = [&](auto &target) {
            setKeyedArchivableObject(target, u"old"_s, key);
            if (!stored && value.isValid()) // a null value is no mistake worth a line
                QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^nothing stored under \"viewer/background\" "_s));
            return setKeyedArchivableObject(target, value, key) == stored;
        };
        QVariantMap map;
        QVERIFY(store(map));
        QVERIFY(tqSameTree(keyedUnarchiveObjectForKey(map, key), expected));
        const QTemporaryDir dir;
        const QString path = dir.filePath(u"settings.ini"_s);
        {
            QSettings settings(path, QSettings::IniFormat);
            QVERIFY(store(settings));
        }
        const QSettings reopened(path, QSettings::IniFormat); // an INI file keeps every number as text
        QVERIFY(tqSameTree(keyedUnarchiveObjectForKey(reopened, key), expected));
    }

    void readsNullFromWhatItDidNotWrite_data()
    {
        QTest::addColumn<QVariant>("stored"); // null: the key is missing
        QTest::addColumn<QString>("reason"); // empty: nothing is logged

        const auto row = [](const char *name, const QVariant &stored, const QString &reason) {
            QTest::newRow(name) << stored << reason;
        };
        const QString damaged = u"the archive is cut short or damaged"_s;
        row("a missing key", QVariant(), {});
        row("an empty byte array", QByteArray(), {});
        row("text stored by someone else", u"hello"_s, u"is a QString not an archive"_s);
        row("bytes of another format", QByteArray("\x80\x04\x95 pickled"), u"not an archive of this library"_s);
        row("a later version of the format", storedForm(2, quint8(0)), u"archive format 2 is unknown"_s);
        row("an unknown tag", storedForm(1, quint8(8)), u"unknown tag 8"_s);
        // QFont's setters would complain on stderr about these; its own reader is never used.
        const auto font = [](double points, qint32 weight, quint8 style, qint32 stretch) {
            return storedForm(1, quint8(7), u"Sans"_s, QString(), points, qint32(-1), weight, style, quint8(0), stretch);
        };
        row("a font of weight 0", font(12, 0, 0, 0), u"not a font"_s);
        row("a font of no size", font(-1, 400, 0, 0), u"not a font"_s);
        row("a font of an unknown style", font(12, 400, 3, 0), u"not a font"_s);
        row("a font stretched beyond Qt's range", font(12, 400, 0, 4001), u"not a font"_s);
        row("a font cut short", storedForm(1, quint8(7), u"Sans"_s), damaged);
        // Cut in its last field, what was read is a whole font: the cut must still refuse it.
        row("a font cut in its stretch", font(12, 400, 0, 0).chopped(2), damaged);
        row("a leaf type whose reader trusts its count", storedForm(1, quint8(1), quint32(QMetaType::QVariantList),
            quint32(0xffffffff)), u"value type 9 is not accepted"_s);
        // Qt's readers would take these bytes for enum values out of range, or open the zone name
        // as a file: they are refused before Qt reads them.
        for (const qint8 model : {qint8(6), qint8(-1)})
            QTest::addRow("a colour of unknown model %d", model)
                << QVariant(storedForm(1, quint8(1), quint32(QMetaType::QColor), model, quint64(0), quint16(0)))
                << u"a colour of unknown model %1"_s.arg(model);
        const auto dateTime = [](qint8 timing, auto... rest) {
            const quint32 type = QMetaType::QDateTime;
            return storedForm(1, quint8(1), type, qint64(2460432), quint32(43200000), timing, rest...);
        };
        for (const qint8 timing : {qint8(4), qint8(-1)})
            QTest::addRow("a date and time of unknown timing %d", timing)
                << QVariant(dateTime(timing)) << u"a date and time of unknown time spec %1"_s.arg(timing);
        const QString unknownZone = u"a date and time in a time zone this system does not know"_s;
        // Qt would read "/usr/share/zoneinfo/" + the name: a FIFO there would hang it for ever.
        QFile zone(m_dir.filePath(u"zone"_s));
        QVERIFY(zone.open(QIODevice::WriteOnly) && zone.write("TZif2") == 5);
        row("a zone named by a path out of the zone folder",
            dateTime(qint8(Qt::TimeZone), u"../../.."_s + QDir(m_dir.path()).absoluteFilePath(u"zone"_s)), unknownZone);
        row("a zone name too long for any zone", dateTime(qint8(Qt::TimeZone), u"Europe/"_s.repeated(40)), unknownZone);
        row("a zone name cut short", dateTime(qint8(Qt::TimeZone), quint32(200)) + "\0E\0u", damaged);
        // Each kind of container whose last element is cut short.
        const QByteArray leafCutShort = fields(quint8(1), quint32(QMetaType::Int));
        row("a list cut short", storedForm(1, quint8(2), quint32(1)) + leafCutShort, damaged);
        for (const quint8 tag : {3, 4})
            QTest::addRow("a map or hash (tag %d) cut short", tag)
                << QVariant(storedForm(1, tag, quint32(1), u"k"_s) + leafCutShort) << damaged;
        for (const quint8 tag : {5, 6})
            QTest::addRow("strings (tag %d) cut short", tag)
                << QVariant(storedForm(1, tag, quint32(2), u"a"_s, quint32(200))) << damaged;
        row("a list claiming four billion elements", storedForm(1, quint8(2), quint32(0xffffffff), quint8(0)),
            u"a container claims 4294967295 elements"_s);
        row("bytes after the value", archived(u"fine"_s) + '\0', u"bytes follow the archived value"_s);
        const QByteArray listsOfOne = QByteArray("\x02\0\0\0\x01", 5).repeated(100000);
        row("lists nested a hundred thousand deep", storedForm(1) + listsOfOne + '\0', u"nested deeper than 256 levels"_s);
    }

    void readsNullFromWhatItDidNotWrite()
    {
        QFETCH(QVariant, stored);
        QFETCH(QString, reason);
        const auto line = u"^the (value|archive) under \"viewer/background\" .*"_s + QRegularExpression::escape(reason);
        if (!reason.isEmpty())
            QTest::ignoreMessage(QtDebugMsg, QRegularExpression(line));
        const QVariantMap map = stored.isValid() ? QVariantMap{{key, stored}} : QVariantMap();
        QVERIFY(!keyedUnarchiveObjectForKey(map, key).isValid());
    }

    void damagedArchivesAreRefused()
    {
        QVariantMap tree;
        for (const auto &[name, value] : archivableValues())
            tree.insert(QString::fromUtf8(name), value);
        const QByteArray whole = archived(tree);
        QVERIFY(tqSameTree(readBack(whole), tree));
        // Thousands of refusals would only bury the output; the table above checks the line.
        QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=false"_s);
        const auto restore = qScopeGuard([] { QLoggingCategory::setFilterRules(u"tqkit.utilities.debug=true"_s); });
        for (qsizetype at = 0; at < whole.size(); ++at) {
            QVERIFY2(!readBack(whole.left(at)).isValid(), qPrintable(u"the first %1 bytes were accepted"_s.arg(at)));
            for (const char flip : {'\x01', '\xff'}) {
                QByteArray damaged = whole;
                damaged[at] = char(damaged[at] ^ flip);
                const QVariant read = readBack(damaged);
                QVERIFY2(!read.isValid() || !archived(read).isEmpty(),
                         qPrintable(u"damage at %1 gave a tree no archive holds"_s.arg(at)));
            }
        }
    }

    void copiesShareNoContainer_data()
    {
        QTest::addColumn<QVariant>("source");
        const QVariantList strings{text("alpha"), text("beta")};
        QTest::newRow("map of lists and string lists")
            << QVariant(QVariantMap{{text("list"), strings}, {text("names"), QStringList{text("a"), text("b")}}});
        QTest::newRow("hash nesting a map of byte arrays")
            << QVariant(QVariantHash{{text("inner"), QVariantMap{{text("bytes"), QByteArray("\x01\x02", 2)}}},
                                     {text("text"), text("gamma")}});
        QTest::newRow("set in a list") << QVariant(QVariantList{
            QVariant::fromValue(QSet<QString>{text("red"), text("green")}), QVariantMap{}, strings});
        QTest::newRow("a string on its own") << QVariant(text("delta"));
        QTest::newRow("other values beside a list are kept")
            << QVariant(QVariantList{QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC), qint64(1) << 40, 2.5,
                                     QUrl(u"file:///tmp"_s), QVariant::fromValue(QByteArrayList{"x", "y"}),
                                     QVariant(), true, strings});
    }

    void copiesShareNoContainer()
    {
        QFETCH(QVariant, source);
        // The check must see what a plain copy shares, or passing it would prove nothing.
        QVERIFY(!problemIn(source, QVariant(source), Text::Own).isEmpty());
        const QVariantMap map = source.toMap();
        const QVariantList list = source.toList();
        const std::tuple<const char *, QVariant, QVariant, Text> copies[] = {
            {"copyDeep", source, TQCopyDeep::copyDeep(source), Text::Shared},
            {"copyDeepMutable", source, TQCopyDeep::copyDeepMutable(source), Text::Own},
            {"copyDeep of a map", map, TQCopyDeep::copyDeep(map), Text::Shared},
            {"copyDeepMutable of a map", map, TQCopyDeep::copyDeepMutable(map), Text::Own},
            {"copyDeep of a list", list, TQCopyDeep::copyDeep(list), Text::Shared},
            {"copyDeepMutable of a list", list, TQCopyDeep::copyDeepMutable(list), Text::Own},
        };
        for (const auto &[label, original, copy, text] : copies) {
            const QString problem = problemIn(original, copy, text);
            QVERIFY2(problem.isEmpty(), qPrintable(QString::fromLatin1(label) + u": "_s + problem));
        }
    }

    void copyDeepOwnsBorrowedText()
    {
        const auto tree = [](const QString &string, const QByteArray &bytes) {
            return QVariantMap{{string, QVariantList{string, bytes}}, {text("names"), QStringList{string}},
                               {text("set"), QVariant::fromValue(QSet<QString>{string})}};
        };
        QChar chars[] = {u'a', u'b', u'c'};
        char bytes[] = {'x', 'y', 'z'};
        const QVariantMap source = tree(QString::fromRawData(chars, 3), QByteArray::fromRawData(bytes, 3));
        const QVariantMap copies[] = {TQCopyDeep::copyDeep(source), TQCopyDeep::copyDeepMutable(source)};
        chars[0] = u'Q';
        bytes[0] = 'Q';
        QCOMPARE(source.firstKey(), u"Qbc"_s); // the source did borrow the characters
        for (const QVariantMap &copy : copies)
            QCOMPARE(copy, tree(u"abc"_s, "xyz"));
    }

    void nestingDepth_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("depth");
        QTest::newRow("leaf") << QVariant(text("a")) << 256 << 0;
        QTest::newRow("string list and set are one level each")
            << QVariant(QVariantList{QStringList{text("a")}, QVariant::fromValue(QSet<QString>{text("a")})}) << 256
            << 2;
        const QVariantHash hash{{text("c"), QVariantList{QVariantMap{}}}};
        QTest::newRow("the deepest branch counts") << QVariant(QVariantMap{{text("a"), 1}, {text("b"), hash}}) << 256 << 4;
        QTest::newRow("exactly at the limit") << nested(2, QVariantList{}) << 3 << 3;
        QTest::newRow("one past the limit is limit + 1") << nested(3, QVariantList{}) << 3 << 4;
        QTest::newRow("a hundred thousand levels stop past the limit") << nested(100000, text("bottom")) << 256 << 257;
    }

    void nestingDepth()
    {
        QFETCH(QVariant, value);
        QFETCH(int, limit);
        QTEST(TQCopyDeep::nestingDepth(value, limit), "depth");
    }

    void deepTreesAreRebuiltOnlyWithinTheBound_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("asMaps"); // else lists
        QTest::newRow("lists as deep as the bound") << TQCopyDeep::maximumDepth << false;
        QTest::newRow("maps one deeper share the innermost") << TQCopyDeep::maximumDepth + 1 << true;
        QTest::newRow("lists a hundred thousand deep, stack intact") << 100000 << false;
    }

    void deepTreesAreRebuiltOnlyWithinTheBound()
    {
        QFETCH(int, levels);
        QFETCH(bool, asMaps);
        // Every level holds the next and a string of its own, so each has storage to compare.
        const QString key = text("next");
        QVariant source = text("bottom");
        for (int i = 0; i < levels; ++i)
            source = asMaps ? QVariant(QVariantMap{{key, source}, {text("own"), text("x")}})
                            : QVariant(QVariantList{source, text("x")});
        const auto inner = [&](const QVariant &v) { return asMaps ? v.toMap().value(key) : v.toList().constFirst(); };
        const auto storage = [&](const QVariant &v) -> const void * {
            return asMaps ? static_cast<const void *>(&*v.toMap().cbegin()) : &*v.toList().cbegin();
        };
        for (const QVariant &copy : {TQCopyDeep::copyDeep(source), TQCopyDeep::copyDeepMutable(source)}) {
            QVariant a = source, b = copy;
            for (int level = 1; level <= levels; ++level, a = inner(a), b = inner(b)) {
                QVERIFY2(b.metaType() == a.metaType(), qPrintable(u"level %1 changed its type"_s.arg(level)));
                if ((storage(a) == storage(b)) != (level > TQCopyDeep::maximumDepth))
                    QFAIL(qPrintable(u"level %1 is shared or rebuilt wrongly"_s.arg(level)));
            }
            QCOMPARE(b, QVariant(u"bottom"_s));
        }
    }
};

QTEST_MAIN(TestUserDefaultsUtilities) // fonts need the GUI application
#include "tst_userdefaultsutilities.moc"
