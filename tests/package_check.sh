#!/usr/bin/env bash
# package_check.sh BUILD_DIR SOURCE_DIR
#   CPack builds a Debian package from the build that holds the programs, the
#   man pages, the completions and the documentation under /usr, carries the
#   version the program prints, and its program runs. Exit 77 (skipped)
#   without dpkg-deb.
set -euo pipefail
build=$(realpath "$1") source_dir=$(realpath "$2")
if ! command -v dpkg-deb >/dev/null; then
    echo "SKIPPED: dpkg-deb is not installed"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; exit 1; }
deb=$(ls "$work"/*.deb)
contents=$(dpkg-deb -c "$deb" | awk '{ print $NF }')

failures=0
fail() { echo "$*"; failures=$((failures + 1)); }
expect() { grep -qx "$1" <<<"$contents" || fail "not in the package: $1"; }
expect ./usr/bin/varometrics
expect ./usr/share/doc/varometrics/README.md
expect ./usr/share/doc/varometrics/examples/ris.ris
for f in "$source_dir"/man/*.1; do expect "./usr/share/man/man1/${f##*/}"; done
for f in "$source_dir"/completions/*; do expect "./usr/share/bash-completion/completions/${f##*/}"; done

dpkg-deb -x "$deb" "$work/root"
printed=$("$work/root/usr/bin/varometrics" --version | head -n 1)
version=$(dpkg-deb -f "$deb" Version)
[[ "$printed " == "varometrics $version "* ]] || fail "package version $version, program prints '$printed'"
[ "$(dpkg-deb -f "$deb" Package)" = varometrics ] || fail "package name: $(dpkg-deb -f "$deb" Package)"
[ $failures -eq 0 ] || { echo "$contents"; exit 1; }
echo "${deb##*/} holds $(grep -vc '/$' <<<"$contents") files; it installs '$printed'"
