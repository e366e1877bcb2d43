#pragma once

// What the dynamic hierarchy builder works on: one record a node, moved about in one contiguous
// array, and the order that the rules give a run of records. Internal.
//
// The rules sort a run again and again, each time stably. Only where the run is cut, and the order
// of the few nodes that become a group, can be seen of that; so the runs are not sorted. A run's
// order is remembered instead, as the list of keys by which it would have been sorted last, second
// to last, and so on: a comparison goes through the list. A key counts where it was used last,
// which leaves at most six. Where all keys tie the rank decides, a record's place in the order
// before any sort.

#include <cfloat>
#include <cstdint>

class TqOcTraversable;

/// One node of a level, on one cache line (the buffers are aligned to them).
///
/// The box stands as six bounds, the upper corner negated: one operation (the minimum) then extends
/// all six. Negating loses nothing, and `low - negatedHigh` is exactly `low + high`. Zeros are
/// positive, so that equal boxes have equal bits.
struct TqOcDHBRecord
{
    double m_bounds[6]; ///< min x, min y, min z, -max x, -max y, -max z
    TqOcTraversable* m_node;
    std::int32_t m_rank;
};

static_assert(sizeof(TqOcDHBRecord) == 64, "a record fills one cache line");

/// Union of boxes, as six bounds; empty at first.
struct TqOcDHBBounds
{
    double m_bounds[6] = {DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX};

    double Low(int axis) const { return m_bounds[axis]; }

    double High(int axis) const { return -m_bounds[3 + axis]; }

    double Extent(int axis) const { return High(axis) - Low(axis); }

    void ExtendBy(TqOcDHBBounds const& box)
    {
        for (int i = 0; i < 6; ++i) {
            m_bounds[i] = box.m_bounds[i] < m_bounds[i] ? box.m_bounds[i] : m_bounds[i];
        }
    }
};

/// What runs are sorted by.
class TqOcDHBKey
{
public:
    /// The centre on an axis, times two.
    static TqOcDHBKey Centre(int axis) { return TqOcDHBKey(axis); }

    /// The extent on an axis.
    static TqOcDHBKey Extent(int axis) { return TqOcDHBKey(3 + axis); }

    double Get(TqOcDHBRecord const& record) const
    {
        // low - negatedHigh, or -negatedHigh - low.
        return m_sign * record.m_bounds[m_code] - record.m_bounds[m_other];
    }

    int GetCode() const { return m_code; }

    static TqOcDHBKey FromCode(int code) { return TqOcDHBKey(code); }

private:
    explicit TqOcDHBKey(int code)
        : m_code(code)
        , m_other(code < 3 ? code + 3 : code - 3)
        , m_sign(code < 3 ? 1.0 : -1.0)
    {}

    int m_code;  // 0 to 2: centre on x, y, z; 3 to 5: extent; also the bound that goes first
    int m_other; // the other bound on the axis
    double m_sign;
};

/// The keys by which a run is sorted, the most significant first; at first none, so that a run is
/// in the order of its ranks.
class TqOcDHBOrder
{
public:
    /// Sorts by `key`, stably: it becomes the most significant.
    void SortBy(TqOcDHBKey key)
    {
        // Digit i is the code of key i plus one, 0 behind the last.
        auto const digit = static_cast<std::uint32_t>(key.GetCode() + 1);
        std::uint32_t rest = m_digits;
        std::uint32_t sorted = digit;
        for (int shift = s_digitBits; rest != 0; rest >>= s_digitBits) {
            if ((rest & s_digitMask) != digit) {
                sorted |= (rest & s_digitMask) << shift;
                shift += s_digitBits;
            }
        }
        m_digits = sorted;
    }

    bool IsEmpty() const { return m_digits == 0; }

    /// The most significant key; there must be one.
    TqOcDHBKey GetFirst() const
    {
        return TqOcDHBKey::FromCode(static_cast<int>(m_digits & s_digitMask) - 1);
    }

    /// The order without its most significant key.
    TqOcDHBOrder GetRest() const
    {
        TqOcDHBOrder rest;
        rest.m_digits = m_digits >> s_digitBits;
        return rest;
    }

    /// Whether `a` stands before `b`. NaN stands behind all numbers.
    bool IsBefore(TqOcDHBRecord const& a, TqOcDHBRecord const& b) const
    {
        for (TqOcDHBOrder order = *this; !order.IsEmpty(); order = order.GetRest()) {
            double const keyA = order.GetFirst().Get(a);
            double const keyB = order.GetFirst().Get(b);
            bool const isNanA = keyA != keyA;
            bool const isNanB = keyB != keyB;
            if (keyA != keyB && !(isNanA && isNanB)) {
                return keyA < keyB || (isNanB && !isNanA);
            }
        }
        return a.m_rank < b.m_rank;
    }

private:
    static constexpr int s_digitBits = 4;
    static constexpr std::uint32_t s_digitMask = 15;

    std::uint32_t m_digits = 0;
};
