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
# alternate between the program's own CSV and RIS. Prints each round's wall
# and CPU seconds and the medians' ratios; nothing is asserted.
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

# Runs "$@" and prints its wall seconds and its CPU seconds (user and system,
# children included): under a loaded machine the two can tell apart waiting
# for a processor from work done.
measure() {
    local TIMEFORMAT='%R %U %S' t
    t=$({ time "$@" >/dev/null 2>&1; } 2>&1) || true
    read -r real user sys <<<"$t"
    echo "$real $(echo "$user + $sys" | bc -l)"
}
run_report() { "$report" -q -j 2 --year 2026 -o "$work/report.csv" "$work/exports"; }
run_loop() { for f in "$work"/exports/*; do "$metrics" --format csv "$f" "+$work/loop.csv"; done; }
run_wc() { cat "$work"/exports/* | wc -l; }
run_wc_loop() { for f in "$work"/exports/*; do wc -l "$f"; done; }

declare -a R L W WL RC LC
for ((r = 1; r <= rounds; r++)); do
    rm -f "$work/loop.csv"
    read -r real cpu <<<"$(measure run_report)"; R+=("$real"); RC+=("$cpu")
    read -r real cpu <<<"$(measure run_loop)"; L+=("$real"); LC+=("$cpu")
    read -r real cpu <<<"$(measure run_wc)"; W+=("$real")
    read -r real cpu <<<"$(measure run_wc_loop)"; WL+=("$real")
    printf 'round %d: varoreport -j 2 %.3f s (cpu %.3f s), varometrics loop %.3f s (cpu %.3f s), wc -l once %.3f s, wc -l loop %.3f s\n' \
        "$r" "${R[-1]}" "${RC[-1]}" "${L[-1]}" "${LC[-1]}" "${W[-1]}" "${WL[-1]}"
done
median() { printf '%s\n' "$@" | sort -g | sed -n "$(( ($# + 1) / 2 ))p"; }
r=$(median "${R[@]}"); l=$(median "${L[@]}"); w=$(median "${W[@]}"); wl=$(median "${WL[@]}")
rc=$(median "${RC[@]}"); lc=$(median "${LC[@]}")
rows=$(($(wc -l <"$work/report.csv") - 1))
printf '%d exports of %d records; varoreport wrote %d rows\n' "$exports" "$records" "$rows"
printf 'medians: varoreport %.3f s (cpu %.3f s), varometrics loop %.3f s (cpu %.3f s), wc -l once %.3f s, wc -l loop %.3f s\n' \
    "$r" "$rc" "$l" "$lc" "$w" "$wl"
printf 'varoreport / varometrics loop: wall %.4f, cpu %.4f\n' "$(echo "$r / $l" | bc -l)" "$(echo "$rc / $lc" | bc -l)"
printf 'varoreport / wc -l once: %.2f   varometrics loop / wc -l loop: %.2f\n' \
    "$(echo "$r / $w" | bc -l)" "$(echo "$l / $wl" | bc -l)"
