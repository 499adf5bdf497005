// Field handlers: the one catalogue that turns an imported value into
// publication fields. Every binding table of every importer points here, so a
// value means the same whichever format it comes from.
//
// Contract (all handlers have the VroFieldHandler signature of
// import/importer.h and never fail; a value they cannot use is dropped):
// - Trimming removes leading and trailing codes 9-13 and 32, in place; text
//   handlers trim first and do nothing when the value is then empty.
// - "Append" adds the handler's separator first when the field already holds
//   text; "replace" makes the field the value. Text handlers set their field's
//   mask bit; setSource, setTitle, addAuthorName and setSemicolonAuthors do
//   nothing while bit 19, 20, 18 and 18 respectively is set in the mask (no
//   handler sets bits 18-20 itself). A text the publication will not keep
//   (VroPublication::keptTexts) is not stored, yet sets its bit as storing
//   it would; the Authors text is always stored.
// - Signed number handlers read the value like strtol (leading white space
//   and a sign allowed, stop at the first non-digit, no digits = 0), clamp
//   to the 32-bit range, always store, and set their bit only for values of
//   1 or more. Unsigned counts use the 64-bit unsigned conversion capped at
//   4,294,967,295 (so "-5" gives 4,294,967,295).
// - Citation invariant: setCites stores CitesCount, copies it to ECC unless
//   bit 17 is already set, then Cites = ECC. setEstimatedCites stores ECC
//   (also 0); a non-zero estimate sets bit 17 and Cites = ECC. The note
//   handlers set CitesCount, ECC and Cites together.
// - The publication's kStatusCountGiven bit is set by setCites and
//   setEstimatedCites whatever the value (an empty count cell still says the
//   export carries counts), and by the note handlers when the note held a
//   count.
// - Author list handlers build their joined text in a buffer bounded by the
//   value's length plus one plus two characters per piece; longer results
//   are cut, never overflow.
#pragma once

#include <cstdint>

#include "import/importer.h"

// Trims the zero-terminated text in place: a zero is written after its last
// non-white-space unit, and the returned pointer is its first one. *length
// (optional) receives the trimmed length.
char16_t* trimValue(char16_t* text, uint32_t* length = nullptr) noexcept;

// strtol-like signed parse clamped to [INT32_MIN, INT32_MAX].
int32_t parseSignedValue(const char16_t* text) noexcept;
// strtoull-like unsigned parse, a sign allowed (negated modulo 2^64), then
// capped at 4,294,967,295.
uint32_t parseUnsignedValue(const char16_t* text) noexcept;

// Turns "before<sep>after" into "after before" (leading white space of the
// part after the last separator skipped; "before" alone when that part is
// empty; no blank when "before" is empty). Without the separator the name is
// copied as it is. Writes at most outCapacity - 1 units plus a terminator to
// out and returns the units written.
uint32_t reverseName(const char16_t* name, uint32_t length, char16_t separator, char16_t* out,
                     uint32_t outCapacity) noexcept;

void ignoreField(VroPublication& pub, char16_t* value, uint32_t& mask);
void setAbstract(VroPublication& pub, char16_t* value, uint32_t& mask);
void setArticleUrl(VroPublication& pub, char16_t* value, uint32_t& mask);
void addAuthorsText(VroPublication& pub, char16_t* value, uint32_t& mask);
void setCitationUrl(VroPublication& pub, char16_t* value, uint32_t& mask);
void setCitesUrl(VroPublication& pub, char16_t* value, uint32_t& mask);
void setDoi(VroPublication& pub, char16_t* value, uint32_t& mask);
void setIssn(VroPublication& pub, char16_t* value, uint32_t& mask);
void setPublisher(VroPublication& pub, char16_t* value, uint32_t& mask);
void setSource(VroPublication& pub, char16_t* value, uint32_t& mask);
void setTitle(VroPublication& pub, char16_t* value, uint32_t& mask);
// One-character codes B, C, J, S (any case) become "Book", "Proceedings
// paper", "Journal article" and "Review"; other values are stored as given.
void setType(VroPublication& pub, char16_t* value, uint32_t& mask);
void setTypeText(VroPublication& pub, char16_t* value, uint32_t& mask);
void setRank(VroPublication& pub, char16_t* value, uint32_t& mask);
void setYear(VroPublication& pub, char16_t* value, uint32_t& mask);
void setVolume(VroPublication& pub, char16_t* value, uint32_t& mask);
void setIssue(VroPublication& pub, char16_t* value, uint32_t& mask);
void setStartPage(VroPublication& pub, char16_t* value, uint32_t& mask);
void setEndPage(VroPublication& pub, char16_t* value, uint32_t& mask);
// Use = signed value; an empty value gives 0. Sets no bit.
void setInUse(VroPublication& pub, char16_t* value, uint32_t& mask);
// "%d-%d" into StartPage and EndPage; only what the scan reached is stored.
void setPages(VroPublication& pub, char16_t* value, uint32_t& mask);
void setCites(VroPublication& pub, char16_t* value, uint32_t& mask);
void setEstimatedCites(VroPublication& pub, char16_t* value, uint32_t& mask);
// "<n> cites: <link>" notes; values starting "Query date:" (any case) are
// dropped.
void setCitesNote(VroPublication& pub, char16_t* value, uint32_t& mask);
// "... Cited By (since <year>): <n>" or "... Cited By : <n>" notes.
void setCitedByNote(VroPublication& pub, char16_t* value, uint32_t& mask);
// "... Cited by: <n>; ...", "... cited By <n> ..." or "cited By (since
// <year>) <n>" notes (letter case free).
void setCitedByCountNote(VroPublication& pub, char16_t* value, uint32_t& mask);
// The source from the first of the fields that may name it: nothing while
// the mask already has the source bit.
void setFirstSource(VroPublication& pub, char16_t* value, uint32_t& mask);
// One author per value, "Surname, Given" reversed at the comma, added to the
// author list (the importer joins the list into Authors).
void addAuthorName(VroPublication& pub, char16_t* value, uint32_t& mask);
// "Surname, Given; Surname, Given" (at most 100 pieces), appended to Authors.
void setSemicolonAuthors(VroPublication& pub, char16_t* value, uint32_t& mask);
// "Surname Initials, ..." or "Surname, Initials, ..." (at most 100 pieces),
// appended to Authors.
void setScopusAuthors(VroPublication& pub, char16_t* value, uint32_t& mask);
// Current Scopus lists: a ';' followed by white space or ending the value
// separates names ("Liu F.; Li C."). Split there (at most 100 pieces,
// trailing empty ones dropped), each piece trimmed and reversed at its last
// comma, else at its last blank, joined with ", " and appended to Authors as
// setScopusAuthors appends. A value without such a ';' goes to
// setScopusAuthors.
void setScopusListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask);
// Name lists whose names a ';' followed by white space (or ending the value)
// separates, each name as its source writes it: "Doe, Jane; Roe, R" or
// "Jane Doe; R. Roe". Every piece is trimmed; empty ones are no authors; a
// piece is turned round at its last comma. A comma that would still stand
// in a name ("van der Berg, Jr., Anna") becomes a blank, or goes before
// white space, so that no name brings a comma into Authors (which is split
// at commas). At most 100 pieces, the last keeping the rest. Appended to
// Authors as the other list handlers append.
void setListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask);
// Lists separated by '|' (or as above), names given first, so not turned
// round: every comma in a name becomes a blank or goes ("John Smith, Jr."
// gives "John Smith Jr."). A piece reading "None" or "nan" (any case for
// "nan") stands for a missing name and is no author either.
void setBarListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask);
// Authors' identifiers, appended to AuthorIds only when the publication
// keeps kTextAuthorIds (otherwise they say whether the value held text):
// Scopus "Author(s) ID" ("57193846544;57193846545;", the i-th belonging to
// the i-th name of Authors) and "Author full names" ("Traag, V.A.
// (57193846544); ..."), whichever comes first; Web of Science ORCID and
// ResearcherID lists ("Traag, Vincent/0000-0003-3170-3879; ..."), paired by
// name; OpenAlex author ids ("https://openalex.org/A5023888391|..."), the
// i-th belonging to the i-th name. They set no mask bit.
void setScopusAuthorIds(VroPublication& pub, char16_t* value, uint32_t& mask);
void setScopusFullNames(VroPublication& pub, char16_t* value, uint32_t& mask);
void setOrcidIds(VroPublication& pub, char16_t* value, uint32_t& mask);
void setResearcherIds(VroPublication& pub, char16_t* value, uint32_t& mask);
void setOpenAlexAuthorIds(VroPublication& pub, char16_t* value, uint32_t& mask);
