#include "demo/Movers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace demo
{

namespace
{

constexpr double eTURN = 6.283185307179586;
constexpr double eLIFTS = 2.0;

} // namespace

// ---- Crane --------------------------------------------------------------------------------------

CraneMotion::CraneMotion(TqLPos3f const& foot, double turns, double lift)
    : m_foot(foot)
    , m_turns(turns)
    , m_lift(lift)
{}

double CraneMotion::GetAngle(double time) const
{
    return eTURN * m_turns * time;
}

double CraneMotion::GetLift(double time) const
{
    return m_lift * 0.5 * (1.0 - std::cos(eTURN * eLIFTS * time));
}

TqLAffine3f CraneMotion::GetTurn(double time) const
{
    return TqLAffine3f::Rotation(m_foot, TqLUnitVec3f(TqLVec3f(0.0, 1.0, 0.0)), GetAngle(time));
}

TqLAffine3f CraneMotion::GetCarry(double time) const
{
    return GetTurn(time) * TqLAffine3f::Translation(TqLVec3f(0.0, GetLift(time), 0.0));
}

// ---- Belt ---------------------------------------------------------------------------------------

BeltMotion::BeltMotion(std::vector<TqLPos3f> points, double spacing)
    : m_points(std::move(points))
    , m_lengths(1, 0.0)
    , m_spacing(spacing)
{
    for (std::size_t i = 1; i < m_points.size(); ++i) {
        m_lengths.push_back(m_lengths.back() + (m_points[i] - m_points[i - 1]).Length());
    }
}

std::size_t BeltMotion::GetMaxRows() const
{
    return static_cast<std::size_t>(std::floor(GetLength() / m_spacing)) + 1;
}

std::size_t BeltMotion::GetFirstRow(double run) const
{
    return static_cast<std::size_t>(std::ceil(std::max(run, 0.0) / m_spacing));
}

std::size_t BeltMotion::GetEndRow(double run) const
{
    auto const last =
        static_cast<std::size_t>(std::floor((std::max(run, 0.0) + GetLength()) / m_spacing));
    // Rounding may see one row more at the two ends than there is room for.
    return std::min(last + 1, GetFirstRow(run) + GetMaxRows());
}

double BeltMotion::GetDistance(std::size_t row, double run) const
{
    return GetLength() + run - static_cast<double>(row) * m_spacing;
}

TqLAffine3f BeltMotion::GetPlace(double distance) const
{
    double const clamped = std::clamp(distance, 0.0, GetLength());
    std::size_t next = 1;
    while (next + 1 < m_points.size() && m_lengths[next] < clamped) {
        ++next;
    }
    TqLVec3f const stretch = m_points[next] - m_points[next - 1];
    double const length = m_lengths[next] - m_lengths[next - 1];
    TqLVec3f const along = stretch * (1.0 / length);
    TqLVec3f const up(0.0, 1.0, 0.0);
    TqLVec3f const place = m_points[next - 1].Vec() + along * (clamped - m_lengths[next - 1]);
    return TqLAffine3f(along, up, along.Cross(up), place);
}

} // namespace demo
