#pragma once

// Finds the k-th smallest of many numbers. Internal.
//
// Many numbers: selection by sampling (Floyd and Rivest, "Expected time bounds for selection",
// 1975), with a pass that filters without branches instead of one that swaps. Few numbers: one
// after the other is taken, if it lies between those that were found too small and too large, and
// all are counted against it, which takes a logarithmic number of passes without branches. Linear
// in practice; where samples mislead std::nth_element takes over.

#include "scenecull/internal/TqOcDHBKernels.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include <algorithm>
#include <limits>

/// One of many numbers, by rank.
struct TqOcDHBSelection
{
    double m_value;
    int m_numLess;  ///< numbers that are less than it
    int m_numEqual; ///< numbers that equal it; at least 1
};

/// Selects; holds the scratch memory for that.
class TqOcDHBSelector
{
public:
    /// Makes room for selecting out of `count` numbers. Throws std::bad_alloc when memory is
    /// refused.
    void Reserve(int count)
    {
        for (TqOcSHBBuffer<double>& band : m_bands) {
            if (band.Size() < count) {
                band.Extend(count - band.Size());
            }
        }
    }

    /// The number that `rank` of the `count` numbers stand before when they are sorted, 0 <= rank <
    /// count. None of the numbers is NaN; they stay as they are.
    TqOcDHBSelection Select(double const* numbers, int count, int rank)
    {
        if (count > s_fewNumbers && (rank < s_mostExtreme || count - rank <= s_mostExtreme)) {
            return SelectExtreme(numbers, count, rank);
        }
        int numBelow = 0;
        for (int next = 0; count > s_fewNumbers; next = 1 - next) {
            Band const band = ChooseBand(numbers, count, rank - numBelow);
            double* const inside = m_bands[next].Data();
            TqOcDHBFilter const filter =
                TqOcDHBKernels::Filter(numbers, count, band.m_low, band.m_high, inside);
            int const rankInside = rank - numBelow - filter.m_numBelow;
            bool const isMisled = rankInside < 0 || rankInside >= filter.m_numInside;
            if (!isMisled && band.m_low == band.m_high) {
                return {band.m_low, numBelow + filter.m_numBelow, filter.m_numInside};
            }
            if (isMisled || filter.m_numInside > count - count / 4) {
                return SelectSlowly(numbers, count, rank - numBelow, numBelow, inside);
            }
            numbers = inside;
            count = filter.m_numInside;
            numBelow += filter.m_numBelow;
        }
        TqOcDHBSelection selection = SelectFew(numbers, count, rank - numBelow);
        selection.m_numLess += numBelow;
        return selection;
    }

private:
    static constexpr int s_fewNumbers = 128;
    static constexpr int s_mostExtreme = 16;
    static constexpr int s_fewestSamples = 32;
    static constexpr int s_mostSamples = 1024;

    /// Both ends belong to it.
    struct Band
    {
        double m_low;
        double m_high;
    };

    /// A band around the number of the given rank, by a sample of the numbers.
    static Band ChooseBand(double const* numbers, int count, int rank)
    {
        int numSamples = s_fewestSamples;
        while (numSamples < s_mostSamples && 2 * numSamples * numSamples < count) {
            numSamples *= 2;
        }
        // 2.5 standard deviations: 1.25 times the root of the number of samples.
        int margin = 5;
        while (16 * margin * margin < 25 * numSamples) {
            ++margin;
        }
        double samples[s_mostSamples];
        int const stride = count / numSamples;
        for (int i = 0; i < numSamples; ++i) {
            samples[i] = numbers[i * stride + stride / 2];
        }
        auto const middle = static_cast<int>(static_cast<long long>(rank) * numSamples / count);
        double const infinity = std::numeric_limits<double>::infinity();
        return {
            middle < margin ? -infinity : SelectFew(samples, numSamples, middle - margin).m_value,
            middle + margin < numSamples ? SelectFew(samples, numSamples, middle + margin).m_value
                                         : infinity};
    }

    static TqOcDHBSelection SelectFew(double const* numbers, int count, int rank)
    {
        double const infinity = std::numeric_limits<double>::infinity();
        double tooSmall = -infinity;
        double tooLarge = infinity;
        // From all over the numbers first: they may be sorted.
        constexpr int stride = 8;
        for (int first = stride - 1; first >= 0; --first) {
            for (int i = first; i < count; i += stride) {
                double const value = numbers[i];
                if (value <= tooSmall || value >= tooLarge) {
                    continue;
                }
                int const numLess = TqOcDHBKernels::CountLess(numbers, count, value);
                if (numLess > rank) {
                    tooLarge = value;
                    continue;
                }
                int const numNotMore = TqOcDHBKernels::CountNotMore(numbers, count, value);
                if (rank < numNotMore) {
                    return {value, numLess, numNotMore - numLess};
                }
                tooSmall = value;
            }
        }
        // Only an infinity is left.
        int const numLowest = TqOcDHBKernels::CountNotMore(numbers, count, -infinity);
        if (rank < numLowest) {
            return {-infinity, 0, numLowest};
        }
        int const numLess = TqOcDHBKernels::CountLess(numbers, count, infinity);
        return {infinity, numLess, count - numLess};
    }

    /// Selects near either end: keeps the least, or greatest, of the numbers in their order.
    static TqOcDHBSelection SelectExtreme(double const* numbers, int count, int rank)
    {
        double const sign = rank < s_mostExtreme ? 1.0 : -1.0;
        int const numKept = rank < s_mostExtreme ? rank + 1 : count - rank;
        double kept[s_mostExtreme];
        std::fill(kept, kept + numKept, std::numeric_limits<double>::infinity());
        for (int i = 0; i < count; ++i) {
            double const number = sign * numbers[i];
            if (number < kept[numKept - 1]) {
                int at = numKept - 1;
                for (; at > 0 && number < kept[at - 1]; --at) {
                    kept[at] = kept[at - 1];
                }
                kept[at] = number;
            }
        }
        double const value = sign * kept[numKept - 1];
        int const numLess = TqOcDHBKernels::CountLess(numbers, count, value);
        int const numNotMore = TqOcDHBKernels::CountNotMore(numbers, count, value);
        return {value, numLess, numNotMore - numLess};
    }

    static TqOcDHBSelection SelectSlowly(double const* numbers, int count, int rank, int numBelow,
                                         double* scratch)
    {
        std::copy(numbers, numbers + count, scratch);
        std::nth_element(scratch, scratch + rank, scratch + count);
        double const value = scratch[rank];
        int const numLess = TqOcDHBKernels::CountLess(scratch, count, value);
        int const numNotMore = TqOcDHBKernels::CountNotMore(scratch, count, value);
        return {value, numBelow + numLess, numNotMore - numLess};
    }

    TqOcSHBBuffer<double> m_bands[2];
};
