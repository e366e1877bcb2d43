#pragma once

// FrameTimes: the times of single frames within a benchmark, for their median and percentiles.
//
// Frames of a camera path differ by nature; a mean alone hides the slow ones. Processor time is
// taken, in steps of a microsecond, so that other programs on the machine stay out of it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

class FrameTimes
{
public:
    FrameTimes() { m_microseconds.reserve(1 << 16); }

    void Start() { m_start = std::clock(); }

    void Stop()
    {
        auto const ticks = static_cast<double>(std::clock() - m_start);
        m_microseconds.push_back(1e6 * ticks / CLOCKS_PER_SEC);
    }

    /// The median, in microseconds; 0 when nothing was timed.
    double GetMedian()
    {
        std::sort(m_microseconds.begin(), m_microseconds.end());
        return GetPercentile(0.5);
    }

    /// Sets the counters "median_us" and "p95_us".
    void Report(benchmark::State& state)
    {
        state.counters["median_us"] = GetMedian();
        state.counters["p95_us"] = GetPercentile(0.95);
    }

private:
    double GetPercentile(double share) const
    {
        if (m_microseconds.empty()) {
            return 0.0;
        }
        auto const last = static_cast<double>(m_microseconds.size() - 1);
        return m_microseconds[static_cast<std::size_t>(share * last + 0.5)];
    }

    std::clock_t m_start = 0;
    std::vector<double> m_microseconds;
};
