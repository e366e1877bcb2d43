// The bounded copy.

#include "util/TqUSysString.h"

#include "support/PostedErrors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(TqUSysString, CopiesWhatFits)
{
    PostedErrors const posts;
    char destination[] = "........";
    EXPECT_EQ(3u, TqUSysString::Memcpy(destination, 8, "abcdef", 3));
    EXPECT_STREQ("abc.....", destination);
    EXPECT_EQ(6u, TqUSysString::Memcpy(destination, 6, "abcdef", 6));
    EXPECT_STREQ("abcdef..", destination);
    EXPECT_TRUE(posts.Empty());
}

TEST(TqUSysString, NeverWritesPastTheDestinationAndPosts)
{
    PostedErrors const posts;
    char destination[] = "........";
    EXPECT_EQ(4u, TqUSysString::Memcpy(destination, 4, "abcdef", 6));
    EXPECT_STREQ("abcd....", destination);
    EXPECT_EQ(
        (std::vector<std::string>{"1 TqUSysString: Memcpy of 6 bytes into a destination of 4"}),
        posts.AsLines());
}

TEST(TqUSysString, CopiesBetweenOverlappingPlaces)
{
    for (std::size_t size : {6u, 100u, 5000u, 1000000u}) {
        std::string text(size + 1, ' ');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>('a' + i % 26);
        }
        std::string const before = text;
        EXPECT_EQ(size, TqUSysString::Memcpy(&text[1], size, &text[0], size));
        EXPECT_EQ(before.substr(0, size), text.substr(1)) << size;
    }
}

TEST(TqUSysString, CopiesNothingFromOrToNull)
{
    PostedErrors posts;
    char destination[] = "..";
    EXPECT_EQ(0u, TqUSysString::Memcpy(nullptr, 0, nullptr, 0));
    EXPECT_TRUE(posts.Empty());
    EXPECT_EQ(0u, TqUSysString::Memcpy(destination, 2, nullptr, 2));
    EXPECT_EQ(0u, TqUSysString::Memcpy(nullptr, 2, destination, 2));
    EXPECT_STREQ("..", destination);
    EXPECT_EQ((std::vector<std::string>{"1 TqUSysString: Memcpy of 2 bytes from null",
                                        "1 TqUSysString: Memcpy of 2 bytes to null"}),
              posts.AsLines());
}
