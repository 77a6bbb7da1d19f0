#!/usr/bin/env bash
# vqnew as a program: VQNEW. That what it makes builds and passes is seen in install_test.

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

run 0 a-client_2
wrote out "cd a-client_2"
run 0 Cpp --cpp
[[ $(cd a-client_2 && find . -type f | sort | paste -sd' ') == "./.gitignore ./CMakeLists.txt ./a-client_2.c \
./a-client_2_test.c ./book.json ./ci.sh ./resources/deutsch.txt ./resources/usenglish.txt ./scenario.json" ]] ||
    fail "other files: $(find a-client_2)"
[[ $(find Cpp -name 'Cpp*' -type f | sort | paste -sd' ') == "Cpp/Cpp.cpp Cpp/Cpp_test.cpp" ]] ||
    fail "other sources: $(find Cpp)"
! grep -rE 'newclient|Cpp(_test)?\.c\b' a-client_2 Cpp || fail "names are left"
[[ -x Cpp/ci.sh && ! -x Cpp/book.json ]] || fail "other modes: $(ls -l Cpp)"

# What is there stays as it is.
mkdir mine
touch file
ln -s nowhere link
for each in mine file link Cpp; do
    run 1 "$each"
    wrote err "$each is there already"
done
[[ ! -e nowhere && -z $(ls mine) && -f Cpp/ci.sh ]] || fail "something has been changed"

for each in "" 1st _x -x a/b ../a .a a.b "a b" ä test install vqinit "$(printf 'a%.0s' {1..65})"; do
    run 2 "$each"
done
run 2
run 2 two names
run 2 x --c++
run 0 --help
run 0 --version

# After a failure nothing is left.
before=$(ls -A)
status=0
"${program[@]}" full >/dev/full 2>&1 || status=$?
[[ $status == 1 ]] || fail "a full device: $status"
status=0
(ulimit -f 0 && "${program[@]}" full 2>&1) | cat || status=$?
[[ $status == 1 ]] || fail "a limit on the size of files: $status"
# It cannot tell what it has made as long as nobody reads.
mkfifo pipe
exec 3<>pipe
dd if=/dev/zero of=pipe oflag=nonblock bs=4096 count=1000 2>err || :
"${program[@]}" ended >&3 2>err &
until [[ -f ended/scenario.json ]] || ! kill -0 $! 2>/dev/null; do
    sleep 0.01
done
while kill $! 2>/dev/null; do
    sleep 0.01
done
status=0
wait $! || status=$?
[[ $status == 1 ]] || fail "a signal: $status"
wrote err interrupted
rm pipe
[[ $(ls -A) == "$before" ]] || fail "something is left: $(ls -A)"

finish
