// Byte streams: the program's raw input and output.
//
// Contract: XpByteStream is the abstract, reference-counted stream that text
// readers and writers work on. XpFileStream wraps a file descriptor, and
// XpStdioStream a C stdio stream. Every operation returns a ResultCode; host
// failures arrive translated into this system's runtime numbering (2 "No such
// file or directory", 21 "Is a directory", 28 "No space left on device", ...).
// read() ends with 768 "End of file" when the data runs out before its minimum
// is reached; write() either writes everything or says why not and how far it
// got. A stream opened on an absent, empty or "-" path uses standard input
// (reading) or standard output (writing) without owning it, so closing such a
// stream never closes the process's standard descriptors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "foundation/object.h"
#include "foundation/result_codes.h"

// Open-mode word: access, disposition and append fields combined with "|".
using StreamOpenMode = uint32_t;
inline constexpr StreamOpenMode kStreamAccessMask = 0x300000;
inline constexpr StreamOpenMode kStreamRead = 0x100000;
inline constexpr StreamOpenMode kStreamWrite = 0x200000;
inline constexpr StreamOpenMode kStreamReadWrite = 0x300000;

inline constexpr StreamOpenMode kStreamDispositionMask = 0x7000000;
inline constexpr StreamOpenMode kStreamOpenExisting = 0x1000000;     // fails with 2 when the file is missing
inline constexpr StreamOpenMode kStreamOpenOrCreate = 0x2000000;
inline constexpr StreamOpenMode kStreamCreateNew = 0x3000000;        // fails with 17 when the file exists
inline constexpr StreamOpenMode kStreamCreateOrReplace = 0x4000000;  // truncates an existing file
inline constexpr StreamOpenMode kStreamTruncateExisting = 0x5000000; // fails with 2 when the file is missing

inline constexpr StreamOpenMode kStreamAppend = 0x10000000;          // every write goes to the end

// The three words the program uses.
inline constexpr StreamOpenMode kStreamModeReadInput = kStreamRead | kStreamOpenExisting;  // 0x1100000
inline constexpr StreamOpenMode kStreamModeWriteReport = kStreamWrite | kStreamCreateOrReplace;  // 0x4200000
inline constexpr StreamOpenMode kStreamModeAppendReport =
    kStreamWrite | kStreamOpenOrCreate | kStreamAppend;  // 0x12200000
static_assert(kStreamModeReadInput == 0x1100000 && kStreamModeWriteReport == 0x4200000 &&
              kStreamModeAppendReport == 0x12200000);

// Seek origins.
enum StreamSeekOrigin : int {
    kSeekStart = 0,
    kSeekCurrent = 1,
    kSeekEnd = 2,
};

// State-flag bits kept by the concrete streams. The low 16 bits are the
// capability word.
inline constexpr uint32_t kStreamFlagModeBit27 = 0x1;           // the descriptor's status flags carry bit 27
inline constexpr uint32_t kStreamCapabilityLineOriented = 0x8;  // deliver line by line; never set by these streams
inline constexpr uint32_t kStreamFlagOwned = 0x10000;           // the stream closes its handle
inline constexpr uint32_t kStreamFlagConsole = 0x20000;         // the handle is a terminal

class XpByteStream : public XpObject {
public:
    // The low 16 bits of the state flags.
    virtual uint32_t capabilities() const noexcept = 0;
    // Display name; never null.
    virtual const char* name() const noexcept = 0;
    // True when the handle is a terminal.
    virtual bool isConsole() const noexcept = 0;
    // Closes an owned handle (its failure is returned, the stream is closed all
    // the same), forgets an unowned one, drops the name and clears the flags.
    virtual ResultCode close() noexcept = 0;
    virtual ResultCode flush() noexcept = 0;
    // 22 when out is null; on failure *out is 0.
    [[nodiscard]] virtual ResultCode position(int64_t* out) noexcept = 0;
    // Moves to offset from origin (StreamSeekOrigin); newPosition may be null.
    [[nodiscard]] virtual ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept = 0;
    // Reads into destination until it holds maximum bytes, the data ends (768)
    // or a failure occurs; interrupted calls are retried. Returns 0 when at
    // least minimum bytes arrived, whatever ended the loop, else the code that
    // ended it. minimum above maximum gives 22. *bytesRead (may be null)
    // receives the count in every case.
    [[nodiscard]] virtual ResultCode read(void* destination, size_t minimum, size_t maximum,
                                          size_t* bytesRead) noexcept = 0;
    // Writes all bytes; interrupted calls are retried, a call that writes
    // nothing ends with 28. length 0 writes nothing and returns 0; a null
    // buffer with a length gives 22. *written (may be null) receives the count
    // in every case.
    [[nodiscard]] virtual ResultCode write(const void* buffer, size_t length, size_t* written) noexcept = 0;
    [[nodiscard]] virtual ResultCode writeByte(uint8_t byte) noexcept = 0;

protected:
    ~XpByteStream() override = default;
};

// A stream over a file descriptor. Created closed (descriptor -1, no name).
class XpFileStream final : public XpByteStream {
public:
    XpFileStream() = default;

    // Puts a new closed stream into *holder; 22 without a holder, 12 when it
    // cannot be allocated (the holder is then left empty).
    [[nodiscard]] static ResultCode create(XpHolder<XpFileStream>* holder) noexcept;

    // Opens path with mode (StreamOpenMode; new files get permissions 0644).
    // An invalid access or disposition field gives 22. An absent, empty or "-"
    // path opens nothing: the stream takes descriptor 0 for read access or 1
    // otherwise, unowned, named "<stdin>" or "<stdout>", and does not seek even
    // with kStreamAppend. An append open of a file starts at its end. The name
    // of a stream opened on a path is the path as given.
    [[nodiscard]] ResultCode open(const char* path, StreamOpenMode mode) noexcept;

    // Takes descriptor (22 for -1). A different descriptor held before is
    // closed first and its code returned at the end. A null name gives the
    // default name: "<stdin>", "<stdout>", "<stderr>" or "<fd:N>".
    [[nodiscard]] ResultCode attach(int descriptor, const char* name, bool owned) noexcept;

    int descriptor() const noexcept { return fd_; }
    uint32_t stateFlags() const noexcept { return flags_; }

    uint32_t typeTag() const noexcept override { return fourCharacterCode("fils"); }
    uint32_t capabilities() const noexcept override { return flags_ & 0xFFFFu; }
    // "<file>" when no name is kept.
    const char* name() const noexcept override;
    bool isConsole() const noexcept override { return (flags_ & kStreamFlagConsole) != 0; }
    ResultCode close() noexcept override;
    ResultCode flush() noexcept override { return kResultOk; }
    [[nodiscard]] ResultCode position(int64_t* out) noexcept override;
    [[nodiscard]] ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept override;
    [[nodiscard]] ResultCode read(void* destination, size_t minimum, size_t maximum,
                                  size_t* bytesRead) noexcept override;
    [[nodiscard]] ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    [[nodiscard]] ResultCode writeByte(uint8_t byte) noexcept override;

protected:
    ~XpFileStream() override;

private:
    char* name_ = nullptr;
    int fd_ = -1;
    uint32_t flags_ = 0;
};

// A stream over a C stdio stream. Created closed.
class XpStdioStream final : public XpByteStream {
public:
    XpStdioStream() = default;

    // Puts a new closed stream into *holder; 22 without a holder, 12 when it
    // cannot be allocated.
    [[nodiscard]] static ResultCode create(XpHolder<XpStdioStream>* holder) noexcept;

    // Takes stream (22 when null). A different stream held before is closed
    // first and its code returned at the end. A null name gives the default
    // name: "<stdin>", "<stdout>", "<stderr>" or "<stdio:N>" with the
    // descriptor number. The console test is made on its descriptor.
    [[nodiscard]] ResultCode attach(FILE* stream, const char* name, bool owned) noexcept;

    FILE* stdioHandle() const noexcept { return stream_; }
    uint32_t stateFlags() const noexcept { return flags_; }

    uint32_t typeTag() const noexcept override { return fourCharacterCode("sios"); }
    uint32_t capabilities() const noexcept override { return flags_ & 0xFFFFu; }
    // "<stdio>" when no name is kept.
    const char* name() const noexcept override;
    bool isConsole() const noexcept override { return (flags_ & kStreamFlagConsole) != 0; }
    ResultCode close() noexcept override;
    ResultCode flush() noexcept override;
    [[nodiscard]] ResultCode position(int64_t* out) noexcept override;
    [[nodiscard]] ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept override;
    [[nodiscard]] ResultCode read(void* destination, size_t minimum, size_t maximum,
                                  size_t* bytesRead) noexcept override;
    [[nodiscard]] ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    [[nodiscard]] ResultCode writeByte(uint8_t byte) noexcept override;

protected:
    ~XpStdioStream() override;

private:
    char* name_ = nullptr;
    FILE* stream_ = nullptr;
    uint32_t flags_ = 0;
};

// A stream in memory: writes append to one growing block (12 when it cannot
// grow; nothing of that write is kept), reads hand out what the block holds
// from the read position on (768 once it is all read), position() is the
// number of bytes held and seek() gives 22. bytes() and size() show the
// block; clear() empties it and keeps the memory. Used by one thread at a time.
class XpMemoryStream : public XpByteStream {
public:
    // Puts a new empty stream into *holder; 22 without a holder, 12 when it
    // cannot be allocated.
    [[nodiscard]] static ResultCode create(XpHolder<XpMemoryStream>* holder) noexcept;

    const char* bytes() const noexcept { return data_; }
    size_t size() const noexcept { return size_; }
    void clear() noexcept { size_ = readAt_ = 0; }

    uint32_t typeTag() const noexcept override { return fourCharacterCode("mems"); }
    uint32_t capabilities() const noexcept override { return 0; }
    const char* name() const noexcept override { return "<memory>"; }
    bool isConsole() const noexcept override { return false; }
    ResultCode close() noexcept override { return kResultOk; }
    ResultCode flush() noexcept override { return kResultOk; }
    [[nodiscard]] ResultCode position(int64_t* out) noexcept override;
    [[nodiscard]] ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept override;
    [[nodiscard]] ResultCode read(void* destination, size_t minimum, size_t maximum,
                                  size_t* bytesRead) noexcept override;
    [[nodiscard]] ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    [[nodiscard]] ResultCode writeByte(uint8_t byte) noexcept override;

protected:
    XpMemoryStream() = default;
    ~XpMemoryStream() override;

private:
    char* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
    size_t readAt_ = 0;
};
