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

import os
import sys

import gen_tables_common as common

DEFAULT_OUT = os.path.join(common.REPO, "import", "generated")
NAME = "tex_accents.cpp"

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
        "// %s (UnicodeData.txt); to regenerate: %s" % (common.ucd_version(ucd), common.regenerate_hint()),
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
    common.write_source(out_dir, NAME, lines)
    return len(accents), len(words)


if __name__ == "__main__":
    sys.exit(common.main(__doc__, DEFAULT_OUT, [NAME], write,
                         lambda out, n: "wrote %s: %d accented letters, %d named characters"
                         % (os.path.join(out, NAME), n[0], n[1])))
