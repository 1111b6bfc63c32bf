// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>
#include <QStringList>

/*!
    \namespace UWFinderLabels
    \brief The eight Finder labels as the storage layer knows them: their default names and
    where a file keeps its label on Linux.

    Label indices are 0 (no label), 1 Gray, 2 Green, 3 Purple, 4 Blue, 5 Yellow, 6 Red and
    7 Orange. Names are looked up in the translation context "UWStorageKit" with the English
    name as the key, so an untranslated name comes back in English.

    A file's label is read from its extended attributes, in this order:
    \list 1
    \li "user.xdg.tags", the freedesktop list of tags (comma-separated): the first tag that
        is a label's name, English or translated, compared without regard to case, gives
        the label.
    \li a Mac FinderInfo record (32 bytes, big-endian), whose colour bits are
        (byte 9 >> 1) & 7: kept as "com.apple.FinderInfo" or "user.com.apple.FinderInfo"
        (macOS file systems and copies of them), inside Samba's "user.DosStream.AFP_AfpInfo"
        stream (at offset 16, after the "AFP" header) or as entry 9 of Netatalk's AppleDouble
        record "user.org.netatalk.Metadata".
    \endlist
    Anything missing, short or malformed counts as no label.

    The names a user gave the labels are kept in the preference domain "com.apple.Labels"
    (QSettings, organisation "com.apple.Labels": \c ~/.config/com.apple.Labels.conf), under
    the keys "Label_Name_0" to "Label_Name_7".

    All functions may be called from any thread; nameForLabel() serialises its cache with a
    mutex, the others are reentrant.

    \ingroup companion
*/
namespace UWFinderLabels {

//! The label names in index order, index 0 being the empty name of "no label"; translated.
TQKIT_EXPORT QStringList defaultNames();
//! The translated default name of label \a index; empty outside 1..7.
TQKIT_EXPORT QString defaultName(int index);
/*!
    The name of label \a index (0..7): the user's name for it from the preference domain
    "com.apple.Labels" when that is a string, else the translated default ("No Label",
    "Gray", ... "Orange"). A null string for an index outside 0..7.

    The domain is read at most once every 15 seconds however often names are asked for, so a
    renamed label shows within 15 seconds; a domain that does not exist (or holds nothing) is
    read again on every call. Default names are translated once, on the first call.
*/
TQKIT_EXPORT QString nameForLabel(int index);
//! The label of the file at \a path (a link itself, not its target), 0..7.
TQKIT_EXPORT int labelForPath(const QString &path);
//! labelForPath() for a path in the file system's own bytes, which need not be UTF-8.
TQKIT_EXPORT int labelForNativePath(const QByteArray &nativePath);
//! The label a FinderInfo record's colour bits give; 0 for a record shorter than 32 bytes.
TQKIT_EXPORT int labelFromFinderInfo(const QByteArray &finderInfo);
//! The label an "xdg.tags" value gives; 0 when no tag names a label.
TQKIT_EXPORT int labelFromTags(const QByteArray &tags);

/*!
    The "xdg.tags" value \a tags with label \a label (0..7) set: every tag that names a label
    (as labelFromTags() reads them) is dropped, the English name of \a label takes the place
    of the first of them (or goes last when there was none), and every other tag stays as it
    was, in order; empty entries go. Label 0 only drops. An empty answer means the list is
    empty and the attribute should go.
*/
TQKIT_EXPORT QByteArray tagsWithLabel(const QByteArray &tags, int label);
/*!
    Gives the file at \a nativePath label \a label (0 for none) by rewriting its
    "user.xdg.tags" list with tagsWithLabel(), removing the attribute when the list becomes
    empty. A Mac FinderInfo record the file already has (see above) gets the same colour
    bits where it can be written, so that the label reads the same everywhere; none is made.

    The path itself is changed, never a link's target: a label belongs to a regular file or
    a folder. A link, a named pipe, a device or a socket is refused without being opened
    (Linux keeps user attributes of files and folders only), and so is a file system without
    user attributes or a file this process may not change. A refusal returns false with the
    reason in \a error and logs one warning line in "tqkit.companion"; a missing file is
    only a debug line.

    Other tags survive writers working at the same time: the list is read, changed and
    written back with the write conditional on the attribute still existing (or not) as it
    was read, then read again; when another program changed it in between, the change is
    made again on what that program left. Linux has no compare-and-swap for attributes, so
    a write that lands between this read and this write (a window of two system calls) is
    the one thing that can be lost.

    Returns true when the file reads back as \a label (labelForNativePath()). Reentrant;
    blocks on the file system.
*/
TQKIT_EXPORT bool setLabelForNativePath(const QByteArray &nativePath, int label, QString *error = nullptr);
//! setLabelForNativePath() for a path as text.
TQKIT_EXPORT bool setLabelForPath(const QString &path, int label, QString *error = nullptr);

} // namespace UWFinderLabels
