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
#include <sstream>
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

TEST(TextReader, CasesOfTestsDataReader) {
    for (const std::vector<std::string>& row : vt::tableOf("foundation/reader.txt")) {
        std::istringstream options(row.at(1));
        size_t chunk = 0;
        uint32_t max = 0;
        std::string terminator;
        options >> chunk >> max >> terminator;
        auto reader = readerOn(row[0], chunk);
        std::string got = std::to_string(reader->checkEncoding(1252));
        got += " " + std::to_string(reader->encoding()->codePage());
        XpString16 line;
        for (int failures = 0; failures < 2;) {
            const ResultCode rc = reader->readLine(line, max, terminator == "n" ? u'\n' : 0);
            got += " " + std::to_string(rc) + ":" + vt::utf8Units(std::u16string(line.data(), line.length()));
            failures += rc != 0;
        }
        EXPECT_EQ(got, row.at(2)) << row[0] << " | " << row[1];
    }
    uint32_t page = 0xFFFFFFFEu;
    EXPECT_EQ(readerOn("")->detectEncoding(&page), kErrEndOfFile);
    EXPECT_EQ(page, 0xFFFFFFFFu);
    page = 0xFFFFFFFEu;  // a zero byte after the first four does not count
    EXPECT_EQ(readerOn(std::string("abcd\0", 5))->detectEncoding(&page), 0);
    EXPECT_EQ(page, 0u);
    page = 0xFFFFFFFEu;  // the fourth does
    EXPECT_EQ(readerOn(std::string("abc\0e", 5))->detectEncoding(&page), 0);
    EXPECT_EQ(page, 0xFFFFFFFFu);
}

// Nothing more can be read at the end of the input or before a character
// that cannot be decoded (every read stops there); asking reads nothing.
TEST(TextReader, MoreInputOnlyWhereACharacterCanBeRead) {
    // After a line: an encoded surrogate, no lead byte, the end inside a
    // character, a whole one, the end.
    const std::pair<std::string, bool> cases[] = {
        {"ab\n\xED\xA0\x80", false}, {"ab\n\xFF", false}, {"ab\n\xE2\x82", false},
        {"ab\n\xE2\x82\xAC", true},     {"ab\n", false}};
    for (const auto& [bytes, more] : cases) {
        auto reader = readerOn(bytes, 1);
        XpString16 line;
        ASSERT_EQ(reader->readLine(line, 100, u'\n'), 0);
        EXPECT_EQ(reader->hasMoreInput(), more) << bytes;
        EXPECT_EQ(reader->readLine(line, 100, u'\n') == 0, more) << bytes;
    }
}

TEST(TextReader, PairsStraddlingRefillsAndSingleUnits) {
    std::string bytes = "\xFF\xFE";
    const std::u16string text = u"\U0001F600x\U0001F600\U0001F600yz\U0001F600";
    for (char16_t c : text) bytes += {char(c & 0xFF), char(c >> 8)};
    for (size_t chunk = 1; chunk <= 9; ++chunk) {
        auto block = readerOn(bytes, chunk);
        EXPECT_EQ(block->checkEncoding(1252), 0);
        XpString16 line;
        EXPECT_EQ(block->readLine(line, 100, 0), 0) << chunk;
        EXPECT_EQ(std::u16string(line.data(), line.length()), text) << chunk;
        EXPECT_EQ(block->readLine(line, 100, 0), kErrEndOfFile);
    }
    auto reader = readerOn("x\xF0\x9F\x98\x80y\n", 1);
    EXPECT_EQ(reader->checkEncoding(65001), 0);
    std::u16string units;
    for (char16_t u = 0; reader->readUnit(&u) == 0;) units += u;
    EXPECT_EQ(units, u"x\U0001F600y\n");
    // The second unit of a pair is still to come when its bytes are all read.
    auto pair = readerOn("\xF0\x9F\x98\x80", 1);
    EXPECT_EQ(pair->checkEncoding(65001), 0);
    char16_t high = 0;
    ASSERT_EQ(pair->readUnit(&high), 0);
    EXPECT_TRUE(pair->hasMoreInput());
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
    XpString16 line;
    EXPECT_EQ(reader->readLine(line, 10, 0), 258);
    close(master);

    auto plain = readerOn("abc");
    EXPECT_EQ(plain->encoding()->codePage(), 65001u);
    EXPECT_EQ(plain->flags(), 1u);
    // Only where every ASCII byte reads as itself may lines be copied undecoded.
    for (const auto& [page, transparent] : {std::pair{65001u, true}, {1252u, true}, {20127u, true},
                                            {437u, true}, {1200u, false}, {12001u, false}}) {
        EXPECT_EQ(plain->setEncoding(page), 0);
        EXPECT_EQ(plain->asciiTransparent(), transparent) << page;
    }
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

// Raw bytes: what is buffered, more only when asked for or when none is left.
TEST(TextReaderUnits, BufferedBytesAndSkipping) {
    auto reader = readerOn("abcdef", 2);
    std::string got;
    const uint8_t* bytes = nullptr;
    uint32_t count = 0;
    const auto show = [&](bool more) {
        const ResultCode rc = reader->bufferedBytes(&bytes, &count, more);
        got += std::to_string(rc) + ":" + std::string(reinterpret_cast<const char*>(bytes), count) + " ";
    };
    show(false), show(false), show(true), reader->skipBytes(3), show(false), reader->skipBytes(9), show(false);
    reader->skipBytes(2), show(false), show(true);
    EXPECT_EQ(got, "0:ab 0:ab 0:abcd 0:d 0:ef 768: 768: ");
    EXPECT_EQ(reader->bufferedBytes(nullptr, &count, false), kErrInvalidArgument);
    EXPECT_EQ(reader->bufferedBytes(&bytes, nullptr, false), kErrInvalidArgument);
    // None while a unit is owed, while held text or old Mac lines are read, or without a stream.
    auto owed = readerOn("\xF0\x9F\x98\x80");
    char16_t unit = 0;
    ASSERT_EQ(owed->readUnit(&unit), 0);
    EXPECT_EQ(owed->bufferedBytes(&bytes, &count, false), 258);
    EXPECT_EQ(reader->useCarriageReturnLines(u"x", 1), 0);
    EXPECT_EQ(reader->bufferedBytes(&bytes, &count, false), 258);
    EXPECT_EQ(owed->reset(), 0);
    EXPECT_EQ(owed->bufferedBytes(&bytes, &count, false), 258);
    // One block at most, however much the stream could hand over.
    auto big = readerOn(std::string(70000, 'x'), 70000);
    EXPECT_EQ(big->bufferedBytes(&bytes, &count, true), 0);
    EXPECT_EQ(count, 65536u);
}

// Old Mac lines: the held text first, then the stream; a lone CR ends a line, the most units end one too.
TEST(TextReaderLines, CarriageReturnLinesHeldTextFirst) {
    auto mac = readerOn("abcdef\rg\r\nh");
    ASSERT_EQ(mac->useCarriageReturnLines(u"x\n", 2), 0);
    std::string got;
    XpString16 line;
    while (mac->readLine(line, 3, u'\n') == 0) got += vt::utf8Units(std::u16string(line.data(), line.length())) + "|";
    EXPECT_EQ(got, "x\na|bcd|ef\r|g\r|h|");
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
