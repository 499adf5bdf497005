// Runs the built program with the command lines users type and checks what
// it prints and how it exits.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Result {
    int status = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class VarometricsCli : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vro_cli_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { (void)std::system(("rm -rf '" + dir_ + "'").c_str()); }

    // Standard input is empty, standard output and error go to files, and the
    // temporary directory (where a log may be kept) is the test's own.
    Result run(const std::vector<std::string>& args) {
        Result result;
        const std::string outPath = dir_ + "/stdout", errPath = dir_ + "/stderr";
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addchdir_np(&actions, dir_.c_str());
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        std::vector<char*> argv{const_cast<char*>(VARO_EXE)};
        std::vector<std::string> copies(args);
        for (std::string& a : copies) argv.push_back(a.data());
        argv.push_back(nullptr);
        std::string tmpdir = "TMPDIR=" + dir_;
        std::vector<char*> env{tmpdir.data()};
        for (char** e = environ; *e; ++e)
            if (std::string(*e).rfind("TMPDIR=", 0) != 0) env.push_back(*e);
        env.push_back(nullptr);
        pid_t pid;
        const int spawned = posix_spawn(&pid, VARO_EXE, &actions, nullptr, argv.data(), env.data());
        posix_spawn_file_actions_destroy(&actions);
        EXPECT_EQ(spawned, 0);
        if (spawned != 0) return result;
        int status = 0;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status));
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = slurp(outPath);
        result.err = slurp(errPath);
        return result;
    }

    std::string dir_;
};

bool contains(const std::string& text, const char* piece) {
    return text.find(piece) != std::string::npos;
}

TEST_F(VarometricsCli, HelpPrintsTheUsageAndOptions) {
    const Result r = run({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::string expected =
        "Usage: varometrics [--format csv|csvh|plain] [--label label] [infile [[+]outfile]]\n"
        "\n"
        "varometrics reads publication data from 'infile', or from stdin if no 'infile'\n"
        "is specified, then calculates citation metrics and writes the outcome to\n"
        "'outfile' if specified, else to stdout. If 'outfile' is preceded by a '+'\n"
        "character, output is appended to 'outfile', else 'outfile' is overwritten.\n"
        "\n"
        "Acceptable input formats are the same as the import formats for Varo: various CSV formats, "
        "JSON, EndNote, ISI, and RefMan/RIS.\n"
        "\n"
        "The output format is the first of:\n"
        "\n"
        "  (1) the format specified by the --format option\n"
        "  (2) the extension of 'outfile', if any:\n"
        "    .csv   CSV (comma-separated values)\n"
        "    .txt   Plain text\n"
        "  (3) the default, which is currently plain text output.\n"
        "\n"
        "\n"
        "Output options:\n"
        "--format csv|csvh|plain  specifies the output format for the metrics\n"
        "--label label            labels each set of metrics with 'label'\n";
    EXPECT_EQ(r.out, expected);
}

TEST_F(VarometricsCli, VersionPrintsProductAndCopyrightLines) {
    for (const char* arg : {"--version", "--version=x"}) {
        const Result r = run({arg, "--bogus"});
        EXPECT_EQ(r.status, 0) << arg;
        EXPECT_EQ(r.err, "") << arg;
        EXPECT_EQ(r.out,
                  "varometrics 8.0.3595.7981 (2021.11.06.1529) Portix (x86)\n"
                  "Copyright (C) 2021 The Varo metrics authors. All rights reserved.\n")
            << arg;
    }
}

TEST_F(VarometricsCli, BadOptionsExitOneWithTheirMessages) {
    const struct {
        std::vector<std::string> args;
        const char* err;
    } cases[] = {
        {{"--bogus", "--version"}, "unknown option --bogus\nType varometrics --help for a syntax summary\n"},
        {{"-x"}, "unknown option -x\nType varometrics --help for a syntax summary\n"},
        {{"--label"}, "option --label requires an argument\nType varometrics --help for a syntax summary\n"},
        {{"--format", ""}, "Unknown output format ''; type varometrics --help for options\n"},
        {{"--format", "json"}, "Unknown output format 'json'; type varometrics --help for options\n"},
    };
    for (const auto& c : cases) {
        const Result r = run(c.args);
        EXPECT_EQ(r.status, 1) << c.args[0];
        EXPECT_EQ(r.out, "") << c.args[0];
        EXPECT_EQ(r.err, c.err) << c.args[0];
    }
}

// Accepted command lines go on past option parsing: whatever the run then
// reports, it is not a complaint about the command line.
TEST_F(VarometricsCli, AcceptedCommandLinesReachTheJob) {
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"--format", "CSVH"}, {"--label", "-L", dir_ + "/missing.csv"}}) {
        const Result r = run(args);
        EXPECT_FALSE(contains(r.err, "option")) << r.err;
        EXPECT_FALSE(contains(r.err, "--help")) << r.err;
    }
}

TEST_F(VarometricsCli, ArgumentsAfterTheFirstPositionalAreNotOptions) {
    const Result r = run({"data.csv", "--format", "csv"});
    EXPECT_EQ(r.status, 1);  // data.csv does not exist (or, for now, no job runs)
    EXPECT_FALSE(contains(r.err, "option")) << r.err;
    EXPECT_TRUE(contains(r.err, "data.csv")) << r.err;
}

}  // namespace
