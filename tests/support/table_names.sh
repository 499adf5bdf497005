# table_names FILE TABLE: prints, one a line, the quoted names that begin the
# rows of the C++ constant table TABLE ('inline constexpr T TABLE[] = {' up to
# '};') in FILE. The install checks compare documentation and completion
# against the program's own option and format tables through it.
table_names() {
    awk -v table="$2" '
        index($0, " " table "[] = {") { inside = 1; next }
        inside && /^};/ { exit }
        inside && match($0, /^[ \t]*\{"[^"]*"/) {
            row = substr($0, RSTART, RLENGTH)
            sub(/^[ \t]*\{"/, "", row); sub(/"$/, "", row)
            print row
        }' "$1"
}
