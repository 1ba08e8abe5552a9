# shellcheck shell=sh
# For the other scripts: quiet steps, probes of the machine, test runs, and what was skipped.
# Needs $me, the script's name. $HQOS_WITHOUT names probes that are to fail, so that skips can be
# tried on a machine that has everything.
: "${me:?}"
log=$(mktemp)
skips=$(mktemp)
probe_dir=$(mktemp -d)
trap 'report_skips; rm -rf "$log" "$skips" "$probe_dir"' EXIT
trap 'exit 1' INT TERM

# Runs a command and shows what it prints only if it fails, which ends the script.
quietly() {
  "$@" >"$log" 2>&1 || { cat "$log"; echo "$me: failed: $*"; exit 1; }
}

# Configures and builds a preset: PRESET [CMAKE ARGUMENT...]
build() {
  echo "$me: building $1"
  quietly cmake --preset "$@"
  quietly cmake --build --preset "$1"
}

# Records what is not run on this machine, and why.
skip() {
  echo "$*" >>"$skips"
}

report_skips() {
  [ -s "$skips" ] || return 0
  echo "$me: skipped on this machine:"
  sed 's/^/  /' "$skips"
}

# Whether the command succeeds, unless $HQOS_WITHOUT says that this machine lacks it: NAME COMMAND...
machine_has() {
  case " ${HQOS_WITHOUT-} " in *" $1 "*) return 1 ;; esac
  shift
  "$@" >/dev/null 2>&1
}

# Compiles an empty program with the flags given: NAME COMPILER [FLAG...]
compile_probe() {
  probe=$probe_dir/$1
  shift
  echo 'int main(void) { return 0; }' >"$probe.c"
  "$@" "$probe.c" -o "$probe"
}

# Runs the tests of a preset and records those that skipped themselves: PRESET [CTEST ARGUMENT...]
# $runner, if set, is a command that runs a command, setarch for example.
run_tests() {
  echo "$me: running $1"
  status=0
  # shellcheck disable=SC2086 # the runner is meant to be split
  ${runner-} ctest --preset "$@" || status=$?
  awk -v preset="$1" '
    /^[0-9]+\/[0-9]+ Test: / { name = $3 }
    reason { print preset ": " name ": " $0; reason = 0 }
    /: Skipped$/ { reason = 1 }
  ' "build/$1/Testing/Temporary/LastTest.log" >>"$skips"
  return "$status"
}
