#include "report/svg_charts.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "report/markup_text.h"
#include "model/publication.h"

namespace {

// View box and plot areas, in view-box units (pixels at full width).
constexpr int64_t kWidth = 640;
constexpr int64_t kLeft = 72;
constexpr int64_t kPlotWidth = kWidth - kLeft - 16;
constexpr int64_t kRankHeight = 380;
constexpr int64_t kRankTop = 20;
constexpr int64_t kRankPlotHeight = 304;
constexpr int64_t kYearHeight = 330;
constexpr int64_t kYearPanelTop[2] = {28, 170};
constexpr int64_t kYearPanelHeight = 110;
// Bars are drawn in a scaled group: one unit per rank or year across, a
// thousand units up the plot.
constexpr int64_t kBarUnits = 1000;
// Tooltips name each paper while they cost little next to the page.
constexpr uint32_t kMaxTooltips = 1000;
// Up to this many bars a thin white edge keeps neighbours apart.
constexpr uint64_t kMaxEdgedBars = 150;
// Above this largest count the citation axis turns logarithmic.
constexpr uint32_t kLinearCitationLimit = 100;

int64_t roundToInt(double value) { return std::isfinite(value) ? int64_t(std::llround(value)) : 0; }

// The smallest 1, 2 or 5 times a power of ten that divides range into at
// most `ticks` steps.
uint64_t niceStep(uint64_t range, uint64_t ticks) {
    const uint64_t wanted = std::max<uint64_t>(1, (range + ticks - 1) / ticks);
    for (uint64_t power = 1;; power *= 10)
        for (uint64_t m : {1, 2, 5})
            if (m * power >= wanted) return m * power;
}

// A value axis: linear from 0 to top, or by log10(1 + v) up to top.
struct ValueAxis {
    bool logarithmic;
    uint64_t top;
    uint64_t step;  // between labelled ticks of the linear axis

    static ValueAxis linear(uint64_t largest, uint64_t ticks) {
        const uint64_t step = niceStep(std::max<uint64_t>(largest, 1), ticks);
        const uint64_t top = std::max<uint64_t>(1, (largest + step - 1) / step) * step;
        return {false, top, step};
    }
    static ValueAxis logScale(uint64_t largest) { return {true, niceStep(largest, 1), 0}; }

    // Share of the axis height below v, 0 to 1.
    double share(uint64_t value) const {
        const double v = double(std::min(value, top));
        return logarithmic ? std::log10(1.0 + v) / std::log10(1.0 + double(top)) : v / double(top);
    }
    // Height of a bar in bar units.
    int64_t barUnits(uint64_t value) const { return roundToInt(share(value) * kBarUnits); }
    // The next labelled tick above v, for v below the top (the ticks stop
    // at the top).
    uint64_t nextTick(uint64_t value) const {
        if (!logarithmic) return value + step;
        const uint64_t next = value == 0 ? 1 : value * 10;
        return next < top ? next : top;
    }
};

// The transform of a bar group: one unit per rank or year across and
// kBarUnits up the plot, from its baseline, so that a bar needs no y.
// Factors print with six decimals.
void barGroup(XpTextWriter* out, int64_t top, int64_t height, uint64_t slots, bool edged) {
    const uint64_t sx = (uint64_t(kPlotWidth) * 1000000 + slots / 2) / slots;
    const uint64_t sy = uint64_t(height) * 1000000 / kBarUnits;
    writerPrintf(out, "<g class=\"%s\" transform=\"translate(%lld %lld) scale(%llu.%06llu -%llu.%06llu)\">\n",
               edged ? "bars edged" : "bars", (long long)kLeft, (long long)(top + height),
               (unsigned long long)(sx / 1000000), (unsigned long long)(sx % 1000000),
               (unsigned long long)(sy / 1000000), (unsigned long long)(sy % 1000000));
}

// x of a position across the plot (in slots, may be fractional by halves) in
// tenths of a unit.
int64_t slotX10(uint64_t halfSlots, uint64_t slots) {
    return kLeft * 10 + int64_t((halfSlots * uint64_t(kPlotWidth) * 10 + slots) / (2 * slots));
}

void svgOpen(XpTextWriter* out, int64_t height, const char* what, const char16_t* label) {
    writerPrintf(out, "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %lld %lld\" width=\"%lld\" height=\"%lld\" "
               "role=\"img\" aria-label=\"%s: ",
               (long long)kWidth, (long long)height, (long long)kWidth, (long long)height, what);
    writeMarkupText(out, label);
    writerPrintf(out, "\"><title>%s: ", what);
    writeMarkupText(out, label);
    out->writeText("</title>\n");
}

// Labelled ticks and light grid lines of a value axis left of a plot.
void valueTicks(XpTextWriter* out, const ValueAxis& axis, int64_t top, int64_t height) {
    for (uint64_t v = 0;; v = axis.nextTick(v)) {
        const int64_t y10 = (top + height) * 10 - roundToInt(axis.share(v) * double(height * 10));
        if (v != 0) {
            writerPrintf(out, "<line class=\"grid\" x1=\"%lld\" x2=\"%lld\" y1=\"", (long long)kLeft,
                       (long long)(kLeft + kPlotWidth));
            writeTenths(out, y10);
            out->writeText("\" y2=\"");
            writeTenths(out, y10);
            out->writeText("\"/>");
        }
        if (v != 0 || !axis.logarithmic) {  // a log axis starts at 0 unlabelled, close below 1
            writerPrintf(out, "<text class=\"tick\" x=\"%lld\" y=\"", (long long)(kLeft - 6));
            writeTenths(out, y10 + 40);
            writerPrintf(out, "\" text-anchor=\"end\">%llu</text>\n", (unsigned long long)v);
        }
        if (v >= axis.top) break;
    }
}

// The two axis lines of a plot.
void axisLines(XpTextWriter* out, int64_t top, int64_t height) {
    writerPrintf(out, "<path class=\"axis\" d=\"M%lld %lldV%lldH%lld\"/>\n", (long long)kLeft, (long long)top,
               (long long)(top + height), (long long)(kLeft + kPlotWidth));
}

// One vertical marker line with its label, at the right edge of a rank.
void marker(XpTextWriter* out, const char* cls, const char* name, uint32_t rank, uint32_t count,
            int64_t labelY) {
    const int64_t x10 = slotX10(2 * uint64_t(rank), count);
    writerPrintf(out, "<line class=\"%s\" data-rank=\"%u\" x1=\"", cls, rank);
    writeTenths(out, x10);
    out->writeText("\" x2=\"");
    writeTenths(out, x10);
    writerPrintf(out, "\" y1=\"%lld\" y2=\"%lld\"/>", (long long)kRankTop, (long long)(kRankTop + kRankPlotHeight));
    const bool nearRight = x10 > (kLeft + kPlotWidth - 70) * 10;
    out->writeText("<text class=\"marker-label\" x=\"");
    writeTenths(out, nearRight ? x10 - 40 : x10 + 40);
    writerPrintf(out, "\" y=\"%lld\" text-anchor=\"%s\">%s = %u</text>\n", (long long)labelY, nearRight ? "end" : "start",
               name, rank);
}

void paperTooltip(XpTextWriter* out, const VroPublication& p, uint32_t rank) {
    writerPrintf(out, "<title>Rank %u: %u citation%s, ", rank, p.Cites, p.Cites == 1 ? "" : "s");
    if (p.Year >= kFirstCountedYear)
        writerPrintf(out, "%d", p.Year);
    else
        out->writeText("no year");
    out->writeText(". ");
    writeMarkupText(out, p.Title.data(), p.Title.length());
    out->writeText("</title>");
}

// The dashed line citations = rank from the origin to where it leaves the
// plot; on the log axis a curve through ranks spaced ever wider.
void diagonal(XpTextWriter* out, const ValueAxis& axis, uint32_t count) {
    const uint64_t end = std::min<uint64_t>(count, axis.top);
    out->writeText("<polyline class=\"diagonal\" points=\"");
    for (uint64_t r = 0;;) {
        const int64_t y10 =
            (kRankTop + kRankPlotHeight) * 10 - roundToInt(axis.share(r) * double(kRankPlotHeight * 10));
        if (r != 0) out->writeText(" ");
        writeTenths(out, slotX10(2 * r, count));
        out->writeText(",");
        writeTenths(out, y10);
        if (r >= end) break;
        r = axis.logarithmic ? std::max(r + 1, r + r / 8) : end;
        r = std::min(r, end);
    }
    out->writeText("\"/>\n");
}

}  // namespace

void writeRankChart(XpTextWriter* out, const VroChartInput& in) noexcept {
    out->writeText("<figure class=\"rank-chart\">\n");
    if (in.count == 0 || in.papers == nullptr) {
        out->writeText("<p>No publication takes part in the metrics, so there is nothing to draw.</p></figure>\n");
        return;
    }
    const uint32_t n = in.count;
    const uint32_t h = std::min(in.hIndex, n);
    const uint32_t g = std::min(std::max(in.gIndex, h), n);
    const uint32_t largest = in.papers[0]->Cites;
    const ValueAxis axis =
        largest > kLinearCitationLimit ? ValueAxis::logScale(largest) : ValueAxis::linear(largest, 6);

    svgOpen(out, kRankHeight, "Citations by rank", in.label);
    // The h-core and the rest of the g-core as bands behind the bars.
    const int64_t hx10 = slotX10(2 * uint64_t(h), n);
    const int64_t gx10 = slotX10(2 * uint64_t(g), n);
    if (h > 0) {
        writerPrintf(out, "<rect class=\"h-core\" x=\"%lld\" y=\"%lld\" width=\"", (long long)kLeft, (long long)kRankTop);
        writeTenths(out, hx10 - kLeft * 10);
        writerPrintf(out, "\" height=\"%lld\"/>\n", (long long)kRankPlotHeight);
    }
    if (g > h) {
        out->writeText("<rect class=\"g-core\" x=\"");
        writeTenths(out, hx10);
        writerPrintf(out, "\" y=\"%lld\" width=\"", (long long)kRankTop);
        writeTenths(out, gx10 - hx10);
        writerPrintf(out, "\" height=\"%lld\" fill=\"url(#g-core-hatch)\"/>\n", (long long)kRankPlotHeight);
    }
    valueTicks(out, axis, kRankTop, kRankPlotHeight);

    barGroup(out, kRankTop, kRankPlotHeight, n, n <= kMaxEdgedBars);
    for (uint32_t i = 0; i < n && out->failure() == kResultOk; ++i) {
        const VroPublication& p = *in.papers[i];
        const uint32_t rank = i + 1;
        const int64_t height = axis.barUnits(p.Cites);
        writerPrintf(out, "<rect class=\"paper%s\" data-rank=\"%u\" data-cites=\"%u\" x=\"%u\" width=\"1\" height=\"%lld\"",
                   rank <= h ? " core" : rank <= g ? " gcore" : "", rank, p.Cites, i, (long long)height);
        if (n <= kMaxTooltips) {
            out->writeText(">");
            paperTooltip(out, p, rank);
            out->writeText("</rect>\n");
        } else {
            out->writeText("/>\n");
        }
    }
    out->writeText("</g>\n");

    diagonal(out, axis, n);
    axisLines(out, kRankTop, kRankPlotHeight);
    // Rank ticks under the bars' centres: rank 1 and every multiple of a step.
    const uint64_t step = niceStep(n, 8);
    for (uint64_t r = 1; r <= n; r = (r == 1 && step > 1) ? step : r + step) {
        out->writeText("<text class=\"tick\" x=\"");
        writeTenths(out, slotX10(2 * r - 1, n));
        writerPrintf(out, "\" y=\"%lld\" text-anchor=\"middle\">%llu</text>", (long long)(kRankTop + kRankPlotHeight + 16),
                   (unsigned long long)r);
    }
    writerPrintf(out, "\n<text class=\"axis-title\" x=\"%lld\" y=\"%lld\" text-anchor=\"middle\">Rank (most cited "
               "first)</text>\n",
               (long long)(kLeft + kPlotWidth / 2), (long long)(kRankHeight - 14));
    writerPrintf(out, "<text class=\"axis-title\" transform=\"translate(18 %lld) rotate(-90)\" text-anchor=\"middle\">"
               "Citations%s</text>\n",
               (long long)(kRankTop + kRankPlotHeight / 2), axis.logarithmic ? " (log scale)" : "");
    if (h > 0) marker(out, "h-marker", "h", h, n, kRankTop + 13);
    if (g > 0) marker(out, "g-marker", "g", g, n, kRankTop + 29);
    out->writeText("</svg>\n<figcaption>Citations of each paper by rank. ");
    if (h > 0)
        writerPrintf(out, "Dark bars on the shaded band: the h-core, %u paper%s with at least %u citation%s each. ", h,
                   h == 1 ? "" : "s", h, h == 1 ? "" : "s");
    if (g > h)
        writerPrintf(out, "Mid-grey bars on the hatched band: the rest of the g-core (the top %u papers together have at "
                   "least %u citations). ",
                   g, g * g);
    out->writeText("Dashed line: citations equal to rank; solid line: h; dotted line: g.");
    if (axis.logarithmic) out->writeText(" The citation axis is logarithmic.");
    out->writeText("</figcaption>\n</figure>\n");
}

ResultCode writeYearChart(XpTextWriter* out, const VroChartInput& in) noexcept {
    struct YearTotal {
        int32_t year;
        uint32_t papers;
        uint64_t cites;
    };
    std::unique_ptr<YearTotal[]> years(new (std::nothrow) YearTotal[std::max<uint32_t>(in.count, 1)]);
    if (!years) return kErrNoMemory;
    uint32_t dated = 0;
    for (uint32_t i = 0; i < in.count; ++i) {
        const VroPublication& p = *in.papers[i];
        if (p.Year >= kFirstCountedYear) years[dated++] = {p.Year, 1, p.Cites};
    }
    const uint32_t undated = in.count - dated;
    writerPrintf(out, "<figure class=\"year-chart\" data-undated=\"%u\">\n", undated);
    if (dated == 0) {
        out->writeText("<p>No paper has a publication year, so there is no chart by year.</p></figure>\n");
        return kResultOk;
    }
    std::sort(years.get(), years.get() + dated, [](const YearTotal& a, const YearTotal& b) { return a.year < b.year; });
    uint32_t distinct = 0;
    uint64_t mostCites = 0;
    uint32_t mostPapers = 0;
    for (uint32_t i = 0; i < dated; ++i) {
        if (distinct > 0 && years[distinct - 1].year == years[i].year) {
            years[distinct - 1].papers += 1;
            years[distinct - 1].cites += years[i].cites;
        } else {
            years[distinct++] = years[i];
        }
        mostCites = std::max(mostCites, years[distinct - 1].cites);
        mostPapers = std::max(mostPapers, years[distinct - 1].papers);
    }
    const int32_t first = years[0].year;
    const uint64_t span = uint64_t(int64_t(years[distinct - 1].year) - first) + 1;

    svgOpen(out, kYearHeight, "Papers and citations by year", in.label);
    const char* const panelTitle[2] = {"Citations to the papers of each year", "Papers published in each year"};
    const char* const barClass[2] = {"year-cites", "year-papers"};
    const char* const dataName[2] = {"cites", "papers"};
    for (int panel = 0; panel < 2 && out->failure() == kResultOk; ++panel) {
        const int64_t top = kYearPanelTop[panel];
        const ValueAxis axis = ValueAxis::linear(panel == 0 ? mostCites : mostPapers, 3);
        writerPrintf(out, "<text class=\"panel-title\" x=\"%lld\" y=\"%lld\">%s</text>\n", (long long)kLeft,
                   (long long)(top - 8), panelTitle[panel]);
        valueTicks(out, axis, top, kYearPanelHeight);
        barGroup(out, top, kYearPanelHeight, span, span <= kMaxEdgedBars);
        for (uint32_t i = 0; i < distinct && out->failure() == kResultOk; ++i) {
            const YearTotal& y = years[i];
            const uint64_t value = panel == 0 ? y.cites : y.papers;
            const int64_t height = axis.barUnits(value);
            writerPrintf(out, "<rect class=\"%s\" data-year=\"%d\" data-%s=\"%llu\" x=\"%llu\" width=\"1\" "
                       "height=\"%lld\"><title>%d: %llu %s</title></rect>\n",
                       barClass[panel], y.year, dataName[panel], (unsigned long long)value,
                       (unsigned long long)(int64_t(y.year) - first), (long long)height, y.year,
                       (unsigned long long)value,
                       panel == 0 ? (value == 1 ? "citation" : "citations") : (value == 1 ? "paper" : "papers"));
        }
        out->writeText("</g>\n");
        axisLines(out, top, kYearPanelHeight);
    }
    // Year ticks under the lower panel: every multiple of a step.
    const uint64_t step = niceStep(span, 8);
    const int64_t labelY = kYearPanelTop[1] + kYearPanelHeight + 16;
    const int64_t last = first + int64_t(span) - 1;
    for (int64_t year = (first + int64_t(step) - 1) / int64_t(step) * int64_t(step); year <= last;
         year += int64_t(step)) {
        out->writeText("<text class=\"tick\" x=\"");
        writeTenths(out, slotX10(2 * uint64_t(year - first) + 1, span));
        writerPrintf(out, "\" y=\"%lld\" text-anchor=\"middle\">%lld</text>", (long long)labelY, (long long)year);
    }
    writerPrintf(out, "\n<text class=\"axis-title\" x=\"%lld\" y=\"%lld\" text-anchor=\"middle\">Publication year</text>\n",
               (long long)(kLeft + kPlotWidth / 2), (long long)(kYearHeight - 12));
    out->writeText("</svg>\n<figcaption>Upper panel: citations to the papers published in each year; lower panel: the "
            "number of papers published in each year.");
    if (undated > 0)
        writerPrintf(out, " %u paper%s without a publication year %s not shown.", undated, undated == 1 ? "" : "s",
                   undated == 1 ? "is" : "are");
    out->writeText("</figcaption>\n</figure>\n");
    return kResultOk;
}
