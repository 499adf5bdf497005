#include "import/csv_dialects.h"

#include <iterator>

#include "foundation/sorted_tables.h"
#include "import/field_handlers.h"

// Lookup is a binary search, so each table must stay in case-blind order.
constexpr VroFieldBinding kVroCsvColumns[] = {
    {"Abstract", setAbstract},   {"ArticleURL", setArticleUrl}, {"Authors", addAuthorsText},
    {"CitationURL", setCitationUrl}, {"Cites", setCites},       {"CitesURL", setCitesUrl},
    {"DOI", setDoi},             {"ECC", setEstimatedCites},    {"EndPage", setEndPage},
    {"GSRank", setRank},         {"ISSN", setIssn},             {"Issue", setIssue},
    {"Publisher", setPublisher}, {"QueryDate", ignoreField},    {"Source", setSource},
    {"StartPage", setStartPage}, {"Title", setTitle},           {"Type", setType},
    {"Use", setInUse},           {"Volume", setVolume},         {"Year", setYear},
};
static_assert(isStrictlyAscending(kVroCsvColumns, fieldKeyBefore));

constexpr VroFieldBinding kGScholarCsvColumns[] = {
    {"Authors", setSemicolonAuthors}, {"Number", setIssue},   {"Pages", setPages},   {"Publication", setSource},
    {"Publisher", setPublisher},      {"Title", setTitle},    {"Volume", setVolume}, {"Year", setYear},
};
static_assert(isStrictlyAscending(kGScholarCsvColumns, fieldKeyBefore));

constexpr VroFieldBinding kIsiCsvColumns[] = {
    {"AB", setAbstract}, {"AU", setSemicolonAuthors}, {"BP", setStartPage}, {"DI", setDoi},
    {"DT", setType},     {"EP", setEndPage},          {"IS", setIssue},     {"PT", setType},
    {"PU", setPublisher}, {"PY", setYear},            {"SN", setIssn},      {"SO", setSource},
    {"TC", setCites},    {"TI", setTitle},            {"VL", setVolume},
};
static_assert(isStrictlyAscending(kIsiCsvColumns, fieldKeyBefore));

constexpr VroFieldBinding kScopusCsvColumns[] = {
    {"Abstract", setAbstract},   {"Authors", setScopusAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},               {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},       {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},  {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},         {"Year", setYear},
};
static_assert(isStrictlyAscending(kScopusCsvColumns, fieldKeyBefore));

// The Scopus table but for the author list handler.
constexpr VroFieldBinding kScopusColumnsCsvColumns[15] = {
    {"Abstract", setAbstract},   {"Authors", setScopusListAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},                   {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},           {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},      {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},             {"Year", setYear},
};
static_assert(isStrictlyAscending(kScopusColumnsCsvColumns, fieldKeyBefore));

VroImportVroCsv::VroImportVroCsv() noexcept {
    configure("Varo (CSV)", fourCharacterCode("Vroc"), kVroCsvColumns, uint32_t(std::size(kVroCsvColumns)), u',');
}
VroImportVroCsv::~VroImportVroCsv() = default;

VroImportGScholarCsv::VroImportGScholarCsv() noexcept {
    configure("Google (CSV)", fourCharacterCode("GSCc"), kGScholarCsvColumns, uint32_t(std::size(kGScholarCsvColumns)), u',');
}
VroImportGScholarCsv::~VroImportGScholarCsv() = default;

VroImportIsiCsv::VroImportIsiCsv() noexcept {
    configure("ISI/WoS (tab-delimited)", fourCharacterCode("Isic"), kIsiCsvColumns, uint32_t(std::size(kIsiCsvColumns)), u'\t');
}
VroImportIsiCsv::~VroImportIsiCsv() = default;

VroImportScopusCsv::VroImportScopusCsv() noexcept {
    configure("Scopus (CSV)", fourCharacterCode("Scoc"), kScopusCsvColumns, uint32_t(std::size(kScopusCsvColumns)), u',');
}
VroImportScopusCsv::~VroImportScopusCsv() = default;

VroImportScopusColumnsCsv::VroImportScopusColumnsCsv() noexcept {
    configure("Scopus (CSV)", fourCharacterCode("Scoc"), kScopusColumnsCsvColumns,
              uint32_t(std::size(kScopusColumnsCsvColumns)), u',');
    joinQuotedLines();
}
VroImportScopusColumnsCsv::~VroImportScopusColumnsCsv() = default;
