// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufAPI.h"

#include "MemoryPool.h"
#include "PicBufGeometry.h"
#include "PicBufStorage.h"
#include "PictureView.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>

namespace {

/// The samples of one channel: of line y from row(y)[0] on, one every step samples.
template <class T>
struct ChannelView {
    PictureView<T> lines;
    std::size_t first;
    std::size_t step;

    T* row(std::size_t y) const { return lines.row(y) + first; }
};

template <class T>
ChannelView<T> channelView(const SzPicBuf& picture, std::uint32_t channel) {
    if (picture.storageFormat == EzDataStorageFormat::Planar)
        return {planeView<T>(picture, channel), 0, 1};
    return {view<T>(picture), channel, picture.channels};
}

std::uint32_t ownBitDepth(EzImageDataType dataType) {
    return 8 * bytesPerSample(dataType);
}

/// Copies every step-th sample. Inline, so that a step known to the compiler gives a loop of its own.
template <class T>
inline void gather(const T* source, T* destination, std::size_t count, std::size_t step) {
    for (std::size_t i = 0; i < count; ++i)
        destination[i] = source[i * step];
}

/// Copies every third sample. In blocks: with the baseline's instructions eight single moves are faster than
/// what a compiler makes of a loop over them.
template <class T>
void gatherEveryThird(const T* source, T* destination, std::size_t count) {
    constexpr std::size_t blockSize = 8;
    std::size_t i = 0;
    for (; i + blockSize <= count; i += blockSize, source += 3 * blockSize) {
        std::array<T, blockSize> block;
        for (std::size_t k = 0; k < blockSize; ++k)
            block[k] = source[3 * k];
        std::memcpy(destination + i, block.data(), sizeof block);
    }
    for (; i < count; ++i, source += 3)
        destination[i] = *source;
}

/// Two 64-bit words at once, as every 64-bit processor has them.
using WordPair = std::uint64_t __attribute__((vector_size(16)));

/// The words at address and 24 bytes on; byte 0 of memory is the lowest byte of a word.
inline WordPair loadPair(const std::uint8_t* address) {
    return WordPair{qFromLittleEndian<quint64>(address), qFromLittleEndian<quint64>(address + 24)};
}

/// Every third byte, the layout of 8-bit RGB. Of 24 bytes in three words the wanted ones lie at different
/// places of their words, so that they fit into one word, byte i of the result at place 3 i mod 8. Two
/// exchanges bring them into order: places 1 and 3 with 5 and 7 by themselves, then 2 with 6.
void gatherEveryThird(const std::uint8_t* source, std::uint8_t* destination, std::size_t count) {
    constexpr std::size_t blockSize = 16;
    std::size_t i = 0;
    // The block's last word ends behind its last wanted byte: the last samples are left to the plain loop.
    for (; i + blockSize < count; i += blockSize, source += 3 * blockSize) {
        WordPair words = (loadPair(source) & 0x00ff0000ff0000ffU) |
                         (loadPair(source + 8) & 0xff0000ff0000ff00U) |
                         (loadPair(source + 16) & 0x0000ff0000ff0000U);
        WordPair differing = (words ^ (words >> 16)) & 0x0000ff000000ff00U;
        words ^= differing ^ (differing << 16);
        differing = (words ^ (words >> 32)) & 0x0000000000ff0000U;
        words ^= differing ^ (differing << 32);
        qToLittleEndian<quint64>(words[0], destination + i);
        qToLittleEndian<quint64>(words[1], destination + i + 8);
    }
    for (; i < count; ++i, source += 3)
        destination[i] = *source;
}

/// T is an unsigned integer of the sample's size: samples are moved, not computed with.
template <class T>
void extractLine(const T* source, T* destination, std::size_t count, std::size_t step) {
    switch (step) {
    case 1:
        std::memmove(destination, source, count * sizeof(T));
        break;
    case 2:
        gather(source, destination, count, 2);
        break;
    case 3:
        gatherEveryThird(source, destination, count);
        break;
    case 4:
        gather(source, destination, count, 4);
        break;
    default:
        gather(source, destination, count, step);
    }
}

template <class T>
void extract(const ChannelView<const T>& channel, const PictureView<T>& destination) {
    for (std::size_t y = 0; y < destination.height; ++y)
        extractLine(channel.row(y), destination.row(y), destination.width, channel.step);
}

template <class T>
void extract(const SzPicBuf& source, SzPicBuf& destination, std::uint32_t channel) {
    extract(channelView<const T>(source, channel), view<T>(destination));
}

/// Smallest and largest of many numbers; those that are none fall through the comparisons.
class MinMax {
public:
    MinMax() {
        m_smallest.fill(std::numeric_limits<float>::infinity());
        m_largest.fill(-std::numeric_limits<float>::infinity());
    }

    void add(const float* samples, std::size_t count) {
        std::size_t i = 0;
        for (; i + lanes <= count; i += lanes)
            for (std::size_t lane = 0; lane < lanes; ++lane)
                add(samples[i + lane], lane);
        for (; i < count; ++i)
            add(samples[i], 0);
    }

    float smallest() const { return empty() ? 0.0F : lowest(); }
    float largest() const { return empty() ? 0.0F : highest(); }

private:
    static constexpr std::size_t lanes = 8; // independent of each other, so that they can be vectorised

    void add(float sample, std::size_t lane) {
        m_smallest[lane] = sample < m_smallest[lane] ? sample : m_smallest[lane];
        m_largest[lane] = sample > m_largest[lane] ? sample : m_largest[lane];
    }
    float lowest() const { return *std::min_element(m_smallest.begin(), m_smallest.end()); }
    float highest() const { return *std::max_element(m_largest.begin(), m_largest.end()); }
    bool empty() const { return lowest() > highest(); }

    std::array<float, lanes> m_smallest;
    std::array<float, lanes> m_largest;
};

/// Makes buffer an empty one of the given format and returns the bytes to allocate for it; 0 when the format
/// is refused. By value, since the format may be the buffer itself.
std::uint64_t prepareForAllocation(SzPicBuf& buffer, SzPicBufInfo format) {
    CzPicBufAPI::FreePicBuf(buffer, true);
    const std::uint64_t bytes = layOutPicture(format);
    buffer = SzPicBuf();
    buffer.setPicFormat(format);
    return bytes;
}

} // namespace

bool CzPicBufAPI::AllocPicBufFromPool(void* pool, QObject* /*owner*/, SzPicBuf& buffer,
                                      const SzPicBufInfo& format, bool /*flag*/) {
    const std::uint64_t bytes = prepareForAllocation(buffer, format);
    if (!pool || bytes == 0)
        return false;
    PicBufStorage* const storage = static_cast<CzMemoryPool*>(pool)->take(bytes);
    if (!storage)
        return false;
    storage->open(buffer);
    buffer.data = storage->data;
    buffer.m_storage = storage;
    return true;
}

bool CzPicBufAPI::AllocPicBufFromHeap(SzPicBuf& buffer, const SzPicBufInfo& format, bool /*flag*/) {
    const std::uint64_t bytes = prepareForAllocation(buffer, format);
    if (bytes == 0)
        return false;
    auto storage = std::make_unique<PicBufStorage>();
    if (!storage->allocate(bytes))
        return false;
    storage->open(buffer);
    buffer.data = storage->data;
    buffer.m_storage = storage.release();
    return true;
}

bool CzPicBufAPI::AllocPicBufFromHeap(SzPicBuf& buffer, std::uint32_t width, std::uint32_t height,
                                      std::uint32_t channels, EzImageDataType dataType,
                                      std::uint32_t bitDepth, std::uint32_t linePitch,
                                      EzDataStorageFormat storageFormat, EzColorFilterArray colorFilterArray,
                                      bool isColor, bool flag) {
    SzPicBufInfo format;
    format.width = width;
    format.height = height;
    format.linePitch = linePitch;
    format.channels = channels;
    format.bitDepth = bitDepth == 0 ? ownBitDepth(dataType) : bitDepth;
    format.dataType = dataType;
    format.storageFormat = storageFormat;
    format.colorFilterArray = colorFilterArray;
    format.isColor = isColor;
    return AllocPicBufFromHeap(buffer, format, flag);
}

bool CzPicBufAPI::FreePicBuf(SzPicBuf& buffer, bool /*flag*/) {
    if (PicBufStorage* const storage = buffer.m_storage) {
        if (storage->pool)
            storage->pool->giveBack(storage);
        else
            delete storage;
    }
    buffer.m_storage = nullptr;
    buffer.data = nullptr;
    return true;
}

bool CzPicBufAPI::isFromPool(const SzPicBuf& buffer, void* pool) {
    return pool && buffer.m_storage && buffer.m_storage->pool.get() == pool;
}

bool CzPicBufAPI::CopyPicBuf(SzPicBuf& destination, const SzPicBuf& source, bool /*flag*/) {
    if (!hasPixels(source) || !hasPixels(destination) || !sameSize(source, destination) ||
        source.channels != destination.channels || source.dataType != destination.dataType ||
        source.storageFormat != destination.storageFormat)
        return false;
    const auto from = view<const std::uint8_t>(source);
    const auto to = view<std::uint8_t>(destination);
    const std::size_t lineBytes = packedLineBytes(source);
    for (std::size_t y = 0; y < lineCount(source); ++y)
        std::memmove(to.row(y), from.row(y), lineBytes);
    destination.floatMin = source.floatMin;
    destination.floatMax = source.floatMax;
    return true;
}

bool CzPicBufAPI::ExtractChannel(const SzPicBuf& source, SzPicBuf& destination, std::uint32_t channel) {
    if (!hasPixels(source) || !hasPixels(destination) || !sameSize(source, destination) ||
        destination.channels != 1 || channel >= source.channels ||
        bytesPerSample(source.dataType) != bytesPerSample(destination.dataType))
        return false;
    switch (bytesPerSample(source.dataType)) {
    case 1:
        extract<std::uint8_t>(source, destination, channel);
        break;
    case 2:
        extract<std::uint16_t>(source, destination, channel);
        break;
    case 4:
        extract<std::uint32_t>(source, destination, channel);
        break;
    case 8:
        extract<std::uint64_t>(source, destination, channel);
        break;
    }
    return true;
}

bool CzPicBufAPI::FillChannelWithValue(SzPicBuf& buffer, std::uint32_t channel, std::uint16_t value) {
    if (!hasPixels(buffer) || channel >= buffer.channels)
        return false;
    return withSampleType(buffer.dataType, [&](auto sample) {
        using T = decltype(sample);
        const auto samples = channelView<T>(buffer, channel);
        const std::size_t end = std::size_t{buffer.width} * samples.step;
        for (std::size_t y = 0; y < buffer.height; ++y) {
            T* const row = samples.row(y);
            for (std::size_t i = 0; i < end; i += samples.step)
                row[i] = static_cast<T>(value);
        }
        return true;
    });
}

bool CzPicBufAPI::CalcFloatDataMinMax(const SzPicBuf& buffer, float& minimum, float& maximum, bool /*flag*/) {
    const bool isFloat =
        buffer.dataType == EzImageDataType::Float32 || buffer.dataType == EzImageDataType::SpectrumFloat32;
    if (!isFloat || !hasPixels(buffer))
        return false;
    MinMax extremes;
    const auto lines = view<const float>(buffer);
    const std::size_t lineSamples = packedLineBytes(buffer) / sizeof(float);
    for (std::size_t y = 0; y < lineCount(buffer); ++y)
        extremes.add(lines.row(y), lineSamples);
    minimum = extremes.smallest();
    maximum = extremes.largest();
    return true;
}
