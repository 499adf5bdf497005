// Result codes: message texts for every range of the code space, the system
// forms, message providers and the translation of host errno values.
#include "foundation/result_codes.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "foundation/sorted_tables.h"

namespace {

// Runtime error texts, indexed by this system's own runtime numbers.
constexpr const char* kRuntimeTexts[] = {
    "No error", "Operation not permitted", "No such file or directory", "No such process",
    "Interrupted function", "I/O error", "No such device or address", "Argument list too long",
    "Executable file format error", "Bad file descriptor", "No child processes",
    "Resource deadlock would occur", "Cannot allocate memory", "Permission denied", "Bad address",
    "Block device required", "Device or resource busy", "File exists", "Cross-device link",
    "No such device", "Not a directory", "Is a directory", "Invalid argument",
    "Too many open files in system", "File descriptor value too large",
    "Inappropriate I/O control operation", "Text file busy", "File too large",
    "No space left on device", "Invalid seek", "Read-only file system", "Too many links",
    "Broken pipe", "Numerical argument out of domain", "Result too large",
    "Resource unavailable, try again", "Operation would block", "Operation now in progress",
    "Operation already in progress", "Not a socket", "Destination address required",
    "Message too large", "Protocol wrong type for socket", "Protocol not available",
    "Protocol not supported", "Socket type not supported", "Operation not supported",
    "Protocol family not supported", "Address family not supported by protocol family",
    "Address already in use", "Address not available", "Network is down", "Network unreachable",
    "Connection aborted by network", "Software caused connection abort", "Connection reset by peer",
    "No buffer space available", "Socket is connected", "Socket is not connected",
    "Can't send after socket shutdown", "Too many references: can't splice", "Operation timed out",
    "Connection refused", "Too many levels of symbolic links", "Invalid file name", "Host is down",
    "Host is unreachable", "Directory not empty", "Too many processes", "Too many users",
    "Disk quota exceeded", "Stale NFS file handle", "Too many levels of remote in path",
    "RPC struct is bad", "RPC version wrong", "RPC program not available", "Program version wrong",
    "Bad procedure for program", "No locks available", "Function not implemented",
    "Inappropriate file type or format", "Authentication error", "Need authenticator",
    "IPsec processing failure", "Attribute not found", "Illegal byte sequence", "No medium found",
    "Wrong medium type", "Value too large to be stored in data type", "Operation cancelled",
    "Identifier removed", "No message of the desired type", "Not supported", "Bad message",
    "(reserved)", "No more data", "(reserved)", "No STREAM resources", "Not a STREAM",
    "State not recoverable", "Previous owner died", "Protocol error", "Stream ioctl() timeout",
    "Internal system error", "Invalid data", "Operation failed",
};
constexpr int kRuntimeTextCount = int(std::size(kRuntimeTexts));
static_assert(kRuntimeTextCount == 106, "the runtime table holds numbers 0 to 105");

constexpr const char* kGeneralTexts[] = {
    "Unspecified error", "NULL pointer", "Invalid state", "Operation not implemented",
    "Operation unavailable", "No operation specified", "Invalid operation",
    "Internal processing error", "Operation still pending", "Target is locked",
    "Target is unlocked", "Target has moved", "Maximum retries exceeded",
    "Retry operation from cache", "Retry operation from origin", "Configuration error",
    "Condition false; not evaluated", "Allowable limit exceeded", "Skip this entry",
};
constexpr const char* kDataTexts[] = {
    "Syntax error", "Data parsing error", "No matching data found", "Mismatched data",
    "Invalid data signature", "Invalid data tag", "Invalid version number", "Unsupported version",
    "No data available", "More data available", "Invalid data", "Data was truncated",
    "Data unavailable", "Data not changed", "Object not found", "Object found", "Multiple matches",
    "Data limit exceeded", "Unknown data type", "Invalid data type for operation", "Database error",
    "Data are modified", "Object creation failed", "Invalid object reference", "Quota exceeded",
    "Incomplete input data", "Data has expired", "Duplicate data key", "Invalid data schema",
    "No data allowed", "Data is encrypted", "Data is not encrypted", "Data not initialized yet",
    "End of available data",
};
constexpr const char* kFileTexts[] = {
    "End of file", "Not a file", "Destination same as source", "Source older than destination",
    "Source newer than destination", "Invalid file name", "Invalid file type", "Missing file",
    "No storage medium", "Invalid storage medium",
};
constexpr const char* kNetworkTexts[] = {
    "HTTP redirection failed", "HTTP redirection required", "Dubious HTTP redirection",
    "Server error", "Invalid client request", "Connection failed", "No network connection",
    "Invalid request method", "Host is down", "Host is unreachable", "Invalid socket type",
    "Socket is shut down",
};
constexpr const char* kSecurityTexts[] = {
    "Security failure", "Insecure operation", "Missing security certificate",
    "Invalid security certificate", "Untrusted session",
};
constexpr const char* kAccountTexts[] = {
    "Invalid login credentials", "Account is disabled", "Account has expired",
    "Unknown account name", "Empty password", "Weak password", "Incorrect password",
    "Internal password error", "Authentication required", "Authentication failed",
    "No API key available",
};

struct MessageGroup {
    const char* const* texts;
    uint32_t count;
};
template <size_t N>
constexpr MessageGroup group(const char* const (&texts)[N]) {
    return {texts, uint32_t(N)};
}
// Indexed by code / 256. Group 0 is never looked up here: codes below 256 are
// runtime numbers.
constexpr MessageGroup kFrameworkGroups[] = {
    {nullptr, 0},          group(kGeneralTexts),  group(kDataTexts), group(kFileTexts),
    group(kNetworkTexts),  group(kSecurityTexts), group(kAccountTexts),
};
static_assert(std::size(kGeneralTexts) == 19);
static_assert(std::size(kDataTexts) == 34);
static_assert(std::size(kFileTexts) == 10);
static_assert(std::size(kNetworkTexts) == 12);
static_assert(std::size(kSecurityTexts) == 5);
static_assert(std::size(kAccountTexts) == 11);

constexpr const char kUnknownError[] = "Unknown error";

// Texts of the system forms. This host has no system message table for those
// numbers, so the program carries the texts of the system errors it can meet
// (file, path, access, space and handle failures) and of the common status
// values. Sorted by number: looked up by binary search.
struct SystemText {
    uint32_t number;
    const char* text;
};
constexpr SystemText kSystemTexts[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {13, "The data is invalid."},
    {14, "Not enough memory resources are available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {16, "The directory cannot be removed."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {23, "Data error (cyclic redundancy check)."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {145, "The directory is not empty."},
    {183, "Cannot create a file when that file already exists."},
    {206, "The filename or extension is too long."},
    {232, "The pipe is being closed."},
    {267, "The directory name is invalid."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {1460, "This operation returned because the timeout period expired."},
    {0x80004001u, "Not implemented"},
    {0x80004002u, "No such interface supported"},
    {0x80004003u, "Invalid pointer"},
    {0x80004004u, "Operation aborted"},
    {0x80004005u, "Unspecified error"},
    {0x8000FFFFu, "Catastrophic failure"},
};
static_assert(isStrictlyAscending(kSystemTexts,
                                  [](const SystemText& a, const SystemText& b) { return a.number < b.number; }),
              "the system texts are searched by binary search");

const char* findSystemText(uint32_t number) noexcept {
    const SystemText* end = kSystemTexts + std::size(kSystemTexts);
    const SystemText* it = std::lower_bound(kSystemTexts, end, number,
                                            [](const SystemText& t, uint32_t n) { return t.number < n; });
    return it != end && it->number == number ? it->text : nullptr;
}

// The system's text for a system number (wrapped form) or a whole status
// value. A status value that carries a system error (facility 7 of the
// failure form, 0x8007xxxx) reads as that error.
const char* systemMessageText(int32_t value) noexcept {
    if (const char* text = findSystemText(uint32_t(value))) return text;
    if ((uint32_t(value) & 0xFFFF0000u) == 0x80070000u) return findSystemText(uint32_t(value) & 0xFFFFu);
    return nullptr;
}

// Per-thread message buffers, allocated on a thread's first formatted message
// and freed when the thread ends. When allocation fails, one process-wide
// buffer of the same size serves instead; two threads may then overwrite each
// other's text, which is accepted.
constexpr size_t kRuntimeBufferSize = 128;
constexpr size_t kSystemBufferSize = 256;

struct ThreadBuffers {
    char* runtime = nullptr;
    char* system = nullptr;
    ~ThreadBuffers() {
        std::free(runtime);
        std::free(system);
    }
};
thread_local ThreadBuffers tBuffers;
char gSharedRuntimeBuffer[kRuntimeBufferSize];
char gSharedSystemBuffer[kSystemBufferSize];

char* threadBuffer(char*& slot, size_t size, char* shared) noexcept {
    if (!slot) slot = static_cast<char*>(std::malloc(size));
    return slot ? slot : shared;
}

// Copies text into buffer, cut to fit without splitting a UTF-8 sequence and
// without trailing white space.
const char* copyTrimmed(char* buffer, size_t size, const char* text) noexcept {
    size_t n = std::strlen(text);
    if (n >= size) {
        n = size - 1;
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
    }
    while (n > 0 && (text[n - 1] == ' ' || text[n - 1] == '\t' || text[n - 1] == '\r' ||
                     text[n - 1] == '\n' || text[n - 1] == '\v' || text[n - 1] == '\f'))
        --n;
    std::memcpy(buffer, text, n);
    buffer[n] = '\0';
    return buffer;
}

// The wrapped form holds a system number 1..65535 in its low 16 bits. The
// all-ones value is left out: -1 is the commonest "some failure" value of
// foreign code and reads "Unknown error", not as a system error.
bool isWrappedSystemForm(ResultCode code) noexcept {
    return (uint32_t(code) & 0xFFFF0000u) == 0xFFFF0000u && code != -1 && uint32_t(code) != 0xFFFF0000u;
}
bool isSystemStatusForm(ResultCode code) noexcept {
    return (uint32_t(code) & 0x8F000000u) == 0x80000000u;
}

const char* systemMessage(ResultCode code) noexcept {
    char* buffer = threadBuffer(tBuffers.system, kSystemBufferSize, gSharedSystemBuffer);
    const int32_t value = isWrappedSystemForm(code) ? int32_t(uint32_t(code) & 0xFFFFu) : code;
    if (const char* text = systemMessageText(value)) return copyTrimmed(buffer, kSystemBufferSize, text);
    // No text anywhere: name the number, in hexadecimal when it is negative
    // (status values read better that way) and in decimal otherwise.
    if (value < 0)
        std::snprintf(buffer, kSystemBufferSize, "win32 error 0x%08X", unsigned(value));
    else
        std::snprintf(buffer, kSystemBufferSize, "win32 error %d", value);
    return copyTrimmed(buffer, kSystemBufferSize, buffer);
}

}  // namespace

const char* resultMessage(ResultCode code) noexcept {
    // Looking up a message must not disturb the error number that a caller
    // may still want to report.
    const int savedErrno = errno;
    const char* text;
    if (code == 0) {
        text = kRuntimeTexts[0];
    } else if (isWrappedSystemForm(code) || isSystemStatusForm(code)) {
        text = systemMessage(code);
    } else if (uint32_t(code) > 255) {
        const uint32_t groupIndex = uint32_t(code) >> 8;
        const uint32_t index = uint32_t(code) & 0xFFu;
        if (groupIndex < std::size(kFrameworkGroups))
            text = index < kFrameworkGroups[groupIndex].count ? kFrameworkGroups[groupIndex].texts[index]
                                                              : kUnknownError;
        else
            text = kUnknownError;
    } else if (code < kRuntimeTextCount) {
        text = kRuntimeTexts[code];
    } else {
        char* buffer = threadBuffer(tBuffers.runtime, kRuntimeBufferSize, gSharedRuntimeBuffer);
        std::snprintf(buffer, kRuntimeBufferSize, "error %d (0x%08X)", int(code), unsigned(code));
        text = buffer;
    }
    errno = savedErrno;
    return text;
}

// Host errno values translated by meaning. The host numbers several errors
// differently (its ELOOP is 40, here 63; its EAGAIN is 11, here 35), and some
// host names are aliases of one value (EWOULDBLOCK of EAGAIN, ENOTSUP of
// EOPNOTSUPP, EDEADLOCK of EDEADLK, ENOATTR of ENODATA): an alias takes the
// counterpart of the name it shares its value with. Host errors this numbering
// has no counterpart for (the STREAMS link-layer, key-ring and library-loading
// errors among others) become 105 "Operation failed", so that no host number
// is ever shown under the text of an unrelated error.
ResultCode resultFromErrno(int hostErrno) noexcept {
    switch (hostErrno) {
    case 0: return kResultOk;
    case EPERM: return 1;
    case ENOENT: return 2;
    case ESRCH: return 3;
    case EINTR: return 4;
    case EIO: return 5;
    case ENXIO: return 6;
    case E2BIG: return 7;
    case ENOEXEC: return 8;
    case EBADF: return 9;
    case ECHILD: return 10;
    case EDEADLK: return 11;
    case ENOMEM: return 12;
    case EACCES: return 13;
    case EFAULT: return 14;
    case ENOTBLK: return 15;
    case EBUSY: return 16;
    case EEXIST: return 17;
    case EXDEV: return 18;
    case ENODEV: return 19;
    case ENOTDIR: return 20;
    case EISDIR: return 21;
    case EINVAL: return 22;
    case ENFILE: return 23;
    case EMFILE: return 24;
    case ENOTTY: return 25;
    case ETXTBSY: return 26;
    case EFBIG: return 27;
    case ENOSPC: return 28;
    case ESPIPE: return 29;
    case EROFS: return 30;
    case EMLINK: return 31;
    case EPIPE: return 32;
    case EDOM: return 33;
    case ERANGE: return 34;
    case EAGAIN: return 35;
    case EINPROGRESS: return 37;
    case EALREADY: return 38;
    case ENOTSOCK: return 39;
    case EDESTADDRREQ: return 40;
    case EMSGSIZE: return 41;
    case EPROTOTYPE: return 42;
    case ENOPROTOOPT: return 43;
    case EPROTONOSUPPORT: return 44;
    case ESOCKTNOSUPPORT: return 45;
    case EOPNOTSUPP: return 46;
    case EPFNOSUPPORT: return 47;
    case EAFNOSUPPORT: return 48;
    case EADDRINUSE: return 49;
    case EADDRNOTAVAIL: return 50;
    case ENETDOWN: return 51;
    case ENETUNREACH: return 52;
    case ENETRESET: return 53;
    case ECONNABORTED: return 54;
    case ECONNRESET: return 55;
    case ENOBUFS: return 56;
    case EISCONN: return 57;
    case ENOTCONN: return 58;
    case ESHUTDOWN: return 59;
    case ETOOMANYREFS: return 60;
    case ETIMEDOUT: return 61;
    case ECONNREFUSED: return 62;
    case ELOOP: return 63;
    case ENAMETOOLONG: return 64;
    case EHOSTDOWN: return 65;
    case EHOSTUNREACH: return 66;
    case ENOTEMPTY: return 67;
    case EUSERS: return 69;
    case EDQUOT: return 70;
    case ESTALE: return 71;
    case EREMOTE: return 72;
    case ENOLCK: return 78;
    case ENOSYS: return 79;
    case EILSEQ: return 85;
    case ENOMEDIUM: return 86;
    case EMEDIUMTYPE: return 87;
    case EOVERFLOW: return 88;
    case ECANCELED: return 89;
    case EIDRM: return 90;
    case ENOMSG: return 91;
    case EBADMSG: return 93;
    case ENODATA: return 95;
    case ENOSR: return 97;
    case ENOSTR: return 98;
    case ENOTRECOVERABLE: return 99;
    case EOWNERDEAD: return 100;
    case EPROTO: return 101;
    case ETIME: return 102;
    // Host variants of errors that exist here under a broader name.
    case EBADFD: return 9;       // descriptor in a bad state
    case EREMOTEIO: return 5;    // remote I/O error
    case ERESTART: return 4;     // interrupted call to be restarted
    default: return kErrOperationFailed;
    }
}
