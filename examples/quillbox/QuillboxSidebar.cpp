// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxSidebar.h"
#include "QuillboxDesktopBookmarks.h"
#include "QuillboxLogging.h"

#include <TQBookmarksController.h>
#include <TQBookmarksModel.h>
#include <TQFile.h>
#include <TQIconAndFilenameCell.h>
#include <TQUserDefaultsUtilities.h>

#include <QDir>
#include <QIdentityProxyModel>
#include <QListView>
#include <QMenu>
#include <QSettings>
#include <QVBoxLayout>

const QString QuillboxSidebar::SettingsKey = QStringLiteral("Bookmarks");

namespace {

UWStandardFileRef fileOfEntry(const QVariant &entry)
{
    return TQFile::itemFromValue(entry.toMap().value(TQBookmarkFileKey));
}

// The bookmarks table as the library makes it, but a bookmark whose volume is away (a
// placeholder) is shown disabled: it can be neither opened nor renamed until it is back.
class AvailabilityModel : public QIdentityProxyModel
{
public:
    using QIdentityProxyModel::QIdentityProxyModel;

    Qt::ItemFlags flags(const QModelIndex &index) const override
    {
        Qt::ItemFlags flags = QIdentityProxyModel::flags(index);
        const UWStandardFileRef file = fileOfEntry(index.data(TQBookmarksModel::BookmarkDictRole));
        if (file && file->isPlaceholder())
            flags &= ~(Qt::ItemIsEnabled | Qt::ItemIsEditable);
        return flags;
    }
};

} // namespace

struct QuillboxSidebar::Private
{
    TQBookmarksController controller;
    AvailabilityModel proxy;
    TQIconAndFilenameCell cell;
    QListView *view = nullptr;
};

QuillboxSidebar::QuillboxSidebar(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<Private>())
{
    d->proxy.setSourceModel(d->controller.model());
    d->cell.setObjectRole(TQBookmarksModel::BookmarkDictRole);
    d->cell.setFileKeyPath(TQBookmarkFileKey);
    d->cell.setTextKeyPath(TQBookmarkTitleKey);
    d->cell.setImageKeyPath(TQBookmarkFileKey + QStringLiteral(".fileIcon"));

    d->view = new QListView(this);
    d->view->setObjectName(QStringLiteral("bookmarks"));
    d->view->setModel(&d->proxy);
    d->view->setItemDelegate(&d->cell);
    d->view->setDragDropMode(QAbstractItemView::DragDrop);
    d->view->setDefaultDropAction(Qt::MoveAction);
    d->view->setDropIndicatorShown(true);
    d->view->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    d->view->setContextMenuPolicy(Qt::CustomContextMenu);
    d->view->setFrameShape(QFrame::NoFrame);
    d->view->setAccessibleName(tr("Bookmarks"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(d->view);

    connect(d->view, &QWidget::customContextMenuRequested, this, &QuillboxSidebar::showContextMenu);
    connect(d->view, &QAbstractItemView::clicked, this, [this](const QModelIndex &index) {
        const UWStandardFileRef file = fileOfEntry(index.data(TQBookmarksModel::BookmarkDictRole));
        if (file && !file->isPlaceholder())
            emit itemChosen(file);
    });
    connect(&d->controller, &TQBookmarksController::bookmarksChanged, this, &QuillboxSidebar::save);
}

QuillboxSidebar::~QuillboxSidebar() = default;

TQBookmarksController *QuillboxSidebar::controller() const
{
    return &d->controller;
}

QListView *QuillboxSidebar::view() const
{
    return d->view;
}

void QuillboxSidebar::restore(const QByteArray &startFolder)
{
    QSettings settings;
    const QVariant saved = TQUserDefaultsUtilities::keyedUnarchiveObjectForKey(settings, SettingsKey);
    if (saved.isValid()) {
        d->controller.setBookmarksFromSavableBookmarks(saved.toList());
        return;
    }
    // A first start: the folder Quillbox opened and the folders in it, as a file manager's
    // sidebar starts with the home folder and its standard folders. A folder without folders
    // of its own is shown among its siblings, under its parent.
    QByteArray top = startFolder;
    QStringList names = QDir(QFile::decodeName(top)).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    if (names.isEmpty() && top.lastIndexOf('/') > 0) {
        top.truncate(top.lastIndexOf('/'));
        names = QDir(QFile::decodeName(top)).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    }
    QList<UWStandardFileRef> folders;
    for (const QString &name : names.mid(0, 8))
        folders.append(UWStandardFile::newFileForNativePath(top + '/' + QFile::encodeName(name)));
    d->controller.addFiles({UWStandardFile::newFileForNativePath(top)});
    if (!folders.isEmpty()) {
        d->controller.addSeparatorAtIndex();
        d->controller.addFiles(folders);
    }
    save();
}

int QuillboxSidebar::importDesktopBookmarks()
{
    int added = 0;
    const QList<QuillboxDesktopBookmark> places = QuillboxDesktopBookmarks::readDesktopBookmarks();
    const QVariantList entries = d->controller.bookmarks();
    for (const QuillboxDesktopBookmark &place : places) {
        const UWStandardFileRef file = UWStandardFile::newFileForNativePath(place.nativePath);
        if (!file || !QFileInfo::exists(QFile::decodeName(place.nativePath)))
            continue;
        // A bookmark the user retitled is still the same place.
        if (std::any_of(entries.cbegin(), entries.cend(), [&](const QVariant &entry) {
                const UWStandardFileRef bookmarked = fileOfEntry(entry);
                return bookmarked && bookmarked->nativePath() == place.nativePath;
            }))
            continue;
        const qsizetype before = d->controller.bookmarksCount();
        d->controller.addFiles({file});
        if (d->controller.bookmarksCount() == before)
            continue;
        ++added;
        if (!place.title.isEmpty())
            d->controller.setTitleAtRow(int(before), place.title);
    }
    qCDebug(lcQuillbox) << "imported" << added << "of" << places.size() << "desktop bookmarks";
    return added;
}

QList<UWStandardFileRef> QuillboxSidebar::bookmarkedFolders() const
{
    QList<UWStandardFileRef> folders;
    const QVariantList entries = d->controller.bookmarks();
    for (const QVariant &entry : entries) {
        const UWStandardFileRef file = fileOfEntry(entry);
        if (file && !file->isPlaceholder() && file->isDirectory())
            folders.append(file);
    }
    return folders;
}

void QuillboxSidebar::showContextMenu(const QPoint &position)
{
    const QModelIndex index = d->view->indexAt(position);
    QMenu menu;
    if (index.isValid()) {
        const bool separator = index.data(TQBookmarksModel::IsSeparatorRole).toBool();
        QAction *rename = menu.addAction(tr("Rename Bookmark"), this, [this, index] { d->view->edit(index); });
        rename->setEnabled(!separator && (index.flags() & Qt::ItemIsEditable));
        menu.addAction(tr("Remove Bookmark"), this, [this, row = index.row()] {
            d->controller.removeItemAtIndex(row);
        });
    }
    const int at = index.isValid() ? index.row() + 1 : int(d->controller.bookmarksCount());
    menu.addAction(tr("Add Separator"), this, [this, at] { d->controller.addSeparatorAtIndex(at); });
    menu.exec(d->view->viewport()->mapToGlobal(position));
}

void QuillboxSidebar::save()
{
    QSettings settings;
    TQUserDefaultsUtilities::setKeyedArchivableObject(settings, d->controller.savableBookmarks(), SettingsKey);
}
