// The generator behind everything in a scene that looks like chance: SplitMix64 (Steele, Lea and
// Flood 2014), written out so that a seed gives the same scene on every machine and with every
// standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace host
{

/// A stream of numbers decided by its seed. Copying copies the place in the stream.
class Random
{
public:
    explicit Random(uint64_t seed) : m_state(seed) {}

    /// Any 64-bit number.
    uint64_t Next()
    {
        m_state += 0x9E3779B97F4A7C15ull;
        uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    /// A whole number from 0 to below `count`; 0 for a count of 0.
    uint32_t Below(uint32_t count)
    {
        return static_cast<uint32_t>(((Next() >> 32) * uint64_t(count)) >> 32);
    }

    /// A number from `low` to below `high`; `low` where the two are equal.
    double Between(double low, double high)
    {
        constexpr double eUNIT = 1.0 / 9007199254740992.0; // 2 to the power of -53
        return low + (high - low) * (static_cast<double>(Next() >> 11) * eUNIT);
    }

    /// True with the given probability.
    bool Chance(double probability) { return Between(0.0, 1.0) < probability; }

    /// Puts the items in random order (Fisher and Yates).
    template <class T>
    void Shuffle(std::vector<T>& items)
    {
        for (size_t i = items.size(); i > 1; --i) {
            std::swap(items[i - 1], items[Below(static_cast<uint32_t>(i))]);
        }
    }

private:
    uint64_t m_state;
};

} // namespace host
