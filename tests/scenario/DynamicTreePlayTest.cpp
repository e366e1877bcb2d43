// Long lives of dynamic trees under random operations, each step compared with a reference tree, a
// plain list of shapes and a walk with everything in view.

#include "support/DynamicTreePlay.h"

#include "support/Components.h"
#include "support/PostedErrors.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace
{

constexpr int eSEQUENCES_PER_KIND = 100;
constexpr int eSTEPS = 400;

class DynamicTreePlayTest : public ::testing::TestWithParam<int>
{};

PlayOptions MakeOptions(PlayBoxes boxes, int sequence)
{
    PlayOptions options;
    options.seed = SceneRandom::SeedFor(0x7D1, static_cast<std::uint64_t>(sequence * ePLAY_BOXES) +
                                                   static_cast<std::uint64_t>(boxes));
    options.boxes = boxes;
    options.steps = eSTEPS;
    options.startShapes = sequence % 4 == 1 ? 150 : 0;
    options.targetShapes = sequence % 3 == 0 ? 30 : (sequence % 3 == 1 ? 80 : 160);
    options.hasOwner = sequence % 5 == 2;
    return options;
}

} // namespace

TEST_P(DynamicTreePlayTest, KeepsEveryInvariantAndTheReferenceStructure)
{
    auto const boxes = static_cast<PlayBoxes>(GetParam());
    int numUpdates = 0;
    int numMerges = 0;
    for (int sequence = 0; sequence < eSEQUENCES_PER_KIND; ++sequence) {
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        int const shapes = PlayShape::GetNumLive();
        PostedErrors posts;
        {
            DynamicTreePlay play(MakeOptions(boxes, sequence));
            ASSERT_TRUE(play.Run()) << "sequence " << sequence;
            numUpdates += play.GetNumUpdates();
            numMerges += play.GetNumMerges();
        }
        ASSERT_TRUE(posts.Empty()) << "sequence " << sequence << ": " << posts.AsLines()[0];
        ASSERT_EQ(PlayShape::GetNumLive(), shapes) << "sequence " << sequence;
        ASSERT_EQ(TqUMemory::GetLiveBlocks(), blocks) << "sequence " << sequence;
    }
    EXPECT_GT(numUpdates, 30 * eSEQUENCES_PER_KIND);
    EXPECT_GT(numMerges, eSEQUENCES_PER_KIND);
}

INSTANTIATE_TEST_SUITE_P(EveryKindOfBoxes, DynamicTreePlayTest, ::testing::Range(0, ePLAY_BOXES));
