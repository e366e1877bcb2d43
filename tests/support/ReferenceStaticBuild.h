#pragma once

// The static builder's rules once more, as plainly as they can be written: indices into a list of
// boxes, one pass a thought, nothing shared with the library's builder but the box type. What it
// builds is described as text, so that two builds compare as strings:
//   [3 1 2]          a leaf of the shapes 3, 1 and 2, in this order
//   ([0] [3 1] [2])  a group of three leaves

#include "geometry/TqLBox.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// What the builder learns of one shape.
struct ReferenceShape
{
    TqLBox3f box;
    std::uint32_t tris;
};

class ReferenceStaticBuild
{
public:
    ReferenceStaticBuild(std::vector<ReferenceShape> shapes, int threshold)
        : m_shapes(std::move(shapes))
        , m_threshold(threshold)
    {
        for (int i = 0; i < static_cast<int>(m_shapes.size()); ++i) {
            (IsFinite(Shape(i).box) ? m_order : m_notFinite).push_back(i);
        }
    }

    /// The tree; "" without shapes.
    std::string BuildTree()
    {
        if (m_order.empty()) {
            return m_notFinite.empty() ? "" : Leaf(m_notFinite);
        }
        std::string const tree = BuildIndex(MakeRoot(), 0);
        return m_notFinite.empty() ? tree : Group({tree, Leaf(m_notFinite)});
    }

    /// The list of leaves.
    std::vector<std::string> BuildLeaves()
    {
        std::vector<Store> stores;
        if (!m_order.empty()) {
            stores.push_back(MakeRoot());
        }
        for (std::size_t i = 0; i < stores.size();) {
            Store rest;
            if (!IsBelowThreshold(stores[i]) && Count(stores[i]) >= 2) {
                ++m_numLeafSplits;
                if (SplitPart(stores[i], rest)) {
                    stores.push_back(rest);
                    continue;
                }
            }
            ++i;
        }
        std::vector<std::string> leaves;
        for (Store const& store : stores) {
            leaves.push_back(Leaf(store));
        }
        if (!m_notFinite.empty()) {
            leaves.push_back(Leaf(m_notFinite));
        }
        return leaves;
    }

    /// Posts of the divisions and the depth limit, in order.
    std::vector<std::string> const& GetPosts() const { return m_posts; }

    /// Split attempts of BuildLeaves.
    int GetNumLeafSplits() const { return m_numLeafSplits; }

    /// How often each way through the rules was taken, so that a test can tell what it covered.
    struct Coverage
    {
        long leftRight = 0;
        long overflow = 0;
        long overflowNotSpanning = 0; ///< classified as overflow without spanning the band
        long refusedAxes = 0;
        long ties = 0; ///< items that straddle in exact balance
        long failed = 0;
    };

    Coverage const& GetCoverage() const { return m_coverage; }

private:
    struct Store
    {
        TqLBox3f box;
        std::uint32_t tris = 0;
        int first = 0;
        int end = 0;
    };

    struct Set
    {
        TqLBox3f box;
        int count = 0;
        std::uint32_t tris = 0;
    };

    struct Partition
    {
        int axis = 0;
        double split = 0;
        double low = 0;
        double high = 0;
        Set left;
        Set right;
        Set overflow;
    };

    static bool IsFinite(TqLBox3f const& box)
    {
        bool finite = true;
        for (int axis = 0; axis < 3; ++axis) {
            finite =
                finite && std::isfinite(box.GetMin()[axis]) && std::isfinite(box.GetMax()[axis]);
        }
        return finite;
    }

    ReferenceShape const& Shape(int i) const { return m_shapes[static_cast<std::size_t>(i)]; }

    int& At(int position) { return m_order[static_cast<std::size_t>(position)]; }

    ReferenceShape const& ShapeAt(int position) { return Shape(At(position)); }

    static int Count(Store const& store) { return store.end - store.first; }

    bool IsBelowThreshold(Store const& store) const
    {
        return static_cast<long long>(store.tris) < static_cast<long long>(m_threshold);
    }

    Store MakeRoot()
    {
        Store root;
        root.end = static_cast<int>(m_order.size());
        for (int i = 0; i < root.end; ++i) {
            root.box.ExtendBy(ShapeAt(i).box);
            root.tris += ShapeAt(i).tris;
        }
        return root;
    }

    static std::string Join(char open, std::vector<std::string> const& texts, char close)
    {
        std::string joined(1, open);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            if (i != 0) {
                joined += ' ';
            }
            joined += texts[i];
        }
        joined += close;
        return joined;
    }

    static std::string Group(std::vector<std::string> const& children)
    {
        return Join('(', children, ')');
    }

    static std::string Leaf(std::vector<int> const& shapes)
    {
        std::vector<std::string> numbers;
        for (int const shape : shapes) {
            numbers.push_back(std::to_string(shape));
        }
        return Join('[', numbers, ']');
    }

    std::string Leaf(Store const& store)
    {
        return Leaf(std::vector<int>(m_order.begin() + store.first, m_order.begin() + store.end));
    }

    std::string BuildIndex(Store const& store, int depth)
    {
        if (depth > 1000) {
            m_posts.emplace_back("1 TqOcHierarchyBuilder: Exceeeded recursion limit");
            return Leaf(store);
        }
        if (IsBelowThreshold(store)) {
            return Leaf(store);
        }
        std::vector<Store> parts{store};
        std::vector<bool> open{true};
        while (parts.size() < 6) {
            double largest = -1.0;
            int chosen = -1;
            for (std::size_t i = 0; i < parts.size(); ++i) {
                if (open[i] && parts[i].box.Volume() > largest) {
                    largest = parts[i].box.Volume();
                    chosen = static_cast<int>(i);
                }
            }
            if (chosen < 0) {
                break;
            }
            Store& part = parts[static_cast<std::size_t>(chosen)];
            Store rest;
            if (Count(part) >= 2 && SplitPart(part, rest)) {
                parts.push_back(rest);
                open.push_back(true);
            } else {
                open[static_cast<std::size_t>(chosen)] = false;
            }
        }
        if (parts.size() == 1) {
            return Leaf(store);
        }
        std::vector<std::string> children;
        for (Store const& part : parts) {
            children.push_back(BuildIndex(part, depth + 1));
        }
        return Group(children);
    }

    bool SplitPart(Store& part, Store& rest)
    {
        int const count = Count(part);
        double split[3] = {0.0, 0.0, 0.0};
        for (int i = part.first; i < part.end; ++i) {
            TqLPos3f const centre = ShapeAt(i).box.GetCenter();
            for (int axis = 0; axis < 3; ++axis) {
                split[axis] += centre[axis];
            }
        }
        for (double& coordinate : split) {
            coordinate /= count;
        }

        for (int const axis : OrderAxes(part.box)) {
            Partition partition = MakePartition(part.box, axis, split[axis]);
            for (int i = part.first; i < part.end; ++i) {
                Set& set = Classify(partition, ShapeAt(i).box);
                set.box.ExtendBy(ShapeAt(i).box);
                set.tris += ShapeAt(i).tris;
                ++set.count;
            }
            if (partition.left.count != 0 && partition.right.count != 0 &&
                partition.overflow.count <= count * 0.25) {
                bool const divided = partition.overflow.count != 0
                                         ? DivideOverflow(part, rest, partition)
                                         : DivideLeftRight(part, rest, partition);
                m_coverage.failed += divided ? 0 : 1;
                return divided;
            }
            ++m_coverage.refusedAxes;
        }
        ++m_coverage.failed;
        return false;
    }

    static std::array<int, 3> OrderAxes(TqLBox3f const& box)
    {
        std::array<int, 3> axes{};
        std::array<bool, 3> taken{};
        for (int& axis : axes) {
            axis = -1;
            for (int candidate = 0; candidate < 3; ++candidate) {
                if (!taken[static_cast<std::size_t>(candidate)] &&
                    (axis < 0 || box.GetSize()[candidate] > box.GetSize()[axis])) {
                    axis = candidate;
                }
            }
            taken[static_cast<std::size_t>(axis)] = true;
        }
        return axes;
    }

    static Partition MakePartition(TqLBox3f const& box, int axis, double split)
    {
        Partition partition;
        double const halfWidth = box.GetSize()[axis] * 0.5 * 0.25;
        partition.axis = axis;
        partition.split = split;
        partition.low = split - halfWidth;
        partition.high = split + halfWidth;
        return partition;
    }

    Set& Classify(Partition& partition, TqLBox3f const& box)
    {
        double const low = box.GetMin()[partition.axis];
        double const high = box.GetMax()[partition.axis];
        double const split = partition.split;
        if (high <= split) {
            return partition.left;
        }
        if (low >= split) {
            return partition.right;
        }
        m_coverage.ties += split - low == high - split ? 1 : 0;
        bool const leansLeft = split - low > high - split;
        if (leansLeft) {
            return high <= partition.high ? partition.left : partition.overflow;
        }
        return low >= partition.low ? partition.right : partition.overflow;
    }

    bool DivideOverflow(Store& part, Store& rest, Partition const& partition)
    {
        int const middle = Reorder(part, [&](TqLBox3f const& box) {
            return box.GetMin()[partition.axis] < partition.low &&
                   box.GetMax()[partition.axis] > partition.high;
        });
        if (middle == part.first || middle == part.end) {
            m_posts.emplace_back("1 TqOcHierarchyBuilder: Bad overflow partition");
            return false;
        }
        ++m_coverage.overflow;
        m_coverage.overflowNotSpanning += middle - part.first != partition.overflow.count ? 1 : 0;
        rest.first = middle;
        rest.end = part.end;
        rest.box = partition.left.box.Union(partition.right.box);
        rest.tris = partition.left.tris + partition.right.tris;
        part.end = middle;
        part.box = partition.overflow.box;
        part.tris = partition.overflow.tris;
        return true;
    }

    bool DivideLeftRight(Store& part, Store& rest, Partition const& partition)
    {
        int const middle = Reorder(part, [&](TqLBox3f const& box) {
            double const low = box.GetMin()[partition.axis];
            double const high = box.GetMax()[partition.axis];
            double const split = partition.split;
            bool const straddles = !(high <= split) && !(low >= split);
            return high <= split || (straddles && split - low > high - split);
        });
        if (middle == part.first || middle == part.end) {
            m_posts.emplace_back("1 TqOcHierarchyBuilder: Bad left/right partition");
            return false;
        }
        ++m_coverage.leftRight;
        rest.first = middle;
        rest.end = part.end;
        rest.box = partition.right.box;
        rest.tris = partition.right.tris;
        part.end = middle;
        part.box = partition.left.box;
        part.tris = partition.left.tris;
        return true;
    }

    /// Brings the items that belong to the front there, with a scan from either end that swaps
    /// mismatched pairs. Returns the position behind the front.
    template <class BelongsToFront>
    int Reorder(Store const& part, BelongsToFront const& belongsToFront)
    {
        int forward = part.first;
        int backward = part.end - 1;
        for (;;) {
            while (forward <= backward && belongsToFront(ShapeAt(forward).box)) {
                ++forward;
            }
            while (forward <= backward && !belongsToFront(ShapeAt(backward).box)) {
                --backward;
            }
            if (forward >= backward) {
                return forward;
            }
            std::swap(At(forward), At(backward));
        }
    }

    std::vector<ReferenceShape> m_shapes;
    int m_threshold;
    std::vector<int> m_order;
    std::vector<int> m_notFinite;
    std::vector<std::string> m_posts;
    Coverage m_coverage;
    int m_numLeafSplits = 0;
};
