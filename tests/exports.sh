#!/bin/sh
# Compares the names that a shared library exports with a list: exports.sh NM LIBRARY LIST
# Parameters are left out, as are the C++ run-time's own weak symbols and those of sanitizers.
set -eu
found=$(mktemp)
wanted=$(mktemp)
trap 'rm -f "$found" "$wanted"' EXIT
"$1" -D --defined-only -C "$2" | cut -d' ' -f2- |
    grep -v -e '^[VWu] .*\(std::\|__gnu_cxx::\)' -e '^. _' |
    sed -e 's/^. //' -e 's/\[abi:[^]]*\]//' -e 's/(.*//' | LC_ALL=C sort -u >"$found"
grep -v '^#' "$3" | LC_ALL=C sort -u >"$wanted"
diff -u "$wanted" "$found"
