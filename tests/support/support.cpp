#include "tests/support/support.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
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

std::string gzipped(const std::string& bytes) {
    z_stream z{};
    // Window bits 15 + 16: a gzip header and trailer.
    if (deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
    std::string out(deflateBound(&z, uLong(bytes.size())), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    z.avail_in = uInt(bytes.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = uInt(out.size());
    const int rc = deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return rc == Z_STREAM_END ? out : std::string();
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

std::u16string fromUtf8(const std::string& bytes) {
    std::u16string out;
    for (size_t i = 0; i < bytes.size();) {
        const uint8_t lead = uint8_t(bytes[i]);
        const int n = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t c = n == 1 ? lead : lead & (0x7F >> n);
        for (int k = 1; k < n; ++k) c = c << 6 | (uint8_t(bytes[i + k]) & 0x3F);
        i += size_t(n);
        if (c > 0xFFFF) out += {char16_t(0xD7C0 + (c >> 10)), char16_t(0xDC00 | (c & 0x3FF))};
        else out += char16_t(c);
    }
    return out;
}

std::string utf16File(const std::u16string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char16_t c : text)
        bytes += bigEndian ? std::string{char(c >> 8), char(c & 0xFF)} : std::string{char(c & 0xFF), char(c >> 8)};
    return bytes;
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

namespace {

// The guard of one test process: a process that the test process forks at
// its first program and that outlives it. It reads one record a message:
// +group when a program's group starts, -group when it has ended. When the
// test process is gone, however it went, its end of the socket closes; the
// guard then kills every group still listed, and exits.
[[noreturn]] void guardGroups(int socket) {
    constexpr size_t kMaxGroups = 1024;
    pid_t groups[kMaxGroups];
    size_t count = 0;
    for (;;) {
        int32_t record = 0;
        const ssize_t n = recv(socket, &record, sizeof record, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n != ssize_t(sizeof record)) break;
        pid_t* const listed = std::find(groups, groups + count, -record);
        if (record < 0 && listed != groups + count) *listed = groups[--count];
        if (record > 0 && count < kMaxGroups) groups[count++] = record;
    }
    for (size_t i = 0; i < count; ++i) kill(-groups[i], SIGKILL);
    _exit(0);
}

// This process's end of its guard's socket, the guard started at the first
// call; -1 when there is none. A forked child starts a guard of its own: the
// one it inherited watches the parent.
int guardSocket() {
    static pid_t owner = -1;
    static int socket = -1;
    if (owner == getpid()) return socket;
    if (socket >= 0) close(socket);
    owner = getpid();
    socket = -1;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return -1;
    const pid_t guard = fork();
    if (guard == 0) {
        // A group of its own, so that a signal to the test's group (an
        // interrupt from the terminal) leaves it to clean up; and no other
        // descriptor, so that nothing waits for the guard to close one.
        setpgid(0, 0);
        const int keep = ends[1];
        if (close_range(0, keep - 1, 0) != 0 || close_range(keep + 1, ~0u, 0) != 0)
            for (int fd = 0; fd < 1024; ++fd)
                if (fd != keep) close(fd);
        guardGroups(keep);
    }
    close(ends[1]);
    if (guard < 0) {
        close(ends[0]);
        return -1;
    }
    socket = ends[0];
    return socket;
}

void tellGuard(int32_t record) {
    const int socket = guardSocket();
    if (socket >= 0) (void)send(socket, &record, sizeof record, MSG_NOSIGNAL);
}

int exitStatus(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

}  // namespace

void redirect(const char* path, int flags, int target) {
    const int descriptor = open(path, flags, 0644);
    if (descriptor < 0 || dup2(descriptor, target) != target) _exit(127);
    if (descriptor != target) close(descriptor);
}

Started::Started(const std::string& exe, const std::vector<std::string>& args, const std::function<void()>& setup,
                 const std::vector<std::string>& env) {
    // Everything the child needs is made before the fork; after it the child
    // makes system calls only.
    std::vector<std::string> copies(args);
    std::vector<char*> argv{const_cast<char*>(exe.c_str())};
    for (std::string& a : copies) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<std::string> entries(env);
    std::vector<char*> envp;
    for (std::string& entry : entries) envp.push_back(entry.data());
    for (char** e = environ; *e; ++e) {
        const size_t name = std::strcspn(*e, "=") + 1;
        const auto replaces = [&](const std::string& entry) { return entry.compare(0, name, *e, name) == 0; };
        if (std::none_of(env.begin(), env.end(), replaces)) envp.push_back(*e);
    }
    envp.push_back(nullptr);
    if (guardSocket() < 0)
        std::fprintf(stderr, "no guard process: should this test die, %s may outlive it\n", exe.c_str());
    pid_ = fork();
    if (pid_ == 0) {
        setpgid(0, 0);
        if (setup) setup();
        execve(exe.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    if (pid_ < 0) return;
    // Here too, so that the group stands whichever of the two runs first.
    setpgid(pid_, pid_);
    tellGuard(pid_);
}

Started::~Started() { end(); }

// The program's end shows on a descriptor where the system gives one;
// otherwise it is looked for every 10 ms. Once the program has ended, its
// group is killed, so a child it left holding outputFd lets go of it.
int Started::finish(int seconds, int outputFd, std::string* output) {
    if (pid_ < 0 || finished_) return status_;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    const int ended = int(syscall(SYS_pidfd_open, pid_, 0));
    bool exited = false;
    while (!exited || outputFd >= 0) {
        const auto rest = deadline - std::chrono::steady_clock::now();
        const int64_t left = std::chrono::duration_cast<std::chrono::milliseconds>(rest).count();
        if (left <= 0) {
            timedOut_ = !exited;
            break;
        }
        pollfd fds[2];
        nfds_t count = 0;
        if (!exited && ended >= 0) fds[count++] = {ended, POLLIN, 0};
        if (outputFd >= 0) fds[count++] = {outputFd, POLLIN, 0};
        const int wait = int(std::min<int64_t>(left, !exited && ended < 0 ? 10 : INT32_MAX));
        if (poll(fds, count, wait) > 0 && outputFd >= 0 && fds[count - 1].revents != 0) {
            char buffer[4096];
            const ssize_t n = read(outputFd, buffer, sizeof buffer);
            if (n > 0 && output != nullptr) output->append(buffer, size_t(n));
            if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN)) outputFd = -1;
        }
        siginfo_t info{};
        if (!exited && waitid(P_PID, id_t(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid_) {
            exited = true;
            kill(-pid_, SIGKILL);
        }
    }
    if (ended >= 0) close(ended);
    end();
    return status_;
}

// Kills the group (the program with it, unless it has ended), says so to
// the guard, then reaps the program; the group's number stays taken until
// then, so no other group is ever hit.
void Started::end() {
    if (pid_ < 0 || finished_) return;
    finished_ = true;
    kill(-pid_, SIGKILL);
    tellGuard(-pid_);
    int status = 0;
    pid_t reaped;
    while ((reaped = waitpid(pid_, &status, 0)) < 0 && errno == EINTR) {
    }
    status_ = reaped == pid_ && !timedOut_ ? exitStatus(status) : -1;
}

Run runProgram(const std::string& exe, const std::vector<std::string>& args, const std::string& dir,
               const std::string& stdinPath, const std::string& stdoutPath, bool append, int seconds) {
    Run run;
    const std::string errPath = dir + "/.stderr";
    int pipeFds[2] = {-1, -1};
    if (stdoutPath.empty() && pipe2(pipeFds, O_CLOEXEC) != 0) return run;
    const auto setup = [&] {
        if (chdir(dir.c_str()) != 0) _exit(127);
        redirect(stdinPath.c_str(), O_RDONLY, 0);
        if (!stdoutPath.empty())
            redirect(stdoutPath.c_str(), O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC), 1);
        else if (dup2(pipeFds[1], 1) != 1)
            _exit(127);
        redirect(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 2);
    };
    Started program(exe, args, setup, {"TMPDIR=" + dir});
    if (stdoutPath.empty()) close(pipeFds[1]);
    run.status = program.finish(seconds, pipeFds[0], &run.out);
    if (stdoutPath.empty()) close(pipeFds[0]);
    run.timedOut = program.timedOut();
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
    if (!positionFails) return XpMemoryStream::position(out);
    *out = 0;
    return kErrInvalidArgument;
}

ResultCode MemoryStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    size_t got = 0;
    while (got < maximum) {
        size_t n = 0;
        (void)XpMemoryStream::read(static_cast<char*>(destination) + got, 0, std::min(chunk, maximum - got), &n);
        if (n == 0) break;
        got += n;
        if (got >= minimum) break;
    }
    if (bytesRead) *bytesRead = got;
    return got >= minimum ? 0 : kErrEndOfFile;
}

ResultCode MemoryStream::write(const void* buffer, size_t length, size_t* written) noexcept {
    writeSizes.push_back(length);
    const size_t n = std::min(length, acceptBeforeFailure);
    size_t taken = 0;
    const ResultCode rc = XpMemoryStream::write(buffer, n, &taken);
    if (acceptBeforeFailure != SIZE_MAX) acceptBeforeFailure -= taken;
    if (written) *written = taken;
    return rc != 0 ? rc : taken == length ? 0 : kErrNoSpace;
}

}  // namespace vt
