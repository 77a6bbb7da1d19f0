#!/usr/bin/env bash
# What goes over the wire, read by tshark: TRANSPORT_TEST. Needs root, for a network of its own.
set -euo pipefail

if [[ ${1-} != inside ]]; then
    skip() {
        echo "SKIPPED: capture_test: $1"
        exit 77
    }
    command -v tshark >/dev/null || skip "tshark is not installed"
    unshare --net true 2>/dev/null || skip "needs root's right to a network of its own"
    exec unshare --net "$0" inside "$1"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ip link set lo up
tshark -q -i lo -f tcp -w "$work/capture" 2>"$work/log" &
capture=$!
trap 'kill "$capture" 2>/dev/null; rm -rf "$work"' EXIT
for ((i = 0; i < 100; i++)); do
    [[ ! -s $work/capture ]] || break
    sleep 0.1
done
# In both directions with the RPC library, and fragments of one byte.
"$2" --gtest_filter='Interoperation.SmallCalls:Service.TakesRecordsInAnyCut' >"$work/test"
sleep 1
kill -INT "$capture"
wait "$capture" || true
trap 'rm -rf "$work"' EXIT

frames() { # FILTER
    tshark -r "$work/capture" -o rpc.dissect_unknown_programs:TRUE -Y "$1" 2>>"$work/log"
}

failures=0
expect() { # WHAT HAVE LEAST
    [[ $2 -ge $3 ]] || {
        echo "FAIL: $1: $2, not $3" >&2
        failures=1
    }
}
calls=$(frames 'rpc.msgtyp == 0' | wc -l)
replies=$(frames 'rpc.msgtyp == 1 && rpc.state_accept == 0' | wc -l)
expect calls "$calls" 10
expect replies "$replies" 10
complaints=$(frames 'rpc && (_ws.malformed || _ws.expert.severity == "Error")')
[[ -z $complaints ]] || {
    echo "FAIL: tshark complains:" >&2
    head -20 <<<"$complaints" >&2
    failures=1
}
[[ $failures == 0 ]] || exit 1
echo "$calls calls, $replies replies, no complaint"
