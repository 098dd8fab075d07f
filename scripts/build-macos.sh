#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds, tests, signs and packs Quillet.app, on a Mac with Xcode's command line tools.
#   QUILLET_ARCHITECTURES='arm64;x86_64'  for both processors; this Mac's own otherwise
#   QUILLET_SIGNING_IDENTITY=NAME         a "Developer ID Application" certificate; ad hoc otherwise
#   QUILLET_NOTARY_PROFILE=NAME           notarises, with credentials that were put into the keychain
#                                         by "xcrun notarytool store-credentials NAME"
# Leaves build/release/bin/Quillet.app and build/release/Quillet-VERSION.dmg.
set -euo pipefail
cd "$(dirname "$0")/.."

identity=${QUILLET_SIGNING_IDENTITY:--}
notary=${QUILLET_NOTARY_PROFILE:-}
fail() {
  echo "build-macos: $1" >&2
  exit 1
}
[ "$(uname)" = Darwin ] || fail "this is no Mac"
xcode-select -p >/dev/null 2>&1 || fail "run xcode-select --install first"
[ -z "$notary" ] || [ "$identity" != - ] || fail "only a signed application can be notarised"

for tool in cmake ninja; do
  command -v "$tool" >/dev/null || missing="${missing:-} $tool"
done
for library in boost googletest; do
  brew --prefix --installed "$library" >/dev/null 2>&1 || missing="${missing:-} $library"
done
if [ -n "${missing:-}" ]; then
  command -v brew >/dev/null || fail "install$missing first (Homebrew would do it)"
  # Word by word: each is the name of a formula.
  # shellcheck disable=SC2086
  brew install $missing
fi

prefix=$(brew --prefix 2>/dev/null || true)
build() { # ARCHITECTURES TESTS
  cmake --preset release -DQUILLET_BENCH=OFF "-DQUILLET_TESTS=$2" \
    "-DCMAKE_OSX_ARCHITECTURES=$1" "-DCMAKE_PREFIX_PATH=$prefix" >/dev/null
  cmake --build --preset release
}
app=build/release/bin/Quillet.app

echo "== Building and testing"
build "" ON
ctest --preset release --schedule-random
if [ -n "${QUILLET_ARCHITECTURES:-}" ]; then
  build "$QUILLET_ARCHITECTURES" OFF # GoogleTest is there for this Mac's processor alone
fi
plutil -lint "$app/Contents/Info.plist"

echo "== Signing and packing"
version=$(/usr/libexec/PlistBuddy -c "Print CFBundleShortVersionString" "$app/Contents/Info.plist")
plutil -replace CFBundleVersion -string "$version" "$app/Contents/Info.plist"
icon=resources/icons/256.png
if [ -f "$icon" ]; then
  iconset=build/release/Quillet.iconset
  mkdir -p "$iconset" "$app/Contents/Resources"
  for size in 16 32 128; do
    sips -z $size $size "$icon" --out "$iconset/icon_${size}x$size.png" >/dev/null
    sips -z $((2 * size)) $((2 * size)) "$icon" --out "$iconset/icon_${size}x$size@2x.png" >/dev/null
  done
  cp "$icon" "$iconset/icon_256x256.png"
  iconutil -c icns "$iconset" -o "$app/Contents/Resources/Quillet.icns"
fi
if [ "$identity" = - ]; then timestamp=--timestamp=none; else timestamp=--timestamp; fi
codesign --force --options runtime $timestamp --entitlements resources/Quillet.entitlements \
  --sign "$identity" "$app"
codesign --verify --strict --verbose=2 "$app"

image=build/release/Quillet-$version.dmg
staging=$(mktemp -d)
trap 'rm -rf "$staging"' EXIT
cp -R "$app" "$staging/"
ln -s /Applications "$staging/Applications"
hdiutil create -quiet -ov -volname Quillet -srcfolder "$staging" -format UDZO "$image"
if [ "$identity" != - ]; then
  codesign --force $timestamp --sign "$identity" "$image"
fi
if [ -n "$notary" ]; then
  xcrun notarytool submit "$image" --keychain-profile "$notary" --wait
  xcrun stapler staple "$image"
fi
echo
ls -ld "$app" "$image"
