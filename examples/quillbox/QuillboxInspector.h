// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <TQAsyncImageLoader.h>
#include <TQFile.h>

#include <QImage>
#include <QWidget>

#include <memory>

/**
    The inspector: what the selected file is and, for an image, what the camera recorded
    (dimensions, megapixels, camera, exposure, ISO, focal length, date taken, colour profile,
    resolution, orientation), with an upright preview loaded by the library's image loader.

    The values are read on a worker thread (an image's metadata needs its file), so choosing
    a file never waits for the disk; a value that arrives for a file no longer shown is
    dropped. GUI thread only; the inspector owns its loader.
*/
class QuillboxInspector : public QWidget, public TQAsyncImageLoaderDelegate
{
    Q_OBJECT

public:
    /** The rows, in the order shown. */
    enum Field {
        Name,
        Kind,
        Size,
        Modified,
        Dimensions,
        Megapixels,
        Camera,
        Exposure,
        ISO,
        FocalLength,
        DateTaken,
        ColorProfile,
        Resolution,
        Orientation,
        FieldCount ///< the number of rows
    };
    Q_ENUM(Field)

    static constexpr int PreviewSide = 240; ///< the preview fits a square this large

    /** An inspector showing nothing. */
    explicit QuillboxInspector(QWidget *parent = nullptr);
    ~QuillboxInspector() override;

    /** Shows \a file (null: nothing); values and preview follow from the background. */
    void setFile(const TQFileRef &file);
    /** The file shown. */
    TQFileRef file() const;

    /** The text of \a field as shown; empty until known or when the file has none. */
    QString text(Field field) const;
    /** The preview as shown, upright and fitted to PreviewSide; null when none. */
    QImage preview() const;
    /** True once the values of the file shown have arrived. */
    bool isFilled() const;

    /** \internal The loader's delivery. */
    void asynchronousImageLoaderLoadedImage(TQAsyncImageLoader *loader, const QImage &image,
                                            const UWStandardFileRef &file,
                                            const UWStandardFileRef &nextInQueue) override;

Q_SIGNALS:
    /** The values of the file shown arrived. */
    void filled();
    /** The preview of the file shown arrived (null when it cannot be shown). */
    void previewShown();

private:
    void showValues(quint64 generation, const QStringList &values, int orientation);
    void showPreview();

    struct Private;
    std::unique_ptr<Private> const d;
};
