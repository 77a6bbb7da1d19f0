# shellcheck shell=bash
# What tests of a program share, to be sourced: in a directory of its own, each run of the program is
# held against what it should end with and write. The argument is the program; LAUNCHER has the words
# before it.
set -euo pipefail

program=()
eval "program=(${LAUNCHER-} \"\$1\")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# Runs the program; the exit code and what it wrote on each stream are kept.
run() { # EXIT-CODE ARGUMENTS...
    local wanted=$1 code=0
    shift
    "${program[@]}" "$@" >out 2>err || code=$?
    [[ $code == "$wanted" ]] || fail "${program[*]} $* ended with $code, not $wanted: $(head -c 500 out err)"
}

wrote() { # STREAM TEXT
    grep -qF -- "$2" "$1" || fail "no \"$2\" in what ${program[*]} wrote: $(head -c 500 "$1")"
}

finish() {
    [[ $failures == 0 ]]
}
