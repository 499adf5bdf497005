// Framework strings: one small-string design in three widths.
//
// Contract: XpString holds UTF-8 bytes (char), XpString16 UTF-16 units
// (char16_t), XpString32 UTF-32 units (char32_t); all three are
// XpBasicString<Unit> under a class name of their own. Callers may rely on:
// - The text is always followed by a zero unit; data() is never null.
// - A new, moved-from or cleared-while-inline string is inline and empty.
//   Inline room is 10 narrow units, 4 UTF-16 units or 1 UTF-32 unit (each
//   plus the terminator); short text therefore needs no allocation.
// - Past the inline room the text moves to an owned heap block whose capacity
//   (terminator included) is a power of two, at most kXpStringMaxCapacity
//   (0xFFFFFF) units, so the longest text is 0xFFFFFE units. Once on the heap
//   a string stays there: clear() keeps the block.
// - Failures are result codes, and a failed operation leaves the text
//   unchanged: 12 "Cannot allocate memory", 22 "Invalid argument" (inserting
//   the string's own storage into itself), 56 "No buffer space available"
//   (the length would pass 0xFFFFFF), 529 "Data limit exceeded" (reserve
//   beyond the largest capacity). Inserting text of another width converts
//   it (foundation/utf.h); 85 "Illegal byte sequence" and 537 "Incomplete
//   input data" from that conversion are returned with the converted text in
//   place: each invalid sequence is one U+FFFD, and an incomplete sequence at
//   the very end is dropped.
// - Positions and counts are in units of the string's width. Position
//   kXpStringAppend (0xFFFFFFFF), or any position at or past the end,
//   appends; kXpStringAssign (0xFFFFFFFE) clears the string first and inserts
//   at 0. A source count of kUnitsToTerminator takes the text up to its
//   terminating zero, which is not inserted.
// - Strings move but do not copy implicitly; assign() copies explicitly.
//
// On this 64-bit host the object is 16 bytes (a pointer, a 32-bit length and
// a 32-bit capacity word whose top byte marks heap mode); the inline room is
// that of the framework's 12-byte form so that growth, limits and codes are
// the same everywhere.
#pragma once

#include <cstdint>
#include <cstring>

#include "foundation/result_codes.h"
#include "foundation/utf.h"

// Insert position: append at the end.
inline constexpr uint32_t kXpStringAppend = 0xFFFFFFFFu;
// Insert position: clear the string, then insert at 0 (assign).
inline constexpr uint32_t kXpStringAssign = 0xFFFFFFFEu;
// Largest block capacity in units, terminator included.
inline constexpr uint32_t kXpStringMaxCapacity = 0xFFFFFFu;

template <class Unit>
class XpBasicString {
    static_assert(sizeof(Unit) == 1 || sizeof(Unit) == 2 || sizeof(Unit) == 4, "a text width");

public:
    using UnitType = Unit;
    // Units that fit inline, terminator not counted.
    static constexpr uint32_t kInlineRoom = sizeof(Unit) == 1 ? 10 : sizeof(Unit) == 2 ? 4 : 1;

    XpBasicString() noexcept { std::memset(raw_, 0, sizeof raw_); }
    ~XpBasicString() { freeBlock(); }
    XpBasicString(XpBasicString&& other) noexcept;
    XpBasicString& operator=(XpBasicString&& other) noexcept;
    XpBasicString(const XpBasicString&) = delete;
    XpBasicString& operator=(const XpBasicString&) = delete;

    uint32_t length() const noexcept { return isHeap() ? heapLength() : raw_[kMarkerByte]; }
    bool empty() const noexcept { return length() == 0; }
    // The units: the object itself when inline, the block otherwise.
    Unit* data() noexcept { return isHeap() ? block() : inlineUnits(); }
    const Unit* data() const noexcept { return isHeap() ? block() : inlineUnits(); }
    // data() + length(): where the terminator stands and appended units go.
    Unit* end() noexcept { return data() + length(); }
    const Unit* end() const noexcept { return data() + length(); }
    // Units of room, terminator included: kInlineRoom + 1 inline, else the
    // block's capacity.
    uint32_t capacity() const noexcept { return isHeap() ? heapCapacity() : kInlineRoom + 1; }
    bool isInline() const noexcept { return !isHeap(); }

    // Length 0 and a terminator at the start; a heap string keeps its block.
    void clear() noexcept { setLengthUnchecked(0); }

    // Makes room for units plus the terminator. Enough room already: 0. Else
    // the new capacity is the next power of two at or above units + 1, at
    // most 0xFFFFFF; still too small: 529. Moving to or growing the block may
    // fail with 12, leaving the string as it was.
    [[nodiscard]] ResultCode reserve(uint32_t units) noexcept {
        return capacity() >= uint64_t{units} + 1 ? kResultOk : reallocate(units);
    }
    // reserve(length() + units); 56 when units exceeds 0xFFFFFF - length().
    [[nodiscard]] ResultCode grow(uint32_t units) noexcept {
        const uint32_t len = length();
        if (units > kXpStringMaxCapacity - len) return kErrNoBufferSpace;
        return reserve(len + units);
    }
    // After a caller wrote units at end(): adds them to the length, clamped to
    // the room (capacity() - 1), and writes the terminator.
    void commitAppended(uint32_t units) noexcept {
        const uint64_t wanted = uint64_t{length()} + units;
        const uint32_t room = capacity() - 1;
        setLengthUnchecked(wanted > room ? room : static_cast<uint32_t>(wanted));
    }
    // Sets the length, clamped to the room (capacity() - 1), and writes the
    // terminator. Units between the old and the new length are whatever the
    // storage held.
    void setLength(uint32_t units) noexcept {
        const uint32_t room = capacity() - 1;
        setLengthUnchecked(units > room ? room : units);
    }

    // Inserts count copies of unit at position (position rules above); later
    // units move up. A count of 0 does nothing, also for kXpStringAssign.
    [[nodiscard]] ResultCode insertFill(uint32_t position, Unit unit, uint32_t count) noexcept;

    // Inserts text of any width at position (position and count rules above).
    // A null text or a count of 0 inserts nothing and returns 0, also for
    // kXpStringAssign (an empty terminated text does clear on assign). Text
    // that starts inside this string's own storage is refused with 22 and
    // nothing changes.
    [[nodiscard]] ResultCode insert(uint32_t position, const char* text, uint32_t count = kUnitsToTerminator) noexcept;
    [[nodiscard]] ResultCode insert(uint32_t position, const char16_t* text,
                                    uint32_t count = kUnitsToTerminator) noexcept;
    [[nodiscard]] ResultCode insert(uint32_t position, const char32_t* text,
                                    uint32_t count = kUnitsToTerminator) noexcept;
    template <class Other>
    [[nodiscard]] ResultCode insert(uint32_t position, const XpBasicString<Other>& text) noexcept {
        return insert(position, text.data(), text.length());
    }

    // Appends at the end.
    template <class Text>
    [[nodiscard]] ResultCode append(const Text* text, uint32_t count = kUnitsToTerminator) noexcept {
        return insert(kXpStringAppend, text, count);
    }
    template <class Other>
    [[nodiscard]] ResultCode append(const XpBasicString<Other>& text) noexcept {
        return insert(kXpStringAppend, text.data(), text.length());
    }
    [[nodiscard]] ResultCode appendUnit(Unit unit) noexcept {
        const uint32_t len = length();
        if (len + 1 >= capacity()) return insertFill(kXpStringAppend, unit, 1);
        data()[len] = unit;
        setLengthUnchecked(len + 1);
        return kResultOk;
    }

    // Replaces the text. Unlike insert at kXpStringAssign, empty or null text
    // clears the string. Assigning the string's own storage gives 22.
    template <class Text>
    [[nodiscard]] ResultCode assign(const Text* text, uint32_t count = kUnitsToTerminator) noexcept {
        if (text == nullptr || count == 0) {
            if (text != nullptr && overlapsStorage(text)) return kErrInvalidArgument;
            clear();
            return kResultOk;
        }
        return insert(kXpStringAssign, text, count);
    }
    template <class Other>
    [[nodiscard]] ResultCode assign(const XpBasicString<Other>& text) noexcept {
        return assign(text.data(), text.length());
    }

    // True when the text equals count units of other (kUnitsToTerminator: up
    // to its terminator); a null other equals the empty text.
    bool equals(const Unit* other, uint32_t count = kUnitsToTerminator) const noexcept;

private:
    static constexpr uint32_t kObjectSize = sizeof(void*) + 8;
    static constexpr uint32_t kMarkerByte = kObjectSize - 1;
    static constexpr uint8_t kHeapMarker = 0xFF;
    static constexpr uint32_t kLengthOffset = sizeof(void*);
    static constexpr uint32_t kCapacityOffset = sizeof(void*) + 4;
    static_assert((kInlineRoom + 1) * sizeof(Unit) <= kMarkerByte, "inline text stays clear of the marker byte");

    bool isHeap() const noexcept { return raw_[kMarkerByte] == kHeapMarker; }
    Unit* inlineUnits() noexcept { return reinterpret_cast<Unit*>(raw_); }
    const Unit* inlineUnits() const noexcept { return reinterpret_cast<const Unit*>(raw_); }
    Unit* block() const noexcept {
        Unit* p;
        std::memcpy(&p, raw_, sizeof p);
        return p;
    }
    uint32_t heapLength() const noexcept {
        uint32_t n;
        std::memcpy(&n, raw_ + kLengthOffset, sizeof n);
        return n;
    }
    uint32_t heapCapacity() const noexcept {
        uint32_t word;
        std::memcpy(&word, raw_ + kCapacityOffset, sizeof word);
        return word & kXpStringMaxCapacity;
    }
    void setHeap(Unit* block, uint32_t length, uint32_t capacity) noexcept;
    // Stores the length (which must fit the room) and the terminator.
    void setLengthUnchecked(uint32_t units) noexcept {
        if (isHeap()) {
            std::memcpy(raw_ + kLengthOffset, &units, sizeof units);
            block()[units] = 0;
        } else {
            inlineUnits()[units] = 0;
            raw_[kMarkerByte] = static_cast<unsigned char>(units);
        }
    }
    void freeBlock() noexcept;
    // reserve() when the room is too small: a larger block.
    ResultCode reallocate(uint32_t units) noexcept;
    bool overlapsStorage(const void* text) const noexcept;
    // Checks that units more fit at the effective insert position and makes
    // room for them without touching the text; sets *at to the position.
    ResultCode prepareInsert(uint32_t position, uint32_t units, uint32_t* at) noexcept;
    // Opens a gap of units at *at (clearing first for kXpStringAssign);
    // prepareInsert must have succeeded for the same arguments.
    Unit* openGap(uint32_t position, uint32_t at, uint32_t units) noexcept;
    template <class Text>
    ResultCode insertText(uint32_t position, const Text* text, uint32_t count) noexcept;

    alignas(void*) unsigned char raw_[kObjectSize];
};

extern template class XpBasicString<char>;
extern template class XpBasicString<char16_t>;
extern template class XpBasicString<char32_t>;

// Narrow (UTF-8) framework string.
class XpString final : public XpBasicString<char> {
public:
    XpString() noexcept = default;
    XpString(XpString&&) noexcept = default;
    XpString& operator=(XpString&&) noexcept = default;

    // The last byte (0-255), or -1 for an empty string.
    int lastChar() const noexcept;
    // Removes the last byte and returns it, or returns -1 for an empty string.
    int removeLastChar() noexcept;
};

// UTF-16 framework string.
class XpString16 final : public XpBasicString<char16_t> {
public:
    XpString16() noexcept = default;
    XpString16(XpString16&&) noexcept = default;
    XpString16& operator=(XpString16&&) noexcept = default;

    // 0 for the same object; else the first difference among the first
    // min(lengths) units compared as unsigned 16-bit numbers; with none,
    // a.length() - b.length().
    static int compare(const XpString16& a, const XpString16& b) noexcept;
};

// UTF-32 framework string.
class XpString32 final : public XpBasicString<char32_t> {
public:
    XpString32() noexcept = default;
    XpString32(XpString32&&) noexcept = default;
    XpString32& operator=(XpString32&&) noexcept = default;
};

static_assert(sizeof(XpString) == 2 * sizeof(void*) && sizeof(XpString16) == 2 * sizeof(void*) &&
              sizeof(XpString32) == 2 * sizeof(void*));

// Plain comparisons of zero-terminated narrow text. A null pointer is the
// empty text.
// The difference of the first differing bytes taken unsigned, or 0; usable in
// constant expressions, such as the order checks of sorted tables.
constexpr int compareText(const char* a, const char* b) noexcept {
    if (a == nullptr) a = "";
    if (b == nullptr) b = "";
    while (*a != 0 && *a == *b) ++a, ++b;
    return int(static_cast<unsigned char>(*a)) - int(static_cast<unsigned char>(*b));
}
