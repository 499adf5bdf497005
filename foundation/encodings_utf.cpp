// The UTF encoding objects: UTF-8, and UTF-16 / UTF-32 in both byte orders.
//
// All real work is done by the UTF transforms; this file adapts them to the
// byte side. For the wide classes a byte count is cut down to whole code
// units on entry (a trailing partial unit is neither converted nor counted)
// and multiplied back on return, and units are copied as they are when the
// class's byte order is the host's, byte-swapped otherwise.
#include <algorithm>
#include <bit>
#include <cstring>

#include "foundation/encodings.h"

namespace {

constexpr UnitOrder kLittleEndianOrder =
    std::endian::native == std::endian::little ? UnitOrder::kHost : UnitOrder::kSwapped;
constexpr UnitOrder kBigEndianOrder =
    std::endian::native == std::endian::big ? UnitOrder::kHost : UnitOrder::kSwapped;

uint32_t saturatingMultiply(uint32_t value, uint32_t factor) noexcept {
    uint64_t product = uint64_t(value) * factor;
    return product > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(product);
}

// Number of whole units of `width` bytes in a byte source, after the
// terminated-source rule: kUnitsToTerminator means up to and including the
// first all-zero unit.
uint32_t byteSourceUnits(const uint8_t* bytes, uint32_t size, uint32_t width) noexcept {
    if (!bytes) return 0;
    if (size != kUnitsToTerminator) return size / width;
    uint32_t units = 0;
    for (const uint8_t* p = bytes;; p += width) {
        ++units;
        bool zero = true;
        for (uint32_t i = 0; i < width; ++i) zero = zero && p[i] == 0;
        if (zero) return units;
    }
}

// Units of a text source after the terminated-source rule.
template <class U>
uint32_t textSourceUnits(const U* text, uint32_t count) noexcept {
    if (!text) return 0;
    return count == kUnitsToTerminator ? terminatedLength(text) + 1 : count;
}

// Copies whole units of `width` bytes, swapping them when asked. The same
// protocol as every conversion: what fits is copied, the rest gives 56.
ResultCode copyUnits(const void* src, uint32_t units, void* dst, uint32_t* srcCount, uint32_t* dstCount,
                     uint32_t width, UnitOrder order) noexcept {
    uint32_t n = std::min(units, *dstCount);
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    if (order == UnitOrder::kHost || width == 1) {
        if (n) std::memmove(d, s, size_t(n) * width);
    } else {
        for (uint32_t i = 0; i < n; ++i, s += width, d += width) {
            uint8_t unit[4];
            std::memcpy(unit, s, width);
            for (uint32_t k = 0; k < width; ++k) d[k] = unit[width - 1 - k];
        }
    }
    *srcCount = n;
    *dstCount = n;
    return n < units ? kErrNoBufferSpace : kResultOk;
}

// --- Shapes of the wide classes, parameterised by unit width and order. ---

// Bytes to text of another width through a transform whose source is the
// byte side seen as wide units.
template <class Wide, class Text, class Transform>
ResultCode decodeWide(const uint8_t* bytes, uint32_t* sizeInOut, Text* text, uint32_t* countInOut,
                      Transform transform) noexcept {
    if (!sizeInOut || !text || !countInOut) return kErrInvalidArgument;
    uint32_t units = byteSourceUnits(bytes, *sizeInOut, sizeof(Wide));
    ResultCode rc = transform(reinterpret_cast<const Wide*>(bytes), &units, text, countInOut);
    *sizeInOut = units * uint32_t(sizeof(Wide));
    return rc;
}

// Text of another width to bytes through a transform whose destination is
// the byte side seen as wide units.
template <class Wide, class Text, class Transform>
ResultCode encodeWide(const Text* text, uint32_t* countInOut, uint8_t* bytes, uint32_t* sizeInOut,
                      Transform transform) noexcept {
    if (!countInOut || !bytes || !sizeInOut) return kErrInvalidArgument;
    uint32_t room = *sizeInOut / uint32_t(sizeof(Wide));
    ResultCode rc = transform(text, countInOut, reinterpret_cast<Wide*>(bytes), &room);
    *sizeInOut = room * uint32_t(sizeof(Wide));
    return rc;
}

// Bytes to text of the same width: copy or swap.
template <class Wide>
ResultCode decodeSame(const uint8_t* bytes, uint32_t* sizeInOut, Wide* text, uint32_t* countInOut,
                      UnitOrder order) noexcept {
    if (!sizeInOut || !text || !countInOut) return kErrInvalidArgument;
    uint32_t units = byteSourceUnits(bytes, *sizeInOut, sizeof(Wide));
    uint32_t consumed = 0;
    ResultCode rc = copyUnits(bytes, units, text, &consumed, countInOut, sizeof(Wide), order);
    *sizeInOut = consumed * uint32_t(sizeof(Wide));
    return rc;
}

// Text of the same width to bytes: copy or swap.
template <class Wide>
ResultCode encodeSame(const Wide* text, uint32_t* countInOut, uint8_t* bytes, uint32_t* sizeInOut,
                      UnitOrder order) noexcept {
    if (!countInOut || !bytes || !sizeInOut) return kErrInvalidArgument;
    uint32_t units = textSourceUnits(text, *countInOut);
    uint32_t room = *sizeInOut / uint32_t(sizeof(Wide));
    ResultCode rc = copyUnits(text, units, bytes, countInOut, &room, sizeof(Wide), order);
    *sizeInOut = room * uint32_t(sizeof(Wide));
    return rc;
}

// The twelve conversion operations of UTF-16 in one byte order.
struct Utf16Side {
    UnitOrder order;

    uint32_t encodedLengthFromUtf32(const char32_t* text, uint32_t count) const noexcept {
        return saturatingMultiply(utf16LengthOfUtf32(text, count), 2);
    }
    uint32_t encodedLengthFromUtf16(const char16_t* text, uint32_t count) const noexcept {
        return saturatingMultiply(textSourceUnits(text, count), 2);
    }
    uint32_t encodedLengthFromUtf8(const char* text, uint32_t count) const noexcept {
        return saturatingMultiply(utf16LengthOfUtf8(text, count), 2);
    }
    ResultCode encodeFromUtf32(const char32_t* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeWide<char16_t>(text, count, bytes, size,
                                    [this](const char32_t* s, uint32_t* sc, char16_t* d, uint32_t* dc) {
                                        return utf32ToUtf16(s, sc, d, dc, UnitOrder::kHost, order);
                                    });
    }
    ResultCode encodeFromUtf16(const char16_t* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeSame(text, count, bytes, size, order);
    }
    ResultCode encodeFromUtf8(const char* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeWide<char16_t>(text, count, bytes, size,
                                    [this](const char* s, uint32_t* sc, char16_t* d, uint32_t* dc) {
                                        return utf8ToUtf16(s, sc, d, dc, order);
                                    });
    }
    uint32_t decodedLengthAsUtf8(const uint8_t* bytes, uint32_t size) const noexcept {
        uint32_t units = byteSourceUnits(bytes, size, 2);
        return utf8LengthOfUtf16(reinterpret_cast<const char16_t*>(bytes), units, order);
    }
    uint32_t decodedLengthAsUtf16(const uint8_t* bytes, uint32_t size) const noexcept {
        return byteSourceUnits(bytes, size, 2);
    }
    uint32_t decodedLengthAsUtf32(const uint8_t* bytes, uint32_t size) const noexcept {
        uint32_t units = byteSourceUnits(bytes, size, 2);
        return utf32LengthOfUtf16(reinterpret_cast<const char16_t*>(bytes), units, order);
    }
    ResultCode decodeToUtf32(const uint8_t* bytes, uint32_t* size, char32_t* text, uint32_t* count) const noexcept {
        return decodeWide<char16_t>(bytes, size, text, count,
                                    [this](const char16_t* s, uint32_t* sc, char32_t* d, uint32_t* dc) {
                                        return utf16ToUtf32(s, sc, d, dc, order, UnitOrder::kHost);
                                    });
    }
    ResultCode decodeToUtf16(const uint8_t* bytes, uint32_t* size, char16_t* text, uint32_t* count) const noexcept {
        return decodeSame(bytes, size, text, count, order);
    }
    ResultCode decodeToUtf8(const uint8_t* bytes, uint32_t* size, char* text, uint32_t* count) const noexcept {
        return decodeWide<char16_t>(bytes, size, text, count,
                                    [this](const char16_t* s, uint32_t* sc, char* d, uint32_t* dc) {
                                        return utf16ToUtf8(s, sc, d, dc, order);
                                    });
    }
};

// The twelve conversion operations of UTF-32 in one byte order.
struct Utf32Side {
    UnitOrder order;

    uint32_t encodedLengthFromUtf32(const char32_t* text, uint32_t count) const noexcept {
        return saturatingMultiply(textSourceUnits(text, count), 4);
    }
    uint32_t encodedLengthFromUtf16(const char16_t* text, uint32_t count) const noexcept {
        return saturatingMultiply(utf32LengthOfUtf16(text, count), 4);
    }
    uint32_t encodedLengthFromUtf8(const char* text, uint32_t count) const noexcept {
        return saturatingMultiply(utf32LengthOfUtf8(text, count), 4);
    }
    ResultCode encodeFromUtf32(const char32_t* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeSame(text, count, bytes, size, order);
    }
    ResultCode encodeFromUtf16(const char16_t* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeWide<char32_t>(text, count, bytes, size,
                                    [this](const char16_t* s, uint32_t* sc, char32_t* d, uint32_t* dc) {
                                        return utf16ToUtf32(s, sc, d, dc, UnitOrder::kHost, order);
                                    });
    }
    ResultCode encodeFromUtf8(const char* text, uint32_t* count, uint8_t* bytes, uint32_t* size) const noexcept {
        return encodeWide<char32_t>(text, count, bytes, size,
                                    [this](const char* s, uint32_t* sc, char32_t* d, uint32_t* dc) {
                                        return utf8ToUtf32(s, sc, d, dc, order);
                                    });
    }
    uint32_t decodedLengthAsUtf8(const uint8_t* bytes, uint32_t size) const noexcept {
        uint32_t units = byteSourceUnits(bytes, size, 4);
        return utf8LengthOfUtf32(reinterpret_cast<const char32_t*>(bytes), units, order);
    }
    uint32_t decodedLengthAsUtf16(const uint8_t* bytes, uint32_t size) const noexcept {
        uint32_t units = byteSourceUnits(bytes, size, 4);
        return utf16LengthOfUtf32(reinterpret_cast<const char32_t*>(bytes), units, order);
    }
    uint32_t decodedLengthAsUtf32(const uint8_t* bytes, uint32_t size) const noexcept {
        return byteSourceUnits(bytes, size, 4);
    }
    ResultCode decodeToUtf32(const uint8_t* bytes, uint32_t* size, char32_t* text, uint32_t* count) const noexcept {
        return decodeSame(bytes, size, text, count, order);
    }
    ResultCode decodeToUtf16(const uint8_t* bytes, uint32_t* size, char16_t* text, uint32_t* count) const noexcept {
        return decodeWide<char32_t>(bytes, size, text, count,
                                    [this](const char32_t* s, uint32_t* sc, char16_t* d, uint32_t* dc) {
                                        return utf32ToUtf16(s, sc, d, dc, order, UnitOrder::kHost);
                                    });
    }
    ResultCode decodeToUtf8(const uint8_t* bytes, uint32_t* size, char* text, uint32_t* count) const noexcept {
        return decodeWide<char32_t>(bytes, size, text, count,
                                    [this](const char32_t* s, uint32_t* sc, char* d, uint32_t* dc) {
                                        return utf32ToUtf8(s, sc, d, dc, order);
                                    });
    }
};

constexpr uint8_t kUtf8Mark[] = {0xEF, 0xBB, 0xBF};
constexpr uint8_t kUtf16LeMark[] = {0xFF, 0xFE};
constexpr uint8_t kUtf16BeMark[] = {0xFE, 0xFF};
constexpr uint8_t kUtf32LeMark[] = {0xFF, 0xFE, 0x00, 0x00};
constexpr uint8_t kUtf32BeMark[] = {0x00, 0x00, 0xFE, 0xFF};

template <size_t N>
const uint8_t* markOf(const uint8_t (&mark)[N], uint32_t* lengthOut) noexcept {
    if (lengthOut) *lengthOut = N;
    return mark;
}

}  // namespace

// ---------------------------------------------------------------------------
// UTF-8

const uint8_t* charenc_utf8::byteOrderMark(uint32_t* lengthOut) const noexcept {
    return markOf(kUtf8Mark, lengthOut);
}

uint32_t charenc_utf8::sequenceLength(uint8_t firstByte) const noexcept {
    if ((firstByte & 0xC0) != 0xC0) return 1;
    if (!(firstByte & 0x20)) return 2;
    return (firstByte & 0x10) ? 4 : 3;
}

uint32_t charenc_utf8::encodedLengthFromUtf32(const char32_t* text, uint32_t count) const noexcept {
    return utf8LengthOfUtf32(text, count);
}

// The quick count on purpose: callers size buffers with it and the encoder
// reports 56 if it ever falls short.
uint32_t charenc_utf8::encodedLengthFromUtf16(const char16_t* text, uint32_t count) const noexcept {
    return utf8LengthOfUtf16Quick(text, count);
}

uint32_t charenc_utf8::encodedLengthFromUtf8(const char* text, uint32_t count) const noexcept {
    return textSourceUnits(text, count);
}

ResultCode charenc_utf8::encodeFromUtf32(const char32_t* text, uint32_t* countInOut, uint8_t* bytes,
                                         uint32_t* sizeInOut) const noexcept {
    return utf32ToUtf8(text, countInOut, reinterpret_cast<char*>(bytes), sizeInOut);
}

ResultCode charenc_utf8::encodeFromUtf16(const char16_t* text, uint32_t* countInOut, uint8_t* bytes,
                                         uint32_t* sizeInOut) const noexcept {
    return utf16ToUtf8(text, countInOut, reinterpret_cast<char*>(bytes), sizeInOut);
}

// Narrow text is already UTF-8: copied unchecked, as much as fits.
ResultCode charenc_utf8::encodeFromUtf8(const char* text, uint32_t* countInOut, uint8_t* bytes,
                                        uint32_t* sizeInOut) const noexcept {
    if (!countInOut || !bytes || !sizeInOut) return kErrInvalidArgument;
    uint32_t units = textSourceUnits(text, *countInOut);
    return copyUnits(text, units, bytes, countInOut, sizeInOut, 1, UnitOrder::kHost);
}

uint32_t charenc_utf8::decodedLengthAsUtf8(const uint8_t* bytes, uint32_t size) const noexcept {
    return byteSourceUnits(bytes, size, 1);
}

uint32_t charenc_utf8::decodedLengthAsUtf16(const uint8_t* bytes, uint32_t size) const noexcept {
    return utf16LengthOfUtf8(reinterpret_cast<const char*>(bytes), size);
}

uint32_t charenc_utf8::decodedLengthAsUtf32(const uint8_t* bytes, uint32_t size) const noexcept {
    return utf32LengthOfUtf8(reinterpret_cast<const char*>(bytes), size);
}

ResultCode charenc_utf8::decodeToUtf32(const uint8_t* bytes, uint32_t* sizeInOut, char32_t* text,
                                       uint32_t* countInOut) const noexcept {
    return utf8ToUtf32(reinterpret_cast<const char*>(bytes), sizeInOut, text, countInOut);
}

ResultCode charenc_utf8::decodeToUtf16(const uint8_t* bytes, uint32_t* sizeInOut, char16_t* text,
                                       uint32_t* countInOut) const noexcept {
    return utf8ToUtf16(reinterpret_cast<const char*>(bytes), sizeInOut, text, countInOut);
}

ResultCode charenc_utf8::decodeToUtf8(const uint8_t* bytes, uint32_t* sizeInOut, char* text,
                                      uint32_t* countInOut) const noexcept {
    if (!sizeInOut || !text || !countInOut) return kErrInvalidArgument;
    uint32_t units = byteSourceUnits(bytes, *sizeInOut, 1);
    return copyUnits(bytes, units, text, sizeInOut, countInOut, 1, UnitOrder::kHost);
}

// ---------------------------------------------------------------------------
// UTF-16 and UTF-32: each class forwards its twelve operations to the shape
// of its width in its byte order.

#define VARO_FORWARD_CONVERSIONS(Class, side)                                                                  \
    uint32_t Class::encodedLengthFromUtf32(const char32_t* t, uint32_t c) const noexcept {                     \
        return side.encodedLengthFromUtf32(t, c);                                                              \
    }                                                                                                          \
    uint32_t Class::encodedLengthFromUtf16(const char16_t* t, uint32_t c) const noexcept {                     \
        return side.encodedLengthFromUtf16(t, c);                                                              \
    }                                                                                                          \
    uint32_t Class::encodedLengthFromUtf8(const char* t, uint32_t c) const noexcept {                          \
        return side.encodedLengthFromUtf8(t, c);                                                               \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf32(const char32_t* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept { \
        return side.encodeFromUtf32(t, c, b, s);                                                               \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf16(const char16_t* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept { \
        return side.encodeFromUtf16(t, c, b, s);                                                               \
    }                                                                                                          \
    ResultCode Class::encodeFromUtf8(const char* t, uint32_t* c, uint8_t* b, uint32_t* s) const noexcept {      \
        return side.encodeFromUtf8(t, c, b, s);                                                                \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf8(const uint8_t* b, uint32_t s) const noexcept {                         \
        return side.decodedLengthAsUtf8(b, s);                                                                 \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf16(const uint8_t* b, uint32_t s) const noexcept {                        \
        return side.decodedLengthAsUtf16(b, s);                                                                \
    }                                                                                                          \
    uint32_t Class::decodedLengthAsUtf32(const uint8_t* b, uint32_t s) const noexcept {                        \
        return side.decodedLengthAsUtf32(b, s);                                                                \
    }                                                                                                          \
    ResultCode Class::decodeToUtf32(const uint8_t* b, uint32_t* s, char32_t* t, uint32_t* c) const noexcept {   \
        return side.decodeToUtf32(b, s, t, c);                                                                 \
    }                                                                                                          \
    ResultCode Class::decodeToUtf16(const uint8_t* b, uint32_t* s, char16_t* t, uint32_t* c) const noexcept {   \
        return side.decodeToUtf16(b, s, t, c);                                                                 \
    }                                                                                                          \
    ResultCode Class::decodeToUtf8(const uint8_t* b, uint32_t* s, char* t, uint32_t* c) const noexcept {        \
        return side.decodeToUtf8(b, s, t, c);                                                                  \
    }

namespace {
constexpr Utf16Side kUtf16Le{kLittleEndianOrder};
constexpr Utf16Side kUtf16Be{kBigEndianOrder};
constexpr Utf32Side kUtf32Le{kLittleEndianOrder};
constexpr Utf32Side kUtf32Be{kBigEndianOrder};
}  // namespace

VARO_FORWARD_CONVERSIONS(charenc_utf16le, kUtf16Le)
VARO_FORWARD_CONVERSIONS(charenc_utf16be, kUtf16Be)
VARO_FORWARD_CONVERSIONS(charenc_utf32le, kUtf32Le)
VARO_FORWARD_CONVERSIONS(charenc_utf32be, kUtf32Be)

const uint8_t* charenc_utf16le::byteOrderMark(uint32_t* lengthOut) const noexcept {
    return markOf(kUtf16LeMark, lengthOut);
}
const uint8_t* charenc_utf16be::byteOrderMark(uint32_t* lengthOut) const noexcept {
    return markOf(kUtf16BeMark, lengthOut);
}
const uint8_t* charenc_utf32le::byteOrderMark(uint32_t* lengthOut) const noexcept {
    return markOf(kUtf32LeMark, lengthOut);
}
const uint8_t* charenc_utf32be::byteOrderMark(uint32_t* lengthOut) const noexcept {
    return markOf(kUtf32BeMark, lengthOut);
}
