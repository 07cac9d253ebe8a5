// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lut.h"

#include "LutKernels.h"
#include "LutPalettes.h"
#include "PicBufGeometry.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace {

constexpr std::uint32_t deepestTable = 16; // bits

bool hasTable(std::uint32_t bitDepth) {
    return bitDepth >= 1 && bitDepth <= deepestTable;
}

std::uint32_t largestSample(std::uint32_t bitDepth) {
    return (std::uint32_t{1} << bitDepth) - 1;
}

/// What the stretch makes of each sample of a depth, rounded half up and cut to 0 ... largest. What lies
/// beyond the depth becomes what its largest sample does.
std::vector<std::uint16_t> stretchedSamples(const CzLut::CzCompContrast& contrast, std::uint32_t bitDepth,
                                            std::uint32_t largest) {
    std::vector<std::uint16_t> table(sampleValues);
    const auto rounded = [limit = static_cast<double>(largest)](double value) {
        return static_cast<std::uint16_t>(std::clamp(value, 0.0, limit) + 0.5);
    };
    const auto fill = [&](std::int64_t begin, std::int64_t end, auto value) {
        for (std::int64_t sample = begin; sample < end; ++sample)
            table[static_cast<std::size_t>(sample)] = rounded(value(static_cast<double>(sample)));
    };
    const auto low = static_cast<double>(contrast.dstMin);
    const auto high = static_cast<double>(contrast.dstMax);

    // Where the samples above srcMin begin, and where those from srcMax on. Nothing lies between when there
    // is no range, or one the wrong way round.
    const std::int64_t count = std::int64_t{1} << bitDepth;
    const std::int64_t above = std::clamp<std::int64_t>(contrast.srcMin, -1, count - 1) + 1;
    const std::int64_t beyond = std::clamp(contrast.srcMax, above, count);
    fill(0, above, [=](double) { return low; });
    const auto origin = static_cast<double>(contrast.srcMin);
    // Never 0 between: the difference is taken before it is rounded.
    const auto range = static_cast<double>(static_cast<std::uint64_t>(contrast.srcMax) -
                                           static_cast<std::uint64_t>(contrast.srcMin));
    const double gamma = std::isfinite(contrast.gamma) && contrast.gamma > 0.0 ? contrast.gamma : 1.0;
    if (gamma == 1.0) // divided last, so that halves are exact
        fill(above, beyond, [=](double sample) { return low + (high - low) * (sample - origin) / range; });
    else
        fill(above, beyond, [=, power = 1.0 / gamma](double sample) {
            const double place = std::min((sample - origin) / range, 1.0); // also where it was rounded up
            return low + (high - low) * std::pow(place, power);
        });
    fill(beyond, count, [=](double) { return high; });
    std::fill(table.begin() + count, table.end(), table[static_cast<std::size_t>(count - 1)]);
    return table;
}

/// Blue, green, red and alpha of an 8-bit value.
Pixel paletteColor(std::int32_t palette, std::uint16_t value) {
    const auto byte = static_cast<std::uint8_t>(value);
    if (palette < 0 || static_cast<std::size_t>(palette) >= paletteCount)
        return {byte, byte, byte, 255};
    const std::uint32_t color = palettes[static_cast<std::size_t>(palette)][byte];
    return {static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8),
            static_cast<std::uint8_t>(color >> 16), 255};
}

bool hasIntegers(const SzPicBufInfo& format) {
    return format.dataType == EzImageDataType::UInt8 || format.dataType == EzImageDataType::UInt16 ||
           format.dataType == EzImageDataType::UInt32;
}

} // namespace

struct CzLut::Private {
    std::uint32_t bitDepth;
    std::uint32_t channels;
    bool isColor;

    // What was allocated; no depth means nothing. One of the tables is filled, of samples with or without
    // that of bytes.
    std::uint32_t outBitDepth = 0;
    std::uint32_t outChannels = 0;
    std::vector<std::uint16_t> samples;
    std::optional<ByteTable> bytes;
    std::vector<Pixel> pixels;
    std::vector<std::uint8_t> colors;

    Private(std::uint32_t sourceBitDepth, std::uint32_t sourceChannels, bool sourceIsColor)
        : bitDepth(sourceBitDepth), channels(sourceChannels), isColor(sourceIsColor) {}

    void free() { *this = Private(bitDepth, channels, isColor); }

    bool mapsToRgb() const { return samples.empty(); }
};

CzLut::CzLut(std::uint32_t bitDepth, std::uint32_t channels, bool isColor)
    : compContrasts(1), d(std::make_unique<Private>(bitDepth, channels, isColor)) {
    if (hasTable(bitDepth))
        compContrasts[0].srcMax = compContrasts[0].dstMax = largestSample(bitDepth);
}

CzLut::~CzLut() = default;

bool CzLut::alloc() {
    d->free();
    if (!hasTable(d->bitDepth) || !hasTable(outBitDepth) || d->channels == 0 || outChannels != d->channels ||
        compContrasts.isEmpty())
        return false;
    d->samples = stretchedSamples(compContrasts.first(), d->bitDepth, largestSample(outBitDepth));
    if (d->bitDepth <= 8 && outBitDepth <= 8)
        d->bytes.emplace(d->samples);
    d->outBitDepth = outBitDepth;
    d->outChannels = outChannels;
    return true;
}

bool CzLut::allocRgb(std::uint32_t bitsPerPixel) {
    d->free();
    if (!hasTable(d->bitDepth) || bitsPerPixel != 8 * sizeof(Pixel) || d->channels == 0 ||
        compContrasts.isEmpty())
        return false;
    CzCompContrast contrast = compContrasts.first();
    contrast.dstMin = 0;
    contrast.dstMax = 255;
    const std::vector<std::uint16_t> samples = stretchedSamples(contrast, d->bitDepth, 255);
    if (d->channels == 1) {
        d->pixels.resize(samples.size());
        std::transform(samples.begin(), samples.end(), d->pixels.begin(),
                       [this](std::uint16_t value) { return paletteColor(pseudoColorIdx, value); });
    } else {
        d->colors.assign(samples.begin(), samples.end());
    }
    d->outBitDepth = 8;
    d->outChannels = 4;
    return true;
}

bool CzLut::isCompatibleWith(const SzPicBuf* destination, const SzPicBuf* source) {
    return destination && source && d->outBitDepth != 0 && source->bitDepth == d->bitDepth &&
           source->channels == d->channels && source->isColor == d->isColor &&
           destination->bitDepth == d->outBitDepth && destination->channels == d->outChannels;
}

bool CzLut::apply(SzPicBuf* destination, const SzPicBuf* source, const CzImageMetadata*) {
    if (!isCompatibleWith(destination, source) || !hasPixels(*source) || !hasPixels(*destination) ||
        !sameSize(*source, *destination) || !hasIntegers(*source) || !hasIntegers(*destination))
        return false;
    if (d->mapsToRgb()) {
        if (destination->dataType != EzImageDataType::UInt8 ||
            destination->storageFormat != EzDataStorageFormat::Interleaved)
            return false;
        if (d->channels == 1)
            lookUpPixels(*destination, *source, d->pixels);
        else
            lookUpColors(*destination, *source, d->colors);
        return true;
    }
    if (destination->storageFormat != source->storageFormat ||
        d->outBitDepth > 8 * bytesPerSample(destination->dataType))
        return false;
    if (d->bytes && source->dataType == EzImageDataType::UInt8 &&
        destination->dataType == EzImageDataType::UInt8)
        lookUpBytes(*destination, *source, *d->bytes);
    else
        lookUpSamples(*destination, *source, d->samples);
    return true;
}

int CzLut::pseudoColorLutCount() {
    return static_cast<int>(paletteCount);
}
