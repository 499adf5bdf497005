#!/usr/bin/env python3
"""The HTML page of varoreport as a browser and an HTML checker see it.

For the golden export of every format (tests/data/formats/<format>/<quirk>.<ext>,
its plain report <quirk>.report beside it) and one export whose name and
title are hostile markup, one page is written with `varoreport -f html`, and:
- tidy -errors -q reports no error on it;
- headless chromium's DOM of it has, per export, one bar per paper (ranked
  1..n, citations falling), the h-core bars and the h marker at rank h and
  the g marker at rank g as the golden report says, a year chart counting
  every paper, and the export's text as text (no script element);
- a screenshot of the page at 600 pixels wide is kept in the output folder
  for a person to look at, and with VARO_PAGE_SHOTS=1 one of each export's
  own page too (a browser start each, most of the test's time otherwise).
Exit status 77 (skipped) when chromium or tidy cannot be found.

Usage: html_page_check.py VAROREPORT DATA_DIR OUTPUT_DIR
"""
import html.parser
import os
import re
import shutil
import subprocess
import sys

HOSTILE_TITLE = "<script>alert(1)</script> & \"q\" 'a' \x01 end"
HOSTILE_RIS = ("TY  - JOUR\r\nAU  - Smith, John\r\nTI  - %s\r\nPY  - 2101\r\nN1  - Cited By: 3\r\nER  - \r\n\r\n"
               "TY  - JOUR\r\nAU  - Roe, R\r\nTI  - Second\r\nPY  - 2101\r\nN1  - Cited By: 1\r\nER  - \r\n"
               % HOSTILE_TITLE)
HOSTILE_NAME = "a&b<\"c'>.ris"


class Page(html.parser.HTMLParser):
    """Collects per export section what the checks need."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.sections, self.scripts, self.capture = [], 0, None

    def handle_starttag(self, tag, attrs):
        a = dict(attrs)
        classes = (a.get("class") or "").split()
        if tag == "script":
            self.scripts += 1
        if tag == "section" and "export" in classes:
            self.sections.append({"bars": [], "markers": {}, "values": {}, "year_papers": 0, "titles": [],
                                  "label": "", "undated": None})
        if not self.sections:
            return
        s = self.sections[-1]
        if tag == "rect" and "paper" in classes:
            s["bars"].append((int(a["data-rank"]), int(a["data-cites"]), "core" in classes))
        elif tag == "line" and classes and classes[0] in ("h-marker", "g-marker"):
            s["markers"][classes[0]] = int(a["data-rank"])
        elif tag == "rect" and "year-papers" in classes:
            s["year_papers"] += int(a["data-papers"])
        elif tag == "figure" and "year-chart" in classes:
            s["undated"] = int(a["data-undated"])
        elif tag == "td" and "data-key" in a:
            self.capture = ("values", a["data-key"])
        elif tag == "td" and "title" in classes:
            self.capture = ("titles", None)
        elif tag == "h2":
            self.capture = ("label", None)

    def handle_endtag(self, tag):
        if tag in ("td", "h2"):
            self.capture = None

    def handle_data(self, data):
        if not self.capture:
            return
        s, (kind, key) = self.sections[-1], self.capture
        if kind == "values":
            s["values"][key] = s["values"].get(key, "") + data
        elif kind == "titles":
            s["titles"].append(data)
        else:
            s["label"] += data


def golden_cases(data_dir):
    """(export path, papers, h, g) for every golden export with a plain report."""
    cases = []
    formats = os.path.join(data_dir, "formats")
    for fmt in sorted(os.listdir(formats)):
        folder = os.path.join(formats, fmt)
        expected = [f for f in os.listdir(folder) if f.endswith(".report")] if os.path.isdir(folder) else []
        for name in sorted(expected):
            report = open(os.path.join(folder, name), encoding="utf-8").read()
            if not re.search(r"^Hirsch h: \d+$", report, re.M):
                continue  # the expected result of another kind of test, not a plain report
            number = lambda title: int(re.search(r"^%s: (\d+)" % re.escape(title), report, re.M).group(1))
            stem = name[: -len(".report")]
            export = [f for f in os.listdir(folder) if f.startswith(stem + ".") and f not in (name, stem + ".pubs")][0]
            cases.append((os.path.join(folder, export), number("Papers"), number("Hirsch h"), number("Egghe g")))
    return cases


def chromium(*args):
    profile = os.path.join(OUT, "chromium-profile")
    return subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                           "--no-first-run", "--disable-dev-shm-usage", "--user-data-dir=" + profile, *args],
                          capture_output=True, text=True, timeout=120)


def check_section(s, papers, h, g, where):
    faults = []
    ranks = [b[0] for b in s["bars"]]
    cites = [b[1] for b in s["bars"]]
    if ranks != list(range(1, papers + 1)):
        faults.append("bars ranked %s, want 1..%d" % (ranks, papers))
    if cites != sorted(cites, reverse=True):
        faults.append("citations by rank do not fall: %s" % cites)
    if [b[0] for b in s["bars"] if b[2]] != list(range(1, h + 1)):
        faults.append("h-core bars %s, want ranks 1..%d" % ([b[0] for b in s["bars"] if b[2]], h))
    if h and (h > len(cites) or cites[h - 1] < h or (h < len(cites) and cites[h] >= h + 1)):
        faults.append("bar citations %s contradict h = %d" % (cites, h))
    for name, want in (("h-marker", h), ("g-marker", g)):
        if s["markers"].get(name, 0) != want:
            faults.append("%s at rank %s, want %d" % (name, s["markers"].get(name), want))
    if s["values"].get("h") != str(h) or s["values"].get("papers_total") != str(papers):
        faults.append("metric table h %s papers %s" % (s["values"].get("h"), s["values"].get("papers_total")))
    if s["year_papers"] + (s["undated"] or 0) != papers:
        faults.append("year chart counts %d + %s undated papers" % (s["year_papers"], s["undated"]))
    return ["%s: %s" % (where, f) for f in faults]


def main():
    global OUT, BROWSER
    program, data_dir, OUT = sys.argv[1:4]
    BROWSER = shutil.which("chromium") or shutil.which("chromium-browser")
    missing = [n for n, p in (("chromium", BROWSER), ("tidy", shutil.which("tidy"))) if not p]
    if missing:
        print("SKIPPED: %s not found (tools/ensure-deps installs it)" % " and ".join(missing))
        return 77
    os.makedirs(OUT, exist_ok=True)
    hostile = os.path.join(OUT, HOSTILE_NAME)
    with open(hostile, "w", encoding="cp1252", newline="") as f:
        f.write(HOSTILE_RIS)
    cases = golden_cases(data_dir) + [(hostile, 2, 1, 2)]
    faults = []

    page = os.path.join(OUT, "all-formats.html")
    run = subprocess.run([program, "-q", "-f", "html", "-o", page] + [c[0] for c in cases],
                         capture_output=True, text=True)
    if run.returncode != 0:
        print("varoreport failed (%d): %s" % (run.returncode, run.stderr))
        return 1
    tidy = subprocess.run(["tidy", "-errors", "-q", page], capture_output=True, text=True)
    if tidy.returncode > 1 or "Error:" in tidy.stderr:
        faults.append("tidy: " + tidy.stderr.strip())
    dom = chromium("--dump-dom", "file://" + os.path.abspath(page))
    parsed = Page()
    parsed.feed(dom.stdout)
    if parsed.scripts:
        faults.append("the page has %d script elements" % parsed.scripts)
    if len(parsed.sections) != len(cases):
        faults.append("%d sections for %d exports" % (len(parsed.sections), len(cases)))
    for section, (export, papers, h, g) in zip(parsed.sections, cases):
        faults += check_section(section, papers, h, g, export)
    last = parsed.sections[-1] if parsed.sections else {"label": "", "titles": []}
    if not last["label"].endswith(HOSTILE_NAME):
        faults.append("label shown as %r" % last["label"])
    shown_title = HOSTILE_TITLE.replace("\x01", "\u2401")
    if shown_title not in last["titles"]:
        faults.append("hostile title shown as %r" % last["titles"])

    pages = [(page, "all-formats")]
    if os.environ.get("VARO_PAGE_SHOTS") == "1":
        for export, *_ in cases[:-1]:
            name = os.path.basename(os.path.dirname(export))
            single = os.path.join(OUT, name + ".html")
            subprocess.run([program, "-q", "-f", "html", "-o", single, export], check=True)
            pages.append((single, name))
    for shown, name in pages:
        shot_path = os.path.join(OUT, name + ".png")
        if os.path.exists(shot_path):
            os.remove(shot_path)
        shot = chromium("--window-size=600,1600", "--screenshot=" + shot_path, "file://" + os.path.abspath(shown))
        if not os.path.exists(shot_path):
            faults.append("no screenshot of %s: %s" % (name, shot.stderr[-300:]))

    for f in faults:
        print("FAIL " + f)
    print("%d exports on one page; screenshots in %s" % (len(cases), OUT))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
