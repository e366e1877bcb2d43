#pragma once

// The loops in which a dynamic build spends most of its time: forming the box of a range of
// records, and counting numbers against one of them. The scalar form is the rule; the SSE2 form
// gives the same bits. Every x86-64 processor has SSE2, so the choice is made when compiling.
// Internal.

#include "scenecull/internal/TqOcDHBRecord.h"

#if defined(__SSE2__) || defined(_M_X64)
#define TQOC_DHB_SSE2 1
#include <emmintrin.h>
#else
#define TQOC_DHB_SSE2 0
#endif

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

private:
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
        sum = _mm_add_epi64(sum, _mm_unpackhi_epi64(sum, sum));
        return _mm_cvtsi128_si32(sum);
    }
};

using TqOcDHBKernels = TqOcDHBSse2Kernels;

#else

using TqOcDHBKernels = TqOcDHBScalarKernels;

#endif
