// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQKeyValueCoding.h"
#include "TQPredicate.h"

#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// An object that knows its name and counts how many of its kind are alive, so that a test can
// tell whether a subject kept what it was made from.
class Named : public TQKeyValueCoding
{
public:
    explicit Named(QString name) : m_name(std::move(name)) { ++alive; }
    ~Named() override { --alive; }

    QVariant valueForKey(QStringView key) const override
    {
        return key == u"name" ? QVariant(m_name) : QVariant();
    }

    static inline int alive = 0;

private:
    QString m_name;
};

using NamedRef = std::shared_ptr<Named>;

} // namespace

Q_DECLARE_METATYPE(NamedRef)

class TestKeyValueCoding : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TQKeyValueCoding::registerReferenceType<Named>(); }

    // A subject made from a temporary is used after the temporary is gone: the subject keeps
    // what it reads, and so does every copy of it.
    void subjectsOutliveTheirTemporaries_data()
    {
        QTest::addColumn<std::function<TQKeyValueSubject()>>("make");
        QTest::addColumn<QString>("keyPath");
        QTest::addColumn<int>("kept"); // objects the subject alone keeps alive

        const auto object = [] { return std::make_shared<Named>(u"kept"_s); };
        QTest::newRow("a shared pointer")
                << std::function<TQKeyValueSubject()>([object] { return TQKeyValueSubject(object()); })
                << u"name"_s << 1;
        QTest::newRow("a QVariant holding a shared pointer")
                << std::function<TQKeyValueSubject()>(
                           [object] { return TQKeyValueSubject(QVariant::fromValue(object())); })
                << u"name"_s << 1;
        QTest::newRow("a map")
                << std::function<TQKeyValueSubject()>(
                           [] { return TQKeyValueSubject(QVariantMap{{u"name"_s, u"kept"_s}}); })
                << u"name"_s << 0;
        QTest::newRow("a QVariant holding a map whose value holds an object")
                << std::function<TQKeyValueSubject()>([object] {
                       return TQKeyValueSubject(QVariant(QVariantMap{{u"file"_s, QVariant::fromValue(object())}}));
                   })
                << u"file.name"_s << 1;
    }

    void subjectsOutliveTheirTemporaries()
    {
        QFETCH(std::function<TQKeyValueSubject()>, make);
        QFETCH(QString, keyPath);
        QFETCH(int, kept);

        Named::alive = 0;
        {
            const TQKeyValueSubject subject = make();
            QCOMPARE(Named::alive, kept);
            QVERIFY(!subject.isNull());
            TQKeyValueSubject copy(subject);
            TQKeyValueSubject moved(std::move(copy));
            TQKeyValueSubject assigned;
            assigned = moved;
            for (const TQKeyValueSubject *s : std::initializer_list<const TQKeyValueSubject *>{&subject, &moved, &assigned})
                QCOMPARE(s->valueForKeyPath(keyPath), QVariant(u"kept"_s));
            // What the predicates and sorts of the library take is such a subject, too.
            QVERIFY(TQPredicate::comparisonPredicate(keyPath, u"kept"_s).evaluateWithObject(assigned));
        }
        QCOMPARE(Named::alive, 0);
    }
};

QTEST_GUILESS_MAIN(TestKeyValueCoding)
#include "tst_keyvaluecoding.moc"
