// Import driver: opening the input, format detection by the first line, and
// the one importer run.
#include "import/import_driver.h"

#include <cwctype>
#include <new>

#include "foundation/ascii.h"
#include "foundation/logging.h"
#include "foundation/strings.h"
#include "foundation/text_reader.h"
#include "import/csv_dialects.h"
#include "import/csv_importer.h"
#include "import/importer.h"
#include "import/tagged_importers.h"
#include "metrics/publication.h"

namespace {

// Text without a byte-order mark is read in this code page.
constexpr uint32_t kFallbackCodePage = 1252;

// First-line signatures, one list per importer.
constexpr const char* kVroCsvSignatures[] = {
    "Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL",
    "Use,Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL,GSRank",
};
constexpr const char* kIsiTaggedSignatures[] = {"FN "};
// Two blanks before the hyphen.
constexpr const char* kRisSignatures[] = {"TY  -"};
constexpr const char* kIsiCsvSignatures[] = {"PT\tAU\t"};
constexpr const char* kScopusSignatures[] = {
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,Link",
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,DOI,Link,"
    "Document Type,Source,EID",
    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,DOI,Link,"
    "Document Type,Access Type,Source,EID",
};
constexpr const char* kGScholarSignatures[] = {"Authors,Title,Publication,Volume,Number,Pages,Year,Publisher"};
// With the trailing blank.
constexpr const char* kEndNoteSafSignatures[] = {"Reference Type: "};
constexpr const char* kEndNoteTaggedSignatures[] = {"%0 "};

template <class Importer, size_t N>
ResultCode probeWith(const char* const (&signatures)[N], const XpString16& line, VroImporter** out) noexcept {
    *out = nullptr;
    for (const char* signature : signatures) {
        if (!lineStartsWithSignature(line, signature)) continue;
        *out = new (std::nothrow) Importer();
        return *out != nullptr ? kResultOk : kErrNoMemory;
    }
    return kResultOk;
}

ResultCode probeVroCsv(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportVroCsv>(kVroCsvSignatures, line, out);
}
ResultCode probeIsiTagged(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportIsiTagged>(kIsiTaggedSignatures, line, out);
}
ResultCode probeRisTagged(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportRisTagged>(kRisSignatures, line, out);
}
ResultCode probeIsiCsv(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportIsiCsv>(kIsiCsvSignatures, line, out);
}
ResultCode probeScopusCsv(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportScopusCsv>(kScopusSignatures, line, out);
}
ResultCode probeGScholarCsv(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportGScholarCsv>(kGScholarSignatures, line, out);
}
ResultCode probeEndNoteSaf(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportEndNoteSaf>(kEndNoteSafSignatures, line, out);
}
ResultCode probeEndNoteTagged(const XpString16& line, VroImporter** out) noexcept {
    return probeWith<VroImportEndNoteTagged>(kEndNoteTaggedSignatures, line, out);
}

// Columns a Scopus header must have, whatever else the user chose to export;
// "Authors" must come first.
constexpr const char* kScopusRequiredColumns[] = {"Title", "Year", "Source title"};

// A Scopus header known by its columns rather than its exact text: the line
// is split as the CSV importer splits it and whole titles are compared.
ResultCode probeScopusColumns(const XpString16& line, VroImporter** out) noexcept {
    *out = nullptr;
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
    *out = new (std::nothrow) VroImportScopusColumnsCsv();
    return *out != nullptr ? kResultOk : kErrNoMemory;
}

}  // namespace

// The order is part of the format detection: the first probe that accepts
// the first line wins and later ones are not asked. A new format is one more
// entry; the table's size bounds the walk. The column probe comes last so
// that it only ever takes lines no exact signature accepts.
const VroProbeEntry kImportProbes[kImportProbeCount] = {
    {"VroImportVroCsv", probeVroCsv},
    {"VroImportIsiTagged", probeIsiTagged},
    {"VroImportRisTagged", probeRisTagged},
    {"VroImportIsiCsv", probeIsiCsv},
    {"VroImportScopusCsv", probeScopusCsv},
    {"VroImportGScholarCsv", probeGScholarCsv},
    {"VroImportEndNoteSaf", probeEndNoteSaf},
    {"VroImportEndNoteTagged", probeEndNoteTagged},
    {"VroImportScopusColumnsCsv", probeScopusColumns},
};

bool lineStartsWithSignature(const XpString16& line, const char* signature) noexcept {
    const char16_t* unit = line.data();
    const char16_t* const end = line.end();
    for (const char* s = signature; *s; ++s, ++unit) {
        if (unit == end) return false;
        if (std::towlower(wint_t(*unit)) != wint_t(uint8_t(asciiLower(*s)))) return false;
    }
    return true;
}

ResultCode findImporterFor(const XpString16& firstLine, VroImporter** out) noexcept {
    *out = nullptr;
    for (const VroProbeEntry& entry : kImportProbes) {
        const ResultCode rc = entry.probe(firstLine, out);
        if (rc != kResultOk || *out != nullptr) return rc;
    }
    return kErrInvalidFileType;
}

// Steps, strictly in this order: clear the outputs; open the input (failure
// logged and returned); adopt a byte-order mark's encoding (failure logged,
// never returned); read the first line (failure logged and returned); ask the
// probes (none: 774, not logged); run the importer (failure logged, outputs
// still filled, records kept); hand out code and name.
ResultCode importPublications(const char* inputName, VroPublicationList& list, uint32_t* formatCodeOut,
                              XpString& filterNameOut, uint32_t* fieldMaskOut) noexcept {
    if (formatCodeOut != nullptr) *formatCodeOut = 0;
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    filterNameOut.clear();

    XpHolder<XpTextReader> reader;
    ResultCode rc = openTextReader(inputName, &reader);
    if (rc != kResultOk) {
        logMessage(kLogError, rc, "%s: Cannot open file", inputName);
        return rc;
    }
    rc = reader->checkEncoding(kFallbackCodePage);
    if (rc != kResultOk) logMessage(kLogError, rc, "%s: Cannot check encoding", inputName);

    XpString16 line;
    rc = readFirstLine(reader.get(), line);
    if (rc != kResultOk) {
        logMessage(kLogError, rc, "%s: Cannot read first line", inputName);
        return rc;
    }

    VroImporter* importer = nullptr;
    rc = findImporterFor(line, &importer);
    if (rc != kResultOk) return rc;

    rc = importer->importData(reader.get(), line, list, fieldMaskOut);
    if (rc != kResultOk)
        logMessage(kLogError, rc, "%s: Cannot import data with filter %s", inputName, importer->name());
    if (formatCodeOut != nullptr) *formatCodeOut = importer->formatCode();
    // A name that cannot be stored leaves the name empty; the import stands.
    (void)filterNameOut.assign(importer->name());
    delete importer;
    return rc;
}
