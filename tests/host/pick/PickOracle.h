// Oracles for the pick kernels, in long double and by another road than the kernels take.
#pragma once

#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

/// What planes leave of a triangle. In coordinates (s, t) on the triangle, a + s (b - a) +
/// t (c - a), its three edges and all planes are half planes; what they have in common is empty or
/// has a corner where two of their borders cross (or, for a flat triangle, at a corner of it). So
/// all crossings are tried.
class CutOracle
{
public:
    explicit CutOracle(TqLPos3f const triangle[3])
        : m_a(triangle[0])
        , m_ab(triangle[1] - triangle[0])
        , m_ac(triangle[2] - triangle[0])
    {
        m_borders = {{1.0L, 0.0L, 0.0L}, {0.0L, 1.0L, 0.0L}, {-1.0L, -1.0L, 1.0L}};
    }

    /// Adds a plane; `slack` moves it outwards.
    void Add(TqLPlane3f const& plane, double slack)
    {
        m_borders.push_back({Dot(plane.GetNormal(), m_ab), Dot(plane.GetNormal(), m_ac),
                             Dot(plane.GetNormal(), m_a.Vec()) - plane.GetDistance() + slack});
    }

    /// Corners of what is left; none when nothing is.
    std::vector<TqLPos3f> FindCorners() const
    {
        std::vector<TqLPos3f> corners;
        for (std::size_t i = 0; i < m_borders.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                AddCrossing(m_borders[i], m_borders[j], &corners);
            }
        }
        return corners;
    }

    bool IsHit() const { return !FindCorners().empty(); }

private:
    /// s * m_s + t * m_t + m_constant is 0 or more on the inner side.
    struct Border
    {
        long double m_s;
        long double m_t;
        long double m_constant;
    };

    static long double Dot(TqLVec3f const& a, TqLVec3f const& b)
    {
        long double sum = 0.0L;
        for (int axis = 0; axis < 3; ++axis) {
            sum += static_cast<long double>(a[axis]) * b[axis];
        }
        return sum;
    }

    void AddCrossing(Border const& i, Border const& j, std::vector<TqLPos3f>* corners) const
    {
        long double const det = i.m_s * j.m_t - i.m_t * j.m_s;
        if (det == 0.0L) {
            return;
        }
        long double const s = (i.m_t * j.m_constant - i.m_constant * j.m_t) / det;
        long double const t = (i.m_constant * j.m_s - i.m_s * j.m_constant) / det;
        for (Border const& border : m_borders) {
            long double const scale = std::fabs(border.m_s * s) + std::fabs(border.m_t * t) +
                                      std::fabs(border.m_constant);
            if (!(border.m_s * s + border.m_t * t + border.m_constant >= -1e-16L * scale)) {
                return;
            }
        }
        corners->push_back(m_a + m_ab * static_cast<double>(s) + m_ac * static_cast<double>(t));
    }

    TqLPos3f m_a;
    TqLVec3f m_ab;
    TqLVec3f m_ac;
    std::vector<Border> m_borders;
};

/// The least value of a convex function between two numbers, by narrowing the span.
template <class Function>
double FindLeast(double low, double high, Function const& function)
{
    constexpr int eROUNDS = 70;
    for (int round = 0; round < eROUNDS; ++round) {
        double const a = low + (high - low) / 3.0;
        double const b = high - (high - low) / 3.0;
        (function(a) < function(b) ? high : low) = function(a) < function(b) ? b : a;
    }
    return std::min({function(low), function(high), function(low + (high - low) / 2.0)});
}

/// Distance of a point from a triangle, by search: it is convex along either edge.
inline double SearchDistance(TqLPos3f const& point, TqLPos3f const triangle[3])
{
    TqLVec3f const ab = triangle[1] - triangle[0];
    TqLVec3f const ac = triangle[2] - triangle[0];
    return FindLeast(0.0, 1.0, [&](double s) {
        return FindLeast(0.0, 1.0 - s, [&](double t) {
            return (triangle[0] + ab * s + ac * t - point).Length();
        });
    });
}
