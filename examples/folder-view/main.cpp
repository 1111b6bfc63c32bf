// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// A folder in a window: its files in a table sortable by every column, or as a grid of
// thumbnails; a filter preset, "exclude folders" and a name filter above.
//
//   folder-view [--grid] [--screenshot FILE] [FOLDER]
//
// --screenshot renders the window to FILE once the folder is listed and the thumbnails on
// screen have arrived (or after ten seconds), then quits; it works on the offscreen platform.

#include "TQFolderModel.h"
#include "TQFolderViewport.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCommandLineParser>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({QStringLiteral("grid"), QStringLiteral("Start with the grid of thumbnails.")});
    parser.addOption({QStringLiteral("screenshot"), QStringLiteral("Render the window to <file> and quit."),
                      QStringLiteral("file")});
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("The folder to show (default: home)."));
    parser.process(app);
    const QString folder = parser.positionalArguments().value(0, QDir::homePath());

    TQFolderModel model;
    model.setThumbnailSize({96, 96});
    model.setThumbnailMemoryBudget(64 << 20);
    model.setSortType(TQSortType::Name, TQFolderPriority::FoldersFirst, true);

    QWidget window;
    window.setWindowTitle(QDir(folder).dirName());
    auto *filter = new QComboBox;
    const char *presets[] = {"Visible", "Everything", "Images", "Media", "Images and folders",
                             "Media and folders", "Folders", "Files"};
    for (int i = 0; i < 8; ++i)
        filter->addItem(QApplication::translate("folder-view", presets[i]), i);
    auto *noFolders = new QCheckBox(QApplication::translate("folder-view", "Exclude folders"));
    auto *name = new QLineEdit;
    name->setPlaceholderText(QApplication::translate("folder-view", "Name contains"));
    name->setClearButtonEnabled(true);
    auto *asGrid = new QPushButton(QApplication::translate("folder-view", "Thumbnails"));
    asGrid->setCheckable(true);

    auto *table = new QTreeView;
    table->setModel(&model);
    table->setRootIsDecorated(false);
    table->setUniformRowHeights(true);
    table->setSortingEnabled(true);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table->header()->setSortIndicator(TQFolderModel::NameColumn, Qt::AscendingOrder);
    table->setColumnWidth(TQFolderModel::NameColumn, 260);
    auto *grid = new QListView;
    grid->setModel(&model);
    grid->setViewMode(QListView::IconMode);
    grid->setMovement(QListView::Static); // the visible rows of a static grid are found by bisection
    grid->setResizeMode(QListView::Adjust);
    // Not uniform: the first item would size every cell by its own icon, typically before any
    // thumbnail has arrived, and clip the pictures and names of all the others. Batched
    // layout keeps a large folder's grid responsive instead.
    grid->setLayoutMode(QListView::Batched);
    grid->setIconSize({96, 96});
    grid->setGridSize({120, 130});
    grid->setSelectionModel(table->selectionModel());
    new TQFolderViewport(table, &model);
    new TQFolderViewport(grid, &model);
    auto *views = new QStackedWidget;
    views->addWidget(table);
    views->addWidget(grid);

    auto *bar = new QHBoxLayout;
    bar->addWidget(filter);
    bar->addWidget(noFolders);
    bar->addWidget(name, 1);
    bar->addWidget(asGrid);
    auto *layout = new QVBoxLayout(&window);
    layout->addLayout(bar);
    layout->addWidget(views);

    QObject::connect(filter, &QComboBox::currentIndexChanged, &model,
                     [&model, filter] { model.setFilterType(filter->currentData().toInt()); });
    QObject::connect(noFolders, &QCheckBox::toggled, &model, &TQFolderModel::setExcludeFolders);
    QObject::connect(name, &QLineEdit::textChanged, &model, &TQFolderModel::setNameFilter);
    QObject::connect(asGrid, &QPushButton::toggled, views, [views](bool on) { views->setCurrentIndex(on ? 1 : 0); });
    asGrid->setChecked(parser.isSet(QStringLiteral("grid")));

    window.resize(900, 600);
    window.show();
    model.setFolderPath(folder);

    const QString screenshot = parser.value(QStringLiteral("screenshot"));
    if (!screenshot.isEmpty()) {
        // Done when the listing is in and the rows on screen have their thumbnails (a row
        // without one after a quiet half second has none to come).
        auto *quiet = new QTimer(&app);
        quiet->setSingleShot(true);
        quiet->setInterval(500);
        auto shoot = [&window, &app, screenshot] {
            const bool saved = window.grab().save(screenshot);
            app.exit(saved ? 0 : 1);
        };
        QObject::connect(quiet, &QTimer::timeout, &app, shoot);
        QObject::connect(&model, &TQFolderModel::loadingFinished, quiet, qOverload<>(&QTimer::start));
        QObject::connect(&model, &TQFolderModel::thumbnailArrived, quiet, [quiet, &model] {
            if (!model.isLoading())
                quiet->start();
        });
        QTimer::singleShot(10000, &app, shoot);
    }
    return app.exec();
}
