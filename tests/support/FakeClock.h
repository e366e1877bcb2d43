#pragma once

// A clock that moves only when a test says so, in place of the real one while the object lives.
//
// `SetStepPerReading` lets time pass with each reading, which makes a walk that reads the clock run
// out of its budget after a known number of readings. One at a time.

#include "util/TqUTime.h"

class FakeClock
{
public:
    explicit FakeClock(double startSeconds = 1000.0) : m_now(startSeconds)
    {
        TqUTime::SetClock(&FakeClock::Read, this);
    }

    ~FakeClock() { TqUTime::SetClock(nullptr, nullptr); }

    FakeClock(FakeClock const&) = delete;
    FakeClock& operator=(FakeClock const&) = delete;

    /// The fake time in seconds; not counted as a reading.
    [[nodiscard]] double GetNow() const { return m_now; }

    void Advance(double seconds) { m_now += seconds; }

    /// Seconds by which the clock moves on after each reading; 0 (the default) stands still.
    void SetStepPerReading(double seconds) { m_step = seconds; }

    /// How often the clock was read so far.
    [[nodiscard]] int GetNumReadings() const { return m_readings; }

private:
    static double Read(void* self)
    {
        auto* clock = static_cast<FakeClock*>(self);
        double const now = clock->m_now;
        clock->m_now += clock->m_step;
        ++clock->m_readings;
        return now;
    }

    double m_now;
    double m_step = 0.0;
    int m_readings = 0;
};
