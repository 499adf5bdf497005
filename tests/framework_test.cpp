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
    // A short buffer cuts the name; one too short for the unknown name cuts that.
    EXPECT_STREQ(programNameFromPath("/bin/abcdefghij", buffer, 10), "abcdefghi");
    EXPECT_STREQ(programNameFromPath("/bin/ab", buffer, 9), "(unknown");
    EXPECT_STREQ(programNameFromPath("/bin/ab", nullptr, 9), "(unknown)");
    EXPECT_STREQ(programName(), "vro_results_tests");
}

}  // namespace
