// The one-byte-per-character encodings: us-ascii, x-user-defined and the
// code pages built from a definition.
//
// Encoding decodes the source one character at a time with decoders that
// differ on purpose from the plain UTF transforms:
// - narrow text: the UTF-8 rules, but a four-byte sequence yields its code
//   point less 0x10000 (so U+1F600 arrives as U+F600, a private-use
//   character that is then dropped);
// - 16-bit text: a pair is a LOW surrogate followed by a HIGH one, giving
//   ((first & 0x3FF) << 10 | (second & 0x3FF)) + 0x10000; a high surrogate
//   first, or a low one without a high one after it, is invalid and skips
//   to the next unit outside D800-DFFF;
// - an invalid sequence writes "?" with 85; one that runs to the end of the
//   input, like a character cut off by the end, stops the call before it
//   with 537 so the caller can supply the rest.
// Units below 0x80 are mapped at once and do not touch the result, which is
// that of the last non-ASCII character (a later good one clears an earlier
// 85), or 56 / 537 when the call stopped.
#include <algorithm>
#include <cstring>
#include <new>

#include "foundation/encodings.h"

namespace {

constexpr uint32_t kNoLimit = 0xFFFFFFFFu;

template <class U>
uint32_t textSourceUnits(const U* text, uint32_t count) noexcept {
    if (!text) return 0;
    return count == kUnitsToTerminator ? terminatedLength(text) + 1 : count;
}

uint32_t byteSourceSize(const uint8_t* bytes, uint32_t size) noexcept {
    if (!bytes) return 0;
    return size == kUnitsToTerminator ? terminatedLength(reinterpret_cast<const char*>(bytes)) + 1 : size;
}

// One decoded character of the source.
struct Char {
    char32_t codePoint;
    uint32_t used;
    ResultCode result;  // 0, 85 (write "?") or 537 (stop)
};

Char nextUtf32(const char32_t* src, uint32_t) noexcept { return {src[0], 1, kResultOk}; }

Char nextUtf8(const char* src, uint32_t count) noexcept {
    Char c{0, 0, kResultOk};
    c.result = decodeUtf8Char(src, count, &c.codePoint, &c.used);
    if (c.result == kResultOk && c.used == 4) c.codePoint -= 0x10000;
    return c;
}

inline bool isSurrogate(uint32_t u) noexcept { return u >= 0xD800 && u <= 0xDFFF; }

Char nextUtf16(const char16_t* src, uint32_t count) noexcept {
    uint32_t first = src[0];
    if (!isSurrogate(first)) return {first, 1, kResultOk};
    if (first >= 0xDC00 && count >= 2 && src[1] >= 0xD800 && src[1] <= 0xDBFF)
        return {(((first & 0x3FF) << 10) | (src[1] & 0x3FFu)) + 0x10000, 2, kResultOk};
    uint32_t used = 1;
    while (used < count && isSurrogate(src[used])) ++used;
    if (used == count) return {0, 0, kErrIncompleteInput};
    return {kReplacementChar, used, kErrIllegalSequence};
}

// The encoding loop shared by every single-byte class and source width.
// With a null destination it only counts (the length operations).
template <class Unit, class Next, class Map>
ResultCode encodeLoop(const Unit* src, uint32_t count, uint32_t* consumed, uint8_t* dst, uint32_t room,
                      uint32_t* written, Next next, const Map& map) noexcept {
    ResultCode result = kResultOk;
    uint32_t i = 0;
    uint32_t n = 0;
    while (i < count) {
        uint32_t unit = static_cast<std::make_unsigned_t<Unit>>(src[i]);
        if (unit < 0x80) {
            if (n >= room) {
                result = kErrNoBufferSpace;
                break;
            }
            if (dst) dst[n] = map.ascii(unit);
            ++n;
            ++i;
            continue;
        }
        Char c = next(src + i, count - i);
        if (c.result == kErrIncompleteInput) {
            result = c.result;
            break;
        }
        uint8_t byte = '?';
        bool writes = c.result == kErrIllegalSequence || map.wide(c.codePoint, &byte);
        if (writes) {
            if (n >= room) {
                result = kErrNoBufferSpace;
                break;
            }
            if (dst) dst[n] = byte;
            ++n;
        }
        result = c.result;
        i += c.used;
    }
    *consumed = i;
    *written = n;
    return result;
}

template <class Unit, class Next, class Map>
ResultCode encodeText(const Unit* text, uint32_t* countInOut, uint8_t* bytes, uint32_t* sizeInOut, Next next,
                      const Map& map) noexcept {
    if (!countInOut || !bytes || !sizeInOut) return kErrInvalidArgument;
    uint32_t count = textSourceUnits(text, *countInOut);
    return encodeLoop(text, count, countInOut, bytes, *sizeInOut, sizeInOut, next, map);
}

template <class Unit, class Next, class Map>
uint32_t encodedLength(const Unit* text, uint32_t count, Next next, const Map& map) noexcept {
    uint32_t consumed = 0;
    uint32_t written = 0;
    (void)encodeLoop<Unit>(text, textSourceUnits(text, count), &consumed, nullptr, kNoLimit, &written, next, map);
    return written;
}

// Byte-to-text loops; decode(byte) gives the code point, always below 0x10000.
template <class Text, class Decode>
ResultCode decodeWide(const uint8_t* bytes, uint32_t* sizeInOut, Text* text, uint32_t* countInOut,
                      Decode decode) noexcept {
    if (!sizeInOut || !text || !countInOut) return kErrInvalidArgument;
    uint32_t size = byteSourceSize(bytes, *sizeInOut);
    uint32_t n = std::min(size, *countInOut);
    for (uint32_t i = 0; i < n; ++i) text[i] = static_cast<Text>(decode(bytes[i]));
    *sizeInOut = n;
    *countInOut = n;
    return n < size ? kErrNoBufferSpace : kResultOk;
}

template <class Decode>
ResultCode decodeNarrow(const uint8_t* bytes, uint32_t* sizeInOut, char* text, uint32_t* countInOut,
                        Decode decode) noexcept {
    if (!sizeInOut || !text || !countInOut) return kErrInvalidArgument;
    uint32_t size = byteSourceSize(bytes, *sizeInOut);
    uint32_t room = *countInOut;
    uint32_t i = 0;
    uint32_t n = 0;
    ResultCode result = kResultOk;
    for (; i < size; ++i) {
        char32_t cp = decode(bytes[i]);
        if (cp < 0x80 && n < room) {
            text[n++] = static_cast<char>(cp);
            continue;
        }
        uint32_t put = 0;
        ResultCode rc = encodeUtf8CodePoint(cp, text + n, room - n, &put);
        if (rc == kErrNoBufferSpace) {
            result = rc;
            break;
        }
        if (rc != kResultOk) result = rc;
        n += put;
    }
    *sizeInOut = i;
    *countInOut = n;
    return result;
}

template <class Decode>
uint32_t narrowLength(const uint8_t* bytes, uint32_t size, Decode decode) noexcept {
    size = byteSourceSize(bytes, size);
    uint64_t total = 0;
    for (uint32_t i = 0; i < size; ++i) total += utf8LengthOfCodePoint(decode(bytes[i]));
    return total > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(total);
}

// --- The three mappings. ---

struct AsciiMap {
    uint8_t ascii(uint32_t unit) const noexcept { return static_cast<uint8_t>(unit); }
    bool wide(char32_t cp, uint8_t* byte) const noexcept { return charPropertyFallback(cp, byte); }
    static char32_t decode(uint8_t b) noexcept { return b & 0x7F; }
};

struct UserMap {
    uint8_t ascii(uint32_t unit) const noexcept { return static_cast<uint8_t>(unit); }
    bool wide(char32_t cp, uint8_t* byte) const noexcept {
        if (cp <= 0xFF || (cp >= 0xF700 && cp <= 0xF7FF)) {
            *byte = static_cast<uint8_t>(cp);
            return true;
        }
        return charPropertyFallback(cp, byte);
    }
    static char32_t decode(uint8_t b) noexcept { return b < 0x80 ? char32_t(b) : char32_t(0xF700 + b); }
};

struct SbcsMap {
    const charenc_sbcs* encoding;
    uint8_t ascii(uint32_t unit) const noexcept { return encoding->mapAscii(unit); }
    bool wide(char32_t cp, uint8_t* byte) const noexcept { return encoding->mapWide(cp, byte); }
};

const AsciiSubstitution* findSubstitution(char32_t cp) noexcept {
    const AsciiSubstitution* end = kAsciiSubstitutions + kAsciiSubstitutionCount;
    const AsciiSubstitution* it = std::lower_bound(
        kAsciiSubstitutions, end, cp, [](const AsciiSubstitution& row, char32_t v) { return row.codePoint < v; });
    return it != end && it->codePoint == cp ? it : nullptr;
}

}  // namespace

// The twelve conversion operations of a single-byte class, given an
// expression for its map object and its byte decoder.
#define VARO_SINGLE_BYTE_CONVERSIONS(Class, mapExpr, decodeExpr)                                               \
    uint32_t Class::encodedLengthFromUtf32(const char32_t* t, uint32_t c) const noexcept {                     \
        return encodedLength(t, c, nextUtf32, mapExpr);                                                        \
    }                                                                                                          \
    uint32_t Class::encodedLengthFromUtf16(const char16_t* t, uint32_t c) const noexcept {                     \
        return encodedLength(t, c, nextUtf16, mapExpr);                                                        \
    }                                                                                                          \
    uint32_t Class::encodedLengthFromUtf8(const char* t, uint32_t c) const noexcept {                          \
        return encodedLength(t, c, nextUtf8, mapExpr);                                                         \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf32(const char32_t* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept { \
        return encodeText(t, c, b, s, nextUtf32, mapExpr);                                                     \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf16(const char16_t* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept { \
        return encodeText(t, c, b, s, nextUtf16, mapExpr);                                                     \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf8(const char* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept {      \
        return encodeText(t, c, b, s, nextUtf8, mapExpr);                                                      \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf8(const uint8_t* b, uint32_t s) const noexcept {                         \
        return narrowLength(b, s, decodeExpr);                                                                 \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf16(const uint8_t* b, uint32_t s) const noexcept {                        \
        return byteSourceSize(b, s);                                                                           \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf32(const uint8_t* b, uint32_t s) const noexcept {                        \
        return byteSourceSize(b, s);                                                                           \
    }                                                                                                          \
    ResultCode Class::decodeToUtf32(const uint8_t* b, uint32_t* s, char32_t* t, uint32_t* c) const noexcept {   \
        return decodeWide(b, s, t, c, decodeExpr);                                                             \
    }                                                                                                          \
    ResultCode Class::decodeToUtf16(const uint8_t* b, uint32_t* s, char16_t* t, uint32_t* c) const noexcept {   \
        return decodeWide(b, s, t, c, decodeExpr);                                                             \
    }                                                                                                          \
    ResultCode Class::decodeToUtf8(const uint8_t* b, uint32_t* s, char* t, uint32_t* c) const noexcept {        \
        return decodeNarrow(b, s, t, c, decodeExpr);                                                           \
    }

VARO_SINGLE_BYTE_CONVERSIONS(charenc_ascii, AsciiMap{}, AsciiMap::decode)
VARO_SINGLE_BYTE_CONVERSIONS(charenc_user, UserMap{}, UserMap::decode)
VARO_SINGLE_BYTE_CONVERSIONS(charenc_sbcs, (SbcsMap{this}), ([this](uint8_t byte) { return char32_t(decode_[byte]); }))

// ---------------------------------------------------------------------------
// Code pages built from a definition.

charenc_sbcs::charenc_sbcs(const SbcsDefinition* definition) noexcept { (void)build(definition); }

charenc_sbcs::~charenc_sbcs() {
    delete[] name_;
    delete[] high_;
}

ResultCode charenc_sbcs::build(const SbcsDefinition* definition) noexcept {
    if (!definition) return kErrInvalidArgument;
    codePage_ = definition->codePage;
    const char* name = definition->name ? definition->name : "";
    size_t nameLength = std::strlen(name);
    name_ = new (std::nothrow) char[nameLength + 1];
    if (!name_) return kErrNoMemory;
    std::memcpy(name_, name, nameLength + 1);

    uint32_t highCount = 0;
    for (uint32_t b = 0; b < 256; ++b) {
        const char16_t* half = b < 0x80 ? definition->low : definition->high;
        decode_[b] = half ? half[b & 0x7F] : char16_t(b);
        if (decode_[b] >= 0x80) ++highCount;
    }
    // Downwards, so that of several bytes decoding to one ASCII character
    // the lowest is kept.
    for (uint32_t b = 256; b-- > 0;)
        if (decode_[b] < 0x80) reverseAscii_[decode_[b]] = uint8_t(b);

    high_ = new (std::nothrow) SbcsHighEntry[highCount ? highCount : 1];
    if (!high_) return kErrNoMemory;
    uint32_t n = 0;
    for (uint32_t b = 0; b < 256; ++b)
        if (decode_[b] >= 0x80) high_[n++] = SbcsHighEntry{uint16_t(decode_[b]), uint8_t(b)};
    std::sort(high_, high_ + n, [](const SbcsHighEntry& a, const SbcsHighEntry& b) {
        return int(a.codePoint) - int(b.codePoint) < 0;
    });
    highCount_ = uint16_t(n);
    return kResultOk;
}

// Two binary searches at most before the character-property fallback: the
// code page's own bytes first, then the look-alike ASCII substitutions.
bool charenc_sbcs::mapWide(char32_t codePoint, uint8_t* byte) const noexcept {
    if (codePoint > 0xFFFF) {
        *byte = '?';
        return true;
    }
    if (highCount_ > 0) {
        const SbcsHighEntry* begin = high_;
        const SbcsHighEntry* end = high_ + highCount_;
        const SbcsHighEntry* it = std::lower_bound(
            begin, end, codePoint, [](const SbcsHighEntry& e, char32_t v) { return e.codePoint < v; });
        if (it != end && it->codePoint == codePoint && it->byte != 0) {
            *byte = it->byte;
            return true;
        }
    }
    if (const AsciiSubstitution* sub = findSubstitution(codePoint)) {
        *byte = sub->byte;
        return true;
    }
    return charPropertyFallback(codePoint, byte);
}

// The code pages the registry serves. Bytes 00-7F are ASCII in all of them.
const SbcsDefinition kSbcsIbm437{"ibm437", nullptr, kCodePage437High, 437};
const SbcsDefinition kSbcsIbm850{"ibm850", nullptr, kCodePage850High, 850};
const SbcsDefinition kSbcsWindows1252{"windows-1252", nullptr, kCodePage1252High, 1252};
const SbcsDefinition kSbcsMacintosh{"macintosh", nullptr, kCodePage10000High, 10000};
const SbcsDefinition kSbcsIso8859_1{"iso-8859-1", nullptr, nullptr, 28591};
