// Metrics job: import, calculation, label and report for one run.
#include "app/varometrics/metrics_job.h"

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "app/common/export_metrics.h"
#include "app/varometrics/command_line.h"
#include "foundation/strings.h"
#include "foundation/text_writer.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/report_writers.h"

namespace {

bool isAbsentOrEmpty(const char* text) noexcept { return text == nullptr || text[0] == '\0'; }

// The text after the last '/' or '\\', extension kept: the default label.
const char* lastPathComponent(const char* path) noexcept {
    const char* component = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\') component = p + 1;
    return component;
}

}  // namespace

// - Display names: "<stdin>" / "<stdout>" only for an absent or empty
//   argument; "-" and a leading "+" are shown as typed.
// - Label: the --label text unless absent or empty, else the input display
//   name's last component ("<stdin>" for standard input). Its bytes convert
//   as narrow text does: each invalid sequence one U+FFFD, an incomplete one
//   at the very end dropped, the label kept.
// - "+" first: append to the rest of the argument, which may be empty
//   (standard output, still appending).
// - The progress and failure lines go to the standard-error writer, which
//   buffers them; they reach the stream when it is drained at process end,
//   after any log lines the failing layer wrote straight away.
// - Locals are destroyed in reverse order of creation: label, metrics record,
//   filter name, publication list.
ResultCode runMetricsJob(const CommandLineOptions& options) noexcept {
    const char* const inputPath = options.inputPath;
    const char* const outputArgument = options.outputArgument;
    XpTextWriter* const diagnostics = options.standardError.get();
    const char* const inputName = isAbsentOrEmpty(inputPath) ? "<stdin>" : inputPath;
    const char* const outputName = isAbsentOrEmpty(outputArgument) ? "<stdout>" : outputArgument;

    // The calculation and the reports read numbers only, so of a record
    // only its numbers are kept once it is imported (and most texts are
    // never stored): memory grows by the numbers and the calculation's room.
    VroPublicationList publications;
    publications.keepNumbersOnly();
    XpString filterName;
    VroMetrics metrics;
    resetMetrics(metrics);
    ResultCode rc = importAndCalculate(inputPath, publications, filterName, metrics, int64_t(std::time(nullptr)));
    if (rc != kResultOk) {
        (void)writerPrintf(diagnostics, "%s: cannot import data: %s\n", inputName, resultMessage(rc));
        return rc;
    }
    (void)writerPrintf(diagnostics, "%s: imported %s data; %zu publications\n", inputName, filterName.data(),
                       size_t(publications.count()));

    XpString16 label;
    const char* labelText = isAbsentOrEmpty(options.label) ? lastPathComponent(inputName) : options.label;
    // 85 and 537 leave the converted text in place; only a label that cannot
    // be stored at all (12) is left empty, and the report is still written.
    (void)label.assign(labelText);

    const bool append = outputArgument != nullptr && outputArgument[0] == '+';
    const char* const outputPath = append ? outputArgument + 1 : outputArgument;
    switch (options.outputFormat) {
        case kOutputFormatCsv:
            rc = writeCsvReport(metrics, outputPath, label.data(), false, append);
            break;
        case kOutputFormatCsvWithHeader:
            rc = writeCsvReport(metrics, outputPath, label.data(), true, append);
            break;
        default:
            rc = writePlainReport(metrics, outputPath, label.data(), append);
            break;
    }
    if (rc != kResultOk)
        (void)writerPrintf(diagnostics, "%s: cannot export metrics: %s\n", outputName, resultMessage(rc));
    return rc;
}
