#pragma once

// SceneRandom: the one random number generator of the generated scenes and of the randomised tests.
//
// SplitMix64 (Steele, Lea and Flood, "Fast splittable pseudorandom number generators", 2014): a
// counter through a mixing function, so that any 64-bit seed, 0 included, gives a full stream.
// Every derived value comes from integer arithmetic and exact floating-point steps only, never
// from std:: distributions or from the mathematics library, so that a seed gives the same bits
// with every compiler.

#include <cstdint>

class SceneRandom
{
public:
    /// Starts the stream of \p seed. Equal seeds give equal streams; all seeds are usable.
    explicit SceneRandom(std::uint64_t seed) : m_state(seed) {}

    /// A seed for an independent stream, the same for the same (seed, index).
    static std::uint64_t SeedFor(std::uint64_t seed, std::uint64_t index)
    {
        return SceneRandom(seed ^ (index * 0xD1342543DE82EF95ULL + 0x632BE59BD9B4E019ULL)).Next();
    }

    /// 64 random bits.
    std::uint64_t Next()
    {
        m_state += 0x9E3779B97F4A7C15ULL;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9ULL;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
        return mixed ^ (mixed >> 31);
    }

    /// A double in [0, 1), a multiple of 2^-53.
    double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }

    /// A double in [low, high).
    double Range(double low, double high) { return low + (high - low) * Unit(); }

    /// The product of two draws: a double in [0, 1), mostly small. (Two draws in one expression
    /// would leave their order, and so the scene, to the compiler.)
    double Skewed()
    {
        double const first = Unit();
        return first * Unit();
    }

    /// A whole number in [0, count); count must be at least 1. The bias of 2^-32 does not matter
    /// here.
    std::uint32_t Below(std::uint32_t count)
    {
        return static_cast<std::uint32_t>(((Next() >> 32) * count) >> 32);
    }

    /// True in \p probability of all calls; 0 never, 1 always.
    bool Chance(double probability) { return Unit() < probability; }

private:
    std::uint64_t m_state;
};
