// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQCopyDeep.h"

#include <QDateTime>
#include <QSet>
#include <QTest>
#include <QUrl>

#include <tuple>
#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

enum class Text { Shared, Own };

// Text that owns a heap buffer, as text read from a file or typed in does; literals do not.
QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

// Where a tree keeps its data: the first element of every non-empty container (a container
// shared with another hands out the very same element), the characters of the strings and byte
// arrays held as values, and those of the map keys and set members.
struct Storage
{
    QSet<const void *> containers, texts, keys;
};

template<typename Data>
void add(QSet<const void *> &storage, const Data &data)
{
    if (!data.isEmpty())
        storage.insert(&*data.cbegin());
}

void collect(const QVariant &value, Storage &storage);

template<typename Container>
void collectEach(const Container &container, Storage &storage)
{
    add(storage.containers, container);
    for (auto it = container.cbegin(); it != container.cend(); ++it) {
        if constexpr (requires { it.key(); }) {
            add(storage.keys, it.key());
            collect(it.value(), storage);
        } else if constexpr (std::is_same_v<Container, QSet<QString>>) {
            add(storage.keys, *it);
        } else {
            collect(*it, storage); // a string of a string list shares its characters with the variant
        }
    }
}

void collect(const QVariant &value, Storage &storage)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return collectEach(value.toMap(), storage);
    case QMetaType::QVariantHash:
        return collectEach(value.toHash(), storage);
    case QMetaType::QVariantList:
        return collectEach(value.toList(), storage);
    case QMetaType::QStringList:
        return collectEach(value.toStringList(), storage);
    case QMetaType::QString:
        return add(storage.texts, value.toString());
    case QMetaType::QByteArray:
        return add(storage.texts, value.toByteArray());
    }
    if (value.metaType() == QMetaType::fromType<QSet<QString>>())
        collectEach(value.value<QSet<QString>>(), storage);
}

// What copy gets wrong about source; empty when nothing. Keys and set members are always kept
// as copyDeep keeps them; other text per text.
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

class TestCopyDeep : public QObject
{
    Q_OBJECT

private slots:
    void copiesShareNoContainer_data();
    void copiesShareNoContainer();
    void copyDeepOwnsBorrowedText();
    void nestingDepthCountsContainers_data();
    void nestingDepthCountsContainers();
    void deepTreesAreRebuiltOnlyWithinTheBound_data();
    void deepTreesAreRebuiltOnlyWithinTheBound();
};

void TestCopyDeep::copiesShareNoContainer_data()
{
    QTest::addColumn<QVariant>("source");

    const QVariantList strings{text("alpha"), text("beta")};
    QTest::newRow("a map of lists and string lists is rebuilt at every level")
        << QVariant(QVariantMap{{text("list"), strings}, {text("names"), QStringList{text("a"), text("b")}}});
    QTest::newRow("a hash nesting a map of byte arrays is rebuilt at every level")
        << QVariant(QVariantHash{{text("inner"), QVariantMap{{text("bytes"), QByteArray("\x01\x02", 2)}}},
                                 {text("text"), text("gamma")}});
    QTest::newRow("a set in a list is rebuilt around the same members")
        << QVariant(QVariantList{QVariant::fromValue(QSet<QString>{text("red"), text("green")}), QVariantMap{}, strings});
    QTest::newRow("a string on its own is shared or owned as the copy asks") << QVariant(text("delta"));
    QTest::newRow("other values beside a list are kept as they are")
        << QVariant(QVariantList{QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC), qint64(1) << 40, 2.5,
                                 QUrl(u"file:///tmp"_s), QVariant::fromValue(QByteArrayList{"x", "y"}), QVariant(), true, strings});
}

void TestCopyDeep::copiesShareNoContainer()
{
    QFETCH(QVariant, source);

    // The check must see what a plain copy shares, or passing it would prove nothing.
    QVERIFY(!problemIn(source, QVariant(source), Text::Own).isEmpty());

    // The typed overloads get the source converted to a map and to a list, whatever that makes of it.
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

void TestCopyDeep::copyDeepOwnsBorrowedText()
{
    const auto tree = [](const QString &string, const QByteArray &bytes) {
        return QVariantMap{{string, QVariantList{string, bytes}},
                           {text("names"), QStringList{string}},
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

void TestCopyDeep::nestingDepthCountsContainers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("depth");

    QVariant deep = text("bottom");
    for (int i = 0; i < 100000; ++i)
        deep = QVariantList{deep};
    const QVariant set = QVariant::fromValue(QSet<QString>{text("a")});
    QTest::newRow("a leaf holds no container") << QVariant(text("a")) << 256 << 0;
    QTest::newRow("string lists and sets are one level each, inside a list two")
        << QVariant(QVariantList{QStringList{text("a")}, set}) << 256 << 2;
    QTest::newRow("the deepest branch counts, not the first")
        << QVariant(QVariantMap{{text("a"), 1}, {text("b"), QVariantHash{{text("c"), QVariantList{QVariantMap{}}}}}}) << 256 << 4;
    // Each inner list is wrapped in a QVariant: a braced list of one QVariantList is a copy of
    // it to clang, a list holding it to g++.
    const auto nested = [](int levels) {
        QVariant value = QVariantList{};
        for (int level = 1; level < levels; ++level)
            value = QVariantList{value};
        return value;
    };
    QTest::newRow("exactly at the limit") << nested(3) << 3 << 3;
    QTest::newRow("one past the limit is reported as limit + 1") << nested(4) << 3 << 4;
    QTest::newRow("a hundred thousand levels stop the walk past the limit") << deep << 256 << 257;
}

void TestCopyDeep::nestingDepthCountsContainers()
{
    QFETCH(QVariant, value);
    QFETCH(int, limit);
    QFETCH(int, depth);
    QCOMPARE(TQCopyDeep::nestingDepth(value, limit), depth);
}

void TestCopyDeep::deepTreesAreRebuiltOnlyWithinTheBound_data()
{
    QTest::addColumn<int>("levels");
    QTest::addColumn<bool>("asMaps"); // else lists

    QTest::newRow("lists nested as deep as the bound are rebuilt at every level") << TQCopyDeep::maximumDepth << false;
    QTest::newRow("maps nested one deeper share the innermost container") << TQCopyDeep::maximumDepth + 1 << true;
    QTest::newRow("lists nested a hundred thousand deep are copied without running out of stack") << 100000 << false;
}

void TestCopyDeep::deepTreesAreRebuiltOnlyWithinTheBound()
{
    QFETCH(int, levels);
    QFETCH(bool, asMaps);

    // Each level holds the next and, beside it, a string of its own, so that every level has
    // storage to compare.
    const QString key = text("next");
    QVariant source = text("bottom");
    for (int i = 0; i < levels; ++i) {
        source = asMaps ? QVariant(QVariantMap{{key, source}, {text("own"), text("x")}}) : QVariant(QVariantList{source, text("x")});
    }
    const auto inner = [&](const QVariant &level) {
        return asMaps ? level.toMap().value(key) : level.toList().constFirst();
    };
    const auto storage = [&](const QVariant &level) -> const void * {
        return asMaps ? static_cast<const void *>(&*level.toMap().cbegin()) : &*level.toList().cbegin();
    };

    for (const QVariant &copy : {TQCopyDeep::copyDeep(source), TQCopyDeep::copyDeepMutable(source)}) {
        QVariant a = source, b = copy;
        for (int level = 1; level <= levels; ++level) {
            QVERIFY2(b.metaType() == a.metaType(), qPrintable(u"level %1 changed its type"_s.arg(level)));
            const bool shared = storage(a) == storage(b);
            if (shared != (level > TQCopyDeep::maximumDepth))
                QFAIL(qPrintable(u"level %1 is %2"_s.arg(level).arg(shared ? u"shared"_s : u"rebuilt"_s)));
            a = inner(a);
            b = inner(b);
        }
        QCOMPARE(b, QVariant(u"bottom"_s));
    }
}

QTEST_GUILESS_MAIN(TestCopyDeep)
#include "tst_copydeep.moc"
