// Long lives of dynamic trees in which memory is refused and shapes cannot be measured, again and
// again: whatever an operation threw, no shape is lost or doubled, and the first undisturbed update
// makes the tree whole.

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/DynamicTreeMaker.h"
#include "support/PostedErrors.h"

#include "scenes/SceneRandom.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace
{

constexpr int eSEQUENCES = 150;
constexpr int eSTEPS = 200;

class FaultyLife
{
public:
    explicit FaultyLife(std::uint64_t seed) : m_random(seed)
    {
        for (int i = 0; i < 120; ++i) {
            m_live.push_back(NewShape());
            m_root->AddShape(m_live.back());
        }
    }

    ~FaultyLife()
    {
        m_root.reset();
        for (PlayShape* const shape : m_all) {
            delete shape;
        }
    }

    FaultyLife(FaultyLife const&) = delete;
    FaultyLife& operator=(FaultyLife const&) = delete;

    int GetNumThrown() const { return m_numThrown; }

    /// One operation under a random disturbance, and a check.
    ::testing::AssertionResult Step()
    {
        switch (m_random.Below(8)) {
        case 0:
        case 1:
            AddShape();
            break;
        case 2:
        case 3:
            RemoveShape();
            break;
        case 4:
            AddLeaf();
            break;
        case 5:
            Disturb([this] { m_root->Rebalance(); });
            break;
        default:
            MoveSome();
            Disturb([this] { m_root->Update(); });
            break;
        }
        return m_random.Chance(0.5) ? CheckRoughly() : CheckAfterAnUpdate();
    }

private:
    PlayShape* NewShape()
    {
        m_all.push_back(new PlayShape(static_cast<int>(m_all.size()), RandomBox()));
        m_all.back()->SetUserOwned(1);
        return m_all.back();
    }

    TqLBox3f RandomBox()
    {
        double const x = m_random.Range(-50, 50);
        return MakeCube(x, m_random.Range(-50, 50), 0.0, 1.0);
    }

    /// Runs an operation while one allocation, all from one on, or one box is refused.
    template <class Operation>
    void Disturb(Operation const& operation)
    {
        int const n = 1 + static_cast<int>(m_random.Below(12));
        auto const extent = m_random.Chance(0.5) ? RefuseAllocations::eONLY_THIS
                                                 : RefuseAllocations::eAND_ALL_LATER;
        auto const kinds =
            m_random.Chance(0.5) ? RefuseAllocations::eMEMORY : RefuseAllocations::eGLOBAL_NEW;
        bool const refusesMemory = m_random.Chance(0.5);
        PlayShape::RefuseCall(refusesMemory ? 0 : n);
        RefuseAllocations refuse(refusesMemory ? n : 0, extent, kinds);
        try {
            operation();
        } catch (std::bad_alloc const&) {
            ++m_numThrown;
        } catch (BoxRefused const&) {
            ++m_numThrown;
        }
        PlayShape::RefuseCall(0);
    }

    void AddShape()
    {
        PlayShape* const shape = NewShape();
        m_live.push_back(shape);
        Disturb([&] { m_root->AddShape(shape); });
        if (!shape->HasParent()) {
            m_live.pop_back();
        }
    }

    void AddLeaf()
    {
        TqOcShape* shapes[3];
        for (TqOcShape*& shape : shapes) {
            m_live.push_back(NewShape());
            shape = m_live.back();
        }
        auto* const leaf = new TqOcStaticLeaf(shapes, 3);
        bool wasAdded = false;
        Disturb([&] {
            m_root->AddLeaf(leaf);
            wasAdded = true;
        });
        if (!wasAdded) {
            delete leaf;
            m_live.resize(m_live.size() - 3);
        }
    }

    void RemoveShape()
    {
        if (m_live.empty()) {
            return;
        }
        std::size_t const i = m_random.Below(static_cast<std::uint32_t>(m_live.size()));
        Disturb([&] { m_root->RemoveShape(m_live[i]); });
        if (!m_live[i]->HasParent()) {
            m_live.erase(m_live.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    void MoveSome()
    {
        double const share = m_random.Unit() * m_random.Unit();
        for (PlayShape* const shape : m_live) {
            if (m_random.Chance(share)) {
                shape->Move(RandomBox());
            }
        }
    }

    std::vector<TqOcShape*> GetLive() const { return {m_live.begin(), m_live.end()}; }

    /// What hangs in the tree is live and hangs there once; some shapes may wait.
    ::testing::AssertionResult CheckRoughly()
    {
        std::vector<TqOcShape*> present = ShapesOf(*m_root);
        std::vector<TqOcShape*> live = GetLive();
        ::testing::AssertionResult const sound =
            IsSoundDynamicTree(*m_root, present, {false, true, false, true});
        std::sort(present.begin(), present.end());
        std::sort(live.begin(), live.end());
        if (sound && !std::includes(live.begin(), live.end(), present.begin(), present.end())) {
            return ::testing::AssertionFailure() << "a shape that is not live hangs in the tree";
        }
        return sound;
    }

    ::testing::AssertionResult CheckAfterAnUpdate()
    {
        m_root->Update();
        return IsSoundDynamicTree(*m_root, GetLive());
    }

    SceneRandom m_random;
    std::unique_ptr<TqOcDynamicGroup> m_root = std::make_unique<TqOcDynamicGroup>();
    std::vector<PlayShape*> m_all;
    std::vector<PlayShape*> m_live;
    int m_numThrown = 0;
};

} // namespace

TEST(DynamicTreeFault, LosesNoShapeWhateverIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const shapes = PlayShape::GetNumLive();
    int numThrown = 0;
    for (int sequence = 0; sequence < eSEQUENCES; ++sequence) {
        std::uint64_t const seed =
            SceneRandom::SeedFor(0xFA17, static_cast<std::uint64_t>(sequence));
        PostedErrors posts;
        {
            FaultyLife life(seed);
            for (int step = 0; step < eSTEPS; ++step) {
                ASSERT_TRUE(life.Step()) << "seed " << seed << ", step " << step;
                ASSERT_TRUE(posts.Empty())
                    << "seed " << seed << ", step " << step << ": " << posts.AsLines()[0];
            }
            numThrown += life.GetNumThrown();
        }
        ASSERT_EQ(TqUMemory::GetLiveBlocks(), blocks) << "seed " << seed;
        ASSERT_EQ(PlayShape::GetNumLive(), shapes) << "seed " << seed;
    }
    EXPECT_GT(numThrown, 20 * eSEQUENCES);
}
