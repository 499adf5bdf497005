// Framework process state: program name, application version, start-up count
// and the shutdown handlers released when the last start-up is undone.
#include "foundation/framework.h"

#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>

namespace {

constexpr char kUnknownProgram[] = "(unknown)";

std::atomic<const char*> gApplicationVersion{"6.0.3595.7981"};
std::atomic<uint32_t> gStartupCount{0};

struct ShutdownEntry {
    XpShutdownHandler handler;
    void* context;
};
constexpr int kMaxShutdownHandlers = 32;
std::mutex gShutdownLock;
ShutdownEntry gShutdownHandlers[kMaxShutdownHandlers];
int gShutdownHandlerCount = 0;

void runShutdownHandlers() noexcept {
    // Take the list out under the lock, then run it without the lock so that a
    // handler may register or query freely.
    ShutdownEntry entries[kMaxShutdownHandlers];
    int count;
    {
        std::lock_guard<std::mutex> lock(gShutdownLock);
        count = gShutdownHandlerCount;
        std::memcpy(entries, gShutdownHandlers, sizeof(ShutdownEntry) * size_t(count));
        gShutdownHandlerCount = 0;
    }
    for (int i = count - 1; i >= 0; --i) entries[i].handler(entries[i].context);
}

}  // namespace

const char* programNameFromPath(const char* modulePath, char* buffer, size_t bufferSize) noexcept {
    if (!buffer || bufferSize == 0) return kUnknownProgram;
    const size_t length = modulePath ? strnlen(modulePath, kMaxModulePath) : kMaxModulePath;
    // A path at the host's path limit may have been cut; its name is not trusted.
    if (length >= kMaxModulePath || bufferSize < sizeof kUnknownProgram) {
        std::strncpy(buffer, kUnknownProgram, bufferSize);
        buffer[bufferSize - 1] = '\0';
        return buffer;
    }
    const char* base = modulePath;
    for (const char* p = modulePath; *p; ++p)
        if (*p == '/' || *p == '\\') base = p + 1;
    size_t baseLength = std::strlen(base);
    // The extension is what follows the last dot; a name that only starts
    // with a dot (".hidden") has none.
    const char* dot = std::strrchr(base, '.');
    if (dot && dot != base) baseLength = size_t(dot - base);
    if (baseLength >= bufferSize) baseLength = bufferSize - 1;
    std::memcpy(buffer, base, baseLength);
    buffer[baseLength] = '\0';
    return buffer;
}

const char* programName() noexcept {
    static char name[kMaxModulePath];
    static const char* const cached = [] {
        char path[kMaxModulePath + 1];
        const ssize_t n = readlink("/proc/self/exe", path, sizeof path);
        if (n <= 0 || size_t(n) >= kMaxModulePath) return programNameFromPath(nullptr, name, sizeof name);
        path[n] = '\0';
        return programNameFromPath(path, name, sizeof name);
    }();
    return cached;
}

const char* applicationVersion() noexcept {
    return gApplicationVersion.load(std::memory_order_acquire);
}

void setApplicationVersion(const char* version) noexcept {
    if (version) gApplicationVersion.store(version, std::memory_order_release);
}

uint32_t xpStartup() noexcept {
    return gStartupCount.fetch_add(1, std::memory_order_acq_rel) + 1;
}

uint32_t xpShutdown() noexcept {
    uint32_t count = gStartupCount.load(std::memory_order_acquire);
    // Never below zero: an unmatched shutdown is ignored.
    do {
        if (count == 0) return 0;
    } while (!gStartupCount.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel));
    if (count == 1) runShutdownHandlers();
    return count - 1;
}

uint32_t xpStartupCount() noexcept {
    return gStartupCount.load(std::memory_order_acquire);
}

ResultCode xpRegisterShutdownHandler(XpShutdownHandler handler, void* context) noexcept {
    if (!handler) return kErrInvalidArgument;
    std::lock_guard<std::mutex> lock(gShutdownLock);
    if (gShutdownHandlerCount == kMaxShutdownHandlers) return kErrNoBufferSpace;
    gShutdownHandlers[gShutdownHandlerCount++] = {handler, context};
    return kResultOk;
}
