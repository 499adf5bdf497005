// Runs the built programs as a user does, on the scenarios of
// tests/data/program/*.cases (varoreport for the files named varoreport*,
// which keeps no log), and on every real export beside the project.
//
// A scenario starts with "== title" and holds, one per line:
//   $ ARGS          the command line (blank-separated; "..." groups, "" is empty)
//   < PATH          standard input (default /dev/null)
//   out PATH        standard output into a file (out+ appends), else a pipe
//   mkdir NAME      a directory made first
//   absent NAME     a file that must not exist after the run
//   ? N             the exit status (default 0)
// and the expected contents of standard output (1), standard error (2), the
// log lines after the two start-up lines without time stamps (L), a file
// (put:NAME, written before the run) or a file after it (F:NAME), built up
// piece by piece: "T> text" a line, "T- text" text without line feed,
// "T= golden" a file under tests/data, "T~ golden" the same without its first
// line. Every stream not mentioned must stay empty. In all text, @DATA@ is
// tests/data, @YEAR@ the current UTC year, @BOM@ the UTF-8 mark, and \xNN,
// \t, \r and \\ are escapes. Relative paths are taken in the run's directory.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <ctime>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

std::string substitute(std::string text) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    const std::pair<std::string, std::string> names[] = {
        {"@DATA@", vt::dataPath("")}, {"@YEAR@", std::to_string(parts.tm_year + 1900)}, {"@BOM@", "\xEF\xBB\xBF"}};
    for (const auto& [name, value] : names)
        for (size_t at; (at = text.find(name)) != std::string::npos;) text.replace(at, name.size(), value);
    return vt::unescaped(text);
}

std::vector<std::string> splitArgs(const std::string& line) {
    std::vector<std::string> args;
    std::string current;
    bool inArg = false, quoted = false;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            inArg = true;
        } else if (c == ' ' && !quoted) {
            if (inArg) args.push_back(substitute(current));
            current.clear();
            inArg = false;
        } else {
            current += c;
            inArg = true;
        }
    }
    if (inArg) args.push_back(substitute(current));
    return args;
}

struct Scenario {
    std::string title, stdinPath = "/dev/null", stdoutPath;
    bool append = false;
    int status = 0;
    std::vector<std::string> args, dirs, absent;
    std::map<std::string, std::string> expected;  // "1", "2", "L", "F:name", "put:name"
};

std::vector<Scenario> readScenarios(const std::string& path) {
    std::vector<Scenario> all;
    for (const std::string& line : vt::linesOf(vt::slurp(path))) {
        if (line.empty() || line[0] == '#') continue;
        if (line.rfind("== ", 0) == 0) {
            all.emplace_back().title = line.substr(3);
            continue;
        }
        if (all.empty()) break;
        Scenario& s = all.back();
        const size_t blank = line.find(' ');
        const std::string head = line.substr(0, blank), rest = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (head == "$") s.args = splitArgs(rest);
        else if (head == "<") s.stdinPath = substitute(rest);
        else if (head == "out" || head == "out+") s.stdoutPath = rest, s.append = head == "out+";
        else if (head == "mkdir") s.dirs.push_back(rest);
        else if (head == "absent") s.absent.push_back(rest);
        else if (head == "?") s.status = std::stoi(rest);
        else {
            const char op = head.back();
            std::string& target = s.expected[substitute(head.substr(0, head.size() - 1))];
            const std::string text = substitute(rest);
            if (op == '>') target += text + "\n";
            else if (op == '-') target += text;
            else if (op == '=') target += substitute(vt::slurp(vt::dataPath(rest)));
            else if (op == '~') {
                const std::string golden = substitute(vt::slurp(vt::dataPath(rest)));
                target += golden.substr(golden.find('\n') + 1);
            } else ADD_FAILURE() << path << ": cannot read " << line;
        }
    }
    return all;
}

const std::string kStartLine = "[info] Varo metrics calculator 8.0.3595.7981 (2021.11.06.1529) Portix (x86)";

// The log's lines after the two start-up lines, time stamps checked and cut.
std::string logBody(const std::string& text) {
    static const std::regex stamp(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} )");
    const std::vector<std::string> lines = vt::linesOf(text);
    EXPECT_GE(lines.size(), 2u) << text;
    std::string body;
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_search(lines[i], stamp)) << lines[i];
        const std::string line = lines[i].size() >= 20 ? lines[i].substr(20) : lines[i];
        if (i >= 2) body += line + "\n";
        else EXPECT_EQ(line.substr(0, i ? 18 : 200), i ? "[info] Running on " : kStartLine);
    }
    return body;
}

vt::Run runIn(const vt::TempDir& dir, const std::vector<std::string>& args, const Scenario* s = nullptr,
              const std::string& exe = VARO_EXE) {
    std::remove((dir / "varometrics.log").c_str());
    if (s == nullptr) return vt::runProgram(exe, args, dir.path);
    const std::string out = s->stdoutPath.empty() || s->stdoutPath[0] == '/' ? s->stdoutPath : dir / s->stdoutPath;
    return vt::runProgram(exe, args, dir.path, s->stdinPath, out, s->append);
}

TEST(Program, Scenarios) {
    std::vector<std::string> files;
    DIR* folder = opendir(vt::dataPath("program").c_str());
    ASSERT_NE(folder, nullptr);
    while (dirent* entry = readdir(folder))
        if (std::string name = entry->d_name; name.size() > 6 && name.substr(name.size() - 6) == ".cases")
            files.push_back(vt::dataPath("program/" + name));
    closedir(folder);
    ASSERT_FALSE(files.empty());
    for (const std::string& file : files) {
        const bool report = file.find("/varoreport") != std::string::npos;
        for (const Scenario& s : readScenarios(file)) {
            SCOPED_TRACE(file + ": " + s.title);
            vt::TempDir dir;
            for (const std::string& d : s.dirs) ASSERT_EQ(mkdir((dir / d).c_str(), 0755), 0);
            std::map<std::string, std::string> expected = s.expected;
            for (const auto& [target, text] : s.expected)
                if (target.rfind("put:", 0) == 0) vt::spill(dir / target.substr(4), text), expected.erase(target);
            const vt::Run r = runIn(dir, s.args, &s, report ? VARO_REPORT_EXE : VARO_EXE);
            EXPECT_EQ(r.status, s.status);
            EXPECT_EQ(r.out, expected["1"]);
            EXPECT_EQ(r.err, expected["2"]);
            if (!report) {
                EXPECT_EQ(logBody(vt::slurp(dir / "varometrics.log")), expected["L"]);
            }
            for (const auto& [target, text] : expected) {
                if (target.rfind("F:", 0) == 0) EXPECT_EQ(vt::slurp(dir / target.substr(2)), text) << target;
                else EXPECT_TRUE(target == "1" || target == "2" || target == "L") << "unknown target " << target;
            }
            for (const std::string& name : s.absent) EXPECT_FALSE(vt::exists(dir / name)) << name;
        }
    }
}

// Every real export runs through without a crash or a sanitizer finding; the
// files listed in tests/data/real/exports.txt give the count listed there.
TEST(Program, EveryRealExportRunsThrough) {
    const std::string root = VARO_REAL_DATA_DIR;
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root, error))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
            files.push_back(entry.path().lexically_relative(root).string());
    if (files.empty()) GTEST_SKIP() << "no real exports at " << root;
    std::map<std::string, std::string> known, filters;  // file -> count, folder -> importer name
    for (const std::vector<std::string>& row : vt::tableOf("real/exports.txt"))
        (row[0][0] == '=' ? filters[row[0].substr(1)] : known[row[0]]) = row.at(1);
    vt::TempDir dir;
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        const std::string path = root + "/" + file;
        const vt::Run r = runIn(dir, {path, "report.txt"});
        ASSERT_TRUE(r.status == 0 || r.status == 1) << r.err;
        EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << r.err;
        if (known.count(file) == 0) continue;  // a file added later: only that it runs through
        const std::string count = known[file];
        if (count == "none" || count == "rejected") {
            EXPECT_EQ(r.status, 1);
            EXPECT_EQ(r.err, (count == "none" ? "" : "varometrics: " + path +
                                                        ": Cannot import data with filter ISI/WoS (tagged): [774] "
                                                        "Invalid file type\n") +
                                 path + ": cannot import data: Invalid file type\n");
            continue;
        }
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, path + ": imported " + filters[file.substr(0, file.find('/'))] + " data; " + count +
                             " publications\n");
        EXPECT_EQ(vt::slurp(dir / "report.txt").rfind("\xEF\xBB\xBF" + file.substr(file.find('/') + 1) + "\n", 0), 0u);
    }
}

}  // namespace
