// What the parser makes of accepted command lines; the texts of refused ones,
// help and version are checked on the built program (tests/data/program).
#include "app/varometrics/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>
#include <sstream>

#include "tests/support/support.h"

namespace {

struct Parsed {
    CommandLineOutcome outcome{};
    CommandLineOptions options;
    std::string out, err;
    std::vector<std::string> args;  // the options point into these
};

void parse(Parsed& run, std::vector<std::string> args, const LongOption* table = kLongOptions) {
    run.args = std::move(args);
    std::vector<char*> argv{const_cast<char*>("vm")};
    for (std::string& a : run.args) argv.push_back(a.data());
    argv.push_back(nullptr);
    char *outText = nullptr, *errText = nullptr;
    size_t outSize = 0, errSize = 0;
    FILE* out = open_memstream(&outText, &outSize);
    FILE* err = open_memstream(&errText, &errSize);
    ASSERT_TRUE(out && err);
    run.outcome = parseCommandLineWith(table, int(argv.size() - 1), argv.data(), "vm", run.options, out, err);
    std::fclose(out);
    std::fclose(err);
    run.out.assign(outText, outSize);
    run.err.assign(errText, errSize);
    std::free(outText);
    std::free(errText);
}

std::string orDash(const char* text) { return text ? text : "-"; }

TEST(CommandLine, OptionsAndPositionalArgumentsAsInTestsData) {
    for (const std::vector<std::string>& row : vt::tableOf("program/command-lines.txt")) {
        std::vector<std::string> args;
        std::istringstream words(row.at(0));
        for (std::string word; words >> word;) args.push_back(word);
        Parsed run;
        parse(run, args);
        EXPECT_FALSE(run.outcome.exitNow) << row[0];
        EXPECT_EQ(run.out + run.err, "") << row[0];
        EXPECT_EQ(std::to_string(run.options.outputFormat) + " | " + orDash(run.options.label) + " | " +
                      orDash(run.options.inputPath) + " | " + orDash(run.options.outputArgument),
                  row.at(1) + " | " + row.at(2) + " | " + row.at(3) + " | " + row.at(4))
            << row[0];
    }
    Parsed refused;
    parse(refused, {"--format", "json"});
    EXPECT_EQ(refused.options.outputFormat, kOutputFormatUnknown);
}

TEST(CommandLine, FormatNamesFoldOnlyAsciiLetters) {
    EXPECT_EQ(outputFormatFromName(nullptr), kOutputFormatUnknown);
    EXPECT_EQ(outputFormatFromName("TXT"), kOutputFormatPlain);
    EXPECT_EQ(outputFormatFromName("csv "), kOutputFormatUnknown);
    EXPECT_EQ(outputFormatFromName("csvh\xC3\x84"), kOutputFormatUnknown);
}

TEST(CommandLine, ValuesTheProgramDoesNotKnowEndTheRun) {
    const LongOption table[] = {{"extra", kNoArgument, 'x'}, {nullptr, 0, 0}};
    Parsed run;
    parse(run, {"--extra"}, table);
    EXPECT_TRUE(run.outcome.exitNow);
    EXPECT_EQ(run.outcome.exitStatus, 1);
    EXPECT_EQ(run.err, "Unhandled option -x\n");
}

}  // namespace
