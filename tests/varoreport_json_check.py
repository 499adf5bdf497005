#!/usr/bin/env python3
"""Checks varoreport's JSON and CSV forms with strict parsers.

Exports whose file names and titles hold quotes, backslashes, control
characters, non-ASCII text and invalid UTF-8 are reported as json, csv and
papers: every JSON line must parse with json.loads (strict), carry the keys of
the CSV header with the same values, and every title and file name must come
back as written. Every decimal must read back, digit for digit, to the integer
that --values stored gives under the name with the scale suffix. A progress counter shows on a terminal only, and is erased.
The man page must list the options --help lists.
Usage: varoreport_json_check.py VAROREPORT MAN_PAGE
"""
import csv
import io
import json
import os
import pty
import re
import subprocess
import sys
import tempfile

TITLES = [
    'Quotes "inside" and \\backslashes\\',
    'Controls \x01 and \x1f and\ttab',
    'Non-ASCII: caf\u00e9, \u4e2d\u6587, \U0001F600',
    'Comma, then more',
    'Plain ASCII',
]
NAMES = [b'q"uote.ris', b'back\\slash.ris', b'ctl\x01\x1f.ris', b'tab\there.ris', b'nl\nline.ris',
         '\u00fcn\u00ef\u4e2d\U0001F600.ris'.encode(), b'comma,name.ris', b'bad\xff.ris']


def ris_export():
    records = []
    for i, title in enumerate(TITLES):
        records.append('TY  - JOUR\nAU  - Author, A\nAU  - Other, B\nTI  - %s\nPY  - %d\n'
                       'N1  - Cited By: %d\nER  - \n' % (title, 2000 + i, 10 * i + 3))
    return b'\xef\xbb\xbf' + ''.join(records).encode()


def run(exe, *args):
    done = subprocess.run([exe, '-q', '--year', '2026', *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout, done.stderr


def main():
    exe, man_page = sys.argv[1], sys.argv[2]
    failures = []

    def check(condition, what):
        if not condition:
            failures.append(what)

    with tempfile.TemporaryDirectory() as tmp:
        directory = os.path.join(tmp.encode(), b'exports')
        os.mkdir(directory)
        for name in NAMES:
            with open(os.path.join(directory, name), 'wb') as f:
                f.write(ris_export())
        open(os.path.join(directory, b'zz-empty.ris'), 'wb').close()
        shown = sorted(os.path.join(directory, n) for n in NAMES + [b'zz-empty.ris'])
        shown = [n.decode('utf-8', 'replace') for n in shown]

        status, out, err = run(exe, '-f', 'json', '-j', '3', directory)
        check(status == 1, 'json: exit status %d, not 1' % status)
        check(err.count(b'\n') == 1, 'json: one failure line expected: %r' % err)
        objects = []
        for line in out.decode('utf-8').splitlines():  # strict UTF-8 first
            json.loads(line)  # strict: raw control characters fail
            objects.append(json.loads(line, parse_float=str))  # decimals as written
        check([o['file'] for o in objects] == shown, 'json: file names %r' % [o['file'] for o in objects])
        empty = [o for o in objects if o['file'].endswith('zz-empty.ris')]
        check(len(empty) == 1 and set(empty[0]) == {'file', 'error'}, 'json: the empty export gives %r' % empty)
        check(all('error' not in o for o in objects if o not in empty), 'json: an export failed: %r' % err)
        # Cited 3, 13, 23, 33 and 43 times: four papers have at least 10.
        check(all(o['i10'] == 4 for o in objects if o not in empty), 'json: i10 %r' % [o.get('i10') for o in objects])

        status, out, err = run(exe, '-f', 'csv', directory)
        rows = list(csv.DictReader(io.StringIO(out.decode('utf-8'), newline='')))
        check([r['file'] for r in rows] == shown, 'csv: file names %r' % [r['file'] for r in rows])
        for obj, row in zip(objects, rows):
            check(row['error'] == obj.get('error', ''), 'csv: error of %r' % row['file'])
            if 'error' in obj:
                continue
            check(list(obj)[:-1] == list(row)[:len(obj) - 1], 'json keys differ from the csv header')
            check(len(obj['authors']) == 51, 'json: authors has %d entries' % len(obj['authors']))
            for key, value in obj.items():
                expected = obj['authors'] if key == 'authors' else '' if value is None else str(value)
                got = [int(row['authors_%d' % b]) for b in range(51)] if key == 'authors' else row[key]
                check(got == expected, 'csv %s of %r: %r, json %r' % (key, row['file'], got, expected))

        status, out, err = run(exe, '-f', 'json', '--values', 'stored', '-j', '3', directory)
        stored = [json.loads(line) for line in out.decode('utf-8').splitlines()]
        check(len(stored) == len(objects), 'json: %d stored rows' % len(stored))
        for obj, raw in zip(objects, stored):
            check(len(obj) == len(raw), 'json: keys %r against stored %r' % (list(obj), list(raw)))
            for (key, value), (raw_key, raw_value) in zip(obj.items(), raw.items()):
                scale = re.search(r'_(10+)$', raw_key)
                places = len(scale.group(1)) - 1 if scale else 0
                check(key == (raw_key[:scale.start()] if scale else raw_key), 'json: key %r for %r' % (key, raw_key))
                if not places or raw_value is None:
                    check(value == raw_value, 'json: %s is %r, stored %r' % (key, value, raw_value))
                    continue
                whole, _, part = value.partition('.')
                check(whole.isdigit() and len(part) == places and int(whole + part) == raw_value,
                      'json: %s is %r, stored %r' % (key, value, raw_value))

        status, out, err = run(exe, '-f', 'papers', os.path.join(directory, NAMES[0]))
        papers = list(csv.DictReader(io.StringIO(out.decode('utf-8'), newline='')))
        check(sorted(p['title'] for p in papers) == sorted(TITLES), 'papers: titles %r' % [p['title'] for p in papers])
        check(all(p['file'] == shown[sorted(NAMES).index(NAMES[0])] for p in papers), 'papers: file column')

        # A terminal on standard error shows the counter and erases it at the
        # end; -q, or a pipe (every run above), shows none.
        many = [os.path.join(directory, NAMES[0])] * 25
        for quiet, shown_counter in (([], True), (['-q'], False)):
            leader, follower = pty.openpty()
            done = subprocess.run([exe, '--year', '2026', *quiet, *many], stdout=subprocess.DEVNULL, stderr=follower)
            os.close(follower)
            seen = b''
            while True:
                try:
                    chunk = os.read(leader, 4096)
                except OSError:
                    break
                if not chunk:
                    break
                seen += chunk
            os.close(leader)
            check(done.returncode == 0, 'terminal run: exit status %d' % done.returncode)
            if shown_counter:
                check(b'/25 exports' in seen and seen.endswith(b'\r\x1b[K'), 'terminal: counter %r' % seen[-60:])
            else:
                check(seen == b'', 'terminal with -q: %r' % seen[:60])

    help_text = subprocess.run([exe, '--help'], stdout=subprocess.PIPE).stdout.decode()
    with open(man_page, encoding='utf-8') as f:
        man = f.read()
    options = set(re.findall(r'^  (?:-\w, )?\s*(--[\w-]+)', help_text, re.M))
    section = man.split('.SH OPTIONS')[1].split('.SH ')[0]
    documented = set(o.replace('\\-', '-') for o in re.findall(r'^\.BR (?:\\-\w ", " )?(\\-\\-[\w\\-]+)', section, re.M))
    check(options and options == documented, 'man page options %r, --help options %r' % (documented, options))

    for failure in failures:
        print('FAIL:', failure)
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
