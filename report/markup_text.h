// Markup text: export text made safe for an HTML page, and the page's output.
//
// Contract:
// - writeMarkupText writes UTF-8 or UTF-16 text to a text writer so that no
//   character of it can act as markup, in element text and in quoted
//   attribute values alike:
//   - '&', '<', '>', '"' and '\'' become character references;
//   - tab, line feed and carriage return become one space each;
//   - the other C0 controls (U+0000 to U+001F) and DEL become their visible
//     control pictures (U+2400 + c, U+2421), so a stray control character
//     shows as a symbol instead of vanishing or breaking the page;
//   - C1 controls (U+0080 to U+009F), noncharacters (U+FDD0 to U+FDEF and the
//     last two code points of every plane), invalid UTF-8 and unpaired
//     surrogates become U+FFFD;
//   - everything else is written as it is, in UTF-8.
//   A length of kTextToTerminator means up to the terminating zero; a null
//   text writes nothing. Returns 0 or the first failing code of the writer.
// - VroMarkupStream collects the first failure of a run of writes so that a
//   page is written as a straight sequence of calls: after a failure every
//   further call does nothing, and result() gives that first code.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/text_writer.h"

[[nodiscard]] ResultCode writeMarkupText(XpTextWriter* writer, const char* text,
                                         uint32_t length = kTextToTerminator) noexcept;
[[nodiscard]] ResultCode writeMarkupText(XpTextWriter* writer, const char16_t* text,
                                         uint32_t length = kTextToTerminator) noexcept;

class VroMarkupStream {
public:
    explicit VroMarkupStream(XpTextWriter* writer) noexcept
        : writer_(writer), first_(writer ? kResultOk : kErrInvalidArgument) {}

    // Markup written as it stands.
    void raw(const char* markup) noexcept;
    void format(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));
    // Export text, escaped.
    void text(const char* utf8, uint32_t length = kTextToTerminator) noexcept;
    void text(const char16_t* utf16, uint32_t length = kTextToTerminator) noexcept;
    // A count of tenths as a decimal ("12.5", "12" for 120).
    void tenths(int64_t value) noexcept;
    // Records a failure that did not come from the writer (e.g. no memory).
    void fail(ResultCode code) noexcept;

    bool ok() const noexcept { return first_ == kResultOk; }
    ResultCode result() const noexcept { return first_; }

private:
    XpTextWriter* writer_;
    ResultCode first_;
};
