// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQActivityItem.h"

#include <QWidget>

#include <memory>

class QLabel;
class QProgressBar;
class QToolButton;

/*!
    \class TQActivityRowWidget
    \brief One row of the activity window: the task's title, a progress bar, the time left
    and a stop button.

    The default row comes from the library's "ActivityRow" layout. A host that wants other
    rows subclasses this class, lays out what it likes and overrides refresh() to read the
    item; the window controller makes its rows through a factory the host may replace
    (TQActivityWindowController::setRowWidgetFactory()).

    The controller calls setItem() once and refresh() after every change the item reports.
    The stop button emits cancelRequested(); the controller answers with cancelItem().

    GUI thread only.

    \ingroup ui
*/
class TQKIT_EXPORT TQActivityRowWidget : public QWidget
{
    Q_OBJECT

public:
    //! A row with the default parts (the Designer layout) and no item yet.
    explicit TQActivityRowWidget(QWidget *parent = nullptr);
    ~TQActivityRowWidget() override;

    //! The item the row shows, or null before setItem().
    TQActivityItemRef item() const;
    //! Shows \a item and refreshes the row.
    void setItem(const TQActivityItemRef &item);

    /*!
        Reads the item into the row. The default shows the title, the fraction done (a busy
        bar when it is not known), the time-remaining text measured from the item's start
        date, and, once the task was asked to stop, "Cancelling…" with the button disabled.
    */
    virtual void refresh();

    //! \name Parts of the default row
    //! Children of the row, for a subclass or a test; null in a row made with NoDefaultLayout.
    //!@{

    //! The part named by the function, owned by the row; null in a row without default parts.
    QLabel *titleLabel() const;
    QProgressBar *progressBar() const;
    QLabel *timeLeftLabel() const;
    QToolButton *cancelButton() const;
    //!@}

Q_SIGNALS:
    //! The user pressed the stop button.
    void cancelRequested();

protected:
    //! For a subclass that builds its own layout: no default parts are made.
    struct NoDefaultLayout {};
    //! A row without parts, for a subclass that lays out its own.
    TQActivityRowWidget(NoDefaultLayout, QWidget *parent);

    //! Follows palette and language changes (the stop icon, the texts).
    void changeEvent(QEvent *event) override;

private:
    struct Private;
    std::unique_ptr<Private> const d;
};
