#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Proves that each room includes only what it may.
#   rooms.sh PROJECT_ROOT
set -u
cd "$1" || exit 2
status=0

# check ROOM-FILES ALLOWED-REGEX: every #include of the files must match.
check() {
  local what=$1 allowed=$2
  shift 2
  local found
  found=$(grep -nHE '^[[:space:]]*#[[:space:]]*(include|import)' "$@" \
    | grep -vE "(include|import)[[:space:]]+($allowed)")
  if [ -n "$found" ]; then
    echo "$what may not include:"
    echo "$found"
    status=1
  fi
}

standard='<[a-z_0-9]+>'
boost='<boost/(json|url)[a-z_/]*\.hpp>'
foundation='"foundation/[A-Za-z0-9]+\.h"'
platform='"platform/[A-Za-z0-9]+\.h"'
check 'foundation/'         "$standard|$boost|$foundation" foundation/*.h foundation/*.cpp
check 'platform/*.h'        "$standard|$foundation|$platform" platform/*.h platform/*.cpp
check 'frameworks/'         "$standard|$foundation|$platform|\"frameworks/.*\"" \
  $(find frameworks -name '*.h' -o -name '*.cpp')
check 'the frame codec'     "$standard|\"frameworks/CRVStompClient/StompFrame\.h\"" \
  frameworks/CRVStompClient/StompFrame.*
check 'ZqMacClient/' \
  "$standard|$foundation|$platform|\"frameworks/.*\"|\"ZqMacClient/.*\"" ZqMacClient/*.h ZqMacClient/*.cpp
shared='"foundation/[A-Za-z0-9]+\.h"|"platform/(shared/)?[A-Za-z0-9]+\.h"'
check 'platform/shared/' "$standard|<(fcntl|strings|sys/resource|sys/stat|unistd)\.h>|$shared" \
  platform/shared/*.h platform/shared/*.cpp
# Of the window system's libraries (whose headers begin with a capital, but xcb's) and of Qt only the
# desktop folder knows, and of that folder nothing else does: it is opened at run time.
linux='"platform/linux/((net|security)/)?[A-Za-z0-9]+\.h"|"(BundleInfo|DesktopEntry)\.h"'
check 'platform/linux/' "<[a-wyz].*>|$shared|$linux" \
  $(find platform/linux -path platform/linux/desktop -prune -o \( -name '*.h' -o -name '*.cpp' \) -print)
shell='"platform/(UserInterface|linux/(DesktopShell|MainLoop|WebPage)|linux/desktop/[A-Za-z]+)\.h"'
check 'platform/linux/desktop/' "<.*>|$shell" platform/linux/desktop/*.h platform/linux/desktop/*.cpp
macos='"foundation/[A-Za-z0-9]+\.h"|"platform/((macos|shared)/)?[A-Za-z0-9]+\.h"'
check 'platform/macos/' "<.*>|$macos" $(find platform/macos -name '*.h' -o -name '*.cpp' -o -name '*.mm')
check 'what is plain C++ in platform/macos/' \
  "$standard|<(CoreFoundation|Security)/[A-Za-z]+\.h>|<dispatch/dispatch\.h>|$macos" \
  $(find platform/macos -name '*.cpp' -o -name '*.h' ! -name FoundationText.h)
check 'devserver/' \
  "<.*>|\"devserver/.*\"|\"foundation/Handle\.h\"|\"frameworks/CRVStompClient/StompFrame\.h\"" \
  $(find devserver -name '*.h' -o -name '*.cpp')
# Within the signing server: program -> web -> session -> documents, server -> crypto.
crypto='"devserver/crypto/[A-Za-z0-9]+\.h"|"foundation/Handle\.h"'
server='"devserver/(server|crypto)/[A-Za-z0-9]+\.h"'
documents='"devserver/documents/.*"'
session='"devserver/session/.*"'
web='"devserver/web/.*"'
check 'devserver/crypto/'   "<.*>|$crypto" devserver/crypto/*
check 'devserver/server/'   "<.*>|$server|\"frameworks/CRVStompClient/StompFrame\.h\"" devserver/server/*
check 'devserver/documents/' "<.*>|$crypto|$documents" devserver/documents/*
check 'devserver/session/' "<.*>|$server|$documents|$session" devserver/session/*
check 'devserver/web/'     "<.*>|$server|$session|$web" devserver/web/*.h devserver/web/*.cpp*

# Each library of documents is seen by the one file that wraps it.
for pair in qpdf:PdfUpdate libxml:XmlSignature xmlsec:XmlSignature openssl/cms:CmsSignature; do
  seen=$(grep -lE "include <${pair%%:*}[./]" -r devserver | grep -v "/${pair##*:}\.cpp$")
  if [ -n "$seen" ]; then
    echo "${pair%%:*} is for ${pair##*:}.cpp alone: $seen"
    status=1
  fi
done

# The portable rooms know no operating system.
named=$(grep -nE '__APPLE__|__linux__|_WIN32|#[[:space:]]*if' foundation/*.h foundation/*.cpp \
  platform/*.h platform/*.cpp \
  platform/shared/*.h platform/shared/*.cpp ZqMacClient/*.h ZqMacClient/*.cpp \
  $(find frameworks -name '*.h' -o -name '*.cpp'))
if [ -n "$named" ]; then
  echo "conditional compilation in a portable room:"
  echo "$named"
  status=1
fi
exit $status
