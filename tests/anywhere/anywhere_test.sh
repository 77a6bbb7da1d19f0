#!/usr/bin/env bash
# Host, client and library in a container, as its root and as an ordinary user, on a machine whose name
# nobody knows: REFUSE NOWHERE VQHOST SHELFWISE TRANSPORT_TEST VQHOME.
set -euo pipefail

umask 022
export TMPDIR
TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
chmod 1777 "$TMPDIR"
# Where they are built an ordinary user may not be let in.
cp -r "${@:1:5}" "$6/vqinit" "$TMPDIR"
export VQHOME=$TMPDIR
cd "$TMPDIR"
cat >three.json <<END
{"title": "Three", "components": [{"name": "a"}, {"name": "b"}, {"name": "c"}], "selected": "b"}
END
nowhere=$PWD/${2##*/}

failures=0
place=()
expect() { # WHAT COMMAND...
    local status=0
    "${place[@]}" "${@:2}" >log 2>&1 || status=$?
    if [[ $status == 0 ]]; then
        echo "ok: $1"
    else
        echo "FAIL: $1: status $status from ${place[*]} ${*:2}"
        tail -n 40 log
        failures=$((failures + 1))
    fi
}

all() { # WHO REFUSE-OPTIONS...
    place=("$PWD/refuse" "${@:2}")
    expect "no namespaces, as $1" bash -c 'command -v unshare && ! unshare --user true'
    local shelfwise_at_work=("$PWD/vqhost" run three.json --port-mapper own --time-limit 600
        --client "$PWD/shelfwise" "choose Move File Up" "expect order b,a,c")
    expect "vqhost and Shelfwise, as $1" "${shelfwise_at_work[@]}"
    expect "a name that is not the machine's, as $1" \
        env LD_PRELOAD="$nowhere" bash -c "[[ \$(hostname) == nowhere.invalid ]]"
    expect "vqhost and Shelfwise without a known name, as $1" \
        env LD_PRELOAD="$nowhere" "${shelfwise_at_work[@]}"
    expect "both sides of the transport, as $1" "$PWD/transport_test" --gtest_filter="Interoperation.*"
}

all "user $EUID"
if [[ $EUID == 0 ]]; then
    if ./refuse --user 54321 test -x "$PWD/vqhost"; then
        all "an ordinary user" --user 54321
    else
        echo "SKIPPED: anywhere_test: an ordinary user may not enter $TMPDIR"
        [[ $failures != 0 ]] || exit 77
    fi
fi
[[ $failures == 0 ]]
