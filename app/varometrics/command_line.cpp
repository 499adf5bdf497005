// Command line: option parser, help and version texts, option state.
#include "app/varometrics/command_line.h"

#include <cstring>
#include <iterator>
#include <string_view>

#include "app/common/product.h"
#include "foundation/ascii.h"
#include "foundation/sorted_tables.h"

namespace {

// Plain byte order of the names, the all-zero last row left out.
static_assert(isStrictlyAscending(kLongOptions, std::size(kLongOptions) - 1,
                                  [](const LongOption& a, const LongOption& b) {
                                      return std::string_view(a.name) < std::string_view(b.name);
                                  }),
              "kLongOptions is kept sorted by name");
static_assert(std::size(kLongOptions) > 0 && kLongOptions[std::size(kLongOptions) - 1].name == nullptr,
              "kLongOptions ends with an all-zero row");

bool equalIgnoringAsciiCase(const char* a, const char* b) noexcept {
    for (; *a && *b; ++a, ++b)
        if (asciiLower(*a) != asciiLower(*b)) return false;
    return *a == *b;
}

const LongOption* findLongOption(const LongOption* options, const char* name, size_t length) noexcept {
    for (; options->name; ++options)
        if (std::strlen(options->name) == length && std::strncmp(options->name, name, length) == 0)
            return options;
    return nullptr;
}

// The lines --help prints after the usage line; "%s" is the program name.
constexpr const char kHelpDescription[] =
    "%s reads publication data from 'infile', or from stdin if no 'infile'\n"
    "is specified, then calculates citation metrics and writes the outcome to\n"
    "'outfile' if specified, else to stdout. If 'outfile' is preceded by a '+'\n"
    "character, output is appended to 'outfile', else 'outfile' is overwritten.\n"
    "\n"
    "Acceptable input formats are the same as the import formats for Varo: various CSV formats, "
    "JSON, EndNote, ISI, and RefMan/RIS.\n"
    "\n"
    "The output format is the first of:\n"
    "\n"
    "  (1) the format specified by the --format option\n"
    "  (2) the extension of 'outfile', if any:\n"
    "    .csv   CSV (comma-separated values)\n"
    "    .txt   Plain text\n"
    "  (3) the default, which is currently plain text output.\n"
    "\n"
    "\n";

constexpr const char kOutputOptions[] =
    "Output options:\n"
    "--format csv|csvh|plain  specifies the output format for the metrics\n"
    "--label label            labels each set of metrics with 'label'\n";

}  // namespace

CommandLineOptions& commandLineOptions() noexcept {
    static CommandLineOptions options;
    return options;
}

int nextOption(OptionScanner& scanner, const LongOption* options, FILE* err) noexcept {
    scanner.argument = nullptr;
    if (scanner.index >= scanner.argc) return kOptionsEnd;
    const char* arg = scanner.argv[scanner.index];
    // No permutation: the first non-option (or a lone "-", which names
    // standard input) ends the options.
    if (!arg || arg[0] != '-' || arg[1] == '\0') return kOptionsEnd;
    ++scanner.index;
    if (arg[1] != '-') {
        // There are no single-letter options: the whole argument is rejected
        // by its first letter.
        std::fprintf(err, "unknown option -%c\n", arg[1]);
        return kOptionError;
    }
    if (arg[2] == '\0') return kOptionsEnd;  // "--" is consumed and ends the options
    const char* name = arg + 2;
    const char* equals = std::strchr(name, '=');
    const size_t nameLength = equals ? size_t(equals - name) : std::strlen(name);
    const LongOption* option = findLongOption(options, name, nameLength);
    if (!option) {
        std::fprintf(err, "unknown option --%.*s\n", int(nameLength), name);
        return kOptionError;
    }
    if (option->argument == kRequiredArgument) {
        if (equals) {
            scanner.argument = equals + 1;
        } else if (scanner.index < scanner.argc && scanner.argv[scanner.index]) {
            scanner.argument = scanner.argv[scanner.index++];
        } else {
            std::fprintf(err, "option --%s requires an argument\n", option->name);
            return kOptionError;
        }
    }
    return option->value;
}

int32_t outputFormatFromName(const char* name) noexcept {
    if (!name) name = "";
    for (const OutputFormatName& entry : kOutputFormatNames)
        if (equalIgnoringAsciiCase(name, entry.name)) return entry.code;
    return kOutputFormatUnknown;
}

void writeHelp(FILE* out, const char* programName) noexcept {
    std::fprintf(out, "Usage: %s [--format csv|csvh|plain] [--label label] [infile [[+]outfile]]\n\n",
                 programName);
    std::fprintf(out, kHelpDescription, programName);
    std::fputs(kOutputOptions, out);
}

void writeVersion(FILE* out, const char* programName) noexcept {
    std::fprintf(out, "%s %s %s\n%s\n", programName, kFullVersion, kPlatform, kCopyrightNotice);
}

CommandLineOutcome parseCommandLineWith(const LongOption* table, int argc, char* const* argv,
                                        const char* programName, CommandLineOptions& options,
                                        FILE* out, FILE* err) noexcept {
    OptionScanner scanner;
    scanner.argc = argc;
    scanner.argv = argv;
    // Options act in the order given: --help or --version ends the run when it
    // is met, so an error before it wins and nothing after it is examined.
    for (;;) {
        const int option = nextOption(scanner, table, err);
        switch (option) {
        case kOptionsEnd:
            break;
        case kOptionError:
            std::fprintf(err, "Type %s --help for a syntax summary\n", programName);
            return {true, 1};
        case kOptionHelp:
            writeHelp(out, programName);
            return {true, 0};
        case kOptionFormat:
            // A later --format overrides an earlier one.
            options.outputFormat = outputFormatFromName(scanner.argument);
            if (options.outputFormat == kOutputFormatUnknown) {
                std::fprintf(err, "Unknown output format '%s'; type %s --help for options\n",
                             scanner.argument ? scanner.argument : "", programName);
                return {true, 1};
            }
            continue;
        case kOptionLabel:
            options.label = scanner.argument;
            continue;
        case kOptionVersion:
            writeVersion(out, programName);
            return {true, 0};
        default:
            std::fprintf(err, "Unhandled option -%c\n", char(option));
            return {true, 1};
        }
        break;
    }
    // Positional arguments: input, then output; any further ones are ignored.
    if (scanner.index < argc) options.inputPath = argv[scanner.index];
    if (scanner.index + 1 < argc) options.outputArgument = argv[scanner.index + 1];
    return {false, 0};
}

CommandLineOutcome parseCommandLine(int argc, char* const* argv, const char* programName,
                                    CommandLineOptions& options, FILE* out, FILE* err) noexcept {
    return parseCommandLineWith(kLongOptions, argc, argv, programName, options, out, err);
}
