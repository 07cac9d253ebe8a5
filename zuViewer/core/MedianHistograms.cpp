// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianHistograms.h"

#include "InstructionSet.h"

#include <QtEndian>

#include <omp.h>

#include <algorithm>
#include <cstring>

// A histogram is a tree: tier 0 is one node of 16 bins, each bin of a node is a node of the next tier. Bins
// are cumulative, so that the bin of a rank is found by one comparison of all 16. A strip holds the tree of
// every column, over the 2 × radius + 1 lines of the window, and moves it down line by line. The window's own
// nodes are sums of its columns'; only those on the way to a median are brought up to date.

namespace {

constexpr int bins = 16;

template <class Count>
struct BinsOf {
    typedef Count Type __attribute__((vector_size(bins * sizeof(Count))));
};
template <class Count>
using Bins = typename BinsOf<Count>::Type;

using Coordinate = std::int64_t;

/// One run over one strip.
struct SzStrip {
    SzMedianCodes channel;
    Coordinate radius;
    Coordinate begin; ///< columns whose medians are written
    Coordinate end;
    Coordinate pageBegin; ///< bins of tier 0 whose deeper tiers are held
    Coordinate pageEnd;
    std::byte* work;
};

template <class Count>
struct SzWindowNode {
    Bins<Count> counts;
    Coordinate x; ///< the pixel around which the counts were taken
    Coordinate y;
};

/// Nodes of a tree that holds so many pages: tier 0 and the deeper tiers.
Coordinate nodeCount(int tiers, Coordinate pages) {
    Coordinate count = 1;
    for (int tier = 1; tier < tiers; ++tier, pages *= bins)
        count += pages;
    return count;
}

template <class ColumnCount, class WindowCount>
std::size_t stripBytes(int tiers, Coordinate pages, Coordinate columns) {
    return static_cast<std::size_t>(nodeCount(tiers, pages)) *
           (static_cast<std::size_t>(columns) * sizeof(Bins<ColumnCount>) +
            sizeof(SzWindowNode<WindowCount>));
}

/// The first bin whose count exceeds rank; there is one.
template <class Count>
inline int binOfRank(const Bins<Count>& counts, Count rank) {
    using Flags = Bins<std::int8_t>;
    const Flags above = __builtin_convertvector(counts > rank, Flags);
    std::uint64_t words[2];
    std::memcpy(words, &above, sizeof words);
    return words[0] != 0 ? __builtin_ctzll(qFromLittleEndian(words[0])) / 8
                         : 8 + __builtin_ctzll(qFromLittleEndian(words[1])) / 8;
}

template <int tiers, class ColumnCount, class WindowCount>
class StripMedian {
public:
    explicit StripMedian(const SzStrip& strip)
        : m_strip(strip)
        , m_width(strip.channel.width)
        , m_height(strip.channel.height)
        , m_side(2 * strip.radius + 1)
        , m_firstColumn(std::max<Coordinate>(0, strip.begin - strip.radius))
        , m_columnCount(std::min(m_width, strip.end + strip.radius) - m_firstColumn) {
        Coordinate pages = strip.pageEnd - strip.pageBegin;
        m_tierBegin[0] = 0;
        for (int tier = 1, begin = 1; tier < tiers; ++tier, pages *= bins) {
            m_tierBegin[tier] = begin;
            begin += static_cast<int>(pages);
        }
        m_nodes = nodeCount(tiers, strip.pageEnd - strip.pageBegin);
        m_window = reinterpret_cast<SzWindowNode<WindowCount>*>(strip.work);
        m_columns = reinterpret_cast<Bins<ColumnCount>*>(m_window + m_nodes);
        for (int bin = 0; bin < bins; ++bin)
            for (int lane = 0; lane < bins; ++lane)
                m_step[bin][lane] = lane >= bin;
    }

    void run() {
        std::fill_n(m_window, m_nodes, SzWindowNode<WindowCount>{{}, -1, -1});
        std::memset(static_cast<void*>(m_columns), 0,
                    static_cast<std::size_t>(m_nodes * m_columnCount) * sizeof *m_columns);
        fillColumns();
        for (Coordinate y = 0; y < m_height; ++y) {
            if (y > 0)
                moveColumnsDown(y);
            std::uint16_t* const out = m_strip.channel.medians + y * m_width;
            for (Coordinate x = m_strip.begin; x < m_strip.end; ++x)
                findMedian(x, y, out[x]);
        }
    }

private:
    const std::uint16_t* line(Coordinate y) const {
        return m_strip.channel.codes + std::clamp<Coordinate>(y, 0, m_height - 1) * m_width + m_firstColumn;
    }

    /// The nodes of one column are a strip's width apart: what the window sums up lies side by side.
    Bins<ColumnCount>* columnsOf(Coordinate node) const { return m_columns + node * m_columnCount; }

    bool isHeld(Coordinate page) const { return page >= m_strip.pageBegin && page < m_strip.pageEnd; }

    /// The node of a tier on the way to code.
    Coordinate nodeOf(int tier, Coordinate code) const {
        if (tier == 0)
            return 0;
        const Coordinate firstHeld = m_strip.pageBegin << (4 * (tier - 1));
        return m_tierBegin[tier] + (code >> (4 * (tiers - tier))) - firstHeld;
    }

    void count(Coordinate column, Coordinate code, ColumnCount weight) {
        const int deepest = isHeld(code >> (4 * (tiers - 1))) ? tiers : 1;
        for (int tier = 0; tier < deepest; ++tier)
            columnsOf(nodeOf(tier, code))[column] += m_step[(code >> (4 * (tiers - 1 - tier))) & 15] * weight;
    }

    void countLine(Coordinate y, Coordinate weight) {
        const std::uint16_t* const codes = line(y);
        for (Coordinate column = 0; column < m_columnCount; ++column)
            count(column, codes[column], static_cast<ColumnCount>(weight));
    }

    /// The columns of the first line's windows.
    void fillColumns() {
        const Coordinate last = std::min(m_strip.radius, m_height - 1);
        countLine(0, m_strip.radius + 1);
        for (Coordinate y = 1; y <= last; ++y)
            countLine(y, 1);
        countLine(last, m_strip.radius - last);
    }

    void moveColumnsDown(Coordinate y) {
        const std::uint16_t* const leaving = line(y - 1 - m_strip.radius);
        const std::uint16_t* const entering = line(y + m_strip.radius);
        for (Coordinate column = 0; column < m_columnCount; ++column) {
            if (leaving[column] == entering[column])
                continue;
            count(column, leaving[column], static_cast<ColumnCount>(-1));
            count(column, entering[column], 1);
        }
    }

    Coordinate columnAt(Coordinate x) const {
        return std::clamp<Coordinate>(x, 0, m_width - 1) - m_firstColumn;
    }

    static void add(Bins<WindowCount>& counts, const Bins<ColumnCount>& column) {
        counts += __builtin_convertvector(column, Bins<WindowCount>);
    }

    /// Brings a node of the window up to date: from where it was taken last, or afresh if that is less work.
    void moveTo(Coordinate x, Coordinate y, Coordinate node) {
        SzWindowNode<WindowCount>& window = m_window[node];
        const Bins<ColumnCount>* const columns = columnsOf(node);
        const Coordinate left = std::max<Coordinate>(0, x - m_strip.radius);
        const Coordinate right = std::min(m_width - 1, x + m_strip.radius);
        Bins<WindowCount> counts = window.counts;
        if (window.y == y && 2 * (x - window.x) <= right - left + 1) {
            for (Coordinate i = window.x + 1; i <= x; ++i) {
                add(counts, columns[columnAt(i + m_strip.radius)]);
                counts -=
                    __builtin_convertvector(columns[columnAt(i - 1 - m_strip.radius)], Bins<WindowCount>);
            }
        } else {
            counts = Bins<WindowCount>{};
            for (Coordinate i = left; i <= right; ++i)
                add(counts, columns[i - m_firstColumn]);
            // The borders repeated outwards.
            if (const Coordinate beyond = left - (x - m_strip.radius); beyond > 0)
                counts += __builtin_convertvector(columns[left - m_firstColumn], Bins<WindowCount>) *
                          static_cast<WindowCount>(beyond);
            if (const Coordinate beyond = x + m_strip.radius - right; beyond > 0)
                counts += __builtin_convertvector(columns[right - m_firstColumn], Bins<WindowCount>) *
                          static_cast<WindowCount>(beyond);
        }
        window = {counts, x, y};
    }

    /// Leaves median alone when its page is not held.
    void findMedian(Coordinate x, Coordinate y, std::uint16_t& median) {
        const auto side = static_cast<std::uint64_t>(m_side);
        auto rank = static_cast<WindowCount>(side * side / 2);
        Coordinate prefix = 0;
        Coordinate node = 0;
        for (int tier = 0; tier < tiers; ++tier) {
            if (tier == 1 && !isHeld(prefix))
                return;
            if (tier > 0)
                node = m_tierBegin[tier] + prefix - (m_strip.pageBegin << (4 * (tier - 1)));
            moveTo(x, y, node);
            const Bins<WindowCount>& counts = m_window[node].counts;
            const int bin = binOfRank<WindowCount>(counts, rank);
            if (bin > 0)
                rank = static_cast<WindowCount>(rank - counts[bin - 1]);
            prefix = prefix * bins + bin;
        }
        median = static_cast<std::uint16_t>(prefix);
    }

    SzStrip m_strip;
    Coordinate m_width;
    Coordinate m_height;
    Coordinate m_side;
    Coordinate m_firstColumn; ///< columns that the strip's windows reach
    Coordinate m_columnCount;
    Coordinate m_tierBegin[tiers]; ///< first node of each tier
    Coordinate m_nodes;
    SzWindowNode<WindowCount>* m_window;
    Bins<ColumnCount>* m_columns;
    Bins<ColumnCount> m_step[bins]; ///< what a sample of each bin adds to the cumulative counts
};

template <int tiers, class ColumnCount, class WindowCount>
void medianOfStrip(const SzStrip* strip) {
    StripMedian<tiers, ColumnCount, WindowCount>(*strip).run();
}

/// The smallest counts that hold the samples of a column and of a window of this radius.
template <class Function>
auto withCounts(Coordinate radius, Function&& function) {
    if (radius <= 127)
        return function(std::uint16_t{}, std::uint16_t{});
    if (radius <= 32767)
        return function(std::uint16_t{}, std::uint32_t{});
    return function(std::uint32_t{}, std::uint64_t{});
}

template <int tiers>
void medianOfStrip(const SzStrip& strip) {
    withCounts(strip.radius, [&](auto column, auto window) {
        forInstructionSet<&medianOfStrip<tiers, decltype(column), decltype(window)>>(&strip);
    });
}

} // namespace

SzMedianHistogramPlan medianHistogramPlan(std::int64_t width, std::int64_t radius, std::size_t codeCount,
                                          int threads) {
    // Narrow strips stay in the cache, but each holds the columns of half a window on both sides, too.
    constexpr Coordinate narrowest = 256;
    constexpr std::size_t mostBytes = std::size_t{256} << 20;

    SzMedianHistogramPlan plan;
    plan.tiers = codeCount <= 256 ? 2 : codeCount <= 4096 ? 3 : 4;
    plan.radius = radius;
    plan.threads = threads;
    plan.stripWidth = std::min(std::max(narrowest, 2 * radius), (width + threads - 1) / threads);
    const Coordinate columns = std::min(width, plan.stripWidth + 2 * radius);
    withCounts(radius, [&](auto column, auto window) {
        const auto bytes = [&](Coordinate pages) {
            return stripBytes<decltype(column), decltype(window)>(plan.tiers, pages, columns);
        };
        plan.pagesPerRun = bins;
        while (plan.pagesPerRun > 1 &&
               bytes(plan.pagesPerRun) > mostBytes / static_cast<std::size_t>(threads))
            plan.pagesPerRun /= 2;
        plan.bytesPerStrip = (bytes(plan.pagesPerRun) + 127) / 128 * 128;
    });
    return plan;
}

void medianByHistograms(const SzMedianCodes& channel, const SzMedianHistogramPlan& plan, std::byte* work) {
#pragma omp parallel for schedule(dynamic) num_threads(plan.threads)
    for (Coordinate begin = 0; begin < channel.width; begin += plan.stripWidth) {
        SzStrip strip;
        strip.channel = channel;
        strip.radius = plan.radius;
        strip.begin = begin;
        strip.end = std::min(channel.width, begin + plan.stripWidth);
        strip.work = work + static_cast<std::size_t>(omp_get_thread_num()) * plan.bytesPerStrip;
        for (Coordinate page = 0; page < bins; page += plan.pagesPerRun) {
            strip.pageBegin = page;
            strip.pageEnd = page + plan.pagesPerRun;
            switch (plan.tiers) {
            case 2:
                medianOfStrip<2>(strip);
                break;
            case 3:
                medianOfStrip<3>(strip);
                break;
            default:
                medianOfStrip<4>(strip);
            }
        }
    }
}
