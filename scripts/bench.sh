#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and runs the benchmarks: one table, each time beside a baseline of the same run.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh
cmake --preset release -DQUILLET_TESTS=ON -DQUILLET_BENCH=ON -DQUILLET_BATCHES=OFF >/dev/null
cmake --build --preset release --target codec_bench share_bench keychain_bench session_bench duty_bench \
  shell_bench document_bench
printf '%-50s %10s %10s  %-34s %6s\n' what time baseline '' ratio
build/release/bin/codec_bench
build/release/bin/share_bench
build/release/bin/keychain_bench
build/release/bin/session_bench
build/release/bin/duty_bench
build/release/bin/shell_bench
build/release/bin/document_bench
