// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <optional>

// The values of one file item, computed on first request by whichever thread asks, held in a
// record that is replaced whole, never emptied in place: a reset copies the record, changes the
// copy and publishes it, so a reader holds either the old record or the new one.
//
// A value is computed outside the lock (it may read the file) and published under it; two
// threads may compute the same value, and the first to publish wins. A value is published only
// into the record it was computed from while that record is current: work begun before a
// reset never lands in the record that follows it.
//
// No record is made until a value is stored: an item of a big listing whose values nobody
// asks for, or whose file gave nothing worth keeping, costs no record, and reading an empty
// cache reads a shared empty one.
//
// The lock is a small spin lock on a standard atomic: sorting asks every item for a value in
// every comparison, and the critical sections are a few loads and stores, where a futex-based
// lock costs several times the work it guards. ThreadSanitizer sees standard atomics (it would
// not see QMutex's slow path, which lives in uninstrumented Qt).
class UWSpinLock
{
public:
    void lock() noexcept
    {
        while (m_held.exchange(true, std::memory_order_acquire)) {
            while (m_held.load(std::memory_order_relaxed))
                std::this_thread::yield();
        }
    }
    void unlock() noexcept { m_held.store(false, std::memory_order_release); }

private:
    std::atomic<bool> m_held{false};
};

template <class Values>
class UWRecordCache
{
public:
    UWRecordCache() = default;
    explicit UWRecordCache(Values initial)
        : m_values(std::make_shared<Values>(std::move(initial)))
    {
    }

    //! The current record. Its slots may still be filled by other threads: read them through
    //! value() or read() only.
    std::shared_ptr<Values> record() const
    {
        std::lock_guard locker(m_lock);
        return current();
    }

    //! Runs \a read on the current record under the lock: for a few fields read together.
    template <class Read>
    auto read(Read read) const
    {
        std::lock_guard locker(m_lock);
        return read(m_values ? std::as_const(*m_values) : empty());
    }

    //! The slot's value if it was computed for the current record; nothing otherwise.
    template <class T>
    std::optional<T> peek(std::optional<T> Values::*slot) const
    {
        std::lock_guard locker(m_lock);
        return m_values ? (*m_values).*slot : std::nullopt;
    }

    //! Where a value computed after a look-up must be published: the record it was computed
    //! from (none while the item has none) and the resets that had ended by then.
    struct Origin
    {
        std::shared_ptr<Values> record;
        std::uint32_t resets = 0;
    };

    //! The slot's value: cached, or \a compute(record) published into that record. \a compute
    //! reads only the record's facts, which never change once it is published.
    template <class T, class Compute>
    T value(std::optional<T> Values::*slot, Compute compute) const
    {
        Origin from;
        if (std::optional<T> cached = lookUp(slot, &from))
            return *std::move(cached);
        return publish(slot, from, compute(from.record ? std::as_const(*from.record) : empty()));
    }

    //! The slot's value if it is cached; otherwise nothing, and \a from receives where a value
    //! computed now must be published. A look-up makes no record: a value not worth keeping (a
    //! file that gave nothing) leaves none behind.
    template <class T>
    std::optional<T> lookUp(std::optional<T> Values::*slot, Origin *from) const
    {
        std::lock_guard locker(m_lock);
        if (m_values) {
            if (const std::optional<T> &cached = (*m_values).*slot)
                return cached;
        }
        *from = Origin{m_values, m_resetsEnded};
        return std::nullopt;
    }

    //! Stores \a computed into the slot unless the record it was computed from was replaced,
    //! resets ran or are running since, or another thread stored first; answers what the slot
    //! holds then (or \a computed when nothing was stored). Work begun from no record makes one.
    template <class T>
    T publish(std::optional<T> Values::*slot, const Origin &from, T computed) const
    {
        std::lock_guard locker(m_lock);
        if (m_values != from.record || m_resetsEnded != from.resets || m_resetting > 0)
            return computed;
        std::optional<T> &cached = (*current()).*slot;
        if (!cached)
            cached = std::move(computed);
        return *cached;
    }

    //! Replaces the record by a copy that \a edit changed. Returns what \a edit returns.
    template <class Edit>
    auto reset(Edit edit)
    {
        std::lock_guard locker(m_lock);
        auto next = m_values ? std::make_shared<Values>(*m_values) : std::make_shared<Values>();
        struct Publish
        {
            UWRecordCache *cache;
            std::shared_ptr<Values> &next;
            ~Publish() { cache->replace(std::move(next)); }
        } publish{this, next};
        return edit(*next);
    }

    //! Runs \a fill on the current record's slots under the lock, without replacing it: for a
    //! value that is published but not reset (a flag saying a change was already announced).
    template <class Fill>
    auto fill(Fill fill) const
    {
        std::lock_guard locker(m_lock);
        return fill(*current());
    }

    /*!
        Between beginResets() and endResets() nothing is published: a subclass's values
        derive from the base's record, which its reset replaces only after the subclass's own
        resets, so a value computed in between would be computed from facts about to change.
        endResets() replaces the record once more, so that work begun in between publishes
        nowhere either. Calls nest.
    */
    void beginResets()
    {
        std::lock_guard locker(m_lock);
        ++m_resetting;
    }
    void endResets()
    {
        std::lock_guard locker(m_lock);
        if (--m_resetting == 0) {
            // Work begun from no record cannot tell by the record that resets ran: the count
            // tells it, without making a record for an item that has none.
            ++m_resetsEnded;
            if (m_values)
                replace(std::make_shared<Values>(*m_values));
        }
    }

    //! Starts loading the current record into the cache: a hint, without the lock, that may
    //! name a record just replaced (a prefetch never faults).
    void prefetch() const
    {
        if (const Values *hint = m_hint.load(std::memory_order_relaxed))
            __builtin_prefetch(hint);
    }

private:
    // The record values are stored into, made on first need. Called under m_lock.
    const std::shared_ptr<Values> &current() const
    {
        if (!m_values)
            replace(std::make_shared<Values>());
        return m_values;
    }
    // Called under m_lock.
    void replace(std::shared_ptr<Values> next) const
    {
        m_values = std::move(next);
        m_hint.store(m_values.get(), std::memory_order_relaxed);
    }
    static const Values &empty()
    {
        static const Values none;
        return none;
    }

    mutable UWSpinLock m_lock;
    mutable std::shared_ptr<Values> m_values; // guarded by m_lock; the slots of *m_values too
    mutable std::atomic<const Values *> m_hint{nullptr}; // m_values, for prefetching only
    int m_resetting = 0;              // guarded by m_lock
    std::uint32_t m_resetsEnded = 0;  // guarded by m_lock; fits in the padding after m_resetting
};
