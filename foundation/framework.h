// Framework process state: program name, application version, start-up count.
//
// Contract: programName() is the base name of the running executable without
// its extension ("varometrics"), or "(unknown)" when the module path cannot be
// had or is 260 characters or longer; it is computed once and never null.
// applicationVersion() is "6.0.3595.7981" until setApplicationVersion replaces
// it. xpStartup() and xpShutdown() count start-ups atomically; the shutdown
// that brings the count back to zero runs every registered shutdown handler,
// most recent first, exactly once, and forgets them. A shutdown without a
// matching start-up does nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/result_codes.h"

// Longest module path the program name is taken from, exclusive.
inline constexpr size_t kMaxModulePath = 260;

// The program name of this process (cached; safe from any thread).
const char* programName() noexcept;

// The program name rule applied to a given module path: the text after the
// last '/' or '\\', cut before its last '.' (a leading dot is kept as part of
// the name). A null path, or one of kMaxModulePath characters or more, gives
// "(unknown)". Writes into buffer (at least kMaxModulePath bytes) and returns it.
const char* programNameFromPath(const char* modulePath, char* buffer, size_t bufferSize) noexcept;

// The framework's application version; the built-in default is "6.0.3595.7981".
const char* applicationVersion() noexcept;
// Replaces the application version; the text must stay valid (a literal).
void setApplicationVersion(const char* version) noexcept;

// Increments the start-up count; returns the new count.
uint32_t xpStartup() noexcept;
// Decrements the start-up count; at zero runs and forgets the shutdown
// handlers. Returns the new count.
uint32_t xpShutdown() noexcept;
uint32_t xpStartupCount() noexcept;

using XpShutdownHandler = void (*)(void* context);
// Registers handler(context) to run when the framework shuts down. Up to 32
// handlers; beyond that 56 ("No buffer space available"). 22 for a null handler.
[[nodiscard]] ResultCode xpRegisterShutdownHandler(XpShutdownHandler handler, void* context) noexcept;

// Keeps the framework started for the life of a scope: every return path of
// main shuts it down once.
class XpFrameworkScope {
public:
    XpFrameworkScope() noexcept { xpStartup(); }
    ~XpFrameworkScope() { xpShutdown(); }
    XpFrameworkScope(const XpFrameworkScope&) = delete;
    XpFrameworkScope& operator=(const XpFrameworkScope&) = delete;
};
