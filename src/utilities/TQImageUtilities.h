// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QRectF>
#include <QVariantMap>

/*!
    \namespace TQImageUtilities
    \brief Images and image files as a file browser handles them: the library's own images,
    the desktop's generic icons, and drawing an image upright whichever way a painter's y axis
    points.

    The library's images are compiled into it as Qt resources under ":/tqkit/images/"
    ("alias-badge.png", "trash.png", "notice.png", all 128×128 with a transparent background)
    and are registered as the library loads.

    \par Threads
    aliasBadge(), trashImage(), noticeImage() and addPropertiesofFile() may be called from any
    thread. The icon functions need a QGuiApplication and are meant for the GUI thread. The
    drawing functions use only the painter they are given: one thread per painter, as Qt
    requires.

    \ingroup utilities
*/
namespace TQImageUtilities {

/*!
    Reads the properties of image 0 of \a file (by its URL, with its type as the hint) and adds
    a deep copy of them to \a dictionary, replacing keys it had. Then makes sure the groups
    "{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}" and "{MakerNikon}" are present (empty
    when the image has none), so that a caller can fill them in; no other group is added.
    Returns false, leaving \a dictionary untouched, when the file is not a readable image.
    Reentrant; blocks for the read.
*/
TQKIT_EXPORT bool addPropertiesofFile(const UWStandardFileRef &file, QVariantMap &dictionary);

/*!
    The badge laid over the icon of a link: a curved arrow on a white tile in the lower-left
    corner of a 128×128 transparent image. It is read once into a process-wide cache; every
    call returns a copy of its own (a new QImage::cacheKey()), which the caller may change
    freely. A null image if the resource cannot be read; the next call then tries again.
*/
TQKIT_EXPORT QImage aliasBadge();
//! The image of the trash, a bin, 128×128; read on every call. Null if it cannot be read.
TQKIT_EXPORT QImage trashImage();
//! The image of a notice, a warning triangle with "!", 128×128; read on every call. Null if it
//! cannot be read.
TQKIT_EXPORT QImage noticeImage();

/*!
    The current icon theme's icon for a folder ("folder"), looked up on every call, as file
    items look up theirs (UWStandardFile::fileIcon()). The theme is the desktop's; a host on a
    platform that names none (the offscreen and minimal platforms) sets one with
    QIcon::setThemeName(). A null QIcon when no installed theme has the icon.
*/
TQKIT_EXPORT QIcon genericFolder();
//! The theme's open folder ("folder-open"); as genericFolder().
TQKIT_EXPORT QIcon openFolder();
//! The theme's document ("text-x-generic", else "application-octet-stream", else "unknown");
//! as genericFolder().
TQKIT_EXPORT QIcon genericDocument();
//! The theme's application ("application-x-executable"); as genericFolder().
TQKIT_EXPORT QIcon genericApplication();

/*!
    Draws the part \a source of \a image (in the image's pixels; an empty rectangle for the
    whole image) into \a destination of \a painter, with composition mode \a operation and
    \a fraction of the painter's opacity (clamped to 0..1; NaN draws nothing).

    The image appears upright whichever way the painter's y axis points. A painter whose y
    axis grows downwards (Qt's ordinary case, "flipped") draws it as it is; a painter turned
    y-up (say \c translate(0, h) then \c scale(1, -1)) would show it upside down, so the image
    is mirrored about \a destination's horizontal centre line for it. Which kind the painter is
    is read from its combined transform: a y scale of zero or more is y-down.

    A null painter, an inactive one, a null image or an empty or non-finite \a destination draws
    nothing and logs nothing. The painter's state (transform, opacity, composition mode) is as
    it was on return.
*/
TQKIT_EXPORT void drawAdjustedInRect(const QImage &image, QPainter *painter, const QRectF &destination,
                                     const QRectF &source, QPainter::CompositionMode operation, qreal fraction);

//! The whole of \a image into \a destination, upright in either kind of painter, drawn over
//! what is there (source-over) at the painter's opacity; see drawAdjustedInRect().
TQKIT_EXPORT void drawImageAdjustedInRect(const QImage &image, QPainter *painter, const QRectF &destination);

} // namespace TQImageUtilities
