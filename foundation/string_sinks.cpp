// String sinks: a fixed narrow buffer and appending to framework strings.
#include "foundation/string_sinks.h"

#include <algorithm>
#include <cstring>

#include "foundation/strings.h"
#include "foundation/utf.h"

uint32_t str_writer::room() const noexcept {
    if (cursor_ == nullptr || cursor_ > limit_) return 0;
    const size_t left = static_cast<size_t>(limit_ - cursor_);
    return left > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(left);
}

void str_writer::terminate() noexcept {
    if (cursor_ != nullptr && cursor_ <= limit_) *cursor_ = '\0';
}

// The cursor starts at the start and only moves forward (both null when
// there is no buffer).
uint32_t str_writer::written() const noexcept { return static_cast<uint32_t>(cursor_ - start_); }

ResultCode str_writer::writeFill(char byte, uint32_t count) noexcept {
    if (cursor_ == nullptr || cursor_ > limit_) return kResultOk;
    const uint32_t room = this->room();
    const uint32_t n = std::min(count, room);
    std::memset(cursor_, static_cast<unsigned char>(byte), n);
    cursor_ += n;
    terminate();
    return kResultOk;
}

ResultCode str_writer::writeText(const char* text, uint32_t count) noexcept {
    if (cursor_ == nullptr || cursor_ > limit_) return kResultOk;
    const uint32_t room = this->room();
    uint32_t n = 0;
    if (text != nullptr)
        while (n < count && n < room && text[n] != '\0') {
            cursor_[n] = text[n];
            ++n;
        }
    cursor_ += n;
    terminate();
    return kResultOk;
}

ResultCode str_writer::writeText16(const char16_t* text, uint32_t count) noexcept {
    // No text converts to nothing, a terminated one without its terminator;
    // a missing or spent buffer has no room, and nothing is written into none.
    uint32_t units = count == kUnitsToTerminator ? terminatedLength(text) : count;
    uint32_t bytes = room();
    (void)utf16ToUtf8(text, &units, cursor_, &bytes);
    cursor_ += bytes;
    terminate();
    return kResultOk;
}

ResultCode str_writer::writeText16Alt(const char16_t* text, uint32_t count) noexcept {
    return writeText16(text, count);
}

ResultCode str_writer::writeText32(const char32_t* text, uint32_t count) noexcept {
    // No text converts to nothing, a terminated one without its terminator;
    // a missing or spent buffer has no room, and nothing is written into none.
    uint32_t units = count == kUnitsToTerminator ? terminatedLength(text) : count;
    uint32_t bytes = room();
    (void)utf32ToUtf8(text, &units, cursor_, &bytes);
    cursor_ += bytes;
    terminate();
    return kResultOk;
}

ResultCode strbuf_writer::writeFill(char byte, uint32_t count) noexcept {
    if (target_ == nullptr) return kErrInvalidArgument;
    return target_->insertFill(kXpStringAppend, byte, count);
}
ResultCode strbuf_writer::writeText32(const char32_t* text, uint32_t count) noexcept {
    if (target_ == nullptr) return kErrInvalidArgument;
    return target_->insert(kXpStringAppend, text, count);
}
ResultCode strbuf_writer::writeText16(const char16_t* text, uint32_t count) noexcept {
    if (target_ == nullptr) return kErrInvalidArgument;
    return target_->insert(kXpStringAppend, text, count);
}
ResultCode strbuf_writer::writeText16Alt(const char16_t* text, uint32_t count) noexcept {
    return writeText16(text, count);
}
ResultCode strbuf_writer::writeText(const char* text, uint32_t count) noexcept {
    if (target_ == nullptr) return kErrInvalidArgument;
    return target_->insert(kXpStringAppend, text, count);
}
