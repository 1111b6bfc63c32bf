// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQDateUtilities.h"

#include <QCoreApplication>
#include <QHash>
#include <QSet>
#include <QTest>
#include <QTranslator>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

using Table = QHash<QString, QString>;

const QDateTime now = QDateTime(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC);

// A fraction of one half makes the estimate equal to the time elapsed.
QDateTime startedSecondsAgo(double seconds)
{
    return now.addMSecs(qint64(std::llround(-seconds * 1000.0)));
}

// A real translator, as a host would install one, whose table lives in memory and which
// remembers every text it was asked for.
class TableTranslator : public QTranslator
{
public:
    explicit TableTranslator(Table table) : m_table(std::move(table)) {}

    QString translate(const char *context, const char *sourceText, const char * = nullptr,
                      int = -1) const override
    {
        if (qstrcmp(context, "Quillbox") != 0)
            return QString();
        const QString key = QString::fromUtf8(sourceText);
        asked.insert(key);
        return m_table.value(key);
    }

    bool isEmpty() const override { return false; }

    mutable QSet<QString> asked;

private:
    Table m_table;
};

} // namespace

class TestDateUtilities : public QObject
{
    Q_OBJECT

private slots:
    void timeLeft_data();
    void timeLeft();
    void translated_data();
    void translated();
    void everyUnitWordIsAskedFor_data();
    void everyUnitWordIsAskedFor();
};

void TestDateUtilities::timeLeft_data()
{
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<double>("fraction");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<double>("secondsLeft");

    const auto half = [](const char *name, double seconds, const QString &text) {
        QTest::newRow(name) << seconds << 0.5 << text << seconds;
    };
    half("4 s reads five seconds", 4, u"About 5 seconds remaining"_s);
    half("5 s reads fifteen seconds", 5, u"About 15 seconds remaining"_s);
    half("19 s still reads fifteen seconds", 19, u"About 15 seconds remaining"_s);
    half("20 s reads thirty seconds", 20, u"About 30 seconds remaining"_s);
    half("41 s still reads thirty seconds", 41, u"About 30 seconds remaining"_s);
    half("42 s reads a minute", 42, u"About a minute remaining"_s);
    half("120 s reads two minutes", 120, u"2 minutes remaining"_s);
    half("an hour still counts minutes", 3600, u"60 minutes remaining"_s);
    half("61 minutes keep the plural minutes", 3660, u"1 hour and 1 minutes remaining"_s);
    half("two hours", 7200, u"2 hours remaining"_s);
    half("a day still counts hours", 86400, u"24 hours remaining"_s);
    half("25 hours read one day", 90000, u"1 day remaining"_s);
    half("25 hours and a minute name all three units", 90060, u"1 day, 1 hours, and 1 minutes remaining"_s);
    half("48 hours and a minute skip the empty hours", 172860, u"2 days and 1 minutes remaining"_s);

    QTest::newRow("a half second rounds away from zero")
        << 10.5 << 0.5 << u"About 15 seconds remaining"_s << 11.0;
    QTest::newRow("4.5 s rounds up into the next sentence")
        << 4.5 << 0.5 << u"About 15 seconds remaining"_s << 5.0;
    QTest::newRow("a quarter done after a minute leaves three")
        << 60.0 << 0.25 << u"3 minutes remaining"_s << 180.0;
    QTest::newRow("finished leaves nothing") << 500.0 << 1.0 << u"About 5 seconds remaining"_s << 0.0;

    // A negative estimate wraps to 2^64 - 5 seconds; as a double that is 2^64.
    QTest::newRow("more than finished wraps to billions of days")
        << 10.0 << 2.0 << u"213503982334601 days remaining"_s << 18446744073709551616.0;
    QTest::newRow("a start in the future wraps as well")
        << -5000000.0 << 0.5 << u"213503982334543 days, 10 hours, and 6 minutes remaining"_s
        << 18446744073704551616.0;

    // Beyond the signed range an estimate keeps its value while 64 unsigned bits hold it.
    QTest::newRow("an estimate above the signed range is exact")
        << 1000.0 << 1e-16 << u"115740740740740 days, 17 hours, and 46 minutes remaining"_s << 1e19;
    QTest::newRow("an estimate beyond 64 bits saturates")
        << 10.0 << 1e-300 << u"213503982334601 days remaining"_s << 18446744073709551616.0;
    QTest::newRow("an estimate below the signed range saturates at its wrap")
        << 10.0 << -1e-300 << u"106751991167300 days, 15 hours, and 30 minutes remaining"_s
        << 9223372036854775808.0;
    QTest::newRow("not a number counts as nothing left")
        << 10.0 << std::nan("") << u"About 5 seconds remaining"_s << 0.0;
    // No progress yet: no text, and the seconds handed in are left as they were.
    QTest::newRow("nothing done tells nothing") << 100.0 << 0.0 << QString() << -1.0;
    QTest::newRow("nothing done, negative zero, tells nothing") << 100.0 << -0.0 << QString() << -1.0;
    QTest::newRow("a vanishing fraction at the very start counts as nothing left")
        << 0.0 << std::numeric_limits<double>::denorm_min() << u"About 5 seconds remaining"_s << 0.0;
}

void TestDateUtilities::timeLeft()
{
    QFETCH(double, elapsed);
    QFETCH(double, fraction);
    QFETCH(QString, expected);
    QFETCH(double, secondsLeft);

    double returned = -1;
    QCOMPARE(TQDateUtilities::stringForTimeLeftWithPercentComplete(startedSecondsAgo(elapsed), fraction,
                                                                   &returned, now),
             expected);
    QCOMPARE(returned, secondsLeft);
    QCOMPARE(TQDateUtilities::stringForTimeLeftWithPercentComplete(startedSecondsAgo(elapsed), fraction,
                                                                   nullptr, now),
             expected);
}

void TestDateUtilities::translated_data()
{
    QTest::addColumn<Table>("table");
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<QString>("expected");

    const Table german = {
        {u"minutes"_s, u"Minuten"_s},
        {u"hour"_s, u"Stunde"_s},
        {u"%qu %@ remaining"_s, u"noch %qu %@"_s},
        {u"%qu %@ and %qu %@ remaining"_s, u"noch %qu %@ und %qu %@"_s},
        {u"About 15 seconds remaining"_s, u"Etwa 15 Sekunden"_s},
    };
    QTest::newRow("a unit word and its format") << german << 120.0 << u"noch 2 Minuten"_s;
    QTest::newRow("the singular leading word and the plural following one")
        << german << 3660.0 << u"noch 1 Stunde und 1 Minuten"_s;
    QTest::newRow("a fixed sentence") << german << 10.0 << u"Etwa 15 Sekunden"_s;
    QTest::newRow("an untranslated word stays English inside a translated format")
        << german << 7200.0 << u"noch 2 hours"_s;

    QTest::newRow("a translator may reorder the arguments")
        << Table{{u"%qu %@, %qu %@, and %qu %@ remaining"_s, u"%5$qu %6$@ / %3$qu %4$@ / %1$qu %2$@"_s}}
        << 90060.0 << u"1 minutes / 1 hours / 1 day"_s;
    QTest::newRow("a percent sign survives")
        << Table{{u"%qu %@ remaining"_s, u"100%% of %qu %@"_s}} << 120.0
        << u"100% of 2 minutes"_s;
    QTest::newRow("a conversion with no argument left is dropped")
        << Table{{u"%qu %@ remaining"_s, u"%qu %@ %@ %9$qu!"_s}} << 120.0
        << u"2 minutes  !"_s;
    QTest::newRow("an unknown conversion is kept as written")
        << Table{{u"%qu %@ remaining"_s, u"%d %qu %@"_s}} << 120.0 << u"%d 2 minutes"_s;
}

void TestDateUtilities::translated()
{
    QFETCH(Table, table);
    QFETCH(double, elapsed);
    QFETCH(QString, expected);

    TableTranslator translator(table);
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QString text = TQDateUtilities::stringForTimeLeftWithPercentComplete(startedSecondsAgo(elapsed), 0.5,
                                                                               nullptr, now);
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(text, expected);
}

void TestDateUtilities::everyUnitWordIsAskedFor_data()
{
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<QStringList>("asked");

    QTest::newRow("sixty seconds are still seconds and never ask for the singular minute")
        << 60.0 << QStringList{u"days"_s, u"hours"_s, u"minutes"_s, u"About a minute remaining"_s};
    QTest::newRow("a minute and more asks for the singular minute")
        << 61.0 << QStringList{u"days"_s, u"hours"_s, u"minutes"_s, u"minute"_s, u"About a minute remaining"_s};
}

void TestDateUtilities::everyUnitWordIsAskedFor()
{
    QFETCH(double, elapsed);
    QFETCH(QStringList, asked);

    TableTranslator translator({});
    QVERIFY(QCoreApplication::installTranslator(&translator));
    TQDateUtilities::stringForTimeLeftWithPercentComplete(startedSecondsAgo(elapsed), 0.5, nullptr, now);
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(translator.asked, QSet<QString>(asked.cbegin(), asked.cend()));
}

QTEST_GUILESS_MAIN(TestDateUtilities)
#include "tst_dateutilities.moc"
