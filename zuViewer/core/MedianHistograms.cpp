// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianHistograms.h"

#include "InstructionSet.h"

#include <QtEndian>

#include <omp.h>

#include <algorithm>
#include <array>
#include <cstring>

// A histogram is a tree: its root is a node of 16 bins, each bin of a node is a node of the next tier. Bins
// are cumulative, so that the bin of a rank is found by one comparison of all 16. Two tiers count the high
// bytes of the codes. Where codes have 4 bits more, a third tier counts these. Where they have 8 bits more,
// there is a page for each high byte: two tiers that count the low bytes of its codes.
//
// A strip holds the nodes of each column, over the 2 × radius + 1 lines of the window, and moves them down
// line by line; pages, block by block, only when a median lies in them and near the block. The window's own
// nodes are sums of its columns'; only those on the way to a median are brought up to date.

namespace {

constexpr int bins = 16;
constexpr int pages = 256; ///< one per high byte
constexpr int nodesPerPage = 1 + bins;

/// The counts of a node's bins, in vectors of vectorSize bytes at most. Those that are larger than a register
/// would be computed in memory. What takes or returns them by value is inlined, as what is called might be
/// code for another instruction set.
template <class Count, std::size_t vectorSize>
struct SzBins {
    static constexpr std::size_t partSize = std::min(bins * sizeof(Count), vectorSize);
    static constexpr int partBins = static_cast<int>(partSize / sizeof(Count));
    static constexpr int partCount = bins / partBins;
    typedef Count Part __attribute__((vector_size(partSize)));

    Part parts[partCount];

    [[gnu::always_inline]] SzBins& operator+=(const SzBins& other) {
        for (int i = 0; i < partCount; ++i)
            parts[i] += other.parts[i];
        return *this;
    }

    [[gnu::always_inline]] SzBins& operator-=(const SzBins& other) {
        for (int i = 0; i < partCount; ++i)
            parts[i] -= other.parts[i];
        return *this;
    }

    [[gnu::always_inline]] SzBins& operator*=(Count factor) {
        for (int i = 0; i < partCount; ++i)
            parts[i] *= factor;
        return *this;
    }
};

using Coordinate = std::int64_t;

/// What samples of each bin, so many at a time, add to a node's cumulative counts; −1: take away.
template <class ColumnBins, class WindowBins>
struct SzSteps {
    explicit SzSteps(Coordinate weight) {
        for (int bin = 0; bin < bins; ++bin) {
            fill(columns[bin], bin, weight);
            fill(groups[bin], bin, weight);
        }
    }

    template <class Count, std::size_t vectorSize>
    static void fill(SzBins<Count, vectorSize>& counts, int first, Coordinate weight) {
        Count numbers[bins] = {};
        std::fill(numbers + first, numbers + bins, static_cast<Count>(weight));
        std::memcpy(&counts, numbers, sizeof counts);
    }

    ColumnBins columns[bins];
    WindowBins groups[bins];
};

/// A node of the window.
template <class WindowBins>
struct SzNode {
    WindowBins counts;
    Coordinate x; ///< the pixel around which the counts were taken
    Coordinate y; ///< -1: none
};

/// Columns of a group, and groups of a large one: the deep tiers hold their sums, too.
constexpr Coordinate groupSize = 8;

Coordinate groupCount(Coordinate parts) {
    return (parts + groupSize - 1) / groupSize;
}

/// Columns of a page that are brought up to date together.
typedef std::uint8_t BlockOfCodes __attribute__((vector_size(32)));
constexpr Coordinate blockSize = sizeof(BlockOfCodes);

Coordinate blockCount(Coordinate columnCount) {
    return (columnCount + blockSize - 1) / blockSize;
}

/// A page that is held.
struct SzSlot {
    int page;     ///< -1: none
    Coordinate y; ///< the line in which it was visited last; -1: none
};

struct SzStrip {
    SzMedianCodes channel;
    SzMedianHistogramPlan plan;
    Coordinate begin; ///< columns whose medians are found
    Coordinate end;
    std::byte* work;
    const MedianSink* sink;
};

/// Nodes that are always up to date.
int upperNodes(int lowBits) {
    return lowBits == 4 ? 1 + bins + pages : 1 + bins;
}

constexpr std::size_t roundedUp(std::size_t bytes) {
    return (bytes + 127) / 128 * 128;
}

/// Where the parts of a strip's work memory lie.
template <class ColumnBins, class WindowBins>
struct SzStripLayout {
    SzStripLayout(const SzMedianHistogramPlan& plan, Coordinate columnCount)
        : nodeCount(upperNodes(plan.lowBits) + plan.pageSlots * nodesPerPage)
        , columns(roundedUp(static_cast<std::size_t>(nodeCount) * sizeof(SzNode<WindowBins>)))
        , groups(columns + roundedUp(static_cast<std::size_t>(nodeCount) *
                                     static_cast<std::size_t>(columnCount) * sizeof(ColumnBins)))
        , largeGroups(groups + (plan.hasGroups ? groupBytes(groupCount(columnCount)) : 0))
        , ranks(largeGroups + (plan.hasLargeGroups ? groupBytes(groupCount(groupCount(columnCount))) : 0))
        , codes(ranks + roundedUp(static_cast<std::size_t>(plan.stripWidth) * (sizeof(WindowBins) / bins)))
        , blockLines(codes + roundedUp(static_cast<std::size_t>(plan.stripWidth) * sizeof(std::uint16_t)))
        , bytes(blockLines + roundedUp(static_cast<std::size_t>(plan.pageSlots * blockCount(columnCount)) *
                                       sizeof(Coordinate))) {}

    std::size_t groupBytes(Coordinate perNode) const {
        return roundedUp(static_cast<std::size_t>(nodeCount * perNode) * sizeof(WindowBins));
    }

    Coordinate nodeCount;
    std::size_t columns;
    std::size_t groups;
    std::size_t largeGroups;
    std::size_t ranks;
    std::size_t codes;
    std::size_t blockLines;
    std::size_t bytes;
};

/// How many counts do not exceed rank: the bin of the rank, as the last count does.
template <class Count, std::size_t vectorSize>
[[gnu::always_inline]] inline int binOfRank(const SzBins<Count, vectorSize>& counts, Count rank) {
    using Bins = SzBins<Count, vectorSize>;
    typedef std::int8_t Flags __attribute__((vector_size(Bins::partBins)));
    Flags below[Bins::partCount];
    for (int i = 0; i < Bins::partCount; ++i)
        below[i] = __builtin_convertvector(counts.parts[i] <= rank, Flags);
    std::uint64_t words[2];
    std::memcpy(words, &below, sizeof words);
    constexpr std::uint64_t ones = 0x0101010101010101;
    return static_cast<int>((((words[0] & ones) + (words[1] & ones)) * ones) >> 56);
}

template <class ColumnCount, class WindowCount, std::size_t vectorSize>
class StripMedian {
    using ColumnBins = SzBins<ColumnCount, vectorSize>;
    using WindowBins = SzBins<WindowCount, vectorSize>;

public:
    explicit StripMedian(const SzStrip& strip)
        : m_strip(strip)
        , m_radius(strip.plan.radius)
        , m_width(strip.channel.width)
        , m_height(strip.channel.height)
        , m_firstColumn(std::max<Coordinate>(0, strip.begin - m_radius))
        , m_columnCount(std::min(m_width, strip.end + m_radius) - m_firstColumn)
        , m_groupCount(groupCount(m_columnCount))
        , m_largeGroupCount(groupCount(m_groupCount))
        , m_hasGroups(strip.plan.hasGroups)
        , m_hasLargeGroups(strip.plan.hasLargeGroups)
        , m_lowBits(strip.plan.lowBits)
        , m_upperNodes(upperNodes(m_lowBits))
        , m_blockCount(blockCount(m_columnCount))
        , m_entering(1)
        , m_leaving(-1) {
        const SzStripLayout<ColumnBins, WindowBins> layout(strip.plan, m_columnCount);
        m_nodes = reinterpret_cast<SzNode<WindowBins>*>(strip.work);
        m_columns = reinterpret_cast<ColumnBins*>(strip.work + layout.columns);
        m_groups = reinterpret_cast<WindowBins*>(strip.work + layout.groups);
        m_largeGroups = reinterpret_cast<WindowBins*>(strip.work + layout.largeGroups);
        m_ranks = reinterpret_cast<WindowCount*>(strip.work + layout.ranks);
        m_codes = reinterpret_cast<std::uint16_t*>(strip.work + layout.codes);
        m_blockLines = reinterpret_cast<Coordinate*>(strip.work + layout.blockLines);
        std::fill_n(m_nodes, layout.nodeCount, SzNode<WindowBins>{{}, -1, -1});
        m_slots.fill({-1, -1});
        m_slotOfPage.fill(-1);
    }

    void run() {
        const Coordinate count = m_strip.end - m_strip.begin;
        const auto side = static_cast<std::uint64_t>(2 * m_radius + 1);
        std::memset(static_cast<void*>(m_columns), 0,
                    static_cast<std::size_t>(m_upperNodes * m_columnCount) * sizeof *m_columns);
        if (m_hasGroups)
            std::memset(static_cast<void*>(m_groups), 0,
                        static_cast<std::size_t>(m_upperNodes * m_groupCount) * sizeof *m_groups);
        if (m_hasLargeGroups)
            std::memset(static_cast<void*>(m_largeGroups), 0,
                        static_cast<std::size_t>(m_upperNodes * m_largeGroupCount) * sizeof *m_largeGroups);
        forEachLine(0, [&](Coordinate line, const Steps& steps) { countLine(line, steps); });
        for (Coordinate y = 0; y < m_height; ++y) {
            if (y > 0)
                moveColumnsDown(y);
            std::fill_n(m_codes, count, std::uint16_t{0});
            std::fill_n(m_ranks, count, static_cast<WindowCount>(side * side / 2));
            using C = Coordinate;
            descend(y, [](int, C, C) { return C{0}; });
            descend(y, [](int bin, C, C) { return C{1 + bin}; });
            if (m_lowBits == 4)
                descend(y, [](int high, C, C) { return C{1 + bins + high}; });
            if (m_lowBits == 8) {
                descend(y, [&](int page, C begin, C end) { return pageNode(page, begin, end, y); });
                descend(y, [&](int prefix, C begin, C end) {
                    return pageNode(prefix / bins, begin, end, y) + 1 + prefix % bins;
                });
            }
            (*m_strip.sink)(m_strip.begin, y, m_codes, count);
        }
    }

private:
    using Steps = SzSteps<ColumnBins, WindowBins>;

    /// The lines of the window around y. Borders are repeated outwards.
    template <class Function>
    void forEachLine(Coordinate y, Function&& function) const {
        const Coordinate first = std::max<Coordinate>(0, y - m_radius);
        const Coordinate last = std::min(m_height - 1, y + m_radius);
        for (Coordinate line = first; line <= last; ++line)
            function(line, m_entering);
        if (const Coordinate beyond = first - (y - m_radius); beyond > 0)
            function(first, Steps(beyond));
        if (const Coordinate beyond = y + m_radius - last; beyond > 0)
            function(last, Steps(beyond));
    }

    Coordinate lineAt(Coordinate y) const { return std::clamp<Coordinate>(y, 0, m_height - 1); }
    const std::uint8_t* highBytes(Coordinate y) const {
        return m_strip.channel.high + y * m_width + m_firstColumn;
    }
    const std::uint8_t* lowBits(Coordinate y) const {
        return m_strip.channel.low + y * m_width + m_firstColumn;
    }

    /// A node of all columns, side by side.
    ColumnBins* columnsOf(Coordinate node) const { return m_columns + node * m_columnCount; }

    WindowBins* groupsOf(Coordinate node) const { return m_groups + node * m_groupCount; }
    WindowBins* largeGroupsOf(Coordinate node) const { return m_largeGroups + node * m_largeGroupCount; }

    /// In a node of a deep tier.
    void countDeep(Coordinate node, Coordinate column, int bin, const Steps& steps) {
        columnsOf(node)[column] += steps.columns[bin];
        if (m_hasGroups)
            groupsOf(node)[column / groupSize] += steps.groups[bin];
        if (m_hasLargeGroups)
            largeGroupsOf(node)[column / (groupSize * groupSize)] += steps.groups[bin];
    }

    void countLine(Coordinate y, const Steps& steps) {
        const std::uint8_t* const codes = highBytes(y);
        for (Coordinate column = 0; column < m_columnCount; ++column) {
            const int code = codes[column];
            columnsOf(0)[column] += steps.columns[code / bins];
            columnsOf(1 + code / bins)[column] += steps.columns[code % bins];
            if (m_lowBits == 4)
                countDeep(1 + bins + code, column, lowBits(y)[column], steps);
        }
    }

    void moveColumnsDown(Coordinate y) {
        const Coordinate leavingLine = lineAt(y - 1 - m_radius);
        const Coordinate enteringLine = lineAt(y + m_radius);
        const std::uint8_t* const leaving = highBytes(leavingLine);
        const std::uint8_t* const entering = highBytes(enteringLine);
        ColumnBins* const roots = columnsOf(0);
        ColumnBins* const nodes = columnsOf(1);
        for (Coordinate column = 0; column < m_columnCount; ++column) {
            const int out = leaving[column];
            const int in = entering[column];
            roots[column] += m_entering.columns[in / bins];
            roots[column] -= m_entering.columns[out / bins];
            nodes[in / bins * m_columnCount + column] += m_entering.columns[in % bins];
            nodes[out / bins * m_columnCount + column] -= m_entering.columns[out % bins];
        }
        if (m_lowBits != 4)
            return;

        const std::uint8_t* const leavingLow = lowBits(leavingLine);
        const std::uint8_t* const enteringLow = lowBits(enteringLine);
        for (Coordinate column = 0; column < m_columnCount; ++column) {
            countDeep(1 + bins + entering[column], column, enteringLow[column], m_entering);
            countDeep(1 + bins + leaving[column], column, leavingLow[column], m_leaving);
        }
    }

    /// The first node of a page, with the columns up to date that the windows of the pixels begin … end - 1
    /// of line y reach.
    Coordinate pageNode(int page, Coordinate begin, Coordinate end, Coordinate y) {
        int& number = m_slotOfPage[static_cast<std::size_t>(page)];
        if (number < 0)
            number = newSlot(page);
        m_slots[static_cast<std::size_t>(number)].y = y;
        const Coordinate node = m_upperNodes + Coordinate{number} * nodesPerPage;
        Coordinate* const lines = m_blockLines + number * m_blockCount;
        const Coordinate last = columnAt(end - 1 + m_radius) / blockSize;
        for (Coordinate block = columnAt(begin - m_radius) / blockSize; block <= last; ++block)
            if (lines[block] != y)
                moveBlock(page, node, block, lines[block], y);
        return node;
    }

    /// Takes the slot of the page that was not visited for longest.
    int newSlot(int page) {
        SzSlot& slot = *std::min_element(m_slots.begin(), m_slots.begin() + m_strip.plan.pageSlots,
                                         [](const SzSlot& a, const SzSlot& b) { return a.y < b.y; });
        const auto number = static_cast<int>(&slot - m_slots.data());
        if (slot.page >= 0)
            m_slotOfPage[static_cast<std::size_t>(slot.page)] = -1;
        slot.page = page;
        std::fill_n(m_blockLines + number * m_blockCount, m_blockCount, Coordinate{-1});
        const Coordinate node = m_upperNodes + Coordinate{number} * nodesPerPage;
        for (int i = 0; i < nodesPerPage; ++i)
            m_nodes[node + i].y = -1;
        if (m_hasGroups)
            std::memset(static_cast<void*>(groupsOf(node)), 0,
                        static_cast<std::size_t>(nodesPerPage * m_groupCount) * sizeof *m_groups);
        if (m_hasLargeGroups)
            std::memset(static_cast<void*>(largeGroupsOf(node)), 0,
                        static_cast<std::size_t>(nodesPerPage * m_largeGroupCount) * sizeof *m_largeGroups);
        return number;
    }

    /// Step by step, or afresh where that is less work.
    void moveBlock(int page, Coordinate node, Coordinate block, Coordinate& line, Coordinate y) {
        const Coordinate begin = block * blockSize;
        const Coordinate end = std::min(begin + blockSize, m_columnCount);
        if (line < 0 || y - line > m_radius) {
            for (int i = 0; i < nodesPerPage; ++i) {
                std::memset(static_cast<void*>(columnsOf(node + i) + begin), 0,
                            static_cast<std::size_t>(end - begin) * sizeof *m_columns);
                // A large group is the sum of its groups at all times, as it may reach over two blocks.
                for (Coordinate group = begin / groupSize; m_hasGroups && group < groupCount(end); ++group) {
                    if (m_hasLargeGroups)
                        largeGroupsOf(node + i)[group / groupSize] -= groupsOf(node + i)[group];
                    groupsOf(node + i)[group] = WindowBins{};
                }
            }
            forEachLine(y, [&](Coordinate inside, const Steps& steps) {
                countBlock(page, node, begin, end, inside, steps);
            });
        } else {
            for (Coordinate i = line + 1; i <= y; ++i) {
                countBlock(page, node, begin, end, lineAt(i - 1 - m_radius), m_leaving);
                countBlock(page, node, begin, end, lineAt(i + m_radius), m_entering);
            }
        }
        line = y;
    }

    /// Counts the codes of a line's block that are on a page.
    void countBlock(int page, Coordinate node, Coordinate begin, Coordinate end, Coordinate y,
                    const Steps& steps) {
        const std::uint8_t* const high = highBytes(y);
        const std::uint8_t* const low = lowBits(y);
        const auto highByte = static_cast<std::uint8_t>(page);
        const auto count = [&](Coordinate column) {
            countDeep(node, column, low[column] / bins, steps);
            countDeep(node + 1 + low[column] / bins, column, low[column] % bins, steps);
        };
        if (end - begin < blockSize) {
            for (Coordinate column = begin; column < end; ++column)
                if (high[column] == highByte)
                    count(column);
            return;
        }
        BlockOfCodes codes;
        std::memcpy(&codes, high + begin, sizeof codes);
        const auto isOnPage = codes == highByte;
        std::uint64_t words[4];
        std::memcpy(words, &isOnPage, sizeof words);
        // One bit per column: the lowest of each byte, moved to the highest byte side by side.
        std::uint32_t found = 0;
        for (int i = 0; i < 4; ++i)
            found |= static_cast<std::uint32_t>(
                         (qFromLittleEndian(words[i]) & 0x0101010101010101) * 0x0102040810204080 >> 56)
                     << (8 * i);
        for (; found != 0; found &= found - 1)
            count(begin + __builtin_ctz(found));
    }

    Coordinate columnAt(Coordinate x) const {
        return std::clamp<Coordinate>(x, 0, m_width - 1) - m_firstColumn;
    }

    [[gnu::always_inline]] static WindowBins wide(const ColumnBins& column) {
        typedef ColumnCount Part __attribute__((vector_size(WindowBins::partBins * sizeof(ColumnCount))));
        WindowBins counts;
        for (int i = 0; i < WindowBins::partCount; ++i) {
            Part part;
            std::memcpy(&part, reinterpret_cast<const Part*>(&column) + i, sizeof part);
            counts.parts[i] = __builtin_convertvector(part, typename WindowBins::Part);
        }
        return counts;
    }

    [[gnu::always_inline]] static void addTimes(WindowBins& counts, const ColumnBins& column,
                                                Coordinate times) {
        WindowBins product = wide(column);
        product *= static_cast<WindowCount>(times);
        counts += product;
    }

    /// Moves a node's counts to pixel x from the one to its left.
    [[gnu::always_inline]] void slide(WindowBins& counts, const ColumnBins* columns, Coordinate x) const {
        counts += wide(columns[columnAt(x + m_radius)]);
        counts -= wide(columns[columnAt(x - 1 - m_radius)]);
    }

    /// A node's counts around a pixel: from where they were taken last, or afresh if that is less work.
    [[gnu::always_inline]] WindowBins countsAround(Coordinate x, Coordinate y, Coordinate number) const {
        const SzNode<WindowBins>& node = m_nodes[number];
        const ColumnBins* const columns = columnsOf(number);
        const Coordinate left = std::max<Coordinate>(0, x - m_radius);
        const Coordinate right = std::min(m_width - 1, x + m_radius);
        const bool hasGroups = m_hasGroups && number > bins;
        const Coordinate afresh = hasGroups ? (right - left) / groupSize + groupSize : right - left + 1;
        if (node.y == y && 2 * (x - node.x) <= afresh) {
            WindowBins counts = node.counts;
            for (Coordinate i = node.x + 1; i <= x; ++i)
                slide(counts, columns, i);
            return counts;
        }
        WindowBins counts{};
        Coordinate column = left - m_firstColumn;
        const Coordinate end = right + 1 - m_firstColumn;
        if (hasGroups) {
            for (; column < end && column % groupSize != 0; ++column)
                counts += wide(columns[column]);
            Coordinate group = column / groupSize;
            const Coordinate groupEnd = end / groupSize;
            if (m_hasLargeGroups) {
                for (; group < groupEnd && group % groupSize != 0; ++group)
                    counts += groupsOf(number)[group];
                for (; group + groupSize <= groupEnd; group += groupSize)
                    counts += largeGroupsOf(number)[group / groupSize];
            }
            for (; group < groupEnd; ++group)
                counts += groupsOf(number)[group];
            column = std::max(column, group * groupSize);
        }
        for (; column < end; ++column)
            counts += wide(columns[column]);
        // The borders repeated outwards.
        if (const Coordinate beyond = left - (x - m_radius); beyond > 0)
            addTimes(counts, columns[left - m_firstColumn], beyond);
        if (const Coordinate beyond = x + m_radius - right; beyond > 0)
            addTimes(counts, columns[right - m_firstColumn], beyond);
        return counts;
    }

    /// One tier down: appends to each code of the line the bin of its rank in its node, and leaves the rank
    /// within that bin.
    template <class NodeOf>
    void descend(Coordinate y, NodeOf&& nodeOf) {
        const Coordinate count = m_strip.end - m_strip.begin;
        WindowCount below[1 + bins];
        below[0] = 0;
        for (Coordinate i = 0; i < count;) {
            const std::uint16_t prefix = m_codes[i];
            Coordinate end = i + 1; // of the pixels that share the node
            while (end < count && m_codes[end] == prefix)
                ++end;
            const Coordinate number = nodeOf(int{prefix}, m_strip.begin + i, m_strip.begin + end);
            const ColumnBins* const columns = columnsOf(number);
            WindowBins counts = countsAround(m_strip.begin + i, y, number);
            while (true) {
                const int bin = binOfRank(counts, m_ranks[i]);
                std::memcpy(below + 1, &counts, sizeof counts);
                m_ranks[i] = static_cast<WindowCount>(m_ranks[i] - below[bin]);
                m_codes[i] = static_cast<std::uint16_t>(prefix * bins + bin);
                if (++i == end)
                    break;
                const Coordinate x = m_strip.begin + i;
                slide(counts, columns, x);
            }
            m_nodes[number] = {counts, m_strip.begin + i - 1, y};
        }
    }

    const SzStrip m_strip;
    const Coordinate m_radius;
    const Coordinate m_width;
    const Coordinate m_height;
    const Coordinate m_firstColumn; ///< columns that the strip's windows reach
    const Coordinate m_columnCount;
    const Coordinate m_groupCount;
    const Coordinate m_largeGroupCount;
    const bool m_hasGroups;
    const bool m_hasLargeGroups;
    const int m_lowBits;
    const Coordinate m_upperNodes;
    const Coordinate m_blockCount;
    const Steps m_entering;
    const Steps m_leaving;
    std::array<SzSlot, pages> m_slots;
    std::array<int, pages> m_slotOfPage; ///< -1: none
    SzNode<WindowBins>* m_nodes;
    ColumnBins* m_columns;
    WindowBins* m_groups;
    WindowBins* m_largeGroups;
    WindowCount* m_ranks;     ///< of the line's medians in their nodes
    Coordinate* m_blockLines; ///< by slot, the line around which each block was counted; -1: none
    std::uint16_t* m_codes;   ///< the line's medians, as far as they are found
};

template <class ColumnCount, class WindowCount, std::size_t vectorSize>
void medianOfStrip(const SzStrip* strip) {
    StripMedian<ColumnCount, WindowCount, vectorSize>(*strip).run();
}

/// The smallest counts that hold the samples of a column and of a window of this radius.
template <class Function>
auto withCounts(Coordinate radius, Function&& function) {
    if (radius <= 127)
        return function(std::uint8_t{}, std::uint16_t{});
    if (radius <= 32767)
        return function(std::uint16_t{}, std::uint32_t{});
    return function(std::uint32_t{}, std::uint64_t{});
}

} // namespace

SzMedianHistogramPlan medianHistogramPlan(std::int64_t width, std::int64_t radius, std::size_t codeCount,
                                          int threads) {
    // Narrow strips stay in the cache, but each holds the columns of half a window on both sides, too.
    constexpr Coordinate narrowest = 256;
    constexpr std::size_t mostPageBytes = std::size_t{256} << 20;
    constexpr std::size_t mostBytes = std::size_t{1} << 30;

    SzMedianHistogramPlan plan;
    plan.lowBits = codeCount <= 256 ? 0 : codeCount <= mostMedianCodesWithoutPages ? 4 : 8;
    plan.hasGroups = plan.lowBits > 0 && radius >= 24;
    plan.hasLargeGroups = plan.lowBits > 0 && radius >= 128;
    plan.radius = radius;
    plan.stripWidth = std::min(std::max(narrowest, 2 * radius), (width + threads - 1) / threads);
    const Coordinate columns = std::min(width, plan.stripWidth + 2 * radius);
    withCounts(radius, [&](auto column, auto window) {
        // With narrower vectors it is no larger.
        using ColumnBins = SzBins<decltype(column), 64>;
        using WindowBins = SzBins<decltype(window), 64>;
        plan.pageSlots = 0;
        if (plan.lowBits == 8) {
            std::size_t pageBytes = static_cast<std::size_t>(columns) * sizeof(ColumnBins);
            if (plan.hasGroups)
                pageBytes += static_cast<std::size_t>(groupCount(columns)) * sizeof(WindowBins);
            if (plan.hasLargeGroups)
                pageBytes += static_cast<std::size_t>(groupCount(groupCount(columns))) * sizeof(WindowBins);
            pageBytes *= nodesPerPage;
            const std::size_t affordable = mostPageBytes / static_cast<std::size_t>(threads) / pageBytes;
            plan.pageSlots = static_cast<int>(std::clamp<std::size_t>(affordable, 1, pages));
        }
        plan.bytesPerStrip = SzStripLayout<ColumnBins, WindowBins>(plan, columns).bytes;
    });
    const std::size_t affordable = mostBytes / plan.bytesPerStrip;
    plan.threads =
        static_cast<int>(std::clamp<std::size_t>(affordable, 1, static_cast<std::size_t>(threads)));
    return plan;
}

void medianByHistograms(const SzMedianCodes& channel, const SzMedianHistogramPlan& plan, std::byte* work,
                        const MedianSink& sink) {
#pragma omp parallel for schedule(dynamic) num_threads(plan.threads)
    for (Coordinate begin = 0; begin < channel.width; begin += plan.stripWidth) {
        SzStrip strip;
        strip.channel = channel;
        strip.plan = plan;
        strip.begin = begin;
        strip.end = std::min(channel.width, begin + plan.stripWidth);
        strip.work = work + static_cast<std::size_t>(omp_get_thread_num()) * plan.bytesPerStrip;
        strip.sink = &sink;
        withCounts(plan.radius, [&](auto column, auto window) {
            using Column = decltype(column);
            using Window = decltype(window);
            forInstructionSets<&medianOfStrip<Column, Window, 16>, &medianOfStrip<Column, Window, 32>,
                               &medianOfStrip<Column, Window, 64>>(&strip);
        });
    }
}
