#!/usr/bin/env bash
# The library and vqhost with the machine's port mapper: RPCBIND-TESTS VQHOST CLIENT BOOK VQRECORD. Needs
# root, for a network, a name and a /run of its own in which rpcbind is started.
set -euo pipefail
PATH=$PATH:/usr/sbin

skip() {
    echo "SKIPPED: rpcbind_test: $*"
    exit 77
}

if [[ ${1-} != inside ]]; then
    [[ $EUID == 0 ]] || skip "needs root, to start rpcbind"
    command -v rpcbind >/dev/null || skip "rpcbind is not installed"
    unshare --net --mount --uts true 2>/dev/null || skip "the machine makes no namespaces"
    exec unshare --net --mount --uts "$0" inside "$@"
fi
tests=$2 client=$4 book=$5 vqrecord=$6
eval "launcher=(${LAUNCHER-})"
vqhost=("${launcher[@]}" "$3")

ip link set lo up
name=/proc/sys/kernel/hostname
echo localhost >$name
mount --make-rprivate /
mount -t tmpfs none /run
work=$(mktemp -d)
rpcbind -f &
rpcbind=$!
trap 'kill -KILL $rpcbind; rm -rf "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# Waits, for a minute, until it is so.
until_so() { # WHAT COMMAND...
    local what=$1
    shift
    for ((tries = 0; tries < 600; tries++)); do
        ! "$@" || return 0
        sleep 0.1
    done
    fail "$what"
}

programs() { # NUMBER
    [[ $(rpcinfo -p 127.0.0.1 2>/dev/null | grep -cv -e portmapper -e program) == "$1" ]]
}

refused() { # REASON
    local code=0
    "${vqhost[@]}" run "$book" --time-limit 600 --client "$client" --port-mapper machine quit \
        2>"$work/error" || code=$?
    { [[ $code == 3 ]] && grep -qF "$1" "$work/error"; } || fail "status $code: $(cat "$work/error")"
}

until_so "rpcbind does not answer" rpcinfo -p 127.0.0.1 >/dev/null
"${launcher[@]}" "$tests"

echo "== The host and its client are registered while they run"
mkfifo "$work/commands"
"${vqhost[@]}" run "$book" --time-limit 600 --client "$client" <"$work/commands" &
host=$!
exec 3>"$work/commands"
until_so "host, session and client are not registered" programs 3
echo quit >&3
wait $host || fail "vqhost ended with $?"
programs 0 || fail "something stays registered"

echo "== So is vqrecord between them"
"${vqhost[@]}" run "$book" --time-limit 600 --client "$vqrecord" --client-arg -o --client-arg "$work/recording" \
    --client-arg "$client" "message hello" || fail "vqhost ended with $?"
[[ $(tail -1 "$work/recording") == "]}" ]] || fail "the recording is not whole"
programs 0 || fail "something stays registered"

echo "== Where the machine's name has no address, the host has a port mapper of its own"
echo nowhere.invalid >$name
"${vqhost[@]}" run "$book" --time-limit 600 --client "$client" "expect running $(basename "$client")" ||
    fail "vqhost ended with $?"
refused "nowhere.invalid, has no address"
echo localhost >$name

echo "== One that has stopped holds nobody up"
kill -STOP $rpcbind
"${vqhost[@]}" run "$book" --time-limit 600 --client "$client" "expect running $(basename "$client")" ||
    fail "vqhost ended with $?"
refused "start rpcbind"
