// The dynamic builder's inner parts: the vector loops against the plain ones, selection against
// sorting, and the remembered order of a run against the sorts that it stands for.

#include "scenecull/internal/TqOcDHBKernels.h"

#include "scenecull/internal/TqOcDHBRecord.h"
#include "scenecull/internal/TqOcDHBSelector.h"

#include "scenes/SceneRandom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// A number that is often extreme: a zero, equal to others, huge, tiny or infinite.
double MakeNumber(SceneRandom& random)
{
    switch (random.Below(8)) {
    case 0:
        return 0.0;
    case 1:
        return static_cast<double>(random.Below(5)) - 2.0;
    case 2:
        return random.Chance(0.5) ? DBL_MAX : -DBL_MAX;
    case 3:
        return random.Range(-1.0, 1.0) * DBL_MIN;
    case 4:
        return random.Chance(0.5) ? kInfinity : -kInfinity;
    default:
        return random.Range(-10.0, 10.0);
    }
}

std::vector<TqOcDHBRecord> MakeRecords(SceneRandom& random, int count, double nanChance)
{
    std::vector<TqOcDHBRecord> records(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        TqOcDHBRecord& record = records[static_cast<std::size_t>(i)];
        for (double& bound : record.m_bounds) {
            bound = random.Chance(nanChance) ? kNan : MakeNumber(random);
        }
        record.m_node = nullptr;
        record.m_rank = i;
    }
    return records;
}

TqOcDHBKey MakeKey(int code)
{
    return TqOcDHBKey::FromCode(code);
}

/// The selection as a full sort gives it.
TqOcDHBSelection SelectBySorting(std::vector<double> numbers, int rank)
{
    std::sort(numbers.begin(), numbers.end());
    double const value = numbers[static_cast<std::size_t>(rank)];
    auto const equal = std::equal_range(numbers.begin(), numbers.end(), value);
    return {value, static_cast<int>(equal.first - numbers.begin()),
            static_cast<int>(equal.second - equal.first)};
}

/// Numbers in one of several arrangements, some of which mislead an evenly spaced sample.
std::vector<double> MakeNumbers(SceneRandom& random, int arrangement, int count)
{
    std::vector<double> numbers;
    for (int i = 0; i < count; ++i) {
        switch (arrangement) {
        case 0:
            numbers.push_back(random.Unit());
            break;
        case 1:
            numbers.push_back(i);
            break;
        case 2:
            numbers.push_back(-i);
            break;
        case 3:
            numbers.push_back(random.Below(4));
            break;
        case 4:
            numbers.push_back(7.0);
            break;
        case 5: // every 16th number lies far from the others
            numbers.push_back(i % 16 == 8 ? 1000.0 + i : random.Unit());
            break;
        case 6:
            numbers.push_back(i % 2 == 0 ? i : -i);
            break;
        default:
            numbers.push_back(MakeNumber(random));
        }
    }
    return numbers;
}

} // namespace

TEST(TqOcDHBKernels, MeasureTheSameBitsInBothForms)
{
    SceneRandom random(1);
    for (int round = 0; round < 2000; ++round) {
        auto const records =
            MakeRecords(random, static_cast<int>(random.Below(20)), round % 2 == 0 ? 0.0 : 0.2);
        auto const count = static_cast<int>(records.size());
        TqOcDHBBounds const plain = TqOcDHBScalarKernels::Measure(records.data(), count);
        TqOcDHBBounds const fast = TqOcDHBKernels::Measure(records.data(), count);
        ASSERT_EQ(0, std::memcmp(&plain, &fast, sizeof(plain))) << round;
    }
}

TEST(TqOcDHBKernels, CountTheSameInBothForms)
{
    SceneRandom random(2);
    for (int round = 0; round < 2000; ++round) {
        std::vector<double> const numbers =
            MakeNumbers(random, round % 8, static_cast<int>(random.Below(20)));
        auto const count = static_cast<int>(numbers.size());
        double const value = numbers.empty() || random.Chance(0.5)
                                 ? MakeNumber(random)
                                 : numbers[random.Below(static_cast<std::uint32_t>(count))];
        ASSERT_EQ(TqOcDHBScalarKernels::CountLess(numbers.data(), count, value),
                  TqOcDHBKernels::CountLess(numbers.data(), count, value));
        ASSERT_EQ(TqOcDHBScalarKernels::CountNotMore(numbers.data(), count, value),
                  TqOcDHBKernels::CountNotMore(numbers.data(), count, value));
    }
}

TEST(TqOcDHBKernels, FilterTheSameInBothForms)
{
    SceneRandom random(5);
    for (int round = 0; round < 2000; ++round) {
        std::vector<double> const numbers =
            MakeNumbers(random, round % 8, static_cast<int>(random.Below(40)));
        auto const count = static_cast<int>(numbers.size());
        double const bounds[2] = {MakeNumber(random), MakeNumber(random)};
        double const low = std::min(bounds[0], bounds[1]);
        double const high = std::max(bounds[0], bounds[1]);
        std::vector<double> plain(numbers.size());
        std::vector<double> fast(numbers.size());
        TqOcDHBFilter const expected =
            TqOcDHBScalarKernels::Filter(numbers.data(), count, low, high, plain.data());
        TqOcDHBFilter const found =
            TqOcDHBKernels::Filter(numbers.data(), count, low, high, fast.data());
        ASSERT_EQ(expected.m_numBelow, found.m_numBelow);
        ASSERT_EQ(expected.m_numInside, found.m_numInside);
        plain.resize(static_cast<std::size_t>(expected.m_numInside));
        fast.resize(plain.size());
        ASSERT_EQ(plain, fast);
    }
}

TEST(TqOcDHBKernels, ListTheSameInBothForms)
{
    SceneRandom random(6);
    for (int round = 0; round < 2000; ++round) {
        std::vector<double> numbers =
            MakeNumbers(random, round % 8, static_cast<int>(random.Below(40)));
        if (random.Chance(0.2) && !numbers.empty()) {
            numbers[random.Below(static_cast<std::uint32_t>(numbers.size()))] = kNan;
        }
        auto const end = static_cast<int>(numbers.size());
        auto const begin = static_cast<int>(random.Below(static_cast<std::uint32_t>(end + 1)));
        for (bool const isInside : {false, true}) {
            for (bool const areKept : {false, true}) {
                TqOcDHBLimit const limit{MakeNumber(random), isInside};
                std::vector<std::int32_t> plain(numbers.size());
                std::vector<std::int32_t> fast(numbers.size());
                int const expected = TqOcDHBScalarKernels::List(numbers.data(), begin, end, limit,
                                                                areKept, plain.data());
                int const found =
                    TqOcDHBKernels::List(numbers.data(), begin, end, limit, areKept, fast.data());
                ASSERT_EQ(expected, found);
                plain.resize(static_cast<std::size_t>(expected));
                fast.resize(plain.size());
                ASSERT_EQ(plain, fast);
            }
        }
    }
}

TEST(TqOcDHBSelector, SelectsWhatSortingFinds)
{
    SceneRandom random(3);
    TqOcDHBSelector selector;
    selector.Reserve(20000);
    for (int round = 0; round < 3000; ++round) {
        int const most = round % 50 == 0 ? 20000 : round % 3 == 0 ? 3000 : 150;
        int const count = 1 + static_cast<int>(random.Below(static_cast<std::uint32_t>(most)));
        std::vector<double> numbers = MakeNumbers(random, round % 8, count);
        std::vector<double> const before = numbers;
        auto const anyRank = static_cast<int>(random.Below(static_cast<std::uint32_t>(count)));
        for (int const rank : {anyRank, count / 2, 0, count - 1, std::min(15, count - 1),
                               std::min(16, count - 1), std::max(count - 17, 0)}) {
            TqOcDHBSelection const expected = SelectBySorting(numbers, rank);
            TqOcDHBSelection const found = selector.Select(numbers.data(), count, rank);
            ASSERT_EQ(expected.m_value, found.m_value) << round << " rank " << rank;
            ASSERT_EQ(expected.m_numLess, found.m_numLess) << round << " rank " << rank;
            ASSERT_EQ(expected.m_numEqual, found.m_numEqual) << round << " rank " << rank;
        }
        ASSERT_EQ(before, numbers);
    }
}

TEST(TqOcDHBOrder, IsTheOrderThatStableSortsLeave)
{
    SceneRandom random(4);
    for (int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        std::vector<TqOcDHBRecord> sorted = MakeRecords(random, 12, round % 2 == 0 ? 0.0 : 0.2);
        for (TqOcDHBRecord& record : sorted) { // few values, so that keys tie
            for (double& bound : record.m_bounds) {
                bound = bound == bound ? static_cast<double>(random.Below(2)) : bound;
            }
        }
        TqOcDHBOrder order;
        for (auto numSorts = static_cast<int>(random.Below(20)); numSorts > 0; --numSorts) {
            TqOcDHBKey const key = MakeKey(static_cast<int>(random.Below(6)));
            order.SortBy(key);
            std::stable_sort(sorted.begin(), sorted.end(),
                             [key](TqOcDHBRecord const& a, TqOcDHBRecord const& b) {
                                 double const keyA = key.Get(a);
                                 double const keyB = key.Get(b);
                                 bool const isNanA = keyA != keyA;
                                 return keyA < keyB || (!isNanA && keyB != keyB);
                             });
        }
        for (std::size_t i = 1; i < sorted.size(); ++i) {
            ASSERT_TRUE(order.IsBefore(sorted[i - 1], sorted[i]));
            ASSERT_FALSE(order.IsBefore(sorted[i], sorted[i - 1]));
        }
    }
}

TEST(TqOcDHBKey, IsTwiceTheCentreOrTheExtent)
{
    TqOcDHBRecord const record{{1, 2, 3, -11, -22, -33}, nullptr, 0};
    for (int axis = 0; axis < 3; ++axis) {
        double const low = 1.0 + axis;
        double const high = 11.0 * (1 + axis);
        EXPECT_EQ(low + high, TqOcDHBKey::Centre(axis).Get(record));
        EXPECT_EQ(high - low, TqOcDHBKey::Extent(axis).Get(record));
    }
}
