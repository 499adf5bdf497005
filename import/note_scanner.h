// Note scanner: the small pattern matcher the citation-note handlers use.
//
// Contract: scanNote matches a zero-terminated UTF-16 input against an ASCII
// pattern made of these elements, left to right:
// - "%u": optional white space, an optional sign, then decimal digits, read
//   as the 64-bit unsigned conversion capped at 4,294,967,295; no digit fails.
// - "%d": the same, signed, clamped to the 32-bit range.
// - a blank: any run of white space (codes 9-13 and 32), also none.
// - "%(text)": skips the input to the first occurrence of text and past it;
//   fails when text never occurs (only the first occurrence is tried).
// - "%~(text)": the same, ASCII letters compared without regard to case.
// - any other character: must match the input literally, with case.
// Each conversion stores into the next output slot (at most kNoteScanSlots;
// a "%u" stores its uint32_t bit pattern). The result tells how many
// conversions were stored, whether the whole pattern matched, and where in
// the input the scan stopped. Outputs of conversions reached before a
// failure are kept, so callers can use what a partial match read.
#pragma once

#include <cstdint>

inline constexpr uint32_t kNoteScanSlots = 4;

struct NoteScanResult {
    bool matched = false;      // every element of the pattern matched
    uint32_t converted = 0;    // conversions stored, in order
    const char16_t* stop = nullptr;  // input position where the scan ended
    uint32_t values[kNoteScanSlots] = {};
};

// Number readers shared by the scanner and the number handlers. Both skip
// leading white space and accept one sign. They return the position after
// the last digit, or null when no digit follows (*out then untouched).
// Unsigned: accumulated in 64 bits saturating at the 64-bit maximum, negated
// modulo 2^64 after a minus (unless saturated), then capped at 4,294,967,295.
const char16_t* readUnsignedNumber(const char16_t* text, uint32_t* out) noexcept;
// Signed: clamped to the 32-bit range after every digit.
const char16_t* readSignedNumber(const char16_t* text, int32_t* out) noexcept;

NoteScanResult scanNote(const char16_t* input, const char* pattern) noexcept;
