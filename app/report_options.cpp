// Report options: parser, help and version of varoreport.
#include "app/report_options.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "app/command_line.h"
#include "app/report_rows.h"

namespace {

constexpr const char kUsage[] = "Usage: %s [-f csv|json|papers] [-j N] [--year YEAR] [-o FILE] [-q] EXPORT...\n";

constexpr const char kHelpDescription[] =
    "Imports each EXPORT (a file; a directory for its regular files, sorted by\n"
    "name; \"-\" for standard input), calculates every citation metric and writes\n"
    "one row per export (csv, json) or one row per publication (papers), in the\n"
    "order the exports are given. An export that cannot be imported is reported\n"
    "on standard error and in its row; the others are still reported.\n"
    "\n"
    "Exit status: 0 when every export was reported, 1 when one failed or the\n"
    "report could not be written, 2 for a usage error.\n"
    "\n"
    "Options:\n";

const ReportOptionSpec* findShort(char letter) noexcept {
    for (const ReportOptionSpec& spec : kReportOptions)
        if (spec.shortName != 0 && spec.shortName == letter) return &spec;
    return nullptr;
}

const ReportOptionSpec* findLong(const char* name, size_t length) noexcept {
    for (const ReportOptionSpec& spec : kReportOptions)
        if (std::strlen(spec.longName) == length && std::strncmp(spec.longName, name, length) == 0) return &spec;
    return nullptr;
}

// A whole decimal number from low to high, nothing else.
bool parseNumber(const char* text, long low, long high, long* value) noexcept {
    if (!text || *text < '0' || *text > '9') return false;
    long n = 0;
    for (; *text; ++text) {
        if (*text < '0' || *text > '9') return false;
        n = n * 10 + (*text - '0');
        if (n > high) return false;
    }
    if (n < low) return false;
    *value = n;
    return true;
}

ReportOutcome usageError(FILE* err, const char* programName, const char* format, const char* what) noexcept {
    std::fprintf(err, "%s: ", programName);
    std::fprintf(err, format, what);
    std::fputc('\n', err);
    std::fprintf(err, kUsage, programName);
    return {true, 2};
}

}  // namespace

ReportOptions::~ReportOptions() { std::free(inputs); }

void writeReportHelp(FILE* out, const char* programName) noexcept {
    std::fprintf(out, kUsage, programName);
    std::fprintf(out, "       %s -h | --help, -V | --version\n\n", programName);
    std::fputs(kHelpDescription, out);
    for (const ReportOptionSpec& spec : kReportOptions) {
        char left[40];
        if (spec.shortName)
            std::snprintf(left, sizeof left, "-%c, --%s%s%s", spec.shortName, spec.longName,
                          spec.argumentName ? " " : "", spec.argumentName ? spec.argumentName : "");
        else
            std::snprintf(left, sizeof left, "    --%s%s%s", spec.longName, spec.argumentName ? " " : "",
                          spec.argumentName ? spec.argumentName : "");
        std::fprintf(out, "  %-22s %s\n", left, spec.help);
    }
}

void writeReportVersion(FILE* out, const char* programName) noexcept {
    std::fprintf(out, "%s %s %s\n%s\n", programName, kFullVersion, kPlatform, kCopyrightNotice);
}

ReportOutcome parseReportOptions(int argc, char* const* argv, const char* programName, ReportOptions& options,
                                 FILE* out, FILE* err) noexcept {
    std::free(options.inputs);
    options.inputCount = 0;
    options.inputs = static_cast<const char**>(std::calloc(size_t(argc > 0 ? argc : 0) + 1, sizeof(const char*)));
    if (!options.inputs) {
        std::fprintf(err, "%s: out of memory\n", programName);
        return {true, 2};
    }
    options.format = &kReportFormats[0];
    bool optionsEnded = false;
    for (int index = 1; index < argc; ++index) {
        const char* arg = argv[index];
        if (!arg) continue;
        if (optionsEnded || arg[0] != '-' || arg[1] == '\0') {
            options.inputs[options.inputCount++] = arg;
            continue;
        }
        if (std::strcmp(arg, "--") == 0) {
            optionsEnded = true;
            continue;
        }
        // Each pass handles one option of the argument: a long option, or the
        // next letter of a group of short ones.
        const char* group = arg[1] == '-' ? nullptr : arg + 1;
        while (true) {
            const ReportOptionSpec* spec = nullptr;
            const char* value = nullptr;
            if (!group) {
                const char* name = arg + 2;
                const char* equals = std::strchr(name, '=');
                const size_t length = equals ? size_t(equals - name) : std::strlen(name);
                spec = findLong(name, length);
                if (!spec) {
                    char shown[64];
                    std::snprintf(shown, sizeof shown, "%.*s", int(length < 60 ? length : 60), name);
                    return usageError(err, programName, "unknown option --%s", shown);
                }
                if (equals && !spec->argumentName)
                    return usageError(err, programName, "option --%s takes no argument", spec->longName);
                if (equals) value = equals + 1;
            } else {
                spec = findShort(*group);
                if (!spec) {
                    const char letter[2] = {*group, '\0'};
                    return usageError(err, programName, "unknown option -%s", letter);
                }
                ++group;
                if (spec->argumentName && *group) {
                    value = group;
                    group = nullptr;
                }
            }
            if (spec->argumentName && !value) {
                if (index + 1 >= argc || !argv[index + 1])
                    return usageError(err, programName, "option --%s requires an argument", spec->longName);
                value = argv[++index];
            }
            long number = 0;
            switch (spec->id) {
                case kReportOptionFormat:
                    options.format = findReportFormat(value);
                    if (!options.format) return usageError(err, programName, "unknown format '%s'", value);
                    break;
                case kReportOptionJobs:
                    if (!parseNumber(value, 1, long(kMaxReportJobs), &number))
                        return usageError(err, programName, "-j wants a number of threads from 1 to 256, not '%s'",
                                          value);
                    options.jobs = uint32_t(number);
                    break;
                case kReportOptionYear:
                    if (!parseNumber(value, 1, 9999, &number))
                        return usageError(err, programName, "--year wants a year from 1 to 9999, not '%s'", value);
                    options.yearGiven = true;
                    options.year = int32_t(number);
                    break;
                case kReportOptionOutput:
                    options.outputPath = value;
                    break;
                case kReportOptionQuiet:
                    options.quiet = true;
                    break;
                case kReportOptionHelp:
                    writeReportHelp(out, programName);
                    return {true, 0};
                case kReportOptionVersion:
                    writeReportVersion(out, programName);
                    return {true, 0};
            }
            if (!group || !*group || value) break;
        }
    }
    if (options.inputCount == 0) return usageError(err, programName, "%s", "no export given");
    return {false, 0};
}
