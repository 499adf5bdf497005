#!/usr/bin/env python3
"""Works out, without the program, what the real exports added for the Scopus
column probe and for old Mac line ends must import as: records, total
citations and h-index, one line per file in the format of
tests/data/real/imports.txt.

    tools/real-import-expectations.py [real-data folder] > tests/data/real/imports.txt

Scopus CSV: rows as Python's csv module reads them (quoted values may hold
line feeds), citations from the "Cited by" column, which must lie among the
first 64 columns. A row binds by position, so a row longer than the header
keeps its "Cited by" cell. Tab-delimited Web of Science with carriage
returns alone: lines split at CR, citations from the "TC" column.
A count is read as strtoul would: leading digits, none gives 0.
"""
import csv
import os
import re
import sys

MAX_COLUMNS = 64


def count(text):
    m = re.match(r"\s*\+?(\d+)", text or "")
    return int(m.group(1)) if m else 0


def h_index(cites):
    ranked = sorted(cites, reverse=True)
    return sum(1 for i, c in enumerate(ranked) if c >= i + 1)


def scopus(path):
    with open(path, newline="", encoding="utf-8-sig") as f:
        rows = list(csv.reader(f))
    column = rows[0].index("Cited by")
    assert column < MAX_COLUMNS
    return [count(r[column]) if column < len(r) else 0 for r in rows[1:]]


def wos_tabbed_cr(path):
    with open(path, "rb") as f:
        text = f.read().decode("utf-16")
    lines = [l for l in text.split("\r") if l.strip()]
    column = lines[0].split("\t").index("TC")
    return [count(l.split("\t")[column]) for l in lines[1:]]


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "../../shared/data/real")
    print("# file | importer | records | total citations | h-index (from tools/real-import-expectations.py)")
    folder = "scopus-csv-newer"
    for name in sorted(os.listdir(os.path.join(root, folder))):
        cites = scopus(os.path.join(root, folder, name))
        print(f"{folder}/{name} | Scopus (CSV) | {len(cites)} | {sum(cites)} | {h_index(cites)}")
    name = "wos-tabbed/egouldo__savedrecs_utf16_cr.txt"
    cites = wos_tabbed_cr(os.path.join(root, name))
    print(f"{name} | ISI/WoS (tab-delimited) | {len(cites)} | {sum(cites)} | {h_index(cites)}")


main()
