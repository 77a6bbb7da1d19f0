#!/bin/sh
# What a CI system runs: builds newclient and runs its tests, of which build/results.xml tells. The
# arguments are options of CMake, such as -DCMAKE_PREFIX_PATH=/opt/velt.
set -eu
cd "$(dirname "$0")"
cmake --no-warn-unused-cli -S . -B build "$@"
cmake --build build --parallel
ctest --test-dir build --output-on-failure --no-tests=error --output-junit results.xml
