"""What the table generators share: the Unicode Character Database's place
and version, writing a generated source, and the command line that writes
the tables or checks the committed ones against a fresh generation."""

import argparse
import difflib
import os
import re
import sys
import tempfile

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_UCD = "/usr/share/unicode"
SKIP = 77


def regenerate_hint():
    return "python3 tools/" + os.path.basename(sys.argv[0])


def ucd_version(ucd):
    with open(os.path.join(ucd, "DerivedCoreProperties.txt"), encoding="utf-8") as f:
        first = f.readline()
    m = re.search(r"DerivedCoreProperties-(\d+\.\d+\.\d+)\.txt", first)
    if not m:
        raise SystemExit("cannot read the database version from DerivedCoreProperties.txt")
    return m.group(1)


def write_source(out_dir, name, lines):
    os.makedirs(out_dir, exist_ok=True)
    with open(os.path.join(out_dir, name), "w", encoding="utf-8", newline="\n") as f:
        f.write("\n".join(lines))


def check(generate, names, ucd, committed_dir):
    with tempfile.TemporaryDirectory() as tmp:
        generate(ucd, tmp)
        different = 0
        for name in names:
            with open(os.path.join(tmp, name), encoding="utf-8") as f:
                fresh = f.read().splitlines(keepends=True)
            try:
                with open(os.path.join(committed_dir, name), encoding="utf-8") as f:
                    committed = f.read().splitlines(keepends=True)
            except FileNotFoundError:
                committed = []
            if fresh != committed:
                different += 1
                sys.stdout.writelines(difflib.unified_diff(
                    committed, fresh, "committed/" + name, "regenerated/" + name, n=1))
        if different:
            print("%d generated file(s) differ; run %s" % (different, regenerate_hint()))
            return 1
        print("generated tables are up to date")
        return 0


def main(doc, default_out, names, generate, summary):
    """generate(ucd, out_dir) writes the files `names`; summary(out_dir,
    what generate returned) is the line printed after writing them."""
    parser = argparse.ArgumentParser(description=doc, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--ucd", default=DEFAULT_UCD, help="Unicode Character Database directory")
    parser.add_argument("--out", default=default_out, help="output directory")
    parser.add_argument("--check", action="store_true", help="compare a fresh generation with --out")
    args = parser.parse_args()
    if not os.path.exists(os.path.join(args.ucd, "UnicodeData.txt")):
        print("SKIPPED: no Unicode Character Database in %s (apt-get install unicode-data)" % args.ucd)
        return SKIP if args.check else 1
    if args.check:
        return check(generate, names, args.ucd, args.out)
    print(summary(args.out, generate(args.ucd, args.out)))
    return 0
