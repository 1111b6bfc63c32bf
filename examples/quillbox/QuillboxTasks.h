// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <TQActivityItem.h>

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class TQActivityWindowController;

/// One entry a task could not handle, and why. The task went on with the others.
struct QuillboxTaskProblem
{
    QByteArray nativePath; ///< the entry concerned, in the file system's own bytes
    QString message;       ///< a sentence for the user that names the entry and the reason
};

/// What a task did, delivered once on the GUI thread when it ends (finished or cancelled).
struct QuillboxTaskResult
{
    /// The kinds of work a task does.
    enum class Kind {
        Copy,        ///< copies into a folder
        Move,        ///< moves into a folder
        Alias,       ///< symbolic links to the sources, made in a folder
        Trash,       ///< moves to the desktop's trash
        RotateLeft,  ///< a lossless quarter turn counter-clockwise of each image
        RotateRight, ///< a lossless quarter turn clockwise of each image
    };

    quint64 id = 0;           ///< the number the starting call returned
    Kind kind = Kind::Copy;   ///< what the task did
    bool cancelled = false;   ///< the user stopped it; entries after the stop were not touched
    QList<QByteArray> sources; ///< the entries the task was given, as given
    QByteArray targetFolder;  ///< Copy, Move, Alias: the folder; empty for the others
    QList<QByteArray> created; ///< new entries made in the target folder, in the sources' order
    QList<QByteArray> removed; ///< sources that are gone from where they were (Move, Trash)
    QList<QByteArray> changed; ///< files rewritten in place (rotation; an image already so turned is not listed)
    QList<QuillboxTaskProblem> problems; ///< one per entry that failed or was refused

    /// True when the task ran to its end and every entry was handled.
    bool succeeded() const { return !cancelled && problems.isEmpty(); }
    /// The folders whose listing the task changed (parents of removed and changed entries,
    /// and the target folder), each once: what a window showing them refreshes.
    QList<QByteArray> changedFolders() const;
};

Q_DECLARE_METATYPE(QuillboxTaskResult)

/*!
    \class QuillboxTasks
    \brief Quillbox's file operations: copy, move, alias, trash and lossless rotation, each run
    off the GUI thread as one row of the activity window, with progress, time left and cancel;
    plus the two quick ones (new folder, rename) that run at once.

    Every long operation returns a task id at once and runs on the object's own thread pool.
    While it runs, its TQActivityItem (item()) is listed in the activity window given to the
    constructor, if any; its progress is the fraction of bytes (copy, move) or of entries
    (alias, trash, rotation) done. The stop button of its row (or cancel()) stops it between
    entries and, inside a long copy, between chunks of 1 MiB. When it ends, finished or not,
    its row is removed and taskFinished() delivers what it did, on the GUI thread.

    Rules that keep the user's files safe:
    - Nothing is ever overwritten. A clash in the target folder gives the new entry a free
      name: "name 2.ext", "name 3.ext", … (a name already ending in " N" counts on from N).
      Rename refuses a name that is taken instead, since the user typed it.
    - A copy is written without a name (or, where the file system cannot, under a hidden
      temporary name in the target folder), flushed to disk, and only then given its name.
      A cancelled or failed copy leaves nothing behind under any name. A folder is copied
      into a hidden temporary folder that is named only once all of it is there.
    - A move within one file system is a rename. Across file systems it is a copy as above,
      and the source is deleted only once its copy is complete and on disk; of a folder, only
      what was copied and has not changed since is deleted, so whatever could not be copied
      stays where it was.
    - Symbolic links among the sources are copied and moved as links, never followed.
      Named pipes, devices and sockets are refused (one warning in "quillbox" naming the
      path), as are unreadable entries: each is a problem of the result and the task goes
      on with the rest.
    - The trash is the desktop's (the freedesktop trash, through GIO): nothing is deleted.
    - Rotation rewrites only each image's EXIF orientation (TQImageOrientationWriter), keeping
      a mirrored image mirrored.

    Thread rules: a GUI-thread object. Its functions are called on the GUI thread, its signal
    is emitted there. Destroying it cancels the tasks still running and waits for them (they
    stop at their next check, and leave nothing half-done, as above).
*/
class QuillboxTasks : public QObject
{
    Q_OBJECT

public:
    /// Which way a rotation turns the picture as the user sees it.
    enum class Rotation {
        Left,  ///< a quarter turn counter-clockwise
        Right, ///< a quarter turn clockwise
    };

    /// Tasks show as rows of \a activity (not owned; may be null for no rows).
    explicit QuillboxTasks(TQActivityWindowController *activity, QObject *parent = nullptr);
    /// Cancels what still runs and waits for it; no taskFinished() is emitted from here on.
    ~QuillboxTasks() override;

    /// Copies \a sources (files, folders, links) into \a targetFolder. Returns the task id.
    quint64 copy(const QList<QByteArray> &sources, const QByteArray &targetFolder);
    /// copy() for paths given as text.
    quint64 copy(const QStringList &sources, const QString &targetFolder);

    /// Moves \a sources into \a targetFolder; a source already in that folder is left alone.
    quint64 move(const QList<QByteArray> &sources, const QByteArray &targetFolder);
    /// move() for paths given as text.
    quint64 move(const QStringList &sources, const QString &targetFolder);

    /// Makes in \a targetFolder a symbolic link to each source (by its absolute path),
    /// named as the source.
    quint64 makeAliases(const QList<QByteArray> &sources, const QByteArray &targetFolder);
    /// makeAliases() for paths given as text.
    quint64 makeAliases(const QStringList &sources, const QString &targetFolder);

    /// Moves \a sources to the desktop's trash.
    quint64 moveToTrash(const QList<QByteArray> &sources);
    /// moveToTrash() for paths given as text.
    quint64 moveToTrash(const QStringList &sources);

    /// Turns each of \a images a quarter turn, losslessly and in place.
    quint64 rotate(const QList<QByteArray> &images, Rotation rotation);
    /// rotate() for paths given as text.
    quint64 rotate(const QStringList &images, Rotation rotation);

    /// The row of task \a id while it runs; null once it has ended.
    TQActivityItemRef item(quint64 id) const;
    /// Asks task \a id to stop (as its row's stop button does).
    void cancel(quint64 id);
    /// Asks every running task to stop.
    void cancelAll();
    /// How many tasks are running (their results not yet delivered).
    int runningCount() const;

    /*!
        Makes a new folder in \a parentFolder named \a name ("untitled folder" in the user's
        language when empty), or "name 2", … when that is taken. Returns its path, or an empty
        array with the reason in \a error. Runs at once on the calling thread.
    */
    static QByteArray createFolder(const QByteArray &parentFolder, const QString &name = {}, QString *error = nullptr);
    /// createFolder() for a folder given as text.
    static QString createFolder(const QString &parentFolder, const QString &name = {}, QString *error = nullptr);

    /*!
        Renames \a path to \a newName in the same folder. Refuses (empty answer, reason in
        \a error) an empty name, ".", "..", a name with "/" or NUL, and a name already taken;
        the same name answers \a path unchanged. Returns the new path. Runs at once.
    */
    static QByteArray rename(const QByteArray &path, const QString &newName, QString *error = nullptr);
    /// rename() for a path given as text.
    static QString rename(const QString &path, const QString &newName, QString *error = nullptr);

    /*!
        The name an entry called \a name gets in \a folder: \a name itself when free, else the
        first free of "name 2.ext", "name 3.ext", … (for a folder, \a isFolder, "name 2": its
        name has no extension). Only a hint: the operations claim the name atomically and
        count on if it was taken meanwhile.
    */
    static QByteArray freeName(const QByteArray &folder, const QByteArray &name, bool isFolder = false);

    /// Called on a task's thread after each chunk a copy writes, with the bytes of the current
    /// file written so far. For tests that need a copy caught half-way; unset in the program.
    using ChunkHook = std::function<void(const TQActivityItemRef &item, qint64 bytesWritten)>;
    /// Sets the hook (before starting the tasks it should see).
    void setChunkHook(ChunkHook hook);

Q_SIGNALS:
    /// Task \a result.id ended; its row is gone. GUI thread.
    void taskFinished(const QuillboxTaskResult &result);

private:
    quint64 start(QuillboxTaskResult::Kind kind, const QList<QByteArray> &sources, const QByteArray &targetFolder);

    struct Private;
    std::unique_ptr<Private> const d;
};
