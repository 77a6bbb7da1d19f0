#!/usr/bin/env bash
# Shelfwise on vqhost, and vqhost as a program: VQHOST SHELFWISE VQHOME SOURCES. LAUNCHER has the words
# before a command to be tested.
set -euo pipefail

read -ra vqhost <<<"${LAUNCHER-} $1"
shelfwise=$2
export VQHOME=$3
unset HOME
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

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

# Runs vqhost on a fresh book; the exit code and what it wrote on each stream are kept.
run() { # EXIT-CODE ARGUMENTS...
    local wanted=$1 code=0
    shift
    book three.json usenglish
    "${vqhost[@]}" run three.json --private "$@" >out 2>err </dev/null || code=$?
    [[ $code == "$wanted" ]] || fail "vqhost $* ended with $code, not $wanted: $(cat out err)"
}

wrote() { # STREAM TEXT
    grep -qF -- "$2" "$1" || fail "no \"$2\" in what vqhost wrote: $(cat "$1")"
}

with=(--client "$shelfwise")
up="choose Move File Up"
down="choose Move File Down"
delete="choose Delete File from Book"

# Code 1 defines the commands and ends; any other defines nothing and stays.
run 0 "${with[@]}" "expect running none" \
    "expect menu Delete File from Book,Move File Up,Move File Down"
run 0 "${with[@]}" --init 2 "expect running shelfwise" "expect menu none"

# Each command, at each place; what has no neighbour stays.
run 0 "${with[@]}" "$up" "expect order b,a,c" "$up" "expect order b,a,c" "expect selected b"
run 0 "${with[@]}" "$down" "expect order a,c,b" "$down" "expect order a,c,b"
run 0 "${with[@]}" "select a" "$down" "$down" "$up" "expect order b,a,c"
run 0 "${with[@]}" "$delete" "expect order a,c" "$delete" "$up" "expect order a,c"

# At an end only the mark of the move is written.
run 0 "${with[@]}" --trace "select a" "$up"
wrote err "propIdent={num=529}, newVal=1) = 0"
! grep -q api_vq_set_id_1 err || fail "a neighbour was written where there is none"

# Labels in the session's language; without resources one alert and no commands.
book german.json deutsch
labels=$(sed -n 's/^[0-2]: *//p' "$4/deutsch.txt" | paste -sd,)
"${vqhost[@]}" run german.json --private "${with[@]}" "expect menu $labels" >out 2>err ||
    fail "German labels: $(cat out err)"
alert="Cannot find string resource file. Please check that Shelfwise is correctly installed, and \
try again."
VQHOME=$work run 0 "${with[@]}" "expect alert $alert" "expect menu none" "expect running none"

# What is saved is loaded again.
run 0 "${with[@]}" "$delete" save
"${vqhost[@]}" run three.json "expect order a,c" >out 2>err || fail "saved and loaded: $(cat out err)"

# A script from a file and from standard input; the line of an error.
printf '# comment\n%s\nexpect order b,a,c\n' "$up" >script
run 0 "${with[@]}" --script script
printf 'show\nexpect order c\n' >script
run 1 --script script
wrote err "script:2: "

# The trace in JSON: one object a line.
run 0 "${with[@]}" --trace=json "$up"
! grep -v '^{.*}$' err || fail "a line of the JSON trace is no object"
wrote err '"procedure":"api_vq_set_id_1"'

# Exit codes.
run 1 "expect selected a"
run 1 "${with[@]}" "choose Nothing"
run 2 --no-such-option
run 2 --script
wrote err "--script: its value is missing"
run 0 --help
run 2 "no such command"
run 1 --client "$work/none"
PATH=$(dirname "$shelfwise"):$PATH run 0 --client shelfwise
printf '{\n  "components": [\n' >bad.json
"${vqhost[@]}" run bad.json show >out 2>err && fail "a bad book was taken"
wrote err "bad.json:2: "

# An interrupt ends the clients too.
book three.json usenglish
"${vqhost[@]}" run three.json --private "${with[@]}" --init 2 "wait 60" >out 2>err &
host=$!
for ((i = 0; i < 300; i++)); do
    client=$(pgrep -P "$host" -f 'shelfwise$' || true)
    [[ -z $client ]] || break
    sleep 0.1
done
[[ -n $client ]] || fail "the client did not start"
kill -INT "$host"
code=0
wait "$host" || code=$?
[[ $code == 1 ]] || fail "an interrupted vqhost ended with $code"
! kill -0 "$client" 2>/dev/null || fail "the client outlives an interrupted host"

[[ $failures == 0 ]] || exit 1
