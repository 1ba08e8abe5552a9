#!/bin/sh
# The installed package serves a C11 and a C++ program through pkg-config alone, and a CMake project
# through find_package.
# Usage: install.sh BUILD_DIR SOURCE_DIR
set -eu
build=$1
examples=$2/examples
dir=$(mktemp -d)
service=
finish() {
  [ -z "$service" ] || kill "$service" 2>/dev/null || true
  rm -rf "$dir"
}
trap finish EXIT

cmake --install "$build" --prefix "$dir/usr" >"$dir/log"
for file in include/hqos.h include/hqos/platform/stlv.h lib/libhqos.so lib/libhqos.so.1 \
  lib/libhqos-platform.so lib/pkgconfig/hqos.pc lib/cmake/hqos/hqosConfig.cmake \
  bin/hqosd bin/hqosctl share/man/man1/hqosctl.1 share/bash-completion/completions/hqosctl share/man/man3/HQOS_lib_AddSP.3; do
  [ -e "$dir/usr/$file" ] || { echo "not installed: $file"; exit 1; }
done
[ ! -e "$dir/usr/include/hqos/platform/host" ]
# What documents link to, headers and pages refer to, is there.
cd "$dir/usr/share/doc/hqos"
{
  grep -o '](\([a-zA-Z./]*\)' README.md CONTRIBUTING.md docs/*.md | sed 's,[^/]*:](,,'
  grep -oh 'docs/[a-z]*\.md' "$dir"/usr/include/*.h "$dir"/usr/share/man/man?/*
} | while read -r file; do
  [ -e "$file" ] || { echo "not installed: $file"; exit 1; }
done
cd - >"$dir/log"

export PKG_CONFIG_PATH="$dir/usr/lib/pkgconfig"
flags=$(pkg-config --cflags --libs hqos)
# shellcheck disable=SC2086 # the flags are meant to be split
gcc -std=c11 -Wall -Wextra -Wpedantic -Werror "$examples/add_sp.c" $flags -o "$dir/c"
# shellcheck disable=SC2086
g++ -std=c++11 -Wall -Wextra -Wpedantic -Werror -x c++ "$examples/add_sp.c" -x none $flags \
  -o "$dir/cxx"
sed -n '/^\/\/ Example/,/^\/\/   }$/s/^\/\/ *//p' "$dir/usr/include/hqos.h" | tail -n +2 >"$dir/header.c"
# shellcheck disable=SC2086
gcc -std=c11 -Wall -Wextra -Wpedantic -Werror "$dir/header.c" $flags -o "$dir/header"
cmake -G Ninja -S "$examples" -B "$dir/cmake" -DCMAKE_PREFIX_PATH="$dir/usr" >>"$dir/log"
cmake --build "$dir/cmake" >>"$dir/log"

for header in "$dir"/usr/include/hqos/platform/*.h; do
  gcc -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only "$header"
  g++ -std=c++11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only "$header"
done

mkdir "$dir/run"
export HQOS_RUNTIME_DIR="$dir/run"
"$dir/usr/bin/hqosd" --ephemeral 2>"$dir/service.log" &
service=$!
for _ in $(seq 100); do
  "$dir/usr/bin/hqosctl" sp show >"$dir/log" 2>&1 && break
  sleep 0.05
done
export LD_LIBRARY_PATH="$dir/usr/lib"
[ "$("$dir/c" one)" = "SP one has identifier 0" ]
[ "$("$dir/cxx" two)" = "SP two has identifier 1" ]
[ "$("$dir/cmake/add_sp" three)" = "SP three has identifier 2" ]
[ "$("$dir/header")" = voice ]
[ "$("$dir/c" one 2>&1)" = "refused: SP one already exists" ]
