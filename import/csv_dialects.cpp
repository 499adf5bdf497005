#include "import/csv_dialects.h"

#include "import/field_handlers.h"

// Lookup is a binary search, so each table must stay in case-blind order.
constexpr VroFieldBinding kVroCsvColumns[21] = {
    {"Abstract", setAbstract},   {"ArticleURL", setArticleUrl}, {"Authors", addAuthorsText},
    {"CitationURL", setCitationUrl}, {"Cites", setCites},       {"CitesURL", setCitesUrl},
    {"DOI", setDoi},             {"ECC", setEstimatedCites},    {"EndPage", setEndPage},
    {"GSRank", setRank},         {"ISSN", setIssn},             {"Issue", setIssue},
    {"Publisher", setPublisher}, {"QueryDate", ignoreField},    {"Source", setSource},
    {"StartPage", setStartPage}, {"Title", setTitle},           {"Type", setType},
    {"Use", setInUse},           {"Volume", setVolume},         {"Year", setYear},
};
static_assert(fieldTableIsSorted(kVroCsvColumns, 21));

constexpr VroFieldBinding kGScholarCsvColumns[8] = {
    {"Authors", setSemicolonAuthors}, {"Number", setIssue},   {"Pages", setPages},   {"Publication", setSource},
    {"Publisher", setPublisher},      {"Title", setTitle},    {"Volume", setVolume}, {"Year", setYear},
};
static_assert(fieldTableIsSorted(kGScholarCsvColumns, 8));

constexpr VroFieldBinding kIsiCsvColumns[15] = {
    {"AB", setAbstract}, {"AU", setSemicolonAuthors}, {"BP", setStartPage}, {"DI", setDoi},
    {"DT", setType},     {"EP", setEndPage},          {"IS", setIssue},     {"PT", setType},
    {"PU", setPublisher}, {"PY", setYear},            {"SN", setIssn},      {"SO", setSource},
    {"TC", setCites},    {"TI", setTitle},            {"VL", setVolume},
};
static_assert(fieldTableIsSorted(kIsiCsvColumns, 15));

constexpr VroFieldBinding kScopusCsvColumns[15] = {
    {"Abstract", setAbstract},   {"Authors", setScopusAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},               {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},       {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},  {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},         {"Year", setYear},
};
static_assert(fieldTableIsSorted(kScopusCsvColumns, 15));

VroImportVroCsv::VroImportVroCsv() noexcept {
    configure("Varo (CSV)", makeFormatCode("Vroc"), kVroCsvColumns, 21, u',');
}
VroImportVroCsv::~VroImportVroCsv() = default;

VroImportGScholarCsv::VroImportGScholarCsv() noexcept {
    configure("Google (CSV)", makeFormatCode("GSCc"), kGScholarCsvColumns, 8, u',');
}
VroImportGScholarCsv::~VroImportGScholarCsv() = default;

VroImportIsiCsv::VroImportIsiCsv() noexcept {
    configure("ISI/WoS (tab-delimited)", makeFormatCode("Isic"), kIsiCsvColumns, 15, u'\t');
}
VroImportIsiCsv::~VroImportIsiCsv() = default;

VroImportScopusCsv::VroImportScopusCsv() noexcept {
    configure("Scopus (CSV)", makeFormatCode("Scoc"), kScopusCsvColumns, 15, u',');
}
VroImportScopusCsv::~VroImportScopusCsv() = default;
