// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQApplications.h"
#include "TQTestDesktop.h"

#include <QDir>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QThread>

#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

// "org.example.Viewer.desktop" -> "Viewer"
static QString shortId(const TQApplicationInfo &app)
{
    return QString(app.id).remove(u"org.example."_s).remove(u".desktop"_s);
}

static QStringList shortIds(const QList<TQApplicationInfo> &apps)
{
    QStringList result;
    std::transform(apps.cbegin(), apps.cend(), std::back_inserter(result), shortId);
    return result;
}

// GIO reads its folders once per process, so the whole world is built in initTestCase, before
// the first look-up: desktop entries, the mimeinfo.cache update-desktop-database would write
// for them, and a user mimeapps.list. The system folders hold nothing but a link to the
// machine's MIME database, which GIO needs for aliases and parents and the registry for typing.
class TestApplications : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString problem = isolateTestDesktop(m_root.path());
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path(u"no-bus"_s).toUtf8());
        qputenv("LANGUAGE", "de");

        // Desktop-entry quoting in Recorder: %% is a literal %, and the key file turns \\ into one backslash.
        const std::pair<const char *, QByteArray> entries[] = {
            {"Paint", "Exec=/bin/true %F\nIcon=/opt/example/paint.svg\nMimeType=image/jpeg;image/png;\n"},
            {"Viewer", "Name[de]=Bildbetrachter\nExec=true %U\nIcon=org.example.Viewer\nMimeType=image/jpeg;image/png;\n"},
            {"Helper", "NoDisplay=true\nExec=true %F\nMimeType=image/png;\n"},
            {"Ghost", "Hidden=true\nExec=true %F\nMimeType=image/png;image/gif;\n"},
            {"Broken", "MimeType=image/png;\n"},
            {"Unwanted", "Exec=true %F\nMimeType=image/jpeg;\n"},
            {"Gallery", "Exec=true %U\nMimeType=image/gif;\n"},
            {"Notes", "Exec=true %F\nMimeType=text/plain;\n"},
            {"Recorder", "NoDisplay=true\nExec=sh -c 'printf \"%%s\\\\n\" \"$@\" > " + path(u"launched.txt"_s).toUtf8() + "' sh %F\n"},
        };
        for (const auto &[name, body] : entries)
            write(apps(QString::fromLatin1(name)), "[Desktop Entry]\nType=Application\nName=" + QByteArray(name) + '\n' + body);
        // What update-desktop-database writes for these entries.
        write(path(u"data/applications/mimeinfo.cache"_s),
              "[MIME Cache]\nimage/gif=org.example.Ghost.desktop;org.example.Gallery.desktop;\n"
              "image/jpeg=org.example.Paint.desktop;org.example.Viewer.desktop;org.example.Unwanted.desktop;\n"
              "image/png=org.example.Paint.desktop;org.example.Viewer.desktop;org.example.Helper.desktop;org.example.Ghost.desktop;"
              "org.example.Broken.desktop;\ntext/plain=org.example.Notes.desktop;\n");
        write(path(u"elsewhere/org.example.Outside.desktop"_s), "[Desktop Entry]\nType=Application\nName=Outside\nExec=true\n");
        write(path(u"config/mimeapps.list"_s),
              "[Default Applications]\nimage/jpeg=org.example.Viewer.desktop;\nimage/gif=org.example.Ghost.desktop;\n"
              "text/plain=org.example.Notes.desktop;\n[Added Associations]\nimage/png=org.example.Gallery.desktop;\n"
              "[Removed Associations]\nimage/jpeg=org.example.Unwanted.desktop;\n");
        write(path(u"files/disguised.jpg"_s), QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16)); // a PNG by its content
        write(path(u"files/notes.txt"_s), "plain words\n");
    }

    void glibMessagesStayOffStderr()
    {
        // A desktop-specific list may not add associations; GIO says so with g_warning when it
        // reads the folder, which it does again on the first look-up after the folder changed.
        static QStringList routed;
        QTemporaryFile captured;
        QVERIFY(captured.open());
        fflush(stderr);
        const int savedStderr = dup(STDERR_FILENO);
        dup2(captured.handle(), STDERR_FILENO);
        QLoggingCategory::setFilterRules(u"tqkit.platform.debug=true"_s);
        const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &context, const QString &message) {
            if (qstrcmp(context.category, "tqkit.platform") == 0)
                routed.append(message);
        });
        write(path(u"config/tqtest-mimeapps.list"_s), "[Added Associations]\nimage/png=org.example.Notes.desktop;\n");
        for (int wait = 0; wait < 250 && !routed.join(u'\n').contains(u"not permitted"); ++wait) {
            TQApplications::applicationsForMimeType(u"image/png"_s);
            QThread::msleep(20);
        }
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());
        fflush(stderr);
        dup2(savedStderr, STDERR_FILENO);
        close(savedStderr);

        QVERIFY2(routed.join(u'\n').contains(u"GLib-GIO: "_s + path(u"config/tqtest-mimeapps.list"_s)), qPrintable(routed.join(u'\n')));
        QFile written(captured.fileName()); // captured's own offset moved along with stderr's writes
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll(), QByteArray());
    }

    void handlers_data()
    {
        QTest::addColumn<QString>("file"); // when given, also looked up by this file of the type
        QTest::addColumn<QString>("mimeType");
        QTest::addColumn<QStringList>("expected"); // the default first

        QTest::newRow("the mimeapps default comes first and a removed association is gone")
            << QString() << u"image/jpeg"_s << QStringList{u"Viewer"_s, u"Paint"_s};
        QTest::newRow("without a default a handler leads, and Hidden and Exec-less entries are left out")
            << path(u"files/disguised.jpg"_s) << u"image/png"_s << QStringList{u"Gallery"_s, u"Paint"_s, u"Viewer"_s, u"Helper"_s};
        QTest::newRow("a deleted (Hidden) default gives way to the first handler")
            << QString() << u"image/gif"_s << QStringList{u"Gallery"_s};
        QTest::newRow("a subclass without handlers falls back to its parent's default")
            << QString() << u"text/markdown"_s << QStringList{u"Notes"_s};
        QTest::newRow("a type nobody handles has no application") << QString() << u"application/x-tqkit-nobody"_s << QStringList();
        QTest::newRow("a missing file has no type and no application") << path(u"files/missing.txt"_s) << QString() << QStringList();
    }

    void handlers()
    {
        QFETCH(QString, file);
        QFETCH(QString, mimeType);
        QFETCH(QStringList, expected);
        QCOMPARE(shortIds(TQApplications::applicationsForMimeType(mimeType)), expected);
        QCOMPARE(shortId(TQApplications::defaultApplicationForMimeType(mimeType)), expected.value(0));
        // The file-item layer turns an application into the item of its entry and back.
        for (const TQApplicationInfo &app : TQApplications::applicationsForMimeType(mimeType))
            QCOMPARE(TQApplications::applicationForDesktopFile(app.desktopFilePath), app);
        if (!file.isEmpty()) {
            QCOMPARE(TQApplications::mimeTypeForFile(file), mimeType);
            QCOMPARE(shortIds(TQApplications::applicationsForFile(file)), expected);
            QCOMPARE(shortId(TQApplications::defaultEditorForFile(file)), expected.value(0));
        }
    }

    void describesEntries_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<TQApplicationInfo>("expected");

        const QStringList images{u"image/jpeg"_s, u"image/png"_s};
        QTest::newRow("the name is translated and a themed icon keeps its name")
            << apps(u"Viewer"_s) << TQApplicationInfo{u"org.example.Viewer.desktop"_s, u"Bildbetrachter"_s, apps(u"Viewer"_s), u"org.example.Viewer"_s, images};
        QTest::newRow("an icon file keeps its path")
            << apps(u"Paint"_s) << TQApplicationInfo{u"org.example.Paint.desktop"_s, u"Paint"_s, apps(u"Paint"_s), u"/opt/example/paint.svg"_s, images};
        const QString outside = path(u"elsewhere/org.example.Outside.desktop"_s);
        QTest::newRow("an entry outside the applications folders is named by its file")
            << outside << TQApplicationInfo{u"org.example.Outside.desktop"_s, u"Outside"_s, outside, {}, {}};
        QTest::newRow("a deleted (Hidden) entry is no application") << apps(u"Ghost"_s) << TQApplicationInfo();
        QTest::newRow("a file that is not there is no application") << apps(u"Nowhere"_s) << TQApplicationInfo();
    }

    void describesEntries()
    {
        QFETCH(QString, path);
        QTEST(TQApplications::applicationForDesktopFile(path), "expected");
    }

    void launch_data()
    {
        QTest::addColumn<TQApplicationInfo>("app");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QString>("refusal"); // empty: launched
        QTest::addColumn<QStringList>("received");

        const auto entry = [this](const QString &name) { return TQApplicationInfo{u"org.example."_s + name + u".desktop"_s, name, apps(name), {}, {}}; };
        const auto idOnly = [](const QString &name) { return TQApplicationInfo{u"org.example."_s + name + u".desktop"_s, {}, {}, {}, {}}; };
        const QString notes = path(u"files/notes.txt"_s), spaced = path(u"files/with space.txt"_s), quoted = path(u"files/café 'quoted'.txt"_s);
        QTest::newRow("files arrive in order with spaces, accents and quotes, and relative to the current folder")
            << entry(u"Recorder"_s) << QStringList{spaced, quoted, u"notes.txt"_s} << QString() << QStringList{spaced, quoted, notes};
        QTest::newRow("no file starts the application alone") << entry(u"Recorder"_s) << QStringList() << QString() << QStringList{QString()};
        QTest::newRow("an application known by its ID alone is found") << idOnly(u"Recorder"_s) << QStringList{notes} << QString() << QStringList{notes};
        QTest::newRow("an invalid info names no entry") << TQApplicationInfo() << QStringList{notes} << u"no desktop entry"_s << QStringList();
        QTest::newRow("a deleted (Hidden) entry is refused") << entry(u"Ghost"_s) << QStringList{notes} << u"Hidden"_s << QStringList();
        QTest::newRow("an entry without Exec is refused") << entry(u"Broken"_s) << QStringList{notes} << u"no Exec"_s << QStringList();
        QTest::newRow("an ID nobody installed is refused") << idOnly(u"Unknown"_s) << QStringList{notes} << u"no installed entry"_s << QStringList();
    }

    void launch()
    {
        QFETCH(TQApplicationInfo, app);
        QFETCH(QStringList, paths);
        QFETCH(QString, refusal);
        QFETCH(QStringList, received);
        QFile output(path(u"launched.txt"_s));
        output.remove();
        if (!refusal.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Cannot launch .*"_s + QRegularExpression::escape(refusal)));
        const QString current = QDir::currentPath();
        QDir::setCurrent(path(u"files"_s));
        QString error;
        const bool launched = TQApplications::launch(app, paths, &error);
        QDir::setCurrent(current);
        if (!refusal.isEmpty()) {
            QVERIFY(!launched);
            QVERIFY2(error.contains(refusal), qPrintable(error));
            return;
        }
        QVERIFY2(launched, qPrintable(error));
        const auto contents = [&output] {
            const QString text = output.open(QIODevice::ReadOnly) ? QString::fromUtf8(output.readAll()) : QString();
            output.close();
            return text;
        };
        QTRY_COMPARE_WITH_TIMEOUT(contents(), received.join(u'\n') + u'\n', 10000);
    }

    void concurrentLookupsAgree()
    {
        const QList<TQApplicationInfo> expected = TQApplications::applicationsForMimeType(u"image/png"_s);
        std::atomic<int> mismatches = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 20; ++i)
                    mismatches += TQApplications::applicationsForMimeType(u"image/png"_s) != expected;
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(mismatches.load(), 0);
    }

private:
    QString path(const QString &relative) const { return m_root.filePath(relative); }
    QString apps(const QString &name) const { return path(u"data/applications/org.example."_s + name + u".desktop"_s); }
    static void write(const QString &path, const QByteArray &contents) { QVERIFY(writeWholeFile(path, contents)); }

    QTemporaryDir m_root;
};

QTEST_GUILESS_MAIN(TestApplications)
#include "tst_applications.moc"
