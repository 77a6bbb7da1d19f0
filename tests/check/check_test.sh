#!/usr/bin/env bash
# vqhost check, of sound clients and of clients with one fault each:
# VQHOST FAULTY-CLIENT SHELFWISE VQHOME EXAMPLES SOURCES MANUAL HELLO, where EXAMPLES is the folder in
# which they were built.

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"
faulty=$2 shelfwise=$3 vqhome=$4 examples=$5 sources=$6 manual=$7 hello=$8
unset HOME
export TMPDIR=$work

# What a client does not do takes as long as this; what it does may take any time.
short=10 long=600

checks=()
# Checks a client in the background, beside a few others.
check() { # LIMIT NAME CLIENT OPTIONS...
    [[ $(jobs -rp | wc -l) -lt 4 ]] || wait -n
    checks+=("$2")
    { "${program[@]}" check "$3" --limit "$1" "${@:4}" >"$2.tap" 2>"$2.err" </dev/null && echo 0 || echo $?; } >"$2.code" &
}
# Holds its output against the points that fail.
failed() { # NAME POINTS...
    local is
    is=$(sed -n 's/^not ok [0-9]* - \([^:]*\):.*/\1/p' "$1.tap" | paste -sd' ')
    [[ $is == "${*:2}" ]] || fail "$1 fails '$is', not '${*:2}': $(head -c 3000 "$1.tap" "$1.err")"
    [[ $(<"$1.code") == $(($# > 1)) ]] || fail "the exit status for $1 is $(<"$1.code")"
    [[ $(grep -cE '^(not )?ok ' "$1.tap") == $(sed -n 's/^1\.\.//p' "$1.tap") ]] || fail "points of $1 are missing"
}

VQHOME=$vqhome check $long shelfwise "$shelfwise"
for each in wordcount replace exporter; do
    VQHOME=$examples check $long "$each" "$examples/$each" --book "$sources/tea.json"
done
check $long hello "$hello"

# Clients with one fault each, and with several that have nothing to do with each other.
faults="
sound:$long
never-acknowledges:$short start
hands-back-twice:$long hand-over
serves-in-between:$long nested
leaves-the-dialog:$short modal-dialog
opens-another-dialog:$short quit-in-dialog
dies-refused:$long refused
fails-when-used:$long exit-status
leaves-and-fails:$long commands
repeats-for-ever:$long unanswered
dies-disconnected:$long refused unanswered half-answered disconnected vanished-host
ignores-its-bail-out:$short bail-out
ignores-quit:$short quit
outlives-the-host:$short vanished-host
never-detaches,dies-of-the-unknown,leaks-a-descriptor,stays-registered:$long detached callbacks descriptors registration
hides-its-failure,calls-without-control,exits-with-3:$long no-description no-host control exit-status
leaves-a-process,is-impatient:$long slow-host processes"
mkdir clients
while IFS=': ' read -r name limit points; do
    [[ -n $name ]] || continue
    ln -s "$faulty" "clients/$name"
    check "$limit" "$name" "clients/$name"
    expected[${#checks[@]}]=$points
done <<<"$faults"
for name in calls-for-ever closes-everything; do
    ln -s "$faulty" "clients/$name"
    check 1 $name clients/$name --only commands
    expected[${#checks[@]}]=commands
done
wait
for i in "${!checks[@]}"; do
    # shellcheck disable=SC2086
    failed "${checks[i]}" ${expected[i + 1]-}
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
"${program[@]}" check --list >list
while read -r name what; do
    grep -qxF "$what." <(grep -A1 -xF ".It $name" "$manual") || fail "the manual does not say of $name: $what"
done <list

ln -s "$faulty" clients/exits-with-3
run 1 check clients/exits-with-3 --only "exit-*" --only quit
wrote out "1..2"
wrote out "exited with status 3"
run 0 check clients/sound --only descriptors --command Nothing
wrote out "# SKIP it defines no such command"
run 1 check clients/sound --only commands --command Nothing --command 1
wrote out "no command Nothing"
run 2 check clients/sound --only quitt
wrote err 'do you mean "quit"'
run 2 check clients/none
run 2 check "$work"
wrote err "is no program that can be started"
run 2 check clients/sound --client-env A
wrote err "not NAME=VALUE"
run 2 check clients/sound --book none.json
run 2 check
run 2 check clients/sound --limit 0

finish
