#include "demo/DemoOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

bool Parse(std::vector<char const*> arguments, demo::DemoOptions* options, std::string* problem)
{
    arguments.insert(arguments.begin(), "demo");
    return demo::ParseDemoOptions(static_cast<int>(arguments.size()), arguments.data(), options,
                                  problem);
}

std::string Problem(std::vector<char const*> const& arguments)
{
    demo::DemoOptions options;
    std::string problem;
    return Parse(arguments, &options, &problem) ? "accepted" : problem;
}

} // namespace

TEST(DemoOptions, HasDefaultsForEverything)
{
    demo::DemoOptions options;
    std::string problem;
    ASSERT_TRUE(Parse({}, &options, &problem)) << problem;
    EXPECT_EQ(options.m_storeys, 0);
    EXPECT_GE(options.m_frames, 60);
    EXPECT_EQ(options.m_out, "out/demo");
    EXPECT_TRUE(options.m_queries);
    EXPECT_FALSE(options.m_dynamic);
    EXPECT_TRUE(options.m_model.empty());
}

TEST(DemoOptions, TakesValuesInBothForms)
{
    for (std::vector<char const*> const& arguments :
         {std::vector<char const*>{"--storeys", "3", "--frames", "60", "--size", "640x360",
                                   "--target", "0.5", "--out", "some folder", "--no-queries",
                                   "model.gltf"},
          std::vector<char const*>{"--storeys=3", "--frames=60", "model.gltf", "--size=640x360",
                                   "--target=0.5", "--out=some folder", "--no-queries"}}) {
        demo::DemoOptions options;
        std::string problem;
        ASSERT_TRUE(Parse(arguments, &options, &problem)) << problem;
        EXPECT_EQ(options.m_storeys, 3);
        EXPECT_EQ(options.m_frames, 60);
        EXPECT_EQ(options.m_width, 640);
        EXPECT_EQ(options.m_height, 360);
        EXPECT_DOUBLE_EQ(options.m_targetTime, 0.5);
        EXPECT_EQ(options.m_out, "some folder");
        EXPECT_FALSE(options.m_queries);
        EXPECT_EQ(options.m_model, "model.gltf");
    }
}

TEST(DemoOptions, HasOtherDefaultsForADynamicTree)
{
    demo::DemoOptions options;
    std::string problem;
    ASSERT_TRUE(Parse({"--dynamic"}, &options, &problem)) << problem;
    EXPECT_TRUE(options.m_dynamic);
    EXPECT_EQ(options.m_out, "out/demo-dynamic");
    EXPECT_DOUBLE_EQ(options.m_targetTime, 0.4);
    EXPECT_GE(options.m_frames, 60);
}

TEST(DemoOptions, HasAFolderOfItsOwnForPicks)
{
    demo::DemoOptions options;
    std::string problem;
    ASSERT_TRUE(Parse({"--pick"}, &options, &problem)) << problem;
    EXPECT_TRUE(options.m_pick);
    EXPECT_FALSE(options.m_dynamic);
    EXPECT_EQ(options.m_out, "out/demo-pick");
    demo::DemoOptions named;
    ASSERT_TRUE(Parse({"--out=here", "--pick", "--storeys=1"}, &named, &problem)) << problem;
    EXPECT_EQ(named.m_out, "here");
}

TEST(DemoOptions, RefusesToPickInATreeThatChanges)
{
    EXPECT_EQ(Problem({"--pick", "--dynamic"}), "--dynamic and --pick do not go together");
    EXPECT_EQ(Problem({"--dynamic", "--pick"}), "--dynamic and --pick do not go together");
}

TEST(DemoOptions, KeepsWhatIsSaidForADynamicTree)
{
    for (std::vector<char const*> const& arguments :
         {std::vector<char const*>{"--out", "here", "--target=0.25", "--dynamic"},
          std::vector<char const*>{"--dynamic", "--target", "0.25", "--out=here"}}) {
        demo::DemoOptions options;
        std::string problem;
        ASSERT_TRUE(Parse(arguments, &options, &problem)) << problem;
        EXPECT_EQ(options.m_out, "here");
        EXPECT_DOUBLE_EQ(options.m_targetTime, 0.25);
    }
}

TEST(DemoOptions, TakesAnythingAfterTwoDashesAsTheModel)
{
    demo::DemoOptions options;
    std::string problem;
    ASSERT_TRUE(Parse({"--", "--odd-name.obj"}, &options, &problem)) << problem;
    EXPECT_EQ(options.m_model, "--odd-name.obj");
}

TEST(DemoOptions, NamesWhatIsWrong)
{
    EXPECT_EQ(Problem({"--colour"}), "unknown option --colour");
    EXPECT_EQ(Problem({"--colour=red"}), "unknown option --colour");
    EXPECT_EQ(Problem({"-x"}), "unknown option -x");
    EXPECT_EQ(Problem({"--frames"}), "--frames needs a value");
    EXPECT_EQ(Problem({"a.obj", "b.obj"}), "more than one model: b.obj");
    EXPECT_EQ(Problem({""}), "the model's name is empty");
}

TEST(DemoOptions, RefusesValuesOutsideTheirRange)
{
    for (char const* bad :
         {"--frames=1",   "--frames=0",           "--frames=-3", "--frames=10x",
          "--frames=",    "--frames=99999999999", "--storeys=0", "--storeys=401",
          "--size=640",   "--size=640x",          "--size=x360", "--size=640x360x2",
          "--size=15x15", "--size=9000x9000",     "--target=0",  "--target=-1",
          "--target=nan", "--target=inf",         "--target=1s", "--out="}) {
        EXPECT_NE(Problem({bad}), "accepted") << bad;
        EXPECT_NE(Problem({bad}).find("cannot be"), std::string::npos) << bad;
    }
}

TEST(DemoOptions, ShowsEveryOptionInOneLine)
{
    std::string const usage = demo::GetDemoUsage();
    for (char const* option : {"--storeys", "--frames", "--size", "--target", "--out",
                               "--no-queries", "--dynamic", "--pick", "MODEL"}) {
        EXPECT_NE(usage.find(option), std::string::npos) << option;
    }
    EXPECT_EQ(usage.find('\n'), std::string::npos);
}
