// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "PictureView.h"
#include "ShownChannels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

/// Brings integers of a bit depth to 8 bits.
template <class T>
class To8Bit {
public:
    explicit To8Bit(std::uint32_t bitDepth) {
        constexpr std::uint32_t sampleBits = std::numeric_limits<T>::digits;
        const std::uint32_t depth = bitDepth == 0 ? sampleBits : std::min(bitDepth, sampleBits);
        m_largest = static_cast<T>(std::numeric_limits<T>::max() >> (sampleBits - depth));
        m_shift = depth > 8 ? depth - 8 : 0;
        m_scale = depth < 8 ? 255.0F / static_cast<float>(m_largest) : 1.0F;
    }

    void operator()(const T* samples, std::uint8_t* bytes, std::size_t count) const {
        const T largest = m_largest;
        if (m_scale == 1.0F) {
            const std::uint32_t shift = m_shift;
            for (std::size_t i = 0; i < count; ++i)
                bytes[i] = static_cast<std::uint8_t>(std::min(samples[i], largest) >> shift);
        } else {
            const float scale = m_scale;
            for (std::size_t i = 0; i < count; ++i)
                bytes[i] = static_cast<std::uint8_t>(
                    static_cast<float>(static_cast<int>(std::min(samples[i], largest))) * scale + 0.5F);
        }
    }

private:
    T m_largest;
    std::uint32_t m_shift;
    float m_scale; // 1 when there is nothing to scale up
};

/// Stretches a range of floats to 0 … 255.
template <>
class To8Bit<float> {
public:
    // In doubles neither the range nor the scale overflows.
    To8Bit(float minimum, float maximum)
        : m_minimum(minimum)
        , m_hasRange(std::isfinite(minimum) && std::isfinite(maximum) && minimum < maximum)
        , m_scale(m_hasRange ? 255.0 / (static_cast<double>(maximum) - minimum) : 0.0) {}

    void operator()(const float* samples, std::uint8_t* bytes, std::size_t count) const {
        const double minimum = m_minimum;
        if (m_hasRange) {
            const double scale = m_scale;
            for (std::size_t i = 0; i < count; ++i) {
                const double stretched = (samples[i] - minimum) * scale;
                const double atLeast0 = stretched > 0.0 ? stretched : 0.0; // also when it is not a number
                bytes[i] =
                    static_cast<std::uint8_t>(static_cast<int>((atLeast0 < 255.0 ? atLeast0 : 255.0) + 0.5));
            }
        } else {
            for (std::size_t i = 0; i < count; ++i)
                bytes[i] = samples[i] > minimum ? 255 : 0;
        }
    }

private:
    double m_minimum;
    bool m_hasRange;
    double m_scale;
};

/// First byte of each colour of a line: blue, green, red.
using ColorLines = std::array<const std::uint8_t*, 3>;

/// Writes pixels from bytes that lie step apart.
template <std::size_t channels>
inline void writePixels(const ColorLines& colors, std::size_t step, std::uint8_t* pixel, std::size_t count) {
    const auto [blue, green, red] = colors;
    for (std::size_t x = 0; x < count; ++x, pixel += channels) {
        pixel[0] = blue[x * step];
        pixel[1] = green[x * step];
        pixel[2] = red[x * step];
        if constexpr (channels == 4)
            pixel[3] = 255;
    }
}

template <std::size_t channels, class T>
void convertInterleaved(const PictureView<const T>& source, const std::array<std::uint32_t, 3>& shown,
                        const To8Bit<T>& to8Bit, const PictureView<std::uint8_t>& destination) {
    std::vector<std::uint8_t> bytes(std::size_t{source.width} * source.channels);
    const ColorLines colors = {bytes.data() + shown[0], bytes.data() + shown[1], bytes.data() + shown[2]};
    for (std::size_t y = 0; y < source.height; ++y) {
        to8Bit(source.row(y), bytes.data(), bytes.size());
        writePixels<channels>(colors, source.channels, destination.row(y), source.width);
    }
}

template <std::size_t channels, class T>
void convertPlanar(const std::array<PictureView<const T>, 3>& planes, const To8Bit<T>& to8Bit,
                   const PictureView<std::uint8_t>& destination) {
    const std::size_t width = destination.width;
    std::vector<std::uint8_t> bytes(planes.size() * width);
    const ColorLines colors = {bytes.data(), bytes.data() + width, bytes.data() + 2 * width};
    for (std::size_t y = 0; y < destination.height; ++y) {
        for (std::size_t i = 0; i < planes.size(); ++i)
            to8Bit(planes[i].row(y), bytes.data() + i * width, width);
        writePixels<channels>(colors, 1, destination.row(y), width);
    }
}

/// Column and row parity of the red samples.
struct BayerPhase {
    std::size_t redColumn;
    std::size_t redRow;
};

BayerPhase bayerPhase(EzColorFilterArray colorFilterArray) {
    switch (colorFilterArray) {
    case EzColorFilterArray::BayerGRBG:
        return {1, 0};
    case EzColorFilterArray::BayerGBRG:
        return {0, 1};
    case EzColorFilterArray::BayerBGGR:
        return {1, 1};
    default:
        return {0, 0};
    }
}

/// One line of a Bayer picture with the one above and below, all with one sample more on either side.
struct BayerLines {
    const std::uint8_t* above;
    const std::uint8_t* here;
    const std::uint8_t* below;
};

/// Interpolates a line that has red samples (or blue ones: then rowColor is 0, not 2) at every second place
/// from colorColumn on, green ones between. Averages round half up.
template <std::size_t channels>
void interpolateLine(const BayerLines& lines, std::size_t colorColumn, std::size_t rowColor,
                     std::uint8_t* pixels, std::size_t width) {
    const auto [above, here, below] = lines;
    const std::size_t otherColor = 2 - rowColor;
    for (std::size_t x = colorColumn; x < width; x += 2) {
        std::uint8_t* const pixel = pixels + x * channels;
        pixel[rowColor] = here[x];
        pixel[1] = static_cast<std::uint8_t>((here[x - 1] + here[x + 1] + above[x] + below[x] + 2) / 4);
        pixel[otherColor] =
            static_cast<std::uint8_t>((above[x - 1] + above[x + 1] + below[x - 1] + below[x + 1] + 2) / 4);
    }
    for (std::size_t x = 1 - colorColumn; x < width; x += 2) {
        std::uint8_t* const pixel = pixels + x * channels;
        pixel[rowColor] = static_cast<std::uint8_t>((here[x - 1] + here[x + 1] + 1) / 2);
        pixel[1] = here[x];
        pixel[otherColor] = static_cast<std::uint8_t>((above[x] + below[x] + 1) / 2);
    }
    if constexpr (channels == 4)
        for (std::size_t x = 0; x < width; ++x)
            pixels[x * channels + 3] = 255;
}

/// At least 2 × 2 samples. Neighbours beyond a border are mirrored at the outermost sample, which keeps their
/// colour.
template <std::size_t channels, class T>
void convertBayer(const PictureView<const T>& source, BayerPhase phase, const To8Bit<T>& to8Bit,
                  const PictureView<std::uint8_t>& destination) {
    const std::size_t width = source.width;
    const std::size_t height = source.height;
    const std::size_t lineBytes = width + 2;
    std::vector<std::uint8_t> bytes(3 * lineBytes); // the last three lines, each at its number modulo 3
    const auto line = [&](std::size_t y) { return bytes.data() + y % 3 * lineBytes + 1; };
    const auto load = [&](std::size_t y) {
        std::uint8_t* const samples = line(y);
        to8Bit(source.row(y), samples, width);
        samples[-1] = samples[1];
        samples[width] = samples[width - 2];
    };

    load(0);
    for (std::size_t y = 0; y < height; ++y) {
        if (y + 1 < height)
            load(y + 1);
        const std::uint8_t* const above = line(y > 0 ? y - 1 : 1);
        const std::uint8_t* const below = line(y + 1 < height ? y + 1 : height - 2);
        const bool redRow = y % 2 == phase.redRow;
        interpolateLine<channels>({above, line(y), below}, redRow ? phase.redColumn : 1 - phase.redColumn,
                                  redRow ? 2 : 0, destination.row(y), width);
    }
}

bool isBayer(const SzPicBufInfo& format) {
    return isRaw(format) && format.colorFilterArray >= EzColorFilterArray::BayerRGGB &&
           format.colorFilterArray <= EzColorFilterArray::BayerBGGR;
}

template <std::size_t channels, class T>
void convert(const SzPicBuf& source, const To8Bit<T>& to8Bit, const PictureView<std::uint8_t>& destination) {
    const auto shown = shownChannels(source);
    if (isBayer(source) && source.width >= 2 && source.height >= 2)
        convertBayer<channels>(view<const T>(source), bayerPhase(source.colorFilterArray), to8Bit,
                               destination);
    else if (source.storageFormat == EzDataStorageFormat::Planar)
        convertPlanar<channels>(std::array{planeView<const T>(source, shown[0]),
                                           planeView<const T>(source, shown[1]),
                                           planeView<const T>(source, shown[2])},
                                to8Bit, destination);
    else
        convertInterleaved<channels>(view<const T>(source), shown, to8Bit, destination);
}

template <class T>
bool convert(const SzPicBuf& source, const To8Bit<T>& to8Bit, SzPicBuf& destination) {
    if (destination.channels == 4)
        convert<4>(source, to8Bit, view<std::uint8_t>(destination));
    else
        convert<3>(source, to8Bit, view<std::uint8_t>(destination));
    return true;
}

} // namespace

bool CzPicBufAPI::ConvertPicToRGB(const SzPicBuf& source, SzPicBuf& destination) {
    if (!hasPixels(source) || !hasPixels(destination) || !sameSize(source, destination) ||
        destination.dataType != EzImageDataType::UInt8 ||
        destination.storageFormat != EzDataStorageFormat::Interleaved ||
        (destination.channels != 3 && destination.channels != 4))
        return false;

    // The range of a spectrum's part is seldom known: nobody but a viewer asks for it.
    float minimum = source.floatMin;
    float maximum = source.floatMax;
    const bool spectrum = source.dataType == EzImageDataType::SpectrumFloat32;
    if (spectrum)
        CalcFloatDataMinMax(source, minimum, maximum, false);

    return withSampleType(spectrum ? EzImageDataType::Float32 : source.dataType, [&](auto sample) {
        using T = decltype(sample);
        if constexpr (std::is_same_v<T, float>)
            return convert(source, To8Bit<float>(minimum, maximum), destination);
        else
            return convert(source, To8Bit<T>(source.bitDepth), destination);
    });
}
