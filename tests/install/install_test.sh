#!/usr/bin/env bash
# Installs a build tree and uses it as a client's author would.
set -euo pipefail
shopt -s extglob

build=$1
source=$2
cxx=$3
cc=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# A tree that has been moved since must do as well.
cmake --install "$build" --prefix "$work/first" >"$work/log" || fail "$(cat "$work/log")"
mv "$work/first" "$work/tree"
tree=$work/tree
libdir=$(dirname "$(find "$tree" -name libvelt-api.so)")
export PKG_CONFIG_PATH=$libdir/pkgconfig

echo "== What is there"
for file in bin/{shelfwise,vqcall,vqconv,vqhost,vqnew,vqrecord,vqsre,vqucod} \
    include/velt/mock.h share/man/man3/velt-mock.3 share/man/man1/{shelfwise,vqcall,vqconv,vqhost,vqnew,vqrecord,vqsre,vqucod}.1 \
    include/velt/tables/procedures.def share/velt/book.schema.json \
    share/velt/document.schema.json share/velt/scenario.schema.json \
    share/bash-completion/completions/vq{call,conv,host,new,record,sre,ucod} share/zsh/site-functions/_velt \
    share/velt/unicode/{BIG5,GB2312-80.EUC,JISX0208.ShiftJIS,KSC5601-1992}.UCOD \
    share/velt/vqinit/usenglish/APIArea/resources/shelfwise.sre; do
    [[ -f $tree/$file ]] || fail "$file is not installed"
done
docs=$tree/share/doc/velt
while IFS=: read -r file link; do
    [[ -e $(dirname "$file")/${link%%#*} ]] || fail "$file refers to $link, which is not there"
done < <(grep -oE ']\([^:)]+\)' -r "$docs" --include='*.md' | grep -v include/ | tr -d '])(')
for alias in V_ApiOpen V_ApiCopyStrings VA_errno VdeClT IntT VdeDrfBytes \
    $(nm -D --defined-only "$libdir/libvelt-vde.so" | sed -n 's/.* [^A] \([^@]*\).*/\1/p') \
    $(grep -oP '#define \KV_Mock\w+(?=\()' "$tree/include/velt/mock.h"); do
    grep -Eq "^.(Nm|Fn|It Dv) $alias\\b" "$tree/share/man/man3/$alias.3" || fail "no manual page of $alias"
done
[[ ! -e $tree/bin/vqpages ]] || fail "vqpages is installed"
for lib in velt-api velt-vde velt-mock; do
    soname=$(readelf -d "$libdir/lib$lib.so" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
    [[ $soname == "lib$lib.so."+([0-9]) ]] || fail "lib$lib.so has the name '$soname'"
    [[ -e $libdir/$soname ]] || fail "$soname is not installed"
    [[ -f $libdir/lib$lib.a ]] || fail "lib$lib.a is not installed"
done

finding=$("$tree/bin/vqhost" doctor | grep -F " libraries: ")
[[ $finding == "OK "* ]] || fail "doctor finds the library of a sound installation $finding"

echo "== Headers: each alone, as C11 and as C++20"
strict=(-Wall -Wextra -Wpedantic -Werror -fsyntax-only)
rpc=$(pkg-config --cflags-only-I libtirpc | sed 's/-I/-isystem /g')
while read -r header; do
    # Only the wire shows the RPC library's types.
    flags=("-I$tree/include")
    # shellcheck disable=SC2206
    [[ $header != velt/wire* ]] || flags+=($rpc)
    printf "#include <%s>\nextern int one;\n" "$header" >"$work/one.c"
    "$cc" -std=c11 "${strict[@]}" "${flags[@]}" "$work/one.c" || fail "$header as C11"
    "$cxx" -std=c++20 "${strict[@]}" "${flags[@]}" -x c++ "$work/one.c" || fail "$header as C++20"
done < <(cd "$tree/include" && find velt -name '*.h' ! -path 'velt/tables/*' | sort)

echo "== Symbols"
# C names by their prefix; C++ names only when everything in them is of namespace velt.
ours='^(V_|VA_|oldV_|Vapi|Vde|vde|xdr_|api_vq_|old_api_vq_|api_(set_)?client_[a-z]+_1$|api_xdrfree$|addfstr$|vq_api_|vq4_api_)|^velt_client$|^main$|^_ZN?K?4velt|^_Z[A-Z]+N?K?4velt'
for lib in "$libdir"/libvelt-{api,vde}.{so,a}; do
    dynamic=()
    [[ $lib != *.so ]] || dynamic=(-D --without-symbol-versions)
    nm "${dynamic[@]}" "$lib" >"$work/symbols"
    [[ $(grep -c ' T ' "$work/symbols") -gt 20 ]] || fail "$lib has hardly a symbol"
    # Weak ones are instantiations that the linker merges; in a shared library none may be left.
    kinds='BCDGRST'
    [[ $lib != *.so ]] || kinds+='VWu'
    alien=$(awk -v kinds="[$kinds]" 'NF == 3 && $2 ~ "^" kinds "$" { print $3 }' "$work/symbols" |
        grep -Ev "$ours" || true)
    [[ -z $alien ]] || fail "$lib shows:"$'\n'"$alien"
    runtime=$(awk '$1 == "U" { print $2 }' "$work/symbols" |
        grep -E '^(_Zn|_Zd|_ZS|_ZNS|_ZNKS|_ZT|__cxa_|__gxx_)' | grep -v '^__cxa_finalize' || true)
    [[ -z $runtime ]] || fail "$lib needs of the C++ run-time library:"$'\n'"$runtime"
    [[ $lib == *.so ]] || continue
    # A is the name of a version itself.
    unversioned=$(nm -D --defined-only "$lib" | awk '$2 != "A" && $3 !~ /@@VELT_[0-9.]+$/ { print $3 }')
    [[ -z $unversioned ]] || fail "$lib has names without a version:"$'\n'"$unversioned"
done

# What the headers declare is what the shared libraries show, but for what a client has to define.
shows() { # LIBRARY HEADER...
    # shellcheck disable=SC2086
    printf '#include <%s>\n' "${@:2}" | "$cc" "-I$tree/include" $rpc -E -P -x c - |
        sed -n '/^#pragma GCC visibility push/,/^#pragma GCC visibility pop/p' |
        grep -oE '^extern [^;[]*|\w+ ?\(' | sed -E 's/ ?\($//; s/.*[ *]//' |
        grep -Evx '__attribute__|push|V_ApiInitialize|V_ApiCommand' | LC_ALL=C sort -u >"$work/declared"
    nm -D --defined-only --without-symbol-versions "$libdir/lib$1.so" |
        awk '$2 != "A" && $3 != "main" { print $3 }' | LC_ALL=C sort |
        diff "$work/declared" - || fail "lib$1.so does not show what its headers declare"
}
shows velt-vde velt/vde.h
shows velt-api velt/api.h velt/wire.h
alien=$(nm -D --defined-only "$libdir/libvelt-mock.so" | grep -Ev ' (A VELT_[0-9.]+|T V_Mock[A-Za-z]+@@VELT_[0-9.]+)$' || true)
[[ -z $alien ]] || fail "libvelt-mock.so shows:"$'\n'"$alien"
needed=$(nm -D --undefined-only "$libdir/libvelt-mock.so" | grep -E ' (V_|VA_|Vde|vq|_ZN?K?4velt)' || true)
[[ -z $needed ]] || fail "libvelt-mock.so needs a client library:"$'\n'"$needed"

echo "== What the shared libraries need"
# A copy of its own of what a client needs of the RPC library, where that can be had.
others='|libtirpc'
! grep -qx 'VELT_TIRPC_INSIDE:INTERNAL=1' "$build/CMakeCache.txt" || others=
needed=$(readelf -d "$libdir"/libvelt-{api,vde}.so | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | sort -u |
    grep -Ev "^(libc$others)\.so" || true)
[[ -z $needed ]] || fail "the libraries need $needed"

# A started client that has no host says so.
no_host() {
    local status=0 message
    message=$(env -u VQAPIX "$1" 2>&1) || status=$?
    [[ $status == 1 && $message == "Velt API client "* ]] || fail "$1: status $status, '$message'"
}

echo "== The example by CMake, as C++"
cmake -G Ninja -S "$docs/examples/hello" -B "$work/hello" -DCMAKE_PREFIX_PATH="$tree" \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror" \
    >"$work/log" 2>&1 || fail "$(cat "$work/log")"
cmake --build "$work/hello" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
no_host "$work/hello/hello"
no_host "$work/hello/hello-static"
grep -q "$tree/lib" < <(ldd "$work/hello/hello") || fail "hello does not use the shared library"
! grep -q velt < <(ldd "$work/hello/hello-static") || fail "hello-static uses a shared library"

echo "== String resources by CMake"
mkdir "$work/texts"
echo "1: Hello!" >"$work/texts/usenglish.txt"
cat >"$work/texts/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(texts LANGUAGES CXX)
find_package(Velt 0.1 REQUIRED)
velt_resources(texts . texts)
END
{ cmake -G Ninja -S "$work/texts" -B "$work/texts" -DCMAKE_PREFIX_PATH="$tree" &&
    cmake --build "$work/texts"; } >"$work/log" 2>&1 || fail "$(cat "$work/log")"
[[ $("$tree/bin/vqsre" print "$work/texts/vqinit/usenglish/APIArea/resources/texts.sre") == "1: Hello!" ]] ||
    fail "velt_resources() makes no resources"

rm "$work/texts/usenglish.txt"
! cmake --build "$work/texts" >"$work/log" 2>&1 || fail "velt_resources() takes a folder without sources"
grep -q "has no sources" "$work/log" || fail "$(cat "$work/log")"

echo "== The examples and their tests by CMake"
cmake -G Ninja -S "$docs/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$tree" \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_COMPILER="$cc" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
{ cmake --build "$work/examples" && ctest --test-dir "$work/examples" --output-on-failure; } \
    >"$work/log" 2>&1 || fail "$(cat "$work/log")"
grep -q "tests passed, 0 tests failed out of 3" "$work/log" || fail "$(cat "$work/log")"

echo "== The example, and own definitions, by pkg-config, as C"
cflags=$(pkg-config --cflags velt-api velt-vde | sed "s#-I/usr#-isystem /usr#g")
libs=$(pkg-config --libs velt-api velt-vde)
export LD_LIBRARY_PATH=$libdir
for program in "$docs/examples/hello/hello.c" "$source/tests/install/replaced.c"; do
    for linkage in shared static; do
        [[ $linkage == shared ]] || libs=$(sed -E 's/-l(velt-[a-z]+)/-l:lib\1.a/g' <<<"$libs")
        output=$work/$(basename "$program" .c)-$linkage
        # The RPC library of the client may be that of one of its libraries alone.
        service=$source/tests/install/service.c
        if [[ $linkage == shared ]]; then
            # shellcheck disable=SC2086
            "$cc" -shared -fPIC $cflags "$service" -ltirpc -o "$work/libservice.so" || fail "$service"
            service=$work/libservice.so
        fi
        # shellcheck disable=SC2086
        "$cc" -std=c11 -Wall -Wextra -Wpedantic -Werror $cflags "$program" "$service" $libs -o "$output" ||
            fail "$program, $linkage"
        if [[ $program == *hello.c ]]; then
            no_host "$output"
        else
            LD_LIBRARY_PATH=$work:$libdir "$output" || fail "the client's own definitions do not win, $linkage: $?"
        fi
    done
    libs=$(pkg-config --libs velt-api velt-vde)
done

echo "== A test of an example, static, by pkg-config"
libs=$(pkg-config --static --libs velt-mock | sed -E 's/-l(velt-[a-z]+)/-l:lib\1.a/g')
# shellcheck disable=SC2086
"$cc" -std=c11 $cflags "$docs"/examples/{tests/asserts.c,wordcount/wordcount.c} $libs -o "$work/asserts" ||
    fail "a test with velt-mock, static"
(cd "$docs/examples" && VQHOME=$work/examples "$work/asserts") || fail "a test with velt-mock, static: $?"

echo "== The example with the installed host"
for hello in "$work"/hello/hello{,-static} "$work"/hello-{shared,static}; do
    name=$(basename "$hello")
    "$tree/bin/vqhost" run "$docs/examples/alice.json" --port-mapper own \
        --time-limit 600 --client "$hello" "choose Say Hello" "expect alert Hello from $name, client 1." >"$work/log" 2>&1 ||
        fail "$name with vqhost: $(cat "$work/log")"
done

echo "== The clients of vqnew"
for language in "" --cpp; do
    folder=new_client$language
    # In one of them all that is lost is told of.
    options="-Wall -Wextra -Wpedantic -Werror${language:+ -fsanitize=address}"
    # shellcheck disable=SC2086
    (cd "$work" && "$tree/bin/vqnew" "$folder" $language) >"$work/log" || fail "vqnew $folder"
    CC=$cc CXX=$cxx CMAKE_GENERATOR=Ninja "$work/$folder/ci.sh" -DCMAKE_PREFIX_PATH="$tree" \
        -DCMAKE_C_FLAGS="$options" -DCMAKE_CXX_FLAGS="$options" >"$work/log" 2>&1 || fail "$folder: $(cat "$work/log")"
done
# Its tests are about the client.
sed -i 's/count++;/count += 2;/' "$work/new_client/new_client.c"
! "$work/new_client/ci.sh" >"$work/log" 2>&1 || fail "a client that counts wrong passes its tests"
[[ $(grep -c '<failure' "$work/new_client/build/results.xml") == 2 ]] || fail "a test has not failed: $(cat "$work/log")"

echo "== The programs tell their version"
version=$(pkg-config --modversion velt-api)
for program in vqhost vqcall vqnew vqsre shelfwise; do
    [[ $("$tree/bin/$program" --version) == *"$version"* ]] || fail "$program --version"
done
echo "ok"
