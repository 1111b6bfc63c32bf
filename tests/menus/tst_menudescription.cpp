// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The Open With menu's content as the core library computes it, in a program without widgets,
// and GIO's own order of applications that it starts from.
#include "TQApplications.h"
#include "TQMenuDescription.h"
#include "TQTestDesktop.h"

#include <QGuiApplication>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// GIO reads its folders once per process, so the whole world is written in initTestCase,
// before the first look-up.
class TestMenuDescription : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;

    QString path(const QString &relative) const { return m_root.filePath(relative); }
    QString entry(const QString &name) const { return path(u"data/applications/org.example."_s + name + u".desktop"_s); }
    static QString shortId(const QString &id) { return QString(id).remove(u"org.example."_s).remove(u".desktop"_s); }
    static void write(const QString &path, const QByteArray &contents) { QVERIFY(writeWholeFile(path, contents)); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString problem = isolateTestDesktop(m_root.path());
        QVERIFY2(problem.isEmpty(), qPrintable(problem));

        const std::pair<const char *, QByteArray> entries[] = {
            {"Paint", "Name=Paint\nExec=true %F\nIcon=" + path(u"paint.png"_s).toUtf8() + '\n'},
            {"Viewer", "Name=Viewer\nExec=true %U\nIcon=org.example.viewer\n"},
            {"Third", "Name=Third\nExec=true %F\n"},
            {"Only", "Name=Only Default\nExec=true %F\n"},
            {"NoName", "Exec=true %F\n"},
            {"Broken", "Name=Broken\n"},
        };
        for (const auto &[name, body] : entries)
            write(entry(QString::fromLatin1(name)), "[Desktop Entry]\nType=Application\n" + body);
        write(path(u"data/applications/mimeinfo.cache"_s),
              "[MIME Cache]\n"
              "image/jpeg=org.example.Paint.desktop;org.example.Viewer.desktop;org.example.NoName.desktop;"
              "org.example.Third.desktop;org.example.Broken.desktop;\n"
              "image/png=org.example.Viewer.desktop;org.example.Paint.desktop;\n");
        // PNG's default is named by this group alone, never by an association.
        write(path(u"config/mimeapps.list"_s),
              "[Default Applications]\nimage/jpeg=org.example.Third.desktop;\nimage/png=org.example.Only.desktop;\n");

        QImage pixels(4, 4, QImage::Format_RGB32);
        pixels.fill(Qt::red);
        QVERIFY(pixels.save(path(u"files/photo.jpg"_s), "JPEG"));
        QVERIFY(pixels.save(path(u"files/drawing.png"_s), "PNG"));

        // The broken JPEG entries are told of once, by the first menu that meets them.
        for (const char *name : {"NoName", "Broken"}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Open With: left out "_s
                                                                  + QRegularExpression::escape(entry(QString::fromLatin1(name)))
                                                                  + u": "_s));
        }
        TQMenuDescriptions::openWithMenuForFiles({TQFile::newFileForPath(path(u"files/photo.jpg"_s))}, {});
    }

    void gioOrder_data()
    {
        QTest::addColumn<QString>("mimeType");
        QTest::addColumn<QStringList>("inGioOrder");
        QTest::addColumn<QStringList>("leftOut"); // "id: words of the reason"
        QTest::addColumn<QStringList>("defaultFirst");

        QTest::newRow("JPEG: GIO's order kept, the default not moved, broken entries left out with their reason")
            << u"image/jpeg"_s << QStringList{u"Paint"_s, u"Viewer"_s, u"Third"_s}
            << QStringList{u"NoName: no Name"_s, u"Broken: no Exec"_s}
            << QStringList{u"Third"_s, u"Paint"_s, u"Viewer"_s, u"NoName"_s}; // a nameless entry still opens files
        QTest::newRow("PNG: a default only a [Default Applications] group names is not in GIO's list")
            << u"image/png"_s << QStringList{u"Viewer"_s, u"Paint"_s} << QStringList()
            << QStringList{u"Only"_s, u"Viewer"_s, u"Paint"_s};
        QTest::newRow("no type") << QString() << QStringList() << QStringList() << QStringList();
    }

    void gioOrder()
    {
        QFETCH(QString, mimeType);
        QList<TQApplicationLeftOut> gioLeftOut;
        QStringList ids;
        for (const TQApplicationInfo &app : TQApplications::applicationsInGioOrder(mimeType, &gioLeftOut)) {
            QVERIFY(app.isValid());
            ids.append(shortId(app.id));
        }
        QTEST(ids, "inGioOrder");
        QStringList reasons;
        for (const TQApplicationLeftOut &entry : std::as_const(gioLeftOut)) {
            QCOMPARE(entry.desktopFilePath, this->entry(shortId(entry.id)));
            reasons.append(shortId(entry.id) + u": "_s + entry.reason);
        }
        QFETCH(QStringList, leftOut);
        QCOMPARE(reasons.size(), leftOut.size());
        for (qsizetype i = 0; i < leftOut.size(); ++i) {
            const QStringList expected = leftOut.at(i).split(u": "_s);
            QVERIFY2(reasons.at(i).startsWith(expected.at(0) + u": "_s) && reasons.at(i).contains(expected.at(1)),
                     qPrintable(reasons.at(i)));
        }
        // The order a caller gets who wants the default first, for contrast.
        QStringList defaultFirst;
        for (const TQApplicationInfo &app : TQApplications::applicationsForMimeType(mimeType))
            defaultFirst.append(shortId(app.id));
        QTEST(defaultFirst, "defaultFirst");
    }

    void openWith_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("includes");
        QTest::addColumn<bool>("markDefault");
        QTest::addColumn<QStringList>("expected"); // title|icon|id|default|key|action, "-" a separator

        const QString edit = u"Edit menu...|||0||addToOpenWithMenuAction:"_s;
        const QString paint = u"Paint|"_s + path(u"paint.png"_s) + u"|Paint|0||openWithMenuAction:"_s;
        const QString viewer = u"Viewer|org.example.viewer|Viewer|0||openWithMenuAction:"_s;
        const QString third = u"Third||Third|%1||openWithMenuAction:"_s;
        const QString only = u"Only Default||Only|%1||openWithMenuAction:"_s;

        QTest::newRow("JPEG, default marked where GIO put it, icon paths and theme names as the entries give them")
            << u"files/photo.jpg"_s << QStringList() << true << QStringList{paint, viewer, third.arg(1), u"-"_s, edit};
        QTest::newRow("PNG, default marked") << u"files/drawing.png"_s << QStringList() << true
                                             << QStringList{viewer, paint, only.arg(1), u"-"_s, edit};
        QTest::newRow("include items without files: the first has the key, both their entries' IDs")
            << QString() << QStringList{u"Third"_s, u"Viewer"_s} << false
            << QStringList{u"Third||Third|0|Ctrl+Alt+O|openWithMenuAction:"_s, viewer, u"-"_s, edit};
    }

    void openWith()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, includes);
        QFETCH(bool, markDefault);
        QList<TQFileRef> files, includeItems;
        if (!file.isEmpty())
            files.append(TQFile::newFileForPath(path(file)));
        for (const QString &name : std::as_const(includes))
            includeItems.append(TQFile::newFileForPath(entry(name)));
        TQMenuDescriptions::OpenWithOptions options;
        options.markDefaultApplication = markDefault;

        const TQMenuDescription menu = TQMenuDescriptions::openWithMenuForFiles(files, includeItems, options);
        QCOMPARE(menu.title, u"Open With"_s);
        QStringList lines;
        for (const TQMenuItemDescription &item : menu.items) {
            if (item.isSeparator) {
                lines.append(u"-"_s);
                continue;
            }
            lines.append(QStringList{item.title, item.iconName, shortId(item.applicationId),
                                     QString::number(item.isDefault), item.keyEquivalent.toString(QKeySequence::PortableText),
                                     item.actionName}
                             .join(u'|'));
            // An application row stands for its entry's file item; the edit row for nothing.
            QCOMPARE(item.representedObject ? item.representedObject->path() : QString(),
                     item.applicationId.isEmpty() ? QString() : entry(shortId(item.applicationId)));
        }
        QTEST(lines, "expected");
    }
};

QTEST_MAIN(TestMenuDescription)
#include "tst_menudescription.moc"
