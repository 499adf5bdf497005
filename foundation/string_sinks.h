// String sinks: the output side of the formatting engine.
//
// Contract: tsr_writer is the abstract sink through which the printf engine
// delivers its output. Its operations, in slot order: destructor;
// writeFill(byte, count) writes one narrow character count times;
// writeText32, writeText16 and writeText16Alt (a second UTF-16 entry that
// every sink here serves exactly as writeText16); writeText (narrow UTF-8).
// Each returns a result code; 0 means everything was delivered. Counts are in
// units of the text's width; kUnitsToTerminator (foundation/utf.h) means up
// to the terminating zero, which is not written.
//
// The derived sinks:
// - str_writer writes into a fixed narrow buffer, never past its limit,
//   always leaving a zero at its cursor; text that does not fit is cut and
//   every operation returns 0.
// - strbuf_writer appends to a narrow framework string it does not own,
//   converting UTF-16 and UTF-32 text to UTF-8 on the way, and returns the
//   append's code (85 or 537 from a conversion leave the converted text in
//   place); without a target it returns 22.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

class XpString;

class tsr_writer {
public:
    virtual ~tsr_writer() = default;

    virtual ResultCode writeFill(char byte, uint32_t count) noexcept = 0;
    virtual ResultCode writeText32(const char32_t* text, uint32_t count) noexcept = 0;
    virtual ResultCode writeText16(const char16_t* text, uint32_t count) noexcept = 0;
    virtual ResultCode writeText16Alt(const char16_t* text, uint32_t count) noexcept = 0;
    virtual ResultCode writeText(const char* text, uint32_t count) noexcept = 0;
};

// Writes into the narrow buffer [start, limit], where limit is the last
// position at which the terminator may stand, so at most limit - start bytes
// of text fit. Every operation writes from the cursor, never past the limit,
// leaves a zero at the cursor, moves the cursor and returns 0:
// - writeFill writes the byte count times (cut at the limit);
// - writeText copies bytes until count or a zero byte;
// - writeText16 and writeText32 convert to UTF-8 into the room left; a
//   character whose UTF-8 form does not fit whole is left out, and so is all
//   that follows it; invalid units become EF BF BD.
// A null cursor, or one beyond the limit, writes nothing.
class str_writer final : public tsr_writer {
public:
    str_writer(char* start, char* limit) noexcept : start_(start), limit_(limit), cursor_(start) {}

    ResultCode writeFill(char byte, uint32_t count) noexcept override;
    ResultCode writeText32(const char32_t* text, uint32_t count) noexcept override;
    ResultCode writeText16(const char16_t* text, uint32_t count) noexcept override;
    ResultCode writeText16Alt(const char16_t* text, uint32_t count) noexcept override;
    ResultCode writeText(const char* text, uint32_t count) noexcept override;

    char* start() const noexcept { return start_; }
    char* limit() const noexcept { return limit_; }
    char* cursor() const noexcept { return cursor_; }
    // Bytes written so far.
    uint32_t written() const noexcept;

private:
    // Bytes that still fit before the limit; 0 when the cursor is unusable.
    uint32_t room() const noexcept;
    void terminate() noexcept;

    char* start_;
    char* limit_;
    char* cursor_;
};

// Appends to a narrow framework string; UTF-16 and UTF-32 text is converted to
// UTF-8 on the way.
class strbuf_writer final : public tsr_writer {
public:
    explicit strbuf_writer(XpString* target) noexcept : target_(target) {}

    ResultCode writeFill(char byte, uint32_t count) noexcept override;
    ResultCode writeText32(const char32_t* text, uint32_t count) noexcept override;
    ResultCode writeText16(const char16_t* text, uint32_t count) noexcept override;
    ResultCode writeText16Alt(const char16_t* text, uint32_t count) noexcept override;
    ResultCode writeText(const char* text, uint32_t count) noexcept override;

    XpString* target() const noexcept { return target_; }

private:
    XpString* target_;
};
