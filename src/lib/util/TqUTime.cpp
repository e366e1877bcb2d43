#include "util/TqUTime.h"

#include "util/TqUComponent.h"

#include <chrono>
#include <cmath>

namespace
{

constexpr double s_microsecondsPerSecond = 1e6;

double SteadySeconds(void*)
{
    auto const sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(sinceStart).count();
}

TqUComponent s_component("TqUTime");
TqUTime::Clock s_clock = SteadySeconds;
void* s_clockData = nullptr;

} // namespace

// ---- TqUTime ------------------------------------------------------------------------------------

double TqUTime::Now()
{
    return s_clock(s_clockData);
}

void TqUTime::SetClock(Clock clock, void* userData)
{
    s_clock = clock != nullptr ? clock : SteadySeconds;
    s_clockData = userData;
}

void TqUTime::Initialise()
{
    s_component.Initialise("TqUTime", "util/TqUTime.cpp 1");
}

void TqUTime::Terminate()
{
    s_component.Terminate();
}

int TqUTime::IsInitialised()
{
    return s_component.IsInitialised();
}

// ---- TqUTimeOut ---------------------------------------------------------------------------------

TqUTimeOut::TqUTimeOut()
{
    SetTimeOut(0, 0);
}

TqUTimeOut::~TqUTimeOut() = default;

void TqUTimeOut::SetTimeOut(unsigned int microseconds, unsigned int staleMicroseconds)
{
    double const now = TqUTime::Now();
    m_start = std::isfinite(now) ? now : 0.0;
    m_latest = m_start;
    m_timeOut = microseconds / s_microsecondsPerSecond;
    m_staleMicroseconds = staleMicroseconds;
    m_expired = microseconds == 0;
}

double TqUTimeOut::GetTimeElapsedInSeconds() const
{
    TakeReading();
    return m_latest - m_start;
}

bool TqUTimeOut::ReadExpired() const
{
    TakeReading();
    m_expired = m_latest >= m_start + m_timeOut;
    return m_expired;
}

// A reading below the latest one means that the clock stepped backwards: the start moves back by
// the same amount, which keeps the elapsed time at what it was. A reading that is not finite counts
// as no new reading.
void TqUTimeOut::TakeReading() const
{
    double const now = TqUTime::Now();
    if (std::isfinite(now)) {
        if (now < m_latest) {
            m_start -= m_latest - now;
        }
        m_latest = now;
    }
}
