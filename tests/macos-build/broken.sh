#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows that check.sh notices what it is there for: breaks a copy of the project in ways that only macOS
# would notice, one at a time.
#   broken.sh PROJECT_ROOT
set -euo pipefail
root=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for name in CMakeLists.txt CMakePresets.json ZqMacClient cmake foundation frameworks platform resources tests; do
  cp -R "$root/$name" "$work/"
done
failures=0

# notices WHAT FILE SED-SCRIPT FILES-TO-COMPILE WORDS
notices() {
  local what=$1 file=$work/$2 script=$3 files=$4 words=$5
  cp "$file" "$work/whole"
  sed -i -E "$script" "$file"
  ! cmp -s "$file" "$work/whole" || { echo "nothing to break for $what"; failures=$((failures + 1)); }
  if "$work/tests/macos-build/check.sh" "$work" "$files" "$work/build" >"$work/output" 2>&1 \
    || ! grep -qE "$words" "$work/output"; then
    echo "not noticed: $what"
    tail -20 "$work/output"
    failures=$((failures + 1))
  fi
  cp "$work/whole" "$file"
}

notices 'std::to_chars(double) where the oldest system has none' resources/Info.plist \
  's/>14\.0</>13.0</' 'foundation/JsonValue\.cpp' "'to_chars' is unavailable"
notices 'a header that only Linux has' foundation/URLComponents.cpp '/<charconv>/i #include <sys/epoll.h>' \
  'foundation/URLComponents\.cpp' "'sys/epoll.h' file not found"
notices 'an integer that is another one on macOS' foundation/Utf8.cpp \
  '$ a #include <algorithm>\nstd::uint64_t larger(unsigned long a, std::uint64_t b) { return std::max(a, b); }' \
  'foundation/Utf8\.cpp' 'no matching function'
notices 'a binding that shadows another' ZqMacClient/ZqKeychainAccess.cpp \
  's/const auto& entry : values->entries\(\)/const auto\& [oid, entry] : values->entries()/
   s/\[&property = entry\.second\]/[\&entry = entry]/
   /const auto& oid = entry\.first;/d; s/\(&property,/(\&entry,/' \
  'ZqMacClient/ZqKeychainAccess\.cpp' 'shadows? a structured binding'
notices 'a missing include' foundation/URLComponents.cpp '/<charconv>/d' \
  'foundation/URLComponents\.cpp' 'from_chars'
notices 'an include that only macOS needs' tests/support/TemporaryFolder.h '/unistd\.h/d' \
  'support/TemporaryFolder\.h' 'mkdtemp'
notices 'a target that macOS does not have' tests/fuzz/CMakeLists.txt \
  's/(numeric_compare .*LIBRARIES ZqMacClientCore)/\1 OpenSSL::Crypto/' 'foundation/Utf8' 'OpenSSL::Crypto'
notices 'a framework that is not linked' platform/macos/CMakeLists.txt \
  's/"-framework UserNotifications" //' 'foundation/Utf8' 'UserNotifications'
notices 'an option for one processor' cmake/CompilerOptions.cmake \
  's/-fstack-protector-strong/& -fcf-protection=full/' 'foundation/Utf8' 'one processor alone'
[ "$failures" -eq 0 ] || exit 1
