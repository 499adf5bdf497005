#!/usr/bin/env bash
# completion_check.sh COMPLETION SOURCE
#   The bash completion offers exactly the long options of kLongOptions and the
#   format names of kOutputFormatNames in SOURCE, options only where the
#   program reads them, and file names (with "+" kept) for the positionals.
set -euo pipefail
completion=$(realpath "$1") source_file=$(realpath "$2")
source "$(dirname "$0")/support/table_names.sh"
options=$(table_names "$source_file" kLongOptions | sed 's/^/--/' | xargs)
formats=$(table_names "$source_file" kOutputFormatNames | xargs)
[ -n "$options" ] && [ -n "$formats" ] || { echo "tables not found in $source_file"; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
touch export.ris exact.csv
mkdir exports
source "$completion"

failures=0
# expect "WORDS..." "COMPLETIONS": the last word is the one being completed.
expect() {
    read -r -a COMP_WORDS <<<"$1"
    [[ $1 == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _varometrics || :  # as in an interactive shell, where errexit is off
    local got
    got=$(printf '%s\n' "${COMPREPLY[@]}" | sort | xargs)
    if [ "$got" != "$2" ]; then
        echo "completing '$1': got '$got', expected '$2'"
        failures=$((failures + 1))
    fi
}
expect "varometrics --" "$options"
expect "varometrics --label x --" "$options"
expect "varometrics --format " "$formats"
expect "varometrics --format = " "$formats"
expect "varometrics --format cs" "$(printf '%s\n' $formats | grep '^cs' | xargs)"
expect "varometrics --label " ""
expect "varometrics ex" "exact.csv export.ris exports"
expect "varometrics --format csv --label L exp" "export.ris exports"
expect "varometrics --format=csv exa" "exact.csv"
expect "varometrics export.ris +exa" "+exact.csv"
expect "varometrics export.ris +exports" "+exports/"
expect "varometrics export.ris --f" ""
expect "varometrics -- --" ""
expect "varometrics export.ris out.txt ex" ""
[ $failures -eq 0 ] || exit 1
echo "completion offers $options; formats $formats; file names"
