// Process entry: prepares the process, reads the command line and runs the
// metrics job, turning every outcome into exit status 0 or 1.
#include <clocale>
#include <cstdio>

#include "app/command_line.h"
#include "app/metrics_job.h"
#include "foundation/framework.h"
#include "foundation/logging.h"
#include "foundation/text_writer.h"

int main(int argc, char** argv) {
    // Locale from the user's environment, with UTF-8 character handling.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_CTYPE, "en_US.UTF-8");

    setApplicationVersion(kApplicationVersion);

    // Log to standard error (notice and above) and the log file (info and
    // above); a log that cannot be set up never stops the run. The host
    // identification (uname) is taken by the "Running on" line itself.
    logSetUpForProgram();
    logStartupLines(kProductDescription, kFullVersion, kPlatform);

    // From here every return from main shuts the framework down first.
    XpFrameworkScope framework;

    const char* const program = programName();
    CommandLineOptions& options = commandLineOptions();
    const CommandLineOutcome outcome = parseCommandLine(argc, argv, program, options, stdout, stderr);
    if (outcome.exitNow) return outcome.exitStatus;

    // The standard writers live as long as the process: the job's lines on
    // standard error are buffered and drained when the holders are released
    // at exit.
    options.standardOutput.reset();
    if (const ResultCode code = openTextWriterOnStdio(stdout, 0, &options.standardOutput)) {
        std::fprintf(stderr, "%s: cannot open stdout: %s\n", program, resultMessage(code));
        return 1;
    }
    options.standardError.reset();
    if (const ResultCode code = openTextWriterOnStdio(stderr, 0, &options.standardError)) {
        std::fprintf(stderr, "%s: cannot open stderr: %s\n", program, resultMessage(code));
        return 1;
    }

    return runMetricsJob(options.inputPath, options.outputArgument) == kResultOk ? 0 : 1;
}
