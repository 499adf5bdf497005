#include "foundation/logging.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/framework.h"
#include "tests/support/support.h"

namespace {

// A fresh directory per test, with TMPDIR pointing at it, so that the
// default log path never reaches the real temporary log.
class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* old = getenv("TMPDIR");
        hadTmpdir_ = old != nullptr;
        if (old) oldTmpdir_ = old;
        setenv("TMPDIR", dir_.path.c_str(), 1);
    }
    void TearDown() override {
        logClose();
        if (hadTmpdir_)
            setenv("TMPDIR", oldTmpdir_.c_str(), 1);
        else
            unsetenv("TMPDIR");
    }

    // Runs body with the process's standard error sent to a file; returns
    // what was written there.
    template <class Body>
    std::string captureStderr(Body body) {
        std::string path = dir_ / "stderr.txt";
        fflush(stderr);
        int saved = dup(2);
        FILE* sink = fopen(path.c_str(), "w");
        dup2(fileno(sink), 2);
        body();
        fflush(stderr);
        dup2(saved, 2);
        close(saved);
        fclose(sink);
        return vt::slurp(path);
    }

    std::string path(const char* name) const { return dir_ / name; }

    vt::TempDir dir_;
    std::string oldTmpdir_;
    bool hadTmpdir_ = false;
};

// A log file's lines with each time stamp checked and cut off.
std::string body(const std::string& path) {
    static const std::regex stamp(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} )");
    std::string out;
    for (const std::string& line : vt::linesOf(vt::slurp(path))) {
        EXPECT_TRUE(std::regex_search(line.substr(0, 20), stamp)) << line;
        out += line.substr(20) + "\n";
    }
    return out;
}

TEST_F(LoggingTest, ProgramConfigurationRoutesByLevel) {
    std::string err = captureStderr([] {
        logSetUpForProgram();
        logMessage(kLogNotice, 0, "notice %d", 5);
        logMessage(kLogInfo, 0, "info %d", 6);
        logMessage(kLogDebug, 0, "debug %d", 7);
        logStartupLines("Varo metrics calculator", "8.0.3595.7981 (2021.11.06.1529)", "Portix (x86)");
    });
    EXPECT_EQ(err, std::string(programName()) + ": notice 5\n");
    EXPECT_EQ(logState().effectiveLevel.load(), 6u);
    std::string logPath = dir_ / (std::string(programName()) + ".log");
    ASSERT_STREQ(logState().path.load(), logPath.c_str());
    logClose();
    struct utsname system;
    ASSERT_EQ(uname(&system), 0);
    EXPECT_EQ(body(logPath), std::string("[notice] notice 5\n[info] info 6\n") +
                                 "[info] Varo metrics calculator 8.0.3595.7981 (2021.11.06.1529) Portix (x86)\n" +
                                 "[info] Running on " + system.sysname + " " + system.release + " (" +
                                 system.machine + ") " + system.version + "\n");
}

TEST_F(LoggingTest, EachMessageIsExactlyOneLine) {
    std::string file = path("one.log");
    ASSERT_EQ(logOpen(kLogToFile, file.c_str()), 0);
    const char* empty = "";
    logMessage(kLogError, 0, "trailing blanks \t\r\n\n  ");
    logMessage(kLogError, 0, "%s", empty);  // dropped
    logMessage(kLogError, kErrInvalidFileType, "%s: no importer", "in.csv");
    logMessage(kLogError, 0, nullptr);  // no format: nothing
    logMessage(kLogError | 8, 0, "level bits above 7 are ignored");
    logClose();
    EXPECT_EQ(body(file),
              "[error] trailing blanks\n[error] in.csv: no importer: [774] Invalid file type\n"
              "[error] level bits above 7 are ignored\n");
}

TEST_F(LoggingTest, LongMessagesAreCutToTheLineBuffer) {
    std::string file = path("long.log");
    std::string longText(3000, 'x');
    std::string err = captureStderr([&] {
        ASSERT_EQ(logOpen(kLogToStderr | kLogToFile, file.c_str()), 0);
        logMessage(kLogError, 0, "%s", longText.c_str());
    });
    // 1,022 characters, then the newline.
    ASSERT_EQ(err.size(), 1023u);
    EXPECT_EQ(err.substr(0, strlen(programName()) + 2), std::string(programName()) + ": ");
    EXPECT_EQ(err.back(), '\n');
    logClose();
    std::string content = vt::slurp(file);
    ASSERT_EQ(content.size(), 1023u);
    EXPECT_EQ(content.substr(1001), std::string(21, 'x') + "\n");
}

TEST_F(LoggingTest, ThresholdsAndEffectiveLevel) {
    EXPECT_EQ(logOpen(kLogToDebugger, nullptr), 0);
    EXPECT_EQ(logState().effectiveLevel.load(), 7u);  // the debugger takes everything
    EXPECT_EQ(logOpen(0, nullptr), 0);
    EXPECT_EQ(logState().effectiveLevel.load(), 0u);
    EXPECT_EQ(logOpen(kLogToSyslog | kLogToStderr, nullptr), 0);
    EXPECT_EQ(logState().effectiveLevel.load(), 5u);
    EXPECT_EQ(logSetLevel(kLogToStderr, 2), 5u);       // the system log still takes 5
    EXPECT_EQ(logSetLevel(255, 1), 1u);                // 255: all three thresholds
    EXPECT_EQ(logSetLevel(kLogToFile, 7), 1u);         // file target not enabled
    EXPECT_EQ(logSetLevel(8 | 16, 0), 1u);             // no threshold bits: nothing set

    logSetLevel(kLogToSyslog, 0);
    std::string err = captureStderr([] {
        logSetLevel(kLogToStderr, 7);
        logMessage(kLogDebug, 0, "debug reaches %s", "stderr");
    });
    EXPECT_EQ(err, std::string(programName()) + ": debug reaches stderr\n");

    logClose();
    const LogState& s = logState();
    EXPECT_EQ(s.targets.load(), 0u);
    EXPECT_EQ(s.stderrLevel.load(), 0u);
    EXPECT_EQ(s.effectiveLevel.load(), 0u);
    EXPECT_EQ(s.path.load(), nullptr);
}

TEST_F(LoggingTest, UnopenableLogFileKeepsTheTargetBitButWritesNothing) {
    std::string file = path("missing/dir/x.log");
    EXPECT_EQ(logOpen(kLogToFile, file.c_str()), kErrNoSuchFile);
    EXPECT_EQ(logState().targets.load(), uint32_t(kLogToFile));
    EXPECT_EQ(logState().file.load(), nullptr);
    EXPECT_EQ(logMessage(kLogError, 0, "goes nowhere"), 0);
    EXPECT_EQ(logRotate(0, 7), 0);  // nothing open: nothing to rotate
}

TEST_F(LoggingTest, RotationShiftsGenerationsInSecondaryForm) {
    std::string file = path("g.log");
    for (int run = 0; run < 3; ++run) {
        vt::spill(file, "run" + std::to_string(run) + "\n");
        ASSERT_EQ(logOpen(kLogToFile, file.c_str()), 0);
        ASSERT_EQ(logRotate(0, 7), 0);
        ASSERT_EQ(logRotate(1u << 20, 7), 0);  // small enough: the file stays
        // Another run may take its turn while this one still logs.
        const int other = open(file.c_str(), O_WRONLY | O_APPEND);
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
        close(other);
        logMessage(kLogError, 0, "after rotation %d", run);  // lands in the new file
        logClose();
    }
    EXPECT_EQ(vt::slurp(file + ".2"), "run0\n");
    EXPECT_EQ(vt::slurp(file + ".1"), "run1\n");
    EXPECT_EQ(vt::slurp(file + ".0"), "run2\n");
    EXPECT_FALSE(vt::exists(path("g.0.log")));
    EXPECT_NE(vt::slurp(file).find("after rotation 2"), std::string::npos);
}

TEST_F(LoggingTest, RotationsAsInTestsData) {
    for (const std::vector<std::string>& row : vt::tableOf("foundation/rotations.txt")) {
        vt::TempDir dir;
        ASSERT_EQ(mkdir((dir / "d.ir").c_str(), 0700), 0);
        std::istringstream before(row.at(2));
        for (std::string file; before >> file;) vt::spill(dir / file.substr(0, file.find('=')), file.substr(file.find('=') + 1));
        std::string after = std::to_string(rotateFiles((dir / row[1]).c_str(), uint32_t(std::stoul(row[0]))));
        for (const std::string& folder : {std::string(), std::string("d.ir/")})
            for (const auto& entry : std::filesystem::directory_iterator(dir / folder))
                if (entry.is_regular_file()) after += " " + folder + entry.path().filename().string() + "=" + vt::slurp(entry.path());
        std::istringstream words(after);
        std::vector<std::string> sorted{std::istream_iterator<std::string>(words), {}};
        std::sort(sorted.begin() + 1, sorted.end());
        after.clear();
        for (const std::string& w : sorted) after += (after.empty() ? "" : " ") + w;
        EXPECT_EQ(after, row.at(3)) << row[0] << " | " << row[1] << " | " << row[2];
    }
    EXPECT_EQ(rotateFiles(nullptr, 3), kErrInvalidArgument);
    EXPECT_EQ(rotateFiles("", 3), kErrInvalidArgument);
}

TEST_F(LoggingTest, ProgramLogRotatesAbove256KiBKeepingSevenGenerations) {
    const std::string log = dir_ / (std::string(programName()) + ".log");
    for (int size : {263167, 263168}) {
        for (int g = 0; g < 7; ++g) vt::spill(log + "." + std::to_string(g), "gen" + std::to_string(g));
        vt::spill(log, std::string(size_t(size), 'o'));
        logSetUpForProgram();
        logClose();
        EXPECT_EQ(vt::slurp(log + ".0").size(), size == 263168 ? 263168u : 4u) << size;
        if (size == 263168) EXPECT_EQ(body(log), "[info] Rotated log file\n");
        else EXPECT_EQ(vt::slurp(log).size(), size_t(size));
    }
    EXPECT_EQ(vt::slurp(log + ".6"), "gen5");
    EXPECT_FALSE(vt::exists(log + ".7"));
}

}  // namespace
