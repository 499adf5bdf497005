// The vector scans against one-unit-at-a-time references, for every length
// up to three vectors and every place of the unit or byte that ends them.
#include "foundation/unit_scan.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <vector>

namespace {

constexpr uint32_t kLongest = 50;

const char16_t* findReference(const char16_t* p, char16_t a, char16_t b) {
    while (*p != 0 && *p != a && *p != b) ++p;
    return p;
}

TEST(UnitScan, FindsTheFirstStopOrTheEnd) {
    for (uint32_t length = 0; length <= kLongest; ++length) {
        for (uint32_t at = 0; at <= length; ++at) {
            for (const char16_t stop : {u',', u'"', char16_t(0xFF0C), char16_t(0)}) {
                // Exactly length + 1 units on the heap, so that AddressSanitizer
                // sees any read past the terminator.
                auto text = std::make_unique<char16_t[]>(length + 1);
                // Units that share their low byte with a stop, or sit at
                // either end of the range, are no stops.
                static constexpr char16_t kOthers[] = {u'a', 0x012C, 0x8022, 0xFF00, 0x007F, 0x0080, 0xFFFF, 0x7FFF};
                for (uint32_t i = 0; i < length; ++i) text[i] = kOthers[i % std::size(kOthers)];
                if (at < length) text[at] = stop;
                text[length] = 0;
                const char16_t* end = text.get() + length;
                EXPECT_EQ(findUnitOrZero(text.get(), end, u',', u'"'), findReference(text.get(), u',', u'"'))
                    << "length " << length << " at " << at << " stop " << int(stop);
                EXPECT_EQ(findUnitOrZero(text.get(), end, 0xFF0C, 0xFF0C), findReference(text.get(), 0xFF0C, 0xFF0C))
                    << "length " << length << " at " << at << " stop " << int(stop);
            }
        }
    }
}

TEST(UnitScan, CopiesAsciiUpToAHighByteOrTheStop) {
    for (uint32_t size = 0; size <= kLongest; ++size) {
        for (uint32_t high = 0; high <= size + 1; ++high) {
            for (uint32_t stop = 0; stop <= size + 1; ++stop) {
                std::vector<uint8_t> in(size + kAsciiCopySlack, uint8_t('x'));
                // Bytes past size may hold anything, a stop or a high byte too.
                if (high < in.size()) in[high] = 0xC3;
                if (stop < in.size() && stop != high) in[stop] = '\n';
                std::vector<char16_t> out(size + kAsciiCopySlack, 0);

                uint32_t expected = 0;
                bool expectedEnded = false;
                while (expected < size && in[expected] < 0x80) {
                    if (in[expected++] == '\n') {
                        expectedEnded = true;
                        break;
                    }
                }
                bool ended = true;
                ASSERT_EQ(copyAsciiLine(in.data(), size, out.data(), '\n', &ended), expected)
                    << "size " << size << " high " << high << " stop " << stop;
                EXPECT_EQ(ended, expectedEnded) << "size " << size << " high " << high << " stop " << stop;
                for (uint32_t i = 0; i < expected; ++i) ASSERT_EQ(out[i], char16_t(in[i]));

                // A stop of 0x80 or more never ends the copy.
                uint32_t prefix = 0;
                while (prefix < size && in[prefix] < 0x80) ++prefix;
                std::vector<char16_t> copy(size + kAsciiCopySlack, 0);
                ASSERT_EQ(copyAsciiLine(in.data(), size, copy.data(), 0xC3, &ended), prefix);
                EXPECT_FALSE(ended);
                for (uint32_t i = 0; i < prefix; ++i) ASSERT_EQ(copy[i], char16_t(in[i]));
            }
        }
    }
}

}  // namespace
