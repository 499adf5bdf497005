// Framework process state: the program name.
//
// Contract: programName() is the base name of the running executable without
// its extension ("varometrics"), or "(unknown)" when the module path cannot be
// had or is 260 characters or longer; it is computed once and never null.
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
