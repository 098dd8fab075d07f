#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compiles every file of platform/macos as on macOS (automatic reference counting, blocks, warnings
# as errors), without making code, against the declarations of tests/macos-declarations.
#   macos-syntax.sh PROJECT_ROOT
set -u
cd "$1" || exit 2

options=(-std=c++20 -fsyntax-only -I. -Itests/macos-declarations
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wcast-qual -Wformat=2 -Wundef
  -Wdouble-promotion -Wimplicit-fallthrough -Wextra-semi -Wnullable-to-nonnull-conversion
  -Wno-unused-parameter)
objectiveC=(-x objective-c++ -fobjc-runtime=macosx-11.0 -fobjc-arc -fobjc-weak -fblocks
  -Wexplicit-ownership-type -Wselector -Wundeclared-selector)
status=0
for file in platform/macos/*.mm; do
  clang++-14 "${options[@]}" "${objectiveC[@]}" "$file" || status=1
done
for file in platform/macos/*.cpp; do
  clang++-14 "${options[@]}" "$file" || status=1
done
exit $status
