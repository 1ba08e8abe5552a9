#!/bin/sh
# The library exports the functions that its header declares, no more and no fewer, and depends on
# nothing but the platform library and the C library.
# Usage: exports.sh LIBRARY HEADER
set -eu
library=$1
header=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

grep -v '^ *//' "$header" | grep -oE '\bHQOS_(lib|msg|dbmtype|util)_[A-Za-z0-9]+\(' | tr -d '(' |
  sort -u >"$dir/declared"
[ -s "$dir/declared" ]
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
  sort >"$dir/exported"
diff "$dir/declared" "$dir/exported"

readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort >"$dir/needed"
printf 'libc.so.6\nlibhqos-platform.so.1\n' | diff - "$dir/needed"
readelf -d "$library" | grep -q '(SONAME).*\[libhqos.so.1\]'
