// Text writer: encoding straight into one 4,096-byte buffer, written to the
// stream in whole blocks.
#include "foundation/text_writer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "foundation/encodings.h"
#include "foundation/printf_engine.h"
#include "foundation/string_sinks.h"
#include "foundation/strings.h"

namespace {

// Room one encoded code point may need.
constexpr uint32_t kMaxEncodedCodePoint = 6;
// Above this fill a text write drains first, so a conversion starts with room.
constexpr uint32_t kTextWriteThreshold = kTextWriterBufferSize - 6;

// Expected length of a UTF-8 sequence from its lead byte: a byte that is not
// a lead of two or more (ASCII or a stray continuation) stands alone.
uint8_t utf8SequenceLength(uint8_t lead) {
    if ((lead & 0xC0) != 0xC0) return 1;
    if (!(lead & 0x20)) return 2;
    return (lead & 0x10) ? 4 : 3;
}

template <class Unit>
bool containsNewline(const Unit* text, uint32_t length) {
    for (uint32_t i = 0; i < length; ++i)
        if (text[i] == '\n') return true;
    return false;
}

// The textstream_writer sink: forwards each sink operation to one writer.
class textstream_writer final : public tsr_writer {
public:
    explicit textstream_writer(XpTextWriter* writer) noexcept : writer_(writer) { writer_->retain(); }
    ~textstream_writer() override { writer_->release(); }
    textstream_writer(const textstream_writer&) = delete;
    textstream_writer& operator=(const textstream_writer&) = delete;

    ResultCode writeFill(char byte, uint32_t count) noexcept override {
        return writer_->writeBytes(static_cast<uint8_t>(byte), count);
    }
    ResultCode writeText32(const char32_t* text, uint32_t count) noexcept override {
        return writer_->writeText32(text, count);
    }
    ResultCode writeText16(const char16_t* text, uint32_t count) noexcept override {
        return writer_->writeText16(text, count);
    }
    ResultCode writeText16Alt(const char16_t* text, uint32_t count) noexcept override {
        return writer_->writeText16(text, count);
    }
    ResultCode writeText(const char* text, uint32_t count) noexcept override {
        return writer_->writeText(text, count);
    }

private:
    XpTextWriter* writer_;
};

}  // namespace

ResultCode XpTextWriter::create(XpHolder<XpTextWriter>* holder) noexcept {
    if (!holder) return kErrInvalidArgument;
    holder->reset();
    XpHolder<XpTextWriter> writer;
    writer.adopt(new (std::nothrow) XpTextWriter());
    if (!writer) return kErrNoMemory;
    writer->buffer_ = new (std::nothrow) uint8_t[kTextWriterBufferSize];
    if (!writer->buffer_) return kErrNoMemory;
    ResultCode rc = getEncoding(65001, &writer->encoder_);
    if (rc != 0) return rc;
    *holder = std::move(writer);
    return kResultOk;
}

XpTextWriter::~XpTextWriter() {
    (void)close();
    if (encoder_) encoder_->release();
    delete[] buffer_;
}

ResultCode XpTextWriter::attach(XpByteStream* stream) noexcept {
    if (stream == stream_) return kResultOk;
    ResultCode rc = close();
    if (stream) {
        stream->retain();
        stream_ = stream;
        if (stream->capabilities() & kStreamCapabilityLineOriented) flags_ |= kWriterFlushAtNewline;
    }
    return rc;
}

ResultCode XpTextWriter::setEncoding(uint32_t codePage) noexcept {
    if (encoder_ && encoder_->codePage() == codePage) return kResultOk;
    charenc* next = nullptr;
    ResultCode rc = getEncoding(codePage, &next);
    if (rc != 0) return rc;
    if (encoder_) encoder_->release();
    encoder_ = next;
    if (encoder_->passThroughKind() == 0)
        flags_ |= kWriterPassThrough;
    else
        flags_ &= ~kWriterPassThrough;
    return kResultOk;
}

// The mark goes straight to the stream: a buffered write could land after
// text already queued. Only a stream at position 0 gets one, so appending to
// a non-empty file never adds a second mark mid-file.
ResultCode XpTextWriter::writeBom() noexcept {
    if (failure_ != kResultOk) return failure_;
    if (!stream_ || !encoder_) return kErrInvalidState;
    int64_t position = -1;
    if (stream_->position(&position) != 0 || position != 0) return kResultOk;
    uint32_t length = 0;
    const uint8_t* mark = encoder_->byteOrderMark(&length);
    if (!mark || length == 0) return kResultOk;
    return stream_->write(mark, length, nullptr);
}

ResultCode XpTextWriter::ready() noexcept {
    if (failure_ != kResultOk) return failure_;
    return (stream_ && encoder_) ? kResultOk : keep(kErrInvalidState);
}

ResultCode XpTextWriter::drain() noexcept {
    if (failure_ != kResultOk) return failure_;
    if (buffered_ == 0) return kResultOk;
    if (!stream_) return keep(kErrInvalidState);
    size_t written = 0;
    ResultCode rc = stream_->write(buffer_, buffered_, &written);
    if (rc == 0) {
        buffered_ = 0;
        return kResultOk;
    }
    // Keep what the stream did not take, at the start of the buffer.
    memmove(buffer_, buffer_ + written, buffered_ - written);
    buffered_ -= static_cast<uint32_t>(written);
    return keep(rc);
}

ResultCode XpTextWriter::flush() noexcept {
    ResultCode rc = ready();
    if (rc == kResultOk) rc = drain();
    if (rc == kResultOk) rc = keep(stream_->flush());
    return rc;
}

ResultCode XpTextWriter::close() noexcept {
    ResultCode rc = failure_;
    if (stream_) {
        if (rc == kResultOk) rc = drain();
        stream_->release();
        stream_ = nullptr;
    }
    failure_ = kResultOk;
    buffered_ = 0;
    pendingCount_ = 0;
    pendingExpected_ = 0;
    pendingHigh_ = 0;
    flags_ &= kWriterPassThrough;
    return rc;
}

ResultCode XpTextWriter::afterNewline() noexcept {
    return (flags_ & kWriterFlushAtNewline) ? flush() : kResultOk;
}

ResultCode XpTextWriter::writeBytes(uint8_t byte, uint32_t count) noexcept {
    if (ResultCode rc = ready(); rc != kResultOk) return rc;
    if (count == 0) return kResultOk;
    if (!(flags_ & kWriterPassThrough)) {
        // Bytes are UTF-8 here: gather a sequence, then write its character.
        ResultCode replaced = kResultOk;
        if (pendingExpected_ > 0 && (byte & 0xC0) != 0x80) {
            // The sequence broke off: it stands for one replacement.
            pendingCount_ = pendingExpected_ = 0;
            (void)writeCodePoint(kReplacementChar, 1);
            replaced = kErrIllegalSequence;
        }
        if (pendingExpected_ == 0) {
            pendingExpected_ = utf8SequenceLength(byte);
            pendingCount_ = 0;
        }
        pending_[pendingCount_++] = byte;
        if (pendingCount_ < pendingExpected_) return outcome(replaced);
        char32_t codePoint = 0;
        uint32_t consumed = 0;
        ResultCode decoded = decodeUtf8Char(reinterpret_cast<const char*>(pending_), pendingCount_, &codePoint,
                                            &consumed);
        pendingCount_ = pendingExpected_ = 0;
        if (decoded != 0) {
            // An invalid sequence is written as one replacement, whatever the count.
            (void)writeCodePoint(kReplacementChar, 1);
            return outcome(replaced != kResultOk ? replaced : decoded);
        }
        const ResultCode rc = writeCodePoint(codePoint, count);
        return outcome(replaced != kResultOk ? replaced : rc);
    }
    while (count > 0) {
        if (buffered_ == kTextWriterBufferSize) {
            ResultCode rc = drain();
            if (rc != 0) return rc;
        }
        uint32_t room = kTextWriterBufferSize - buffered_;
        uint32_t n = std::min(count, room);
        memset(buffer_ + buffered_, byte, n);
        buffered_ += n;
        count -= n;
    }
    return byte == '\n' ? afterNewline() : kResultOk;
}

ResultCode XpTextWriter::writeCodePoint(uint32_t codePoint, uint32_t count) noexcept {
    if (ResultCode rc = ready(); rc != kResultOk) return rc;
    if (count == 0) return kResultOk;
    uint8_t encoded[kMaxEncodedCodePoint + 2];
    uint32_t units = 1;
    uint32_t size = kMaxEncodedCodePoint;
    const char32_t unit = codePoint;
    ResultCode encodeResult = encoder_->encodeFromUtf32(&unit, &units, encoded, &size);
    if (encodeResult != 0 && encodeResult != kErrIllegalSequence) return keep(encodeResult);
    for (uint32_t i = 0; i < count; ++i) {
        if (kTextWriterBufferSize - buffered_ < kMaxEncodedCodePoint) {
            ResultCode rc = drain();
            if (rc != 0) return rc;
        }
        memcpy(buffer_ + buffered_, encoded, size);
        buffered_ += size;
    }
    if (codePoint == '\n') {
        ResultCode rc = afterNewline();
        if (rc != 0) return rc;
    }
    return encodeResult;
}

ResultCode XpTextWriter::writeUtf16Unit(uint16_t unit, uint32_t count) noexcept {
    if (ResultCode rc = ready(); rc != kResultOk) return rc;
    ResultCode replaced = kResultOk;
    if (pendingHigh_ != 0) {
        uint16_t high = pendingHigh_;
        pendingHigh_ = 0;
        if (unit >= 0xDC00 && unit <= 0xDFFF)
            return writeCodePoint(0x10000 + ((uint32_t(high) - 0xD800) << 10) + (unit - 0xDC00u), count);
        // The high half found no partner: it stands for one replacement.
        (void)writeCodePoint(kReplacementChar, 1);
        replaced = kErrIllegalSequence;
    }
    if (unit >= 0xD800 && unit <= 0xDBFF) {
        pendingHigh_ = unit;
        return outcome(replaced);
    }
    if (unit >= 0xDC00 && unit <= 0xDFFF) {
        (void)writeCodePoint(kReplacementChar, 1);
        return outcome(kErrIllegalSequence);
    }
    const ResultCode rc = writeCodePoint(unit, count);
    return outcome(replaced != kResultOk ? replaced : rc);
}

// Converts text of the given width through the encoder into the buffer in
// pieces as large as fit. The buffer is drained first when nearly full and
// whenever the encoder reports it full (56). A replacement (85) is remembered
// and the conversion goes on; any other failure ends the write with the
// unconverted rest unwritten. A text holding a newline flushes once at the
// end on a line-oriented stream.
ResultCode XpTextWriter::putEncoded(const void* text, uint32_t length, int width) noexcept {
    if (ResultCode rc = ready(); rc != kResultOk) return rc;
    if (!text) return length == 0 ? kResultOk : keep(kErrInvalidArgument);
    if (length == kTextToTerminator) {
        length = width == 1   ? terminatedLength(static_cast<const char*>(text))
                 : width == 2 ? terminatedLength(static_cast<const char16_t*>(text))
                              : terminatedLength(static_cast<const char32_t*>(text));
    }
    if (length == 0) return kResultOk;
    if (buffered_ > kTextWriteThreshold) {
        ResultCode rc = drain();
        if (rc != 0) return rc;
    }
    const uint8_t* source = static_cast<const uint8_t*>(text);
    uint32_t remaining = length;
    ResultCode replaced = kResultOk;
    while (remaining > 0) {
        uint32_t consumed = remaining;
        uint32_t produced = kTextWriterBufferSize - buffered_;
        ResultCode rc;
        if (width == 1)
            rc = encoder_->encodeFromUtf8(reinterpret_cast<const char*>(source), &consumed, buffer_ + buffered_,
                                          &produced);
        else if (width == 2)
            rc = encoder_->encodeFromUtf16(reinterpret_cast<const char16_t*>(source), &consumed,
                                           buffer_ + buffered_, &produced);
        else
            rc = encoder_->encodeFromUtf32(reinterpret_cast<const char32_t*>(source), &consumed,
                                           buffer_ + buffered_, &produced);
        buffered_ += produced;
        source += static_cast<size_t>(consumed) * static_cast<size_t>(width);
        remaining -= consumed;
        if (rc == kErrNoBufferSpace) {
            // An empty buffer that still cannot take one character would
            // loop for ever: report it instead.
            if (consumed == 0 && produced == 0 && buffered_ == 0) return keep(rc);
            ResultCode drained = drain();
            if (drained != 0) return drained;
            continue;
        }
        if (rc == kErrIllegalSequence) {
            replaced = rc;
            continue;
        }
        if (rc != 0) return keep(rc);
    }
    if ((flags_ & kWriterFlushAtNewline)) {
        bool newline = width == 1   ? containsNewline(static_cast<const char*>(text), length)
                       : width == 2 ? containsNewline(static_cast<const char16_t*>(text), length)
                                    : containsNewline(static_cast<const char32_t*>(text), length);
        if (newline) {
            ResultCode rc = flush();
            if (rc != 0) return rc;
        }
    }
    return replaced;
}

ResultCode XpTextWriter::writeText(const char* text, uint32_t length) noexcept {
    return putEncoded(text, length, 1);
}
ResultCode XpTextWriter::writeText16(const char16_t* text, uint32_t length) noexcept {
    return putEncoded(text, length, 2);
}
ResultCode XpTextWriter::writeText32(const char32_t* text, uint32_t length) noexcept {
    return putEncoded(text, length, 4);
}
ResultCode XpTextWriter::writeString(const XpString& text) noexcept {
    return putEncoded(text.data(), text.length(), 1);
}

// Escaping rules, both modes: characters from 32 up pass, with a backslash
// before '\\' and '"' (C mode: also '\''). Controls become "\\" plus a letter
// where the mode names one (JSON: b t n f r; C: 0 a b t n v f r e), else
// JSON "\\u00hh" or C "\\ooo" (lower-case hexadecimal).
template <class Unit>
ResultCode XpTextWriter::escapeText(const Unit* text, uint32_t length, bool jsonMode) noexcept {
    if (ResultCode rc = ready(); rc != kResultOk) return rc;
    if (!text) return length == 0 ? kResultOk : keep(kErrInvalidArgument);
    if (length == kTextToTerminator) length = terminatedLength(text);
    ResultCode replaced = kResultOk;
    auto note = [&](ResultCode rc) {
        if (replaced == kResultOk) replaced = rc;
    };
    uint32_t runStart = 0;
    auto flushRun = [&](uint32_t end) -> ResultCode {
        if (end <= runStart) return kResultOk;
        if constexpr (sizeof(Unit) == 1)
            return writeText(reinterpret_cast<const char*>(text + runStart), end - runStart);
        else if constexpr (sizeof(Unit) == 2)
            return writeText16(reinterpret_cast<const char16_t*>(text + runStart), end - runStart);
        else
            return writeText32(reinterpret_cast<const char32_t*>(text + runStart), end - runStart);
    };
    for (uint32_t i = 0; i < length; ++i) {
        uint32_t c = static_cast<uint32_t>(text[i]);
        if constexpr (sizeof(Unit) == 1) c &= 0xFF;
        char escape[8];
        uint32_t n = 0;
        if (c == '\\' || c == '"' || (c == '\'' && !jsonMode)) {
            escape[n++] = '\\';
            escape[n++] = static_cast<char>(c);
        } else if (c < 32) {
            const char* letters = jsonMode ? "\0\0\0\0\0\0\0\0btn\0fr\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
                                           : "0\0\0\0\0\0\0abtnvfr\0\0\0\0\0\0\0\0\0\0\0\0\0e\0\0\0\0";
            escape[n++] = '\\';
            if (letters[c] != '\0') {
                escape[n++] = letters[c];
            } else if (jsonMode) {
                static const char kHex[] = "0123456789abcdef";
                escape[n++] = 'u';
                escape[n++] = '0';
                escape[n++] = '0';
                escape[n++] = kHex[c >> 4];
                escape[n++] = kHex[c & 15];
            } else {
                escape[n++] = static_cast<char>('0' + (c >> 6));
                escape[n++] = static_cast<char>('0' + ((c >> 3) & 7));
                escape[n++] = static_cast<char>('0' + (c & 7));
            }
        } else {
            continue;
        }
        note(flushRun(i));
        note(writeText(escape, n));
        runStart = i + 1;
        if (failure_ != kResultOk) return failure_;
    }
    note(flushRun(length));
    return outcome(replaced);
}

ResultCode XpTextWriter::writeEscaped(const char* text, uint32_t length, bool jsonMode) noexcept {
    return escapeText(text, length, jsonMode);
}
ResultCode XpTextWriter::writeEscaped(const char16_t* text, uint32_t length, bool jsonMode) noexcept {
    return escapeText(text, length, jsonMode);
}
ResultCode XpTextWriter::writeEscaped(const char32_t* text, uint32_t length, bool jsonMode) noexcept {
    return escapeText(text, length, jsonMode);
}

template <class Unit>
ResultCode XpTextWriter::quoteText(const Unit* text, uint32_t length) noexcept {
    (void)writeBytes('"', 1);
    const ResultCode rc = escapeText(text, length, true);
    (void)writeBytes('"', 1);
    return outcome(rc);
}

ResultCode XpTextWriter::writeQuoted(const char* text) noexcept { return quoteText(text, kTextToTerminator); }
ResultCode XpTextWriter::writeQuoted(const char16_t* text) noexcept { return quoteText(text, kTextToTerminator); }
ResultCode XpTextWriter::writeQuoted(const char32_t* text) noexcept { return quoteText(text, kTextToTerminator); }
ResultCode XpTextWriter::writeQuoted(const XpString& text) noexcept { return quoteText(text.data(), text.length()); }

namespace {

template <class Stream>
ResultCode finishOpen(Stream* stream, XpHolder<XpTextWriter>* holder) noexcept {
    XpHolder<XpTextWriter> writer;
    ResultCode rc = XpTextWriter::create(&writer);
    if (rc != 0) return rc;
    rc = writer->attach(stream);
    if (rc != 0) return rc;
    // A console takes the OEM code page (pseudo code page 1); should that
    // encoder be missing, the console still gets a working UTF-8 writer.
    if (stream->isConsole()) (void)writer->setEncoding(kCodePageOem);
    *holder = std::move(writer);
    return kResultOk;
}

}  // namespace

ResultCode openTextWriterOnFile(const char* path, bool append, XpHolder<XpTextWriter>* holder) noexcept {
    if (!holder) return kErrInvalidArgument;
    holder->reset();
    XpHolder<XpFileStream> stream;
    ResultCode rc = XpFileStream::create(&stream);
    if (rc != 0) return rc;
    rc = stream->open(path, append ? kStreamModeAppendReport : kStreamModeWriteReport);
    if (rc != 0) return rc;
    return finishOpen(stream.get(), holder);
}

ResultCode openTextWriterOnStdio(FILE* runtimeStream, uint32_t mode, XpHolder<XpTextWriter>* holder) noexcept {
    if (!holder) return kErrInvalidArgument;
    holder->reset();
    XpHolder<XpStdioStream> stream;
    ResultCode rc = XpStdioStream::create(&stream);
    if (rc != 0) return rc;
    rc = stream->attach(runtimeStream, nullptr, (mode & 1) != 0);
    if (rc != 0) return rc;
    return finishOpen(stream.get(), holder);
}

ResultCode openTextWriterOnMemory(XpHolder<XpMemoryStream>* stream, XpHolder<XpTextWriter>* holder) noexcept {
    if (!stream || !holder) return kErrInvalidArgument;
    holder->reset();
    ResultCode rc = XpMemoryStream::create(stream);
    if (rc == kResultOk) rc = XpTextWriter::create(holder);
    if (rc == kResultOk) rc = (*holder)->attach(stream->get());
    if (rc != kResultOk) {
        holder->reset();
        stream->reset();
    }
    return rc;
}

void writeLongText(XpTextWriter* writer, const char* bytes, size_t size) noexcept {
    constexpr size_t kPiece = size_t(1) << 30;
    while (size > 0) {
        const size_t piece = size < kPiece ? size : kPiece;
        writer->writeText(bytes, uint32_t(piece));
        bytes += piece;
        size -= piece;
    }
}

ResultCode writerVPrintf(XpTextWriter* writer, const char* format, va_list args) noexcept {
    if (!writer || !format) return kErrInvalidArgument;
    textstream_writer sink(writer);
    return formatToSink(&sink, format, args);
}

ResultCode writerPrintf(XpTextWriter* writer, const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    ResultCode rc = writerVPrintf(writer, format, args);
    va_end(args);
    return rc;
}
