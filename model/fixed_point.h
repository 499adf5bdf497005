// Fixed-point arithmetic of the metrics: fractions kept as integers scaled
// by 10, 100 or 1000, shared by the publication record and the calculation.
#pragma once

#include <cstdint>

// (x * m + d / 2) / d computed in 64 bits: rounded half up; 0xFFFFFFFF when d
// is 0 or the quotient does not fit in 32 bits.
constexpr uint32_t mulDivRound(uint32_t x, uint32_t m, uint32_t d) noexcept {
    if (d == 0) return 0xFFFFFFFFu;
    const uint64_t q = (uint64_t(x) * m + d / 2) / d;
    return q > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(q);
}
