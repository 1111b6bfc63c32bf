// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxScreenshots.h"
#include "QuillboxFolderView.h"
#include "QuillboxInspector.h"
#include "QuillboxWindow.h"

#include <TQFolderModel.h>
#include <TQMenuUtilities.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QItemSelectionModel>
#include <QListView>
#include <QPainter>
#include <QThread>

namespace QuillboxScreenshots {

bool waitFor(const std::function<bool()> &done, int milliseconds)
{
    QDeadlineTimer deadline(milliseconds);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

QImage composite(QWidget *window, const QList<QMenu *> &menus)
{
    const QPixmap base = window->grab();
    const QPoint origin = window->mapToGlobal(QPoint(0, 0));
    QRect bounds(origin, base.deviceIndependentSize().toSize());
    QList<QPair<QPoint, QPixmap>> layers;
    for (QMenu *menu : menus) {
        if (!menu || !menu->isVisible())
            continue;
        layers.append({menu->geometry().topLeft(), menu->grab()});
        bounds |= QRect(menu->geometry().topLeft(), layers.last().second.deviceIndependentSize().toSize());
    }
    const qreal ratio = base.devicePixelRatio();
    QImage picture((bounds.size() * ratio), QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.drawPixmap(origin - bounds.topLeft(), base);
    for (const auto &[at, pixmap] : std::as_const(layers))
        painter.drawPixmap(at - bounds.topLeft(), pixmap);
    return picture;
}

namespace {

// The row of the first image with EXIF in the folder, so the inspector has values to show.
QModelIndex firstPhoto(const TQFolderModel *model)
{
    QModelIndex fallback;
    for (int row = 0; row < model->rowCount(); ++row) {
        const QModelIndex index = model->index(row, TQFolderModel::NameColumn);
        const TQFileRef file = model->fileAt(index);
        if (!file || !file->isImage())
            continue;
        if (!fallback.isValid())
            fallback = index;
        if (!file->cameraModelString().isEmpty())
            return index;
    }
    return fallback;
}

bool thumbnailsShown(const TQFolderModel *model)
{
    const auto [first, last] = model->visibleRows();
    for (int row = qMax(0, first); row <= last && row < model->rowCount(); ++row) {
        const QModelIndex index = model->index(row, TQFolderModel::NameColumn);
        const TQFileRef file = model->fileAt(index);
        if (file && file->isImage() && index.data(TQFolderModel::ThumbnailRole).value<QImage>().isNull())
            return false;
    }
    return true;
}

} // namespace

QStringList write(QuillboxWindow &window, const QString &folder, QString *error)
{
    QStringList written;
    auto fail = [&](const QString &why) {
        if (error)
            *error = why;
        return written;
    };
    if (!QDir().mkpath(folder))
        return fail(QStringLiteral("cannot make the folder %1").arg(folder));
    auto save = [&](const QImage &picture, const QString &name) {
        const QString path = QDir(folder).filePath(name);
        if (picture.isNull() || !picture.save(path, "PNG"))
            return false;
        written.append(path);
        return true;
    };

    window.resize(1180, 700);
    window.show();
    QuillboxFolderView *view = window.folderView();
    TQFolderModel *model = view->model();
    waitFor([&] { return window.isVisible() && !model->isLoading(); }, 10000);
    const QModelIndex photo = firstPhoto(model);
    if (photo.isValid())
        view->selectionModel()->setCurrentIndex(photo, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);

    view->setMode(QuillboxFolderView::ListMode);
    waitFor([&] { return window.inspector()->isFilled() && !window.inspector()->preview().isNull(); }, 5000);
    QCoreApplication::processEvents();
    if (!save(window.grab().toImage(), QStringLiteral("quillbox-list.png")))
        return fail(QStringLiteral("cannot write the list view's picture"));

    view->setMode(QuillboxFolderView::GridMode);
    waitFor([&] { return thumbnailsShown(model); }, 10000);
    QCoreApplication::processEvents();
    if (!save(window.grab().toImage(), QStringLiteral("quillbox-grid.png")))
        return fail(QStringLiteral("cannot write the grid's picture"));

    // The context menu where a right click over the photo opens it, once with each submenu.
    const QRect cell = view->gridView()->visualRect(photo);
    const QPoint at = view->gridView()->viewport()->mapToGlobal(cell.isValid() ? cell.center() : QPoint(40, 40));
    const char *names[] = {"quillbox-menu-open-with.png", "quillbox-menu-drop.png"};
    for (int which = 0; which < 2; ++which) {
        std::unique_ptr<QMenu> menu = window.makeContextMenu();
        menu->popup(at);
        waitFor([&] { return menu->isVisible(); }, 2000);
        QMenu *submenu = nullptr;
        int seen = 0;
        for (QAction *action : menu->actions()) {
            if (action->menu() && seen++ == which) {
                submenu = action->menu();
                menu->setActiveAction(action);
                break;
            }
        }
        if (submenu) {
            const QPoint right = menu->actionGeometry(submenu->menuAction()).topRight() + menu->pos();
            submenu->popup(right);
            waitFor([&] { return submenu->isVisible(); }, 2000);
            // The offscreen screen is smaller than the window: Qt turns the submenu back over
            // the menu where it would leave the screen, which no window of this size does.
            if (submenu->pos() != right)
                submenu->move(right);
        }
        QCoreApplication::processEvents();
        const bool saved = save(composite(&window, {menu.get(), submenu}), QString::fromLatin1(names[which]));
        if (submenu)
            submenu->hide();
        menu->hide();
        if (!saved)
            return fail(QStringLiteral("cannot write the context menu's picture"));
    }
    return written;
}

} // namespace QuillboxScreenshots
