#!/usr/bin/env bash
# What goes over the wire, read by tshark: TRANSPORT_TEST. Needs root, for a network of its own.
set -euo pipefail

skip() {
    echo "SKIPPED: capture_test: $1"
    exit 77
}

if [[ ${1-} != inside ]]; then
    command -v tshark >/dev/null || skip "tshark is not installed"
    unshare --net true 2>/dev/null || skip "needs root's right to a network of its own"
    exec unshare --net "$0" inside "$1"
fi

work=$(mktemp -d)
trap 'kill "$capture" 2>/dev/null || true; rm -rf "$work"' EXIT
ip link set lo up
tshark -q -i lo -f tcp -w "$work/capture" 2>"$work/log" &
capture=$!

frames() { # FILTER
    tshark -r "$work/capture" -o rpc.dissect_unknown_programs:TRUE -Y "$1" 2>>"$work/log" || true
}

# Knocks at a closed port until that is in the capture: what came before is there too.
knock() { # PORT
    for ((tries = 0; tries < 120; tries++)); do
        kill -0 "$capture" 2>/dev/null || skip "tshark may not capture: $(tail -n 1 "$work/log")"
        { : >"/dev/tcp/127.0.0.1/$1"; } 2>/dev/null || true
        [[ -z $(frames "tcp.dstport == $1") ]] || return 0
        sleep 0.2
    done
    echo "FAIL: nothing is captured: $(tail -n 3 "$work/log")" >&2
    exit 1
}

knock 1
# In both directions with the RPC library, and fragments of one byte.
"$2" --gtest_filter='Interoperation.SmallCalls:Service.TakesRecordsInAnyCut' >"$work/test"
knock 2
kill -INT "$capture"
wait "$capture" || true

calls=$(frames 'rpc.msgtyp == 0' | wc -l)
replies=$(frames 'rpc.msgtyp == 1 && rpc.state_accept == 0' | wc -l)
complaints=$(frames 'rpc && (_ws.malformed || _ws.expert.severity == "Error")')
echo "$calls calls, $replies replies, complaints: ${complaints:-none}"
[[ $calls -ge 10 && $replies -ge 10 && -z $complaints ]]
