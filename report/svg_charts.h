// SVG charts of one export's record, inline in the HTML page.
//
// Contract: both charts are written as one <figure> holding an inline <svg>
// (drawn in grey tones, dashes and dots only, so it prints in black and
// white) and a <figcaption>; they are sized for a 640-unit view box that
// scales down to the page width. Neither uses script, an external resource or
// an element id; the hatching of the g-core is the page's pattern
// "g-core-hatch" (report/html_page.h defines it once in the head).
//
// - writeRankChart: citations by rank, the most cited paper first. One
//   <rect class="paper"> per paper with data-rank (1-based) and data-cites;
//   the h-core papers also carry class "core" and the rest of the g-core
//   "gcore". The citation axis is linear up to 100 citations; above that it
//   is logarithmic (position by log10(1 + citations), so papers without
//   citations still sit on the axis). The diagonal citations = rank is a
//   dashed line (class "diagonal"); the h-core is a shaded band and the rest
//   of the g-core a hatched band; h and g are marked by vertical lines of
//   class "h-marker" and "g-marker" with data-rank h and g at the right edge
//   of that rank's bar (no marker for an index of 0). Without papers the
//   figure holds a sentence instead of a chart.
// - writeYearChart: papers and citations by publication year in two panels
//   sharing the year axis: one <rect class="year-cites"> and one
//   <rect class="year-papers"> per year that has papers, each with data-year
//   and data-cites or data-papers. Papers without a year (below 1600) are
//   counted in the caption and in the figure's data-undated. No dated paper:
//   a sentence instead.
//
// The papers are the used publications in the calculation's walk order (most
// cited first). A failed write is kept by the text writer; writeYearChart
// returns 12 when its working room cannot be allocated, else 0.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

class XpTextWriter;
class VroPublication;

struct VroChartInput {
    const VroPublication* const* papers;  // most cited first
    uint32_t count;
    uint32_t hIndex;
    uint32_t gIndex;
    const char16_t* label;  // named in the charts' accessible titles
};

void writeRankChart(XpTextWriter* out, const VroChartInput& input) noexcept;
[[nodiscard]] ResultCode writeYearChart(XpTextWriter* out, const VroChartInput& input) noexcept;
