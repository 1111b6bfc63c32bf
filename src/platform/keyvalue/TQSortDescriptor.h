// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQKeyValueCoding.h"

#include <QList>
#include <QSharedDataPointer>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <type_traits>
#include <vector>

class TQSortDescriptorData;

/*!
    \class TQSortDescriptor
    \brief One key of a sort order: a key path, a direction and a way of comparing values.

    A list of descriptors orders objects by the first descriptor, ties by the second, and so
    on. The comparisons:
    - Comparison::Natural, the values' own order: numbers by value (integers and reals
      mixed), dates by time, booleans as 0 and 1, texts by UTF-16 code units;
    - Comparison::NameOrder, the browser's order of names
      (TQNameOrder::compareNames()), on the values as text;
    - a Comparator, a function of the two values giving a negative number, 0 or a positive
      number, which is called as it stands and need not be consistent (a random order is
      fine: the sort still ends and keeps every element).
    A missing (null) value comes before every value in ascending order, in every comparison
    but a Comparator's, which sees the null QVariant. A descending descriptor reverses the
    answer of its comparison.

    sort() and sortedOrder() are stable: objects that every descriptor finds equal keep their
    order. They read each value at most once per object and sort, and only as deep into the
    list of descriptors as ties require. For name order they use the sort key an object keeps
    (TQKeyValueCoding::nameSortKeyForKey()), else make one per object. Cost: n log n
    comparisons plus one value read per object and descriptor used. When the first
    descriptor's values are all names or all integers (sizes, dates), they are sorted apart
    from the objects, and only runs of equal values go on to the later descriptors; reading
    a long list touches each object once, a few objects ahead of the read
    (TQKeyValueCoding::prefetchValueForKey()).

    A value type, implicitly shared. Sorting is reentrant: lists may be sorted on any thread
    whose objects that thread may read.

    \ingroup platform
*/
class TQKIT_EXPORT TQSortDescriptor
{
public:
    //! How values are compared (see above).
    enum class Comparison {
        Natural,    //!< the values' own order
        NameOrder,  //!< the browser's order of names, on the values as text
        Comparator, //!< a function given with the descriptor
    };
    //! A comparison of two values: negative, 0 or positive.
    using Comparator = std::function<int(const QVariant &, const QVariant &)>;

    //! Sorts by the values at \a keyPath, \a ascending or not, compared by \a comparison.
    TQSortDescriptor(const QString &keyPath, bool ascending, Comparison comparison = Comparison::Natural);
    //! Sorts by the values at \a keyPath, \a ascending or not, compared by \a comparator.
    TQSortDescriptor(const QString &keyPath, bool ascending, Comparator comparator);
    //! A copy sharing \a other's data.
    TQSortDescriptor(const TQSortDescriptor &other);
    //! Shares \a other's data.
    TQSortDescriptor &operator=(const TQSortDescriptor &other);
    ~TQSortDescriptor();

    //! The key path the descriptor sorts by.
    QString key() const;
    //! True for ascending order.
    bool ascending() const;
    //! How values are compared.
    Comparison comparison() const;
    //! The comparator of Comparison::Comparator; empty for the others.
    Comparator comparator() const;
    //! The same descriptor in the other direction.
    TQSortDescriptor reversedSortDescriptor() const;

    //! How \a a orders against \a b under this descriptor, in its direction: -1, 0 or +1.
    int compareObject(const TQKeyValueSubject &a, const TQKeyValueSubject &b) const;
    //! The same under a list of descriptors, the later ones breaking ties of the earlier.
    static int compareObject(const QList<TQSortDescriptor> &descriptors, const TQKeyValueSubject &a,
                             const TQKeyValueSubject &b);

    //! The positions of \a objects in their sorted order (a stable sort).
    static QList<qsizetype> sortedOrder(const QList<TQKeyValueSubject> &objects,
                                        const QList<TQSortDescriptor> &descriptors);

    //! Sorts \a list in place by \a descriptors, stably. T is anything a TQKeyValueSubject is
    //! made from: shared pointers to items, QVariantMaps, QVariants.
    template <class T>
    static void sort(QList<T> &list, const QList<TQSortDescriptor> &descriptors)
    {
        const QList<qsizetype> order = orderOf(list, descriptors);
        QList<T> sorted;
        sorted.reserve(list.size());
        for (qsizetype i : order)
            sorted.append(std::move(list[i]));
        list = std::move(sorted);
    }

    //! A sorted copy of \a list.
    template <class T>
    static QList<T> sortedArray(const QList<T> &list, const QList<TQSortDescriptor> &descriptors)
    {
        QList<T> sorted;
        sorted.reserve(list.size());
        for (qsizetype i : orderOf(list, descriptors))
            sorted.append(list.at(i));
        return sorted;
    }

    //! Text for logs and tests: "(key, ascending, name order)".
    QString description() const;

private:
    // The list outlives the sort, so objects held by shared pointers are borrowed for it, as
    // plain pointers: a subject per element would cost two atomic operations and 64 bytes.
    template <class T>
    static QList<qsizetype> orderOf(const QList<std::shared_ptr<T>> &list, const QList<TQSortDescriptor> &descriptors)
    {
        static_assert(std::is_base_of_v<TQKeyValueCoding, T>);
        std::vector<const TQKeyValueCoding *> objects;
        objects.reserve(size_t(list.size()));
        for (const std::shared_ptr<T> &element : list)
            objects.push_back(element.get());
        return sortedOrderOfObjects(objects.data(), list.size(), descriptors);
    }
    template <class T>
    static QList<qsizetype> orderOf(const QList<T> &list, const QList<TQSortDescriptor> &descriptors)
    {
        QList<TQKeyValueSubject> subjects;
        subjects.reserve(list.size());
        for (const T &element : list)
            subjects.append(TQKeyValueSubject(element));
        return sortedOrder(subjects, descriptors);
    }
    // sortedOrder() of \a count objects, borrowed for the sort; null pointers sort as null
    // subjects do.
    static QList<qsizetype> sortedOrderOfObjects(const TQKeyValueCoding *const *objects, qsizetype count,
                                                 const QList<TQSortDescriptor> &descriptors);

    friend class TQSortOrder;
    QSharedDataPointer<TQSortDescriptorData> d;
};
