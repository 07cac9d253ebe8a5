// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufMeas.h"

#include "ImageData.h"
#include "InstructionSet.h"
#include "PicBufGeometry.h"
#include "PictureView.h"
#include "Prefetch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Flag = CzHistoData::EzHistoDataFlag;

/// Samples are collected in as many lanes as make this vectorise, whole pixels side by side.
constexpr std::size_t mostLanes = 48;

std::size_t laneCount(std::size_t channels) {
    return channels > mostLanes ? channels : mostLanes / channels * channels;
}

/// What the lanes have seen so far; sums of integers are exact as long as they are below 2^53.
template <class T>
struct Lanes {
    explicit Lanes(std::size_t lanes)
        : counts(lanes)
        , sums(lanes)
        , smallest(lanes, std::is_floating_point_v<T> ? std::numeric_limits<T>::infinity()
                                                      : std::numeric_limits<T>::max())
        , largest(lanes, std::is_floating_point_v<T> ? -std::numeric_limits<T>::infinity() : T{0}) {}

    std::vector<double> counts;
    std::vector<double> sums;
    std::vector<T> smallest;
    std::vector<T> largest;
};

/// Adds counts, sums and extremes of a picture; lanes is a multiple of its channels.
template <class T>
void collect(PictureView<const T> lines, double* __restrict counts, double* __restrict sums,
             T* __restrict smallest, T* __restrict largest, std::size_t lanes) {
    const std::size_t samples = std::size_t{lines.width} * lines.channels;
    for (std::size_t y = 0; y < lines.height; ++y)
        for (std::size_t i = 0; i < samples; i += lanes) {
            const T* __restrict block = lines.row(y) + i;
            const std::size_t count = std::min(lanes, samples - i);
            for (std::size_t lane = 0; lane < count; ++lane) {
                const T sample = block[lane];
                const bool isNumber = sample == sample;
                counts[lane] += isNumber ? 1.0 : 0.0;
                sums[lane] += isNumber ? static_cast<double>(sample) : 0.0;
                smallest[lane] = sample < smallest[lane] ? sample : smallest[lane];
                largest[lane] = sample > largest[lane] ? sample : largest[lane];
            }
        }
}

/// Adds the squares of the distances to the mean of each lane's channel.
template <class T>
void collectSquares(PictureView<const T> lines, const double* __restrict means, double* __restrict squares,
                    std::size_t lanes) {
    const std::size_t samples = std::size_t{lines.width} * lines.channels;
    for (std::size_t y = 0; y < lines.height; ++y)
        for (std::size_t i = 0; i < samples; i += lanes) {
            const T* __restrict block = lines.row(y) + i;
            const std::size_t count = std::min(lanes, samples - i);
            for (std::size_t lane = 0; lane < count; ++lane) {
                const double distance = static_cast<double>(block[lane]) - means[lane];
                squares[lane] += distance == distance ? distance * distance : 0.0;
            }
        }
}

/// Bins for samples of a depth.
class Binning {
public:
    explicit Binning(const SzPicBufInfo& format) {
        const std::uint32_t sampleBits = 8 * bytesPerSample(format.dataType);
        const std::uint32_t depth = format.bitDepth == 0 ? sampleBits : std::min(format.bitDepth, sampleBits);
        m_shift = depth > 16 ? depth - 16 : 0;
        m_last = (std::uint32_t{1} << (depth - m_shift)) - 1;
    }

    std::uint32_t shift() const { return m_shift; }
    std::uint32_t count() const { return m_last + 1; }

    template <class T>
    std::uint32_t operator()(T sample) const {
        if constexpr (std::is_floating_point_v<T>) {
            constexpr T beyond = 4294967296; // of 32 bits
            if (sample >= beyond)
                return m_last;
            return (*this)(sample > 0 ? static_cast<std::uint32_t>(sample) : std::uint32_t{0});
        } else {
            return std::min(std::uint32_t{sample} >> m_shift, m_last);
        }
    }

private:
    std::uint32_t m_shift;
    std::uint32_t m_last;
};

template <class T>
void countBins(QVector<std::uint32_t>& bins, PictureView<const T> lines, std::size_t channel,
               const Binning& bin) {
    std::uint32_t* const counts = bins.data();
    for (std::size_t y = 0; y < lines.height; ++y) {
        const T* sample = lines.row(y) + channel;
        for (std::size_t x = 0; x < lines.width; ++x, sample += lines.channels)
            if (*sample == *sample)
                ++counts[bin(*sample)];
    }
}

// Samples are counted by words of 16 bits. A counter is a byte, so that those of all words stay in a fast
// cache.
constexpr std::size_t wordValues = 65536;
constexpr std::uint32_t counterValues = 256;

/// Samples in a word of 16 bits.
template <class T>
constexpr std::size_t samplesPerWord = sizeof(std::uint16_t) / sizeof(T);

/// Counts that a picture's samples of 8 or 16 bits have, for each channel of its own.
template <class T>
class SampleCounts {
public:
    explicit SampleCounts(std::size_t channels)
        : m_counts(channels, std::vector<std::uint32_t>(std::size_t{1} << std::numeric_limits<T>::digits)) {}

    /// Counts a sample of a line.
    void add(std::size_t place, T sample) { ++ofPlace(place)[sample]; }

    /// Adds a word at a place of a line as often as takes a counter back to 0. Seldom: apart from the loop.
    [[gnu::noinline, gnu::cold]] void addFullCounter(std::size_t place, std::uint16_t word) {
        ofPlace(place)[static_cast<T>(word)] += counterValues;
        if constexpr (samplesPerWord<T> == 2)
            ofPlace(place + 1)[static_cast<T>(word >> 8)] += counterValues;
    }

    /// Adds the counters of all words at a place.
    void addCounters(std::size_t place, const std::uint8_t* counters) {
        std::uint32_t* const counts = ofPlace(place).data();
        if constexpr (samplesPerWord<T> == 1) {
            for (std::size_t word = 0; word < wordValues; ++word)
                counts[word] += counters[word];
        } else {
            std::vector<std::uint32_t>& others = ofPlace(place + 1);
            for (std::uint32_t& other : others) {
                std::uint32_t sum = 0;
                for (std::size_t sample = 0; sample < others.size(); ++sample)
                    sum += counters[sample];
                for (std::size_t sample = 0; sample < others.size(); ++sample)
                    counts[sample] += counters[sample];
                other += sum;
                counters += others.size();
            }
        }
    }

    const std::vector<std::uint32_t>& channel(std::size_t channel) const { return m_counts[channel]; }

private:
    std::vector<std::uint32_t>& ofPlace(std::size_t place) { return m_counts[place % m_counts.size()]; }

    std::vector<std::vector<std::uint32_t>> m_counts;
};

/// A word of one sample or two, of which the first is its lower byte.
template <class T>
std::uint16_t wordAt(const T* samples) {
    if constexpr (samplesPerWord<T> == 1)
        return *samples;
    else
        return static_cast<std::uint16_t>(samples[0] | samples[1] << 8);
}

/// Counts the samples by words, those of several lanes by turns: a count that follows one of the same word
/// would have to wait for it. All lanes together hold whole pixels.
template <std::size_t lanes, class T>
void countWords(PictureView<const T> lines, SampleCounts<T>& counts) {
    constexpr std::size_t step = lanes * samplesPerWord<T>;
    constexpr std::size_t block = 64 / sizeof(T) / step * step; // what a cache line holds of whole steps
    constexpr std::size_t ahead = 1024 / sizeof(T);
    std::vector<std::uint8_t> laneCounters(lanes * wordValues);
    std::uint8_t* const counters = laneCounters.data();
    const auto countStep = [&](const T* first) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const std::size_t place = lane * samplesPerWord<T>;
            const std::uint16_t word = wordAt(first + place);
            if (++counters[lane * wordValues + word] == 0)
                counts.addFullCounter(place, word);
        }
    };
    const std::size_t samples = std::size_t{lines.width} * lines.channels;
    for (std::size_t y = 0; y < lines.height; ++y) {
        const T* const line = lines.row(y);
        std::size_t i = 0;
        for (; i + block <= samples; i += block) {
            // Waiting for counters, the processor does not look so far ahead. To be read, from the second
            // cache: the first one is for the counters.
            prefetch<EzCache::Second>(line + std::min(i + ahead, samples), 1);
            for (std::size_t k = 0; k < block; k += step)
                countStep(line + i + k);
        }
        for (; i + step <= samples; i += step)
            countStep(line + i);
        for (; i < samples; ++i)
            counts.add(i, line[i]);
    }
    for (std::size_t lane = 0; lane < lanes; ++lane)
        counts.addCounters(lane * samplesPerWord<T>, counters + lane * wordValues);
}

/// Adds up how many samples there are, and the samples.
void sumCounts(const std::uint32_t* counts, std::size_t values, std::uint64_t* samples, std::uint64_t* sum) {
    for (std::size_t value = 0; value < values; ++value) {
        *samples += counts[value];
        *sum += value * counts[value];
    }
}

/// Adds up the squares of the samples' distances from their mean, in so many sums that do not wait for one
/// another.
constexpr std::size_t squareSums = 8;
void sumSquares(const std::uint32_t* counts, std::size_t values, double mean, double* squares) {
    for (std::size_t value = 0; value < values; value += squareSums)
        for (std::size_t i = 0; i < squareSums; ++i) {
            const double distance = static_cast<double>(value + i) - mean;
            squares[i] += counts[value + i] * (distance * distance);
        }
}

/// What the counts of a channel's samples tell.
CzHistoData::SzChannel measuredByCounts(const std::vector<std::uint32_t>& counts, const Binning& bin,
                                        QFlags<Flag> flags) {
    std::uint64_t samples = 0;
    std::uint64_t sum = 0;
    forInstructionSet<&sumCounts>(counts.data(), counts.size(), &samples, &sum);
    CzHistoData::SzChannel measured;
    const auto isUsed = [](std::uint32_t count) { return count > 0; };
    if (flags.testFlag(Flag::MinMax)) {
        const auto smallest = std::find_if(counts.begin(), counts.end(), isUsed);
        const auto largest = std::find_if(counts.rbegin(), counts.rend(), isUsed);
        measured.minimum = static_cast<double>(smallest - counts.begin());
        measured.maximum = static_cast<double>(counts.rend() - largest - 1);
    }
    const double mean = static_cast<double>(sum) / static_cast<double>(samples);
    if (flags.testFlag(Flag::Mean))
        measured.mean = mean;
    if (flags.testFlag(Flag::Deviation)) {
        std::array<double, squareSums> squares = {};
        forInstructionSet<&sumSquares>(counts.data(), counts.size(), mean, squares.data());
        const double sumOfSquares = std::accumulate(squares.begin(), squares.end(), 0.0);
        measured.deviation = std::sqrt(sumOfSquares / static_cast<double>(samples));
    }
    measured.bins.resize(static_cast<int>(bin.count()));
    std::uint32_t* const bins = measured.bins.data();
    for (std::size_t value = 0; value < counts.size(); ++value)
        bins[bin(static_cast<std::uint32_t>(value))] += counts[value];
    return measured;
}

/// Measures up to 4 channels of interleaved lines, in the order of the samples, of 8 or 16 bits: so few
/// values that their counts tell everything.
template <class T>
void measureByCounts(QVector<CzHistoData::SzChannel>& result, PictureView<const T> lines, const Binning& bin,
                     QFlags<Flag> flags) {
    // The more lanes, the less counts wait for one another: as many as the fastest cache holds counters for.
    constexpr std::uint32_t valuesOfFourLanes = 8192;
    const bool areFew = bin.count() <= valuesOfFourLanes;
    SampleCounts<T> counts(lines.channels);
    if (lines.channels == 3)
        countWords<3>(lines, counts);
    else if (samplesPerWord<T> == 1 && (lines.channels == 4 || areFew))
        countWords<4>(lines, counts);
    else
        countWords<2>(lines, counts);
    for (std::size_t channel = 0; channel < lines.channels; ++channel)
        result.append(measuredByCounts(counts.channel(channel), bin, flags));
}

/// Adds up what the lanes of one channel have seen.
double sumOfLanes(const std::vector<double>& lanes, std::size_t channel, std::size_t channels) {
    double sum = 0.0;
    for (std::size_t lane = channel; lane < lanes.size(); lane += channels)
        sum += lanes[lane];
    return sum;
}

/// Measures the channels of interleaved lines, in the order of the samples.
template <class T>
void measure(QVector<CzHistoData::SzChannel>& result, PictureView<const T> lines, const Binning& bin,
             QFlags<Flag> flags) {
    if constexpr (sizeof(T) <= 2)
        if (flags.testFlag(Flag::Bins) && lines.channels <= 4)
            return measureByCounts(result, lines, bin, flags);
    const std::size_t channels = lines.channels;
    Lanes<T> lanes(laneCount(channels));
    const std::size_t count = lanes.sums.size();
    forInstructionSet<&collect<T>>(lines, lanes.counts.data(), lanes.sums.data(), lanes.smallest.data(),
                                   lanes.largest.data(), count);
    std::vector<double> samples(channels);
    std::vector<double> means(count); // of its channel for each lane
    for (std::size_t lane = 0; lane < count; ++lane) {
        const std::size_t channel = lane % channels;
        samples[channel] = sumOfLanes(lanes.counts, channel, channels);
        if (samples[channel] > 0)
            means[lane] = sumOfLanes(lanes.sums, channel, channels) / samples[channel];
    }
    std::vector<double> squares(count);
    if (flags.testFlag(Flag::Deviation))
        forInstructionSet<&collectSquares<T>>(lines, means.data(), squares.data(), count);

    for (std::size_t channel = 0; channel < channels; ++channel) {
        CzHistoData::SzChannel measured;
        if (flags.testFlag(Flag::Bins)) {
            measured.bins.resize(static_cast<int>(bin.count()));
            countBins(measured.bins, lines, channel, bin);
        }
        if (flags.testFlag(Flag::MinMax) && samples[channel] > 0) {
            T smallest = lanes.smallest[channel];
            T largest = lanes.largest[channel];
            for (std::size_t lane = channel; lane < count; lane += channels) {
                smallest = std::min(smallest, lanes.smallest[lane]);
                largest = std::max(largest, lanes.largest[lane]);
            }
            measured.minimum = static_cast<double>(smallest);
            measured.maximum = static_cast<double>(largest);
        }
        if (flags.testFlag(Flag::Mean))
            measured.mean = means[channel];
        if (flags.testFlag(Flag::Deviation) && samples[channel] > 0)
            measured.deviation = std::sqrt(sumOfLanes(squares, channel, channels) / samples[channel]);
        result.append(measured);
    }
}

template <class T>
PictureView<const T> part(PictureView<const T> lines, const QRect& area) {
    const std::size_t first = static_cast<std::size_t>(area.x()) * lines.channels;
    return {lines.row(static_cast<std::size_t>(area.y())) + first, static_cast<std::uint32_t>(area.width()),
            static_cast<std::uint32_t>(area.height()), lines.channels, lines.pitch};
}

/// The region within the picture.
QRect clipped(const QRect& region, const SzPicBufInfo& format) {
    constexpr std::uint32_t most = std::numeric_limits<int>::max();
    const QRect whole(0, 0, static_cast<int>(std::min(format.width, most)),
                      static_cast<int>(std::min(format.height, most)));
    return region.isEmpty() ? whole : region & whole;
}

} // namespace

bool CzPicBufMeas::measureHistogram(CzHistoData& histogram, const CzImageData* picture, const QRect& region,
                                    QFlags<CzHistoData::EzHistoDataFlag> flags) {
    return measureHistogram(histogram, picture ? picture->picBuf() : SzPicBuf(), region, flags);
}

bool CzPicBufMeas::measureHistogram(CzHistoData& histogram, const SzPicBuf& picture, const QRect& region,
                                    QFlags<CzHistoData::EzHistoDataFlag> flags) {
    histogram = CzHistoData();
    const QRect area = clipped(region, picture);
    if (!hasPixels(picture) || area.isEmpty())
        return false;
    return withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        const Binning bin(picture);
        if (picture.storageFormat == EzDataStorageFormat::Planar)
            for (std::uint32_t plane = 0; plane < picture.channels; ++plane)
                measure(histogram.channels, part(planeView<const T>(picture, plane), area), bin, flags);
        else
            measure(histogram.channels, part(view<const T>(picture), area), bin, flags);

        if (picture.channels == 3 || (picture.channels == 4 && picture.isColor)) {
            histogram.channels.resize(3);
            std::swap(histogram.channels[0], histogram.channels[2]); // blue first becomes red first
        }
        if (flags.testFlag(Flag::Bins)) {
            histogram.binCount = bin.count();
            histogram.binShift = bin.shift();
        }
        return true;
    });
}
