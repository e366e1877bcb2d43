#include "host/model/Random.h"

#include <gtest/gtest.h>

using namespace host;

TEST(Random, GivesTheNumbersThatItsSeedStandsFor)
{
    // The published sequence of SplitMix64 for seed 1234567.
    Random random(1234567);
    EXPECT_EQ(random.Next(), 6457827717110365317ull);
    EXPECT_EQ(random.Next(), 3203168211198807973ull);
    EXPECT_EQ(random.Next(), 9817491932198370423ull);
}

TEST(Random, StaysWithinItsBounds)
{
    Random random(1);
    bool seen[5] = {};
    for (int i = 0; i < 1000; ++i) {
        uint32_t const whole = random.Below(5);
        ASSERT_LT(whole, 5u);
        seen[whole] = true;
        double const number = random.Between(-2.0, 3.0);
        ASSERT_GE(number, -2.0);
        ASSERT_LT(number, 3.0);
    }
    for (bool const each : seen) {
        EXPECT_TRUE(each);
    }
    EXPECT_EQ(random.Below(0), 0u);
    EXPECT_EQ(random.Between(4.0, 4.0), 4.0);
}

TEST(Random, ShufflesWithoutLosingAnything)
{
    Random random(9);
    std::vector<int> items = {0, 1, 2, 3, 4, 5, 6, 7};
    random.Shuffle(items);
    uint32_t seen = 0;
    for (int const item : items) {
        seen |= 1u << item;
    }
    EXPECT_EQ(seen, 0xFFu);
    std::vector<int> none;
    random.Shuffle(none);
    EXPECT_TRUE(none.empty());
}
