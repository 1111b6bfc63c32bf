// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQIconAndFilenameCell.h"

#include "TQFile.h"
#include "TQImageUtilities.h"
#include "TQKeyValueCoding.h"

#include <QImage>
#include <QMetaProperty>
#include <QPainter>
#include <QPaintDevice>
#include <QPixmap>
#include <QStyle>

#include <algorithm>
#include <cmath>

struct TQIconAndFilenameCell::Private
{
    UWStandardFileRef item;
    QSizeF fileIconSize{16, 16};
    qreal iconAndNameGap = 3;
    qreal leftSpacing = 3;
    QIcon icon;
    QString imageKeyPath = QStringLiteral("fileIcon");
    QString fileKeyPath;
    QString textKeyPath = QStringLiteral("displayName");
    int objectRole = Qt::DisplayRole;
};

namespace {

qreal finiteOrZero(qreal value)
{
    return std::isfinite(value) ? value : 0;
}

qreal sideOrZero(qreal value)
{
    return std::isfinite(value) ? std::max<qreal>(value, 0) : 0;
}

bool isFileItem(const QVariant &value)
{
    return TQFile::fromItem(TQFile::itemFromValue(value)) != nullptr;
}

bool isRecord(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QVariantMap>();
}

QIcon iconIn(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QIcon:
        return value.value<QIcon>();
    case QMetaType::QPixmap:
        return QIcon(value.value<QPixmap>());
    case QMetaType::QImage: {
        const QImage image = value.value<QImage>();
        return image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image));
    }
    default:
        return QIcon();
    }
}

} // namespace

TQIconAndFilenameCell::TQIconAndFilenameCell(QObject *parent)
    : TQVerticalCenterTextCell(parent)
    , d(std::make_unique<Private>())
{
}

TQIconAndFilenameCell::~TQIconAndFilenameCell() = default;

UWStandardFileRef TQIconAndFilenameCell::representedFileItem() const
{
    return d->item;
}

void TQIconAndFilenameCell::setRepresentedFileItem(const UWStandardFileRef &item)
{
    d->item = item;
}

QSizeF TQIconAndFilenameCell::fileIconSize() const
{
    return d->fileIconSize;
}

void TQIconAndFilenameCell::setFileIconSize(const QSizeF &size)
{
    d->fileIconSize = QSizeF(sideOrZero(size.width()), sideOrZero(size.height()));
}

qreal TQIconAndFilenameCell::iconAndNameGap() const
{
    return d->iconAndNameGap;
}

void TQIconAndFilenameCell::setIconAndNameGap(qreal gap)
{
    d->iconAndNameGap = finiteOrZero(gap);
}

qreal TQIconAndFilenameCell::leftSpacing() const
{
    return d->leftSpacing;
}

void TQIconAndFilenameCell::setLeftSpacing(qreal spacing)
{
    d->leftSpacing = finiteOrZero(spacing);
}

QIcon TQIconAndFilenameCell::icon() const
{
    return d->icon;
}

void TQIconAndFilenameCell::setIcon(const QIcon &icon)
{
    d->icon = icon;
}

QString TQIconAndFilenameCell::imageKeyPath() const
{
    return d->imageKeyPath;
}

void TQIconAndFilenameCell::setImageKeyPath(const QString &keyPath)
{
    d->imageKeyPath = keyPath;
}

QString TQIconAndFilenameCell::fileKeyPath() const
{
    return d->fileKeyPath;
}

void TQIconAndFilenameCell::setFileKeyPath(const QString &keyPath)
{
    d->fileKeyPath = keyPath;
}

QString TQIconAndFilenameCell::textKeyPath() const
{
    return d->textKeyPath;
}

void TQIconAndFilenameCell::setTextKeyPath(const QString &keyPath)
{
    d->textKeyPath = keyPath;
}

int TQIconAndFilenameCell::objectRole() const
{
    return d->objectRole;
}

void TQIconAndFilenameCell::setObjectRole(int role)
{
    d->objectRole = role;
}

void TQIconAndFilenameCell::setObjectValue(const QVariant &object)
{
    if (object.isNull() || (!isFileItem(object) && !isRecord(object))) {
        setStringValue(object.toString());
        return;
    }
    const TQKeyValueSubject subject(object);
    d->item = d->fileKeyPath.isEmpty() ? TQFile::itemFromValue(object) : TQFile::itemFromValue(subject.valueForKeyPath(d->fileKeyPath));
    // A placeholder has no location: its record is shown as missing, with no name of its own.
    if (!d->item || !TQFile::fromItem(d->item) || d->item->URL().isEmpty()) {
        setStringValue(QString());
        return;
    }
    setStringValue(d->textKeyPath.isEmpty() ? QString() : subject.valueForKeyPath(d->textKeyPath).toString());
    d->icon = d->imageKeyPath.isEmpty() ? QIcon() : iconIn(subject.valueForKeyPath(d->imageKeyPath));
}

QSizeF TQIconAndFilenameCell::totalImageArea() const
{
    if (d->icon.isNull())
        return QSizeF(0, 0);
    return QSizeF(d->fileIconSize.width() + d->iconAndNameGap, d->fileIconSize.height());
}

QRectF TQIconAndFilenameCell::imageRectForBounds(const QRectF &bounds) const
{
    const QSizeF area = totalImageArea();
    const qreal offset = std::floor((bounds.height() - area.height()) * 0.5);
    return QRectF(QPointF(bounds.x() + d->leftSpacing, bounds.y() + offset), area);
}

QRectF TQIconAndFilenameCell::titleRectForBounds(const QRectF &bounds, const QFont &font) const
{
    QRectF rect = TQVerticalCenterTextCell::titleRectForBounds(bounds, font);
    const qreal indent = d->leftSpacing + totalImageArea().width();
    rect.setX(rect.x() + indent);
    rect.setWidth(std::max<qreal>(bounds.width() - indent, 0));
    return rect;
}

QSizeF TQIconAndFilenameCell::cellSize(const QFont &font) const
{
    const QSizeF size = TQVerticalCenterTextCell::cellSize(font);
    return QSizeF(size.width() + totalImageArea().width() + d->leftSpacing, size.height());
}

TQIconAndFilenameCell::Hit TQIconAndFilenameCell::hitTest(const QPointF &position, const QRectF &cellFrame) const
{
    if (!d->icon.isNull() && imageRectForBounds(cellFrame).contains(position))
        return Hit::ContentArea;
    return TQVerticalCenterTextCell::hitTest(position, cellFrame);
}

QSize TQIconAndFilenameCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (const QVariant given = index.data(Qt::SizeHintRole); given.isValid())
        return given.toSize();
    const QSize size = TQVerticalCenterTextCell::sizeHint(option, index);
    return QSize(size.width() + int(std::ceil(totalImageArea().width() + d->leftSpacing)), size.height());
}

void TQIconAndFilenameCell::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    const QVariant object = index.data(d->objectRole);
    const QByteArray property = editor ? QByteArray(editor->metaObject()->userProperty().name()) : QByteArray();
    if (property.isEmpty() || (!isFileItem(object) && !isRecord(object))) {
        QStyledItemDelegate::setEditorData(editor, index);
        return;
    }
    preparedOption(QStyleOptionViewItem(), index); // takes the row's text into the cell
    editor->setProperty(property.constData(), stringValue());
}

void TQIconAndFilenameCell::setUpForRow(const QStyleOptionViewItem &, const QModelIndex &index)
{
    d->icon = QIcon();
    d->item.reset();
    setObjectValue(index.data(d->objectRole));
}

void TQIconAndFilenameCell::drawInterior(QPainter *painter, const QStyleOptionViewItem &option) const
{
    if (!d->icon.isNull() && !d->fileIconSize.isEmpty()) {
        const QRectF iconRect(imageRectForBounds(option.rect).topLeft(), d->fileIconSize);
        const QPaintDevice *device = painter->device();
        const qreal ratio = device ? std::max<qreal>(device->devicePixelRatioF(), 1) : 1;
        QIcon::Mode mode = QIcon::Normal;
        if (!(option.state & QStyle::State_Enabled))
            mode = QIcon::Disabled;
        else if (option.state & QStyle::State_Selected)
            mode = QIcon::Selected;
        const QPixmap pixmap = d->icon.pixmap(d->fileIconSize.toSize(), ratio, mode);
        TQImageUtilities::drawImageAdjustedInRect(pixmap.toImage(), painter, iconRect);
        if (d->item && !d->item->isRealFile())
            TQImageUtilities::drawImageAdjustedInRect(TQImageUtilities::aliasBadge(), painter, iconRect);
    }
    TQVerticalCenterTextCell::drawInterior(painter, option);
}
