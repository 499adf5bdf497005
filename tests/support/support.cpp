#include "tests/support/support.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

namespace vt {

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void spill(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::string dataPath(const std::string& relative) { return std::string(VARO_SOURCE_DIR) + "/tests/data/" + relative; }

std::string utf8Units(const std::u16string& text) {
    std::string out;
    for (char16_t v : text) {
        if (v < 0x80) out += char(v);
        else if (v < 0x800) out += {char(0xC0 | v >> 6), char(0x80 | (v & 0x3F))};
        else out += {char(0xE0 | v >> 12), char(0x80 | (v >> 6 & 0x3F)), char(0x80 | (v & 0x3F))};
    }
    return out;
}

std::string unescaped(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = i + 1 < text.size() && text[i] == '\\' ? text[++i] : 0;
        if (c == 'x' || c == 'u') {
            const unsigned long v = std::stoul(text.substr(i + 1, c == 'x' ? 2 : 4), nullptr, 16);
            out += c == 'x' ? std::string(1, char(v)) : utf8Units(std::u16string(1, char16_t(v)));
            i += c == 'x' ? 2 : 4;
        } else {
            out += c == 0 ? text[i] : c == 't' ? '\t' : c == 'r' ? '\r' : c == 'n' ? '\n' : c;
        }
    }
    return out;
}

std::vector<std::vector<std::string>> tableOf(const std::string& relative) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : linesOf(slurp(dataPath(relative)))) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> cells;
        size_t start = 0;
        for (size_t bar; (bar = line.find(" | ", start)) != std::string::npos; start = bar + 3)
            cells.push_back(unescaped(line.substr(start, bar - start)));
        cells.push_back(unescaped(line.substr(start)));
        rows.push_back(cells);
    }
    return rows;
}

TempDir::TempDir() {
    char pattern[] = "/tmp/vro_test_XXXXXX";
    if (mkdtemp(pattern) == nullptr) std::abort();
    path = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

Run runProgram(const std::string& exe, const std::vector<std::string>& args, const std::string& dir,
               const std::string& stdinPath, const std::string& stdoutPath, bool append) {
    Run run;
    const std::string errPath = dir + "/.stderr";
    int pipeFds[2] = {-1, -1};
    if (stdoutPath.empty() && pipe(pipeFds) != 0) return run;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, dir.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, stdinPath.c_str(), O_RDONLY, 0);
    if (stdoutPath.empty()) {
        posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
        posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
        posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    } else {
        posix_spawn_file_actions_addopen(&actions, 1, stdoutPath.c_str(),
                                         O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC), 0644);
    }
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

    std::vector<std::string> copies(args);
    std::vector<char*> argv{const_cast<char*>(exe.c_str())};
    for (std::string& a : copies) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::string tmpdir = "TMPDIR=" + dir;
    std::vector<char*> env{tmpdir.data()};
    for (char** e = environ; *e; ++e)
        if (std::strncmp(*e, "TMPDIR=", 7) != 0) env.push_back(*e);
    env.push_back(nullptr);

    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv.data(), env.data());
    posix_spawn_file_actions_destroy(&actions);
    if (stdoutPath.empty()) {
        close(pipeFds[1]);
        char buffer[4096];
        for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) run.out.append(buffer, size_t(n));
        close(pipeFds[0]);
    }
    int status = 0;
    if (spawned != 0 || waitpid(pid, &status, 0) != pid) return run;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.err = slurp(errPath);
    return run;
}

std::u16string wide(const std::string& latin1) {
    std::u16string out;
    for (char c : latin1) out += char16_t(uint8_t(c));
    return out;
}

std::string narrow(const std::u16string& text) {
    std::string out;
    for (char16_t c : text) out += c < 0x80 ? char(c) : '?';
    return out;
}

ResultCode MemoryStream::position(int64_t* out) noexcept {
    *out = positionFails ? 0 : int64_t(at + content.size());
    return positionFails ? kErrInvalidArgument : 0;
}

ResultCode MemoryStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    size_t got = 0;
    ResultCode rc = 0;
    while (got < maximum) {
        const size_t n = std::min({chunk, maximum - got, input.size() - at});
        if (n == 0) {
            rc = kErrEndOfFile;
            break;
        }
        std::memcpy(static_cast<char*>(destination) + got, input.data() + at, n);
        at += n;
        got += n;
        if (got >= minimum) break;
    }
    if (bytesRead) *bytesRead = got;
    return got >= minimum ? 0 : rc;
}

ResultCode MemoryStream::write(const void* buffer, size_t length, size_t* written) noexcept {
    writeSizes.push_back(length);
    const size_t n = std::min(length, acceptBeforeFailure);
    content.append(static_cast<const char*>(buffer), n);
    if (acceptBeforeFailure != SIZE_MAX) acceptBeforeFailure -= n;
    if (written) *written = n;
    return n == length ? 0 : kErrNoSpace;
}

}  // namespace vt
