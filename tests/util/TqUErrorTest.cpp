// Error posting.

#include "util/TqUError.h"

#include "support/AllocationCounter.h"
#include "support/PostedErrors.h"

#include "util/TqUComponent.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{

TqUComponent s_component("TqOcSample");

using Lines = std::vector<std::string>;

struct HandlerGuard
{
    HandlerGuard(TqUError::Handler handler, void* userData)
    {
        TqUError::SetHandler(handler, userData);
    }

    ~HandlerGuard() { TqUError::SetHandler(nullptr, nullptr); }
};

// Counts posts without allocating, and posts once more from within the first.
struct Nested
{
    int m_posts = 0;
    char m_texts[2][32] = {};

    static void Handle(TqUSysError::Severity, char const*, char const* text, void* userData)
    {
        auto* const self = static_cast<Nested*>(userData);
        int const index = self->m_posts++;
        if (index == 0) {
            TqUError::Post(TqUSysError::eWARNING, nullptr, "inner %d", 2);
        }
        if (index < 2) {
            std::strncpy(self->m_texts[index], text, sizeof self->m_texts[index] - 1);
        }
    }
};

} // namespace

TEST(TqUSysError, NumbersItsSeverities)
{
    EXPECT_EQ(0, TqUSysError::eWARNING);
    EXPECT_EQ(1, TqUSysError::eERROR);
    EXPECT_EQ(2, TqUSysError::eFATAL);
}

TEST(TqUError, HandsSeverityComponentAndFormattedTextToTheHandler)
{
    PostedErrors const posts;
    TqUError::Post(TqUSysError::eWARNING, &s_component, "factor %g out of %d%s", 1.5, 3, "!");
    TqUError::Post(TqUSysError::eERROR, &s_component, "second");
    TqUError::Post(TqUSysError::eFATAL, &s_component, "100%%");
    EXPECT_EQ(
        (Lines{"0 TqOcSample: factor 1.5 out of 3!", "1 TqOcSample: second", "2 TqOcSample: 100%"}),
        posts.AsLines());
}

TEST(TqUError, NamesAComponentThatIsNotInitialisedAndSaysUnknownWithoutOne)
{
    PostedErrors const posts;
    TqUComponent const unnamed;
    ASSERT_EQ(0, s_component.IsInitialised());
    TqUError::Post(TqUSysError::eWARNING, &s_component, "a");
    TqUError::Post(TqUSysError::eWARNING, &unnamed, "b");
    TqUError::Post(TqUSysError::eWARNING, nullptr, "c");
    EXPECT_EQ((Lines{"0 TqOcSample: a", "0 unknown: b", "0 unknown: c"}), posts.AsLines());
}

TEST(TqUError, WritesOneLineOnStderrByDefault)
{
    testing::internal::CaptureStderr();
    TqUError::Post(TqUSysError::eWARNING, &s_component, "value %d", 7);
    TqUError::Post(TqUSysError::eERROR, &s_component, "b");
    TqUError::Post(TqUSysError::eFATAL, nullptr, "c");
    EXPECT_EQ("scenecull warning: TqOcSample: value 7\n"
              "scenecull error: TqOcSample: b\n"
              "scenecull fatal: unknown: c\n",
              testing::internal::GetCapturedStderr());
}

TEST(TqUError, GoesBackToStderrWhenTheHandlerIsRemoved)
{
    {
        PostedErrors const posts;
    }
    testing::internal::CaptureStderr();
    TqUError::Post(TqUSysError::eWARNING, &s_component, "again");
    EXPECT_EQ("scenecull warning: TqOcSample: again\n", testing::internal::GetCapturedStderr());
}

TEST(TqUError, PostsTheLongestTextWholeAndCutsLongerOnes)
{
    PostedErrors const posts;
    std::string const longest(TqUError::s_textSize - 1, 'x');
    std::string const longer(5000, 'y');
    TqUError::Post(TqUSysError::eWARNING, &s_component, "%s", longest.c_str());
    TqUError::Post(TqUSysError::eWARNING, &s_component, "%sz", longest.c_str());
    TqUError::Post(TqUSysError::eWARNING, &s_component, "%s", longer.c_str());
    ASSERT_EQ(3, posts.Size());
    EXPECT_EQ(longest, posts.Get()[0].text);
    EXPECT_EQ(longest.substr(3) + "...", posts.Get()[1].text);
    EXPECT_EQ(longer.substr(0, longest.size() - 3) + "...", posts.Get()[2].text);
}

TEST(TqUError, CutsBetweenCharactersOfSeveralBytes)
{
    std::string text;
    while (text.size() < 3000) {
        text += "\xe2\x82\xac"; // the euro sign: three bytes
    }
    for (int shift = 0; shift < 3; ++shift) {
        PostedErrors const posts;
        std::string const shifted = std::string(static_cast<std::size_t>(shift), 'x') + text;
        TqUError::Post(TqUSysError::eWARNING, &s_component, "%s", shifted.c_str());
        std::string const posted = posts.Get().at(0).text;
        ASSERT_GE(posted.size(), 1019u);
        std::string const kept = posted.substr(0, posted.size() - 3);
        EXPECT_EQ("...", posted.substr(posted.size() - 3));
        EXPECT_EQ(0u, (kept.size() - static_cast<std::size_t>(shift)) % 3);
        EXPECT_EQ(0u, shifted.find(kept));
    }
}

TEST(TqUError, PostsAnEmptyTextForANullFormat)
{
    PostedErrors const posts;
    char const* const none = nullptr;
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#endif
    TqUError::Post(TqUSysError::eERROR, &s_component, none);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    EXPECT_EQ((Lines{"1 TqOcSample: "}), posts.AsLines());
}

TEST(TqUError, MayBePostedToFromWithinTheHandler)
{
    Nested nested;
    HandlerGuard const guard(Nested::Handle, &nested);
    TqUError::Post(TqUSysError::eERROR, &s_component, "outer %d", 1);
    EXPECT_EQ(2, nested.m_posts);
    EXPECT_STREQ("outer 1", nested.m_texts[0]);
    EXPECT_STREQ("inner 2", nested.m_texts[1]);
}

TEST(TqUError, AllocatesNothing)
{
    Nested nested;
    HandlerGuard const guard(Nested::Handle, &nested);
    AllocationCounter const counter;
    TqUError::Post(TqUSysError::eERROR, &s_component, "%s %g %d", "text", 0.1, 42);
    EXPECT_EQ(0u, counter.GetNum());
    EXPECT_EQ(2, nested.m_posts);
}
