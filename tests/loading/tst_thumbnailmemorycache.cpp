// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQThumbnailMemoryCache.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using Key = TQThumbnailMemoryCache::Key;

namespace {

// An entry of n units is a 16 x 16n ARGB image, 1 KiB per unit, keyed by its identity and
// its size: "a2" is identity "a" at 16x32.
constexpr qint64 unitBytes = 16 * 16 * 4;

Key keyOf(QStringView word)
{
    return {word.left(1).toString(), QSize(16, 16 * word.mid(1).toInt())};
}

} // namespace

class TestThumbnailMemoryCache : public QObject
{
    Q_OBJECT

private slots:
    // Each step: "+a2" inserts a's 2-unit image, "!a2" a null image under that key, "?a2"
    // reads it, "=a2" asks contains(), "-a2" removes it, "*a" removes every size of a, "B3"
    // sets the budget to 3 units.
    void lruUnderBudget_data()
    {
        QTest::addColumn<int>("budgetUnits");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("remaining");
        QTest::addColumn<QList<int>>("statistics"); // hits, misses, evictions, rejections

        QTest::newRow("a read makes an entry recent") << 3 << u"+a1 +b1 +c1 ?a1 +d1"_s << u"a1 c1 d1"_s << QList{1, 0, 1, 0};
        QTest::newRow("asking whether it is there does not: the least recently inserted goes") << 3 << u"+a1 +b1 +c1 =a1 +d1"_s << u"b1 c1 d1"_s << QList{0, 0, 1, 0};
        QTest::newRow("a big entry evicts as many as it needs") << 4 << u"+a1 +b1 +c1 +d1 +e3"_s << u"d1 e3"_s << QList{0, 0, 3, 0};
        QTest::newRow("an entry exactly the budget is kept alone") << 3 << u"+a1 +b1 +c3"_s << u"c3"_s << QList{0, 0, 2, 0};
        QTest::newRow("an entry bigger than the budget is not kept and evicts nothing")
            << 3 << u"+a1 +b1 +c4"_s << u"a1 b1"_s << QList{0, 0, 0, 1};
        QTest::newRow("replacing a key keeps one entry, recent, with the new image")
            << 2 << u"+a1 +b1 +a1 +c1 ?a1"_s << u"a1 c1"_s << QList{1, 0, 1, 0};
        QTest::newRow("a replacement that cannot be kept leaves no stale entry")
            << 8 << u"+a1 !a1 ?a1 +b1"_s << u"b1"_s << QList{0, 1, 0, 1};
        QTest::newRow("each size is its own entry") << 4 << u"+a1 +a2 ?a1 ?a3"_s << u"a1 a2"_s << QList{1, 1, 0, 0};
        QTest::newRow("removing an identity removes every size") << 8 << u"+a1 +a2 +b1 *a"_s << u"b1"_s << QList{0, 0, 0, 0};
        QTest::newRow("removed entries free their bytes") << 2 << u"+a1 +b1 -a1 +c1"_s << u"b1 c1"_s << QList{0, 0, 0, 0};
        QTest::newRow("a smaller budget evicts the least recent") << 4 << u"+a1 +b1 +c1 +d1 ?a1 B2"_s << u"a1 d1"_s << QList{1, 0, 2, 0};
        QTest::newRow("a budget of nothing keeps nothing") << 0 << u"+a1 ?a1"_s << QString() << QList{0, 1, 0, 1};
    }

    void lruUnderBudget()
    {
        QFETCH(int, budgetUnits);
        QFETCH(QString, steps);
        QFETCH(QString, remaining);

        TQThumbnailMemoryCache cache(budgetUnits * unitBytes);
        QHash<QString, int> latest; // the generation of the image last inserted under each word
        int generation = 0;
        for (const QString &word : steps.split(u' ', Qt::SkipEmptyParts)) {
            const QString argument = word.mid(1);
            const Key key = keyOf(argument);
            switch (word.front().unicode()) {
            case u'+': {
                QImage image(key.size, QImage::Format_ARGB32);
                image.fill(QColor::fromRgb(latest[argument] = ++generation, 0, 0));
                QCOMPARE(cache.insert(key, image), image.sizeInBytes() <= cache.budget());
                break;
            }
            case u'!':
                QVERIFY(!cache.insert(key, QImage()));
                break;
            case u'?': {
                const QImage image = cache.image(key);
                QCOMPARE(image.isNull() ? 0 : image.pixelColor(0, 0).red(), cache.contains(key) ? latest.value(argument) : 0);
                break;
            }
            case u'=':
                cache.contains(key);
                break;
            case u'-':
                QVERIFY(cache.remove(key));
                QVERIFY(!cache.remove(key));
                break;
            case u'*':
                QVERIFY(cache.removeIdentity(argument) > 0);
                break;
            case u'B':
                cache.setBudget(argument.toInt() * unitBytes);
                break;
            }
            QVERIFY(cache.bytesUsed() <= cache.budget());
        }

        const QStringList expected = remaining.split(u' ', Qt::SkipEmptyParts);
        qint64 expectedBytes = 0;
        for (const QString &word : expected) {
            QVERIFY2(cache.contains(keyOf(word)), qPrintable(word));
            expectedBytes += keyOf(word).size.height() / 16 * unitBytes;
        }
        QCOMPARE(cache.count(), expected.size());
        QCOMPARE(cache.bytesUsed(), expectedBytes);
        const TQThumbnailMemoryCache::Statistics s = cache.statistics();
        QTEST((QList<int>{int(s.hits), int(s.misses), int(s.evictions), int(s.rejections)}), "statistics");
        cache.clear();
        QCOMPARE(cache.bytesUsed(), 0);
        QCOMPARE(cache.count(), 0);
    }

    void urlKeysKeepBytesApart()
    {
        // Two names that differ only in a byte that is not UTF-8: as text both would read U+FFFD.
        const Key first = Key::forUrl(QUrl(u"file:///photos/%FF.jpg"_s), QSize(128, 128));
        QVERIFY(first != Key::forUrl(QUrl(u"file:///photos/%FE.jpg"_s), QSize(128, 128)));
        QCOMPARE(first, Key::forUrl(QUrl(u"file:///photos/%FF.jpg"_s), QSize(128, 128)));
    }

    // Threads insert, read and remove at once; afterwards the counts must balance and the budget
    // must hold, which a race in the bookkeeping would break.
    void concurrentUseKeepsTheBooks()
    {
        constexpr int threadCount = 4;
        constexpr int rounds = 20000;
        TQThumbnailMemoryCache cache(40 * unitBytes);
        std::atomic<qint64> reads{0}, removed{0};
        std::atomic<bool> overBudget{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&, t] {
                QImage image(16, 16, QImage::Format_ARGB32);
                image.fill(Qt::red);
                const auto key = [t](int i) { return Key{QString::number(t) + u'-' + QString::number(i), QSize(16, 16)}; };
                for (int i = 0; i < rounds; ++i) {
                    // Every insertion has a key of its own, so no insertion replaces another.
                    cache.insert(key(i), image);
                    // Mostly hits (a recent key, moved to the front), some misses (an old one).
                    const Key earlier = key(i % 5 ? i - 1 : i / 2);
                    cache.image(earlier);
                    cache.image(key(i));
                    reads += 2;
                    if (i % 7 == 0 && cache.remove(earlier))
                        ++removed;
                    if (i % 501 == 0)
                        cache.setBudget((i % 2 ? 40 : 20) * unitBytes);
                    if (cache.bytesUsed() > 40 * unitBytes)
                        overBudget = true;
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();

        const TQThumbnailMemoryCache::Statistics statistics = cache.statistics();
        QVERIFY(!overBudget);
        QCOMPARE(statistics.hits + statistics.misses, reads.load());
        QCOMPARE(statistics.insertions, qint64(threadCount) * rounds);
        QCOMPARE(qint64(cache.count()), statistics.insertions - statistics.evictions - removed.load());
        QCOMPARE(cache.bytesUsed(), cache.count() * unitBytes);
    }
};

QTEST_APPLESS_MAIN(TestThumbnailMemoryCache)
#include "tst_thumbnailmemorycache.moc"
