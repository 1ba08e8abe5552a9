#!/bin/sh
# Every function of the header is called by some test.
# Usage: surface.sh HEADER TESTS_DIR
set -eu
missing=0
[ -s "$1" ]
for name in $(grep -o 'HQOS_\(lib\|msg\|util\|dbmtype\)_[A-Za-z0-9]*(' "$1" | tr -d '(' | sort -u); do
  grep -qw "$name" "$2"/*_test.cc "$2"/*.h || { echo "no test calls $name"; missing=1; }
done
[ -n "${name-}" ] && exit "$missing"
