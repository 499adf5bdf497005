#!/usr/bin/env bash
# man_page_check.sh options PAGE SOURCE TABLE
#   The page names every long option of the option table TABLE in SOURCE, and
#   no option the table lacks.
# man_page_check.sh render PAGE
#   The page renders without a single warning, at the terminal widths man
#   uses most; exit 77 (skipped) when groff is absent.
set -euo pipefail
mode=$1 page=$2
case $mode in
options)
    source "$(dirname "$0")/support/table_names.sh"
    table=$(table_names "$3" "$4" | sed 's/^/--/' | sort -u)
    [ -n "$table" ] || { echo "no rows found in $4 of $3"; exit 1; }
    # Roff writes a hyphen as \- ; the page may name an option either way.
    named=$(sed 's/\\-/-/g' "$page" | grep -o -- '--[A-Za-z][A-Za-z0-9-]*' | sort -u || true)
    missing=$(comm -23 <(echo "$table") <(echo "$named"))
    extra=$(comm -13 <(echo "$table") <(echo "$named"))
    [ -z "$missing" ] || echo "$page lacks the options:" $missing
    [ -z "$extra" ] || echo "$page names options the program does not have:" $extra
    [ -z "$missing$extra" ] || exit 1
    echo "$page names exactly the options" $table
    ;;
render)
    if ! command -v groff >/dev/null; then
        echo "SKIPPED: groff is not installed"
        exit 77
    fi
    status=0
    for width in 60n 78n 100n; do
        warnings=$(groff -ww -z -man -rLL=$width "$page" 2>&1)
        if [ -n "$warnings" ]; then
            echo "at line length $width:"
            echo "$warnings"
            status=1
        fi
    done
    [ $status -ne 0 ] || echo "$page renders without warnings"
    exit $status
    ;;
*)
    echo "usage: $0 options PAGE SOURCE TABLE | render PAGE" >&2
    exit 2
    ;;
esac
