#!/bin/bash
# Runs the commands of the guide to testing, one after the other, as a reader would.
set -euo pipefail
guide=$1 vqhost=$2 built=$3 examples=$4 build=$5 cc=$6 cflags=$7 vqnew=$8
export VQHOME=$built
PATH=$built:$(dirname "$vqhost"):$(dirname "$vqnew"):$PATH
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp -r "$examples"/. "$folder"
cd "$folder"

# What an author has installed, from where it was built.
libdir=$(sed -n 's/^libdir=[^/]*//p' "$build"/velt-mock.pc)
mkdir -p "tree/$libdir/pkgconfig" bin
cp "$build"/*.pc "tree/$libdir/pkgconfig"
ln -s "$examples"/../include tree
ln -s "$build"/{mock,apilib,vdelib}/libvelt-*.so* "tree/$libdir"
printf '#!/bin/sh\nexec %s %s "$@"\n' "$cc" "$cflags" >bin/cc
chmod +x bin/cc
PATH=$folder/bin:$PATH
export PKG_CONFIG_PATH=$folder/tree$libdir/pkgconfig

# A command begins behind "    $ " and goes on in the lines that are further in.
ran=0
run() {
    local wanted=0 is=0
    [[ $1 != *"# exits with "* ]] || wanted=${1##*# exits with }
    bash -c "$1" >out 2>&1 || is=$?
    # The machine may have faults; what the guide has its reader set up has none.
    if [[ $1 == "vqhost doctor" && $is == 1 ]] && grep -q '^OK     VQHOME' out &&
        ! grep -qE '^WRONG  (string|Unicode|libraries)' out; then
        is=0
    fi
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
((ran >= 25)) || {
    echo "FAIL: only $ran commands were found in $guide" >&2
    exit 1
}
