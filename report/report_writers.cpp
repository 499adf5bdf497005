// Metrics report writers: the plain report and the CSV line.
#include "report/report_writers.h"

#include <sys/file.h>

#include <cerrno>
#include <string_view>

#include "foundation/encodings.h"
#include "foundation/logging.h"
#include "foundation/printf_engine.h"
#include "foundation/string_sinks.h"
#include "foundation/strings.h"
#include "foundation/text_writer.h"
#include "model/metrics_record.h"
#include "report/report_columns.h"

namespace {


// The plain report body after the label, one line each; "{name}" stands for
// the value of the report column of that name (report/report_columns.h).
constexpr const char* kPlainLines[] = {
    "Publication years: {year_first}-{year_last}",
    "Papers: {p}",
    "Citations: {c} (~{est_c})",
    "Citation years: {y} ({year_first}-{year_ref})",
    "Results/paper: {cpp}",
    "Results/author: {cpa}",
    "Papers/author: {ppa}",
    "Hirsch h: {h}",
    "Hirsch a: {a}",
    "Hirsch m: {m}",
    "Egghe g: {g}",
    "Egghe g/h: {g_h}",
    "SKM hc: {hc}",
    "SKM ac: {ac}",
    "BCKM hI: {hI}",
    "Vro hI: {hI_norm}",
    "*count: {star_count}",
    "Authors/paper: {app}/{app_med}/{app_mode} (mean/median/mode)",
};

// True when every "{name}" in line names a report column.
constexpr bool placeholdersKnown(std::string_view line) {
    for (size_t open = line.find('{'); open != std::string_view::npos; open = line.find('{', open + 1)) {
        const size_t close = line.find('}', open);
        if (close == std::string_view::npos || !isReportColumn(line.substr(open + 1, close - open - 1)))
            return false;
    }
    return true;
}
constexpr bool plainLinesKnown() {
    for (const char* line : kPlainLines)
        if (!placeholdersKnown(line)) return false;
    return true;
}
static_assert(plainLinesKnown(), "every value of the plain report is a report column");

// True when the CSV header is names each ended by a comma, the last by a line
// feed, and every name is a report column.
constexpr bool csvHeaderKnown(std::string_view header) {
    for (size_t start = 0; start < header.size();) {
        const size_t end = header.find_first_of(",\n", start);
        if (end == std::string_view::npos || !isReportColumn(header.substr(start, end - start))) return false;
        start = end + 1;
    }
    return header.ends_with('\n');
}
static_assert(csvHeaderKnown(kCsvReportHeader), "every column of the CSV line is a report column");

bool hasLabel(const char16_t* label) { return label && label[0] != 0; }

using BodyRoutine = ResultCode (*)(const VroMetrics&, XpTextWriter*, const char16_t*, bool);

ResultCode plainBody(const VroMetrics& m, XpTextWriter* w, const char16_t* label, bool) {
    return formatPlainReport(m, w, label);
}
ResultCode csvBody(const VroMetrics& m, XpTextWriter* w, const char16_t* label, bool withHeader) {
    return formatCsvReport(m, w, label, withHeader);
}

// Runs appending to one file take turns: each holds an exclusive lock on the
// file from the byte-order-mark decision until its report is closed (closing
// the stream's descriptor releases it), and decides at the file's end as it
// is once the lock is held. So a new file gets one mark in all and reports
// follow one another whole. Only a file opened by path is locked; without a
// lock the report is written all the same.
void takeTurnToAppend(XpTextWriter* writer) {
    XpByteStream* stream = writer->stream();
    if (!stream || stream->typeTag() != fourCharacterCode("fils")) return;
    auto* file = static_cast<XpFileStream*>(stream);
    if (!(file->stateFlags() & kStreamFlagOwned)) return;
    int locked;
    do {
        locked = flock(file->descriptor(), LOCK_EX);
    } while (locked == -1 && errno == EINTR);
    if (locked == 0) (void)file->seek(0, kSeekEnd, nullptr);
}

// The frame both writers share: open, UTF-8 with a mark at position 0, body,
// close; each failure logged with the path and returned, the writer released
// on every path (by the holder).
ResultCode writeReport(const VroMetrics& metrics, const char* outputPath, const char16_t* label, bool withHeader,
                       bool append, BodyRoutine body, const char* openFailedFormat) {
    XpHolder<XpTextWriter> writer;
    ResultCode rc = openTextWriterOnFile(outputPath, append, &writer);
    if (rc != 0) {
        logMessage(kLogError, rc, openFailedFormat, outputPath);
        return rc;
    }
    if (append) takeTurnToAppend(writer.get());
    (void)writer->setEncoding(kCodePageUtf8);
    (void)writer->writeBom();
    rc = body(metrics, writer.get(), label, withHeader);
    if (rc == kResultOk) rc = writer->failure();
    if (rc != 0) {
        logMessage(kLogError, rc, "%s: write failed", outputPath);
        (void)writer->close();
        return rc;
    }
    rc = writer->close();
    if (rc != 0) {
        logMessage(kLogError, rc, "%s: close failed", outputPath);
        return rc;
    }
    return kResultOk;
}

}  // namespace

ResultCode formatPlainReport(const VroMetrics& m, XpTextWriter* writer, const char16_t* label) noexcept {
    if (!writer) return kErrInvalidArgument;
    if (hasLabel(label)) {
        // A label that cannot be written whole (a lone surrogate) ends the
        // report here, as a failed write does.
        const ResultCode rc = writer->writeText16(label, kTextToTerminator);
        if (rc != kResultOk) return rc;
        writer->writeText("\n", 1);
    }
    char value[24];
    for (const char* line : kPlainLines) {
        // Literal text up to each "{name}", then that column's value.
        std::string_view rest(line);
        for (size_t open = rest.find('{'); open != std::string_view::npos; open = rest.find('{')) {
            const size_t close = rest.find('}', open);
            writer->writeText(rest.data(), uint32_t(open));
            const size_t column = reportColumnIndex(rest.substr(open + 1, close - open - 1));
            writer->writeText(formatReportValue(m, kReportColumns[column], value), kTextToTerminator);
            rest.remove_prefix(close + 1);
        }
        if (!rest.empty()) writer->writeText(rest.data(), uint32_t(rest.size()));
        writer->writeText("\n", 1);
    }
    // Bucket 50 also holds every paper with more authors and prints as 50.
    for (uint32_t bucket = 0; bucket < kAuthorHistogramSize; ++bucket) {
        uint32_t count = m.authorHistogram[bucket];
        if (count == 0) continue;
        writerPrintf(writer, "Paper(s) with %u author(s): %u\n", bucket, count);
    }
    return kResultOk;
}

ResultCode formatCsvReport(const VroMetrics& m, XpTextWriter* writer, const char16_t* label,
                           bool withHeader) noexcept {
    if (!writer) return kErrInvalidArgument;
    if (withHeader) {
        if (hasLabel(label)) writer->writeText("label,", kTextToTerminator);
        writer->writeText(kCsvReportHeader, kTextToTerminator);
    }
    // The label goes in as it stands: commas or quotes in it shift the
    // columns, which readers of these lines already expect.
    XpString line;
    strbuf_writer sink(&line);
    ResultCode rc = kResultOk;
    if (hasLabel(label)) {
        rc = sink.writeText16(label, kTextToTerminator);
        if (rc == 0) rc = sink.writeText(",", 1);
    }
    // The values in the header's order, each ended as its name is there: by a
    // comma, the last by the line feed.
    char value[24];
    for (std::string_view rest(kCsvReportHeader); rc == 0 && !rest.empty();) {
        const size_t end = rest.find_first_of(",\n");
        const VroReportColumn& column = kReportColumns[reportColumnIndex(rest.substr(0, end))];
        rc = sink.writeText(formatReportValue(m, column, value), kTextToTerminator);
        if (rc == 0) rc = sink.writeText(&rest[end], 1);
        rest.remove_prefix(end + 1);
    }
    if (rc != 0) return rc;
    writer->writeString(line);
    return kResultOk;
}

ResultCode writePlainReport(const VroMetrics& metrics, const char* outputPath, const char16_t* label,
                            bool append) noexcept {
    return writeReport(metrics, outputPath, label, false, append, plainBody, "%s: metrics file open failed");
}

ResultCode writeCsvReport(const VroMetrics& metrics, const char* outputPath, const char16_t* label,
                          bool withHeader, bool append) noexcept {
    return writeReport(metrics, outputPath, label, withHeader, append, csvBody, "%s: open metrics file failed");
}
