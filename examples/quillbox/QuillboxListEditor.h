// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDialog>
#include <QStringList>

class QListWidget;

/**
    A small dialog that edits a list of paths kept in the settings: the applications the user
    put on the "Open With" menu, or the favourite folders of "Drop Locations". Rows can be
    added (a file or folder chooser), removed and dragged into another order.

    GUI thread only.
*/
class QuillboxListEditor : public QDialog
{
    Q_OBJECT

public:
    /** What the rows are; decides the chooser "Add..." opens. */
    enum Kind {
        Applications, ///< desktop entries (*.desktop)
        Folders,      ///< folders
    };

    /** A dialog titled \a title over \a paths. */
    QuillboxListEditor(Kind kind, const QString &title, const QStringList &paths, QWidget *parent = nullptr);

    /** The rows as they stand. */
    QStringList paths() const;
    /** Appends \a path unless it is listed already. */
    void addPath(const QString &path);
    /** The list widget, for tests. */
    QListWidget *list() const { return m_list; }

private:
    void choose();

    Kind m_kind;
    QListWidget *m_list;
};
