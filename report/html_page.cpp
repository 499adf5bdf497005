#include "report/html_page.h"

#include <algorithm>
#include <memory>
#include <new>

#include "foundation/strings.h"
#include "report/field_notes.h"
#include "report/markup_text.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/svg_charts.h"

namespace {

// Grey tones, dashes and dots only: the page must read the same printed in
// black and white. Generic font families only: nothing is fetched.
constexpr const char kStyleSheet[] =
    "body{font-family:Georgia,'Times New Roman',serif;color:#111;background:#fff;max-width:58em;"
    "margin:1.5em auto;padding:0 1em;line-height:1.4}\n"
    "h1{font-size:1.6em;margin:.2em 0}h2{font-size:1.3em;margin:.2em 0;overflow-wrap:anywhere}\n"
    "h3{font-size:1.1em;margin:1.2em 0 .3em}\n"
    "section.export{border-top:2px solid #222;margin-top:2em;padding-top:.5em}\n"
    ".facts{margin:.2em 0;color:#333}.key{font-size:1.1em;margin:.3em 0}\n"
    ".no-counts{margin:.4em 0;padding:.2em .6em;border-left:3px solid #555;background:#f2f2f2}\n"
    "figure{margin:1em 0}figcaption{font-size:.9em;color:#333}\n"
    "svg{display:block;max-width:100%;height:auto;font-family:Arial,Helvetica,sans-serif}\n"
    "svg.definitions{position:absolute}\n"
    "svg .grid{stroke:#e2e2e2;stroke-width:1}svg .axis{fill:none;stroke:#000;stroke-width:1}\n"
    "svg .tick{font-size:12px;fill:#222}svg .axis-title,svg .panel-title{font-size:13px;fill:#000}\n"
    "svg .h-core{fill:#e6e6e6}svg .paper{fill:#b4b4b4}svg .paper.gcore{fill:#707070}"
    "svg .paper.core{fill:#262626}\n"
    "svg .year-cites,svg .year-papers{fill:#4a4a4a}\n"
    "svg .edged rect{stroke:#fff;stroke-width:1px;vector-effect:non-scaling-stroke}\n"
    "svg .diagonal{fill:none;stroke:#000;stroke-width:1.3;stroke-dasharray:7 4}\n"
    "svg .h-marker{stroke:#000;stroke-width:2}svg .g-marker{stroke:#000;stroke-width:2;stroke-dasharray:2 3}\n"
    "svg .marker-label{font-size:13px;font-weight:bold;paint-order:stroke;stroke:#fff;stroke-width:3px}\n"
    "table{border-collapse:collapse;margin:.4em 0}caption{text-align:left;font-weight:bold;padding:.3em 0}\n"
    "th,td{padding:.15em .6em;text-align:left;vertical-align:top;border-bottom:1px solid #ddd}\n"
    "td.num{text-align:right;white-space:nowrap;font-variant-numeric:tabular-nums}\n"
    "tbody th.group{background:#f0f0f0;border-bottom:1px solid #999;padding-top:.5em}\n"
    "td.field code{font-size:.85em;color:#444}td.title{overflow-wrap:anywhere}\n"
    "table.authors caption{white-space:nowrap}\n"
    ".failed{border-left:4px solid #000;padding-left:.6em}\n"
    "@media print{body{max-width:none;margin:0}section.export{break-before:page;border-top:none}"
    "section.export:first-of-type{break-before:auto}figure,tr{break-inside:avoid}}\n";

// Drawing definitions every chart of the page refers to, kept out of the
// sections so that an id never repeats however many exports a page holds.
constexpr const char kSharedDefinitions[] =
    "<svg class=\"definitions\" xmlns=\"http://www.w3.org/2000/svg\" width=\"0\" height=\"0\" aria-hidden=\"true\">"
    "<defs><pattern id=\"g-core-hatch\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M0 6L6 0\" stroke=\"#bbb\" stroke-width=\"1\"/></pattern></defs></svg>\n";

void metricValue(XpTextWriter* out, const VroMetricsSchemaRow& row, uint32_t word) {
    writerPrintf(out, "<td class=\"num\" data-key=\"%s\" data-raw=\"%u\">", row.snakeName, word);
    if (isNoneMode(row, word)) {
        out->writeText("none");
    } else if (row.type() == kSchemaTypeInt32) {
        writerPrintf(out, "%d", int32_t(word));
    } else {
        char digits[16];  // ten digits, a point and up to three places
        out->writeText(digits, uint32_t(putDecimal(digits, word, fieldDecimals(row)) - digits));
    }
    out->writeText("</td>");
}

void metricTable(XpTextWriter* out, const VroMetrics& m, uint32_t i10) {
    out->writeText("<table class=\"metrics\">\n<caption>Every metric of the record</caption>\n<thead><tr>"
            "<th scope=\"col\">Metric</th><th scope=\"col\">Value</th><th scope=\"col\">Meaning</th>"
            "<th scope=\"col\">Field</th></tr></thead>\n");
    for (int group = 0; group < kFieldGroupCount; ++group) {
        writerPrintf(out, "<tbody><tr><th class=\"group\" colspan=\"4\" scope=\"colgroup\">%s</th></tr>\n",
                   kFieldGroupNames[group]);
        for (const VroFieldNote& note : kFieldNotes) {
            if (note.group != group) continue;
            if (note.position == kI10Position) {  // counted from the papers, not held by the record
                writerPrintf(out,
                             "<tr><th scope=\"row\">%s</th><td class=\"num\" data-key=\"%s\" data-raw=\"%u\">%u</td>"
                             "<td>%s</td><td class=\"field\"><code>%s</code></td></tr>\n",
                             note.name, kI10Name, i10, i10, note.explanation, kI10Name);
                continue;
            }
            const VroMetricsSchemaRow& row = kMetricsSchema[note.position];
            writerPrintf(out, "<tr><th scope=\"row\">%s</th>", note.name);
            metricValue(out, row, metricsWord(m, row.position));
            writerPrintf(out, "<td>%s</td><td class=\"field\"><code>%s</code></td></tr>\n", note.explanation, row.snakeName);
        }
        out->writeText("</tbody>\n");
    }
    out->writeText("</table>\n");
}

void authorHistogram(XpTextWriter* out, const VroMetrics& m) {
    out->writeText("<table class=\"authors\">\n<caption>Papers by number of authors</caption>\n"
            "<thead><tr><th scope=\"col\">Authors</th><th scope=\"col\">Papers</th></tr></thead>\n<tbody>\n");
    bool any = false;
    for (uint32_t bucket = 0; bucket < kAuthorHistogramSize; ++bucket) {
        if (m.authorHistogram[bucket] == 0) continue;
        any = true;
        writerPrintf(out, "<tr><td class=\"num\">%u%s</td><td class=\"num\" data-authors=\"%u\">%u</td></tr>\n", bucket,
                   bucket + 1 == kAuthorHistogramSize ? " or more" : "", bucket, m.authorHistogram[bucket]);
    }
    if (!any) out->writeText("<tr><td colspan=\"2\">No paper takes part.</td></tr>\n");
    out->writeText("</tbody>\n</table>\n");
}

void hCoreList(XpTextWriter* out, const VroPublication* const* papers, uint32_t count) {
    uint32_t core = 0;
    while (core < count && (papers[core]->status & kStatusInHCore) != 0) ++core;
    out->writeText("<table class=\"h-core-papers\">\n<caption>The h-core, most cited first</caption>\n");
    if (core == 0) {
        out->writeText("<tbody><tr><td>No paper has as many citations as its rank, so the h-core is empty.</td></tr>"
                "</tbody>\n</table>\n");
        return;
    }
    out->writeText("<thead><tr><th scope=\"col\">Rank</th><th scope=\"col\">Citations</th><th scope=\"col\">Year</th>"
            "<th scope=\"col\">Authors</th><th scope=\"col\">Title</th></tr></thead>\n<tbody>\n");
    for (uint32_t i = 0; i < core && out->failure() == kResultOk; ++i) {
        const VroPublication& p = *papers[i];
        writerPrintf(out, "<tr class=\"core-paper\" data-rank=\"%u\"><td class=\"num\">%u</td><td class=\"num\">%u</td>"
                   "<td class=\"num\">",
                   i + 1, i + 1, p.Cites);
        if (p.Year >= kFirstCountedYear)
            writerPrintf(out, "%d", p.Year);
        else
            out->writeText("–");
        writerPrintf(out, "</td><td class=\"num\">%u</td><td class=\"title\">", p.authorCount);
        if (p.Title.empty())
            out->writeText("<i>no title</i>");
        else
            writeMarkupText(out, p.Title.data(), p.Title.length());
        out->writeText("</td></tr>\n");
    }
    out->writeText("</tbody>\n</table>\n");
}

// The calculation's walk order: most cited first, the h-core before equally
// cited papers outside it, then by smaller Rank.
bool walksBefore(const VroPublication* a, const VroPublication* b) {
    if (a->Cites != b->Cites) return a->Cites > b->Cites;
    const uint32_t aCore = a->status & kStatusInHCore, bCore = b->status & kStatusInHCore;
    if (aCore != bCore) return aCore > bCore;
    return a->Rank < b->Rank;
}

void sectionHeader(XpTextWriter* out, const VroHtmlSection& s, uint32_t used, uint32_t listed) {
    out->writeText("<section class=\"export\">\n<header>\n<h2>");
    writeMarkupText(out, s.label);
    out->writeText("</h2>\n<p class=\"facts\">Format: ");
    writeMarkupText(out, s.formatName);
    writerPrintf(out, " · <span class=\"count\">%u</span> publication%s", listed, listed == 1 ? "" : "s");
    if (used != listed) writerPrintf(out, " (%u taking part)", used);
    const VroMetrics& m = *s.metrics;
    writerPrintf(out, "</p>\n<p class=\"key\"><b>h = %u</b> · g = %u · %u citation%s", m.hIndex, m.gIndex, m.totalCites,
               m.totalCites == 1 ? "" : "s");
    // An empty list is not calculated at all, so it has no reference year.
    if (m.referenceYear != 0) writerPrintf(out, " · reference year %d", m.referenceYear);
    out->writeText("</p>\n");
    if (s.noCountsHint != nullptr) {
        out->writeText("<p class=\"no-counts\">This export carries no citation counts, so every citation metric is 0: ");
        writeMarkupText(out, s.noCountsHint);
        out->writeText(".</p>\n");
    }
    out->writeText("</header>\n");
}

}  // namespace

ResultCode writeHtmlHead(XpTextWriter* out, const char* title) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>");
    writeMarkupText(out, title);
    out->writeText("</title>\n<style>\n");
    out->writeText(kStyleSheet);
    out->writeText("</style>\n</head>\n<body>\n");
    out->writeText(kSharedDefinitions);
    out->writeText("<h1>");
    writeMarkupText(out, title);
    out->writeText("</h1>\n");
    return kResultOk;
}

ResultCode writeHtmlSection(XpTextWriter* out, const VroHtmlSection& s) noexcept {
    if (!out || !s.metrics) return kErrInvalidArgument;
    const uint32_t listed = s.publications ? s.publications->count() : 0;
    std::unique_ptr<const VroPublication*[]> papers(new (std::nothrow) const VroPublication*[std::max(listed, 1u)]);
    if (!papers) return kErrNoMemory;
    uint32_t used = 0;
    for (uint32_t i = 0; i < listed; ++i) {
        const VroPublication* p = s.publications->at(i);
        if (p && p->Use >= 1) papers[used++] = p;
    }
    std::sort(papers.get(), papers.get() + used, walksBefore);

    sectionHeader(out, s, used, listed);
    const VroChartInput chart{papers.get(), used, s.metrics->hIndex, s.metrics->gIndex, s.label};
    writeRankChart(out, chart);
    if (const ResultCode rc = writeYearChart(out, chart); rc != kResultOk) return rc;
    out->writeText("<h3>Metrics</h3>\n");
    metricTable(out, *s.metrics, s.publications ? countWithCitations(*s.publications, 10) : 0);
    writerPrintf(out, "<p class=\"facts\">Record version %u.</p>\n", s.metrics->metricsVersion);
    authorHistogram(out, *s.metrics);
    out->writeText("<h3>h-core papers</h3>\n");
    hCoreList(out, papers.get(), used);
    out->writeText("</section>\n");
    return kResultOk;
}

ResultCode writeHtmlFailedSection(XpTextWriter* out, const char16_t* label, const char* message) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("<section class=\"export failed\">\n<header>\n<h2>");
    writeMarkupText(out, label);
    out->writeText("</h2>\n</header>\n<p class=\"error\">Could not be read: ");
    writeMarkupText(out, message);
    out->writeText("</p>\n</section>\n");
    return kResultOk;
}

ResultCode writeHtmlFoot(XpTextWriter* out) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("</body>\n</html>\n");
    return kResultOk;
}

// ---------------------------------------------------------------------------
// Collated pages: the groups of one body of work, and the share of each
// export in a pooled one.

namespace {

void hundredths(XpTextWriter* out, uint32_t value) { writerPrintf(out, "%u.%02u", value / 100, value % 100); }

}  // namespace

ResultCode writeHtmlGroupsStart(XpTextWriter* out, const VroHtmlGroups& groups) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("<section class=\"export groups\">\n<header>\n<h2>");
    writeMarkupText(out, groups.label ? groups.label : u"");
    out->writeText("</h2>\n<p class=\"facts\">");
    writeMarkupText(out, groups.formatName ? groups.formatName : "");
    writerPrintf(out, " &middot; %u groups</p>\n</header>\n", groups.groupCount);
    out->writeText("<table class=\"groups\">\n<thead><tr><th>Group</th><th>Key</th><th>Papers</th><th>Citations</th>"
                   "<th>h</th><th>g</th><th>m</th><th>hI,norm</th><th>AWCR</th></tr></thead>\n<tbody>\n");
    return kResultOk;
}

ResultCode writeHtmlGroupRow(XpTextWriter* out, const VroHtmlGroupRow& row) noexcept {
    if (!out || !row.metrics) return kErrInvalidArgument;
    const VroMetrics& m = *row.metrics;
    out->writeText("<tr><td>");
    writeMarkupText(out, row.name ? row.name : u"");
    out->writeText("</td><td><code>");
    writeMarkupText(out, row.key ? row.key : u"");
    writerPrintf(out,
                 "</code></td><td class=\"num\">%u</td><td class=\"num\">%u</td><td class=\"num\">%u</td>"
                 "<td class=\"num\">%u</td><td class=\"num\">",
                 m.totalPapers, m.totalCites, m.hIndex, m.gIndex);
    hundredths(out, m.m100);
    writerPrintf(out, "</td><td class=\"num\">%u</td><td class=\"num\">", m.hINormalized);
    hundredths(out, m.awcr100);
    out->writeText("</td></tr>\n");
    return kResultOk;
}

ResultCode writeHtmlGroupsTableEnd(XpTextWriter* out, const VroHtmlGroups& groups) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("</tbody>\n</table>\n");
    if (groups.groupCount > 0) out->writeText("<h3>Citation curves of the first groups</h3>\n");
    return kResultOk;
}

ResultCode writeHtmlGroupChart(XpTextWriter* out, const VroHtmlGroupRow& row,
                               const VroPublicationList& publications) noexcept {
    if (!out || !row.metrics) return kErrInvalidArgument;
    const uint32_t listed = publications.count();
    std::unique_ptr<const VroPublication*[]> papers(new (std::nothrow) const VroPublication*[std::max(listed, 1u)]);
    if (!papers) return kErrNoMemory;
    uint32_t used = 0;
    for (uint32_t i = 0; i < listed; ++i) {
        const VroPublication* p = publications.at(i);
        if (p && p->Use >= 1) papers[used++] = p;
    }
    std::sort(papers.get(), papers.get() + used, walksBefore);
    out->writeText("<h3>");
    writeMarkupText(out, row.name ? row.name : u"");
    out->writeText("</h3>\n");
    const VroChartInput chart{papers.get(), used, row.metrics->hIndex, row.metrics->gIndex, row.name};
    writeRankChart(out, chart);
    return kResultOk;
}

ResultCode writeHtmlGroupsEnd(XpTextWriter* out) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("</section>\n");
    return kResultOk;
}

ResultCode writeHtmlPoolTable(XpTextWriter* out, const VroHtmlPoolRow* rows, uint32_t count, uint32_t works,
                              uint32_t several) noexcept {
    if (!out) return kErrInvalidArgument;
    out->writeText("<section class=\"export pool\">\n<h3>Where the works come from</h3>\n");
    writerPrintf(out, "<p class=\"facts\">%u works, %u of them found in more than one export.</p>\n", works,
                 several);
    out->writeText("<table class=\"pool\">\n<thead><tr><th>Export</th><th>Works it holds</th>"
                   "<th>Only it holds</th></tr></thead>\n<tbody>\n");
    for (uint32_t i = 0; i < count; ++i) {
        out->writeText("<tr><td>");
        writeMarkupText(out, rows[i].label ? rows[i].label : u"");
        writerPrintf(out, "</td><td class=\"num\">%u</td><td class=\"num\">%u</td></tr>\n", rows[i].holds,
                     rows[i].only);
    }
    out->writeText("</tbody>\n</table>\n</section>\n");
    return kResultOk;
}
