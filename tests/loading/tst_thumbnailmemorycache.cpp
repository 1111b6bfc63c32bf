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
    const int units = word.mid(1).toInt();
    return {word.left(1).toString(), QSize(16, 16 * units)};
}

QImage imageOf(QStringView word, int generation)
{
    const Key key = keyOf(word);
    QImage image(key.size, QImage::Format_ARGB32);
    image.fill(QColor::fromRgb(generation, 0, 0));
    return image;
}

} // namespace

class TestThumbnailMemoryCache : public QObject
{
    Q_OBJECT

private slots:
    // Each step: "+a2" inserts a's 2-unit image, "?a2" reads it, "=a2" asks contains(), "-a2"
    // removes it, "*a" removes every size of a, "B3" sets the budget to 3 units.
    void lruUnderBudget_data()
    {
        QTest::addColumn<int>("budgetUnits");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("remaining");
        QTest::addColumn<int>("hits");
        QTest::addColumn<int>("misses");
        QTest::addColumn<int>("evictions");
        QTest::addColumn<int>("rejections");

        QTest::newRow("the least recently inserted goes first")
            << 3 << u"+a1 +b1 +c1 +d1"_s << u"b1 c1 d1"_s << 0 << 0 << 1 << 0;
        QTest::newRow("a read makes an entry recent")
            << 3 << u"+a1 +b1 +c1 ?a1 +d1"_s << u"a1 c1 d1"_s << 1 << 0 << 1 << 0;
        QTest::newRow("asking whether it is there does not")
            << 3 << u"+a1 +b1 +c1 =a1 +d1"_s << u"b1 c1 d1"_s << 0 << 0 << 1 << 0;
        QTest::newRow("a big entry evicts as many as it needs")
            << 4 << u"+a1 +b1 +c1 +d1 +e3"_s << u"d1 e3"_s << 0 << 0 << 3 << 0;
        QTest::newRow("an entry exactly the budget is kept alone")
            << 3 << u"+a1 +b1 +c3"_s << u"c3"_s << 0 << 0 << 2 << 0;
        QTest::newRow("an entry bigger than the budget is not kept and evicts nothing")
            << 3 << u"+a1 +b1 +c4"_s << u"a1 b1"_s << 0 << 0 << 0 << 1;
        QTest::newRow("a miss is counted and changes nothing")
            << 2 << u"+a1 ?z1 +b1"_s << u"a1 b1"_s << 0 << 1 << 0 << 0;
        QTest::newRow("replacing a key keeps one entry and makes it recent")
            << 2 << u"+a1 +b1 +a1 +c1"_s << u"a1 c1"_s << 0 << 0 << 1 << 0;
        QTest::newRow("each size is its own entry")
            << 4 << u"+a1 +a2 ?a1 ?a3"_s << u"a1 a2"_s << 1 << 1 << 0 << 0;
        QTest::newRow("removing an identity removes every size")
            << 8 << u"+a1 +a2 +b1 *a"_s << u"b1"_s << 0 << 0 << 0 << 0;
        QTest::newRow("removed entries free their bytes")
            << 2 << u"+a1 +b1 -a1 +c1"_s << u"b1 c1"_s << 0 << 0 << 0 << 0;
        QTest::newRow("a smaller budget evicts the least recent")
            << 4 << u"+a1 +b1 +c1 +d1 ?a1 B2"_s << u"a1 d1"_s << 1 << 0 << 2 << 0;
        QTest::newRow("a budget of nothing keeps nothing")
            << 0 << u"+a1 ?a1"_s << QString() << 0 << 1 << 0 << 1;
    }

    void lruUnderBudget()
    {
        QFETCH(int, budgetUnits);
        QFETCH(QString, steps);
        QFETCH(QString, remaining);

        TQThumbnailMemoryCache cache(budgetUnits * unitBytes);
        const QStringList words = steps.split(u' ', Qt::SkipEmptyParts);
        int generation = 0;
        for (const QString &word : words) {
            const QStringView argument = QStringView(word).mid(1);
            switch (word.front().unicode()) {
            case u'+':
                cache.insert(keyOf(argument), imageOf(argument, ++generation));
                break;
            case u'?':
                cache.image(keyOf(argument));
                break;
            case u'=':
                cache.contains(keyOf(argument));
                break;
            case u'-':
                QVERIFY(cache.remove(keyOf(argument)));
                break;
            case u'*':
                QVERIFY(cache.removeIdentity(argument.toString()) > 0);
                break;
            case u'B':
                cache.setBudget(argument.toInt() * unitBytes);
                break;
            default:
                QFAIL("unknown step");
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

        const TQThumbnailMemoryCache::Statistics statistics = cache.statistics();
        QTEST(int(statistics.hits), "hits");
        QTEST(int(statistics.misses), "misses");
        QTEST(int(statistics.evictions), "evictions");
        QTEST(int(statistics.rejections), "rejections");
    }

    void replacementHandsOutTheNewImage()
    {
        TQThumbnailMemoryCache cache(8 * unitBytes);
        const Key key = keyOf(u"a1");
        QVERIFY(cache.insert(key, imageOf(u"a1", 1)));
        const QImage old = cache.image(key);
        QVERIFY(cache.insert(key, imageOf(u"a1", 2)));
        QCOMPARE(cache.image(key).pixelColor(0, 0).red(), 2);
        // The host's copy of the old image is its own and outlives the entry.
        cache.clear();
        QCOMPARE(old.pixelColor(0, 0).red(), 1);
        QCOMPARE(cache.bytesUsed(), 0);

        // A replacement that cannot be kept leaves no stale thumbnail behind.
        QVERIFY(cache.insert(key, imageOf(u"a1", 3)));
        QVERIFY(!cache.insert(key, QImage(16, 16 * 9, QImage::Format_ARGB32)));
        QVERIFY(!cache.contains(key));
        QVERIFY(cache.insert(key, imageOf(u"a1", 4)));
        QVERIFY(!cache.insert(key, QImage()));
        QVERIFY(!cache.contains(key));
        QCOMPARE(cache.bytesUsed(), 0);
    }

    void urlKeysKeepBytesApart()
    {
        // Two names that differ only in a byte that is not UTF-8: as text both would read U+FFFD.
        const QUrl first = QUrl(u"file:///photos/%FF.jpg"_s);
        const QUrl second = QUrl(u"file:///photos/%FE.jpg"_s);
        const Key firstKey = Key::forUrl(first, QSize(128, 128));
        const Key secondKey = Key::forUrl(second, QSize(128, 128));
        QVERIFY(firstKey != secondKey);

        TQThumbnailMemoryCache cache(1 << 20);
        cache.insert(firstKey, imageOf(u"a1", 1));
        QVERIFY(!cache.contains(secondKey));
        QVERIFY(cache.contains(Key::forUrl(QUrl(u"file:///photos/%FF.jpg"_s), QSize(128, 128))));
    }

    // Threads insert, read and remove at once; afterwards the counts must balance and the budget
    // must hold, which a race in the bookkeeping would break.
    void concurrentUseKeepsTheBooks()
    {
        constexpr int threadCount = 4;
        constexpr int rounds = 20000;
        TQThumbnailMemoryCache cache(40 * unitBytes);
        std::atomic<qint64> reads{0};
        std::atomic<qint64> removed{0};
        std::atomic<bool> overBudget{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&, t] {
                QImage image(16, 16, QImage::Format_ARGB32);
                image.fill(Qt::red);
                for (int i = 0; i < rounds; ++i) {
                    // Every insertion has a key of its own, so no insertion replaces another.
                    const Key key{QString::number(t) + u'-' + QString::number(i), QSize(16, 16)};
                    cache.insert(key, image);
                    // Mostly hits (a recent key, moved to the front), some misses (an old one).
                    const Key earlier{QString::number(t) + u'-' + QString::number(i % 5 ? i - 1 : i / 2), QSize(16, 16)};
                    cache.image(earlier);
                    cache.image(key);
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
        QVERIFY(cache.bytesUsed() <= cache.budget());
    }
};

QTEST_APPLESS_MAIN(TestThumbnailMemoryCache)
#include "tst_thumbnailmemorycache.moc"
