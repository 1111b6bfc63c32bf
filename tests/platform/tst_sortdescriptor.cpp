// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQKeyValueCoding.h"
#include "TQPredicate.h"
#include "TQSortDescriptor.h"

#include <QDateTime>
#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Rows the way a host keeps them: a record with the values under "item".
QVariantList rows(const QList<QVariantMap> &items)
{
    QVariantList list;
    for (const QVariantMap &item : items)
        list.append(QVariantMap{{u"item"_s, item}, {u"position"_s, list.size()}});
    return list;
}

QList<int> positions(const QVariantList &sorted)
{
    QList<int> order;
    for (const QVariant &row : sorted)
        order.append(row.toMap().value(u"position"_s).toInt());
    return order;
}

// An object that counts how many of its kind are alive, so that a test can tell whether a
// subject kept what it was made from.
struct Named : TQKeyValueCoding
{
    Named() { ++alive; }
    ~Named() override { --alive; }
    QVariant valueForKey(QStringView key) const override { return key == u"name" ? u"kept"_s : QVariant(); }
    static inline int alive = 0;
};
using MakeSubject = std::function<TQKeyValueSubject()>;

} // namespace

Q_DECLARE_METATYPE(std::shared_ptr<Named>)

class TestSortDescriptor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TQKeyValueCoding::registerReferenceType<Named>(); }

    void sortsRowsByKeyPaths_data()
    {
        QTest::addColumn<QList<QVariantMap>>("items");
        QTest::addColumn<QList<TQSortDescriptor>>("descriptors");
        QTest::addColumn<QList<int>>("expected");

        using C = TQSortDescriptor::Comparison;
        const auto sizes = [](std::initializer_list<QVariant> values) {
            QList<QVariantMap> items;
            for (const QVariant &value : values)
                items.append({{u"size"_s, value}, {u"name"_s, u"n%1"_s.arg(items.size())}});
            return items;
        };
        const auto by = [](bool ascending, C how = C::Natural) {
            return QList{TQSortDescriptor(u"item.size"_s, ascending, how)};
        };
        QTest::newRow("numbers ascending") << sizes({30, 10, 20}) << by(true) << QList{1, 2, 0};
        QTest::newRow("numbers descending") << sizes({30, 10, 20}) << by(false) << QList{0, 2, 1};
        QTest::newRow("integers and reals compare by value") << sizes({2.5, qint64(2), 3u, 1e10}) << by(true) << QList{1, 0, 2, 3};
        QTest::newRow("sizes beyond 2^53 keep their order")
            << sizes({qint64(1) << 60, (qint64(1) << 60) + 1, qint64(1) << 60}) << by(false) << QList{1, 0, 2};
        constexpr qint64 largest = std::numeric_limits<qint64>::max(); // as a double, both it and one less are 2^63
        QTest::newRow("unsigned sizes up to 2^63 - 1 stay whole") << sizes({quint64(largest), largest - 1}) << by(true) << QList{1, 0};
        const QDateTime t(QDate(2026, 11, 21), QTime(5, 0), Qt::UTC);
        QTest::newRow("dates by time") << sizes({t, t.addSecs(-60), t.addMSecs(1)}) << by(true) << QList{1, 0, 2};
        QTest::newRow("missing values first ascending, last descending")
            << sizes({5, QVariant(), 1, QDateTime(), qQNaN()}) << by(false) << QList{0, 2, 1, 3, 4};
        QTest::newRow("equal values keep their order") << sizes({1, 0, 1, 0, 1}) << by(true) << QList{1, 3, 0, 2, 4};
        const auto texts = sizes({u"b"_s, u"B"_s, u"a10"_s, u"a9"_s});
        QTest::newRow("texts in natural order by code units") << texts << by(true) << QList{1, 2, 3, 0};
        QTest::newRow("texts in name order") << texts << by(true, C::NameOrder) << QList{3, 2, 0, 1};
        QTest::newRow("the second key breaks ties of the first, in its own direction")
            << sizes({1, 2, 1, 2}) << by(true) + QList{TQSortDescriptor(u"item.name"_s, false, C::NameOrder)} << QList{2, 0, 3, 1};
        QTest::newRow("a path that leads nowhere leaves the order")
            << sizes({3, 1, 2}) << QList{TQSortDescriptor(u"item.size.deeper"_s, true)} << QList{0, 1, 2};
        QTest::newRow("no descriptors leave the order") << sizes({3, 1, 2}) << QList<TQSortDescriptor>() << QList{0, 1, 2};
    }

    void sortsRowsByKeyPaths()
    {
        QFETCH(QList<QVariantMap>, items);
        QFETCH(QList<TQSortDescriptor>, descriptors);
        QFETCH(QList<int>, expected);

        QVariantList list = rows(items);
        TQSortDescriptor::sort(list, descriptors);
        QCOMPARE(positions(list), expected);
        // Sorting in pairs agrees with sorting the list.
        for (qsizetype i = 1; i < list.size(); ++i)
            QVERIFY(TQSortDescriptor::compareObject(descriptors, list.at(i - 1), list.at(i)) <= 0);
    }

    void anyComparatorKeepsEveryElement()
    {
        QList<QVariantMap> items;
        for (int i = 0; i < 2000; ++i)
            items.append({{u"n"_s, i}});
        int calls = 0;
        const TQSortDescriptor coinFlip(u"item.n"_s, true, [&calls](const QVariant &, const QVariant &) {
            return (++calls * 2654435761u) & 0x10000 ? 1 : -1;
        });
        QVariantList list = rows(items);
        TQSortDescriptor::sort(list, {coinFlip});
        QList<int> order = positions(list);
        QVERIFY(calls > 0);
        QVERIFY(order != positions(rows(items)));
        std::sort(order.begin(), order.end());
        QCOMPARE(order, positions(rows(items)));
    }

    void predicates_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("written"); // empty: malformed, refused with a warning
        QTest::addColumn<QList<bool>>("results"); // on a hidden file, a visible image, a visible folder

        QTest::newRow("one key") << u"%K == NO"_s << QStringList{u"item.hidden"_s} << u"item.hidden == NO"_s
                                 << QList{false, true, true};
        QTest::newRow("always") << u"TRUEPREDICATE"_s << QStringList() << u"TRUEPREDICATE"_s << QList{true, true, true};
        QTest::newRow("and before or")
            << u"(%K == NO) && ((%K == YES) || (%K == YES))"_s << QStringList{u"item.hidden"_s, u"item.image"_s, u"item.folder"_s}
            << u"item.hidden == NO AND (item.image == YES OR item.folder == YES)"_s << QList{false, true, true};
        QTest::newRow("words, negation, numbers, texts")
            << u"not item.hidden = true and (item.size != 0 or item.name == \"a \\\"b\\\"\")"_s << QStringList()
            << u"NOT item.hidden == YES AND (item.size != 0 OR item.name == \"a \\\"b\\\"\")"_s << QList{false, true, true};
        QTest::newRow("a missing value equals nothing") << u"item.missing == NO"_s << QStringList()
                                                        << u"item.missing == NO"_s << QList{false, false, false};
        const auto malformed = [](const char *tag, const QString &format, const QStringList &keys = {}) {
            QTest::newRow(tag) << format << keys << QString() << QList<bool>();
        };
        malformed("empty", QString());
        malformed("no value", u"%K =="_s, {u"a"_s});
        malformed("unclosed", u"(a == YES"_s);
        malformed("a place without a key", u"%K == YES"_s);
        malformed("a key without a place", u"a == YES"_s, {u"b"_s});
        malformed("trailing text", u"a == YES b"_s);
        malformed("unterminated text", u"a == \"b"_s);
    }

    void predicates()
    {
        QFETCH(QString, format);
        QFETCH(QStringList, keys);
        QFETCH(QString, written);
        QFETCH(QList<bool>, results);

        const QList<QVariantMap> items = {
            {{u"hidden"_s, true}, {u"image"_s, false}, {u"folder"_s, false}, {u"size"_s, 0}, {u"name"_s, u"x"_s}},
            {{u"hidden"_s, false}, {u"image"_s, true}, {u"folder"_s, false}, {u"size"_s, 12}, {u"name"_s, u"y"_s}},
            {{u"hidden"_s, false}, {u"image"_s, false}, {u"folder"_s, true}, {u"size"_s, 0}, {u"name"_s, u"a \"b\""_s}},
        };
        if (written.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Cannot read the predicate"_s));
        const std::optional<TQPredicate> predicate = TQPredicate::predicateWithFormat(format, keys);
        QCOMPARE(predicate.has_value(), !written.isEmpty());
        if (!predicate)
            return;
        QCOMPARE(predicate->predicateFormat(), written);
        QCOMPARE(TQPredicate::predicateWithFormat(written), predicate);
        const QVariantList list = rows(items);
        for (qsizetype i = 0; i < list.size(); ++i)
            QCOMPARE(predicate->evaluateWithObject(list.at(i)), results.at(i));
    }

    // A subject made from a temporary is used after the temporary is gone: the subject keeps
    // what it reads, and so does every copy of it.
    void subjectsOutliveTheirTemporaries_data()
    {
        QTest::addColumn<MakeSubject>("make");
        QTest::addColumn<QString>("keyPath");
        QTest::addColumn<int>("kept"); // objects the subject alone keeps alive
        QTest::newRow("a shared pointer") << MakeSubject([] { return std::make_shared<Named>(); }) << u"name"_s << 1;
        QTest::newRow("a QVariant holding a shared pointer")
                << MakeSubject([] { return QVariant::fromValue(std::make_shared<Named>()); }) << u"name"_s << 1;
        QTest::newRow("a map") << MakeSubject([] { return QVariantMap{{u"name"_s, u"kept"_s}}; }) << u"name"_s << 0;
        QTest::newRow("a QVariant holding a map whose value holds an object") << MakeSubject([] {
            return QVariant(QVariantMap{{u"file"_s, QVariant::fromValue(std::make_shared<Named>())}});
        }) << u"file.name"_s << 1;
    }

    void subjectsOutliveTheirTemporaries()
    {
        QFETCH(MakeSubject, make);
        QFETCH(QString, keyPath);
        QFETCH(int, kept);
        Named::alive = 0;
        {
            const TQKeyValueSubject subject = make();
            QCOMPARE(Named::alive, kept);
            QVERIFY(!subject.isNull());
            TQKeyValueSubject copy(subject);
            TQKeyValueSubject moved(std::move(copy));
            TQKeyValueSubject assigned;
            assigned = moved;
            const QList<const TQKeyValueSubject *> all{&subject, &moved, &assigned};
            for (const TQKeyValueSubject *s : all)
                QCOMPARE(s->valueForKeyPath(keyPath), QVariant(u"kept"_s));
            // What the predicates and sorts of the library take is such a subject, too.
            QVERIFY(TQPredicate::comparisonPredicate(keyPath, u"kept"_s).evaluateWithObject(assigned));
        }
        QCOMPARE(Named::alive, 0);
    }
};

QTEST_GUILESS_MAIN(TestSortDescriptor)
#include "tst_sortdescriptor.moc"
