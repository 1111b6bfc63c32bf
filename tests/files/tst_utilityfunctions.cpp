#include "TQUtilityFunctions.h"

#include <QTest>

class TestUtilityFunctions : public QObject
{
    Q_OBJECT

private slots:
    void conformsToArray_data();
    void conformsToArray();
};

void TestUtilityFunctions::conformsToArray_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QStringList>("types");
    QTest::addColumn<bool>("expected");

    const QStringList imageTypes{QStringLiteral("public.image"), QStringLiteral("com.adobe.encapsulated-postscript")};
    QTest::newRow("a JPEG against the image types") << "public.jpeg" << imageTypes << true;
    QTest::newRow("EPS is found by the second entry") << "com.adobe.encapsulated-postscript" << imageTypes << true;
    QTest::newRow("PDF against the image types") << "com.adobe.pdf" << imageTypes << false;
    QTest::newRow("anything against an empty list") << "public.jpeg" << QStringList{} << false;
    QTest::newRow("the empty type against the image types") << "" << imageTypes << false;
    QTest::newRow("a dynamic type against its media class") << "dyn.mime.image.x-xcf" << imageTypes << true;
    QTest::newRow("repeated entries change nothing") << "public.png"
        << QStringList{QStringLiteral("public.jpeg"), QStringLiteral("public.jpeg"), QStringLiteral("public.png")} << true;
}

void TestUtilityFunctions::conformsToArray()
{
    QFETCH(QString, type);
    QFETCH(QStringList, types);
    QFETCH(bool, expected);
    QCOMPARE(TQUTTypeConformsToArray(type, types), expected);
}

QTEST_GUILESS_MAIN(TestUtilityFunctions)
#include "tst_utilityfunctions.moc"
