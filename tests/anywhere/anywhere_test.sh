#!/usr/bin/env bash
# Host, client and library with a container's rights, as its root and as an ordinary user, on a machine
# whose name nobody knows: NOWHERE VQHOST SHELFWISE TRANSPORT_TEST VQHOME.
set -euo pipefail

umask 022
export TMPDIR
TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
chmod 1777 "$TMPDIR"
# Where they are built an ordinary user may not be let in.
cp -r "${@:1:4}" "$5/vqinit" "$TMPDIR"
export VQHOME=$TMPDIR
cd "$TMPDIR"
cat >three.json <<END
{"title": "Three", "components": [{"name": "a"}, {"name": "b"}, {"name": "c"}], "selected": "b"}
END
nowhere=$PWD/${1##*/}

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

all() { # WHO LAUNCHER...
    place=("${@:2}")
    local shelfwise_at_work=("$PWD/vqhost" run three.json --port-mapper own --time-limit 600
        --client "$PWD/shelfwise" "choose Move File Up" "expect order b,a,c")
    expect "vqhost and Shelfwise, as $1" "${shelfwise_at_work[@]}"
    expect "a name that is not the machine's, as $1" \
        env LD_PRELOAD="$nowhere" bash -c "[[ \$(hostname) == nowhere.invalid ]]"
    expect "vqhost and Shelfwise without a known name, as $1" \
        env LD_PRELOAD="$nowhere" "${shelfwise_at_work[@]}"
    expect "both sides of the transport, as $1" "$PWD/transport_test" --gtest_filter="Interoperation.*"
}

if [[ $EUID == 0 ]]; then
    rights=$(printf ,+%s chown dac_override fowner fsetid kill setgid setuid setpcap net_bind_service \
        net_raw sys_chroot mknod audit_write setfcap)
    all "a container's root" setpriv --inh-caps=-all --bounding-set="-all$rights"
    ordinary=(setpriv --reuid=54321 --regid=54321 --clear-groups)
    if "${ordinary[@]}" test -x "$PWD/vqhost"; then
        install -d -o 54321 home
        all "an ordinary user" env HOME="$PWD/home" "${ordinary[@]}"
    else
        echo "SKIPPED: anywhere_test: an ordinary user may not enter $TMPDIR"
        [[ $failures != 0 ]] || exit 77
    fi
else
    all "user $EUID"
fi
[[ $failures == 0 ]]
