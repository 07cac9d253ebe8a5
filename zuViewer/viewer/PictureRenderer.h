// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HsiCameraParams.h"

#include <QImage>
#include <QPoint>
#include <QPointF>
#include <QSize>

class CzImageData;
struct SzPicBufInfo;

/// How samples become brightness.
struct SzDisplayRange {
    double black = 0.0; ///< this sample and less
    double white = 0.0; ///< this sample and more
};

/// How a picture is shown.
struct SzDisplaySettings {
    enum class EzRange {
        Automatic, ///< from the darkest to the brightest sample, a few outliers left out
        Full,      ///< from 0 to what the bit depth can hold; floats as if automatic
        Manual,    ///< the range below
    };
    EzRange range = EzRange::Full;
    SzDisplayRange manual;
    bool demosaic = true;       ///< raw Bayer and RGB-NIR pictures in colour, not as they are
    int band = -1;              ///< of a hyperspectral mosaic: this band alone; -1: the mosaic as it is
    bool markSaturated = false; ///< in red what is at the end of the bit depth in a colour that is shown
};

/// The part of a picture that is to be seen.
struct SzViewport {
    QPointF topLeft;    ///< in pixels of the picture, that is at the view's top left corner
    double scale = 1.0; ///< screen pixels per picture pixel
    QSize size;         ///< of the view in screen pixels
};

/// Whether the picture is a raw one that can be shown in colour.
bool hasMosaicColours(const CzImageData& picture);

/// The range that the settings ask for. Looks at some 50000 pixels at most, whatever the size of the picture.
/// Spectra: of the logarithm of the magnitude. Without any sample that is a number: 0 to 1.
SzDisplayRange displayRange(const CzImageData& picture, const SzDisplaySettings& settings);

/// The pixel of a picture that a screen pixel of the view shows: the one under its middle. Of a picture that
/// is no thicker than a screen pixel, and so under no middle or under one by chance, the line in its own
/// middle is shown. (-1, -1): none.
QPoint shownPixel(const SzPicBufInfo& picture, const SzViewport& viewport, const QPoint& screenPixel);

/// What the view shows, each screen pixel the one pixel of shownPixel(): takes time in proportion to the
/// pixels of the view, not of the picture. Spectra are shown as the logarithm of their magnitude, unknown
/// sample types as nothing. Transparent: what lies beside the picture or the shown band's zone, and what is
/// not a number. A range without extent makes a step. Any thread.
QImage renderPicture(const CzImageData& picture, const SzDisplaySettings& settings,
                     const SzDisplayRange& range, const SzViewport& viewport);
