// Process entry of varoreport: prepares the process as varometrics does,
// reads the command line, finds the inputs and runs the report; exit status
// 0, 1 when an input or the output failed, 2 for a usage error (an output
// that is one of the exports included).
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

#include "app/common/product.h"
#include "app/varoreport/report_inputs.h"
#include "app/varoreport/report_options.h"
#include "app/varoreport/report_output.h"
#include "app/varoreport/report_run.h"
#include "foundation/framework.h"
#include "foundation/logging.h"

namespace {

constexpr char kReportDescription[] = "Varo metrics report";
// More inputs than this make the progress counter worth showing.
constexpr size_t kProgressThreshold = 20;

uint32_t processorCount() noexcept {
    const unsigned count = std::thread::hardware_concurrency();
    if (count == 0) return 1;
    return count < kMaxReportJobs ? count : kMaxReportJobs;
}

}  // namespace

int main(int argc, char** argv) {
    // The same locale as varometrics, so that format probes fold letters alike.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_CTYPE, "en_US.UTF-8");

    // The log file only: standard error carries one line per failed input and
    // nothing else, so that scripts can read it.
    (void)logOpen(kLogToFile, nullptr);
    (void)logSetLevel(255, kLogInfo);
    (void)logRotate(256, 7);
    logStartupLines(kReportDescription, kFullVersion, kPlatform);

    const char* const program = programName();
    ReportOptions options;
    const ReportOutcome outcome = parseReportOptions(argc, argv, program, options, stdout, stderr);
    if (outcome.exitNow) return outcome.exitStatus;

    // The report never replaces an export it reads: named as the output, it is
    // refused before anything is written; inside a directory, it is not read.
    const ReportFileIdentity output = identifyReportOutput(options.outputPath);
    if (const char* input = inputNamingOutput(options.inputs, options.inputCount, output)) {
        const bool named = options.outputPath && options.outputPath[0] && std::strcmp(options.outputPath, "-") != 0;
        std::fprintf(stderr, "%s: %s: the output is the export %s; the report would replace it\n", program,
                     named ? options.outputPath : "<stdout>", input);
        writeReportUsage(stderr, program);
        return 2;
    }
    std::vector<ReportInput> inputs;
    if (const ResultCode rc = expandReportInputs(options.inputs, options.inputCount, inputs, output)) {
        std::fprintf(stderr, "%s: %s\n", program, resultMessage(rc));
        return 1;
    }

    ReportRun run;
    run.format = options.format;
    run.outputPath = options.outputPath;
    run.jobs = options.jobs != 0 ? options.jobs : processorCount();
    run.now = options.yearGiven ? julyFirstUtc(options.year) : int64_t(std::time(nullptr));
    run.showProgress = !options.quiet && inputs.size() > kProgressThreshold && ::isatty(2) == 1;
    run.programName = program;
    run.merge = options.merge;
    run.by = options.by;
    run.minPapers = options.minPapers;
    run.storedValues = options.storedValues;
    return runReport(run, inputs, stderr);
}
