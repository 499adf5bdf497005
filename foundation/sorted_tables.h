// The order check of constant lookup tables.
//
// Contract: isStrictlyAscending(rows, before) is true when every row sorts
// strictly before the next one by before(a, b), the order a binary search over
// the table needs; two equal keys break it as well. It is constexpr, so each
// table states its order once, beside its definition, in a static_assert.
#pragma once

#include <cstddef>

template <class Row, class Before>
constexpr bool isStrictlyAscending(const Row* rows, size_t count, Before before) {
    for (size_t i = 1; i < count; ++i)
        if (!before(rows[i - 1], rows[i])) return false;
    return true;
}

template <class Row, size_t N, class Before>
constexpr bool isStrictlyAscending(const Row (&rows)[N], Before before) {
    return isStrictlyAscending(rows, N, before);
}
