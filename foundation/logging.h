// Logging: the one process-wide logger.
//
// Contract: logMessage(level, code, format, ...) formats one message with the
// framework's printf engine and sends it to up to four targets, each with its
// own threshold; a message passes a target when (level & 7) is at most the
// target's threshold (0 "emergency" is the most severe, 7 "debug" the least).
// Targets are bits of one mask: 1 system log, 2 standard error ("name:
// message"), 4 log file ("YYYY-MM-DD hh:mm:ss [level] message", local time),
// 8 debugger channel (every message that reaches dispatch; it writes nowhere
// on this platform). Each line ends in exactly one newline. logMessage never
// fails and never allocates: a target that cannot be written is skipped.
// Only logOpen and logRotate report failures; host errors arrive translated
// into this system's runtime numbering. Any thread may log.
//
// The program sets the logger up once at start (logSetUpForProgram) and
// logClose runs at process exit.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "foundation/result_codes.h"

// Target bits.
enum : uint32_t {
    kLogToSyslog = 1,
    kLogToStderr = 2,
    kLogToFile = 4,
    kLogToDebugger = 8,
};

// Levels, in the numbering of the system log.
enum : int {
    kLogEmergency = 0,
    kLogAlert = 1,
    kLogCritical = 2,
    kLogError = 3,
    kLogWarning = 4,
    kLogNotice = 5,
    kLogInfo = 6,
    kLogDebug = 7,
};

// "emergency", "alert", "critical", "error", "warning", "notice", "info", "debug".
extern const char* const kLogLevelNames[8];

// Size of every per-call message and line buffer (on the stack).
inline constexpr size_t kLogBufferSize = 1024;
// Size of the log file's line buffer.
inline constexpr size_t kLogFileBufferSize = 2048;

// The logger's words, each replaced atomically. The effective threshold is the
// largest threshold among the enabled targets (7 with the debugger target, 0
// with none) and is the first, cheap test of every log call.
struct LogState {
    std::atomic<char*> path{nullptr};  // owned copy of the log-file path
    std::atomic<FILE*> file{nullptr};  // the open log-file stream
    std::atomic<uint32_t> targets{0};
    std::atomic<uint32_t> syslogLevel{0};
    std::atomic<uint32_t> stderrLevel{0};
    std::atomic<uint32_t> fileLevel{0};
    std::atomic<uint32_t> effectiveLevel{0};
};

// Closes any open log, sets the mask to targets and the thresholds to 5
// (system log), 5 (standard error) and 6 (file). With kLogToFile: an absent or
// empty path means $TMPDIR (else /tmp) + "/" + program name + ".log"; the file
// is opened for appending with a 2,048-byte line buffer. When it cannot be
// opened the error is returned and the file target writes nothing (its bit
// stays set). The first call registers logClose to run at process exit.
ResultCode logOpen(uint32_t targets, const char* path) noexcept;

// Sets the threshold of each of the targets 1, 2 and 4 present in targetMask
// (other bits ignored, so 255 means all) and returns the new effective level.
uint32_t logSetLevel(uint32_t targetMask, uint32_t level) noexcept;

// When a log file is open and its size in KiB (rounded down) exceeds maxKiB,
// or its size cannot be read, or maxKiB is 0: rotates the files (keep
// generations), re-opens the path for appending and writes the line
// "Rotated log file" at level info to it regardless of thresholds. Returns 0
// or the failure (the stream is left as it was when the renames fail, and is
// none when the re-open fails). Processes sharing the log take turns under an
// exclusive lock on the file: a stream whose file another process already
// rotated away is re-opened on the path, without rotating again.
ResultCode logRotate(uint32_t maxKiB, uint32_t keep) noexcept;

// Moves path's generations up by one, keeping at most keep. Generation n is
// named in the primary form with ".n" before the extension (a/x.3.log) or in
// the secondary form with ".n" after the whole path (a/x.log.3). The current
// file always goes to the name last used for generation 0, so a rotation that
// starts with no generations creates only secondary names and a primary name
// is only ever renamed from. keep 0 just deletes path. Returns 22 for an
// absent or empty path, else the result of the final rename (or of the
// delete for keep 0).
ResultCode rotateFiles(const char* path, uint32_t keep) noexcept;

// Closes the log file, forgets its path and clears every word. Returns 0.
ResultCode logClose() noexcept;

// Formats and dispatches one message; a non-zero code appends
// ": [code] message-of-code". Messages longer than 1,023 bytes are cut; an
// empty message is dropped. Always returns 0.
ResultCode logMessage(int level, ResultCode code, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));
ResultCode logMessageV(int level, ResultCode code, const char* format, va_list args) noexcept;

// The process-wide state (for inspection).
const LogState& logState() noexcept;

// The program's log set-up, main's step before the framework starts: opens the
// log on standard error and the default log file, sets all thresholds to info
// (6), standard error to notice (5), and rotates the file when it exceeds
// 256 KiB keeping 7 generations. Failures are ignored.
void logSetUpForProgram() noexcept;

// The two start-up lines at level info: "<description> <version> <platform>"
// and "Running on <system> <release> (<machine>) <version>" from uname.
void logStartupLines(const char* description, const char* fullVersion,
                     const char* platform) noexcept;
