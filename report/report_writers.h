// Metrics report writers: one VroMetrics record as a plain report or a CSV line.
//
// Contract: writePlainReport and writeCsvReport open their destination (the
// file at outputPath, replaced, or extended when append is set; standard
// output when outputPath is null, empty or "-"), write UTF-8 with a byte-order
// mark when the stream is at position 0 (a new, replaced or empty file),
// close it and release the writer on every path. Failures are logged at level
// error with the output path and the code ("%s: metrics file open failed" /
// "%s: open metrics file failed" for the plain / CSV open, "%s: write failed",
// "%s: close failed") and the code is returned; 0 on success.
//
// formatPlainReport and formatCsvReport write the body to an open writer,
// which keeps a failed write for its owner to check; they return 22 for a
// null writer, the code of a label that cannot be written whole (85, 537),
// 12 when the CSV line cannot be made, else 0. The label is UTF-16
// text; null or empty means no label. Scaled values print as whole part and
// remainder without rounding; a mode of 0xFFFFFFFF prints as "multi". The CSV
// label is written as it stands, neither quoted nor escaped.
#pragma once

#include "foundation/result_codes.h"

struct VroMetrics;
class XpTextWriter;

[[nodiscard]] ResultCode writePlainReport(const VroMetrics& metrics, const char* outputPath,
                                          const char16_t* label, bool append) noexcept;
[[nodiscard]] ResultCode writeCsvReport(const VroMetrics& metrics, const char* outputPath,
                                        const char16_t* label, bool withHeader, bool append) noexcept;

[[nodiscard]] ResultCode formatPlainReport(const VroMetrics& metrics, XpTextWriter* writer,
                                           const char16_t* label) noexcept;
[[nodiscard]] ResultCode formatCsvReport(const VroMetrics& metrics, XpTextWriter* writer,
                                         const char16_t* label, bool withHeader) noexcept;
