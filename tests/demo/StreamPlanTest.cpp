#include "demo/StreamPlan.h"

#include <gtest/gtest.h>

#include <vector>

TEST(StreamPlan, AddsEveryShapeOnceWithinTwoThirdsOfTheFlight)
{
    for (std::size_t const shapes : {0U, 1U, 7U, 103001U}) {
        for (std::size_t const frames : {1U, 2U, 3U, 72U, 100U}) {
            demo::StreamPlan const plan(shapes, frames);
            std::size_t added = 0;
            for (std::size_t frame = 0; frame < frames; ++frame) {
                demo::ShapeRange const range = plan.GetAdded(frame);
                ASSERT_EQ(range.m_first, added) << shapes << " shapes, frame " << frame;
                ASSERT_GE(range.m_last, range.m_first);
                added = range.m_last;
                if (3 * frame >= 2 * frames) {
                    EXPECT_EQ(range.GetCount(), 0U) << frames << " frames, frame " << frame;
                }
            }
            EXPECT_EQ(added, shapes) << frames << " frames";
        }
    }
}

TEST(StreamPlan, AddsNearlyTheSameNumberWithEveryFrame)
{
    demo::StreamPlan const plan(103001, 72);
    for (std::size_t frame = 0; frame < 48; ++frame) {
        EXPECT_NEAR(static_cast<double>(plan.GetAdded(frame).GetCount()), 103001.0 / 48, 1.0);
    }
}

TEST(StreamPlan, RemovesATenthFromTheEndOnceTheModelIsComplete)
{
    demo::StreamPlan const plan(1000, 72);
    std::size_t left = 1000;
    for (std::size_t frame = 0; frame < 72; ++frame) {
        demo::ShapeRange const range = plan.GetRemoved(frame);
        ASSERT_EQ(range.m_last, left);
        left = range.m_first;
        if (plan.GetAdded(frame).GetCount() > 0) {
            EXPECT_EQ(range.GetCount(), 0U) << "frame " << frame;
        }
    }
    EXPECT_EQ(left, 900U);
}
