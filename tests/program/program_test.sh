#!/usr/bin/env bash
# Shelfwise on vqhost, and vqhost as a program: VQHOST SHELFWISE VQHOME SOURCES.

shelfwise=$2
export VQHOME=$3
unset HOME
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

book() { # FILE LANGUAGE
    cat >"$1" <<END
{
  "title": "Three",
  "language": "$2",
  "components": [{"name": "a"}, {"name": "b"}, {"name": "c"}],
  "selected": "b"
}
END
}

# Only a client that hangs takes so long.
session=(--port-mapper own --time-limit 600)
on_fresh_book() { # EXIT-CODE ARGUMENTS...
    local wanted=$1
    shift
    book three.json usenglish
    run "$wanted" run three.json "${session[@]}" "$@" </dev/null
}

with=(--client "$shelfwise")
up="choose Move File Up"
down="choose Move File Down"
delete="choose Delete File from Book"

# Code 1 defines the commands and ends; any other defines nothing and stays.
on_fresh_book 0 "${with[@]}" "wait exit" "expect running none" \
    "expect menu Delete File from Book,Move File Up,Move File Down"
on_fresh_book 0 "${with[@]}" --init 2 "expect running shelfwise" "expect menu none"

# Each command, at each place; what has no neighbour stays.
on_fresh_book 0 "${with[@]}" "$up" "expect order b,a,c" "$up" "expect order b,a,c" "expect selected b"
on_fresh_book 0 "${with[@]}" "$down" "expect order a,c,b" "$down" "expect order a,c,b"
on_fresh_book 0 "${with[@]}" "select a" "$down" "$down" "$up" "expect order b,a,c"
on_fresh_book 0 "${with[@]}" "$delete" "expect order a,c" "$delete" "$up" "expect order a,c"

# At an end only the mark of the move is written.
on_fresh_book 0 "${with[@]}" --trace "select a" "$up"
wrote err "propIdent={num=529}, newVal=1) = 0"
! grep -q api_vq_set_id_1 err || fail "a neighbour was written where there is none"

# Labels in the session's language; without resources one alert and no commands.
book german.json deutsch
labels=$(sed -n 's/^[0-2]: *//p' "$4/deutsch.txt" | paste -sd,)
run 0 run german.json "${session[@]}" "${with[@]}" "expect menu $labels"
alert="Cannot find string resource file. Please check that Shelfwise is correctly installed, and \
try again."
VQHOME=$work on_fresh_book 0 "${with[@]}" "expect alert $alert" "expect menu none" "wait exit" \
    "expect running none"

# What is saved is loaded again.
on_fresh_book 0 "${with[@]}" "$delete" save
run 0 run three.json "expect order a,c"

# A script from a file and from standard input; the line of an error.
printf '# comment\n%s\nexpect order b,a,c\n' "$up" >script
on_fresh_book 0 "${with[@]}" --script script
printf 'show\nexpect order c\n' >script
on_fresh_book 1 --script script
wrote err "script:2: "

# The trace in JSON: one object a line.
on_fresh_book 0 "${with[@]}" --trace=json "$up"
! grep -v '^{.*}$' err || fail "a line of the JSON trace is no object"
wrote err '"procedure":"api_vq_set_id_1"'

# Exit codes.
on_fresh_book 1 "expect selected a"
on_fresh_book 1 "${with[@]}" "choose Nothing"
on_fresh_book 2 --no-such-option
on_fresh_book 2 --script
wrote err "--script: its value is missing"
on_fresh_book 0 --help
on_fresh_book 2 "no such command"
on_fresh_book 1 --client "$work/none"
PATH=$(dirname "$shelfwise"):$PATH on_fresh_book 0 --client shelfwise
printf '{\n  "components": [\n' >bad.json
run 2 run bad.json show
wrote err "bad.json:2: "

# An interrupt ends the clients too.
book three.json usenglish
"${program[@]}" run three.json "${session[@]}" "${with[@]}" --init 2 "wait 86400" >out 2>err &
host=$!
until client=$(pgrep -P "$host" -f 'shelfwise$'); do
    kill -0 "$host" # it runs
    sleep 0.1
done
kill -INT "$host"
code=0
wait "$host" || code=$?
[[ $code == 1 ]] || fail "an interrupted vqhost ended with $code"
! kill -0 "$client" 2>/dev/null || fail "the client outlives an interrupted host"

finish
