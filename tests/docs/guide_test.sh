#!/bin/bash
# Runs the commands of the guide to testing, one after the other, as a reader would.
set -euo pipefail
guide=$1 vqhost=$2 built=$3 examples=$4
export VQHOME=$built
PATH=$built:$(dirname "$vqhost"):$PATH
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp -r "$examples"/tea* "$folder"
cd "$folder"

# A command begins behind "    $ " and goes on in the lines that are further in.
ran=0
run() {
    local wanted=0 is=0
    [[ $1 != *"# exits with "* ]] || wanted=${1##*# exits with }
    bash -c "$1" >out 2>&1 || is=$?
    if [[ $is != "$wanted" ]]; then
        cat out >&2
        echo "FAIL: ended with $is, not $wanted: $1" >&2
        exit 1
    fi
    ran=$((ran + 1))
}
command=
while IFS= read -r line; do
    if [[ -n $command && $line == "        "* ]]; then
        command+=$'\n'$line
        continue
    fi
    [[ -z $command ]] || run "$command"
    command=
    [[ $line != '    $ '* ]] || command=${line#'    $ '}
done <"$guide"
[[ -z $command ]] || run "$command"
((ran >= 5)) || {
    echo "FAIL: only $ran commands were found in $guide" >&2
    exit 1
}
