#pragma once

// The two loops in which a static build spends its time, over contiguous records: classifying a
// range against a split plane, and summing up a range. The scalar form is the rule; the SSE2 form
// gives the same bits and the same lists. Every x86-64 processor has SSE2, so the choice is made
// when compiling. Neither form contracts, reorders a sum or divides.
//
// Classification writes two index lists into one array of as many entries as records: those that go
// left ascending from the front, all others ascending from the back towards the middle. Both
// entries are written for every record and only one pointer moves on, which costs less than a
// branch that goes either way half of the time.

#include "scenecull/internal/TqOcSHBRecord.h"

#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#define TQOC_SHB_SSE2 1
#include <emmintrin.h>
#else
#define TQOC_SHB_SSE2 0
#endif

/// Result of classifying n records. The k-th record that does not go left stands at
/// m_order[n - 1 - k].
struct TqOcSHBLists
{
    std::int32_t* m_order;    ///< room for n entries; the first m_numLeft are those that go left
    std::int32_t* m_overflow; ///< room for n / 4 + 1 entries: those that overflow, ascending
    int m_numLeft;
    int m_numOverflow;
};

/// The loops in plain form.
struct TqOcSHBScalarKernels
{
    /// Classifies `count` records.
    /// @return false as soon as more than a quarter of the records overflow; the lists are then
    /// unusable.
    static bool Classify(TqOcSHBRecord const* records, int count, TqOcSHBPartition const& partition,
                         TqOcSHBLists& lists)
    {
        lists.m_numLeft = 0;
        lists.m_numOverflow = 0;
        return ClassifyFrom(0, records, count, partition, lists);
    }

    /// Adds `count` records, in their order, to `measure`.
    static void Add(TqOcSHBRecord const* records, int count, TqOcSHBMeasure& measure)
    {
        for (TqOcSHBRecord const* record = records; record != records + count; ++record) {
            for (int i = 0; i < 6; ++i) {
                double const bound = record->m_bounds[i];
                measure.m_bounds[i] = bound < measure.m_bounds[i] ? bound : measure.m_bounds[i];
            }
            for (int axis = 0; axis < 3; ++axis) {
                measure.m_centreSum[axis] +=
                    (record->m_bounds[axis] - record->m_bounds[3 + axis]) * 0.5;
            }
            measure.m_tris += record->m_tris;
        }
    }

    /// Classify for the records from `from` on, the lists being right for those before it.
    static bool ClassifyFrom(int from, TqOcSHBRecord const* records, int count,
                             TqOcSHBPartition const& partition, TqOcSHBLists& lists)
    {
        int const maxOverflow = count / 4;
        for (int i = from; i < count; ++i) {
            double const low = records[i].m_bounds[partition.m_axis];
            double const high = -records[i].m_bounds[3 + partition.m_axis];
            TqOcSHBSet const set = TqOcSHBClassify(partition, low, high);
            if (set == TqOcSHBSet::eLEFT) {
                lists.m_order[lists.m_numLeft++] = i;
                continue;
            }
            lists.m_order[count - 1 - (i - lists.m_numLeft)] = i;
            if (set == TqOcSHBSet::eOVERFLOW) {
                if (lists.m_numOverflow == maxOverflow) {
                    return false;
                }
                lists.m_overflow[lists.m_numOverflow++] = i;
            }
        }
        return true;
    }
};

#if TQOC_SHB_SSE2

/// The loops two records at a time, or two numbers of one record at a time.
struct TqOcSHBSse2Kernels
{
    /// @copydoc TqOcSHBScalarKernels::Classify
    static bool Classify(TqOcSHBRecord const* records, int count, TqOcSHBPartition const& partition,
                         TqOcSHBLists& lists)
    {
        __m128d const split = _mm_set1_pd(partition.m_split);
        __m128d const bandLow = _mm_set1_pd(partition.m_bandLow);
        __m128d const bandHigh = _mm_set1_pd(partition.m_bandHigh);
        __m128d const sign = _mm_set1_pd(-0.0);
        int const axis = partition.m_axis;
        int const maxOverflow = count / 4;
        int const evenCount = count & ~1;
        std::int32_t* left = lists.m_order;
        std::int32_t* other = lists.m_order + count - 1;
        int numOverflow = 0;
        for (int i = 0; i < evenCount; i += 2) {
            double const* const a = records[i].m_bounds + axis;
            double const* const b = records[i + 1].m_bounds + axis;
            __m128d const low = _mm_loadh_pd(_mm_load_sd(a), b);
            __m128d const high = _mm_xor_pd(_mm_loadh_pd(_mm_load_sd(a + 3), b + 3), sign);
            __m128d const leansLeft = _mm_cmpgt_pd(_mm_sub_pd(split, low), _mm_sub_pd(high, split));
            // A box that does not straddle and leans left has `high <= split` (so it goes left by
            // the first rule already); the rules can therefore be joined without their "otherwise".
            __m128d const goesLeft = _mm_or_pd(_mm_cmple_pd(high, split),
                                               _mm_and_pd(leansLeft, _mm_cmple_pd(high, bandHigh)));
            __m128d const goesRight = _mm_or_pd(
                _mm_cmpge_pd(low, split), _mm_andnot_pd(leansLeft, _mm_cmpge_pd(low, bandLow)));
            int const leftMask = _mm_movemask_pd(goesLeft);
            int const overflowMask = _mm_movemask_pd(_mm_or_pd(goesLeft, goesRight)) ^ 3;

            int const firstLeft = leftMask & 1;
            *left = i;
            *other = i;
            left += firstLeft;
            other -= firstLeft ^ 1;
            int const secondLeft = leftMask >> 1;
            *left = i + 1;
            *other = i + 1;
            left += secondLeft;
            other -= secondLeft ^ 1;

            if (overflowMask != 0) {
                int const added = 1 + (overflowMask == 3 ? 1 : 0);
                if (numOverflow + added > maxOverflow) {
                    return false;
                }
                lists.m_overflow[numOverflow] = overflowMask == 2 ? i + 1 : i;
                lists.m_overflow[numOverflow + added - 1] = overflowMask == 1 ? i : i + 1;
                numOverflow += added;
            }
        }
        lists.m_numLeft = static_cast<int>(left - lists.m_order);
        lists.m_numOverflow = numOverflow;
        return TqOcSHBScalarKernels::ClassifyFrom(evenCount, records, count, partition, lists);
    }

    /// @copydoc TqOcSHBScalarKernels::Add
    static void Add(TqOcSHBRecord const* records, int count, TqOcSHBMeasure& measure)
    {
        Sum sum(measure);
        std::uint32_t tris = measure.m_tris;
        for (TqOcSHBRecord const* record = records; record != records + count; ++record) {
            sum.Add(*record);
            tris += record->m_tris;
        }
        sum.Store(measure);
        measure.m_tris = tris;
    }

private:
    /// A measure in registers.
    class Sum
    {
    public:
        explicit Sum(TqOcSHBMeasure const& measure)
            : m_bounds01(_mm_loadu_pd(measure.m_bounds))
            , m_bounds23(_mm_loadu_pd(measure.m_bounds + 2))
            , m_bounds45(_mm_loadu_pd(measure.m_bounds + 4))
            , m_centreXY(_mm_loadu_pd(measure.m_centreSum))
            , m_centreZ(_mm_load_sd(measure.m_centreSum + 2))
        {}

        void Add(TqOcSHBRecord const& record)
        {
            __m128d const lowXY = _mm_load_pd(record.m_bounds);
            __m128d const lowZHighX = _mm_load_pd(record.m_bounds + 2);
            __m128d const highYZ = _mm_load_pd(record.m_bounds + 4);
            // The minimum's second operand wins a tie, like the comparison of the scalar form.
            m_bounds01 = _mm_min_pd(lowXY, m_bounds01);
            m_bounds23 = _mm_min_pd(lowZHighX, m_bounds23);
            m_bounds45 = _mm_min_pd(highYZ, m_bounds45);
            __m128d const half = _mm_set1_pd(0.5);
            __m128d const highXY = _mm_shuffle_pd(lowZHighX, highYZ, 1);
            __m128d const highZ = _mm_unpackhi_pd(highYZ, highYZ);
            m_centreXY = _mm_add_pd(m_centreXY, _mm_mul_pd(_mm_sub_pd(lowXY, highXY), half));
            m_centreZ = _mm_add_sd(m_centreZ, _mm_mul_sd(_mm_sub_sd(lowZHighX, highZ), half));
        }

        void Store(TqOcSHBMeasure& measure) const
        {
            _mm_storeu_pd(measure.m_bounds, m_bounds01);
            _mm_storeu_pd(measure.m_bounds + 2, m_bounds23);
            _mm_storeu_pd(measure.m_bounds + 4, m_bounds45);
            _mm_storeu_pd(measure.m_centreSum, m_centreXY);
            _mm_store_sd(measure.m_centreSum + 2, m_centreZ);
        }

    private:
        __m128d m_bounds01;
        __m128d m_bounds23;
        __m128d m_bounds45;
        __m128d m_centreXY;
        __m128d m_centreZ;
    };
};

using TqOcSHBKernels = TqOcSHBSse2Kernels;

#else

using TqOcSHBKernels = TqOcSHBScalarKernels;

#endif
