// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxInspector.h"

#include <TQImageOrientation.h>

#include <QCoreApplication>
#include <QFormLayout>
#include <QLabel>
#include <QPointer>
#include <QThreadPool>
#include <QVBoxLayout>

namespace {

// The row titles, in Field order.
QString fieldTitle(QuillboxInspector::Field field)
{
    switch (field) {
    case QuillboxInspector::Name: return QuillboxInspector::tr("Name:");
    case QuillboxInspector::Kind: return QuillboxInspector::tr("Kind:");
    case QuillboxInspector::Size: return QuillboxInspector::tr("Size:");
    case QuillboxInspector::Modified: return QuillboxInspector::tr("Modified:");
    case QuillboxInspector::Dimensions: return QuillboxInspector::tr("Dimensions:");
    case QuillboxInspector::Megapixels: return QuillboxInspector::tr("Megapixels:");
    case QuillboxInspector::Camera: return QuillboxInspector::tr("Camera:");
    case QuillboxInspector::Exposure: return QuillboxInspector::tr("Exposure:");
    case QuillboxInspector::ISO: return QuillboxInspector::tr("ISO:");
    case QuillboxInspector::FocalLength: return QuillboxInspector::tr("Focal length:");
    case QuillboxInspector::DateTaken: return QuillboxInspector::tr("Date taken:");
    case QuillboxInspector::ColorProfile: return QuillboxInspector::tr("Colour profile:");
    case QuillboxInspector::Resolution: return QuillboxInspector::tr("Resolution:");
    case QuillboxInspector::Orientation: return QuillboxInspector::tr("Orientation:");
    case QuillboxInspector::FieldCount: break;
    }
    return {};
}

// Every value, read on a worker: an image's metadata costs a read of its file.
QStringList readValues(const TQFileRef &file)
{
    QStringList values(QuillboxInspector::FieldCount);
    values[QuillboxInspector::Name] = file->displayName();
    values[QuillboxInspector::Kind] = file->kindString();
    values[QuillboxInspector::Size] = file->isDirectory() ? QString() : file->fileSizeString();
    values[QuillboxInspector::Modified] = file->modificationDateString();
    if (!file->isImage() || !file->findAllImageInfo())
        return values;
    values[QuillboxInspector::Dimensions] = file->dimensionsString();
    values[QuillboxInspector::Megapixels] = file->megapixelString();
    values[QuillboxInspector::Camera] = file->cameraModelString();
    QStringList exposure;
    for (const QString &part : {file->exposureTimeString(), file->fNumberString()}) {
        if (!part.isEmpty())
            exposure.append(part);
    }
    values[QuillboxInspector::Exposure] = exposure.join(QStringLiteral(", "));
    values[QuillboxInspector::ISO] = file->ISOString();
    values[QuillboxInspector::FocalLength] = file->focalLengthString();
    values[QuillboxInspector::DateTaken] = file->EXIFDateString();
    values[QuillboxInspector::ColorProfile] = file->ICCProfileString();
    values[QuillboxInspector::Resolution] = file->resolutionString();
    const QString shape = file->generalOrientationString();
    const int stored = file->orientation();
    values[QuillboxInspector::Orientation] = stored > 1 ? QuillboxInspector::tr("%1 (turned by the camera: EXIF %2)").arg(shape).arg(stored)
                                                         : shape;
    return values;
}

} // namespace

struct QuillboxInspector::Private
{
    TQFileRef file;
    quint64 generation = 0;
    bool filled = false;
    int orientation = 0; // 0: not known yet
    QImage stored;       // the loader's image, in its stored pixels
    QImage preview;
    TQAsyncImageLoader loader;
    QLabel *previewLabel = nullptr;
    QLabel *values[FieldCount] = {};
    QLabel *titles[FieldCount] = {};
};

QuillboxInspector::QuillboxInspector(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<Private>())
{
    d->loader.setDelegate(this);
    auto *layout = new QVBoxLayout(this);
    d->previewLabel = new QLabel(this);
    d->previewLabel->setObjectName(QStringLiteral("preview"));
    d->previewLabel->setAlignment(Qt::AlignCenter);
    d->previewLabel->setMinimumSize(PreviewSide, PreviewSide);
    layout->addWidget(d->previewLabel);
    auto *form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignRight);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    for (int field = 0; field < FieldCount; ++field) {
        d->titles[field] = new QLabel(fieldTitle(Field(field)), this);
        d->values[field] = new QLabel(this);
        d->values[field]->setWordWrap(true);
        d->values[field]->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(d->titles[field], d->values[field]);
    }
    layout->addLayout(form);
    layout->addStretch(1);
    setFile(nullptr);
}

QuillboxInspector::~QuillboxInspector() = default;

TQFileRef QuillboxInspector::file() const
{
    return d->file;
}

void QuillboxInspector::setFile(const TQFileRef &file)
{
    if (file && file == d->file)
        return;
    d->file = file;
    const quint64 generation = ++d->generation;
    d->filled = false;
    d->orientation = 0;
    d->stored = QImage();
    d->preview = QImage();
    d->loader.cancel();
    d->previewLabel->clear();
    for (int field = 0; field < FieldCount; ++field) {
        d->values[field]->clear();
        d->titles[field]->setVisible(field <= Modified);
        d->values[field]->setVisible(field <= Modified);
    }
    if (!file) {
        d->previewLabel->setText(tr("No selection"));
        return;
    }
    d->previewLabel->setPixmap(file->fileIcon().pixmap(128, 128));
    if (file->isImage())
        d->loader.addFilesToQueue({file});
    QPointer<QuillboxInspector> self(this);
    QThreadPool::globalInstance()->start([self, file, generation] {
        const QStringList values = readValues(file);
        const int orientation = file->isImage() ? qBound(1, file->orientation(), 8) : 1;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [self, generation, values, orientation] {
                if (self)
                    self->showValues(generation, values, orientation);
            },
            Qt::QueuedConnection);
    });
}

void QuillboxInspector::showValues(quint64 generation, const QStringList &values, int orientation)
{
    if (generation != d->generation)
        return; // for a file chosen before
    for (int field = 0; field < FieldCount; ++field) {
        d->values[field]->setText(values.value(field));
        const bool shown = field <= Modified || !values.value(field).isEmpty();
        d->titles[field]->setVisible(shown);
        d->values[field]->setVisible(shown);
    }
    d->orientation = orientation;
    d->filled = true;
    showPreview();
    emit filled();
}

void QuillboxInspector::asynchronousImageLoaderLoadedImage(TQAsyncImageLoader *, const QImage &image,
                                                           const UWStandardFileRef &file, const UWStandardFileRef &)
{
    if (!d->file || file != d->file)
        return;
    d->stored = image.isNull() ? QImage() : image;
    if (image.isNull()) {
        emit previewShown();
        return;
    }
    showPreview();
}

void QuillboxInspector::showPreview()
{
    // The loader hands over the stored pixels; the file's orientation (read with the values)
    // turns them upright, so the preview waits for both.
    if (d->stored.isNull() || d->orientation == 0)
        return;
    const QImage upright = TQImageOrientation::uprightImage(d->stored, d->orientation);
    // Fitted to the box either way, as a viewer fits a picture to its window.
    d->preview = upright.scaled(PreviewSide, PreviewSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    d->stored = QImage();
    d->previewLabel->setPixmap(QPixmap::fromImage(d->preview));
    emit previewShown();
}

QString QuillboxInspector::text(Field field) const
{
    return field >= 0 && field < FieldCount ? d->values[field]->text() : QString();
}

QImage QuillboxInspector::preview() const
{
    return d->preview;
}

bool QuillboxInspector::isFilled() const
{
    return d->filled;
}
