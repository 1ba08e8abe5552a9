#!/bin/sh
# Commits are counted with their times; readers of both formats accept what is printed; the line that
# the document gives to systemd works.
# Usage: metrics.sh BIN_DIR DOCUMENT
set -eu
dir=$(mktemp -d)
service=
finish() {
  [ -z "$service" ] || kill "$service" 2>/dev/null || true
  rm -rf "$dir"
}
trap finish EXIT
bin=$(realpath "$1")
export PATH="$bin:$PATH" HQOS_RUNTIME_DIR="$dir" HQOS_STATE_DIR="$dir"
echo '[{"place": "interface lo both", "path": ["a"], "stat32": [5], "stat64": [7, 9, 1, 6]}]' \
  >"$dir/counters"
hqosd --counters "$dir/counters" 2>"$dir/log" &
service=$!
until hqosctl sp add gold 2>"$dir/err"; do
  kill -0 "$service" || { cat "$dir/log"; exit 1; }
  sleep 0.01
done
hqosctl fg add a
hqosctl nest sp gold fg a --match dot1p:1
hqosctl apply sp gold --interface lo --direction both

command=$(sed -n "s/^ *ExecStart=.bin.sh -c '\(.*\)'/\1/p" "$2")
(cd /; eval "$(echo "$command" | sed "s,cd [^ ]*,cd $dir,")")
grep -qx 'hqos_commit_duration_seconds_count 4' "$dir/hqos.prom"
grep -qx 'hqos_commit_duration_seconds_bucket{le="+Inf"} 4' "$dir/hqos.prom"
grep -qx 'hqos_commit_duration_seconds_sum 0' "$dir/hqos.prom" && { cat "$dir/hqos.prom"; exit 1; }

skipped=
if command -v promtool >"$dir/which"; then
  promtool check metrics <"$dir/hqos.prom"
else
  skipped="$skipped; no promtool reads the text files"
fi
python=/usr/bin/python3
if $python -c 'import prometheus_client' 2>"$dir/which"; then
  hqosctl metrics >"$dir/metrics"
  $python - "$dir/metrics" <<'END'
import sys
from prometheus_client.openmetrics.parser import text_string_to_metric_families as parse
families = {family.name: family for family in parse(open(sys.argv[1]).read())}
samples = {sample.name: sample.value for family in families.values() for sample in family.samples}
assert families["hqos_passed_bytes"].type == "counter" and families["hqos_passed_bytes"].unit == "bytes"
assert samples["hqos_passed_bytes_total"] == 9 and samples["hqos_queued_packets"] == 5, samples
END
else
  skipped="$skipped; no python3-prometheus-client reads OpenMetrics"
fi
[ -z "$skipped" ] || { echo "metrics: Skipped"; echo "${skipped#; }"; exit 77; }
