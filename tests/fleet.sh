#!/bin/sh
# The example of a fleet, with a service for each host: check mode changes nothing; a host that fails
# its health check reverts, the others keep their change; a refusal on the first host stops the rest.
# Usage: fleet.sh BIN_DIR EXAMPLE_DIR
set -eu
command -v ansible-playbook ||
  { echo "fleet: Skipped"; echo "there is no ansible-playbook (package ansible-core)"; exit 77; }
dir=$(mktemp -d)
services=
finish() {
  # shellcheck disable=SC2086 # a list
  [ -z "$services" ] || kill $services 2>/dev/null || true
  rm -rf "$dir"
}
trap finish EXIT
bin=$(realpath "$1")
export PATH="$bin:$PATH" HOME="$dir" LC_ALL=C.UTF-8
cp -r "$2" "$dir/fleet"
cd "$dir/fleet"
sed -i 's/"eth0"/"lo"/' hierarchies/*.toml

{
  echo 'all: {vars: {ansible_connection: local, ansible_python_interpreter: /usr/bin/python3}, hosts: {'
  for host in hub-1 branch-1 branch-2; do
    mkdir "$dir/$host"
    HQOS_RUNTIME_DIR="$dir/$host" HQOS_STATE_DIR="$dir/$host" hqosd >"$dir/$host/log" 2>&1 &
    services="$services $!"
    echo "$host: {health: test ! -e $dir/$host/ill, hqos_environment: {HQOS_RUNTIME_DIR: $dir/$host}},"
  done
  echo '}}'
} >"$dir/hosts.yml"
# Whether the host's service has its file, within a number of seconds: HOST SECONDS
has_file() {
  timeout "$2" sh -c "until HQOS_RUNTIME_DIR='$dir/$1' hqosctl config diff \
    'hierarchies/${1%-?}.toml'; do sleep 0.2; done" >"$dir/out" 2>&1
}
# Whether the host's service has nothing, within a number of seconds: HOST SECONDS
is_empty() {
  timeout "$2" sh -c "until [ \"\$(HQOS_RUNTIME_DIR='$dir/$1' hqosctl --json sp show)\" = '[]' ]; do
    sleep 0.2; done" 2>"$dir/out"
}
fail() {
  cat "$dir/out"
  echo "$*"
  exit 1
}
# Expects what changes, and what fails, on branch-1, branch-2 and hub-1: CHANGED:FAILED... [OPTION...]
play() {
  expected=$1
  shift
  ansible-playbook -i inventory.yml -i "$dir/hosts.yml" apply.yml "$@" >"$dir/out" 2>&1 || true
  found=$(sed -n 's/.* : ok=.* changed=\([0-9]*\) .*failed=\([0-9]*\).*/\1:\2/p' "$dir/out" | xargs)
  [ "$found" = "$expected" ] || fail "changed and failed: $found instead of $expected"
}
for host in hub-1 branch-1 branch-2; do
  is_empty "$host" 10 || fail "$host does not answer"
done

play "1:0 1:0 1:0" --check
is_empty hub-1 1 || fail "check mode has changed hub-1"
touch "$dir/branch-2/ill"
play "3:0 2:1 3:0" -e seconds=15
has_file hub-1 1 || fail "hub-1 has not kept its change"
has_file branch-1 1 || fail "branch-1 has not kept its change"
is_empty branch-2 20 || fail "branch-2 has not reverted its change"
rm "$dir/branch-2/ill"
play "0:0 3:0 0:0"
has_file branch-2 1 || fail "branch-2 has not kept its change"

sed -i 's/"lo"/"missing"/' hierarchies/*.toml
play "1:1"
grep -q 'interface missing does not exist' "$dir/out" || fail "the refusal is not shown"
