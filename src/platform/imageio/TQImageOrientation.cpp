// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientation.h"

#include <array>

namespace TQImageOrientation {
namespace {

using T = QImageIOHandler::Transformation;

// Indexed by orientation; 0 stands for every invalid value.
constexpr std::array<QImageIOHandler::Transformation, 9> Table{
        T::TransformationNone,      T::TransformationNone,          T::TransformationMirror,
        T::TransformationRotate180, T::TransformationFlip,          T::TransformationFlipAndRotate90,
        T::TransformationRotate90,  T::TransformationMirrorAndRotate90, T::TransformationRotate270};

} // namespace

QImageIOHandler::Transformations transformation(int orientation)
{
    return Table[isValid(orientation) ? orientation : 0];
}

int orientation(QImageIOHandler::Transformations transformation)
{
    for (int o = 1; o <= 8; ++o) {
        if (Table[o] == transformation)
            return o;
    }
    return 1;
}

bool swapsDimensions(int orientation)
{
    return transformation(orientation).testFlag(T::TransformationRotate90);
}

QSize uprightSize(const QSize &storedSize, int orientation)
{
    return swapsDimensions(orientation) ? storedSize.transposed() : storedSize;
}

QTransform transform(int orientation, const QSizeF &storedSize)
{
    const qreal w = storedSize.width(), h = storedSize.height();
    switch (isValid(orientation) ? orientation : 1) {
    case 2: return QTransform(-1, 0, 0, 1, w, 0);
    case 3: return QTransform(-1, 0, 0, -1, w, h);
    case 4: return QTransform(1, 0, 0, -1, 0, h);
    case 5: return QTransform(0, 1, 1, 0, 0, 0);
    case 6: return QTransform(0, 1, -1, 0, h, 0);
    case 7: return QTransform(0, -1, -1, 0, h, w);
    case 8: return QTransform(0, -1, 1, 0, 0, w);
    default: return QTransform();
    }
}

QImage uprightImage(const QImage &stored, int orientation)
{
    const QImageIOHandler::Transformations t = transformation(orientation);
    if (stored.isNull() || t == T::TransformationNone)
        return stored;
    // QImage::transformed() moves pixels exactly (no resampling) only for pure quarter turns,
    // so mirroring is done on its own first, as Qt's own readers do it.
    if (t == T::TransformationRotate270)
        return stored.transformed(QTransform().rotate(270));
    QImage out = stored.mirrored(t.testFlag(T::TransformationMirror), t.testFlag(T::TransformationFlip));
    if (t.testFlag(T::TransformationRotate90))
        out = out.transformed(QTransform().rotate(90));
    return out;
}

} // namespace TQImageOrientation
