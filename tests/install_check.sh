#!/usr/bin/env bash
# install_check.sh BUILD_DIR SOURCE_DIR
#   "cmake --install" with DESTDIR and a prefix puts the programs in bin/, every
#   man/*.1 in share/man/man1/, every completions/* file in
#   share/bash-completion/completions/, the README and the sample exports in
#   share/doc/varometrics/, and nothing outside DESTDIR; what it installed runs.
set -euo pipefail
build=$(realpath "$1") source_dir=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=/opt/varo-install-check
DESTDIR=$work/root cmake --install "$build" --prefix "$prefix" >"$work/install.log"
[ ! -e "$prefix" ] || { echo "installed outside DESTDIR: $prefix"; exit 1; }
root=$work/root$prefix

failures=0
fail() { echo "$*"; failures=$((failures + 1)); }
expect_file() { [ -f "$root/$1" ] || fail "not installed: $1"; }

expect_file bin/varometrics
expect_file share/doc/varometrics/README.md
for f in "$source_dir"/man/*.1; do expect_file "share/man/man1/${f##*/}"; done
for f in "$source_dir"/completions/*; do
    name=${f##*/}
    expect_file "share/bash-completion/completions/$name"
    bash -c "source '$root/share/bash-completion/completions/$name' && complete -p '$name'" >/dev/null ||
        fail "the completion for $name does not register"
done
for f in "$source_dir"/examples/*; do expect_file "share/doc/varometrics/examples/${f##*/}"; done

for program in "$root"/bin/*; do
    "$program" --version >/dev/null || fail "${program##*/} --version failed"
done
"$root/bin/varometrics" "$root/share/doc/varometrics/examples/ris.ris" >/dev/null 2>&1 ||
    fail "the installed program cannot read the installed sample"
if command -v man >/dev/null; then
    found=$(MANPATH=$root/share/man man -w varometrics 2>&1) || true
    [ "$found" = "$root/share/man/man1/varometrics.1" ] || fail "man -w varometrics said: $found"
fi
[ $failures -eq 0 ] || { cat "$work/install.log"; exit 1; }
echo "installed $(find "$root" -type f | wc -l) files under DESTDIR$prefix as expected"
