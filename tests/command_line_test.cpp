// What the parser makes of accepted command lines; the texts of refused ones,
// help and version are checked on the built program (tests/data/program).
#include "app/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

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

std::string orNone(const char* text) { return text ? text : "(none)"; }

TEST(CommandLine, OptionsAndPositionalArguments) {
    const struct {
        std::vector<std::string> args;
        int32_t format;
        std::string label, input, output;
    } cases[] = {
        {{}, 0, "(none)", "(none)", "(none)"},
        {{"--format", "CSVH"}, 3, "(none)", "(none)", "(none)"},
        {{"--format", "Csv"}, 2, "(none)", "(none)", "(none)"},
        {{"--format=txt"}, 1, "(none)", "(none)", "(none)"},
        {{"--format", "csv", "--format", "PLAIN"}, 1, "(none)", "(none)", "(none)"},
        {{"--label", "-x"}, 0, "-x", "(none)", "(none)"},  // a required argument is taken whole
        {{"--label", "a", "--label=b"}, 0, "b", "(none)", "(none)"},
        {{"--label="}, 0, "", "(none)", "(none)"},
        {{"in.csv", "+out.txt"}, 0, "(none)", "in.csv", "+out.txt"},
        {{"in", "out", "third"}, 0, "(none)", "in", "out"},
        // Parsing stops at the first non-option: the rest is positional.
        {{"data.csv", "--format", "csv"}, 0, "(none)", "data.csv", "--format"},
        {{"-", "--bogus"}, 0, "(none)", "-", "--bogus"},
        {{"--", "--help"}, 0, "(none)", "--help", "(none)"},
        {{"--format", "csv", "--", "-", "x"}, 2, "(none)", "-", "x"},
        {{"--label", "L", "--", "--"}, 0, "L", "--", "(none)"},
    };
    for (const auto& c : cases) {
        Parsed run;
        parse(run, c.args);
        std::string label;
        for (const std::string& a : c.args) label += "[" + a + "]";
        EXPECT_FALSE(run.outcome.exitNow) << label;
        EXPECT_EQ(run.out + run.err, "") << label;
        EXPECT_EQ(run.options.outputFormat, c.format) << label;
        EXPECT_EQ(orNone(run.options.label), c.label) << label;
        EXPECT_EQ(orNone(run.options.inputPath), c.input) << label;
        EXPECT_EQ(orNone(run.options.outputArgument), c.output) << label;
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
