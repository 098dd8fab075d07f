#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs every fuzz target for a while, two at a time, from the corpora in the tree.
#   fuzz.sh [SECONDS [TARGET...]]     10 seconds each unless told otherwise
#   QUILLET_QUICK_FUZZ=ON fuzz.sh 5   not optimised, for when building takes longer than running
# New inputs are collected in build/fuzz/corpus, crashes in build/fuzz/crashes. Ends with 0 only if
# nothing was found.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
shift $(($# > 0 ? 1 : 0))
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
  for corpus in tests/fuzz/corpus/*/; do
    targets+=("$(basename "$corpus")")
  done
fi

scripts/setup-debian.sh
cmake --preset fuzz -DQUILLET_TESTS=ON "-DQUILLET_QUICK_FUZZ=${QUILLET_QUICK_FUZZ:-OFF}" >/dev/null
cmake --build --preset fuzz -j "$(nproc)" --target "${targets[@]/#/fuzz_}"

export seconds
fuzzOne() {
  local target=$1
  local found=build/fuzz/corpus/$target crashes=build/fuzz/crashes/$target log=build/fuzz/$target.log
  rm -rf "$crashes"
  mkdir -p "$found" "$crashes"
  local status=0
  "build/fuzz/bin/fuzz_$target" -max_total_time="$seconds" -max_len=2048 -timeout=120 \
    -rss_limit_mb=1024 -print_final_stats=1 -dict="tests/fuzz/dictionaries/$target.dict" \
    -artifact_prefix="$crashes/" "$found" "tests/fuzz/corpus/$target" >"$log" 2>&1 || status=$?
  local executions rate units coverage
  executions=$(sed -n 's/^stat::number_of_executed_units: //p' "$log")
  rate=$(sed -n 's/^stat::average_exec_per_sec: //p' "$log")
  units=$(sed -n 's/^stat::new_units_added: //p' "$log")
  coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | tr -dc 0-9)
  printf '%-18s %12s %10s %10s %10s %8s\n' "$target" "${executions:--}" "${rate:--}" \
    "${coverage:--}" "${units:--}" "$(find "$crashes" -type f | wc -l)"
  [ "$status" -eq 0 ] || { tail -40 "$log" >&2; exit 1; }
}
export -f fuzzOne

printf '%-18s %12s %10s %10s %10s %8s\n' target executions per-second coverage new-units crashes
printf '%s\n' "${targets[@]}" | xargs -P 2 -I {} bash -c 'fuzzOne {}'
