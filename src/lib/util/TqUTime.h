#pragma once

// The library's clock and the time-out that frame budgets, frame timing and pick limits use. All of
// them read the one clock TqUTime::Now, which can be replaced: a test steps time by hand, a
// recorded run is replayed. Not for use from several threads at once.

#include "util/TqUApi.h"

/// The one monotonic clock.
class TQU_API TqUTime
{
public:
    /// A clock: seconds since any fixed point. Must not throw.
    using Clock = double (*)(void* userData);

    /// Seconds since a fixed but arbitrary point, from the replaced clock or the process's steady
    /// clock (nanosecond steps).
    static double Now();

    /// Reads `clock` instead of the real clock from now on; null restores the real one. Running
    /// time-outs should be set again, because the two clocks do not count from the same point.
    static void SetClock(Clock clock, void* userData);

    /// Component "TqUTime"; reference counted.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};

/// A stopwatch with a limit. It goes on counting past its time-out, so that one record serves both
/// as a budget and as the measurement of what was used of it.
class TQU_API TqUTimeOut
{
public:
    /// As after SetTimeOut(0, 0): expired, elapsed time counted from now.
    TqUTimeOut();
    ~TqUTimeOut();

    /// Restarts the clock with a new limit.
    /// @param microseconds  the time-out; 0 has expired at once
    /// @param staleMicroseconds  how old a clock reading HasExpired may answer from; 0 asks for a
    /// fresh one each time. It is an upper bound: at present every answer before the time-out comes
    /// from a fresh reading, because finding out a reading's age costs as much as a new reading.
    void SetTimeOut(unsigned int microseconds, unsigned int staleMicroseconds);

    /// True once the time-out has passed (clock >= start + time-out) and from then on until the
    /// next SetTimeOut; no clock is read any more once it is true. One clock reading before that.
    bool HasExpired() const { return m_expired || ReadExpired(); }

    /// Seconds since the last SetTimeOut (or construction), also past the time-out. Never negative
    /// and never less than before: where the clock steps backwards, elapsed time stands still for
    /// that step and goes on from there. One clock reading.
    double GetTimeElapsedInSeconds() const;

private:
    bool ReadExpired() const;
    void TakeReading() const;

    mutable double m_start;           // seconds; moved back with a clock that steps backwards
    mutable double m_latest;          // seconds, latest reading
    double m_timeOut;                 // seconds
    unsigned int m_staleMicroseconds; // allowance that came with the time-out
    mutable bool m_expired;           // latched until the next SetTimeOut
};
