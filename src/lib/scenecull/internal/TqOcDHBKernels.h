#pragma once

// The loops in which a dynamic build spends most of its time: forming the box of a range of
// records, and counting numbers against one of them. The scalar form is the rule; the SSE2 form
// gives the same bits. Every x86-64 processor has SSE2, so the choice is made when compiling.
// Internal.

#include "scenecull/internal/TqOcDHBRecord.h"

#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#define TQOC_DHB_SSE2 1
#include <emmintrin.h>
#else
#define TQOC_DHB_SSE2 0
#endif

/// Numbers that lie in a band, and how many lie below.
struct TqOcDHBFilter
{
    int m_numBelow;
    int m_numInside;
};

/// A limit that numbers keep to by being less, or not more.
struct TqOcDHBLimit
{
    double m_value;
    bool m_isInside; ///< the value itself keeps to it

    bool IsKept(double number) const { return m_isInside ? number <= m_value : number < m_value; }
};

/// The loops in plain form.
struct TqOcDHBScalarKernels
{
    /// The box around `count` records; bounds that are NaN change nothing.
    static TqOcDHBBounds Measure(TqOcDHBRecord const* records, int count)
    {
        TqOcDHBBounds sum;
        for (TqOcDHBRecord const* record = records; record != records + count; ++record) {
            for (int i = 0; i < 6; ++i) {
                double const bound = record->m_bounds[i];
                sum.m_bounds[i] = bound < sum.m_bounds[i] ? bound : sum.m_bounds[i];
            }
        }
        return sum;
    }

    /// How many of `count` numbers are less than `value`.
    static int CountLess(double const* numbers, int count, double value)
    {
        int numLess = 0;
        for (int i = 0; i < count; ++i) {
            numLess += numbers[i] < value ? 1 : 0;
        }
        return numLess;
    }

    /// How many of `count` numbers are less than or equal to `value`.
    static int CountNotMore(double const* numbers, int count, double value)
    {
        int numNotMore = 0;
        for (int i = 0; i < count; ++i) {
            numNotMore += numbers[i] <= value ? 1 : 0;
        }
        return numNotMore;
    }

    /// Copies those of `count` numbers that are neither less than `low` nor more than `high`, and
    /// counts those that are less. `inside` has room for all.
    static TqOcDHBFilter Filter(double const* numbers, int count, double low, double high,
                                double* inside)
    {
        TqOcDHBFilter filter{0, 0};
        for (int i = 0; i < count; ++i) {
            double const number = numbers[i];
            inside[filter.m_numInside] = number;
            filter.m_numBelow += number < low ? 1 : 0;
            filter.m_numInside += number < low || number > high ? 0 : 1;
        }
        return filter;
    }

    /// Lists the indices from `begin` to `end` whose number keeps to the limit, or else does not.
    /// `indices` has room for all.
    /// @return how many there are
    static int List(double const* numbers, int begin, int end, TqOcDHBLimit limit, bool areKept,
                    std::int32_t* indices)
    {
        int numListed = 0;
        for (int i = begin; i < end; ++i) {
            indices[numListed] = i;
            numListed += limit.IsKept(numbers[i]) == areKept ? 1 : 0;
        }
        return numListed;
    }
};

#if TQOC_DHB_SSE2

/// The loops two numbers at a time.
struct TqOcDHBSse2Kernels
{
    /// @copydoc TqOcDHBScalarKernels::Measure
    static TqOcDHBBounds Measure(TqOcDHBRecord const* records, int count)
    {
        TqOcDHBBounds sum;
        __m128d bounds01 = _mm_loadu_pd(sum.m_bounds);
        __m128d bounds23 = bounds01;
        __m128d bounds45 = bounds01;
        for (TqOcDHBRecord const* record = records; record != records + count; ++record) {
            // The minimum's second operand wins a tie or a NaN, like the comparison above.
            bounds01 = _mm_min_pd(_mm_loadu_pd(record->m_bounds), bounds01);
            bounds23 = _mm_min_pd(_mm_loadu_pd(record->m_bounds + 2), bounds23);
            bounds45 = _mm_min_pd(_mm_loadu_pd(record->m_bounds + 4), bounds45);
        }
        _mm_storeu_pd(sum.m_bounds, bounds01);
        _mm_storeu_pd(sum.m_bounds + 2, bounds23);
        _mm_storeu_pd(sum.m_bounds + 4, bounds45);
        return sum;
    }

    /// @copydoc TqOcDHBScalarKernels::CountLess
    static int CountLess(double const* numbers, int count, double value)
    {
        return Count(numbers, count, value,
                     [](__m128d pair, __m128d values) { return _mm_cmplt_pd(pair, values); }) +
               (count % 2 != 0 && numbers[count - 1] < value ? 1 : 0);
    }

    /// @copydoc TqOcDHBScalarKernels::CountNotMore
    static int CountNotMore(double const* numbers, int count, double value)
    {
        return Count(numbers, count, value,
                     [](__m128d pair, __m128d values) { return _mm_cmple_pd(pair, values); }) +
               (count % 2 != 0 && numbers[count - 1] <= value ? 1 : 0);
    }

    /// @copydoc TqOcDHBScalarKernels::Filter
    static TqOcDHBFilter Filter(double const* numbers, int count, double low, double high,
                                double* inside)
    {
        __m128d const lows = _mm_set1_pd(low);
        __m128d const highs = _mm_set1_pd(high);
        __m128i sumBelow = _mm_setzero_si128();
        double* end = inside;
        for (int i = 0; i + 1 < count; i += 2) {
            __m128d const pair = _mm_loadu_pd(numbers + i);
            __m128d const isBelow = _mm_cmplt_pd(pair, lows);
            int const outside = _mm_movemask_pd(_mm_or_pd(isBelow, _mm_cmpgt_pd(pair, highs)));
            sumBelow = _mm_sub_epi64(sumBelow, _mm_castpd_si128(isBelow));
            _mm_storel_pd(end, pair);
            end += 1 - (outside & 1);
            _mm_storeh_pd(end, pair);
            end += 1 - (outside >> 1);
        }
        TqOcDHBFilter filter{Sum(sumBelow), 0};
        if (count % 2 != 0) {
            double const number = numbers[count - 1];
            *end = number;
            filter.m_numBelow += number < low ? 1 : 0;
            end += number < low || number > high ? 0 : 1;
        }
        filter.m_numInside = static_cast<int>(end - inside);
        return filter;
    }

    /// @copydoc TqOcDHBScalarKernels::List
    static int List(double const* numbers, int begin, int end, TqOcDHBLimit limit, bool areKept,
                    std::int32_t* indices)
    {
        __m128d const values = _mm_set1_pd(limit.m_value);
        int const flip = areKept ? 0 : 3;
        std::int32_t* next = indices;
        int i = begin;
        for (; i + 1 < end; i += 2) {
            __m128d const pair = _mm_loadu_pd(numbers + i);
            int const kept = _mm_movemask_pd(limit.m_isInside ? _mm_cmple_pd(pair, values)
                                                              : _mm_cmplt_pd(pair, values)) ^
                             flip;
            *next = i;
            next += kept & 1;
            *next = i + 1;
            next += kept >> 1;
        }
        if (i < end) {
            *next = i;
            next += limit.IsKept(numbers[i]) == areKept ? 1 : 0;
        }
        return static_cast<int>(next - indices);
    }

private:
    static int Sum(__m128i sums)
    {
        return _mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums)));
    }

    /// Counts in pairs; an odd number at the end is left out.
    template <class Compare>
    static int Count(double const* numbers, int count, double value, Compare const& compare)
    {
        __m128d const values = _mm_set1_pd(value);
        __m128i sum = _mm_setzero_si128();
        for (int i = 0; i + 1 < count; i += 2) {
            // A comparison that holds is minus one, as an integer.
            __m128d const holds = compare(_mm_loadu_pd(numbers + i), values);
            sum = _mm_sub_epi64(sum, _mm_castpd_si128(holds));
        }
        return Sum(sum);
    }
};

using TqOcDHBKernels = TqOcDHBSse2Kernels;

#else

using TqOcDHBKernels = TqOcDHBScalarKernels;

#endif
