#include "TQImageUtilities.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

class TestImageUtilities : public QObject
{
    Q_OBJECT

private slots:
    void addsPropertiesWithTheCommonGroups();
    void leavesTheDictionaryAloneForNonImages();
};

void TestImageUtilities::addsPropertiesWithTheCommonGroups()
{
    QTemporaryDir dir;
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::yellow);
    QVERIFY(image.save(dir.filePath(QStringLiteral("plain.jpg")), "JPEG"));

    QVariantMap dictionary{{QStringLiteral("PixelWidth"), 1}, {QStringLiteral("kept"), QStringLiteral("mine")}};
    QVERIFY(TQImageUtilities::addPropertiesofFile(UWStandardFile::newFileForPath(dir.filePath(QStringLiteral("plain.jpg"))), dictionary));
    QCOMPARE(dictionary.value(QStringLiteral("PixelWidth")).toInt(), 40); // replaced
    QCOMPARE(dictionary.value(QStringLiteral("kept")), QVariant(QStringLiteral("mine")));
    // A JPEG without EXIF or IPTC still gets the groups a caller fills in, and only those.
    for (const char *group : {"{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}", "{MakerNikon}"})
        QVERIFY2(dictionary.value(QString::fromLatin1(group)).typeId() == QMetaType::QVariantMap, group);
    QVERIFY(dictionary.value(QStringLiteral("{IPTC}")).toMap().isEmpty());
    QVERIFY(!dictionary.contains(QStringLiteral("{GPS}")));
}

void TestImageUtilities::leavesTheDictionaryAloneForNonImages()
{
    QTemporaryDir dir;
    QFile text(dir.filePath(QStringLiteral("notes.txt")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("words\n");
    text.close();
    const QVariantMap before{{QStringLiteral("a"), 1}};
    QVariantMap dictionary = before;
    QVERIFY(!TQImageUtilities::addPropertiesofFile(UWStandardFile::newFileForPath(text.fileName()), dictionary));
    QVERIFY(!TQImageUtilities::addPropertiesofFile(nullptr, dictionary));
    QCOMPARE(dictionary, before);
}

QTEST_GUILESS_MAIN(TestImageUtilities)
#include "tst_imageutilities.moc"
