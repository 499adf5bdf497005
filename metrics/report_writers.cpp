// Metrics report writers: the plain report and the CSV line.
#include "metrics/report_writers.h"

#include <sys/file.h>

#include <cerrno>

#include "foundation/logging.h"
#include "foundation/printf_engine.h"
#include "foundation/string_sinks.h"
#include "foundation/strings.h"
#include "foundation/text_writer.h"
#include "metrics/metrics_record.h"

namespace {

constexpr uint32_t kUtf8CodePage = 65001;

// The whole plain report body after the label, one format.
constexpr const char kPlainFormat[] =
    "Publication years: %d-%d\n"
    "Papers: %u\n"
    "Citations: %u (~%u)\n"
    "Citation years: %d (%d-%d)\n"
    "Results/paper: %u.%02u\n"
    "Results/author: %u.%02u\n"
    "Papers/author: %u.%02u\n"
    "Hirsch h: %u\n"
    "Hirsch a: %u.%02u\n"
    "Hirsch m: %u.%02u\n"
    "Egghe g: %u\n"
    "Egghe g/h: %u.%02u\n"
    "SKM hc: %u\n"
    "SKM ac: %u.%02u\n"
    "BCKM hI: %u.%02u\n"
    "Vro hI: %u\n"
    "*count: %u\n"
    "Authors/paper: %u.%02u/%u.%01u/%s (mean/median/mode)\n";

constexpr const char kCsvHeader[] =
    "p,c,y,cpp,cpa,ppa,app,app_med,app_mode,h,a,m,g,g_h,hc,ac,hI,hI_norm,star_count,year_first,year_last,est_c\n";

bool hasLabel(const char16_t* label) { return label && label[0] != 0; }

// The author-count mode as text: its digits, or "multi" when there is no
// single mode (all ones).
const char* modeText(uint32_t mode, char (&buffer)[16]) {
    if (mode >= kNoMode) return "multi";
    bufferPrintf(buffer, sizeof buffer, "%u", mode);
    return buffer;
}

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
    if (!stream || stream->typeTag() != xpTypeTag("fils")) return;
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
    (void)writer->setEncoding(kUtf8CodePage);
    (void)writer->writeBom();
    rc = body(metrics, writer.get(), label, withHeader);
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
    ResultCode rc;
    if (hasLabel(label)) {
        rc = writer->writeText16(label, kTextToTerminator);
        if (rc == 0) rc = writer->writeText("\n", 1);
        if (rc != 0) return rc;
    }
    char modeBuffer[16];
    rc = writerPrintf(writer, kPlainFormat, m.firstYear, m.lastYear, m.totalPapers, m.totalCites,
                      m.estimatedTotalCites, m.citingYears, m.firstYear, m.referenceYear,
                      m.meanCitesPerPaper100 / 100, m.meanCitesPerPaper100 % 100, m.citesPerAuthor100 / 100,
                      m.citesPerAuthor100 % 100, m.papersPerAuthor100 / 100, m.papersPerAuthor100 % 100, m.hIndex,
                      m.a100 / 100, m.a100 % 100, m.m100 / 100, m.m100 % 100, m.gIndex, m.gh100 / 100,
                      m.gh100 % 100, m.hcIndex, m.ac100 / 100, m.ac100 % 100, m.hIBatista100 / 100,
                      m.hIBatista100 % 100, m.hINormalized, m.acc10, m.meanAuthorsPerPaper100 / 100,
                      m.meanAuthorsPerPaper100 % 100, m.medianAuthorsPerPaper10 / 10,
                      m.medianAuthorsPerPaper10 % 10, modeText(m.authorsPerPaperMode, modeBuffer));
    if (rc != 0) return rc;
    // Bucket 50 also holds every paper with more authors and prints as 50.
    for (uint32_t bucket = 0; bucket < kAuthorHistogramSize; ++bucket) {
        uint32_t count = m.authorHistogram[bucket];
        if (count == 0) continue;
        rc = writerPrintf(writer, "Paper(s) with %u author(s): %u\n", bucket, count);
        if (rc != 0) return rc;
    }
    return kResultOk;
}

ResultCode formatCsvReport(const VroMetrics& m, XpTextWriter* writer, const char16_t* label,
                           bool withHeader) noexcept {
    if (!writer) return kErrInvalidArgument;
    if (withHeader) {
        if (hasLabel(label)) (void)writer->writeText("label,", kTextToTerminator);
        (void)writer->writeText(kCsvHeader, kTextToTerminator);
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
    char modeBuffer[16];
    if (rc == 0)
        rc = sinkPrintf(&sink, "%u,%u,%d,%u.%02u,%u.%02u,%u.%02u,", m.totalPapers, m.totalCites, m.citingYears,
                        m.meanCitesPerPaper100 / 100, m.meanCitesPerPaper100 % 100, m.citesPerAuthor100 / 100,
                        m.citesPerAuthor100 % 100, m.papersPerAuthor100 / 100, m.papersPerAuthor100 % 100);
    if (rc == 0)
        rc = sinkPrintf(&sink, "%u.%02u,%u.%01u,%s,", m.meanAuthorsPerPaper100 / 100, m.meanAuthorsPerPaper100 % 100,
                        m.medianAuthorsPerPaper10 / 10, m.medianAuthorsPerPaper10 % 10,
                        modeText(m.authorsPerPaperMode, modeBuffer));
    if (rc == 0)
        rc = sinkPrintf(&sink, "%u,%u.%02u,%u.%02u,%u,%u.%02u,%u,%u.%02u,%u.%02u,%u,%u,%d,%d,%u\n", m.hIndex,
                        m.a100 / 100, m.a100 % 100, m.m100 / 100, m.m100 % 100, m.gIndex, m.gh100 / 100,
                        m.gh100 % 100, m.hcIndex, m.ac100 / 100, m.ac100 % 100, m.hIBatista100 / 100,
                        m.hIBatista100 % 100, m.hINormalized, m.acc10, m.firstYear, m.lastYear,
                        m.estimatedTotalCites);
    if (rc != 0) return rc;
    return writer->writeString(line);
}

ResultCode writePlainReport(const VroMetrics& metrics, const char* outputPath, const char16_t* label,
                            bool append) noexcept {
    return writeReport(metrics, outputPath, label, false, append, plainBody, "%s: metrics file open failed");
}

ResultCode writeCsvReport(const VroMetrics& metrics, const char* outputPath, const char16_t* label,
                          bool withHeader, bool append) noexcept {
    return writeReport(metrics, outputPath, label, withHeader, append, csvBody, "%s: open metrics file failed");
}
