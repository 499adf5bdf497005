// Report run: every input of varoreport imported, calculated and reported.
//
// Contract: runReport imports each input as varometrics does, calculates it
// with at most 50 authors counted per paper at the given time, and writes the
// chosen format's head, one block per input in input order, and its tail, to
// outputPath (null or "-": standard output; a file is replaced only once the
// report is complete, see report_output.h), as UTF-8 without a byte-order mark.
// - Inputs are processed on `jobs` threads (never more than there are
//   inputs); the output order is the input order whatever the count. At most
//   a window of inputs ahead of the one being written is held in memory.
//   With at least two threads per input, each input uses more: with --by a
//   second for its authors and group rows (report_collation.h), with
//   --merge one for its work keys (collate/works.h); the report is the
//   same.
// - An input that cannot be imported gets its failure block and the line
//   "PROGRAM: FILE: MESSAGE" on err, in input order; the others go on.
// - When showProgress is set, "N/M exports" is redrawn on err at most ten
//   times a second and erased at the end.
// - Returns 0 when every input was reported, 1 when one failed or the output
//   could not be opened or written ("PROGRAM: OUTPUT: cannot write report:
//   MESSAGE" on err; the run then stops).
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "app/varoreport/report_inputs.h"

struct VroReportFormat;

struct ReportRun {
    const VroReportFormat* format = nullptr;
    const char* outputPath = nullptr;
    uint32_t jobs = 1;
    int64_t now = 0;  // seconds since 1970-01-01 00:00 UTC
    bool showProgress = false;
    bool storedValues = false;  // csv, json: the integers stored (report_rows.h)
    // Collation (report_collation.h): pool the exports, and group by
    // 1 + VroGroupKind (0: no grouping), leaving out groups below minPapers.
    bool merge = false;
    uint32_t by = 0;
    uint32_t minPapers = 1;
    bool collates() const noexcept { return merge || by != 0; }
    const char* programName = "varoreport";
};

int runReport(const ReportRun& run, const std::vector<ReportInput>& inputs, FILE* err) noexcept;

// Seconds since 1970-01-01 00:00 UTC at 1 July of year (1 or later), 00:00
// UTC (proleptic Gregorian calendar).
int64_t julyFirstUtc(int32_t year) noexcept;
