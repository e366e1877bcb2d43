// Axis-aligned boxes in two and three dimensions.
//
// TqLBox3f is the bounding box of every node: minimum corner, then maximum corner, six contiguous
// doubles. Containers grow their box from an empty one with ExtendBy; cull tests read the corners.
// Everything is inline and costs a few compares or adds. Both boxes are empty after construction.
#pragma once

#include "geometry/TqLVec.h"

#include <cfloat>
#include <type_traits>

/// A rectangle, given by its lower and its upper corner. Empty after construction.
class TqLBox2f
{
public:
    /// An empty box, as MakeEmpty leaves it.
    constexpr TqLBox2f() : m_min(DBL_MAX, DBL_MAX), m_max(-DBL_MAX, -DBL_MAX) {}

    constexpr TqLBox2f(TqLPos2f const& min, TqLPos2f const& max) : m_min(min), m_max(max) {}

    /// Minimum +DBL_MAX, maximum -DBL_MAX on both axes: a box around nothing.
    constexpr void MakeEmpty() { *this = TqLBox2f(); }

    constexpr void SetValue(TqLPos2f const& min, TqLPos2f const& max)
    {
        m_min = min;
        m_max = max;
    }

    constexpr void SetValue(TqLBox2f const& box) { *this = box; }

    /// Whether the minimum is greater than the maximum on an axis.
    constexpr bool IsEmpty() const { return m_min[0] > m_max[0] || m_min[1] > m_max[1]; }

    constexpr TqLPos2f const& GetMin() const { return m_min; }

    constexpr TqLPos2f const& GetMax() const { return m_max; }

private:
    TqLPos2f m_min;
    TqLPos2f m_max;
};

/// Exact comparison of both corners, component by component.
constexpr bool operator==(TqLBox2f const& a, TqLBox2f const& b)
{
    return a.GetMin() == b.GetMin() && a.GetMax() == b.GetMax();
}

constexpr bool operator!=(TqLBox2f const& a, TqLBox2f const& b)
{
    return !(a == b);
}

/// A box along the axes, given by its minimum and maximum corner; both belong to it. Empty after
/// construction.
///
/// A box may hold any numbers. One whose minimum exceeds its maximum on some axis is empty and
/// stands for nothing; one with a NaN is neither empty nor inside anything, and no box that is
/// extended by it takes the NaN over.
class TqLBox3f
{
public:
    /// An empty box, as MakeEmpty leaves it.
    constexpr TqLBox3f() : m_min(DBL_MAX, DBL_MAX, DBL_MAX), m_max(-DBL_MAX, -DBL_MAX, -DBL_MAX) {}

    /// The corners are stored as given; nothing sorts them.
    constexpr TqLBox3f(TqLPos3f const& min, TqLPos3f const& max) : m_min(min), m_max(max) {}

    /// Minimum +DBL_MAX, maximum -DBL_MAX on all axes: a box around nothing, the neutral element of
    /// ExtendBy. Finite corners, because an infinity times a zero coefficient would be NaN in the
    /// cull tests.
    constexpr void MakeEmpty() { *this = TqLBox3f(); }

    constexpr void SetValue(TqLPos3f const& min, TqLPos3f const& max)
    {
        m_min = min;
        m_max = max;
    }

    constexpr void SetValue(TqLBox3f const& box) { *this = box; }

    /// Whether the minimum is greater than the maximum on at least one axis. False for NaN.
    constexpr bool IsEmpty() const
    {
        return m_min[0] > m_max[0] || m_min[1] > m_max[1] || m_min[2] > m_max[2];
    }

    constexpr TqLPos3f const& GetMin() const { return m_min; }

    constexpr TqLPos3f const& GetMax() const { return m_max; }

    /// One of the eight corners; bit 2 of the index chooses the maximum on x, bit 1 on y, bit 0
    /// on z. So corner 0 is the minimum, 1 is (x0, y0, z1), and 7 is the maximum.
    constexpr TqLPos3f GetCorner(int index) const
    {
        return TqLPos3f((index & 4) != 0 ? m_max[0] : m_min[0],
                        (index & 2) != 0 ? m_max[1] : m_min[1],
                        (index & 1) != 0 ? m_max[2] : m_min[2]);
    }

    /// Half of minimum plus maximum, per axis; the origin for a box made empty.
    constexpr TqLPos3f GetCenter() const
    {
        // Halving by a product gives the same bits as dividing by 2.
        return TqLPos3f((m_min[0] + m_max[0]) * 0.5, (m_min[1] + m_max[1]) * 0.5,
                        (m_min[2] + m_max[2]) * 0.5);
    }

    /// Maximum minus minimum per axis; minus infinity for a box made empty.
    constexpr TqLVec3f GetSize() const { return m_max - m_min; }

    /// The product of the three sizes, x times y first. Without meaning for an empty box.
    constexpr double Volume() const
    {
        return (m_max[0] - m_min[0]) * (m_max[1] - m_min[1]) * (m_max[2] - m_min[2]);
    }

    /// Grows this box to enclose another. A box made empty becomes the argument, and an argument
    /// made empty changes nothing. The corners are merged axis by axis as they stand, so an
    /// inverted box counts with the numbers that it holds; a NaN on either side of a compare
    /// changes nothing.
    constexpr void ExtendBy(TqLBox3f const& box)
    {
        for (int axis = 0; axis < 3; ++axis) {
            // Not std::min: the order of the operands decides what a NaN does.
            m_min[axis] = box.m_min[axis] < m_min[axis] ? box.m_min[axis] : m_min[axis];
            m_max[axis] = box.m_max[axis] > m_max[axis] ? box.m_max[axis] : m_max[axis];
        }
    }

    /// Grows this box to enclose a point. Components that are NaN change nothing.
    constexpr void ExtendBy(TqLPos3f const& point)
    {
        for (int axis = 0; axis < 3; ++axis) {
            m_min[axis] = point[axis] < m_min[axis] ? point[axis] : m_min[axis];
            m_max[axis] = point[axis] > m_max[axis] ? point[axis] : m_max[axis];
        }
    }

    /// The box that encloses both; a copy of this one, extended by the argument.
    constexpr TqLBox3f Union(TqLBox3f const& box) const
    {
        TqLBox3f result(*this);
        result.ExtendBy(box);
        return result;
    }

    /// Whether the argument lies wholly inside; common faces are inside. A box made empty lies in
    /// every box, and a box with a NaN in none.
    constexpr bool Contains(TqLBox3f const& box) const
    {
        return box.m_min[0] >= m_min[0] && box.m_max[0] <= m_max[0] && box.m_min[1] >= m_min[1] &&
               box.m_max[1] <= m_max[1] && box.m_min[2] >= m_min[2] && box.m_max[2] <= m_max[2];
    }

    /// Whether the point lies inside or on a face.
    constexpr bool Contains(TqLPos3f const& point) const
    {
        return point[0] >= m_min[0] && point[0] <= m_max[0] && point[1] >= m_min[1] &&
               point[1] <= m_max[1] && point[2] >= m_min[2] && point[2] <= m_max[2];
    }

private:
    TqLPos3f m_min;
    TqLPos3f m_max;
};

/// Exact comparison of both corners, component by component; so two empty boxes are equal only when
/// all six numbers are, and a box with a NaN differs from itself.
constexpr bool operator==(TqLBox3f const& a, TqLBox3f const& b)
{
    return a.GetMin() == b.GetMin() && a.GetMax() == b.GetMax();
}

constexpr bool operator!=(TqLBox3f const& a, TqLBox3f const& b)
{
    return !(a == b);
}

static_assert(sizeof(TqLBox2f) == 32, "four doubles without padding");
static_assert(sizeof(TqLBox3f) == 48, "six doubles without padding");
static_assert(std::is_trivially_copyable<TqLBox2f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLBox3f>::value, "plain value");
static_assert(std::is_standard_layout<TqLBox3f>::value, "minimum first, then maximum");
