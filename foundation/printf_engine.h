// The framework's printf engine: formats into any tsr_writer sink.
//
// Contract: formatToSink copies the literal runs of the format to the sink's
// narrow-text operation and expands each '%' directive. The
// first non-zero code a sink operation returns ends formatting and is returned;
// 0 means everything was delivered. A null sink or format gives 22.
//
// Directives: '%' [flags] [width] ['.' precision] [size] conversion.
// - flags '-' (left-justify), '0' (zero padding), '#' (alternate form: "0x"
//   before non-zero hexadecimal, a leading '0' for octal), '\'' (grouping:
//   accepted, digits are not grouped), '+' (always a sign), ' ' (blank sign).
// - width: digits or '*' (an int argument; negative means left-justify).
// - precision: '.' then digits or '*'. For integers it is cut to 256 and
//   switches zero padding off; for strings it limits the units taken.
// - sizes: hh, h, (none), l (long), ll q I64 O T (64-bit), j (intmax), z and
//   I alone (size_t), t (ptrdiff; with c or s a UTF-16 unit or string),
//   I16 (short), I32 (int), L (long double).
// - conversions: d i u o x X p c C s S e E f F g G a A n m and %%.
//   "%s" of a null narrow string writes "(null)" (cut by a precision below 6
//   to nothing, as the host's C library does); a null UTF-16 string ("%ls",
//   "%ts", "%S") writes nothing; "%zs" writes "CFStringRef". "%c" is a narrow
//   byte; "%lc"/"%tc"/"%C" a UTF-16 unit ("%hC" narrow). "%n" stores the
//   number of units delivered so far into an argument of the given size. "%m"
//   writes the host's error text for errno as it was when formatting began.
//   Floating-point digits come from the host's C library; a value it cannot
//   produce is written as "#err". An unknown conversion letter writes the
//   directive back as it stood.
//
// Compiler checks: the narrow entry points carry the printf format attribute,
// so every call with a literal format is checked. The engine's conversions
// agree with the C library's except for the UTF-16 ones ("%ls", "%S", "%lc",
// "%C" take char16_t here, wchar_t there) and the modifiers q, I, I16, I32,
// I64, O, T. Code that formats UTF-16 arguments uses the va_list entry point,
// which carries no attribute.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "foundation/result_codes.h"

class tsr_writer;

// Longest precision an integer conversion honours; larger ones are cut to it.
inline constexpr uint32_t kMaxIntegerPrecision = 256;

[[nodiscard]] ResultCode formatToSink(tsr_writer* sink, const char* format, va_list args) noexcept;

// Formats into a fixed narrow buffer of size bytes (through a str_writer), cut
// to fit and always zero-terminated when size is at least 1. Returns the
// number of bytes stored, terminator excluded.
size_t formatToBuffer(char* buffer, size_t size, const char* format, va_list args) noexcept;
size_t bufferPrintf(char* buffer, size_t size, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));
