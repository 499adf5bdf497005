// Report options: the command line of varoreport.
//
//   varoreport [-f csv|json|papers|html] [--values decimal|stored] [-j N] [--year YEAR] [-o FILE] [-q]
//              [--merge] [--by author|source|year] [--min-papers N] EXPORT...
//   varoreport --fields [--values decimal|stored]
//   varoreport -h | --help, -V | --version
//
// Contract: parseReportOptions reads the arguments once and either fills the
// options and says "go on", or has already written the help or the version
// (exit 0) or a usage error (exit 2) and says how the process exits.
// - kReportOptions is the one option table: the parser, the help text and
//   the man page's OPTIONS list follow it.
// - Short options may be grouped ("-qj4"); an option's argument is the rest
//   of its group or the next argument ("-j 4", "-j4"); long options take
//   "--name=value" or "--name value" and match in full only.
// - Options and inputs may be mixed; "--" ends the options, and "-" is an
//   input (standard input).
// - A later value of the same option replaces an earlier one; --help and
//   --version act when met, before the rest of the line is examined;
//   --fields once the whole line is read (it needs no export, and lists the
//   columns as --values names them).
// - Usage errors: an unknown option, a missing argument, an unknown format,
//   N not a whole number from 1 to kMaxReportJobs, YEAR not a whole number
//   from 1 to 9999, a --values other than decimal or stored, --by not author,
//   source or year, --min-papers N not a whole number from 1 to 4294967295,
//   no input. Each writes "PROGRAM: MESSAGE" and the usage
//   line to err.
#pragma once

#include <cstdint>
#include <cstdio>

struct VroReportFormat;

inline constexpr uint32_t kMaxReportJobs = 256;

enum : int {
    kReportOptionFormat,
    kReportOptionValues,
    kReportOptionJobs,
    kReportOptionYear,
    kReportOptionOutput,
    kReportOptionQuiet,
    kReportOptionFields,
    kReportOptionMerge,
    kReportOptionBy,
    kReportOptionMinPapers,
    kReportOptionHelp,
    kReportOptionVersion,
};

struct ReportOptionRow {
    char shortName;          // 0: long form only
    const char* longName;
    const char* argumentName;  // null: takes no argument
    int id;
    const char* help;
};

inline constexpr ReportOptionRow kReportOptions[] = {
    {'f', "format", "FORMAT", kReportOptionFormat, "csv (the default), json, papers or html"},
    {0, "values", "FORM", kReportOptionValues, "csv, json: decimal (the default) or stored integers"},
    {'j', "jobs", "N", kReportOptionJobs, "process the inputs on N threads (default: the number of processors)"},
    {0, "year", "YEAR", kReportOptionYear, "calculate as on 1 July of YEAR, 00:00 UTC (default: now)"},
    {'o', "output", "FILE", kReportOptionOutput, "write the report to FILE instead of standard output"},
    {'q', "quiet", nullptr, kReportOptionQuiet, "show no progress counter"},
    {0, "fields", nullptr, kReportOptionFields, "list the csv and json columns with unit and meaning, and exit"},
    {0, "merge", nullptr, kReportOptionMerge, "pool the exports and report their works, duplicates merged"},
    {0, "by", "KIND", kReportOptionBy, "one row per author, source or year (KIND) of each export"},
    {0, "min-papers", "N", kReportOptionMinPapers, "with --by, leave out groups of fewer than N publications"},
    {'h', "help", nullptr, kReportOptionHelp, "show this help and exit"},
    {'V', "version", nullptr, kReportOptionVersion, "show the version and exit"},
};

struct ReportOptions {
    const VroReportFormat* format = nullptr;  // csv unless -f names another
    bool storedValues = false;                // --values stored
    uint32_t jobs = 0;                        // 0: the number of processors
    bool yearGiven = false;
    int32_t year = 0;
    const char* outputPath = nullptr;  // null: standard output
    bool quiet = false;
    bool listFields = false;
    bool merge = false;
    // 0: no grouping; else 1 + the VroGroupKind (author, source, year).
    uint32_t by = 0;
    uint32_t minPapers = 1;
    // The inputs in the order given, pointing into argv; inputs[count] is
    // null. The array is owned by the options.
    const char** inputs = nullptr;
    uint32_t inputCount = 0;

    ReportOptions() = default;
    ~ReportOptions();
    ReportOptions(const ReportOptions&) = delete;
    ReportOptions& operator=(const ReportOptions&) = delete;
};

struct ReportOutcome {
    bool exitNow;
    int exitStatus;
};

ReportOutcome parseReportOptions(int argc, char* const* argv, const char* programName, ReportOptions& options,
                                 FILE* out, FILE* err) noexcept;

void writeReportHelp(FILE* out, const char* programName) noexcept;
// The usage line, which follows every usage error.
void writeReportUsage(FILE* err, const char* programName) noexcept;
void writeReportVersion(FILE* out, const char* programName) noexcept;
