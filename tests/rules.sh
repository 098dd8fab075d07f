#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Proves that every test that docs/rules.md names exists, and that every file of tests is compiled.
#   rules.sh PROJECT_ROOT
set -u
cd "$1" || exit 2

# "Suite.Name" of every test; those with parameters by the names in their macros.
there=$(grep -rhoE '^TEST(_F|_P)?\([A-Za-z0-9_]+, *[A-Za-z0-9_]+' tests --include='*.cpp' \
  | sed -E 's/^TEST(_F|_P)?\(([A-Za-z0-9_]+), */\2./' | sort -u)
named=$(grep '^|' docs/rules.md | grep -oE '\b[A-Z][A-Za-z]+\.[A-Z][A-Za-z0-9]+\b' | sort -u)
[ -n "$there" ] && [ -n "$named" ] || { echo "no tests found"; exit 1; }
missing=$(comm -13 <(echo "$there") <(echo "$named"))
if [ -n "$missing" ]; then
  echo "docs/rules.md names tests that do not exist:"
  echo "$missing"
  exit 1
fi
empty=$(grep -nE '^\|[^|]*\| *\|' docs/rules.md)
if [ -n "$empty" ]; then
  echo "rules without test or reason:"
  echo "$empty"
  exit 1
fi
for file in $(find tests -name '*Test.cpp' -not -path '*/build/*'); do
  grep -qF 'file(GLOB' "$(dirname "$file")/CMakeLists.txt" \
    || grep -rqF "$(basename "$file")" tests --include=CMakeLists.txt || {
    echo "$file is compiled by nobody"
    exit 1
  }
done
