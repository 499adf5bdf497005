// Byte streams over file descriptors and C stdio streams.
//
// Rules kept by both stream kinds:
// - every host failure is reported through resultFromErrno, never as a raw
//   errno value;
// - a call interrupted by a signal is retried, in reading and in writing;
// - reading stops at `maximum` bytes, at the end of the data (768) or at a
//   failure, and succeeds whenever `minimum` bytes arrived;
// - a write call that makes no progress ends the write with 28, since a device
//   that accepts nothing is as good as full;
// - a handle the stream does not own is never closed by it.
#include "foundation/byte_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Largest byte count handed to one host call.
constexpr size_t kMaxTransfer = size_t(1) << 30;

// A stream made by make() into *holder, emptied first: 0, 1 without a
// holder, 12 when make() found no memory.
template <class Stream, class Make>
ResultCode createInto(XpHolder<Stream>* holder, Make make) noexcept {
    if (!holder) return kErrInvalidArgument;
    holder->reset();
    holder->adopt(make());
    return *holder ? kResultOk : kErrNoMemory;
}

// The descriptor's status flags carry no meaning at bit 27 on this host; the
// bit is copied into state-flag bit 0 all the same so that the capability word
// reflects the descriptor as queried.
uint32_t modeBit(int descriptor) noexcept {
    const int statusFlags = fcntl(descriptor, F_GETFL);
    return statusFlags != -1 && (unsigned(statusFlags) & (1u << 27)) ? kStreamFlagModeBit27 : 0;
}

uint32_t handleFlags(int descriptor, bool owned) noexcept {
    uint32_t flags = owned ? kStreamFlagOwned : 0;
    if (descriptor >= 0 && isatty(descriptor))
        flags |= kStreamFlagConsole;
    else if (descriptor >= 0)
        flags |= modeBit(descriptor);
    return flags;
}

// An owned copy of text; null when text is null or memory is short (the
// stream then answers with its generic name).
char* copyName(const char* text) noexcept {
    return text ? strdup(text) : nullptr;
}

const char* descriptorName(int descriptor, char* buffer, size_t size) noexcept {
    switch (descriptor) {
    case 0: return "<stdin>";
    case 1: return "<stdout>";
    case 2: return "<stderr>";
    default: std::snprintf(buffer, size, "<fd:%d>", descriptor); return buffer;
    }
}

int hostOrigin(int origin) noexcept {
    switch (origin) {
    case kSeekStart: return SEEK_SET;
    case kSeekCurrent: return SEEK_CUR;
    case kSeekEnd: return SEEK_END;
    default: return -1;
    }
}

// Host open flags for a mode word, or -1 when a field is invalid.
int hostOpenFlags(StreamOpenMode mode) noexcept {
    int flags;
    switch (mode & kStreamAccessMask) {
    case kStreamRead: flags = O_RDONLY; break;
    case kStreamWrite: flags = O_WRONLY; break;
    case kStreamReadWrite: flags = O_RDWR; break;
    default: return -1;
    }
    switch (mode & kStreamDispositionMask) {
    case kStreamOpenExisting: break;
    case kStreamOpenOrCreate: flags |= O_CREAT; break;
    case kStreamCreateNew: flags |= O_CREAT | O_EXCL; break;
    case kStreamCreateOrReplace: flags |= O_CREAT | O_TRUNC; break;
    case kStreamTruncateExisting: flags |= O_TRUNC; break;
    default: return -1;
    }
    if (mode & kStreamAppend) flags |= O_APPEND;
    return flags | O_CLOEXEC;
}

bool isStandardPath(const char* path) noexcept {
    return !path || !*path || std::strcmp(path, "-") == 0;
}

}  // namespace

// ---------------------------------------------------------------- XpFileStream

ResultCode XpFileStream::create(XpHolder<XpFileStream>* holder) noexcept {
    return createInto(holder, [] { return new (std::nothrow) XpFileStream(); });
}

XpFileStream::~XpFileStream() {
    (void)close();
}

const char* XpFileStream::name() const noexcept {
    return name_ ? name_ : "<file>";
}

ResultCode XpFileStream::open(const char* path, StreamOpenMode mode) noexcept {
    const int flags = hostOpenFlags(mode);
    if (flags == -1) return kErrInvalidArgument;
    // No file: the process's own standard input or output, borrowed, and not
    // moved even for appending (an append to standard output writes where
    // the shell left it).
    if (isStandardPath(path)) {
        const int descriptor = (mode & kStreamAccessMask) == kStreamRead ? 0 : 1;
        return attach(descriptor, nullptr, false);
    }
    int descriptor;
    do {
        descriptor = ::open(path, flags, 0644);
    } while (descriptor == -1 && errno == EINTR);
    if (descriptor == -1) return resultFromErrno(errno);
    const ResultCode code = attach(descriptor, path, true);
    // Appending starts at the end so that the position already tells whether
    // the file holds data. A device or pipe cannot seek; writes still append.
    if (mode & kStreamAppend) (void)lseek(descriptor, 0, SEEK_END);
    return code;
}

ResultCode XpFileStream::attach(int descriptor, const char* name, bool owned) noexcept {
    if (descriptor < 0) return kErrInvalidArgument;
    ResultCode code = kResultOk;
    if (descriptor != fd_) code = close();
    std::free(name_);
    char defaultName[32];
    name_ = copyName(name ? name : descriptorName(descriptor, defaultName, sizeof defaultName));
    fd_ = descriptor;
    flags_ = handleFlags(descriptor, owned);
    return code;
}

ResultCode XpFileStream::close() noexcept {
    ResultCode code = kResultOk;
    // A close interrupted by a signal has released the descriptor all the
    // same on this host: it is not retried and not reported.
    if (fd_ >= 0 && (flags_ & kStreamFlagOwned) && ::close(fd_) == -1 && errno != EINTR)
        code = resultFromErrno(errno);
    fd_ = -1;
    std::free(name_);
    name_ = nullptr;
    flags_ = 0;
    return code;
}

ResultCode XpFileStream::position(int64_t* out) noexcept {
    if (!out) return kErrInvalidArgument;
    const off_t offset = lseek(fd_, 0, SEEK_CUR);
    if (offset == -1) {
        *out = 0;
        return resultFromErrno(errno);
    }
    *out = int64_t(offset);
    return kResultOk;
}

ResultCode XpFileStream::seek(int64_t offset, int origin, int64_t* newPosition) noexcept {
    const int whence = hostOrigin(origin);
    if (whence == -1) return kErrInvalidArgument;
    const off_t result = lseek(fd_, off_t(offset), whence);
    if (result == -1) {
        if (newPosition) *newPosition = 0;
        return resultFromErrno(errno);
    }
    if (newPosition) *newPosition = int64_t(result);
    return kResultOk;
}

ResultCode XpFileStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    size_t total = 0;
    ResultCode code = kResultOk;
    if (minimum > maximum || (!destination && maximum > 0)) {
        code = kErrInvalidArgument;
    } else {
        auto* bytes = static_cast<unsigned char*>(destination);
        while (total < maximum) {
            const size_t want = std::min(maximum - total, kMaxTransfer);
            const ssize_t n = ::read(fd_, bytes + total, want);
            if (n > 0) {
                total += size_t(n);
            } else if (n == 0) {
                code = kErrEndOfFile;
                break;
            } else if (errno != EINTR) {
                code = resultFromErrno(errno);
                break;
            }
        }
        if (total >= minimum) code = kResultOk;
    }
    if (bytesRead) *bytesRead = total;
    return code;
}

ResultCode XpFileStream::write(const void* buffer, size_t length, size_t* written) noexcept {
    size_t total = 0;
    ResultCode code = kResultOk;
    if (length > 0 && !buffer) {
        code = kErrInvalidArgument;
    } else {
        const auto* bytes = static_cast<const unsigned char*>(buffer);
        while (total < length) {
            const size_t want = std::min(length - total, kMaxTransfer);
            const ssize_t n = ::write(fd_, bytes + total, want);
            if (n > 0) {
                total += size_t(n);
            } else if (n == 0) {
                code = kErrNoSpace;
                break;
            } else if (errno != EINTR) {
                code = resultFromErrno(errno);
                break;
            }
        }
    }
    if (written) *written = total;
    return code;
}

ResultCode XpFileStream::writeByte(uint8_t byte) noexcept {
    return write(&byte, 1, nullptr);
}

// --------------------------------------------------------------- XpStdioStream

ResultCode XpStdioStream::create(XpHolder<XpStdioStream>* holder) noexcept {
    return createInto(holder, [] { return new (std::nothrow) XpStdioStream(); });
}

XpStdioStream::~XpStdioStream() {
    (void)close();
}

const char* XpStdioStream::name() const noexcept {
    return name_ ? name_ : "<stdio>";
}

ResultCode XpStdioStream::attach(FILE* stream, const char* name, bool owned) noexcept {
    if (!stream) return kErrInvalidArgument;
    ResultCode code = kResultOk;
    if (stream != stream_) code = close();
    const int descriptor = fileno(stream);
    char defaultName[32];
    if (!name) {
        if (stream == stdin)
            name = "<stdin>";
        else if (stream == stdout)
            name = "<stdout>";
        else if (stream == stderr)
            name = "<stderr>";
        else {
            std::snprintf(defaultName, sizeof defaultName, "<stdio:%d>", descriptor);
            name = defaultName;
        }
    }
    std::free(name_);
    name_ = copyName(name);
    stream_ = stream;
    flags_ = handleFlags(descriptor, owned);
    return code;
}

ResultCode XpStdioStream::close() noexcept {
    ResultCode code = kResultOk;
    if (stream_) {
        // A borrowed stream stays open, but what this stream wrote is pushed
        // out now, so that a failure to deliver it is reported here.
        errno = 0;
        const int result = (flags_ & kStreamFlagOwned) ? fclose(stream_) : fflush(stream_);
        if (result == EOF) code = errno ? resultFromErrno(errno) : ResultCode(5);
    }
    stream_ = nullptr;
    std::free(name_);
    name_ = nullptr;
    flags_ = 0;
    return code;
}

ResultCode XpStdioStream::flush() noexcept {
    if (!stream_) return kErrBadDescriptor;
    errno = 0;
    if (fflush(stream_) == EOF) return errno ? resultFromErrno(errno) : ResultCode(5);
    return kResultOk;
}

ResultCode XpStdioStream::position(int64_t* out) noexcept {
    if (!out) return kErrInvalidArgument;
    *out = 0;
    if (!stream_) return kErrBadDescriptor;
    const off_t offset = ftello(stream_);
    if (offset == -1) return resultFromErrno(errno);
    *out = int64_t(offset);
    return kResultOk;
}

ResultCode XpStdioStream::seek(int64_t offset, int origin, int64_t* newPosition) noexcept {
    if (newPosition) *newPosition = 0;
    const int whence = hostOrigin(origin);
    if (whence == -1) return kErrInvalidArgument;
    if (!stream_) return kErrBadDescriptor;
    if (fseeko(stream_, off_t(offset), whence) != 0) return resultFromErrno(errno);
    const off_t result = ftello(stream_);
    if (result == -1) return resultFromErrno(errno);
    if (newPosition) *newPosition = int64_t(result);
    return kResultOk;
}

ResultCode XpStdioStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    size_t total = 0;
    ResultCode code = kResultOk;
    if (minimum > maximum || (!destination && maximum > 0)) {
        code = kErrInvalidArgument;
    } else if (!stream_ && maximum > 0) {
        code = kErrBadDescriptor;
    } else {
        auto* bytes = static_cast<unsigned char*>(destination);
        while (total < maximum) {
            errno = 0;
            const size_t n = fread(bytes + total, 1, maximum - total, stream_);
            total += n;
            if (total == maximum) break;
            if (ferror(stream_)) {
                const int error = errno;
                clearerr(stream_);
                if (error == EINTR) continue;
                code = error ? resultFromErrno(error) : ResultCode(5);
                break;
            }
            if (feof(stream_)) {
                code = kErrEndOfFile;
                break;
            }
            if (n == 0) {  // neither end nor error flagged: do not spin
                code = 5;
                break;
            }
        }
        if (total >= minimum) code = kResultOk;
    }
    if (bytesRead) *bytesRead = total;
    return code;
}

ResultCode XpStdioStream::write(const void* buffer, size_t length, size_t* written) noexcept {
    size_t total = 0;
    ResultCode code = kResultOk;
    if (length > 0 && !buffer) {
        code = kErrInvalidArgument;
    } else if (length > 0 && !stream_) {
        code = kErrBadDescriptor;
    } else {
        const auto* bytes = static_cast<const unsigned char*>(buffer);
        while (total < length) {
            errno = 0;
            const size_t n = fwrite(bytes + total, 1, length - total, stream_);
            total += n;
            if (total == length) break;
            if (ferror(stream_)) {
                const int error = errno;
                clearerr(stream_);
                if (error == EINTR) continue;
                code = error ? resultFromErrno(error) : ResultCode(5);
                break;
            }
            if (n == 0) {
                code = kErrNoSpace;
                break;
            }
        }
    }
    if (written) *written = total;
    return code;
}

ResultCode XpStdioStream::writeByte(uint8_t byte) noexcept {
    return write(&byte, 1, nullptr);
}

ResultCode XpMemoryStream::create(XpHolder<XpMemoryStream>* holder) noexcept {
    return createInto(holder, [] { return new (std::nothrow) XpMemoryStream; });
}

XpMemoryStream::~XpMemoryStream() { std::free(data_); }

ResultCode XpMemoryStream::position(int64_t* out) noexcept {
    if (!out) return kErrInvalidArgument;
    *out = int64_t(size_);
    return kResultOk;
}

ResultCode XpMemoryStream::seek(int64_t, int, int64_t* newPosition) noexcept {
    if (newPosition) *newPosition = 0;
    return kErrInvalidArgument;
}

ResultCode XpMemoryStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    if (bytesRead) *bytesRead = 0;
    if (minimum > maximum || (!destination && maximum != 0)) return kErrInvalidArgument;
    const size_t n = std::min(maximum, size_ - readAt_);
    if (n != 0) std::memcpy(destination, data_ + readAt_, n);
    readAt_ += n;
    if (bytesRead) *bytesRead = n;
    return n >= minimum ? ResultCode(kResultOk) : ResultCode(kErrEndOfFile);
}

ResultCode XpMemoryStream::write(const void* buffer, size_t length, size_t* written) noexcept {
    if (written) *written = 0;
    if (length == 0) return kResultOk;
    if (!buffer) return kErrInvalidArgument;
    if (length > capacity_ - size_) {
        // Doubling keeps the number of moves logarithmic in the size.
        size_t wanted = capacity_ < 4096 ? 4096 : capacity_;
        while (wanted - size_ < length) {
            if (wanted > SIZE_MAX / 2) return kErrNoMemory;
            wanted *= 2;
        }
        char* grown = static_cast<char*>(std::realloc(data_, wanted));
        if (!grown) return kErrNoMemory;
        data_ = grown;
        capacity_ = wanted;
    }
    std::memcpy(data_ + size_, buffer, length);
    size_ += length;
    if (written) *written = length;
    return kResultOk;
}

ResultCode XpMemoryStream::writeByte(uint8_t byte) noexcept { return write(&byte, 1, nullptr); }
