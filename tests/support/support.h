// Helpers every test program shares: files and temporary directories, the
// built program run as a user runs it (and ended with everything it started),
// text in the three widths, and a byte stream held in memory.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "foundation/byte_streams.h"

namespace vt {

std::string slurp(const std::string& path);
void spill(const std::string& path, const std::string& bytes);
// bytes gzip-compressed (one member).
std::string gzipped(const std::string& bytes);
bool exists(const std::string& path);
// The file's lines without their line feeds.
std::vector<std::string> linesOf(const std::string& text);
// tests/data/<relative>
std::string dataPath(const std::string& relative);
// The rows of a table under tests/data: each line that is neither blank nor
// a "#" comment, split at " | ", with \xNN, \uNNNN, \t, \r, \n and \\ escapes
// turned into UTF-8.
std::vector<std::vector<std::string>> tableOf(const std::string& relative);
// Text with those escapes turned into bytes.
std::string unescaped(const std::string& text);

// A fresh directory under /tmp, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

// How long one run of a program may take. Past it the run's process group
// is killed and the run fails (status -1), well inside ctest's own limit, so
// that a hung program ends its test with a message instead of outliving it.
inline constexpr int kRunSeconds = 120;

// A program started in a process group of its own, so that it and every
// process it starts end together:
// - when finish has seen the program end, or its time run out, the whole
//   group is killed (a child left holding the program's output included);
// - when the object goes unfinished (a test stopped by a failed assertion),
//   the same;
// - should the test process die first, however it dies (a crash, or a kill
//   outright by a harness that gives up on it), a guard process that the
//   test process started, and that sees it die, kills every group still
//   running.
class Started {
public:
    // Forks; the child leads a new process group, runs setup (its directory,
    // descriptors and limits: calls that are safe after fork) and executes
    // exe with args, in the test's environment with the "NAME=value" entries
    // of env added or replaced. pid() is -1 when the fork failed.
    Started(const std::string& exe, const std::vector<std::string>& args, const std::function<void()>& setup = {},
            const std::vector<std::string>& env = {});
    ~Started();
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

    pid_t pid() const { return pid_; }
    // Waits for the program, at most seconds, reading what arrives on
    // outputFd (when given) into *output until the descriptor ends; then
    // kills what is left of the group. The exit status, 128 plus the signal
    // that ended the program, or -1 when its time ran out or it never
    // started (and timedOut() tells which).
    int finish(int seconds = kRunSeconds, int outputFd = -1, std::string* output = nullptr);
    bool timedOut() const { return timedOut_; }

private:
    void end();
    pid_t pid_ = -1;
    int status_ = -1;
    bool finished_ = false;
    bool timedOut_ = false;
};

// In a child before exec: opens path onto descriptor target; the child
// ends with 127 when it cannot.
void redirect(const char* path, int flags, int target);

// One run of a program: exit status (-1 when it did not exit, timedOut when
// its time ran out), standard output when it went to a pipe, standard error.
struct Run {
    int status = -1;
    bool timedOut = false;
    std::string out, err;
};

// Runs exe with args in dir, with TMPDIR=dir; standard input from stdinPath,
// standard output to a pipe when stdoutPath is empty, else into that file
// (appended to, as ">>" does, when append is set). A Started program: killed
// with its group when it ends or after seconds.
Run runProgram(const std::string& exe, const std::vector<std::string>& args, const std::string& dir,
               const std::string& stdinPath = "/dev/null", const std::string& stdoutPath = "", bool append = false,
               int seconds = kRunSeconds);

// Text between widths; narrow() writes units above 127 as '?'.
std::u16string wide(const std::string& latin1);
std::string narrow(const std::u16string& text);
// Each unit as UTF-8 on its own (a surrogate as three bytes), as tableOf() reads \uNNNN.
std::string utf8Units(const std::u16string& text);
// Well-formed UTF-8 as units (a character beyond U+FFFF as its two), and
// units as the bytes of a UTF-16 file with its byte-order mark.
std::u16string fromUtf8(const std::string& bytes);
std::string utf16File(const std::u16string& text, bool bigEndian = false);

// The memory stream with the faults and habits of real streams: reads hand
// out at most `chunk` bytes per call (a short read once `minimum` is met, as
// pipes give); writes record each call and can take only
// `acceptBeforeFailure` bytes and then fail.
class MemoryStream final : public XpMemoryStream {
public:
    explicit MemoryStream(const std::string& input = "", size_t chunkSize = 4096) : chunk(chunkSize) {
        (void)XpMemoryStream::write(input.data(), input.size(), nullptr);
    }
    size_t chunk;
    std::vector<size_t> writeSizes;
    uint32_t capabilityWord = 0;
    bool positionFails = false;
    size_t acceptBeforeFailure = SIZE_MAX;

    std::string content() const { return std::string(bytes(), size()); }
    uint32_t capabilities() const noexcept override { return capabilityWord; }
    ResultCode position(int64_t* out) noexcept override;
    ResultCode read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept override;
    ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
};

}  // namespace vt
