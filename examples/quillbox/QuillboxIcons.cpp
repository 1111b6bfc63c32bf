// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxIcons.h"
#include "QuillboxLogging.h"

#include <TQImageUtilities.h>

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

#include <functional>

namespace {

// Freedesktop themes Debian ships whose icons exist as PNG files too, so that Qt shows them
// without an SVG plugin; the first one installed wins.
const char *const FallbackThemes[] = {"Adwaita", "breeze", "oxygen"};

bool themeInstalled(const QString &theme)
{
    const QStringList paths = QIcon::themeSearchPaths();
    for (const QString &path : paths) {
        if (QFileInfo::exists(path + QLatin1Char('/') + theme + QStringLiteral("/index.theme")))
            return true;
    }
    return false;
}

// The drawings, on a 64 × 64 canvas in the window text's colour.
using Drawing = std::function<void(QPainter &)>;

void folder(QPainter &p)
{
    QPainterPath path;
    path.moveTo(6, 16);
    path.lineTo(24, 16);
    path.lineTo(29, 22);
    path.lineTo(58, 22);
    path.lineTo(58, 52);
    path.lineTo(6, 52);
    path.closeSubpath();
    p.drawPath(path);
    p.drawLine(QPointF(6, 28), QPointF(58, 28));
}

void page(QPainter &p)
{
    const QPolygonF outline{{14, 6}, {40, 6}, {52, 18}, {52, 58}, {14, 58}};
    p.drawPolygon(outline);
    p.drawPolyline(QPolygonF{{40, 6}, {40, 18}, {52, 18}});
    for (int y = 28; y <= 48; y += 8)
        p.drawLine(QPointF(21, y), QPointF(45, y));
}

// An arrow pointing up, turned by `degrees` clockwise.
Drawing arrow(qreal degrees)
{
    return [degrees](QPainter &p) {
        p.translate(32, 32);
        p.rotate(degrees);
        p.drawLine(QPointF(0, 22), QPointF(0, -20));
        p.drawPolyline(QPolygonF{{-16, -4}, {0, -20}, {16, -4}});
    };
}

// Three quarters of a circle with an arrowhead: a turn to the left (mirrored: to the right).
Drawing turn(bool right)
{
    return [right](QPainter &p) {
        if (right) {
            p.translate(64, 0);
            p.scale(-1, 1);
        }
        p.drawArc(QRectF(12, 14, 40, 40), 90 * 16, -270 * 16);
        p.drawPolyline(QPolygonF{{22, 6}, {32, 14}, {22, 22}});
    };
}

void list(QPainter &p)
{
    for (int y = 14; y <= 50; y += 12) {
        p.drawPoint(QPointF(12, y));
        p.drawLine(QPointF(22, y), QPointF(54, y));
    }
}

void grid(QPainter &p)
{
    for (int x = 10; x < 50; x += 24)
        for (int y = 10; y < 50; y += 24)
            p.drawRect(QRectF(x, y, 20, 20));
}

Drawing drawingFor(const QString &name)
{
    static const QHash<QString, Drawing> drawings = {
        {QStringLiteral("folder"), folder},
        {QStringLiteral("folder-open"), folder},
        {QStringLiteral("folder-new"), folder},
        {QStringLiteral("user-home"), folder},
        {QStringLiteral("user-bookmarks"), folder},
        {QStringLiteral("system-file-manager"), folder},
        {QStringLiteral("text-x-generic"), page},
        {QStringLiteral("image-x-generic"), page},
        {QStringLiteral("application-x-executable"), page},
        {QStringLiteral("document-open"), page},
        {QStringLiteral("document-properties"), page},
        {QStringLiteral("edit-copy"), page},
        {QStringLiteral("edit-rename"), page},
        {QStringLiteral("go-up"), arrow(0)},
        {QStringLiteral("go-next"), arrow(90)},
        {QStringLiteral("go-down"), arrow(180)},
        {QStringLiteral("go-previous"), arrow(270)},
        {QStringLiteral("object-rotate-left"), turn(false)},
        {QStringLiteral("object-rotate-right"), turn(true)},
        {QStringLiteral("view-list"), list},
        {QStringLiteral("view-list-details"), list},
        {QStringLiteral("edit-select-all"), list},
        {QStringLiteral("view-grid"), grid},
        {QStringLiteral("view-list-icons"), grid},
    };
    return drawings.value(name);
}

// The library's own pictures stand for what is not drawn here.
QImage libraryImageFor(const QString &name)
{
    if (name == QLatin1String("user-trash") || name == QLatin1String("edit-delete"))
        return TQImageUtilities::trashImage();
    if (name == QLatin1String("emblem-symbolic-link") || name == QLatin1String("insert-link"))
        return TQImageUtilities::aliasBadge();
    return TQImageUtilities::noticeImage();
}

QIcon drawnIcon(const QString &name)
{
    const Drawing drawing = drawingFor(name);
    const QImage image = drawing ? QImage() : libraryImageFor(name);
    const QColor ink = QGuiApplication::palette().color(QPalette::WindowText);
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64, 128}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (drawing) {
            painter.scale(size / 64.0, size / 64.0);
            // Lines stay at least a pixel and a half wide at the small sizes.
            painter.setPen(QPen(ink, qMax(4.0, 96.0 / size), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(Qt::NoBrush);
            drawing(painter);
        } else if (!image.isNull()) {
            painter.drawImage(QRectF(0, 0, size, size), image);
        } else {
            // Not even the library's images could be read: a plain frame still shows.
            painter.setPen(QPen(ink, qMax(1.0, size / 16.0)));
            painter.drawRect(QRectF(size * 0.2, size * 0.2, size * 0.6, size * 0.6));
        }
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

QString QuillboxIcons::install()
{
    // Debian's own folders, when a test or sandbox left them out of XDG_DATA_DIRS.
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString &path : {QStringLiteral("/usr/local/share/icons"), QStringLiteral("/usr/share/icons")}) {
        if (!paths.contains(path) && QFileInfo(path).isDir())
            paths.append(path);
    }
    QIcon::setThemeSearchPaths(paths);
    QStringList fallbackPaths = QIcon::fallbackSearchPaths();
    if (!fallbackPaths.contains(QStringLiteral("/usr/share/pixmaps")) && QFileInfo(QStringLiteral("/usr/share/pixmaps")).isDir())
        QIcon::setFallbackSearchPaths(fallbackPaths << QStringLiteral("/usr/share/pixmaps"));

    QString fallback;
    for (const char *theme : FallbackThemes) {
        if (themeInstalled(QLatin1String(theme))) {
            fallback = QLatin1String(theme);
            break;
        }
    }
    const QString current = QIcon::themeName();
    // "hicolor" is every theme's last parent, not a theme of its own: it has no action icons.
    if (!fallback.isEmpty() && (current.isEmpty() || current == QLatin1String("hicolor") || !themeInstalled(current))) {
        qCDebug(lcQuillbox) << "icon theme" << fallback << "instead of" << current;
        QIcon::setThemeName(fallback);
    }
    if (!fallback.isEmpty())
        QIcon::setFallbackThemeName(fallback);
    else
        qCDebug(lcQuillbox) << "no freedesktop icon theme installed; icons are drawn";
    return fallback.isEmpty() ? (themeInstalled(QIcon::themeName()) ? QIcon::themeName() : QString()) : QIcon::themeName();
}

bool QuillboxIcons::isThemed(const QString &name)
{
    return QIcon::hasThemeIcon(name);
}

QIcon QuillboxIcons::icon(const QString &name)
{
    if (isThemed(name)) {
        const QIcon themed = QIcon::fromTheme(name);
        if (!themed.isNull())
            return themed;
    }
    return drawnIcon(name);
}

QStringList QuillboxIcons::names()
{
    return {
        QStringLiteral("folder"),           QStringLiteral("folder-open"),         QStringLiteral("folder-new"),
        QStringLiteral("text-x-generic"),   QStringLiteral("image-x-generic"),     QStringLiteral("document-open"),
        QStringLiteral("go-previous"),      QStringLiteral("go-next"),             QStringLiteral("go-up"),
        QStringLiteral("go-home"),          QStringLiteral("object-rotate-left"),  QStringLiteral("object-rotate-right"),
        QStringLiteral("user-trash"),       QStringLiteral("edit-delete"),         QStringLiteral("edit-copy"),
        QStringLiteral("edit-rename"),      QStringLiteral("edit-select-all"),     QStringLiteral("view-list"),
        QStringLiteral("view-grid"),        QStringLiteral("zoom-in"),             QStringLiteral("zoom-out"),
        QStringLiteral("system-file-manager"), QStringLiteral("emblem-symbolic-link"), QStringLiteral("process-stop"),
    };
}
