// The base of traversals that are configured by copying another one.

#include "scenecull/TqOcDeferredTraversal.h"

#include "support/Components.h"
#include "support/Recorders.h"

#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"
#include "geometry/TqLViewCriteria.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace
{

/// A traversal that a host configures.
class ConfiguredTraversal : public TqOcTraversal
{
public:
    using TqOcTraversal::ResetStats;
    using TqOcTraversal::TqOcTraversal;

    void StartTraversal(TqOcTraversable*) override {}

    void EndTraversal() override {}
};

/// What a host derives for work that runs later; logs the two steps that it supplies.
class LaterTraversal : public TqOcDeferredTraversal
{
public:
    LaterTraversal(EventLog* log, TqOcTraversal const& configured)
        : TqOcDeferredTraversal(configured)
        , m_log(log)
    {}

    void StartTraversal(TqOcTraversable* root) override
    {
        m_log->Add("StartTraversal " + m_log->GetName(static_cast<TqOcBaseTraversable*>(root)));
        IncAreaCullTests(1);
    }

    void EndTraversal() override { m_log->Add("EndTraversal"); }

private:
    EventLog* m_log;
};

/// Has every constructor that its base lets it have.
class PlainlyDerived : public TqOcDeferredTraversal
{
public:
    using TqOcDeferredTraversal::TqOcDeferredTraversal;

    void StartTraversal(TqOcTraversable*) override {}

    void EndTraversal() override {}
};

/// Supplies only the one step, or the other.
class WithoutEnd : public TqOcDeferredTraversal
{
public:
    void StartTraversal(TqOcTraversable*) override {}
};

class WithoutStart : public TqOcDeferredTraversal
{
public:
    void EndTraversal() override {}
};

static_assert(std::is_base_of_v<TqOcTraversal, TqOcDeferredTraversal>);
static_assert(sizeof(TqOcDeferredTraversal) == sizeof(TqOcTraversal), "it adds no fields");
static_assert(std::is_abstract_v<WithoutEnd>, "EndTraversal stays pure");
static_assert(std::is_abstract_v<WithoutStart>, "StartTraversal stays pure");
static_assert(!std::is_default_constructible_v<PlainlyDerived>, "made by copying only");
static_assert(!std::is_constructible_v<PlainlyDerived, TqOcContext*>, "not from a context");
static_assert(std::is_constructible_v<PlainlyDerived, TqOcTraversal const&>);
static_assert(!std::is_convertible_v<TqOcTraversal const&, PlainlyDerived>);
static_assert(std::is_copy_constructible_v<PlainlyDerived>);
static_assert(std::is_move_constructible_v<PlainlyDerived>);
static_assert(std::is_copy_assignable_v<PlainlyDerived>);
static_assert(std::is_move_assignable_v<PlainlyDerived>);

/// View criteria belong to the application and are only carried along: any address will do.
TqLViewCriteria const* FakeCriteria()
{
    static int const s_mark = 0;
    return reinterpret_cast<TqLViewCriteria const*>(&s_mark);
}

/// Planes across the first axis, each at a distance of its own.
std::array<TqLPlane3f, 6> MakePlanes(double firstDistance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(1, 0, 0);
    std::array<TqLPlane3f, 6> planes;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        planes[i].SetValue(normal, TqLPos3f(firstDistance + static_cast<double>(i), 0, 0));
    }
    return planes;
}

/// A context, six planes of which three count, view criteria and both counters.
class TqOcDeferredTraversalCopies : public testing::Test
{
protected:
    TqOcDeferredTraversalCopies()
    {
        std::array<TqLPlane3f, 6> const planes = MakePlanes(10);
        m_configured.SetClipPlanes(planes.data(), 6);
        m_configured.SetClipPlanes(planes.data(), 3); // the last three stay behind the count
        m_configured.SetViewCriteria(FakeCriteria());
        m_configured.ResetStats();
        m_configured.IncAreaCullTests(10);
        m_configured.IncFrustumCullTests(20);
        m_bare.ResetStats();
    }

    void ExpectEverythingIn(TqOcTraversal const& copy) const
    {
        EXPECT_EQ(copy.GetContext(), &m_context);
        EXPECT_EQ(copy.GetNumClipPlanes(), 3);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(copy.GetClipPlanes()[i].GetDistance(),
                      m_configured.GetClipPlanes()[i].GetDistance());
        }
        EXPECT_EQ(copy.GetViewCriteria(), FakeCriteria());
        EXPECT_EQ(copy.GetNumAreaCullTests(), 10u);
        EXPECT_EQ(copy.GetNumFrustumCullTests(), 20u);
    }

    EventLog m_log;
    RecordingContext m_context{&m_log};
    ConfiguredTraversal m_configured{&m_context};
    ConfiguredTraversal m_bare{nullptr};
};

} // namespace

TEST_F(TqOcDeferredTraversalCopies, EverythingOfTheTraversalItIsMadeFrom)
{
    PlainlyDerived const made(m_configured);
    ExpectEverythingIn(made);
    EXPECT_NE(made.GetClipPlanes(), m_configured.GetClipPlanes());
}

TEST_F(TqOcDeferredTraversalCopies, EverythingOfAnotherOneWhenItIsCopied)
{
    PlainlyDerived const made(m_configured);
    PlainlyDerived const copied(made);
    ExpectEverythingIn(copied);
    PlainlyDerived assigned(m_bare);
    assigned = made;
    ExpectEverythingIn(assigned);
}

TEST_F(TqOcDeferredTraversalCopies, EverythingOfAnotherOneWhenItIsMoved)
{
    PlainlyDerived made(m_configured);
    PlainlyDerived moved(std::move(made));
    ExpectEverythingIn(moved);
    PlainlyDerived assigned(m_bare);
    assigned = std::move(moved);
    ExpectEverythingIn(assigned);
}

TEST_F(TqOcDeferredTraversalCopies, ContextAndPlanesOnlyWithTheConfiguration)
{
    PlainlyDerived later(m_bare);
    later.CopyConfig(&m_configured);
    EXPECT_EQ(later.GetContext(), &m_context);
    EXPECT_EQ(later.GetNumClipPlanes(), 3);
    EXPECT_EQ(later.GetClipPlanes()[2].GetDistance(),
              m_configured.GetClipPlanes()[2].GetDistance());
    EXPECT_EQ(later.GetViewCriteria(), nullptr);
    EXPECT_EQ(later.GetNumAreaCullTests(), 0u);
    EXPECT_EQ(later.GetNumFrustumCullTests(), 0u);
}

TEST_F(TqOcDeferredTraversalCopies, NothingLaterFromTheTraversalItWasMadeFrom)
{
    PlainlyDerived const made(m_configured);
    m_configured.SetContext(nullptr);
    m_configured.SetClipPlanes(nullptr, 0);
    m_configured.SetViewCriteria(nullptr);
    m_configured.ResetStats();
    EXPECT_EQ(made.GetContext(), &m_context);
    EXPECT_EQ(made.GetNumClipPlanes(), 3);
    EXPECT_EQ(made.GetViewCriteria(), FakeCriteria());
    EXPECT_EQ(made.GetNumAreaCullTests(), 10u);
}

TEST(TqOcDeferredTraversal, IsAppliedLikeAnyTraversal)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    root.SetModified(0x01);
    ConfiguredTraversal const configured(nullptr);
    LaterTraversal later(&log, configured);
    later.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "StartTraversal root", "EndTraversal"}));
    EXPECT_EQ(later.GetNumAreaCullTests(), 1u);
    later.AsyncApply(&root);
    EXPECT_EQ(log.Take(), (Lines{"StartTraversal root"}));
    EXPECT_EQ(later.GetNumAreaCullTests(), 1u); // zeroed, then raised
    later.WaitForCompletion();
    EXPECT_EQ(log.Take(), (Lines{"EndTraversal"}));
}

TEST(TqOcDeferredTraversal, IsDeletedThroughItsBase)
{
    EventLog log;
    ConfiguredTraversal const configured(nullptr);
    TqOcTraversal* const later = new LaterTraversal(&log, configured);
    delete later;
    static_assert(std::has_virtual_destructor_v<TqOcDeferredTraversal>);
}
