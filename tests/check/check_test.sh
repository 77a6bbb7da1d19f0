#!/usr/bin/env bash
# vqhost check, of sound clients and of clients with one fault each:
# VQHOST FAULTY-CLIENT SHELFWISE VQHOME EXAMPLES SOURCES MANUAL HELLO, where EXAMPLES is the folder in
# which they were built.

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"
faulty=$2 shelfwise=$3 vqhome=$4 examples=$5 sources=$6 manual=$7 hello=$8
unset HOME
export TMPDIR=$work

limit=600
checks=() expected=()
# Checks a client in the background, beside a few others.
check() { # NAME POINTS-THAT-FAIL CLIENT OPTIONS...
    [[ $(jobs -rp | wc -l) -lt 12 ]] || wait -n
    checks+=("$1") expected+=("$2")
    { "${program[@]}" check "$3" --limit "$limit" "${@:4}" >"$1.tap" 2>"$1.err" </dev/null && echo 0 || echo $?; } >"$1.code" &
}
# Holds its output against the points that fail.
failed() { # NAME POINTS
    local is
    is=$(sed -n 's/^not ok [0-9]* - \([^:]*\):.*/\1/p' "$1.tap" | paste -sd' ')
    [[ $is == "$2" ]] || fail "$1 fails '$is', not '$2': $(head -c 3000 "$1.tap" "$1.err")"
    [[ $(<"$1.code") == $((${#2} > 0)) ]] || fail "the exit status for $1 is $(<"$1.code")"
    [[ $(grep -cE '^(not )?ok ' "$1.tap") == $(sed -n 's/^1\.\.//p' "$1.tap") ]] || fail "points of $1 are missing"
}

VQHOME=$vqhome check shelfwise "" "$shelfwise"
for each in wordcount replace exporter; do
    VQHOME=$examples check "$each" "" "$examples/$each" --book "$sources/tea.json"
done
check hello "" "$hello"

# Clients with one fault each, and with several that have nothing to do with each other.
faults="
sound:
hands-back-twice: hand-over
serves-in-between: nested
dies-initialised: initialisation
dies-refused: refused
fails-when-used: exit-status
leaves-and-fails: commands
repeats-for-ever: unanswered
dies-disconnected: refused unanswered half-answered disconnected vanished-host
never-detaches,dies-of-the-unknown,leaks-a-descriptor,stays-registered: detached callbacks descriptors registration
hides-its-failure,calls-without-control,exits-with-3: no-description no-host control exit-status
leaves-a-process,is-impatient: slow-host processes"
# What a client does not do takes as long as the limit, what it does may take any time. So the point
# in which one hangs, and those behind that, have a short limit of their own, and then all others a
# long one.
hangs="
never-acknowledges: start
leaves-the-dialog: modal-dialog
opens-another-dialog: quit-in-dialog
ignores-its-bail-out: bail-out exit-status processes
ignores-quit: quit quit-in-dialog exit-status processes registration
outlives-the-host: vanished-host"

"${program[@]}" check --list >list
# Prints an option for each of the points, or of the others.
only() { # POINTS [v]
    cut -d' ' -f1 list | grep "-${2-}xF" "${1// /$'\n'}" | sed 's/^/--only=/'
}
mkdir clients
while IFS=: read -r name points; do
    [[ -n $name ]] || continue
    ln -s "$faulty" "clients/$name"
    check "$name" "${points# }" "clients/$name"
done <<<"$faults"
while IFS=': ' read -r name points; do
    [[ -n $name ]] || continue
    ln -s "$faulty" "clients/$name"
    mapfile -t those < <(only "$points")
    mapfile -t others < <(only "$points" v)
    limit=2 check "$name" "${points%% *}" "clients/$name" "${those[@]}"
    [[ $points == start ]] || check "$name-otherwise" "" "clients/$name" "${others[@]}"
done <<<"$hangs"
for name in calls-for-ever closes-everything; do
    ln -s "$faulty" "clients/$name"
    limit=1 check $name commands clients/$name --only commands
done
wait
for i in "${!checks[@]}"; do
    failed "${checks[i]}" "${expected[i]}"
done

# The end of a client has advice of its own.
[[ $(grep -c "use no result of a call" dies-disconnected.tap) == $(grep -c "^not ok" dies-disconnected.tap) ]] ||
    fail "the advice is not about the crash: $(grep -F advice: dies-disconnected.tap)"

# What ignores signals, and leaves processes, ends with its point.
for process in /proc/[0-9]*; do
    [[ $(readlink "$process/exe") != "$faulty" || $(tr '\0' ' ' <"$process/cmdline") != "$work"* ]] ||
        fail "a process is left: $(tr '\0' ' ' <"$process/cmdline")"
done 2>/dev/null
[[ -z $(find "$work" -name 'velt-check-*') ]] || fail "files are left"

# The manual has the points, and what each is about.
while read -r name what; do
    grep -qxF "$what." <(grep -A1 -xF ".It $name" "$manual") || fail "the manual does not say of $name: $what"
done <list

ln -s "$faulty" clients/needs-an-address
"${program[@]}" check clients/needs-an-address --only localhost >out || true
grep -qE "^not ok|# SKIP the system lets" out || fail "the machine's name is not examined: $(<out)"

# The client's lines stand one under the other, and among them is none of the results.
printf '%s\n' '#!/bin/sh' "printf 'one\\r\\n\\ntwo'" "exec '$work/clients/dies-initialised'" >clients/dies-initialised.sh
chmod +x clients/dies-initialised.sh
run 1 check clients/dies-initialised.sh --only initialisation
[[ $(grep -A4 output: out) == *"|2"$'\n    one\n    two\n    client 1 '*$'\n  ...' ]] || fail "the output is: $(<out)"

ln -s "$faulty" clients/exits-with-3
run 1 check clients/exits-with-3 --only "exit-*" --only quit
wrote out "1..2"
wrote out "exited with status 3"
run 1 check clients/sound --only commands --command Raed --command 1
wrote out 'no command Raed in a menu; there are: Read, Show Dialog, Finish; do you mean \"Read\"?'

# What the host could not do is not the client's fault, and advice on the client helps no other program.
! out=$(ulimit -f 0; "${program[@]}" check clients/sound 2>err) || fail "a full disk passes"
[[ $out == *"Bail out! $work/velt-check-"*"book.json: "* ]] || fail "a full disk is told by $out"
printf '#!/no/shell\n' >clients/cannot-run
printf '#!/bin/sh\nexec no-such-program\n' >clients/lacks-a-program
chmod +x clients/cannot-run clients/lacks-a-program
run 1 check clients/cannot-run --only start
wrote out "cannot be started"
! grep -q advice: out || fail "there is advice for what cannot be started: $(<out)"
run 1 check clients/lacks-a-program --only start
wrote out "see in its output what it has not found"
ln -s "$faulty" clients/has-no-commands
run 1 check clients/has-no-commands --only "*mm*" --only refused
wrote out "no command in a menu"
wrote out "# SKIP commands has failed"
run 0 check clients/has-no-commands --only refused --only commands --allow-no-commands
run 2 check clients/sound --only quitt
wrote err 'do you mean "quit"'
run 2 check clients/none
ln -s loop loop
run 2 check ./loop
wrote err "./loop: Too many levels"
TMPDIR=$work/loop run 2 check clients/sound
run 2 check "$work"
wrote err "is no program that can be started"
run 2 check clients/sound --client-env A
wrote err "not NAME=VALUE"
run 2 check clients/sound --book none.json
run 2 check
run 2 check clients/sound --limit 0

finish
