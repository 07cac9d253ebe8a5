// SPDX-License-Identifier: GPL-3.0-or-later
// CzPicBufAPI's median: channel by channel, in the way that is fastest for the size of the square.
#include "InstructionSet.h"
#include "MedianHistograms.h"
#include "MedianNetworks.h"
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "PicBufStorage.h"
#include "PictureView.h"

#include <omp.h>

#include <algorithm>
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

/// Fewer than there are cores for small pictures, whose threads would wait for each other for longer than
/// they work.
int threadsFor(const SzPicBufInfo& format) {
    constexpr std::uint64_t pixelsPerThread = 65536;
    const std::uint64_t paying = 1 + std::uint64_t{format.width} * format.height / pixelsPerThread;
    return static_cast<int>(
        std::min<std::uint64_t>(paying, static_cast<std::uint64_t>(omp_get_max_threads())));
}

/// Where the parts of the work memory lie: the channel's codes in one plane or two, and the histograms.
struct SzLayout {
    SzLayout(const SzPicBufInfo& format, int radius, std::size_t codeCount)
        : plan(medianHistogramPlan(format.width, radius, codeCount, threadsFor(format)))
        , planeBytes((std::size_t{format.width} * format.height + 127) / 128 * 128)
        , histograms((plan.lowBits == 0 ? 1 : 2) * planeBytes)
        , bytes(histograms + static_cast<std::size_t>(plan.threads) * plan.bytesPerStrip) {}

    SzMedianHistogramPlan plan;
    std::size_t planeBytes;
    std::size_t histograms;
    std::size_t bytes;
};

template <class T>
SzMedianChannel<T> channelOf(const SzPicBuf& picture, std::uint32_t channel) {
    if (picture.storageFormat == EzDataStorageFormat::Planar)
        return {planeView<T>(picture, channel), 0, 1};
    return {view<T>(picture), channel, picture.channels};
}

/// The values that occur in a channel, in their order. Medians of their numbers are the numbers of the
/// medians, and most pictures have far fewer values than their samples could hold.
template <class T>
std::vector<T> valuesIn(const SzMedianChannel<const T>& channel, int threads) {
    constexpr std::size_t valueCount = std::size_t{1} << (8 * sizeof(T));
    std::vector<char> occurs(static_cast<std::size_t>(threads) * valueCount); // by thread
#pragma omp parallel for num_threads(threads)
    for (std::size_t y = 0; y < channel.lines.height; ++y) {
        char* const here = occurs.data() + static_cast<std::size_t>(omp_get_thread_num()) * valueCount;
        const T* const row = channel.row(y);
        for (std::size_t x = 0; x < channel.lines.width; ++x)
            here[row[x * channel.step]] = 1;
    }
    std::vector<T> values;
    for (std::size_t value = 0; value < valueCount; ++value) {
        bool isFound = false;
        for (std::size_t thread = 0; thread < static_cast<std::size_t>(threads); ++thread)
            isFound = isFound || occurs[thread * valueCount + value];
        if (isFound)
            values.push_back(static_cast<T>(value));
    }
    return values;
}

/// Whether networks are faster, where the samples have so many different values. Measured with plain x86-64,
/// AVX2 and AVX-512: histograms get slower with each tier, networks with the size alone.
template <class T>
bool isForNetworks(int radius, std::size_t valueCount) {
    constexpr int largestOfBytes[] = {6, 7, 8};
    constexpr int largestOfTwoTiers[] = {5, 6, 7};
    constexpr int largestOfThreeTiers[] = {6, 8, 9};
    constexpr int largestOfPages[] = {10, 12, 12};
    static_assert(largestOfBytes[2] <= largestMedianNetworkRadius<std::uint8_t> &&
                  largestOfPages[2] <= largestMedianNetworkRadius<std::uint16_t>);
    const auto& largest = sizeof(T) == 1                              ? largestOfBytes
                          : valueCount <= 256                         ? largestOfTwoTiers
                          : valueCount <= mostMedianCodesWithoutPages ? largestOfThreeTiers
                                                                      : largestOfPages;
    return radius >= 1 && radius <= largest[static_cast<std::size_t>(instructionSet())];
}

template <class T>
void filterByHistograms(const SzMedianChannel<T>& out, const SzMedianChannel<const T>& in,
                        const std::vector<T>& values, const SzPicBufInfo& format, int radius,
                        WorkMemory* work) {
    const SzLayout layout(format, radius, values.size());
    OwnOrGiven memory(work, layout.bytes);
    auto* const high = reinterpret_cast<std::uint8_t*>(memory.data());
    auto* const low = high + layout.planeBytes;
    const int lowBits = layout.plan.lowBits;
    std::vector<std::uint16_t> codes(std::size_t{1} << (8 * sizeof(T)));
    for (std::size_t code = 0; code < values.size(); ++code)
        codes[values[code]] = static_cast<std::uint16_t>(code);

    const std::size_t width = format.width;
#pragma omp parallel for num_threads(layout.plan.threads)
    for (std::size_t y = 0; y < format.height; ++y) {
        const T* const row = in.row(y);
        for (std::size_t x = 0; x < width; ++x)
            high[y * width + x] = static_cast<std::uint8_t>(codes[row[x * in.step]] >> lowBits);
        if (lowBits > 0)
            for (std::size_t x = 0; x < width; ++x)
                low[y * width + x] =
                    static_cast<std::uint8_t>(codes[row[x * in.step]] & ((1 << lowBits) - 1));
    }
    medianByHistograms({high, low, format.width, format.height}, layout.plan,
                       memory.data() + layout.histograms,
                       [&](std::int64_t x, std::int64_t y, const std::uint16_t* medians, std::int64_t count) {
                           T* const row = out.row(static_cast<std::size_t>(y));
                           for (std::int64_t i = 0; i < count; ++i)
                               row[static_cast<std::size_t>(x + i) * out.step] = values[medians[i]];
                       });
}

template <class T>
void filterChannel(const SzPicBuf& source, SzPicBuf& destination, std::uint32_t number, int radius,
                   WorkMemory* work) {
    const auto in = channelOf<const T>(source, number);
    const auto out = channelOf<T>(destination, number);
    const int threads = threadsFor(source);
    std::vector<T> values;
    if (!isForNetworks<T>(radius, 1)) {
        values = valuesIn(in, threads);
        if (!isForNetworks<T>(radius, values.size()))
            return filterByHistograms<T>(out, in, values, source, radius, work);
    }
    OwnOrGiven memory(work, medianNetworkBytes<T>(source.width, radius, threads));
    medianByNetworks<T>(out, in, radius, threads, memory.data());
}

/// Work memory for pictures of this format, of so many different values at most.
template <class T>
std::size_t workBytes(const SzPicBufInfo& format, int radius, std::size_t valueCount) {
    if (isForNetworks<T>(radius, valueCount))
        return medianNetworkBytes<T>(format.width, radius, threadsFor(format));
    return SzLayout(format, radius, valueCount).bytes;
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
        const std::size_t valueCount = std::size_t{1} << bits;
        *workBuffer = new WorkMemory(format.dataType == EzImageDataType::UInt8
                                         ? workBytes<std::uint8_t>(format, radius, valueCount)
                                         : workBytes<std::uint16_t>(format, radius, valueCount));
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
