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
//   text (or writer) writes nothing. A failed write is kept by the writer.
// - writeTenths writes a count of tenths as a decimal ("12.5", "12" for 120).
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/text_writer.h"

void writeMarkupText(XpTextWriter* writer, const char* text, uint32_t length = kTextToTerminator) noexcept;
void writeMarkupText(XpTextWriter* writer, const char16_t* text, uint32_t length = kTextToTerminator) noexcept;
void writeTenths(XpTextWriter* writer, int64_t value) noexcept;
