#!/usr/bin/env bash
# vqconv as a program, beside iconv: VQCONV HOME SOURCES.

home=$2
sources=$3
unset VQHOME
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

# Texts of several blocks, with characters across every block's end; iconv says what they become.
while read -r from charset to other text; do
    for ((i = 0; i < 6000; i++)); do
        printf '%s %d\n' "$text" "$i"
    done | iconv -f UTF-8 -t "$charset" >text
    iconv -f "$charset" -t "$other" text >expected
    run 0 --plain "$from" "$to" text
    cmp out expected || fail "$from to $to is not as iconv has it"
done <<END
Shift_JIS SHIFT_JIS UTF-8 UTF-8 吾輩は猫である。名前はまだ無い。ソ表
JIS7 ISO-2022-JP eucjp EUC-JP 吾輩は猫である。名前は
0 MACINTOSH 1 ISO-8859-1 Où ça, déjà?
END

# Where something does not convert: the offset, within a text of several blocks too.
{ head -c 200000 /dev/zero | tr '\0' a; printf '\x88\x9f\xf0\x40b\x88'; } >bad
run 1 Shift_JIS EUC-JP bad
wrote err "bad: byte 200002: F0 40: no equivalent in Japanese EUC"
[[ $(tail -c 3 out | od -An -tx1) == " 61 b0 a1" ]] || fail "what came before is not written"
run 0 -c Shift_JIS EUC-JP bad
wrote err "3 bytes left out, first byte 200002"
[[ $(tail -c 4 out | od -An -tx1) == " 61 b0 a1 62" ]] || fail "-c left out something else"
printf 'a\x81 ' >bad
run 1 Shift_JIS EUC-JP bad
wrote err "bad: byte 1: 81: no character of Shift-JIS"
printf 'ab\xa4' | run 1 -f EUC-JP -t JIS7
wrote err "standard input: byte 2: A4: the text ends inside a character"

# -o replaces a file, the input too, when all went well, and not before.
printf '\xe9t\xe9' >text
run 0 -f ISO-8859-1 -t UTF-8 -o text text
[[ $(cat text) == été ]] || fail "-o with the input itself: $(cat text)"
run 1 Shift_JIS EUC-JP -o text bad
[[ $(cat text) == été && -z $(compgen -G ".velt-*") ]] || fail "-o after an error: $(cat text)"
# shellcheck disable=SC2094
run 0 UTF-8 UTF-8 text - text <text
[[ $(cat out) == étéétéété ]] || fail "three files: $(cat out)"

# The tables: beside the program as above, or where one is told.
mkdir none none/unicode
VQHOME=$work/none run 1 Shift_JIS UTF-8 text
wrote err none/unicode/JISX0208.ShiftJIS.UCOD
VQHOME=$work/none run 0 --vqhome "$home" Shift_JIS UTF-8 /dev/null
head -c 100 "$home/unicode/JISX0208.ShiftJIS.UCOD" >none/unicode/JISX0208.ShiftJIS.UCOD
run 1 --vqhome none Shift_JIS UTF-8 text

# Long work is told of on a terminal alone.
head -c 40000000 /dev/zero | tr '\0' a >large
run 0 ASCII Quire large
[[ ! -s err ]] || fail "progress where there is no terminal: $(cat err)"
if ! script -qec true /dev/null >/dev/null 2>&1 </dev/null; then
    echo "SKIPPED: vqconv_test: progress: the machine gives no terminals"
elif [[ -z ${LAUNCHER-} ]]; then
    script -qec "'${program[0]}' ASCII Quire large -o /dev/null" /dev/null >shown </dev/null
    wrote shown "MB of 40, "
fi

# The manual has the tables of the program.
run 0 --markdown
sed -n '/<!-- vqconv --markdown -->/,/<!-- end -->/p' "$sources/docs/encodings.md" | sed '1d;$d' |
    diff - out || fail "docs/encodings.md is not what vqconv --markdown says"

run 0 --help
run 0 --version
run 0 -l
run 1 ASCII Quire no-such-file
wrote err no-such-file
run 2 ASCII
run 2 latin1 Quire
run 2 17 Quire
run 2 ASCII ISO-8859-1
wrote err "ASCII does not convert to ISO Latin-1"
run 2 -o
if [[ -w /dev/full ]]; then
    "${program[@]}" ASCII Quire large >/dev/full 2>err && fail "a full disk goes unnoticed"
fi

finish
