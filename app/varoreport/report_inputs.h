// Report inputs: the exports named on varoreport's command line, with each
// directory replaced by the regular files it holds.
//
// Contract: expandReportInputs turns the named inputs, in order, into the
// list of exports to report:
// - "-" stays "-" (standard input);
// - a directory gives its regular files (symbolic links followed), sorted by
//   name byte by byte, not recursing; subdirectories, devices, pipes and
//   sockets in it are left out, so that nothing can block the run; an empty
//   directory gives nothing;
// - a directory that cannot be listed gives one entry that carries the
//   failure, and so does an empty name;
// - anything else (a file, a name that does not exist) is kept as given and
//   the import reports what is wrong with it.
// A directory's files are named directory + "/" + name ("dir/" + name when
// the directory was given with its slash). A listed file that is `leaveOut`
// (the report's own output) is left out. Returns 0, or 12 when memory runs
// out (the list is then empty).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/varoreport/report_output.h"
#include "foundation/result_codes.h"

struct ReportInput {
    std::string path;
    ResultCode failure = kResultOk;  // known before any import is tried
};

[[nodiscard]] ResultCode expandReportInputs(const char* const* names, uint32_t count,
                                            std::vector<ReportInput>& inputs,
                                            const ReportFileIdentity& leaveOut = {}) noexcept;
