#include "TQCopyDeep.h"

#include <QDateTime>
#include <QSet>
#include <QTest>
#include <QUrl>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

enum class Text { Shared, Own };

// Text that owns a heap buffer, as text read from a file or typed in does; literals do not.
QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QString problemIn(const QVariant &source, const QVariant &copy, Text text, const QString &where);

template<typename Chars>
QString textProblem(const Chars &source, const Chars &copy, Text text, const QString &where)
{
    if (source != copy)
        return where + u": the text differs"_s;
    const bool shared = !source.isEmpty() && source.constData() == copy.constData();
    if (text == Text::Own && shared)
        return where + u": the text shares its characters"_s;
    if (text == Text::Shared && !shared && !source.isEmpty())
        return where + u": the text was copied although it could be shared"_s;
    return {};
}

template<typename Keyed>
QString keyedProblem(const Keyed &source, const Keyed &copy, Text text, const QString &where)
{
    if (source.size() != copy.size())
        return where + u": the number of keys differs"_s;
    if (!source.isEmpty() && source.isSharedWith(copy))
        return where + u": the container is shared"_s;
    for (auto it = source.cbegin(); it != source.cend(); ++it) {
        if (!copy.contains(it.key()))
            return where + u": the key "_s + it.key() + u" is missing"_s;
        if (QString p = problemIn(it.value(), copy.value(it.key()), text, where + u'/' + it.key()); !p.isEmpty())
            return p;
    }
    return {};
}

template<typename List, typename Check>
QString listProblem(const List &source, const List &copy, const QString &where, Check check)
{
    if (source.size() != copy.size())
        return where + u": the length differs"_s;
    if (!source.isEmpty() && source.constData() == copy.constData())
        return where + u": the list is shared"_s;
    for (qsizetype i = 0; i < source.size(); ++i) {
        if (QString p = check(source[i], copy[i], where + u'/' + QString::number(i)); !p.isEmpty())
            return p;
    }
    return {};
}

// The first place where copy differs from source in value or type, or shares storage that
// the copy must not share; empty when there is none.
QString problemIn(const QVariant &source, const QVariant &copy, Text text, const QString &where)
{
    if (source.metaType() != copy.metaType())
        return where + u": the type changed"_s;
    switch (source.metaType().id()) {
    case QMetaType::QVariantMap:
        return keyedProblem(source.toMap(), copy.toMap(), text, where);
    case QMetaType::QVariantHash:
        return keyedProblem(source.toHash(), copy.toHash(), text, where);
    case QMetaType::QVariantList:
        return listProblem(source.toList(), copy.toList(), where, [text](auto &a, auto &b, const QString &at) {
            return problemIn(a, b, text, at);
        });
    case QMetaType::QStringList:
        return listProblem(source.toStringList(), copy.toStringList(), where, [text](auto &a, auto &b, const QString &at) {
            return textProblem(a, b, text, at);
        });
    case QMetaType::QString:
        return textProblem(source.toString(), copy.toString(), text, where);
    case QMetaType::QByteArray:
        return textProblem(source.toByteArray(), copy.toByteArray(), text, where);
    default:
        break;
    }
    if (source.metaType() == QMetaType::fromType<QSet<QString>>()) {
        const auto s = source.value<QSet<QString>>(), c = copy.value<QSet<QString>>();
        if (s != c)
            return where + u": the members differ"_s;
        for (const QString &member : s) {
            // Shared storage would hand out the very same element.
            if (&*s.constFind(member) == &*c.constFind(member))
                return where + u": the set is shared"_s;
            if (QString p = textProblem(member, *c.constFind(member), Text::Shared, where + u'/' + member); !p.isEmpty())
                return p;
        }
        return {};
    }
    return source == copy ? QString() : where + u": the value differs"_s;
}

} // namespace

class TestCopyDeep : public QObject
{
    Q_OBJECT

private slots:
    void copiesShareNoContainer_data();
    void copiesShareNoContainer();
    void copyDeepOwnsBorrowedText();
};

void TestCopyDeep::copiesShareNoContainer_data()
{
    QTest::addColumn<QVariant>("source");

    const QVariantList strings{text("alpha"), text("beta")};
    QTest::newRow("a map of lists and string lists")
        << QVariant(QVariantMap{{text("list"), strings}, {text("names"), QStringList{text("a"), text("b")}}});
    QTest::newRow("a hash nesting a map of byte arrays")
        << QVariant(QVariantHash{{text("inner"), QVariantMap{{text("bytes"), QByteArray("\x01\x02", 2)}}},
                                 {text("text"), text("gamma")}});
    QTest::newRow("a list holding a set and an empty map")
        << QVariant(QVariantList{QVariant::fromValue(QSet<QString>{text("red"), text("green")}), QVariantMap{}, strings});
    QTest::newRow("a string on its own") << QVariant(text("delta"));
    QTest::newRow("other values beside a list are kept as they are")
        << QVariant(QVariantList{QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC), qint64(1) << 40, 2.5,
                                 QUrl(u"file:///tmp"_s), QVariant::fromValue(QByteArrayList{"x", "y"}), QVariant(), true, strings});
}

void TestCopyDeep::copiesShareNoContainer()
{
    QFETCH(QVariant, source);

    // The check must see what a plain copy shares, or passing it would prove nothing.
    QVERIFY(!problemIn(source, QVariant(source), Text::Own, u"plain copy"_s).isEmpty());

    QList<std::tuple<QString, QVariant, Text>> copies{
        {u"copyDeep"_s, TQCopyDeep::copyDeep(source), Text::Shared},
        {u"copyDeepMutable"_s, TQCopyDeep::copyDeepMutable(source), Text::Own},
    };
    if (source.metaType().id() == QMetaType::QVariantMap) {
        copies.append({u"copyDeep of a map"_s, TQCopyDeep::copyDeep(source.toMap()), Text::Shared});
        copies.append({u"copyDeepMutable of a map"_s, TQCopyDeep::copyDeepMutable(source.toMap()), Text::Own});
    } else if (source.metaType().id() == QMetaType::QVariantList) {
        copies.append({u"copyDeep of a list"_s, TQCopyDeep::copyDeep(source.toList()), Text::Shared});
        copies.append({u"copyDeepMutable of a list"_s, TQCopyDeep::copyDeepMutable(source.toList()), Text::Own});
    }
    for (const auto &[label, copy, text] : copies) {
        const QString problem = problemIn(source, copy, text, label);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }
}

void TestCopyDeep::copyDeepOwnsBorrowedText()
{
    QChar chars[] = {u'a', u'b', u'c'};
    char bytes[] = {'x', 'y', 'z'};
    const QString borrowed = QString::fromRawData(chars, 3);
    const QVariantMap source{
        {borrowed, QVariantList{borrowed, QByteArray::fromRawData(bytes, 3)}},
        {text("names"), QStringList{borrowed}},
        {text("set"), QVariant::fromValue(QSet<QString>{borrowed})},
    };
    const QVariantMap copies[] = {TQCopyDeep::copyDeep(source), TQCopyDeep::copyDeepMutable(source)};

    chars[0] = u'Q';
    bytes[0] = 'Q';
    QCOMPARE(source.firstKey(), u"Qbc"_s);

    for (const QVariantMap &copy : copies) {
        QCOMPARE(copy.firstKey(), u"abc"_s);
        QCOMPARE(copy.first().toList(), (QVariantList{u"abc"_s, QByteArray("xyz")}));
        QCOMPARE(copy.value(u"names"_s).toStringList(), QStringList{u"abc"_s});
        QCOMPARE(copy.value(u"set"_s).value<QSet<QString>>(), QSet<QString>{u"abc"_s});
    }
}

QTEST_GUILESS_MAIN(TestCopyDeep)
#include "tst_copydeep.moc"
