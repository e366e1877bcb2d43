// An infinite line in space, as a point on it and its direction.
//
// A carrier for callers that pass rays and edges about; the library computes nothing with it.
#pragma once

#include "geometry/TqLVec.h"

#include <type_traits>

/// The points point + t * direction. The z axis after construction.
class TqLLine3f
{
public:
    /// Through the origin along (0, 0, 1).
    constexpr TqLLine3f() = default;

    constexpr TqLLine3f(TqLPos3f const& point, TqLUnitVec3f const& direction)
        : m_point(point)
        , m_direction(direction)
    {}

    constexpr void SetValue(TqLPos3f const& point, TqLUnitVec3f const& direction)
    {
        m_point = point;
        m_direction = direction;
    }

    constexpr void SetValue(TqLLine3f const& line) { *this = line; }

    /// The point that the line was made from; t = 0.
    constexpr TqLPos3f const& GetPoint() const { return m_point; }

    constexpr TqLUnitVec3f const& GetDirection() const { return m_direction; }

private:
    TqLPos3f m_point;
    TqLUnitVec3f m_direction;
};

static_assert(std::is_trivially_copyable<TqLLine3f>::value, "plain value");
