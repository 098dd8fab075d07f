#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds as on macOS, as far as that can be done elsewhere: configures the project for Darwin, with and
# without tests and for both processors; compiles and links the program as macOS would, by clang 19 and its
# linker, against the headers and libraries that sdk.sh makes.
#   check.sh PROJECT_ROOT [FILES [FOLDER]]
# FILES is a regular expression: these are compiled, also of tests and fuzz targets, and nothing is linked.
# "tests/" compiles those of a folder together, which is quicker.
# FOLDER is where all is done, and reused next time; one that is removed unless told otherwise.
set -euo pipefail
root=$(cd "$1" && pwd)
files=${2:-}
here=$root/tests/macos-build
if [ -n "${3:-}" ]; then
  mkdir -p "$3"
  work=$(cd "$3" && pwd)
else
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
fi
fail() {
  echo "as on macOS: $1" >&2
  exit 1
}
processor=$(uname -m)
processor=${processor/aarch64/arm64}
compiler=$(command -v clang++-19) || fail "clang++-19 is not installed"

# As Apple's compiler, beside the project's own flags. The C library here speaks to GNU's compiler.
cxx="-isystem $here/libc -U__nonnull -D_GNU_SOURCE -Qunused-arguments -Wshadow"
objectiveC="-Wexplicit-ownership-type -Wselector -Wundeclared-selector -Wnullable-to-nonnull-conversion"

# configure NAME OPTION...: the tools of macOS that CMake asks for are there and say nothing.
configure() {
  local name=$1
  shift
  PATH="$work/tools:$PATH" cmake -G Ninja -S "$root" -B "$work/$name" \
    -DCMAKE_SYSTEM_NAME=Darwin "-DCMAKE_SYSTEM_PROCESSOR=$processor" "-DCMAKE_OSX_SYSROOT=$work/sdk" \
    "-DCMAKE_CXX_COMPILER=$compiler" -DCMAKE_CXX_COMPILER_WORKS=ON \
    "-DCMAKE_CXX_COMPILER_TARGET=$processor-apple-macos" "-DCMAKE_CXX_FLAGS=$cxx" \
    "-DCMAKE_OBJCXX_COMPILER=$compiler" -DCMAKE_OBJCXX_COMPILER_WORKS=ON \
    "-DCMAKE_OBJCXX_COMPILER_TARGET=$processor-apple-macos" "-DCMAKE_OBJCXX_FLAGS=$cxx $objectiveC" \
    "-DCMAKE_AR=$work/tools/ar" "-DCMAKE_RANLIB=$work/tools/ranlib" "-DCMAKE_EXE_LINKER_FLAGS=--ld-path=$work/tools/ld -mlinker-version=1000" \
    -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY "-DCMAKE_CXX_COMPILER_LAUNCHER=$work/tools/quickly" "-DCMAKE_OBJCXX_COMPILER_LAUNCHER=$work/tools/quickly" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo '-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O0 -DNDEBUG' '-DCMAKE_OBJCXX_FLAGS_RELWITHDEBINFO=-O0 -DNDEBUG' \
    -DQUILLET_BENCH=OFF "$@" >"$work/$name.log" 2>&1 \
    || { cat "$work/$name.log"; fail "the project cannot be configured ($name)"; }
}
"$here/sdk.sh" "$root" "$work/sdk"
rm -rf "$work/tools"
mkdir "$work/tools"
for tool in install_name_tool lipo otool ranlib sw_vers xcrun; do
  ln -s "$(type -P true)" "$work/tools/$tool"
done
# Nothing here makes the platform's archives, so an archive is a list of its members.
cat >"$work/tools/ar" <<'END'
#!/bin/bash
printf '%s\n' "${@:3}" >"$2"
END
cat >"$work/tools/ld" <<'END'
#!/bin/bash
declare -A known
arguments=()
for argument; do
  case $argument in
    *.a)
      [ "${known[$argument]:-}" ] || mapfile -t -O "${#arguments[@]}" arguments <"$argument"
      known[$argument]=1
      ;;
    *) arguments+=("$argument") ;;
  esac
done
exec ld64.lld-19 --error-limit=0 "${arguments[@]}"
END
# What is made here is not run, so it is not optimised.
cat >"$work/tools/quickly" <<'END'
#!/bin/bash
arguments=()
for argument; do
  case $argument in
    -Os | -D_FORTIFY_SOURCE=*) ;;
    *) arguments+=("$argument") ;;
  esac
done
exec "${arguments[@]}"
END
chmod +x "$work/tools/"{ar,ld,quickly}
gtest=$(find /usr/lib -name GTestConfig.cmake | head -1)
if [ "$files" = tests/ ]; then
  batches=ON
  files="($root|$work/whole)/tests/"
fi
configure whole -DQUILLET_TESTS=ON "-DQUILLET_BATCHES=${batches:-OFF}" "-DGTest_DIR=$(dirname "$gtest")"
# No compiler here makes code for two processors, so none is asked.
[ -n "$files" ] || configure universal -DQUILLET_TESTS=OFF '-DCMAKE_OSX_ARCHITECTURES=arm64;x86_64' -DCMAKE_HAVE_LIBC_PTHREAD=1

# Every framework whose header is included is linked, and no other.
included=$(grep -hoE '^#(include|import) <[A-Z][A-Za-z]+/' -r "$root/platform/macos" \
  | sed 's/.*<//; s,/,,' | grep -v CommonCrypto | sort -u)
linked=$(grep -oE 'framework [A-Za-z]+' "$work/whole/build.ninja" | sed 's/framework //' | sort -u)
[ "$included" = "$linked" ] || fail "the frameworks included ($(echo $included)) and linked ($(echo $linked)) differ"

if [ -z "$files" ]; then
  cd "$work/whole"
  find bin -name ZqMacClient -type f -delete # whose libraries are made anew
  ninja -j 2 -k 0 ZqMacClient >"$work/program.log" 2>&1 \
    || { grep -vE '^\[[0-9]+/' "$work/program.log"; fail "the program cannot be made"; }
  program=$(find bin -name ZqMacClient -type f)
  # What only shows on a Mac depends on these calls and names; what has been replaced stays away.
  for name in NSTreatUnknownArgumentsAsOpen registerDefaults: setRestorable: \
    applicationSupportsSecureRestorableState: requestAuthorizationWithOptions:completionHandler:; do
    grep -qaF "$name" "$program" || fail "the program does not use $name"
  done
  ! grep -qaF NSUserNotificationCenter "$program" || fail "nothing is delivered by NSUserNotificationCenter"
  # Each library is needed, and would be missed.
  link=$(ninja -t commands ZqMacClient | tail -1)
  for library in $(grep -oE -- '-framework +[A-Za-z]+|-lobjc' <<<"$link" | tr ' ' , | sort -u); do
    ! eval "${link/"${library/,/ }"/}" >/dev/null 2>&1 || fail "${library/,/ } is linked without need"
  done
fi

# One compiler call a line, without its output.
sed -n 's/^ *"command": "\(.*\)",$/\1/p' "$work/whole/compile_commands.json" \
  | sed 's/\\"/"/g; s/\\\\/\\/g; s/ -o [^ ]* -c / /' >"$work/calls"
! grep -qe -fcf-protection "$work/calls" || fail "-fcf-protection is for one processor alone"
# What is read before the headers of a test could hide what they lack, so they are read alone, too.
test=$(grep -m1 -E " ($root|$work/whole)/tests/unit/" "$work/calls")
tests=("$root"/tests/{unit,differential,platform-shared,fuzz,support})
# One that another begins with is read alone with that one.
begins=$([ -z "${batches:-}" ] || grep -hm1 '^#include' "$root"/tests/{differential,platform-shared,fuzz,support}/*.h)
for file in "$root"/tests/{unit,differential,platform-shared,fuzz,support}/*.h; do
  [[ $begins != *"\"${file#"$root/"}\""* ]] || continue
  ! grep -rqF "\"${file#"$root/"}\"" "${tests[@]}" \
    || printf '%s -x c++ -Wno-pragma-once-outside-header %s\n' "${test% *}" "$file"
done >>"$work/calls"
# The headers that most tests begin with are read once. On Apple silicon BOOL is another type.
printf '#include %s\n' '<gmock/gmock.h>' '<gtest/gtest.h>' '"tests/support/MemoryPlatform.h"' >"$work/tests.h"
grep -E " [^ ]*(${files:-\.mm})[^ ]*$" "$work/calls" | sed -E \
  -e "s,.* ($root|$work/whole)/tests/(unit|differential|platform-shared|support)/[^ ]*\.c(pp|xx)$,& -include-pch $work/tests.pch," \
  -e "s/.*\.mm$/${files:+&\\n}& -DQUILLET_APPLE_SILICON/" | sort -u >"$work/wanted"
[ -s "$work/wanted" ] || fail "no file is like $files"
if grep -q include-pch "$work/wanted"; then
  ${test% *} -x c++-header "$work/tests.h" -o "$work/tests.pch"
fi
tr '\n' '\0' <"$work/wanted" | xargs -0 -P 2 -I {} bash -c '{} -fsyntax-only' || fail "not everything compiles"
echo "as on macOS: $(wc -l <"$work/wanted") files compile"
