// Columns of the metrics reports: every value the plain report and the CSV
// line show, named by its column header.
//
// Contract: kReportColumns holds one row per value: the header text the CSV
// line uses for it, the position of its 32-bit field in VroMetrics (which is
// also its row in kMetricsSchema), the scale the field carries and its form.
// The reference year, which only the plain report shows, goes by its schema
// name "year_ref". formatReportValue writes a value as both reports print it:
// - a scale of 100 or 10: whole part and remainder without rounding, as
//   "%u.%02u" or "%u.%01u";
// - a mode: its digits, or "multi" when the field holds 0xFFFFFFFF;
// - else "%d" when the schema types the field signed (the years), or "%u".
// kCsvReportHeader is the CSV header line: the headers of the CSV columns in
// line order, each ended by a comma, the last by a line feed. Every name in it and
// every "{name}" in a plain report line has a row (checked where they are
// defined), so header and values cannot drift apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "model/metrics_record.h"

enum class VroColumnForm : uint8_t {
    kNumber,  // digits, with decimals when scaled
    kMode,    // digits, or "multi" for no unique mode
};

struct VroReportColumn {
    const char* header;
    uint32_t field;  // position of the 32-bit field in VroMetrics
    uint32_t scale;  // 1, 10 or 100
    VroColumnForm form;
};

// The position of the field at a byte offset of VroMetrics.
constexpr uint32_t metricsFieldAt(size_t offset) noexcept { return uint32_t(offset / 4); }

inline constexpr VroReportColumn kReportColumns[] = {
    {"p", metricsFieldAt(offsetof(VroMetrics, totalPapers)), 1, VroColumnForm::kNumber},
    {"c", metricsFieldAt(offsetof(VroMetrics, totalCites)), 1, VroColumnForm::kNumber},
    {"y", metricsFieldAt(offsetof(VroMetrics, citingYears)), 1, VroColumnForm::kNumber},
    {"cpp", metricsFieldAt(offsetof(VroMetrics, meanCitesPerPaper100)), 100, VroColumnForm::kNumber},
    {"cpa", metricsFieldAt(offsetof(VroMetrics, citesPerAuthor100)), 100, VroColumnForm::kNumber},
    {"ppa", metricsFieldAt(offsetof(VroMetrics, papersPerAuthor100)), 100, VroColumnForm::kNumber},
    {"app", metricsFieldAt(offsetof(VroMetrics, meanAuthorsPerPaper100)), 100, VroColumnForm::kNumber},
    {"app_med", metricsFieldAt(offsetof(VroMetrics, medianAuthorsPerPaper10)), 10, VroColumnForm::kNumber},
    {"app_mode", metricsFieldAt(offsetof(VroMetrics, authorsPerPaperMode)), 1, VroColumnForm::kMode},
    {"h", metricsFieldAt(offsetof(VroMetrics, hIndex)), 1, VroColumnForm::kNumber},
    {"a", metricsFieldAt(offsetof(VroMetrics, a100)), 100, VroColumnForm::kNumber},
    {"m", metricsFieldAt(offsetof(VroMetrics, m100)), 100, VroColumnForm::kNumber},
    {"g", metricsFieldAt(offsetof(VroMetrics, gIndex)), 1, VroColumnForm::kNumber},
    {"g_h", metricsFieldAt(offsetof(VroMetrics, gh100)), 100, VroColumnForm::kNumber},
    {"hc", metricsFieldAt(offsetof(VroMetrics, hcIndex)), 1, VroColumnForm::kNumber},
    {"ac", metricsFieldAt(offsetof(VroMetrics, ac100)), 100, VroColumnForm::kNumber},
    {"hI", metricsFieldAt(offsetof(VroMetrics, hIBatista100)), 100, VroColumnForm::kNumber},
    {"hI_norm", metricsFieldAt(offsetof(VroMetrics, hINormalized)), 1, VroColumnForm::kNumber},
    {"star_count", metricsFieldAt(offsetof(VroMetrics, acc10)), 1, VroColumnForm::kNumber},
    {"year_first", metricsFieldAt(offsetof(VroMetrics, firstYear)), 1, VroColumnForm::kNumber},
    {"year_last", metricsFieldAt(offsetof(VroMetrics, lastYear)), 1, VroColumnForm::kNumber},
    {"est_c", metricsFieldAt(offsetof(VroMetrics, estimatedTotalCites)), 1, VroColumnForm::kNumber},
    {"year_ref", metricsFieldAt(offsetof(VroMetrics, referenceYear)), 1, VroColumnForm::kNumber},
};

inline constexpr char kCsvReportHeader[] =
    "p,c,y,cpp,cpa,ppa,app,app_med,app_mode,h,a,m,g,g_h,hc,ac,hI,hI_norm,star_count,year_first,year_last,est_c\n";

// The index of the row with this header in kReportColumns, or
// std::size(kReportColumns) when there is none.
constexpr size_t reportColumnIndex(std::string_view header) noexcept {
    size_t i = 0;
    while (i < std::size(kReportColumns) && header != kReportColumns[i].header) ++i;
    return i;
}
constexpr bool isReportColumn(std::string_view header) noexcept {
    return reportColumnIndex(header) < std::size(kReportColumns);
}

// Writes the column's value of metrics into buffer, zero-terminated and cut to
// fit; returns buffer.
const char* formatReportValue(const VroMetrics& metrics, const VroReportColumn& column, char (&buffer)[24]) noexcept;
