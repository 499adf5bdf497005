#!/usr/bin/env python3
"""Writes the table of TeX accents and named characters behind BibTeX values.

  import/generated/tex_accents.cpp  two sorted tables, from the Unicode
      Character Database (UnicodeData.txt; the version is read from
      DerivedCoreProperties.txt):
      - kTexAccents: accent command (its one character: ' ` ^ " ~ = . u v H
        c k r d b), ASCII base letter, and the precomposed character whose
        canonical decomposition is exactly that letter and that accent's
        combining mark; sorted by accent, then letter.
      - kTexNamedCharacters: control words that stand for one character
        (\\ss, \\o, \\ae, \\l, \\alpha, \\textendash, ...), the character found by
        its Unicode name; sorted by name in byte order.

Usage:
  tools/gen_tex_accents.py [--ucd DIR] [--out DIR]   write the table
  tools/gen_tex_accents.py --check [--ucd DIR]       regenerate into a temporary
      directory and compare with the committed file; exit 0 when equal, 1 on
      any difference, 77 when the database is not installed.

The database comes from Debian's unicode-data package (/usr/share/unicode).
"""

import argparse
import difflib
import os
import re
import sys
import tempfile

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_UCD = "/usr/share/unicode"
DEFAULT_OUT = os.path.join(REPO, "import", "generated")
NAME = "tex_accents.cpp"
SKIP = 77

# Accent command -> combining mark.
ACCENTS = {
    "`": 0x0300, "'": 0x0301, "^": 0x0302, "~": 0x0303, "=": 0x0304, "u": 0x0306, ".": 0x0307,
    '"': 0x0308, "r": 0x030A, "H": 0x030B, "v": 0x030C, "d": 0x0323, "c": 0x0327, "k": 0x0328,
    "b": 0x0331,
}

# Control word -> Unicode character name.
NAMED = {
    "ss": "LATIN SMALL LETTER SHARP S",
    "o": "LATIN SMALL LETTER O WITH STROKE", "O": "LATIN CAPITAL LETTER O WITH STROKE",
    "ae": "LATIN SMALL LETTER AE", "AE": "LATIN CAPITAL LETTER AE",
    "oe": "LATIN SMALL LIGATURE OE", "OE": "LATIN CAPITAL LIGATURE OE",
    "aa": "LATIN SMALL LETTER A WITH RING ABOVE", "AA": "LATIN CAPITAL LETTER A WITH RING ABOVE",
    "l": "LATIN SMALL LETTER L WITH STROKE", "L": "LATIN CAPITAL LETTER L WITH STROKE",
    "i": "LATIN SMALL LETTER DOTLESS I", "j": "LATIN SMALL LETTER DOTLESS J",
    "dh": "LATIN SMALL LETTER ETH", "DH": "LATIN CAPITAL LETTER ETH",
    "th": "LATIN SMALL LETTER THORN", "TH": "LATIN CAPITAL LETTER THORN",
    "ng": "LATIN SMALL LETTER ENG", "NG": "LATIN CAPITAL LETTER ENG",
    "dj": "LATIN SMALL LETTER D WITH STROKE", "DJ": "LATIN CAPITAL LETTER D WITH STROKE",
    "textendash": "EN DASH", "textemdash": "EM DASH",
    "ldots": "HORIZONTAL ELLIPSIS", "dots": "HORIZONTAL ELLIPSIS", "textellipsis": "HORIZONTAL ELLIPSIS",
    "textquoteleft": "LEFT SINGLE QUOTATION MARK", "textquoteright": "RIGHT SINGLE QUOTATION MARK",
    "textquotedblleft": "LEFT DOUBLE QUOTATION MARK", "textquotedblright": "RIGHT DOUBLE QUOTATION MARK",
    "guillemotleft": "LEFT-POINTING DOUBLE ANGLE QUOTATION MARK",
    "guillemotright": "RIGHT-POINTING DOUBLE ANGLE QUOTATION MARK",
    "textregistered": "REGISTERED SIGN", "copyright": "COPYRIGHT SIGN", "textcopyright": "COPYRIGHT SIGN",
    "texttrademark": "TRADE MARK SIGN", "textdegree": "DEGREE SIGN", "degree": "DEGREE SIGN",
    "pounds": "POUND SIGN", "euro": "EURO SIGN", "S": "SECTION SIGN", "P": "PILCROW SIGN",
    "pm": "PLUS-MINUS SIGN", "textpm": "PLUS-MINUS SIGN", "times": "MULTIPLICATION SIGN",
    "texttimes": "MULTIPLICATION SIGN", "cdot": "MIDDLE DOT", "textbullet": "BULLET",
    "leq": "LESS-THAN OR EQUAL TO", "le": "LESS-THAN OR EQUAL TO",
    "geq": "GREATER-THAN OR EQUAL TO", "ge": "GREATER-THAN OR EQUAL TO",
    "neq": "NOT EQUAL TO", "ne": "NOT EQUAL TO", "approx": "ALMOST EQUAL TO", "sim": "TILDE OPERATOR",
    "infty": "INFINITY", "rightarrow": "RIGHTWARDS ARROW", "to": "RIGHTWARDS ARROW",
    "leftarrow": "LEFTWARDS ARROW", "textless": "LESS-THAN SIGN", "textgreater": "GREATER-THAN SIGN",
    "textbackslash": "REVERSE SOLIDUS", "textasciitilde": "TILDE", "textunderscore": "LOW LINE",
    "textbar": "VERTICAL LINE", "textbraceleft": "LEFT CURLY BRACKET", "textbraceright": "RIGHT CURLY BRACKET",
}
GREEK = ("alpha beta gamma delta epsilon zeta eta theta iota kappa lambda mu nu xi omicron pi rho sigma "
         "tau upsilon phi chi psi omega").split()


def unicode_version(ucd):
    try:
        with open(os.path.join(ucd, "DerivedCoreProperties.txt"), encoding="utf-8") as f:
            m = re.search(r"DerivedCoreProperties-([0-9.]+)\.txt", f.readline())
            if m:
                return m.group(1)
    except FileNotFoundError:
        pass
    return "unknown"


def read_ucd(ucd):
    by_name, decompositions = {}, {}
    with open(os.path.join(ucd, "UnicodeData.txt"), encoding="utf-8") as f:
        for line in f:
            fields = line.rstrip("\n").split(";")
            code = int(fields[0], 16)
            by_name[fields[1]] = code
            parts = fields[5].split()
            if len(parts) == 2 and not parts[0].startswith("<"):
                decompositions[(int(parts[0], 16), int(parts[1], 16))] = code
    return by_name, decompositions


def build(ucd):
    by_name, decompositions = read_ucd(ucd)
    accents = []
    for accent, mark in ACCENTS.items():
        for base in "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz":
            composed = decompositions.get((ord(base), mark))
            if composed is not None and composed <= 0xFFFF:
                accents.append((ord(accent), ord(base), composed))
    accents.sort()
    named = dict(NAMED)
    for letter in GREEK:
        unicode_letter = "LAMDA" if letter == "lambda" else letter.upper()
        named[letter] = "GREEK SMALL LETTER " + unicode_letter
        named[letter.capitalize()] = "GREEK CAPITAL LETTER " + unicode_letter
    words = sorted((word.encode("ascii"), by_name[name]) for word, name in named.items())
    return accents, words


def write(ucd, out_dir):
    accents, words = build(ucd)
    q = lambda c: "'\\''" if c == "'" else "'\\\\'" if c == "\\" else "'%s'" % c
    lines = [
        "// Generated by tools/gen_tex_accents.py from the Unicode Character Database",
        "// %s (UnicodeData.txt); to regenerate: python3 tools/gen_tex_accents.py" % unicode_version(ucd),
        "//",
        "// The accents TeX writes before a letter, each with the precomposed",
        "// character of that letter and accent, and the control words that stand for",
        "// one character; both sorted for binary search.",
        '#include "import/tex_text.h"',
        "",
        "const TexAccent kTexAccents[] = {",
    ]
    lines += ["    {%s, '%s', 0x%04X}," % (q(chr(a)), chr(b), c) for a, b, c in accents]
    lines += ["};", "const uint32_t kTexAccentCount = sizeof kTexAccents / sizeof kTexAccents[0];", "",
              "const TexNamedCharacter kTexNamedCharacters[] = {"]
    lines += ['    {"%s", 0x%04X},' % (w.decode(), c) for w, c in words]
    lines += ["};",
              "const uint32_t kTexNamedCharacterCount = sizeof kTexNamedCharacters / sizeof kTexNamedCharacters[0];",
              ""]
    os.makedirs(out_dir, exist_ok=True)
    with open(os.path.join(out_dir, NAME), "w", encoding="utf-8", newline="\n") as f:
        f.write("\n".join(lines))
    return len(accents), len(words)


def check(ucd, committed_dir):
    with tempfile.TemporaryDirectory() as tmp:
        write(ucd, tmp)
        with open(os.path.join(tmp, NAME), encoding="utf-8") as f:
            fresh = f.read().splitlines(keepends=True)
        try:
            with open(os.path.join(committed_dir, NAME), encoding="utf-8") as f:
                committed = f.read().splitlines(keepends=True)
        except FileNotFoundError:
            committed = []
        if fresh != committed:
            sys.stdout.writelines(difflib.unified_diff(committed, fresh, "committed/" + NAME,
                                                       "regenerated/" + NAME, n=1))
            print("the generated table differs; run python3 tools/gen_tex_accents.py")
            return 1
        print("generated table is up to date")
        return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--ucd", default=DEFAULT_UCD, help="Unicode Character Database directory")
    parser.add_argument("--out", default=DEFAULT_OUT, help="output directory")
    parser.add_argument("--check", action="store_true", help="compare a fresh generation with --out")
    args = parser.parse_args()
    if not os.path.exists(os.path.join(args.ucd, "UnicodeData.txt")):
        print("SKIPPED: no Unicode Character Database in %s (apt-get install unicode-data)" % args.ucd)
        return SKIP if args.check else 1
    if args.check:
        return check(args.ucd, args.out)
    accents, words = write(args.ucd, args.out)
    print("wrote %s: %d accented letters, %d named characters" % (os.path.join(args.out, NAME), accents, words))
    return 0


if __name__ == "__main__":
    sys.exit(main())
