// SPDX-License-Identifier: GPL-3.0-or-later
// CzPicBufAPI's median: channel by channel, in the way that is fastest for the size of the square.
#include "MedianHistograms.h"
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
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

/// The samples of one channel: of line y from row(y)[0] on, one every step samples.
template <class T>
struct SzChannel {
    PictureView<T> lines;
    std::size_t first;
    std::size_t step;

    T* row(std::size_t y) const { return lines.row(y) + first; }
};

template <class T>
SzChannel<T> channelOf(const SzPicBuf& picture, std::uint32_t channel) {
    if (picture.storageFormat == EzDataStorageFormat::Planar)
        return {planeView<T>(picture, channel), 0, 1};
    return {view<T>(picture), channel, picture.channels};
}

/// The values that occur in a channel, in their order, and the number of each: medians of the numbers are the
/// numbers of the medians, and most pictures have far fewer values than their samples could hold.
template <class T>
class DenseCodes {
public:
    explicit DenseCodes(const SzChannel<const T>& channel) {
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
    const DenseCodes<T> dense(in);
    const SzLayout layout(source, radius, dense.count());
    std::unique_ptr<WorkMemory> own;
    if (!work || work->size() < layout.bytes) {
        own = std::make_unique<WorkMemory>(layout.bytes);
        work = own.get();
    }

    auto* const codes = reinterpret_cast<std::uint16_t*>(work->data());
    auto* const medians = reinterpret_cast<std::uint16_t*>(work->data() + layout.planeBytes);
    const std::size_t width = source.width;
    for (std::size_t y = 0; y < source.height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            codes[y * width + x] = dense.code(in.row(y)[x * in.step]);
    medianByHistograms({codes, medians, source.width, source.height}, layout.plan,
                       work->data() + 2 * layout.planeBytes);
    for (std::size_t y = 0; y < source.height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            out.row(y)[x * out.step] = dense.value(medians[y * width + x]);
}

} // namespace

bool CzPicBufAPI::MedianAllocBuffer(const SzPicBufInfo& format, int radius, void** workBuffer) {
    if (!workBuffer)
        return false;
    *workBuffer = nullptr;
    if (!isFilterable(format, radius) || format.width == 0 || format.height == 0)
        return false;
    const std::uint32_t sampleBits = 8 * bytesPerSample(format.dataType);
    const std::uint32_t bits =
        format.bitDepth == 0 || format.bitDepth > sampleBits ? sampleBits : format.bitDepth;
    try {
        const SzLayout layout(format, radius, std::size_t{1} << bits);
        *workBuffer = new WorkMemory(layout.bytes);
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
