// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQMenuUtilities.h"
#include "TQResponderUtilities.h"
#include "TQTestDesktop.h"

#include <QAction>
#include <QApplication>
#include <QImage>
#include <QMenu>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// One line per item: the title as Qt holds it, the shortcut, the action name, "bold" for the default.
static QStringList describe(const QMenu &menu)
{
    QStringList lines;
    for (const QAction *action : menu.actions()) {
        if (action->isSeparator()) {
            lines.append(u"---"_s);
            continue;
        }
        QString line = action->text();
        if (!action->shortcut().isEmpty())
            line += u" ["_s + action->shortcut().toString(QKeySequence::PortableText) + u']';
        lines.append(line + u' ' + TQResponderUtilities::action(action) + (action->font().bold() ? u" bold"_s : QString()));
    }
    return lines;
}

// GIO reads its folders once per process, so the whole world is written in initTestCase,
// before the first look-up.
class TestOpenWithMenu : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;

    QString path(const QString &relative) const { return m_root.filePath(relative); }
    QString entry(const QString &name) const { return path(u"data/applications/org.example."_s + name + u".desktop"_s); }
    static void write(const QString &path, const QByteArray &contents) { QVERIFY(writeWholeFile(path, contents)); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString problem = isolateTestDesktop(m_root.path());
        QVERIFY2(problem.isEmpty(), qPrintable(problem));

        QImage icon(48, 48, QImage::Format_ARGB32);
        icon.fill(Qt::darkCyan);
        QVERIFY(icon.save(path(u"paint.png"_s)));
        const std::pair<const char *, QByteArray> entries[] = {
            {"Paint", "Name=Paint\nExec=true %F\nIcon=" + path(u"paint.png"_s).toUtf8() + '\n'},
            {"Viewer", "Name=Tom & Jerry\nExec=true %U\n"},
            {"Third", "Name=Third\nExec=true %F\n"},
            {"Quill", "Name=Quill\nExec=true %F\n"},
            {"Notes", "Name=Notes\nExec=true %F\n"},
            {"Ghost", "Name=Ghost\nHidden=true\nExec=true %F\n"},
            {"NoName", "Exec=true %F\n"},
            {"Broken", "Name=Broken\n"},
        };
        for (const auto &[name, body] : entries)
            write(entry(QString::fromLatin1(name)), "[Desktop Entry]\nType=Application\n" + body);
        // What update-desktop-database writes; the order of a type's list is GIO's order.
        write(path(u"data/applications/mimeinfo.cache"_s),
              "[MIME Cache]\n"
              "image/jpeg=org.example.Paint.desktop;org.example.Ghost.desktop;org.example.Viewer.desktop;"
              "org.example.NoName.desktop;org.example.Third.desktop;org.example.Broken.desktop;org.example.Quill.desktop;\n"
              "image/png=org.example.Viewer.desktop;org.example.Paint.desktop;\n"
              "text/plain=org.example.Notes.desktop;\n");
        write(path(u"config/mimeapps.list"_s), "[Default Applications]\nimage/jpeg=org.example.Third.desktop;\n");

        QImage pixels(4, 4, QImage::Format_RGB32);
        pixels.fill(Qt::red);
        QVERIFY(pixels.save(path(u"files/photo.jpg"_s), "JPEG"));
        QVERIFY(pixels.save(path(u"files/drawing.png"_s), "PNG"));
        write(path(u"files/blob.tqkit-nobody"_s), QByteArray(64, '\x01'));
    }

    void brokenEntriesAreLeftOutWithOneWarningEach()
    {
        const QList<TQFileRef> jpeg{TQFile::newFileForPath(path(u"files/photo.jpg"_s))};
        // GIO itself drops the Hidden one (Ghost) before the library sees it; the menu's content
        // is the shape test's.
        for (const char *name : {"NoName", "Broken"}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Open With: left out "_s
                                                                  + QRegularExpression::escape(entry(QString::fromLatin1(name)))
                                                                  + u": "_s));
        }
        TQMenuUtilities::openWithMenuForFiles(jpeg, {});

        // The same broken entries do not fill the host's log on every right click.
        QTest::failOnWarning(QRegularExpression(u"left out"_s));
        TQMenuUtilities::openWithMenuForFiles(jpeg, {});
    }

    void shape_data()
    {
        QTest::addColumn<QStringList>("files");    // relative to the root
        QTest::addColumn<QStringList>("includes"); // entry names
        QTest::addColumn<bool>("markDefault");
        QTest::addColumn<bool>("excludeHost");
        QTest::addColumn<QStringList>("expected");

        const QString edit = u"Edit menu... addToOpenWithMenuAction:"_s;
        const auto app = [](const QString &title) { return title + u" openWithMenuAction:"_s; };
        const QStringList photo{u"files/photo.jpg"_s}, jpegApps{app(u"Paint"_s), app(u"Tom && Jerry"_s), app(u"Third"_s), app(u"Quill"_s)};

        QTest::newRow("no files and no include items: the edit item alone") << QStringList() << QStringList() << false << false << QStringList{edit};
        QTest::newRow("include items first, Ctrl+Alt+O on the first; another object of the same entry is listed again")
            << photo << QStringList{u"Paint"_s, u"Notes"_s} << false << false
            << (QStringList{u"Paint [Ctrl+Alt+O] openWithMenuAction:"_s, app(u"Notes"_s), u"---"_s} + jpegApps + QStringList{u"---"_s, edit});
        QTest::newRow("only the first of several files decides")
            << QStringList{u"files/drawing.png"_s, u"files/photo.jpg"_s} << QStringList() << false << false
            << QStringList{app(u"Tom && Jerry"_s), app(u"Paint"_s), u"---"_s, edit};
        QTest::newRow("a type no application opens: no system section and no separator")
            << QStringList{u"files/blob.tqkit-nobody"_s} << QStringList{u"Notes"_s} << false << false
            << QStringList{u"Notes [Ctrl+Alt+O] openWithMenuAction:"_s, u"---"_s, edit};
        QTest::newRow("a JPEG: GIO's order, the default in bold where GIO put it, names with & shown as they are")
            << photo << QStringList() << true << false
            << QStringList{app(u"Paint"_s), app(u"Tom && Jerry"_s), app(u"Third"_s) + u" bold"_s, app(u"Quill"_s), u"---"_s, edit};
        QTest::newRow("the host's own entry left out") << photo << QStringList() << false << true
                                                       << (jpegApps.mid(0, 3) + QStringList{u"---"_s, edit});
    }
    void shape()
    {
        QFETCH(QStringList, files);
        QFETCH(QStringList, includes);
        QList<TQFileRef> fileItems, includeItems;
        for (const QString &file : files)
            fileItems.append(TQFile::newFileForPath(path(file)));
        for (const QString &name : includes)
            includeItems.append(TQFile::newFileForPath(entry(name)));
        TQMenuUtilities::OpenWithOptions options;
        QFETCH(bool, markDefault);
        QFETCH(bool, excludeHost);
        options.markDefaultApplication = markDefault;
        options.excludeHostApplication = excludeHost;
        QGuiApplication::setDesktopFileName(u"org.example.Quill"_s);
        const std::unique_ptr<QMenu> menu = TQMenuUtilities::openWithMenuForFiles(fileItems, includeItems, options);
        QGuiApplication::setDesktopFileName(QString());
        QCOMPARE(menu->title(), u"Open With"_s);
        QCOMPARE(menu->parent(), nullptr);
        QTEST(describe(*menu), "expected");
        for (const QAction *action : menu->actions())
            QVERIFY(action->shortcut().isEmpty() || action->isShortcutVisibleInContextMenu());
    }

    void itemsHoldTheirApplicationAndA16PixelIcon()
    {
        const TQFileRef include = TQFile::newFileForPath(entry(u"Paint"_s));
        const std::unique_ptr<QMenu> menu =
            TQMenuUtilities::openWithMenuForFiles({TQFile::newFileForPath(path(u"files/photo.jpg"_s))}, {include});
        const QList<QAction *> actions = menu->actions();
        QCOMPARE(TQFile::itemFromValue(actions.at(0)->data()).get(), include.get());
        // The system section's Paint is an item of its own for the same entry.
        const UWStandardFileRef systemPaint = TQFile::itemFromValue(actions.at(2)->data());
        QVERIFY(systemPaint && systemPaint != include);
        QCOMPARE(systemPaint->path(), entry(u"Paint"_s));
        for (const QAction *action : {actions.at(0), actions.at(2)}) {
            QCOMPARE(action->icon().availableSizes(), QList<QSize>{QSize(16, 16)});
            QCOMPARE(action->icon().pixmap(16, 16).toImage().pixelColor(8, 8), QColor(Qt::darkCyan));
        }
        QCOMPARE(TQFile::itemFromValue(actions.last()->data()), nullptr);
    }

    void aDescriptionOfTheHostsOwnBecomesItsMenu()
    {
        // Rows without a file item: the icon comes from the row's own path.
        TQMenuDescription description{u"Mine"_s, {}};
        TQMenuItemDescription row;
        row.title = u"Salt & Pepper"_s;
        row.iconName = path(u"paint.png"_s);
        row.isDefault = true;
        row.keyEquivalent = QKeySequence(Qt::CTRL | Qt::Key_K);
        row.actionName = u"seasonAction:"_s;
        description.items = {row, TQMenuItemDescription{true, {}, {}, {}, {}, false, {}, {}}, TQMenuItemDescription()};
        description.items.last().title = u"Plain"_s;

        const std::unique_ptr<QMenu> menu = TQMenuUtilities::menuFromDescription(description);
        QCOMPARE(menu->title(), u"Mine"_s);
        QCOMPARE(describe(*menu), (QStringList{u"Salt && Pepper [Ctrl+K] seasonAction: bold"_s, u"---"_s, u"Plain "_s}));
        const QList<QAction *> actions = menu->actions();
        QCOMPARE(actions.at(0)->icon().pixmap(16, 16).toImage().pixelColor(8, 8), QColor(Qt::darkCyan));
        QVERIFY(actions.at(2)->icon().isNull());
        QVERIFY(!actions.at(0)->data().isValid());
    }

    void itemOfMenuFindsTheItemThatOpensASubmenu()
    {
        QMenu host(u"File"_s);
        std::unique_ptr<QMenu> openWith = TQMenuUtilities::openWithMenuForFiles({}, {});
        QCOMPARE(TQMenuUtilities::itemOfMenu(openWith.get()), nullptr);
        QMenu *submenu = openWith.get();
        QAction *item = TQMenuUtilities::addSubmenu(&host, std::move(openWith));
        QVERIFY(item);
        QCOMPARE(TQMenuUtilities::itemOfMenu(submenu), item);
        QCOMPARE(item->menu(), submenu);
        QCOMPARE(item->text(), u"Open With"_s);
        QCOMPARE(submenu->parent(), &host); // the host's menu owns it now
        QVERIFY(submenu->windowFlags() & Qt::Popup);
        QCOMPARE(TQMenuUtilities::itemOfMenu(&host), nullptr);
    }

    void tqinfoPrintsTheMenu()
    {
        // Its own process, in the same folders (the environment is inherited).
        QProcess tqinfo;
        tqinfo.start(QString::fromUtf8(TQINFO_PATH), {u"--open-with"_s, path(u"files/drawing.png"_s), path(u"files/photo.jpg"_s)});
        QVERIFY(tqinfo.waitForFinished(60000));
        QCOMPARE(tqinfo.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(tqinfo.readAllStandardOutput()).split(u'\n'),
                 (QStringList{u"Tom & Jerry\t\topenWithMenuAction:\t"_s + entry(u"Viewer"_s),
                              u"Paint\t\topenWithMenuAction:\t"_s + entry(u"Paint"_s), u"-"_s,
                              u"Edit menu...\t\taddToOpenWithMenuAction:\t"_s, QString()}));
    }
};

QTEST_MAIN(TestOpenWithMenu)
#include "tst_openwithmenu.moc"
