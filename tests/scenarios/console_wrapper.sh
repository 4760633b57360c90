#!/usr/bin/env bash
# What one console terminal posts to a queue, a listener in another receives;
# the namespace that carries the queues ends with --stop. Host files named as
# arguments are visible inside the sandbox.
set -euo pipefail
src=$1 build=$2
export QUORIX_BUILD=$build QUORIX_STATE=$build/state/tests/console_wrapper
rm -rf "$QUORIX_STATE" && mkdir -p "$QUORIX_STATE"
ctl=$src/scripts/quorixctl
trap '"$ctl" --stop' EXIT
out=$QUORIX_STATE/listen.out
"$ctl" listen queue 12345 --count 1 >"$out" 2>&1 &
listener=$!
for _ in $(seq 100); do grep -q listening "$out" && break; sleep 0.1; done
"$ctl" send idl-text --source 0x20 two terminals
wait "$listener"
expected='listening on queue 12345
IDL request
  log type:     1 (time stamped by the sender)
  source:       0x20'
diff <(head -n 4 "$out") <(echo "$expected")
grep -qx '  text:         "two terminals"' "$out"
# Queued messages wait in the namespace between commands.
"$ctl" send queue 12347 02000000 >/dev/null
"$ctl" listen queue 12347 --count 1 | grep -qx 'request code 2 on queue 12347'
# A host file named as an argument in a tree the sandbox replaces is bound
# read-only; a private /tmp stands in for the host's here (with the trees
# put back, for a clone that lies under /tmp itself).
bwrap --dev-bind / / --tmpfs /tmp --bind "$src" "$src" --bind "$build" "$build" -- bash -c \
  'echo "{\"devices\": {\"cpus\": {\"present\": [1]}}}" >/tmp/host.json && "$0" sim load /tmp/host.json' "$ctl" |
  grep -qx 'loaded /tmp/host.json: 0 block regions, 0 slot results, 1 device records'
keeper=$(cat "$QUORIX_STATE/ipc-keeper.pid")
"$ctl" --stop
[ ! -e "/proc/$keeper" ] || { echo "keeper $keeper still runs after --stop"; exit 1; }
echo "console wrapper: ok"
