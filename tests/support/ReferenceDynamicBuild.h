#pragma once

// The dynamic builder's rules once more, as plainly as they can be written: indices into a list of
// boxes, a stable sort and boxes formed anew for every cut, nothing shared with the library's
// builder but the box type. What it builds is described as text, so that two builds compare as
// strings:
//   (3 1 2)          a group of the nodes 3, 1 and 2, in this order
//   ((0) (3 1) (2))  a group of three groups

#include "geometry/TqLBox.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

class ReferenceDynamicBuild
{
public:
    /// @param k  2 to 7
    ReferenceDynamicBuild(std::vector<TqLBox3f> boxes, int k) : m_k(k)
    {
        for (TqLBox3f const& box : boxes) {
            m_nodes.push_back({box, {}});
        }
        m_numLeaves = static_cast<int>(m_nodes.size());
    }

    /// Builds, and returns the tree's text.
    std::string Build()
    {
        std::vector<int> level;
        for (int i = 0; i < m_numLeaves; ++i) {
            level.push_back(i);
        }
        bool isFirst = true;
        if (level.size() < 2) {
            level = {MakeGroup(level)};
            isFirst = false;
            m_order = m_nodes[static_cast<std::size_t>(level[0])].children;
        }
        while (level.size() > 1) {
            std::vector<int> groups = BuildLevel(level);
            if (isFirst) {
                m_order = level;
                isFirst = false;
            }
            level = std::move(groups);
        }
        std::string text;
        Describe(level[0], text);
        return text;
    }

    /// The order in which the nodes stand in the list after Build.
    std::vector<int> const& GetOrder() const { return m_order; }

    /// Groups made by Build.
    int GetNumGroups() const { return static_cast<int>(m_nodes.size()) - m_numLeaves; }

    /// How often each way through the rules was taken, so that a test can tell what it covered.
    struct Coverage
    {
        long middleCuts = 0;     ///< 2a
        long extentCuts = 0;     ///< 2b
        long clampedCuts = 0;    ///< 2b, where the number of small nodes was raised or lowered
        long firstGoodCuts = 0;  ///< 2c
        long laterGoodCuts = 0;  ///< 2c, behind the first one tried
        long secondAxisCuts = 0; ///< not on the first axis
        long pairSplits = 0;     ///< 3, few nodes
        long forcedMiddles = 0;  ///< 3, many nodes
        long smallGroups = 0;    ///< of 1 to 3 children
        long centreTies = 0;     ///< sorts by centre in which neighbours had equal keys
    };

    Coverage const& GetCoverage() const { return m_coverage; }

private:
    struct Node
    {
        TqLBox3f box;
        std::vector<int> children; ///< empty for the given nodes
    };

    struct Record
    {
        TqLBox3f box;
        int begin;
        int end;
    };

    using Run = std::vector<int>;

    TqLBox3f const& BoxOf(int node) const { return m_nodes[static_cast<std::size_t>(node)].box; }

    static std::size_t At(int i) { return static_cast<std::size_t>(i); }

    static int CountOf(Run const& run) { return static_cast<int>(run.size()); }

    static double Extent(TqLBox3f const& box, int axis)
    {
        return box.GetMax()[axis] - box.GetMin()[axis];
    }

    static double Centre(TqLBox3f const& box, int axis)
    {
        return box.GetMin()[axis] + box.GetMax()[axis];
    }

    TqLBox3f UnionOf(Run const& run, int begin, int end) const
    {
        TqLBox3f box;
        for (int i = begin; i < end; ++i) {
            box.ExtendBy(BoxOf(run[At(i)]));
        }
        return box;
    }

    int MakeGroup(std::vector<int> const& children)
    {
        m_coverage.smallGroups += children.size() < 4 ? 1 : 0;
        TqLBox3f const box = UnionOf(children, 0, CountOf(children));
        m_nodes.push_back({box, children});
        return static_cast<int>(m_nodes.size()) - 1;
    }

    void Describe(int node, std::string& text) const
    {
        if (node < m_numLeaves) {
            text += std::to_string(node);
            return;
        }
        text += '(';
        bool isFirst = true;
        for (int const child : m_nodes[At(node)].children) {
            text += isFirst ? "" : " ";
            isFirst = false;
            Describe(child, text);
        }
        text += ')';
    }

    // ---- Levels ---------------------------------------------------------------------------------

    std::vector<int> BuildLevel(std::vector<int>& level)
    {
        int const count = CountOf(level);
        std::vector<Record> records{{UnionOf(level, 0, count), 0, count}};
        std::vector<int> groups;
        for (std::size_t i = 0; i < records.size(); ++i) {
            while (records[i].end - records[i].begin > m_k) {
                Record& first = records[i];
                Run run(level.begin() + first.begin, level.begin() + first.end);
                int const middle = first.begin + Cut(run, first.box);
                std::copy(run.begin(), run.end(), level.begin() + first.begin);
                Record const second{UnionOf(level, middle, first.end), middle, first.end};
                first.end = middle;
                first.box = UnionOf(level, first.begin, middle);
                records.push_back(second);
            }
            groups.push_back(
                MakeGroup(Run(level.begin() + records[i].begin, level.begin() + records[i].end)));
        }
        return groups;
    }

    // ---- The cut rule ---------------------------------------------------------------------------

    /// Brings the run into the order in which it is cut, and returns the length of the first part.
    int Cut(Run& run, TqLBox3f const& box)
    {
        int const count = CountOf(run);
        std::array<int, 3> const axes = OrderAxes(box);
        for (int const axis : axes) {
            int const cut = CutOnAxis(run, axis, Extent(box, axis));
            if (cut > 0) {
                m_coverage.secondAxisCuts += axis != axes[0] ? 1 : 0;
                return cut;
            }
        }
        if (count < 51) {
            ++m_coverage.pairSplits;
            SplitPairs(run);
            return count / 2;
        }
        ++m_coverage.forcedMiddles;
        SortByCentre(run, axes[0]);
        return Middle(count);
    }

    static std::array<int, 3> OrderAxes(TqLBox3f const& box)
    {
        std::array<int, 3> axes{0, 1, 2};
        std::stable_sort(axes.begin(), axes.end(),
                         [&](int a, int b) { return Extent(box, a) > Extent(box, b); });
        return axes;
    }

    int Middle(int count) const
    {
        int const middle = count / 2;
        return count > 2 * m_k ? middle / m_k * m_k : middle;
    }

    /// @return the length of the first part; 0 when the axis gives no cut.
    int CutOnAxis(Run& run, int axis, double extent)
    {
        int const count = CountOf(run);
        SortByCentre(run, axis);
        if (IsGood(run, axis, Middle(count), extent)) {
            ++m_coverage.middleCuts;
            return Middle(count);
        }

        Sort(run, [&](TqLBox3f const& box) { return Extent(box, axis); });
        int numSmall = 0;
        while (numSmall < count - 1 && Extent(BoxOf(run[At(numSmall)]), axis) <= 0.25 * extent) {
            ++numSmall;
        }
        if (numSmall > 0) {
            int cut = numSmall;
            if (count > 2 * m_k) {
                cut = std::max(cut, m_k);
                cut = std::min(cut, count - m_k);
                m_coverage.clampedCuts += cut != numSmall ? 1 : 0;
                cut = cut / m_k * m_k;
            }
            ++m_coverage.extentCuts;
            return cut;
        }

        SortByCentre(run, axis);
        for (int cut = m_k; cut < count - 2 * m_k; cut += m_k) {
            if (IsGood(run, axis, cut, extent)) {
                ++m_coverage.firstGoodCuts;
                m_coverage.laterGoodCuts += cut > m_k ? 1 : 0;
                return cut;
            }
        }
        return 0;
    }

    bool IsGood(Run const& run, int axis, int cut, double extent) const
    {
        TqLBox3f const first = UnionOf(run, 0, cut);
        TqLBox3f const second = UnionOf(run, cut, CountOf(run));
        double const overlap = first.GetMax()[axis] - second.GetMin()[axis];
        return std::min({Extent(first, axis), overlap, Extent(second, axis)}) < 0.25 * extent;
    }

    void SortByCentre(Run& run, int axis)
    {
        Sort(run, [&](TqLBox3f const& box) { return Centre(box, axis); });
        for (int i = 1; i < CountOf(run); ++i) {
            if (Centre(BoxOf(run[At(i - 1)]), axis) == Centre(BoxOf(run[At(i)]), axis)) {
                ++m_coverage.centreTies;
                break;
            }
        }
    }

    /// Stable, ascending, NaN behind all numbers.
    template <class Key>
    void Sort(Run& run, Key const& key) const
    {
        std::stable_sort(run.begin(), run.end(), [&](int left, int right) {
            double const a = key(BoxOf(left));
            double const b = key(BoxOf(right));
            bool const aIsNumber = a == a;
            bool const bIsNumber = b == b;
            return aIsNumber && bIsNumber ? a < b : aIsNumber && !bIsNumber;
        });
    }

    // ---- The pair split -------------------------------------------------------------------------

    static double EdgeSum(TqLBox3f const& box)
    {
        return (Extent(box, 1) + Extent(box, 0)) + Extent(box, 2);
    }

    static bool IsEmptyOnX(TqLBox3f const& box) { return box.GetMin()[0] > box.GetMax()[0]; }

    static double Growth(TqLBox3f const& box, TqLBox3f const& added)
    {
        if (IsEmptyOnX(box) || IsEmptyOnX(added)) {
            return DBL_MAX / 2;
        }
        return (EdgeSum(box.Union(added)) - EdgeSum(box)) - EdgeSum(added);
    }

    void SplitPairs(Run& run) const
    {
        int const count = CountOf(run);
        Run scratch = run;
        Run left;
        Run right;
        TqLBox3f leftBox;
        TqLBox3f rightBox;
        for (int numLeft = count; numLeft >= 2; numLeft -= 2) {
            std::pair<int, int> pair = PickPair(scratch, numLeft);
            if (left.empty()) {
                leftBox = BoxOf(pair.first);
                rightBox = BoxOf(pair.second);
            } else {
                double const straight =
                    Growth(leftBox, BoxOf(pair.first)) + Growth(rightBox, BoxOf(pair.second));
                double const crossed =
                    Growth(leftBox, BoxOf(pair.second)) + Growth(rightBox, BoxOf(pair.first));
                if (!(crossed > straight)) {
                    std::swap(pair.first, pair.second);
                }
                leftBox.ExtendBy(BoxOf(pair.first));
                rightBox.ExtendBy(BoxOf(pair.second));
            }
            left.push_back(pair.first);
            right.push_back(pair.second);
        }
        if (count % 2 != 0) {
            right.push_back(scratch[0]);
        }
        std::copy(left.begin(), left.end(), run.begin());
        std::copy(right.begin(), right.end(), run.begin() + count / 2);
    }

    /// Takes the two nodes that lie farthest apart out of the first `count` of `nodes`.
    std::pair<int, int> PickPair(Run& nodes, int count) const
    {
        if (count == 2) {
            return {nodes[0], nodes[1]};
        }
        int lowestMax[3] = {0, 0, 0};
        int highestMin[3] = {0, 0, 0};
        for (int axis = 0; axis < 3; ++axis) {
            for (int i = 0; i < count; ++i) {
                auto const valueOf = [&](int at) { return BoxOf(nodes[At(at)]); };
                if (valueOf(i).GetMax()[axis] < valueOf(lowestMax[axis]).GetMax()[axis]) {
                    lowestMax[axis] = i;
                }
                if (valueOf(i).GetMin()[axis] > valueOf(highestMin[axis]).GetMin()[axis]) {
                    highestMin[axis] = i;
                }
            }
        }
        auto const separation = [&](int axis) {
            return BoxOf(nodes[At(highestMin[axis])]).GetMin()[axis] -
                   BoxOf(nodes[At(lowestMax[axis])]).GetMax()[axis];
        };
        int axis = separation(1) > separation(0) ? 1 : 0;
        axis = separation(2) > separation(axis) ? 2 : axis;

        int const p = lowestMax[axis];
        int const q = highestMin[axis];
        int high = std::max(p, q);
        int low = std::min(p, q);
        if (p == q) {
            high = p != 0 ? p : 1;
            low = 0;
        }
        std::pair<int, int> const pair(nodes[At(high)], nodes[At(low)]);
        // Slot `high` is filled first, from the end; slot `low` then from the entry before.
        if (high != count - 1) {
            nodes[At(high)] = nodes[At(count - 1)];
        }
        if (low != count - 2) {
            nodes[At(low)] = nodes[At(count - 2)];
        }
        return pair;
    }

    int m_k;
    int m_numLeaves = 0;
    std::vector<Node> m_nodes; // the given ones, then the groups
    std::vector<int> m_order;
    Coverage m_coverage;
};
