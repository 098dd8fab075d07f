#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes a folder like the one in which macOS has its headers and libraries: the declarations beside this
# as frameworks, those headers of the C library here that macOS has, too, and of every library the names
# that it may be linked for, without code.
#   sdk.sh PROJECT_ROOT FOLDER
set -euo pipefail
root=$(cd "$1" && pwd)
sdk=$2
here=$root/tests/macos-build
declarations=$root/tests/macos-declarations
frameworks=System/Library/Frameworks
include=$sdk/usr/include
libraries=$(dirname "$(clang++-19 -print-file-name=libc++.so.1)")
# What was made of the same before is left.
sources=$(sha256sum "$here"/{sdk.sh,lib*.txt} "$declarations"/*/*.h "$libraries"/{libc++,libc++abi}.so.1)
[ "$sources" != "$(cat "$sdk/sources" 2>/dev/null)" ] || exit 0
rm -rf "$sdk"
mkdir -p "$sdk/$frameworks" "$sdk/usr/lib" "$sdk/usr/local/include" "$include"

# library NAME FOLDER: a library of the names of the standard input, those of classes after "class".
library() {
  local names
  names=$(sort -u)
  {
    printf -- '--- !tapi-tbd\ntbd-version: 4\ntargets: [ x86_64-macos, arm64-macos ]\n'
    printf "install-name: '/%s/%s'\nexports:\n  - targets: [ x86_64-macos, arm64-macos ]\n" "$2" "$1"
    printf '    symbols: [ %s ]\n' "$(sed '/^class /d; s/.*/"_&",/' <<<"$names")"
    printf '    objc-classes: [ %s ]\n...\n' "$(sed -n 's/^class \(.*\)/\1,/p' <<<"$names")"
  } >"$sdk/$2/$1.tbd"
}
# declared HEADER...: the functions, constants and classes that they declare.
declared() {
  sed -E ':a; /\\$/ { N; s/\\\n//; ba }; s,//.*,,; /^#/d' "$@" | tr '\n' ' ' \
    | sed 's/[;{}]/\n/g; s/@end/\n&\n/g' | sed -nE \
      -e '/@interface/,/@end/ { s/.*@interface ([A-Za-z]+) *[:<].*/class \1/p; d }' \
      -e '/^ *(@|typedef|using|static|enum|struct)/d' \
      -e 's/^ *extern "C" +/extern /' \
      -e '/^ *extern [^(]*$/ { s/.*[ *]([A-Za-z_0-9]+)(\[\])? *$/\1/p; d }' \
      -e 's/^[^(=]*[ *]([A-Za-z_0-9]+)\(.*/\1/p'
}

for folder in "$declarations"/*/; do
  name=$(basename "$folder")
  case $name in
    dispatch | CommonCrypto) ln -s "$folder" "$include/$name" ;; # parts of the system's library
    *)
      mkdir "$sdk/$frameworks/$name.framework"
      ln -s "$folder" "$sdk/$frameworks/$name.framework/Headers"
      declared "$folder"/*.h | library "$name" "$frameworks/$name.framework"
      ;;
  esac
done
{
  declared "$declarations"/{dispatch/dispatch,CommonCrypto/CommonDigest}.h
  sed 's/#.*//; s/ /\n/g' "$here/libSystem.txt" | grep .
} | library libSystem usr/lib
sed 's/#.*//; s/ /\n/g' "$here/libobjc.txt" | grep . | library libobjc usr/lib
# That of this compiler, whose headers tell what of it an older system lacks.
nm -D --defined-only "$libraries"/libc++.so.1 "$libraries"/libc++abi.so.1 \
  | sed -n 's/^[0-9a-f]* [A-Z] \([^@]*\).*/\1/p' | library libc++ usr/lib

# What macOS has of the C library's headers, as far as it is needed, and what these include here.
headers=(alloca assert ctype dirent errno fcntl fenv inttypes limits locale math memory netdb nl_types
  poll pthread regex sched setjmp signal stdint stdio stdlib string strings time unistd wchar wctype
  arpa/inet netinet/in
  sys/{errno,file,mman,param,resource,socket,stat,time,types,uio,un,utsname,wait})
included=({endian,features,features-time64,stdc-predef,rpc/netdb}.h sys/{cdefs,select,single_threaded,ucontext}.h
  asm asm-generic bits gnu linux)
for header in "${headers[@]/%/.h}" "${included[@]}"; do
  found=/usr/include/$header
  [ -e "$found" ] || found=/usr/include/$(g++ -print-multiarch)/$header
  mkdir -p "$(dirname "$include/$header")"
  ln -s "$found" "$include/$header"
done
ln -s /usr/include/gtest /usr/include/gmock "$sdk/usr/local/include/"
echo "$sources" >"$sdk/sources"
