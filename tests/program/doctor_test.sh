#!/usr/bin/env bash
# vqhost doctor in sound and in broken surroundings: VQHOST VQHOME UNICODE-HOME C-COMPILER.

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"
mkdir home
cp -r "$2/vqinit" "$3/unicode" home
export VQHOME=$work/home HOME=$work
unset VQAPIX VQPMAP TMPDIR LD_LIBRARY_PATH

examine() { # WRONG-CHECKS, each with a comma behind; the machine itself may have faults
    local code=0 wrong
    "${program[@]}" doctor >out 2>err || code=$?
    wrong=$(sed -n 's/^WRONG  \([^:]*\):.*; ..*/\1/p' out | { grep -vx "$faults" || :; } | tr '\n' ,)
    [[ $wrong == "$1" ]] || fail "'$wrong' is wrong, not '$1': $(cat out err)"
    [[ $code == $((${#wrong} > 0 || ${#faults} > 4)) ]] || fail "the exit status is $code: $(cat out err)"
    [[ ! -s err ]] || fail "it wrote $(cat err)"
}
faults=none
"${program[@]}" doctor >sound || :
faults+=$(sed -n 's/^WRONG  \([^:]*\):.*/\\|\1/p' sound | tr -d '\n')
! grep -qE '^WRONG  (VQ|HOME|string|Unicode|libraries|temporary)' sound || fail "nothing is wrong with $(cat sound)"
checks=$("${program[@]}" --help | sed -n '/^doctor checks/,/\.$/p' | tr '\n' ' ')
[[ "doctor checks: $(sed 's/^[A-Z]*  *\([^:]*\):.*/\1/' sound | paste -sd, | sed 's/,/, /g'). " == "$checks" ]] ||
    fail "--help has $checks"
examine ""

# Each variable, wrong in each way.
VQAPIX=nonsense examine VQAPIX,
VQAPIX="1.1 2.1 999999999.1.client" examine VQAPIX,
VQAPIX="1.1 2.1 $$.1.client" examine ""
for port in nonsense 70000 1; do
    VQPMAP=$port examine VQPMAP,
done
TMPDIR=/proc/none examine "temporary folder,"
out=$(ulimit -f 0; "${program[@]}" doctor) || true
[[ $out == *"WRONG  temporary folder: files in "* ]] || fail "a disk without room is not told: $out"
HOME=$work/none examine HOME,
HOME='' examine HOME,
VQHOME=$work/none examine "VQHOME,string resources,"
wrote out "unset VQHOME"

# One that lacks what is installed, from where this host would be run.
mkdir -p there/bin there/share/velt
cp -r home/vqinit there/share/velt
cp "$1" there/bin/vqhost
mkdir -p other/vqinit/usenglish/APIArea/resources
cp home/vqinit/usenglish/APIArea/resources/shelfwise.sre other/vqinit/usenglish/APIArea/resources/other.sre
cp -r home/unicode other
this=("${program[@]}")
program=("$work/there/bin/vqhost")
examine ""
VQHOME=$work/other examine ""
wrote out "OK     VQHOME: is $work/other, and hides what is installed in $work/there/share/velt: vqinit/"
VQHOME='' examine "" # as if not set
program=("${this[@]}")

# Files that are there, but damaged.
echo damaged >home/vqinit/usenglish/APIArea/resources/shelfwise.sre
examine "string resources,"
wrote out shelfwise.sre
rm -r home/vqinit
examine "string resources,"
truncate -s 100 home/unicode/*BIG5*
mkdir vqinit
examine "string resources,Unicode tables,"
wrote out "Big5's is missing or damaged in $work/home/unicode; \"vqucod make\""
cp -r "$2/vqinit" home
cp "$3"/unicode/* home/unicode

# A library of another version, and one that cannot be loaded, in the way of clients.
mkdir libraries
soname=libvelt-api.so.$("${program[@]}" --version | sed 's/.* \([0-9]*\)\..*/\1/')
echo 'const char *V_ApiVersion(void) { return "9.9"; }' >version.c
"$4" -shared -fPIC version.c -o "libraries/$soname"
LD_LIBRARY_PATH=$work/libraries examine libraries,
wrote out "$soname is of version 9.9"
echo nonsense >"libraries/$soname"
LD_LIBRARY_PATH=$work/libraries examine libraries,

(ulimit -n 20 && examine descriptors, && finish) || fail "a limit of descriptors"
if unshare -rn true 2>/dev/null; then
    program=(unshare -rn "${program[@]}")
    "${program[@]}" doctor >out || :
    wrote out "WRONG  loopback: "
    wrote out "WRONG  port mapper: "
    wrote out "ip link set lo up"
else
    echo "SKIPPED: doctor_test: a machine without loopback"
fi

run 2 doctor now
[[ $("${program[@]}" doctor 2>&1 >/dev/full) == *"could not be written" ]] || fail "what is not written is not told"
finish
