// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQThumbnailMemoryCache.h
    \ingroup loading
    \brief TQThumbnailMemoryCache and the debug output of its keys and counts.
*/

#include "tqkit_export.h"

#include <QDebug>
#include <QHashFunctions>
#include <QImage>
#include <QSize>
#include <QString>
#include <QUrl>

#include <memory>

/*!
    \class TQThumbnailMemoryCache
    \brief Thumbnails kept in memory up to a byte budget, the least recently used dropped first.

    A folder view asks the cache before the thumbnail queue: a hit costs a hash look-up and a
    shallow copy of the image. Entries are keyed by (identity, size): the identity is whatever
    names the item stably for the host, usually its URL (TQThumbnailMemoryCache::Key::forUrl
    keeps names that are not UTF-8 apart, being percent-encoded bytes). One item may have one
    entry per thumbnail size.

    The cost of an entry is QImage::sizeInBytes() of its image, whether or not the host still
    shares the pixels elsewhere; the sum never exceeds budget(). An image bigger than the whole
    budget is not kept (insert() answers false), and neither is a null image.

    Thread safety: every member may be called from any thread at once; one mutex guards the
    entries, held only for the hash and list work (never while an image is copied deeply or
    freed: images leave the cache by being released after the lock is dropped).
    Ownership: the cache holds shallow copies; the host's copies stay valid after eviction.

    \ingroup loading
*/
class TQKIT_EXPORT TQThumbnailMemoryCache
{
public:
    /*! What names an entry. */
    struct Key
    {
        QString identity; //!< the item's identity, e.g. its URL fully encoded
        QSize size;       //!< the size the thumbnail was asked for

        /*! The key of \a url's thumbnail at \a size; the URL fully encoded. */
        static Key forUrl(const QUrl &url, QSize size)
        {
            return {url.toString(QUrl::FullyEncoded), size};
        }

        friend bool operator==(const Key &, const Key &) = default;
        friend size_t qHash(const Key &key, size_t seed = 0)
        {
            return qHashMulti(seed, key.identity, key.size.width(), key.size.height());
        }
    };

    /*! Counts since construction or the last resetStatistics(), for benchmarks and tuning. */
    struct Statistics
    {
        qint64 hits = 0;       //!< image() found the entry
        qint64 misses = 0;     //!< image() found nothing
        qint64 insertions = 0; //!< insert() kept an image (a replacement counts)
        qint64 rejections = 0; //!< insert() refused a null image or one bigger than the budget
        qint64 evictions = 0;  //!< entries dropped to make room (not remove() or clear())
    };

    /*! An empty cache that may hold \a budgetBytes of images (0 keeps nothing). */
    explicit TQThumbnailMemoryCache(qint64 budgetBytes);
    ~TQThumbnailMemoryCache();
    TQThumbnailMemoryCache(const TQThumbnailMemoryCache &) = delete;
    TQThumbnailMemoryCache &operator=(const TQThumbnailMemoryCache &) = delete;

    /*! Changes the budget; a smaller one evicts least recently used entries until they fit. */
    void setBudget(qint64 budgetBytes);
    /*! The most bytes the entries may cost together. */
    qint64 budget() const;

    /*! The bytes the entries cost now (at most budget()). */
    qint64 bytesUsed() const;
    /*! The number of entries. */
    qsizetype count() const;

    /*!
        Keeps \a image under \a key as the most recently used entry, replacing what the key held,
        and evicts least recently used entries until the total fits the budget. Returns false,
        and keeps nothing (an old entry of the key is removed too, being stale), when the image
        is null or bigger than the budget.
    */
    bool insert(const Key &key, const QImage &image);

    /*!
        The image under \a key, which becomes the most recently used entry; a null image when
        there is none. Counts a hit or a miss.
    */
    QImage image(const Key &key);

    /*! Whether \a key has an entry; neither counts nor changes the order. */
    bool contains(const Key &key) const;

    /*! Drops the entry of \a key. Returns whether there was one. */
    bool remove(const Key &key);
    /*!
        Drops every size of \a identity, e.g. when the item's file changed. Returns how many.
        Cost: linear in the entries.
    */
    qsizetype removeIdentity(const QString &identity);
    /*! Drops every entry. */
    void clear();

    /*! The counts of hits, misses and evictions since the cache was made or last reset. */
    Statistics statistics() const;
    /*! Sets every count of statistics() to zero; the entries stay. */
    void resetStatistics();

private:
    struct Private;
    std::unique_ptr<Private> const d;
};

//! Writes \a key to \a debug, for logging.
TQKIT_EXPORT QDebug operator<<(QDebug debug, const TQThumbnailMemoryCache::Key &key);
//! Writes \a statistics to \a debug, for logging.
TQKIT_EXPORT QDebug operator<<(QDebug debug, const TQThumbnailMemoryCache::Statistics &statistics);
