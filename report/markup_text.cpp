#include "report/markup_text.h"

#include "foundation/utf.h"

namespace {

// Escaped output is gathered here and handed to the writer in pieces, so a
// long title costs a few writes rather than one per character.
class EscapeBuffer {
public:
    explicit EscapeBuffer(XpTextWriter* writer) noexcept : writer_(writer) {}

    void put(char32_t c) noexcept {
        if (used_ + 8 > sizeof bytes_) flush();
        const char* entity = entityOf(c);
        if (entity) {
            while (*entity) bytes_[used_++] = *entity++;
            return;
        }
        uint32_t written = 0;
        (void)encodeUtf8CodePoint(shown(c), bytes_ + used_, uint32_t(sizeof bytes_) - used_, &written);
        used_ += written;
    }

    void finish() noexcept { flush(); }

private:
    static const char* entityOf(char32_t c) noexcept {
        switch (c) {
            case '&': return "&amp;";
            case '<': return "&lt;";
            case '>': return "&gt;";
            case '"': return "&quot;";
            case '\'': return "&#39;";
            default: return nullptr;
        }
    }

    // What a character that is no markup is shown as.
    static char32_t shown(char32_t c) noexcept {
        if (c == '\t' || c == '\n' || c == '\r') return ' ';
        if (c < 0x20) return 0x2400 + c;
        if (c == 0x7F) return 0x2421;
        if (c >= 0x80 && c <= 0x9F) return kReplacementChar;
        if (c >= 0xFDD0 && c <= 0xFDEF) return kReplacementChar;
        if ((c & 0xFFFE) == 0xFFFE) return kReplacementChar;
        return c;  // surrogates and values past U+10FFFF are encoded as U+FFFD
    }

    void flush() noexcept {
        if (used_ != 0) writer_->writeText(bytes_, used_);
        used_ = 0;
    }

    XpTextWriter* writer_;
    uint32_t used_ = 0;
    char bytes_[512];
};

}  // namespace

void writeMarkupText(XpTextWriter* writer, const char* text, uint32_t length) noexcept {
    if (!writer || !text) return;
    if (length == kTextToTerminator) length = terminatedLength(text);
    EscapeBuffer out(writer);
    uint32_t i = 0;
    while (i < length) {
        char32_t c = kReplacementChar;
        uint32_t consumed = 0;
        (void)decodeUtf8Char(text + i, length - i, &c, &consumed);
        if (consumed == 0) {  // a sequence cut off at the end
            c = kReplacementChar;
            consumed = length - i;
        }
        out.put(c);
        i += consumed;
    }
    out.finish();
}

void writeMarkupText(XpTextWriter* writer, const char16_t* text, uint32_t length) noexcept {
    if (!writer || !text) return;
    if (length == kTextToTerminator) length = terminatedLength(text);
    EscapeBuffer out(writer);
    for (uint32_t i = 0; i < length; ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (char32_t(text[i + 1]) - 0xDC00);
            ++i;
        }
        out.put(c);  // an unpaired surrogate is shown as U+FFFD
    }
    out.finish();
}

void writeTenths(XpTextWriter* writer, int64_t value) noexcept {
    const char* sign = value < 0 ? "-" : "";
    const uint64_t magnitude = value < 0 ? uint64_t(0) - uint64_t(value) : uint64_t(value);
    if (magnitude % 10 == 0)
        writerPrintf(writer, "%s%llu", sign, (unsigned long long)(magnitude / 10));
    else
        writerPrintf(writer, "%s%llu.%u", sign, (unsigned long long)(magnitude / 10), unsigned(magnitude % 10));
}
