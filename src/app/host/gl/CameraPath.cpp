#include "host/gl/CameraPath.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace host
{

namespace
{

/// Share of the flight's time that goes to turning.
constexpr double eTURN_SHARE = 0.4;
constexpr double eNEARLY_PARALLEL = 0.9995;
constexpr double ePARALLEL_ANGLE = 1e-9;

double Length(TqLVec3f const& vec)
{
    return std::sqrt(vec.Dot(vec));
}

TqLVec3f Blend(TqLVec3f const& a, double weightA, TqLVec3f const& b, double weightB)
{
    return TqLVec3f(a[0] * weightA + b[0] * weightB, a[1] * weightA + b[1] * weightB,
                    a[2] * weightA + b[2] * weightB);
}

TqLVec3f Normalised(TqLVec3f const& vec)
{
    double const length = Length(vec);
    return length > 0.0 && std::isfinite(length) ? Blend(vec, 1.0 / length, vec, 0.0)
                                                 : TqLVec3f(0.0, 0.0, -1.0);
}

double Angle(TqLVec3f const& a, TqLVec3f const& b)
{
    return std::acos(std::clamp(a.Dot(b), -1.0, 1.0));
}

/// Even turn from one unit direction to another. Opposite directions turn over the horizon.
TqLVec3f Turn(TqLVec3f const& from, TqLVec3f to, double share)
{
    if (from.Dot(to) < -eNEARLY_PARALLEL) {
        // Any way round will do; a nudge across decides for one and keeps the view level.
        to = Normalised(TqLVec3f(to[0] - 0.1 * to[2], to[1], to[2] + 0.1 * to[0]));
    }
    double const angle = Angle(from, to);
    if (from.Dot(to) > eNEARLY_PARALLEL || angle < ePARALLEL_ANGLE) {
        return Normalised(Blend(from, 1.0 - share, to, share));
    }
    double const scale = 1.0 / std::sin(angle);
    return Normalised(
        Blend(from, std::sin((1.0 - share) * angle) * scale, to, std::sin(share * angle) * scale));
}

} // namespace

CameraPath::CameraPath(std::vector<CameraKey> keys) : m_keys(std::move(keys))
{
    for (CameraKey& key : m_keys) {
        key.direction = Normalised(key.direction);
    }
    double turned = 0.0;
    for (std::size_t i = 1; i < m_keys.size(); ++i) {
        m_length += Length(m_keys[i].position - m_keys[i - 1].position);
        turned += Angle(m_keys[i - 1].direction, m_keys[i].direction);
    }
    double time = 0.0;
    for (std::size_t i = 0; i < m_keys.size(); ++i) {
        if (i > 0) {
            double const way = Length(m_keys[i].position - m_keys[i - 1].position);
            double const turn = Angle(m_keys[i - 1].direction, m_keys[i].direction);
            time += (m_length > 0.0 ? way / m_length * (1.0 - eTURN_SHARE) : 0.0) +
                    (turned > 0.0 ? turn / turned * eTURN_SHARE : 0.0);
        }
        m_times.push_back(time);
    }
    for (double& stop : m_times) {
        stop = time > 0.0 ? stop / time : 0.0;
    }
}

CameraKey CameraPath::Evaluate(double time) const
{
    if (m_keys.empty()) {
        return {TqLPos3f(0.0, 0.0, 0.0), TqLVec3f(0.0, 0.0, -1.0)};
    }
    double const clamped = std::clamp(std::isfinite(time) ? time : 0.0, 0.0, 1.0);
    auto const after = std::upper_bound(m_times.begin(), m_times.end(), clamped);
    if (after == m_times.end()) {
        return m_keys.back();
    }
    std::size_t const next = static_cast<std::size_t>(after - m_times.begin());
    if (next == 0) {
        return m_keys.front();
    }
    CameraKey const& from = m_keys[next - 1];
    CameraKey const& to = m_keys[next];
    double const span = m_times[next] - m_times[next - 1];
    double const share = span > 0.0 ? (clamped - m_times[next - 1]) / span : 0.0;
    CameraKey key;
    for (int axis = 0; axis < 3; ++axis) {
        key.position[axis] =
            from.position[axis] + (to.position[axis] - from.position[axis]) * share;
    }
    key.direction = Turn(from.direction, to.direction, share);
    return key;
}

} // namespace host
