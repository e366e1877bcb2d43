#include "demo/StreamPlan.h"

#include <algorithm>

namespace demo
{

namespace
{

constexpr std::size_t eREMOVED_PART = 10; ///< one in so many shapes leaves again

/// The part of `count` that is reached after `done` of `steps` equal steps.
std::size_t GetPart(std::size_t count, std::size_t done, std::size_t steps)
{
    return steps == 0 ? 0 : count * std::min(done, steps) / steps;
}

} // namespace

StreamPlan::StreamPlan(std::size_t shapes, std::size_t frames)
    : m_shapes(shapes)
    , m_streaming(std::max<std::size_t>((frames * 2 + 2) / 3, 1))
    , m_removing(frames - std::min(m_streaming, frames))
{}

ShapeRange StreamPlan::GetAdded(std::size_t frame) const
{
    return {GetPart(m_shapes, frame, m_streaming), GetPart(m_shapes, frame + 1, m_streaming)};
}

ShapeRange StreamPlan::GetRemoved(std::size_t frame) const
{
    if (frame < m_streaming) {
        return {m_shapes, m_shapes};
    }
    std::size_t const removed = m_shapes / eREMOVED_PART;
    std::size_t const done = frame - m_streaming;
    return {m_shapes - GetPart(removed, done + 1, m_removing),
            m_shapes - GetPart(removed, done, m_removing)};
}

} // namespace demo
