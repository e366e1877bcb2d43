// When which shapes of the model enter and leave the tree.
//
// A fixed number enters with every frame, in the model's order, so that the model is complete after
// two thirds of the flight. After that a tenth of it leaves again, the last first.
#pragma once

#include <cstddef>

namespace demo
{

/// Positions in the model's order: first to last, without last.
struct ShapeRange
{
    std::size_t m_first = 0;
    std::size_t m_last = 0;

    std::size_t GetCount() const { return m_last - m_first; }
};

/// The plan of one flight.
class StreamPlan
{
public:
    /// @param shapes  of the model
    /// @param frames  of the flight, at least 1
    StreamPlan(std::size_t shapes, std::size_t frames);

    /// What enters with a frame, 0 <= frame < frames; empty once the model is complete.
    ShapeRange GetAdded(std::size_t frame) const;

    /// What leaves with a frame; empty until the model is complete.
    ShapeRange GetRemoved(std::size_t frame) const;

private:
    std::size_t m_shapes;
    std::size_t m_streaming; ///< frames until the model is complete
    std::size_t m_removing;  ///< frames that are left after that
};

} // namespace demo
