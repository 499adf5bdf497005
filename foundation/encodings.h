// Character encodings: shared converters between bytes and the framework's
// three text widths (narrow UTF-8 `char`, 16-bit `char16_t`, 32-bit `char32_t`).
//
// Contract:
// - `charenc` is the abstract, reference-counted encoding object. Instances
//   are singletons per code page, fetched with getEncoding (one added
//   reference for the caller) and given back with release()/releaseEncoding.
//   They never change after construction; every operation is const, keeps no
//   state and may run concurrently. No conversion allocates.
// - Conversion protocol (encodeFrom*/decodeTo*): source pointer, in/out
//   source count, destination pointer, in/out destination capacity, all in
//   units of their own width (bytes on the byte side; for UTF-16 and UTF-32
//   objects byte counts are cut down to whole code units on entry, so a
//   trailing partial unit is neither converted nor counted).
//   * null source-count pointer, destination or destination-count pointer: 22;
//   * null source: a source count of 0; a count of kUnitsToTerminator: the
//     source up to AND including its terminating zero unit;
//   * a zero source count sets both counts to 0 and succeeds;
//   * on return the counts hold the units consumed and written, also on failure;
//   * results: 0; 85 "Illegal byte sequence" (a replacement was made, the
//     output is complete); 56 "No buffer space available" (output full, the
//     counts tell how far it got); 537 "Incomplete input data" (the input
//     ends inside a character; the counts stop before it, so the caller can
//     supply more and convert the rest).
// - Length operations take the same terminated-source rule, return 0 for a
//   null pointer and never fail.
// - Decoded text uses U+FFFD for invalid input; single-byte output uses "?"
//   for characters the code page cannot hold.
// - Registry codes: 22 null out-pointer, 526 "Object not found" (unknown code
//   page), 259 "Operation not implemented", 260 "Operation unavailable"
//   (the object could not be created).
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/utf.h"

// Codes of the registry that result_codes.h does not name.
inline constexpr ResultCode kErrEncodingNotImplemented = 259;  // "Operation not implemented"
inline constexpr ResultCode kErrEncodingUnavailable = 260;     // "Operation unavailable"

// Code pages the registry serves, and the pseudo numbers it understands.
enum : uint32_t {
    kCodePageAnsi = 0,            // the default ANSI code page: 1252
    kCodePageOem = 1,             // the default OEM code page: 850
    kCodePageMac = 2,             // the default Mac code page: 10000
    kCodePageThreadAnsi = 0xFFFFFFFE,  // the ANSI code page again: 1252
    kCodePageIbm437 = 437,
    kCodePageIbm850 = 850,
    kCodePageUtf16Le = 1200,
    kCodePageUtf16Be = 1201,
    kCodePageWindows1252 = 1252,
    kCodePageMacintosh = 10000,
    kCodePageUtf32Le = 12000,
    kCodePageUtf32Be = 12001,
    kCodePageUsAscii = 20127,
    kCodePageIso8859_1 = 28591,
    kCodePageUtf8 = 65001,
    kCodePageUserDefined = 65002,
};

// The abstract encoding object. The virtual operations are declared in their
// fixed slot order (0..21, destructor last).
class charenc {
public:
    charenc() = default;
    charenc(const charenc&) = delete;
    charenc& operator=(const charenc&) = delete;

    // 0: Windows code-page number.
    virtual uint32_t codePage() const noexcept = 0;
    // 1: canonical lower-case name ("utf-8", "windows-1252"); never null.
    virtual const char* name() const noexcept = 0;
    // 2: the byte-order mark and its length, or null and 0 (lengthOut may be null).
    virtual const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept = 0;
    // 3: 0 for UTF-8 (narrow text passes through unchanged), 1 for the
    // single-byte encodings, 3 for UTF-16 and UTF-32. Callers test it for zero only.
    virtual uint32_t passThroughKind() const noexcept = 0;
    // 4: true for the UTF encodings.
    virtual bool isUnicode() const noexcept = 0;
    // 5: true when code units are wider than a byte (byte order matters).
    virtual bool hasWideUnits() const noexcept = 0;
    // 6: whether a sequence beginning with this byte needs more than one byte.
    virtual bool startsMultiByte(uint8_t firstByte) const noexcept = 0;
    // 7: bytes of the sequence that begins with this byte. UTF-16 answers 2
    // even for a surrogate: a pair is read as two units of two bytes.
    virtual uint32_t sequenceLength(uint8_t firstByte) const noexcept = 0;
    // 8: bytes of one code unit.
    virtual uint32_t minBytesPerChar() const noexcept = 0;
    // 9: largest number of bytes one decoded unit can take.
    virtual uint32_t maxBytesPerChar() const noexcept = 0;

    // 10-12: bytes needed to encode the text.
    virtual uint32_t encodedLengthFromUtf32(const char32_t* text, uint32_t count) const noexcept = 0;
    virtual uint32_t encodedLengthFromUtf16(const char16_t* text, uint32_t count) const noexcept = 0;
    virtual uint32_t encodedLengthFromUtf8(const char* text, uint32_t count) const noexcept = 0;

    // 13-15: text to bytes.
    [[nodiscard]] virtual ResultCode encodeFromUtf32(const char32_t* text, uint32_t* countInOut, uint8_t* bytes,
                                                     uint32_t* sizeInOut) const noexcept = 0;
    [[nodiscard]] virtual ResultCode encodeFromUtf16(const char16_t* text, uint32_t* countInOut, uint8_t* bytes,
                                                     uint32_t* sizeInOut) const noexcept = 0;
    [[nodiscard]] virtual ResultCode encodeFromUtf8(const char* text, uint32_t* countInOut, uint8_t* bytes,
                                                    uint32_t* sizeInOut) const noexcept = 0;

    // 16-18: code units the bytes decode to (note the order: narrow, 16, 32).
    virtual uint32_t decodedLengthAsUtf8(const uint8_t* bytes, uint32_t size) const noexcept = 0;
    virtual uint32_t decodedLengthAsUtf16(const uint8_t* bytes, uint32_t size) const noexcept = 0;
    virtual uint32_t decodedLengthAsUtf32(const uint8_t* bytes, uint32_t size) const noexcept = 0;

    // 19-21: bytes to text (order: 32, 16, narrow).
    [[nodiscard]] virtual ResultCode decodeToUtf32(const uint8_t* bytes, uint32_t* sizeInOut, char32_t* text,
                                                   uint32_t* countInOut) const noexcept = 0;
    [[nodiscard]] virtual ResultCode decodeToUtf16(const uint8_t* bytes, uint32_t* sizeInOut, char16_t* text,
                                                   uint32_t* countInOut) const noexcept = 0;
    [[nodiscard]] virtual ResultCode decodeToUtf8(const uint8_t* bytes, uint32_t* sizeInOut, char* text,
                                                  uint32_t* countInOut) const noexcept = 0;

    // Reference counting: 1 after construction; atomic; the object is
    // destroyed through its virtual destructor when the count reaches zero.
    void retain() noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
    void release() noexcept {
        if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    uint32_t referenceCount() const noexcept { return refs_.load(std::memory_order_relaxed); }

protected:
    // 22.
    virtual ~charenc() = default;

private:
    std::atomic<uint32_t> refs_{1};
};

// ---------------------------------------------------------------------------
// Registry.

// Fetches the shared object for a code page (or pseudo number 0/0xFFFFFFFE =
// 1252, 1 = 850, 2 = 10000) and adds one reference for the caller, who gives
// it back with release(). The first request creates the object; concurrent
// first requests agree on one instance. On failure *encoding is null.
[[nodiscard]] ResultCode getEncoding(uint32_t codePage, charenc** encoding) noexcept;

// The UTF-8 object with one added reference for the caller, or null if it
// cannot be had.
charenc* defaultEncoding() noexcept;

// Drops one reference (null is ignored); at zero the object is destroyed.
void releaseEncoding(charenc* encoding) noexcept;

// Installs encoding into *holder by atomic exchange and releases the
// previous occupant; the holder takes over the caller's reference. Returns
// true when the holder's value changed. When the holder already holds that
// object (or holder is null) nothing happens, false is returned and the
// caller keeps its reference.
bool replaceEncoding(charenc** holder, charenc* encoding) noexcept;

// One row of the charset name table.
struct CharsetName {
    const char* name;   // lower case
    uint32_t codePage;  // Windows code-page identifier
};
// The 152 charset names, sorted by name in ascending byte order.
inline constexpr uint32_t kCharsetNameCount = 152;
extern const CharsetName kCharsetNames[kCharsetNameCount];
// Finds a name in the table (exact bytes, no case folding): 0 with the code
// page, 526 when absent, 22 for null arguments. Whether the registry can
// serve that code page is a separate question for getEncoding.
[[nodiscard]] ResultCode charsetCodePage(const char* name, uint32_t* codePage) noexcept;

// ---------------------------------------------------------------------------
// The concrete classes, each derived from charenc directly. Constructing one
// directly gives a private instance (count 1); the program itself uses only
// the registry's.

// Declares the twelve conversion and length operations (slots 10-21) of a
// concrete class; every class defines all of them.
#define VARO_CHARENC_CONVERSIONS                                                                        \
    uint32_t encodedLengthFromUtf32(const char32_t* text, uint32_t count) const noexcept override;       \
    uint32_t encodedLengthFromUtf16(const char16_t* text, uint32_t count) const noexcept override;       \
    uint32_t encodedLengthFromUtf8(const char* text, uint32_t count) const noexcept override;            \
    ResultCode encodeFromUtf32(const char32_t* text, uint32_t* countInOut, uint8_t* bytes,               \
                               uint32_t* sizeInOut) const noexcept override;                             \
    ResultCode encodeFromUtf16(const char16_t* text, uint32_t* countInOut, uint8_t* bytes,               \
                               uint32_t* sizeInOut) const noexcept override;                             \
    ResultCode encodeFromUtf8(const char* text, uint32_t* countInOut, uint8_t* bytes,                    \
                              uint32_t* sizeInOut) const noexcept override;                              \
    uint32_t decodedLengthAsUtf8(const uint8_t* bytes, uint32_t size) const noexcept override;           \
    uint32_t decodedLengthAsUtf16(const uint8_t* bytes, uint32_t size) const noexcept override;          \
    uint32_t decodedLengthAsUtf32(const uint8_t* bytes, uint32_t size) const noexcept override;          \
    ResultCode decodeToUtf32(const uint8_t* bytes, uint32_t* sizeInOut, char32_t* text,                  \
                             uint32_t* countInOut) const noexcept override;                              \
    ResultCode decodeToUtf16(const uint8_t* bytes, uint32_t* sizeInOut, char16_t* text,                  \
                             uint32_t* countInOut) const noexcept override;                              \
    ResultCode decodeToUtf8(const uint8_t* bytes, uint32_t* sizeInOut, char* text,                       \
                            uint32_t* countInOut) const noexcept override;

// Answers shared by the four UTF-16/UTF-32 classes (slots 3-9), given the
// unit size in bytes.
#define VARO_CHARENC_WIDE_ANSWERS(unitBytes)                                         \
    uint32_t passThroughKind() const noexcept override { return 3; }                  \
    bool isUnicode() const noexcept override { return true; }                         \
    bool hasWideUnits() const noexcept override { return true; }                      \
    bool startsMultiByte(uint8_t) const noexcept override { return true; }            \
    uint32_t sequenceLength(uint8_t) const noexcept override { return unitBytes; }    \
    uint32_t minBytesPerChar() const noexcept override { return unitBytes; }          \
    uint32_t maxBytesPerChar() const noexcept override { return unitBytes; }

// Answers shared by the three one-byte-per-character classes (slots 2-9).
#define VARO_CHARENC_SINGLE_BYTE_ANSWERS                                               \
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override {       \
        if (lengthOut) *lengthOut = 0;                                                 \
        return nullptr;                                                                \
    }                                                                                  \
    uint32_t passThroughKind() const noexcept override { return 1; }                  \
    bool isUnicode() const noexcept override { return false; }                        \
    bool hasWideUnits() const noexcept override { return false; }                     \
    bool startsMultiByte(uint8_t) const noexcept override { return false; }           \
    uint32_t sequenceLength(uint8_t) const noexcept override { return 1; }            \
    uint32_t minBytesPerChar() const noexcept override { return 1; }                  \
    uint32_t maxBytesPerChar() const noexcept override { return 1; }

// "utf-8": narrow text passes through by copying (a destination smaller than
// the source gets what fits, with 56); the other widths go through the UTF
// transforms.
class charenc_utf8 final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUtf8; }
    const char* name() const noexcept override { return "utf-8"; }
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override;
    uint32_t passThroughKind() const noexcept override { return 0; }
    bool isUnicode() const noexcept override { return true; }
    bool hasWideUnits() const noexcept override { return false; }
    bool startsMultiByte(uint8_t firstByte) const noexcept override { return firstByte >= 0xC0; }
    // 1 unless the top two bits are both set; else 2 when bit 5 is clear;
    // else 4 when bit 4 is set, else 3.
    uint32_t sequenceLength(uint8_t firstByte) const noexcept override;
    uint32_t minBytesPerChar() const noexcept override { return 1; }
    uint32_t maxBytesPerChar() const noexcept override { return 4; }
    VARO_CHARENC_CONVERSIONS
};

// UTF-16 and UTF-32 convert through the UTF transforms and copy or byte-swap
// whole units where their byte order differs from the host's. A surrogate
// pair is two units of two bytes (sequenceLength answers 2).
class charenc_utf16le final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUtf16Le; }
    const char* name() const noexcept override { return "utf-16le"; }
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override;
    VARO_CHARENC_WIDE_ANSWERS(2)
    VARO_CHARENC_CONVERSIONS
};

class charenc_utf16be final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUtf16Be; }
    const char* name() const noexcept override { return "utf-16be"; }
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override;
    VARO_CHARENC_WIDE_ANSWERS(2)
    VARO_CHARENC_CONVERSIONS
};

class charenc_utf32le final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUtf32Le; }
    const char* name() const noexcept override { return "utf-32le"; }
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override;
    VARO_CHARENC_WIDE_ANSWERS(4)
    VARO_CHARENC_CONVERSIONS
};

class charenc_utf32be final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUtf32Be; }
    const char* name() const noexcept override { return "utf-32be"; }
    const uint8_t* byteOrderMark(uint32_t* lengthOut) const noexcept override;
    VARO_CHARENC_WIDE_ANSWERS(4)
    VARO_CHARENC_CONVERSIONS
};

// Encoding rules shared by the three one-byte-per-character classes
// (us-ascii, the code pages, x-user-defined):
// - a source unit below 0x80 is mapped at once, without decoding;
// - narrow text is decoded one character at a time with the UTF-8 rules,
//   except that a four-byte sequence yields its code point LESS 0x10000;
// - 16-bit text is decoded one character at a time where a pair is a LOW
//   surrogate followed by a HIGH one; a high surrogate first, or a low one
//   not followed by a high one, is invalid;
// - an invalid sequence writes "?" with 85 and skips to the next unit that
//   can start a character; if none follows, or the text ends inside a
//   character, the call stops before it with 537;
// - a character may map to no byte at all (dropped): the input advances and
//   nothing is written, so no room is needed for it;
// - the result is that of the last non-ASCII character decoded (a later good
//   character clears an earlier 85), or 56 / 537 when the call stopped.
// The length operations count exactly the bytes the encoders write.

// "us-ascii": decoding keeps the low seven bits of each byte (C1 becomes
// "A"); encoding sends every code point of 0x80 or more straight to the
// character-property fallback, without the substitution table.
class charenc_ascii final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUsAscii; }
    const char* name() const noexcept override { return "us-ascii"; }
    VARO_CHARENC_SINGLE_BYTE_ANSWERS
    VARO_CHARENC_CONVERSIONS
};

// "x-user-defined": bytes 80-FF stand for U+F780-U+F7FF. Encoding writes the
// low byte of every code point up to 0xFF and of every one in U+F700-U+F7FF;
// others go to the character-property fallback.
class charenc_user final : public charenc {
public:
    uint32_t codePage() const noexcept override { return kCodePageUserDefined; }
    const char* name() const noexcept override { return "x-user-defined"; }
    VARO_CHARENC_SINGLE_BYTE_ANSWERS
    VARO_CHARENC_CONVERSIONS
};

// Constant definition of a single-byte code page. A null half is the
// identity (byte b decodes to U+00bb).
struct SbcsDefinition {
    const char* name;
    const char16_t* low;   // 128 code points for bytes 00-7F, or null
    const char16_t* high;  // 128 code points for bytes 80-FF, or null
    uint16_t codePage;
};

// One entry of a code page's table of bytes whose code point is 0x80 or
// more, sorted by code point.
struct SbcsHighEntry {
    uint16_t codePoint;
    uint8_t byte;
};

// A single-byte code page built from a definition. Bytes decode through the
// decode table (narrow output: the UTF-8 form of each code point). Encoding a
// unit below 0x80 uses the reverse ASCII table; a code point of 0x80 or more
// becomes: above 0xFFFF "?"; else the byte found by binary search in the
// code page's high table; else the one found in the shared ASCII
// substitution table; else the character-property fallback.
class charenc_sbcs final : public charenc {
public:
    // Builds the tables. If that fails (no definition, no memory) the object
    // still exists, with an empty name and no high table.
    explicit charenc_sbcs(const SbcsDefinition* definition) noexcept;
    ~charenc_sbcs() override;

    uint32_t codePage() const noexcept override { return codePage_; }
    const char* name() const noexcept override { return name_ ? name_ : ""; }
    VARO_CHARENC_SINGLE_BYTE_ANSWERS
    VARO_CHARENC_CONVERSIONS

    // The table-building step: 22 without a definition, 12 when an
    // allocation fails.
    [[nodiscard]] ResultCode build(const SbcsDefinition* definition) noexcept;

    // The byte for a unit below 0x80 (0 when no byte decodes to it).
    uint8_t mapAscii(uint32_t unit) const noexcept { return reverseAscii_[unit & 0x7F]; }
    // The byte for a code point of 0x80 or more; false when it is dropped.
    bool mapWide(char32_t codePoint, uint8_t* byte) const noexcept;

private:
    char* name_ = nullptr;
    uint8_t reverseAscii_[128] = {};  // lowest byte decoding to U+00uu, 0 for none
    SbcsHighEntry* high_ = nullptr;   // bytes decoding to 0x80 or more, by code point
    char16_t decode_[256] = {};
    uint16_t codePage_ = 0;
    uint16_t highCount_ = 0;
};

// ---------------------------------------------------------------------------
// Tables behind the single-byte encoders.

// The code-page definitions the registry builds from.
extern const SbcsDefinition kSbcsIbm437;
extern const SbcsDefinition kSbcsIbm850;
extern const SbcsDefinition kSbcsWindows1252;
extern const SbcsDefinition kSbcsMacintosh;
extern const SbcsDefinition kSbcsIso8859_1;

// The published code points of bytes 80-FF (generated).
extern const char16_t kCodePage437High[128];
extern const char16_t kCodePage850High[128];
extern const char16_t kCodePage1252High[128];
extern const char16_t kCodePage10000High[128];

// The shared ASCII substitution table: look-alike ASCII bytes for
// punctuation and full-width forms, sorted by code point.
struct AsciiSubstitution {
    char16_t codePoint;
    uint8_t byte;
};
inline constexpr uint32_t kAsciiSubstitutionCount = 182;
extern const AsciiSubstitution kAsciiSubstitutions[kAsciiSubstitutionCount];

// Character-property table (generated from the Unicode Character Database):
// one row per range of code points with equal properties, sorted by first
// code point, the first row starting at 0; a range runs up to the next
// row's first code point, the last one to the end of the code space.
// Category codes group by their high digit:
//   0x11 Lu, 0x12 Ll, 0x13 Lt, 0x14 Lm, 0x15 Lo;
//   0x21 Mn, 0x22 Mc, 0x23 Me;
//   0x31 Nd, 0x32 Nl, 0x33 No;
//   0x41 Pc, 0x42 Pd, 0x43 Ps, 0x44 Pe, 0x45 Pi, 0x46 Pf, 0x47 Po;
//   0x51 Sm, 0x52 Sc, 0x53 Sk, 0x54 So;
//   0x61 Zs, 0x62 Zl, 0x63 Zp;
//   0x71 Cc, 0x72 Cf, 0x73 Cs, 0x74 Co, 0x75 Cn (unassigned).
// The ASCII fallback byte is the character's full compatibility
// decomposition when that is a single ASCII character (U+00A0 gives a
// space, U+FF01 "!"), else 0.
struct CharProperty {
    uint32_t first;     // first code point of the range
    uint32_t upper;     // simple upper-case mapping, 0 for none
    uint32_t lower;     // simple lower-case mapping, 0 for none
    uint32_t title;     // simple title-case mapping, 0 for none
    uint8_t category;   // category code above
    uint8_t fallback;   // ASCII fallback byte, 0 for none
};
extern const CharProperty kCharProperties[];
extern const uint32_t kCharPropertyCount;
// Version of the Unicode Character Database the table was generated from.
extern const char kCharPropertiesUnicodeVersion[];

// The row whose range holds codePoint.
const CharProperty& findCharProperty(char32_t codePoint) noexcept;

// The character-property fallback of the single-byte encoders: false when
// the character is dropped (unassigned, marks, format, surrogate, private
// use: category 0, 0x20-0x23, 0x70, 0x72-0x75), else the row's ASCII
// fallback byte, or "?" when it has none.
bool charPropertyFallback(char32_t codePoint, uint8_t* byte) noexcept;
