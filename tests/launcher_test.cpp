// The launcher of tests/support ends what it started: the program and every
// process the program started, when the run ends, when its time runs out,
// and when the test process itself is killed.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/support.h"

namespace {

using namespace std::chrono_literals;

// A shell that starts a sleeping child in the background, writes the
// child's process number to the file child, and then runs `then`.
std::string leavesAChild(const std::string& then) { return "sleep 300 & echo $! > child; " + then; }

// A Started program's setup: it runs in dir.
std::function<void()> inside(const vt::TempDir& dir) {
    return [&dir] {
        if (chdir(dir.path.c_str()) != 0) _exit(126);
    };
}

// Running, that is neither gone nor a zombie nobody has reaped yet.
bool running(pid_t pid) {
    const std::string stat = vt::slurp("/proc/" + std::to_string(pid) + "/stat");
    const size_t close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z' && stat[close + 2] != 'X';
}

// Waits a few seconds at most for pid to stop running.
bool ends(pid_t pid) {
    for (auto waited = 0ms; waited < 5s; waited += 10ms) {
        if (!running(pid)) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

// The number a file in dir holds once something has written it whole.
pid_t numberIn(const vt::TempDir& dir, const std::string& name) {
    for (auto waited = 0ms; waited < 10s; waited += 10ms) {
        const std::string text = vt::slurp(dir / name);
        if (!text.empty() && text.back() == '\n') return pid_t(std::stol(text));
        std::this_thread::sleep_for(10ms);
    }
    return -1;
}

TEST(Launcher, ARunEndsWithTheChildItLeftHoldingItsOutput) {
    vt::TempDir dir;
    const auto start = std::chrono::steady_clock::now();
    const vt::Run run = vt::runProgram("/bin/sh", {"-c", leavesAChild("echo done; exit 3")}, dir.path);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);  // not the child's 300 s
    EXPECT_EQ(run.status, 3);
    EXPECT_FALSE(run.timedOut);
    EXPECT_EQ(run.out, "done\n");
    const pid_t child = numberIn(dir, "child");
    ASSERT_GT(child, 0);
    EXPECT_TRUE(ends(child));
}

TEST(Launcher, ARunPastItsTimeEndsWithEverythingItStarted) {
    vt::TempDir dir;
    for (const bool piped : {true, false}) {
        SCOPED_TRACE(piped);
        std::remove((dir / "child").c_str());
        const auto start = std::chrono::steady_clock::now();
        const vt::Run run = vt::runProgram("/bin/sh", {"-c", leavesAChild("echo started; sleep 300")}, dir.path,
                                           "/dev/null", piped ? "" : dir / "out", false, 1);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
        EXPECT_EQ(run.status, -1);
        EXPECT_TRUE(run.timedOut);
        EXPECT_EQ(piped ? run.out : vt::slurp(dir / "out"), "started\n");
        const pid_t child = numberIn(dir, "child");
        ASSERT_GT(child, 0);
        EXPECT_TRUE(ends(child));
    }
}

TEST(Launcher, AProgramNotWaitedForEndsWithItsObject) {
    vt::TempDir dir;
    pid_t program = -1;
    {
        vt::Started started("/bin/sh", {"-c", leavesAChild("exec sleep 300")}, inside(dir));
        program = started.pid();
        ASSERT_GT(numberIn(dir, "child"), 0);
    }
    EXPECT_FALSE(running(program));  // reaped
    EXPECT_TRUE(ends(numberIn(dir, "child")));
}

// As ctest ends a test past its time: SIGKILL, which no handler sees. A
// forked copy of this test process stands for the test; the guard it
// started ends its program and the program's child.
TEST(Launcher, ATestKilledOutrightTakesItsProgramsWithIt) {
    vt::TempDir dir;
    const pid_t test = fork();
    ASSERT_GE(test, 0);
    if (test == 0) {
        vt::Started started("/bin/sh", {"-c", "echo $$ > program; " + leavesAChild("exec sleep 300")}, inside(dir));
        for (;;) pause();
    }
    const pid_t program = numberIn(dir, "program"), child = numberIn(dir, "child");
    kill(test, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(test, &status, 0), test);
    ASSERT_GT(program, 0);
    ASSERT_GT(child, 0);
    EXPECT_TRUE(ends(program));
    EXPECT_TRUE(ends(child));
}

}  // namespace
