#!/bin/sh
# Replays the commands of a document, in namespaces with an interface eth0, and prints how its outputs
# differ.
# Usage: tests/document.sh BIN_DIR SOURCE_DIR DOCUMENT [--update]
set -eu
. "$2/scripts/namespaces.sh"
if [ -z "${inside-}" ]; then
  why=$(why_no_namespaces)
  [ -z "$why" ] || { echo "$3: Skipped"; echo "no traffic can be shaped here: $why"; exit 77; }
  inside=yes
  export inside
  in_namespaces "$0" "$@"
  exit
fi
# shellcheck disable=SC2034 # for session.sh
error_mark='' shows_status=no
. "$2/tests/cli/session.sh"
document=$(realpath "$2")/$3
examples=$(realpath "$2")/examples
bin=$(realpath "$1")
dir=$(mktemp -d)
export PATH="$bin:$PATH" HQOS_RUNTIME_DIR="$dir" examples LC_ALL=C.UTF-8
finish() {
  jobs -p >"$dir/jobs"
  xargs -r kill <"$dir/jobs" 2>"$dir/err" || true
  umount "$dir/far" 2>"$dir/err" || true
  rm -rf "$dir"
}
trap finish EXIT
cd "$dir"
ln -s "$examples" examples
ip link add eth0 type veth peer name eth1
ip link set eth0 up

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
' "$document" >session
play <session >played
sed -e '/^$/b' -e 's/^#|//; t' -e 's/^/    /' played >actual
[ -z "${4-}" ] || cp actual "$document"
diff -u "$document" actual
