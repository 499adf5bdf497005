// Helpers every test program shares: files and temporary directories, the
// built program run as a user runs it, text in the three widths, and a byte
// stream held in memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/byte_streams.h"

namespace vt {

std::string slurp(const std::string& path);
void spill(const std::string& path, const std::string& bytes);
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

// One run of a program: exit status (-1 when it did not exit), standard output
// when it went to a pipe, standard error.
struct Run {
    int status = -1;
    std::string out, err;
};

// Runs exe with args in dir, with TMPDIR=dir; standard input from stdinPath,
// standard output to a pipe when stdoutPath is empty, else into that file
// (appended to, as ">>" does, when append is set).
Run runProgram(const std::string& exe, const std::vector<std::string>& args, const std::string& dir,
               const std::string& stdinPath = "/dev/null", const std::string& stdoutPath = "", bool append = false);

// Text between widths; narrow() writes units above 127 as '?'.
std::u16string wide(const std::string& latin1);
std::string narrow(const std::u16string& text);
// Each unit as UTF-8 on its own (a surrogate as three bytes), as tableOf() reads \uNNNN.
std::string utf8Units(const std::u16string& text);

// A byte stream in memory: reads hand out `input` at most `chunk` bytes per
// call (a short read once `minimum` is met, as pipes give); writes record each
// call and can take only `acceptBeforeFailure` bytes and then fail.
class MemoryStream final : public XpByteStream {
public:
    explicit MemoryStream(std::string in = "", size_t chunkSize = 4096) : input(std::move(in)), chunk(chunkSize) {}
    std::string input, content;
    size_t chunk, at = 0;
    std::vector<size_t> writeSizes;
    uint32_t capabilityWord = 0;
    bool positionFails = false;
    size_t acceptBeforeFailure = SIZE_MAX;

    uint32_t capabilities() const noexcept override { return capabilityWord; }
    const char* name() const noexcept override { return "<memory>"; }
    bool isConsole() const noexcept override { return false; }
    ResultCode close() noexcept override { return 0; }
    ResultCode flush() noexcept override { return 0; }
    ResultCode position(int64_t* out) noexcept override;
    ResultCode seek(int64_t, int, int64_t*) noexcept override { return 29; }
    ResultCode read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept override;
    ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    ResultCode writeByte(uint8_t byte) noexcept override { return write(&byte, 1, nullptr); }
};

}  // namespace vt
