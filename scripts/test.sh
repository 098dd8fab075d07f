#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds everything, fuzzes each target for five seconds, runs all tests. Further arguments go to ctest.
#   QUILLET_PRESET=asan scripts/test.sh    the same in another build (see CMakePresets.json)
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${QUILLET_PRESET:-release}
case $preset in
  clang | asan | tsan | fuzz | coverage) scripts/setup-debian.sh analysis ;;
  *) scripts/setup-debian.sh ;;
esac
options=(-DQUILLET_TESTS=ON)
fuzzed=0
if [ "$preset" = release ]; then
  options+=(-DQUILLET_BENCH=ON -DQUILLET_CORPUS=OFF) # the fuzzers begin with their corpora
  # Half the time for all, but more for one file that is changed.
  [ -e build/release/CMakeCache.txt ] || options+=(-DQUILLET_BATCHES=ON)
fi
cmake --preset "$preset" "${options[@]}" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
if [ "$preset" = release ]; then
  QUILLET_QUICK_FUZZ=ON scripts/fuzz.sh 5 || fuzzed=$?
fi
ctest --preset "$preset" --schedule-random "$@"
exit "$fuzzed"
