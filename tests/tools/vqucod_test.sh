#!/usr/bin/env bash
# The Unicode tables, and vqucod as a program: VQUCOD HOME.

tables=$2/unicode
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

# What make writes is what the build has, and sound.
run 0 make new
diff -r new "$tables" || fail "make gives other tables than the build"
run 0 check new/*

# A table by hand, as it is printed.
printf '\x81\x81\x00\x00\x40\x41\x30\x00\x30\x01' >small.UCOD
run 0 print small.UCOD
[[ $(cut -f1,2 out) == $'0x8140\t0x3000\n0x8141\t0x3001' ]] || fail "small.UCOD: $(cat out)"

# Damage is told with its place; sound files after a damaged one are looked at.
damaged() { # MESSAGE BYTES
    printf %b "$2" >bad.UCOD
    run 1 check bad.UCOD
    wrote err "bad.UCOD: $1"
}
damaged "no table: it ends at byte 0, inside its header" ''
damaged "no table: it ends at byte 1, inside its header" '\x81'
damaged "no table: it ends at byte 7, inside row 0x81" '\x81\x81\x00\x00\x40\x41\x30'
damaged "no table: it ends at byte 4, inside row 0x81" '\x81\x82\x00\x00'
damaged "no table: its rows end at byte 6 of 7" '\x81\x81\x00\x00\x00\x00\x00'
damaged "no table: its last row" '\x90\x80\x00\x00'
damaged "0x8140: U+D800 is no character" '\x81\x81\x00\x00\x40\x41\xd8\x00\x30\x01'
cp small.UCOD BIG5.UCOD
run 1 check bad.UCOD BIG5.UCOD
wrote err "BIG5.UCOD: 0x8140: these bytes are no character of the encoding"
run 1 print none.UCOD
wrote err none.UCOD

run 0 --help
run 0 --version
run 2
run 2 compile x
run 2 check --no-such-option

finish
