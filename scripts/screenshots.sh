#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes the pictures in docs/screenshots: the real agent, on a display of its own (Xvfb) with a
# window manager (openbox), against the signing server.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh screenshots
cmake --preset release -DQUILLET_TESTS=ON -DQUILLET_DESKTOP=ON >/dev/null
cmake --build --preset release --target desktop_screenshots
mkdir -p docs/screenshots
QUILLET_SCREENSHOTS=$PWD/docs/screenshots build/release/bin/desktop_screenshots --gtest_brief=1
ls -l docs/screenshots
