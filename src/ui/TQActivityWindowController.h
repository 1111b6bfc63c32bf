// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQActivityItem.h"

#include <QList>
#include <QObject>
#include <QRectF>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

class QListView;
class QWidget;
class TQActivityItemsModel;
class TQActivityRowWidget;

/*!
    \class TQActivityWindowController
    \brief A window listing the host's running tasks, one 80-pixel row each, that grows and
    shrinks with its rows, shows itself when a task is added and closes when the last one is
    removed.

    The controller is a QObject that owns a real top-level window (window()), made from the
    library's "ActivityWindow" layout: a list view over the controller's list model
    (controller()), each row a TQActivityRowWidget showing the task's title, a progress bar,
    the time left and a stop button that calls cancelItem(). A host gets a working window
    without designing one; it can replace the rows (setRowWidgetFactory()) or paint them with
    its own delegate on listView().

    A typical host:
    \code
    TQActivityItemRef task = activity->newItem();
    task->setTitle(tr("Copying 12 photos"));
    activity->addItem(task);
    // worker thread: task->setProgress(done / total); if (task->shouldCancel()) stop;
    // back on the GUI thread when the work ends:
    activity->removeItem(task);
    \endcode

    Geometry. Every row is RowHeight (80) pixels; the window's frame is the rows' height (one
    row's height when there are none) plus the title bar's (titleBarHeight()), but its rows
    area never grows beyond MaximumRowsHeight (400, five rows): past that the list scrolls.
    Resizing keeps the frame's top edge where it is. A user resizing by hand moves in steps
    of one row (size increments of 1 × 80). Rectangles here are frames (QWidget::frameGeometry(),
    title bar included) in Qt's global coordinates, whose y axis points down.

    The frame is kept between runs in the host's QSettings (QSettings() with the host's
    organisation and application names) under FrameAutosaveName, as QWidget::saveGeometry()
    data, each time the window moves or is resized on screen; it is restored when the
    controller is made.

    Options beyond the fixed behaviour, each off by default:
    - setShowDelay(): the window appears only once a task has been listed that long, so tasks
      that finish sooner never flash a window;
    - setShowWithoutActivating(): the window appears without taking keyboard focus from the
      window the user is typing in;
    - setLauncherDesktopId(): the tasks' overall progress and count also show on the
      application's taskbar or dock entry (the launcher API, `com.canonical.Unity.LauncherEntry`
      on the session bus).

    The window never quits the application by closing (Qt::WA_QuitOnClose is off).

    Thread rules: the controller and its window are GUI-thread objects. The items are shared
    with the workers and follow their own rules (TQActivityItem); items() may be read from
    any thread.

    \ingroup ui
*/
class TQKIT_EXPORT TQActivityWindowController : public QObject
{
    Q_OBJECT

public:
    //! Height of every row, and of the rows area when there are none.
    static constexpr double RowHeight = 80.0;
    //! The rows area stops growing here (five rows).
    static constexpr double MaximumRowsHeight = 400.0;
    //! The QSettings key of the window's frame: "QuillboxActivityWindow".
    static const QString FrameAutosaveName;

    /*!
        Makes the window from the "ActivityWindow" layout, sizes it for no items (keeping
        the saved frame's position and width) and leaves it hidden. \a delegate is kept
        weakly and never called: it names the object the window works for, and is the
        window's delegate in the responder chain.
    */
    explicit TQActivityWindowController(QObject *delegate = nullptr, QObject *parent = nullptr);
    ~TQActivityWindowController() override;

    //! The object the window works for (held weakly), or null.
    QObject *delegate() const;
    //! Makes \a delegate (held weakly) the object the window works for.
    void setDelegate(QObject *delegate);

    //! The items in row order (a snapshot; any thread).
    QList<TQActivityItemRef> items() const;
    //! Replaces the list. Neither shows, closes nor resizes the window.
    void setItems(const QList<TQActivityItemRef> &items);

    //! The list model behind the rows (owned by the controller).
    TQActivityItemsModel *controller() const;
    //! The top-level window (owned by the controller).
    QWidget *window() const;
    //! The list view inside it.
    QListView *listView() const;

    //! A new item starting now; it is not added.
    TQActivityItemRef newItem() const;

    /*!
        Adds \a item as the last row, brings the window to the front (after the show delay,
        if one is set and the window is not on screen yet) and refits it with reframe(). An
        item already listed is not added again; the window is still brought forward.
    */
    void addItem(const TQActivityItemRef &item);

    /*!
        Asks \a item's task to stop: sets its shouldCancel flag, nothing else. The item stays
        listed until whoever runs the task removes it.
    */
    void cancelItem(const TQActivityItemRef &item);

    /*!
        Removes \a item's row. When no items are left the window closes, keeping its frame
        (no refit); otherwise it is refitted with reframe().
    */
    void removeItem(const TQActivityItemRef &item);

    /*!
        Fits the window to its rows: applies newFrameForItemsCount() and limits the content's
        height to that frame's height (so the content may grow by a title bar more than its
        rows need; the width limit is kept).
    */
    void reframe();

    //! The frame the window should have for the current number of items (see the class notes).
    QRectF newFrameForItemsCount() const;

    /*!
        The arithmetic of newFrameForItemsCount(): from \a frame, the frame for \a itemsCount
        rows under a title bar \a titleBarHeight high. The height is the rows' height plus the
        title bar's; a height above MaximumRowsHeight becomes MaximumRowsHeight plus the title
        bar's (that sum taken in single precision). Top edge, x and width are kept.
    */
    static QRectF frameForItemsCount(const QRectF &frame, qsizetype itemsCount, float titleBarHeight);

    /*!
        The frame the window zooms to (its maximise button): \a defaultFrame is ignored and
        the answer is newFrameForItemsCount(), so zooming snaps the window to its rows.
    */
    QRectF windowWillUseStandardFrame(const QRectF &defaultFrame) const;
    //! Zooms the window as its maximise button does.
    void zoom();

    //! FrameAutosaveName.
    QString windowFrameAutosaveName() const;

    /*!
        How high the window's title bar is, as newFrameForItemsCount() counts it. By default
        TQWindowUtilities::titleBarHeight() of window(); a subclass may answer for a window
        system that reports no decorations. The constructor's first frame is measured before
        a subclass exists, with the window system's figure: such a subclass calls reframe()
        once it is made.
    */
    virtual float titleBarHeight() const;

    //! How long a task must be listed before the window first appears; 0 (the default) shows
    //! it at once. A window already on screen is brought forward at once whatever the delay.
    std::chrono::milliseconds showDelay() const;
    //! Sets the show delay (see showDelay()).
    void setShowDelay(std::chrono::milliseconds delay);

    //! Whether the window appears without taking the keyboard focus (default false).
    bool showWithoutActivating() const;
    //! Sets whether the window appears without taking the keyboard focus.
    void setShowWithoutActivating(bool withoutActivating);

    /*!
        The desktop entry whose launcher shows the tasks' progress, e.g. "org.example.Quillbox"
        (".desktop" is added when missing); empty (the default) sends nothing. While set, each
        change of the list or of an item's progress is sent, at most once per turn of the event
        loop, as the launcher API's "Update" signal on the session bus: the application URI
        "application://<id>.desktop" with "progress" (the mean fraction done of the items whose
        amount is known, 0 to 1), "progress-visible" (whether any item is listed), "count"
        (the number of items) and "count-visible" (more than one item). Clearing the id hides
        both on the launcher. A session without a bus is logged once at debug level.
    */
    QString launcherDesktopId() const;
    //! Sets the launcher's desktop entry (see launcherDesktopId()).
    void setLauncherDesktopId(const QString &desktopId);

    /*!
        Makes one row widget for an item; the controller then calls setItem() and, after each
        change of the item, refresh(), and connects its cancelRequested() to cancelItem().
    */
    using RowWidgetFactory = std::function<TQActivityRowWidget *(QWidget *parent)>;
    /*!
        Replaces the factory of the rows (the default makes a TQActivityRowWidget). A null
        factory makes no row widgets at all: the list view's item delegate paints the rows
        from the model's roles (a QStyledItemDelegate until the host sets its own on
        listView(); with row widgets the view's delegate paints only each row's background).
        Existing rows are made again.
    */
    void setRowWidgetFactory(RowWidgetFactory factory);

    //! The row widget showing \a item, or null.
    TQActivityRowWidget *rowWidget(const TQActivityItemRef &item) const;

Q_SIGNALS:
    //! The window appeared (after any show delay) or was brought forward again.
    void windowShown();
    //! The window closed because its last item was removed.
    void windowClosed();

protected:
    //! Saves the window's frame when it moves, resizes or changes state on screen.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Private;
    std::unique_ptr<Private> const d;
};
