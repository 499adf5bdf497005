// Framework strings: storage modes, growth, insertion with width conversion,
// and the plain narrow comparisons.
#include "foundation/strings.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <type_traits>

#include "foundation/ascii.h"

// The capacity word's top byte doubles as the heap marker, which must be the
// object's last byte.
static_assert(std::endian::native == std::endian::little, "heap marker is the capacity word's last byte");

namespace {

// Converts count units of text (not terminated) into dst, which has room for
// exactly the converted length; returns the conversion's code and the units
// written in *written.
ResultCode convertInto(const char16_t* text, uint32_t count, char* dst, uint32_t* written) noexcept {
    return utf16ToUtf8(text, &count, dst, written);
}
ResultCode convertInto(const char32_t* text, uint32_t count, char* dst, uint32_t* written) noexcept {
    return utf32ToUtf8(text, &count, dst, written);
}
ResultCode convertInto(const char* text, uint32_t count, char16_t* dst, uint32_t* written) noexcept {
    return utf8ToUtf16(text, &count, dst, written);
}
ResultCode convertInto(const char32_t* text, uint32_t count, char16_t* dst, uint32_t* written) noexcept {
    return utf32ToUtf16(text, &count, dst, written);
}
ResultCode convertInto(const char* text, uint32_t count, char32_t* dst, uint32_t* written) noexcept {
    return utf8ToUtf32(text, &count, dst, written);
}
ResultCode convertInto(const char16_t* text, uint32_t count, char32_t* dst, uint32_t* written) noexcept {
    return utf16ToUtf32(text, &count, dst, written);
}

uint32_t convertedLength(const char16_t* text, uint32_t count, char*) noexcept {
    return utf8LengthOfUtf16(text, count);
}
uint32_t convertedLength(const char32_t* text, uint32_t count, char*) noexcept {
    return utf8LengthOfUtf32(text, count);
}
uint32_t convertedLength(const char* text, uint32_t count, char16_t*) noexcept {
    return utf16LengthOfUtf8(text, count);
}
uint32_t convertedLength(const char32_t* text, uint32_t count, char16_t*) noexcept {
    return utf16LengthOfUtf32(text, count);
}
uint32_t convertedLength(const char* text, uint32_t count, char32_t*) noexcept {
    return utf32LengthOfUtf8(text, count);
}
uint32_t convertedLength(const char16_t* text, uint32_t count, char32_t*) noexcept {
    return utf32LengthOfUtf16(text, count);
}

}  // namespace

template <class Unit>
XpBasicString<Unit>::XpBasicString(XpBasicString&& other) noexcept {
    std::memcpy(raw_, other.raw_, sizeof raw_);
    std::memset(other.raw_, 0, sizeof other.raw_);
}

template <class Unit>
XpBasicString<Unit>& XpBasicString<Unit>::operator=(XpBasicString&& other) noexcept {
    if (this != &other) {
        freeBlock();
        std::memcpy(raw_, other.raw_, sizeof raw_);
        std::memset(other.raw_, 0, sizeof other.raw_);
    }
    return *this;
}

template <class Unit>
void XpBasicString<Unit>::freeBlock() noexcept {
    if (isHeap()) std::free(block());
}

template <class Unit>
void XpBasicString<Unit>::setHeap(Unit* newBlock, uint32_t length, uint32_t capacity) noexcept {
    uint32_t word = capacity | 0xFF000000u;
    std::memcpy(raw_, &newBlock, sizeof newBlock);
    std::memcpy(raw_ + kLengthOffset, &length, sizeof length);
    std::memcpy(raw_ + kCapacityOffset, &word, sizeof word);
}

// Room is always a power of two at or above n + 1, capped at 0xFFFFFF; the
// arithmetic is 64-bit so that no request can wrap into looking small.
template <class Unit>
ResultCode XpBasicString<Unit>::reallocate(uint32_t units) noexcept {
    const uint64_t need = uint64_t{units} + 1;
    uint64_t newCapacity = std::bit_ceil(need);
    newCapacity = std::min<uint64_t>(newCapacity, kXpStringMaxCapacity);
    if (newCapacity < need) return kErrDataLimit;
    const size_t bytes = static_cast<size_t>(newCapacity) * sizeof(Unit);
    const uint32_t len = length();
    if (isHeap()) {
        void* grown = std::realloc(block(), bytes);
        if (grown == nullptr) return kErrNoMemory;
        setHeap(static_cast<Unit*>(grown), len, static_cast<uint32_t>(newCapacity));
    } else {
        Unit* fresh = static_cast<Unit*>(std::malloc(bytes));
        if (fresh == nullptr) return kErrNoMemory;
        std::memcpy(fresh, inlineUnits(), (size_t{len} + 1) * sizeof(Unit));
        setHeap(fresh, len, static_cast<uint32_t>(newCapacity));
    }
    return kResultOk;
}

template <class Unit>
bool XpBasicString<Unit>::overlapsStorage(const void* text) const noexcept {
    const auto p = reinterpret_cast<uintptr_t>(text);
    const auto begin = reinterpret_cast<uintptr_t>(isHeap() ? static_cast<const void*>(block()) : raw_);
    const uintptr_t size = isHeap() ? uintptr_t{heapCapacity()} * sizeof(Unit) : sizeof raw_;
    return p >= begin && p - begin < size;
}

// An assignment is sized from an empty string but clears only once the room
// is there, so that a failure leaves the old text in place.
template <class Unit>
ResultCode XpBasicString<Unit>::prepareInsert(uint32_t position, uint32_t units, uint32_t* at) noexcept {
    const uint32_t len = length();
    const uint32_t base = position == kXpStringAssign ? 0 : len;
    if (units > kXpStringMaxCapacity - base) return kErrNoBufferSpace;
    ResultCode rc = reserve(base + units);
    if (rc != kResultOk) return rc;
    *at = position == kXpStringAssign ? 0 : (position >= len ? len : position);
    return kResultOk;
}

template <class Unit>
Unit* XpBasicString<Unit>::openGap(uint32_t position, uint32_t at, uint32_t units) noexcept {
    if (position == kXpStringAssign) clear();
    Unit* d = data();
    const uint32_t len = length();
    std::memmove(d + at + units, d + at, size_t{len - at} * sizeof(Unit));
    setLengthUnchecked(len + units);
    return d + at;
}

template <class Unit>
ResultCode XpBasicString<Unit>::insertFill(uint32_t position, Unit unit, uint32_t count) noexcept {
    if (count == 0) return kResultOk;
    uint32_t at = 0;
    ResultCode rc = prepareInsert(position, count, &at);
    if (rc != kResultOk) return rc;
    Unit* gap = openGap(position, at, count);
    for (uint32_t i = 0; i < count; ++i) gap[i] = unit;
    return kResultOk;
}

// Text of the string's own width is copied as it stands; text of another
// width is measured first, so that one gap of the exact converted size is
// opened and the conversion writes straight into it.
template <class Unit>
template <class Text>
ResultCode XpBasicString<Unit>::insertText(uint32_t position, const Text* text, uint32_t count) noexcept {
    if (text == nullptr || count == 0) return kResultOk;
    if (overlapsStorage(text)) return kErrInvalidArgument;
    const uint32_t units = count == kUnitsToTerminator ? terminatedLength(text) : count;
    uint32_t at = 0;
    if constexpr (std::is_same_v<Text, Unit>) {
        ResultCode rc = prepareInsert(position, units, &at);
        if (rc != kResultOk) return rc;
        Unit* gap = openGap(position, at, units);
        if (units != 0) std::memcpy(gap, text, size_t{units} * sizeof(Unit));
        return kResultOk;
    } else {
        const uint32_t converted = convertedLength(text, units, static_cast<Unit*>(nullptr));
        ResultCode rc = prepareInsert(position, converted, &at);
        if (rc != kResultOk) return rc;
        Unit* gap = openGap(position, at, converted);
        // The measure and the conversion walk the text with the same
        // decoder, so the conversion fills the gap exactly.
        uint32_t written = converted;
        return convertInto(text, units, gap, &written);
    }
}

template <class Unit>
ResultCode XpBasicString<Unit>::insert(uint32_t position, const char* text, uint32_t count) noexcept {
    return insertText(position, text, count);
}
template <class Unit>
ResultCode XpBasicString<Unit>::insert(uint32_t position, const char16_t* text, uint32_t count) noexcept {
    return insertText(position, text, count);
}
template <class Unit>
ResultCode XpBasicString<Unit>::insert(uint32_t position, const char32_t* text, uint32_t count) noexcept {
    return insertText(position, text, count);
}

template <class Unit>
bool XpBasicString<Unit>::equals(const Unit* other, uint32_t count) const noexcept {
    uint32_t n = 0;
    if (other != nullptr) n = count == kUnitsToTerminator ? terminatedLength(other) : count;
    return n == length() && (n == 0 || std::memcmp(data(), other, size_t{n} * sizeof(Unit)) == 0);
}

template class XpBasicString<char>;
template class XpBasicString<char16_t>;
template class XpBasicString<char32_t>;

int XpString::lastChar() const noexcept {
    const uint32_t len = length();
    return len == 0 ? -1 : static_cast<uint8_t>(data()[len - 1]);
}

int XpString::removeLastChar() noexcept {
    const int c = lastChar();
    if (c >= 0) setLength(length() - 1);
    return c;
}

int XpString16::compare(const XpString16& a, const XpString16& b) noexcept {
    if (&a == &b) return 0;
    const uint32_t la = a.length();
    const uint32_t lb = b.length();
    const uint32_t n = std::min(la, lb);
    const char16_t* pa = a.data();
    const char16_t* pb = b.data();
    for (uint32_t i = 0; i < n; ++i)
        if (pa[i] != pb[i]) return static_cast<int>(pa[i]) - static_cast<int>(pb[i]);
    return static_cast<int>(la) - static_cast<int>(lb);
}

