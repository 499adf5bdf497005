// Text writer: encoded, buffered text output over a byte stream.
//
// Contract: an XpTextWriter (type tag "txtw") takes narrow (UTF-8), UTF-16
// and UTF-32 text, single bytes and code points, encodes them with its
// encoding object into a 4,096-byte buffer and hands the buffer to its byte
// stream when it fills, at a newline on line-oriented streams, on flush and on
// close. A new writer encodes UTF-8 and lets narrow bytes pass through
// unchanged. Every operation returns a ResultCode: 258 when the writer has no
// stream or encoder, 22 for an absent text with a non-zero length, and a
// stream's own code unchanged when a write fails; bytes the stream did not
// take stay buffered, so nothing is silently lost. The writer keeps the first
// code that lost text (isWriteFailure): from then on every write, flush and
// drain does nothing and returns that code, failure() shows it, and close()
// reports it, so a sequence of writes is checked once at its end. A replaced
// character (85, 537) is returned by its write but not kept. Lengths are in units of
// the text's width; kTextToTerminator (any value above 0xFFFFFFFE) means up
// to the terminating zero. A writer is used by one thread at a time.
//
// Opening functions put a new writer into the caller's holder and leave it
// empty on failure (22 without a holder, 12 when an object cannot be made,
// the stream's own code when it cannot be opened). writerPrintf formats with
// the framework's printf engine (foundation/printf_engine.h) through a
// textstream_writer adapter (a tsr_writer sink that holds a reference to the
// writer: fill is the writer's byte write, the three text widths go to
// writeText, writeText16 and writeText32) and returns 0 or the first write
// error.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "foundation/byte_streams.h"
#include "foundation/object.h"
#include "foundation/result_codes.h"
#include "foundation/utf.h"

class charenc;
class XpString;

inline constexpr uint32_t kTextToTerminator = kUnitsToTerminator;
inline constexpr uint32_t kTextWriterBufferSize = 4096;

// Writer flag bits.
enum : uint32_t {
    kWriterPassThrough = 0x1,    // narrow bytes are copied, not re-encoded
    kWriterFlushAtNewline = 0x2, // the stream wants line-by-line delivery
};

// A code that lost or could not write text, as opposed to one that only
// replaced a character.
constexpr bool isWriteFailure(ResultCode code) noexcept {
    return code != kResultOk && code != kErrIllegalSequence && code != kErrIncompleteInput;
}

class XpTextWriter final : public XpObject {
public:
    // Puts a new writer (UTF-8, pass-through, no stream) into *holder.
    [[nodiscard]] static ResultCode create(XpHolder<XpTextWriter>* holder) noexcept;

    uint32_t typeTag() const noexcept override { return fourCharacterCode("txtw"); }

    // Attaching the stream already attached does nothing; otherwise the writer
    // is closed (that code is kept and returned) and retains the new stream
    // (null detaches). A stream whose capability word has bit 8 set makes the
    // writer flush at every newline.
    ResultCode attach(XpByteStream* stream) noexcept;
    XpByteStream* stream() const noexcept { return stream_; }
    charenc* encoder() const noexcept { return encoder_; }
    uint32_t flags() const noexcept { return flags_; }
    uint32_t buffered() const noexcept { return buffered_; }
    // The first failure kept since the writer was made or last closed, or 0.
    ResultCode failure() const noexcept { return failure_; }

    // Same code page: nothing happens. Else the registry's encoder replaces the
    // current one (its error returned as it stands) and pass-through is set
    // exactly when the new encoder passes narrow text through.
    [[nodiscard]] ResultCode setEncoding(uint32_t codePage) noexcept;

    // Writes the encoder's byte-order mark straight to the stream, but only
    // when the stream reports position 0; a stream that cannot tell, or an
    // appended non-empty file, gets nothing (result 0). The mark is no part of
    // the text: its failure is returned, not kept.
    ResultCode writeBom() noexcept;

    // count copies of one byte. With pass-through the byte goes into the
    // buffer as it is; without, bytes are collected as UTF-8 and each complete
    // character is written as a code point (a decoding error is returned).
    ResultCode writeBytes(uint8_t byte, uint32_t count) noexcept;
    // count copies of one code point, encoded.
    ResultCode writeCodePoint(uint32_t codePoint, uint32_t count) noexcept;
    // A high surrogate waits for its low half; a lone low surrogate writes
    // U+FFFD once and returns 85; anything else is a code point.
    ResultCode writeUtf16Unit(uint16_t unit, uint32_t count) noexcept;

    ResultCode writeText(const char* text, uint32_t length = kTextToTerminator) noexcept;
    ResultCode writeText16(const char16_t* text, uint32_t length = kTextToTerminator) noexcept;
    ResultCode writeText32(const char32_t* text, uint32_t length = kTextToTerminator) noexcept;
    ResultCode writeString(const XpString& text) noexcept;

    // Escaped text: characters from 32 up as they are, with '\\' before '\\'
    // and '"' (and before '\'' in C mode); control characters as '\\' and a
    // letter where the mode has one, else "u00" and two hex digits (JSON) or
    // three octal digits (C).
    ResultCode writeEscaped(const char* text, uint32_t length, bool jsonMode) noexcept;
    ResultCode writeEscaped(const char16_t* text, uint32_t length, bool jsonMode) noexcept;
    ResultCode writeEscaped(const char32_t* text, uint32_t length, bool jsonMode) noexcept;
    // '"', the text escaped in JSON mode, '"'; the first failure is returned.
    ResultCode writeQuoted(const char* text) noexcept;
    ResultCode writeQuoted(const char16_t* text) noexcept;
    ResultCode writeQuoted(const char32_t* text) noexcept;
    ResultCode writeQuoted(const XpString& text) noexcept;

    // Writes out the buffer, then flushes the stream; the first failure wins.
    ResultCode flush() noexcept;
    // Writes out the buffer (unless a failure is kept) and releases the
    // stream; clears the kept failure, the buffer, the pending sequence and
    // surrogate and every flag but pass-through. Returns the kept failure,
    // else the write-out code (the buffer is dropped all the same).
    ResultCode close() noexcept;
    // Hands the buffer to the stream. On a failed write the unwritten bytes
    // move to the buffer's start and the error is returned.
    ResultCode drain() noexcept;

protected:
    ~XpTextWriter() override;

private:
    XpTextWriter() = default;

    ResultCode putEncoded(const void* text, uint32_t length, int width) noexcept;
    ResultCode putCodePoint(uint32_t codePoint) noexcept;
    ResultCode afterNewline() noexcept;
    // Keeps rc when it is the first failure; returns it.
    ResultCode keep(ResultCode rc) noexcept {
        if (failure_ == kResultOk && isWriteFailure(rc)) failure_ = rc;
        return rc;
    }
    // What a sequence of writes gives: the kept failure, else replaced.
    ResultCode outcome(ResultCode replaced) const noexcept { return failure_ != kResultOk ? failure_ : replaced; }
    // 0, or the kept failure, or 258 (kept) without a stream or encoder.
    ResultCode ready() noexcept;
    template <class Unit>
    ResultCode escapeText(const Unit* text, uint32_t length, bool jsonMode) noexcept;
    template <class Unit>
    ResultCode quoteText(const Unit* text, uint32_t length) noexcept;

    XpByteStream* stream_ = nullptr;
    charenc* encoder_ = nullptr;
    uint8_t* buffer_ = nullptr;
    uint32_t buffered_ = 0;
    ResultCode failure_ = kResultOk;
    uint32_t flags_ = kWriterPassThrough;
    uint8_t pending_[4] = {};
    uint8_t pendingCount_ = 0;
    uint8_t pendingExpected_ = 0;
    uint16_t pendingHigh_ = 0;
};

// Opens path for writing (replacing the file, or appending when append is
// true) and attaches a new writer. A console stream gets code page 1 (OEM).
[[nodiscard]] ResultCode openTextWriterOnFile(const char* path, bool append,
                                              XpHolder<XpTextWriter>* holder) noexcept;
// The same over a stdio stream; mode bit 0 makes the writer's stream own (and
// finally close) runtimeStream. The program passes 0 for stdout and stderr.
[[nodiscard]] ResultCode openTextWriterOnStdio(FILE* runtimeStream, uint32_t mode,
                                               XpHolder<XpTextWriter>* holder) noexcept;

// A new memory stream (foundation/byte_streams.h) with a new writer attached;
// both holders are left empty on failure.
[[nodiscard]] ResultCode openTextWriterOnMemory(XpHolder<XpMemoryStream>* stream,
                                                XpHolder<XpTextWriter>* holder) noexcept;

// size bytes of UTF-8 text into a writer, in pieces its 32-bit counts hold
// (text a memory writer gathered, handed on whole); a failure stays with
// the writer.
void writeLongText(XpTextWriter* writer, const char* bytes, size_t size) noexcept;

// Formatted output into a writer; 22 for a null writer or format.
ResultCode writerPrintf(XpTextWriter* writer, const char* format, ...) noexcept
    __attribute__((format(printf, 2, 3)));
ResultCode writerVPrintf(XpTextWriter* writer, const char* format, va_list args) noexcept;
