// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QPointF>
#include <QSize>
#include <QString>
#include <QVector>

class CzImageData;

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
    bool markSaturated = false; ///< pixels with a sample at the end of the bit depth in red
};

/// The part of a picture that is to be seen.
struct SzViewport {
    QPointF topLeft;    ///< in pixels of the picture, that is at the view's top left corner
    double scale = 1.0; ///< screen pixels per picture pixel
    QSize size;         ///< of the view in screen pixels
};

/// The range that the settings ask for. Looks at some 50000 samples at most, whatever the size of the
/// picture. Spectra: of the logarithm of the magnitude.
SzDisplayRange displayRange(const CzImageData& picture, const SzDisplaySettings& settings);

/// What the view shows: takes time in proportion to the pixels of the view, not of the picture. Pixels beside
/// the picture are transparent. Spectra are shown as the logarithm of their magnitude; unknown sample types
/// as nothing. Each screen pixel shows one pixel of the picture. Any thread.
QImage renderPicture(const CzImageData& picture, const SzDisplaySettings& settings,
                     const SzDisplayRange& range, const SzViewport& viewport);

/// One sample as it is in memory. Integers and floats alike; nan outside the picture.
double sampleAt(const CzImageData& picture, int x, int y, int channel);

/// "x 12, y 7: 1023" with the samples of all channels (colour pictures: red, green, blue), the place in the
/// mosaic's cell with the name of its band or colour, and for spectra magnitude and phase. Empty outside.
QString describePixel(const CzImageData& picture, int x, int y);

/// The spectrum of a pixel of a hyperspectral mosaic: what the bands of its cell (the zone's, where there are
/// several) measured, in the order of their wavelengths. Empty for other pictures.
struct SzSpectrumPoint {
    QString band;
    double wavelength = 0.0; ///< nanometres; 0 when unknown
    double value = 0.0;
};
QVector<SzSpectrumPoint> spectrumAt(const CzImageData& picture, int x, int y);
