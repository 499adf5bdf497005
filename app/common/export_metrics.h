// Export metrics: one export imported and calculated, the step both programs
// take for every export they report.
//
// Contract: importAndCalculate imports inputPath (absent, empty or "-": standard
// input) into list through the import driver, ends the import (so that a list
// that keeps fewer texts drops them from the last record too) and, when the
// import succeeded, computes metrics over the list with at most kMaxAuthors
// authors counted per paper, as of `now` (seconds since 1970-01-01 00:00 UTC).
// - The caller sets up the list (numbers only, or the texts its report reads)
//   before the call; what the list holds afterwards is what the import and
//   the calculation left (records read before a failed import are kept).
// - filterName receives the importer's display name (emptied when no
//   importer ran).
// - details (optional) receives what the import driver tells beyond that
//   (import/import_driver.h): the format row that read the export, or the
//   first line no row accepted.
// - Returns the import's code unchanged; on failure metrics is not touched.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

class VroPublicationList;
class XpString;
struct VroImportDetails;
struct VroMetrics;

[[nodiscard]] ResultCode importAndCalculate(const char* inputPath, VroPublicationList& list, XpString& filterName,
                                            VroMetrics& metrics, int64_t now,
                                            VroImportDetails* details = nullptr) noexcept;
