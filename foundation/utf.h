// Plain transforms between the framework's three text widths: UTF-8 (char),
// UTF-16 (char16_t) and UTF-32 (char32_t).
//
// Contract: every conversion follows one protocol, shared with the encoding
// objects that are built on these functions:
// - Arguments: source pointer, in/out source count, destination pointer,
//   in/out destination capacity, all in units of their own width.
// - A null source-count pointer, destination or destination-count pointer
//   gives 22 ("Invalid argument") and touches nothing.
// - A null source means a source count of 0. A source count of
//   kUnitsToTerminator means a terminated source: its length up to AND
//   including the terminating zero unit, which is converted like any other.
// - A zero source count sets both counts to 0 and succeeds.
// - Units are converted in order. Before each character is written the
//   destination is checked; when the whole character does not fit (a
//   surrogate pair needs both units, a UTF-8 sequence all its bytes) the
//   conversion stops with 56 ("No buffer space available").
// - On return the source count holds the units consumed and the destination
//   count the units written, on failure as well.
// - Result: 0; 85 ("Illegal byte sequence") when at least one U+FFFD was
//   written and the input was otherwise used up; 56 or 537 ("Incomplete input
//   data") when the conversion stopped early as described at each function.
//
// Wide units may be stored in either byte order (UnitOrder) and at any
// address: they are loaded and stored bytewise, so a byte buffer holding
// big-endian UTF-16 can be handed over as it is.
//
// No function here allocates, keeps state or calls the host system; all may
// run concurrently.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

// A count meaning "up to the terminating zero unit".
inline constexpr uint32_t kUnitsToTerminator = 0xFFFFFFFFu;

// The replacement character written for invalid input.
inline constexpr char32_t kReplacementChar = 0xFFFD;

// Byte order of the 16-bit or 32-bit side of a transform: the host's own, or
// each unit byte-swapped.
enum class UnitOrder : uint8_t { kHost = 0, kSwapped = 1 };

// Number of units before the terminating zero; 0 for a null pointer.
uint32_t terminatedLength(const char* text) noexcept;
uint32_t terminatedLength(const char16_t* text) noexcept;
uint32_t terminatedLength(const char32_t* text) noexcept;

// ---------------------------------------------------------------------------
// UTF-8 decoding (utf8ToUtf16, utf8ToUtf32):
// - 00-7F is one character.
// - C2-DF takes one continuation byte 80-BF.
// - E0-EF takes two; the second byte must be A0-BF after E0, 80-9F after ED
//   (no encoded surrogates), 80-BF otherwise; the third 80-BF.
// - F0-F4 takes three; the second byte must be 90-BF after F0, 80-8F after F4,
//   80-BF otherwise; the third and fourth 80-BF. Into UTF-16 it becomes a
//   surrogate pair, high unit first.
// - Incomplete: when the input ends inside a sequence whose lead byte is valid
//   and every byte present so far fits, conversion stops BEFORE the lead byte
//   with 537, so the caller can supply more bytes and convert the rest.
// - Invalid: any other lead byte (80-C1, F5-FF) or a following byte out of
//   range writes U+FFFD, notes 85, and skips past the lead byte to the next
//   byte that is 00-7F or C2-F4; conversion goes on from there. If the input
//   ends while skipping, conversion ends with 537 even though the replacement
//   was written and every byte counted as consumed.
//
// For UTF-16 and UTF-32 output, dstOrder says how the units are stored.
[[nodiscard]] ResultCode utf8ToUtf16(const char* src, uint32_t* srcCount, char16_t* dst, uint32_t* dstCount,
                                     UnitOrder dstOrder = UnitOrder::kHost) noexcept;
[[nodiscard]] ResultCode utf8ToUtf32(const char* src, uint32_t* srcCount, char32_t* dst, uint32_t* dstCount,
                                     UnitOrder dstOrder = UnitOrder::kHost) noexcept;

// UTF-16 decoding (utf16ToUtf8, utf16ToUtf32):
// - Units outside D800-DFFF are characters of their own.
// - A high surrogate (D800-DBFF) followed by a low one (DC00-DFFF) is one
//   character taking both units.
// - A high surrogate in the last position stops the conversion there with 537.
// - Any other surrogate unit writes U+FFFD (into UTF-8: EF BF BD), notes 85
//   and consumes that one unit.
//
// UTF-8 output: below 0x80 one byte, below 0x800 two, below 0x10000 three,
// a pair four.
[[nodiscard]] ResultCode utf16ToUtf8(const char16_t* src, uint32_t* srcCount, char* dst, uint32_t* dstCount,
                                     UnitOrder srcOrder = UnitOrder::kHost) noexcept;
[[nodiscard]] ResultCode utf16ToUtf32(const char16_t* src, uint32_t* srcCount, char32_t* dst, uint32_t* dstCount,
                                      UnitOrder srcOrder = UnitOrder::kHost,
                                      UnitOrder dstOrder = UnitOrder::kHost) noexcept;

// UTF-32 decoding (utf32ToUtf8, utf32ToUtf16): values below D800 and from
// E000 to 10FFFF are characters (into UTF-16, 10000-10FFFF become a pair);
// surrogate values and values above 10FFFF write U+FFFD with 85.
[[nodiscard]] ResultCode utf32ToUtf8(const char32_t* src, uint32_t* srcCount, char* dst, uint32_t* dstCount,
                                     UnitOrder srcOrder = UnitOrder::kHost) noexcept;
[[nodiscard]] ResultCode utf32ToUtf16(const char32_t* src, uint32_t* srcCount, char16_t* dst, uint32_t* dstCount,
                                      UnitOrder srcOrder = UnitOrder::kHost,
                                      UnitOrder dstOrder = UnitOrder::kHost) noexcept;

// ---------------------------------------------------------------------------
// Lengths: the number of units the matching conversion above writes when its
// destination has room for everything (so they stop where the conversion
// stops on incomplete input, and count every U+FFFD). Same terminated-source
// rule as the conversions (kUnitsToTerminator counts the terminator too); 0
// for a null pointer; they never fail. Results above 0xFFFFFFFF saturate.
uint32_t utf16LengthOfUtf8(const char* src, uint32_t count) noexcept;
uint32_t utf32LengthOfUtf8(const char* src, uint32_t count) noexcept;
uint32_t utf8LengthOfUtf16(const char16_t* src, uint32_t count, UnitOrder srcOrder = UnitOrder::kHost) noexcept;
uint32_t utf32LengthOfUtf16(const char16_t* src, uint32_t count, UnitOrder srcOrder = UnitOrder::kHost) noexcept;
uint32_t utf8LengthOfUtf32(const char32_t* src, uint32_t count, UnitOrder srcOrder = UnitOrder::kHost) noexcept;
uint32_t utf16LengthOfUtf32(const char32_t* src, uint32_t count, UnitOrder srcOrder = UnitOrder::kHost) noexcept;

// The quick UTF-8 byte count of UTF-16 text that the UTF-8 encoding object
// reports for sizing. It is looser than utf8LengthOfUtf16 on purpose: a high
// surrogate followed by ANY unit counts four bytes for both, every other unit
// from 0x800 (lone surrogates included) counts three, and a high surrogate in
// the last position stops the count. It can therefore be short by up to two
// bytes per unpaired high surrogate; callers that must not run out of room
// use utf8LengthOfUtf16.
uint32_t utf8LengthOfUtf16Quick(const char16_t* src, uint32_t count,
                                UnitOrder srcOrder = UnitOrder::kHost) noexcept;

// ---------------------------------------------------------------------------
// Single characters.

// Decodes the one UTF-8 character at the start of count bytes by the rules
// above. Returns 0 with the code point and its length; 85 with U+FFFD and a
// length reaching to the next byte that is 00-7F or C2-F4; 537 with length 0
// for an empty input or an incomplete sequence; 537 with U+FFFD and a length
// of all count bytes when the input ends while skipping an invalid sequence.
// Null codePoint or consumed gives 22.
[[nodiscard]] ResultCode decodeUtf8Char(const char* src, uint32_t count, char32_t* codePoint,
                                        uint32_t* consumed) noexcept;

// Encodes one code point as UTF-8: below 0x80 one byte, below 0x800 two,
// D800-DFFF the three bytes EF BF BD with 85, below 0x10000 three, below
// 0x110000 four, anything larger EF BF BD with 85. Too small a capacity
// writes nothing and gives 56. *written receives the bytes written (0 on 56).
// Null dst or written gives 22.
[[nodiscard]] ResultCode encodeUtf8CodePoint(char32_t codePoint, char* dst, uint32_t capacity,
                                             uint32_t* written) noexcept;

// Bytes the UTF-8 form of a code point takes (3 for the replacement written
// in place of a surrogate or an out-of-range value).
constexpr uint32_t utf8LengthOfCodePoint(char32_t codePoint) noexcept {
    return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : codePoint < 0x110000 ? 4 : 3;
}

// True for a byte at which a skip over invalid UTF-8 stops: 00-7F or C2-F4.
constexpr bool isUtf8ResyncByte(uint8_t byte) noexcept { return byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4); }
