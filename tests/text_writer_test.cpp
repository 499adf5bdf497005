#include "foundation/text_writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/encodings.h"
#include "foundation/strings.h"
#include "tests/support/support.h"

namespace {

struct Fixture {
    XpHolder<vt::MemoryStream> stream;
    XpHolder<XpTextWriter> writer;
    explicit Fixture(uint32_t capabilities = 0) {
        stream.adopt(new vt::MemoryStream);
        stream->capabilityWord = capabilities;
        EXPECT_EQ(XpTextWriter::create(&writer), 0);
        EXPECT_EQ(writer->attach(stream.get()), 0);
    }
    std::string flushed() {
        EXPECT_EQ(writer->flush(), 0);
        return stream->content();
    }
};

TEST(TextWriter, NewWriterIsUtf8PassThrough) {
    Fixture f;
    EXPECT_EQ(f.writer->typeTag(), fourCharacterCode("txtw"));
    EXPECT_EQ(f.writer->encoder()->codePage(), 65001u);
    EXPECT_EQ(f.writer->flags(), uint32_t(kWriterPassThrough));
    EXPECT_EQ(f.writer->writeText("gr\xC3\xBC\xC3\x9F \xFF raw"), 0);  // bytes pass through untouched
    EXPECT_EQ(f.flushed(), "gr\xC3\xBC\xC3\x9F \xFF raw");
}

TEST(TextWriter, Utf16UnitsCombineIntoPairs) {
    Fixture f;
    EXPECT_EQ(f.writer->writeUtf16Unit(0xD800, 1), 0);
    EXPECT_EQ(f.writer->buffered(), 0u);  // the high half waits
    EXPECT_EQ(f.writer->writeUtf16Unit(0xDC00, 1), 0);
    EXPECT_EQ(f.flushed(), "\xF0\x90\x80\x80");

    Fixture lone;
    EXPECT_EQ(lone.writer->writeUtf16Unit(0xDC00, 2), kErrIllegalSequence);
    EXPECT_EQ(lone.writer->writeUtf16Unit(0xDFFF, 3), kErrIllegalSequence);
    EXPECT_EQ(lone.flushed(), "\xEF\xBF\xBD\xEF\xBF\xBD");  // once each, whatever the count

    Fixture broken;
    EXPECT_EQ(broken.writer->writeUtf16Unit(0xDBFF, 1), 0);
    EXPECT_EQ(broken.writer->writeUtf16Unit('A', 2), kErrIllegalSequence);
    EXPECT_EQ(broken.flushed(), "\xEF\xBF\xBD" "AA");
}

TEST(TextWriter, LineOrientedStreamFlushesOncePerText) {
    Fixture f(kStreamCapabilityLineOriented);
    EXPECT_EQ(f.writer->flags() & kWriterFlushAtNewline, uint32_t(kWriterFlushAtNewline));
    EXPECT_EQ(f.writer->writeText("no newline "), 0);
    EXPECT_TRUE(f.stream->writeSizes.empty());
    EXPECT_EQ(f.writer->writeText("a\nb\nc"), 0);
    ASSERT_EQ(f.stream->writeSizes.size(), 1u);
    EXPECT_EQ(f.stream->content(), "no newline a\nb\nc");
    EXPECT_EQ(f.writer->writeBytes('\n', 1), 0);
    EXPECT_EQ(f.stream->writeSizes.size(), 2u);
    EXPECT_EQ(writerPrintf(f.writer.get(), "%d\n", 7), 0);
    EXPECT_EQ(f.writer->writeText16(u"w"), 0);
    EXPECT_EQ(f.stream->writeSizes.size(), 3u);
    EXPECT_EQ(f.writer->writeText16(u"\n"), 0);
    EXPECT_EQ(f.stream->content(), "no newline a\nb\nc\n7\nw\n");

    Fixture plain;  // streams that do not ask for it are written in blocks
    EXPECT_EQ(plain.writer->writeText("a\nb\n"), 0);
    EXPECT_TRUE(plain.stream->writeSizes.empty());
}

TEST(TextWriter, LongTextIsWrittenInWholeBlocks) {
    Fixture f;
    std::string text(10000, 'x');
    text[5000] = 'y';
    EXPECT_EQ(f.writer->writeText(text.c_str(), static_cast<uint32_t>(text.size())), 0);
    EXPECT_EQ(f.stream->writeSizes, (std::vector<size_t>{4096, 4096}));
    EXPECT_EQ(f.writer->buffered(), 10000u - 8192u);
    EXPECT_EQ(f.flushed(), text);

    Fixture fill;
    EXPECT_EQ(fill.writer->writeBytes('-', 5000), 0);
    EXPECT_EQ(fill.writer->writeCodePoint(0x20AC, 2000), 0);
    EXPECT_EQ(fill.flushed().size(), 5000u + 6000u);
}

// The first failure sticks: the unwritten bytes stay, later writes do
// nothing, and close reports it once and leaves a writer that works again.
TEST(TextWriter, FailedDrainIsKeptUntilClose) {
    Fixture f;
    f.stream->acceptBeforeFailure = 3;
    EXPECT_EQ(f.writer->writeText("abcdefgh"), 0);
    EXPECT_EQ(f.writer->failure(), 0);
    EXPECT_EQ(f.writer->flush(), kErrNoSpace);
    EXPECT_EQ(f.stream->content(), "abc");
    EXPECT_EQ(f.writer->buffered(), 5u);
    f.stream->acceptBeforeFailure = SIZE_MAX;
    EXPECT_EQ(f.writer->writeText("ij"), kErrNoSpace);
    EXPECT_EQ(writerPrintf(f.writer.get(), "%d", 1), kErrNoSpace);
    EXPECT_EQ(f.writer->writeQuoted(u"k"), kErrNoSpace);
    EXPECT_EQ(f.writer->flush(), kErrNoSpace);
    EXPECT_EQ(f.writer->buffered(), 5u);
    EXPECT_EQ(f.stream->content(), "abc");
    EXPECT_EQ(f.writer->failure(), kErrNoSpace);
    EXPECT_EQ(f.writer->close(), kErrNoSpace);
    EXPECT_EQ(f.writer->failure(), 0);
    EXPECT_EQ(f.writer->attach(f.stream.get()), 0);
    EXPECT_EQ(f.writer->writeText("ij"), 0);
    EXPECT_EQ(f.flushed(), "abcij");
}

// A replaced character is returned by its write but is no failure to keep.
TEST(TextWriter, ReplacementIsNotKept) {
    Fixture f;
    EXPECT_EQ(f.writer->writeText16(u"a\xD800" u"b"), kErrIllegalSequence);
    EXPECT_EQ(f.writer->failure(), 0);
    EXPECT_EQ(f.writer->writeEscaped(u"\xDC00\"", 2, true), kErrIllegalSequence);
    EXPECT_EQ(f.writer->writeText("c"), 0);
    EXPECT_EQ(f.flushed(), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD\\\"c");
}

TEST(TextWriter, SingleByteEncodingReencodesNarrowText) {
    Fixture f;
    EXPECT_EQ(f.writer->setEncoding(850), 0);
    EXPECT_EQ(f.writer->flags() & kWriterPassThrough, 0u);
    EXPECT_EQ(f.writer->writeText("\xC3\xA9|"), 0);             // U+00E9 is 0x82 in 850
    EXPECT_EQ(f.writer->writeBytes(0xC3, 1), 0);                // collected...
    EXPECT_EQ(f.writer->writeBytes(0xA9, 2), 0);                // ...then written twice
    EXPECT_EQ(f.writer->writeCodePoint(0xE9, 2), 0);
    EXPECT_EQ(f.writer->writeText16(u"\u00e9"), 0);
    EXPECT_EQ(f.writer->writeText32(U"\u00e9"), 0);
    EXPECT_EQ(f.flushed(), "\x82|\x82\x82\x82\x82\x82\x82");
    EXPECT_EQ(f.writer->setEncoding(65001), 0);
    EXPECT_EQ(f.writer->flags() & kWriterPassThrough, uint32_t(kWriterPassThrough));
    EXPECT_EQ(f.writer->setEncoding(424242), kErrObjectNotFound);
    EXPECT_EQ(f.writer->encoder()->codePage(), 65001u);  // the old encoder stays
}

TEST(TextWriter, ByteOrderMarkOnlyAtPositionZero) {
    Fixture f;
    EXPECT_EQ(f.writer->setEncoding(1200), 0);
    EXPECT_EQ(f.writer->writeBom(), 0);
    EXPECT_EQ(f.stream->content(), std::string("\xFF\xFE", 2));  // straight to the stream
    EXPECT_EQ(f.writer->writeBom(), 0);                         // position now 2
    EXPECT_EQ(f.writer->writeText("A"), 0);
    for (uint8_t b : {0xF0, 0x9F, 0x98, 0x80}) EXPECT_EQ(f.writer->writeBytes(b, 1), 0);  // collected to a whole character
    EXPECT_EQ(f.flushed(), std::string("\xFF\xFE" "A\0\x3D\xD8\x00\xDE", 8));

    Fixture unknown;
    unknown.stream->positionFails = true;
    EXPECT_EQ(unknown.writer->writeBom(), 0);
    EXPECT_EQ(unknown.flushed(), "");
}

TEST(TextWriter, EscapingModes) {
    struct Case { bool json; const char* expected; };
    const char text[] = "a\\\"'\x01\b\t\n\x0B\f\r\x1B\x7F\xC3\xA9";
    for (Case c : {Case{true, "a\\\\\\\"'\\u0001\\b\\t\\n\\u000b\\f\\r\\u001b\x7F\xC3\xA9"},
                   Case{false, "a\\\\\\\"\\'\\001\\b\\t\\n\\v\\f\\r\\e\x7F\xC3\xA9"}}) {
        SCOPED_TRACE(c.json);
        Fixture n, w16, w32;
        EXPECT_EQ(n.writer->writeEscaped(text, kTextToTerminator, c.json), 0);
        EXPECT_EQ(w16.writer->writeEscaped(u"a\\\"'\x01\b\t\n\x0B\f\r\x1B\x7F\u00e9", kTextToTerminator, c.json), 0);
        EXPECT_EQ(w32.writer->writeEscaped(U"a\\\"'\x01\b\t\n\x0B\f\r\x1B\x7F\u00e9", kTextToTerminator, c.json), 0);
        EXPECT_EQ(n.flushed(), c.expected);
        EXPECT_EQ(w16.flushed(), c.expected);
        EXPECT_EQ(w32.flushed(), c.expected);
    }
    Fixture nul;
    EXPECT_EQ(nul.writer->writeEscaped("x\0y", 3, false), 0);  // explicit length crosses a zero
    EXPECT_EQ(nul.flushed(), "x\\0y");

    Fixture q;
    EXPECT_EQ(q.writer->writeQuoted("say \"hi\"\n"), 0);
    EXPECT_EQ(q.writer->writeQuoted(u"'"), 0);
    EXPECT_EQ(q.writer->writeQuoted(U"\t'"), 0);
    XpString narrow;
    ASSERT_EQ(narrow.assign("\\"), 0);
    EXPECT_EQ(q.writer->writeQuoted(narrow), 0);
    EXPECT_EQ(q.flushed(), "\"say \\\"hi\\\"\\n\"\"'\"\"\\t'\"\"\\\\\"");
}

TEST(TextWriter, FailuresAreCodes) {
    XpHolder<XpTextWriter> w;
    ASSERT_EQ(XpTextWriter::create(&w), 0);
    EXPECT_EQ(w->writeText("x"), kErrInvalidState);  // no stream yet
    EXPECT_EQ(w->writeBom(), kErrInvalidState);
    EXPECT_EQ(w->writeEscaped(static_cast<const char*>(nullptr), 0, false), kErrInvalidState);
    EXPECT_EQ(w->flush(), kErrInvalidState);
    EXPECT_EQ(writerPrintf(w.get(), "%d", 1), kErrInvalidState);
    EXPECT_EQ(writerPrintf(nullptr, "%d", 1), kErrInvalidArgument);
    EXPECT_EQ(XpTextWriter::create(nullptr), kErrInvalidArgument);

    for (int step = 0; step < 3; ++step) {
        Fixture f;
        EXPECT_EQ(f.writer->writeText(nullptr, 0), 0);
        const ResultCode rc = step == 0   ? f.writer->writeText(nullptr, 3)
                              : step == 1 ? f.writer->writeText16(nullptr, kTextToTerminator)
                                          : f.writer->writeQuoted(static_cast<const char*>(nullptr));
        EXPECT_EQ(rc, kErrInvalidArgument) << step;
        EXPECT_EQ(f.writer->failure(), kErrInvalidArgument) << step;
    }
}

TEST(TextWriter, AttachAndClose) {
    Fixture f;
    EXPECT_EQ(f.writer->writeText("pending"), 0);
    EXPECT_EQ(f.writer->attach(f.stream.get()), 0);  // same stream: nothing happens
    EXPECT_EQ(f.stream->content(), "");
    uint32_t refs = f.stream->referenceCount();

    XpHolder<vt::MemoryStream> other;
    other.adopt(new vt::MemoryStream);
    EXPECT_EQ(f.writer->attach(other.get()), 0);  // closes: the old stream gets the text
    EXPECT_EQ(f.stream->content(), "pending");
    EXPECT_EQ(f.stream->referenceCount(), refs - 1);
    EXPECT_EQ(f.writer->stream(), other.get());

    EXPECT_EQ(f.writer->writeText("more"), 0);
    EXPECT_EQ(f.writer->close(), 0);
    EXPECT_EQ(other->content(), "more");
    EXPECT_EQ(f.writer->stream(), nullptr);
    EXPECT_EQ(other->referenceCount(), 1u);
}

TEST(TextWriter, FullDeviceFailsOnCloseAndReleases) {
    XpHolder<XpTextWriter> w;
    ASSERT_EQ(openTextWriterOnFile("/dev/full", false, &w), 0);
    EXPECT_EQ(writerPrintf(w.get(), "%s\n", "buffered"), 0);
    EXPECT_EQ(w->close(), kErrNoSpace);
    EXPECT_EQ(w->buffered(), 0u);
    EXPECT_EQ(w->writeText("x"), kErrInvalidState);
}

TEST(TextWriter, OpeningFunctions) {
    vt::TempDir dir;
    XpHolder<XpTextWriter> w;
    EXPECT_EQ(openTextWriterOnFile((dir / "x").c_str(), false, nullptr), kErrInvalidArgument);
    EXPECT_EQ(openTextWriterOnFile((dir / "no/such/dir").c_str(), false, &w), kErrNoSuchFile);
    EXPECT_FALSE(w);
    EXPECT_EQ(openTextWriterOnStdio(nullptr, 0, &w), kErrInvalidArgument);
    EXPECT_FALSE(w);

    std::string path = (dir / "printf.txt");
    ASSERT_EQ(openTextWriterOnFile(path.c_str(), false, &w), 0);
    EXPECT_EQ(w->encoder()->codePage(), 65001u);
    EXPECT_EQ(writerPrintf(w.get(), "[%5s][%-5s][%#x][%#x]", "ab", "ab", 255, 0), 0);
    EXPECT_EQ(writerPrintf(w.get(), "[%s %d]", "\xC3\xA9", 3), 0);
    EXPECT_EQ(w->close(), 0);
    EXPECT_EQ(vt::slurp(path), "[   ab][ab   ][0xff][0][\xC3\xA9 3]");

    // A terminal gets the OEM code page.
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) GTEST_SKIP() << "no pseudo terminal";
    FILE* terminal = fopen(ptsname(master), "w");
    ASSERT_NE(terminal, nullptr);
    ASSERT_EQ(openTextWriterOnStdio(terminal, 0, &w), 0);
    EXPECT_EQ(w->encoder()->codePage(), 850u);
    w.reset();
    fclose(terminal);
    close(master);
}

}  // namespace
