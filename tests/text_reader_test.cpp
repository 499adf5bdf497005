// Text reader over real bytes: a memory stream that hands out its bytes in
// chunks of a chosen size, so buffer refills fall in the middle of characters.
#include "foundation/text_reader.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

XpHolder<XpTextReader> readerOn(const std::string& bytes, size_t chunk = 4096) {
    auto* stream = new vt::MemoryStream(bytes, chunk);
    XpHolder<XpTextReader> reader;
    EXPECT_EQ(XpTextReader::create(&reader, stream), 0);
    stream->release();
    return reader;
}

struct Line {
    ResultCode rc;
    std::u16string text;
    bool operator==(const Line&) const = default;
};

std::vector<Line> allLines(XpTextReader* reader, uint32_t max = 65536) {
    std::vector<Line> out;
    XpString16 line;
    for (int guard = 0; guard < 100000; ++guard) {
        const ResultCode rc = reader->readLine(line, max, u'\n');
        out.push_back({rc, std::u16string(line.data(), line.length())});
        if (rc != 0) break;
    }
    return out;
}

TEST(TextReaderEncoding, MarksAreRecognisedAndConsumed) {
    struct Case {
        std::string bytes;
        uint32_t page;
        std::u16string first;
    } cases[] = {
        {"\xEF\xBB\xBF" "A\n", 65001, u"A\n"},
        {std::string("\xFF\xFE" "A\0\n\0", 6), 1200, u"A\n"},
        {std::string("\xFE\xFF\0A\0\n", 6), 1201, u"A\n"},
        {std::string("\xFF\xFE\0\0" "A\0\0\0\n\0\0\0", 12), 12000, u"A\n"},
        {std::string("\0\0\xFE\xFF\0\0\0A\0\0\0\n", 12), 12001, u"A\n"},
        {"caf\xE9\n", 1252, u"caf\u00E9\n"},
        // The marks alone, at exactly their own length.
        {std::string("\0\0\xFE\xFF", 4), 12001, u""}, {std::string("\xFF\xFE\0\0", 4), 12000, u""},
        {"\xFE\xFF", 1201, u""}, {"\xFF\xFE", 1200, u""}, {"\xEF\xBB\xBF", 65001, u""},
        // No mark and a zero byte: still the caller's code page.
        {std::string("A\0B\0", 4), 1252, std::u16string(u"A\0B\0", 4)},
    };
    for (const Case& c : cases) {
        auto reader = readerOn(c.bytes);
        EXPECT_EQ(reader->checkEncoding(1252), 0);
        EXPECT_EQ(reader->encoding()->codePage(), c.page);
        const auto lines = allLines(reader.get());
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0].text, c.first) << c.page;
    }
}

TEST(TextReaderEncoding, EmptyInputKeepsUtf8AndReportsTheEnd) {
    auto reader = readerOn("");
    EXPECT_EQ(reader->checkEncoding(1252), kErrEndOfFile);
    EXPECT_EQ(reader->encoding()->codePage(), 65001u);
    uint32_t page = 0xFFFFFFFEu;
    EXPECT_EQ(reader->detectEncoding(&page), kErrEndOfFile);
    EXPECT_EQ(page, 0xFFFFFFFFu);
}

TEST(TextReaderLines, TerminatorsPiecesAndTheLastLine) {
    auto reader = readerOn("ab\r\ncd\rx\nlast");
    EXPECT_EQ(reader->checkEncoding(1252), 0);
    EXPECT_EQ(allLines(reader.get()), (std::vector<Line>{{0, u"ab\r\n"}, {0, u"cd\rx\n"}, {0, u"last"},
                                                         {kErrEndOfFile, u""}}));
    auto pieces = readerOn("abcdefg\nh\n");
    EXPECT_EQ(allLines(pieces.get(), 3), (std::vector<Line>{{0, u"abc"}, {0, u"def"}, {0, u"g\n"}, {0, u"h\n"},
                                                            {kErrEndOfFile, u""}}));
}

TEST(TextReaderLines, SurrogatePairsAcrossRefills) {
    auto reader = readerOn("x\xF0\x9F\x98\x80y\n", 1);
    EXPECT_EQ(reader->checkEncoding(65001), 0);
    char16_t u = 0;
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(u, u'x');
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(u, 0xD83D);
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(u, 0xDE00);
    auto lines = readerOn("x\xF0\x9F\x98\x80y\n", 1);
    EXPECT_EQ(allLines(lines.get())[0].text, u"x\U0001F600y\n");
}

TEST(TextReaderLines, UndecodableCharacterEndsTheInputAfterTheLineSoFar) {
    // UTF-8 text with an invalid byte: the part before it comes with 0, then
    // the failure with an empty line, again and again.
    auto reader = readerOn("\xEF\xBB\xBF" "ok\nab\xFF" "cd\n");
    EXPECT_EQ(reader->checkEncoding(1252), 0);
    XpString16 line;
    EXPECT_EQ(reader->readLine(line, 100, u'\n'), 0);
    EXPECT_EQ(reader->readLine(line, 100, u'\n'), 0);
    EXPECT_EQ(std::u16string(line.data()), u"ab");
    // The decoder's own failure, as it reports it for this sequence.
    const ResultCode failure = reader->readLine(line, 100, u'\n');
    EXPECT_NE(failure, 0);
    EXPECT_EQ(line.length(), 0u);
    EXPECT_EQ(reader->readLine(line, 100, u'\n'), failure);
}

TEST(TextReaderLines, Utf16LoneSurrogates) {
    auto high = readerOn(std::string("\xFF\xFE" "A\0\x3D\xD8", 6));
    EXPECT_EQ(high->checkEncoding(1252), 0);
    XpString16 line;
    EXPECT_EQ(high->readLine(line, 100, u'\n'), 0);
    EXPECT_EQ(std::u16string(line.data()), u"A");
    EXPECT_NE(high->readLine(line, 100, u'\n'), 0);
    auto low = readerOn(std::string("\xFF\xFE" "A\0\x00\xDC" "B\0", 8));
    EXPECT_EQ(low->checkEncoding(1252), 0);
    EXPECT_EQ(low->readLine(line, 100, u'\n'), 0);
    EXPECT_EQ(low->readLine(line, 100, u'\n'), kErrIllegalSequence);
}

std::string utf16le(const std::u16string& text) {
    std::string bytes = "\xFF\xFE";
    for (char16_t c : text) {
        bytes += char(c & 0xFF);
        bytes += char(c >> 8);
    }
    return bytes;
}

TEST(TextReaderLines, Utf16SurrogatePairs) {
    // Unit by unit the decoder sees a high surrogate alone, so a line read to
    // its terminator ends the input at the pair.
    auto reader = readerOn(utf16le(u"ab\U0001F600c\n"));
    EXPECT_EQ(reader->checkEncoding(1252), 0);
    EXPECT_EQ(allLines(reader.get()), (std::vector<Line>{{0, u"ab"}, {kErrIncompleteInput, u""}}));

    // Read without a terminator the same bytes come whole, also when a pair
    // straddles the end of what the stream has handed over so far.
    const std::u16string text = u"\U0001F600x\U0001F600\U0001F600yz\U0001F600";
    for (size_t chunk = 1; chunk <= 9; ++chunk) {
        auto block = readerOn(utf16le(text), chunk);
        EXPECT_EQ(block->checkEncoding(1252), 0);
        XpString16 line;
        EXPECT_EQ(block->readLine(line, 100, 0), 0) << chunk;
        EXPECT_EQ(std::u16string(line.data(), line.length()), text) << chunk;
        EXPECT_EQ(block->readLine(line, 100, 0), kErrEndOfFile);
    }
    // Half a unit at the very end: the input ends incomplete.
    auto cut = readerOn(utf16le(u"ab") + "c", 1);
    EXPECT_EQ(cut->checkEncoding(1252), 0);
    XpString16 line;
    EXPECT_EQ(cut->readLine(line, 100, 0), 0);
    EXPECT_EQ(std::u16string(line.data(), line.length()), u"ab");
    EXPECT_EQ(cut->readLine(line, 100, 0), kErrIncompleteInput);
}

TEST(TextReaderLines, WithoutTerminatorInPiecesOfMaxUnits) {
    auto reader = readerOn("\xEF\xBB\xBF" + std::string(10000, 'a') + "\xC3\xA9\n", 3000);
    EXPECT_EQ(reader->checkEncoding(1252), 0);
    XpString16 line;
    std::vector<uint32_t> lengths;
    std::u16string all;
    while (reader->readLine(line, 6000, 0) == 0) {
        lengths.push_back(line.length());
        all.append(line.data(), line.length());
    }
    EXPECT_EQ(lengths, (std::vector<uint32_t>{6000, 4002}));
    EXPECT_EQ(all, std::u16string(10000, u'a') + u"\u00E9\n");
}

TEST(TextReaderOpen, ConsoleGetsTheOemCodePageAndResetDetaches) {
    XpHolder<XpTextReader> reader;
    EXPECT_EQ(openTextReader("/tmp/no/such/dir/file.csv", &reader), resultFromErrno(ENOENT));
    EXPECT_EQ(reader.get(), nullptr);
    EXPECT_EQ(openTextReader("x", nullptr), kErrInvalidArgument);

    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    ASSERT_EQ(openTextReader(ptsname(master), &reader), 0);
    EXPECT_EQ(reader->encoding()->codePage(), 850u);
    EXPECT_EQ(reader->flags() & 1u, 0u);
    EXPECT_EQ(reader->reset(), 0);
    char16_t unit = 0;
    EXPECT_EQ(reader->readUnit(&unit), 258);  // no stream any more
    close(master);

    auto plain = readerOn("abc");
    EXPECT_EQ(plain->encoding()->codePage(), 65001u);
    EXPECT_EQ(plain->flags(), 1u);
}

TEST(TextReaderUnits, UnreadPutsTheUnitBack) {
    auto reader = readerOn("ab");
    EXPECT_EQ(reader->checkEncoding(1252), 0);
    char16_t u = 0;
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(reader->unreadUnit(u'\u00E9'), 0);
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(u, u'\u00E9');
    EXPECT_EQ(reader->readUnit(&u), 0);
    EXPECT_EQ(u, u'b');
    EXPECT_EQ(reader->readUnit(&u), kErrEndOfFile);
}

// The ASCII fast path must give exactly what unit-by-unit reading gives.
TEST(TextReaderLines, FastPathMatchesUnitByUnitOnRandomInput) {
    std::mt19937 rng(4242);
    const char* alphabet[] = {"a", "Z", " ", "\n", "\r", "\xE9", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                              "\xFF", "\x80", "\t"};
    for (int round = 0; round < 200; ++round) {
        std::string bytes;
        const int pieces = int(rng() % 3000);
        for (int i = 0; i < pieces; ++i) bytes += alphabet[rng() % (sizeof alphabet / sizeof *alphabet)];
        const uint32_t page = round % 2 ? 65001 : 1252;
        const uint32_t max = 1 + rng() % 200;
        auto fast = readerOn(bytes, 1 + rng() % 5000);
        ASSERT_EQ(fast->setEncoding(page), 0);
        const auto lines = allLines(fast.get(), max);
        // Reference: the same reading, one unit at a time.
        auto slow = readerOn(bytes, 7);
        ASSERT_EQ(slow->setEncoding(page), 0);
        std::vector<Line> expected;
        std::u16string current;
        for (;;) {
            char16_t u = 0;
            ResultCode rc = current.size() < max ? slow->readUnit(&u) : 0;
            if (rc != 0 || current.size() == max) {
                if (!current.empty()) {
                    expected.push_back({0, current});
                    current.clear();
                    if (rc != 0) {
                        // the failure shows on the next call
                        expected.push_back({rc, u""});
                        break;
                    }
                    continue;
                }
                expected.push_back({rc, u""});
                break;
            }
            current.push_back(u);
            if (u == u'\n') {
                expected.push_back({0, current});
                current.clear();
            }
        }
        ASSERT_EQ(lines, expected) << "round " << round;
    }
}

}  // namespace
