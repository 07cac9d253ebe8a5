// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageData.h"
#include "PictureView.h"

#include <algorithm>
#include <cmath>
#include <limits>

/// Small questions that all who show pictures ask.

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// Calls function with a value of the sample type; the parts of a spectrum are floats. False for types that
/// cannot be shown.
template <class Function>
bool withShownSampleType(EzImageDataType dataType, Function&& function) {
    return withSampleType(dataType == EzImageDataType::SpectrumFloat32 ? EzImageDataType::Float32 : dataType,
                          function);
}

/// One channel of a picture, interleaved or planar.
template <class T>
class CzChannelView {
public:
    CzChannelView(const SzPicBuf& picture, std::uint32_t channel) {
        const bool planar = picture.storageFormat == EzDataStorageFormat::Planar;
        m_lines = planar ? planeView<const T>(picture, channel) : view<const T>(picture);
        m_offset = planar ? 0 : channel;
    }

    /// First sample of a row; the next one is step() behind.
    const T* row(std::int64_t y) const { return m_lines.row(static_cast<std::size_t>(y)) + m_offset; }
    std::size_t step() const { return m_lines.channels; }
    T at(int x, int y) const { return row(y)[static_cast<std::size_t>(x) * step()]; }

private:
    PictureView<const T> m_lines{};
    std::size_t m_offset = 0;
};

/// Pixels that are counted in an int: the rest of a wider picture is never shown.
inline int shownPixels(std::uint32_t size) {
    return static_cast<int>(std::min<std::uint32_t>(size, std::numeric_limits<int>::max()));
}

inline bool isInside(const SzPicBuf& picture, int x, int y) {
    return picture.data && x >= 0 && y >= 0 && x < shownPixels(picture.width) &&
           y < shownPixels(picture.height);
}

/// Whether the first three samples are blue, green and red.
inline bool hasColourSamples(const SzPicBufInfo& format) {
    return format.isColor && (format.channels == 3 || format.channels == 4);
}

inline bool isBayer(const SzPicBufInfo& format) {
    return isRaw(format) && format.colorFilterArray >= EzColorFilterArray::BayerRGGB &&
           format.colorFilterArray <= EzColorFilterArray::BayerBGGR;
}

/// Whether a pixel of a Bayer picture is in a column, or in a row, of its red samples.
inline bool isRedColumn(EzColorFilterArray colorFilterArray, int x) {
    const bool odd = colorFilterArray == EzColorFilterArray::BayerGRBG ||
                     colorFilterArray == EzColorFilterArray::BayerBGGR;
    return (x & 1) == int(odd);
}
inline bool isRedRow(EzColorFilterArray colorFilterArray, int y) {
    const bool odd = colorFilterArray == EzColorFilterArray::BayerGBRG ||
                     colorFilterArray == EzColorFilterArray::BayerBGGR;
    return (y & 1) == int(odd);
}

/// Whether the picture is a raw one of a sensor whose filter zones are known.
inline bool hasZones(const CzImageData& picture) {
    return isRaw(picture.picBuf()) && picture.imageMetadata().hsiCameraParams.isValid();
}

/// The largest sample of an integer picture; 0 for floats.
inline double largestSample(const SzPicBufInfo& format) {
    if (format.dataType == EzImageDataType::Float32 || format.dataType == EzImageDataType::SpectrumFloat32)
        return 0.0;
    const std::uint32_t bits = 8 * bytesPerSample(format.dataType);
    const std::uint32_t depth = format.bitDepth == 0 ? bits : std::min(format.bitDepth, bits);
    return std::ldexp(1.0, static_cast<int>(depth)) - 1.0;
}
