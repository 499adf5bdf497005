#!/usr/bin/env bash
# Many small exports: one varoreport run against one varometrics run per
# export in a shell loop, measured side by side in alternating rounds, with
# two floors measured the same way: one `wc -l` over all the files (reading
# them once) and a shell loop of one `wc -l` per file (starting a process per
# export).
#
#   bench/varoreport_bench.sh [BUILD_DIR] [EXPORTS] [RECORDS] [ROUNDS]
#
# Defaults: build/release, 10000 exports of 200 records, 3 rounds. Exports
# alternate between the program's own CSV and RIS. Prints each round's
# seconds and the medians' ratios; nothing is asserted.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
exports=${2:-10000}
records=${3:-200}
rounds=${4:-3}
report=$build/varoreport
metrics=$build/varometrics
[[ -x $report && -x $metrics ]] || { echo "build $report and $metrics first" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work  # both programs log there
mkdir "$work/exports"
python3 - "$work/exports" "$exports" "$records" <<'PY'
import os, random, sys
directory, exports, records = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
rng = random.Random(2026)
for e in range(exports):
    rows = [(rng.randint(0, 400), rng.randint(1, 9), rng.randint(1960, 2026)) for _ in range(records)]
    if e % 2:
        text = ''.join('TY  - JOUR\n' + ''.join('AU  - Author%d, A\n' % a for a in range(n)) +
                       'TI  - Paper %d of export %d\nPY  - %d\nN1  - Cited By: %d\nER  - \n\n' % (i, e, y, c)
                       for i, (c, n, y) in enumerate(rows))
        name = 'e%05d.ris' % e
    else:
        text = 'Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL\n' + ''.join(
            '%d,"%s",Paper %d of export %d,%d,Journal,Publisher,,\n' % (
                c, ', '.join('A Author%d' % a for a in range(n)), i, e, y) for i, (c, n, y) in enumerate(rows))
        name = 'e%05d.csv' % e
    with open(os.path.join(directory, name), 'w') as f:
        f.write(text)
PY

seconds() {  # runs "$@", prints its wall time in seconds
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 || true
    end=$(date +%s.%N)
    echo "$end - $start" | bc -l
}
run_report() { "$report" -q -j 2 --year 2026 -o "$work/report.csv" "$work/exports"; }
run_loop() { for f in "$work"/exports/*; do "$metrics" --format csv "$f" "+$work/loop.csv"; done; }
run_wc() { cat "$work"/exports/* | wc -l; }
run_wc_loop() { for f in "$work"/exports/*; do wc -l "$f"; done; }

declare -a R L W WL
for ((r = 1; r <= rounds; r++)); do
    rm -f "$work/loop.csv"
    R+=("$(seconds run_report)")
    L+=("$(seconds run_loop)")
    W+=("$(seconds run_wc)")
    WL+=("$(seconds run_wc_loop)")
    printf 'round %d: varoreport -j 2 %.3f s, varometrics loop %.3f s, wc -l once %.3f s, wc -l loop %.3f s\n' \
        "$r" "${R[-1]}" "${L[-1]}" "${W[-1]}" "${WL[-1]}"
done
median() { printf '%s\n' "$@" | sort -g | sed -n "$(( ($# + 1) / 2 ))p"; }
r=$(median "${R[@]}"); l=$(median "${L[@]}"); w=$(median "${W[@]}"); wl=$(median "${WL[@]}")
rows=$(($(wc -l <"$work/report.csv") - 1))
printf '%d exports of %d records; varoreport wrote %d rows\n' "$exports" "$records" "$rows"
printf 'medians: varoreport %.3f s, varometrics loop %.3f s, wc -l once %.3f s, wc -l loop %.3f s\n' "$r" "$l" "$w" "$wl"
printf 'varoreport / varometrics loop: %.4f\n' "$(echo "$r / $l" | bc -l)"
printf 'varoreport / wc -l once: %.2f   varometrics loop / wc -l loop: %.2f\n' \
    "$(echo "$r / $w" | bc -l)" "$(echo "$l / $wl" | bc -l)"
