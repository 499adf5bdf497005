// TeX text: what a BibTeX value says, as plain characters.
//
// Contract: texToPlainText rewrites a value (its outer braces or quotes
// already gone, parts joined by '#' already concatenated) in place and
// returns its new length, with a zero written after it; the text never
// grows. In every mode:
// - braces are removed (they only group); "\{" and "\}" are the braces
//   themselves, and "\x" for any other character that is not a letter gives
//   that character ("\&" &, "\_" _, "\%" %), but "\\" and "\ " are a blank
//   and "\-" (a hyphenation point) nothing;
// - white space (codes 9-13 and 32) runs become one blank; none is left at
//   either end.
// In the modes for prose (kTexText and kTexNames) besides:
// - an accent command before a letter, with or without braces or blanks
//   ("\'e", "{\'e}", "\'{e}", "\c c", "\v{s}", "\'{\i}") is the precomposed
//   character of kTexAccents, or the letter followed by the accent's
//   combining mark when none exists;
// - a control word of kTexNamedCharacters ("\ss", "\o", "\alpha") is its
//   character; any other control word is dropped; blanks after a control
//   word go with it;
// - "--" is an en dash, "---" an em dash, '~' a blank and '$' nothing.
// In kTexNames, "and" between blanks outside braces becomes "; " (so that
// "Doe, J. and {Barnes and Noble}" gives "Doe, J.; Barnes and Noble"), and
// a last name "others" is dropped.
#pragma once

#include <cstdint>

enum class TexMode : uint8_t {
    kText,      // titles, sources, notes, numbers
    kNames,     // name lists separated by "and"
    kVerbatim,  // identifiers and links: only braces, escapes and blanks
};

// With presenceOnly the text stops after its first characters: enough to
// tell whether it holds any.
uint32_t texToPlainText(char16_t* text, uint32_t length, TexMode mode, bool presenceOnly = false) noexcept;

// A character that stands for itself in every mode: a value whose first
// character after white space is one holds text.
bool isTexPlain(char16_t c) noexcept;

// The generated tables (import/generated/tex_accents.cpp).
struct TexAccent {
    char accent;  // the command's character: ' ` ^ " ~ = . u v H c k r d b
    char base;    // an ASCII letter
    char16_t composed;
};
struct TexNamedCharacter {
    const char* name;  // the control word without its backslash
    char16_t character;
};
extern const TexAccent kTexAccents[];
extern const uint32_t kTexAccentCount;
extern const TexNamedCharacter kTexNamedCharacters[];
extern const uint32_t kTexNamedCharacterCount;
