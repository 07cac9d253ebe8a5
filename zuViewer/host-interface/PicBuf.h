// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <cstdint>

/// Sample type of a picture. The numbers are part of the interface: they stand in files and in plug-ins.
enum class EzImageDataType : std::uint32_t {
    Undefined = 0, ///< 1 byte
    Int8 = 1,      ///< 1 byte
    UInt8 = 2,     ///< unsigned 8-bit integer
    Int16 = 3,     ///< 2 bytes
    UInt16 = 4,    ///< unsigned 16-bit integer
    SpectrumFloat32 =
        5,       ///< 4 bytes: one part (real or imaginary) of a Fourier spectrum, as 32-bit IEEE floats
    UInt32 = 6,  ///< unsigned 32-bit integer
    Float32 = 7, ///< 32-bit IEEE float
    Float64 = 8, ///< 8 bytes
    Float16 = 9, ///< 2 bytes
};

/// How the channels of a picture lie in memory.
enum class EzDataStorageFormat : std::uint32_t {
    Interleaved = 1, ///< the samples of one pixel lie next to each other
    Planar = 2,      ///< one plane of height × linePitch bytes per channel, planes one after another
    HostPacked = 3,  ///< the host's own layout: never treated as a raw mosaic
};

/// Colour filter pattern of a raw picture; any value but None marks a raw picture.
/// The Bayer arrangements are named by their cell, read left to right, top to bottom.
enum class EzColorFilterArray : std::uint32_t {
    None = 0,
    BayerRGGB = 1,
    BayerGRBG = 2,
    BayerGBRG = 3,
    BayerBGGR = 4,
    CMYG = 5,          ///< cyan, magenta, yellow, green
    RGBR = 6,          ///< red, green, blue, red
    Hyperspectral = 7, ///< described by the CzHsiCameraParams in the picture's metadata
};

/// Picture format. Field order is part of the interface; copying is member-wise.
struct SzPicBufInfo {
    std::uint32_t width = 0;     ///< pixels per line
    std::uint32_t height = 0;    ///< lines
    std::uint32_t linePitch = 0; ///< bytes from line to line; 0 asks an allocator to choose
    std::uint32_t channels = 0;  ///< samples per pixel: 1 for mono and raw mosaics, 3 for RGB, 4 with padding
    std::uint32_t bitDepth = 0;  ///< significant bits; the largest sample is 2^bitDepth − 1
    std::uint32_t reserved = 0;  ///< the host's own, copied with the record
    EzImageDataType dataType = EzImageDataType::Undefined;
    EzDataStorageFormat storageFormat = EzDataStorageFormat::Interleaved;
    EzColorFilterArray colorFilterArray = EzColorFilterArray::None;
    bool isColor = false; ///< samples are blue, green, red; a fourth one is padding
};

ZUCORE_EXPORT bool operator==(const SzPicBufInfo& a, const SzPicBufInfo& b);
inline bool operator!=(const SzPicBufInfo& a, const SzPicBufInfo& b) {
    return !(a == b);
}

/// Bytes of one sample.
constexpr std::uint32_t bytesPerSample(EzImageDataType dataType) {
    switch (dataType) {
    case EzImageDataType::Int16:
    case EzImageDataType::UInt16:
    case EzImageDataType::Float16:
        return 2;
    case EzImageDataType::SpectrumFloat32:
    case EzImageDataType::UInt32:
    case EzImageDataType::Float32:
        return 4;
    case EzImageDataType::Float64:
        return 8;
    default:
        return 1;
    }
}

/// Bytes of one pixel: all its samples together, however they are stored.
constexpr std::uint32_t bytesPerPixel(const SzPicBufInfo& format) {
    return format.channels * bytesPerSample(format.dataType);
}

/// Bytes of one line (of one plane, in planar pictures) without padding. It never wraps: what exceeds 64 bits
/// is the largest number.
constexpr std::uint64_t packedLineBytes(const SzPicBufInfo& format) {
    const bool planar = format.storageFormat == EzDataStorageFormat::Planar;
    const std::uint64_t samples = std::uint64_t{planar ? 1 : format.channels} * format.width;
    const std::uint32_t sampleBytes = bytesPerSample(format.dataType);
    return samples > UINT64_MAX / sampleBytes ? UINT64_MAX : samples * sampleBytes;
}

/// A picture whose single sample per pixel was taken through a colour filter array.
constexpr bool isRaw(const SzPicBufInfo& format) {
    return format.channels == 1 && format.colorFilterArray != EzColorFilterArray::None &&
           format.storageFormat != EzDataStorageFormat::HostPacked;
}

/// Picture buffer: a format, its pixels and the data that travels with a frame.
///
/// A plain record: copying it copies the pointer, not the pixels. Who has to free the pixels (a pool, the
/// heap or nobody) is known to CzPicBufAPI alone; hand a buffer to a CzImageData and it answers for it.
struct ZUCORE_EXPORT SzPicBuf : SzPicBufInfo {
    std::uint8_t* data =
        nullptr; ///< first byte; line y begins at data + y × linePitch; null: nothing allocated

    // Additional data
    std::int32_t frameNo = 0;     ///< 0 for a still picture, live frames count from 1
    std::int64_t timeStampNs = 0; ///< when the frame entered its chain, nanoseconds of a monotonic clock
    float floatMin = 0.0F;        ///< smallest sample of a float picture
    float floatMax = 0.0F;        ///< largest sample of a float picture

    /// Takes over the format fields; pixels, additional data and ownership stay.
    void setPicFormat(const SzPicBufInfo& format);

    /// Takes over what travels with a frame: its number and time stamp. Neither pixels nor ownership, nor
    /// floatMin and floatMax, which belong to the pixels.
    void copyPicAdditionalData(const SzPicBuf& source);

    /// Size of the picture in bytes: all lines of all planes, with their padding. It never wraps.
    std::uint64_t dataSize() const;

private:
    friend class CzPicBufAPI;
    struct PicBufStorage* m_storage = nullptr; ///< null: the pixels are nobody's
};
