// The process-wide logger: one state, four targets, per-call stack buffers.
#include "foundation/logging.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "foundation/framework.h"
#include "foundation/printf_engine.h"

const char* const kLogLevelNames[8] = {"emergency", "alert", "critical", "error",
                                       "warning",   "notice", "info",     "debug"};

namespace {

LogState g_log;
std::atomic<bool> g_closeAtExitRegistered{false};

// Longest generation name rotateFiles builds.
constexpr size_t kRotateNameSize = 4096 + 32;

void recomputeEffectiveLevel() noexcept {
    uint32_t targets = g_log.targets.load();
    uint32_t level = 0;
    if ((targets & kLogToSyslog) && g_log.syslogLevel.load() > level) level = g_log.syslogLevel.load();
    if ((targets & kLogToStderr) && g_log.stderrLevel.load() > level) level = g_log.stderrLevel.load();
    if ((targets & kLogToFile) && g_log.fileLevel.load() > level) level = g_log.fileLevel.load();
    if (targets & kLogToDebugger) level = 7;
    g_log.effectiveLevel.store(level);
}

// Every line but the system log's ends in exactly one newline: trailing
// spaces, tabs, carriage returns and newlines go, then "\n" is appended. A
// line that fills its buffer gives up its last character to the newline, so
// at most kLogBufferSize - 2 characters precede it. Returns the new length.
size_t endLine(char* line, size_t length) noexcept {
    while (length > 0 && (line[length - 1] == ' ' || line[length - 1] == '\t' || line[length - 1] == '\r' ||
                          line[length - 1] == '\n'))
        --length;
    if (length > kLogBufferSize - 2) length = kLogBufferSize - 2;
    line[length++] = '\n';
    line[length] = '\0';
    return length;
}

// The log-file form: local time stamp (left out when the time cannot be
// converted), the level name in brackets, the message.
void writeFileLine(FILE* file, uint32_t level, const char* message) noexcept {
    char line[kLogBufferSize];
    size_t length = 0;
    time_t now = time(nullptr);
    struct tm local;
    if (now != static_cast<time_t>(-1) && localtime_r(&now, &local)) {
        length = bufferPrintf(line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d ", local.tm_year + 1900,
                              local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    }
    length += bufferPrintf(line + length, sizeof line - length, "[%s] %s", kLogLevelNames[level & 7], message);
    length = endLine(line, length);
    fwrite(line, 1, length, file);
}

// The debugger channel: this platform has no debugger output call, so the
// line goes nowhere; the target bit and its place in dispatch stay.
void writeDebuggerLine(const char*) noexcept {}

void dispatch(uint32_t level, const char* message) noexcept {
    if (message[0] == '\0') return;
    uint32_t targets = g_log.targets.load();
    if (targets & kLogToDebugger) writeDebuggerLine(message);
    if ((targets & kLogToSyslog) && level <= g_log.syslogLevel.load())
        syslog(static_cast<int>(level), "%s", message);
    if ((targets & kLogToStderr) && level <= g_log.stderrLevel.load()) {
        char line[kLogBufferSize];
        size_t length = bufferPrintf(line, sizeof line, "%s: %s", programName(), message);
        length = endLine(line, length);
        fwrite(line, 1, length, stderr);
    }
    if (targets & kLogToFile) {
        FILE* file = g_log.file.load();
        if (file && level <= g_log.fileLevel.load()) writeFileLine(file, level, message);
    }
}

// $TMPDIR (else /tmp), a separator, the program name and ".log".
ResultCode defaultLogPath(char* buffer, size_t size) noexcept {
    const char* directory = getenv("TMPDIR");
    if (!directory || !*directory) directory = "/tmp";
    size_t n = strlen(directory);
    const char* separator = (n > 0 && directory[n - 1] == '/') ? "" : "/";
    int produced = snprintf(buffer, size, "%s%s%s.log", directory, separator, programName());
    if (produced < 0 || static_cast<size_t>(produced) >= size) return resultFromErrno(ENAMETOOLONG);
    return kResultOk;
}

void closeLogAtExit() { (void)logClose(); }

// Name of generation n: primary form inserts ".n" before the extension of the
// last path component (a leading dot does not start an extension), secondary
// form appends ".n" to the whole path.
bool generationName(const char* path, uint32_t n, bool primary, char* out) noexcept {
    size_t length = strlen(path);
    size_t extension = length;
    if (primary) {
        const char* component = strrchr(path, '/');
        component = component ? component + 1 : path;
        const char* dot = strrchr(component, '.');
        if (dot && dot > component) extension = static_cast<size_t>(dot - path);
    }
    int produced = snprintf(out, kRotateNameSize, "%.*s.%u%s", static_cast<int>(extension), path, n,
                            path + extension);
    return produced >= 0 && static_cast<size_t>(produced) < kRotateNameSize;
}

}  // namespace

const LogState& logState() noexcept { return g_log; }

ResultCode logClose() noexcept {
    FILE* file = g_log.file.exchange(nullptr);
    if (file) fclose(file);
    free(g_log.path.exchange(nullptr));
    g_log.targets.store(0);
    g_log.syslogLevel.store(0);
    g_log.stderrLevel.store(0);
    g_log.fileLevel.store(0);
    g_log.effectiveLevel.store(0);
    return kResultOk;
}

ResultCode logOpen(uint32_t targets, const char* path) noexcept {
    (void)logClose();
    if (!g_closeAtExitRegistered.exchange(true)) atexit(closeLogAtExit);
    g_log.syslogLevel.store(5);
    g_log.stderrLevel.store(5);
    g_log.fileLevel.store(6);
    g_log.targets.store(targets);
    recomputeEffectiveLevel();
    if (!(targets & kLogToFile)) return kResultOk;

    char defaultPath[kRotateNameSize];
    if (!path || !*path) {
        ResultCode rc = defaultLogPath(defaultPath, sizeof defaultPath);
        if (rc != 0) return rc;
        path = defaultPath;
    }
    char* copy = strdup(path);
    if (!copy) return kErrNoMemory;
    g_log.path.store(copy);
    FILE* file = fopen(path, "a");
    if (!file) return resultFromErrno(errno);
    setvbuf(file, nullptr, _IOLBF, kLogFileBufferSize);
    g_log.file.store(file);
    return kResultOk;
}

uint32_t logSetLevel(uint32_t targetMask, uint32_t level) noexcept {
    if (targetMask & kLogToSyslog) g_log.syslogLevel.store(level);
    if (targetMask & kLogToStderr) g_log.stderrLevel.store(level);
    if (targetMask & kLogToFile) g_log.fileLevel.store(level);
    recomputeEffectiveLevel();
    return g_log.effectiveLevel.load();
}

ResultCode rotateFiles(const char* path, uint32_t keep) noexcept {
    if (!path || !*path) return kErrInvalidArgument;
    if (keep == 0) return remove(path) == 0 ? kResultOk : resultFromErrno(errno);

    char primary[kRotateNameSize];
    char secondary[kRotateNameSize];
    char lastUsed[kRotateNameSize];
    if (!generationName(path, keep - 1, true, primary) || !generationName(path, keep - 1, false, secondary))
        return resultFromErrno(ENAMETOOLONG);
    remove(primary);
    remove(secondary);
    memcpy(lastUsed, secondary, sizeof lastUsed);

    // Each older generation moves to the name last used for the next one;
    // the primary form is tried first, the secondary when that fails.
    for (uint32_t n = keep - 1; n-- > 0;) {
        if (!generationName(path, n, true, primary) || !generationName(path, n, false, secondary))
            return resultFromErrno(ENAMETOOLONG);
        if (rename(primary, lastUsed) == 0) {
            memcpy(lastUsed, primary, sizeof lastUsed);
        } else {
            (void)rename(secondary, lastUsed);
            memcpy(lastUsed, secondary, sizeof lastUsed);
        }
    }
    return rename(path, lastUsed) == 0 ? kResultOk : resultFromErrno(errno);
}

namespace {

// Re-opens the log-file stream on path for appending; on failure the stream
// is none (freopen closed the old one either way).
ResultCode reopenLogFile(const char* path, FILE* file) noexcept {
    FILE* reopened = freopen(path, "a", file);
    if (!reopened) {
        int error = errno;
        g_log.file.store(nullptr);
        return resultFromErrno(error);
    }
    setvbuf(reopened, nullptr, _IOLBF, kLogFileBufferSize);
    g_log.file.store(reopened);
    return kResultOk;
}

ResultCode rotateLocked(const char* path, FILE* file, uint32_t maxKiB, uint32_t keep) noexcept {
    struct stat current;
    const bool known = stat(path, &current) == 0;
    // Another run rotated the file this stream still writes to: its lines
    // belong in the new file at the path, and that needs no rotation.
    struct stat own;
    if (known && fstat(fileno(file), &own) == 0 && (own.st_dev != current.st_dev || own.st_ino != current.st_ino))
        return reopenLogFile(path, file);
    if (maxKiB != 0 && known && static_cast<uint64_t>(current.st_size) / 1024 <= maxKiB) return kResultOk;
    ResultCode rc = rotateFiles(path, keep);
    if (rc != 0) return rc;
    rc = reopenLogFile(path, file);
    if (rc != 0) return rc;
    writeFileLine(g_log.file.load(), kLogInfo, "Rotated log file");
    return kResultOk;
}

}  // namespace

// Runs that start together take turns through an exclusive lock on the file
// their stream has open, held on a duplicate descriptor until the new file
// exists, and each decides on the file as it finds it once the lock is held:
// one rotates, the others follow it to the new file. Without a lock the
// decision is taken all the same.
ResultCode logRotate(uint32_t maxKiB, uint32_t keep) noexcept {
    const char* path = g_log.path.load();
    FILE* file = g_log.file.load();
    if (!path || !file) return kResultOk;
    const int lock = fcntl(fileno(file), F_DUPFD_CLOEXEC, 3);
    if (lock != -1) {
        int locked;
        do {
            locked = flock(lock, LOCK_EX);
        } while (locked == -1 && errno == EINTR);
    }
    const ResultCode rc = rotateLocked(path, file, maxKiB, keep);
    // The lock belongs to the open file the stream shares, not to this
    // descriptor: closing it alone would hold every other run up until this
    // one ends.
    if (lock != -1) {
        (void)flock(lock, LOCK_UN);
        (void)close(lock);
    }
    return rc;
}

ResultCode logMessageV(int level, ResultCode code, const char* format, va_list args) noexcept {
    uint32_t lvl = static_cast<uint32_t>(level) & 7;
    if (lvl > g_log.effectiveLevel.load() || !format) return kResultOk;
    char message[kLogBufferSize];
    size_t length = formatToBuffer(message, sizeof message, format, args);
    if (code != 0) bufferPrintf(message + length, sizeof message - length, ": [%d] %s", code, resultMessage(code));
    dispatch(lvl, message);
    return kResultOk;
}

ResultCode logMessage(int level, ResultCode code, const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    ResultCode rc = logMessageV(level, code, format, args);
    va_end(args);
    return rc;
}

void logSetUpForProgram() noexcept {
    (void)logOpen(kLogToStderr | kLogToFile, nullptr);
    (void)logSetLevel(255, kLogInfo);
    (void)logSetLevel(kLogToStderr, kLogNotice);
    (void)logRotate(256, 7);
}

void logStartupLines(const char* description, const char* fullVersion, const char* platform) noexcept {
    logMessage(kLogInfo, 0, "%s %s %s", description, fullVersion, platform);
    struct utsname system;
    if (uname(&system) != 0) memset(&system, 0, sizeof system);
    logMessage(kLogInfo, 0, "Running on %s %s (%s) %s", system.sysname, system.release, system.machine,
               system.version);
}
