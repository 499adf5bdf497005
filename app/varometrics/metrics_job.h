// Metrics job: the one run of the program, from import to report.
//
// Contract: runMetricsJob imports the publications of options.inputPath
// (absent, empty or "-" reads standard input), computes the metrics with at
// most 50 authors counted per paper and the current time, and writes the
// plain report or the CSV line chosen by options.outputFormat (2: CSV, 3: CSV
// with header, anything else: plain) to the path of options.outputArgument. An
// output argument starting with "+" appends to the path after that one
// character; an absent or empty path (the argument "+" alone included) means
// standard output. The label is options.label, or when that is absent or
// empty the last component of the input's display name (after the last '/'
// or '\\').
// On options.standardError it writes the line "<in>: imported <filter> data;
// <n> publications" after a successful import, and one failure line for the
// step that failed: "<in>: cannot import data: <message>" or "<out>: cannot
// export metrics: <message>". Nothing is flushed here: the writer delivers
// these lines when it is drained or released, after the log lines that the
// failing layer wrote straight to standard error. <in> is "<stdin>" for an
// absent or empty input path and <out> "<stdout>" for an absent or empty
// output argument, else the arguments as typed. Returns the failing layer's
// code unchanged, 0 on success. Everything the run creates is destroyed
// before it returns.
#pragma once

#include "foundation/result_codes.h"

struct CommandLineOptions;

[[nodiscard]] ResultCode runMetricsJob(const CommandLineOptions& options) noexcept;
