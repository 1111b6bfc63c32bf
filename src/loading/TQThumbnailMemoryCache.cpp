// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQThumbnailMemoryCache.h"

#include "TQLoadingLogging.h"

#include <QHash>
#include <QMutex>

#include <list>
#include <vector>

namespace {

struct Entry
{
    TQThumbnailMemoryCache::Key key;
    QImage image;
    qint64 cost;
};

using EntryList = std::list<Entry>;

} // namespace

struct TQThumbnailMemoryCache::Private
{
    mutable QMutex mutex;
    qint64 budget = 0;
    qint64 used = 0;
    // Most recently used first; the hash points into it, and splicing keeps those iterators.
    EntryList entries;
    QHash<Key, EntryList::iterator> index;
    Statistics statistics;

    // Moves the images of dropped entries into \a released, so that they are freed after the
    // lock is let go.
    void erase(EntryList::iterator it, std::vector<QImage> &released)
    {
        used -= it->cost;
        released.push_back(std::move(it->image));
        index.remove(it->key);
        entries.erase(it);
    }

    void evictToFit(qint64 limit, std::vector<QImage> &released)
    {
        while (used > limit && !entries.empty()) {
            erase(std::prev(entries.end()), released);
            ++statistics.evictions;
        }
    }
};

TQThumbnailMemoryCache::TQThumbnailMemoryCache(qint64 budgetBytes)
    : d(std::make_unique<Private>())
{
    d->budget = std::max<qint64>(0, budgetBytes);
}

TQThumbnailMemoryCache::~TQThumbnailMemoryCache() = default;

void TQThumbnailMemoryCache::setBudget(qint64 budgetBytes)
{
    std::vector<QImage> released;
    QMutexLocker locker(&d->mutex);
    d->budget = std::max<qint64>(0, budgetBytes);
    d->evictToFit(d->budget, released);
}

qint64 TQThumbnailMemoryCache::budget() const
{
    QMutexLocker locker(&d->mutex);
    return d->budget;
}

qint64 TQThumbnailMemoryCache::bytesUsed() const
{
    QMutexLocker locker(&d->mutex);
    return d->used;
}

qsizetype TQThumbnailMemoryCache::count() const
{
    QMutexLocker locker(&d->mutex);
    return d->index.size();
}

bool TQThumbnailMemoryCache::insert(const Key &key, const QImage &image)
{
    const qint64 cost = image.sizeInBytes();
    std::vector<QImage> released;
    QMutexLocker locker(&d->mutex);
    const auto existing = d->index.constFind(key);
    if (existing != d->index.constEnd())
        d->erase(existing.value(), released);
    if (image.isNull() || cost > d->budget) {
        ++d->statistics.rejections;
        locker.unlock();
        qCDebug(lcLoading) << "thumbnail not kept in memory:" << key << cost << "bytes";
        return false;
    }
    d->evictToFit(d->budget - cost, released);
    d->entries.push_front(Entry{key, image, cost});
    d->index.insert(key, d->entries.begin());
    d->used += cost;
    ++d->statistics.insertions;
    return true;
}

QImage TQThumbnailMemoryCache::image(const Key &key)
{
    QMutexLocker locker(&d->mutex);
    const auto found = d->index.constFind(key);
    if (found == d->index.constEnd()) {
        ++d->statistics.misses;
        return QImage();
    }
    ++d->statistics.hits;
    d->entries.splice(d->entries.begin(), d->entries, found.value());
    return found.value()->image;
}

bool TQThumbnailMemoryCache::contains(const Key &key) const
{
    QMutexLocker locker(&d->mutex);
    return d->index.contains(key);
}

bool TQThumbnailMemoryCache::remove(const Key &key)
{
    std::vector<QImage> released;
    QMutexLocker locker(&d->mutex);
    const auto found = d->index.constFind(key);
    if (found == d->index.constEnd())
        return false;
    d->erase(found.value(), released);
    return true;
}

qsizetype TQThumbnailMemoryCache::removeIdentity(const QString &identity)
{
    std::vector<QImage> released;
    QMutexLocker locker(&d->mutex);
    for (auto it = d->entries.begin(); it != d->entries.end();) {
        const auto next = std::next(it);
        if (it->key.identity == identity)
            d->erase(it, released);
        it = next;
    }
    return qsizetype(released.size());
}

void TQThumbnailMemoryCache::clear()
{
    EntryList dropped;
    QMutexLocker locker(&d->mutex);
    d->index.clear();
    d->entries.swap(dropped);
    d->used = 0;
}

TQThumbnailMemoryCache::Statistics TQThumbnailMemoryCache::statistics() const
{
    QMutexLocker locker(&d->mutex);
    return d->statistics;
}

void TQThumbnailMemoryCache::resetStatistics()
{
    QMutexLocker locker(&d->mutex);
    d->statistics = Statistics();
}

QDebug operator<<(QDebug debug, const TQThumbnailMemoryCache::Key &key)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "Key(" << key.identity << ", " << key.size.width() << 'x' << key.size.height() << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const TQThumbnailMemoryCache::Statistics &statistics)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "Statistics(hits " << statistics.hits << ", misses " << statistics.misses
                    << ", insertions " << statistics.insertions << ", rejections " << statistics.rejections
                    << ", evictions " << statistics.evictions << ')';
    return debug;
}
