// Unit scans: the searches the import runs over every byte and unit of an
// export, sixteen bytes at a time where the processor has vector registers.
//
// Contract:
// - findUnitOrZero(p, end, a, b) returns the first unit at or after p that is
//   a, b or zero. end must point at a zero unit at or after p; the scan never
//   reads past it.
// - copyAsciiLine(in, size, out, stop, &ended) copies bytes below 0x80 from
//   in to out as units, stopping before the first byte of 0x80 or more, after
//   size bytes, or after the first byte equal to stop (when stop is below
//   0x80; then ended is set), and returns how many it copied. It reads up to
//   kAsciiCopySlack bytes past in + size and writes up to kAsciiCopySlack
//   units past out + size (whatever it likes there), so both must have that
//   much room beyond size.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

inline constexpr uint32_t kAsciiCopySlack = 16;

inline const char16_t* findUnitOrZero(const char16_t* p, const char16_t* end, char16_t a, char16_t b) noexcept {
#if defined(__SSE2__)
    // Units packed to bytes with signed saturation: 0x0080-0x7FFF become
    // 0x7F and 0x8000-0xFFFF become 0x80, neither of which is searched for
    // (both stops lie below 0x7F), so one byte compare covers sixteen units.
    const __m128i wantA = _mm_set1_epi8(char(a));
    const __m128i wantB = _mm_set1_epi8(char(b));
    const __m128i zero = _mm_setzero_si128();
    const bool ascii = a < 0x7F && b < 0x7F;
    while (ascii && end - p >= 16) {
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        const __m128i bytes = _mm_packs_epi16(low, high);
        const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, wantA), _mm_cmpeq_epi8(bytes, wantB)),
                                          _mm_cmpeq_epi8(bytes, zero));
        const int mask = _mm_movemask_epi8(hits);
        if (mask != 0) return p + __builtin_ctz(unsigned(mask));
        p += 16;
    }
    // Other units are compared as they are, eight at a time.
    const __m128i unitA = _mm_set1_epi16(short(a));
    const __m128i unitB = _mm_set1_epi16(short(b));
    while (!ascii && end - p >= 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(units, unitA), _mm_cmpeq_epi16(units, unitB)),
                                          _mm_cmpeq_epi16(units, zero));
        const int mask = _mm_movemask_epi8(hits);
        if (mask != 0) return p + __builtin_ctz(unsigned(mask)) / 2;
        p += 8;
    }
#else
    (void)end;
#endif
    while (*p != 0 && *p != a && *p != b) ++p;
    return p;
}

inline char16_t* findUnitOrZero(char16_t* p, const char16_t* end, char16_t a, char16_t b) noexcept {
    return const_cast<char16_t*>(findUnitOrZero(static_cast<const char16_t*>(p), end, a, b));
}

inline uint32_t copyAsciiLine(const uint8_t* in, uint32_t size, char16_t* out, uint8_t stop, bool* ended) noexcept {
    *ended = false;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i stops = _mm_set1_epi8(char(stop));
    uint32_t n = 0;
    while (n < size) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + n));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + n), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + n + 8), _mm_unpackhi_epi8(bytes, zero));
        const unsigned high = unsigned(_mm_movemask_epi8(bytes));
        const unsigned found = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, stops)));
        if ((high | found) != 0) {
            const uint32_t atStop = found != 0 ? uint32_t(__builtin_ctz(found)) : 32u;
            const uint32_t atHigh = high != 0 ? uint32_t(__builtin_ctz(high)) : 32u;
            if (atStop < atHigh && n + atStop < size) {
                *ended = true;
                return n + atStop + 1;
            }
            n += atHigh;
            break;
        }
        n += 16;
    }
    return n < size ? n : size;
#else
    uint32_t n = 0;
    for (; n < size && in[n] < 0x80; ++n) {
        out[n] = in[n];
        if (in[n] == stop) {
            *ended = true;
            return n + 1;
        }
    }
    return n;
#endif
}
