// The component record, and the util classes that are components.

#include "util/TqUComponent.h"

#include "support/PostedErrors.h"

#include "util/TqUError.h"
#include "util/TqULock.h"
#include "util/TqUPage.h"
#include "util/TqUTime.h"
#include "util/TqUVector.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

TEST(TqUComponent, IsUninitialisedAtFirst)
{
    TqUComponent const unnamed;
    EXPECT_EQ(0, unnamed.IsInitialised());
    EXPECT_STREQ("unknown", unnamed.GetName());
    EXPECT_STREQ("", unnamed.GetId());
}

TEST(TqUComponent, KnowsItsNameBeforeItIsInitialised)
{
    constexpr TqUComponent component("Early");
    EXPECT_STREQ("Early", component.GetName());
    EXPECT_EQ(0, component.IsInitialised());
}

TEST(TqUComponent, IsConstantInitialisedAndNeverDestroyed)
{
    static_assert(std::is_trivially_destructible_v<TqUComponent>);
    static_assert(std::is_nothrow_constructible_v<TqUComponent, char const*>);
}

TEST(TqUComponent, ReportsOnlyTheFirstInitialise)
{
    TqUComponent component;
    EXPECT_NE(0, component.Initialise("Name", "id 1"));
    EXPECT_NE(0, component.IsInitialised());
    EXPECT_EQ(0, component.Initialise("Name", "id 1"));
    EXPECT_EQ(0, component.Initialise("Name", "id 1"));
    EXPECT_STREQ("Name", component.GetName());
    EXPECT_STREQ("id 1", component.GetId());
}

TEST(TqUComponent, ReportsOnlyTheLastTerminate)
{
    TqUComponent component;
    component.Initialise("Name", "id");
    component.Initialise("Name", "id");
    EXPECT_EQ(0, component.Terminate());
    EXPECT_NE(0, component.IsInitialised());
    EXPECT_NE(0, component.Terminate());
    EXPECT_EQ(0, component.IsInitialised());
}

TEST(TqUComponent, KeepsItsNameAfterTheLastTerminate)
{
    TqUComponent component;
    component.Initialise("Name", "id");
    component.Terminate();
    EXPECT_STREQ("Name", component.GetName());
}

TEST(TqUComponent, KeepsWhatItHadWhenInitialisedWithNull)
{
    TqUComponent component("Early");
    EXPECT_NE(0, component.Initialise(nullptr, nullptr));
    EXPECT_STREQ("Early", component.GetName());
    EXPECT_STREQ("", component.GetId());
}

TEST(TqUComponent, ReportsEachChangeAgainInALaterLife)
{
    TqUComponent component;
    for (int life = 0; life < 3; ++life) {
        EXPECT_NE(0, component.Initialise("Name", "id"));
        EXPECT_NE(0, component.Terminate());
    }
}

TEST(TqUComponent, PostsATerminateWithoutInitialiseAndChangesNothing)
{
    PostedErrors posts;
    TqUComponent component("Name");
    EXPECT_EQ(0, component.Terminate());
    EXPECT_EQ((std::vector<std::string>{"1 Name: Terminate without Initialise"}), posts.AsLines());
    EXPECT_EQ(0, component.IsInitialised());
    posts.Clear();
    EXPECT_NE(0, component.Initialise("Name", "id"));
    EXPECT_NE(0, component.Terminate());
    EXPECT_TRUE(posts.Empty());
}

// ---- The components of this library -------------------------------------------------------------

namespace
{

struct Family
{
    char const* m_name;
    void (*m_initialise)();
    void (*m_terminate)();
    int (*m_isInitialised)();
};

template <class T>
Family FamilyOf(char const* name)
{
    return {name, &T::Initialise, &T::Terminate, &T::IsInitialised};
}

class UtilComponents : public testing::TestWithParam<Family>
{};

} // namespace

TEST_P(UtilComponents, AreCountedAndNamed)
{
    Family const& family = GetParam();
    ASSERT_EQ(0, family.m_isInitialised());
    family.m_initialise();
    family.m_initialise();
    family.m_terminate();
    EXPECT_NE(0, family.m_isInitialised());
    family.m_terminate();
    EXPECT_EQ(0, family.m_isInitialised());

    PostedErrors const posts;
    family.m_terminate();
    EXPECT_EQ((std::vector<std::string>{std::string("1 ") + family.m_name +
                                        ": Terminate without Initialise"}),
              posts.AsLines());
}

INSTANTIATE_TEST_SUITE_P(
    Util, UtilComponents,
    testing::Values(FamilyOf<TqUError>("TqUError"), FamilyOf<TqUPage>("TqUPage"),
                    FamilyOf<TqUVector>("TqUVector"), FamilyOf<TqUTime>("TqUTime"),
                    FamilyOf<TqULock>("TqULock"), FamilyOf<TqUThread>("TqUThread")),
    [](testing::TestParamInfo<Family> const& family) { return std::string(family.param.m_name); });
