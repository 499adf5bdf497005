// Text reader: decoded UTF-16 text, unit by unit or line by line, from a
// byte stream.
//
// Contract:
// - A reader owns a buffer of 1,024 bytes of headroom and a 64 KiB block,
//   so one character read but not stored can be put back (unreadUnit), and
//   a file is read in few large pieces. It
//   decodes through an encoding object, UTF-8 until checkEncoding or
//   setEncoding installs another.
// - checkEncoding(fallback) recognises a byte-order mark (UTF-8, UTF-16 and
//   UTF-32 in both orders) and consumes it; text without a mark is read in
//   the fallback code page. There is no guessing.
// - readUnit delivers one UTF-16 unit; a character above U+FFFF comes as a
//   surrogate pair over two calls. A surrogate or a value above U+10FFFF out
//   of the decoder gives U+FFFD with 85.
// - readLine(line, max, terminator) empties the line and fills it up to and
//   including the terminator (a carriage return before it stays; callers
//   trim), or until max units, which delivers a long line in pieces. Only
//   the terminator ends a line: a bare carriage return does not, unless
//   useCarriageReturnLines switched the reader to old Mac text, where a line
//   asked for with the line-feed terminator ends at a carriage return and a
//   line feed right after that carriage return is skipped.
// - A partly read line is always delivered with 0; whatever ended it (the
//   end of data, 768, or a character that cannot be decoded, which leaves the
//   read position where it is) shows on the next call with an empty line.
#pragma once

#include <cstdint>

#include "foundation/byte_streams.h"
#include "foundation/encodings.h"
#include "foundation/object.h"
#include "foundation/result_codes.h"
#include "foundation/strings.h"

inline constexpr uint32_t kTextReaderHeadroom = 1024;
inline constexpr uint32_t kTextReaderBufferSize = kTextReaderHeadroom + 65536;
// The most bytes one fill may ask for.
inline constexpr uint32_t kTextReaderMaxFill = 4096;

class XpTextReader final : public XpObject {
public:
    // Creates a reader on stream (which may be null; the reader takes its own
    // reference) into holder; 12 when it cannot be allocated, 22 without holder.
    [[nodiscard]] static ResultCode create(XpHolder<XpTextReader>* holder, XpByteStream* stream = nullptr) noexcept;

    // Detaches from the stream for reuse; positions back to the headroom;
    // keeps flag bit 0.
    virtual ResultCode reset() noexcept;
    uint32_t typeTag() const noexcept override { return fourCharacterCode("txtr"); }

    // Installs the encoding of a code page (nothing when it is installed already).
    [[nodiscard]] ResultCode setEncoding(uint32_t codePage) noexcept;
    // Looks for a byte-order mark at the read position and consumes it; on a
    // mark *codePage becomes its code page, else it stays (0xFFFFFFFE becomes
    // 0, or 0xFFFFFFFF when no bytes or a zero byte among the first four).
    [[nodiscard]] ResultCode detectEncoding(uint32_t* codePage) noexcept;
    // detectEncoding on defaultCodePage, then setEncoding with the result.
    [[nodiscard]] ResultCode checkEncoding(uint32_t defaultCodePage) noexcept;

    [[nodiscard]] ResultCode readUnit(char16_t* unit) noexcept;
    [[nodiscard]] ResultCode unreadUnit(char16_t unit) noexcept;
    [[nodiscard]] ResultCode readLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept;

    // Old Mac text: from now on the line-feed terminator means a carriage
    // return (see readLine). held (count units) is text already read past
    // the line just delivered, which ended at a carriage return; every read
    // hands it out again before anything else. 12 when it cannot be kept (the
    // reader is then unchanged).
    [[nodiscard]] ResultCode useCarriageReturnLines(const char16_t* held, uint32_t count) noexcept;
    bool carriageReturnLines() const noexcept { return carriageReturnLines_; }
    // False once nothing more can be read: no held or owed unit, and no
    // character at the read position, because the stream gives no more bytes
    // or because those there cannot be decoded (which stops every later read
    // at them).
    bool hasMoreInput() noexcept;

    // The bytes buffered at the read position, for a reader that scans its
    // own syntax in the bytes and decodes only what it keeps. With more, or
    // when none are buffered, the unread bytes first move to the block's
    // start and the stream is asked for as many as fit; the count then tells
    // whether any came. No bytes (count 0, 258) while a unit is owed, held
    // text waits or old Mac text is read, since the read position then is
    // not where the text goes on.
    [[nodiscard]] ResultCode bufferedBytes(const uint8_t** bytes, uint32_t* count, bool more) noexcept;
    // Moves the read position past count of those bytes (at most all).
    void skipBytes(uint32_t count) noexcept;

    const charenc* encoding() const noexcept { return encoding_; }
    uint32_t flags() const noexcept { return flags_; }
    // True when the encoding reads each ASCII byte as itself, one byte per
    // unit, so that lines of such bytes are copied without decoding.
    bool asciiTransparent() const noexcept { return asciiTransparent_; }

private:
    XpTextReader() noexcept = default;
    ~XpTextReader() override;

    [[nodiscard]] ResultCode fill(uint32_t bytes) noexcept;
    [[nodiscard]] ResultCode peekCharacter(char32_t* c, uint32_t* length) noexcept;
    [[nodiscard]] ResultCode readCharacter(char32_t* c) noexcept;
    void noteEncoding() noexcept;
    enum class AsciiRun { kCopied, kEnded, kNoRoom };
    // Copies buffered ASCII bytes straight into line, up to the terminator or
    // room: kEnded when the terminator was copied, kNoRoom when the line
    // could not grow (nothing copied).
    AsciiRun copyAsciiRun(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept;
    // A whole buffered ASCII line into the empty line; false (nothing read)
    // when the fast path does not apply.
    bool readBufferedAsciiLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept;
    [[nodiscard]] ResultCode readUntilTerminator(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept;
    [[nodiscard]] ResultCode readBlock(XpString16& line, uint32_t maxUnits) noexcept;
    // Unit by unit up to a carriage return for the line-feed terminator (any
    // other terminator as it is; 0 none), held text first.
    [[nodiscard]] ResultCode readCarriageReturnLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept;
    // Puts back a unit that could not be stored; owed tells whether it was
    // the pending low surrogate.
    void giveBack(char16_t unit, bool owed) noexcept;

    XpByteStream* stream_ = nullptr;
    charenc* encoding_ = nullptr;
    uint8_t* buffer_ = nullptr;
    uint32_t readPos_ = kTextReaderHeadroom;
    uint32_t endPos_ = kTextReaderHeadroom;
    uint32_t flags_ = 1;
    uint64_t spare_ = 0;
    char16_t pending_ = 0;
    // Bytes 0x00-0x7F decode to the same code points one byte each, so runs
    // of them can be copied without asking the encoding.
    bool asciiTransparent_ = false;
    // Old Mac text: the held units go out first; afterCarriageReturn_ drops
    // the line feed of a CR LF pair whose carriage return ended a line.
    bool carriageReturnLines_ = false;
    bool afterCarriageReturn_ = false;
    XpString16 held_;
    uint32_t heldPos_ = 0;
};

// Opens path for reading (absent, empty or "-": standard input) and creates a
// reader on it; a console gets the OEM code page. 22 without out, 12 when
// nothing can be allocated, an open failure as it stands.
[[nodiscard]] ResultCode openTextReader(const char* path, XpHolder<XpTextReader>* out) noexcept;
