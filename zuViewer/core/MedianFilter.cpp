// SPDX-License-Identifier: GPL-3.0-or-later
// CzPicBufAPI's median: channel by channel, in the way that is fastest for the size of the square.
#include "MedianHistograms.h"
#include "MedianNetworks.h"
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "PicBufStorage.h"
#include "PictureView.h"

#include <omp.h>

#include <memory>
#include <new>
#include <vector>

namespace {

/// Uninitialised memory, aligned for vectors.
class WorkMemory {
public:
    explicit WorkMemory(std::size_t size)
        : m_size(size), m_data(static_cast<std::byte*>(::operator new(size, alignment))) {}

    std::size_t size() const { return m_size; }
    std::byte* data() { return m_data.get(); }

private:
    static constexpr std::align_val_t alignment{128};
    struct Free {
        void operator()(std::byte* memory) const { ::operator delete(memory, alignment); }
    };

    std::size_t m_size;
    std::unique_ptr<std::byte, Free> m_data;
};

/// The given memory if it is large enough, else memory of its own.
class OwnOrGiven {
public:
    OwnOrGiven(WorkMemory* given, std::size_t size) : m_memory(given) {
        if (!given || given->size() < size) {
            m_own = std::make_unique<WorkMemory>(size);
            m_memory = m_own.get();
        }
    }

    std::byte* data() { return m_memory->data(); }

private:
    std::unique_ptr<WorkMemory> m_own;
    WorkMemory* m_memory;
};

bool isFilterable(const SzPicBufInfo& format, int radius) {
    return radius >= 0 &&
           (format.dataType == EzImageDataType::UInt8 || format.dataType == EzImageDataType::UInt16);
}

/// Where the parts of the work memory lie: the channel's codes, their medians, and the histograms.
struct SzLayout {
    SzLayout(const SzPicBufInfo& format, int radius, std::size_t codeCount)
        : plan(medianHistogramPlan(format.width, radius, codeCount, omp_get_max_threads()))
        , planeBytes((std::size_t{format.width} * format.height * sizeof(std::uint16_t) + 127) / 128 * 128)
        , bytes(2 * planeBytes + static_cast<std::size_t>(plan.threads) * plan.bytesPerStrip) {}

    SzMedianHistogramPlan plan;
    std::size_t planeBytes;
    std::size_t bytes;
};

template <class T>
SzMedianChannel<T> channelOf(const SzPicBuf& picture, std::uint32_t channel) {
    if (picture.storageFormat == EzDataStorageFormat::Planar)
        return {planeView<T>(picture, channel), 0, 1};
    return {view<T>(picture), channel, picture.channels};
}

/// The values that occur in a channel, in their order, and the number of each: medians of the numbers are the
/// numbers of the medians, and most pictures have far fewer values than their samples could hold.
template <class T>
class DenseCodes {
public:
    explicit DenseCodes(const SzMedianChannel<const T>& channel) {
        for (std::size_t y = 0; y < channel.lines.height; ++y) {
            const T* const row = channel.row(y);
            for (std::size_t x = 0; x < channel.lines.width; ++x)
                m_codes[row[x * channel.step]] = 1;
        }
        for (std::size_t value = 0; value < m_codes.size(); ++value) {
            if (m_codes[value] != 0) {
                m_codes[value] = static_cast<std::uint16_t>(m_values.size());
                m_values.push_back(static_cast<T>(value));
            }
        }
    }

    std::size_t count() const { return m_values.size(); }
    std::uint16_t code(T value) const { return m_codes[value]; }
    T value(std::uint16_t code) const { return m_values[code]; }

private:
    std::vector<std::uint16_t> m_codes = std::vector<std::uint16_t>(std::size_t{1} << (8 * sizeof(T)));
    std::vector<T> m_values;
};

template <class T>
void filterChannel(const SzPicBuf& source, SzPicBuf& destination, std::uint32_t number, int radius,
                   WorkMemory* work) {
    const auto in = channelOf<const T>(source, number);
    const auto out = channelOf<T>(destination, number);
    if (radius >= 1 && radius <= largestMedianNetworkRadius) {
        const int threads = omp_get_max_threads();
        OwnOrGiven memory(work, medianNetworkBytes<T>(source.width, source.height, threads));
        medianByNetworks<T>(out, in, radius, threads, memory.data());
        return;
    }
    const DenseCodes<T> dense(in);
    const SzLayout layout(source, radius, dense.count());
    OwnOrGiven memory(work, layout.bytes);
    auto* const codes = reinterpret_cast<std::uint16_t*>(memory.data());
    auto* const medians = reinterpret_cast<std::uint16_t*>(memory.data() + layout.planeBytes);
    const std::size_t width = source.width;
    for (std::size_t y = 0; y < source.height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            codes[y * width + x] = dense.code(in.row(y)[x * in.step]);
    medianByHistograms({codes, medians, source.width, source.height}, layout.plan,
                       memory.data() + 2 * layout.planeBytes);
    for (std::size_t y = 0; y < source.height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            out.row(y)[x * out.step] = dense.value(medians[y * width + x]);
}

/// Work memory for pictures of this format, of so many different values at most.
std::size_t workBytes(const SzPicBufInfo& format, int radius, std::size_t codeCount) {
    if (radius < 1 || radius > largestMedianNetworkRadius)
        return SzLayout(format, radius, codeCount).bytes;
    const auto bytes = format.dataType == EzImageDataType::UInt8 ? &medianNetworkBytes<std::uint8_t>
                                                                 : &medianNetworkBytes<std::uint16_t>;
    return bytes(format.width, format.height, omp_get_max_threads());
}

} // namespace

bool CzPicBufAPI::MedianAllocBuffer(const SzPicBufInfo& format, int radius, void** workBuffer) {
    if (!workBuffer)
        return false;
    *workBuffer = nullptr;
    SzPicBufInfo packed = format;
    packed.linePitch = 0;
    if (!isFilterable(format, radius) || layOutPicture(packed) == 0)
        return false;
    const std::uint32_t sampleBits = 8 * bytesPerSample(format.dataType);
    const std::uint32_t bits =
        format.bitDepth == 0 || format.bitDepth > sampleBits ? sampleBits : format.bitDepth;
    try {
        *workBuffer = new WorkMemory(workBytes(format, radius, std::size_t{1} << bits));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void CzPicBufAPI::MedianFreeBuffer(void* workBuffer) {
    delete static_cast<WorkMemory*>(workBuffer);
}

bool CzPicBufAPI::Median(const SzPicBuf& source, SzPicBuf& destination, int radius, void* workBuffer) {
    if (!isFilterable(source, radius) || !hasPixels(source) || !hasPixels(destination) ||
        !sameSize(source, destination) || source.channels != destination.channels ||
        source.dataType != destination.dataType || source.storageFormat != destination.storageFormat)
        return false;
    auto* const work = static_cast<WorkMemory*>(workBuffer);
    try {
        for (std::uint32_t channel = 0; channel < source.channels; ++channel) {
            if (source.dataType == EzImageDataType::UInt8)
                filterChannel<std::uint8_t>(source, destination, channel, radius, work);
            else
                filterChannel<std::uint16_t>(source, destination, channel, radius, work);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}
