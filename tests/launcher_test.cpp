// The launcher of tests/support ends what it started, the program and every
// process the program started: when the run ends, when its time runs out,
// when the test drops it unfinished, and when the test process is killed.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/support/support.h"

namespace {

using namespace std::chrono_literals;

// A shell that starts a sleeping child, writes its number to the file
// child, and then runs `then`.
std::string leavesAChild(const std::string& then) { return "sleep 300 & echo $! > child; " + then; }

// Waits up to a few seconds for pid to be gone or a zombie, which ends
// too: nobody may be there to reap it.
bool ends(pid_t pid) {
    if (pid <= 0) return false;
    for (auto waited = 0ms; waited < 5s; waited += 10ms, std::this_thread::sleep_for(10ms)) {
        const std::string stat = vt::slurp("/proc/" + std::to_string(pid) + "/stat");
        const size_t state = stat.rfind(')') + 2;
        if (stat.empty() || stat[state] == 'Z' || stat[state] == 'X') return true;
    }
    return false;
}

// The number in dir/name once it is written whole, else -1.
pid_t numberIn(const vt::TempDir& dir, const std::string& name) {
    for (auto waited = 0ms; waited < 10s; waited += 10ms, std::this_thread::sleep_for(10ms))
        if (const std::string text = vt::slurp(dir / name); text.ends_with("\n")) return pid_t(std::stol(text));
    return -1;
}

TEST(Launcher, ARunEndsWithTheChildrenItLeftOrWhenItsTimeIsUp) {
    const struct {
        std::string then;
        bool piped;
        int status;
        std::string out;
    } cases[] = {
        {"echo done; exit 3", true, 3, "done\n"},  // the child holds the output: not waited for
        {"echo started; sleep 300", true, -1, "started\n"},
        {"echo started; sleep 300", false, -1, "started\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.then);
        vt::TempDir dir;
        const auto start = std::chrono::steady_clock::now();
        const vt::Run run = vt::runProgram("/bin/sh", {"-c", leavesAChild(c.then)}, dir.path, "/dev/null",
                                           c.piped ? "" : dir / "out", false, 1);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.timedOut, c.status == -1);
        EXPECT_EQ(c.piped ? run.out : vt::slurp(dir / "out"), c.out);
        EXPECT_TRUE(ends(numberIn(dir, "child")));
    }
}

TEST(Launcher, AProgramNotWaitedForEndsWithItsObject) {
    vt::TempDir dir;
    const auto inDir = [&] { (void)!chdir(dir.path.c_str()); };
    pid_t program = -1;
    {
        vt::Started started("/bin/sh", {"-c", leavesAChild("exec sleep 300")}, inDir);
        program = started.pid();
        ASSERT_GT(numberIn(dir, "child"), 0);
    }
    EXPECT_EQ(kill(program, 0), -1);  // reaped
    EXPECT_TRUE(ends(numberIn(dir, "child")));
}

// As a harness that gives up on a test kills it: SIGKILL, which no handler
// sees. A forked copy of this test process stands for the test; the guard
// it started ends its program and the program's child.
TEST(Launcher, ATestKilledOutrightTakesItsProgramsWithIt) {
    vt::TempDir dir;
    const pid_t test = fork();
    ASSERT_GE(test, 0);
    if (test == 0) {
        const auto inDir = [&] { (void)!chdir(dir.path.c_str()); };
        vt::Started started("/bin/sh", {"-c", "echo $$ > program; " + leavesAChild("exec sleep 300")}, inDir);
        // Killed before its guard has heard of the program, the copy would
        // leave nothing to clean up: it says when the guard has been told.
        vt::spill(dir / "told", "1\n");
        for (;;) pause();
    }
    const pid_t program = numberIn(dir, "program"), child = numberIn(dir, "child");
    EXPECT_EQ(numberIn(dir, "told"), 1);
    kill(test, SIGKILL);
    ASSERT_EQ(waitpid(test, nullptr, 0), test);
    ASSERT_GT(program, 0);
    ASSERT_GT(child, 0);
    EXPECT_TRUE(ends(program));
    EXPECT_TRUE(ends(child));
}

}  // namespace
