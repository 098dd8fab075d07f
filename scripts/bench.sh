#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and runs the benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh
cmake --preset release -DQUILLET_TESTS=ON -DQUILLET_BENCH=ON >/dev/null
cmake --build --preset release --target session_bench
build/release/bin/session_bench
