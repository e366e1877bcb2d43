#include "host/gl/OcclusionQueries.h"

#include <gtest/gtest.h>

#include <cstdint>

TEST(SamplesToPixelEdge, RoundsUpToTheSquareThatCoversTheSamples)
{
    EXPECT_EQ(host::SamplesToPixelEdge(0, 1), 0U);
    EXPECT_EQ(host::SamplesToPixelEdge(1, 1), 1U);
    EXPECT_EQ(host::SamplesToPixelEdge(2, 1), 2U);
    EXPECT_EQ(host::SamplesToPixelEdge(4, 1), 2U);
    EXPECT_EQ(host::SamplesToPixelEdge(5, 1), 3U);
    EXPECT_EQ(host::SamplesToPixelEdge(10000, 1), 100U);
    EXPECT_EQ(host::SamplesToPixelEdge(10001, 1), 101U);
}

TEST(SamplesToPixelEdge, IsTheSmallestEdgeForEverySmallCount)
{
    for (std::uint32_t samples = 0; samples <= 70000; ++samples) {
        std::uint64_t const edge = host::SamplesToPixelEdge(samples, 1);
        ASSERT_GE(edge * edge, samples);
        if (edge > 0) {
            ASSERT_LT((edge - 1) * (edge - 1), samples);
        }
    }
}

TEST(SamplesToPixelEdge, CountsPixelsWhereAPixelHasSeveralSamples)
{
    EXPECT_EQ(host::SamplesToPixelEdge(1, 4), 1U);
    EXPECT_EQ(host::SamplesToPixelEdge(4, 4), 1U);
    EXPECT_EQ(host::SamplesToPixelEdge(5, 4), 2U);
    EXPECT_EQ(host::SamplesToPixelEdge(400, 4), 10U);
    EXPECT_EQ(host::SamplesToPixelEdge(9, 0), 3U);
}

TEST(SamplesToPixelEdge, NeverWrapsWhenItIsSquaredInThirtyTwoBits)
{
    unsigned const edge = host::SamplesToPixelEdge(0xFFFFFFFFU, 1);
    EXPECT_EQ(edge, 65535U);
    EXPECT_GT(edge * edge, 4000000000U);
    unsigned const limit = host::SamplesToPixelEdge(65536U * 65535U, 1);
    EXPECT_GT(limit * limit, 4000000000U);
}

TEST(SamplesToPixelEdge, IsNotOneForManySamples)
{
    // With a cull area of one pixel an answer of 1 counts as occluded.
    EXPECT_GT(host::SamplesToPixelEdge(2, 1), 1U);
    EXPECT_GT(host::SamplesToPixelEdge(65536, 1), 1U);
}
