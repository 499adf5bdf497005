// Process entry: prepares the process, reads the command line and runs the
// metrics job, turning every outcome into exit status 0 or 1.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>

#include "app/common/product.h"
#include "app/varometrics/command_line.h"
#include "app/varometrics/metrics_job.h"
#include "foundation/framework.h"
#include "foundation/logging.h"
#include "foundation/text_writer.h"

namespace {

// A standard descriptor the caller left closed is taken by /dev/null before
// anything opens a file, so that neither the log file nor an input or report
// lands on 0, 1 or 2. It is opened for the direction the descriptor is not
// used in: reading a closed standard input and writing a closed standard
// output still fail with "Bad file descriptor", and lines for a closed
// standard error are lost.
void occupyClosedStandardDescriptors() noexcept {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
        const int opened = open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
        if (opened != -1 && opened != descriptor) {
            (void)dup2(opened, descriptor);
            (void)close(opened);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupyClosedStandardDescriptors();
    // A reader that went away or a file-size limit makes a write fail with its
    // own code ("Broken pipe", "File too large"), reported like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);

    // Locale from the user's environment, with UTF-8 character handling.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_CTYPE, "en_US.UTF-8");

    // Log to standard error (notice and above) and the log file (info and
    // above); a log that cannot be set up never stops the run. The host
    // identification (uname) is taken by the "Running on" line itself.
    logSetUpForProgram();
    logStartupLines(kProductDescription, kFullVersion, kPlatform);

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

    return runMetricsJob(options) == kResultOk ? 0 : 1;
}
