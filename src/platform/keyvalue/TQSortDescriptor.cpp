// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQSortDescriptor.h"

#include <QDateTime>

#include <cmath>
#include <vector>

using FinderStyleSortKey = TQNameOrder::SortKey;

class TQSortDescriptorData : public QSharedData
{
public:
    QString keyPath;
    QStringList components;
    bool ascending = true;
    TQSortDescriptor::Comparison comparison = TQSortDescriptor::Comparison::Natural;
    TQSortDescriptor::Comparator comparator;
};

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

// The subject at the end of a key path, before its last key: name order asks its object for
// the sort key it keeps. For a single key that is the start itself, read in place; a longer
// path ends in `step`, which holds the intermediate value, so the object stays alive with it.
const TQKeyValueSubject &walk(const TQKeyValueSubject &start, const QStringList &components, TQKeyValueSubject &step)
{
    if (components.size() == 1)
        return start;
    step = start;
    for (qsizetype i = 0; i + 1 < components.size() && !step.isNull(); ++i)
        step = TQKeyValueSubject(step.valueForKey(components.at(i)));
    return step;
}

enum Kind : quint8 { Unread, Null, Integer, Real, Key, Other };

// What is sorted: subjects, or the objects of a list of shared pointers, which a sort reads
// in place (a subject per element would cost 64 bytes of memory traffic each).
class Objects
{
public:
    Objects(const QList<TQKeyValueSubject> &subjects)
        : m_subjects(subjects.constData())
        , m_count(subjects.size())
    {
    }
    Objects(const TQKeyValueCoding *const *objects, qsizetype count)
        : m_objects(objects)
        , m_count(count)
    {
    }

    qsizetype size() const { return m_count; }
    const TQKeyValueCoding *object(qsizetype i) const { return m_subjects ? m_subjects[i].object() : m_objects[i]; }
    // The subject at \a i: in place, or made in \a scratch from the borrowed object.
    const TQKeyValueSubject &subject(qsizetype i, TQKeyValueSubject &scratch) const
    {
        if (m_subjects)
            return m_subjects[i];
        scratch = TQKeyValueSubject(m_objects[i]);
        return scratch;
    }

private:
    const TQKeyValueSubject *m_subjects = nullptr;
    const TQKeyValueCoding *const *m_objects = nullptr;
    qsizetype m_count = 0;
};

union Number {
    qint64 integer;
    double real;
};

// The values of one descriptor, read from each object the first time a comparison needs them.
class Level
{
public:
    Level(const TQSortDescriptorData &descriptor, const Objects &objects)
        : m_descriptor(descriptor)
        , m_objects(objects)
    {
    }

    int compare(qsizetype a, qsizetype b)
    {
        read(a);
        read(b);
        const int order = compareRead(size_t(a), size_t(b));
        return m_descriptor.ascending ? order : -order;
    }

    // Reads every value; answers their one kind, or Unread when they are of several.
    Kind readAll()
    {
        readEach(m_objects.size(), [](qsizetype i) { return i; });
        const quint8 kind = m_kinds.empty() ? quint8(Unread) : m_kinds.front();
        const bool same = std::all_of(m_kinds.cbegin(), m_kinds.cend(), [kind](quint8 k) { return k == kind; });
        return same ? Kind(kind) : Unread;
    }

    // Reads the values of the objects at \a positions (ties of an earlier level, which the
    // sort then visits in no order a cache would like).
    void readSome(const std::vector<qsizetype> &positions)
    {
        readEach(qsizetype(positions.size()), [&positions](qsizetype i) { return positions[size_t(i)]; });
    }

    bool ascending() const { return m_descriptor.ascending; }
    const FinderStyleSortKey &key(size_t i) const { return *m_keys[i]; }
    qint64 integer(size_t i) const { return m_numbers[i].integer; }

private:
    template <class Position>
    void readEach(qsizetype n, Position position)
    {
        // Reading a value of a long list costs a few cache misses per object, so objects are
        // touched ahead of their reads: the object itself far ahead, its values nearer.
        constexpr qsizetype objectAhead = 24, firstStepAhead = 16, secondStepAhead = 8;
        const bool direct = m_descriptor.components.size() == 1;
        for (qsizetype i = 0; i < n; ++i) {
            if (direct && i + objectAhead < n)
                __builtin_prefetch(m_objects.object(position(i + objectAhead)));
            if (direct && i + firstStepAhead < n) {
                if (const TQKeyValueCoding *ahead = m_objects.object(position(i + firstStepAhead)))
                    ahead->prefetchValueForKey(m_descriptor.keyPath, 0);
            }
            if (direct && i + secondStepAhead < n) {
                if (const TQKeyValueCoding *ahead = m_objects.object(position(i + secondStepAhead)))
                    ahead->prefetchValueForKey(m_descriptor.keyPath, 1);
            }
            read(position(i));
        }
    }

    void read(qsizetype index)
    {
        const size_t i = size_t(index);
        // Later keys are often needed for a few ties only: their storage is made on demand.
        if (m_kinds.empty()) {
            m_kinds.assign(size_t(m_objects.size()), Unread);
            if (m_descriptor.comparison == TQSortDescriptor::Comparison::NameOrder)
                m_keys.resize(m_kinds.size());
            else if (m_descriptor.comparison == TQSortDescriptor::Comparison::Natural)
                m_numbers.resize(m_kinds.size());
        }
        if (m_kinds[i] != Unread)
            return;
        TQKeyValueSubject step;
        const TQKeyValueSubject &subject = walk(m_objects.subject(index, step), m_descriptor.components, step);
        const QString &key = m_descriptor.components.constLast();
        switch (m_descriptor.comparison) {
        case TQSortDescriptor::Comparison::NameOrder:
            if (const TQKeyValueCoding *object = subject.object()) {
                if (const FinderStyleSortKey *kept = object->nameSortKeyForKey(key)) {
                    m_keys[i] = kept;
                    m_kinds[i] = Key;
                    return;
                }
            }
            if (const QVariant value = subject.valueForKey(key); !value.isNull()) {
                if (m_madeKeys.empty())
                    m_madeKeys.resize(m_kinds.size());
                m_keys[i] = &m_madeKeys[i].emplace(TQNameOrder::sortKey(value.toString()));
                m_kinds[i] = Key;
            } else {
                m_kinds[i] = Null;
            }
            return;
        case TQSortDescriptor::Comparison::Natural:
            if (const TQKeyValueCoding *object = subject.object()) {
                switch (object->sortNumberForKey(key, &m_numbers[i].integer)) {
                case TQKeyValueCoding::SortNumber::Integer:
                    m_kinds[i] = Integer;
                    return;
                case TQKeyValueCoding::SortNumber::Missing:
                    m_kinds[i] = Null;
                    return;
                case TQKeyValueCoding::SortNumber::Unknown:
                    break;
                }
            }
            readNatural(i, subject.valueForKey(key));
            return;
        case TQSortDescriptor::Comparison::Comparator:
            if (m_others.empty())
                m_others.resize(m_kinds.size());
            m_others[i] = subject.valueForKey(key);
            m_kinds[i] = Other;
            return;
        }
    }

    void readNatural(size_t i, const QVariant &value)
    {
        Number &number = m_numbers[i];
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            m_kinds[i] = Null;
            return;
        case QMetaType::Bool:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
            number.integer = value.toLongLong();
            m_kinds[i] = Integer;
            return;
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            if (value.toULongLong() <= quint64(std::numeric_limits<qint64>::max())) {
                number.integer = value.toLongLong();
                m_kinds[i] = Integer;
            } else {
                number.real = value.toDouble();
                m_kinds[i] = Real;
            }
            return;
        case QMetaType::Float:
        case QMetaType::Double:
            number.real = value.toDouble();
            // A NaN has no place in an order; it sorts with the missing values.
            m_kinds[i] = std::isnan(number.real) ? Null : Real;
            return;
        case QMetaType::QDateTime: {
            const QDateTime date = value.toDateTime();
            m_kinds[i] = date.isValid() ? Integer : Null;
            number.integer = date.isValid() ? date.toMSecsSinceEpoch() : 0;
            return;
        }
        default:
            if (m_others.empty())
                m_others.resize(m_kinds.size());
            m_others[i] = value;
            m_kinds[i] = Other;
            return;
        }
    }

    int compareRead(size_t a, size_t b) const
    {
        const Kind kindA = Kind(m_kinds[a]);
        const Kind kindB = Kind(m_kinds[b]);
        if (m_descriptor.comparison == TQSortDescriptor::Comparison::Comparator)
            return sign(m_descriptor.comparator(m_others[a], m_others[b]));
        if (kindA == Null || kindB == Null)
            return int(kindA != Null) - int(kindB != Null);
        switch (kindA) {
        case Key:
            return m_keys[a]->compare(*m_keys[b]);
        case Integer:
            if (kindB == Integer)
                return (m_numbers[a].integer > m_numbers[b].integer) - (m_numbers[a].integer < m_numbers[b].integer);
            if (kindB == Real)
                return compareReals(double(m_numbers[a].integer), m_numbers[b].real);
            break;
        case Real:
            if (kindB == Real)
                return compareReals(m_numbers[a].real, m_numbers[b].real);
            if (kindB == Integer)
                return compareReals(m_numbers[a].real, double(m_numbers[b].integer));
            break;
        case Other:
            if (kindB == Other) {
                const QPartialOrdering order = QVariant::compare(m_others[a], m_others[b]);
                if (order == QPartialOrdering::Less)
                    return -1;
                if (order == QPartialOrdering::Greater)
                    return 1;
                return 0;
            }
            break;
        default:
            break;
        }
        // Numbers before other values, whatever they are.
        return kindA < kindB ? -1 : 1;
    }

    static int compareReals(double a, double b) { return (a > b) - (a < b); }

    const TQSortDescriptorData &m_descriptor;
    const Objects &m_objects;
    std::vector<quint8> m_kinds;
    std::vector<Number> m_numbers;
    // The objects' own keys, or those made here for objects that keep none.
    std::vector<const FinderStyleSortKey *> m_keys;
    std::vector<std::optional<FinderStyleSortKey>> m_madeKeys;
    std::vector<QVariant> m_others;
};

class Order
{
public:
    Order(const QList<TQSortDescriptor> &descriptors, const Objects &objects);

    int compare(qsizetype a, qsizetype b, size_t fromLevel = 0)
    {
        for (size_t level = fromLevel; level < m_levels.size(); ++level) {
            if (const int order = m_levels[level].compare(a, b))
                return order;
        }
        return 0;
    }

    Level &level(size_t index) { return m_levels[index]; }

private:
    std::vector<Level> m_levels;
};

// A merge sort of the positions: stable, and safe with a comparator whose answers are not
// consistent (std::stable_sort may then read out of bounds).
template <class Compare>
void mergeSort(std::vector<qsizetype> &items, Compare &&compare)
{
    constexpr size_t run = 16;
    const size_t n = items.size();
    for (size_t start = 0; start < n; start += run) {
        const size_t end = std::min(n, start + run);
        for (size_t i = start + 1; i < end; ++i) {
            const qsizetype item = items[i];
            size_t j = i;
            for (; j > start && compare(items[j - 1], item) > 0; --j)
                items[j] = items[j - 1];
            items[j] = item;
        }
    }
    std::vector<qsizetype> buffer(n);
    for (size_t width = run; width < n; width *= 2) {
        for (size_t left = 0; left < n; left += 2 * width) {
            const size_t middle = std::min(n, left + width);
            const size_t right = std::min(n, left + 2 * width);
            size_t i = left, j = middle, out = left;
            if (middle == right || compare(items[middle - 1], items[middle]) <= 0) {
                std::copy(items.begin() + left, items.begin() + right, buffer.begin() + left);
                continue;
            }
            while (i < middle && j < right)
                buffer[out++] = compare(items[i], items[j]) <= 0 ? items[i++] : items[j++];
            while (i < middle)
                buffer[out++] = items[i++];
            while (j < right)
                buffer[out++] = items[j++];
        }
        items.swap(buffer);
    }
}

// Sorts by \a less, then sorts each run of entries that \a equal finds equal by \a tie, after
// \a prepare was given the entries of every such run.
template <class Entry, class Less, class Equal, class Tie, class Prepare>
void sortInRuns(std::vector<Entry> &entries, Less less, Equal equal, Tie tie, bool ties, Prepare prepare)
{
    std::stable_sort(entries.begin(), entries.end(), less);
    if (!ties)
        return;
    std::vector<const Entry *> tied;
    for (auto run = entries.begin(); run != entries.end();) {
        auto end = run + 1;
        while (end != entries.end() && equal(*run, *end))
            ++end;
        if (end - run > 1) {
            for (auto entry = run; entry != end; ++entry)
                tied.push_back(&*entry);
        }
        run = end;
    }
    prepare(tied);
    for (auto run = entries.begin(); run != entries.end();) {
        auto end = run + 1;
        while (end != entries.end() && equal(*run, *end))
            ++end;
        if (end - run > 1)
            std::stable_sort(run, end, tie);
        run = end;
    }
}

} // namespace

class TQSortOrder
{
public:
    static const TQSortDescriptorData &data(const TQSortDescriptor &descriptor) { return *descriptor.d; }
    static QList<qsizetype> orderOf(const Objects &objects, const QList<TQSortDescriptor> &descriptors);
};

Order::Order(const QList<TQSortDescriptor> &descriptors, const Objects &objects)
{
    m_levels.reserve(size_t(descriptors.size()));
    for (const TQSortDescriptor &descriptor : descriptors)
        m_levels.emplace_back(TQSortOrder::data(descriptor), objects);
}

TQSortDescriptor::TQSortDescriptor(const QString &keyPath, bool ascending, Comparison comparison)
    : d(new TQSortDescriptorData)
{
    d->keyPath = keyPath;
    d->components = keyPath.split(u'.');
    d->ascending = ascending;
    // A comparator-less Comparator descriptor would have nothing to call.
    d->comparison = comparison == Comparison::Comparator ? Comparison::Natural : comparison;
}

TQSortDescriptor::TQSortDescriptor(const QString &keyPath, bool ascending, Comparator comparator)
    : TQSortDescriptor(keyPath, ascending)
{
    if (comparator) {
        d->comparison = Comparison::Comparator;
        d->comparator = std::move(comparator);
    }
}

TQSortDescriptor::TQSortDescriptor(const TQSortDescriptor &other) = default;
TQSortDescriptor &TQSortDescriptor::operator=(const TQSortDescriptor &other) = default;
TQSortDescriptor::~TQSortDescriptor() = default;

QString TQSortDescriptor::key() const
{
    return d->keyPath;
}

bool TQSortDescriptor::ascending() const
{
    return d->ascending;
}

TQSortDescriptor::Comparison TQSortDescriptor::comparison() const
{
    return d->comparison;
}

TQSortDescriptor::Comparator TQSortDescriptor::comparator() const
{
    return d->comparator;
}

TQSortDescriptor TQSortDescriptor::reversedSortDescriptor() const
{
    TQSortDescriptor reversed(*this);
    reversed.d->ascending = !d->ascending;
    return reversed;
}

int TQSortDescriptor::compareObject(const TQKeyValueSubject &a, const TQKeyValueSubject &b) const
{
    return compareObject(QList<TQSortDescriptor>{*this}, a, b);
}

int TQSortDescriptor::compareObject(const QList<TQSortDescriptor> &descriptors, const TQKeyValueSubject &a,
                                    const TQKeyValueSubject &b)
{
    const QList<TQKeyValueSubject> subjects{a, b};
    const Objects objects(subjects);
    Order order(descriptors, objects);
    return order.compare(0, 1);
}

QList<qsizetype> TQSortDescriptor::sortedOrder(const QList<TQKeyValueSubject> &objects,
                                               const QList<TQSortDescriptor> &descriptors)
{
    return TQSortOrder::orderOf(Objects(objects), descriptors);
}

QList<qsizetype> TQSortDescriptor::sortedOrderOfObjects(const TQKeyValueCoding *const *objects, qsizetype count,
                                                        const QList<TQSortDescriptor> &descriptors)
{
    return TQSortOrder::orderOf(Objects(objects, count), descriptors);
}

QList<qsizetype> TQSortOrder::orderOf(const Objects &objects, const QList<TQSortDescriptor> &descriptors)
{
    using Comparison = TQSortDescriptor::Comparison;
    std::vector<qsizetype> positions(size_t(objects.size()));
    for (size_t i = 0; i < positions.size(); ++i)
        positions[i] = qsizetype(i);
    if (descriptors.isEmpty() || positions.size() < 2)
        return QList<qsizetype>(positions.begin(), positions.end());
    Order order(descriptors, objects);
    const bool consistent = std::none_of(descriptors.cbegin(), descriptors.cend(), [](const TQSortDescriptor &descriptor) {
        return descriptor.comparison() == Comparison::Comparator;
    });
    if (consistent) {
        // The first key decides nearly every comparison: when its values are all sort keys or
        // all integers, they are sorted side by side with their positions (which keeps the
        // comparisons in cache and free of branches on the other keys), and only runs of
        // equal values are then sorted by the other keys.
        Level &first = order.level(0);
        const bool ascending = first.ascending();
        const auto breakTies = [&order](qsizetype a, qsizetype b) { return order.compare(a, b, 1) < 0; };
        const Kind kind = first.readAll();
        if (kind == Key) {
            // Copies of the collation keys travel with the positions, so that a comparison
            // goes straight to the keys' bytes instead of through the objects first.
            struct Entry
            {
                QCollatorSortKey key;
                qsizetype position;
            };
            std::vector<Entry> entries;
            entries.reserve(positions.size());
            for (size_t i = 0; i < positions.size(); ++i)
                entries.push_back({first.key(i).collationKey(), qsizetype(i)});
            sortInRuns(
                entries,
                [ascending](const Entry &a, const Entry &b) {
                    return ascending ? a.key.compare(b.key) < 0 : b.key.compare(a.key) < 0;
                },
                [](const Entry &a, const Entry &b) { return a.key.compare(b.key) == 0; },
                [&](const Entry &a, const Entry &b) {
                    // Equal first levels: the name's own tie rules, then the other keys.
                    const int byName = first.key(size_t(a.position)).compare(first.key(size_t(b.position)));
                    if (byName)
                        return (byName < 0) == ascending;
                    return breakTies(a.position, b.position);
                },
                true, [](const auto &) {});
            for (size_t i = 0; i < entries.size(); ++i)
                positions[i] = entries[i].position;
            return QList<qsizetype>(positions.begin(), positions.end());
        }
        if (kind == Integer) {
            using Entry = std::pair<qint64, qsizetype>;
            std::vector<Entry> entries(positions.size());
            for (size_t i = 0; i < entries.size(); ++i)
                entries[i] = {first.integer(i), qsizetype(i)};
            const auto byValue = [](const Entry &a, const Entry &b) { return a.first < b.first; };
            const auto byValueDescending = [](const Entry &a, const Entry &b) { return b.first < a.first; };
            const auto equal = [](const Entry &a, const Entry &b) { return a.first == b.first; };
            const auto rest = [&](const Entry &a, const Entry &b) { return breakTies(a.second, b.second); };
            // Sizes repeat, so the tie-breaking key is read ahead for every tied object at once.
            const auto readTies = [&](const std::vector<const Entry *> &tied) {
                std::vector<qsizetype> tiedPositions;
                tiedPositions.reserve(tied.size());
                for (const Entry *entry : tied)
                    tiedPositions.push_back(entry->second);
                order.level(1).readSome(tiedPositions);
            };
            const bool ties = descriptors.size() > 1;
            if (ascending)
                sortInRuns(entries, byValue, equal, rest, ties, readTies);
            else
                sortInRuns(entries, byValueDescending, equal, rest, ties, readTies);
            for (size_t i = 0; i < entries.size(); ++i)
                positions[i] = entries[i].second;
            return QList<qsizetype>(positions.begin(), positions.end());
        }
    }
    mergeSort(positions, [&order](qsizetype a, qsizetype b) { return order.compare(a, b); });
    return QList<qsizetype>(positions.begin(), positions.end());
}

QString TQSortDescriptor::description() const
{
    static const char *const names[] = {"natural order", "name order", "comparator"};
    return QStringLiteral("(%1, %2, %3)")
        .arg(d->keyPath, d->ascending ? QStringLiteral("ascending") : QStringLiteral("descending"),
             QLatin1String(names[int(d->comparison)]));
}
