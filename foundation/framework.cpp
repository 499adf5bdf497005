// Framework process state: the program name.
#include "foundation/framework.h"

#include <unistd.h>

#include <cstring>

namespace {

constexpr char kUnknownProgram[] = "(unknown)";

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
