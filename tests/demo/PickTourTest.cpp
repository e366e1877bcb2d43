#include "demo/PickTour.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace
{

demo::PickView MakeView()
{
    demo::PickView view;
    view.m_pixels.resize(1000);
    for (demo::PixelPick& pixel : view.m_pixels) {
        pixel.m_picked.m_isHit = true;
        pixel.m_seen.m_isHit = true;
        pixel.m_verdict = demo::PixelVerdict::eSAME;
    }
    view.m_bands.resize(3);
    return view;
}

demo::BodyWalk MakeWalk(bool isAcross)
{
    demo::BodyWalk walk;
    walk.m_name = "sphere";
    walk.m_isAcross = isAcross;
    walk.m_stops.resize(4);
    walk.m_result.m_stops = 3;
    walk.m_result.m_steps.resize(10);
    walk.m_result.m_distance = 5.0;
    walk.m_result.m_contacts = isAcross ? 2 : 0;
    return walk;
}

/// A tour on which every check holds; each test spoils one thing.
class PickTourTest : public testing::Test
{
protected:
    PickTourTest()
    {
        m_tour.m_views = {MakeView(), MakeView()};
        m_tour.m_walks = {MakeWalk(false), MakeWalk(true), MakeWalk(false), MakeWalk(true)};
    }

    void SetVerdicts(std::size_t count, demo::PixelVerdict verdict)
    {
        for (std::size_t i = 0; i < count; ++i) {
            m_tour.m_views[1].m_pixels[i].m_verdict = verdict;
        }
    }

    bool HasFault(std::string const& words) const
    {
        return m_tour.FindFault().find(words) != std::string::npos;
    }

    demo::PickTour m_tour;
};

} // namespace

TEST_F(PickTourTest, IsRightWhenEveryCheckHolds)
{
    EXPECT_EQ(m_tour.FindFault(), "");
    EXPECT_EQ(m_tour.GetNumPixels(), 2000U);
    EXPECT_EQ(m_tour.GetNumBands(), 6U);
}

TEST_F(PickTourTest, BearsFewExplainedDifferencesAndNoUnexplainedOne)
{
    SetVerdicts(2, demo::PixelVerdict::eONE_DEPTH);
    EXPECT_EQ(m_tour.FindFault(), "");
    SetVerdicts(3, demo::PixelVerdict::eONE_DEPTH);
    EXPECT_TRUE(HasFault("99.850 %")) << m_tour.FindFault();
    SetVerdicts(3, demo::PixelVerdict::eSAME);
    SetVerdicts(1, demo::PixelVerdict::eUNEXPLAINED);
    EXPECT_TRUE(HasFault("1 differences")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWhenNoPickHitsAnything)
{
    for (demo::PickView& view : m_tour.m_views) {
        view.m_pixels.assign(100, demo::PixelPick());
    }
    EXPECT_EQ(m_tour.GetAgreement(), 1.0);
    EXPECT_TRUE(HasFault("no pick")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWithFewPixels)
{
    for (demo::PickView& view : m_tour.m_views) {
        view.m_pixels.resize(500);
    }
    EXPECT_EQ(m_tour.FindFault(), "");
    m_tour.m_views[0].m_pixels.pop_back();
    EXPECT_TRUE(HasFault("only 999 pixels")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWithAWrongRubberBand)
{
    m_tour.m_views[1].m_bands[2].m_contained.m_numMissing = 7;
    EXPECT_TRUE(HasFault("contained: 7 missing")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWhenAllRubberBandsOfAViewRanOutOfTime)
{
    std::vector<demo::RubberBand>& bands = m_tour.m_views[1].m_bands;
    bands[0].m_touching.m_isTimedOut = true;
    bands[2].m_contained.m_isTimedOut = true;
    EXPECT_EQ(m_tour.CountTimedOut(), 2U);
    EXPECT_EQ(m_tour.FindFault(), "");
    bands[1].m_touching.m_isTimedOut = true;
    EXPECT_TRUE(HasFault("checked in time")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWhenAWalkWentNowhere)
{
    m_tour.m_walks[2].m_result.m_distance = 0.0; // stuck at its first step
    EXPECT_TRUE(HasFault("went nowhere")) << m_tour.FindFault();
    m_tour.m_walks[2].m_result.m_stopsInside = 4;
    EXPECT_TRUE(HasFault("no room")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWhenAWalkEndedInsideWentThroughOrDependsOnTheOrder)
{
    demo::BodyWalk const right = m_tour.m_walks[3];
    m_tour.m_walks[3].m_result.m_inside = 2;
    EXPECT_TRUE(HasFault("2 steps ended inside")) << m_tour.FindFault();
    m_tour.m_walks[3] = right;
    m_tour.m_walks[3].m_crossings = 3;
    EXPECT_TRUE(HasFault("3 steps led through")) << m_tour.FindFault();
    m_tour.m_walks[3] = right;
    m_tour.m_walks[3].m_result.m_parted = 4;
    EXPECT_TRUE(HasFault("4 sweeps")) << m_tour.FindFault();
}

TEST_F(PickTourTest, IsWrongWhenNoWalkStraightAcrossMetAnything)
{
    m_tour.m_walks[1].m_result.m_contacts = 0;
    EXPECT_EQ(m_tour.FindFault(), "");
    m_tour.m_walks[3].m_result.m_contacts = 0;
    m_tour.m_walks[0].m_result.m_contacts = 5; // along the path does not count
    EXPECT_TRUE(HasFault("straight across")) << m_tour.FindFault();
}
