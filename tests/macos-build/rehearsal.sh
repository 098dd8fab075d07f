#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Rehearses scripts/build-macos.sh where there is no Mac: every tool of macOS is a stand-in that notes
# its call and does what the next step needs. Shows the order of the steps, that names with blanks stay
# whole, that packing is tried again, that a second run works, and that every failure is told in words.
#   rehearsal.sh PROJECT_ROOT
set -euo pipefail
root=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree="$work/a tree"
export CALLS="$work/calls" STATE="$work/state" QUILLET_LOG="$work/Quillet.log"
mkdir -p "$work/tools" "$tree/scripts" "$STATE"
cp "$root/scripts/build-macos.sh" "$tree/scripts/"
cp -R "$root/resources" "$tree/"

# tool NAME: the stand-in that the standard input describes. FAIL names the one that fails; what it fails
# at is a pattern of its arguments.
tool() {
  {
    printf '%s\n' '#!/bin/bash' 'name=${0##*/}' 'printf "%s" "$name" >>"$CALLS"' \
      'printf " <%s>" "$@" >>"$CALLS"' 'echo >>"$CALLS"' \
      'if [ "$name" = "${FAIL%% *}" ] && [[ "$*" == *${FAIL#* }* ]]; then exit 1; fi'
    cat
  } >"$work/tools/$1"
  chmod +x "$work/tools/$1"
}
for name in codesign ctest ditto ninja xcode-select xcrun; do
  tool $name </dev/null
done
tool uname <<<'echo "${SYSTEM:-Darwin}"'
tool sleep <<<'exec /bin/sleep 0.05'
tool brew <<<'[ "$1" != --prefix ] || [ "${2:-}" = --installed ] || echo "/opt/home brew"'
tool otool <<<'printf "%s:\n\t/usr/lib/libc++.1.dylib (1)\n\t/System/x (1)\n" "$2"; printf "%s" "${FOREIGN:-}"'
tool sips <<<'touch "${@: -1}"'
tool iconutil <<<'touch "${@: -1}"'
tool plutil <<<'[ "$1" != -extract ] || echo 1.2.3'
tool osascript <<<'touch "$STATE/answered"'
tool hdiutil <<'END'
echo x >>"$STATE/tries"
[ "$(wc -l <"$STATE/tries")" -gt "${BUSY:-0}" ] || { echo "Resource busy" >&2; exit 1; }
touch "${@: -1}"
END
tool cmake <<'END'
[ "$1" = --build ] || exit 0
app=build/release/bin/Quillet.app/Contents
mkdir -p "$app/MacOS"
cp resources/Info.plist "$app/"
cat >"$app/MacOS/ZqMacClient" <<'PROGRAM'
#!/bin/bash
text="Quillet successfully installed."
[ "$1" = install ] || text="Error checking for Quillet updates"
echo "ZqMacClient[$$:1] FATAL ERROR: ${SAYS:-$text}" >>"$QUILLET_LOG"
for try in $(seq 200); do
  [ ! -e "$STATE/answered" ] || { rm "$STATE/answered"; exit "${STATUS:-1}"; }
  /bin/sleep 0.05
done
PROGRAM
chmod +x "$app/MacOS/ZqMacClient"
END

for key in NSLocalNetworkUsageDescription LSMinimumSystemVersion; do
  grep -q "<key>$key</key>" "$tree/resources/Info.plist" || { echo "rehearsal: Info.plist lacks $key"; exit 1; }
done

failures=0
complain() {
  echo "rehearsal: $1"
  sed 's/^/    /' "$work/output"
  failures=$((failures + 1))
}
# perform [VARIABLE=VALUE...]: the script's status, in `status`.
perform() {
  rm -f "$CALLS" "$STATE"/* "$QUILLET_LOG"
  status=0
  env PATH="$work/tools:/usr/bin:/bin" "$@" "$tree/scripts/build-macos.sh" >"$work/output" 2>&1 </dev/null || status=$?
}
succeeds() {
  perform "$@"
  [ "$status" -eq 0 ] || complain "with $* the script failed"
}
# fails WORDS [VARIABLE=VALUE...]
fails() {
  local words=$1
  shift
  perform "$@"
  [ "$status" -ne 0 ] || complain "with $* the script did not fail"
  grep -q "^build-macos: .*$words" "$work/output" || complain "with $* it does not say \"$words\""
}
# Each pattern is found in a call after the call of the one before it.
inOrder() {
  local line=0 found pattern
  for pattern in "$@"; do
    found=$(tail -n +$((line + 1)) "$CALLS" | grep -nm1 -e "$pattern" | cut -d: -f1) || true
    [ -n "$found" ] || { complain "no call like $pattern after line $line of $(cat "$CALLS")"; return; }
    line=$((line + found))
  done
}
never() {
  ! grep -qe "$1" "$CALLS" || complain "there is a call like $1"
}

image='<build/release/Quillet-1.2.3.dmg>'
app='<build/release/bin/Quillet.app>'
for run in first second; do
  succeeds RUN=$run
  inOrder 'cmake <--preset> <release> .*<-DQUILLET_TESTS=ON> .*<-DCMAKE_PREFIX_PATH=/opt/home brew>' \
    'cmake <--build>' 'ctest <--preset>' 'plutil <-lint>' 'otool <-L>' 'plutil <-replace> <CFBundleVersion>' \
    'sips <-z> <1024> <1024>' 'iconutil' "codesign <--force> .*$app" "codesign <--verify> .*$app" \
    osascript osascript "hdiutil <create> .*$image"
  never '<--options> <runtime>'
  never '<notarytool>'
  [ "$(grep -c '^cmake <--preset>' "$CALLS")" -eq 1 ] || complain "it is configured more than once"
  [ -e "$tree/build/release/Quillet-1.2.3.dmg" ] || complain "no image is left"
done

name='Developer ID Application: A Name (TEAM)'
succeeds "QUILLET_SIGNING_IDENTITY=$name" QUILLET_NOTARY_PROFILE='a profile' \
  QUILLET_ARCHITECTURES='arm64;x86_64'
inOrder '<-DQUILLET_TESTS=ON> <-DCMAKE_OSX_ARCHITECTURES=>' ctest \
  '<-DQUILLET_TESTS=OFF> <-DCMAKE_OSX_ARCHITECTURES=arm64;x86_64>' 'cmake <--build>' \
  "codesign <--force> <--options> <runtime> .*<--sign> <$name> $app" osascript 'ditto <-c>' \
  "xcrun <notarytool> .*<--keychain-profile> <a profile>" "xcrun <stapler> <staple> $app" hdiutil \
  "codesign .*<--sign> <$name> $image" "xcrun <notarytool> <submit> $image" "xcrun <stapler> <staple> $image"

succeeds BUSY=2
[ "$(wc -l <"$STATE/tries")" -eq 3 ] || complain "packing was not tried until it worked"
succeeds QUILLET_START=no
never osascript

fails 'no Mac' SYSTEM=Linux
fails 'xcode-select --install' 'FAIL=xcode-select '
fails 'installing googletest failed' 'FAIL=brew googletest'
fails 'configuring failed' 'FAIL=cmake --preset'
fails 'building failed' 'FAIL=cmake --build'
fails 'testing failed' 'FAIL=ctest '
fails 'checking Info.plist failed' 'FAIL=plutil -lint'
fails 'other Macs do not have.*libboost' 'FOREIGN=	/opt/homebrew/lib/libboost_url.dylib (1)'
fails 'has no version' 'FAIL=plutil -extract'
fails 'the icon failed' 'FAIL=sips '
fails 'the icon failed' 'FAIL=iconutil '
fails 'signing .*Quillet.app failed' 'FAIL=codesign --force'
fails 'verifying the signature failed' 'FAIL=codesign --verify'
fails 'install: the log does not say' SAYS=nothing
fails 'ended with 0 instead of 1' STATUS=0
fails "may not press the alert's button" 'FAIL=osascript '
fails 'packing failed' BUSY=9
fails 'only a signed application' QUILLET_NOTARY_PROFILE=p
fails 'notarising .*Quillet.app failed' 'FAIL=xcrun notarytool' QUILLET_SIGNING_IDENTITY=n \
  QUILLET_NOTARY_PROFILE=p
fails 'stapling .*Quillet.app failed' 'FAIL=xcrun stapler' QUILLET_SIGNING_IDENTITY=n \
  QUILLET_NOTARY_PROFILE=p
[ "$failures" -eq 0 ] || exit 1
echo "rehearsal: every step and every failure as expected"
