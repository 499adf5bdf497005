// Report options: parser, help and version of varoreport.
#include "app/varoreport/report_options.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "app/common/product.h"
#include "report/field_notes.h"
#include "report/report_rows.h"

namespace {

constexpr const char kUsage[] =
    "Usage: %s [-f csv|json|papers|html] [--values decimal|stored] [-j N] [--year YEAR] [-o FILE] [-q]\n"
    "       [--merge] [--by author|source|year] [--min-papers N] EXPORT...\n";

constexpr const char kHelpDescription[] =
    "Imports each EXPORT (a file; a directory for its regular files, sorted by\n"
    "name; \"-\" for standard input), calculates every citation metric and writes\n"
    "one row per export (csv, json), one row per publication (papers) or one\n"
    "page with charts and tables (html), in the order the exports are given. An\n"
    "export that cannot be imported is reported on standard error and in its\n"
    "row; the others are still reported.\n"
    "\n"
    "--merge pools the exports into one body of work: records with the same DOI,\n"
    "or with the same title (letters and digits, any case) and year when not both\n"
    "have a DOI, are one work, counted once with its most cited record. --by\n"
    "reports every metric per author (by the identifier the export gives, else\n"
    "surname and first initial), per source or per year, highest h index first.\n"
    "\n"
    "Exit status: 0 when every export was reported, 1 when one failed or the\n"
    "report could not be written, 2 for a usage error (an output file that is\n"
    "one of the exports included: it is never replaced).\n"
    "\n"
    "Options:\n";

const ReportOptionRow* findShort(char letter) noexcept {
    for (const ReportOptionRow& option : kReportOptions)
        if (option.shortName != 0 && option.shortName == letter) return &option;
    return nullptr;
}

const ReportOptionRow* findLong(const char* name, size_t length) noexcept {
    for (const ReportOptionRow& option : kReportOptions)
        if (std::strlen(option.longName) == length && std::strncmp(option.longName, name, length) == 0) return &option;
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
    for (const ReportOptionRow& option : kReportOptions) {
        char left[40];
        if (option.shortName)
            std::snprintf(left, sizeof left, "-%c, --%s%s%s", option.shortName, option.longName,
                          option.argumentName ? " " : "", option.argumentName ? option.argumentName : "");
        else
            std::snprintf(left, sizeof left, "    --%s%s%s", option.longName, option.argumentName ? " " : "",
                          option.argumentName ? option.argumentName : "");
        std::fprintf(out, "  %-22s %s\n", left, option.help);
    }
}

void writeReportUsage(FILE* err, const char* programName) noexcept { std::fprintf(err, kUsage, programName); }

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
            const ReportOptionRow* option = nullptr;
            const char* value = nullptr;
            if (!group) {
                const char* name = arg + 2;
                const char* equals = std::strchr(name, '=');
                const size_t length = equals ? size_t(equals - name) : std::strlen(name);
                option = findLong(name, length);
                if (!option) {
                    char shown[64];
                    std::snprintf(shown, sizeof shown, "%.*s", int(length < 60 ? length : 60), name);
                    return usageError(err, programName, "unknown option --%s", shown);
                }
                if (equals && !option->argumentName)
                    return usageError(err, programName, "option --%s takes no argument", option->longName);
                if (equals) value = equals + 1;
            } else {
                option = findShort(*group);
                if (!option) {
                    const char letter[2] = {*group, '\0'};
                    return usageError(err, programName, "unknown option -%s", letter);
                }
                ++group;
                if (option->argumentName && *group) {
                    value = group;
                    group = nullptr;
                }
            }
            if (option->argumentName && !value) {
                if (index + 1 >= argc || !argv[index + 1])
                    return usageError(err, programName, "option --%s requires an argument", option->longName);
                value = argv[++index];
            }
            long number = 0;
            switch (option->id) {
                case kReportOptionFormat:
                    options.format = findReportFormat(value);
                    if (!options.format) return usageError(err, programName, "unknown format '%s'", value);
                    break;
                case kReportOptionValues:
                    if (std::strcmp(value, "decimal") != 0 && std::strcmp(value, "stored") != 0)
                        return usageError(err, programName, "--values wants decimal or stored, not '%s'", value);
                    options.storedValues = std::strcmp(value, "stored") == 0;
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
                case kReportOptionFields:
                    options.listFields = true;
                    break;
                case kReportOptionMerge:
                    options.merge = true;
                    break;
                case kReportOptionBy:
                    if (std::strcmp(value, "author") == 0)
                        options.by = 1;
                    else if (std::strcmp(value, "source") == 0)
                        options.by = 2;
                    else if (std::strcmp(value, "year") == 0)
                        options.by = 3;
                    else
                        return usageError(err, programName, "--by wants author, source or year, not '%s'", value);
                    break;
                case kReportOptionMinPapers:
                    if (!parseNumber(value, 1, 4294967295L, &number))
                        return usageError(err, programName, "--min-papers wants a number from 1, not '%s'", value);
                    options.minPapers = uint32_t(number);
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
    if (options.listFields) {
        writeFieldList(out, options.storedValues);
        return {true, 0};
    }
    if (options.inputCount == 0) return usageError(err, programName, "%s", "no export given");
    return {false, 0};
}
