#include "foundation/framework.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ProgramName, IsTheExecutablesBaseNameWithoutExtension) {
    const struct { const char* path; const char* name; } cases[] = {
        {"/usr/local/bin/varometrics", "varometrics"}, {"C:\\Tools\\varometrics.exe", "varometrics"},
        {"/opt/x/run.tool.bin", "run.tool"}, {"/opt/x.y/plain", "plain"}, {"/opt/.hidden", ".hidden"},
        {nullptr, "(unknown)"},
    };
    char buffer[kMaxModulePath];
    for (const auto& c : cases) EXPECT_STREQ(programNameFromPath(c.path, buffer, sizeof buffer), c.name);
    std::string path = "/" + std::string(258, 'a');  // 259 characters
    EXPECT_EQ(std::string(programNameFromPath(path.c_str(), buffer, sizeof buffer)), path.substr(1));
    path += "b";
    EXPECT_STREQ(programNameFromPath(path.c_str(), buffer, sizeof buffer), "(unknown)");
    EXPECT_STREQ(programName(), "vro_results_tests");
}

TEST(ApplicationVersion, StartsAtTheFrameworkDefaultAndCanBeReplaced) {
    EXPECT_STREQ(applicationVersion(), "6.0.3595.7981");
    setApplicationVersion("8.0.3595.7981");
    EXPECT_STREQ(applicationVersion(), "8.0.3595.7981");
}

std::vector<int> gCalls;
void record(void* context) { gCalls.push_back(*static_cast<int*>(context)); }

TEST(FrameworkStartup, LastShutdownRunsHandlersOnceMostRecentFirst) {
    gCalls.clear();
    int one = 1, two = 2;
    ASSERT_EQ(xpStartupCount(), 0u);
    EXPECT_EQ(xpStartup(), 1u);
    EXPECT_EQ(xpStartup(), 2u);
    ASSERT_EQ(xpRegisterShutdownHandler(record, &one), kResultOk);
    ASSERT_EQ(xpRegisterShutdownHandler(record, &two), kResultOk);
    EXPECT_EQ(xpShutdown(), 1u);
    EXPECT_TRUE(gCalls.empty());
    EXPECT_EQ(xpShutdown(), 0u);
    EXPECT_EQ(gCalls, (std::vector<int>{2, 1}));
    // An unmatched shutdown neither wraps the count nor runs anything again.
    EXPECT_EQ(xpShutdown(), 0u);
    { XpFrameworkScope scope; EXPECT_EQ(xpStartupCount(), 1u); }
    EXPECT_EQ(xpStartupCount(), 0u);
    EXPECT_EQ(gCalls.size(), 2u);
}

TEST(FrameworkStartup, HandlerTableIsBounded) {
    int value = 7;
    EXPECT_EQ(xpRegisterShutdownHandler(nullptr, nullptr), kErrInvalidArgument);
    for (int i = 0; i < 32; ++i) ASSERT_EQ(xpRegisterShutdownHandler(record, &value), kResultOk);
    EXPECT_EQ(xpRegisterShutdownHandler(record, &value), kErrNoBufferSpace);
    gCalls.clear();
    xpStartup();
    xpShutdown();
    EXPECT_EQ(gCalls.size(), 32u);
}

}  // namespace
