// Import driver: opening the input, format detection by the first line, and
// the one importer run.
#include "import/import_driver.h"

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <new>
#include <utility>

#include "foundation/ascii.h"
#include "foundation/logging.h"
#include "foundation/strings.h"
#include "foundation/text_reader.h"
#include "import/import_formats.h"
#include "import/importer.h"
#include "import/input_stream.h"
#include "model/publication.h"

namespace {

// Text without a byte-order mark is read in this code page.
constexpr uint32_t kFallbackCodePage = 1252;

void logStreamFailure(const char* inputName, ResultCode rc) noexcept {
    if (rc == kErrIncompleteInput)
        logMessage(kLogError, rc, "%s: Compressed stream cut short", inputName);
    else
        logMessage(kLogError, rc, "%s: Compressed stream cannot be inflated", inputName);
}

bool isTexComment(const XpString16& line) noexcept {
    const char16_t* unit = line.data();
    while (unit < line.end() && isAsciiWhiteSpace(*unit)) ++unit;
    return unit < line.end() && *unit == u'%';
}

// Past blank and TeX comment lines after a first line that no row accepted:
// the next line, offered to the rows whose lead-in allows what was skipped.
// On success that line becomes the first line; otherwise the first line
// stays for an explanation (a blank one is empty).
ResultCode findImporterPastLeadIn(XpTextReader* reader, XpString16& line, VroImporter** out) noexcept {
    if (!line.empty() && !isTexComment(line)) return kErrInvalidFileType;
    VroLeadIn skipped = line.empty() ? VroLeadIn::kBlankLines : VroLeadIn::kBlankOrCommentLines;
    XpString16 next;
    bool found = false;
    while (!found && readTrimmedLine(reader, next) == kResultOk) {
        if (isTexComment(next))
            skipped = VroLeadIn::kBlankOrCommentLines;
        else
            found = !next.empty();
    }
    const ResultCode rc = found ? findImporterFor(next, out, skipped) : kErrInvalidFileType;
    if (rc == kResultOk) line = std::move(next);
    return rc;
}

}  // namespace

bool lineStartsWithSignature(const XpString16& line, const char* signature) noexcept {
    const char16_t* unit = line.data();
    const char16_t* const end = line.end();
    for (const char* s = signature; *s; ++s, ++unit) {
        if (unit == end) return false;
        if (std::towlower(wint_t(*unit)) != wint_t(uint8_t(asciiLower(*s)))) return false;
    }
    return true;
}

ResultCode findImporterFor(const XpString16& firstLine, VroImporter** out, VroLeadIn skipped) noexcept {
    *out = nullptr;
    for (const VroImportFormat& format : kImportFormats) {
        if (format.leadIn < skipped) continue;
        bool accepted = false;
        if (format.probe != nullptr) {
            const ResultCode rc = format.probe(firstLine, &accepted);
            if (rc != kResultOk) return rc;
        } else {
            accepted = std::ranges::any_of(format.signatures, [&](const char* signature) {
                return lineStartsWithSignature(firstLine, signature);
            });
        }
        if (!accepted) continue;
        *out = new (std::nothrow) VroImporter(format);
        return *out != nullptr ? kResultOk : kErrNoMemory;
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
    return importPublications(inputName, list, formatCodeOut, filterNameOut, fieldMaskOut, nullptr);
}

ResultCode importPublications(const char* inputName, VroPublicationList& list, uint32_t* formatCodeOut,
                              XpString& filterNameOut, uint32_t* fieldMaskOut, VroImportDetails* details) noexcept {
    if (details != nullptr) {
        details->format = nullptr;
        details->unrecognisedLine.clear();
        details->lineUnrecognised = false;
    }
    if (formatCodeOut != nullptr) *formatCodeOut = 0;
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    filterNameOut.clear();

    XpHolder<XpTextReader> reader;
    XpHolder<VroInputStream> input;
    ResultCode rc = openImportReader(inputName, &reader, &input);
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
    if (rc == kErrInvalidFileType) rc = findImporterPastLeadIn(reader.get(), line, &importer);
    // A first line that a cut compressed stream ended is no line of the export.
    if (rc == kErrInvalidFileType && input->compressed() && input->failure() != kResultOk) {
        rc = input->failure();
        logStreamFailure(inputName, rc);
        return rc;
    }
    if (rc != kResultOk) {
        // The line is only lent for an explanation; one that cannot be kept
        // leaves none.
        if (rc == kErrInvalidFileType && details != nullptr)
            details->lineUnrecognised = details->unrecognisedLine.assign(line.data(), line.length()) == kResultOk;
        return rc;
    }

    // A reader of the input's bytes starts over from the first one and
    // decides which source the input is; the others read on from the line.
    const VroImportFormat* format = &importer->format();
    if (format->readInput != nullptr) {
        const char* readAs = nullptr;
        rc = format->readInput(*format, *input, list, fieldMaskOut, &readAs);
        if (readAs != nullptr) {
            for (const VroImportFormat& row : kImportFormats)
                if (std::strcmp(row.name, readAs) == 0) format = &row;
        }
    } else {
        input->stopRecording();
        rc = importer->importData(reader.get(), line, list, fieldMaskOut);
        // Text readers end at any read failure, and a header that the cut
        // ended is no header: a cut compressed input fails for being cut.
        if (input->compressed() && input->failure() != kResultOk) rc = input->failure();
    }
    delete importer;
    if (details != nullptr) details->format = format;
    // JSON holding nothing of a known source is explained as an input no
    // row accepts.
    if (rc == kErrInvalidFileType && details != nullptr && format->readInput != nullptr)
        details->lineUnrecognised = details->unrecognisedLine.assign(line.data(), line.length()) == kResultOk;
    if (input->compressed() && input->failure() != kResultOk) logStreamFailure(inputName, input->failure());
    if (rc != kResultOk) logMessage(kLogError, rc, "%s: Cannot import data with filter %s", inputName, format->name);
    if (formatCodeOut != nullptr) *formatCodeOut = format->code;
    // A name that cannot be stored leaves the name empty; the import stands.
    (void)filterNameOut.assign(format->name);
    return rc;
}
