// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFormatting.h"
#include "TQUtilityFunctions.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestUtilityFunctions : public QObject
{
    Q_OBJECT

private slots:
    void conformsToArray_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QStringList>("types");
        QTest::addColumn<bool>("expected");

        const QStringList imageTypes{u"public.image"_s, u"com.adobe.encapsulated-postscript"_s};
        QTest::newRow("a JPEG against the image types") << "public.jpeg" << imageTypes << true;
        QTest::newRow("EPS is found by the second entry") << "com.adobe.encapsulated-postscript" << imageTypes << true;
        QTest::newRow("PDF against the image types") << "com.adobe.pdf" << imageTypes << false;
        QTest::newRow("anything against an empty list") << "public.jpeg" << QStringList{} << false;
        QTest::newRow("the empty type against the image types") << "" << imageTypes << false;
        QTest::newRow("a dynamic type against its media class") << "dyn.mime.image.x-xcf" << imageTypes << true;
        QTest::newRow("a DNG against the editable types") << "com.adobe.raw-image" << TQEditableMetadataImageTypes() << true;
        QTest::newRow("a WebP against the editable types") << "org.webmproject.webp" << TQEditableMetadataImageTypes() << false;
    }

    void conformsToArray()
    {
        QFETCH(QString, type);
        QFETCH(QStringList, types);
        QTEST(TQUTTypeConformsToArray(type, types), "expected");
    }

    void turning_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<int>("degrees"); // turned by
        QTest::addColumn<int>("degreesOfOrientation");
        QTest::addColumn<int>("expected");

        // Each orientation as it stands.
        QTest::newRow("upright") << 1 << 0 << 0 << 1;
        QTest::newRow("mirrored counts as no turn") << 2 << 0 << 0 << 1;
        QTest::newRow("upside down") << 3 << 0 << 180 << 3;
        QTest::newRow("transposed counts as no turn") << 5 << 0 << 0 << 1;
        QTest::newRow("a quarter turn clockwise") << 6 << 0 << 270 << 6;
        QTest::newRow("transversed counts as no turn") << 7 << 0 << 0 << 1;
        QTest::newRow("a quarter turn counter-clockwise") << 8 << 0 << 90 << 8;
        QTest::newRow("zero is no orientation") << 0 << 0 << 0 << 1;
        QTest::newRow("nine is no orientation") << 9 << 0 << 0 << 1;
        // Angles from an upright start.
        QTest::newRow("450 degrees is a quarter turn") << 1 << 450 << 0 << 8;
        QTest::newRow("-90 degrees is three quarters") << 1 << -90 << 0 << 6;
        QTest::newRow("-450 degrees is three quarters") << 1 << -450 << 0 << 6;
        QTest::newRow("360 degrees is upright") << 1 << 360 << 0 << 1;
        QTest::newRow("-270 degrees is a quarter turn") << 1 << -270 << 0 << 8;
        QTest::newRow("630 degrees is three quarters") << 1 << 630 << 0 << 6;
        // Turning further.
        QTest::newRow("6 turned by 90 is upright") << 6 << 90 << 270 << 1;
        QTest::newRow("3 turned by 270 is 8") << 3 << 270 << 180 << 8;
        QTest::newRow("8 turned by 90 is 3") << 8 << 90 << 90 << 3;
        QTest::newRow("a mirrored 2 turned by 90 loses its mirror") << 2 << 90 << 0 << 8;
        QTest::newRow("an angle off the right angles is upright") << 6 << 45 << 270 << 1;
        QTest::newRow("a huge angle does not overflow") << 8 << 2147483640 << 90 << 1;
        QTest::newRow("a huge negative right angle") << 1 << -2147483556 << 0 << 1;
    }

    void turning()
    {
        QFETCH(int, orientation);
        QFETCH(int, degrees);
        QFETCH(int, expected);
        QTEST(TQDegreesForRotation(orientation), "degreesOfOrientation");
        QCOMPARE(TQChangeRotationByDegrees(orientation, degrees), expected);
        if (orientation == 1 && degrees % 90 == 0)
            QCOMPARE(TQRotationForDegrees(degrees), expected);
    }

    void proportionalScale_data()
    {
        QTest::addColumn<int>("maxSize");
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<QSizeF>("expected");

        QTest::newRow("landscape") << 100 << QSizeF(400, 300) << QSizeF(100, 75);
        QTest::newRow("portrait") << 100 << QSizeF(300, 400) << QSizeF(75, 100);
        QTest::newRow("square") << 64 << QSizeF(10, 10) << QSizeF(64, 64);
        // Above 2^24 the product's maximum is the nearest float: a square keeps the exact one as its width.
        QTest::newRow("a square above 2^24") << 16777217 << QSizeF(10, 10) << QSizeF(16777217, 16777216);
        QTest::newRow("small sizes are scaled up, the short side rounded down") << 100 << QSizeF(30, 20) << QSizeF(100, 66);
        QTest::newRow("no width") << 100 << QSizeF(0, 300) << QSizeF(0, 0);
        QTest::newRow("a negative height") << 100 << QSizeF(300, -1) << QSizeF(0, 0);
    }

    void proportionalScale()
    {
        QFETCH(int, maxSize);
        QFETCH(QSizeF, size);
        QTEST(TQProportionalScaleToMaxSize(maxSize, size), "expected");
    }

    void byteCounts_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");

        QTest::newRow("nothing") << qint64(0) << "Zero KB";
        QTest::newRow("one byte") << qint64(1) << "1 byte";
        QTest::newRow("bytes below a kilobyte") << qint64(999) << "999 bytes";
        QTest::newRow("a kilobyte is a thousand bytes") << qint64(1000) << "1 KB";
        QTest::newRow("kilobytes are rounded to whole ones") << qint64(1500) << "2 KB";
        QTest::newRow("thousands are grouped") << qint64(999499) << "999 KB";
        QTest::newRow("just under a megabyte reads as one") << qint64(999999) << "1.0 MB";
        QTest::newRow("megabytes keep one decimal") << qint64(123456789) << "123.5 MB";
        QTest::newRow("gigabytes keep two") << qint64(1234567890) << "1.23 GB";
        QTest::newRow("terabytes") << qint64(5000000000000) << "5.00 TB";
    }

    void byteCounts()
    {
        QFETCH(qint64, bytes);
        QTEST(TQByteCountString(bytes, QLocale(QLocale::English, QLocale::UnitedStates)), "text");
    }

    void dates_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("text");
        QTest::newRow("English (United States)") << QLocale(QLocale::English, QLocale::UnitedStates) << "Nov 21, 2026, 5:27 AM";
        QTest::newRow("German") << QLocale(QLocale::German, QLocale::Germany) << "21. Nov. 2026, 05:27";
    }

    void dates()
    {
        QFETCH(QLocale, locale);
        QTEST(TQMediumDateShortTimeString(QDateTime(QDate(2026, 11, 21), QTime(5, 27, 31), Qt::UTC), locale), "text");
        QCOMPARE(TQMediumDateShortTimeString(QDateTime(), locale), QString());
    }

    void replaceAll_data()
    {
        QTest::addColumn<QString>("string");
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("replacement");
        QTest::addColumn<QString>("expected");

        QTest::newRow("pairs of a become b") << "aaaa" << "aa" << "b" << "bb";
        QTest::newRow("the replacement joins the next letter and is replaced again") << "abbbb" << "ab" << "a" << "a";
        QTest::newRow("what the replacement forms with the text before it is not sought") << "aaab" << "ab" << "b" << "aab";
        QTest::newRow("a longer replacement") << "x-y-z" << "-" << "+=" << "x+=y+=z";
        QTest::newRow("removal") << "a.b.c" << "." << "" << "abc";
        QTest::newRow("case matters") << "Aa" << "a" << "b" << "Ab";
        QTest::newRow("an empty string to find is found nowhere") << "abc" << "" << "x" << "abc";
        QTest::newRow("in an empty string") << "" << "a" << "b" << "";
        // Were the needle read again after the first replacement, it would be "x" and be found
        // in its own replacement forever.
        QTest::newRow("the string itself") << "abc" << "abc" << "x" << "x";
        QTest::newRow("composed and decomposed accents differ") << u"caf\u00e9 cafe\u0301"_s << u"\u00e9"_s << "e" << u"cafe cafe\u0301"_s;
        QTest::newRow("half of a surrogate pair is a code unit like any other")
            << u"a\U0001F600b"_s << QString(QChar(0xD83D)) << "?" << (u"a?"_s + QChar(0xDE00) + u'b');
    }

    void replaceAll()
    {
        QFETCH(QString, string);
        QFETCH(QString, find);
        QFETCH(QString, replacement);
        TQReplaceAllOccurrancesOfString(string, string == find ? string : find, replacement);
        QTEST(string, "expected");
    }

    void cleanFileName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");

        QTest::newRow("a slash and a colon") << "a/b:c" << "a|b.c";
        QTest::newRow("a NUL between two letters joins them") << QString(u"a\0b"_s) << "ab";
        QTest::newRow("a path becomes one name") << "/usr/local/bin/" << "|usr|local|bin|";
        QTest::newRow("leading dots and spaces stay") << " ..hidden " << " ..hidden ";
        QTest::newRow("no length limit") << QString(1000, u':') << QString(1000, u'.');
        QTest::newRow("other characters are untouched") << u"\u00e9t\u00e9\\*?<>\"\t"_s << u"\u00e9t\u00e9\\*?<>\"\t"_s;
        QTest::newRow("a null QString is a name, an empty one") << QString() << "";
    }

    void cleanFileName()
    {
        QFETCH(QString, name);
        const std::optional<QString> clean = TQCreateCleanFileName(name);
        QVERIFY(clean.has_value());
        QTEST(*clean, "expected");
        QVERIFY(!TQCreateCleanFileName(std::nullopt).has_value());
    }
};

QTEST_GUILESS_MAIN(TestUtilityFunctions)
#include "tst_utilityfunctions.moc"
