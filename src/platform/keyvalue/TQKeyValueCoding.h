// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQNameOrder.h"

#include <QMetaType>
#include <QStringView>
#include <QVariant>
#include <QVariantMap>

#include <memory>
#include <optional>
#include <type_traits>

/*!
    \class TQKeyValueCoding
    \brief An object whose values can be asked for by name.

    Sorting, filtering, table cells and the command-line tool read values of file items (and
    of the records that hold them) by key, the way the host's bindings do: "displayName",
    "modificationDate", "isInvisible". An object that takes part implements valueForKey().
    A key the object does not know answers a null QVariant.

    A key path ("file.modificationDate") is walked with TQKeyValueSubject: through objects
    of this interface and through QVariantMaps. For the walk to pass through an object held
    in a QVariant (a row map holding a file item under "file"), the QVariant's type must be
    registered with registerReferenceType(); the library registers its file items.

    Thread-safety is that of the implementing object; the registry of reference types is
    guarded and may be used from any thread.

    \ingroup platform
*/
class TQKIT_EXPORT TQKeyValueCoding
{
public:
    virtual ~TQKeyValueCoding();

    //! The value named \a key; a null QVariant when the key is unknown or the value missing.
    virtual QVariant valueForKey(QStringView key) const = 0;

    /*!
        The name-order sort key of the text value for \a key, when the object keeps one
        (sorting by name then makes no collation key for it); by default nullptr. An object
        that answers must answer the key of exactly the text valueForKey() gives now. The
        key belongs to the object and stays valid until that value changes or the object
        goes; a sort reads it while it runs.
    */
    virtual const TQNameOrder::SortKey *nameSortKeyForKey(QStringView key) const;

    /*!
        A hint that valueForKey(\a key) will be asked for soon: an object whose values live
        behind pointers may start loading them into the cache. Sorting a long list gives this
        hint twice per object, with \a step 0 some objects ahead of the one it reads and with
        \a step 1 a few objects ahead: values behind two pointers load the first at step 0
        and the second at step 1, when the first is in the cache. Never blocks; by default
        nothing.
    */
    virtual void prefetchValueForKey(QStringView key, int step) const;

    //! What sortNumberForKey() found.
    enum class SortNumber : quint8 {
        Unknown, //!< the object leaves the answer to valueForKey()
        Missing, //!< the value is null: it sorts with the missing values
        Integer, //!< the value orders as the whole number written to the caller
    };
    /*!
        The value for \a key as a whole number that orders as the value does in natural order
        (an integer as it is, a date as milliseconds since the epoch), read without making a
        QVariant: sorting a long list asks each object once, and the QVariant (and the date
        inside it) would cost more than the read. An object that answers Integer writes the
        number to \a number; it must answer exactly what valueForKey() gives. By default
        Unknown.
    */
    virtual SortNumber sortNumberForKey(QStringView key, qint64 *number) const;

    //! Reads the object out of a QVariant of a registered type; nullptr when it holds none.
    using Extractor = const TQKeyValueCoding *(*)(const QVariant &value);

    /*!
        Lets key paths pass through QVariants of \a type: \a extract gives the object held.
        Registering a type again replaces its extractor.
    */
    static void registerReferenceType(QMetaType type, Extractor extract);

    //! The same for QVariants holding a \c std::shared_ptr<T>.
    template <class T>
    static void registerReferenceType()
    {
        static_assert(std::is_base_of_v<TQKeyValueCoding, T>);
        registerReferenceType(QMetaType::fromType<std::shared_ptr<T>>(), [](const QVariant &value) {
            return static_cast<const TQKeyValueCoding *>(
                static_cast<const std::shared_ptr<T> *>(value.constData())->get());
        });
    }

    //! The object \a value holds, if its type is registered; else nullptr. Borrowed: valid
    //! as long as \a value is.
    static const TQKeyValueCoding *objectInValue(const QVariant &value);

protected:
    //! \name For subclasses
    //!@{

    //! An interface without state: subclasses construct, copy and assign it freely.
    TQKeyValueCoding() = default;
    TQKeyValueCoding(const TQKeyValueCoding &) = default;
    TQKeyValueCoding &operator=(const TQKeyValueCoding &) = default;
    //!@}
};

/*!
    \class TQKeyValueSubject
    \brief Where a key path starts: an object that answers valueForKey(), or a QVariantMap.

    Made implicitly from a pointer or shared pointer to a TQKeyValueCoding object, a
    QVariantMap, or a QVariant holding either (a null subject otherwise, whose every value is
    null). A subject keeps alive what it was made from, so one made from a temporary map,
    shared pointer or QVariant stays valid: it shares the map (implicitly shared, no deep
    copy), holds a reference to the shared object, and keeps a copy of the QVariant. Only a
    plain pointer is borrowed: that object must outlive the subject.

    A key path is a list of keys joined by "."; each key but the last must lead to an object
    or a map. A missing step gives a null value, never an error.

    A value; reading it is reentrant, like the object it reads.

    \ingroup platform
*/
class TQKIT_EXPORT TQKeyValueSubject
{
public:
    //! A null subject: every value is null.
    TQKeyValueSubject() = default;
    //! Borrows \a object, which must outlive the subject.
    TQKeyValueSubject(const TQKeyValueCoding *object)
        : m_object(object)
    {
    }
    //! Holds a reference to \a object.
    template <class T>
        requires std::is_base_of_v<TQKeyValueCoding, T>
    TQKeyValueSubject(const std::shared_ptr<T> &object)
        : m_object(object.get())
        , m_owner(object)
    {
    }
    //! Shares \a map.
    TQKeyValueSubject(const QVariantMap &map);
    //! Keeps a copy of \a value: a map or an object of a registered type, else a null subject.
    TQKeyValueSubject(const QVariant &value);
    //! \name Copy and move
    //! A subject copies as the value it is: what it keeps alive, the copy keeps alive too.
    //!@{

    //! Copies and moves share what the subject keeps alive.
    TQKeyValueSubject(const TQKeyValueSubject &other);
    TQKeyValueSubject(TQKeyValueSubject &&other) noexcept;
    TQKeyValueSubject &operator=(const TQKeyValueSubject &other);
    TQKeyValueSubject &operator=(TQKeyValueSubject &&other) noexcept;
    //!@}
    ~TQKeyValueSubject();

    //! True when the subject has neither an object nor a map.
    bool isNull() const { return !m_object && !map(); }
    //! The object that answers; valid as long as this subject (or, for a subject made from a
    //! plain pointer, the object itself).
    const TQKeyValueCoding *object() const { return m_object; }
    //! The map that answers; valid as long as this subject.
    const QVariantMap *map() const
    {
        return m_holder.metaType() == QMetaType::fromType<QVariantMap>()
                ? static_cast<const QVariantMap *>(m_holder.constData())
                : nullptr;
    }

    //! The value of the single key \a key.
    QVariant valueForKey(QStringView key) const;
    //! The value at the end of \a keyPath ("file.modificationDate").
    QVariant valueForKeyPath(QStringView keyPath) const;

private:
    void rebind();

    const TQKeyValueCoding *m_object = nullptr;
    // Keeps a shared object alive.
    std::shared_ptr<const TQKeyValueCoding> m_owner;
    // A map, or a value holding an object; m_object then points at what m_holder holds, which
    // a copy of the QVariant may hold elsewhere, so it is looked up again on every copy.
    QVariant m_holder;
    bool m_objectInHolder = false;
};
