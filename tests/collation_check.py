#!/usr/bin/env python3
"""Checks varoreport --merge and --by author against a computation of their
rules written here from the raw files.

Works: two records are one work when their DOIs are equal (trimmed, ASCII
lower-cased, one leading https://doi.org/, http://doi.org/, https://dx.doi.org/,
http://dx.doi.org/ or doi: removed, then starting with 10.), or when they do
not both have one, their titles' letters and digits, lower-cased, are equal
and at least 12 long, and their years are equal; links chain. A work counts
once, with the citations of its most cited record.

Sets: every real Scopus CSV export (from ../shared/data/real beside the
project) against itself, against a copy written as RIS, against a copy with
its DOIs removed and against one with its titles re-cased and re-punctuated,
and generated pairs of exports with overlapping, re-spelt and duplicated
records. For each: works, duplicates merged, total citations, h and g.
Authors: for the Scopus exports with "Author(s) ID", the authors with the
most publications, keyed by their identifier: papers, citations, h and g.
Usage: collation_check.py VAROREPORT REAL_DATA_DIR
"""
import csv
import json
import os
import random
import subprocess
import sys
import tempfile
import unicodedata

PREFIXES = ("https://doi.org/", "http://doi.org/", "https://dx.doi.org/", "http://dx.doi.org/", "doi:")


def doi_key(doi):
    key = "".join(chr(ord(c) + 32) if "A" <= c <= "Z" else c for c in doi.strip())
    for prefix in PREFIXES:
        if key.startswith(prefix):
            key = key[len(prefix):]
            break
    return key if key.startswith("10.") else ""


def lower(c):
    low = c.lower()
    return low if len(low) == 1 else c


def title_key(title):
    key = "".join(lower(c) for c in title if unicodedata.category(c)[0] in "LN")
    return key if len(key) >= 12 else ""


def year_of(text):
    digits = ""
    for c in text.strip():
        if not c.isdigit():
            break
        digits += c
    return int(digits) if digits else 0


def works_of(records):
    """records: (doi, title, year, cites) in input order -> list of works' cites, duplicates merged."""
    parent = list(range(len(records)))

    def root(i):
        while parent[i] != i:
            parent[i] = parent[parent[i]]
            i = parent[i]
        return i

    def join(a, b):
        a, b = root(a), root(b)
        if a != b:
            parent[max(a, b)] = min(a, b)

    keys = [(doi_key(d), title_key(t), y) for d, t, y, _ in records]
    by_doi = {}
    by_title = {}
    for i, (doi, title, year) in enumerate(keys):
        if doi:
            by_doi.setdefault(doi, []).append(i)
        if title and year >= 1:
            by_title.setdefault((title, year), []).append(i)
    for members in by_doi.values():
        for j in members[1:]:
            join(members[0], j)
    for members in by_title.values():
        for a in members:
            for b in members:
                if a < b and not (keys[a][0] and keys[b][0]):
                    join(a, b)
    best = {}
    for i, record in enumerate(records):
        r = root(i)
        if r not in best or record[3] > records[best[r]][3]:
            best[r] = i
    cites = [records[i][3] for i in best.values()]
    return cites, len(records) - len(cites)


def h_and_g(cites):
    ranked = sorted(cites, reverse=True)
    h = sum(1 for i, c in enumerate(ranked, 1) if c >= i)
    g, total = 0, 0
    for i, c in enumerate(ranked, 1):
        total += c
        if total >= i * i:
            g = i
    return h, g


def encoding_of(path):
    """The program reads UTF-8 after a byte-order mark, else code page 1252."""
    with open(path, "rb") as f:
        return "utf-8-sig" if f.read(3) == b"\xef\xbb\xbf" else "cp1252"


def read_scopus(path):
    with open(path, encoding=encoding_of(path), errors="surrogateescape", newline="") as f:
        rows = list(csv.DictReader(f))
    return rows


def scopus_records(rows):
    return [(r.get("DOI") or "", r.get("Title") or "", year_of(r.get("Year") or ""),
             int(r["Cited by"]) if (r.get("Cited by") or "").strip().isdigit() else 0) for r in rows]


def write_ris(path, rows, encoding):
    with open(path, "w", encoding=encoding, errors="surrogateescape") as f:
        for r in rows:
            f.write("TY  - JOUR\n")
            for name in (r.get("Authors") or "").split(";"):
                if name.strip():
                    f.write("AU  - %s\n" % name.strip())
            f.write("TI  - %s\n" % " ".join((r.get("Title") or "").split()))
            f.write("PY  - %s\n" % (r.get("Year") or ""))
            if (r.get("DOI") or "").strip():
                f.write("DO  - %s\n" % r["DOI"].strip())
            f.write("N1  - Cited By: %s\n" % ((r.get("Cited by") or "0").strip() or "0"))
            f.write("ER  - \n\n")


def write_scopus(path, rows, fields, encoding="utf-8-sig"):
    with open(path, "w", encoding=encoding, errors="surrogateescape", newline="") as f:
        writer = csv.DictWriter(f, fieldnames=fields, extrasaction="ignore")
        writer.writeheader()
        writer.writerows(rows)


def repunctuate(title):
    words = title.upper().split()
    return ": ".join(["-".join(words[:2])] + words[2:]) + "."


def varoreport(exe, args):
    run = subprocess.run([exe, "-q", "-f", "json"] + args, capture_output=True, text=True)
    return [json.loads(line) for line in run.stdout.splitlines()], run


failures = []


def check_merge(exe, name, files, records):
    cites, duplicates = works_of(records)
    h, g = h_and_g(cites)
    rows, run = varoreport(exe, ["--merge"] + files)
    merged = [r for r in rows if "exports" in r and "error" not in r]
    if len(merged) != 1:
        failures.append("%s: no merged row (%s)" % (name, run.stderr.strip()))
        return
    row = merged[0]
    want = {"publications": len(cites), "duplicates_merged": duplicates, "cites_total": sum(cites), "h": h, "g": g}
    got = {k: row[k] for k in want}
    if got != want:
        failures.append("%s: %s, computed %s" % (name, got, want))


def plain_count(exe, path):
    rows, _ = varoreport(exe, [path])
    return rows[0].get("publications") if rows else None


def check_real(exe, real):
    folders = [os.path.join(real, d) for d in ("scopus-csv", "scopus-csv-newer")]
    files = sorted(os.path.join(d, f) for d in folders if os.path.isdir(d) for f in os.listdir(d))
    checked = 0
    with tempfile.TemporaryDirectory() as tmp:
        for path in files:
            rows = read_scopus(path)
            if not rows or plain_count(exe, path) != len(rows):
                print("skipped (read differently here): %s" % path)
                continue
            base = os.path.basename(path)
            records = scopus_records(rows)
            fields = list(rows[0].keys())
            check_merge(exe, base + " twice", [path, path], records + records)
            ris = os.path.join(tmp, base + ".ris")
            encoding = encoding_of(path)
            write_ris(ris, rows, encoding)
            check_merge(exe, base + " and RIS copy", [path, ris],
                        records + [(d, " ".join(t.split()), y, c) for d, t, y, c in records])
            if "DOI" in fields:
                bare = os.path.join(tmp, base + ".nodoi.csv")
                write_scopus(bare, [dict(r, DOI="") for r in rows], fields, encoding)
                check_merge(exe, base + " and copy without DOIs", [path, bare],
                            records + [("", t, y, c) for _, t, y, c in records])
            recased = os.path.join(tmp, base + ".recased.csv")
            write_scopus(recased, [dict(r, Title=repunctuate(r.get("Title") or "")) for r in rows], fields, encoding)
            check_merge(exe, base + " and re-cased copy", [recased, path],
                        [(d, repunctuate(t), y, c) for d, t, y, c in records] + records)
            if "Author(s) ID" in fields:
                check_authors(exe, path, rows)
            checked += 1
    return checked


def check_generated(exe):
    rng = random.Random(25)
    words = ["network", "citation", "metric", "analysis", "graph", "index", "review", "model", "study"]
    with tempfile.TemporaryDirectory() as tmp:
        for case in range(20):
            works = []
            for w in range(rng.randint(5, 40)):
                title = " ".join(rng.choice(words) for _ in range(rng.randint(1, 5))) + " %d" % w
                works.append(("10.%d/w%d" % (case, w), title, rng.choice([0, 2001, 2002]), rng.randint(0, 60)))
            exports = []
            for e in range(rng.randint(2, 3)):
                rows = []
                for doi, title, year, cites in works:
                    for _ in range(rng.choice([0, 1, 1, 1, 2])):
                        spelt_doi = rng.choice(["", doi, doi.upper(), "https://doi.org/" + doi, " doi:" + doi])
                        spelt = rng.choice([title, title.upper(), title.replace(" ", "-") + "!"])
                        rows.append({"Authors": "Doe J.", "Title": spelt, "Year": str(year) if year else "",
                                     "Source title": "S", "Cited by": str(max(0, cites + rng.randint(-3, 3))),
                                     "DOI": spelt_doi})
                path = os.path.join(tmp, "g%d-%d.csv" % (case, e))
                write_scopus(path, rows, ["Authors", "Title", "Year", "Source title", "Cited by", "DOI"])
                exports.append((path, rows))
            records = [r for _, rows in exports for r in scopus_records(rows)]
            check_merge(exe, "generated set %d" % case, [p for p, _ in exports], records)


def check_generated_authors(exe):
    """Many authors tied on h and citations, keyed by identifiers that share
    long beginnings or, without one, by name."""
    rng = random.Random(26)
    ids = ["5700000%04d" % n for n in rng.sample(range(10000), 40)] + ["57", "570", "5700000", "57000001"]
    rows = []
    for n in range(300):
        team = rng.sample(ids, rng.randint(1, 4))
        given = [author if rng.random() > 0.1 else "" for author in team]
        rows.append({"Authors": ", ".join("Doe%s J." % a[-3:] for a in team), "Author(s) ID": ";".join(given) + ";",
                     "Title": "Paper %d" % n, "Year": "2010", "Source title": "S", "Cited by": str(rng.randint(0, 3))})
    with tempfile.TemporaryDirectory() as tmp:
        path = os.path.join(tmp, "authors.csv")
        write_scopus(path, rows, ["Authors", "Author(s) ID", "Title", "Year", "Source title", "Cited by"])
        check_authors(exe, path, rows)


def check_authors(exe, path, rows):
    """Per Scopus author identifier: papers, citations, h, g of the authors with most papers."""
    papers = {}
    for r in rows:
        # The i-th identifier is the i-th author's; the program keeps 50.
        ids = (r.get("Author(s) ID") or "").split(";")
        cites = int(r["Cited by"]) if (r.get("Cited by") or "").strip().isdigit() else 0
        seen = set()
        for author_id in ids[:50]:
            author_id = author_id.strip()
            if author_id.isdigit() and author_id not in seen:
                seen.add(author_id)
                papers.setdefault(author_id, []).append(cites)
    top = sorted(papers, key=lambda a: (-len(papers[a]), a))[:10]
    result, run = varoreport(exe, ["--by", "author", path])
    # Rows go by h and citations, both falling, then by key in UTF-16 units.
    ranks = [(-r["h"], -r["cites_total"], r["group_key"].encode("utf-16-be")) for r in result if "group_key" in r]
    if ranks != sorted(ranks):
        failures.append("%s: author rows out of order" % os.path.basename(path))
    by_key = {r.get("group_key"): r for r in result}
    for author_id in top:
        row = by_key.get("scopus:" + author_id)
        h, g = h_and_g(papers[author_id])
        want = {"papers_total": len(papers[author_id]), "cites_total": sum(papers[author_id]), "h": h, "g": g}
        got = {k: row[k] for k in want} if row else None
        if got != want:
            failures.append("%s author %s: %s, computed %s" % (os.path.basename(path), author_id, got, want))


def main():
    exe, real = sys.argv[1], sys.argv[2]
    check_generated(exe)
    check_generated_authors(exe)
    checked = 0
    if os.path.isdir(real):
        checked = check_real(exe, real)
    else:
        print("SKIPPED real exports: none at %s" % real)
    for failure in failures:
        print("FAIL", failure)
    print("%d real exports checked, %d failures" % (checked, len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
