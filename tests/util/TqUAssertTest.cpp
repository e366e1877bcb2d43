// Assertions, in a source that switches them on and one condition at a time.

#undef TQU_CHECKED
#define TQU_CHECKED 1

#include "util/TqUAssert.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

struct Failure
{
    int m_count = 0;
    std::string m_condition;
    std::string m_file;
    int m_line = 0;

    static void Record(char const* condition, char const* file, int line, void* userData)
    {
        auto* const self = static_cast<Failure*>(userData);
        ++self->m_count;
        self->m_condition = condition;
        self->m_file = file;
        self->m_line = line;
    }
};

struct HandlerGuard
{
    explicit HandlerGuard(Failure* failure) { TqUAssert::SetHandler(Failure::Record, failure); }

    ~HandlerGuard() { TqUAssert::SetHandler(nullptr, nullptr); }
};

} // namespace

TEST(TqUAssert, IsActiveWhereCheckedIsDefined)
{
    EXPECT_EQ(1, TQU_ASSERTS_ACTIVE);
}

TEST(TqUAssert, IsSilentWhileTheConditionHolds)
{
    Failure failure;
    HandlerGuard const guard(&failure);
    int evaluated = 0;
    TQU_ASSERT(++evaluated == 1);
    EXPECT_EQ(1, evaluated);
    EXPECT_EQ(0, failure.m_count);
}

TEST(TqUAssert, TellsTheHandlerWhatFailedAndWhereAndGoesOn)
{
    Failure failure;
    HandlerGuard const guard(&failure);
    int const one = 1;
    int const line = __LINE__ + 1;
    TQU_ASSERT(one == 2);
    EXPECT_EQ(1, failure.m_count);
    EXPECT_EQ("one == 2", failure.m_condition);
    EXPECT_EQ(line, failure.m_line);
    EXPECT_NE(std::string::npos, failure.m_file.find("TqUAssertTest.cpp"));
}

TEST(TqUAssertDeathTest, WritesALineAndAbortsByDefault)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(TqUAssert::Fail("a == b", "file.cpp", 12),
                 "scenecull assertion failed: a == b \\(file.cpp:12\\)");
}
