#!/bin/sh
# Replays the commands of the tutorial, in namespaces, and prints how its outputs differ.
# Usage: tests/tutorial.sh BIN_DIR SOURCE_DIR [--update]
set -eu
. "$2/scripts/namespaces.sh"
if [ -z "${inside-}" ]; then
  why=$(why_no_namespaces)
  [ -z "$why" ] || { echo "tutorial: Skipped"; echo "no traffic can be shaped here: $why"; exit 77; }
  inside=yes
  export inside
  in_namespaces "$0" "$@"
  exit
fi
# shellcheck disable=SC2034 # for session.sh
error_mark='' shows_status=no
. "$2/tests/cli/session.sh"
tutorial=$(realpath "$2")/docs/tutorial.md
examples=$(realpath "$2")/examples
bin=$(realpath "$1")
export PATH="$bin:$PATH" examples LC_ALL=C.UTF-8
dir=$(mktemp -d)
service=
finish() {
  [ -z "$service" ] || kill "$service" 2>"$dir/err" || true
  umount "$dir/far" 2>"$dir/err" || true
  rm -rf "$dir"
}
trap finish EXIT
cd "$dir"

# All but the blocks that begin with a command is a comment of the session.
awk '
  function skip_blanks(mark) { for (; blanks > 0; --blanks) print mark }
  /^$/ { ++blanks; next }
  /^    / {
    if (block == "") { skip_blanks("#|"); block = /^    \$ / ? "session" : "text" }
    skip_blanks(block == "session" ? "" : "#|")
    print block == "session" ? substr($0, 5) : "#|" $0
    next
  }
  { skip_blanks("#|"); block = ""; print "#|" $0 }
' "$tutorial" >session
play <session >played
sed -e '/^$/b' -e 's/^#|//; t' -e 's/^/    /' played >actual
[ -z "${3-}" ] || cp actual "$tutorial"
diff -u "$tutorial" actual
