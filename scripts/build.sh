#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds build/release/bin/ZqMacClient and build/release/bin/quillet-devserver.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh build
cmake --preset release -DQUILLET_TESTS=OFF -DQUILLET_BENCH=OFF -DQUILLET_BATCHES=OFF >/dev/null
cmake --build --preset release --target ZqMacClient quillet-devserver
echo
ls -l build/release/bin/ZqMacClient build/release/bin/quillet-devserver
