// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QVector>

class CzImageData;

/// One sample as it is in memory, integers and floats alike; not a number outside the picture, and for sample
/// types that cannot be shown.
double sampleAt(const CzImageData& picture, int x, int y, int channel);

/// "x 12, y 7: 1023" with the samples of all channels (colour pictures: red, green, blue and, where there is
/// one, the fourth), the place in the mosaic's cell with the name of its band or colour, and for spectra
/// magnitude and phase. Empty outside.
QString describePixel(const CzImageData& picture, int x, int y);

/// What one band measured.
struct SzSpectrumPoint {
    QString band;
    double wavelength = 0.0; ///< nanometres; 0 when unknown
    double value = 0.0;
};

/// The spectrum of a pixel of a hyperspectral mosaic: what the bands of its cell (the zone's, where there are
/// several) measured, in the order of their wavelengths; bands that the cell has beyond the zone or the
/// picture are missing. Empty for other pictures.
QVector<SzSpectrumPoint> spectrumAt(const CzImageData& picture, int x, int y);
