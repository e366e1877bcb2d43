// Start-up and shut-down of the components: what each one pulls in, counting, and order.

#include "support/Components.h"
#include "support/EventLog.h"
#include "support/PostedErrors.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcDeferredTraversal.h"
#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcRenderTraversal.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"
#include "scenecull/TqOcTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"
#include "scenecull/TqOcTraversable.h"
#include "scenecull/TqOcTraversal.h"
#include "scenecull/TqOcTraversalFIFO.h"
#include "scenecull/TqOcVisitor.h"

#include "geometry/TqLMatrix.h"
#include "geometry/TqLPickSweep.h"

#include "util/TqUError.h"
#include "util/TqULock.h"
#include "util/TqUPage.h"
#include "util/TqUTime.h"
#include "util/TqUVector.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace
{

/// One component with the names of what it starts, in order.
struct Component
{
    char const* name;
    Lines dependencies;
    void (*initialise)();
    void (*terminate)();
    int (*isInitialised)();
};

template <class Class>
Component Describe(char const* name, Lines dependencies = {})
{
    return {name, std::move(dependencies), [] { Class::Initialise(); }, [] { Class::Terminate(); },
            [] { return static_cast<int>(Class::IsInitialised()); }};
}

std::vector<Component> const& AllComponents()
{
    static std::vector<Component> const s_components = {
        Describe<TqOcContext>("TqOcContext"),
        Describe<TqOcTraversable>("TqOcTraversable", {"TqUError", "TqUVector"}),
        Describe<TqOcShape>("TqOcShape",
                            {"TqOcTraversable", "TqOcPrioritizedTraversal", "TqUError"}),
        Describe<TqOcStaticGroup>("TqOcStaticBase",
                                  {"TqOcTraversable", "TqOcPrioritizedTraversal", "TqUError"}),
        Describe<TqOcDynamicGroup>("TqOcDynamicGroup",
                                   {"TqOcTraversable", "TqOcPrioritizedTraversal", "TqUError"}),
        Describe<TqOcHierarchyBuilder>("TqOcHierarchyBuilder",
                                       {"TqUVector", "TqUPage", "TqOcStaticBase"}),
        Describe<TqOcVisitor>("TqOcVisitor", {"TqUError"}),
        Describe<TqOcTraversal>("TqOcTraversal", {"TqOcContext", "TqOcTraversable"}),
        Describe<TqOcDeferredTraversal>("TqOcDeferredTraversal", {"TqOcTraversal"}),
        Describe<TqOcTraversalQueue>("TqOcTraversalQueue", {"TqUError"}),
        Describe<TqOcTraversalFIFO>("TqOcTraversalFIFO",
                                    {"TqULock", "TqUThread", "TqOcTraversalQueue", "TqUError"}),
        Describe<TqOcTravFrustum>("TqOcTravFrustum", {"TqUError", "TqLMatrix"}),
        Describe<TqOcTravTransform>("TqOcTravTransform", {"TqLMatrix"}),
        Describe<TqOcTravCull>(
            "TqOcTravCull", {"TqUError", "TqOcTraversal", "TqOcTravFrustum", "TqOcTravTransform"}),
        Describe<TqOcRenderTraversal>("TqOcRenderTraversal", {"TqOcTraversal", "TqUTime"}),
        Describe<TqOcRenderTravCull>("TqOcRenderTravCull", {"TqOcTravCull", "TqOcRenderTraversal"}),
        Describe<TqOcPrioritizedTraversal>("TqOcPrioritizedTraversal",
                                           {"TqOcRenderTraversal", "TqOcRenderTravCull"}),
        Describe<TqOcPickTraversal>("TqOcPickTraversal", {"TqOcTraversal"}),
        Describe<TqOcPickFrustumTraversal>("TqOcPickFrustumTraversal", {"TqOcPickTraversal"}),
        Describe<TqOcPickSweepTraversal>("TqOcPickSweepTraversal",
                                         {"TqOcPickTraversal", "TqLPickSweep"}),
        Describe<TqLMatrix>("TqLMatrix"),
        Describe<TqLPickSweep>("TqLPickSweep"),
        Describe<TqUError>("TqUError"),
        Describe<TqUVector>("TqUVector"),
        Describe<TqUPage>("TqUPage"),
        Describe<TqUTime>("TqUTime"),
        Describe<TqULock>("TqULock"),
        Describe<TqUThread>("TqUThread"),
    };
    return s_components;
}

Component const& Find(std::string const& name)
{
    for (Component const& component : AllComponents()) {
        if (component.name == name) {
            return component;
        }
    }
    ADD_FAILURE() << "no component " << name;
    return AllComponents().front();
}

/// Adds `name` and everything below it.
void AddClosure(std::string const& name, std::set<std::string>& closure)
{
    closure.insert(name);
    for (std::string const& dependency : Find(name).dependencies) {
        AddClosure(dependency, closure);
    }
}

std::set<std::string> Initialised()
{
    std::set<std::string> names;
    for (Component const& component : AllComponents()) {
        if (component.isInitialised() != 0) {
            names.insert(component.name);
        }
    }
    return names;
}

/// Each test begins and ends with every component off.
class TqOcComponent : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(Initialised(), std::set<std::string>{}); }

    void TearDown() override { EXPECT_EQ(Initialised(), std::set<std::string>{}); }

private:
    WithoutComponents m_without;
};

} // namespace

TEST_F(TqOcComponent, StartsExactlyWhatItDependsOn)
{
    for (Component const& component : AllComponents()) {
        SCOPED_TRACE(component.name);
        std::set<std::string> expected;
        AddClosure(component.name, expected);
        component.initialise();
        EXPECT_EQ(Initialised(), expected);
        component.terminate();
        EXPECT_EQ(Initialised(), std::set<std::string>{});
    }
}

TEST_F(TqOcComponent, StaysOnUntilItsLastUserHasGone)
{
    for (Component const& component : AllComponents()) {
        SCOPED_TRACE(component.name);
        std::set<std::string> expected;
        AddClosure(component.name, expected);
        for (int i = 0; i < 3; ++i) {
            component.initialise();
        }
        EXPECT_EQ(Initialised(), expected);
        component.terminate();
        component.terminate();
        EXPECT_EQ(Initialised(), expected);
        component.terminate();
        EXPECT_EQ(Initialised(), std::set<std::string>{});
    }
}

TEST_F(TqOcComponent, LeavesWhatOthersStillUse)
{
    for (Component const& kept : AllComponents()) {
        std::set<std::string> keptClosure;
        AddClosure(kept.name, keptClosure);
        kept.initialise();
        for (Component const& passing : AllComponents()) {
            SCOPED_TRACE(std::string(kept.name) + " kept, passing " + passing.name);
            std::set<std::string> both = keptClosure;
            AddClosure(passing.name, both);
            passing.initialise();
            EXPECT_EQ(Initialised(), both);
            passing.terminate();
            EXPECT_EQ(Initialised(), keptClosure);
        }
        kept.terminate();
    }
}

TEST_F(TqOcComponent, MayBeTerminatedInAnyOrder)
{
    for (bool const reversed : {false, true}) {
        SCOPED_TRACE(reversed);
        std::vector<Component> components = AllComponents();
        std::set<std::string> all;
        for (Component const& component : components) {
            component.initialise();
            all.insert(component.name);
        }
        EXPECT_EQ(Initialised(), all);
        if (reversed) {
            components.assign(AllComponents().rbegin(), AllComponents().rend());
        }
        for (Component const& component : components) {
            component.terminate();
        }
        EXPECT_EQ(Initialised(), std::set<std::string>{});
    }
}

// Terminating a component that is off posts against its name and does nothing else. So with all
// dependencies switched off behind its back, a component's termination lists them in its order.
TEST_F(TqOcComponent, TerminatesItsDependenciesInTheOrderInWhichItStartsThem)
{
    for (Component const& component : AllComponents()) {
        SCOPED_TRACE(component.name);
        component.initialise();
        for (Component const& other : AllComponents()) {
            while (other.name != component.name && other.isInitialised() != 0) {
                PostedErrors const ignored;
                other.terminate();
            }
        }
        PostedErrors posted;
        component.terminate();
        Lines order;
        for (PostedErrors::Post const& post : posted.Get()) {
            order.push_back(post.component);
        }
        EXPECT_EQ(order, component.dependencies);
    }
}

TEST_F(TqOcComponent, PostsATerminationWithoutAUserAgainstItsOwnName)
{
    for (Component const& component : AllComponents()) {
        SCOPED_TRACE(component.name);
        component.initialise();
        component.terminate();
        PostedErrors posted;
        component.terminate();
        ASSERT_EQ(posted.Size(), 1);
        EXPECT_EQ(posted.Get()[0].severity, 1);
        EXPECT_EQ(posted.Get()[0].component, component.name);
        EXPECT_EQ(component.isInitialised(), 0);
    }
}

TEST_F(TqOcComponent, TakesTheNodeBaseUpAndDownWithTheShape)
{
    TqOcShape::Initialise();
    EXPECT_TRUE(TqOcTraversable::IsInitialised());
    TqOcShape::Terminate();
    EXPECT_FALSE(TqOcTraversable::IsInitialised());
}

TEST_F(TqOcComponent, KeepsTheNodeBaseUpThatWasInitialisedSeparately)
{
    TqOcTraversable::Initialise();
    TqOcShape::Initialise();
    TqOcShape::Terminate();
    EXPECT_TRUE(TqOcTraversable::IsInitialised());
    TqOcTraversable::Terminate();
    EXPECT_FALSE(TqOcTraversable::IsInitialised());
}

TEST_F(TqOcComponent, KeepsTheCullUpWhileOneOfTwoUsersOfThePrioritizedTraversalIsLeft)
{
    TqOcPrioritizedTraversal::Initialise();
    TqOcPrioritizedTraversal::Initialise();
    TqOcPrioritizedTraversal::Terminate();
    EXPECT_TRUE(TqOcTravCull::IsInitialised());
    TqOcPrioritizedTraversal::Terminate();
    EXPECT_FALSE(TqOcTravCull::IsInitialised());
}

TEST_F(TqOcComponent, SharesOneComponentAmongTheStaticContainers)
{
    TqOcStaticLeaf::Initialise(); // the node base's, which the leaf inherits
    EXPECT_TRUE(TqOcTraversable::IsInitialised());
    EXPECT_FALSE(TqOcStaticGroup::IsInitialised());
    TqOcStaticLeaf::Terminate();
    TqOcStaticHierarchyBuilder::Initialise();
    EXPECT_TRUE(TqOcHierarchyBuilder::IsInitialised());
    EXPECT_TRUE(TqOcFlatHierarchyBuilder::IsInitialised());
    EXPECT_TRUE(TqOcStaticGroup::IsInitialised());
    TqOcFlatHierarchyBuilder::Terminate();
    EXPECT_FALSE(TqOcStaticHierarchyBuilder::IsInitialised());
    EXPECT_FALSE(TqOcStaticGroup::IsInitialised());
}
