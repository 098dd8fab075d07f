#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds as on macOS, as far as that can be done elsewhere: configures the project for Darwin, with and
# without tests, and compiles what that would compile, by clang 19 with libc++, with the project's flags,
# against the declarations beside this. No object may use what the oldest system lacks.
#   check.sh PROJECT_ROOT [FILES]     FILES: a regular expression; all files unless told otherwise
set -euo pipefail
root=$(cd "$1" && pwd)
files=${2:-.}
here=$root/tests/macos-build
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "as on macOS: $1" >&2
  exit 1
}
compiler=$(command -v clang++-19) || fail "clang++-19 is not installed"

# configure NAME OPTION...: the tools of macOS that CMake asks for are there and say nothing.
configure() {
  local name=$1
  shift
  PATH="$work/tools:$PATH" cmake -G Ninja -S "$root" -B "$work/$name" \
    -DCMAKE_SYSTEM_NAME=Darwin -DCMAKE_SYSTEM_PROCESSOR=arm64 -DCMAKE_OSX_SYSROOT="$work/sdk" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_WORKS=ON \
    -DCMAKE_OBJCXX_COMPILER="$compiler" -DCMAKE_OBJCXX_COMPILER_WORKS=ON \
    -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQUILLET_BENCH=OFF "$@" >"$work/$name.log" 2>&1 \
    || { cat "$work/$name.log"; fail "the project cannot be configured ($name)"; }
}
mkdir -p "$work/tools" "$work/sdk"
for tool in install_name_tool lipo otool sw_vers xcrun; do
  ln -s "$(type -P true)" "$work/tools/$tool"
done
gtest=$(find /usr/lib -name GTestConfig.cmake | head -1)
configure tests -DQUILLET_TESTS=ON -DGTest_DIR="$(dirname "$gtest")"
# No compiler here makes code for two processors, so none is asked.
configure universal -DQUILLET_TESTS=OFF '-DCMAKE_OSX_ARCHITECTURES=arm64;x86_64' -DCMAKE_HAVE_LIBC_PTHREAD=1

# One compiler call a line, without its output.
sed -n 's/^ *"command": "\(.*\)",$/\1/p' "$work/tests/compile_commands.json" \
  | sed 's/\\"/"/g; s/\\\\/\\/g; s/^[^ ]*ccache //; s/ -o [^ ]* -c / /' >"$work/calls"
! grep -qe -fcf-protection "$work/calls" || fail "-fcf-protection is for one processor alone"

# Every framework whose header is included is linked, and no other.
included=$(grep -hoE '^#(include|import) <[A-Z][A-Za-z]+/' -r "$root/platform/macos" \
  | sed 's/.*<//; s,/,,' | grep -v CommonCrypto | sort -u)
linked=$(grep -oE 'framework [A-Za-z]+' "$work/tests/build.ninja" | sed 's/framework //' | sort -u)
[ "$included" = "$linked" ] || fail "the frameworks included ($(echo $included)) and linked ($(echo $linked)) differ"

# As Apple's compiler, beside the project's own flags. The platform's headers are system headers.
apple="-stdlib=libc++ -Qunused-arguments -fblocks -isystem $here/libc -isystem $root/tests/macos-declarations"
objectiveC="-fobjc-runtime=macosx-14.0 -fobjc-weak -Wexplicit-ownership-type -Wselector"
objectiveC+=" -Wundeclared-selector -Wnullable-to-nonnull-conversion"
export work apple objectiveC
# The headers that most tests begin with are read once.
prepareTests() {
  printf '#include <%s>\n' gmock/gmock.h gtest/gtest.h >"$work/tests.h"
  bash -c "${test% *} $apple -x c++-header $work/tests.h -o $work/tests.pch"
}
compile() {
  local file=${1##* }
  case $file in
    *.mm)
      bash -c "$1 $apple $objectiveC -fsyntax-only"
      bash -c "$1 $apple $objectiveC -fsyntax-only -DQUILLET_INTEL"
      ;;
    *.h) bash -c "${1% *} -x c++ $file $apple -fsyntax-only -Wno-pragma-once-outside-header" ;;
    */tests/fuzz/*) bash -c "$1 $apple -fsyntax-only" ;;
    */tests/*) bash -c "$1 $apple -fsyntax-only -include-pch $work/tests.pch" ;;
    *) bash -c "$1 $apple -O0 -g0 -U_FORTIFY_SOURCE -c -o $work/objects/$(echo "$file" | tr / _).o" ;;
  esac || { echo "as on macOS: $file does not compile"; return 1; }
}
export -f compile
mkdir "$work/objects"
# What is read before the headers of a test could hide what they lack, so they are read alone, too.
test=$(grep -m1 " $root/tests/unit/" "$work/calls")
for folder in support fuzz platform-shared; do
  printf "${test% *} %s\n" "$root/tests/$folder"/*.h >>"$work/calls"
done
grep -E " [^ ]*($files)[^ ]*$" "$work/calls" >"$work/wanted" || fail "no file is like $files"
if grep -q " $root/tests/" "$work/wanted"; then
  prepareTests
fi
tr '\n' '\0' <"$work/wanted" | xargs -0 -P 2 -I {} bash -c 'compile "$1"' - {} \
  || fail "not everything compiles"

# What the oldest system's C++ library lacks.
oldest=$(sed -n '/LSMinimumSystemVersion/{n;s/.*<string>\(.*\)<.*/\1/p}' "$root/resources/Info.plist")
find "$work/objects" -name '*.o' -exec nm -u -C {} + | sed -n 's/^ *U //p' | sort -u >"$work/used"
while read -r since pattern; do
  case $since in '#'* | '') continue ;; esac
  if [ "$(printf '%s\n' "$since" "$oldest" | sort -V | tail -1)" != "$oldest" ] \
    && grep -E "$pattern" "$work/used"; then
    fail "this is in macOS $since and later, the oldest system is $oldest"
  fi
done <"$here/since.txt"
echo "as on macOS: $(wc -l <"$work/wanted") files compile"
