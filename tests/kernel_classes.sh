#!/bin/sh
# The classes that the diagnosis names are those of the kernel, in a network namespace of its own.
# Usage: kernel_classes.sh BIN_DIR EXAMPLES_DIR
set -eu
bin=$(realpath "$1")
examples=$(realpath "$2")
if [ -z "${HQOS_IN_NAMESPACE:-}" ]; then
  dir=$(mktemp -d)
  trap 'rm -rf "$dir"' EXIT
  export HQOS_IN_NAMESPACE="$dir"
  unshare --map-root-user --net sh -c 'ip link add v0 type veth peer name v1 && ip link set v0 up &&
    ip link set v1 up && tc qdisc add dev v0 root handle 1: htb && tc qdisc del dev v0 root' \
    >"$dir/probe" 2>&1 || { echo "skipped: no namespace with HTB: $(head -1 "$dir/probe")"; exit 77; }
  unshare --map-root-user --net sh "$0" "$bin" "$examples"
  exit
fi
cd "$HQOS_IN_NAMESPACE"
ip link add v0 type veth peer name v1
ip link set v0 up
ip link set v1 up
export PATH="$bin:$PATH" HQOS_RUNTIME_DIR=.
hqosd --ephemeral --enforce 2>log &
service=$!
trap 'kill "$service" 2>/dev/null || true' EXIT
until hqosctl sp show >out 2>&1; do
  kill -0 "$service" || { cat log; exit 1; }
  sleep 0.01
done
sed 's/eth0/v0/' "$examples/office.toml" | hqosctl config apply - >out
tc class show dev v0 | sed -n 's/^class htb \([0-9a-f:]*\).* leaf.*/\1/p' | sort >leaves
# Every child has a class of its own; its leaf is a leaf of the kernel's.
hqosctl diag --json | grep -o '"class":"[^"]*"' | sort | uniq -c | awk '{ print $1 }' | sort -u >counts
[ "$(cat counts)" = 1 ]
hqosctl diag --json | grep -o '"leaf":"[^"]*' | sed 's/.*"//' | sort >named
[ "$(wc -l <named)" = 6 ] || { hqosctl diag; exit 1; }
comm -23 named leaves >missing
[ ! -s missing ] || { cat missing; tc class show dev v0; exit 1; }
