#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Proves who includes whom: the rooms as docs/architecture.md draws them, each library only where it is
# wrapped, and no question about the operating system in a portable room.
#   rooms.sh PROJECT_ROOT
set -u
cd "$1" || exit 2
status=0

fail() {
  echo "$1"
  status=1
}

# The drawing is between these two lines.
drawn=$(sed -n '/^<!-- rooms -->$/,/^<!-- end of rooms -->$/p' docs/architecture.md | grep '^    ')
real=$(scripts/include-graph.sh .) || status=1
difference=$(diff <(echo "$drawn") <(echo "$real")) \
  || fail "docs/architecture.md draws (<) other rooms than the sources have (>):
$difference"

# check WHAT ALLOWED-REGEX FILE...: every #include of the files that begins like one of a library.
check() {
  local what=$1 allowed=$2
  shift 2
  local found
  found=$(grep -nHE '^[[:space:]]*#[[:space:]]*(include|import)' "$@" \
    | grep -vE "(include|import)[[:space:]]+($allowed)")
  [ -z "$found" ] || fail "$what may not include:
$found"
}
sources() {
  find "$@" -name '*.h' -o -name '*.cpp' -o -name '*.mm'
}

project='".*"'
standard='<[a-z_0-9]+>'
check 'a portable room' "$standard|$project" $(sources foundation ZqMacClient frameworks) platform/*.h platform/*.cpp
check 'platform/shared/' "$standard|<(arpa/inet|fcntl|strings|sys/(file|resource|stat)|unistd)\.h>|$project" platform/shared/*.h \
  platform/shared/*.cpp
check 'the frame codec' "$standard|\"frameworks/CRVStompClient/StompFrame\.h\"" \
  frameworks/CRVStompClient/StompFrame.*
# Of the window system's libraries (whose headers begin with a capital, but xcb's) and of Qt only the
# desktop folder knows, and of that folder nothing else does: it is opened at run time.
check 'platform/linux/' "<[a-wyz].*>|$project" $(sources platform/linux | grep -v /desktop/)
check 'platform/linux/desktop/' \
  "<.*>|\"platform/(Trust|UserInterface|linux/(DesktopShell|MainLoop|WebPage)|linux/desktop/[A-Za-z]+)\.h\"" \
  $(sources platform/linux/desktop)
check 'what is plain C++ in platform/macos/' \
  "$standard|<(CoreFoundation|Security)/[A-Za-z]+\.h>|<dispatch/dispatch\.h>|$project" \
  $(find platform/macos -name '*.cpp' -o -name '*.h' ! -name FoundationText.h)
check 'of the STOMP client the signing server' '<.*>|"(devserver|foundation)/.*"|".*/StompFrame\.h"' \
  $(sources devserver)

# Each library of documents is seen by the one file that wraps it.
for pair in qpdf:PdfFile libxml:XmlVerification xmlsec:XmlVerification \
  expat:XmlReading openssl/cms:CmsSignature; do
  seen=$(grep -lE "include <${pair%%:*}[./]" -r devserver | grep -v "/${pair##*:}\.cpp$")
  [ -z "$seen" ] || fail "${pair%%:*} is for ${pair##*:}.cpp alone: $seen"
done

named=$(grep -nE '__APPLE__|__linux__|_WIN32|#[[:space:]]*if' $(sources foundation ZqMacClient frameworks \
  platform/shared) platform/*.h platform/*.cpp)
[ -z "$named" ] || fail "conditional compilation in a portable room:
$named"
exit $status
