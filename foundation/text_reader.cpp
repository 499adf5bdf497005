#include "foundation/text_reader.h"

#include "foundation/unit_scan.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr char16_t kReplacement = 0xFFFD;

}  // namespace

ResultCode XpTextReader::create(XpHolder<XpTextReader>* holder, XpByteStream* stream) noexcept {
    if (holder == nullptr) return kErrInvalidArgument;
    holder->reset();
    auto* reader = new (std::nothrow) XpTextReader();
    if (reader == nullptr) return kErrNoMemory;
    reader->buffer_ = static_cast<uint8_t*>(std::calloc(kTextReaderBufferSize + kAsciiCopySlack, 1));
    reader->encoding_ = defaultEncoding();
    if (reader->buffer_ == nullptr || reader->encoding_ == nullptr) {
        reader->release();
        return kErrNoMemory;
    }
    reader->noteEncoding();
    if (stream != nullptr) {
        stream->retain();
        reader->stream_ = stream;
    }
    holder->adopt(reader);
    return kResultOk;
}

XpTextReader::~XpTextReader() {
    if (stream_) stream_->release();
    releaseEncoding(encoding_);
    std::free(buffer_);
}

ResultCode XpTextReader::reset() noexcept {
    if (stream_) {
        stream_->release();
        stream_ = nullptr;
    }
    readPos_ = endPos_ = kTextReaderHeadroom;
    spare_ = 0;
    pending_ = 0;
    flags_ &= 1u;
    carriageReturnLines_ = afterCarriageReturn_ = false;
    held_.clear();
    heldPos_ = 0;
    return kResultOk;
}

void XpTextReader::noteEncoding() noexcept {
    if (encoding_->passThroughKind() == 0)
        flags_ |= 1u;
    else
        flags_ &= ~1u;
    // Decode the 128 ASCII bytes once: when each comes out as itself the fast
    // line path may copy them without the encoding.
    asciiTransparent_ = false;
    if (encoding_->minBytesPerChar() != 1) return;
    uint8_t bytes[128];
    char16_t units[128];
    for (uint32_t i = 0; i < 128; ++i) bytes[i] = uint8_t(i);
    uint32_t size = 128;
    uint32_t count = 128;
    if (encoding_->decodeToUtf16(bytes, &size, units, &count) != kResultOk || size != 128 || count != 128) return;
    for (uint32_t i = 0; i < 128; ++i)
        if (units[i] != i) return;
    asciiTransparent_ = true;
}

ResultCode XpTextReader::setEncoding(uint32_t codePage) noexcept {
    if (encoding_ != nullptr && encoding_->codePage() == codePage) return kResultOk;
    charenc* next = nullptr;
    const ResultCode rc = getEncoding(codePage, &next);
    if (rc != kResultOk) return rc;
    if (!replaceEncoding(&encoding_, next)) releaseEncoding(next);
    noteEncoding();
    return kResultOk;
}

// Fill rules:
// - at least `bytes` bytes are made available at the read position; before
//   the stream is asked, the unread bytes (fewer than asked for) move back
//   to the headroom's end, so every read has most of the block to fill;
// - the stream is asked for the missing bytes at least and the free space at
//   most; a short read reports what the stream reported.
ResultCode XpTextReader::fill(uint32_t bytes) noexcept {
    if (readPos_ > endPos_ || stream_ == nullptr || buffer_ == nullptr) return 258;  // "Invalid state"
    if (bytes > kTextReaderMaxFill) return kErrDataLimit;
    const uint32_t available = endPos_ - readPos_;
    if (available >= bytes) return kResultOk;
    if (readPos_ != kTextReaderHeadroom) {
        std::memmove(buffer_ + kTextReaderHeadroom, buffer_ + readPos_, available);
        readPos_ = kTextReaderHeadroom;
        endPos_ = kTextReaderHeadroom + available;
    }
    size_t got = 0;
    const ResultCode rc =
        stream_->read(buffer_ + endPos_, bytes - available, kTextReaderBufferSize - endPos_, &got);
    endPos_ += uint32_t(got);
    return endPos_ - readPos_ >= bytes ? kResultOk : rc;
}

// Marks: EF BB BF (UTF-8), FF FE 00 00 (UTF-32LE) before FF FE (UTF-16LE),
// FE FF (UTF-16BE), 00 00 FE FF (UTF-32BE). Without a mark the caller's code
// page stands when bytes are there and none of the first four is zero.
ResultCode XpTextReader::detectEncoding(uint32_t* codePage) noexcept {
    if (codePage == nullptr) return kErrInvalidArgument;
    if (buffer_ == nullptr) return 258;
    const ResultCode fillResult = fill(4);
    const uint32_t available = endPos_ - readPos_;
    const uint8_t* b = buffer_ + readPos_;
    auto consume = [&](uint32_t n, uint32_t page) {
        readPos_ += n;
        *codePage = page;
        return kResultOk;
    };
    if (available >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) return consume(3, kCodePageUtf8);
    if (available >= 2 && b[0] == 0xFF && b[1] == 0xFE) {
        if (available >= 4 && b[2] == 0 && b[3] == 0) return consume(4, 12000);
        return consume(2, 1200);
    }
    if (available >= 2 && b[0] == 0xFE && b[1] == 0xFF) return consume(2, 1201);
    if (available >= 4 && b[0] == 0 && b[1] == 0 && b[2] == 0xFE && b[3] == 0xFF) return consume(4, 12001);
    bool zero = false;
    for (uint32_t i = 0; i < available && i < 4; ++i) zero = zero || b[i] == 0;
    if (available > 0 && !zero) {
        if (*codePage == 0xFFFFFFFEu) *codePage = 0;
        return kResultOk;
    }
    if (*codePage == 0xFFFFFFFEu) *codePage = 0xFFFFFFFFu;
    return fillResult;
}

ResultCode XpTextReader::checkEncoding(uint32_t defaultCodePage) noexcept {
    uint32_t page = defaultCodePage;
    const ResultCode rc = detectEncoding(&page);
    if (rc != kResultOk) return rc;
    return setEncoding(page);
}

// The character at the read position and its length in bytes, left where
// it is.
ResultCode XpTextReader::peekCharacter(char32_t* c, uint32_t* length) noexcept {
    if (endPos_ <= readPos_) {
        const ResultCode rc = fill(1);
        if (rc != kResultOk) return rc;
    }
    *length = encoding_->sequenceLength(buffer_[readPos_]);
    if (*length == 0) *length = 1;
    if (*length > 1) {
        const ResultCode rc = fill(*length);
        if (rc != kResultOk) return rc;
    }
    uint32_t size = *length;
    uint32_t count = 1;
    const ResultCode rc = encoding_->decodeToUtf32(buffer_ + readPos_, &size, c, &count);
    if (rc != kResultOk) return rc;
    if (count == 0) return kErrIncompleteInput;
    return kResultOk;
}

// One character: a failure to decode leaves the read position where it is,
// so the same failure shows again on every later read.
ResultCode XpTextReader::readCharacter(char32_t* c) noexcept {
    uint32_t length = 0;
    const ResultCode rc = peekCharacter(c, &length);
    if (rc == kResultOk) readPos_ += length;
    return rc;
}

ResultCode XpTextReader::readUnit(char16_t* unit) noexcept {
    if (unit == nullptr) return kErrInvalidArgument;
    // Held text was read before an owed low surrogate, so it goes first.
    if (heldPos_ < held_.length()) {
        *unit = held_.data()[heldPos_++];
        return kResultOk;
    }
    if (pending_ != 0) {
        *unit = pending_;
        pending_ = 0;
        return kResultOk;
    }
    char32_t c = 0;
    const ResultCode rc = readCharacter(&c);
    if (rc != kResultOk) return rc;
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
        *unit = kReplacement;
        return kErrIllegalSequence;
    }
    if (c > 0xFFFF) {
        *unit = char16_t((((c - 0x10000) >> 10) & 0x3FF) | 0xD800);
        pending_ = char16_t((c & 0x3FF) | 0xDC00);
        return kResultOk;
    }
    *unit = char16_t(c);
    return kResultOk;
}

ResultCode XpTextReader::unreadUnit(char16_t unit) noexcept {
    const uint32_t length = encoding_->encodedLengthFromUtf16(&unit, 1);
    if (readPos_ < length) return kErrNoBufferSpace;
    readPos_ -= length;
    uint32_t count = 1;
    uint32_t size = length;
    return encoding_->encodeFromUtf16(&unit, &count, buffer_ + readPos_, &size);
}

ResultCode XpTextReader::readLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept {
    line.clear();
    if (maxUnits == 0) return kResultOk;
    if (readBufferedAsciiLine(line, maxUnits, terminator)) return kResultOk;
    ResultCode rc = kResultOk;
    if (carriageReturnLines_)
        rc = readCarriageReturnLine(line, maxUnits, terminator);
    else
        rc = terminator != 0 ? readUntilTerminator(line, maxUnits, terminator) : readBlock(line, maxUnits);
    return line.length() > 0 ? kResultOk : rc;
}

// The usual line: all of it, terminator included, already buffered and
// ASCII. It is copied in one pass; anything else is left to the general path
// (which then finds the line empty and the read position unmoved).
bool XpTextReader::readBufferedAsciiLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept {
    if (!asciiTransparent_ || pending_ != 0 || carriageReturnLines_ || terminator == 0 || terminator >= 0x80)
        return false;
    const uint32_t available = endPos_ - readPos_;
    const uint32_t limit = std::min(available, maxUnits);
    if (line.reserve(limit + kAsciiCopySlack) != kResultOk) return false;
    bool ended = false;
    const uint32_t span = copyAsciiLine(buffer_ + readPos_, limit, line.data(), uint8_t(terminator), &ended);
    if (!ended) return false;
    line.setLength(span);
    readPos_ += span;
    return true;
}

ResultCode XpTextReader::useCarriageReturnLines(const char16_t* held, uint32_t count) noexcept {
    XpString16 text;
    if (count > 0) {
        const ResultCode rc = text.assign(held, count);
        if (rc != kResultOk) return rc;
    }
    held_ = std::move(text);
    heldPos_ = 0;
    carriageReturnLines_ = true;
    afterCarriageReturn_ = true;
    return kResultOk;
}

bool XpTextReader::hasMoreInput() noexcept {
    if (heldPos_ < held_.length() || pending_ != 0) return true;
    char32_t c = 0;
    uint32_t length = 0;
    return peekCharacter(&c, &length) == kResultOk;
}

ResultCode XpTextReader::bufferedBytes(const uint8_t** bytes, uint32_t* count, bool more) noexcept {
    if (bytes == nullptr || count == nullptr) return kErrInvalidArgument;
    *bytes = nullptr;
    *count = 0;
    if (buffer_ == nullptr || stream_ == nullptr || readPos_ > endPos_ || pending_ != 0 ||
        heldPos_ < held_.length() || carriageReturnLines_)
        return 258;  // "Invalid state"
    ResultCode rc = kResultOk;
    if (more || endPos_ == readPos_) {
        // Units put back into the headroom stay where they are: moving them
        // up could push the block's end past the buffer.
        const uint32_t available = endPos_ - readPos_;
        if (readPos_ > kTextReaderHeadroom) {
            std::memmove(buffer_ + kTextReaderHeadroom, buffer_ + readPos_, available);
            readPos_ = kTextReaderHeadroom;
            endPos_ = kTextReaderHeadroom + available;
        }
        if (endPos_ < kTextReaderBufferSize) {
            size_t got = 0;
            rc = stream_->read(buffer_ + endPos_, 1, kTextReaderBufferSize - endPos_, &got);
            endPos_ += uint32_t(got);
        }
    }
    *bytes = buffer_ + readPos_;
    *count = endPos_ - readPos_;
    return *count > 0 ? kResultOk : rc;
}

void XpTextReader::skipBytes(uint32_t count) noexcept {
    const uint32_t available = endPos_ - readPos_;
    readPos_ += std::min(count, available);
}

void XpTextReader::giveBack(char16_t unit, bool owed) noexcept {
    if (owed) {
        pending_ = unit;
    } else if (pending_ != 0) {
        const char16_t pair[2] = {unit, pending_};
        readPos_ -= encoding_->encodedLengthFromUtf16(pair, 2);
        pending_ = 0;
    } else {
        (void)unreadUnit(unit);
    }
}

// Old Mac text is rare, so it is read unit by unit, held text first.
ResultCode XpTextReader::readCarriageReturnLine(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept {
    const char16_t end = terminator == u'\n' ? u'\r' : terminator;
    while (line.length() < maxUnits) {
        const bool fromHeld = heldPos_ < held_.length();
        const bool owed = !fromHeld && pending_ != 0;
        char16_t unit = 0;
        ResultCode rc = readUnit(&unit);
        if (rc != kResultOk) return rc;
        const bool pairedLineFeed = afterCarriageReturn_ && unit == u'\n';
        afterCarriageReturn_ = false;
        if (pairedLineFeed) continue;
        rc = line.appendUnit(unit);
        if (rc != kResultOk) {
            if (fromHeld)
                --heldPos_;
            else
                giveBack(unit, owed);
            return rc;
        }
        if (end != 0 && unit == end) {
            afterCarriageReturn_ = unit == u'\r';
            return kResultOk;
        }
    }
    return kResultOk;
}

XpTextReader::AsciiRun XpTextReader::copyAsciiRun(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept {
    uint32_t room = maxUnits - line.length();
    const uint32_t available = endPos_ - readPos_;
    room = std::min(room, available);
    if (room == 0 || line.grow(room + kAsciiCopySlack) != kResultOk) return AsciiRun::kNoRoom;
    // The run ends after the terminator, before the first byte of 0x80 or
    // more, or at the room; a terminator outside ASCII never ends it, and
    // 0x80 (no ASCII byte) stands for it.
    const uint8_t stop = terminator < 0x80 ? uint8_t(terminator) : uint8_t(0x80);
    bool ended = false;
    const uint32_t n = copyAsciiLine(buffer_ + readPos_, room, line.end(), stop, &ended);
    readPos_ += n;
    line.commitAppended(n);
    return ended ? AsciiRun::kEnded : AsciiRun::kCopied;
}

// Reading up to the terminator: each unit is appended; the terminator ends
// the line and stays in it; maxUnits units end it without one. Buffered ASCII
// runs of an ASCII-transparent encoding are copied in one pass with exactly
// the same result as unit by unit; when the line cannot grow for a run, the
// unit path takes over and reports the failure.
// A unit that cannot be appended goes back: an owed low surrogate stays owed,
// and a high surrogate takes its whole character back with it, so nothing is
// lost or decoded twice.
ResultCode XpTextReader::readUntilTerminator(XpString16& line, uint32_t maxUnits, char16_t terminator) noexcept {
    while (line.length() < maxUnits) {
        if (asciiTransparent_ && pending_ == 0 && endPos_ > readPos_ && buffer_[readPos_] < 0x80) {
            const AsciiRun run = copyAsciiRun(line, maxUnits, terminator);
            if (run == AsciiRun::kEnded) return kResultOk;
            if (run == AsciiRun::kCopied) continue;
        }
        const bool owed = pending_ != 0;
        char16_t unit = 0;
        ResultCode rc = readUnit(&unit);
        if (rc != kResultOk) return rc;
        rc = line.appendUnit(unit);
        if (rc != kResultOk) {
            giveBack(unit, owed);
            return rc;
        }
        if (unit == terminator) return kResultOk;
    }
    return kResultOk;
}

// Reading without a terminator: decode whole buffers into the line's
// reserved end, at most 4,096 units at a time.
ResultCode XpTextReader::readBlock(XpString16& line, uint32_t maxUnits) noexcept {
    while (line.length() < maxUnits) {
        ResultCode rc = kResultOk;
        if (endPos_ <= readPos_) {
            rc = fill(1);
            if (rc != kResultOk) return rc;
        }
        uint32_t room = maxUnits - line.length();
        room = std::min(room, 4096u);
        rc = line.grow(room);
        if (rc != kResultOk) return rc;
        uint32_t size = endPos_ - readPos_;
        uint32_t count = room;
        rc = encoding_->decodeToUtf16(buffer_ + readPos_, &size, line.end(), &count);
        line.commitAppended(count);
        readPos_ += size;
        if (rc == kErrNoBufferSpace) return rc;
        if (rc == kErrIllegalSequence) {
            if (count == 0) return rc;
            continue;
        }
        if (rc == kErrIncompleteInput) {
            // The rest of a sequence is missing. Should the decoder still
            // lack bytes although the sequence's length is buffered, one byte
            // more is asked for, so that every round reads more or stops.
            const uint32_t available = endPos_ - readPos_;
            uint32_t need = available > 0 ? encoding_->sequenceLength(buffer_[readPos_]) : 1;
            if (need <= available) need = available + 1;
            const ResultCode filled = fill(need);
            if (filled != kResultOk) return filled;
            continue;
        }
        if (rc != kResultOk) return rc;
        // Nothing produced: fewer bytes than one unit are buffered (a stream
        // may hand over an odd number of UTF-16 bytes). One byte more is
        // asked for; when none comes the input ends incomplete.
        if (count == 0 && fill(endPos_ - readPos_ + 1) != kResultOk) return kErrIncompleteInput;
    }
    return kResultOk;
}

ResultCode openTextReader(const char* path, XpHolder<XpTextReader>* out) noexcept {
    if (out == nullptr) return kErrInvalidArgument;
    out->reset();
    XpHolder<XpFileStream> stream;
    ResultCode rc = XpFileStream::create(&stream);
    if (rc != kResultOk) return rc;
    rc = stream->open(path, kStreamModeReadInput);
    if (rc != kResultOk) return rc;
    XpHolder<XpTextReader> reader;
    rc = XpTextReader::create(&reader, stream.get());
    if (rc != kResultOk) return rc;
    // A terminal types in the OEM code page.
    if (stream->isConsole()) (void)reader->setEncoding(1);
    *out = std::move(reader);
    return kResultOk;
}
