// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQVerticalCenterTextCell.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QIcon>
#include <QSizeF>
#include <QString>
#include <QVariant>

#include <memory>

/*!
    \class TQIconAndFilenameCell
    \brief A cell that shows a file's icon and name: the icon at the left, vertically centred,
    then the name, as TQVerticalCenterTextCell shows text.

    Each row of the model holds an object under objectRole() (Qt::DisplayRole by default, so a
    model can hand over its items as they are): a file item (a QVariant holding a
    UWStandardFileRef or TQFileRef), or a record (a QVariantMap) that holds one, like a
    bookmark {"BookmarkFile": item, "BookmarkTitle": "Pictures"}. setObjectValue() reads the
    cell's state out of it through three key paths (TQKeyValueSubject):

    \list
    \li fileKeyPath() leads from the object to the file item; empty (the default) when the
        object is the item itself;
    \li textKeyPath() ("displayName") to the text;
    \li imageKeyPath() ("fileIcon") to the icon: a QIcon, QPixmap or QImage.
    \endlist

    The text and the icon are read from the object, not from the file item, so a record can
    give its own title and picture for the file it holds.

    Any other value (a separator's or group's text, a number) is shown as text, without an
    icon: paint() clears the icon and the file item before it takes each row, so that a row
    never shows what an earlier row left in the cell.

    The icon is drawn at fileIconSize() (16×16 by default) in imageRectForBounds(), leftSpacing()
    from the cell's left edge and iconAndNameGap() before the text. When the file item is a
    link (UWStandardFile::isRealFile() false), TQImageUtilities::aliasBadge() is laid over the
    icon. A cell without an icon keeps no room for one.

    \par Threads
    GUI thread only, like every delegate. paint() changes the cell's state.

    \ingroup ui
*/
class TQKIT_EXPORT TQIconAndFilenameCell : public TQVerticalCenterTextCell
{
    Q_OBJECT
    //! The property of fileIconSize() and setFileIconSize().
    Q_PROPERTY(QSizeF fileIconSize READ fileIconSize WRITE setFileIconSize)
    //! The property of iconAndNameGap() and setIconAndNameGap().
    Q_PROPERTY(qreal iconAndNameGap READ iconAndNameGap WRITE setIconAndNameGap)
    //! The property of leftSpacing() and setLeftSpacing().
    Q_PROPERTY(qreal leftSpacing READ leftSpacing WRITE setLeftSpacing)
    //! The property of icon() and setIcon().
    Q_PROPERTY(QIcon icon READ icon WRITE setIcon)
    //! The property of imageKeyPath() and setImageKeyPath().
    Q_PROPERTY(QString imageKeyPath READ imageKeyPath WRITE setImageKeyPath)
    //! The property of fileKeyPath() and setFileKeyPath().
    Q_PROPERTY(QString fileKeyPath READ fileKeyPath WRITE setFileKeyPath)
    //! The property of textKeyPath() and setTextKeyPath().
    Q_PROPERTY(QString textKeyPath READ textKeyPath WRITE setTextKeyPath)
    //! The property of objectRole() and setObjectRole().
    Q_PROPERTY(int objectRole READ objectRole WRITE setObjectRole)

public:
    //! A cell with the default key paths, icon size and spacing, and no icon.
    explicit TQIconAndFilenameCell(QObject *parent = nullptr);
    ~TQIconAndFilenameCell() override;

    //! The file item the cell shows; null when it shows none.
    UWStandardFileRef representedFileItem() const;
    //! Sets what representedFileItem() answers.
    void setRepresentedFileItem(const UWStandardFileRef &item);

    //! The size the icon is drawn at; 16×16 by default. A negative or non-finite side counts as 0.
    QSizeF fileIconSize() const;
    //! Sets what fileIconSize() answers.
    void setFileIconSize(const QSizeF &size);
    //! The room between the icon and the text; 3 by default. A non-finite value counts as 0.
    qreal iconAndNameGap() const;
    //! Sets what iconAndNameGap() answers.
    void setIconAndNameGap(qreal gap);
    //! The room between the cell's left edge and its content; 3 by default. A non-finite value
    //! counts as 0.
    qreal leftSpacing() const;
    //! Sets what leftSpacing() answers.
    void setLeftSpacing(qreal spacing);

    //! The icon the cell shows; a null icon shows none and takes no room.
    QIcon icon() const;
    //! Sets what icon() answers.
    void setIcon(const QIcon &icon);

    //! The key path from the row's object to its icon; "fileIcon" by default, empty for none.
    QString imageKeyPath() const;
    //! Sets what imageKeyPath() answers.
    void setImageKeyPath(const QString &keyPath);
    //! The key path from the row's object to its file item; empty by default: the object is
    //! the item.
    QString fileKeyPath() const;
    //! Sets what fileKeyPath() answers.
    void setFileKeyPath(const QString &keyPath);
    //! The key path from the row's object to its text; "displayName" by default, empty for none.
    QString textKeyPath() const;
    //! Sets what textKeyPath() answers.
    void setTextKeyPath(const QString &keyPath);
    //! The model role that holds each row's object; Qt::DisplayRole by default.
    int objectRole() const;
    //! Sets what objectRole() answers.
    void setObjectRole(int role);

    /*!
        Sets the cell's state from \a object:

        \list
        \li A null value, or one that is neither a file item (of TQFile) nor a QVariantMap,
            sets the text to \a object's text (QVariant::toString()) and nothing else: the
            file item and the icon stay as they were.
        \li Otherwise the file item becomes the value at fileKeyPath() of \a object, or
            \a object itself when the path is empty (null when that is not a file item).
        \li If that item is a TQFile with a location (not a placeholder), the text becomes the
            value at textKeyPath() of \a object and the icon the value at imageKeyPath()
            (empty paths give an empty text and no icon).
        \li Otherwise the text becomes empty and the icon stays as it was.
        \endlist
    */
    void setObjectValue(const QVariant &object);

    //! The room the icon takes: fileIconSize() widened by iconAndNameGap(); 0×0 without an icon.
    QSizeF totalImageArea() const;
    /*!
        Where the icon goes in a cell of \a bounds: totalImageArea() in size, leftSpacing() from
        the left edge, vertically centred with the offset rounded down to a whole unit. The
        icon itself fills the rectangle's top-left fileIconSize().
    */
    QRectF imageRectForBounds(const QRectF &bounds) const;

    using TQVerticalCenterTextCell::titleRectForBounds;
    //! The text's rectangle of the base, moved right past leftSpacing() and the icon's room and
    //! narrowed by as much (never below 0 wide).
    QRectF titleRectForBounds(const QRectF &bounds, const QFont &font) const override;

    using TQVerticalCenterTextCell::cellSize;
    //! The base size, widened by the icon's room and leftSpacing().
    QSizeF cellSize(const QFont &font) const override;

    //! ContentArea on the icon (when there is one), else as the base.
    Hit hitTest(const QPointF &position, const QRectF &cellFrame) const override;

    //! The base size, widened by the icon's room and leftSpacing(); the model's
    //! Qt::SizeHintRole when it gives one.
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    //! A row that holds a file item or a record starts editing with the text the cell shows;
    //! any other row as the standard delegate does.
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;

protected:
    void setUpForRow(const QStyleOptionViewItem &option, const QModelIndex &index) override;
    void drawInterior(QPainter *painter, const QStyleOptionViewItem &option) const override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
