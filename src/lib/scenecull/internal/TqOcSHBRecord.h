#pragma once

// What the static hierarchy builder works on while it divides: one record a shape, moved about in
// one contiguous array, and the summary of a range of records. Internal; copied from the appended
// items when a build ends and freed with the build.

#include <cfloat>
#include <cstdint>

class TqOcShape;

/// One shape of a build, on one cache line.
///
/// The box stands as six bounds, the upper corner negated: one operation (the minimum) then extends
/// all six. Negating loses nothing, and `low - negatedHigh` is exactly `low + high`.
struct alignas(64) TqOcSHBRecord
{
    double m_bounds[6]; ///< min x, min y, min z, -max x, -max y, -max z
    TqOcShape* m_shape;
    std::uint32_t m_tris;
};

static_assert(sizeof(TqOcSHBRecord) == 64, "a record fills one cache line");

/// Summary of a range of records.
struct TqOcSHBMeasure
{
    double m_bounds[6] = {DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX}; ///< as a record's
    double m_centreSum[3] = {0.0, 0.0, 0.0}; ///< sum of (min + max) / 2 in range order
    std::uint32_t m_tris = 0;                ///< sum modulo 2^32
};

/// Where one split attempt divides a range: an axis (0 = x, 1 = y, 2 = z), a position on it, and
/// the band around that position beyond which a straddling box counts as overflow.
struct TqOcSHBPartition
{
    int m_axis;
    double m_split;
    double m_bandLow;
    double m_bandHigh;
};

/// The set that a partition puts a box in.
enum class TqOcSHBSet
{
    eLEFT,
    eRIGHT,
    eOVERFLOW
};

/// The set of the box whose bounds on the partition's axis are `low` and `high`.
inline TqOcSHBSet TqOcSHBClassify(TqOcSHBPartition const& partition, double low, double high)
{
    double const split = partition.m_split;
    if (high <= split) {
        return TqOcSHBSet::eLEFT;
    }
    if (low >= split) {
        return TqOcSHBSet::eRIGHT;
    }
    bool const leansLeft = split - low > high - split; // an exact tie leans right
    if (leansLeft) {
        return high <= partition.m_bandHigh ? TqOcSHBSet::eLEFT : TqOcSHBSet::eOVERFLOW;
    }
    return low >= partition.m_bandLow ? TqOcSHBSet::eRIGHT : TqOcSHBSet::eOVERFLOW;
}

/// Whether a box reaches beyond both ends of the partition's band.
inline bool TqOcSHBSpansBand(TqOcSHBPartition const& partition, double low, double high)
{
    return low < partition.m_bandLow && high > partition.m_bandHigh;
}
