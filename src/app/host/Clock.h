// Time, as the host programs measure it.
#pragma once

#include <chrono>

namespace host
{

/// Seconds since some moment; never runs backwards.
inline double Now()
{
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

} // namespace host
