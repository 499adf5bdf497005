#include "app/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

// The exact help text is checked on the built program; here it is enough to
// know that help was written, whole, to standard output.
const char kHelp[] = "(help)";
bool isHelp(const std::string& out) {
    return out.rfind("Usage: vm [--format csv|csvh|plain] [--label label] [infile [[+]outfile]]\n\nvm reads", 0) == 0 &&
           out.size() > 200 && out.compare(out.size() - 8, 8, "'label'\n") == 0;
}

const char kVersionText[] =
    "vm 8.0.3595.7981 (2021.11.06.1529) Portix (x86)\n"
    "Copyright (C) 2021 The Varo metrics authors. All rights reserved.\n";

const char kSyntaxHint[] = "Type vm --help for a syntax summary\n";

// One parse of a command line, with what it wrote.
struct ParseRun {
    CommandLineOutcome outcome{};
    CommandLineOptions options;
    std::string out, err;
    std::vector<std::string> args;
};

void parse(ParseRun& run, std::vector<std::string> args, const LongOption* table = kLongOptions) {
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

struct ExitCase {
    std::vector<std::string> args;
    int status;
    std::string out, err;
};

TEST(CommandLine, RunsThatEndEarlyWriteExactlyTheirTexts) {
    const ExitCase cases[] = {
        {{"--help"}, 0, kHelp, ""},
        {{"--help=x"}, 0, kHelp, ""},
        {{"--version"}, 0, kVersionText, ""},
        {{"--version=x"}, 0, kVersionText, ""},
        {{"--version", "--bogus"}, 0, kVersionText, ""},
        {{"--help", "--format", "json"}, 0, kHelp, ""},
        {{"--bogus", "--version"}, 1, "", std::string("unknown option --bogus\n") + kSyntaxHint},
        {{"--bogus=x"}, 1, "", std::string("unknown option --bogus\n") + kSyntaxHint},
        {{"--vers"}, 1, "", std::string("unknown option --vers\n") + kSyntaxHint},      // no abbreviations
        {{"--HELP"}, 1, "", std::string("unknown option --HELP\n") + kSyntaxHint},      // names keep case
        {{"--=x"}, 1, "", std::string("unknown option --\n") + kSyntaxHint},
        {{"-abc"}, 1, "", std::string("unknown option -a\n") + kSyntaxHint},
        {{"-h", "--help"}, 1, "", std::string("unknown option -h\n") + kSyntaxHint},
        {{"--format"}, 1, "", std::string("option --format requires an argument\n") + kSyntaxHint},
        {{"--label"}, 1, "", std::string("option --label requires an argument\n") + kSyntaxHint},
        {{"--format", ""}, 1, "", "Unknown output format ''; type vm --help for options\n"},
        {{"--format="}, 1, "", "Unknown output format ''; type vm --help for options\n"},
        {{"--format", "json"}, 1, "", "Unknown output format 'json'; type vm --help for options\n"},
        {{"--format", "csv", "--format", "cs"}, 1, "", "Unknown output format 'cs'; type vm --help for options\n"},
        {{"--format", "--help"}, 1, "", "Unknown output format '--help'; type vm --help for options\n"},
        {{"--format", "plain", "--bogus"}, 1, "", std::string("unknown option --bogus\n") + kSyntaxHint},
    };
    for (const ExitCase& c : cases) {
        ParseRun run;
        parse(run, c.args);
        std::string label;
        for (const std::string& a : c.args) label += "[" + a + "]";
        EXPECT_TRUE(run.outcome.exitNow) << label;
        EXPECT_EQ(run.outcome.exitStatus, c.status) << label;
        if (c.out == kHelp)
            EXPECT_TRUE(isHelp(run.out)) << label << run.out;
        else
            EXPECT_EQ(run.out, c.out) << label;
        EXPECT_EQ(run.err, c.err) << label;
    }
}

TEST(CommandLine, UnknownFormatIsRecordedAsMinusOne) {
    ParseRun run;
    parse(run, {"--format", "json"});
    EXPECT_EQ(run.options.outputFormat, kOutputFormatUnknown);
}

struct GoCase {
    std::vector<std::string> args;
    int32_t format;
    std::string label, input, output;
};

TEST(CommandLine, OptionsAndPositionalArguments) {
    const GoCase cases[] = {
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
    for (const GoCase& c : cases) {
        ParseRun run;
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
}

TEST(CommandLine, FormatNamesFoldOnlyAsciiLetters) {
    EXPECT_EQ(outputFormatFromName(nullptr), kOutputFormatUnknown);
    EXPECT_EQ(outputFormatFromName("TXT"), kOutputFormatPlain);
    EXPECT_EQ(outputFormatFromName("csv "), kOutputFormatUnknown);
    EXPECT_EQ(outputFormatFromName("csvh\xC3\x84"), kOutputFormatUnknown);
}

TEST(CommandLine, ValuesTheProgramDoesNotKnowEndTheRun) {
    const LongOption table[] = {{"extra", kNoArgument, 'x'}, {nullptr, 0, 0}};
    ParseRun run;
    parse(run, {"--extra"}, table);
    EXPECT_TRUE(run.outcome.exitNow);
    EXPECT_EQ(run.outcome.exitStatus, 1);
    EXPECT_EQ(run.err, "Unhandled option -x\n");
}

}  // namespace
