#!/bin/sh
# A service whose disk fills up: it goes on answering, deletes, and starts again with a full disk.
# Usage: full_disk.sh BIN_DIR
set -eu
if [ "${2-}" != inside ]; then
  why=$(unshare -rm sh -c 'mount -t tmpfs none /tmp' 2>&1) ||
    { echo "full_disk: Skipped"; echo "no mount namespaces here: $why"; exit 77; }
  dir=$(mktemp -d)
  trap 'rmdir "$dir"' EXIT
  status=0
  unshare -rm "$0" "$1" inside "$dir" || status=$?
  exit "$status"
fi
mount -t tmpfs -o size=3m none "$3"
cd "$3"
export HQOS_STATE_DIR="$3/state" HQOS_RUNTIME_DIR="$3/run" PATH="$1:$PATH"
mkdir state run
start() {
  hqosd 2>>run/log &
  pid=$!
  until hqosctl sp show >/dev/null 2>&1; do kill -0 "$pid" || { cat run/log; exit 1; }; done
}
fail() { echo "full_disk: $*"; cat run/log; kill "$pid"; exit 1; }
start
for i in $(seq 40); do hqosctl fp add "fp$i"; done
dd if=/dev/zero of=fill bs=4096 2>/dev/null || true
text=
for i in $(seq 2000); do text=$(hqosctl fp add "more$i" 2>&1) || break; done
case $text in *"its disk is full"*) ;; *) fail "no refusal names the disk: $text" ;; esac
hqosctl fp show fp1 >/dev/null || fail "queries are not answered"
hqosctl fp del fp40 || fail "nothing can be deleted"
hqosctl fp del fp39 || fail "nothing more can be deleted"
kill "$pid"
wait "$pid" || true
dd if=/dev/zero of=fill2 bs=4096 2>/dev/null || true
start
hqosctl fp show fp38 >/dev/null || fail "it does not start with what it had"
if hqosctl fp show fp40 >/dev/null 2>&1; then fail "what was deleted is there again"; fi
kill "$pid"
wait "$pid" || true
rm -f fill fill2
# After a clean end there is no log, and no room to make one: all that was there is kept.
start
hqosctl fp add room
kill "$pid"
wait "$pid" || true
test ! -e state/hqosd.db-wal || fail "the log is not folded in"
dd if=/dev/zero of=fill bs=4096 2>/dev/null || true
hqosd --check >/dev/null || fail "it cannot be checked"
start
grep -q "can only be read until there is room" run/log || fail "the log does not say so"
hqosd --check >/dev/null || fail "it cannot be checked while it is served"
if hqosctl fp add none 2>/dev/null; then fail "it adds without room"; fi
hqosctl fp del fp37 || fail "it deletes nothing when it starts with a full disk"
if hqosctl fp show fp37 >/dev/null 2>&1; then fail "what was deleted is still there"; fi
rm -f fill
hqosctl fp add again || fail "it does not write when there is room again"
kill "$pid"
wait "$pid" || true
start
hqosctl fp show again >/dev/null || fail "what was written then is lost"
kill "$pid"
wait "$pid" || true
# Damage, and no room to repair it: what can be read is served, and repaired when there is room.
dd if=/dev/zero of=state/hqosd.db bs=4096 seek=2 count=1 conv=notrunc 2>/dev/null
dd if=/dev/zero of=fill bs=4096 2>/dev/null || true
start
grep -q "the store is damaged" run/log || fail "the log does not name the damage"
left=$(hqosctl fp show | wc -l)
test "$left" -gt 1 || fail "nothing of a damaged store is served"
text=$(hqosctl fp add none 2>&1) && fail "it adds to a damaged store without room"
case $text in *"it is damaged, and its disk is full"*) ;; *) fail "no refusal names the damage: $text" ;; esac
rm -f fill
hqosctl fp add repaired || fail "it does not repair the store when there is room"
test "$(hqosctl fp show | wc -l)" -eq $((left + 1)) || fail "the repaired store has other records"
kill "$pid"
wait "$pid" || true
