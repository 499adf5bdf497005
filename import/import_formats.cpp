// The import formats: each format's signatures and binding table, then the
// table of rows that declares every format in one place. A new format is one
// more row here, with its binding table beside it.
#include "import/import_formats.h"

#include "foundation/sorted_tables.h"
#include "foundation/strings.h"
#include "import/bibtex_importer.h"
#include "import/csv_importer.h"
#include "import/csv_layouts.h"
#include "import/field_handlers.h"
#include "import/json_importer.h"
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
    {"DT", setType},      {"EP", setEndPage},    {"IS", setIssue},     {"OI", setOrcidIds},
    {"PT", setType},      {"PU", setPublisher},  {"PY", setYear},      {"RI", setResearcherIds},
    {"SN", setIssn},      {"SO", setSource},     {"TC", setCites},     {"TI", setTitle},
    {"UR", setArticleUrl}, {"VL", setVolume},
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
    {"DT", setType},     {"EP", setEndPage},          {"IS", setIssue},     {"OI", setOrcidIds},
    {"PT", setType},     {"PU", setPublisher},        {"PY", setYear},      {"RI", setResearcherIds},
    {"SN", setIssn},     {"SO", setSource},           {"TC", setCites},     {"TI", setTitle},
    {"VL", setVolume},
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
    {"Abstract", setAbstract},   {"Author full names", setScopusFullNames}, {"Author(s) ID", setScopusAuthorIds},
    {"Authors", setScopusAuthors}, {"Cited by", setCites},
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
constexpr VroCsvHeader kScopusColumnsDescription = {.firstColumn = "Authors", .required = kScopusRequiredColumns};
constexpr VroFieldBinding kScopusColumnsCsvColumns[] = {
    {"Abstract", setAbstract},   {"Author full names", setScopusFullNames}, {"Author(s) ID", setScopusAuthorIds},
    {"Authors", setScopusListAuthors}, {"Cited by", setCites},
    {"Document Type", setType},  {"DOI", setDoi},                   {"ISSN", setIssn},
    {"Issue", setIssue},         {"Link", setArticleUrl},           {"Page end", setEndPage},
    {"Page start", setStartPage}, {"Publisher", setPublisher},      {"Source title", setSource},
    {"Title", setTitle},         {"Volume", setVolume},             {"Year", setYear},
};
static_assert(isStrictlyAscending(kScopusColumnsCsvColumns, fieldKeyBefore));

// The open sources' CSV exports and Web of Science's saved as CSV, known by
// their header's columns (import/csv_layouts.h): only the titles matter, in
// any order and number, beyond the 64th column too, separated by commas or
// semicolons. Each layout requires its count column, so a header one of
// them accepts always carries counts.
template <const VroCsvHeader& header>
ResultCode probeHeader(const XpString16& line, bool* accepted) noexcept {
    return probeCsvHeader(line, header, accepted);
}

// OpenAlex (CSV): the web interface's export, one column per field of the
// work object as a dotted path (169 to 172 columns, order changing), names
// given first and separated by '|'; the later layout with plain titles
// ("Work ID", "Year", "Citation count") is known by the same columns.
constexpr const char* kOpenAlexRequired[] = {"id|Work ID", "publication_year|Year", "title|display_name"};
constexpr const char* kOpenAlexPreferred[] = {"title|display_name"};
constexpr VroCsvHeader kOpenAlexHeader = {.required = kOpenAlexRequired,
                                          .counts = "cited_by_count|Citation count",
                                          .preferred = kOpenAlexPreferred,
                                          .utf8WithoutMark = true};
constexpr VroFieldBinding kOpenAlexCsvColumns[] = {
    {"abstract", setAbstract},
    {"Author", setBarListAuthors},
    {"authorships.author.display_name", setBarListAuthors},
    {"authorships.author.id", setOpenAlexAuthorIds},
    {"biblio.first_page", setStartPage},
    {"biblio.issue", setIssue},
    {"biblio.last_page", setEndPage},
    {"biblio.volume", setVolume},
    {"Citation count", setCites},
    {"cited_by_count", setCites},
    {"display_name", setTitle},
    {"doi", setDoi},
    {"primary_location.source.display_name", setSource},
    {"primary_location.source.host_organization_name", setPublisher},
    {"primary_location.source.issn_l", setIssn},
    {"publication_year", setYear},
    {"Source", setSource},
    {"title", setTitle},
    {"type", setType},
    {"Year", setYear},
};
static_assert(isStrictlyAscending(kOpenAlexCsvColumns, fieldKeyBefore));

// Dimensions (CSV): a notice line "About the data: ..." (quoted, padded with
// commas) before the header, or the header alone; names "Surname, Given".
constexpr const char* kDimensionsRequired[] = {"Publication ID"};
constexpr VroCsvHeader kDimensionsHeader = {.notice = "About the data:",
                                            .required = kDimensionsRequired,
                                            .counts = "Times cited",
                                            .utf8WithoutMark = true};
constexpr VroFieldBinding kDimensionsCsvColumns[] = {
    {"Abstract", setAbstract},        {"Authors", setListAuthors}, {"DOI", setDoi},
    {"Issue", setIssue},              {"Pagination", setPages},    {"Publication Type", setType},
    {"Publisher", setPublisher},      {"PubYear", setYear},        {"Source title", setSource},
    {"Times cited", setCites},        {"Title", setTitle},         {"Volume", setVolume},
};
static_assert(isStrictlyAscending(kDimensionsCsvColumns, fieldKeyBefore));

// Lens (CSV): scholarly works; names given first. Older exports call the
// count "Scholarly Citation Count".
constexpr VroCsvHeader kLensHeader = {.firstColumn = "Lens ID",
                                      .counts = "Citing Works Count|Scholarly Citation Count",
                                      .utf8WithoutMark = true};
constexpr VroFieldBinding kLensCsvColumns[] = {
    {"Abstract", setAbstract},
    {"Author/s", setListAuthors},
    {"Citing Works Count", setCites},
    {"DOI", setDoi},
    {"End Page", setEndPage},
    {"ISSNs", setIssn},
    {"Issue Number", setIssue},
    {"Publication Type", setType},
    {"Publication Year", setYear},
    {"Publisher", setPublisher},
    {"Scholarly Citation Count", setCites},
    {"Source Title", setSource},
    {"Start Page", setStartPage},
    {"Title", setTitle},
    {"Volume", setVolume},
};
static_assert(isStrictlyAscending(kLensCsvColumns, fieldKeyBefore));

// IEEE Xplore (CSV): every value quoted; names given first.
constexpr VroCsvHeader kIeeeHeader = {.firstColumn = "Document Title",
                                      .counts = "Article Citation Count",
                                      .utf8WithoutMark = true};
constexpr VroFieldBinding kIeeeCsvColumns[] = {
    {"Abstract", setAbstract},
    {"Article Citation Count", setCites},
    {"Authors", setListAuthors},
    {"Document Identifier", setTypeText},
    {"Document Title", setTitle},
    {"DOI", setDoi},
    {"End Page", setEndPage},
    {"ISSN", setIssn},
    {"Issue", setIssue},
    {"Publication Title", setSource},
    {"Publication Year", setYear},
    {"Publisher", setPublisher},
    {"Start Page", setStartPage},
    {"Volume", setVolume},
};
static_assert(isStrictlyAscending(kIeeeCsvColumns, fieldKeyBefore));

// ISI/WoS (CSV): Web of Science's Excel export (or its citation report, or
// its tab-delimited export) saved as CSV by a spreadsheet, with commas or
// semicolons; names "Surname, Initials". The count is the Core Collection's
// when the file has it, as TC is in the other Web of Science layouts (older
// exports call it "Times Cited"); the citation report's yearly columns are
// not bound.
constexpr const char* kWosCsvRequired[] = {"Article Title|Title|TI", "Publication Year|PY"};
constexpr const char* kWosCsvPreferred[] = {"Article Title|Title|TI", "Authors|AU"};
constexpr VroCsvHeader kWosCsvHeader = {
    .required = kWosCsvRequired,
    .counts = "Times Cited, WoS Core|TC|Times Cited|Times Cited, All Databases|Z9|Total Citations",
    .preferred = kWosCsvPreferred};
constexpr VroFieldBinding kWosCsvColumns[] = {
    {"AB", setAbstract},
    {"Abstract", setAbstract},
    {"Article Title", setTitle},
    {"AU", setListAuthors},
    {"Authors", setListAuthors},
    {"Beginning Page", setStartPage},
    {"BP", setStartPage},
    {"DI", setDoi},
    {"Document Type", setType},
    {"DOI", setDoi},
    {"DT", setType},
    {"End Page", setEndPage},
    {"Ending Page", setEndPage},
    {"EP", setEndPage},
    {"IS", setIssue},
    {"ISSN", setIssn},
    {"Issue", setIssue},
    {"OI", setOrcidIds},
    {"ORCIDs", setOrcidIds},
    {"PT", setType},
    {"PU", setPublisher},
    {"Publication Type", setType},
    {"Publication Year", setYear},
    {"Publisher", setPublisher},
    {"PY", setYear},
    {"Researcher Ids", setResearcherIds},
    {"RI", setResearcherIds},
    {"SN", setIssn},
    {"SO", setSource},
    {"Source Title", setSource},
    {"Start Page", setStartPage},
    {"TC", setCites},
    {"TI", setTitle},
    {"Times Cited", setCites},
    {"Times Cited, All Databases", setCites},
    {"Times Cited, WoS Core", setCites},
    {"Title", setTitle},
    {"Total Citations", setCites},
    {"VL", setVolume},
    {"Volume", setVolume},
    {"Z9", setCites},
};
static_assert(isStrictlyAscending(kWosCsvColumns, fieldKeyBefore));

// BibTeX: entries of any source, the field names compared without regard to
// case. Scopus keeps its counts in note ("Cited by: N; ..." or "cited By
// N"), Web of Science in Times-Cited; the source is journal, else booktitle.
constexpr VroFieldBinding kBibTeXFields[] = {
    {"abstract", setAbstract},   {"author", setListAuthors},   {"booktitle", setFirstSource},
    {"doi", setDoi},             {"issn", setIssn},            {"journal", setFirstSource},
    {"note", setCitedByCountNote}, {"number", setIssue},       {"pages", setPages},
    {"publisher", setPublisher}, {"Times-Cited", setCites},    {"title", setTitle},
    {"url", setArticleUrl},      {"volume", setVolume},        {"year", setYear},
};
static_assert(isStrictlyAscending(kBibTeXFields, fieldKeyBefore));

// The order is part of the format detection: the first row that accepts the
// first line wins and later ones are not asked. The Scopus column probe comes
// last so that it only ever takes lines no exact signature accepts.
constexpr VroImportFormat kFormatRows[] = {
    {.name = "Varo (CSV)", .code = fourCharacterCode("Vroc"), .signatures = kVroCsvSignatures,
     .read = readCsvRecords, .fields = kVroCsvColumns,
     .countHint = "its Cites column holds them"},
    {.name = "ISI/WoS (tagged)", .code = fourCharacterCode("IsiT"), .signatures = kIsiTaggedSignatures,
     .read = readIsiTagged, .fields = kIsiTaggedTags,
     .countHint = "Web of Science writes them as TC with the full record; OpenAlex's tagged export has none, "
                  "its CSV has cited_by_count"},
    {.name = "RIS/RefManager", .code = fourCharacterCode("RisT"), .signatures = kRisSignatures,
     .read = readRisTagged, .fields = kRisTaggedTags,
     .countHint = "Scopus writes them in an N1 note \"Cited By: N\"; OpenAlex's RIS has none, "
                  "its CSV has cited_by_count"},
    {.name = "ISI/WoS (tab-delimited)", .code = fourCharacterCode("Isic"), .signatures = kIsiCsvSignatures,
     .read = readCsvRecords, .fields = kIsiCsvColumns, .separator = u'\t',
     .countHint = "Web of Science writes them as TC with the full record"},
    {.name = "Scopus (CSV)", .code = fourCharacterCode("Scoc"), .signatures = kScopusSignatures,
     .read = readCsvRecords, .fields = kScopusCsvColumns,
     .countHint = "Scopus writes them in \"Cited by\" when Citation information is exported"},
    {.name = "Google (CSV)", .code = fourCharacterCode("GSCc"), .signatures = kGScholarSignatures,
     .read = readCsvRecords, .fields = kGScholarCsvColumns,
     .countHint = "Google Scholar's CSV has none; its profile page shows them"},
    {.name = "EndNote (Show All Fields)", .code = fourCharacterCode("EndS"), .signatures = kEndNoteSafSignatures,
     .read = readEndNoteShowAllFields, .fields = kEndNoteSafTags,
     .countHint = "this layout has none; EndNote's tagged export carries %1 notes \"N cites:\""},
    {.name = "EndNote (tagged)", .code = fourCharacterCode("EndT"), .signatures = kEndNoteTaggedSignatures,
     .read = readEndNoteTagged, .fields = kEndNoteTaggedTags,
     .countHint = "they come from %1 notes \"N cites:\""},
    {.name = "Scopus (CSV)", .code = fourCharacterCode("Scoc"), .probe = probeScopusColumns,
     .read = readCsvRecords, .fields = kScopusColumnsCsvColumns, .joinsQuotedLines = true,
     .countHint = "Scopus writes them in \"Cited by\" when Citation information is exported"},
    {.name = "OpenAlex (CSV)", .code = fourCharacterCode("OAlc"), .probe = probeHeader<kOpenAlexHeader>,
     .read = readCsvLayoutRecords, .fields = kOpenAlexCsvColumns, .header = &kOpenAlexHeader,
     .countHint = "OpenAlex writes them in cited_by_count"},
    {.name = "Dimensions (CSV)", .code = fourCharacterCode("Dimc"), .probe = probeHeader<kDimensionsHeader>,
     .read = readCsvLayoutRecords, .fields = kDimensionsCsvColumns, .header = &kDimensionsHeader,
     .countHint = "Dimensions writes them in \"Times cited\""},
    {.name = "Lens (CSV)", .code = fourCharacterCode("Lenc"), .probe = probeHeader<kLensHeader>,
     .read = readCsvLayoutRecords, .fields = kLensCsvColumns, .header = &kLensHeader,
     .countHint = "Lens writes them in \"Citing Works Count\""},
    {.name = "IEEE Xplore (CSV)", .code = fourCharacterCode("Ieec"), .probe = probeHeader<kIeeeHeader>,
     .read = readCsvLayoutRecords, .fields = kIeeeCsvColumns, .header = &kIeeeHeader,
     .countHint = "IEEE Xplore writes them in \"Article Citation Count\""},
    {.name = "ISI/WoS (CSV)", .code = fourCharacterCode("Wosc"), .probe = probeHeader<kWosCsvHeader>,
     .read = readCsvLayoutRecords, .fields = kWosCsvColumns, .header = &kWosCsvHeader,
     .countHint = "Web of Science writes them in \"Times Cited, WoS Core\" with the full record"},
    {.name = "BibTeX", .code = fourCharacterCode("BibT"), .probe = probeBibTeX,
     .read = readBibTeXRecords, .fields = kBibTeXFields, .leadIn = VroLeadIn::kBlankOrCommentLines,
     .countHint = "Scopus writes them in note as \"Cited by: N\", Web of Science in Times-Cited"},
    // JSON: one probe for the three sources' API responses, single works,
    // arrays and JSON Lines; the document decides which source it is, and
    // the reader names the row. The two rows after it are reached only so.
    {.name = "OpenAlex (JSON)", .code = fourCharacterCode("OAlj"), .probe = probeJson, .leadIn = VroLeadIn::kBlankLines,
     .countHint = "OpenAlex writes them in cited_by_count", .readInput = readJsonExport},
    {.name = "Crossref (JSON)", .code = fourCharacterCode("Crfj"),
     .countHint = "Crossref writes them in is-referenced-by-count", .readInput = readJsonExport},
    {.name = "Semantic Scholar (JSON)", .code = fourCharacterCode("S2pj"),
     .countHint = "Semantic Scholar writes them in citationCount", .readInput = readJsonExport},
};

}  // namespace

const std::span<const VroImportFormat> kImportFormats(kFormatRows);
const VroCsvHeader& kScopusColumnsHeader = kScopusColumnsDescription;
