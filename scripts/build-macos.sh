#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds, tests, signs, starts and packs Quillet.app, on a Mac with Xcode's command line tools.
#   QUILLET_ARCHITECTURES='arm64;x86_64'  for both processors; this Mac's own otherwise
#   QUILLET_SIGNING_IDENTITY=NAME         a "Developer ID Application" certificate; ad hoc otherwise
#   QUILLET_NOTARY_PROFILE=NAME           notarises, with credentials that were put into the keychain
#                                         by "xcrun notarytool store-credentials NAME"
#   QUILLET_START=no                      does not start the application (nobody may be logged in)
# Leaves build/release/bin/Quillet.app and build/release/Quillet-VERSION.dmg.
set -euo pipefail
cd "$(dirname "$0")/.."

architectures=${QUILLET_ARCHITECTURES:-}
identity=${QUILLET_SIGNING_IDENTITY:--}
notary=${QUILLET_NOTARY_PROFILE:-}
app=build/release/bin/Quillet.app
program=$app/Contents/MacOS/ZqMacClient
icons=resources/icons
log=${QUILLET_LOG:-/tmp/Quillet.log} # where the program writes, elsewhere in a rehearsal
staging=$(mktemp -d)
trap 'rm -rf "$staging"' EXIT

fail() {
  echo "build-macos: $1" >&2
  exit 1
}
# must WHAT COMMAND...: the command, or the end in words.
must() {
  local what=$1
  shift
  "$@" || fail "$what failed"
}

installTools() {
  local missing=()
  local tool
  for tool in cmake ninja; do
    command -v "$tool" >/dev/null || missing+=("$tool")
  done
  brew --prefix --installed googletest >/dev/null 2>&1 || missing+=(googletest)
  [ "${#missing[@]}" -gt 0 ] || return 0
  command -v brew >/dev/null || fail "install ${missing[*]} first (Homebrew would do it)"
  must "installing ${missing[*]}" brew install "${missing[@]}"
}

build() { # ARCHITECTURES TESTS
  must "configuring" cmake --preset release -DQUILLET_BENCH=OFF "-DQUILLET_TESTS=$2" \
    "-DCMAKE_OSX_ARCHITECTURES=$1" "-DCMAKE_PREFIX_PATH=$(brew --prefix 2>/dev/null || true)" >/dev/null
  must "building" cmake --build --preset release
}

# Homebrew's libraries are signed by somebody else, whom the hardened runtime refuses.
checkLibraries() {
  local foreign
  foreign=$(otool -L "$program" | grep -E '^[[:space:]]' | grep -vE '^[[:space:]]+(/usr/lib|/System)/' || true)
  [ -z "$foreign" ] || fail "the program needs what other Macs do not have: $foreign"
}

makeIcon() {
  local iconset=$staging/Quillet.iconset size
  mkdir -p "$iconset" "$app/Contents/Resources"
  for size in 16 32 128 256 512; do
    must "the icon" sips -z $size $size "$icons/1024.png" --out "$iconset/icon_${size}x$size.png" >/dev/null
    must "the icon" sips -z $((2 * size)) $((2 * size)) "$icons/1024.png" \
      --out "$iconset/icon_${size}x$size@2x.png" >/dev/null
  done
  must "the icon" iconutil -c icns "$iconset" -o "$app/Contents/Resources/Quillet.icns"
}

# Ad hoc without the hardened runtime, which is for what is notarised.
signed() {
  if [ "$identity" = - ]; then
    must "signing $1" codesign --force --timestamp=none --sign - "$1"
  else
    must "signing $1" codesign --force --options runtime --timestamp \
      --entitlements resources/Quillet.entitlements --sign "$identity" "$1"
  fi
}

notarised() { # WHAT FILE-TO-SUBMIT
  must "notarising $1" xcrun notarytool submit "$2" --keychain-profile "$notary" --wait
  must "stapling $1" xcrun stapler staple "$1"
}

# started NAME TEXT ARGUMENT...: the program logs the text, shows it, and ends with 1 when it has been
# answered. Its alert is answered by the Return key.
started() {
  local name=$1 text=$2 pid status=0 tries
  shift 2
  "$program" "$@" >/dev/null 2>&1 &
  pid=$!
  for tries in $(seq 60); do
    ! grep -F "[$pid:" "$log" 2>/dev/null | grep -qF "$text" || break
    [ "$tries" -lt 60 ] || { kill "$pid" 2>/dev/null; fail "$name: the log does not say \"$text\""; }
    sleep 1
  done
  sleep 2
  if ! osascript -e "tell application \"System Events\"
      set frontmost of (first process whose unix id is $pid) to true
      key code 36
    end tell" >/dev/null 2>&1; then
    # With a user at the terminal the button is his; nobody else would press it.
    [ -t 0 ] || { kill "$pid" 2>/dev/null; fail "$name: this program may not press the alert's button"; }
    echo "$name: the log says \"$text\"; press the alert's button, for this terminal may not"
  fi
  wait "$pid" || status=$?
  [ "$status" -eq 1 ] || fail "$name: the program ended with $status instead of 1"
  echo "$name: \"$text\", status 1"
}

# "Resource busy" is what hdiutil often says when Spotlight looks at the new volume.
packed() { # FOLDER IMAGE
  local try
  for try in 1 2 3 4 5; do
    ! hdiutil create -quiet -ov -volname Quillet -srcfolder "$1" -format UDZO "$2" || return 0
    echo "packing failed, try $try of 5" >&2
    sleep "$try"
  done
  fail "packing failed"
}

[ "$(uname)" = Darwin ] || fail "this is no Mac"
xcode-select -p >/dev/null 2>&1 || fail "run xcode-select --install first"
[ -z "$notary" ] || [ "$identity" != - ] || fail "only a signed application can be notarised"
installTools

echo "== Building and testing"
build "" ON
must "testing" ctest --preset release --schedule-random
if [ -n "$architectures" ]; then
  build "$architectures" OFF # GoogleTest is there for this Mac's processor alone
fi
must "checking Info.plist" plutil -lint "$app/Contents/Info.plist"
checkLibraries

echo "== Signing"
version=$(plutil -extract CFBundleShortVersionString raw "$app/Contents/Info.plist") \
  || fail "Info.plist has no version"
must "writing the version" plutil -replace CFBundleVersion -string "$version" "$app/Contents/Info.plist"
makeIcon
signed "$app"
must "verifying the signature" codesign --verify --strict --verbose=2 "$app"

if [ "${QUILLET_START:-yes}" = yes ]; then
  echo "== Starting"
  started "install" "Quillet successfully installed." install
  started "a link to nobody" "Error checking for Quillet updates" "quillet://127.0.0.1:1/?roomId=none"
fi

echo "== Packing"
if [ -n "$notary" ]; then
  must "packing for the notary" ditto -c -k --keepParent "$app" "$staging/Quillet.zip"
  notarised "$app" "$staging/Quillet.zip"
  rm -f "$staging/Quillet.zip"
fi
image=build/release/Quillet-$version.dmg
mkdir "$staging/image"
cp -R "$app" "$staging/image/"
ln -s /Applications "$staging/image/Applications"
packed "$staging/image" "$image"
if [ "$identity" != - ]; then
  must "signing $image" codesign --force --timestamp --sign "$identity" "$image"
fi
if [ -n "$notary" ]; then
  notarised "$image" "$image"
fi
echo
ls -ld "$app" "$image"
