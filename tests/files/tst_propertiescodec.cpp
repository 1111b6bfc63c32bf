// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The bytes an item keeps of an image's dictionary must give back the same tree, type for type,
// for anything a hostile file can make the reader put in it, and nothing at all (never part of
// a tree, never a read past the end) for bytes that are not whole.

#include "TQPropertiesCodec_p.h"
#include "TQSameTree.h"

#include <QDataStream>
#include <QDateTime>
#include <QRegularExpression>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

QVariant nested(int depth)
{
    QVariant v = u"bottom"_s;
    for (int i = 0; i < depth; ++i)
        v = i % 2 ? QVariant(QVariantList{v, i}) : QVariant(QVariantMap{{u"level"_s, v}});
    return v;
}

// Null and empty texts and byte arrays compare equal as QVariants; the codec keeps them apart.
bool sameNullness(const QVariant &a, const QVariant &b)
{
    if (a.typeId() == QMetaType::QString)
        return a.toString().isNull() == b.toString().isNull();
    if (a.typeId() == QMetaType::QByteArray)
        return a.toByteArray().isNull() == b.toByteArray().isNull();
    if (a.typeId() == QMetaType::QVariantList) {
        const QVariantList x = a.toList(), y = b.toList();
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), sameNullness);
    }
    if (a.typeId() == QMetaType::QVariantMap) {
        const QVariantMap x = a.toMap(), y = b.toMap();
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), sameNullness);
    }
    return true;
}

} // namespace

class TestPropertiesCodec : public QObject
{
    Q_OBJECT

private slots:
    // The point of the codec: a folder of images keeps a dictionary per image. First, before
    // roundTrip() fills the process's bounded pool of keys with made-up ones.
    void smallerThanAStream()
    {
        const QVariantMap jpeg{{u"ColorModel"_s, u"RGB"_s}, {u"DPIHeight"_s, 100}, {u"DPIWidth"_s, 100},
                               {u"Depth"_s, 8}, {u"HasAlpha"_s, false}, {u"PixelHeight"_s, 89}, {u"PixelWidth"_s, 42},
                               {u"{JFIF}"_s, QVariantMap{{u"DensityUnit"_s, 1}, {u"IsProgressive"_s, false},
                                                         {u"JFIFVersion"_s, QVariantList{1, 1}}, {u"XDensity"_s, 100},
                                                         {u"YDensity"_s, 100}}}};
        QByteArray streamed;
        QDataStream stream(&streamed, QIODevice::WriteOnly);
        stream << jpeg;
        const QByteArray bytes = TQPropertiesCodec::encode(jpeg);
        QVERIFY2(bytes.size() * 4 < streamed.size(), QByteArray::number(bytes.size()) + " bytes against " + QByteArray::number(streamed.size()));
    }

    void roundTrip_data()
    {
        QTest::addColumn<QVariantMap>("properties");
        const QString loneSurrogate = u"a"_s + QChar(0xd800) + u"b"_s;

        QTest::newRow("a small JPEG's") << QVariantMap{
            {u"ColorModel"_s, u"RGB"_s}, {u"Depth"_s, 8}, {u"HasAlpha"_s, false}, {u"PixelWidth"_s, 42},
            {u"{JFIF}"_s, QVariantMap{{u"JFIFVersion"_s, QVariantList{1, 1}}, {u"XDensity"_s, 100.0}}}};
        QTest::newRow("numbers at their limits") << QVariantMap{
            {u"int min"_s, std::numeric_limits<int>::min()}, {u"int max"_s, std::numeric_limits<int>::max()},
            {u"minus one"_s, -1}, {u"seven bits"_s, 127}, {u"eight bits"_s, 128},
            {u"long min"_s, std::numeric_limits<qlonglong>::min()}, {u"long max"_s, std::numeric_limits<qlonglong>::max()},
            {u"uint max"_s, std::numeric_limits<uint>::max()}, {u"ulong max"_s, std::numeric_limits<qulonglong>::max()},
            {u"tiny"_s, std::numeric_limits<double>::denorm_min()}, {u"minus zero"_s, -0.0}, {u"true"_s, true}};
        QTest::newRow("texts and bytes") << QVariantMap{
            {u"null"_s, QString()}, {u"empty"_s, u""_s}, {u"accents"_s, u"Café 東京 \U0001F600"_s},
            {u"lone surrogate"_s, loneSurrogate}, {loneSurrogate, 1},
            {u"bytes"_s, QByteArray("a\0b", 3)}, {u"null bytes"_s, QByteArray()}, {u"empty bytes"_s, QByteArray("")}};
        QTest::newRow("other types, and no value") << QVariantMap{
            {u"date"_s, QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58), Qt::UTC)},
            {u"texts"_s, QStringList{u"x"_s, u"y"_s}}, {u"none"_s, QVariant()}, {u"list"_s, QVariantList{QVariant(), 2LL}}};
        QTest::newRow("nested deeper than the codec recurses") << QVariantMap{{u"deep"_s, nested(80)}};
        QVariantMap manyKeys;
        for (int i = 0; i < 5000; ++i)
            manyKeys.insert(u"made-up key %1"_s.arg(i), i);
        QTest::newRow("more keys than the pool keeps") << manyKeys;
        QTest::newRow("empty") << QVariantMap();
    }

    void roundTrip()
    {
        QFETCH(QVariantMap, properties);
        const QByteArray bytes = TQPropertiesCodec::encode(properties);
        QVERIFY(!bytes.isEmpty());
        const QVariantMap back = TQPropertiesCodec::decode(bytes);
        QVERIFY(tqSameTree(back, properties));
        QVERIFY(sameNullness(back, properties));
        // Encoding again gives the same bytes: the keys' numbers are the process's, not the call's.
        QCOMPARE(TQPropertiesCodec::encode(back), bytes);
    }

    void brokenBytes()
    {
        const QVariantMap properties{{u"a"_s, QVariantList{1, u"two"_s, 3.0}}, {u"b"_s, QVariantMap{{u"c"_s, QByteArray("d")}}},
                                     {u"e"_s, QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC)}};
        const QByteArray bytes = TQPropertiesCodec::encode(properties);
        // Every cut and every extra byte gives nothing rather than part of a tree.
        for (qsizetype cut = 1; cut < bytes.size(); ++cut) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could not be read back"_s));
            QVERIFY2(TQPropertiesCodec::decode(bytes.left(cut)).isEmpty(), qPrintable(u"cut at %1"_s.arg(cut)));
        }
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could not be read back"_s));
        QVERIFY(TQPropertiesCodec::decode(bytes + '\0').isEmpty());
        // Counts far beyond the bytes (a list's would reserve gigabytes), an unknown tag, a key
        // number never given out, an int and an unsigned past 32 bits, a list where the dictionary belongs.
        for (const QByteArray &junk : {QByteArray("\x0d\xff\xff\xff\xff\x0f", 6), QByteArray("\x0d\x01\x00\x0c\xff\xff\xff\xff\x0f", 9),
                                       QByteArray("\x0d\x01\x00\x7f", 4), QByteArray("\x0d\x01\xfe\xff\x03\x00", 6),
                                       QByteArray("\x0d\x01\x00\x03\x80\x80\x80\x80\x10", 9),
                                       QByteArray("\x0d\x01\x00\x05\x80\x80\x80\x80\x10", 9), QByteArray("\x0c\x01", 2)}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could not be read back"_s));
            QVERIFY2(TQPropertiesCodec::decode(junk).isEmpty(), junk.toHex().constData());
        }
        QVERIFY(TQPropertiesCodec::decode({}).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestPropertiesCodec)
#include "tst_propertiescodec.moc"
