#!/usr/bin/env python3
"""Size and opening time of the HTML page of one large export.

Writes a Varo CSV export of RECORDS publications (fixed seed: long-tailed
citation counts, 1 to 8 authors, years 1960 to 2025), turns it into a page
with `varoreport -f html`, and measures:
- the page's size in bytes;
- the time varoreport takes, against `wc -l` over the same export;
- the time headless chromium takes to load the page and lay it out (a small
  harness page loads it into a frame and reads the frame's height, which
  forces style and layout), against the same for an empty page, measured
  alternately, ROUNDS times each; medians are printed.
Needs chromium. Not run by CTest.

Usage: html_page_bench.py VAROREPORT [RECORDS [ROUNDS]]
"""
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HARNESS = """<!DOCTYPE html><html><head><meta charset="utf-8"><title>harness</title></head><body>
<pre id="out">pending</pre><script>
const start = performance.now();
const frame = document.createElement('iframe');
frame.style.width = '800px'; frame.style.height = '1000px';
frame.onload = () => {
  const loaded = performance.now();
  const height = frame.contentDocument.documentElement.scrollHeight;
  document.getElementById('out').textContent = 'RESULT ' + (loaded - start).toFixed(1) + ' ' +
      (performance.now() - start).toFixed(1) + ' ' + height;
};
frame.src = location.hash.slice(1);
document.body.appendChild(frame);
</script></body></html>
"""


def write_export(path, records):
    rng = random.Random(20000)
    with open(path, "w", encoding="utf-8") as f:
        f.write("Use,Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL,GSRank,ECC\n")
        for i in range(records):
            cites = min(int(rng.paretovariate(1.1)) - 1, 200000)
            authors = ", ".join("A%d Author%d" % (rng.randint(1, 999), rng.randint(1, 99))
                                for _ in range(rng.randint(1, 8)))
            f.write('1,%d,"%s",A study of topic %d with a title of ordinary length,%d,Journal %d,P,,,%d,\n'
                    % (cites, authors, i, rng.randint(1960, 2025), i % 300, i + 1))


def timed(command):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


def open_time(browser, folder, page):
    """(load ms, load and layout ms) of page inside the harness."""
    dom = subprocess.run([browser, "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                          "--disable-dev-shm-usage", "--allow-file-access-from-files",
                          "--user-data-dir=" + os.path.join(folder, "profile"),
                          "--dump-dom", "file://%s/harness.html#%s" % (folder, page)],
                         capture_output=True, text=True, timeout=120).stdout
    found = re.search(r"RESULT ([\d.]+) ([\d.]+) (\d+)", dom)
    if not found:
        sys.exit("the harness did not report for " + page)
    return float(found.group(1)), float(found.group(2))


def main():
    program = sys.argv[1]
    records = int(sys.argv[2]) if len(sys.argv) > 2 else 20000
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if not browser:
        sys.exit("chromium not found (tools/ensure-deps installs it)")
    with tempfile.TemporaryDirectory() as folder:
        export, page = os.path.join(folder, "export.csv"), os.path.join(folder, "page.html")
        write_export(export, records)
        with open(os.path.join(folder, "harness.html"), "w") as f:
            f.write(HARNESS)
        with open(os.path.join(folder, "empty.html"), "w") as f:
            f.write("<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>e</title></head>"
                    "<body></body></html>\n")
        writes, floors = [], []
        for _ in range(rounds):
            writes.append(timed([program, "-q", "-j", "1", "-f", "html", "-o", page, export]))
            floors.append(timed(["wc", "-l", export]))
        pages, empties = [], []
        for _ in range(rounds):
            pages.append(open_time(browser, folder, "page.html"))
            empties.append(open_time(browser, folder, "empty.html"))
        size = os.path.getsize(page)
        median = statistics.median
        print("records %d, export %d bytes, page %d bytes (%.2f MB)" % (records, os.path.getsize(export), size,
                                                                       size / 1e6))
        print("write: varoreport %.3f s, wc -l %.3f s (median of %d)" % (median(writes), median(floors), rounds))
        load = median(p[0] for p in pages)
        layout = median(p[1] for p in pages)
        floor = median(e[1] for e in empties)
        print("open: load %.0f ms, load and layout %.0f ms; empty page %.0f ms; difference %.0f ms (median of %d)"
              % (load, layout, floor, layout - floor, rounds))


if __name__ == "__main__":
    main()
