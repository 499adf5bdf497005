// Result codes: the one code space of every fallible operation.
//
// Contract: a ResultCode is a signed 32-bit value, 0 for success. 1..255 are
// this system's own runtime error numbers (not the host's errno values: use
// resultFromErrno to translate), 256..1791 are framework codes in six groups of
// 256, 0xFFFF0001..0xFFFFFFFE wrap an operating-system error number, values
// with mask 0x8F000000 == 0x80000000 are system status codes used as they
// stand, and everything else belongs to message providers. -1 (all ones) is
// not a system form: it reads "Unknown error" like every other unclaimed
// negative value. resultMessage never
// fails and never returns null; its text may live in a per-thread buffer that
// stays valid until the same thread's next call.
#pragma once

#include <cstdint>

using ResultCode = int32_t;

// Runtime error numbers this system uses by name (its own numbering).
enum : ResultCode {
    kResultOk = 0,
    kErrNoSuchFile = 2,          // "No such file or directory"
    kErrInterrupted = 4,         // "Interrupted function": retried by streams
    kErrBadDescriptor = 9,       // "Bad file descriptor": a closed stream was used
    kErrNoMemory = 12,           // "Cannot allocate memory"
    kErrFileExists = 17,         // "File exists"
    kErrIsDirectory = 21,        // "Is a directory"
    kErrInvalidArgument = 22,    // "Invalid argument": missing or empty argument
    kErrNoSpace = 28,            // "No space left on device": a write made no progress
    kErrNoBufferSpace = 56,      // "No buffer space available": output or string full
    kErrIllegalSequence = 85,    // "Illegal byte sequence": invalid input text
    kErrOperationFailed = 105,   // "Operation failed": a host error without a counterpart here
};

// Framework codes the program returns itself.
enum : ResultCode {
    kErrUnspecified = 256,       // "Unspecified error"
    kErrInvalidState = 258,      // "Invalid state": e.g. a writer without a stream
    kErrInvalidData = 522,       // "Invalid data"
    kErrObjectNotFound = 526,    // "Object not found"
    kErrDataLimit = 529,         // "Data limit exceeded": a string would pass its largest size
    kErrIncompleteInput = 537,   // "Incomplete input data": text ends inside a character
    kErrEndOfFile = 768,         // "End of file": a read found no more data
    kErrInvalidFileType = 774,   // "Invalid file type": no importer accepts the input
};

// Message text for any code; never null.
const char* resultMessage(ResultCode code) noexcept;

// Translates a host errno value into this system's runtime numbering. Every
// place that turns an operating-system failure into a ResultCode goes through
// here. 0 stays 0. Host errors with no counterpart of the same meaning in
// this numbering become 105 "Operation failed".
ResultCode resultFromErrno(int hostErrno) noexcept;
