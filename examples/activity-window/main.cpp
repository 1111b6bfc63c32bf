// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// The activity window with simulated work: each task runs on a thread of its own, reports its
// progress into its item and stops early when its row's stop button is pressed. Tasks that
// finish within the show delay never bring up the window.
//
//   activity-window                     a host window with buttons that start tasks
//   activity-window --smoke             runs three short tasks, cancels one, and quits once
//                                       the window has closed by itself (for the tests)
//   activity-window --screenshot FILE   shows four tasks part way through and saves the
//                                       window as a PNG image

#include <TQActivityItemsModel.h>
#include <TQActivityRowWidget.h>
#include <TQActivityWindowController.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QPushButton>
#include <QThread>
#include <QToolButton>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

using namespace std::chrono_literals;

namespace {

// Simulated work: \a steps slices of \a sliceMs each, reported as they are done. The item is
// removed on the GUI thread once the work ends, finished or cancelled.
void startTask(TQActivityWindowController &activity, const QString &title, int steps, int sliceMs)
{
    TQActivityItemRef item = activity.newItem();
    item->setTitle(title);
    activity.addItem(item);
    QThread *worker = QThread::create([&activity, item, steps, sliceMs] {
        for (int step = 1; step <= steps && !item->shouldCancel(); ++step) {
            QThread::msleep(sliceMs);
            item->setProgress(double(step) / steps);
        }
        QMetaObject::invokeMethod(&activity, [&activity, item] { activity.removeItem(item); }, Qt::QueuedConnection);
    });
    QObject::connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Quillbox"));
    QApplication::setApplicationName(QStringLiteral("ActivityWindowExample"));

    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption smoke(QStringLiteral("smoke"), QStringLiteral("Run three short tasks and quit."));
    QCommandLineOption screenshot(QStringLiteral("screenshot"), QStringLiteral("Save the window with four rows to <file>."),
                                  QStringLiteral("file"));
    parser.addOptions({smoke, screenshot});
    parser.process(app);

    TQActivityWindowController activity;
    activity.setLauncherDesktopId(QStringLiteral("org.tqkit.ActivityWindowExample"));

    if (parser.isSet(screenshot)) {
        const QList<QPair<QString, double>> tasks = {
            {QStringLiteral("Copying 24 photos to “Holiday 2026”"), 0.62},
            {QStringLiteral("Rotating 3 images"), 0.18},
            {QStringLiteral("Making thumbnails for “Scans”"), -1.0},
            {QStringLiteral("Moving “Drafts” to the Trash"), 0.9},
        };
        const int secondsAgo[] = {40, 95, 5, 300};
        int i = 0;
        for (const auto &[title, fraction] : tasks) {
            TQActivityItemRef item = activity.newItem();
            item->setTitle(title);
            item->setStartDate(QDateTime::currentDateTimeUtc().addSecs(-secondsAgo[i++]));
            item->setProgress(fraction);
            activity.addItem(item);
        }
        activity.cancelItem(activity.items().at(3));
        activity.window()->resize(420, activity.window()->height());
        QTimer::singleShot(0, &app, [&] {
            const bool saved = activity.window()->grab().save(parser.value(screenshot), "PNG");
            if (!saved)
                std::fprintf(stderr, "activity-window: could not write %s\n", qPrintable(parser.value(screenshot)));
            app.exit(saved ? 0 : 1);
        });
        return app.exec();
    }

    if (parser.isSet(smoke)) {
        bool shown = false;
        QObject::connect(&activity, &TQActivityWindowController::windowShown, [&] { shown = true; });
        QObject::connect(&activity, &TQActivityWindowController::windowClosed, &app, [&] {
            app.exit(shown && activity.items().isEmpty() ? 0 : 1);
        });
        startTask(activity, QStringLiteral("Quick task"), 5, 10);
        startTask(activity, QStringLiteral("Copying"), 20, 10);
        startTask(activity, QStringLiteral("A task that will be cancelled"), 100000, 10);
        // Cancel the endless one as a user would, with its row's stop button.
        QTimer::singleShot(100, &app, [&] {
            const TQActivityItemRef endless = activity.items().last();
            activity.rowWidget(endless)->cancelButton()->click();
        });
        QTimer::singleShot(60s, &app, [&] { app.exit(2); });
        return app.exec();
    }

    // Tasks that end within the delay never show the window; the window leaves the keyboard
    // with whatever the user is typing in.
    activity.setShowDelay(300ms);
    activity.setShowWithoutActivating(true);

    QWidget host;
    host.setWindowTitle(QStringLiteral("Activity window example"));
    auto *layout = new QVBoxLayout(&host);
    int count = 0;
    auto *quick = new QPushButton(QStringLiteral("Start a quick task (no window)"), &host);
    QObject::connect(quick, &QPushButton::clicked, [&] { startTask(activity, QStringLiteral("Quick task %1").arg(++count), 4, 25); });
    auto *longer = new QPushButton(QStringLiteral("Start a task of ten seconds"), &host);
    QObject::connect(longer, &QPushButton::clicked, [&] { startTask(activity, QStringLiteral("Copying batch %1").arg(++count), 100, 100); });
    auto *slow = new QPushButton(QStringLiteral("Start a task of a minute"), &host);
    QObject::connect(slow, &QPushButton::clicked, [&] { startTask(activity, QStringLiteral("Converting album %1").arg(++count), 600, 100); });
    layout->addWidget(quick);
    layout->addWidget(longer);
    layout->addWidget(slow);
    host.show();
    return app.exec();
}
