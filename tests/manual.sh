#!/bin/sh
# The manual pages have every command and option that the programs' help has, and no other; every
# function has a page; the file in hqos.toml(5) is valid.
# Usage: manual.sh MAN_DIR BIN_DIR HEADER
set -eu
man=$1
bin=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# A line for each command, and for each of its options: PROGRAM [COMMAND...]
in_help() {
  program=$1
  shift
  "$program" "$@" --help >"$dir/help"
  sed -n "s/^ \{2,4\}\(-[hj],\)\{0,1\}\(--[a-z-]*\).*/$* \2/p" "$dir/help" |
    if [ $# -gt 0 ]; then grep -v -- ' --help$' || true; else cat; fi
  commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\)[ ,].*/\1/p' "$dir/help")
  [ -n "$commands" ] || echo "$*"
  for command in $commands; do
    (in_help "$program" "$@" "$command")
  done
}
# The same from the list items of a page.
in_page() {
  awk '/^\.It (Ic|Fl) / {
    path = ""
    i = 3
    if ($2 == "Ic") {
      for (; i <= NF && $i !~ /^[A-Z][a-z]+$/; ++i) path = path (i == 3 ? "" : " ") $i
      print path
    }
    for (; i <= NF; ++i) if ($i ~ /^-[a-z]/) print path " -" $i
  }' "$1"
}
for page in man1/hqosctl.1 man8/hqosd.8; do
  program=$(basename "${page%.?}")
  in_help "$bin/$program" | sort -u | sed '/^$/d' >"$dir/asked"
  in_page "$man/$page" | sort -u | sed '/^$/d' >"$dir/described"
  [ -s "$dir/asked" ]
  diff -u --label "$program --help" --label "man/${page#*/}" "$dir/asked" "$dir/described" || {
    echo "describe in man/${page#*/} what has a +/- here"
    exit 1
  }
done

sed -n '/^\.Bd/,/^\.Ed/{/^\./!p}' "$man/man5/hqos.toml.5" | "$bin/hqosctl" config validate -

[ -d "$man/man3" ] ||
  { echo "manual: Skipped"; echo "the library's pages were not made: there is no Python 3"; exit 77; }
for name in $(grep -v '^ *//' "$3" | grep -oE '\bHQOS_(lib|msg|dbmtype|util)_\w+\(' | tr -d '('); do
  page=$man/$(sed 's/^\.so //' "$man/man3/$name.3")
  grep -qx "\.Fo $name" "$page" && grep -qx "\.It Fn $name" "$page" && continue
  echo "$name is not described in $page"
  exit 1
done

command -v mandoc >"$dir/which" ||
  { echo "manual: Skipped"; echo "the pages are not checked: there is no mandoc"; exit 77; }
mkdir "$dir/flat"  # where mandoc finds what pages refer to
cp "$man"/man?/* "$dir/flat"
cd "$dir/flat"
# Others' pages need not be on this machine.
grep -L '^\.so' -- * | xargs mandoc -T lint 2>&1 |
  grep -vE 'mandoc\.db|manual not found: Xr (systemd|tc) ' && exit 1
exit 0
