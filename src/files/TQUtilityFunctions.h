// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>

#include <optional>

class QPainter;

/*!
    \file TQUtilityFunctions.h
    \ingroup files
    Free functions about types, image orientation, file names and message boxes. The type,
    orientation and file-name functions are pure (TQEditableMetadataImageTypes and
    TQCreateCleanFileName make new values) and may be called from any thread; the window and
    message-box functions belong to the GUI thread.

    Orientations are EXIF orientation values, 1 (upright) to 8. Degrees count
    counter-clockwise: orientation 8 is 90 degrees, 3 is 180, 6 is 270; the mirrored
    orientations 2, 4, 5 and 7 count as 0 degrees, so a turn drops any mirroring.
*/

/*!
    True when \a type conforms to at least one entry of \a types, asked in the list's order;
    false for an empty list. Conformance is the type registry's (TQTypeRegistry).
*/
TQKIT_EXPORT bool TQUTTypeConformsToArray(const QString &type, const QStringList &types);

//! The degrees of \a orientation: 180 for 3, 270 for 6, 90 for 8, 0 for anything else.
TQKIT_EXPORT int TQDegreesForRotation(int orientation);

//! The orientation of \a degrees (brought into 0..359): 8 for 90, 3 for 180, 6 for 270, else 1.
TQKIT_EXPORT int TQRotationForDegrees(int degrees);

/*!
    \a orientation turned further by \a degrees; 1 (upright) when \a degrees is not a whole
    multiple of 90.
*/
TQKIT_EXPORT int TQChangeRotationByDegrees(int orientation, int degrees);

/*!
    The types whose metadata the library may rewrite, a new list each call: JPEG, camera RAW,
    PNG, TIFF (JPEG appears three times; conformance is unaffected).
*/
TQKIT_EXPORT QStringList TQEditableMetadataImageTypes();

/*!
    \a size scaled so that its longer side is exactly \a maxSize (smaller sizes are scaled
    up), the other side rounded down to a whole number; (0, 0) when a side is not positive.
*/
TQKIT_EXPORT QSizeF TQProportionalScaleToMaxSize(int maxSize, QSizeF size);

/*!
    \a name made safe as one file name: every "/" becomes "|", then every ":" becomes ".",
    then every NUL character is removed. Nothing else changes: no trimming, no length limit,
    leading dots stay. No name (std::nullopt) gives none; an empty name gives an empty one.

    "Nothing" is an empty optional rather than a null QString, because Qt lets a null and an
    empty QString pass for each other almost everywhere; a null QString inside the optional is
    simply an empty name.
*/
TQKIT_EXPORT std::optional<QString> TQCreateCleanFileName(const std::optional<QString> &name);

/*!
    Replaces, in place, every occurrence of \a find in \a string by \a replacement, comparing
    UTF-16 code units exactly (case-sensitive, no normalisation).

    After each replacement the search starts again at the first character of the replacement
    just inserted, not after it, so text that the replacement forms with what follows is
    replaced as well: "ab" by "a" in "abb" gives "a". Callers rely on this rule.

    \warning It follows that a \a replacement that contains \a find never finishes: the
    replacement is found again where it was inserted, forever (and the string grows until
    memory runs out when the replacement is longer). Callers must not pass such a pair; the
    function does not check for it.

    An empty \a find is found nowhere, so the call changes nothing. \a find is read once, at
    the start: passing \a string itself as \a find replaces the whole string once.
*/
TQKIT_EXPORT void TQReplaceAllOccurrancesOfString(QString &string, const QString &find, const QString &replacement);

/*!
    Brings up a new window of the desktop's file manager showing the user's home folder, and
    returns at once.

    The request is the freedesktop file-manager call (ShowFolders with the home folder's URI on
    the session bus, service and path org.freedesktop.FileManager1); it is sent asynchronously,
    so the GUI never waits for the file manager to start. When no file manager answers it
    (no session bus, no such service, a service that cannot be started, an error reply, or no
    reply within D-Bus's default timeout of 25 seconds), the home folder is opened with
    QDesktopServices::openUrl() instead, that is by the desktop's handler for folders. The home
    folder is $HOME taken as bytes, so a name that is not UTF-8 reaches the file manager
    percent-encoded and intact.

    GUI thread only, with a QGuiApplication; without an application object it logs a warning
    and does nothing. Diagnostics go to "tqkit.files" at debug level.
*/
TQKIT_EXPORT void TQOpenNewFinderWindow();

/*!
    \name Message boxes
    Draw a centred message box with \a painter, which stands for the view's current graphics
    context: call them from the view's own paint event with the view's bounds. Only the width W
    and height H of \a bounds count; the box is placed from the painter's origin (0, 0), as a
    view's bounds start there.

    The box (304 x 154, or 304 x 174 with a file) lies at x = floor((W - 304) / 2) and
    y = floor((H - box height) / 2); in bounds smaller than the box those are negative and the
    box reaches past the view. It is a dark translucent bezel with rounded corners, filled 2
    units in from its edges with the application palette's window colour; text is drawn in the
    palette's window-text colour. Text is laid out centred and wrapped within the text area
    (the fill inset by 1), at word boundaries and inside a word only when the word alone is
    wider; text frames are centred on the bounds at floor((W - text width) / 2). Text never
    leaves the box: what does not fit is cut at the text area's edge, and of a huge message
    only the first 16384 UTF-16 units are laid out (more than the box can show).

    "Flipped" is read from the painter's combined transform: a y scale (m22) of zero or more
    means y grows downwards, Qt's ordinary case; a painter turned y-up (say translate(0, H) and
    scale(1, -1)) is not flipped. Both kinds give the same picture on screen, text and icon
    upright.

    A null or inactive painter, or bounds that are not finite, draw nothing. The painter's
    state is as it was on return. GUI thread only (fonts and the palette are the
    application's).
*/
//@{
//! \a message centred in a 304 x 154 box, in the application's default font.
TQKIT_EXPORT void TQDrawMessageBox(const QString &message, QPainter *painter, const QRectF &bounds);

/*!
    A 304 x 174 box whose fill is lightened by white at half opacity. From the top of its
    text area down: 15 units of space, the file's icon at 64 x 64, 4 of space, the file's
    display name in a 10-point font, 14 of space, then \a message in the default font; each of
    the three is centred horizontally. Vertical positions are not rounded. A null \a file
    draws no icon and no name, and the message keeps its place.
*/
TQKIT_EXPORT void TQDrawMessageBoxWithFile(const QString &message, QPainter *painter, const UWStandardFileRef &file,
                                           const QRectF &bounds);
//@}
