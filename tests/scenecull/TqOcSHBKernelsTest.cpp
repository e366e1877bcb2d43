// The static builder's inner loops: the vector form against the plain one, bit for bit, and the
// plain one against the rule for a single record.

#include "scenecull/internal/TqOcSHBKernels.h"

#include "scenes/SceneRandom.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// A finite number that is often extreme: zero of either sign, equal to others, huge or tiny.
double MakeNumber(SceneRandom& random)
{
    switch (random.Below(8)) {
    case 0:
        return 0.0;
    case 1:
        return -0.0;
    case 2:
        return static_cast<double>(random.Below(5)) - 2.0;
    case 3:
        return random.Chance(0.5) ? DBL_MAX : -DBL_MAX;
    case 4:
        return random.Range(-1.0, 1.0) * DBL_MIN;
    case 5:
        return random.Range(-1.0, 1.0) * 1e300;
    default:
        return random.Range(-10.0, 10.0);
    }
}

std::vector<TqOcSHBRecord> MakeRecords(SceneRandom& random, int count)
{
    std::vector<TqOcSHBRecord> records(static_cast<std::size_t>(count));
    for (TqOcSHBRecord& record : records) {
        for (double& bound : record.m_bounds) {
            bound = MakeNumber(random);
        }
        record.m_shape = nullptr;
        record.m_tris = static_cast<std::uint32_t>(random.Next());
    }
    return records;
}

double MakeLimit(SceneRandom& random)
{
    switch (random.Below(12)) {
    case 0:
        return kInfinity;
    case 1:
        return -kInfinity;
    case 2:
        return kNan;
    default:
        return MakeNumber(random);
    }
}

struct Classification
{
    explicit Classification(int count)
        : order(static_cast<std::size_t>(count) + 1, -1)
        , overflow(static_cast<std::size_t>(count / 4 + 1), -1)
        , lists{order.data(), overflow.data(), -1, -1}
    {}

    std::vector<std::int32_t> order;
    std::vector<std::int32_t> overflow;
    TqOcSHBLists lists;
};

TqOcSHBSet SetOf(TqOcSHBRecord const& record, TqOcSHBPartition const& partition)
{
    return TqOcSHBClassify(partition, record.m_bounds[partition.m_axis],
                           -record.m_bounds[3 + partition.m_axis]);
}

} // namespace

TEST(TqOcSHBKernels, MeasureTheSameBitsInBothForms)
{
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SceneRandom random(seed);
        int const count = static_cast<int>(random.Below(40));
        std::vector<TqOcSHBRecord> const records = MakeRecords(random, count);
        TqOcSHBMeasure scalar;
        TqOcSHBMeasure chosen;
        TqOcSHBScalarKernels::Add(records.data(), count, scalar);
        TqOcSHBKernels::Add(records.data(), count, chosen);
        ASSERT_EQ(0, std::memcmp(scalar.m_bounds, chosen.m_bounds, sizeof(scalar.m_bounds)));
        ASSERT_EQ(0,
                  std::memcmp(scalar.m_centreSum, chosen.m_centreSum, sizeof(scalar.m_centreSum)));
        ASSERT_EQ(scalar.m_tris, chosen.m_tris);
    }
}

TEST(TqOcSHBKernels, MeasureSumsCentresInTheOrderOfTheRecords)
{
    // 1e16 swallows the ones that come after it, but not those that come before.
    TqOcSHBRecord one{};
    one.m_bounds[0] = 1.0;
    one.m_bounds[3] = -1.0;
    TqOcSHBRecord large{};
    large.m_bounds[0] = 1e16;
    large.m_bounds[3] = -1e16;
    TqOcSHBRecord const ascending[3] = {one, one, large};
    TqOcSHBRecord const descending[3] = {large, one, one};
    TqOcSHBMeasure first;
    TqOcSHBMeasure second;
    TqOcSHBKernels::Add(ascending, 3, first);
    TqOcSHBKernels::Add(descending, 3, second);
    EXPECT_EQ(1e16 + 2.0, first.m_centreSum[0]);
    EXPECT_EQ(1e16, second.m_centreSum[0]);
}

TEST(TqOcSHBKernels, MeasureAddsTrianglesModulo32Bits)
{
    TqOcSHBRecord record{};
    record.m_tris = 0x80000001U;
    TqOcSHBRecord const records[2] = {record, record};
    TqOcSHBMeasure measure;
    TqOcSHBKernels::Add(records, 2, measure);
    EXPECT_EQ(2U, measure.m_tris);
}

TEST(TqOcSHBKernels, ClassifyGivesTheSameListsInBothForms)
{
    int numAccepted = 0;
    int numWithOverflow = 0;
    for (std::uint64_t seed = 0; seed < 4000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SceneRandom random(seed);
        int const count = static_cast<int>(random.Below(50));
        std::vector<TqOcSHBRecord> const records = MakeRecords(random, count);
        TqOcSHBPartition partition{};
        partition.m_axis = static_cast<int>(random.Below(3));
        partition.m_split = MakeLimit(random);
        if (random.Chance(0.7)) { // a wide band, so that few overflow
            partition.m_bandLow = partition.m_split - 1e301;
            partition.m_bandHigh = partition.m_split + 1e301;
        } else {
            partition.m_bandLow = MakeLimit(random);
            partition.m_bandHigh = MakeLimit(random);
        }
        Classification scalar(count);
        Classification chosen(count);
        bool const accepted =
            TqOcSHBScalarKernels::Classify(records.data(), count, partition, scalar.lists);
        ASSERT_EQ(accepted,
                  TqOcSHBKernels::Classify(records.data(), count, partition, chosen.lists));
        if (!accepted) {
            continue;
        }
        ++numAccepted;
        numWithOverflow += scalar.lists.m_numOverflow != 0 ? 1 : 0;
        ASSERT_EQ(scalar.lists.m_numLeft, chosen.lists.m_numLeft);
        ASSERT_EQ(scalar.lists.m_numOverflow, chosen.lists.m_numOverflow);
        ASSERT_EQ(scalar.order, chosen.order);
        for (int i = 0; i < scalar.lists.m_numOverflow; ++i) {
            ASSERT_EQ(scalar.lists.m_overflow[i], chosen.lists.m_overflow[i]);
        }
    }
    EXPECT_GT(numAccepted, 1000);
    EXPECT_GT(numWithOverflow, 100);
}

TEST(TqOcSHBKernels, ClassifyListsLeftFromTheFrontAndOthersFromTheBack)
{
    SceneRandom random(7);
    int const count = 41;
    std::vector<TqOcSHBRecord> const records = MakeRecords(random, count);
    TqOcSHBPartition const partition{1, 0.5, -1e301, 1e301};
    Classification result(count);
    // A few records are always too large to be placed; a band this wide leaves them within a
    // quarter.
    ASSERT_TRUE(TqOcSHBKernels::Classify(records.data(), count, partition, result.lists));
    std::vector<std::int32_t> expected;
    std::vector<std::int32_t> others;
    std::vector<std::int32_t> overflow;
    for (int i = 0; i < count; ++i) {
        TqOcSHBSet const set = SetOf(records[static_cast<std::size_t>(i)], partition);
        (set == TqOcSHBSet::eLEFT ? expected : others).push_back(i);
        if (set == TqOcSHBSet::eOVERFLOW) {
            overflow.push_back(i);
        }
    }
    ASSERT_EQ(static_cast<int>(expected.size()), result.lists.m_numLeft);
    expected.insert(expected.end(), others.rbegin(), others.rend());
    result.order.resize(static_cast<std::size_t>(count)); // without the guard entry
    EXPECT_EQ(expected, result.order);
    ASSERT_EQ(static_cast<int>(overflow.size()), result.lists.m_numOverflow);
    overflow.resize(result.overflow.size(), -1);
    EXPECT_EQ(overflow, result.overflow);
}

TEST(TqOcSHBKernels, ClassifyRefusesMoreThanAQuarterOfOverflow)
{
    // Overflow reaches from -4 to 4, beyond a band from -1 to 1; the others are points.
    for (int numOverflow = 0; numOverflow <= 4; ++numOverflow) {
        for (int numOthers = 1; numOthers <= 12; ++numOthers) {
            int const count = numOverflow + numOthers;
            std::vector<TqOcSHBRecord> records(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) {
                double const reach = i < numOverflow ? 4.0 : 0.0;
                records[static_cast<std::size_t>(i)] =
                    TqOcSHBRecord{{-reach, 0, 0, -reach, 0, 0}, nullptr, 1};
            }
            TqOcSHBPartition const partition{0, 0.0, -1.0, 1.0};
            Classification scalar(count);
            Classification chosen(count);
            bool const expected = 4 * numOverflow <= count;
            EXPECT_EQ(expected, TqOcSHBScalarKernels::Classify(records.data(), count, partition,
                                                               scalar.lists));
            EXPECT_EQ(expected,
                      TqOcSHBKernels::Classify(records.data(), count, partition, chosen.lists));
        }
    }
}
