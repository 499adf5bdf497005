// Work keys: the texts by which publications are compared when collating.
//
// Contract (every key is UTF-16, built by simple per-character mappings of
// the program's character tables, so that anyone can recompute it):
// - doiKey: the DOI trimmed of white space, ASCII letters lower-cased, one
//   leading "https://doi.org/", "http://doi.org/", "https://dx.doi.org/",
//   "http://dx.doi.org/" or "doi:" removed (any case); empty unless it then
//   starts with "10.".
// - titleKey: the title's letters and digits only (general categories L and
//   N), each lower-cased; empty when fewer than kMinTitleKeyLength
//   characters remain.
// - nameKey: an author's name as "surname i": the surname's letters only,
//   lower-cased, a blank, and the first letter of the given names. The
//   surname is what stands before a comma; without one, the last word, unless
//   the last word looks like initials (one to three capitals or letters
//   ending in a full stop, as in "Traag V.A.") and the first word does not,
//   in which case the words before the initials. "Traag, V.A.", "V.A. Traag"
//   and "Traag V." are one key. Empty for a name without letters.
// - sourceKey: the text lower-cased with runs of white space as one blank
//   and none at either end.
// Each returns false only when the key cannot be stored (no memory).
#pragma once

#include <cstdint>
#include <string>

inline constexpr uint32_t kMinTitleKeyLength = 12;

bool doiKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept;
bool titleKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept;
bool nameKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept;
bool sourceKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept;
