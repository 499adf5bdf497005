// Process entry: prepares the process, reads the command line and runs the
// metrics job, turning every outcome into exit status 0 or 1.
#include <clocale>
#include <cstdio>

#include "app/command_line.h"
#include "foundation/framework.h"

int main(int argc, char** argv) {
    // Locale from the user's environment, with UTF-8 character handling.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_CTYPE, "en_US.UTF-8");

    setApplicationVersion(kApplicationVersion);

    // PENDING (logging component): the log set-up and the two start-up lines
    // go here, before the framework starts:
    //   logSetUpForProgram();
    //   logStartupLines(kProductDescription, kFullVersion, kPlatform);
    // The host identification (uname) is taken by the "Running on" line itself.

    // From here every return from main shuts the framework down first.
    XpFrameworkScope framework;

    const char* const program = programName();
    CommandLineOptions& options = commandLineOptions();
    const CommandLineOutcome outcome = parseCommandLine(argc, argv, program, options, stdout, stderr);
    if (outcome.exitNow) return outcome.exitStatus;

    // PENDING (text writer component): open the standard writers here:
    //   openTextWriterOnStdio(stdout, 0, &options.standardOutput), on failure
    //   "%s: cannot open stdout: %s\n" on stderr and exit 1; then the same for
    //   stderr with "%s: cannot open stderr: %s\n".

    // PENDING (metrics job): runMetricsJob(options.inputPath,
    // options.outputArgument), exit 1 on a non-zero code. Until the job is part
    // of the build the program stops here and says so.
    std::fprintf(stderr, "%s: cannot run: the metrics job is not part of this build (input %s, output %s)\n",
                 program, options.inputPath ? options.inputPath : "<stdin>",
                 options.outputArgument ? options.outputArgument : "<stdout>");
    return 1;
}
