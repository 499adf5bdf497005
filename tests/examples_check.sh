#!/usr/bin/env bash
# examples_check.sh PROGRAM EXAMPLES_DIR
#   Every sample export in EXAMPLES_DIR is listed in its README's table, and
#   PROGRAM reads each one as the layout and count the table states, writing
#   a report; together the samples cover every layout (at least the eight of the first formats).
set -euo pipefail
program=$1 dir=$2
cd "$dir"
# Rows: | `file` | layout | publications | what it shows |
rows=$(sed -n 's/^| `\([^`]*\)` | \([^|]*\) | \([0-9]*\) |.*/\1|\2|\3/p' README.md)
[ -n "$rows" ] || { echo "no sample table in $dir/README.md"; exit 1; }
failures=0
for file in *; do
    [ "$file" = README.md ] && continue
    grep -q "^$file|" <<<"$rows" || { echo "$file is not listed in README.md"; failures=$((failures + 1)); }
done
while IFS='|' read -r file layout count; do
    expected="$file: imported $layout data; $count publications"
    set +e
    said=$("$program" "$file" 2>&1 >/dev/null)
    status=$?
    report=$("$program" "$file" 2>/dev/null | sed -n 2p)
    set -e
    if [ $status -ne 0 ] || [ "$said" != "$expected" ] || [[ $report != "Publication years: "* ]]; then
        echo "$file: exit $status, said '$said', expected '$expected'; report line 2 '$report'"
        failures=$((failures + 1))
    fi
done <<<"$rows"
layouts=$(cut -d'|' -f2 <<<"$rows" | sort -u | wc -l)
[ "$layouts" -ge 8 ] || { echo "the samples cover $layouts layouts, fewer than 8"; failures=$((failures + 1)); }
[ $failures -eq 0 ] || exit 1
echo "$(wc -l <<<"$rows") samples in $layouts layouts read as listed"
