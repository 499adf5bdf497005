// The import formats: each format's signatures and binding table, then the
// table of rows that declares every format in one place. A new format is one
// more row here, with its binding table beside it.
#include "import/import_formats.h"

#include "foundation/sorted_tables.h"
#include "foundation/strings.h"
#include "import/csv_importer.h"
#include "import/field_handlers.h"
#include "import/tagged_importers.h"

namespace {

// Binding tables are searched by findFieldHandler's binary search, which needs
// case-blind order. In the tagged tables the start tags stand too, reached
// only by a start tag spelled in another letter case.

// Varo (CSV): the program's own export, with or without its "Use" column.
constexpr const char* kVroCsvSignatures[] = {
    "Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL",
    "Use,Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL,GSRank",
};
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

// ISI/WoS (tagged).
constexpr const char* kIsiTaggedSignatures[] = {"FN "};
constexpr VroFieldBinding kIsiTaggedTags[] = {
    {"AB", setAbstract},  {"AU", addAuthorName}, {"BP", setStartPage}, {"DI", setDoi},
    {"DT", setType},      {"EP", setEndPage},    {"IS", setIssue},     {"PT", setType},
    {"PU", setPublisher}, {"PY", setYear},       {"SN", setIssn},      {"SO", setSource},
    {"TC", setCites},     {"TI", setTitle},      {"UR", setArticleUrl}, {"VL", setVolume},
};
static_assert(isStrictlyAscending(kIsiTaggedTags, fieldKeyBefore));

// RIS/RefManager: two blanks before the hyphen.
constexpr const char* kRisSignatures[] = {"TY  -"};
constexpr VroFieldBinding kRisTaggedTags[] = {
    {"A1", addAuthorName}, {"AB", setAbstract},    {"AU", addAuthorName}, {"DO", setDoi},
    {"EP", setEndPage},    {"IS", setIssue},       {"JF", setSource},     {"JO", setSource},
    {"M1", setCitesNote},  {"M3", setTypeText},    {"N1", setCitedByNote}, {"N2", setAbstract},
    {"PB", setPublisher},  {"PY", setYear},        {"SN", setIssn},       {"SP", setStartPage},
    {"T1", setTitle},      {"T2", setSource},      {"TI", setTitle},      {"TY", setType},
    {"UR", setArticleUrl}, {"VL", setVolume},      {"Y1", setYear},
};
static_assert(isStrictlyAscending(kRisTaggedTags, fieldKeyBefore));

// ISI/WoS (tab-delimited).
constexpr const char* kIsiCsvSignatures[] = {"PT\tAU\t"};
constexpr VroFieldBinding kIsiCsvColumns[] = {
    {"AB", setAbstract}, {"AU", setSemicolonAuthors}, {"BP", setStartPage}, {"DI", setDoi},
    {"DT", setType},     {"EP", setEndPage},          {"IS", setIssue},     {"PT", setType},
    {"PU", setPublisher}, {"PY", setYear},            {"SN", setIssn},      {"SO", setSource},
    {"TC", setCites},    {"TI", setTitle},            {"VL", setVolume},
};
static_assert(isStrictlyAscending(kIsiCsvColumns, fieldKeyBefore));

// Scopus (CSV): the default column choices of three export generations.
constexpr const char* kScopusSignatures[] = {
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,Link",
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,DOI,Link,"
    "Document Type,Source,EID",
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,DOI,Link,"
    "Document Type,Access Type,Source,EID",
};
constexpr VroFieldBinding kScopusCsvColumns[] = {
    {"Abstract", setAbstract},   {"Authors", setScopusAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},               {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},       {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},  {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},         {"Year", setYear},
};
static_assert(isStrictlyAscending(kScopusCsvColumns, fieldKeyBefore));

// Google (CSV).
constexpr const char* kGScholarSignatures[] = {"Authors,Title,Publication,Volume,Number,Pages,Year,Publisher"};
constexpr VroFieldBinding kGScholarCsvColumns[] = {
    {"Authors", setSemicolonAuthors}, {"Number", setIssue},   {"Pages", setPages},   {"Publication", setSource},
    {"Publisher", setPublisher},      {"Title", setTitle},    {"Volume", setVolume}, {"Year", setYear},
};
static_assert(isStrictlyAscending(kGScholarCsvColumns, fieldKeyBefore));

// EndNote (Show All Fields): with the trailing blank.
constexpr const char* kEndNoteSafSignatures[] = {"Reference Type: "};
constexpr VroFieldBinding kEndNoteSafTags[] = {
    {"Abstract", setAbstract},   {"Author", addAuthorsText},       {"Book Title", setSource},
    {"DOI", setDoi},             {"ISSN", setIssn},                {"Issue", setIssue},
    {"Journal", setSource},      {"Pages", setPages},              {"Publisher", setPublisher},
    {"Reference Type", setType}, {"Title", setTitle},              {"URL", setArticleUrl},
    {"Volume", setVolume},       {"Year", setYear},
};
static_assert(isStrictlyAscending(kEndNoteSafTags, fieldKeyBefore));

// EndNote (tagged). Its table is deliberately NOT sorted: "%@" stands first
// (below "%0" in code order) and "%X" before "%V". The binary search
// therefore never finds "%@" (ISSN) or "%V" (volume), and EndNote tagged
// exports yield neither. Imports of this format have always behaved so; keep
// the order and the search as they are.
constexpr const char* kEndNoteTaggedSignatures[] = {"%0 "};
constexpr VroFieldBinding kEndNoteTaggedTags[] = {
    {"%@", setIssn},   {"%0", setType},      {"%1", setCitesNote}, {"%A", addAuthorName}, {"%B", setSource},
    {"%D", setYear},   {"%I", setPublisher}, {"%J", setSource},    {"%N", setIssue},      {"%P", setPages},
    {"%R", setDoi},    {"%T", setTitle},     {"%U", setArticleUrl}, {"%X", setAbstract},  {"%V", setVolume},
};
static_assert(!isStrictlyAscending(kEndNoteTaggedTags, fieldKeyBefore));

// Scopus (CSV) known by its columns rather than its exact header, for the
// exports with any column choice and order, quoted or not: the line is split
// as the CSV importer splits it and whole titles are compared. "Authors" must
// come first and the others be among the rest. Authors may come as a "; "
// list, and quoted values may hold line feeds.
constexpr const char* kScopusRequiredColumns[] = {"Title", "Year", "Source title"};
ResultCode probeScopusColumns(const XpString16& line, bool* accepted) noexcept {
    XpString16 copy;
    if (copy.assign(line) != kResultOk) return kErrNoMemory;
    char16_t* fields[kMaxCsvFields];
    const uint32_t count = splitCsvLine(copy.data(), u',', fields, kMaxCsvFields);
    if (count == 0 || compareFieldKey(fields[0], "Authors") != 0) return kResultOk;
    for (const char* column : kScopusRequiredColumns) {
        uint32_t i = 1;
        while (i < count && compareFieldKey(fields[i], column) != 0) ++i;
        if (i == count) return kResultOk;
    }
    *accepted = true;
    return kResultOk;
}
constexpr VroFieldBinding kScopusColumnsCsvColumns[] = {
    {"Abstract", setAbstract},   {"Authors", setScopusListAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},                   {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},           {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},      {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},             {"Year", setYear},
};
static_assert(isStrictlyAscending(kScopusColumnsCsvColumns, fieldKeyBefore));

// The order is part of the format detection: the first row that accepts the
// first line wins and later ones are not asked. The Scopus column probe comes
// last so that it only ever takes lines no exact signature accepts.
constexpr VroImportFormat kFormatRows[] = {
    {.name = "Varo (CSV)", .code = fourCharacterCode("Vroc"), .signatures = kVroCsvSignatures,
     .read = readCsvRecords, .fields = kVroCsvColumns},
    {.name = "ISI/WoS (tagged)", .code = fourCharacterCode("IsiT"), .signatures = kIsiTaggedSignatures,
     .read = readIsiTagged, .fields = kIsiTaggedTags},
    {.name = "RIS/RefManager", .code = fourCharacterCode("RisT"), .signatures = kRisSignatures,
     .read = readRisTagged, .fields = kRisTaggedTags},
    {.name = "ISI/WoS (tab-delimited)", .code = fourCharacterCode("Isic"), .signatures = kIsiCsvSignatures,
     .read = readCsvRecords, .fields = kIsiCsvColumns, .separator = u'\t'},
    {.name = "Scopus (CSV)", .code = fourCharacterCode("Scoc"), .signatures = kScopusSignatures,
     .read = readCsvRecords, .fields = kScopusCsvColumns},
    {.name = "Google (CSV)", .code = fourCharacterCode("GSCc"), .signatures = kGScholarSignatures,
     .read = readCsvRecords, .fields = kGScholarCsvColumns},
    {.name = "EndNote (Show All Fields)", .code = fourCharacterCode("EndS"), .signatures = kEndNoteSafSignatures,
     .read = readEndNoteShowAllFields, .fields = kEndNoteSafTags},
    {.name = "EndNote (tagged)", .code = fourCharacterCode("EndT"), .signatures = kEndNoteTaggedSignatures,
     .read = readEndNoteTagged, .fields = kEndNoteTaggedTags},
    {.name = "Scopus (CSV)", .code = fourCharacterCode("Scoc"), .probe = probeScopusColumns,
     .read = readCsvRecords, .fields = kScopusColumnsCsvColumns, .joinsQuotedLines = true},
};

}  // namespace

const std::span<const VroImportFormat> kImportFormats(kFormatRows);
