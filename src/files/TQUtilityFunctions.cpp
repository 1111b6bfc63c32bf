// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQUtilityFunctions.h"

#include "TQFilesLogging.h"
#include "TQImageUtilities.h"
#include "TQTypeRegistry.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QTextLayout>
#include <QUrl>

#include <algorithm>
#include <cmath>

bool TQUTTypeConformsToArray(const QString &type, const QStringList &types)
{
    return TQTypeRegistry::shared().conformsToAny(type, types);
}

int TQDegreesForRotation(int orientation)
{
    switch (orientation) {
    case 3:
        return 180;
    case 6:
        return 270;
    case 8:
        return 90;
    default:
        return 0;
    }
}

int TQRotationForDegrees(int degrees)
{
    if (degrees >= 360)
        degrees %= 360;
    if (degrees <= -360)
        degrees %= 360; // C++ keeps the sign: -450 % 360 is -90
    if (degrees < 0)
        degrees += 360;
    switch (degrees) {
    case 90:
        return 8;
    case 180:
        return 3;
    case 270:
        return 6;
    default:
        return 1;
    }
}

int TQChangeRotationByDegrees(int orientation, int degrees)
{
    if (degrees % 90 != 0)
        return 1;
    // In 64 bits: the sum of two ints must not overflow before it is normalised.
    const long long sum = (long long)TQDegreesForRotation(orientation) + degrees;
    return TQRotationForDegrees(int(sum % 360));
}

QStringList TQEditableMetadataImageTypes()
{
    return {QStringLiteral("public.jpeg"), QStringLiteral("public.camera-raw-image"),
            QStringLiteral("public.png"), QStringLiteral("public.tiff"),
            QStringLiteral("public.jpeg"), QStringLiteral("public.jpeg")};
}

QSizeF TQProportionalScaleToMaxSize(int maxSize, QSizeF size)
{
    const double width = size.width();
    const double height = size.height();
    if (width <= 0 || height <= 0)
        return {0, 0};
    // The maximum enters the product in single precision; it only shows above 2^24.
    const double maximum = double(float(maxSize));
    if (width >= height)
        return {double(maxSize), std::floor(maximum * height / width)};
    return {std::floor(maximum * width / height), double(maxSize)};
}

std::optional<QString> TQCreateCleanFileName(const std::optional<QString> &name)
{
    if (!name)
        return std::nullopt;
    QString clean = *name;
    TQReplaceAllOccurrancesOfString(clean, QStringLiteral("/"), QStringLiteral("|"));
    TQReplaceAllOccurrancesOfString(clean, QStringLiteral(":"), QStringLiteral("."));
    TQReplaceAllOccurrancesOfString(clean, QString(QChar(u'\0')), QString());
    return clean;
}

void TQReplaceAllOccurrancesOfString(QString &string, const QString &find, const QString &replacement)
{
    // A copy, so that passing the string itself as what to find does not change the needle
    // under our feet (it would then be found in its own replacement forever).
    const QString needle = find;
    if (needle.isEmpty())
        return;
    qsizetype at = string.indexOf(needle, 0, Qt::CaseSensitive);
    while (at >= 0) {
        string.replace(at, needle.size(), replacement);
        at = string.indexOf(needle, at, Qt::CaseSensitive);
    }
}

namespace {

const auto fileManagerService = QStringLiteral("org.freedesktop.FileManager1");
const auto fileManagerPath = QStringLiteral("/org/freedesktop/FileManager1");

// The home folder's URI from the bytes of its name, so that a name that is not UTF-8 survives.
QByteArray homeFolderUri()
{
    QByteArray home = qgetenv("HOME");
    if (!home.startsWith('/'))
        home = QFile::encodeName(QDir::homePath());
    return QByteArrayLiteral("file://") + home.toPercentEncoding("/");
}

void openWithDesktop(const QByteArray &uri)
{
    const QUrl url = QUrl::fromEncoded(uri, QUrl::StrictMode);
    if (!QDesktopServices::openUrl(url))
        qCDebug(lcFiles) << "The desktop could not open the home folder" << url;
}

} // namespace

void TQOpenNewFinderWindow()
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application) {
        qCWarning(lcFiles, "TQOpenNewFinderWindow: there is no application object; no window opened");
        return;
    }
    const QByteArray uri = homeFolderUri();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qCDebug(lcFiles) << "No session bus for the file manager:" << bus.lastError().message();
        openWithDesktop(uri);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(fileManagerService, fileManagerPath, fileManagerService,
                                                       QStringLiteral("ShowFolders"));
    call << QStringList{QString::fromLatin1(uri)} << QString(); // no startup notification id
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), application);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, application, [uri](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        if (!done->isError())
            return;
        qCDebug(lcFiles) << "No file manager showed the home folder:" << done->error().name()
                         << done->error().message();
        openWithDesktop(uri);
    });
}

namespace {

constexpr qreal boxWidth = 304;
constexpr qreal plainBoxHeight = 154;
constexpr qreal fileBoxHeight = 174;
constexpr qreal iconSide = 64;

QRectF centredBox(const QRectF &bounds, qreal height)
{
    return {std::floor((bounds.width() - boxWidth) / 2), std::floor((bounds.height() - height) / 2), boxWidth, height};
}

// The bezel a HUD-like notice sits in: dark, translucent, with a faint light rim that keeps it
// apart from a dark view behind it. Returns the area inside the rim that the box fills.
QRectF drawDarkBezel(QPainter *painter, const QRectF &box)
{
    painter->save();
    painter->setClipRect(box, Qt::IntersectClip);
    painter->setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    // A corner radius of 5 keeps the square corners of the fill, 2 units in, inside the curve.
    outline.addRoundedRect(box, 5, 5);
    painter->fillPath(outline, QColor(38, 38, 38, 217));
    painter->setPen(QPen(QColor(255, 255, 255, 46), 1));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 4.5, 4.5);
    painter->restore();
    return box.adjusted(2, 2, -2, -2);
}

// Text as a centred, wrapping text cell lays it out within a width: lines break at word
// boundaries, and inside a word only when the word alone is wider (a long path still fits).
struct CellText
{
    QTextLayout layout;
    qreal lineWidth = 0;
    QSizeF size;

    CellText(const QString &text, const QFont &font, QPaintDevice *device)
        : layout(cellLines(text), font, device)
    {
    }

    static QString cellLines(QString text)
    {
        // Shaping a whole huge message would cost far more than the box can show: a box holds
        // a few thousand characters of any legible font, so the rest is never laid out.
        constexpr qsizetype shownAtMost = 16384;
        if (text.size() > shownAtMost)
            text.truncate(text.at(shownAtMost - 1).isHighSurrogate() ? shownAtMost - 1 : shownAtMost);
        // A cell starts a new line at each line end; QTextLayout only at a line separator.
        text.replace(QStringLiteral("\r\n"), QString(QChar::LineSeparator));
        text.replace(u'\r', QChar::LineSeparator);
        text.replace(u'\n', QChar::LineSeparator);
        return text;
    }

    // Lines stop once they fill maxHeight: nothing below would be seen, and a huge message
    // costs no more than a box full of it.
    void layOut(const QRectF &within)
    {
        QTextOption option(Qt::AlignHCenter);
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        lineWidth = within.width();
        qreal height = 0;
        qreal width = 0;
        layout.beginLayout();
        while (height < within.height()) {
            QTextLine line = layout.createLine();
            if (!line.isValid())
                break;
            line.setLineWidth(lineWidth);
            line.setPosition(QPointF(0, height));
            height += line.height();
            width = std::max(width, line.naturalTextWidth());
        }
        layout.endLayout();
        size = QSizeF(std::min(width, lineWidth), std::min(height, within.height()));
    }

    // Draws into frame, upright whichever way the painter's y axis points, cut at clip.
    void draw(QPainter *painter, const QRectF &frame, const QRectF &clip, bool flipped)
    {
        painter->save();
        painter->setClipRect(clip, Qt::IntersectClip);
        if (!flipped) {
            // Mirrored about the frame's middle line, so that the first line is on top on screen.
            painter->translate(0, frame.top() + frame.bottom());
            painter->scale(1, -1);
        }
        // Lines are centred within lineWidth; the frame is as wide as the widest line.
        layout.draw(painter, QPointF(frame.center().x() - lineWidth / 2, frame.top()));
        painter->restore();
    }
};

bool canDraw(const QPainter *painter, const QRectF &bounds)
{
    if (!painter || !painter->isActive()) {
        qCDebug(lcFiles, "A message box needs an active painter; nothing drawn");
        return false;
    }
    if (!std::isfinite(bounds.width()) || !std::isfinite(bounds.height())) {
        qCDebug(lcFiles) << "A message box needs finite bounds, not" << bounds;
        return false;
    }
    return true;
}

qreal centredX(const QRectF &bounds, qreal width)
{
    return std::floor((bounds.width() - width) / 2);
}

} // namespace

void TQDrawMessageBox(const QString &message, QPainter *painter, const QRectF &bounds)
{
    if (!canDraw(painter, bounds))
        return;
    const QPalette palette = QGuiApplication::palette();
    const bool flipped = painter->combinedTransform().m22() >= 0;
    painter->save();
    const QRectF inner = drawDarkBezel(painter, centredBox(bounds, plainBoxHeight));
    painter->fillRect(inner, palette.color(QPalette::Window));
    const QRectF textArea = inner.adjusted(1, 1, -1, -1);

    CellText text(message, QGuiApplication::font(), painter->device());
    text.layOut(textArea);
    const QRectF frame(centredX(bounds, text.size.width()), std::floor((bounds.height() - text.size.height()) / 2),
                       text.size.width(), text.size.height());
    painter->setPen(palette.color(QPalette::WindowText));
    text.draw(painter, frame, textArea, flipped);
    painter->restore();
}

void TQDrawMessageBoxWithFile(const QString &message, QPainter *painter, const UWStandardFileRef &file,
                              const QRectF &bounds)
{
    if (!canDraw(painter, bounds))
        return;
    const QPalette palette = QGuiApplication::palette();
    const bool flipped = painter->combinedTransform().m22() >= 0;
    painter->save();
    const QRectF fill = drawDarkBezel(painter, centredBox(bounds, fileBoxHeight));
    painter->fillRect(fill, palette.color(QPalette::Window));
    painter->fillRect(fill, QColor(255, 255, 255, 128));
    const QRectF inner = fill.adjusted(1, 1, -1, -1);

    QFont nameFont = QGuiApplication::font();
    nameFont.setPointSizeF(10);
    CellText name(file ? file->displayName() : QString(), nameFont, painter->device());
    name.layOut(inner);
    CellText text(message, QGuiApplication::font(), painter->device());
    text.layOut(inner);

    // From the inner area's top edge on screen: 15, icon, 4, name, 14, message. In a y-up
    // painter the top edge is the larger y, so every step goes the other way.
    qreal iconY, nameY, messageY;
    if (flipped) {
        iconY = inner.y() + 15;
        nameY = iconY + iconSide + 4;
        messageY = nameY + name.size.height() + 14;
    } else {
        iconY = inner.y() + inner.height() - iconSide - 15;
        nameY = iconY - name.size.height() - 4;
        messageY = nameY - text.size.height() - 14;
    }

    if (file) {
        const QRectF iconRect(centredX(bounds, iconSide), iconY, iconSide, iconSide);
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const QImage icon = file->fileIcon().pixmap(QSize(int(iconSide), int(iconSide)), ratio).toImage();
        TQImageUtilities::drawAdjustedInRect(icon, painter, iconRect, QRectF(), QPainter::CompositionMode_SourceOver, 1);
    }
    painter->setPen(palette.color(QPalette::WindowText));
    name.draw(painter, QRectF(centredX(bounds, name.size.width()), nameY, name.size.width(), name.size.height()),
              inner, flipped);
    text.draw(painter, QRectF(centredX(bounds, text.size.width()), messageY, text.size.width(), text.size.height()),
              inner, flipped);
    painter->restore();
}
