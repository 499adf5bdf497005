// UTF transforms: one decoder per source width, one encoder per destination
// width, and one loop that joins them under the conversion protocol.
#include "foundation/utf.h"

#include <algorithm>
#include <cstring>

namespace {

// What decoding one character found.
enum class Step : uint8_t {
    kGood,           // a character; consume `used` units
    kReplaced,       // U+FFFD; consume `used` units and go on
    kIncomplete,     // input ends inside a character: stop before it
    kReplacedAtEnd,  // U+FFFD; the skip ran to the end of the input: stop
};

struct Decoded {
    char32_t codePoint;
    uint32_t used;
    Step step;
};

template <class U>
inline U swapUnit(U v) noexcept {
    if constexpr (sizeof(U) == 2)
        return static_cast<U>(__builtin_bswap16(static_cast<uint16_t>(v)));
    else
        return static_cast<U>(__builtin_bswap32(static_cast<uint32_t>(v)));
}

// Wide units may sit at any address in a byte buffer: load and store bytewise.
template <class U>
inline uint32_t loadUnit(const U* p, bool swap) noexcept {
    if constexpr (sizeof(U) == 1) {
        (void)swap;
        return static_cast<uint8_t>(*p);
    } else {
        U v;
        std::memcpy(&v, p, sizeof v);
        return static_cast<uint32_t>(swap ? swapUnit(v) : v);
    }
}

template <class U>
inline void storeUnit(U* p, uint32_t value, bool swap) noexcept {
    if constexpr (sizeof(U) == 1) {
        (void)swap;
        *p = static_cast<U>(static_cast<uint8_t>(value));
    } else {
        U v = static_cast<U>(value);
        if (swap) v = swapUnit(v);
        std::memcpy(p, &v, sizeof v);
    }
}

// Allowed range of the byte after a lead byte of three or four bytes; the
// other continuation bytes are always 80-BF.
inline bool secondByteFits(uint8_t lead, uint8_t b) noexcept {
    switch (lead) {
        case 0xE0: return b >= 0xA0 && b <= 0xBF;  // no overlong three-byte forms
        case 0xED: return b >= 0x80 && b <= 0x9F;  // no encoded surrogates
        case 0xF0: return b >= 0x90 && b <= 0xBF;  // no overlong four-byte forms
        case 0xF4: return b >= 0x80 && b <= 0x8F;  // nothing above U+10FFFF
        default: return b >= 0x80 && b <= 0xBF;
    }
}

// Skips an invalid sequence starting at lead p: past the lead byte to the next
// byte at which decoding can resynchronise.
inline Decoded replaceInvalidUtf8(const uint8_t* p, const uint8_t* end) noexcept {
    const uint8_t* q = p + 1;
    while (q < end && !isUtf8ResyncByte(*q)) ++q;
    return {kReplacementChar, static_cast<uint32_t>(q - p), q == end ? Step::kReplacedAtEnd : Step::kReplaced};
}

// One UTF-8 character at p (p < end). A short sequence whose present bytes all
// fit is incomplete; one with a misfit among them is invalid at once, so the
// outcome does not depend on where the caller's buffer happened to end.
inline Decoded decodeUtf8(const uint8_t* p, const uint8_t* end) noexcept {
    uint8_t lead = p[0];
    if (lead < 0x80) return {lead, 1, Step::kGood};
    uint32_t need;
    char32_t cp;
    if (lead >= 0xC2 && lead <= 0xDF) {
        need = 2;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        need = 3;
        cp = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        need = 4;
        cp = lead & 0x07;
    } else {
        return replaceInvalidUtf8(p, end);
    }
    uint32_t have = static_cast<uint32_t>(end - p);
    for (uint32_t i = 1; i < need; ++i) {
        if (i >= have) return {0, 0, Step::kIncomplete};
        uint8_t b = p[i];
        bool fits = i == 1 ? secondByteFits(lead, b) : (b >= 0x80 && b <= 0xBF);
        if (!fits) return replaceInvalidUtf8(p, end);
        cp = (cp << 6) | (b & 0x3F);
    }
    return {cp, need, Step::kGood};
}

inline bool isHighSurrogate(uint32_t u) noexcept { return u >= 0xD800 && u <= 0xDBFF; }
inline bool isLowSurrogate(uint32_t u) noexcept { return u >= 0xDC00 && u <= 0xDFFF; }

struct Utf8Source {
    using Unit = char;
    static Decoded decode(const char* p, const char* end, bool) noexcept {
        return decodeUtf8(reinterpret_cast<const uint8_t*>(p), reinterpret_cast<const uint8_t*>(end));
    }
};

struct Utf16Source {
    using Unit = char16_t;
    static Decoded decode(const char16_t* p, const char16_t* end, bool swap) noexcept {
        uint32_t u = loadUnit(p, swap);
        if (u < 0xD800 || u > 0xDFFF) return {u, 1, Step::kGood};
        if (isHighSurrogate(u)) {
            if (p + 1 == end) return {0, 0, Step::kIncomplete};
            uint32_t low = loadUnit(p + 1, swap);
            if (isLowSurrogate(low)) return {0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00), 2, Step::kGood};
        }
        return {kReplacementChar, 1, Step::kReplaced};
    }
};

struct Utf32Source {
    using Unit = char32_t;
    static Decoded decode(const char32_t* p, const char32_t*, bool swap) noexcept {
        uint32_t u = loadUnit(p, swap);
        if (u < 0xD800 || (u >= 0xE000 && u <= 0x10FFFF)) return {u, 1, Step::kGood};
        return {kReplacementChar, 1, Step::kReplaced};
    }
};

// Encoders receive only valid code points (decoders replace everything else).
struct Utf8Sink {
    using Unit = char;
    static uint32_t units(char32_t cp) noexcept { return utf8LengthOfCodePoint(cp); }
    static void put(char* d, char32_t cp, bool) noexcept {
        if (cp < 0x80) {
            d[0] = static_cast<char>(cp);
        } else if (cp < 0x800) {
            d[0] = static_cast<char>(0xC0 | (cp >> 6));
            d[1] = static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            d[0] = static_cast<char>(0xE0 | (cp >> 12));
            d[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            d[2] = static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            d[0] = static_cast<char>(0xF0 | (cp >> 18));
            d[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            d[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            d[3] = static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
};

struct Utf16Sink {
    using Unit = char16_t;
    static uint32_t units(char32_t cp) noexcept { return cp < 0x10000 ? 1 : 2; }
    static void put(char16_t* d, char32_t cp, bool swap) noexcept {
        if (cp < 0x10000) {
            storeUnit(d, cp, swap);
        } else {
            storeUnit(d, 0xD800 + ((cp - 0x10000) >> 10), swap);
            storeUnit(d + 1, 0xDC00 + ((cp - 0x10000) & 0x3FF), swap);
        }
    }
};

struct Utf32Sink {
    using Unit = char32_t;
    static uint32_t units(char32_t) noexcept { return 1; }
    static void put(char32_t* d, char32_t cp, bool swap) noexcept { storeUnit(d, cp, swap); }
};

template <class U>
uint32_t unitsToTerminator(const U* text) noexcept {
    if (text == nullptr) return 0;
    uint32_t n = 0;
    while (text[n] != 0 && n < 0xFFFFFFFEu) ++n;
    return n;
}

// The protocol's source count: kUnitsToTerminator takes the terminator too.
template <class U>
uint32_t sourceUnits(const U* src, uint32_t count) noexcept {
    if (src == nullptr) return 0;
    if (count == kUnitsToTerminator) {
        uint32_t n = unitsToTerminator(src);
        return n < 0xFFFFFFFEu ? n + 1 : n;
    }
    return count;
}

template <class Source, class Sink>
ResultCode convert(const typename Source::Unit* src, uint32_t* srcCount, typename Sink::Unit* dst,
                   uint32_t* dstCount, UnitOrder srcOrder, UnitOrder dstOrder) noexcept {
    if (srcCount == nullptr || dst == nullptr || dstCount == nullptr) return kErrInvalidArgument;
    const uint32_t total = sourceUnits(src, *srcCount);
    const uint32_t capacity = *dstCount;
    const bool srcSwap = srcOrder == UnitOrder::kSwapped;
    const bool dstSwap = dstOrder == UnitOrder::kSwapped;
    const auto* end = src + total;
    uint32_t in = 0;
    uint32_t out = 0;
    bool replaced = false;
    ResultCode rc = kResultOk;
    while (in < total) {
        // Runs of ASCII are the common case and map one unit to one unit.
        const uint32_t room = capacity - out;
        const uint32_t run = std::min(total - in, room);
        uint32_t k = 0;
        for (uint32_t u; k < run && (u = loadUnit(src + in + k, srcSwap)) < 0x80; ++k)
            storeUnit(dst + out + k, u, dstSwap);
        in += k;
        out += k;
        if (in == total) break;

        Decoded d = Source::decode(src + in, end, srcSwap);
        if (d.step == Step::kIncomplete) {
            rc = kErrIncompleteInput;
            break;
        }
        uint32_t units = Sink::units(d.codePoint);
        if (capacity - out < units) {
            rc = kErrNoBufferSpace;
            break;
        }
        Sink::put(dst + out, d.codePoint, dstSwap);
        out += units;
        in += d.used;
        if (d.step == Step::kReplaced) replaced = true;
        if (d.step == Step::kReplacedAtEnd) {
            rc = kErrIncompleteInput;
            break;
        }
    }
    *srcCount = in;
    *dstCount = out;
    if (rc == kResultOk && replaced) rc = kErrIllegalSequence;
    return rc;
}

// Output units of the matching conversion with unlimited room.
template <class Source, class Sink>
uint32_t convertedLength(const typename Source::Unit* src, uint32_t count, UnitOrder srcOrder) noexcept {
    const uint32_t total = sourceUnits(src, count);
    const bool srcSwap = srcOrder == UnitOrder::kSwapped;
    const auto* end = src + total;
    uint64_t out = 0;
    uint32_t in = 0;
    while (in < total) {
        Decoded d = Source::decode(src + in, end, srcSwap);
        if (d.step == Step::kIncomplete) break;
        out += Sink::units(d.codePoint);
        in += d.used;
        if (d.step == Step::kReplacedAtEnd) break;
    }
    return out > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(out);
}

}  // namespace

uint32_t terminatedLength(const char* text) noexcept { return unitsToTerminator(text); }
uint32_t terminatedLength(const char16_t* text) noexcept { return unitsToTerminator(text); }
uint32_t terminatedLength(const char32_t* text) noexcept { return unitsToTerminator(text); }

ResultCode utf8ToUtf16(const char* src, uint32_t* srcCount, char16_t* dst, uint32_t* dstCount,
                       UnitOrder dstOrder) noexcept {
    return convert<Utf8Source, Utf16Sink>(src, srcCount, dst, dstCount, UnitOrder::kHost, dstOrder);
}
ResultCode utf8ToUtf32(const char* src, uint32_t* srcCount, char32_t* dst, uint32_t* dstCount,
                       UnitOrder dstOrder) noexcept {
    return convert<Utf8Source, Utf32Sink>(src, srcCount, dst, dstCount, UnitOrder::kHost, dstOrder);
}
ResultCode utf16ToUtf8(const char16_t* src, uint32_t* srcCount, char* dst, uint32_t* dstCount,
                       UnitOrder srcOrder) noexcept {
    return convert<Utf16Source, Utf8Sink>(src, srcCount, dst, dstCount, srcOrder, UnitOrder::kHost);
}
ResultCode utf16ToUtf32(const char16_t* src, uint32_t* srcCount, char32_t* dst, uint32_t* dstCount,
                        UnitOrder srcOrder, UnitOrder dstOrder) noexcept {
    return convert<Utf16Source, Utf32Sink>(src, srcCount, dst, dstCount, srcOrder, dstOrder);
}
ResultCode utf32ToUtf8(const char32_t* src, uint32_t* srcCount, char* dst, uint32_t* dstCount,
                       UnitOrder srcOrder) noexcept {
    return convert<Utf32Source, Utf8Sink>(src, srcCount, dst, dstCount, srcOrder, UnitOrder::kHost);
}
ResultCode utf32ToUtf16(const char32_t* src, uint32_t* srcCount, char16_t* dst, uint32_t* dstCount,
                        UnitOrder srcOrder, UnitOrder dstOrder) noexcept {
    return convert<Utf32Source, Utf16Sink>(src, srcCount, dst, dstCount, srcOrder, dstOrder);
}

uint32_t utf16LengthOfUtf8(const char* src, uint32_t count) noexcept {
    return convertedLength<Utf8Source, Utf16Sink>(src, count, UnitOrder::kHost);
}
uint32_t utf32LengthOfUtf8(const char* src, uint32_t count) noexcept {
    return convertedLength<Utf8Source, Utf32Sink>(src, count, UnitOrder::kHost);
}
uint32_t utf8LengthOfUtf16(const char16_t* src, uint32_t count, UnitOrder srcOrder) noexcept {
    return convertedLength<Utf16Source, Utf8Sink>(src, count, srcOrder);
}
uint32_t utf32LengthOfUtf16(const char16_t* src, uint32_t count, UnitOrder srcOrder) noexcept {
    return convertedLength<Utf16Source, Utf32Sink>(src, count, srcOrder);
}
uint32_t utf8LengthOfUtf32(const char32_t* src, uint32_t count, UnitOrder srcOrder) noexcept {
    return convertedLength<Utf32Source, Utf8Sink>(src, count, srcOrder);
}
uint32_t utf16LengthOfUtf32(const char32_t* src, uint32_t count, UnitOrder srcOrder) noexcept {
    return convertedLength<Utf32Source, Utf16Sink>(src, count, srcOrder);
}

uint32_t utf8LengthOfUtf16Quick(const char16_t* src, uint32_t count, UnitOrder srcOrder) noexcept {
    const uint32_t total = sourceUnits(src, count);
    const bool swap = srcOrder == UnitOrder::kSwapped;
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < total; ++i) {
        uint32_t u = loadUnit(src + i, swap);
        if (u < 0x80) {
            bytes += 1;
        } else if (u < 0x800) {
            bytes += 2;
        } else if (isHighSurrogate(u)) {
            if (i + 1 == total) break;
            bytes += 4;
            ++i;
        } else {
            bytes += 3;
        }
    }
    return bytes > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(bytes);
}

ResultCode decodeUtf8Char(const char* src, uint32_t count, char32_t* codePoint, uint32_t* consumed) noexcept {
    if (codePoint == nullptr || consumed == nullptr) return kErrInvalidArgument;
    *codePoint = 0;
    *consumed = 0;
    if (src == nullptr || count == 0) return kErrIncompleteInput;
    Decoded d = Utf8Source::decode(src, src + count, false);
    *codePoint = d.codePoint;
    *consumed = d.used;
    switch (d.step) {
        case Step::kGood: return kResultOk;
        case Step::kReplaced: return kErrIllegalSequence;
        case Step::kIncomplete:
        case Step::kReplacedAtEnd: break;
    }
    return kErrIncompleteInput;
}

ResultCode encodeUtf8CodePoint(char32_t codePoint, char* dst, uint32_t capacity, uint32_t* written) noexcept {
    if (dst == nullptr || written == nullptr) return kErrInvalidArgument;
    *written = 0;
    bool invalid = (codePoint >= 0xD800 && codePoint <= 0xDFFF) || codePoint > 0x10FFFF;
    char32_t cp = invalid ? kReplacementChar : codePoint;
    uint32_t n = utf8LengthOfCodePoint(cp);
    if (capacity < n) return kErrNoBufferSpace;
    Utf8Sink::put(dst, cp, false);
    *written = n;
    return invalid ? kErrIllegalSequence : kResultOk;
}
