#!/bin/sh
# Loads a service, with a store, for some seconds; both programs must end well.
#   load.sh BIN_DIR SECONDS CLIENTS
set -eu
bin=$1
HQOS_RUNTIME_DIR=$(mktemp -d)
# Freed memory is not kept, as it would look like growth.
export HQOS_RUNTIME_DIR TSAN_OPTIONS=halt_on_error=1 ASAN_OPTIONS=quarantine_size_mb=1
service=
trap 'exit 1' INT TERM
trap '[ -z "$service" ] || kill -KILL "$service"; rm -rf "$HQOS_RUNTIME_DIR"' EXIT

"$bin/hqosd" --store "$HQOS_RUNTIME_DIR/store" 2>"$HQOS_RUNTIME_DIR/log" &
service=$!
for _ in $(seq 100); do
  [ ! -S "$HQOS_RUNTIME_DIR/lip-80000000-1174" ] || break
  sleep 0.1
done
status=0
"$bin/load_bench" "$2" "$3" || status=1
kill -TERM "$service" || status=1
wait "$service" || status=1
service=
[ "$status" -eq 0 ] || tail -n 50 "$HQOS_RUNTIME_DIR/log" >&2
exit "$status"
