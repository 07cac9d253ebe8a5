// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"
#include "PicBufAPI.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Pictures for tests: formats, pixels that can be foreseen, slow and obvious access to every sample.

inline const char* sampleTypeName(EzImageDataType dataType) {
    static const char* const names[] = {"Undefined", "Int8",   "UInt8",   "Int16",   "UInt16",
                                        "Spectrum",  "UInt32", "Float32", "Float64", "Float16"};
    const auto number = static_cast<std::uint32_t>(dataType);
    return number < 10 ? names[number] : "Unknown";
}

/// A name of letters, digits and underscores, as parameterised tests want it.
inline std::string formatName(const SzPicBufInfo& format) {
    std::ostringstream name;
    name << sampleTypeName(format.dataType) << '_' << format.width << 'x' << format.height << 'x'
         << format.channels
         << (format.storageFormat == EzDataStorageFormat::Planar       ? "_planar"
             : format.storageFormat == EzDataStorageFormat::HostPacked ? "_hostpacked"
                                                                       : "_interleaved")
         << "_pitch" << format.linePitch;
    if (format.colorFilterArray != EzColorFilterArray::None)
        name << "_cfa" << static_cast<std::uint32_t>(format.colorFilterArray);
    if (format.isColor)
        name << "_color";
    return name.str();
}

/// Found by Google Test when it prints a format.
inline void PrintTo(const SzPicBufInfo& format, std::ostream* out) {
    *out << formatName(format);
}

/// A format with the sample type's own bit depth and tightly packed lines, followed by paddingSamples samples
/// of padding each.
inline SzPicBufInfo pictureFormat(std::uint32_t width, std::uint32_t height, std::uint32_t channels,
                                  EzImageDataType dataType,
                                  EzDataStorageFormat storageFormat = EzDataStorageFormat::Interleaved,
                                  std::uint32_t paddingSamples = 0) {
    SzPicBufInfo format;
    format.width = width;
    format.height = height;
    format.channels = channels;
    format.bitDepth = 8 * bytesPerSample(dataType);
    format.dataType = dataType;
    format.storageFormat = storageFormat;
    format.linePitch =
        static_cast<std::uint32_t>(packedLineBytes(format)) + paddingSamples * bytesPerSample(dataType);
    return format;
}

/// A picture on the heap that is freed with its scope.
class HeapPicture {
public:
    HeapPicture() = default;
    explicit HeapPicture(const SzPicBufInfo& format) {
        if (!CzPicBufAPI::AllocPicBufFromHeap(m_picture, format, false))
            ADD_FAILURE() << "no memory for " << formatName(format);
    }
    ~HeapPicture() { CzPicBufAPI::FreePicBuf(m_picture, true); }
    HeapPicture(HeapPicture&& other) noexcept : m_picture(other.release()) {}
    HeapPicture& operator=(HeapPicture&& other) noexcept {
        std::swap(m_picture, other.m_picture);
        return *this;
    }

    SzPicBuf& operator*() { return m_picture; }
    const SzPicBuf& operator*() const { return m_picture; }
    SzPicBuf* operator->() { return &m_picture; }
    const SzPicBuf* operator->() const { return &m_picture; }

    /// The picture, which now belongs to the caller.
    SzPicBuf release() { return std::exchange(m_picture, SzPicBuf()); }

private:
    SzPicBuf m_picture;
};

/// Address of a sample, worked out from the format alone.
inline std::uint8_t* sampleAddress(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y,
                                   std::uint32_t channel) {
    const std::size_t size = bytesPerSample(picture.dataType);
    const std::size_t pitch = picture.linePitch;
    if (picture.storageFormat == EzDataStorageFormat::Planar)
        return picture.data + (std::size_t{channel} * picture.height + y) * pitch + x * size;
    return picture.data + y * pitch + (std::size_t{x} * picture.channels + channel) * size;
}

template <class T>
T rawSample(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t channel = 0) {
    T value;
    std::memcpy(&value, sampleAddress(picture, x, y, channel), sizeof value);
    return value;
}

template <class T>
void setRawSample(SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t channel, T value) {
    std::memcpy(sampleAddress(picture, x, y, channel), &value, sizeof value);
}

/// A sample of any type whose numbers a double holds exactly. 16-bit floats are given as their bits.
inline double sampleAt(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t channel = 0) {
    switch (picture.dataType) {
    case EzImageDataType::Int8:
        return rawSample<std::int8_t>(picture, x, y, channel);
    case EzImageDataType::Int16:
        return rawSample<std::int16_t>(picture, x, y, channel);
    case EzImageDataType::UInt16:
    case EzImageDataType::Float16:
        return rawSample<std::uint16_t>(picture, x, y, channel);
    case EzImageDataType::UInt32:
        return rawSample<std::uint32_t>(picture, x, y, channel);
    case EzImageDataType::SpectrumFloat32:
    case EzImageDataType::Float32:
        return static_cast<double>(rawSample<float>(picture, x, y, channel));
    case EzImageDataType::Float64:
        return rawSample<double>(picture, x, y, channel);
    default:
        return rawSample<std::uint8_t>(picture, x, y, channel);
    }
}

inline void setSample(SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t channel,
                      double value) {
    switch (picture.dataType) {
    case EzImageDataType::Int8:
        return setRawSample(picture, x, y, channel, static_cast<std::int8_t>(value));
    case EzImageDataType::Int16:
        return setRawSample(picture, x, y, channel, static_cast<std::int16_t>(value));
    case EzImageDataType::UInt16:
    case EzImageDataType::Float16:
        return setRawSample(picture, x, y, channel, static_cast<std::uint16_t>(value));
    case EzImageDataType::UInt32:
        return setRawSample(picture, x, y, channel, static_cast<std::uint32_t>(value));
    case EzImageDataType::SpectrumFloat32:
    case EzImageDataType::Float32:
        return setRawSample(picture, x, y, channel, static_cast<float>(value));
    case EzImageDataType::Float64:
        return setRawSample(picture, x, y, channel, value);
    default:
        return setRawSample(picture, x, y, channel, static_cast<std::uint8_t>(value));
    }
}

/// Sets every sample to value(x, y, channel), a double.
template <class Function>
void fillSamples(SzPicBuf& picture, Function&& value) {
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x)
            for (std::uint32_t channel = 0; channel < picture.channels; ++channel)
                setSample(picture, x, y, channel, value(x, y, channel));
}

/// Noise without regularity, the same for the same seed: integers over the whole range of their bit depth,
/// floats between −1000 and 1000 in steps of 1/8.
inline double patternSample(const SzPicBufInfo& format, std::uint32_t x, std::uint32_t y,
                            std::uint32_t channel, std::uint32_t seed = 1) {
    std::uint32_t hash = seed * 0x9e3779b9U + x * 0x85ebca6bU + y * 0xc2b2ae35U + channel * 0x27d4eb2fU;
    hash = (hash ^ (hash >> 15)) * 0x2c1b3c6dU;
    hash = (hash ^ (hash >> 12)) * 0x297a2d39U;
    hash ^= hash >> 15;
    switch (format.dataType) {
    case EzImageDataType::SpectrumFloat32:
    case EzImageDataType::Float32:
    case EzImageDataType::Float64:
        return static_cast<double>(hash % 16001) / 8.0 - 1000.0;
    case EzImageDataType::Int8:
        return static_cast<std::int8_t>(hash & 0xffU);
    case EzImageDataType::Int16:
        return static_cast<std::int16_t>(hash & 0xffffU);
    default: {
        const std::uint32_t sampleBits = 8 * bytesPerSample(format.dataType);
        const std::uint32_t bits =
            format.bitDepth == 0 || format.bitDepth > sampleBits ? sampleBits : format.bitDepth;
        return hash >> (32 - bits);
    }
    }
}

inline void fillPattern(SzPicBuf& picture, std::uint32_t seed = 1) {
    fillSamples(picture, [&](std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
        return patternSample(picture, x, y, channel, seed);
    });
}

/// A picture filled with the pattern.
inline HeapPicture patternPicture(const SzPicBufInfo& format, std::uint32_t seed = 1) {
    HeapPicture picture(format);
    if (picture->data)
        fillPattern(*picture, seed);
    return picture;
}

/// Whether two pictures have the same size, channels and sample type, and bit by bit the same samples,
/// whatever their pitch, storage format and padding.
inline testing::AssertionResult samePixels(const SzPicBuf& actual, const SzPicBuf& expected) {
    if (!actual.data || !expected.data)
        return testing::AssertionFailure() << "a picture without pixels";
    if (actual.width != expected.width || actual.height != expected.height ||
        actual.channels != expected.channels || actual.dataType != expected.dataType)
        return testing::AssertionFailure()
               << formatName(actual) << " is not of the format " << formatName(expected);
    const std::size_t size = bytesPerSample(actual.dataType);
    for (std::uint32_t y = 0; y < actual.height; ++y)
        for (std::uint32_t x = 0; x < actual.width; ++x)
            for (std::uint32_t channel = 0; channel < actual.channels; ++channel)
                if (std::memcmp(sampleAddress(actual, x, y, channel), sampleAddress(expected, x, y, channel),
                                size) != 0)
                    return testing::AssertionFailure()
                           << "at x " << x << ", y " << y << ", channel " << channel << ": "
                           << sampleAt(actual, x, y, channel) << " instead of "
                           << sampleAt(expected, x, y, channel) << " (" << formatName(actual) << ")";
    return testing::AssertionSuccess();
}

/// The sample types that kernels compute with.
inline std::vector<EzImageDataType> kernelSampleTypes() {
    return {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32,
            EzImageDataType::Float32};
}

/// All sample types there are.
inline std::vector<EzImageDataType> allSampleTypes() {
    return {EzImageDataType::Undefined, EzImageDataType::Int8,    EzImageDataType::UInt8,
            EzImageDataType::Int16,     EzImageDataType::UInt16,  EzImageDataType::SpectrumFloat32,
            EzImageDataType::UInt32,    EzImageDataType::Float32, EzImageDataType::Float64,
            EzImageDataType::Float16};
}

/// Widths and heights at which loops go wrong: the smallest, lines, odd and even, more than a vector.
inline std::vector<std::pair<std::uint32_t, std::uint32_t>> pictureSizes() {
    return {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 5}, {16, 4}, {33, 17}};
}

/// Every combination of these sample types and numbers of channels with all sizes, both layouts, and lines
/// without and with padding.
inline std::vector<SzPicBufInfo> pictureFormats(const std::vector<EzImageDataType>& dataTypes,
                                                const std::vector<std::uint32_t>& channelCounts) {
    std::vector<SzPicBufInfo> formats;
    for (const EzImageDataType dataType : dataTypes)
        for (const std::uint32_t channels : channelCounts)
            for (const auto& [width, height] : pictureSizes())
                for (const EzDataStorageFormat storageFormat :
                     {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar})
                    for (const std::uint32_t padding : {0U, 5U})
                        formats.push_back(
                            pictureFormat(width, height, channels, dataType, storageFormat, padding));
    return formats;
}
