// Conversion of measured or computed amounts to the 32-bit counts of the traversals.
#pragma once

#include <cstdint>
#include <limits>

namespace TqOcInternal
{

/// Truncates to a whole number; what does not fit becomes the nearest bound, a NaN becomes 0.
inline std::uint32_t SaturatedUnsigned(double value)
{
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    if (!(value > 0.0)) {
        return 0;
    }
    return value >= static_cast<double>(most) ? most : static_cast<std::uint32_t>(value);
}

} // namespace TqOcInternal
