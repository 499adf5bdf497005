// Runs the built program under faults a single interactive run never meets:
// closed standard descriptors, a reader that went away, a file-size limit,
// and many runs appending to one report or sharing one log at the same time.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

using vt::linesOf;
using vt::slurp;
using vt::spill;
const std::string kSample = VARO_SOURCE_DIR "/examples/ris.ris";
const std::string kBom = "\xEF\xBB\xBF";

std::string lastLine(const std::string& text) {
    const auto lines = linesOf(text);
    return lines.empty() ? "" : lines.back();
}

// "YYYY-MM-DD hh:mm:ss [level] message": the only lines a log file may hold.
bool isLogLine(const std::string& line) {
    static const std::string shape = "dddd-dd-dd dd:dd:dd [";
    if (line.size() < shape.size() || line.find("] ", shape.size()) == std::string::npos) return false;
    for (size_t i = 0; i < shape.size(); ++i)
        if (shape[i] == 'd' ? !isdigit(static_cast<unsigned char>(line[i])) : line[i] != shape[i]) return false;
    return true;
}

class Faults : public ::testing::Test {
protected:
    void SetUp() override { setenv("TMPDIR", dir_.path.c_str(), 1); }  // the log file lives here

    // Starts the program in the test's directory with standard output and
    // error in files; setup adjusts the child's descriptors or limits before
    // exec, and a child waits for gate to close so that many start together.
    std::unique_ptr<vt::Started> start(const std::vector<std::string>& args, const std::function<void()>& setup = {},
                                       int gate = -1, const std::vector<std::string>& env = {}) {
        const std::string out = dir_ / "stdout", err = dir_ / "stderr";
        return std::make_unique<vt::Started>(
            VARO_EXE, args,
            [&] {
                signal(SIGPIPE, SIG_DFL);
                signal(SIGXFSZ, SIG_DFL);
                if (chdir(dir_.path.c_str()) != 0) _exit(126);
                vt::redirect("/dev/null", O_RDONLY, 0);
                vt::redirect(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 1);
                vt::redirect(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 2);
                if (setup) setup();
                char byte;
                if (gate != -1) (void)!read(gate, &byte, 1);
            },
            env);
    }
    // Exit status, or 128 plus the signal that ended the run.
    static int finish(const std::unique_ptr<vt::Started>& program) { return program->finish(); }
    // Starts every command line of runs at once and expects each to succeed.
    void startTogether(const std::vector<std::vector<std::string>>& runs) {
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        std::vector<std::unique_ptr<vt::Started>> programs;
        // Leaks are the single-run tests' business; here they would only slow
        // hundreds of sanitized starts.
        for (const auto& args : runs)
            programs.push_back(start(args, [&] { close(gate[1]); }, gate[0], {"ASAN_OPTIONS=detect_leaks=0"}));
        close(gate[0]);
        close(gate[1]);
        for (const auto& program : programs) ASSERT_EQ(finish(program), 0);
    }
    std::string err() const { return slurp(dir_ / "stderr"); }
    std::string log() const { return slurp(dir_ / "varometrics.log"); }

    vt::TempDir dir_;
};

// A standard descriptor closed by the caller is never mistaken for a file
// the program opens: the log holds log lines only, and a report or input on
// the closed descriptor fails with "Bad file descriptor".
TEST_F(Faults, ClosedStandardDescriptorsFailOrStaySilent) {
    const struct {
        int closed;
        std::vector<std::string> args;
        int status;
        std::string lastLine;  // of standard error
    } cases[] = {
        {1, {kSample}, 1, "<stdout>: cannot export metrics: Bad file descriptor"},
        {1, {kSample, "+"}, 1, "+: cannot export metrics: Bad file descriptor"},
        {0, {}, 1, "<stdin>: cannot import data: Bad file descriptor"},
        {0, {"-", "report.txt"}, 1, "-: cannot import data: Bad file descriptor"},
        {2, {kSample}, 0, ""},
        {2, {"missing.ris"}, 1, ""},
    };
    ASSERT_EQ(finish(start({kSample})), 0);
    const std::string report = slurp(dir_ / "stdout");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.closed);
        std::remove((dir_ / "varometrics.log").c_str());
        EXPECT_EQ(finish(start(c.args, [&] { close(c.closed); })), c.status);
        EXPECT_EQ(lastLine(err()), c.lastLine);
        const auto logLines = linesOf(log());
        EXPECT_GE(logLines.size(), 2u);
        for (const std::string& line : logLines) EXPECT_TRUE(isLogLine(line)) << line;
        if (c.closed == 2) {
            EXPECT_EQ(slurp(dir_ / "stdout"), c.status == 0 ? report : "");
        }
    }
}

// A reader that went away and a file-size limit are write failures with
// their own codes, reported on one line, never a death by signal.
TEST_F(Faults, BrokenPipeAndFileSizeLimitAreWriteFailures) {
    const std::vector<std::string> args{"--label", std::string(100000, 'x'), kSample};
    int gone[2];
    ASSERT_EQ(pipe(gone), 0);
    const auto program = start(args, [&] {
        dup2(gone[1], 1);
        close(gone[0]);
        close(gone[1]);
    });
    close(gone[0]);
    close(gone[1]);
    EXPECT_EQ(finish(program), 1);
    EXPECT_EQ(lastLine(err()), "<stdout>: cannot export metrics: Broken pipe");

    std::vector<std::string> toFile(args);
    toFile.push_back("report.txt");
    const rlimit limit{4096, 4096};
    EXPECT_EQ(finish(start(toFile, [&] { setrlimit(RLIMIT_FSIZE, &limit); })), 1);
    EXPECT_EQ(lastLine(err()), "report.txt: cannot export metrics: File too large");
    EXPECT_EQ(slurp(dir_ / "report.txt"), kBom + std::string(4093, 'x'));
}

// Eight runs append reports of more than one write each to the same new
// file: one byte-order mark in all, and every report whole.
TEST_F(Faults, ConcurrentAppendsWriteOneMarkAndWholeReports) {
    ASSERT_EQ(finish(start({"--format", "csv", "--label", "L", kSample})), 0);
    const std::string values = slurp(dir_ / "stdout").substr(kBom.size() + 1);
    for (int round = 0; round < 50; ++round) {
        const std::string target = "round" + std::to_string(round) + ".csv";
        std::vector<std::vector<std::string>> runs;
        std::vector<std::string> expected;
        for (int i = 0; i < 8; ++i) {
            const std::string label(5000, char('a' + i));
            runs.push_back({"--format", "csv", "--label", label, kSample, "+" + target});
            expected.push_back(label + values);
        }
        startTogether(runs);
        const std::string text = slurp(dir_ / target);
        ASSERT_EQ(text.rfind(kBom), 0u) << "round " << round;
        std::vector<std::string> lines = linesOf(text.substr(kBom.size()));
        for (std::string& line : lines) line += '\n';
        std::sort(lines.begin(), lines.end());
        ASSERT_EQ(lines, expected) << "round " << round;
    }
}

// Eight runs start against a log just over 256 KiB: exactly one rotates,
// every generation moves up by one, and the new log holds whole lines only.
TEST_F(Faults, ConcurrentStartsRotateTheLogOnce) {
    const std::string log = dir_ / "varometrics.log";
    std::string full;
    while (full.size() < 263200) full += "2026-01-01 00:00:00 [info] filler line of an old run\n";
    full.resize(263199);
    full += '\n';
    for (int round = 0; round < 30; ++round) {
        for (int n = 0; n < 7; ++n) std::remove((log + "." + std::to_string(n)).c_str());
        for (int n = 0; n < 6; ++n) spill(log + "." + std::to_string(n), "generation " + std::to_string(n));
        spill(log, full);
        startTogether(std::vector<std::vector<std::string>>(8, {"--version"}));
        ASSERT_EQ(slurp(log + ".0"), full) << "round " << round;
        for (int n = 1; n < 7; ++n)
            ASSERT_EQ(slurp(log + "." + std::to_string(n)), "generation " + std::to_string(n - 1));
        const auto lines = linesOf(slurp(log));
        ASSERT_EQ(lines.size(), 17u) << "round " << round;
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [](const std::string& l) { return l.ends_with("[info] Rotated log file"); }),
                  1);
        for (const std::string& line : lines) ASSERT_TRUE(isLogLine(line)) << line;
    }
}

}  // namespace
