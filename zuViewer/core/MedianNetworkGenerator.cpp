// SPDX-License-Identifier: GPL-3.0-or-later
// Run in the build: writes the code that finds medians of small squares, k samples wide, by minima and
// maxima.
//
// The samples of each column are sorted once; neighbouring sorted columns are merged into groups of 2, 4, 8
// …, which several windows share; a window is put together from the groups by the binary digits of k. What
// can no longer be the median is dropped on the way, and what only it would have needed is not computed.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Wires = std::vector<int>;

/// Straight-line code: inputs, then minima and maxima of two wires each.
class Network {
public:
    Wires inputs(const std::vector<std::string>& sources) {
        Wires wires;
        for (const std::string& source : sources) {
            wires.push_back(static_cast<int>(m_steps.size()));
            m_steps.push_back({source, -1, -1});
        }
        return wires;
    }

    int minimum(int a, int b) { return step("least", a, b); }
    int maximum(int a, int b) { return step("most", a, b); }

    /// Odd-even merge of two sorted lists.
    Wires merge(const Wires& a, const Wires& b) {
        if (a.empty() || b.empty())
            return a.empty() ? b : a;
        if (a.size() == 1 && b.size() == 1)
            return {minimum(a[0], b[0]), maximum(a[0], b[0])};
        const Wires even = merge(everySecond(a, 0), everySecond(b, 0));
        const Wires odd = merge(everySecond(a, 1), everySecond(b, 1));
        Wires merged{even[0]};
        for (std::size_t i = 0; i < odd.size() || i + 1 < even.size(); ++i) {
            if (i + 1 >= even.size()) {
                merged.push_back(odd[i]);
            } else if (i >= odd.size()) {
                merged.push_back(even[i + 1]);
            } else {
                merged.push_back(minimum(odd[i], even[i + 1]));
                merged.push_back(maximum(odd[i], even[i + 1]));
            }
        }
        return merged;
    }

    Wires sort(const Wires& wires) {
        if (wires.size() < 2)
            return wires;
        const auto middle = wires.begin() + static_cast<std::ptrdiff_t>(wires.size() / 2);
        return merge(sort({wires.begin(), middle}), sort({middle, wires.end()}));
    }

    /// The sample of a rank, counted from 0, in the union of two sorted lists: the least of the largest ones
    /// of all ways to take rank + 1 samples.
    int select(const Wires& a, const Wires& b, std::size_t rank) {
        int selected = -1;
        for (std::size_t fromA = 0; fromA <= std::min(a.size(), rank + 1); ++fromA) {
            const std::size_t fromB = rank + 1 - fromA;
            if (fromB > b.size())
                continue;
            const int largest = fromA == 0   ? b[fromB - 1]
                                : fromB == 0 ? a[fromA - 1]
                                             : maximum(a[fromA - 1], b[fromB - 1]);
            selected = selected < 0 ? largest : minimum(selected, largest);
        }
        return selected;
    }

    /// The steps on which these wires depend, and the stores.
    void write(std::ostream& out, const std::string& store, const Wires& wires) const {
        std::vector<bool> isNeeded(m_steps.size(), false);
        for (const int wire : wires)
            isNeeded[static_cast<std::size_t>(wire)] = true;
        for (std::size_t i = m_steps.size(); i-- > 0;) {
            if (isNeeded[i] && m_steps[i].a >= 0) {
                isNeeded[static_cast<std::size_t>(m_steps[i].a)] = true;
                isNeeded[static_cast<std::size_t>(m_steps[i].b)] = true;
            }
        }
        for (std::size_t i = 0; i < m_steps.size(); ++i) {
            if (!isNeeded[i])
                continue;
            out << "            const Vector v" << i << " = ";
            if (m_steps[i].a < 0)
                out << m_steps[i].text << ";\n";
            else
                out << m_steps[i].text << "(v" << m_steps[i].a << ", v" << m_steps[i].b << ");\n";
        }
        for (std::size_t i = 0; i < wires.size(); ++i)
            out << "            " << store << "(v" << wires[i] << ", out + " << i << " * lineSize);\n";
    }

private:
    struct Step {
        std::string text; ///< what an input reads, or the operation
        int a;
        int b;
    };

    static Wires everySecond(const Wires& wires, std::size_t first) {
        Wires result;
        for (std::size_t i = first; i < wires.size(); i += 2)
            result.push_back(wires[i]);
        return result;
    }

    int step(const char* text, int a, int b) {
        m_steps.push_back({text, a, b});
        return static_cast<int>(m_steps.size()) - 1;
    }

    std::vector<Step> m_steps;
};

/// Sorted samples of some columns, without those that are known to lie below or above the median.
struct Group {
    Wires wires;
    std::size_t below = 0;
    std::size_t above = 0;
};

/// Drops what cannot be the sample of rank median among 2 × median + 1.
void prune(Group& group, std::size_t median) {
    const std::size_t size = group.wires.size();
    const std::size_t reachBelow = median - group.below;
    const std::size_t reachAbove = median - group.above;
    const std::size_t first = size > reachAbove + 1 ? size - 1 - reachAbove : 0;
    const std::size_t end = std::min(size, reachBelow + 1);
    group.below += first;
    group.above += size - end;
    group.wires = {group.wires.begin() + static_cast<std::ptrdiff_t>(first),
                   group.wires.begin() + static_cast<std::ptrdiff_t>(end)};
}

std::vector<std::string> reads(const std::string& lines, std::size_t count, std::size_t shift) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i)
        texts.push_back("load<Vector>(" + lines + " + " + std::to_string(i) + " * lineSize + x + " +
                        std::to_string(shift) + ")");
    return texts;
}

void writeLoop(std::ostream& out, const std::string& vectors, const std::string& store,
               const std::string& target, const Network& network, const Wires& wires) {
    out << "        for (std::size_t x = 0; x < (" << vectors << ") * lanes; x += lanes) {\n"
        << "            Sample* const out = " << target << ";\n";
    network.write(out, store, wires);
    out << "        }\n";
}

/// Three sorted columns: the median of the largest minimum, the middle one's median and the least maximum.
int medianOfNine(Network& network, const Wires& a, const Wires& b, const Wires& c) {
    const auto median = [&](int p, int q, int r) {
        return network.maximum(network.minimum(p, q), network.minimum(network.maximum(p, q), r));
    };
    return median(network.maximum(network.maximum(a[0], b[0]), c[0]), median(a[1], b[1], c[1]),
                  network.minimum(network.minimum(a[2], b[2]), c[2]));
}

void writeNetwork(std::ostream& out, std::size_t k) {
    const std::size_t median = k * k / 2;
    std::ostringstream code;

    // Groups of 1, 2, 4 … columns, each group's lines behind the last one's.
    std::vector<Group> groups;
    std::vector<std::string> names;
    std::size_t lines = 0;
    for (std::size_t columns = 1; 2 * columns <= k; columns *= 2) {
        Network network;
        Group group;
        if (columns == 1) {
            std::vector<std::string> sources;
            for (std::size_t i = 0; i < k; ++i)
                sources.push_back("load<Vector>(rows[" + std::to_string(i) + "] + x)");
            group.wires = network.sort(network.inputs(sources));
        } else {
            const Group& half = groups.back();
            const Wires left = network.inputs(reads(names.back(), half.wires.size(), 0));
            const Wires right = network.inputs(reads(names.back(), half.wires.size(), columns / 2));
            group = {network.merge(left, right), 2 * half.below, 2 * half.above};
        }
        prune(group, median);
        names.push_back("group" + std::to_string(columns));
        code << "        Sample* const " << names.back() << " = work + " << lines << " * lineSize;\n";
        writeLoop(code, "vectors + extra", "store", names.back() + " + x", network, group.wires);
        lines += group.wires.size();
        groups.push_back(group);
    }

    // The window. Its largest group is no other window's: it is merged here, from two halves.
    Network network;
    Group window;
    if (k == 3) {
        const Wires a = network.inputs(reads(names[0], 3, 0));
        const Wires b = network.inputs(reads(names[0], 3, 1));
        const Wires c = network.inputs(reads(names[0], 3, 2));
        window.wires = {medianOfNine(network, a, b, c)};
    } else {
        std::size_t column = 0;
        const auto next = [&](std::size_t i) {
            Group group = groups[i];
            group.wires = network.inputs(reads(names[i], group.wires.size(), column));
            column += std::size_t{1} << i;
            return group;
        };
        const auto append = [&](const Group& group) {
            const Group before = window;
            window = {{}, before.below + group.below, before.above + group.above};
            if (column == k) {
                window.wires = {network.select(before.wires, group.wires, median - window.below)};
            } else {
                window.wires = network.merge(before.wires, group.wires);
                prune(window, median);
            }
        };
        window = next(groups.size() - 1);
        append(next(groups.size() - 1));
        for (std::size_t i = groups.size(); i-- > 0;)
            if ((k & (std::size_t{1} << i)) != 0)
                append(next(i));
    }
    writeLoop(code, "vectors", "storeMedian", "medians + x", network, window.wires);

    out << "// SPDX-License-Identifier: GPL-3.0-or-later\n"
           "// Written by MedianNetworkGenerator.\n"
           "#include \"MedianNetworkLine.h\"\n\n"
           "template <>\n"
           "struct MedianNetwork<"
        << k
        << "> {\n"
           "    static constexpr std::size_t lines = "
        << lines
        << ";\n\n"
           "    template <class Vector, class Sample, std::size_t lineSize>\n"
           "    static void findMedians(const Sample* const* rows, Sample* medians, std::size_t vectors,\n"
           "                            Sample* work) {\n"
           "        constexpr std::size_t lanes = sizeof(Vector) / sizeof(Sample);\n"
           "        constexpr std::size_t extra = ("
        << k << " - 1 + lanes - 1) / lanes;\n"
        << code.str() << "    }\n};\n\n";
}

} // namespace

/// Arguments: a file to write, the side of the square, the sample types.
int main(int argc, char** argv) {
    if (argc < 4)
        return EXIT_FAILURE;
    std::ofstream out(argv[1]);
    const std::string k = argv[2];
    writeNetwork(out, std::stoul(k));
    for (int i = 3; i < argc; ++i) {
        const std::string type = argv[i];
        out << "template std::size_t medianLineWork<" << k << ", " << type << ">();\n"
            << "template void medianLine<" << k << ", " << type << ">(const " << type << "* const*, " << type
            << "*, std::size_t, std::size_t, " << type << "*);\n";
    }
    return out.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
