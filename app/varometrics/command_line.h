// Command line: the process-wide option state, the option tables and the
// program's own option parser.
//
// Contract: parseCommandLine reads the arguments once, in order, and either
// fills the option state (output format, label, input path, output argument)
// and says "go on", or has already written the help, the version or an error
// to the given streams and says how the process exits (0 after --help and
// --version, 1 after any error). The parser never permutes arguments, never
// accepts abbreviations and stops at the first argument that is not an
// option. The label and the two positional arguments point into argv: they
// stay valid for the life of the process.
#pragma once

#include <cstdint>
#include <cstdio>

#include "foundation/object.h"
#include "foundation/text_writer.h"

// Output format codes. None given is treated as plain by the job.
enum : int32_t {
    kOutputFormatUnknown = -1,  // an unknown --format name was given
    kOutputFormatNone = 0,
    kOutputFormatPlain = 1,
    kOutputFormatCsv = 2,            // one CSV line without header
    kOutputFormatCsvWithHeader = 3,  // the header line, then the CSV line
};

struct OutputFormatName {
    const char* name;
    int32_t code;
};
// Searched in this order, ignoring the case of A to Z; the first match wins.
inline constexpr OutputFormatName kOutputFormatNames[] = {
    {"csv", kOutputFormatCsv},
    {"csvh", kOutputFormatCsvWithHeader},
    {"plain", kOutputFormatPlain},
    {"txt", kOutputFormatPlain},
};

// Values the option parser returns.
enum : int {
    kOptionsEnd = -1,
    kOptionError = 63,  // unknown option or missing argument; already reported
    kOptionHelp = 256,
    kOptionFormat = 257,
    kOptionLabel = 258,
    kOptionVersion = 259,
};

enum : int {
    kNoArgument = 0,
    kRequiredArgument = 1,
};

struct LongOption {
    const char* name;  // null in the terminating row
    int argument;      // kNoArgument or kRequiredArgument
    int value;         // what the parser returns for it
};
// Long options, sorted by name and terminated by an all-zero row. There are
// no single-letter options.
inline constexpr LongOption kLongOptions[] = {
    {"format", kRequiredArgument, kOptionFormat},
    {"help", kNoArgument, kOptionHelp},
    {"label", kRequiredArgument, kOptionLabel},
    {"version", kNoArgument, kOptionVersion},
    {nullptr, 0, 0},
};

// What the command line asked for, filled while parsing and read by the job.
struct CommandLineOptions {
    int32_t outputFormat = kOutputFormatNone;
    const char* label = nullptr;           // the last --label argument
    const char* inputPath = nullptr;       // first positional argument
    const char* outputArgument = nullptr;  // second one, as typed ("+" kept)
    // Writers on the runtime's standard output and standard error, opened by
    // main before the job runs and kept for the rest of the process.
    XpHolder<XpTextWriter> standardOutput;
    XpHolder<XpTextWriter> standardError;
};

// The process-wide option state.
CommandLineOptions& commandLineOptions() noexcept;

// The option parser over argv[index..argc).
struct OptionScanner {
    int argc = 0;
    char* const* argv = nullptr;
    int index = 1;                   // next argument to examine
    const char* argument = nullptr;  // argument of the option just returned
};

// Returns the value of the next option, kOptionsEnd when parsing stops (index
// is then at the first positional argument), or kOptionError after writing
// "unknown option --NAME", "option --NAME requires an argument" or "unknown
// option -C" (first letter only) with a newline to err.
// - Parsing stops before an argument that does not begin with "-" or is "-",
//   and after "--", which is consumed.
// - Long names match in full and with case; "--name=value" gives the value
//   inline. "=value" on an option without argument is ignored, and an
//   unknown "--name=value" is reported by its name alone.
// - A required argument not given inline is the next argument, whole, even
//   when it begins with "-".
int nextOption(OptionScanner& scanner, const LongOption* options, FILE* err) noexcept;

struct CommandLineOutcome {
    bool exitNow;    // help, version or an error ended the run
    int exitStatus;  // meaningful when exitNow
};

// Parses argv with kLongOptions into options; help and version go to out,
// every message about a bad command line to err. programName is the "%s" of
// every text.
CommandLineOutcome parseCommandLine(int argc, char* const* argv, const char* programName,
                                    CommandLineOptions& options, FILE* out, FILE* err) noexcept;
// The same with another option table, whose unknown values end the run with
// "Unhandled option -%c".
CommandLineOutcome parseCommandLineWith(const LongOption* table, int argc, char* const* argv,
                                        const char* programName, CommandLineOptions& options,
                                        FILE* out, FILE* err) noexcept;

// The output format code for a --format argument, or kOutputFormatUnknown.
// Only A to Z fold to a to z; a null text compares as empty.
int32_t outputFormatFromName(const char* name) noexcept;

void writeHelp(FILE* out, const char* programName) noexcept;
void writeVersion(FILE* out, const char* programName) noexcept;
